// The scaled FFT: discrete Fourier sums with a free output pitch, by chirp convolution on a grid of twice the size.
//
// All phases are computed in double, factors multiply a sample in double, and the sample is rounded once.
#include "base/Constants.h"
#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "transform/Engine.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace LumoraLib
{
namespace
{
/// Twice a size; what does not fit 32 bits is left to Init to refuse.
int Doubled(int n)
{
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{2} * n, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

/// The linear phases pi (i sx + j sy) on both sides of a centred transform; sx and sy are magnitudes of scales.
class Centring final : public detail::GridPhase
{
public:
    Centring(double scaleX, double scaleY) : sx(scaleX), sy(scaleY) {}
    double At(std::int32_t i, std::int32_t j) const override { return detail::kPi * (i * sx + j * sy); }
    double AlongX(std::int32_t i) const override { return detail::kPi * (i * sx); }
    double AlongY(std::int32_t j) const override { return detail::kPi * (j * sy); }

    const double sx, sy;
};

/// The one-dimensional sum of the field's row, with `centring` the row times its phases first. Squares of doubles here,
/// unlike the 32-bit products of the two-dimensional form, so it is no ChirpPass. The field is written last.
void SumOfRow(Lumora& field, double a, const Centring* centring)
{
    const std::int32_t nx = field.GetNx();
    Lumora signal(Doubled(nx), 1);
    Lumora kernel(Doubled(nx), 1);
    const std::int32_t size = signal.GetNx();
    const auto phase = [a](double n)
    {
        return detail::kPi * (a * (n * n));
    };
    Complex* const samples = signal.GetDataPointer();
    const Complex* from = field.GetDataPointer();
    signal.Clear();
    if (centring != nullptr)
    {
        detail::MultiplyRow(samples, from, nx, [=](std::int32_t i) { return centring->At(i, 0); });
        from = samples;
    }
    detail::MultiplyRow(samples, from, nx, [=](std::int32_t n) { return -phase(n); });
    detail::UnitRow(kernel.GetDataPointer(), size, [=](std::int32_t n) { return phase(detail::SignedIndex(n, size)); });
    detail::fftBinding.transform1d(samples, size, -1);
    detail::fftBinding.transform1d(kernel.GetDataPointer(), size, -1);
    signal *= kernel;
    detail::fftBinding.transform1d(samples, size, 1);
    detail::ScaleSamples(samples, signal.N(), static_cast<float>(1.0 / size));
    detail::MultiplyRow(field.GetDataPointer(), samples, nx, [=](std::int32_t k) { return -phase(k); });
}

/// The sign that a centred transform hands to the raw sum for a parameter: -1 for a >= 0, +1 for a < 0.
double KernelSign(double a)
{
    return a >= 0.0 ? -1.0 : 1.0;
}

/// The centred transform of both axes. Memory is taken before anything of the field changes.
void CentredSum(Lumora& field, double a, double b)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const Centring centring(std::fabs(a), std::fabs(b));
    const double rawA = KernelSign(a) * centring.sx / nx;
    const double rawB = KernelSign(b) * centring.sy / ny;
    // Kept: the phases on both sides use the magnitudes and do not follow the sign, so for a >= 0 a residual factor
    // stays in the result; it is 1 only for integer scales.
    const double phase0 = -detail::kPi / 2.0 * (nx * centring.sx + ny * centring.sy);
    const ComplexDouble constant = detail::Unit(phase0);
    const std::int64_t count = static_cast<std::int64_t>(field.N());
    const detail::Progress progress("LumoraLib::Lumora::ScaledFft", count, count);
    detail::CarryOut({rawA, rawB, &centring, &centring, constant}, field, field);
    detail::FieldAccess::SwitchDomain(field);
    field.SetPx(centring.sx / (nx * field.GetPx())).SetPy(centring.sy / (ny * field.GetPy()));
}
} // namespace

Lumora& Lumora::RawScaledFft(double a, double b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RawScaledFft";
    RequireSamples(fn);
    if (N() == 0)
        return *this;
    detail::RequireLength(*this, 2, fn);
    const detail::Progress progress(fn, static_cast<std::int64_t>(N()), static_cast<std::int64_t>(N()));
    detail::CarryOut(detail::ChirpPass{a, b}, *this, *this);
    return *this;
}

Lumora& Lumora::RawScaledFft(const ScaledFftDescriptor& d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RawScaledFft";
    if (d.GetNx() / 2 != nx_ || d.GetNy() / 2 != ny_ || std::isnan(d.chirpX) || std::isnan(d.chirpY))
        Error(ERR_SOMETHING, fn,
              detail::Explained("ScaledFftDescriptor is not compatible",
                                "The descriptor is for %d by %d samples, the field has %d by %d.", d.GetNx() / 2,
                                d.GetNy() / 2, nx_, ny_));
    RequireSamples(fn);
    detail::FieldAccess::RequireSamples(d, fn);
    if (N() == 0)
        return *this;
    detail::RequireLength(*this, 2, fn);
    detail::ChirpPass pass{d.chirpX, d.chirpY};
    pass.kernel = &d;
    detail::CarryOut(pass, *this, *this);
    return *this;
}

Lumora& Lumora::RawScaledFft1d(double a)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RawScaledFft1d";
    if (ny_ != 1)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    if (N() == 0)
        return *this;
    detail::RequireLength(*this, 2, fn);
    SumOfRow(*this, a, nullptr);
    return *this;
}

Lumora& Lumora::ScaledFft(double a, double b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ScaledFft";
    RequireSamples(fn);
    detail::RequireLength(*this, 2, fn);
    // Kept: the test is on Nx. A single column of more than one row ends in the error of ScaledFft1d, a single row
    // takes the path below, and a 1 by 1 field goes through both.
    if (nx_ == 1 && ny_ != 1)
        return ScaledFft1d(a);
    if (nx_ == 1)
    {
        Lumora twice(*this);
        CentredSum(twice.ScaledFft1d(a), a, b);
        return *this = twice;
    }
    CentredSum(*this, a, b);
    return *this;
}

Lumora& Lumora::ScaledFft1d(double a)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ScaledFft1d";
    if (ny_ != 1)
        Error(ERR_PARAMETER, fn, "this object must be 1 dimensional");
    RequireSamples(fn);
    detail::RequireLength(*this, 2, fn);
    const Centring centring(std::fabs(a), 0.0);
    const double s = centring.sx;
    if (N() != 0)
    {
        SumOfRow(*this, KernelSign(a) * s / nx_, &centring);
        detail::MultiplyRow(
            dataPointer_, dataPointer_, nx_, [&](std::int32_t i) { return centring.At(i, 0); },
            detail::FactorTimes(detail::Unit(-(detail::kPi / 2.0) * s * nx_)));
    }
    detail::FieldAccess::SwitchDomain(*this);
    px_ = s / (nx_ * px_);
    return *this;
}

Lumora& Lumora::ScaledProp1d(const Lumora& source, double z)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ScaledProp1d";
    source.RequireSamples(fn);
    detail::RequireLength(source, 2, fn);
    // In a field of its own, so that a failure leaves this one as it was.
    Lumora result(source);
    result.CopyParam(*this);
    result.k_ = detail::kTwoPi / (detail::kTwoPi / source.k_);
    const double pitchD = px_;
    const double pitchS = source.px_;
    const std::int32_t sizeD = result.nx_;
    const std::int32_t sizeS = source.nx_;
    const double df = 1.0 / (sizeS * pitchD);
    const double x0S = (-sizeS / 2) * pitchS;
    const double x0D = (-sizeD / 2) * pitchD;
    const double f0 = (0.0 - df) * 0.5 * sizeD;
    result.RawScaledFft1d(0.0 - pitchS * df);
    // Kept: the intermediate goes to this fixed name in the working directory on each call.
    result.SaveAsCsv("test1-4.csv", X_AXIS, 0);
    const double wavelength = result.GetWavelength();
    const double c = 1.0 / (wavelength * wavelength);
    Complex* const samples = result.dataPointer_;
    for (std::int32_t k = 0; k < sizeD; ++k)
    {
        const double f = df * k + f0;
        // Kept: the root is not guarded, so frequencies beyond the band limit give not-a-number samples.
        const double turns = k * (x0D - x0S) * df - x0S * f0 - z * std::sqrt(c - f * f);
        samples[k] = detail::TimesUnit(samples[k], detail::kTwoPi * turns);
    }
    detail::fftBinding.transform1d(samples, sizeD, 1);
    for (std::int32_t n = 0; n < sizeD; ++n)
        samples[n] = detail::TimesUnit(samples[n], detail::kTwoPi * f0 * (n * pitchD + x0D));
    detail::ScaleSamples(samples, result.N(), static_cast<float>(1.0 / sizeD));
    return *this = result;
}

// ------------------------------------------------------------------------------------------------------- descriptors

ScaledFftDescriptor::ScaledFftDescriptor(Unfilled, int nx, int ny, double a, double b)
    : Lumora(Doubled(nx), Doubled(ny)), chirpX(a), chirpY(b)
{
}

ScaledFftDescriptor::ScaledFftDescriptor(int nx, int ny, double a, double b)
    : ScaledFftDescriptor(Unfilled{}, nx, ny, a, b)
{
    _ScaledFftDescriptor(nx, ny, a, b);
}

ScaledFftDescriptor::ScaledFftDescriptor(const Lumora& field, double a, double b)
    : ScaledFftDescriptor(field.GetNx(), field.GetNy(), a, b)
{
}

ScaledFftDescriptor::ScaledFftDescriptor(const ScaledFftDescriptor& other)
    : Lumora(other), chirpX(other.chirpX), chirpY(other.chirpY)
{
}

ScaledFftDescriptor& ScaledFftDescriptor::operator=(const ScaledFftDescriptor& other)
{
    Lumora::operator=(other);
    chirpX = other.chirpX;
    chirpY = other.chirpY;
    return *this;
}

bool ScaledFftDescriptor::operator==(const ScaledFftDescriptor& other) const
{
    return IsCompatibleWith(other.GetNx() / 2, other.GetNy() / 2, other.chirpX, other.chirpY);
}

bool ScaledFftDescriptor::IsCompatibleWith(int nx, int ny, double a, double b) const
{
    return nx == GetNx() / 2 && ny == GetNy() / 2 && a == chirpX && b == chirpY;
}

void ScaledFftDescriptor::Dispose()
{
    Lumora::Dispose();
}

void ScaledFftDescriptor::_ScaledFftDescriptor(int nx, int ny, double a, double b)
{
    static_cast<void>(nx); // sizes that are not powers of two were raised: the grid itself says what is filled
    static_cast<void>(ny);
    static constexpr char fn[] = "LumoraLib::ScaledFftDescriptor::_ScaledFftDescriptor";
    detail::FieldAccess::RequireSamples(*this, fn);
    if (N() == 0)
        return;
    detail::RequireLength(*this, 1, fn);
    detail::FillChirpKernel(*this, a, b);
}
} // namespace LumoraLib
