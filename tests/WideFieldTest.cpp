// The wide element-wise loops against the plain ones, bit by bit: every operation, form, instruction set, thread count
// and tail, special values, and arguments whose results lie next to a rounding boundary of float.
#include "field/WideField.h"
#include "base/Isa.h"
#include "TestTools.h"

#include <cstdlib>
#include <limits>
#include <sys/wait.h>

using namespace lmltest;
using LumoraLib::detail::CapIsa;
using LumoraLib::detail::FieldTable;
using LumoraLib::detail::Isa;
using LumoraLib::detail::ProcessorIsa;
using LumoraLib::detail::WideField;

namespace
{
struct Pair
{
    float x;
    float y;
};

struct Open : Lumora
{
    using Lumora::_ConvToComplexForm;
    using Lumora::_ConvToPolarForm;
    using Lumora::Lumora;
};

std::vector<Isa> Sets()
{
    std::vector<Isa> sets;
    for (const Isa isa : {Isa::Sse2, Isa::Avx2, Isa::Avx512})
        if (isa <= ProcessorIsa())
            sets.push_back(isa);
    return sets;
}

struct Cap
{
    explicit Cap(Isa isa) { CapIsa(isa); }
    ~Cap() { CapIsa(Isa::Avx512); }
};

float FromBits(std::uint32_t bits)
{
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

/// How far the 29 bits that a rounding to float drops are from one half.
std::int64_t FromBoundary(double v)
{
    std::int64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return std::abs((bits & 0x1fffffff) - 0x10000000);
}

std::vector<Pair> Specials()
{
    const float inf = std::numeric_limits<float>::infinity();
    const float values[] = {0.0f,
                            1e-45f,
                            1e-42f,
                            FromBits(0x007fffffu),
                            FromBits(0x00800000u),
                            3e-38f,
                            1e-20f,
                            0.41421354f,
                            0.41421357f,
                            0.5f,
                            1.0f,
                            FromBits(0x3f800001u),
                            2.4142137f,
                            3.0f,
                            1e19f,
                            2e19f,
                            3.4028235e38f,
                            inf,
                            std::numeric_limits<float>::quiet_NaN()};
    std::vector<Pair> pairs;
    for (const float x : values)
        for (const float y : values)
            for (const float sx : {1.0f, -1.0f})
                for (const float sy : {1.0f, -1.0f})
                    pairs.push_back({std::copysign(x, sx), std::copysign(y, sy)});
    return pairs;
}

/// Bit patterns of all kinds, uniform values, and pairs of like size.
std::vector<Pair> Randoms(std::size_t count, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<Pair> pairs;
    for (std::size_t n = 0; n < count; ++n)
    {
        const auto a = static_cast<std::uint32_t>(random());
        const auto b = static_cast<std::uint32_t>(random());
        switch (n % 4)
        {
        case 0:
            pairs.push_back({FromBits(a), FromBits(b)});
            break;
        case 1: // like sizes
            pairs.push_back({FromBits((a & 0x807fffffu) | 0x3f800000u), FromBits((b & 0x80ffffffu) | 0x3f000000u)});
            break;
        case 2: // small intensities
            pairs.push_back(
                {std::ldexp(static_cast<float>(static_cast<std::int32_t>(a)), -31 - static_cast<int>(b % 30)),
                 std::ldexp(static_cast<float>(static_cast<std::int32_t>(b)), -45)});
            break;
        default:
            pairs.push_back({static_cast<float>(static_cast<std::int32_t>(a)) * 4.656612873e-10f,
                             static_cast<float>(static_cast<std::int32_t>(b)) * 4.656612873e-10f});
        }
    }
    return pairs;
}

/// Arguments whose exact phase or logarithm lies within a few hundred double ulps of where the float changes.
std::vector<Pair> HardCases()
{
    std::vector<Pair> pairs;
    std::mt19937 random(77);
    const double l = std::log10(2.0);
    for (int n = 0; n < 1500000; ++n)
    {
        const Pair p = {static_cast<float>(static_cast<std::int32_t>(random())) * 1e-9f,
                        static_cast<float>(static_cast<std::int32_t>(random())) * 1e-9f};
        const double x = static_cast<double>(p.x);
        const double y = static_cast<double>(p.y);
        if (FromBoundary(std::atan2(y, x)) < 2048 || FromBoundary(std::log10(x * x + 1.0 + y * y) / l) < 2048)
            pairs.push_back(p);
    }
    // Small phases are quotients: with m x = 1 or -1 modulo 2^25 and y the multiple of 2^25 beside m x, y / x is as
    // near to the 25-bit number m, half way between two floats, as a quotient of floats can be.
    for (int n = 0; n < 4000; ++n)
    {
        const std::uint64_t x = (random() & 0x7fffffu) | 0x800001u;
        std::uint64_t inverse = x;
        for (int step = 0; step < 5; ++step)
            inverse *= 2 - x * inverse;
        const bool above = n % 2 == 0;
        const std::uint64_t m = (above ? inverse : 0 - inverse) & 0x1ffffffu;
        const std::uint64_t y = above ? (m * x - 1) >> 25 : (m * x + 1) >> 25;
        if (m >= 0x1000000u && y < 0x1000000u)
            pairs.push_back({std::ldexp(static_cast<float>(x), 40), static_cast<float>(y)});
    }
    // The same below the normal floats: odd multiples of half the smallest one.
    for (int k = 1; k < 400; k += 2)
        pairs.push_back({0x1p100f, std::ldexp(static_cast<float>(k), -50)});
    return pairs;
}

/// The pairs as a field of one row; filled up with ones.
Open FieldOf(const std::vector<Pair>& pairs)
{
    Open field(static_cast<int>(pairs.size()), 1);
    field.SetConst(Complex(1.0, 1.0));
    for (std::size_t n = 0; n < pairs.size(); ++n)
    {
        field[n].real() = pairs[n].x;
        field[n].imag() = pairs[n].y;
    }
    return field;
}

bool SameFloat(float a, float b)
{
    return Bits(a) == Bits(b) || (std::isnan(a) && std::isnan(b));
}

using Operation = std::function<void(Open&, const Lumora&)>;
struct Named
{
    const char* name;
    Operation run;
};

const Named kOperations[] = {
    {"polar and back",
     [](Open& a, const Lumora&)
     {
         a._ConvToPolarForm();
         a._ConvToComplexForm();
     }},
    {"polar",
     [](Open& a, const Lumora&)
     {
         a._ConvToPolarForm();
     }},
    {"intensity",
     [](Open& a, const Lumora&)
     {
         a.ConvToIntensity();
     }},
    {"log intensity",
     [](Open& a, const Lumora&)
     {
         a.ConvToLogIntensity();
     }},
    {"absolute",
     [](Open& a, const Lumora&)
     {
         a.ConvToAbsolute();
     }},
    {"conjugate",
     [](Open& a, const Lumora&)
     {
         a.ConvToConjugate();
     }},
    {"negate",
     [](Open& a, const Lumora&)
     {
         -a;
     }},
    {"normalize",
     [](Open& a, const Lumora&)
     {
         a.Normalize(0.7);
     }},
    {"normalize window",
     [](Open& a, const Lumora&)
     {
         a.SetWindow(a.GetNx() / 3, a.GetNx() - 5, 0, 1);
         a.NormalizeWin(1.3);
     }},
    {"+= field",
     [](Open& a, const Lumora& b)
     {
         a += b;
     }},
    {"-= field",
     [](Open& a, const Lumora& b)
     {
         a -= b;
     }},
    {"*= field",
     [](Open& a, const Lumora& b)
     {
         a *= b;
     }},
    {"/= field",
     [](Open& a, const Lumora& b)
     {
         a /= b;
     }},
    {"*= itself",
     [](Open& a, const Lumora&)
     {
         a *= a;
     }},
    {"+= complex",
     [](Open& a, const Lumora&)
     {
         a += ComplexDouble(0.1, -1e30);
     }},
    {"-= complex",
     [](Open& a, const Lumora&)
     {
         a -= ComplexDouble(0.1, -1e-3);
     }},
    {"*= complex",
     [](Open& a, const Lumora&)
     {
         a *= ComplexDouble(0.1, -1.7);
     }},
    {"/= complex",
     [](Open& a, const Lumora&)
     {
         a /= ComplexDouble(1e-3, -0.7);
     }},
    {"*= double",
     [](Open& a, const Lumora&)
     {
         a *= 0.1;
     }},
    {"/= double",
     [](Open& a, const Lumora&)
     {
         a /= 1e-3;
     }},
};

/// Every operation on the pairs, wide on all sets and the given team against plain on one thread.
void ExpectPlainBits(const std::vector<Pair>& pairs, std::initializer_list<int> teams, const char* what)
{
    const Open start = FieldOf(pairs);
    Lumora other(start);
    for (std::size_t n = 0; n < other.N(); ++n)
        other[n] = start.GetDataPointer()[(n * 7 + 3) % other.N()];
    for (const Named& operation : kOperations)
        for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE})
        {
            Open plain(start);
            plain.Form() = form;
            {
                const Engine engine(FFT_LIB_SPLIT_RADIX);
                const Threads team(1);
                operation.run(plain, other);
            }
            for (const Isa isa : Sets())
                for (const int threads : teams)
                {
                    const Cap cap(isa);
                    const Threads team(threads);
                    Open wide(start);
                    wide.Form() = form;
                    operation.run(wide, other);
                    std::size_t differing = 0;
                    std::size_t first = 0;
                    for (std::size_t n = 0; n < wide.N(); ++n)
                        if (!SameFloat(wide[n].Real(), plain[n].Real()) || !SameFloat(wide[n].Imag(), plain[n].Imag()))
                            if (differing++ == 0)
                                first = n;
                    EXPECT_EQ(differing, 0u)
                        << what << ", " << operation.name << ", form " << form << ", set " << static_cast<int>(isa)
                        << ", " << threads << " threads, sample " << first << ": ("
                        << start.GetDataPointer()[first].Real() << ", " << start.GetDataPointer()[first].Imag()
                        << ") gives (" << wide[first].Real() << ", " << wide[first].Imag() << ") and not ("
                        << plain[first].Real() << ", " << plain[first].Imag() << ")";
                }
        }
}
} // namespace

TEST(WideField, SpecialValues)
{
    ExpectPlainBits(Specials(), {1, 3}, "special values");
}

TEST(WideField, RandomSamplesOnAnyTeam)
{
    ExpectPlainBits(Randoms(1u << 15, 5), {1, 2, 3, 7}, "random");
}

TEST(WideField, ResultsBesideARoundingBoundary)
{
    const std::vector<Pair> pairs = HardCases();
    EXPECT_GT(pairs.size(), 1000u);
    ExpectPlainBits(pairs, {1}, "boundary");
}

// A row cut anywhere gives the samples of the whole row, and what stands after the cut stays.
TEST(WideField, TailsAndNeighbours)
{
    constexpr std::size_t most = 40;
    const std::vector<Pair> pairs = Randoms(most, 9);
    for (const Isa isa : Sets())
    {
        const Cap cap(isa);
        const FieldTable& t = WideField();
        using Row = std::function<void(float*, std::size_t)>;
        std::vector<float> b(2 * most);
        for (std::size_t n = 0; n < 2 * most; ++n)
            b[n] = 0.3f + 0.01f * static_cast<float>(n);
        const Row rows[] = {t.toPolar,
                            t.intensity,
                            t.absolute,
                            t.squareFirst,
                            t.conjugate,
                            t.negate,
                            t.clearSecond,
                            [&](float* z, std::size_t n) { t.logIntensity(z, n, 0.3); },
                            [&](float* z, std::size_t n) { t.add(z, b.data(), n); },
                            [&](float* z, std::size_t n) { t.subtract(z, b.data(), n); },
                            [&](float* z, std::size_t n) { t.multiply(z, b.data(), n); },
                            [&](float* z, std::size_t n) { t.divide(z, b.data(), n); },
                            [&](float* z, std::size_t n) { t.addConst(z, n, 1.0f, 2.0f); },
                            [&](float* z, std::size_t n) { t.subtractConst(z, n, 1.0f, 2.0f); },
                            [&](float* z, std::size_t n) { t.mixedMultiply(z, n, 1.5f, 2.1f); },
                            [&](float* z, std::size_t n) { t.scale(z, n, 1.1f); },
                            [&](float* z, std::size_t n) { t.scaleDouble(z, n, 1.1); },
                            [&](float* z, std::size_t n)
                            {
                                t.scaleFirst(z, n, 1.1);
                            }};
        std::vector<float> from(2 * most);
        for (std::size_t n = 0; n < most; ++n)
        {
            from[2 * n] = pairs[n].x;
            from[2 * n + 1] = pairs[n].y;
        }
        for (std::size_t r = 0; r < std::size(rows); ++r)
        {
            std::vector<float> whole = from;
            rows[r](whole.data(), most);
            for (std::size_t n = 0; n <= most; ++n)
            {
                std::vector<float> part = from;
                rows[r](part.data(), n);
                for (std::size_t i = 0; i < 2 * most; ++i)
                    ASSERT_TRUE(SameFloat(part[i], i < 2 * n ? whole[i] : from[i]))
                        << "row " << r << ", " << n << " samples, float " << i << ", set " << static_cast<int>(isa);
            }
        }
        std::vector<double> all(most);
        t.magnitudes(from.data(), most, all.data());
        for (std::size_t n = 0; n < most; ++n)
        {
            std::vector<double> some(most, -5.0);
            t.magnitudes(from.data(), n, some.data());
            EXPECT_EQ(some[n], -5.0);
            for (std::size_t i = 0; i < n; ++i)
                EXPECT_TRUE(some[i] == all[i] || std::isnan(all[i]));
        }
    }
}

TEST(WideField, MaximaPassOverWhatIsNoNumberAndKeepTheFirstZero)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const Isa isa : Sets())
    {
        const Cap cap(isa);
        const FieldTable& t = WideField();
        for (std::size_t n = 1; n < 50; ++n)
            for (std::size_t at = 0; at < n; ++at)
            {
                std::vector<float> z(2 * n, nan);
                EXPECT_EQ(t.largestSquare(z.data(), n, 1.0), 1.0);
                EXPECT_EQ(t.largestFirst(z.data(), n, -1.0), -1.0);
                z[2 * at] = 3.0f;
                EXPECT_EQ(t.largestFirst(z.data(), n, -1.0), 3.0);
                EXPECT_EQ(t.largestSquare(z.data(), n, 1.0), 1.0); // the pair is no number still
                z[2 * at + 1] = 4.0f;
                EXPECT_EQ(t.largestSquare(z.data(), n, 1.0), 25.0);
                EXPECT_EQ(t.largestSquare(z.data(), n, 26.0), 26.0);
                EXPECT_TRUE(std::isnan(t.largestFirst(z.data(), n, static_cast<double>(nan))));
                EXPECT_TRUE(std::isnan(t.largestSquare(z.data(), n, static_cast<double>(nan))));
                for (std::size_t i = 0; i < n; ++i)
                    z[2 * i] = i < at ? -1.0f : i == at ? -0.0f : 0.0f;
                EXPECT_TRUE(std::signbit(t.largestFirst(z.data(), n, -2.0))) << n << " " << at;
            }
    }
}

TEST(WideField, MagnitudesAreThoseOfThePlainRoots)
{
    const std::vector<Pair> pairs = Randoms(4099, 21);
    std::vector<double> full(pairs.size());
    std::vector<double> mixed(pairs.size());
    for (const Isa isa : Sets())
    {
        const Cap cap(isa);
        WideField().magnitudes(&pairs[0].x, pairs.size(), full.data());
        WideField().mixedMagnitudes(&pairs[0].x, pairs.size(), mixed.data());
        for (std::size_t n = 0; n < pairs.size(); ++n)
        {
            const double x = static_cast<double>(pairs[n].x);
            const double y = static_cast<double>(pairs[n].y);
            const float yy = pairs[n].y * pairs[n].y;
            const double a = std::sqrt(x * x + y * y);
            const double b = std::sqrt(x * x + static_cast<double>(yy));
            EXPECT_TRUE(full[n] == a || std::isnan(a)) << n;
            EXPECT_TRUE(mixed[n] == b || std::isnan(b)) << n;
        }
    }
}

TEST(WideField, ConstantsAreThoseOfTheGenerator)
{
    const int status = std::system("python3 " LML_SOURCE_DIR "/tools/atan_log_coefficients.py --check " LML_SOURCE_DIR
                                   "/lml/field/WideFieldCoefficients.h 2>&1");
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
        GTEST_SKIP() << "no python3 here";
    EXPECT_EQ(status, 0);
}
