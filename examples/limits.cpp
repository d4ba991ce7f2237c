// What each propagator does outside its limits: every one runs once inside its range and once outside, beside a field
// that is known to be right there, and saves the two next to each other (right answer left, its own answer right).
//
// The limits are those of docs/choosing.md; the check is that they tell good from bad.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using namespace LumoraLib;

namespace
{
constexpr double kLambda = 532e-9;
constexpr double kPitch = 4e-6;
constexpr int kSize = 256;
constexpr double kWidth = kSize * kPitch;

/// An F about half as high as the grid of 256 samples, its middle at x = place, in light whose direction has the cosine
/// `inclination` against x. Drawn at any pitch: the edges are as soft as one sample of the standard pitch.
Lumora Letter(int n, double pitch, double place = 0.0, double inclination = 0.0)
{
    Lumora f(n, n, pitch, pitch, kLambda);
    const auto edge = [](double t)
    {
        return 0.5 + 0.5 * std::tanh(t / (0.7 * kPitch));
    };
    const auto bar = [&](double x, double y, double x1, double x2, double y1, double y2)
    {
        return edge(x - x1) * edge(x2 - x) * edge(y - y1) * edge(y2 - y);
    };
    const double u = 0.12 * kWidth;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            const double x = f.X(i) - place;
            const double y = f.Y(j);
            const double value = std::fmax(
                std::fmax(bar(x, y, -1.3 * u, -0.6 * u, -2 * u, 2 * u), bar(x, y, -1.3 * u, 1.3 * u, 1.3 * u, 2 * u)),
                bar(x, y, -1.3 * u, 0.7 * u, -0.35 * u, 0.35 * u));
            f.SetPixel(i, j, Complex(value, 0.0));
        }
    return f.MultiplyPlaneWave(inclination, 0.0, Phase(0.0));
}

/// The field on the grid of `like`, cut or interpolated out of a field on a plane of its own size.
Lumora Seen(const Lumora& like, const Lumora& field)
{
    Lumora f(like);
    f.ResamplingCopy(field, CUBIC8_INTERPOL);
    return f;
}

/// Truth at near and middle distances: the angular spectrum on a grid eight times as wide.
Lumora WideGrid(const Lumora& like, double d, double place = 0.0, double inclination = 0.0)
{
    Lumora f = Letter(8 * kSize, kPitch, place, inclination);
    f.AsmProp(d);
    return Seen(like, f);
}

/// Truth far away: the Fresnel sum of a source drawn four times finer, in tiles.
Lumora FineSource(const Lumora& like, double inclination = 0.0)
{
    const Lumora source = Letter(4 * kSize, kPitch / 4.0, 0.0, inclination);
    Lumora f(like);
    f.ShiftedFresnelPropEx(source);
    return f;
}

using Answer = std::pair<Lumora, Lumora>; // truth and the propagator's own

struct Case
{
    const char* name;
    std::function<Answer(double)> run;
    double inside, outside; // distances in metres, or an inclination
    bool amplitudes;        // compared without phases
};

Lumora Far(double x, double d, double pitch = kPitch)
{
    Lumora f(kSize, kSize, pitch, pitch, kLambda);
    return f.Clear().SetOrigin(Vector(x, 0.0, d));
}

Answer Raw(double d)
{
    Lumora f = Letter(kSize, kPitch);
    f.RawAsmProp(d);
    return {WideGrid(f, d), f};
}

/// A letter at the right edge in inclined light: what leaves the grid comes in at the left.
Answer Asm(double d)
{
    const double place = 0.22 * kWidth;
    Lumora f = Letter(kSize, kPitch, place, 0.025);
    f.AsmProp(d);
    return {WideGrid(f, d, place, 0.025), f};
}

Answer ExactAsm(double d)
{
    Lumora f = Letter(kSize, kPitch);
    f.ExactAsmProp(d);
    return {FineSource(f), f};
}

Answer Fresnel(double d)
{
    Lumora f = Letter(kSize, kPitch);
    f.FresnelProp(d);
    f *= ComplexDouble(0.0, -kPitch * kPitch / (kLambda * d));
    return {WideGrid(f, d), f};
}

Answer Fourier(double d)
{
    Lumora f = Letter(kSize, kPitch);
    Lumora fresnel(f);
    return {fresnel.FresnelProp(d), f.FourierProp(d)};
}

/// The light is led to the plane beside.
Answer ShiftedAsm(double d)
{
    const double shift = 0.4 * kWidth;
    const double inclination = shift / std::hypot(shift, d);
    Lumora f = Far(shift, d);
    f.ShiftedAsmProp(Letter(kSize, kPitch, 0.0, inclination), 1);
    return {FineSource(f, inclination), f};
}

Answer ShiftedFresnel(double d)
{
    Lumora f = Far(0.0, d, 2.0 * kPitch);
    f.ShiftedFresnelProp(Letter(kSize, kPitch));
    return {WideGrid(f, d), f};
}

/// `place` moves the letter towards the edge of the grid that it is rotated on; the truth has room around it.
Answer Rotated(double place)
{
    RMatrix turn(Vector(std::sin(0.3), 0.0, std::cos(0.3)), Vector(0.0, 0.0, 1.0));
    const auto rotate = [&](int n)
    {
        Lumora f(n, n, kPitch, kPitch, kLambda);
        f.Rotate(Letter(n, kPitch, place), turn, nullptr, CUBIC4_INTERPOL, true);
        return f;
    };
    const Lumora f = rotate(kSize);
    return {Seen(f, rotate(4 * kSize)), f};
}

double Difference(const Answer& answer, bool amplitudes)
{
    const auto& [truth, own] = answer;
    double difference = 0.0;
    double norm = 0.0;
    for (int j = 1; j < kSize - 1; ++j)
        for (int i = 1; i < kSize - 1; ++i)
        {
            const std::complex<double> a(truth.GetReal(i, j), truth.GetImag(i, j));
            const std::complex<double> b(own.GetReal(i, j), own.GetImag(i, j));
            difference += amplitudes ? std::pow(std::abs(a) - std::abs(b), 2.0) : std::norm(a - b);
            norm += std::norm(a);
        }
    return std::sqrt(difference / norm);
}

/// Truth and answer side by side on one scale.
void Save(const Answer& answer, const Case& c, double difference, const std::string& path)
{
    PictureStyle style = example::LookAlone("right");
    style.textSize = 1.4;
    style.colourBar = false;
    const double top = GetPictureRange(answer.first, style).high;
    style.high = std::fmin(1.3 * top, std::fmax(top, GetPictureRange(answer.second, style).high));
    const PictureImage right = RenderPicture(answer.first, style);
    char title[80];
    std::snprintf(title, sizeof title, "wrong: %s, %.0f %% off", c.name, 100.0 * difference);
    style.title = title;
    SavePng(path, JoinPictures({right, RenderPicture(answer.second, style)}, 2, 24));
}
} // namespace

int main(int argc, char** argv)
{
    std::string out = ".";
    int threads = 1;
    example::Options options("limits", "shows what each propagator does outside its limits.");
    options.AddCommon(threads, out);
    if (!options.Read(argc, argv))
        return options.ExitCode();
    SetNumThreads(threads);

    const double near = kSize * kPitch * kPitch / kLambda; // N p^2 / lambda, 7.7 mm
    const std::vector<Case> cases = {
        {"RawAsmProp", Raw, 0.8 * near, 8.0 * near, false},
        {"AsmProp", Asm, 0.3 * near, 1.3 * near, false},
        {"ExactAsmProp", ExactAsm, 5.0 * near, 120.0 * near, false},
        {"FresnelProp", Fresnel, 2.0 * near, 0.3 * near, false},
        {"FourierProp", Fourier, 1000.0 * near, 1.5 * near, true},
        {"ShiftedAsmProp", ShiftedAsm, 5.0 * near, 120.0 * near, false},
        {"ShiftedFresnelProp", ShiftedFresnel, 4.0 * near, 0.9 * near, false},
        {"Rotate", Rotated, 0.0, 0.34 * kWidth, false},
    };
    bool good = true;
    std::printf("%-20s %12s %12s %14s %14s\n", "", "inside", "outside", "off inside", "off outside");
    for (const Case& c : cases)
    {
        const double inside = Difference(c.run(c.inside), c.amplitudes);
        const Answer answer = c.run(c.outside);
        const double outside = Difference(answer, c.amplitudes);
        Save(answer, c, outside, out + "/choosing_" + c.name + ".png");
        std::printf("%-20s %10.4g m %10.4g m %14.4f %14.4f\n", c.name, c.inside, c.outside, inside, outside);
        good = good && inside < 0.05 && outside > 0.1 && outside > 4.0 * inside;
    }
    std::printf("pictures %s/choosing_*.png\n", out.c_str());
    std::printf(good ? "the limits hold\n" : "the limits do NOT tell good from bad\n");
    return good ? 0 : 1;
}
