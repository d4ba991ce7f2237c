// The sentences of docs/conventions.md that no other test holds; the first one checks that each names its test.
#include "TestTools.h"

#include <cfenv>
#include <cmath>
#include <filesystem>
#include <regex>

using namespace lmltest;

namespace
{
/// Index of the largest sample.
std::size_t PeakOf(const Lumora& field)
{
    std::size_t peak = 0;
    for (std::size_t n = 1; n < field.N(); ++n)
        if (field.GetDataPointer()[n].Intensity() > field.GetDataPointer()[peak].Intensity())
            peak = n;
    return peak;
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
