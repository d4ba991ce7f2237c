// Factors of a transfer function by rows of a spectrum in transform order, as the fused passes over strips ask for
// them.
#ifndef LML_SPECTRUMFACTORS_H
#define LML_SPECTRUMFACTORS_H

#include "base/Memory.h"
#include "transform/Engine.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace LumoraLib::detail
{
/// The context of EvenFactor().
struct SpectrumFactors
{
    const Transfer& transfer;
    std::int32_t nx, ny;    // of the spectrum
    std::size_t column = 0; ///< of the spectrum that column 0 of the strips is
};

/// The even part, in runs of consecutive signed column indices.
void EvenFactor(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re, float* im);

/// exp(2 pi i shift f) for the frequencies of an axis in transform order: what a shift is in the spectrum. The phase of
/// a shifted propagation is rounded once where the step-by-step form has the sum of all three terms in one.
std::unique_ptr<Complex[], FreeMemory> ShiftTurns(std::int32_t n, double pitch, double shift);
} // namespace LumoraLib::detail

#endif
