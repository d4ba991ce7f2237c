// Interpolation kernels: reading a field at a point between its samples.
//
// Three ways of forming a continuous index stand side by side on purpose: quantised to four decimals (separable cubics
// and sinc), plain (BiLinear, BiCubic), and quantised before the half size is added (LinearInterpol). None of the
// members looks at Form: a polar field is interpolated as the pair (amplitude, phase) without unwrapping.
#include "field/Interpol.h"
#include "base/Constants.h"
#include "base/Describe.h"
#include "field/FieldTools.h"
#include "field/InterpolAxis.h"

#include <cmath>

namespace LumoraLib
{
namespace
{
using detail::KernelTaps;
using detail::QuantisedIndex;
using detail::TruncI32;

/// Sum of samples times (float)(k(i - x) * k(j - y)), each product and each addition in float, rows outermost. The
/// kernel values of a row and of a column are computed once.
template <class Kernel>
Complex Separable(const Lumora& field, double x, double y, int h, const Kernel& kernel)
{
    const KernelTaps tx = detail::KernelTapsAbout(x, h, field.GetNx(), kernel);
    const KernelTaps ty = detail::KernelTapsAbout(y, h, field.GetNy(), kernel);
    float re = 0.0f;
    float im = 0.0f;
    const Complex* const samples = field.GetDataPointer();
    for (std::int32_t j = ty.range.first; j <= ty.range.last; ++j)
    {
        const double ky = ty.value[j - ty.range.first];
        const Complex* const row = samples + field.IJ(0, static_cast<std::size_t>(j));
        for (std::int32_t i = tx.range.first; i <= tx.range.last; ++i)
        {
            const float weight = static_cast<float>(tx.value[i - tx.range.first] * ky);
            const float addRe = row[i].Real() * weight;
            const float addIm = row[i].Imag() * weight;
            re += addRe;
            im += addIm;
        }
    }
    return Complex(re, im);
}

/// The kernel of a selector; 9 reads the table of the 8-point kernel, or its entry's value while there is no table.
template <class Use>
Complex WithKernel(int selector, const double* table, const Use& use)
{
    switch (selector)
    {
    case 4:
        return use([](double d) { return detail::CubicAt(detail::kCubic4, d); });
    case 6:
        return use([](double d) { return detail::CubicAt(detail::kCubic6, d); });
    case 8:
        return use([](double d) { return detail::CubicAt(detail::kCubic8, d); });
    default:
        return use(
            [table](double d)
            {
                const double a = std::fabs(d);
                if (!(a < 4.0))
                    return 0.0;
                const std::int32_t entry = TruncI32(a * 1024.0);
                return table ? table[entry] : detail::CubicAt(detail::kCubic8, entry * detail::kCubicTableStep);
            });
    }
}

bool IsSelector(int kernel)
{
    return kernel == 4 || kernel == 6 || kernel == 8 || kernel == 9;
}

/// The nearest row of a point. Kept: its coordinate is rounded to float first, so that beyond 2^24 steps of the
/// coordinate neighbouring rows may be taken for one another.
std::int32_t RowOf(const Lumora& field, double v)
{
    return detail::NearestIndex(static_cast<double>(static_cast<float>(v)), field.GetPy(), field.GetNy() / 2);
}

/// A sample of the row interpolators by linear index. Kept: both upper bounds are inclusive, so column Nx reads the
/// first sample of the following row. Where that lies beyond the buffer, the value is 0.
Complex RowSample(const Lumora& field, std::int32_t i, std::int32_t j)
{
    if (i < 0 || i > field.GetNx() || j < 0 || j > field.GetNy())
        return Complex(0.0, 0.0);
    const std::size_t n = field.IJ(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
    return n < field.N() ? field.GetDataPointer()[n] : Complex(0.0, 0.0);
}

/// The interpolator behind a chooser value, plain and wide.
struct Entry
{
    InterpolFunc func;
    detail::WideKernel kernel;
};

/// Null for the values that stand for none.
const Entry* EntryOf(Interpol interpol)
{
    using detail::WideKernel;
    static constexpr Entry entries[] = {{nullptr, WideKernel::Nearest},
                                        {&Lumora::LinearInterpol, WideKernel::Linear},
                                        {&Lumora::Cubic8Interpol, WideKernel::Cubic8},
                                        {&Lumora::Cubic4Interpol, WideKernel::Cubic4},
                                        {&Lumora::Cubic6Interpol, WideKernel::Cubic6},
                                        {&Lumora::Cubic8Interpol, WideKernel::Cubic8},
                                        {nullptr, WideKernel::Nearest},
                                        {&Lumora::AdjacentInterpol, WideKernel::Nearest},
                                        {&Lumora::BiCubic, WideKernel::BiCubic},
                                        {&Lumora::BiLinear, WideKernel::BiLinear}};
    const std::int32_t value = interpol;
    return value < 0 || value > 9 || entries[value].func == nullptr ? nullptr : &entries[value];
}
} // namespace

InterpolFunc GetInterpolFunc(Interpol interpol)
{
    const Entry* const entry = EntryOf(interpol);
    if (entry == nullptr)
        Error(ERR_SOMETHING, "LumoraLib::GetInterpolFunc",
              detail::Explained("unable to use in current version", "The interpolator is %d.",
                                static_cast<int>(interpol)));
    return entry->func;
}

bool detail::WideKernelOf(Interpol interpol, WideKernel& kernel)
{
    const Entry* const entry = EntryOf(interpol);
    if (entry == nullptr)
        return false;
    kernel = entry->kernel;
    return true;
}

Complex Lumora::GetInterpolVal(double u, double v, Interpol interpol) const
{
    return GetInterpolVal(u, v, GetInterpolFunc(interpol));
}

Complex Lumora::NearestNeighbor(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::NearestNeighbor");
    const detail::Cell x = detail::NearestCell(u, px_, nx_);
    const detail::Cell y = detail::NearestCell(v, py_, ny_);
    return x.inside && y.inside ? GetPixel(x.first, y.first) : Complex(0.0, 0.0);
}

Complex Lumora::AdjacentInterpol(double u, double v) const
{
    return NearestNeighbor(u, v);
}

Complex Lumora::BiLinear(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::BiLinear");
    const detail::Cell x = detail::BiLinearCell(u, px_, nx_);
    const detail::Cell y = detail::BiLinearCell(v, py_, ny_);
    if (!x.inside || !y.inside)
        return Complex(0.0, 0.0);
    const double dx = x.fraction;
    const double dy = y.fraction;
    const Complex s[4] = {GetPixel(x.first, y.first), GetPixel(x.second, y.first), GetPixel(x.second, y.second),
                          GetPixel(x.first, y.second)};
    const double w[4] = {(1.0 - dx) * (1.0 - dy), dx * (1.0 - dy), dx * dy, (1.0 - dx) * dy};
    float re = static_cast<float>(s[0].GetReal() * w[0]);
    float im = static_cast<float>(s[0].GetImag() * w[0]);
    for (int t = 1; t < 4; ++t)
    {
        re += static_cast<float>(s[t].GetReal() * w[t]);
        im += static_cast<float>(s[t].GetImag() * w[t]);
    }
    return Complex(re, im);
}

Complex Lumora::LinearInterpol(double u, double v) const
{
    if (ny_ == 1)
        return LinearInterpol1d(u);
    RequireSamples("LumoraLib::Lumora::LinearInterpol");
    const detail::Cell x = detail::LinearCell(u, px_, nx_);
    const detail::Cell y = detail::LinearCell(v, py_, ny_);
    if (!x.inside || !y.inside)
        return Complex(0.0, 0.0);
    const double a = x.fraction;
    const double b = y.fraction;
    const Complex s[4] = {GetPixel(x.first, y.first), GetPixel(x.second, y.first), GetPixel(x.second, y.second),
                          GetPixel(x.first, y.second)};
    const float w[4] = {static_cast<float>((1.0 - a) * (1.0 - b)), static_cast<float>(a * (1.0 - b)),
                        static_cast<float>(a * b), static_cast<float>((1.0 - a) * b)};
    double re = s[0].GetReal() * static_cast<double>(w[0]);
    double im = s[0].GetImag() * static_cast<double>(w[0]);
    for (int t = 1; t < 4; ++t)
    {
        re += s[t].GetReal() * static_cast<double>(w[t]);
        im += s[t].GetImag() * static_cast<double>(w[t]);
    }
    return Complex(re, im);
}

Complex Lumora::LinearInterpol1d(double u) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::LinearInterpol1d";
    if (ny_ != 1)
        Error(ERR_PARAMETER, fn, "");
    RequireSamples(fn);
    const double t = detail::Trunc4(u / px_);
    const std::int32_t i0 = detail::WrapAdd(TruncI32(std::floor(t)), nx_ / 2);
    const std::int32_t i1 = detail::WrapAdd(TruncI32(std::ceil(t)), nx_ / 2);
    // Places beyond the row that the tests below let pass read as 0.
    const auto sample = [this](std::int32_t i)
    {
        return i >= 0 && i < nx_ ? dataPointer_[i] : Complex(0.0, 0.0);
    };
    if (i0 == i1)
        return sample(i0);
    // Kept: the test admits i1 = Nx, one past the row.
    if (!(i0 >= 0 && i1 <= nx_))
        return Complex(0.0, 0.0);
    const double x1 = (i1 - nx_ / 2) * px_;
    const double x0 = (i0 - nx_ / 2) * px_;
    const Complex s0 = sample(i0);
    const Complex s1 = sample(i1);
    const auto line = [&](float v0, float v1)
    {
        const float difference = v1 - v0;
        const float slope = static_cast<float>(static_cast<double>(difference) / (x1 - x0));
        const float rise = static_cast<float>(static_cast<double>(slope) * (u - x0));
        return rise + v0;
    };
    return Complex(line(s0.Real(), s1.Real()), line(s0.Imag(), s1.Imag()));
}

Complex Lumora::BiCubic(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::BiCubic");
    const auto kernel = [](double d)
    {
        return detail::CubicAt(detail::kCubic4, d);
    };
    const KernelTaps tx = detail::KernelTapsAbout(detail::PlainIndex(u, px_, nx_), 2, nx_, kernel);
    const KernelTaps ty = detail::KernelTapsAbout(detail::PlainIndex(v, py_, ny_), 2, ny_, kernel);
    float re = 0.0f;
    float im = 0.0f;
    for (std::int32_t j = ty.range.first; j <= ty.range.last; ++j)
    {
        const double ky = ty.value[j - ty.range.first];
        const Complex* const row = dataPointer_ + IJ(0, static_cast<std::size_t>(j));
        for (std::int32_t i = tx.range.first; i <= tx.range.last; ++i)
        {
            // Rounded to float after each of the two stages.
            const double kx = tx.value[i - tx.range.first];
            const float alongRe = static_cast<float>(row[i].GetReal() * kx);
            const float alongIm = static_cast<float>(row[i].GetImag() * kx);
            re += static_cast<float>(static_cast<double>(alongRe) * ky);
            im += static_cast<float>(static_cast<double>(alongIm) * ky);
        }
    }
    return Complex(re, im);
}

Complex Lumora::Cubic4Interpol(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::Cubic4Interpol");
    return Separable(*this, QuantisedIndex(u, px_, nx_), QuantisedIndex(v, py_, ny_), 2,
                     [](double d) { return detail::CubicAt(detail::kCubic4, d); });
}

Complex Lumora::Cubic6Interpol(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::Cubic6Interpol");
    return Separable(*this, QuantisedIndex(u, px_, nx_), QuantisedIndex(v, py_, ny_), 3,
                     [](double d) { return detail::CubicAt(detail::kCubic6, d); });
}

Complex Lumora::Cubic8Interpol(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::Cubic8Interpol");
    return Separable(*this, QuantisedIndex(u, px_, nx_), QuantisedIndex(v, py_, ny_), 4,
                     [](double d) { return detail::CubicAt(detail::kCubic8, d); });
}

Complex Lumora::CubicInterpol(double u, double v, int kernel) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::CubicInterpol";
    if (!IsSelector(kernel))
        Error(ERR_PARAMETER, fn, detail::Explained("unsupported pixel kernel", "kernel is %d.", kernel));
    RequireSamples(fn);
    const double x = QuantisedIndex(u, px_, nx_);
    const double y = QuantisedIndex(v, py_, ny_);
    return WithKernel(kernel, cubicTable_,
                      [&](const auto& function) { return Separable(*this, x, y, kernel / 2, function); });
}

Complex Lumora::CubicInterpolX(double u, double v, int kernel) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::CubicInterpolX";
    if (!IsSelector(kernel))
        Error(ERR_PARAMETER, fn, detail::Explained("unsupported pixel kernel", "kernel is %d.", kernel));
    RequireSamples(fn);
    const double x = QuantisedIndex(u, px_, nx_);
    const std::int32_t j = RowOf(*this, v);
    return WithKernel(kernel, cubicTable_,
                      [&](const auto& function)
                      {
                          // One column more than the grid at the upper end: the inclusive bound.
                          const KernelTaps taps = detail::KernelTapsAbout(x, kernel / 2, nx_ + 1, function);
                          float re = 0.0f;
                          float im = 0.0f;
                          for (std::int32_t i = taps.range.first; i <= taps.range.last; ++i)
                          {
                              const float weight = static_cast<float>(taps.value[i - taps.range.first]);
                              const Complex sample = RowSample(*this, i, j);
                              const float addRe = sample.Real() * weight;
                              const float addIm = sample.Imag() * weight;
                              re += addRe;
                              im += addIm;
                          }
                          return Complex(re, im);
                      });
}

Complex Lumora::CubicInterpol1d(double u, int kernel) const
{
    if (ny_ != 1)
        Error(ERR_PARAMETER, "LumoraLib::Lumora::CubicInterpol1d", "");
    return CubicInterpolX(u, 0.0, kernel);
}

Complex Lumora::SincInterpolX(double u, double v) const
{
    RequireSamples("LumoraLib::Lumora::SincInterpolX");
    const double x = QuantisedIndex(u, px_, nx_);
    const std::int32_t j = RowOf(*this, v);
    float re = 0.0f;
    float im = 0.0f;
    for (std::int32_t i = 0; i < nx_; ++i)
    {
        const double d = i - x;
        const float weight = static_cast<float>(d == 0.0 ? 1.0 : std::sin(detail::kPi * d) / (detail::kPi * d));
        const Complex sample = RowSample(*this, i, j);
        const float addRe = sample.Real() * weight;
        const float addIm = sample.Imag() * weight;
        re += addRe;
        im += addIm;
    }
    return Complex(re, im);
}

Complex Lumora::SincInterpol1d(double u) const
{
    if (ny_ != 1)
        Error(ERR_PARAMETER, "LumoraLib::Lumora::SincInterpol1d", "");
    return SincInterpolX(u, 0.0);
}

double* Lumora::cubicTable_ = nullptr;

void Lumora::GenCubicTable()
{
    // The table of a first call serves all later ones: its content never changes, and readers may be using it.
    if (cubicTable_)
        return;
    double* const table = static_cast<double*>(Malloc(detail::kCubicTableSize * sizeof(double), "Cubic Table"));
    for (int n = 0; n < detail::kCubicTableSize; ++n)
        table[n] = detail::CubicAt(detail::kCubic8, n * detail::kCubicTableStep);
    cubicTable_ = table;
}
} // namespace LumoraLib
