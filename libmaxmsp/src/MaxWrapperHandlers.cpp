#include "MaxWrapperHandlers.h"

#include <filesystem>

namespace maxmsp {

kel::String AbsolutePath(const kel::String& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::path(path), error);
    if (error)
        return path;
    return absolute.lexically_normal().generic_string();
}

bool AddMethod(t_class* c, method function, const char* name, long type)
{
    const t_max_err result = type == A_NOTHING ? class_addmethod(c, function, name, 0)
                                               : class_addmethod(c, function, name, int(type), 0);
    if (result != MAX_ERR_NONE)
    {
        object_error(nullptr, "error when adding method %s", name);
        return false;
    }
    return true;
}

} // namespace maxmsp
