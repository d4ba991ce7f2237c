// Complex fields as phases alone, for devices that turn phases: double-phase and error-diffusion encodings.
//
// Both give samples of amplitude 1 whose low frequencies carry the field. Amplitudes are measured in units of a
// reference that becomes 1: what a device can show, since no sum of unit phasors is longer.
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "base/Reduce.h"
#include "field/FieldTools.h"
#include "simd/SinCos.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace LumoraLib
{
namespace
{
constexpr double kLevelPi = 3.1415926; // of the levels that HardClipPhase makes

constexpr char kLabel[] = "phase encoding";
constexpr char kTextReference[] = "the reference amplitude must be finite and not negative";

/// A complex number in double precision.
struct Pair
{
    double re;
    double im;
};

/// The largest amplitude of samples of any form.
double Largest(const Lumora& field)
{
    const Complex* const samples = field.GetDataPointer();
    const bool polar = field.IsPolarForm();
    const double square = detail::ReduceMax(field.N(), 0.0,
                                            [=](std::size_t begin, std::size_t end, double largest)
                                            {
                                                for (std::size_t n = begin; n < end; ++n)
                                                {
                                                    const double re = samples[n].GetReal();
                                                    const double im = polar ? 0.0 : samples[n].GetImag();
                                                    largest = std::max(largest, re * re + im * im);
                                                }
                                                return largest;
                                            });
    return std::sqrt(square);
}

/// What is multiplied with amplitudes: 1 over the reference, or over the largest amplitude for a reference of 0. A
/// field without light gives 0. Takes memory: before samples change.
double Scale(const Lumora& field, double reference)
{
    const double largest = reference == 0.0 ? Largest(field) : reference;
    return largest > 0.0 ? 1.0 / largest : 0.0;
}

void RequireReference(double reference, const char* function)
{
    if (!std::isfinite(reference) || reference < 0.0)
        Error(ERR_PARAMETER, function, kTextReference);
}

/// The unit number in the direction of (re, im); 1 for 0.
Pair Direction(double re, double im)
{
    const double length = std::sqrt(re * re + im * im);
    return length > 0.0 ? Pair{re / length, im / length} : Pair{1.0, 0.0};
}
} // namespace

Lumora& Lumora::EncodeDoublePhase(double reference)
{
    static constexpr char fn[] = "LumoraLib::Lumora::EncodeDoublePhase";
    RequireReference(reference, fn);
    RequireSamples(fn);
    const double scale = Scale(*this, reference);
    const detail::CartesianSamples cartesian(*this);
    detail::ParallelRows(0, ny_,
                         [&](std::int32_t j)
                         {
                             Complex* const row = dataPointer_ + Index(0, j);
                             for (std::int32_t i = 0; i < nx_; ++i)
                             {
                                 const double re = row[i].GetReal();
                                 const double im = row[i].GetImag();
                                 const double a = std::min(1.0, std::sqrt(re * re + im * im) * scale);
                                 // exp(i (phi +- acos a)) = exp(i phi) (a +- i sqrt(1 - a a))
                                 const Pair unit = Direction(re, im);
                                 const double side = std::sqrt(1.0 - a * a);
                                 const double s = ((i + j) & 1) == 0 ? side : -side;
                                 row[i] = Complex(unit.re * a - unit.im * s, unit.re * s + unit.im * a);
                             }
                         });
    return *this;
}

Lumora& Lumora::EncodeErrorDiffusion(int levels, double reference)
{
    static constexpr char fn[] = "LumoraLib::Lumora::EncodeErrorDiffusion";
    RequireReference(reference, fn);
    if (levels < 0 || levels == 1 || levels > 65536)
        Error(ERR_PARAMETER, fn, "levels must be 0 or from 2 to 65536");
    RequireSamples(fn);
    const std::size_t width = static_cast<std::size_t>(nx_) + 2; // a place beyond each end of a row
    const auto level = detail::MallocArray<Pair>(static_cast<std::size_t>(levels), kLabel);
    for (int n = 0; n < levels; ++n)
    {
        const double phase = ((n + 1.0) / levels * 2.0 - 1.0) * kLevelPi;
        detail::SinCos1(phase, level[static_cast<std::size_t>(n)].im, level[static_cast<std::size_t>(n)].re);
    }
    const auto errors = detail::MallocArray<Pair>(2 * width, kLabel);
    Pair* here = errors.get(); // what the rows before have handed on to this one
    Pair* next = here + width;
    std::fill_n(here, 2 * width, Pair{0.0, 0.0});
    const double scale = Scale(*this, reference);
    const detail::CartesianSamples cartesian(*this);
    detail::Progress progress(fn, ny_);
    for (std::int32_t j = 0; j < ny_; ++j)
    {
        const std::ptrdiff_t step = (j & 1) == 0 ? 1 : -1;
        std::ptrdiff_t i = step > 0 ? 0 : nx_ - 1;
        Complex* const row = dataPointer_ + Index(0, j);
        for (std::int32_t n = 0; n < nx_; ++n, i += step)
        {
            const std::size_t at = static_cast<std::size_t>(i + 1);
            const double amplitude = row[i].Amplitude() * scale;
            const double factor = amplitude > 1.0 ? scale / amplitude : scale;
            const double re = row[i].GetReal() * factor + here[at].re;
            const double im = row[i].GetImag() * factor + here[at].im;
            Pair shown = Direction(re, im);
            if (levels != 0)
            {
                // The angle finds the level but for its last bits, which differ between processors; the products
                // decide.
                const double turn = (std::atan2(im, re) + detail::kPi) / detail::kTwoPi * levels + 0.5;
                const int guess = std::max(detail::TruncI32(turn), 0) - 1; // an angle that is no number has none
                double nearest = -std::numeric_limits<double>::infinity();
                for (int k = guess - 1; k <= guess + 1; ++k)
                {
                    const Pair& candidate = level[static_cast<std::size_t>(((k % levels) + levels) % levels)];
                    const double product = candidate.re * re + candidate.im * im;
                    if (product > nearest)
                    {
                        nearest = product;
                        shown = candidate;
                    }
                }
            }
            row[i] = Complex(shown.re, shown.im);
            const Pair error{re - shown.re, im - shown.im};
            const auto hand = [&](Pair* to, std::ptrdiff_t place, double share)
            {
                Pair& p = to[static_cast<std::size_t>(place + 1)];
                p.re += error.re * share;
                p.im += error.im * share;
            };
            hand(here, i + step, 7.0 / 16.0);
            hand(next, i - step, 3.0 / 16.0);
            hand(next, i, 5.0 / 16.0);
            hand(next, i + step, 1.0 / 16.0);
        }
        std::swap(here, next);
        std::fill_n(next, width, Pair{0.0, 0.0});
        progress.Step(j + 1);
    }
    return *this;
}
} // namespace LumoraLib
