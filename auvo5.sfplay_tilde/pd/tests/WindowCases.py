"""What the box says, through [print] and in Pd's window: its reports
(metadata at "/open" cross-checked with sox and libsndfile, progress,
buffer fill, "/dump" replies, the version line), the errors of bad
messages and arguments, and files found as Pd finds them."""
import os
import re
import subprocess

from PlayerPatch import PRINT, Case


def out(text):
    return f"{PRINT}: {text}"


def error_at(source, text):
    """An exception's line in Pd's window: where it was thrown (any line), then its text."""
    return "~ " + re.escape(f"error: Exception occurred in [{source}:") + r"\d+\] " + re.escape(text)


def soxi(path, flag):
    return subprocess.run(["soxi", flag, path], capture_output=True, text=True, check=True).stdout.strip()


def cue_points(path):
    """The cue markers as libsndfile's sndfile-info lists them: (ID, frame)."""
    info = subprocess.run(["sndfile-info", path], capture_output=True, text=True, check=True).stdout
    return [(int(i), int(p)) for i, p in re.findall(r"Cue ID :\s*(\d+)\s+Pos :\s*(\d+)", info)]


def metadata(path, duration, file_format="WAV\\ File"):
    """The reports at "/open", the numbers as sox and libsndfile read the file."""
    samples, rate = int(soxi(path, "-s")), int(soxi(path, "-r"))
    floating = soxi(path, "-e").startswith("Floating")
    cues = cue_points(path)
    return ([out(f"/filename {path}"), out(f"/length {samples * 1000 // rate}"), out(f"/samples {samples}"),
             out(f"/samplerate {rate}"), out(f"/bitdepth {soxi(path, '-b')}"),
             out(f"/channel/number {soxi(path, '-c')}"), out(f"/format {file_format}"),
             out(f"/duration {duration}"), out(f"/float {1 if floating else 0}"),
             out(f"/chunk/mark/marker/number {len(cues)}")]
            + [out(f"/chunk/mark/marker/{i} {i} {p} {i}") for i, p in cues])


def rising_to_100(address, frames, step, then=()):
    """A check of the ADDRESS reports: rising, each a whole number of STEP
    frames of FRAMES, up to 100 (which goes out whenever it is true, so it
    may come again), the lines THEN just before the first 100."""
    def verify(lines):
        ours = [l for l in lines if l.startswith(out(address) + " ")]
        values = [float(l.split()[2]) for l in ours]
        if 100 not in values:
            return [f"{address} does not reach 100: {values}"]
        full = values.index(100)
        faults = []
        if any(b <= a for a, b in zip(values[:full + 1], values[1:full + 1])) or any(v != 100 for v in values[full:]):
            faults.append(f"{address} does not rise to 100 and stay there: {values}")
        for v in values[:full]:
            done = v * frames / 100
            if abs(done - step * round(done / step)) > 0.01:
                faults.append(f"{address} {v} is no whole number of {step}-frame steps of {frames} frames")
        if then:
            at = lines.index(ours[full])
            if lines[at - len(then):at] != list(then):
                faults.append(f"not {list(then)} before {address} 100: {lines[max(0, at - 3):at + 1]}")
        return faults
    return verify


def reports(ctx):
    tone2, frames = ctx.fixture("tone2.wav"), ctx.fixture("frameindex.wav")
    no_file_state = [out("/verbose normal"), out("/dsp/mute 0"), out("/dsp/bypass 0"), out("/dsp/automute/attack 1"),
                     out("/dsp/automute 0")]
    pd_version = ctx.pd.version()
    at_once = dict(end=0, ignore=[r"^sfplay: /buffering "])
    cases = [
        Case("OpenMetadata", "2", 2, ["/open tone2.wav"], expected=metadata(tone2, "500\\ ms"), **at_once),
        Case("OpenMetadataWithMarkers", "2", 2, ["/open frameindex.wav"], expected=metadata(frames, "3.00\\ sec"),
             **at_once),
        # Progress from the audio thread, vectors of 64 frames at a time, the
        # end bang just before the last.
        Case("Progress", "2", 2, ["/freewheel 1", "/open tone2.wav"], ["/start"], expected=None,
             verify=rising_to_100("/progress", 24000, 64, then=[out("bang")])),
        # Buffer fill from the buffering thread while nothing plays, up to
        # the whole file (the trigger waits for it).
        Case("Buffering", "2", 2, ["/open tone2.wav"], wait_loaded=True, end=0, expected=None,
             verify=rising_to_100("/buffering", 24000, 1)),
        Case("Dump", "2", 2, ["/dump"], expected=no_file_state + [out("/filename "), out("/loop 0")], **at_once),
        Case("DumpWithFile", "2", 2, ["/open tone2.wav", "/loop 1", "/dump"],
             expected=metadata(tone2, "500\\ ms") + no_file_state
             + [out(f"/filename {tone2}"), out("/loop 1"), out("/channel/number 2"), out("/length 500")], **at_once),
        Case("DumpPrefixes", "2", 2, ["/loop 1", "/dump /loop", "/dump /dsp /loop", "/dump/dsp/latency"],
             expected=[out("/loop 1")] + no_file_state[1:] + [out("/loop 1"), out("/dsp/latency 0")], **at_once),
        Case("Version", "2", 2, ["/post/version"],
             expected=[f"auvo5.sfplay~ version {ctx.version} for Pure Data {pd_version} (64-bit Linux)"],
             **at_once),
        Case("Info", "2", 2, ["/info", "/open tone2.wav", "/info"],
             expected=["no audio file"] + metadata(tone2, "500\\ ms")
             + [tone2, "/length 500", "/samples 24000", "/samplerate 48000", "/bitdepth 24", "/channel/number 2",
                '/format "WAV File"', '/duration "500 ms"', "/float 0"],
             **at_once),
    ]
    return ctx.run_player_cases("Reports", cases)


def bad_messages(ctx):
    at_once = dict(end=0, ignore=[r"^sfplay: "])
    no_dialog = ' needs a file name: Pd has no file dialog for objects (choose one with [openpanel] and send "/open $1")'
    transport = "libnorvdsp/src/dsp/KelAudioFilePlayerTransport"
    cases = [
        Case("UnknownMessage", "2", 2, ["/nonsense 3"],
             expected=['error: error occurred when processing "/nonsense 3". Reason: unsupported message ?'], **at_once),
        Case("MissingFile", "2", 2, ["/open nothere.wav"],
             expected=[error_at("libnorvdsp/src/dsp/KelAudioFilePlayerMessages", 'Could not find file "nothere.wav"')],
             **at_once),
        Case("OpenWithoutName", "2", 2, ["/open", "/load", "/file"],
             expected=[f'error: "{m}"{no_dialog}' for m in ("/open", "/load", "/file")], **at_once),
        Case("ExportRef", "2", 2, ["/exportref"],
             expected=['error: "/exportref" is for Max only: Pd has no such dialog or page'], **at_once),
        Case("NoLeadingSlash", "2", 2, ["foo 1"],
             expected=[error_at("libpuredata/src/PdWrapperOsc",
                                "malformed OSC address (missing initial '/') for message \"foo 1\"")], **at_once),
        Case("NotASoundFile", "2", 2, ["/open notasound.wav"],
             expected=[error_at("libnorvdsp/src/audiofiles/KelWavFileReader",
                                f'file "{ctx.fixture("notasound.wav")}" is not a valid WAV file')], **at_once),
        Case("HeaderCut", "2", 2, ["/open cutheader.wav"],
             expected=[error_at("libnorvdsp/src/audiofiles/KelWavFileReader",
                                f'file "{ctx.fixture("cutheader.wav")}" is not a valid WAV file')], **at_once),
        Case("NoFile", "2", 2, ["/start", "1"], expected=[error_at(transport, "No open file")] * 2, **at_once),
        Case("NoSuchMarker", "2", 2, ["/open frameindex.wav", "/seek/marker/byid 9"],
             expected=[error_at(transport, 'no marker with ID "9"')], **at_once),
        # Creation arguments Pd cannot make a box of.
        Case("TooManyNumbers", "1 2 3", 1, [],
             expected=[error_at("auvo5.sfplay_tilde/pd/SfplayPd", "too many numbers: [auvo5.sfplay~ CHANNELS BUFFERSIZE]"),
                       "verbose(0): auvo5.sfplay~ 1 2 3", "verbose(1): ... couldn't create"], **at_once),
        Case("UnknownArgument", "@foo 1", 1, [],
             expected=[error_at("auvo5.sfplay_tilde/pd/SfplayPd", 'unknown argument "@foo": [auvo5.sfplay~ CHANNELS '
                                'BUFFERSIZE] or @channels, @buffersize, @initwith'),
                       "verbose(0): auvo5.sfplay~ @foo 1", "verbose(1): ... couldn't create"], **at_once),
    ]
    return ctx.run_player_cases("BadMessages", cases)


def files_found(ctx):
    """Where "/open NAME" finds NAME: the patch's folder (and folders under
    it) first, then Pd's search path (-path); absolute names as they are.
    "/preset/export" writes beside the patch and "/preset/load" reads from there."""
    tone2 = ctx.fixture("tone2.wav")
    at_once = dict(end=0, ignore=[r"^sfplay: /(?!filename )"])

    def beside(case, name):
        return os.path.join(ctx.tmp, "FilesFound", case, name)

    cases = [
        Case("PatchFolder", "2", 2, ["/open tone2.wav"], paths=[], beside=[("tone2.wav", "tone2.wav")],
             expected=[out("/filename " + beside("PatchFolder", "tone2.wav"))], **at_once),
        Case("FolderUnderPatch", "2", 2, ["/open sounds/tone2.wav"], paths=[],
             beside=[("tone2.wav", "sounds/tone2.wav")],
             expected=[out("/filename " + beside("FolderUnderPatch", "sounds/tone2.wav"))], **at_once),
        Case("SearchPath", "2", 2, ["/open tone2.wav"], paths=[ctx.fixtures], expected=[out("/filename " + tone2)],
             **at_once),
        Case("PatchFolderFirst", "2", 2, ["/open tone2.wav"], paths=[ctx.fixtures],
             beside=[("tone2.wav", "tone2.wav")],
             expected=[out("/filename " + beside("PatchFolderFirst", "tone2.wav"))], **at_once),
        Case("AbsoluteName", "2", 2, ["/open " + tone2], paths=[], expected=[out("/filename " + tone2)], **at_once),
        Case("NotFound", "2", 2, ["/open tone2.wav"], paths=[],
             expected=[error_at("libnorvdsp/src/dsp/KelAudioFilePlayerMessages", 'Could not find file "tone2.wav"')],
             **at_once),
        Case("PresetBesidePatch", "2", 2, ["/loop 1", "/preset/export p.txt", "/loop 0", "/preset/load p.txt",
                                           "/dump /loop"], paths=[],
             expected=[out(f"/preset/{what} " + beside("PresetBesidePatch", "p.txt"))
                       for what in ("saved", "loading", "loaded")] + [out("/loop 1")],
             end=0),
    ]
    return ctx.run_player_cases("FilesFound", cases)
