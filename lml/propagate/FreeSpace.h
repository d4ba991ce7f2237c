// The transfer function of free space and the band in which a spectrum samples it finely enough.
#ifndef LML_FREESPACE_H
#define LML_FREESPACE_H

#include "transform/Engine.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// H for the distance d: exp(i 2 pi d sqrt(w)), w = 1 / lambda^2 - u u - v v.
/// Kept: beyond the evanescent limit (w <= 0) the factor is 1; only the band limit of AsmPropFs cuts.
class FreeSpace final : public Transfer
{
public:
    FreeSpace(double d, double lambda, double pitchU, double pitchV);
    PhaseForm EvenRow(double v) const override;
    /// One row of factors, rounded to float, serves both rows.
    void Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex* room) const override;

private:
    Complex At(double rest, double u) const;
    void FillRow(Complex* row, std::int32_t nx, double v) const;

    double twoPiD_;
    double inverseSquare_;
};

/// The box that the angular spectrum's band limit leaves of an nx by ny spectrum with pitches du, dv (cycles per metre)
/// at the distance d: the whole grid where the limit does not reach. Kept: the upper ends are exclusive, so the box is
/// one column and one row short of symmetric about the centre.
IndexBox AsmBandBox(std::int32_t nx, std::int32_t ny, double du, double dv, double d, double lambda);

/// Reports light beyond the band limit of a propagation over d on a grid `enlarge` times the field's size.
void CheckBandLoss(const char* fn, const Lumora& field, double d, std::int32_t enlarge);
} // namespace LumoraLib::detail

#endif
