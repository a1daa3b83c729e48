// A small OSC-controlled processor for the interface, preset, snapshot and
// frame tests: a float gain, an integer mode, a string name and four
// indexed sources /source/[index]/gain. Process multiplies each input by the
// gain. Its handlers log what they took, so tests can see dispatch order.
#pragma once

#include <array>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "dsp/KelAudioProcessorWithOscInAudioInterrupt.h"
#include "osc/KelOscArgumentShape.h"
#include "osc/KelOscPatternMatching.h"

namespace kel::test {

class TestProcessor : public AudioProcessorWithOscInAudioInterrupt
{
public:
    static constexpr int numSources = 4;

    std::atomic<float> gain{1.0f};  // read by Process on the audio thread
    int mode = 0;
    std::string name = "none";
    std::array<float, numSources> sourceGains{};
    std::vector<std::string> log;
    std::atomic<int> processCalls{0};
    int clearCalls = 0;

    explicit TestProcessor(std::uint32_t numInputs = 2, std::uint32_t numOutputs = 2)
        : AudioProcessorWithOscInAudioInterrupt(numInputs, numOutputs)
    {
        AddDocumentation(OscAddressPattern("/gain"), "gain", "set the gain", "n");
        AddDocumentation(OscAddressPattern("/source/[index]/gain"), "source gain", "set a source's gain", "n");

        on("/gain",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "n"))
                   return false;
               gain = float(m.getArgumentAsDouble(0));
               return trace("gain");
           });
        on("/mode",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "n"))
                   return false;
               mode = m.getArgumentAsInt32(0);
               return trace("mode number");
           });
        on("/mode",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "s"))
                   return false;
               mode = m[0].getString() == "fast" ? 2 : 1;
               return trace("mode name");
           });
        on("/name",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "s"))
                   return false;
               name = m[0].getString();
               return trace("name");
           });
        on("/source/*/gain",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "n"))
                   return false;
               const Vector<std::int64_t> all{1, 2, 3, 4};
               for (const std::int64_t i : SelectIndices(m.getAddressPattern().getPart(1), all, "source"))
                   sourceGains[std::size_t(i - 1)] = float(m.getArgumentAsDouble(0));
               return trace("source gain");
           });
        // The frame's own "/dsp/mute" comes first: this one must never run.
        on("/dsp/mute", [this](const OscMessage& m) { return OscHasShape(m, "b") && trace("processor mute"); });
        // Own handlers come before the generic ones: "/dump" with an integer.
        on("/dump",
           [this](const OscMessage& m)
           {
               if (!OscHasShape(m, "n"))
                   return false;
               return trace("own dump");
           });
    }

    OscBundle GetState() const override
    {
        OscBundle state = AudioProcessorWithOscInAudioInterrupt::GetState();
        state.AddFloatMessage(OscAddressPattern("/gain"), gain.load());
        state.AddInt32Message(OscAddressPattern("/mode"), mode);
        state.AddStringMessage(OscAddressPattern("/name"), name);
        for (int i = 0; i < numSources; ++i)
            state.AddFloatMessage(OscAddressPattern("/source/" + std::to_string(i + 1) + "/gain"),
                                  sourceGains[std::size_t(i)]);
        return state;
    }

    String getName() const override { return "test~"; }

    /** Sends a message in its text form. */
    bool Send(const std::string& text, const MessageFlag& flag = {})
    {
        return ProcessMessage(OscMessage::CreateFromText(text), flag);
    }

protected:
    void Process(const AudioBufferBase<float>& inputs, AudioBufferBase<float>& outputs) noexcept override
    {
        processCalls.fetch_add(1, std::memory_order_relaxed);
        for (std::uint32_t c = 0; c < outputs.getNumChannels(); ++c)
        {
            float* out = outputs.getWritePointer(c);
            const float* in = c < inputs.getNumChannels() ? inputs.getReadPointer(c) : nullptr;
            for (std::uint64_t i = 0; i < outputs.getNumSamples(); ++i)
                out[i] = in != nullptr ? in[i] * gain.load(std::memory_order_relaxed) : 0.0f;
        }
    }

    void ClearState() override { ++clearCalls; }

private:
    template <typename F>
    void on(std::string_view address, F f)
    {
        AddMessageHandler(OscAddressPattern(address),
                          [f = std::move(f)](const OscMessage& m, const MessageFlag&) { return f(m); });
    }

    bool trace(std::string what)
    {
        log.push_back(std::move(what));
        return true;
    }
};

/** Keeps what the interface posts, as the console would show it. */
struct RecordingConsole : HostNotifier::Listener
{
    std::vector<std::pair<HostNotifier::Level, std::string>> reports;
    std::vector<std::string> clipboard;
    std::vector<std::string> lookedUp;

    void Report(const String& text, HostNotifier::Level level) override { reports.emplace_back(level, text); }
    bool CopyToClipboard(const String& text) override
    {
        clipboard.push_back(text);
        return true;
    }

    /** The console lines (HostNotifier::ComposeConsoleText). */
    std::vector<std::string> lines() const
    {
        std::vector<std::string> result;
        for (const auto& [level, text] : reports)
            result.push_back(HostNotifier::ComposeConsoleText(text, level));
        return result;
    }
};

/** Keeps the reports an interface sends out and the messages it took. */
struct RecordingObserver : OscObserver
{
    std::vector<std::string> reports;
    std::vector<std::string> taken;
    std::vector<std::uint32_t> takenFlags;

    void OnOscReport(const OscInterface&, const OscBundle& report) override
    {
        report.ForEachMessage([this](const OscMessage& m) { reports.push_back(m.toString()); });
    }
    void OnOscMessageTaken(const OscInterface&, const OscMessage& m, const MessageFlag& flag) override
    {
        taken.push_back(m.toString());
        takenFlags.push_back(flag.getBits());
    }
};

/** A processor with a console and an observer attached, as a host has it. */
struct TestObject
{
    TestProcessor processor;
    RecordingConsole console;
    RecordingObserver observer;

    TestObject()
    {
        processor.AddHostListener(&console);
        processor.AddObserver(&observer);
    }
    ~TestObject()
    {
        processor.RemoveObserver(&observer);
        processor.RemoveHostListener(&console);
    }
};

} // namespace kel::test
