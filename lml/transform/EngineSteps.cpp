// Passes step by step over any bound transform: the definition of their results.
#include "base/FieldAccess.h"
#include "base/Memory.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "field/Embed.h"
#include "field/FieldTools.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"
#include "transform/Engine.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

namespace LumoraLib::detail
{
namespace
{
/// A row of samples for each thread of the library's count.
class ThreadRows
{
public:
    ThreadRows(std::int32_t length, const char* label)
        : length_(static_cast<std::size_t>(std::max(length, 0))),
          samples_(MallocArray<Complex>(length_ * static_cast<std::size_t>(GetNumThreads()), label))
    {
    }
    Complex* Get(int thread) const { return samples_.get() + length_ * static_cast<std::size_t>(thread); }

private:
    std::size_t length_;
    std::unique_ptr<Complex[], FreeMemory> samples_;
};

/// A pass's transfer function and band on the samples of a centred spectrum. The constructor takes the memory.
class Filter
{
public:
    Filter(const SpectralPass& pass, std::int32_t nx, std::int32_t ny) : pass_(pass), nx_(nx), ny_(ny)
    {
        if (pass.transfer.roomLabel != nullptr)
            rooms_.emplace(nx, pass.transfer.roomLabel);
    }

    void Run(Complex* samples) const
    {
        if (nx_ <= 0 || ny_ <= 0)
            return;
        const std::int32_t half = ny_ / 2;
        ParallelBlocks(static_cast<std::size_t>(half) + 1,
                       [&](std::size_t begin, std::size_t end, int thread)
                       {
                           Complex* const room = rooms_ ? rooms_->Get(thread) : nullptr;
                           for (std::size_t n = begin; n < end; ++n)
                           {
                               const std::int32_t j = static_cast<std::int32_t>(n);
                               Complex* const below = RowInBand(samples, half - j);
                               Complex* const above = j != 0 && j < half ? RowInBand(samples, half + j) : nullptr;
                               if (below == nullptr && above == nullptr)
                                   continue;
                               pass_.transfer.Multiply(below, above, nx_, j, room);
                               CutColumns(below);
                               CutColumns(above);
                           }
                       });
    }

private:
    /// Row j, or null where the band leaves nothing of it: it is then set to zero.
    Complex* RowInBand(Complex* samples, std::int32_t j) const
    {
        Complex* const row = samples + static_cast<std::size_t>(nx_) * static_cast<std::size_t>(j);
        if (j >= pass_.band.j0 && j < pass_.band.j1)
            return row;
        std::fill(row, row + nx_, Complex());
        return nullptr;
    }
    void CutColumns(Complex* row) const
    {
        if (row == nullptr)
            return;
        const std::int32_t i0 = std::clamp(pass_.band.i0, 0, nx_);
        const std::int32_t i1 = std::clamp(pass_.band.i1, i0, nx_);
        std::fill(row, row + i0, Complex());
        std::fill(row + i1, row + nx_, Complex());
    }

    const SpectralPass& pass_;
    std::int32_t nx_, ny_;
    std::optional<ThreadRows> rooms_;
};

/// Twice a size; what does not fit 32 bits is left to Init to refuse.
int Doubled(int n)
{
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{2} * n, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

void Transform(Lumora& field, int sign)
{
    fftBinding.transform2d(field.GetDataPointer(), field.GetNx(), field.GetNy(), sign);
}

/// The first quadrant of the signal: the samples times the source factor and the chirp; the rest of it is zero.
void FillSignal(Lumora& signal, const Lumora& from, const ChirpPass& pass, bool joined)
{
    signal.Clear();
    const std::int32_t nx = from.GetNx();
    ParallelRows(0, from.GetNy(),
                 [&, nx](std::int32_t j)
                 {
                     Complex* const row = signal.GetDataPointer() + std::int64_t{j} * signal.GetNx();
                     const Complex* samples = from.GetDataPointer() + std::int64_t{j} * nx;
                     const double squareJ = ChirpSquare(j);
                     const auto chirp = [&](std::int32_t i)
                     {
                         return ChirpPhase(ChirpSquare(i), squareJ, pass.a, pass.b);
                     };
                     if (joined)
                         return MultiplyRow(row, samples, nx,
                                            [&](std::int32_t i) { return pass.source->At(i, j) - chirp(i); });
                     if (pass.source != nullptr)
                     {
                         MultiplyRow(row, samples, nx, [&](std::int32_t i) { return pass.source->At(i, j); });
                         samples = row;
                     }
                     MultiplyRow(row, samples, nx, [&](std::int32_t i) { return -chirp(i); });
                 });
}

/// From the convolved signal to the destination's samples. Cannot fail.
void TakeResult(Lumora& to, const Lumora& signal, const ChirpPass& pass, bool joined)
{
    const double scale = 1.0 / static_cast<double>(signal.N());
    const ComplexDouble scaled(static_cast<float>(pass.constant.Real() * scale),
                               static_cast<float>(pass.constant.Imag() * scale));
    const PhaseProduct how = joined ? ProductTimes(scaled) : FactorTimes(pass.constant);
    const std::int32_t nx = to.GetNx();
    ParallelRows(0, to.GetNy(),
                 [&, nx](std::int32_t j)
                 {
                     Complex* const row = to.GetDataPointer() + std::int64_t{j} * nx;
                     const Complex* const samples = signal.GetDataPointer() + std::int64_t{j} * signal.GetNx();
                     const double squareJ = ChirpSquare(j);
                     const auto chirp = [&](std::int32_t k)
                     {
                         return ChirpPhase(ChirpSquare(k), squareJ, pass.a, pass.b);
                     };
                     if (joined)
                         return MultiplyRow(
                             row, samples, nx, [&](std::int32_t k) { return pass.destination->At(k, j) - chirp(k); },
                             how);
                     MultiplyRow(row, samples, nx, [&](std::int32_t k) { return -chirp(k); });
                     if (pass.destination != nullptr)
                         MultiplyRow(
                             row, row, nx, [&](std::int32_t k) { return pass.destination->At(k, j); }, how);
                 });
}
} // namespace

void FilterSpectrum(Lumora& spectrum, const SpectralPass& pass)
{
    Filter(pass, spectrum.GetNx(), spectrum.GetNy()).Run(spectrum.GetDataPointer());
}

void StepEngine::Run(const SpectralPass& pass, Lumora& to, const Lumora& from) const
{
    Progress progress("LumoraLib", 3, 1);
    progress.Step(0);
    const std::int32_t ownNx = from.GetNx();
    const std::int32_t ownNy = from.GetNy();
    const bool enlarged = pass.doublings != 0;
    std::optional<Lumora> grown;
    if (enlarged)
    {
        const std::int32_t nx = GrownColumns(ownNx, pass.doublings);
        const std::int32_t ny = GrownRows(ownNy, pass.doublings);
        RequireRoom(to, nx, ny);
        grown.emplace(nx, ny);
    }
    Lumora& grid = enlarged ? *grown : to;
    const std::int32_t nx = grid.GetNx();
    const std::int32_t ny = grid.GetNy();
    Complex* const samples = grid.GetDataPointer();
    const Filter filter(pass, nx, ny);
    const ReadyTransform there(samples, nx, ny, -1);
    const ReadyTransform back(samples, nx, ny, 1);
    if (enlarged)
    {
        PlaceCentred(samples, nx, ny, from.GetDataPointer(), ownNx, ownNy);
        // Sizes that have not been through Init are powers of two on the way, and in the result.
        const std::int32_t endNx = nx >> pass.doublings;
        const std::int32_t endNy = ny > 1 ? ny >> pass.doublings : ny;
        if (to.GetNx() != endNx || to.GetNy() != endNy || to.N() > FieldAccess::Capacity(to))
            Resize(to, endNx, endNy);
    }
    else if (&to != &from)
        CopySamples(samples, to.N(), from.GetDataPointer(), from.N());

    // From here on nothing fails, but the work may be cancelled.
    const bool polar = from.IsPolarForm();
    const bool polarSpectrum = polar && pass.filtersPolar;
    if (polar)
        SamplesToCartesian(samples, grid.N());
    there.RunWatched();
    progress.Step(1);
    if (polarSpectrum)
        SamplesToPolar(samples, grid.N());
    filter.Run(samples);
    if (polarSpectrum)
        SamplesToCartesian(samples, grid.N());
    progress.Step(2);
    back.RunWatched();
    if (polarSpectrum)
        SamplesToPolar(samples, grid.N());
    ScaleSamples(samples, grid.N(), static_cast<float>(1.0 / static_cast<double>(grid.N())));
    if (enlarged)
        CutCentre(to.GetDataPointer(), to.GetNx(), to.GetNy(), samples, nx, ny);
    if (polar && !polarSpectrum)
        SamplesToPolar(to.GetDataPointer(), to.N());
}

void FillChirpKernel(Lumora& doubled, double a, double b)
{
    const std::int32_t nx = doubled.GetNx();
    const std::int32_t ny = doubled.GetNy();
    Complex* const samples = doubled.GetDataPointer();
    ParallelRows(0, ny,
                 [=](std::int32_t j)
                 {
                     const double squareJ = ChirpSquare(SignedIndex(j, ny));
                     UnitRow(samples + std::int64_t{j} * nx, nx,
                             [=](std::int32_t i)
                             { return ChirpPhase(ChirpSquare(SignedIndex(i, nx)), squareJ, a, b); });
                 });
    Transform(doubled, -1);
}

void StepEngine::Run(const ChirpPass& pass, Lumora& to, const Lumora& from) const
{
    const bool joined = pass.kernel != nullptr && pass.source != nullptr;
    Progress progress("LumoraLib", 4);
    progress.Step(0);
    Lumora signal(Doubled(to.GetNx()), Doubled(to.GetNy()));
    std::optional<Lumora> own;
    if (pass.kernel == nullptr)
        FillChirpKernel(own.emplace(signal.GetNx(), signal.GetNy()), pass.a, pass.b);
    const Lumora& kernel = own ? *own : static_cast<const Lumora&>(*pass.kernel);
    FillSignal(signal, from, pass, joined);
    progress.Step(1);
    Transform(signal, -1);
    signal *= kernel;
    progress.Step(2);
    Transform(signal, 1);
    progress.Step(3);
    if (!joined)
        ScaleSamples(signal.GetDataPointer(), signal.N(), static_cast<float>(1.0 / static_cast<double>(signal.N())));
    TakeResult(to, signal, pass, joined);
}
} // namespace LumoraLib::detail
