// The DSP chain. It compiles on the main thread (multichanneloutputs, then
// dsp64 of each signal box, sources before the boxes their signal cords
// feed) while the previous chain keeps running on the audio thread, and is
// swapped in between blocks. A box leaves it by its own z_dsp_free, which
// waits for a block in progress.
#pragma once

#include <string>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

struct ObjectInfo;

// Main thread.
void DspConfigure(double sampleRate, long vectorSize);
void DspCompile(const std::vector<t_object*>& boxes);  // when DSP is on
void DspOff();
bool DspIsOn();
void SetInputChannels(t_object* box, long inlet, long channels);
// Records the listed signal outlets of the box (all when none is listed) to a
// WAV file, or stops ("" as the path). Returns an error text, empty when done.
std::string SetRecording(t_object* box, const std::string& path, const std::vector<long>& outlets);
void StopAllRecordings();

// Any thread.
double DspSampleRate();
long DspVectorSize();

// The audio thread: one block of the chain.
void RunBlock();

// The box whose dsp64 is running adds a perform routine.
void AddPerform(t_object* box, t_perfroutine64 fn, long flags, void* userParam);
// z_dsp_free: the box leaves the chain once the block in progress ends.
void RemoveFromChain(t_object* box, ObjectInfo& info);

}  // namespace maxsim
