// An audio processor controlled through OSC: the frame (AudioProcessorBase,
// auto-mute) joined with kel::OscInterface. Its constructor registers the
// frame's own messages before the processor's, so they are tried first and
// a message the frame takes never reaches the processor:
//   "/verbose" s (level name) or b (true: normal, false: silent);
//   "/dsp/samplerate" n, and "/samplerate" n after every "/dsp" message;
//   "/dsp/buffersize" n; "/dsp/mute" b; "/dsp/bypass" b;
//   "/dsp/automute" and "/dsp/automute/active" b; "/dsp/automute/attack" n;
//   "/dsp/clear"; "/dsp/post"; "/dsp/latency" n (taken and ignored);
//   "/dump/dsp/latency" (reports "/dsp/latency" with the latency).
// Clamps as AudioProcessorBase and AudioProcessorWithAutoMute describe.
//
// "In audio interrupt": Max may run its scheduler, and so deliver messages,
// in the audio interrupt. Messages are handled at once on whichever thread
// delivers them; what they change that Process reads is atomic, and what
// needs reallocation (sample rate, block size, clear) waits for the
// processing lock, during which the audio thread outputs silence. Messages
// that touch files are deferred by the host to its main thread.
//
// A derived processor registers its messages in its constructor:
//     AddDocumentation(address, title, description, "n");
//     AddMessageHandler(address, [this](const OscMessage& m, const MessageFlag&) {
//         if (!OscHasShape(m, "n")) return false;   // not a form we take
//         ...; return true; });
// overrides GetState (calling this class's first) to append its own state,
// and reports through the HostNotifier operations (ReportWarning, ...).
#pragma once

#include <cstdint>

#include "dsp/KelAudioProcessorWithAutoMute.h"
#include "osc/KelOscInterface.h"

namespace kel {

class AudioProcessorWithOscInAudioInterrupt : public AudioProcessorWithAutoMute, public OscInterface
{
public:
    AudioProcessorWithOscInAudioInterrupt(std::uint32_t numInputs, std::uint32_t numOutputs);

    /** The frame's state: "/verbose" (level name), "/dsp/mute", "/dsp/bypass",
        "/dsp/automute/attack" (seconds), "/dsp/automute" (after the attack,
        which would switch auto-mute on). */
    OscBundle GetState() const override;

    /** The "/dsp/post" text, one line each. */
    Vector<String> getDspInformation() const;

protected:
    void VerbosityChanged(Verbosity level) final;

private:
    void registerFrameMessages();
};

} // namespace kel
