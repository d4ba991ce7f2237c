// Thin lane wrappers for one instruction set. Included by WideForEach.h only, once per target region.
//
// Widest types of the region (SSE2 / AVX2 / AVX-512):
//   VF  float   4 / 8 / 16 lanes
//   VD  double  2 / 4 / 8 lanes      VL  int64 with the lanes of VD     VH  int32 with the lanes of VD
// Narrower ones by FloatN<N>, DoubleN<N>, Int32N<N>, Int64N<N>. Each has lanes, Load (aligned), LoadU, Store, StoreU,
// a broadcasting constructor and the operators; comparisons give a Mask for Select(mask, ifTrue, ifFalse).
// Everything is one IEEE operation per lane: no FMA, no reciprocal estimates. Where an instruction is missing in a
// narrower set it is composed so that the bits are the same.
#if (LML_WIDE_LEVEL == 0 && !defined(LML_SIMD_SSE2)) || (LML_WIDE_LEVEL == 1 && !defined(LML_SIMD_AVX2)) ||            \
    (LML_WIDE_LEVEL == 2 && !defined(LML_SIMD_AVX512))
#if LML_WIDE_LEVEL == 0
#define LML_SIMD_SSE2
#elif LML_WIDE_LEVEL == 1
#define LML_SIMD_AVX2
#else
#define LML_SIMD_AVX512
#endif

namespace LumoraLib::detail::LML_WIDE_NS
{

template <int N>
struct FloatN;
template <int N>
struct DoubleN;
template <int N>
struct Int32N;
template <int N>
struct Int64N;

#if LML_WIDE_LEVEL == 0
static constexpr int kLanesF = 4;
#elif LML_WIDE_LEVEL == 1
static constexpr int kLanesF = 8;
#else
static constexpr int kLanesF = 16;
#endif
static constexpr int kLanesD = kLanesF / 2;
using VF = FloatN<kLanesF>;
using VD = DoubleN<kLanesD>;
using VL = Int64N<kLanesD>;
using VH = Int32N<kLanesD>;

// ---------------------------------------------------------------------------------------------- common part, by macro
// Mask: comparisons give all-ones lanes below 512 bits, predicate registers at 512.

#define LML_SIMD_REAL(TYPE, N, ELEM, REG, P, S)                                                                        \
    using Reg = REG;                                                                                                   \
    using Element = ELEM;                                                                                              \
    static constexpr int lanes = N;                                                                                    \
    REG v;                                                                                                             \
    LML_LANEWISE TYPE() = default;                                                                                     \
    LML_LANEWISE explicit TYPE(REG r) : v(r) {}                                                                        \
    LML_LANEWISE explicit TYPE(ELEM x) : v(P##_set1_##S(x)) {}                                                         \
    LML_LANEWISE static TYPE Load(const ELEM* p)                                                                       \
    {                                                                                                                  \
        return TYPE(P##_load_##S(p));                                                                                  \
    }                                                                                                                  \
    LML_LANEWISE static TYPE LoadU(const ELEM* p)                                                                      \
    {                                                                                                                  \
        return TYPE(P##_loadu_##S(p));                                                                                 \
    }                                                                                                                  \
    LML_LANEWISE static TYPE Zero()                                                                                    \
    {                                                                                                                  \
        return TYPE(P##_setzero_##S());                                                                                \
    }                                                                                                                  \
    LML_LANEWISE void Store(ELEM* p) const                                                                             \
    {                                                                                                                  \
        P##_store_##S(p, v);                                                                                           \
    }                                                                                                                  \
    LML_LANEWISE void StoreU(ELEM* p) const                                                                            \
    {                                                                                                                  \
        P##_storeu_##S(p, v);                                                                                          \
    }                                                                                                                  \
    /** Past the caches; p aligned to the register, and an _mm_sfence before others may read. */                       \
    LML_LANEWISE void Stream(ELEM* p) const                                                                            \
    {                                                                                                                  \
        P##_stream_##S(p, v);                                                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator+(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_add_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator-(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_sub_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator*(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_mul_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator/(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_div_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Sqrt(TYPE a)                                                                              \
    {                                                                                                                  \
        return TYPE(P##_sqrt_##S(a.v));                                                                                \
    }                                                                                                                  \
    /** The instruction's rule: the second operand where either is not a number. */                                    \
    LML_LANEWISE friend TYPE Min(TYPE a, TYPE b)                                                                       \
    {                                                                                                                  \
        return TYPE(P##_min_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Max(TYPE a, TYPE b)                                                                       \
    {                                                                                                                  \
        return TYPE(P##_max_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    /** Bitwise on the stored form. */                                                                                 \
    LML_LANEWISE friend TYPE operator&(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_and_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator|(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_or_##S(a.v, b.v));                                                                             \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator^(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_xor_##S(a.v, b.v));                                                                            \
    }                                                                                                                  \
    /** ~a & b */                                                                                                      \
    LML_LANEWISE friend TYPE AndNot(TYPE a, TYPE b)                                                                    \
    {                                                                                                                  \
        return TYPE(P##_andnot_##S(a.v, b.v));                                                                         \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Abs(TYPE a)                                                                               \
    {                                                                                                                  \
        return AndNot(TYPE(ELEM(-0.0)), a);                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator-(TYPE a)                                                                         \
    {                                                                                                                  \
        return a ^ TYPE(ELEM(-0.0));                                                                                   \
    }

// Ordered, quiet comparisons: false where either operand is not a number, Ne true.
#define LML_SIMD_CMP_SSE(TYPE, P, S)                                                                                   \
    struct Mask                                                                                                        \
    {                                                                                                                  \
        Reg m;                                                                                                         \
        LML_LANEWISE friend Mask operator&(Mask a, Mask b) { return {P##_and_##S(a.m, b.m)}; }                         \
        LML_LANEWISE friend Mask operator|(Mask a, Mask b) { return {P##_or_##S(a.m, b.m)}; }                          \
        LML_LANEWISE friend bool Any(Mask a) { return P##_movemask_##S(a.m) != 0; }                                    \
        LML_LANEWISE friend bool All(Mask a) { return P##_movemask_##S(a.m) == (1 << lanes) - 1; }                     \
        LML_LANEWISE friend unsigned Bits(Mask a) { return unsigned(P##_movemask_##S(a.m)); }                          \
    };                                                                                                                 \
    LML_LANEWISE friend Mask operator<(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {P##_cmplt_##S(a.v, b.v)};                                                                              \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator<=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmple_##S(a.v, b.v)};                                                                              \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {P##_cmplt_##S(b.v, a.v)};                                                                              \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmple_##S(b.v, a.v)};                                                                              \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator==(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmpeq_##S(a.v, b.v)};                                                                              \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator!=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmpneq_##S(a.v, b.v)};                                                                             \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Select(Mask c, TYPE a, TYPE b)                                                            \
    {                                                                                                                  \
        return TYPE(P##_or_##S(P##_and_##S(c.m, a.v), P##_andnot_##S(c.m, b.v)));                                      \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE ZeroUnless(Mask c, TYPE a)                                                                \
    {                                                                                                                  \
        return TYPE(P##_and_##S(c.m, a.v));                                                                            \
    }

#define LML_SIMD_CMP_AVX(TYPE, P, S)                                                                                   \
    struct Mask                                                                                                        \
    {                                                                                                                  \
        Reg m;                                                                                                         \
        LML_LANEWISE friend Mask operator&(Mask a, Mask b) { return {P##_and_##S(a.m, b.m)}; }                         \
        LML_LANEWISE friend Mask operator|(Mask a, Mask b) { return {P##_or_##S(a.m, b.m)}; }                          \
        LML_LANEWISE friend bool Any(Mask a) { return P##_movemask_##S(a.m) != 0; }                                    \
        LML_LANEWISE friend bool All(Mask a) { return P##_movemask_##S(a.m) == (1 << lanes) - 1; }                     \
        LML_LANEWISE friend unsigned Bits(Mask a) { return unsigned(P##_movemask_##S(a.m)); }                          \
    };                                                                                                                 \
    LML_LANEWISE friend Mask operator<(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_LT_OQ)};                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator<=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_LE_OQ)};                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_GT_OQ)};                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_GE_OQ)};                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator==(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_EQ_OQ)};                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator!=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {P##_cmp_##S(a.v, b.v, _CMP_NEQ_UQ)};                                                                   \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Select(Mask c, TYPE a, TYPE b)                                                            \
    {                                                                                                                  \
        return TYPE(P##_blendv_##S(b.v, a.v, c.m));                                                                    \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE ZeroUnless(Mask c, TYPE a)                                                                \
    {                                                                                                                  \
        return TYPE(P##_and_##S(c.m, a.v));                                                                            \
    }

#define LML_SIMD_CMP_512(TYPE, S, KREG)                                                                                \
    struct Mask                                                                                                        \
    {                                                                                                                  \
        KREG m;                                                                                                        \
        LML_LANEWISE friend Mask operator&(Mask a, Mask b) { return {KREG(a.m & b.m)}; }                               \
        LML_LANEWISE friend Mask operator|(Mask a, Mask b) { return {KREG(a.m | b.m)}; }                               \
        LML_LANEWISE friend bool Any(Mask a) { return a.m != 0; }                                                      \
        LML_LANEWISE friend bool All(Mask a) { return a.m == KREG(-1); }                                               \
        LML_LANEWISE friend unsigned Bits(Mask a) { return a.m; }                                                      \
    };                                                                                                                 \
    LML_LANEWISE friend Mask operator<(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_LT_OQ)};                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator<=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_LE_OQ)};                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_GT_OQ)};                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator>=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_GE_OQ)};                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator==(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_EQ_OQ)};                                                          \
    }                                                                                                                  \
    LML_LANEWISE friend Mask operator!=(TYPE a, TYPE b)                                                                \
    {                                                                                                                  \
        return {_mm512_cmp_##S##_mask(a.v, b.v, _CMP_NEQ_UQ)};                                                         \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE Select(Mask c, TYPE a, TYPE b)                                                            \
    {                                                                                                                  \
        return TYPE(_mm512_mask_blend_##S(c.m, b.v, a.v));                                                             \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE ZeroUnless(Mask c, TYPE a)                                                                \
    {                                                                                                                  \
        return TYPE(_mm512_maskz_mov_##S(c.m, a.v));                                                                   \
    }

// Integers wrap. W is the element width in the intrinsics' names, SI the suffix of bitwise operations.
#define LML_SIMD_INT(TYPE, N, ELEM, REG, P, W, SI)                                                                     \
    using Reg = REG;                                                                                                   \
    using Element = ELEM;                                                                                              \
    static constexpr int lanes = N;                                                                                    \
    REG v;                                                                                                             \
    LML_LANEWISE TYPE() = default;                                                                                     \
    LML_LANEWISE explicit TYPE(REG r) : v(r) {}                                                                        \
    LML_LANEWISE static TYPE Load(const ELEM* p)                                                                       \
    {                                                                                                                  \
        return TYPE(P##_load_##SI(reinterpret_cast<const REG*>(p)));                                                   \
    }                                                                                                                  \
    LML_LANEWISE static TYPE LoadU(const ELEM* p)                                                                      \
    {                                                                                                                  \
        return TYPE(P##_loadu_##SI(reinterpret_cast<const REG*>(p)));                                                  \
    }                                                                                                                  \
    LML_LANEWISE static TYPE Zero()                                                                                    \
    {                                                                                                                  \
        return TYPE(P##_setzero_##SI());                                                                               \
    }                                                                                                                  \
    LML_LANEWISE void Store(ELEM* p) const                                                                             \
    {                                                                                                                  \
        P##_store_##SI(reinterpret_cast<REG*>(p), v);                                                                  \
    }                                                                                                                  \
    LML_LANEWISE void StoreU(ELEM* p) const                                                                            \
    {                                                                                                                  \
        P##_storeu_##SI(reinterpret_cast<REG*>(p), v);                                                                 \
    }                                                                                                                  \
    LML_SIMD_INT_OPS(TYPE, P, W, SI)

#define LML_SIMD_INT_OPS(TYPE, P, W, SI)                                                                               \
    LML_LANEWISE friend TYPE operator+(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_add_epi##W(a.v, b.v));                                                                         \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator-(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_sub_epi##W(a.v, b.v));                                                                         \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator&(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_and_##SI(a.v, b.v));                                                                           \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator|(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_or_##SI(a.v, b.v));                                                                            \
    }                                                                                                                  \
    LML_LANEWISE friend TYPE operator^(TYPE a, TYPE b)                                                                 \
    {                                                                                                                  \
        return TYPE(P##_xor_##SI(a.v, b.v));                                                                           \
    }                                                                                                                  \
    /** ~a & b */                                                                                                      \
    LML_LANEWISE friend TYPE AndNot(TYPE a, TYPE b)                                                                    \
    {                                                                                                                  \
        return TYPE(P##_andnot_##SI(a.v, b.v));                                                                        \
    }                                                                                                                  \
    template <int C>                                                                                                   \
    LML_LANEWISE TYPE ShiftLeft() const                                                                                \
    {                                                                                                                  \
        return TYPE(P##_slli_epi##W(v, C));                                                                            \
    }                                                                                                                  \
    /** Zeros come in. */                                                                                              \
    template <int C>                                                                                                   \
    LML_LANEWISE TYPE ShiftRight() const                                                                               \
    {                                                                                                                  \
        return TYPE(P##_srli_epi##W(v, C));                                                                            \
    }

// ------------------------------------------------------------------------------------------------------------ 128 bits

template <>
struct FloatN<4>
{
    LML_SIMD_REAL(FloatN, 4, float, __m128, _mm, ps)
#if LML_WIDE_LEVEL == 0
    LML_SIMD_CMP_SSE(FloatN, _mm, ps)
#else
    LML_SIMD_CMP_AVX(FloatN, _mm, ps)
#endif
};

template <>
struct DoubleN<2>
{
    LML_SIMD_REAL(DoubleN, 2, double, __m128d, _mm, pd)
#if LML_WIDE_LEVEL == 0
    LML_SIMD_CMP_SSE(DoubleN, _mm, pd)
#else
    LML_SIMD_CMP_AVX(DoubleN, _mm, pd)
#endif
};

template <>
struct Int32N<4>
{
    LML_SIMD_INT(Int32N, 4, std::int32_t, __m128i, _mm, 32, si128)
    LML_LANEWISE explicit Int32N(std::int32_t x) : v(_mm_set1_epi32(x)) {}
    /// The sign comes in.
    template <int C>
    LML_LANEWISE Int32N ShiftRightSigned() const
    {
        return Int32N(_mm_srai_epi32(v, C));
    }
    /// Low 32 bits of the product.
    LML_LANEWISE friend Int32N operator*(Int32N a, Int32N b)
    {
#if LML_WIDE_LEVEL == 0
        const __m128i even = _mm_mul_epu32(a.v, b.v);
        const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a.v, 32), _mm_srli_epi64(b.v, 32));
        return Int32N(_mm_unpacklo_epi32(_mm_shuffle_epi32(even, 0x08), _mm_shuffle_epi32(odd, 0x08)));
#else
        return Int32N(_mm_mullo_epi32(a.v, b.v));
#endif
    }
    /// 0, 1, 2, ...
    LML_LANEWISE static Int32N Iota()
    {
        return Int32N(_mm_setr_epi32(0, 1, 2, 3));
    }
};

/// Two int32 in the low half of a register: the indices that go with DoubleN<2>.
template <>
struct Int32N<2>
{
    using Reg = __m128i;
    using Element = std::int32_t;
    static constexpr int lanes = 2;
    __m128i v;
    LML_LANEWISE Int32N() = default;
    LML_LANEWISE explicit Int32N(__m128i r) : v(r) {}
    LML_LANEWISE explicit Int32N(std::int32_t x) : v(_mm_set1_epi32(x)) {}
    LML_LANEWISE static Int32N LoadU(const std::int32_t* p)
    {
        return Int32N(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    }
    LML_LANEWISE void StoreU(std::int32_t* p) const { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
    LML_SIMD_INT_OPS(Int32N, _mm, 32, si128)
    template <int C>
    LML_LANEWISE Int32N ShiftRightSigned() const
    {
        return Int32N(_mm_srai_epi32(v, C));
    }
    LML_LANEWISE friend Int32N operator*(Int32N a, Int32N b) { return Int32N((Int32N<4>(a.v) * Int32N<4>(b.v)).v); }
    LML_LANEWISE static Int32N Iota() { return Int32N(_mm_setr_epi32(0, 1, 0, 0)); }
};

template <>
struct Int64N<2>
{
    LML_SIMD_INT(Int64N, 2, std::int64_t, __m128i, _mm, 64, si128)
    LML_LANEWISE explicit Int64N(std::int64_t x) : v(_mm_set1_epi64x(x)) {}
};

LML_INLINE Int64N<2> BitsOf(DoubleN<2> a)
{
    return Int64N<2>(_mm_castpd_si128(a.v));
}
LML_INLINE DoubleN<2> FromBits(Int64N<2> a)
{
    return DoubleN<2>(_mm_castsi128_pd(a.v));
}
LML_INLINE Int32N<4> BitsOf(FloatN<4> a)
{
    return Int32N<4>(_mm_castps_si128(a.v));
}
LML_INLINE FloatN<4> FromBits(Int32N<4> a)
{
    return FloatN<4>(_mm_castsi128_ps(a.v));
}
LML_INLINE DoubleN<2> ToDouble(Int32N<2> a)
{
    return DoubleN<2>(_mm_cvtepi32_pd(a.v));
}
LML_INLINE FloatN<4> ToFloat(Int32N<4> a)
{
    return FloatN<4>(_mm_cvtepi32_ps(a.v));
}
/// Towards zero; 0x80000000 where the value does not fit or is not a number. The empty asm keeps g++ from evaluating
/// the instruction itself for constants, which it does with saturation.
LML_INLINE Int32N<2> TruncToInt(DoubleN<2> a)
{
    __asm__("" : "+x"(a.v));
    return Int32N<2>(_mm_cvttpd_epi32(a.v));
}
LML_INLINE Int32N<4> TruncToInt(FloatN<4> a)
{
    __asm__("" : "+x"(a.v));
    return Int32N<4>(_mm_cvttps_epi32(a.v));
}
LML_INLINE DoubleN<2> IotaD(DoubleN<2>)
{
    return DoubleN<2>(_mm_setr_pd(0, 1));
}
/// Sign-extends to 64 bits.
LML_INLINE Int64N<2> Widen(Int32N<2> a)
{
    return Int64N<2>(_mm_unpacklo_epi32(a.v, _mm_srai_epi32(a.v, 31)));
}

// Floats in memory against double lanes.
LML_INLINE void LoadFloats(const float* p, DoubleN<2>& a)
{
    a = DoubleN<2>(_mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))));
}
LML_INLINE void StoreFloats(float* p, DoubleN<2> a)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(a.v)));
}

// Complex floats (re, im, re, im, ...) in memory against double lanes.
LML_INLINE void LoadComplex(const float* p, DoubleN<2>& re, DoubleN<2>& im)
{
    const __m128 a = _mm_loadu_ps(p);
    re = DoubleN<2>(_mm_cvtps_pd(_mm_shuffle_ps(a, a, 0x08)));
    im = DoubleN<2>(_mm_cvtps_pd(_mm_shuffle_ps(a, a, 0x0d)));
}
LML_INLINE void StoreComplex(float* p, DoubleN<2> re, DoubleN<2> im)
{
    _mm_storeu_ps(p, _mm_unpacklo_ps(_mm_cvtpd_ps(re.v), _mm_cvtpd_ps(im.v)));
}

// Complex floats in memory against float lanes, lane j = sample j.
LML_INLINE void LoadComplex(const float* p, FloatN<4>& re, FloatN<4>& im)
{
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    re = FloatN<4>(_mm_shuffle_ps(a, b, 0x88));
    im = FloatN<4>(_mm_shuffle_ps(a, b, 0xdd));
}
LML_INLINE void StoreComplex(float* p, FloatN<4> re, FloatN<4> im)
{
    _mm_storeu_ps(p, _mm_unpacklo_ps(re.v, im.v));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(re.v, im.v));
}

/// Items of 64 bits picked by index, stored in lane order (a table of complex floats, say).
LML_INLINE void GatherStore64(void* to, const void* table, Int32N<2> index)
{
    const char* t = static_cast<const char*>(table);
    std::int32_t i[2];
    index.StoreU(i);
    std::memcpy(to, t + std::ptrdiff_t(i[0]) * 8, 8);
    std::memcpy(static_cast<char*>(to) + 8, t + std::ptrdiff_t(i[1]) * 8, 8);
}
LML_INLINE DoubleN<2> Gather(const double* table, Int32N<2> index)
{
    std::int32_t i[2];
    index.StoreU(i);
    return DoubleN<2>(_mm_setr_pd(table[i[0]], table[i[1]]));
}

/// Rounds down; any value (not a number stays one).
LML_INLINE DoubleN<2> Floor(DoubleN<2> a)
{
#if LML_WIDE_LEVEL == 0
    // No rounding instruction before SSE4.1. Below 2^52 adding and taking away 2^52 (with the sign of a) rounds to an
    // integer, which is one too high at most; at and above 2^52 everything is an integer already. The sign of a zero is
    // kept as the instruction keeps it.
    const __m128d sign = _mm_set1_pd(-0.0), big = _mm_set1_pd(4503599627370496.0);
    const __m128d s = _mm_and_pd(sign, a.v), magnitude = _mm_andnot_pd(sign, a.v);
    const __m128d shift = _mm_or_pd(big, s);
    __m128d r = _mm_sub_pd(_mm_add_pd(a.v, shift), shift);
    r = _mm_sub_pd(r, _mm_and_pd(_mm_cmpgt_pd(r, a.v), _mm_set1_pd(1.0)));
    r = _mm_or_pd(_mm_andnot_pd(sign, r), _mm_or_pd(_mm_and_pd(sign, r), s));
    const __m128d small = _mm_cmplt_pd(magnitude, big);
    return DoubleN<2>(_mm_or_pd(_mm_and_pd(small, r), _mm_andnot_pd(small, a.v)));
#else
    return DoubleN<2>(_mm_floor_pd(a.v));
#endif
}

/// r[i] lane j becomes r[j] lane i.
LML_INLINE void Transpose(FloatN<4>* r)
{
    _MM_TRANSPOSE4_PS(r[0].v, r[1].v, r[2].v, r[3].v);
}
LML_INLINE void Transpose(DoubleN<2>* r)
{
    const __m128d a = r[0].v, b = r[1].v;
    r[0].v = _mm_unpacklo_pd(a, b);
    r[1].v = _mm_unpackhi_pd(a, b);
}

// ------------------------------------------------------------------------------------------------------------ 256 bits
#if LML_WIDE_LEVEL >= 1

template <>
struct FloatN<8>
{
    LML_SIMD_REAL(FloatN, 8, float, __m256, _mm256, ps)
    LML_SIMD_CMP_AVX(FloatN, _mm256, ps)
};

template <>
struct DoubleN<4>
{
    LML_SIMD_REAL(DoubleN, 4, double, __m256d, _mm256, pd)
    LML_SIMD_CMP_AVX(DoubleN, _mm256, pd)
};

template <>
struct Int32N<8>
{
    LML_SIMD_INT(Int32N, 8, std::int32_t, __m256i, _mm256, 32, si256)
    LML_LANEWISE explicit Int32N(std::int32_t x) : v(_mm256_set1_epi32(x)) {}
    template <int C>
    LML_LANEWISE Int32N ShiftRightSigned() const
    {
        return Int32N(_mm256_srai_epi32(v, C));
    }
    LML_LANEWISE friend Int32N operator*(Int32N a, Int32N b) { return Int32N(_mm256_mullo_epi32(a.v, b.v)); }
    LML_LANEWISE static Int32N Iota() { return Int32N(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)); }
};

template <>
struct Int64N<4>
{
    LML_SIMD_INT(Int64N, 4, std::int64_t, __m256i, _mm256, 64, si256)
    LML_LANEWISE explicit Int64N(std::int64_t x) : v(_mm256_set1_epi64x(x)) {}
};

LML_INLINE Int64N<4> BitsOf(DoubleN<4> a)
{
    return Int64N<4>(_mm256_castpd_si256(a.v));
}
LML_INLINE DoubleN<4> FromBits(Int64N<4> a)
{
    return DoubleN<4>(_mm256_castsi256_pd(a.v));
}
LML_INLINE Int32N<8> BitsOf(FloatN<8> a)
{
    return Int32N<8>(_mm256_castps_si256(a.v));
}
LML_INLINE FloatN<8> FromBits(Int32N<8> a)
{
    return FloatN<8>(_mm256_castsi256_ps(a.v));
}
LML_INLINE DoubleN<4> ToDouble(Int32N<4> a)
{
    return DoubleN<4>(_mm256_cvtepi32_pd(a.v));
}
LML_INLINE FloatN<8> ToFloat(Int32N<8> a)
{
    return FloatN<8>(_mm256_cvtepi32_ps(a.v));
}
LML_INLINE Int32N<4> TruncToInt(DoubleN<4> a)
{
    __asm__("" : "+x"(a.v));
    return Int32N<4>(_mm256_cvttpd_epi32(a.v));
}
LML_INLINE Int32N<8> TruncToInt(FloatN<8> a)
{
    __asm__("" : "+x"(a.v));
    return Int32N<8>(_mm256_cvttps_epi32(a.v));
}
LML_INLINE DoubleN<4> IotaD(DoubleN<4>)
{
    return DoubleN<4>(_mm256_setr_pd(0, 1, 2, 3));
}
LML_INLINE Int64N<4> Widen(Int32N<4> a)
{
    return Int64N<4>(_mm256_cvtepi32_epi64(a.v));
}
LML_INLINE DoubleN<4> Floor(DoubleN<4> a)
{
    return DoubleN<4>(_mm256_floor_pd(a.v));
}

LML_INLINE void LoadFloats(const float* p, DoubleN<4>& a)
{
    a = DoubleN<4>(_mm256_cvtps_pd(_mm_loadu_ps(p)));
}
LML_INLINE void StoreFloats(float* p, DoubleN<4> a)
{
    _mm_storeu_ps(p, _mm256_cvtpd_ps(a.v));
}

LML_INLINE void LoadComplex(const float* p, DoubleN<4>& re, DoubleN<4>& im)
{
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    re = DoubleN<4>(_mm256_cvtps_pd(_mm_shuffle_ps(a, b, 0x88)));
    im = DoubleN<4>(_mm256_cvtps_pd(_mm_shuffle_ps(a, b, 0xdd)));
}
LML_INLINE void StoreComplex(float* p, DoubleN<4> re, DoubleN<4> im)
{
    const __m128 r = _mm256_cvtpd_ps(re.v), i = _mm256_cvtpd_ps(im.v);
    _mm_storeu_ps(p, _mm_unpacklo_ps(r, i));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(r, i));
}
LML_INLINE void LoadComplex(const float* p, FloatN<8>& re, FloatN<8>& im)
{
    // 64-bit pieces are put in the order 0 1 4 5 | 2 3 6 7 first, so that the in-lane shuffle leaves samples in order.
    const __m256 a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8);
    const __m256 lo = _mm256_permute2f128_ps(a, b, 0x20), hi = _mm256_permute2f128_ps(a, b, 0x31);
    re = FloatN<8>(_mm256_shuffle_ps(lo, hi, 0x88));
    im = FloatN<8>(_mm256_shuffle_ps(lo, hi, 0xdd));
}
LML_INLINE void StoreComplex(float* p, FloatN<8> re, FloatN<8> im)
{
    const __m256 lo = _mm256_unpacklo_ps(re.v, im.v), hi = _mm256_unpackhi_ps(re.v, im.v);
    _mm256_storeu_ps(p, _mm256_permute2f128_ps(lo, hi, 0x20));
    _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(lo, hi, 0x31));
}

LML_INLINE void GatherStore64(void* to, const void* table, Int32N<4> index)
{
    const __m256i g = _mm256_i32gather_epi64(static_cast<const long long*>(table), index.v, 8);
    _mm256_storeu_si256(static_cast<__m256i*>(to), g);
}
LML_INLINE DoubleN<4> Gather(const double* table, Int32N<4> index)
{
    return DoubleN<4>(_mm256_i32gather_pd(table, index.v, 8));
}

LML_INLINE void Transpose(FloatN<8>* r)
{
    __m256 t[8];
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        t[2 * i] = _mm256_unpacklo_ps(r[2 * i].v, r[2 * i + 1].v);
        t[2 * i + 1] = _mm256_unpackhi_ps(r[2 * i].v, r[2 * i + 1].v);
    }
#pragma GCC unroll 2
    for (int i = 0; i < 2; ++i)
    {
        const __m256d a = _mm256_castps_pd(t[4 * i]), b = _mm256_castps_pd(t[4 * i + 1]);
        const __m256d c = _mm256_castps_pd(t[4 * i + 2]), d = _mm256_castps_pd(t[4 * i + 3]);
        r[4 * i].v = _mm256_castpd_ps(_mm256_unpacklo_pd(a, c));
        r[4 * i + 1].v = _mm256_castpd_ps(_mm256_unpackhi_pd(a, c));
        r[4 * i + 2].v = _mm256_castpd_ps(_mm256_unpacklo_pd(b, d));
        r[4 * i + 3].v = _mm256_castpd_ps(_mm256_unpackhi_pd(b, d));
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        const __m256 a = r[i].v, b = r[i + 4].v;
        r[i].v = _mm256_permute2f128_ps(a, b, 0x20);
        r[i + 4].v = _mm256_permute2f128_ps(a, b, 0x31);
    }
}
LML_INLINE void Transpose(DoubleN<4>* r)
{
    const __m256d a = _mm256_unpacklo_pd(r[0].v, r[1].v), b = _mm256_unpackhi_pd(r[0].v, r[1].v);
    const __m256d c = _mm256_unpacklo_pd(r[2].v, r[3].v), d = _mm256_unpackhi_pd(r[2].v, r[3].v);
    r[0].v = _mm256_permute2f128_pd(a, c, 0x20);
    r[1].v = _mm256_permute2f128_pd(b, d, 0x20);
    r[2].v = _mm256_permute2f128_pd(a, c, 0x31);
    r[3].v = _mm256_permute2f128_pd(b, d, 0x31);
}
#endif

// ------------------------------------------------------------------------------------------------------------ 512 bits
#if LML_WIDE_LEVEL >= 2

template <>
struct FloatN<16>
{
    LML_SIMD_REAL(FloatN, 16, float, __m512, _mm512, ps)
    LML_SIMD_CMP_512(FloatN, ps, __mmask16)
};

template <>
struct DoubleN<8>
{
    LML_SIMD_REAL(DoubleN, 8, double, __m512d, _mm512, pd)
    LML_SIMD_CMP_512(DoubleN, pd, __mmask8)
};

template <>
struct Int32N<16>
{
    LML_SIMD_INT(Int32N, 16, std::int32_t, __m512i, _mm512, 32, si512)
    LML_LANEWISE explicit Int32N(std::int32_t x) : v(_mm512_set1_epi32(x)) {}
    template <int C>
    LML_LANEWISE Int32N ShiftRightSigned() const
    {
        return Int32N(_mm512_srai_epi32(v, C));
    }
    LML_LANEWISE friend Int32N operator*(Int32N a, Int32N b) { return Int32N(_mm512_mullo_epi32(a.v, b.v)); }
    LML_LANEWISE static Int32N Iota()
    {
        return Int32N(_mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    }
};

template <>
struct Int64N<8>
{
    LML_SIMD_INT(Int64N, 8, std::int64_t, __m512i, _mm512, 64, si512)
    LML_LANEWISE explicit Int64N(std::int64_t x) : v(_mm512_set1_epi64(x)) {}
};

LML_INLINE Int64N<8> BitsOf(DoubleN<8> a)
{
    return Int64N<8>(_mm512_castpd_si512(a.v));
}
LML_INLINE DoubleN<8> FromBits(Int64N<8> a)
{
    return DoubleN<8>(_mm512_castsi512_pd(a.v));
}
LML_INLINE Int32N<16> BitsOf(FloatN<16> a)
{
    return Int32N<16>(_mm512_castps_si512(a.v));
}
LML_INLINE FloatN<16> FromBits(Int32N<16> a)
{
    return FloatN<16>(_mm512_castsi512_ps(a.v));
}
LML_INLINE DoubleN<8> ToDouble(Int32N<8> a)
{
    return DoubleN<8>(_mm512_cvtepi32_pd(a.v));
}
LML_INLINE FloatN<16> ToFloat(Int32N<16> a)
{
    return FloatN<16>(_mm512_cvtepi32_ps(a.v));
}
LML_INLINE Int32N<8> TruncToInt(DoubleN<8> a)
{
    __asm__("" : "+v"(a.v));
    return Int32N<8>(_mm512_cvttpd_epi32(a.v));
}
LML_INLINE Int32N<16> TruncToInt(FloatN<16> a)
{
    __asm__("" : "+v"(a.v));
    return Int32N<16>(_mm512_cvttps_epi32(a.v));
}
LML_INLINE DoubleN<8> IotaD(DoubleN<8>)
{
    return DoubleN<8>(_mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7));
}
LML_INLINE Int64N<8> Widen(Int32N<8> a)
{
    return Int64N<8>(_mm512_cvtepi32_epi64(a.v));
}
LML_INLINE DoubleN<8> Floor(DoubleN<8> a)
{
    return DoubleN<8>(_mm512_roundscale_pd(a.v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC));
}

LML_INLINE void LoadFloats(const float* p, DoubleN<8>& a)
{
    a = DoubleN<8>(_mm512_cvtps_pd(_mm256_loadu_ps(p)));
}
LML_INLINE void StoreFloats(float* p, DoubleN<8> a)
{
    _mm256_storeu_ps(p, _mm512_cvtpd_ps(a.v));
}

LML_INLINE void LoadComplex(const float* p, DoubleN<8>& re, DoubleN<8>& im)
{
    FloatN<8> r, i;
    LoadComplex(p, r, i);
    re = DoubleN<8>(_mm512_cvtps_pd(r.v));
    im = DoubleN<8>(_mm512_cvtps_pd(i.v));
}
LML_INLINE void StoreComplex(float* p, DoubleN<8> re, DoubleN<8> im)
{
    StoreComplex(p, FloatN<8>(_mm512_cvtpd_ps(re.v)), FloatN<8>(_mm512_cvtpd_ps(im.v)));
}
LML_INLINE void LoadComplex(const float* p, FloatN<16>& re, FloatN<16>& im)
{
    const __m512 a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    re = FloatN<16>(_mm512_permutex2var_ps(a, even, b));
    im = FloatN<16>(_mm512_permutex2var_ps(a, odd, b));
}
LML_INLINE void StoreComplex(float* p, FloatN<16> re, FloatN<16> im)
{
    const __m512i lo = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const __m512i hi = _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    _mm512_storeu_ps(p, _mm512_permutex2var_ps(re.v, lo, im.v));
    _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(re.v, hi, im.v));
}

LML_INLINE void GatherStore64(void* to, const void* table, Int32N<8> index)
{
    _mm512_storeu_si512(to, _mm512_i32gather_epi64(index.v, table, 8));
}
LML_INLINE DoubleN<8> Gather(const double* table, Int32N<8> index)
{
    return DoubleN<8>(_mm512_i32gather_pd(index.v, table, 8));
}

LML_INLINE void Transpose(FloatN<16>* r)
{
    __m512 t[16];
#pragma GCC unroll 8
    for (int i = 0; i < 8; ++i)
    {
        t[2 * i] = _mm512_unpacklo_ps(r[2 * i].v, r[2 * i + 1].v);
        t[2 * i + 1] = _mm512_unpackhi_ps(r[2 * i].v, r[2 * i + 1].v);
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        const __m512d a = _mm512_castps_pd(t[4 * i]), b = _mm512_castps_pd(t[4 * i + 1]);
        const __m512d c = _mm512_castps_pd(t[4 * i + 2]), d = _mm512_castps_pd(t[4 * i + 3]);
        r[4 * i].v = _mm512_castpd_ps(_mm512_unpacklo_pd(a, c));
        r[4 * i + 1].v = _mm512_castpd_ps(_mm512_unpackhi_pd(a, c));
        r[4 * i + 2].v = _mm512_castpd_ps(_mm512_unpacklo_pd(b, d));
        r[4 * i + 3].v = _mm512_castpd_ps(_mm512_unpackhi_pd(b, d));
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        t[i] = _mm512_shuffle_f32x4(r[i].v, r[i + 4].v, 0x88);
        t[i + 4] = _mm512_shuffle_f32x4(r[i].v, r[i + 4].v, 0xdd);
        t[i + 8] = _mm512_shuffle_f32x4(r[i + 8].v, r[i + 12].v, 0x88);
        t[i + 12] = _mm512_shuffle_f32x4(r[i + 8].v, r[i + 12].v, 0xdd);
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        r[i].v = _mm512_shuffle_f32x4(t[i], t[i + 8], 0x88);
        r[i + 8].v = _mm512_shuffle_f32x4(t[i], t[i + 8], 0xdd);
        r[i + 4].v = _mm512_shuffle_f32x4(t[i + 4], t[i + 12], 0x88);
        r[i + 12].v = _mm512_shuffle_f32x4(t[i + 4], t[i + 12], 0xdd);
    }
}
LML_INLINE void Transpose(DoubleN<8>* r)
{
    __m512d t[8];
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        t[2 * i] = _mm512_unpacklo_pd(r[2 * i].v, r[2 * i + 1].v);
        t[2 * i + 1] = _mm512_unpackhi_pd(r[2 * i].v, r[2 * i + 1].v);
    }
    // t[2i + h] holds, per 128-bit quarter q, column 2q + h of rows 2i and 2i + 1.
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h)
    {
        const __m512d a = _mm512_shuffle_f64x2(t[h], t[2 + h], 0x88), b = _mm512_shuffle_f64x2(t[h], t[2 + h], 0xdd);
        const __m512d c = _mm512_shuffle_f64x2(t[4 + h], t[6 + h], 0x88);
        const __m512d d = _mm512_shuffle_f64x2(t[4 + h], t[6 + h], 0xdd);
        r[h].v = _mm512_shuffle_f64x2(a, c, 0x88);
        r[4 + h].v = _mm512_shuffle_f64x2(a, c, 0xdd);
        r[2 + h].v = _mm512_shuffle_f64x2(b, d, 0x88);
        r[6 + h].v = _mm512_shuffle_f64x2(b, d, 0xdd);
    }
}
#endif

// ----------------------------------------------------------------------------------------------------- width-free
// forms

/// lane j = first + j, exact below 2^53.
LML_INLINE VD CountFrom(double first)
{
    return VD(first) + IotaD(VD());
}

/// Each lane rounded to float and back.
LML_INLINE VD RoundToFloat(VD a)
{
#if LML_WIDE_LEVEL == 0
    return VD(_mm_cvtps_pd(_mm_cvtpd_ps(a.v)));
#elif LML_WIDE_LEVEL == 1
    return VD(_mm256_cvtps_pd(_mm256_cvtpd_ps(a.v)));
#else
    return VD(_mm512_cvtps_pd(_mm512_cvtpd_ps(a.v)));
#endif
}

#undef LML_SIMD_REAL
#undef LML_SIMD_CMP_SSE
#undef LML_SIMD_CMP_AVX
#undef LML_SIMD_CMP_512
#undef LML_SIMD_INT
#undef LML_SIMD_INT_OPS

} // namespace LumoraLib::detail::LML_WIDE_NS
#endif
