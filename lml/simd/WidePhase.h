// Rows of phase factors: loops that need a sine and a cosine per sample, in wide form.
//
// A PhaseForm says how the phase follows from the column index, in the order of operations that defines the result; a
// PhaseProduct says how a sample is multiplied with the factor. Phases, sines and cosines are doubles, each member of
// the result is rounded to float once (or as the product's rule says). Every function gives the same bits for every
// instruction set, start and length of a row, and those of a plain loop that calls SinCos1.
//
// Samples are pairs of floats, real then imaginary: Floats() gives them.
#ifndef LML_WIDEPHASE_H
#define LML_WIDEPHASE_H

#include "LmlApi.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{

/// The phase of column i, i = first, first + 1, ... (32-bit, wraps), where x stands for the whole number i as a double.
struct PhaseForm
{
    enum class Kind : int
    {
        Given,
        Transfer,
        Shifted,
        FresnelIn,
        FresnelOut,
        PlaneVector,
        PlaneCosines,
        Lens
    };
    Kind kind = Kind::Given;
    const double* given = nullptr;
    double p[6] = {};
    /// phase[n] for the n-th sample, whatever `first` is.
    static PhaseForm Given(const double* phase) { return {Kind::Given, phase}; }
    /// u = x du; w = (c - v2) - u u; tpd sqrt(w) where w > 0, else the phase 0 (factor 1).
    static PhaseForm Transfer(double du, double c, double v2, double tpd)
    {
        return {Kind::Transfer, nullptr, {du, c - v2, tpd}};
    }
    /// u = x du; 2 pi ((x0 u + z0 sqrt((c - u u) - v2)) + y0v). A negative root gives NaN.
    static PhaseForm Shifted(double du, double x0, double z0, double c, double v2, double y0v)
    {
        return {Kind::Shifted, nullptr, {du, x0, z0, c, v2, y0v}};
    }
    /// X = x px; ((y2 + X X) k) / dd, rounded to float.
    static PhaseForm FresnelIn(double px, double y2, double k, double dd)
    {
        return {Kind::FresnelIn, nullptr, {px, y2, k, dd}};
    }
    /// X = x px; ((y2 + X X) / dd + d) k, rounded to float.
    static PhaseForm FresnelOut(double px, double y2, double k, double dd, double d)
    {
        return {Kind::FresnelOut, nullptr, {px, y2, k, dd, d}};
    }
    /// base + (x a) px.
    static PhaseForm PlaneVector(double base, double a, double px)
    {
        return {Kind::PlaneVector, nullptr, {base, a, px}};
    }
    /// base + (row + (x cosA) px) k.
    static PhaseForm PlaneCosines(double base, double row, double cosA, double px, double k)
    {
        return {Kind::PlaneCosines, nullptr, {base, row, cosA, px, k}};
    }
    /// X = x px; (minusK (X X + y2)) / f2.
    static PhaseForm Lens(double px, double y2, double minusK, double f2)
    {
        return {Kind::Lens, nullptr, {px, y2, minusK, f2}};
    }
};

/// How a sample a and the factor f = (cos, sin) make the result.
struct PhaseProduct
{
    enum class Rule : int
    {
        Mixed,   ///< f rounded to float; re = c a.re - (double)(a.im s), im = a.re s + (double)(a.im c): only the
                 ///< products with a.im in single precision, the rest in double, rounded once
        Rounded, ///< f rounded to float, all in double, rounded once
        Double   ///< f in double, all in double, rounded once
    };
    Rule rule = Rule::Double;
    /// Double only: f := pre * f before, and the product := product * post after, complex products in double in the
    /// order (re re - im im, re im + im re).
    bool hasPre = false, hasPost = false;
    double preRe = 1, preIm = 0, postRe = 1, postIm = 0;
};

/// One instruction set's kernels. n may be any count; source and destination are equal or apart.
struct PhaseTable
{
    /// s[i], c[i] of x[i] in double.
    void (*sinCos)(const double* x, std::size_t n, double* s, double* c);
    /// The factors as samples: up[i] and down[-i] for the i-th one, in samples; either may be null.
    void (*unit)(const PhaseForm& form, std::int32_t first, std::size_t n, float* up, float* down);
    /// The factors with real and imaginary parts apart.
    void (*unitSplit)(const PhaseForm& form, std::int32_t first, std::size_t n, float* re, float* im);
    /// to := from times factor.
    void (*multiply)(const PhaseForm& form, const PhaseProduct& how, std::int32_t first, std::size_t n,
                     const float* from, float* to);
    /// Keeps the amplitude sqrt((double) re (double) re + (double)(im im)), the second product in single precision, and
    /// replaces the phase: (A cos, A sin).
    void (*setPhase)(const PhaseForm& form, std::int32_t first, std::size_t n, float* z);
    /// (amplitude, phase) to (A cos, A sin), both widened first.
    void (*polarToComplex)(float* z, std::size_t n);
};

/// The table for the instruction set in force.
const PhaseTable& Phases() noexcept;

} // namespace LumoraLib::detail

#endif
