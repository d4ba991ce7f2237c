// HBI pictures: what the saver has for itself, the reader and bad files.

#include "PictureTools.h"

namespace
{
using namespace lmltest;

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
