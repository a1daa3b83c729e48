// The documentation entries of the generic messages every object
// understands, in the order the help window lists them.
#include "osc/KelOscInterface.h"

namespace kel {

namespace {

constexpr std::string_view fileFormats =
    "Supported file extensions : '.txt' for human-readable OSC text file, '.osc' for binary encoded OSC file, "
    "'.coll' for human-readable Max coll file (compatible with the <o>coll</o> object). '.txt' is the default "
    "file format.";

String WithFileFormats(std::string_view description)
{
    String text(description);
    if (!text.empty() && text.back() != ' ')
        text += ' ';
    text += fileFormats;
    return text;
}

} // namespace

void OscInterface::registerGenericDocumentation()
{
    auto add = [this](std::string_view address, String title, String description, String types = {},
                      String argument = {})
    { AddDocumentation(OscAddressPattern(address), std::move(title), std::move(description), std::move(types),
                       std::move(argument)); };

    add("/post/version", "post version", "print the version in the Max Console");
    add("/post/version", "post version", "print detailed version in the Max Console", "s", "details");
    add("/post/doc", "post documentation", "print the help documentation in the Max Console");
    add("/post/state", "post current state", "print the OSC status in the Max Console");
    add("/preset/load", "load preset",
        WithFileFormats("load a preset from file. "
                        " You can specify the fullpath of the file, or only its filename if the file is inside "
                        "Max search path."),
        "s", "file name");
    add("/preset/load", "load preset", WithFileFormats("open a user dialog to load a preset file. "));
    add("/preset/export", "export preset", WithFileFormats("export a preset to file. "), "s", "file name");
    add("/preset/export", "export preset", WithFileFormats("open a user dialog to export a preset to file. "));
    add("/status/copytoclipboard", "copy status to clipboard", "copy the status to (the OS) clipboard");
    add("/status/copytoclipboard", "copy status to clipboard",
        "copy the status to (the OS) clipboard, and specify the end-of-line character (e.g. ',')", "s",
        "end-of-line");
    add("/dump", "dump state",
        "dump the complete state of the object over the rightmost outlet (a.k.a. dump outlet)");
    add("/dump", "dump state",
        "dump a subset of the state of the object over the rightmost outlet. Refer to the tutorial patch for "
        "examples of sub-addresses.",
        "s", "sub-address");
    add("/snapshot/clear", "clear snapshots", "delete all the snapshots currently in memory");
    add("/snapshot/add", "add a new snapshot", "create a new snapshot with the current state");
    add("/snapshot/add", "add a new snapshot", "create a new snapshot with the current state, and set its name",
        "s", "name");
    add("/snapshot/[index]/store", "store snapshot", "store the current state in the i-th snapshot (in memory)");
    add("/snapshot/[index]/recall", "recall snapshot", "recall the current state from the i-th snapshot");
    add("/snapshot/[index]/name", "set snapshot name", "set the name of the i-th snapshot", "s", "name");
    add("/snapshot/interpolate", "interpolate between two snapshots", "interpolate between the i-th and j-th snapshots",
        "iin", "i j percent");
    add("/snapshot/interpolate", "interpolate between two snapshots",
        "interpolate between two snapshots, given their names", "ssn", "name1 name2 percent");
    add("/snapshot/[index]/delete", "delete snapshot", "delete the i-th snapshot");
    add("/snapshot/[index]/copytoclipboard", "copy snapshot to clipboard",
        "copy the i-th snapshot to (the OS) clipboard");
    add("/snapshot/[index]/copytoclipboard", "copy snapshot to clipboard",
        "copy the i-th snapshot to (the OS) clipboard, and specify the end-of-line character (e.g. ',')", "s",
        "end-of-line");
    add("/snapshot/[index]/export", "export snapshot", "export the i-th snapshot to file", "s", "file name");
    add("/snapshot/[index]/export/content", "export snapshot content",
        "export the content of the i-th snapshot to file", "s", "file name");
    add("/snapshot/export", "export snapshots", "export all snapshots to file", "s", "file name");
    // The import entry's title repeats "export snapshots" on purpose.
    add("/snapshot/import", "export snapshots", "import all snapshots from file", "s", "file name");

    for (const std::string_view w : genericWindowNames)
    {
        const String name(w);
        add("/" + name + "/open", "open " + name + " window", "open the " + name + " window and bring it to front");
        add("/" + name + "/close", "close " + name + " window", "close the " + name + " window");
        add("/" + name + "/openorclose", "open or close " + name + " window",
            "open the " + name + " window if it was closed; close it if it was opened");
        add("/" + name + "/font/size", "font size for " + name + " window",
            "set the font size of the " + name + " window", "n", "size");
        add("/" + name + "/floating", name + " window floating",
            "make the " + name + " window 'floating' (i.e. always on top of other windows)", "i", "on/off");
    }
}

} // namespace kel
