#include "SfplayObject.h"

#include "common/KelException.h"

SfplayListener::SfplayListener(auvo_sfplay_t* object) : x(object)
{
    // Built here, on the main thread, so the audio thread's reports never
    // construct (allocate) them.
    kel::AudioFilePlayer::ProgressAddress();
    kel::AudioFilePlayer::BufferingAddress();
}

maxmsp::DumpOutletReports* SfplayListener::reports() const noexcept
{
    return x->console != nullptr ? &x->console->getReports() : nullptr;
}

void SfplayListener::OnPlaybackEnded()
{
    if (auto* r = reports())
        r->SendBang();
}

void SfplayListener::OnProgress(double percent)
{
    if (auto* r = reports())
        r->SendValue(kel::AudioFilePlayer::ProgressAddress(), percent);
}

void SfplayListener::OnBuffering(double percent)
{
    if (auto* r = reports())
        r->SendValue(kel::AudioFilePlayer::BufferingAddress(), percent);
}

void SfplayListener::OnOscMessage(const kel::OscBundle& report)
{
    try
    {
        if (auto* r = reports())
            r->SendBundle(report);
    }
    catch (const kel::Exception& failure)
    {
        object_error(x->asObject(), "%s", failure.what());
    }
    catch (...)
    {
    }
}
