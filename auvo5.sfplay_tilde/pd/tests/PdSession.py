"""Runs real Pd on a patch the tests wrote and reads what it printed.

`pd -batch -noaudio -nogui` runs DSP ticks as fast as it can and prints
its window (print objects, errors, posts) on stderr. A Pd that does not
quit in time is killed and the run fails: a hung Pd never hangs ctest. In
the ASan build the object is instrumented but Pd is not: the sanitizer
runtimes are preloaded into Pd, and any report fails the run."""
import difflib
import os
import re
import shutil
import subprocess
import sys

# Expected lines as the maxsim scripts' files have them: "~ " lines are
# regular expressions, consecutive "& " lines match as many lines in any order.
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..", "maxsim", "tests"))
from RunScript import matches  # noqa: E402

# Pd's own chatter, not the object's: [writesf~] says when its buffer is
# full and it waits for its disk thread, which depends on the machine's load.
PD_NOISE = [re.compile(r) for r in (r"^writesf waiting for disk write\.\.$", r"^\(head \d+, tail \d+, room \d+, want \d+\)$",
                                    r"^\.\.\. done waiting\.$")]
SANITIZER_REPORT = re.compile(r"ERROR: (Address|Leak)Sanitizer|runtime error:|SUMMARY: \w+Sanitizer")

SKIP = 77  # ctest's SKIP_RETURN_CODE for these tests


class PdRun:
    def __init__(self, status, lines, stderr, timed_out):
        self.status = status
        self.lines = lines  # the window, without Pd's chatter
        self.stderr = stderr
        self.timed_out = timed_out


class Pd:
    def __init__(self, program, module_dir, preload, timeout):
        self.program = program
        self.module_dir = module_dir
        self.preload = list(preload)
        self.timeout = timeout

    def version(self):
        """Pd's version as `pd -version` prints it ("0.53.1")."""
        out = subprocess.run([self.program, "-version"], capture_output=True, text=True, timeout=self.timeout)
        m = re.search(r"Pd-(\d+\.\d+\.\d+)", out.stdout + out.stderr)
        return m.group(1) if m else None

    def run(self, patch, paths=()):
        """Pd on the patch file, its search path the object's folder, then
        PATHS. Never at real-time priority (Pd takes it when it may, as
        root): a batch run spins, and would starve the machine, until Pd's
        watchdog interrupts it."""
        command = [self.program, "-batch", "-noaudio", "-nogui", "-noprefs", "-nrt", "-r", "48000",
                   "-path", self.module_dir]
        for path in paths:
            command += ["-path", path]
        command.append(patch)
        env = dict(os.environ)
        if self.preload:
            env["LD_PRELOAD"] = " ".join(self.preload)
            # Any report ends Pd with a status of its own; leaks are looked
            # for when Pd exits.
            env["ASAN_OPTIONS"] = "detect_leaks=1:exitcode=86"
            env["UBSAN_OPTIONS"] = "print_stacktrace=1:halt_on_error=1"
        try:
            done = subprocess.run(command, env=env, capture_output=True, text=True, timeout=self.timeout,
                                  cwd=os.path.dirname(patch))
            status, stderr, timed_out = done.returncode, done.stderr, False
        except subprocess.TimeoutExpired as e:
            err = e.stderr or b""
            status, timed_out = None, True
            stderr = err.decode(errors="replace") if isinstance(err, bytes) else err
        lines = [l for l in stderr.splitlines() if not any(r.match(l) for r in PD_NOISE)]
        return PdRun(status, lines, stderr, timed_out)


def fresh_folder(path):
    shutil.rmtree(path, ignore_errors=True)
    os.makedirs(path)
    return path


def check_window(name, run, expected, ignore=()):
    """The faults of a run: its status, sanitizer reports, and its window
    (less the lines IGNORE's expressions find) against EXPECTED."""
    faults = []
    if run.timed_out:
        faults.append(f"{name}: Pd did not quit in time and was killed")
    elif run.status != 0:
        faults.append(f"{name}: Pd exited with status {run.status}")
    if SANITIZER_REPORT.search(run.stderr):
        faults.append(f"{name}: a sanitizer reported")
    ignored = [re.compile(r) for r in ignore]
    window = [l for l in run.lines if not any(r.search(l) for r in ignored)]
    if expected is not None and not matches(expected, window):
        faults.append(f"{name}: Pd's window differs from what was expected:\n"
                      + "".join(difflib.unified_diff([l + "\n" for l in expected], [l + "\n" for l in window],
                                                     "expected", "Pd")))
    if faults:
        faults.append(f"{name}: Pd's whole output:\n" + run.stderr)
    return faults
