"""Text read from a screenshot by Tesseract, and what a check wants of it:
texts that must be there and texts that must not, compared case-insensitively
with whitespace runs made single spaces."""
import os
import re
import shutil
import subprocess

# Page segmentation modes tried in turn: sparse text first (windows hold
# scattered labels), then automatic layout, then one uniform block.
MODES = ("11", "3", "6")


def normalise(text):
    return re.sub(r"\s+", " ", text).strip().lower()


def available():
    return shutil.which("tesseract") is not None


def read(png_path, mode):
    """Tesseract's text of the PNG in one segmentation mode."""
    # One thread: several tests read screenshots at once on few cores.
    env = dict(os.environ, OMP_THREAD_LIMIT="1")
    run = subprocess.run(["tesseract", png_path, "-", "--psm", mode], capture_output=True, text=True, env=env)
    if run.returncode != 0:
        raise RuntimeError("tesseract failed on %s: %s" % (png_path, run.stderr.strip()))
    return run.stdout


class Expectation:
    """"text" must be read, "!text" must not."""

    def __init__(self, written):
        self.absent = written.startswith("!")
        self.text = written[1:] if self.absent else written
        self.wanted = normalise(self.text)

    def met(self, readings):
        found = any(self.wanted in normalise(r) for r in readings)
        return found != self.absent

    def __str__(self):
        return ("no \"%s\"" if self.absent else "\"%s\"") % self.text


def unmet(expectations, readings):
    return [e for e in expectations if not e.met(readings)]
