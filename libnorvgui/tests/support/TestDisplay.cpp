#include "support/TestDisplay.h"

#include <cstdlib>
#include <string>

#if defined(__linux__)
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;
#endif

namespace kel::gui::test {

namespace {

#if defined(__linux__)
pid_t ownServer = -1;

/** Starts Xvfb on the first free display number (it writes the number
    once it accepts connections); sets DISPLAY. False when it cannot. */
bool StartXvfb(std::string& failure)
{
    int ready[2];
    if (pipe(ready) != 0)
    {
        failure = "no pipe for Xvfb";
        return false;
    }
    const std::string fd = std::to_string(ready[1]);
    const char* arguments[] = {"Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24",
                               "-nolisten", "tcp", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, ready[0]);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, "Xvfb", &actions, nullptr, const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ready[1]);
    if (spawned != 0)
    {
        close(ready[0]);
        failure = "Xvfb is not installed";
        return false;
    }
    std::string number;
    char c = 0;
    while (read(ready[0], &c, 1) == 1 && c != '\n')
        number += c;
    close(ready[0]);
    if (number.empty())
    {
        waitpid(pid, nullptr, 0);
        failure = "Xvfb did not start";
        return false;
    }
    ownServer = pid;
    setenv("DISPLAY", (":" + number).c_str(), 1);
    return true;
}
#endif

DisplayCheck Decide()
{
#if defined(__linux__)
    const char* given = std::getenv("DISPLAY");
    if (given == nullptr || *given == '\0')
    {
        std::string failure;
        if (!StartXvfb(failure))
            return DisplayCheck{false, "DISPLAY is not set and " + failure};
    }
#endif
    return CheckDisplay();
}

} // namespace

const DisplayCheck& RequireDisplay()
{
    static const DisplayCheck check = Decide();
    return check;
}

void StopOwnDisplay()
{
#if defined(__linux__)
    if (ownServer > 0)
    {
        kill(ownServer, SIGTERM);
        waitpid(ownServer, nullptr, 0);
        ownServer = -1;
    }
#endif
}

} // namespace kel::gui::test
