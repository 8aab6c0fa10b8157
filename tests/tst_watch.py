#!/usr/bin/env python3
"""canbench --watch on a real terminal: what it shows, keys, another size, and the terminal behind it.

usage: tst_watch.py CANBENCH PLUGIN
"""

import os
import re
import sys
import tempfile

from terminal import Terminal

CAPTURE = """# capture: 2
# car model: 153, index 255
(0.100000) rx 2E24020000D9
(0.200000) rx 2E2402400099
(600.000000) rx 2E24020000D9
"""
COLOUR = re.compile(r"\x1b\[(\d+;)*[34][0-7]m")


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
