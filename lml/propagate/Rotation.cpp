// The rotational transform: the field on a plane tilted against the plane of a given field, by lookup of its spectrum.
//
// A plane wave of frequency (u, v, w) on the sphere of radius 1 / lambda keeps its identity under a change of
// coordinates: only its frequency vector is turned (J. Opt. Soc. Am. A 20 (2003) 1755). The destination's
// spectrum is stored relative to the carrier, the frequency of the wave that travels along the source's axis.
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "base/Reduce.h"
#include "field/FieldTools.h"
#include "field/Interpol.h"
#include "transform/CentredFft.h"
#include "transform/EngineTable.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace LumoraLib
{
namespace
{
/// A 3 by 3 matrix read out of its heap once, row r and column c as m[r][c].
struct Matrix3
{
    double m[3][3];
    explicit Matrix3(const RMatrix& source)
    {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                m[r][c] = source.GetElement(c, r);
    }
    double Row(int r, double u, double v, double w) const { return m[r][0] * u + m[r][1] * v + m[r][2] * w; }
};

/// Sum of re^2 + im^2 over the grid in row order, one block of rows per thread; a polar plain field sums its squared
/// amplitudes.
/// Kept: a polar spectrum is summed as if its samples were cartesian.
double AddEnergy(const Complex* samples, std::size_t count, bool polar, double sum)
{
    for (std::size_t n = 0; n < count; ++n)
    {
        const double re = samples[n].GetReal();
        const double im = samples[n].GetImag();
        sum += polar ? re * re : re * re + im * im;
    }
    return sum;
}

double Energy(const Lumora& field, const Complex* samples)
{
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    const bool polar = detail::FieldAccess::Form(field) == POLAR_AMPLITUDE;
    return detail::ReduceSum(field.N() == 0 ? 0 : static_cast<std::size_t>(field.GetNy()),
                             [=](std::size_t begin, std::size_t end, double sum)
                             { return AddEnergy(samples + begin * nx, (end - begin) * nx, polar, sum); });
}

double Energy(const Lumora& field)
{
    return Energy(field, field.GetDataPointer());
}

/// Scales samples from their energy to the source's. Kept: without a guard, so an all-zero destination becomes
/// not-a-number.
void MatchEnergy(Complex* samples, std::size_t count, double sourceEnergy, double energy)
{
    const float g = static_cast<float>(std::sqrt(sourceEnergy / energy));
    detail::ScaleSamples(samples, count, g);
}

/// The samples of a destination of the older members while they are computed: it keeps its own until nothing can fail.
std::unique_ptr<Complex[], detail::FreeMemory> SamplesFor(const Lumora& destination)
{
    return detail::MallocArray<Complex>(destination.N(), "rotated spectrum");
}

void TakeOver(Lumora& destination, Complex* samples, double sourceEnergy, double energy)
{
    MatchEnergy(samples, destination.N(), sourceEnergy, energy);
    detail::CopySamples(destination.GetDataPointer(), destination.N(), samples, destination.N());
    destination.SetWindowMax();
}

/// What Fft(1) does, by a transform that cannot fail any more.
void TransformBack(Lumora& field, const detail::ReadyTransform& back)
{
    const detail::CartesianSamples cartesian(field);
    back.Run();
    detail::FieldAccess::SwitchDomain(field);
    field.SetPx(1.0 / (field.GetNx() * field.GetPx()));
    if (field.GetNy() != 1)
        field.SetPy(1.0 / (field.GetNy() * field.GetPy()));
}

/// One over the number of samples, as a float.
float ScaleOf(const Lumora& field)
{
    return static_cast<float>(1.0 / static_cast<double>(field.N()));
}

/// Wave number along the axis for the tests that take 0 for evanescent frequencies.
double AxialOrZero(double t)
{
    return t > 0.0 ? std::sqrt(t) : 0.0;
}

/// The destination's sample at its grid frequency (u, v). The wide rows (WideInterpol-inl.h) repeat this arithmetic.
Complex LookUp(const Lumora& source, InterpolFunc func, const detail::RotationLookup& t, double u, double v)
{
    // The disc is tested on the grid frequency, before the carrier is added.
    if (u * u + v * v >= t.limit)
        return Complex(0.0, 0.0);
    const double uc = t.centerU + u;
    const double vc = t.centerV + v;
    const double rest = t.limit - uc * uc - vc * vc;
    if (rest <= 0.0)
        return Complex(0.0, 0.0);
    const double w = std::sqrt(rest);
    const double su = t.r[0][0] * uc + t.r[0][1] * vc + t.r[0][2] * w;
    const double sv = t.r[1][0] * uc + t.r[1][1] * vc + t.r[1][2] * w;
    const Complex value = (source.*func)(su, sv);
    if (!t.jacobian)
        return value;
    const double jacobian = std::fabs((t.ax * uc + t.ay * vc) / w + t.az);
    return Complex(value.GetReal() * jacobian, value.GetImag() * jacobian);
}

/// Whether the wide rows serve this lookup. Their cubic kernels need finite samples, which a finite energy proves.
bool HasWideRows(const Lumora& source, Interpol interpol, double sourceEnergy, detail::WideKernel& kernel)
{
    return !detail::StepByStep() && detail::WideKernelOf(interpol, kernel) && std::isfinite(sourceEnergy) &&
           source.GetNx() >= detail::kWideTaps[static_cast<int>(kernel)] &&
           source.GetNy() >= (kernel == detail::WideKernel::Linear ? 2 : 1);
}
} // namespace

Lumora& Lumora::RotateFs(const Lumora& source, RMatrix& rotation, SFrequency* carrier, Interpol interpol, bool jacobian)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateFs";
    if (!IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "this object must be in Fourier space");
    if (!source.IsSpectrum())
        Error(ERR_PARAMETER, fn, "source must be in Fourier space");
    RequireSamples(fn);
    source.RequireSamples(fn);
    if (&source == this)
    {
        const Lumora copy(source);
        return RotateFs(copy, rotation, carrier, interpol, jacobian);
    }
    const RMatrix inverse = rotation.GetInverse();
    const double wavelength = source.GetWavelength();
    const SFrequency center = rotation * SFrequency(wavelength);
    const double sourceEnergy = Energy(source);
    const Vector oldOrigin = origin_;
    const Vector oldNormal = normalVector_;
    origin_ = source.origin_;
    normalVector_ = (inverse * source.normalVector_).GetNormalized();
    // Kept: a refused interpolator is noticed here, after origin and normal have changed.
    const InterpolFunc func = GetInterpolFunc(interpol);
    const Matrix3 r(inverse);
    const detail::RotationLookup lookup{reinterpret_cast<const float*>(source.GetDataPointer()),
                                        source.GetNx(),
                                        source.GetNy(),
                                        source.GetPx(),
                                        source.GetPy(),
                                        {{r.m[0][0], r.m[0][1], r.m[0][2]}, {r.m[1][0], r.m[1][1], r.m[1][2]}},
                                        1.0 / (wavelength * wavelength),
                                        center.u,
                                        center.v,
                                        r.m[0][1] * r.m[1][2] - r.m[0][2] * r.m[1][1],
                                        r.m[0][2] * r.m[1][0] - r.m[0][0] * r.m[1][2],
                                        r.m[0][0] * r.m[1][1] - r.m[0][1] * r.m[1][0],
                                        jacobian,
                                        px_,
                                        nx_ / 2};
    detail::WideKernel kernel;
    const auto rotateRow = HasWideRows(source, interpol, sourceEnergy, kernel)
                               ? detail::Interpolation().rotate[static_cast<int>(kernel)]
                               : nullptr;
    const std::size_t width = static_cast<std::size_t>(nx_);
    detail::Progress progress(fn, ny_);
    // The rows' energies are summed on the way, in the order of Energy.
    const auto rows = [&](std::size_t begin, std::size_t end, double sum)
    {
        // The calling thread has the first block.
        for (std::size_t j = begin; j < end && !progress.Advance(begin == 0 ? 0 : 1, 1); ++j)
        {
            Complex* const row = dataPointer_ + IJ(0, j);
            const double v = Y(static_cast<int>(j));
            if (rotateRow)
            {
                sum = rotateRow(lookup, v, width, reinterpret_cast<float*>(row), sum);
                continue;
            }
            for (std::int32_t i = 0; i < nx_; ++i)
                row[i] = LookUp(source, func, lookup, X(i), v);
            sum = AddEnergy(row, width, false, sum);
        }
        return sum;
    };
    double energy = 0.0;
    try
    {
        energy = detail::ReduceSum(N() == 0 ? 0 : static_cast<std::size_t>(ny_), rows);
        progress.Check();
    }
    catch (...) // no memory for the threads' sums, when no row has been written, or cancelled
    {
        origin_ = oldOrigin;
        normalVector_ = oldNormal;
        throw;
    }
    SetWindowMax();
    detail::CheckMissedLight(fn, *this, energy, source, sourceEnergy);
    MatchEnergy(dataPointer_, N(), sourceEnergy, energy);
    if (carrier)
        *carrier = center;
    return *this;
}

Lumora& Lumora::Rotate(const Lumora& source, RMatrix& rotation, SFrequency* carrier, Interpol interpol, bool jacobian)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Rotate";
    if (IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "this object must be in real space");
    if (source.IsSpectrum())
        Error(ERR_PARAMETER, fn, "source must be in real space");
    detail::RequireTransformable(*this, fn);
    source.RequireSamples(fn);
    detail::Progress progress(fn, 3, 1);
    Lumora spectrum(source);
    spectrum.Fft(-1);
    progress.Step(1);
    const detail::ReadyTransform back(dataPointer_, nx_, ny_, 1);
    const ComplexForm form = form_;
    const double px = px_;
    const double py = py_;
    FakeFft(); // the destination poses as a spectrum of its own sampling
    try
    {
        RotateFs(spectrum, rotation, carrier, interpol, jacobian);
        progress.Step(2);
    }
    catch (...)
    {
        form_ = form;
        px_ = px;
        py_ = py;
        throw;
    }
    TransformBack(*this, back);
    detail::ScaleSamples(dataPointer_, N(), ScaleOf(*this));
    return *this;
}

SFrequency Lumora::GetRotationFs(Lumora& refPlane, RMatrix& rotation)
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetRotationFs";
    if (!IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "*this must be in Fourier space");
    if (!refPlane.IsSpectrum())
        Error(ERR_PARAMETER, fn, "refPlane must be in Fourier space");
    RequireSamples(fn);
    refPlane.RequireSamples(fn);
    if (&refPlane == this)
    {
        Lumora copy(*this);
        return copy.GetRotationFs(refPlane, rotation);
    }
    const RMatrix inverse = rotation.GetInverse();
    const double wavelength = GetWavelength();
    const SFrequency center = rotation * SFrequency(wavelength);
    const double sourceEnergy = Energy(*this);
    const Matrix3 r(inverse);
    const double limit = 1.0 / (wavelength * wavelength);
    const auto samples = SamplesFor(refPlane);
    detail::Progress progress(fn, refPlane.ny_);
    // Neither a disc test nor a Jacobian here, in contrast with RotateFs; evanescent points are looked up with w = 0.
    for (std::int32_t j = 0; j < refPlane.ny_; ++j)
    {
        progress.Step(j);
        const double v = refPlane.Y(j) + center.v;
        for (std::int32_t i = 0; i < refPlane.nx_; ++i)
        {
            const double u = refPlane.X(i) + center.u;
            const double w = AxialOrZero(limit - u * u - v * v);
            samples[refPlane.Index(i, j)] = CubicInterpol(r.Row(0, u, v, w), r.Row(1, u, v, w), 4);
        }
    }
    const double energy = Energy(refPlane, samples.get());
    SetWindowMax(); // the source's window is the whole grid afterwards
    refPlane.origin_ = origin_;
    refPlane.normalVector_ = (inverse * normalVector_).GetNormalized();
    detail::CheckMissedLight(fn, refPlane, energy, *this, sourceEnergy);
    TakeOver(refPlane, samples.get(), sourceEnergy, energy);
    return center;
}

SFrequency Lumora::GetRotationParaFs(Lumora& dest)
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetRotationParaFs";
    if (!IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "*this must be in Fourier space");
    if (!dest.IsSpectrum())
        Error(ERR_PARAMETER, fn, "dest must be in Fourier space");
    RequireSamples(fn);
    dest.RequireSamples(fn);
    if (&dest == this)
    {
        Lumora copy(*this);
        return copy.GetRotationParaFs(dest);
    }
    const RMatrix inverse = RMatrix(normalVector_, Vector(0.0, 0.0, 1.0)).GetInverse();
    const double wavelength = GetWavelength();
    const SFrequency center = inverse * SFrequency(wavelength);
    const double sourceEnergy = Energy(*this);
    const Matrix3 r(inverse);
    const double limit = 1.0 / (wavelength * wavelength);
    const auto samples = SamplesFor(dest);
    detail::Progress progress(fn, dest.ny_);
    for (std::int32_t j = 0; j < dest.ny_; ++j)
    {
        progress.Step(j);
        const double v = dest.Y(j);
        for (std::int32_t i = 0; i < dest.nx_; ++i)
        {
            const double u = dest.X(i);
            const double w = AxialOrZero(limit - u * u - v * v);
            // The carrier is taken off in the source's frequencies; the nearest sample serves, without interpolation.
            const std::int32_t ih = I(r.Row(0, u, v, w) - center.u);
            const std::int32_t jh = J(r.Row(1, u, v, w) - center.v);
            samples[dest.Index(i, j)] =
                ih >= 0 && ih < nx_ && jh >= 0 && jh < ny_ ? dataPointer_[Index(ih, jh)] : Complex(0.0, 0.0);
        }
    }
    const double energy = Energy(dest, samples.get());
    SetWindowMax();
    dest.origin_ = origin_;
    dest.normalVector_ = Vector(0.0, 0.0, 1.0);
    detail::CheckMissedLight(fn, dest, energy, *this, sourceEnergy);
    TakeOver(dest, samples.get(), sourceEnergy, energy);
    return center;
}

// Kept: -1 marks an evanescent frequency and runs on as a number through the formulas below.
double Lumora::ww(double u, double v) const
{
    const double wavelength = GetWavelength();
    const double t = 1.0 / (wavelength * wavelength) - u * u - v * v;
    return t > 0.0 ? std::sqrt(t) : -1.0;
}

double Lumora::uh(double u, double v, double angle) const
{
    return u * std::cos(angle) - ww(u, v) * std::sin(angle);
}

double Lumora::uu(double u, double v, double angle) const
{
    return u * std::cos(angle) + ww(u, v) * std::sin(angle);
}

double Lumora::uh(double u, double angle) const
{
    return uh(u, 0.0, angle);
}

double Lumora::uu(double u, double angle) const
{
    return uu(u, 0.0, angle);
}

namespace
{
/// The band of the turned axis: its pitch and centre, from the frequencies that the two ends are mapped to.
double TurnedPitch(double low, double high, std::int32_t nx, double& center)
{
    const double range = high - low;
    center = low + 0.5 * range;
    return range / nx;
}

/// `field`, a copy of the spectrum, := the spectrum turned about y. Fails for an unknown kernel and when cancelled,
/// with the pitch changed and samples written.
double TurnAboutY(Lumora& field, const Lumora& spectrum, double angle, int kernel)
{
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const std::int32_t nx = field.GetNx();
    const double end = (nx / 2) * spectrum.GetPx();
    double center = 0.0;
    field.SetPx(
        TurnedPitch(spectrum.uh(-(nx / 2) * spectrum.GetPx(), 0.0, angle), spectrum.uh(end, 0.0, angle), nx, center));
    detail::Progress progress("LumoraLib::Lumora::RotateYFs", field.GetNy());
    for (std::int32_t j = 0; j < field.GetNy(); ++j)
    {
        progress.Step(j);
        const double v = field.Y(j);
        for (std::int32_t i = 0; i < nx; ++i)
        {
            Complex& sample = field.Pixel(i, j);
            const double u = field.X(i) + center;
            const double w = field.ww(u, v);
            if (w <= 0.0)
            {
                sample = Complex(0.0, 0.0);
                continue;
            }
            const double found = u * c + w * s;
            const float jacobian = static_cast<float>(std::fabs(c - (u / w) * s));
            const Complex value = spectrum.CubicInterpolX(found, v, kernel);
            const float re = value.Real() * jacobian;
            const float im = value.Imag() * jacobian;
            sample = Complex(re, im);
        }
    }
    return center;
}

/// Runs a turn from the copy `before` into the field, which becomes the copy again where the turn fails.
template <class Turn>
void TurnOrRestore(Lumora& field, Lumora& before, const Turn& turn)
{
    try
    {
        turn();
    }
    catch (...)
    {
        field = std::move(before); // needs no memory
        throw;
    }
}

/// The same for the spectrum of one row. Fails as TurnAboutY.
void TurnRow(Lumora& field, const Lumora& spectrum, double angle, Interpol interpol, int kernel)
{
    const std::int32_t nx = field.GetNx();
    const double end = (nx / 2) * spectrum.GetPx();
    double center = 0.0;
    field.SetPx(TurnedPitch(spectrum.uh(-(nx / 2) * spectrum.GetPx(), angle), spectrum.uh(end, angle), nx, center));
    for (std::int32_t i = 0; i < nx; ++i)
    {
        // Kept: no test for evanescent frequencies (the formula runs on with w = -1) and no Jacobian, unlike RotateYFs.
        const double found = field.uu(field.X(i) + center, angle);
        Complex& sample = field.Pixel(i, 0);
        switch (static_cast<std::int32_t>(interpol))
        {
        case CUBIC_INTERPOL:
            sample = spectrum.CubicInterpol1d(found, kernel);
            break;
        case SINC_INTERPOL:
            sample = spectrum.SincInterpol1d(found);
            break;
        default:
            sample = Complex(0.0, 0.0);
        }
    }
}
} // namespace

Lumora& Lumora::RotateYFs(double angle, Interpol interpol, int kernel, double* carrier)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateYFs";
    if (form_ != SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    static_cast<void>(interpol); // the kernel comes from `kernel` alone
    double center = 0.0;
    Lumora spectrum(*this);
    TurnOrRestore(*this, spectrum, [&] { center = TurnAboutY(*this, spectrum, angle, kernel); });
    if (carrier)
        *carrier = center;
    return *this;
}

Lumora& Lumora::RotateY(double angle, double* carrier)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateY";
    if (IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, ": RotateY");
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, ": RotateY");
    detail::RequireTransformable(*this, fn);
    detail::Progress progress(fn, 3, 1);
    Lumora spectrum(*this);
    spectrum.Fft(-1);
    progress.Step(1);
    const detail::ReadyTransform back(dataPointer_, nx_, ny_, 1);
    const ComplexForm form = form_;
    const double px = px_;
    const double py = py_;
    CopyParam(spectrum);
    double center = 0.0;
    try
    {
        center = TurnAboutY(*this, spectrum, angle, 8);
    }
    catch (...) // cancelled: nothing else fails
    {
        form_ = form;
        px_ = px;
        py_ = py;
        throw;
    }
    TransformBack(*this, back);
    detail::ScaleSamples(dataPointer_, N(), ScaleOf(*this));
    if (carrier)
        *carrier = center;
    return *this;
}

Lumora& Lumora::RotateSpec1d(double angle, Interpol interpol, int kernel)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateSpec1d";
    if (ny_ != 1 || form_ != SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    Lumora spectrum(*this);
    TurnOrRestore(*this, spectrum, [&] { TurnRow(*this, spectrum, angle, interpol, kernel); });
    return *this;
}

Lumora& Lumora::Rotate1d(double angle)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Rotate1d";
    if (ny_ != 1 || form_ != COMPLEX_AMPLITUDE)
        Error(ERR_PARAMETER, fn, "");
    detail::RequireTransformable(*this, fn);
    const detail::Progress progress(fn, 2, 1);
    Lumora spectrum(*this);
    spectrum.Fft(-1);
    const detail::ReadyTransform back(dataPointer_, nx_, ny_, 1);
    CopyParam(spectrum); // from here on nothing fails
    TurnRow(*this, spectrum, angle, CUBIC_INTERPOL, 8);
    TransformBack(*this, back); // Kept: not divided by Nx, unlike Rotate and RotateY.
    return *this;
}
} // namespace LumoraLib
