// A slide lit by inclined light, observed on a plane that stands aside: by the shifted angular spectrum and by shifted
// Fresnel propagation, and on a mosaic of tiles larger than the slide's own grid, tile by tile with progress.
//
// The inclination leads the light to the centre of the shifted plane: its centroid must arrive there, and the field
// must be the direct sum of the waves of all samples.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <string>

using namespace LumoraLib;

namespace
{
/// The Rayleigh-Sommerfeld sum over the samples of the source.
std::complex<double> WaveSum(const Lumora& source, const Vector& at)
{
    const double k = source.GetWavenumber();
    std::complex<double> sum = 0.0;
    for (int j = 0; j < source.GetNy(); ++j)
        for (int i = 0; i < source.GetNx(); ++i)
        {
            const std::complex<double> sample(source.GetReal(i, j), source.GetImag(i, j));
            if (std::norm(sample) < 1e-12)
                continue;
            const Vector way = at - source.GetOrigin() - Vector(source.X(i), source.Y(j), 0.0);
            const double r = way.GetLength();
            sum += sample * (way.z / (r * r)) * std::complex<double>(1.0 / r, -k) * std::polar(1.0, k * r);
        }
    return sum * source.GetPx() * source.GetPy() / 6.283185307179586;
}

/// Relative l2 difference of the field from the direct sum at 7 by 7 points across it.
double DifferenceFromSum(const Lumora& field, const Lumora& source)
{
    double difference = 0.0;
    double norm = 0.0;
    for (int b = 1; b < 8; ++b)
        for (int a = 1; a < 8; ++a)
        {
            const int i = a * field.GetNx() / 8 + 1;
            const int j = b * field.GetNy() / 8 - 1;
            const auto sum = WaveSum(source, field.GetGlobalPosition(Vector(field.X(i), field.Y(j), 0.0)));
            difference += std::norm(std::complex<double>(field.GetReal(i, j), field.GetImag(i, j)) - sum);
            norm += std::norm(sum);
        }
    return std::sqrt(difference / norm);
}

/// Where the light's middle stands, in global coordinates.
Vector Centroid(const Lumora& field)
{
    double sum = 0.0;
    Vector moment;
    for (int j = 0; j < field.GetNy(); ++j)
        for (int i = 0; i < field.GetNx(); ++i)
        {
            sum += field.GetIntensity(i, j);
            moment += Vector(field.X(i), field.Y(j), 0.0) * field.GetIntensity(i, j);
        }
    return field.GetOrigin() + moment * (1.0 / sum);
}

/// The middle of the field, which the light fills; faint parts are lifted.
void SaveMiddle(const Lumora& field, const std::string& path)
{
    Lumora shown(field);
    const double half = 0.3125 * field.GetWidth();
    shown.SetWindow(-half, half, -half, half);
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
    double distance = 0.02;
    double shiftX = 0.6e-3;
    double shiftY = -0.35e-3;
    double pitch = 4e-6;
    double wavelength = 532e-9;
    int size = 512;
    int tiles = 2;
    int threads = 1;
    example::Options options("shifted_plane", "carries a slide in inclined light to a plane that stands aside.");
    options.AddPicture(picture);
    options.Add("--distance", distance, "metres to the shifted plane");
    options.Add("--shift-x", shiftX, "metres aside");
    options.Add("--shift-y", shiftY, "metres up");
    options.Add("--pitch", pitch, "metres per sample");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--size", size, "samples per side, a power of two");
    options.Add("--tiles", tiles, "tiles per side of the mosaic, a power of two");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    const auto isPower = [](int n, int most)
    {
        return n > 0 && n <= most && (n & (n - 1)) == 0;
    };
    options.Require(isPower(size, 4096) && size >= 64, "--size must be a power of two from 64 to 4096");
    options.Require(isPower(tiles, 16), "--tiles must be a power of two up to 16");
    options.Require(distance > 0.0 && pitch > 0.0 && wavelength > 0.0,
                    "--distance, --pitch, --wavelength must be above 0");
    SetNumThreads(threads);

    // The light's direction; its frequency and half the slide's band beside it must fit the sampling.
    const double way = std::sqrt(shiftX * shiftX + shiftY * shiftY + distance * distance);
    const double finest = 10.0 * pitch;
    options.Require(std::fmax(std::fabs(shiftX), std::fabs(shiftY)) / way / wavelength + 1.0 / finest < 0.5 / pitch,
                    "the shift is too steep for this pitch");
    Lumora source(size, size, pitch, pitch, wavelength);
    example::PlaceSlide(source, picture, 0.5 * source.GetWidth(), 0.5 * source.GetHeight(), finest);
    const Vector start = Centroid(source);
    SaveMiddle(source, out + "/shifted_source.png");
    source.MultiplyPlaneWave(shiftX / way, shiftY / way, Phase(0.0));
    PrintL("1/4 slide of %.3g mm, light inclined by %.3g degrees\n", 0.5 * source.GetWidth() * 1e3,
           std::asin(std::hypot(shiftX, shiftY) / way) / Deg);

    // Both families know the geometry from the two objects alone.
    Lumora spectrum(size, size, pitch, pitch, wavelength);
    spectrum.SetOrigin(Vector(shiftX, shiftY, distance));
    Lumora fresnel(spectrum);
    const example::Seconds clock;
    spectrum.ShiftedAsmProp(source, 1);
    const double first = clock.Read();
    fresnel.ShiftedFresnelProp(source);
    PrintL("2/4 shifted angular spectrum in %.4f s, shifted Fresnel in %.4f s\n", first, clock.Read() - first);
    SaveMiddle(spectrum, out + "/shifted_asm.png");
    SaveMiddle(fresnel, out + "/shifted_fresnel.png");

    // A plane larger than the source's grid, one tile after the other: ShiftedAsmPropEx with a look at the clock
    // between.
    Lumora mosaic(size * tiles, size * tiles, pitch, pitch, wavelength);
    mosaic.Clear().SetOrigin(spectrum.GetOrigin());
    Lumora tile(size, size, pitch, pitch, wavelength);
    example::Progress progress("tiles", static_cast<long>(tiles) * tiles);
    for (int row = 0; row < tiles; ++row)
        for (int column = 0; column < tiles; ++column)
        {
            const double x = (column + (1 - tiles) * 0.5) * tile.GetWidth();
            const double y = (row + (1 - tiles) * 0.5) * tile.GetHeight();
            tile.SetOrigin(mosaic.GetOrigin() + mosaic.GetUnitVectorX() * x + mosaic.GetUnitVectorY() * y);
            tile.ShiftedAsmProp(source, 1);
            mosaic.Add(tile);
            progress.Report(static_cast<long>(row) * tiles + column + 1);
        }
    PictureStyle wide = example::Look(PICTURE_DECIBEL);
    wide.decibels = 90.0;
    SavePicture(out + "/shifted_mosaic.png", mosaic, wide);
    Lumora atOnce(mosaic);
    atOnce.ShiftedAsmPropEx(source);
    const Complex* const mine = mosaic.GetDataPointer();
    const bool same =
        std::equal(mine, mine + mosaic.N(), atOnce.GetDataPointer(),
                   [](const Complex& a, const Complex& b) { return a.Real() == b.Real() && a.Imag() == b.Imag(); });
    PrintL("3/4 mosaic of %d by %d tiles, %s as in one call\n", tiles, tiles, same ? "the same samples" : "NOT");

    const double errorSpectrum = DifferenceFromSum(spectrum, source);
    const double errorFresnel = DifferenceFromSum(fresnel, source);
    // A real slide has as much light on either side of its direction: the centroid goes straight.
    const Vector arrived = Centroid(mosaic) - start;
    const double missed = std::hypot(arrived.x - shiftX, arrived.y - shiftY);
    PrintL("4/4 compared with the direct sum at 49 points\n");
    std::printf("shifted angular spectrum, difference from the sum  %.2e\n", errorSpectrum);
    std::printf("shifted Fresnel, difference from the sum           %.2e\n", errorFresnel);
    std::printf("centroid arrived at                                %.4f, %.4f mm (%.4f, %.4f), %.2f samples beside\n",
                arrived.x * 1e3, arrived.y * 1e3, shiftX * 1e3, shiftY * 1e3, missed / pitch);
    std::printf("pictures                                           %s/shifted_source.png shifted_asm.png "
                "shifted_fresnel.png shifted_mosaic.png\n",
                out.c_str());
    // What the paraxial phase leaves out is k z theta^4 / 8 at the angle theta; twice that covers the slide's own
    // spread.
    const double theta = std::hypot(shiftX, shiftY) / distance;
    const double paraxial = 2.0 * source.GetWavenumber() * distance * std::pow(theta, 4.0) / 8.0 + 1e-3;
    const bool good = same && errorSpectrum < 1e-2 && errorFresnel < paraxial && missed < pitch;
    std::printf(good ? "the fields agree with theory\n" : "the fields do NOT agree with theory\n");
    return good ? 0 : 1;
}
