#include "SfplayListener.h"

SfplayListener::SfplayListener(kel::ReportQueue& queue) : reports(queue)
{
    // Built here, on the host's thread, so the audio thread's reports never
    // construct (allocate) them.
    kel::AudioFilePlayer::ProgressAddress();
    kel::AudioFilePlayer::BufferingAddress();
}

void SfplayListener::OnPlaybackEnded()
{
    reports.PushBang();
}

void SfplayListener::OnProgress(double percent)
{
    reports.PushValue(kel::AudioFilePlayer::ProgressAddress(), percent);
}

void SfplayListener::OnBuffering(double percent)
{
    reports.PushValue(kel::AudioFilePlayer::BufferingAddress(), percent);
}

void SfplayListener::OnOscMessage(const kel::OscBundle& report)
{
    reports.PushBundle(report);
}
