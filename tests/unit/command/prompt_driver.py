#!/usr/bin/env python3
"""Drives a program through a pseudo-terminal, as a user at a terminal would.

    prompt_driver.py STEPS -- PROGRAM [ARGUMENT...]

STEPS is a JSON file: a list of [TEXT, WAIT] pairs. The driver waits for the
program's first "survey> ", then for each step writes TEXT to the terminal
and waits until WAIT appears in what the program writes after that (null:
no wait). At the end it waits for the program to exit, and prints all the
program wrote, then a last line "status N" with its exit status (or
"status timeout"). Each wait gives up after 60 seconds.
"""

import json
import os
import pty
import select
import sys
import time

LIMIT = 60.0


def main():
    split = sys.argv.index("--")
    steps = json.load(open(sys.argv[1]))
    program = sys.argv[split + 1:]
    pid, terminal = pty.fork()
    if pid == 0:
        os.execvp(program[0], program)
    written = bytearray()

    def read_until(pattern, start):
        deadline = time.monotonic() + LIMIT
        while written.find(pattern, start) < 0:
            left = deadline - time.monotonic()
            if left <= 0:
                return False
            ready, _, _ = select.select([terminal], [], [], left)
            if not ready:
                continue
            try:
                chunk = os.read(terminal, 65536)
            except OSError:
                return False
            if not chunk:
                return False
            written.extend(chunk)
        return True

    timed_out = not read_until(b"survey> ", 0)
    for text, wait in steps:
        if timed_out:
            break
        mark = len(written)
        os.write(terminal, text.encode("utf-8"))
        if wait is not None:
            timed_out = not read_until(wait.encode("utf-8"), mark)
    # What is left, until the program exits.
    deadline = time.monotonic() + LIMIT
    status = "timeout"
    while time.monotonic() < deadline:
        ready, _, _ = select.select([terminal], [], [], 0.1)
        if ready:
            try:
                chunk = os.read(terminal, 65536)
            except OSError:
                chunk = b""
            written.extend(chunk)
        done, code = os.waitpid(pid, os.WNOHANG)
        if done == pid:
            status = str(os.waitstatus_to_exitcode(code))
            break
    if status == "timeout":
        os.kill(pid, 9)
        os.waitpid(pid, 0)
    sys.stdout.buffer.write(bytes(written))
    sys.stdout.buffer.write(("\nstatus %s\n" % status).encode())


if __name__ == "__main__":
    main()
