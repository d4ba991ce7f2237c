// Lengths that take more than one visit of a row or a column: split in two levels, or gathered from a grid's columns.
#include "transform/wide/WideLong.h"

#include "base/Parallel.h"

#include <algorithm>
#include <cstring>

namespace LumoraLib::detail
{
namespace
{
/// v times re + i im.
void TimesPair(float* v, float re, float im)
{
    const float r = v[0], i = v[1];
    v[0] = r * re - i * im;
    v[1] = r * im + i * re;
}

/// One row on the calling thread.
void LongSerial(const WideLong& job, float* scratch)
{
    for (int sweep = 0; sweep < kWideLongSweeps; ++sweep)
        WideLongPart(job, sweep, 0, 1, scratch);
}

/// The transforms over the first index, with the roots.
void LongColumns(const WideLong& job, int index, int size, float* scratch)
{
    const WideLength& length = *job.length;
    const std::size_t side = length.side, row = length.middle * side;
    WideStripArgs args = {
        .job = {.source = {.samples = job.line.x, .stride = row, .range = {0, side}, .shift = job.line.shiftInput},
                .target = {.samples = job.line.y, .stride = row, .range = {0, side}},
                .columns = row,
                .which = {0, row},
                .n = side,
                .sign = job.line.sign},
        .length = length.sideLength,
        .twist = &length};
    args.stream = WideMayStream(args.job.target, length.n);
    args.bytes = WideRowBytes(args.job);
    const Block block = BlockOf(WideStripCount(0, row), index, size);
    job.kernels->strips(args, block.begin, block.end, scratch);
}

/// The transforms along the rows that the first index leaves, results dealt out.
void LongLines(const WideLong& job, int index, int size, float* scratch)
{
    const WideLength& length = *job.length;
    const std::size_t side = length.side, row = length.middle * side;
    const Block rows = BlockOf(side, index, size);
    WideLine line = job.line;
    line.shiftInput = false;
    if (length.middle == 1)
    {
        job.kernels->rows(
            {.job = {.source = {.samples = line.x, .stride = row, .range = {0, row}},
                     .target = {.samples = line.y, .stride = row, .range = {0, row}, .shift = line.shiftOutput},
                     .rows = side,
                     .n = row,
                     .sign = line.sign,
                     .scale = line.scale},
             .length = length.rowLength},
            rows.begin, rows.end, scratch);
        return;
    }
    float* const rest = scratch + 2 * row;
    for (std::size_t r = rows.begin; r < rows.end; ++r)
    {
        Complex* const from = job.line.y + r * row;
        line.x = line.y = reinterpret_cast<Complex*>(scratch);
        if (IsDirectRow(*length.rowLength))
        {
            line.x = from;
            job.kernels->row(*length.rowLength, line, rest);
        }
        else
        {
            std::memcpy(scratch, from, row * sizeof(Complex));
            LongSerial({.kernels = job.kernels, .length = length.rowLength, .line = line}, rest);
        }
        job.kernels->deal(scratch, reinterpret_cast<float*>(from), side, length.middle);
    }
}
} // namespace

/// Index j = (a, c, b) with a, b < A and c < R: columns over a, roots, rows over (c, b), then a and b change places.
/// Row results k_c + R k_b are dealt to (k_c, k_b) on the way, so that the exchange is one of squares, in place.
void WideLongPart(const WideLong& job, int sweep, int index, int size, float* scratch)
{
    const WideLength& length = *job.length;
    if (IsDirectRow(length))
    {
        if (sweep == 0 && index == 0)
            job.kernels->row(length, job.line, scratch);
        return;
    }
    if (sweep == 0)
        return LongColumns(job, index, size, scratch);
    if (sweep == 1)
        return LongLines(job, index, size, scratch);
    for (std::size_t c = 0; c < length.middle; ++c)
        job.kernels->transpose(reinterpret_cast<float*>(job.line.y + c * length.side), length.middle * length.side,
                               length.side, static_cast<std::size_t>(index), static_cast<std::size_t>(size));
}

void WideLongRows(const WideRowArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last, float* scratch)
{
    const WideRows& job = p.job;
    Complex* const stage = reinterpret_cast<Complex*>(scratch);
    const WideLong row = {.kernels = &kernels,
                          .length = p.length,
                          .line = {.x = stage,
                                   .y = stage,
                                   .sign = job.sign,
                                   .shiftInput = job.source.shift,
                                   .shiftOutput = job.target.shift,
                                   .scale = job.scale}};
    for (std::size_t r = first; r < last; ++r)
    {
        const Complex* const from = job.source.samples + r * job.source.stride;
        for (std::size_t i = 0; i < job.n; ++i)
            stage[i] = job.source.range.Has(i) ? from[i - job.source.origin] : Complex(0.0f, 0.0f);
        LongSerial(row, scratch + 2 * job.n);
        Complex* const to = job.target.samples + r * job.target.stride;
        for (std::size_t i = 0; i < job.n; ++i)
            if (job.target.range.Has(i))
                to[i - job.target.origin] = stage[i];
    }
}

// --------------------------------------------------------------------------------------------------------- columns

namespace
{
/// Neighbouring columns of a grid, copied one after another.
struct ColumnGroup
{
    float* copy = nullptr; ///< n samples of each
    std::size_t column = 0;
    std::size_t count = 0;
};

void Gather(const WideStripArgs& p, const ColumnGroup& group)
{
    const AxisView<const Complex>& source = p.job.source;
    const std::size_t n = p.job.n, flip = source.shift ? n / 2 : 0;
    for (std::size_t j = 0; j < n; ++j)
    {
        const std::size_t axis = j ^ flip;
        const bool read = source.range.Has(axis);
        const float* const from =
            read
                ? reinterpret_cast<const float*>(source.samples + (axis - source.origin) * source.stride + group.column)
                : nullptr;
        for (std::size_t c = 0; c < group.count; ++c)
        {
            float* const to = group.copy + 2 * (c * n + j);
            to[0] = read ? from[2 * c] : 0.0f;
            to[1] = read ? from[2 * c + 1] : 0.0f;
            if (p.pre != nullptr && read)
                TimesPair(to, p.pre[2 * axis], p.pre[2 * axis + 1]);
        }
    }
}

void Scatter(const WideStripArgs& p, const ColumnGroup& group)
{
    const AxisView<Complex>& target = p.job.target;
    const std::size_t n = p.job.n, flip = target.shift ? n / 2 : 0;
    for (std::size_t k = 0; k < n; ++k)
    {
        const std::size_t axis = k ^ flip;
        if (!target.range.Has(axis))
            continue;
        float* const to =
            reinterpret_cast<float*>(target.samples + (axis - target.origin) * target.stride + group.column);
        for (std::size_t c = 0; c < group.count; ++c)
        {
            const float* const from = group.copy + 2 * (c * n + k);
            to[2 * c] = from[0];
            to[2 * c + 1] = from[1];
            if (p.post != nullptr)
                TimesPair(to + 2 * c, p.post[2 * axis], p.post[2 * axis + 1]);
        }
    }
}

/// The spectra times the factors of a fused job, or times the one factor per row. values: kWideLongValues floats.
void Multiply(const WideStripArgs& p, const ColumnGroup& group, float* values)
{
    const std::size_t n = p.job.n;
    constexpr std::size_t kImaginary = kWideLongValues / 2;
    for (std::size_t k = 0; k < n; ++k)
    {
        if (p.fused == nullptr)
        {
            for (std::size_t c = 0; c < group.count; ++c)
                TimesPair(group.copy + 2 * (c * n + k), p.rowFactor[2 * k], p.rowFactor[2 * k + 1]);
            continue;
        }
        const WideFused& fused = *p.fused;
        const bool zero = fused.zeroRows.Has(k);
        if (!zero)
            fused.factor(fused.context, k, group.column, group.count, values, values + kImaginary);
        for (std::size_t c = 0; c < group.count; ++c)
        {
            float* const v = group.copy + 2 * (c * n + k);
            if (zero)
            {
                v[0] = v[1] = 0.0f;
                continue;
            }
            float w[2] = {values[c], values[kImaginary + c]};
            if (fused.row != nullptr)
            {
                const Complex e = fused.column[group.column + c], f = fused.row[k];
                float turn[2] = {e.Real(), e.Imag()};
                TimesPair(turn, f.Real(), f.Imag());
                TimesPair(w, turn[0], turn[1]);
            }
            TimesPair(v, w[0], w[1]);
        }
    }
}
} // namespace

/// Columns are gathered in groups, each done by the row path; with `fused` forward, factor and inverse.
void WideLongStrips(const WideStripArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last,
                    float* scratch)
{
    const WideStrips& job = p.job;
    const std::size_t n = job.n, most = WideLongColumns(n);
    float* const values = scratch + 2 * n * most;
    float* const work = values + kWideLongValues;
    const bool both = p.fused != nullptr || p.rowFactor != nullptr;
    const auto transform = [&](const ColumnGroup& group, int sign, float scale)
    {
        for (std::size_t c = 0; c < group.count; ++c)
        {
            Complex* const x = reinterpret_cast<Complex*>(group.copy) + c * n;
            LongSerial(
                {.kernels = &kernels, .length = p.length, .line = {.x = x, .y = x, .sign = sign, .scale = scale}},
                work);
        }
    };
    for (std::size_t s = first; s < last; ++s)
    {
        const WideStripAt strip = WideStripOf(job.which, job.columns, s);
        for (std::size_t lo = strip.lo; lo < strip.hi; lo += most)
        {
            const ColumnGroup group = {
                .copy = scratch, .column = strip.column + lo, .count = std::min(most, strip.hi - lo)};
            Gather(p, group);
            transform(group, both ? -1 : job.sign, both ? 1.0f : job.scale);
            if (both)
            {
                Multiply(p, group, values);
                transform(group, 1, job.scale);
            }
            Scatter(p, group);
        }
    }
}

void WideLongConvolve(const WideConvolveArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last,
                      float* scratch)
{
    const WideConvolution& job = p.job;
    const std::size_t n = job.columns, twice = 2 * n;
    Complex* const stage = reinterpret_cast<Complex*>(scratch);
    const auto times = [&](const Complex* factor, std::size_t count)
    {
        for (std::size_t j = 0; j < count; ++j)
            TimesPair(scratch + 2 * j, factor[j].Real(), factor[j].Imag());
    };
    const auto transform = [&](int sign, float scale)
    {
        LongSerial(
            {.kernels = &kernels, .length = p.length, .line = {.x = stage, .y = stage, .sign = sign, .scale = scale}},
            scratch + 2 * twice);
    };
    for (std::size_t r = first; r < last; ++r)
    {
        Complex* const row = job.data + r * job.stride;
        std::copy(row, row + n, stage);
        std::fill(stage + n, stage + twice, Complex(0.0f, 0.0f));
        times(job.pre, n);
        transform(-1, 1.0f);
        times(job.spectrum, twice);
        transform(1, job.scale);
        times(job.post, n);
        std::copy(stage, stage + n, row);
    }
}
} // namespace LumoraLib::detail
