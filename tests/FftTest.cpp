// The transform of a field with both engines: accuracy against double precision, the same bits everywhere, forms,
// pitches, odd shapes, and the memory that engines share.
#include "Oracle.h"

#include "base/Scratch.h"

#include <thread>

using namespace lmltest;

namespace
{
/// Every length of one row, and grids of every aspect.
std::vector<std::pair<int, int>> Shapes()
{
    std::vector<std::pair<int, int>> shapes = {{2, 2},      {4, 4},      {8, 2},     {2, 64},    {16, 16},   {32, 128},
                                               {64, 64},    {128, 32},   {4, 1024},  {256, 256}, {512, 64},  {64, 512},
                                               {1024, 128}, {128, 2048}, {4096, 16}, {8, 8192},  {16384, 4}, {2, 16384},
                                               {65536, 2},  {131072, 2}, {4, 32768}, {32, 32768}};
    for (int lg = 0; lg <= 20; ++lg)
        shapes.emplace_back(1 << lg, 1);
    return shapes;
}

/// Centred transform in double precision: index n/2 is the origin on both sides.
std::vector<Value> CentredDft(const Lumora& f, int sign)
{
    const std::size_t nx = std::size_t(f.GetNx()), ny = std::size_t(f.GetNy());
    const auto exchanged = [&](const std::vector<Value>& x)
    {
        std::vector<Value> y(x.size());
        for (std::size_t n = 0; n < x.size(); ++n)
            y[((n % nx) ^ (nx / 2)) + ((n / nx) ^ (ny / 2)) * nx] = x[n];
        return y;
    };
    std::vector<Value> x = exchanged(ToDouble(f.GetDataPointer(), f.N()));
    Dft2d(x, nx, ny, sign);
    return exchanged(x);
}
} // namespace

// The first test of the program, so that no length has its tables yet.
TEST(Fft, CallersOnThreadsOfTheirOwnSeeWholeTables)
{
    for (const Engine lib : EachEngine())
    {
        Lumora start(1 << 19, 1);
        FillRandom(start, 41);
        std::vector<Lumora> fields(4, start);
        std::vector<std::thread> callers;
        for (Lumora& f : fields)
            callers.emplace_back([&f] { f.Fft(-1); });
        for (std::thread& caller : callers)
            caller.join();
        const Lumora expected(start.Fft(-1));
        for (const Lumora& f : fields)
            EXPECT_TRUE(SameBits(f, expected)) << lib;
    }
}

TEST(Fft, OracleIsTheDirectSum)
{
    Lumora f(8, 4);
    FillRandom(f);
    for (const int sign : {-1, 1})
    {
        const std::vector<Value> transform = CentredDft(f, sign);
        for (int m = 0; m < 4; ++m)
            for (int l = 0; l < 8; ++l)
            {
                Value sum = 0.0;
                for (const auto [i, j] : Grid(8, 4))
                    sum += At(f, i, j) *
                           std::polar(1.0, sign * 2 * M_PI * ((i - 4) * (l - 4) / 8.0 + (j - 2) * (m - 2) / 4.0));
                EXPECT_LT(std::abs(sum - transform[std::size_t(8 * m + l)]), 1e-13);
            }
    }
}

TEST(Fft, EveryLengthAndShapeKeepsTheErrorBoundAndComesBack)
{
    for (const auto& [nx, ny] : Shapes())
        for (const int sign : {-1, 1})
        {
            Lumora start(nx, ny);
            FillRandom(start, std::uint32_t(nx + 3 * ny));
            const std::vector<Value> exact = CentredDft(start, sign);
            for (const Engine lib : EachEngine())
            {
                const Threads team(2);
                Lumora f(start);
                f.Fft(sign);
                EXPECT_LE(ErrorConstant(f.GetDataPointer(), exact), 1.0) << lib << ": " << nx << " by " << ny;
                f.Fft(-sign);
                f *= 1.0 / double(f.N());
                EXPECT_LT(RelativeL2(f, start), 1e-6) << lib << ": " << nx << " by " << ny;
            }
        }
}

// The largest grids are above the size from which stores go past the caches, those of rows in place too where rows are
// long; where the buffer starts off a cache line or a vector they may not.
TEST(Fft, SameBitsForEveryInstructionSetTeamAndAlignment)
{
    std::vector<std::pair<int, int>> shapes = Shapes();
    shapes.emplace_back(2048, 2048);
    shapes.emplace_back(8192, 512);
    for (const auto& [nx, ny] : shapes)
        for (const Engine lib : EachEngine())
        {
            Lumora first(1);
            for (const std::size_t offset : {0u, 2u, 1u})
            {
                Fenced f(nx, ny, 1e-6, 1e-6, offset);
                for (const detail::Isa isa : InstructionSets())
                    for (const Threads threads : EachTeam({1, 2, 3, 7}))
                    {
                        if (threads > 1 && (offset + (nx * ny > 1 << 18) + (lib == FFT_LIB_SPLIT_RADIX) > 1 ||
                                            (nx * ny > 1 << 18 && threads != 3)))
                            continue;
                        const Cap cap(isa);
                        FillRandom(f.field, 9);
                        f.field.Fft(-1);
                        if (first.N() == 1)
                            first = f.field;
                        ASSERT_TRUE(SameBits(f.field, first)) << nx << " by " << ny << ", offset " << offset;
                    }
                EXPECT_TRUE(f.Whole());
            }
        }
}

TEST(Fft, FormsPitchesAndWindows)
{
    for (const Engine lib : EachEngine())
        for (const int form : {0, 1, 2, 3})
        {
            Lumora f(64, 32, 2e-6, 3e-6);
            FillRandom(f, 4);
            if (form >= 2)
                for (std::size_t n = 0; n < f.N(); ++n)
                    f[n].real() = std::fabs(f[n].Real());
            f.Form() = static_cast<ComplexForm>(form);
            f.SetWindow(1, 2, 3, 4).SetOrigin(Vector(1, 2, 3));
            const Lumora before(f);
            f.Fft(-1);
            EXPECT_EQ(f.Form(), form ^ 1);
            EXPECT_EQ(f.GetPx(), 1.0 / (64 * 2e-6));
            EXPECT_EQ(f.GetPy(), 1.0 / (32 * 3e-6));
            for (std::size_t n = 0; form >= 2 && n < f.N(); ++n)
                EXPECT_TRUE(f[n].Real() >= 0.0f && std::fabs(f[n].Imag()) <= 3.1415928f);
            f.FFT(1);
            for (std::size_t n = 0; n < f.N(); ++n)
            {
                f[n].real() /= 2048.0f;
                f[n].imag() /= form >= 2 ? 1.0f : 2048.0f;
            }
            EXPECT_LT(RelativeL2(f, before), form < 2 ? 5e-7 : 1e-5);
            EXPECT_DOUBLE_EQ(f.GetPx(), 2e-6);
            EXPECT_DOUBLE_EQ(f.GetPy(), 3e-6);
            EXPECT_EQ(f.Form(), form);
            EXPECT_EQ(f.Window().top, 4);
            EXPECT_EQ(f.GetOrigin().x, 1.0);
        }
}

TEST(Fft, OneRowAndOneColumn)
{
    for (const Engine lib : EachEngine())
    {
        Lumora row(8, 1, 1e-6, 5e-6);
        FillRandom(row);
        row.Fft(-1);
        EXPECT_EQ(row.GetPx(), 1.0 / (8 * 1e-6));
        EXPECT_EQ(row.GetPy(), 5e-6);
        row.FakeFft();
        EXPECT_EQ(row.GetPy(), 1.0 / 5e-6); // the bare change of pitches reaches both axes
        row.FakeFFT();
        EXPECT_DOUBLE_EQ(row.GetPy(), 5e-6);
        EXPECT_EQ(row.Form(), SPECTRUM);
        for (const int ny : {2, 4, 64}) // no supported transform, but it stays in its buffer
        {
            Fenced column(1, ny);
            FillRandom(column.field);
            column.field.Fft(-1).Fft(1);
            EXPECT_TRUE(column.Whole());
        }
    }
}

TEST(Fft, QuadrantExchange)
{
    for (const auto& [nx, ny] : {std::pair{8, 4}, {2, 2}, {8, 1}, {1, 1}})
    {
        Lumora f(nx, ny);
        FillRandom(f);
        const Lumora before(f);
        f.SwitchQuadrant();
        for (const auto [i, j] : Grid(nx, ny))
            EXPECT_TRUE(f.GetPixel((i + nx / 2) % nx, (j + ny / 2) % ny) == before.GetPixel(i, j));
        EXPECT_TRUE(SameBits(f.SwitchQuadrant(), before));
    }
    // Half rows of four bytes: the members are exchanged across rows.
    Lumora column(1, 2);
    column[0] = Complex(1.0, 2.0);
    column[1] = Complex(3.0, 4.0);
    column.SwitchQuadrant();
    EXPECT_TRUE(column[0] == Complex(4.0, 3.0));
    EXPECT_TRUE(column[1] == Complex(2.0, 1.0));
}

TEST(Fft, EveryValueButZeroIsTheFastEngine)
{
    EXPECT_EQ(GetFftLib(), FFT_LIB_VENDOR); // the value at load
    Lumora fast(256, 64);
    FillRandom(fast);
    Lumora other(fast), plain(fast);
    fast.Fft(-1);
    {
        const Engine engine(static_cast<FftLib>(7));
        EXPECT_EQ(GetFftLib(), 7);
        EXPECT_TRUE(SameBits(other.Fft(-1), fast));
    }
    const Engine engine(FFT_LIB_SPLIT_RADIX);
    EXPECT_FALSE(SameBits(plain.Fft(-1), fast));
}

TEST(Scratch, BlocksAreAlignedApartAndGivenBack)
{
    // Larger than anything that the engine has asked for so far, so that no other block fits.
    const std::size_t bytes = std::size_t{96} << 20;
    std::vector<void*> before;
    {
        const detail::Scratch s(3, bytes);
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(s[i]) % (std::size_t{2} << 20), 0u);
            s.As<unsigned char>(i)[0] = s.As<unsigned char>(i)[bytes - 1] = static_cast<unsigned char>(i);
            before.push_back(s[i]);
        }
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(s.As<unsigned char>(i)[0] == i && s.As<unsigned char>(i)[bytes - 1] == i);
    }
    const detail::Scratch again(2, bytes - 4096);
    for (int i = 0; i < 2; ++i)
        EXPECT_NE(std::find(before.begin(), before.end(), again[i]), before.end());
    EXPECT_EQ(Catch([] { const detail::Scratch s(2, SIZE_MAX / 2 + 4096); }).function, "LumoraLib::Malloc");
}
