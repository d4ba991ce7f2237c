// A field larger than the memory it may use: an off-axis zone plate computed segment by segment, kept in one segmented
// LM file, read back and checked.
//
// The plate turns a plane wave into one that converges to the point (shift, 0, focus): u(x, y) = exp(-i k (r - focus))
// with r the distance of (x, y, 0) from that point. A run that was stopped goes on with --resume 1: a segment is in the
// file completely or not at all.
#include "ExampleTools.h"

#include <LmlLumora.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

using namespace LumoraLib;

namespace
{
struct Plate
{
    double shift;
    double focus;

    /// The samples of a segment whose centre lies at (centreX, centreY) of the whole field.
    void Compute(Lumora& segment, double centreX, double centreY) const
    {
        for (int j = 0; j < segment.GetNy(); ++j)
        {
            const double y = centreY + segment.Y(j);
            for (int i = 0; i < segment.GetNx(); ++i)
            {
                const double x = centreX + segment.X(i) - shift;
                const double r = std::sqrt(x * x + y * y + focus * focus);
                const double phase = -segment.GetWavenumber() * (r - focus);
                segment.SetPixel(i, j, Complex(std::cos(phase), std::sin(phase)));
            }
        }
    }
};

/// Adds a segment to the preview: each sample the mean of a block of real parts.
void AddToPreview(Lumora& preview, const Lumora& segment, int ix, int iy, int block)
{
    const int width = segment.GetNx() / block;
    const int height = segment.GetNy() / block;
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u)
        {
            double sum = 0.0;
            for (int j = 0; j < block; ++j)
                for (int i = 0; i < block; ++i)
                    sum += segment.GetReal(u * block + i, v * block + j);
            preview.SetPixel(ix * width + u, iy * height + v, Complex(sum / (block * block), 0.0));
        }
}
} // namespace

int main(int argc, char** argv)
{
    example::Options options("segmented_field",
                             "A field larger than the memory limit, computed, stored and checked segment by segment.");
    int size = 512;
    int nx = 4;
    int ny = 4;
    int limit = 16;
    double pitch = 4e-6;
    double wavelength = 632.8e-9;
    int resume = 0;
    int keep = 1;
    std::string out = ".";
    options.Add("--size", size, "samples along each side of a segment, a power of two");
    options.Add("--nx", nx, "segments along x");
    options.Add("--ny", ny, "segments along y");
    options.Add("--limit", limit, "MiB that the samples and everything else may take beyond the loaded program");
    options.Add("--pitch", pitch, "sampling pitch in metres");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--resume", resume, "1: go on with the file of a run that was stopped");
    options.Add("--keep", keep, "0: remove the file at the end");
    options.AddOut(out, "folder for the file and the picture");
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(size >= 2 && size <= 32768 && (size & (size - 1)) == 0,
                    "--size is no power of two from 2 to 32768");
    options.Require(nx >= 1 && ny >= 1 && nx <= 16383 / ny, "1 to 16383 segments fit into a file");
    options.Require(pitch > 0.0 && wavelength > 0.0, "lengths must be above 0");
    const double segmentMiB = 8.0 * size * size / 1048576.0;
    const double fieldMiB = segmentMiB * nx * ny;
    options.Require(fieldMiB > limit, "the field fits into --limit: make it larger, or the limit smaller");

    const std::string path = out + "/segmented_field.lm";
    const double width = nx * size * pitch;
    const double height = ny * size * pitch;
    // The farthest point of the plate meets an eighth of the sampling limit, sin(angle) = wavelength / (16 pitch), so
    // that the picture shows all its rings.
    const Plate plate = {0.1 * width, (0.6 * width + 0.5 * height) * 16.0 * pitch / wavelength};
    const double before = example::PeakMiB();
    std::printf("field    %d x %d samples, %.1f MiB, in %d x %d segments\n", nx * size, ny * size, fieldMiB, nx, ny);
    std::printf("limit    %d MiB, a segment takes %.2f MiB\n", limit, segmentMiB);

    Lumora segment(size, size, pitch, pitch, wavelength);
    const auto centreX = [&](int ix)
    {
        return size * pitch * (ix - (nx - 1) / 2.0);
    };
    const auto centreY = [&](int iy)
    {
        return size * pitch * (iy - (ny - 1) / 2.0);
    };
    const int count = nx * ny;

    // Computing and saving. The common parameters come from the segment that is saved first: all of them carry the
    // origin of the whole field, and the loads put each segment in its place.
    // A new segment shows only once it is complete, so that a stopped run can be resumed from the file as it stands.
    if (resume == 0)
        SaveWhole(path.c_str(), [&](const char* name)
                  { CreateFileSegLm(name, static_cast<std::uint16_t>(nx), static_cast<std::uint16_t>(ny)); });
    int present = 0;
    example::Progress saving("computed and saved", count);
    for (int n = 0; n < count; ++n)
    {
        const std::uint16_t ix = static_cast<std::uint16_t>(n % nx);
        const std::uint16_t iy = static_cast<std::uint16_t>(n / nx);
        bool exists = false;
        if (resume != 0)
            segment.LoadSegLm(path.c_str(), ix, iy, &exists);
        if (exists)
            ++present;
        else
        {
            segment.SetOrigin(Vector(0.0, 0.0, 0.0));
            plate.Compute(segment, centreX(ix), centreY(iy));
            segment.SaveAsSegLm(path.c_str(), ix, iy);
        }
        saving.Report(n + 1);
    }
    if (resume != 0)
        std::printf("resumed  %d of %d segments were there\n", present, count);

    // Reading back and checking, bit by bit and place by place.
    const int block = std::max(1, std::max(nx, ny) * size / 512);
    Lumora preview(std::max(1, nx * size / block), std::max(1, ny * size / block), block * pitch);
    preview.Clear();
    preview.SetWindow(0, std::max(1, nx * (size / block)), 0, std::max(1, ny * (size / block)));
    Lumora stored(size, size, pitch, pitch, wavelength);
    int wrong = 0;
    double largest = 0.0;
    example::Progress reading("read and checked", count);
    for (int n = 0; n < count; ++n)
    {
        const int ix = n % nx;
        const int iy = n / nx;
        bool exists = false;
        stored.LoadSegLm(path.c_str(), static_cast<std::uint16_t>(ix), static_cast<std::uint16_t>(iy), &exists);
        plate.Compute(segment, centreX(ix), centreY(iy));
        const Vector origin = stored.GetOrigin();
        const double off = std::hypot(origin.x - centreX(ix), origin.y - centreY(iy));
        const bool same = exists && stored.N() == segment.N() &&
                          std::memcmp(stored.GetDataPointer(), segment.GetDataPointer(), segment.N() * 8) == 0;
        wrong += same && off < 1e-3 * pitch ? 0 : 1;
        largest = std::max(largest, off);
        if (size >= block)
            AddToPreview(preview, stored, ix, iy, block);
        reading.Report(n + 1);
    }
    if (size >= block)
    {
        PictureStyle style =
            example::LookAlone("Off-axis zone plate of " + std::to_string(count) + " segments", PICTURE_REAL);
        style.window = true;
        style.low = -1.0;
        style.high = 1.0;
        SavePicture(out + "/segmented_field.png", preview, style);
    }
    const double used = example::PeakMiB() - before;
    std::printf("checked  %d segments, %d wrong; places within %.1e of a pitch\n", count, wrong, largest / pitch);
    std::printf("memory   %.1f MiB used at most\n", used);
    std::printf("file     %s (%.1f MiB)%s\n", path.c_str(), fieldMiB, keep == 0 ? ", removed" : "");
    if (keep == 0)
        std::remove(path.c_str());
    const bool good = wrong == 0 && used <= limit;
    std::printf(good ? "all segments came back as they were, within the limit\n" : "FAILED\n");
    return good ? 0 : 1;
}
