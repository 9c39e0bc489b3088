#!/usr/bin/env python3
"""A bridge that carries out the steps of its command line:

  log=TEXT      a log line          message=PAYLOAD    a message, framed
  bytes=HEX     these bytes         wait=LINE          reads its input up to this line
  echo          writes each line of its input as a log line, until it ends; "kill" ends it
  values=N      N messages "P1;n;" from a thread, during the next steps, in small pieces
  once=FILE     the steps up to "end" only if FILE does not exist; then it is created
  deaf          closes its input, says so in its log, and goes on with 500 such values
  abort         SIGABRT             exit=N
"""

import binascii
import os
import signal
import sys
import threading
import time


def write(data):
    os.write(1, data)


def frame(payload):
    return b"<%s%04X>\n" % (payload, binascii.crc_hqx(payload, 0xFFFF))


def line_of_input():
    line = sys.stdin.buffer.readline()
    if not line:
        os._exit(0)
    return line.rstrip(b"\r\n").decode()


def values(count):
    for number in range(count):
        write(frame(b"P1;%d;" % number))
        time.sleep(0.001)


def echo():
    while (line := line_of_input()) != "kill":
        log(line)
    os._exit(0)


def log(text):
    write(b"<@00:00:00.000 : " + text.encode() + b">\n")


def play(step):
    name, _, text = step.partition("=")
    if name == "log":
        log(text)
    elif name == "message":
        write(frame(text.encode()))
    elif name == "bytes":
        write(bytes.fromhex(text))
    elif name == "wait":
        while line_of_input() != text:
            pass
    elif name == "echo":
        echo()
    elif name == "values":
        threading.Thread(target=values, args=[int(text)]).start()
    elif name == "deaf":
        os.close(0)
        log("deaf")
        values(500)  # gives the host time to notice
    elif name == "abort":
        os.kill(os.getpid(), signal.SIGABRT)
    elif name == "exit":
        os._exit(int(text))
    else:
        raise ValueError(step)


def main(steps):
    while steps:
        step = steps.pop(0)
        if step.startswith("once="):
            mark = step[5:]
            if os.path.exists(mark):
                del steps[: steps.index("end") + 1]
            else:
                open(mark, "x").close()
        elif step != "end":
            play(step)


if __name__ == "__main__":
    main(sys.argv[1:])
