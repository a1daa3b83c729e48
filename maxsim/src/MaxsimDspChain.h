// The DSP chain: compiled on `dsp on` (multichanneloutputs, then dsp64 of
// every signal box), run block by block on a dedicated audio thread.
// Main thread only, except the chain object's methods, which objects call
// from their dsp64.
#pragma once

#include <string>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

void DspStart(double sampleRate, long vectorSize, const std::vector<t_object*>& boxes);
void DspStop();
bool DspIsOn();
// Compiles the chain again (a signal box was created while DSP is on).
void DspRecompile(const std::vector<t_object*>& boxes);
double DspSampleRate();
long DspVectorSize();
void SetInputChannels(t_object* box, long inlet, long channels);
// Advances audio time by ms: the blocks run on the audio thread, paced at
// `speed` times real time (0: as fast as possible), while this thread serves
// the main-thread queues.
void RunAudio(double ms, double speed);
// Starts writing the box's signal outlets to a WAV file; "" stops.
void SetRecording(t_object* box, const std::string& path);
void StopAllRecordings();
// Adds a perform routine for the box whose dsp64 is running.
void AddPerform(t_object* box, t_perfroutine64 fn, long flags, void* userParam);
void RemoveFromChain(t_object* box);

}  // namespace maxsim
