// The wide transform engine: accuracy, the same bits everywhere, ranges, fused strips, convolutions, scratch.
#include "transform/wide/WideFft.h"

#include "base/Isa.h"
#include "base/Parallel.h"
#include "base/Scratch.h"
#include "TestTools.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using namespace lmltest;
using namespace LumoraLib::detail;

namespace
{
using Samples = std::vector<Complex>;
using Double = std::complex<double>;

class Cap
{
public:
    explicit Cap(Isa isa) { CapIsa(isa); }
    ~Cap() { CapIsa(Isa::Avx512); }
    Cap(const Cap&) = delete;
    Cap& operator=(const Cap&) = delete;
};

std::vector<Isa> Isas()
{
    std::vector<Isa> all;
    for (const Isa isa : {Isa::Sse2, Isa::Avx2, Isa::Avx512})
        if (isa <= ProcessorIsa())
            all.push_back(isa);
    return all;
}

Samples Random(std::size_t n, std::uint32_t seed = 1)
{
    std::uint32_t s = seed * 2654435761u + 12345u;
    const auto next = [&s]
    {
        s = s * 1664525u + 1013904223u;
        return static_cast<float>(static_cast<std::int32_t>(s)) * 4.656612873e-10f;
    };
    Samples x(n);
    for (Complex& c : x)
    {
        const float re = next();
        c = Complex(re, next());
    }
    return x;
}

/// Plain radix-2 transform in double, roots from long double.
void Reference(std::vector<Double>& x, int sign)
{
    const std::size_t n = x.size();
    for (std::size_t i = 1, j = 0; i < n; ++i)
    {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (std::size_t len = 2; len <= n; len *= 2)
    {
        std::vector<Double> root(len / 2);
        for (std::size_t k = 0; k < len / 2; ++k)
        {
            const long double a = 2.0L * 3.14159265358979323846264338327950288L * static_cast<long double>(k) /
                                  static_cast<long double>(len) * (sign < 0 ? -1.0L : 1.0L);
            root[k] = {static_cast<double>(std::cos(a)), static_cast<double>(std::sin(a))};
        }
        for (std::size_t i = 0; i < n; i += len)
            for (std::size_t k = 0; k < len / 2; ++k)
            {
                const Double u = x[i + k], v = x[i + k + len / 2] * root[k];
                x[i + k] = u + v;
                x[i + k + len / 2] = u - v;
            }
    }
}

std::vector<Double> ToDouble(const Samples& x)
{
    std::vector<Double> d(x.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        d[i] = {x[i].real(), x[i].imag()};
    return d;
}

std::vector<Double> Reference2d(const Samples& x, std::size_t nx, std::size_t ny, int sign)
{
    std::vector<Double> d = ToDouble(x), line;
    for (std::size_t r = 0; r < ny; ++r)
    {
        line.assign(d.begin() + static_cast<std::ptrdiff_t>(r * nx),
                    d.begin() + static_cast<std::ptrdiff_t>((r + 1) * nx));
        Reference(line, sign);
        std::copy(line.begin(), line.end(), d.begin() + static_cast<std::ptrdiff_t>(r * nx));
    }
    line.resize(ny);
    for (std::size_t c = 0; c < nx; ++c)
    {
        for (std::size_t r = 0; r < ny; ++r)
            line[r] = d[r * nx + c];
        Reference(line, sign);
        for (std::size_t r = 0; r < ny; ++r)
            d[r * nx + c] = line[r];
    }
    return d;
}

double RelativeError(const Samples& x, const std::vector<Double>& d)
{
    double e = 0.0, s = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i)
    {
        e += std::norm(Double(x[i].real(), x[i].imag()) - d[i]);
        s += std::norm(d[i]);
    }
    return std::sqrt(e / s);
}

/// The bound that holds for every length: 2^-24 sqrt(log2 N).
double Bound(std::size_t n)
{
    return std::sqrt(std::max(1.0, std::log2(static_cast<double>(n)))) / 16777216.0;
}

::testing::AssertionResult Equal(const Samples& a, const Samples& b)
{
    if (a.size() != b.size())
        return ::testing::AssertionFailure() << "sizes differ";
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].real() != b[i].real() || a[i].imag() != b[i].imag())
            return ::testing::AssertionFailure() << "sample " << i << ": (" << a[i].real() << ", " << a[i].imag()
                                                 << ") and (" << b[i].real() << ", " << b[i].imag() << ")";
    return ::testing::AssertionSuccess();
}

bool SameMemory(const Samples& a, const Samples& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Complex)) == 0;
}

/// Runs the call on a copy that starts `offset` samples behind a 64-byte boundary.
Samples Moved(const Samples& x, std::size_t offset, const std::function<void(Complex*)>& call)
{
    std::vector<Complex> room(x.size() + 16);
    Complex* p = room.data();
    while (reinterpret_cast<std::uintptr_t>(p) % 64 != 0)
        ++p;
    p += offset;
    std::copy(x.begin(), x.end(), p);
    call(p);
    return Samples(p, p + x.size());
}

/// All instruction sets, team sizes and alignments give the bits of the first.
void ExpectSameEverywhere(const Samples& x, const std::string& what,
                          const std::function<void(Complex*, int threads)>& call)
{
    Samples first;
    for (const Isa isa : Isas())
    {
        const Cap cap(isa);
        for (const int threads : {1, 2, 3, 7})
            for (const std::size_t offset : {std::size_t{0}, std::size_t{2}, std::size_t{1}})
            {
                if (threads > 2 && offset != 0)
                    continue;
                const Samples y = Moved(x, offset, [&](Complex* p) { call(p, threads); });
                if (first.empty())
                    first = y;
                ASSERT_TRUE(SameMemory(y, first))
                    << what << ", isa " << static_cast<int>(isa) << ", " << threads << " threads, offset " << offset;
            }
    }
}

void ExchangeHalves(Samples& x, std::size_t nx, std::size_t ny)
{
    const Samples y = x;
    for (std::size_t r = 0; r < ny; ++r)
        for (std::size_t c = 0; c < nx; ++c)
            x[r * nx + c] = y[(r ^ (ny / 2)) * nx + (c ^ (nx / 2))];
}

const std::vector<std::pair<std::size_t, std::size_t>> kShapes = {
    {1, 1},    {2, 2},     {4, 4},     {8, 2},     {2, 64},     {16, 16},   {32, 128},   {64, 64},    {128, 32},
    {1, 512},  {4, 1024},  {512, 1},   {256, 256}, {512, 64},   {64, 512},  {1024, 128}, {128, 2048}, {4096, 16},
    {8, 8192}, {16384, 4}, {2, 16384}, {65536, 2}, {131072, 2}, {4, 32768}, {32, 32768}};
} // namespace

TEST(WideFft, OneDimensionIsAccurateForEveryLength)
{
    for (int lg = 0; lg <= 20; ++lg)
        for (const int sign : {-1, 1})
        {
            const std::size_t n = std::size_t{1} << lg;
            Samples x = Random(n, static_cast<std::uint32_t>(lg + 3));
            std::vector<Double> d = ToDouble(x);
            Reference(d, sign);
            WideFft1d(x.data(), n, sign, false, 1.0f, 2);
            EXPECT_LE(RelativeError(x, d), Bound(n)) << "2^" << lg << ", sign " << sign;
        }
}

TEST(WideFft, TwoDimensionsAreAccurateForEveryShape)
{
    for (const auto& [nx, ny] : kShapes)
    {
        const Samples start = Random(nx * ny, 5);
        const std::vector<Double> d = Reference2d(start, nx, ny, 1);
        Samples x = start;
        WideFft2d(x.data(), nx, ny, 1, false, 1.0f, 2);
        EXPECT_LE(RelativeError(x, d), Bound(nx * ny)) << nx << " x " << ny;
        // An exact power of two as scale changes nothing but the exponent.
        Samples y = start;
        WideFft2d(y.data(), nx, ny, 1, false, 0.125f, 1);
        for (Complex& c : y)
            c = Complex(c.real() * 8.0f, c.imag() * 8.0f);
        EXPECT_TRUE(Equal(x, y)) << nx << " x " << ny;
    }
}

TEST(WideFft, SameBitsForEveryInstructionSetTeamAndAlignment)
{
    for (int lg = 0; lg <= 18; ++lg)
    {
        const std::size_t n = std::size_t{1} << lg;
        ExpectSameEverywhere(Random(n, 7), "1-D 2^" + std::to_string(lg),
                             [&](Complex* x, int threads) { WideFft1d(x, n, lg % 2 ? 1 : -1, true, 0.7f, threads); });
    }
    for (const auto& shape : kShapes)
        ExpectSameEverywhere(
            Random(shape.first * shape.second, 9), std::to_string(shape.first) + " x " + std::to_string(shape.second),
            [&](Complex* x, int threads) { WideFft2d(x, shape.first, shape.second, -1, false, 1.0f, threads); });
}

TEST(WideFft, LargeGridsStreamTheSameBits)
{
    // Above the size from which stores go past the caches, and 16 bytes off a cache line, where they may not.
    const std::size_t nx = 2048, ny = 2048;
    const Samples x = Random(nx * ny, 3);
    const Samples a = Moved(x, 0, [&](Complex* p) { WideFft2d(p, nx, ny, 1, false, 1.0f, 2); });
    const Samples b = Moved(x, 2, [&](Complex* p) { WideFft2d(p, nx, ny, 1, false, 1.0f, 3); });
    EXPECT_TRUE(SameMemory(a, b));
    const Cap cap(Isa::Sse2);
    const Samples c = Moved(x, 0, [&](Complex* p) { WideFft2d(p, nx, ny, 1, false, 1.0f, 1); });
    EXPECT_TRUE(SameMemory(a, c));
}

TEST(WideFft, HalfShiftIsTheExchangeOfHalvesAroundTheTransform)
{
    for (const auto& [nx, ny] : kShapes)
    {
        if (nx == 1 || ny == 1)
            continue;
        Samples x = Random(nx * ny, 11), y = x;
        WideFft2d(x.data(), nx, ny, -1, true, 1.0f, 1);
        ExchangeHalves(y, nx, ny);
        WideFft2d(y.data(), nx, ny, -1, false, 1.0f, 2);
        ExchangeHalves(y, nx, ny);
        EXPECT_TRUE(SameMemory(x, y)) << nx << " x " << ny;
    }
    for (const int lg : {0, 1, 5, 7, 8, 11, 15, 17, 18})
    {
        const std::size_t n = std::size_t{1} << lg;
        Samples x = Random(n, 13), y = x;
        WideFft1d(x.data(), n, 1, true, 1.0f, 1);
        ExchangeHalves(y, n, 1);
        WideFft1d(y.data(), n, 1, false, 1.0f, 1);
        ExchangeHalves(y, n, 1);
        EXPECT_TRUE(SameMemory(x, y)) << "2^" << lg;
    }
}

namespace
{
const std::vector<std::pair<double, double>> kRanges = {{0.0, 1.0},  {0.25, 0.75}, {0.5, 1.0},   {0.0, 0.5},
                                                        {0.3, 0.31}, {0.8, 0.2},   {0.51, 0.49}, {0.4, 0.4}};

WideRange RangeOf(std::pair<double, double> part, std::size_t n)
{
    return {static_cast<std::size_t>(part.first * static_cast<double>(n)),
            static_cast<std::size_t>(part.second * static_cast<double>(n))};
}
} // namespace

namespace
{
/// One pass by a team.
template <class Pass, class Job>
void RunPass(const Job& job, int threads)
{
    const Pass pass(job, threads);
    ParallelTeam(threads, [&](int index, int size) { pass.Part(index, size); });
}

/// A whole transform by the column path, on a grid of one column.
void OneColumn(Samples& x, float scale)
{
    const WideRange all = {0, x.size()};
    RunPass<WideStripPass>(WideStrips{.source = {.samples = x.data(), .stride = 1, .range = all},
                                      .target = {.samples = x.data(), .stride = 1, .range = all},
                                      .columns = 1,
                                      .which = {0, 1},
                                      .n = x.size(),
                                      .sign = 1,
                                      .scale = scale},
                           1);
}
} // namespace

TEST(WideFft, RangesOfRowsAndColumnsAreTheFullTransformWithZeros)
{
    const Complex mark(-3.0f, 5.0f);
    for (const std::size_t n : {8u, 64u, 256u, 1024u, 131072u})
        for (std::size_t pick = 0; pick < kRanges.size(); ++pick)
            for (const bool columns : {false, true})
            {
                const WideRange in = RangeOf(kRanges[pick], n),
                                out = RangeOf(kRanges[(pick * 3 + 1) % kRanges.size()], n);
                const std::size_t others = n > 20000 ? 3 : 70; // rows, or columns
                const bool shiftIn = pick % 2 == 0, shiftOut = pick % 3 == 0;
                // Full arrays of the definition: zeros outside the range, transform, mark what is not to be written.
                const Samples start = Random(n * others, static_cast<std::uint32_t>(pick + 1));
                Samples want(n * others), line(n);
                for (std::size_t o = 0; o < others; ++o)
                {
                    const auto at = [&](std::size_t i)
                    {
                        return columns ? i * others + o : o * n + i;
                    };
                    for (std::size_t i = 0; i < n; ++i)
                        line[i ^ (shiftIn ? n / 2 : 0)] = in.Has(i) ? start[at(i)] : Complex(0.0f, 0.0f);
                    if (columns)
                        OneColumn(line, 0.5f);
                    else
                        WideFft1d(line.data(), n, 1, false, 0.5f, 1);
                    for (std::size_t i = 0; i < n; ++i)
                        want[at(i)] = out.Has(i) ? line[i ^ (shiftOut ? n / 2 : 0)] : mark;
                }
                // The same from an array that holds the read range only, to one that holds the written range only.
                const bool plainIn = in.begin <= in.end, plainOut = out.begin <= out.end;
                const std::size_t i0 = plainIn ? in.begin : 0, ni = plainIn ? in.end - in.begin : n;
                const std::size_t o0 = plainOut ? out.begin : 0, no = plainOut ? out.end - out.begin : n;
                Samples source(std::max<std::size_t>(ni * others, 1)),
                    target(std::max<std::size_t>(no * others, 1), mark);
                for (std::size_t o = 0; o < others; ++o)
                    for (std::size_t i = 0; i < ni; ++i)
                        source[columns ? i * others + o : o * ni + i] =
                            in.Has(i + i0) ? start[columns ? (i + i0) * others + o : o * n + i + i0]
                                           : Complex(NAN, NAN); // must not be looked at
                const auto view = [&](auto* samples, std::size_t count, std::size_t origin, WideRange range, bool shift)
                {
                    return AxisView<std::remove_pointer_t<decltype(samples)>>{.samples = samples,
                                                                              .stride = columns ? others : count,
                                                                              .origin = origin,
                                                                              .range = range,
                                                                              .shift = shift};
                };
                const auto from = view(std::as_const(source).data(), ni, i0, in, shiftIn);
                const auto to = view(target.data(), no, o0, out, shiftOut);
                for (const Isa isa : Isas())
                {
                    const Cap cap(isa);
                    if (columns)
                        RunPass<WideStripPass>(WideStrips{.source = from,
                                                          .target = to,
                                                          .columns = others,
                                                          .which = {0, others},
                                                          .n = n,
                                                          .sign = 1,
                                                          .scale = 0.5f},
                                               2);
                    else
                        RunPass<WideRowPass>(
                            WideRows{.source = from, .target = to, .rows = others, .n = n, .sign = 1, .scale = 0.5f},
                            2);
                    bool same = true;
                    for (std::size_t o = 0; o < others; ++o)
                        for (std::size_t i = 0; i < no; ++i)
                        {
                            const Complex a = target[columns ? i * others + o : o * no + i];
                            const Complex b = want[columns ? (i + o0) * others + o : o * n + i + o0];
                            same = same && a.real() == b.real() && a.imag() == b.imag();
                        }
                    EXPECT_TRUE(same) << n << (columns ? " columns, range " : " rows, range ") << pick;
                }
            }
}

// A large grid of its own is written past the caches, one row alone is not; an array that starts off a cache line or a
// vector cannot be.
TEST(WideFft, LargeTargetsGetTheSameRows)
{
    const std::size_t n = 4096, rows = 1024, source = 1024;
    const Complex mark(7.0f, -7.0f);
    const Samples start = Random(rows * source, 37);
    for (const std::size_t origin : {std::size_t{0}, std::size_t{8}, std::size_t{11}})
        for (const WideRange out : {WideRange{3000, 900}, WideRange{1024, 3072}})
        {
            if (out.begin > out.end && origin != 0)
                continue; // a range across the end needs the whole axis
            WideRows job;
            job.source.samples = start.data();
            job.source.stride = source;
            job.source.origin = 1500;
            job.target.stride = n;
            job.target.origin = origin;
            job.n = n;
            job.rows = rows;
            job.source.range = {1500, 1500 + source};
            job.target.range = out;
            for (const Isa isa : Isas())
            {
                const Cap cap(isa);
                Lumora large(static_cast<int>(n), static_cast<int>(rows)); // as fields are: on a page of its own
                std::fill(large.GetDataPointer(), large.GetDataPointer() + large.N(), mark);
                job.target.samples = large.GetDataPointer();
                RunPass<WideRowPass>(job, 2);
                for (const std::size_t r : {std::size_t{0}, rows / 2, rows - 1})
                {
                    Samples want(n, mark);
                    WideRows one = job;
                    one.rows = 1;
                    one.source.samples = start.data() + r * source;
                    one.target.samples = want.data();
                    RunPass<WideRowPass>(one, 1);
                    EXPECT_TRUE(
                        Equal(Samples(large.GetDataPointer() + r * n, large.GetDataPointer() + (r + 1) * n), want))
                        << "row " << r << ", origin " << origin << ", isa " << static_cast<int>(isa);
                }
            }
        }
}

TEST(WideFft, StripsDoTheWantedColumnsOnly)
{
    const std::size_t nx = 512, n = 128;
    const Samples start = Random(nx * n, 17);
    Samples all = start;
    WideStrips job;
    job.source.stride = job.target.stride = job.columns = nx;
    job.n = n;
    job.source.range = job.target.range = {0, n};
    job.source.samples = job.target.samples = all.data();
    job.which = {0, nx};
    RunPass<WideStripPass>(job, 1);
    for (const WideRange which : {WideRange{5, 300}, WideRange{70, 71}, WideRange{400, 10}, WideRange{130, 120}})
    {
        Samples x = start;
        job.source.samples = job.target.samples = x.data();
        job.which = which;
        RunPass<WideStripPass>(job, 3);
        Samples want = start;
        for (std::size_t i = 0; i < x.size(); ++i)
            if (which.Has(i % nx))
                want[i] = all[i];
        EXPECT_TRUE(SameMemory(x, want)) << which.begin << " " << which.end;
    }
}

namespace
{
/// A factor without structure, and one that is even on both axes.
struct Factors
{
    std::size_t nx, ny;
    bool even;
    Complex At(std::size_t row, std::size_t column) const
    {
        const std::size_t r = even ? std::min(row, ny - row) : row, c = even ? std::min(column, nx - column) : column;
        const double a = 0.37 * static_cast<double>(r) + 0.0011 * static_cast<double>(c * c) + 0.2;
        return Complex(static_cast<float>(std::cos(a)), static_cast<float>(std::sin(a)));
    }
    static void Fill(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re, float* im)
    {
        const Factors& f = *static_cast<const Factors*>(context);
        EXPECT_LE(column + count, f.nx + 1);
        EXPECT_LT(row, f.ny);
        for (std::size_t i = 0; i < count; ++i)
        {
            const Complex v = f.At(row, column + i);
            re[i] = v.real();
            im[i] = v.imag();
        }
    }
};
} // namespace

TEST(WideFft, FusedStripsAreForwardFactorInverse)
{
    struct Case
    {
        std::size_t nx, ny;
        std::pair<double, double> which, in, out, zero;
    };
    const std::pair<double, double> all = {0.0, 1.0}, none = {0.4, 0.4}, middle = {0.25, 0.75}, ends = {0.7, 0.31};
    const std::vector<Case> cases = {{128, 2, all, all, all, none},           {256, 64, all, all, all, none},
                                     {256, 128, ends, all, all, none},        {512, 256, all, middle, middle, none},
                                     {256, 512, ends, all, all, {0.3, 0.71}}, {128, 1024, all, all, middle, none},
                                     {40, 256, all, all, all, none},          {256, 4096, {0.1, 0.2}, all, all, none},
                                     {3, 32768, all, middle, all, {0.4, 0.6}}};
    for (const Case& c : cases)
        for (const int kind : {0, 1, 2}) // any factor, an even one, an even one times a factor per column and row
        {
            const bool even = kind > 0;
            const Factors factors = {c.nx, c.ny, even};
            const Samples start = Random(c.nx * c.ny, 23);
            const Samples column = Random((c.nx + 63) / 64 * 64, 29), row = Random(c.ny, 31);
            WideFused job;
            job.column = kind == 2 ? column.data() : nullptr;
            job.row = kind == 2 ? row.data() : nullptr;
            job.strips.source.stride = job.strips.target.stride = job.strips.columns = c.nx;
            job.strips.which = RangeOf(c.which, c.nx);
            job.strips.n = c.ny;
            job.strips.source.range = RangeOf(c.in, c.ny);
            job.strips.target.range = RangeOf(c.out, c.ny);
            job.strips.scale = 1.0f / static_cast<float>(c.ny);
            job.factor = Factors::Fill;
            job.context = &factors;
            job.zeroRows = RangeOf(c.zero, c.ny);

            // In double, from the definition.
            double error = 0.0, sum = 0.0;
            std::vector<std::vector<Double>> want(c.nx);
            for (std::size_t x = 0; x < c.nx; ++x)
            {
                std::vector<Double> line(c.ny);
                for (std::size_t y = 0; y < c.ny; ++y)
                    if (job.strips.source.range.Has(y))
                        line[y] = Double(start[y * c.nx + x].real(), start[y * c.nx + x].imag());
                Reference(line, -1);
                for (std::size_t k = 0; k < c.ny; ++k)
                {
                    const Complex f = factors.At(k, x);
                    if (kind == 2)
                        line[k] *= Double(column[x].real(), column[x].imag()) * Double(row[k].real(), row[k].imag());
                    line[k] *=
                        job.zeroRows.Has(k) ? Double(0.0) : Double(f.real(), f.imag()) / static_cast<double>(c.ny);
                }
                Reference(line, 1);
                want[x] = line;
            }
            const auto run = [&](bool symmetric, int threads)
            {
                Samples x = start;
                WideFused j = job;
                j.symmetric = symmetric;
                j.strips.source.samples = j.strips.target.samples = x.data();
                RunPass<WideFusedPass>(j, threads);
                return x;
            };
            const Samples got = run(false, 1);
            for (std::size_t x = 0; x < c.nx; ++x)
                for (std::size_t y = 0; y < c.ny; ++y)
                {
                    const Complex v = got[y * c.nx + x];
                    if (job.strips.which.Has(x) && job.strips.target.range.Has(y))
                    {
                        error += std::norm(Double(v.real(), v.imag()) - want[x][y]);
                        sum += std::norm(want[x][y]);
                    }
                    else // left alone
                        ASSERT_TRUE(v.real() == start[y * c.nx + x].real() && v.imag() == start[y * c.nx + x].imag())
                            << x << " " << y;
                }
            EXPECT_LE(std::sqrt(error / sum), 2.0 * Bound(c.ny)) << c.nx << " x " << c.ny;
            for (const Isa isa : Isas())
            {
                const Cap cap(isa);
                EXPECT_TRUE(SameMemory(run(false, 3), got))
                    << c.nx << " x " << c.ny << ", isa " << static_cast<int>(isa);
                if (!even)
                    continue;
                EXPECT_TRUE(SameMemory(run(true, 2), got))
                    << "symmetric, kind " << kind << ", " << c.nx << " x " << c.ny << ", isa " << static_cast<int>(isa);
            }
        }
}

TEST(WideFft, FusedZeroRowsStayZeroWhateverStandsThere)
{
    // A column of infinities gives not-a-number in its spectrum; with all rows called zero the result is zero all the
    // same.
    const std::size_t nx = 64, ny = 64;
    Samples x(nx * ny, Complex(INFINITY, 1.0f));
    const Factors factors = {nx, ny, false};
    WideFused job;
    job.strips.source.samples = job.strips.target.samples = x.data();
    job.strips.source.stride = job.strips.target.stride = job.strips.columns = nx;
    job.strips.which = {0, nx};
    job.strips.n = ny;
    job.strips.source.range = job.strips.target.range = {0, ny};
    job.factor = Factors::Fill;
    job.context = &factors;
    job.zeroRows = {0, ny};
    RunPass<WideFusedPass>(job, 1);
    EXPECT_TRUE(Equal(x, Samples(nx * ny, Complex(0.0f, 0.0f))));
}

TEST(WideFft, ConvolutionsAreTheDirectSum)
{
    for (const std::size_t n : {2u, 16u, 64u, 128u, 512u, 16384u})
        for (const bool columns : {false, true})
        {
            const std::size_t others = n > 1000 ? 2 : 67;
            const Samples start = Random(n * others, 31), pre = Random(n, 32), post = Random(n, 33),
                          kernel = Random(2 * n, 34);
            std::vector<Double> spectrumD = ToDouble(kernel);
            Reference(spectrumD, -1);
            Samples spectrum(2 * n);
            for (std::size_t k = 0; k < 2 * n; ++k)
                spectrum[k] = Complex(static_cast<float>(spectrumD[k].real()), static_cast<float>(spectrumD[k].imag()));
            WideConvolution job;
            job.stride = job.columns = columns ? others : n;
            job.rows = columns ? n : others;
            job.pre = pre.data();
            job.spectrum = spectrum.data();
            job.post = post.data();
            job.scale = 1.0f / static_cast<float>(2 * n);
            const auto run = [&](int threads)
            {
                Samples x = start;
                WideConvolution j = job;
                j.data = x.data();
                if (columns)
                    RunPass<WideColumnConvolution>(j, threads);
                else
                    RunPass<WideRowConvolution>(j, threads);
                return x;
            };
            const Samples got = run(1);
            double error = 0.0, sum = 0.0;
            const std::size_t stepK = n > 1000 ? 701 : 1;
            for (std::size_t o = 0; o < others; o += (n > 100 ? 13 : 1))
                for (std::size_t k = 0; k < n; k += stepK)
                {
                    Double want = 0.0;
                    for (std::size_t j = 0; j < n; ++j)
                    {
                        const Complex v = start[columns ? j * others + o : o * n + j],
                                      h = kernel[(k + 2 * n - j) % (2 * n)];
                        want += Double(v.real(), v.imag()) * Double(pre[j].real(), pre[j].imag()) *
                                Double(h.real(), h.imag());
                    }
                    want *= Double(post[k].real(), post[k].imag());
                    const Complex v = got[columns ? k * others + o : o * n + k];
                    error += std::norm(Double(v.real(), v.imag()) - want);
                    sum += std::norm(want);
                }
            EXPECT_LE(std::sqrt(error / sum), 3.0 * Bound(2 * n)) << n << (columns ? " columns" : " rows");
            for (const Isa isa : Isas())
            {
                const Cap cap(isa);
                EXPECT_TRUE(SameMemory(run(3), got))
                    << n << (columns ? " columns" : " rows") << ", isa " << static_cast<int>(isa);
            }
        }
}

TEST(WideFft, TablesAreBuiltOnceByManyThreadsAtOnce)
{
    // Callers on threads of their own, the first to ask for this length: each sees whole tables.
    const std::size_t n = std::size_t{1} << 19;
    const Samples start = Random(n, 41);
    std::vector<Samples> results(4, start);
    std::vector<std::thread> callers;
    for (Samples& x : results)
        callers.emplace_back([&x, length = n] { WideFft1d(x.data(), length, -1, false, 1.0f, 1); });
    for (std::thread& t : callers)
        t.join();
    for (const Samples& x : results)
        EXPECT_TRUE(SameMemory(x, results[0]));
}

TEST(Scratch, BlocksAreAlignedApartAndGivenBack)
{
    // Larger than anything that the engine has asked for so far, so that no other block fits.
    const std::size_t bytes = std::size_t{96} << 20;
    std::vector<void*> before;
    {
        const Scratch s(3, bytes);
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(s[i]) % (std::size_t{2} << 20), 0u);
            s.As<unsigned char>(i)[0] = s.As<unsigned char>(i)[bytes - 1] = static_cast<unsigned char>(i);
            before.push_back(s[i]);
        }
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(s.As<unsigned char>(i)[0] == i && s.As<unsigned char>(i)[bytes - 1] == i);
    }
    {
        const Scratch again(2, bytes - 4096);
        for (int i = 0; i < 2; ++i)
            EXPECT_NE(std::find(before.begin(), before.end(), again[i]), before.end());
    }
    const Failure failure = Catch([] { const Scratch s(2, SIZE_MAX / 2 + 4096); });
    EXPECT_EQ(failure.code, 1);
    EXPECT_EQ(failure.function, "LumoraLib::Malloc");
}

TEST(Isa, TheCapLimitsAndIsLifted)
{
    {
        const Cap cap(Isa::Sse2);
        EXPECT_EQ(CurrentIsa(), Isa::Sse2);
        const int a = 1, b = 2, c = 3;
        EXPECT_EQ(PickIsa(a, b, c), 1);
    }
    EXPECT_EQ(CurrentIsa(), ProcessorIsa());
}
