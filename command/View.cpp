// lml view: a field, or its spectrum, as a picture to look at.
#include "Files.h"
#include "Style.h"
#include "Subcommands.h"

#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Options
{
    InputOptions input;
    std::string out;
    StyleOptions style;
    bool spectrum = false;
    std::optional<double> rowAt;
    std::optional<double> columnAt;
};

/// Segmented files are shown at the size of the picture, however large they are.
Input LoadForPicture(const Options& options)
{
    if (FormatOfFile(options.input.path) == Format::Lm && !options.input.segment && !options.spectrum &&
        !options.rowAt && !options.columnAt)
    {
        const LmHead head = ReadLmHead(options.input.path);
        if (head.kind == LmKind::Segments)
        {
            Input input;
            input.field = LoadPreview(options.input.path, head,
                                      options.style.style.maxSize == 0 ? 32768 : 2 * options.style.style.maxSize);
            input.path = options.input.path;
            return input;
        }
    }
    return LoadInput(options.input);
}

void SaveProfiles(const Input& input, const Options& options, const PictureStyle& style)
{
    ProfileStyle plot;
    plot.title = style.title;
    plot.yLabel = options.style.quantity;
    plot.yUnit = style.quantity == PICTURE_DECIBEL ? "dB" : style.quantity == PICTURE_PHASE ? "rad" : "";
    if (options.columnAt)
        plot.xLabel = options.rowAt ? "place" : "y";
    if (input.field.IsSpectrum())
    {
        plot.xLabel = "frequency";
        plot.xUnit = "1/m";
    }
    std::vector<ProfileLine> lines;
    const auto add = [&](Axis axis, double at)
    {
        const bool along = axis == X_AXIS;
        const int index = along ? input.field.J(at) : input.field.I(at);
        const int size = along ? input.field.GetNy() : input.field.GetNx();
        if (index < 0 || index >= size)
            throw Misuse((along ? "--row " : "--column ") + Show(at, Kind::Length) + " lies outside the grid");
        lines.push_back(MakeProfileLine(input.field, axis, index, style.quantity,
                                        (along ? "row y = " : "column x = ") + Show(at, Kind::Length)));
    };
    if (options.rowAt)
        add(X_AXIS, *options.rowAt);
    if (options.columnAt)
        add(Y_AXIS, *options.columnAt);
    SaveProfilePlot(options.out, lines, plot);
}

int View(const Options& options, Facts& facts)
{
    Input input = LoadForPicture(options);
    if (options.spectrum && !input.field.IsSpectrum())
        input.field.Fft(-1).SetWindowMax();
    const PictureStyle style = options.style.Style(input.knowsPitch);
    if (style.axes && options.style.degrees && !input.knowsWavelength)
        throw Misuse("--degrees needs the wavelength: give --wavelength");
    if (style.axes && style.frequencies == FREQUENCIES_PER_MM && !input.knowsPitch)
        input.RequireScale(false);
    CheckForSignal();
    if (options.rowAt || options.columnAt)
        SaveProfiles(input, options, style);
    else
        SavePicture(options.out, input.field, style);
    facts.Add("written", "written", options.out);
    if (!options.rowAt && !options.columnAt && style.quantity != PICTURE_COMPLEX)
    {
        const PictureRange range = GetPictureRange(input.field, style);
        facts.Add("range", "values of the colours", {range.low, range.high}, Kind::Number, " to ");
    }
    if (!input.knowsPitch && !options.style.bare)
        facts.Note("no axes: " + input.path + " does not say its pitch; give --pitch");
    return kDone;
}
} // namespace

void AddView(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("view", "A field or its spectrum as a PNG to look at");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    sub.add_option("OUT", options->out, "PNG to write")->required()->type_name("");
    sub.add_flag("--spectrum", options->spectrum, "Show the spectrum of a field");
    AddQuantity(sub, "--row", options->rowAt, Kind::Length, "Plot the profile along x at this y in place of a picture");
    AddQuantity(sub, "--column", options->columnAt, Kind::Length, "Plot the profile along y at this x");
    options->style.AddTo(sub);
    sub.footer("Examples:\n  lml view hologram.lm phase.png --quantity phase\n  lml view hologram.lm spectrum.png "
               "--spectrum --quantity db\n  lml view hologram.lm profile.png --row 0 --quantity intensity");
    invocation.OnCall(sub, [options, &invocation] { return View(*options, invocation.facts); });
}
} // namespace command
