// Form conversions, real quantities, normalisation and turns.
#include "TestTools.h"

using namespace lmltest;

namespace
{
Open One(float first, float second, ComplexForm form = COMPLEX_AMPLITUDE)
{
    Open f(1, 1);
    f[0].real() = first;
    f[0].imag() = second;
    f.Form() = form;
    return f;
}
} // namespace

TEST(Conversion, FormsThereAndBack)
{
    struct Case
    {
        float x, y, amplitude, phase;
    };
    const float pi = static_cast<float>(3.141592653589793);
    const Case table[] = {{0, 0, 0, 0},
                          {-1, 0, 1, pi},
                          {0, 2, 2, pi / 2},
                          {3, -4, 5, static_cast<float>(std::atan2(-4.0, 3.0))},
                          {1e-30f, 0, 1e-30f, 0}};
    for (const Case& t : table)
    {
        Open f = One(t.x, t.y, SPECTRUM);
        f._ConvToPolarForm();
        EXPECT_EQ(f.Form(), POLAR_SPECTRUM);
        EXPECT_EQ(f[0].Real(), t.amplitude);
        EXPECT_EQ(f[0].Imag(), t.phase);
        f._ConvToPolarForm();
        EXPECT_EQ(f[0].Real(), t.amplitude);
        f._ConvToComplexForm();
        EXPECT_EQ(f.Form(), SPECTRUM);
        EXPECT_NEAR(f[0].Real(), t.x, 2e-7 * t.amplitude);
        EXPECT_NEAR(f[0].Imag(), t.y, 2e-7 * t.amplitude);
    }
    Open random(64, 32);
    FillRandom(random);
    const Lumora before(random);
    Threads team(3);
    random._ConvToPolarForm();
    random._ConvToPolarForm();
    random._ConvToComplexForm();
    EXPECT_LT(RelativeL2(random, before), 1e-7);
    testing::internal::CaptureStderr();
    random.ConvToComplexForm();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ObsoleteMethod!");
}

TEST(Conversion, RealQuantities)
{
    using Member = Lumora& (Lumora::*)();
    struct Case
    {
        Member op;
        float first, second;
        ComplexForm form;
        float result, resultSecond;
    };
    const float inf = std::numeric_limits<float>::infinity();
    const double l = std::log10(2.0);
    const Case table[] = {
        {&Lumora::ConvToIntensity, 3, 4, COMPLEX_AMPLITUDE, 25, 0},
        {&Lumora::ConvToIntensity, 5, 1, POLAR_AMPLITUDE, 25, 0},
        {&Lumora::ConvToIntensity, 1e-25f, 0, POLAR_SPECTRUM, 0, 0}, // squared in single precision
        {&Lumora::ConvToLogIntensity, 0, 0, COMPLEX_AMPLITUDE, 0, 0},
        {&Lumora::ConvToLogIntensity, 1, 0, SPECTRUM, 1, 0},
        {&Lumora::ConvToLogIntensity, 0, 3, POLAR_AMPLITUDE, -inf, 0},
        {&Lumora::ConvToLogIntensity, 1, 3, POLAR_AMPLITUDE, static_cast<float>(1.0 / l), 0},
        {&Lumora::ConvToLogIntensity, 3, 0, POLAR_AMPLITUDE,
         static_cast<float>((static_cast<double>(std::log10(9.0f)) + 1.0) / l), 0},
        {&Lumora::ConvToAbsolute, -3, 4, COMPLEX_AMPLITUDE, 5, 0},
        {&Lumora::ConvToAbsolute, 3, 4, POLAR_AMPLITUDE, 3, 0},
        {&Lumora::ConvToConjugate, 3, 4, COMPLEX_AMPLITUDE, 3, -4},
        {&Lumora::ConvToConjugate, 3, 0, POLAR_SPECTRUM, 3, 0},
    };
    for (const Case& t : table)
    {
        Lumora f = One(t.first, t.second, t.form);
        (f.*t.op)();
        EXPECT_EQ(f[0].Real(), t.result);
        EXPECT_EQ(Bits(f[0].Imag()), Bits(t.resultSecond)); // +0, not -0
        EXPECT_EQ(f.Form(), t.form);
    }
    Open polar = One(5, 1, POLAR_AMPLITUDE);
    polar.ConvToIntensity();
    polar._ConvToComplexForm();
    EXPECT_TRUE(polar[0] == Complex(25.0, 0.0));
}

TEST(Conversion, NormalizeIsTheSameOnEveryThreadCount)
{
    for (const int form : {0, 1, 2, 3})
        for (const bool window : {false, true})
            for (const Threads threads : EachTeam({1, 2, 3, 7}))
            {
                Lumora f(32, 16);
                FillRandom(f, 9);
                f.Form() = static_cast<ComplexForm>(form);
                f.SetWindow(3, 20, 2, 9);
                double m = window ? f.GetAmplitude(3, 2) : form < 2 ? 0.0 : f.GetReal(0, 0);
                for (int j = window ? 2 : 0; j < (window ? 9 : 16); ++j)
                    for (int i = window ? 3 : 0; i < (window ? 20 : 32); ++i)
                        // the window form measures a polar spectrum as if it were cartesian
                        m = std::max(
                            m, (window ? form == 2 : form >= 2)
                                   ? f.GetReal(i, j)
                                   : std::sqrt(f.GetReal(i, j) * f.GetReal(i, j) + f.GetImag(i, j) * f.GetImag(i, j)));
                Lumora expected(f);
                for (std::size_t n = 0; n < f.N(); ++n)
                    if (form >= 2)
                        expected[n].SetReal(f[n].GetReal() * (3.5 / m));
                    else
                    {
                        expected[n].real() *= static_cast<float>(3.5 / m);
                        expected[n].imag() *= static_cast<float>(3.5 / m);
                    }
                window ? f.NormalizeWin(3.5) : f.Normalize(3.5);
                EXPECT_TRUE(SameBits(f, expected)) << "form " << form << ", threads " << threads;
            }
}

TEST(Conversion, NormalizeSpecialFields)
{
    Lumora f = One(0.0f, 4.0f);
    EXPECT_EQ(f.Normalize(1.0)[0].Imag(), 1.0f);
    EXPECT_TRUE(std::isnan(f.Clear().Normalize(1.0)[0].Real()));
    Lumora g(4, 4);
    g.SetConst(Complex(2.0, 0.0));
    g.Window() = LML_RECT(50, 60, 60, 50); // no sample to measure by
    EXPECT_EQ(g.NormalizeWin(1.0)[0].Real(), 2.0f);
    g.Window() = LML_RECT(-5, 60, 60, -5);
    EXPECT_EQ(g.NormalizeWin(1.0)[15].Real(), 1.0f);
    g.SetConst(Complex(8.0, 0.0)).SetPixel(1, 2, Complex(2.0, 0.0)); // brighter on every side of the window
    g.SetWindow(1, 2, 2, 3);
    EXPECT_EQ(g.NormalizeWin(1.0)[0].Real(), 4.0f);
}

TEST(Conversion, Turns)
{
    Lumora f(8, 8);
    FillRandom(f);
    const Lumora before(f);
    f.ImageRotation(1);
    for (const auto [i, j] : Grid(8, 8))
        EXPECT_TRUE(f.GetPixel(j, 7 - i) == before.GetPixel(i, j));
    EXPECT_FALSE(SameBits(f, before));
    EXPECT_TRUE(SameBits(f.ImageRotation(1).ImageRotation(1).ImageRotation(1), before));
    Lumora r(8, 4);
    FillRandom(r);
    const Lumora rect(r);
    EXPECT_TRUE(r.ImageRotation(2).GetPixel(7, 3) == rect.GetPixel(0, 0));
    EXPECT_TRUE(SameBits(r.ImageRotation(2), rect));
    // Three quarter turns at once: column i ends at sample i of the
    // anti-diagonal, the rest of the buffer stays.
    f = before;
    f.ImageRotation(3);
    for (const auto [i, j] : Grid(8, 8))
        EXPECT_TRUE(f.GetPixel(i, j) == (i == 7 - j ? before.GetPixel(j, 7) : before.GetPixel(i, j)));
    for (const int n : {1, 3}) // rectangular grids turn wrongly but stay in the buffer
        for (const bool wide : {false, true})
        {
            Lumora g(wide ? 16 : 2, wide ? 2 : 16);
            g.ImageRotation(n);
            EXPECT_EQ(g.GetNx(), wide ? 2 : 16);
            EXPECT_EQ(g.GetNy(), wide ? 16 : 2);
        }
}
