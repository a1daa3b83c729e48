#include "common/KelThread.h"

#include <chrono>
#include <exception>
#include <thread>

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

std::uint64_t CurrentThreadId()
{
#if defined(_WIN32)
    return std::uint64_t(::GetCurrentThreadId());
#else
    return std::uint64_t(pthread_self());
#endif
}

} // namespace

struct Thread::Native
{
#if defined(_WIN32)
    HANDLE handle = nullptr;
#else
    pthread_t handle{};
#endif
};

Thread::Thread(String threadName) : name(std::move(threadName)) {}

Thread::~Thread()
{
    if (!skipStopOnDestruction)
        stop(500.0);
    delete native;
}

void Thread::Entry(Thread* self)
{
    self->threadId.store(CurrentThreadId(), std::memory_order_release);
    SetCurrentThreadName(self->name);
    bool go = false;
    {
        std::unique_lock lock(self->startedMutex);
        go = self->startedCondition.wait_for(lock, std::chrono::milliseconds(10000),
                                             [self] { return self->started; });
    }
    if (go)
    {
        try
        {
            self->run();
        }
        catch (const std::exception&)
        {
            // A worker has nobody to report to; ending quietly beats taking
            // the host process down. (Only standard exceptions: a forced
            // end unwinds through here and must not be swallowed.)
        }
    }
    self->threadId.store(0, std::memory_order_release);
    self->running.store(false, std::memory_order_release);
}

bool Thread::start()
{
    std::lock_guard guard(startMutex);
    exitFlag.store(false, std::memory_order_release);
    if (running.load(std::memory_order_acquire))
        return true;

    {
        std::lock_guard lock(startedMutex);
        started = false;
    }
    if (native == nullptr)
        native = new Native();
    running.store(true, std::memory_order_release);
#if defined(_WIN32)
    // On x64 the lambda's calling convention is the one _beginthreadex wants.
    auto entry = [](void* arg) -> unsigned {
        Entry(static_cast<Thread*>(arg));
        return 0;
    };
    const auto handle = ::_beginthreadex(nullptr, 0, entry, this, 0, nullptr);
    if (handle == 0)
    {
        running.store(false, std::memory_order_release);
        return false;
    }
    if (native->handle != nullptr)
        ::CloseHandle(native->handle);
    native->handle = reinterpret_cast<HANDLE>(handle);
#else
    auto entry = [](void* arg) -> void* {
        Entry(static_cast<Thread*>(arg));
        return nullptr;
    };
    if (pthread_create(&native->handle, nullptr, entry, this) != 0)
    {
        running.store(false, std::memory_order_release);
        return false;
    }
    // Nobody joins: stop() polls the running flag, as a forced end must also
    // leave nothing to join.
    pthread_detach(native->handle);
#endif
    {
        std::lock_guard lock(startedMutex);
        started = true;
    }
    startedCondition.notify_all();
    return true;
}

void Thread::signalShouldExit() noexcept
{
    exitFlag.exchange(true, std::memory_order_acq_rel);
}

void Thread::notify() noexcept
{
    {
        std::lock_guard lock(wakeMutex);
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
    return wasSignalled;
}

bool Thread::stop(double timeoutMilliseconds)
{
    std::lock_guard guard(startMutex);
    if (!running.load(std::memory_order_acquire))
        return true;

    signalShouldExit();
    notify();

    const long long polls = timeoutMilliseconds > 0.0 ? static_cast<long long>(timeoutMilliseconds) / 5 : 0;
    for (long long i = 0; (timeoutMilliseconds < 0.0 || i < polls) && running.load(std::memory_order_acquire); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));

    if (!running.load(std::memory_order_acquire))
    {
#if defined(_WIN32)
        ::WaitForSingleObject(native->handle, INFINITE);
        ::CloseHandle(native->handle);
        native->handle = nullptr;
#endif
        return true;
    }

    // Last resort: the worker ignored every request. Ending it forcibly may
    // leak what it held, but a hung worker would hang the host.
#if defined(_WIN32)
    ::TerminateThread(native->handle, 1);
    ::CloseHandle(native->handle);
    native->handle = nullptr;
#else
    pthread_cancel(native->handle);
    for (int i = 0; i < 200 && running.load(std::memory_order_acquire); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
#endif
    threadId.store(0, std::memory_order_release);
    running.store(false, std::memory_order_release);
    return false;
}

} // namespace kel
