// Several ranks in one operation: what one of them meets, all of them report.
#ifndef LML_TOGETHER_H
#define LML_TOGETHER_H

#include "LmlLarge.h"
#include "base/Parallel.h"
#include "base/WithMemory.h"

#include <cstdint>
#include <functional>

namespace LumoraLib::detail
{
/// The ranks' agreement on whether all of them are well. Everything that the ranks do together stands behind one, with
/// nothing between that can fail: a rank that fails elsewhere says so in place of its next agreement, so that none
/// waits for it in vain.
class Agreement
{
public:
    /// False when a rank has failed: its failure then stands in every rank's object. From any thread.
    [[nodiscard]] static bool Reach(LargeRanks& ranks);
    /// The same; leaves the operation when a rank has failed. Without ranks (null) it does nothing.
    static void Require(LargeRanks* ranks);
    /// Carries call() out in the name of an operation; the failure of a rank is raised on all of them.
    static void Run(LargeRanks& ranks, const char* function, const std::function<void()>& call);

private:
    using Failure = LargeRanks::Failure;
    static bool Reach(LargeRanks& ranks, const Failure& own);
};

/// What call() returns; with ranks, when all of them have done it.
template <class Call>
auto Together(LargeRanks* ranks, const char* function, const Call& call) -> decltype(call())
{
    if (ranks == nullptr)
        return call();
    decltype(call()) result{};
    Agreement::Run(*ranks, function, [&] { result = call(); });
    return result;
}

/// Runs call(), on all ranks of the options, and reports missing memory of the standard library's containers in the
/// name of the operation.
template <class Call>
auto LargeWithMemory(const char* function, const LargeOptions& options, const Call& call) -> decltype(call())
{
    return Together(options.ranks, function,
                    [&] { return WithMemory(call, [function] { Error(ERR_MEMORY, function, "tables"); }); });
}

inline bool IsFirst(const LargeRanks* ranks)
{
    return ranks == nullptr || ranks->GetRank() == 0;
}

/// This rank's share of so many items.
inline Block ShareOf(std::size_t count, const LargeRanks* ranks)
{
    return ranks == nullptr ? Block{0, count} : BlockOf(count, ranks->GetRank(), ranks->GetSize());
}

/// Calls piece(n) for pieces 0 ... count - 1, each on the rank that is free for it. When a rank fails, or its handler
/// cancels, the others take no more pieces and leave the one they are at.
void ForEachPiece(LargeRanks* ranks, const char* function, std::int64_t count,
                  const std::function<void(std::int64_t)>& piece);
} // namespace LumoraLib::detail

#endif
