#!/usr/bin/env python3
"""Checks the Pure Data package as a user gets it: the .dek archive is named
and laid out as deken expects; unpacked, its help patch opens in pd -batch
with the object found in its folder, and every message box and toggle that
feeds the object is clicked in the patch's order, 100 ms apart (through a
[receive] the check adds to the patch), in freewheel mode. Pd may print
nothing but what the help's [print] and the object's posts show: no error or
warning, no object that failed to create, no connection that failed. The
help's "/open" must find the demo file beside it, and a last "/start" must
play the file to its end bang.

usage: CheckPdHelpPatch.py --pd PD --package DIR --tmp DIR [--preload LIB]
(DIR: what scripts/make-pd-package.sh made; its .dek is checked)
"""
import argparse
import glob
import os
import re
import shutil
import subprocess
import sys
import zipfile

NAME = "auvo5.sfplay~"
MEMBERS = [NAME + ".pd_linux", NAME + "-help.pd", "auvo5-demo.wav", "README.txt"]
PRINT = NAME + ": "


def fail(text):
    print("Pd package: " + text)
    sys.exit(1)


def records(path):
    """The patch's records (#N, #X, ...) split at unescaped semicolons."""
    with open(path, encoding="utf-8") as f:
        text = f.read()
    return [r.strip().replace("\n", " ") for r in re.split(r"(?<!\\);", text) if r.strip()]


def parse(path):
    """The top-level boxes ((kind, text) by index) and cords."""
    boxes, cords, depth = [], [], 0
    for record in records(path):
        words = record.split()
        if words[0] == "#N" and words[1] == "canvas":
            depth += 1
            continue
        if words[0] != "#X":
            continue
        if words[1] == "restore":
            # A subpatch closes: a box of the patch around it.
            depth -= 1
            if depth == 1:
                boxes.append(("obj", "pd"))
        elif depth != 1:
            continue
        elif words[1] == "connect":
            cords.append(tuple(int(w) for w in words[2:6]))
        elif words[1] in ("obj", "msg", "text", "floatatom", "symbolatom", "listbox"):
            text = re.sub(r", f \d+$", "", " ".join(words[4:]))
            boxes.append((words[1], text))
    return boxes, cords


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pd", required=True)
    parser.add_argument("--package", required=True)
    parser.add_argument("--tmp", required=True)
    parser.add_argument("--preload", help="a library pd loads first (a sanitizer's runtime)")
    args = parser.parse_args()

    # deken's name: LIBRARY[vVERSION](OS-CPU-FLOATBITS).dek, one top folder named as the library.
    deks = glob.glob(os.path.join(glob.escape(args.package), "*.dek"))
    if len(deks) != 1:
        fail("expected one .dek archive in %s, found %d" % (args.package, len(deks)))
    dek_name = os.path.basename(deks[0])
    if not re.fullmatch(re.escape(NAME) + r"\[v[0-9.]+\]\(Linux-[a-z0-9_]+-32\)\.dek", dek_name):
        fail("the archive's name is not deken's LIBRARY[vVERSION](Linux-CPU-32).dek: " + dek_name)
    with zipfile.ZipFile(deks[0]) as archive:
        names = archive.namelist()
        if archive.testzip() is not None:
            fail("the archive is damaged")
        tops = {n.split("/", 1)[0] for n in names}
        if tops != {NAME}:
            fail("the archive should hold the one folder %s, not %s" % (NAME, sorted(tops)))
        missing = [m for m in MEMBERS if NAME + "/" + m not in names]
        if missing:
            fail("the archive lacks " + ", ".join(missing))
        installed = os.path.join(args.tmp, "externals")
        shutil.rmtree(installed, ignore_errors=True)
        archive.extractall(installed)
    folder = os.path.join(installed, NAME)
    os.chmod(os.path.join(folder, NAME + ".pd_linux"), 0o755)
    help_patch = os.path.join(folder, NAME + "-help.pd")
    demo = os.path.join(folder, "auvo5-demo.wav")

    boxes, cords = parse(help_patch)
    players = [i for i, (kind, text) in enumerate(boxes) if kind == "obj" and text.split()[0] == NAME]
    if len(players) != 1:
        fail("expected one [%s] in the help patch, found %d" % (NAME, len(players)))
    player = players[0]
    senders = sorted(s for (s, _, d, inlet) in cords if d == player and inlet == 0)
    clicks = []  # (box index, what the added [receive] sends it)
    for s in senders:
        kind, text = boxes[s]
        if kind == "msg" and "\\$1" in text:
            clicks.append((s, "symbol " + demo))
        elif kind == "msg":
            clicks.append((s, "bang"))
        elif kind == "obj" and text.split()[0] == "tgl":
            clicks += [(s, "bang"), (s, "bang")]
        else:
            fail("unexpected sender of the object: %s %s" % (kind, text))
    def box(text):
        found = [s for s in senders if boxes[s] == ("msg", text)]
        if not found:
            fail("no [%s( reaches the object" % text)
        return found[0]
    if len(clicks) < 15:
        fail("too few messages reach the object: %s" % [boxes[s][1] for s in senders])
    # pd -batch runs faster than the disk: the object must wait for it
    # ("/freewheel 1") from the first click to the last, a "/start" that plays
    # the whole file; "/freewheel 0" comes after it.
    freewheel_on, freewheel_off, start = box("/freewheel 1"), box("/freewheel 0"), box("/start")
    clicks = [(freewheel_on, "bang")] + [c for c in clicks if c[0] != freewheel_off] + [(start, "bang")]

    # The clicks are timed by a [qlist] added to the patch: Pd's logical time,
    # in which pd -batch runs the audio as fast as it can ("fast-forward"
    # would run the clocks alone).
    canvas = "pd-" + os.path.basename(help_patch)
    command = [args.pd, "-batch", "-noaudio", "-nogui", "-noprefs", "-r", "48000", "-path", installed,
               "-open", help_patch, "-send", "pd dsp 1"]
    added = len(boxes)

    def add(text):
        nonlocal added
        command.extend(["-send", "%s obj 0 0 %s" % (canvas, text)])
        added += 1
        return added - 1

    receivers = {}
    for s in senders:
        receivers[s] = "auvo5-help-check-%d" % s
        command += ["-send", "%s connect %d 0 %d 0" % (canvas, add("r " + receivers[s]), s)]
    sequencer = add("qlist")
    command += ["-send", "%s connect %d 0 %d 0" % (canvas, add("r auvo5-help-check"), sequencer)]
    timeline = [(0 if i == 0 else 100, receivers[s], message) for i, (s, message) in enumerate(clicks)]
    timeline += [(4000, receivers[freewheel_off], "bang"), (100, "pd", "quit")]
    for delay, receiver, message in timeline:
        command += ["-send", "auvo5-help-check add %d %s %s" % (delay, receiver, message)]
    command += ["-send", "auvo5-help-check rewind", "-send", "auvo5-help-check bang"]

    environment = dict(os.environ)
    if args.preload:
        environment["LD_PRELOAD"] = args.preload
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120,
                         env=environment)
    print(run.stdout, end="")
    if run.returncode != 0:
        fail("pd exited with %d" % run.returncode)
    lines = run.stdout.splitlines()
    # The print's lines; the object's posts, which here are /post/doc's and
    # /info's, each beginning with an address or the file's path; and the
    # blank line after a report whose text ends with a line break. Pd's own
    # complaints begin otherwise ("error: ", "verbose(1): ", the patch's name).
    unexpected = [l for l in lines if not (l.startswith(PRINT) or l.startswith("/") or l == "")]
    if unexpected:
        fail("Pd printed what the help should not cause:\n" + "\n".join(unexpected))
    wanted = [(PRINT + "/filename " + demo, "the help's /open did not open the demo file beside it"),
              (PRINT + "bang", "the object did not play the demo file to its end")]
    for line, why in wanted:
        if line not in lines:
            fail(why + " (no line \"%s\")" % line)
    print("Pd package: %s, %d clicks on %d boxes, nothing but reports and posts" % (dek_name, len(clicks) + 1, len(senders)))


if __name__ == "__main__":
    main()
