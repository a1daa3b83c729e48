#include "support/TestTemp.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#if defined(_WIN32)
#include <process.h>
#else
#include <unistd.h>
#include <sys/wait.h>
#endif

#include <gtest/gtest.h>

namespace kel::test {

namespace {

int ProcessId()
{
#if defined(_WIN32)
    return ::_getpid();
#else
    return int(::getpid());
#endif
}

} // namespace

TempDir::TempDir()
{
    static std::atomic<int> counter{0};
    const char* base = std::getenv("KEL_TEST_TMP");
    std::filesystem::path parent = base ? base : std::filesystem::temp_directory_path();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = info ? std::string(info->test_suite_name()) + "." + info->name() : "kel";
    for (auto& c : name)
        if (c == '/' || c == ' ')
            c = '_';
    root = parent / (name + "-" + std::to_string(ProcessId()) + "-" + std::to_string(counter++));
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(root);
}

TempDir::~TempDir()
{
    std::error_code error;
    std::filesystem::remove_all(root, error);
}

#if defined(_WIN32)

// The commands are POSIX shell text and the fixture programs Linux ones;
// a Windows build (run under Wine) has neither.
bool HaveShell() { return false; }

int RunCommand(const std::string&, std::string*) { return -1; }

#else

bool HaveShell() { return true; }

int RunCommand(const std::string& command, std::string* output)
{
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 4096> buffer{};
    std::size_t n = 0;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        if (output)
            output->append(buffer.data(), n);
    const int status = ::pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

bool HaveProgram(const std::string& name)
{
    return HaveShell() && RunCommand("command -v " + name + " >/dev/null 2>&1") == 0;
}

} // namespace kel::test
