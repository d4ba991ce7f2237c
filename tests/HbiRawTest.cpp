// HBI pictures: what the saver has for itself, the reader and bad files.

#include "PictureTools.h"

namespace
{
using namespace lmltest;

std::string Head(std::int64_t at, int bits, std::int64_t width, std::int64_t height, float px = 2e-6f, float py = 3e-6f)
{
    return "HB" + Le(static_cast<std::uint64_t>(at), 4) + Le(static_cast<std::uint64_t>(bits), 1) +
           Le(static_cast<std::uint64_t>(width), 4) + Le(static_cast<std::uint64_t>(height), 4) + LeF(px) + LeF(py) +
           Le(0xaa, 1);
}

TEST(HbiSave, OwnRangeWrapsLogIntensityIsBlackAndNoOption)
{
    ScratchFile file("wrap");
    Lumora field(4, 1);
    field.SetPixel(0, 0, Complex(std::sqrt(2.0), 0)).SetPixel(1, 0, Complex(1e9, 0)).SetPixel(2, 0, Complex(1.01, 0));
    field.SetPixel(3, 0, Complex(std::numeric_limits<double>::quiet_NaN(), 0));
    field.SaveAsHBI(file.Path(), ModeIntensity, 0, 0, nullptr);
    // 510 is 254; beyond 2^31 there is no integer to take the lowest bits of: white
    EXPECT_EQ(file.Read().substr(24), std::string("\xfe\xff\x04\0", 4));
    field.SaveAsHBI(file.Path(), ModeIntensity, 1, 0, nullptr); // a reversed range is not refused
    EXPECT_EQ(file.Read().substr(24), std::string("\0\0\0\0", 4));
    field.SetConst(Complex(0.5, 0.5));
    field.SaveAsHBI(file.Path(), ModeLogIntensity, 0, 1, nullptr); // the real part as it stands
    EXPECT_EQ(file.Read().substr(24), std::string(4, '\x80'));
    OptionHead option;
    const Failure refused{9, "LumoraLib::Lumora::WinSaveAsHBI", "OptionHead\x82\xcd\x8eg\x82\xa6\x82\xc8\x82\xa2"};
    EXPECT_EQ(Catch([&] { field.WinSaveAsHBI(file.Path(), ModeReal, 0, 0, &option); }), refused);
    EXPECT_EQ(Catch([&] { field.SaveAsHBI(file.Path(), ModeReal, 0, 0, &option); }), refused);
    EXPECT_EQ(file.Read(), "HB") << "created by then";
}

TEST(HbiLoad, EveryModeFormAndDepth)
{
    ScratchFile file("load.hbi");
    struct Depth
    {
        int bits;
        int width;
        std::string bytes; // as the reader takes them, with 3 bytes between head and pixels
        std::vector<int> pixels;
    };
    const Depth depths[] = {
        {8, 4, std::string("\x00\x33\xff\x80", 4), {0, 0x33, 255, 128}},
        {4, 4, std::string("\x0f\x7a\x11\x11", 4), {0, 15, 7, 10}}, // rows of width * height bytes
        {1, 32, std::string("\x80\x00\x01\xf0", 4), {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                     0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0}},
        // Nx is 16, a row has 12 bytes: what is not there is pixel 0
        {8,
         9,
         std::string("\xff\xff\xff\xff\xff\xff\xff\xff\xff\x33\x33\x33", 12),
         {255, 255, 255, 255, 255, 255, 255, 255, 255, 51, 51, 51, 0, 0, 0, 0}},
    };
    for (const Depth& d : depths)
        for (const int form : {0, 2, 3})
            for (int mode = -1; mode <= 7; ++mode)
            {
                file.Write(Head(27, d.bits, d.width, 1) + "gap" + d.bytes);
                Lumora field(2, 8, 1e-6);
                FillRandom(field);
                field.SetWindow(0, 1, 0, 1);
                const Lumora before(field);
                field.Form() = static_cast<ComplexForm>(form);
                field.LoadHBI(file.Path(), static_cast<Mode>(mode));
                ASSERT_EQ(field.GetNx(), static_cast<int>(d.pixels.size()));
                ASSERT_EQ(field.GetNy(), 1);
                EXPECT_EQ(field.GetPx(), static_cast<double>(2e-6f));
                EXPECT_EQ(field.GetPy(), static_cast<double>(3e-6f));
                EXPECT_EQ(field.Form(), form);
                EXPECT_EQ(field.Window().right, field.GetNx());
                for (int i = 0; i < field.GetNx(); ++i)
                {
                    const bool loads = mode >= 0 && mode <= 4;
                    const double v = d.pixels[static_cast<std::size_t>(i)] / static_cast<double>((1 << d.bits) - 1);
                    const auto expected = loads ? AsCartesian(LoadedPair(mode, v), mode == 0 || mode >= 3)
                                                : std::complex<double>(0.0, 0.0);
                    const auto got = AsCartesian({field.GetReal(i, 0), field.GetImag(i, 0)}, form != 0);
                    ASSERT_LT(std::abs(got - expected), 1e-6)
                        << d.bits << " form " << form << " mode " << mode << ' ' << i;
                }
            }
}

TEST(HbiLoad, SameNumberOfSamplesAndRoundTrip)
{
    ScratchFile file("same.hbi");
    Lumora field(8, 4, 1e-6);
    for (std::size_t n = 0; n < field.N(); ++n)
        field[n] = Complex(static_cast<double>(n) / 31.0, 0.0);
    field.SaveAsHBI(file.Path(), ModeReal, 0, 0, nullptr);
    Lumora back(4, 8);
    back.SetWindow(0, 1, 0, 1);
    const Complex* const samples = back.GetDataPointer();
    back.LoadHBI(file.Path(), ModeReal);
    EXPECT_EQ(back.GetDataPointer(), samples);
    EXPECT_EQ(back.Window().right, 4); // the old grid, though the new one is 8 by 4
    EXPECT_EQ(back.Window().top, 8);
    ASSERT_EQ(back.GetNx(), 8);
    for (std::size_t n = 0; n < field.N(); ++n)
        EXPECT_NEAR(back[n].GetReal(), field[n].GetReal(), 1.01 / 255);

    Lumora kept(8, 4);
    FillRandom(kept);
    const Lumora before(kept);
    kept.LoadHBI(file.Path(), ModeLogIntensity); // nothing is stored
    EXPECT_TRUE(SameBits(kept, before));
    kept.Dispose();
    kept.LoadHBI(file.Path(), ModeReal);
    EXPECT_TRUE(SameBits(kept, back));

    // The writer's rows of 3 bytes are not the reader's of 4.
    field.SetWindow(0, 3, 0, 4);
    field.WinSaveAsHBI(file.Path(), ModeReal, 0, 0, nullptr);
    EXPECT_EQ(Catch([&] { back.LoadHBI(file.Path(), ModeReal); }), (Failure{5, "eread", file.Path()}));
    // A height of 3 is raised to 4 rows that are not there.
    field.SetWindow(0, 8, 0, 3);
    field.WinSaveAsHBI(file.Path(), ModeReal, 0, 0, nullptr);
    EXPECT_EQ(Catch([&] { back.LoadHBI(file.Path(), ModeReal); }), (Failure{5, "eread", file.Path()}));
}
} // namespace
