// Angular spectrum propagation to a laterally shifted parallel plane, with a band limit that follows the shift.
//
// Geometry comes from the two objects alone. Kept: the distance is an absolute value, so the direction of travel is
// lost and a destination behind the source is computed as a forward propagation; the lateral shifts are plain
// differences of global coordinates, also between tilted planes: there the result is not the field of that geometry,
// and tiles, which lie along the planes, do not make up the undivided operation.
#include "base/Constants.h"
#include "base/Describe.h"
#include "base/Mistakes.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "propagate/Tiles.h"
#include "simd/WidePhase.h"
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

constexpr char kTextParameter[] = "at least one parameter is different";
constexpr std::uint32_t kCompared = detail::COMPARED_SIZES | detail::COMPARED_PITCHES | detail::COMPARED_WAVELENGTHS;
constexpr char fnProp[] = "LumoraLib::Lumora::ShiftedAsmProp";
constexpr char fnEx[] = "LumoraLib::Lumora::ShiftedAsmPropEx";
constexpr char fnAddEx[] = "LumoraLib::Lumora::ShiftedAsmPropAddEx";

/// The transfer function of a shift (x0, y0) over the distance z0, exp(2 pi i (x0 u + z0 w + y0 v)).
/// Kept: the root w = sqrt(1 / lambda^2 - u u - v v) is not guarded, so that frequencies of the band beyond
/// 1 / wavelength, which very small pitches have, make the field not a number.
class ShiftedSpace final : public detail::Transfer
{
public:
    ShiftedSpace(double shiftX, double shiftY, double z0, double lambda, double pitchU, double pitchV)
        : z0_(z0), inverseSquare_(1.0 / (lambda * lambda))
    {
        du = pitchU;
        dv = pitchV;
        shifted = true;
        x0 = shiftX;
        y0 = shiftY;
    }

    detail::PhaseForm EvenRow(double v) const override
    {
        return detail::PhaseForm::Shifted(du, 0.0, z0_, inverseSquare_, v * v, 0.0);
    }

    void Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex*) const override
    {
        if (below != nullptr)
            MultiplyRow(below, nx, -(j * dv));
        if (above != nullptr)
            MultiplyRow(above, nx, j * dv);
    }

private:
    void MultiplyRow(Complex* row, std::int32_t nx, double v) const
    {
        if (!detail::StepByStep())
        {
            float* const samples = reinterpret_cast<float*>(row);
            detail::Phases().multiply(detail::PhaseForm::Shifted(du, x0, z0_, inverseSquare_, v * v, y0 * v), {},
                                      -(nx / 2), static_cast<std::size_t>(nx), samples, samples);
            return;
        }
        for (std::int32_t i = 0; i < nx; ++i)
        {
            const double u = (i - nx / 2) * du;
            row[i] = detail::TimesUnit(row[i], detail::kTwoPi *
                                                   (x0 * u + z0_ * std::sqrt(inverseSquare_ - u * u - v * v) + y0 * v));
        }
    }

    double z0_;
    double inverseSquare_;
};

/// The centred indices of an axis of n frequencies that lie inside an open band: a frequency exactly on a bound is
/// removed.
void OpenBand(std::int32_t n, double pitch, double low, double high, std::int32_t& first, std::int32_t& last)
{
    first = 0;
    last = n;
    const auto outside = [=](std::int32_t i)
    {
        const double frequency = (i - n / 2) * pitch;
        return frequency <= low || frequency >= high;
    };
    while (first < n && outside(first))
        ++first;
    while (last > first && outside(last - 1))
        --last;
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
    const detail::TileCounts counts = detail::CountTiles(source, destination);
    detail::CheckTilted(fnAddEx, destination.GetNormalVector());
    detail::CheckTiles(fnAddEx, counts.Thin(source, destination));
    const detail::MistakeScope inside;
    constexpr int kPrecision = 1;
    detail::TileSum sum(destination, clearFirst);
    detail::ForEachTilePair(destination, source, counts, clearFirst ? fnEx : fnAddEx,
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

    const std::int32_t nx = detail::GrownColumns(nx_, precision);
    const std::int32_t ny = detail::GrownRows(ny_, precision);
    const ShiftedSpace h(x0, y0, z0, wavelength, 1.0 / (nx * px_), ny == 1 ? py_ : 1.0 / (ny * py_));
    detail::SpectralPass pass{h, {}, precision, true};
    OpenBand(nx, h.du, uLow, uHigh, pass.band.i0, pass.band.i1);
    OpenBand(ny, h.dv, vLow, vHigh, pass.band.j0, pass.band.j1);
    const detail::Progress progress(fnProp, static_cast<std::int64_t>(N()), static_cast<std::int64_t>(N()));
    detail::CarryOut(pass, *this, source);
    CopyParam(source);
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
