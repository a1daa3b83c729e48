#!/usr/bin/env python3
"""Runs maxsim on a script and compares its output with the expected lines.

Expected lines beginning with "~ " are regular expressions the whole output
line must match; "# ignore: REGEX" comments in the script drop output lines.
"""
import argparse
import difflib
import os
import re
import shutil
import subprocess
import sys


def main():
    p = argparse.ArgumentParser()
    for option in ("--maxsim", "--external", "--script", "--expected", "--tmp"):
        p.add_argument(option, required=True)
    p.add_argument("--status", type=int, default=0)
    args = p.parse_args()

    shutil.rmtree(args.tmp, ignore_errors=True)
    os.makedirs(args.tmp)
    env = dict(os.environ, MAXSIM_TMP=args.tmp)
    with open(args.script, encoding="utf-8") as f:
        ignored = [re.compile(m.group(1).strip()) for m in re.finditer(r"^\s*#\s*ignore:\s*(.+)$", f.read(), re.M)]
    run = subprocess.run([args.maxsim, args.external, args.script], env=env, capture_output=True, text=True,
                         timeout=300)
    actual = [line for line in run.stdout.splitlines() if not any(r.search(line) for r in ignored)]
    with open(args.expected, encoding="utf-8") as f:
        expected = f.read().splitlines()

    def same(want, got):
        return re.fullmatch(want[2:], got) is not None if want.startswith("~ ") else want == got

    ok = len(actual) == len(expected) and all(same(w, g) for w, g in zip(expected, actual))
    if not ok:
        sys.stdout.writelines(difflib.unified_diff([l + "\n" for l in expected], [l + "\n" for l in actual],
                                                   args.expected, "maxsim output"))
    if run.returncode != args.status:
        print(f"exit status {run.returncode}, expected {args.status}")
        ok = False
    if not ok and run.stderr:
        print("stderr:\n" + run.stderr)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
