// Loops of the measures of focus in wide form: intensities, their differences, sums.
//
// Every function gives the bits of the plain loop that it stands for (Focus.cpp), for every instruction set.
#ifndef LML_WIDEFOCUS_H
#define LML_WIDEFOCUS_H

#include <cstddef>

namespace LumoraLib::detail
{
struct FocusTable
{
    /// Squares of differences at the samples 1 ... n - 2 of a row between two others.
    using Differences = void (*)(const double* below, const double* row, const double* above, std::size_t n,
                                 double* to);
    /// x x + y y of samples, in double.
    void (*intensities)(const float* z, std::size_t n, double* to);
    void (*roots)(double* x, std::size_t n);
    Differences gradient;
    Differences laplacian;
    Differences edges;
    /// By eight running sums: of the numbers, of their squares.
    double (*sum)(const double* x, std::size_t n);
    double (*sumOfSquares)(const double* x, std::size_t n);
};

/// The table for the instruction set in force.
const FocusTable& WideFocus() noexcept;
} // namespace LumoraLib::detail

#endif
