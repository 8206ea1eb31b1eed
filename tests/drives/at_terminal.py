#!/usr/bin/env python3
"""Runs a command on a terminal of its own, and types LINE when it is asked for a password.
  at_terminal.py LINE COMMAND [ARGUMENT...]
"""

import os
import pty
import sys

line, *command = sys.argv[1:]
child, terminal = pty.fork()
if child == 0:
    os.execvp(command[0], command)
shown = b""
asked = False
while True:
    try:
        part = os.read(terminal, 4096)
    except OSError:  # nobody has it open any more
        break
    if not part:
        break
    shown += part
    if not asked and b"Password for " in shown and shown.endswith(b": "):
        asked = True
        os.write(terminal, line.encode() + b"\n")
sys.stdout.write(shown.decode(errors="replace").replace("\r", ""))
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
