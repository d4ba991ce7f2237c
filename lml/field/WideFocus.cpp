// Loops of the measures of focus in wide form: builds the room once per instruction set.
#include "field/WideFocus.h"

#include "base/Isa.h"

#include <cstring>

#define LML_WIDE_FILE "field/WideFocus-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::FocusTable& LumoraLib::detail::WideFocus() noexcept
{
    return PickIsa(sse2::focusTable, avx2::focusTable, avx512::focusTable);
}
