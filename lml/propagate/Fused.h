// The fused propagations of the wide engine: the same results as the step-by-step forms up to the rounding of the
// transforms, in fewer sweeps over memory and without quadrant exchanges.
#ifndef LML_FUSED_H
#define LML_FUSED_H

#include "LmlLumora.h"

#include <cstdint>

// All memory is taken before the first sample changes: a failure (ERR_MEMORY) leaves them as they were.
namespace LumoraLib::detail
{
/// Whether an operation on this field takes the fused form: the wide engine is bound, the grid has both axes, and the
/// samples are the field's own where the step-by-step form would have to enlarge the buffer.
bool CanFuse(const Lumora& field);
bool CanFuseEnlarged(const Lumora& field);
/// The same for chirp transforms of nx by ny samples, which need transforms of twice the length.
bool CanFuseChirp(std::int32_t nx, std::int32_t ny);

/// The samples of a real-space field after propagation by the angular spectrum over d, with or without the band limit,
/// scaled; `enlarge` is 1 or 2 (the field in the centre of a grid twice the size). Polar samples are converted and come
/// back polar. Touches nothing but samples, and those only once all memory is taken. Let S exchange quadrants, F
/// transform: S F' S H S F S = F' (S H) F, since a half shift is a sign pattern in the other domain and commutes with
/// the diagonal H. So there is no exchange at all: rows forward; column by column forward, times H in transform order,
/// inverse; rows inverse. Memory: per-thread scratch, and for the enlarged grid two fields.
void FusedAsm(Lumora& field, double d, bool bandLimit, std::int32_t enlarge);

/// One shifted propagation, as ShiftedAsmProp has it, from `source`, samples of a grid of the field's size (its own or
/// another's), to those of the field. Bounds in cycles per metre, open; pitches of the enlarged spectrum.
struct ShiftedTransfer
{
    double x0, y0, z0;
    double uLow, uHigh, vLow, vHigh;
    double du, dv;
    double inverseSquare; // 1 / lambda^2
};
void FusedShiftedAsm(Lumora& field, const Complex* source, const ShiftedTransfer& transfer, std::int32_t enlarge);

/// Phases of one axis of a chirp transform beside the chirp itself: theta(i) = quadratic i^2 + linear i + constant
/// would not keep the stated order of operations, so the values come from functions of the index.
struct AxisPhase
{
    double (*phase)(const void* context, std::int32_t index) = nullptr; // null: no phase
    const void* context = nullptr;
};

/// data(k, l) := c * exp(i (postX(k) + postY(l))) * sum over i, j of data(i, j) exp(i (preX(i) + preY(j)))
/// exp(-2 pi i (a k i + b l j)), by a row pass and a column pass of one-dimensional chirp convolutions in place.
/// (cRe, cIm) is the complex constant c. Memory: tables per axis and per-thread scratch. With a `source` apart from
/// data, its nx by ny samples are the ones transformed.
void FusedChirp(Complex* data, std::int32_t nx, std::int32_t ny, double a, double b, AxisPhase preX, AxisPhase preY,
                AxisPhase postX, AxisPhase postY, double cRe, double cIm, const Complex* source = nullptr);

/// Whether the samples of a descriptor's doubled grid are still the transform of the chirp kernel of a and b, to about
/// 1e-5: only then do the parameters stand for the samples. For grids that CanFuseChirp takes (half the size). One sweep
/// over the samples.
bool IsChirpKernel(const Lumora& kernel, double a, double b);
} // namespace LumoraLib::detail

#endif
