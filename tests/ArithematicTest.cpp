// Arithmetic and fills, bit by bit against the precision rules, on every thread count, inside any window.
#include "TestTools.h"

#include <tuple>

using namespace lmltest;

namespace
{
using Pair = std::pair<float, float>;

double D(float v)
{
    return static_cast<double>(v);
}
float F(double v)
{
    return static_cast<float>(v);
}

Pair Mixed(float re, float im, float p, float q)
{
    return {F(D(p) * D(re) - D(im * q)), F(D(re) * D(q) + D(im * p))};
}
} // namespace

TEST(Arithematic, PrecisionRules)
{
    const ComplexDouble c(0.1, -1.7);
    const float cr = F(0.1);
    const float ci = F(-1.7);
    const double d = D(cr) * D(cr) + D(ci) * D(ci);
    const struct
    {
        const char* name;
        std::function<void(Lumora& a, const Lumora& b)> run;
        std::function<Pair(float r, float i, float p, float q)> rule;
    } cases[] = {
    // clang-format off
#define RULE(name, operation, ...)                                                                                     \
    {name, [&]([[maybe_unused]] Lumora& a, [[maybe_unused]] const Lumora& b) { operation; },                            \
     [&]([[maybe_unused]] float r, [[maybe_unused]] float i, [[maybe_unused]] float p, [[maybe_unused]] float q) { return Pair{__VA_ARGS__}; }}
        RULE("negate", -a, 0.0f - r, 0.0f - i),
        RULE("+= field", a += b, r + p, i + q),
        RULE("-= field", a -= b, r - p, i - q),
        RULE("*= field", a *= b, r * p - i * q, r * q + i * p),
        RULE("/= field", a /= b, F((D(p) * D(r) + D(i) * D(q)) / (D(p) * D(p) + D(q) * D(q))),
             F((D(i) * D(p) - D(r) * D(q)) / (D(p) * D(p) + D(q) * D(q)))),
        RULE("+= complex", a += c, r + cr, i + ci),
        RULE("-= complex", a -= c, r - cr, i - ci),
        RULE("*= complex", a *= c, Mixed(r, i, cr, ci)),
        RULE("/= complex", a /= c, Mixed(r, i, F(D(cr) / d), F((0.0 - D(ci)) / d))),
        RULE("*= double", a *= 0.1, r * 0.1f, i * 0.1f),
        RULE("/= double", a /= 10.0, F(D(r) * (1.0 / 10.0)), F(D(i) * (1.0 / 10.0))),
        RULE("a *= a", a *= a, r * r - i * i, r * i + i * r),
        // clang-format on
    };
    for (const auto& t : cases)
        for (const Threads threads : EachTeam({1, 2, 3, 7}))
        {
            Lumora a(16, 4), b(16, 4);
            FillRandom(a, 11);
            FillRandom(b, 12);
            a[0] = Complex(0.0, 0.0);
            Lumora expected(a);
            for (std::size_t n = 0; n < a.N(); ++n)
                std::tie(expected[n].real(), expected[n].imag()) =
                    t.rule(a[n].Real(), a[n].Imag(), b[n].Real(), b[n].Imag());
            t.run(a, b);
            EXPECT_TRUE(SameBits(a, expected)) << t.name << " on " << threads;
        }
}

TEST(Arithematic, SpecialValues)
{
    Lumora a(8, 8);
    FillRandom(a);
    EXPECT_TRUE(std::isnan((a /= ComplexDouble(0, 0))[0].Real()));
    a.Clear();
    EXPECT_EQ(Bits((-a)[5].Real()), 0u); // +0 stays +0
    Lumora one(1, 1);                    // fewer samples than a vector holds
    one.SetConst(Complex(3.0, 4.0));
    EXPECT_TRUE(((one += one) *= one)[0] == Complex(-28.0, 96.0));
}

TEST(Arithematic, Fills)
{
    for (const Threads threads : EachTeam({1, 3}))
    {
        Lumora f(8, 4);
        FillRandom(f, 5);
        f.SetConstReal(0.1).SetConstImag(-2.0);
        for (std::size_t n = 0; n < f.N(); ++n)
            EXPECT_TRUE(f[n] == Complex(0.1, -2.0));
        f.SetConst(f[3]);
        f.Clear();
        f.SetConstAmplitude(1.0);
        EXPECT_TRUE(f[9] == Complex(1.0, 0.0));

        FillRandom(f, 6);
        const Lumora before(f);
        f.Form() = POLAR_SPECTRUM; // first member amplitude: both fills take it as such and leave cartesian samples
        f.SetConstPhase(4.0);
        EXPECT_EQ(f.Form(), SPECTRUM);
        for (std::size_t n = 0; n < f.N(); ++n)
        {
            EXPECT_NEAR(f[n].Real(), before.GetDataPointer()[n].Real() * std::cos(4.0), 1e-7);
            EXPECT_NEAR(f[n].Imag(), before.GetDataPointer()[n].Real() * std::sin(4.0), 1e-7);
        }
    }
}

TEST(Arithematic, WindowFillsStayInTheWindowAndInTheGrid)
{
    const struct
    {
        LML_RECT window;
        int left, right, bottom, top; // the part inside 8 by 4
    } table[] = {{LML_RECT(2, 2, 4, 1), 2, 4, 1, 2},
                 {LML_RECT(0, 4, 8, 0), 0, 8, 0, 4},
                 {LML_RECT(5, 3, 2, 1), 0, 0, 0, 0},
                 {LML_RECT(2, 1, 4, 3), 0, 0, 0, 0},
                 {LML_RECT(-9, 99, 99, -9), 0, 8, 0, 4},
                 {LML_RECT(100, 9, 200, 5), 0, 0, 0, 0},
                 {LML_RECT(7, INT_MAX, INT_MAX, 3), 7, 8, 3, 4}};
    using Fill = std::function<void(Lumora&)>;
    const Fill fills[] = {[](Lumora& f) { f.SetConstWin(Complex(9.0, 9.0)); },
                          [](Lumora& f) { f.SetConstWinReal(9.0); }, [](Lumora& f) { f.SetConstWinImag(9.0); },
                          [](Lumora& f) { f.SetConstWinAmplitude(9.0); },
                          [](Lumora& f)
                          {
                              f.SetConstWinPhase(3.1);
                          }};
    for (const Threads threads : EachTeam({1, 2, 7}))
        for (const auto& t : table)
            for (const Fill& fill : fills)
            {
                Lumora f(8, 4);
                f.SetConst(Complex(0.5, 0.25));
                f.Window() = t.window;
                fill(f);
                for (const auto [i, j] : Grid(8, 4))
                {
                    const bool inside = i >= t.left && i < t.right && j >= t.bottom && j < t.top;
                    const Complex c = f.GetPixel(i, j);
                    const bool changed = std::abs(c.Real() - 0.5f) + std::abs(c.Imag() - 0.25f) > 0.1f;
                    EXPECT_EQ(changed, inside) << i << ", " << j;
                }
            }
}

TEST(Arithematic, HalvesOfAssignment)
{
    Lumora src(8, 8, 2e-6, 3e-6, 5e-7);
    FillRandom(src);
    src.Form() = SPECTRUM;
    src.SetWindow(1, 7, 2, 6).SetOrigin(Vector(1, 2, 3)).SetNormalVector(Vector(0, 1, 0));
    Lumora f(4, 4);
    f.CopyData(src);
    EXPECT_TRUE(SameBits(f, src));
    EXPECT_EQ(f.Window().right, 4);
    EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
    EXPECT_EQ(f.GetPx(), 1e-6);
    Lumora g(4, 4);
    g.CopyParam(src);
    EXPECT_EQ(g.GetNx(), 4);
    EXPECT_EQ(g.Window().right, 7); // may lie outside the target grid; window operations stay inside
    g.SetConstWin(Complex(1.0, 0.0));
    EXPECT_EQ(g.Form(), SPECTRUM);
    EXPECT_EQ(g.GetPy(), 3e-6);
    EXPECT_EQ(g.k(), src.k());
    EXPECT_EQ(g.GetOrigin().z, 3.0);
    EXPECT_EQ(g.GetNormalVector().y, 1.0);
}
