"""The files the cases play, written by sox and by libsndfile
(sfplay-make-frame-index), never by the player under test."""
import os
import subprocess

# name: sox arguments after "-n" (24-bit at 48 kHz, Pd's rate in the tests);
# sines starting at their peak, so that no file starts silent.
SOX = {
    "tone2.wav": "-r 48000 -b 24 -c 2 {out} synth 0.5 sine 440 0 25 sine 660 0 25 gain -6",
    "tone3.wav": "-r 48000 -b 24 -c 3 {out} synth 0.5 sine 440 0 25 sine 550 0 25 sine 770 0 25 gain -6",
    # Ten seconds: longer than the smallest buffer (192000 frames), so streamed.
    "long2.wav": "-r 48000 -b 24 -c 2 {out} synth 10 sine 440 0 25 sine 660 0 25 gain -6",
    # Every channel its own frequency, so that outlets cannot stand in for each other.
    "many256.wav": "-r 48000 -b 24 -c 256 {out} synth 0.25 "
                   + " ".join(f"sine {200 + 7 * k} 0 25" for k in range(256)) + " gain -12",
}


def make(folder, sox, make_frame_index):
    os.makedirs(folder, exist_ok=True)
    for name, arguments in SOX.items():
        out = os.path.join(folder, name)
        subprocess.run([sox, "-n"] + arguments.format(out=out).split(), check=True)
    subprocess.run([make_frame_index, os.path.join(folder, "frameindex.wav")], check=True)
    # Damaged files: text named .wav, and a WAV cut inside its header.
    with open(os.path.join(folder, "notasound.wav"), "w", encoding="utf-8") as f:
        f.write("this is text, not RIFF")
    with open(os.path.join(folder, "tone2.wav"), "rb") as f:
        head = f.read(30)
    with open(os.path.join(folder, "cutheader.wav"), "wb") as f:
        f.write(head)
    return 0
