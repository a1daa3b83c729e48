#include "MaxsimQueue.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "MaxsimHooks.h"
#include "MaxsimObjects.h"
#include "MaxsimScheduler.h"
#include "MaxsimThreads.h"

namespace maxsim
{
namespace
{

// The object a deferred call or qelem belongs to: the one it was given if
// that is an object, else the one whose method is running (externals pass
// helper structures).
struct Owner
{
    const void* object = nullptr;
    unsigned long long serial = 0;
    std::string subject;

    static Owner of(const void* given)
    {
        const void* object = SerialOf(given) ? given : CurrentObject();
        return {object, SerialOf(object), Subject(object)};
    }
    bool freed() const { return serial && !IsLive(object, serial); }
    std::string name() const { return freed() || !serial ? subject : Subject(object); }
};

struct QelemRecord
{
    void* arg;
    method fn;
    Owner owner;
    bool set = false;  // guarded by the queue's lock
    std::atomic<bool> freed {false};
};

struct Task
{
    void* object;
    method fn;
    t_symbol* selector;
    std::vector<t_atom> atoms;
    Owner owner;
    QelemRecord* qelem;  // a qelem's run, else a deferred call
};

struct State
{
    std::mutex mutex;
    std::deque<Task> tasks;
    // Never released: a qelem used after qelem_free is reported, not read from freed memory.
    std::vector<std::unique_ptr<QelemRecord>> qelems;
};

State& state()
{
    static State* instance = new State;
    return *instance;
}

enum class Where
{
    NowElseFront,      // defer
    NowOnMainElseBack,  // defer_medium
    Back,               // defer_low
};

void* deferCall(void* object, method fn, t_symbol* s, short argc, t_atom* argv, Where where)
{
    if (!fn)
        return nullptr;
    const bool now = (where == Where::NowElseFront && !IsSchedulerContext()) ||
                     (where == Where::NowOnMainElseBack && CurrentRole() == Role::Main);
    if (now)
    {
        reinterpret_cast<void (*)(void*, t_symbol*, short, t_atom*)>(fn)(object, s, argc, argv);
        return nullptr;
    }
    Task task {object, fn, s, std::vector<t_atom>(argv, argv + (argv ? std::max<short>(argc, 0) : 0)), Owner::of(object),
               nullptr};
    State& st = state();
    {
        std::lock_guard<std::mutex> lock(st.mutex);
        if (where == Where::NowElseFront)
            st.tasks.push_front(std::move(task));
        else
            st.tasks.push_back(std::move(task));
    }
    Wake();
    return nullptr;
}

// Checks a qelem call; false when the qelem may not be touched.
bool usable(QelemRecord* q, const char* function)
{
    if (q->freed)
    {
        Violation(q->owner.name(), std::string("called ") + function + " on a freed qelem");
        return false;
    }
    if (q->owner.freed())
    {
        Violation(q->owner.name(), std::string("called ") + function + " on a qelem of the freed object");
        return false;
    }
    return true;
}

void unsetLocked(State& s, QelemRecord* q)
{
    q->set = false;
    std::erase_if(s.tasks, [&](const Task& t) { return t.qelem == q; });
}

}  // namespace

bool RunQueued()
{
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    if (s.tasks.empty())
        return false;
    Task task = std::move(s.tasks.front());
    s.tasks.pop_front();
    if (task.qelem)
        task.qelem->set = false;
    lock.unlock();
    if (task.owner.freed())
    {
        // Queued while its object was being freed, after the check at free.
        Violation(task.owner.name(), task.qelem ? "a qelem set while it was freed (dropped)"
                                                : "a call deferred while it was freed (dropped)");
        return true;
    }
    CallScope scope(task.owner.object);
    if (task.qelem)
        reinterpret_cast<void (*)(void*)>(task.qelem->fn)(task.qelem->arg);
    else
        reinterpret_cast<void (*)(void*, t_symbol*, short, t_atom*)>(task.fn)(
            task.object, task.selector, static_cast<short>(task.atoms.size()),
            task.atoms.empty() ? nullptr : task.atoms.data());
    return true;
}

bool QueueIsEmpty()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.tasks.empty();
}

void QueueAfterFree(unsigned long long serial, const std::string& subject)
{
    State& s = state();
    std::size_t deferred = 0, qelems = 0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        deferred = std::erase_if(s.tasks, [&](const Task& t) { return !t.qelem && t.owner.serial == serial; });
        for (auto& q : s.qelems)
            if (q->owner.serial == serial && q->set && !q->freed)
            {
                unsetLocked(s, q.get());
                ++qelems;
            }
    }
    if (deferred)
        Violation(subject, "deferred calls still queued when it was freed (dropped)");
    if (qelems)
        Violation(subject, "a qelem still set when it was freed (unset)");
}

}  // namespace maxsim

using namespace maxsim;

extern "C" {

void* defer(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::NowElseFront);
}

void* defer_medium(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::NowOnMainElseBack);
}

void* defer_low(void* x, method fn, t_symbol* s, short argc, t_atom* argv)
{
    return deferCall(x, fn, s, argc, argv, Where::Back);
}

void* qelem_new(void* obj, method fn)
{
    auto q = std::make_unique<QelemRecord>();
    q->arg = obj;
    q->fn = fn;
    q->owner = Owner::of(obj);
    // Like clock_new: made in new or another method on the main thread.
    if (CurrentRole() != Role::Main)
        Violation(q->owner.name(), "called qelem_new");
    QelemRecord* result = q.get();
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.qelems.push_back(std::move(q));
    return result;
}

void qelem_set(t_qelem* x)
{
    auto* q = static_cast<QelemRecord*>(x);
    if (!q)
        return;
    // The documented way out of a perform routine is a clock.
    if (CurrentRole() == Role::AudioPerform)
        Violation(q->owner.name(), "called qelem_set");
    if (!usable(q, "qelem_set"))
        return;
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (q->set || q->freed)
            return;
        q->set = true;
        s.tasks.push_back({q->arg, q->fn, nullptr, {}, q->owner, q});
    }
    Wake();
}

void qelem_unset(t_qelem* x)
{
    auto* q = static_cast<QelemRecord*>(x);
    if (!q || !usable(q, "qelem_unset"))
        return;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    unsetLocked(s, q);
}

void qelem_free(t_qelem* x)
{
    auto* q = static_cast<QelemRecord*>(x);
    if (!q)
        return;
    if (q->freed)
    {
        Violation(q->owner.name(), "called qelem_free on a freed qelem");
        return;
    }
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    unsetLocked(s, q);
    q->freed = true;
}

}  // extern "C"
