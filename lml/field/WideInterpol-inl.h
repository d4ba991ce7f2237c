// Interpolation in lanes: the body that WideInterpol.cpp builds per instruction set. Lane l is destination sample n +
// l.

namespace LumoraLib::detail::LML_WIDE_NS
{

extern const InterpolTable interpolTable;

static constexpr int kLanes = kLanesD;

// ------------------------------------------------------------------------------------------------------ lane shuffling
// VF holds kLanes complex samples. VN is the float vector of one member (at SSE2 its upper half is unused).

#if LML_WIDE_LEVEL == 0
using VN = FloatN<4>;
LML_INLINE VN Narrow(VD a)
{
    return VN(_mm_cvtpd_ps(a.v));
}
LML_INLINE VD Widen(VN a)
{
    return VD(_mm_cvtps_pd(a.v));
}
LML_INLINE VN RealParts(VF a)
{
    return VN(_mm_shuffle_ps(a.v, a.v, 0x08));
}
LML_INLINE VN ImagParts(VF a)
{
    return VN(_mm_shuffle_ps(a.v, a.v, 0x0d));
}
LML_INLINE VF Join(VN re, VN im)
{
    return VF(_mm_unpacklo_ps(re.v, im.v));
}
LML_INLINE VD Trunc(VD a)
{
    const VD sign = a & VD(-0.0);
    return Floor(Abs(a)) | sign;
}
#elif LML_WIDE_LEVEL == 1
using VN = FloatN<4>;
LML_INLINE VN Narrow(VD a)
{
    return VN(_mm256_cvtpd_ps(a.v));
}
LML_INLINE VD Widen(VN a)
{
    return VD(_mm256_cvtps_pd(a.v));
}
LML_INLINE VN RealParts(VF a)
{
    return VN(_mm_shuffle_ps(_mm256_castps256_ps128(a.v), _mm256_extractf128_ps(a.v, 1), 0x88));
}
LML_INLINE VN ImagParts(VF a)
{
    return VN(_mm_shuffle_ps(_mm256_castps256_ps128(a.v), _mm256_extractf128_ps(a.v, 1), 0xdd));
}
LML_INLINE VF Join(VN re, VN im)
{
    return VF(_mm256_set_m128(_mm_unpackhi_ps(re.v, im.v), _mm_unpacklo_ps(re.v, im.v)));
}
LML_INLINE VD Trunc(VD a)
{
    return VD(_mm256_round_pd(a.v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC));
}
#else
using VN = FloatN<8>;
LML_INLINE VN Narrow(VD a)
{
    return VN(_mm512_cvtpd_ps(a.v));
}
LML_INLINE VD Widen(VN a)
{
    return VD(_mm512_cvtps_pd(a.v));
}
LML_INLINE VN RealParts(VF a)
{
    const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 0, 2, 4, 6, 8, 10, 12, 14);
    return VN(_mm512_castps512_ps256(_mm512_permutexvar_ps(even, a.v)));
}
LML_INLINE VN ImagParts(VF a)
{
    const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 1, 3, 5, 7, 9, 11, 13, 15);
    return VN(_mm512_castps512_ps256(_mm512_permutexvar_ps(odd, a.v)));
}
LML_INLINE VF Join(VN re, VN im)
{
    const __m512i zip = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    return VF(_mm512_permutex2var_ps(_mm512_castps256_ps512(re.v), zip, _mm512_castps256_ps512(im.v)));
}
LML_INLINE VD Trunc(VD a)
{
    return VD(_mm512_roundscale_pd(a.v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC));
}
#endif

/// Each lane once for the real and once for the imaginary member.
LML_INLINE VF Twice(VN a)
{
#if LML_WIDE_LEVEL == 2
    const __m512i dup = _mm512_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    return VF(_mm512_permutexvar_ps(dup, _mm512_castps256_ps512(a.v)));
#else
    return Join(a, a);
#endif
}

LML_INLINE __m128 LoadPair(const float* p)
{
    return _mm_loadu_ps(p);
}
LML_INLINE __m128d LoadOne(const float* p)
{
    return _mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
LML_INLINE __m128d LoadTwo(const float* p, const float* q)
{
    return _mm_castps_pd(_mm_loadh_pi(_mm_castpd_ps(LoadOne(p)), reinterpret_cast<const __m64*>(q)));
}

/// One sample per lane.
LML_INLINE VF FetchOne(const float* row, const std::ptrdiff_t* at)
{
#if LML_WIDE_LEVEL == 0
    return VF(_mm_castpd_ps(LoadTwo(row + at[0], row + at[1])));
#else
    const __m256d low = _mm256_set_m128d(LoadTwo(row + at[2], row + at[3]), LoadTwo(row + at[0], row + at[1]));
#if LML_WIDE_LEVEL == 1
    return VF(_mm256_castpd_ps(low));
#else
    const __m256d high = _mm256_set_m128d(LoadTwo(row + at[6], row + at[7]), LoadTwo(row + at[4], row + at[5]));
    return VF(_mm512_castpd_ps(_mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1)));
#endif
#endif
}

/// Two neighbouring samples per lane: t[0] the first, t[1] the second.
LML_INLINE void FetchTwo(const float* row, const std::ptrdiff_t* at, VF* t)
{
#if LML_WIDE_LEVEL == 0
    const __m128d a = _mm_castps_pd(LoadPair(row + at[0])), b = _mm_castps_pd(LoadPair(row + at[1]));
    t[0] = VF(_mm_castpd_ps(_mm_unpacklo_pd(a, b)));
    t[1] = VF(_mm_castpd_ps(_mm_unpackhi_pd(a, b)));
#elif LML_WIDE_LEVEL == 1
    const __m256d a = _mm256_castps_pd(_mm256_set_m128(LoadPair(row + at[2]), LoadPair(row + at[0])));
    const __m256d b = _mm256_castps_pd(_mm256_set_m128(LoadPair(row + at[3]), LoadPair(row + at[1])));
    t[0] = VF(_mm256_castpd_ps(_mm256_unpacklo_pd(a, b)));
    t[1] = VF(_mm256_castpd_ps(_mm256_unpackhi_pd(a, b)));
#else
    __m512 a = _mm512_castps128_ps512(LoadPair(row + at[0])), b = _mm512_castps128_ps512(LoadPair(row + at[1]));
    a = _mm512_insertf32x4(a, LoadPair(row + at[2]), 1);
    b = _mm512_insertf32x4(b, LoadPair(row + at[3]), 1);
    a = _mm512_insertf32x4(a, LoadPair(row + at[4]), 2);
    b = _mm512_insertf32x4(b, LoadPair(row + at[5]), 2);
    a = _mm512_insertf32x4(a, LoadPair(row + at[6]), 3);
    b = _mm512_insertf32x4(b, LoadPair(row + at[7]), 3);
    t[0] = VF(_mm512_castpd_ps(_mm512_unpacklo_pd(_mm512_castps_pd(a), _mm512_castps_pd(b))));
    t[1] = VF(_mm512_castpd_ps(_mm512_unpackhi_pd(_mm512_castps_pd(a), _mm512_castps_pd(b))));
#endif
}

/// Four neighbouring samples per lane.
LML_INLINE void FetchFour(const float* row, const std::ptrdiff_t* at, VF* t)
{
#if LML_WIDE_LEVEL == 2
    // 256 bits of lanes 0 and 2, 1 and 3, 4 and 6, 5 and 7 beside each other: two shuffles per tap bring the lanes in
    // order.
    const auto both = [](const float* p, const float* q) LML_LAMBDA
    {
        return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_castps_pd(_mm256_loadu_ps(p))),
                                  _mm256_castps_pd(_mm256_loadu_ps(q)), 1);
    };
    const __m512d a = both(row + at[0], row + at[2]), b = both(row + at[1], row + at[3]);
    const __m512d c = both(row + at[4], row + at[6]), d = both(row + at[5], row + at[7]);
    const __m512d even0 = _mm512_unpacklo_pd(a, b), odd0 = _mm512_unpackhi_pd(a, b);
    const __m512d even1 = _mm512_unpacklo_pd(c, d), odd1 = _mm512_unpackhi_pd(c, d);
    t[0] = VF(_mm512_castpd_ps(_mm512_shuffle_f64x2(even0, even1, 0x88)));
    t[1] = VF(_mm512_castpd_ps(_mm512_shuffle_f64x2(odd0, odd1, 0x88)));
    t[2] = VF(_mm512_castpd_ps(_mm512_shuffle_f64x2(even0, even1, 0xdd)));
    t[3] = VF(_mm512_castpd_ps(_mm512_shuffle_f64x2(odd0, odd1, 0xdd)));
#else
    FetchTwo(row, at, t);
    FetchTwo(row + 4, at, t + 2);
#endif
}

template <int Taps>
LML_INLINE void Fetch(const float* row, const std::ptrdiff_t* at, VF* t)
{
    if constexpr (Taps == 1)
    {
        t[0] = FetchOne(row, at);
    }
    else if constexpr (Taps == 2)
    {
        FetchTwo(row, at, t);
    }
    else
    {
        FetchFour(row, at, t);
        if constexpr (Taps == 6)
            FetchTwo(row + 8, at, t + 4);
        if constexpr (Taps == 8)
            FetchFour(row + 8, at, t + 4);
    }
}

// ------------------------------------------------------------------------------------------------- sums of one source
// row Each interpolator of a kernel: Add puts one row of taps (t[0] ... t[2 half - 1], kernel values kx along the row
// and ky across) to the running sum, in tap order.

/// The pieces of the kernel of a half-width, and its values at the distances 1 ... half.
template <int Half>
struct Kernel;
template <>
struct Kernel<2>
{
    static constexpr const CubicPiece (&pieces)[2] = kCubic4;
    static constexpr double whole[2] = {CubicAtWhole(kCubic4, 1), CubicAtWhole(kCubic4, 2)};
};
template <>
struct Kernel<3>
{
    static constexpr const CubicPiece (&pieces)[3] = kCubic6;
    static constexpr double whole[3] = {CubicAtWhole(kCubic6, 1), CubicAtWhole(kCubic6, 2), CubicAtWhole(kCubic6, 3)};
};
template <>
struct Kernel<4>
{
    static constexpr const CubicPiece (&pieces)[4] = kCubic8;
    static constexpr double whole[4] = {CubicAtWhole(kCubic8, 1), CubicAtWhole(kCubic8, 2), CubicAtWhole(kCubic8, 3),
                                        CubicAtWhole(kCubic8, 4)};
};

/// The weight is the product in double rounded to float; products and sums in float.
template <int HalfWidth>
struct SeparableSum
{
    static constexpr int half = HalfWidth;
    static constexpr bool quantised = true;
    VF sum;
    LML_MEMBER SeparableSum() : sum(VF::Zero()) {}
    LML_MEMBER void Add(const VF* t, const VD* kx, VD ky)
    {
#pragma GCC unroll 8
        for (int c = 0; c < 2 * half; ++c)
            sum = sum + t[c] * Twice(Narrow(kx[c] * ky));
    }
    LML_MEMBER VF Result() const
    {
        return sum;
    }
};

/// Rounded to float after each of the two factors.
struct BiCubicSum
{
    static constexpr int half = 2;
    static constexpr bool quantised = false;
    VN re, im;
    LML_MEMBER BiCubicSum() : re(VN::Zero()), im(VN::Zero()) {}
    LML_MEMBER void Add(const VF* t, const VD* kx, VD ky)
    {
#pragma GCC unroll 4
        for (int c = 0; c < 4; ++c)
        {
            const VN alongRe = Narrow(Widen(RealParts(t[c])) * kx[c]);
            const VN alongIm = Narrow(Widen(ImagParts(t[c])) * kx[c]);
            re = re + Narrow(Widen(alongRe) * ky);
            im = im + Narrow(Widen(alongIm) * ky);
        }
    }
    LML_MEMBER VF Result() const
    {
        return Join(re, im);
    }
};

/// The four samples of a cell, in the order 00, 10, 11, 01, and the fractions' factors x0 = 1 - dx, x1 = dx and so on.
LML_INLINE VF BiLinearValue(const VF* s, VD x0, VD x1, VD y0, VD y1)
{
    const VD w[4] = {x0 * y0, x1 * y0, x1 * y1, x0 * y1};
    VN re = Narrow(Widen(RealParts(s[0])) * w[0]);
    VN im = Narrow(Widen(ImagParts(s[0])) * w[0]);
#pragma GCC unroll 3
    for (int t = 1; t < 4; ++t)
    {
        re = re + Narrow(Widen(RealParts(s[t])) * w[t]);
        im = im + Narrow(Widen(ImagParts(s[t])) * w[t]);
    }
    return Join(re, im);
}

LML_INLINE VF LinearValue(const VF* s, VD x0, VD x1, VD y0, VD y1)
{
    const VD w[4] = {Widen(Narrow(x0 * y0)), Widen(Narrow(x1 * y0)), Widen(Narrow(x1 * y1)), Widen(Narrow(x0 * y1))};
    VD re = Widen(RealParts(s[0])) * w[0];
    VD im = Widen(ImagParts(s[0])) * w[0];
#pragma GCC unroll 3
    for (int t = 1; t < 4; ++t)
    {
        re = re + Widen(RealParts(s[t])) * w[t];
        im = im + Widen(ImagParts(s[t])) * w[t];
    }
    return Join(Narrow(re), Narrow(im));
}

// ------------------------------------------------------------------------------------------------------------
// resampling

/// Stores the first `count` samples of a group.
LML_INLINE void StoreSome(float* to, VF value, std::size_t count)
{
    if (count >= std::size_t(kLanes))
    {
        value.StoreU(to);
        return;
    }
    float all[2 * kLanes];
    value.StoreU(all);
    std::memcpy(to, all, count * 2 * sizeof(float));
}

LML_INLINE void Places(const std::int32_t* index, std::ptrdiff_t* at)
{
    for (int l = 0; l < kLanes; ++l)
        at[l] = 2 * std::ptrdiff_t(index[l]);
}

template <class Sum>
static void ResampleTaps(const ResampleColumns& columns, const ResampleRow& row, std::size_t first, std::size_t count,
                         float* to)
{
    constexpr int taps = 2 * Sum::half;
    for (std::size_t n = 0; n < count; n += kLanes)
    {
        const std::size_t i = first + n;
        VD kx[taps];
        for (int c = 0; c < taps; ++c)
            kx[c] = VD::LoadU(columns.weight + std::size_t(c) * columns.pitch + i);
        Sum sum;
        VF t[taps];
        if (columns.run[i] >= kLanes)
        {
            const std::ptrdiff_t at = 2 * std::ptrdiff_t(columns.start[i]);
            for (int r = 0; r < row.count; ++r)
            {
                for (int c = 0; c < taps; ++c)
                    t[c] = VF::LoadU(row.rows[r] + at + 2 * c);
                sum.Add(t, kx, VD(row.weight[r]));
            }
        }
        else
        {
            std::ptrdiff_t at[kLanes];
            Places(columns.start + i, at);
            for (int r = 0; r < row.count; ++r)
            {
                Fetch<taps>(row.rows[r], at, t);
                sum.Add(t, kx, VD(row.weight[r]));
            }
        }
        StoreSome(to + 2 * n, sum.Result(), count - n);
    }
}

template <bool Quantised>
static void ResampleCells(const ResampleColumns& columns, const ResampleRow& row, std::size_t first, std::size_t count,
                          float* to)
{
    const VD y0(row.weight[0]), y1(row.weight[1]);
    for (std::size_t n = 0; n < count; n += kLanes)
    {
        const std::size_t i = first + n;
        const VD x0 = VD::LoadU(columns.weight + i), x1 = VD::LoadU(columns.weight + columns.pitch + i);
        VF s[4];
        if (columns.run[i] >= kLanes)
        {
            const std::ptrdiff_t at = 2 * std::ptrdiff_t(columns.start[i]);
            s[0] = VF::LoadU(row.rows[0] + at);
            s[1] = VF::LoadU(row.rows[0] + at + 2);
            s[2] = VF::LoadU(row.rows[1] + at + 2);
            s[3] = VF::LoadU(row.rows[1] + at);
        }
        else
        {
            std::ptrdiff_t at[kLanes], next[kLanes];
            Places(columns.start + i, at);
            Places(columns.second + i, next);
            s[0] = FetchOne(row.rows[0], at);
            s[1] = FetchOne(row.rows[0], next);
            s[2] = FetchOne(row.rows[1], next);
            s[3] = FetchOne(row.rows[1], at);
        }
        const VF value = Quantised ? LinearValue(s, x0, x1, y0, y1) : BiLinearValue(s, x0, x1, y0, y1);
        StoreSome(to + 2 * n, value, count - n);
    }
}

static void ResampleNearest(const ResampleColumns& columns, const ResampleRow& row, std::size_t first,
                            std::size_t count, float* to)
{
    const float* const from = row.rows[0];
    std::size_t n = 0;
    while (n < count)
    {
        const std::size_t run = std::size_t(columns.run[first + n]);
        const std::size_t length = run < count - n ? run : count - n;
        const float* const p = from + 2 * std::ptrdiff_t(columns.start[first + n]);
        if (length >= std::size_t(kLanes))
        {
            std::memcpy(to + 2 * n, p, length * 2 * sizeof(float));
            n += length;
        }
        else
        {
            std::memcpy(to + 2 * n, p, 2 * sizeof(float));
            ++n;
        }
    }
}

static void AddRow(float* to, const float* value, std::size_t count)
{
    std::size_t n = 0;
    for (; n + VF::lanes <= 2 * count; n += VF::lanes)
        (VF::LoadU(to + n) + VF::LoadU(value + n)).StoreU(to + n);
    for (; n < 2 * count; ++n)
        to[n] += value[n];
}

static void MultiplyRow(float* to, const float* value, std::size_t count)
{
    std::size_t n = 0;
    for (; n + kLanes <= count; n += kLanes)
    {
        VD aRe, aIm, bRe, bIm;
        LoadComplex(to + 2 * n, aRe, aIm);
        LoadComplex(value + 2 * n, bRe, bIm);
        StoreComplex(to + 2 * n, aRe * bRe - aIm * bIm, aRe * bIm + aIm * bRe);
    }
    for (; n < count; ++n)
    {
        const double aRe = double(to[2 * n]), aIm = double(to[2 * n + 1]);
        const double bRe = double(value[2 * n]), bIm = double(value[2 * n + 1]);
        to[2 * n] = float(aRe * bRe - aIm * bIm);
        to[2 * n + 1] = float(aRe * bIm + aIm * bRe);
    }
}

static bool AllFinite(const float* values, std::size_t count)
{
    // x - x is 0 for a finite x and not a number otherwise, which no later sum takes away.
    VF a = VF::Zero(), b = VF::Zero();
    std::size_t n = 0;
    for (; n + 2 * VF::lanes <= count; n += 2 * VF::lanes)
    {
        const VF x = VF::LoadU(values + n), y = VF::LoadU(values + n + VF::lanes);
        a = a + (x - x);
        b = b + (y - y);
    }
    float rest = 0.0f;
    for (; n < count; ++n)
        rest += values[n] - values[n];
    return All(a + b == VF::Zero()) && rest == 0.0f;
}

// --------------------------------------------------------------------------------------------------------------
// rotation

/// Quantised continuous index: four decimals.
LML_INLINE VD Quantise(VD z)
{
    const VD steps(10000.0);
    return Trunc(z * steps) / steps;
}

/// Kernel values of the taps floor - half + 1 ... floor + half about x. Differences from x are one operation each; in
/// the piece of order m they lie in [m, m + 1) to the left and (m, m + 1] to the right, where the upper end, reached
/// when x is a whole number, belongs to the next piece.
template <int Half>
LML_INLINE void KernelValues(VD x, VD floor, VD* k)
{
    const auto whole = x == floor;
#pragma GCC unroll 4
    for (int m = 0; m < Half; ++m)
    {
        const CubicPiece& c = Kernel<Half>::pieces[m];
        const VD left = x - (floor - VD(double(m)));
        const VD right = (floor + VD(double(m + 1))) - x;
        const auto piece = [&c](VD a) LML_LAMBDA
        {
            // A middle piece has no linear term: c0 + 0 a is c0.
            const VD head = c.c1 == 0.0 ? VD(c.c0) : VD(c.c0) + VD(c.c1) * a;
            return (head + VD(c.c2) * a * a) + VD(c.c3) * a * a * a;
        };
        k[Half - 1 - m] = piece(left);
        k[Half + m] = Select(whole, VD(Kernel<Half>::whole[m]), piece(right));
    }
}

/// Groups with a tap outside the grid. Rows outside weigh 0; a lane that would start or end outside the row starts
/// inside and its kernel values move along.
template <class Sum>
LML_NOINLINE VF EdgeValue(const RotationLookup& t, const VD* kx, const VD* ky, const std::int32_t* ix,
                          const std::int32_t* iy, unsigned reach)
{
    constexpr int half = Sum::half, taps = 2 * half;
    alignas(64) double along[taps][kLanes], across[taps][kLanes];
    for (int c = 0; c < taps; ++c)
    {
        kx[c].Store(along[c]);
        ky[c].Store(across[c]);
    }
    std::int32_t start[kLanes];
    for (int l = 0; l < kLanes; ++l)
    {
        const bool in = (reach >> l & 1u) != 0;
        const std::int32_t wanted = ix[l] - (half - 1);
        const std::int32_t most = t.nx - taps;
        start[l] = wanted < 0 ? 0 : (wanted > most ? most : wanted);
        const std::int32_t shift = start[l] - wanted;
        double moved[taps];
        for (int c = 0; c < taps; ++c)
            moved[c] = in && c + shift >= 0 && c + shift < taps ? along[c + shift][l] : 0.0;
        for (int c = 0; c < taps; ++c)
        {
            along[c][l] = moved[c];
            const std::int32_t j = iy[l] - (half - 1) + c;
            if (!in || j < 0 || j >= t.ny)
                across[c][l] = 0.0;
        }
    }
    VD weight[taps];
    for (int c = 0; c < taps; ++c)
        weight[c] = VD::Load(along[c]);
    Sum sum;
    for (int r = 0; r < taps; ++r)
    {
        std::ptrdiff_t at[kLanes];
        for (int l = 0; l < kLanes; ++l)
        {
            const std::int32_t wanted = iy[l] - (half - 1) + r;
            const std::int32_t j = wanted < 0 ? 0 : (wanted >= t.ny ? t.ny - 1 : wanted);
            at[l] = 2 * (std::ptrdiff_t(j) * t.nx + start[l]);
        }
        VF s[taps];
        Fetch<taps>(t.samples, at, s);
        sum.Add(s, weight, VD::Load(across[r]));
    }
    return sum.Result();
}

template <class Sum>
struct TapLookup
{
    LML_MEMBER static VF At(const RotationLookup& t, VD u, VD v)
    {
        constexpr int half = Sum::half, taps = 2 * half;
        VD x, y;
        if constexpr (Sum::quantised)
        {
            x = Quantise(VD(t.nx * 0.5) + u / VD(t.px));
            y = Quantise(VD(t.ny * 0.5) + v / VD(t.py));
        }
        else
        {
            x = u / VD(t.px) + VD(double(t.nx / 2));
            y = v / VD(t.py) + VD(double(t.ny / 2));
        }
        // Farther out no tap weighs anything; not-a-number is out too.
        const VD margin(double(-half));
        const auto reach =
            (x > margin) & (x < VD(double(t.nx - 1 + half))) & (y > margin) & (y < VD(double(t.ny - 1 + half)));
        if (!Any(reach))
            return VF::Zero();
        x = ZeroUnless(reach, x);
        y = ZeroUnless(reach, y);
        const VD floorX = Floor(x), floorY = Floor(y);
        VD kx[taps], ky[taps];
        KernelValues<half>(x, floorX, kx);
        KernelValues<half>(y, floorY, ky);
        std::int32_t ix[kLanes], iy[kLanes];
        TruncToInt(floorX).StoreU(ix);
        TruncToInt(floorY).StoreU(iy);
        const VD low(double(half - 1));
        const auto inside = reach & (floorX >= low) & (floorX <= VD(double(t.nx - 1 - half))) & (floorY >= low) &
                            (floorY <= VD(double(t.ny - 1 - half)));
        if (!All(inside))
            return EdgeValue<Sum>(t, kx, ky, ix, iy, Bits(reach));
        Sum sum;
        VF s[taps];
        // Small tilts leave neighbours side by side: then each tap of all lanes is one load.
        if (All((floorX == VD(double(ix[0])) + IotaD(VD())) & (floorY == VD(double(iy[0])))))
        {
            const std::ptrdiff_t corner = std::ptrdiff_t(iy[0] - (half - 1)) * t.nx + (ix[0] - (half - 1));
            for (int r = 0; r < taps; ++r)
            {
                for (int c = 0; c < taps; ++c)
                    s[c] = VF::LoadU(t.samples + 2 * (corner + std::ptrdiff_t(r) * t.nx + c));
                sum.Add(s, kx, ky[r]);
            }
            return sum.Result();
        }
        std::ptrdiff_t at[kLanes];
        for (int l = 0; l < kLanes; ++l)
            at[l] = 2 * (std::ptrdiff_t(iy[l] - (half - 1)) * t.nx + (ix[l] - (half - 1)));
        for (int r = 0; r < taps; ++r)
        {
            Fetch<taps>(t.samples + 2 * std::ptrdiff_t(r) * t.nx, at, s);
            sum.Add(s, kx, ky[r]);
        }
        return sum.Result();
    }
};

/// The four samples of each lane's cell; lanes that are not `in` read sample (0, 0).
LML_INLINE void FetchCells(const RotationLookup& t, unsigned in, VD x, VD y, bool blendLast, VF* s)
{
    std::int32_t ix[kLanes], iy[kLanes];
    TruncToInt(x).StoreU(ix);
    TruncToInt(y).StoreU(iy);
    std::ptrdiff_t at[4][kLanes];
    for (int l = 0; l < kLanes; ++l)
    {
        const bool inside = (in >> l & 1u) != 0;
        const std::ptrdiff_t i = inside ? ix[l] : 0, j = inside ? iy[l] : 0;
        const std::ptrdiff_t i2 = blendLast && i == t.nx - 1 ? i : i + 1, j2 = blendLast && j == t.ny - 1 ? j : j + 1;
        at[0][l] = 2 * (j * t.nx + i);
        at[1][l] = 2 * (j * t.nx + i2);
        at[2][l] = 2 * (j2 * t.nx + i2);
        at[3][l] = 2 * (j2 * t.nx + i);
    }
    for (int c = 0; c < 4; ++c)
        s[c] = FetchOne(t.samples, at[c]);
}

/// Both members of the lanes in the mask, 0 elsewhere: a sample has the width of a double lane.
LML_INLINE VF Keep(VD::Mask mask, VF value)
{
#if LML_WIDE_LEVEL == 0
    return VF(_mm_castpd_ps(ZeroUnless(mask, VD(_mm_castps_pd(value.v))).v));
#elif LML_WIDE_LEVEL == 1
    return VF(_mm256_castpd_ps(ZeroUnless(mask, VD(_mm256_castps_pd(value.v))).v));
#else
    return VF(_mm512_castpd_ps(ZeroUnless(mask, VD(_mm512_castps_pd(value.v))).v));
#endif
}

struct BiLinearLookup
{
    LML_MEMBER static VF At(const RotationLookup& t, VD u, VD v)
    {
        const VD x = u / VD(t.px) + VD(double(t.nx / 2)), y = v / VD(t.py) + VD(double(t.ny / 2));
        const VD i = Floor(x), j = Floor(y), zero = VD::Zero();
        const auto in = (i >= zero) & (i <= VD(double(t.nx - 1))) & (j >= zero) & (j <= VD(double(t.ny - 1)));
        if (!Any(in))
            return VF::Zero();
        VF s[4];
        FetchCells(t, Bits(in), i, j, true, s);
        const VD dx = x - i, dy = y - j, one(1.0);
        return Keep(in, BiLinearValue(s, one - dx, dx, one - dy, dy));
    }
};

struct LinearLookup
{
    LML_MEMBER static VF At(const RotationLookup& t, VD u, VD v)
    {
        const VD halfX(double(t.nx / 2)), halfY(double(t.ny / 2)), px(t.px), py(t.py), zero = VD::Zero();
        const VD x = Quantise(u / px) + halfX, y = Quantise(v / py) + halfY;
        const auto in = (x >= zero) & (x <= VD(double(t.nx - 1))) & (y >= zero) & (y <= VD(double(t.ny - 1)));
        if (!Any(in))
            return VF::Zero();
        const VD i = Min(Floor(x), VD(double(t.nx - 2))), j = Min(Floor(y), VD(double(t.ny - 2)));
        VF s[4];
        FetchCells(t, Bits(in), i, j, false, s);
        const VD a = (u - (i - halfX) * px) / px, b = (v - (j - halfY) * py) / py, one(1.0);
        return Keep(in, LinearValue(s, one - a, a, one - b, b));
    }
};

struct NearestLookup
{
    LML_MEMBER static VF At(const RotationLookup& t, VD u, VD v)
    {
        const VD halfX(double(t.nx / 2)), halfY(double(t.ny / 2)), round(0.5), zero = VD::Zero();
        const VD i = Floor(u / VD(t.px) + round) + halfX, j = Floor(v / VD(t.py) + round) + halfY;
        const auto in = (i >= zero) & (i <= VD(double(t.nx - 1))) & (j >= zero) & (j <= VD(double(t.ny - 1)));
        if (!Any(in))
            return VF::Zero();
        std::int32_t ix[kLanes], iy[kLanes];
        TruncToInt(i).StoreU(ix);
        TruncToInt(j).StoreU(iy);
        std::ptrdiff_t at[kLanes];
        for (int l = 0; l < kLanes; ++l)
            at[l] = (Bits(in) >> l & 1u) != 0 ? 2 * (std::ptrdiff_t(iy[l]) * t.nx + ix[l]) : 0;
        return Keep(in, FetchOne(t.samples, at));
    }
};

template <class Lookup>
static double RotateRow(const RotationLookup& t, double v, std::size_t count, float* to, double energy)
{
    const double vc = t.centerV + v;
    const VD vv(v * v), vcvc(vc * vc), limit(t.limit), zero = VD::Zero();
    for (std::size_t n = 0; n < count; n += kLanes)
    {
        const VD u = CountFrom(double(std::ptrdiff_t(n) - t.half)) * VD(t.pitch);
        const VD uc = VD(t.centerU) + u;
        const VD rest = (limit - uc * uc) - vcvc;
        const auto dark = (u * u + vv >= limit) | (rest <= zero);
        if (All(dark))
        {
            StoreSome(to + 2 * n, VF::Zero(), count - n);
            continue;
        }
        const VD w = Sqrt(rest);
        const VD su = (VD(t.r[0][0]) * uc + VD(t.r[0][1] * vc)) + VD(t.r[0][2]) * w;
        const VD sv = (VD(t.r[1][0]) * uc + VD(t.r[1][1] * vc)) + VD(t.r[1][2]) * w;
        const VF value = Lookup::At(t, su, sv);
        VD re = Widen(RealParts(value)), im = Widen(ImagParts(value));
        if (t.jacobian)
        {
            const VD jacobian = Abs((VD(t.ax) * uc + VD(t.ay * vc)) / w + VD(t.az));
            re = Widen(Narrow(re * jacobian));
            im = Widen(Narrow(im * jacobian));
        }
        re = Select(dark, zero, re);
        im = Select(dark, zero, im);
        StoreSome(to + 2 * n, Join(Narrow(re), Narrow(im)), count - n);
        double square[kLanes];
        (re * re + im * im).StoreU(square);
        const std::size_t some = count - n < std::size_t(kLanes) ? count - n : std::size_t(kLanes);
        for (std::size_t l = 0; l < some; ++l)
            energy += square[l];
    }
    return energy;
}

const InterpolTable interpolTable = {{ResampleNearest, ResampleCells<false>, ResampleCells<true>,
                                      ResampleTaps<BiCubicSum>, ResampleTaps<SeparableSum<2>>,
                                      ResampleTaps<SeparableSum<3>>, ResampleTaps<SeparableSum<4>>},
                                     {RotateRow<NearestLookup>, RotateRow<BiLinearLookup>, RotateRow<LinearLookup>,
                                      RotateRow<TapLookup<BiCubicSum>>, RotateRow<TapLookup<SeparableSum<2>>>,
                                      RotateRow<TapLookup<SeparableSum<3>>>, RotateRow<TapLookup<SeparableSum<4>>>},
                                     AddRow,
                                     MultiplyRow,
                                     AllFinite};

} // namespace LumoraLib::detail::LML_WIDE_NS
