// A small file system of its own for a test: a tmpfs of a given size on a
// fresh folder, mounted in a mount namespace private to this process (each
// test runs in its own process under ctest), so that nothing outside the
// process ever sees it and it goes away with the process whatever happens.
// Needs Linux and the right to mount (root); elsewhere whyNot() says why
// there is none.
#pragma once

#include <cstddef>
#include <string>

#include "support/TestTemp.h"

namespace kel::test {

class SmallFileSystem
{
public:
    explicit SmallFileSystem(std::size_t bytes);
    ~SmallFileSystem();
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool isMounted() const { return mounted; }
    /** Why it could not be mounted (empty when it is). */
    const std::string& whyNot() const { return reason; }
    /** Full path of a file on it, as TempDir::file gives it. */
    std::string file(const std::string& name) const { return folder.file("fs/" + name); }
    std::string root() const { return folder.file("fs"); }

private:
    TempDir folder;
    bool mounted = false;
    std::string reason;
};

} // namespace kel::test
