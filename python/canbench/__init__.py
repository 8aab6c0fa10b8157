"""Works canbench, the bench head unit, from Python. Needs the standard library alone.

    import canbench

    with canbench.Bench() as bench:                       # a simulated CAN box inside, in virtual time
        bench.box("door front-left open")
        bench.expect("doorChanged", leftFrontDoorOpen=True, within=2)
        assert bench.state("doors")["leftFrontDoorOpen"]

`canbench.fixtures` has the same for pytest.
"""
import json
import os
import queue
import subprocess
import tempfile
import threading

__all__ = ["Bench", "BenchError", "Ended", "ExpectationFailed", "Refused"]


class BenchError(Exception):
    """What went wrong with canbench; the parent of all errors here."""


class Ended(BenchError):
    """canbench has ended, or did not start. `code` is its exit code; the text is what it said last."""

    def __init__(self, code, text):
        super().__init__(f"canbench has ended with exit code {code}" + (f": {text}" if text else ""))
        self.code = code


class Refused(BenchError):
    """canbench cannot carry out a command; the text tells why."""


class ExpectationFailed(BenchError, AssertionError):
    """What was expected did not come. The text is the report that a script would give."""


class Bench:
    """A running canbench with the plug-in loaded and started.

    port      a serial device with a CAN box; `car_model` must then be given. In real time
    replay    a capture, which is played at once; a speed can be given by `arguments`
    (neither) a simulated CAN box inside, in virtual time: a `wait` of an hour takes a moment
    car_model the id of the car model, 0 to 65535; by default 153 with a box inside, and the capture's own
    arguments more options of canbench's, as in ["--trace", "--language", "de"]
    program   the program; by default $CANBENCH or, without it, canbench from the path
    """

    def __init__(self, *, port=None, replay=None, car_model=None, arguments=(), program=None):
        self.program = str(program or os.environ.get("CANBENCH", "canbench"))
        command = [self.program, "--json"]
        for option, value in (("--port", port), ("--replay", replay), ("--car-model", car_model)):
            command += [] if value is None else [option, str(value)]
        #: Every line that canbench has written so far, as a dictionary; docs/events.schema.json describes them.
        self.events = []
        self._messages = tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace")
        try:
            self._process = subprocess.Popen(command + [str(argument) for argument in arguments], encoding="utf-8",
                                             stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self._messages)
        except OSError as error:
            self._messages.close()
            raise BenchError(f"cannot start {self.program}: {error.strerror}; the variable CANBENCH names another") from None
        # Read all the time: a canbench that nobody reads would come to a standstill, and its line with it.
        self._lines = queue.SimpleQueue()
        self._reader = threading.Thread(target=self._pump, daemon=True)
        self._reader.start()
        try:
            self._read()
        except Ended:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends canbench, which takes leave of the CAN box. Returns its exit code; may be called again."""
        try:
            self._process.stdin.close()
        except BrokenPipeError:
            pass  # it has ended
        for _ in self:
            pass
        self._reader.join()
        self._process.stdout.close()
        self._messages.close()
        return self._process.wait()

    def __iter__(self):
        """What canbench tells from now on, up to its end: a capture's, or that of a device's session."""
        while line := self._lines.get():
            self.events.append(json.loads(line))
            yield self.events[-1]
        self._lines.put("")  # the end can be read again

    def command(self, line):
        """Carries out a command line as canbench's `help` lists them. Returns the answer, a dictionary.

        Raises Refused, ExpectationFailed or Ended."""
        __tracebackhide__ = True
        if "\n" in line or not line.strip() or line.lstrip().startswith("#"):
            raise ValueError(f"not one command: {line!r}")
        try:
            self._process.stdin.write(line + "\n")
            self._process.stdin.flush()
        except (BrokenPipeError, ValueError):
            pass  # it has ended, as reading tells
        while "command" not in (answer := self._read()):
            pass
        if "refused" in answer:
            raise Refused(f"{line}: {answer['refused']}")
        if "failed" in answer:
            raise ExpectationFailed(answer["failed"])
        return answer

    def call(self, command):
        """Makes a call of the host's, as in "ac power". Returns what the plug-in returned, or None."""
        __tracebackhide__ = True
        return self.command(command).get("result")

    def box(self, statement):
        """Has the box inside do something, as in "door front-left open". Returns what it shows, or None."""
        __tracebackhide__ = True
        return self.command(f"box {statement}").get("text")

    def wait(self, seconds):
        """Lets time pass: virtual seconds where the box is inside."""
        __tracebackhide__ = True
        self.command(f"wait {_time(seconds)}")

    def expect(self, event, *conditions, within, **values):
        """Waits up to `within` seconds for an event, which takes it and what was before it out of what is looked at.

        `event` is a signal's name with its arguments and changed values, as in ("doorChanged", leftFrontDoorOpen=True)
        or, with comparisons, ("acStatusChanged", "fan>=3"); or it is "rx" or "tx" with bytes, as in ("tx", "2E8101017C").
        """
        __tracebackhide__ = True
        self.command(f"expect {_words(event, conditions, values)} within {_time(within)}")

    def expect_state(self, topic, *conditions, within, **values):
        """Waits up to `within` seconds until the readings of a topic are so, as in ("doors", leftFrontDoorOpen=True)."""
        __tracebackhide__ = True
        self.expect("state", topic, *conditions, within=within, **values)

    def expect_no(self, event, *conditions, during, **values):
        """Waits for `during` seconds, in which the event must not come."""
        __tracebackhide__ = True
        self.command(f"expect no {_words(event, conditions, values)} for {_time(during)}")

    def state(self, topic):
        """How the car is: the readings of a topic by name, as in state("doors")["leftFrontDoorOpen"]."""
        __tracebackhide__ = True
        return self.command(f"state {topic} --all")["state"][topic]

    def signals(self, name=None):
        """The signals that have come, or those of one name, oldest first, as `events` has them."""
        return [event for event in self.events if "signal" in event and name in (None, event["signal"])]

    def _pump(self):
        for line in self._process.stdout:
            self._lines.put(line)
        self._lines.put("")

    def _read(self):
        __tracebackhide__ = True
        for event in self:
            return event
        code = self._process.wait()
        text = ""
        if not self._messages.closed:
            self._messages.seek(0)
            text = self._messages.read().strip()
        raise Ended(code, text)


def _time(seconds):
    return f"{seconds:g}s"


def _word(value):
    text = str(value).lower() if isinstance(value, bool) else str(value)
    return '"' + text.replace('"', '"""') + '"' if not text or set(text) & set('" \t') else text


def _words(event, conditions, values):
    return " ".join([event, *map(_word, conditions), *(f"{name}={_word(value)}" for name, value in values.items())])
