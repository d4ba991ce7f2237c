// The rotational transform: the field on a plane tilted against the plane of a given field, by lookup of its spectrum.
//
// A plane wave of frequency (u, v, w) on the sphere of radius 1 / lambda keeps its identity under a change of
// coordinates: only its frequency vector is turned (J. Opt. Soc. Am. A 20 (2003) 1755). The destination's
// spectrum is stored relative to the carrier, the frequency of the wave that travels along the source's axis.
#include "Dispatch.h"
#include "FieldTools.h"
#include "Parallel.h"
#include "Reduce.h"
#include "WideInterpol.h"

#include <cmath>

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
double Energy(const Lumora& field)
{
    const Complex* const samples = field.GetDataPointer();
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    const bool polar = detail::FieldAccess::Form(field) == POLAR_AMPLITUDE;
    return detail::ReduceSum(field.N() == 0 ? 0 : static_cast<std::size_t>(field.GetNy()),
                             [=](std::size_t begin, std::size_t end, double sum)
                             {
                                 for (std::size_t n = begin * nx; n < end * nx; ++n)
                                 {
                                     const double re = samples[n].GetReal();
                                     const double im = samples[n].GetImag();
                                     sum += polar ? re * re : re * re + im * im;
                                 }
                                 return sum;
                             });
}

/// Scales the destination from its energy to the source's. Kept: without a guard, so an all-zero destination becomes
/// not-a-number.
void MatchEnergy(Lumora& destination, double sourceEnergy, double energy)
{
    const float g = static_cast<float>(std::sqrt(sourceEnergy / energy));
    detail::ScaleSamples(destination.GetDataPointer(), destination.N(), g);
}

/// Wave number along the axis for the tests that take 0 for evanescent frequencies.
double AxialOrZero(double t)
{
    return t > 0.0 ? std::sqrt(t) : 0.0;
}

/// The destination's sample at its grid frequency (u, v). The wide rows (WideInterpol.inl) repeat this arithmetic.
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
    return detail::WideBound() && detail::WideKernelOf(interpol, kernel) && std::isfinite(sourceEnergy) &&
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
    origin_ = source.origin_;
    const RMatrix inverse = rotation.GetInverse();
    normalVector_ = (inverse * source.normalVector_).GetNormalized();
    const double wavelength = source.GetWavelength();
    const SFrequency center = rotation * SFrequency(wavelength);
    const double sourceEnergy = Energy(source);
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
    double energy = 0.0;
    if (HasWideRows(source, interpol, sourceEnergy, kernel))
    {
        // The rows' energies are summed on the way, in the order of Energy.
        const auto rotateRow = detail::Interpolation().rotate[static_cast<int>(kernel)];
        const std::size_t width = static_cast<std::size_t>(nx_);
        energy = detail::ReduceSum(N() == 0 ? 0 : static_cast<std::size_t>(ny_),
                                   [&](std::size_t begin, std::size_t end, double sum)
                                   {
                                       for (std::size_t j = begin; j < end; ++j)
                                           sum = rotateRow(lookup, Y(static_cast<int>(j)), width,
                                                           reinterpret_cast<float*>(dataPointer_ + IJ(0, j)), sum);
                                       return sum;
                                   });
    }
    else
    {
        detail::ParallelRows(0, ny_,
                             [&](std::int32_t j)
                             {
                                 Complex* const row = dataPointer_ + IJ(0, static_cast<std::size_t>(j));
                                 const double v = Y(j);
                                 for (std::int32_t i = 0; i < nx_; ++i)
                                     row[i] = LookUp(source, func, lookup, X(i), v);
                             });
        energy = Energy(*this);
    }
    SetWindowMax();
    MatchEnergy(*this, sourceEnergy, energy);
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
    RequireSamples(fn);
    source.RequireSamples(fn);
    Lumora spectrum(source);
    spectrum.Fft(-1);
    FakeFft(); // the destination poses as a spectrum of its own sampling
    RotateFs(spectrum, rotation, carrier, interpol, jacobian);
    Fft(1);
    detail::ScaleSamples(dataPointer_, N(), static_cast<float>(1.0 / static_cast<double>(N())));
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
    refPlane.origin_ = origin_;
    const RMatrix inverse = rotation.GetInverse();
    refPlane.normalVector_ = (inverse * normalVector_).GetNormalized();
    const double wavelength = GetWavelength();
    const SFrequency center = rotation * SFrequency(wavelength);
    SetWindowMax(); // the source's window is the whole grid afterwards
    const double sourceEnergy = Energy(*this);
    const Matrix3 r(inverse);
    const double limit = 1.0 / (wavelength * wavelength);
    // Neither a disc test nor a Jacobian here, in contrast with RotateFs; evanescent points are looked up with w = 0.
    for (std::int32_t j = 0; j < refPlane.ny_; ++j)
    {
        const double v = refPlane.Y(j) + center.v;
        for (std::int32_t i = 0; i < refPlane.nx_; ++i)
        {
            const double u = refPlane.X(i) + center.u;
            const double w = AxialOrZero(limit - u * u - v * v);
            refPlane.dataPointer_[refPlane.Index(i, j)] = CubicInterpol(r.Row(0, u, v, w), r.Row(1, u, v, w), 4);
        }
    }
    refPlane.SetWindowMax();
    MatchEnergy(refPlane, sourceEnergy, Energy(refPlane));
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
    dest.origin_ = origin_;
    dest.normalVector_ = Vector(0.0, 0.0, 1.0);
    const RMatrix inverse = RMatrix(normalVector_, Vector(0.0, 0.0, 1.0)).GetInverse();
    const double wavelength = GetWavelength();
    const SFrequency center = inverse * SFrequency(wavelength);
    SetWindowMax();
    const double sourceEnergy = Energy(*this);
    const Matrix3 r(inverse);
    const double limit = 1.0 / (wavelength * wavelength);
    for (std::int32_t j = 0; j < dest.ny_; ++j)
    {
        const double v = dest.Y(j);
        for (std::int32_t i = 0; i < dest.nx_; ++i)
        {
            const double u = dest.X(i);
            const double w = AxialOrZero(limit - u * u - v * v);
            // The carrier is taken off in the source's frequencies; the nearest sample serves, without interpolation.
            const std::int32_t ih = I(r.Row(0, u, v, w) - center.u);
            const std::int32_t jh = J(r.Row(1, u, v, w) - center.v);
            dest.dataPointer_[dest.Index(i, j)] =
                ih >= 0 && ih < nx_ && jh >= 0 && jh < ny_ ? dataPointer_[Index(ih, jh)] : Complex(0.0, 0.0);
        }
    }
    dest.SetWindowMax();
    MatchEnergy(dest, sourceEnergy, Energy(dest));
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

Lumora& Lumora::RotateYFs(double angle, Interpol interpol, int kernel, double* carrier)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateYFs";
    if (form_ != SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    static_cast<void>(interpol); // the kernel comes from `kernel` alone
    const Lumora source(*this);
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const double low = uh(-(nx_ / 2) * px_, 0.0, angle);
    const double high = uh((nx_ / 2) * px_, 0.0, angle);
    const double range = high - low;
    px_ = range / nx_;
    const double center = low + 0.5 * range;
    for (std::int32_t j = 0; j < ny_; ++j)
    {
        const double v = Y(j);
        for (std::int32_t i = 0; i < nx_; ++i)
        {
            Complex& sample = dataPointer_[Index(i, j)];
            const double u = X(i) + center;
            const double w = ww(u, v);
            if (w <= 0.0)
            {
                sample = Complex(0.0, 0.0);
                continue;
            }
            const double found = u * c + w * s;
            const float jacobian = static_cast<float>(std::fabs(c - (u / w) * s));
            const Complex value = source.CubicInterpolX(found, v, kernel);
            const float re = value.Real() * jacobian;
            const float im = value.Imag() * jacobian;
            sample = Complex(re, im);
        }
    }
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
    RequireSamples(fn);
    Fft(-1);
    RotateYFs(angle, CUBIC_INTERPOL, 8, carrier);
    Fft(1);
    detail::ScaleSamples(dataPointer_, N(), static_cast<float>(1.0 / static_cast<double>(N())));
    return *this;
}

Lumora& Lumora::RotateSpec1d(double angle, Interpol interpol, int kernel)
{
    static constexpr char fn[] = "LumoraLib::Lumora::RotateSpec1d";
    if (ny_ != 1 || form_ != SPECTRUM)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    const Lumora source(*this);
    const double low = uh(-(nx_ / 2) * px_, angle);
    const double high = uh((nx_ / 2) * px_, angle);
    const double range = high - low;
    px_ = range / nx_;
    const double center = low + 0.5 * range;
    for (std::int32_t i = 0; i < nx_; ++i)
    {
        // Kept: no test for evanescent frequencies (the formula runs on with w = -1) and no Jacobian, unlike RotateYFs.
        const double found = uu(X(i) + center, angle);
        switch (static_cast<std::int32_t>(interpol))
        {
        case CUBIC_INTERPOL:
            dataPointer_[i] = source.CubicInterpol1d(found, kernel);
            break;
        case SINC_INTERPOL:
            dataPointer_[i] = source.SincInterpol1d(found);
            break;
        default:
            dataPointer_[i] = Complex(0.0, 0.0);
        }
    }
    return *this;
}

Lumora& Lumora::Rotate1d(double angle)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Rotate1d";
    if (ny_ != 1 || form_ != COMPLEX_AMPLITUDE)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    Fft(-1);
    RotateSpec1d(angle, CUBIC_INTERPOL, 8);
    return Fft(1); // Kept: not divided by Nx, unlike Rotate and RotateY.
}
} // namespace LumoraLib
