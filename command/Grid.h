// The grid of a field that is made: sizes, pitches, wavelength and place as options.
#ifndef LMLCOMMAND_GRID_H
#define LMLCOMMAND_GRID_H

#include "Facts.h"

#include <LmlLumora.h>

namespace command
{
struct GridOptions
{
    std::optional<Whole2> size;
    std::optional<Pair> pitch;
    double wavelength = 532e-9;
    std::optional<std::vector<double>> origin;

    void AddTo(CLI::App& app);
    /// A field of zeros; a remark in `facts` when sizes were raised to powers of two.
    LumoraLib::Lumora Make(Facts& facts) const;
};

/// An option of three values.
CLI::Option* AddTriple(CLI::App& app, const std::string& name, std::optional<std::vector<double>>& value, Kind kind,
                       const std::string& help);
/// A window in metres as an option: left, right, bottom, top.
CLI::Option* AddWindow(CLI::App& app, std::optional<std::vector<double>>& value);
void SetWindow(LumoraLib::Lumora& field, const std::optional<std::vector<double>>& window);
} // namespace command

#endif
