// The rotational transform: wave optics on tilted planes, the state of the fields around it, and the wide rows of the
// lookup against the plain ones.
#include "TestTools.h"

using namespace lmltest;

namespace
{
constexpr double kWavelength = 532e-9;
constexpr double kTurn = 6.283185307179586;

RMatrix Turn(double x, double y, double z = 0.0)
{
    const RMatrix rx(RMatrix::RotationX(x)), ry(RMatrix::RotationY(y)), rz(RMatrix::RotationZ(z));
    return rx * ry * rz;
}

Lumora Spectrum(int nx, int ny, double pitch, double scale = 1.0)
{
    Lumora f(nx, ny, pitch, pitch * scale, kWavelength);
    f.FakeFft();
    return f;
}

double Energy(const Lumora& f)
{
    double sum = 0.0;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        const Complex c = f.GetDataPointer()[n];
        sum += c.GetReal() * c.GetReal() + c.GetImag() * c.GetImag();
    }
    return sum;
}

/// A smooth field near the origin: a Gaussian of radius w times a plane wave of frequency (fu, fv).
void SetBeam(Lumora& f, double w, double fu, double fv)
{
    for (const auto [i, j] : Grid(f))
    {
        const double x = f.X(i), y = f.Y(j), a = std::exp(-(x * x + y * y) / (w * w));
        const double phase = kTurn * (fu * x + fv * y);
        f.SetPixel(i, j, Complex(a * std::cos(phase), a * std::sin(phase)));
    }
}

/// The field of a spectrum at a point in space: the sum of its plane waves.
std::complex<double> PlaneWaveSum(const Lumora& spectrum, const Vector& p)
{
    std::complex<double> sum = 0.0;
    const double limit = 1.0 / (kWavelength * kWavelength);
    for (const auto [i, j] : Grid(spectrum))
    {
        const double u = spectrum.X(i), v = spectrum.Y(j), rest = limit - u * u - v * v;
        if (rest > 0.0)
            sum += std::complex<double>(spectrum.GetReal(i, j), spectrum.GetImag(i, j)) *
                   std::polar(1.0, kTurn * (u * p.x + v * p.y + std::sqrt(rest) * p.z));
    }
    return sum;
}

/// RotateFs gives the same bits in every form.
void ExpectSameBits(const Lumora& source, const Lumora& dest, RMatrix r, Interpol k, bool jacobian, int threads)
{
    const Threads team(threads);
    Lumora plain(1);
    InEveryForm(
        [&]
        {
            Lumora f(dest);
            f.RotateFs(source, r, nullptr, k, jacobian);
            if (plain.N() == 1)
                plain = f;
            EXPECT_TRUE(SameBits(f, plain)) << "kernel " << k << " jacobian " << jacobian << " source "
                                            << source.GetNx() << " x " << source.GetNy() << " turned\n"
                                            << r;
        });
}
} // namespace

TEST(Rotation, IdentityCopiesTheDiscAndKeepsTheEnergy)
{
    // A pitch below half a wavelength: the disc of radius 1 / lambda lies inside the band.
    Lumora source = Spectrum(64, 32, 0.2e-6), dest = Spectrum(64, 32, 0.2e-6);
    FillRandom(source);
    source.SetOrigin(Vector(1, 2, 3)).SetWindow(3, 9, 4, 8);
    RMatrix unit = Turn(0, 0);
    SFrequency carrier;
    dest.RotateFs(source, unit, &carrier, ADJACENT_INTERPOL, false);
    EXPECT_EQ(carrier.u, 0.0);
    EXPECT_EQ(carrier.v, 0.0);
    EXPECT_NEAR(carrier.w * kWavelength, 1.0, 1e-15);
    EXPECT_NEAR(carrier.lambdaInvSq * kWavelength * kWavelength, 1.0, 1e-14);
    EXPECT_NEAR(Energy(dest) / Energy(source), 1.0, 1e-6);
    EXPECT_EQ(dest.Window().right, 64);
    EXPECT_EQ(source.Window().left, 3);
    EXPECT_EQ(dest.GetOrigin().y, 2.0);
    double inside = 0.0;
    const double limit = 1.0 / (source.GetWavelength() * source.GetWavelength());
    for (const auto [i, j] : Grid(64, 32))
        if (dest.X(i) * dest.X(i) + dest.Y(j) * dest.Y(j) < limit)
            inside += source.GetPixel(i, j).Intensity();
    const float g = float(std::sqrt(Energy(source) / inside));
    int dark = 0;
    for (const auto [i, j] : Grid(64, 32))
    {
        const bool in = dest.X(i) * dest.X(i) + dest.Y(j) * dest.Y(j) < limit;
        dark += !in;
        EXPECT_FLOAT_EQ(dest.GetPixel(i, j).Real(), in ? source.GetPixel(i, j).Real() * g : 0.0f);
    }
    EXPECT_GT(dark, 100);

    // A frequency on the circle itself is dark: 1 / lambda = 4 pitches exactly (k chosen so that 2 pi / k is 0.25).
    Lumora a(16, 16, 1.0, 1.0), b(16, 16, 1.0, 1.0);
    for (Lumora* f : {&a, &b})
    {
        f->Form() = SPECTRUM;
        f->SetWavenumber(6.283185307179586 / 0.25);
        f->SetConst(Complex(1.0, 0.0));
    }
    ASSERT_EQ(a.GetWavelength(), 0.25);
    b.RotateFs(a, unit, nullptr, ADJACENT_INTERPOL, false);
    EXPECT_EQ(b.GetPixel(12, 8), Complex(0.0, 0.0));
    EXPECT_EQ(b.GetPixel(8, 4), Complex(0.0, 0.0));
    EXPECT_NE(b.GetPixel(11, 8), Complex(0.0, 0.0));
}

TEST(Rotation, CarrierIsTheTurnedAxisAndGeometryFollows)
{
    for (const auto& [x, y, z] : {std::tuple{0.1, 0.0, 0.0}, {0.0, -0.3, 0.0}, {0.2, 0.15, 0.4}})
    {
        Lumora source = Spectrum(32, 32, 1e-6), dest = Spectrum(32, 32, 1e-6);
        FillRandom(source);
        source.SetNormalVector(Vector(0.1, -0.2, 1)).SetOrigin(Vector(0, 0, 0.5));
        RMatrix r = Turn(x, y, z);
        SFrequency carrier;
        const double k = dest.k() *= 1.5;
        dest.RotateFs(source, r, &carrier, CUBIC4_INTERPOL, true);
        EXPECT_NEAR(carrier.u, r.GetElement(2, 0) / kWavelength, 1e-6);
        EXPECT_NEAR(carrier.v, r.GetElement(2, 1) / kWavelength, 1e-6);
        EXPECT_NEAR(carrier.w, r.GetElement(2, 2) / kWavelength, 1e-6);
        const Vector normal = r.GetInverse() * source.GetNormalVector();
        EXPECT_NEAR((dest.GetNormalVector() - normal).GetLength(), 0.0, 1e-14);
        EXPECT_EQ(dest.GetOrigin().z, 0.5);
        EXPECT_EQ(dest.k(), k);
        EXPECT_EQ(dest.Form(), SPECTRUM);
        EXPECT_NEAR(Energy(dest) / Energy(source), 1.0, 1e-6);
        // The older form agrees on carrier, normal and energy, and opens both windows.
        Lumora old = Spectrum(32, 32, 1e-6);
        source.SetWindow(1, 5, 2, 6);
        const SFrequency oldCarrier = source.GetRotationFs(old, r);
        EXPECT_EQ(oldCarrier.u, carrier.u);
        EXPECT_NEAR((old.GetNormalVector() - normal).GetLength(), 0.0, 1e-14);
        EXPECT_NEAR(Energy(old) / Energy(source), 1.0, 1e-6);
        EXPECT_EQ(source.Window().right, 32);
    }
}

TEST(Rotation, FieldOnATiltedPlaneIsTheSumOfItsPlaneWaves)
{
    struct Case
    {
        double tiltX, tiltY, fu, fv, bound;
    };
    for (const Case& c :
         {Case{0.0, 0.3, 0.0, 0.0, 1.6e-3}, {0.2, 0.0, 1e5, -5e4, 1.6e-3}, {-0.15, 0.4, 1.2e5, 8e4, 1.8e-3}})
    {
        Lumora source(128, 128, 1e-6, 1e-6, kWavelength), dest(128, 128, 1e-6, 1e-6, kWavelength);
        SetBeam(source, 12e-6, c.fu, c.fv);
        RMatrix r = Turn(c.tiltX, c.tiltY);
        SFrequency carrier;
        dest.Rotate(source, r, &carrier, CUBIC8_INTERPOL, true);
        EXPECT_EQ(dest.Form(), COMPLEX_AMPLITUDE);
        EXPECT_DOUBLE_EQ(dest.GetPx(), 1e-6);
        Lumora spectrum(source);
        spectrum.Fft(-1);
        // Compared up to one factor: the energy is set to the source's.
        std::complex<double> cross = 0.0;
        double own = 0.0, other = 0.0;
        std::vector<std::pair<std::complex<double>, std::complex<double>>> points;
        for (int j = 48; j <= 80; j += 8)
            for (int i = 44; i <= 84; i += 4)
            {
                const Vector p = r.GetInverse() * Vector(dest.X(i), dest.Y(j), 0.0);
                const std::complex<double> is =
                    std::complex<double>(dest.GetReal(i, j), dest.GetImag(i, j)) *
                    std::polar(1.0, kTurn * (carrier.u * dest.X(i) + carrier.v * dest.Y(j)));
                points.emplace_back(is, PlaneWaveSum(spectrum, p));
                cross += is * std::conj(points.back().second);
                own += std::norm(is);
                other += std::norm(points.back().second);
            }
        const std::complex<double> factor = cross / other;
        EXPECT_NEAR(std::arg(factor), 0.0, 1e-3) << "phase at the origin";
        double error = 0.0;
        for (const auto& [is, expected] : points)
            error += std::norm(is - factor * expected);
        EXPECT_LT(std::sqrt(error / own), c.bound) << c.tiltX << " " << c.tiltY;
    }
}

TEST(Rotation, BackToTheGlobalAxes)
{
    // A spectrum on a tilted plane whose carrier was removed: the axial wave of the global frame stands at the centre.
    Lumora tilted = Spectrum(64, 64, 1e-6), dest = Spectrum(64, 64, 1e-6);
    tilted.SetNormalVector(Vector(0.1, 0.05, 1)).SetOrigin(Vector(0, 0, 1)).Clear();
    tilted.SetPixel(32, 32, Complex(3.0, 4.0));
    dest.SetNormalVector(Vector(1, 0, 0));
    const SFrequency carrier = tilted.GetRotationParaFs(dest);
    EXPECT_EQ(dest.GetNormalVector().z, 1.0);
    EXPECT_EQ(dest.GetOrigin().z, 1.0);
    EXPECT_NEAR(Energy(dest) / 25.0, 1.0, 1e-6);
    EXPECT_NE(dest.GetPixel(32, 32), Complex(0.0, 0.0));
    EXPECT_EQ(dest.GetPixel(40, 32), Complex(0.0, 0.0));
    // Its frequency in the tilted frame: the global z axis seen from there.
    const Vector axis = tilted.GetCRMatrixGL() * Vector(0, 0, 1);
    EXPECT_NEAR(carrier.u * kWavelength, axis.x, 1e-12);
    EXPECT_NEAR(carrier.v * kWavelength, axis.y, 1e-12);
    // A field may be its own destination.
    RMatrix turn = Turn(0.02, 0.1);
    for (const bool paraxial : {false, true})
    {
        Lumora source(tilted), itself(tilted), other(tilted);
        paraxial ? itself.GetRotationParaFs(itself) : itself.GetRotationFs(itself, turn);
        paraxial ? source.GetRotationParaFs(other) : source.GetRotationFs(other, turn);
        EXPECT_TRUE(SameBits(itself, other)) << paraxial;
    }
}

TEST(Rotation, AboutYInPlace)
{
    // Angle 0 changes nothing beyond the rounding of coordinates.
    Lumora f(64, 16, 0.5e-6, 0.5e-6, kWavelength);
    SetBeam(f, 4e-6, 1e5, 0.0);
    Lumora turned(f);
    double carrier = 7.0;
    turned.RotateY(0.0, &carrier);
    EXPECT_NEAR(turned.GetPx(), f.GetPx(), 1e-18);
    EXPECT_NEAR(carrier, 0.0, 1e-6);
    EXPECT_LT(RelativeL2(turned, f), 1e-5);

    // The new band: its ends are the turned ends, its centre the carrier; the normal stays.
    const double angle = 0.2, edge = 1.0 / (2 * f.GetPx());
    turned = f;
    turned.RotateY(angle, &carrier);
    const double low = f.uh(-edge, 0.0, angle), high = f.uh(edge, 0.0, angle);
    EXPECT_NEAR(turned.GetPx() * (high - low), 1.0, 1e-12);
    EXPECT_NEAR(carrier, 0.5 * (low + high), 1e-6);
    EXPECT_EQ(turned.GetNormalVector().z, 1.0);
    EXPECT_NEAR(f.uu(f.uh(2e5, 1e5, angle), 1e5, angle), 2e5, 1e-6);
    // The field there is that of its plane waves on the turned plane, in the sense of the frequency u cos a - w sin a.
    Lumora spectrum(f);
    spectrum.Fft(-1);
    double error = 0.0, norm = 0.0;
    for (int i = 20; i < 44; ++i)
    {
        const double x = turned.X(i);
        const std::complex<double> is =
            std::complex<double>(turned.GetReal(i, 8), turned.GetImag(i, 8)) * std::polar(1.0, kTurn * carrier * x);
        const double scale = double(spectrum.N()) * f.GetPx() / turned.GetPx();
        const std::complex<double> expected =
            PlaneWaveSum(spectrum, Vector(x * std::cos(angle), 0.0, -x * std::sin(angle))) / scale;
        error += std::norm(is - expected);
        norm += std::norm(expected);
    }
    EXPECT_LT(std::sqrt(error / norm), 2e-3);

    // Ends beyond the circle count with w = -1.
    Lumora fine = Spectrum(16, 1, 0.2e-6);
    FillRandom(fine);
    const double end = 8 * fine.GetPx();
    ASSERT_EQ(fine.ww(end, 0.0), -1.0);
    ASSERT_EQ(fine.ww(1.0 / fine.GetWavelength() * (1 + 1e-15), 0.0), -1.0);
    Lumora wide(fine);
    wide.RotateYFs(0.3, CUBIC_INTERPOL, 8, nullptr);
    EXPECT_NEAR(wide.GetPx(), 2 * end * std::cos(0.3) / 16, 1e-6);
    EXPECT_EQ(wide.GetPixel(0, 0), Complex(0.0, 0.0));
    // RotateSpec1d has no dark zone: at the ends it reads on with w = -1.
    Lumora line(fine);
    line.RotateSpec1d(0.3, CUBIC_INTERPOL, 8);
    EXPECT_NEAR(line.GetPx(), wide.GetPx(), 1e-9);
    const double centre = std::sin(0.3), u = -8 * line.GetPx() + centre;
    const Complex expected = fine.CubicInterpol1d(u * std::cos(0.3) - std::sin(0.3), 8);
    EXPECT_EQ(line.GetPixel(0, 0), expected);
}

TEST(Rotation, OneRow)
{
    Lumora f(128, 1, 1e-6, 1e-6, kWavelength);
    SetBeam(f, 10e-6, 5e4, 0.0);
    for (const Interpol k : {CUBIC_INTERPOL, SINC_INTERPOL, LINEAR_INTERPOL})
    {
        Lumora s(f);
        s.Fft(-1).RotateSpec1d(0.1, k, 8).Fft(1);
        if (k == LINEAR_INTERPOL) // every other chooser: zeros
            EXPECT_EQ(Energy(s), 0.0);
        else // no division by Nx, so N^2 times the energy, changed by the missing Jacobian only
            EXPECT_NEAR(Energy(s) / Energy(f) / (128.0 * 128.0), 1.0, 0.02) << k;
        if (k == CUBIC_INTERPOL)
        {
            Lumora whole(f);
            EXPECT_TRUE(SameBits(whole.Rotate1d(0.1), s));
            EXPECT_EQ(whole.GetPx(), s.GetPx());
            EXPECT_EQ(whole.Form(), COMPLEX_AMPLITUDE);
        }
    }
    Lumora single(1, 1, 1e-6, 1e-6, kWavelength); // both band ends coincide
    single.SetConst(Complex(1.0, 0.0));
    single.Rotate1d(0.1);
    EXPECT_FALSE(std::isfinite(single.GetPx()) && single.GetPx() > 0.0);
    Lumora row(16, 1, 1e-6, 2e-6, kWavelength), source(16, 1, 1e-6, 2e-6, kWavelength);
    FillRandom(source);
    RMatrix unit = Turn(0, 0);
    row.Rotate(source, unit, nullptr, ADJACENT_INTERPOL, false);
    EXPECT_DOUBLE_EQ(row.GetPy(), 1 / 2e-6); // the transform of a row leaves Py
}

TEST(Rotation, WideRowsGiveThePlainBits)
{
    // Axis turns put one coordinate on samples throughout, the identity both; small and narrow grids are mostly edge;
    // coarse pitches leave the source's band, fine ones the disc.
    const struct
    {
        int sx, sy, dx, dy;
        double sp, dp, x, y, z;
    } cases[] = {{64, 64, 64, 64, 1e-6, 1e-6, 0, 0.1, 0},    {64, 64, 64, 64, 1e-6, 1e-6, 0.2, 0, 0},
                 {64, 32, 64, 32, 1e-6, 1e-6, 0, 0, 0},      {64, 64, 32, 128, 1e-6, 7e-7, 0.05, 0.3, 0.2},
                 {64, 64, 64, 64, 2e-7, 2e-7, 0.4, 0.6, 0},  {128, 128, 64, 64, 2e-6, 5e-7, 0, 0.02, 0},
                 {16, 8, 64, 16, 1e-6, 1e-6, 0.1, 0.1, 0.1}, {8, 64, 4, 32, 1e-6, 1e-6, 0.01, 0.02, 0},
                 {8, 1, 16, 16, 1e-6, 1e-6, 0, 0.1, 0},      {4, 2, 16, 4, 1e-6, 1e-6, 0, 0.01, 0},
                 {2, 2, 8, 8, 1e-6, 1e-6, 0, 0.01, 0},       {1, 16, 2, 16, 1e-6, 1e-6, 0.01, 0.01, 0},
                 {64, 64, 64, 64, 1e-6, 1e-6, 0, 1.5, 0},    {32, 32, 32, 32, 1e-6, 1e-6, 0, 0, 0.785398}};
    enum Samples
    {
        Random,
        Single, // taps with a weight next to 0 alone reach most points
        Infinite
    };
    for (const auto& c : cases)
        for (const Samples samples : {Random, Single, Infinite})
        {
            Lumora source = Spectrum(c.sx, c.sy, c.sp, 1.25);
            FillRandom(source, std::uint32_t(c.sx + c.dy));
            if (samples == Single)
                source.Clear();
            if (samples != Random)
                source.SetPixel(c.sx / 2, c.sy / 2, Complex(samples == Single ? 1.0 : kInf, 1.0));
            for (const Interpol k : kInterpolators)
                for (const bool jacobian : {false, true})
                    for (const int threads : {1, 3})
                        if (threads == 1 || (samples == Random && jacobian))
                            ExpectSameBits(source, Spectrum(c.dx, c.dy, c.dp, 1.25), Turn(c.x, c.y, c.z), k, jacobian,
                                           threads);
        }

    // A coarse destination on samples, and an infinity that only the outermost tap of weight 0 meets, on either side.
    for (const auto& [i, j] : {std::pair{20, 32}, {40, 32}, {32, 20}, {32, 40}})
    {
        Lumora source = Spectrum(64, 64, 1e-6), dest = Spectrum(4, 4, 1e-6);
        FillRandom(source);
        source.SetPx(16384.0).SetPy(16384.0).SetPixel(i, j, Complex(kInf, 0.0));
        dest.SetPx(65536.0).SetPy(65536.0);
        for (const Interpol k : kInterpolators)
            ExpectSameBits(source, dest, Turn(0, 0), k, false, 1);
    }
}

TEST(Rotation, LookupFollowsItsFormulas)
{
    Lumora source = Spectrum(32, 16, 0.4e-6), dest = Spectrum(32, 32, 0.5e-6), old = Spectrum(32, 32, 0.5e-6);
    FillRandom(source);
    RMatrix r = Turn(0.2, -0.3, 0.1);
    const RMatrix inverse = r.GetInverse();
    const auto e = [&](int row, int column)
    {
        return inverse.GetElement(column, row);
    };
    SFrequency f;
    dest.RotateFs(source, r, &f, CUBIC6_INTERPOL, true);
    source.GetRotationFs(old, r);
    const double limit = 1.0 / (source.GetWavelength() * source.GetWavelength());
    const double ax = e(0, 1) * e(1, 2) - e(0, 2) * e(1, 1), ay = e(0, 2) * e(1, 0) - e(0, 0) * e(1, 2),
                 az = e(0, 0) * e(1, 1) - e(0, 1) * e(1, 0);
    Lumora expected(dest), expectedOld(old);
    for (const auto [i, j] : Grid(32, 32))
    {
        const double u = f.u + dest.X(i), v = f.v + dest.Y(j), t = limit - u * u - v * v;
        const double w = t > 0 ? std::sqrt(t) : 0.0;
        const double su = e(0, 0) * u + e(0, 1) * v + e(0, 2) * w, sv = e(1, 0) * u + e(1, 1) * v + e(1, 2) * w;
        expectedOld.SetPixel(i, j, source.CubicInterpol(su, sv, 4));
        const bool dark = dest.X(i) * dest.X(i) + dest.Y(j) * dest.Y(j) >= limit || t <= 0;
        const double jacobian = std::fabs((ax * u + ay * v) / w + az);
        expected.SetPixel(i, j, dark ? Complex(0.0, 0.0) : source.Cubic6Interpol(su, sv) * jacobian);
    }
    for (Lumora* x : {&expected, &expectedOld})
    {
        const float g = float(std::sqrt(Energy(source) / Energy(*x)));
        for (std::size_t n = 0; n < x->N(); ++n)
        {
            (*x)[n].real() *= g;
            (*x)[n].imag() *= g;
        }
    }
    EXPECT_TRUE(SameBits(dest, expected));
    EXPECT_TRUE(SameBits(old, expectedOld));
    // Its own source, and a destination that catches no light.
    Lumora own(source), copy(source), thrown = Spectrum(32, 16, 0.4e-6);
    EXPECT_TRUE(SameBits(own.RotateFs(own, r, nullptr, LINEAR_INTERPOL, false),
                         thrown.RotateFs(copy, r, nullptr, LINEAR_INTERPOL, false)));
    copy.Clear().SetPixel(0, 0, Complex(1.0, 0.0));
    RMatrix unit = Turn(0, 0);
    Lumora coarse = Spectrum(8, 8, 50e-6);
    coarse.RotateFs(copy, unit, nullptr, ADJACENT_INTERPOL, false);
    EXPECT_TRUE(std::isnan(coarse[5].Real()));
}

TEST(Rotation, RefusedKernelsLeaveSamplesFormAndPitch)
{
    Lumora field(8, 8, 1e-6, 1e-6, kWavelength), source(field), whole(0, 0);
    FillRandom(field);
    whole = field;
    RMatrix r = Turn(0, 0.1);
    InEveryForm(
        [&]
        {
            EXPECT_EQ(Catch([&] { field.Rotate(source, r, nullptr, SINC_INTERPOL, false); }).code, 6);
            EXPECT_TRUE(SameBits(field, whole));
            EXPECT_EQ(field.Form(), COMPLEX_AMPLITUDE);
            EXPECT_EQ(field.GetPx(), 1e-6);
        });
}
