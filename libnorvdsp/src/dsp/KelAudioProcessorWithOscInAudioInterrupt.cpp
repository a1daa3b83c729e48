#include "dsp/KelAudioProcessorWithOscInAudioInterrupt.h"

#include "common/KelException.h"
#include "osc/KelOscArgumentShape.h"

namespace kel {

namespace {

const OscAddressPattern& VerboseAddress()
{
    static const OscAddressPattern address("/verbose");
    return address;
}
const OscAddressPattern& MuteAddress()
{
    static const OscAddressPattern address("/dsp/mute");
    return address;
}
const OscAddressPattern& BypassAddress()
{
    static const OscAddressPattern address("/dsp/bypass");
    return address;
}
const OscAddressPattern& AutoMuteAddress()
{
    static const OscAddressPattern address("/dsp/automute");
    return address;
}
const OscAddressPattern& AutoMuteActiveAddress()
{
    static const OscAddressPattern address("/dsp/automute/active");
    return address;
}
const OscAddressPattern& AutoMuteAttackAddress()
{
    static const OscAddressPattern address("/dsp/automute/attack");
    return address;
}
const OscAddressPattern& SampleRateAddress()
{
    static const OscAddressPattern address("/dsp/samplerate");
    return address;
}
const OscAddressPattern& ShortSampleRateAddress()
{
    static const OscAddressPattern address("/samplerate");
    return address;
}
const OscAddressPattern& BufferSizeAddress()
{
    static const OscAddressPattern address("/dsp/buffersize");
    return address;
}
const OscAddressPattern& ClearAddress()
{
    static const OscAddressPattern address("/dsp/clear");
    return address;
}
const OscAddressPattern& PostAddress()
{
    static const OscAddressPattern address("/dsp/post");
    return address;
}
const OscAddressPattern& LatencyAddress()
{
    static const OscAddressPattern address("/dsp/latency");
    return address;
}
const OscAddressPattern& DumpLatencyAddress()
{
    static const OscAddressPattern address("/dump/dsp/latency");
    return address;
}

} // namespace

AudioProcessorWithOscInAudioInterrupt::AudioProcessorWithOscInAudioInterrupt(std::uint32_t numInputs,
                                                                             std::uint32_t numOutputs)
    : AudioProcessorWithAutoMute(numInputs, numOutputs)
{
    setReportVerbosity(getVerbosity());
    registerFrameMessages();
}

void AudioProcessorWithOscInAudioInterrupt::VerbosityChanged(Verbosity level)
{
    setReportVerbosity(level);
}

void AudioProcessorWithOscInAudioInterrupt::registerFrameMessages()
{
    AddDocumentation(MuteAddress(), "mute",
                     "mute the DSP rendering. CPU resources are not used when the DSP is muted. Note that this is "
                     "applied whitout ramping/crossfade, so this might generate clicks",
                     "i", "on/off");
    AddDocumentation(BypassAddress(), "bypass",
                     "bypass the DSP rendering. CPU resources are not used when the DSP is bypassed. Note that this "
                     "is applied whitout ramping/crossfade, so this might generate clicks",
                     "i", "on/off");
    AddDocumentation(AutoMuteAddress(), "enable auto-mute",
                     "enable/disable the auto-mute (i.e. disable audio computation when incoming signals are 0)", "i",
                     "on/off");
    AddDocumentation(AutoMuteAttackAddress(), "auto-mute attack time",
                     "set the duration (in seconds) before auto-muting", "n", "seconds");
    AddDocumentation(PostAddress(), "post information",
                     "post various information to the Max console (audio should be turned on)");
    AddDocumentation(ClearAddress(), "clear the internal state", "clear the internal state");
    AddDocumentation(DumpLatencyAddress(), "dump latency",
                     "send the processor latency (in samples) through the dump outlet");
    AddDocumentation(VerboseAddress(), "set verbosity",
                     "set verbosity i.e. change the way information is posted to the Max console", "s",
                     String(verbosityChoices));

    AddMessageHandler(VerboseAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (OscHasShape(m, "s"))
                              SetVerbosity(GetVerbosity(m[0].getString()));
                          else if (OscHasShape(m, "b"))
                              // A boolean means normal or silent, deliberately.
                              SetVerbosity(m.getArgumentAsBool(0) ? Verbosity::normal : Verbosity::silent);
                          else
                              return false;
                          return true;
                      });
    AddMessageHandler(SampleRateAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "n"))
                              return false;
                          SetSampleRate(m.getArgumentAsDouble(0));
                          return true;
                      });
    AddMessageHandler(BufferSizeAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "n"))
                              return false;
                          SetBlockSize(m.getArgumentAsDouble(0));
                          return true;
                      });
    AddMessageHandler(MuteAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "b"))
                              return false;
                          SetMute(m.getArgumentAsBool(0));
                          return true;
                      });
    AddMessageHandler(BypassAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "b"))
                              return false;
                          SetBypass(m.getArgumentAsBool(0));
                          return true;
                      });
    for (const OscAddressPattern* address : {&AutoMuteAddress(), &AutoMuteActiveAddress()})
        AddMessageHandler(*address,
                          [this](const OscMessage& m, const MessageFlag&)
                          {
                              if (!OscHasShape(m, "b"))
                                  return false;
                              SetAutoMute(m.getArgumentAsBool(0));
                              return true;
                          });
    AddMessageHandler(AutoMuteAttackAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "n"))
                              return false;
                          SetAutoMuteAttack(m.getArgumentAsDouble(0));
                          return true;
                      });
    AddMessageHandler(ClearAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          Clear();
                          return true;
                      });
    AddMessageHandler(PostAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          PostLines(getDspInformation());
                          return true;
                      });
    AddMessageHandler(LatencyAddress(),
                      [](const OscMessage& m, const MessageFlag&) { return OscHasShape(m, "n"); });
    AddMessageHandler(DumpLatencyAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          OscBundle report;
                          report.AddInt32Message(LatencyAddress(), std::int32_t(getLatency()));
                          SendReport(report);
                          return true;
                      });
    // Last of the frame's: the short form, once no "/dsp" message matched.
    AddMessageHandler(ShortSampleRateAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "n"))
                              return false;
                          SetSampleRate(m.getArgumentAsDouble(0));
                          return true;
                      });
}

OscBundle AudioProcessorWithOscInAudioInterrupt::GetState() const
{
    OscBundle state = OscInterface::GetState();
    state.AddStringMessage(VerboseAddress(), ToString(getVerbosity()));
    state.AddBoolMessage(MuteAddress(), isMuted());
    state.AddBoolMessage(BypassAddress(), isBypassed());
    state.AddDoubleMessage(AutoMuteAttackAddress(), getAutoMuteAttack());
    state.AddBoolMessage(AutoMuteAddress(), isAutoMuteOn());
    return state;
}

Vector<String> AudioProcessorWithOscInAudioInterrupt::getDspInformation() const
{
    const InletsActivityAnalyzer& connections = getConnections();
    Vector<String> lines;
    lines.PushBack("number of inlets : " + ToString(getNumInputs()));
    lines.PushBack("number of outlets : " + ToString(getNumOutputs()));
    lines.PushBack("number of connected inlets : " + ToString(connections.getNumConnectedInlets()));
    lines.PushBack("number of connected outlets : " + ToString(connections.getNumConnectedOutlets()));
    lines.PushBack("number of active inlets : " + ToString(connections.getNumActiveInlets()));
    lines.PushBack("latency : " + ToString(getLatency()));
    return lines;
}

} // namespace kel
