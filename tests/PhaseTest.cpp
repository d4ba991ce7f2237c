// Quantised amplitudes and phases, random phase, lens phase: value tables, forms in and out, refusals.
#include "TestTools.h"

#include <set>

using namespace lmltest;

namespace
{
constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kLevelPi = 3.1415926;
constexpr float kEndless = std::numeric_limits<float>::infinity();

float F(double v)
{
    return static_cast<float>(v);
}

Lumora PolarRow(const std::vector<float>& first, const std::vector<float>& second)
{
    Lumora f(static_cast<int>(first.size()), 1);
    f.Clear();
    for (std::size_t n = 0; n < first.size(); ++n)
    {
        f[n].real() = first[n];
        f[n].imag() = second[n % second.size()];
    }
    f.Form() = POLAR_AMPLITUDE;
    return f;
}

} // namespace

TEST(Phase, HardClipAmplitudeTable)
{
    struct Case
    {
        int levels;
        float from, to;
    };
    const float third = 1.0f / 3.0f;
    const Case table[] = {{2, 0.0f, 0.0f},         {2, 0.49f, 0.0f},
                          {2, 0.5f, 1.0f},         {2, 0.99f, 1.0f},
                          {2, 7.0f, 1.0f},         {4, 3.0f, 1.0f},
                          {4, 0.16f, 0.0f},        {4, 0.17f, third},
                          {4, 0.83f, 2.0f / 3.0f}, {4, 0.84f, 1.0f},
                          {4, 1e9f, 1.0f},         {4, 3e38f, 1.0f},
                          {4, kEndless, 1.0f},     {256, 0.5f, 128.0f / 255.0f},
                          {1, 0.3f, 0.3f},         {0, 0.3f, 0.3f},
                          {-3, 0.3f, 0.3f},        {2147483647, 5.0f, 1.0f}};
    for (const auto& t : table)
        for (const ComplexForm form : {POLAR_AMPLITUDE, COMPLEX_AMPLITUDE, SPECTRUM})
        {
            Lumora f = PolarRow({t.from, 0.0f}, {0.0f});
            f.Form() = form; // with phase 0 the pair is the same in cartesian form
            f.HardClipAmplitude(t.levels);
            EXPECT_EQ(f[0].Real(), t.to) << t.levels << " levels, " << t.from;
            EXPECT_EQ(f[0].Imag(), 0.0f);
            EXPECT_EQ(f.Form(), form);
        }
    Lumora odd = PolarRow({std::numeric_limits<float>::quiet_NaN(), 0.2f}, {5.0f});
    odd.HardClipAmplitude(3);
    EXPECT_TRUE(std::isnan(odd[0].Real()));
    EXPECT_EQ(odd[1].Imag(), 5.0f); // phases are not touched, also outside a turn
}

TEST(Phase, PartialClipAmplitudeTable)
{
    const struct
    {
        int levels;
        double epsilon;
        float from;
        double to;
    } table[] = {{3, 0.25, 0.12f, 0.0},   {3, 0.25, 0.125f, 0.0}, {3, 0.25, 0.13f, 0.13f},  {3, 0.25, 0.37f, 0.37f},
                 {3, 0.25, 0.375f, 0.5},  {3, 0.25, 0.5f, 0.5},   {3, 0.25, 0.9f, 1.0},     {3, 0.25, 1.3f, 1.0},
                 {3, 0.0, 0.37f, 0.37f},  {3, 0.0, 1.2f, 1.0},    {3, 0.5, 0.26f, 0.5},     {3, 0.5, 0.24f, 0.0},
                 {2, 0.1, kEndless, 1.0}, {1, 0.1, 0.07f, 0.07f}, {3, 0.50001, 0.26f, 0.5}, {3, -0.0, 0.25f, 0.25}};
    for (const auto& t : table)
    {
        Lumora f = PolarRow({t.from, 0.0f}, {1.25f});
        f.PartialClipAmplitude(t.levels, t.epsilon);
        EXPECT_FLOAT_EQ(f[0].Real(), F(t.to)) << t.levels << " levels, " << t.epsilon << ", " << t.from;
        EXPECT_EQ(f[0].Imag(), 1.25f);
    }
}

TEST(Phase, ClippedPhaseTables)
{
    const struct
    {
        int levels;
        double epsilon; // below 0: hard
        double from, to;
    } table[] = {{1, -1, 0.0, kLevelPi},    {1, -1, -kPi, kLevelPi},    {1, -1, 3.0, kLevelPi},
                 {2, -1, 0.0, 0.0},         {2, -1, 1.5, 0.0},          {2, -1, 1.6, kLevelPi},
                 {2, -1, -1.5, 0.0},        {2, -1, -1.6, kLevelPi},    {2, -1, -kPi, kLevelPi},
                 {4, -1, 0.7, 0.0},         {4, -1, 0.9, kLevelPi / 2}, {4, -1, -2.3, -kLevelPi / 2},
                 {4, -1, -2.4, kLevelPi},   {0, -1, 0.3, 0.3},          {-2, -1, 0.3, 0.3},
                 {4, 0.25, 0.3, 0.0},       {4, 0.25, 0.5, 0.5},        {4, 0.25, 1.2, kLevelPi / 2},
                 {4, 0.25, -3.1, kLevelPi}, {4, 0.25, -kPi, kLevelPi},  {4, 0.0, -kPi, kLevelPi},
                 {4, 0.0, 0.5, 0.5},        {4, 0.5, 0.7, 0.0},         {4, 0.5, 0.9, kLevelPi / 2},
                 {0, 0.1, 0.3, 0.3},        {1, 0.5, 0.1, kLevelPi},    {4, -1, 1e30, kLevelPi}};
    for (const auto& t : table)
        for (const ComplexForm form : {POLAR_AMPLITUDE, POLAR_SPECTRUM})
        {
            Lumora f = PolarRow({2.5f}, {F(t.from)});
            f.Form() = form;
            if (t.epsilon < 0)
                f.HardClipPhase(t.levels);
            else
                f.PartialClipPhase(t.levels, t.epsilon);
            EXPECT_NEAR(f[0].Imag(), t.to, 3e-7) << t.levels << " levels, " << t.epsilon << ", " << t.from;
            EXPECT_EQ(f[0].Real(), 2.5f);
            EXPECT_EQ(f.Form(), form);
        }
}

TEST(Phase, FormsComeBack)
{
    const CallTable shapings = {LML_CALL("", f.HardClipAmplitude(3)), LML_CALL("", f.PartialClipAmplitude(3, 0.2)),
                                LML_CALL("", f.HardClipPhase(5)), LML_CALL("", f.PartialClipPhase(5, 0.2))};
    for (std::size_t s = 0; s < 4; ++s)
        for (const Engine engine : EachEngine())
        {
            Open polar(8, 4);
            FillRandom(polar, 3);
            for (std::size_t n = 0; n < polar.N(); ++n)
                polar[n].real() = std::abs(polar[n].Real());
            polar.Form() = POLAR_AMPLITUDE;
            Lumora expected(polar);
            shapings[s].second(expected, 0);
            for (const ComplexForm form : {COMPLEX_AMPLITUDE, SPECTRUM, POLAR_SPECTRUM})
            {
                Lumora f(polar);
                if (form != POLAR_SPECTRUM) // the same samples as cartesian ones
                    for (std::size_t n = 0; n < f.N(); ++n)
                    {
                        const Complex c = f[n];
                        f[n] = Complex(c.GetReal() * std::cos(c.GetImag()), c.GetReal() * std::sin(c.GetImag()));
                    }
                f.Form() = form;
                shapings[s].second(f, 0);
                EXPECT_EQ(f.Form(), form);
                // Kept: the amplitude operations leave a polar spectrum with cartesian samples and its flags.
                const bool cartesian = form != POLAR_SPECTRUM || s < 2;
                for (std::size_t n = 0; n < f.N(); ++n)
                {
                    const double a = expected[n].GetReal();
                    const double phi = expected[n].GetImag();
                    EXPECT_NEAR(f[n].GetReal(), cartesian ? a * std::cos(phi) : a, 1e-6) << s << ", " << form;
                    EXPECT_NEAR(f[n].GetImag(), cartesian ? a * std::sin(phi) : phi, 1e-6) << s << ", " << form;
                }
            }
            EXPECT_EQ(Catch([&] { polar.PullForm(); }).message, "Stack size under"); // nothing left on the stack
        }
}

TEST(Phase, RandomPhasesSpanTheTurnEvenly)
{
    Lumora f(256, 256);
    f.Clear();
    f.Form() = POLAR_AMPLITUDE;
    std::srand(11);
    f.SetRandomPhase();
    double low = 9;
    double high = -9;
    int bins[16] = {};
    std::set<float> values;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        EXPECT_EQ(f[n].Real(), 1.0f);
        const double phi = f[n].GetImag();
        low = std::min(low, phi);
        high = std::max(high, phi);
        values.insert(f[n].Imag());
        ++bins[std::min(15, static_cast<int>((phi + kPi) / kTwoPi * 16))];
    }
    EXPECT_GE(low, F(-kPi));
    EXPECT_LE(high, F(kPi));
    EXPECT_LT(low, -3.14);
    EXPECT_GT(high, 3.14);
    EXPECT_GT(values.size(), 20000u); // of 32768 values, drawn twice each on average
    for (const int n : bins)
        EXPECT_NEAR(n, 4096, 6 * 62); // six standard deviations
}

TEST(Phase, RandomPhasesColumnByColumn)
{
    const auto phases = [](int nx, int ny)
    {
        Lumora f(nx, ny);
        f.SetConst(Complex(0.5, 0.25));
        f.Form() = POLAR_SPECTRUM;
        std::srand(5);
        f.ModRandomPhase();
        return f;
    };
    Lumora f = phases(4, 8);
    Lumora line = phases(1, 32);
    EXPECT_TRUE(SameBits(f, phases(4, 8)));
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 8; ++j)
        {
            EXPECT_EQ(f.Imag(i, j), line.Imag(0, 8 * i + j));
            EXPECT_EQ(f.Real(i, j), 0.5f); // amplitudes stay, phases are replaced
        }
    Lumora next(4, 8); // without a seed in between the sequence goes on
    next.SetConst(Complex(0.5, 0.25));
    next.Form() = POLAR_SPECTRUM;
    next.ModRandomPhase();
    EXPECT_FALSE(SameBits(f, next));
}

TEST(Phase, RandomPhaseOnCartesianSamples)
{
    Lumora f(16, 16);
    FillRandom(f, 2);
    Lumora start(f);
    f.ModRandomPhase();
    EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
    Lumora unit(start);
    unit.SetRandomPhase();
    int moved = 0;
    for (const auto [i, j] : Grid(16, 16))
    {
        EXPECT_NEAR(f.Amplitude(i, j), start.Amplitude(i, j), 2e-7);
        moved += std::abs(static_cast<double>(f.Phase(i, j)) - start.Phase(i, j)) > 0.01;
        // Kept: the imaginary part that was there enters the amplitude.
        const double im = start.GetImag(i, j);
        EXPECT_NEAR(unit.Amplitude(i, j), std::sqrt(1.0 + im * im), 2e-7);
    }
    EXPECT_GT(moved, 250);
    f.Clear();
    f.SetRandomPhase();
    EXPECT_NEAR(f.GetSquareAverage(), 1.0, 1e-7);
}

TEST(Phase, QuadraticPhaseIsThatOfAThinLens)
{
    for (const auto& [focus, nx] : {std::pair{0.1, 32}, {-0.05, 32}, {1e-4, 2}, {1e-4, 8}})
        for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_SPECTRUM})
        {
            Lumora f(nx, 16, 3e-6, 5e-6, 5e-7);
            FillRandom(f, 4);
            f.Form() = form; // neither read nor changed
            const Lumora before(f);
            const double distance = focus;
            Lumora first(1);
            InEveryForm(
                [&]
                {
                    (f = before).SetQuadraticPhase(distance);
                    first = first.N() == 1 ? f : first;
                    EXPECT_TRUE(SameBits(f, first));
                });
            EXPECT_EQ(f.Form(), form);
            for (const auto [i, j] : Grid(f))
            {
                const double r2 = f.X(i) * f.X(i) + f.Y(j) * f.Y(j);
                const double theta = -f.k() * r2 / (2 * focus);
                const double a = before.Amplitude(i, j);
                EXPECT_NEAR(f.GetReal(i, j), a * std::cos(theta), 1e-7);
                EXPECT_NEAR(f.GetImag(i, j), a * std::sin(theta), 1e-7);
            }
        }
    Lumora f(4, 4);
    f.SetConst(Complex(1.0, 0.0));
    f.SetQuadraticPhase(0.0); // no focus: the floating-point result
    EXPECT_TRUE(std::isnan(f[0].Real()));
    f.SetConst(Complex(3.0, 4.0));
    f.SetQuadraticPhase(std::numeric_limits<double>::infinity()); // a plane plate
    EXPECT_TRUE(f[5] == Complex(5.0, 0.0));
}
