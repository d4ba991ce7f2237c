// Fields larger than memory: AsmProp from file to file beside the member on the whole field in memory, and the memory
// and the bytes that it takes. The samples are compared before a figure is printed.
//
//   large_fields [--size N] [--memory MiB] [--threads N] [--distance METRES] [--folder PATH] [--repeats N] [--member 0]
//
// Runs of both alternate; the least wall and processor time of each is shown. The files are in the page cache where it
// has room for them. With --member 0 the field need not fit into memory: the sweeps alone. The rival in Python is
// large_rival.py, which reads the same source file: --keep 1 leaves it.
#include "LargeSource.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <sys/resource.h>

namespace
{
using namespace LumoraLib;

struct Times
{
    double wall = 1e300;
    double processor = 1e300;
};

template <class Call>
void Measure(Times& least, const Call& call)
{
    const auto wall = std::chrono::steady_clock::now();
    const std::clock_t before = std::clock();
    call();
    least.processor = std::min(least.processor, static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC);
    least.wall = std::min(least.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - wall).count());
}

double PeakMiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

bool Same(const std::string& path, const Lumora& field)
{
    const SegmentedField file(path.c_str());
    std::vector<Complex> row(static_cast<std::size_t>(field.GetNx()));
    for (int j = 0; j < field.GetNy(); ++j)
    {
        file.Read(0, j, field.GetNx(), 1, row.data(), row.size());
        if (std::memcmp(row.data(), field.GetDataPointer() + static_cast<std::size_t>(j) * row.size(),
                        row.size() * sizeof(Complex)) != 0)
            return false;
    }
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    int member = 1;
    bench::LargeArguments given(32, 3);
    given.Read(argc, argv, {{"--member", &member}});
    const int size = given.size, repeats = given.repeats;
    const std::string& folder = given.folder;
    const double distance = given.distance;
    SetNumThreads(given.threads);
    const std::string from = folder + "/large_bench_from.lm", to = folder + "/large_bench_to.lm";
    bench::MakeSource(from, size);
    LargeOptions how;
    how.memory = static_cast<std::uint64_t>(given.memory) << 20;
    LargeReport report;
    Times sweeps, inside;
    const double before = PeakMiB();
    Measure(sweeps, [&] { report = LargeAsmProp(from.c_str(), to.c_str(), distance, how); });
    const double used = PeakMiB() - before; // of the first run: the member's memory comes later
    Lumora source(1, 1), field(1, 1);
    if (member != 0)
        SegmentedField(from.c_str()).Get(0, 0, size, size, source);
    for (int n = 0; n < repeats; ++n)
    {
        Measure(sweeps, [&] { report = LargeAsmProp(from.c_str(), to.c_str(), distance, how); });
        if (member == 0)
            continue;
        field = source;
        Measure(inside, [&] { field.AsmProp(distance); });
    }
    if (member != 0 && !Same(to, field))
    {
        std::puts("FAILED: other samples than the member's");
        return 1;
    }
    const double mib = 8.0 * size * size / 1048576.0;
    std::printf("%d^2 samples, %.0f MiB; %d MiB allowed, %.0f planned, %.0f more than before; %d threads\n", size, mib,
                given.memory, static_cast<double>(report.memory) / 1048576.0, used, given.threads);
    std::printf("%s; moved %.2f times the field in, %.2f out\n", report.inMemory ? "in memory" : "three sweeps",
                static_cast<double>(report.bytesRead) / 1048576.0 / mib,
                static_cast<double>(report.bytesWritten) / 1048576.0 / mib);
    std::printf("file to file %8.3f s wall %8.3f s processor\n", sweeps.wall, sweeps.processor);
    if (member != 0)
        std::printf("the member   %8.3f s wall %8.3f s processor   ratio %.2f wall, %.2f processor\n", inside.wall,
                    inside.processor, sweeps.wall / inside.wall, sweeps.processor / inside.processor);
    if (given.keep == 0)
        std::remove(from.c_str());
    std::remove(to.c_str());
    return 0;
}
