// The LM container: every byte of the three file types against an independent writer and reader, failures by code and
// text, saves killed at every write, full disks, and files from strangers.

#include "field/FieldTools.h"
#include "TestTools.h"

#include <cmath>
#include <csignal>
#include <filesystem>
#include <iomanip>
#include <limits>
#include <optional>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lmltest;

#ifndef LML_TEST_SANITIZED
static bool heapIsEmpty = false;
__attribute__((noinline)) void* operator new(std::size_t size)
{
    if (void* const p = heapIsEmpty ? nullptr : std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept
{
    std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
#endif

namespace
{
// ---- An independent writer and reader: shifts and offsets, nothing of the library --------------------------------

void Put(std::string& to, std::uint64_t value, int bytes)
{
    for (int n = 0; n < bytes; ++n)
        to += static_cast<char>(value >> (8 * n) & 0xff);
}
void PutDouble(std::string& to, double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, 8);
    Put(to, bits, 8);
}
std::uint64_t Number(const std::string& from, std::size_t at, int bytes)
{
    std::uint64_t value = 0;
    for (int n = 0; n < bytes; ++n)
        value |= std::uint64_t{static_cast<unsigned char>(from.at(at + static_cast<std::size_t>(n)))} << (8 * n);
    return value;
}
double Double(const std::string& from, std::size_t at)
{
    const std::uint64_t bits = Number(from, at, 8);
    double value;
    std::memcpy(&value, &bits, 8);
    return value;
}

struct Head
{
    std::uint16_t form = 0;
    std::uint64_t positionHead = 0;
    std::uint64_t samples = 0;
    double wavelength = 632.8e-9;
    std::int32_t nx = 0;
    std::int32_t ny = 0;
    double px = 1e-6;
    double py = 1e-6;
    std::uint16_t placeType = 4;
    std::array<double, 3> origin{};
    std::array<double, 3> normal{0.0, 0.0, 1.0};
    std::array<double, 3> unitX{1.0, 0.0, 0.0};
    bool operator==(const Head&) const = default;
};

/// Data head and position head at position `at`, pointing at each other and at samples behind them unless told
/// otherwise.
std::string HeadBytes(Head h, std::uint64_t at)
{
    std::string s;
    Put(s, h.form, 2);
    Put(s, h.positionHead == 0 ? at + 50 : h.positionHead == ~0ull ? 0 : h.positionHead, 8);
    Put(s, h.samples == 0 ? at + 132 : h.samples, 8);
    PutDouble(s, h.wavelength);
    Put(s, static_cast<std::uint32_t>(h.nx), 4);
    Put(s, static_cast<std::uint32_t>(h.ny), 4);
    PutDouble(s, h.px);
    PutDouble(s, h.py);
    Put(s, h.placeType, 2);
    Put(s, 0, 8);
    for (const auto& v : {h.origin, h.normal, h.unitX})
        for (const double c : v)
            PutDouble(s, c);
    return s;
}

Head ParseHead(const std::string& f, std::size_t at)
{
    Head h;
    h.form = static_cast<std::uint16_t>(Number(f, at, 2));
    h.positionHead = Number(f, at + 2, 8);
    h.samples = Number(f, at + 10, 8);
    h.wavelength = Double(f, at + 18);
    h.nx = static_cast<std::int32_t>(Number(f, at + 26, 4));
    h.ny = static_cast<std::int32_t>(Number(f, at + 30, 4));
    h.px = Double(f, at + 34);
    h.py = Double(f, at + 42);
    h.placeType = static_cast<std::uint16_t>(Number(f, h.positionHead, 2));
    for (std::size_t n = 0; n < 3; ++n)
    {
        h.origin[n] = Double(f, h.positionHead + 10 + 8 * n);
        h.normal[n] = Double(f, h.positionHead + 34 + 8 * n);
        h.unitX[n] = Double(f, h.positionHead + 58 + 8 * n);
    }
    return h;
}

std::string SampleBytes(const Lumora& f)
{
    std::string s;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        Put(s, Bits(f.GetDataPointer()[n].Real()), 4);
        Put(s, Bits(f.GetDataPointer()[n].Imag()), 4);
    }
    return s;
}

Head HeadOf(const Lumora& f)
{
    Head h;
    h.form = f.IsSpectrum() ? 1 : 0;
    h.wavelength = 6.283185307179586 / f.GetWavenumber();
    h.nx = f.GetNx();
    h.ny = f.GetNy();
    h.px = f.GetPx();
    h.py = f.GetPy();
    const Vector o = f.GetOrigin();
    const Vector n = f.GetNormalVector();
    const Vector x = f.GetUnitVectorX();
    h.origin = {o.x, o.y, o.z};
    h.normal = {n.x, n.y, n.z};
    h.unitX = {x.x, x.y, x.z};
    return h;
}

std::string SingleFile(const Lumora& f)
{
    return "LM" + HeadBytes(HeadOf(f), 2) + SampleBytes(f);
}

/// A multi-part file with the parts in the order given.
std::string MultiPartFile(std::uint16_t count, const std::vector<std::pair<int, const Lumora*>>& parts)
{
    std::string s = "LM";
    Put(s, 0x8000u | count, 2);
    s.resize(4 + 8u * count);
    for (const auto& [index, field] : parts)
    {
        std::string entry;
        Put(entry, s.size(), 8);
        s.replace(4 + 8 * static_cast<std::size_t>(index), 8, entry);
        s += HeadBytes(HeadOf(*field), s.size()) + SampleBytes(*field);
    }
    return s;
}

/// A segmented file whose common head is `head` and whose segments come in the order given.
std::string SegmentedFile(std::uint16_t nx, std::uint16_t ny, const Head& head,
                          const std::vector<std::pair<int, const Lumora*>>& segments)
{
    const std::uint16_t n = static_cast<std::uint16_t>(nx * ny);
    std::string s = "LM";
    Put(s, 0xC000u | n, 2);
    Put(s, 12 + 8u * n, 8);
    s.resize(12 + 8u * n);
    Put(s, 5, 2);
    Put(s, 12 + 8u * n + 14, 8);
    Put(s, nx, 2);
    Put(s, ny, 2);
    s += HeadBytes(head, s.size());
    for (const auto& [number, field] : segments)
    {
        std::string entry;
        Put(entry, s.size(), 8);
        s.replace(12 + 8 * static_cast<std::size_t>(number), 8, entry);
        s += SampleBytes(*field);
    }
    return s;
}

/// The samples of part `index`, nothing where it is absent.
std::optional<std::string> PartSamples(const std::string& f, std::size_t index)
{
    EXPECT_EQ(f.substr(0, 2), "LM");
    const std::size_t at = Number(f, 4 + 8 * index, 8);
    if (at == 0)
        return {};
    const Head h = ParseHead(f, at);
    return f.substr(h.samples, 8u * static_cast<std::size_t>(h.nx) * static_cast<std::size_t>(h.ny));
}

std::optional<std::string> SegmentSamples(const std::string& f, std::size_t number)
{
    const std::size_t at = Number(f, 12 + 8 * number, 8);
    if (at == 0)
        return {};
    const Head h = ParseHead(f, Number(f, Number(f, 4, 8) + 2, 8));
    return f.substr(at, 8u * static_cast<std::size_t>(h.nx) * static_cast<std::size_t>(h.ny));
}

Lumora Sample(int nx, int ny, std::uint32_t seed)
{
    Lumora f(nx, ny, 2e-6, 3e-6, 532e-9);
    FillRandom(f, seed);
    f.SetOrigin(Vector(0.01, -0.02, 0.3)).SetNormalVector(Vector(0.1, -0.2, 1.0));
    return f;
}

Head DefaultHead()
{
    Head h;
    h.wavelength = 6.283185307179586 / (6.283185307179586 / Lumora::GetDefaultWavelength());
    return h;
}

std::size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// The protected steps, as a derived class calls them.
struct Derived : Lumora
{
    using Lumora::GetDispSegLm;
    using Lumora::LoadDataLm;
    using Lumora::LoadParamLm;
    using Lumora::LoadParamMpLm;
    using Lumora::LoadParamSegLm;
    using Lumora::SaveDataHeadLm;
    Derived(int nx, int ny) : Lumora(nx, ny) {}
};
} // namespace

// ---- Bytes -------------------------------------------------------------------------------------------------------

TEST(FileLmTest, EveryByteOfTheThreeTypes)
{
    const ScratchFile file("lm");
    for (int form = 0; form < 4; ++form)
    {
        Lumora f = Sample(8, 4, 1);
        f.Form() = static_cast<ComplexForm>(form);
        f.SaveAsLm(file.Path());
        EXPECT_EQ(file.Read(), SingleFile(f)) << form;
        for (int receiver = 0; receiver < 4; ++receiver)
        {
            Lumora g(2, 2);
            g.Form() = static_cast<ComplexForm>(receiver);
            EXPECT_EQ(&g.LoadLm(file.Path()), &g);
            EXPECT_TRUE(SameBits(f, g));
            EXPECT_EQ(g.Form(), (form & 1) | (receiver & 2));
            EXPECT_EQ(SampleBytes(g), SampleBytes(f));
            EXPECT_EQ(g.GetPx(), f.GetPx());
            EXPECT_EQ(g.GetPy(), f.GetPy());
            EXPECT_EQ(g.GetWavenumber(), 6.283185307179586 / (6.283185307179586 / f.GetWavenumber()));
            EXPECT_EQ(g.GetOrigin(), f.GetOrigin());
            EXPECT_EQ(g.Window().right, 8);
            EXPECT_EQ(g.Window().top, 4);
            EXPECT_EQ(g.Window().left + g.Window().bottom, 0);
        }
    }

    const Lumora a = Sample(8, 4, 1);
    const Lumora b = Sample(2, 16, 2);
    const Lumora c = Sample(8, 4, 3);
    CreateFileMpLm(file.Path(), 5);
    EXPECT_EQ(file.Read(), MultiPartFile(5, {}));
    EXPECT_EQ(file.Read().size(), 4u + 8 * 5);
    a.SaveAsMpLm(file.Path(), 3);
    b.SaveAsMpLm(file.Path(), 0);
    EXPECT_EQ(file.Read(), MultiPartFile(5, {{3, &a}, {0, &b}}));
    c.SaveAsMpLm(file.Path(), 3); // in place
    EXPECT_EQ(file.Read(), MultiPartFile(5, {{3, &c}, {0, &b}}));
    EXPECT_EQ(GetSizeMpLm(file.Path()), 5);
    CreateFileMpLm(file.Path(), 0);
    EXPECT_EQ(file.Read(), std::string("LM\0\x80", 4));

    CreateFileSegLm(file.Path(), 3, 2);
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, DefaultHead(), {}));
    EXPECT_EQ(file.Read().size(), 158u + 8 * 6);
    a.SaveAsSegLm(file.Path(), 2, 1); // number 3 * 1 + 2
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &a}}));
    c.SaveAsSegLm(file.Path(), 1, 0);
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &a}, {1, &c}}));
    c.SaveAsSegLm(file.Path(), 2, 1); // in place
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &c}, {1, &c}}));
    b.SaveParamSegLm(file.Path()); // no comparison of any kind
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(b), {{5, &c}, {1, &c}}));
    int nx = 0;
    int ny = 0;
    EXPECT_EQ(GetSizeSegLm(file.Path(), nx, ny), 6);
    EXPECT_EQ(nx, 3);
    EXPECT_EQ(ny, 2);
}

TEST(FileLmTest, DefaultsOfTheDayStandInANewSegmentedFile)
{
    const ScratchFile file("lm");
    const Lumora before(1, 1);
    Lumora::SetDefault(64, 64, 3e-6, 4e-6, 405e-9);
    CreateFileSegLm(file.Path(), 1, 1);
    Lumora::SetDefault(256, 256, before.GetPx(), before.GetPy(), 632.8e-9);
    const Head h = ParseHead(file.Read(), 12 + 8 + 14);
    EXPECT_EQ(h.px, 3e-6);
    EXPECT_EQ(h.py, 4e-6);
    EXPECT_DOUBLE_EQ(h.wavelength, 405e-9);
    EXPECT_EQ(h.nx + h.ny, 0);
}

TEST(FileLmTest, WindowWriterKeepsTheWholeHead)
{
    const ScratchFile file("lm");
    Lumora f = Sample(8, 8, 1);
    f.SetWindow(2, 5, 1, 7);
    f.WinSaveAsLm(file.Path());
    std::string expected = "LM" + HeadBytes(HeadOf(f), 2);
    const std::string all = SampleBytes(f);
    for (std::size_t y = 1; y < 7; ++y)
        expected += all.substr(8 * (8 * y + 2), 8 * 3);
    EXPECT_EQ(file.Read(), expected);
    Lumora g(1, 1);
    EXPECT_EQ(Catch([&] { g.LoadLm(file.Path()); }), (Failure{5, "LumoraLib::Lumora::LoadLm", file.Path()}));

    // A window outside the grid, or reversed, stays inside the samples.
    f.Window() = LML_RECT(-100, 1 << 30, 1 << 30, -5);
    f.WinSaveAsLm(file.Path());
    EXPECT_EQ(file.Read(), SingleFile(f));
    f.Window() = LML_RECT(5, 7, 2, 1);
    f.WinSaveAsLm(file.Path());
    EXPECT_EQ(file.Read().size(), 134u);
}

TEST(FileLmTest, FilesOfOtherWriters)
{
    const ScratchFile file("lm");
    const auto row = [](int n, int bias)
    {
        std::string s;
        for (int i = 0; i < n; ++i)
        {
            Put(s, Bits(static_cast<float>(i + bias)), 4);
            Put(s, Bits(static_cast<float>(-i - bias)), 4);
        }
        return s;
    };
    // Sizes that are not powers of two come to lie centred, rounded down, with zeros around them.
    for (const auto& [nx, ny, x0, y0] : {std::array{3, 1, 0, 0}, std::array{5, 6, 1, 1}, std::array{4, 11, 0, 2}})
    {
        Head h;
        h.nx = nx;
        h.ny = ny;
        h.form = 2; // bit 1 is accepted and ignored
        file.Write("LM" + HeadBytes(h, 2) + row(nx * ny, 1));
        Lumora g(16, 16);
        FillRandom(g);
        g.LoadLm(file.Path());
        EXPECT_EQ(g.Form(), 0);
        for (int j = 0; j < g.GetNy(); ++j)
            for (int i = 0; i < g.GetNx(); ++i)
            {
                const bool inside = i >= x0 && i < x0 + nx && j >= y0 && j < y0 + ny;
                const int value = inside ? (i - x0) + nx * (j - y0) + 1 : 0;
                EXPECT_EQ(g.GetReal(i, j), value) << i << ' ' << j;
                EXPECT_EQ(g.GetImag(i, j), -value) << i << ' ' << j;
            }
        EXPECT_EQ(g.Window().right, g.GetNx());
        EXPECT_EQ(g.Window().top, g.GetNy());
    }
    // No position head, and samples elsewhere.
    Head h;
    h.nx = 2;
    h.ny = 1;
    h.positionHead = ~0ull;
    h.samples = 2 + 132 + 5;
    file.Write("LM" + HeadBytes(h, 2) + "12345" + row(2, 7));
    Lumora g = Sample(4, 4, 9);
    const Vector origin = g.GetOrigin();
    const Vector normal = g.GetNormalVector();
    g.LoadLm(file.Path());
    EXPECT_EQ(g.GetReal(1, 0), 8);
    EXPECT_EQ(g.GetOrigin(), origin);
    EXPECT_EQ(g.GetNormalVector(), normal);
    // Normals are brought to unit length; one without a length becomes zero.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& [stored, expected] :
         {std::pair{std::array{0.0, 3.0, 4.0}, std::array{0.0, 3.0 * (1.0 / 5.0), 4.0 * (1.0 / 5.0)}},
          std::pair{std::array{0.0, 0.0, 0.0}, std::array{0.0, 0.0, 0.0}},
          std::pair{std::array{nan, 0.0, 1.0}, std::array{0.0, 0.0, 0.0}}})
    {
        Head k;
        k.nx = k.ny = 1;
        k.normal = stored;
        file.Write("LM" + HeadBytes(k, 2) + row(1, 1));
        g.LoadLm(file.Path());
        EXPECT_EQ(g.GetNormalVector().x, expected[0]);
        EXPECT_EQ(g.GetNormalVector().y, expected[1]);
        EXPECT_EQ(g.GetNormalVector().z, expected[2]);
    }
    // A file without samples leaves a caller's buffer attached.
    h = Head();
    h.ny = 7;
    file.Write("LM" + HeadBytes(h, 2));
    alignas(16) Complex buffer[4];
    Lumora onBuffer(0, 0);
    onBuffer.SetNx(2).SetNy(2).Init(buffer);
    onBuffer.LoadLm(file.Path());
    EXPECT_EQ(onBuffer.GetDataPointer(), buffer);
    EXPECT_EQ(onBuffer.GetNy(), 7);
}

TEST(FileLmTest, PartsAndSegmentsComeBackInAnyOrder)
{
    const ScratchFile file("lm");
    CreateFileMpLm(file.Path(), 4);
    const Lumora parts[] = {Sample(4, 4, 1), Sample(8, 2, 2), Sample(1, 1, 3)};
    for (const int n : {2, 0, 1})
        parts[n].SaveAsMpLm(file.Path(), static_cast<std::uint16_t>(n));
    for (std::uint16_t n = 0; n < 3; ++n)
    {
        Lumora g(2, 2);
        bool exists = false;
        g.LoadMpLm(file.Path(), n, &exists);
        EXPECT_TRUE(exists && SameBits(g, parts[n])) << n;
        exists = false;
        Lumora p(2, 2);
        FillRandom(p, 5);
        p.LoadParamMpLm(file.Path(), n, &exists);
        EXPECT_TRUE(exists);
        EXPECT_EQ(p.GetNx(), parts[n].GetNx());
        EXPECT_EQ(p.GetPy(), parts[n].GetPy());
        // The parameters alone announce samples that are not there: they are refused until Init has been called.
        if (p.N() > 4)
        {
            EXPECT_EQ(Catch([&] { p.SaveAsLm("never"); }).code, 6);
            p.Init(nullptr);
            EXPECT_EQ(p.Clear().GetReal(0, 0), 0.0);
        }
    }
    Lumora g = Sample(2, 2, 8);
    const Lumora before = g;
    bool exists = true;
    g.LoadMpLm(file.Path(), 3, &exists);
    EXPECT_FALSE(exists);
    exists = true;
    g.LoadParamMpLm(file.Path(), 3, &exists);
    EXPECT_FALSE(exists);
    g.LoadMpLm(file.Path(), 3, nullptr).LoadParamMpLm(file.Path(), 3, nullptr);
    EXPECT_TRUE(SameBits(g, before));
    EXPECT_EQ(HeadOf(g), HeadOf(before));

    // Segments of 8 by 4 samples: the displacement from the centre of the grid, the window that stays, the odd centre.
    for (const auto& [nx, ny] : {std::pair<int, int>{3, 3}, std::pair<int, int>{2, 4}, std::pair<int, int>{1, 1}})
    {
        CreateFileSegLm(file.Path(), static_cast<std::uint16_t>(nx), static_cast<std::uint16_t>(ny));
        Lumora u = Sample(8, 4, 1);
        const Vector o = u.GetOrigin();
        for (int iy = ny - 1; iy >= 0; --iy)
            for (int ix = 0; ix < nx; ++ix)
            {
                FillRandom(u, static_cast<std::uint32_t>(10 * ix + iy));
                u.SetOrigin(ix == 0 && iy == ny - 1 ? o : Vector(9, 9, 9)); // only the first one counts
                u.SaveAsSegLm(file.Path(), static_cast<std::uint16_t>(ix), static_cast<std::uint16_t>(iy));
            }
        for (std::uint16_t iy = 0; iy < ny; ++iy)
            for (std::uint16_t ix = 0; ix < nx; ++ix)
            {
                Lumora v(2, 2);
                v.LoadSegLm(file.Path(), ix, iy, &exists);
                FillRandom(u, 10u * ix + iy);
                EXPECT_TRUE(exists && SameBits(u, v)) << ix << ' ' << iy;
                EXPECT_EQ(v.GetOrigin().x, o.x + 8 * 2e-6 * (ix - (nx - 1) / 2.0));
                EXPECT_EQ(v.GetOrigin().y, o.y + 4 * 3e-6 * (iy - (ny - 1) / 2.0));
                EXPECT_EQ(v.GetOrigin().z, o.z);
                EXPECT_EQ(v.Window().right, 2); // the window is the old one
                Lumora p(2, 2);
                p.LoadParamSegLm(file.Path(), ix, iy, nullptr);
                EXPECT_EQ(p.GetOrigin().x, v.GetOrigin().x);
                EXPECT_EQ(p.GetNx(), 8);
            }
    }
    // A smaller segment than the window of the field that receives it: window loops stay inside.
    Lumora w(16, 16);
    w.LoadSegLm(file.Path(), 0, 0, nullptr);
    EXPECT_EQ(w.Window().right, 16);
    w.SetConstWin(Complex(1.0, 2.0));
    w.WinSaveAsLm(file.Path());
    EXPECT_EQ(file.Read(), SingleFile(w));
}

TEST(FileLmTest, OddRulesThatCallersMeet)
{
    const ScratchFile file("lm");
    bool exists = false;
    // The result of a segment's parameter load is read at byte 12 + ix + iy nx: astride entries but for (0, 0).
    const Lumora a = Sample(2, 2, 1);
    CreateFileSegLm(file.Path(), 4, 4);
    a.SaveAsSegLm(file.Path(), 0, 0);
    Lumora p(2, 2);
    EXPECT_TRUE((p.LoadParamSegLm(file.Path(), 0, 0, &exists), exists));
    EXPECT_TRUE((p.LoadParamSegLm(file.Path(), 1, 0, &exists), exists)) << "byte 13 is the second one of entry 0";
    EXPECT_FALSE((p.LoadParamSegLm(file.Path(), 2, 0, &exists), exists));
    EXPECT_FALSE((p.LoadSegLm(file.Path(), 1, 0, &exists), exists));
    // A grid whose product of 16 bits is zero has no table: the record stands where the entries would.
    CreateFileSegLm(file.Path(), 256, 256);
    std::string s = file.Read();
    EXPECT_EQ(s.size(), 158u);
    EXPECT_EQ(Number(s, 2, 2), 0xC000u);
    EXPECT_EQ(Number(s, 4, 8), 12u);
    EXPECT_EQ(Number(s, 12, 2), 5u);
    int nx = 0;
    int ny = 0;
    EXPECT_EQ(GetSizeSegLm(file.Path(), nx, ny), 0);
    EXPECT_EQ(nx, 256);
    EXPECT_EQ(Catch([&] { p.LoadSegLm(file.Path(), 0, 0, &exists); }).code, 0); // the common head's sizes are zero
    EXPECT_TRUE(exists);
    EXPECT_EQ(Catch([&] { a.SaveAsSegLm(file.Path(), 0, 0); }).code, 5);
    EXPECT_EQ(file.Read(), s);
    // Entry positions wrap around in 32 bits.
    EXPECT_EQ(Catch([&] { CreateFileSegLm(file.Path(), 65535, 1); }).code, 3);
    EXPECT_EQ(file.Read().size(), 0u); // refused, and emptied
    s = SegmentedFile(1, 1, DefaultHead(), {});
    s.replace(12 + 8 + 10, 4, "\xff\xff\xff\xff");
    file.Write(s);
    EXPECT_EQ(Catch([&] { p.LoadSegLm(file.Path(), 65534, 65534, &exists); }).code, 5);
    // Limits of the counts.
    CreateFileMpLm(file.Path(), 16383);
    EXPECT_EQ(GetSizeMpLm(file.Path()), 16383);
    EXPECT_EQ(Catch([&] { CreateFileMpLm(file.Path(), 16384); }),
              (Failure{3, "LumoraLib::CreateFileMpLm", std::string(file.Path()) + " : Too large size"}));
    EXPECT_EQ(file.Read(), "");
    CreateFileSegLm(file.Path(), 127, 129); // 16383
    EXPECT_EQ(file.Read().size(), 158u + 8 * 16383);
    Derived d(8, 4);
    d.SetPx(2.0).SetPy(3.0);
    EXPECT_EQ(d.GetDispSegLm(2, 0, 4, 3), Vector(8 * 2.0 * 0.5, 4 * 3.0 * -1.0, 0.0));
}

// ---- Failures ----------------------------------------------------------------------------------------------------

TEST(FileLmTest, EveryFailureByCodeAndText)
{
    const ScratchFile single("1"), multi("m"), segmented("s"), fresh("f"), other("o"), absent("absent");
    const std::string folder = LML_SCRATCH_DIR;
    const Lumora a = Sample(4, 4, 1);
    const Lumora wide = Sample(8, 4, 1);
    a.SaveAsLm(single.Path());
    CreateFileMpLm(multi.Path(), 2);
    a.SaveAsMpLm(multi.Path(), 0);
    CreateFileSegLm(segmented.Path(), 2, 3);
    a.SaveAsSegLm(segmented.Path(), 0, 0);
    CreateFileSegLm(fresh.Path(), 2, 3);
    other.Write("BM and so on, long enough for anything that might be read from it");

    Lumora g(2, 2);
    int nx, ny;
    std::uint16_t n = 0, m = 0; // the indices of the calls
    struct Operation
    {
        const char* name;
        const char* absent; // detail where there is no file
        std::function<void(const char*)> call;
    };
    // clang-format off
    const std::vector<Operation> operations = {
        {"LumoraLib::Lumora::LoadLm", "", [&](const char* p) { g.LoadLm(p); }},
        {"LumoraLib::Lumora::LoadMpLm", "", [&](const char* p) { g.LoadMpLm(p, n, nullptr); }},
        {"LumoraLib::Lumora::LoadParamMpLm", "", [&](const char* p) { g.LoadParamMpLm(p, n, nullptr); }},
        {"LumoraLib::Lumora::LoadSegLm", "", [&](const char* p) { g.LoadSegLm(p, n, m, nullptr); }},
        {"LumoraLib::Lumora::LoadParamSegLm", "", [&](const char* p) { g.LoadParamSegLm(p, n, m, nullptr); }},
        {"LumoraLib::GetSizeMpLm", "", [&](const char* p) { GetSizeMpLm(p); }},
        {"LumoraLib::GetSizeSegLm", "", [&](const char* p) { GetSizeSegLm(p, nx, ny); }},
        {"LumoraLib::Lumora::SaveAsMpLm", "multi-part LM file must be pre-created",
         [&](const char* p) { a.SaveAsMpLm(p, n); }},
        {"LumoraLib::Lumora::SaveAsSegLm", "segmentated LM file must be pre-created",
         [&](const char* p) { a.SaveAsSegLm(p, n, m); }},
        {"LumoraLib::Lumora::SaveParamSegLm", "segmentated LM file must be pre-created",
         [&](const char* p) { a.SaveParamSegLm(p); }},
        {"LumoraLib::Lumora::SaveAsLm", nullptr, [&](const char* p) { a.SaveAsLm(p); }}, // null: creates its file
        {"LumoraLib::Lumora::WinSaveAsLm", nullptr, [&](const char* p) { a.WinSaveAsLm(p); }},
        {"LumoraLib::CreateFileMpLm", nullptr, [&](const char* p) { CreateFileMpLm(p, 1); }},
        {"LumoraLib::CreateFileSegLm", nullptr, [&](const char* p) { CreateFileSegLm(p, 1, 1); }},
        {"LumoraLib::CreateFileSegLm", "-", [&](const char* p) { CreateFileSegLm(p, 128, 128); }},
        {"LumoraLib::Lumora::SaveAsMpLm", "-", [&](const char* p) { wide.SaveAsMpLm(p, 0); }}};
    enum : std::size_t { Load, LoadMp, ParamMp, LoadSeg, ParamSeg, SizeMp, SizeSeg, SaveMp,
         SaveSeg, SaveParam, Big = 14, Wide };
    // clang-format on
    const auto expect = [&](const Operation& op, const std::string& path, int code, std::string detail)
    {
        if (!detail.empty())
            detail = " : " + detail;
        EXPECT_EQ(Catch([&] { op.call(path.c_str()); }), (Failure{code, op.name, (path + detail).substr(0, 127)}));
    };
    for (std::size_t op = 0; op < 14; ++op)
    {
        const bool creates = operations[op].absent == nullptr;
        expect(operations[op], creates ? "/nowhere/a" : absent.Path(), 2, creates ? "" : operations[op].absent);
        if (!creates)
            expect(operations[op], other.Path(), 2, "this is not LM format");
    }
    for (const std::size_t op : {LoadMp, ParamMp, SaveMp, SizeMp})
    {
        expect(operations[op], single.Path(), 2, "this is a single-part LM file");
        expect(operations[op], segmented.Path(), 2, "this is segmentation-type LM file");
    }
    for (const std::size_t op : {LoadSeg, ParamSeg, SizeSeg, SaveSeg, SaveParam})
        expect(operations[op], multi.Path(), 2, "this is a not segmented LM file");
    expect(operations[Load], multi.Path(), 2, "multi-part/segmentation type LM format");
    expect(operations[Load], segmented.Path(), 2, "multi-part/segmentation type LM format");
    expect(operations[ParamSeg], fresh.Path(), 3, "this is an incompleted segemented LM file");
    expect(operations[Wide], multi.Path(), 3, "size of data in specified index of file is different from this object");
    for (std::size_t op = 0; op < 14; ++op)
        expect(operations[op], folder, 2, operations[op].absent == nullptr ? "" : operations[op].absent);
    for (const auto& [i, j] : {std::pair{2, 0}, std::pair{0, 3}, std::pair{65535, 65535}})
    {
        n = static_cast<std::uint16_t>(i);
        m = static_cast<std::uint16_t>(j);
        for (const std::size_t op : {LoadSeg, ParamSeg, SaveSeg})
            expect(operations[op], segmented.Path(), 3, "index is too large");
        if (n != 0)
            for (const std::size_t op : {LoadMp, ParamMp, SaveMp})
                expect(operations[op], multi.Path(), 3, "index is too large");
    }
    expect(operations[Big], absent.Path(), 3, "Too large size");

    bool exists = true;
    g.LoadSegLm(fresh.Path(), 1, 1, &exists);
    EXPECT_FALSE(exists);

    // What has to agree with the common head, exactly but for the normal.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::string before = segmented.Read();
    const auto changed = [&a](auto change)
    {
        Lumora f = a;
        change(f);
        return f;
    };
    const auto tilt = [](Lumora& f, double d)
    {
        f.SetNormalVector(f.GetNormalVector() + Vector(d, 0.0, 0.0));
    };
    // clang-format off
    const std::vector<Lumora> refused = {
        wide, Sample(4, 8, 1),
        changed([](Lumora& f) { f.SetPx(std::nextafter(f.GetPx(), 1.0)); }),
        changed([](Lumora& f) { f.SetPy(f.GetPy() * 2.0); }),
        changed([](Lumora& f) { f.SetWavelength(533e-9); }),
        changed([&](Lumora& f) { f.SetPx(nan); }),
        changed([&](Lumora& f) { f.SetWavenumber(nan); }),
        changed([&](Lumora& f) { tilt(f, 3e-6); })};
    // clang-format on
    for (const Lumora& f : refused)
        EXPECT_EQ(Catch([&] { f.SaveAsSegLm(segmented.Path(), 1, 1); }),
                  (Failure{3, "LumoraLib::Lumora::SaveAsSegLm",
                           (segmented.Path() + std::string(" : Saved data is not compatible with exist file segment"))
                               .substr(0, 127)}));
    EXPECT_EQ(segmented.Read(), before);
    changed([&](Lumora& f) { tilt(f, 5e-7); }).SaveAsSegLm(segmented.Path(), 1, 1);
    changed([](Lumora& f) { f.SetOrigin(Vector(7, 7, 7)).Form() = SPECTRUM; }).SaveAsSegLm(segmented.Path(), 0, 1);

    // Heads that are wrong inside.
    const auto headed = [&](Head h, int code, const char* detail)
    {
        for (const bool parameters : {false, true})
        {
            std::string s;
            Put(s, 0x4D4C, 2);
            Put(s, 0x8001, 2);
            Put(s, 12, 8);
            s += HeadBytes(h, 12) + std::string(8, 'x');
            multi.Write(s);
            const Failure failure = Catch(
                [&]
                {
                    if (parameters)
                        g.LoadParamMpLm(multi.Path(), 0, nullptr);
                    else
                        g.LoadMpLm(multi.Path(), 0, nullptr);
                });
            const std::string text =
                std::string(detail) == "form"
                    ? parameters ? " : abnormal LM format or broken file" : " : multi-part/segmentation type LM format"
                : std::string(detail) == "type"
                    ? parameters ? " : unspported optional head" : " : unspported optional head : %s"
                    : detail;
            if (parameters && h.placeType == 4 && h.form <= 3 && h.positionHead == 0 && h.nx >= 0 && h.ny >= 0)
                EXPECT_EQ(failure.code, 0) << "sizes above 0 and samples are not looked at";
            else
                EXPECT_EQ(
                    failure,
                    (Failure{code, parameters ? "LumoraLib::Lumora::LoadParamMpLm" : "LumoraLib::Lumora::LoadMpLm",
                             (multi.Path() + text).substr(0, 127)}));
        }
    };
    Head one;
    one.nx = one.ny = 1;
    const auto with = [&one](auto change)
    {
        Head h = one;
        change(h);
        return h;
    };
    const std::int32_t most = std::numeric_limits<std::int32_t>::max();
    headed(with([](Head& h) { h.form = 4; }), 2, "form");
    headed(with([](Head& h) { h.form = 0xffff; }), 2, "form");
    headed(with([](Head& h) { h.placeType = 3; }), 5, "type");
    headed(with([](Head& h) { h.positionHead = 1ull << 63; }), 5, " : seek error");
    headed(with([](Head& h) { h.positionHead = 1ull << 40; }), 5, "");
    headed(with([](Head& h) { h.samples = 1ull << 63; }), 5, " : seek error");
    headed(with([](Head& h) { h.samples = 1ull << 40; }), 5, "");
    headed(with([](Head& h) { h.nx = 2; }), 5, "");
    headed(with([&](Head& h) { h.nx = h.ny = most; }), 5, "");
    headed(with([&](Head& h) { h.nx = h.ny = -most; }), 5, "");
    headed(with([&](Head& h) { h.nx = 65536, h.ny = 65536; }), 5, "");
}

TEST(FileLmTest, LongPathsAndTheFailurePathItself)
{
    _LM_File record{};
    std::strcpy(record.path, "a/b");
    std::strcpy(record.function, "LumoraLib::Some");
    EXPECT_EQ(Catch([&] { FileError(record, ERR_FILE_READ, nullptr); }), (Failure{5, "LumoraLib::Some", "a/b"}));
    EXPECT_EQ(Catch([&] { FileError(record, ERR_PARAMETER, "x %s %n"); }),
              (Failure{3, "LumoraLib::Some", "a/b : x %s %n"}));
    // Texts without an end, and a path longer than the record: cut, and the right file is opened all the same.
    std::memset(record.path, 'p', sizeof record.path);
    std::memset(record.function, 'f', sizeof record.function);
    EXPECT_EQ(Catch([&] { FileError(record, ERR_FILE_READ, "d"); }),
              (Failure{5, std::string(80, 'f'), std::string(127, 'p')}));
    std::string path = LML_SCRATCH_DIR;
    for (int n = 0; n < 200; ++n)
        path += "/.";
    path += "/long.lm";
    const Lumora a = Sample(2, 2, 1);
    a.SaveAsLm(path.c_str());
    EXPECT_TRUE(SameBits(Lumora(1, 1).LoadLm(path.c_str()), a));
    std::remove(path.c_str());
    EXPECT_EQ(Catch([&] { Lumora(1, 1).LoadLm(path.c_str()); }),
              (Failure{2, "LumoraLib::Lumora::LoadLm", path.substr(0, 127)}));
    EXPECT_EQ(Catch([&] { Lumora(1, 1).LoadLm(nullptr); }), (Failure{2, "LumoraLib::Lumora::LoadLm", ""}));
}

TEST(FileLmTest, DerivedClassesKeepTheirStreams)
{
    const ScratchFile file("lm");
    Derived d(2, 2);
    FillRandom(d);
    _LM_File record{};
    std::strcpy(record.path, file.Path());
    std::strcpy(record.function, "Derived::Store");
    record.stream = std::fopen(file.Path(), "w+b");
    ASSERT_NE(record.stream, nullptr);
    std::fputs("12345", record.stream);
    d.SaveDataHeadLm(record);
    std::fwrite(d.GetDataPointer(), 8, d.N(), record.stream);
    EXPECT_EQ(std::ftell(record.stream), 5 + 132 + 32);
    Derived e(1, 1);
    std::fseek(record.stream, 5, SEEK_SET);
    e.LoadParamLm(record);
    EXPECT_EQ(e.GetNx(), 2);
    std::fseek(record.stream, 5, SEEK_SET);
    e.LoadDataLm(record);
    EXPECT_TRUE(SameBits(d, e));
    EXPECT_EQ(file.Read().substr(5), HeadBytes(HeadOf(d), 5) + SampleBytes(d));
    // A failure leaves the stream open: who opened it closes it.
    std::fseek(record.stream, 5 + 132, SEEK_SET); // samples are no head
    EXPECT_EQ(Catch([&] { e.LoadDataLm(record); }).function, "Derived::Store");
    std::fseek(record.stream, 0, SEEK_END);
    EXPECT_EQ(Catch([&] { e.LoadParamMpLm(record); }),
              (Failure{5, "Derived::Store", std::string(file.Path()).substr(0, 127)}));
    std::rewind(record.stream);
    EXPECT_EQ(std::fgetc(record.stream), '1');
    EXPECT_EQ(std::fclose(record.stream), 0);

    CreateFileSegLm(file.Path(), 2, 2);
    d.SaveAsSegLm(file.Path(), 0, 0);
    record.stream = std::fopen(file.Path(), "rb");
    std::int64_t headAt = 0;
    EXPECT_TRUE(e.LoadParamSegLm(record, 0, 0, &headAt));
    EXPECT_EQ(headAt, 12 + 32 + 14);
    std::fclose(record.stream);
}

TEST(FileLmTest, TruncatedAtEveryByte)
{
    const ScratchFile file("lm");
    const Lumora a = Sample(4, 4, 1);
    const std::string single = SingleFile(a);
    const std::string multi = MultiPartFile(2, {{1, &a}});
    const std::string segmented = SegmentedFile(2, 1, HeadOf(a), {{1, &a}});
    struct Row
    {
        const std::string& whole;
        std::function<void(Lumora&)> load;
    };
    const std::vector<Row> rows = {{single,
                                    [&](Lumora& g)
                                    {
                                        g.LoadLm(file.Path());
                                    }},
                                   {multi,
                                    [&](Lumora& g)
                                    {
                                        g.LoadMpLm(file.Path(), 1, nullptr);
                                    }},
                                   {segmented, [&](Lumora& g)
                                    {
                                        g.LoadSegLm(file.Path(), 1, 0, nullptr);
                                    }}};
    for (const Row& row : rows)
        for (std::size_t length = 0; length <= row.whole.size(); ++length)
        {
            file.Write(row.whole.substr(0, length));
            Lumora g(2, 2);
            const Failure failure = Catch([&] { row.load(g); });
            EXPECT_EQ(failure.code, length < row.whole.size() ? 5 : 0) << length;
            if (failure.code == 0)
                EXPECT_TRUE(SameBits(g, a));
            else
                EXPECT_EQ(failure.message, std::string(file.Path()).substr(0, 127));
        }
    // A save into a file cut inside its table must not put a part where entries belong.
    for (std::size_t length = 12; length < 20; ++length)
    {
        file.Write(MultiPartFile(2, {}).substr(0, length));
        EXPECT_EQ(Catch([&] { a.SaveAsMpLm(file.Path(), 0); }).code, 5) << length;
    }
}

TEST(FileLmTest, StateAfterAFailedLoad)
{
    const ScratchFile file("lm");
    const Lumora a = Sample(4, 4, 1);
    const auto loads = [&file](Lumora& g) -> std::vector<std::function<void()>>
    {
        return {[&] { g.LoadMpLm(file.Path(), 0, nullptr); }, [&] { g.LoadParamMpLm(file.Path(), 0, nullptr); },
                [&] { g.LoadSegLm(file.Path(), 0, 0, nullptr); }, [&] { g.LoadParamSegLm(file.Path(), 0, 0, nullptr); }};
    };
    const auto bytes = [](const Head& h, bool segments, const std::string& samples)
    {
        if (segments)
        {
            std::string s = SegmentedFile(1, 1, h, {});
            std::string entry;
            Put(entry, s.size(), 8);
            return s.replace(12, 8, entry) + samples;
        }
        std::string s = "LM";
        Put(s, 0x8001, 2);
        Put(s, 12, 8);
        return s + HeadBytes(h, 12) + samples;
    };
    const auto with = [&a](auto change)
    {
        Head h = HeadOf(a);
        h.form = 1;
        change(h);
        return h;
    };
    const std::int32_t least = std::numeric_limits<std::int32_t>::min();
    const std::int32_t most = std::numeric_limits<std::int32_t>::max();
    // What is refused, by loads of samples and, where it says so, of parameters: the field is wholly as it was.
    struct Row
    {
        Head head;
        bool parametersToo;
    };
    const Row rows[] = {{with([](Head& h) { h.placeType = 9; }), true},
                        {with([](Head& h) { h.positionHead = 1ull << 40; }), true},
                        {with([](Head& h) { h.nx = -4; }), true},
                        {with([=](Head& h) { h.nx = least, h.ny = 0; }), true},
                        {with([=](Head& h) { h.nx = 0, h.ny = least; }), true},
                        {with([](Head& h) { h.nx = h.ny = 4097; }), false},
                        {with([=](Head& h) { h.nx = most, h.ny = 0; }), false}};
    for (const Row& row : rows)
        for (std::size_t load = 0; load < 4; ++load)
        {
            file.Write(bytes(row.head, load >= 2, SampleBytes(a)));
            Lumora g = Sample(2, 2, 5);
            g.SetWindow(0, 1, 0, 1);
            const Lumora before = g;
            const int code = Catch(loads(g)[load]).code;
            if (load % 2 == 1 && !row.parametersToo)
                continue;
            EXPECT_EQ(code, 5) << load;
            EXPECT_TRUE(SameBits(g, before)) << load;
            EXPECT_EQ(HeadOf(g), HeadOf(before)) << load;
            EXPECT_EQ(g.Window().right, 1);
        }
    // Cut short: all parameters, the samples that are there, and zeros, also over a larger field.
    for (const std::size_t load : {std::size_t{0}, std::size_t{2}})
        for (const std::int32_t nx : {4, 3})
        {
            if (load == 2 && nx == 3)
                continue;
            file.Write(bytes(with([&](Head& h) { h.nx = nx; }), load == 2, SampleBytes(a).substr(0, 8 * 7 + 5)));
            Lumora g = Sample(8, 8, 6);
            EXPECT_EQ(Catch(loads(g)[load]).code, 5);
            EXPECT_EQ(g.Form(), SPECTRUM);
            EXPECT_EQ(g.GetNx(), 4);
            EXPECT_EQ(g.Window().right, load == 2 ? 8 : 4);
            for (int n = 0; n < 16; ++n)
                if (nx == 4)
                    EXPECT_EQ(g.GetReal(n % 4, n / 4), n < 7 ? a.GetReal(n % 4, n / 4) : 0.0) << n;
                else
                    EXPECT_EQ(g.GetReal(n % 4, n / 4),
                              n % 4 == 3 || n / 4 * 3 + n % 4 >= 7 ? 0.0 : a.GetDataPointer()[n / 4 * 3 + n % 4].GetReal())
                        << n;
        }
    // A segmented file that is not complete, and a field without samples as a segment.
    CreateFileSegLm(file.Path(), 2, 1);
    Lumora g = Sample(2, 2, 5);
    const Lumora before = g;
    EXPECT_EQ(Catch([&] { g.LoadParamSegLm(file.Path(), 0, 0, nullptr); }).code, 3);
    EXPECT_EQ(HeadOf(g), HeadOf(before));
    const std::string fresh = file.Read();
    for (const std::int32_t ny : {0, 4})
        EXPECT_EQ(Catch([&] { Lumora(0, ny).SaveAsSegLm(file.Path(), 0, 0); }),
                  (Failure{6, "LumoraLib::Lumora::SaveAsSegLm",
                           "a segment needs samples: set the sizes and call Init first"}));
    EXPECT_EQ(file.Read(), fresh);
}

#ifndef LML_TEST_SANITIZED
TEST(FileLmTest, NoOperationNeedsTheHeapOfTheLanguage)
{
    const ScratchFile file("lm");
    const Lumora a = Sample(4, 4, 1);
    Lumora g(4, 4);
    const char* const path = file.Path();
    SetErrorHandling(ERROR_HANDLING_THROW);
    heapIsEmpty = true;
    int codes[3] = {};
    CreateFileMpLm(path, 16383);
    a.SaveAsMpLm(path, 16382);
    g.LoadMpLm(path, 16382, nullptr);
    CreateFileSegLm(path, 100, 100);
    a.SaveAsSegLm(path, 99, 99);
    g.LoadSegLm(path, 99, 99, nullptr);
    const auto fails = [](auto&& call)
    {
        try
        {
            call();
        }
        catch (const LumoraException& e)
        {
            return e.GetErrorCode();
        }
        return 0;
    };
    codes[0] = fails([&] { g.LoadLm("/nowhere/at/all"); });
    codes[1] = fails([&] { a.SaveAsMpLm(path, 0); });
    codes[2] = fails([&] { CreateFileMpLm("/dev/full", 9); });
    heapIsEmpty = false;
    SetErrorHandling(ERROR_HANDLING_EXIT);
    EXPECT_EQ(codes[0], 2);
    EXPECT_EQ(codes[1], 2);
    EXPECT_EQ(codes[2], 4);
    EXPECT_TRUE(SameBits(a, g));
}
#endif

TEST(FileLmTest, FilesFromStrangers)
{
    const ScratchFile file("lm");
    const Lumora a = Sample(4, 2, 1);
    Head odd;
    odd.nx = 3;
    odd.ny = 3;
    const std::string wholes[] = {SingleFile(a), "LM" + HeadBytes(odd, 2) + std::string(72, 'a'),
                                  MultiPartFile(3, {{1, &a}, {0, &a}}),
                                  SegmentedFile(2, 2, HeadOf(a), {{0, &a}, {3, &a}})};
    std::mt19937 random(7);
    const auto pick = [&random](std::size_t n)
    {
        return random() % n;
    };
    int refused = 0;
    int taken = 0;
    for (int round = 0; round < 1200; ++round)
    {
        std::string s = wholes[pick(4)];
        const std::size_t heads = std::min<std::size_t>(s.size(), 220); // where numbers stand
        for (std::size_t n = pick(3) + 1; n > 0; --n)
            switch (pick(5))
            {
            case 0:
                s[pick(heads)] = static_cast<char>(random());
                break;
            case 1:
                s[pick(heads)] = static_cast<char>(1 << pick(8));
                break;
            case 2:
                s.replace(pick(heads - 8), 8, 8, pick(2) != 0 ? '\xff' : '\0');
                break;
            case 3:
                s.replace(pick(heads - 8), 2, {static_cast<char>(pick(256)), static_cast<char>(pick(2))});
                break;
            default:
                s.resize(s.size() - pick(9));
            }
        file.Write(s);
        Lumora g(2, 2);
        const auto check = [&](auto&& call)
        {
            const Failure failure = Catch(call);
            (failure.code == 0 ? taken : refused) += 1;
            EXPECT_LE(failure.code, 6);
            EXPECT_LE(LumoraLib::detail::FieldAccess::Capacity(g) * 8, std::size_t{256} << 20) << "memory beyond the bound";
        };
        const std::uint16_t n = static_cast<std::uint16_t>(pick(3));
        bool exists = false;
        int nx = 0;
        int ny = 0;
        check([&] { g.LoadLm(file.Path()); });
        check([&] { g.LoadMpLm(file.Path(), n, &exists); });
        check([&] { g.LoadParamMpLm(file.Path(), n, &exists); });
        check([&] { g.LoadSegLm(file.Path(), n, n / 2, &exists); });
        check([&] { g.LoadParamSegLm(file.Path(), n, n / 2, &exists); });
        check([&] { GetSizeMpLm(file.Path()); });
        check([&] { GetSizeSegLm(file.Path(), nx, ny); });
        check([&] { a.SaveAsMpLm(file.Path(), n); });
        check([&] { a.SaveAsSegLm(file.Path(), n, n / 2); });
        check([&] { a.SaveParamSegLm(file.Path()); });
        EXPECT_LE(std::filesystem::file_size(file.Path()), s.size() + 3 * 512) << "a hole was written";
    }
    EXPECT_GT(taken, 300);
    EXPECT_GT(refused, 300);
}

TEST(FileLmTest, FailuresLeaveNoDescriptor)
{
    const ScratchFile file("lm");
    const ScratchFile multi("m");
    const Lumora a = Sample(4, 4, 1);
    file.Write(SingleFile(a));
    multi.Write(MultiPartFile(1, {{0, &a}}).substr(0, 100));
    Lumora g(2, 2);
    alignas(16) Complex tooSmall[1];
    Lumora user(0, 0);
    user.SetNx(1).SetNy(1).Init(tooSmall);
    const std::size_t before = OpenDescriptors();
    for (int n = 0; n < 3; ++n)
    {
        EXPECT_EQ(Catch([&] { g.LoadMpLm(multi.Path(), 0, nullptr); }).code, 5);
        EXPECT_EQ(Catch([&] { user.LoadLm(file.Path()); }),
                  (Failure{1, "LumoraLib::Lumora::Init", "User-Defined buffer is too small"}));
        EXPECT_EQ(user.GetNx(), 1);
        EXPECT_EQ(Catch([&] { Sample(8, 8, 1).SaveAsMpLm(multi.Path(), 0); }).code, 3);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

// ---- Loss --------------------------------------------------------------------------------------------------------

TEST(FileLmTest, FullDiskIsAWriteFailure)
{
    if (std::FILE* full = std::fopen("/dev/full", "w"))
        std::fclose(full);
    else
        GTEST_SKIP() << "no /dev/full here";
    for (const int n : {1, 16, 256}) // within the stream's buffer, and far beyond it
    {
        const Lumora a = Sample(n, n, 1);
        EXPECT_EQ(Catch([&] { a.SaveAsLm("/dev/full"); }), (Failure{4, "LumoraLib::Lumora::SaveAsLm", "/dev/full"}));
        EXPECT_EQ(Catch([&] { a.WinSaveAsLm("/dev/full"); }),
                  (Failure{4, "LumoraLib::Lumora::WinSaveAsLm", "/dev/full"}));
        EXPECT_EQ(Catch([&] { CreateFileMpLm("/dev/full", static_cast<std::uint16_t>(n)); }),
                  (Failure{4, "LumoraLib::CreateFileMpLm", "/dev/full"}));
        EXPECT_EQ(Catch([&] { CreateFileSegLm("/dev/full", static_cast<std::uint16_t>(n), 2); }),
                  (Failure{4, "LumoraLib::CreateFileSegLm", "/dev/full"}));
    }
}

namespace
{
/// A file that exists before a save, the save, and what must hold behind it however far it came.
struct Scenario
{
    const char* name;
    std::string before;
    std::string after; // by the independent writer
    std::function<void(const char*)> save;
    std::function<std::optional<std::string>(const std::string&, std::size_t)> samples;
    std::size_t saved;
    std::vector<std::size_t> others;
    const Lumora* field;
};

/// 32 by 32 samples: more than the stream's buffer, so that a save is several writes.
struct Scenarios
{
    const Lumora a = Sample(32, 32, 1);
    const Lumora b = Sample(32, 32, 2);
    const Lumora c = Sample(32, 32, 3);
    // clang-format off
    const std::vector<Scenario> list = {
        {"new part", MultiPartFile(3, {{1, &a}, {0, &b}}), MultiPartFile(3, {{1, &a}, {0, &b}, {2, &c}}),
         [this](const char* path) { c.SaveAsMpLm(path, 2); }, PartSamples, 2, {0, 1}, &c},
        {"first segment", SegmentedFile(2, 2, DefaultHead(), {}), SegmentedFile(2, 2, HeadOf(c), {{2, &c}}),
         [this](const char* path) { c.SaveAsSegLm(path, 0, 1); }, SegmentSamples, 2, {0, 1, 3}, &c},
        {"later segment", SegmentedFile(2, 2, HeadOf(a), {{3, &a}, {0, &b}}),
         SegmentedFile(2, 2, HeadOf(a), {{3, &a}, {0, &b}, {1, &c}}),
         [this](const char* path) { c.SaveAsSegLm(path, 1, 0); }, SegmentSamples, 1, {0, 2, 3}, &c}};
    // clang-format on
};

/// Everything but the saved part is as it was, the saved one is absent or complete, and saving again completes the
/// file. Tells whether it was there.
bool CheckAfterBrokenSave(const Scenario& s, const ScratchFile& file)
{
    const std::string now = file.Read();
    for (const std::size_t n : s.others)
        EXPECT_EQ(s.samples(now, n), s.samples(s.before, n)) << s.name << " lost " << n;
    const std::optional<std::string> saved = s.samples(now, s.saved);
    EXPECT_EQ(saved.value_or(SampleBytes(*s.field)), SampleBytes(*s.field)) << s.name;
    EXPECT_EQ(Catch([&] { s.save(file.Path()); }).code, 0) << s.name;
    const std::string again = file.Read();
    EXPECT_EQ(s.samples(again, s.saved), SampleBytes(*s.field)) << s.name;
    for (const std::size_t n : s.others)
        EXPECT_EQ(s.samples(again, n), s.samples(s.before, n)) << s.name << " lost " << n;
    return saved.has_value();
}
} // namespace

TEST(FileLmTest, SavesThatRunIntoALimit)
{
    const Scenarios scenarios;
    const ScratchFile file("lm");
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    for (const Scenario& s : scenarios.list)
    {
        const std::size_t needed = s.after.size() - s.before.size();
        std::vector<std::size_t> rooms = {0, 1, 131, 132, 133, needed - 9, needed - 1, needed};
        for (std::size_t room = 700; room < needed; room += 700)
            rooms.push_back(room);
        for (const std::size_t room : rooms)
        {
            file.Write(s.before);
            rlimit limit = old;
            limit.rlim_cur = s.before.size() + room;
            setrlimit(RLIMIT_FSIZE, &limit);
            const Failure failure = Catch([&] { s.save(file.Path()); });
            setrlimit(RLIMIT_FSIZE, &old);
            EXPECT_EQ(failure.code, room < needed ? 4 : 0) << s.name << ' ' << room;
            if (room == needed)
                EXPECT_EQ(file.Read(), s.after);
            else
                EXPECT_EQ(failure.message, std::string(file.Path()).substr(0, 127));
            EXPECT_EQ(CheckAfterBrokenSave(s, file), room == needed) << s.name << ' ' << room;
        }
    }
    std::signal(SIGXFSZ, handler);
}

#if defined(__x86_64__)
namespace
{
enum class Traced
{
    Impossible,
    Killed,
    Done
};

/// Runs the call in a child process under trace and kills it at its write call number `n`, before the call or (`torn`)
/// behind the first half of its bytes.
Traced KillAtWrite(const std::function<void()>& call, int n, bool torn)
{
    const pid_t child = fork();
    if (child == 0)
    {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(77);
        raise(SIGSTOP);
        call();
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status))
        return Traced::Impossible;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    const auto kill9 = [&]
    {
        kill(child, SIGKILL);
        while (waitpid(child, &status, 0) == child && !WIFSIGNALED(status) && !WIFEXITED(status))
        {
        }
        return Traced::Killed;
    };
    bool entering = true;
    bool dying = false;
    for (int writes = 0;;)
    {
        if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0 || waitpid(child, &status, 0) != child)
            return Traced::Impossible;
        if (WIFEXITED(status))
            return WEXITSTATUS(status) == 0 ? Traced::Done : Traced::Impossible;
        if (WIFSIGNALED(status))
            return Traced::Impossible;
        if (WSTOPSIG(status) != (SIGTRAP | 0x80))
            continue;
        if (dying)
            return kill9();
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, child, nullptr, &registers);
        if (entering && registers.orig_rax == SYS_write && writes++ == n)
        {
            if (torn)
                registers.rdx /= 2;
            else
                registers.orig_rax = ~0ull; // no call at all
            ptrace(PTRACE_SETREGS, child, nullptr, &registers);
            dying = true;
        }
        entering = !entering;
    }
}
} // namespace

TEST(FileLmTest, SavesKilledAtEveryWrite)
{
    const Scenarios scenarios;
    const ScratchFile file("lm");
    for (const Scenario& s : scenarios.list)
        for (const bool torn : {false, true})
        {
            int writes = 0;
            for (;; ++writes)
            {
                file.Write(s.before);
                const Traced result = KillAtWrite([&] { s.save(file.Path()); }, writes, torn);
                if (result == Traced::Impossible)
                    GTEST_SKIP() << "tracing a child is not possible here";
                if (result == Traced::Done)
                    break;
                // The entry comes last and alone: the low half of it is the whole position of a file below 4 GiB.
                const bool there = CheckAfterBrokenSave(s, file);
                EXPECT_FALSE(there && !torn) << s.name << " at write " << writes;
                ASSERT_LT(writes, 100);
            }
            EXPECT_EQ(file.Read(), s.after) << s.name;
            EXPECT_GE(writes, 2) << s.name << ": samples and entry in writes of their own";
        }
}
#endif

// ---- Large files -------------------------------------------------------------------------------------------------

TEST(FileLmTest, PartsBeyondFourGiB)
{
    const ScratchFile file("lm");
    const Lumora a = Sample(4, 4, 1);
    const Lumora b = Sample(4, 4, 2);
    CreateFileMpLm(file.Path(), 2);
    const off_t far = (off_t{5} << 30) + 3;
    if (truncate(file.Path(), far) != 0) // a hole: takes no room
        GTEST_SKIP() << "no sparse files here";
    a.SaveAsMpLm(file.Path(), 1);
    b.SaveAsMpLm(file.Path(), 0);
    b.SaveAsMpLm(file.Path(), 1);
    a.SaveAsMpLm(file.Path(), 1);
    Lumora g(1, 1);
    EXPECT_TRUE(SameBits(g.LoadMpLm(file.Path(), 1, nullptr), a));
    EXPECT_TRUE(SameBits(g.LoadMpLm(file.Path(), 0, nullptr), b));
    std::ifstream in(file.Path(), std::ios::binary);
    std::string head(20, '\0');
    in.read(head.data(), 20);
    EXPECT_EQ(Number(head, 12, 8), static_cast<std::uint64_t>(far));
    EXPECT_EQ(std::filesystem::file_size(file.Path()), static_cast<std::uint64_t>(far) + 2 * (132 + 128));
}

TEST(FileLmTest, TransfersInSeveralCalls)
{
    // 64 MiB and twice as much: one call and two.
    for (const int ny : {2048, 4096})
    {
        const ScratchFile file("lm");
        Lumora a(4096, ny);
        FillRandom(a, 3);
        a.SaveAsLm(file.Path());
        EXPECT_EQ(std::filesystem::file_size(file.Path()), 134 + 8 * a.N());
        std::ifstream in(file.Path(), std::ios::binary);
        for (const std::size_t n : {std::size_t{0}, std::size_t{511}, (std::size_t{1} << 23) - 1, a.N() - 1})
        {
            std::string bytes(8, '\0');
            in.seekg(static_cast<std::streamoff>(134 + 8 * n));
            in.read(bytes.data(), 8);
            EXPECT_EQ(Number(bytes, 0, 4), Bits(a.GetDataPointer()[n].Real())) << n;
            EXPECT_EQ(Number(bytes, 4, 4), Bits(a.GetDataPointer()[n].Imag())) << n;
        }
        Lumora g(1, 1);
        EXPECT_TRUE(SameBits(g.LoadLm(file.Path()), a));
    }
}
