// Wide transforms: strips transformed, multiplied and transformed back in one visit.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// The spectrum of a strip that is kept: [k1][g][k2] pairs.
LML_INLINE std::ptrdiff_t KeptAt(const StripLayout& at, std::size_t k1, int g)
{
    return (std::ptrdiff_t(k1) * kGroups + g) * std::ptrdiff_t(at.b) * kPair;
}

/// The kept spectrum of one k1 and g times its factors. The next k1 in the same direction is fetched meanwhile: loads
/// that wait for memory would stop the arithmetic.
LML_INLINE void TimesKept(const StripLayout& at, float* mid, const float* from, const float* factor,
                          std::ptrdiff_t factorStep)
{
    const std::ptrdiff_t ahead = (factorStep < 0 ? -kGroups : kGroups) * std::ptrdiff_t(at.b) * kPair;
    for (std::ptrdiff_t k2 = 0; k2 < std::ptrdiff_t(at.b); ++k2, from += kPair, factor += factorStep)
    {
#pragma GCC unroll 2
        for (std::ptrdiff_t line = 0; line < kPair; line += 16)
            _mm_prefetch(reinterpret_cast<const char*>(from) + (ahead + line) * std::ptrdiff_t(sizeof(float)),
                         _MM_HINT_T1);
        StorePair(mid + k2 * kPair, Times(LoadPair(from), VF::Load(factor), VF::Load(factor + W)));
    }
}

/// Forward, factor, inverse for one k1 of a strip: buffer[g][k1][.] in place, exchanged on return. factor: [k2][g]
/// pairs with a step per k2 that may be negative, or per-row scalars. With the strip's spectrum kept, which takes
/// vectors of factors, only what comes after it.
template <Post kPost>
LML_INLINE void FusedLine(const WideLength& length, const StripLayout& at, float* mid, std::size_t k1,
                          const float* factor, std::ptrdiff_t factorStep, const WideRange& zeroRows,
                          const float* kept = nullptr)
{
    const WideLength& rows = *length.lengthB;
    NoSide none;
    for (int g = 0; g < kGroups; ++g)
    {
        float* line = at.buffer + g * at.group + std::ptrdiff_t(k1) * at.line;
        if (kept != nullptr)
            TimesKept(at, mid, kept + KeptAt(at, k1, g), factor + g * kPair, factorStep);
        else
            Lane<Form::Split, Form::Split, kPost>(
                rows,
                {.in = PairsAt<const float>(line, kPair),
                 .out = PairsAt(mid, kPair),
                 .tile = at.inner,
                 .post = {.at = kPost == Post::Vector ? factor + g * kPair : factor, .step = factorStep},
                 .groups = 1},
                none);
        if (zeroRows.begin != zeroRows.end)
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
                if (zeroRows.Has(k1 + at.a * k2))
                    StorePair(mid + std::ptrdiff_t(k2) * kPair, {VF::Zero(), VF::Zero()});
        Lane<Form::Split, Form::Split, Post::Scalar>(rows,
                                                     {.in = {.re = mid + W, .im = mid, .step = kPair}, // exchanged
                                                      .out = PairsAt(line, kPair),
                                                      .tile = at.inner,
                                                      .post = {.at = length.twiddleT + 2 * k1 * at.b, .step = 2},
                                                      .groups = 1},
                                                     none);
    }
}

/// Fetches the next column of a strip's buffer while the transforms of the present one go on: its pairs lie a line
/// apart, each in a place of its own of the last cache where the buffer is larger than the second one.
struct BufferAhead
{
    const float* first;
    std::ptrdiff_t line, group, pairs; ///< pairs of a group
    std::ptrdiff_t next = 0, due = 0, end;
    LML_MEMBER BufferAhead(const StripLayout& at, std::size_t b)
        : first(at.buffer + std::ptrdiff_t(b) * kPair), line(at.line), group(at.group), pairs(std::ptrdiff_t(at.a)),
          end(b < at.b ? pairs * kGroups : 0)
    {
    }
    LML_MEMBER void One()
    {
        const float* const pair = first + next / pairs * group + next % pairs * line;
        ++next;
#pragma GCC unroll 2
        for (std::ptrdiff_t f = 0; f < kPair; f += 16)
            _mm_prefetch(reinterpret_cast<const char*>(pair + f), _MM_HINT_T0);
    }
    LML_MEMBER void Step()
    {
        for (int i = 0; i < 4 && next < end; ++i)
            One();
    }
    LML_MEMBER void Group()
    {
        due += pairs;
        while (next < due && next < end)
            One();
    }
};

/// Inverse transforms over k1 and the way out. With `far`, the rows that are written next, which no reader has brought
/// near, are fetched meanwhile; else what comes next of a buffer that is larger than the second cache.
LML_INLINE void FusedLast(const WideLength& length, const StripLayout& at, RowWriter& writer, bool far = false)
{
    const bool wide = 2 * kWideStrip * sizeof(float) * length.n > kWideNext;
    NoSide none;
    RowAhead ahead;
    for (std::size_t b = 0; b < at.b; ++b)
    {
        const float* in = at.buffer + std::ptrdiff_t(b) * kPair;
        const LaneArgs args = {
            .in = PairsAt(in, at.line, at.group), .out = PairsAt(at.tile, kPair, at.tileA), .tile = at.inner};
        if (far)
        {
            ahead.Set(writer.place, b + 1 < at.b ? b + 1 : 0, at.b, b + 1 < at.b ? at.a : 0);
            Lane<Form::Split, Form::Split, Post::None>(*length.lengthA, args, ahead);
        }
        else if (wide)
        {
            BufferAhead buffer(at, b + 1);
            Lane<Form::Split, Form::Split, Post::None>(*length.lengthA, args, buffer);
        }
        else
            Lane<Form::Split, Form::Split, Post::None>(*length.lengthA, args, none);
        writer.Write(at.tile, at.tileA, b, at.b, at.a);
    }
}

/// Factors of a spectrum row, 64 of each part in sample order, to vectors in lane order. The mirror of the strip
/// (columns - column - 64 ..) meets values 64, 63, .. 1.
template <bool kMirrored>
LML_INLINE void PlaceFactors(const float* re, const float* im, float* to)
{
#pragma GCC unroll 16
    for (int g = 0; g < kGroups; ++g)
    {
        const std::ptrdiff_t from = kMirrored ? std::ptrdiff_t(kWideStrip) - g * W - (W - 1) : g * W;
        const VF r = VF::LoadU(re + from), i = VF::LoadU(im + from);
        (kMirrored ? LaneOrderMirrored(r) : LaneOrder(r)).Store(to + g * kPair);
        (kMirrored ? LaneOrderMirrored(i) : LaneOrder(i)).Store(to + g * kPair + W);
    }
}

/// The pass over single strips, or over pairs of a strip of the left half and its mirror, which holds the columns'
/// negatives but for the first one's. Rows k and n - k share factors too: k1 + a k2 is mirrored by
/// (a - k1) + a (b - 1 - k2).
struct FusedStrips
{
    const WideStripArgs& p;
    const WideLength& length;
    const StripLayout at;
    RowReader reader;
    RowWriter writer;
    const float* spectrum = nullptr; ///< of the strip, where it is kept
    float *values, *mid, *factors, *turned, *kept;
    static constexpr std::size_t kLargeStrip = 16384; ///< rows of strips whose buffer takes much of the last cache
    static constexpr std::size_t kRoom = kWideStrip + 16;
    static constexpr std::ptrdiff_t kFactorStep = 2 * std::ptrdiff_t(kWideStrip);

    LML_MEMBER FusedStrips(const WideStripArgs& args, float* scratch)
        : p(args), length(*args.length), at(length, scratch), reader(args, false), writer(args, true), values(at.rest),
          mid(values + 2 * kRoom), factors(mid + at.line), turned(factors + std::ptrdiff_t(at.b) * kFactorStep),
          kept(turned + (args.fused != nullptr && args.fused->row != nullptr ? std::ptrdiff_t(at.b) * kFactorStep : 0))
    {
        for (float* f = values; f < kept; f += W) // lanes beyond a narrow strip and rows that are zero are never filled
            VF::Zero().Store(f);
    }

    LML_MEMBER void Begin(WideStripAt strip)
    {
        writer.place.SetStrip(strip);
        if (p.fused != nullptr && p.fused->kept != nullptr)
        {
            spectrum = p.fused->kept + WideStripIndex(p.fused->keptColumns, strip.column) * WideKeptFloats(length.n);
            return;
        }
        reader.place.SetStrip(strip);
        StripFirst<Form::Samples>(p, at, reader);
    }

    /// One k1 of a strip with the factors prepared, or with those of the mirrored k1 in reverse.
    LML_MEMBER void Line(std::size_t column, std::size_t k1, bool reverse)
    {
        const WideFused& fused = *p.fused;
        const std::ptrdiff_t last = reverse ? std::ptrdiff_t(at.b) - 1 : 0, step = reverse ? -kFactorStep : kFactorStep;
        const float* from = factors + last * kFactorStep;
        if (fused.row == nullptr)
            return FusedLine<Post::Vector>(length, at, mid, k1, from, step, fused.zeroRows, spectrum);
        const float* const columns = Floats(fused.column + column);
        const float* const rows = Floats(fused.row);
        float* to = turned;
        for (std::size_t k2 = 0; k2 < at.b; ++k2, from += step, to += kFactorStep)
        {
            const std::size_t k = k1 + at.a * k2;
            const VF re(rows[2 * k]), im(rows[2 * k + 1]);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
            {
                const C turn = Times(LoadSamples(columns + g * kPair), re, im);
                StorePair(to + g * kPair, Times(LoadPair(from + g * kPair), turn.r, turn.i));
            }
        }
        FusedLine<Post::Vector>(length, at, mid, k1, turned, kFactorStep, fused.zeroRows, spectrum);
    }

    LML_MEMBER void SameForAllColumns(WideStripAt strip)
    {
        Begin(strip);
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
            FusedLine<Post::Scalar>(length, at, mid, k1, p.rowFactor + 2 * k1, std::ptrdiff_t(2 * at.a), WideRange());
        FusedLast(length, at, writer);
    }

    /// Where the table has a spectrum row from a column on; null without one.
    LML_MEMBER float* TableLine(std::size_t row, std::size_t column) const
    {
        const WideFactorTable& table = p.fused->table;
        return table.at == nullptr ? nullptr : table.at + 2 * row * table.step + (column - table.firstColumn);
    }
    /// The present factors, a strip of them and perhaps the column behind it.
    LML_MEMBER void KeepFactors(float* to, std::size_t step, bool behind) const
    {
        for (std::size_t part = 0; part < 2; ++part, to += step)
        {
            const float* const from = values + part * kRoom;
#pragma GCC unroll 16
            for (int v = 0; v < kGroups; ++v)
                VF::Load(from + v * W).StoreU(to + v * W);
            if (behind)
                to[kWideStrip] = from[kWideStrip];
        }
    }

    LML_MEMBER void Single(WideStripAt strip)
    {
        const WideFused& fused = *p.fused;
        const std::size_t columns = p.job.columns;
        const std::size_t span = columns - strip.column < kWideStrip ? columns - strip.column : kWideStrip;
        Begin(strip);
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
        {
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
            {
                const std::size_t k = k1 + at.a * k2;
                if (fused.zeroRows.Has(k))
                    continue;
                float* const to = factors + std::ptrdiff_t(k2) * kFactorStep;
                float* const table = TableLine(k < length.n - k ? k : length.n - k, strip.column);
                if (table != nullptr && fused.table.filled)
                {
                    PlaceFactors<false>(table, table + fused.table.step, to);
                    continue;
                }
                fused.factor(fused.context, k, strip.column, span, values, values + kRoom);
                PlaceFactors<false>(values, values + kRoom, to);
                if (table != nullptr)
                    KeepFactors(table, fused.table.step, false);
            }
            Line(strip.column, k1, false);
        }
        FusedLast(length, at, writer, spectrum != nullptr && p.bytes > kWideNext && !p.stream);
    }

    enum class Source
    {
        Function,     ///< factors are asked for
        FunctionKept, ///< and kept for the mirror
        Kept
    };
    /// Fetches the pairs of one k2 of two lines of a large buffer: asked for with the factors, which take their time.
    LML_MEMBER void FetchLines(std::size_t k1, std::size_t other, std::size_t k2) const
    {
        const float* const one = at.buffer + std::ptrdiff_t(k1) * at.line + std::ptrdiff_t(k2) * kPair;
        const std::ptrdiff_t apart = other == at.a ? 0 : std::ptrdiff_t(other - k1) * at.line;
#pragma GCC unroll 16
        for (int g = 0; g < kGroups; ++g)
#pragma GCC unroll 2
            for (std::ptrdiff_t f = 0; f < kPair; f += 16)
            {
                const char* const line = reinterpret_cast<const char*>(one + g * at.group + f);
                _mm_prefetch(line, _MM_HINT_T1);
                _mm_prefetch(line + apart * std::ptrdiff_t(sizeof(float)), _MM_HINT_T1);
            }
    }

    template <bool kMirrored>
    LML_MEMBER void Half(WideStripAt strip, std::size_t column, Source source)
    {
        const WideFused& fused = *p.fused;
        const WideFactorTable& table = fused.table;
        // The column behind a strip belongs to the next one's thread, if there is a next.
        const bool behind = column + kWideStrip + 1 == table.firstColumn + table.columns;
        Begin(strip);
        const bool large = spectrum == nullptr && length.n >= kLargeStrip;
        for (std::size_t k1 = 0; k1 <= at.a / 2; ++k1)
        {
            const std::size_t other = k1 == 0 || at.a - k1 == k1 ? at.a : at.a - k1;
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
            {
                const std::size_t k = k1 + at.a * k2, back = length.n - k;
                if (large)
                    FetchLines(k1, other, k2);
                if (fused.zeroRows.Has(k) && (other == at.a || fused.zeroRows.Has(back)))
                    continue;
                const std::size_t row = k < back ? k : back;
                float* const line = kept + row * kWideKeptRow;
                float* const lasting = TableLine(row, column);
                float* const to = factors + std::ptrdiff_t(k2) * kFactorStep;
                if (lasting != nullptr && table.filled)
                {
                    PlaceFactors<kMirrored>(lasting, lasting + table.step, to);
                    continue;
                }
                if (source == Source::Kept)
                {
                    PlaceFactors<kMirrored>(line, line + kWideKeptRow / 2, to);
                    continue;
                }
                fused.factor(fused.context, row, column, kWideStrip + 1, values, values + kRoom);
                PlaceFactors<kMirrored>(values, values + kRoom, to);
                if (source == Source::FunctionKept)
                    KeepFactors(line, kWideKeptRow / 2, true);
                if (lasting != nullptr)
                    KeepFactors(lasting, table.step, behind);
            }
            Line(strip.column, k1, false);
            if (other != at.a)
                Line(strip.column, other, true);
        }
        FusedLast(length, at, writer, spectrum != nullptr && p.bytes > kWideNext && !p.stream);
    }

    /// Both halves of a pair, or one.
    LML_MEMBER void Pair(std::size_t s, bool left, bool right)
    {
        WideStripAt strip[2];
        bool wanted[2] = {left, right};
        for (int m = 0; m < 2; ++m)
        {
            strip[m].column = m == 0 ? s * kWideStrip : p.job.columns - (s + 1) * kWideStrip;
            // The part of the cyclic range within the strip: one run or none (see WideFusedPass).
            std::size_t lo = kWideStrip, hi = 0;
            for (std::size_t c = 0; c < kWideStrip; ++c)
                if (p.job.which.Has(strip[m].column + c))
                {
                    lo = c < lo ? c : lo;
                    hi = c + 1;
                }
            strip[m].lo = lo;
            strip[m].hi = hi;
            wanted[m] = wanted[m] && hi > 0;
        }
        if (wanted[0])
            Half<false>(strip[0], strip[0].column, wanted[1] ? Source::FunctionKept : Source::Function);
        if (wanted[1])
            Half<true>(strip[1], strip[0].column, wanted[0] ? Source::Kept : Source::Function);
    }
};

static void Fused(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    FusedStrips strips(p, scratch);
    for (std::size_t s = first; s < last; ++s)
        if (p.rowFactor == nullptr && p.pairs && p.halves)
            strips.Pair(s / 2, s % 2 == 0, s % 2 == 1);
        else if (p.rowFactor == nullptr && p.pairs)
            strips.Pair(s, true, true);
        else if (p.rowFactor == nullptr)
            strips.Single(WideStripOf(p.job.which, p.job.columns, s));
        else
            strips.SameForAllColumns(WideStripOf(p.job.which, p.job.columns, s));
    if (p.stream)
        _mm_sfence();
}

/// The way to the spectrum alone.
static void Keep(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideLength& length = *p.length;
    const StripLayout at(length, scratch);
    RowReader reader(p, false);
    NoSide none;
    for (std::size_t s = first; s < last; ++s)
    {
        const WideStripAt strip = WideStripOf(p.job.which, p.job.columns, s);
        reader.place.SetStrip(strip);
        StripFirst<Form::Samples>(p, at, reader);
        float* const kept = p.kept + s * WideKeptFloats(length.n);
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
            for (int g = 0; g < kGroups; ++g)
                Lane<Form::Split, Form::Split, Post::None>(
                    *length.lengthB,
                    {.in = PairsAt<const float>(at.buffer + g * at.group + std::ptrdiff_t(k1) * at.line, kPair),
                     .out = PairsAt(kept + KeptAt(at, k1, g), kPair),
                     .tile = at.inner,
                     .groups = 1},
                    none);
    }
}
} // namespace LumoraLib::detail::LML_WIDE_NS
