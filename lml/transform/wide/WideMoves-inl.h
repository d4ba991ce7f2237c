// Wide transforms: moving 64-bit items, transposition and dealing out.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// 8 x 8 items from two places exchanged across the diagonal; both loads come first, so that the places may be the
/// same.
LML_INLINE void SwapBlocks(double* p, double* q, std::ptrdiff_t stride)
{
    constexpr int D = VD::lanes;
    // Sub-blocks of D x D: (i, j) of one against (j, i) of the other. On the diagonal block each pair is done once.
    for (int i = 0; i < 8 / D; ++i)
        for (int j = p == q ? i : 0; j < 8 / D; ++j)
        {
            VD a[D], b[D];
            double* pa = p + i * D * stride + j * D;
            double* qb = q + j * D * stride + i * D;
#pragma GCC unroll 8
            for (int r = 0; r < D; ++r)
            {
                a[r] = VD::LoadU(pa + r * stride);
                b[r] = VD::LoadU(qb + r * stride);
            }
            Transpose(a);
            Transpose(b);
#pragma GCC unroll 8
            for (int r = 0; r < D; ++r)
            {
                b[r].StoreU(pa + r * stride);
                a[r].StoreU(qb + r * stride);
            }
        }
}

/// (a0 a1 ..., b0 b1 ...) to (a0 a2 .. b0 b2 .., a1 a3 .. b1 b3 ..).
LML_INLINE void SplitPairs(VD& a, VD& b)
{
#if LML_WIDE_LEVEL == 2
    const __m512d even = _mm512_permutex2var_pd(a.v, _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14), b.v);
    b.v = _mm512_permutex2var_pd(a.v, _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15), b.v);
    a.v = even;
#elif LML_WIDE_LEVEL == 1
    const __m256d low = _mm256_permute2f128_pd(a.v, b.v, 0x20), high = _mm256_permute2f128_pd(a.v, b.v, 0x31);
    a.v = _mm256_unpacklo_pd(low, high);
    b.v = _mm256_unpackhi_pd(low, high);
#else
    const __m128d low = _mm_unpacklo_pd(a.v, b.v);
    b.v = _mm_unpackhi_pd(a.v, b.v);
    a.v = low;
#endif
}

static void TransposeSquare(float* square, std::size_t stride, std::size_t side, std::size_t first, std::size_t step)
{
    double* base = reinterpret_cast<double*>(square);
    const auto swap = [&](std::size_t i, std::size_t j) LML_LAMBDA
    {
        const std::ptrdiff_t s = std::ptrdiff_t(stride);
        SwapBlocks(base + std::ptrdiff_t(i) * s + j, base + std::ptrdiff_t(j) * s + i, s);
    };
    // Blocks that follow one another differ in rows and in columns: rows are a multiple of 4096 bytes apart, and a load
    // at the page offset of a store shortly before waits for it.
    for (std::size_t i = 32 * first; i < side; i += 32 * step)
    {
        for (std::size_t a = 0; a < 4; ++a)
            for (std::size_t b = a; b < 4; ++b)
                swap(i + 8 * a, i + 8 * b);
        for (std::size_t j = i + 32; j < side; j += 32)
            for (std::size_t d = 0; d < 4; ++d)
                for (std::size_t a = 0; a < 4; ++a)
                    swap(i + 8 * a, j + 8 * ((a + d) % 4));
    }
}

static void Deal(const float* source, float* target, std::size_t count, std::size_t ways)
{
    if (ways == 2 && count % W == 0)
    {
        // Evens and odds: the split of samples, for items twice as large.
        const double* from = reinterpret_cast<const double*>(source);
        double *even = reinterpret_cast<double*>(target), *odd = even + count;
        constexpr std::size_t D = VD::lanes;
        for (std::size_t b = 0; b < count; b += D, from += 2 * D)
        {
            VD a = VD::LoadU(from), c = VD::LoadU(from + D);
            SplitPairs(a, c);
            a.StoreU(even + b);
            c.StoreU(odd + b);
        }
        return;
    }
    for (std::size_t c = 0; c < ways; ++c)
        for (std::size_t b = 0; b < count; ++b)
            std::memcpy(target + 2 * (c * count + b), source + 2 * (b * ways + c), 8);
}
} // namespace LumoraLib::detail::LML_WIDE_NS
