// lml measure and lml compare: a field in numbers, alone and against another one.
#include "Files.h"
#include "Grid.h"
#include "Statistics.h"
#include "Subcommands.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct MeasureOptions
{
    InputOptions input;
    std::string reference;
    std::optional<std::vector<double>> window;
};

struct CompareOptions
{
    InputOptions first;
    std::string second;
    std::optional<double> tolerance;
};

Lumora LoadOther(const InputOptions& like, const std::string& path)
{
    InputOptions other = like;
    other.path = path;
    return LoadInput(other).field;
}

void RequireSameSizes(const Lumora& a, const Lumora& b)
{
    if (a.GetNx() != b.GetNx() || a.GetNy() != b.GetNy())
        throw Failure("the fields have " + std::to_string(a.GetNx()) + " by " + std::to_string(a.GetNy()) + " and " +
                      std::to_string(b.GetNx()) + " by " + std::to_string(b.GetNy()) +
                      " samples; only fields of one size can be compared");
}

/// |sum a conj(b)|^2 / (sum |a|^2 sum |b|^2) over the window: 1 when the fields differ by a factor only.
double Overlap(const Lumora& a, const Lumora& b)
{
    const LML_RECT w = const_cast<Lumora&>(a).Window();
    double re = 0.0;
    double im = 0.0;
    double ofA = 0.0;
    double ofB = 0.0;
    for (std::int32_t j = w.bottom; j < w.top; ++j)
        for (std::int32_t i = w.left; i < w.right; ++i)
        {
            const double ar = a.GetReal(i, j);
            const double ai = a.GetImag(i, j);
            const double br = b.GetReal(i, j);
            const double bi = b.GetImag(i, j);
            re += ar * br + ai * bi;
            im += ai * br - ar * bi;
            ofA += ar * ar + ai * ai;
            ofB += br * br + bi * bi;
        }
    return (re * re + im * im) / (ofA * ofB);
}

void DescribePair(Facts& facts, Lumora& field, Lumora& reference)
{
    const ComplexDouble scale = field.GetScaleFactor(reference);
    const double snr = field.GetSnr(reference, scale);
    facts.Add("snr", "signal-to-noise", snr);
    facts.Add("snr_db", "  in decibels", 10.0 * std::log10(snr), Kind::Decibel);
    facts.Add("scale", "best factor on the reference", {scale.GetReal(), scale.GetImag()}, Kind::Number, " + i ");
    facts.Add("overlap", "overlap of the fields", Overlap(field, reference));
}

int MeasureField(const MeasureOptions& options, Facts& facts)
{
    const std::string& path = options.input.path;
    if (FormatOfFile(path) == Format::Lm && !options.input.segment && options.reference.empty() && !options.window)
    {
        const LmHead head = ReadLmHead(path);
        if (head.kind == LmKind::Segments)
        {
            StatisticsOf(path, head).Describe(facts, head.parameters);
            return kDone;
        }
    }
    Input input = LoadInput(options.input);
    SetWindow(input.field, options.window);
    StatisticsOf(input.field).Describe(facts, input.field);
    if (!input.knowsPitch)
        facts.Note("lengths are by the default pitch of " + Show(input.field.GetPx(), Kind::Length) + ": " + path +
                   " does not say its own; give --pitch");
    facts.Add("energy_in_window", "share of the energy in the window", input.field.GetEnergyRatioInWindow(),
              Kind::Share);
    if (!options.reference.empty())
    {
        Lumora reference = LoadOther(options.input, options.reference);
        RequireSameSizes(input.field, reference);
        reference.TransferWindow(input.field);
        DescribePair(facts.Section("against_reference", "against " + options.reference), input.field, reference);
    }
    return kDone;
}

int Compare(const CompareOptions& options, Facts& facts)
{
    Lumora a = LoadInput(options.first).field;
    Lumora b = LoadOther(options.first, options.second);
    RequireSameSizes(a, b);
    if (a.IsSpectrum() != b.IsSpectrum())
        throw Failure("one of the two is a spectrum; bring both to one domain with lml convert --domain");
    a.SetWindowMax();
    b.SetWindowMax();
    std::string differing;
    const auto same = [&](const char* name, double x, double y, double tolerance)
    {
        if (!(std::fabs(x - y) <= tolerance * std::max(std::fabs(x), std::fabs(y))))
            differing += (differing.empty() ? "" : ", ") + std::string(name);
    };
    constexpr double kSingle = 1e-6; // some formats keep single precision
    same("pitch in x", a.GetPx(), b.GetPx(), kSingle);
    same("pitch in y", a.GetPy(), b.GetPy(), kSingle);
    same("wavelength", a.GetWavelength(), b.GetWavelength(), kSingle);
    if (a.GetOrigin() != b.GetOrigin())
        differing += (differing.empty() ? "" : ", ") + std::string("place");
    if (a.GetNormalVector() != b.GetNormalVector())
        differing += (differing.empty() ? "" : ", ") + std::string("normal");
    double largest = 0.0;
    double power = 0.0;
    double off = 0.0;
    std::size_t count = 0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const double re = a[n].GetReal() - b[n].GetReal();
        const double im = a[n].GetImag() - b[n].GetImag();
        const double square = re * re + im * im;
        off += square;
        power += b[n].GetReal() * b[n].GetReal() + b[n].GetImag() * b[n].GetImag();
        largest = std::max(largest, square);
        count += square != 0.0 ? 1 : 0;
    }
    const double relative = power > 0.0 ? std::sqrt(off / power) : off > 0.0 ? HUGE_VAL : 0.0;
    facts.Add("identical_samples", "samples identical", count == 0);
    facts.Add("differing_samples", "samples that differ", static_cast<double>(count), Kind::Integer);
    facts.Add("largest_difference", "largest difference", std::sqrt(largest));
    facts.Add("relative_difference", "relative difference (l2)", relative);
    facts.Add("differing_parameters", "parameters that differ", differing.empty() ? "none" : differing);
    DescribePair(facts, a, b);
    if (!options.tolerance)
        return kDone;
    const bool within = relative <= *options.tolerance;
    facts.Add("within_tolerance", "within the tolerance", within);
    return within ? kDone : kNo;
}
} // namespace

void AddMeasure(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub =
        *app.add_subcommand("measure", "Energy, peak, centroid and widths; signal-to-noise against a reference");
    const auto options = std::make_shared<MeasureOptions>();
    options->input.AddTo(sub);
    sub.add_option("--reference", options->reference, "Field to measure against, of the same size")->type_name("FILE");
    AddWindow(sub, options->window);
    sub.footer("Examples:\n  lml measure back.lm --reference original.lm");
    invocation.OnCall(sub, [options, &invocation] { return MeasureField(*options, invocation.facts); });
}

void AddCompare(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("compare", "Two fields against each other, sample by sample");
    const auto options = std::make_shared<CompareOptions>();
    sub.add_option("FILE", options->first.path, "Field to compare")->required()->type_name("");
    sub.add_option("WITH", options->second, "Field to compare it with")->required()->type_name("");
    options->first.AddReadingTo(sub);
    AddQuantity(sub, "--tolerance", options->tolerance, Kind::Number,
                "Exit code 3 when the relative difference is above it", {0, 1e300});
    sub.footer("Examples:\n  lml compare one.lm other.lm --tolerance 1e-6");
    invocation.OnCall(sub, [options, &invocation] { return Compare(*options, invocation.facts); });
}
} // namespace command
