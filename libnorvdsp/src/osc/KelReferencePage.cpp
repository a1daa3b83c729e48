#include "osc/KelReferencePage.h"

#include "common/KelException.h"
#include "files/KelFileReplacement.h"

namespace kel {

namespace {

String element(std::string_view name, std::string_view text)
{
    String out = "<" + String(name) + ">";
    out += EscapeXml(text);
    return out + "</" + String(name) + ">";
}

String attribute(std::string_view name, std::string_view value)
{
    String out(" ");  // appended piecewise: gcc 12 warns falsely on " " + String
    out.append(name).append("=\"").append(EscapeXml(value)).append("\"");
    return out;
}

void appendPorts(String& xml, std::string_view list, std::string_view item, const Vector<ReferencePage::Port>& ports)
{
    xml += "  <" + String(list) + ">\n";
    for (std::size_t i = 0; i < ports.size(); ++i)
        xml += "    <" + String(item) + attribute("id", ToString(std::uint64_t(i))) + attribute("type", ports[i].type) +
               ">" + element("digest", ports[i].digest) + "</" + String(item) + ">\n";
    xml += "  </" + String(list) + ">\n";
}

// A documented argument form lists its arguments by type only; they are
// named after their position, as Max's pages do for unnamed arguments.
String argumentList(const ReferencePage::Method& method)
{
    if (method.argumentTypes.empty())
        return {};
    String xml = "<arglist>";
    for (std::size_t i = 0; i < method.argumentTypes.size(); ++i)
        xml += "<arg" + attribute("name", "arg" + ToString(std::uint64_t(i + 1))) + attribute("optional", "0") +
               attribute("type", method.argumentTypes[i]) + "/>";
    return xml + "</arglist>";
}

String latexItems(const Vector<std::pair<String, String>>& items)
{
    if (items.empty())
        return "none.\n";
    String tex = "\\begin{description}\n";
    for (const auto& [term, text] : items)
        tex += "  \\item[" + EscapeLatex(term) + "] " + EscapeLatex(text) + "\n";
    return tex + "\\end{description}\n";
}

String joined(const Vector<String>& parts, std::string_view separator)
{
    String out;
    for (std::size_t i = 0; i < parts.size(); ++i)
        out += (i ? String(separator) : String()) + parts[i];
    return out;
}

} // namespace

String ReferencePage::TypeName(char argumentType)
{
    switch (argumentType)
    {
        case 'i':
        case 'u':
            return "int";
        case 'n':
            return "float";
        case 's':
            return "symbol";
        default:
            return "anything";
    }
}

void ReferencePage::AddMethods(const OscDocumentation& documentation)
{
    for (std::size_t i = 0; i < documentation.size(); ++i)
    {
        const OscDocumentation::Entry& entry = documentation[i];
        Method method;
        method.name = entry.getAddress().getText();
        for (const char type : entry.getArgumentTypes())
            method.argumentTypes.PushBack(TypeName(type));
        method.argumentDescription = entry.getArgumentDescription();
        method.digest = entry.getTitle();
        method.description = entry.getDescription();
        methods.PushBack(std::move(method));
    }
}

String EscapeXml(std::string_view text)
{
    String out;
    out.reserve(text.size());
    for (const char c : text)
    {
        switch (c)
        {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&apos;"; break;
            default:
                // Control characters other than tab and line breaks are not
                // allowed in XML 1.0 at all.
                if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r')
                    out += c;
        }
    }
    return out;
}

String EscapeLatex(std::string_view text)
{
    String out;
    out.reserve(text.size());
    for (const char c : text)
    {
        switch (c)
        {
            case '\\': out += "\\textbackslash{}"; break;
            case '~': out += "\\textasciitilde{}"; break;
            case '^': out += "\\textasciicircum{}"; break;
            case '&': case '%': case '$': case '#': case '_': case '{': case '}':
                out += '\\';
                out += c;
                break;
            case '<': out += "\\textless{}"; break;
            case '>': out += "\\textgreater{}"; break;
            default: out += c;
        }
    }
    return out;
}

String ToMaxReferenceXml(const ReferencePage& page)
{
    String xml = "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
                 "<?xml-stylesheet href=\"./_c74_ref.xsl\" type=\"text/xsl\"?>\n";
    xml += "<c74object" + attribute("name", page.name) + attribute("module", page.module) +
           (page.category.empty() ? String() : attribute("category", page.category)) + ">\n";
    xml += "  " + element("digest", page.digest) + "\n";
    xml += "  " + element("description", page.description) + "\n";
    xml += "  <metadatalist><metadata" + attribute("name", "tag") + ">" + EscapeXml(page.module) +
           "</metadata></metadatalist>\n";
    appendPorts(xml, "inletlist", "inlet", page.inlets);
    appendPorts(xml, "outletlist", "outlet", page.outlets);

    xml += "  <objarglist>\n";
    for (const auto& argument : page.arguments)
        xml += "    <objarg" + attribute("name", argument.name) + attribute("optional", argument.optional ? "1" : "0") +
               attribute("type", argument.type) + ">" + element("digest", argument.digest) + "</objarg>\n";
    xml += "  </objarglist>\n";

    xml += "  <attributelist>\n";
    for (const auto& a : page.attributes)
    {
        xml += "    <attribute" + attribute("name", a.name) + attribute("get", "1") +
               attribute("set", a.readOnly ? "0" : "1") + attribute("type", a.type) + attribute("size", "1") + ">";
        xml += element("digest", a.digest) + element("description", a.description);
        xml += "<attributelist>";
        if (!a.defaultValue.empty())
            xml += "<attribute" + attribute("name", "default") + attribute("get", "1") + attribute("set", "1") +
                   attribute("type", a.type) + attribute("size", "1") + attribute("value", a.defaultValue) + "/>";
        if (!a.style.empty())
            xml += "<attribute" + attribute("name", "style") + attribute("get", "1") + attribute("set", "1") +
                   attribute("type", "symbol") + attribute("size", "1") + attribute("value", a.style) + "/>";
        xml += "</attributelist></attribute>\n";
    }
    xml += "  </attributelist>\n";

    xml += "  <methodlist>\n";
    for (const auto& m : page.methods)
    {
        String description = m.description;
        if (!m.argumentDescription.empty())
            description += (description.empty() ? "Arguments: " : ". Arguments: ") + m.argumentDescription;
        xml += "    <method" + attribute("name", m.name) + ">" + argumentList(m) + element("digest", m.digest) +
               element("description", description) + "</method>\n";
    }
    xml += "  </methodlist>\n";

    xml += "  <seealsolist>\n";
    for (const auto& name : page.seeAlso)
        xml += "    <seealso" + attribute("name", name) + "/>\n";
    xml += "  </seealsolist>\n";
    return xml + "</c74object>\n";
}

String ToLatexSection(const ReferencePage& page)
{
    String tex = "\\section{" + EscapeLatex(page.name) + "}\n";
    tex += "\\label{ref:" + EscapeLatex(page.name) + "}\n\n";
    tex += "\\textbf{" + EscapeLatex(page.digest) + "}\n\n" + EscapeLatex(page.description) + "\n\n";

    const auto ports = [](const Vector<ReferencePage::Port>& list) {
        Vector<std::pair<String, String>> items;
        for (std::size_t i = 0; i < list.size(); ++i)
            items.PushBack({ToString(std::uint64_t(i)) + " (" + list[i].type + ")", list[i].digest});
        return items;
    };
    tex += "\\subsection*{Inlets}\n" + latexItems(ports(page.inlets));
    tex += "\\subsection*{Outlets}\n" + latexItems(ports(page.outlets));

    Vector<std::pair<String, String>> items;
    for (const auto& a : page.arguments)
        items.PushBack({a.name + " (" + a.type + (a.optional ? ", optional" : "") + ")", a.digest});
    tex += "\\subsection*{Arguments}\n" + latexItems(items);

    items.Clear();
    for (const auto& a : page.attributes)
    {
        String text = a.digest;
        if (!a.description.empty())
            text += ". " + a.description;
        if (!a.defaultValue.empty())
            text += " Default: " + a.defaultValue + ".";
        if (!a.range.empty())
            text += " Range: " + a.range + ".";
        if (a.readOnly)
            text += " Set at creation only.";
        items.PushBack({"@" + a.name + " (" + a.type + ")", text});
    }
    tex += "\\subsection*{Attributes}\n" + latexItems(items);

    items.Clear();
    for (const auto& m : page.methods)
    {
        const String term = m.name + (m.argumentTypes.empty() ? "" : " " + joined(m.argumentTypes, " "));
        String text = m.digest;
        if (!m.description.empty() && m.description != m.digest)
            text += ". " + m.description;
        if (!m.argumentDescription.empty())
            text += " (arguments: " + m.argumentDescription + ")";
        items.PushBack({term, text});
    }
    tex += "\\subsection*{Messages}\n" + latexItems(items);

    if (!page.seeAlso.empty())
        tex += "\\subsection*{See also}\n" + EscapeLatex(joined(page.seeAlso, ", ")) + "\n";
    return tex;
}

File WriteReferenceFiles(const ReferencePage& page, const File& xmlFile)
{
    const String path = xmlFile.getFullPathName();
    constexpr std::string_view suffix = ".maxref.xml";
    const File texFile = path.ends_with(suffix) ? File(path.substr(0, path.size() - suffix.size()) + ".tex")
                                                : xmlFile.withFileExtension(".tex");
    // Both written before either replaces its file: a full disk leaves the
    // old pair as it was.
    FileReplacement xml(xmlFile), tex(texFile);
    xml.Write(ToMaxReferenceXml(page));
    tex.Write(ToLatexSection(page));
    xml.Commit();
    tex.Commit();
    return texFile;
}

} // namespace kel
