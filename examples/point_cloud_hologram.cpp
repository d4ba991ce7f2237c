// A hologram from points: a parametric solid as a cloud of point sources, added up by each of the library's four
// families in turn, compared with the exact one, and looked at by carrying the hologram back to several depths.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

using namespace LumoraLib;

namespace
{
constexpr double kTurn = 6.283185307179586;

/// A point at z behind the hologram plane (z < 0).
struct Point
{
    double x, y, z, phase;
};

/// A torus of the given outer radius, seen from 55 degrees above, its centre at -distance. The members by table stand a
/// source on the nearest sample, so the object is made of such points and the families differ in nothing but how they
/// compute.
std::vector<Point> MakeTorus(int count, double radius, double distance, double pitch)
{
    const double tilt = 55.0 / 360.0 * kTurn;
    std::vector<Point> points;
    for (int n = 0; n < count; ++n)
    {
        // Even cover: one angle in equal steps, the other in steps of the golden ratio.
        const double around = kTurn * n / count;
        const double tube = kTurn * std::fmod(n * 0.6180339887498949, 1.0);
        const double r = radius * (0.72 + 0.28 * std::cos(tube));
        const double u = r * std::sin(around);
        const double v = radius * 0.28 * std::sin(tube);
        const double x = std::round(r * std::cos(around) / pitch) * pitch;
        const double y = std::round((u * std::cos(tilt) + v * std::sin(tilt)) / pitch) * pitch;
        const double z = v * std::cos(tilt) - u * std::sin(tilt) - distance;
        points.push_back({x, y, z, kTurn * std::fmod(n * 0.7548776662466927, 1.0)});
    }
    return points;
}

/// Samples that the waves of all points reach: twice the half-width of the sampling's band on each axis.
double SamplesReached(const std::vector<Point>& points, double tangent, double pitch)
{
    double samples = 0.0;
    for (const Point& p : points)
    {
        const double side = 2.0 * std::floor(tangent * -p.z / pitch + 0.5);
        samples += side * side;
    }
    return samples;
}

void SavePicture(const Lumora& field, const std::string& path, Mode mode, Gradation gradation)
{
    Lumora shown(field);
    shown.Normalize(1.0);
    example::SavePicture(shown, path, mode, gradation);
}
} // namespace

int main(int argc, char** argv)
{
    int count = 3000;
    int size = 1024;
    int threads = 1;
    double pitch = 4e-6;
    double wavelength = 633e-9;
    double distance = 0.0;
    std::string out = ".";
    example::Options options("point_cloud_hologram",
                             "makes a hologram of a torus of points by each family of members.");
    options.Add("--points", count, "points of the object");
    options.Add("--size", size, "samples of the hologram on each axis, a power of two");
    options.Add("--pitch", pitch, "metres per sample");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--distance", distance, "metres to the object's centre; 0: a wave covers 45 % of the grid");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(count > 0, "--points must be above 0");
    options.Require(size >= 64 && size <= 32768 && (size & (size - 1)) == 0, "--size must be a power of two from 64");
    options.RequireAboveZero("--wavelength", wavelength);
    options.RequirePitch(pitch, wavelength);
    SetNumThreads(threads);

    const double half = 0.5 * size * pitch;
    const double tangent = std::tan(std::asin(wavelength / (2.0 * pitch)));
    if (distance == 0.0)
        distance = 0.45 * half / tangent;
    const double radius = 0.9 * (half - tangent * distance) / (1.0 + tangent);
    options.Require(std::isfinite(distance) && distance > 1.5 * radius && radius > 8.0 * pitch,
                    "--distance must leave the object room before the hologram and its waves room on the grid");

    const std::vector<Point> points = MakeTorus(count, radius, distance, pitch);
    const double samples = SamplesReached(points, tangent, pitch);
    Lumora hologram(size, size, pitch, pitch, wavelength);
    const SphericalWaveDescriptor descriptor(hologram.GetWavelength(), pitch, pitch, Vector(0, 0, 1));

    // What the faster families give away: phases in 1024 steps of a turn, one amplitude for the whole wave where the
    // exact one falls with the distance (its variance over a square of half-angle tan), and the recurrence's drift at
    // the edge.
    const double steps = kTurn / 1024 * kTurn / 1024 / 12.0;
    const double level = 2.0 / 45.0 * std::pow(tangent, 4.0);
    const double drift =
        hologram.GetWavenumber() * pitch / 2.0 * (std::asinh(tangent) - tangent / std::sqrt(1.0 + tangent * tangent));

    // All give amplitude 1 and the phase +k r: the table members to a diverging wave, which comes from z < 0, the
    // recurrence to a positive z, whose amplitude it divides by z with the sign.
    struct Family
    {
        const char* name;
        std::function<void(Lumora&)> prepare;
        std::function<void(Lumora&, const Point&)> add;
        int threads;
        double noise; // expected against the exact family, relative to the signal
    };
    const Family families[] = {
        {"exact (AddSphericalWave)", [](Lumora&) {},
         [](Lumora& f, const Point& p)
         { f.AddSphericalWave(Vector(p.x, p.y, p.z), Phase(p.phase), -p.z, WINDOW_RECT); },
         threads, 0.0},
        {"descriptor (AddSphericalWaveSqr)", [](Lumora&) {},
         [&](Lumora& f, const Point& p)
         { f.AddSphericalWaveSqr(descriptor, p.x, p.y, p.z, -p.z, p.phase, WINDOW_RECT); },
         1, steps + level},
        {"global table (AddSphericalWaveSQR)", [](Lumora& f) { f.InitSphericalWaveSQR(Vector(0, 0, 1)); },
         [](Lumora& f, const Point& p) { f.AddSphericalWaveSQR(p.x, p.y, p.z, -p.z, p.phase, WINDOW_RECT); }, 1,
         steps + level},
        {"recurrence (AddSphericalWaveRF)", [](Lumora& f) { f.InitSphericalWaveRF(0.0, 0.0); },
         [](Lumora& f, const Point& p) { f.AddSphericalWaveRF(p.x, p.y, -p.z, -p.z, p.phase, WINDOW_RECT); }, 1,
         steps + level + drift * drift},
    };

    std::printf("%d points of a torus of %.3g mm at %.3g mm, %d x %d samples of %.3g um, %.0f samples a point\n\n",
                count, 2e3 * radius, 1e3 * distance, size, size, 1e6 * pitch, samples / count);
    std::printf(
        "| family | threads | seconds | million samples a second | signal-to-noise, dB |\n|---|---|---|---|---|\n");
    bool good = true;
    Lumora exact;
    for (const Family& family : families)
    {
        hologram.Clear();
        family.prepare(hologram);
        example::Progress progress(family.name, count);
        const example::Seconds clock;
        long done = 0;
        for (const Point& p : points)
        {
            family.add(hologram, p);
            progress.Report(++done);
        }
        const double seconds = clock.Read();
        std::printf("| %s | %d | %.3f | %.0f |", family.name, family.threads, seconds, samples / seconds * 1e-6);
        if (family.noise == 0.0)
        {
            exact = hologram;
            std::printf(" - |\n");
            continue;
        }
        // The factor takes out what all samples have in common: half a table step of phase, for one.
        const double snr = 10.0 * std::log10(hologram.GetSnr(exact, hologram.GetScaleFactor(exact)));
        std::printf(" %.1f |\n", snr);
        if (!(snr >= -10.0 * std::log10(family.noise) - 3.0))
        {
            good = false;
            std::fprintf(stderr, "the %s family is too far from the exact one\n", family.name);
        }
    }
    SavePicture(exact, out + "/cloud_hologram_amplitude.bmp", ModeAmplitude, GradationGrey);
    SavePicture(exact, out + "/cloud_hologram_phase.bmp", ModePhase, GradationRainbow);

    // Carried back by the depth of a point, its wave runs together in its sample.
    std::vector<Point> byDepth(points);
    std::sort(byDepth.begin(), byDepth.end(), [](const Point& a, const Point& b) { return a.z > b.z; });
    const struct
    {
        const char* name;
        Point point;
    } depths[] = {{"front", byDepth.front()}, {"middle", byDepth[byDepth.size() / 2]}, {"back", byDepth.back()}};
    std::printf("\n| depth, mm | point in focus over the picture's mean intensity | picture |\n|---|---|---|\n");
    example::Progress progress("reconstruction", 3);
    long done = 0;
    for (const auto& depth : depths)
    {
        Lumora image(exact);
        image.AsmProp(depth.point.z);
        const double focus =
            image.GetIntensity(image.I(depth.point.x), image.J(depth.point.y)) / image.GetSquareAverage();
        const std::string path = out + "/cloud_reconstruction_" + depth.name + ".bmp";
        SavePicture(image, path, ModeAmplitude, GradationGrey);
        std::printf("| %.3f | %.0f | %s |\n", -1e3 * depth.point.z, focus, path.c_str());
        progress.Report(++done, 0.0);
        if (!(focus > 10.0))
        {
            good = false;
            std::fprintf(stderr, "the %s point is not in focus\n", depth.name);
        }
    }
    return good ? 0 : 1;
}
