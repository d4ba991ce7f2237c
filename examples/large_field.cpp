// A field larger than the memory it may use, propagated from file to file: an aperture with two slits in a segmented LM
// file, its diffraction in another, checked against the propagation in memory where that is asked for.
#include "ExampleTools.h"

#include <LmlLarge.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace LumoraLib;

namespace
{
/// Two slits in an aperture that fills half of the field, segment by segment.
void WriteSlits(const std::string& path, const Lumora& like, int segments, int size)
{
    SegmentedField file = SegmentedField::Create(path.c_str(), like, static_cast<std::uint16_t>(segments),
                                                 static_cast<std::uint16_t>(segments), size, size);
    const double side = segments * size * like.GetPx();
    Lumora segment(size, size, like.GetPx(), like.GetPy(), like.GetWavelength());
    for (int iy = 0; iy < segments; ++iy)
        for (int ix = 0; ix < segments; ++ix)
        {
            const Vector centre = file.GetOrigin(ix, iy);
            for (int j = 0; j < size; ++j)
                for (int i = 0; i < size; ++i)
                {
                    const double x = std::fabs(centre.x + segment.X(i)), y = std::fabs(centre.y + segment.Y(j));
                    const bool open = x > 0.03 * side && x < 0.05 * side && y < 0.25 * side;
                    segment.SetPixel(i, j, Complex(open ? 1.0 : 0.0, 0.0));
                }
            file.PutSegment(ix, iy, segment);
        }
}

/// Whether the file has the samples of the field's middle, bit by bit.
bool HasSamplesOf(const std::string& path, const Lumora& field)
{
    const SegmentedField file(path.c_str());
    const int nx = static_cast<int>(file.GetNx()), ny = static_cast<int>(file.GetNy());
    const std::size_t left = static_cast<std::size_t>((field.GetNx() - nx) / 2);
    const std::size_t below = static_cast<std::size_t>((field.GetNy() - ny) / 2);
    std::vector<Complex> row(static_cast<std::size_t>(nx));
    for (int j = 0; j < ny; ++j)
    {
        file.Read(0, j, nx, 1, row.data(), row.size());
        const Complex* const expected = field.GetDataPointer() + field.IJ(left, below + static_cast<std::size_t>(j));
        if (std::memcmp(row.data(), expected, row.size() * sizeof(Complex)) != 0)
            return false;
    }
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    example::Options options("large_field", "A field in a segmented file, propagated with little memory.");
    int size = 512;
    int segments = 4;
    int memory = 4;
    double distance = 0.05;
    double pitch = 2e-6;
    double wavelength = 532e-9;
    int resume = 0;
    int compare = 1;
    int keep = 0;
    int threads = 1;
    std::string scratch;
    std::string out = ".";
    options.Add("--size", size, "samples along each side of a segment, a power of two");
    options.Add("--segments", segments, "segments along each side");
    options.Add("--memory", memory, "MiB for the propagation");
    options.Add("--distance", distance, "metres to propagate");
    options.Add("--pitch", pitch, "sampling pitch in metres");
    options.Add("--wavelength", wavelength, "metres");
    options.Add("--resume", resume, "1: keep a journal, and go on where a killed run was; the source is kept too");
    options.Add("--compare", compare, "1: propagate in memory as well and compare all samples");
    options.Add("--keep", keep, "1: leave both files");
    options.Add("--scratch", scratch, "folder for the scratch file");
    options.AddCommon(threads, out, "folder for the files");
    if (!options.Read(argc, argv))
        return options.ExitCode();
    options.Require(size >= 16 && size <= 32768 && (size & (size - 1)) == 0,
                    "--size is no power of two from 16 to 32768");
    options.Require(segments >= 1 && segments <= 127, "--segments is not from 1 to 127");
    options.Require(memory >= 1, "--memory must be 1 MiB at least");
    options.RequirePitch(pitch, wavelength);
    options.RequireMetres("--distance", distance);
    options.Require(threads >= 1, "--threads must be 1 at least");
    SetNumThreads(threads);

    const std::string from = out + "/large_source.lm";
    const std::string to = out + "/large_destination.lm";
    const double fieldMiB = 8.0 * size * size * segments * segments / 1048576.0;
    std::printf("field    %d x %d samples, %.0f MiB, in %d x %d segments\n", segments * size, segments * size, fieldMiB,
                segments, segments);
    Lumora like(0, 0);
    like.SetPx(pitch).SetPy(pitch).SetWavelength(wavelength);
    if (std::FILE* const there = resume != 0 ? std::fopen(from.c_str(), "rb") : nullptr)
        std::fclose(there);
    else
        WriteSlits(from, like, segments, size);

    LargeOptions how;
    how.memory = static_cast<std::uint64_t>(memory) << 20;
    how.scratch = scratch.empty() ? nullptr : scratch.c_str();
    how.resume = resume != 0;
    const double before = example::PeakMiB();
    const example::Seconds clock;
    const LargeReport report = LargeAsmProp(from.c_str(), to.c_str(), distance, how);
    const double seconds = clock.Read();
    std::printf("sweeps   %s: %lld bands, %lld groups of columns, %lld of them done before\n",
                report.inMemory ? "none, in memory" : "three", static_cast<long long>(report.bands),
                static_cast<long long>(report.units), static_cast<long long>(report.resumed));
    std::printf("memory   %.1f MiB planned, %.1f MiB more than before\n",
                static_cast<double>(report.memory) / 1048576.0, example::PeakMiB() - before);
    std::printf("moved    %.2f fields read, %.2f written\n",
                static_cast<double>(report.bytesRead) / 1048576.0 / fieldMiB,
                static_cast<double>(report.bytesWritten) / 1048576.0 / fieldMiB);
    std::printf("time     %.2f s\n", seconds);
    bool good = true;
    if (compare != 0)
    {
        const SegmentedField source(from.c_str());
        Lumora field(1, 1);
        source.Get(0, 0, static_cast<std::int32_t>(source.GetNx()), static_cast<std::int32_t>(source.GetNy()), field);
        const example::Seconds inside;
        field.AsmProp(distance);
        std::printf("member   %.2f s in memory\n", inside.Read());
        good = HasSamplesOf(to, field);
        std::printf(good ? "the same samples as in memory\n" : "FAILED: other samples than in memory\n");
    }
    if (keep == 0)
    {
        std::remove(from.c_str());
        std::remove(to.c_str());
    }
    return good ? 0 : 1;
}
