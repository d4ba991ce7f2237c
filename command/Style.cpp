// The look of pictures as options, shared by the subcommands that make them.
#include "Style.h"

#include <map>

namespace command
{
using namespace LumoraLib;

namespace
{
const std::map<std::string, PictureQuantity> kQuantities = {
    {"amplitude", PICTURE_AMPLITUDE}, {"intensity", PICTURE_INTENSITY}, {"db", PICTURE_DECIBEL},
    {"phase", PICTURE_PHASE},         {"real", PICTURE_REAL},           {"imaginary", PICTURE_IMAGINARY},
    {"complex", PICTURE_COMPLEX}};
const std::map<std::string, PictureColours> kColours = {
    {"auto", COLOURS_AUTOMATIC}, {"grey", COLOURS_GREY}, {"ember", COLOURS_EMBER},     {"lagoon", COLOURS_LAGOON},
    {"cycle", COLOURS_CYCLE},    {"hue", COLOURS_HUE},   {"balance", COLOURS_BALANCE}, {"rainbow", COLOURS_RAINBOW}};

template <class Map>
CLI::Validator OneOf(const Map& map)
{
    std::vector<std::string> names;
    for (const auto& item : map)
        names.push_back(item.first);
    return CLI::IsMember(names);
}
} // namespace

void StyleOptions::AddTo(CLI::App& app)
{
    const std::string group = "Look";
    app.add_option("--quantity", quantity, "What is shown")
        ->check(OneOf(kQuantities))
        ->capture_default_str()
        ->type_name("QUANTITY")
        ->group(group);
    app.add_option("--colours", colours, "Colour map")
        ->check(OneOf(kColours))
        ->capture_default_str()
        ->type_name("MAP")
        ->group(group);
    AddPair(app, "--range", range, Kind::Number, "Values of the first and the last colour (default: from the field)")
        ->group(group);
    AddQuantity(app, "--clip", style.clip, Kind::Number, "Percentage of the pixels below the last colour", {1, 100})
        ->group(group);
    AddQuantity(app, "--gamma", style.gamma, Kind::Number, "Above 1 lifts dark parts", {0.1, 10})->group(group);
    AddQuantity(app, "--decibels", style.decibels, Kind::Number, "Range of db below the brightest", {1, 300})
        ->group(group);
    app.add_option("--title", style.title, "A line above the picture")->type_name("TEXT")->group(group);
    app.add_flag("--bare", bare, "The field alone, without axes and colour bar")->group(group);
    app.add_flag("--scale-bar", style.scaleBar, "A bar of a round length inside the picture")->group(group);
    app.add_flag("--degrees", degrees, "Axes of a spectrum in degrees in place of cycles/mm")->group(group);
    app.add_option("--max-size", style.maxSize, "Longest side in pixels; larger fields are averaged; 0: all samples")
        ->check(CLI::Range(0, 32768))
        ->capture_default_str()
        ->type_name("N")
        ->group(group);
}

PictureStyle StyleOptions::Style(bool knowsPitch) const
{
    PictureStyle made = style;
    made.quantity = kQuantities.at(quantity);
    made.colours = kColours.at(colours);
    if (range)
    {
        made.low = range->x;
        made.high = range->y;
    }
    made.frequencies = degrees ? FREQUENCIES_DEGREES : FREQUENCIES_PER_MM;
    made.axes = !bare && knowsPitch;
    made.colourBar = !bare;
    made.scaleBar = style.scaleBar && knowsPitch;
    made.window = true;
    if (made.maxSize == 0)
        made.maxSize = 32768;
    else if (made.maxSize < made.minSize)
        made.minSize = made.maxSize;
    return made;
}
} // namespace command
