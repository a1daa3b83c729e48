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
    /** Full path of a file inside the folder, as UTF-8 text. */
    std::string file(const std::string& name) const { return (root / name).string(); }

private:
    std::filesystem::path root;
};

/** Runs a shell command, returns its exit status and collects stdout. */
int RunCommand(const std::string& command, std::string* output = nullptr);

/** True when a program is on the PATH. */
bool HaveProgram(const std::string& name);

} // namespace kel::test
