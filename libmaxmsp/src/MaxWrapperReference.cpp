#include "MaxWrapperReference.h"

#include <atomic>

#include "common/KelException.h"

namespace maxmsp {

namespace {

std::atomic<ReferenceDescriber> classDescriber{nullptr};

} // namespace

void SetReferenceDescriber(ReferenceDescriber describer) noexcept
{
    classDescriber.store(describer);
}

void DescribeClass(kel::ReferencePage& page)
{
    if (const ReferenceDescriber describer = classDescriber.load())
        describer(page);
}

kel::Vector<kel::String> SplitNames(const kel::String& list)
{
    kel::Vector<kel::String> names;
    std::size_t start = 0;
    while (start < list.size())
    {
        std::size_t end = list.find(',', start);
        if (end == kel::String::npos)
            end = list.size();
        kel::String name = list.substr(start, end - start);
        const auto first = name.find_first_not_of(' ');
        const auto last = name.find_last_not_of(' ');
        if (first != kel::String::npos)
            names.PushBack(name.substr(first, last - first + 1));
        start = end + 1;
    }
    return names;
}

void WriteReference(t_object* x, const kel::ReferencePage& page, const kel::HostNotifier& host)
{
    using Outcome = kel::HostNotifier::FileChoice::Outcome;
    const auto choice = host.ChooseFile(kel::HostNotifier::FilePurpose::save, "Export the reference of " + page.name);
    if (choice.outcome != Outcome::chosen)
        return;
    // Max finds a page by its object's name followed by ".maxref.xml".
    kel::File xml = choice.file;
    if (xml.getFileExtension().empty())
        xml = kel::File(xml.getFullPathName() + ".maxref.xml");
    const kel::File tex = kel::WriteReferenceFiles(page, xml);
    const kel::String text = "reference of " + page.name + " written to " + kel::Quoted(xml.getFullPathName()) +
                             " and " + kel::Quoted(tex.getFullPathName());
    ConsolePost(x, text);
}

} // namespace maxmsp
