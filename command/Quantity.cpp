// Numbers with units: what stands in arguments, and how results are shown.
#include "Quantity.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace command
{
namespace
{
constexpr double kDegree = 3.14159265358979323846 / 180.0;

struct Unit
{
    Kind kind;
    std::string_view name;
    double factor;
};
constexpr Unit kUnits[] = {
    {Kind::Length, "m", 1.0},         {Kind::Length, "km", 1e3},
    {Kind::Length, "cm", 1e-2},       {Kind::Length, "mm", 1e-3},
    {Kind::Length, "um", 1e-6},       {Kind::Length, "\u00b5m", 1e-6},
    {Kind::Length, "\u03bcm", 1e-6},  {Kind::Length, "nm", 1e-9},
    {Kind::Length, "pm", 1e-12},      {Kind::Angle, "deg", kDegree},
    {Kind::Angle, "\u00b0", kDegree}, {Kind::Angle, "rad", 1.0},
    {Kind::Angle, "mrad", 1e-3},      {Kind::Bytes, "B", 1.0},
    {Kind::Bytes, "K", 1024.0},       {Kind::Bytes, "KiB", 1024.0},
    {Kind::Bytes, "M", 1048576.0},    {Kind::Bytes, "MiB", 1048576.0},
    {Kind::Bytes, "G", 1073741824.0}, {Kind::Bytes, "GiB", 1073741824.0},
};

/// What an argument of a kind is called, and what is said where something else stands.
struct Argument
{
    Kind kind;
    const char* word;
    const char* expected;
};
constexpr Argument kArguments[] = {
    {Kind::Length, "LENGTH", "a length such as 8um, 0.5mm or 15cm"},
    {Kind::Angle, "ANGLE", "an angle such as 0.3deg or 5mrad"},
    {Kind::Bytes, "BYTES", "an amount of memory such as 512MiB"},
    {Kind::Integer, "N", "a whole number"},
};

Argument ArgumentOf(Kind kind)
{
    for (const Argument& argument : kArguments)
        if (argument.kind == kind)
            return argument;
    return {kind, "NUMBER", "a number"};
}

std::string Number(double value, int digits = 6)
{
    // The shortest of six digits, whatever the locale.
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value + 0.0, std::chars_format::general, digits).ptr;
    return std::string(text.data(), end);
}

/// Measured and predicted things deserve no more than four digits, lengths are shown as they were given.
constexpr int kFew = 4;

std::string Scaled(double value, double factor, const char* unit, int digits = 6)
{
    return Number(value / factor, digits) + " " + unit;
}

std::string ShowLength(double value)
{
    const double size = std::fabs(value);
    if (size == 0.0)
        return "0";
    struct Step
    {
        double from;
        double factor;
        const char* unit;
    };
    constexpr Step kSteps[] = {{0.9999995e3, 1e3, "km"},   {0.9999995, 1.0, "m"},      {0.9999995e-2, 1e-2, "cm"},
                               {0.9999995e-3, 1e-3, "mm"}, {0.9999995e-6, 1e-6, "um"}, {0.9999995e-9, 1e-9, "nm"}};
    for (const Step& step : kSteps)
        if (size >= step.from)
            return Scaled(value, step.factor, step.unit);
    return Scaled(value, 1e-12, "pm");
}

std::string ShowBytes(double value)
{
    if (value < 1024.0)
        return Scaled(value, 1.0, "B");
    if (value < 1048576.0)
        return Scaled(value, 1024.0, "KiB", kFew);
    return value < 1073741824.0 ? Scaled(value, 1048576.0, "MiB", kFew) : Scaled(value, 1073741824.0, "GiB", kFew);
}

std::string ShowSeconds(double value)
{
    if (value < 1e-3)
        return Scaled(value, 1e-6, "us", kFew);
    return value < 1.0 ? Scaled(value, 1e-3, "ms", kFew) : Scaled(value, 1.0, "s", kFew);
}
} // namespace

double ParseQuantity(const std::string& name, const std::string& text, Kind kind, Range range)
{
    const char* begin = text.data();
    const char* const end = begin + text.size();
    if (begin != end && *begin == '+')
        ++begin;
    double value = 0.0;
    const auto [rest, fault] = std::from_chars(begin, end, value);
    if (fault != std::errc{} || !std::isfinite(value))
        throw CLI::ValidationError(name, "\"" + text + "\" is not " + ArgumentOf(kind).expected);
    std::string_view unit(rest, static_cast<std::size_t>(end - rest));
    while (!unit.empty() && unit.front() == ' ')
        unit.remove_prefix(1);
    if (unit.empty() && kind == Kind::Angle && value != 0.0)
        throw CLI::ValidationError(name, "\"" + text + "\" lacks its unit: write " + text + "deg or " + text + "rad");
    bool known = unit.empty();
    for (const Unit& candidate : kUnits)
        if (candidate.kind == kind && candidate.name == unit)
        {
            value *= candidate.factor;
            known = true;
        }
    if (!known || (kind == Kind::Integer && value != std::floor(value)))
        throw CLI::ValidationError(name, "\"" + text + "\" is not " + ArgumentOf(kind).expected);
    if (value < range.low || value > range.high)
    {
        std::string told = range.low == kPositive.low
                               ? "must be above 0"
                               : "must be between " + Show(range.low, kind) + " and " + Show(range.high, kind);
        if (unit.empty() && kind == Kind::Length)
            told += " (a number without a unit counts as metres: " + text + "nm? " + text + "um?)";
        throw CLI::ValidationError(name, "\"" + text + "\" " + told);
    }
    return value;
}

std::vector<double> ParseQuantities(const std::string& name, const std::string& text, Kind kind, std::size_t count,
                                    Range range)
{
    const bool byX = kind == Kind::Integer && text.find(',') == std::string::npos;
    std::vector<double> values;
    for (std::size_t at = 0; at <= text.size();)
    {
        const std::size_t next = std::min(text.find(byX ? 'x' : ',', at), text.size());
        values.push_back(ParseQuantity(name, text.substr(at, next - at), kind, range));
        at = next + 1;
    }
    if (values.size() == 1)
        values.resize(count, values.front());
    if (values.size() != count)
        throw CLI::ValidationError(name, "\"" + text + "\" has " + std::to_string(values.size()) + " values, not " +
                                             std::to_string(count));
    return values;
}

std::string Show(double value, Kind kind)
{
    if (!std::isfinite(value))
        return std::isnan(value) ? "not a number" : value > 0.0 ? "infinite" : "-infinite";
    switch (kind)
    {
    case Kind::Length:
        return ShowLength(value);
    case Kind::Angle:
        return Scaled(value, kDegree, "deg");
    case Kind::Bytes:
        return ShowBytes(value);
    case Kind::Frequency:
        return Scaled(value, 1e3, "/mm", kFew);
    case Kind::Seconds:
        return ShowSeconds(value);
    case Kind::Decibel:
        return Scaled(value, 1.0, "dB", kFew);
    case Kind::Share:
        return Scaled(value, 1e-2, "%", kFew);
    case Kind::Integer:
        return std::to_string(static_cast<std::int64_t>(value));
    default:
        return Number(value);
    }
}

const char* WordOf(Kind kind)
{
    return ArgumentOf(kind).word;
}

namespace
{
/// An option that take(text) reads.
template <class Take>
CLI::Option* AddRead(CLI::App& app, const std::string& name, const std::string& help, const std::string& word,
                     const Take& take)
{
    return app.add_option_function<std::string>(name, take, help)->type_name(word);
}

Pair ParsePair(const std::string& name, const std::string& text, Kind kind, Range range)
{
    const std::vector<double> both = ParseQuantities(name, text, kind, 2, range);
    return {both[0], both[1]};
}
} // namespace

CLI::Option* AddQuantity(CLI::App& app, const std::string& name, double& value, Kind kind, const std::string& help,
                         Range range)
{
    std::string shown = Show(value, kind);
    std::erase(shown, ' ');
    return AddRead(app, name, help, WordOf(kind),
                   [&value, name, kind, range](const std::string& text)
                   { value = ParseQuantity(name, text, kind, range); })
        ->default_str(shown);
}

CLI::Option* AddQuantity(CLI::App& app, const std::string& name, std::optional<double>& value, Kind kind,
                         const std::string& help, Range range)
{
    return AddRead(app, name, help, WordOf(kind),
                   [&value, name, kind, range](const std::string& text)
                   { value = ParseQuantity(name, text, kind, range); });
}

CLI::Option* AddPair(CLI::App& app, const std::string& name, std::optional<Pair>& value, Kind kind,
                     const std::string& help, Range range)
{
    const std::string word = WordOf(kind);
    return AddRead(app, name, help, word + "[," + word + "]",
                   [&value, name, kind, range](const std::string& text)
                   { value = ParsePair(name, text, kind, range); });
}

CLI::Option* AddPlacePair(CLI::App& app, const std::string& name, std::optional<Pair>& value, Kind kind,
                          const std::string& help, Range range)
{
    const std::string word = WordOf(kind);
    return AddRead(app, name, help, word + "," + word,
                   [&value, name, kind, range](const std::string& text)
                   {
                       if (text.find(',') == std::string::npos)
                           throw CLI::ValidationError(name, "\"" + text + "\" must be two values, x,y: " + text + ",0");
                       value = ParsePair(name, text, kind, range);
                   });
}

CLI::Option* AddWhole2(CLI::App& app, const std::string& name, std::optional<Whole2>& value, const std::string& help,
                       Range range)
{
    return AddRead(app, name, help, "N[xN]",
                   [&value, name, range](const std::string& text)
                   {
                       const Pair both = ParsePair(name, text, Kind::Integer, range);
                       value = Whole2{static_cast<std::int32_t>(both.x), static_cast<std::int32_t>(both.y)};
                   });
}
} // namespace command
