"""A terminal for tests."""

import os
import re
import subprocess
import sys
import time

PATIENCE = 60  # seconds


class Terminal:
    """A terminal of 80 by 24 in which a program runs, with a tmux server of its own."""

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

    def type(self, *texts):
        """Keys by their names, anything else as it is."""
        for text in texts:
            is_key = text[:2] == "C-" or text in ("BSpace", "Enter", "Escape", "Left", "Tab", "Up")
            self.tmux("send-keys", *(() if is_key else ("-l", "--")), text)

    def wait_last(self, text):
        """Until the last line that is not empty is the text."""
        self.until(lambda: self.screen().rstrip().split("\n")[-1].rstrip() == text, text)

    def screen(self, *options):
        return self.tmux("capture-pane", "-p", *options)

    def wait(self, *texts):
        """Until the screen has all of the texts."""
        self.until(lambda: all(text in self.screen() for text in texts), texts)

    def until(self, is_there, what):
        end = time.monotonic() + PATIENCE
        while not is_there():
            if time.monotonic() > end:
                sys.exit(f"no {what} on the screen:\n{self.screen()}")
            time.sleep(0.02)
