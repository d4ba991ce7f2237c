// A hologram of a picture: the picture as an amplitude object with room around it, carried over a distance the way that
// the adviser names, looked at, and carried back.
#include "ExampleTools.h"

#include <LmlAdvice.h>
#include <LmlLumora.h>

#include <cmath>
#include <cstdio>
#include <string>

using namespace LumoraLib;

namespace
{
/// Carries the source to the destination's plane and tells how.
double Carry(Lumora& destination, const Lumora& source, const char* what)
{
    const AdviceResult result = PropagateTo(destination, source);
    const AdviceMember& way = result.Way();
    PrintL("%s by %s in %.4f s, predicted to be off by %.2g %%\n", what, way.name.c_str(), result.seconds,
           100.0 * way.error);
    return result.seconds;
}
} // namespace

int main(int argc, char** argv)
{
    std::string picture = LML_EXAMPLE_DATA "/target.bmp";
    std::string out = ".";
    double distance = 0.0;
    double pitch = 8e-6;
    double wavelength = 632.8e-9;
    double room = 2.0;
    int threads = 1;
    example::Options options("picture_hologram", "makes a hologram of a picture and reconstructs it.");
    options.AddPicture(picture);
    options.Add("--distance", distance, "metres to the hologram; 0: where all light is still on the grid");
    options.Add("--pitch", pitch, "metres per pixel");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--room", room, "width of the grid in widths of the picture: the light spreads");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.RequireMetres("--distance", distance);
    options.RequireAboveZero("--wavelength", wavelength);
    options.RequirePitch(pitch, wavelength);
    options.Require(room >= 1.0 && room <= 16.0, "--room must be from 1 to 16");
    SetNumThreads(threads);

    Lumora object = LoadPicture(picture, example::SlideOptions(pitch, wavelength, room));
    PrintL("1/4 loaded %s: %d by %d pixels on %d by %d samples, %.3g by %.3g mm\n", picture.c_str(),
           object.Window().right - object.Window().left, object.Window().top - object.Window().bottom, object.GetNx(),
           object.GetNy(), object.GetWidth() * 1e3, object.GetHeight() * 1e3);

    if (distance == 0.0)
    {
        // The steepest waves of this pitch cross the room beside the picture; two digits of that.
        const double sine = wavelength / (2.0 * pitch);
        const LML_RECT at = object.Window();
        const double free =
            0.5 * pitch * std::fmin(object.GetNx() - (at.right - at.left), object.GetNy() - (at.top - at.bottom));
        distance = std::fmax(free, 0.1 * object.GetWidth()) * std::sqrt(1.0 - sine * sine) / sine;
        const double digits = std::pow(10.0, std::floor(std::log10(distance)) - 1.0);
        distance = std::floor(distance / digits) * digits;
    }
    Lumora hologram(object.GetNx(), object.GetNy(), pitch, pitch, wavelength);
    hologram.SetOrigin(Vector(0.0, 0.0, distance));
    const double forward = Carry(hologram, object, "2/4 carried there");

    char where[80];
    std::snprintf(where, sizeof where, "at %g m, \xCE\xBB = %g nm", distance, wavelength * 1e9);
    PictureStyle decibel = example::LookAlone(std::string("Hologram ") + where, PICTURE_DECIBEL);
    decibel.maxSize = 768;
    SavePicture(out + "/hologram.png", hologram, decibel);
    PictureStyle amplitude = example::Look();
    amplitude.gamma = 2.0;
    SavePicture(out + "/hologram_amplitude.png", hologram, amplitude);
    Lumora detail(hologram);
    const double part = 0.0625 * std::fmin(hologram.GetWidth(), hologram.GetHeight());
    detail.SetWindow(-part, part, -part, part);
    PictureStyle complex = example::Look(PICTURE_COMPLEX);
    complex.window = true;
    complex.gamma = 2.0;
    complex.clip = 98.0;
    SavePicture(out + "/hologram_complex.png", detail, complex);
    PictureStyle phase = example::Look(PICTURE_PHASE);
    phase.window = true;
    SavePicture(out + "/hologram_phase.png", detail, phase);
    PictureStyle spectrum = example::LookAlone("Spectrum of the hologram", PICTURE_DECIBEL, COLOURS_LAGOON);
    spectrum.frequencies = FREQUENCIES_DEGREES;
    spectrum.decibels = 60.0;
    Lumora directions(hologram);
    SavePicture(out + "/hologram_spectrum.png", directions.Fft(-1), spectrum);
    PrintL("3/4 saved pictures of the hologram\n");

    Lumora back(object);
    back.Clear();
    const double backward = Carry(back, hologram, "4/4 carried back");
    PictureStyle seen = example::Look(PICTURE_AMPLITUDE, COLOURS_GREY);
    seen.window = true;
    seen.scaleBar = false;
    back.TransferWindow(object);
    SavePicture(out + "/object.png", object, seen);
    SavePicture(out + "/reconstruction.png", back, seen);

    object.SetWindowMax();
    back.SetWindowMax();
    const double snr = back.GetSnr(object, back.GetScaleFactor(object));
    std::printf("signal-to-noise of the reconstruction  %.4g (%.1f dB)\n", snr, 10.0 * std::log10(snr));
    std::printf("time there and back                    %.4f s, %.3g million samples a second\n", forward + backward,
                2.0 * static_cast<double>(object.N()) / (forward + backward) * 1e-6);
    std::printf("pictures                               %s/object.png hologram*.png reconstruction.png\n", out.c_str());
    return 0;
}
