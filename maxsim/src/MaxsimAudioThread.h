// The audio thread: blocks of the DSP chain, each followed by the time it
// reaches and (overdrive audio) a scheduler tick. `run MS` runs a thread for
// MS of audio at a chosen speed; `dsp start` one that runs, paced in real
// time, until it is stopped. Main thread only.
#pragma once

namespace maxsim
{

// Advances audio time by MS: without continuous audio, on a thread of its own
// at `speed` times real time (0: as fast as possible); with it, waits until
// the running thread has advanced MS. The main thread serves meanwhile.
void RunAudio(double ms, double speed);
void StartAudio();
void StopAudio();

}  // namespace maxsim
