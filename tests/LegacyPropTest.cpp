// The oldest propagators against the angular spectrum, their kept exceptions, and the trig tables.
#include "TestTools.h"

using namespace lmltest;

namespace
{

/// The product in double, rounded once.
Complex Times(const Complex& a, double re, double im)
{
    const double x = a.Real(), y = a.Imag();
    return Complex(x * re - y * im, x * im + y * re);
}
} // namespace

TEST(TrigTable, LooksUpTheNearestEntry)
{
    const TrigTable t(4);
    EXPECT_EQ(t.N(), 16u);
    EXPECT_EQ(t.mask, 15u);
    for (unsigned i = 0; i < 16; ++i)
    {
        EXPECT_NEAR(t.cosTable[i], std::cos(2 * M_PI * i / 16), 2e-16);
        EXPECT_NEAR(t.sinTable[i], std::sin(2 * M_PI * i / 16), 2e-16);
    }
    // Turns and the entry they take: half a step rounds up; 0.5 is added below zero as well.
    const std::pair<double, unsigned> table[] = {{0.25, 4},        {1.0, 0},           {0.49 / 16, 0},  {0.51 / 16, 1},
                                                 {-0.4 / 16, 0},   {-1.2 / 16, 0},     {-1.6 / 16, 15}, {3.5, 8},
                                                 {1e10 + 0.25, 4}, {-1e10 - 0.25, 13}, {1e300, 0},      {NAN, 0}};
    for (const auto& e : table)
    {
        EXPECT_EQ(t.CosR(e.first), t.cosTable[e.second]) << e.first;
        EXPECT_EQ(t.SinR(e.first), t.sinTable[e.second]) << e.first;
    }
    EXPECT_EQ(t.Sin(M_PI / 2), t.sinTable[4]);
    EXPECT_EQ(t.Cos(M_PI), t.cosTable[8]);
    const TrigTable one(0);
    EXPECT_EQ(one.N(), 1u);
    EXPECT_EQ(one.CosR(0.37), 1.0);
    EXPECT_EQ(one.SinR(0.37), 0.0);
    EXPECT_EQ(TrigTable(32 + 3).N(), 8u);
    TrigTable copy(1);
    copy = t;
    EXPECT_EQ(copy.sinTable, t.sinTable);
}

TEST(LegacyProp, OldFormOfPolarFieldsAndEvanescentSamples)
{
    for (const Engine lib : EachEngine())
    {
        Lumora f(32, 16, 0.25e-6);
        FillRandom(f, 8);
        Lumora raw(f);
        f._Old_SPWProp(0.002);
        raw.RawAsmProp(0.002);
        EXPECT_LT(RelativeL2(f, raw *= double(f.N())), 1e-6);
        EXPECT_EQ(f.GetOrigin().z, 0.0);
        EXPECT_DOUBLE_EQ(f.GetPx(), 0.25e-6);
    }
    for (const int ny : {8, 1})
    {
        Lumora polar(8, ny);
        polar.SetConst(Complex(1.0, 0.5));
        polar.Form() = POLAR_AMPLITUDE;
        polar._Old_SPWProp(0.0);
        EXPECT_EQ(polar.IsPolarForm(), ny != 1); // one row stays cartesian
        EXPECT_NEAR(polar[0].Real(), ny == 1 ? 8.0 * std::cos(0.5) : 64.0, 1e-4);
    }
}

TEST(LegacyProp, ProductsInDoubleAndOneRowWithARunningFrequencyAndAFloatPhase)
{
    Engine engine(FFT_LIB_SPLIT_RADIX);
    const double z = 0.01;
    for (const auto& [nx, ny] : {std::pair{1, 1}, {2, 1}, {16, 1}, {16, 8}}) // one sample: taken for the lowest u
    {
        Lumora f(nx, ny, 1e-6);
        FillRandom(f, 5);
        Lumora g(f);
        f._Old_SPWProp(z);
        g.Fft(-1);
        const double c = 1.0 / (g.lambda() * g.lambda());
        double u = -1.0 / 2e-6;
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i, u += 1.0 / (nx * 1e-6))
            {
                const double q = ny == 1 ? c - u * u : c - g.Y(j) * g.Y(j) - g.X(i) * g.X(i);
                const double phi = ny == 1 ? double(float(std::sqrt(q) * z * 6.283185307179586))
                                           : 6.283185307179586 * z * std::sqrt(q);
                g.Pixel(i, j) = Times(g.Pixel(i, j), std::cos(phi), std::sin(phi));
            }
        g.Fft(1);
        EXPECT_TRUE(SameBits(f, g)) << nx << " by " << ny;
    }
}

TEST(LegacyProp, TableFormWithItsExceptions)
{
    const TrigTable table(20);
    for (const double pitch : {1.0 / 8e-6, 1.0 / 2e-6}) // frequency pitches: all samples propagate; corners evanescent
        for (const auto& size : {std::pair{8, 8}, {4, 4}, {2, 2}, {16, 4}})
        {
            const int h = size.first / 2;
            const int g = size.second / 2;
            Lumora f(size.first, size.second, pitch);
            f.SetConst(Complex(1.0, 0.0));
            f.Form() = POLAR_SPECTRUM; // amplitude 1, phase 0
            const double z = 0.0031;
            f.SPWPropFsTbl(z, table);
            EXPECT_EQ(f.Form(), SPECTRUM);
            const double c = 1.0 / (f.lambda() * f.lambda());
            for (const auto [i, j] : Grid(size.first, size.second))
            {
                const double q = c - f.X(i) * f.X(i) - f.Y(j) * f.Y(j);
                Value expected = q > 0.0 ? std::polar(1.0, 2 * M_PI * z * std::sqrt(q)) : Value(1.0);
                if ((i == 0 && j == g) || (i == h && j == 0))
                    expected *= expected; // reached by both passes
                if (i == 0 && j == 0 && q < 0.0)
                    EXPECT_TRUE(std::isnan(f.GetPixel(0, 0).Real()));
                else
                {
                    // the table's step is 6e-6; at centre and corner a float phase of about 3e4 comes in
                    const bool corrected = (i == 0 && j == 0) || (i == h && j == g);
                    EXPECT_LT(std::abs(At(f, i, j) - expected), corrected ? 3e-3 : 2e-5)
                        << i << ", " << j << " of " << size.first;
                }
            }
            EXPECT_EQ(f.GetOrigin().z, 0.0);
        }
    for (const auto& size : {std::pair{1, 1}, {1, 4}, {4, 1}, {2, 1}})
    {
        Lumora f(size.first, size.second, 1e3);
        f.Form() = SPECTRUM;
        EXPECT_EQ(Catch([&] { f.SPWPropFsTbl(0.1, table); }).code, 0);
    }
    Lumora random(16, 16, 1e4);
    random.Form() = SPECTRUM;
    FillRandom(random, 4);
    Lumora expected(random);
    const TrigTable coarse(12);
    random.SPWPropFsTbl(0.0031, 12); // a number of bits makes the table
    for (int j = 1; j < 16; ++j)
        for (int i = 1; i < 16; ++i)
            if (i != 8 && j != 8)
            {
                const double u = (i - 8) * 1e4, v = (j - 8) * 1e4;
                const double q = 1.0 / (random.lambda() * random.lambda()) - v * v - u * u;
                const double turns = std::sqrt(q) * 0.0031;
                expected.Pixel(i, j) = Times(expected.Pixel(i, j), coarse.CosR(turns), coarse.SinR(turns));
                EXPECT_EQ(At(random, i, j), At(expected, i, j)) << i << ", " << j;
            }
}
