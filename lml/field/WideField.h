// Element-wise loops over samples in wide form: conversions, arithmetic, maxima and magnitudes.
//
// Every function gives the bits of the plain loop that it stands for (Conversion.cpp, Arithematic.cpp, FieldTools.cpp,
// Measure.cpp), for every instruction set, start and length; only the sign and payload of a NaN are the processor's.
// Arctangent and logarithm are approximated in double to a relative error below 2^-44; where that leaves open which
// float the result rounds to, or an argument is not finite, the lane goes through the C library's function.
//
// Samples are pairs of floats: Floats() gives them, n counts samples. Operands are equal or
// apart.
#ifndef LML_WIDEFIELD_H
#define LML_WIDEFIELD_H

#include "LmlApi.h"

#include <cstddef>

namespace LumoraLib::detail
{
struct FieldTable
{
    /// (x, y) to ((float) sqrt(x x + y y), (float) atan2(y, x)), both widened first.
    void (*toPolar)(float* z, std::size_t n);
    /// ((float) (x x + y y), 0), ((float) sqrt(x x + y y), 0) in double, and (x x, 0) in single precision.
    void (*intensity)(float* z, std::size_t n);
    void (*absolute)(float* z, std::size_t n);
    void (*squareFirst)(float* z, std::size_t n);
    /// ((float) (log10((x x + 1) + y y) / l), 0) for l = log10(2).
    void (*logIntensity)(float* z, std::size_t n, double l);
    /// (x, 0 - y), (0 - x, 0 - y), (x, 0).
    void (*conjugate)(float* z, std::size_t n);
    void (*negate)(float* z, std::size_t n);
    void (*clearSecond)(float* z, std::size_t n);

    /// Sum, difference and complex product in single precision; the complex quotient in double, rounded once.
    void (*add)(float* a, const float* b, std::size_t n);
    void (*subtract)(float* a, const float* b, std::size_t n);
    void (*multiply)(float* a, const float* b, std::size_t n);
    void (*divide)(float* a, const float* b, std::size_t n);
    void (*addConst)(float* a, std::size_t n, float re, float im);
    void (*subtractConst)(float* a, std::size_t n, float re, float im);
    /// (p x - (double) (y q), x q + (double) (y p)): the products with y in single precision, the rest in double.
    void (*mixedMultiply)(float* a, std::size_t n, float p, float q);
    /// Both members times f, in single precision; in double, rounded once; the first member alone in double.
    void (*scale)(float* a, std::size_t n, float f);
    void (*scaleDouble)(float* a, std::size_t n, double f);
    void (*scaleFirst)(float* a, std::size_t n, double f);

    /// The larger of start and the largest x x + y y in double, or x. A value that is not a number replaces nothing.
    double (*largestSquare)(const float* z, std::size_t n, double start);
    double (*largestFirst)(const float* z, std::size_t n, double start);
    /// sqrt(x x + y y) in double; and with y y in single precision.
    void (*magnitudes)(const float* z, std::size_t n, double* to);
    void (*mixedMagnitudes)(const float* z, std::size_t n, double* to);
    /// |u - (re + i im) r|^2 in double, the product too, both members of the difference rounded to float before the
    /// square.
    void (*noise)(const float* u, const float* r, std::size_t n, double re, double im, double* to);
};

/// The table for the instruction set in force.
const FieldTable& WideField() noexcept;

/// What single lanes fall back on: the definitions of the phase and of the logarithmic intensity.
float PlainPhase(float x, float y) noexcept;
float PlainLogIntensity(float x, float y, double l) noexcept;
} // namespace LumoraLib::detail

#endif
