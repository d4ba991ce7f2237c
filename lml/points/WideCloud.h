// Loops of point clouds in wide form: outer products of rows and columns, the profiles of points from tables, the
// combination of short transforms to longer ones, and turns of spectra. All samples are pairs (re, im).
#ifndef LML_WIDECLOUD_H
#define LML_WIDECLOUD_H

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// Adds sum over r of y[r][j] * x[r][i] to a patch. Row r of x stands at x + r * xStride floats with the same row times
/// i behind it at + xTimesI floats; a column of y at y + r * yStride. The width is a multiple of 8 samples.
struct CloudOuter
{
    float* patch;
    std::ptrdiff_t stride; ///< floats from row to row
    std::size_t width;
    std::size_t height;
    const float* x;
    std::size_t xStride;
    std::size_t xTimesI;
    const float* y;
    std::size_t yStride;
    std::size_t terms;
};

/// The profile of a point: cubic interpolation between four tables in depth of polynomials in the shift.
struct CloudLookup
{
    const float* table;  ///< first of the four tables
    std::size_t toDepth; ///< floats to the next table
    std::size_t toPower; ///< floats to the next coefficient
    int degree;
    float weight[4];
    float shift;
};

/// Frequencies of one axis of a point's light on a block: pairs `out` of
///   weight / root0 * exp(2 pi i (distance * (root0 - offset0) + u * shift)),  u = (first + n) * step,
/// root0 = sqrt(square0 - u u), and `factor` = scale * ((root1 - offset1) - (root0 - offset0)), root1 alike.
struct CloudPhases
{
    std::int64_t first;
    std::size_t count;
    double step;
    double square0, offset0;
    double square1, offset1;
    double distance;
    double shift;
    double scale;
    const float* weight;
    float* out;
    float* factor;
};

/// spectrum[n] += in[n] * weight * weights[n] * exp(2 pi i distance * (sqrt(square - squares[n]) - offset)).
struct CloudTurn
{
    float* spectrum;
    const float* in;
    std::size_t count;
    double square;
    const double* squares;
    double offset;
    double distance;
    float weight;
    const float* weights;
};

struct CloudKernels
{
    /// For patches that fit a cache, 1 to kCloudTerms terms.
    void (*spread)(const CloudOuter&);
    /// For blocks with many terms.
    void (*block)(const CloudOuter&);
    /// `count` floats, a multiple of 16, of the profile into `out`.
    void (*profile)(const CloudLookup&, std::size_t count, float* out);
    /// x := x times (re, im), and the same times i at + xTimesI; count samples, a multiple of 8.
    void (*turnRow)(float* x, std::size_t xTimesI, std::size_t count, float re, float im);
    /// out[n] = sum over b < radix of parts[b][n] * (re[b][n], im[b][n]), the factor of b = 0 being 1 and left out.
    void (*combine)(const float* parts, std::size_t partStride, std::size_t radix, const float* re, const float* im,
                    std::size_t rootStride, std::size_t count, float* out);
    void (*phases)(const CloudPhases&);
    void (*turn)(const CloudTurn&);
    /// spectrum[n] *= weight * weights[n] / sqrt(square - squares[n]); the rest of the job is not read.
    void (*weigh)(const CloudTurn&);
    /// samples[n] *= factor[n], a real one.
    void (*scale)(float* samples, const float* factor, std::size_t count);
};

const CloudKernels& WideClouds() noexcept;
namespace sse2
{
extern const CloudKernels cloudKernels;
}
namespace avx2
{
extern const CloudKernels cloudKernels;
}
namespace avx512
{
extern const CloudKernels cloudKernels;
}
} // namespace LumoraLib::detail

#endif
