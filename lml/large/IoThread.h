// One thread for reading and writing beside the arithmetic, and a sweep over blocks with two buffers of each kind.
#ifndef LML_IOTHREAD_H
#define LML_IOTHREAD_H

#include "LmlRuntime.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace LumoraLib::detail
{
/// Runs one job at a time. Where the system has no thread to give, a job runs in Start(), on the calling thread.
class IoThread
{
public:
    IoThread();
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    /// Starts job(), which must live until Wait() and must not throw.
    template <class Job>
    void Start(const Job& job)
    {
        Submit([](const void* context) { (*static_cast<const Job*>(context))(); }, &job);
    }
    /// Until the job is done.
    void Wait();

private:
    using Call = void (*)(const void* context);
    void Submit(Call call, const void* context);
    void Run();

    std::mutex mutex_;
    std::condition_variable changed_;
    Call call_ = nullptr;
    const void* context_ = nullptr;
    bool ends_ = false;
    std::thread thread_;
};

/// Rounds first ... last - 1 of a sweep: read(round) and write(round), which tell whether they went well, on the
/// thread, compute(round) on the calling one. Round r uses buffer r % 2: what stands in it is read before and written
/// after its computation, while the other one is computed. False when a transfer failed; compute may throw.
template <class Read, class Compute, class Write>
[[nodiscard]] bool SweepRounds(IoThread& io, std::size_t first, std::size_t last, const Read& read,
                               const Compute& compute, const Write& write)
{
    struct Finish
    {
        IoThread& io;
        ~Finish() { io.Wait(); } // also behind a computation that has thrown
    };
    if (first >= last)
        return true;
    bool good = read(first);
    for (std::size_t round = first; good && round < last; ++round)
    {
        const auto transfers = [&]
        {
            good = (round == first || write(round - 1)) && (round + 1 == last || read(round + 1));
        };
        {
            io.Start(transfers);
            const Finish finish{io};
            compute(round);
        }
    }
    return good && write(last - 1);
}
} // namespace LumoraLib::detail

#endif
