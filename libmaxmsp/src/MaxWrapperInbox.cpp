#include "MaxWrapperInbox.h"

#include "MaxWrapperTypes.h"

namespace maxmsp {

MainThreadInbox::MainThreadInbox()
{
    qelem = qelem_new(this, AsMethod(&MainThreadInbox::qelemTick));
}

MainThreadInbox::~MainThreadInbox()
{
    if (qelem != nullptr)
        qelem_free(qelem);
}

void MainThreadInbox::qelemTick(MainThreadInbox* self)
{
    self->serve();
}

void MainThreadInbox::serve()
{
    for (;;)
    {
        std::function<void()> work;
        {
            const std::lock_guard lock(mutex);
            if (waiting.empty())
                return;
            work = std::move(waiting.front());
            waiting.pop_front();
        }
        work();
    }
}

void MainThreadInbox::Run(std::function<void()> work)
{
    if (systhread_ismainthread() != 0)
    {
        serve();
        work();
        return;
    }
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(work));
    }
    qelem_set(qelem);
}

} // namespace maxmsp
