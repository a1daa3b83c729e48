// Records signal blocks as a 64-bit float WAV file (WAVE_FORMAT_EXTENSIBLE
// above two channels). The file opens at the first block, when the channel
// count is known; sizes are written when it closes.
// Who may call: one thread at a time (the audio thread writes, the main
// thread closes between runs).
#pragma once

#include <cstdio>
#include <string>

namespace maxsim
{

class WavRecorder
{
public:
    explicit WavRecorder(std::string path) : path(std::move(path)) {}
    ~WavRecorder() { Close(); }
    WavRecorder(const WavRecorder&) = delete;
    WavRecorder& operator=(const WavRecorder&) = delete;

    // Appends `frames` frames of `channels` channels; false when the file cannot be written.
    bool Write(double* const* channelData, long channels, long frames, double sampleRate);
    void Close();
    const std::string& getPath() const { return path; }

private:
    void writeHeader();

    std::string path;
    std::FILE* file = nullptr;
    bool failed = false;
    long channels = 0;
    unsigned sampleRate = 0;
    unsigned long long dataBytes = 0;
};

}  // namespace maxsim
