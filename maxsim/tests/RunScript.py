#!/usr/bin/env python3
"""Runs maxsim on a script and compares its output with the expected lines.

Expected lines beginning with "~ " are regular expressions the whole output
line must match. Consecutive expected lines beginning with "& " form a group
that matches as many output lines in any order (the text after "& " may itself
be a "~ " expression): lines whose order depends on threads. "# ignore: REGEX"
comments in the script drop output lines. --overdrive runs maxsim in that mode.
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


def same(want, got):
    return re.fullmatch(want[2:], got) is not None if want.startswith("~ ") else want == got


def group_matches(wants, gots):
    """Whether each wanted line can be paired with its own output line (bipartite matching)."""
    owner = [None] * len(gots)

    def place(w, seen):
        for g in range(len(gots)):
            if g not in seen and same(wants[w], gots[g]):
                seen.add(g)
                if owner[g] is None or place(owner[g], seen):
                    owner[g] = w
                    return True
        return False

    return all(place(w, set()) for w in range(len(wants)))


def matches(expected, actual):
    if len(expected) != len(actual):
        return False
    i = 0
    while i < len(expected):
        if expected[i].startswith("& "):
            end = i
            while end < len(expected) and expected[end].startswith("& "):
                end += 1
            if not group_matches([w[2:] for w in expected[i:end]], actual[i:end]):
                return False
            i = end
        else:
            if not same(expected[i], actual[i]):
                return False
            i += 1
    return True


def main():
    p = argparse.ArgumentParser()
    for option in ("--maxsim", "--external", "--script", "--expected", "--tmp"):
        p.add_argument(option, required=True)
    p.add_argument("--status", type=int, default=0)
    p.add_argument("--overdrive", choices=("off", "on", "audio"))
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
    mode = ["--overdrive", args.overdrive] if args.overdrive else []
    command = args.emulator + [args.maxsim] + mode + [native(args.external), native(args.script)]
    run = subprocess.run(command, env=env, capture_output=True, text=True, timeout=300)
    actual = [line for line in run.stdout.splitlines() if not any(r.search(line) for r in ignored)]
    if not os.path.exists(args.expected):
        print(f"no {args.expected}; maxsim printed (exit status {run.returncode}):")
        print("\n".join(actual))
        return 1
    with open(args.expected, encoding="utf-8") as f:
        expected = f.read().splitlines()

    ok = matches(expected, actual)
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
