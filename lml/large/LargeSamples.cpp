// Sums and products of two fields in files, measures in one pass, a preview, and points added segment by segment.
#include "LmlLarge.h"

#include "base/Describe.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "large/NewFile.h"
#include "large/RowPass.h"

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace LumoraLib
{
namespace
{
using namespace detail;

/// What two fields that are combined or compared sample by sample must share.
void RequireSameGrid(const char* function, const SegmentedFile& a, const SegmentedFile& b)
{
    const Lumora& x = a.Common();
    const Lumora& y = b.Common();
    if (a.Grid().Nx() != b.Grid().Nx() || a.Grid().Ny() != b.Grid().Ny() || x.IsSpectrum() != y.IsSpectrum() ||
        x.GetPx() != y.GetPx() || x.GetPy() != y.GetPy() || !(x.GetWavelength() == y.GetWavelength()))
        Error(ERR_PARAMETER, function,
              Differing("sizes, domains, pitches or wavelengths of the files differ", x, y,
                        COMPARED_PITCHES | COMPARED_WAVELENGTHS));
}

LargeReport ReportOf(const RowPass& pass, SegmentedFile& first, SegmentedFile* second, SegmentedFile* result)
{
    LargeReport report;
    const std::uint64_t rows = pass.Rows();
    report.bands = (first.Grid().Ny() + static_cast<std::int64_t>(rows) - 1) / static_cast<std::int64_t>(rows);
    report.memory =
        (second == nullptr ? 2 : 4) * rows * static_cast<std::uint64_t>(first.Grid().Nx()) * sizeof(Complex);
    report.bytesRead = first.File().BytesRead() + (second == nullptr ? 0 : second->File().BytesRead());
    report.bytesWritten = result == nullptr ? 0 : result->File().BytesWritten();
    return report;
}

/// The sums of LargeMeasure, as far as they have come.
struct RunningSums
{
    double own = 0.0, theirs = 0.0, re = 0.0, im = 0.0;
    double largest = -1.0;
    std::int64_t at = 0; ///< number of the first sample that has it

    /// `count` samples from number `first` on, and those of the reference or null.
    void Add(const Complex* u, const Complex* r, std::size_t count, std::int64_t first)
    {
        for (std::size_t n = 0; n < count; ++n)
        {
            const double square = u[n].GetReal() * u[n].GetReal() + u[n].GetImag() * u[n].GetImag();
            own += square;
            if (square > largest)
            {
                largest = square;
                at = first + static_cast<std::int64_t>(n);
            }
        }
        for (std::size_t n = 0; r != nullptr && n < count; ++n)
        {
            theirs += r[n].GetReal() * r[n].GetReal() + r[n].GetImag() * r[n].GetImag();
            re += u[n].GetReal() * r[n].GetReal() + u[n].GetImag() * r[n].GetImag();
            im += u[n].GetImag() * r[n].GetReal() - u[n].GetReal() * r[n].GetImag();
        }
    }
};

/// first := first op second, sample by sample, into another file.
template <class Combine>
LargeReport CombineFiles(const char* function, const char* first, const char* second, const char* destination,
                         const LargeOptions& options, const Combine& combine)
{
    return LargeWithMemory(function, options,
                           [&]
                           {
                               SegmentedFile a = OpenSource(function, first, options);
                               SegmentedFile b = OpenSource(function, second, options);
                               RequireSameGrid(function, a, b);
                               NewFile result(function, destination, a.Grid(), a.Common(), options.ranks);
                               const RowPass pass = {function,
                                                     &a,
                                                     &b,
                                                     &result.File(),
                                                     MemoryOf(options),
                                                     options.ranks,
                                                     ShareOf(static_cast<std::size_t>(a.Grid().Ny()), options.ranks)};
                               const std::size_t width = static_cast<std::size_t>(a.Grid().Nx());
                               pass.Run([&](std::int64_t, std::size_t rows, Complex* x, const Complex* y)
                                        { combine(x, y, rows * width); });
                               const LargeReport report = ReportOf(pass, a, &b, &result.File());
                               result.Finish();
                               return report;
                           });
}
} // namespace

LargeReport LargeAdd(const char* first, const char* second, const char* destination, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeAdd";
    return CombineFiles(fn, first, second, destination, options,
                        [](Complex* a, const Complex* b, std::size_t count)
                        {
                            for (std::size_t n = 0; n < count; ++n)
                                a[n] += b[n];
                        });
}

LargeReport LargeSubtract(const char* first, const char* second, const char* destination, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeSubtract";
    return CombineFiles(fn, first, second, destination, options,
                        [](Complex* a, const Complex* b, std::size_t count)
                        {
                            for (std::size_t n = 0; n < count; ++n)
                                a[n] -= b[n];
                        });
}

LargeReport LargeMultiply(const char* first, const char* second, const char* destination, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeMultiply";
    return CombineFiles(fn, first, second, destination, options, MultiplySamples);
}

LargeMeasures LargeMeasure(const char* path, const char* reference, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeMeasure";
    return LargeWithMemory(
        fn, options,
        [&]
        {
            SegmentedFile file = OpenSource(fn, path, options);
            std::unique_ptr<SegmentedFile> other;
            if (reference != nullptr)
            {
                other = std::make_unique<SegmentedFile>(OpenSource(fn, reference, options));
                RequireSameGrid(fn, file, *other);
            }
            const std::int64_t width = file.Grid().Nx();
            LargeMeasures m;
            // One running sum in the order of the rows, as the members' on one thread: ranks read beside each other and
            // sum one after the other.
            RunningSums sums;
            const RowPass pass = {fn, &file, other.get(), nullptr, MemoryOf(options), options.ranks, {}, true};
            pass.Run(
                [&](std::int64_t row, std::size_t rows, const Complex* u, const Complex* r)
                {
                    const int ranks = options.ranks == nullptr ? 1 : options.ranks->GetSize();
                    for (int n = 0; n < ranks; ++n)
                    {
                        if (options.ranks == nullptr || options.ranks->GetRank() == n)
                            sums.Add(u, r, rows * static_cast<std::size_t>(width), row * width);
                        if (options.ranks != nullptr)
                            options.ranks->Broadcast(&sums, sizeof sums, n);
                    }
                });
            m.squareSum = sums.own;
            m.squareAverage = m.squareSum / (static_cast<double>(width) * static_cast<double>(file.Grid().Ny()));
            m.amplitudeMax = sums.largest > 0.0 ? std::sqrt(sums.largest) : 0.0;
            m.xMax = sums.at % width;
            m.yMax = sums.at / width;
            if (other)
            {
                const double re = sums.re, im = sums.im, theirs = sums.theirs;
                m.scale = ComplexDouble(re / theirs, im / theirs);
                // What the best multiple of the reference leaves: the sum of |u - c r|^2 at its minimum.
                const double noise = m.squareSum - (re * re + im * im) / theirs;
                m.snr = noise > 0.0 ? m.squareSum / noise : std::numeric_limits<double>::infinity();
            }
            return m;
        });
}

void LargePreview(const char* path, Lumora& to, std::int32_t nx, std::int32_t ny, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargePreview";
    static_cast<void>(LargeWithMemory(
        fn, options,
        [&]
        {
            SegmentedFile file = OpenSource(fn, path, options);
            const std::int64_t width = file.Grid().Nx();
            const std::int64_t height = file.Grid().Ny();
            if (nx < 1 || ny < 1 || nx > width || ny > height)
                Error(ERR_PARAMETER, fn,
                      Explained("a preview has 1 to as many pixels as the field has samples",
                                "%d by %d pixels of %lld by %lld samples.", nx, ny, static_cast<long long>(width),
                                static_cast<long long>(height)));
            std::vector<double> sums(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny));
            // Whole rows of pixels on each rank.
            const auto rowsOf = [&](int rank, int ranks)
            {
                const Block pixels = BlockOf(static_cast<std::size_t>(ny), rank, ranks);
                const auto firstRow = [&](std::size_t pixel)
                {
                    return static_cast<std::size_t>((static_cast<std::int64_t>(pixel) * height + ny - 1) / ny);
                };
                return std::pair(pixels, Block{firstRow(pixels.begin), firstRow(pixels.end)});
            };
            const int size = options.ranks == nullptr ? 1 : options.ranks->GetSize();
            const int rank = options.ranks == nullptr ? 0 : options.ranks->GetRank();
            const RowPass pass = {
                fn, &file, nullptr, nullptr, MemoryOf(options), options.ranks, rowsOf(rank, size).second};
            pass.Run(
                [&](std::int64_t first, std::size_t rows, const Complex* u, const Complex*)
                {
                    for (std::size_t r = 0; r < rows; ++r, u += width)
                    {
                        const std::int64_t j = (first + static_cast<std::int64_t>(r)) * ny / height;
                        double* const line = sums.data() + j * nx;
                        for (std::int64_t i = 0; i < nx; ++i)
                            for (std::int64_t x = (i * width + nx - 1) / nx; x < ((i + 1) * width + nx - 1) / nx; ++x)
                                line[i] += u[x].GetReal() * u[x].GetReal() + u[x].GetImag() * u[x].GetImag();
                    }
                });
            Agreement::Require(options.ranks);
            for (int n = 0; n < size && size > 1; ++n)
            {
                const Block pixels = rowsOf(n, size).first;
                const std::size_t line = static_cast<std::size_t>(nx);
                options.ranks->Broadcast(sums.data() + pixels.begin * line,
                                         (pixels.end - pixels.begin) * line * sizeof(double), n);
            }
            // The field changes when nothing can be refused any more.
            const Lumora& common = file.Common();
            Lumora picture(nx, ny, common.GetPx() * static_cast<double>(width) / nx,
                           common.GetPy() * static_cast<double>(height) / ny, common.GetWavelength());
            picture.Clear();
            FieldAccess::SetForm(picture, FieldAccess::Form(common));
            picture.SetOrigin(common.GetOrigin());
            picture.SetNormalVector(common.GetNormalVector());
            const std::int32_t left = (picture.GetNx() - nx) / 2;
            const std::int32_t below = (picture.GetNy() - ny) / 2;
            const auto count = [](std::int64_t pixel, std::int64_t pixels, std::int64_t samples)
            {
                return static_cast<double>(((pixel + 1) * samples + pixels - 1) / pixels -
                                           (pixel * samples + pixels - 1) / pixels);
            };
            for (std::int32_t j = 0; j < ny; ++j)
                for (std::int32_t i = 0; i < nx; ++i)
                {
                    const double sum = sums[static_cast<std::size_t>(std::int64_t{j} * nx + i)];
                    picture.SetPixel(left + i, below + j,
                                     Complex(std::sqrt(sum / (count(i, nx, width) * count(j, ny, height))), 0.0));
                }
            picture.SetWindow(left, left + nx, below, below + ny);
            to = std::move(picture);
            return LargeReport();
        }));
}

LargeReport LargeAddPointCloud(const char* source, const char* destination, const CloudPoint* points,
                               std::int64_t count, const CloudOptions& cloud, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeAddPointCloud";
    return LargeWithMemory(
        fn, options,
        [&]
        {
            SegmentedFile from = OpenSource(fn, source, options);
            if (cloud.frame != CLOUD_GLOBAL)
                Error(ERR_PARAMETER, fn, "points must be given in global coordinates: each segment has its own axes");
            const SegmentGrid& grid = from.Grid();
            const SegmentedField reader(source, SEGMENTED_READ, MISSING_ZERO);
            NewFile result(fn, destination, grid, from.Common(), options.ranks);
            const std::int64_t all = std::int64_t{grid.segmentsX} * grid.segmentsY;
            LargeReport report;
            Lumora segment(1, 1);
            ForEachPiece(options.ranks, fn, all,
                         [&](std::int64_t n)
                         {
                             const int ix = static_cast<int>(n % grid.segmentsX);
                             const int iy = static_cast<int>(n / grid.segmentsX);
                             ++report.bands;
                             reader.GetSegment(ix, iy, segment);
                             segment.AddPointCloud(points, count, cloud);
                             const std::size_t stride = static_cast<std::size_t>(segment.GetNx());
                             const Complex* const first =
                                 segment.GetDataPointer() +
                                 static_cast<std::size_t>((segment.GetNy() - grid.ny) / 2) * stride +
                                 static_cast<std::size_t>((segment.GetNx() - grid.nx) / 2);
                             if (!result.File().WriteSamples(std::int64_t{ix} * grid.nx, std::int64_t{iy} * grid.ny,
                                                             grid.nx, grid.ny, first, stride))
                                 Error(ERR_FILE_WRITE, fn, result.File().Path().c_str());
                         });
            report.memory = static_cast<std::uint64_t>(segment.N()) * sizeof(Complex);
            report.bytesWritten = result.File().File().BytesWritten();
            report.bytesRead = report.bytesWritten;
            result.Finish();
            return report;
        });
}
} // namespace LumoraLib
