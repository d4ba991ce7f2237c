// Measures against sums and maxima formed here from the samples: every form, window, thread count and engine choice.
#include "TestTools.h"

using namespace lmltest;

namespace
{
const EachTeam kThreads({1, 2, 3, 7});
constexpr ComplexForm kForms[] = {COMPLEX_AMPLITUDE, SPECTRUM, POLAR_AMPLITUDE, POLAR_SPECTRUM};

double D(float v)
{
    return static_cast<double>(v);
}

double Mag(const Complex& u, ComplexForm form)
{
    return form == POLAR_AMPLITUDE ? D(u.Real()) : std::sqrt(D(u.Real()) * D(u.Real()) + D(u.Imag()) * D(u.Imag()));
}

double Sq(const Complex& u, ComplexForm form)
{
    const float square = u.Real() * u.Real();
    return form == POLAR_AMPLITUDE ? D(square) : D(u.Real()) * D(u.Real()) + D(u.Imag()) * D(u.Imag());
}

/// Partial sums of the blocks of a team, joined in thread order.
template <class Item>
double TeamSum(std::int64_t count, int threads, const Item& item)
{
    double total = 0.0;
    std::int64_t begin = 0;
    for (int t = 0; t < threads; ++t)
    {
        const std::int64_t end = begin + count / threads + (t < count % threads ? 1 : 0);
        double part = 0.0;
        for (std::int64_t n = begin; n < end; ++n)
            item(n, part);
        total = t == 0 ? part : total + part;
        begin = end;
    }
    return total;
}

/// Window sum of term(sample): rows are divided among the team.
template <class Term>
double WindowSum(const Lumora& f, const LML_RECT& w, int threads, const Term& term)
{
    const int left = std::max(w.left, 0);
    const int right = std::min(w.right, f.GetNx());
    const int bottom = std::max(w.bottom, 0);
    const int top = std::min(w.top, f.GetNy());
    const bool any = left < right && bottom < top;
    return TeamSum(any ? top - bottom : 0, threads,
                   [&](std::int64_t row, double& sum)
                   {
                       for (int i = left; i < right; ++i)
                           sum += term(f.GetPixel(i, bottom + static_cast<int>(row)));
                   });
}

template <class Term>
double WholeSum(const Lumora& f, int threads, const Term& term)
{
    return TeamSum(static_cast<std::int64_t>(f.N()), threads,
                   [&](std::int64_t n, double& sum) { sum += term(f.GetDataPointer()[n]); });
}

/// Teams on a machine of few cores are slow: with more than one thread some of the cases do.
bool Skips(int threads, FftLib engine, ComplexForm form, bool odd)
{
    return threads > 1 && (engine == FFT_LIB_SPLIT_RADIX || (form & 1) != 0 || odd);
}

void ExpectSame(double actual, double expected, const std::string& where)
{
    EXPECT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected)))
        << where << ": " << actual << " and not " << expected;
}

const LML_RECT kWindows[] = {LML_RECT(0, 16, 64, 0),   LML_RECT(3, 11, 40, 2),   LML_RECT(63, 16, 64, 15),
                             LML_RECT(5, 4, 5, 2),     LML_RECT(9, 9, 4, 2),     LML_RECT(4, 2, 9, 7),
                             LML_RECT(-9, 99, 99, -9), LML_RECT(60, 40, 80, 12), LML_RECT(100, 20, 120, 18),
                             LML_RECT(-8, 4, 3, -2)};

struct Measure
{
    const char* name;
    std::function<double(Lumora&)> measured;
    std::function<double(Lumora&, int)> expected;
};

double Count(const LML_RECT& w)
{
    return (w.top - w.bottom) * (w.right - w.left);
}

#define MEASURE(name, member, ...)                                                                                     \
    {                                                                                                                  \
        name, [](Lumora& f) { return f.member(); }, [](Lumora & f, [[maybe_unused]] int threads) __VA_ARGS__           \
    }
const Measure kMeasures[] = {
    MEASURE("GetSquareSum", GetSquareSum,
            { return WindowSum(f, f.Window(), threads, [&](const Complex& u) { return Sq(u, f.Form()); }); }),
    MEASURE("GetSquareSumWhole", GetSquareSumWhole,
            { return WholeSum(f, threads, [&](const Complex& u) { return Sq(u, f.Form()); }); }),
    MEASURE("GetAbsoluteSum", GetAbsoluteSum,
            { return WindowSum(f, f.Window(), threads, [&](const Complex& u) { return Mag(u, f.Form()); }); }),
    MEASURE("GetAmplitudeSum", GetAmplitudeSum, { return f.GetAbsoluteSum(); }),
    MEASURE("GetSquareAverage", GetSquareAverage, { return f.GetSquareSum() / Count(f.Window()); }),
    MEASURE("GetAbsoluteAverage", GetAbsoluteAverage, { return f.GetAbsoluteSum() / Count(f.Window()); }),
    MEASURE("GetAmplitudeAverage", GetAmplitudeAverage, { return f.GetAbsoluteAverage(); }),
    MEASURE("GetAmplitudeMax", GetAmplitudeMax, { return f.GetAbsoluteMax(); }),
    {"GetAbsoluteMax", [](Lumora& f) { return f.GetAbsoluteMax(); },
     [](Lumora& f, int)
     {
         const LML_RECT w = f.Window();
         const bool corner = w.left >= 0 && w.left < f.GetNx() && w.bottom >= 0 && w.bottom < f.GetNy();
         double max = corner ? Mag(f.GetPixel(w.left, w.bottom), SPECTRUM) : 0.0;
         for (int j = std::max(w.bottom, 0); j < std::min(w.top, f.GetNy()); ++j)
             for (int i = std::max(w.left, 0); i < std::min(w.right, f.GetNx()); ++i)
                 max = std::max(max, Mag(f.GetPixel(i, j), f.Form()));
         return max;
     }},
    {"GetAmplitudeMaxWhole", [](Lumora& f) { return f.GetAmplitudeMaxWhole(); },
     [](Lumora& f, int)
     {
         double max = Mag(f[0], SPECTRUM);
         for (std::size_t n = 0; n < f.N(); ++n)
             max = std::max(max, Mag(f[n], f.Form()));
         return max;
     }},
    {"GetAmplitudeVariance", [](Lumora& f) { return f.GetAmplitudeVariance(); },
     [](Lumora& f, int threads)
     {
         const LML_RECT w = f.Window();
         const double mean = f.GetAbsoluteAverage();
         const auto term = [&](const Complex& u)
         {
             const float second = u.Imag() * u.Imag();
             const double deviation = mean - std::sqrt(D(u.Real()) * D(u.Real()) + D(second));
             return deviation * deviation;
         };
         return WindowSum(f, w, threads, term) / Count(w);
     }},
    {"GetEnergyRatioInWindow", [](Lumora& f) { return f.Form() == POLAR_AMPLITUDE ? 0.0 : f.GetEnergyRatioInWindow(); },
     [](Lumora& f, int threads)
     {
         const auto term = [](const Complex& u)
         {
             return Sq(u, SPECTRUM);
         };
         return f.Form() == POLAR_AMPLITUDE ? 0.0
                                            : WindowSum(f, f.Window(), threads, term) / WholeSum(f, threads, term);
     }},
};
} // namespace

TEST(Measure, EverySumAndMaximum)
{
    for (const ComplexForm form : kForms)
    {
        Lumora f(64, 16);
        FillRandom(f, 4 + static_cast<std::uint32_t>(form));
        f[131] =
            Complex(0.3, std::numeric_limits<double>::quiet_NaN()); // its square is one too, its amplitude 0.3 is not
        if (form != POLAR_AMPLITUDE)
            f[131] = Complex(0.0, 0.0);
        f.Form() = form;
        const Lumora before(f);
        InEveryForm(
            [&]
            {
                for (const LML_RECT& window : kWindows)
                    for (const Threads threads : kThreads)
                        for (const Measure& m : kMeasures)
                        {
                            if (Skips(threads, GetFftLib(), form, window.left % 3 != 0))
                                continue;
                            f.Window() = window;
                            ExpectSame(m.measured(f), m.expected(f, threads),
                                       std::string(m.name) + ", form " + std::to_string(form) + ", window from " +
                                           std::to_string(window.left) + ", " + std::to_string(threads) + " threads");
                            EXPECT_EQ(f.Window().left, window.left);
                            EXPECT_EQ(f.Window().top, window.top);
                        }
            });
        EXPECT_TRUE(SameBits(f, before));
    }
}

TEST(Measure, MaximaPassOverWhatIsNoNumber)
{
    InEveryForm(
        []
        {
            for (const ComplexForm form : {SPECTRUM, POLAR_AMPLITUDE})
                for (std::size_t at = 1; at < 64; ++at)
                {
                    Lumora f(32, 2);
                    f.SetConst(Complex(std::numeric_limits<double>::quiet_NaN(), 0.0));
                    f.Form() = form;
                    EXPECT_TRUE(std::isnan(f.GetAmplitudeMax())); // nothing is greater than the start
                    f[0] = Complex(0.0, 2.0);
                    EXPECT_EQ(f.GetAmplitudeMax(), 2.0); // kept: the start is the pair's length also in polar form
                    f[at] = Complex(3.0, 0.0);
                    EXPECT_EQ(f.GetAmplitudeMax(), 3.0);
                    EXPECT_EQ(f.GetAmplitudeMaxWhole(), 3.0);
                }
        });
}

TEST(Measure, OneRowCountsColumnsWhateverTheRowsSay)
{
    Lumora f(8, 1);
    for (std::size_t n = 0; n < 8; ++n)
        f[n] = Complex(static_cast<double>(n), 1.0);
    for (const LML_RECT& w : {LML_RECT(2, 1, 5, 0), LML_RECT(2, -3, 5, 7), LML_RECT(2, 0, 5, 0)})
    {
        f.Window() = w;
        EXPECT_DOUBLE_EQ(f.GetEnergyRatioInWindow(), (4 + 9 + 16 + 3) / (140.0 + 8.0));
    }
    f.SetWindowMax();
    EXPECT_EQ(f.GetEnergyRatioInWindow(), 1.0);
    f.Window() = LML_RECT(6, 1, 3, 0);
    EXPECT_EQ(f.GetEnergyRatioInWindow(), 0.0);
}

TEST(Measure, SnrAndScaleFactorOverTheCommonOffsets)
{
    const ComplexDouble scale(0.7, -1.3);
    const double sr = scale.Real();
    const double si = scale.Imag();
    const std::pair<LML_RECT, LML_RECT> windows[] = {
        {LML_RECT(0, 8, 16, 0), LML_RECT(0, 8, 16, 0)},   {LML_RECT(3, 7, 9, 2), LML_RECT(20, 14, 26, 9)},
        {LML_RECT(-2, 5, 4, 1), LML_RECT(0, 4, 6, 0)},    {LML_RECT(10, 8, 20, 0), LML_RECT(25, 16, 35, 8)},
        {LML_RECT(4, 4, 4, 4), LML_RECT(0, 0, 0, 0)},     {LML_RECT(9, 2, 4, 7), LML_RECT(8, 1, 3, 6)},
        {LML_RECT(50, 60, 52, 58), LML_RECT(0, 2, 2, 0)}, {LML_RECT(0, 3, 16, 0), LML_RECT(-4, 1, 12, -2)}};
    for (const ComplexForm form : kForms)
        for (const auto& w : windows)
            for (const Threads threads : kThreads)
                for (const Engine engine : EachEngine())
                {
                    if (Skips(threads, engine, form, w.first.left > 3))
                        continue;
                    Lumora u(16, 8);
                    Lumora r(32, 16);
                    FillRandom(u, 8);
                    FillRandom(r, 9);
                    u.Form() = form;
                    r.Form() = form;
                    u.Window() = w.first;
                    r.Window() = w.second;
                    // Offsets inside both windows and both grids.
                    std::vector<std::vector<std::pair<Value, Value>>> rows;
                    for (int y = 0; y < w.first.top - w.first.bottom; ++y)
                    {
                        std::vector<std::pair<Value, Value>> row;
                        for (int x = 0; x < w.first.right - w.first.left; ++x)
                        {
                            const int i = w.first.left + x, j = w.first.bottom + y;
                            const int p = w.second.left + x, q = w.second.bottom + y;
                            if (i >= 0 && i < 16 && j >= 0 && j < 8 && p >= 0 && p < 32 && q >= 0 && q < 16)
                                row.push_back({At(u, i, j), At(r, p, q)});
                        }
                        if (!row.empty())
                            rows.push_back(row);
                    }
                    const auto sum = [&](auto term)
                    {
                        return TeamSum(static_cast<std::int64_t>(rows.size()), threads,
                                       [&](std::int64_t row, double& total)
                                       {
                                           for (const auto& [a, b] : rows[static_cast<std::size_t>(row)])
                                               total += term(a, b);
                                       });
                    };
                    const double noise = sum(
                        [&](Value a, Value b)
                        {
                            const float re = static_cast<float>(a.real() - (b.real() * sr - b.imag() * si));
                            const float im = static_cast<float>(a.imag() - (b.imag() * sr + b.real() * si));
                            return D(re) * D(re) + D(im) * D(im);
                        });
                    const double re = sum([](Value a, Value b) { return a.real() * b.real() + a.imag() * b.imag(); });
                    const double im = sum([](Value a, Value b) { return a.imag() * b.real() - a.real() * b.imag(); });
                    const std::string where = "form " + std::to_string(form) + ", window from " +
                                              std::to_string(w.first.left) + ", " + std::to_string(threads) +
                                              " threads";
                    ExpectSame(u.GetSnr(r, scale), u.GetSquareSum() / noise, where);
                    ExpectSame(u.GetSNR(r, scale), u.GetSnr(r, scale), where);
                    ExpectSame(u.GetScaleFactor(r).Real(), re / r.GetSquareSum(), where);
                    ExpectSame(u.GetScaleFactor(r).Imag(), im / r.GetSquareSum(), where);
                }
    Lumora u(256, 2), r(256, 2); // rows of more samples than the wide loops take at a time
    FillRandom(u, 8);
    FillRandom(r, 9);
    std::vector<double> snr;
    for ([[maybe_unused]] const Engine engine : EachEngine())
        snr.push_back(u.GetSnr(r, scale));
    for (const double each : snr)
        ExpectSame(each, snr[0], "long rows");
}

TEST(Measure, OverlapFactor)
{
    for (const Threads threads : kThreads)
        for (const Engine engine : EachEngine())
        {
            Lumora a(32, 8);
            FillRandom(a, 6);
            a.Window() = LML_RECT(3, 4, 3, 9);
            Lumora b(a);
            b *= ComplexDouble(0.0, -3.0);
            b.SetWindowMax();
            EXPECT_NEAR(a.GetOverlapFactor(b), 1.0, 1e-6);
            EXPECT_EQ(a.Window().bottom, 9);
            FillRandom(b, 5);
            b.SetWindow(2, 20, 1, 7);
            const auto square = [](const Complex& u)
            {
                return Sq(u, SPECTRUM);
            };
            const double p = TeamSum(256, threads,
                                     [&](std::int64_t n, double& sum) {
                                         sum += Mag(a[static_cast<std::size_t>(n)], SPECTRUM) *
                                                Mag(b[static_cast<std::size_t>(n)], SPECTRUM);
                                     });
            ExpectSame(a.GetOverlapFactor(b),
                       p * p / (WholeSum(a, threads, square) * WindowSum(b, b.Window(), threads, square)), "overlap");
            // With itself the window is the whole grid on both sides, and comes back.
            EXPECT_NEAR(a.GetOverlapFactor(a), 1.0, 1e-12);
            EXPECT_EQ(a.Window().bottom, 9);
            Lumora small(8, 8); // read as far as it goes
            small.SetConst(Complex(1.0, 0.0));
            EXPECT_GT(a.GetOverlapFactor(small), 0.0);
            a.SetWindowMax();
            EXPECT_LT(small.GetOverlapFactor(a), 1.0);
            b.Form() = POLAR_AMPLITUDE; // the last sum goes by the other's form, the product does not
            EXPECT_GT(a.GetOverlapFactor(b), 0.0);
        }
}

TEST(Measure, Histogram)
{
    Lumora f(16, 1);
    const float values[] = {-1.0f, 1.0f, 0.0f,   0.999f, -0.25f, 0.25f, 0.24f, -1.0001f,
                            2.0f,  0.1f, -0.12f, 0.13f,  0.9f,   -0.9f, 0.99f, std::numeric_limits<float>::quiet_NaN()};
    for (std::size_t n = 0; n < 16; ++n)
        f[n].real() = values[n];
    for (const int bins : {1, 2, 3, 5, 8, 256})
    {
        const std::unique_ptr<Lumora> h(&f.CreateRealHistogram(bins));
        int size = 1;
        while (size < bins)
            size *= 2;
        ASSERT_EQ(h->GetNx(), size);
        EXPECT_EQ(h->GetNy(), 1);
        EXPECT_EQ(h->GetPx(), 2.0 / bins);
        EXPECT_EQ(h->Window().right, size);
        std::vector<float> counts(static_cast<std::size_t>(size));
        for (const float v : values)
            if (v >= -1.0f && v < 1.0f)
            {
                const int b = static_cast<int>(std::floor(D(v) / (2.0 / bins) + 0.5)) + size / 2;
                ++counts[static_cast<std::size_t>(std::min(b, size - 1))];
            }
        for (std::size_t n = 0; n < counts.size(); ++n)
            EXPECT_EQ(h->Real(static_cast<int>(n), 0), counts[n]) << bins << " bins, " << n;
        EXPECT_EQ(h->GetAbsoluteSum(), 12.0); // -1 counts, 1 does not
    }
    for (const int bins : {0, -4})
        delete &f.CreateRealHistogram(bins); // nothing to count into, and nothing written outside
}

TEST(Measure, EmptyFieldsAndExtremeWindows)
{
    const ComplexDouble one(1.0, 0.0);
    Lumora empty(0, 0);
    EXPECT_EQ(empty.GetAmplitudeMaxWhole(), 0.0);
    EXPECT_EQ(empty.GetAmplitudeMax(), 0.0);
    EXPECT_TRUE(std::isnan(empty.GetAmplitudeAverage()));
    Lumora extreme(4, 4);
    extreme.SetConst(Complex(1.0, 0.0));
    extreme.Window() = LML_RECT(INT_MIN, INT_MAX, INT_MAX, INT_MIN);
    EXPECT_EQ(extreme.GetSquareSum(), 16.0);
    EXPECT_EQ(extreme.GetSquareAverage(), 16.0); // width and height wrap to -1 each
    EXPECT_EQ(Catch([&] { extreme.GetSnr(extreme, one); }).code, 0);
}
