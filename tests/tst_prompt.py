#!/usr/bin/env python3
"""canbench and boxsim at a terminal: prompt, completion, history, and output while something is typed.

usage: tst_prompt.py CANBENCH PLUGIN BOXSIM
"""

import os
import stat
import sys
import tempfile

from terminal import Terminal


def play_bench(terminal):
    terminal.wait_last("canbench>")
    terminal.type("bo", "Tab", "do", "Tab", "fr", "Tab", "Tab")
    terminal.wait("front-left  front-right\ncanbench> box door front-\n")
    terminal.type("l", "Tab", "o", "Tab", "Enter")
    terminal.wait("doorChanged doorStatus=64, leftFrontDoorOpen=true", "> box door front-left open")
    # Keys that begin others hold nothing up, and what comes meanwhile leaves the typed line alone.
    terminal.type("box key swc 5 hold 500ms", "Enter", "state aé€b", "Left", "BSpace", "Escape")
    terminal.wait("keyEvent key=5, state=1")
    terminal.wait_last("canbench> state aéb")
    terminal.tmux("resize-window", "-x", "110", "-y", "30")
    terminal.type("C-u", "C-u", "expect state doors leftF", "Tab")
    terminal.wait_last("canbench> expect state doors leftFrontDoorOpen=")
    terminal.type("C-c")
    terminal.wait_last("canbench>")
    terminal.type("wait 1ms", "Enter", "fly", "Enter")
    terminal.wait('canbench: unknown "fly"')
    terminal.type("door", "C-r")
    terminal.wait_last("canbench> box door front-left open")
    terminal.type("C-u", "C-d")
    terminal.wait("canbench: the line: ", "ended with 0")


def play_box(terminal):
    terminal.wait_last("boxsim>")
    terminal.type("door ba", "Tab", "Enter")
    terminal.wait("> door back", "boxsim: the line ends too early: expected closed, open")
    terminal.type("stat", "Tab", "Enter")
    terminal.wait('version "BOXSIM 1.0"')
    terminal.type("C-c")
    terminal.wait("ended with 0")


def main():
    canbench, plugin, boxsim = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        environment = f"XDG_STATE_HOME={folder}/state LC_ALL=C.UTF-8"
        command = f"{canbench} --plugin {plugin}"
        with Terminal(folder, command, environment) as terminal:
            play_bench(terminal)
        history = f"{folder}/state/canbench/history"
        assert stat.S_IMODE(os.stat(history).st_mode) == 0o600
        with open(history) as file:
            assert file.read().split("\n")[-3:] == ["wait 1ms", "fly", ""]
        with Terminal(folder, f"{command} --json --quiet", environment + " TERM=dumb") as terminal:
            terminal.wait('"signal":"canDrivingPositionChanged"')
            terminal.type("Up", "Up", "Enter")
            terminal.wait('"command":"wait"')
            assert "canbench: " not in terminal.screen()
        with Terminal(folder, boxsim, environment + " A=B") as terminal:
            play_box(terminal)


main()
