// Sine and cosine of a vector of doubles, for use inside wide rooms:
//
//   Room.cpp   #include "simd/SinCos.h"          before WideForEach.h
//   Room.inl   #include "simd/SinCosBody-inl.h"    before the room opens its namespace
//
//   SinCosV(x, s, c)          any DoubleN<N> of the region
//   SinCosGroup<U>(x, s, c)   arrays of U vectors, interleaved: faster, since one vector alone waits for itself.
//                             kSinCosGroup are best at every width; keep square roots and divisions out of the same
//                             loop, or a step ahead of it, for they fill the scheduler with what waits for them.
//
// A loop that knows a bound of its phases may put SinCosGroup together from its parts, SinCosReduce, SinCosRest and
// SinCosTurn, with a test of its own for what SinCosSlowGroup has to do.
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

/// Vectors that SinCosGroup is best given, also where sixteen registers do not hold them.
static constexpr int kSinCosGroup = 4;

// One operation on all vectors before the next operation: the order that the processor is given.
#define LML_EACH _Pragma("GCC unroll 8") for (int u = 0; u < U; ++u)

/// The fast reduction: x, of either sign, is q pi/2 + r + lo, q in the low bits of t.
template <int U, int N>
LML_INLINE void SinCosReduce(const DoubleN<N>* x, DoubleN<N>* t, DoubleN<N>* r, DoubleN<N>* lo)
{
    using namespace sincosk;
    using D = DoubleN<N>;
    D k[U], a[U], m[U], r1[U];
    LML_EACH t[u] = x[u] * D(kTwoOverPi) + D(kSinCosRound);
    LML_EACH k[u] = t[u] - D(kSinCosRound);
    LML_EACH a[u] = x[u] - k[u] * D(kPiece1);
    LML_EACH r1[u] = a[u] - k[u] * D(kPiece2);
    LML_EACH m[u] = k[u] * D(kTail2);
    LML_EACH r[u] = r1[u] - m[u];
    LML_EACH lo[u] = (r1[u] - r[u]) - m[u];
}

/// Sine and cosine of r + lo, z = r r.
template <int U, int N>
LML_INLINE void SinCosRest(const DoubleN<N>* r, const DoubleN<N>* lo, const DoubleN<N>* z, DoubleN<N>* s, DoubleN<N>* c)
{
    using namespace sincosk;
    using D = DoubleN<N>;
    D w[U], ps[U], pc[U], next[U], quarter[U];
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
    LML_EACH quarter[u] = D(0.25) - D(0.5) * z[u];
    LML_EACH pc[u] = pc[u] * w[u] + next[u];
    LML_EACH c[u] = D(0.75) + ((w[u] * pc[u] - r[u] * lo[u]) + quarter[u]);
    LML_EACH s[u] = r[u] + ((r[u] * z[u]) * ps[u] + lo[u] * c[u]);
}

/// Turns (c, s) by the quarter turns in the low bits of t.
template <int N>
LML_INLINE void SinCosTurn(DoubleN<N> t, DoubleN<N>& s, DoubleN<N>& c)
{
    using L = Int64N<N>;
    const L q = BitsOf(t), top(INT64_MIN);
    const auto odd = OddLanes(q);
    const DoubleN<N> a = Select(odd, c, s), b = Select(odd, s, c);
    s = FromBits(BitsOf(a) ^ (q.template ShiftLeft<62>() & top));
    c = FromBits(BitsOf(b) ^ ((q + L(1)).template ShiftLeft<62>() & top));
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
    D t, r, lo;
    SinCosReduce<1>(&ax, &t, &r, &lo);
    const auto near = Abs(r) < ax * D(kSinCosNear);
    D e3, e4;
    const D k = t - D(kSinCosRound), r1 = (ax - k * D(kPiece1)) - k * D(kPiece2);
    const D r3 = DifferenceV(r1, k * D(kPiece3), e3), r4 = DifferenceV(r3, k * D(kPiece4), e4);
    const D rest = (e3 + e4) - k * D(kTail4);
    const D rNear = r4 + rest;
    lo = Select(near, (r4 - rNear) + rest, lo);
    r = Select(near, rNear, r);
    D s, c;
    const D z = r * r;
    SinCosRest<1>(&r, &lo, &z, &s, &c);
    SinCosTurn(t, s, c);
    s = s ^ (x ^ ax);
    s.StoreU(sines);
    c.StoreU(cosines);
    const unsigned far = Bits(ax > D(kSinCosFar));
    for (int i = 0; i < N; ++i)
        if ((far >> i & 1u) != 0)
            SinCosSlow(from[i], sines[i], cosines[i]);
}

/// Every lane of U vectors with nothing left out.
template <int U, int N>
LML_INLINE void SinCosSlowGroup(const DoubleN<N>* x, DoubleN<N>* s, DoubleN<N>* c)
{
    LML_EACH
    {
        double from[N], sines[N], cosines[N];
        x[u].StoreU(from);
        SinCosSlowV<N>(from, sines, cosines);
        s[u] = DoubleN<N>::LoadU(sines);
        c[u] = DoubleN<N>::LoadU(cosines);
    }
}

/// Sine and cosine of every lane of U vectors.
template <int U, int N>
LML_INLINE void SinCosGroup(const DoubleN<N>* x, DoubleN<N>* s, DoubleN<N>* c)
{
    using D = DoubleN<N>;
    D ax[U], t[U], r[U], lo[U], z[U];
    LML_EACH ax[u] = Abs(x[u]);
    SinCosReduce<U>(ax, t, r, lo);
    typename D::Mask slow[U];
    LML_EACH slow[u] = (ax[u] > D(kSinCosFar)) | (Abs(r[u]) < ax[u] * D(kSinCosNear));
    LML_EACH slow[0] = slow[0] | slow[u];
    if (__builtin_expect(Any(slow[0]), 0))
        return SinCosSlowGroup<U>(x, s, c);
    LML_EACH z[u] = r[u] * r[u];
    SinCosRest<U>(r, lo, z, s, c);
    LML_EACH SinCosTurn(t[u], s[u], c[u]);
    LML_EACH s[u] = s[u] ^ (x[u] ^ ax[u]);
}

/// Sine and cosine of every lane.
template <int N>
LML_INLINE void SinCosV(DoubleN<N> x, DoubleN<N>& s, DoubleN<N>& c)
{
    SinCosGroup<1, N>(&x, &s, &c);
}
#undef LML_EACH

} // namespace LumoraLib::detail::LML_WIDE_NS
#endif
