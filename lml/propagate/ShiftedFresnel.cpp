// Fresnel propagation between parallel planes with any pitch and lateral position: a quadratic phase on the source, one
// scaled FFT, a quadratic phase on the destination.
//
// With the corner coordinates (xS, yS), (xD, yD) of the two grids the kernel of the Fresnel integral splits into
// exp(i PhiD) exp(i PhiS) exp(-2 pi i (a k i + b l j)), a = pD pS / (lambda z), b = qD qS / (lambda z)
// (Muffoletto, Tyler, Tohline, Optics Express 15 (2007) 5631). Kept: the distance is an absolute value, so the
// direction of travel is lost; the corners are global x and y, also between tilted planes: there the result is not the
// field of that geometry, and tiles, which lie along the planes, do not make up the undivided operation.
#include "base/Describe.h"
#include "base/Mistakes.h"
#include "base/Progress.h"
#include "base/Texts.h"
#include "field/FieldTools.h"
#include "propagate/FresnelGeometry.h"
#include "propagate/Tiles.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "transform/Engine.h"

#include <cmath>
#include <cstdint>
#include <optional>

namespace LumoraLib
{
namespace
{
using Geometry = detail::FresnelGeometry;
using detail::Into;
using detail::MultiplyRow;

constexpr char fnProp[] = "LumoraLib::Lumora::ShiftedFresnelProp";

Geometry MakeGeometry(const Lumora& source, const Vector& place, const Vector& normal, std::int32_t nx, std::int32_t ny,
                      double px, double py)
{
    Geometry g{};
    g.z = Plane(place, normal).GetDistance(source.GetOrigin());
    g.k = source.GetWavenumber();
    g.pS = source.GetPx();
    g.qS = source.GetPy();
    g.pD = px;
    g.qD = py;
    g.xS = -(source.GetNx() / 2) * g.pS + source.GetOrigin().x;
    g.yS = -(source.GetNy() / 2) * g.qS + source.GetOrigin().y;
    g.xD = -(nx / 2) * g.pD + place.x;
    g.yD = -(ny / 2) * g.qD + place.y;
    detail::CheckDistance("LumoraLib::Lumora::ShiftedFresnelProp", g.z);
    detail::CheckTilted("LumoraLib::Lumora::ShiftedFresnelProp", normal);
    return g;
}

Geometry GeometryOf(const Lumora& source, const Lumora& destination)
{
    return MakeGeometry(source, destination.GetOrigin(), destination.GetNormalVector(), destination.GetNx(),
                        destination.GetNy(), destination.GetPx(), destination.GetPy());
}

/// Destination samples from source samples, which may be the same buffer, with the chirp parameters a and b or a
/// kernel of theirs.
void Propagate(Lumora& destination, const Lumora& source, const Geometry& g, double a, double b,
               const ScaledFftDescriptor* kernel = nullptr, detail::Into into = detail::Into::Replace)
{
    const std::int64_t samples = static_cast<std::int64_t>(destination.N());
    const detail::Progress progress(fnProp, samples, samples);
    const detail::FresnelSourcePhase before(g);
    const detail::FresnelDestinationPhase after(g);
    detail::CarryOut({a, b, &before, &after, ComplexDouble(0.0, g.Prefactor()), kernel, into}, destination, source);
}

void PropagateComputed(Lumora& destination, const Lumora& source, const Geometry& g)
{
    Propagate(destination, source, g, g.ChirpX(), g.ChirpY());
}

/// The kernel of a scaled FFT that serves several calls.
struct Kernel
{
    double a, b;
    std::int32_t nx, ny;                 // size of the fields it fits
    const ScaledFftDescriptor* spectrum; // none where the engine does without
};

Kernel KernelOf(const ShiftedFresnelPropDescriptor& d)
{
    return {d.chirpX, d.chirpY, d.GetNx() / 2, d.GetNy() / 2, &d};
}

constexpr char kTextDescriptor[] = "descriptor is not compatible";
constexpr char fnAdd[] = "LumoraLib::Lumora::ShiftedFresnelPropAdd";
constexpr char fnEx[] = "LumoraLib::Lumora::ShiftedFresnelPropEx";
constexpr char fnAddEx[] = "LumoraLib::Lumora::ShiftedFresnelPropAddEx";

/// The common checks of the two-field forms, in their order.
void RequirePair(const Lumora& destination, const Lumora& source, const char* function)
{
    if (destination.IsSpectrum() || source.IsSpectrum())
        Error(ERR_SOMETHING, function, "both objects are in real space");
    if (!(destination.GetWavelength() == source.GetWavelength()) || destination.GetNx() != source.GetNx() ||
        destination.GetNy() != source.GetNy())
        Error(ERR_PARAMETER, function,
              detail::Differing("at least one parameter is different", destination, source,
                                detail::COMPARED_SIZES | detail::COMPARED_WAVELENGTHS));
    if (detail::NormalsDiffer(destination, source))
        Error(ERR_PARAMETER, function,
              detail::Differing(detail::kTextSourceNormal, destination, source, detail::COMPARED_NORMALS));
    detail::FieldAccess::RequireSamples(destination, function);
    detail::FieldAccess::RequireSamples(source, function);
    detail::RequireLength(source, 2, function);
}

bool Near(double a, double b)
{
    const double difference = a - b;
    return std::sqrt(difference * difference) < 1e-12;
}

void RequireKernel(const Kernel& kernel, const Geometry& g, const Lumora& source, const char* function)
{
    if (!Near(g.ChirpX(), kernel.a) || !Near(g.ChirpY(), kernel.b) || kernel.nx != source.GetNx() ||
        kernel.ny != source.GetNy())
        Error(ERR_SOMETHING, function,
              detail::Explained(kTextDescriptor,
                                "The descriptor is for %d by %d samples and the products %.9g and %.9g of the pitches "
                                "over wavelength and distance; the fields have %d by %d, %.9g and %.9g.",
                                kernel.nx, kernel.ny, kernel.a, kernel.b, source.GetNx(), source.GetNy(), g.ChirpX(),
                                g.ChirpY()));
    if (kernel.spectrum)
        detail::FieldAccess::RequireSamples(*kernel.spectrum, function);
}

/// The two-field forms with a kernel at hand.
Lumora& PropagateWith(const Kernel& kernel, Lumora& destination, const Lumora& source, Into into)
{
    const char* const function = into == Into::Replace ? fnProp : fnAdd;
    RequirePair(destination, source, function);
    if (destination.GetNy() == 1)
        return destination.ShiftedFresnelProp1d(source); // Kept: a one-row destination is overwritten, not added to.
    const Geometry g = GeometryOf(source, destination);
    RequireKernel(kernel, g, source, function);
    Propagate(destination, source, g, kernel.a, kernel.b, kernel.spectrum, into);
    return destination;
}

/// The sum over all pairs of tiles, the destination cleared before the first is added or not.
void AddTiles(Lumora& destination, const Lumora& source, bool clearFirst)
{
    if (destination.N() == 0 || source.N() == 0)
        return;
    const detail::TileCounts counts = detail::CountTiles(source, destination);
    const double z = destination.GetPlane().GetDistance(source.GetOrigin());
    detail::CheckDistance(fnAddEx, z);
    detail::CheckTilted(fnAddEx, destination.GetNormalVector());
    detail::CheckTiles(fnAddEx, counts.Thin(source, destination));
    const detail::MistakeScope inside;
    // One kernel for all tile pairs: lateral positions do not enter it.
    const std::int32_t nx = source.GetNx() / counts.sx;
    const std::int32_t ny = source.GetNy() / counts.sy;
    const double px = destination.GetPx();
    const double py = destination.GetPy();
    const double wavelength = source.GetWavelength();
    const double a = source.GetPx() * px / (z * wavelength);
    const double b = source.GetPy() * py / (z * wavelength);
    const std::optional<ScaledFftDescriptor> spectrum = detail::SharedKernel(nx, ny, a, b);
    const Kernel kernel{a, b, nx, ny, spectrum ? &*spectrum : nullptr};
    detail::TileSum sum(destination, clearFirst);
    Into whole = clearFirst ? Into::Cleared : Into::Add;
    detail::ForEachTilePair(destination, source, counts, clearFirst ? fnEx : fnAddEx,
                            [&](Lumora& to, const Lumora& from, bool isTile)
                            {
                                if (isTile)
                                    return sum.Add(PropagateWith(kernel, to, from, Into::Replace));
                                PropagateWith(kernel, to, from, whole);
                                whole = Into::Add;
                            });
}
} // namespace

Lumora& Lumora::ShiftedFresnelProp(const Lumora& source)
{
    RequirePair(*this, source, fnProp);
    if (ny_ == 1)
        return ShiftedFresnelProp1d(source);
    PropagateComputed(*this, source, GeometryOf(source, *this));
    return *this;
}

Lumora& Lumora::ShiftedFresnelProp(const Lumora& source, const ShiftedFresnelPropDescriptor& d)
{
    return PropagateWith(KernelOf(d), *this, source, Into::Replace);
}

Lumora& Lumora::ShiftedFresnelPropAdd(const Lumora& source, const ShiftedFresnelPropDescriptor& d)
{
    return PropagateWith(KernelOf(d), *this, source, Into::Add);
}

Lumora& Lumora::ShiftedFresnelProp(const Vector& position, double px, double py)
{
    if (IsSpectrum())
        Error(ERR_SOMETHING, fnProp, "object is in real space");
    RequireSamples(fnProp);
    detail::RequireLength(*this, 2, fnProp);
    const Vector place = position;
    PropagateComputed(*this, *this, MakeGeometry(*this, place, normalVector_, nx_, ny_, px, py));
    origin_ = place;
    px_ = px;
    py_ = py;
    return *this;
}

Lumora& Lumora::ShiftedFresnelProp(const Vector& position, double px, double py, const ShiftedFresnelPropDescriptor& d)
{
    if (IsSpectrum())
        Error(ERR_SOMETHING, fnProp, "object is in real space");
    RequireSamples(fnProp);
    detail::RequireLength(*this, 2, fnProp);
    const Vector place = position;
    const Geometry g = MakeGeometry(*this, place, normalVector_, nx_, ny_, px, py);
    RequireKernel(KernelOf(d), g, *this, fnProp);
    Propagate(*this, *this, g, d.chirpX, d.chirpY, &d);
    origin_ = place;
    px_ = px;
    py_ = py;
    return *this;
}

Lumora& Lumora::ShiftedFresnelPropEx(const Lumora& source)
{
    if (&source == this)
    {
        const Lumora copy(source);
        return ShiftedFresnelPropEx(copy);
    }
    detail::RequireTileable(*this, source, fnAddEx);
    if (N() == 0 || source.N() == 0)
        return Clear();
    AddTiles(*this, source, true);
    return *this;
}

Lumora& Lumora::ShiftedFresnelPropAddEx(const Lumora& source)
{
    detail::RequireTileable(*this, source, fnAddEx);
    AddTiles(*this, source, false);
    return *this;
}

Lumora& Lumora::ShiftedFresnelProp1d(const Lumora& source)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ShiftedFresnelProp1d";
    if (source.ny_ != 1 || ny_ != 1 || !(GetWavelength() == source.GetWavelength()) || nx_ != source.nx_)
        Error(ERR_PARAMETER, fn,
              detail::Differing("", *this, source, detail::COMPARED_SIZES | detail::COMPARED_WAVELENGTHS));
    if (detail::NormalsDiffer(*this, source))
        Error(ERR_PARAMETER, fn, detail::Differing(detail::kTextOtherNormal, *this, source, detail::COMPARED_NORMALS));
    source.RequireSamples(fn);
    detail::RequireLength(source, 2, fn);
    const Geometry g = GeometryOf(source, *this);
    Lumora work(nx_, 1);
    MultiplyRow(work.dataPointer_, source.dataPointer_, nx_,
                [&g](std::int32_t i)
                {
                    const double x = i * g.pS + g.xS;
                    return (g.k / g.z) * x * (x / 2.0 - g.xD);
                });
    work.RawScaledFft1d(g.ChirpX());
    Init(nullptr); // the last step that can fail
    // Kept: the prefactor has the magnitude pS / sqrt(lambda z) and the phase -i, not that of the root of 1 / (i lambda
    // z).
    const double s = static_cast<float>((0.0 - g.pS) / std::sqrt(g.Wavelength() * g.z));
    MultiplyRow(
        dataPointer_, work.dataPointer_, nx_,
        [&g](std::int32_t i)
        {
            const double x = i * g.pD + g.xD;
            return (g.k / g.z) * (x * x / 2.0 - i * g.xS * g.pD) + g.k * g.z;
        },
        detail::FactorTimes(ComplexDouble(0.0, s)));
    return *this;
}

// -------------------------------------------------------------------------------------------------------- descriptor

ShiftedFresnelPropDescriptor::ShiftedFresnelPropDescriptor(double z, double px, double py, double sourcePx,
                                                           double sourcePy, double wavelength, int nx, int ny)
    : ScaledFftDescriptor(nx, ny, px * sourcePx / (z * wavelength), py * sourcePy / (z * wavelength))
{
}

ShiftedFresnelPropDescriptor::ShiftedFresnelPropDescriptor(double z, double px, double py, const Lumora& source)
    : ShiftedFresnelPropDescriptor(z, px, py, source.GetPx(), source.GetPy(), source.GetWavelength(), source.GetNx(),
                                   source.GetNy())
{
}

bool ShiftedFresnelPropDescriptor::IsCompatibleWith(double z, double px, double py, double sourcePx, double sourcePy,
                                                    double wavelength, int nx, int ny) const
{
    return Near(px * sourcePx / (z * wavelength), chirpX) && Near(py * sourcePy / (z * wavelength), chirpY) &&
           GetNx() / 2 == nx && GetNy() / 2 == ny;
}

bool ShiftedFresnelPropDescriptor::IsCompatibleWith(double z, double px, double py, const Lumora& source) const
{
    return IsCompatibleWith(z, px, py, source.GetPx(), source.GetPy(), source.GetWavelength(), source.GetNx(),
                            source.GetNy());
}

bool ShiftedFresnelPropDescriptor::operator==(const ShiftedFresnelPropDescriptor& other) const
{
    return Near(chirpX, other.chirpX) && Near(chirpY, other.chirpY) && GetNx() == other.GetNx() &&
           GetNy() == other.GetNy();
}
} // namespace LumoraLib
