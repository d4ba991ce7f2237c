// The ranks of an MPI communicator: messages without spinning, and a counter that every rank reads and adds to alone.
#include "LmlMpi.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace LumoraLib
{
namespace
{
constexpr char fn[] = "LumoraLib::MpiRanks";
constexpr std::size_t kMostBytes = std::size_t{1} << 30; ///< of one message

/// Until the request is done. A few looks at once, for messages that are under way; then with sleep between, so that a
/// thread that waits does not take the processor from one that computes: the longer it has waited, the longer.
void Wait(MPI_Request& request)
{
    constexpr int kLooks = 500;
    constexpr std::chrono::nanoseconds kFirst(10'000), kLongest(500'000);
    std::chrono::nanoseconds sleep = kFirst;
    for (int n = 0;; ++n)
    {
        int done = 0;
        MPI_Test(&request, &done, MPI_STATUS_IGNORE);
        if (done != 0)
            return;
        if (n < kLooks)
            continue;
        std::this_thread::sleep_for(sleep);
        sleep = std::min(sleep + sleep / 8, kLongest);
    }
}

void RequireThreads()
{
    int begun = 0, ended = 0, provided = MPI_THREAD_SINGLE;
    MPI_Initialized(&begun);
    MPI_Finalized(&ended);
    if (begun == 0 || ended != 0)
        Error(ERR_SOMETHING, fn, "MPI has not begun, or has ended: call MPI_Init_thread first");
    MPI_Query_thread(&provided);
    if (provided < MPI_THREAD_SERIALIZED)
        Error(ERR_SOMETHING, fn, "MPI was begun for one thread: ask MPI_Init_thread for MPI_THREAD_SERIALIZED");
}
} // namespace

struct MpiRanks::State
{
    MPI_Comm communicator = MPI_COMM_NULL;
    MPI_Datatype sample = MPI_DATATYPE_NULL;
    MPI_Win window = MPI_WIN_NULL;
    std::int64_t* counter = nullptr; ///< of rank 0
    int rank = 0;
    int size = 1;
    std::vector<int> counts, places, theirCounts, theirPlaces;

    void Barrier() const
    {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Ibarrier(communicator, &request);
        Wait(request);
    }
};

MpiRanks::MpiRanks(MPI_Comm communicator)
{
    RequireThreads();
    state_ = std::make_unique<State>();
    State& s = *state_;
    MPI_Comm_dup(communicator, &s.communicator);
    MPI_Comm_rank(s.communicator, &s.rank);
    MPI_Comm_size(s.communicator, &s.size);
    MPI_Type_contiguous(2, MPI_FLOAT, &s.sample);
    MPI_Type_commit(&s.sample);
    static_assert(sizeof(Complex) == 2 * sizeof(float));
    const MPI_Aint bytes = s.rank == 0 ? static_cast<MPI_Aint>(sizeof(std::int64_t)) : 0;
    MPI_Win_allocate(bytes, sizeof(std::int64_t), MPI_INFO_NULL, s.communicator, &s.counter, &s.window);
    MPI_Win_lock_all(MPI_MODE_NOCHECK, s.window);
    for (std::vector<int>* list : {&s.counts, &s.places, &s.theirCounts, &s.theirPlaces})
        list->resize(static_cast<std::size_t>(s.size));
    ResetCounter();
}

MpiRanks::~MpiRanks()
{
    int ended = 0;
    MPI_Finalized(&ended);
    if (ended != 0)
        return;
    MPI_Win_unlock_all(state_->window);
    MPI_Win_free(&state_->window);
    MPI_Type_free(&state_->sample);
    MPI_Comm_free(&state_->communicator);
}

int MpiRanks::GetRank() const
{
    return state_->rank;
}

int MpiRanks::GetSize() const
{
    return state_->size;
}

void MpiRanks::Broadcast(void* data, std::size_t bytes, int from)
{
    char* const first = static_cast<char*>(data);
    for (std::size_t done = 0; done < bytes; done += kMostBytes)
    {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Ibcast(first + done, static_cast<int>(std::min(bytes - done, kMostBytes)), MPI_BYTE, from,
                   state_->communicator, &request);
        Wait(request);
    }
}

std::int64_t MpiRanks::GetLargest(std::int64_t value)
{
    std::int64_t largest = 0;
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Iallreduce(&value, &largest, 1, MPI_INT64_T, MPI_MAX, state_->communicator, &request);
    Wait(request);
    return largest;
}

void MpiRanks::Exchange(const Complex* from, const Samples* send, Complex* to, const Samples* receive)
{
    State& s = *state_;
    for (std::size_t r = 0; r < s.counts.size(); ++r)
    {
        s.counts[r] = static_cast<int>(send[r].count);
        s.places[r] = static_cast<int>(send[r].first);
        s.theirCounts[r] = static_cast<int>(receive[r].count);
        s.theirPlaces[r] = static_cast<int>(receive[r].first);
    }
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ialltoallv(from, s.counts.data(), s.places.data(), s.sample, to, s.theirCounts.data(), s.theirPlaces.data(),
                   s.sample, s.communicator, &request);
    Wait(request);
}

void MpiRanks::ResetCounter()
{
    State& s = *state_;
    s.Barrier();
    if (s.rank == 0)
    {
        const std::int64_t zero = 0;
        std::int64_t before = 0;
        MPI_Fetch_and_op(&zero, &before, MPI_INT64_T, 0, 0, MPI_REPLACE, s.window);
        MPI_Win_flush(0, s.window);
    }
    s.Barrier();
}

std::int64_t MpiRanks::AddToCounter(std::int64_t value)
{
    std::int64_t before = 0;
    MPI_Fetch_and_op(&value, &before, MPI_INT64_T, 0, 0, MPI_SUM, state_->window);
    MPI_Win_flush(0, state_->window);
    return before;
}
} // namespace LumoraLib
