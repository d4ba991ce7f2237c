// Propagation of segmented files that do not fit into memory: lml propagate --memory.
#include "Large.h"
#include "Output.h"

#include <LmlLarge.h>

#include <cmath>

namespace command
{
using namespace LumoraLib;

namespace
{
using ByDistance = LargeReport (*)(const char*, const char*, double, const LargeOptions&);

/// Members that go along the normal and keep the grid, or set it themselves.
ByDistance AlongTheNormal(const std::string& method)
{
    if (method == "raw-asm")
        return LargeRawAsmProp;
    if (method == "asm")
        return LargeAsmProp;
    if (method == "exact-asm")
        return LargeExactAsmProp;
    return method == "fresnel" ? LargeFresnelProp : nullptr;
}

/// What a rank has on average.
double MeanOf(LargeRanks& ranks, std::uint64_t own)
{
    double sum = 0.0;
    for (int n = 0; n < ranks.GetSize(); ++n)
    {
        std::uint64_t value = own;
        ranks.Broadcast(&value, sizeof value, n);
        sum += static_cast<double>(value);
    }
    return sum / ranks.GetSize();
}

void AddRanks(LargeRanks* ranks, const LargeReport& report, Facts& facts)
{
    if (ranks == nullptr)
        return;
    const double all = ranks->GetSize();
    facts.Add("ranks", "ranks", all, Kind::Integer);
    facts.Add("bytes_sent", "sent by a rank", MeanOf(*ranks, report.bytesSent), Kind::Bytes);
    facts.Add("bytes_model", "and by the model", 2.0 * static_cast<double>(report.kept) * (all - 1.0) / all / all,
              Kind::Bytes);
}

/// The file whose place, pitches and sizes the shifted members go to.
void CreateDestination(const SegmentedField& source, const LargeDestination& there, const char* name)
{
    const Whole2 cuts = there.segments.value_or(Whole2{source.GetSegmentsX(), source.GetSegmentsY()});
    const std::int64_t nx = there.size ? there.size->x : source.GetNx();
    const std::int64_t ny = there.size ? there.size->y : source.GetNy();
    if (nx % cuts.x != 0 || ny % cuts.y != 0)
        throw Misuse("the segments do not divide the destination's " + std::to_string(nx) + " by " +
                     std::to_string(ny) + " samples: choose --segments");
    Lumora like(1, 1, there.pitch ? there.pitch->x : source.GetPx(), there.pitch ? there.pitch->y : source.GetPy(),
                source.GetWavelength());
    like.SetOrigin(source.GetOrigin()).SetNormalVector(source.GetNormalVector());
    const Pair aside = there.shift.value_or(Pair{0.0, 0.0});
    like.SetOrigin(like.GetGlobalPosition(Vector(aside.x, aside.y, there.distance)));
    SegmentedField::Create(name, like, static_cast<std::uint16_t>(cuts.x), static_cast<std::uint16_t>(cuts.y),
                           static_cast<std::int32_t>(nx / cuts.x), static_cast<std::int32_t>(ny / cuts.y));
}
} // namespace

void LargeArguments::AddTo(CLI::App& app)
{
    const std::string group = "Large fields (segmented files, one named --method)";
    AddQuantity(app, "--memory", memory, Kind::Bytes, "From file to file with so much working memory", {0, 1e15})
        ->group(group);
    app.add_option("--scratch", scratch, "Folder of the scratch file (default: that of OUT)")
        ->type_name("FOLDER")
        ->group(group);
    app.add_flag("--resume", resume, "Keep a journal, and go on where an earlier call was killed")->group(group);
    app.add_flag("--missing-zero", zeros, "Segments that were never written count as zeros")->group(group);
}

int PropagateLarge(const LargeArguments& arguments, const LargeDestination& there, LargeRanks* ranks, Facts& facts)
{
    if (FormatOfFile(there.from) != Format::Lm || ReadLmHead(there.from).kind != LmKind::Segments ||
        FormatOfName(there.to) != Format::Lm)
        throw Misuse(
            (ranks != nullptr ? std::string("several ranks") : std::string("--memory, --scratch and --resume")) +
            " carry one segmented LM file to another; lml convert --segments "
            "makes one");
    LargeOptions options;
    options.memory = static_cast<std::uint64_t>(arguments.memory.value_or(0.0));
    options.scratch = arguments.scratch.empty() ? nullptr : arguments.scratch.c_str();
    options.resume = arguments.resume;
    options.missing = arguments.zeros ? MISSING_ZERO : MISSING_REFUSED;
    options.ranks = ranks;
    const bool shifted = there.method == "shifted-asm" || there.method == "shifted-fresnel";
    const ByDistance along = AlongTheNormal(there.method);
    if (along == nullptr && !shifted)
        throw Misuse("the adviser judges fields in memory: name the way with --method, one of raw-asm, asm, exact-asm, "
                     "fresnel, shifted-asm or shifted-fresnel");
    LargeReport report;
    if (along != nullptr)
    {
        if (there.shift || there.pitch || there.size || there.segments)
            throw Misuse("--method " + there.method +
                         " keeps grid and segments: --shift, --to-pitch, --to-size and "
                         "--segments need shifted-asm or shifted-fresnel");
        report = along(there.from.c_str(), there.to.c_str(), there.distance, options);
    }
    else
    {
        const auto carry = [&](const char* name)
        {
            LargeTogether(ranks,
                          [&]
                          {
                              if (ranks == nullptr || ranks->GetRank() == 0)
                                  CreateDestination(SegmentedField(there.from.c_str(), SEGMENTED_READ, options.missing),
                                                    there, name);
                          });
            report = there.method == "shifted-asm"
                         ? LargeShiftedAsmProp(there.from.c_str(), name, 1, options)
                         : LargeShiftedFresnelProp(there.from.c_str(), name, there.distance < 0.0, options);
        };
        // A journal is found again by the destination's own name only.
        if (arguments.resume)
            carry(there.to.c_str());
        else
            SaveBeside(there.to, carry, ranks);
    }
    facts.Add("way", "way", there.method);
    facts.Add("written", "written", there.to);
    facts.Add("in_memory", "all of it in memory", report.inMemory);
    facts.Add("memory", "memory for buffers", static_cast<double>(report.memory), Kind::Bytes);
    facts.Add("scratch", "scratch file", static_cast<double>(report.scratch), Kind::Bytes);
    facts.Add("bytes_read", "read", static_cast<double>(report.bytesRead), Kind::Bytes);
    facts.Add("bytes_written", "written to disk", static_cast<double>(report.bytesWritten), Kind::Bytes);
    if (report.resumed > 0)
        facts.Add("resumed", "bands that an earlier call had done", static_cast<double>(report.resumed), Kind::Integer);
    AddRanks(ranks, report, facts);
    return kDone;
}
} // namespace command
