#include "MaxsimThreads.h"

#include <atomic>
#include <mutex>
#include <set>
#include <vector>

#include "MaxsimConsole.h"
#include "MaxsimObjects.h"

namespace maxsim
{
namespace
{

struct Call
{
    const void* object;
    ObjectInfo* info;             // counted in its activeCalls, or nullptr
    const t_class* constructing;  // a constructor whose object is not allocated yet
};

thread_local Role role = Role::Foreign;
thread_local std::vector<Call> calls;

std::atomic<Overdrive> overdrive {Overdrive::Off};

struct Reported
{
    std::mutex mutex;
    std::set<std::string> lines;
};

// Never destroyed: threads an external leaves running may still report.
Reported& reported()
{
    static Reported* instance = new Reported;
    return *instance;
}

void leave()
{
    Call call = calls.back();
    calls.pop_back();
    if (call.info)
        LeaveObject(call.info);
}

}  // namespace

Role CurrentRole() { return role; }
void SetRole(Role r) { role = r; }

const char* RoleName(Role r)
{
    switch (r)
    {
    case Role::Main:
        return "the main thread";
    case Role::Scheduler:
        return "the scheduler thread";
    case Role::Audio:
        return "the audio thread";
    case Role::AudioPerform:
        return "the audio thread inside perform";
    case Role::AudioTick:
        return "the audio thread in the scheduler tick";
    case Role::Foreign:
        break;
    }
    return "a thread Max does not own";
}

Overdrive GetOverdrive() { return overdrive.load(); }
void SetOverdriveMode(Overdrive mode) { overdrive = mode; }

bool ParseOverdrive(const std::string& text, Overdrive& mode)
{
    if (text == "off")
        mode = Overdrive::Off;
    else if (text == "on")
        mode = Overdrive::On;
    else if (text == "audio")
        mode = Overdrive::Audio;
    else
        return false;
    return true;
}

bool MayCallOutlets() { return role == Role::Main || role == Role::Scheduler || role == Role::AudioTick; }

bool IsSchedulerContext()
{
    if (role == Role::Scheduler)
        return true;
    // With the scheduler in the audio interrupt, the whole audio thread counts as the scheduler's.
    return overdrive.load() == Overdrive::Audio &&
           (role == Role::Audio || role == Role::AudioPerform || role == Role::AudioTick);
}

CallScope::CallScope(const void* object)
{
    calls.push_back({object, object ? EnterObject(object) : nullptr, nullptr});
}

CallScope::~CallScope() { leave(); }

ConstructScope::ConstructScope(const t_class* cls) { calls.push_back({nullptr, nullptr, cls}); }
ConstructScope::~ConstructScope() { leave(); }

const void* CurrentObject()
{
    for (auto it = calls.rbegin(); it != calls.rend(); ++it)
        if (it->object)
            return it->object;
    return nullptr;
}

void NameConstructedObject(const void* object, const t_class* cls)
{
    for (auto it = calls.rbegin(); it != calls.rend(); ++it)
        if (it->constructing == cls)
        {
            *it = {object, EnterObject(object), nullptr};
            return;
        }
}

int OwnCallsOn(const void* object)
{
    int n = 0;
    for (const Call& c : calls)
        if (c.object == object && c.info)
            ++n;
    return n;
}

void ForgetOwnCalls(const ObjectInfo* info)
{
    for (Call& c : calls)
        if (c.info == info)
            c.info = nullptr;
}

std::string Subject(const void* object)
{
    ClassRecord* cls = object && FindObject(object) ? ClassOf(object) : nullptr;
    if (!cls)
        return "an unknown object";
    const std::string label = BoxLabel(object);
    return (label == "-" ? std::string("object") : "box " + label) + " (" + cls->c_sym->s_name + ")";
}

std::string ClassSubject(const t_class* cls)
{
    return std::string("class ") + (cls && cls->c_sym ? cls->c_sym->s_name : "?");
}

void Violation(const std::string& subject, const std::string& what)
{
    const std::string line = "bug 0 " + subject + " on " + RoleName(role) + ": " + what;
    Reported& r = reported();
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (!r.lines.insert(line).second)
            return;
    }
    EmitLine(line);
}

bool AnyViolation()
{
    Reported& r = reported();
    std::lock_guard<std::mutex> lock(r.mutex);
    return !r.lines.empty();
}

}  // namespace maxsim

extern "C" short systhread_ismainthread(void) { return maxsim::CurrentRole() == maxsim::Role::Main ? 1 : 0; }
