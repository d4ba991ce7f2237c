// The progress handler of the library, and when it is called.

#include "base/Progress.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace LumoraLib
{
namespace
{
constexpr std::int64_t kBetweenCalls = 50'000'000; // nanoseconds: at most 20 calls a second

ProgressHandler handler = nullptr;
void* handlerContext = nullptr;
bool (*watch)(void* context) = nullptr;
void* watchContext = nullptr;
std::atomic<std::int64_t> nextCall{0}; // clock of the next call; 0: at once
thread_local detail::Progress* current = nullptr;
thread_local bool calling = false; // the handler runs: it is not called again from inside

std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Whether a call is due. One of several threads with operations of their own takes it.
bool TakeCall()
{
    std::int64_t due = nextCall.load(std::memory_order_relaxed);
    const std::int64_t now = Now();
    return now >= due && nextCall.compare_exchange_strong(due, now + kBetweenCalls, std::memory_order_relaxed);
}
} // namespace

void SetProgressHandler(ProgressHandler newHandler, void* context)
{
    handler = newHandler;
    handlerContext = context;
    nextCall.store(0, std::memory_order_relaxed);
}

namespace detail
{
Unwatched::Unwatched() noexcept : before_(std::exchange(calling, true)) {}

Unwatched::~Unwatched()
{
    calling = before_;
}

ProgressWatch::ProgressWatch(bool (*goesOn)(void* context), void* context) noexcept
{
    watch = goesOn;
    watchContext = context;
}

ProgressWatch::~ProgressWatch()
{
    watch = nullptr;
}

Progress::Progress(const char* operation, std::int64_t total, std::int64_t inside)
    : operation_(operation), total_(std::max<std::int64_t>(total, 1)), inside_(inside),
      watched_(handler != nullptr || watch != nullptr)
{
    if (watched_)
        outer_ = std::exchange(current, this);
}

Progress::~Progress()
{
    if (watched_)
        current = outer_;
}

void Progress::Poll() noexcept
{
    if ((handler == nullptr && watch == nullptr) || calling || stopped_.load(std::memory_order_relaxed) || !TakeCall())
        return;
    // The share of each operation moves the one around it.
    const Progress* outermost = this;
    double units = static_cast<double>(done_.load(std::memory_order_relaxed));
    for (const Progress* outer = outer_; outer != nullptr; outer = outer->outer_)
    {
        const double share = std::clamp(units / static_cast<double>(outermost->total_), 0.0, 1.0);
        units = static_cast<double>(outer->done_.load(std::memory_order_relaxed)) +
                share * static_cast<double>(outer->inside_);
        outermost = outer;
    }
    const double total = static_cast<double>(outermost->total_);
    const std::int64_t done = units >= total ? outermost->total_ : static_cast<std::int64_t>(std::max(units, 0.0));
    calling = true;
    try
    {
        if ((watch != nullptr && !watch(watchContext)) ||
            (handler != nullptr && !handler(handlerContext, outermost->operation_, done, outermost->total_)))
            stopped_.store(true, std::memory_order_relaxed);
    }
    catch (...)
    {
        thrown_ = std::current_exception();
        stopped_.store(true, std::memory_order_relaxed);
    }
    calling = false;
    nextCall.store(Now() + kBetweenCalls, std::memory_order_relaxed);
}

void Progress::Fail()
{
    if (thrown_)
        std::rethrow_exception(thrown_);
    const Progress* outermost = this;
    while (outermost->outer_ != nullptr)
        outermost = outermost->outer_;
    Error(ERR_SOMETHING, outermost->operation_, kTextCancelled);
}
} // namespace detail
} // namespace LumoraLib
