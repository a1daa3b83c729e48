#include "SfplayObject.h"

SfplayListener::SfplayListener(auvo_sfplay_t* object) : x(object)
{
    // Built here, on the main thread, so the audio thread's reports never
    // construct (allocate) them.
    kel::AudioFilePlayer::ProgressAddress();
    kel::AudioFilePlayer::BufferingAddress();
}

void SfplayListener::OnPlaybackEnded()
{
    x->console->getReports().PushBang();
}

void SfplayListener::OnProgress(double percent)
{
    x->console->getReports().PushValue(kel::AudioFilePlayer::ProgressAddress(), percent);
}

void SfplayListener::OnBuffering(double percent)
{
    x->console->getReports().PushValue(kel::AudioFilePlayer::BufferingAddress(), percent);
}

void SfplayListener::OnOscMessage(const kel::OscBundle& report)
{
    x->console->getReports().PushBundle(report);
}
