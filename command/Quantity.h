// Numbers with units: what stands in arguments, and how results are shown.
//
// Inside the program everything is in SI units: metres, radians, seconds, bytes.
#ifndef LMLCOMMAND_QUANTITY_H
#define LMLCOMMAND_QUANTITY_H

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace command
{
enum class Kind
{
    Number,    // no unit
    Integer,   // no unit, whole
    Length,    // metres: km m cm mm um nm pm; a bare number counts as metres
    Angle,     // radians: deg rad mrad; only 0 may go without a unit
    Bytes,     // bytes: B KiB MiB GiB, K M G
    Frequency, // cycles per metre, shown as cycles per millimetre; results only
    Seconds,   // results only
    Decibel,   // results only
    Share      // 0 to 1, shown in percent; results only
};

/// What an argument may be. A number outside says so, with the range in the argument's own unit.
struct Range
{
    double low;
    double high;
};
inline constexpr Range kAny{-1e300, 1e300};
inline constexpr Range kPositive{1e-300, 1e300};
inline constexpr Range kWavelength{1e-12, 1.0}; // "532" without a unit is a mistake
inline constexpr Range kPitch{1e-12, 1.0};

/// Reads a quantity; a text that is none ends in CLI::ValidationError under `name`.
double ParseQuantity(const std::string& name, const std::string& text, Kind kind, Range range = kAny);

/// Reads values separated by commas or, for whole numbers, an x ("1024x512"). One value stands for all `count`.
std::vector<double> ParseQuantities(const std::string& name, const std::string& text, Kind kind, std::size_t count,
                                    Range range = kAny);

/// The value in a unit that suits it: "532 nm", "15 cm", "0.3 deg", "128 MiB". ASCII, as arguments take it.
std::string Show(double value, Kind kind);

struct Pair
{
    double x;
    double y;
};
struct Whole2
{
    std::int32_t x;
    std::int32_t y;
};

/// Options that hold quantities. The value stays as it is when the option is not given.
CLI::Option* AddQuantity(CLI::App& app, const std::string& name, double& value, Kind kind, const std::string& help,
                         Range range = kAny);
CLI::Option* AddQuantity(CLI::App& app, const std::string& name, std::optional<double>& value, Kind kind,
                         const std::string& help, Range range = kAny);
CLI::Option* AddPair(CLI::App& app, const std::string& name, std::optional<Pair>& value, Kind kind,
                     const std::string& help, Range range = kAny);
/// A pair of which one value does not stand for both.
CLI::Option* AddPlacePair(CLI::App& app, const std::string& name, std::optional<Pair>& value, Kind kind,
                          const std::string& help, Range range = kAny);
CLI::Option* AddWhole2(CLI::App& app, const std::string& name, std::optional<Whole2>& value, const std::string& help,
                       Range range);

/// The word for a kind in help texts: LENGTH, ANGLE ...
const char* WordOf(Kind kind);
} // namespace command

#endif
