// How the adviser writes figures.
#ifndef LML_ADVICETEXT_H
#define LML_ADVICETEXT_H

#include "LmlRuntime.h"

#include <string>

namespace LumoraLib::detail
{
/// A length with three digits and a unit: "0.53 um", "1.2 mm", "0.1 m".
std::string LengthText(double metres);
/// printf into a string, with a decimal point in every locale.
std::string Formatted(const char* format, ...) LML_PRINTF_LIKE(1, 2);
} // namespace LumoraLib::detail

#endif
