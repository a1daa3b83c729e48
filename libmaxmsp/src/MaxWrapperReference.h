// "/exportref": the object's reference page, written as Max reference XML
// (for Max's reference window: put it in a package's docs/refpages) and as a
// LaTeX section beside it. The page is built from the processor (its name,
// descriptions, outlets and documented messages) and from what only the
// object's class knows (its attributes), which the class registration hands
// over once through SetReferenceDescriber.
//
// Main thread only; failures are posted, never thrown.
#pragma once

#include "MaxWrapperApi.h"
#include "MaxWrapperPost.h"
#include "osc/KelHostNotifier.h"
#include "osc/KelReferencePage.h"

namespace maxmsp {

/** Adds the class's own part (attributes, arguments) to a page. */
using ReferenceDescriber = void (*)(kel::ReferencePage& page);

/** Main thread, at class registration. */
void SetReferenceDescriber(ReferenceDescriber describer) noexcept;
/** The class's part, when one was registered. */
void DescribeClass(kel::ReferencePage& page);

/** Asks for the XML file with the host's save dialog (through the
    processor's console), writes both files and posts where they went; a
    cancelled dialog writes nothing. */
void WriteReference(t_object* x, const kel::ReferencePage& page, const kel::HostNotifier& host);

/** Splits "a, b, c" into its names. */
kel::Vector<kel::String> SplitNames(const kel::String& list);

/** The page of an object whose processor is P: one message inlet (plus
    P's signal inputs), P's outputs as signal outlets and the dump outlet,
    P's documentation entries as methods. */
template <typename P>
kel::ReferencePage DescribeObject(const P& processor)
{
    kel::ReferencePage page;
    page.name = processor.getName();
    page.category = "MSP";
    page.digest = P::getDescription();
    page.description = P::getLongDescription();
    page.inlets.PushBack({"signal/message", "messages (OSC addresses with arguments)"});
    for (std::uint32_t i = 1; i < processor.getNumInputs(); ++i)
        page.inlets.PushBack({"signal", processor.getInletDescription(i, false)});
    for (std::uint32_t i = 0; i < processor.getNumOutputs(); ++i)
        page.outlets.PushBack({"signal", processor.getOutletDescription(i, false)});
    page.outlets.PushBack({"message", "dumpout: reports and answers as OSC messages"});
    page.AddMethods(processor.getDocumentation());
    page.seeAlso = SplitNames(P::getSeeAlso());
    DescribeClass(page);
    return page;
}

template <typename P>
void ExportReference(t_object* x, const P& processor) noexcept
{
    try
    {
        WriteReference(x, DescribeObject(processor), processor);
    }
    catch (...)
    {
        PostCurrentException(x);
    }
}

} // namespace maxmsp
