"""Wine for the window tests: a prefix of their own, started with the test's
display. A Wine session takes its display from its first process, so the
headless tests' session (DISPLAY unset, in the build's usual prefix) would
hide these windows; one window test at a time uses this prefix (a CTest
resource lock) and ends its session before its X server goes."""
import os
import subprocess


class Unavailable(Exception):
    """Wine cannot start here: the Windows window tests are skipped."""


class WineSession:
    def __init__(self, wine, prefix, display, log_path):
        self.wine = wine
        self.env = dict(os.environ, WINEPREFIX=prefix, WINEDEBUG="-all", DISPLAY=display)
        self.env.pop("WAYLAND_DISPLAY", None)
        self.prefix = prefix
        self.log_path = log_path

    def _run(self, args, timeout):
        with open(self.log_path, "ab") as log:
            return subprocess.run([self.wine] + args, env=self.env, stdout=subprocess.PIPE, stderr=log,
                                  stdin=subprocess.DEVNULL, timeout=timeout)

    def start(self):
        """Makes the prefix when it is new, then checks that Wine runs a
        program on the display; raises Unavailable when it does not."""
        if not os.path.exists(self.wine):
            raise Unavailable("no Wine at %s" % self.wine)
        self.stop()
        try:
            self._prepare()
            out = self._run(["cmd.exe", "/c", "echo", "wine-runs"], 120).stdout.decode(errors="replace")
        except subprocess.TimeoutExpired:
            raise Unavailable("Wine did not answer (log: %s)" % self.log_path)
        if "wine-runs" not in out:
            raise Unavailable("Wine does not start (log: %s)" % self.log_path)

    def _prepare(self):
        stamp = os.path.join(self.prefix, "window-tests-ready")
        if os.path.exists(stamp):
            return
        if not os.path.exists(os.path.join(self.prefix, "system.reg")):
            self._run(["wineboot", "-i"], 300)
        # Xvfb runs no window manager, for which Wine would wait 2 s each
        # time a window shows or hides: its windows are left unmanaged.
        if self._run(["reg", "add", "HKCU\\Software\\Wine\\X11 Driver", "/v", "Managed", "/d", "N", "/f"],
                     120).returncode != 0:
            raise Unavailable("Wine's registry cannot be set (log: %s)" % self.log_path)
        open(stamp, "w").close()

    def command(self, program, args):
        return [self.wine, program] + args

    def stop(self):
        """Ends every process of the session (its desktop holds the display)."""
        server = os.path.join(os.path.dirname(os.path.realpath(self.wine)), "wineserver")
        if os.path.exists(server):
            subprocess.run([server, "-k"], env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            subprocess.run([server, "-w"], env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                           timeout=60)


def windows_path(path):
    """The path as a Windows program under Wine sees it: Wine's drive Z: is the root."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")
