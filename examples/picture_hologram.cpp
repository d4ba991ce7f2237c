// A hologram of a picture: the picture as an amplitude object, carried over a distance by the angular spectrum, looked
// at, and carried back.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <cmath>
#include <cstdio>
#include <string>

using namespace LumoraLib;

namespace
{
/// Intensity, phase and logarithmic intensity of a field, grey and rainbow, as pictures. The automatic ranges are
/// fixed, so the largest amplitude is brought to 1 first.
void SavePictures(const Lumora& field, const std::string& stem)
{
    Lumora shown(field);
    shown.SetWindowMax().Normalize(1.0);
    const auto save = [&](const char* name, Mode mode, double max)
    {
        example::SavePicture(shown, stem + "_" + name + ".bmp", mode, GradationGrey, max);
        example::SavePicture(shown, stem + "_" + name + "_rainbow.bmp", mode, GradationRainbow, max);
    };
    save("intensity", ModeIntensity, 0.0);
    save("phase", ModePhase, 0.0);
    // log2(1 + I) of an amplitude up to 30 spreads the faint parts over ten steps.
    constexpr double kTop = 30.0;
    shown.Normalize(kTop);
    save("logintensity", ModeLogIntensity, std::log2(1.0 + kTop * kTop));
}
} // namespace

int main(int argc, char** argv)
{
    std::string picture = LML_EXAMPLE_DATA "/target.bmp";
    std::string out = ".";
    double distance = 0.15;
    double pitch = 8e-6;
    double wavelength = 632.8e-9;
    int threads = 1;
    example::Options options("picture_hologram", "makes a hologram of an 8-bit BMP picture and reconstructs it.");
    options.AddPicture(picture);
    options.Add("--distance", distance, "metres from the picture to the hologram");
    options.Add("--pitch", pitch, "metres per pixel");
    options.Add("--wavelength", wavelength, "metres");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.RequireMetres("--distance", distance);
    options.RequireAboveZero("--pitch", pitch);
    options.RequireAboveZero("--wavelength", wavelength);
    SetNumThreads(threads);

    Lumora field = example::LoadSlide(picture, pitch, wavelength);
    const Lumora original(field);
    PrintL("1/4 loaded %s: %d by %d samples, %.3g by %.3g mm\n", picture.c_str(), field.GetNx(), field.GetNy(),
           field.GetWidth() * 1e3, field.GetHeight() * 1e3);

    const example::Seconds there;
    field.AsmProp(distance);
    const double forward = there.Read();
    PrintL("2/4 carried over %g m in %.4f s: %.3g million samples a second\n", distance, forward,
           static_cast<double>(field.N()) / forward * 1e-6);

    SavePictures(field, out + "/hologram");
    PrintL("3/4 saved the hologram's intensity, phase and log intensity\n");

    const example::Seconds back;
    field.AsmProp(-distance);
    const double backward = back.Read();
    Lumora shown(field);
    shown.SetWindowMax().Normalize(1.0);
    example::SavePicture(shown, out + "/reconstruction_amplitude.bmp", ModeAmplitude);
    example::SavePicture(shown, out + "/reconstruction_intensity.bmp", ModeIntensity);
    example::SavePicture(original, out + "/original_amplitude.bmp", ModeAmplitude);
    PrintL("4/4 carried back in %.4f s and saved the reconstruction\n", backward);

    const double snr = field.GetSnr(original, field.GetScaleFactor(original));
    std::printf("signal-to-noise of the reconstruction  %.4g (%.1f dB)\n", snr, 10.0 * std::log10(snr));
    std::printf("time there and back                    %.4f s, %.3g million samples a second\n", forward + backward,
                2.0 * static_cast<double>(field.N()) / (forward + backward) * 1e-6);
    std::printf("pictures                               %s/hologram_*.bmp, %s/reconstruction_*.bmp\n", out.c_str(),
                out.c_str());
    return 0;
}
