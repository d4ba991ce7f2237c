// One suite of properties over every propagator: linear, energy kept, there and back, shifts, agreement with direct
// diffraction sums, frames, polar sources. (FusedTest has state, bits and threads.)
#include "TestTools.h"

using namespace lmltest;

namespace
{
constexpr double kLambda = 5e-7;
// The sampled source repeats every lambda z / p = 333 um behind it: beams and grids stay well inside.
constexpr double kP = 3e-6;
constexpr double kZ = 2e-3;

enum class WindowOf
{
    Source,
    Destination,
    Grid
};

/// A way from plane to plane. `run` gives the field behind a source, scaled to what light does.
struct Propagator
{
    const char* name;
    std::function<Lumora(const Lumora&)> run;
    double sumError = 0.0;    // relative l2 distance from the Rayleigh-Sommerfeld sum; 0: another quantity
    double energyError = 0.0; // of a beam that stays on both grids; 0: it does not
    WindowOf window = WindowOf::Source;
    bool placed = false;     // the destination stands where the caller puts it
    bool translates = false; // a source moved round its grid moves the result
    bool linear = true;
};

/// Zeros of nx by ny at a lateral place behind a source at the coordinate origin, with a window of its own.
Lumora Behind(const Lumora& source, int nx, int ny, double x = 0.0, double y = 0.0, double pitch = kP)
{
    Lumora f(nx, ny, pitch, pitch, source.GetWavelength());
    f.Clear().SetOrigin(Vector(x, y, kZ)).SetWindow(0, 1, 0, 1);
    return f;
}

Lumora& Times(Lumora& f, Value c)
{
    return f *= ComplexDouble(c.real(), c.imag());
}

template <class Step>
std::function<Lumora(const Lumora&)> InPlace(const Step& step)
{
    return [step](const Lumora& source)
    {
        Lumora f(source);
        step(f);
        return f;
    };
}

template <class Step>
std::function<Lumora(const Lumora&)> Onto(double x, double y, double pitch, const Step& step, int growX, int growY)
{
    return [=](const Lumora& source)
    {
        const auto size = [](int n, int grow)
        {
            return grow >= 0 ? n << grow : std::max(n >> -grow, 1);
        };
        Lumora f = Behind(source, size(source.GetNx(), growX), size(source.GetNy(), growY), x, y, pitch);
        step(f, source);
        return f;
    };
}

ShiftedFresnelPropDescriptor DescriptorOf(const Lumora& f, const Lumora& s)
{
    return ShiftedFresnelPropDescriptor(kZ, f.GetPx(), f.GetPy(), s);
}

/// The oldest forms neither scale nor move.
void Finish(Lumora& f)
{
    f *= 1.0 / double(f.N());
    f.SetOrigin(f.GetOrigin() + Vector(0, 0, kZ));
}

/// The single-transform forms give bare sums: times -i p q / (lambda z).
void ScaledFresnel(Lumora& f)
{
    const double area = f.GetPx() * f.GetPy();
    Times(f.FresnelProp(kZ), Value(0.0, -area / (f.GetWavelength() * kZ)));
}

void ScaledFourier(Lumora& f)
{
    const double area = f.GetPx() * f.GetPy();
    Times(f.FourierProp(kZ), area / (f.GetWavelength() * kZ));
}

Lumora Tilted(const Lumora& source)
{
    Lumora f = Behind(source, source.GetNx(), source.GetNy());
    RMatrix turn(Vector(0.02, 0.0, 1.0), Vector(0.0, 0.0, 1.0));
    f.Rotate(source, turn, nullptr, CUBIC4_INTERPOL, false);
    return f;
}

// clang-format off
#define IN_PLACE(...) InPlace([](Lumora& f) { __VA_ARGS__; })
#define ONTO(x, y, pitch, ...) Onto(x, y, pitch, [](Lumora& f, const Lumora& s) { __VA_ARGS__; }, 0, 0)
#define ONTO_SIZES(x, y, pitch, growX, growY, ...) Onto(x, y, pitch, [](Lumora& f, const Lumora& s) { __VA_ARGS__; }, growX, growY)

const std::vector<Propagator>& Propagators()
{
    constexpr WindowOf source = WindowOf::Source, dest = WindowOf::Destination, grid = WindowOf::Grid;
    static const std::vector<Propagator> table = {
        {"RawAsmProp", IN_PLACE(f.RawAsmProp(kZ)), 1e-4, 1e-5, source, false, true},
        {"AsmProp", IN_PLACE(f.AsmProp(kZ)), 1e-4, 1e-5, source, false, true},
        {"ExactAsmProp", IN_PLACE(f.ExactAsmProp(kZ)), 1e-4, 1e-4},
        {"SPWProp", IN_PLACE(f.SPWProp(kZ)), 1e-4, 1e-5, source, false, true},
        {"_Old_SPWProp", IN_PLACE(Finish(f._Old_SPWProp(kZ))), 1e-4, 1e-5, source, false, true},
        {"SPWPropFsTbl", IN_PLACE(Finish(f.Fft(-1).SPWPropFsTbl(kZ, TrigTable(20)).Fft(1))), 5e-4, 1e-5, source, false, true},
        {"FresnelProp", IN_PLACE(ScaledFresnel(f)), 5e-3, 1e-4}, // phases rounded to float
        {"FourierProp", IN_PLACE(ScaledFourier(f)), 0.0, 1e-4},
        {"ShiftedAsmProp", ONTO(0, 0, kP, f.ShiftedAsmProp(s, 1)), 1e-4, 1e-4, source, true},
        {"ShiftedAsmProp aside", ONTO(12e-6, -8e-6, kP, f.ShiftedAsmProp(s, 2)), 1e-4, 1e-4, source, true},
        {"ShiftedAsmPropAdd", ONTO(-16e-6, 4e-6, kP, f.ShiftedAsmPropAdd(s, 1)), 1e-4, 1e-4, dest, true},
        {"ShiftedAsmPropEx", ONTO_SIZES(4e-6, 8e-6, kP, 1, 0, f.ShiftedAsmPropEx(s)), 5e-3, 5e-3, dest, true},
        {"ShiftedAsmPropAddEx", ONTO_SIZES(0, -8e-6, kP, 1, 1, f.ShiftedAsmPropAddEx(s)), 5e-3, 5e-3, dest, true},
        {"ShiftedFresnelProp", ONTO(7e-6, -3e-6, 3.5e-6, f.ShiftedFresnelProp(s)), 2e-4, 1e-3, dest, true},
        {"ShiftedFresnelProp cached", ONTO(-9e-6, 2e-6, 2.5e-6, f.ShiftedFresnelProp(s, DescriptorOf(f, s))), 2e-4, 0.0, dest, true},
        {"ShiftedFresnelPropAdd", ONTO(-9e-6, 2e-6, 3.8e-6, f.ShiftedFresnelPropAdd(s, DescriptorOf(f, s))), 2e-4, 1e-3, dest, true},
        {"ShiftedFresnelProp in place", IN_PLACE(f.ShiftedFresnelProp(Vector(3e-6, 5e-6, kZ), 3e-6, 3.5e-6)), 2e-4, 1e-3, source, true},
        {"ShiftedFresnelProp in place, cached",
         IN_PLACE(f.ShiftedFresnelProp(Vector(3e-6, 5e-6, kZ), 3e-6, 3e-6, ShiftedFresnelPropDescriptor(kZ, 3e-6, 3e-6, f))),
         2e-4, 1e-2, source, true},
        {"ShiftedFresnelPropEx", ONTO_SIZES(5e-6, 0, 2.2e-6, 1, -1, f.ShiftedFresnelPropEx(s)), 2e-4, 0.0, dest, true},
        {"ShiftedFresnelPropAddEx", ONTO_SIZES(0, 3e-6, 3e-6, 1, 1, f.ShiftedFresnelPropAddEx(s)), 2e-4, 1e-4, dest, true},
        {"ScaledFft", IN_PLACE(f.ScaledFft(-0.8, -0.9))},
        {"RawScaledFft", IN_PLACE(f.RawScaledFft(0.013, -0.02))},
        {"Rotate", Tilted, 0.0, 1e-5, grid, false, false, false},
    };
    return table;
}
// clang-format on

/// A beam without symmetry that stays on its grid: Gaussian, off the centre, inclined.
Lumora Beam(int n = 64)
{
    Lumora f(n, n, kP, kP, kLambda);
    for (const auto [i, j] : Grid(n, n))
    {
        const double x = f.X(i) - 6e-6;
        const double y = f.Y(j) + 3e-6;
        const Value v = std::exp(-x * x / 2.56e-10 - y * y / 1.96e-10) *
                        std::polar(1.0, 2.0 * M_PI * (5000.0 * x - 3000.0 * y) + 0.4);
        f.SetPixel(i, j, Complex(v.real(), v.imag()));
    }
    f.SetWindow(2, 5, 1, 3);
    return f;
}

Lumora Random(int nx, int ny, std::uint32_t seed)
{
    Lumora f(nx, ny, kP, kP, kLambda);
    FillRandom(f, seed);
    f.SetWindow(0, 2, 0, 1);
    return f;
}

/// First Rayleigh-Sommerfeld integral as a sum (J. W. Goodman, Introduction to Fourier Optics, section 3.5).
Value RayleighSommerfeld(const Lumora& u, const Vector& p)
{
    Value sum = 0.0;
    const double k = u.GetWavenumber();
    const double z = p.z - u.GetOrigin().z;
    for (const auto [i, j] : Grid(u))
    {
        if (u.GetIntensity(i, j) < 1e-14)
            continue;
        const double dx = p.x - u.X(i) - u.GetOrigin().x;
        const double dy = p.y - u.Y(j) - u.GetOrigin().y;
        const double r = std::sqrt(dx * dx + dy * dy + z * z);
        sum += Value(u.GetReal(i, j), u.GetImag(i, j)) * (z / r) * Value(1.0 / r, -k) * std::polar(1.0 / r, k * r);
    }
    return sum * u.GetPx() * u.GetPy() / (2.0 * M_PI);
}

/// At every third sample of each axis.
double DistanceFromSum(const Lumora& f, const Lumora& u)
{
    double difference = 0.0;
    double norm = 0.0;
    for (int j = 0; j < f.GetNy(); j += 3)
        for (int i = 0; i < f.GetNx(); i += 3)
        {
            const Value sum = RayleighSommerfeld(u, f.GetOrigin() + Vector(f.X(i), f.Y(j), 0.0));
            difference += std::norm(Value(f.GetReal(i, j), f.GetImag(i, j)) - sum);
            norm += std::norm(sum);
        }
    return std::sqrt(difference / norm);
}

double Energy(const Lumora& f)
{
    double sum = 0.0;
    for (std::size_t n = 0; n < f.N(); ++n)
        sum += f.GetDataPointer()[n].Intensity();
    return sum * std::abs(f.GetPx() * f.GetPy());
}

/// The samples moved round the grid.
Lumora Turned(const Lumora& f, int di, int dj)
{
    Lumora g(f);
    for (const auto [i, j] : Grid(f))
        g.SetPixel((i + di + f.GetNx()) % f.GetNx(), (j + dj + f.GetNy()) % f.GetNy(), f.GetPixel(i, j));
    return g;
}
} // namespace

TEST(Propagators, Linear)
{
    for (const Engine lib : EachEngine())
        for (const auto& size : {std::pair{32, 16}, {64, 1}})
            for (const Propagator& p : Propagators())
            {
                if (!p.linear)
                    continue;
                const Value alpha(0.7, -1.1);
                const Value beta(-0.4, 0.3);
                Lumora a = Random(size.first, size.second, 1);
                Lumora b = Random(size.first, size.second, 2);
                Lumora resultA = p.run(a);
                Lumora resultB = p.run(b);
                Lumora together = p.run(Times(a, alpha) += Times(b, beta));
                Times(resultA, alpha) += Times(resultB, beta);
                if (Energy(resultA) > 0.0) // a row that stands aside is left dark
                {
                    EXPECT_LT(RelativeL2(together, resultA), 2e-6) << p.name << " on " << size.second << " rows";
                }
            }
}

TEST(Propagators, DirectSumAndEnergy)
{
    const Lumora beam = Beam();
    for (const Engine lib : EachEngine())
        for (const Propagator& p : Propagators())
        {
            const Lumora f = p.run(beam);
            if (p.sumError > 0.0)
            {
                EXPECT_LT(DistanceFromSum(f, beam), p.sumError) << p.name;
            }
            if (p.energyError > 0.0)
            {
                EXPECT_NEAR(Energy(f) / Energy(beam), 1.0, p.energyError) << p.name;
            }
        }
}

TEST(Propagators, WideAnglesNeedTheAngularSpectrum)
{
    // A spot of 1.5 wavelengths: the paraxial form is off by tens of percent where the angular spectrum follows the
    // sum.
    Lumora spot(64, 64, 4e-7, 4e-7, kLambda);
    spot.SetGaussian(1.2e-6, 2.0, 1.0);
    for (const Engine lib : EachEngine())
    {
        Lumora exact(spot);
        exact.ExactAsmProp(1e-5);
        EXPECT_LT(DistanceFromSum(exact, spot), 2e-2);
        Lumora shifted(64, 64, 4e-7, 4e-7, kLambda);
        shifted.SetOrigin(Vector(1.5e-6, 0, 1e-5));
        shifted.ShiftedAsmProp(spot, 1);
        EXPECT_LT(DistanceFromSum(shifted, spot), 2e-2);
        shifted.ShiftedFresnelProp(spot);
        EXPECT_GT(DistanceFromSum(shifted, spot), 0.1);
    }
}

TEST(Propagators, ThereAndBack)
{
    for (const Engine lib : EachEngine())
    {
        const Lumora start = Random(64, 32, 7);
        Lumora f(start);
        f.RawAsmProp(kZ).RawAsmProp(-kZ);
        EXPECT_LT(RelativeL2(f, start), 2e-6);
        EXPECT_EQ(f.GetOrigin().z, 0.0);
        f.SetPx(0.2e-6).RawAsmProp(kZ).RawAsmProp(-kZ).RawAsmProp(0.0); // evanescent samples stay
        EXPECT_LT(RelativeL2(f, start), 4e-6);
        // Inside the band the limited form goes back as well.
        Lumora limited(start);
        limited.AsmProp(kZ);
        f = limited;
        f.AsmProp(-kZ).AsmProp(kZ);
        EXPECT_LT(RelativeL2(f, limited), 4e-6);
        f = start;
        f.FourierProp(kZ).BackFourierProp(kZ);
        EXPECT_LT(RelativeL2(f *= 1.0 / double(f.N()), start), 1e-6);
        // FresnelProp comes back on negative pitches: sample (i, j) then stands at the opposite side.
        const Lumora beam = Beam(64);
        f = beam;
        ScaledFresnel(f);
        const double area = f.GetPx() * f.GetPy();
        Times(f.FresnelProp(-kZ), Value(0.0, area / (kLambda * kZ)));
        EXPECT_NEAR(f.GetPx(), -kP, 1e-18);
        EXPECT_NEAR(f.GetOrigin().z, 0.0, 1e-18);
        Lumora mirrored(beam);
        for (int j = 1; j < 64; ++j)
            for (int i = 1; i < 64; ++i)
                mirrored.SetPixel(i, j, f.GetPixel(64 - i, 64 - j));
        EXPECT_LT(RelativeL2(mirrored, beam), 5e-3);
    }
}

TEST(Propagators, Shifts)
{
    for (const Engine lib : EachEngine())
        for (const Propagator& p : Propagators())
        {
            if (p.translates)
            {
                const Lumora f = Random(32, 16, 3);
                EXPECT_LT(RelativeL2(p.run(Turned(f, 5, -3)), Turned(p.run(f), 5, -3)), 3e-6) << p.name;
            }
            if (p.placed)
            {
                // The same light described on a grid that stands elsewhere.
                const Lumora beam = Beam();
                Lumora moved = Turned(beam, 3, -2);
                moved.SetOrigin(Vector(-3 * kP, 2 * kP, 0.0));
                EXPECT_LT(RelativeL2(p.run(moved), p.run(beam)), p.sumError) << p.name;
            }
        }
}

TEST(Propagators, FramesAreThoseOfThePlaces)
{
    const Lumora beam = Beam();
    for (const Engine lib : EachEngine())
        for (const Propagator& p : Propagators())
        {
            const Lumora f = p.run(beam);
            const bool source = p.window == WindowOf::Source;
            const bool grid = p.window == WindowOf::Grid;
            EXPECT_TRUE(WindowIs(f, source ? 2 : 0,
                                 source ? 5
                                 : grid ? f.GetNx()
                                        : 1,
                                 source ? 1 : 0,
                                 source ? 3
                                 : grid ? f.GetNy()
                                        : 1))
                << p.name;
            EXPECT_TRUE(f.GetOrigin().z == kZ || p.sumError == 0.0) << p.name;
            // To the last bit, though the transforms invert it twice.
            EXPECT_TRUE(f.GetPx() == kP || !p.translates) << p.name;
        }
}

TEST(Propagators, PolarSourcesAreTheirFields)
{
    const CallTable calls = {LML_CALL("RawAsmProp", f.RawAsmProp(kZ)), LML_CALL("AsmProp", f.AsmProp(kZ)),
                             LML_CALL("ExactAsmProp", f.ExactAsmProp(kZ)), LML_CALL("FresnelProp", f.FresnelProp(kZ)),
                             LML_CALL("FourierProp", f.FourierProp(kZ))};
    for (const Engine lib : EachEngine())
        for (const auto& [nx, ny] : {std::pair{32, 16}, {64, 1}})
            for (const auto& [name, run] : calls)
            {
                Lumora field = Random(nx, ny, 5), polar(field);
                polar.Form() = POLAR_AMPLITUDE;
                for (const auto [i, j] : Grid(nx, ny))
                    polar.SetPixel(i, j, Complex(std::abs(At(field, i, j)), std::arg(At(field, i, j))));
                run(field, 0);
                run(polar, 0);
                EXPECT_EQ(polar.Form(), POLAR_AMPLITUDE) << name;
                EXPECT_EQ(polar.GetPx(), field.GetPx());
                for (const auto [i, j] : Grid(nx, ny))
                {
                    const Value v = std::polar(1.0, polar.GetImag(i, j)) * polar.GetReal(i, j);
                    polar.SetPixel(i, j, Complex(v.real(), v.imag()));
                }
                EXPECT_LT(RelativeL2(polar, field), 2e-6) << name;
            }
}
