// Wide transforms: strips of 64 columns, lanes are neighbouring columns.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Where things lie in the scratch of a strip. The tile is padded by one pair per column of vectors: powers of two fall
/// in the same cache sets. Sizes do not depend on W.
struct StripLayout
{
    std::size_t a, b;
    std::ptrdiff_t tileA, tileB; ///< group steps of the tile for the two lengths
    std::ptrdiff_t line, group;  ///< buffer: from one k1 to the next, from one group to the next
    float *tile, *inner, *buffer, *rest;
    LML_MEMBER StripLayout(const WideLength& length, float* scratch)
        : a(length.a), b(length.b), tileA(std::ptrdiff_t(a + 1) * kPair), tileB(std::ptrdiff_t(b + 1) * kPair),
          line(std::ptrdiff_t(b + 1) * kPair), group(std::ptrdiff_t(a * (b + 1) + 1) * kPair)
    {
        const std::ptrdiff_t side = (tileA > tileB ? tileA : tileB) * kGroups;
        tile = scratch;
        inner = tile + side;
        buffer = inner + 128 * 32; // 128 pairs of the widest build
        rest = buffer + group * kGroups;
    }
};

/// Gathers a strip and does its transforms over a' with the twiddles: buffer[g][k1][b'].
LML_INLINE void TileFirst(const WideLength& length, const StripLayout& at, RowReader& reader)
{
    for (std::size_t b = 0; b < at.b; ++b)
    {
        reader.Read(at.tile, at.tileA, b, at.b, at.a);
        reader.FetchAfter(b, at.a, at.b);
        Lane<Form::Split, Form::Split, Post::Scalar>(
            *length.lengthA,
            {.in = PairsAt<const float>(at.tile, kPair, at.tileA),
             .out = PairsAt(at.buffer + std::ptrdiff_t(b) * kPair, at.line, at.group),
             .tile = at.inner,
             .post = {.at = length.twiddle + 2 * b * at.a, .step = 2}},
            reader.ahead);
    }
}

/// The rows of a whole strip as lanes read or write them where they are, with the half shift.
template <class Float, class Sample>
LML_INLINE LanePlace<Float> RowsAt(const AxisView<Sample>& view, std::size_t n, std::size_t column)
{
    const std::ptrdiff_t stride = std::ptrdiff_t(2 * view.stride);
    const std::ptrdiff_t half = view.shift ? std::ptrdiff_t(n / 2) * stride : 0;
    Float* const first = Floats(view.samples) + 2 * column;
    return {first + half, first - half, stride, kPair};
}

/// The same for whole strips read without a tile: for grids that stay in the near caches, where a row may be visited
/// once per vector, and a > 1, so that each transform has both halves of the rows.
template <Form kForm>
LML_INLINE void DirectFirst(const WideStripArgs& p, const StripLayout& at, RowReader& reader)
{
    const WideLength& length = *p.length;
    LanePlace<const float> in = RowsAt<const float>(p.job.source, length.n, reader.place.column);
    const std::ptrdiff_t stride = in.step;
    in.step *= std::ptrdiff_t(at.b);
    for (std::size_t b = 0; b < at.b; ++b, in.re += stride, in.im += stride)
    {
        reader.FetchAfter(b, at.a, at.b);
        Lane<kForm, Form::Split, Post::Scalar>(
            *length.lengthA,
            {.in = in,
             .out = PairsAt(at.buffer + std::ptrdiff_t(b) * kPair, at.line, at.group),
             .tile = at.inner,
             .post = {.at = length.twiddle + 2 * b * at.a, .step = 2}},
            reader.ahead);
    }
}

/// And for lengths that take one visit, from rows to rows.
template <Form kForm>
LML_INLINE void DirectWhole(const WideStripArgs& p, const StripLayout& at, std::size_t column)
{
    const WideLength& length = *p.length;
    NoSide none;
    Lane<kForm, kForm, Post::None>(length,
                                   {.in = RowsAt<const float>(p.job.source, length.n, column),
                                    .out = RowsAt<float>(p.job.target, length.n, column),
                                    .tile = at.inner,
                                    .scale = p.job.scale},
                                   none);
}

/// The first half of a strip by the way that fits it.
template <Form kForm>
LML_INLINE void StripFirst(const WideStripArgs& p, const StripLayout& at, RowReader& reader)
{
    if (at.a > 1 && p.bytes <= kWideNear && p.pre == nullptr && reader.place.all && reader.place.Whole())
        DirectFirst<kForm>(p, at, reader);
    else
        TileFirst(*p.length, at, reader);
}

template <bool kInverse>
LML_INLINE void AllStrips(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    constexpr Form kForm = kInverse ? Form::Exchanged : Form::Samples;
    const WideLength& length = *p.length;
    const StripLayout at(length, scratch);
    RowReader reader(p, kInverse);
    RowWriter writer(p, kInverse);
    for (std::size_t s = first; s < last; ++s)
    {
        const WideStripAt strip = WideStripOf(p.job.which, p.job.columns, s);
        reader.place.SetStrip(strip);
        writer.place.SetStrip(strip);
        if (at.a == 1 && p.bytes <= kWideNear && p.twist == nullptr && reader.place.Whole() && reader.place.all &&
            writer.place.all)
        {
            DirectWhole<kForm>(p, at, strip.column);
            continue;
        }
        StripFirst<kForm>(p, at, reader);
        NoSide none;
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
        {
            const float* in = at.buffer + std::ptrdiff_t(k1) * at.line;
            Lane<Form::Split, Form::Split, Post::None>(
                *length.lengthB,
                {.in = PairsAt(in, kPair, at.group), .out = PairsAt(at.tile, kPair, at.tileB), .tile = at.inner}, none);
            writer.Write(at.tile, at.tileB, k1, at.a, at.b);
        }
    }
}

static void Strips(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    if (p.job.sign >= 0)
        AllStrips<true>(p, first, last, scratch);
    else
        AllStrips<false>(p, first, last, scratch);
    if (p.stream)
        _mm_sfence();
}
} // namespace LumoraLib::detail::LML_WIDE_NS
