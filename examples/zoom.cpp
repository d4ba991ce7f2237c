// The interference of five beams, observed at several pitches by shifted Fresnel propagation: planes at growing
// distances whose pitch grows with them share one descriptor, and close-ups on one plane go into a detail aside.
//
// The kernel of a shifted Fresnel propagation depends on pitch * pitch / (wavelength * distance) alone: a grid that
// spreads with the light keeps it. Theory: in the Fresnel integral a Gaussian spot stays Gaussian, so the field is a
// sum of five closed forms everywhere.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <vector>

using namespace LumoraLib;

namespace
{
using Value = std::complex<double>;

/// Beams of the waist radius w0 on a ring, the first one stronger, so that the pattern has no symmetry.
struct Beams
{
    double w0, ring, wavelength;

    /// Complex field at (x, y) on the plane z: w0^2 / q(z) exp(-r^2 / q) with q = w0^2 + 2 i z / k, times exp(i k z).
    Value At(double x, double y, double z) const
    {
        const double k = 6.283185307179586 / wavelength;
        const Value q(w0 * w0, 2.0 * z / k);
        Value sum = 0.0;
        for (int n = 0; n < 5; ++n)
        {
            const double dx = x - ring * std::cos(n * 72.0 * Deg);
            const double dy = y - ring * std::sin(n * 72.0 * Deg);
            sum += (n == 0 ? 1.5 : 1.0) * std::exp(-(dx * dx + dy * dy) / q);
        }
        return sum * (w0 * w0 / q) * std::polar(1.0, k * z);
    }
};

double DifferenceFromTheory(const Lumora& field, const Beams& beams)
{
    double difference = 0.0;
    double norm = 0.0;
    const Vector origin = field.GetOrigin();
    for (int j = 0; j < field.GetNy(); ++j)
        for (int i = 0; i < field.GetNx(); ++i)
        {
            const Value theory = beams.At(field.X(i) + origin.x, field.Y(j) + origin.y, origin.z);
            difference += std::norm(Value(field.GetReal(i, j), field.GetImag(i, j)) - theory);
            norm += std::norm(theory);
        }
    return std::sqrt(difference / norm);
}

void Save(const Lumora& field, const std::string& path)
{
    PictureStyle style = example::Look(PICTURE_AMPLITUDE, COLOURS_LAGOON);
    style.gamma = 1.3;
    style.clip = 100.0;
    SavePicture(path, field, style);
}
} // namespace

int main(int argc, char** argv)
{
    std::string out = ".";
    double wavelength = 632.8e-9;
    double pitch = 4e-6;
    double distance = 0.05;
    int size = 512;
    int planes = 3;
    int threads = 1;
    example::Options options("zoom", "observes five beams at several pitches by shifted Fresnel propagation.");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--pitch", pitch, "metres per sample of the source");
    options.Add("--distance", distance, "metres to the first plane");
    options.Add("--size", size, "samples per side, a power of two");
    options.Add("--planes", planes, "planes, each at twice the distance of the one before");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(size >= 128 && size <= 4096 && (size & (size - 1)) == 0,
                    "--size must be a power of two, 128 to 4096");
    options.Require(planes >= 1 && planes <= 8, "--planes must be from 1 to 8");
    options.Require(wavelength > 0.0 && pitch > 0.0 && distance > 0.0, "lengths must be above 0");
    // The source repeats every wavelength * distance / pitch: the observed grid and the source must fit into that
    // together.
    const double width = size * pitch;
    options.Require(2.0 * width < wavelength * distance / pitch, "the first plane is too near for this size and pitch");
    SetNumThreads(threads);

    const Beams beams{0.015 * width, 0.2 * width, wavelength};
    Lumora source(size, size, pitch, pitch, wavelength);
    for (int j = 0; j < size; ++j)
        for (int i = 0; i < size; ++i)
            source.SetPixel(i, j, Complex(beams.At(source.X(i), source.Y(j), 0.0).real(), 0.0));
    Save(source, out + "/zoom_source.png");
    PrintL("1/3 five beams of %.3g um on a ring of %.3g mm\n", beams.w0 * 1e6, 2e3 * beams.ring);

    double worst = 0.0;
    const auto report = [&](const char* what, const Lumora& field)
    {
        const double difference = DifferenceFromTheory(field, beams);
        worst = std::fmax(worst, difference);
        std::printf("%-9s %7.3g m, %8.4g um per sample: difference from theory %.2e\n", what, field.GetOrigin().z,
                    field.GetPx() * 1e6, difference);
    };

    // One descriptor for all planes: the pitch grows as the distance does.
    const ShiftedFresnelPropDescriptor kernel(distance, pitch, pitch, source);
    double seconds = 0.0;
    double scale = 1.0;
    for (int n = 1; n <= planes; ++n, scale *= 2.0)
    {
        Lumora field(size, size, pitch * scale, pitch * scale, wavelength);
        field.SetOrigin(Vector(0.0, 0.0, distance * scale));
        if (!kernel.IsCompatibleWith(distance * scale, field.GetPx(), field.GetPy(), source))
            Error(ERR_INTERNAL, "zoom", "the kernel does not serve all planes");
        const example::Seconds clock;
        field.ShiftedFresnelProp(source, kernel);
        seconds += clock.Read();
        Save(field, out + "/zoom_plane" + std::to_string(n) + ".png");
        report("plane", field);
    }
    PrintL("2/3 %d planes with one descriptor: propagated in %.4f s\n", planes, seconds);

    // Into a detail of the last plane: each close-up has a pitch of its own and stands at the same point aside.
    scale *= 0.5;
    const Vector detail(0.11 * width * scale, -0.07 * width * scale, distance * scale);
    for (const int zoom : {4, 16})
    {
        Lumora field(size, size, pitch * scale / zoom, pitch * scale / zoom, wavelength);
        field.SetOrigin(detail);
        field.ShiftedFresnelProp(source);
        Save(field, out + "/zoom_close" + std::to_string(zoom) + ".png");
        report("close-up", field);
    }
    PrintL("3/3 close-ups saved\n");
    std::printf("pictures  %s/zoom_source.png zoom_plane*.png zoom_close*.png\n", out.c_str());
    const bool good = worst < 1e-4;
    std::printf(good ? "the fields agree with theory\n" : "the fields do NOT agree with theory\n");
    return good ? 0 : 1;
}
