// Shaping of amplitude and phase: quantisation to levels, random phase, lens phase.
//
// The sample loops run in sample order on the calling thread; only the form conversions are parallel.
#include "base/Constants.h"
#include "base/Describe.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace LumoraLib
{
namespace
{
// Kept: the levels of a clipped phase are multiples of a pi of eight digits, unlike the constants of the
// classification, so the top level is 3.1415926 and not pi.
constexpr double kLevelPi = 3.1415926;

/// Pulls t onto a whole number when it is within epsilon of one; both limits belong to the band.
double PullToWhole(double t, double epsilon)
{
    double whole = 0.0;
    double fraction = std::modf(t, &whole);
    if (fraction <= epsilon)
        fraction = 0.0;
    else if (fraction >= 1.0 - epsilon)
        fraction = 1.0;
    return fraction + whole;
}

bool EpsilonOutOfRange(double epsilon)
{
    return epsilon > 0.50001 || epsilon < 0.0; // half a step, with room for rounding
}

/// Phase operations: polar samples for the loop, then the form that came in.
template <class Loop>
void OnPolarSamples(Lumora& field, const Loop& loop)
{
    const bool convert = !field.IsPolarForm();
    detail::MakePolar(field);
    Complex* const samples = field.GetDataPointer();
    const std::size_t count = field.N();
    for (std::size_t n = 0; n < count; ++n)
        loop(samples[n].imag());
    if (convert)
        detail::MakeCartesian(field);
}

/// Gives samples their cartesian form back after an amplitude operation and stores the saved flags.
/// Kept: a field that came in as a polar spectrum (3) is left with cartesian samples and flags 3.
void RestoreSavedForm(Lumora& field, ComplexForm saved)
{
    if (saved != POLAR_AMPLITUDE)
        detail::MakeCartesian(field);
    field.Form() = saved;
}
} // namespace

Lumora& Lumora::PartialClipAmplitude(int levels, double epsilon)
{
    static constexpr char fn[] = "LumoraLib::Lumora::PartialClipAmplitude";
    if (levels < 2)
        return *this;
    if (EpsilonOutOfRange(epsilon))
        Error(ERR_PARAMETER, fn, detail::Explained("out of range of epsilon", "epsilon is %.9g.", epsilon));
    RequireSamples(fn);
    PushForm();
    detail::MakePolar(*this);
    const double top = levels - 1;
    const std::size_t count = N();
    for (std::size_t n = 0; n < count; ++n)
    {
        float& amplitude = dataPointer_[n].real();
        double level = PullToWhole(static_cast<double>(amplitude) * top, epsilon);
        if (level > top)
            level = top;
        amplitude = static_cast<float>(level / top);
    }
    RestoreSavedForm(*this, PullForm());
    return *this;
}

Lumora& Lumora::PartialClipPhase(int levels, double epsilon)
{
    static constexpr char fn[] = "LumoraLib::Lumora::PartialClipPhase";
    if (levels < 1)
        return *this;
    if (EpsilonOutOfRange(epsilon))
        Error(ERR_PARAMETER, fn, detail::Explained("out of range of epsilon", "epsilon is %.9g.", epsilon));
    RequireSamples(fn);
    const double count = levels;
    OnPolarSamples(*this,
                   [count, epsilon](float& phase)
                   {
                       double level =
                           PullToWhole((static_cast<double>(phase) + detail::kPi) / detail::kTwoPi * count, epsilon);
                       if (level <= 0.0)
                           level = count;
                       phase = static_cast<float>((level / count * 2.0 - 1.0) * kLevelPi);
                   });
    return *this;
}

Lumora& Lumora::HardClipAmplitude(int levels)
{
    static constexpr char fn[] = "LumoraLib::Lumora::HardClipAmplitude";
    if (levels < 2)
        return *this;
    RequireSamples(fn);
    PushForm();
    detail::MakePolar(*this);
    const float steps = static_cast<float>(levels - 1);
    const double top = levels - 1;
    const std::size_t count = N();
    for (std::size_t n = 0; n < count; ++n)
    {
        float& amplitude = dataPointer_[n].real();
        const float scaled = amplitude * steps;
        // Whole numbers in double: every amplitude above the range, infinity too, ends at the top level.
        const double level = std::min(std::trunc(static_cast<double>(scaled) + 0.5), top);
        amplitude = static_cast<float>(level) / steps;
    }
    RestoreSavedForm(*this, PullForm());
    return *this;
}

Lumora& Lumora::HardClipPhase(int levels)
{
    static constexpr char fn[] = "LumoraLib::Lumora::HardClipPhase";
    if (levels < 1)
        return *this;
    RequireSamples(fn);
    const double count = levels;
    OnPolarSamples(*this,
                   [levels, count](float& phase)
                   {
                       std::int32_t level =
                           detail::TruncI32((static_cast<double>(phase) + detail::kPi) / detail::kTwoPi * count + 0.5);
                       if (level <= 0)
                           level = levels; // the lowest level is the top one, a turn away
                       phase = static_cast<float>((level / count * 2.0 - 1.0) * kLevelPi);
                   });
    return *this;
}

Lumora& Lumora::SetRandomPhase()
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetRandomPhase";
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    // Kept: the first member becomes 1 before any conversion, so on cartesian samples a leftover imaginary part enters
    // the amplitude, which is 1 only where that part was 0.
    Complex* const samples = dataPointer_;
    detail::ParallelFlat(N(), [samples](std::size_t n) { samples[n].real() = 1.0f; });
    return ModRandomPhase();
}

Lumora& Lumora::ModRandomPhase()
{
    static constexpr char fn[] = "LumoraLib::Lumora::ModRandomPhase";
    const bool convert = form_ == COMPLEX_AMPLITUDE;
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    if (convert)
        detail::MakePolar(*this);
    static_assert(RAND_MAX >> 8 >= 32767, "15 bits above the 8 lowest");
    // Columns outermost and one draw per sample: the same sequence of the source gives the same field.
    for (std::int32_t i = 0; i < nx_; ++i)
        for (std::int32_t j = 0; j < ny_; ++j)
        {
            const int r = (std::rand() >> 8) & 32767; // 15 of the source's 31 bits: 0..32767 spans the full turn
            dataPointer_[Index(i, j)].imag() = static_cast<float>(r / 32767.0 * detail::kTwoPi - detail::kPi);
        }
    if (convert)
    {
        detail::FieldAccess::SetPolar(*this, false);
        detail::SamplesToCartesian(dataPointer_, N());
    }
    return *this;
}

Lumora& Lumora::SetQuadraticPhase(double f)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetQuadraticPhase";
    RequireSamples(fn);
    const double twice = 2.0 * f;
    for (std::int32_t j = 0; j < ny_; ++j)
    {
        const double y = Y(j);
        if (!detail::StepByStep())
        {
            detail::Phases().setPhase(detail::PhaseForm::Lens(px_, y * y, -k_, twice), -(nx_ / 2),
                                      static_cast<std::size_t>(nx_), detail::Floats(dataPointer_ + Index(0, j)));
            continue;
        }
        for (std::int32_t i = 0; i < nx_; ++i)
        {
            const double x = X(i);
            const double theta = -k_ * (x * x + y * y) / twice;
            Complex& sample = dataPointer_[Index(i, j)];
            const double amplitude = sample.Amplitude(); // im * im in single precision, as everywhere in Complex
            double s = 0.0;
            double c = 0.0;
            detail::SinCos1(theta, s, c);
            sample.Comp(amplitude * c, amplitude * s);
        }
    }
    return *this;
}
} // namespace LumoraLib
