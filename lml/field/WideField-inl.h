// Element-wise loops over samples, the wide room. See WideField.h.
namespace LumoraLib::detail::LML_WIDE_NS
{
namespace field
{
static constexpr std::size_t kSamplesD = static_cast<std::size_t>(VD::lanes);
static constexpr std::size_t kSamplesF = static_cast<std::size_t>(VF::lanes);

/// Samples in index order against widened members; at 512 bits by one permutation instead of one per half.
LML_INLINE void LoadSamples(const float* p, VD& re, VD& im)
{
#if LML_WIDE_LEVEL == 2
    const __m512i order = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
    const __m512 both = _mm512_permutexvar_ps(order, _mm512_loadu_ps(p));
    re = VD(_mm512_cvtps_pd(_mm512_castps512_ps256(both)));
    im = VD(_mm512_cvtps_pd(_mm512_extractf32x8_ps(both, 1)));
#else
    LoadComplex(p, re, im);
#endif
}
LML_INLINE void StoreSamples(float* p, VD re, VD im)
{
#if LML_WIDE_LEVEL == 2
    const __m512i order = _mm512_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    const __m512 both = _mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(re.v)), _mm512_cvtpd_ps(im.v), 1);
    _mm512_storeu_ps(p, _mm512_permutexvar_ps(order, both));
#else
    StoreComplex(p, re, im);
#endif
}
/// (first, 0): a float with 32 zero bits above it.
LML_INLINE void StoreFirst(float* p, VD first)
{
#if LML_WIDE_LEVEL == 0
    _mm_storeu_ps(p, _mm_unpacklo_ps(_mm_cvtpd_ps(first.v), _mm_setzero_ps()));
#elif LML_WIDE_LEVEL == 1
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p),
                        _mm256_cvtepu32_epi64(_mm_castps_si128(_mm256_cvtpd_ps(first.v))));
#else
    _mm512_storeu_si512(p, _mm512_cvtepu32_epi64(_mm256_castps_si256(_mm512_cvtpd_ps(first.v))));
#endif
}

// --------------------------------------------------------------------------------------------------------- the loops
// A kernel takes a whole vector's samples; the last ones are worked on in a buffer filled up with zeros, so that a tail
// has the arithmetic of any other vector.

template <std::size_t step, class Kernel>
LML_INLINE void InPlace(float* z, std::size_t n, const Kernel& kernel)
{
    std::size_t i = 0;
    for (; i + step <= n; i += step)
        kernel(z + 2 * i);
    if (i < n)
    {
        float part[2 * step] = {};
        const std::size_t bytes = (n - i) * 2 * sizeof(float);
        std::memcpy(part, z + 2 * i, bytes);
        kernel(part);
        std::memcpy(z + 2 * i, part, bytes);
    }
}

template <std::size_t step, class Kernel>
LML_INLINE void InPlace(float* a, const float* b, std::size_t n, const Kernel& kernel)
{
    std::size_t i = 0;
    for (; i + step <= n; i += step)
        kernel(a + 2 * i, b + 2 * i);
    if (i < n)
    {
        float partA[2 * step] = {}, partB[2 * step] = {};
        const std::size_t bytes = (n - i) * 2 * sizeof(float);
        std::memcpy(partA, a + 2 * i, bytes);
        std::memcpy(partB, b + 2 * i, bytes);
        kernel(partA, partB);
        std::memcpy(a + 2 * i, partA, bytes);
    }
}

/// kernel(members) on all 2 n members alike, two vectors at a time.
template <class Kernel>
LML_INLINE void EachMember(float* z, std::size_t n, const Kernel& kernel)
{
    InPlace<kSamplesF>(z, n,
                       [&](float* p) LML_LAMBDA
                       {
                           kernel(VF::LoadU(p)).StoreU(p);
                           kernel(VF::LoadU(p + kSamplesF)).StoreU(p + kSamplesF);
                       });
}
template <class Kernel>
LML_INLINE void EachMember(float* a, const float* b, std::size_t n, const Kernel& kernel)
{
    InPlace<kSamplesF>(a, b, n,
                       [&](float* p, const float* q) LML_LAMBDA
                       {
                           const VF first = kernel(VF::LoadU(p), VF::LoadU(q));
                           const VF second = kernel(VF::LoadU(p + kSamplesF), VF::LoadU(q + kSamplesF));
                           first.StoreU(p);
                           second.StoreU(p + kSamplesF);
                       });
}

/// kernel(re, im) changes the members of a vector of samples, in single precision or in double.
template <class Kernel>
LML_INLINE void EachSingle(float* z, std::size_t n, const Kernel& kernel)
{
    InPlace<kSamplesF>(z, n,
                       [&](float* p) LML_LAMBDA
                       {
                           VF re, im;
                           LoadComplex(p, re, im);
                           kernel(re, im);
                           StoreComplex(p, re, im);
                       });
}
template <class Kernel>
LML_INLINE void EachDouble(float* z, std::size_t n, const Kernel& kernel)
{
    InPlace<kSamplesD>(z, n,
                       [&](float* p) LML_LAMBDA
                       {
                           VD re, im;
                           LoadSamples(p, re, im);
                           kernel(re, im);
                           StoreSamples(p, re, im);
                       });
}

// ------------------------------------------------------------------------------------- arctangent and logarithm

/// Lanes of a result r >= 0 whose rounding to float is open. The approximation and the C library's function together
/// are off by less than 2^-43 r, that is 2^10 of r's units in the last place; a float ends where the 29 bits below it
/// are 2^28, and what lies within 2^12 of that is left out.
LML_INLINE VD::Mask NearFloatBoundary(VD r)
{
    constexpr std::int64_t reach = std::int64_t{1} << 12;
    constexpr std::int64_t below = (std::int64_t{1} << 29) - 2 * reach; // the bits that are 0 within the reach
    constexpr std::int64_t one = std::int64_t{0x3ff} << 52;
    const VL bits = (BitsOf(r) - VL((std::int64_t{1} << 28) - reach)) & VL(below);
    return FromBits(bits | VL(one)) == VD(1.0);
}

/// Infinite or not a number.
LML_INLINE VD::Mask NotFinite(VD a)
{
    return (a - a) != VD::Zero();
}

/// Stores the rounded pair; lanes that are left out get their second (first) member from the plain function.
LML_NOINLINE void StorePhaseSlow(float* p, VD amplitude, VD phase, unsigned slow)
{
    float x[kSamplesD * 2];
    std::memcpy(x, p, sizeof x);
    StoreComplex(p, amplitude, phase);
    for (std::size_t j = 0; j < kSamplesD; ++j)
        if ((slow >> j & 1u) != 0)
            p[2 * j + 1] = PlainPhase(x[2 * j], x[2 * j + 1]);
}
LML_NOINLINE void StoreLogSlow(float* p, VD result, double l, unsigned slow)
{
    float x[kSamplesD * 2];
    std::memcpy(x, p, sizeof x);
    StoreComplex(p, result, VD::Zero());
    for (std::size_t j = 0; j < kSamplesD; ++j)
        if ((slow >> j & 1u) != 0)
            p[2 * j] = PlainLogIntensity(x[2 * j], x[2 * j + 1], l);
}

static void ToPolar(float* z, std::size_t n)
{
    using namespace fieldk;
    InPlace<kSamplesD>(z, n,
                       [](float* p) LML_LAMBDA
                       {
                           VD x, y;
                           LoadSamples(p, x, y);
                           const VD ax = Abs(x), ay = Abs(y), high = Max(ax, ay), low = Min(ax, ay);
                           // Folded at pi/8: beyond it pi/4 + atan((low - high) / (low + high)); sum and difference are
                           // exact there.
                           const auto steep = low > high * VD(0.41421356237309503); // sqrt(2) - 1
                           const VD above = Select(steep, low - high, low);
                           const VD divisor = Select(high == VD::Zero(), VD(1.0), Select(steep, low + high, high));
                           const VD t = above / divisor, t2 = t * t;
                           VD a = VD(kA8) * t2 + VD(kA7);
                           a = a * t2 + VD(kA6);
                           a = a * t2 + VD(kA5);
                           a = a * t2 + VD(kA4);
                           a = a * t2 + VD(kA3);
                           a = a * t2 + VD(kA2);
                           a = a * t2 + VD(kA1);
                           a = a * t2 + VD(kA0);
                           const VD sign(-0.0), pi(kPi);
                           VD r = ZeroUnless(steep, VD(0.7853981633974483)) + t * a;
                           r = Select(ay > ax, VD(1.5707963267948966) - r, r);
                           // The sign bit decides, also that of a zero.
                           r = Select(((x & sign) | VD(1.0)) < VD::Zero(), pi - r, r);
                           const auto tiny = (r < VD(0x1p-126)) & (r > VD::Zero()); // rounds at another place
                           const auto slow = NearFloatBoundary(r) | tiny | NotFinite(ax + ay);
                           const VD amplitude = Sqrt(x * x + y * y);
                           r = r | (y & sign);
                           if (Any(slow))
                               StorePhaseSlow(p, amplitude, r, Bits(slow));
                           else
                               StoreSamples(p, amplitude, r);
                       });
}

static void LogIntensity(float* z, std::size_t n, double l)
{
    using namespace fieldk;
    InPlace<kSamplesD>(z, n,
                       [l](float* p) LML_LAMBDA
                       {
                           VD x, y;
                           LoadSamples(p, x, y);
                           const VD w = x * x + VD(1.0) + y * y;
                           // w = m 2^e with m from sqrt(1/2) to sqrt(2), e >= 0 since w >= 1; at e = 0 m is at least 1.
                           const VL bits = BitsOf(w);
                           const VL e = (bits - VL(std::int64_t{0x3fe6a09e667f3bcd})).ShiftRight<52>();
                           const VD m = FromBits(bits - e.ShiftLeft<52>());
                           const VD power = FromBits(e | VL(std::int64_t{0x433} << 52)) - VD(0x1p52);
                           const VD s = (m - VD(1.0)) / (m + VD(1.0)), s2 = s * s;
                           VD b = VD(kB5) * s2 + VD(kB4);
                           b = b * s2 + VD(kB3);
                           b = b * s2 + VD(kB2);
                           b = b * s2 + VD(kB1);
                           b = b * s2 + VD(kB0);
                           const VD r = power + s * b;
                           const auto slow = NearFloatBoundary(r) | NotFinite(w);
                           if (Any(slow))
                               StoreLogSlow(p, r, l, Bits(slow));
                           else
                               StoreFirst(p, r);
                       });
}

// ----------------------------------------------------------------------------------------------- simple conversions

static void Intensity(float* z, std::size_t n)
{
    InPlace<2 * kSamplesD>(z, n,
                           [](float* p) LML_LAMBDA
                           {
                               VD x, y, u, v;
                               LoadSamples(p, x, y);
                               LoadSamples(p + 2 * kSamplesD, u, v);
                               StoreFirst(p, x * x + y * y);
                               StoreFirst(p + 2 * kSamplesD, u * u + v * v);
                           });
}

static void Absolute(float* z, std::size_t n)
{
    InPlace<kSamplesD>(z, n,
                       [](float* p) LML_LAMBDA
                       {
                           VD x, y;
                           LoadSamples(p, x, y);
                           StoreFirst(p, Sqrt(x * x + y * y));
                       });
}

static void SquareFirst(float* z, std::size_t n)
{
    EachSingle(z, n,
               [](VF& x, VF& y) LML_LAMBDA
               {
                   x = x * x;
                   y = VF::Zero();
               });
}

static void Conjugate(float* z, std::size_t n)
{
    EachSingle(z, n, [](VF&, VF& y) LML_LAMBDA { y = VF::Zero() - y; });
}

static void Negate(float* z, std::size_t n)
{
    EachMember(z, n, [](VF a) LML_LAMBDA { return VF::Zero() - a; });
}

static void ClearSecond(float* z, std::size_t n)
{
    EachSingle(z, n, [](VF&, VF& y) LML_LAMBDA { y = VF::Zero(); });
}

// ------------------------------------------------------------------------------------------------------- arithmetic

static void Add(float* a, const float* b, std::size_t n)
{
    EachMember(a, b, n, [](VF p, VF q) LML_LAMBDA { return p + q; });
}

static void Subtract(float* a, const float* b, std::size_t n)
{
    EachMember(a, b, n, [](VF p, VF q) LML_LAMBDA { return p - q; });
}

static void Multiply(float* a, const float* b, std::size_t n)
{
    InPlace<kSamplesF>(a, b, n,
                       [](float* p, const float* q) LML_LAMBDA
                       {
                           VF ar, ai, br, bi;
                           LoadComplex(p, ar, ai);
                           LoadComplex(q, br, bi);
                           StoreComplex(p, ar * br - ai * bi, ar * bi + ai * br);
                       });
}

static void Divide(float* a, const float* b, std::size_t n)
{
    InPlace<kSamplesD>(a, b, n,
                       [](float* p, const float* q) LML_LAMBDA
                       {
                           VD ar, ai, br, bi;
                           LoadSamples(p, ar, ai);
                           LoadSamples(q, br, bi);
                           const VD d = br * br + bi * bi;
                           StoreSamples(p, (ar * br + ai * bi) / d, (ai * br - ar * bi) / d);
                       });
}

/// re and im in turn.
LML_INLINE VF Alternating(float re, float im)
{
    float pattern[kSamplesF];
    for (std::size_t j = 0; j < kSamplesF; j += 2)
    {
        pattern[j] = re;
        pattern[j + 1] = im;
    }
    return VF::LoadU(pattern);
}

static void AddConst(float* a, std::size_t n, float re, float im)
{
    const VF c = Alternating(re, im);
    EachMember(a, n, [c](VF p) LML_LAMBDA { return p + c; });
}

static void SubtractConst(float* a, std::size_t n, float re, float im)
{
    const VF c = Alternating(re, im);
    EachMember(a, n, [c](VF p) LML_LAMBDA { return p - c; });
}

static void MixedMultiply(float* a, std::size_t n, float p, float q)
{
    // A product of two widened floats is exact, so rounding it gives the single-precision product.
    const VD pd(static_cast<double>(p)), qd(static_cast<double>(q));
    EachDouble(a, n,
               [pd, qd](VD& x, VD& y) LML_LAMBDA
               {
                   const VD yq = RoundToFloat(y * qd), yp = RoundToFloat(y * pd);
                   y = x * qd + yp;
                   x = pd * x - yq;
               });
}

static void Scale(float* a, std::size_t n, float f)
{
    const VF factor(f);
    EachMember(a, n, [factor](VF p) LML_LAMBDA { return p * factor; });
}

static void ScaleDouble(float* a, std::size_t n, double f)
{
    const VD factor(f);
    InPlace<kSamplesD>(a, n,
                       [factor](float* p) LML_LAMBDA
                       {
                           VD first, second;
                           LoadFloats(p, first);
                           LoadFloats(p + kSamplesD, second);
                           StoreFloats(p, first * factor);
                           StoreFloats(p + kSamplesD, second * factor);
                       });
}

static void ScaleFirst(float* a, std::size_t n, double f)
{
    const VD factor(f);
    EachDouble(a, n, [factor](VD& x, VD&) LML_LAMBDA { x = x * factor; });
}

// --------------------------------------------------------------------------------------------------------- measures

LML_NOINLINE double LargestExactSquare(const float* z, std::size_t n, double start)
{
    // Max gives its second operand where either is not a number, as the comparison of the plain loop does.
    VD first(start), second(start);
    std::size_t i = 0;
    for (; i + 2 * kSamplesD <= n; i += 2 * kSamplesD)
    {
        VD x, y, u, v;
        LoadSamples(z + 2 * i, x, y);
        LoadSamples(z + 2 * (i + kSamplesD), u, v);
        first = Max(x * x + y * y, first);
        second = Max(u * u + v * v, second);
    }
    double lanes[kSamplesD];
    Max(second, first).StoreU(lanes);
    for (std::size_t j = 0; j < kSamplesD; ++j)
        start = lanes[j] > start ? lanes[j] : start;
    for (; i < n; ++i)
    {
        const double x = static_cast<double>(z[2 * i]), y = static_cast<double>(z[2 * i + 1]);
        const double square = x * x + y * y;
        start = square > start ? square : start;
    }
    return start;
}

/// Squares in single precision find the blocks that can hold a larger one: they are off by less than 2^-22 of their
/// size and, below the normal floats, by less than 2^-147.
static double LargestSquare(const float* z, std::size_t n, double start)
{
    constexpr std::size_t block = 512;
    for (std::size_t begin = 0; begin < n; begin += block)
    {
        const std::size_t count = n - begin < block ? n - begin : block;
        const float* const p = z + 2 * begin;
        VF largest = VF::Zero();
        std::size_t i = 0;
        for (; i + kSamplesF <= count; i += kSamplesF)
        {
            VF x, y;
            LoadComplex(p + 2 * i, x, y);
            largest = Max(x * x + y * y, largest);
        }
        float lanes[kSamplesF];
        largest.StoreU(lanes);
        float screen = lanes[0];
        for (std::size_t j = 1; j < kSamplesF; ++j)
            screen = lanes[j] > screen ? lanes[j] : screen;
        if (static_cast<double>(screen) * (1.0 + 0x1p-21) + 0x1p-140 > start)
            start = LargestExactSquare(p, i, start);
        if (i < count)
            start = LargestExactSquare(p + 2 * i, count - i, start);
    }
    return start;
}

static double LargestFirst(const float* z, std::size_t n, double start)
{
    VF largest(-__builtin_inff());
    std::size_t i = 0;
    for (; i + kSamplesF <= n; i += kSamplesF)
    {
        VF x, y;
        LoadComplex(z + 2 * i, x, y);
        largest = Max(x, largest);
    }
    float lanes[kSamplesF];
    largest.StoreU(lanes);
    float value = lanes[0];
    for (std::size_t j = 1; j < kSamplesF; ++j)
        value = lanes[j] > value ? lanes[j] : value;
    // Of equal zeros the first one's sign counts, which the lanes have lost.
    if (value == 0.0f)
        i = 0;
    else if (static_cast<double>(value) > start)
        start = static_cast<double>(value);
    for (; i < n; ++i)
        if (static_cast<double>(z[2 * i]) > start)
            start = static_cast<double>(z[2 * i]);
    return start;
}

static void Noise(const float* u, const float* r, std::size_t n, double re, double im, double* to)
{
    const VD sr(re), si(im);
    const auto kernel = [sr, si](const float* p, const float* q) LML_LAMBDA
    {
        VD ur, ui, rr, ri;
        LoadSamples(p, ur, ui);
        LoadSamples(q, rr, ri);
        const VD dr = RoundToFloat(ur - (rr * sr - ri * si)), di = RoundToFloat(ui - (sr * ri + si * rr));
        return dr * dr + di * di;
    };
    std::size_t i = 0;
    for (; i + kSamplesD <= n; i += kSamplesD)
        kernel(u + 2 * i, r + 2 * i).StoreU(to + i);
    if (i < n)
    {
        float partU[2 * kSamplesD] = {}, partR[2 * kSamplesD] = {};
        double results[kSamplesD];
        std::memcpy(partU, u + 2 * i, (n - i) * 2 * sizeof(float));
        std::memcpy(partR, r + 2 * i, (n - i) * 2 * sizeof(float));
        kernel(partU, partR).StoreU(results);
        std::memcpy(to + i, results, (n - i) * sizeof(double));
    }
}

template <bool mixed>
LML_INLINE void MagnitudesOf(const float* z, std::size_t n, double* to)
{
    const auto kernel = [](const float* p) LML_LAMBDA
    {
        VD x, y;
        LoadSamples(p, x, y);
        const VD yy = y * y;
        return Sqrt(x * x + (mixed ? RoundToFloat(yy) : yy));
    };
    std::size_t i = 0;
    for (; i + kSamplesD <= n; i += kSamplesD)
        kernel(z + 2 * i).StoreU(to + i);
    if (i < n)
    {
        float part[2 * kSamplesD] = {};
        double results[kSamplesD];
        std::memcpy(part, z + 2 * i, (n - i) * 2 * sizeof(float));
        kernel(part).StoreU(results);
        std::memcpy(to + i, results, (n - i) * sizeof(double));
    }
}

static void Magnitudes(const float* z, std::size_t n, double* to)
{
    MagnitudesOf<false>(z, n, to);
}
static void MixedMagnitudes(const float* z, std::size_t n, double* to)
{
    MagnitudesOf<true>(z, n, to);
}
} // namespace field

extern const FieldTable fieldTable;
const FieldTable fieldTable = {field::ToPolar,      field::Intensity,       field::Absolute,      field::SquareFirst,
                               field::LogIntensity, field::Conjugate,       field::Negate,        field::ClearSecond,
                               field::Add,          field::Subtract,        field::Multiply,      field::Divide,
                               field::AddConst,     field::SubtractConst,   field::MixedMultiply, field::Scale,
                               field::ScaleDouble,  field::ScaleFirst,      field::LargestSquare, field::LargestFirst,
                               field::Magnitudes,   field::MixedMagnitudes, field::Noise};
} // namespace LumoraLib::detail::LML_WIDE_NS
