"""A private X server for one test (Xvfb on a display nobody uses, its root
black so that windows stand out) and screenshots of its screen."""
import ctypes
import os
import random
import shutil
import signal
import subprocess
import time

# Far from the displays people and other tools pick by hand.
FIRST_DISPLAY = 400
DISPLAYS = 300
START_SECONDS = 20


class Unavailable(Exception):
    """No X server can start here: the tests that need one are skipped."""


def die_with_parent():
    """For Popen's preexec_fn: the child ends when the test does, even killed
    by CTest's timeout, so that no server is left behind."""
    PR_SET_PDEATHSIG = 1
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


def _in_use(n):
    return os.path.exists("/tmp/.X%d-lock" % n) or os.path.exists("/tmp/.X11-unix/X%d" % n)


def _answers(display):
    with open(os.devnull, "wb") as null:
        return subprocess.run(["xwd", "-root", "-silent", "-display", display], stdout=null, stderr=null).returncode == 0


# What screenshots need beside the server.
TOOLS = ("xwd", "xwdtopnm", "pamdepth", "pnmtopng", "pnmcrop")


def missing_tools():
    return [t for t in TOOLS if not shutil.which(t)]


class XServer:
    def __init__(self, log_path):
        self.log_path = log_path
        self.process = None
        self.display = None

    def start(self):
        """Starts Xvfb on a free display and waits until it answers; raises
        Unavailable when it cannot."""
        if not shutil.which("Xvfb"):
            raise Unavailable("Xvfb is not installed")
        numbers = list(range(FIRST_DISPLAY, FIRST_DISPLAY + DISPLAYS))
        random.shuffle(numbers)
        reasons = []
        # Another test may take the same free number at the same moment: the
        # loser's server exits at once and the next number is tried.
        for n in [n for n in numbers if not _in_use(n)][:5]:
            display = ":%d" % n
            log = open(self.log_path, "ab")
            process = subprocess.Popen(["Xvfb", display, "-screen", "0", "1600x1200x24", "-nolisten", "tcp", "-br"],
                                       stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                       preexec_fn=die_with_parent)
            log.close()
            deadline = time.monotonic() + START_SECONDS
            while process.poll() is None and time.monotonic() < deadline:
                if os.path.exists("/tmp/.X11-unix/X%d" % n) and _answers(display):
                    self.process, self.display = process, display
                    return display
                time.sleep(0.1)
            if process.poll() is None:
                process.kill()
                process.wait()
                reasons.append("Xvfb %s did not answer within %d s" % (display, START_SECONDS))
            else:
                reasons.append("Xvfb %s exited with status %d" % (display, process.returncode))
        raise Unavailable("no X server could start (%s; see %s)" % ("; ".join(reasons) or "no free display",
                                                                     self.log_path))

    def screenshot(self, png_path):
        """The screen cropped to what is not black (the windows), as PNG; the
        whole screen when it is all black. False when nothing is shown."""
        ppm = subprocess.run("xwd -root -silent -display %s | xwdtopnm | pamdepth 255" % self.display, shell=True,
                             capture_output=True, check=True).stdout
        cropped = subprocess.run(["pnmcrop", "-black"], input=ppm, capture_output=True)
        shown = cropped.returncode == 0 and len(cropped.stdout) > 0
        png = subprocess.run(["pnmtopng"], input=cropped.stdout if shown else ppm, capture_output=True, check=True)
        with open(png_path, "wb") as f:
            f.write(png.stdout)
        return shown

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process = None
