// The team of worker threads: how they are started, offered work, waited for and ended.
//
// Each worker has a desk with one word of state. The caller puts an offer on it, a worker takes it, and the caller
// takes back what was not taken. Whoever waits looks at the word for some microseconds and then sleeps on it: between
// regions a worker soon leaves its processor to others, and a caller whose worker shares a processor with another
// program does not use up the time that the worker needs.
#include "base/Team.h"

#include "base/Parallel.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <immintrin.h>
#include <omp.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>

namespace LumoraLib::detail
{
namespace
{
// Longer than the gaps between the regions of one operation, shorter than what a sleep and a wake cost twice.
constexpr std::int64_t kSpin = 20'000; // nanoseconds

// A worker that is off its processor for a time t in the middle of a part holds the whole team as long. Where that is
// more than it has worked for since it happened last, the team is better off without it: it stands aside for
// kPatience t, so that little of the time is lost so, however busy the machine. Below kLate it is the sleep and the
// wake themselves.
constexpr std::int64_t kPatience = 16;
constexpr std::int64_t kLate = 50'000;

// A worker that runs on the caller's own processor helps nobody: the others are taken, and third programs come in where
// the two change places. It stands aside for some of the system's time slices.
constexpr std::int64_t kCrowded = 30'000'000;

// Nothing is started anew for so long after the system has refused a thread.
constexpr std::int64_t kRefused = 1'000'000'000;

constexpr int kMostWorkers = 1023; // the largest thread count but the caller

enum State : std::uint32_t
{
    Idle,
    Asleep,  // the worker sleeps on the word
    Offered, // parts lie on the desk
    Running, // the worker has taken them
    Awaited, // and the caller sleeps on the word
    Quit
};

struct alignas(64) Desk
{
    std::atomic<std::uint32_t> state{Idle};
    std::atomic<int> processor{0}; // that the worker runs its parts on
    TeamPart part = nullptr;
    const void* body = nullptr;
    Block block = {0, 0};
    int parts = 0;
    int caller = 0;         // processor of the caller
    unsigned int modes = 0; // the caller's floating-point modes
    std::int64_t had = 0;   // processor time of the worker when it was late last
    std::int64_t aside = 0; // clock before which nothing is offered
    pthread_t thread = {};
};

// Read and written by who holds `taken`. Nothing here is ever destroyed: the program may end in the middle of a region.
std::atomic<bool> taken{false};
Desk desks[kMostWorkers];
int workers = 0;
int asked = 0;               // the largest team that workers have been started for
std::int64_t aside = 0;      // clock from which no worker stands aside
int active[kMostWorkers];    // workers of the present region
std::int64_t startAfter = 0; // clock before which no worker is started

std::int64_t Nanoseconds(clockid_t clock)
{
    timespec t = {};
    if (clock_gettime(clock, &t) != 0)
        return 0;
    return std::int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec;
}

std::int64_t Now()
{
    return Nanoseconds(CLOCK_MONOTONIC);
}

/// Looks at the word until it is another or the time is over; what it was last.
std::uint32_t Watch(const Desk& desk, std::uint32_t state)
{
    const std::int64_t end = Now() + kSpin;
    do
        for (int i = 0; i < 32; ++i)
        {
            const std::uint32_t seen = desk.state.load(std::memory_order_acquire);
            if (seen != state)
                return seen;
            _mm_pause();
        }
    while (Now() < end);
    return state;
}

void RunParts(TeamPart part, const void* body, const Block& block, int parts)
{
    for (std::size_t k = block.begin; k < block.end; ++k)
        part(body, static_cast<int>(k), parts);
}

void* Work(void* place)
{
    Desk& desk = *static_cast<Desk*>(place);
    std::uint32_t state = Idle;
    for (;;)
    {
        if (state == Idle)
            state = Watch(desk, Idle);
        if (state == Idle && desk.state.compare_exchange_strong(state, Asleep))
        {
            desk.state.wait(Asleep);
            state = desk.state.load(std::memory_order_acquire);
        }
        if (state == Quit)
            return nullptr;
        if (state != Offered || !desk.state.compare_exchange_strong(state, Running))
            continue;
        const int processor = sched_getcpu();
        desk.processor.store(processor, std::memory_order_relaxed);
        const bool crowded = processor == desk.caller;
        _mm_setcsr(desk.modes);
        RunParts(desk.part, desk.body, desk.block, desk.parts);
        if (desk.state.exchange(Idle) == Awaited)
            desk.state.notify_one();
        state = Idle;
        if (crowded && desk.state.compare_exchange_strong(state, Asleep)) // the caller waits for this processor
        {
            desk.state.wait(Asleep);
            state = desk.state.load(std::memory_order_acquire);
        }
    }
}

/// Where the OpenMP runtime binds the threads of its teams, ours are bound alike: the program's thread, whose
/// processors they would have otherwise, stands on one place alone.
void BindWorker(pthread_attr_t& attributes, int index)
{
    const int places = omp_get_num_places();
    if (places <= 0)
        return;
    const int place = (std::max(omp_get_place_num(), 0) + index) % places;
    int ids[CPU_SETSIZE];
    const int count = omp_get_place_num_procs(place);
    if (count <= 0 || count > CPU_SETSIZE)
        return;
    omp_get_place_proc_ids(place, ids);
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int i = 0; i < count; ++i)
        if (ids[i] >= 0 && ids[i] < CPU_SETSIZE)
            CPU_SET(static_cast<std::size_t>(ids[i]), &set);
    static_cast<void>(pthread_attr_setaffinity_np(&attributes, sizeof(set), &set));
}

bool StartWorker(Desk& desk, int index)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    BindWorker(attributes, index);
    desk.state.store(Idle);
    desk.had = desk.aside = 0;
    // Signals are the program's threads' own.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_create(&desk.thread, &attributes, Work, &desk) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return started;
}

/// A child of fork() has the calling thread alone.
void InChild()
{
    for (int w = 0; w < workers; ++w)
        desks[w].state.store(Idle);
    workers = asked = 0;
    aside = startAfter = 0;
    taken.store(false);
}

/// Workers for a team of `parts`, as many as there are processors for.
void Start(int parts)
{
    if (Now() < startAfter)
        return;
    static const bool childToo = pthread_atfork(nullptr, nullptr, InChild) == 0;
    const int most = childToo ? std::min({parts, omp_get_num_procs(), kMostWorkers + 1}) - 1 : 0;
    while (workers < most)
    {
        if (!StartWorker(desks[workers], workers + 1))
        {
            startAfter = Now() + kRefused;
            return;
        }
        ++workers;
    }
    asked = parts;
}

void Offer(Desk& desk, TeamPart part, const void* body, const Block& block, int parts, int processor)
{
    desk.part = part;
    desk.body = body;
    desk.block = block;
    desk.parts = parts;
    desk.caller = processor;
    desk.modes = _mm_getcsr();
    if (desk.state.exchange(Offered) == Asleep)
        desk.state.notify_one();
}

void StandAside(Desk& desk, std::int64_t until)
{
    desk.aside = std::max(desk.aside, until);
    aside = std::max(aside, until);
}

/// The workers that do not stand aside, `most` at most; their number.
int Gather(int most)
{
    const std::int64_t now = aside != 0 ? Now() : 0;
    if (now >= aside)
        aside = 0;
    int count = 0;
    for (int w = 0; w < workers && count < most; ++w)
        if (aside == 0 || desks[w].aside <= now)
            active[count++] = w;
    return count;
}

/// Waits for one of `helpers` workers, which runs.
void Await(Desk& desk, int helpers, int processor)
{
    const bool crowded = desk.processor.load(std::memory_order_relaxed) == processor;
    std::uint32_t state = desk.state.load(std::memory_order_acquire);
    if (!crowded && state == Running)
        state = Watch(desk, Running);
    if (state == Running)
    {
        clockid_t clock = CLOCK_MONOTONIC;
        const bool known = pthread_getcpuclockid(desk.thread, &clock) == 0;
        const std::int64_t since = Now(), before = Nanoseconds(clock);
        if (desk.state.compare_exchange_strong(state, Awaited))
            desk.state.wait(Awaited);
        const std::int64_t now = Now(), has = Nanoseconds(clock);
        const std::int64_t lost = now - since - (has - before);
        if (known && lost > kLate)
        {
            if ((helpers + 1) * lost > has - desk.had)
                StandAside(desk, now + kPatience * lost);
            desk.had = has;
        }
    }
}

/// Takes the team for a region; the number of workers that parts may be offered to. With none it is not taken.
int Take(int parts)
{
    if (parts <= 1 || omp_in_parallel() != 0 || taken.exchange(true, std::memory_order_acquire))
        return 0;
    if (parts > asked)
        Start(parts);
    const int helpers = Gather(parts - 1);
    if (helpers == 0)
        taken.store(false, std::memory_order_release);
    return helpers;
}

/// Ends the workers with the program or the library. Later regions run on their callers alone.
struct AtEnd
{
    ~AtEnd()
    {
        if (taken.exchange(true, std::memory_order_acquire)) // ends in the middle of a region
            return;
        for (int w = 0; w < workers; ++w)
            if (desks[w].state.exchange(Quit) == Asleep)
                desks[w].state.notify_one();
        for (int w = 0; w < workers; ++w)
            pthread_join(desks[w].thread, nullptr);
    }
} atEnd;
} // namespace

void RunTeam(int parts, TeamPart part, const void* body) noexcept
{
    const std::size_t count = static_cast<std::size_t>(std::max(parts, 0));
    const int helpers = Take(parts);
    if (helpers == 0)
        return RunParts(part, body, {0, count}, parts);
    const int processor = sched_getcpu();
    for (int w = 0; w < helpers; ++w)
        Offer(desks[active[w]], part, body, BlockOf(count, w + 1, helpers + 1), parts, processor);
    RunParts(part, body, BlockOf(count, 0, helpers + 1), parts);
    for (int w = 0; w < helpers; ++w)
    {
        Desk& desk = desks[active[w]];
        std::uint32_t state = Offered;
        if (desk.state.compare_exchange_strong(state, Idle))
            RunParts(part, body, desk.block, parts);
        else if (desk.processor.load(std::memory_order_relaxed) == processor)
            StandAside(desk, Now() + kCrowded);
    }
    for (int w = 0; w < helpers; ++w)
        if (desks[active[w]].state.load(std::memory_order_acquire) == Running)
            Await(desks[active[w]], helpers, processor);
    taken.store(false, std::memory_order_release);
}
} // namespace LumoraLib::detail
