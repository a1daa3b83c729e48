"""Boxes freed while they play, by dynamic patching as a patch would do it
in Pd 0.53: "; pd-NAME.pd menuclose 1" closes a patch that "; pd open"
opened, "; pd-NAME clear" empties a subpatch. DSP goes on for a while
after, then Pd quits: no error, no crash (in the ASan build: no sanitizer
report, leaks included)."""
import os

from PdPatch import Patch
from PdSession import check_window

PLAYED_MS = 200  # playing before the free
AFTER_MS = 200   # DSP ticks after it


def player(box, messages, name=None):
    """A box that opens and plays at load; its reports printed; its first
    signal outlet, if it is a subpatch, out through an [outlet~]."""
    p = Patch(name)
    load = p.obj("loadbang")
    start = p.msg(", ".join(messages))
    sfplay = p.obj("auvo5.sfplay~ " + box)
    p.chain(load, start, sfplay)
    channels = int(box.split()[0]) if box[0].isdigit() else 256
    p.connect(sfplay, channels + 1, p.obj("print sfplay"))
    if name is not None:
        p.connect(sfplay, 0, p.obj("outlet~"))
    return p


def main_patch(free, player_sub=None, open_file=None):
    """Opens or holds the player, frees it after PLAYED_MS, quits AFTER_MS later."""
    p = Patch()
    load = p.obj("loadbang")
    order = p.obj("t b b b")
    p.connect(load, 0, order)
    p.connect(order, 2, p.msg("; pd dsp 1"))
    if open_file is not None:
        p.connect(order, 1, p.msg(f"; pd open {os.path.basename(open_file)} {os.path.dirname(open_file)}"))
    if player_sub is not None:
        sub = p.sub(player_sub)
        # Its sound goes on in the main patch, so freeing it changes the DSP chain.
        gain = p.obj("*~ 0.5")
        p.connect(sub, 0, gain)
        p.connect(gain, 0, p.obj("snapshot~"))
    played = p.obj(f"delay {PLAYED_MS}")
    p.connect(order, 0, played)
    freeing = p.obj("t b b")
    p.connect(played, 0, freeing)
    p.connect(freeing, 1, p.msg(free))
    said = p.msg("freed")
    p.connect(freeing, 0, said)
    p.connect(said, 0, p.obj("print main"))
    after = p.obj(f"delay {AFTER_MS}")
    p.connect(freeing, 0, after)
    done = p.msg("done; pd quit")
    p.connect(after, 0, done)
    p.connect(done, 0, p.obj("print main"))
    return p


# Not the point here: reports but the start of playback, and underruns
# (nothing waits for the disk).
IGNORE = [r"^sfplay: (?!/progress 0$)", r"^warning occurred: disk underrun"]


def free_while_playing(ctx):
    long2, many = ctx.fixture("long2.wav"), ctx.fixture("many256.wav")
    cases = [
        # A streamed file (10 s through a ring of 4 s) in a patch closed as its window would be.
        ("CloseWhileStreaming", "2 192000", [f"/open {long2}", "/start"], "menuclose"),
        # A file held whole, freed while the buffering thread still loads it.
        ("CloseWhileLoading", "2", [f"/open {long2}", "/start"], "menuclose"),
        ("CloseWide", "256", [f"/open {many}", "/loop 1", "/start"], "menuclose"),
        # A subpatch emptied while its box plays into the main patch.
        ("ClearSubpatchWhileStreaming", "2 192000", [f"/open {long2}", "/loop 1", "/start"], "clear"),
    ]
    faults = []
    for name, box, messages, how in cases:
        folder = ctx.folder("FreeWhilePlaying", name)
        main = os.path.join(folder, "main.pd")
        if how == "menuclose":
            opened = os.path.join(folder, "player.pd")
            with open(opened, "w", encoding="utf-8") as f:
                f.write(player(box, messages).text())
            patch = main_patch("; pd-player.pd menuclose 1", open_file=opened)
        else:
            patch = main_patch("; pd-player clear", player_sub=player(box, messages, "player"))
        with open(main, "w", encoding="utf-8") as f:
            f.write(patch.text())
        run = ctx.pd.run(main, [])
        found = check_window(name, run, ["sfplay: /progress 0", "main: freed", "main: done"], IGNORE)
        if not found:
            print(f"{name}: ok")
        faults += found
    return faults
