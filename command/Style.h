// The look of pictures as options, shared by the subcommands that make them.
#ifndef LMLCOMMAND_STYLE_H
#define LMLCOMMAND_STYLE_H

#include "Quantity.h"

#include <LmlPictures.h>

namespace command
{
struct StyleOptions
{
    std::string quantity = "amplitude";
    std::string colours = "auto";
    std::optional<Pair> range;
    LumoraLib::PictureStyle style;
    bool degrees = false;
    bool bare = false;

    void AddTo(CLI::App& app);
    /// `knowsPitch`: without it axes and scale bar would tell lengths that nobody said.
    LumoraLib::PictureStyle Style(bool knowsPitch) const;
};
} // namespace command

#endif
