#include "MaxWrapperHost.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "containers/KelVector.h"

namespace maxmsp {

namespace {

std::atomic<int> hostMajorVersion{0};

std::mutex liveObjectsLock;
kel::Vector<t_object*>& LiveObjects()
{
    static kel::Vector<t_object*> objects;
    return objects;
}

} // namespace

void InitialiseHost() noexcept
{
    try
    {
        for (const char* name : {"append", "attr_modified", "clear", "dimension", "done", "dsp", "dumpout", "embed",
                                 "free", "getname", "list", "modified", "none", "parameter_enable", "patcherview",
                                 "box", "signal", "multichannelsignal", "getnuminputchannels", "long", "symbol",
                                 "FullPacket", "bang"})
            gensym(name);
        char text[16];
        std::snprintf(text, sizeof text, "%x", unsigned(static_cast<unsigned short>(maxversion())));
        const std::size_t length = std::strlen(text);
        const char digit = length >= 3 ? text[length - 3] : '0';
        hostMajorVersion.store(digit >= '0' && digit <= '9' ? digit - '0' : 10 + (digit - 'a'));
    }
    catch (...)
    {
        // The host stays "not multichannel": a class without "mc" still works.
    }
}

int GetHostMajorVersion() noexcept
{
    return hostMajorVersion.load();
}

bool IsHostMultichannel() noexcept
{
    return GetHostMajorVersion() >= 8;
}

std::uint32_t GetMaxNumChannels() noexcept
{
    return IsHostMultichannel() ? 8192 : 250;
}

void AddLiveObject(t_object* x)
{
    const std::lock_guard lock(liveObjectsLock);
    LiveObjects().PushBack(x);
}

void RemoveLiveObject(t_object* x)
{
    const std::lock_guard lock(liveObjectsLock);
    auto& objects = LiveObjects();
    const auto found = std::find(objects.begin(), objects.end(), x);
    if (found != objects.end())
        objects.Erase(std::size_t(found - objects.begin()));
}

std::size_t GetNumLiveObjects()
{
    const std::lock_guard lock(liveObjectsLock);
    return LiveObjects().size();
}

} // namespace maxmsp
