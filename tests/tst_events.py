#!/usr/bin/env python3
"""What canbench and boxsim write as JSON, held against docs/events.schema.json: each line is of one kind, and each kind
is written, with each of its keys and each word that such a key can have. Each command has one answer.

usage: tst_events.py CANBENCH BOXSIM PLUGIN
"""
import atexit
import datetime
import json
import pathlib
import signal
import subprocess
import sys
import tempfile

import jsonschema

CANBENCH, BOXSIM, PLUGIN = sys.argv[1:]
SCHEMA = json.loads((pathlib.Path(__file__).parent.parent / "docs/events.schema.json").read_text())
KINDS = {path["$ref"].split("/")[-1]: SCHEMA["definitions"][path["$ref"].split("/")[-1]] for path in SCHEMA["oneOf"]}
VALIDATORS = {name: jsonschema.Draft7Validator({**SCHEMA, "oneOf": [{"$ref": f"#/definitions/{name}"}]}) for name in KINDS}
CAPTURE = "(0.010000) rx 2E2402400099\n(0.020000) do ac power\n(0.030000) do unit 0\n"
INSIDE = """
# a comment has no answer
expect sigVersionData within 1s
ac power
expect acStatusChanged powerOff=true within 1s
state tyres
link
help wait
box state
box reject
request vehicle
box noise 00 11
box door front-left open
box corrupt
box tyre front-left 2.2 bar
box raw 2E 24 01 00 DA
wait 10ms
box raw 2E 24
wait 10ms
box raw 02
wait 1s
box camera 1
box delay 1ms
box duplicate 100%
box ack-delay 1ms
box flip 100%
request vehicle
box faults
box faults off
box stall 10ms every 1s
request vehicle
box loss 100%
box camera 0
box faults off
box mute climate
box send climate
box no-ack on
box drop 1
box split 2
box truncate 1
request vehicle
box silent
box camera 0
box faults off
wait 1s
send 2E8101017D
wait 10ms
expect rx 00 01 within 1ms
ac power "
box fly
fly
"""
seen = {name: {} for name in KINDS}  # of each kind the keys, and of each key the values


def check(line):
    """Takes note of a line. Returns it read."""
    event = json.loads(line)
    kinds = [name for name, validator in VALIDATORS.items() if validator.is_valid(event)]
    if len(kinds) != 1:
        sys.exit(f"of the kinds {kinds}: {line}")
    for key, value in event.items():
        seen[kinds[0]].setdefault(key, set()).add(json.dumps(value))
    return event


class Program:
    def __init__(self, *arguments):
        self.process = subprocess.Popen(arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, encoding="utf-8", bufsize=1)
        atexit.register(self.process.kill)

    def type(self, text):
        self.process.stdin.write(text + "\n")

    def until(self, **wanted):
        """Reads up to a line with these values."""
        for line in self.process.stdout:
            event = check(line)
            if wanted.items() <= event.items():
                return event
        sys.exit(f"the program ended without {wanted}")

    def rest(self, code):
        """Closes its input. Returns what it writes up to its end."""
        output = self.process.communicate()[0]
        if self.process.returncode != code:
            sys.exit(f"exit code {self.process.returncode} instead of {code}: {self.process.args}")
        return [check(line) for line in output.splitlines()]


def canbench(*arguments):
    return Program(CANBENCH, "--plugin", PLUGIN, "--json", *arguments)


def equal(actual, expected):
    if actual != expected:
        sys.exit(f"{actual} instead of {expected}")


def play_inside(folder):
    """A session whose commands are wrong in part, with a box inside."""
    bench = canbench("--trace", "--log", "--settings-root", folder)
    bench.type(INSIDE)
    events = bench.rest(0)
    answers = [event for event in events if "command" in event]
    commands = [(number, line) for number, line in enumerate(INSIDE.split("\n"), 1) if line and line[0] != "#"]
    equal([(a["line"], a["command"]) for a in answers], [(number, line.split()[0]) for number, line in commands])
    equal([a["line"] for a in answers if "refused" in a], [49, 50, 51])
    equal([a["failed"][:26] for a in answers if "failed" in a], ["expected rx 00 01 within 1"])
    equal(answers[1]["result"], 0)
    begins = {datetime.datetime.strptime(event["date"], "%Y-%m-%dT%H:%M:%S.%fZ")
              - datetime.timedelta(seconds=event["time"]) for event in events}
    if max(begins) - min(begins) > datetime.timedelta(microseconds=1):
        sys.exit(f"time and date drift apart: {begins}")


def play_capture(folder):
    path = pathlib.Path(folder, "dated")
    path.write_text("# capture: 2\n# date: 2026-03-01T10:00:00.500Z\n# car model: 20, index 255\n" + CAPTURE)
    calls = [event for event in canbench("--replay", path, "--speed", "max").rest(0) if "call" in event]
    equal([(c["call"], c["arguments"], c["line"], c["date"]) for c in calls],
          [("ac", ["power"], 5, "2026-03-01T10:00:00.520000Z"), ("unit", ["0"], 6, "2026-03-01T10:00:00.530000Z")])
    path.write_text(CAPTURE)
    events = canbench("--replay", path, "--speed", "1000", "--car-model", "20").rest(0)
    equal([event for event in events if "date" in event], [])


def play_both(folder):
    """Both programs on one line, which is absent, lost and open again."""
    link = str(pathlib.Path(folder, "canbox"))
    bench = canbench("--port", link, "--car-model", "153", "--wait")
    bench.until(device="absent")
    box = Program(BOXSIM, "--json", "--trace", "--log", "--link", link, "--fault", "delay 1ms")
    equal(box.until(program="boxsim")["path"], link)
    bench.until(device="open")
    bench.until(signal="notifyCanbusStatus")
    box.until(box="head unit: start")
    box.type("door fl open\nstate\nfly")
    bench.until(signal="doorChanged")
    box.type("hang-up")
    bench.until(device="lost")
    bench.until(device="open")
    bench.type("ac power\nquit")
    equal([event["command"] for event in bench.rest(0) if "command" in event], ["ac", "quit"])
    box.until(box="climate key: climate power off")
    box.until(box="head unit: stop")
    box.type("raw 2E 24 02 40 00 00\nquit")
    box.rest(0)


def words(of):
    """What a key can be, where that is listed."""
    of = SCHEMA["definitions"][of["$ref"].split("/")[-1]] if "$ref" in of else of
    return of.get("enum", [of["const"]] if "const" in of else [])


def give_up(*_):
    sys.exit("something did not come within a minute")


def main():
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(60)
    jsonschema.Draft7Validator.check_schema(SCHEMA)
    with tempfile.TemporaryDirectory() as folder:
        given_up = canbench("--port", f"{folder}/none", "--car-model", "153", "--wait", "--give-up", "1")
        given_up.type("wait 100s")
        play_inside(folder)
        canbench("--car-model", "list").rest(0)
        play_capture(folder)
        play_both(folder)
        given_up.rest(4)
    missing = [f"{name}: {key} {word}".strip() for name, kind in KINDS.items() for key, of in kind["properties"].items()
               for word in words(of) or [""] if key not in seen[name] or word and json.dumps(word) not in seen[name][key]]
    equal(missing, [])


main()
