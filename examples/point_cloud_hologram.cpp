// A hologram of a cloud of points from a file: what it takes at once and what the members for single points would take,
// the reconstruction at three depths, and the way to a device that turns phases only.
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
/// The box around all points.
struct Box
{
    Vector low, high;

    explicit Box(const std::vector<CloudPoint>& points)
        : low(points[0].x, points[0].y, points[0].z), high(points[0].x, points[0].y, points[0].z)
    {
        for (const CloudPoint& p : points)
        {
            low = Vector(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
            high = Vector(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
        }
    }
};

/// A square window of the grid with the given width in metres around its centre.
LML_RECT Middle(Lumora& field, double width)
{
    field.SetWindow(-0.5 * width, 0.5 * width, -0.5 * width, 0.5 * width);
    return field.Window();
}

/// The light's amplitude in the middle of the field, averaged over speckles.
void SaveView(Lumora& field, double width, const std::string& path)
{
    Middle(field, width);
    PictureStyle style = example::Look(PICTURE_AMPLITUDE, COLOURS_GREY);
    style.window = true;
    style.clip = 99.5;
    SavePicture(path, field, style);
}

/// A pinhole in the Fourier plane: what lies beyond `share` of the band on either axis is cut off.
void Pinhole(Lumora& field, double share)
{
    field.Fft(-1);
    const double u = share * 0.5 * field.GetWidth(), v = share * 0.5 * field.GetHeight();
    for (int j = 0; j < field.GetNy(); ++j)
        for (int i = 0; i < field.GetNx(); ++i)
            if (std::fabs(field.X(i)) > u || std::fabs(field.Y(j)) > v)
                field.SetPixel(i, j, Complex(0.0, 0.0));
    field.Fft(1);
    field *= 1.0 / static_cast<double>(field.N());
}

/// What a device shows at a depth, and how it is judged against the field that was wanted there.
struct Shown
{
    double snr;        ///< of the field, a plain ratio
    double amplitudes; ///< the same of the amplitudes alone, which are all that one sees
    double share;      ///< of the device's light that is the picture's
};
Shown Judge(const Lumora& shown, const Lumora& wanted, double whole)
{
    Lumora seen(shown), right(wanted);
    seen.ConvToAbsolute();
    right.ConvToAbsolute();
    const ComplexDouble scale = seen.GetScaleFactor(right);
    return {shown.GetSnr(wanted, shown.GetScaleFactor(wanted)), seen.GetSnr(right, scale),
            right.GetSquareSum() * scale.Intensity() / whole};
}

double Decibel(double ratio)
{
    return 10.0 * std::log10(ratio);
}
} // namespace

int main(int argc, char** argv)
{
    std::string file = LML_EXAMPLE_DATA "/shell.ply";
    std::string out = ".";
    double unit = 1e-3;
    double width = 0.0;
    double distance = 0.0;
    double pitch = 4e-6;
    double wavelength = 532e-9;
    double tolerance = 1e-3;
    double density = 0.0;
    int size = 2048;
    int iterations = 30;
    int threads = 1;
    example::Options options("point_cloud_hologram", "makes a hologram of a cloud of points and shows it.");
    options.AddPositional("CLOUD", file, "PLY, CSV or XYZ file (default: a sea shell)");
    options.Add("--unit", unit, "metres per unit of the file");
    options.Add("--width", width, "metres across the object; 0: 65 % of the hologram's");
    options.Add("--density", density, "points per mm^2 of a mesh's surface; 0: its vertices");
    options.Add("--distance", distance, "metres to the object's middle; 0: where the light takes 73 % of the band");
    options.Add("--size", size, "samples of the hologram on each axis, a power of two");
    options.Add("--pitch", pitch, "metres per sample");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--tolerance", tolerance, "relative error of the light");
    options.Add("--iterations", iterations, "of the phase retrieval");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(size >= 128 && size <= 32768 && (size & (size - 1)) == 0, "--size must be a power of two from 128");
    options.RequireAboveZero("--unit", unit);
    options.RequireAboveZero("--wavelength", wavelength);
    options.RequireMetres("--distance", distance);
    options.RequirePitch(pitch, wavelength);
    options.Require(width >= 0.0 && density >= 0.0, "--width and --density must not be negative");
    SetNumThreads(threads);

    // The object's middle stands on the axis behind the hologram; its points scatter with phases of their own.
    CloudLoadOptions placing;
    placing.unit = unit;
    placing.centre = true;
    const Box asStored(LoadPointCloud(file.c_str(), placing));
    const double extent = std::max(asStored.high.x - asStored.low.x, asStored.high.y - asStored.low.y);
    if (width == 0.0)
        width = 0.65 * size * pitch;
    const double tangent = std::tan(std::asin(wavelength / (2.0 * pitch))); // of the steepest light
    if (distance == 0.0)
        distance = 0.5 * (width + size * pitch) / (0.73 * tangent);
    placing.scale = extent > 0.0 ? width / extent : 1.0;
    placing.position = Vector(0.0, 0.0, -distance);
    placing.density = density * 1e6;
    placing.cullBackFaces = true;
    placing.randomPhase = true;
    const std::vector<CloudPoint> points = LoadPointCloud(file.c_str(), placing);
    const std::int64_t count = static_cast<std::int64_t>(points.size());
    const Box box(points);
    options.Require(box.high.z < 0.0, "--distance must leave the object room behind the hologram");

    Lumora hologram(size, size, pitch, pitch, wavelength);
    hologram.Clear();
    CloudOptions how;
    how.tolerance = tolerance;
    const CloudPlan plan = hologram.PlanPointCloud(points.data(), count, how);
    std::printf("%lld points, %.3g by %.3g by %.3g mm at %g mm; hologram of %d x %d samples of %.3g um\n",
                static_cast<long long>(count), 1e3 * (box.high.x - box.low.x), 1e3 * (box.high.y - box.low.y),
                1e3 * (box.high.z - box.low.z), 1e3 * distance, size, size, 1e6 * pitch);
    std::printf("plan: %s, %d planes, %.0f MB, error below %.1e\n\n",
                plan.method == CLOUD_SLABS ? "slabs of depth" : "direct sums", plan.planes,
                static_cast<double>(plan.memory) * 1e-6, plan.error);
    const example::Seconds clock;
    hologram.AddPointCloud(points.data(), count, how);
    const double seconds = clock.Read();

    // The members for single points, measured on a few of them. Their waves end at the sampling's band.
    const struct
    {
        const char* name;
        std::function<void(Lumora&, const CloudPoint&)> add;
    } members[] = {
        {"AddSphericalWave (exact)",
         [](Lumora& f, const CloudPoint& p)
         {
             f.AddSphericalWave(Vector(p.x, p.y, p.z), Phase(p.phase), p.amplitude, WINDOW_RECT);
         }},
        {"AddSphericalWaveSqr (table)",
         [descriptor = SphericalWaveDescriptor(hologram.GetWavelength(), pitch, pitch, Vector(0, 0, 1))](
             Lumora& f, const CloudPoint& p)
         {
             f.AddSphericalWaveSqr(descriptor, p.x, p.y, p.z, p.amplitude, p.phase, WINDOW_RECT);
         }},
    };
    std::printf("| member | seconds for the cloud |\n|---|---|\n| AddPointCloud | %.2f |\n", seconds);
    for (const auto& member : members)
    {
        Lumora scrap(size, size, pitch, pitch, wavelength);
        scrap.Clear();
        const std::int64_t share = std::min<std::int64_t>(count, 40);
        const example::Seconds watch;
        for (std::int64_t n = 0; n < share; ++n)
            member.add(scrap, points[static_cast<std::size_t>(n * (count / share))]);
        const double all = watch.Read() / static_cast<double>(share) * static_cast<double>(count);
        std::printf("| %s, one by one | %.0f (from %lld points), %.0f times as long |\n", member.name, all,
                    static_cast<long long>(share), all / seconds);
    }
    Lumora detail(hologram);
    Middle(detail, 128.0 * pitch);
    PictureStyle phase = example::Look(PICTURE_PHASE);
    phase.window = true;
    SavePicture(out + "/cloud_phase.png", detail, phase);

    // Carried back by a depth, the light of the points there runs together again. On its own grid AsmProp would cut off
    // the steep half of it: the distance is more than N p^2 / lambda.
    const double view = std::min(1.15 * width, 0.98 * hologram.GetWidth());
    std::vector<CloudPoint> byDepth(points);
    std::sort(byDepth.begin(), byDepth.end(), [](const CloudPoint& a, const CloudPoint& b) { return a.z > b.z; });
    // The points around the depths that a twentieth, a half and nineteen twentieths of all stand before.
    const std::size_t near = std::max<std::size_t>(byDepth.size() / 100, 1);
    struct
    {
        const char* name;
        std::size_t at;
        double found[3];
    } depths[] = {{"front", byDepth.size() / 20, {}},
                  {"middle", byDepth.size() / 2, {}},
                  {"back", byDepth.size() - 1 - byDepth.size() / 20, {}}};
    std::printf("\n| picture | depth, mm | light on the front's points | the middle's | the back's |\n"
                "|---|---|---|---|---|\n");
    for (int picture = 0; picture < 3; ++picture)
    {
        const double z = byDepth[depths[picture].at].z;
        Lumora image(hologram);
        image.ExactAsmProp(z);
        for (auto& depth : depths)
        {
            const std::size_t first = depth.at - std::min(depth.at, near);
            for (std::size_t n = first; n < std::min(depth.at + near, byDepth.size()); ++n)
            {
                const int i = image.I(byDepth[n].x), j = image.J(byDepth[n].y);
                if (i >= 0 && j >= 0 && i < size && j < size)
                    depth.found[picture] += image.GetIntensity(i, j);
            }
        }
        const std::string path = out + "/cloud_" + depths[picture].name + ".png";
        SaveView(image, view, path);
        std::printf("| %s | %.2f |", path.c_str(), -1e3 * z);
        for (const auto& depth : depths)
            std::printf(" %.2f |", depth.found[picture] / depth.found[0]);
        std::printf("\n");
    }
    bool good = true;
    for (int k = 0; k < 3; ++k)
        for (int other = 0; other < 3; ++other)
            good = good && depths[k].found[k] >= depths[k].found[other];

    // What a device of 256 phases shows: at the middle depth, behind a pinhole that lets the object's light pass.
    const double middle = byDepth[byDepth.size() / 2].z;
    const double share = std::min(1.0, (0.5 * width + 0.5 * size * pitch) / -box.high.z / tangent);
    // Brighter than the largest amplitude allows: few samples of a diffuse object's hologram are near that.
    const double reference = 1.5 * std::sqrt(hologram.GetSquareAverage());
    Lumora wanted(hologram);
    Pinhole(wanted, share);
    wanted.ExactAsmProp(middle);
    const struct
    {
        const char* name;
        const char* file;
        std::function<void(Lumora&)> encode;
    } devices[] = {
        {"phases alone", "alone",
         [](Lumora& f)
         {
             f.SetConstAmplitude(1.0).HardClipPhase(256);
         }},
        {"EncodeDoublePhase", "double",
         [=](Lumora& f)
         {
             f.EncodeDoublePhase(reference).HardClipPhase(256);
         }},
        {"EncodeErrorDiffusion", "diffusion",
         [=](Lumora& f)
         {
             f.EncodeErrorDiffusion(256, reference);
         }},
        // Weighted Gerchberg-Saxton from there on: the amplitudes of the middle depth are wanted, any phases will do,
        // and so will any light that the pinhole stops, which goes back to the device as it came.
        {"RetrievePhase from a double phase", "retrieved",
         [&](Lumora& f)
         {
             Lumora stopped;
             PhaseRetrieval retrieval;
             retrieval.iterations = iterations;
             retrieval.weighted = true;
             retrieval.feedback = 0.1; // speckles have dark points, which more would chase at the cost of light
             retrieval.forward = [&](Lumora& light)
             {
                 stopped = light;
                 Pinhole(light, share);
                 stopped -= light;
                 light.ExactAsmProp(middle);
             };
             retrieval.back = [&](Lumora& light)
             {
                 light.ExactAsmProp(-middle);
                 light += stopped;
             };
             f.EncodeDoublePhase(0.7 * reference).RetrievePhase(wanted, retrieval).HardClipPhase(256);
         }},
    };
    const LML_RECT window = Middle(wanted, width);
    std::printf(
        "\n| on the device | signal-to-noise at %.1f mm, dB | of the amplitudes, dB | share of the light in the "
        "picture |\n|---|---|---|---|\n",
        -1e3 * middle);
    Shown first{};
    for (const auto& device : devices)
    {
        Lumora shown(hologram);
        device.encode(shown);
        const double whole = shown.GetSquareSumWhole();
        Pinhole(shown, share);
        shown.ExactAsmProp(middle);
        shown.SetWindow(window);
        const Shown result = Judge(shown, wanted, whole);
        std::printf("| %s | %.1f | %.1f | %.3f |\n", device.name, Decibel(result.snr), Decibel(result.amplitudes),
                    result.share);
        SaveView(shown, view, out + "/cloud_device_" + device.file + ".png");
        if (first.snr == 0.0)
            first = result;
        else
            good = good && result.amplitudes > 1.5 * first.amplitudes;
    }
    std::printf("check: %s\n", good ? "passed" : "FAILED");
    return good ? 0 : 1;
}
