// A slide on a tilted plane: its field carried to the parallel plane through its centre and on, and compared with the
// direct sum of the waves of all its samples.
//
// A plane wave along the global z axis lights the slide, whose plane is turned about the y axis. In the slide's own
// coordinates the light is inclined, so the field there is the slide times exp(2 pi i (u x + v y)) with (u, v) the
// frequency of the z axis. Rotate() gives the field on the parallel plane without its carrier, the frequency that the
// slide's own axis has there; multiplied in, the light goes along z again and AsmProp() may carry it on.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

using namespace LumoraLib;

namespace
{
constexpr double kTurn = 6.283185307179586;

/// The field at a point in space: the Rayleigh-Sommerfeld sum over the samples of a plane.
std::complex<double> WaveSum(const Lumora& plane, const RMatrix& toGlobal, const Vector& at)
{
    const Vector normal = plane.GetNormalVector();
    const double k = plane.GetWavenumber();
    const double area = plane.GetPx() * plane.GetPy();
    std::complex<double> sum = 0.0;
    for (int j = 0; j < plane.GetNy(); ++j)
        for (int i = 0; i < plane.GetNx(); ++i)
        {
            const std::complex<double> sample(plane.GetReal(i, j), plane.GetImag(i, j));
            if (std::norm(sample) < 1e-12)
                continue;
            const Vector way = at - (toGlobal * Vector(plane.X(i), plane.Y(j), 0.0) + plane.GetOrigin());
            const double r = way.GetLength();
            sum += sample * (area / kTurn * (normal * way) / (r * r)) * std::complex<double>(1.0 / r, -k) *
                   std::polar(1.0, k * r);
        }
    return sum;
}

/// The middle of the field, one and a half slides wide.
void SaveMiddle(const Lumora& field, double extent, const std::string& path)
{
    Lumora shown(field);
    shown.SetWindow(-0.75 * extent, 0.75 * extent, -0.75 * extent, 0.75 * extent);
    PictureStyle style = example::Look();
    style.window = true;
    style.gamma = 1.5;
    SavePicture(path, shown, style);
}
} // namespace

int main(int argc, char** argv)
{
    std::string picture = LML_EXAMPLE_DATA "/target.bmp";
    std::string out = ".";
    double tilt = 30.0;
    double distance = 1e-3;
    double wavelength = 633e-9;
    int size = 1024;
    int threads = 1;
    example::Options options("tilted_plane", "carries a slide on a tilted plane to the parallel plane and on.");
    options.AddPicture(picture);
    options.Add("--tilt", tilt, "degrees between the slide and the parallel plane");
    options.Add("--distance", distance, "metres from the parallel plane to the last one");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--size", size, "samples per side");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(std::isfinite(tilt) && std::fabs(tilt) <= 45.0, "--tilt must be within 45 degrees");
    options.RequireMetres("--distance", distance);
    options.RequireAboveZero("--wavelength", wavelength);
    options.Require(size >= 256 && size <= 8192, "--size must be from 256 to 8192");
    SetNumThreads(threads);

    // The inclined light asks for sin(tilt) / wavelength periods a metre, and the slide for its own band on either
    // side.
    const double angle = tilt * Deg;
    const double pitch = 0.5 * wavelength / (std::fmax(std::sin(std::fabs(angle)), 0.5) + 0.13);
    Lumora slide(size, size, pitch, pitch, wavelength);
    const double extent = 0.25 * slide.GetWidth();
    // The edges are smoothed to the band that the grid carries beside the inclination of the light.
    example::PlaceSlide(slide, picture, extent, extent, 16.0 * pitch);
    SaveMiddle(slide, extent, out + "/tilted_slide.png");

    slide.SetNormalVector(Vector(std::sin(angle), 0.0, std::cos(angle)));
    const Vector light = slide.GetCRMatrixGL() * Vector(0.0, 0.0, 1.0); // the z axis in the slide's coordinates
    slide.MultiplyPlaneWave(light.x, light.y, Phase(0.0));
    PrintL("1/4 slide of %.3g mm on a plane tilted by %g degrees, %d by %d samples\n", extent * 1e3, tilt,
           slide.GetNx(), slide.GetNy());

    const example::Seconds clock;
    RMatrix rotation = slide.GetCRMatrixLG(); // from the slide's coordinates to the global ones
    SFrequency carrier;
    Lumora parallel(size, size, pitch, pitch, wavelength);
    parallel.Rotate(slide, rotation, &carrier, CUBIC8_INTERPOL, true);
    parallel.MultiplyPlaneWave(carrier.u * wavelength, carrier.v * wavelength, Phase(0.0));
    PrintL("2/4 rotated in %.4f s\n", clock.Read());
    SaveMiddle(parallel, extent, out + "/tilted_parallel.png");

    // Planes before and behind show the columns of the slide that cross them sharp, the others blurred.
    const double depth = 0.4 * extent * std::sin(std::fabs(angle));
    for (const auto& [name, z] : {std::pair{"/tilted_before.png", -depth}, {"/tilted_behind.png", depth}})
    {
        Lumora focus(parallel);
        SaveMiddle(focus.AsmProp(z), extent, out + name);
    }
    Lumora last(parallel);
    last.AsmProp(distance);
    SaveMiddle(last, extent, out + "/tilted_last.png");
    PrintL("3/4 carried on over %g m\n", distance);

    // Theory: the sum of the waves of all samples, at points across the last plane. Rotate() keeps the sum of the
    // squares, while the light itself keeps its amplitude and covers cos(tilt) times as many samples: one factor
    // between the two.
    std::vector<std::complex<double>> is, expected;
    const RMatrix toGlobal = slide.GetCRMatrixLG();
    const int step = static_cast<int>(0.42 * extent / pitch / 3.0);
    for (int b = -3; b <= 3; ++b)
        for (int a = -3; a <= 3; ++a)
        {
            const int i = size / 2 + a * step;
            const int j = size / 2 + b * step;
            is.emplace_back(last.GetReal(i, j), last.GetImag(i, j));
            expected.push_back(WaveSum(slide, toGlobal, last.GetGlobalPosition(Vector(last.X(i), last.Y(j), 0.0))));
        }
    std::complex<double> cross = 0.0;
    double theirs = 0.0;
    for (std::size_t n = 0; n < is.size(); ++n)
    {
        cross += is[n] * std::conj(expected[n]);
        theirs += std::norm(expected[n]);
    }
    const std::complex<double> factor = cross / theirs;
    double error = 0.0;
    for (std::size_t n = 0; n < is.size(); ++n)
        error += std::norm(is[n] / factor - expected[n]);
    error = std::sqrt(error / theirs);
    PrintL("4/4 compared with the direct sum at %d points\n", static_cast<int>(is.size()));

    const double theory = 1.0 / std::sqrt(std::cos(angle));
    const double carrierError = std::hypot(carrier.u * wavelength - std::sin(angle), carrier.v * wavelength);
    std::printf("carrier                        %.6g, %.6g periods a metre (sin(tilt) / wavelength = %.6g)\n",
                carrier.u, carrier.v, std::sin(angle) / wavelength);
    std::printf("difference from the direct sum %.2e of its size\n", error);
    std::printf("amplitude against the sum      %.4f (1 / sqrt(cos(tilt)) = %.4f), phase %.2e rad\n", std::abs(factor),
                theory, std::arg(factor));
    std::printf("pictures                       %s/tilted_slide.png tilted_parallel.png tilted_before.png "
                "tilted_behind.png tilted_last.png\n",
                out.c_str());
    const bool good = carrierError < 1e-9 && error < 0.02 && std::fabs(std::abs(factor) / theory - 1.0) < 0.01 &&
                      std::fabs(std::arg(factor)) < 0.01;
    std::printf(good ? "the field agrees with the direct sum\n" : "the field does NOT agree with the direct sum\n");
    return good ? 0 : 1;
}
