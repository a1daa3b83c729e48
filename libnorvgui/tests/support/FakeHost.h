// What a window sees of an object, for the tests: an interface with a few
// documented messages of its own (beside those every object has), and a
// record of what the windows send.
#pragma once

#include <vector>

#include "KelWindowHost.h"

namespace kel::gui::test {

class TestInterface final : public OscInterface
{
public:
    TestInterface()
    {
        AddDocumentation(OscAddressPattern("/open"), "open a dialog for choosing audio file", "open a dialog for choosing audio file");
        AddDocumentation(OscAddressPattern("/open"), "open an audio file", "open an audio file", "s", "file name");
        AddDocumentation(OscAddressPattern("/start"), "start playback", "start playback");
        AddDocumentation(OscAddressPattern("/seek"), "play from this time", "play from this time (in msec) to the end of the file", "n",
                         "time (msec)");
        AddDocumentation(OscAddressPattern("/source/[index]/mute"), "mute source", "mute the i-th source");
    }
    String getName() const override { return "test~"; }
};

class FakeHost final : public WindowHost
{
public:
    OscInterface& getInterface() override { return object; }
    std::optional<PlayerStatus> GetPlayerStatus() const override { return std::nullopt; }
    void Send(const OscMessage& message) override { sent.push_back(message.toString()); }

    TestInterface object;
    std::vector<String> sent;
};

} // namespace kel::gui::test
