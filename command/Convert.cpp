// lml convert: a file as one of another kind.
#include "Output.h"
#include "Subcommands.h"

#include <memory>

namespace command
{
namespace
{
struct Options
{
    InputOptions input;
    OutputOptions output;
    std::string domain = "keep";
};

int Convert(const Options& options, Facts& facts)
{
    FormatOfName(options.output.path); // before the work
    Input input = LoadInput(options.input);
    const bool toSpectrum = options.domain == "spectrum" && !input.field.IsSpectrum();
    const bool toField = options.domain == "field" && input.field.IsSpectrum();
    if (toSpectrum || toField)
    {
        input.RequireScale(false);
        input.field.Fft(toSpectrum ? -1 : 1);
        if (toField)
            input.field /= static_cast<double>(input.field.N());
        input.field.SetWindowMax();
    }
    SaveOutput(input.field, options.output, facts);
    return kDone;
}
} // namespace

void AddConvert(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("convert", "Convert between LM, LW, DE, NPY, CSV, BMP, HBI, RAW and PNG");
    const auto options = std::make_shared<Options>();
    options->input.AddTo(sub);
    options->output.AddTo(sub);
    sub.add_option("--domain", options->domain, "Transform on the way")
        ->check(CLI::IsMember({"keep", "field", "spectrum"}))
        ->capture_default_str()
        ->type_name("DOMAIN");
    sub.footer("Examples:\n  lml convert hologram.lm hologram.npy\n  lml convert hologram.npy copy.lm --pitch 8um "
               "--wavelength 532nm\n  lml convert large.lm parts.lm --segments 4x4");
    invocation.OnCall(sub, [options, &invocation] { return Convert(*options, invocation.facts); });
}
} // namespace command
