// Progress and cancellation of long operations: one object per operation, which asks the caller's handler now and then
// whether to go on.
//
// An operation makes a Progress before its work and tells it what is done: Step() between pieces of work, on the
// calling thread, or Advance() from the threads of a region, whose bodies must not throw, and Check() behind it.
// Without a handler both cost a test of a flag. Operations inside operations add to the outermost one, whose name and
// total the handler sees.
#ifndef LML_PROGRESS_H
#define LML_PROGRESS_H

#include "base/Parallel.h"

#include <atomic>
#include <cstdint>
#include <exception>

namespace LumoraLib::detail
{
/// Message of a cancelled operation; its code is ERR_SOMETHING and its function that of the outermost operation.
inline constexpr char kTextCancelled[] = "cancelled";

class Progress
{
public:
    /// @param operation  full name of the public operation, a static text
    /// @param total      units of work of the whole operation: samples, points, bytes; what the handler is told
    /// @param inside     units that one operation started inside this one stands for: its own progress moves this
    ///                   one's from where it stands by up to as many
    Progress(const char* operation, std::int64_t total, std::int64_t inside = 0);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Whether a handler is set: an operation may then divide its work into more pieces.
    bool IsWatched() const { return watched_; }

    /// `done` units are finished. Ends in Error when the handler says so; what the handler throws passes.
    void Step(std::int64_t done)
    {
        if (!watched_)
            return;
        done_.store(done, std::memory_order_relaxed);
        Check();
    }

    /// From a thread of a region, `index` in its team: `units` more are finished. True when the thread is to leave out
    /// the rest of its work (never a barrier). The calling thread, index 0, asks the handler.
    bool Advance(int index, std::int64_t units) noexcept
    {
        if (!watched_)
            return false;
        done_.fetch_add(units, std::memory_order_relaxed);
        if (index == 0)
            Poll();
        return stopped_.load(std::memory_order_relaxed);
    }

    /// Behind the region, on the calling thread, which may have had no share of the work: asks the handler once more,
    /// and ends in Error, or in what the handler has thrown, when it has stopped the work.
    void Check()
    {
        if (!watched_)
            return;
        Poll();
        if (stopped_.load(std::memory_order_relaxed))
            Fail();
    }

private:
    void Poll() noexcept;
    [[noreturn]] void Fail();

    const char* operation_;
    std::int64_t total_;
    std::int64_t inside_;
    std::atomic<std::int64_t> done_{0};
    std::atomic<bool> stopped_{false};
    bool watched_;
    Progress* outer_ = nullptr; // the operation that this one stands in, on this thread
    std::exception_ptr thrown_;
};

/// While an object lives, watched operations ask goesOn(context) too, when they would ask the handler: a reason to stop
/// that is not the caller's.
class ProgressWatch
{
public:
    ProgressWatch(bool (*goesOn)(void* context), void* context) noexcept;
    ~ProgressWatch();
    ProgressWatch(const ProgressWatch&) = delete;
    ProgressWatch& operator=(const ProgressWatch&) = delete;
};

/// Operations in its scope do not ask the handler: work that is no part of what the caller has asked for.
class Unwatched
{
public:
    Unwatched() noexcept;
    ~Unwatched();
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;

private:
    bool before_;
};

/// Passes of a team one after the other, each over all of the work: pass(index, size). A watched operation asks the
/// handler before each of them.
template <class... Pass>
void ParallelPasses(int threads, const Pass&... pass)
{
    Progress progress("LumoraLib", sizeof...(Pass)); // its name shows when nothing stands around it
    std::int64_t done = 0;
    ((progress.Step(done++), ParallelTeam(threads, pass)), ...);
}
} // namespace LumoraLib::detail

#endif
