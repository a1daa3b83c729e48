#include "containers/KelSmallString.h"

#include <ostream>

namespace kel {

String operator+(const SmallString& a, std::string_view b)
{
    String joined;
    joined.reserve(a.size() + b.size());
    joined.append(a.view()).append(b);
    return joined;
}

String operator+(std::string_view a, const SmallString& b)
{
    String joined;
    joined.reserve(a.size() + b.size());
    joined.append(a).append(b.view());
    return joined;
}

std::ostream& operator<<(std::ostream& out, const SmallString& text)
{
    return out << text.view();
}

} // namespace kel
