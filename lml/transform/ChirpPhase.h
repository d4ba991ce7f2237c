// Phases of the chirp transform and products of samples with unit factors: the plain definitions that the scaled FFT,
// the shifted propagations and their wide forms must agree with.
#ifndef LML_CHIRPPHASE_H
#define LML_CHIRPPHASE_H

#include "LmlTypes.h"
#include "base/Constants.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/StepByStep.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// The 32-bit square of an index: wraps from 46341 on, and the wrapped value is what the phase uses.
inline double ChirpSquare(std::int32_t p)
{
    return WrapMul(p, p);
}

/// The phase pi (a i^2 + b j^2) without its sign: the sum formed first, then the product with pi.
inline double ChirpPhase(double squareI, double squareJ, double a, double b)
{
    return (squareI * a + squareJ * b) * kPi;
}

/// exp(i theta) by the library's own sine and cosine, the same bits as in wide code.
inline ComplexDouble Unit(double theta)
{
    double s = 0.0;
    double c = 0.0;
    SinCos1(theta, s, c);
    return ComplexDouble(c, s);
}

/// sample * exp(i theta), in double, rounded once. With constants: (pre * exp(i theta)) formed first, and the product
/// times post.
inline Complex TimesUnit(const Complex& sample, double theta, const PhaseProduct& how = {})
{
    ComplexDouble factor = Unit(theta);
    if (how.hasPre)
        factor = ComplexDouble(how.preRe, how.preIm) * factor;
    ComplexDouble product = ComplexDouble(sample.GetReal(), sample.GetImag()) * factor;
    if (how.hasPost)
        product = product * ComplexDouble(how.postRe, how.postIm);
    return Complex(product);
}

/// A product with `c` multiplied into the factor, or into the product of sample and factor.
inline PhaseProduct FactorTimes(const ComplexDouble& c)
{
    PhaseProduct how;
    how.hasPre = true;
    how.preRe = c.Real();
    how.preIm = c.Imag();
    return how;
}
inline PhaseProduct ProductTimes(const ComplexDouble& c)
{
    PhaseProduct how;
    how.hasPost = true;
    how.postRe = c.Real();
    how.postIm = c.Imag();
    return how;
}

/// Calls body(first, count, phases) for pieces of a row of n samples whose phases are phaseOf(i).
template <class PhaseOf, class Body>
void InPhaseBlocks(std::int32_t n, const PhaseOf& phaseOf, const Body& body)
{
    constexpr std::int32_t kBlock = 256;
    alignas(64) double phases[kBlock];
    for (std::int32_t first = 0; first < n; first += kBlock)
    {
        const std::int32_t count = std::min(kBlock, n - first);
        for (std::int32_t m = 0; m < count; ++m)
            phases[m] = phaseOf(first + m);
        body(first, static_cast<std::size_t>(count), phases);
    }
}

/// to[i] := from[i] * exp(i phaseOf(i)) for a row of n samples, sample by sample as TimesUnit, or
/// several samples wide with the same bits. `to` and `from` are equal or apart.
template <class PhaseOf>
void MultiplyRow(Complex* to, const Complex* from, std::int32_t n, const PhaseOf& phaseOf, const PhaseProduct& how = {})
{
    if (StepByStep())
    {
        for (std::int32_t i = 0; i < n; ++i)
            to[i] = TimesUnit(from[i], phaseOf(i), how);
        return;
    }
    InPhaseBlocks(
        n, phaseOf,
        [=, &how](std::int32_t first, std::size_t count, const double* phases)
        { Phases().multiply(PhaseForm::Given(phases), how, 0, count, Floats(from + first), Floats(to + first)); });
}

/// to[i] := exp(i phaseOf(i)), each member rounded to float; plain or wide as MultiplyRow.
template <class PhaseOf>
void UnitRow(Complex* to, std::int32_t n, const PhaseOf& phaseOf)
{
    if (StepByStep())
    {
        for (std::int32_t i = 0; i < n; ++i)
            to[i] = Complex(Unit(phaseOf(i)));
        return;
    }
    InPhaseBlocks(n, phaseOf,
                  [to](std::int32_t first, std::size_t count, const double* phases)
                  { Phases().unit(PhaseForm::Given(phases), 0, count, Floats(to + first), nullptr); });
}
} // namespace LumoraLib::detail

#endif
