// The private parts of a field, for the library's free functions.
#ifndef LML_FIELDACCESS_H
#define LML_FIELDACCESS_H

#include "LmlLumora.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// The bits of a form.
inline constexpr std::int32_t kSpectrumBit = 1;
inline constexpr std::int32_t kPolarBit = 2;

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
    static void SetPolar(Lumora& field, bool polar)
    {
        SetForm(field, polar ? field.form_ | kPolarBit : field.form_ & ~kPolarBit);
    }
    /// From real space to the spectrum or back.
    static void SwitchDomain(Lumora& field) { SetForm(field, field.form_ ^ kSpectrumBit); }
    /// A normal that has been normalised before, to the bit.
    static void SetUnitNormal(Lumora& field, const Vector& normal) { field.normalVector_ = normal; }
    static void AddToOrigin(Lumora& field, double factor)
    {
        field.origin_.x += factor * field.normalVector_.x;
        field.origin_.y += factor * field.normalVector_.y;
        field.origin_.z += factor * field.normalVector_.z;
    }
};
} // namespace LumoraLib::detail

#endif
