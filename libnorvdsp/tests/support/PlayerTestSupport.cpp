#include "support/PlayerTestSupport.h"

#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include <gtest/gtest.h>

namespace kel::test {

#if KEL_HAVE_SNDFILE
PlayerFixture WritePlayerFixture(const std::string& path, int format, int channels, std::int64_t frames,
                                 int sampleRate, const std::vector<FixtureMarker>& markers)
{
    const bool written = WriteWithSndfile(path, format, channels, frames, sampleRate,
                                          [&markers](SNDFILE* file)
                                          {
                                              if (markers.empty())
                                                  return;
                                              SF_CUES cues{};
                                              cues.cue_count = std::uint32_t(markers.size());
                                              for (std::size_t i = 0; i < markers.size(); ++i)
                                              {
                                                  auto& point = cues.cue_points[i];
                                                  point.indx = markers[i].id;
                                                  point.position = markers[i].position;
                                                  point.fcc_chunk = 0x61746164;  // "data"
                                                  point.sample_offset = markers[i].position;
                                                  std::strncpy(point.name, markers[i].name.c_str(),
                                                               sizeof(point.name) - 1);
                                              }
                                              sf_command(file, SFC_SET_CUE, &cues, sizeof(cues));
                                          });
    EXPECT_TRUE(written) << path;
    return {path, DecodeWithSndfile(path)};
}
#endif

void RecordingPlayerListener::add(Event event)
{
    event.frame = currentFrame.load();
    {
        const std::lock_guard lock(mutex);
        recorded.push_back(event);
    }
    if (onEvent)
        onEvent(event);
}

std::vector<RecordingPlayerListener::Event> RecordingPlayerListener::events() const
{
    const std::lock_guard lock(mutex);
    return recorded;
}

std::vector<double> RecordingPlayerListener::values(Event::Kind kind) const
{
    std::vector<double> result;
    for (const auto& e : events())
        if (e.kind == kind)
            result.push_back(e.value);
    return result;
}

std::vector<std::string> RecordingPlayerListener::messages(const std::string& prefix) const
{
    std::vector<std::string> result;
    for (const auto& e : events())
        if (e.kind == Event::Kind::message && e.text.starts_with(prefix))
            result.push_back(e.text);
    return result;
}

int RecordingPlayerListener::countEnded() const
{
    int count = 0;
    for (const auto& e : events())
        count += e.kind == Event::Kind::ended ? 1 : 0;
    return count;
}

void RecordingPlayerListener::clear()
{
    const std::lock_guard lock(mutex);
    recorded.clear();
}

PlayerHost::PlayerHost(std::uint32_t channels, std::uint64_t bufferSize, double sampleRate, std::uint32_t blockSize,
                       bool positionConnected, double freewheelPatienceSeconds)
    : subject(std::make_unique<AudioFilePlayer>(channels, bufferSize, freewheelPatienceSeconds)), block(blockSize)
{
    subject->AddHostListener(&consoleReports);
    subject->AddListener(&reports);
    subject->Prepare(sampleRate, blockSize);
    subject->getConnections().SetAllOutletsStatus(1);
    subject->getConnections().SetOutletStatus(channels, positionConnected ? 1 : 0);
    outputs.assign(subject->getNumOutputs(), std::vector<float>(blockSize, 0.0f));
    for (auto& channel : outputs)
        outputPointers.push_back(channel.data());
    wideOutputs.assign(subject->getNumOutputs(), std::vector<double>(blockSize, 0.0));
    for (auto& channel : wideOutputs)
        wideOutputPointers.push_back(channel.data());
}

PlayerHost::~PlayerHost()
{
    DestroyPlayer();
}

void PlayerHost::DestroyPlayer()
{
    if (subject == nullptr)
        return;
    subject->RemoveListener(&reports);
    subject.reset();
}

bool PlayerHost::Send(const std::string& text)
{
    return subject->ProcessMessage(OscMessage::CreateFromText(text));
}

bool PlayerHost::WaitForRing(std::uint64_t frames, double seconds)
{
    const auto start = std::chrono::steady_clock::now();
    while (!subject->isReadyFor(frames))
    {
        if (std::chrono::steady_clock::now() - start > std::chrono::duration<double>(seconds))
            return false;
        subject->RequestBuffering();
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    return true;
}

void PlayerHost::runBlock(std::uint32_t frames, bool freewheel, bool wide)
{
    if (freewheel)
        WaitForRing(frames);
    reports.setFrame(rendered);
    if (wide)
        subject->ProcessBlock(static_cast<const double* const*>(nullptr), 0, wideOutputPointers.data(),
                              std::uint32_t(wideOutputPointers.size()), frames);
    else
        subject->ProcessBlock(static_cast<const float* const*>(nullptr), 0, outputPointers.data(),
                              std::uint32_t(outputPointers.size()), frames);
    rendered += frames;
}

namespace {

/** Runs blocks of at most blockSize frames and interleaves their outputs. */
template <typename Sample, typename RunBlock>
std::vector<Sample> RenderInterleaved(std::uint64_t numFrames, std::uint32_t blockSize,
                                      const std::vector<std::vector<Sample>>& outputs, RunBlock runBlock)
{
    const std::size_t channels = outputs.size();
    std::vector<Sample> interleaved;
    interleaved.reserve(std::size_t(numFrames) * channels);
    for (std::uint64_t done = 0; done < numFrames;)
    {
        const auto frames = std::uint32_t(std::min<std::uint64_t>(blockSize, numFrames - done));
        runBlock(frames);
        for (std::uint32_t f = 0; f < frames; ++f)
            for (std::size_t c = 0; c < channels; ++c)
                interleaved.push_back(outputs[c][f]);
        done += frames;
    }
    return interleaved;
}

} // namespace

std::vector<float> PlayerHost::Render(std::uint64_t numFrames, bool freewheel)
{
    return RenderInterleaved(numFrames, block, outputs,
                             [&](std::uint32_t frames) { runBlock(frames, freewheel, false); });
}

std::vector<double> PlayerHost::Render64(std::uint64_t numFrames, bool freewheel)
{
    return RenderInterleaved(numFrames, block, wideOutputs,
                             [&](std::uint32_t frames) { runBlock(frames, freewheel, true); });
}

void PlayerHost::RunBlock()
{
    runBlock(block, false, false);
}

bool WaitUntil(const std::function<bool()>& predicate, double seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!predicate())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool FinishesWithin(double seconds, std::function<void()> action)
{
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    std::thread([done, action = std::move(action)] {
        action();
        done->set_value();
    }).detach();
    return finished.wait_for(std::chrono::duration<double>(seconds)) == std::future_status::ready;
}

} // namespace kel::test
