// Sine and cosine of a vector of doubles, for use inside wide rooms:
//
//   Room.cpp   #include "simd/SinCos.h"          before WideForEach.h
//   Room.inl   #include "simd/SinCosBody-inl.h"    before the room opens its namespace
//
//   SinCosV(x, s, c)          any DoubleN<N> of the region
//   SinCosGroup<U>(x, s, c)   arrays of U vectors, interleaved: faster, since one vector alone waits for itself. Two
//                             are best at every width; keep square roots and divisions out of the same loop, or a
//                             step ahead of it, for they fill the scheduler with what waits for them.
//
// Each lane has the bits of SinCos1, whatever the other lanes hold.
//
// Accuracy, range and the reasons are told in SinCos.h; SinCos1 there repeats the operations one by one.
#if (LML_WIDE_LEVEL == 0 && !defined(LML_SINCOS_SSE2)) || (LML_WIDE_LEVEL == 1 && !defined(LML_SINCOS_AVX2)) ||        \
    (LML_WIDE_LEVEL == 2 && !defined(LML_SINCOS_AVX512))
#if LML_WIDE_LEVEL == 0
#define LML_SINCOS_SSE2
#elif LML_WIDE_LEVEL == 1
#define LML_SINCOS_AVX2
#else
#define LML_SINCOS_AVX512
#endif

namespace LumoraLib::detail::LML_WIDE_NS
{

/// Lanes whose lowest bit is set.
#if LML_WIDE_LEVEL == 0
LML_INLINE DoubleN<2>::Mask OddLanes(Int64N<2> q)
{
    return {FromBits(Int64N<2>::Zero() - (q & Int64N<2>(1))).v};
}
#else
// Below 512 bits Select asks for the sign bit only.
LML_INLINE DoubleN<2>::Mask OddLanes(Int64N<2> q)
{
    return {FromBits(q.ShiftLeft<63>()).v};
}
LML_INLINE DoubleN<4>::Mask OddLanes(Int64N<4> q)
{
    return {FromBits(q.ShiftLeft<63>()).v};
}
#endif
#if LML_WIDE_LEVEL == 2
LML_INLINE DoubleN<8>::Mask OddLanes(Int64N<8> q)
{
    return {_mm512_test_epi64_mask(q.v, _mm512_set1_epi64(1))};
}
#endif

/// SinCosQuadrant of SinCos.h.
template <int N>
LML_INLINE void SinCosQuadrantV(DoubleN<N> r, DoubleN<N> lo, Int64N<N> q, Int64N<N> sign, DoubleN<N>& s, DoubleN<N>& c)
{
    using namespace sincosk;
    using D = DoubleN<N>;
    using L = Int64N<N>;
    const D z = r * r, w = z * z;
    D ps = (D(kS6) * z + D(kS5)) * w + (D(kS4) * z + D(kS3));
    ps = ps * w + (D(kS2) * z + D(kS1));
    const D hz = D(0.5) * z, om = D(1.0) - hz;
    const D sn = r + ((r * z) * ps + lo * om);
    D pc = (D(kC6) * z + D(kC5)) * w + (D(kC4) * z + D(kC3));
    pc = pc * w + (D(kC2) * z + D(kC1));
    const D cs = om + ((w * pc - r * lo) + ((D(1.0) - om) - hz));
    const auto odd = OddLanes(q);
    const L top(INT64_MIN);
    s = FromBits(BitsOf(Select(odd, cs, sn)) ^ (q.template ShiftLeft<62>() & top) ^ sign);
    c = FromBits(BitsOf(Select(odd, sn, cs)) ^ ((q + L(1)).template ShiftLeft<62>() & top));
}

/// a - b and its rounding error.
template <int N>
LML_INLINE DoubleN<N> DifferenceV(DoubleN<N> a, DoubleN<N> b, DoubleN<N>& error)
{
    const DoubleN<N> s = a - b, bb = s - a;
    error = (a - (s - bb)) - (b + bb);
    return s;
}

/// One vector with nothing left out: called when a lane lies near a multiple of pi/2 or beyond kSinCosFar.
template <int N>
LML_NOINLINE void SinCosSlowV(const double* from, double* sines, double* cosines)
{
    using namespace sincosk;
    using D = DoubleN<N>;
    const D x = D::LoadU(from), ax = Abs(x);
    const D t = ax * D(kTwoOverPi) + D(kSinCosRound), k = t - D(kSinCosRound);
    const D a = ax - k * D(kPiece1), b = k * D(kPiece2);
    const D r1 = a - b, e = (a - r1) - b;
    const D m = k * D(kTail2);
    D r = r1 - m, lo = ((r1 - r) - m) + e;
    const auto near = Abs(r) < ax * D(kSinCosNear);
    D e3, e4;
    const D r3 = DifferenceV(r1, k * D(kPiece3), e3), r4 = DifferenceV(r3, k * D(kPiece4), e4);
    const D rest = (e3 + e4) - k * D(kTail4);
    const D rNear = r4 + rest;
    lo = Select(near, (r4 - rNear) + rest, lo);
    r = Select(near, rNear, r);
    D s, c;
    SinCosQuadrantV(r, lo, BitsOf(t), BitsOf(x ^ ax), s, c);
    s.StoreU(sines);
    c.StoreU(cosines);
    const unsigned far = Bits(ax > D(kSinCosFar));
    for (int i = 0; i < N; ++i)
        if ((far >> i & 1u) != 0)
            SinCosSlow(from[i], sines[i], cosines[i]);
}

/// Sine and cosine of every lane of U vectors.
template <int U, int N>
LML_INLINE void SinCosGroup(const DoubleN<N>* x, DoubleN<N>* s, DoubleN<N>* c)
{
    using namespace sincosk;
    using D = DoubleN<N>;
    using L = Int64N<N>;
    D ax[U], t[U], k[U], a[U], b[U], m[U], r1[U], e[U], r[U], lo[U], z[U], w[U], hz[U], om[U], ps[U], pc[U], next[U];
    typename D::Mask slow[U];
// One operation on all vectors before the next operation: the order that the processor is given.
#define LML_EACH _Pragma("GCC unroll 8") for (int u = 0; u < U; ++u)
    LML_EACH ax[u] = Abs(x[u]);
    LML_EACH t[u] = ax[u] * D(kTwoOverPi) + D(kSinCosRound);
    LML_EACH k[u] = t[u] - D(kSinCosRound);
    LML_EACH a[u] = ax[u] - k[u] * D(kPiece1);
    LML_EACH b[u] = k[u] * D(kPiece2);
    LML_EACH m[u] = k[u] * D(kTail2);
    LML_EACH r1[u] = a[u] - b[u];
    LML_EACH e[u] = (a[u] - r1[u]) - b[u];
    LML_EACH r[u] = r1[u] - m[u];
    LML_EACH slow[u] = (ax[u] > D(kSinCosFar)) | (Abs(r[u]) < ax[u] * D(kSinCosNear));
    LML_EACH lo[u] = ((r1[u] - r[u]) - m[u]) + e[u];
    LML_EACH slow[0] = slow[0] | slow[u];
    if (__builtin_expect(Any(slow[0]), 0))
    {
        LML_EACH
        {
            double from[N], sines[N], cosines[N];
            x[u].StoreU(from);
            SinCosSlowV<N>(from, sines, cosines);
            s[u] = D::LoadU(sines);
            c[u] = D::LoadU(cosines);
        }
        return;
    }
    // SinCosQuadrantV, interleaved.
    LML_EACH z[u] = r[u] * r[u];
    LML_EACH w[u] = z[u] * z[u];
    LML_EACH ps[u] = D(kS6) * z[u] + D(kS5);
    LML_EACH next[u] = D(kS4) * z[u] + D(kS3);
    LML_EACH ps[u] = ps[u] * w[u] + next[u];
    LML_EACH next[u] = D(kS2) * z[u] + D(kS1);
    LML_EACH pc[u] = D(kC6) * z[u] + D(kC5);
    LML_EACH ps[u] = ps[u] * w[u] + next[u];
    LML_EACH next[u] = D(kC4) * z[u] + D(kC3);
    LML_EACH pc[u] = pc[u] * w[u] + next[u];
    LML_EACH next[u] = D(kC2) * z[u] + D(kC1);
    LML_EACH hz[u] = D(0.5) * z[u];
    LML_EACH om[u] = D(1.0) - hz[u];
    LML_EACH pc[u] = pc[u] * w[u] + next[u];
    LML_EACH ps[u] = r[u] + ((r[u] * z[u]) * ps[u] + lo[u] * om[u]);
    LML_EACH pc[u] = om[u] + ((w[u] * pc[u] - r[u] * lo[u]) + ((D(1.0) - om[u]) - hz[u]));
    LML_EACH
    {
        const L q = BitsOf(t[u]), top(INT64_MIN);
        const auto odd = OddLanes(q);
        s[u] = FromBits(BitsOf(Select(odd, pc[u], ps[u])) ^ (q.template ShiftLeft<62>() & top) ^ BitsOf(x[u] ^ ax[u]));
        c[u] = FromBits(BitsOf(Select(odd, ps[u], pc[u])) ^ ((q + L(1)).template ShiftLeft<62>() & top));
    }
#undef LML_EACH
}

/// Sine and cosine of every lane.
template <int N>
LML_INLINE void SinCosV(DoubleN<N> x, DoubleN<N>& s, DoubleN<N>& c)
{
    SinCosGroup<1, N>(&x, &s, &c);
}

} // namespace LumoraLib::detail::LML_WIDE_NS
#endif
