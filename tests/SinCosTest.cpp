// The sine and cosine against higher precision, and the wide rows of phase factors against plain loops, bit for bit.
#include "simd/SinCos.h"
#include "TestTools.h"
#include "base/Isa.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#if defined(LML_TEST_MPFR)
#include <mpfr.h>
#endif

using namespace LumoraLib::detail;

namespace
{
constexpr double kPi = 3.141592653589793;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

#if defined(LML_TEST_MPFR)
/// Distance of v from the true value in units of the last place of the double next to it.
class Oracle
{
public:
    Oracle() { mpfr_inits2(160, x_, s_, c_, d_, static_cast<mpfr_ptr>(nullptr)); }
    ~Oracle() { mpfr_clears(x_, s_, c_, d_, static_cast<mpfr_ptr>(nullptr)); }
    void At(double x)
    {
        mpfr_set_d(x_, x, MPFR_RNDN);
        mpfr_sin_cos(s_, c_, x_, MPFR_RNDN);
    }
    double SineError(double v) { return Error(s_, v); }
    double CosineError(double v) { return Error(c_, v); }

private:
    double Error(mpfr_t t, double v)
    {
        mpfr_sub_d(d_, t, v, MPFR_RNDN);
        return std::fabs(mpfr_get_d(d_, MPFR_RNDN)) / Unit(mpfr_get_d(t, MPFR_RNDN));
    }
    mpfr_t x_, s_, c_, d_;
    static double Unit(double t)
    {
        int e;
        std::frexp(t, &e);
        return std::ldexp(1.0, std::max(e - 53, -1074));
    }
};
#endif

/// Angles whose distance from a multiple of pi/2 is smallest for their size among all doubles (continued fractions of
/// pi/2 times powers of two), below kSinCosFar and beyond.
const double kClosest[] = {0x1.6c6cbc45dc8dep+5,   0x1.6c6cbc45dc8dep+6,   0x1.b951f1572eba5p+23,
                           0x1.b951f1572eba5p+24,  0x1.6c6cbc45dc8dep+8,   0x1.b951f1572eba5p+26,
                           0x1.6c6cbc45dc8dep+10,  0x1.6ac5b262ca1ffp+849, 0x1.6ac5b262ca1ffp+850,
                           0x1.504cac51f1eafp+131, 0x1.e009c53148be1p+991, 0x1.4c96c11134d36p+577};

/// Angles of every kind, scrambled so that neighbouring lanes take different ways.
std::vector<double> AllKinds()
{
    // clang-format off
    const double special[] = {
        0.0, -0.0, DBL_TRUE_MIN, -DBL_TRUE_MIN, DBL_MIN, 1e-160, 1e-9, 0x1p-27, kPi / 4, std::nextafter(kPi / 4, 1), kPi / 2, kPi, -kPi, 3 * kPi / 2,
        2 * kPi, 1e6 * kPi, kSinCosFar, std::nextafter(kSinCosFar, 0), std::nextafter(kSinCosFar, kInf), -kSinCosFar, 0x1p30, 0x1p53, 1e22, DBL_MAX, -DBL_MAX, kInf, -kInf, kNan};
    // clang-format on
    std::vector<double> x(std::begin(special), std::end(special));
    x.insert(x.end(), std::begin(kClosest), std::end(kClosest));
    std::mt19937_64 g(5);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (int i = 0; i < 60; ++i)
    {
        x.push_back(unit(g) * std::ldexp(1.0, i));
        x.push_back(std::round(unit(g) * std::ldexp(1.0, i / 2)) * (kPi / 2));
    }
    std::shuffle(x.begin(), x.end(), g);
    return x;
}

template <class T>
bool SameBits(const T& a, const T& b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof(T)) == 0;
}
template <class T>
std::ptrdiff_t FirstDifference(const std::vector<T>& a, const std::vector<T>& b)
{
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!SameBits(a[i], b[i]))
            return static_cast<std::ptrdiff_t>(i);
    return -1;
}

using lmltest::AtEveryIsa;

const std::size_t kLengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 11, 15, 16, 17, 23, 31, 32, 33, 255, 256, 257, 263, 515};
} // namespace

#if defined(LML_TEST_MPFR)
TEST(SinCos, StaysBelowNineTenthsOfAUnitInTheLastPlace)
{
    Oracle oracle;
    std::mt19937_64 g(11);
    std::uniform_real_distribution<double> unit(0, 1);
    // clang-format off
    const auto uniform = [&](double low, double high) { return [&, low, high] { return low + unit(g) * (high - low); }; };
    const auto spread = [&](double low, double high)
    { return [&, low, high] { return std::exp(std::log(low) + unit(g) * (std::log(high) - std::log(low))); }; };
    // clang-format on
    const auto nearMultiple = [&](double largest)
    {
        return [&, largest]
        {
            double x = std::floor(1 + unit(g) * largest) * (kPi / 2);
            for (int n = static_cast<int>(unit(g) * 4); n > 0; --n)
                x = std::nextafter(x, unit(g) < 0.5 ? 0 : kInf);
            return x;
        };
    };
    const struct
    {
        const char* name;
        std::function<double()> draw;
    } ranges[] = {{"first octant", uniform(0, kPi / 4)},
                  {"tiny", spread(1e-310, 1e-3)},
                  {"a turn", uniform(-7, 7)},
                  {"to 1e3", uniform(0, 1e3)},
                  {"to 1e6", uniform(-1e6, 1e6)},
                  {"to the limit", uniform(0, kSinCosFar)},
                  {"around the limit", uniform(0.999999 * kSinCosFar, 1.000001 * kSinCosFar)},
                  {"beyond, to 1e12", uniform(-1e12, 1e12)},
                  {"beyond, to the largest", spread(1e9, 1e308)},
                  {"near multiples of pi/2", nearMultiple(5e8)},
                  {"near few multiples of pi/2", nearMultiple(5e3)},
                  {"octant limits", [&]
                   {
                       return (std::floor(unit(g) * 1e6) + 0.5 + 1e-9 * unit(g)) * (kPi / 2);
                   }}};
    for (const auto& range : ranges)
    {
        double worst = 0, at = 0;
        for (int i = 0; i < 20000; ++i)
        {
            const double x = range.draw();
            double s, c;
            SinCos1(x, s, c);
            oracle.At(x);
            const double e = std::max(oracle.SineError(s), oracle.CosineError(c));
            if (!(e <= worst))
                worst = e, at = x;
        }
        EXPECT_LT(worst, 0.9) << range.name << " at " << std::hexfloat << at;
        RecordProperty(range.name, std::to_string(worst));
    }
    for (double x : kClosest)
    {
        double s, c;
        SinCos1(x, s, c);
        oracle.At(x);
        EXPECT_LT(std::max(oracle.SineError(s), oracle.CosineError(c)), 0.9) << std::hexfloat << x;
    }
}
#endif

TEST(SinCos, KeepsSymmetriesAndSpecialValues)
{
    double s, c, sn, cn;
    for (double x : AllKinds())
    {
        SinCos1(x, s, c);
        SinCos1(-x, sn, cn);
        EXPECT_TRUE(SameBits(sn, -s) && SameBits(cn, c)) << std::hexfloat << x;
        EXPECT_TRUE(std::isfinite(x) ? std::fabs(s) <= 1 && std::fabs(c) <= 1 : std::isnan(s) && std::isnan(c));
        EXPECT_TRUE(!(std::fabs(x) < 1e-9) || (SameBits(s, x) && c == 1.0)) << std::hexfloat << x;
    }
}

TEST(SinCos, EveryLaneOfEveryWidthHasTheScalarBits)
{
    const std::vector<double> kinds = AllKinds();
    std::mt19937_64 g(3);
    AtEveryIsa(
        [&]
        {
            for (std::size_t n : kLengths)
                for (int round = 0; round < 8; ++round)
                {
                    std::vector<double> x(n), s(n + 2, 7.5), c(n + 2, 7.5), es(s), ec(c);
                    for (std::size_t i = 0; i < n; ++i)
                    {
                        x[i] = kinds[g() % kinds.size()];
                        SinCos1(x[i], es[i], ec[i]);
                    }
                    Phases().sinCos(x.data(), n, s.data(), c.data());
                    ASSERT_EQ(FirstDifference(s, es), -1) << n;
                    ASSERT_EQ(FirstDifference(c, ec), -1) << n;
                }
        });
}

TEST(SinCos, TransferFunctionRoundsToTheFloatsOfTheCLibrary)
{
    const double lambda = 532e-9, du = 1 / (2048 * 1e-6), c = 1 / (lambda * lambda);
    const std::size_t n = 1024;
    std::size_t different = 0, samples = 0;
    std::vector<float> re(n), im(n);
    for (double d : {0.01, 0.3, 10.0})
        for (int j = 0; j < 683; ++j)
        {
            const double v = j * 1.5 * du, tpd = 6.283185307179586 * d;
            Phases().unitSplit(PhaseForm::Transfer(du, c, v * v, tpd), 0, n, re.data(), im.data());
            for (std::size_t i = 0; i < n; ++i, ++samples)
            {
                const double u = static_cast<double>(i) * du, w = c - v * v - u * u;
                ASSERT_GT(w, 0);
                const double phase = tpd * std::sqrt(w);
                different += re[i] != static_cast<float>(std::cos(phase));
                different += im[i] != static_cast<float>(std::sin(phase));
            }
        }
    // Rounding to float hides a double's last place but for one in about 2^29 values per unit of difference.
    EXPECT_LE(different, 2u) << "of " << 2 * samples;
    RecordProperty("different", std::to_string(different) + " of " + std::to_string(2 * samples));
}

namespace
{
std::int32_t Column(std::int32_t first, std::size_t i)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(first) + static_cast<std::uint32_t>(i));
}

/// A form beside the phase of one column in plain words.
struct FormCase
{
    const char* name;
    PhaseForm form;
    std::function<double(std::int32_t column, std::size_t i)> phase;
};

std::vector<FormCase> FormCases(const std::vector<double>& given)
{
    const double lambda = 633e-9, c = 1 / (lambda * lambda), du = 3.1e3, v2 = 4.1e9, tpd = 2 * kPi * 0.05;
    const double px = 1.7e-6, y = 3e-4, k = 2 * kPi / lambda, d = 0.13;
    // Beyond column 509 the root's argument is negative.
    const double x0 = 1e-3, z0 = 0.1, y0v = -33.25;
    // clang-format off
    const auto transfer = [=](double c2, double v22, double way, std::int32_t i) {
        const double u = i * du, w = c2 - v22 - u * u;
        return w > 0 ? way * std::sqrt(w) : 0.0;
    };
    const auto shifted = [=](double step, std::int32_t i) {
        const double u = i * step;
        return 6.283185307179586 * (x0 * u + z0 * std::sqrt(c - u * u - v2) + y0v);
    };
    std::vector<FormCase> cases = {
        {"given", PhaseForm::Given(given.data()), [&given](std::int32_t, std::size_t i) { return given[i]; }},
        {"transfer", PhaseForm::Transfer(du, c, v2, tpd), [=](std::int32_t i, std::size_t) { return transfer(c, v2, tpd, i); }},
        {"transfer of an endless way", PhaseForm::Transfer(du, 1e12, 0, kInf),
         [=](std::int32_t i, std::size_t) { return transfer(1e12, 0, kInf, i); }},
        {"shifted", PhaseForm::Shifted(-du, x0, z0, c, v2, y0v), [=](std::int32_t i, std::size_t) { return shifted(-du, i); }},
        {"fresnel in", PhaseForm::FresnelIn(px, y * y, k, d + d),
         [=](std::int32_t i, std::size_t) { const double x = i * px; return static_cast<float>((y * y + x * x) * k / (d + d)); }},
        {"fresnel out", PhaseForm::FresnelOut(px, y * y, k, d + d, d),
         [=](std::int32_t i, std::size_t) { const double x = i * px; return static_cast<float>(((y * y + x * x) / (d + d) + d) * k); }},
        {"plane wave", PhaseForm::PlaneVector(5.5, k * 0.02, px),
         [=](std::int32_t i, std::size_t) { return 5.5 + i * (k * 0.02) * px; }},
        {"plane wave by cosines", PhaseForm::PlaneCosines(5.5, 1e-5, 0.02, px, k),
         [=](std::int32_t i, std::size_t) { return 5.5 + (1e-5 + i * 0.02 * px) * k; }},
        {"lens", PhaseForm::Lens(px, y * y, -k, 2 * d),
         [=](std::int32_t i, std::size_t) { const double x = i * px; return -k * (x * x + y * y) / (2 * d); }}};
    // clang-format on
    return cases;
}

struct Pair
{
    double re, im;
};
Pair Times(Pair a, Pair b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

/// One sample of PhaseTable::multiply, from the rules' words.
void PlainProduct(const PhaseProduct& how, double cosine, double sine, const float* from, float* to)
{
    const float c = static_cast<float>(cosine), s = static_cast<float>(sine), a = from[0], b = from[1];
    float re = 0, im = 0;
    switch (how.rule)
    {
    case PhaseProduct::Rule::Mixed:
        re = static_cast<float>(static_cast<double>(c) * a - static_cast<double>(b * s));
        im = static_cast<float>(static_cast<double>(a) * s + static_cast<double>(b * c));
        break;
    case PhaseProduct::Rule::Rounded:
    {
        const Pair p = Times({a, b}, {c, s});
        re = static_cast<float>(p.re), im = static_cast<float>(p.im);
        break;
    }
    case PhaseProduct::Rule::Double:
    {
        Pair f{cosine, sine};
        if (how.hasPre)
            f = Times({how.preRe, how.preIm}, f);
        Pair p = Times({a, b}, f);
        if (how.hasPost)
            p = Times(p, {how.postRe, how.postIm});
        re = static_cast<float>(p.re), im = static_cast<float>(p.im);
        break;
    }
    }
    to[0] = re;
    to[1] = im;
}

std::vector<float> RandomSamples(std::size_t n, unsigned seed)
{
    std::mt19937 g(seed);
    std::normal_distribution<float> normal;
    std::vector<float> z(2 * n);
    for (float& v : z)
        v = normal(g) * std::ldexp(1.0f, static_cast<int>(g() % 40) - 20);
    for (std::size_t i = 0; i + 40 < 2 * n; i += 37)
        z[i] = i % 2 != 0 ? 0.0f : 1e-44f;
    if (n > 5)
        z[9] = std::numeric_limits<float>::infinity();
    return z;
}

std::vector<PhaseProduct> Products()
{
    std::vector<PhaseProduct> list;
    using Rule = PhaseProduct::Rule;
    for (Rule rule : {Rule::Mixed, Rule::Rounded, Rule::Double})
    {
        PhaseProduct p;
        p.rule = rule;
        list.push_back(p);
        if (rule != Rule::Double)
            continue;
        p.hasPre = true;
        p.preRe = 0, p.preIm = -0.37;
        list.push_back(p);
        p.hasPost = true;
        p.postRe = 1.25, p.postIm = 3e-3;
        list.push_back(p);
        p.hasPre = false;
        list.push_back(p);
    }
    return list;
}

/// Given phases of all kinds, enough for the longest row.
std::vector<double> GivenPhases()
{
    std::vector<double> given = AllKinds();
    while (given.size() < 600)
        given.push_back(given[given.size() * 7 % 101] * 1.0625 + 0.5);
    return given;
}
} // namespace

TEST(WidePhase, UnitRowsEqualThePlainLoop)
{
    const std::vector<double> given = GivenPhases();
    for (const FormCase& f : FormCases(given))
        for (std::int32_t first : {0, -200, 46300, std::numeric_limits<std::int32_t>::max() - 9})
        {
            SCOPED_TRACE(std::string(f.name) + " from " + std::to_string(first));
            const std::size_t most = 515;
            std::vector<float> re(most), im(most);
            for (std::size_t i = 0; i < most; ++i)
            {
                const std::int32_t column = Column(first, i);
                double s = 0, c = 0;
                SinCos1(f.phase(column, i), s, c);
                re[i] = static_cast<float>(c);
                im[i] = static_cast<float>(s);
            }
            AtEveryIsa(
                [&]
                {
                    for (std::size_t n : kLengths)
                    {
                        // One untouched sample at either end.
                        std::vector<float> up(2 * n + 4, 9), down(up), both(up), bothDown(up), r(n + 2, 9), m(r);
                        std::vector<float> eUp(up), eDown(up), er(r), em(r);
                        for (std::size_t i = 0; i < n; ++i)
                        {
                            eUp[2 * i + 2] = eDown[2 * (n - i)] = er[i + 1] = re[i];
                            eUp[2 * i + 3] = eDown[2 * (n - i) + 1] = em[i + 1] = im[i];
                        }
                        const PhaseTable& t = Phases();
                        t.unit(f.form, first, n, up.data() + 2, nullptr);
                        t.unit(f.form, first, n, nullptr, down.data() + 2 * n);
                        t.unit(f.form, first, n, both.data() + 2, bothDown.data() + 2 * n);
                        t.unitSplit(f.form, first, n, r.data() + 1, m.data() + 1);
                        ASSERT_EQ(FirstDifference(up, eUp), -1) << n;
                        ASSERT_EQ(FirstDifference(down, eDown), -1) << n;
                        ASSERT_EQ(FirstDifference(both, eUp), -1) << n;
                        ASSERT_EQ(FirstDifference(bothDown, eDown), -1) << n;
                        ASSERT_EQ(FirstDifference(r, er), -1) << n;
                        ASSERT_EQ(FirstDifference(m, em), -1) << n;
                    }
                });
        }
}

TEST(WidePhase, PhasesSetAndPolarSamplesEqualThePlainLoop)
{
    const std::vector<double> given = GivenPhases();
    const FormCase f = FormCases(given)[0];
    const std::int32_t first = -170;
    const auto turn = [](float* z, double amplitude, double phase)
    {
        double s = 0, c = 0;
        SinCos1(phase, s, c);
        z[0] = static_cast<float>(amplitude * c);
        z[1] = static_cast<float>(amplitude * s);
    };
    AtEveryIsa(
        [&]
        {
            for (std::size_t n : kLengths)
            {
                std::vector<float> set = RandomSamples(n + 1, 3), plain = set, polar = set, plainPolar = set;
                Phases().setPhase(f.form, first, n, set.data());
                Phases().polarToComplex(polar.data(), n);
                for (std::size_t i = 0; i < n; ++i)
                {
                    float* const z = &plain[2 * i];
                    const double re = z[0];
                    turn(z, std::sqrt(re * re + z[1] * z[1]), f.phase(Column(first, i), i));
                    turn(&plainPolar[2 * i], plainPolar[2 * i], plainPolar[2 * i + 1]);
                }
                ASSERT_EQ(FirstDifference(set, plain), -1) << n;
                ASSERT_EQ(FirstDifference(polar, plainPolar), -1) << n;
            }
        });
}

TEST(WidePhase, ProductsEqualThePlainLoop)
{
    const std::vector<double> given = GivenPhases();
    const std::int32_t first = -170;
    for (const FormCase& f : FormCases(given))
    {
        SCOPED_TRACE(f.name);
        std::vector<double> sine(515), cosine(515);
        for (std::size_t i = 0; i < 515; ++i)
            SinCos1(f.phase(Column(first, i), i), sine[i], cosine[i]);
        for (const PhaseProduct& how : Products())
            AtEveryIsa(
                [&]
                {
                    for (std::size_t n : kLengths)
                    {
                        const std::vector<float> from = RandomSamples(n, 1);
                        std::vector<float> to = RandomSamples(n + 1, 2), plain = to, own = from, ownPlain = from;
                        for (std::size_t i = 0; i < n; ++i)
                        {
                            PlainProduct(how, cosine[i], sine[i], &from[2 * i], &plain[2 * i]);
                            PlainProduct(how, cosine[i], sine[i], &from[2 * i], &ownPlain[2 * i]);
                        }
                        Phases().multiply(f.form, how, first, n, from.data(), to.data());
                        Phases().multiply(f.form, how, first, n, own.data(), own.data());
                        const int rule = static_cast<int>(how.rule);
                        ASSERT_EQ(FirstDifference(to, plain), -1) << n << " rule " << rule;
                        ASSERT_EQ(FirstDifference(own, ownPlain), -1) << n << " rule " << rule;
                    }
                });
    }
}
