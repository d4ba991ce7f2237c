// Wide transforms: short rows, one per lane, and all rows of a job.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Up to W whole rows of up to 128 samples at once.
struct ShortRows
{
    AxisView<const Complex> source = {}; ///< ranges and origins are not looked at
    AxisView<Complex> target = {};
    std::size_t rows = 1;
    bool inverse = false;
    float scale = 1.0f;
};

/// The rows to lanes: sample j of row r to lane r of pair j.
LML_INLINE void ReadLanes(const ShortRows& job, std::size_t n, float* to)
{
    const std::size_t rows = job.rows, flip = job.source.shift ? n / 2 : 0;
    const std::size_t re = job.inverse ? W : 0, im = job.inverse ? 0 : W;
    const float* const x = Floats(job.source.samples);
    const std::ptrdiff_t stride = std::ptrdiff_t(2 * job.source.stride);
    if (n < 2 * W) // a half shift does not move whole blocks
    {
        for (std::size_t j = 0; j < n; ++j, to += kPair)
        {
            StorePair(to, {VF::Zero(), VF::Zero()});
            const float* from = x + 2 * (j ^ flip);
            for (std::size_t r = 0; r < rows; ++r, from += stride)
            {
                to[re + r] = from[0];
                to[im + r] = from[1];
            }
        }
        return;
    }
    for (std::size_t j = 0; j < n; j += W, to += W * kPair)
    {
        VF r[W], i[W];
#pragma GCC unroll 16
        for (int l = 0; l < W; ++l)
        {
            const C v =
                std::size_t(l) < rows ? LoadSamples(x + l * stride + 2 * (j ^ flip)) : C{VF::Zero(), VF::Zero()};
            r[l] = v.r;
            i[l] = v.i;
        }
        Transpose(r);
        Transpose(i);
#pragma GCC unroll 16
        for (int l = 0; l < W; ++l)
        {
            float* const pair = to + WideLaneSample(l, W) * kPair;
            r[l].Store(pair + re);
            i[l].Store(pair + im);
        }
    }
}

/// The same the other way, times the scale.
LML_INLINE void WriteLanes(const ShortRows& job, std::size_t n, const float* from)
{
    const std::size_t rows = job.rows, flip = job.target.shift ? n / 2 : 0;
    const std::size_t re = job.inverse ? W : 0, im = job.inverse ? 0 : W;
    float* const y = Floats(job.target.samples);
    const std::ptrdiff_t stride = std::ptrdiff_t(2 * job.target.stride);
    const float scale = job.scale;
    if (n < 2 * W)
    {
        for (std::size_t k = 0; k < n; ++k, from += kPair)
        {
            float* to = y + 2 * (k ^ flip);
            for (std::size_t r = 0; r < rows; ++r, to += stride)
            {
                to[0] = from[re + r] * scale;
                to[1] = from[im + r] * scale;
            }
        }
        return;
    }
    for (std::size_t k = 0; k < n; k += W, from += W * kPair)
    {
        VF r[W], i[W];
#pragma GCC unroll 16
        for (int l = 0; l < W; ++l)
        {
            const float* const pair = from + WideLaneSample(l, W) * kPair;
            r[l] = VF::Load(pair + re) * VF(scale);
            i[l] = VF::Load(pair + im) * VF(scale);
        }
        Transpose(r);
        Transpose(i);
        for (std::size_t l = 0; l < rows; ++l)
            StoreSamples(y + std::ptrdiff_t(l) * stride + 2 * (k ^ flip), {r[l], i[l]});
    }
}

/// Scratch: 2 n + 128 pairs. Inlined, so that one row alone leaves out what the other lanes would do.
LML_INLINE void TransformShort(const WideLength& length, const ShortRows& job, float* scratch)
{
    const std::size_t n = length.n;
    float* const in = scratch;
    float* const out = in + std::ptrdiff_t(n) * kPair;
    float* const tile = out + std::ptrdiff_t(n) * kPair;
    ReadLanes(job, n, in);
    NoSide none;
    Lane<Form::Split, Form::Split, Post::None>(
        length, {.in = PairsAt<const float>(in, kPair), .out = PairsAt(out, kPair), .tile = tile, .groups = 1}, none);
    WriteLanes(job, n, out);
}

/// Rows of a job of up to 128 samples, W at once; those that are not whole by way of a stage, where rows lie n samples
/// apart.
LML_INLINE void ManyShortRows(const WideRowArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideRows& job = p.job;
    const std::size_t n = job.n;
    const bool readAll = IsWhole(job.source, n), writeAll = IsWhole(job.target, n);
    Complex* const stage = reinterpret_cast<Complex*>(scratch);
    float* const work = scratch + 2 * n * W;
    for (std::size_t r = first; r < last; r += W)
    {
        const std::size_t count = last - r < W ? last - r : W;
        AxisView<const Complex> source = job.source;
        AxisView<Complex> target = job.target;
        source.samples += r * source.stride;
        target.samples += r * target.stride;
        ShortRows batch = {
            .source = source, .target = target, .rows = count, .inverse = job.sign >= 0, .scale = job.scale};
        if (!readAll)
        {
            for (std::size_t i = 0; i < count; ++i, source.samples += source.stride)
                ReadRange(source, n, stage + n * i);
            batch.source.samples = stage;
            batch.source.stride = n;
        }
        if (!writeAll)
        {
            batch.target.samples = stage;
            batch.target.stride = n;
        }
        TransformShort(*p.length, batch, work);
        if (!writeAll)
            for (std::size_t i = 0; i < count; ++i, target.samples += target.stride)
                WriteRange(target, n, stage + n * i);
    }
}

static void Rows(const WideRowArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideRows& job = p.job;
    if (p.length->lg < 8)
        return ManyShortRows(p, first, last, scratch);
    // What is in a cache already goes past it in whole lines at once only.
    const bool lines = W == 16 || job.target.samples != job.source.samples;
    RowJob row = {.source = job.source,
                  .target = job.target,
                  .n = job.n,
                  .scale = job.scale,
                  .stream = p.stream && lines && job.target.origin % 8 == 0};
    row.source.samples += first * job.source.stride;
    row.target.samples += first * job.target.stride;
    for (std::size_t r = first; r < last; ++r)
    {
        AxisView<const Complex> next = row.source;
        next.samples += job.source.stride;
        row.fetch = Fetch();
        if (r + 1 < last)
            row.fetch.Set(next, job.n);
        LongRow(job.sign >= 0, *p.length, row, scratch);
        row.source.samples = next.samples;
        row.target.samples += job.target.stride;
    }
    if (row.stream)
        _mm_sfence();
}

/// One whole row alone, without prefetch.
static void Row(const WideLength& length, const WideLine& line, float* scratch)
{
    const std::size_t n = length.n;
    const bool inverse = line.sign >= 0;
    if (length.lg >= 8)
    {
        RowJob row = {.source = {.samples = line.x, .range = {0, n}, .shift = line.shiftInput},
                      .target = {.samples = line.y, .range = {0, n}, .shift = line.shiftOutput},
                      .n = n,
                      .scale = line.scale};
        LongRow(inverse, length, row, scratch);
        return;
    }
    const ShortRows row = {.source = {.samples = line.x, .range = {0, n}, .shift = line.shiftInput},
                           .target = {.samples = line.y, .range = {0, n}, .shift = line.shiftOutput},
                           .inverse = inverse,
                           .scale = line.scale};
    TransformShort(length, row, scratch);
}
} // namespace LumoraLib::detail::LML_WIDE_NS
