// The split-radix engine: every supported length against a double transform, tables, shapes, areas and failures.
#include "Fftsg.h"
#include "TestTools.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <malloc.h>
#include <random>
#include <sys/resource.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{
using namespace LumoraLib;
using Wide = std::vector<std::complex<double>>;
using Samples = std::vector<Complex>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool ownsMemory = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool ownsMemory = false;
#else
constexpr bool ownsMemory = true;
#endif
#else
constexpr bool ownsMemory = true;
#endif

Samples Random(std::size_t count, unsigned seed)
{
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> draw(-1.0f, 1.0f);
    Samples x(count);
    for (Complex& z : x)
    {
        const float re = draw(engine);
        z = Complex(re, draw(engine));
    }
    return x;
}

Wide Widen(const Samples& x)
{
    Wide y;
    for (const Complex& z : x)
        y.emplace_back(double(z.Real()), double(z.Imag()));
    return y;
}

float* Floats(Samples& x)
{
    return reinterpret_cast<float*>(x.data());
}

/// The definition: halves by index parity, down to one point. All in double, factors rounded once from long double.
class Reference
{
public:
    Reference(std::size_t n, int sign) : factors_(n / 2 + 1), n_(n)
    {
        for (std::size_t k = 0; k <= n / 2; ++k)
        {
            const long double t = 6.283185307179586476925286766559L * (long double)(k) / (long double)(n);
            factors_[k] = {double(std::cos(t)), double(sign < 0 ? -std::sin(t) : std::sin(t))};
        }
    }
    Wide operator()(const Wide& x) const
    {
        Wide out(n_);
        Halve(x.data(), 1, out.data(), n_);
        return out;
    }

private:
    void Halve(const std::complex<double>* x, std::size_t stride, std::complex<double>* out, std::size_t n) const
    {
        if (n == 1)
        {
            *out = *x;
            return;
        }
        Halve(x, 2 * stride, out, n / 2);
        Halve(x + stride, 2 * stride, out + n / 2, n / 2);
        for (std::size_t k = 0; k < n / 2; ++k)
        {
            const std::complex<double> odd = factors_[k * stride] * out[k + n / 2];
            out[k + n / 2] = out[k] - odd;
            out[k] += odd;
        }
    }
    Wide factors_;
    std::size_t n_;
};

Wide Reference2d(Wide x, std::size_t nx, std::size_t ny, int sign)
{
    const Reference row(nx, sign);
    const Reference column(ny, sign);
    for (std::size_t j = 0; j < ny; ++j)
    {
        const auto at = x.begin() + std::ptrdiff_t(j * nx);
        const Wide y = row(Wide(at, at + std::ptrdiff_t(nx)));
        std::copy(y.begin(), y.end(), at);
    }
    for (std::size_t i = 0; i < nx; ++i)
    {
        Wide line(ny);
        for (std::size_t j = 0; j < ny; ++j)
            line[j] = x[i + nx * j];
        line = column(line);
        for (std::size_t j = 0; j < ny; ++j)
            x[i + nx * j] = line[j];
    }
    return x;
}

/// Relative l2 error in units of 2^-24 sqrt(log2 N): at most 1 for every length.
double Constant(const Samples& x, const Wide& want)
{
    double num = 0.0;
    double den = 0.0;
    for (std::size_t k = 0; k < want.size(); ++k)
    {
        num += std::norm(std::complex<double>(x[k].Real(), x[k].Imag()) - want[k]);
        den += std::norm(want[k]);
    }
    const double levels = std::log2(double(want.size()));
    const double unit = std::ldexp(std::sqrt(levels > 1.0 ? levels : 1.0), -24);
    return num == 0.0 ? 0.0 : std::sqrt(num / den) / unit;
}

bool Same(const Samples& a, const Samples& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Complex)) == 0);
}

struct Tables
{
    explicit Tables(int points)
        : nw(points / 2), ip(std::size_t(points < 2 ? 2 : points), -1), w(std::size_t(points < 2 ? 1 : points / 2), 7.0)
    {
        ip[0] = 0;
    }
    int nw;
    std::vector<int> ip;
    std::vector<double> w;
};

TEST(Fftsg, ReferenceIsTheDirectSum)
{
    const std::size_t n = 32;
    const Wide x = Widen(Random(n, 1));
    for (int sign : {-1, 1})
    {
        const Wide y = Reference(n, sign)(x);
        for (std::size_t k = 0; k < n; ++k)
        {
            std::complex<double> sum = 0.0;
            for (std::size_t j = 0; j < n; ++j)
                sum += x[j] * std::polar(1.0, sign * 6.283185307179586 * double(j * k % n) / double(n));
            EXPECT_LT(std::abs(sum - y[k]), 1e-13);
        }
    }
}

TEST(Fftsg, TinyLengths)
{
    struct Case
    {
        int sign;
        std::vector<float> in, out;
    };
    const Case cases[] = {
        {1, {3, -4}, {3, -4}},
        {-1, {3, -4}, {3, -4}},
        {1, {1, 2, 10, 30}, {11, 32, -9, -28}},
        {-1, {1, 2, 10, 30}, {11, 32, -9, -28}},
        {1, {1, 0, 0, 0, 0, 0, 0, 0}, {1, 0, 1, 0, 1, 0, 1, 0}},
        {-1, {1, 0, 0, 0, 0, 0, 0, 0}, {1, 0, 1, 0, 1, 0, 1, 0}},
        {1, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, 1, -1, 0, 0, -1}},
        {-1, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, -1, -1, 0, 0, 1}},
        {0, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, 1, -1, 0, 0, -1}},
        {-7, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, -1, -1, 0, 0, 1}},
    };
    for (const Case& c : cases)
    {
        const std::size_t n = c.in.size() / 2;
        Samples x(n);
        std::copy(c.in.begin(), c.in.end(), Floats(x));
        FftsgTransform1d(x.data(), int(n), c.sign);
        for (std::size_t f = 0; f < 2 * n; ++f)
            EXPECT_EQ(Floats(x)[f], c.out[f]) << "N " << n << " sign " << c.sign << " float " << f;
    }
}

TEST(Fftsg, EveryLengthKeepsTheErrorBoundAndComesBack)
{
    for (int level = 0; level <= 20; ++level)
    {
        const std::size_t n = std::size_t(1) << level;
        Samples tone(n);
        for (std::size_t j = 0; j < n; ++j)
        {
            const double t = 2.5 * double(j) * double(j) / double(n) + 0.3 * double(j);
            tone[j] = Complex(float(std::cos(t)), float(std::sin(t)));
        }
        for (int sign : {-1, 1})
        {
            const Reference reference(n, sign);
            const Samples random = Random(n, unsigned(level) + 10);
            for (const Samples* input : {&random, &std::as_const(tone)})
            {
                const Samples& x = *input;
                Samples y = x;
                FftsgTransform1d(y.data(), int(n), sign);
                const double c = Constant(y, reference(Widen(x)));
                EXPECT_LE(c, 1.0) << "N " << n << " sign " << sign;
                const std::string what = input == &tone ? "tone_" : "random_";
                RecordProperty(what + (sign < 0 ? "minus_" : "plus_") + std::to_string(n), std::to_string(c));

                FftsgTransform1d(y.data(), int(n), -sign);
                Wide want = Widen(x);
                for (std::complex<double>& z : want)
                    z *= double(n);
                EXPECT_LE(Constant(y, want), 2.0) << "there and back, N " << n << " sign " << sign;
            }
        }
    }
}

TEST(Fftsg, TwoDimensionalShapes)
{
    const int shapes[][2] = {{1, 1},   {2, 1},    {1, 2},    {4, 1},    {1, 4},    {1, 64},    {64, 1},   {2, 2},
                             {2, 32},  {4, 4},    {4, 256},  {256, 4},  {8, 16},   {16, 8},    {64, 64},  {512, 8},
                             {8, 512}, {2, 1024}, {1024, 2}, {1, 2048}, {2048, 1}, {128, 256}, {256, 128}};
    for (const auto& shape : shapes)
        for (int sign : {-1, 1})
        {
            const std::size_t nx = std::size_t(shape[0]);
            const std::size_t ny = std::size_t(shape[1]);
            const Samples x = Random(nx * ny, unsigned(nx + 3 * ny));
            Samples y = x;
            FftsgTransform2d(y.data(), shape[0], shape[1], sign);
            const double c = Constant(y, Reference2d(Widen(x), nx, ny, sign));
            EXPECT_LE(c, 1.0) << nx << " x " << ny << " sign " << sign;
            RecordProperty((sign < 0 ? "minus_" : "plus_") + std::to_string(nx) + "x" + std::to_string(ny),
                           std::to_string(c));
        }
}

TEST(Fftsg, RowsAndColumnsAreTheOneDimensionalTransformBitByBit)
{
    const int nx = 64;
    const int ny = 256;
    const Samples x = Random(std::size_t(nx) * ny, 5);
    Samples whole = x;
    FftsgTransform2d(whole.data(), nx, ny, -1);
    Samples steps = x;
    for (int j = 0; j < ny; ++j)
        FftsgTransform1d(&steps[std::size_t(nx * j)], nx, -1);
    for (int i = 0; i < nx; ++i)
    {
        Samples line(ny);
        for (int j = 0; j < ny; ++j)
            line[std::size_t(j)] = steps[std::size_t(i + nx * j)];
        FftsgTransform1d(line.data(), ny, -1);
        for (int j = 0; j < ny; ++j)
            steps[std::size_t(i + nx * j)] = line[std::size_t(j)];
    }
    EXPECT_TRUE(Same(whole, steps));
}

TEST(Fftsg, TableSlices)
{
    for (int nw = 4; nw <= 4096; nw *= 2)
    {
        Tables t(2 * nw);
        FftsgMakeTables(nw, t.ip.data(), t.w.data());
        EXPECT_EQ(t.ip[0], nw);
        EXPECT_EQ(t.ip[1], 1);
        for (int s = nw; s >= 4; s /= 2)
        {
            const double* w = t.w.data() + (nw - s);
            const int h = s / 2;
            const double delta = 0.78539816339744830962 / h;
            EXPECT_EQ(w[0], 1.0);
            EXPECT_NEAR(w[1], 0.70710678118654752440, 2e-16);
            if (h == 4)
            {
                EXPECT_NEAR(w[2], std::cos(2 * delta), 2e-16);
                EXPECT_NEAR(w[3], std::sin(2 * delta), 2e-16);
            }
            if (h > 4)
            {
                EXPECT_NEAR(w[2], 0.5 / std::cos(2 * delta), 4e-16);
                EXPECT_NEAR(w[3], 0.5 / std::cos(6 * delta), 4e-16);
            }
            for (int j = 4; h > 4 && j < h; j += 4)
            {
                EXPECT_NEAR(w[j], std::cos(delta * j), 4e-16);
                EXPECT_NEAR(w[j + 1], std::sin(delta * j), 4e-16);
                EXPECT_NEAR(w[j + 2], std::cos(3 * delta * j), 8e-16);
                EXPECT_NEAR(w[j + 3], -std::sin(3 * delta * j), 8e-16);
                for (int i = 0; s < nw && i < 4; ++i)
                    EXPECT_EQ(w[j + i], (w - s * 2 + s)[2 * j + i]) << "nw " << nw << " slice " << s << " group " << j;
            }
        }
    }
    // Sizes up to 2 are recorded and make no factors.
    for (int nw : {0, 1, 2})
    {
        int ip[2] = {9, 9};
        FftsgMakeTables(nw, ip, nullptr);
        EXPECT_EQ(ip[0], nw);
        EXPECT_EQ(ip[1], 1);
    }
}

// Angles of a slice and of the table made for its length are the same numbers, so the results agree bit by bit.
TEST(Fftsg, LongTablesServeShortRows)
{
    for (int built = 1; built <= 8192; built *= 2)
    {
        Tables longer(built);
        FftsgMakeTables(longer.nw, longer.ip.data(), longer.w.data());
        for (int n = 1; n <= built; n *= 2)
        {
            const Samples x = Random(std::size_t(n), 3);
            Samples forward = x;
            Samples backward = x;
            Samples want = x;
            FftsgForwardRow(2 * n, Floats(forward), longer.ip.data(), longer.nw, longer.w.data());
            FftsgTransform1d(want.data(), n, 1);
            EXPECT_TRUE(Same(forward, want)) << built << " for " << n;
            want = x;
            FftsgBackwardRow(2 * n, Floats(backward), longer.ip.data(), longer.nw, longer.w.data());
            FftsgTransform1d(want.data(), n, -1);
            EXPECT_TRUE(Same(backward, want)) << built << " for " << n;
        }
    }
}

TEST(Fftsg, ColumnsRebuildTablesOnlyWhenTheyAreTooSmall)
{
    for (const auto& [built, n1, kept] : {std::tuple{1024, 64, true},
                                          {1024, 32, true},
                                          {64, 64, true},
                                          {64, 128, false},
                                          {4, 512, false},
                                          {1, 16, false}})
        for (int columns : {1, 2, 4, 8})
        {
            Tables t(built > n1 ? built : n1);
            FftsgMakeTables(built / 2, t.ip.data(), t.w.data());
            Samples x = Random(std::size_t(n1 * columns), 8);
            std::vector<float*> rows;
            for (int i = 0; i < n1; ++i)
                rows.push_back(Floats(x) + 2 * columns * i);
            std::vector<float> gathered(std::size_t(n1 * (columns > 2 ? 8 : 2 * columns)));
            Wide want = Widen(x);
            for (int c = 0; c < columns; ++c)
            {
                Wide line;
                for (int i = 0; i < n1; ++i)
                    line.push_back(want[std::size_t(c + columns * i)]);
                line = Reference(std::size_t(n1), -1)(line);
                for (int i = 0; i < n1; ++i)
                    want[std::size_t(c + columns * i)] = line[std::size_t(i)];
            }
            FftsgColumns(n1, 2 * columns, -1, rows.data(), gathered.data(), t.ip.data(), t.w.data());
            EXPECT_EQ(t.ip[0], kept ? built / 2 : n1 / 2);
            EXPECT_LE(Constant(x, want), 1.0) << built << " for " << columns << " columns of " << n1;
        }
}

// Buffers end where the arrays end, so that a checked build sees every step outside.
TEST(Fftsg, UnsupportedLengthsStayInside)
{
    for (int n : {-4, 0, 3, 5, 6, 7, 9, 12, 17, 24, 31, 48, 100, 192, 257, 1000, 3000})
    {
        const Samples x = Random(std::size_t(n < 0 ? 0 : n), 4);
        for (int sign : {-1, 1})
        {
            Samples y = x;
            FftsgTransform1d(y.data(), n, sign);
            EXPECT_TRUE(Same(x, y)) << n;
        }
    }
    const std::string tooLong = "an axis is longer than a transform takes (2^29 samples)";
    for (const int n : {1 << 30, std::numeric_limits<int>::max()}) // before anything is allocated or touched
    {
        EXPECT_EQ(lmltest::Catch([n] { FftsgTransform1d(nullptr, n, 1); }),
                  (lmltest::Failure{ERR_SOMETHING, "LumoraLib::FftsgTransform1d", tooLong}));
        EXPECT_EQ(lmltest::Catch([n] { FftsgTransform2d(nullptr, n, 1, 1); }),
                  (lmltest::Failure{ERR_SOMETHING, "LumoraLib::FftsgTransform2d", tooLong}));
        EXPECT_EQ(lmltest::Catch([n] { FftsgTransform2d(nullptr, 1, n, 1); }).code, ERR_SOMETHING);
        EXPECT_EQ(lmltest::Catch([n] { FftsgColumns(n, 8, 1, nullptr, nullptr, nullptr, nullptr); }),
                  (lmltest::Failure{ERR_SOMETHING, "LumoraLib::FftsgColumns", tooLong}));
    }
    const int shapes[][2] = {{3, 5}, {6, 4}, {5, 64}, {24, 16}, {7, 1}, {1, 7}, {3, 128}, {128, 3}, {96, 96}, {44, 16}};
    for (const auto& shape : shapes)
    {
        Samples y = Random(std::size_t(shape[0] * shape[1]), 6);
        FftsgTransform2d(y.data(), shape[0], shape[1], -1);
        if ((shape[1] & (shape[1] - 1)) != 0 && (shape[0] & (shape[0] - 1)) != 0)
        {
            EXPECT_TRUE(Same(y, Random(y.size(), 6)));
        }
    }
    // Tables too small for the row.
    Tables t(16);
    FftsgMakeTables(t.nw, t.ip.data(), t.w.data());
    Samples y = Random(32, 6);
    FftsgForwardRow(64, Floats(y), t.ip.data(), t.nw, t.w.data());
    EXPECT_TRUE(Same(y, Random(32, 6)));
}

TEST(Fftsg, CallsOnDifferentBuffersRunTogether)
{
    const Samples x = Random(128 * 128, 2);
    Samples want = x;
    FftsgTransform2d(want.data(), 128, 128, -1);
    std::vector<Samples> fields(3, x);
    std::vector<std::thread> threads;
    for (Samples& field : fields)
        threads.emplace_back([&field] { FftsgTransform2d(field.data(), 128, 128, -1); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Samples& field : fields)
        EXPECT_TRUE(Same(field, want));
}

// Large blocks come straight from the system throughout, or memory freed or reserved earlier would serve an allocation
// that is meant to fail.
const int largeBlocksMapped = ::mallopt(M_MMAP_THRESHOLD, 1 << 20) & ::mallopt(M_ARENA_MAX, 1);

/// Caps the address space at what is in use now plus some megabytes.
class Headroom
{
public:
    explicit Headroom(std::size_t megabytes)
    {
        ::malloc_trim(0);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        ::getrlimit(RLIMIT_AS, &before_);
        rlimit now = before_;
        now.rlim_cur = pages * std::size_t(::sysconf(_SC_PAGESIZE)) + (megabytes << 20);
        ::setrlimit(RLIMIT_AS, &now);
    }
    ~Headroom() { ::setrlimit(RLIMIT_AS, &before_); }
    Headroom(const Headroom&) = delete;
    Headroom& operator=(const Headroom&) = delete;

private:
    rlimit before_{};
};

std::size_t InUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

TEST(Fftsg, FailedAllocationsReportAndLeaveNothingBehind)
{
    if (!ownsMemory)
        GTEST_SKIP() << "the checked build's allocator does not obey the limit";
    ASSERT_EQ(largeBlocksMapped, 1);
    const int ny = 1 << 21; // rows 16 MiB, ip 8 MiB, w 8 MiB, t 64 MiB
    Samples x(std::size_t(4) * ny);
    x[1] = Complex(1.0f, 2.0f);
    struct Case
    {
        std::size_t megabytes;
        std::string message;
    };
    for (const Case& c : {Case{8, "demanded bytes = 16777216 : fftsg2d:Temporary Array"},
                          Case{20, "demanded bytes = 8388608 : fftsg2d:Temporary Array"},
                          Case{48, "demanded bytes = 67108864 : (null)"}})
    {
        const std::size_t before = InUse();
        lmltest::Failure failure;
        {
            const Headroom headroom(c.megabytes);
            failure = lmltest::Catch([&] { FftsgTransform2d(x.data(), 4, ny, 1); });
        }
        EXPECT_EQ(failure.code, ERR_MEMORY);
        EXPECT_EQ(failure.function, "LumoraLib::Malloc");
        EXPECT_EQ(failure.message, c.message);
        // What is left is the texts of the failure, no area.
        EXPECT_LT(InUse(), before + 100000);
        EXPECT_TRUE(x[1].Real() == 1.0f && x[0].Real() == 0.0f);
    }
    const Headroom headroom(64);
    EXPECT_EQ(
        lmltest::Catch([&] { FftsgTransform1d(x.data(), 1 << 29, 1); }),
        (lmltest::Failure{ERR_MEMORY, "LumoraLib::Malloc", "demanded bytes = 2147483656 : fftsg: Temporary Array"}));
}
} // namespace
