// LW, DE and CA files: bytes against an independent writer, the arithmetic of stored fields bit by bit, and the state
// after a failed load.

#include "TestTools.h"

#include <array>
#include <limits>

using namespace lmltest;

namespace
{
const std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

std::string Numbers(std::initializer_list<std::int32_t> values)
{
    std::string s;
    for (const std::int32_t v : values)
        s += Le(static_cast<std::uint32_t>(v), 4);
    return s;
}
std::string LwBytes(std::int32_t samplesAt, double wavelength, std::int32_t nx, std::int32_t ny, double px, double py,
                    std::uint8_t option)
{
    return "LW" + Numbers({samplesAt}) + LeF(wavelength) + Numbers({nx, ny}) + LeF(px) + LeF(py) + Le(option, 1);
}
std::string DeBytes(std::int32_t nx, std::int32_t ny, double px, double py, const LML_RECT& w)
{
    return "DE20" + Numbers({nx, ny}) + LeF(px) + LeF(py) + Numbers({w.left, w.top, w.right, w.bottom});
}

Lumora Sample(int nx, int ny, std::uint32_t seed)
{
    Lumora f(nx, ny, 2.1e-6, 3.3e-6, 532.1e-9);
    FillRandom(f, seed);
    return f;
}
std::string SampleLw(const Lumora& f)
{
    return LwBytes(27, f.GetWavelength(), f.GetNx(), f.GetNy(), f.GetPx(), f.GetPy(), 0) + SampleBytes(f);
}
} // namespace

TEST(FileTest, LwBytesAndBack)
{
    const ScratchFile file("lw");
    Lumora f = Sample(8, 4, 1);
    f.Form() = SPECTRUM;
    f.SetWindow(1, 5, 1, 3);
    for (const auto save : {&Lumora::SaveAsLw, &Lumora::SaveAsLW})
    {
        (f.*save)(file.Path(), nullptr);
        EXPECT_EQ(file.Read(), SampleLw(f));
    }
    for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE, POLAR_SPECTRUM})
    {
        Lumora g(2, 2);
        g.SetOrigin(Vector(1, 2, 3)).Form() = form;
        EXPECT_EQ(&g.LoadLw(file.Path(), nullptr), &g);
        EXPECT_TRUE(SameBits(f, g));
        EXPECT_EQ(g.Form(), 0);
        EXPECT_EQ(g.GetPx(), static_cast<float>(2.1e-6));
        EXPECT_EQ(g.GetPy(), static_cast<float>(3.3e-6));
        EXPECT_EQ(g.GetWavenumber(),
                  6.283185307179586 / static_cast<double>(static_cast<float>(6.283185307179586 / f.GetWavenumber())));
        EXPECT_TRUE(SameRect(g.Window(), LML_RECT(0, 4, 8, 0)));
        EXPECT_EQ(g.GetOrigin(), Vector(1, 2, 3));
    }

    for (const auto save : {&Lumora::WinSaveAsLw, &Lumora::WinSaveAsLW})
    {
        (f.*save)(file.Path(), nullptr);
        EXPECT_EQ(file.Read(), LwBytes(27, f.GetWavelength(), 4, 2, 2.1e-6, 3.3e-6, 0) + SampleBytes(f, 1, 5, 1, 3));
    }
    Lumora g(1, 1);
    EXPECT_EQ(g.LoadLW(file.Path(), nullptr).GetReal(3, 1), f.GetReal(4, 2));
    // A window of width 3 is written and cannot be loaded.
    f.SetWindow(1, 4, 1, 3);
    f.WinSaveAsLw(file.Path(), nullptr);
    EXPECT_EQ(Catch([&] { g.LoadLw(file.Path(), nullptr); }).function, "eread");
    // Outside the grid, head and samples agree all the same.
    f.Window() = LML_RECT(-9, kMost, 4, -kMost);
    f.WinSaveAsLw(file.Path(), nullptr);
    EXPECT_EQ(file.Read(), LwBytes(27, f.GetWavelength(), 4, 4, 2.1e-6, 3.3e-6, 0) + SampleBytes(f, 0, 4, 0, 4));
    // Samples wherever the head says, and an option flag that nobody asks about.
    file.Write(LwBytes(30, 1e-6, 2, 1, 1, 1, 1) + "xyz" + SampleBytes(f, 0, 2, 0, 1));
    EXPECT_EQ(g.LoadLw(file.Path(), nullptr).GetImag(1, 0), f.GetImag(1, 0));
}

TEST(FileTest, DeBytesAndBack)
{
    const ScratchFile file("de");
    Lumora f = Sample(8, 4, 1);
    f.Form() = SPECTRUM;
    f.Window() = LML_RECT(-1, 77, 5, 2); // kept as it is
    for (const auto save : {&Lumora::SaveAsDE, &Lumora::SaveAsCA})
    {
        (f.*save)(file.Path());
        EXPECT_EQ(file.Read(), DeBytes(8, 4, 2.1e-6, 3.3e-6, LML_RECT(-1, 77, 5, 2)) + SampleBytes(f));
    }
    for (const auto load : {&Lumora::LoadDE, &Lumora::LoadCA})
    {
        Lumora g(2, 2);
        g.Form() = POLAR_SPECTRUM;
        const double k = g.GetWavenumber();
        EXPECT_EQ(&(g.*load)(file.Path()), &g);
        EXPECT_TRUE(SameBits(f, g));
        EXPECT_EQ(g.Form(), 0);
        EXPECT_EQ(g.GetPx(), static_cast<float>(2.1e-6));
        EXPECT_EQ(g.GetWavenumber(), k);
        EXPECT_TRUE(SameRect(g.Window(), LML_RECT(-1, 77, 5, 2)));
        g.SetConstWin(Complex(1.0)); // window loops stay inside the grid
        EXPECT_EQ(g.GetReal(4, 3), 1.0);
        EXPECT_EQ(g.GetReal(5, 3), f.GetReal(5, 3));
    }
    // 100 by 100 samples move to column 14, row 14 of 128 by 128; the window does not.
    const Lumora big = Sample(128, 128, 4);
    file.Write(DeBytes(100, 100, 1, 1, LML_RECT(0, 100, 100, 0)) + SampleBytes(big, 0, 100, 0, 100));
    Lumora g(256, 4);
    FillRandom(g);
    g.LoadDE(file.Path());
    EXPECT_EQ(g.N(), 128u * 128u);
    EXPECT_TRUE(SameRect(g.Window(), LML_RECT(0, 100, 100, 0)));
    for (const auto [i, j] : Grid(128, 128))
    {
        const bool inside = i >= 14 && i < 114 && j >= 14 && j < 114;
        ASSERT_EQ(g.GetPixel(i, j), inside ? big.GetPixel(i - 14, j - 14) : Complex(0, 0)) << i << ' ' << j;
    }
}

TEST(FileTest, ArithmeticOfStoredFields)
{
    const ScratchFile lw("lw");
    const ScratchFile de("de");
    // More than one block of the reader, and files larger and smaller than the field.
    for (const auto& [nx, ny] : {std::pair{128, 256}, std::pair{256, 256}, std::pair{8, 8}})
    {
        const Lumora stored = Sample(nx, ny, 2);
        stored.SaveAsLw(lw.Path(), nullptr);
        stored.SaveAsDE(de.Path());
        const Lumora field = Sample(256, 128, 3);
        Lumora product = field, sum = field, sumDe = field, sumCa = field;
        product.SetWindow(1, 2, 3, 4).Form() = SPECTRUM;
        sum.Form() = POLAR_AMPLITUDE;
        sumDe.Form() = SPECTRUM;
        EXPECT_EQ(&product.MultiplyFileLW(lw.Path(), nullptr), &product);
        EXPECT_EQ(&sum.SuperimposeFileLW(lw.Path(), nullptr), &sum);
        EXPECT_EQ(&sumDe.SuperimposeFileDE(de.Path()), &sumDe);
        EXPECT_EQ(product.Form(), SPECTRUM);
        EXPECT_EQ(sum.Form(), 0);
        EXPECT_EQ(sumDe.Form(), SPECTRUM);
        EXPECT_EQ(product.Window().right, 2);
        EXPECT_EQ(product.GetPx(), 2.1e-6);
        Lumora expectedProduct = field;
        Lumora expectedSum = field;
        for (std::size_t n = 0; n < std::min(field.N(), stored.N()); ++n)
        {
            const float re = field.GetDataPointer()[n].Real();
            const float im = field.GetDataPointer()[n].Imag();
            const float fr = stored.GetDataPointer()[n].Real();
            const float fi = stored.GetDataPointer()[n].Imag();
            const volatile float imFi = im * fi; // rounded to single precision
            const volatile float imFr = im * fr;
            expectedProduct[n].real() = static_cast<float>(double{re} * double{fr} - double{imFi});
            expectedProduct[n].imag() = static_cast<float>(double{re} * double{fi} + double{imFr});
            expectedSum[n].real() = re + fr;
            expectedSum[n].imag() = im + fi;
        }
        EXPECT_TRUE(SameBits(product, expectedProduct));
        EXPECT_TRUE(SameBits(sum, expectedSum));
        EXPECT_TRUE(SameBits(sumDe, expectedSum));
        EXPECT_TRUE(SameBits(sumCa.SuperimposeFileCA(de.Path()), expectedSum));
    }
    // A short file: what it has is used, then the failure comes.
    const Lumora one = Sample(4, 4, 1);
    lw.Write(SampleLw(one).substr(0, 27 + 8 * 5 + 7));
    Lumora g = one;
    EXPECT_EQ(Catch([&] { g.SuperimposeFileLW(lw.Path(), nullptr); }), (Failure{5, "eread", Shown(lw.Path())}));
    EXPECT_EQ(g.GetReal(0, 1), 2 * one.GetReal(0, 1));
    EXPECT_EQ(g.GetReal(1, 1), one.GetReal(1, 1));
    // The product of the sizes: 32 bits for LW, wide for DE, nothing where it is not positive.
    for (const auto& [nx, ny, lwUsed, deUsed] : {std::array{65536, 65536, 0, 1}, std::array{-1, 1, 0, 0},
                                                 std::array{-1, -1, 1, 1}, std::array{kMost, kMost, 1, 1}})
    {
        const std::string two = SampleBytes(one).substr(0, 16 * 8);
        lw.Write(LwBytes(27, 1e-6, nx, ny, 1, 1, 0) + two);
        de.Write(DeBytes(nx, ny, 1, 1, LML_RECT(0, 0, 0, 0)) + two);
        g = one;
        EXPECT_EQ(Catch([&] { g.SuperimposeFileLW(lw.Path(), nullptr); }).code, 0) << nx;
        EXPECT_EQ(g.GetReal(0, 0), (1 + lwUsed) * one.GetReal(0, 0)) << nx;
        g = one;
        EXPECT_EQ(Catch([&] { g.SuperimposeFileDE(de.Path()); }).code, 0) << nx;
        EXPECT_EQ(g.GetReal(0, 0), (1 + deUsed) * one.GetReal(0, 0)) << nx;
    }
}

TEST(FileTest, StateAfterAFailedLoad)
{
    const ScratchFile file("x");
    const Lumora a = Sample(4, 4, 1);
    const LML_RECT w(0, 3, 2, 1);
    alignas(16) Complex four[4]; // a caller's buffer stands for a system without memory
    struct Row
    {
        std::int32_t nx, ny;
        bool onBuffer;
        int code;
    };
    const Row refused[] = {{-1, 4, false, 5},
                           {-kMost - 1, 0, false, 5},
                           {0, kMost, false, 5},
                           {4, 4, true, 1},
                           {4097, 4097, false, 5}}; // 512 MiB raised, and nothing of them in the file
    const auto load = [&](bool lw, Lumora& g)
    {
        return Catch([&] { lw ? g.LoadLw(file.Path(), nullptr) : g.LoadDE(file.Path()); });
    };
    for (const bool lw : {true, false})
    {
        for (const Row& row : refused)
        {
            file.Write((lw ? LwBytes(27, 1e-6, row.nx, row.ny, 1, 1, 0) : DeBytes(row.nx, row.ny, 1, 1, w)) +
                       (row.onBuffer ? SampleBytes(a) : ""));
            Lumora g = Sample(2, 2, 3);
            if (row.onBuffer)
                g.Dispose(), g.Init(four), FillRandom(g, 3);
            g.SetWindow(0, 1, 0, 1).Form() = POLAR_AMPLITUDE;
            const Lumora before = g;
            EXPECT_EQ(load(lw, g).code, row.code);
            EXPECT_TRUE(SameBits(g, before)) << row.nx;
            EXPECT_EQ(Frame(g), Frame(before));
        }
        // Cut short: what is there, with all parameters, and zeros, also over a larger field.
        const std::string whole = lw ? SampleLw(a) : DeBytes(4, 4, 2.1e-6, 3.3e-6, w) + SampleBytes(a);
        file.Write(whole.substr(0, whole.size() - 5 * 8 - 3));
        Lumora g = Sample(8, 8, 4);
        g.Form() = POLAR_AMPLITUDE;
        EXPECT_EQ(load(lw, g), (Failure{5, "eread", Shown(file.Path())}));
        EXPECT_EQ(g.Form(), 0);
        EXPECT_EQ(g.GetPx(), static_cast<float>(2.1e-6));
        EXPECT_TRUE(SameRect(g.Window(), lw ? LML_RECT(0, 4, 4, 0) : w));
        Lumora expected = a;
        for (std::size_t n = 10; n < 16; ++n)
            expected[n] = Complex(0.0, 0.0);
        EXPECT_TRUE(SameBits(g, expected));
    }
    // Samples at a position below 0, and another version of the format.
    Lumora g = a;
    file.Write(LwBytes(-1, 1e-6, 2, 2, 1, 1, 0) + SampleBytes(a));
    EXPECT_EQ(Catch([&] { g.LoadLw(file.Path(), nullptr); }).code, 2);
    EXPECT_EQ(Catch([&] { g.MultiplyFileLW(file.Path(), nullptr); }).code, 2);
    EXPECT_EQ(Catch([&] { g.SuperimposeFileLW(file.Path(), nullptr); }).code, 2);
    file.Write("DE21" + DeBytes(4, 4, 1, 1, w).substr(4) + SampleBytes(a));
    EXPECT_EQ(load(false, g).code, 2);
    EXPECT_TRUE(SameBits(g, a));
    // An option head that nobody writes: created, and refused behind the letters.
    OptionHead option;
    for (const auto save : {&Lumora::SaveAsLw, &Lumora::WinSaveAsLw})
    {
        EXPECT_EQ(Catch([&] { (a.*save)(file.Path(), &option); }).code, 9);
        EXPECT_EQ(file.Read(), "LW");
    }
}
