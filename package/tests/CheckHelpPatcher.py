#!/usr/bin/env python3
"""Checks the help patcher: its JSON is a Max patcher whose cords join boxes
that exist through inlets and outlets they have, and every message it sends
to auvo5.sfplay~ is one the object understands: the messages are played
through the real external in maxsim, in the patch's order, and nothing may
come back as an error, a warning or a bug.

usage: CheckHelpPatcher.py --maxsim M --external E --patcher H --media DIR --tmp DIR
"""
import argparse
import json
import os
import subprocess
import sys


def fail(text):
    print("help patcher: " + text)
    sys.exit(1)


def main():
    parser = argparse.ArgumentParser()
    for name in ("maxsim", "external", "patcher", "media", "tmp"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()

    with open(args.patcher, encoding="utf-8") as f:
        patcher = json.load(f)["patcher"]
    boxes = {b["box"]["id"]: b["box"] for b in patcher["boxes"]}
    if len(boxes) != len(patcher["boxes"]):
        fail("two boxes share an id")
    for entry in patcher["lines"]:
        line = entry["patchline"]
        (source, outlet), (destination, inlet) = line["source"], line["destination"]
        if source not in boxes or destination not in boxes:
            fail("a cord joins a box that does not exist: %s" % line)
        if outlet >= boxes[source]["numoutlets"] or inlet >= boxes[destination]["numinlets"]:
            fail("a cord uses an outlet or inlet its box lacks: %s" % line)

    players = [b for b in boxes.values() if b["maxclass"] == "newobj" and b["text"].startswith("auvo5.sfplay~")]
    if len(players) != 1:
        fail("expected one auvo5.sfplay~ box, found %d" % len(players))
    player = players[0]
    senders = [line["patchline"]["source"][0] for line in patcher["lines"]
               if line["patchline"]["destination"][0] == player["id"]]
    messages = []
    for box in patcher["boxes"]:
        box = box["box"]
        if box["id"] not in senders:
            continue
        if box["maxclass"] == "message":
            messages.append(box["text"])
        elif box["maxclass"] == "toggle":
            messages += ["int 1", "int 0"]
        else:
            fail("unexpected sender %s" % box["maxclass"])
    if len(messages) < 10:
        fail("too few messages reach the object: %s" % messages)

    script = ["searchpath " + args.media, "new " + player["text"], "dsp on 48000 64"]
    for text in messages:
        if text == "/open":
            script.append("dialog cancel")
        selector, _, rest = text.partition(" ")
        script.append("send 1 %s %s" % (selector, rest))
        script.append("run 100")
    script += ["dsp off", "free 1"]
    os.makedirs(args.tmp, exist_ok=True)
    script_file = os.path.join(args.tmp, "help.maxsim")
    with open(script_file, "w", encoding="utf-8") as f:
        f.write("\n".join(script) + "\n")

    run = subprocess.run([args.maxsim, args.external, script_file], capture_output=True, text=True, timeout=300)
    print(run.stdout, end="")
    print(run.stderr, end="", file=sys.stderr)
    if run.returncode != 0:
        fail("maxsim exited with %d" % run.returncode)
    bad = [l for l in run.stdout.splitlines() if l.split(" ", 1)[0] in ("error", "warn", "bug")]
    if bad:
        fail("the object did not take every message:\n" + "\n".join(bad))
    # The box's outlet count must be the object's: the dump outlet is its last.
    dump = str(player["numoutlets"] - 1)
    if not any(l.startswith("out 1 " + dump + " /") for l in run.stdout.splitlines()):
        fail("nothing came out of outlet %s, which the patcher takes for the dump outlet" % dump)
    print("help patcher: %d messages taken" % len(messages))


if __name__ == "__main__":
    main()
