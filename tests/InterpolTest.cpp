// Interpolation kernels against evaluations written out here, tap by tap, on small grids up to and beyond their edges.
#include "TestTools.h"

using namespace lmltest;

namespace
{

// The kernels in long form.
double K4(double d)
{
    const double a = std::fabs(d);
    if (a < 1)
        return 1 - 2.25 * a * a + 1.25 * a * a * a;
    if (a < 2)
        return 3 - 6 * a + 3.75 * a * a - 0.75 * a * a * a;
    return 0;
}
double K6(double d)
{
    const double a = std::fabs(d);
    if (a < 1)
        return 1 - 2.2 * a * a + 1.2 * a * a * a;
    if (a < 2)
        return 2.8 - 5.4 * a + 3.2 * a * a - 0.6 * a * a * a;
    if (a < 3)
        return -3.6 + 4.2 * a - 1.6 * a * a + 0.2 * a * a * a;
    return 0;
}
double K8(double d)
{
    const double a = std::fabs(d);
    if (a < 1)
        return 1 - 123.0 / 56 * a * a + 67.0 / 56 * a * a * a;
    if (a < 2)
        return 156.0 / 56 - 300.0 / 56 * a + 177.0 / 56 * a * a - 33.0 / 56 * a * a * a;
    if (a < 3)
        return -180.0 / 56 + 204.0 / 56 * a - 75.0 / 56 * a * a + 9.0 / 56 * a * a * a;
    if (a < 4)
        return 144.0 / 56 - 120.0 / 56 * a + 33.0 / 56 * a * a - 3.0 / 56 * a * a * a;
    return 0;
}
double K8Table(double d)
{
    const double a = std::fabs(d);
    return a < 4 ? K8(std::floor(a * 1024) / 1024) : 0;
}
using Kernel = double (*)(double);

double Cut4(double z)
{
    return std::trunc(z * 10000) / 10000;
}

/// A field and the written-out interpolators on it.
struct Reference
{
    explicit Reference(const Lumora& field)
        : f(field), nx(field.GetNx()), ny(field.GetNy()), px(field.GetPx()), py(field.GetPy())
    {
    }
    const Lumora& f;
    int nx, ny;
    double px, py;

    Complex At(double i, double j) const
    {
        return i >= 0 && i < nx && j >= 0 && j < ny ? f.GetPixel(int(i), int(j)) : Complex(0.0, 0.0);
    }
    static bool Sane(double x) { return x > -1e6 && x < 1e6; }

    Complex Nearest(double u, double v) const
    {
        return At(std::floor(u / px + 0.5) + nx / 2, std::floor(v / py + 0.5) + ny / 2);
    }

    Complex BiLinear(double u, double v) const
    {
        const double x = u / px + nx / 2, y = v / py + ny / 2, i = std::floor(x), j = std::floor(y);
        if (!(i >= 0 && i <= nx - 1 && j >= 0 && j <= ny - 1))
            return Complex(0.0, 0.0);
        const double i2 = std::min(i + 1, nx - 1.0), j2 = std::min(j + 1, ny - 1.0), dx = x - i, dy = y - j;
        const auto member = [&](auto get)
        {
            float sum = float(double(get(At(i, j))) * ((1 - dx) * (1 - dy)));
            sum += float(double(get(At(i2, j))) * (dx * (1 - dy)));
            sum += float(double(get(At(i2, j2))) * (dx * dy));
            return sum + float(double(get(At(i, j2))) * ((1 - dx) * dy));
        };
        return Complex(member([](Complex c) { return c.Real(); }), member([](Complex c) { return c.Imag(); }));
    }

    Complex Linear(double u, double v) const
    {
        if (ny == 1)
            return Linear1d(u);
        const double x = Cut4(u / px) + nx / 2, y = Cut4(v / py) + ny / 2;
        if (!(x >= 0 && x <= nx - 1 && y >= 0 && y <= ny - 1))
            return Complex(0.0, 0.0);
        const double i = std::min(std::floor(x), nx - 2.0), j = std::min(std::floor(y), ny - 2.0);
        const double a = (u - (i - nx / 2) * px) / px, b = (v - (j - ny / 2) * py) / py;
        const float w[4] = {float((1 - a) * (1 - b)), float(a * (1 - b)), float(a * b), float((1 - a) * b)};
        const auto member = [&](auto get)
        {
            return double(get(At(i, j))) * double(w[0]) + double(get(At(i + 1, j))) * double(w[1]) +
                   double(get(At(i + 1, j + 1))) * double(w[2]) + double(get(At(i, j + 1))) * double(w[3]);
        };
        return Complex(member([](Complex c) { return c.Real(); }), member([](Complex c) { return c.Imag(); }));
    }

    Complex Linear1d(double u) const
    {
        const double t = Cut4(u / px), i0 = std::floor(t) + nx / 2, i1 = std::ceil(t) + nx / 2;
        if (!Sane(t) || i0 == i1)
            return Sane(t) ? At(i0, 0) : Complex(0.0, 0.0);
        if (i0 < 0 || i1 > nx)
            return Complex(0.0, 0.0);
        const double x1 = (i1 - nx / 2) * px, x0 = (i0 - nx / 2) * px;
        const auto member = [&](float s0, float s1)
        {
            const float slope = float(double(s1 - s0) / (x1 - x0));
            return float(double(slope) * (u - x0)) + s0;
        };
        return Complex(member(At(i0, 0).Real(), At(i1, 0).Real()), member(At(i0, 0).Imag(), At(i1, 0).Imag()));
    }

    Complex BiCubic(double u, double v) const
    {
        const double x = u / px + nx / 2, y = v / py + ny / 2;
        float re = 0, im = 0;
        if (Sane(x) && Sane(y))
            for (double j = std::max(std::ceil(y - 2), 0.0); j <= std::min(std::floor(y + 2), ny - 1.0); ++j)
                for (double i = std::max(std::ceil(x - 2), 0.0); i <= std::min(std::floor(x + 2), nx - 1.0); ++i)
                {
                    re += float(double(float(double(At(i, j).Real()) * K4(i - x))) * K4(j - y));
                    im += float(double(float(double(At(i, j).Imag()) * K4(i - x))) * K4(j - y));
                }
        return Complex(re, im);
    }

    Complex Separable(double u, double v, int h, Kernel k) const
    {
        const double x = Cut4(nx * 0.5 + u / px), y = Cut4(ny * 0.5 + v / py);
        float re = 0, im = 0;
        if (Sane(x) && Sane(y))
            for (double j = std::ceil(y - h); j <= std::floor(y + h); ++j)
                for (double i = std::ceil(x - h); i <= std::floor(x + h); ++i)
                {
                    const float weight = float(k(i - x) * k(j - y));
                    re += At(i, j).Real() * weight;
                    im += At(i, j).Imag() * weight;
                }
        return Complex(re, im);
    }

    /// Column Nx is the first sample of the next row; what lies behind the last sample reads as 0.
    Complex Line(double i, double j) const
    {
        if (!(i >= 0 && i <= nx && j >= 0 && j <= ny) || i + nx * j >= double(f.N()))
            return Complex(0.0, 0.0);
        return f.GetDataPointer()[std::size_t(i + nx * j)];
    }
    Complex AlongX(double u, double v, int h, Kernel k) const
    {
        const double x = Cut4(nx * 0.5 + u / px), j = std::floor(double(float(v)) / py + 0.5) + ny / 2;
        float re = 0, im = 0;
        if (Sane(x))
            for (double i = std::ceil(x - h); i <= std::floor(x + h); ++i)
            {
                const float weight = float(k(i - x));
                re += Line(i, j).Real() * weight;
                im += Line(i, j).Imag() * weight;
            }
        return Complex(re, im);
    }
};

/// Coordinates from well before the grid to well behind it: on samples, between them, next to them, and unusable ones.
std::vector<double> Coordinates(int n, double p, std::uint32_t seed)
{
    std::vector<double> all;
    for (int i = -n / 2 - 6; i <= n - n / 2 + 6; i += n > 16 ? 3 : 1)
        for (double d : {0.0, 1e-5, -1e-5, 0.5, 0.9999, 1e-17})
            all.push_back((i + d) * p);
    std::mt19937 random(seed);
    for (int k = 0; k < 30; ++k)
        all.push_back(std::uniform_real_distribution<double>(-n / 2 - 5.0, n - n / 2 + 5.0)(random) * p);
    for (double special : {kNan, kInf, -kInf, 1e300, -1e300, 2147483647.4 * p, -2147483648.9 * p, 1e13 * p})
        all.push_back(special);
    return all;
}

::testing::AssertionResult Same(Complex a, Complex b)
{
    if (Bits(a.Real()) == Bits(b.Real()) && Bits(a.Imag()) == Bits(b.Imag()))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << a.Real() << ", " << a.Imag() << ") instead of (" << b.Real() << ", "
                                         << b.Imag() << ")";
}

/// A field whose buffer ends right behind its last sample, so that a read beyond is seen by the sanitizer.
struct TightField
{
    TightField(int nx, int ny, double px, double py) : samples(new Complex[std::size_t(nx) * std::size_t(ny)])
    {
        field.SetNx(nx).SetNy(ny).SetPx(px).SetPy(py);
        field.Dispose();
        field.Init(samples.get());
        field.SetWindowMax();
        FillRandom(field, std::uint32_t(nx + 31 * ny));
    }
    std::unique_ptr<Complex[]> samples;
    Lumora field;
};
} // namespace

TEST(Interpol, EveryMemberMatchesItsWrittenOutForm)
{
    // Without a table the selector computes its entries; a second call changes nothing.
    const TightField early(8, 8, 1.0, 1.0);
    const Complex without = early.field.CubicInterpol(0.4321, 1.2345, 9);
    Lumora::GenCubicTable();
    EXPECT_TRUE(Same(early.field.CubicInterpol(0.4321, 1.2345, 9), without));
    Lumora::GenCubicTable();
    EXPECT_TRUE(Same(early.field.CubicInterpol(0.4321, 1.2345, 9), without));
    EXPECT_FALSE(Same(early.field.CubicInterpol(0.4321, 1.2345, 8), without));

    for (const auto& [nx, ny] : {std::pair{8, 8}, {16, 4}, {1, 16}, {16, 1}, {1, 1}, {2, 2}, {4, 64}, {32, 8}})
    {
        const TightField tight(nx, ny, 0.8e-6, 1.3);
        const Lumora& f = tight.field;
        const Reference ref(f);
        const auto us = Coordinates(nx, f.GetPx(), 1), vs = Coordinates(ny, f.GetPy(), 2);
        std::size_t wrong = 0;
        const auto check = [&](const char* name, double u, double v, Complex is, Complex expected)
        {
            if (!Same(is, expected) && ++wrong < 10)
                ADD_FAILURE() << name << " on " << f.GetNx() << " x " << f.GetNy() << " at " << u / f.GetPx() << ", "
                              << v / f.GetPy() << ": " << Same(is, expected).message();
        };
        for (std::size_t a = 0; a < us.size(); ++a)
            for (std::size_t b = a % 3; b < vs.size(); b += 3)
            {
                const double u = us[a], v = vs[b];
                check("nearest", u, v, f.NearestNeighbor(u, v), ref.Nearest(u, v));
                check("adjacent", u, v, f.AdjacentInterpol(u, v), ref.Nearest(u, v));
                check("bilinear", u, v, f.BiLinear(u, v), ref.BiLinear(u, v));
                // A column without neighbours is left open; it must only stay in the buffer.
                const Complex linear = f.LinearInterpol(u, v);
                if (nx > 1)
                    check("linear", u, v, linear, ref.Linear(u, v));
                check("bicubic", u, v, f.BiCubic(u, v), ref.BiCubic(u, v));
                check("cubic4", u, v, f.Cubic4Interpol(u, v), ref.Separable(u, v, 2, K4));
                check("cubic6", u, v, f.Cubic6Interpol(u, v), ref.Separable(u, v, 3, K6));
                check("cubic8", u, v, f.Cubic8Interpol(u, v), ref.Separable(u, v, 4, K8));
                check("selector 9", u, v, f.CubicInterpol(u, v, 9), ref.Separable(u, v, 4, K8Table));
                for (const auto& [selector, k] : {std::pair<int, Kernel>{4, K4}, {6, K6}, {8, K8}, {9, K8Table}})
                {
                    if (selector < 9)
                        check("selector", u, v, f.CubicInterpol(u, v, selector), ref.Separable(u, v, selector / 2, k));
                    check("along x", u, v, f.CubicInterpolX(u, v, selector), ref.AlongX(u, v, selector / 2, k));
                    if (ny == 1)
                        check("1d", u, 0, f.CubicInterpol1d(u, selector), ref.AlongX(u, 0, selector / 2, k));
                }
                if (ny == 1)
                    check("linear 1d", u, v, f.LinearInterpol1d(u), ref.Linear1d(u));
            }
        EXPECT_EQ(wrong, 0u) << nx << " x " << ny;
    }
}

TEST(Interpol, TheChooserReachesTheRightMember)
{
    Lumora f(16, 8, 1e-6, 2e-6);
    FillRandom(f);
    const double u = 2.37e-6, v = -1.3e-6;
    const std::pair<Interpol, InterpolFunc> table[] = {
        {LINEAR_INTERPOL, &Lumora::LinearInterpol}, {CUBIC_INTERPOL, &Lumora::Cubic8Interpol},
        {CUBIC4_INTERPOL, &Lumora::Cubic4Interpol}, {CUBIC6_INTERPOL, &Lumora::Cubic6Interpol},
        {CUBIC8_INTERPOL, &Lumora::Cubic8Interpol}, {ADJACENT_INTERPOL, &Lumora::AdjacentInterpol},
        {BICUBIC_INTERPOL, &Lumora::BiCubic},       {BILINEAR_INTERPOL, &Lumora::BiLinear}};
    for (const auto& [value, member] : table)
    {
        EXPECT_TRUE(GetInterpolFunc(value) == member) << value;
        EXPECT_TRUE(Same(f.GetInterpolVal(u, v, value), (f.*member)(u, v))) << value;
        EXPECT_TRUE(Same(f.GetInterpolVal(u, v, member), (f.*member)(u, v))) << value;
    }
}

TEST(Interpol, SincSumsTheWholeRow)
{
    TightField tight(16, 4, 0.5, 2.0);
    const Lumora& f = tight.field;
    for (double u : {0.0, 0.3, -3.9, 2.77, 7.0})
        for (double v : {-4.0, 0.1, 2.0, 3.9, 6.0})
        {
            const double x = Cut4(8.0 + u / 0.5), j = std::floor(v / 2.0 + 0.5) + 2;
            double re = 0.0;
            for (int i = 0; i < 16; ++i)
                re +=
                    (j < 4 ? f.GetReal(i, int(j)) : 0.0) * (i == x ? 1.0 : std::sin(M_PI * (i - x)) / (M_PI * (i - x)));
            EXPECT_NEAR(f.SincInterpolX(u, v).Real(), re, 2e-6) << u << " " << v;
        }
    TightField row(64, 1, 1.0, 1.0);
    for (int i = 0; i < 64; ++i)
        row.field.SetPixel(i, 0, Complex(std::exp(-0.02 * (i - 32) * (i - 32)), 0.0));
    EXPECT_NEAR(row.field.SincInterpol1d(1.37).Real(), std::exp(-0.02 * 1.37 * 1.37), 1e-6);
    EXPECT_TRUE(Same(row.field.SincInterpol1d(4.0), row.field.GetPixel(36, 0)));
    static_cast<void>(row.field.SincInterpol1d(kNan));
    static_cast<void>(row.field.SincInterpol1d(1e300));
}
