// Paths and file choosers. Each folder met gets a path id (from 1); names are
// absolute paths with forward slashes. The type list of a search is not
// applied: every file of the given name is found.
#include "MaxsimPaths.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{
namespace
{

namespace fs = std::filesystem;

struct State
{
    std::vector<std::string> folders;  // path id - 1 -> folder
    std::vector<short> searchPath;     // path ids in search order
    std::optional<std::string> dialogAnswer;
    short version = 0x820;
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

void copyZero(char* dst, const std::string& src, std::size_t size)
{
    const std::size_t n = std::min(src.size(), size - 1);
    std::memcpy(dst, src.data(), n);
    dst[n] = '\0';
}

std::string normalise(const std::string& folder)
{
    std::string s = fs::absolute(fs::path(folder)).lexically_normal().generic_string();
    while (s.size() > 1 && s.back() == '/')
        s.pop_back();
    return s;
}

short idOf(const std::string& folder)
{
    State& s = state();
    const std::string f = normalise(folder);
    for (std::size_t i = 0; i < s.folders.size(); ++i)
        if (s.folders[i] == f)
            return static_cast<short>(i + 1);
    s.folders.push_back(f);
    return static_cast<short>(s.folders.size());
}

const std::string* folderOf(short id)
{
    State& s = state();
    return id >= 1 && id <= static_cast<short>(s.folders.size()) ? &s.folders[static_cast<std::size_t>(id - 1)] : nullptr;
}

t_fourcc typeOf(const std::string& name)
{
    std::string ext = fs::path(name).extension().string();
    for (char& c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    auto code = [](const char* t) {
        return static_cast<t_fourcc>((t[0] << 24) | (t[1] << 16) | (t[2] << 8) | t[3]);
    };
    if (ext == ".wav")
        return code("WAVE");
    if (ext == ".aif" || ext == ".aiff" || ext == ".aifc")
        return code("AIFF");
    if (ext == ".mp3")
        return code("Mp3 ");
    if (ext == ".txt")
        return code("TEXT");
    return 0;
}

// Splits an absolute path into its folder's id and the file name.
short split(const std::string& full, short* path, char* name)
{
    fs::path p(full);
    if (!p.is_absolute())
        return 1;
    std::error_code ec;
    if (fs::is_directory(p, ec))
    {
        *path = idOf(p.string());
        if (name)
            name[0] = '\0';
        return 0;
    }
    *path = idOf(p.parent_path().string());
    if (name)
        copyZero(name, p.filename().string(), MAX_FILENAME_CHARS);
    return 0;
}

short answerDialog(char* name, short* path, t_fourcc* type)
{
    State& s = state();
    std::optional<std::string> answer = std::move(s.dialogAnswer);
    s.dialogAnswer.reset();
    if (!answer || answer->empty() || !name || !path)
        return 1;
    const std::string full = fs::absolute(fs::path(*answer)).generic_string();
    if (split(full, path, name) != 0)
        return 1;
    if (type)
        *type = typeOf(full);
    return 0;
}

}  // namespace

short AddSearchPath(const std::string& folder)
{
    const short id = idOf(folder);
    state().searchPath.push_back(id);
    return id;
}

void SetDialogAnswer(const std::string& path) { state().dialogAnswer = path; }
void SetMaxVersion(short version) { state().version = version; }

}  // namespace maxsim

using namespace maxsim;

extern "C" {

short locatefile_extended(char* name, short* outPath, t_fourcc* outType, const t_fourcc*, short)
{
    if (!name || !outPath)
        return 1;
    std::error_code ec;
    const std::string given = name;
    if (fs::path(given).is_absolute())
    {
        if (!fs::is_regular_file(given, ec))
            return 1;
        split(given, outPath, name);
    }
    else
    {
        bool found = false;
        const std::vector<short> searchPath = state().searchPath;
        for (short id : searchPath)
        {
            const std::string* folder = folderOf(id);
            if (folder && fs::is_regular_file(fs::path(*folder) / given, ec))
            {
                found = true;
                split((fs::path(*folder) / given).lexically_normal().generic_string(), outPath, name);
                break;
            }
        }
        if (!found)
            return 1;
    }
    if (outType)
        *outType = typeOf(name);
    return 0;
}

short path_topathname(const short path, const char* file, char* name)
{
    const std::string* folder = folderOf(path);
    if (!folder || !name)
        return 1;
    std::string full = *folder;
    if (file && *file)
    {
        if (full != "/")
            full += '/';
        full += file;
    }
    copyZero(name, full, MAX_PATH_CHARS);
    return 0;
}

short path_frompathname(const char* name, short* path, char* filename)
{
    if (!name || !path)
        return 1;
    return split(fs::path(name).lexically_normal().generic_string(), path, filename);
}

short open_dialog(char* name, short* path, t_fourcc* type, t_fourcc*, short) { return answerDialog(name, path, type); }

short saveasdialog_extended(char* name, short* path, t_fourcc* type, t_fourcc*, short)
{
    return answerDialog(name, path, type);
}

short maxversion(void) { return state().version; }

}  // extern "C"
