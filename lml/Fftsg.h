// Entries of the library's own FFT engine: a split-radix transform of power-of-two lengths on single-precision samples.
#ifndef LML_FFTSG_H
#define LML_FFTSG_H

#include "LmlApi.h"
#include "LmlTypes.h"

namespace LumoraLib
{
// ---------------------------------------------------------------------------------------------------------------
// Engine of the transforms                                                                            (Fftsg.cpp)
// ---------------------------------------------------------------------------------------------------------------

// The split-radix transform by itself, without a field.
//
// The transforms computed, with N the length, j the input index and k the output index, unscaled and in natural order:
//
//     sign >= 0 (Forward):   X[k] = sum over j of x[j] exp(+2 pi i j k / N)
//     sign <  0 (Backward):  X[k] = sum over j of x[j] exp(-2 pi i j k / N)
//
// Both run in place, one after the other multiplies by N. Samples are rounded to float between the stages and computed
// in double within one, so the relative l2 error stays below 2^-24 sqrt(log2 N); about 0.3 of it is usual. Supported
// lengths are the powers of two up to 2^29; any other length leaves its samples as they are. Longer ones are refused by
// the entries that count in points: ERR_SOMETHING, "LumoraLib::FftsgTransform1d" (FftsgTransform2d, FftsgColumns), "an
// axis is longer than a transform takes (2^29 samples)". The engine has no threads and no static state: calls on
// different buffers may run at the same time.
//
// The two ...Transform entries allocate what they need for the duration of the call. The other four work on the
// caller's areas, sized for N = the longest length that will be transformed:
//     ip  int:     at least 2, and N where that is more. ip[0] is the size nw of the tables now held (0 before any),
//                  ip[1] is 1, from ip[2] on stand the block starts of the reordering.
//     w   double:  nw = N / 2 twiddle factors.

/// One transform of n complex points in place.
/// @param data  n samples, consecutive
/// @param n     length in complex points; n <= 0 does nothing
/// @param sign  sign of the exponent: minus when negative, plus otherwise
/// Memory: 4 (n + 2) + 4 n bytes while it runs. Cost: tables of n / 2 doubles are built on each call.
/// Errors: ERR_MEMORY, "LumoraLib::Malloc", "demanded bytes = <size> : fftsg: Temporary Array"; the samples are then
/// unchanged.
/// Source: P. Duhamel, H. Hollmann, "Split radix FFT algorithm", Electronics Letters 20 (1984) 14-16.
LML_API void FftsgTransform1d(Complex* data, int n, int sign);

/// One two-dimensional transform in place: all rows, then all columns, four columns at a time.
/// @param data  nx * ny samples, row by row
/// @param nx    points of a row; nx <= 0 or ny <= 0 does nothing
/// @param ny    number of rows
/// @param sign  sign of the exponent: minus when negative, plus otherwise
/// Memory: 40 ny + 8 max(nx, ny) bytes while it runs.
/// Errors: ERR_MEMORY, "LumoraLib::Malloc", "demanded bytes = <size> : <label>" with the label
/// "fftsg2d:Temporary Array", or "(null)" for the gather buffer of the columns. The samples are then unchanged.
LML_API void FftsgTransform2d(Complex* data, int nx, int ny, int sign);

/// Builds both tables for transforms of up to 2 nw points. They serve every shorter power of two as well.
/// @param nw  number of twiddle factors, a power of two; nw <= 2 records the size only: no factors are needed then
/// @param ip  see above; overwritten
/// @param w   nw doubles; overwritten
LML_API void FftsgMakeTables(int nw, int* ip, double* w);

/// One transform with the exponent's sign +, in place.
/// @param n   length in floats: twice the number of points
/// @param a   n floats: real and imaginary parts in turn
/// @param ip  reordering table
/// @param nw  size of the tables, at least n / 4; with fewer the row stays as it is
/// @param w   twiddle table
LML_API void FftsgForwardRow(int n, float* a, int* ip, int nw, double* w);

/// The same with the sign -. Together with FftsgForwardRow() it multiplies by n / 2.
LML_API void FftsgBackwardRow(int n, float* a, int* ip, int nw, double* w);

/// Transforms all columns of n1 rows of n2 floats. Rebuilds the tables when they are too small for n1 points.
/// @param n1    number of rows: the length of each transform in points
/// @param n2    floats in a row: twice the number of columns
/// @param sign  sign of the exponent: minus when negative, plus otherwise
/// @param rows  n1 pointers to the starts of the rows
/// @param t     gather buffer: 8 n1 floats, or 4 n1 when n2 = 4, or 2 n1 when n2 < 4
/// @param ip    reordering table, sized for the longer of both directions
/// @param w     twiddle table, likewise
LML_API void FftsgColumns(int n1, int n2, int sign, float** rows, float* t, int* ip, double* w);
} // namespace LumoraLib

#endif
