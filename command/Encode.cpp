// lml encode: a complex field as phases for a device.
#include "Grid.h"
#include "Output.h"
#include "Subcommands.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
struct Options
{
    InputOptions input;
    OutputOptions output;
    std::string method = "double-phase";
    int levels = 256;
    int fullTurn = 256;
    std::optional<double> reference;
    std::optional<double> referenceRms;
    std::optional<Whole2> device;
};

/// The window becomes the device's pixels in the middle of a grid that holds them.
void FitDevice(Lumora& field, const Whole2& device)
{
    while (field.GetNx() < device.x || field.GetNy() < device.y)
        field.Embed(field.GetNx() < device.x ? 1 : 0, field.GetNy() < device.y ? 1 : 0);
    const int left = (field.GetNx() - device.x) / 2;
    const int bottom = (field.GetNy() - device.y) / 2;
    field.SetWindow(left, left + device.x, bottom, bottom + device.y);
}

/// Samples become (grey value, 0): a full turn of phase is `fullTurn` grey steps, phase 0 and no number the value 0.
void PhasesToGrey(Lumora& field, int fullTurn)
{
    constexpr double kTurn = 6.283185307179586;
    for (std::size_t n = 0; n < field.N(); ++n)
    {
        const double turns = std::atan2(field[n].GetImag(), field[n].GetReal()) / kTurn;
        const int step = std::isnan(turns) ? 0 : static_cast<int>(std::floor(turns * fullTurn + 0.5));
        field[n] = Complex((step % fullTurn + fullTurn) % fullTurn, 0.0);
    }
}

int Encode(Options options, Facts& facts)
{
    const Format format = FormatOfName(options.output.path);
    if (options.levels == 1)
        throw Misuse("--levels must be 0, for any phase, or at least 2");
    Input input = LoadInput(options.input);
    Lumora& field = input.field;
    if (options.device)
        FitDevice(field, *options.device);
    double reference = options.reference.value_or(0.0);
    if (options.referenceRms)
    {
        // Over the samples with light: zeros around a field say nothing of its amplitudes.
        double power = 0.0;
        std::size_t lit = 0;
        for (std::size_t n = 0; n < field.N(); ++n)
        {
            const double intensity = field[n].Intensity();
            power += intensity;
            lit += intensity > 0.0 ? 1 : 0;
        }
        reference = *options.referenceRms * std::sqrt(power / static_cast<double>(std::max<std::size_t>(lit, 1)));
    }
    if (options.method == "double-phase")
        field.EncodeDoublePhase(reference);
    else if (options.method == "error-diffusion")
        field.EncodeErrorDiffusion(options.levels, reference);
    else
        field.SetConstAmplitude(1.0);
    CheckForSignal();
    if (options.levels > 0 && options.method != "error-diffusion")
        field.HardClipPhase(options.levels);
    facts.Add("method", "method", options.method);
    facts.Add("levels", "levels", options.levels, Kind::Integer);
    const LML_RECT w = field.Window();
    facts.Add("pixels", "pixels", {static_cast<double>(w.right - w.left), static_cast<double>(w.top - w.bottom)},
              Kind::Integer);
    const bool picture =
        format == Format::Bmp || format == Format::Hbi || format == Format::Raw || format == Format::Picture;
    if (picture)
    {
        PhasesToGrey(field, options.fullTurn);
        options.output.quantity = "real";
        options.output.range = Pair{0.0, 255.0};
        Facts unused; // what a picture leaves out is what is asked for here
        SaveOutput(field, options.output, unused);
        facts.Add("written", "written", options.output.path);
        facts.Add("full_turn", "grey steps of a full turn", options.fullTurn, Kind::Integer);
    }
    else
        SaveOutput(field, options.output, facts);
    return kDone;
}
} // namespace

void AddEncode(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("encode", "A complex field as phases alone, for a device");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    sub.add_option("OUT", options->output.path,
                   "bmp, png, raw: grey values for the device; others: the field of phases")
        ->required()
        ->type_name("");
    sub.add_option("--method", options->method, "How; phase leaves the amplitudes out")
        ->check(CLI::IsMember({"double-phase", "error-diffusion", "phase"}))
        ->capture_default_str()
        ->type_name("METHOD");
    sub.add_option("--levels", options->levels, "Phases that the device has; 0 for any")
        ->check(CLI::Range(0, 65536))
        ->capture_default_str()
        ->type_name("N");
    AddWhole2(sub, "--device", options->device, "Pixels of the device: the field is cut or filled up", {1, 65536});
    CLI::Option* const absolute = AddQuantity(sub, "--reference", options->reference, Kind::Number,
                                              "Amplitude that counts as 1 (default: the largest)", kPositive);
    AddQuantity(sub, "--reference-rms", options->referenceRms, Kind::Number,
                "The same as a multiple of the root mean square; 1.5 suits diffuse light", kPositive)
        ->excludes(absolute);
    sub.add_option("--full-turn", options->fullTurn, "Grey steps in which the device turns the phase once around")
        ->check(CLI::Range(2, 256))
        ->capture_default_str()
        ->type_name("N");
    sub.footer("Examples:\n  lml encode hologram.lm device.png --device 1920x1080 --reference-rms 1.5");
    invocation.OnCall(sub, [options, &invocation] { return Encode(*options, invocation.facts); });
}
} // namespace command
