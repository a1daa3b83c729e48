#include "KelGuiRuntime.h"

#include "KelGuiXErrors.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <juce_gui_basics/juce_gui_basics.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>

namespace juce {
// juce_linux_Messaging.cpp: one pass over the event sources that are ready.
bool dispatchNextMessageOnSystemQueue(bool returnIfNoPendingMessages);
} // namespace juce
#endif

namespace kel::gui {

namespace {

struct RuntimeState
{
    std::mutex threadLock; // guards boundThread
    std::optional<std::thread::id> boundThread;
    int users = 0;
    std::atomic<bool> running{false};
    bool dispatching = false;
    std::unique_ptr<juce::LookAndFeel_V4> lookAndFeel;
};

/** Never destroyed: a host that exits with boxes alive must not have JUCE's
    objects torn down by static destructors in whatever order they run. */
RuntimeState& State()
{
    static RuntimeState& state = *new RuntimeState;
    return state;
}

/** Whether the calling thread may be JUCE's message thread: on Linux the
    process's first thread (maxsim's main loop); elsewhere the host says
    which thread is its main one before acquiring. */
bool MayBind()
{
#if defined(__linux__)
    return pid_t(syscall(SYS_gettid)) == getpid();
#else
    return true;
#endif
}

/** Binds JUCE to the calling thread the first time; afterwards, whether
    the caller is that thread. */
bool OnBoundThread(bool bindIfFirst)
{
    RuntimeState& state = State();
    const std::lock_guard lock(state.threadLock);
    if (!state.boundThread)
    {
        if (!bindIfFirst || !MayBind())
            return false;
        state.boundThread = std::this_thread::get_id();
    }
    return *state.boundThread == std::this_thread::get_id();
}

} // namespace

bool HasDisplay()
{
    return CheckDisplay().available;
}

bool Acquire()
{
    if (!OnBoundThread(true))
        return false;
    RuntimeState& state = State();
    if (state.users == 0)
    {
        InstallXErrorHandler();
        juce::initialiseJuce_GUI();
        try
        {
            // Dark text on light backgrounds, for every window of every object.
            state.lookAndFeel =
                std::make_unique<juce::LookAndFeel_V4>(juce::LookAndFeel_V4::getLightColourScheme());
        }
        catch (...)
        {
            juce::shutdownJuce_GUI();
            RestoreXErrorHandler();
            throw;
        }
        juce::LookAndFeel::setDefaultLookAndFeel(state.lookAndFeel.get());
        state.running.store(true, std::memory_order_release);
    }
    ++state.users;
    return true;
}

void Release()
{
    RuntimeState& state = State();
    if (!OnBoundThread(false) || state.users == 0)
        return;
    if (--state.users > 0)
        return;
    state.running.store(false, std::memory_order_release);
    juce::LookAndFeel::setDefaultLookAndFeel(nullptr);
    state.lookAndFeel.reset();
    juce::shutdownJuce_GUI();
    RestoreXErrorHandler();
}

bool IsRunning() noexcept
{
    return State().running.load(std::memory_order_acquire);
}

int DispatchPendingEvents() noexcept
{
#if defined(__linux__)
    RuntimeState& state = State();
    if (!IsRunning() || state.dispatching || !OnBoundThread(false))
        return 0;
    // A timer or a message may post again while it runs: a bounded number
    // of passes keeps the host's loop going.
    constexpr int maximumPasses = 64;
    int passes = 0;
    state.dispatching = true;
    try
    {
        while (passes < maximumPasses && juce::dispatchNextMessageOnSystemQueue(true))
            ++passes;
    }
    catch (...)
    {
        // Nothing may leave towards a C caller; JUCE's own handlers report.
    }
    state.dispatching = false;
    return passes;
#else
    return 0;
#endif
}

} // namespace kel::gui
