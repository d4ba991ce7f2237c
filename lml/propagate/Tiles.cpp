// Tiles of fields of different sizes.
#include "propagate/Tiles.h"
#include "base/Describe.h"
#include "base/Parallel.h"
#include "field/FieldTools.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
void CountAxis(std::int32_t source, std::int32_t destination, std::int32_t& sourceTiles, std::int32_t& destinationTiles)
{
    sourceTiles = 1;
    destinationTiles = 1;
    if (source <= 0 || destination <= 0)
        return; // a field without samples is not cut
    if (source >= destination)
        sourceTiles = source / destination;
    else
        destinationTiles = destination / source;
}
} // namespace

bool NormalsDiffer(const Lumora& a, const Lumora& b)
{
    return a.GetNormalVector().GetDistance(b.GetNormalVector()) > GetPositionTolerance();
}

void RequireTileable(const Lumora& destination, const Lumora& source, const char* function)
{
    if (destination.IsSpectrum() || source.IsSpectrum())
        Error(ERR_SOMETHING, function, "both objects must be in real space");
    if (!(destination.GetWavelength() == source.GetWavelength()))
        Error(ERR_PARAMETER, function,
              Differing("the destination wavelength is different from the source", destination, source,
                        COMPARED_WAVELENGTHS));
    if (NormalsDiffer(destination, source))
        Error(ERR_PARAMETER, function, Differing(kTextSourceNormal, destination, source, COMPARED_NORMALS));
    FieldAccess::RequireSamples(destination, function);
    FieldAccess::RequireSamples(source, function);
}

TileCounts CountTiles(const Lumora& source, const Lumora& destination)
{
    TileCounts counts{};
    CountAxis(source.GetNx(), destination.GetNx(), counts.sx, counts.dx);
    CountAxis(source.GetNy(), destination.GetNy(), counts.sy, counts.dy);
    return counts;
}

Lumora MakeTile(const Lumora& field, std::int32_t nx, std::int32_t ny)
{
    Lumora tile(field.GetNx() / nx, field.GetNy() / ny);
    tile.CopyParam(field);
    return tile;
}

void PlaceTile(Lumora& tile, const Lumora& field, std::int32_t column, std::int32_t row, std::int32_t nx,
               std::int32_t ny)
{
    const double dx = (column + (1 - nx) * 0.5) * tile.GetNx() * field.GetPx();
    const double dy = (row + (1 - ny) * 0.5) * tile.GetNy() * field.GetPy();
    tile.SetOrigin(field.GetOrigin() + field.GetUnitVectorX() * dx + field.GetUnitVectorY() * dy);
}

void CopyTile(Lumora& tile, const Lumora& field, std::int32_t column, std::int32_t row)
{
    const std::int64_t x0 = std::int64_t{column} * tile.GetNx();
    const std::int64_t y0 = std::int64_t{row} * tile.GetNy();
    const std::int64_t width = std::min<std::int64_t>(tile.GetNx(), field.GetNx() - x0);
    const std::int64_t height = std::min<std::int64_t>(tile.GetNy(), field.GetNy() - y0);
    if (width <= 0 || height <= 0)
        return;
    Complex* const to = tile.GetDataPointer();
    const Complex* const from = field.GetDataPointer();
    ParallelRows(0, static_cast<std::int32_t>(height),
                 [&](std::int32_t j)
                 {
                     const Complex* const line = from + (y0 + j) * field.GetNx() + x0;
                     std::copy(line, line + width, to + std::int64_t{j} * tile.GetNx());
                 });
}

void TileSum::Add(const Lumora& result)
{
    if (clear_)
    {
        // One sample in the destination's place meets the same refusals as the destination.
        Lumora probe(1, 1);
        probe.Clear().CopyParam(destination_);
        probe.Add(result);
        destination_.Clear();
        clear_ = false;
    }
    destination_.Add(result);
}
} // namespace LumoraLib::detail
