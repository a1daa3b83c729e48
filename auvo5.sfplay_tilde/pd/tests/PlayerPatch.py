"""The patch of a playback case: one [auvo5.sfplay~] box, its reports
printed as "sfplay: ...", some of its outlets recorded by [writesf~] as
32-bit float, Pd quitting once playback has ended.

At load: DSP on, the recorder's file opened, the setup messages sent
(with "/freewheel 1" among them, each block waits for the disk, so that
a batch run, which outpaces any disk, plays exactly). Then the trigger,
polled for, once both hold: the box has reported its file loaded whole
("/buffering 100"), if the case waits for it; and the recorder's disk
thread has created its file, some real time ago (until its disk thread
takes the "open", a "stop" would take its place and the file would never
be written). The trigger starts the recorder, sends the play messages,
starts the timed messages' delays and a watchdog. The end (the
end-of-playback bang, or a time after the trigger) stops the recorder,
waits for its file to be complete and quits. Everything after the trigger
happens in Pd's logical time, so a run is the same however loaded the
machine is."""
from dataclasses import dataclass, field

from PdPatch import Patch

PRINT = "sfplay"


@dataclass
class Case:
    name: str
    box: str                   # the creation arguments
    channels: int              # its signal outlets before the position's
    setup: list                # messages at load
    play: list = field(default_factory=list)  # messages at the trigger
    wait_loaded: bool = False  # the trigger waits for the file loaded whole
    timed: list = field(default_factory=list)  # (ms after the trigger, message)
    end: object = "bang"       # "bang", or ms after the trigger
    tail_ms: float = 5         # recorded after the end bang
    record: list = None        # outlets recorded ("p": the position), None: no recorder
    source: str = ""           # the file the recording is checked against (a fixture's name or a path)
    check: list = field(default_factory=list)  # sfplay-compare-pd-recording's options
    expected: list = field(default_factory=list)  # Pd's window; None: not compared line by line
    ignore: list = field(default_factory=list)    # expressions of window lines left out
    verify: object = None      # a function of the window's lines giving faults
    paths: list = None         # Pd's search path (-path); None: the fixtures' folder
    beside: list = field(default_factory=list)  # (fixture, name in the patch's folder) copied there first
    watchdog_ms: float = 60000


# [writesf~]'s buffer, the largest Pd takes. Pd 0.53's [writesf~] computes
# the room left in it unsigned, so once its disk thread falls behind a batch
# run the audio side writes over what is not yet on disk: a recording
# must fit in the buffer whole.
RECORDER_BYTES = 16777216


def recorder_channels(case):
    """A power of two, so that a frame's bytes divide [writesf~]'s disk
    writes (see sfplay-compare-pd-recording's --padding)."""
    channels = 1
    while channels < len(case.record):
        channels *= 2
    return channels


def player_patch(case, recording, flush):
    p = Patch()
    load = p.obj("loadbang")
    order = p.obj("t b b b b")
    p.connect(load, 0, order)
    p.connect(order, 3, p.msg("; pd dsp 1"))

    box = p.obj("auvo5.sfplay~ " + case.box)
    p.connect(box, case.channels + 1, p.obj("print " + PRINT))
    setup = p.msg(", ".join(case.setup))
    p.connect(order, 1, setup)
    p.connect(setup, 0, box)

    # Polled every vector of 64 until ready: loaded (when waited for) and
    # recording (when recorded). From the load on, so that the trigger,
    # and every time after it, falls on a vector's start.
    poll = p.obj("metro 64 1 samp")
    p.connect(order, 0, poll)
    tick = p.obj("t b b b")
    p.connect(poll, 0, tick)
    loaded = p.obj("f 0" if case.wait_loaded else "f 1")
    ready = p.obj("&& 0" if case.record else "&& 1")
    p.connect(tick, 0, loaded)
    p.connect(loaded, 0, ready)
    if case.wait_loaded:
        route = p.obj("route /buffering")
        full = p.obj("sel 100")
        one = p.msg("1")
        p.connect(box, case.channels + 1, route)
        p.chain(route, full, one)
        p.connect(one, 0, loaded, 1)

    recorder = None
    if case.record:
        recorder = p.obj(f"writesf~ {recorder_channels(case)} {RECORDER_BYTES}")
        for inlet, outlet in enumerate(case.record):
            p.connect(box, case.channels if outlet == "p" else outlet, recorder, inlet)
        opening = p.msg(f"open -bytes 4 {recording}")
        p.connect(order, 2, opening)
        p.connect(opening, 0, recorder)
        # The file with its header (44 bytes at least) written...
        path = p.msg(f"symbol {recording}")
        size = p.obj("file size")
        created = p.obj("> 43")
        first = p.obj("sel 1")
        once = p.obj("spigot 1")
        seen = p.obj("t b b b")
        p.connect(tick, 2, path)
        p.chain(path, size, created, first, once, seen)
        p.connect(seen, 2, p.msg("0"))
        p.connect(len(p.boxes) - 1, 0, once, 1)
        # ... 20 ms of real time ago, for its disk thread to take the
        # request for good.
        clock = p.obj("realtime")
        since = p.obj("f 0")
        p.connect(seen, 1, clock)
        p.connect(seen, 0, p.msg("1"))
        p.connect(len(p.boxes) - 1, 0, since, 1)
        asking = p.obj("sel 1")
        long_ago = p.obj(">= 20")
        p.connect(tick, 1, since)
        p.chain(since, asking)
        p.connect(asking, 0, clock, 1)
        p.chain(clock, long_ago)
        p.connect(long_ago, 0, ready, 1)

    go = p.obj("sel 1")
    go_once = p.obj("t b b")
    p.chain(ready, go, go_once)
    p.connect(go_once, 1, p.msg("stop"))
    p.connect(len(p.boxes) - 1, 0, poll)
    trigger = p.obj("t b b b")
    p.connect(go_once, 0, trigger)
    if recorder is not None:
        p.connect(trigger, 2, p.msg("start"))
        p.connect(len(p.boxes) - 1, 0, recorder)
    if case.play:
        play = p.msg(", ".join(case.play))
        p.connect(trigger, 0, play)
        p.connect(play, 0, box)

    # The end: the recorder's file completed (a second "open" waits until
    # its disk thread has written the first one whole), then quit.
    finish = p.obj("t b b")
    if recorder is not None:
        close = p.msg(f"stop, open -bytes 4 {flush}")
        p.connect(finish, 1, close)
        p.connect(close, 0, recorder)
    p.connect(finish, 0, p.msg("; pd quit"))
    if case.end == "bang":
        ended = p.obj("route bang")
        p.connect(box, case.channels + 1, ended)
        tail = p.obj(f"delay {case.tail_ms}")
        p.chain(ended, tail, finish)
    else:
        after = p.obj(f"delay {case.end}")
        p.connect(trigger, 1, after)
        p.connect(after, 0, finish)

    for ms, message in case.timed:
        later = p.obj(f"delay {ms}")
        text = p.msg(message)
        p.connect(trigger, 1, later)
        p.chain(later, text)
        p.connect(text, 0, box)

    watchdog = p.obj(f"delay {case.watchdog_ms}")
    said = p.msg("timeout: playback did not end in time")
    p.connect(trigger, 1, watchdog)
    p.chain(watchdog, said, p.obj("print"))
    p.connect(watchdog, 0, finish)
    return p
