// The scaled FFT against sums in double precision: raw, one-dimensional, centred, cached; the 32-bit squares; refusals.
#include "TestTools.h"

#include <filesystem>

using namespace lmltest;

namespace
{
const int kShapes[][2] = {{1, 1}, {8, 1}, {2, 2}, {4, 16}, {32, 8}, {1, 8}};

Value Unit(double turns)
{
    return std::polar(1.0, 2.0 * M_PI * turns);
}

Lumora Random(int nx, int ny, std::uint32_t seed = 5)
{
    Lumora f(nx, ny, 2e-6, 3e-6, 5e-7);
    FillRandom(f, seed);
    f.SetOrigin(Vector(1, 2, 3));
    f.SetWindow(0, 1, 0, 1);
    return f;
}

/// sum over i, j of u(i, j) kernelX(k, i) kernelY(l, j).
template <class Kernel>
void ExpectSum(const Lumora& result, const Lumora& u, const Kernel& kernel)
{
    const double scale = std::sqrt(static_cast<double>(u.N()));
    for (int l = 0; l < u.GetNy(); ++l)
        for (int k = 0; k < u.GetNx(); ++k)
        {
            Value sum = 0.0;
            for (const auto [i, j] : Grid(u))
                sum += At(u, i, j) * kernel(k, l, i, j);
            EXPECT_LT(std::abs(At(result, k, l) - sum), 3e-6 * scale)
                << k << ", " << l << " of " << u.GetNx() << " by " << u.GetNy();
        }
}

void ExpectSameFrame(const Lumora& a, const Lumora& b)
{
    Lumora x(a);
    Lumora y(b);
    EXPECT_EQ(x.GetPx(), y.GetPx());
    EXPECT_EQ(x.GetPy(), y.GetPy());
    EXPECT_EQ(x.Form(), y.Form());
    EXPECT_EQ(x.Window().right, y.Window().right);
    EXPECT_EQ(x.Window().top, y.Window().top);
    EXPECT_EQ(x.GetOrigin().x, y.GetOrigin().x);
}
} // namespace

TEST(ScaledFFT, RawSums)
{
    for (const Engine lib : EachEngine())
        for (const auto& size : kShapes)
        {
            const int nx = size[0];
            const int ny = size[1];
            const double parameters[][2] = {{1.0 / nx, 1.0 / ny}, {-0.37 / nx, 1.9 / ny}, {0.0, 12.25}};
            for (const auto& [a, b] : parameters)
                for (const Threads threads : EachTeam({1, 3}))
                {
                    const Lumora u = Random(nx, ny);
                    const auto kernel = [a = a, b = b](int k, int l, int i, int j)
                    {
                        return Unit(-(a * k * i + b * l * j));
                    };
                    Lumora f(u);
                    f.RawScaledFft(a, b);
                    ExpectSum(f, u, kernel);
                    ExpectSameFrame(f, u);
                    const ScaledFftDescriptor d(u, a, b);
                    Lumora cached(u);
                    cached.RawScaledFft(d);
                    ExpectSum(cached, u, kernel);
                    ExpectSameFrame(cached, u);
                    if (ny == 1)
                    {
                        Lumora line(u);
                        line.RawScaledFft1d(a);
                        ExpectSum(line, u, kernel);
                        ExpectSameFrame(line, u);
                    }
                }
        }
}

TEST(ScaledFFT, CentredFormsAndTheirAsymmetry)
{
    // Along an axis of N samples with centred indices n, k and s = |a|: exp(-2 pi i s k n / N) for a < 0; for a >= 0
    // the conjugate times exp(2 pi i s (k + n)) exp(i pi s N), which is 1 for whole s only.
    const auto axis = [](double a, int size, int k, int n)
    {
        const double s = std::abs(a);
        const double turns = s * (k - size / 2.0) * (n - size / 2.0) / size;
        if (a < 0.0)
            return Unit(-turns);
        return Unit(turns + s * (k - size / 2.0 + n - size / 2.0) + s * size / 2.0);
    };
    for (const Engine lib : EachEngine())
        for (const auto& size : kShapes)
            for (const auto& [a, b] : {std::pair{-1.0, -1.0}, {1.0, 1.0}, {-0.5, 0.7}, {0.3, -2.2}, {0.0, 0.0}})
            {
                const int nx = size[0];
                const int ny = size[1];
                if (nx == 1)
                    continue;
                const Lumora u = Random(nx, ny);
                Lumora f(u);
                f.ScaledFft(a, b);
                ExpectSum(f, u,
                          [&, a = a, b = b](int k, int l, int i, int j)
                          { return axis(a, nx, k, i) * axis(b, ny, l, j); });
                EXPECT_EQ(f.Form(), SPECTRUM);
                EXPECT_EQ(f.GetPx(), std::abs(a) / (nx * 2e-6));
                EXPECT_EQ(f.GetPy(), std::abs(b) / (ny * 3e-6));
                EXPECT_EQ(f.Window().right, 1);
                f.ScaledFft(a, b);
                EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
                if (ny == 1)
                {
                    Lumora line(u);
                    line.ScaledFft1d(a);
                    ExpectSum(line, u, [&, a = a](int k, int, int i, int) { return axis(a, nx, k, i); });
                    EXPECT_EQ(line.Form(), SPECTRUM);
                    EXPECT_EQ(line.GetPx(), std::abs(a) / (nx * 2e-6));
                    EXPECT_EQ(line.GetPy(), 3e-6);
                }
            }
    Lumora plain = Random(16, 8); // whole scales are the ordinary transform
    Lumora scaled(plain);
    plain.Fft(-1);
    scaled.ScaledFft(-1, -1);
    EXPECT_LT(RelativeL2(scaled, plain), 1e-6);
    EXPECT_DOUBLE_EQ(scaled.GetPx(), plain.GetPx());
    Lumora point = Random(1, 1); // goes through both forms
    const Value before = At(point, 0, 0);
    point.ScaledFft(-2.0, -3.0);
    EXPECT_EQ(point.Form(), COMPLEX_AMPLITUDE);
    EXPECT_DOUBLE_EQ(point.GetPx(), 2.0 / (2.0 / 2e-6));
    EXPECT_NEAR(std::abs(At(point, 0, 0)), std::abs(before), 1e-6);
}

TEST(ScaledFFT, SquaresWrapInTwoDimensionsOnly)
{
    // One sample at column m and the sum is one product of chirps; from column 46341 on the square leaves 32 bits.
    const int n = 65536;
    const int m = 50021;
    const double a = 3.3e-6;
    const auto chirp = [&](std::int64_t i, bool wraps)
    {
        const std::int64_t square = i * i;
        const double s = wraps ? static_cast<double>(static_cast<std::int32_t>(static_cast<std::uint32_t>(square)))
                               : static_cast<double>(square);
        return Unit(s * a / 2.0);
    };
    for (const Engine lib : EachEngine())
        for (const bool wraps : {true, false})
        {
            Lumora f(n, wraps ? 2 : 1);
            f.Clear();
            f.SetPixel(m, 0, Complex(1.0, 0.0));
            wraps ? f.RawScaledFft(a, 0.25) : f.RawScaledFft1d(a);
            double worst = 0.0;
            double other = 0.0;
            for (int k = 0; k < n; k += 97)
            {
                const auto expected = [&](bool w)
                {
                    return std::conj(chirp(k, w)) * std::conj(chirp(m, w)) * chirp(k - m, w);
                };
                worst = std::max(worst, std::abs(At(f, k, 0) - expected(wraps)));
                other = std::max(other, std::abs(At(f, k, 0) - expected(!wraps)));
            }
            EXPECT_LT(worst, 3e-6) << "engine " << lib;
            EXPECT_GT(other, 0.5);
        }
}

TEST(ScaledFFT, Descriptors)
{
    const double a = 0.011;
    const double b = -0.02;
    const ScaledFftDescriptor d(64, 32, a, b);
    EXPECT_EQ(d.GetNx(), 128);
    EXPECT_EQ(d.GetNy(), 64);
    EXPECT_TRUE(d.IsCompatibleWith(64, 32, a, b));
    EXPECT_FALSE(d.IsCompatibleWith(32, 64, a, b));
    EXPECT_FALSE(d.IsCompatibleWith(64, 32, std::nextafter(a, 1.0), b));
    EXPECT_FALSE(d.IsCompatibleWith(64, 32, a, std::nextafter(b, 1.0)));
    EXPECT_EQ(ScaledFftDescriptor(60, 33, a, b).GetNx(), 128); // sizes are raised
    EXPECT_EQ(ScaledFftDescriptor(60, 33, a, b).GetNy(), 128);

    // The samples are the transform of the chirp in wrap-around order, whatever the engine; the rest is a fresh
    // field's.
    Lumora kernel(128, 64);
    for (const auto [i, j] : Grid(128, 64))
    {
        const int p = i < 64 ? i : i - 128;
        const int q = j < 32 ? j : j - 64;
        const Value w = Unit((a * p * p + b * q * q) / 2.0);
        kernel.SetPixel(i, j, Complex(w.real(), w.imag()));
    }
    kernel.SwitchQuadrant().Fft(-1).SwitchQuadrant();
    for (const Engine lib : EachEngine())
    {
        ScaledFftDescriptor made(Lumora(64, 32), a, b);
        EXPECT_LT(RelativeL2(made, kernel), 1e-6);
        EXPECT_EQ(made.Form(), COMPLEX_AMPLITUDE);
        EXPECT_EQ(made.GetPx(), Lumora::GetDefaultPx());
        EXPECT_EQ(made.GetNormalVector().z, 1.0);
        EXPECT_EQ(made.Window().right, 128);
        EXPECT_EQ(made.Window().top, 64);

        ScaledFftDescriptor copy(made), assigned(2, 2, 0.0, 0.0);
        EXPECT_NE(copy.GetDataPointer(), made.GetDataPointer());
        EXPECT_FALSE(assigned == made);
        assigned = made;
        ScaledFftDescriptor moved(std::move(copy));
        for (const ScaledFftDescriptor* d2 : {&assigned, &moved})
            EXPECT_TRUE(*d2 == made && SameBits(*d2, made));

        // Reused over calls, read only.
        const Lumora u = Random(64, 32);
        Lumora first(u);
        Lumora second(u);
        first.RawScaledFft(moved);
        second.RawScaledFft(moved);
        EXPECT_TRUE(SameBits(first, second));
        EXPECT_TRUE(SameBits(moved, made));

        // The samples count, even where a single one is no longer that of the parameters.
        moved.SetPixel(127, 63, moved.GetPixel(127, 63) * 2.0);
        second = Lumora(u);
        second.RawScaledFft(moved);
        EXPECT_GT(RelativeL2(second, first), 1e-4);

        moved.Dispose();
        EXPECT_TRUE(moved.IsCompatibleWith(64, 32, a, b));
        EXPECT_EQ(moved.GetDataPointer(), nullptr);
        EXPECT_EQ(Catch([&] { first.RawScaledFft(moved); }).code, 6); // never a read through null
    }
}

TEST(ScaledFFT, TrialPropagatorOfOneRow)
{
    const std::filesystem::path home = std::filesystem::current_path();
    const std::filesystem::path folder = std::filesystem::path(LML_SCRATCH_DIR) / "ScaledProp1d";
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
    for (const Engine lib : EachEngine())
    {
        std::filesystem::remove("test1-4.csv");
        const int n = 16;
        const Lumora source = Random(n, 1);
        Lumora f(4, 1, 3e-6, 9e-6, 8e-7);
        const double z = 1e-4;
        f.ScaledProp1d(source, z);
        EXPECT_TRUE(std::filesystem::exists("test1-4.csv"));
        EXPECT_EQ(f.GetNx(), n);
        EXPECT_DOUBLE_EQ(f.GetWavelength(), 5e-7);
        EXPECT_EQ(f.GetPx(), 3e-6);
        // The sums written out: spectrum at frequencies df k + f0, propagated, and its inverse sum at the other pitch.
        const double df = 1.0 / (n * 3e-6);
        const double f0 = -df * n / 2;
        const double x0S = -n / 2 * 2e-6;
        const double x0D = -n / 2 * 3e-6;
        std::vector<Value> spectrum(n);
        for (int k = 0; k < n; ++k)
        {
            const double u = df * k + f0;
            for (int i = 0; i < n; ++i)
                spectrum[static_cast<std::size_t>(k)] += At(source, i, 0) * Unit(2e-6 * df * k * i);
            spectrum[static_cast<std::size_t>(k)] *=
                Unit(k * (x0D - x0S) * df - x0S * f0 - z * std::sqrt(1.0 / 25e-14 - u * u));
        }
        for (int m = 0; m < n; ++m)
        {
            Value sum = 0.0;
            for (int k = 0; k < n; ++k)
                sum += spectrum[static_cast<std::size_t>(k)] * Unit(double(k) * m / n);
            EXPECT_LT(std::abs(At(f, m, 0) - sum * Unit(f0 * (m * 3e-6 + x0D)) / double(n)), 1e-5);
        }
        // A pitch below half a wavelength: frequencies without a real root.
        Lumora fine(n, 1, 2e-7, 2e-7, 5e-7);
        fine.ScaledProp1d(source, z);
        EXPECT_TRUE(std::isnan(fine.GetReal(0, 0)));
    }
    std::filesystem::current_path(home);
    std::filesystem::remove_all(folder);
}
