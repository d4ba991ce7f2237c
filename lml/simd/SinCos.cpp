// Sine and cosine of the angles that the fast form leaves out.
#include "simd/SinCos.h"

namespace LumoraLib::detail
{

namespace
{

__extension__ typedef unsigned __int128 Word128;

std::uint64_t BitsOf(double x)
{
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}

double FromBits(std::uint64_t bits)
{
    double x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}

/// 2^e for normal results.
double Power(int e)
{
    return FromBits(static_cast<std::uint64_t>(1023 + e) << 52);
}

/// a - b and its rounding error.
double Difference(double a, double b, double& error)
{
    const double s = a - b, bb = s - a;
    error = (a - (s - bb)) - (b + bb);
    return s;
}

/// ax up to kSinCosFar: as the fast form, and through five pieces near a multiple of pi/2.
std::uint64_t ReduceNear(double ax, double& r, double& lo)
{
    using namespace sincosk;
    const double t = ax * kTwoOverPi + kSinCosRound, k = t - kSinCosRound;
    const double r1 = (ax - k * kPiece1) - k * kPiece2;
    const double m = k * kTail2;
    r = r1 - m;
    lo = (r1 - r) - m;
    if ((r < 0 ? -r : r) < ax * kSinCosNear)
    {
        double e3, e4;
        const double r3 = Difference(r1, k * kPiece3, e3), r4 = Difference(r3, k * kPiece4, e4);
        const double rest = (e3 + e4) - k * kTail4;
        r = r4 + rest;
        lo = (r4 - r) + rest;
    }
    return BitsOf(t);
}

/// Any finite ax from 2^29 up: x = m 2^e with a whole m; of 2/pi only the bits count that give less than four quarter
/// turns with m 2^e, and 192 of them leave 2^-137, where no double is closer than 2^-62 to a multiple of pi/2.
std::uint64_t ReduceFar(double ax, double& r, double& lo)
{
    using namespace sincosk;
    const std::uint64_t bits = BitsOf(ax);
    const std::uint64_t m = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
    const int e = static_cast<int>(bits >> 52) - 1075;
    // The bit of weight 2^-(e - 1) comes first; the table starts with weight 2^63.
    const unsigned start = static_cast<unsigned>(e - 1 + 63), word = start / 64, shift = start % 64;
    std::uint64_t p[3];
    for (unsigned i = 0; i < 3; ++i)
        p[i] = shift == 0 ? kTwoOverPiBits[word + i]
                          : (kTwoOverPiBits[word + i] << shift) | (kTwoOverPiBits[word + i + 1] >> (64 - shift));
    // y = m p 2^-190 modulo 4, y[0] the highest word.
    std::uint64_t y[3];
    Word128 sum = static_cast<Word128>(p[2]) * m;
    y[2] = static_cast<std::uint64_t>(sum);
    sum = static_cast<Word128>(p[1]) * m + (sum >> 64);
    y[1] = static_cast<std::uint64_t>(sum);
    y[0] = p[0] * m + static_cast<std::uint64_t>(sum >> 64);
    const std::uint64_t q = (y[0] + (std::uint64_t{1} << 61)) >> 62;
    // The fraction, -1/2 to 1/2, as sign and 190 bits.
    y[0] -= q << 62;
    const bool negative = (y[0] >> 63) != 0;
    if (negative)
    {
        y[2] = ~y[2] + 1;
        y[1] = ~y[1] + (y[2] == 0 ? 1 : 0);
        y[0] = ~y[0] + (y[2] == 0 && y[1] == 0 ? 1 : 0);
    }
    // The highest set bit to the top: the fraction is (y0 y1) 2^-(126 + zeros), 128 bits. The first two bits are clear,
    // and y0 is not zero: the fraction is above 2^-62.
    const int zeros = __builtin_clzll(y[0]);
    y[0] = (y[0] << zeros) | (y[1] >> (64 - zeros));
    y[1] = (y[1] << zeros) | (y[2] >> (64 - zeros));
    // Times pi/2, the upper 128 bits of the product.
    Word128 product = static_cast<Word128>(y[0]) * kHalfPiHigh;
    product += (static_cast<Word128>(y[0]) * kHalfPiLow) >> 64;
    product += (static_cast<Word128>(y[1]) * kHalfPiHigh) >> 64;
    // Scale: fraction 2^-(126 + zeros), pi/2 2^-127, 128 bits dropped.
    const int scale = -(125 + zeros);
    const std::uint64_t high = static_cast<std::uint64_t>(product >> 75);
    const std::uint64_t low = static_cast<std::uint64_t>(product >> 11);
    // high and the upper 53 bits of low are whole numbers that a double holds: no rounding so far.
    double h = static_cast<double>(high) * Power(75 + scale);
    double l = static_cast<double>(low >> 11) * Power(22 + scale);
    r = h + l;
    l = (h - r) + l;
    h = r;
    r = negative ? -h : h;
    lo = negative ? -l : l;
    return q;
}

} // namespace

void SinCosSlow(double x, double& s, double& c) noexcept
{
    const std::uint64_t sign = BitsOf(x) & (std::uint64_t{1} << 63);
    const double ax = FromBits(BitsOf(x) ^ sign);
    if (!(ax <= 0x1.fffffffffffffp1023))
    {
        s = c = x - x;
        return;
    }
    double r, lo;
    const std::uint64_t q = ax > kSinCosFar ? ReduceFar(ax, r, lo) : ReduceNear(ax, r, lo);
    SinCosQuadrant(r, lo, q, sign, s, c);
}

} // namespace LumoraLib::detail
