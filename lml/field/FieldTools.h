// What the units of the field class share beyond its interface: changes of size, and the form conversions as loops over
// samples.
#ifndef LML_FIELDTOOLS_H
#define LML_FIELDTOOLS_H

#include "LmlLumora.h"
#include "base/FieldAccess.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace LumoraLib::detail
{
/// What Init names itself in a failure, and what it says of a caller's buffer.
inline constexpr char kFnInit[] = "LumoraLib::Lumora::Init";
inline constexpr char kTextBufferTooSmall[] = "User-Defined buffer is too small";

/// Reports, as Init does, that there is no memory for so many bytes of samples.
[[noreturn]] void NoSamples(std::uint64_t bytes);
/// Runs change(), and puts the field back as it was when that fails. For operations that cannot take all their memory
/// first; costs a copy of the field.
template <class Change>
void OrRestore(Lumora& field, const Change& change)
{
    Lumora before(field);
    try
    {
        change();
    }
    catch (...)
    {
        field = std::move(before); // needs no memory
        throw;
    }
}

/// Applies new sizes through Init(nullptr). When that fails the sizes are those of before, so that a refused request
/// changes nothing; sizes beyond 32 bits are refused as sizes without memory.
void Resize(Lumora& field, std::int64_t nx, std::int64_t ny);
/// Reports, as Init does, that a field on a caller's buffer has no room for nx by ny samples; nothing where it has, or
/// where the samples are the field's own.
void RequireRoom(const Lumora& field, std::int32_t nx, std::int32_t ny);
/// Fills `count` samples at `target` from the `available` ones at `source`; what the source does not have becomes zero.
void CopySamples(Complex* target, std::size_t count, const Complex* source, std::size_t available);
/// All samples to polar, (float) sqrt(x x + y y) and (float) atan2(y, x) on the widened members; a parallel flat loop.
void SamplesToPolar(Complex* samples, std::size_t count);
/// All samples to cartesian, (float) (A cos phi) and (float) (A sin phi); a parallel flat loop.
void SamplesToCartesian(Complex* samples, std::size_t count);

/// Adds to the window's four bounds, wrapping around.
void ShiftWindow(LML_RECT& window, std::int32_t dx, std::int32_t dy);

/// Converts to cartesian samples when bit 1 of the form is set and clears it; tells whether it did.
bool MakeCartesian(Lumora& field);
/// Converts to polar samples when bit 1 of the form is clear and sets it.
void MakePolar(Lumora& field);
/// The way back for an operation that gives fields back in the form they came in.
inline void RestorePolar(Lumora& field, bool wasPolar)
{
    if (wasPolar)
        MakePolar(field);
}
/// Cartesian samples for as long as an operation computes with them: converts those of a polar field, and back at the
/// end of the scope, also where it ends in a failure. The field's form stays what it is.
class CartesianSamples
{
public:
    explicit CartesianSamples(Lumora& field) : CartesianSamples(field, field.IsPolarForm()) {}
    CartesianSamples(Lumora& field, bool polar) : field_(field), polar_(polar)
    {
        if (polar_)
            SamplesToCartesian(field_.GetDataPointer(), field_.N());
    }
    ~CartesianSamples()
    {
        if (polar_)
            SamplesToPolar(field_.GetDataPointer(), field_.N());
    }
    CartesianSamples(const CartesianSamples&) = delete;
    CartesianSamples& operator=(const CartesianSamples&) = delete;

private:
    Lumora& field_;
    bool polar_;
};
/// Multiplies both members of all samples by `factor` in single precision; a parallel flat loop.
void ScaleSamples(Complex* samples, std::size_t count, float factor);
/// Complex product in single precision, sample by sample, on the calling thread.
void MultiplySamples(Complex* a, const Complex* b, std::size_t count);
/// All samples := value; a parallel flat loop.
void FillSamples(Complex* samples, std::size_t count, Complex value);
} // namespace LumoraLib::detail

#endif
