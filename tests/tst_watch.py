#!/usr/bin/env python3
"""canbench --watch on a real terminal: what it shows, keys, another size, and the terminal behind it.

usage: tst_watch.py CANBENCH PLUGIN
"""

import os
import re
import subprocess
import sys
import tempfile
import time

CAPTURE = """# capture: 2
# car model: 153, index 255
(0.100000) rx 2E24020000D9
(0.200000) rx 2E2402400099
(600.000000) rx 2E24020000D9
"""
PATIENCE = 60  # seconds
COLOUR = re.compile(r"\x1b\[(\d+;)*[34][0-7]m")


class Terminal:
    """A terminal of 80 by 24 in which canbench runs, with a tmux server of its own."""

    def __init__(self, folder, command, environment):
        self.tmux_command = ["tmux", "-u", "-f", "/dev/null", "-S", os.path.join(folder, re.sub(r"\W", "", environment))]
        shell = f"trap : INT; env {environment} {command}; echo ended with $?; exec cat"
        self.tmux("new-session", "-d", "-x", "80", "-y", "24", "/bin/sh", "-c", shell)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.tmux("kill-server")

    def tmux(self, *arguments):
        environment = {**os.environ, "LC_ALL": "C.UTF-8"}
        environment.pop("NO_COLOR", None)
        return subprocess.run([*self.tmux_command, *arguments], env=environment, check=True, stdout=subprocess.PIPE,
                              encoding="utf-8").stdout

    def press(self, *keys):
        self.tmux("send-keys", *keys)

    def screen(self, *options):
        return self.tmux("capture-pane", "-p", *options)

    def wait(self, *texts):
        """Until the screen has all of the texts."""
        end = time.monotonic() + PATIENCE
        while not all(text in self.screen() for text in texts):
            if time.monotonic() > end:
                sys.exit(f"no {texts} on the screen:\n{self.screen()}")
            time.sleep(0.02)


def main():
    canbench, plugin = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        capture = os.path.join(folder, "x.capture")
        with open(capture, "w") as file:
            file.write(CAPTURE)
        command = f"{canbench} --plugin {plugin} --watch"
        replay = f"{command} --replay {capture}"
        with Terminal(folder, replay, "LC_ALL=C.UTF-8") as terminal:
            terminal.wait("rx 24 doors                   2 ", " 40 00", "doorStatus              64", "→ step")
            assert COLOUR.search(terminal.screen("-e"))
            terminal.press("Space")
            terminal.wait(", paused")
            terminal.press("Right")
            terminal.wait("rx 24 doors                   3 ", "600.0 s of 600.0 s", ", paused")
            terminal.tmux("resize-window", "-x", "110", "-y", "30")
            terminal.wait("climate camera settings")
            terminal.press("/", "c", "l", "i", "Enter")
            terminal.wait('"cli"')
            terminal.press("F1")
            terminal.wait("shows this help")
            terminal.press("?", "Space")
            terminal.wait("ended, q quits")
            terminal.press("q")
            terminal.wait("canbench: on the capture", "canbench: the line: 3 frames", "ended with 0")
        with Terminal(folder, replay, "LC_ALL=C NO_COLOR=1") as terminal:
            terminal.wait("40 00", "> step")
            assert not COLOUR.search(terminal.screen("-e"))
            terminal.press("C-c")
            terminal.wait("canbench: the line: 2 frames", "ended with 0")
        with Terminal(folder, command, "TERM=dumb") as terminal:
            terminal.wait('a cursor that can be moved; TERM is', "ended with 2")


main()
