// Angular spectrum propagation to a laterally shifted parallel plane, with a band limit that follows the shift.
//
// Geometry comes from the two objects alone. Kept: the distance is an absolute value, so the direction of travel is
// lost and a destination behind the source is computed as a forward propagation; the lateral shifts are plain
// differences of global coordinates, also between tilted planes: there the result is not the field of that geometry,
// and tiles, which lie along the planes, do not make up the undivided operation.
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "base/Describe.h"
#include "field/FieldTools.h"
#include "propagate/Fused.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "propagate/Tiles.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib
{
namespace
{
/// Bounds of one axis of the band, in direction cosines.
struct Band
{
    double lower;
    double upper;
};

/// The band in which the transfer function of a shift x0 over the distance z0 is sampled finely enough by a spectrum of
/// pitch d (Optics Express 18 (2010) 18453).
Band ShiftedBandLimit(double x0, double z0, double d)
{
    const double h = 1.0 / (2.0 * d);
    const double a = 1.0 / std::sqrt(1.0 / (x0 + h) / (x0 + h) * z0 * z0 + 1.0);
    const double b = 1.0 / std::sqrt(1.0 / (x0 - h) / (x0 - h) * z0 * z0 + 1.0);
    if (x0 > h)
        return {b, a};
    if (x0 < -h)
        return {-b, -a};
    return {-b, a};
}

// Enlargements that the fused form takes; beyond them the step-by-step form meets the limits of memory.
constexpr double kLargestFused = 16.0;

constexpr char kTextParameter[] = "at least one parameter is different";
constexpr std::uint32_t kCompared = detail::COMPARED_SIZES | detail::COMPARED_PITCHES | detail::COMPARED_WAVELENGTHS;
constexpr char fnProp[] = "LumoraLib::Lumora::ShiftedAsmProp";
constexpr char fnAddEx[] = "LumoraLib::Lumora::ShiftedAsmPropAddEx";

/// Multiplies one row of a spectrum with pitch t.du at the frequency v: zero outside the open band.
void MultiplyTransferRow(Complex* row, std::int32_t nx, const detail::ShiftedTransfer& t, double v)
{
    if (v <= t.vLow || v >= t.vHigh)
    {
        std::fill(row, row + nx, Complex());
        return;
    }
    if (!detail::StepByStep())
    {
        float* const samples = reinterpret_cast<float*>(row);
        detail::Phases().multiply(
            detail::PhaseForm::Shifted(t.du, t.uLow, t.uHigh, t.x0, t.z0, t.inverseSquare, v * v, t.y0 * v), {},
            -(nx / 2), static_cast<std::size_t>(nx), samples, samples);
        return;
    }
    for (std::int32_t i = 0; i < nx; ++i)
    {
        const double u = (i - nx / 2) * t.du;
        // A frequency exactly on a bound is removed. Inside, the root is not guarded: the band keeps frequencies beyond
        // 1 / wavelength out.
        if (u <= t.uLow || u >= t.uHigh)
            row[i] = Complex();
        else
            row[i] = detail::TimesUnit(
                row[i], detail::kTwoPi * (t.x0 * u + t.z0 * std::sqrt(t.inverseSquare - u * u - v * v) + t.y0 * v));
    }
}

/// What ShiftedAsmPropAdd adds: a field in the destination's place.
Lumora PropagatedCopy(const Lumora& destination, const Lumora& source, int precision)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ShiftedAsmPropAdd";
    if (destination.IsSpectrum() || source.IsSpectrum())
        Error(ERR_SOMETHING, fn, "both objects are in real space");
    if (!(destination.GetWavelength() == source.GetWavelength()) || destination.GetNx() != source.GetNx() ||
        destination.GetNy() != source.GetNy())
        Error(ERR_PARAMETER, fn,
              detail::Differing(kTextParameter, destination, source,
                                detail::COMPARED_SIZES | detail::COMPARED_WAVELENGTHS));
    if (detail::NormalsDiffer(destination, source))
        Error(ERR_PARAMETER, fn,
              detail::Differing(detail::kTextSourceNormal, destination, source, detail::COMPARED_NORMALS));
    detail::FieldAccess::RequireSamples(destination, fn);
    Lumora result(destination);
    result.ShiftedAsmProp(source, precision);
    return result;
}

void AddTiles(Lumora& destination, const Lumora& source, bool clearFirst)
{
    detail::CheckTilted(fnAddEx, destination.GetNormalVector());
    const detail::MistakeScope inside;
    constexpr int kPrecision = 1;
    detail::TileSum sum(destination, clearFirst);
    detail::ForEachTilePair(destination, source, detail::CountTiles(source, destination),
                            [&sum](Lumora& to, const Lumora& from, bool isTile)
                            {
                                if (isTile)
                                    sum.Add(to.ShiftedAsmProp(from, kPrecision));
                                else
                                    sum.Add(PropagatedCopy(to, from, kPrecision));
                            });
}
} // namespace

Lumora& Lumora::ShiftedAsmProp(const Lumora& source, int precision)
{
    if (IsSpectrum() || source.IsSpectrum())
        Error(ERR_SOMETHING, fnProp, "both objects must be in real space");
    // Written so that a not-a-number differs from everything.
    if (!(GetWavelength() == source.GetWavelength()) || nx_ != source.nx_ || ny_ != source.ny_ ||
        !(px_ == source.px_) || !(py_ == source.py_))
        Error(ERR_PARAMETER, fnProp, detail::Differing(kTextParameter, *this, source, kCompared));
    if (detail::NormalsDiffer(*this, source))
        Error(ERR_PARAMETER, fnProp,
              detail::Differing(detail::kTextSourceNormal, *this, source, detail::COMPARED_NORMALS));
    if (precision < 1)
        Error(ERR_PARAMETER, fnProp,
              detail::Explained("precision must be more than zero", "precision is %d.", precision));
    source.RequireSamples(fnProp);
    detail::RequireLength(source, std::int64_t{1} << std::min(precision, 62), fnProp);

    const double z0 = GetPlane().GetDistance(source.origin_);
    const double x0 = origin_.x - source.origin_.x;
    const double y0 = origin_.y - source.origin_.y;
    const double wavelength = source.GetWavelength();
    const double px = px_;
    const double py = py_;
    const LML_RECT window = source.window_;
    const Vector place = origin_;
    const double enlargement = std::ldexp(1.0, precision);
    const double du = 1.0 / (nx_ * px_ * enlargement);
    const double dv = 1.0 / (ny_ * py_ * enlargement);
    const Band bandX = ShiftedBandLimit(x0, z0, du);
    const Band bandY = ShiftedBandLimit(y0, z0, dv);
    const double uLow = bandX.lower / wavelength;
    const double uHigh = bandX.upper / wavelength;
    const double vLow = bandY.lower / wavelength;
    const double vHigh = bandY.upper / wavelength;
    detail::CheckTilted(fnProp, normalVector_);
    detail::CheckShiftedBand(fnProp, source, x0, y0, uLow, uHigh, vLow, vHigh);
    const double fx = 0.5 / px_;
    const double fy = 0.5 / py_;
    const bool beside = uLow > fx || uHigh < -fx || vLow > fy || vHigh < -fy; // no part of the sampled spectrum
    if (N() == 0 || beside)
    {
        *this = source;
        origin_ = place;
        return N() == 0 ? *this : Clear();
    }

    detail::ShiftedTransfer transfer{x0, y0, z0, uLow, uHigh, vLow, vHigh, 0.0, 0.0, 1.0 / (wavelength * wavelength)};
    // Whatever can fail comes first: until then this field is not touched.
    if (source.form_ == COMPLEX_AMPLITUDE && enlargement <= kLargestFused && detail::CanFuseEnlarged(*this))
    {
        transfer.du = 1.0 / (nx_ * enlargement * px_);
        transfer.dv = 1.0 / (ny_ * enlargement * py_);
        if (N() > capacity_)
            Init(nullptr);
        detail::FusedShiftedAsm(*this, source.dataPointer_, transfer, static_cast<std::int32_t>(enlargement));
        CopyParam(source);
        origin_ = place;
        return *this;
    }
    detail::OrRestore(*this,
                      [&]
                      {
                          *this = source;
                          Embed(precision);
                          Fft(-1);
                          transfer.du = px_;
                          transfer.dv = py_;
                          detail::ParallelRows(0, ny_,
                                               [&](std::int32_t j)
                                               {
                                                   MultiplyTransferRow(dataPointer_ +
                                                                           IJ(0, static_cast<std::size_t>(j)),
                                                                       nx_, transfer, (j - ny_ / 2) * transfer.dv);
                                               });
                          Fft(1);
                          detail::ScaleSamples(dataPointer_, N(), static_cast<float>(1.0 / static_cast<double>(N())));
                          Extract(precision);
                      });
    // The source's, to the last bit: the way through the spectrum rounds the pitches, and the enlargement moves the
    // window.
    window_ = window;
    px_ = px;
    py_ = py;
    origin_ = place;
    return *this;
}

Lumora& Lumora::ShiftedAsmPropAdd(const Lumora& source, int precision)
{
    const Lumora result = PropagatedCopy(*this, source, precision);
    return Add(result);
}

Lumora& Lumora::ShiftedAsmPropEx(const Lumora& source)
{
    if (&source == this)
    {
        const Lumora copy(source);
        return ShiftedAsmPropEx(copy);
    }
    detail::RequireTileable(*this, source, fnAddEx);
    AddTiles(*this, source, true);
    return *this;
}

Lumora& Lumora::ShiftedAsmPropAddEx(const Lumora& source)
{
    detail::RequireTileable(*this, source, fnAddEx);
    AddTiles(*this, source, false);
    return *this;
}
} // namespace LumoraLib
