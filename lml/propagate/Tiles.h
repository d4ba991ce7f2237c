// Tiles of fields of different sizes: how the extended shifted propagations cut the larger field of each axis into
// pieces of the smaller one's size.
#ifndef LML_TILES_H
#define LML_TILES_H

#include "LmlLumora.h"
#include "base/Progress.h"

#include <cstdint>

namespace LumoraLib::detail
{
inline constexpr char kTextSourceNormal[] = "normal vector of the destination is not same as the source";

/// Whether the normals, taken as vectors, are farther apart than the position tolerance.
bool NormalsDiffer(const Lumora& a, const Lumora& b);

/// The checks of the extended forms, all of them raised before anything is written.
void RequireTileable(const Lumora& destination, const Lumora& source, const char* function);

/// Numbers of tiles of the source (sx, sy) and of the destination (dx, dy); along each axis at least one of the two
/// is 1.
struct TileCounts
{
    std::int32_t sx, dx, sy, dy;
    bool SourceCut() const { return sx > 1 || sy > 1; }
    bool DestinationCut() const { return dx > 1 || dy > 1; }
    /// Whether a grid is cut into tiles of one sample along an axis.
    bool Thin(const Lumora& source, const Lumora& destination) const
    {
        return (sx > 1 && source.GetNx() == sx) || (sy > 1 && source.GetNy() == sy) ||
               (dx > 1 && destination.GetNx() == dx) || (dy > 1 && destination.GetNy() == dy);
    }
};

TileCounts CountTiles(const Lumora& source, const Lumora& destination);

/// An uncleared field of the size of one of `nx` by `ny` tiles that takes over k, form, pitches, window and normal of
/// `field`.
Lumora MakeTile(const Lumora& field, std::int32_t nx, std::int32_t ny);

/// Puts `tile` into the place of tile (column, row) of `nx` by `ny` in the plane of `field`.
/// Kept: tiles stand symmetrically about the origin, grids have a sample at it. The two agree from two samples on; a
/// tile of one sample along an axis has its sample in the middle of the tile, half a pitch beside the field's sample.
/// Kept: offsets follow the plane's own axes, while propagation and Add go by global x and y: on a tilted plane tiles
/// do not make up the undivided operation, and rounding can set their planes apart.
void PlaceTile(Lumora& tile, const Lumora& field, std::int32_t column, std::int32_t row, std::int32_t nx,
               std::int32_t ny);

/// Copies the samples of tile (column, row) out of `field`.
void CopyTile(Lumora& tile, const Lumora& field, std::int32_t column, std::int32_t row);

/// The destination's sum over tiles. A destination that is to be cleared first keeps its samples until the first result
/// is there and cannot be refused any more.
class TileSum
{
public:
    TileSum(Lumora& destination, bool clearFirst) : destination_(destination), clear_(clearFirst) {}
    void Add(const Lumora& result);

private:
    Lumora& destination_;
    bool clear_;
};

/// The loops over tile pairs: one(destination tile or whole, source tile or whole, whether the destination is a tile).
/// Source tiles are the outer loop, rows of tiles stand outside their columns. A result in a tile is for `one` to add.
/// Reports progress in pairs as the operation `function`, before each of them.
template <class One>
void ForEachTilePair(Lumora& destination, const Lumora& source, const TileCounts& counts, const char* function,
                     const One& one)
{
    Progress progress(function, std::int64_t{counts.sx} * counts.sy * counts.dx * counts.dy, 1);
    std::int64_t done = 0;
    const auto overDestination = [&](const Lumora& from)
    {
        if (!counts.DestinationCut())
        {
            progress.Step(done++);
            one(destination, from, false);
            return;
        }
        Lumora tile = MakeTile(destination, counts.dx, counts.dy);
        for (std::int32_t row = 0; row < counts.dy; ++row)
            for (std::int32_t column = 0; column < counts.dx; ++column)
            {
                // Every pair starts from the destination's parameters: a propagation gives the tile those of its
                // source.
                progress.Step(done++);
                tile.CopyParam(destination);
                PlaceTile(tile, destination, column, row, counts.dx, counts.dy);
                one(tile, from, true);
            }
    };
    if (!counts.SourceCut())
    {
        overDestination(source);
        return;
    }
    Lumora tile = MakeTile(source, counts.sx, counts.sy);
    for (std::int32_t row = 0; row < counts.sy; ++row)
        for (std::int32_t column = 0; column < counts.sx; ++column)
        {
            PlaceTile(tile, source, column, row, counts.sx, counts.sy);
            CopyTile(tile, source, column, row);
            overDestination(tile);
        }
}
} // namespace LumoraLib::detail

#endif
