// Wide transforms: the part of a row that is read or written, and rows fetched ahead.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Memory that is needed soon, up to two runs of it, fetched bit by bit while the arithmetic goes on: what is asked for
/// faster than memory delivers is dropped. The hint is that of the first cache, though a row pushes the next one out of
/// it before its turn: requests for the second cache alone are dropped sooner.
struct Fetch
{
    const char* next = nullptr;
    const char* end = nullptr;
    const char* second = nullptr;
    const char* secondEnd = nullptr;

    /// The samples of a row n long that are read.
    LML_MEMBER void Set(const AxisView<const Complex>& row, std::size_t n)
    {
        const WideRange range = row.range;
        const bool one = range.begin <= range.end;
        next = reinterpret_cast<const char*>(row.samples + (std::ptrdiff_t(range.begin) - std::ptrdiff_t(row.origin)));
        end = next + 8 * ((one ? range.end : n) - range.begin);
        second = reinterpret_cast<const char*>(row.samples);
        secondEnd = second + (one ? 0 : 8 * range.end);
    }
    template <int kLines>
    LML_MEMBER void Some()
    {
        if (next >= end)
        {
            next = second;
            end = secondEnd;
            second = secondEnd;
            if (next >= end)
                return;
        }
#pragma GCC unroll 16
        for (int i = 0; i < kLines; ++i)
            _mm_prefetch(next + 64 * i, _MM_HINT_T0);
        next += 64 * kLines;
    }
};

/// Whether the range has all, or none, of the W indices from `axis` on. Runs of W do not wrap.
LML_INLINE bool HasRun(const WideRange& range, std::size_t axis)
{
    const bool from = axis >= range.begin, to = axis + W <= range.end;
    return range.begin <= range.end ? from && to : from || to;
}
LML_INLINE bool HasNoneOf(const WideRange& range, std::size_t axis)
{
    const bool before = axis + W <= range.begin, behind = axis >= range.end;
    return range.begin <= range.end ? before || behind : before && behind;
}

/// The whole axis from its first index on.
template <class Sample>
LML_INLINE bool IsWhole(const AxisView<Sample>& row, std::size_t n)
{
    return row.range.IsAll(n) && row.origin == 0;
}

/// A sample of a row by its axis index.
template <class Sample>
LML_INLINE auto SampleAt(const AxisView<Sample>& row, std::size_t axis)
{
    return Floats(row.samples) + 2 * (std::ptrdiff_t(axis) - std::ptrdiff_t(row.origin));
}

#if LML_WIDE_LEVEL == 2
/// Which of the W indices from `axis` on the range has, a bit for each.
LML_INLINE unsigned MaskOf(const WideRange& range, std::size_t axis)
{
    const auto below = [axis](std::size_t bound) LML_LAMBDA
    {
        const std::size_t lanes = bound > axis ? bound - axis : 0;
        return lanes < W ? (1u << lanes) - 1u : 0xffffu;
    };
    const unsigned begin = below(range.begin), end = below(range.end);
    return range.begin <= range.end ? end & ~begin : (end | ~begin) & 0xffffu;
}
/// W samples from an end of the part, zeros outside.
LML_INLINE C LoadEnd(const AxisView<const Complex>& row, std::size_t axis)
{
    const unsigned mask = MaskOf(row.range, axis);
    const float* const from = SampleAt(row, axis);
    return Split(VF(_mm512_castpd_ps(_mm512_maskz_loadu_pd(__mmask8(mask), from))),
                 VF(_mm512_castpd_ps(_mm512_maskz_loadu_pd(__mmask8(mask >> 8), from + W))));
}
/// The same the other way; what lies outside is left alone.
LML_INLINE void StoreEnd(const AxisView<Complex>& row, std::size_t axis, C v)
{
    const unsigned mask = MaskOf(row.range, axis);
    float* const to = SampleAt(row, axis);
    _mm512_mask_storeu_pd(to, __mmask8(mask), _mm512_castps_pd(JoinLow(v).v));
    _mm512_mask_storeu_pd(to + W, __mmask8(mask >> 8), _mm512_castps_pd(JoinHigh(v).v));
}
#else
/// W samples from an end of the part, zeros outside.
LML_NOINLINE void CopyEnd(const AxisView<const Complex>& row, std::size_t axis, float* piece)
{
    for (std::size_t l = 0; l < W; ++l)
    {
        const bool has = row.range.Has(axis + l);
        const float* const from = SampleAt(row, axis + l);
        piece[2 * l] = has ? from[0] : 0.0f;
        piece[2 * l + 1] = has ? from[1] : 0.0f;
    }
}
LML_NOINLINE void WriteEnd(const AxisView<Complex>& row, std::size_t axis, const float* piece)
{
    for (std::size_t l = 0; l < W; ++l)
    {
        if (!row.range.Has(axis + l))
            continue;
        float* const to = SampleAt(row, axis + l);
        to[0] = piece[2 * l];
        to[1] = piece[2 * l + 1];
    }
}
LML_INLINE C LoadEnd(const AxisView<const Complex>& row, std::size_t axis)
{
    alignas(64) float piece[2 * W];
    CopyEnd(row, axis, piece);
    return LoadSamples(piece);
}
/// The same the other way; what lies outside is left alone.
LML_INLINE void StoreEnd(const AxisView<Complex>& row, std::size_t axis, C v)
{
    alignas(64) float piece[2 * W];
    StoreSamples(piece, v);
    WriteEnd(row, axis, piece);
}
#endif

/// W samples at the axis index of a partial row, zeros outside the part.
LML_INLINE C LoadPart(const AxisView<const Complex>& row, std::size_t axis)
{
    if (HasRun(row.range, axis))
        return LoadSamples(SampleAt(row, axis));
    if (HasNoneOf(row.range, axis))
        return {VF::Zero(), VF::Zero()};
    return LoadEnd(row, axis);
}

/// The same the other way; what lies outside is left alone.
LML_INLINE void StorePart(const AxisView<Complex>& row, std::size_t axis, C v, bool stream)
{
    if (HasRun(row.range, axis))
    {
        if (stream)
            StreamSamples(SampleAt(row, axis), v);
        else
            StoreSamples(SampleAt(row, axis), v);
        return;
    }
    if (HasNoneOf(row.range, axis))
        return;
    StoreEnd(row, axis, v);
}

/// The part of a row that is read, to the whole axis; zeros elsewhere.
LML_INLINE void ReadRange(const AxisView<const Complex>& row, std::size_t n, Complex* to)
{
    const WideRange range = row.range;
    const auto copy = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        if (begin < end)
            std::memcpy(Floats(to + begin), SampleAt(row, begin), (end - begin) * 8);
    };
    const auto zero = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        std::memset(Floats(to + begin), 0, (end - begin) * 8);
    };
    if (range.begin <= range.end)
    {
        zero(0, range.begin);
        copy(range.begin, range.end);
        zero(range.end, n);
    }
    else
    {
        copy(0, range.end);
        zero(range.end, range.begin);
        copy(range.begin, n);
    }
}

/// The part of a row that is written, from the whole axis.
LML_INLINE void WriteRange(const AxisView<Complex>& row, std::size_t n, const Complex* from)
{
    const WideRange range = row.range;
    const auto copy = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        if (begin < end)
            std::memcpy(SampleAt(row, begin), Floats(from + begin), (end - begin) * 8);
    };
    const bool one = range.begin <= range.end;
    copy(one ? range.begin : 0, range.end);
    if (!one)
        copy(range.begin, n);
}
} // namespace LumoraLib::detail::LML_WIDE_NS
