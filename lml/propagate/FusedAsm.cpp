// Angular spectrum propagation in three sweeps.
#include "propagate/Band.h"
#include "transform/EngineTable.h"
#include "field/FieldTools.h"
#include "propagate/Fused.h"
#include "base/IntMath.h"
#include "base/Parallel.h"
#include "base/Reduce.h"
#include "transform/wide/WideFft.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace LumoraLib::detail
{
namespace
{
constexpr double kTwoPi = 6.283185307179586;

/// What the sweeps of one propagation need beside the samples.
struct Sweep
{
    std::int32_t enlargeX, enlargeY;
    WideRange columns; // spectrum columns inside the band, transform order
    WideRange rows;    // spectrum rows inside the band, transform order
    WideFactor factor; // even on both axes
    const void* context;
    const Complex* turnColumns; // beside it a factor per column and per row, or null
    const Complex* turnRows;
    const Complex* source; // the samples that the field becomes: its own or another's
};

void RunSweep(Lumora& field, const Sweep& sweep)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const std::size_t width = static_cast<std::size_t>(nx) * static_cast<std::size_t>(sweep.enlargeX);
    const std::size_t height = static_cast<std::size_t>(ny) * static_cast<std::size_t>(sweep.enlargeY);
    if (sweep.columns.Count(width) == 0 || sweep.rows.Count(height) == 0)
    {
        FillSamples(field.GetDataPointer(), field.N(), Complex());
        return;
    }
    // The enlarged grid's rows beyond the field are zero before the columns and not wanted after them: only the field's
    // own rows are held, over the full width.
    const bool enlarged = sweep.enlargeX != 1 || sweep.enlargeY != 1;
    const Scratch middle(enlarged ? 1 : 0, width * static_cast<std::size_t>(ny) * sizeof(Complex),
                         [](std::size_t bytes) { NoSamples(bytes); });
    Complex* const spectrum = enlarged ? middle.As<Complex>(0) : field.GetDataPointer();
    const std::size_t x0 = (width - static_cast<std::size_t>(nx)) / 2;
    const std::size_t y0 = (height - static_cast<std::size_t>(ny)) / 2;
    const WideRange ownColumns{x0, x0 + static_cast<std::size_t>(nx)};
    const WideRange ownRows{y0, y0 + static_cast<std::size_t>(ny)};

    const std::size_t rows = static_cast<std::size_t>(ny);
    const WideRows forward = {
        .source = {.samples = sweep.source, .stride = static_cast<std::size_t>(nx), .origin = x0, .range = ownColumns},
        .target = {.samples = spectrum, .stride = width, .range = sweep.columns},
        .rows = rows,
        .n = width,
        .sign = -1};
    const WideFused middlePass = {
        .strips = {.source = {.samples = spectrum, .stride = width, .origin = y0, .range = ownRows},
                   .target = {.samples = spectrum, .stride = width, .origin = y0, .range = ownRows},
                   .columns = width,
                   .which = sweep.columns,
                   .n = height},
        .factor = sweep.factor,
        .context = sweep.context,
        .zeroRows = Complement(sweep.rows, static_cast<std::int32_t>(height)),
        .symmetric = true,
        .column = sweep.turnColumns,
        .row = sweep.turnRows};
    const WideRows back = {.source = {.samples = spectrum, .stride = width, .range = sweep.columns},
                           .target = {.samples = field.GetDataPointer(),
                                      .stride = static_cast<std::size_t>(nx),
                                      .origin = x0,
                                      .range = ownColumns},
                           .rows = rows,
                           .n = width,
                           .sign = 1,
                           .scale =
                               static_cast<float>(1.0 / (static_cast<double>(width) * static_cast<double>(height)))};

    const int threads = WideThreads(width * height, GetNumThreads());
    const WideFusedPass second(middlePass, threads);
    const WideRowPass first(forward, threads, &second.Memory());
    const WideRowPass third(back, threads, &second.Memory());
    // Not before all memory is taken; samples that come from another field are not converted.
    const bool wasPolar = sweep.source == field.GetDataPointer() && MakeCartesian(field);
    ParallelTeam(threads,
                 [&](int index, int size)
                 {
                     first.Part(index, size);
                     TeamBarrier(size);
                     second.Part(index, size);
                     TeamBarrier(size);
                     third.Part(index, size);
                 });
    RestorePolar(field, wasPolar);
}

bool IsLength(std::int32_t n)
{
    return n > 1 && (n & (n - 1)) == 0;
}

/// The signed frequency index of a transform index.
std::int32_t SignedIndex(std::size_t index, std::int32_t n)
{
    const std::int32_t i = static_cast<std::int32_t>(index);
    return i < n / 2 ? i : i - n;
}

/// Fills `count` factors of a row in runs of consecutive signed column indices.
template <class Form>
void FillRow(const Form& form, std::int32_t nx, std::size_t column, std::size_t count, float* re, float* im)
{
    std::size_t done = 0;
    while (done < count)
    {
        const std::size_t at = column + done;
        const std::size_t half = static_cast<std::size_t>(nx / 2);
        const std::size_t end = std::min(column + count, at < half ? half : static_cast<std::size_t>(nx));
        const std::size_t run = std::max<std::size_t>(end - at, 1);
        Phases().unitSplit(form, SignedIndex(at, nx), run, re + done, im + done);
        done += run;
    }
}

struct TransferContext
{
    std::int32_t nx, ny;
    double du, dv;
    double inverseSquare;
    double twoPiD;
};

void TransferFactor(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re, float* im)
{
    const TransferContext& t = *static_cast<const TransferContext*>(context);
    const double v = std::abs(SignedIndex(row, t.ny)) * t.dv;
    FillRow(PhaseForm::Transfer(t.du, t.inverseSquare, v * v, t.twoPiD), t.nx, column, count, re, im);
}

struct PathContext
{
    std::int32_t nx, ny;
    double du, dv;
    double inverseSquare;
    double z0;
};

/// The even part of a shifted transfer function. Kept: the root is not guarded, so that frequencies of the band beyond
/// 1 / wavelength, which very small pitches have, make the field not a number.
void PathFactor(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re, float* im)
{
    constexpr double kNever = std::numeric_limits<double>::infinity();
    const PathContext& t = *static_cast<const PathContext*>(context);
    const double v = std::abs(SignedIndex(row, t.ny)) * t.dv;
    FillRow(PhaseForm::Shifted(t.du, -kNever, kNever, 0.0, t.z0, t.inverseSquare, v * v, 0.0), t.nx, column, count, re,
            im);
}

/// exp(2 pi i shift f) for the frequencies of an axis in transform order: what a shift is in the spectrum. The phase of
/// a shifted propagation is rounded once where the step-by-step form has the sum of all three terms in one.
std::unique_ptr<Complex[], FreeMemory> ShiftTurns(std::int32_t n, double pitch, double shift)
{
    const std::size_t count = static_cast<std::size_t>(n), room = (count + 63) / 64 * 64;
    const auto phases = MallocArray<double>(count, "phase tables");
    auto turns = MallocArray<Complex>(room, "phase tables");
    std::fill(turns.get() + count, turns.get() + room, Complex());
    for (std::size_t i = 0; i < count; ++i)
        phases[i] = kTwoPi * (shift * (SignedIndex(i, n) * pitch));
    Phases().unit(PhaseForm::Given(phases.get()), 0, count, reinterpret_cast<float*>(turns.get()), nullptr);
    return turns;
}

/// The centred indices of an axis inside an open band, as a range in transform order.
WideRange OpenBand(std::int32_t n, double pitch, double low, double high)
{
    std::int32_t first = 0;
    std::int32_t last = n;
    const auto outside = [=](std::int32_t i)
    {
        const double frequency = (i - n / 2) * pitch;
        return frequency <= low || frequency >= high;
    };
    while (first < n && outside(first))
        ++first;
    while (last > first && outside(last - 1))
        --last;
    return TransformRange(first, last, n);
}
} // namespace

bool CanFuse(const Lumora& field)
{
    return WideEngineBound() && IsLength(field.GetNx()) && IsLength(field.GetNy());
}

bool CanFuseEnlarged(const Lumora& field)
{
    return CanFuse(field) && FieldAccess::OwnsSamples(field);
}

void FusedAsm(Lumora& field, double d, bool bandLimit, std::int32_t enlarge)
{
    const std::int32_t nx = field.GetNx() * enlarge;
    const std::int32_t ny = field.GetNy() * enlarge;
    const double lambda = field.GetWavelength();
    const TransferContext context{
        nx, ny, 1.0 / (nx * field.GetPx()), 1.0 / (ny * field.GetPy()), 1.0 / (lambda * lambda), kTwoPi * d};
    const IndexBox box = bandLimit ? AsmBandBox(nx, ny, context.du, context.dv, d, lambda) : IndexBox{0, nx, 0, ny};
    RunSweep(field, Sweep{enlarge, enlarge, TransformRange(box.i0, box.i1, nx), TransformRange(box.j0, box.j1, ny),
                          TransferFactor, &context, nullptr, nullptr, field.GetDataPointer()});
}

void FusedShiftedAsm(Lumora& field, const Complex* source, const ShiftedTransfer& transfer, std::int32_t enlarge)
{
    const std::int32_t nx = field.GetNx() * enlarge;
    const std::int32_t ny = field.GetNy() * enlarge;
    const PathContext context{nx, ny, transfer.du, transfer.dv, transfer.inverseSquare, transfer.z0};
    const auto columns = ShiftTurns(nx, transfer.du, transfer.x0);
    const auto rows = ShiftTurns(ny, transfer.dv, transfer.y0);
    RunSweep(field, Sweep{enlarge, enlarge, OpenBand(nx, transfer.du, transfer.uLow, transfer.uHigh),
                          OpenBand(ny, transfer.dv, transfer.vLow, transfer.vHigh), PathFactor, &context, columns.get(),
                          rows.get(), source});
}
} // namespace LumoraLib::detail
