// Propagation to parallel planes: angular spectrum, Fresnel and Fourier.
//
// Plain loops define the results; the wide forms of the phases give the same bits.
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
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
/// H for the distance d: exp(i 2 pi d sqrt(w)), w = 1 / lambda^2 - u u - v v.
/// Kept: beyond the evanescent limit (w <= 0) the factor is 1; only the band limit of AsmPropFs cuts.
class FreeSpace final : public detail::Transfer
{
public:
    FreeSpace(double d, double lambda, double pitchU, double pitchV)
        : twoPiD_(detail::kTwoPi * d), inverseSquare_(1.0 / (lambda * lambda))
    {
        du = pitchU;
        dv = pitchV;
        roomLabel = "SPWPropFS : buffer";
    }

    detail::PhaseForm EvenRow(double v) const override
    {
        return detail::PhaseForm::Transfer(du, inverseSquare_, v * v, twoPiD_);
    }

    /// One row of factors, rounded to float, serves both rows.
    void Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex* room) const override
    {
        FillRow(room, nx, j * dv);
        for (Complex* const row : {below, above})
            if (row != nullptr)
                detail::MultiplySamples(row, room, static_cast<std::size_t>(nx));
    }

private:
    /// H for u, with rest = 1 / lambda^2 - v v.
    Complex At(double rest, double u) const
    {
        const double w = rest - u * u;
        if (!(w > 0.0))
            return Complex(1.0, 0.0);
        return Complex(detail::Unit(twoPiD_ * std::sqrt(w)));
    }

    /// H is even in u: each value serves index nx/2 + i and nx/2 - i.
    void FillRow(Complex* row, std::int32_t nx, double v) const
    {
        const std::int32_t half = nx / 2;
        if (!detail::StepByStep())
        {
            const detail::PhaseForm form = EvenRow(v);
            float* const centre = reinterpret_cast<float*>(row + half);
            detail::Phases().unit(form, 0, static_cast<std::size_t>(half), centre, centre);
            detail::Phases().unit(form, -half, 1, reinterpret_cast<float*>(row), nullptr);
            return;
        }
        const double rest = inverseSquare_ - v * v;
        for (std::int32_t i = 0; i < half; ++i)
            row[half + i] = row[half - i] = At(rest, i * du);
        row[0] = At(rest, -half * du);
    }

    double twoPiD_;
    double inverseSquare_;
};

/// Largest frequency at which the phase of H is still sampled finely enough by the pitch du.
double BandLimit(double du, double d, double lambda)
{
    const double t = du * (d * 2.0);
    return 1.0 / std::sqrt(t * t + 1.0) / lambda;
}

/// The box that the band limit leaves of an nx by ny spectrum with pitches du, dv (cycles per metre) at the distance d:
/// the whole grid where the limit does not reach. Kept: the upper ends are exclusive, so the box is one column and one
/// row short of symmetric about the centre.
detail::IndexBox BandBox(std::int32_t nx, std::int32_t ny, double du, double dv, double d, double lambda)
{
    detail::IndexBox box{0, nx, 0, ny};
    const double ulimit = BandLimit(du, d, lambda);
    const double vlimit = BandLimit(dv, d, lambda);
    if ((nx / 2) * du > ulimit)
    {
        box.i0 = detail::NearestIndex(0.0 - ulimit, du, nx / 2);
        box.i1 = detail::NearestIndex(ulimit, du, nx / 2);
    }
    if ((ny / 2) * dv > vlimit)
    {
        box.j0 = detail::NearestIndex(0.0 - vlimit, dv, ny / 2);
        box.j1 = detail::NearestIndex(vlimit, dv, ny / 2);
    }
    return box;
}

/// Reports light beyond the band limit of a propagation over d on a grid `enlarge` times the field's size.
void CheckBandLoss(const char* fn, const Lumora& field, double d, std::int32_t enlarge)
{
    if (!detail::MistakesOn())
        return;
    const std::int32_t nx = field.GetNx() * enlarge;
    const std::int32_t ny = field.GetNy() * enlarge;
    const double du = field.IsSpectrum() ? field.GetPx() : 1.0 / (nx * field.GetPx());
    const double dv = field.IsSpectrum() ? field.GetPy() : 1.0 / (ny * field.GetPy());
    const detail::IndexBox box = BandBox(nx, ny, du, dv, d, field.GetWavelength());
    // The box is half-open, the band open: half a sample to the side of each end.
    const auto end = [](std::int32_t i, std::int32_t n, double pitch)
    {
        return (i - n / 2) * pitch - 0.5 * pitch;
    };
    detail::Mistakes::BandLoss(fn, field, end(box.i0, nx, du), end(box.i1, nx, du), end(box.j0, ny, dv),
                               end(box.j1, ny, dv));
}

/// The two members on spectra.
void PropagateSpectrum(Lumora& field, double d, bool bandLimit, const char* fn)
{
    detail::FieldAccess::RequireSamples(field, fn);
    if (!field.IsSpectrum())
    {
        detail::MakeCartesian(field); // Kept: a polar field that is refused for its domain is cartesian already.
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    }
    if (bandLimit)
        CheckBandLoss(fn, field, d, 1);
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const double lambda = field.GetWavelength();
    const FreeSpace h(d, lambda, field.GetPx(), field.GetPy());
    const detail::IndexBox all{0, nx, 0, ny};
    detail::FilterSpectrum(field, {h, bandLimit ? BandBox(nx, ny, h.du, h.dv, d, lambda) : all});
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
        CheckBandLoss(fn, field, d, embed ? 2 : 1);
    const int doublings = embed ? 1 : 0;
    const std::int32_t nx = detail::GrownColumns(field.GetNx(), doublings);
    const std::int32_t ny = detail::GrownRows(field.GetNy(), doublings);
    const double lambda = field.GetWavelength();
    const FreeSpace h(d, lambda, 1.0 / (nx * field.GetPx()), ny == 1 ? field.GetPy() : 1.0 / (ny * field.GetPy()));
    const detail::IndexBox all{0, nx, 0, ny};
    const std::int64_t samples = static_cast<std::int64_t>(field.N());
    const detail::Progress progress(fn, samples, samples);
    detail::CarryOut({h, bandLimit ? BandBox(nx, ny, h.du, h.dv, d, lambda) : all, doublings}, field, field);
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
    const detail::CartesianSamples cartesian(field);
    transform.Run();
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
    const detail::CartesianSamples cartesian(*this);
    const double k = k_;
    MultiplyPhase(
        *this, [=](double x, double y) { return (y * y + x * x) * k / (d + d); },
        [=](double px, double y2) { return detail::PhaseForm::FresnelIn(px, y2, k, d + d); });
    transform.Run();
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
