// Axes: round places for numbers, numbers as text, units with prefixes.

#include "pictures/Axis.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace LumoraLib::pictures
{
namespace
{
constexpr char kMinus[] = "\xE2\x88\x92";

std::string WithTrueMinus(const char* text)
{
    std::string result;
    for (; *text != '\0'; ++text)
        if (*text == '-')
            result += kMinus;
        else if (*text == ',') // the process's locale may have a decimal comma
            result += '.';
        else
            result += *text;
    return result;
}
} // namespace

double RoundBelow(double value)
{
    const double power = std::pow(10.0, std::floor(std::log10(value) + 1e-9));
    const double lead = value / power * (1.0 + 1e-9);
    return power * (lead >= 5.0 ? 5.0 : lead >= 2.0 ? 2.0 : 1.0);
}

std::vector<Tick> RoundTicks(double low, double high, double count)
{
    double step = RoundBelow((high - low) / std::max(count, 2.0));
    while ((high - low) / step > std::max(count, 2.0))
    {
        const double lead = step / std::pow(10.0, std::floor(std::log10(step) + 1e-9));
        step *= lead > 1.5 && lead < 3.0 ? 2.5 : 2.0; // 1 2 5 10
    }
    const double exponent = std::floor(std::log10(step) + 1e-9);
    const int decimals = exponent < 0.0 ? static_cast<int>(std::min(-exponent, 12.0)) : 0;
    std::vector<Tick> ticks;
    const double first = std::ceil(low / step - 1e-6);
    for (double n = first; n * step <= high + 1e-6 * step && ticks.size() < 64; n += 1.0)
    {
        const double value = n * step;
        const bool plain = std::max(std::fabs(low), std::fabs(high)) < 1e6 && decimals <= 5;
        ticks.push_back({value, plain ? Number(value, decimals) : ShortNumber(value)});
    }
    return ticks;
}

std::vector<Tick> PowerTicks(double low, double high, double count)
{
    const double first = std::ceil(std::log10(low) - 1e-9);
    const double last = std::floor(std::log10(high) + 1e-9);
    const double step = std::max(1.0, std::ceil((last - first) / std::max(count, 2.0)));
    std::vector<Tick> ticks;
    for (double n = first; n <= last && ticks.size() < 64; n += step)
        ticks.push_back({std::pow(10.0, n), ShortNumber(std::pow(10.0, n))});
    return ticks;
}

std::string Number(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value + 0.0);
    const bool isZero = std::string(text).find_first_of("123456789") == std::string::npos;
    return WithTrueMinus(isZero && text[0] == '-' ? text + 1 : text);
}

std::string ShortNumber(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.4g", value);
    std::string number = text;
    // 1e-06 -> 1e-6, 1e+06 -> 1e6
    const std::size_t e = number.find('e');
    if (e != std::string::npos)
    {
        const bool negative = number[e + 1] == '-';
        std::size_t digits = e + 2;
        while (digits + 1 < number.size() && number[digits] == '0')
            ++digits;
        number = number.substr(0, e + 1) + (negative ? "-" : "") + number.substr(digits);
    }
    return WithTrueMinus(number.c_str());
}

Unit ScaledUnit(const std::string& unit, double largest)
{
    struct Prefix
    {
        double factor;
        const char* text;
    };
    constexpr Prefix kPrefixes[] = {{1e3, "k"},  {1.0, ""},    {1e-3, "m"}, {1e-6, "\xC2\xB5"},
                                    {1e-9, "n"}, {1e-12, "p"}, {1e-15, "f"}};
    if ((unit != "m" && unit != "s") || !(largest > 0.0))
        return {1.0, unit};
    // Half a millimetre is still told in millimetres: 0.5 reads as well as 500.
    for (const Prefix& p : kPrefixes)
        if (largest >= 0.5 * p.factor)
            return {p.factor, p.text + unit};
    return {1e-15, "f" + unit};
}
} // namespace LumoraLib::pictures
