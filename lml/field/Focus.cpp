// How sharp a picture is: measures of a field's intensity that grow towards a focus.
//
// Sums run row by row, the sums of rows are joined in their order: a value does not depend on the thread count.
#include "base/Memory.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "field/WideFocus.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace LumoraLib
{
namespace
{
/// What a measure looks at.
struct Rule
{
    bool amplitudes;  ///< of |u|; otherwise of |u|^2
    bool differences; ///< needs the samples around, and leaves out the outermost
};
constexpr Rule kRules[] = {{false, false}, {false, true}, {false, true}, {false, false}, {true, true}, {true, false}};

using Pair = std::array<double, 2>;

// -------------------------------------------------------------------------------------------------- the plain loops
// The definitions of what WideFocus.h has in wide form.

template <bool kSquares>
double Sum(const double* x, std::size_t n)
{
    // One running sum would wait for each addition.
    double p[8] = {};
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (std::size_t k = 0; k < 8; ++k)
            p[k] += kSquares ? x[i + k] * x[i + k] : x[i + k];
    for (; i < n; ++i)
        p[0] += kSquares ? x[i] * x[i] : x[i];
    return ((p[0] + p[4]) + (p[2] + p[6])) + ((p[1] + p[5]) + (p[3] + p[7]));
}

void Intensities(const float* z, std::size_t n, double* to)
{
    for (std::size_t i = 0; i < n; ++i)
    {
        const double re = static_cast<double>(z[2 * i]);
        const double im = static_cast<double>(z[2 * i + 1]);
        to[i] = re * re + im * im;
    }
}

void Roots(double* x, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        x[i] = std::sqrt(x[i]);
}

void Gradient(const double* below, const double* row, const double* above, std::size_t n, double* to)
{
    for (std::size_t i = 1; i + 1 < n; ++i)
    {
        const double gx =
            (below[i + 1] - below[i - 1]) + 2.0 * (row[i + 1] - row[i - 1]) + (above[i + 1] - above[i - 1]);
        const double gy = (above[i - 1] - below[i - 1]) + 2.0 * (above[i] - below[i]) + (above[i + 1] - below[i + 1]);
        to[i - 1] = gx * gx + gy * gy;
    }
}

void Laplacian(const double* below, const double* row, const double* above, std::size_t n, double* to)
{
    for (std::size_t i = 1; i + 1 < n; ++i)
    {
        const double v = (row[i - 1] + row[i + 1] - 2.0 * row[i]) + (below[i] + above[i] - 2.0 * row[i]);
        to[i - 1] = v * v;
    }
}

void Edges(const double* below, const double* row, const double* above, std::size_t n, double* to)
{
    for (std::size_t i = 1; i + 1 < n; ++i)
    {
        const double gx = (row[i + 1] - row[i - 1]) * 0.5;
        const double gy = (above[i] - below[i]) * 0.5;
        to[i - 1] = gx * gx + gy * gy;
    }
}

constexpr detail::FocusTable kPlain = {Intensities, Roots, Gradient, Laplacian, Edges, Sum<false>, Sum<true>};

const detail::FocusTable& Loops()
{
    return detail::StepByStep() ? kPlain : detail::WideFocus();
}

// --------------------------------------------------------------------------------------------------------- the rows

/// Amplitudes or intensities of consecutive samples.
void Fill(double* to, const Complex* samples, std::size_t count, bool polar, bool amplitudes)
{
    if (!polar)
    {
        Loops().intensities(reinterpret_cast<const float*>(samples), count, to);
        if (amplitudes)
            Loops().roots(to, count);
        return;
    }
    for (std::size_t n = 0; n < count; ++n)
    {
        const double a = samples[n].GetReal();
        to[n] = amplitudes ? std::fabs(a) : a * a;
    }
}

/// The two sums of a row, whose neighbours stand in rows[0] and rows[2] where the measure needs them: it is its own in
/// a field of one row.
Pair RowSums(FocusMeasure measure, const double* const* rows, std::size_t count, double* terms)
{
    const Rule rule = kRules[measure];
    const detail::FocusTable& loops = Loops();
    if (!rule.differences)
        return {loops.sum(rows[1], count), loops.sumOfSquares(rows[1], count)};
    const auto differences = measure == FOCUS_GRADIENT    ? loops.gradient
                             : measure == FOCUS_LAPLACIAN ? loops.laplacian
                                                          : loops.edges;
    differences(rows[0], rows[1], rows[2], count, terms);
    const double squares = loops.sum(terms, count - 2);
    if (!rule.amplitudes)
        return {loops.sum(rows[1] + 1, count - 2), squares};
    loops.roots(terms, count - 2);
    return {loops.sum(terms, count - 2), squares};
}

/// The measure from the means of the two quantities.
double FromMeans(FocusMeasure measure, double first, double second)
{
    if (first == 0.0)
        return 0.0;
    const double deviation = std::sqrt(std::max(second - first * first, 0.0));
    switch (measure)
    {
    case FOCUS_VARIANCE:
        return deviation * deviation / (first * first);
    case FOCUS_GRADIENT:
    case FOCUS_LAPLACIAN:
        return second / (first * first);
    case FOCUS_AMPLITUDE:
        return std::sqrt(second) / first;
    default:
        return std::sqrt(deviation / first);
    }
}
} // namespace

double Lumora::GetFocusMeasure(FocusMeasure measure) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetFocusMeasure";
    if (measure < FOCUS_VARIANCE || measure > FOCUS_AMPLITUDE)
        Error(ERR_PARAMETER, fn, "no such measure");
    RequireSamples(fn);
    const LML_RECT w = GridWindow();
    const std::size_t width = w.right > w.left ? static_cast<std::size_t>(w.right - w.left) : 0;
    const std::size_t height = w.top > w.bottom ? static_cast<std::size_t>(w.top - w.bottom) : 0;
    const Rule rule = kRules[measure];
    const std::size_t edge = rule.differences ? 1 : 0; // samples left out at each side
    const std::size_t edgeRows = ny_ > 1 ? edge : 0;   // a field of one row is its own neighbour
    if (width <= 2 * edge || height <= 2 * edgeRows)
        return 0.0;
    const std::size_t rows = height - 2 * edgeRows;
    const auto sums = detail::MallocArray<Pair>(rows, "focus");
    // Three rows of values and one of terms for each thread.
    const auto room = detail::MallocArray<double>(4 * width * static_cast<std::size_t>(GetNumThreads()), "focus");
    const auto fill = [&](double* to, std::size_t row)
    {
        Fill(to, dataPointer_ + Index(w.left, w.bottom) + static_cast<std::size_t>(nx_) * row, width, IsPolarForm(),
             rule.amplitudes);
    };
    detail::ParallelBlocks(rows,
                           [&](std::size_t begin, std::size_t end, int thread)
                           {
                               double* const own = room.get() + 4 * width * static_cast<std::size_t>(thread);
                               double* at[3] = {own, own + width, own + 2 * width};
                               if (edgeRows == 0)
                                   at[0] = at[2] = at[1];
                               else
                               {
                                   fill(at[1], begin);
                                   fill(at[2], begin + 1);
                               }
                               for (std::size_t j = begin; j < end; ++j)
                               {
                                   std::rotate(at, at + 1, at + 3);
                                   fill(at[2], j + 2 * edgeRows);
                                   sums[j] = RowSums(measure, at, width, own + 3 * width);
                               }
                           });
    Pair total{};
    for (std::size_t j = 0; j < rows; ++j)
        for (std::size_t n = 0; n < 2; ++n)
            total[n] += sums[j][n];
    const double count = static_cast<double>(rows) * static_cast<double>(width - 2 * edge);
    return FromMeans(measure, total[0] / count, total[1] / count);
}
} // namespace LumoraLib
