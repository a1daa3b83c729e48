#include "MaxsimAudioThread.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "MaxsimDspChain.h"
#include "MaxsimScheduler.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

using SteadyClock = std::chrono::steady_clock;

struct State
{
    std::thread continuous;
    std::atomic<bool> stop {false};
    std::atomic<long long> blocks {0};  // of the continuous thread
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

double blockMs() { return 1000.0 * static_cast<double>(DspVectorSize()) / DspSampleRate(); }

void block(double endMs)
{
    RunBlock();
    AdvanceTime(endMs);
    SchedulerTick();
}

void paceTo(SteadyClock::time_point began, double ms)
{
    std::this_thread::sleep_until(began + std::chrono::duration_cast<SteadyClock::duration>(
                                              std::chrono::duration<double, std::milli>(ms)));
}

}  // namespace

void RunAudio(double ms, double speed)
{
    State& s = state();
    const double step = blockMs();
    if (s.continuous.joinable())
    {
        const long long target = s.blocks.load() + static_cast<long long>(std::ceil(ms / step - 1e-9));
        ServeWhile([&] { return s.blocks.load() < target; });
        return;
    }
    const long blocks = static_cast<long>(std::ceil(ms / step - 1e-9));
    const double start = SchedulerTime();
    std::atomic<bool> done {false};
    AudioBegins(false);
    std::thread audio([&] {
        SetRole(Role::Audio);
        const auto began = SteadyClock::now();
        for (long k = 0; k < blocks; ++k)
        {
            block(start + static_cast<double>(k + 1) * step);
            if (speed > 0.0)
                paceTo(began, static_cast<double>(k + 1) * step / speed);
        }
        done = true;
        Wake();
    });
    ServeWhile([&] { return !done.load(); });
    audio.join();
    AudioEnds();
}

void StartAudio()
{
    State& s = state();
    if (s.continuous.joinable())
        return;
    s.stop = false;
    s.blocks = 0;
    const double step = blockMs();
    const double start = SchedulerTime();
    AudioBegins(true);
    s.continuous = std::thread([&s, step, start] {
        SetRole(Role::Audio);
        const auto began = SteadyClock::now();
        for (long long k = 1; !s.stop.load(); ++k)
        {
            block(start + static_cast<double>(k) * step);
            s.blocks = k;
            Wake();
            paceTo(began, static_cast<double>(k) * step);
        }
    });
}

void StopAudio()
{
    State& s = state();
    if (!s.continuous.joinable())
        return;
    s.stop = true;
    s.continuous.join();
    AudioEnds();
}


}  // namespace maxsim
