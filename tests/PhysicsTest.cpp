// Propagation against closed forms of textbooks: what the fields do, not how they are computed.
#include "TestTools.h"

using namespace lmltest;

namespace
{
constexpr double kLambda = 632.8e-9;

/// 1/e^2 radius along x: twice the root of the intensity's second moment.
double WidthX(const Lumora& f)
{
    double sum = 0.0;
    double moment = 0.0;
    for (const auto [i, j] : Grid(f))
    {
        sum += f.GetIntensity(i, j);
        moment += f.GetIntensity(i, j) * f.X(i) * f.X(i);
    }
    return 2.0 * std::sqrt(moment / sum);
}

Lumora Gaussian(int n, double pitch, double w0)
{
    Lumora f(n, n, pitch, pitch, kLambda);
    for (const auto [i, j] : Grid(n, n))
        f.SetPixel(i, j, Complex(std::exp(-(f.X(i) * f.X(i) + f.Y(j) * f.Y(j)) / (w0 * w0)), 0.0));
    return f;
}
} // namespace

// w(z) = w0 sqrt(1 + (z / zR)^2), zR = pi w0^2 / lambda, on-axis amplitude w0 / w(z) and its phase k z - atan(z / zR):
// A. E. Siegman, Lasers (1986), section 17.1.
TEST(Physics, GaussianBeamSpreads)
{
    const double w0 = 100e-6;
    const double zr = M_PI * w0 * w0 / kLambda;
    for (const Engine lib : EachEngine())
    {
        Lumora f = Gaussian(512, 4e-6, w0);
        for (int n = 1; n <= 3; ++n)
        {
            f.AsmProp(zr);
            const double w = w0 * std::sqrt(1.0 + n * n);
            EXPECT_NEAR(WidthX(f) / w, 1.0, 1e-3);
            EXPECT_NEAR(f.GetAmplitude(256, 256), w0 / w, 1e-3);
            const double phase = std::remainder(f.k() * n * zr - std::atan(n) - double(f.GetPhase(256, 256)), 2 * M_PI);
            EXPECT_NEAR(phase, 0.0, 5e-3);
            EXPECT_NEAR(f.GetOrigin().z, n * zr, 1e-15);
            Lumora exact = Gaussian(256, 4e-6, w0);
            exact.ExactAsmProp(n * zr);
            EXPECT_NEAR(exact.GetAmplitude(128, 128), w0 / w, 2e-3);
            // The single-transform form on its own pitch; its sum needs the factor pitch^2 / (lambda z).
            Lumora fresnel = Gaussian(512, 4e-6, w0);
            fresnel.FresnelProp(n * zr);
            EXPECT_NEAR(WidthX(fresnel) / w, 1.0, 1e-3);
            EXPECT_NEAR(fresnel.GetAmplitude(256, 256) * 16e-12 / (kLambda * n * zr), w0 / w, 1e-3);
        }
    }
}

// On the axis behind a circular hole of radius a the Fresnel integral is elementary, 4 sin^2(pi a^2 / (2 lambda z)) I0:
// four times the free intensity for an odd number of zones, darkness for an even one. E. Hecht, Optics, section 10.3.
TEST(Physics, CircularApertureOnTheAxis)
{
    const double a = 0.4e-3;
    for (const Engine lib : EachEngine())
    {
        Threads team(2);
        Lumora hole(512, 512, 4e-6, 4e-6, kLambda);
        for (const auto [i, j] : Grid(512, 512))
        {
            int inside = 0; // share of the sample's area, 8 by 8
            for (int n = 0; n < 64; ++n)
            {
                const double x = hole.X(i) + ((n % 8) - 3.5) / 8 * 4e-6;
                const double y = hole.Y(j) + ((n / 8) - 3.5) / 8 * 4e-6;
                inside += x * x + y * y < a * a;
            }
            hole.SetPixel(i, j, Complex(inside / 64.0, 0.0));
        }
        for (const double fresnelNumber : {1.0, 1.5, 2.0, 2.5, 3.0})
        {
            const double z = a * a / (kLambda * fresnelNumber);
            const double s = std::sin(M_PI * fresnelNumber / 2.0);
            Lumora f(hole);
            f.ExactAsmProp(z);
            EXPECT_NEAR(f.GetIntensity(256, 256), 4.0 * s * s, 0.08) << fresnelNumber;
        }
    }
}
