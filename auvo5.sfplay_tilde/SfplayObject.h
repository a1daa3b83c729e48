// The record of an "auvo5.sfplay~" box and the listener through which its
// player reports.
#pragma once

#include "MaxWrapperClassMsp.h"
#include "dsp/KelAudioFilePlayer.h"

class SfplayListener;

/** The generic MSP binding's fields come first (header, initwith, player,
    mc, input and output counts, windows, console and latency listeners),
    then the object's own. Max allocates it zero-filled; new fills it in. */
struct auvo_sfplay_t : maxmsp::MspObject<kel::AudioFilePlayer>
{
    SfplayListener* playerListener;  // owned; registered with the player
    long channels;                   // attribute: the player's channel count
    long buffersize;                 // attribute: the player's ring size in frames
};

/** Queues the player's reports for the dump outlet: the end of playback as
    "bang", "/progress" and "/buffering" with the percentage, and the
    player's own bundles (copied). Registered after the console exists and
    removed before it goes. Any thread; never blocks, never throws. */
class SfplayListener : public kel::AudioFilePlayer::Listener
{
public:
    /** Main thread (builds the report addresses, so that the audio thread
        never does). */
    explicit SfplayListener(auvo_sfplay_t* object);

    void OnPlaybackEnded() override;
    void OnProgress(double percent) override;
    void OnBuffering(double percent) override;
    void OnOscMessage(const kel::OscBundle& report) override;

private:
    auvo_sfplay_t* x;
};
