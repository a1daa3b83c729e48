#include "common/KelThread.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <type_traits>

#if defined(_WIN32)
#include <string>
#include <windows.h>
#include <process.h>
#else
#include <pthread.h>
#endif

namespace kel {

namespace {

// Debuggers and profilers show this name; Linux allows 15 characters.
void SetCurrentThreadName(const String& name)
{
    if (name.empty())
        return;
#if defined(_WIN32)
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
    const auto setDescription =
        kernel ? reinterpret_cast<SetDescription>(reinterpret_cast<void*>(::GetProcAddress(kernel, "SetThreadDescription")))
               : nullptr;
    if (setDescription != nullptr)
    {
        std::wstring wide(name.size(), L'\0');
        const int length = ::MultiByteToWideChar(CP_UTF8, 0, name.data(), int(name.size()), wide.data(), int(wide.size()));
        if (length > 0)
        {
            wide.resize(std::size_t(length));
            setDescription(::GetCurrentThread(), wide.c_str());
        }
    }
#elif defined(__APPLE__)
    pthread_setname_np(name.c_str());
#else
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
#endif
}

#if !defined(_WIN32)
// pthread_t is an integer on Linux and a pointer on macOS.
template <typename Handle>
std::uint64_t HandleToInteger(Handle handle) noexcept
{
    if constexpr (std::is_pointer_v<Handle>)
        return std::uint64_t(reinterpret_cast<std::uintptr_t>(handle));
    else
        return std::uint64_t(handle);
}
#endif

} // namespace

std::uint64_t CurrentThreadId() noexcept
{
#if defined(_WIN32)
    // Not std::this_thread::get_id() nor pthread_self(): under winpthreads
    // they allocate a record the first time a foreign thread asks.
    return std::uint64_t(::GetCurrentThreadId());
#else
    return HandleToInteger(pthread_self());
#endif
}

struct Thread::Native
{
#if defined(_WIN32)
    HANDLE handle = nullptr;
#else
    pthread_t handle{};
    bool joinable = false;
#endif
};

Thread::Thread(String threadName) : name(std::move(threadName)) {}

Thread::~Thread()
{
    stop(-1.0);
    delete native;
}

void Thread::Entry(Thread* self) noexcept
{
    SetCurrentThreadName(self->name);
    try
    {
        self->run();
    }
    catch (...)
    {
        // A worker has nobody to report to; ending quietly beats taking
        // the host process down.
    }
    // Unless the owner has handed itself over, *self may be gone as soon as
    // this exchange is seen: it is the worker's last touch of it.
    if (self->life.exchange(Life::finished, std::memory_order_acq_rel) != Life::handedOver)
        return;

    // Nobody will stop or join this thread any more: it releases itself, so
    // that the destructor, which whenFinished may run right here, has
    // nothing to wait for.
    std::function<void()> action = std::move(self->whenFinished);
#if defined(_WIN32)
    ::CloseHandle(self->native->handle);
    self->native->handle = nullptr;
#else
    pthread_detach(pthread_self());
    self->native->joinable = false;
#endif
    self->life.store(Life::idle, std::memory_order_release);
    try
    {
        action();
    }
    catch (...)
    {
    }
}

bool Thread::isRunning() const noexcept
{
    const Life now = life.load(std::memory_order_acquire);
    return now == Life::running || now == Life::handedOver;
}

void Thread::reap() noexcept
{
    if (native != nullptr)
    {
#if defined(_WIN32)
        if (native->handle != nullptr)
        {
            // run() has returned; this waits only for the thread's exit.
            ::WaitForSingleObject(native->handle, INFINITE);
            ::CloseHandle(native->handle);
            native->handle = nullptr;
        }
#else
        if (native->joinable)
        {
            pthread_join(native->handle, nullptr);
            native->joinable = false;
        }
#endif
    }
    life.store(Life::idle, std::memory_order_release);
}

bool Thread::start()
{
    const std::lock_guard guard(controlMutex);
    exitFlag.store(false, std::memory_order_release);
    if (isRunning())
        return true;
    if (life.load(std::memory_order_acquire) == Life::finished)
        reap();

    if (native == nullptr)
        native = new Native();
    // Before the thread exists: a worker that ends at once must find it.
    life.store(Life::running, std::memory_order_release);
#if defined(_WIN32)
    // On x64 the lambda's calling convention is the one _beginthreadex wants.
    auto entry = [](void* arg) -> unsigned {
        Entry(static_cast<Thread*>(arg));
        return 0;
    };
    const auto handle = ::_beginthreadex(nullptr, 0, entry, this, 0, nullptr);
    if (handle == 0)
    {
        life.store(Life::idle, std::memory_order_release);
        return false;
    }
    native->handle = reinterpret_cast<HANDLE>(handle);
#else
    auto entry = [](void* arg) -> void* {
        Entry(static_cast<Thread*>(arg));
        return nullptr;
    };
    if (pthread_create(&native->handle, nullptr, entry, this) != 0)
    {
        life.store(Life::idle, std::memory_order_release);
        return false;
    }
    native->joinable = true;
#endif
    return true;
}

void Thread::signalShouldExit() noexcept
{
    exitFlag.store(true, std::memory_order_release);
}

void Thread::notify() noexcept
{
    // A wake-up still pending covers this one: the audio thread asks every
    // block while the ring is low, and takes the event's lock once a cycle
    // rather than every block.
    if (wakePending.exchange(true, std::memory_order_acq_rel))
        return;
    {
        const std::lock_guard lock(wakeMutex);
        signalled = true;
    }
    wakeCondition.notify_all();
}

bool Thread::wait(double milliseconds)
{
    std::unique_lock lock(wakeMutex);
    if (!signalled)
    {
        if (milliseconds < 0.0)
            wakeCondition.wait(lock, [this] { return signalled; });
        else
            wakeCondition.wait_for(lock, std::chrono::duration<double, std::milli>(milliseconds),
                                   [this] { return signalled; });
    }
    const bool wasSignalled = signalled;
    signalled = false;
    // Cleared before the work the wake-up asked for: a request made from here
    // on signals again, one made before is served by that work.
    wakePending.store(false, std::memory_order_release);
    return wasSignalled;
}

bool Thread::stop(double timeoutMilliseconds)
{
    const std::lock_guard guard(controlMutex);
    if (life.load(std::memory_order_acquire) == Life::idle)
        return true;

    signalShouldExit();
    notify();

    // Polled: a condition signalled by the worker would be touched by it
    // after the owner may already have destroyed it.
    const auto deadline = std::chrono::steady_clock::now()
                        + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double, std::milli>(std::max(0.0, timeoutMilliseconds)));
    for (;;)
    {
        const Life now = life.load(std::memory_order_acquire);
        if (now == Life::finished)
        {
            reap();
            return true;
        }
        if (now == Life::idle)
            return true;
        if (timeoutMilliseconds >= 0.0 && std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool Thread::handOver(std::function<void()> action)
{
    if (life.load(std::memory_order_acquire) != Life::running)
        return false;
    // Written before the exchange publishes it; the worker reads it only
    // after seeing handedOver.
    whenFinished = std::move(action);
    Life expected = Life::running;
    if (life.compare_exchange_strong(expected, Life::handedOver, std::memory_order_acq_rel))
        return true;  // *this may already be gone
    // The worker finished meanwhile and never reads whenFinished.
    whenFinished = nullptr;
    return false;
}

} // namespace kel
