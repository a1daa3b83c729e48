// Threads as Max knows them: each thread's role, the overdrive mode, the
// object a thread is calling into, and the report of what Max forbids.
// Any thread may call.
#pragma once

#include <string>

#include "MaxsimApi.h"

namespace maxsim
{

enum class Role
{
    Foreign,       // a thread Max does not own (the external's own)
    Main,          // Max's main thread
    Scheduler,     // the scheduler thread (overdrive on)
    Audio,         // the audio thread between perform routines
    AudioPerform,  // the audio thread inside a perform routine
    AudioTick,     // the audio thread in the scheduler tick (overdrive audio)
};

enum class Overdrive
{
    Off,    // scheduler events on the main thread
    On,     // on the scheduler thread
    Audio,  // on the audio thread between signal vectors, else on the scheduler thread
};

Role CurrentRole();
void SetRole(Role role);
// "the main thread", "a thread Max does not own", ...
const char* RoleName(Role role);

// Sets the calling thread's role for a scope.
class RoleScope
{
public:
    explicit RoleScope(Role role) : previous(CurrentRole()) { SetRole(role); }
    ~RoleScope() { SetRole(previous); }
    RoleScope(const RoleScope&) = delete;
    RoleScope& operator=(const RoleScope&) = delete;

private:
    Role previous;
};

Overdrive GetOverdrive();
void SetOverdriveMode(Overdrive mode);
bool ParseOverdrive(const std::string& text, Overdrive& mode);

// Outlets: main thread, scheduler thread, audio thread in the scheduler tick.
bool MayCallOutlets();
// Where defer queues instead of calling at once: wherever scheduler events run.
bool IsSchedulerContext();

// The object whose method, new or free the calling thread is running (the
// innermost call), or nullptr. Counted as a call in progress on the object.
class CallScope
{
public:
    explicit CallScope(const void* object);
    ~CallScope();
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;
};
// A constructor's scope: its object is the first object_alloc of the class.
class ConstructScope
{
public:
    explicit ConstructScope(const t_class* cls);
    ~ConstructScope();
    ConstructScope(const ConstructScope&) = delete;
    ConstructScope& operator=(const ConstructScope&) = delete;
};
const void* CurrentObject();
// object_alloc: names the object of the innermost constructor of its class.
void NameConstructedObject(const void* object, const t_class* cls);
// How many CallScopes of the calling thread are on this object.
int OwnCallsOn(const void* object);
struct ObjectInfo;
// object_free, about to release info: the calling thread's calls on it stop counting.
void ForgetOwnCalls(const ObjectInfo* info);

// "box N (CLASS)", "object (CLASS)" when it is no box, "an unknown object".
std::string Subject(const void* object);
std::string ClassSubject(const t_class* cls);

// Prints "bug 0 SUBJECT on THREAD: WHAT", each distinct line once.
void Violation(const std::string& subject, const std::string& what);
bool AnyViolation();

}  // namespace maxsim
