// lml points: a cloud of points as a hologram.
#include "Grid.h"
#include "Output.h"
#include "Subcommands.h"

#include <LmlLarge.h>

#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Options
{
    std::string cloud;
    OutputOptions output;
    GridOptions grid;
    CloudLoadOptions load;
    CloudOptions how;
    double unit = 1.0;
    double memory = 0.0;
    double density = 0.0;
    std::string method = "auto";
    std::optional<std::vector<double>> turn;
    std::optional<std::vector<double>> position;
    bool planOnly = false;
};

/// The field, or one of the segments that it is cut into.
Lumora MakeSegment(GridOptions grid, const Whole2& cuts, Facts& facts)
{
    const Whole2 whole = grid.size.value_or(Whole2{1024, 1024});
    if (whole.x % cuts.x != 0 || whole.y % cuts.y != 0)
        throw Misuse("--segments must divide the --size of " + std::to_string(whole.x) + " by " +
                     std::to_string(whole.y));
    grid.size = Whole2{whole.x / cuts.x, whole.y / cuts.y};
    return grid.Make(facts);
}

CloudPlan PlanOf(const Lumora& field, const std::vector<CloudPoint>& points, const Options& options)
{
    try
    {
        return field.PlanPointCloud(points.data(), static_cast<std::int64_t>(points.size()), options.how);
    }
    catch (const LumoraException& failure)
    {
        const std::string text = failure.GetUserMessage();
        if (text.find("in the plane of the field") == std::string::npos)
            throw;
        throw Failure(text + ": move the cloud off it, such as --position 0,0,-10cm, or the field with --origin");
    }
}

void Describe(Facts& facts, const CloudPlan& plan, std::int64_t count)
{
    facts.Add("points", "points", static_cast<double>(count), Kind::Integer);
    facts.Add("points_seen", "whose light reaches the field", static_cast<double>(plan.points), Kind::Integer);
    facts.Add("method", "method",
              std::string(plan.method == CLOUD_SLABS    ? "slabs of depth"
                          : plan.method == CLOUD_DIRECT ? "direct sums"
                                                        : "none, no light reaches the field"));
    if (plan.planes > 0)
        facts.Add("planes", "planes", plan.planes, Kind::Integer);
    facts.Add("working_memory", "working memory", static_cast<double>(plan.memory), Kind::Bytes);
    facts.Add("expected_seconds", "expected time of one core", plan.seconds, Kind::Seconds);
    facts.Add("error_bound", "bound of the error", plan.error, Kind::Share);
    if (plan.points == 0)
        facts.Note(
            "no light reaches the field: the points' angles are beyond what its pitch carries; lessen --pitch, or "
            "move the cloud with --position");
}

/// Segment after segment of a whole that need not fit into memory, each by the rank that is free for it. `field`: one
/// of them, with the origin of the whole.
void AddBySegments(const Lumora& field, const std::vector<CloudPoint>& points, const Options& options,
                   const Whole2& cuts, const char* name, LargeRanks* ranks)
{
    LargeTogether(ranks,
                  [&]
                  {
                      if (ranks == nullptr || ranks->GetRank() == 0)
                          SegmentedField::Create(name, field, static_cast<std::uint16_t>(cuts.x),
                                                 static_cast<std::uint16_t>(cuts.y), field.GetNx(), field.GetNy());
                  });
    LargeOptions how;
    how.missing = MISSING_ZERO;
    how.ranks = ranks;
    LargeAddPointCloud(name, name, points.data(), static_cast<std::int64_t>(points.size()), options.how, how);
}

int Points(Options options, LargeRanks* ranks, Facts& facts)
{
    if (!options.planOnly && options.output.path.empty())
        throw Misuse("say where the hologram is to go, or --plan to see only what it would take");
    if (ranks != nullptr && !options.planOnly && !options.output.segments)
        throw Misuse("several ranks write a file of segments, each into its own: say how many with --segments");
    if (!options.output.path.empty())
    {
        const Format format = FormatOfName(options.output.path);
        if (options.output.segments && format != Format::Lm)
            throw Misuse("--segments is for LM files: name the output .lm");
    }
    options.load.unit = options.unit;
    options.load.density = options.density * 1e6; // points per square millimetre to square metre
    if (options.turn)
        options.load.turn = Vector((*options.turn)[0], (*options.turn)[1], (*options.turn)[2]);
    if (options.position)
        options.load.position = Vector((*options.position)[0], (*options.position)[1], (*options.position)[2]);
    options.how.method = options.method == "slabs"    ? CLOUD_SLABS
                         : options.method == "direct" ? CLOUD_DIRECT
                                                      : CLOUD_AUTOMATIC;
    options.how.memory = static_cast<std::uint64_t>(options.memory);
    const std::vector<CloudPoint> points = LoadPointCloud(options.cloud.c_str(), options.load);
    const Whole2 cuts = options.output.segments.value_or(Whole2{1, 1});
    Lumora field = MakeSegment(options.grid, cuts, facts);
    const auto count = static_cast<std::int64_t>(points.size());
    Describe(facts, PlanOf(field, points, options), count);
    if (options.planOnly)
        return kDone;
    if (options.output.segments)
        SaveBeside(
            options.output.path, [&](const char* name) { AddBySegments(field, points, options, cuts, name, ranks); },
            ranks);
    else
    {
        field.AddPointCloud(points.data(), count, options.how).SetWindowMax();
        SaveOutput(field, options.output, facts);
    }
    AddParameters(facts, field);
    return kDone;
}
} // namespace

void AddPoints(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("points", "The hologram of a cloud of points or a mesh (text, CSV, PLY)");
    const auto options = std::make_shared<Options>();
    sub.add_option("CLOUD", options->cloud, "Points: x y z [amplitude [phase]] a line, or PLY")
        ->required()
        ->type_name("");
    options->output.AddTo(sub, "OUT", false);
    options->grid.AddTo(sub);
    const std::string cloud = "Cloud";
    AddQuantity(sub, "--unit", options->unit, Kind::Length, "What 1 in the file stands for", kPositive)->group(cloud);
    AddQuantity(sub, "--scale", options->load.scale, Kind::Number, "Factor on the size; below 0 mirrors")->group(cloud);
    sub.add_flag("--centre", options->load.centre, "Bring the middle of the cloud to the origin first")->group(cloud);
    AddTriple(sub, "--turn", options->turn, Kind::Angle, "Turns about x, y and z, in this order")->group(cloud);
    AddTriple(sub, "--position", options->position, Kind::Length, "Move, last of all; z below 0 is behind the plane")
        ->group(cloud);
    sub.add_flag("--random-phase", options->load.randomPhase, "Random phases in place of the file's")->group(cloud);
    sub.add_option("--seed", options->load.seed, "Of random phases and of a mesh's points")
        ->capture_default_str()
        ->type_name("N")
        ->group(cloud);
    AddQuantity(sub, "--density", options->density, Kind::Number, "Points per square millimetre on the faces of a mesh",
                {0, 1e9})
        ->group(cloud);
    sub.add_flag("--cull", options->load.cullBackFaces, "Leave out faces that look away from +z")->group(cloud);
    const std::string work = "Work";
    AddQuantity(sub, "--tolerance", options->how.tolerance, Kind::Number, "Relative error of the light", {1e-4, 0.1})
        ->group(work);
    sub.add_option("--method", options->method, "How the light is summed")
        ->check(CLI::IsMember({"auto", "slabs", "direct"}))
        ->capture_default_str()
        ->type_name("METHOD")
        ->group(work);
    AddQuantity(sub, "--memory", options->memory, Kind::Bytes, "Working memory at most; 0: the library's choice",
                {0, 1e15})
        ->group(work);
    sub.add_flag("--plan", options->planOnly, "Say what it would take, and do nothing")->group(work);
    sub.footer("Examples:\n  lml points bunny.ply bunny.lm --unit 1mm --centre --position 0,0,-10cm --density 2000 "
               "--random-phase");
    invocation.OnCall(sub, [options, &invocation] { return Points(*options, invocation.ranks, invocation.facts); });
}
} // namespace command
