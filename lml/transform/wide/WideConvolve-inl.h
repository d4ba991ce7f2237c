// Wide transforms: convolution of rows.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// to[j] = (from[j] * scale) * factor[j].
LML_INLINE void MultiplyRow(float* to, const float* from, const float* factor, std::size_t n, float scale)
{
    const VF f(scale);
    std::size_t j = 0;
    for (; j + W <= n; j += W)
    {
        const C w = LoadSamples(factor + 2 * j);
        StoreSamples(to + 2 * j, Times(Scaled(LoadSamples(from + 2 * j), f), w.r, w.i));
    }
    for (; j < n; ++j)
    {
        const float re = from[2 * j] * scale, im = from[2 * j + 1] * scale;
        const float wr = factor[2 * j], wi = factor[2 * j + 1];
        to[2 * j] = re * wr - im * wi;
        to[2 * j + 1] = re * wi + im * wr;
    }
}

/// Rows of length 2 n that stand one after another, in place: one long row, or up to W short ones.
LML_INLINE void TransformStage(const WideLength& length, Complex* stage, std::size_t rows, bool inverse, float* work)
{
    const AxisView<const Complex> source = {.samples = stage, .stride = length.n, .range = {0, length.n}};
    const AxisView<Complex> target = {.samples = stage, .stride = length.n, .range = {0, length.n}};
    if (length.lg < 8)
        return TransformShort(length, {.source = source, .target = target, .rows = rows, .inverse = inverse}, work);
    RowJob row = {.source = source, .target = target, .n = length.n};
    LongRow(inverse, length, row, work);
}

static void ConvolveRows(const WideConvolveArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideConvolution& job = p.job;
    const WideLength& length = *p.length;
    const std::size_t n = job.columns, twice = length.n;
    const std::size_t batch = length.lg < 8 ? W : 1;
    Complex* const stage = reinterpret_cast<Complex*>(scratch);
    float* const work = scratch + 2 * twice * batch;
    for (std::size_t r = first; r < last; r += batch)
    {
        const std::size_t count = last - r < batch ? last - r : batch;
        for (std::size_t i = 0; i < count; ++i)
        {
            float* const row = Floats(stage + twice * i);
            MultiplyRow(row, Floats(job.data + (r + i) * job.stride), Floats(job.pre), n, 1.0f);
            std::memset(row + 2 * n, 0, n * 8);
        }
        TransformStage(length, stage, count, false, work);
        for (std::size_t i = 0; i < count; ++i)
        {
            float* const row = Floats(stage + twice * i);
            MultiplyRow(row, row, Floats(job.spectrum), twice, 1.0f);
        }
        TransformStage(length, stage, count, true, work);
        for (std::size_t i = 0; i < count; ++i)
            MultiplyRow(Floats(job.data + (r + i) * job.stride), Floats(stage + twice * i), Floats(job.post), n,
                        job.scale);
    }
}
} // namespace LumoraLib::detail::LML_WIDE_NS
