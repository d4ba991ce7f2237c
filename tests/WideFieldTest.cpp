// The wide element-wise loops against the plain ones, bit by bit: every operation, form, instruction set, thread count
// and tail, special values, and arguments whose results lie next to a rounding boundary of float.
#include "TestTools.h"

using namespace lmltest;
using LumoraLib::detail::Isa;

namespace
{
struct Pair
{
    float x;
    float y;
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
    // clang-format off
    const float values[] = {
        0.0f, 1e-45f, 1e-42f, FromBits(0x007fffffu), FromBits(0x00800000u), 3e-38f, 1e-20f, 0.41421354f, 0.41421357f,
        0.5f, 1.0f, FromBits(0x3f800001u), 2.4142137f, 3.0f, 1e19f, 2e19f, 3.4028235e38f, inf, std::numeric_limits<float>::quiet_NaN()};
    // clang-format on
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

struct Operation
{
    const char* name;
    void (*run)(Open& a, const Lumora& b);
};
// clang-format off
#define OPERATION(name, ...) Operation{name, [](Open& a, [[maybe_unused]] const Lumora& b) { static_cast<void>(__VA_ARGS__); }}
// clang-format on
const Operation kOperations[] = {
    OPERATION("polar and back", a._ConvToPolarForm(), a._ConvToComplexForm()),
    OPERATION("polar", a._ConvToPolarForm()),
    OPERATION("intensity", a.ConvToIntensity()),
    OPERATION("log intensity", a.ConvToLogIntensity()),
    OPERATION("absolute", a.ConvToAbsolute()),
    OPERATION("conjugate", a.ConvToConjugate()),
    OPERATION("negate", -a),
    OPERATION("normalize", a.Normalize(0.7)),
    OPERATION("normalize window", a.SetWindow(a.GetNx() / 3, a.GetNx() - 5, 0, 1).NormalizeWin(1.3)),
    OPERATION("+= field", a += b),
    OPERATION("-= field", a -= b),
    OPERATION("*= field", a *= b),
    OPERATION("/= field", a /= b),
    OPERATION("*= itself", a *= a),
    OPERATION("+= complex", a += ComplexDouble(0.1, -1e30)),
    OPERATION("-= complex", a -= ComplexDouble(0.1, -1e-3)),
    OPERATION("*= complex", a *= ComplexDouble(0.1, -1.7)),
    OPERATION("/= complex", a /= ComplexDouble(1e-3, -0.7)),
    OPERATION("*= double", a *= 0.1),
    OPERATION("/= double", a /= 1e-3),
};

/// Every operation on the pairs, wide on all sets and the given team against plain on one thread.
void ExpectPlainBits(const std::vector<Pair>& pairs, std::initializer_list<int> teams, const char* what)
{
    const Open start = FieldOf(pairs);
    Lumora other(start);
    for (std::size_t n = 0; n < other.N(); ++n)
        other[n] = start.GetDataPointer()[(n * 7 + 3) % other.N()];
    for (const Operation& operation : kOperations)
        for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE})
        {
            Open plain(start);
            plain.Form() = form;
            {
                const Engine engine(FFT_LIB_SPLIT_RADIX);
                const Threads team(1);
                operation.run(plain, other);
            }
            for (const Isa isa : InstructionSets())
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

TEST(WideField, RowsOfEveryTail)
{
    for (const std::size_t n : {1u, 2u, 4u, 8u, 16u, 32u, 64u}) // and their parts
        ExpectPlainBits(Randoms(n, 9), {1, 2, 3, 5, 7}, "short");
}
