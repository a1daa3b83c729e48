#include "SfplayObject.h"

#include "common/KelException.h"

namespace {

const kel::OscAddressPattern& ProgressAddress()
{
    static const kel::OscAddressPattern address("/progress");
    return address;
}

const kel::OscAddressPattern& BufferingAddress()
{
    static const kel::OscAddressPattern address("/buffering");
    return address;
}

} // namespace

SfplayListener::SfplayListener(auvo_sfplay_t* object) : x(object)
{
    ProgressAddress();
    BufferingAddress();
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
        r->SendValue(ProgressAddress(), percent);
}

void SfplayListener::OnBuffering(double percent)
{
    if (auto* r = reports())
        r->SendValue(BufferingAddress(), percent);
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
