// One test for each sentence of docs/conventions.md; the first one checks that none is missing.
#include "TestTools.h"

#include <cfenv>
#include <clocale>
#include <cmath>
#include <regex>

using namespace lmltest;

namespace
{
constexpr double kPi = 3.141592653589793;

#ifdef LML_TEST_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// Index of the largest sample.
std::size_t PeakOf(const Lumora& field)
{
    std::size_t peak = 0;
    for (std::size_t n = 1; n < field.N(); ++n)
        if (field.GetDataPointer()[n].Intensity() > field.GetDataPointer()[peak].Intensity())
            peak = n;
    return peak;
}

/// exp(+2 pi i (m/N) n) or the minus sign at unscaled unit amplitude, as the sum of one transform would see it.
ComplexDouble DirectBin(const Lumora& row, int m, double sign)
{
    ComplexDouble sum(0.0, 0.0);
    const int n = row.GetNx();
    for (int i = 0; i < n; ++i)
        sum += ComplexDouble(row.GetPixel(i, 0)) * euler(sign * 2.0 * kPi * (i - n / 2) * (m - n / 2) / n);
    return sum;
}
} // namespace

TEST(Conventions, EverySentenceHasItsTest)
{
    std::ifstream in(std::string(LML_SOURCE_DIR) + "/docs/conventions.md");
    ASSERT_TRUE(in.good());
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const ::testing::TestSuite* suite = ::testing::UnitTest::GetInstance()->current_test_suite();
    std::size_t sentences = 0;
    for (std::size_t at = 0; (at = text.find("\n- ", at)) != std::string::npos; ++at)
        ++sentences;
    const std::regex name("\\[Conventions\\.([A-Za-z]+)\\]");
    std::size_t named = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), name), end; it != end; ++it, ++named)
    {
        bool found = false;
        for (int t = 0; t < suite->total_test_count(); ++t)
            found = found || (*it)[1].str() == suite->GetTestInfo(t)->name();
        EXPECT_TRUE(found) << (*it)[1].str();
    }
    EXPECT_EQ(named, sentences);
    EXPECT_EQ(named + 1, static_cast<std::size_t>(suite->total_test_count()));
}

TEST(Conventions, LinearIndex)
{
    Lumora f(8, 4);
    f.Clear();
    f.SetPixel(3, 2, Complex(1.0, 0.0));
    EXPECT_EQ(f[3 + 8 * 2].Real(), 1.0f);
    EXPECT_EQ(f.IJ(3, 2), 19u);
}

TEST(Conventions, OriginSample)
{
    const Lumora f(8, 4, 0.5);
    EXPECT_EQ(f.X(4), 0.0);
    EXPECT_EQ(f.Y(2), 0.0);
    EXPECT_EQ(f.X(0), -2.0);
    EXPECT_EQ(f.X(7), 1.5);
}

TEST(Conventions, NearestSample)
{
    const Lumora f(8, 8, 1.0);
    EXPECT_EQ(f.I(0.49), 4);
    EXPECT_EQ(f.I(0.5), 5);
    EXPECT_EQ(f.I(-0.5), 4);
}

TEST(Conventions, PowersOfTwo)
{
    const Lumora f(300, 200);
    EXPECT_EQ(f.GetNx(), 512);
    EXPECT_EQ(f.GetNy(), 256);
}

TEST(Conventions, DistanceFollowsNormal)
{
    Lumora f(16, 16);
    f.Clear().SetNormalVector(Vector(0.0, 3.0, 4.0)).SetOrigin(Vector(1.0, 1.0, 1.0));
    f.AsmProp(0.5);
    EXPECT_NEAR(f.GetOrigin().y, 1.3, 1e-12);
    EXPECT_NEAR(f.GetOrigin().z, 1.4, 1e-12);
}

TEST(Conventions, LocalAxes)
{
    Lumora f(4);
    f.SetNormalVector(Vector(0.0, 0.0, 1.0));
    EXPECT_EQ(f.GetUnitVectorX(), Vector(1.0, 0.0, 0.0));
    f.SetNormalVector(Vector(1.0, 0.0, 0.0)); // z turned onto x takes x to -z
    EXPECT_EQ(f.GetUnitVectorX(), Vector(0.0, 0.0, -1.0));
    EXPECT_EQ(f.GetUnitVectorY(), Vector(0.0, 1.0, 0.0));
    f.SetNormalVector(Vector(0.0, 0.0, -1.0));
    EXPECT_EQ(f.GetUnitVectorX(), Vector(-1.0, 0.0, 0.0));
    EXPECT_EQ(f.GetUnitVectorY(), Vector(0.0, -1.0, 0.0));
}

TEST(Conventions, Wavenumber)
{
    Lumora f(4, 4, 1e-6, 1e-6, 500e-9);
    EXPECT_DOUBLE_EQ(f.GetWavenumber(), 2.0 * kPi / 500e-9);
    f.k() = 2.0 * kPi / 600e-9;
    EXPECT_DOUBLE_EQ(f.GetWavelength(), 600e-9);
}

TEST(Conventions, PolarPair)
{
    Lumora f(4, 1);
    f.SetConst(Complex(0.0, 2.0));
    f.ConvToPolarForm();
    EXPECT_EQ(f[0].Real(), 2.0f);
    EXPECT_FLOAT_EQ(f[0].Imag(), static_cast<float>(kPi / 2.0));
    EXPECT_EQ(f.GetReal(0, 0), 2.0);
}

TEST(Conventions, Intensity)
{
    Lumora f(4, 1);
    f.SetConst(Complex(3.0, 4.0));
    EXPECT_EQ(f.Intensity(1, 0), 25.0);
    EXPECT_EQ(sizeof(Complex), 8u);
}

TEST(Conventions, ForwardPhase)
{
    Lumora f(16, 16, 4e-6);
    f.SetConst(Complex(1.0, 0.0));
    const double d = 1.25 * f.GetWavelength(); // a quarter turn beyond a whole one
    f.RawAsmProp(d);
    EXPECT_NEAR(f.GetReal(5, 5), 0.0, 1e-5);
    EXPECT_NEAR(f.GetImag(5, 5), 1.0, 1e-5);
}

TEST(Conventions, SphericalPhase)
{
    Lumora f(16, 16, 4e-6);
    const double z = -0.1;
    f.SetSphericalWave(0.0, 0.0, z, 1.0, WINDOW_RECT);
    const double r = 0.1;
    const double k = f.GetWavenumber();
    EXPECT_NEAR(f.GetReal(8, 8) * r, std::cos(static_cast<float>(k * r)), 1e-5);
    EXPECT_NEAR(f.GetImag(8, 8) * r, std::sin(static_cast<float>(k * r)), 1e-5);
}

TEST(Conventions, PositiveFrequency)
{
    Lumora f(64, 64, 2e-6);
    const double step = 1.0 / (64 * 2e-6);
    const double cosA = 5.0 * step * f.GetWavelength();
    f.SetPlaneWave(cosA, 0.0, Phase(0)).Fft(-1);
    EXPECT_EQ(PeakOf(f), f.IJ(32 + 5, 32));
}

TEST(Conventions, LensConverges)
{
    Lumora f(256, 256, 8e-6);
    f.SetGaussian(0.4e-3, 2.0, 1.0);
    const double focal = 256 * 8e-6 * 8e-6 / f.GetWavelength(); // sampled to the edge of the grid
    f.SetQuadraticPhase(focal);
    const double before = f.GetIntensity(128, 128);
    f.AsmProp(focal);
    EXPECT_GT(f.GetIntensity(128, 128), 100.0 * before);
    EXPECT_EQ(PeakOf(f), f.IJ(128, 128));
}

TEST(Conventions, KernelSigns)
{
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR})
    {
        const Engine engine(lib);
        for (const int sign : {-1, 1})
        {
            Lumora f(16, 1, 1.0);
            FillRandom(f);
            const ComplexDouble expected = DirectBin(f, 11, sign);
            f.Fft(sign);
            EXPECT_NEAR(f.GetReal(11, 0), expected.Real(), 1e-5);
            EXPECT_NEAR(f.GetImag(11, 0), expected.Imag(), 1e-5);
        }
    }
}

TEST(Conventions, Unnormalised)
{
    Lumora f(16, 8, 1e-5);
    FillRandom(f);
    Lumora there(f);
    there.Fft(-1).Fft(1) /= 16.0 * 8.0;
    EXPECT_LT(RelativeL2(there, f), 1e-6);
    Lumora far(f);
    far.FourierProp(0.1);
    EXPECT_NEAR(far.GetSquareSumWhole() / f.GetSquareSumWhole(), 16.0 * 8.0, 1e-3);
    Lumora near(f);
    near.RawAsmProp(1e-4);
    EXPECT_NEAR(near.GetSquareSumWhole() / f.GetSquareSumWhole(), 1.0, 1e-5);
}

TEST(Conventions, SpectrumPitch)
{
    Lumora f(16, 8, 1e-5, 2e-5);
    f.SetConst(Complex(1.0, 0.0)).Fft(-1);
    EXPECT_EQ(PeakOf(f), f.IJ(8, 4));
    EXPECT_DOUBLE_EQ(f.GetPx(), 1.0 / (16 * 1e-5));
    EXPECT_DOUBLE_EQ(f.GetPy(), 1.0 / (8 * 2e-5));
}

TEST(Conventions, OneRow)
{
    Lumora f(16, 1, 1e-5, 3e-5);
    f.SetConst(Complex(1.0, 0.0)).Fft(-1);
    EXPECT_EQ(f.GetPy(), 3e-5);
    EXPECT_FLOAT_EQ(f[8].Real(), 16.0f);
}

TEST(Conventions, WindowEdges)
{
    Lumora f(8, 8);
    f.Clear().SetWindow(2, 4, 1, 3);
    f.SetConstWin(Complex(1.0, 0.0));
    EXPECT_EQ(f.GetSquareSumWhole(), 4.0);
    EXPECT_EQ(f.GetReal(3, 2), 1.0);
    EXPECT_EQ(f.GetReal(4, 2), 0.0);
    EXPECT_EQ(f.GetReal(3, 3), 0.0);
    EXPECT_EQ(f.Window().top, 3);
}

TEST(Conventions, WindowMeasures)
{
    Lumora f(8, 8);
    f.SetConst(Complex(2.0, 0.0)).SetWindow(0, 2, 0, 2);
    EXPECT_EQ(f.GetSquareSum(), 16.0);
    EXPECT_EQ(f.GetSquareSumWhole(), 256.0);
}

TEST(Conventions, WindowIsCut)
{
    Lumora f(8, 8);
    f.Clear();
    f.Window().left = -5;
    f.Window().right = 1000;
    f.Window().bottom = 7;
    f.Window().top = 2000000000;
    f.SetConstWin(Complex(1.0, 0.0));
    EXPECT_EQ(f.GetSquareSumWhole(), 8.0);
    EXPECT_EQ(f.GetSquareSum(), 8.0);
}

TEST(Conventions, FieldFilesRowOrder)
{
    Lumora f(4, 2);
    for (std::size_t n = 0; n < f.N(); ++n)
        f[n] = Complex(static_cast<double>(n), -static_cast<double>(n));
    const ScratchFile lm("f.lm");
    const ScratchFile lw("f.lw");
    const ScratchFile de("f.de");
    f.SaveAsLm(lm.Path());
    f.SaveAsLw(lw.Path(), nullptr);
    f.SaveAsDE(de.Path());
    const std::size_t starts[] = {134, 27, 36};
    const ScratchFile* const files[] = {&lm, &lw, &de};
    for (int t = 0; t < 3; ++t)
    {
        const std::string bytes = files[t]->Read();
        ASSERT_EQ(bytes.size(), starts[t] + 64);
        for (std::size_t n = 0; n < 8; ++n)
        {
            float pair[2];
            std::memcpy(pair, bytes.data() + starts[t] + 8 * n, 8);
            EXPECT_EQ(pair[0], static_cast<float>(n));
            EXPECT_EQ(pair[1], -static_cast<float>(n));
        }
    }
}

TEST(Conventions, PictureRowOrder)
{
    Lumora f(4, 4);
    f.Clear();
    for (int i = 0; i < 4; ++i)
        f.SetPixel(i, 0, Complex(1.0, 0.0)); // the bottom row is bright
    const ScratchFile bmp("f.bmp");
    const ScratchFile hbi("f.hbi");
    const ScratchFile raw("f.raw");
    f.SaveAsBmp(bmp.Path(), ModeAmplitude, GradationGrey);
    f.SaveAsHBI(hbi.Path(), ModeAmplitude, 0.0, 0.0, nullptr);
    f.SaveAsRAW(raw.Path(), ModeAmplitude, 0.0, 0.0);
    EXPECT_EQ(static_cast<unsigned char>(bmp.Read()[1078]), 255);
    EXPECT_EQ(static_cast<unsigned char>(hbi.Read()[24]), 255);
    EXPECT_EQ(static_cast<unsigned char>(raw.Read()[0]), 0);
    EXPECT_EQ(static_cast<unsigned char>(raw.Read()[12]), 255);
}

TEST(Conventions, PictureRange)
{
    Lumora f(4, 1);
    f[0] = Complex(0.0, 0.0);
    f[1] = Complex(1.0, 0.0);
    f[2] = Complex(-1.0, 0.0);
    f[3] = Complex(7.0, 0.0);
    const auto pixels = [&f](Mode mode)
    {
        const ScratchFile raw("f.raw");
        f.SaveAsRAW(raw.Path(), mode, 0.0, 0.0);
        return raw.Read();
    };
    EXPECT_EQ(pixels(ModeIntensity), std::string("\x00\xff\xff\xff", 4));
    EXPECT_EQ(pixels(ModeReal), std::string("\x80\xff\x00\xff", 4));
    EXPECT_EQ(pixels(ModePhase), std::string("\x80\x80\xff\x80", 4));
}

TEST(Conventions, DecimalPoint)
{
    const char* const before = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = before ? before : "C";
    // Where the machine has a locale with a decimal comma, the text must not follow it.
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "C"})
        if (std::setlocale(LC_NUMERIC, name))
            break;
    Lumora f(1, 1, 1.0);
    f[0] = Complex(0.5, 0.25);
    const ScratchFile text("f.txt");
    f.SaveAsPTF(text.Path());
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_NE(text.Read().find("(0.500000, 0.250000)"), std::string::npos);
}

TEST(Conventions, ThreadsDoNotMatter)
{
    Lumora one(256, 128, 2e-6);
    FillRandom(one);
    Lumora three(one);
    one.AsmProp(2e-3).Normalize(1.0).ConvToPolarForm();
    {
        const Threads threads(3);
        three.AsmProp(2e-3).Normalize(1.0).ConvToPolarForm();
    }
    EXPECT_TRUE(SameBits(one, three));
}

TEST(Conventions, ModesAreLeftAlone)
{
    const int before = std::fegetround();
    for (const int mode : {FE_TONEAREST, FE_UPWARD})
    {
        std::fesetround(mode);
        Lumora f(64, 64, 2e-6);
        FillRandom(f);
        f.AsmProp(2e-3).Normalize(1.0).ConvToPolarForm();
        EXPECT_EQ(std::fegetround(), mode);
    }
    std::fesetround(before);
}

TEST(Conventions, MostThreads)
{
    if (sanitized)
        GTEST_SKIP() << "checked threads take too much memory";
    const Threads threads(60000);
    EXPECT_EQ(GetNumThreads(), 1024);
    Lumora f(2048, 2);
    f.SetConst(Complex(2.0, 0.0)).ConvToConjugate(); // on a team of that size: the process lives
    EXPECT_EQ(f[4095].Real(), 2.0f);
}
