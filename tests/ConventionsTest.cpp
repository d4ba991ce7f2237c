// The sentences of docs/conventions.md that no other test holds; the first one checks that each names its test.
#include "TestTools.h"

#include <cfenv>
#include <cmath>
#include <filesystem>
#include <regex>

using namespace lmltest;

namespace
{
constexpr double kPi = 3.141592653589793;

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
    const auto read = [](const std::filesystem::path& path)
    {
        std::ifstream in(path);
        return std::string{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    };
    std::string tests;
    for (const auto& file : std::filesystem::directory_iterator(LML_SOURCE_DIR "/tests"))
        tests += file.path().extension() == ".cpp" ? read(file.path()) : "";
    const std::string text = read(LML_SOURCE_DIR "/docs/conventions.md");
    std::size_t sentences = 0;
    for (std::size_t at = 0; (at = text.find("\n- ", at)) != std::string::npos; ++at)
        ++sentences;
    const std::regex name("\\[([A-Za-z]+)\\.([A-Za-z]+)\\]");
    std::size_t named = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), name), end; it != end; ++it, ++named)
        EXPECT_NE(tests.find("(" + (*it)[1].str() + ", " + (*it)[2].str() + ")"), std::string::npos) << (*it)[0];
    EXPECT_GT(sentences, 25u);
    EXPECT_EQ(named, sentences);
}

TEST(Conventions, DistanceFollowsNormal)
{
    Lumora f(16, 16);
    f.Clear().SetNormalVector(Vector(0.0, 3.0, 4.0)).SetOrigin(Vector(1.0, 1.0, 1.0));
    f.AsmProp(0.5);
    EXPECT_NEAR(f.GetOrigin().y, 1.3, 1e-12);
    EXPECT_NEAR(f.GetOrigin().z, 1.4, 1e-12);
}

TEST(Conventions, Wavenumber)
{
    Lumora f(4, 4, 1e-6, 1e-6, 500e-9);
    EXPECT_DOUBLE_EQ(f.GetWavenumber(), 2.0 * kPi / 500e-9);
    f.k() = 2.0 * kPi / 600e-9;
    EXPECT_DOUBLE_EQ(f.GetWavelength(), 600e-9);
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
