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
#include "propagate/ShiftedSpace.h"
#include "propagate/Tiles.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "transform/Engine.h"

#include <cmath>

namespace LumoraLib
{
namespace
{
constexpr char kTextParameter[] = "at least one parameter is different";
constexpr std::uint32_t kCompared = detail::COMPARED_SIZES | detail::COMPARED_PITCHES | detail::COMPARED_WAVELENGTHS;
constexpr char fnProp[] = "LumoraLib::Lumora::ShiftedAsmProp";
constexpr char fnEx[] = "LumoraLib::Lumora::ShiftedAsmPropEx";
constexpr char fnAddEx[] = "LumoraLib::Lumora::ShiftedAsmPropAddEx";

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
    const detail::ShiftedBand band(x0, y0, z0, wavelength, nx_, ny_, px_, py_, precision);
    detail::CheckTilted(fnProp, normalVector_);
    detail::CheckShiftedBand(fnProp, source, x0, y0, band.uLow, band.uHigh, band.vLow, band.vHigh);
    if (N() == 0 || band.IsBeside(px_, py_))
    {
        *this = source;
        origin_ = place;
        return N() == 0 ? *this : Clear();
    }

    const std::int32_t nx = detail::GrownColumns(nx_, precision);
    const std::int32_t ny = detail::GrownRows(ny_, precision);
    const detail::ShiftedSpace h(x0, y0, z0, wavelength, 1.0 / (nx * px_), ny == 1 ? py_ : 1.0 / (ny * py_));
    const detail::SpectralPass pass{h, band.Box(nx, ny, h.du, h.dv), precision, true};
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
