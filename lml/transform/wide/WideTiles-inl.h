// Wide transforms: rows of a strip on the way between memory and a tile.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Rows of a strip on the way between memory and a tile, where element e of vector g across the strip lies at
/// g * groupStep + e * kPair. The rows have the transform indices first, first + step, ... What is plain (whole strips,
/// no factors, all rows or a run of them that is not shifted) is moved by pointers alone: row e lies at
/// row + e * rowStep, and a half shift adds `low` in the first half of the list, `high` in the other.
struct RowMove
{
    float* row = nullptr;
    std::ptrdiff_t rowStep = 0, low = 0, high = 0;
    float* tile = nullptr;
    std::ptrdiff_t groupStep = 0;
    std::ptrdiff_t count = 0;
    std::ptrdiff_t begin = 0, end = 0; ///< the rows of a plain list that count
    std::size_t first = 0, step = 0;
    bool plain = false;
    LML_MEMBER float* Row(std::ptrdiff_t e) const { return row + e * rowStep + (2 * e < count ? low : high); }
};

/// What belongs to the array: its rows, the range of them that counts, the columns of the present strip.
struct RowPlace
{
    float* data;
    std::ptrdiff_t stride;
    WideRange range;
    bool all;
    std::size_t n, origin, flip;
    std::size_t column = 0, lo = 0, hi = 0; ///< columns; the strip's part in floats
    template <class Sample>
    LML_MEMBER RowPlace(const AxisView<Sample>& view, std::size_t length)
        : data(Floats(const_cast<Complex*>(view.samples))), stride(std::ptrdiff_t(2 * view.stride)), range(view.range),
          all(view.range.IsAll(length)), n(length), origin(view.origin), flip(view.shift ? length / 2 : 0)
    {
    }
    LML_MEMBER void SetStrip(WideStripAt at)
    {
        column = at.column;
        lo = 2 * at.lo;
        hi = 2 * at.hi;
    }
    LML_MEMBER bool Whole() const { return hi - lo == 2 * kWideStrip; }
    LML_MEMBER bool Has(std::size_t axis) const { return all || range.Has(axis); }
    LML_MEMBER float* Row(std::size_t axis) const
    {
        return data + 2 * column + (std::ptrdiff_t(axis) - std::ptrdiff_t(origin)) * stride;
    }
    /// How many of the rows first, first + step, ... lie before `axis`.
    static LML_MEMBER std::ptrdiff_t Before(std::size_t axis, std::size_t first, std::size_t step, std::size_t count)
    {
        const std::size_t rows = axis > first ? (axis - first - 1) / step + 1 : 0;
        return std::ptrdiff_t(rows < count ? rows : count);
    }
    /// The rows first, first + step, ...: all of a digit of the axis.
    LML_MEMBER void Set(RowMove& m, bool simple, float* tile, std::ptrdiff_t groupStep, std::size_t first,
                        std::size_t step, std::size_t count) const
    {
        m.plain = simple && Whole() && (all || (flip == 0 && range.begin <= range.end));
        m.begin = all ? 0 : Before(range.begin, first, step, count);
        m.end = all ? std::ptrdiff_t(count) : Before(range.end, first, step, count);
        m.row = Row(first);
        m.rowStep = std::ptrdiff_t(step) * stride;
        // The top bit of an index is that of e, or, when there is one row only, that of `first`.
        m.low = (first < n - flip ? 1 : -1) * std::ptrdiff_t(flip) * stride;
        m.high = -m.low;
        m.tile = tile;
        m.groupStep = groupStep;
        m.count = std::ptrdiff_t(count);
        m.first = first;
        m.step = step;
    }
};

/// Fetches rows that are read soon into the second cache, one after each butterfly of the transforms that go on
/// meanwhile: loads that have to wait for memory would stop them, and so would many requests at once.
struct RowAhead
{
    RowMove move;
    std::ptrdiff_t next = 0, share = 0, due = 0;
    /// With no count there is nothing to fetch.
    LML_MEMBER void Set(const RowPlace& place, std::size_t first, std::size_t step, std::size_t count)
    {
        place.Set(move, true, nullptr, 0, first, step, count);
        next = due = move.begin;
        if (!move.plain)
            move.end = move.begin;
        share = (move.end - move.begin + kGroups - 1) / kGroups;
    }
    LML_MEMBER void Step()
    {
        if (next >= move.end)
            return;
        const float* row = move.Row(next++);
#pragma GCC unroll 8
        for (std::size_t line = 0; line < kWideStrip / 8; ++line)
            _mm_prefetch(reinterpret_cast<const char*>(row + 16 * line), _MM_HINT_T1);
    }
    LML_MEMBER void Group()
    {
        due += share;
        while (next < due && next < move.end)
            Step();
    }
};

struct RowReader
{
    RowPlace place;
    RowMove move;
    RowAhead ahead;
    const float* pre;
    std::ptrdiff_t re, im; ///< where the parts go within a pair
    bool far;              ///< rows are fetched ahead

    LML_MEMBER RowReader(const WideStripArgs& p, bool exchanged)
        : place(p.job.source, p.job.n), pre(p.pre), re(exchanged ? W : 0), im(exchanged ? 0 : W),
          far(p.bytes > kWideNext)
    {
    }
    /// The a rows that follow rows b, b + step, ... are fetched from now on.
    LML_MEMBER void FetchAfter(std::size_t b, std::size_t a, std::size_t step)
    {
        const bool later = far && b + 1 < step;
        ahead.Set(place, later ? b + 1 : 0, step, later ? a : 0);
    }
    /// Reads all rows of a tile.
    __attribute__((noinline)) void Read(float* tile, std::ptrdiff_t groupStep, std::size_t first, std::size_t step,
                                        std::size_t count)
    {
        place.Set(move, pre == nullptr, tile, groupStep, first, step, count);
        if (!move.plain)
            return Slow();
        const std::ptrdiff_t r = re, i = im;
        float* to = tile;
        const auto zeros = [&](std::ptrdiff_t begin, std::ptrdiff_t end) LML_LAMBDA
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, to += kPair)
#pragma GCC unroll 16
                for (int g = 0; g < kGroups; ++g)
                    StorePair(to + g * groupStep, {VF::Zero(), VF::Zero()});
        };
        zeros(0, move.begin);
        for (std::ptrdiff_t e = move.begin; e < move.end; ++e, to += kPair)
        {
            const float* from = move.Row(e);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
            {
                const C v = LoadSamples(from + g * kPair);
                v.r.Store(to + g * groupStep + r);
                v.i.Store(to + g * groupStep + i);
            }
        }
        zeros(move.end, move.count);
    }

private:
    __attribute__((noinline)) void Slow()
    {
        for (std::ptrdiff_t e = 0; e < move.count; ++e)
        {
            const std::size_t axis = (move.first + std::size_t(e) * move.step) ^ place.flip;
            float* to = move.tile + e * kPair;
            const bool wanted = place.Has(axis);
            const float* from = wanted ? place.Row(axis) : nullptr;
            for (std::ptrdiff_t g = 0; g < kGroups; ++g)
            {
                C v = {VF::Zero(), VF::Zero()};
                if (wanted && place.Whole())
                    v = LoadSamples(from + g * kPair);
                else if (wanted)
                {
                    alignas(64) float piece[2 * W];
                    for (std::size_t f = 0; f < 2 * W; ++f)
                    {
                        const std::size_t at = std::size_t(g * kPair) + f;
                        piece[f] = at >= place.lo && at < place.hi ? from[at] : 0.0f;
                    }
                    v = LoadSamples(piece);
                }
                if (wanted && pre != nullptr)
                    v = Times(v, VF(pre[2 * axis]), VF(pre[2 * axis + 1]));
                v.r.Store(to + g * move.groupStep + re);
                v.i.Store(to + g * move.groupStep + im);
            }
        }
    }
};

struct RowWriter
{
    RowPlace place;
    RowMove move;
    const float* post;
    const WideLength* twist;
    float scale;
    bool stream;
    std::ptrdiff_t re, im;

    LML_MEMBER RowWriter(const WideStripArgs& p, bool exchanged)
        : place(p.job.target, p.job.n), post(p.post), twist(p.twist), scale(p.job.scale), stream(p.stream),
          re(exchanged ? W : 0), im(exchanged ? 0 : W)
    {
    }
    /// Writes all of a tile.
    __attribute__((noinline)) void Write(float* tile, std::ptrdiff_t groupStep, std::size_t first, std::size_t step,
                                         std::size_t count)
    {
        place.Set(move, post == nullptr, tile, groupStep, first, step, count);
        if (!move.plain)
            return Slow();
        const std::ptrdiff_t r = re, i = im, begin = move.begin, end = move.end;
        const VF f(scale);
        const float* from = tile + begin * kPair;
        if (twist != nullptr)
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
            {
                float* to = move.Row(e);
                for (std::ptrdiff_t g = 0; g < kGroups; ++g)
                {
                    const C v = Get(from + g * groupStep, first + std::size_t(e) * step, 0, g);
                    if (stream)
                        StreamSamples(to + g * kPair, v);
                    else
                        StoreSamples(to + g * kPair, v);
                }
            }
            return;
        }
        if (stream)
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
            {
                float* to = move.Row(e);
#pragma GCC unroll 16
                for (int g = 0; g < kGroups; ++g)
                    StreamSamples(to + g * kPair,
                                  Scaled({VF::Load(from + g * groupStep + r), VF::Load(from + g * groupStep + i)}, f));
            }
            return;
        }
        for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
        {
            float* to = move.Row(e);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
                StoreSamples(to + g * kPair,
                             Scaled({VF::Load(from + g * groupStep + r), VF::Load(from + g * groupStep + i)}, f));
        }
    }

private:
    LML_MEMBER C Get(const float* from, std::size_t k, std::size_t axis, std::ptrdiff_t g) const
    {
        C v = LoadPair(from);
        if (twist != nullptr)
        {
            const float* s = twist->stripRoot + 2 * (place.column / kWideStrip * twist->side + k);
            const float* l = twist->laneRoot + 2 * k * kWideStrip + g * W;
            const C lane = {LaneOrder(VF::Load(l)), LaneOrder(VF::Load(l + kWideStrip))};
            const C w = Times(lane, VF(s[0]), VF(s[1]));
            v = Times(v, w.r, w.i);
        }
        if (re != 0)
            v = {v.i, v.r};
        v = Scaled(v, VF(scale));
        if (post != nullptr)
            v = Times(v, VF(post[2 * axis]), VF(post[2 * axis + 1]));
        return v;
    }
    __attribute__((noinline)) void Slow()
    {
        for (std::ptrdiff_t e = 0; e < move.count; ++e)
        {
            const std::size_t k = move.first + std::size_t(e) * move.step;
            const std::size_t axis = k ^ place.flip;
            if (!place.Has(axis))
                continue;
            float* to = place.Row(axis);
            const float* from = move.tile + e * kPair;
            for (std::ptrdiff_t g = 0; g < kGroups; ++g)
            {
                const C v = Get(from + g * move.groupStep, k, axis, g);
                if (place.Whole())
                {
                    if (stream)
                        StreamSamples(to + g * kPair, v);
                    else
                        StoreSamples(to + g * kPair, v);
                    continue;
                }
                alignas(64) float piece[2 * W];
                StoreSamples(piece, v);
                for (std::size_t f = 0; f < 2 * W; ++f)
                {
                    const std::size_t at = std::size_t(g * kPair) + f;
                    if (at >= place.lo && at < place.hi)
                        to[at] = piece[f];
                }
            }
        }
    }
};
} // namespace LumoraLib::detail::LML_WIDE_NS
