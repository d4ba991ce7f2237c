// Axes: round places for numbers, numbers as text, and units with the prefix that suits a range.
#ifndef LML_PICTURES_AXIS_H
#define LML_PICTURES_AXIS_H

#include <string>
#include <vector>

namespace LumoraLib::pictures
{
struct Tick
{
    double value;
    std::string text;
};

/// Round values between low and high (finite, low < high), at most about `count`, at steps of 1, 2 or 5 times a power
/// of ten.
std::vector<Tick> RoundTicks(double low, double high, double count);

/// Powers of ten between low and high, both above 0, at most about `count`.
std::vector<Tick> PowerTicks(double low, double high, double count);

/// The largest of 1, 2 and 5 times a power of ten that is not above `value` (above 0).
double RoundBelow(double value);

/// A number in few letters, with a true minus sign.
std::string Number(double value, int decimals);
/// The same with as many digits as it needs, at most four.
std::string ShortNumber(double value);

/// A unit with its prefix: values are divided by `factor` before they are shown.
struct Unit
{
    double factor;
    std::string text;
};

/// "m" and "s" with the prefix that suits values up to `largest`; any other unit as it is.
Unit ScaledUnit(const std::string& unit, double largest);
} // namespace LumoraLib::pictures

#endif
