// The library inside a program's own threads: every operation of the table from one thread of a parallel region, and
// from a thread beside one, ends and gives the samples that it gives alone.
#include "Operations.h"
#include "TestTools.h"

#include <cstring>
#include <omp.h>
#include <thread>
#include <unistd.h>

using namespace lmltest;

namespace
{
/// What stands around a call: how a program comes to its one library call at a time.
using Surrounding = void (*)(const std::function<void()>& call);
const std::pair<const char*, Surrounding> kSurroundings[] = {
    {"alone",
     [](const std::function<void()>& call)
     {
         call();
     }},
    {"single",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(3)
#pragma omp single
         call();
     }},
    {"master",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(2)
         {
#pragma omp master
             call();
#pragma omp barrier
         }
     }},
    {"thread beside a region",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(2)
#pragma omp single
         std::thread(call).join();
     }},
};
} // namespace

TEST(Parallel, OperationsEndInsideAProgramsOwnThreads)
{
    ::alarm(200); // an operation that waits for ever ends the program and not the suite's patience
    const MemoryFolder folder;
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR})
        for (const Operation& operation : kOperations)
        {
            if (lib == FFT_LIB_SPLIT_RADIX && std::strstr(operation.name, "in sweeps") != nullptr)
                continue; // of the wide engine alone
            const auto run = [&](int threads, Surrounding surrounding)
            {
                const Engine engine(lib);
                const Threads team(threads);
                Bench t(folder.Path(), nullptr, 0, 128); // large enough for teams
                PrepareFiles(t);
                operation.prepare(t);
                std::srand(1);
                surrounding([&] { operation.run(t); });
                return t.a;
            };
            const Lumora expected = run(1, kSurroundings[0].second);
            for (const auto& [name, surrounding] : kSurroundings)
            {
                const Lumora got = run(4, surrounding);
                EXPECT_TRUE(got.N() > detail::FieldAccess::Capacity(got) || SameBits(got, expected))
                    << operation.name << ", " << name;
            }
        }
    ::alarm(0);
}
