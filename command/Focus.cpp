// lml focus: the distance at which a hologram is sharp.
#include "Grid.h"
#include "Output.h"
#include "Style.h"
#include "Subcommands.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Measure
{
    const char* name;
    FocusMeasure measure;
};
constexpr Measure kMeasures[] = {{"variance", FOCUS_VARIANCE},           {"gradient", FOCUS_GRADIENT},
                                 {"laplacian", FOCUS_LAPLACIAN},         {"tamura", FOCUS_TAMURA},
                                 {"edge-sparsity", FOCUS_EDGE_SPARSITY}, {"amplitude", FOCUS_AMPLITUDE}};

struct Options
{
    InputOptions input;
    double from = 0.0;
    double to = 0.0;
    int steps = 41;
    std::vector<std::string> measures = {"gradient"};
    bool smallest = false;
    bool exact = false;
    std::optional<std::vector<double>> window;
    std::string best;
    std::string plot;
    std::string stack;
};

/// Where the curve is largest: the top of the parabola through the largest value and its neighbours.
double Peak(const std::vector<double>& at, const std::vector<double>& value, std::size_t best)
{
    if (best == 0 || best + 1 >= value.size())
        return at[best];
    const double left = value[best - 1];
    const double right = value[best + 1];
    const double bend = left - 2.0 * value[best] + right;
    return bend == 0.0 ? at[best] : at[best] + (at[1] - at[0]) * 0.5 * (left - right) / bend;
}

struct Curve
{
    const Measure* measure;
    std::vector<double> values;
    std::size_t best = 0;
    double distance = 0.0;
};

std::vector<Curve> ChosenCurves(const std::vector<std::string>& names)
{
    std::vector<Curve> curves;
    for (const std::string& name : names)
        for (const Measure& measure : kMeasures)
            if (name == measure.name || name == "all")
                curves.push_back({&measure, {}, 0, 0.0});
    return curves;
}

std::string StackName(const std::string& pattern, std::size_t index)
{
    const std::string number = std::to_string(index + 1000).substr(1);
    const std::size_t dot = pattern.rfind('.');
    const std::size_t cut = dot == std::string::npos ? pattern.size() : dot;
    return pattern.substr(0, cut) + number + pattern.substr(cut);
}

void Measured(std::vector<Curve>& curves, const Lumora& field, const std::vector<double>& distances,
              const Options& options)
{
    const StackPlane each = [&](const Lumora& plane, std::size_t index)
    {
        for (Curve& curve : curves)
            curve.values.push_back(plane.GetFocusMeasure(curve.measure->measure));
        if (!options.stack.empty())
        {
            PictureStyle style;
            style.title = Show(distances[index], Kind::Length);
            style.window = true;
            SavePicture(StackName(options.stack, index), plane, style);
        }
        return true;
    };
    field.PropagateStack(distances.data(), distances.size(), each, options.exact ? STACK_EXACT_ASM : STACK_ASM);
    for (Curve& curve : curves)
    {
        std::vector<double> wanted = curve.values;
        if (options.smallest)
            for (double& value : wanted)
                value = -value;
        curve.best = static_cast<std::size_t>(std::max_element(wanted.begin(), wanted.end()) - wanted.begin());
        curve.distance = Peak(distances, wanted, curve.best);
    }
}

void Describe(Facts& facts, const std::vector<Curve>& curves, const std::vector<double>& distances)
{
    facts.Add("distance", "sharpest at", curves.front().distance, Kind::Length);
    for (const Curve& curve : curves)
    {
        Facts& row = facts.Row("measures", curves.size() > 1 ? "by measure" : "");
        row.Add("measure", "measure", std::string(curve.measure->name));
        row.Add("distance", "sharpest at", curve.distance, Kind::Length);
        row.Add("value", "largest value", curve.values[curve.best]);
        if (curve.best == 0 || curve.best + 1 == distances.size())
            facts.Note(std::string(curve.measure->name) + " is best at the end of the range, " +
                       Show(distances[curve.best], Kind::Length) + ": widen --from and --to");
    }
    for (std::size_t n = 0; n < distances.size(); ++n)
    {
        Facts& row = facts.Row("curve", "curve");
        row.Add("distance", "distance", distances[n], Kind::Length);
        for (const Curve& curve : curves)
            row.Add(curve.measure->name, curve.measure->name, curve.values[n]);
    }
}

void SavePlot(const std::string& path, const std::vector<Curve>& curves, const std::vector<double>& distances)
{
    std::vector<ProfileLine> lines;
    for (const Curve& curve : curves)
    {
        // Each measure has its own scale; what matters is where it is largest.
        const double top = *std::max_element(curve.values.begin(), curve.values.end());
        std::vector<double> values = curve.values;
        for (double& value : values)
            value /= top > 0.0 ? top : 1.0;
        ProfileLine line;
        line.name = curve.measure->name;
        line.x = distances;
        line.y = values;
        lines.push_back(line);
    }
    ProfileStyle style;
    style.xLabel = "distance";
    style.yLabel = "sharpness, largest = 1";
    SaveProfilePlot(path, lines, style);
}

int Focus(const Options& options, Facts& facts)
{
    if (options.from == options.to)
        throw Misuse("--from and --to must differ");
    if (!options.best.empty())
        FormatOfName(options.best);
    Input input = LoadInput(options.input);
    input.RequireScale();
    SetWindow(input.field, options.window);
    std::vector<double> distances;
    for (int n = 0; n < options.steps; ++n)
        distances.push_back(options.from + (options.to - options.from) * n / (options.steps - 1));
    std::vector<Curve> curves = ChosenCurves(options.measures);
    Measured(curves, input.field, distances, options);
    Describe(facts, curves, distances);
    if (!options.plot.empty())
    {
        SavePlot(options.plot, curves, distances);
        facts.Add("plot", "plot", options.plot);
    }
    if (!options.best.empty())
    {
        OutputOptions output;
        output.path = options.best;
        const double distance = curves.front().distance;
        input.field.SetWindowMax();
        if (options.exact)
            input.field.ExactAsmProp(distance);
        else
            input.field.AsmProp(distance);
        SaveOutput(input.field, output, facts);
    }
    return kDone;
}
} // namespace

void AddFocus(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("focus", "The distance at which a hologram is sharp");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    AddQuantity(sub, "--from", options->from, Kind::Length, "First distance")->required()->default_str("");
    AddQuantity(sub, "--to", options->to, Kind::Length, "Last distance")->required()->default_str("");
    sub.add_option("--steps", options->steps, "Distances, the ends among them")
        ->check(CLI::Range(3, 100000))
        ->capture_default_str()
        ->type_name("N");
    std::vector<std::string> names{"all"};
    for (const Measure& measure : kMeasures)
        names.emplace_back(measure.name);
    sub.add_option("--measure", options->measures,
                   "How sharpness is measured, several by commas; the first one decides")
        ->delimiter(',')
        ->check(CLI::IsMember(names))
        ->default_str("gradient")
        ->type_name("MEASURE");
    sub.add_flag("--smallest", options->smallest, "Look for the smallest value (phase objects by amplitude)");
    sub.add_flag("--exact", options->exact,
                 "ExactAsmProp in place of AsmProp: nothing wraps around, four times the work");
    AddWindow(sub, options->window);
    sub.add_option("--best", options->best, "Save the field at the best distance, by extension")->type_name("FILE");
    sub.add_option("--plot", options->plot, "Save the curves as a PNG")->type_name("FILE");
    sub.add_option("--stack", options->stack, "Save every plane as a PNG: stack.png becomes stack000.png ...")
        ->type_name("FILE");
    sub.footer("Examples:\n  lml focus hologram.lm --from 5cm --to 25cm --steps 81 --measure gradient,variance --plot "
               "curve.png");
    invocation.OnCall(sub, [options, &invocation] { return Focus(*options, invocation.facts); });
}
} // namespace command
