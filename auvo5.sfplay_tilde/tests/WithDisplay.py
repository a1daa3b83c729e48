#!/usr/bin/env python3
"""WithDisplay.py COMMAND...: runs COMMAND with an X display: the DISPLAY it
was given when its server's socket is there, else an Xvfb of its own (on
the first free display number, stopped afterwards). Without either it says
why and exits 77, which the test registers as "skipped"."""
import os
import subprocess
import sys

SKIPPED = 77


def given_display_works(name):
    # ":N" or ":N.S" on this machine: the server's socket.
    if not name.startswith(":"):
        return bool(name)
    number = name[1:].split(".")[0]
    return number.isdigit() and os.path.exists(f"/tmp/.X11-unix/X{number}")


def start_xvfb():
    read_end, write_end = os.pipe()
    try:
        server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24",
                                   "-nolisten", "tcp"], pass_fds=(write_end,), stderr=subprocess.DEVNULL)
    except OSError:
        os.close(read_end)
        os.close(write_end)
        return None, "Xvfb is not installed"
    os.close(write_end)
    # Xvfb writes its display number once it accepts connections.
    with os.fdopen(read_end) as ready:
        number = ready.readline().strip()
    if not number:
        server.wait()
        return None, "Xvfb did not start"
    return (server, ":" + number), None


def main():
    command = sys.argv[1:]
    if not command:
        print("usage: WithDisplay.py COMMAND...", file=sys.stderr)
        return 2
    env = dict(os.environ)
    server = None
    if not given_display_works(env.get("DISPLAY", "")):
        started, failure = start_xvfb()
        if started is None:
            print(f"skipped: no X server ({'DISPLAY is not set' if not env.get('DISPLAY') else 'DISPLAY does not answer'}"
                  f" and {failure})")
            return SKIPPED
        server, env["DISPLAY"] = started
    try:
        return subprocess.run(command, env=env).returncode
    finally:
        if server is not None:
            server.terminate()
            server.wait()


if __name__ == "__main__":
    sys.exit(main())
