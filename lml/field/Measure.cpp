// Measures of a field: sums, averages, maxima, variance, signal-to-noise ratio, scale and overlap factors, histogram.
//
// All sums run in double: on one thread the exact running sum in row order, on more threads per-thread partial sums in
// thread order. The magnitude rule looks at the value of Form, not at its polar bit.
#include "base/Describe.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/Reduce.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "field/WideField.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace LumoraLib
{
namespace
{
using detail::ReduceMax;
using detail::ReduceSum;

double ComplexSquare(const Complex& u)
{
    const double re = u.GetReal();
    const double im = u.GetImag();
    return re * re + im * im;
}

/// Kept: the test is on the form value 2, so samples of a polar spectrum (3) are measured as if they were cartesian.
bool IsPlainPolar(const Lumora& field)
{
    return detail::FieldAccess::Form(field) == POLAR_AMPLITUDE;
}

// ------------------------------------------------------------------------------------------------------ running values
// A measure takes a stretch of consecutive samples and carries its running value through it, sample by sample. Where
// the wide forms are in use, roots and other costly terms of a few samples are computed ahead; the additions stay in
// order.

constexpr std::size_t kAhead = 64;

/// fill(begin, count, terms) computes terms ahead; each is added in sample order.
template <class Fill>
double AddAhead(std::size_t count, double sum, const Fill& fill)
{
    double terms[kAhead];
    for (std::size_t begin = 0; begin < count; begin += kAhead)
    {
        const std::size_t n = std::min(kAhead, count - begin);
        fill(begin, n, terms);
        for (std::size_t i = 0; i < n; ++i)
            sum += terms[i];
    }
    return sum;
}

/// sq(u). In polar form the square is formed in single precision, then widened.
struct Squares
{
    bool polar;
    double operator()(const Complex* u, std::size_t count, double sum) const
    {
        if (polar)
            for (std::size_t n = 0; n < count; ++n)
                sum += static_cast<double>(u[n].Real() * u[n].Real());
        else
            for (std::size_t n = 0; n < count; ++n)
                sum += ComplexSquare(u[n]);
        return sum;
    }
};

/// mag(u).
struct Magnitudes
{
    bool polar;
    double operator()(const Complex* u, std::size_t count, double sum) const
    {
        if (polar)
            for (std::size_t n = 0; n < count; ++n)
                sum += u[n].GetReal();
        else if (!detail::StepByStep())
            sum = AddAhead(count, sum,
                           [u](std::size_t begin, std::size_t n, double* terms)
                           { detail::WideField().magnitudes(detail::Floats(u + begin), n, terms); });
        else
            for (std::size_t n = 0; n < count; ++n)
                sum += std::sqrt(ComplexSquare(u[n]));
        return sum;
    }
};

/// (mean - a)^2. Kept: the deviation always takes the pair as cartesian, also in polar form, with im * im in single
/// precision.
struct Deviations
{
    double mean;
    double operator()(const Complex* u, std::size_t count, double sum) const
    {
        if (!detail::StepByStep())
            return AddAhead(count, sum,
                            [this, u](std::size_t begin, std::size_t n, double* terms)
                            {
                                detail::WideField().mixedMagnitudes(detail::Floats(u + begin), n, terms);
                                for (std::size_t i = 0; i < n; ++i)
                                    terms[i] = (mean - terms[i]) * (mean - terms[i]);
                            });
        for (std::size_t n = 0; n < count; ++n)
        {
            const double deviation = mean - u[n].Amplitude();
            sum += deviation * deviation;
        }
        return sum;
    }
};

/// The largest magnitude of a stretch, in two forms: first members as they are, or squares. The root is monotonic, so
/// the root of the largest square is the largest of the roots, bit by bit.
struct LargestMagnitude
{
    bool polar;
    double operator()(const Complex* u, std::size_t count, double largest) const
    {
        if (!detail::StepByStep())
            return polar ? detail::WideField().largestFirst(detail::Floats(u), count, largest)
                         : detail::WideField().largestSquare(detail::Floats(u), count, largest);
        for (std::size_t n = 0; n < count; ++n)
        {
            const double value = polar ? u[n].GetReal() : ComplexSquare(u[n]);
            if (value > largest)
                largest = value;
        }
        return largest;
    }
    /// Start value from the first sample, always of the pair as cartesian, and the result from the running value.
    double Start(const Complex& first) const { return polar ? std::sqrt(ComplexSquare(first)) : ComplexSquare(first); }
    double Result(double largest) const { return polar ? largest : std::sqrt(largest); }
};

/// measure over the rows begin ... end - 1 of a window inside the grid.
template <class Measure>
double OverRows(const Lumora& field, const LML_RECT& window, const Measure& measure, std::size_t begin, std::size_t end,
                double running)
{
    const std::size_t left = static_cast<std::size_t>(window.left);
    const std::size_t width = static_cast<std::size_t>(window.right - window.left);
    for (std::size_t row = begin; row < end; ++row)
    {
        const std::size_t j = static_cast<std::size_t>(window.bottom) + row;
        running = measure(field.GetDataPointer() + field.IJ(left, j), width, running);
    }
    return running;
}

/// Rows of the part of the window inside the grid; 0 when there is none.
std::size_t RowCount(const LML_RECT& window)
{
    return window.left >= window.right || window.bottom >= window.top
               ? 0
               : static_cast<std::size_t>(window.top - window.bottom);
}

template <class Measure>
double WindowSum(const Lumora& field, const Measure& measure)
{
    const LML_RECT window = detail::FieldAccess::GridWindow(field);
    return ReduceSum(RowCount(window), [&](std::size_t begin, std::size_t end, double sum)
                     { return OverRows(field, window, measure, begin, end, sum); });
}

template <class Measure>
double WholeSum(const Lumora& field, const Measure& measure)
{
    const Complex* const samples = field.GetDataPointer();
    return ReduceSum(field.N(), [&](std::size_t begin, std::size_t end, double sum)
                     { return measure(samples + begin, end - begin, sum); });
}

/// The window's sample count as its measures divide by it: 32-bit arithmetic on the bounds as they stand.
double WindowCount(const Lumora& field)
{
    const LML_RECT& w = detail::FieldAccess::Window(field);
    return detail::WrapMul(detail::WrapSub(w.top, w.bottom), detail::WrapSub(w.right, w.left));
}

/// Largest magnitude of the window. The start value is the complex magnitude of the corner sample, also in polar form
/// and for an empty window; a corner outside the grid counts as 0.
double WindowMax(const Lumora& field)
{
    const LML_RECT& corner = detail::FieldAccess::Window(field);
    const bool inside = corner.left >= 0 && corner.left < field.GetNx() && corner.bottom >= 0 &&
                        corner.bottom < field.GetNy() && field.N() > 0;
    const LargestMagnitude measure{IsPlainPolar(field)};
    const double start = inside ? measure.Start(field.GetPixel(corner.left, corner.bottom)) : 0.0;
    const LML_RECT window = detail::FieldAccess::GridWindow(field);
    return measure.Result(ReduceMax(RowCount(window), start,
                                    [&](std::size_t begin, std::size_t end, double largest)
                                    { return OverRows(field, window, measure, begin, end, largest); }));
}

/// Offsets from both windows' corners that lie inside both windows and both grids.
struct CommonRange
{
    std::int64_t x0, x1, y0, y1;
};

CommonRange CommonOffsets(const Lumora& a, const Lumora& b)
{
    const LML_RECT& wa = detail::FieldAccess::Window(a);
    const LML_RECT& wb = detail::FieldAccess::Window(b);
    const auto low = [](std::int64_t p, std::int64_t q)
    {
        return std::max({std::int64_t{0}, -p, -q});
    };
    return {low(wa.left, wb.left),
            std::min({std::int64_t{wa.right} - wa.left, std::int64_t{a.GetNx()} - wa.left,
                      std::int64_t{b.GetNx()} - wb.left}),
            low(wa.bottom, wb.bottom),
            std::min({std::int64_t{wa.top} - wa.bottom, std::int64_t{a.GetNy()} - wa.bottom,
                      std::int64_t{b.GetNy()} - wb.bottom})};
}

bool SameWindowSize(const Lumora& a, const Lumora& b)
{
    const LML_RECT& wa = detail::FieldAccess::Window(a);
    const LML_RECT& wb = detail::FieldAccess::Window(b);
    return detail::WrapSub(wa.right, wa.left) == detail::WrapSub(wb.right, wb.left) &&
           detail::WrapSub(wa.top, wa.bottom) == detail::WrapSub(wb.top, wb.bottom);
}

/// Running value of two fields over samples at equal offsets from their windows' corners: stretch(u, r, count, value)
/// carries it through a stretch of both.
template <class Value, class Stretch, class Join>
Value PairSum(const Lumora& a, const Lumora& b, Value start, const Stretch& stretch, const Join& join)
{
    const CommonRange range = CommonOffsets(a, b);
    if (range.x0 >= range.x1 || range.y0 >= range.y1)
        return start;
    const LML_RECT& wa = detail::FieldAccess::Window(a);
    const LML_RECT& wb = detail::FieldAccess::Window(b);
    const std::size_t width = static_cast<std::size_t>(range.x1 - range.x0);
    return detail::Reduce(
        static_cast<std::size_t>(range.y1 - range.y0), start,
        [&](std::size_t begin, std::size_t end, Value value)
        {
            for (std::size_t row = begin; row < end; ++row)
            {
                const std::int64_t y = range.y0 + static_cast<std::int64_t>(row);
                const Complex* const u = a.GetDataPointer() + (wa.bottom + y) * a.GetNx() + wa.left + range.x0;
                const Complex* const r = b.GetDataPointer() + (wb.bottom + y) * b.GetNx() + wb.left + range.x0;
                value = stretch(u, r, width, value);
            }
            return value;
        },
        join);
}

double Sum(double a, double b)
{
    return a + b;
}

double SquareSum(const Lumora& field, const char* function)
{
    detail::FieldAccess::RequireSamples(field, function);
    return WindowSum(field, Squares{IsPlainPolar(field)});
}

double MagnitudeSum(const Lumora& field, const char* function)
{
    detail::FieldAccess::RequireSamples(field, function);
    return WindowSum(field, Magnitudes{IsPlainPolar(field)});
}
} // namespace

double Lumora::GetSquareSum() const
{
    return SquareSum(*this, "LumoraLib::Lumora::GetSquareSum");
}

double Lumora::GetSquareSumWhole() const
{
    RequireSamples("LumoraLib::Lumora::GetSquareSumWhole");
    return WholeSum(*this, Squares{IsPlainPolar(*this)});
}

double Lumora::GetSquareAverage() const
{
    return SquareSum(*this, "LumoraLib::Lumora::GetSquareAverage") / WindowCount(*this);
}

double Lumora::GetAbsoluteSum() const
{
    return MagnitudeSum(*this, "LumoraLib::Lumora::GetAbsoluteSum");
}

double Lumora::GetAmplitudeSum() const
{
    return MagnitudeSum(*this, "LumoraLib::Lumora::GetAmplitudeSum");
}

double Lumora::GetAbsoluteAverage() const
{
    return MagnitudeSum(*this, "LumoraLib::Lumora::GetAbsoluteAverage") / WindowCount(*this);
}

double Lumora::GetAmplitudeAverage() const
{
    return GetAbsoluteAverage();
}

double Lumora::GetAbsoluteMax() const
{
    RequireSamples("LumoraLib::Lumora::GetAbsoluteMax");
    return WindowMax(*this);
}

double Lumora::GetAmplitudeMax() const
{
    RequireSamples("LumoraLib::Lumora::GetAmplitudeMax");
    return WindowMax(*this);
}

double Lumora::GetAmplitudeMaxWhole()
{
    RequireSamples("LumoraLib::Lumora::GetAmplitudeMaxWhole");
    if (N() == 0)
        return 0.0;
    const LargestMagnitude measure{IsPlainPolar(*this)};
    const Complex* const samples = dataPointer_;
    return measure.Result(ReduceMax(N(), measure.Start(samples[0]),
                                    [&](std::size_t begin, std::size_t end, double largest)
                                    { return measure(samples + begin, end - begin, largest); }));
}

double Lumora::GetAmplitudeVariance() const
{
    const double mean = MagnitudeSum(*this, "LumoraLib::Lumora::GetAmplitudeVariance") / WindowCount(*this);
    return WindowSum(*this, Deviations{mean}) / WindowCount(*this);
}

double Lumora::GetEnergyRatioInWindow() const
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetEnergyRatioInWindow";
    if (form_ == POLAR_AMPLITUDE)
        Error(ERR_COMPLEX_FORM, fn, "");
    RequireSamples(fn);
    // Both sums split alike over the threads, so that a window of the whole grid gives exactly 1 on any number of them.
    const auto energy = [this](const LML_RECT& part)
    {
        const Squares squares{false};
        if (ny_ == 1)
        {
            // A field of one row: the window's columns count, whatever its rows say.
            const Complex* const first = dataPointer_ + part.left;
            return ReduceSum(part.left < part.right ? static_cast<std::size_t>(part.right - part.left) : 0,
                             [&](std::size_t begin, std::size_t end, double sum)
                             { return squares(first + begin, end - begin, sum); });
        }
        return ReduceSum(RowCount(part), [&](std::size_t begin, std::size_t end, double sum)
                         { return OverRows(*this, part, squares, begin, end, sum); });
    };
    return energy(GridWindow()) / energy(LML_RECT(0, ny_, nx_, 0));
}

double Lumora::GetSnr(const Lumora& reference, const ComplexDouble& scale) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetSnr";
    if (!SameWindowSize(*this, reference))
        Error(ERR_PARAMETER, fn, detail::Differing("Window size", *this, reference, detail::COMPARED_WINDOWS));
    RequireSamples(fn);
    reference.RequireSamples(fn);
    const double signal = SquareSum(*this, fn);
    const double sr = scale.Real();
    const double si = scale.Imag();
    const double noise = PairSum(
        *this, reference, 0.0,
        [sr, si](const Complex* u, const Complex* r, std::size_t count, double sum)
        {
            if (!detail::StepByStep())
                return AddAhead(count, sum,
                                [=](std::size_t begin, std::size_t n, double* terms) {
                                    detail::WideField().noise(detail::Floats(u + begin), detail::Floats(r + begin), n,
                                                              sr, si, terms);
                                });
            for (std::size_t n = 0; n < count; ++n)
            {
                const double p = r[n].GetReal() * sr - r[n].GetImag() * si;
                const double q = sr * r[n].GetImag() + si * r[n].GetReal();
                const double dr = static_cast<float>(u[n].GetReal() - p);
                const double di = static_cast<float>(u[n].GetImag() - q);
                sum += dr * dr + di * di;
            }
            return sum;
        },
        Sum);
    return signal / noise;
}

double Lumora::GetSNR(const Lumora& reference, const ComplexDouble& scale) const
{
    return GetSnr(reference, scale);
}

ComplexDouble Lumora::GetScaleFactor(const Lumora& reference) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetScaleFactor";
    if (!SameWindowSize(*this, reference))
        Error(ERR_PARAMETER, fn, detail::Differing("Window size", *this, reference, detail::COMPARED_WINDOWS));
    RequireSamples(fn);
    const double d = SquareSum(reference, fn);
    struct Pair
    {
        double re;
        double im;
    };
    const Pair q = PairSum(
        *this, reference, Pair{0.0, 0.0},
        [](const Complex* u, const Complex* r, std::size_t count, Pair sum)
        {
            for (std::size_t n = 0; n < count; ++n)
            {
                sum.re += u[n].GetReal() * r[n].GetReal() + u[n].GetImag() * r[n].GetImag();
                sum.im += u[n].GetImag() * r[n].GetReal() - u[n].GetReal() * r[n].GetImag();
            }
            return sum;
        },
        [](const Pair& a, const Pair& b) {
            return Pair{a.re + b.re, a.im + b.im};
        });
    return ComplexDouble(q.re / d, q.im / d);
}

double Lumora::GetOverlapFactor(const Lumora& other)
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetOverlapFactor";
    if (form_ == POLAR_AMPLITUDE)
        Error(ERR_COMPLEX_FORM, fn, "");
    RequireSamples(fn);
    other.RequireSamples(fn);
    const Complex* const a = dataPointer_;
    const Complex* const b = other.dataPointer_;
    // The other field is read at the same linear index; where it is smaller, its samples end the sum.
    const double product = ReduceSum(
        std::min(N(), other.N()),
        [=](std::size_t first, std::size_t last, double sum)
        {
            if (!detail::StepByStep())
                return AddAhead(last - first, sum,
                                [=](std::size_t begin, std::size_t n, double* terms)
                                {
                                    double others[kAhead];
                                    detail::WideField().magnitudes(detail::Floats(a + first + begin), n, terms);
                                    detail::WideField().magnitudes(detail::Floats(b + first + begin), n, others);
                                    for (std::size_t i = 0; i < n; ++i)
                                        terms[i] *= others[i];
                                });
            for (std::size_t n = first; n < last; ++n)
                sum += std::sqrt(ComplexSquare(a[n])) * std::sqrt(ComplexSquare(b[n]));
            return sum;
        });
    // The sum over this field's window set to the whole grid runs over the same samples in the same row order.
    const double sa = WholeSum(*this, Squares{false});
    // So does that of the other field, where it is this one.
    const double sb = &other == this ? sa : SquareSum(other, fn);
    return product * product / (sa * sb);
}

Lumora& Lumora::CreateRealHistogram(int bins) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::CreateRealHistogram";
    RequireSamples(fn);
    std::unique_ptr<Lumora> histogram(new (std::nothrow) Lumora(bins, 1));
    if (!histogram)
        Error(ERR_MEMORY, fn, "");
    histogram->Clear();
    // Kept: the bin width comes from the requested number of bins while the centre is half the raised size.
    histogram->px_ = 2.0 / bins;
    const std::int32_t size = histogram->nx_;
    for (std::size_t n = 0; n < N(); ++n)
    {
        const float re = dataPointer_[n].Real();
        if (!(re >= -1.0f && re < 1.0f))
            continue;
        std::int32_t bin = detail::NearestIndex(re, histogram->px_, size / 2);
        if (bin == size)
            bin = size - 1; // a value just below 1 rounds one step past the end and counts in the last bin
        if (bin >= 0 && bin < size)
            histogram->dataPointer_[bin].real() += 1.0f;
    }
    histogram->SetWindowMax();
    return *histogram.release();
}
} // namespace LumoraLib
