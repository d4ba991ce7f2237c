// Propagation to parallel planes: the transfer function and its limits sample by sample, frames of form, window, pitch
// and origin, Fresnel and Fourier steps against sums in double precision.
#include "TestTools.h"

using namespace lmltest;

namespace
{
const int kShapes[][2] = {{1, 1}, {2, 1}, {1, 2}, {4, 1}, {1, 4}, {2, 2}, {8, 1}, {4, 16}, {32, 8}, {64, 64}};

Lumora Random(int nx, int ny, double p = 1e-6)
{
    Lumora f(nx, ny, p, 1.5 * p);
    FillRandom(f, 33);
    return f;
}

} // namespace

TEST(Propagate, TransferFunctionSampleBySample)
{
    // At a pitch of 0.25 um and 632.8 nm most of the grid's corner is evanescent; it passes with the factor 1.
    for (const double pitch : {1e-6, 0.25e-6})
        for (const auto& size : kShapes)
        {
            Lumora expected(1);
            for (const Engine lib : EachEngine())
                for (const Threads threads : EachTeam({1, 2, 3, 7}))
                {
                    Lumora f = Random(size[0], size[1], 1.0 / (size[0] * pitch)); // a spectrum's pitch
                    f.Form() = SPECTRUM;
                    const Lumora before(f);
                    const double d = -0.0123;
                    f.SetNormalVector(Vector(0, 3, 4)).RawAsmPropFs(d);
                    const double c = 1.0 / (f.lambda() * f.lambda());
                    for (const auto [i, j] : Grid(f))
                    {
                        const double w = c - f.X(i) * f.X(i) - f.Y(j) * f.Y(j);
                        const Value h = w > 0 ? std::polar(1.0, 2 * M_PI * d * std::sqrt(w)) : Value(1.0);
                        EXPECT_LT(std::abs(At(f, i, j) - At(before, i, j) * h), 3e-7) << i << ", " << j;
                    }
                    EXPECT_DOUBLE_EQ(f.GetOrigin().y, 0.6 * d);
                    EXPECT_DOUBLE_EQ(f.GetOrigin().z, 0.8 * d);
                    if (lib == FFT_LIB_SPLIT_RADIX && threads == 1)
                        expected = f;
                    EXPECT_TRUE(SameBits(f, expected)) << "engine " << lib << ", threads " << threads;
                }
        }
}

TEST(Propagate, BandLimitKeepsALopsidedBox)
{
    // 500 nm and frequency pitches of 62500 / m: the distance that puts the limit at 4.2 columns, (2 d du)^2 + 1 =
    // (1 / (lambda 4.2 du))^2, keeps indices -4 to 3 about the centre on that axis.
    const double du = 62500.0;
    const double lambda = 5e-7;
    const double root = 1.0 / (lambda * 4.2 * du);
    const double d = std::sqrt(root * root - 1.0) / (2.0 * du);
    for (const Engine lib : EachEngine())
        for (const Threads threads : EachTeam({1, 3}))
            for (const bool narrow : {false, true}) // a fine row pitch leaves the rows alone
            {
                Lumora f(16, 16, du, narrow ? du / 64 : du, lambda);
                f.SetConst(Complex(1.0, 1.0));
                f.Form() = SPECTRUM;
                f.SetWindow(3, 4, 5, 6).AsmPropFs(d);
                for (const auto [i, j] : Grid(16, 16))
                {
                    const bool kept = i >= 4 && i < 12 && (narrow || (j >= 4 && j < 12));
                    EXPECT_EQ(f.GetAmplitude(i, j) > 0.5, kept) << i << ", " << j;
                    EXPECT_TRUE(kept || f.GetPixel(i, j) == Complex());
                }
                EXPECT_EQ(f.Window().left, 3);
                EXPECT_DOUBLE_EQ(f.GetOrigin().z, d); // moved once
            }
    // At distance 0 the limit is 1 / lambda: 8 columns of 62500 / m stay inside.
    Lumora near(16, 16, du, du, lambda);
    near.SetConst(Complex(1.0, 0.0));
    near.Form() = POLAR_SPECTRUM;
    near.AsmPropFs(0.0);
    EXPECT_EQ(near.Form(), SPECTRUM);
    for (std::size_t n = 0; n < near.N(); ++n)
        EXPECT_TRUE(near[n] == Complex(1.0, 0.0));
}

TEST(Propagate, FresnelIsTheSumWithSinglePrecisionPhases)
{
    // 0.02 m: phases around 1e5, whose float steps of 0.008 are visible; a double phase would be another field.
    for (const Engine lib : EachEngine())
        for (const double d : {0.02, -0.5})
            for (const auto& [nx, ny] : {std::pair{16, 8}, {8, 16}, {16, 1}})
            {
                const Lumora g = Random(nx, ny, 3e-5);
                Lumora f(g);
                f.FresnelProp(d);
                EXPECT_DOUBLE_EQ(f.GetPx(), f.lambda() * d / (nx * g.GetPx()));
                EXPECT_DOUBLE_EQ(f.GetPy(), ny == 1 ? g.GetPy() : f.lambda() * d / (ny * g.GetPy()));
                const double k = g.GetWavenumber();
                const double scale = std::sqrt(double(nx * ny));
                double exactPhases = 0.0;
                for (int m = 0; m < ny; ++m)
                    for (int l = 0; l < nx; ++l)
                    {
                        Value sum = 0.0;
                        for (const auto [i, j] : Grid(nx, ny))
                        {
                            const float phi = float((g.Y(j) * g.Y(j) + g.X(i) * g.X(i)) * k / (d + d));
                            const double turn =
                                double((i - nx / 2) * (l - nx / 2)) / nx + double((j - ny / 2) * (m - ny / 2)) / ny;
                            sum += At(g, i, j) * std::polar(1.0, double(phi) - 2 * M_PI * turn);
                        }
                        const double phi = ((f.Y(m) * f.Y(m) + f.X(l) * f.X(l)) / (d + d) + d) * k;
                        EXPECT_LT(std::abs(At(f, l, m) - sum * std::polar(1.0, double(float(phi)))), 2e-6 * scale);
                        exactPhases += std::abs(At(f, l, m) - sum * std::polar(1.0, phi)) / scale / (nx * ny);
                    }
                EXPECT_GT(exactPhases, 1e-4);
            }
}

TEST(Propagate, FourierPropIsTheTransform)
{
    for (const Engine lib : EachEngine())
        for (const auto& [nx, ny] : {std::pair{32, 16}, {16, 1}, {1, 1}})
        {
            Lumora f = Random(nx, ny);
            f.SetNormalVector(Vector(0, 1, 0));
            Lumora transform(f);
            EXPECT_TRUE(SameBits(f.FourierProp(2.0), transform.Fft(-1)));
            EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
            EXPECT_DOUBLE_EQ(f.GetPx(), f.lambda() * 2.0 / (nx * 1e-6));
            EXPECT_EQ(f.GetOrigin().y, 2.0);
            f.BackFourierProp(2.0);
            EXPECT_DOUBLE_EQ(f.GetPx(), 1e-6);
            EXPECT_DOUBLE_EQ(f.GetPy(), 1.5e-6);
            EXPECT_EQ(f.GetOrigin().y, 0.0);
        }
}
