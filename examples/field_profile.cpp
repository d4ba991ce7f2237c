// A double slit seen far away: FresnelProp and FourierProp beside the closed form, as CSV profiles and as a
// plot.
//
// Two slits of width a, centres b apart, in the far field: I(x) = (sin(alpha)/alpha)^2 cos^2(beta) with
// alpha = pi a x / (lambda d), beta = pi b x / (lambda d) (Born and Wolf, Principles of Optics, section 8.5).
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace LumoraLib;

namespace
{
constexpr double kPi = 3.141592653589793;

/// Intensities of the row through the middle, the largest one set to 1.
std::vector<double> Profile(const Lumora& field)
{
    std::vector<double> row(static_cast<std::size_t>(field.GetNx()));
    for (int i = 0; i < field.GetNx(); ++i)
        row[static_cast<std::size_t>(i)] = field.GetIntensity(i, field.GetNy() / 2);
    const double top = *std::max_element(row.begin(), row.end());
    for (double& v : row)
        v /= top;
    return row;
}

/// The middle of the screen, where the fringes are, as a line over the places of `field`.
ProfileLine Middle(const char* name, const Lumora& field, const std::vector<double>& profile)
{
    ProfileLine line = MakeProfileLine(field, X_AXIS, field.GetNy() / 2, PICTURE_INTENSITY, name);
    line.y = profile;
    const std::ptrdiff_t cut = static_cast<std::ptrdiff_t>(profile.size()) * 3 / 8;
    line.x = {line.x.begin() + cut, line.x.end() - cut};
    line.y = {line.y.begin() + cut, line.y.end() - cut};
    return line;
}
} // namespace

int main(int argc, char** argv)
{
    example::Options options("field_profile",
                             "A double slit by Fresnel and Fourier propagation, compared with the closed form.");
    double distance = 2.0;
    double width = 80e-6;
    double separation = 320e-6;
    double pitch = 10e-6;
    double wavelength = 632.8e-9;
    int threads = 1;
    std::string out = ".";
    options.Add("--distance", distance, "metres from the slits to the screen");
    options.Add("--width", width, "width of each slit in metres");
    options.Add("--separation", separation, "distance of the slits' centres in metres");
    options.Add("--pitch", pitch, "sampling pitch of the slits in metres");
    options.Add("--wavelength", wavelength, "metres");
    options.AddCommon(threads, out, "folder for profiles and picture");
    if (!options.Read(argc, argv))
        return options.ExitCode();
    SetNumThreads(threads);

    Lumora slits(1024, 64, pitch, pitch, wavelength);
    slits.Clear();
    for (const double centre : {-separation / 2.0, separation / 2.0})
        for (int j = 0; j < slits.GetNy(); ++j)
            for (int i = 0; i < slits.GetNx(); ++i)
                if (std::fabs(slits.X(i) - centre) < width / 2.0)
                    slits.SetPixel(i, j, Complex(1.0, 0.0));

    Lumora fresnel(slits);
    fresnel.FresnelProp(distance);
    Lumora fourier(slits);
    fourier.FourierProp(distance);

    // The closed form at the samples of the screen; the width in samples is what the grid really holds.
    int held = 0;
    for (int i = slits.GetNx() / 2; i < slits.GetNx(); ++i)
        held += slits.GetReal(i, 0) > 0.0 ? 1 : 0;
    const double a = held * pitch;
    std::vector<double> theory(static_cast<std::size_t>(fourier.GetNx()));
    for (int i = 0; i < fourier.GetNx(); ++i)
    {
        const double x = fourier.X(i);
        const double alpha = kPi * a * x / (wavelength * distance);
        const double beta = kPi * separation * x / (wavelength * distance);
        const double envelope = alpha == 0.0 ? 1.0 : std::sin(alpha) / alpha;
        theory[static_cast<std::size_t>(i)] = envelope * envelope * std::cos(beta) * std::cos(beta);
    }
    const std::vector<double> byFresnel = Profile(fresnel);
    const std::vector<double> byFourier = Profile(fourier);
    double worstFresnel = 0.0;
    double worstFourier = 0.0;
    const int n = fourier.GetNx();
    for (int i = n / 2 - n / 8; i < n / 2 + n / 8; ++i)
    {
        const std::size_t s = static_cast<std::size_t>(i);
        worstFresnel = std::max(worstFresnel, std::fabs(byFresnel[s] - theory[s]));
        worstFourier = std::max(worstFourier, std::fabs(byFourier[s] - theory[s]));
    }

    const auto profile = [&out](const Lumora& field, const char* file)
    {
        SaveWhole((out + file).c_str(), [&](const char* name) { field.SaveAsCsv(name, X_AXIS, field.GetNy() / 2); });
    };
    profile(fresnel, "/profile_fresnel.csv");
    profile(fourier, "/profile_fourier.csv");
    ProfileStyle style;
    char title[80];
    std::snprintf(title, sizeof title, "Double slit at %g m: propagated and in closed form", distance);
    style.title = title;
    style.xLabel = "x on the screen";
    style.yLabel = "intensity of the maximum";
    style.yLow = -0.03;
    style.yHigh = 1.05;
    std::vector<ProfileLine> lines = {Middle("closed form", fourier, theory), Middle("FresnelProp", fresnel, byFresnel),
                                      Middle("FourierProp, every fourth sample", fourier, byFourier)};
    // The three lie on each other: the last one as marks.
    ProfileLine& marks = lines.back();
    marks.markers = true;
    const std::size_t kept = marks.y.size() / 4;
    for (std::size_t mark = 0; mark < kept; ++mark)
    {
        marks.x[mark] = marks.x[4 * mark];
        marks.y[mark] = marks.y[4 * mark];
    }
    marks.x.resize(kept);
    marks.y.resize(kept);
    SaveProfilePlot(out + "/field_profile.png", lines, style);

    std::printf("screen pitch          %.4g m (wavelength * distance / (Nx * pitch))\n", fourier.GetPx());
    std::printf("fringe spacing        %.4g m (wavelength * distance / separation)\n",
                wavelength * distance / separation);
    std::printf("FourierProp - theory  %.2e of the maximum\n", worstFourier);
    std::printf("FresnelProp - theory  %.2e of the maximum\n", worstFresnel);
    std::printf("profiles and picture  %s/profile_fresnel.csv profile_fourier.csv field_profile.png\n", out.c_str());
    const bool good = worstFourier < 0.02 && worstFresnel < 0.02;
    std::printf(good ? "the profiles agree with the closed form\n"
                     : "the profiles do NOT agree with the closed form\n");
    return good ? 0 : 1;
}
