// What the three picture formats share when saving, each test once for BMP, HBI and RAW: bytes, modes, ranges, windows,
// failures. What only one of them has stands in BmpTest and HbiRawTest.

#include "PictureTools.h"

#include <algorithm>

namespace
{
using namespace lmltest;

struct Format
{
    const char* name;
    FormatRule rule;
    std::size_t rowMultiple;
    bool topRowFirst;
    bool takesPolar;
    bool refusesReversedRange;
    std::size_t headBytes;
    std::string (*head)(const Lumora& field, std::size_t width, std::size_t height);
    void (*save)(const Lumora& field, const char* path, bool window, Mode mode, double min, double max);
};

void PrintTo(const Format& format, std::ostream* os)
{
    *os << format.name;
}

std::string BmpHead(const Lumora& f, std::size_t width, std::size_t height)
{
    const std::size_t pixels = (width + 3) / 4 * 4 * height;
    std::string head = "BM" + Le(1078 + pixels, 4) + Le(0, 4) + Le(1078, 4) + Le(40, 4) + Le(width, 4) + Le(height, 4) +
                       Le(1, 2) + Le(8, 2) + Le(0, 4) + Le(pixels, 4) +
                       Le(static_cast<std::uint64_t>(1 / f.GetPx()), 4) +
                       Le(static_cast<std::uint64_t>(1 / f.GetPy()), 4) + Le(0, 8);
    for (unsigned i = 0; i < 256; ++i)
        head += Le(i * 0x010101u, 4);
    return head;
}
std::string HbiHead(const Lumora& f, std::size_t width, std::size_t height)
{
    return "HB" + Le(24, 4) + Le(8, 1) + Le(width, 4) + Le(height, 4) + LeF(static_cast<float>(f.GetPx())) +
           LeF(static_cast<float>(f.GetPy())) + Le(0, 1);
}

// clang-format off
const Format kFormats[] = {
    {"BMP", {0.01L, true, false}, 4, false, true, true, 1078, BmpHead,
     [](const Lumora& f, const char* p, bool window, Mode mode, double min, double max)
     {
         window ? f.WinSaveAsBMPEx(p, mode, min, max, GradationGrey, 0) : f.SaveAsBMPEx(p, mode, min, max, GradationGrey, 0);
     }},
    {"HBI", {0.001L, false, true}, 1, false, false, false, 24, HbiHead,
     [](const Lumora& f, const char* p, bool window, Mode mode, double min, double max)
     { window ? f.WinSaveAsHBI(p, mode, min, max, nullptr) : f.SaveAsHBI(p, mode, min, max, nullptr); }},
    {"RAW", {0.001L, true, false}, 1, true, true, true, 0,
     [](const Lumora&, std::size_t, std::size_t) { return std::string(); },
     [](const Lumora& f, const char* p, bool window, Mode mode, double min, double max)
     { window ? f.WinSaveAsRAW(p, mode, min, max) : f.SaveAsRAW(p, mode, min, max); }},
};
// clang-format on

class PictureTest : public ::testing::TestWithParam<Format>
{
protected:
    const Format& f = GetParam();
    const ScratchFile file{"picture"};

    /// The byte that shows sample (i, j) of the window.
    unsigned char Pixel(const std::string& bytes, const LML_RECT& w, int i, int j) const
    {
        const std::size_t width = static_cast<std::size_t>(w.right - w.left);
        const std::size_t row = static_cast<std::size_t>(f.topRowFirst ? w.top - 1 - j : j - w.bottom);
        const std::size_t rowBytes = (width + f.rowMultiple - 1) / f.rowMultiple * f.rowMultiple;
        return static_cast<unsigned char>(
            bytes.at(f.headBytes + row * rowBytes + static_cast<std::size_t>(i - w.left)));
    }
};
INSTANTIATE_TEST_SUITE_P(Formats, PictureTest, ::testing::ValuesIn(kFormats),
                         [](const auto& of) { return std::string(of.param.name); });

TEST_P(PictureTest, HeadRowsOrderAndPadding)
{
    Lumora field(8, 8, 0x1p-18, 0x1p-12);
    for (const auto [i, j] : Grid(8, 8))
        field.SetPixel(i, j, Complex((10.0 * j + i) / 255.0, 0.0));
    field.SetWindow(2, 7, 1, 4);
    for (const bool window : {true, false})
    {
        const LML_RECT w = window ? LML_RECT(2, 4, 7, 1) : LML_RECT(0, 8, 8, 0);
        std::string expected =
            f.head(field, static_cast<std::size_t>(w.right - w.left), static_cast<std::size_t>(w.top - w.bottom));
        ASSERT_EQ(expected.size(), f.headBytes);
        for (int n = 0; n < w.top - w.bottom; ++n)
        {
            const int j = f.topRowFirst ? w.top - 1 - n : w.bottom + n;
            for (int i = w.left; i < w.right; ++i)
                expected += static_cast<char>(10 * j + i);
            while ((expected.size() - f.headBytes) % f.rowMultiple != 0)
                expected += '\0';
        }
        f.save(field, file.Path(), window, ModeAmplitude, 0, 0);
        EXPECT_EQ(file.Read(), expected);
        EXPECT_EQ(field.Window().right, 7);
    }
    // More than a strip.
    Lumora large(2048, 512);
    for (std::size_t n = 0; n < large.N(); ++n)
        large[n] = Complex(0.0, static_cast<double>((n * 7919) % 256) / 255.0);
    f.save(large, file.Path(), false, ModeAmplitude, 0, 0);
    const std::string bytes = file.Read();
    std::size_t wrong = 0;
    for (const auto [i, j] : Grid(2048, 512))
        wrong += Pixel(bytes, large.Window(), i, j) != static_cast<std::size_t>(2048 * j + i) * 7919 % 256;
    EXPECT_EQ(wrong, 0u);
}

TEST_P(PictureTest, EveryModeFormAndRange)
{
    for (int form = 0; form < 4; ++form)
    {
        if ((form & 2) != 0 && !f.takesPolar)
            continue;
        Lumora field(32, 16);
        FillPicture(field, form, 5);
        field.SetWindow(3, 30, 2, 15);
        const Lumora before(field);
        const LML_RECT w = field.Window();
        const long double largest = LargestIn(field);
        for (int mode = -1; mode <= 7; ++mode)
            for (const auto& [min, max] : {std::pair{0.0, 0.0}, {-0.5, 0.75}, {0.25, 0.25}, {0.0, 1e-3}})
            {
                std::string bytes;
                for (const Threads threads : EachTeam({1, 3}))
                {
                    f.save(field, file.Path(), true, static_cast<Mode>(mode), min, max);
                    EXPECT_TRUE(threads == 1 || file.Read() == bytes);
                    bytes = file.Read();
                }
                int wrong = 0;
                for (int j = w.bottom; j < w.top; ++j)
                    for (int i = w.left; i < w.right; ++i)
                        wrong += !ShowsAs(Pixel(bytes, w, i, j),
                                          ExactPixel(field.GetPixel(i, j), form, mode, min, max, f.rule, largest));
                EXPECT_EQ(wrong, 0) << "form " << form << " mode " << mode << " range " << min << ' ' << max;
            }
        EXPECT_TRUE(SameBits(field, before));
        EXPECT_EQ(field.Form(), form);
    }
}

TEST_P(PictureTest, ValuesBeyondEveryRange)
{
    Lumora field(8, 1);
    const double values[8] = {16843009.0, kNan, -kInf, 0.5, kInf, -1e15, 1.0 + 2.0 / 255.0, 8421504.0};
    for (int i = 0; i < 8; ++i)
        field.SetPixel(i, 0, Complex(values[i], 0.0));
    const auto pixels = [&](Mode mode, double min, double max)
    {
        f.save(field, file.Path(), false, mode, min, max);
        return file.Read().substr(f.headBytes);
    };
    // In the mode's own range HBI takes the lowest byte of 256 and of 0x40000040; from 2^31 steps on it is white.
    EXPECT_EQ(pixels(ModeReal, 0, 0),
              f.rule.wraps ? std::string("\xff\0\0\xbf\xff\0\0\x40", 8) : std::string("\xff\0\0\xbf\xff\0\xff\xff", 8));
    EXPECT_EQ(pixels(ModeReal, 0, 1), std::string("\xff\0\0\x80\xff\0\xff\xff", 8));
    EXPECT_EQ(pixels(ModeIntensity, 0, 1e-9), std::string("\xff\0\xff\xff\xff\xff\xff\xff", 8));
    for (const auto& [min, max] : {std::pair{kNan, 1.0}, {0.0, kNan}, {-kInf, kInf}})
        pixels(ModeReal, min, max); // no range at all: any pixels, no failure
    field.Clear();
    EXPECT_EQ(pixels(ModeLogIntensity, 0, 0), std::string(8, '\0'));
    if (f.takesPolar)
    {
        field.Form() = POLAR_AMPLITUDE; // the logarithm of 0
        EXPECT_EQ(pixels(ModeLogIntensity, 0, 0), std::string(8, '\0'));
    }
    EXPECT_EQ(pixels(ModeMaskedPhase, 0, 0), std::string(8, '\x80')) << "phase 0 is mid-grey";
}

TEST_P(PictureTest, RefusalsBeforeAndBehindTheOpening)
{
    Lumora field(8, 8);
    field.Clear().SetWindow(1, 3, 1, 3);
    Lumora none(8, 8);
    none.Dispose();
    for (const bool window : {true, false})
    {
        const auto code = [&](const Lumora& of, double max)
        {
            return Catch([&] { f.save(of, file.Path(), window, ModeReal, 0, max); }).code;
        };
        file.Write("old contents");
        EXPECT_EQ(code(none, 1), 6);
        field.Form() = POLAR_AMPLITUDE;
        EXPECT_TRUE(f.takesPolar || code(field, 1) == 7);
        field.Form() = COMPLEX_AMPLITUDE;
        EXPECT_EQ(file.Read(), "old contents");
        EXPECT_EQ(code(field, -1), f.refusesReversedRange ? 3 : 0);
        EXPECT_EQ(file.Read().empty(), f.refusesReversedRange) << "emptied by then";
    }
}

TEST_P(PictureTest, WindowsOutsideTheGrid)
{
    Lumora field(8, 4);
    FillRandom(field);
    struct Case
    {
        LML_RECT window;
        std::size_t pixels;
    };
    const int big = std::numeric_limits<int>::max();
    for (const Case& c : {Case{{0, 4, 0, 0}, 0},
                          {{5, 4, 2, 0}, 0},
                          {{0, 1, 8, 3}, 0},
                          {{-5, 9, 100, -1}, 32},
                          {{-big - 1, big, big, -big - 1}, 32},
                          {{big, -big, -big, big}, 0},
                          {{20, 30, 30, 20}, 0}})
        for (const Mode mode : {ModeIntensity, ModeMaskedPhase})
        {
            field.Window() = c.window;
            f.save(field, file.Path(), true, mode, 0, 0);
            EXPECT_EQ(file.Read().size(), f.headBytes + c.pixels);
        }
    f.save(Lumora(0, 5), file.Path(), false, ModeIntensity, 0, 0);
    EXPECT_EQ(file.Read().size(), f.headBytes);
}

/// A file by hand, and the pixel value that each sample is to have: below 0 the background.
struct Stored
{
    std::string name, bytes;
    bool bmp;
    int nx, ny;
    std::vector<double> values;
};

std::vector<Stored> StoredPictures()
{
    std::vector<Stored> all;
    const double grey[] = {(0.1 * 16 + 0.6 * 32 + 0.3 * 48) / 255, 0.1, 0.6, 0.3, 1.0, 0.0};
    for (const bool topDown : {false, true})
        for (const int bits : {8, 4})
        {
            Picture p;
            p.width = 6;
            p.height = topDown ? -2 : 2;
            p.bits = bits;
            p.colours = 5;
            p.palette = std::string("\x10\x20\x30\0\xff\0\0\0\0\xff\0\0\0\0\xff\0\xff\xff\xff\0", 20);
            const std::string rows[2] = {
                bits == 8 ? std::string("\0\1\2\3\4\5xx", 8) : std::string("\x01\x23\x45\xff", 4),
                bits == 8 ? std::string("\4\0\0\0\1\xffxx", 8) : std::string("\x40\x00\x1e\xff", 4)};
            p.pixels = topDown ? rows[1] + rows[0] : rows[0] + rows[1];
            std::vector<double> values(16, -1.0);
            const int index[2][6] = {{0, 1, 2, 3, 4, 5}, {4, 0, 0, 0, 1, 5}}; // 5 is beyond the palette: black
            for (const auto [i, j] : Grid(6, 2))
                values[static_cast<std::size_t>(8 * j + i + 1)] = grey[index[j][i]];
            all.push_back({"BMP of bits " + std::to_string(bits), p.Bytes(), true, 8, 2, values});
        }
    // HBI: as the reader takes them, with 3 bytes between head and pixels; rows of 4 bits have width * height bytes,
    // and what is not there (Nx is 16, a row has 12 bytes) is pixel 0.
    const auto hbi = [&](int bits, int width, const std::string& bytes, const std::vector<int>& pixels)
    {
        std::vector<double> values;
        for (const int pixel : pixels)
            values.push_back(pixel / static_cast<double>((1 << bits) - 1));
        all.push_back({"HBI of bits " + std::to_string(bits),
                       "HB" + Le(27, 4) + Le(static_cast<std::uint64_t>(bits), 1) +
                           Le(static_cast<std::uint64_t>(width), 4) + Le(1, 4) + LeF(2e-6f) + LeF(3e-6f) + Le(0xaa, 1) +
                           "gap" + bytes,
                       false, static_cast<int>(values.size()), 1, values});
    };
    hbi(8, 4, std::string("\x00\x33\xff\x80", 4), {0, 0x33, 255, 128});
    hbi(4, 4, std::string("\x0f\x7a\x11\x11", 4), {0, 15, 7, 10});
    hbi(1, 32, std::string("\x80\x00\x01\xf0", 4),
        {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0});
    hbi(8, 9, std::string(9, '\xff') + "333", {255, 255, 255, 255, 255, 255, 255, 255, 255, 51, 51, 51, 0, 0, 0, 0});
    return all;
}

TEST(PictureLoad, EveryModeFormDepthAndOrder)
{
    const ScratchFile file("load");
    for (const Stored& t : StoredPictures())
        for (const int form : {0, 2, 3})
            for (int mode = -1; mode <= 7; ++mode)
            {
                file.Write(t.bytes);
                Lumora field(2, 8, 1e-6);
                FillRandom(field);
                field.SetWindow(0, 1, 0, 1).Form() = static_cast<ComplexForm>(form);
                const std::pair<double, double> background(t.bmp ? 0.75 : 0.0, t.bmp ? 0.5 : 0.0);
                t.bmp ? field.LoadBMP(file.Path(), static_cast<Mode>(mode), Complex(0.75, 0.5))
                      : field.LoadHBI(file.Path(), static_cast<Mode>(mode));
                ASSERT_EQ(field.GetNx(), t.nx);
                ASSERT_EQ(field.GetNy(), t.ny);
                EXPECT_EQ(field.GetPx(), t.bmp ? 1e-6 : static_cast<double>(2e-6f));
                EXPECT_EQ(field.GetPy(), t.bmp ? 1e-6 : static_cast<double>(3e-6f));
                EXPECT_EQ(field.Form(), form);
                EXPECT_EQ(field.Window().right, t.nx);
                const bool loads = mode >= 0 && mode <= 4;
                // The background is a pair in the form of the mode; without a form of its own, of the field.
                const bool polarPair = loads ? mode == 0 || mode >= 3 : form != 0;
                for (const auto [i, j] : Grid(field))
                {
                    const double v = t.values[static_cast<std::size_t>(t.nx * j + i)];
                    const auto expected = AsCartesian(loads && v >= 0.0 ? LoadedPair(mode, v) : background, polarPair);
                    const auto got = AsCartesian({field.GetReal(i, j), field.GetImag(i, j)}, form != 0);
                    ASSERT_LT(std::abs(got - expected), 1e-6)
                        << t.name << " form " << form << " mode " << mode << " at " << i << ' ' << j;
                }
            }
}
} // namespace
