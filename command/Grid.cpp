// The grid of a field that is made: sizes, pitches, wavelength and place as options.
#include "Grid.h"
#include "Invocation.h"

namespace command
{
using namespace LumoraLib;

void GridOptions::AddTo(CLI::App& app)
{
    const std::string group = "Grid";
    AddWhole2(app, "--size", size, "Samples, raised to powers of two (default 1024x1024)", {1, 1 << 30})->group(group);
    AddPair(app, "--pitch", pitch, Kind::Length, "Pitch of the samples, one or x,y (default 8um)", kPitch)
        ->group(group);
    AddQuantity(app, "--wavelength", wavelength, Kind::Length, "Wavelength", kWavelength)->group(group);
    AddTriple(app, "--origin", origin, Kind::Length, "Place of the centre (default 0,0,0)")->group(group);
}

Lumora GridOptions::Make(Facts& facts) const
{
    const Whole2 samples = size.value_or(Whole2{1024, 1024});
    const Pair pitches = pitch.value_or(Pair{8e-6, 8e-6});
    Lumora field(samples.x, samples.y, pitches.x, pitches.y, wavelength);
    if (field.GetNx() != samples.x || field.GetNy() != samples.y)
        facts.Note("the sizes were raised to powers of two: " + std::to_string(field.GetNx()) + " by " +
                   std::to_string(field.GetNy()) + " samples");
    if (origin)
        field.SetOrigin(Vector((*origin)[0], (*origin)[1], (*origin)[2]));
    return field.Clear();
}

CLI::Option* AddTriple(CLI::App& app, const std::string& name, std::optional<std::vector<double>>& value, Kind kind,
                       const std::string& help)
{
    const std::string word = WordOf(kind);
    return app
        .add_option_function<std::string>(
            name,
            [&value, name, kind](const std::string& text)
            {
                if (text.find(',') == std::string::npos)
                    throw CLI::ValidationError(name, "\"" + text + "\" must be three values, x,y,z");
                value = ParseQuantities(name, text, kind, 3);
            },
            help)
        ->type_name(word + "," + word + "," + word);
}

CLI::Option* AddWindow(CLI::App& app, std::optional<std::vector<double>>& value)
{
    return app
        .add_option_function<std::string>(
            "--window",
            [&value](const std::string& text)
            {
                if (text.find(',') == std::string::npos)
                    throw CLI::ValidationError("--window", "\"" + text + "\" must be left,right,bottom,top");
                value = ParseQuantities("--window", text, Kind::Length, 4);
            },
            "Only this part of the field: left,right,bottom,top")
        ->type_name("LENGTH,...");
}

void SetWindow(Lumora& field, const std::optional<std::vector<double>>& window)
{
    if (!window)
        return;
    const std::vector<double>& w = *window;
    if (!(w[0] < w[1] && w[2] < w[3]))
        throw Misuse("--window: left must be below right, and bottom below top");
    if (w[0] < field.GetMinX() || w[1] > field.GetMaxX() || w[2] < field.GetMinY() || w[3] > field.GetMaxY())
        throw Misuse("--window reaches beyond the field, which runs from " + Show(field.GetMinX(), Kind::Length) +
                     " to " + Show(field.GetMaxX(), Kind::Length) + " and " + Show(field.GetMinY(), Kind::Length) +
                     " to " + Show(field.GetMaxY(), Kind::Length));
    field.SetWindow(w[0], w[1], w[2], w[3]);
}
} // namespace command
