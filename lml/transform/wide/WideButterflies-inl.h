// Wide transforms: butterflies of the radices 2, 4, 8 and 16 on complex vectors.

namespace LumoraLib::detail::LML_WIDE_NS
{
LML_INLINE void Radix2(C& a, C& b)
{
    const C t = a - b;
    a = a + b;
    b = t;
}

LML_INLINE void Radix4(C& a, C& b, C& c, C& d)
{
    const C s0 = a + c, d0 = a - c, s1 = b + d, d1 = b - d;
    a = s0 + s1;
    b = SubI(d0, d1);
    c = s0 - s1;
    d = AddI(d0, d1);
}

/// The same for a third input still to be multiplied by -i.
LML_INLINE void Radix4ThirdTurned(C& a, C& b, C& c, C& d)
{
    const C s0 = SubI(a, c), d0 = AddI(a, c), s1 = b + d, d1 = b - d;
    a = s0 + s1;
    b = SubI(d0, d1);
    c = s0 - s1;
    d = AddI(d0, d1);
}

/// Natural order in and out.
LML_INLINE void Radix8(C* x)
{
    Radix4(x[0], x[2], x[4], x[6]);
    Radix4(x[1], x[3], x[5], x[7]);
    const VF h(0.70710678118654752f); // sqrt(1/2)
    const C e0 = x[0], e1 = x[2], e2 = x[4], e3 = x[6];
    const C o0 = x[1], o1 = x[3], o2 = x[5], o3 = x[7];
    const C t1 = {h * (o1.r + o1.i), h * (o1.i - o1.r)}; // o1 exp(-i pi/4)
    const C t3 = {h * (o3.i - o3.r), h * (o3.r + o3.i)}; // o3 exp(-3 i pi/4), imaginary part negated
    x[0] = e0 + o0;
    x[4] = e0 - o0;
    x[1] = e1 + t1;
    x[5] = e1 - t1;
    x[2] = SubI(e2, o2);
    x[6] = AddI(e2, o2);
    x[3] = {e3.r + t3.r, e3.i - t3.i};
    x[7] = {e3.r - t3.r, e3.i + t3.i};
}

/// First half of a radix-16 butterfly: afterwards Radix16Last<k> of x[4 k .. 4 k + 3] gives outputs k, k + 4, k + 8, k
/// + 12.
LML_INLINE void Radix16First(C* x)
{
    // cos and sin of pi/8, and sqrt(1/2)
    const VF c(0.92387953251128674f), s(0.38268343236508977f), h(0.70710678118654752f);
    const VF minusC(-0.92387953251128674f), minusS(-0.38268343236508977f), minusH(-0.70710678118654752f);
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q)
        Radix4(x[q], x[4 + q], x[8 + q], x[12 + q]);
    // x[4 k + q] times exp(-2 pi i q k / 16); the one with q k = 4 is turned inside its butterfly.
    x[5] = Times(x[5], c, minusS);
    x[6] = {h * (x[6].r + x[6].i), h * (x[6].i - x[6].r)};
    x[7] = Times(x[7], s, minusC);
    x[9] = {h * (x[9].r + x[9].i), h * (x[9].i - x[9].r)};
    x[11] = {h * (x[11].i - x[11].r), minusH * (x[11].i + x[11].r)};
    x[13] = Times(x[13], s, minusC);
    x[14] = {h * (x[14].i - x[14].r), minusH * (x[14].i + x[14].r)};
    x[15] = Times(x[15], minusC, s);
}

LML_INLINE void Radix16Last(int k, C* x)
{
    if (k == 2)
        Radix4ThirdTurned(x[0], x[1], x[2], x[3]);
    else
        Radix4(x[0], x[1], x[2], x[3]);
}

/// Natural order in and out.
LML_INLINE void Radix16(C* x)
{
    Radix16First(x);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
        Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
#pragma GCC unroll 4
        for (int q = k + 1; q < 4; ++q)
        {
            const C t = x[4 * k + q];
            x[4 * k + q] = x[4 * q + k];
            x[4 * q + k] = t;
        }
}

template <int R>
LML_INLINE void Radix(C* x)
{
    if constexpr (R == 2)
        Radix2(x[0], x[1]);
    else if constexpr (R == 4)
        Radix4(x[0], x[1], x[2], x[3]);
    else if constexpr (R == 8)
        Radix8(x);
    else if constexpr (R == 16)
        Radix16(x);
}
} // namespace LumoraLib::detail::LML_WIDE_NS
