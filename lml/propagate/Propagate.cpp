// Propagation to parallel planes: angular spectrum, Fresnel and Fourier.
//
// Plain loops define the results; the wide forms of the phases give the same bits.
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "propagate/FreeSpace.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "transform/Engine.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace LumoraLib
{
namespace
{
/// The two members on spectra.
void PropagateSpectrum(Lumora& field, double d, bool bandLimit, const char* fn)
{
    detail::FieldAccess::RequireSamples(field, fn);
    // Kept: never converted back, and a polar field that is refused is cartesian already.
    detail::MakeCartesian(field);
    if (!field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    if (bandLimit)
        detail::CheckBandLoss(fn, field, d, 1);
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const double lambda = field.GetWavelength();
    const detail::FreeSpace h(d, lambda, field.GetPx(), field.GetPy());
    const detail::IndexBox all{0, nx, 0, ny};
    detail::FilterSpectrum(field, {h, bandLimit ? detail::AsmBandBox(nx, ny, h.du, h.dv, d, lambda) : all});
    detail::FieldAccess::AddToOrigin(field, d);
}

/// The three real-space propagators: there and back around the transfer function, with or without the band limit, on
/// a doubled grid or not.
void PropagateBySpectrum(Lumora& field, double d, bool bandLimit, bool embed, const char* fn, const char* message)
{
    detail::RequireTransformable(field, fn, embed ? 2 : 1);
    if (field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, message);
    if (bandLimit)
        detail::CheckBandLoss(fn, field, d, embed ? 2 : 1);
    const int doublings = embed ? 1 : 0;
    const std::int32_t nx = detail::GrownColumns(field.GetNx(), doublings);
    const std::int32_t ny = detail::GrownRows(field.GetNy(), doublings);
    const double lambda = field.GetWavelength();
    const detail::FreeSpace h(d, lambda, 1.0 / (nx * field.GetPx()),
                              ny == 1 ? field.GetPy() : 1.0 / (ny * field.GetPy()));
    const detail::IndexBox all{0, nx, 0, ny};
    const std::int64_t samples = static_cast<std::int64_t>(field.N());
    const detail::Progress progress(fn, samples, samples);
    detail::CarryOut({h, bandLimit ? detail::AsmBandBox(nx, ny, h.du, h.dv, d, lambda) : all, doublings}, field, field);
    detail::FieldAccess::AddToOrigin(field, d);
}
} // namespace

// -------------------------------------------------------------------------------------------- angular spectrum

Lumora& Lumora::RawAsmPropFs(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RawAsmPropFs";
    PropagateSpectrum(*this, d, false, fn);
    return *this;
}

Lumora& Lumora::AsmPropFs(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AsmPropFs";
    PropagateSpectrum(*this, d, true, fn);
    return *this;
}

Lumora& Lumora::RawAsmProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RawAsmProp";
    PropagateBySpectrum(*this, d, false, false, fn, ": RawAsmProp");
    return *this;
}

Lumora& Lumora::AsmProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AsmProp";
    PropagateBySpectrum(*this, d, true, false, fn, ": AsmProp");
    return *this;
}

Lumora& Lumora::ExactAsmProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ExactAsmProp";
    PropagateBySpectrum(*this, d, true, true, fn, ": ExactAsmProp");
    return *this;
}

// ------------------------------------------------------------------------------------------ Fresnel and Fourier

namespace
{
/// Multiplies one row by exp(i phi(x)). Kept: phi is rounded to float, so phases of 1e5 rad are off by up to 4e-3 rad,
/// and the products with the sample's imaginary part are single ones.
template <class PhaseOf>
void MultiplyPhaseRow(Complex* row, std::int32_t nx, double px, const PhaseOf& phaseOf)
{
    for (std::int32_t i = 0; i < nx; ++i)
    {
        const double x = (static_cast<double>(i) - nx / 2) * px;
        const double phi = static_cast<double>(static_cast<float>(phaseOf(x)));
        double sine = 0.0;
        double cosine = 0.0;
        detail::SinCos1(phi, sine, cosine);
        const float c = static_cast<float>(cosine);
        const float s = static_cast<float>(sine);
        Complex& a = row[i];
        const double re = static_cast<double>(c) * a.GetReal() - static_cast<double>(a.Imag() * s);
        const double im = a.GetReal() * static_cast<double>(s) + static_cast<double>(a.Imag() * c);
        a = Complex(re, im);
    }
}

/// Multiplies every sample by exp(i phi(x, y)): by plain rows on the calling thread, or by the same phases in wide
/// form, rows divided over the threads.
template <class PhaseOf, class FormOf>
void MultiplyPhase(Lumora& field, const PhaseOf& phaseOf, const FormOf& formOf)
{
    if (field.N() == 0)
        return;
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const double px = field.GetPx();
    Complex* const samples = field.GetDataPointer();
    const std::size_t width = static_cast<std::size_t>(nx);
    const auto rowAt = [=](std::int32_t j)
    {
        return samples + width * static_cast<std::size_t>(j);
    };
    if (detail::StepByStep())
    {
        for (std::int32_t j = 0; j < ny; ++j)
        {
            const double y = field.Y(j);
            MultiplyPhaseRow(rowAt(j), nx, px, [&](double x) { return phaseOf(x, y); });
        }
        return;
    }
    detail::PhaseProduct mixed;
    mixed.rule = detail::PhaseProduct::Rule::Mixed;
    detail::ParallelRows(0, ny,
                         [&](std::int32_t j)
                         {
                             const double y = field.Y(j);
                             float* const row = reinterpret_cast<float*>(rowAt(j));
                             detail::Phases().multiply(formOf(px, y * y), mixed, -(nx / 2), width, row, row);
                         });
}

/// FourierProp and its way back: the transform alone, with the pitches of the far plane.
void FraunhoferStep(Lumora& field, double d, int sign, const char* fn)
{
    detail::RequireTransformable(field, fn);
    if (field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    detail::CheckDistance(fn, d);
    const detail::ReadyTransform transform(field.GetDataPointer(), field.GetNx(), field.GetNy(), sign);
    const std::int64_t samples = static_cast<std::int64_t>(field.N());
    detail::Progress progress(fn, samples, samples);
    progress.Step(0);
    const detail::CartesianSamples cartesian(field);
    transform.RunWatched();
    const double s = field.GetWavelength() * d;
    field.SetPx(s / (field.GetNx() * field.GetPx()));
    if (field.GetNy() != 1)
        field.SetPy(s / (field.GetNy() * field.GetPy()));
}
} // namespace

Lumora& Lumora::FresnelProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::FresnelProp";
    detail::RequireTransformable(*this, fn);
    if (IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "p");
    detail::CheckDistance(fn, d);
    const detail::ReadyTransform transform(dataPointer_, nx_, ny_, -1);
    const std::int64_t samples = static_cast<std::int64_t>(N());
    detail::Progress progress(fn, 3 * samples, samples);
    progress.Step(0);
    const detail::CartesianSamples cartesian(*this);
    const double k = k_;
    MultiplyPhase(
        *this, [=](double x, double y) { return (y * y + x * x) * k / (d + d); },
        [=](double px, double y2) { return detail::PhaseForm::FresnelIn(px, y2, k, d + d); });
    progress.Step(samples);
    transform.RunWatched();
    progress.Step(2 * samples);
    const double lambda = GetWavelength();
    if (ny_ == 1)
    {
        px_ = d / (nx_ * px_) * lambda; // Kept: another order than below, for the last bit
    }
    else
    {
        const double s = lambda * d;
        px_ = s / (nx_ * px_);
        py_ = s / (ny_ * py_);
    }
    MultiplyPhase(
        *this, [=](double x, double y) { return ((y * y + x * x) / (d + d) + d) * k; },
        [=](double px, double y2) { return detail::PhaseForm::FresnelOut(px, y2, k, d + d, d); });
    detail::FieldAccess::AddToOrigin(*this, d);
    return *this;
}

Lumora& Lumora::FourierProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::FourierProp";
    FraunhoferStep(*this, d, -1, fn);
    detail::FieldAccess::AddToOrigin(*this, d);
    return *this;
}

Lumora& Lumora::BackFourierProp(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::BackFourierProp";
    FraunhoferStep(*this, d, 1, fn);
    detail::FieldAccess::AddToOrigin(*this, -d);
    return *this;
}
} // namespace LumoraLib
