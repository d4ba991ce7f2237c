// Shifted propagation from file to file: the destination's file says where it stands.
#include "LmlLarge.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "field/FieldTools.h"
#include "large/ChirpSteps.h"
#include "large/SpectralSteps.h"
#include "propagate/FresnelGeometry.h"
#include "propagate/ShiftedSpace.h"
#include "propagate/Tiles.h"
#include "transform/EngineTable.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace LumoraLib
{
namespace
{
using namespace detail;

/// Longest enlargement that the sweeps take.
constexpr int kMostPrecision = 4;

/// What both operations require of the two files.
void RequireParallel(const char* function, const Lumora& from, const Lumora& to)
{
    if (from.IsSpectrum() || to.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, function, "both files must be in real space");
    if (!(from.GetWavelength() == to.GetWavelength()) || NormalsDiffer(to, from))
        Error(
            ERR_PARAMETER, function,
            Differing("wavelengths or normals of the files differ", to, from, COMPARED_WAVELENGTHS | COMPARED_NORMALS));
}

class ShiftedAsmWork final : public LargeWork
{
public:
    ShiftedAsmWork(const GridPlace& place, const SegmentGrid& own, const SpectralPass& pass, const Lumora& destination,
                   bool zero)
        : LargeWork(place, place), own_(own), pass_(pass), destination_(destination), zero_(zero)
    {
    }
    std::uint64_t InsideBytes(int threads) const override
    {
        const std::uint64_t rows = static_cast<std::uint64_t>(from.raisedY);
        return sizeof(Complex) * rows * static_cast<std::uint64_t>(from.raisedX + from.nx) +
               SpectralSteps::Needs(pass_, from, threads).stripBytes;
    }
    void Inside(Lumora& field) const override
    {
        Lumora there(field.GetNx(), field.GetNy());
        there.CopyParam(field);
        there.SetOrigin(destination_.GetOrigin());
        there.SetNormalVector(destination_.GetNormalVector());
        there.ShiftedAsmProp(field, pass_.doublings);
        field = std::move(there);
    }
    TileNeeds Needs(int threads) const override { return SpectralSteps::Needs(pass_, from, threads); }
    std::unique_ptr<SweepSteps> Steps(const TileLayout& layout, int threads) const override
    {
        return std::make_unique<SpectralSteps>(pass_, from, own_, layout, threads);
    }
    bool IsZero() const override { return zero_; }
    void Identify(Identity& identity) const override { identity.AddNumber(std::int64_t{pass_.doublings}); }

private:
    SegmentGrid own_;
    const SpectralPass& pass_;
    const Lumora& destination_;
    bool zero_;
};

class ShiftedFresnelWork final : public LargeWork
{
public:
    ShiftedFresnelWork(const GridPlace& source, const SegmentGrid& sourceGrid, const GridPlace& destination,
                       const SegmentGrid& destinationGrid, const ChirpPass& pass, double z)
        : LargeWork(source, destination), sourceGrid_(sourceGrid), destinationGrid_(destinationGrid), pass_(pass), z_(z)
    {
    }
    std::uint64_t InsideBytes(int threads) const override
    {
        // Step by step, two grids of twice the width and height.
        const std::uint64_t grid =
            sizeof(Complex) * static_cast<std::uint64_t>(to.nx) * static_cast<std::uint64_t>(to.ny);
        return WideEngineBound() ? ChirpSteps::Needs(to, destinationGrid_, threads).stripBytes : 8 * grid;
    }
    void Inside(Lumora& field) const override { CarryOut(pass_, field, field); }
    TileNeeds Needs(int threads) const override { return ChirpSteps::Needs(to, destinationGrid_, threads); }
    std::unique_ptr<SweepSteps> Steps(const TileLayout& layout, int threads) const override
    {
        return std::make_unique<ChirpSteps>(pass_, from, sourceGrid_, to, destinationGrid_, layout, threads);
    }
    bool WholeColumns() const override { return true; }
    void Identify(Identity& identity) const override { identity.AddNumber(z_); }

private:
    SegmentGrid sourceGrid_, destinationGrid_;
    const ChirpPass& pass_;
    double z_;
};
} // namespace

LargeReport LargeShiftedAsmProp(const char* source, const char* destination, int precision, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeShiftedAsmProp";
    return LargeWithMemory(
        fn, options,
        [&]
        {
            if (precision < 1 || precision > kMostPrecision)
                Error(ERR_PARAMETER, fn, Explained("the precision must be 1 to 4", "precision is %d.", precision));
            LargeCall call(fn, source, destination, options, precision);
            const SegmentedFile target(destination, BlockFile::Read, fn);
            const Lumora& from = call.source.Common();
            const Lumora& to = target.Common();
            RequireParallel(fn, from, to);
            const SegmentGrid& own = call.source.Grid();
            if (own.Nx() != target.Grid().Nx() || own.Ny() != target.Grid().Ny() || from.GetPx() != to.GetPx() ||
                from.GetPy() != to.GetPy())
                Error(ERR_PARAMETER, fn, Differing("sizes or pitches of the files differ", to, from, COMPARED_PITCHES));
            // As the member forms them.
            const double z0 = to.GetPlane().GetDistance(from.GetOrigin());
            const double x0 = to.GetOrigin().x - from.GetOrigin().x;
            const double y0 = to.GetOrigin().y - from.GetOrigin().y;
            const GridPlace place = CentredPlace(own, precision);
            const ShiftedBand band(x0, y0, z0, from.GetWavelength(), place.raisedX, place.raisedY, from.GetPx(),
                                   from.GetPy(), precision);
            const ShiftedSpace h(x0, y0, z0, from.GetWavelength(), 1.0 / (place.nx * from.GetPx()),
                                 place.ny == 1 ? from.GetPy() : 1.0 / (place.ny * from.GetPy()));
            const SpectralPass pass{h, band.Box(place.nx, place.ny, h.du, h.dv), precision, true};
            const bool zero = band.IsBeside(from.GetPx(), from.GetPy()) || pass.band.i0 >= pass.band.i1 ||
                              pass.band.j0 >= pass.band.j1;
            Lumora result(from);
            result.SetOrigin(to.GetOrigin());
            const SegmentGrid grid = target.Grid();
            return call.Run(ShiftedAsmWork(place, own, pass, to, zero), result, grid);
        });
}

LargeReport LargeShiftedFresnelProp(const char* source, const char* destination, bool backward,
                                    const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeShiftedFresnelProp";
    return LargeWithMemory(
        fn, options,
        [&]
        {
            LargeCall call(fn, source, destination, options, 1);
            const SegmentedFile target(destination, BlockFile::Read, fn);
            const Lumora& from = call.source.Common();
            const Lumora& to = target.Common();
            RequireParallel(fn, from, to);
            const SegmentGrid& a = call.source.Grid();
            const SegmentGrid& b = target.Grid();
            // Both fields stand in the centre of one grid.
            const std::int64_t longest = kLongestTransform / 2;
            if (std::max(b.Nx(), b.Ny()) > longest)
                Error(ERR_SOMETHING, fn, kTextTooLong);
            const std::int32_t nx = static_cast<std::int32_t>(RaisedToPowerOfTwo(std::max(a.Nx(), b.Nx())));
            const std::int32_t ny = static_cast<std::int32_t>(RaisedToPowerOfTwo(std::max(a.Ny(), b.Ny())));
            if (nx < 2 || ny < 2)
                Error(ERR_PARAMETER, fn, "a field of one row or one column fits into memory: use the member");
            FresnelGeometry g{};
            const double distance = to.GetPlane().GetDistance(from.GetOrigin());
            g.z = backward ? -distance : distance;
            g.k = from.GetWavenumber();
            g.pS = from.GetPx();
            g.qS = from.GetPy();
            g.pD = to.GetPx();
            g.qD = to.GetPy();
            g.xS = -(nx / 2) * g.pS + from.GetOrigin().x;
            g.yS = -(ny / 2) * g.qS + from.GetOrigin().y;
            g.xD = -(nx / 2) * g.pD + to.GetOrigin().x;
            g.yD = -(ny / 2) * g.qD + to.GetOrigin().y;
            const FresnelSourcePhase before(g);
            const FresnelDestinationPhase after(g);
            const ChirpPass pass{g.ChirpX(), g.ChirpY(), &before, &after, ComplexDouble(0.0, g.Prefactor())};
            Lumora result(to);
            const SegmentGrid grid = b;
            return call.Run(ShiftedFresnelWork(GridPlace(a, nx, ny, 0), a, GridPlace(b, nx, ny, 0), b, pass, g.z),
                            result, grid);
        });
}
} // namespace LumoraLib
