// Resampling from file to file: the destination in tiles, each from the part of the source under it.
#include "LmlLarge.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Progress.h"
#include "base/Texts.h"
#include "field/FieldTools.h"
#include "large/NewFile.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib
{
namespace
{
using namespace detail;
constexpr char fn[] = "LumoraLib::LargeResample";
/// Samples of the source beyond a tile's own: more than any interpolator's taps reach.
constexpr std::int64_t kMargin = 16;

/// Part of an axis of the source.
struct Span
{
    std::int64_t first = 0;
    std::int64_t count = 0;
};

/// The samples of an axis of n, pitch p, centre at c, that lie under places low ... high: with the margin, a power of
/// two of them where the axis has so many, so that no zeros stand around them. None where they lie beside it.
Span SpanUnder(double low, double high, std::int64_t n, double p, double c)
{
    const double first = std::floor((low - c) / p) + static_cast<double>(n / 2) - static_cast<double>(kMargin);
    const double last = std::ceil((high - c) / p) + static_cast<double>(n / 2) + static_cast<double>(kMargin);
    if (!(last > 0.0 && first < static_cast<double>(n)))
        return {};
    const double wide = std::min(last - first + 1.0, static_cast<double>(n));
    const std::int64_t count = std::min(RaisedToPowerOfTwo(static_cast<std::int64_t>(wide)), n);
    const double most = static_cast<double>(n - count);
    return {static_cast<std::int64_t>(std::clamp(first, 0.0, most)), count};
}
} // namespace

LargeReport LargeResample(const char* source, const char* destination, Interpol interpol, const LargeOptions& options)
{
    return LargeWithMemory(
        fn, options,
        [&]
        {
            SegmentedFile from = OpenSource(fn, source, options);
            const SegmentedFile target(destination, BlockFile::Read, fn);
            const Lumora& a = from.Common();
            const Lumora& b = target.Common();
            const SegmentGrid& grid = target.Grid();
            GetInterpolFunc(interpol); // refuses what is none
            if (std::fabs(b.GetPlane().GetDistance(a.GetOrigin())) > GetPositionTolerance() ||
                a.GetNormalVector().GetDistance(b.GetNormalVector()) > GetPositionTolerance())
                Error(ERR_PARAMETER, fn, Differing("the files lie on different planes", b, a, COMPARED_PLANES));
            const SegmentedField reader(source, SEGMENTED_READ, MISSING_ZERO);
            const MistakeScope inside;
            // A tile and the source under it, twice as wide and high at most behind the raise.
            const double scale = std::max({b.GetPx() / a.GetPx(), b.GetPy() / a.GetPy(), 1.0});
            const double fit = std::sqrt(static_cast<double>(MemoryOf(options)) / (5.0 * sizeof(Complex))) / scale;
            const std::int32_t side = static_cast<std::int32_t>(
                std::int64_t{1} << std::clamp(static_cast<int>(std::log2(fit > 1.0 ? fit : 1.0)), 6, 13));
            NewFile result(fn, destination, grid, b, options.ranks);
            const std::int64_t nx = grid.Nx();
            const std::int64_t ny = grid.Ny();
            LargeReport report;
            Lumora tile(side, side, b.GetPx(), b.GetPy(), b.GetWavelength());
            tile.SetNormalVector(b.GetNormalVector());
            FieldAccess::SetForm(tile, FieldAccess::Form(b));
            Lumora part(1, 1);
            const std::int64_t tilesX = (nx + side - 1) / side;
            ForEachPiece(
                options.ranks, fn, tilesX * ((ny + side - 1) / side),
                [&](std::int64_t n)
                {
                    const std::int64_t x = n % tilesX * side;
                    const std::int64_t y = n / tilesX * side;
                    ++report.bands;
                    const double px = b.GetPx(), py = b.GetPy();
                    const Vector origin = b.GetOrigin();
                    const double left = origin.x + static_cast<double>(x - nx / 2) * px;
                    const double low = origin.y + static_cast<double>(y - ny / 2) * py;
                    const Span i = SpanUnder(left, left + side * px, from.Grid().Nx(), a.GetPx(), a.GetOrigin().x);
                    const Span j = SpanUnder(low, low + side * py, from.Grid().Ny(), a.GetPy(), a.GetOrigin().y);
                    if (i.count == 0 || j.count == 0)
                        return; // zeros, as the new file is
                    reader.Get(i.first, j.first, static_cast<std::int32_t>(i.count), static_cast<std::int32_t>(j.count),
                               part);
                    report.bytesRead += static_cast<std::uint64_t>(i.count * j.count) * sizeof(Complex);
                    report.memory =
                        std::max(report.memory, static_cast<std::uint64_t>(part.N() + tile.N()) * sizeof(Complex));
                    tile.SetOrigin(Vector(left + side / 2 * px, low + side / 2 * py, origin.z));
                    tile.Clear();
                    tile.ResamplingCopy(part, interpol);
                    const std::int64_t wide = std::min<std::int64_t>(side, nx - x);
                    const std::int64_t high = std::min<std::int64_t>(side, ny - y);
                    if (!result.File().WriteSamples(x, y, wide, high, tile.GetDataPointer(),
                                                    static_cast<std::size_t>(side)))
                        Error(ERR_FILE_WRITE, fn, result.File().Path().c_str());
                });
            report.bytesWritten = result.File().File().BytesWritten();
            result.Finish();
            return report;
        });
}
} // namespace LumoraLib
