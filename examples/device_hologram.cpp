// A hologram for a device of few phase levels: a picture with random phases is carried to the device, its amplitude
// there is dropped, its phase rounded to 2, 4, 16 and 256 levels, and each result carried back.
//
// Random object phases spread the light over the whole device, so that its amplitude matters little and all phases are
// equally frequent. Then theory tells what rounding to L levels costs: of the light that the exact phase would send
// into the picture the share (sin(pi / L) / (pi / L))^2 is left, the rest becomes noise. The program compares its
// results with that.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace LumoraLib;

namespace
{
constexpr double kPi = 3.141592653589793;

/// Share of a field's energy that belongs to the reference, in any scale and phase: |<u, r>|^2 / (<u, u> <r, r>).
double Share(const Lumora& u, const Lumora& reference)
{
    const ComplexDouble scale = u.GetScaleFactor(reference);
    return scale.Intensity() * reference.GetSquareSum() / u.GetSquareSum();
}

double Decibel(double ratio)
{
    return 10.0 * std::log10(ratio);
}

struct Result
{
    double snr;   ///< in the picture, a plain ratio
    double share; ///< of the light that is the picture's
};

/// The window's amplitude in grey, the object's brightest parts white.
void SaveSeen(const Lumora& field, const std::string& path)
{
    PictureStyle style = example::Look(PICTURE_AMPLITUDE, COLOURS_GREY);
    style.window = true;
    style.low = 0.0;
    style.high = 1.0;
    style.scaleBar = false;
    SavePicture(path, field, style);
}

/// Carries the device's field back and judges it: by the whole plane for the share of light, inside the window of
/// `object` for the picture. Saves what is seen there.
Result Reconstruct(Lumora device, double distance, const Lumora& object, const LML_RECT& picture,
                   const std::string& path)
{
    device.AsmProp(-distance);
    Lumora reference(object);
    device.SetWindowMax();
    reference.SetWindowMax();
    Result result{};
    result.share = Share(device, reference);
    device.SetWindow(picture);
    reference.SetWindow(picture);
    const ComplexDouble scale = device.GetScaleFactor(reference);
    result.snr = device.GetSnr(reference, scale);
    device *= 1.0 / scale.Amplitude(); // in units of the object
    SaveSeen(device, path);
    return result;
}
} // namespace

int main(int argc, char** argv)
{
    std::string picture = LML_EXAMPLE_DATA "/target.bmp";
    std::string out = ".";
    double distance = 0.1;
    double pitch = 8e-6;
    double wavelength = 632.8e-9;
    int reduce = 1;
    int seed = 1;
    int threads = 1;
    example::Options options("device_hologram",
                             "shows what a device of 2, 4, 16 and 256 phase levels makes of a picture.");
    options.AddPicture(picture);
    options.Add("--distance", distance, "metres from the picture to the device");
    options.Add("--pitch", pitch, "metres per pixel of the device");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--reduce", reduce, "halvings of the picture's size");
    options.Add("--seed", seed, "of the random phases");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.RequireAboveZero("--distance", distance);
    options.RequireAboveZero("--wavelength", wavelength);
    options.RequirePitch(pitch, wavelength);
    options.Require(reduce >= 0 && reduce <= 10, "--reduce must be 0 to 10");
    SetNumThreads(threads);

    Lumora object = LoadPicture(picture, example::SlideOptions(pitch, wavelength));
    object.ReduceByAverage(reduce).SetPx(pitch).SetPy(pitch);
    object.SetWindowMax();
    SaveSeen(object, out + "/device_object.png");
    std::srand(static_cast<unsigned>(seed));
    object.ModRandomPhase();
    object.Embed(1); // the picture lies in the middle half of the device
    const LML_RECT window = object.Window();
    // Beyond this distance the propagation keeps a part of the band only, and shares of light would no longer compare.
    const double side = std::min(object.GetWidth(), object.GetHeight());
    const double limit = side / 2.0 * std::sqrt(4.0 * pitch * pitch / (wavelength * wavelength) - 1.0);
    options.Require(distance <= limit,
                    "--distance must be at most " + std::to_string(limit) + " for this picture and pitch");

    Lumora field(object);
    field.SetWindowMax();
    field.AsmProp(distance);
    const double mean = field.GetAbsoluteAverage();
    const double evenness = mean * mean / field.GetSquareAverage();
    PrintL("device of %d by %d pixels, %.3g by %.3g mm, picture at %g m\n", field.GetNx(), field.GetNy(),
           field.GetWidth() * 1e3, field.GetHeight() * 1e3, distance);

    Lumora phaseOnly(field);
    phaseOnly.SetConstAmplitude(1.0);
    const Result exact = Reconstruct(phaseOnly, distance, object, window, out + "/device_exact.png");

    std::printf("levels   picture S/N      light in the picture   of exact phase   theory\n");
    std::printf("exact    %6.3f %5.1f dB   %6.4f                 1\n", exact.snr, Decibel(exact.snr), exact.share);
    bool good = std::fabs(exact.share - evenness) < 0.01 * evenness; // what the lost amplitude alone costs
    double before = 0.0;
    for (const int levels : {2, 4, 16, 256})
    {
        Lumora device(phaseOnly);
        device.HardClipPhase(levels);
        const std::string name = out + "/device_" + std::to_string(levels);
        Lumora pixels(device); // so few that each can be seen
        pixels.SetWindow(-32.0 * pitch, 32.0 * pitch, -32.0 * pitch, 32.0 * pitch);
        PictureStyle style = example::Look(PICTURE_PHASE);
        style.window = true;
        SavePicture(name + "_phase.png", pixels, style);
        const Result result = Reconstruct(device, distance, object, window, name + ".png");
        const double angle = kPi / levels;
        const double theory = std::sin(angle) / angle * std::sin(angle) / angle;
        const double kept = result.share / exact.share;
        std::printf("%-8d %6.3f %5.1f dB   %6.4f                 %6.4f           %6.4f\n", levels, result.snr,
                    Decibel(result.snr), result.share, kept, theory);
        // 256 levels are as good as exact ones but for chance; below that each step up must show.
        good = good && std::fabs(kept - theory) < 0.02 * theory && result.snr > before * (levels > 16 ? 0.999 : 1.05);
        before = result.snr;
    }
    std::printf("pictures: %s/device_*.png\n", out.c_str());
    std::printf("check against theory: %s\n", good ? "passed" : "FAILED");
    return good ? 0 : 1;
}
