// The transform of a field with both engines: accuracy against double precision, signs, forms, pitches, odd shapes.
#include "TestTools.h"

#include "transform/CentredFft.h"

using namespace lmltest;

namespace
{
using Value = std::complex<double>;
constexpr FftLib kEngines[] = {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR};

/// Radix-2 transform in double precision (J. W. Cooley, J. W. Tukey, Math. Comp. 19 (1965) 297-301).
std::vector<Value> Dft(const std::vector<Value>& x, int sign)
{
    const std::size_t n = x.size();
    if (n == 1)
        return x;
    std::vector<Value> even;
    std::vector<Value> odd;
    for (std::size_t i = 0; i < n; i += 2)
    {
        even.push_back(x[i]);
        odd.push_back(x[i + 1]);
    }
    even = Dft(even, sign);
    odd = Dft(odd, sign);
    std::vector<Value> result(n);
    for (std::size_t m = 0; m < n / 2; ++m)
    {
        const Value t = std::polar(1.0, sign * 2.0 * M_PI * double(m) / double(n)) * odd[m];
        result[m] = even[m] + t;
        result[m + n / 2] = even[m] - t;
    }
    return result;
}

/// Centred transform in double precision: index n/2 is the origin on both sides.
std::vector<Value> CentredDft(const Lumora& f, int sign)
{
    const std::size_t nx = std::size_t(f.GetNx());
    const std::size_t ny = std::size_t(f.GetNy());
    std::vector<Value> data(nx * ny);
    for (std::size_t j = 0; j < ny; ++j)
        for (std::size_t i = 0; i < nx; ++i)
        {
            const Complex c = f.GetDataPointer()[i + nx * j];
            data[(i + nx / 2) % nx + nx * ((j + ny / 2) % ny)] = Value(c.Real(), c.Imag());
        }
    for (std::size_t j = 0; j < ny; ++j)
    {
        const std::vector<Value> row = Dft({data.begin() + long(nx * j), data.begin() + long(nx * j + nx)}, sign);
        std::copy(row.begin(), row.end(), data.begin() + long(nx * j));
    }
    std::vector<Value> result(nx * ny);
    for (std::size_t i = 0; i < nx; ++i)
    {
        std::vector<Value> column(ny);
        for (std::size_t j = 0; j < ny; ++j)
            column[j] = data[i + nx * j];
        column = Dft(column, sign);
        for (std::size_t j = 0; j < ny; ++j)
            result[(i + nx / 2) % nx + nx * ((j + ny / 2) % ny)] = column[j];
    }
    return result;
}
} // namespace

TEST(Fft, AccuracyIsThatOfSinglePrecision)
{
    const int sizes[][2] = {{1, 1},    {2, 1},  {4, 1},  {8, 1},   {64, 1},   {1024, 1},  {8192, 1},
                            {1 << 16, 1}, {2, 2}, {2, 8}, {64, 2}, {16, 16}, {512, 64}, {256, 512}};
    for (const FftLib lib : kEngines)
        for (const auto& size : sizes)
            for (const int sign : {-1, 1})
            {
                Engine engine(lib);
                Threads team(2);
                Lumora f(size[0], size[1]);
                FillRandom(f, 21);
                const std::vector<Value> exact = CentredDft(f, sign);
                f.Fft(sign);
                double error = 0.0;
                double norm = 0.0;
                for (std::size_t n = 0; n < f.N(); ++n)
                {
                    error += std::norm(Value(f[n].Real(), f[n].Imag()) - exact[n]);
                    norm += std::norm(exact[n]);
                }
                const double bound = std::ldexp(std::sqrt(std::log2(double(f.N()))), -24);
                EXPECT_LE(std::sqrt(error / norm), bound) << "engine " << lib << ", " << size[0] << " by " << size[1];
            }
}

TEST(Fft, ImpulseAndConstant)
{
    for (const FftLib lib : kEngines)
        for (const int sign : {-1, 1})
        {
            Engine engine(lib);
            Lumora f(4, 4);
            f.SetConst(Complex(1.0, 0.0));
            f.Fft(sign);
            for (int j = 0; j < 4; ++j)
                for (int i = 0; i < 4; ++i)
                    EXPECT_LT((f.GetPixel(i, j) - Complex(i == 2 && j == 2 ? 16.0 : 0.0, 0.0)).Amplitude(), 1e-5);
            Lumora g(32, 8);
            g.Clear().SetPixel(16, 4, Complex(1.0, 0.0)).Fft(sign);
            for (std::size_t n = 0; n < g.N(); ++n)
                EXPECT_LT((g[n] - Complex(1.0, 0.0)).Amplitude(), 1e-6); // no alternating signs
            // One step off the centre turns the phase by -+ 2 pi / 32 a column: the sign of the kernel.
            Lumora h(32, 1);
            h.Clear().SetPixel(17, 0, Complex(1.0, 0.0)).Fft(sign);
            EXPECT_NEAR(h.GetPixel(17, 0).Imag(), sign * std::sin(2.0 * M_PI / 32.0), 1e-7);
        }
}

TEST(Fft, ThereAndBack)
{
    for (const FftLib lib : kEngines)
        for (const int form : {0, 1, 2, 3})
        {
            Engine engine(lib);
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
            if (form >= 2)
                for (std::size_t n = 0; n < f.N(); ++n)
                {
                    EXPECT_GE(f[n].Real(), 0.0f);
                    EXPECT_LE(std::fabs(f[n].Imag()), 3.1415928f);
                }
            f.FFT(1);
            f *= 1.0 / 2048;
            if (form >= 2) // the product reached the phases too
                for (std::size_t n = 0; n < f.N(); ++n)
                    f[n].imag() *= 2048.0f;
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
    for (const FftLib lib : kEngines)
    {
        Engine engine(lib);
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
            Lumora column(1, ny);
            FillRandom(column);
            EXPECT_EQ(Catch([&] { column.Fft(-1).Fft(1); }).code, 0);
        }
    }
}

TEST(Fft, QuadrantExchange)
{
    for (const auto& size : {std::pair{8, 4}, {2, 2}, {8, 1}, {1, 1}})
    {
        Lumora f(size.first, size.second);
        FillRandom(f);
        const Lumora before(f);
        f.SwitchQuadrant();
        const int nx = size.first;
        const int ny = size.second;
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i)
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

TEST(Fft, ThreadsDoNotChangeBits)
{
    for (const FftLib lib : kEngines)
    {
        Engine engine(lib);
        Lumora expected(256, 128);
        FillRandom(expected, 2);
        const Lumora source(expected);
        expected.Fft(-1);
        for (const int threads : {2, 3, 7})
        {
            Threads team(threads);
            Lumora f(source);
            EXPECT_TRUE(SameBits(f.Fft(-1), expected)) << threads;
        }
    }
}

TEST(Fft, Binding)
{
    EXPECT_EQ(GetFftLib(), FFT_LIB_VENDOR); // the value at load
    EXPECT_FALSE(detail::StepByStep());
    {
        Engine engine(FFT_LIB_SPLIT_RADIX);
        EXPECT_TRUE(detail::StepByStep());
        EXPECT_FALSE(detail::WideEngineBound());
    }
    Engine other(static_cast<FftLib>(7));
    EXPECT_EQ(GetFftLib(), 7);
    EXPECT_FALSE(detail::StepByStep()); // every value but 0 stands for the fast engine
}
