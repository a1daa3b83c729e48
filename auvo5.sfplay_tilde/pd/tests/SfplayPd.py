#!/usr/bin/env python3
"""The Pure Data object's tests in real Pd: each group is a table of cases,
each case a patch written here, run by `pd -batch`, its window compared
with what is expected and its recording, if any, checked sample by sample
by sfplay-compare-pd-recording against the source as libsndfile reads it.

    SfplayPd.py --group NAME [options]   # Fixtures, Playback, FrameIndex, ...

Exits with 77 (ctest's skip) when Pd is not installed."""
import argparse
import os
import shutil
import subprocess
import sys

# The source tree stays as it is: no bytecode caches beside the scripts.
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import Fixtures  # noqa: E402
import LifeCases  # noqa: E402
import PlaybackCases  # noqa: E402
import WindowCases  # noqa: E402
from PdSession import SKIP, Pd, check_window, fresh_folder  # noqa: E402
from PlayerPatch import RECORDER_BYTES, player_patch, recorder_channels  # noqa: E402


class Context:
    """What every group needs: Pd, the tools, the folders."""

    def __init__(self, args):
        self.pd = Pd(args.pd, os.path.abspath(args.module_dir), args.preload, timeout=args.timeout)
        self.compare = args.compare
        self.fixtures = os.path.abspath(args.fixtures)
        self.tmp = os.path.abspath(args.tmp)
        self.version = args.version

    def fixture(self, name):
        return os.path.join(self.fixtures, name)

    def folder(self, group, case):
        return fresh_folder(os.path.join(self.tmp, group, case))

    def run_player_case(self, group, case):
        """Writes and runs a PlayerPatch case; its faults."""
        folder = self.folder(group, case.name)
        for fixture, name in case.beside:
            os.makedirs(os.path.dirname(os.path.join(folder, name)), exist_ok=True)
            shutil.copyfile(self.fixture(fixture), os.path.join(folder, name))
        recording = os.path.join(folder, "recording.wav")
        patch = os.path.join(folder, "patch.pd")
        with open(patch, "w", encoding="utf-8") as f:
            f.write(player_patch(case, recording, os.path.join(folder, "flush.wav")).text())
        run = self.pd.run(patch, [self.fixtures] if case.paths is None else case.paths)
        faults = check_window(case.name, run, case.expected, case.ignore)
        if case.verify is not None:
            faults += [f"{case.name}: {fault}" for fault in case.verify(run.lines)]
        if case.record and not faults and os.path.getsize(recording) >= RECORDER_BYTES:
            faults.append(f"{case.name}: the recording does not fit in [writesf~]'s buffer: frames may be lost")
        if case.record and not faults:
            source = self.fixture(case.source)
            padding = ["--padding", str(recorder_channels(case) - len(case.record))]
            done = subprocess.run([self.compare] + case.check + padding + [recording, source], capture_output=True,
                                  text=True)
            print(f"{case.name}: {done.stdout.strip()}")
            if done.returncode != 0:
                faults.append(f"{case.name}: the recording does not match {source}:\n{done.stderr}")
        if not faults:
            print(f"{case.name}: ok")
        return faults

    def run_player_cases(self, group, cases):
        faults = []
        for case in cases:
            faults += self.run_player_case(group, case)
        return faults


GROUPS = {
    "Playback": PlaybackCases.playback,
    "Streamed": PlaybackCases.streamed,
    "FrameIndex": PlaybackCases.frame_index,
    "ManyOutlets": PlaybackCases.many_outlets,
    "Reports": WindowCases.reports,
    "BadMessages": WindowCases.bad_messages,
    "FilesFound": WindowCases.files_found,
    "FreeWhilePlaying": LifeCases.free_while_playing,
}


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--group", required=True, choices=["Fixtures"] + list(GROUPS))
    p.add_argument("--pd", default="")
    p.add_argument("--module-dir")
    p.add_argument("--compare")
    p.add_argument("--make-frame-index", default="")
    p.add_argument("--sox", default="")
    p.add_argument("--fixtures", required=True)
    p.add_argument("--tmp")
    p.add_argument("--version", default="")
    p.add_argument("--preload", action="append", default=[])
    p.add_argument("--timeout", type=float, default=30)
    args = p.parse_args()

    if args.group == "Fixtures":
        return Fixtures.make(args.fixtures, args.sox, args.make_frame_index)
    if not args.pd or not shutil.which(args.pd):
        print("Pure Data (pd) is not installed: skipped")
        return SKIP
    faults = GROUPS[args.group](Context(args))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
