// Time per sample from grids in the cache to grids far beyond it, with one thread and with two, beside what the machine
// itself gains by a second core: sweeps over the same memory that do nothing but move it. Prints a Markdown table.
//
//   lml_sizes [LARGEST] [ROUNDS]        grids from 512 to LARGEST (8192; 16384 takes 4 GiB), 9 rounds
//
// Every round runs everything once, in random order; the least of the rounds counts, which other programs on the
// machine disturb least. One thread is measured by its processor time, two by the clock: the second column needs two
// idle processors. Factors of propagations are computed in each call.
#include "Bench.h"

#include <array>
#include <ctime>
#include <random>

namespace
{
using namespace lmlbench;

struct Task
{
    const char* operation;
    int size;
    std::function<void()> run;
    std::array<double, 2> best = {1e300, 1e300};
};

double Seconds(clockid_t clock)
{
    timespec t{};
    clock_gettime(clock, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

/// One run of at least some milliseconds: seconds per run.
double Time(const Task& task, int threads)
{
    const clockid_t clock = threads == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC;
    SetNumThreads(threads);
    const double start = Seconds(clock);
    double took = 0.0;
    int runs = 0;
    for (; took < 0.005; took = Seconds(clock) - start)
    {
        task.run();
        ++runs;
    }
    return took / runs;
}

std::string Loads()
{
    double loads[3] = {};
    char text[64] = "unknown";
    if (getloadavg(loads, 3) == 3)
        std::snprintf(text, sizeof text, "%.1f, %.1f, %.1f", loads[0], loads[1], loads[2]);
    return text;
}

std::string Ratio(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

constexpr std::size_t kOperations = 5; // of every size, in the same order
} // namespace

int main(int argc, char** argv)
{
    const int largest = argc > 1 ? std::atoi(argv[1]) : 8192;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 9;
    if (largest < 512 || rounds < 1)
    {
        std::fprintf(stderr, "lml_sizes [LARGEST] [ROUNDS]: at least 512, and 1\n");
        return 1;
    }
    const std::string before = Loads();
    SetPropagationCache(0);
    std::vector<Task> tasks;
    std::vector<std::unique_ptr<Lumora>> fields;
    for (int n = 512; n <= largest; n *= 2)
    {
        fields.push_back(std::make_unique<Lumora>(n, n, 4e-6));
        Lumora* const field = fields.back().get();
        Fill(*field);
        tasks.push_back({"sweep, read and written", n,
                         [field]
                         {
                             *field *= 1.0;
                         }});
        tasks.push_back({"sweep, read", n,
                         [field]
                         {
                             benchmark::DoNotOptimize(field->GetAmplitudeMax());
                         }});
        tasks.push_back({"Fft, there and back", n,
                         [field]
                         {
                             field->Fft(-1).Fft(1) *= 1.0 / static_cast<double>(field->N());
                         }});
        tasks.push_back({"RawAsmProp", n,
                         [field]
                         {
                             field->RawAsmProp(1e-3);
                         }});
        tasks.push_back({"AsmProp, 10 cm", n,
                         [field]
                         {
                             field->AsmProp(0.1);
                         }});
    }
    for (const Task& task : tasks) // tables, pages
        for (int threads = 2; threads >= 1; --threads)
        {
            SetNumThreads(threads);
            task.run();
        }
    std::mt19937 random(1);
    std::vector<std::size_t> order(2 * tasks.size());
    for (std::size_t n = 0; n < order.size(); ++n)
        order[n] = n;
    for (int round = 0; round < rounds; ++round)
    {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t n : order)
        {
            Task& task = tasks[n / 2];
            double& best = task.best[n % 2];
            best = std::min(best, Time(task, static_cast<int>(n % 2) + 1));
        }
    }
    std::printf("Load averages before: %s; after: %s.\n\n", before.c_str(), Loads().c_str());
    std::puts("| Operation | Size | ns per sample, 1 thread | of that at 2048² | 2 threads | 1 : 2 "
              "|\n|---|---|---|---|---|---|");
    for (std::size_t operation = 0; operation < kOperations; ++operation)
        for (std::size_t n = operation; n < tasks.size(); n += kOperations)
        {
            const Task& task = tasks[n];
            const auto perSample = [](const Task& t, std::size_t threads)
            {
                return t.best[threads] * 1e9 / (static_cast<double>(t.size) * t.size);
            };
            const auto middle =
                std::find_if(tasks.begin(), tasks.end(),
                             [&](const Task& t) { return t.size == 2048 && t.operation == task.operation; });
            std::printf("| %s | %d | %.2f | %s | %.2f | %.2f |\n", task.operation, task.size, perSample(task, 0),
                        middle == tasks.end() ? "-" : Ratio(perSample(task, 0) / perSample(*middle, 0)).c_str(),
                        perSample(task, 1), task.best[0] / task.best[1]);
        }
    return 0;
}
