"""Playback recorded by [writesf~] and compared sample by sample with the
source: whole file, from a time, a segment, loops, from a marker, files
wider and narrower than the box, a file streamed through a ring shorter
than it, the frame-index file's loops as the Max tests play them, and a
box of 256 outlets."""
from PlayerPatch import PRINT, Case

FRAMES_AT_OPEN = r"/(filename|length|samples|samplerate|bitdepth|channel/number|format|duration|float|chunk/)"
# What is not deterministic or not the point: buffer fill, progress but
# its first and last, the metadata at open (the Reports group's).
IGNORE = [r"^sfplay: /buffering ", r"^sfplay: /progress (?!0$|100$)", r"^sfplay: " + FRAMES_AT_OPEN]


def out(text):
    return f"{PRINT}: {text}"


def marker(identifier, frame):
    """The report of the frame-index file's markers (IDs from 1, labelled by their ID)."""
    return out(f"/marker {identifier} {frame} {identifier}")


# The frame-index file's markers (sfplay-make-frame-index), by ID.
FRAME_INDEX_MARKERS = {1: 2400, 2: 4800, 3: 12345, 4: 28813, 5: 28814, 6: 48010, 7: 100000}
ENDED = [out("/progress 0"), out("bang"), out("/progress 100")]


def playback(ctx):
    cases = [
        Case("WholeFile", "2", 2, ["/freewheel 1", "/open tone2.wav"], ["/start"], record=[0, 1, "p"], source="tone2.wav",
             expected=ENDED, ignore=IGNORE),
        # 200 ms at 48 kHz: from frame 9600 to the end.
        Case("Seek", "2", 2, ["/freewheel 1", "/open tone2.wav"], ["/seek 200"], record=[0, 1, "p"], source="tone2.wav",
             check=["--segment", "9600", "24000"], expected=ENDED, ignore=IGNORE),
        # 100 to 300.5 ms: frames [4800, 14424), then the end.
        Case("Segment", "2", 2, ["/freewheel 1", "/open tone2.wav"], ["/seek 100 300.5"], record=[0, 1, "p"], source="tone2.wav",
             check=["--segment", "4800", "14424"], expected=ENDED, ignore=IGNORE),
        # The whole file looped; "/loop 0" 1.2 s in ends the third pass's.
        Case("Loop", "2", 2, ["/freewheel 1", "/open tone2.wav", "/loop 1"], ["/start"], timed=[(1200, "/loop 0")],
             record=[0, 1, "p"], source="tone2.wav", check=["--loop", "--passes", "3"],
             expected=[out("/progress 0"), out("/progress 100"), out("/progress 100"), out("bang"),
                       out("/progress 100")], ignore=IGNORE),
        # From the marker with ID 3 to the end, passing the later ones.
        Case("MarkerSeek", "2", 2, ["/freewheel 1", "/open frameindex.wav"], ["/seek/marker/byid 3"], record=[0, 1, "p"],
             source="frameindex.wav", check=["--segment", "12345", "144000"],
             expected=[out("/progress 0")] + [marker(i, FRAME_INDEX_MARKERS[i]) for i in range(3, 8)] + ENDED[1:],
             ignore=IGNORE),
        # A box narrower than its file plays the file's first channels...
        Case("MoreChannelsThanBox", "2", 2, ["/freewheel 1", "/open tone3.wav"], ["/start"], record=[0, 1, "p"],
             source="tone3.wav", expected=ENDED, ignore=IGNORE),
        # ... a wider one leaves the outlets beyond the file's silent.
        Case("FewerChannelsThanBox", "4", 4, ["/freewheel 1", "/open tone2.wav"], ["/start"], record=[0, 1, 2, 3, "p"],
             source="tone2.wav", expected=ENDED, ignore=IGNORE),
    ]
    return ctx.run_player_cases("Playback", cases)


def streamed(ctx):
    """A file longer than the box's buffer (10 s through 192000 frames), so
    streamed through the ring: each block waits for the disk ("/freewheel
    1"), and plays exactly what a live host would."""
    box = "2 192000"
    cases = [
        Case("StreamedWholeFile", box, 2, ["/freewheel 1", "/open long2.wav"], ["/start"], record=[0, 1, "p"],
             source="long2.wav", expected=ENDED, ignore=IGNORE),
        # From 6 s (frame 288000) to the end.
        Case("StreamedSeek", box, 2, ["/freewheel 1", "/open long2.wav"], ["/seek 6000"], record=[0, 1, "p"],
             source="long2.wav", check=["--segment", "288000", "480000"], expected=ENDED, ignore=IGNORE),
        # A loop longer than the ring, frames [96000, 312024): "/loop 0" 6 s
        # in ends the second pass.
        Case("StreamedLoop", box, 2, ["/freewheel 1", "/open long2.wav", "/loop 1"], ["/seek 2000 6500.5"],
             timed=[(6000, "/loop 0")], record=[0, 1, "p"], source="long2.wav",
             check=["--segment", "96000", "312024", "--loop", "--passes", "2"],
             expected=[out("/progress 0"), out("bang")], ignore=IGNORE + [r"^sfplay: /progress 100$"]),
    ]
    return ctx.run_player_cases("Streamed", cases)


def frame_index(ctx):
    """The Max tests' frame-index loops (auvo5.sfplay_tilde/tests/scripts/FrameIndex*), checked the same way."""
    loop = ["--frame-index", "4800", "28814", "--loop", "--passes"]
    pass_markers = [marker(i, FRAME_INDEX_MARKERS[i]) for i in (2, 3, 4)]
    # Pd runs the messages due within a vector before it: a time between two
    # vectors' starts ends the recording after the earlier vector, whatever
    # the rounding of either.
    # 14-frame passes over [48000, 48014); 28.5 ms are 21 vectors of 64:
    # 96 passes, the marker at 48010 in each, progress 100 when a pass ends
    # with a vector (every 32 passes).
    short = [out("/progress 0")]
    for n in range(1, 97):
        short.append(marker(6, 48010))
        if n % 32 == 0:
            short.append(out("/progress 100"))
    cases = [
        # 100 to 600.3 ms, 24014 frames a pass, looped for 10.1 s (7575
        # vectors): 20 passes and 4520 frames of the 21st.
        Case("FrameIndexLoop", "@channels 2", 2, ["/freewheel 1", "/open frameindex.wav", "/loop 1"], ["/seek 100 600.3"],
             end=10100.5, record=[0, 1, "p"], source="frameindex.wav", check=loop + ["20"],
             expected=[out("/progress 0")] + pass_markers * 20 + pass_markers[:1], ignore=IGNORE),
        Case("FrameIndexShortLoop", "@channels 2", 2, ["/freewheel 1", "/open frameindex.wav", "/loop 1"], ["/seek 1000 1000.3"],
             end=28.5, record=[0, 1, "p"], source="frameindex.wav",
             check=["--frame-index", "48000", "48014", "--loop", "--passes", "96"], expected=short,
             ignore=IGNORE),
        # "/loop 0" 1.2 s in: the third pass plays to its end, then the bang
        # (from the same vector as the last marker, so in either order).
        Case("FrameIndexLoopOff", "@channels 2", 2, ["/freewheel 1", "/open frameindex.wav", "/loop 1"], ["/seek 100 600.3"],
             timed=[(1200, "/loop 0")], record=[0, 1, "p"], source="frameindex.wav", check=loop + ["3"],
             expected=[out("/progress 0")] + pass_markers * 2 + pass_markers[:2]
             + ["& " + pass_markers[2], "& " + out("bang")], ignore=IGNORE + [r"^sfplay: /progress 100$"]),
        # "/loop 1" 300 ms into a segment played once: 2 passes and 14372
        # frames of a third in 1.3 s, no end.
        Case("FrameIndexLoopOn", "@channels 2", 2, ["/freewheel 1", "/open frameindex.wav"], ["/seek 100 600.3"],
             timed=[(300, "/loop 1")], end=1300.5, record=[0, 1, "p"], source="frameindex.wav", check=loop + ["2"],
             expected=[out("/progress 0")] + pass_markers * 2 + pass_markers[:2],
             ignore=IGNORE + [r"^sfplay: /progress 100$"]),
    ]
    return ctx.run_player_cases("FrameIndex", cases)


def many_outlets(ctx):
    """256 channels to 256 outlets: a few of them and the position recorded."""
    recorded = [0, 1, 127, 254, 255]
    cases = [
        Case("Outlets256", "256", 256, ["/freewheel 1", "/open many256.wav"], ["/start"], record=recorded + ["p"],
             source="many256.wav", check=["--outlets", ",".join(str(o) for o in recorded) + ",p"],
             expected=ENDED, ignore=IGNORE),
        Case("Outlets256ByAttribute", "@channels 256 @buffersize 192000", 256, ["/freewheel 1", "/open many256.wav"], ["/start"],
             record=[255, 3, "p"], source="many256.wav", check=["--outlets", "255,3,p"], expected=ENDED,
             ignore=IGNORE),
    ]
    return ctx.run_player_cases("ManyOutlets", cases)
