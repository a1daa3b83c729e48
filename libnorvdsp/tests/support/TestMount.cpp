#include "support/TestMount.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#if defined(__linux__)
#include <sched.h>
#include <sys/mount.h>
#endif

namespace kel::test {

SmallFileSystem::SmallFileSystem(std::size_t bytes)
{
    std::filesystem::create_directories(root());
#if defined(__linux__)
    const auto failed = [this](const char* what)
    {
        reason = std::string(what) + ": " + std::strerror(errno) +
                 " (a small tmpfs needs root, or a user namespace with mount rights)";
    };
    // Private, and private below "/": a mount here never propagates out.
    if (::unshare(CLONE_NEWNS) != 0)
    {
        failed("unshare(CLONE_NEWNS)");
        return;
    }
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    {
        failed("making / private");
        return;
    }
    const std::string options = "size=" + std::to_string(bytes);
    if (::mount("tmpfs", root().c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
    {
        failed("mount -t tmpfs");
        return;
    }
    mounted = true;
#else
    (void)bytes;
    reason = "mounting a small file system needs Linux (not Windows, not Wine)";
#endif
}

SmallFileSystem::~SmallFileSystem()
{
#if defined(__linux__)
    if (mounted)
        ::umount2(root().c_str(), MNT_DETACH);
#endif
}

} // namespace kel::test
