// Runs a script against one external: boxes numbered from 1 in creation
// order, patch cords, messages from the main thread or where scheduler events
// run, DSP, time, files. After each command the threads settle: the main
// queue served, no scheduler event due. At the end the remaining boxes are
// freed in creation order.
#include "MaxsimRunner.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <vector>

#include "MaxsimAtoms.h"
#include "MaxsimAttributes.h"
#include "MaxsimAudioThread.h"
#include "MaxsimConsole.h"
#include "MaxsimDictionary.h"
#include "MaxsimDispatch.h"
#include "MaxsimDspChain.h"
#include "MaxsimFiles.h"
#include "MaxsimLoader.h"
#include "MaxsimObjects.h"
#include "MaxsimPatch.h"
#include "MaxsimPaths.h"
#include "MaxsimScheduler.h"
#include "MaxsimScript.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

struct ScriptError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

double number(const t_atom& a, const char* what)
{
    if (a.a_type != A_LONG && a.a_type != A_FLOAT)
        throw ScriptError(std::string(what) + " must be a number, not " + FormatAtom(a));
    return atom_getfloat(&a);
}

std::string text(const t_atom& a) { return a.a_type == A_SYM ? a.a_w.w_sym->s_name : FormatAtom(a); }

class Runner
{
public:
    Runner(std::string external, Overdrive mode) : external(std::move(external)), mode(mode) {}

    int Run(std::istream& in, const std::string& scriptName)
    {
        SetRole(Role::Main);
        RegisterKernelBoxes();
        StartScheduler(mode);
        ScriptLine line;
        int lineNumber = 0;
        std::string error;
        int status = 0;
        while (ReadScriptLine(in, line, lineNumber, error))
        {
            try
            {
                if (!error.empty())
                    throw ScriptError(error);
                ParsedAtoms parsed = ParseAtoms(line.rest);
                if (!parsed.error.empty())
                    throw ScriptError(parsed.error);
                execute(line, parsed.atoms);
                Settle();
            }
            catch (const ScriptError& e)
            {
                std::fflush(stdout);
                std::cerr << "maxsim: " << scriptName << ":" << line.number << ": " << e.what() << std::endl;
                status = 2;
                break;
            }
        }
        finish();
        return status ? status : AnyViolation() ? 3 : 0;
    }

private:
    using Command = void (Runner::*)(const ScriptLine&, std::vector<t_atom>&);

    void execute(const ScriptLine& line, std::vector<t_atom>& atoms)
    {
        static const std::map<std::string, Command> commands {
            {"new", &Runner::doNew},           {"dict", &Runner::doDict},
            {"send", &Runner::doSend},         {"sched", &Runner::doSched},
            {"packet", &Runner::doPacket},     {"dsp", &Runner::doDsp},
            {"inputchannels", &Runner::doInputChannels},
            {"run", &Runner::doRun},           {"wait", &Runner::doWait},
            {"speed", &Runner::doSpeed},       {"free", &Runner::doFree},
            {"maxversion", &Runner::doMaxVersion},
            {"searchpath", &Runner::doSearchPath},
            {"dialog", &Runner::doDialog},     {"record", &Runner::doRecord},
            {"stoprecord", &Runner::doStopRecord},
            {"classinfo", &Runner::doClassInfo},
            {"connect", &Runner::doConnect},   {"disconnect", &Runner::doDisconnect},
            {"overdrive", &Runner::doOverdrive},
            {"cp", &Runner::doCopy},           {"truncate", &Runner::doTruncate},
            {"refused", &Runner::doRefused},
            {"print", &Runner::doPrint},       {"waitfile", &Runner::doWaitFile},
        };
        auto it = commands.find(line.command);
        if (it == commands.end())
            throw ScriptError("unknown command \"" + line.command + "\"");
        (this->*(it->second))(line, atoms);
    }

    static void need(const std::vector<t_atom>& atoms, std::size_t n, const char* usage)
    {
        if (atoms.size() < n)
            throw ScriptError(std::string("usage: ") + usage);
    }

    static long integer(const t_atom& a, const char* what)
    {
        if (a.a_type != A_LONG)
            throw ScriptError(std::string(what) + " must be an integer, not " + FormatAtom(a));
        return static_cast<long>(a.a_w.w_long);
    }

    t_object* box(const t_atom& a)
    {
        const long n = a.a_type == A_LONG ? static_cast<long>(a.a_w.w_long) : 0;
        if (n < 1 || n > static_cast<long>(boxes.size()) || !boxes[static_cast<std::size_t>(n - 1)])
            throw ScriptError("no box " + FormatAtom(a));
        return boxes[static_cast<std::size_t>(n - 1)];
    }

    ClassRecord* findClass(t_symbol* name)
    {
        t_class* c = FindBoxClass(name);
        if (!c && !loaded)
        {
            loaded = true;
            const std::string error = LoadExternal(external);
            if (!error.empty())
                throw ScriptError(error);
            c = FindBoxClass(name);
        }
        return static_cast<ClassRecord*>(c);
    }

    void doNew(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "new CLASS ARGS...");
        const std::string name = text(atoms[0]);
        std::vector<DictionaryEntry> entries = std::move(pendingDictionary);
        pendingDictionary.clear();
        ClassRecord* cls = findClass(gensym(name.c_str()));
        if (!cls)
        {
            EmitLine("error - could not create " + name);
            return;
        }
        std::vector<t_atom> args(atoms.begin() + 1, atoms.end());
        t_dictionary* dictionary = nullptr;
        if (cls->c_flags & CLASS_FLAG_NEWDICTIONARY)
        {
            dictionary = NewDictionary(std::move(entries));
            t_atom a {};
            a.a_type = A_OBJ;
            a.a_w.w_obj = reinterpret_cast<t_object*>(dictionary);
            args.push_back(a);
        }
        const long number = static_cast<long>(boxes.size()) + 1;
        SetPendingBox(cls, number);
        t_object* x = Construct(cls, static_cast<long>(args.size()), args.data());
        SetPendingBox(nullptr, 0);
        ObjectInfo* info = x ? FindObject(x) : nullptr;
        if (!info)
        {
            if (dictionary)
                object_free(dictionary);
            EmitLine("error - could not create " + name);
            return;
        }
        info->box = number;
        info->boxDictionary = reinterpret_cast<t_object*>(dictionary);
        boxes.push_back(x);
        if (cls->dsp)
            DspCompile(boxes);
    }

    void doDict(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "dict KEY ATOMS...");
        pendingDictionary.emplace_back(gensym(text(atoms[0]).c_str()), std::vector<t_atom>(atoms.begin() + 1, atoms.end()));
    }

    // The message a script's atoms make: a number first makes int, float or list.
    static void message(std::vector<t_atom>& atoms, std::size_t first, t_symbol*& selector, std::vector<t_atom>& args)
    {
        if (!AtomsToMessage(atoms.data() + first, static_cast<long>(atoms.size() - first), selector, args))
            throw ScriptError("a message cannot begin with " + FormatAtom(atoms[first]));
    }

    void doSend(const ScriptLine&, std::vector<t_atom>& atoms) { sendMessage(atoms, false); }
    void doSched(const ScriptLine&, std::vector<t_atom>& atoms) { sendMessage(atoms, true); }

    // "send" runs on the main thread; "sched" where scheduler events run in
    // the current overdrive mode, and returns once it has run there.
    void sendMessage(std::vector<t_atom>& atoms, bool fromScheduler)
    {
        need(atoms, 2, fromScheduler ? "sched BOX SELECTOR ATOMS..." : "send BOX SELECTOR ATOMS...");
        t_object* x = box(atoms[0]);
        t_symbol* selector;
        std::vector<t_atom> args;
        message(atoms, 1, selector, args);
        const auto send = [&] { SendMessage(x, selector, static_cast<long>(args.size()), args.data()); };
        if (!fromScheduler)
            return send();
        RunScheduled(send);
    }

    void cord(std::vector<t_atom>& atoms, bool make)
    {
        need(atoms, 4, make ? "connect SRC OUTLET DST INLET" : "disconnect SRC OUTLET DST INLET");
        t_object* src = box(atoms[0]);
        t_object* dst = box(atoms[2]);
        const long outlet = integer(atoms[1], "the outlet");
        const long inlet = integer(atoms[3], "the inlet");
        const bool signal = IsSignalCord(src, outlet);
        const std::string error = make ? Connect(src, outlet, dst, inlet) : Disconnect(src, outlet, dst, inlet);
        if (!error.empty())
            throw ScriptError(error);
        if (signal)
            DspCompile(boxes);
    }

    void doConnect(const ScriptLine&, std::vector<t_atom>& atoms) { cord(atoms, true); }
    void doDisconnect(const ScriptLine&, std::vector<t_atom>& atoms) { cord(atoms, false); }

    void doOverdrive(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "overdrive off|on|audio");
        Overdrive chosen;
        if (!ParseOverdrive(text(atoms[0]), chosen))
            throw ScriptError("usage: overdrive off|on|audio");
        SetOverdrive(chosen);
    }

    void doPacket(const ScriptLine& line, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "packet BOX HEXBYTES");
        t_object* x = box(atoms[0]);
        std::string hex;
        const std::size_t space = line.rest.find_first_of(" \t");
        for (char c : space == std::string::npos ? std::string() : line.rest.substr(space))
            if (!std::isspace(static_cast<unsigned char>(c)))
                hex += c;
        if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            throw ScriptError("packet bytes must be pairs of hexadecimal digits");
        std::vector<unsigned char> bytes;
        for (std::size_t i = 0; i < hex.size(); i += 2)
            bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
        t_atom args[2];
        atom_setlong(&args[0], static_cast<t_atom_long>(bytes.size()));
        atom_setlong(&args[1], static_cast<t_atom_long>(reinterpret_cast<intptr_t>(bytes.data())));
        SendMessage(x, gensym("FullPacket"), 2, args);
    }

    void doDsp(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        static const char* usage = "usage: dsp on|start [SR [VS]] | dsp off";
        if (atoms.empty())
            throw ScriptError(usage);
        const std::string what = text(atoms[0]);
        if (what != "on" && what != "start" && what != "off")
            throw ScriptError(usage);
        StopAudio();
        if (what == "off")
            return DspOff();
        const double sr = atoms.size() > 1 ? number(atoms[1], "the sample rate") : 48000.0;
        const double vs = atoms.size() > 2 ? number(atoms[2], "the vector size") : 64.0;
        if (sr <= 0.0 || vs < 1.0 || vs > 8192.0)
            throw ScriptError("bad sample rate or vector size");
        DspConfigure(sr, static_cast<long>(vs));
        DspCompile(boxes);
        if (what == "start")
            StartAudio();
    }

    void doInputChannels(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 3, "inputchannels BOX INLET N");
        SetInputChannels(box(atoms[0]), static_cast<long>(number(atoms[1], "the inlet")),
                         static_cast<long>(number(atoms[2], "the channel count")));
    }

    void doRun(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "run MS");
        RunAudio(number(atoms[0], "the duration"), speed);
    }

    void doWait(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "wait MS");
        ServeFor(number(atoms[0], "the duration"));
    }

    // The script's own line in the output, where a program reading it as it
    // runs (a window test taking screenshots) finds its cue.
    void doPrint(const ScriptLine& line, std::vector<t_atom>&) { EmitLine(line.rest); }

    // Serves as wait does until PATH exists (made by whoever reads the
    // output); not there after MS is a script error.
    void doWaitFile(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 2, "waitfile PATH MS");
        const std::string path = text(atoms[0]);
        const double ms = number(atoms[1], "the timeout");
        const bool appeared = ServeUntil(ms, [&] {
            std::error_code error;
            return std::filesystem::exists(path, error);
        });
        if (!appeared)
            throw ScriptError("waitfile: no " + path + " after " + FormatAtom(atoms[1]) + " ms");
    }

    void doSpeed(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "speed X");
        speed = number(atoms[0], "the speed");
        if (speed < 0.0)
            throw ScriptError("the speed cannot be negative");
    }

    void doFree(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "free BOX");
        t_object* x = box(atoms[0]);
        boxes[static_cast<std::size_t>(atoms[0].a_w.w_long - 1)] = nullptr;
        object_free(x);
    }

    void doMaxVersion(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "maxversion HEX");
        const std::string hex = text(atoms[0]);
        char* end = nullptr;
        const long v = std::strtol(hex.c_str(), &end, 16);
        if (!end || *end)
            throw ScriptError("maxversion takes a hexadecimal number");
        SetMaxVersion(static_cast<short>(v));
    }

    void doSearchPath(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "searchpath DIR");
        AddSearchPath(text(atoms[0]));
    }

    void doDialog(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "dialog PATH | dialog cancel");
        const std::string answer = text(atoms[0]);
        SetDialogAnswer(answer == "cancel" ? std::string() : answer);
    }

    // A recording takes the outlets it records as a cord does: DSP compiles again.
    void doRecord(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 2, "record BOX FILE.wav [OUTLET...]");
        std::vector<long> outlets;
        for (std::size_t i = 2; i < atoms.size(); ++i)
            outlets.push_back(integer(atoms[i], "the outlet"));
        record(box(atoms[0]), text(atoms[1]), outlets);
    }

    void doStopRecord(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "stoprecord BOX");
        record(box(atoms[0]), std::string(), {});
    }

    void record(t_object* x, const std::string& path, const std::vector<long>& outlets)
    {
        const std::string error = SetRecording(x, path, outlets);
        if (!error.empty())
            throw ScriptError(error);
        DspCompile(boxes);
    }

    void doCopy(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        if (atoms.size() != 2)
            throw ScriptError("usage: cp SRC DST");
        const std::string error = CopyOver(text(atoms[0]), text(atoms[1]));
        if (!error.empty())
            throw ScriptError(error);
    }

    void doTruncate(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        if (atoms.size() != 2)
            throw ScriptError("usage: truncate FILE BYTES");
        const long bytes = integer(atoms[1], "the byte count");
        const std::string error = TruncateFile(text(atoms[0]), bytes);
        if (!error.empty())
            throw ScriptError(error);
    }

    // A change another program is not allowed to make: on Windows a file the
    // box plays is opened without write sharing, so cp and truncate fail.
    // The failure is what the script asserts; a change that goes through is
    // a script error.
    void doRefused(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "refused cp SRC DST | refused truncate FILE BYTES");
        const std::string command = text(atoms[0]);
        std::vector<t_atom> rest(atoms.begin() + 1, atoms.end());
        std::string error;
        if (command == "cp" && rest.size() == 2)
            error = CopyOver(text(rest[0]), text(rest[1]));
        else if (command == "truncate" && rest.size() == 2)
            error = TruncateFile(text(rest[0]), integer(rest[1], "the byte count"));
        else
            throw ScriptError("usage: refused cp SRC DST | refused truncate FILE BYTES");
        if (error.empty())
            throw ScriptError("refused " + command + ": the change went through");
        EmitLine("refused " + error);
    }

    void doClassInfo(const ScriptLine&, std::vector<t_atom>& atoms)
    {
        need(atoms, 1, "classinfo CLASS");
        const std::string name = text(atoms[0]);
        ClassRecord* cls = findClass(gensym(name.c_str()));
        if (!cls)
        {
            EmitLine("error - no class " + name);
            return;
        }
        char flags[32];
        std::snprintf(flags, sizeof flags, "0x%lx", static_cast<unsigned long>(cls->c_flags));
        EmitLine("class " + name + " flags " + flags);
        for (const MethodEntry& m : cls->methods)
        {
            std::string line = std::string("method ") + m.name->s_name;
            for (short t : m.types)
            {
                line += ' ';
                line += std::to_string(t);
            }
            EmitLine(line);
        }
        for (const AttrRecord* a : cls->attributes)
            EmitLine(DescribeAttribute(a));
    }

    void finish()
    {
        Settle();
        StopAudio();
        DspOff();
        StopAllRecordings();
        for (t_object*& x : boxes)
            if (x)
            {
                object_free(x);
                x = nullptr;
            }
        Settle();
        StopScheduler();
    }

    std::string external;
    Overdrive mode;
    bool loaded = false;
    double speed = 1.0;
    std::vector<t_object*> boxes;
    std::vector<DictionaryEntry> pendingDictionary;
};

}  // namespace

int RunMain(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    Overdrive mode = Overdrive::Off;
    if (args.size() >= 2 && args[0] == "--overdrive")
    {
        if (!ParseOverdrive(args[1], mode))
            args.clear();
        else
            args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty() || args.size() > 2)
    {
        std::cerr << "usage: maxsim [--overdrive off|on|audio] EXTERNAL [SCRIPT]   (the script is read from stdin "
                     "when absent)\n"
                     "Besides the patch, time and DSP commands, a script may change files as a user's shell does:\n"
                     "  cp SRC DST            rewrite DST in place with the bytes of the file SRC (created when\n"
                     "                        absent): whoever has DST open sees its new bytes\n"
                     "  truncate FILE BYTES   keep the first BYTES bytes of FILE (never more than it has)\n"
                     "  refused cp|truncate ...  the same change, which must fail (a file another program\n"
                     "                        holds without write sharing); prints \"refused \" and the reason"
                  << std::endl;
        return 2;
    }
    Runner runner(args[0], mode);
    if (args.size() == 1)
        return runner.Run(std::cin, "stdin");
    std::ifstream script(args[1]);
    if (!script)
    {
        std::cerr << "maxsim: cannot read " << args[1] << std::endl;
        return 2;
    }
    return runner.Run(script, args[1]);
}

}  // namespace maxsim
