// An object's reference page: what Max shows in its reference window and
// what our printed manual holds. The host fills a ReferencePage from the
// object's documentation entries and its own class (inlets, outlets,
// arguments, attributes); the writers turn it into Max's reference XML
// (a "c74object" page, as Max's own refpages are laid out) and into a LaTeX
// section.
//
// Argument-type characters of the documentation entries map to Max's type
// names: i and u "int", n "float", s "symbol"; anything else "anything".
//
// Pure functions of their input; any thread.
#pragma once

#include "common/KelString.h"
#include "containers/KelVector.h"
#include "files/KelFile.h"
#include "osc/KelOscDocumentation.h"

namespace kel {

struct ReferencePage
{
    struct Port
    {
        String type;  // "signal", "multichannelsignal", "message"
        String digest;
    };
    struct Argument
    {
        String name;
        String type;  // Max type name: "int", "float", "symbol", ...
        bool optional = true;
        String digest;
    };
    struct Attribute
    {
        String name;
        String type;  // "int", "float", "symbol"
        String digest;
        String description;
        String defaultValue;
        String range;  // "1 to 8192", or empty
        String style;  // "onoff", or empty
        bool readOnly = false;
    };
    struct Method
    {
        String name;                // the OSC address
        Vector<String> argumentTypes;  // Max type names, in order
        String argumentDescription;
        String digest;              // the entry's title
        String description;
    };

    String name;
    String module = "msp";
    String category;
    String digest;
    String description;
    Vector<Port> inlets;
    Vector<Port> outlets;
    Vector<Argument> arguments;
    Vector<Attribute> attributes;
    Vector<Method> methods;
    Vector<String> seeAlso;

    /** One method per documentation entry, in registration order. */
    void AddMethods(const OscDocumentation& documentation);

    /** Max's type name for one argument-type character. */
    static String TypeName(char argumentType);
};

/** The page as Max reference XML: root "c74object" with the object's name,
    then digest, description, metadatalist, inletlist, outletlist,
    objarglist, attributelist, methodlist and seealsolist. */
String ToMaxReferenceXml(const ReferencePage& page);

/** The page as one LaTeX section (no preamble), for inclusion in a manual. */
String ToLatexSection(const ReferencePage& page);

/** Text escaped for XML character data and attribute values. */
String EscapeXml(std::string_view text);
/** Text escaped for LaTeX running text. */
String EscapeLatex(std::string_view text);

/** Writes the XML to xmlFile and the LaTeX section beside it (the same name
    with ".maxref.xml", or else the extension, replaced by ".tex"); returns
    the LaTeX file. Both are written in full before either replaces its old
    file (KelFileReplacement.h); throws exceptions::ErrorWritingFile (the
    system's reason) when a file cannot be written. Main thread (file I/O). */
File WriteReferenceFiles(const ReferencePage& page, const File& xmlFile);

} // namespace kel
