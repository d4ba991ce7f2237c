// Several ranks in one operation: what one of them meets, all of them report.
#include "large/Together.h"

#include "base/Progress.h"

#include <cstring>
#include <exception>

namespace LumoraLib
{
namespace detail
{
namespace
{
/// Leaves an operation whose failure all ranks know.
struct Disagreed
{
};

/// Failures come as exceptions while an object lives, whatever the caller has chosen.
class Thrown
{
public:
    Thrown() : before_(GetErrorHandling()) { SetErrorHandling(ERROR_HANDLING_THROW); }
    ~Thrown() { SetErrorHandling(before_); }
    Thrown(const Thrown&) = delete;
    Thrown& operator=(const Thrown&) = delete;

private:
    ErrorHandling before_;
};

/// What the counter of pieces gets when a rank has failed: beyond every count.
constexpr std::int64_t kFailed = std::int64_t{1} << 60;
} // namespace

bool Agreement::Reach(LargeRanks& ranks, const Failure& own)
{
    if (ranks.failure_.code != 0)
        return false;
    const int size = ranks.GetSize();
    const std::int64_t first = ranks.GetLargest(own.code == 0 ? 0 : size - ranks.GetRank()); // the lowest rank's counts
    if (first == 0)
        return true;
    Failure failure = own;
    ranks.Broadcast(&failure, sizeof failure, size - static_cast<int>(first));
    ranks.failure_ = failure;
    return false;
}

bool Agreement::Reach(LargeRanks& ranks)
{
    return Reach(ranks, Failure());
}

void Agreement::Require(LargeRanks* ranks)
{
    if (ranks != nullptr && !Reach(*ranks))
        throw Disagreed();
}

void Agreement::Run(LargeRanks& ranks, const char* function, const std::function<void()>& call)
{
    ranks.failure_ = {};
    std::exception_ptr foreign;
    {
        const Thrown thrown;
        Failure own;
        const auto set = [&own](int code, const char* operation, const char* text)
        {
            own.code = code;
            std::memcpy(own.function, operation, strnlen(operation, sizeof own.function - 1));
            std::memcpy(own.text, text, strnlen(text, sizeof own.text - 1));
        };
        try
        {
            call();
            if (Reach(ranks))
                return;
        }
        catch (const Disagreed&)
        {
        }
        catch (const LumoraException& failure)
        {
            set(failure.GetErrorCode(), failure.GetFuncname(), failure.GetUserMessage());
        }
        catch (...)
        {
            // What a handler throws is its caller's affair; the other ranks are cancelled by it.
            foreign = std::current_exception();
            set(ERR_SOMETHING, function, kTextCancelled);
        }
        if (own.code != 0)
            static_cast<void>(Reach(ranks, own));
        static_cast<void>(ranks.GetLargest(0)); // until all of them have removed what they had begun
    }
    if (foreign)
        std::rethrow_exception(foreign);
    const Failure failure = ranks.failure_; // what the call has left is gone
    Error(static_cast<ErrorCode>(failure.code), failure.function, failure.text);
}

void ForEachPiece(LargeRanks* ranks, const char* function, std::int64_t count,
                  const std::function<void(std::int64_t)>& piece)
{
    const auto all = [&](const auto& next)
    {
        Progress progress(function, count, 1);
        for (std::int64_t n = next(); n < count; n = next())
        {
            progress.Step(n);
            piece(n);
        }
    };
    if (ranks == nullptr)
    {
        std::int64_t n = 0;
        all([&n] { return n++; });
        return;
    }
    Agreement::Require(ranks);
    ranks->ResetCounter();
    try
    {
        const ProgressWatch watch(
            [](void* context) { return static_cast<LargeRanks*>(context)->AddToCounter(0) < kFailed; }, ranks);
        all([ranks] { return ranks->AddToCounter(1); });
    }
    catch (...)
    {
        // A rank that left its piece because of another one has nothing to report.
        if (ranks->AddToCounter(kFailed) < kFailed)
            throw;
    }
    Agreement::Require(ranks);
}
} // namespace detail

LargeRanks::LargeRanks() = default;
LargeRanks::~LargeRanks() = default;

void LargeTogether(LargeRanks* ranks, const RankWork& call)
{
    if (ranks == nullptr)
        call();
    else
        detail::Agreement::Run(*ranks, "LumoraLib::LargeTogether", call);
}
} // namespace LumoraLib
