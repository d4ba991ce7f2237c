// Propagation to parallel planes: angular spectrum, Fresnel and Fourier.
//
// The plain loops define the results; the wide forms of the phases give the same bits, and the fused propagations
// differ only in the rounding of the transforms.
#include "propagate/Band.h"
#include "transform/CentredFft.h"
#include "field/FieldTools.h"
#include "propagate/Fused.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Reduce.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace LumoraLib
{
namespace
{
constexpr double kTwoPi = 6.283185307179586;

/// What the transfer function of one propagation is made of. u and v are frequencies in cycles per metre.
struct TransferFunction
{
    double twoPiD;         // 2 pi d
    double inverseSquare;  // 1 / lambda^2
    double du;
    double dv;

    /// H for u, with rest = 1 / lambda^2 - v v: exp(i 2 pi d sqrt(w)), w = rest - u u.
    /// Kept: beyond the evanescent limit (w <= 0) the factor is 1; only the band limit of AsmPropFs cuts.
    Complex At(double rest, double u) const
    {
        const double w = rest - u * u;
        if (!(w > 0.0))
            return Complex(1.0, 0.0);
        double s = 0.0;
        double c = 0.0;
        detail::SinCos1(twoPiD * std::sqrt(w), s, c);
        return Complex(c, s);
    }
};

/// One row of factors for |v| = v. H is even in u: each value serves index nx/2 + i and nx/2 - i.
void FillTransferRow(Complex* row, std::int32_t nx, const TransferFunction& h, double v)
{
    const std::int32_t half = nx / 2;
    if (!detail::StepByStep())
    {
        const detail::PhaseForm form = detail::PhaseForm::Transfer(h.du, h.inverseSquare, v * v, h.twoPiD);
        float* const centre = reinterpret_cast<float*>(row + half);
        detail::Phases().unit(form, 0, static_cast<std::size_t>(half), centre, centre);
        detail::Phases().unit(form, -half, 1, reinterpret_cast<float*>(row), nullptr);
        return;
    }
    const double rest = h.inverseSquare - v * v;
    for (std::int32_t i = 0; i < half; ++i)
    {
        const Complex factor = h.At(rest, i * h.du);
        row[half + i] = factor;
        row[half - i] = factor;
    }
    row[0] = h.At(rest, -half * h.du);
}

/// Complex product in single precision, sample by sample.
void MultiplyRow(Complex* a, const Complex* b, std::size_t count)
{
    for (std::size_t n = 0; n < count; ++n)
    {
        const float re = a[n].Real() * b[n].Real() - a[n].Imag() * b[n].Imag();
        const float im = a[n].Real() * b[n].Imag() + a[n].Imag() * b[n].Real();
        a[n].real() = re;
        a[n].imag() = im;
    }
}

/// One row of samples for each thread of the library's count.
class ThreadRows
{
public:
    explicit ThreadRows(std::int32_t length)
        : count_(GetNumThreads()), rows_(detail::MallocArray<Complex*>(static_cast<std::size_t>(count_), kLabel))
    {
        std::fill_n(rows_.get(), count_, nullptr);
        const std::size_t bytes = static_cast<std::size_t>(std::max(length, 0)) * sizeof(Complex);
        try
        {
            for (int t = 0; t < count_; ++t)
                rows_.get()[t] = static_cast<Complex*>(Malloc(bytes, kLabel));
        }
        catch (...)
        {
            Release();
            throw;
        }
    }
    ~ThreadRows() { Release(); }
    ThreadRows(const ThreadRows&) = delete;
    ThreadRows& operator=(const ThreadRows&) = delete;
    Complex* Get(int thread) const { return rows_.get()[thread]; }

private:
    static constexpr char kLabel[] = "SPWPropFS : buffer";
    void Release() noexcept
    {
        for (int t = 0; t < count_; ++t)
            Free(rows_.get()[t]);
    }
    int count_;
    std::unique_ptr<Complex*[], detail::FreeMemory> rows_;
};

void ApplyTransferFunction(Complex* samples, std::int32_t nx, std::int32_t ny, const TransferFunction& h,
                           const ThreadRows& rows)
{
    if (nx <= 0 || ny <= 0)
        return;
    const std::size_t width = static_cast<std::size_t>(nx);
    const std::int32_t half = ny / 2;
    detail::ParallelBlocks(static_cast<std::size_t>(half) + 1,
                           [&](std::size_t begin, std::size_t end, int thread)
                           {
                               Complex* const row = rows.Get(thread);
                               for (std::size_t n = begin; n < end; ++n)
                               {
                                   const std::int32_t j = static_cast<std::int32_t>(n);
                                   FillTransferRow(row, nx, h, j * h.dv);
                                   MultiplyRow(samples + width * static_cast<std::size_t>(half - j), row, width);
                                   if (j != 0 && j < half)
                                       MultiplyRow(samples + width * static_cast<std::size_t>(half + j), row, width);
                               }
                           });
}

/// Zeros outside the box.
void CutOutside(Complex* samples, std::int32_t nx, std::int32_t ny, const detail::IndexBox& box)
{
    const std::int32_t i0 = std::clamp(box.i0, 0, nx);
    const std::int32_t i1 = std::clamp(box.i1, i0, nx);
    const std::int32_t j0 = box.j0;
    const std::int32_t j1 = box.j1;
    detail::ParallelRows(0, ny,
                         [=](std::int32_t j)
                         {
                             Complex* const row = samples + static_cast<std::size_t>(nx) * static_cast<std::size_t>(j);
                             if (j < j0 || j >= j1)
                             {
                                 std::fill(row, row + nx, Complex());
                                 return;
                             }
                             std::fill(row, row + i0, Complex());
                             std::fill(row + i1, row + nx, Complex());
                         });
}

/// Largest frequency at which the phase of H is still sampled finely enough by the pitch du.
double BandLimit(double du, double d, double lambda)
{
    const double t = du * (d * 2.0);
    return 1.0 / std::sqrt(t * t + 1.0) / lambda;
}

/// The transfer function on the samples of a spectrum with the pitches du, dv, with or without the band limit. Cannot
/// fail.
void FilterSpectrum(Lumora& field, double du, double dv, double d, bool bandLimit, const ThreadRows& rows)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const double lambda = field.GetWavelength();
    ApplyTransferFunction(field.GetDataPointer(), nx, ny, {kTwoPi * d, 1.0 / (lambda * lambda), du, dv}, rows);
    if (!bandLimit || field.N() == 0)
        return;
    const detail::IndexBox box = detail::AsmBandBox(nx, ny, du, dv, d, lambda);
    if (box.i0 != 0 || box.i1 != nx || box.j0 != 0 || box.j1 != ny)
        CutOutside(field.GetDataPointer(), nx, ny, box);
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
    const detail::IndexBox box = detail::AsmBandBox(nx, ny, du, dv, d, field.GetWavelength());
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
    // Kept: never converted back, and a polar field that is refused is cartesian already.
    detail::MakeCartesian(field);
    if (!field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    if (bandLimit)
        CheckBandLoss(fn, field, d, 1);
    const ThreadRows rows(field.GetNx());
    FilterSpectrum(field, field.GetPx(), field.GetPy(), d, bandLimit, rows);
    detail::FieldAccess::AddToOrigin(field, d);
}

/// There and back step by step on the grid as it is, scaled; pitches and form stay. All memory first: without it the
/// field is as it was.
void PropagateInSteps(Lumora& field, double d, bool bandLimit)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const ThreadRows rows(nx);
    const detail::ReadyTransform there(field.GetDataPointer(), nx, ny, -1);
    const detail::ReadyTransform back(field.GetDataPointer(), nx, ny, 1);
    const bool wasPolar = detail::MakeCartesian(field);
    there.Run();
    const double dv = ny == 1 ? field.GetPy() : 1.0 / (ny * field.GetPy());
    FilterSpectrum(field, 1.0 / (nx * field.GetPx()), dv, d, bandLimit, rows);
    back.Run();
    const double count = static_cast<double>(nx) * static_cast<double>(ny);
    detail::ScaleSamples(field.GetDataPointer(), field.N(), static_cast<float>(1.0 / count));
    detail::FieldAccess::AddToOrigin(field, d);
    detail::RestorePolar(field, wasPolar);
}

/// The frame of the three real-space propagators: there and back around the transfer function, with or without the band
/// limit, on an embedded grid or not. Pitches and window are those that came in, to the last bit.
void PropagateBySpectrum(Lumora& field, double d, bool bandLimit, bool embed, const char* fn, const char* message)
{
    detail::RequireTransformable(field, fn, embed ? 2 : 1);
    if (field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, message);
    if (bandLimit)
        CheckBandLoss(fn, field, d, embed ? 2 : 1);
    const detail::MistakeScope inside;
    if (field.N() != 0 && (embed ? detail::CanFuseEnlarged(field) : detail::CanFuse(field)))
    {
        detail::FusedAsm(field, d, bandLimit, embed ? 2 : 1);
        detail::FieldAccess::AddToOrigin(field, d);
        return;
    }
    if (!embed)
        return PropagateInSteps(field, d, bandLimit);
    const LML_RECT window = field.Window();
    detail::OrRestore(field,
                      [&]
                      {
                          const bool wasPolar = detail::MakeCartesian(field);
                          field.Embed(1);
                          PropagateInSteps(field, d, bandLimit);
                          field.Extract(1);
                          field.Window() = window;
                          detail::RestorePolar(field, wasPolar);
                      });
}
} // namespace

detail::IndexBox detail::AsmBandBox(std::int32_t nx, std::int32_t ny, double du, double dv, double d, double lambda)
{
    IndexBox box{0, nx, 0, ny};
    const double ulimit = BandLimit(du, d, lambda);
    const double vlimit = BandLimit(dv, d, lambda);
    if ((nx / 2) * du > ulimit)
    {
        box.i0 = NearestIndex(0.0 - ulimit, du, nx / 2);
        box.i1 = NearestIndex(ulimit, du, nx / 2);
    }
    if ((ny / 2) * dv > vlimit)
    {
        box.j0 = NearestIndex(0.0 - vlimit, dv, ny / 2);
        box.j1 = NearestIndex(vlimit, dv, ny / 2);
    }
    return box;
}

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
    const auto rowAt = [=](std::int32_t j) { return samples + width * static_cast<std::size_t>(j); };
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
    const bool wasPolar = detail::MakeCartesian(field);
    transform.Run();
    const double s = field.GetWavelength() * d;
    field.SetPx(s / (field.GetNx() * field.GetPx()));
    if (field.GetNy() != 1)
        field.SetPy(s / (field.GetNy() * field.GetPy()));
    detail::RestorePolar(field, wasPolar);
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
    const bool wasPolar = detail::MakeCartesian(*this);
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
    detail::RestorePolar(*this, wasPolar);
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
