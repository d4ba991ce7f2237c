// Factors of a transfer function by rows of a spectrum in transform order, as the fused passes over strips ask for
// them.
#include "transform/SpectrumFactors.h"

#include "base/Constants.h"
#include "base/IntMath.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cstdlib>

namespace LumoraLib::detail
{
namespace
{
std::int32_t Signed(std::size_t index, std::int32_t n)
{
    return SignedIndex(static_cast<std::int32_t>(index), n);
}
} // namespace

void EvenFactor(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re, float* im)
{
    const SpectrumFactors& f = *static_cast<const SpectrumFactors*>(context);
    const PhaseForm form = f.transfer.EvenRow(std::abs(Signed(row, f.ny)) * f.transfer.dv);
    const std::size_t half = static_cast<std::size_t>(f.nx / 2);
    std::size_t done = 0;
    while (done < count)
    {
        const std::size_t at = f.column + column + done;
        const std::size_t end = std::min(f.column + column + count, at < half ? half : static_cast<std::size_t>(f.nx));
        const std::size_t run = std::max<std::size_t>(end - at, 1);
        Phases().unitSplit(form, Signed(at, f.nx), run, re + done, im + done);
        done += run;
    }
}

std::unique_ptr<Complex[], FreeMemory> ShiftTurns(std::int32_t n, double pitch, double shift)
{
    const std::size_t count = static_cast<std::size_t>(n), room = (count + 63) / 64 * 64;
    const auto phases = MallocArray<double>(count, "phase tables");
    auto turns = MallocArray<Complex>(room, "phase tables");
    std::fill(turns.get() + count, turns.get() + room, Complex());
    for (std::size_t i = 0; i < count; ++i)
        phases[i] = kTwoPi * (shift * (Signed(i, n) * pitch));
    Phases().unit(PhaseForm::Given(phases.get()), 0, count, reinterpret_cast<float*>(turns.get()), nullptr);
    return turns;
}
} // namespace LumoraLib::detail
