// The listener through which an "auvo5.sfplay~" player reports, in every
// host: the end of playback as "bang", "/progress" and "/buffering" with
// the percentage, and the player's own bundles (copied), all into the
// host binding's report queue.
#pragma once

#include "dsp/KelAudioFilePlayer.h"
#include "osc/KelReportQueue.h"

/** Registered after the queue exists and removed before it goes. Any
    thread; never blocks, never throws. */
class SfplayListener : public kel::AudioFilePlayer::Listener
{
public:
    /** The host's thread (builds the report addresses, so that the audio
        thread never does). */
    explicit SfplayListener(kel::ReportQueue& reports);

    void OnPlaybackEnded() override;
    void OnProgress(double percent) override;
    void OnBuffering(double percent) override;
    void OnOscMessage(const kel::OscBundle& report) override;

private:
    kel::ReportQueue& reports;
};
