// The library's sine and cosine in double: scalar form, and what the wide form (SinCosBody-inl.h) shares with it.
//
// Error below 0.9 units in the last place for every finite argument (the sum of its roundings; 0.82 seen); cosine even,
// sine odd, sin(-0) = -0; infinities and NaN give NaN. Built of single IEEE operations without FMA, so that the scalar
// form, every lane of every width and every processor give the same bits. SinCosBody-inl.h repeats SinCos1 and
// SinCosSlow operation by operation: change both or none.
//
// |x| <= kSinCosFar takes the reduction with pi/2 in pieces. The fast form is good unless the angle lies so close to a
// multiple of pi/2 that the error of the third piece shows (|r| < kSinCosNear |x|); these angles go through five
// pieces. Beyond kSinCosFar the angle is reduced in whole numbers with as many bits of 2/pi as it takes.
#ifndef LML_SINCOS_H
#define LML_SINCOS_H

#include "LmlApi.h"
#include "simd/SinCosCoefficients.h"

#include <cstdint>
#include <cstring>

namespace LumoraLib::detail
{

/// Quotients of pi/2 up to here stay below 2^29, so that their products with the 24-bit pieces are exact.
constexpr double kSinCosFar = 0x1.8p29;

/// Below this share of |x| the fast reduction is not used. Its error is at most 2^-101 |x| (rounding of the tail and of
/// its product), hence 2^-59 of the reduced angle above the limit.
constexpr double kSinCosNear = 0x1p-42;

/// 1.5 * 2^52: adding it rounds to a whole number, which then stands in the low bits of the sum.
constexpr double kSinCosRound = 0x1.8p52;

/// Angles that the fast form leaves out: near a multiple of pi/2, beyond kSinCosFar, not finite. Any other angle too.
void SinCosSlow(double x, double& s, double& c) noexcept;

/// Sine and cosine of q pi/2 + r + lo for |r| <= pi/4 and |lo| below a unit in the last place of r; the sign bit of
/// `sign` turns the sine's sign.
inline void SinCosQuadrant(double r, double lo, std::uint64_t q, std::uint64_t sign, double& s, double& c) noexcept
{
    using namespace sincosk;
    const double z = r * r, w = z * z;
    double ps = (kS6 * z + kS5) * w + (kS4 * z + kS3);
    ps = ps * w + (kS2 * z + kS1);
    double pc = (kC6 * z + kC5) * w + (kC4 * z + kC3);
    pc = pc * w + (kC2 * z + kC1);
    // 1 - z/2 as 3/4 and the rest, which is small enough where z is large for its rounding not to count.
    const double cs = 0.75 + ((w * pc - r * lo) + (0.25 - 0.5 * z));
    // lo times the slope.
    const double sn = r + ((r * z) * ps + lo * cs);
    double a = (q & 1) != 0 ? cs : sn, b = (q & 1) != 0 ? sn : cs;
    std::uint64_t bits;
    std::memcpy(&bits, &a, sizeof bits);
    bits ^= ((q & 2) << 62) ^ sign;
    std::memcpy(&s, &bits, sizeof bits);
    std::memcpy(&bits, &b, sizeof bits);
    bits ^= ((q + 1) & 2) << 62;
    std::memcpy(&c, &bits, sizeof bits);
}

/// Sine and cosine of x, the same bits as any lane of the wide form. For plain code only; wide rooms use SinCosV.
inline void SinCos1(double x, double& s, double& c) noexcept
{
    using namespace sincosk;
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    const std::uint64_t sign = bits & (std::uint64_t{1} << 63);
    bits ^= sign;
    double ax;
    std::memcpy(&ax, &bits, sizeof bits);
    const double t = ax * kTwoOverPi + kSinCosRound, k = t - kSinCosRound;
    std::uint64_t q;
    std::memcpy(&q, &t, sizeof q);
    // k times a piece is exact, and so is r1: below 1, and a multiple of 2^-53 as all that it is made of.
    const double r1 = (ax - k * kPiece1) - k * kPiece2;
    const double m = k * kTail2, r = r1 - m, lo = (r1 - r) - m;
    if (ax > kSinCosFar || (r < 0 ? -r : r) < ax * kSinCosNear)
    {
        SinCosSlow(x, s, c);
        return;
    }
    SinCosQuadrant(r, lo, q, sign, s, c);
}

} // namespace LumoraLib::detail

#endif
