// LW, DE and CA files: bytes against an independent writer, the arithmetic of stored fields bit by bit, failures by
// code and text, full disks, and files from strangers.

#include "field/FieldTools.h"
#include "TestTools.h"
#include "base/Texts.h"

#include <array>
#include <filesystem>
#include <limits>

using namespace lmltest;

namespace
{
template <class T>
void Put(std::string& to, T value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    for (std::size_t n = 0; n < sizeof value; ++n)
        to += static_cast<char>(bits >> (8 * n) & 0xff);
}

std::string LwBytes(std::int32_t samplesAt, double wavelength, std::int32_t nx, std::int32_t ny, double px, double py,
                    std::uint8_t option)
{
    std::string s = "LW";
    Put(s, samplesAt);
    Put(s, static_cast<float>(wavelength));
    Put(s, nx);
    Put(s, ny);
    Put(s, static_cast<float>(px));
    Put(s, static_cast<float>(py));
    Put(s, option);
    return s;
}

std::string DeBytes(std::int32_t nx, std::int32_t ny, double px, double py, const LML_RECT& w)
{
    std::string s = "DE20";
    Put(s, nx);
    Put(s, ny);
    Put(s, static_cast<float>(px));
    Put(s, static_cast<float>(py));
    for (const std::int32_t v : {w.left, w.top, w.right, w.bottom})
        Put(s, v);
    return s;
}

std::string SampleBytes(const Lumora& f, int left, int right, int bottom, int top)
{
    std::string s;
    for (int j = bottom; j < top; ++j)
        for (int i = left; i < right; ++i)
        {
            Put(s, f.GetPixel(i, j).Real());
            Put(s, f.GetPixel(i, j).Imag());
        }
    return s;
}
std::string AllBytes(const Lumora& f)
{
    return SampleBytes(f, 0, f.GetNx(), 0, f.GetNy());
}

Lumora Sample(int nx, int ny, std::uint32_t seed)
{
    Lumora f(nx, ny, 2.1e-6, 3.3e-6, 532.1e-9);
    FillRandom(f, seed);
    return f;
}
std::string SampleLw(const Lumora& f)
{
    return LwBytes(27, f.GetWavelength(), f.GetNx(), f.GetNy(), f.GetPx(), f.GetPy(), 0) + AllBytes(f);
}
LML_RECT WindowOf(Lumora& f)
{
    return f.Window();
}
bool SameRect(const LML_RECT& a, const LML_RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
std::string Name(const char* operation)
{
    return std::string("LumoraLib::Lumora::") + operation;
}
const std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
} // namespace

TEST(FileTest, LwBytesAndBack)
{
    const ScratchFile file("lw");
    Lumora f = Sample(8, 4, 1);
    f.Form() = SPECTRUM;
    f.SetWindow(1, 5, 1, 3);
    f.SaveAsLw(file.Path(), nullptr);
    const std::string whole = file.Read();
    EXPECT_EQ(whole, SampleLw(f));
    f.SaveAsLW(file.Path(), nullptr);
    EXPECT_EQ(file.Read(), whole);
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
        EXPECT_TRUE(SameRect(WindowOf(g), LML_RECT(0, 4, 8, 0)));
        EXPECT_EQ(g.GetOrigin(), Vector(1, 2, 3));
    }

    for (const auto spelling : {&Lumora::WinSaveAsLw, &Lumora::WinSaveAsLW})
    {
        (f.*spelling)(file.Path(), nullptr);
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
        EXPECT_EQ(file.Read(), DeBytes(8, 4, 2.1e-6, 3.3e-6, LML_RECT(-1, 77, 5, 2)) + AllBytes(f));
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
        EXPECT_TRUE(SameRect(WindowOf(g), LML_RECT(-1, 77, 5, 2)));
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
    EXPECT_TRUE(SameRect(WindowOf(g), LML_RECT(0, 100, 100, 0)));
    for (int j = 0; j < 128; ++j)
        for (int i = 0; i < 128; ++i)
        {
            const bool inside = i >= 14 && i < 114 && j >= 14 && j < 114;
            ASSERT_EQ(g.GetReal(i, j), inside ? big.GetReal(i - 14, j - 14) : 0.0) << i << ' ' << j;
            ASSERT_EQ(g.GetImag(i, j), inside ? big.GetImag(i - 14, j - 14) : 0.0) << i << ' ' << j;
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
        Lumora product = field;
        product.Form() = SPECTRUM;
        product.SetWindow(1, 2, 3, 4);
        Lumora sum = field;
        sum.Form() = POLAR_AMPLITUDE;
        Lumora sumDe = field;
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
        Lumora sumCa = field;
        EXPECT_TRUE(SameBits(sumCa.SuperimposeFileCA(de.Path()), expectedSum));
    }
    // A short file: what it has is used, then the failure comes.
    const Lumora one = Sample(4, 4, 1);
    one.SaveAsLw(lw.Path(), nullptr);
    lw.Write(lw.Read().substr(0, 27 + 8 * 5 + 7));
    Lumora g = one;
    EXPECT_EQ(Catch([&] { g.SuperimposeFileLW(lw.Path(), nullptr); }),
              (Failure{5, "eread", std::string(lw.Path()).substr(0, 127)}));
    EXPECT_EQ(g.GetReal(0, 1), 2 * one.GetReal(0, 1));
    EXPECT_EQ(g.GetReal(1, 1), one.GetReal(1, 1));
    // The product of the sizes: 32 bits for LW, wide for DE, nothing where it is not positive.
    for (const auto& [nx, ny, lwUsed, deUsed] : {std::array{65536, 65536, 0, 1}, std::array{-1, 1, 0, 0},
                                                 std::array{-1, -1, 1, 1}, std::array{kMost, kMost, 1, 1}})
    {
        const std::string two = AllBytes(one).substr(0, 16 * 8);
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

TEST(FileTest, EveryFailureByCodeAndText)
{
    const ScratchFile lw("lw");
    const ScratchFile de("de");
    const ScratchFile other("other");
    const ScratchFile absent("absent");
    const Lumora a = Sample(4, 4, 1);
    a.SaveAsDE(de.Path());
    other.Write(std::string(200, 'L'));
    lw.Write(LwBytes(27, 1e-6, 4, 4, 1, 1, 1) + AllBytes(a));
    OptionHead option;
    Lumora g(2, 2);
    Lumora polar = a;
    polar.Form() = POLAR_SPECTRUM;
    const auto form = [&g](ComplexForm value) -> Lumora&
    {
        g.Form() = value;
        return g;
    };
    struct Row
    {
        std::function<void(const char*)> call;
        int code;
        std::string function;
        std::string path;
        std::string message; // empty: the path
    };
    const std::string noOption = LumoraLib::detail::kTextNoOptionHead;
    const std::string nowhere = "/nowhere/x";
    // clang-format off
    const std::vector<Row> rows = {
        {[&](const char* p) { polar.SaveAsLw(p, &option); }, 7, Name("SaveAsLw"), nowhere, ""},
        {[&](const char* p) { polar.SaveAsLW(p, nullptr); }, 7, Name("SaveAsLw"), nowhere, ""},
        {[&](const char* p) { polar.WinSaveAsLw(p, nullptr); }, 7, Name("WinSaveAsLw"), nowhere, ""},
        {[&](const char* p) { polar.WinSaveAsLW(p, nullptr); }, 7, Name("WinSaveAsLw"), nowhere, ""},
        {[&](const char* p) { polar.SaveAsDE(p); }, 7, Name("SaveAsDE"), nowhere, "err"},
        {[&](const char* p) { polar.SaveAsCA(p); }, 7, Name("SaveAsDE"), nowhere, "err"},
        {[&](const char* p) { a.SaveAsLw(p, &option); }, 2, Name("SaveAsLw"), nowhere, ""},
        {[&](const char* p) { a.WinSaveAsLw(p, nullptr); }, 2, Name("WinSaveAsLw"), nowhere, ""},
        {[&](const char* p) { a.SaveAsDE(p); }, 2, Name("SaveAsDE"), nowhere, ""},
        {[&](const char* p) { a.SaveAsLw(p, &option); }, 9, Name("SaveAsLw"), absent.Path(), noOption},
        {[&](const char* p) { a.WinSaveAsLW(p, &option); }, 9, Name("WinSaveAsLw"), absent.Path(), noOption},
        {[&](const char* p) { form(SPECTRUM).LoadLw(p, nullptr); },
         3, Name("LoadLw"), lw.Path(), LumoraLib::detail::kTextTargetIsSpectrum},
        {[&](const char* p) { polar.MultiplyFileLW(p, nullptr); }, 3, Name("MultiplyFileLW"), lw.Path(), ""},
        {[&](const char* p) { form(SPECTRUM).SuperimposeFileLW(p, nullptr); },
         3, Name("SuperimposeFileLW"), lw.Path(), ""},
        {[&](const char* p) { form(SPECTRUM).LoadDE(p); }, 3, Name("LoadDE"), de.Path(), ""},
        {[&](const char* p) { form(SPECTRUM).LoadCA(p); }, 3, Name("LoadDE"), de.Path(), ""},
        {[&](const char* p) { form(COMPLEX_AMPLITUDE).LoadLw(p, &option); }, 9, Name("LoadLw"), lw.Path(), noOption},
        {[&](const char* p) { form(COMPLEX_AMPLITUDE).MultiplyFileLW(p, &option); },
         9, Name("MultiplyFileLW"), lw.Path(), noOption},
        {[&](const char* p) { form(COMPLEX_AMPLITUDE).SuperimposeFileLW(p, &option); },
         9, Name("SuperimposeFileLW"), lw.Path(), noOption},
        {[&](const char* p) { g.SuperimposeFileDE(p); }, 2, Name("SuperimposeFileDE"), other.Path(), "wrong format"},
        {[&](const char* p) { g.SuperimposeFileCA(p); }, 2, Name("SuperimposeFileDE"), other.Path(), "wrong format"}};
    const std::vector<std::pair<const char*, std::function<void(const char*)>>> readers = {
        {"LoadLw", [&](const char* p) { g.LoadLw(p, nullptr); }},
        {"LoadLw", [&](const char* p) { g.LoadLW(p, nullptr); }},
        {"MultiplyFileLW", [&](const char* p) { g.MultiplyFileLW(p, nullptr); }},
        {"SuperimposeFileLW", [&](const char* p) { g.SuperimposeFileLW(p, nullptr); }},
        {"LoadDE", [&](const char* p) { g.LoadDE(p); }},
        {"LoadDE", [&](const char* p) { g.LoadCA(p); }},
        {"SuperimposeFileDE", [&](const char* p) { g.SuperimposeFileDE(p); }}};
    // clang-format on
    for (const Row& row : rows)
        EXPECT_EQ(Catch([&] { row.call(row.path.c_str()); }),
                  (Failure{row.code, row.function, (row.message.empty() ? row.path : row.message).substr(0, 127)}));
    EXPECT_EQ(absent.Read(), "LW") << "created, and refused behind the letters";
    std::remove(absent.Path());
    g = Sample(2, 2, 1);
    for (const auto& reader : readers)
    {
        const std::string function = Name(reader.first);
        const std::string wrong =
            function == Name("SuperimposeFileDE") ? "wrong format" : std::string(other.Path()).substr(0, 127);
        EXPECT_EQ(Catch([&] { reader.second(absent.Path()); }),
                  (Failure{2, function, std::string(absent.Path()).substr(0, 127)}));
        EXPECT_EQ(Catch([&] { reader.second(other.Path()); }), (Failure{2, function, wrong}));
        EXPECT_EQ(Catch([&] { reader.second(LML_SCRATCH_DIR); }),
                  (Failure{2, function, std::string(LML_SCRATCH_DIR).substr(0, 127)}));
    }
    de.Write("DE21" + de.Read().substr(4));
    EXPECT_EQ(Catch([&] { g.LoadDE(de.Path()); }).code, 2);
    lw.Write(LwBytes(-1, 1e-6, 2, 2, 1, 1, 0) + AllBytes(a));
    for (std::size_t n = 0; n < 4; ++n) // a position below 0
        EXPECT_EQ(Catch([&] { readers[n].second(lw.Path()); }),
                  (Failure{2, Name(readers[n].first), std::string(lw.Path()).substr(0, 127)}));
    // Fields without the samples that their sizes announce.
    Lumora bare(2, 2);
    bare.SetNx(64);
    for (const auto& call : std::vector<std::function<void()>>{[&] { bare.SaveAsLw("/nowhere/x", nullptr); },
                                                               [&] { bare.WinSaveAsLw("/nowhere/x", nullptr); },
                                                               [&] { bare.SaveAsDE("/nowhere/x"); },
                                                               [&] { bare.MultiplyFileLW("/nowhere/x", nullptr); },
                                                               [&] { bare.SuperimposeFileLW("/nowhere/x", nullptr); },
                                                               [&]
                                                               {
                                                                   bare.SuperimposeFileDE("/nowhere/x");
                                                               }})
        EXPECT_EQ(Catch(call).code, 6);
}

TEST(FileTest, FullDiskIsAWriteFailure)
{
    if (std::FILE* full = std::fopen("/dev/full", "w"))
        std::fclose(full);
    else
        GTEST_SKIP() << "no /dev/full here";
    for (const int n : {1, 16, 256})
    {
        const Lumora a = Sample(n, n, 1);
        const Failure expected{4, "ewrite", "/dev/full"};
        EXPECT_EQ(Catch([&] { a.SaveAsLw("/dev/full", nullptr); }), expected);
        EXPECT_EQ(Catch([&] { a.WinSaveAsLw("/dev/full", nullptr); }), expected);
        EXPECT_EQ(Catch([&] { a.SaveAsDE("/dev/full"); }), expected);
    }
}

TEST(FileTest, StateAfterAFailedLoad)
{
    const ScratchFile file("x");
    const Lumora a = Sample(4, 4, 1);
    const LML_RECT w(0, 3, 2, 1);
    const std::int32_t least = std::numeric_limits<std::int32_t>::min();
    alignas(16) Complex four[4]; // a caller's buffer stands for a system without memory
    struct Row
    {
        std::string lw, de; // what the file is; empty: there is none
        bool onBuffer;
        int code;
    };
    const auto heads = [&](std::int32_t nx, std::int32_t ny, const std::string& samples, bool onBuffer, int code)
    { return Row{LwBytes(27, 1e-6, nx, ny, 1, 1, 0) + samples, DeBytes(nx, ny, 1, 1, w) + samples, onBuffer, code}; };
    const std::vector<Row> refused = {
        {"", "", false, 2},
        {"LW123", "DE20123", false, 5},
        heads(-1, 4, "", false, 5),
        heads(least, 0, "", false, 5),
        heads(0, kMost, "", false, 5),
        heads(4097, 4097, "", false, 5), // 512 MiB raised, and nothing of them in the file
        heads(4, 4, AllBytes(a), true, 1)};
    for (const Row& row : refused)
        for (const bool lw : {true, false})
        {
            const std::string& bytes = lw ? row.lw : row.de;
            std::remove(file.Path());
            if (!bytes.empty())
                file.Write(bytes);
            Lumora g = Sample(2, 2, 3);
            if (row.onBuffer)
                g.Dispose(), g.Init(four), FillRandom(g, 3);
            g.SetWindow(0, 1, 0, 1);
            g.Form() = POLAR_AMPLITUDE;
            const Lumora before = g;
            EXPECT_EQ(Catch([&] { lw ? g.LoadLw(file.Path(), nullptr) : g.LoadDE(file.Path()); }).code, row.code);
            EXPECT_TRUE(SameBits(g, before)) << row.code;
            EXPECT_EQ(g.Form(), POLAR_AMPLITUDE);
            EXPECT_EQ(g.GetPx(), before.GetPx());
            EXPECT_EQ(g.GetWavenumber(), before.GetWavenumber());
            EXPECT_TRUE(SameRect(g.Window(), LML_RECT(0, 1, 1, 0)));
            if (bytes.empty())
            {
                EXPECT_EQ(Catch([&] { g.SuperimposeFileLW(file.Path(), nullptr); }).code, 2);
            }
            EXPECT_EQ(g.Form(), POLAR_AMPLITUDE);
        }
    // Cut short: what is there, with all parameters, and zeros, also over a larger field.
    for (const bool lw : {true, false})
    {
        const std::string whole = (lw ? SampleLw(a) : DeBytes(4, 4, 2.1e-6, 3.3e-6, w) + AllBytes(a));
        file.Write(whole.substr(0, whole.size() - 5 * 8 - 3));
        Lumora g = Sample(8, 8, 4);
        g.Form() = POLAR_AMPLITUDE;
        EXPECT_EQ(Catch([&] { lw ? g.LoadLw(file.Path(), nullptr) : g.LoadDE(file.Path()); }),
                  (Failure{5, "eread", std::string(file.Path()).substr(0, 127)}));
        EXPECT_EQ(g.Form(), 0);
        EXPECT_EQ(g.GetPx(), static_cast<float>(2.1e-6));
        EXPECT_TRUE(SameRect(g.Window(), lw ? LML_RECT(0, 4, 4, 0) : w));
        Lumora expected = a;
        for (std::size_t n = 10; n < 16; ++n)
            expected[n] = Complex(0.0, 0.0);
        EXPECT_TRUE(SameBits(g, expected));
    }
    // The same where the stored field comes to lie centred.
    file.Write(DeBytes(3, 3, 1, 1, w) + AllBytes(a).substr(0, 8 * 5));
    Lumora g = Sample(8, 8, 4);
    EXPECT_EQ(Catch([&] { g.LoadDE(file.Path()); }).code, 5);
    EXPECT_EQ(g.GetReal(1, 1), a.GetReal(0, 1));
    EXPECT_EQ(g.GetReal(2, 1), 0.0);
    EXPECT_EQ(g.GetReal(0, 2), 0.0);
}

TEST(FileTest, FilesFromStrangers)
{
    const ScratchFile file("x");
    const Lumora a = Sample(4, 4, 1);
    const std::string lw = SampleLw(a);
    const std::string de = DeBytes(4, 4, 1, 1, LML_RECT(0, 4, 4, 0)) + AllBytes(a);
    const std::size_t before =
        static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
    for (const std::string& whole : {lw, de})
        for (std::size_t length = 0; length <= whole.size(); ++length)
        {
            file.Write(whole.substr(0, length));
            Lumora g(2, 2);
            const Failure failure =
                Catch([&] { whole[0] == 'L' ? g.LoadLw(file.Path(), nullptr) : g.LoadDE(file.Path()); });
            EXPECT_EQ(failure.code, length < whole.size() ? 5 : 0) << length;
        }
    std::mt19937 random(5);
    for (int round = 0; round < 600; ++round)
    {
        std::string s = round % 2 != 0 ? lw : de;
        for (std::size_t n = random() % 3 + 1; n > 0; --n)
            if (random() % 2 != 0)
                s[random() % 40] = static_cast<char>(random());
            else
                s.replace(random() % 36, 4, 4, random() % 2 != 0 ? '\xff' : '\x7f');
        file.Write(s);
        Lumora g(2, 2);
        FillRandom(g);
        EXPECT_LE(Catch([&] { g.SuperimposeFileLW(file.Path(), nullptr); }).code, 5);
        EXPECT_LE(Catch([&] { g.SuperimposeFileDE(file.Path()); }).code, 5);
        EXPECT_LE(Catch([&] { g.LoadLw(file.Path(), nullptr); }).code, 5);
        EXPECT_LE(Catch([&] { g.LoadDE(file.Path()); }).code, 5);
        EXPECT_LE(Catch([&] { g.MultiplyFileLW(file.Path(), nullptr); }).code, 6);
        EXPECT_LE(LumoraLib::detail::FieldAccess::Capacity(g) * 8, std::size_t{256} << 20) << "memory beyond the bound";
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}),
              static_cast<std::ptrdiff_t>(before));
}
