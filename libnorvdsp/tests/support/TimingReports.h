// Recorders for what the timing tests read back from a player: its console
// lines and its "/underrun" reports, kept with their argument types. Both
// may be called from any of the player's threads while the test reads them.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "dsp/KelAudioFilePlayer.h"
#include "osc/KelHostNotifier.h"

namespace kel::test {

class LockedConsole : public HostNotifier::Listener
{
public:
    void Report(const String& text, HostNotifier::Level level) override;
    /** The texts reported at a level, in order. */
    std::vector<std::string> texts(HostNotifier::Level level) const;
    /** Every text, at any level. */
    std::vector<std::string> all() const;

private:
    mutable std::mutex mutex;
    std::vector<std::pair<HostNotifier::Level, std::string>> reports;
};

struct UnderrunReport
{
    std::string typeTags;
    std::int64_t frames = 0;
    double milliseconds = 0.0;
};

class UnderrunLog : public AudioFilePlayer::Listener
{
public:
    void OnPlaybackEnded() override {}
    void OnProgress(double) override {}
    void OnBuffering(double) override {}
    void OnOscMessage(const OscBundle& report) override;

    std::vector<UnderrunReport> reports() const;

private:
    mutable std::mutex mutex;
    std::vector<UnderrunReport> recorded;
};

} // namespace kel::test
