// The library's thread count, the stack that saves it for a stretch of work, and the dynamic flag.

#include "LmlRuntime.h"

#include "base/Describe.h"
#include "base/StepByStep.h"

#include <algorithm>
#include <omp.h>

namespace LumoraLib
{
namespace
{
constexpr int kStackSize = 33;

// The OpenMP runtime ends the process when the system has no more threads for a team, so the count stays where every
// usual limit of threads, and of address space for their stacks, is far away.
constexpr int kMostThreads = 1024;

int threadCount = 1;
// Kept: what is reported until the first call; the OpenMP runtime is not told at load and may differ.
bool dynamicThreads = true;
int stack[kStackSize];
int stackTop = -1;

// Kept: the count is saved before n is looked at, so a push that SetNumThreads refuses leaves its entry on the stack;
// who catches the failure pops it.
void Push(int n)
{
    if (stackTop >= kStackSize - 1)
        Error(ERR_SOMETHING, "LumoraLib::PushNumThreads", "Stack size over");
    ++stackTop;
    stack[stackTop] = threadCount;
    SetNumThreads(n);
}

int Pop(const char* fn)
{
    if (stackTop < 0)
        Error(ERR_SOMETHING, fn, "Stack size under");
    const int count = stack[stackTop];
    --stackTop;
    SetNumThreads(count);
    return count;
}
} // namespace

void SetNumThreads(int n)
{
    if (n < 1)
        Error(ERR_PARAMETER, "LumoraLib::SetNumThreads", detail::Explained("", "n is %d.", n));
    threadCount = std::min(n, kMostThreads);
    if (!detail::StepByStep() && detail::threadHooks.setThreads != nullptr)
        detail::threadHooks.setThreads(threadCount);
}

void SetNumThreads()
{
    SetNumThreads(GetNumProcs());
}

int GetNumThreads()
{
    return threadCount;
}

int GetNumProcs()
{
    return omp_get_num_procs();
}

void PushNumThreads(int n)
{
    Push(n);
}

void PushNumThreads()
{
    Push(GetNumProcs());
}

int PopNumThreads()
{
    return Pop("LumoraLib::PopNumThreads");
}

int PullNumThreads()
{
    return Pop("LumoraLib::PullNumThreads");
}

void SetDynamicThreads(bool dynamic)
{
    dynamicThreads = dynamic;
    if (!detail::StepByStep() && detail::threadHooks.setDynamic != nullptr)
        detail::threadHooks.setDynamic(dynamic);
    omp_set_dynamic(dynamic ? 1 : 0);
}

bool GetDynamicThreads()
{
    return dynamicThreads;
}
} // namespace LumoraLib
