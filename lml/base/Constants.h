// Pi, as every unit writes it.
#ifndef LML_CONSTANTS_H
#define LML_CONSTANTS_H

namespace LumoraLib::detail
{
inline constexpr double kPi = 3.141592653589793;
inline constexpr double kTwoPi = 6.283185307179586;
} // namespace LumoraLib::detail

#endif
