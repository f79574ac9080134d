"""Runs a program in a terminal of its own and presses Ctrl-C once its progress shows, then again every second as often
as asked; ends with its code: press_ctrl_c.py TIMES PROGRAM ARGUMENT..."""
import os
import pty
import select
import sys
import time

times = int(sys.argv[1])
program, terminal = pty.fork()
if program == 0:
    os.execv(sys.argv[2], sys.argv[2:])
seen = b""
last = None
while True:
    readable, _, _ = select.select([terminal], [], [], 0.1)
    if readable:
        try:
            seen += os.read(terminal, 65536)
        except OSError:  # the program has ended
            break
    if times > 0 and b" of " in seen and (last is None or time.monotonic() - last > 1):
        os.write(terminal, b"\x03")
        last = time.monotonic()
        times -= 1
sys.stdout.buffer.write(seen)
sys.exit(os.waitstatus_to_exitcode(os.waitpid(program, 0)[1]))
