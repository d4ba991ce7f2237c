// Two threads on a machine with one processor taken: the time of operations with one and two threads beside a program
// that does nothing but compute, as a table. What counts is the mean, where the waits are; the median of nine rounds of
// it, one and two threads in turn.
//
//   busy [--quick]        at least two processors; for figures of its own alone on the machine
#include "Bench.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using namespace lmlbench;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 9;

/// A child that keeps the last of this process's processors busy as long as the object lives.
class Loop
{
public:
    explicit Loop(bool wanted)
    {
        if (!wanted)
            return;
        cpu_set_t all, last;
        sched_getaffinity(0, sizeof(all), &all);
        CPU_ZERO(&last);
        for (std::size_t c = CPU_SETSIZE; c-- > 0;)
            if (CPU_ISSET(c, &all))
            {
                CPU_SET(c, &last);
                break;
            }
        child_ = fork();
        if (child_ != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sched_setaffinity(0, sizeof(last), &last);
        for (volatile unsigned n = 0;;)
            n = n + 1;
    }
    ~Loop()
    {
        if (child_ <= 0)
            return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

private:
    pid_t child_ = 0;
};

/// Mean milliseconds of a run, with one thread and with two.
std::array<double, 2> Measure(const std::function<void(int)>& run, double seconds)
{
    std::array<std::vector<double>, 2> means;
    for (int round = 0; round <= kRounds; ++round)
        for (int threads = 1; threads <= 2; ++threads)
        {
            SetNumThreads(threads);
            const auto start = Clock::now();
            std::chrono::duration<double, std::milli> took{};
            int runs = 0;
            for (; runs < 3 || took.count() < 1e3 * seconds; took = Clock::now() - start, ++runs)
                run(threads);
            if (round > 0) // the first has tables, plans and pages to make
                means[static_cast<std::size_t>(threads - 1)].push_back(took.count() / runs);
        }
    std::array<double, 2> result{};
    for (std::size_t t = 0; t < 2; ++t)
    {
        std::sort(means[t].begin(), means[t].end());
        result[t] = means[t][kRounds / 2];
    }
    return result;
}

void Row(const char* operation, int size, const std::function<void(int)>& run, double seconds)
{
    std::array<std::array<double, 2>, 2> all{};
    for (std::size_t busy = 0; busy < 2; ++busy)
    {
        const Loop loop(busy == 1);
        all[busy] = Measure(run, seconds);
    }
    std::printf("| %s | %d | %.3g | %.3g | %.2f | %.3g | %.3g | %.2f |\n", operation, size, all[0][0], all[0][1],
                all[0][1] / all[0][0], all[1][0], all[1][1], all[1][1] / all[1][0]);
    std::fflush(stdout);
}
} // namespace

int main(int argc, char** argv)
{
    if (GetNumProcs() < 2)
    {
        std::fprintf(stderr, "busy: one processor only\n");
        return 1;
    }
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const double seconds = quick ? 0.01 : 0.05;
    fftwf_init_threads();
    std::puts("| Operation | Size | 1 thread, ms | 2 threads, ms | 2 : 1 | 1 thread, busy, ms | 2 threads, busy, ms | "
              "2 : 1, busy |\n|---|---|---|---|---|---|---|---|");
    for (int n = 64; n <= (quick ? 512 : 4096); n *= 2)
    {
        const auto rounds = std::make_shared<Rounds>(n, n);
        int sign = -1;
        Row(
            "Fft", n, [&](int) { rounds->Next().Fft(sign = -sign); }, seconds);
        Row(
            "fftw", n, [&](int threads) { FftwTransform(rounds->Next(), sign = -sign, threads); }, seconds);
        Lumora field(n, n, 4e-6);
        Fill(field);
        Row(
            "AsmProp", n, [&](int) { field.AsmProp(0.1); }, seconds);
        Row(
            "scale", n, [&](int) { field *= 1.0; }, seconds);
    }
    return 0;
}
