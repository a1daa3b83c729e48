#include "osc/KelOscBundle.h"

#include <ctime>

#include "common/KelException.h"
#include "osc/KelOscCollFormat.h"
#include "osc/KelOscOutputStream.h"

namespace kel {

OscBundle::Element::Element(const OscMessage& m) : message(m) {}
OscBundle::Element::Element(OscMessage&& m) : message(std::move(m)) {}
OscBundle::Element::Element(const OscBundle& b) : bundle(std::make_unique<OscBundle>(b)) {}
OscBundle::Element::Element(OscBundle&& b) : bundle(std::make_unique<OscBundle>(std::move(b))) {}
OscBundle::Element::~Element() = default;

OscBundle::Element::Element(const Element& other) : message(other.message)
{
    if (other.bundle)
        bundle = std::make_unique<OscBundle>(*other.bundle);
}

OscBundle::Element& OscBundle::Element::operator=(const Element& other)
{
    if (this != &other)
    {
        Element copy(other);
        *this = std::move(copy);
    }
    return *this;
}

bool OscBundle::Element::operator==(const Element& other) const noexcept
{
    if (isMessage() != other.isMessage())
        return false;
    return isMessage() ? message == other.message : *bundle == *other.bundle;
}

OscBundle& OscBundle::AddMessage(const OscMessage& m)
{
    elements.EmplaceBack(m);
    return *this;
}
OscBundle& OscBundle::AddMessage(OscMessage&& m)
{
    elements.EmplaceBack(std::move(m));
    return *this;
}
OscBundle& OscBundle::AddBundle(const OscBundle& b)
{
    elements.EmplaceBack(b);
    return *this;
}
OscBundle& OscBundle::AddBundle(OscBundle&& b)
{
    elements.EmplaceBack(std::move(b));
    return *this;
}
OscBundle& OscBundle::AddElement(Element element)
{
    elements.PushBack(std::move(element));
    return *this;
}
OscBundle& OscBundle::AddElementsOf(const OscBundle& other)
{
    if (&other == this)
    {
        const OscBundle copy(other);
        return AddElementsOf(copy);
    }
    elements.Reserve(elements.size() + other.elements.size());
    for (const auto& element : other.elements)
        elements.PushBack(element);
    return *this;
}

OscBundle& OscBundle::AddFloatMessage(const OscAddressPattern& address, float value)
{
    return AddMessage(std::move(OscMessage(address).AddFloat32(value)));
}
OscBundle& OscBundle::AddDoubleMessage(const OscAddressPattern& address, double value)
{
    return AddMessage(std::move(OscMessage(address).AddFloat64(value)));
}
OscBundle& OscBundle::AddInt32Message(const OscAddressPattern& address, std::int32_t value)
{
    return AddMessage(std::move(OscMessage(address).AddInt32(value)));
}
OscBundle& OscBundle::AddInt64Message(const OscAddressPattern& address, std::int64_t value)
{
    return AddMessage(std::move(OscMessage(address).AddInt64(value)));
}
OscBundle& OscBundle::AddBoolMessage(const OscAddressPattern& address, bool value)
{
    return AddMessage(std::move(OscMessage(address).AddBool(value)));
}
OscBundle& OscBundle::AddStringMessage(const OscAddressPattern& address, std::string_view value)
{
    return AddMessage(std::move(OscMessage(address).AddString(value)));
}

std::size_t OscBundle::getNumMessages() const noexcept
{
    std::size_t count = 0;
    ForEachMessage([&count](const OscMessage&) { ++count; });
    return count;
}

String OscBundle::toString(std::string_view lineEnd) const
{
    String text;
    ForEachMessage(
        [&](const OscMessage& m)
        {
            text += m.toString();
            text += lineEnd;
        });
    return text;
}

bool OscBundle::operator==(const OscBundle& other) const noexcept
{
    if (!(timeTag == other.timeTag) || elements.size() != other.elements.size())
        return false;
    for (std::size_t i = 0; i < elements.size(); ++i)
        if (!(elements[i] == other.elements[i]))
            return false;
    return true;
}

// ---------------------------------------------------------------------------
// Files

namespace {

bool WriteFile(const File& file, Overwrite overwrite, std::string_view content)
{
    if (overwrite == Overwrite::refuse && file.exists())
        return false;
    file.replaceWithText(content);
    return true;
}

String LocalDateAndTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#if defined(_WIN32)
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    char date[32] = {}, time[32] = {};
    std::strftime(date, sizeof date, "%Y-%m-%d", &local);
    std::strftime(time, sizeof time, "%H:%M:%S", &local);
    return String(date) + " - " + time;
}

} // namespace

bool OscBundle::SaveAsTextFile(const File& file, Overwrite overwrite, std::string_view description) const
{
    return SaveAsTextFile(file, overwrite, description, "auvo5.sfplay~");
}

bool OscBundle::SaveAsTextFile(const File& file, Overwrite overwrite, std::string_view description,
                               std::string_view exporter) const
{
    const File target = file.getFileExtension().empty() ? file.withFileExtension(".txt") : file;
    String content;
    content += "# \n";
    content += "# File " + target.getFileName() + "\n";
    content += "# \n";
    content += "# Exported by " + String(exporter) + " @ " + LocalDateAndTime() + "\n";
    content += "# \n";
    // A description spanning lines stays inside the comment block.
    content += "# Content: ";
    for (const char c : description)
        content += c == '\n' ? String("\n# ") : String(1, c);
    content += "\n# \n";
    content += toString("\n");
    return WriteFile(target, overwrite, content);
}

bool OscBundle::SaveAsCollFile(const File& file, Overwrite overwrite) const
{
    String content;
    std::size_t index = 0;
    ForEachMessage([&](const OscMessage& m) { content += detail::FormatCollEntry(++index, m); });
    return WriteFile(file, overwrite, content);
}

bool OscBundle::SaveAsBinaryFile(const File& file, Overwrite overwrite) const
{
    OscOutputStream stream;
    stream.WriteBundle(*this);
    const MemoryBlock& bytes = stream.getData();
    return WriteFile(file, overwrite,
                     std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

} // namespace kel
