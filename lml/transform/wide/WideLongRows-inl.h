// Wide transforms: rows of 256 samples and more. Lanes are neighbouring samples.
//
// n = 16 m 16: the first radix is 16, then come radices that leave 16 neighbouring samples of each place; those are
// transposed in registers, so that the last radix works on lanes that are neighbouring outputs.
//
// With 16 lanes the transposition is taken apart, so that its shuffles run beside additions: the first radix transposes
// 4 x 4 floats within 128 bits (four of its outputs against four samples), the last one 4 x 4 quarters. In between a
// vector holds, in lane 4 l + i, output i of a four at one of the samples in lanes 4 l .. 4 l + 3, one vector for each
// of these.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Outputs of the first radix that share the vectors of a line, and floats per sample of a line.
static constexpr std::ptrdiff_t kLineOutputs = W == 16 ? 4 : 1;
static constexpr std::ptrdiff_t kSpan = 2 * kLineOutputs;

/// From one line to the next in the buffer; 128 bytes more than the samples, so that lines fall in different cache
/// sets.
LML_INLINE std::ptrdiff_t LineStep(std::size_t samples)
{
    return kSpan * std::ptrdiff_t(samples) + 32;
}

#if LML_WIDE_LEVEL == 2
/// 4 x 4 within 128 bits: vector j gets the sample in lane 4 l + j of a, b, c, d in quarter l.
LML_INLINE void PutQuarters(float* to, VF a, VF b, VF c, VF d)
{
    const __m512d ab0 = _mm512_castps_pd(_mm512_unpacklo_ps(a.v, b.v));
    const __m512d ab1 = _mm512_castps_pd(_mm512_unpackhi_ps(a.v, b.v));
    const __m512d cd0 = _mm512_castps_pd(_mm512_unpacklo_ps(c.v, d.v));
    const __m512d cd1 = _mm512_castps_pd(_mm512_unpackhi_ps(c.v, d.v));
    _mm512_store_ps(to, _mm512_castpd_ps(_mm512_unpacklo_pd(ab0, cd0)));
    _mm512_store_ps(to + kPair, _mm512_castpd_ps(_mm512_unpackhi_pd(ab0, cd0)));
    _mm512_store_ps(to + 2 * kPair, _mm512_castpd_ps(_mm512_unpacklo_pd(ab1, cd1)));
    _mm512_store_ps(to + 3 * kPair, _mm512_castpd_ps(_mm512_unpackhi_pd(ab1, cd1)));
}

/// The first radix, root factors, and out. The fours are outputs 2 h, 2 h + 1, 2 h + 8, 2 h + 9, so that quarters side
/// by side are outputs in the lane order of StoreSamples.
LML_INLINE void PutFirst(C* x, const float* roots, float* to, std::ptrdiff_t line)
{
    Radix16First(x);
#pragma GCC unroll 2
    for (int g = 0; g < 4; g += 2) // outputs g, g + 1, and these plus 4, 8, 12
    {
#pragma GCC unroll 2
        for (int k = g; k < g + 2; ++k)
        {
            Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
            for (int q = k == 0 ? 1 : 0; q < 4; ++q)
                x[4 * k + q] = Times(x[4 * k + q], VF::Load(roots + (k + 4 * q) * kPair),
                                     VF::Load(roots + (k + 4 * q) * kPair + W));
        }
        const C* y = x + 4 * g;
#pragma GCC unroll 2
        for (int h = 0; h < 2; ++h)
        {
            float* out = to + (g / 2 + 2 * h) * line;
            PutQuarters(out, y[h].r, y[4 + h].r, y[2 + h].r, y[6 + h].r);
            PutQuarters(out + W, y[h].i, y[4 + h].i, y[2 + h].i, y[6 + h].i);
        }
    }
}

/// 16 places of 16 samples, transposed, into the first half of the last radix.
LML_INLINE void GetLast(const float* t, std::ptrdiff_t line, C* x)
{
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        const int j = i / 2 + i % 2 * 2; // in this order every two vectors complete two butterflies
#pragma GCC unroll 2
        for (int part = 0; part < 2; ++part)
        {
            const float* from = t + j * kPair + part * W;
            const __m512 a = _mm512_load_ps(from), b = _mm512_load_ps(from + line);
            const __m512 c = _mm512_load_ps(from + 2 * line), d = _mm512_load_ps(from + 3 * line);
            const __m512 ab0 = _mm512_shuffle_f32x4(a, b, 0x88), ab1 = _mm512_shuffle_f32x4(a, b, 0xdd);
            const __m512 cd0 = _mm512_shuffle_f32x4(c, d, 0x88), cd1 = _mm512_shuffle_f32x4(c, d, 0xdd);
            const VF u[4] = {VF(_mm512_shuffle_f32x4(ab0, cd0, 0x88)), VF(_mm512_shuffle_f32x4(ab1, cd1, 0x88)),
                             VF(_mm512_shuffle_f32x4(ab0, cd0, 0xdd)), VF(_mm512_shuffle_f32x4(ab1, cd1, 0xdd))};
#pragma GCC unroll 4
            for (int l = 0; l < 4; ++l)
                (part == 0 ? x[WideLaneSample(4 * l + j, W)].r : x[WideLaneSample(4 * l + j, W)].i) = u[l];
        }
    }
    Radix16First(x);
}
#else
LML_INLINE void PutFirst(C* y, const float* roots, float* to, std::ptrdiff_t line)
{
    Radix16(y);
    StorePair(to, y[0]);
#pragma GCC unroll 16
    for (int k = 1; k < 16; ++k)
        StorePair(to + k * line, Times(y[k], VF::Load(roots + k * kPair), VF::Load(roots + k * kPair + W)));
}

LML_INLINE void GetLast(const float* t, std::ptrdiff_t line, C* x)
{
#pragma GCC unroll 4
    for (int h = 0; h < 16 / W; ++h)
#pragma GCC unroll 2
        for (int part = 0; part < 2; ++part)
        {
            VF r[W];
#pragma GCC unroll 16
            for (int i = 0; i < W; ++i)
                r[i] = VF::Load(t + WideLaneSample(i, W) * line + h * kPair + part * W);
            Transpose(r);
#pragma GCC unroll 16
            for (int i = 0; i < W; ++i)
                (part == 0 ? x[h * W + WideLaneSample(i, W)].r : x[h * W + WideLaneSample(i, W)].i) = r[i];
        }
    Radix16First(x);
}
#endif

/// Rows from this length on, 32 KiB, are out of the first cache when their turn comes. With 16 lanes they are fetched
/// at the pace of the arithmetic, and once more shortly before the first radix reads them; narrower lanes gain nothing.
LML_INLINE bool IsFar(std::size_t n)
{
    return W == 16 && n >= 4096;
}
static constexpr std::size_t kSoon = 32; // samples

/// Samples of a radix in between for which a line is fetched, where 16 lanes take `wide`.
LML_INLINE constexpr int SamplesALine(int wide)
{
    return W == 16 ? wide : 16;
}

/// One row: where it is read and written, which may be the same place, and what is fetched meanwhile.
struct RowJob
{
    AxisView<const Complex> source = {};
    AxisView<Complex> target = {};
    std::size_t n = 0;
    float scale = 1.0f;
    bool stream = false; ///< stores past the caches
    Fetch fetch = {};
};

/// The vectors from `first` on of eight inputs of the first radix, once more: some requests were dropped.
LML_INLINE void FetchSoon(const float* first, std::ptrdiff_t step)
{
#pragma GCC unroll 8
    for (int a = 0; a < 8; ++a)
#pragma GCC unroll 2
        for (std::ptrdiff_t f = 0; f < kPair; f += 16)
            _mm_prefetch(reinterpret_cast<const char*>(first + a * step + f), _MM_HINT_T0);
}

/// First radix: x[a m + b], m = n / 16, to the lines of the buffer with the root factors.
template <bool kInverse, bool kAll, bool kFar>
LML_INLINE void RowFirst(const AxisView<const Complex>& row, Fetch& fetch, float* buffer, const float* roots,
                         std::size_t m)
{
    const float* const x = Floats(row.samples);
    const bool shift = row.shift;
    const std::ptrdiff_t step = std::ptrdiff_t(2 * m), line = LineStep(m);
    const float* low = x + (shift ? 8 * step : 0);  // inputs 0..7 of the transform
    const float* high = x + (shift ? 0 : 8 * step); // and 8..15
    const std::size_t flip = shift ? 8 * m : 0;
    for (std::size_t b = 0; b < m; b += W, roots += 16 * kPair)
    {
        fetch.Some<kFar ? 3 * W / 4 : W / 2>();
        const std::ptrdiff_t at = std::ptrdiff_t(2 * b);
        if (kFar && kAll && b + kSoon < m)
        {
            FetchSoon(low + at + 2 * kSoon, step);
            FetchSoon(high + at + 2 * kSoon, step);
        }
        C y[16];
        if constexpr (kAll)
        {
#pragma GCC unroll 8
            for (int a = 0; a < 8; ++a)
            {
                y[a] = Exchanged<kInverse>(LoadSamples(low + a * step + at));
                y[a + 8] = Exchanged<kInverse>(LoadSamples(high + a * step + at));
            }
        }
        else
#pragma GCC unroll 16
            for (std::size_t a = 0; a < 16; ++a)
                y[a] = Exchanged<kInverse>(LoadPart(row, (a * m + b) ^ flip));
        PutFirst(y, roots, buffer + kSpan * std::ptrdiff_t(b), line);
    }
}

/// A radix in between, in place on R * `step` samples of a line: roots [vector][k] pairs. With 16 lanes a line
/// is fetched for so many samples.
template <int R, int kSamples>
LML_INLINE void RowMiddle(float* t, std::ptrdiff_t step, const float* roots, Fetch& fetch)
{
    const std::ptrdiff_t apart = kSpan * step;
    for (std::ptrdiff_t v = 0; v < apart; v += kPair, t += kPair, roots += R * kPair)
    {
        fetch.Some<W * R / SamplesALine(kSamples)>();
        C x[R];
#pragma GCC unroll 16
        for (int p = 0; p < R; ++p)
            x[p] = LoadPair(t + p * apart);
        Radix<R>(x);
        StorePair(t, x[0]);
#pragma GCC unroll 16
        for (int k = 1; k < R; ++k)
            StorePair(t + k * apart, Times(x[k], VF::Load(roots + k * kPair), VF::Load(roots + k * kPair + W)));
    }
}

/// All radices in between, on one line of `length` samples.
LML_INLINE void RowRest(float* t, const WideLength& length, Fetch& fetch)
{
    const float* roots = length.lineRoots;
    switch (length.lg)
    {
    case 4:
        return;
    case 5:
        return RowMiddle<2, 16>(t, 16, roots, fetch);
    case 6:
        return RowMiddle<4, 16>(t, 16, roots, fetch);
    case 7:
        return RowMiddle<8, 16>(t, 16, roots, fetch);
    case 8:
        return RowMiddle<16, 32>(t, 16, roots, fetch);
    case 9:
        RowMiddle<4, 64>(t, 128, roots, fetch);
        break;
    case 10:
        RowMiddle<8, 64>(t, 128, roots, fetch);
        break;
    case 11:
        RowMiddle<16, 64>(t, 128, roots, fetch);
        break;
    default:
        RowMiddle<16, 64>(t, 256, roots, fetch);
        for (std::ptrdiff_t k = 0; k < 16; ++k)
            RowMiddle<16, 64>(t + k * 256 * kSpan, 16, length.lineNext->lineRoots, fetch);
        return;
    }
    for (std::size_t k = 0; k < length.n / 128; ++k)
        RowMiddle<8, 64>(t + std::ptrdiff_t(k) * 128 * kSpan, 16, length.lineNext->lineRoots, fetch);
}

enum class RowOut
{
    Part,
    Whole,
    WholePast ///< past the caches
};

/// Outputs axis + d n / 16 of a row.
template <bool kInverse, RowOut kOut>
LML_INLINE void RowLast(const float* t, std::ptrdiff_t line, const RowJob& job, std::size_t axis, std::size_t m)
{
    C x[16];
    GetLast(t, line, x);
    const std::ptrdiff_t step = std::ptrdiff_t(2 * m);
    const VF scale(job.scale);
    const bool shift = job.target.shift;
    float* const y = Floats(job.target.samples) + 2 * axis;
    float* low = y + (shift ? 8 * step : 0);
    float* high = y + (shift ? 0 : 8 * step);
    const std::size_t flip = shift ? 8 * m : 0;
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
    {
        Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q)
        {
            const C v = Exchanged<kInverse>(Scaled(x[4 * k + q], scale));
            if constexpr (kOut == RowOut::Whole)
                StoreSamples((q < 2 ? low : high) + (k + 4 * q % 8) * step, v);
            else if constexpr (kOut == RowOut::WholePast)
                StreamSamples((q < 2 ? low : high) + (k + 4 * q % 8) * step, v);
            else
                StorePart(job.target, (axis + std::size_t(k + 4 * q) * m) ^ flip, v, job.stream);
        }
    }
}

/// All but the last radix, and the last radix.
template <bool kInverse, bool kAll>
LML_NOINLINE void RowBegin(const WideLength& length, RowJob& job, float* buffer)
{
    const WideLength& rest = *length.rowNext;
    const std::ptrdiff_t line = LineStep(rest.n);
    Fetch fetch = job.fetch;
    if (IsFar(length.n) && fetch.next != nullptr) // a row alone is in a cache
        RowFirst<kInverse, kAll, true>(job.source, fetch, buffer, length.rowRoots, rest.n);
    else
        RowFirst<kInverse, kAll, false>(job.source, fetch, buffer, length.rowRoots, rest.n);
    if (rest.n > 16)
        for (int k = 0; k < 16 / kLineOutputs; ++k)
            RowRest(buffer + k * line, rest, fetch);
    job.fetch = fetch;
}

template <bool kInverse, RowOut kOut>
LML_NOINLINE void RowEnd(const WideLength& length, const RowJob& job, const float* buffer)
{
    const std::size_t m = length.n / 16;
    const std::ptrdiff_t line = LineStep(m);
    Fetch fetch = job.fetch;
    const bool far = IsFar(length.n);
    // Outputs k + 16 j of the radices so far, W at once; j counts runs of 16 samples. Where two radices stood in
    // between, the runs lie in the reversed order of their digits: j = k2 + R k3 at (m / 16 R) k2 + k3, R the first of
    // the two.
    const std::size_t ways = m <= 256 ? 1 : std::size_t(WideLineRadix(length.lg - 4));
    for (std::size_t j = 0; j < m / 16; ++j)
    {
        const float* run = buffer + 16 * kSpan * std::ptrdiff_t(ways == 1 ? j : j % ways * (m / 16 / ways) + j / ways);
        for (int k = 0; k < 16; k += W)
        {
            fetch.Some<W / 2>();
            if (far)
                fetch.Some<W / 4>();
            RowLast<kInverse, kOut>(run + k / kLineOutputs * line, line, job, std::size_t(k) + 16 * j, m);
        }
    }
}

template <bool kInverse>
LML_INLINE void LongRow(const WideLength& length, RowJob& job, float* buffer)
{
    IsWhole(job.source, job.n) ? RowBegin<kInverse, true>(length, job, buffer)
                               : RowBegin<kInverse, false>(length, job, buffer);
    if (!IsWhole(job.target, job.n))
        RowEnd<kInverse, RowOut::Part>(length, job, buffer);
    else if (job.stream)
        RowEnd<kInverse, RowOut::WholePast>(length, job, buffer);
    else
        RowEnd<kInverse, RowOut::Whole>(length, job, buffer);
}

LML_INLINE void LongRow(bool inverse, const WideLength& length, RowJob& job, float* buffer)
{
    inverse ? LongRow<true>(length, job, buffer) : LongRow<false>(length, job, buffer);
}
} // namespace LumoraLib::detail::LML_WIDE_NS
