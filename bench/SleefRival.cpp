// SLEEF's wide sine and cosine (1.0 ulp, AVX-512) as a rival. This file alone is built for AVX-512 and called only
// where the processor has it.
#include <immintrin.h>
#include <sleef.h>

namespace lmlbench
{
void SleefWide(const double* x, double* s, double* c, int count);

void SleefWide(const double* x, double* s, double* c, int count)
{
    for (int n = 0; n < count; n += 8)
    {
        const Sleef___m512d_2 pair = Sleef_sincosd8_u10avx512f(_mm512_loadu_pd(x + n));
        _mm512_storeu_pd(s + n, pair.x);
        _mm512_storeu_pd(c + n, pair.y);
    }
}
} // namespace lmlbench
