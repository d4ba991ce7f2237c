// Point clouds in wide form. Every sample goes through the same operations in the same order at every width, so that
// the instruction set does not show in the result.

namespace LumoraLib::detail::LML_WIDE_NS
{
namespace cloud
{
static constexpr std::size_t kLanes = kLanesF;

/// Cosine and sine of 2 pi t for |t| <= 1/2: Taylor series of the half angle, then doubled. Good to 3e-7.
LML_INLINE void Turn(VF t, VF& c, VF& s)
{
    const VF h = t * VF(0.5f), h2 = h * h;
    const VF sn =
        h * (VF(6.28318531f) +
             h2 * (VF(-41.3417022f) +
                   h2 * (VF(81.6052493f) + h2 * (VF(-76.7058598f) + h2 * (VF(42.0586939f) + h2 * VF(-15.0946426f))))));
    const VF cs =
        VF(1.0f) +
        h2 * (VF(-19.7392088f) +
              h2 * (VF(64.9393940f) +
                    h2 * (VF(-85.4568172f) + h2 * (VF(60.2446414f) + h2 * (VF(-26.4262568f) + h2 * VF(7.90353637f))))));
    s = (sn * cs) * VF(2.0f);
    c = VF(1.0f) - (sn * sn) * VF(2.0f);
}

/// t less the nearest integer.
LML_INLINE VD Fraction(VD t)
{
    return t - Floor(t + VD(0.5));
}

// ------------------------------------------------------------------------------------------------- outer products

template <int terms>
LML_INLINE void SpreadTerms(const CloudOuter& o, const float* x, const float* y)
{
    float* row = o.patch;
    for (std::size_t j = 0; j < o.height; ++j, row += o.stride)
    {
        VF re[terms], im[terms];
#pragma GCC unroll 4
        for (int r = 0; r < terms; ++r)
        {
            re[r] = VF(y[std::size_t(r) * o.yStride + 2 * j]);
            im[r] = VF(y[std::size_t(r) * o.yStride + 2 * j + 1]);
        }
        for (std::size_t n = 0; n < 2 * o.width; n += kLanes)
        {
            VF v = VF::LoadU(row + n);
#pragma GCC unroll 4
            for (int r = 0; r < terms; ++r)
            {
                const float* at = x + std::size_t(r) * o.xStride + n;
                v = v + (re[r] * VF::LoadU(at) + im[r] * VF::LoadU(at + o.xTimesI));
            }
            v.StoreU(row + n);
        }
    }
}

static void Spread(const CloudOuter& o)
{
    std::size_t done = 0;
    while (done < o.terms)
    {
        const float* x = o.x + done * o.xStride;
        const float* y = o.y + done * o.yStride;
        const std::size_t left = o.terms - done;
        if (left >= 4)
            SpreadTerms<4>(o, x, y);
        else if (left == 3)
            SpreadTerms<3>(o, x, y);
        else if (left == 2)
            SpreadTerms<2>(o, x, y);
        else
            SpreadTerms<1>(o, x, y);
        done += left >= 4 ? 4 : left;
    }
}

template <int rows, int vectors>
LML_INLINE void BlockPiece(const CloudOuter& o, std::size_t j, std::size_t n)
{
    VF sum[rows][vectors];
    float* const at = o.patch + std::ptrdiff_t(j) * o.stride + n;
#pragma GCC unroll 4
    for (int a = 0; a < rows; ++a)
#pragma GCC unroll 4
        for (int b = 0; b < vectors; ++b)
            sum[a][b] = VF::LoadU(at + a * o.stride + std::ptrdiff_t(b) * std::ptrdiff_t(kLanes));
    const float* x = o.x + n;
    const float* y = o.y + 2 * j;
    for (std::size_t r = 0; r < o.terms; ++r, x += o.xStride, y += o.yStride)
    {
        VF p[vectors], q[vectors];
#pragma GCC unroll 4
        for (int b = 0; b < vectors; ++b)
        {
            p[b] = VF::LoadU(x + std::size_t(b) * kLanes);
            q[b] = VF::LoadU(x + o.xTimesI + std::size_t(b) * kLanes);
        }
#pragma GCC unroll 4
        for (int a = 0; a < rows; ++a)
        {
            const VF re(y[2 * a]), im(y[2 * a + 1]);
#pragma GCC unroll 4
            for (int b = 0; b < vectors; ++b)
                sum[a][b] = sum[a][b] + (re * p[b] + im * q[b]);
        }
    }
#pragma GCC unroll 4
    for (int a = 0; a < rows; ++a)
#pragma GCC unroll 4
        for (int b = 0; b < vectors; ++b)
            sum[a][b].StoreU(at + a * o.stride + std::ptrdiff_t(b) * std::ptrdiff_t(kLanes));
}

static void Block(const CloudOuter& o)
{
    const std::size_t width = 2 * o.width;
    std::size_t j = 0;
    for (; j + 4 <= o.height; j += 4)
    {
        std::size_t n = 0;
        for (; n + 2 * kLanes <= width; n += 2 * kLanes)
            BlockPiece<4, 2>(o, j, n);
        for (; n < width; n += kLanes)
            BlockPiece<4, 1>(o, j, n);
    }
    for (; j < o.height; ++j)
    {
        std::size_t n = 0;
        for (; n + 4 * kLanes <= width; n += 4 * kLanes)
            BlockPiece<1, 4>(o, j, n);
        for (; n < width; n += kLanes)
            BlockPiece<1, 1>(o, j, n);
    }
}

// -------------------------------------------------------------------------------------------------------- profiles

static void Profile(const CloudLookup& l, std::size_t count, float* out)
{
    const VF w0(l.weight[0]), w1(l.weight[1]), w2(l.weight[2]), w3(l.weight[3]), shift(l.shift);
    for (std::size_t n = 0; n < count; n += kLanes)
    {
        const float* t = l.table + std::size_t(l.degree) * l.toPower + n;
        VF sum = VF::Zero();
        for (int d = l.degree; d >= 0; --d, t -= l.toPower)
        {
            const VF v = (w0 * VF::LoadU(t) + w1 * VF::LoadU(t + l.toDepth)) +
                         (w2 * VF::LoadU(t + 2 * l.toDepth) + w3 * VF::LoadU(t + 3 * l.toDepth));
            sum = sum * shift + v;
        }
        sum.StoreU(out + n);
    }
}

static void TurnRow(float* x, std::size_t xTimesI, std::size_t count, float re, float im)
{
    const VF c(re), s(im);
    std::size_t n = 0;
    for (; n + kLanes <= count; n += kLanes)
    {
        VF a, b;
        LoadComplex(x + 2 * n, a, b);
        const VF p = a * c - b * s, q = a * s + b * c;
        StoreComplex(x + 2 * n, p, q);
        StoreComplex(x + 2 * n + xTimesI, VF::Zero() - q, p);
    }
    for (; n < count; ++n)
    {
        const float a = x[2 * n], b = x[2 * n + 1];
        const float p = a * re - b * im, q = a * im + b * re;
        x[2 * n] = p;
        x[2 * n + 1] = q;
        x[2 * n + xTimesI] = 0.0f - q;
        x[2 * n + 1 + xTimesI] = p;
    }
}

// ------------------------------------------------------------------------------------------------------ transforms

template <int radix>
LML_INLINE void CombineRadix(const float* parts, std::size_t partStride, const float* re, const float* im,
                             std::size_t rootStride, std::size_t count, float* out)
{
    std::size_t n = 0;
    for (; n + kLanes <= count; n += kLanes)
    {
        VF a, b;
        LoadComplex(parts + 2 * n, a, b);
#pragma GCC unroll 9
        for (int r = 1; r < radix; ++r)
        {
            VF p, q;
            LoadComplex(parts + std::size_t(r) * partStride + 2 * n, p, q);
            const VF c = VF::LoadU(re + std::size_t(r - 1) * rootStride + n);
            const VF s = VF::LoadU(im + std::size_t(r - 1) * rootStride + n);
            a = a + (p * c - q * s);
            b = b + (p * s + q * c);
        }
        StoreComplex(out + 2 * n, a, b);
    }
    for (; n < count; ++n)
    {
        float a = parts[2 * n], b = parts[2 * n + 1];
        for (int r = 1; r < radix; ++r)
        {
            const float* at = parts + std::size_t(r) * partStride + 2 * n;
            const float c = re[std::size_t(r - 1) * rootStride + n], s = im[std::size_t(r - 1) * rootStride + n];
            a = a + (at[0] * c - at[1] * s);
            b = b + (at[0] * s + at[1] * c);
        }
        out[2 * n] = a;
        out[2 * n + 1] = b;
    }
}

static void Combine(const float* parts, std::size_t partStride, std::size_t radix, const float* re, const float* im,
                    std::size_t rootStride, std::size_t count, float* out)
{
    if (radix == 1)
        std::memcpy(out, parts, 2 * count * sizeof(float));
    else if (radix == 3)
        CombineRadix<3>(parts, partStride, re, im, rootStride, count, out);
    else if (radix == 5)
        CombineRadix<5>(parts, partStride, re, im, rootStride, count, out);
    else if (radix == 7)
        CombineRadix<7>(parts, partStride, re, im, rootStride, count, out);
    else
        CombineRadix<9>(parts, partStride, re, im, rootStride, count, out);
}

// --------------------------------------------------------------------------------------------------------- spectra

static constexpr std::size_t kPiece = 64;

static void Phases(const CloudPhases& p)
{
    alignas(64) float turns[kPiece], weights[kPiece], re[kPiece], im[kPiece];
    const VD step(p.step), square0(p.square0), square1(p.square1), offset0(p.offset0), offset1(p.offset1);
    const VD distance(p.distance), shift(p.shift), scale(p.scale);
    for (std::size_t done = 0; done < p.count; done += kPiece)
    {
        alignas(64) float factors[kPiece];
        for (std::size_t n = 0; n < kPiece; n += VD::lanes)
        {
            const VD u = (VD(static_cast<double>(p.first + static_cast<std::int64_t>(done + n))) + IotaD(VD())) * step;
            const VD u2 = u * u;
            const VD root = Sqrt(square0 - u2), w = root - offset0;
            StoreFloats(turns + n, Fraction(distance * w + u * shift));
            StoreFloats(weights + n, VD(1.0) / root);
            StoreFloats(factors + n, scale * ((Sqrt(square1 - u2) - offset1) - w));
        }
        for (std::size_t n = 0; n < kPiece; n += kLanes)
        {
            VF c, s;
            Turn(VF::Load(turns + n), c, s);
            const VF w = VF::Load(weights + n);
            (c * w).Store(re + n);
            (s * w).Store(im + n);
        }
        const std::size_t count = p.count - done < kPiece ? p.count - done : kPiece;
        for (std::size_t n = 0; n < count; ++n)
        {
            p.out[2 * (done + n)] = re[n] * p.weight[done + n];
            p.out[2 * (done + n) + 1] = im[n] * p.weight[done + n];
            p.factor[done + n] = factors[n];
        }
    }
}

static void TurnSpectrum(const CloudTurn& t)
{
    alignas(64) float turns[kPiece];
    const VD square(t.square), offset(t.offset), distance(t.distance);
    const VF weight(t.weight);
    for (std::size_t done = 0; done < t.count; done += kPiece)
    {
        // The arrays of squares and weights go on to a multiple of kPiece.
        for (std::size_t n = 0; n < kPiece; n += VD::lanes)
            StoreFloats(turns + n, Fraction(distance * (Sqrt(square - VD::LoadU(t.squares + done + n)) - offset)));
        const std::size_t count = t.count - done < kPiece ? t.count - done : kPiece;
        float* const to = t.spectrum + 2 * done;
        const float* const from = t.in + 2 * done;
        for (std::size_t n = 0; n < count; n += kLanes)
        {
            VF c, s, a, b, p, q;
            Turn(VF::Load(turns + n), c, s);
            const VF w = weight * VF::LoadU(t.weights + done + n);
            c = c * w;
            s = s * w;
            if (n + kLanes <= count)
            {
                LoadComplex(from + 2 * n, a, b);
                LoadComplex(to + 2 * n, p, q);
                StoreComplex(to + 2 * n, p + (a * c - b * s), q + (a * s + b * c));
                continue;
            }
            alignas(64) float in[2 * kLanes] = {}, sum[2 * kLanes] = {};
            const std::size_t bytes = (count - n) * 2 * sizeof(float);
            std::memcpy(in, from + 2 * n, bytes);
            std::memcpy(sum, to + 2 * n, bytes);
            LoadComplex(in, a, b);
            LoadComplex(sum, p, q);
            StoreComplex(sum, p + (a * c - b * s), q + (a * s + b * c));
            std::memcpy(to + 2 * n, sum, bytes);
        }
    }
}

static void Scale(float* samples, const float* factor, std::size_t count)
{
    std::size_t n = 0;
    for (; n + kLanes <= count; n += kLanes)
    {
        VF a, b;
        LoadComplex(samples + 2 * n, a, b);
        const VF f = VF::LoadU(factor + n);
        StoreComplex(samples + 2 * n, a * f, b * f);
    }
    for (; n < count; ++n)
    {
        samples[2 * n] *= factor[n];
        samples[2 * n + 1] *= factor[n];
    }
}

static void Weigh(const CloudTurn& t)
{
    alignas(64) float factors[kPiece];
    const VD square(t.square), weight(static_cast<double>(t.weight));
    for (std::size_t done = 0; done < t.count; done += kPiece)
    {
        for (std::size_t n = 0; n < kPiece; n += VD::lanes)
        {
            VD w;
            LoadFloats(t.weights + done + n, w);
            StoreFloats(factors + n, weight * w / Sqrt(square - VD::LoadU(t.squares + done + n)));
        }
        const std::size_t count = t.count - done < kPiece ? t.count - done : kPiece;
        Scale(t.spectrum + 2 * done, factors, count);
    }
}
} // namespace cloud

extern const CloudKernels cloudKernels;
const CloudKernels cloudKernels = {cloud::Spread, cloud::Block,        cloud::Profile, cloud::TurnRow, cloud::Combine,
                                   cloud::Phases, cloud::TurnSpectrum, cloud::Weigh,   cloud::Scale};
} // namespace LumoraLib::detail::LML_WIDE_NS
