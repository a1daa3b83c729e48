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


def windows_path(path):
    """The path as a Windows program under Wine sees it: Wine's drive Z: is the root."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def main():
    p = argparse.ArgumentParser()
    for option in ("--maxsim", "--external", "--script", "--expected", "--tmp"):
        p.add_argument(option, required=True)
    p.add_argument("--status", type=int, default=0)
    # A Windows maxsim.exe: the command that runs it (Wine), one --emulator=ITEM
    # per word, and the variables holding paths, given to it in Windows form.
    p.add_argument("--emulator", action="append", default=[])
    p.add_argument("--path-env", action="append", default=[])
    args = p.parse_args()

    shutil.rmtree(args.tmp, ignore_errors=True)
    os.makedirs(args.tmp)
    native = windows_path if args.emulator else (lambda path: path)
    env = dict(os.environ, MAXSIM_TMP=native(args.tmp))
    for name in args.path_env:
        if name in env:
            env[name] = native(env[name])
    with open(args.script, encoding="utf-8") as f:
        ignored = [re.compile(m.group(1).strip()) for m in re.finditer(r"^\s*#\s*ignore:\s*(.+)$", f.read(), re.M)]
    command = args.emulator + [args.maxsim, native(args.external), native(args.script)]
    run = subprocess.run(command, env=env, capture_output=True, text=True, timeout=300)
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
