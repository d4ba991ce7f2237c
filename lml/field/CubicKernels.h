// The piecewise cubic interpolation kernels: one table of coefficients each, one order of evaluation for all.
//
// The plain interpolators and the wide ones read these tables and must evaluate a piece in the same order:
// ((c0 + c1 a) + (c2 a) a) + ((c3 a) a) a, each operation rounded to double.
#ifndef LML_CUBICKERNELS_H
#define LML_CUBICKERNELS_H

#include <cmath>
#include <cstdint>

namespace LumoraLib::detail
{
/// Coefficients of one piece, for a in [n, n + 1).
struct CubicPiece
{
    double c0, c1, c2, c3;
};

// Cubic convolution with the free parameter -0.75.
inline constexpr CubicPiece kCubic4[2] = {{1.0, 0.0, -2.25, 1.25}, {3.0, -6.0, 3.75, -0.75}};

inline constexpr CubicPiece kCubic6[3] = {{1.0, 0.0, -2.2, 1.2}, {2.8, -5.4, 3.2, -0.6}, {-3.6, 4.2, -1.6, 0.2}};

// Multiples of 1/56.
inline constexpr CubicPiece kCubic8[4] = {
    {1.0, 0.0, -2.1964285714285716, 1.1964285714285714},
    {2.7857142857142856, -5.357142857142857, 3.1607142857142856, -0.5892857142857143},
    {-3.2142857142857144, 3.642857142857143, -1.3392857142857142, 0.16071428571428573},
    {2.5714285714285716, -2.142857142857143, 0.5892857142857143, -0.05357142857142857}};

constexpr double CubicPieceAt(const CubicPiece& c, double a)
{
    return ((c.c0 + c.c1 * a) + c.c2 * a * a) + c.c3 * a * a * a;
}

/// Value at distance d; 0 outside the pieces and for not-a-number. A distance on the border of two pieces belongs to
/// the outer one.
template <int Half>
double CubicAt(const CubicPiece (&pieces)[Half], double d)
{
    const double a = std::fabs(d);
    return a < Half ? CubicPieceAt(pieces[static_cast<int>(a)], a) : 0.0;
}

/// The same at a whole distance, for compile-time tables.
template <int Half>
constexpr double CubicAtWhole(const CubicPiece (&pieces)[Half], int a)
{
    return a < Half ? CubicPieceAt(pieces[a], a) : 0.0;
}

/// The kernel of 8 points as the table of 1024 steps per sample has it: the value at the step below, without
/// interpolation.
constexpr int kCubicTableSize = 4096;
constexpr double kCubicTableStep = 0.0009765625;
} // namespace LumoraLib::detail

#endif
