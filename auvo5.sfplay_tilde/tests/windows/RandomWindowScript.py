"""A maxsim script from a seed: the three windows' messages to two playing
boxes in random order, with time for the windows to draw between some of
them; the first box freed midway, then the last one (JUCE shuts down), then
a new box that starts the windows again, whose help window must show."""
import random

WINDOWS = ("help", "status", "snapshot")
FONT_SIZES = ("9", "12", "15.5", "18", "24", "36")
STEPS_PER_PHASE = 40


def message(rng, window):
    what = rng.choice(("open", "close", "openorclose", "font/size", "floating", ""))
    if what == "font/size":
        return "/%s/font/size %s" % (window, rng.choice(FONT_SIZES))
    if what == "floating":
        return "/%s/floating %d" % (window, rng.randint(0, 1))
    return "/%s/%s" % (window, what) if what else "/" + window


def phase(rng, boxes, lines):
    for _ in range(STEPS_PER_PHASE):
        box = rng.choice(boxes)
        lines.append("send %d %s" % (box, message(rng, rng.choice(WINDOWS))))
        if rng.random() < 0.3:
            lines.append("wait %d" % rng.randint(0, 80))
        if rng.random() < 0.05:
            lines.append("send %d /snapshot/add" % box)


def playing_box(number, lines):
    lines += ["new auvo5.sfplay~ 2",
              "send %d /open ${WINDOW_FILES}/sunrise.wav" % number,
              "send %d /start" % number]


def make(seed):
    rng = random.Random(seed)
    lines = ["# Written by RandomWindowScript.py from seed %d." % seed, "dsp start 48000 64"]
    playing_box(1, lines)
    playing_box(2, lines)
    phase(rng, [1, 2], lines)
    lines.append("free 1")
    phase(rng, [2], lines)
    lines += ["free 2", "wait 50"]
    playing_box(3, lines)
    phase(rng, [3], lines)
    # The windows started again after the last free: the help window shows.
    lines += ["send 3 /help/font/size 18", "send 3 /help/open", "wait 300",
              "print screenshot restarted: open an audio file", "waitfile ${WINDOW_GO}/restarted 120000"]
    return "\n".join(lines) + "\n"
