// lml report: a field as one page that needs nothing beside it: pictures, profiles, histograms, parameters, advice.
#include "Chart.h"
#include "Output.h"
#include "ReportPage.h"
#include "Statistics.h"
#include "Subcommands.h"
#include "Viewer.h"

#include <LmlAdvice.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <numeric>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Options
{
    InputOptions input;
    std::string out;
    std::vector<std::string> distances;
    std::string title;
    int maxSize = 1024;
};

/// Below this share of the largest amplitude phases are noise.
constexpr double kDark = 0.01;

struct Shown
{
    Input input;
    Facts statistics;
    bool preview = false;
};

/// A segmented file is shown from a preview; its sums are those of all samples.
Shown Load(const Options& options)
{
    Shown shown;
    const std::string& path = options.input.path;
    if (FormatOfFile(path) == Format::Lm && !options.input.segment)
    {
        const LmHead head = ReadLmHead(path);
        if (head.kind == LmKind::Segments)
        {
            shown.preview = std::max(head.WholeX(), head.WholeY()) > options.maxSize;
            shown.input.path = path;
            shown.input.field = LoadPreview(path, head, options.maxSize);
            StatisticsOf(path, head).Describe(shown.statistics, head.parameters);
            return shown;
        }
    }
    shown.input = LoadInput(options.input);
    StatisticsOf(shown.input.field).Describe(shown.statistics, shown.input.field);
    return shown;
}

Viewer MakeViewer(const Shown& shown, const Options& options)
{
    constexpr Tab kField[] = {{"amplitude", "Amplitude", PICTURE_AMPLITUDE, false},
                              {"intensity", "Intensity (dB)", PICTURE_DECIBEL, false},
                              {"phase", "Phase", PICTURE_PHASE, false},
                              {"complex", "Complex", PICTURE_COMPLEX, false}};
    Viewer viewer;
    int number = 0;
    for (const Tab& tab : kField)
        AddTab(viewer, tab, number++, shown.input.field, options.maxSize, shown.input.knowsPitch);
    // Of a spectrum the field is the other domain; a preview has lost its own spectrum.
    if (!shown.preview)
    {
        Lumora other(shown.input.field);
        const bool back = other.IsSpectrum();
        other.Fft(back ? 1 : -1).SetWindowMax();
        other /= std::sqrt(static_cast<double>(other.N()));
        AddTab(viewer, {"spectrum", back ? "Field (dB)" : "Spectrum (dB)", PICTURE_DECIBEL, true}, number, other,
               options.maxSize, shown.input.knowsPitch);
    }
    return viewer;
}

std::string Profiles(const Input& input)
{
    const Lumora& field = input.field;
    const double unit = !input.knowsPitch ? field.GetPx() : field.IsSpectrum() ? 1e3 : 1e-3;
    const double largest = field.GetAmplitudeMax();
    std::string out;
    for (const PictureQuantity quantity : {PICTURE_AMPLITUDE, PICTURE_PHASE})
    {
        const bool phase = quantity == PICTURE_PHASE;
        Chart chart;
        chart.title = phase ? "Phase through the centre, where there is light" : "Amplitude through the centre";
        chart.xLabel = !input.knowsPitch ? "samples" : field.IsSpectrum() ? "cycles/mm" : "mm";
        chart.yLabel = phase ? "phase / rad" : "amplitude";
        if (phase)
        {
            chart.yLow = -3.2;
            chart.yHigh = 3.2;
        }
        for (const Axis axis : {X_AXIS, Y_AXIS})
        {
            const bool along = axis == X_AXIS;
            if ((along ? field.GetNx() : field.GetNy()) < 2)
                continue;
            ProfileLine line = MakeProfileLine(field, axis, (along ? field.GetNy() : field.GetNx()) / 2, quantity);
            for (double& x : line.x)
                x /= unit;
            if (phase) // where there is no light to speak of it is noise
                for (std::size_t n = 0; n < line.y.size(); ++n)
                {
                    const auto i = static_cast<int>(n);
                    const double amplitude =
                        along ? field.GetAmplitude(i, field.GetNy() / 2) : field.GetAmplitude(field.GetNx() / 2, i);
                    if (!(amplitude > kDark * largest))
                        line.y[n] = std::nan("");
                }
            chart.lines.push_back({along ? "along x" : "along y", line.x, line.y});
        }
        out += Svg(chart);
    }
    return out;
}

std::string Histograms(const Lumora& field)
{
    constexpr int kBins = 64;
    constexpr double kPi = 3.141592653589793;
    Lumora copy(field);
    const LML_RECT w = copy.Window();
    const double most = std::max(field.GetAmplitudeMax(), 1e-300);
    ChartLine amplitude{"", {}, std::vector<double>(kBins, 0.0)};
    ChartLine phase{"", {}, std::vector<double>(kBins, 0.0)};
    for (int n = 0; n < kBins; ++n)
    {
        amplitude.x.push_back(most * n / kBins);
        phase.x.push_back(kPi * (2.0 * n / kBins - 1.0));
    }
    for (std::int32_t j = w.bottom; j < w.top; ++j)
        for (std::int32_t i = w.left; i < w.right; ++i)
        {
            const double re = field.GetReal(i, j);
            const double im = field.GetImag(i, j);
            const double a = std::hypot(re, im);
            if (!std::isfinite(a))
                continue;
            const auto bin = [](double share)
            {
                return static_cast<std::size_t>(std::clamp(share, 0.0, kBins - 1.0));
            };
            amplitude.y[bin(a / most * kBins)] += 1.0;
            if (a > kDark * most)
                phase.y[bin((std::atan2(im, re) / kPi + 1.0) * 0.5 * kBins)] += 1.0;
        }
    for (ChartLine* const line : {&amplitude, &phase})
    {
        const double all = std::accumulate(line->y.begin(), line->y.end(), 0.0);
        for (double& y : line->y)
            y *= 100.0 / std::max(all, 1.0);
    }
    Chart chart;
    chart.bars = true;
    chart.title = "Histogram of amplitudes";
    chart.xLabel = "amplitude";
    chart.yLabel = "% of samples";
    chart.logarithmic = true;
    chart.lines = {amplitude};
    std::string out = Svg(chart);
    chart.title = "Histogram of phases, where there is light";
    chart.xLabel = "phase / rad";
    chart.logarithmic = false;
    chart.lines = {phase};
    return out + Svg(chart);
}

std::vector<double> Distances(const Options& options, const Lumora& field)
{
    std::vector<double> distances;
    for (const std::string& text : options.distances)
        distances.push_back(ParseQuantity("--distance", text, Kind::Length));
    if (distances.empty())
    {
        // About the distance at which light of the whole band has crossed the grid, N p^2 / lambda, to two digits.
        const double middle = field.GetNx() * field.GetPx() * field.GetPx() / field.GetWavelength();
        for (const double factor : {0.1, 0.5, 1.0, 2.0, 10.0})
        {
            const double step = std::pow(10.0, std::floor(std::log10(middle * factor)) - 1.0);
            distances.push_back(std::round(middle * factor / step) * step);
        }
    }
    return distances;
}

std::string BandRemarks(const AdviceFigures& f)
{
    const auto side = [](const char* axis, double low, double high, double band)
    {
        const double reach = std::max(std::fabs(low), std::fabs(high));
        return std::string("<li>Along ") + axis + " 99.9 % of the energy lies between " + Show(low, Kind::Frequency) +
               " and " + Show(high, Kind::Frequency) + ": " + Show(std::min(1.0, reach / band), Kind::Share) +
               " of the band that the pitch carries" +
               (reach / band > 0.95 ? ". <strong>The light fills its band: a finer pitch may be needed</strong>" : "") +
               ".</li>\n";
    };
    std::string out = side("x", f.lightLowX, f.lightHighX, f.bandX) + side("y", f.lightLowY, f.lightHighY, f.bandY);
    if (f.evanescent > 0.001)
        out += "<li>" + Show(f.evanescent, Kind::Share) + " of the energy is evanescent.</li>\n";
    return "<ul class=\"remarks\">\n" + out + "</ul>\n";
}

std::string Remarks(const Shown& shown, const Options& options)
{
    const Input& input = shown.input;
    if (shown.preview)
        return "<p>The file is segmented and larger than the pictures: they are made from averages, and the adviser, "
               "who "
               "looks at samples, was not asked.</p>\n";
    if (input.field.IsSpectrum())
        return "<p>The adviser judges fields, and this is a spectrum.</p>\n";
    if (!input.knowsPitch || !input.knowsWavelength)
        return "<p>The adviser needs pitch and wavelength, which the file does not say: give --pitch and "
               "--wavelength.</p>\n";
    std::string rows;
    std::string remarks;
    AdviceGeometry to;
    to.nx = input.field.GetNx();
    to.ny = input.field.GetNy();
    to.px = input.field.GetPx();
    to.py = input.field.GetPy();
    to.normal = input.field.GetNormalVector();
    const std::vector<double> distances = Distances(options, input.field);
    for (std::size_t n = 0; n < distances.size(); ++n)
    {
        CheckForSignal();
        SetProgressTitle("advice " + std::to_string(n + 1) + " of " + std::to_string(distances.size()));
        to.origin = input.field.GetGlobalPosition(Vector(0.0, 0.0, distances[n]));
        const Advice advice = Advise(input.field, to);
        if (remarks.empty())
            remarks = BandRemarks(advice.figures);
        const AdviceMember* const way = advice.Taken();
        rows += std::string(way == nullptr ? "<tr class=\"no\">" : "<tr>") + "<td>" + Show(distances[n], Kind::Length) +
                "</td><td>" + (way == nullptr ? "none" : Escaped(way->name)) + "</td><td>" +
                (way == nullptr || way->error < 0.0 ? "" : Show(way->error, Kind::Share)) + "</td><td>" +
                Show(advice.figures.leaves, Kind::Share) + "</td><td>" +
                (advice.remedies.empty() ? "" : Escaped(advice.remedies.front())) + "</td></tr>\n";
    }
    SetProgressTitle("");
    return remarks +
           "<div class=\"scroll\"><table><thead><tr><th>distance</th><th>way to the same grid</th><th>error"
           "</th><th>light that misses it</th><th>what to change</th></tr></thead>\n<tbody>\n" +
           rows + "</tbody></table></div>\n";
}

std::string Table(const Facts& facts)
{
    std::string out = "<table><tbody>\n";
    for (const auto& [label, value] : facts.Lines())
        out += "<tr><th scope=\"row\">" + Escaped(label) + "</th><td>" + Escaped(value) + "</td></tr>\n";
    return out + "</tbody></table>\n";
}

std::string Page(const Shown& shown, const Options& options)
{
    const Lumora& field = shown.input.field;
    const std::string name =
        options.title.empty() ? std::filesystem::path(options.input.path).filename().string() : options.title;
    Facts parameters;
    AddParameters(parameters, field, shown.input.knowsPitch, shown.input.knowsWavelength);
    const Viewer viewer = MakeViewer(shown, options);
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<link rel=\"icon\" href=\"data:,\">\n<title>" +
                       Escaped(name) + "</title>\n<style>" + kReportStyle + "</style>\n</head>\n<body>\n";
    page += "<header><h1>" + Escaped(name) + "</h1>\n<p>" + std::to_string(field.GetNx()) + " by " +
            std::to_string(field.GetNy()) + " samples" +
            (shown.input.knowsPitch && !field.IsSpectrum()
                 ? ", " + Show(field.GetWidth(), Kind::Length) + " by " + Show(field.GetHeight(), Kind::Length)
                 : "") +
            (shown.input.knowsWavelength ? ", " + Show(field.GetWavelength(), Kind::Length) : "") +
            (shown.preview ? ", preview of a segmented file" : "") + "</p></header>\n<main>\n";
    page +=
        "<section class=\"card\"><div class=\"tabs\" role=\"tablist\">\n" + viewer.tabs +
        "<span class=\"spacer\"></span><button id=\"in\" title=\"nearer (+)\">+</button>"
        "<button id=\"out\" title=\"farther (-)\">&minus;</button>"
        "<button id=\"all\" title=\"all of it (0)\">all</button></div>\n<div class=\"stage\">\n" +
        viewer.images + "</div>\n<div class=\"under\">" + viewer.bars +
        "<span id=\"place\"></span></div>\n<div class=\"under\">wheel: zoom, drag: move, double click: all, keys: 1 "
        "to 5, + &minus; 0</div></section>\n";
    page += "<section class=\"card\"><h2>Parameters</h2>\n" + Table(parameters) +
            "<h2 style=\"margin-top:1.2rem\">Statistics</h2>\n" + Table(shown.statistics) + "</section>\n";
    page += "<section class=\"card wide\"><h2>Profiles and histograms</h2>\n<div class=\"charts\">\n" +
            Profiles(shown.input) + Histograms(field) + "</div></section>\n";
    page += "<section class=\"card wide\"><h2>Remarks of the adviser</h2>\n" + Remarks(shown, options) +
            "</section>\n</main>\n<footer>Made by lml report, version " + GetVersionString() + ".</footer>\n<script>" +
            kReportScript + "</script>\n</body>\n</html>\n";
    return page;
}

int Report(const Options& options, Facts& facts)
{
    const Shown shown = Load(options);
    const std::string page = Page(shown, options);
    SaveBeside(options.out,
               [&](const char* name)
               {
                   const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name, "wb"), std::fclose);
                   if (!file || std::fwrite(page.data(), 1, page.size(), file.get()) != page.size() ||
                       std::fflush(file.get()) != 0)
                       throw Failure(options.out + ": the page did not reach the disk");
               });
    facts.Add("written", "written", options.out);
    facts.Add("bytes", "size", static_cast<double>(page.size()), Kind::Bytes);
    return kDone;
}
} // namespace

void AddReport(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("report", "One HTML page of a field: pictures, profiles, parameters, advice");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    sub.add_option("OUT", options->out, "HTML page to write; it needs no other file and no network")
        ->required()
        ->type_name("");
    sub.add_option("--distance", options->distances,
                   "Distances for the adviser, by commas (default: five around N p^2 / lambda)")
        ->delimiter(',')
        ->type_name("LENGTH,...");
    sub.add_option("--title", options->title, "Heading (default: the file's name)")->type_name("TEXT");
    sub.add_option("--max-size", options->maxSize, "Longest side of the pictures in pixels")
        ->check(CLI::Range(64, 8192))
        ->capture_default_str()
        ->type_name("N");
    sub.footer("Examples:\n  lml report hologram.lm hologram.html --distance 5cm,15cm");
    invocation.OnCall(sub, [options, &invocation] { return Report(*options, invocation.facts); });
}
} // namespace command
