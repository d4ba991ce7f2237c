// Wide transforms: vectors of complex samples, split in real and imaginary parts.

namespace LumoraLib::detail::LML_WIDE_NS
{
static constexpr int W = VF::lanes;
static constexpr std::ptrdiff_t kPair = 2 * W;
static constexpr int kGroups = int(kWideStrip) / W; // vectors across a strip

/// Samples as the pairs of floats that vectors are loaded from.
LML_INLINE const float* Floats(const Complex* samples)
{
    return reinterpret_cast<const float*>(samples);
}
LML_INLINE float* Floats(Complex* samples)
{
    return reinterpret_cast<float*>(samples);
}

struct C
{
    VF r, i;
};

LML_INLINE C operator+(C a, C b)
{
    return {a.r + b.r, a.i + b.i};
}
LML_INLINE C operator-(C a, C b)
{
    return {a.r - b.r, a.i - b.i};
}
/// a - i b
LML_INLINE C SubI(C a, C b)
{
    return {a.r + b.i, a.i - b.r};
}
/// a + i b
LML_INLINE C AddI(C a, C b)
{
    return {a.r - b.i, a.i + b.r};
}
LML_INLINE C Times(C a, VF re, VF im)
{
    return {a.r * re - a.i * im, a.r * im + a.i * re};
}
LML_INLINE C Scaled(C a, VF f)
{
    return {a.r * f, a.i * f};
}

LML_INLINE C LoadPair(const float* p)
{
    return {VF::Load(p), VF::Load(p + W)};
}
LML_INLINE void StorePair(float* p, C a)
{
    a.r.Store(p);
    a.i.Store(p + W);
}

// Interleaved samples to split vectors and back, by shuffles within 128 bits (the cheapest ones): lane l then holds
// sample WideLaneSample(l, W). Whatever enters so must leave so.
#if LML_WIDE_LEVEL == 2
#define LML_SHUFFLE(OP, ...) VF(_mm512_##OP(__VA_ARGS__))
#elif LML_WIDE_LEVEL == 1
#define LML_SHUFFLE(OP, ...) VF(_mm256_##OP(__VA_ARGS__))
#else
#define LML_SHUFFLE(OP, ...) VF(_mm_##OP(__VA_ARGS__))
#endif
LML_INLINE C Split(VF a, VF b)
{
    return {LML_SHUFFLE(shuffle_ps, a.v, b.v, 0x88), LML_SHUFFLE(shuffle_ps, a.v, b.v, 0xdd)};
}
LML_INLINE VF JoinLow(C a)
{
    return LML_SHUFFLE(unpacklo_ps, a.r.v, a.i.v);
}
LML_INLINE VF JoinHigh(C a)
{
    return LML_SHUFFLE(unpackhi_ps, a.r.v, a.i.v);
}
#undef LML_SHUFFLE

LML_INLINE C LoadSamples(const float* p)
{
    return Split(VF::LoadU(p), VF::LoadU(p + W));
}
LML_INLINE void StoreSamples(float* p, C a)
{
    JoinLow(a).StoreU(p);
    JoinHigh(a).StoreU(p + W);
}

LML_INLINE void StreamSamples(float* p, C a)
{
    JoinLow(a).Stream(p);
    JoinHigh(a).Stream(p + W);
}

template <bool kSwap>
LML_INLINE C Exchanged(C a)
{
    return kSwap ? C{a.i, a.r} : a;
}

/// Values in sample order to lane order, and those of the mirrored samples (last first) to lane order.
LML_INLINE VF LaneOrder(VF a)
{
#if LML_WIDE_LEVEL == 2
    return VF(_mm512_permutexvar_ps(_mm512_setr_epi32(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15), a.v));
#elif LML_WIDE_LEVEL == 1
    return VF(_mm256_permutevar8x32_ps(a.v, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7)));
#else
    return a;
#endif
}
LML_INLINE VF LaneOrderMirrored(VF a)
{
#if LML_WIDE_LEVEL == 2
    return VF(_mm512_permutexvar_ps(_mm512_setr_epi32(15, 14, 7, 6, 13, 12, 5, 4, 11, 10, 3, 2, 9, 8, 1, 0), a.v));
#elif LML_WIDE_LEVEL == 1
    return VF(_mm256_permutevar8x32_ps(a.v, _mm256_setr_epi32(7, 6, 3, 2, 5, 4, 1, 0)));
#else
    return VF(_mm_shuffle_ps(a.v, a.v, 0x1b));
#endif
}
} // namespace LumoraLib::detail::LML_WIDE_NS
