// BMP pictures: palettes, the fourteen savers, the loaders, and files of every bad kind.

#include "PictureTools.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace
{
using namespace lmltest;

constexpr char kSaver[] = "LumoraLib::Lumora::WinSaveAsBMPEx";
constexpr char kMaxBelowMin[] = "max\x82\xaamin\x82\xe6\x82\xe8\x8f\xac\x82\xb3\x82\xa2";

unsigned char At(const std::string& bytes, std::size_t n)
{
    return static_cast<unsigned char>(bytes.at(n));
}

/// An 8-bit picture whose pixel (i, row from the bottom) has a value of its own.
unsigned char PixelAt(int i, int row)
{
    return static_cast<unsigned char>(1 + (37 * i + 101 * row) % 255);
}
Picture Numbered(int width, int height, bool topDown = false)
{
    Picture p;
    p.width = width;
    p.height = topDown ? -height : height;
    for (int n = 0; n < height; ++n)
    {
        const int row = topDown ? height - 1 - n : n;
        for (int i = 0; i < (width + 3) / 4 * 4; ++i)
            p.pixels += static_cast<char>(i < width ? PixelAt(i, row) : 0xee);
    }
    return p;
}

TEST(BmpSave, Palettes)
{
    ScratchFile file("palette.bmp");
    Lumora field(2, 2);
    field.Clear();
    field.SetPx(0.0).SetPy(-1e-12); // no number of samples per metre that fits: the overflow value
    field.SaveAsBmp(file.Path(), ModeAmplitude, GradationGrey, 0);
    std::string bytes = file.Read();
    EXPECT_EQ(bytes.substr(38, 8), Le(0x80000000u, 4) + Le(0x80000000u, 4));

    for (const int gradation : {1, 7, -1}) // every value other than 0 is the rainbow
    {
        field.SaveAsBmp(file.Path(), ModeAmplitude, static_cast<Gradation>(gradation), 0);
        bytes = file.Read();
        for (unsigned i = 0; i < 256; ++i)
        {
            // The usual conversion of hue and value at full saturation, written without sectors.
            const double hue = (255 - static_cast<int>(i)) * 300.0 / 255.0;
            const double value = hue > 240.5 ? 1.0 - (hue - 240.0) / 60.0 : 1.0 - (205 * 300.0 / 255.0 - 240.0) / 60.0;
            const auto component = [&](double n)
            {
                const double k = std::fmod(n + hue / 60.0, 6.0);
                return 255.0 * value * (1.0 - std::max(0.0, std::min({k, 4.0 - k, 1.0})));
            };
            const double bgr[3] = {component(1), component(3), component(5)};
            for (unsigned c = 0; c < 3; ++c)
                EXPECT_NEAR(At(bytes, 54 + 4 * i + c), bgr[c] - 0.5, 0.5 + 1e-9) << i << ' ' << c;
        }
        struct Spot
        {
            unsigned index;
            int red, green, blue;
        };
        for (const Spot s : {Spot{0, 0, 0, 0},
                             {1, 4, 0, 5},
                             {50, 4, 0, 249},
                             {51, 0, 0, 249},
                             {102, 0, 249, 249},
                             {128, 0, 249, 122},
                             {153, 0, 249, 0},
                             {204, 249, 249, 0},
                             {255, 249, 0, 0}})
            EXPECT_EQ(bytes.substr(54 + 4 * s.index, 3),
                      std::string({static_cast<char>(s.blue), static_cast<char>(s.green), static_cast<char>(s.red)}));
    }
}

/// Every saver: is it the window's, how many bar columns does it draw on a wide picture, does it take a range from a to
/// b, does it take colours.
struct Saver
{
    bool window;
    int bar;
    bool ranged, colour;
    std::function<void(const Lumora& f, const char* p, Mode m, double a, double b)> save;
};
// clang-format off
#define LML_SAVER(window, bar, ranged, colour, call)                                                                   \
    {window, bar, ranged, colour, [](const Lumora& f, const char* p, Mode m, [[maybe_unused]] double a, [[maybe_unused]] double b) { call; }}
const Saver kSavers[] = {
    LML_SAVER(true, 20, true, true, f.WinSaveAsBMPEx(p, m, a, b, GradationRainbow, 20)),
    LML_SAVER(true, 7, true, false, f.WinSaveAsBmp(p, m, GradationGrey, 7, b, a)),
    LML_SAVER(true, 1, false, true, f.WinSaveAsBmp(p, m, GradationRainbow, 1)),
    LML_SAVER(true, 0, false, false, f.WinSaveAsBmp(p, m, GradationGrey)),
    LML_SAVER(true, 10, false, true, f.WinSaveAsBmp(p, m, GradationRainbow)),
    LML_SAVER(true, 10, true, true, f.WinSaveAsBMPC(p, m, a, b)),
    LML_SAVER(true, 10, true, false, f.WinSaveAsBMP(p, m, a, b)),
    LML_SAVER(false, 100, true, true, f.SaveAsBmp(p, m, GradationRainbow, 100, b, a)),
    LML_SAVER(false, -3, false, false, f.SaveAsBmp(p, m, GradationGrey, -3)),
    LML_SAVER(false, 0, false, false, f.SaveAsBmp(p, m, GradationGrey)),
    LML_SAVER(false, 10, false, true, f.SaveAsBmp(p, m, GradationRainbow)),
    LML_SAVER(false, 2, true, false, f.SaveAsBMPEx(p, m, a, b, GradationGrey, 2)),
    LML_SAVER(false, 0, true, true, f.SaveAsBMPC(p, m, a, b)),
    LML_SAVER(false, 0, true, false, f.SaveAsBMP(p, m, a, b)),
};
// clang-format on

TEST(BmpSave, SaversDifferInWindowRangePaletteAndBar)
{
    ScratchFile file("saver.bmp");
    Lumora field(32, 16);
    for (std::size_t n = 0; n < field.N(); ++n)
        field[n] = Complex(0.25, 0.0);
    field.SetWindow(4, 28, 3, 13);
    for (const Saver& s : kSavers)
    {
        SCOPED_TRACE(&s - kSavers);
        const int width = s.window ? 24 : 32;
        const int height = s.window ? 10 : 16;
        s.save(field, file.Path(), ModeAmplitude, 0.0, 0.5);
        const std::string bytes = file.Read();
        ASSERT_EQ(bytes.size(), 1078u + static_cast<unsigned>(width * height));
        EXPECT_EQ(At(bytes, 54 + 4 * 255), s.colour ? 0 : 255);
        for (const auto [i, j] : Grid(width, height))
        {
            const int plain = s.ranged ? 128 : 64;
            const int expected = s.bar > width - i ? j * 255 / height : plain;
            ASSERT_EQ(At(bytes, static_cast<std::size_t>(1078 + j * width + i)), expected) << i << ' ' << j;
        }
        const Failure reversed = Catch([&] { s.save(field, file.Path(), ModeAmplitude, 1, 0); });
        EXPECT_EQ(reversed, s.ranged ? (Failure{3, kSaver, kMaxBelowMin}) : Failure{});
        EXPECT_EQ(file.Read().empty(), s.ranged);
        EXPECT_EQ(field.Window().left, 4);
        EXPECT_EQ(field.Window().top, 13);
    }
}

TEST(BmpLoad, PlacementOfEverySize)
{
    ScratchFile file("place.bmp");
    for (int width = 1; width <= 9; ++width)
        for (int height = 1; height <= 9; ++height)
            for (const bool topDown : {false, true})
            {
                file.Write(Numbered(width, height, topDown).Bytes());
                Lumora field(1, 1);
                field.LoadBmp(file.Path(), ModeAmplitude, Complex(9.0, 0.0));
                const auto raise = [](int n)
                {
                    return n == 1 ? 1 : n == 2 ? 2 : n <= 4 ? 4 : n <= 8 ? 8 : 16;
                };
                ASSERT_EQ(field.GetNx(), raise(width));
                ASSERT_EQ(field.GetNy(), raise(height));
                const int x0 = (raise(width) - width + 1) / 2;
                const int y0 = (raise(height) - height + 1) / 2;
                for (const auto [i, j] : Grid(field))
                {
                    const bool inside = i >= x0 && i < field.GetNx() - x0 && j >= y0 && j < field.GetNy() - y0;
                    ASSERT_NEAR(field.GetReal(i, j), inside ? PixelAt(i - x0, j - y0) / 255.0 : 9.0, 1e-6)
                        << width << 'x' << height << (topDown ? " top down" : "") << " at " << i << ' ' << j;
                }
            }
}

TEST(BmpLoad, SameNumberOfSamplesKeepsWindowAndSizes)
{
    ScratchFile file("same.bmp");
    file.Write(Numbered(8, 2).Bytes());
    Lumora field(4, 4);
    field.SetWindow(1, 3, 1, 2);
    const Complex* const samples = field.GetDataPointer();
    field.LoadBMP(file.Path(), ModeAmplitude);
    EXPECT_EQ(field.GetNx(), 8);
    EXPECT_EQ(field.GetDataPointer(), samples);
    EXPECT_EQ(field.Window().right, 3);
    EXPECT_NEAR(field.GetReal(7, 1), PixelAt(7, 1) / 255.0, 1e-6);

    field.SetNx(16).SetNy(1).Dispose(); // right number, no samples
    field.LoadBMP(file.Path(), ModeAmplitude);
    EXPECT_NEAR(field.GetReal(7, 1), PixelAt(7, 1) / 255.0, 1e-6);
    EXPECT_EQ(field.Window().right, 8);

    alignas(16) static Complex buffer[16];
    Lumora user(0, 0);
    user.SetNx(4).SetNy(4).Init(buffer);
    user.LoadBMP(file.Path(), ModeAmplitude);
    EXPECT_EQ(user.GetDataPointer(), buffer);
    file.Write(Numbered(8, 3).Bytes());
    EXPECT_EQ(Catch([&] { user.LoadBMP(file.Path(), ModeAmplitude); }),
              (Failure{1, "LumoraLib::Lumora::Init", "User-Defined buffer is too small"}));
}

/// The pictures of a public collection, where the build names its folder, against the list of outcomes beside them.
TEST(BmpLoad, PicturesFromElsewhere)
{
    const std::string folder = LML_BMP_CORPUS;
    std::ifstream list(folder + "/expected.tsv");
    if (folder.empty() || !list)
        GTEST_SKIP() << "no pictures: LML_BMP_CORPUS names none";
    const auto load = [&](const std::string& path, Lumora& field)
    {
        return Catch([&] { field.LoadBmp(path.c_str(), ModeAmplitude, Complex(0, 0)); });
    };
    std::string line;
    std::getline(list, line); // titles
    while (std::getline(list, line))
    {
        std::istringstream cells(line);
        std::string name, outcome, code, message;
        for (std::string* cell : {&name, &outcome, &code, &message})
            std::getline(cells, *cell, '\t');
        if (name.empty())
            continue;
        const std::string path = folder + "/" + name;
        const bool shortRead = message == "eread: the path";
        Lumora field(4, 4);
        EXPECT_EQ(load(path, field), outcome == "loads"
                                         ? Failure{}
                                         : (Failure{std::stoi(code), shortRead ? "eread" : "LumoraLib::Lumora::LoadBmp",
                                                    shortRead || message == "the path" ? path : message}))
            << name;
    }
    // Pictures that show the same.
    Lumora first(4, 4), other(4, 4);
    EXPECT_EQ(load(folder + "/g/pal8.bmp", first), Failure{});
    for (const char* name : {"/g/pal8topdown.bmp", "/q/pal8offs.bmp", "/g/pal8-0.bmp", "/q/pal8oversizepal.bmp"})
    {
        EXPECT_EQ(load(folder + name, other), Failure{});
        EXPECT_TRUE(SameBits(first, other)) << name;
    }
}

/// Reads a binary PGM or PPM as rows from the top, three components each.
std::vector<unsigned char> ReadPnm(const std::string& bytes, int& width, int& height)
{
    std::istringstream in(bytes);
    std::string magic;
    int most = 0;
    in >> magic >> width >> height >> most;
    in.get();
    std::vector<unsigned char> rgb;
    for (int n = 0; n < width * height && (magic == "P5" || magic == "P6"); ++n)
    {
        const int first = in.get();
        for (int c = 0; c < 3; ++c)
            rgb.push_back(static_cast<unsigned char>(c == 0 || magic == "P5" ? first : in.get()));
    }
    return rgb;
}

TEST(BmpSave, AnotherProgramReadsThePicture)
{
    if (std::system("command -v bmptopnm >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "bmptopnm (Debian package netpbm) is not installed";
    ScratchFile file("shown.bmp");
    ScratchFile pnm("shown.pnm");
    Lumora field(32, 16, 1e-5);
    for (const auto [i, j] : Grid(32, 16))
        field.SetPixel(i, j, Complex((16 * j + i / 2) / 255.0, 0.0));
    field.SetWindow(1, 30, 2, 13); // rows with padding
    for (const Gradation gradation : {GradationGrey, GradationRainbow})
    {
        field.WinSaveAsBmp(file.Path(), ModeAmplitude, gradation, 0);
        const std::string palette = file.Read().substr(54, 1024);
        const std::string command = "bmptopnm '" + std::string(file.Path()) + "' >'" + pnm.Path() + "' 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
        int width = 0;
        int height = 0;
        const std::vector<unsigned char> rgb = ReadPnm(pnm.Read(), width, height);
        ASSERT_EQ(width, 29);
        ASSERT_EQ(height, 11);
        ASSERT_EQ(rgb.size(), 3u * 29 * 11);
        for (int row = 0; row < height; ++row)
            for (int i = 0; i < width; ++i)
            {
                const int j = 12 - row; // the picture's top row is the window's last
                const std::size_t index = static_cast<std::size_t>(16 * j + (i + 1) / 2);
                for (std::size_t c = 0; c < 3; ++c)
                    ASSERT_EQ(rgb[3 * static_cast<std::size_t>(row * width + i) + c], At(palette, 4 * index + 2 - c));
            }
    }
}
} // namespace
