// Growing a field by a zero border and cutting its centre out, for propagations that must not wrap around.
#include "field/Embed.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Parallel.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace LumoraLib
{
namespace detail
{
void PlaceCentred(Complex* target, std::int32_t nx, std::int32_t ny, const Complex* source, std::int32_t sourceNx,
                  std::int32_t sourceNy)
{
    const std::int32_t x0 = (nx - sourceNx) / 2;
    const std::int32_t y0 = (ny - sourceNy) / 2;
    const std::size_t width = static_cast<std::size_t>(sourceNx);
    ParallelRows(0, ny,
                 [=](std::int32_t j)
                 {
                     Complex* const row = target + static_cast<std::size_t>(nx) * static_cast<std::size_t>(j);
                     if (j < y0 || j - y0 >= sourceNy)
                     {
                         std::fill(row, row + nx, Complex());
                         return;
                     }
                     const Complex* const from = source + width * static_cast<std::size_t>(j - y0);
                     std::fill(row, row + x0, Complex());
                     std::copy(from, from + sourceNx, row + x0);
                     std::fill(row + x0 + sourceNx, row + nx, Complex());
                 });
}

void CutCentre(Complex* target, std::int32_t nx, std::int32_t ny, const Complex* source, std::int32_t sourceNx,
               std::int32_t sourceNy)
{
    const std::size_t x0 = static_cast<std::size_t>((sourceNx - nx) / 2);
    const std::size_t y0 = static_cast<std::size_t>((sourceNy - ny) / 2);
    const std::size_t width = static_cast<std::size_t>(sourceNx);
    ParallelRows(0, ny,
                 [=](std::int32_t j)
                 {
                     const Complex* const from = source + width * (y0 + static_cast<std::size_t>(j)) + x0;
                     std::copy(from, from + nx, target + static_cast<std::size_t>(nx) * static_cast<std::size_t>(j));
                 });
}
} // namespace detail

namespace
{
/// The common part of both forms; sizes, samples and window stay as they are when memory is refused.
void EmbedTo(Lumora& field, std::int32_t nx, std::int32_t ny, const char* fn)
{
    detail::FieldAccess::RequireSamples(field, fn);
    const std::int32_t oldNx = field.GetNx();
    const std::int32_t oldNy = field.GetNy();
    if (detail::FieldAccess::OwnsSamples(field))
    {
        Lumora grown(nx, ny);
        grown.CopyParam(field);
        if (grown.N() != 0)
            detail::PlaceCentred(grown.GetDataPointer(), grown.GetNx(), grown.GetNy(), field.GetDataPointer(), oldNx,
                                 oldNy);
        field = std::move(grown);
    }
    else
    {
        const Lumora old(field);
        detail::Resize(field, nx, ny);
        if (field.N() != 0)
            detail::PlaceCentred(field.GetDataPointer(), field.GetNx(), field.GetNy(), old.GetDataPointer(), oldNx,
                                 oldNy);
    }
    detail::ShiftWindow(field.Window(), (field.GetNx() - oldNx) / 2, (field.GetNy() - oldNy) / 2);
}
} // namespace

Lumora& Lumora::Embed(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Embed";
    if (n < 0)
        Error(ERR_PARAMETER, fn, detail::Explained("", "n is %d.", n));
    if (n == 0)
        return *this;
    // Kept: one column grows in x here, while the form with a factor per axis leaves it as it is.
    EmbedTo(*this, detail::GrownSize(nx_, n), ny_ > 1 ? detail::GrownSize(ny_, n) : ny_, fn);
    return *this;
}

Lumora& Lumora::Embed(int nx, int ny)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Embed";
    if (nx < 0 || ny < 0)
        Error(ERR_PARAMETER, fn, detail::Explained("", "nx is %d, ny is %d.", nx, ny));
    if (nx == 0 && ny == 0)
        return *this;
    EmbedTo(*this, nx_ > 1 ? detail::GrownSize(nx_, nx) : nx_, ny_ > 1 ? detail::GrownSize(ny_, ny) : ny_, fn);
    return *this;
}

Lumora& Lumora::Extract(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Extract";
    if (n < 0)
        Error(ERR_PARAMETER, fn, detail::Explained("", "n is %d.", n));
    if (n == 0)
        return *this;
    RequireSamples(fn);
    const std::int32_t nx = nx_ >> std::min(n, 31);
    const std::int32_t ny = ny_ > 1 ? ny_ >> std::min(n, 31) : ny_;
    if (N() != 0 && (nx == 0 || ny == 0))
        Error(ERR_PARAMETER, fn,
              detail::Explained("", "The field is %d by %d, n is %d.", nx_, ny_,
                                n)); // nothing would be left of the field
    Lumora block(nx, ny);
    block.CopyParam(*this);
    if (N() != 0)
        detail::CutCentre(block.dataPointer_, nx, ny, dataPointer_, nx_, ny_);
    *this = std::move(block);
    return SetWindowMax();
}
} // namespace LumoraLib
