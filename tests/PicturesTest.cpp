// The component of pictures: files against netpbm's tools, damaged files, what styles show, pictures as fields,
// failures.
#include "LmlPictures.h"
#include "TestTools.h"

#include <cmath>
#include <numeric>

using namespace lmltest;

namespace
{
bool HasTool(const std::string& tool)
{
    return std::system(("command -v " + tool + " >/dev/null").c_str()) == 0;
}

/// A picture whose channels all differ: values of `maxval` + 1 levels.
std::string Map(char kind, int width, int height, int maxval)
{
    std::string bytes = std::string("P") + kind + "\n# made by a test\n" + std::to_string(width) + " " +
                        std::to_string(height) + "\n" + std::to_string(maxval) + "\n";
    const int channels = kind == '6' ? 3 : 1;
    for (int n = 0; n < width * height * channels; ++n)
    {
        const unsigned value = static_cast<unsigned>(n * 7919 + n / 5) % static_cast<unsigned>(maxval + 1);
        if (maxval > 255)
            bytes += static_cast<char>(value >> 8);
        bytes += static_cast<char>(value & 255);
    }
    return bytes;
}

/// What a tool of netpbm makes of the bytes.
std::string Through(const std::string& command, const std::string& bytes)
{
    const ScratchFile in("in");
    const ScratchFile out("out");
    in.Write(bytes);
    EXPECT_EQ(std::system(("{ " + command + "; } <" + in.Path() + " >" + out.Path() + " 2>/dev/null").c_str()), 0)
        << command;
    return out.Read();
}

PictureImage Read(const std::string& bytes)
{
    const ScratchFile file("read");
    file.Write(bytes);
    return ReadPicture(file.Path());
}

/// A picture as red, green and blue of its own number of bits.
std::vector<int> Colours(const PictureImage& p)
{
    std::vector<int> all;
    for (int j = 0; j < p.height; ++j)
        for (int i = 0; i < p.width; ++i)
            for (std::size_t c = 0; c < 3; ++c)
                all.push_back(p.samples[p.At(i, j) + (p.channels < 3 ? 0 : c)]);
    return all;
}

std::vector<int> At(const PictureImage& p, int column, int row)
{
    const auto from = p.samples.begin() + static_cast<std::ptrdiff_t>(p.At(column, row));
    return {from, from + p.channels};
}

std::string Tiny24() // 2 by 2, bottom row first: blue, green / red, white
{
    return "BM" + Le(70, 4) + Le(0, 4) + Le(54, 4) + Le(40, 4) + Le(2, 4) + Le(2, 4) + Le(1, 2) + Le(24, 2) + Le(0, 4) +
           Le(16, 4) + Le(0, 16) + std::string("\xff\0\0\0\xff\0\0\0\0\0\xff\xff\xff\xff\0\0", 16);
}

Lumora Pattern(int nx, int ny)
{
    Lumora f(nx, ny, 4e-6, 4e-6, 500e-9);
    FillRandom(f);
    return f;
}

constexpr double kPi = 3.14159265358979323846;

PictureStyle Plain(PictureQuantity quantity)
{
    PictureStyle style;
    style.quantity = quantity;
    style.maxSize = style.minSize = 0;
    style.clip = 100.0;
    return style;
}
} // namespace

TEST(Pictures, FilesOfNetpbmAreReadAndItReadsOurs)
{
    if (!HasTool("pnmtopng") || !HasTool("pnmtojpeg"))
        GTEST_SKIP() << "no netpbm";
    const struct
    {
        const char* command;
        char kind;
        int maxval, width, tolerance;
    } cases[] = {
        {"pnmtopng", '5', 255, 37, 0},
        {"pnmtopng -interlace", '6', 255, 37, 0},
        {"pnmtopng", '5', 1, 19, 0},
        {"pnmtopng", '5', 3, 19, 0},
        {"pnmtopng -interlace", '5', 15, 19, 0},
        {"pnmtopng", '6', 3, 23, 0}, // 64 colours: a palette
        {"pnmtopng", '5', 65535, 21, 0},
        {"pnmtopng -interlace", '6', 65535, 21, 0},
        {"ppmtobmp -bpp=24", '6', 255, 13, 0},
        {"ppmtobmp -bpp=8", '6', 3, 13, 0},
        {"ppmtobmp -bpp=4", '5', 15, 11, 0},
        {"ppmtobmp -bpp=1", '5', 1, 11, 0},
        {"pamtopnm -plain", '6', 255, 5, 0},
        {"pamtopnm -plain", '5', 65535, 5, 0},
        {"pamditherbw -threshold | pamtopnm", '5', 1, 17, 0},
        {"pnmtojpeg -quality=100", '5', 1, 16, 3},
        {"pnmtojpeg -progressive -quality=100", '5', 1, 32, 3},
        {"pnmtojpeg -quality=100 -sample=1x1", '6', 1, 16, 4},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.command) + " P" + c.kind + " " + std::to_string(c.maxval));
        const std::string map = Map(c.kind, c.width, 9, c.maxval);
        const PictureImage expected = Read(map);
        const PictureImage read = Read(Through(c.command, map));
        ASSERT_EQ(read.width, c.width);
        ASSERT_EQ(read.height, 9);
        EXPECT_EQ(read.bits, expected.bits);
        const std::vector<int> a = Colours(read);
        const std::vector<int> b = Colours(expected);
        for (std::size_t n = 0; n < a.size(); ++n)
            ASSERT_NEAR(a[n], b[n], c.tolerance) << n;
        if (c.kind == '6' || c.maxval >= 255)
        {
            const std::vector<std::uint8_t> png = EncodePng(expected);
            EXPECT_EQ(Colours(Read(Through("pngtopnm", {png.begin(), png.end()}))), b) << "written";
        }
    }
    // Opacity there and back, in 8 and 16 bits, and the resolution.
    for (const int channels : {2, 4})
        for (const int bits : {8, 16})
        {
            PictureImage p;
            p.width = 3;
            p.height = 2;
            p.channels = channels;
            p.bits = bits;
            p.perMetreX = p.perMetreY = bits == 8 ? 125000.0 : 2147483647.0;
            p.samples.resize(p.At(0, 2));
            for (std::size_t n = 0; n < p.samples.size(); ++n)
                p.samples[n] = static_cast<std::uint16_t>((n + 1) * (bits == 8 ? 10 : 2500));
            const ScratchFile file("opacity.png");
            SavePng(file.Path(), p);
            const PictureImage q = ReadPicture(file.Path());
            EXPECT_EQ(q.samples, p.samples);
            EXPECT_EQ(q.channels, channels);
            EXPECT_EQ(q.perMetreX, p.perMetreX);
        }
}

TEST(Pictures, BitmapsByHandAndCamerasTurned)
{
    std::string bmp = Tiny24();
    EXPECT_EQ(Colours(Read(bmp)), (std::vector<int>{255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 255, 0}));
    // 32 bits without masks: the fourth byte says nothing; with masks it is the opacity. Top row first.
    const auto deep = [](int compression, const std::string& masks)
    {
        return "BM" + Le(0, 4) + Le(0, 4) + Le(14 + 40 + masks.size(), 4) + Le(40 + masks.size(), 4) + Le(1, 4) +
               Le(0xFFFFFFFE, 4) + Le(1, 2) + Le(32, 2) + Le(static_cast<unsigned>(compression), 4) + Le(0, 20) +
               masks + std::string("\x01\x02\x03\x04\x11\x12\x13\x14", 8);
    };
    const PictureImage plain = Read(deep(0, ""));
    EXPECT_EQ(plain.channels, 3);
    EXPECT_EQ(At(plain, 0, 0), (std::vector<int>{3, 2, 1}));
    EXPECT_NEAR(plain.Grey(0, 0), (0.2126 * 3 + 0.7152 * 2 + 0.0722 * 1) / 255, 1e-12);
    const PictureImage masked = Read(deep(3, Le(0xFF, 4) + Le(0xFF00, 4) + Le(0xFF0000, 4) + Le(0xFF000000, 4)));
    EXPECT_EQ(At(masked, 0, 1), (std::vector<int>{0x11, 0x12, 0x13, 0x14}));
    // The oldest head with its palette of three bytes; 16 bits, whose masks follow the short head or are 5 of each.
    const std::string oldest = "BM" + Le(0, 8) + Le(32, 4) + Le(12, 4) + Le(2, 2) + Le(1, 2) + Le(1, 2) + Le(1, 2) +
                               std::string("\1\2\3\7\x8\x9\x40\0\0\0", 10);
    EXPECT_EQ(Colours(Read(oldest)), (std::vector<int>{3, 2, 1, 9, 8, 7}));
    const auto sixteen = [](int compression, const std::string& masks)
    {
        return "BM" + Le(0, 8) + Le(54 + masks.size(), 4) + Le(40, 4) + Le(2, 4) + Le(1, 4) + Le(1, 2) + Le(16, 2) +
               Le(static_cast<unsigned>(compression), 4) + Le(0, 20) + masks + Le(0x7C1F, 2) + Le(0x03E1, 2);
    };
    EXPECT_EQ(Colours(Read(sixteen(0, ""))), (std::vector<int>{255, 0, 255, 0, 255, 8}));
    EXPECT_EQ(Colours(Read(sixteen(3, Le(0x1F, 4) + Le(0x7E0, 4) + Le(0xF800, 4)))),
              (std::vector<int>{255, 130, 123, 8, 125, 0}));
    EXPECT_EQ(Colours(Read(sixteen(3, Le(0x1F, 4) + Le(0, 4) + Le(0xF800, 4))))[1], 0);
    // Bits of a plain map need no blanks, 1 is black; packed rows end with a byte.
    const std::vector<int> bits = {255, 255, 255, 0, 0, 0, 0, 0, 0, 255, 255, 255};
    EXPECT_EQ(Colours(Read("P1 2 2 01\n1 0")), bits);
    EXPECT_EQ(Colours(Read(std::string("P4 2 2 \x40\x80", 9))), bits);
    const std::pair<const char*, const char*> wrong[] = {{"P1 2 2 012", "a pixel is neither 0 nor 1"},
                                                         {"P1 2 2 01\n1", "the file is cut short"},
                                                         {"P2 1 1 1000001 0", "a number is too large"},
                                                         {"P2 1 1 x", "a number is missing"}};
    for (const auto& [text, reason] : wrong)
    {
        const Failure failure = Catch([&, &t = text] { Read(t); });
        EXPECT_EQ(failure.code, ERR_FILE_READ);
        EXPECT_EQ(failure.function, "LumoraLib::ReadPicture");
        EXPECT_NE(failure.message.find(std::string(": ") + reason), std::string::npos) << failure.message;
    }

    if (!HasTool("pnmtojpeg"))
        GTEST_SKIP() << "no netpbm";
    // Four parts, each of its own colour; upright they stand as each orientation has them, upper ones first.
    std::string map = "P6 32 16 255 ";
    for (int n = 0; n < 32 * 16; ++n)
    {
        const int red = 10 + (n % 32 < 16 ? 0 : 80) + (n < 32 * 8 ? 0 : 160);
        map += {static_cast<char>(red), static_cast<char>(red / 2), static_cast<char>(255 - red)};
    }
    const std::string jpeg = Through("pnmtojpeg", map);
    const char* const upright[] = {"0123", "1032", "3210", "2301", "0213", "2031", "3120", "1302"};
    for (unsigned orientation = 1; orientation <= 8; ++orientation)
    {
        const std::string tiff = "II" + Le(42, 2) + Le(8, 4) + Le(1, 2) + Le(0x0112, 2) + Le(3, 2) + Le(1, 4) +
                                 Le(orientation, 4) + Le(0, 4);
        std::string turned = jpeg;
        turned.insert(2, std::string("\xff\xe1\0", 3) + static_cast<char>(tiff.size() + 8) +
                             std::string("Exif\0\0", 6) + tiff);
        const PictureImage image = Read(turned);
        ASSERT_EQ(image.width, orientation > 4 ? 16 : 32);
        turned[6] = 'X'; // no longer "Exif"
        EXPECT_EQ(Read(turned).width, 32);
        std::string parts;
        for (const std::int32_t y : {image.height / 4, 3 * image.height / 4})
            for (const std::int32_t x : {image.width / 4, 3 * image.width / 4})
            {
                const std::vector<int> c = At(image, x, y);
                parts += static_cast<char>('0' + (c[0] - 10 + 40) / 80);
                EXPECT_NEAR(c[0] + c[2], 255, 8);
            }
        EXPECT_EQ(parts, upright[orientation - 1]) << orientation;
    }
}

TEST(Pictures, DamagedFilesEndInOneFailure)
{
    std::vector<std::pair<std::string, std::string>> files = {{"bmp", Tiny24()}, {"map", Map('6', 5, 4, 255)}};
    const std::vector<std::uint8_t> png = EncodePng(Read(Map('6', 9, 7, 255)));
    files.emplace_back("png", std::string(png.begin(), png.end()));
    if (HasTool("pnmtojpeg"))
        files.emplace_back("jpeg", Through("pnmtojpeg -progressive", Map('6', 40, 24, 255)));
    for (const auto& [kind, bytes] : files)
    {
        for (std::size_t length = 0; length + 3 < bytes.size(); ++length)
        {
            const Failure failure = Catch([&, &b = bytes] { Read(b.substr(0, length)); });
            EXPECT_EQ(failure.code, ERR_FILE_READ) << kind << " cut to " << length;
            EXPECT_EQ(failure.function, "LumoraLib::ReadPicture");
        }
        for (std::size_t n = 0; n < bytes.size(); ++n)
            for (const unsigned flip : {1u, 0x80u, 0xFFu})
            {
                std::string other = bytes;
                other[n] = static_cast<char>(static_cast<unsigned char>(other[n]) ^ flip);
                const Failure failure = Catch([&] { Read(other); }); // whatever it is, it is no crash and no other code
                EXPECT_TRUE(failure.code == 0 || failure.code == ERR_FILE_READ) << kind << " byte " << n;
            }
    }
    // Heads that announce more than their files hold: refused before memory is asked for.
    std::string bomb(png.begin(), png.end());
    bomb.replace(16, 8, std::string("\0\0\x40\0\0\0\x40\0", 8)); // 16384 a side; the head's checksum is made anew
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t n = 12; n < 29; ++n)
    {
        crc ^= static_cast<unsigned char>(bomb[n]);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
    }
    for (std::size_t n = 0; n < 4; ++n)
        bomb[29 + n] = static_cast<char>(~crc >> (24 - 8 * n));
    std::string wide = Tiny24();
    wide.replace(18, 8, Le(60000, 4) + Le(4000, 4));
    for (const std::string& text :
         {bomb, wide, std::string("P5 60000 4000 255 x"), std::string("P1 60000 4000 1"), std::string("P5 4 4 0 ")})
        EXPECT_EQ(Catch([&] { Read(text); }).code, ERR_FILE_READ) << text.substr(0, 12);
    EXPECT_EQ(Read("P5 65535 1 255 " + std::string(65535, 'x')).width, 65535);
    const auto tooLarge = [](const char* head)
    {
        return Catch([&] { Read(head); }).message.find("2^28 in all") != std::string::npos;
    };
    EXPECT_TRUE(tooLarge("P5 65536 1 255 x") && tooLarge("P5 65535 4097 255 x"));
    EXPECT_FALSE(tooLarge("P5 65535 4096 255 x")); // cut short
}

TEST(Pictures, WhatAStyleShows)
{
    // The whole of a speckle field is not darkened by one bright speckle.
    Lumora f = Pattern(64, 64);
    f.SetConstAmplitude(0.5).SetPixel(3, 60, Complex(400.0, 0.0));
    PictureStyle style = Plain(PICTURE_AMPLITUDE);
    style.clip = 99.0;
    EXPECT_NEAR(GetPictureRange(f, style).high, 0.5, 1e-6);
    const PictureColour last = GetPictureColour(COLOURS_EMBER, 1.0);
    EXPECT_EQ(At(RenderPicture(f, style), 40, 40), (std::vector<int>{last.red, last.green, last.blue}));
    style.clip = 100.0;
    EXPECT_NEAR(GetPictureRange(f, style).high, 400.0, 1e-3);
    // +y is up: row 60 of 64 is the fourth from the top.
    style.colours = COLOURS_GREY;
    EXPECT_EQ(At(RenderPicture(f, style), 3, 3), (std::vector<int>{255, 255, 255}));
    style.window = true;
    f.SetWindow(2, 10, 56, 64);
    EXPECT_EQ(RenderPicture(f, style).width, 8);
    Lumora outside(f);
    outside.Window() = LML_RECT(-3, 70, 70, -2);
    const std::vector<std::uint16_t> whole = RenderPicture(outside, style).samples;
    style.window = false;
    EXPECT_EQ(RenderPicture(outside, style).samples, whole);
    style.window = true;
    EXPECT_EQ(At(RenderPicture(f, style), 1, 3), (std::vector<int>{255, 255, 255}));

    // Downsizing averages intensities, whatever the phases; the sum of both quadratures here is 0.
    Lumora g(64, 64, 4e-6, 4e-6, 500e-9);
    for (int n = 0; n < 64 * 64; ++n)
        g[static_cast<std::size_t>(n)] = Complex((n + n / 64) % 2 == 0 ? 1.0 : 0.0, 0.0);
    PictureStyle small = Plain(PICTURE_AMPLITUDE);
    small.maxSize = 16;
    EXPECT_EQ(RenderPicture(g, small).width, 16);
    EXPECT_NEAR(GetPictureRange(g, small).high, std::sqrt(0.5), 1e-6);
    small.quantity = PICTURE_REAL;
    EXPECT_NEAR(GetPictureRange(g, small).high, 0.5, 1e-6);
    small.quantity = PICTURE_IMAGINARY;
    EXPECT_NEAR(GetPictureRange(Lumora(g) *= Complex(0.0, -1.0), small).low, -0.5, 1e-6);
    EXPECT_EQ(MakeProfileLine(Lumora(g) *= Complex(0.0, -1.0), X_AXIS, 0, PICTURE_IMAGINARY).y[0], -1.0);
    // Few bright samples count where the share that is shown is dark. Pictures side by side, each in its place.
    Lumora point(16, 16, 4e-6, 4e-6, 500e-9);
    point.Clear().SetPixel(3, 3, Complex(4.0, 0.0));
    PictureStyle half = Plain(PICTURE_AMPLITUDE);
    half.clip = 50.0;
    EXPECT_EQ(GetPictureRange(point, half).high, 4.0);
    half.colours = COLOURS_GREY;
    const PictureImage lit = RenderPicture(point, half);
    const PictureImage coloured = RenderPicture(Pattern(8, 4), Plain(PICTURE_COMPLEX));
    const PictureImage joined = JoinPictures({lit, coloured, lit}, 2, 3);
    EXPECT_EQ(At(joined, 16 + 3, 3), At(coloured, 0, 3));
    EXPECT_EQ(joined.width, 16 + 3 + 8);
    EXPECT_EQ(joined.height, 16 + 3 + 16);
    EXPECT_EQ(At(joined, 3, 12)[0] + At(joined, 3, 19 + 12)[0], 510);
    EXPECT_EQ(At(joined, 20, 30)[0], 255); // nothing there is white
    small.maxSize = 21;                    // no whole factor: the weights of partly covered samples
    small.quantity = PICTURE_INTENSITY;
    EXPECT_NEAR(GetPictureRange(Lumora(g).SetConst(Complex(3.0, 4.0)), small).high, 25.0, 1e-4);

    // Decibels, a stated range, gamma, polar samples, pitches that differ, samples that are no numbers.
    PictureStyle decibel = Plain(PICTURE_DECIBEL);
    decibel.decibels = 1000.0;
    EXPECT_NO_THROW(GetPictureRange(f, decibel));
    decibel.decibels = 30.0;
    const PictureRange range = GetPictureRange(f, decibel);
    EXPECT_NEAR(range.high, 20.0 * std::log10(400.0), 1e-4);
    EXPECT_NEAR(range.high - range.low, 30.0, 1e-9);
    EXPECT_EQ(GetPictureRange(Lumora(f).Clear(), decibel).low, -30.0);
    EXPECT_EQ(GetPictureRange(Lumora(f).SetConst(Complex(NAN, 0.0)), Plain(PICTURE_REAL)).low, -1.0);
    PictureStyle phase = Plain(PICTURE_PHASE);
    phase.colours = COLOURS_GREY;
    Lumora h(32, 16, 2e-6, 4e-6, 500e-9);
    h.SetConst(Complex(0.0, 1.0));
    const PictureColour quarter = GetPictureColour(COLOURS_GREY, 0.75);
    EXPECT_EQ(At(RenderPicture(h, phase), 0, 0)[0], quarter.red);
    EXPECT_EQ(RenderPicture(h, phase).width, RenderPicture(h, phase).height);
    h.SetPixel(0, 0, Complex(NAN, 0.0)).SetPixel(1, 0, Complex(0.0, 0.0));
    EXPECT_EQ(At(RenderPicture(h, phase), 0, 31), (std::vector<int>{128, 128, 128}));
    EXPECT_EQ(At(RenderPicture(h, phase), 1, 31), (std::vector<int>{128, 128, 128}));
    Lumora polar = Pattern(64, 64);
    const PictureImage cartesian = RenderPicture(polar, Plain(PICTURE_COMPLEX));
    const PictureImage same = RenderPicture(polar.ConvToPolarForm(), Plain(PICTURE_COMPLEX));
    for (std::size_t n = 0; n < same.samples.size(); ++n)
        ASSERT_NEAR(same.samples[n], cartesian.samples[n], 6) << n;
}

TEST(Pictures, ColoursStay)
{
    constexpr int colours[][3] = {{0x171717, 0x6b6b6b, 0xc7c7c7}, {0x130832, 0xb12861, 0xfeae30},
                                  {0x1d1f54, 0x007f86, 0x89d36c}, {0x0e6da1, 0xc8db83, 0xc45984},
                                  {0x76b5ff, 0x9ac067, 0xf28eab}, {0x2454a2, 0xd0e1f0, 0xd4503f},
                                  {0x3f0081, 0x00f9ba, 0xf9f900}};
    for (int map = COLOURS_GREY; map <= COLOURS_RAINBOW; ++map)
        for (int n = 0; n < 3; ++n)
        {
            const PictureColour c = GetPictureColour(static_cast<PictureColours>(map), 0.1 + 0.35 * n);
            const int expected = colours[map - 1][n];
            EXPECT_NEAR(c.red, expected >> 16, 1) << map;
            EXPECT_NEAR(c.green, expected >> 8 & 255, 1) << map;
            EXPECT_NEAR(c.blue, expected & 255, 1) << map;
        }
    const PictureColour low = GetPictureColour(COLOURS_BALANCE, 0.0);
    const PictureColour high = GetPictureColour(COLOURS_BALANCE, 1.0);
    EXPECT_LT(low.red + 40, low.blue);
    EXPECT_LT(high.blue + 40, high.red);
    for (const int n : {127, 128}) // the middle of two arms
        EXPECT_GT(GetPictureColour(COLOURS_BALANCE, n / 255.0).green, 235);
    PictureImage opaque; // grey times its opacity
    opaque.width = opaque.height = 1;
    opaque.channels = 2;
    opaque.samples = {100, 51};
    EXPECT_NEAR(opaque.Grey(0, 0), 0.2 * 100 / 255, 1e-15);
}

TEST(Pictures, ColourMapsAreEven)
{
    // CIE lightness from sRGB, apart from the space in which the maps were made.
    const auto lightness = [](PictureColour c)
    {
        const auto linear = [](int v)
        {
            return v <= 10 ? v / 255.0 / 12.92 : std::pow((v / 255.0 + 0.055) / 1.055, 2.4);
        };
        const double y = 0.2126 * linear(c.red) + 0.7152 * linear(c.green) + 0.0722 * linear(c.blue);
        return y > 0.008856 ? 116.0 * std::cbrt(y) - 16.0 : 903.3 * y;
    };
    for (const PictureColours map : {COLOURS_GREY, COLOURS_EMBER, COLOURS_LAGOON})
    {
        double least = 1e9;
        double most = 0.0;
        for (int n = 16; n <= 240; n += 16)
        {
            const double step =
                lightness(GetPictureColour(map, (n + 16) / 256.0)) - lightness(GetPictureColour(map, n / 256.0));
            least = std::min(least, step);
            most = std::max(most, step);
        }
        EXPECT_GT(least, 2.0) << map; // rises everywhere
        EXPECT_LT(most, 3.0 * least) << map;
    }
    for (const PictureColours map : {COLOURS_CYCLE, COLOURS_HUE}) // closed: no step at the ends larger than inside
        for (int n = 0; n < 256; ++n)
        {
            const PictureColour p = GetPictureColour(map, n / 256.0);
            const PictureColour q = GetPictureColour(map, (n + 1) / 256.0);
            EXPECT_LT(std::abs(p.red - q.red) + std::abs(p.green - q.green) + std::abs(p.blue - q.blue), 16)
                << map << " " << n;
        }
    // The rainbow is that of the BMP writer.
    Lumora ramp(256, 1, 1e-6, 1e-6, 500e-9);
    for (int i = 0; i < 256; ++i)
        ramp.SetPixel(i, 0, Complex(i / 255.0, 0.0));
    const ScratchFile bmp("rainbow.bmp");
    ramp.SaveAsBmp(bmp.Path(), ModeAmplitude, GradationRainbow, 0, 1.0, 0.0);
    const PictureImage written = ReadPicture(bmp.Path());
    for (int i = 0; i < 256; ++i)
    {
        const PictureColour c = GetPictureColour(COLOURS_RAINBOW, i / 255.0);
        EXPECT_EQ(At(written, i, 0), (std::vector<int>{c.red, c.green, c.blue})) << i;
    }
}

TEST(Pictures, DecorationsAndPlotsOfAnyNumbers)
{
    for (const double size : {1e-9, 4e-6, 1.0, 0.0, -1.0, 1e300, double(NAN)})
        for (const PictureQuantity quantity : {PICTURE_AMPLITUDE, PICTURE_DECIBEL, PICTURE_COMPLEX, PICTURE_PHASE})
            for (const double value : {0.0, 1e-30, 1e18, double(INFINITY)})
                for (const bool spectrum : {false, true})
                {
                    Lumora f(16, 4, size, 4e-6, 500e-9);
                    f.SetConst(Complex(value, 0.0));
                    f.Form() = spectrum ? SPECTRUM : ComplexForm(0);
                    PictureStyle style;
                    style.quantity = quantity;
                    style.axes = style.colourBar = style.scaleBar = true;
                    style.frequencies = FREQUENCIES_DEGREES;
                    style.title = "\xff\xc3 µ";
                    const PictureImage picture = RenderPicture(f, style);
                    EXPECT_GE(std::max(picture.width, picture.height), 256);
                    EXPECT_EQ(picture.samples.size(), picture.At(0, picture.height));
                }
    PictureStyle inMetres; // angles are for spectra alone
    inMetres.axes = true;
    PictureStyle inDegrees = inMetres;
    inDegrees.frequencies = FREQUENCIES_DEGREES;
    EXPECT_EQ(RenderPicture(Pattern(8, 8), inDegrees).samples, RenderPicture(Pattern(8, 8), inMetres).samples);
    Lumora dark(256, 256, 1e-6, 1e-6, 500e-9); // its scale bar is the white line of 50 um
    dark.Clear();
    for (const bool bar : {false, true})
    {
        PictureStyle withBar;
        withBar.scaleBar = bar;
        const PictureImage barred = RenderPicture(dark, withBar);
        int longest = 0;
        for (int y = 0; y < barred.height; ++y)
        {
            int white = 0;
            for (int x = 0; x < barred.width; ++x)
                white += At(barred, x, y)[0] > 250;
            longest = std::max(longest, white);
        }
        EXPECT_NEAR(longest, bar ? barred.width * 50 / 256 : 0, 2);
    }
    // Letters grow with the picture, to a size.
    PictureStyle titled;
    titled.title = "x";
    titled.maxSize = 8192;
    for (const auto& [width, height] : {std::pair{512, 128 + 40}, {4096, 256 + 160}, {8192, 512 + 160}})
        EXPECT_EQ(RenderPicture(Lumora(width, 128, 1e-6, 1e-6, 500e-9).Clear(), titled).height, height);
    const double numbers[] = {0.0, 1.0, -1e300, 1e300, 5e-324, NAN, INFINITY, 1e-9};
    for (const double a : numbers)
        for (const double b : numbers)
            for (const bool logarithmic : {false, true})
            {
                ProfileStyle style;
                style.logarithmic = logarithmic;
                std::vector<ProfileLine> lines = {{"a", {0.0, b, 2.0}, {1.0, a, b}}, {"b", {}, {a, 1.0}, true}};
                EXPECT_EQ(RenderProfilePlot(lines, style).width, 960);
            }
    // A line at a tenth of the height is drawn there and nowhere else.
    ProfileStyle style;
    style.yLow = 0.0;
    style.yHigh = 1.0;
    const PictureImage plot = RenderProfilePlot({{"", {0.0, 1.0}, {0.1, 0.1}}}, style);
    const auto coloured = [&](int row)
    {
        return plot.samples[plot.At(500, row)] > plot.samples[plot.At(500, row) + 2] + 40;
    };
    int first = 0;
    while (first < 539 && !coloured(first))
        ++first;
    int last = 539;
    while (last > 0 && !coloured(last))
        --last;
    EXPECT_LE(last - first, 4);
    int bottom = 539; // the frame is the lowest dark row
    while (plot.samples[plot.At(500, bottom)] > 60 || plot.samples[plot.At(300, bottom)] > 60)
        --bottom;
    int top = 0;
    while (plot.samples[plot.At(500, top)] > 60)
        ++top;
    EXPECT_NEAR((bottom - 0.5 * (first + last)) / (bottom - top), 0.1, 0.01);
}

// Texts, ticks, frames, lines and colours stand where they stood, with the weight they had: the first cosines over the
// light of each picture, to a third of a pixel.
TEST(Pictures, LooksStay)
{
    Lumora field(32, 24, 3e-6, 4e-6, 500e-9), spectrum(16, 16, 1e3, 2e3, 500e-9);
    for (const auto [i, j] : Grid(field))
        field.SetPixel(i, j, Complex(0.5 + i, j - 11.5));
    for (const auto [i, j] : Grid(spectrum))
        spectrum.SetPixel(i, j, Complex(1.0 + i * j, 0.0));
    spectrum.Form() = SPECTRUM;
    PictureStyle complex, decibel;
    complex.quantity = PICTURE_COMPLEX;
    decibel.quantity = PICTURE_DECIBEL;
    complex.axes = complex.colourBar = complex.scaleBar = decibel.axes = decibel.colourBar = true;
    decibel.frequencies = FREQUENCIES_DEGREES;
    complex.title = "ABCDEFGHIJKLMNOPQRSTUV\\WXYZ!\"#$%&'()*+,";
    decibel.title = "abcdefghijklmnopqrstuvwxyz-./:;<=>?@[]^_`{|}~";
    decibel.label = "°±²³µ·×Δθλ";
    ProfileStyle linear, logarithmic;
    linear.title = "0123456789 ÄÖÜäöü";
    logarithmic.logarithmic = true;
    logarithmic.yUnit = "V";
    logarithmic.textSize = 1.5;
    const std::vector<ProfileLine> lines = {{"first", {0.0, 1e-3, 2e-3}, {1.0, 30.0, 2.0}},
                                            {"second", {0.0, 1e-3, 2e-3}, {20.0, 3.0, -4.0}, true},
                                            {"third", {0.0, 1.5e-3, 2e-3}, {5.0, 7.0, 11.0}}};
    // Lines of every kind, one with several points in a column of pixels.
    std::vector<ProfileLine> many(7);
    for (std::size_t n = 0; n < 7; ++n)
        for (int i = 0; i < (n == 0 ? 8000 : 40); ++i)
        {
            many[n].x.push_back(i * (n == 0 ? 1.0 : 205.0));
            many[n].y.push_back(double(n) + 0.4 * std::sin(i * (n == 0 ? 0.09 : 0.2)) + (n == 0 && i % 7 == 0));
        }
    const struct
    {
        PictureImage picture;
        double look[9];
    } cases[] = {
        {RenderPicture(field, complex), {87982.2, -11628.5, 18550.1, -4551.0, 111.7, 782.6, 10931.6, 3758.6, -5237.0}},
        {RenderPicture(spectrum, decibel), {90320.6, -7933.4, 11904.3, 4.5, -290.2, -1146.5, 5932.7, 1769.2, -3210.6}},
        {RenderProfilePlot(lines, linear), {507741.3, 214.5, -322.5, -914.7, 664.1, 800.4, -1314.8, 432.1, 1536.5}},
        {RenderProfilePlot(lines, logarithmic),
         {507236.0, 1539.6, -462.5, -1958.4, 1601.3, -167.5, -327.7, 1047.0, 946.8}},
        {RenderProfilePlot(many, {}), {457764.0, 126.5, 3582.7, 31347.5, -416.7, -2919.4, 6452.4, -91.0, -234.3}},
    };
    for (const auto& [picture, look] : cases)
        for (std::size_t k = 0; k < 9; ++k)
        {
            double sum = 0.0;
            for (const auto [i, j] : Grid(picture.width, picture.height))
            {
                const std::uint16_t* const c = picture.samples.data() + picture.At(i, j);
                sum += (c[0] + 2 * c[1] + 4 * c[2]) / (7.0 * 255.0) *
                       std::cos(kPi * double(k % 3) * (i + 0.5) / picture.width) *
                       std::cos(kPi * double(k / 3) * (j + 0.5) / picture.height);
            }
            EXPECT_NEAR(sum, look[k], 0.3) << k;
        }
}

TEST(Pictures, PicturesAsFields)
{
    const ScratchFile file("picture");
    file.Write("P2 3 2 4  4 2 0  1 1 1 "); // the top row is the brighter one
    PictureLoadOptions options;
    options.pitch = 2e-6;
    options.wavelength = 500e-9;
    options.value = PICTURE_VALUE_AMPLITUDE;
    Lumora f = LoadPicture(file.Path(), options);
    EXPECT_EQ(f.GetNx(), 4);
    EXPECT_EQ(f.GetNy(), 2);
    EXPECT_EQ(f.Window().left, 1);
    EXPECT_EQ(f.Window().right, 4);
    EXPECT_DOUBLE_EQ(f.GetWavelength(), 500e-9);
    EXPECT_NEAR(f.GetReal(1, 1), 1.0, 2e-3);
    EXPECT_NEAR(f.GetReal(3, 0), 0.25, 2e-3);
    EXPECT_EQ(f.GetReal(0, 0), 0.0);
    // By width: twice as many samples as pixels on each axis, room around, intensities.
    options.value = PICTURE_VALUE_INTENSITY;
    options.width = 12e-6;
    options.room = 2.0;
    f = LoadPicture(file.Path(), options);
    EXPECT_EQ(f.GetNx(), 16);
    EXPECT_EQ(f.Window().right - f.Window().left, 6);
    EXPECT_EQ(f.Window().top - f.Window().bottom, 4);
    EXPECT_NEAR(f.GetIntensity(f.Window().left, f.Window().top - 1), 1.0, 2e-3);
    // Into a field of its own, smaller than the picture: averages of intensities, random phases of a seed.
    Lumora g(8, 8, 6e-6, 2e-6, 500e-9);
    options.keepAspect = false;
    options.width = 6e-6;
    options.height = 4e-6;
    options.phase = PICTURE_PHASE_RANDOM;
    LoadPicture(g, file.Path(), options);
    EXPECT_NEAR(g.GetIntensity(4, 4), 0.5, 2e-3);
    const Lumora once(g);
    EXPECT_TRUE(SameBits(LoadPicture(g, file.Path(), options), once));
    options.seed = 2;
    EXPECT_FALSE(SameBits(LoadPicture(g, file.Path(), options), once));
    // Phases of many samples: uniform.
    Lumora many(64, 64, 1e-6, 1e-6, 500e-9);
    options.width = options.height = 64e-6;
    ComplexDouble sum(0.0, 0.0);
    LoadPicture(many, file.Path(), options);
    for (std::size_t n = 0; n < many.N(); ++n)
        sum += ComplexDouble(std::cos(many[n].Phase()), std::sin(many[n].Phase()));
    EXPECT_LT(sum.Amplitude() / 4096.0, 0.05);
    // The same ones everywhere: these are of the published generator, made apart.
    const std::pair<std::size_t, double> phases[] = {
        {0, -0.744124585}, {1, -2.552538359}, {63, 2.878528780}, {64, -1.814067134}};
    for (const auto& [n, phase] : phases)
        EXPECT_NEAR(many[n].Phase(), phase, 1e-6) << n;
    // Grey levels as phases, of the nearest pixel, or through a power and reversed; without a size a sample a pixel.
    options = {};
    options.value = PICTURE_VALUE_PHASE;
    f = LoadPicture(file.Path(), options);
    EXPECT_EQ(f.GetPx(), Lumora::GetDefaultPx());
    EXPECT_NEAR(f.GetPixel(2, 1).Phase(), 0.0, 2e-2);
    EXPECT_NEAR(f.GetIntensity(3, 1), 1.0, 1e-6);
    options.pitch = 2e-6;
    options.width = 12e-6;
    options.height = 4e-6; // the smaller one counts
    f = LoadPicture(file.Path(), options);
    EXPECT_EQ(f.Window().right - f.Window().left, 3);
    options = {};
    options.gamma = 2.0;
    options.negative = true;
    options.height = 8e-6;
    f = LoadPicture(file.Path(), options);
    EXPECT_NEAR(f.GetPx(), 4e-6, 1e-18);
    EXPECT_NEAR(f.GetIntensity(2, 0), 1.0 - 0.0625, 2e-3);
    // A pipe has no length to begin with.
    const ScratchFile pipe("pipe");
    file.Write("P5 1500 1000 255 " + std::string(1500 * 1000 - 1, 'a') + "z");
    const std::string end = pipe.Path();
    ASSERT_EQ(std::system(("mkfifo " + end + " && { cat " + file.Path() + " >" + end + " & }").c_str()), 0);
    EXPECT_EQ(At(ReadPicture(end), 1499, 999)[0], 'z');
    file.Write("P2 3 2 4  4 2 0  1 1 1 ");
    // Cut at the edge of the grid, centre on centre; a refused file leaves the field.
    options = {};
    options.width = options.height = 200e-6;
    options.keepAspect = false;
    LoadPicture(many, file.Path(), options);
    EXPECT_EQ(many.Window().right, 64);
    EXPECT_NEAR(many.GetIntensity(32, 63), 0.4525, 2e-3); // 31 um above the middle of rows at 50 um
    const Lumora before(many);
    file.Write("P2 3 2 4  4 2 0 1 1");
    EXPECT_EQ(Catch([&] { LoadPicture(many, file.Path(), options); }).function, "LumoraLib::LoadPicture");
    EXPECT_TRUE(SameBits(many, before));
}

namespace
{
struct Row
{
    int code;
    const char* operation;
    const char* message;
    std::function<void()> call;
};

struct PathRow
{
    const char* operation;
    int code;
    const char* message;
    std::function<void()> call;
};

void Style(const std::function<void(PictureStyle&)>& change)
{
    PictureStyle style;
    change(style);
    RenderPicture(Pattern(4, 4), style);
}
void Plot(const std::function<void(ProfileStyle&)>& change)
{
    ProfileStyle style;
    change(style);
    RenderProfilePlot({{"", {}, {1.0, 2.0}}}, style);
}
void Load(const std::function<void(PictureLoadOptions&)>& change)
{
    PictureLoadOptions options;
    change(options);
    Lumora f = Pattern(4, 4);
    PictureImage image;
    image.width = image.height = 1;
    image.channels = 1;
    image.samples = {200};
    PlacePicture(f, image, options);
}
} // namespace

#define STYLE(...)                                                                                                     \
    []                                                                                                                 \
    {                                                                                                                  \
        Style([](PictureStyle& s) { __VA_ARGS__; });                                                                   \
    }
#define PLOT(...)                                                                                                      \
    []                                                                                                                 \
    {                                                                                                                  \
        Plot([](ProfileStyle& s) { __VA_ARGS__; });                                                                    \
    }
#define LOAD(...)                                                                                                      \
    []                                                                                                                 \
    {                                                                                                                  \
        Load([](PictureLoadOptions& o) { __VA_ARGS__; });                                                              \
    }

TEST(Pictures, EveryFailure)
{
    // tests/error_sites.py compares these rows with the sources.
    const Row rows[] = {
        {3, "RenderPicture", "quantity: one of the list", STYLE(s.quantity = PictureQuantity(7))},
        {3, "RenderPicture", "colours: one of the list", STYLE(s.colours = PictureColours(-1))},
        {3, "RenderPicture", "frequencies: one of the list", STYLE(s.frequencies = PictureFrequencies(2))},
        {3, "RenderPicture", "low must be at most high, both finite", STYLE(s.low = 1.0)},
        {3, "RenderPicture", "clip must be 1 to 100 percent", STYLE(s.clip = NAN)},
        {3, "RenderPicture", "decibels must be above 0 and at most 1000", STYLE(s.decibels = 0.0)},
        {3, "RenderPicture", "gamma must be 0.1 to 10", STYLE(s.gamma = 0.0)},
        {3, "RenderPicture", "maxSize must be 0 or 16 to 32768", STYLE(s.maxSize = 15)},
        {3, "RenderPicture", "maxSize must be 0 or 16 to 32768", STYLE(s.maxSize = 32769)},
        {3, "RenderPicture", "minSize must be 0 to 32768", STYLE(s.minSize = -1)},
        {3, "RenderPicture", "minSize must be 0 to 32768", STYLE(s.minSize = 32769)},
        {3, "RenderPicture", "textSize must be 0.5 to 4", STYLE(s.textSize = 5.0)},
        {3, "RenderPicture", "the window is empty: set it, or show the whole grid",
         []
         {
             Lumora f = Pattern(4, 4);
             f.Window() = LML_RECT(3, 4, 3, 0);
             PictureStyle s;
             s.window = true;
             RenderPicture(f, s);
         }},
        {3, "RenderPicture", "more than 32768 pixels a side: set maxSize",
         []
         {
             PictureStyle s;
             s.maxSize = 0;
             RenderPicture(Lumora(65536, 1, 1e-6, 1e-6, 5e-7), s);
         }},
        {6, "RenderPicture", "the grid is empty: give both Nx and Ny a size",
         []
         {
             RenderPicture(Lumora(0, 0));
         }},
        {3, "EncodePng", "sizes, channels, bits and samples do not fit together",
         []
         {
             EncodePng({});
         }},
        {3, "JoinPictures", "give pictures, at least one column and a gap of 0 to 1000",
         []
         {
             JoinPictures({}, 1);
         }},
        {3, "JoinPictures", "give pictures, at least one column and a gap of 0 to 1000",
         []
         {
             JoinPictures({RenderPicture(Pattern(4, 4))}, 1, 1001);
         }},
        {3, "JoinPictures", "give pictures, at least one column and a gap of 0 to 1000",
         []
         {
             JoinPictures({RenderPicture(Pattern(4, 4))}, 0);
         }},
        {3, "JoinPictures", "sizes, channels, bits and samples do not fit together",
         []
         {
             JoinPictures({{}}, 1);
         }},
        {3, "JoinPictures", "more than 65535 pixels a side: use other columns or smaller pictures",
         []
         {
             JoinPictures(std::vector<PictureImage>(300, RenderPicture(Pattern(4, 4))), 300);
         }},
        {3, "RenderProfilePlot", "give 1 to 12 lines",
         []
         {
             RenderProfilePlot({});
         }},
        {3, "RenderProfilePlot", "each line needs as many x as y, or no x",
         []
         {
             RenderProfilePlot({{"", {1.0}, {}}});
         }},
        {3, "RenderProfilePlot", "width must be 200 to 8192", PLOT(s.width = 1)},
        {3, "RenderProfilePlot", "width must be 200 to 8192", PLOT(s.width = 8193)},
        {3, "RenderProfilePlot", "height must be 150 to 8192", PLOT(s.height = 1)},
        {3, "RenderProfilePlot", "height must be 150 to 8192", PLOT(s.height = 8193)},
        {3, "RenderProfilePlot", "textSize must be 0.5 to 4", PLOT(s.textSize = 0.0)},
        {3, "RenderProfilePlot", "xLow must be at most xHigh, both finite", PLOT(s.xLow = 1.0)},
        {3, "RenderProfilePlot", "yLow must be at most yHigh, both finite", PLOT(s.yHigh = INFINITY)},
        {3, "RenderProfilePlot", "a logarithmic axis must begin above 0: set yLow",
         PLOT(s.logarithmic = true; s.yHigh = 1.0)},
        {3, "RenderProfilePlot", "nothing to be drawn: no finite points in the range",
         PLOT(s.xLow = 5.0; s.xHigh = 6.0)},
        {3, "RenderProfilePlot", "nothing to be drawn: no finite points in the range",
         []
         {
             RenderProfilePlot({{"", {0.0, NAN, 1.0}, {NAN, 1.0, INFINITY}}});
         }},
        {3, "RenderProfilePlot", "no room beside the texts: a larger plot or smaller texts",
         PLOT(s.width = 200; s.height = 150; s.textSize = 4.0)},
        {3, "MakeProfileLine", "axis: X_AXIS or Y_AXIS; quantity: any but PICTURE_COMPLEX",
         []
         {
             MakeProfileLine(Pattern(4, 4), X_AXIS, 0, PICTURE_COMPLEX);
         }},
        {3, "MakeProfileLine", "the index lies outside the grid",
         []
         {
             MakeProfileLine(Pattern(4, 4), Y_AXIS, 4, PICTURE_REAL);
         }},
        {6, "MakeProfileLine", "the grid is empty: give both Nx and Ny a size",
         []
         {
             MakeProfileLine(Lumora(0, 0), X_AXIS, 0, PICTURE_REAL);
         }},
        {8, "PlacePicture", "a picture is no spectrum: transform the field back first",
         []
         {
             Lumora f = Pattern(4, 4);
             PictureImage image = RenderPicture(f);
             f.Form() = SPECTRUM;
             PlacePicture(f, image);
         }},
        {8, "LoadPicture", "a picture is no spectrum: transform the field back first",
         []
         {
             Lumora f = Pattern(4, 4);
             f.Form() = SPECTRUM;
             LoadPicture(f, "none");
         }},
        {6, "LoadPicture", "the grid is empty: give both Nx and Ny a size",
         []
         {
             Lumora f(0, 0);
             LoadPicture(f, "none");
         }},
        {6, "PlacePicture", "the grid is empty: give both Nx and Ny a size",
         []
         {
             Lumora f(0, 0);
             PlacePicture(f, RenderPicture(Pattern(4, 4)));
         }},
    };
    // Those that name a path, which is theirs alone.
    const PathRow pathRows[] = {
        {"PlacePicture", 3, "picture: width must be 0 or a number of metres above", LOAD(o.width = -1.0)},
        {"PlacePicture", 3, "picture: height must be 0 or a number of metres above", LOAD(o.height = INFINITY)},
        {"PlacePicture", 3, "picture: value: one of the list", LOAD(o.value = PictureValue(3))},
        {"PlacePicture", 3, "picture: phase: one of the list", LOAD(o.phase = PicturePhase(2))},
        {"PlacePicture", 3, "picture: gamma must be 0.01 to 100", LOAD(o.gamma = NAN)},
        {"PlacePicture", 3, "picture: phaseValue must be finite", LOAD(o.phaseValue = NAN)},
        {"PlacePicture", 3, "picture: pitch must be 0 or a number of metres above", LOAD(o.pitch = INFINITY)},
        {"PlacePicture", 3, "picture: wavelength must be 0 or a number of metres above", LOAD(o.wavelength = -1.0)},
        {"PlacePicture", 3, "picture: room must be 1 to 64", LOAD(o.room = 0.0)},
        {"PlacePicture", 3, "picture: the picture is smaller than a sample: a larger width or a smaller pitch",
         LOAD(o.width = 1e-9)},
        {"PlacePicture", 3, "picture: the picture takes too many samples: a smaller width or a larger pitch",
         LOAD(o.width = 1e9)},
        {"SavePng", 3, "picture.jpg: the name must end in .png",
         []
         {
             SavePng("picture.jpg", RenderPicture(Pattern(4, 4)));
         }},
        {"ReadPicture", 2, "no/such: cannot be opened",
         []
         {
             ReadPicture("no/such");
         }},
        {"LoadPicture", 2, "/: cannot be opened",
         []
         {
             LoadPicture("/");
         }},
        {"WholeFile", 2, "no/such/folder.png",
         []
         {
             SavePicture("no/such/folder.png", Pattern(4, 4));
         }},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Catch(row.call), (Failure{row.code, std::string("LumoraLib::") + row.operation, row.message}));
    for (const PathRow& row : pathRows)
        EXPECT_EQ(Catch(row.call), (Failure{row.code, std::string("LumoraLib::") + row.operation, row.message}));
    // The end of a long path stays, and with it the reason.
    const std::string message = Catch([] { ReadPicture(std::string(300, 'x')); }).message;
    EXPECT_EQ(message.size(), 126u);
    EXPECT_EQ(message.substr(message.size() - 20), "xx: cannot be opened");
}
