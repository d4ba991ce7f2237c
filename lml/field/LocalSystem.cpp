// The local coordinate system of a field, its outline in space, and the combination of two fields on one plane.
#include "base/Describe.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Scratch.h"
#include "base/StepByStep.h"
#include "base/Texts.h"
#include "field/FieldTools.h"
#include "field/Interpol.h"
#include "field/InterpolAxis.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>

namespace LumoraLib
{
namespace
{
void RequireSamePlane(const Lumora& target, const Lumora& source, const char* function)
{
    if (target.GetPlane() != source.GetPlane())
        Error(ERR_PARAMETER, function,
              detail::Differing(detail::kTextOtherPlane, target, source, detail::COMPARED_PLANES));
    detail::FieldAccess::RequireSamples(target, function);
    detail::FieldAccess::RequireSamples(source, function);
}

/// Offsets of the source in the target's plane.
/// Kept: differences of the global x and y components, also for a tilted plane, without conversion to local axes.
struct Offset
{
    double x;
    double y;
};

Offset OffsetOf(const Lumora& target, const Lumora& source)
{
    const Vector a = target.GetOrigin();
    const Vector b = source.GetOrigin();
    return {b.x - a.x, b.y - a.y};
}

/// The source's footprint in the target's indices: the half-open ranges that the resampling loops run over.
struct Footprint
{
    std::int32_t left, right, bottom, top;
    bool empty;
};

Footprint FootprintOf(const Lumora& target, const Lumora& source, const Offset& offset)
{
    const std::int32_t nx = target.GetNx();
    const std::int32_t ny = target.GetNy();
    const std::int32_t sx = source.GetNx();
    const std::int32_t sy = source.GetNy();
    const auto column = [&](std::int32_t i)
    {
        return detail::SaturatedIndex(i * source.GetPx() + offset.x, target.GetPx(), nx / 2);
    };
    const auto row = [&](std::int32_t j)
    {
        return detail::SaturatedIndex(j * source.GetPy() + offset.y, target.GetPy(), ny / 2);
    };
    const std::int32_t i0 = column(-sx / 2);
    const std::int32_t j0 = row(-sy / 2);
    const std::int32_t i1 = column(sx - sx / 2 - 1);
    const std::int32_t j1 = row(sy - sy / 2 - 1);
    // Kept: the upper ends are exclusive, so the source's last column and row are left out when they fall inside the
    // target.
    return {std::max(i0, 0), std::min(nx, i1), std::max(j0, 0), std::min(ny, j1),
            i0 >= nx || j0 >= ny || i1 < 0 || j1 < 0};
}

// How a value joins the sample under it: one sample, and a row of them in wide form.
struct AddValue
{
    static constexpr bool clears = false;
    static void One(Complex& sample, const Complex& value) { sample += value; }
    static void Row(Complex* to, const Complex* value, std::size_t count)
    {
        detail::Interpolation().add(detail::Floats(to), detail::Floats(value), count);
    }
};
struct MultiplyValue
{
    static constexpr bool clears = false;
    static void One(Complex& sample, const Complex& value) { sample *= value; }
    static void Row(Complex* to, const Complex* value, std::size_t count)
    {
        detail::Interpolation().multiply(detail::Floats(to), detail::Floats(value), count);
    }
};
struct CopyValue
{
    static constexpr bool clears = true;
    static void One(Complex& sample, const Complex& value) { sample = value; }
};

/// What a resampling call knows before its loop. The column of a destination sample alone decides which source columns
/// take part and with which kernel values, and its row decides the same for the source rows: both are worked out once,
/// a table for the columns of the call and a few numbers for each row.
class ResamplePlan
{
public:
    /// u = (i - half) * pitch - offset is the source coordinate of destination column i, left <= i < right.
    struct Axis
    {
        std::int32_t begin, end, half;
        double pitch, offset;
        double At(std::int32_t i) const { return (i - half) * pitch - offset; }
    };

    /// Nothing when the wide form does not hold here: a refused chooser, a source narrower than the kernel, samples
    /// that are not finite under a kernel with taps of weight 0.
    static std::optional<ResamplePlan> Make(const Lumora& source, Interpol interpol, const Axis& x, const Axis& y)
    {
        detail::WideKernel kernel;
        if (detail::StepByStep() || x.begin >= x.end || y.begin >= y.end || !detail::WideKernelOf(interpol, kernel))
            return std::nullopt;
        if (source.GetNx() < detail::kWideTaps[static_cast<int>(kernel)] ||
            source.GetNy() < (kernel == detail::WideKernel::Linear ? 2 : 1))
            return std::nullopt;
        std::optional<ResamplePlan> plan(ResamplePlan(source, kernel, x));
        if (!plan->Tabulate() || (plan->IsCubic() && !plan->ReadsFinite(y)))
            return std::nullopt;
        return plan;
    }

    /// The destination columns that the tables serve; at all others the value is 0.
    std::int32_t Begin() const { return begin_; }
    std::int32_t End() const { return end_; }

    /// What the source rows contribute to the destination row at coordinate v; false when all values are 0.
    bool Row(double v, detail::ResampleRow& row) const
    {
        const auto use = [&](std::int32_t j, double weight)
        {
            row.rows[row.count] =
                detail::Floats(source_->GetDataPointer() + source_->IJ(0, static_cast<std::size_t>(j)));
            row.weight[row.count++] = weight;
        };
        row.count = 0;
        if (IsCubic())
        {
            const detail::KernelTaps taps = TapsAt(v, source_->GetPy(), source_->GetNy());
            for (std::int32_t j = taps.range.first; j <= taps.range.last; ++j)
                use(j, taps.value[j - taps.range.first]);
        }
        else
        {
            const detail::Cell cell = CellAt(v, source_->GetPy(), source_->GetNy());
            if (cell.inside)
            {
                use(cell.first, 1.0 - cell.fraction);
                use(cell.second, cell.fraction);
            }
        }
        return row.count > 0;
    }

    /// The values of the columns from `first` on, Begin() <= first.
    void Values(const detail::ResampleRow& row, std::int32_t first, std::int32_t count, Complex* to) const
    {
        table_->resample[static_cast<int>(kernel_)](columns_, row, static_cast<std::size_t>(first - x_.begin),
                                                    static_cast<std::size_t>(count), detail::Floats(to));
    }

private:
    ResamplePlan(const Lumora& source, detail::WideKernel kernel, const Axis& x)
        : source_(&source), kernel_(kernel), taps_(detail::kWideTaps[static_cast<int>(kernel)]), x_(x), begin_(x.begin),
          end_(x.end), columns_{}, memory_(1, Entries() * (3 * sizeof(std::int32_t) + Factors() * sizeof(double))),
          table_(&detail::Interpolation())
    {
    }

    bool IsCubic() const { return kernel_ >= detail::WideKernel::BiCubic; }
    std::size_t Entries() const { return static_cast<std::size_t>(x_.end - x_.begin) + detail::kWidePadding; }
    std::size_t Factors() const { return static_cast<std::size_t>(taps_); }

    detail::KernelTaps TapsAt(double coordinate, double pitch, std::int32_t size) const
    {
        const bool whole = kernel_ == detail::WideKernel::BiCubic;
        const double x =
            whole ? detail::PlainIndex(coordinate, pitch, size) : detail::QuantisedIndex(coordinate, pitch, size);
        const auto about = [&](const auto& pieces)
        {
            return detail::KernelTapsAbout(x, taps_ / 2, size, [&](double d) { return detail::CubicAt(pieces, d); });
        };
        return taps_ == 4 ? about(detail::kCubic4) : taps_ == 6 ? about(detail::kCubic6) : about(detail::kCubic8);
    }

    detail::Cell CellAt(double coordinate, double pitch, std::int32_t size) const
    {
        using detail::WideKernel;
        return kernel_ == WideKernel::BiLinear ? detail::BiLinearCell(coordinate, pitch, size)
               : kernel_ == WideKernel::Linear ? detail::LinearCell(coordinate, pitch, size)
                                               : detail::NearestCell(coordinate, pitch, size);
    }

    /// Fills the tables of the columns; false when the columns with a value are not one run.
    bool Tabulate()
    {
        const std::size_t entries = Entries();
        const std::int32_t size = source_->GetNx();
        const double pitch = source_->GetPx();
        double* const weight = memory_.As<double>(0);
        std::int32_t* const start = reinterpret_cast<std::int32_t*>(weight + entries * Factors());
        std::int32_t* const second = start + entries;
        std::int32_t* const run = second + entries;
        std::fill_n(weight, entries * Factors(), 0.0);
        bool begun = false;
        for (std::int32_t i = x_.begin; i < x_.end; ++i)
        {
            const std::size_t n = static_cast<std::size_t>(i - x_.begin);
            if (IsCubic())
            {
                const detail::KernelTaps taps = TapsAt(x_.At(i), pitch, size);
                const std::int32_t count = taps.range.last - taps.range.first + 1;
                // Of one tap more than the table has, the first or the last weighs 0: just below a whole index the
                // first one still weighs something.
                const bool more = count > taps_;
                const std::int32_t from = taps.range.first + (more && taps.value[0] == 0.0 ? 1 : 0);
                const std::int32_t last = more ? from + taps_ - 1 : taps.range.last;
                start[n] = second[n] = count > 0 ? std::min(from, size - taps_) : 0;
                for (std::int32_t t = from; t <= last; ++t)
                    weight[static_cast<std::size_t>(t - start[n]) * entries + n] = taps.value[t - taps.range.first];
                continue;
            }
            detail::Cell cell = CellAt(x_.At(i), pitch, size);
            if (!cell.inside)
                cell.first = cell.second = 0; // read beside the columns with a value, and thrown away
            start[n] = cell.first;
            second[n] = cell.second;
            weight[n] = 1.0 - cell.fraction;
            if (taps_ > 1)
                weight[entries + n] = cell.fraction;
            if (cell.inside && !begun)
            {
                begun = true;
                begin_ = i;
                end_ = i + 1;
            }
            else if (cell.inside)
            {
                if (end_ != i)
                    return false;
                end_ = i + 1;
            }
        }
        if (!IsCubic() && !begun)
            end_ = begin_;
        const std::size_t last = entries - detail::kWidePadding - 1;
        std::fill(start + last + 1, start + entries, start[last]);
        std::fill(second + last + 1, second + entries, second[last]);
        std::fill(run + last + 1, run + entries, 1);
        // A cell of the last column, which blends with itself, ends a run.
        const bool cells = !IsCubic() && taps_ == 2;
        run[last] = 1;
        for (std::size_t n = last; n-- > 0;)
        {
            const bool on = start[n + 1] == start[n] + 1 &&
                            (!cells || (second[n] == start[n] + 1 && second[n + 1] == start[n + 1] + 1));
            run[n] = on ? run[n + 1] + 1 : 1;
        }
        columns_ = {start, second, run, weight, entries};
        return true;
    }

    /// Whether all samples under the taps of the call are finite, the tap of weight 0 that the tables leave out
    /// included.
    bool ReadsFinite(const Axis& y) const
    {
        std::int32_t bottom = source_->GetNy();
        std::int32_t top = 0;
        for (std::int32_t j = y.begin; j < y.end; ++j)
        {
            const detail::TapRange range = TapsAt(y.At(j), source_->GetPy(), source_->GetNy()).range;
            bottom = std::min(bottom, range.first);
            top = std::max(top, range.last + 1);
        }
        const std::size_t count = static_cast<std::size_t>(x_.end - x_.begin);
        const auto [low, high] = std::minmax_element(columns_.start, columns_.start + count);
        // With the taps of weight 0 that are left out on either side.
        const std::int32_t left = std::max(*low - 1, 0);
        const std::size_t width = static_cast<std::size_t>(std::min(*high + taps_ + 1, source_->GetNx()) - left);
        std::atomic<bool> finite{true};
        detail::ParallelRows(bottom, top,
                             [&](std::int32_t j)
                             {
                                 const Complex* const row =
                                     source_->GetDataPointer() + source_->IJ(0, static_cast<std::size_t>(j)) + left;
                                 if (!table_->finite(detail::Floats(row), 2 * width))
                                     finite.store(false, std::memory_order_relaxed);
                             });
        return finite.load();
    }

    const Lumora* source_;
    detail::WideKernel kernel_;
    int taps_;
    Axis x_;
    std::int32_t begin_, end_;
    detail::ResampleColumns columns_;
    detail::Scratch memory_;
    const detail::InterpolTable* table_;
};

void ZeroSamples(Complex* first, Complex* last)
{
    std::fill(first, last, Complex());
}

/// All samples outside the footprint := 0.
void ClearAround(Lumora& target, const Footprint& range)
{
    detail::ParallelRows(0, target.GetNy(),
                         [&](std::int32_t j)
                         {
                             Complex* const row = target.GetDataPointer() + target.IJ(0, static_cast<std::size_t>(j));
                             Complex* const end = row + target.GetNx();
                             if (j < range.bottom || j >= range.top)
                                 return ZeroSamples(row, end);
                             ZeroSamples(row, row + range.left);
                             ZeroSamples(row + range.right, end);
                         });
}

/// The value 0 joins the samples [first, last).
template <class How>
void JoinZeros(Complex* first, Complex* last)
{
    for (; first < last; ++first)
        How::One(*first, Complex());
}

template <class How>
void ResampleRowWide(const ResamplePlan& plan, double v, const Footprint& range, Complex* row)
{
    detail::ResampleRow lines;
    if (!plan.Row(v, lines))
        return JoinZeros<How>(row + range.left, row + range.right);
    JoinZeros<How>(row + range.left, row + plan.Begin());
    JoinZeros<How>(row + plan.End(), row + range.right);
    if constexpr (How::clears)
    {
        plan.Values(lines, plan.Begin(), plan.End() - plan.Begin(), row + plan.Begin());
    }
    else
    {
        constexpr std::int32_t kBlock = 256;
        Complex values[kBlock];
        for (std::int32_t i = plan.Begin(); i < plan.End(); i += kBlock)
        {
            const std::int32_t count = std::min(kBlock, plan.End() - i);
            plan.Values(lines, i, count, values);
            How::Row(row + i, values, static_cast<std::size_t>(count));
        }
    }
}

/// The three resampling operations.
template <class How>
Lumora& Resample(Lumora& target, const Lumora& source, Interpol interpol, const char* function)
{
    RequireSamePlane(target, source, function);
    detail::CheckCombined(function, target, source, true);
    const Offset offset = OffsetOf(target, source);
    const Footprint range = FootprintOf(target, source, offset);
    if (range.empty)
        return target; // Kept: without overlap a copy leaves the old samples, any overlap clears everything first.
    if (&source == &target)
    {
        // A field that combines with itself is read from a copy: its samples change under the neighbours' reads.
        const Lumora copy(source);
        return Resample<How>(target, copy, interpol, function);
    }
    Complex* const samples = target.GetDataPointer();
    const ResamplePlan::Axis x{range.left, range.right, target.GetNx() / 2, target.GetPx(), offset.x};
    const ResamplePlan::Axis y{range.bottom, range.top, target.GetNy() / 2, target.GetPy(), offset.y};
    if (const std::optional<ResamplePlan> plan = ResamplePlan::Make(source, interpol, x, y))
    {
        if (How::clears)
            ClearAround(target, range);
        detail::ParallelRows(
            y.begin, y.end,
            [&](std::int32_t j)
            { ResampleRowWide<How>(*plan, y.At(j), range, samples + target.IJ(0, static_cast<std::size_t>(j))); });
        return target;
    }
    if (How::clears)
        target.Clear();
    // Kept: a refused interpolator is noticed here, after the clearing.
    const InterpolFunc func = GetInterpolFunc(interpol);
    detail::ParallelRows(y.begin, y.end,
                         [&](std::int32_t j)
                         {
                             Complex* const row = samples + target.IJ(0, static_cast<std::size_t>(j));
                             const double v = y.At(j);
                             for (std::int32_t i = x.begin; i < x.end; ++i)
                                 How::One(row[i], (source.*func)(x.At(i), v));
                         });
    return target;
}

bool PitchesDiffer(double own, double other)
{
    return std::fabs(own - other) > 0.001 * own;
}

/// Add and Multiply: sample on sample, on the source's grid.
template <class How>
Lumora& OnSourceGrid(Lumora& target, const Lumora& source, const char* function)
{
    RequireSamePlane(target, source, function);
    if (PitchesDiffer(target.GetPx(), source.GetPx()) || PitchesDiffer(target.GetPy(), source.GetPy()))
        Error(ERR_PARAMETER, function,
              detail::Differing(detail::kTextOtherPitch, target, source, detail::COMPARED_PITCHES));
    detail::CheckCombined(function, target, source);
    const Offset offset = OffsetOf(target, source);
    const std::int32_t sx = source.GetNx();
    const std::int32_t sy = source.GetNy();
    const std::int64_t oi =
        detail::NearestIndex(-(sx / 2) * source.GetPx() + offset.x, target.GetPx(), target.GetNx() / 2);
    const std::int64_t oj =
        detail::NearestIndex(-(sy / 2) * source.GetPy() + offset.y, target.GetPy(), target.GetNy() / 2);
    const std::int64_t iBegin = std::clamp<std::int64_t>(-oi, 0, sx);
    const std::int64_t iEnd = std::clamp<std::int64_t>(target.GetNx() - oi, 0, sx);
    const auto jBegin = static_cast<std::int32_t>(std::clamp<std::int64_t>(-oj, 0, sy));
    const auto jEnd = static_cast<std::int32_t>(std::clamp<std::int64_t>(target.GetNy() - oj, 0, sy));
    if (iBegin >= iEnd)
        return target;
    const auto count = static_cast<std::size_t>(iEnd - iBegin);
    const bool wide = !detail::StepByStep();
    Complex* const samples = target.GetDataPointer();
    const Complex* const from = source.GetDataPointer();
    detail::ParallelRows(jBegin, jEnd,
                         [&](std::int32_t j)
                         {
                             Complex* const row = samples + ((j + oj) * target.GetNx() + (oi + iBegin));
                             const Complex* const line = from + (std::int64_t{j} * sx + iBegin);
                             if (wide)
                                 return How::Row(row, line, count);
                             for (std::size_t i = 0; i < count; ++i)
                                 How::One(row[i], line[i]);
                         });
    return target;
}
} // namespace

RMatrix Lumora::GetCRMatrixLG() const
{
    return RMatrix(normalVector_, Vector(0.0, 0.0, 1.0));
}

RMatrix Lumora::GetCRMatrixGL() const
{
    return GetCRMatrixLG().GetInverse();
}

Vector Lumora::GetGlobalPosition(Vector p) const
{
    return GetCRMatrixLG() * p + origin_;
}

Vector Lumora::GetLocalPosition(Vector p) const
{
    return GetCRMatrixGL() * (p - origin_);
}

Vector Lumora::GetUnitVectorX() const
{
    const RMatrix lg = GetCRMatrixLG();
    return Vector(lg.GetElement(0, 0), lg.GetElement(0, 1), lg.GetElement(0, 2)); // column 0, down the rows
}

Vector Lumora::GetUnitVectorY() const
{
    const RMatrix lg = GetCRMatrixLG();
    return Vector(lg.GetElement(1, 0), lg.GetElement(1, 1), lg.GetElement(1, 2));
}

Plane Lumora::GetPlane() const
{
    return Plane(origin_, normalVector_);
}

Line Lumora::GetOpticalAxis() const
{
    return Line(origin_, normalVector_);
}

PointArray Lumora::GetFrame(int n) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::GetFrame";
    constexpr int kMost = 28; // 4 * 2^28 is the largest number of points that a 32-bit count holds
    if (n < 0 || n > kMost)
        Error(ERR_PARAMETER, fn, detail::Explained("n must be positive value", "n is %d.", n));
    const int m = 1 << n;
    PointArray frame(4 * m);
    const double dx = nx_ * px_ / m;
    const double dy = ny_ * py_ / m;
    const double right = GetMaxX();
    const double left = GetMinX();
    const double top = GetMaxY();
    const double bottom = GetMinY();
    if (IsSpectrum())
    {
        // A spectrum's frame stays in its own plane of frequencies.
        for (int t = 0; t < m; ++t)
        {
            frame.SetPoint(t, Vector(right, bottom + dy * t, 0.0));
            frame.SetPoint(m + t, Vector(right - dx * t, top, 0.0));
            frame.SetPoint(2 * m + t, Vector(left, top - dy * t, 0.0));
            frame.SetPoint(3 * m + t, Vector(left + dx * t, bottom, 0.0));
        }
        return frame;
    }
    const Vector ex = GetUnitVectorX();
    const Vector ey = GetUnitVectorY();
    for (int t = 0; t < m; ++t)
    {
        frame.SetPoint(t, ex * right + ey * bottom + origin_ + ey * dy * t);
        frame.SetPoint(m + t, ex * right + ey * top + origin_ - ex * dx * t);
        frame.SetPoint(2 * m + t, ex * left + ey * top + origin_ - ey * dy * t);
        frame.SetPoint(3 * m + t, ex * left + ey * bottom + origin_ + ex * dx * t);
    }
    return frame;
}

Lumora& Lumora::ResamplingCopy(const Lumora& source, Interpol interpol)
{
    return Resample<CopyValue>(*this, source, interpol, "LumoraLib::Lumora::ResamplingCopy");
}

Lumora& Lumora::ResamplingAdd(const Lumora& source, Interpol interpol)
{
    return Resample<AddValue>(*this, source, interpol, "LumoraLib::Lumora::ResamplingAdd");
}

Lumora& Lumora::ResamplingMultiply(const Lumora& source, Interpol interpol)
{
    return Resample<MultiplyValue>(*this, source, interpol, "LumoraLib::Lumora::ResamplingMultiply");
}

Lumora& Lumora::Add(const Lumora& source)
{
    return OnSourceGrid<AddValue>(*this, source, "LumoraLib::Lumora::Add");
}

Lumora& Lumora::Multiply(const Lumora& source)
{
    return OnSourceGrid<MultiplyValue>(*this, source, "LumoraLib::Lumora::Multiply");
}
} // namespace LumoraLib
