// The wide transform engine: tables, two-level lengths, division of the work. The kernels are in WideFft-inl.h.
#include "transform/wide/WideFft.h"

#include "base/Isa.h"
#include "LmlRuntime.h"
#include "base/Reduce.h"
#include "transform/wide/WideFftRoom.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

namespace LumoraLib::detail
{
static_assert(sizeof(Complex) == 8, "samples are pairs of floats");

namespace
{
const WideKernels& Kernels()
{
    return PickIsa(sse2::wideFftKernels, avx2::wideFftKernels, avx512::wideFftKernels);
}

// Above this a grid does not survive in the last cache from one pass to the next, and plain stores would only displace
// what does. Below it stores past the caches cost up to twice the time.
constexpr std::size_t kStreamBytes = std::size_t{24} << 20;

std::size_t RowBytes(const WideStrips& job)
{
    return sizeof(Complex) * std::max(job.source.range.Count(job.n) * job.source.stride,
                                      job.target.range.Count(job.n) * job.target.stride);
}

bool MayStream(const Complex* target, std::size_t stride, std::size_t samples)
{
    return samples * sizeof(Complex) > kStreamBytes && reinterpret_cast<std::uintptr_t>(target) % 64 == 0 &&
           stride * sizeof(Complex) % 64 == 0;
}

// ---------------------------------------------------------------------------------------------------------- tables

constexpr char kTables[] = "transform tables";

/// exp(-2 pi i e / n), each part to float from a double that is itself good to its last place: the angle is reduced
/// exactly, in integers, to an eighth of the circle.
struct Root
{
    float re;
    float im;
};

Root RootOf(std::uint64_t e, std::uint64_t n)
{
    e %= n;
    const std::uint64_t quadrant = 4 * e / n;
    const std::uint64_t rest = 4 * e - quadrant * n; // of n for a quarter turn
    const bool far = 2 * rest > n;
    const double angle = static_cast<double>(far ? n - rest : rest) * (1.5707963267948966 / static_cast<double>(n));
    const double c0 = std::cos(angle), s0 = std::sin(angle);
    const double c = far ? s0 : c0, s = far ? c0 : s0;
    double re = c, im = -s;
    if (quadrant == 1)
        re = -s, im = -c;
    else if (quadrant == 2)
        re = -c, im = s;
    else if (quadrant == 3)
        re = s, im = c;
    return {static_cast<float>(re + 0.0), static_cast<float>(im + 0.0)};
}

std::atomic<const WideLength*> published[3][kWideMaxLongLg + 1];

const WideLength& LengthOfLg(int lg, Isa isa);

/// Lays the tables of a length out: called twice, first to count, then to fill.
class Layout
{
public:
    explicit Layout(float* base) : base_(base) {}
    float* Take(std::size_t floats)
    {
        float* p = base_ == nullptr ? nullptr : base_ + used_;
        used_ += (floats + 15) / 16 * 16;
        return p;
    }
    std::size_t Used() const { return used_; }

private:
    float* base_;
    std::size_t used_ = 0;
};

void FillTables(WideLength& t, Isa isa, Layout& layout, bool fill)
{
    const std::size_t n = t.n;
    if (t.lg > kWideMaxRowLg)
    {
        const std::size_t strips = t.middle * t.side / kWideStrip;
        float* strip = layout.Take(2 * strips * t.side);
        float* lane = layout.Take(2 * t.side * kWideStrip);
        if (!fill)
            return;
        for (std::size_t s = 0; s < strips; ++s)
            for (std::size_t k = 0; k < t.side; ++k)
            {
                const Root w = RootOf(k * s * kWideStrip, n);
                strip[2 * (s * t.side + k)] = w.re;
                strip[2 * (s * t.side + k) + 1] = w.im;
            }
        for (std::size_t k = 0; k < t.side; ++k)
            for (std::size_t l = 0; l < kWideStrip; ++l)
            {
                const Root w = RootOf(k * l, n);
                lane[2 * k * kWideStrip + l] = w.re;
                lane[(2 * k + 1) * kWideStrip + l] = w.im;
            }
        t.stripRoot = strip;
        t.laneRoot = lane;
        return;
    }

    const std::size_t lanes = std::size_t{4} << static_cast<int>(isa);
    const std::size_t line = lanes == 16 ? 4 : 1; // outputs that share the vectors of a line
    const bool inner = t.lg >= 5 && t.lg <= 7;
    const bool lines = t.lg >= 5 && t.lg <= 12;
    const bool columns = t.lg <= kWideMaxColumnLg;
    float* innerTable = inner ? layout.Take(2 * n) : nullptr;
    float* twiddle = columns ? layout.Take(2 * n) : nullptr;
    float* twiddleT = columns ? layout.Take(2 * n) : nullptr;
    float* rowRoots = t.lg >= 8 ? layout.Take(2 * n) : nullptr;
    float* lineRoots = lines ? layout.Take(2 * n * line) : nullptr;
    if (!fill)
        return;

    const auto roots = MallocArray<Root>(n, kTables);
    for (std::size_t e = 0; e < n; ++e)
        roots[e] = RootOf(e, n);
    const auto put = [&](float* to, std::size_t e)
    {
        to[0] = roots[e % n].re;
        to[1] = roots[e % n].im;
    };
    if (inner)
    {
        const std::size_t p = static_cast<std::size_t>(WideFirstRadix(t.lg));
        for (std::size_t q = 0; q < n / p; ++q)
            for (std::size_t k = 0; k < p; ++k)
                put(innerTable + 2 * (q * p + k), q * k);
        t.inner = innerTable;
    }
    for (std::size_t b = 0; columns && b < t.b; ++b)
        for (std::size_t k = 0; k < t.a; ++k)
        {
            put(twiddle + 2 * (b * t.a + k), b * k);
            put(twiddleT + 2 * (k * t.b + b), b * k);
        }
    t.twiddle = twiddle;
    t.twiddleT = twiddleT;
    const auto vectors = [&](float* table, std::size_t radix, std::size_t count, auto sampleOf)
    {
        for (std::size_t v = 0; v < count; ++v)
            for (std::size_t k = 0; k < radix; ++k)
                for (std::size_t l = 0; l < lanes; ++l)
                {
                    const Root w = roots[sampleOf(v, l) * k % n];
                    float* vector = table + 2 * (v * radix + k) * lanes;
                    vector[l] = w.re;
                    vector[lanes + l] = w.im;
                }
    };
    const auto inLane = [&](std::size_t l)
    {
        return static_cast<std::size_t>(WideLaneSample(static_cast<int>(l), static_cast<int>(lanes)));
    };
    const auto plain = [&](std::size_t v, std::size_t l)
    {
        return v * lanes + inLane(l);
    };
    const auto shared = [&](std::size_t v, std::size_t l)
    {
        return v / 4 * 16 + inLane(l / 4 * 4 + v % 4);
    };
    if (rowRoots != nullptr)
        vectors(rowRoots, 16, n / 16 / lanes, plain);
    if (lines)
    {
        const std::size_t radix = static_cast<std::size_t>(WideLineRadix(t.lg));
        if (line == 4)
            vectors(lineRoots, radix, n / radix / 4, shared);
        else
            vectors(lineRoots, radix, n / radix / lanes, plain);
    }
    t.rowRoots = rowRoots;
    t.lineRoots = lineRoots;
}

/// A length in a block of its own, its tables behind it.
using OwnedLength = std::unique_ptr<WideLength, FreeMemory>;

OwnedLength MakeLength(int lg, Isa isa)
{
    WideLength t;
    t.lg = lg;
    t.n = std::size_t{1} << lg;
    int lgA = -1;
    if (lg > kWideMaxRowLg)
    {
        const int sideLg = std::min(lg / 2, kWideMaxColumnLg);
        t.side = std::size_t{1} << sideLg;
        t.middle = t.n / t.side / t.side;
        t.sideLength = &LengthOfLg(sideLg, isa);
        t.rowLength = &LengthOfLg(lg - sideLg, isa);
    }
    else
    {
        // Up to 128 one lane-parallel transform does a column; above, two of about the square root.
        if (lg <= kWideMaxColumnLg)
        {
            lgA = lg <= 7 ? 0 : lg / 2;
            t.a = std::size_t{1} << lgA;
            t.b = t.n / t.a;
            t.lengthA = lgA == lg ? nullptr : &LengthOfLg(lgA, isa); // null: itself, once it has its place
            t.lengthB = lgA == 0 ? nullptr : &LengthOfLg(lg - lgA, isa);
        }
        if (lg >= 8)
            t.rowNext = &LengthOfLg(lg - 4, isa);
        if (lg >= 5 && lg <= 12)
            t.lineNext = &LengthOfLg(lg - std::countr_zero(static_cast<unsigned>(WideLineRadix(lg))), isa);
    }
    Layout count(nullptr);
    FillTables(t, isa, count, false);
    constexpr std::size_t head = (sizeof(WideLength) + 63) / 64 * 64;
    auto block = MallocArray<unsigned char>(head + count.Used() * sizeof(float), kTables);
    Layout place(reinterpret_cast<float*>(block.get() + head));
    FillTables(t, isa, place, true);
    OwnedLength made(new (block.get()) WideLength(t));
    static_cast<void>(block.release());
    if (lgA == lg)
        made->lengthA = made.get();
    if (lgA == 0)
        made->lengthB = made.get();
    return made;
}

const WideLength& LengthOfLg(int lg, Isa isa)
{
    std::atomic<const WideLength*>& slot = published[static_cast<int>(isa)][lg];
    if (const WideLength* t = slot.load(std::memory_order_acquire))
        return *t;
    OwnedLength made = MakeLength(lg, isa);
    const WideLength* expected = nullptr;
    if (slot.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel, std::memory_order_acquire))
        return *made.release(); // kept for the process
    return *expected;
}

const WideLength& LengthOf(std::size_t n, const WideKernels& kernels)
{
    return LengthOfLg(std::countr_zero(n), kernels.isa);
}

bool IsDirectRow(const WideLength& length)
{
    return length.lg <= kWideMaxRowLg;
}

bool IsDirectColumn(const WideLength& length)
{
    return length.lg <= kWideMaxColumnLg;
}

// ------------------------------------------------------------------------------------------------ two-level lengths

std::size_t LongScratch(const WideLength& length)
{
    if (IsDirectRow(length))
        return WideRowScratch(length);
    return std::max(WideStripScratch(*length.sideLength),
                    2 * length.rowLength->n + (IsDirectRow(*length.rowLength) ? WideRowScratch(*length.rowLength)
                                                                              : LongScratch(*length.rowLength)));
}

struct LongJob
{
    const WideKernels* kernels;
    const WideLength* length;
    float* x;
    int sign;
    bool shiftIn;
    bool shiftOut;
    float scale;
};

WideRows WholeRows(Complex* source, Complex* target, std::size_t n, int sign, bool shiftIn, bool shiftOut, float scale)
{
    WideRows job;
    job.source.samples = source;
    job.target.samples = target;
    job.source.stride = job.target.stride = n;
    job.rows = 1;
    job.n = n;
    job.sign = sign;
    job.source.shift = shiftIn;
    job.target.shift = shiftOut;
    job.scale = scale;
    job.source.range = job.target.range = {0, n};
    return job;
}

struct NoBarrier
{
    void operator()() const {}
};

/// Index j = (a, c, b) with a, b < A and c < R: columns over a, roots, rows over (c, b), then a and b change places.
/// Row results k_c + R k_b are dealt to (k_c, k_b) on the way, so that the exchange is one of squares, in place.
template <class Barrier>
void LongPart(const LongJob& job, int index, int size, float* scratch, const Barrier& barrier)
{
    const WideLength& length = *job.length;
    if (IsDirectRow(length))
    {
        if (index == 0)
            job.kernels->row(length, job.x, job.x, job.sign >= 0, job.shiftIn, job.shiftOut, job.scale, scratch);
        return;
    }
    const std::size_t side = length.side, row = length.middle * side;
    {
        WideStripArgs args;
        args.job.source.samples = args.job.target.samples = reinterpret_cast<Complex*>(job.x);
        args.job.source.stride = args.job.target.stride = args.job.columns = row;
        args.job.which = {0, row};
        args.job.n = side;
        args.job.sign = job.sign;
        args.job.source.shift = job.shiftIn;
        args.job.source.range = args.job.target.range = {0, side};
        args.length = length.sideLength;
        args.twist = &length;
        args.stream = MayStream(args.job.target.samples, row, length.n);
        args.bytes = RowBytes(args.job);
        const Block block = BlockOf(WideStripCount(0, row), index, size);
        job.kernels->strips(args, block.begin, block.end, scratch);
    }
    barrier();
    const Block rows = BlockOf(side, index, size);
    if (length.middle == 1)
    {
        Complex* x = reinterpret_cast<Complex*>(job.x);
        job.kernels->rows({WholeRows(x, x, row, job.sign, false, job.shiftOut, job.scale), length.rowLength},
                          rows.begin, rows.end, scratch);
    }
    else
        for (std::size_t r = rows.begin; r < rows.end; ++r)
        {
            float* from = job.x + 2 * r * row;
            float* rest = scratch + 2 * row;
            if (IsDirectRow(*length.rowLength))
                job.kernels->row(*length.rowLength, from, scratch, job.sign >= 0, false, job.shiftOut, job.scale, rest);
            else
            {
                std::memcpy(scratch, from, row * sizeof(Complex));
                LongPart({job.kernels, length.rowLength, scratch, job.sign, false, job.shiftOut, job.scale}, 0, 1, rest,
                         NoBarrier());
            }
            job.kernels->deal(scratch, from, side, length.middle);
        }
    barrier();
    for (std::size_t c = 0; c < length.middle; ++c)
        job.kernels->transpose(job.x + 2 * c * side, row, side, static_cast<std::size_t>(index),
                               static_cast<std::size_t>(size));
}

/// One transform of any length on the calling thread, x[0..n) contiguous.
void LongSerial(const LongJob& job, float* scratch)
{
    LongPart(job, 0, 1, scratch, NoBarrier());
}

// Columns of one group of the long strip path: a cache line of every row, fewer where their copy would grow too large.
std::size_t LongColumns(std::size_t n)
{
    constexpr std::size_t kCopySamples = std::size_t{1} << 21;
    return std::clamp(kCopySamples / n, std::size_t{1}, std::size_t{8});
}

void CopyRange(const Complex* row, std::size_t origin, WideRange range, std::size_t n, Complex* to)
{
    for (std::size_t i = 0; i < n; ++i)
        to[i] = range.Has(i) ? row[i - origin] : Complex(0.0f, 0.0f);
}

/// Strips of long columns, gathered in groups, each done by the row path; with `fused` forward, factor and inverse.
void LongStrips(const WideStripArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last, float* scratch)
{
    const WideStrips& job = p.job;
    const std::size_t n = job.n, group = LongColumns(n);
    float* copy = scratch;
    float* values = copy + 2 * n * group;
    float* work = values + 2 * 32;
    const float* source = reinterpret_cast<const float*>(job.source.samples);
    float* target = reinterpret_cast<float*>(job.target.samples);
    const std::size_t flipIn = job.source.shift ? n / 2 : 0, flipOut = job.target.shift ? n / 2 : 0;
    const bool both = p.fused != nullptr || p.rowFactor != nullptr;
    for (std::size_t s = first; s < last; ++s)
    {
        const WideStripAt strip = WideStripOf(job.which, job.columns, s);
        for (std::size_t c0 = strip.lo; c0 < strip.hi; c0 += group)
        {
            const std::size_t count = std::min(group, strip.hi - c0), column = strip.column + c0;
            for (std::size_t j = 0; j < n; ++j)
            {
                const std::size_t axis = j ^ flipIn;
                const bool read = job.source.range.Has(axis);
                const float* from =
                    read ? source + 2 * ((axis - job.source.origin) * job.source.stride + column) : nullptr;
                for (std::size_t c = 0; c < count; ++c)
                {
                    float re = read ? from[2 * c] : 0.0f, im = read ? from[2 * c + 1] : 0.0f;
                    if (p.pre != nullptr && read)
                    {
                        const float wr = p.pre[2 * axis], wi = p.pre[2 * axis + 1], r = re;
                        re = r * wr - im * wi;
                        im = r * wi + im * wr;
                    }
                    copy[2 * (c * n + j)] = re;
                    copy[2 * (c * n + j) + 1] = im;
                }
            }
            for (std::size_t c = 0; c < count; ++c)
                LongSerial(
                    {&kernels, p.length, copy + 2 * c * n, both ? -1 : job.sign, false, false, both ? 1.0f : job.scale},
                    work);
            if (both)
            {
                for (std::size_t k = 0; k < n; ++k)
                {
                    const bool zero = p.fused != nullptr && p.fused->zeroRows.Has(k);
                    if (p.fused != nullptr && !zero)
                        p.fused->factor(p.fused->context, k, column, count, values, values + 32);
                    for (std::size_t c = 0; c < count; ++c)
                    {
                        float* v = copy + 2 * (c * n + k);
                        float wr = p.fused != nullptr ? values[c] : p.rowFactor[2 * k];
                        float wi = p.fused != nullptr ? values[32 + c] : p.rowFactor[2 * k + 1];
                        if (p.fused != nullptr && p.fused->row != nullptr)
                        {
                            const float* e = reinterpret_cast<const float*>(p.fused->column + column + c);
                            const float* f = reinterpret_cast<const float*>(p.fused->row + k);
                            const float tr = e[0] * f[0] - e[1] * f[1], ti = e[0] * f[1] + e[1] * f[0], r = wr;
                            wr = r * tr - wi * ti;
                            wi = r * ti + wi * tr;
                        }
                        const float re = v[0], im = v[1];
                        v[0] = zero ? 0.0f : re * wr - im * wi;
                        v[1] = zero ? 0.0f : re * wi + im * wr;
                    }
                }
                for (std::size_t c = 0; c < count; ++c)
                    LongSerial({&kernels, p.length, copy + 2 * c * n, 1, false, false, job.scale}, work);
            }
            for (std::size_t k = 0; k < n; ++k)
            {
                const std::size_t axis = k ^ flipOut;
                const bool write = job.target.range.Has(axis);
                if (!write)
                    continue;
                float* to = target + 2 * ((axis - job.target.origin) * job.target.stride + column);
                for (std::size_t c = 0; c < count; ++c)
                {
                    float re = copy[2 * (c * n + k)], im = copy[2 * (c * n + k) + 1];
                    if (p.post != nullptr)
                    {
                        const float wr = p.post[2 * axis], wi = p.post[2 * axis + 1], r = re;
                        re = r * wr - im * wi;
                        im = r * wi + im * wr;
                    }
                    to[2 * c] = re;
                    to[2 * c + 1] = im;
                }
            }
        }
    }
}

std::size_t StripsScratch(const WideLength& length, bool fused, bool pairs, bool turned = false)
{
    if (!IsDirectColumn(length))
        return 2 * length.n * LongColumns(length.n) + 64 + LongScratch(length);
    return fused ? WideFusedScratch(length, pairs, turned) : WideStripScratch(length);
}

std::size_t Bytes(std::size_t floats)
{
    return floats * sizeof(float);
}
} // namespace

// ---------------------------------------------------------------------------------------------------------- scratch

// The layouts are those of StripLayout, FusedStrips, Rows and ShortRows in WideFft-inl.h; they hold for every lane
// count.

std::size_t WideStripScratch(const WideLength& length)
{
    const std::size_t pairRow = 2 * kWideStrip;
    return (std::max(length.a, length.b) + 1 + length.a * (length.b + 1) + 1) * pairRow + 128 * 32;
}

std::size_t WideFusedScratch(const WideLength& length, bool pairs, bool turned)
{
    const std::size_t pairRow = 2 * kWideStrip;
    return WideStripScratch(length) + 2 * (kWideStrip + 16) + (length.b + 1) * 32 +
           (turned ? 2 : 1) * length.b * pairRow + (pairs ? (length.n / 2 + 1) * kWideKeptRow : 0);
}

std::size_t WideRowScratch(const WideLength& length)
{
    const std::size_t n = length.n;
    if (length.lg >= 8)
        return 2 * n + 16 * 32;
    return 2 * n * 16 + (2 * n + 128) * 32;
}

std::size_t WideConvolveScratch(const WideLength& length)
{
    if (!IsDirectRow(length))
        return 2 * length.n + LongScratch(length);
    return WideRowScratch(length) + (length.lg >= 8 ? 2 * length.n : 0);
}

// ------------------------------------------------------------------------------------------------------------ rows

namespace
{
std::size_t RowsBytes(const WideLength& length)
{
    return Bytes(IsDirectRow(length) ? WideRowScratch(length) : 2 * length.n + LongScratch(length));
}

bool Lends(const Scratch* lender, int threads, std::size_t bytes)
{
    return lender != nullptr && lender->Count() >= threads && lender->Bytes() >= bytes;
}
} // namespace

WideRowPass::WideRowPass(const WideRows& job, int threads, const Scratch* lender)
    : job_(job), kernels_(&Kernels()), length_(&LengthOf(job.n, *kernels_)),
      // Rows that go back to their place are in a cache already.
      stream_(job.target.samples != job.source.samples &&
              MayStream(job.target.samples, job.target.stride, job.target.range.Count(job.n) * job.rows)),
      own_(Lends(lender, threads, RowsBytes(*length_)) ? 0 : std::max(threads, 1), RowsBytes(*length_)),
      scratch_(own_.Count() > 0 ? &own_ : lender)
{
}

void WideRowPass::Part(int index, int size) const noexcept
{
    const Block block = BlockOf(job_.rows, index, size);
    float* scratch = scratch_->As<float>(index);
    if (IsDirectRow(*length_))
    {
        if (block.begin < block.end)
            kernels_->rows({job_, length_, stream_}, block.begin, block.end, scratch);
        return;
    }
    Complex* stage = reinterpret_cast<Complex*>(scratch);
    for (std::size_t r = block.begin; r < block.end; ++r)
    {
        CopyRange(job_.source.samples + r * job_.source.stride, job_.source.origin, job_.source.range, job_.n, stage);
        LongSerial({kernels_, length_, scratch, job_.sign, job_.source.shift, job_.target.shift, job_.scale},
                   scratch + 2 * job_.n);
        Complex* to = job_.target.samples + r * job_.target.stride;
        for (std::size_t i = 0; i < job_.n; ++i)
            if (job_.target.range.Has(i))
                to[i - job_.target.origin] = stage[i];
    }
}

// ---------------------------------------------------------------------------------------------------------- strips

WideStripPass::WideStripPass(const WideStrips& job, int threads)
    : job_(job), kernels_(&Kernels()), length_(&LengthOf(job.n, *kernels_)),
      stream_(MayStream(job.target.samples, job.target.stride, job.target.range.Count(job.n) * job.columns)),
      scratch_(std::max(threads, 1), Bytes(StripsScratch(*length_, false, false)))
{
}

void WideStripPass::Part(int index, int size) const noexcept
{
    WideStripArgs args;
    args.job = job_;
    args.length = length_;
    args.stream = stream_;
    args.bytes = RowBytes(job_);
    const Block block = BlockOf(WideStripCount(job_.which, job_.columns), index, size);
    float* scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->strips(args, block.begin, block.end, scratch);
    else
        LongStrips(args, *kernels_, block.begin, block.end, scratch);
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
} // namespace

WideFusedPass::WideFusedPass(const WideFused& job, int threads)
    : job_(job), kernels_(&Kernels()), length_(&LengthOf(job.strips.n, *kernels_)),
      stream_(MayStream(job.strips.target.samples, job.strips.target.stride,
                        job.strips.target.range.Count(job.strips.n) * job.strips.columns)),
      pairs_(PairsFit(job, *length_)),
      scratch_(std::max(threads, 1), Bytes(StripsScratch(*length_, true, pairs_, job.row != nullptr)))
{
    if (!pairs_)
        return;
    lastPair_ = job.strips.columns / (2 * kWideStrip);
    while (firstPair_ < lastPair_ && !PairWanted(job.strips, firstPair_))
        ++firstPair_;
    while (firstPair_ < lastPair_ && !PairWanted(job.strips, lastPair_ - 1))
        --lastPair_;
}

void WideFusedPass::Part(int index, int size) const noexcept
{
    WideStripArgs args;
    args.job = job_.strips;
    args.length = length_;
    args.stream = stream_;
    args.bytes = RowBytes(job_.strips);
    args.fused = &job_;
    args.pairs = pairs_;
    // Not all columns need be wanted: the threads share those that are.
    Block block =
        BlockOf(pairs_ ? lastPair_ - firstPair_ : WideStripCount(job_.strips.which, job_.strips.columns), index, size);
    block.begin += firstPair_;
    block.end += firstPair_;
    float* scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->fused(args, block.begin, block.end, scratch);
    else
        LongStrips(args, *kernels_, block.begin, block.end, scratch);
}

// ----------------------------------------------------------------------------------------------------- convolutions

WideRowConvolution::WideRowConvolution(const WideConvolution& job, int threads)
    : job_(job), kernels_(&Kernels()), length_(&LengthOf(2 * job.columns, *kernels_)),
      scratch_(std::max(threads, 1), Bytes(WideConvolveScratch(*length_)))
{
}

void WideRowConvolution::Part(int index, int size) const noexcept
{
    const Block block = BlockOf(job_.rows, index, size);
    float* scratch = scratch_.As<float>(index);
    if (IsDirectRow(*length_))
    {
        kernels_->convolveRows({job_, length_}, block.begin, block.end, scratch);
        return;
    }
    // Long rows: the strip path on one column, whose samples stand one after another.
    for (std::size_t r = block.begin; r < block.end; ++r)
    {
        const std::size_t n = job_.columns, twice = 2 * n;
        float* row = reinterpret_cast<float*>(job_.data + r * job_.stride);
        const auto times = [](float* v, const Complex* w, float scale)
        {
            const float re = v[0] * scale, im = v[1] * scale;
            const float* f = reinterpret_cast<const float*>(w);
            v[0] = re * f[0] - im * f[1];
            v[1] = re * f[1] + im * f[0];
        };
        std::memcpy(scratch, row, n * sizeof(Complex));
        std::memset(scratch + 2 * n, 0, n * sizeof(Complex));
        for (std::size_t j = 0; job_.pre != nullptr && j < n; ++j)
            times(scratch + 2 * j, job_.pre + j, 1.0f);
        LongSerial({kernels_, length_, scratch, -1, false, false, 1.0f}, scratch + 2 * twice);
        for (std::size_t k = 0; k < twice; ++k)
            times(scratch + 2 * k, job_.spectrum + k, 1.0f);
        LongSerial({kernels_, length_, scratch, 1, false, false, job_.scale}, scratch + 2 * twice);
        for (std::size_t j = 0; job_.post != nullptr && j < n; ++j)
            times(scratch + 2 * j, job_.post + j, 1.0f);
        std::memcpy(row, scratch, n * sizeof(Complex));
    }
}

WideColumnConvolution::WideColumnConvolution(const WideConvolution& job, int threads)
    : job_(job), kernels_(&Kernels()), length_(&LengthOf(2 * job.rows, *kernels_)),
      stream_(MayStream(job.data, job.stride, job.columns * job.rows)),
      scratch_(std::max(threads, 1), Bytes(StripsScratch(*length_, true, false)))
{
}

void WideColumnConvolution::Part(int index, int size) const noexcept
{
    WideStripArgs args;
    args.job.source.samples = args.job.target.samples = job_.data;
    args.job.source.stride = args.job.target.stride = job_.stride;
    args.job.columns = job_.columns;
    args.job.which = {0, job_.columns};
    args.job.n = 2 * job_.rows;
    args.job.scale = job_.scale;
    args.job.source.range = args.job.target.range = {0, job_.rows};
    args.length = length_;
    args.stream = stream_;
    args.bytes = RowBytes(args.job);
    args.pre = reinterpret_cast<const float*>(job_.pre);
    args.post = reinterpret_cast<const float*>(job_.post);
    args.rowFactor = reinterpret_cast<const float*>(job_.spectrum);
    const Block block = BlockOf(WideStripCount(0, job_.columns), index, size);
    float* scratch = scratch_.As<float>(index);
    if (IsDirectColumn(*length_))
        kernels_->fused(args, block.begin, block.end, scratch);
    else
        LongStrips(args, *kernels_, block.begin, block.end, scratch);
}

// ------------------------------------------------------------------------------------------------ whole transforms

namespace
{
// The longest row whose scratch stands on the stack, so that short transforms touch no shared state.
constexpr std::size_t kNearRow = 4096;
constexpr std::size_t kNearFloats = 2 * kNearRow + 16 * 32;

/// Short rows are done one per lane: a single one wastes least in the narrowest build.
const WideKernels& RowKernels(std::size_t n)
{
    return n < 256 ? sse2::wideFftKernels : Kernels();
}

/// One row of at most kNearRow samples. Its scratch is 2 n + 16 * 32 floats from 256 samples on; below, with the four
/// lanes of RowKernels, 16 n + 1024.
inline void NearRow(const WideKernels& kernels, const WideLength& length, float* x, int sign, bool halfShift,
                    float scale)
{
    alignas(64) float near[kNearFloats];
    kernels.row(length, x, x, sign >= 0, halfShift, halfShift, scale, near);
}
} // namespace

WideReadyRow::WideReadyRow(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads)
    : x_(reinterpret_cast<float*>(x)), sign_(sign), halfShift_(halfShift), scale_(scale), kernels_(&RowKernels(n)),
      length_(&LengthOf(n, *kernels_)), team_(IsDirectRow(*length_) ? 1 : WideThreads(n, threads))
{
    if (n > kNearRow)
        scratch_.emplace(team_, Bytes(LongScratch(*length_)));
}

void WideReadyRow::Run(std::size_t offset) const noexcept
{
    float* const x = x_ + 2 * offset;
    if (!scratch_)
        return NearRow(*kernels_, *length_, x, sign_, halfShift_, scale_);
    const LongJob job = {kernels_, length_, x, sign_, halfShift_, halfShift_, scale_};
    ParallelTeam(team_, [&](int index, int size)
                 { LongPart(job, index, size, scratch_->As<float>(index), [size] { TeamBarrier(size); }); });
}

void WideFft1d(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads)
{
    if (n <= kNearRow)
    {
        const WideKernels& kernels = RowKernels(n);
        return NearRow(kernels, LengthOf(n, kernels), reinterpret_cast<float*>(x), sign, halfShift, scale);
    }
    WideReadyRow(x, n, sign, halfShift, scale, threads).Run();
}

WideReadyGrid::WideReadyGrid(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale,
                             int threads)
    : nx_(nx), rows_(0), team_(WideThreads(nx * ny, threads))
{
    if (nx == 1 || ny == 1)
    {
        lines_.emplace(x, nx * ny, sign, halfShift, scale, threads);
        rows_ = 1;
        return;
    }
    // Few long rows: the team does them one after another.
    const bool byRow = nx >> kWideMaxRowLg > 1 && ny < static_cast<std::size_t>(team_);
    WideRows rows = WholeRows(x, x, nx, sign, halfShift, halfShift, 1.0f);
    rows.rows = ny;
    WideStrips strips;
    strips.source.samples = strips.target.samples = x;
    strips.source.stride = strips.target.stride = strips.columns = nx;
    strips.which = {0, nx};
    strips.n = ny;
    strips.sign = sign;
    strips.source.shift = strips.target.shift = halfShift;
    strips.scale = scale;
    strips.source.range = strips.target.range = {0, ny};
    stripPass_.emplace(strips, team_);
    if (byRow)
    {
        lines_.emplace(x, nx, sign, halfShift, 1.0f, team_);
        rows_ = ny;
    }
    else
        rowPass_.emplace(rows, team_, &stripPass_->Memory());
}

void WideReadyGrid::Run() const noexcept
{
    for (std::size_t r = 0; r < rows_; ++r)
        lines_->Run(r * nx_);
    if (!stripPass_)
        return;
    ParallelTeam(team_,
                 [&](int index, int size)
                 {
                     if (rowPass_)
                     {
                         rowPass_->Part(index, size);
                         TeamBarrier(size);
                     }
                     stripPass_->Part(index, size);
                 });
}

void WideFft2d(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale, int threads)
{
    if (nx == 1 || ny == 1)
        return WideFft1d(x, nx * ny, sign, halfShift, scale, threads);
    WideReadyGrid(x, nx, ny, sign, halfShift, scale, threads).Run();
}
} // namespace LumoraLib::detail
