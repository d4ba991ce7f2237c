// Life cycle of a field, coordinates, window, form stack, and what happens when sizes and samples disagree.
#include "TestTools.h"

#include <utility>

using namespace lmltest;

namespace
{
const Failure kTooSmall{1, "LumoraLib::Lumora::Init", "User-Defined buffer is too small"};
} // namespace

TEST(Basic, SizesAreRaisedToPowersOfTwo)
{
    const int table[][4] = {{300, 200, 512, 256}, {1, 1, 1, 1},   {1024, 1, 1024, 1}, {-3, 3, 1, 4},
                            {3, -3, 4, 1},        {-2, -2, 1, 1}, {64, 65, 64, 128}};
    for (const auto& t : table)
    {
        Lumora f(t[0], t[1]);
        EXPECT_EQ(f.GetNx(), t[2]);
        EXPECT_EQ(f.GetNy(), t[3]);
        EXPECT_EQ(f.N(), static_cast<std::size_t>(t[2]) * static_cast<std::size_t>(t[3]));
        EXPECT_TRUE(WindowIs(f, 0, t[2], 0, t[3]));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(f.GetDataPointer()) % 64, 0u);
    }
    Lumora empty(0, 5);
    EXPECT_EQ(empty.GetNx(), 0);
    EXPECT_EQ(empty.GetNy(), 5);
    EXPECT_EQ(empty.GetDataPointer(), nullptr);
    EXPECT_TRUE(WindowIs(empty, 0, 0, 0, 5));
}

#ifndef NDEBUG
TEST(Basic, NewSamplesAreSignallingInDebugBuilds)
{
    Lumora f(4, 4);
    f.SetNx(1 << 17).SetNy(8); // the new samples behind the old ones, on huge pages
    f[0] = Complex();
    f.Init(nullptr);
    for (const std::size_t n : {std::size_t{1}, std::size_t{16}, f.N() - 1})
        EXPECT_EQ(Bits(f[n].Real()) & Bits(f[n].Imag()), 0x7fa00000u) << n;
    EXPECT_TRUE(f[0] == Complex());
    EXPECT_TRUE(std::isnan(f.GetSquareSumWhole()));
}
#endif

TEST(Basic, ConstructorsAndDefaults)
{
    Lumora f;
    EXPECT_EQ(f.GetNx(), 256);
    EXPECT_EQ(f.GetPy(), 1e-6);
    EXPECT_EQ(f.k(), 6.283185307179586 / 632.8e-9);
    EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
    EXPECT_EQ(f.GetNormalVector().z, 1.0);
    Lumora::SetDefault(16, 30, 2e-6, 3e-6, 5e-7);
    Lumora g;
    Lumora h(8);
    EXPECT_EQ(g.GetNy(), 32);
    EXPECT_EQ(Lumora::GetDefaultNy(), 30); // defaults are stored as given
    EXPECT_EQ(g.GetPy(), 3e-6);
    EXPECT_EQ(h.GetPx(), 2e-6);
    EXPECT_DOUBLE_EQ(h.lambda(), 5e-7);
    h.k() = 6.283185307179586 / 6e-7;
    EXPECT_DOUBLE_EQ(h.GetWavelength(), 6e-7);
    const auto are = [](int nx, int ny, double px, double py)
    {
        return Lumora::GetDefaultNx() == nx && Lumora::GetDefaultNy() == ny && Lumora::GetDefaultPx() == px &&
               Lumora::GetDefaultPy() == py && Lumora::GetDefaultWavelength() == 5e-7;
    };
    EXPECT_TRUE((Lumora::SetDefault(4), are(4, 4, 2e-6, 3e-6)));
    EXPECT_TRUE((Lumora::SetDefault(8, 16), are(8, 16, 2e-6, 3e-6)));
    EXPECT_TRUE((Lumora::SetDefault(1, 2, 5e-6), are(1, 2, 5e-6, 5e-6)));
    EXPECT_TRUE((Lumora::SetDefault(2, 4, 6e-6, 7e-6), are(2, 4, 6e-6, 7e-6)));
    Lumora::SetDefaultNx(32), Lumora::SetDefaultNy(64), Lumora::SetDefaultPx(8e-6), Lumora::SetDefaultPy(9e-6);
    EXPECT_TRUE(are(32, 64, 8e-6, 9e-6));
    Lumora::SetDefault(256, 256, 1e-6, 1e-6, 5e-7);
    Lumora::SetDefaultWavelength(632.8e-9);
    EXPECT_EQ(Lumora().GetWavelength(), 632.8e-9);
    EXPECT_EQ(g.GetPx(), 2e-6);
    EXPECT_EQ(g.SetNormalVector(Vector(0, 3, 4)).GetNormalVector().z, 4 * (1.0 / 5.0));
    EXPECT_EQ(g.SetNormalVector(Vector(0, 0, 0)).GetNormalVector().GetLength(), 0.0);
}

TEST(Basic, InitRefusesWhatDoesNotFit)
{
    // Products beyond 64 bits of bytes are announced as the largest number that the text can carry.
    const struct
    {
        int nx, ny, nyAfter;
        const char* bytes;
    } table[] = {{INT_MAX, 1, 1, "17179869184"},
                 {(1 << 30) + 1, 3, 3, "68719476736"},
                 {INT_MAX, INT_MAX, INT_MAX, "9223372036854775807"},
                 {1 << 30, (1 << 26) - 1, 1 << 26, "576460752303423488"}};
    for (const auto& t : table)
    {
        Lumora f(4, 4);
        f.SetConst(Complex(7.0, 8.0));
        f.SetNx(t.nx).SetNy(t.ny);
        EXPECT_EQ(Catch([&] { f.Init(nullptr); }).message,
                  std::string("Memory allocation failed : Demanded bytes = ") + t.bytes);
        EXPECT_EQ(f.GetNx(), t.nx);
        EXPECT_EQ(f.GetNy(), t.nyAfter);
        EXPECT_EQ(Catch([&] { f.Normalize(1.0); }).code, 6);
        EXPECT_EQ(f[15].Imag(), 8.0f);
    }
}

TEST(Basic, OwnedBufferKeepsLeadingSamples)
{
    Lumora f(4, 2);
    FillRandom(f, 3);
    const Lumora original(f);
    Complex* const block = f.GetDataPointer();
    f.SetNx(3);
    f.Init(nullptr);
    EXPECT_EQ(f.GetNx(), 4);
    EXPECT_EQ(f.GetDataPointer(), block);   // unchanged sizes keep the block
    for (const int ny : {1024, 1 << 18, 2}) // small, on huge pages, back
    {
        f.SetNy(ny);
        f.Init(nullptr);
        for (std::size_t n = 0; n < 8; ++n)
            EXPECT_TRUE(f[n] == original.GetDataPointer()[n]) << ny;
    }
    f.SetNx(0);
    f.Init(nullptr);
    EXPECT_NE(f.GetDataPointer(), nullptr); // a zero size keeps an owned buffer
    f.SetNx(4);
    f.Dispose();
    EXPECT_EQ(f.GetDataPointer(), nullptr);
    EXPECT_EQ(f.GetNx(), 4);
    f.Clear();
    f.Init(nullptr);
    EXPECT_EQ(Catch([&] { f.Clear(); }).code, 0);
    Lumora one(1, 1);
    one.Dispose(); // has no room for a single sample either
    EXPECT_EQ(Catch([&] { one.GetSquareSum(); }).code, 6);
}

TEST(Basic, CallersBuffer)
{
    Complex* const memory = static_cast<Complex*>(Malloc(64 * sizeof(Complex), "test"));
    Lumora f(0, 0);
    f.SetNx(7).SetNy(8).Init(memory);
    EXPECT_EQ(f.GetNx(), 8);
    f.SetConst(Complex(2.0, 0.0));
    f.Dispose();
    EXPECT_EQ(memory[63].Real(), 2.0f);
    EXPECT_EQ(f.GetDataPointer(), memory);
    Lumora copy(f);
    EXPECT_NE(copy.GetDataPointer(), memory);
    EXPECT_TRUE(SameBits(copy, f));
    for (const int nx : {16, INT_MAX})
    {
        f.SetNx(nx);
        EXPECT_EQ(Catch([&] { f.Init(nullptr); }), kTooSmall);
        EXPECT_EQ(Catch([&] { f.SetConst(Complex()); }).code, 6);
    }
    f.SetNx(4).Init(nullptr); // fits: stays on the buffer
    f = Lumora(2, 2);
    EXPECT_EQ(f.GetDataPointer(), memory);
    f.SetNy(0).Init(nullptr); // gives the caller's buffer back through Free
    EXPECT_EQ(f.GetDataPointer(), nullptr);
    f.SetNx(16).SetNy(16).Init(nullptr); // and owns its samples from here on
    EXPECT_EQ(f.Clear()[255].Real(), 0.0f);
}

TEST(Basic, CopiesAreDeepAndStayInsideTheSource)
{
    Lumora f(8, 4, 2e-6, 3e-6, 5e-7);
    FillRandom(f);
    f.SetWindow(1, 3, 1, 2).SetOrigin(Vector(1, 2, 3)).SetNormalVector(Vector(1, 0, 0));
    f.Form() = POLAR_SPECTRUM;
    Lumora g(16, 16);
    g = f;
    EXPECT_TRUE(SameBits(f, g));
    EXPECT_EQ(Frame(g), Frame(f));
    g[0] = Complex(100.0, 0.0);
    EXPECT_NE(f[0].Real(), 100.0f);
    Lumora& self = g;
    g = self;
    EXPECT_EQ(g[0].Real(), 100.0f);

    // Sizes without samples: what the source does not hold comes out as zeros, by both kinds of copy.
    f.SetNy(8);
    Lumora constructed(f);
    Lumora assigned(8, 8);
    assigned.SetConst(Complex(5.0, 5.0));
    assigned = f;
    Lumora data(2, 2);
    data.CopyData(f);
    for (Lumora* const h : {&constructed, &assigned, &data})
    {
        EXPECT_EQ(h->GetNy(), 8);
        EXPECT_TRUE((*h)[31] == f[31]);
        EXPECT_TRUE((*h)[32] == Complex());
        EXPECT_TRUE((*h)[63] == Complex());
    }
    // Sizes that no memory holds: the target stays whole.
    f.SetNx(1 << 30).SetNy(1 << 30);
    const Lumora before(data);
    EXPECT_EQ(Catch([&] { data = f; }).code, 1);
    EXPECT_EQ(Catch([&] { data.CopyData(f); }).code, 1);
    EXPECT_TRUE(SameBits(data, before));
    // A target whose sizes are equal but whose buffer is smaller, or is not there, gets room first.
    for (const bool disposed : {false, true})
    {
        Lumora small(2, 2);
        small.SetNx(8).SetNy(8);
        if (disposed)
            small.Dispose();
        small = constructed;
        EXPECT_TRUE(SameBits(small, constructed));
    }
}

TEST(Basic, Moves)
{
    Lumora f(8, 8);
    FillRandom(f);
    const Lumora copy(f);
    Complex* const block = f.GetDataPointer();
    Lumora g(std::move(f)), h(2, 2);
    h = std::move(g);
    EXPECT_EQ(h.GetDataPointer(), block);
    EXPECT_TRUE(SameBits(h, copy));
    for (Lumora* const moved : {&f, &g})
    {
        EXPECT_EQ(moved->N(), 0u);
        EXPECT_EQ(moved->GetDataPointer(), nullptr);
        EXPECT_TRUE(WindowIs(*moved, 0, 0, 0, 0));
        moved->SetNx(4).SetNy(4).Init(nullptr);
        moved->SetConst(Complex(1.0, 1.0));
    }
    Fenced user(8, 8); // on a caller's buffer the assignment copies
    Complex* const memory = user.field.GetDataPointer();
    user.field = std::move(h);
    EXPECT_EQ(user.field.GetDataPointer(), memory);
    EXPECT_TRUE(SameBits(h, copy));
    f = std::move(user.field);
    EXPECT_NE(f.GetDataPointer(), memory);
    EXPECT_TRUE(SameBits(f, copy));
}

TEST(Basic, EmptyFieldsPassThroughEverything)
{
    for (const auto& [nx, ny] : {std::pair{0, 0}, {0, 5}, {5, 0}})
    {
        Lumora f(nx, ny);
        f.SetConst(Complex(1, 1)).SetConstWinPhase(1).ConvToIntensity().Normalize(1).NormalizeWin(1);
        f.Form() = COMPLEX_AMPLITUDE;
        f.SwitchQuadrant().AsmProp(1).ExactAsmProp(1).FresnelProp(1).FourierProp(1)._Old_SPWProp(1);
        f.Fft(-1).RawAsmPropFs(1).AsmPropFs(1).SPWPropFsTbl(1, TrigTable(2)).Fft(1);
        f.Embed(1).Extract(1).ImageRotation(1).ImageRotation(2).ImageRotation(3);
        Lumora g(f);
        g += f;
        EXPECT_EQ(g.CopyData(f).N(), 0u);
    }
}

TEST(Basic, Coordinates)
{
    Lumora f(8, 4, 1.0, 0.5);
    EXPECT_EQ(f.X(0), -4.0);
    EXPECT_EQ(f.itox(4), 0.0);
    EXPECT_EQ(f.X(7), 3.0);
    EXPECT_EQ(f.Y(3), 0.5);
    EXPECT_EQ(f.GetMinX(), -4.0);
    EXPECT_EQ(f.GetMaxX(), 4.0);
    EXPECT_EQ(f.GetMinY(), -1.0);
    EXPECT_EQ(f.GetWidth(), 8.0);
    EXPECT_EQ(f.GetHeight(), 2.0);
    EXPECT_EQ(f.IJ(3, 2), 19u);
    EXPECT_EQ(Lumora(1, 1, 1.0).X(0), 0.0);
    const std::pair<double, int> indices[] = {{-0.5, 4},           {0.49, 4},          {0.5, 5},
                                              {100.0, 104},        {-100.0, -96},      {1e10, INT_MIN + 4},
                                              {kInf, INT_MIN + 4}, {NAN, INT_MIN + 4}, {-kInf, INT_MIN + 4}};
    for (const auto& t : indices)
    {
        EXPECT_EQ(f.I(t.first), t.second) << t.first;
        // Clamped as a number: no index needs to hold it.
        EXPECT_EQ(f._xtoi(t.first), t.first >= 4.0 ? 8 : std::clamp(t.second, 0, 8)) << t.first;
        EXPECT_EQ(f._ytoj(t.first), t.first >= 1.0 ? 4 : t.first > -1.0 ? f.J(t.first) : 0) << t.first;
    }
    EXPECT_EQ(f.J(0.25), 3);
}

TEST(Basic, AccessorsNeverLookAtTheForm)
{
    Lumora f(4, 2);
    f.Clear().Form() = POLAR_AMPLITUDE;
    f.SetPixel(3, 1, Complex(3.0, 4.0));
    EXPECT_TRUE(f[7] == Complex(3.0, 4.0));
    EXPECT_EQ(f.GetAmplitude(3, 1), 5.0);
    EXPECT_EQ(f.Intensity(3, 1), 25.0);
    EXPECT_EQ(double(f.GetPhase(3, 1)), std::atan2(4.0, 3.0));
    f.SetAmplitude(3, 1, 10.0);
    EXPECT_FLOAT_EQ(f.Real(3, 1), 6.0f);
    f.SetPhase(3, 1, 0.0).SetPhase(3, 1, 0.0);
    EXPECT_FLOAT_EQ(f.Real(3, 1), 10.0f);
    EXPECT_EQ(f.SetIntensity(0, 0, 0.0).GetReal(0, 0), 0.0);
    // The imaginary part is squared in single precision, the real part is not.
    EXPECT_EQ(f.SetPixel(0, 0, Complex(1e30, 0)).Intensity(0, 0), double(1e30f) * double(1e30f));
    EXPECT_TRUE(std::isinf(f.SetPixel(0, 0, Complex(0, 1e30)).Intensity(0, 0)));
}

TEST(Basic, Windows)
{
    const Failure outside{3, "LumoraLib::Lumora::SetWindow", ""};
    Lumora f(8, 16, 1.0);
    EXPECT_TRUE(WindowIs(f.SetWindow(3, 3, 5, 5), 3, 4, 5, 6));
    EXPECT_TRUE(WindowIs(f.SetWindow(LML_RECT(3, 5, 3, 5)), 3, 3, 5, 5));
    EXPECT_TRUE(WindowIs(f.SetWindow(6, 2, 9, 1), 6, 2, 9, 1)); // reversed bounds pass
    EXPECT_TRUE(WindowIs(f.SetWindow(-2.4, 1.6, -8.0, 8.0), 2, 6, 0, 16));
    const int bad[][4] = {{0, 9, 0, 1},  {8, 8, 0, 1},  {-1, 2, 0, 1},
                          {0, 1, -1, 1}, {0, 1, 0, 17}, {INT_MAX, INT_MAX, 0, 1}};
    for (const auto& b : bad)
        EXPECT_EQ(Catch([&] { f.SetWindow(b[0], b[1], b[2], b[3]); }), outside);
    EXPECT_EQ(Catch([&] { f.SetWindow(LML_RECT(0, 17, 1, 0)); }), outside);
    for (const double far : {5.0, 1e10, 1e300, kInf, double{NAN}}) // just outside, and where no index is
    {
        EXPECT_EQ(Catch([&] { f.SetWindow(0.0, far, 0.0, 1.0); }), outside) << far;
        EXPECT_EQ(Catch([&] { f.SetWindow(0.0, 1.0, -2.0 * far, 1.0); }), outside) << far;
    }
    EXPECT_TRUE(WindowIs(f.SetWindow(0, 8, 0, 16), 0, 8, 0, 16));

    Lumora a(16, 16);
    Lumora b(16, 16);
    a.SetWindow(1, 11, 2, 6);
    b.SetWindow(3, 9, 4, 12);
    a.SetWindowCommon(b);
    EXPECT_TRUE(WindowIs(a, 1, 7, 2, 6));
    EXPECT_TRUE(WindowIs(b, 3, 9, 4, 8));
    a.TransferWindow(b);
    EXPECT_TRUE(WindowIs(a, 3, 9, 4, 8));
    a.Window() = LML_RECT(INT_MIN, INT_MAX, INT_MAX, INT_MIN);
    a.SetWindowCommon(b); // widths wrap around
}

TEST(Basic, FormStackIsShared)
{
    Open a(1);
    Open b(1);
    for (int n = 0; n < 20; ++n)
    {
        a.Form() = static_cast<ComplexForm>(n % 4);
        a.PushForm();
    }
    for (int n = 19; n >= 0; --n)
        EXPECT_EQ(b.PullForm(), n % 4);
    EXPECT_EQ(b.Form(), COMPLEX_AMPLITUDE);
    const bool answers[4][3] = {{false, false, true}, {false, true, true}, {true, false, false}, {true, true, false}};
    for (int form = 0; form < 4; ++form)
    {
        a.Form() = static_cast<ComplexForm>(form);
        EXPECT_EQ(a.IsPolarForm(), answers[form][0]);
        EXPECT_EQ(a.IsSpectrum(), answers[form][1]);
        EXPECT_EQ(a.IsComplexForm(), answers[form][2]);
        EXPECT_EQ(a.IsComplexAmplitude(), !a.IsFourierSpace());
    }
}
