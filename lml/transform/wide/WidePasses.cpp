// Passes of the wide transform engine: tables and scratch taken, the work divided among the threads of a team.
#include "transform/wide/WidePasses.h"

#include "base/Parallel.h"
#include "transform/wide/WideKernels.h"
#include "transform/wide/WideLong.h"
#include "transform/wide/WideScratch.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
std::size_t Bytes(std::size_t floats)
{
    return floats * sizeof(float);
}

bool Lends(const Scratch* lender, int threads, std::size_t bytes)
{
    return lender != nullptr && lender->Count() >= threads && lender->Bytes() >= bytes;
}
} // namespace

WideRowPass::WideRowPass(const WideRows& job, int threads, const Scratch* lender)
    : job_(job), kernels_(&BoundKernels()), length_(&WideLengthOf(job.n, kernels_->isa)),
      // Short rows that go back to their place are in the first cache already.
      stream_((job.target.samples != job.source.samples || job.n > kWideNearRow) &&
              WideMayStream(job.target, job.target.range.Count(job.n) * job.rows)),
      own_(Lends(lender, threads, Bytes(WideRowFloats(*length_))) ? 0 : std::max(threads, 1),
           Bytes(WideRowFloats(*length_))),
      scratch_(own_.Count() > 0 ? &own_ : lender)
{
}

void WideRowPass::Part(int index, int size) const noexcept
{
    const WideRowArgs args = {.job = job_, .length = length_, .stream = stream_};
    const Block block = BlockOf(job_.rows, index, size);
    float* const scratch = scratch_->As<float>(index);
    if (block.begin == block.end)
        return;
    if (IsDirectRow(*length_))
        kernels_->rows(args, block.begin, block.end, scratch);
    else
        WideLongRows(args, *kernels_, block.begin, block.end, scratch);
}

void WideRowPass::Rows(int index, const Complex* source, Complex* target, std::size_t rows) const noexcept
{
    WideRowArgs args = {.job = job_, .length = length_};
    args.job.source.samples = source;
    args.job.target.samples = target;
    if (IsDirectRow(*length_))
        kernels_->rows(args, 0, rows, scratch_->As<float>(index));
    else
        WideLongRows(args, *kernels_, 0, rows, scratch_->As<float>(index));
}

WideStripPass::WideStripPass(const WideStrips& job, int threads)
    : job_(job), kernels_(&BoundKernels()), length_(&WideLengthOf(job.n, kernels_->isa)),
      stream_(WideMayStream(job.target, job.target.range.Count(job.n) * job.columns)),
      scratch_(std::max(threads, 1), Bytes(WideStripFloats(*length_)))
{
}

void WideStripPass::Part(int index, int size) const noexcept
{
    const WideStripArgs args = {.job = job_, .length = length_, .stream = stream_, .bytes = WideRowBytes(job_)};
    const Block block = BlockOf(WideStripCount(job_.which, job_.columns), index, size);
    float* const scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->strips(args, block.begin, block.end, scratch);
    else
        WideLongStrips(args, *kernels_, block.begin, block.end, scratch);
}

// ----------------------------------------------------------------------------------------------------------- fused

namespace
{
// Mirrored pairs need whole strips on both sides of the middle and at most one run of wanted columns in a strip.
bool PairsFit(const WideFused& job, const WideLength& length)
{
    const WideRange which = job.strips.which;
    const bool hole =
        which.begin > which.end && which.end > 0 && (which.end - 1) / kWideStrip == which.begin / kWideStrip;
    return job.symmetric && IsDirectColumn(length) && job.strips.columns % (2 * kWideStrip) == 0 && !hole;
}

bool PairWanted(const WideStrips& job, std::size_t pair)
{
    for (std::size_t c = pair * kWideStrip; c < (pair + 1) * kWideStrip; ++c)
        if (job.which.Has(c) || job.which.Has(job.columns - 1 - c))
            return true;
    return false;
}

/// The mirrored pairs that have a wanted column.
struct Pairs
{
    std::size_t first, last;
};

Pairs WantedPairs(const WideStrips& job)
{
    Pairs pairs = {0, job.columns / (2 * kWideStrip)};
    while (pairs.first < pairs.last && !PairWanted(job, pairs.first))
        ++pairs.first;
    while (pairs.first < pairs.last && !PairWanted(job, pairs.last - 1))
        --pairs.last;
    return pairs;
}
} // namespace

WideFactorTable WideTableFor(const WideFused& job)
{
    const std::size_t n = job.strips.n, columns = job.strips.columns;
    const WideLength& length = WideLengthOf(n, BoundKernels().isa);
    WideFactorTable table;
    if (!job.symmetric || !IsDirectColumn(length) || columns % kWideStrip != 0)
        return table;
    table.columns = columns;
    if (PairsFit(job, length))
    {
        const Pairs pairs = WantedPairs(job.strips);
        table.firstColumn = pairs.first * kWideStrip;
        table.columns = (pairs.last - pairs.first) * kWideStrip + 1; // the mirrors' first column is one behind
    }
    table.step = (table.columns + 15) / 16 * 16;
    for (std::size_t k = 0; k <= n / 2; ++k)
        if (!job.zeroRows.Has(k) || !job.zeroRows.Has((n - k) % n))
            table.rows = k + 1;
    return table;
}

WideFusedPass::WideFusedPass(const WideFused& job, int threads)
    : job_(job), kernels_(&BoundKernels()), length_(&WideLengthOf(job.strips.n, kernels_->isa)),
      stream_(WideMayStream(job.strips.target, job.strips.target.range.Count(job.strips.n) * job.strips.columns)),
      pairs_(PairsFit(job, *length_)),
      scratch_(std::max(threads, 1), Bytes(WideFusedFloats(*length_, pairs_, job.row != nullptr)))
{
    if (!pairs_)
        return;
    const Pairs wanted = WantedPairs(job.strips);
    firstPair_ = wanted.first;
    lastPair_ = wanted.last;
    // A half asks for the factors that its other half has asked for already, unless there is a table: worth it where
    // a thread would have nothing to do.
    const bool table = job.table.at != nullptr;
    halves_ = table ? job.table.filled : lastPair_ - firstPair_ < static_cast<std::size_t>(std::max(threads, 1));
}

void WideFusedPass::Part(int index, int size) const noexcept
{
    const WideStripArgs args = {.job = job_.strips,
                                .length = length_,
                                .stream = stream_,
                                .bytes = WideRowBytes(job_.strips),
                                .fused = &job_,
                                .pairs = pairs_,
                                .halves = halves_};
    // Not all columns need be wanted: the threads share those that are.
    const std::size_t units = halves_ ? 2 : 1;
    Block block =
        BlockOf(pairs_ ? units * (lastPair_ - firstPair_) : WideStripCount(job_.strips.which, job_.strips.columns),
                index, size);
    block.begin += units * firstPair_;
    block.end += units * firstPair_;
    float* const scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->fused(args, block.begin, block.end, scratch);
    else
        WideLongStrips(args, *kernels_, block.begin, block.end, scratch);
}

bool WideKeepPass::Takes(std::size_t n)
{
    return IsDirectColumn(WideLengthOf(n, BoundKernels().isa));
}

std::size_t WideKeepPass::Floats(WideRange which, std::size_t columns, std::size_t n)
{
    return WideStripCount(which, columns) * WideKeptFloats(n);
}

WideKeepPass::WideKeepPass(const WideStrips& job, float* kept, int threads)
    : job_(job), kept_(kept), kernels_(&BoundKernels()), length_(&WideLengthOf(job.n, kernels_->isa)),
      scratch_(std::max(threads, 1), Bytes(WideStripFloats(*length_)))
{
}

void WideKeepPass::Part(int index, int size) const noexcept
{
    const WideStripArgs args = {.job = job_, .length = length_, .bytes = WideRowBytes(job_), .kept = kept_};
    const Block block = BlockOf(WideStripCount(job_.which, job_.columns), index, size);
    kernels_->keep(args, block.begin, block.end, scratch_.As<float>(index));
}

// ----------------------------------------------------------------------------------------------------- convolutions

WideRowConvolution::WideRowConvolution(const WideConvolution& job, int threads)
    : job_(job), kernels_(&BoundKernels()), length_(&WideLengthOf(2 * job.columns, kernels_->isa)),
      scratch_(std::max(threads, 1), Bytes(WideConvolveFloats(*length_)))
{
}

void WideRowConvolution::Part(int index, int size) const noexcept
{
    const WideConvolveArgs args = {.job = job_, .length = length_};
    const Block block = BlockOf(job_.rows, index, size);
    float* const scratch = scratch_.As<float>(index);
    if (IsDirectRow(*length_))
        kernels_->convolveRows(args, block.begin, block.end, scratch);
    else
        WideLongConvolve(args, *kernels_, block.begin, block.end, scratch);
}

void WideRowConvolution::Rows(int index, Complex* data, std::size_t rows) const noexcept
{
    WideConvolveArgs args = {.job = job_, .length = length_};
    args.job.data = data;
    if (IsDirectRow(*length_))
        kernels_->convolveRows(args, 0, rows, scratch_.As<float>(index));
    else
        WideLongConvolve(args, *kernels_, 0, rows, scratch_.As<float>(index));
}

WideColumnConvolution::WideColumnConvolution(const WideConvolution& job, int threads)
    : job_(job), kernels_(&BoundKernels()), length_(&WideLengthOf(2 * job.rows, kernels_->isa)),
      stream_(WideMayStream({.samples = job.data, .stride = job.stride}, job.columns * job.rows)),
      scratch_(std::max(threads, 1), Bytes(WideFusedFloats(*length_, false, false)))
{
}

void WideColumnConvolution::Part(int index, int size) const noexcept
{
    const WideStrips job = {.source = {.samples = job_.data, .stride = job_.stride, .range = {0, job_.rows}},
                            .target = {.samples = job_.data, .stride = job_.stride, .range = {0, job_.rows}},
                            .columns = job_.columns,
                            .which = {0, job_.columns},
                            .n = 2 * job_.rows,
                            .scale = job_.scale};
    const WideStripArgs args = {.job = job,
                                .length = length_,
                                .stream = stream_,
                                .bytes = WideRowBytes(job),
                                .pre = reinterpret_cast<const float*>(job_.pre),
                                .post = reinterpret_cast<const float*>(job_.post),
                                .rowFactor = reinterpret_cast<const float*>(job_.spectrum)};
    const Block block = BlockOf(WideStripCount(0, job_.columns), index, size);
    float* const scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->fused(args, block.begin, block.end, scratch);
    else
        WideLongStrips(args, *kernels_, block.begin, block.end, scratch);
}
} // namespace LumoraLib::detail
