// lml propagate and lml advise: a field carried to another plane, and what the adviser says of it.
#include "Grid.h"
#include "Large.h"
#include "Output.h"
#include "Subcommands.h"

#include <LmlAdvice.h>

#include <cmath>
#include <map>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
const std::map<std::string, AdvisedMember> kMethods = {{"raw-asm", ADVISE_RAW_ASM_PROP},
                                                       {"asm", ADVISE_ASM_PROP},
                                                       {"exact-asm", ADVISE_EXACT_ASM_PROP},
                                                       {"shifted-asm", ADVISE_SHIFTED_ASM_PROP},
                                                       {"shifted-fresnel", ADVISE_SHIFTED_FRESNEL_PROP},
                                                       {"fresnel", ADVISE_FRESNEL_PROP},
                                                       {"fourier", ADVISE_FOURIER_PROP}};

struct Options
{
    InputOptions input;
    OutputOptions output;
    double distance = 0.0;
    std::optional<Pair> toPitch;
    std::optional<Whole2> toSize;
    std::optional<Pair> shift;
    std::optional<Pair> tilt;
    std::string method = "auto";
    AdviceOptions advice;
    LargeArguments large;

    void AddTo(CLI::App& app);
};

void Options::AddTo(CLI::App& app)
{
    const std::string group = "Destination";
    AddQuantity(app, "--distance,-d", distance, Kind::Length, "Along the normal of the field; below 0 goes back")
        ->group(group);
    AddPair(app, "--to-pitch", toPitch, Kind::Length, "Pitch there (default: as here)", kPitch)->group(group);
    AddWhole2(app, "--to-size", toSize, "Samples there (default: as here)", {1, 1 << 30})->group(group);
    AddPlacePair(app, "--shift", shift, Kind::Length, "Sideways, along the axes of the field")->group(group);
    AddPlacePair(app, "--tilt", tilt, Kind::Angle, "Turn of the plane about its x, then its y axis", {-1.5707, 1.5707})
        ->group(group);
    const std::string choice = "Choice";
    AddQuantity(app, "--tolerance", advice.tolerance, Kind::Number, "Relative error that a way may have", {1e-4, 0.5})
        ->group(choice);
    AddQuantity(app, "--max-memory", advice.maxBytes, Kind::Bytes, "Working memory that a way may take; 0: any",
                {0, 1e15})
        ->group(choice);
    app.add_flag("--amplitudes-only", advice.amplitudesOnly, "Phases there do not matter")->group(choice);
}

/// The plane and grid that the options ask for.
AdviceGeometry Destination(const Lumora& source, const Options& options)
{
    if (options.distance == 0.0 && !options.toPitch && !options.toSize && !options.shift && !options.tilt)
        throw Misuse("say where to, such as --distance 15cm");
    AdviceGeometry to;
    to.nx = options.toSize ? options.toSize->x : source.GetNx();
    to.ny = options.toSize ? options.toSize->y : source.GetNy();
    to.px = options.toPitch ? options.toPitch->x : source.GetPx();
    to.py = options.toPitch ? options.toPitch->y : source.GetPy();
    const bool oneTransform = options.method == "fresnel" || options.method == "fourier";
    if (oneTransform && !options.toPitch)
    {
        // The pitches that these members give by themselves.
        const double way = source.GetWavelength() * std::fabs(options.distance);
        to.px = way / (source.GetNx() * source.GetPx());
        to.py = source.GetNy() > 1 ? way / (source.GetNy() * source.GetPy()) : source.GetPy();
    }
    const Pair shift = options.shift.value_or(Pair{0.0, 0.0});
    const Pair tilt = options.tilt.value_or(Pair{0.0, 0.0});
    to.origin = source.GetGlobalPosition(Vector(shift.x, shift.y, options.distance));
    // (0, 0, 1) turned about x, then about y, then into the global frame.
    const Vector turned(std::sin(tilt.y) * std::cos(tilt.x), -std::sin(tilt.x), std::cos(tilt.y) * std::cos(tilt.x));
    to.normal = source.GetGlobalPosition(turned) - source.GetOrigin();
    return to;
}

Input LoadSource(const Options& options)
{
    Input input = LoadInput(options.input);
    input.RequireScale();
    if (input.field.IsSpectrum())
        throw Failure(input.path + " is a spectrum: bring it back first with lml convert --domain field");
    return input;
}

void DescribeWay(Facts& row, const AdviceMember& way)
{
    row.Add("name", "way", way.name);
    row.Add("fits", "fits", std::string(way.fits ? "yes" : way.steps.empty() ? "impossible" : "no"));
    if (way.error >= 0.0)
        row.Add("error", "error", way.error, Kind::Share);
    else
        row.Add("error", "error", std::string("-"));
    row.Add("seconds", "time, 1 thread", way.seconds, Kind::Seconds);
    row.Add("bytes", "memory", way.bytes, Kind::Bytes);
    row.Add("borderline", "", way.borderline);
    row.AddList("reasons", "", way.reasons);
    std::vector<std::string> steps;
    for (const AdviceStep& step : way.steps)
        steps.push_back(step.text);
    row.AddList("steps", "", steps);
}

void DescribeFigures(Facts& facts, const AdviceFigures& f)
{
    facts.Add("distance", "", f.distance);
    facts.Add("shift", "", {f.shiftX, f.shiftY}, Kind::Number);
    facts.Add("tilt", "", f.tilt);
    facts.Add("band", "", {f.bandX, f.bandY}, Kind::Number);
    facts.Add("light_x", "", {f.lightLowX, f.lightHighX}, Kind::Number);
    facts.Add("light_y", "", {f.lightLowY, f.lightHighY}, Kind::Number);
    facts.Add("extent_x", "", {f.extentLowX, f.extentHighX}, Kind::Number);
    facts.Add("extent_y", "", {f.extentLowY, f.extentHighY}, Kind::Number);
    facts.Add("evanescent", "", f.evanescent);
    facts.Add("leaves", "", f.leaves);
    facts.Add("cut", "", f.cut);
    facts.Add("wraps", "", f.wraps);
    facts.Add("waves", "", f.waves);
    facts.Add("fresnel_phase", "", f.fresnelPhase);
    facts.Add("rounded_phase", "", f.roundedPhase);
    facts.Add("repetition", "", f.repetition);
}

int AdviseOn(const Options& options, bool json, Facts& facts)
{
    const Input input = LoadSource(options);
    const Advice advice = Advise(input.field, Destination(input.field, options), options.advice);
    facts.Block(ToText(advice));
    if (json)
    {
        const AdviceMember* const taken = advice.Taken();
        facts.Add("fits", "", taken != nullptr);
        facts.Add("taken", "", taken != nullptr ? taken->name : std::string());
        DescribeFigures(facts.Section("figures", ""), advice.figures);
        for (const AdviceMember& way : advice.ways)
            DescribeWay(facts.Row("ways", ""), way);
        facts.AddList("remedies", "", advice.remedies);
    }
    return advice.taken < 0 ? kNo : kDone;
}

/// What of the options an operation from file to file takes; a tilt, and the adviser's choice, are not among them.
LargeDestination LargeDestinationOf(const Options& options)
{
    if (options.tilt)
        throw Misuse("--tilt needs the field in memory: leave out --memory, --scratch and --resume");
    return {options.input.path, options.output.path, options.method, options.distance,
            options.shift,      options.toPitch,     options.toSize, options.output.segments};
}

/// The way to go: the adviser's, or the named member, which is gone against advice too where it can be gone at all.
const AdviceMember* Choose(const Advice& advice, const Options& options)
{
    const AdviceMember* best = nullptr;
    if (options.method == "auto")
    {
        if (advice.taken >= 0 || !options.advice.bestEffort)
            return advice.Taken();
        for (const AdviceMember& way : advice.ways)
            if (!way.steps.empty() && way.error >= 0.0 && (best == nullptr || way.error < best->error))
                best = &way;
        return best;
    }
    const AdvisedMember wanted = kMethods.at(options.method);
    for (const AdviceMember& way : advice.ways)
        if (way.member == wanted && !way.steps.empty() && (best == nullptr || (way.fits && !best->fits)))
            best = &way;
    return best;
}

/// One line: why not, and what to change.
std::string Refusal(const Advice& advice, const Options& options)
{
    std::string text;
    if (options.method == "auto")
        text = "no way is within an error of " + Show(options.advice.tolerance, Kind::Share);
    else
    {
        text = "--method " + options.method + " cannot go there";
        const AdvisedMember wanted = kMethods.at(options.method);
        for (const AdviceMember& way : advice.ways)
            if (way.member == wanted && !way.reasons.empty())
            {
                text += ": " + way.reasons.front();
                break;
            }
        if (advice.Taken() != nullptr)
            return text + " Take --method auto, which goes by " + advice.Taken()->name;
    }
    const AdviceMember* least = nullptr; // what only the memory keeps from being taken
    for (const AdviceMember& way : advice.ways)
        if (way.error >= 0.0 && way.error <= options.advice.tolerance && (least == nullptr || way.bytes < least->bytes))
            least = &way;
    if (options.advice.maxBytes > 0.0 && least != nullptr)
        text += " and of the memory; " + least->name + " would be with --max-memory " +
                std::to_string(static_cast<std::int64_t>(std::ceil(least->bytes / 1048576.0))) + "MiB";
    else if (!advice.remedies.empty())
        text += "; " + advice.remedies.front();
    return text + " (lml advise says more; --best-effort goes all the same)";
}

void Warn(Facts& facts, const Advice& advice, const AdviceMember& way)
{
    const AdviceFigures& f = advice.figures;
    if (!way.fits)
    {
        facts.Note("against the adviser: an error of " + Show(std::max(0.0, way.error), Kind::Share) + " is expected");
        for (const std::string& reason : way.reasons)
            facts.Note(reason);
        for (const std::string& remedy : advice.remedies)
            facts.Note(remedy);
    }
    else if (way.borderline)
        facts.Note("the expected error is near the tolerance and may be above it");
    if (f.leaves > 0.01)
        facts.Note(Show(f.leaves, Kind::Share) + " of the light misses the destination: enlarge it with --to-size or "
                                                 "--to-pitch");
    if (f.evanescent > 0.001)
        facts.Note(Show(f.evanescent, Kind::Share) + " of the energy is evanescent");
}

int Propagate(const Options& options, LargeRanks* ranks, Facts& facts)
{
    FormatOfName(options.output.path);
    if (options.large.IsAsked() || ranks != nullptr)
        return PropagateLarge(options.large, LargeDestinationOf(options), ranks, facts);
    Input input = LoadSource(options);
    input.field.SetWindowMax();
    const AdviceGeometry to = Destination(input.field, options);
    SetProgressTitle("advising");
    const Advice advice = Advise(input.field, to, options.advice);
    const AdviceMember* const way = Choose(advice, options);
    if (way == nullptr)
        throw Refused(Refusal(advice, options));
    SetProgressTitle("");
    CheckForSignal();
    Lumora there(to.nx, to.ny, to.px, to.py, input.field.GetWavelength());
    there.SetWavenumber(input.field.GetWavenumber()); // its very bits
    there.SetOrigin(to.origin).SetNormalVector(to.normal);
    there.Clear();
    FollowAdvice(there, input.field, *way);
    there.SetWindowMax();
    facts.Add("way", "way", way->name);
    std::vector<std::string> steps;
    for (const AdviceStep& step : way->steps)
        steps.push_back(step.text);
    facts.AddList("steps", steps.size() > 1 ? "in steps" : "", steps);
    if (way->error >= 0.0)
        facts.Add("expected_error", "expected error", way->error, Kind::Share);
    Warn(facts, advice, *way);
    SaveOutput(there, options.output, facts);
    AddParameters(facts, there);
    return kDone;
}
} // namespace

void AddPropagate(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub =
        *app.add_subcommand("propagate", "Carry a field to another plane, by the way that the adviser finds");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    options->output.AddTo(sub);
    options->AddTo(sub);
    std::vector<std::string> names{"auto"};
    for (const auto& item : kMethods)
        names.push_back(item.first);
    sub.add_option("--method", options->method, "The adviser's choice, or one member")
        ->check(CLI::IsMember(names))
        ->capture_default_str()
        ->type_name("METHOD")
        ->group("Choice");
    sub.add_flag("--best-effort", options->advice.bestEffort, "Go the best way even where none is good enough")
        ->group("Choice");
    options->large.AddTo(sub);
    sub.footer("Examples:\n  lml propagate slit.lm far.lm --distance 15cm\n  lml propagate slit.lm zoom.lm --distance "
               "15cm --to-pitch 2um --shift 1mm,0");
    invocation.OnCall(sub, [options, &invocation] { return Propagate(*options, invocation.ranks, invocation.facts); });
}

void AddAdvise(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("advise", "Which ways lead to a plane, how good they are, and what to change");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    options->AddTo(sub);
    sub.footer("Examples:\n  lml advise slit.lm --distance 15cm --to-pitch 2um");
    invocation.OnCall(sub, [options, &invocation] { return AdviseOn(*options, invocation.Json(), invocation.facts); });
}
} // namespace command
