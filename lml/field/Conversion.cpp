// Between cartesian and polar samples, to real quantities, normalisation to a maximum, turns by right angles.
//
// The form flag describes what the two members mean; the operations that replace samples by a real quantity leave it
// alone.
#include "base/Describe.h"
#include "base/Floats.h"
#include "base/Parallel.h"
#include "base/Reduce.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "field/WideField.h"

#include <cmath>
#include <cstddef>

namespace LumoraLib
{
namespace
{
/// One parallel loop over all samples: wide(samples, count) on each thread's block where the wide forms are in use,
/// otherwise kernel on sample after sample. Both give the same bits.
template <class Wide, class Kernel>
void EachSample(Complex* samples, std::size_t count, const Wide& wide, const Kernel& kernel)
{
    if (!detail::StepByStep())
        detail::ParallelBlocks(count, [=](std::size_t begin, std::size_t end, int)
                               { wide(detail::Floats(samples + begin), end - begin); });
    else
        detail::ParallelFlat(count, [=](std::size_t n) { kernel(samples[n]); });
}

void Store(Complex& c, float first)
{
    c.real() = first;
    c.imag() = 0.0f;
}

double SquareOf(const Complex& c)
{
    return c.GetReal() * c.GetReal() + c.GetImag() * c.GetImag();
}

double AmplitudeOf(const Complex& c)
{
    return std::sqrt(SquareOf(c));
}

/// Largest first member of a row of samples, from a start value.
double LargestFirst(const Complex* samples, std::size_t count, double start)
{
    if (!detail::StepByStep())
        return detail::WideField().largestFirst(detail::Floats(samples), count, start);
    for (std::size_t n = 0; n < count; ++n)
        if (samples[n].GetReal() > start)
            start = samples[n].GetReal();
    return start;
}

/// Largest x x + y y. The root is monotonic, so the root of the largest square is the largest of the roots, bit by bit.
double LargestSquare(const Complex* samples, std::size_t count, double start)
{
    if (!detail::StepByStep())
        return detail::WideField().largestSquare(detail::Floats(samples), count, start);
    for (std::size_t n = 0; n < count; ++n)
    {
        const double square = SquareOf(samples[n]);
        if (square > start)
            start = square;
    }
    return start;
}

/// Brings a maximum m to `value`: amplitudes in double in polar form, both members in single precision otherwise.
void ScaleToMaximum(Lumora& field, double value, double m)
{
    const double s = value / m; // a zero maximum gives the floating-point result
    if (field.IsPolarForm())
        EachSample(
            field.GetDataPointer(), field.N(),
            [s](float* z, std::size_t count) { detail::WideField().scaleFirst(z, count, s); },
            [s](Complex& c) { c.SetReal(c.GetReal() * s); });
    else
        detail::ScaleSamples(field.GetDataPointer(), field.N(), static_cast<float>(s));
}
} // namespace

Lumora& Lumora::_ConvToPolarForm()
{
    static constexpr char fn[] = "LumoraLib::Lumora::_ConvToPolarForm";
    RequireSamples(fn);
    detail::MakePolar(*this);
    return *this;
}

Lumora& Lumora::_ConvToComplexForm()
{
    static constexpr char fn[] = "LumoraLib::Lumora::_ConvToComplexForm";
    RequireSamples(fn);
    detail::MakeCartesian(*this);
    return *this;
}

Lumora& Lumora::ConvToPolarForm()
{
    Printf("ObsoleteMethod!");
    return _ConvToPolarForm();
}

Lumora& Lumora::ConvToComplexForm()
{
    Printf("ObsoleteMethod!");
    return _ConvToComplexForm();
}

Lumora& Lumora::ConvToIntensity()
{
    static constexpr char fn[] = "LumoraLib::Lumora::ConvToIntensity";
    RequireSamples(fn);
    if (IsPolarForm())
        EachSample(dataPointer_, N(), detail::WideField().squareFirst,
                   [](Complex& c) { Store(c, c.Real() * c.Real()); });
    else
        EachSample(dataPointer_, N(), detail::WideField().intensity,
                   [](Complex& c) { Store(c, static_cast<float>(SquareOf(c))); });
    return *this;
}

Lumora& Lumora::ConvToLogIntensity()
{
    static constexpr char fn[] = "LumoraLib::Lumora::ConvToLogIntensity";
    RequireSamples(fn);
    const double l = std::log10(2.0);
    // Kept: the polar branch adds its 1 outside a single-precision logarithm, so the two forms of one field give
    // different values, and amplitude zero gives minus infinity instead of 0.
    Complex* const samples = dataPointer_;
    if (IsPolarForm())
        detail::ParallelFlat(N(),
                             [samples, l](std::size_t n)
                             {
                                 const float amplitude = samples[n].Real();
                                 const float logarithm = std::log10(amplitude * amplitude);
                                 Store(samples[n], static_cast<float>((static_cast<double>(logarithm) + 1.0) / l));
                             });
    else
        EachSample(
            samples, N(), [l](float* z, std::size_t count) { detail::WideField().logIntensity(z, count, l); },
            [l](Complex& c) { Store(c, detail::PlainLogIntensity(c.Real(), c.Imag(), l)); });
    return *this;
}

Lumora& Lumora::ConvToAbsolute()
{
    static constexpr char fn[] = "LumoraLib::Lumora::ConvToAbsolute";
    RequireSamples(fn);
    if (IsPolarForm())
        EachSample(dataPointer_, N(), detail::WideField().clearSecond, [](Complex& c) { c.imag() = 0.0f; });
    else
        EachSample(dataPointer_, N(), detail::WideField().absolute,
                   [](Complex& c) { Store(c, static_cast<float>(AmplitudeOf(c))); });
    return *this;
}

Lumora& Lumora::ConvToConjugate()
{
    static constexpr char fn[] = "LumoraLib::Lumora::ConvToConjugate";
    RequireSamples(fn);
    EachSample(dataPointer_, N(), detail::WideField().conjugate, [](Complex& c) { c.imag() = 0.0f - c.Imag(); });
    return *this;
}

Lumora& Lumora::Normalize(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Normalize";
    RequireSamples(fn);
    if (N() == 0)
        return *this;
    const Complex* const samples = dataPointer_;
    const bool polar = IsPolarForm();
    const double start = polar ? samples[0].GetReal() : SquareOf(samples[0]);
    const double largest = detail::ReduceMax(N(), start,
                                             [=](std::size_t begin, std::size_t end, double running)
                                             {
                                                 return polar ? LargestFirst(samples + begin, end - begin, running)
                                                              : LargestSquare(samples + begin, end - begin, running);
                                             });
    ScaleToMaximum(*this, value, polar ? largest : std::sqrt(largest));
    return *this;
}

Lumora& Lumora::NormalizeWin(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::NormalizeWin";
    RequireSamples(fn);
    const LML_RECT w = GridWindow();
    if (w.left >= nx_ || w.bottom >= ny_)
        return *this; // no sample at the window's corner: nothing to measure by
    const Complex* const samples = dataPointer_;
    const std::size_t nx = static_cast<std::size_t>(nx_);
    // Kept: the start value is an amplitude of the pair also in polar form, and a polar spectrum is measured as if its
    // samples were cartesian, so that phases enter the maximum there; only the plain polar field compares first
    // members.
    const bool firstMembers = form_ == POLAR_AMPLITUDE;
    const Complex& corner = samples[Index(w.left, w.bottom)];
    const double start = firstMembers ? AmplitudeOf(corner) : SquareOf(corner);
    const std::size_t rows = w.bottom < w.top && w.left < w.right ? static_cast<std::size_t>(w.top - w.bottom) : 0;
    const std::size_t columns = rows == 0 ? 0 : static_cast<std::size_t>(w.right - w.left);
    const double largest = detail::ReduceMax(
        rows, start,
        [=](std::size_t begin, std::size_t end, double running)
        {
            for (std::size_t j = begin; j < end; ++j)
            {
                const Complex* const row =
                    samples + nx * (static_cast<std::size_t>(w.bottom) + j) + static_cast<std::size_t>(w.left);
                running = firstMembers ? LargestFirst(row, columns, running) : LargestSquare(row, columns, running);
            }
            return running;
        });
    ScaleToMaximum(*this, value, firstMembers ? largest : std::sqrt(largest));
    return *this;
}

Lumora& Lumora::ImageRotation(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ImageRotation";
    if (n < 1 || n > 3)
        Error(ERR_PARAMETER, fn, detail::Explained("", "n is %d.", n));
    RequireSamples(fn);
    const Lumora old(*this);
    if (n != 2)
        detail::Resize(*this, old.ny_, old.nx_);
    const std::int64_t nx = nx_;
    const std::int64_t ny = ny_;
    const std::int64_t count = nx * ny;
    const auto put = [&](std::int64_t index, std::int64_t i, std::int64_t j)
    {
        if (index >= 0 && index < count)
            dataPointer_[index] = old.dataPointer_[i + old.nx_ * j];
    };
    for (std::int64_t i = 0; i < old.nx_; ++i)
    {
        // Kept: the row term of the quarter turn uses Nx, so only square grids turn rightly; what would fall outside a
        // rectangular grid is left out.
        if (n == 1)
            for (std::int64_t j = 0; j < old.ny_; ++j)
                put((nx - 1 - i) * nx + j, i, j);
        else if (n == 2)
            for (std::int64_t j = 0; j < old.ny_; ++j)
                put((ny - 1 - j) * nx + (nx - 1 - i), i, j);
        // Kept: the three-quarter turn sends a whole column to one sample of the anti-diagonal, where its last one
        // stays; all other samples keep what the buffer had. Who needs the turn itself calls the quarter turn three
        // times.
        else if (old.ny_ > 0)
            put(nx * i + (nx - 1 - i), i, old.ny_ - 1);
    }
    return *this;
}
} // namespace LumoraLib
