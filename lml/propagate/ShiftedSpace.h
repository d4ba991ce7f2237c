// The transfer function of a lateral shift over a distance, and its band.
#ifndef LML_SHIFTEDSPACE_H
#define LML_SHIFTEDSPACE_H

#include "transform/Engine.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// The transfer function of a shift (x0, y0) over the distance z0, exp(2 pi i (x0 u + z0 w + y0 v)).
/// Kept: the root w = sqrt(1 / lambda^2 - u u - v v) is not guarded, so that frequencies of the band beyond
/// 1 / wavelength, which very small pitches have, make the field not a number.
class ShiftedSpace final : public Transfer
{
public:
    ShiftedSpace(double shiftX, double shiftY, double z0, double lambda, double pitchU, double pitchV);
    PhaseForm EvenRow(double v) const override;
    void Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex* room) const override;

private:
    void MultiplyRow(Complex* row, std::int32_t nx, double v) const;

    double z0_;
    double inverseSquare_;
};

/// The open band, in cycles per metre, in which the transfer function of the shift (x0, y0) over the distance z0 is
/// sampled finely enough by the spectrum of nx by ny samples of pitches px, py on a grid 2^precision times as large
/// (Optics Express 18 (2010) 18453).
struct ShiftedBand
{
    ShiftedBand(double x0, double y0, double z0, double wavelength, std::int32_t nx, std::int32_t ny, double px,
                double py, int precision);
    /// No part of the spectrum of samples of these pitches lies in it.
    bool IsBeside(double px, double py) const;
    /// The indices inside the band of a centred spectrum: a frequency exactly on a bound is removed.
    IndexBox Box(std::int32_t nx, std::int32_t ny, double du, double dv) const;

    double uLow, uHigh, vLow, vHigh;
};
} // namespace LumoraLib::detail

#endif
