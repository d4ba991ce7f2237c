// lml info: what a file holds.
#include "Files.h"
#include "Statistics.h"
#include "Subcommands.h"

#include <filesystem>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Options
{
    InputOptions input;
    bool statistics = false;
};

void DescribeParts(Facts& facts, const std::string& path, const LmHead& head)
{
    for (int n = 0; n < head.parts; ++n)
    {
        Lumora part(1, 1);
        bool exists = false;
        part.LoadParamMpLm(path.c_str(), static_cast<std::uint16_t>(n), &exists);
        Facts& row = facts.Row("part_list", "");
        row.Add("part", "part", n, Kind::Integer);
        row.Add("written", "written", exists);
        if (!exists)
            continue;
        row.Add("samples", "samples", {static_cast<double>(part.GetNx()), static_cast<double>(part.GetNy())},
                Kind::Integer);
        row.Add("pitch", "pitch", {part.GetPx(), part.GetPy()}, part.IsSpectrum() ? Kind::Frequency : Kind::Length);
        row.Add("wavelength", "wavelength", part.GetWavelength(), Kind::Length);
        row.Add("z", "z", part.GetOrigin().z, Kind::Length);
    }
}

/// Files whose heads can be read alone are not loaded, however large their samples are.
void DescribeContainer(const Options& options, Facts& facts)
{
    const std::string& path = options.input.path;
    const LmHead head = ReadLmHead(path);
    if (head.kind == LmKind::Parts && !options.input.part)
    {
        facts.Add("parts", "parts", head.parts, Kind::Integer);
        return DescribeParts(facts, path, head);
    }
    if (head.kind == LmKind::Segments && !options.input.segment)
    {
        facts.Add("segments", "segments", {static_cast<double>(head.segmentsX), static_cast<double>(head.segmentsY)},
                  Kind::Integer);
        facts.Add("segment_samples", "samples of one",
                  {static_cast<double>(head.parameters.GetNx()), static_cast<double>(head.parameters.GetNy())},
                  Kind::Integer);
        facts.Add("segments_missing", "never written", head.missing, Kind::Integer);
        Lumora whole(1, 1); // a copy would bring the samples that the head announces
        whole.CopyParam(head.parameters);
        whole.SetNx(static_cast<std::int32_t>(head.WholeX())).SetNy(static_cast<std::int32_t>(head.WholeY()));
        AddParameters(facts, whole);
        facts.Add("sample_bytes", "memory as a field",
                  8.0 * static_cast<double>(head.WholeX()) * static_cast<double>(head.WholeY()), Kind::Bytes);
        if (options.statistics)
        {
            StatisticsOf(path, head).Describe(facts, whole);
        }
        return;
    }
    if (head.kind == LmKind::Single && !options.statistics)
    {
        AddParameters(facts, head.parameters);
        facts.Add("sample_bytes", "memory as a field",
                  8.0 * head.parameters.GetNx() * static_cast<double>(head.parameters.GetNy()), Kind::Bytes);
        return;
    }
    const Input input = LoadInput(options.input);
    AddParameters(facts, input.field);
    if (options.statistics)
        StatisticsOf(input.field).Describe(facts, input.field);
}

int Info(const Options& options, Facts& facts)
{
    const std::string& path = options.input.path;
    const Format format = FormatOfFile(path);
    facts.Add("file", "file", path);
    facts.Add("format", "format", std::string(NameOf(format)));
    facts.Add("file_bytes", "size on disk", static_cast<double>(std::filesystem::file_size(path)), Kind::Bytes);
    if (format == Format::Lm)
    {
        DescribeContainer(options, facts);
        return kDone;
    }
    const Input input = LoadInput(options.input);
    const LML_RECT w = const_cast<Lumora&>(input.field).Window();
    if (format != Format::De && (w.right - w.left != input.field.GetNx() || w.top - w.bottom != input.field.GetNy()))
        facts.Add("stored_samples", "stored",
                  {static_cast<double>(w.right - w.left), static_cast<double>(w.top - w.bottom)}, Kind::Integer);
    AddParameters(facts, input.field, input.knowsPitch, input.knowsWavelength);
    if (options.statistics)
        StatisticsOf(input.field).Describe(facts, input.field);
    return kDone;
}
} // namespace

void AddInfo(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("info", "Sizes, pitches, wavelength, place, form and segments of a file");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    sub.add_flag("--statistics,-s", options->statistics,
                 "Read the samples too: energy, largest amplitude, centroid, widths");
    sub.footer("Examples:\n  lml info hologram.lm --statistics");
    invocation.OnCall(sub, [options, &invocation] { return Info(*options, invocation.facts); });
}
} // namespace command
