// Propagation of segmented files that do not fit into memory: lml propagate --memory.
#ifndef LMLCOMMAND_LARGE_H
#define LMLCOMMAND_LARGE_H

#include "Facts.h"

#include <LmlLarge.h>

#include <optional>
#include <string>

namespace command
{
/// Options that ask for an operation from file to file.
struct LargeArguments
{
    std::optional<double> memory;
    std::string scratch;
    bool resume = false;
    bool zeros = false;

    void AddTo(CLI::App& app);
    bool IsAsked() const { return memory || !scratch.empty() || resume; }
};

struct LargeDestination
{
    std::string from;
    std::string to;
    std::string method;
    double distance;
    std::optional<Pair> shift;
    std::optional<Pair> pitch;
    std::optional<Whole2> size;
    std::optional<Whole2> segments;
};

/// Carries a segmented file to another one by the named member, in several ranks where there are some. Returns the exit
/// code.
int PropagateLarge(const LargeArguments& arguments, const LargeDestination& destination, LumoraLib::LargeRanks* ranks,
                   Facts& facts);
} // namespace command

#endif
