// Synthesis of simple fields, changes of size by powers of two, shifts with zero fill, superposition and drawing.
//
// All work on the stored pair of floats whatever the form says. Drawing, filling and shifting stay inside the grid for
// every argument; a refused argument changes nothing.
#include "base/Describe.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace LumoraLib
{
namespace
{
/// The enlarged sizes of Replicate, Pixelation and EnlargeZeroFill: a field of one row stays one row deep.
void GrowGrid(Lumora& field, std::int64_t factor)
{
    detail::Resize(field, field.GetNx() * factor, field.GetNy() > 1 ? field.GetNy() * factor : field.GetNy());
}

/// Kept: the bounds are products of 32 bits, which wrap around.
void ScaleWindow(LML_RECT& window, std::int64_t by, bool rowsToo)
{
    const std::int32_t factor = static_cast<std::int32_t>(by);
    window.left = detail::WrapMul(window.left, factor);
    window.right = detail::WrapMul(window.right, factor);
    if (rowsToo)
    {
        window.top = detail::WrapMul(window.top, factor);
        window.bottom = detail::WrapMul(window.bottom, factor);
    }
}

/// The common frame of the one-argument size changes: false when there is nothing to do.
bool MustResize(const Lumora& field, int n, const char* function)
{
    if (n < 0)
        Error(ERR_PARAMETER, function, detail::Explained("", "n is %d.", n));
    if (n == 0)
        return false;
    detail::FieldAccess::RequireSamples(field, function);
    return true;
}

/// Multiplies row after row by exp(i theta), the factor rounded to float first. form(j) gives the row's phases for the
/// wide form, theta(row term, i - Nx/2) the same phases one by one; both ways give the same bits.
template <class RowTerm, class Form, class Theta>
void MultiplyWave(Lumora& field, const RowTerm& rowTerm, const Form& form, const Theta& theta)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t halfX = nx / 2;
    const std::int32_t halfY = field.GetNy() / 2;
    Complex* const samples = field.GetDataPointer();
    const bool wide = !detail::StepByStep();
    detail::ParallelRows(0, field.GetNy(),
                         [&](std::int32_t j)
                         {
                             Complex* const row = samples + field.IJ(0, static_cast<std::size_t>(j));
                             const double fromRow = rowTerm(j - halfY);
                             if (wide)
                             {
                                 float* const z = detail::Floats(row);
                                 detail::PhaseProduct product;
                                 product.rule = detail::PhaseProduct::Rule::Rounded;
                                 detail::Phases().multiply(form(fromRow), product, -halfX, static_cast<std::size_t>(nx),
                                                           z, z);
                                 return;
                             }
                             for (std::int32_t i = 0; i < nx; ++i)
                             {
                                 double s = 0.0;
                                 double c = 0.0;
                                 detail::SinCos1(theta(fromRow, i - halfX), s, c);
                                 row[i] *= Complex(c, s);
                             }
                         });
}

void MultiplyByDirection(Lumora& field, const Vector& direction, double phase)
{
    const Vector d = direction.GetNormalized();
    const Vector origin = field.GetOrigin();
    const double a = field.GetWavenumber() * d.x;
    const double b = field.GetWavenumber() * d.y;
    const double px = field.GetPx();
    const double py = field.GetPy();
    const double base = a * origin.x + b * origin.y + phase;
    MultiplyWave(
        field, [=](std::int32_t j) { return base + j * b * py; },
        [=](double row) { return detail::PhaseForm::PlaneVector(row, a, px); },
        [=](double row, std::int32_t i) { return row + i * a * px; });
}

void MultiplyByCosines(Lumora& field, double cosA, double cosB, double phase)
{
    const double k = field.GetWavenumber();
    const Vector origin = field.GetOrigin();
    const double px = field.GetPx();
    const double py = field.GetPy();
    const double base = (cosA * origin.x + cosB * origin.y) * k + phase;
    MultiplyWave(
        field, [=](std::int32_t j) { return j * cosB * py; },
        [=](double row) { return detail::PhaseForm::PlaneCosines(base, row, cosA, px, k); },
        [=](double row, std::int32_t i) { return base + (row + i * cosA * px) * k; });
}

void RequireDirectionCosines(double cosA, double cosB, const char* function)
{
    const bool valid = cosA >= -1.0 && cosA <= 1.0 && cosB >= -1.0 && cosB <= 1.0 && cosA * cosA + cosB * cosB <= 1.0;
    if (!valid)
        Error(ERR_PARAMETER, function,
              detail::Explained("CosA and CosB must be direction cosine", "CosA is %.9g, CosB is %.9g.", cosA, cosB));
}

/// How a shift by s (metres) moves an axis of `size` samples with pitch p: samples [from, from + count) go to
/// [from + offset, ...), and [clearFrom, clearTo) become zero.
struct AxisShift
{
    std::int64_t from;
    std::int64_t count;
    std::int64_t offset;
    std::int64_t clearFrom;
    std::int64_t clearTo;
};

AxisShift ShiftOf(double s, std::int32_t size, double p)
{
    const std::int32_t half = size / 2;
    if (s > 0.0)
    {
        const std::int64_t last = detail::ClampedCount(std::floor((half * p - s) / p + 0.5) + half - 1, -1, size - 1);
        const std::int64_t offset = size - last - 1;
        return {0, last + 1, offset, 0, offset};
    }
    if (s < 0.0)
    {
        const std::int64_t first = detail::ClampedCount(std::floor((-half * p - s) / p + 0.5) + half, 0, size);
        return {first, size - first, -first, size - first, size};
    }
    return {0, size, 0, 0, 0};
}

void ShiftColumns(Lumora& field, double s)
{
    const AxisShift shift = ShiftOf(s, field.GetNx(), field.GetPx());
    if (shift.offset == 0 || field.N() == 0)
        return;
    for (std::int32_t j = 0; j < field.GetNy(); ++j)
    {
        Complex* const row = field.GetDataPointer() + field.IJ(0, static_cast<std::size_t>(j));
        std::memmove(static_cast<void*>(row + shift.from + shift.offset), row + shift.from,
                     static_cast<std::size_t>(shift.count) * sizeof(Complex));
        std::fill(row + shift.clearFrom, row + shift.clearTo, Complex());
    }
}

void ShiftRows(Lumora& field, double s)
{
    const AxisShift shift = ShiftOf(s, field.GetNy(), field.GetPy());
    if (shift.offset == 0 || field.N() == 0)
        return;
    const std::int64_t nx = field.GetNx();
    Complex* const samples = field.GetDataPointer();
    std::memmove(static_cast<void*>(samples + (shift.from + shift.offset) * nx), samples + shift.from * nx,
                 static_cast<std::size_t>(shift.count * nx) * sizeof(Complex));
    std::fill(samples + shift.clearFrom * nx, samples + shift.clearTo * nx, Complex());
}

struct IntPoint
{
    std::int32_t x;
    std::int32_t y;
};

/// Edge function of the directed edge a -> b at (x, y), in 32-bit wrap-around arithmetic.
std::int32_t EdgeFunction(IntPoint a, IntPoint b, std::int32_t x, std::int32_t y)
{
    using detail::WrapMul;
    using detail::WrapSub;
    return WrapSub(WrapMul(WrapSub(x, a.x), WrapSub(b.y, a.y)), WrapMul(WrapSub(y, a.y), WrapSub(b.x, a.x)));
}

/// Walks a line along its longer axis from `start` (first coordinate along that axis, the smaller end) to `end`: the
/// other coordinate moves by step(e), e being how far the line lies above it, and set() takes every place but the
/// first.
///
/// Only places with the first coordinate in 0 ... size - 1 count, so the walk skips what lies before and stops behind.
/// Where the walk would stand depends on the places before only while the line runs close to the middle between two
/// samples. That ends within a few thousand steps for any slope that 32-bit ends can have (the slope is 0, or both it
/// and its distance from 1 are at least 2^-32), so kRunUp steps from the sample nearest to the line end where the whole
/// walk does.
template <class Step, class Set>
void WalkLine(IntPoint start, std::int64_t end, double slope, std::int32_t size, const Step& step, const Set& set)
{
    constexpr std::int64_t kRunUp = 1 << 16;
    std::int64_t along = start.x;
    std::int64_t across = start.y;
    const double offset = static_cast<double>(across) - static_cast<double>(along) * slope;
    if (along < -kRunUp)
    {
        along = std::min(-kRunUp, end);
        across = static_cast<std::int64_t>(std::floor(static_cast<double>(along) * slope + offset + 0.5));
    }
    end = std::min<std::int64_t>(end, std::int64_t{size} - 1);
    while (along < end)
    {
        ++along;
        across += step(static_cast<double>(along) * slope + offset - static_cast<double>(across));
        set(along, across);
    }
}

void FillWithOnes(Lumora& field)
{
    detail::FillSamples(field.GetDataPointer(), field.N(), Complex(1.0, 0.0));
}
} // namespace

Lumora& Lumora::SetRect(double wx, double wy, double amplitude)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetRect";
    RequireSamples(fn);
    Clear();
    const Complex value(amplitude, 0.0);
    const std::int32_t i1 = detail::ClampedIndex(wx / 2.0, px_, nx_);
    const std::int32_t i0 = detail::ClampedIndex(-wx / 2.0, px_, nx_);
    const std::int32_t j1 = ny_ == 1 ? 1 : detail::ClampedIndex(wy / 2.0, py_, ny_);
    const std::int32_t j0 = ny_ == 1 ? 0 : detail::ClampedIndex(-wy / 2.0, py_, ny_);
    if (i0 < i1)
        detail::ParallelRows(j0, j1,
                             [&](std::int32_t j)
                             { std::fill(dataPointer_ + Index(i0, j), dataPointer_ + Index(i1, j), value); });
    return *this;
}

Lumora& Lumora::SetSeparableGaussian(double wx, double wy, double orderX, double orderY, double amplitude)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetSeparableGaussian";
    RequireSamples(fn);
    form_ = COMPLEX_AMPLITUDE;
    static_cast<void>(orderY); // Kept: the order in x serves both axes, the one in y has no effect.
    detail::ParallelRows(0, ny_,
                         [&](std::int32_t j)
                         {
                             const double rowTerm = std::pow(std::fabs(Y(j)) / wy, orderX);
                             for (std::int32_t i = 0; i < nx_; ++i)
                             {
                                 const double columnTerm = std::pow(std::fabs(X(i)) / wx, orderX);
                                 dataPointer_[Index(i, j)] = Complex(std::exp(-columnTerm - rowTerm) * amplitude, 0.0);
                             }
                         });
    return *this;
}

Lumora& Lumora::SetGaussian(double w, double order, double amplitude)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetGaussian";
    RequireSamples(fn);
    form_ = COMPLEX_AMPLITUDE;
    detail::ParallelRows(0, ny_,
                         [&](std::int32_t j)
                         {
                             const double y = Y(j);
                             for (std::int32_t i = 0; i < nx_; ++i)
                             {
                                 const double x = X(i);
                                 const double r = std::sqrt(x * x + y * y);
                                 dataPointer_[Index(i, j)] =
                                     Complex(std::exp(-std::pow(r / w, order)) * amplitude, 0.0);
                             }
                         });
    return *this;
}

Lumora& Lumora::SetPlaneWave(Vector direction, LumoraLib::Phase phase)
{
    RequireSamples("LumoraLib::Lumora::SetPlaneWave");
    FillWithOnes(*this);
    MultiplyByDirection(*this, direction, phase);
    return *this;
}

Lumora& Lumora::SetPlaneWave(double cosA, double cosB, LumoraLib::Phase phase)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetPlaneWave";
    RequireDirectionCosines(cosA, cosB, fn);
    RequireSamples(fn);
    FillWithOnes(*this);
    MultiplyByCosines(*this, cosA, cosB, phase);
    return *this;
}

Lumora& Lumora::MultiplyPlaneWave(Vector direction, LumoraLib::Phase phase)
{
    RequireSamples("LumoraLib::Lumora::MultiplyPlaneWave");
    MultiplyByDirection(*this, direction, phase);
    return *this;
}

Lumora& Lumora::MultiplyPlaneWave(double cosA, double cosB, LumoraLib::Phase phase)
{
    static constexpr char fn[] = "LumoraLib::Lumora::MultiplyPlaneWave";
    RequireDirectionCosines(cosA, cosB, fn);
    RequireSamples(fn);
    MultiplyByCosines(*this, cosA, cosB, phase);
    return *this;
}

Lumora& Lumora::ReduceByAverage(int n)
{
    return ReduceByAverage(n, n);
}

Lumora& Lumora::ReduceByAverage(int nx, int ny)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ReduceByAverage";
    if (nx < 0 || ny < 0)
        Error(ERR_PARAMETER, fn, detail::Explained("", "nx is %d, ny is %d.", nx, ny));
    if (nx == 0 && ny == 0)
        return *this;
    RequireSamples(fn);
    // An axis of one sample takes any factor and stays; on a longer one the block must be smaller than the field.
    const std::int64_t bx = nx_ == 1 ? 1 : detail::PowerOfTwo(nx);
    const std::int64_t by = ny_ == 1 ? 1 : detail::PowerOfTwo(ny);
    if ((nx_ > 1 && bx >= nx_) || (ny_ > 1 && by >= ny_))
        Error(ERR_PARAMETER, fn, detail::Explained("", "The field is %d by %d, nx is %d, ny is %d.", nx_, ny_, nx, ny));
    const Lumora old(*this);
    detail::Resize(*this, nx_ / bx, ny_ / by);
    px_ *= static_cast<double>(bx);
    py_ *= static_cast<double>(by);
    const double factor = 1.0 / static_cast<double>(bx) / static_cast<double>(by);
    for (std::int32_t j = 0; j < ny_; ++j)
        for (std::int32_t i = 0; i < nx_; ++i)
        {
            double re = 0.0;
            double im = 0.0;
            for (std::int64_t y = j * by; y < (j + 1) * by; ++y)
            {
                const Complex* const row = old.dataPointer_ + y * old.nx_ + i * bx;
                for (std::int64_t x = 0; x < bx; ++x)
                {
                    re += row[x].GetReal();
                    im += row[x].GetImag();
                }
            }
            dataPointer_[Index(i, j)] = Complex(re * factor, im * factor);
        }
    return SetWindowMax();
}

Lumora& Lumora::Replicate(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Replicate";
    if (!MustResize(*this, n, fn))
        return *this;
    const Lumora old(*this);
    const std::int64_t factor = detail::PowerOfTwo(n);
    GrowGrid(*this, factor);
    if (old.N() == 0)
        return *this;
    Clear();
    const std::size_t oldRow = static_cast<std::size_t>(old.nx_);
    for (std::int32_t j = 0; j < old.ny_; ++j)
        for (std::int64_t tile = 0; tile < factor; ++tile)
            std::memcpy(static_cast<void*>(dataPointer_ +
                                           IJ(static_cast<std::size_t>(tile) * oldRow, static_cast<std::size_t>(j))),
                        old.dataPointer_ + old.IJ(0, static_cast<std::size_t>(j)), oldRow * sizeof(Complex));
    if (ny_ >= 2)
        for (std::int64_t tile = 1; tile < factor; ++tile)
            std::memcpy(static_cast<void*>(dataPointer_ + IJ(0, static_cast<std::size_t>(tile * old.ny_))),
                        dataPointer_,
                        static_cast<std::size_t>(nx_) * static_cast<std::size_t>(old.ny_) * sizeof(Complex));
    return *this;
}

Lumora& Lumora::Pixelation(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Pixelation";
    if (!MustResize(*this, n, fn))
        return *this;
    const Lumora old(*this);
    const std::int64_t factor = detail::PowerOfTwo(n);
    GrowGrid(*this, factor);
    for (std::int32_t j = 0; old.N() != 0 && j < ny_; ++j)
    {
        const std::int64_t y = std::min(j / factor, std::int64_t{old.ny_} - 1);
        for (std::int32_t i = 0; i < nx_; ++i)
            dataPointer_[Index(i, j)] = old.dataPointer_[y * old.nx_ + std::min(i / factor, std::int64_t{old.nx_} - 1)];
    }
    ScaleWindow(window_, factor, ny_ > 1);
    // Both pitches are divided, also that of the row direction of a one-row field.
    px_ /= static_cast<double>(factor);
    py_ /= static_cast<double>(factor);
    return *this;
}

Lumora& Lumora::Subdivide(int n)
{
    return Pixelation(n); // Kept: a refusal names Pixelation.
}

Lumora& Lumora::EnlargeZeroFill(int n)
{
    static constexpr char fn[] = "LumoraLib::Lumora::EnlargeZeroFill";
    if (!MustResize(*this, n, fn))
        return *this;
    const Lumora old(*this);
    const std::int64_t factor = detail::PowerOfTwo(n);
    GrowGrid(*this, factor);
    Clear();
    const std::int64_t rowStep = ny_ > 1 ? factor : 1;
    for (std::int32_t j = 0; old.N() != 0 && j < old.ny_; ++j)
        for (std::int32_t i = 0; i < old.nx_; ++i)
            dataPointer_[j * rowStep * nx_ + i * factor] = old.dataPointer_[old.Index(i, j)];
    ScaleWindow(window_, factor, ny_ >= 2);
    return *this;
}

Lumora& Lumora::ExtractWindow(const Lumora& source, Complex background)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ExtractWindow";
    if (&source == this)
    {
        const Lumora copy(source);
        return ExtractWindow(copy, background);
    }
    RequireSamples(fn);
    source.RequireSamples(fn);
    const LML_RECT from = source.window_;
    const std::int32_t width = detail::WrapSub(from.right, from.left);
    const std::int32_t height = detail::WrapSub(from.top, from.bottom);
    // A refusal of the new size changes nothing, so it stands first; the samples that it keeps are those of the present
    // size.
    const std::size_t before = N();
    detail::Resize(*this, width, height);
    CopyParam(source);
    // Kept: the background goes into the samples of the size before; samples that a larger size adds are not filled.
    if (dataPointer_ != nullptr)
        detail::FillSamples(dataPointer_, std::min(before, capacity_), background);
    const std::int32_t x0 = detail::WrapSub(nx_, width) / 2;
    const std::int32_t y0 = detail::WrapSub(ny_, height) / 2;
    window_.left = x0;
    window_.right = detail::WrapAdd(x0, width);
    window_.bottom = y0;
    window_.top = detail::WrapAdd(y0, height);
    if (N() == 0)
        return *this;
    // A window beyond its grid gives only the samples that there are.
    const std::int64_t skipX = std::max(std::int64_t{0}, -std::int64_t{from.left});
    const std::int64_t skipY = std::max(std::int64_t{0}, -std::int64_t{from.bottom});
    const std::int64_t endX = std::min<std::int64_t>(width, std::int64_t{source.nx_} - from.left);
    const std::int64_t endY = std::min<std::int64_t>(height, std::int64_t{source.ny_} - from.bottom);
    for (std::int64_t y = skipY; y < endY; ++y)
        for (std::int64_t x = skipX; x < endX; ++x)
            dataPointer_[(y0 + y) * nx_ + x0 + x] = source.dataPointer_[(from.bottom + y) * source.nx_ + from.left + x];
    return *this;
}

Lumora& Lumora::ShiftZeroFillX(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ShiftZeroFillX";
    RequireSamples(fn);
    const double s = -d;
    const Vector step = IsRealSpace() ? GetUnitVectorX() * s : Vector(); // takes memory: before anything moves
    ShiftColumns(*this, s);
    if (IsRealSpace())
        origin_ += step;
    return *this;
}

Lumora& Lumora::ShiftZeroFillY(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ShiftZeroFillY";
    RequireSamples(fn);
    const double s = -d;
    const Vector step = IsRealSpace() ? GetUnitVectorY() * s : Vector();
    ShiftRows(*this, s);
    if (IsRealSpace())
        origin_ += step;
    return *this;
}

Lumora& Lumora::ShiftZeroFill(Axis axis, double d)
{
    return axis != X_AXIS ? ShiftZeroFillY(d) : ShiftZeroFillX(d);
}

Lumora& Lumora::ShiftZeroFill(double dx, double dy)
{
    static constexpr char fn[] = "LumoraLib::Lumora::ShiftZeroFillX";
    RequireSamples(fn);
    const Vector x = IsRealSpace() ? GetUnitVectorX() * -dx : Vector();
    const Vector y = IsRealSpace() ? GetUnitVectorY() * -dy : Vector();
    ShiftColumns(*this, -dx);
    ShiftRows(*this, -dy);
    if (IsRealSpace())
        origin_ = origin_ + x + y;
    return *this;
}

Lumora& Lumora::Superimpose(Lumora& source, float dx, float dy)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Superimpose";
    RequireSamples(fn);
    source.RequireSamples(fn);
    detail::CheckCombined(fn, *this, source);
    const std::int64_t x0 = std::int64_t{I(dx)} - source.nx_ / 2;
    const std::int64_t y0 = std::int64_t{J(dy)} - source.ny_ / 2;
    const std::int64_t iBegin = std::max<std::int64_t>(0, -x0);
    const std::int64_t iEnd = std::min<std::int64_t>(source.nx_, nx_ - x0);
    const std::int64_t jBegin = std::max<std::int64_t>(0, -y0);
    const std::int64_t jEnd = std::min<std::int64_t>(source.ny_, ny_ - y0);
    for (std::int64_t j = jBegin; j < jEnd; ++j)
        for (std::int64_t i = iBegin; i < iEnd; ++i)
            dataPointer_[(y0 + j) * nx_ + x0 + i] += source.dataPointer_[j * source.nx_ + i];
    return *this;
}

Lumora& Lumora::PaintTriangle(const PointArray& points, const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::PaintTriangle";
    if (points.GetN() != 3)
        Error(ERR_PARAMETER, fn, detail::Explained("", "There are %d points.", points.GetN()));
    return PaintTriangle(I(points.At(0).x), J(points.At(0).y), I(points.At(1).x), J(points.At(1).y), I(points.At(2).x),
                         J(points.At(2).y), value);
}

Lumora& Lumora::PaintTriangle(int x1, int y1, int x2, int y2, int x3, int y3, const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::PaintTriangle";
    RequireSamples(fn);
    const Complex paint = value;
    const IntPoint p1{x1, y1};
    const IntPoint p2{x2, y2};
    const IntPoint p3{x3, y3};
    const bool positive = EdgeFunction(p1, p2, x3, y3) >= 0;
    const std::int32_t left = std::max(std::min({x1, x2, x3}), 0);
    const std::int32_t right = std::min(std::max({x1, x2, x3}), nx_ - 1);
    const std::int32_t bottom = std::max(std::min({y1, y2, y3}), 0);
    const std::int32_t top = std::min(std::max({y1, y2, y3}), ny_ - 1);
    // Kept: the edges belong to a triangle of positive orientation and not to one of negative orientation.
    for (std::int32_t y = bottom; y <= top; ++y)
        for (std::int32_t x = left; x <= right; ++x)
            if ((EdgeFunction(p1, p2, x, y) >= 0) == positive && (EdgeFunction(p2, p3, x, y) >= 0) == positive &&
                (EdgeFunction(p3, p1, x, y) >= 0) == positive)
                dataPointer_[Index(x, y)] = paint;
    return *this;
}

Lumora& Lumora::Paint(int x, int y, const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Paint";
    RequireSamples(fn);
    if (x < 0 || x >= nx_ || y < 0 || y >= ny_)
        return *this;
    const Complex paint = value;
    const Complex old = dataPointer_[Index(x, y)];
    // Samples beyond the grid count as another value, which encloses every region.
    const auto isOld = [&](std::int32_t i, std::int32_t j)
    {
        return i >= 0 && i < nx_ && j >= 0 && j < ny_ && dataPointer_[Index(i, j)] == old;
    };
    int direction = -1;
    for (const int rowStep : {1, -1})
    {
        std::int32_t row = rowStep > 0 ? y : y - 1;
        std::int32_t column = x;
        for (bool found = true; found;)
        {
            found = false;
            while (isOld(column, row))
                column += direction;
            column -= direction;
            direction = -direction;
            std::int32_t next = 0;
            for (; isOld(column, row); column += direction)
            {
                dataPointer_[Index(column, row)] = paint;
                if (isOld(column, row + rowStep))
                {
                    next = column;
                    found = true;
                }
            }
            column = next;
            row += rowStep;
        }
    }
    return *this;
}

Lumora& Lumora::DrawLine(int x1, int y1, int x2, int y2, const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::DrawLine";
    RequireSamples(fn);
    const Complex paint = value;
    const auto set = [&](std::int64_t x, std::int64_t y)
    {
        if (x >= 0 && x < nx_ && y >= 0 && y < ny_)
            dataPointer_[y * nx_ + x] = paint;
    };
    const double dx = static_cast<double>(x2) - x1;
    const double dy = static_cast<double>(y2) - y1;
    const double slope = dx == 0.0 ? 1e300 : dy == 0.0 ? 0.0 : dy / dx;
    const double inverse = dx == 0.0 ? 0.0 : dy == 0.0 ? 1e300 : 1.0 / slope;
    // Kept: the walk does not set its first sample: a line towards rising coordinates lacks its start (x1, y1), one
    // towards falling coordinates has both ends.
    if (std::fabs(slope) <= 1.0)
    {
        const bool swapped = x1 > x2;
        WalkLine(
            {swapped ? x2 : x1, swapped ? y2 : y1}, swapped ? x1 : x2, slope, nx_,
            [](double e) { return e > 0.5     ? 1
                                  : e <= -0.5 ? -1
                                              : 0; }, set);
    }
    else
    {
        const bool swapped = y1 > y2;
        // Kept: the step back is strict here and not in the flat case, so lines mirrored about the diagonal can differ.
        WalkLine(
            {swapped ? y2 : y1, swapped ? x2 : x1}, swapped ? y1 : y2, inverse, ny_,
            [](double e) { return e > 0.5    ? 1
                                  : e < -0.5 ? -1
                                             : 0; },
            [&](std::int64_t y, std::int64_t x) { set(x, y); });
    }
    set(x2, y2);
    return *this;
}
} // namespace LumoraLib
