// The heads of LM containers, filled from a field.
#include "files/LmHeads.h"

#include "base/Constants.h"

namespace LumoraLib::detail
{
DataHead DataHeadOf(const Lumora& field, std::int64_t at, std::int32_t nx, std::int32_t ny)
{
    DataHead head{};
    head.form = field.IsSpectrum() ? 1 : 0;
    head.positionHead = at + static_cast<std::int64_t>(kDataHead.bytes);
    head.samples = at + kHeadsBytes;
    head.wavelength = kTwoPi / field.GetWavenumber();
    head.nx = nx;
    head.ny = ny;
    head.px = field.GetPx();
    head.py = field.GetPy();
    return head;
}

PositionHead PositionHeadOf(const Lumora& field)
{
    const Vector origin = field.GetOrigin();
    const Vector normal = field.GetNormalVector();
    const Vector unitX = field.GetUnitVectorX();
    PositionHead head{};
    head.type = kPositionHeadType;
    head.origin = {origin.x, origin.y, origin.z};
    head.normal = {normal.x, normal.y, normal.z};
    head.unitX = {unitX.x, unitX.y, unitX.z};
    return head;
}
} // namespace LumoraLib::detail
