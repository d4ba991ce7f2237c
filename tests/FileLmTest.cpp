// The LM container: every byte of the three file types against an independent writer, other writers' files, the state
// after a refusal, and the rules that callers meet. Broken saves are the faults program's, damaged files DamageTest's.

#include "TestTools.h"

#include <array>
#include <filesystem>
#include <limits>
#include <optional>

#include <unistd.h>

using namespace lmltest;

namespace
{
// ---- An independent writer ----------------------------------------------------------------------------------------

struct Head
{
    std::uint16_t form = 0;
    std::optional<std::uint64_t> place, samples; ///< where they stand, if not behind each other; place 0: there is none
    double wavelength = 632.8e-9;
    std::int32_t nx = 0, ny = 0;
    double px = 1e-6, py = 1e-6;
    std::uint16_t placeType = 4;
    Vector origin, normal{0, 0, 1}, unitX{1, 0, 0};
};

/// Data head and position head at position `at`.
std::string HeadBytes(const Head& h, std::uint64_t at)
{
    std::string s = Le(h.form, 2) + Le(h.place.value_or(at + 50), 8) + Le(h.samples.value_or(at + 132), 8) +
                    LeD(h.wavelength) + Le(static_cast<std::uint32_t>(h.nx), 4) +
                    Le(static_cast<std::uint32_t>(h.ny), 4) + LeD(h.px) + LeD(h.py) + Le(h.placeType, 2) + Le(0, 8);
    for (const Vector& v : {h.origin, h.normal, h.unitX})
        s += LeD(v.x) + LeD(v.y) + LeD(v.z);
    return s;
}

Head HeadOf(const Lumora& f)
{
    return {static_cast<std::uint16_t>(f.IsSpectrum() ? 1 : 0),
            {},
            {},
            6.283185307179586 / f.GetWavenumber(),
            f.GetNx(),
            f.GetNy(),
            f.GetPx(),
            f.GetPy(),
            4,
            f.GetOrigin(),
            f.GetNormalVector(),
            f.GetUnitVectorX()};
}

/// All parameters of a field, for comparison.
std::string Parameters(const Lumora& f)
{
    return HeadBytes(HeadOf(f), 0);
}

std::string SingleFile(const Lumora& f)
{
    return "LM" + HeadBytes(HeadOf(f), 2) + SampleBytes(f);
}

/// The fields of a file of parts, by index, in the order in which they were saved.
using Parts = std::vector<std::pair<int, const Lumora*>>;

std::string MultiPartFile(std::uint16_t count, const Parts& parts)
{
    std::string s = "LM" + Le(0x8000u | count, 2) + std::string(8u * count, '\0');
    for (const auto& [index, field] : parts)
    {
        s.replace(4 + 8 * static_cast<std::size_t>(index), 8, Le(s.size(), 8));
        s += HeadBytes(HeadOf(*field), s.size()) + SampleBytes(*field);
    }
    return s;
}

std::string SegmentedFile(std::uint16_t nx, std::uint16_t ny, const Head& head, const Parts& segments)
{
    const std::uint16_t n = static_cast<std::uint16_t>(nx * ny);
    std::string s = "LM" + Le(0xC000u | n, 2) + Le(12 + 8u * n, 8) + std::string(8u * n, '\0') + Le(5, 2) +
                    Le(12 + 8u * n + 14, 8) + Le(nx, 2) + Le(ny, 2);
    s += HeadBytes(head, s.size());
    for (const auto& [number, field] : segments)
    {
        s.replace(12 + 8 * static_cast<std::size_t>(number), 8, Le(s.size(), 8));
        s += SampleBytes(*field);
    }
    return s;
}

/// One part or one segment with any head and any bytes behind it.
std::string FileWithHead(bool segmented, const Head& h, const std::string& samples)
{
    if (!segmented)
        return "LM" + Le(0x8001, 2) + Le(12, 8) + HeadBytes(h, 12) + samples;
    std::string s = SegmentedFile(1, 1, h, {});
    return s.replace(12, 8, Le(s.size(), 8)) + samples;
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
    h.px = Lumora::GetDefaultPx();
    h.py = Lumora::GetDefaultPy();
    return h;
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

class FileLmTest : public ::testing::Test
{
protected:
    const ScratchFile file{"lm"};
    const char* const path = file.Path();
    bool exists = false;

    /// A failure of this code at the file, with a text behind the path.
    Failure At(const char* operation, int code, const std::string& text = "") const
    {
        return {code, std::string("LumoraLib::") + operation, Shown(path + (text.empty() ? text : " : " + text))};
    }
};
} // namespace

// ---- Bytes --------------------------------------------------------------------------------------------------------

TEST_F(FileLmTest, EveryByteOfTheThreeTypes)
{
    for (int form = 0; form < 4; ++form)
    {
        Lumora f = Sample(8, 4, 1);
        f.Form() = static_cast<ComplexForm>(form);
        f.SaveAsLm(path);
        EXPECT_EQ(file.Read(), SingleFile(f)) << form;
        f.SetWavelength(6.283185307179586 / f.GetWavenumber()).SetNormalVector(f.GetNormalVector()); // as stored
        for (int receiver = 0; receiver < 4; ++receiver)
        {
            Lumora g(2, 2);
            g.Form() = static_cast<ComplexForm>(receiver);
            EXPECT_EQ(&g.LoadLm(path), &g);
            EXPECT_TRUE(SameBits(f, g));
            EXPECT_EQ(g.Form(), (form & 1) | (receiver & 2));
            EXPECT_EQ(Parameters(g), Parameters(f));
            EXPECT_TRUE(SameRect(g.Window(), LML_RECT(0, 4, 8, 0)));
        }
    }

    const Lumora a = Sample(8, 4, 1), b = Sample(2, 16, 2), c = Sample(8, 4, 3);
    CreateFileMpLm(path, 5);
    EXPECT_EQ(file.Read(), MultiPartFile(5, {}));
    a.SaveAsMpLm(path, 3);
    b.SaveAsMpLm(path, 0);
    EXPECT_EQ(file.Read(), MultiPartFile(5, {{3, &a}, {0, &b}}));
    c.SaveAsMpLm(path, 3); // in place
    EXPECT_EQ(file.Read(), MultiPartFile(5, {{3, &c}, {0, &b}}));
    EXPECT_EQ(GetSizeMpLm(path), 5);
    CreateFileMpLm(path, 0);
    EXPECT_EQ(file.Read(), std::string("LM\0\x80", 4));

    CreateFileSegLm(path, 3, 2);
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, DefaultHead(), {}));
    a.SaveAsSegLm(path, 2, 1); // number 3 * 1 + 2
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &a}}));
    c.SaveAsSegLm(path, 1, 0);
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &a}, {1, &c}}));
    c.SaveAsSegLm(path, 2, 1); // in place
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(a), {{5, &c}, {1, &c}}));
    b.SaveParamSegLm(path); // no comparison of any kind
    EXPECT_EQ(file.Read(), SegmentedFile(3, 2, HeadOf(b), {{5, &c}, {1, &c}}));
    int nx = 0, ny = 0;
    EXPECT_EQ(GetSizeSegLm(path, nx, ny), 6);
    EXPECT_TRUE(nx == 3 && ny == 2);

    const Lumora before(1, 1);
    Lumora::SetDefault(64, 64, 3e-6, 4e-6, 405e-9);
    CreateFileSegLm(path, 1, 1);
    EXPECT_EQ(file.Read(), SegmentedFile(1, 1, DefaultHead(), {})) << "the defaults of the day";
    Lumora::SetDefault(256, 256, before.GetPx(), before.GetPy(), 632.8e-9);
}

TEST_F(FileLmTest, WindowWriterKeepsTheWholeHead)
{
    Lumora f = Sample(8, 8, 1);
    f.SetWindow(2, 5, 1, 7);
    f.WinSaveAsLm(path);
    EXPECT_EQ(file.Read(), "LM" + HeadBytes(HeadOf(f), 2) + SampleBytes(f, 2, 5, 1, 7));
    EXPECT_EQ(Catch([&] { Lumora(1, 1).LoadLm(path); }), At("Lumora::LoadLm", 5));
    // A window outside the grid, or reversed, stays inside the samples.
    f.Window() = LML_RECT(-100, 1 << 30, 1 << 30, -5);
    f.WinSaveAsLm(path);
    EXPECT_EQ(file.Read(), SingleFile(f));
    f.Window() = LML_RECT(5, 7, 2, 1);
    f.WinSaveAsLm(path);
    EXPECT_EQ(file.Read().size(), 134u);
}

TEST_F(FileLmTest, FilesOfOtherWriters)
{
    // Sizes that are not powers of two come to lie centred, rounded down, with zeros around them.
    const Lumora source = Sample(8, 16, 4);
    for (const auto& [nx, ny, x0, y0] : {std::array{3, 1, 0, 0}, std::array{5, 6, 1, 1}, std::array{4, 11, 0, 2}})
    {
        Head h;
        h.nx = nx;
        h.ny = ny;
        h.form = 2; // bit 1 is accepted and ignored
        file.Write("LM" + HeadBytes(h, 2) + SampleBytes(source, 0, nx, 0, ny));
        Lumora g(16, 16);
        FillRandom(g);
        g.LoadLm(path);
        EXPECT_EQ(g.Form(), 0);
        for (const auto [i, j] : Grid(g))
        {
            const bool inside = i >= x0 && i < x0 + nx && j >= y0 && j < y0 + ny;
            EXPECT_EQ(g.GetPixel(i, j), inside ? source.GetPixel(i - x0, j - y0) : Complex(0, 0)) << i << ' ' << j;
        }
        EXPECT_TRUE(SameRect(g.Window(), LML_RECT(0, g.GetNy(), g.GetNx(), 0)));
    }
    // No position head, and samples elsewhere.
    Head h;
    h.nx = 2;
    h.ny = 1;
    h.place = 0;
    h.samples = 2 + 132 + 5;
    file.Write("LM" + HeadBytes(h, 2) + "12345" + SampleBytes(source, 0, 2, 0, 1));
    Lumora g = Sample(4, 4, 9);
    const Vector origin = g.GetOrigin(), normal = g.GetNormalVector();
    g.LoadLm(path);
    EXPECT_EQ(g.GetReal(1, 0), source.GetReal(1, 0));
    EXPECT_TRUE(g.GetOrigin() == origin && g.GetNormalVector() == normal);
    // Normals are brought to unit length; one without a length becomes zero.
    for (const auto& [stored, expected] : {std::pair{Vector(0, 3, 4), Vector(0, 3.0 * (1.0 / 5), 4.0 * (1.0 / 5))},
                                           {Vector(0, 0, 0), Vector(0, 0, 0)},
                                           {Vector(kNan, 0, 1), Vector(0, 0, 0)}})
    {
        h = Head();
        h.nx = h.ny = 1;
        h.normal = stored;
        file.Write("LM" + HeadBytes(h, 2) + SampleBytes(source, 0, 1, 0, 1));
        g.LoadLm(path);
        EXPECT_EQ(g.GetNormalVector().x, expected.x);
        EXPECT_EQ(g.GetNormalVector().y, expected.y);
        EXPECT_EQ(g.GetNormalVector().z, expected.z);
    }
    // A file without samples leaves a caller's buffer attached; one with too many is refused.
    h = Head();
    h.ny = 7;
    alignas(16) Complex buffer[4];
    Lumora onBuffer(0, 0);
    onBuffer.SetNx(2).SetNy(2).Init(buffer);
    Sample(4, 4, 1).SaveAsLm(path);
    EXPECT_EQ(Catch([&] { onBuffer.LoadLm(path); }),
              (Failure{1, "LumoraLib::Lumora::Init", "User-Defined buffer is too small"}));
    EXPECT_EQ(onBuffer.GetNx(), 2);
    file.Write("LM" + HeadBytes(h, 2));
    onBuffer.LoadLm(path);
    EXPECT_EQ(onBuffer.GetDataPointer(), buffer);
    EXPECT_EQ(onBuffer.GetNy(), 7);
}

TEST_F(FileLmTest, PartsComeBackInAnyOrder)
{
    CreateFileMpLm(path, 4);
    const Lumora parts[] = {Sample(4, 4, 1), Sample(8, 2, 2), Sample(1, 1, 3)};
    for (const int n : {2, 0, 1})
        parts[n].SaveAsMpLm(path, static_cast<std::uint16_t>(n));
    for (std::uint16_t n = 0; n < 3; ++n)
    {
        Lumora g(2, 2);
        exists = false;
        g.LoadMpLm(path, n, &exists);
        EXPECT_TRUE(exists && SameBits(g, parts[n])) << n;
        exists = false;
        Lumora p(2, 2);
        p.LoadParamMpLm(path, n, &exists);
        EXPECT_TRUE(exists && Parameters(p) == Parameters(g)) << n;
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
    exists = true;
    EXPECT_FALSE((g.LoadMpLm(path, 3, &exists), exists));
    exists = true;
    EXPECT_FALSE((g.LoadParamMpLm(path, 3, &exists), exists));
    g.LoadMpLm(path, 3, nullptr).LoadParamMpLm(path, 3, nullptr);
    EXPECT_TRUE(SameBits(g, before));
    EXPECT_EQ(Parameters(g), Parameters(before));
}

TEST_F(FileLmTest, SegmentsKnowTheirPlace)
{
    // The displacement from the centre of the grid, the window that stays, the odd centre.
    for (const auto& [nx, ny] : {std::pair<int, int>{3, 3}, {2, 4}, {1, 1}})
    {
        CreateFileSegLm(path, static_cast<std::uint16_t>(nx), static_cast<std::uint16_t>(ny));
        Lumora u = Sample(8, 4, 1);
        const Vector o = u.GetOrigin();
        for (int iy = ny - 1; iy >= 0; --iy)
            for (int ix = 0; ix < nx; ++ix)
            {
                FillRandom(u, static_cast<std::uint32_t>(10 * ix + iy));
                u.SetOrigin(ix == 0 && iy == ny - 1 ? o : Vector(9, 9, 9)); // only the first one counts
                u.SaveAsSegLm(path, static_cast<std::uint16_t>(ix), static_cast<std::uint16_t>(iy));
            }
        for (std::uint16_t iy = 0; iy < ny; ++iy)
            for (std::uint16_t ix = 0; ix < nx; ++ix)
            {
                Lumora v(2, 2);
                v.LoadSegLm(path, ix, iy, &exists);
                FillRandom(u, 10u * ix + iy);
                EXPECT_TRUE(exists && SameBits(u, v)) << ix << ' ' << iy;
                EXPECT_EQ(v.GetOrigin().x, o.x + 8 * 2e-6 * (ix - (nx - 1) / 2.0));
                EXPECT_EQ(v.GetOrigin().y, o.y + 4 * 3e-6 * (iy - (ny - 1) / 2.0));
                EXPECT_EQ(v.GetOrigin().z, o.z);
                EXPECT_EQ(v.Window().right, 2); // the window is the old one
                Lumora p(2, 2);
                p.LoadParamSegLm(path, ix, iy, nullptr);
                EXPECT_EQ(Parameters(p), Parameters(v));
            }
    }
    // A smaller segment than the window of the field that receives it: window loops stay inside.
    Lumora w(16, 16);
    w.LoadSegLm(path, 0, 0, nullptr);
    EXPECT_EQ(w.Window().right, 16);
    w.SetConstWin(Complex(1.0, 2.0));
    w.WinSaveAsLm(path);
    EXPECT_EQ(file.Read(), SingleFile(w));
}

TEST_F(FileLmTest, OddRulesThatCallersMeet)
{
    // The result of a segment's parameter load is read at byte 12 + ix + iy nx: astride entries but for (0, 0).
    const Lumora a = Sample(2, 2, 1);
    CreateFileSegLm(path, 4, 4);
    a.SaveAsSegLm(path, 0, 0);
    Lumora p(2, 2);
    EXPECT_TRUE((p.LoadParamSegLm(path, 0, 0, &exists), exists));
    EXPECT_TRUE((p.LoadParamSegLm(path, 1, 0, &exists), exists)) << "byte 13 is the second one of entry 0";
    EXPECT_FALSE((p.LoadParamSegLm(path, 2, 0, &exists), exists));
    EXPECT_FALSE((p.LoadSegLm(path, 1, 0, &exists), exists));
    // A grid whose product of 16 bits is zero has no table: the record stands where the entries would.
    CreateFileSegLm(path, 256, 256);
    std::string s = file.Read();
    EXPECT_EQ(s.size(), 158u);
    EXPECT_EQ(s.substr(2, 12), Le(0xC000u, 2) + Le(12, 8) + Le(5, 2));
    int nx = 0, ny = 0;
    EXPECT_EQ(GetSizeSegLm(path, nx, ny), 0);
    EXPECT_EQ(nx, 256);
    EXPECT_EQ(Catch([&] { p.LoadSegLm(path, 0, 0, &exists); }).code, 0); // the common head's sizes are zero
    EXPECT_TRUE(exists);
    EXPECT_EQ(Catch([&] { a.SaveAsSegLm(path, 0, 0); }).code, 5);
    EXPECT_EQ(file.Read(), s);
    // Entry positions wrap around in 32 bits.
    EXPECT_EQ(Catch([&] { CreateFileSegLm(path, 65535, 1); }).code, 3);
    EXPECT_EQ(file.Read().size(), 0u); // refused, and emptied
    s = SegmentedFile(1, 1, DefaultHead(), {});
    file.Write(s.replace(12 + 8 + 10, 4, "\xff\xff\xff\xff"));
    EXPECT_EQ(Catch([&] { p.LoadSegLm(path, 65534, 65534, &exists); }).code, 5);
    // Limits of the counts.
    CreateFileMpLm(path, 16383);
    EXPECT_EQ(GetSizeMpLm(path), 16383);
    EXPECT_EQ(Catch([&] { CreateFileMpLm(path, 16384); }).code, 3);
    CreateFileSegLm(path, 127, 129); // 16383
    EXPECT_EQ(file.Read().size(), 158u + 8 * 16383);
    Derived d(8, 4);
    d.SetPx(2.0).SetPy(3.0);
    EXPECT_EQ(d.GetDispSegLm(2, 0, 4, 3), Vector(8 * 2.0 * 0.5, 4 * 3.0 * -1.0, 0.0));
}

// ---- Refusals: what the table of all failures does not tell apart -------------------------------------------------

TEST_F(FileLmTest, FilesOfAnotherTypeAndIndicesBeyondTheTable)
{
    const Lumora a = Sample(4, 4, 1);
    std::uint16_t n = 0, m = 0;
    int nx, ny;
    Lumora g(2, 2);
    struct Row
    {
        const char* operation;
        bool segmented, indexed;
        std::function<void()> call;
    };
    // clang-format off
    const Row rows[] = {{"Lumora::LoadMpLm", false, true, [&] { g.LoadMpLm(path, n, nullptr); }},
                        {"Lumora::LoadParamMpLm", false, true, [&] { g.LoadParamMpLm(path, n, nullptr); }},
                        {"Lumora::SaveAsMpLm", false, true, [&] { a.SaveAsMpLm(path, n); }},
                        {"GetSizeMpLm", false, false, [&] { GetSizeMpLm(path); }},
                        {"Lumora::LoadSegLm", true, true, [&] { g.LoadSegLm(path, n, m, nullptr); }},
                        {"Lumora::LoadParamSegLm", true, true, [&] { g.LoadParamSegLm(path, n, m, nullptr); }},
                        {"Lumora::SaveAsSegLm", true, true, [&] { a.SaveAsSegLm(path, n, m); }},
                        {"GetSizeSegLm", true, false, [&] { GetSizeSegLm(path, nx, ny); }},
                        {"Lumora::SaveParamSegLm", true, false, [&] { a.SaveParamSegLm(path); }}};
    // clang-format on
    const std::string multi = MultiPartFile(2, {{0, &a}}), segmented = SegmentedFile(2, 3, HeadOf(a), {{0, &a}});
    for (const Row& row : rows)
    {
        const auto refuses = [&](const std::string& bytes, int code, const char* text)
        {
            file.Write(bytes);
            EXPECT_EQ(Catch(row.call), At(row.operation, code, text));
            EXPECT_EQ(file.Read(), bytes) << row.operation;
        };
        n = m = 0;
        refuses(std::string(99, 'L'), 2, "this is not LM format");
        if (row.segmented)
            refuses(multi, 2, "this is a not segmented LM file");
        else
        {
            refuses(SingleFile(a), 2, "this is a single-part LM file");
            refuses(segmented, 2, "this is segmentation-type LM file");
        }
        for (const auto& [i, j] : {std::pair{2, 0}, {0, 3}, {65535, 65535}})
        {
            n = static_cast<std::uint16_t>(i);
            m = static_cast<std::uint16_t>(j);
            if (row.indexed && (row.segmented || n != 0))
                refuses(row.segmented ? segmented : multi, 3, "index is too large");
        }
    }
    // A file cut inside its table must not get a part where entries belong.
    for (std::size_t length = 12; length < 20; ++length)
    {
        file.Write(MultiPartFile(2, {}).substr(0, length));
        EXPECT_EQ(Catch([&] { a.SaveAsMpLm(path, 0); }).code, 5) << length;
    }
}

TEST_F(FileLmTest, SegmentsAgreeWithTheCommonHead)
{
    const Lumora a = Sample(4, 4, 1);
    CreateFileSegLm(path, 2, 2);
    a.SaveAsSegLm(path, 0, 0);
    const std::string before = file.Read();
    const auto tilt = [](Lumora& f, double d)
    {
        f.SetNormalVector(f.GetNormalVector() + Vector(d, 0.0, 0.0));
    };
    // Exactly, but for the normal.
    // clang-format off
    const std::function<void(Lumora&)> refused[] = {
        [](Lumora& f) { f = Sample(8, 4, 1); },
        [](Lumora& f) { f = Sample(4, 8, 1); },
        [](Lumora& f) { f.SetPx(std::nextafter(f.GetPx(), 1.0)); },
        [](Lumora& f) { f.SetPy(f.GetPy() * 2.0); },
        [](Lumora& f) { f.SetWavelength(533e-9); },
        [&](Lumora& f) { f.SetPx(kNan); },
        [&](Lumora& f) { f.SetWavenumber(kNan); },
        [&](Lumora& f) { tilt(f, 3e-6); },
    };
    // clang-format on
    for (const auto& change : refused)
    {
        Lumora f = a;
        change(f);
        EXPECT_EQ(Catch([&] { f.SaveAsSegLm(path, 1, 1); }),
                  At("Lumora::SaveAsSegLm", 3, "Saved data is not compatible with exist file segment"));
    }
    EXPECT_EQ(file.Read(), before);
    Lumora f = a;
    tilt(f, 5e-7);
    f.SetOrigin(Vector(7, 7, 7)).Form() = SPECTRUM;
    EXPECT_EQ(Catch([&] { f.SaveAsSegLm(path, 1, 1); }).code, 0);
    CreateFileSegLm(path, 2, 1);
    for (const std::int32_t ny : {0, 4})
        EXPECT_EQ(Catch([&] { Lumora(0, ny).SaveAsSegLm(path, 0, 0); }).code, 6) << "no samples";
    Lumora g = a;
    EXPECT_EQ(Catch([&] { g.LoadParamSegLm(path, 0, 0, nullptr); }).code, 3) << "no segment yet";
    EXPECT_EQ(Parameters(g), Parameters(a));
}

TEST_F(FileLmTest, WrongHeadsLeaveTheField)
{
    const Lumora a = Sample(4, 4, 1);
    const std::int32_t most = std::numeric_limits<std::int32_t>::max(), least = -most - 1;
    struct Row
    {
        std::function<void(Head&)> change;
        const char* text; // for the load of samples
        const char* parameterText;
        int code = 5;
        bool parametersToo = true;
    };
    // clang-format off
    const Row rows[] = {
        {[](Head& h) { h.form = 4; }, "multi-part/segmentation type LM format", "abnormal LM format or broken file", 2},
        {[](Head& h) { h.form = 0xffff; }, "multi-part/segmentation type LM format",
         "abnormal LM format or broken file", 2},
        {[](Head& h) { h.placeType = 3; }, "unspported optional head : %s", "unspported optional head"},
        {[](Head& h) { h.place = 1ull << 63; }, "seek error", "seek error"},
        {[](Head& h) { h.place = 1ull << 40; }, "", ""},
        {[](Head& h) { h.nx = -4; }, "", ""},
        {[=](Head& h) { h.nx = least, h.ny = 0; }, "", ""},
        {[=](Head& h) { h.nx = 0, h.ny = least; }, "", ""},
        {[=](Head& h) { h.nx = h.ny = -most; }, "", ""},
        // Sizes and the place of samples that are not read.
        {[=](Head& h) { h.nx = most, h.ny = 0; }, "", "", 5, false},
        {[=](Head& h) { h.nx = h.ny = most; }, "", "", 5, false},
        {[](Head& h) { h.nx = h.ny = 65536; }, "", "", 5, false},
        {[](Head& h) { h.nx = h.ny = 4097; }, "", "", 5, false},
    };
    // clang-format on
    for (const Row& row : rows)
        for (const bool segmented : {false, true})
        {
            Head h = HeadOf(a);
            h.form = 1;
            row.change(h);
            file.Write(FileWithHead(segmented, h, SampleBytes(a)));
            Lumora g = Sample(2, 2, 5);
            g.SetWindow(0, 1, 0, 1);
            const Lumora before = g;
            const Failure samples =
                Catch([&] { segmented ? g.LoadSegLm(path, 0, 0, nullptr) : g.LoadMpLm(path, 0, nullptr); });
            EXPECT_EQ(samples, segmented ? At("Lumora::LoadSegLm", row.code, row.parameterText)
                                         : At("Lumora::LoadMpLm", row.code, row.text));
            EXPECT_TRUE(SameBits(g, before));
            const Failure parameters =
                Catch([&] { segmented ? g.LoadParamSegLm(path, 0, 0, nullptr) : g.LoadParamMpLm(path, 0, nullptr); });
            if (!row.parametersToo)
                continue;
            EXPECT_EQ(parameters,
                      At(segmented ? "Lumora::LoadParamSegLm" : "Lumora::LoadParamMpLm", row.code, row.parameterText));
            EXPECT_EQ(Parameters(g), Parameters(before));
            EXPECT_EQ(g.Window().right, 1);
        }
    // Samples behind the end, or that nobody can seek to: the parameters are the file's by then or not, the code is 5.
    for (const std::uint64_t place : {1ull << 63, 1ull << 40})
    {
        Head h = HeadOf(a);
        h.samples = place;
        file.Write(FileWithHead(false, h, SampleBytes(a)));
        EXPECT_EQ(Catch([&] { Lumora(2, 2).LoadMpLm(path, 0, nullptr); }),
                  At("Lumora::LoadMpLm", 5, place >> 63 != 0 ? "seek error" : ""));
    }
}

TEST_F(FileLmTest, CutSamplesLeaveWhatIsThereAndZeros)
{
    const Lumora a = Sample(4, 4, 1);
    for (const auto& kind : {std::pair{false, 4}, {false, 3}, {true, 4}})
    {
        const bool segmented = kind.first;
        const int nx = kind.second;
        Head h = HeadOf(a);
        h.form = 1;
        h.nx = nx;
        file.Write(FileWithHead(segmented, h, SampleBytes(a).substr(0, 8 * 7 + 5)));
        Lumora g = Sample(8, 8, 6);
        EXPECT_EQ(Catch([&] { segmented ? g.LoadSegLm(path, 0, 0, nullptr) : g.LoadMpLm(path, 0, nullptr); }).code, 5);
        EXPECT_EQ(g.Form(), SPECTRUM);
        EXPECT_EQ(g.GetNx(), 4);
        EXPECT_EQ(g.Window().right, segmented ? 8 : 4);
        for (const auto [i, j] : Grid(4, 4))
        {
            const int n = nx * j + i; // in the file
            EXPECT_EQ(g.GetPixel(i, j), i < nx && n < 7 ? a.GetDataPointer()[n] : Complex(0, 0)) << i << ' ' << j;
        }
    }
}

TEST_F(FileLmTest, LongPathsAndTheFailurePathItself)
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
    std::string longPath = LML_SCRATCH_DIR;
    for (int n = 0; n < 200; ++n)
        longPath += "/.";
    longPath += "/long.lm";
    const Lumora a = Sample(2, 2, 1);
    a.SaveAsLm(longPath.c_str());
    EXPECT_TRUE(SameBits(Lumora(1, 1).LoadLm(longPath.c_str()), a));
    std::remove(longPath.c_str());
    EXPECT_EQ(Catch([&] { Lumora(1, 1).LoadLm(longPath.c_str()); }).message, Shown(longPath));
    EXPECT_EQ(Catch([&] { Lumora(1, 1).LoadLm(nullptr); }), (Failure{2, "LumoraLib::Lumora::LoadLm", ""}));
}

TEST_F(FileLmTest, DerivedClassesKeepTheirStreams)
{
    Derived d(2, 2);
    FillRandom(d);
    _LM_File record{};
    std::strcpy(record.path, path);
    std::strcpy(record.function, "Derived::Store");
    record.stream = std::fopen(path, "w+b");
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
    EXPECT_EQ(Catch([&] { e.LoadParamMpLm(record); }), (Failure{5, "Derived::Store", Shown(path)}));
    std::rewind(record.stream);
    EXPECT_EQ(std::fgetc(record.stream), '1');
    EXPECT_EQ(std::fclose(record.stream), 0);

    CreateFileSegLm(path, 2, 2);
    d.SaveAsSegLm(path, 0, 0);
    record.stream = std::fopen(path, "rb");
    std::int64_t headAt = 0;
    EXPECT_TRUE(e.LoadParamSegLm(record, 0, 0, &headAt));
    EXPECT_EQ(headAt, 12 + 32 + 14);
    std::fclose(record.stream);
}

TEST_F(FileLmTest, PartsBeyondFourGiB)
{
    const Lumora a = Sample(4, 4, 1), b = Sample(4, 4, 2);
    CreateFileMpLm(path, 2);
    const off_t far = (off_t{5} << 30) + 3;
    if (truncate(path, far) != 0) // a hole: takes no room
        GTEST_SKIP() << "no sparse files here";
    a.SaveAsMpLm(path, 1);
    b.SaveAsMpLm(path, 0);
    b.SaveAsMpLm(path, 1);
    a.SaveAsMpLm(path, 1);
    Lumora g(1, 1);
    EXPECT_TRUE(SameBits(g.LoadMpLm(path, 1, nullptr), a));
    EXPECT_TRUE(SameBits(g.LoadMpLm(path, 0, nullptr), b));
    std::ifstream in(path, std::ios::binary);
    std::string head(20, '\0');
    in.read(head.data(), 20);
    EXPECT_EQ(head.substr(12, 8), Le(static_cast<std::uint64_t>(far), 8));
    EXPECT_EQ(std::filesystem::file_size(path), static_cast<std::uint64_t>(far) + 2 * (132 + 128));
}
