// Classes, objects and the side record the kernel keeps for each object.
// Who may call: class set-up and object lifetime on the main thread (as in
// Max); FindObject and BoxLabel from any thread (they take a short lock).
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "MaxsimApi.h"

namespace maxsim
{

struct AttrRecord;
struct Outlet;

struct MethodEntry
{
    t_symbol* name;
    method fn;
    std::vector<short> types;  // A_* codes, without the terminating 0
};

// t_class first, so a t_class* from the API is a ClassRecord*.
struct ClassRecord : t_class
{
    t_messlist header[2] {};  // header[0].m_sym holds the class: objects point o_messlist at header + 1
    method newFunction = nullptr;
    std::vector<short> newTypes;
    std::vector<MethodEntry> methods;
    std::vector<AttrRecord*> attributes;
    bool dsp = false;                               // class_dspinit was called
    bool parameters = false;                        // class_parameter_init was called
    bool kernelBox = false;                         // a box class of Max's own (message, route)
    std::function<void(t_object*)> release;         // frees the memory after the free method; empty: std::free
    const MethodEntry* findMethod(t_symbol* name) const;
    AttrRecord* findAttribute(t_symbol* name) const;
};

struct ObjectInfo
{
    ClassRecord* cls = nullptr;
    unsigned long long serial = 0;  // unique over the run: addresses are reused, serials never
    std::atomic<long> box {0};  // box number, 0 when the object is not a box
    std::atomic<int> activeCalls {0};  // CallScopes on the object, on every thread
    bool dspSetup = false;             // z_dsp_setup was called
    std::atomic<bool> dspFreed {false};
    bool parameterInit = false;        // object_parameter_init was called
    std::vector<std::unique_ptr<Outlet>> outlets;  // in creation order; guarded by the output lock
    std::map<t_symbol*, t_object*> obex;           // guarded by the output lock
    long signalInlets = 0;
    t_object* boxDictionary = nullptr;             // owned by the box, freed with it
};

// The class of any object the kernel made (its o_messlist[-1]).
ClassRecord* ClassOf(const void* object);
// The side record of a live object, or nullptr.
ObjectInfo* FindObject(const void* object);
// "N" for box N, "-" for NULL or an object that is not a box.
std::string BoxLabel(const void* object);
// The serial of a live object, 0 for anything else.
unsigned long long SerialOf(const void* object);
bool IsLive(const void* object, unsigned long long serial);
// How many objects of the external's classes (not the kernel's) are alive.
std::size_t CountExternalObjects();
// A call into a live object begins (nullptr when it is not one) and ends.
ObjectInfo* EnterObject(const void* object);
void LeaveObject(ObjectInfo* info);

// A class of the kernel's own (attributes, clocks, dictionaries, the DSP chain):
// its objects are allocated by the kernel with `new` and released by `release`.
ClassRecord* NewKernelClass(const char* name, std::function<void(t_object*)> release);
void AddKernelMethod(ClassRecord* cls, const char* name, method fn);
// Gives a kernel-made object its header and side record.
void AdoptObject(t_object* object, ClassRecord* cls);

// Box creation: the next object_alloc of `cls` gets number `box`.
void SetPendingBox(ClassRecord* cls, long box);
t_class* FindBoxClass(t_symbol* name);
// Calls the class's constructor with the atoms, converted to its typed arguments.
t_object* Construct(ClassRecord* cls, long argc, t_atom* argv);

// Calls fn(object, args...) converting atoms to the method's types (at most 7).
void* CallTyped(method fn, void* object, const std::vector<short>& types, long argc, const t_atom* argv);

}  // namespace maxsim
