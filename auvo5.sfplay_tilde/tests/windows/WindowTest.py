#!/usr/bin/env python3
"""Runs the external in maxsim on a private X server and reads its windows.

The script prints cue lines "screenshot NAME: TEXT | !TEXT ..." and then
waits ("waitfile ${WINDOW_GO}/NAME MS"): the driver takes screenshots of the
screen, reads them with Tesseract until every TEXT is found and no !TEXT is
(a few tries: a window may not be painted yet), then makes the file NAME in
WINDOW_GO so that the script goes on. Screenshots and their text stay in
--tmp. maxsim must exit with status 0 and post no error, warning or bug.

The script sees WINDOW_GO, WINDOW_FILES (sound files made by sox: sunrise.wav,
30 s of stereo) and, with --seed, is written first by RandomWindowScript.py.
--wine runs the Windows maxsim.exe under Wine with the test's display.
Exits 77 (CTest's skip) only when no X server, or with --wine no Wine, can start.
"""
import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time

import Ocr
import RandomWindowScript
from WineSession import Unavailable as WineUnavailable, WineSession, windows_path
from XServer import Unavailable as XUnavailable, XServer, die_with_parent, missing_tools

SKIP = 77
CUE = re.compile(r"^screenshot ([A-Za-z0-9_-]+): (.*)$")
TRIES = 6
SECONDS_BETWEEN_TRIES = 1.0
MAXSIM_SECONDS = 600
# What maxsim prints when the object or Max's rules complain.
COMPLAINT = re.compile(r"^(error|warn|bug) ")


def make_sounds(sox, folder):
    os.makedirs(folder, exist_ok=True)
    # Long enough to be still playing after the slowest screenshots.
    subprocess.run([sox, "-n", "-r", "48000", "-b", "16", "-c", "2", os.path.join(folder, "sunrise.wav"),
                    "synth", "30", "sine", "440", "sine", "660", "gain", "-12"], check=True)


class Checker:
    """Serves the script's cues: screenshots, their text, the verdict."""

    def __init__(self, xserver, tmp, keep):
        self.xserver = xserver
        self.tmp = tmp
        self.keep = keep
        self.failures = []
        self.report = []

    def check(self, name, specs):
        expectations = [Ocr.Expectation(s.strip()) for s in specs.split("|") if s.strip()]
        missing = expectations
        for attempt in range(1, TRIES + 1):
            png = os.path.join(self.tmp, "%s-%d.png" % (name, attempt))
            shown = self.xserver.screenshot(png)
            readings = []
            for mode in Ocr.MODES if shown else ():
                readings.append(Ocr.read(png, mode))
                with open(os.path.join(self.tmp, "%s-%d-psm%s.txt" % (name, attempt, mode)), "w") as f:
                    f.write(readings[-1])
                missing = Ocr.unmet(expectations, readings)
                if not missing:
                    break
            missing = Ocr.unmet(expectations, readings)
            self.report.append((name, attempt, png, readings, missing))
            if not missing:
                if self.keep:
                    shutil.copyfile(png, os.path.join(self.keep, name + ".png"))
                return
            time.sleep(SECONDS_BETWEEN_TRIES)
        self.failures.append("%s: %s not as expected after %d screenshots" % (name, ", ".join(map(str, missing)),
                                                                                 TRIES))

    def print_report(self):
        for name, attempt, png, readings, missing in self.report:
            verdict = "missing " + ", ".join(map(str, missing)) if missing else "ok"
            print("--- %s, screenshot %d (%s): %s" % (name, attempt, png, verdict))
            for text in readings:
                print(Ocr.normalise(text))


def run(args, tmp):
    go = os.path.join(tmp, "go")
    files = os.path.join(tmp, "files")
    os.makedirs(go)
    make_sounds(args.sox, files)
    script = args.script
    if args.seed is not None:
        script = os.path.join(tmp, "random.maxsim")
        with open(script, "w") as f:
            f.write(RandomWindowScript.make(args.seed))

    xserver = XServer(os.path.join(tmp, "xvfb.log"))
    try:
        display = xserver.start()
    except XUnavailable as e:
        print("skipped: %s" % e)
        return SKIP
    wine = None
    try:
        native = lambda path: path
        command = [args.maxsim, args.external, script]
        if args.wine:
            wine = WineSession(args.wine, args.wineprefix, display, os.path.join(tmp, "wine.log"))
            wine.start()
            native = windows_path
            command = wine.command(args.maxsim, [native(args.external), native(script)])
        env = dict(wine.env if wine else os.environ, DISPLAY=display, WINDOW_GO=native(go),
                   WINDOW_FILES=native(files), MAXSIM_TMP=native(tmp))
        checker = Checker(xserver, tmp, args.keep)
        output = []
        started = time.monotonic()
        maxsim = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  stdin=subprocess.DEVNULL, text=True, errors="replace", preexec_fn=die_with_parent)
        # A run that hangs is ended, its output kept.
        watchdog = threading.Timer(MAXSIM_SECONDS, maxsim.kill)
        watchdog.start()
        try:
            for line in maxsim.stdout:
                line = line.rstrip("\r\n")
                output.append(line)
                cue = CUE.match(line)
                if cue:
                    checker.check(cue.group(1), cue.group(2))
                    open(os.path.join(go, cue.group(1)), "w").close()
            status = maxsim.wait()
            if not watchdog.is_alive():
                status = "%s, killed after %d s" % (status, MAXSIM_SECONDS)
        finally:
            watchdog.cancel()
            # Also when a check broke off: nothing of this run outlives it.
            if maxsim.poll() is None:
                maxsim.kill()
                maxsim.wait()
        seconds = time.monotonic() - started
    except WineUnavailable as e:
        print("skipped: %s" % e)
        return SKIP
    finally:
        if wine:
            wine.stop()
        xserver.stop()

    with open(os.path.join(tmp, "maxsim.log"), "w") as f:
        f.write("\n".join(output) + "\n")
    failures = list(checker.failures)
    if status != 0:
        failures.append("maxsim exit status %s" % status)
    failures += ["maxsim printed: " + line for line in output if COMPLAINT.match(line)]
    print("%s: maxsim ran %.1f s on display %s%s" % (os.path.basename(script), seconds, display,
                                                     " under Wine" if wine else ""))
    if failures:
        print("\n".join(failures))
        print("=== maxsim's output")
        print("\n".join(output))
        print("=== screenshots and their text (in %s)" % tmp)
        checker.print_report()
        return 1
    return 0


def main():
    p = argparse.ArgumentParser()
    for option in ("--maxsim", "--external", "--tmp", "--sox"):
        p.add_argument(option, required=True)
    p.add_argument("--script", help="the maxsim script (without --seed)")
    p.add_argument("--seed", help="write a random script from this seed (\"random\": a new one)")
    p.add_argument("--wine", help="Wine's wine64: run the Windows maxsim.exe under it")
    p.add_argument("--wineprefix", help="the Wine prefix of the window tests")
    p.add_argument("--keep", help="copy each cue's accepted screenshot into this folder as NAME.png")
    args = p.parse_args()
    if not args.script and args.seed is None:
        p.error("a script or a seed is needed")
    if args.seed == "random":
        args.seed = random.randrange(1 << 32)
    if args.seed is not None:
        args.seed = int(args.seed)
        print("seed %d (--seed %d repeats this run)" % (args.seed, args.seed))
    if not shutil.which("Xvfb"):
        print("skipped: Xvfb is not installed, no X server can start")
        return SKIP
    # Installed with Xvfb (./dev deps): their absence is a broken set-up, not a skip.
    missing = missing_tools() + ([] if Ocr.available() else ["tesseract"])
    if missing:
        print("not installed: " + ", ".join(missing))
        return 1

    tmp = os.path.abspath(args.tmp)
    shutil.rmtree(tmp, ignore_errors=True)
    os.makedirs(tmp)
    if args.keep:
        os.makedirs(args.keep, exist_ok=True)
    return run(args, tmp)


if __name__ == "__main__":
    sys.exit(main())
