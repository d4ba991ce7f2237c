// Large fields on several ranks: AsmProp from file to file, beside the same by one process with as many threads, and
// the bytes that the ranks send beside the model's. The samples are compared before a figure is printed.
//
//   mpiexec -n P mpi_fields [--size N] [--memory MiB] [--threads N] [--distance METRES] [--folder PATH] [--repeats N]
//                           [--keep 1] [--alone 0]
//
// Runs of both alternate; least and median wall time of each are shown, and the load of the machine. While one process
// works alone the others sleep. mpi_rival.cpp reads the same source file: --keep 1 leaves it.
#include "LargeSource.h"
#include "LmlMpi.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace
{
using namespace LumoraLib;

double Seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool Same(const std::string& a, const std::string& b, int size)
{
    const SegmentedField x(a.c_str()), y(b.c_str());
    std::vector<Complex> u(static_cast<std::size_t>(size)), v(u.size());
    for (int row = 0; row < size; ++row)
    {
        x.Read(0, row, size, 1, u.data(), u.size());
        y.Read(0, row, size, 1, v.data(), v.size());
        if (std::memcmp(u.data(), v.data(), u.size() * sizeof(Complex)) != 0)
            return false;
    }
    return true;
}

void Print(const char* name, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("%-28s least %7.3f s  median %7.3f s\n", name, times.front(), times[times.size() / 2]);
}

/// Processor time of this rank's three sweeps, from what their progress says: to 0.05 s.
struct SweepTimes
{
    double marks[4] = {};
    std::int64_t seen = 0;

    static double Processor() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }
    static bool OnProgress(void* context, const char*, std::int64_t done, std::int64_t total)
    {
        SweepTimes& times = *static_cast<SweepTimes*>(context);
        for (; times.seen < 3 && 3 * done >= times.seen * total; ++times.seen)
            times.marks[times.seen] = Processor();
        return true;
    }
    void Run(const std::function<void()>& call)
    {
        seen = 0;
        SetProgressHandler(OnProgress, this);
        call();
        SetProgressHandler(nullptr, nullptr);
        marks[3] = Processor();
    }
};

int Run(LargeRanks& ranks, int argc, char** argv)
{
    int alone = 1;
    bench::LargeArguments given(4096, 5);
    given.Read(argc, argv, {{"--alone", &alone}});
    const int size = given.size, repeats = given.repeats;
    const std::string& folder = given.folder;
    const double distance = given.distance;
    const bool first = ranks.GetRank() == 0;
    const int all = ranks.GetSize();
    const std::string from = folder + "/mpi_bench_from.lm", to = folder + "/mpi_bench_to.lm",
                      other = folder + "/mpi_bench_alone.lm";
    const auto wait = [&ranks]
    {
        LargeTogether(&ranks, [] {});
    };
    if (first)
        bench::MakeSource(from, size);
    wait();
    LargeOptions how, single;
    how.memory = static_cast<std::uint64_t>(given.memory) << 20;
    how.threads = given.threads;
    how.ranks = &ranks;
    single.memory = how.memory * static_cast<std::uint64_t>(all);
    single.threads = given.threads * all;
    std::vector<double> together, by_one;
    LargeReport report;
    SweepTimes sweeps;
    double least[3] = {1e300, 1e300, 1e300};
    for (int n = 0; n < repeats + 1; ++n)
    {
        wait();
        double start = Seconds();
        sweeps.Run([&] { report = LargeAsmProp(from.c_str(), to.c_str(), distance, how); });
        for (int k = 0; k < 3 && sweeps.seen == 3 && sweeps.marks[2] > sweeps.marks[1]; ++k) // sweeps that were seen
            least[k] = std::min(least[k], sweeps.marks[k + 1] - sweeps.marks[k]);
        wait();
        if (n > 0)
            together.push_back(Seconds() - start);
        start = Seconds();
        if (first && alone != 0)
            LargeAsmProp(from.c_str(), other.c_str(), distance, single);
        wait();
        if (n > 0)
            by_one.push_back(Seconds() - start);
    }
    double sent = 0.0;
    for (int r = 0; r < all; ++r)
    {
        std::uint64_t bytes = report.bytesSent;
        ranks.Broadcast(&bytes, sizeof bytes, r);
        sent += static_cast<double>(bytes) / all;
    }
    int result = 0;
    if (first)
    {
        if (alone != 0 && !Same(to, other, size))
        {
            std::puts("FAILED: other samples than by one process");
            result = 1;
        }
        double load[3] = {};
        static_cast<void>(getloadavg(load, 3));
        const double model = 2.0 * static_cast<double>(report.kept) * (all - 1) / all / all;
        std::printf("%d^2 samples, %d ranks of %d threads, %d MiB each (%s); load %.1f\n", size, all, given.threads,
                    given.memory, report.inMemory ? "tiles in memory" : "tiles in files", load[0]);
        std::printf("sent %.1f MiB a rank, the model says %.1f: %+.2f %%; kept %.2f of the grid\n", sent / 1048576.0,
                    model / 1048576.0, all == 1 ? 0.0 : 100.0 * (sent / model - 1.0),
                    static_cast<double>(report.kept) / (8.0 * size * size));
        const double samples = static_cast<double>(size) * size / all;
        std::printf("rank 0, processor time: rows %.2f ns a sample, columns %.2f ns a sample kept, rows back %.2f ns\n",
                    1e9 * least[0] / samples, 1e9 * least[1] / (static_cast<double>(report.kept) / 8.0 / all),
                    1e9 * least[2] / samples);
        Print("ranks", together);
        if (alone != 0)
        {
            Print("one process, their threads", by_one);
            std::sort(together.begin(), together.end());
            std::sort(by_one.begin(), by_one.end());
            std::printf("ranks over one process: least %.2f, median %.2f\n", together.front() / by_one.front(),
                        together[together.size() / 2] / by_one[by_one.size() / 2]);
            std::remove(other.c_str());
        }
        if (given.keep == 0)
            std::remove(from.c_str());
        std::remove(to.c_str());
    }
    ranks.Broadcast(&result, sizeof result, 0);
    return result;
}
} // namespace

int main(int argc, char** argv)
{
    int provided = 0;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
    int result = 0;
    {
        MpiRanks ranks(MPI_COMM_WORLD);
        result = Run(ranks, argc, argv);
    }
    MPI_Finalize();
    return result;
}
