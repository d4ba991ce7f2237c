// Measures of focus: their definitions on a picture of few samples, what they do not depend on, and the distance that
// they find.

#include "TestTools.h"

namespace
{
using namespace lmltest;

constexpr FocusMeasure kMeasures[] = {FOCUS_VARIANCE, FOCUS_GRADIENT,      FOCUS_LAPLACIAN,
                                      FOCUS_TAMURA,   FOCUS_EDGE_SPARSITY, FOCUS_AMPLITUDE};

/// The definition, sample by sample.
double Defined(const Lumora& f, const LML_RECT& w, FocusMeasure measure)
{
    const auto intensity = [&](int i, int j)
    {
        return std::norm(At(f, i, std::min(j, f.GetNy() - 1)));
    };
    const auto amplitude = [&](int i, int j)
    {
        return std::sqrt(intensity(i, j));
    };
    const int edge = measure == FOCUS_GRADIENT || measure == FOCUS_LAPLACIAN || measure == FOCUS_EDGE_SPARSITY;
    const int edgeRows = f.GetNy() > 1 ? edge : 0;
    double first = 0.0, second = 0.0, count = 0.0;
    for (int j = w.bottom + edgeRows; j < w.top - edgeRows; ++j)
        for (int i = w.left + edge; i < w.right - edge; ++i, ++count)
        {
            const int up = j + edgeRows, down = j - edgeRows;
            double v = intensity(i, j), square = v * v;
            if (measure == FOCUS_AMPLITUDE)
                v = amplitude(i, j), square = v * v;
            if (measure == FOCUS_LAPLACIAN)
                square = std::pow(intensity(i - 1, j) + intensity(i + 1, j) + intensity(i, up) + intensity(i, down) -
                                      4 * intensity(i, j),
                                  2);
            if (measure == FOCUS_GRADIENT)
            {
                double gx = 0.0, gy = 0.0;
                for (int k = -1; k <= 1; ++k)
                {
                    const int row = k < 0 ? down : k > 0 ? up : j;
                    gx += (2 - std::abs(k)) * (intensity(i + 1, row) - intensity(i - 1, row));
                    gy += (2 - std::abs(k)) * (intensity(i + k, up) - intensity(i + k, down));
                }
                square = gx * gx + gy * gy;
            }
            if (measure == FOCUS_EDGE_SPARSITY)
            {
                v = std::hypot(amplitude(i + 1, j) - amplitude(i - 1, j), amplitude(i, up) - amplitude(i, down)) / 2;
                square = v * v;
            }
            first += v;
            second += square;
        }
    first /= count;
    second /= count;
    const double variance = second - first * first;
    return measure == FOCUS_VARIANCE                                 ? variance / (first * first)
           : measure == FOCUS_GRADIENT || measure == FOCUS_LAPLACIAN ? second / (first * first)
           : measure == FOCUS_AMPLITUDE                              ? std::sqrt(second) / first
                                                                     : std::sqrt(std::sqrt(variance) / first);
}

TEST(FocusTest, DefinitionsAndWhatTheyDoNotDependOn)
{
    for (const auto& [nx, ny] : {std::pair{16, 8}, {32, 1}, {8, 64}})
        for (const FocusMeasure measure : kMeasures)
        {
            Lumora field(nx, ny);
            FillRandom(field);
            field.Window() = LML_RECT(1, ny > 1 ? ny - 2 : 1, nx - 1, ny > 1 ? 1 : 0);
            const double value = field.GetFocusMeasure(measure);
            EXPECT_NEAR(value, Defined(field, field.Window(), measure), 1e-12 * value) << measure << ", " << ny;
            for (const int n : {2, 3, 7})
                InEveryForm(
                    [&]
                    {
                        const Threads threads(n);
                        EXPECT_EQ(field.GetFocusMeasure(measure), value);
                    });
            Lumora brighter(field);
            brighter *= 8.0;
            EXPECT_NEAR(brighter.GetFocusMeasure(measure), value, 1e-12 * value);
            brighter.ConvToPolarForm();
            EXPECT_NEAR(brighter.GetFocusMeasure(measure), value, 1e-5 * value);
            EXPECT_EQ(brighter.Clear().GetFocusMeasure(measure), 0.0);
            brighter.Window() = LML_RECT(2, 1, 2, 0);
            EXPECT_EQ(brighter.GetFocusMeasure(measure), 0.0);
        }
}

TEST(FocusTest, EachMeasureFindsTheDistanceOfAnObject)
{
    Lumora object(128, 128, 2e-6, 2e-6, 532e-9);
    object.Clear();
    for (int n = 0; n < 8; ++n) // bright points: larger ones concentrate light before and behind them
        object.SetPixel(5 + 37 * n % 110, 7 + 53 * n % 110, Complex(1.0, 0.0));
    object.AsmProp(4e-4);
    std::vector<double> distances;
    for (int n = 0; n <= 20; ++n)
        distances.push_back(-2e-4 - 2e-5 * n);
    for (const FocusMeasure measure : kMeasures)
    {
        const std::vector<double> values = object.MeasureStack(distances.data(), distances.size(), measure);
        const auto best = std::max_element(values.begin(), values.end());
        EXPECT_EQ(best - values.begin(), 10) << measure;
        EXPECT_EQ(Lumora(object).AsmProp(distances[10]).GetFocusMeasure(measure), *best);
    }
}
} // namespace
