// What the units of the field class share beyond its interface: access to the buffer for free kernels, and the form
// conversions as loops over samples.
#ifndef LML_FIELDTOOLS_H
#define LML_FIELDTOOLS_H

#include "LmlLumora.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace LumoraLib::detail
{
/// The one door to the private parts of a field for the library's free functions.
struct FieldAccess
{
    /// Error code 6 with the operation's name when the grid announces more samples than the buffer holds.
    static void RequireSamples(const Lumora& field, const char* function) { field.RequireSamples(function); }
    /// False for a field on a caller's buffer, which cannot grow.
    static bool OwnsSamples(const Lumora& field) { return field.userBufferLength_ == 0; }
    static std::size_t Capacity(const Lumora& field) { return field.capacity_; }
    static ComplexForm Form(const Lumora& field) { return field.form_; }
    static const LML_RECT& Window(const Lumora& field) { return field.window_; }
    /// The part of the window inside the grid.
    static LML_RECT GridWindow(const Lumora& field) { return field.GridWindow(); }
    static void SetForm(Lumora& field, std::int32_t form) { field.form_ = static_cast<ComplexForm>(form); }
    static void AddToOrigin(Lumora& field, double factor)
    {
        field.origin_.x += factor * field.normalVector_.x;
        field.origin_.y += factor * field.normalVector_.y;
        field.origin_.z += factor * field.normalVector_.z;
    }
};

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
/// The way back for an operation that gives fields back in the form they came in: converts when `wasPolar` and bit 1 is
/// clear.
void RestorePolar(Lumora& field, bool wasPolar);
/// Multiplies both members of all samples by `factor` in single precision; a parallel flat loop.
void ScaleSamples(Complex* samples, std::size_t count, float factor);
/// All samples := value; a parallel flat loop.
void FillSamples(Complex* samples, std::size_t count, Complex value);
} // namespace LumoraLib::detail

#endif
