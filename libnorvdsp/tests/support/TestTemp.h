// A fresh scratch folder per test, removed afterwards.
#pragma once

#include <filesystem>
#include <string>

namespace kel::test {

class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return root; }
    /** Full path of a file inside the folder, as UTF-8 text with forward
        slashes (which Windows takes too), as the engine reports paths. */
    std::string file(const std::string& name) const { return (root / name).generic_string(); }

private:
    std::filesystem::path root;
};

/** True where RunCommand can run POSIX shell commands (not on Windows). */
bool HaveShell();

/** Runs a shell command, returns its exit status and collects stdout;
    -1 where there is no shell. */
int RunCommand(const std::string& command, std::string* output = nullptr);

/** True when a program is on the PATH. */
bool HaveProgram(const std::string& name);

} // namespace kel::test

/** Skips the current test where it cannot run the command-line tool or the
    fixture programs (sox, lame, ffmpeg) through a shell. */
#define KEL_SKIP_WITHOUT_SHELL()                                                                 \
    do                                                                                           \
    {                                                                                            \
        if (!::kel::test::HaveShell())                                                           \
            GTEST_SKIP() << "needs a POSIX shell for the command-line tool and fixture programs"; \
    } while (false)
