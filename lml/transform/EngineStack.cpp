// One field's spectrum, kept for passes to several planes.
//
// The fused form is that of a spectral pass cut in two behind the forward half of its column sweep: rows forward and
// columns forward once, and for each plane factors, columns inverse and rows inverse, with the same bits. The step by
// step form copies the spectrum for each plane.
#include "transform/EngineStack.h"

#include "base/FieldAccess.h"
#include "base/Progress.h"
#include "field/Embed.h"
#include "field/FieldTools.h"
#include "transform/CentredFft.h"
#include "transform/SpectrumFactors.h"
#include "transform/wide/WideTables.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
/// The rows and columns of an axis of n indices that hold the field's own `count`.
WideRange OwnRange(std::int32_t n, std::int32_t count)
{
    const std::size_t first = static_cast<std::size_t>((n - count) / 2);
    return {first, first + static_cast<std::size_t>(count)};
}

/// The range with its ends at borders of strips: strips done in part take more time than they save, and what they hold
/// beyond the band is not read behind them.
WideRange WholeStrips(WideRange range, std::size_t columns)
{
    if (range.begin == range.end)
        return range;
    const WideRange whole{range.begin / kWideStrip * kWideStrip,
                          std::min((range.end + kWideStrip - 1) / kWideStrip * kWideStrip, columns)};
    // A gap that closes, or lies inside one strip, which would be there twice.
    return range.begin > range.end && whole.begin <= whole.end ? WideRange{0, columns} : whole;
}

void NoSpectrum(std::size_t bytes)
{
    NoSamples(bytes);
}
} // namespace

KeptSpectrum::KeptSpectrum(Lumora& plane, const Lumora& from, const IndexBox& band, int doublings)
    : plane_(plane), doublings_(doublings), nx_(GrownColumns(plane.GetNx(), doublings)),
      ny_(GrownRows(plane.GetNy(), doublings)), polar_(from.IsPolarForm()),
      fused_(FusedEngine::TakesSpectra(plane, doublings) && WideKeepPass::Takes(static_cast<std::size_t>(ny_)))
{
    if (polar_) // the plane holds cartesian samples for the first transform
    {
        CopySamples(plane_.GetDataPointer(), plane_.N(), from.GetDataPointer(), from.N());
        FieldAccess::SetPolar(plane_, true);
        MakeCartesian(plane_);
    }
    const Lumora& samples = polar_ ? plane_ : from;
    fused_ ? MakeFused(samples, band) : MakeStepByStep(samples);
}

void KeptSpectrum::Run(const SpectralPass& pass) const
{
    FieldAccess::SetPolar(plane_, false);
    fused_ ? RunFused(pass) : RunStepByStep(pass);
    RestorePolar(plane_, polar_);
}

void KeptSpectrum::MakeFused(const Lumora& from, const IndexBox& band)
{
    const std::size_t width = static_cast<std::size_t>(nx_);
    const std::size_t height = static_cast<std::size_t>(ny_);
    const std::size_t rows = static_cast<std::size_t>(plane_.GetNy());
    columns_ = WholeStrips(TransformRange(band.i0, band.i1, nx_), width);
    if (columns_.Count(width) == 0)
        return;
    spectrum_.emplace(1, WideKeepPass::Floats(columns_, width, height) * sizeof(float), NoSpectrum);
    if (doublings_ != 0)
        rows_.emplace(1, width * rows * sizeof(Complex), NoSpectrum);
    Complex* const middle = rows_ ? rows_->As<Complex>(0) : plane_.GetDataPointer();
    const WideRange ownColumns = OwnRange(nx_, plane_.GetNx());
    const WideRange ownRows = OwnRange(ny_, plane_.GetNy());
    const WideStrips strips = {
        .source = {.samples = middle, .stride = width, .origin = ownRows.begin, .range = ownRows},
        .columns = width,
        .which = columns_,
        .n = height};
    const WideRows forward = {.source = {.samples = from.GetDataPointer(),
                                         .stride = static_cast<std::size_t>(plane_.GetNx()),
                                         .origin = ownColumns.begin,
                                         .range = ownColumns},
                              .target = {.samples = middle, .stride = width, .range = columns_},
                              .rows = rows,
                              .n = width,
                              .sign = -1};
    const int threads = WideThreads(width * height, GetNumThreads());
    const WideKeepPass second(strips, spectrum_->As<float>(0), threads);
    const WideRowPass first(forward, threads, &second.Memory());
    ParallelPasses(
        threads, [&](int index, int size) { first.Part(index, size); },
        [&](int index, int size) { second.Part(index, size); });
}

void KeptSpectrum::RunFused(const SpectralPass& pass) const
{
    const std::size_t width = static_cast<std::size_t>(nx_);
    const std::size_t height = static_cast<std::size_t>(ny_);
    const WideRange columns = TransformRange(pass.band.i0, pass.band.i1, nx_);
    const WideRange bandRows = TransformRange(pass.band.j0, pass.band.j1, ny_);
    if (columns.Count(width) == 0 || bandRows.Count(height) == 0)
        return FillSamples(plane_.GetDataPointer(), plane_.N(), Complex());
    const SpectrumFactors factors{pass.transfer, nx_, ny_};
    Complex* const middle = rows_ ? rows_->As<Complex>(0) : plane_.GetDataPointer();
    const WideRange ownColumns = OwnRange(nx_, plane_.GetNx());
    const WideRange ownRows = OwnRange(ny_, plane_.GetNy());
    const WideFused fused = {
        .strips = {.source = {.samples = middle, .stride = width, .origin = ownRows.begin, .range = ownRows},
                   .target = {.samples = middle, .stride = width, .origin = ownRows.begin, .range = ownRows},
                   .columns = width,
                   .which = WholeStrips(columns, width),
                   .n = height},
        .factor = EvenFactor,
        .context = &factors,
        .zeroRows = Complement(bandRows, ny_),
        .symmetric = true,
        .kept = spectrum_->As<float>(0),
        .keptColumns = columns_};
    const WideRows back = {.source = {.samples = middle, .stride = width, .range = columns},
                           .target = {.samples = plane_.GetDataPointer(),
                                      .stride = static_cast<std::size_t>(plane_.GetNx()),
                                      .origin = ownColumns.begin,
                                      .range = ownColumns},
                           .rows = static_cast<std::size_t>(plane_.GetNy()),
                           .n = width,
                           .sign = 1,
                           .scale =
                               static_cast<float>(1.0 / (static_cast<double>(width) * static_cast<double>(height)))};
    const int threads = WideThreads(width * height, GetNumThreads());
    const WideFusedPass first(fused, threads);
    const WideRowPass second(back, threads, &first.Memory());
    ParallelPasses(
        threads, [&](int index, int size) { first.Part(index, size); },
        [&](int index, int size) { second.Part(index, size); });
}

void KeptSpectrum::MakeStepByStep(const Lumora& from)
{
    Lumora& spectrum = stepSpectrum_.emplace(nx_, ny_);
    if (doublings_ != 0)
        grown_.emplace(nx_, ny_);
    const ReadyTransform there(spectrum.GetDataPointer(), nx_, ny_, -1);
    if (doublings_ != 0)
        PlaceCentred(spectrum.GetDataPointer(), nx_, ny_, from.GetDataPointer(), from.GetNx(), from.GetNy());
    else
        CopySamples(spectrum.GetDataPointer(), spectrum.N(), from.GetDataPointer(), from.N());
    there.RunWatched();
}

void KeptSpectrum::RunStepByStep(const SpectralPass& pass) const
{
    Lumora& grid = grown_ ? *grown_ : plane_;
    Complex* const samples = grid.GetDataPointer();
    const ReadyTransform back(samples, nx_, ny_, 1);
    CopySamples(samples, grid.N(), stepSpectrum_->GetDataPointer(), stepSpectrum_->N());
    FilterSpectrum(grid, pass);
    back.RunWatched();
    ScaleSamples(samples, grid.N(), static_cast<float>(1.0 / static_cast<double>(grid.N())));
    if (grown_)
        CutCentre(plane_.GetDataPointer(), plane_.GetNx(), plane_.GetNy(), samples, nx_, ny_);
}
} // namespace LumoraLib::detail
