// The team behind parallel regions: every part is done once, whatever surrounds the region.
#include "TestTools.h"
#include "base/Parallel.h"
#include "base/Scratch.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <immintrin.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace lmltest;

namespace
{
/// Whether regions of 1 to 1024 parts do each part once, in the caller's floating-point modes, the first on the caller.
bool AllParts()
{
    bool good = true;
    const unsigned modes = _mm_getcsr();
    _mm_setcsr(modes | 0x6000); // towards zero
    for (int round = 0; round < 20; ++round)
        for (const int parts : {1, 2, 3, 7, 1024})
        {
            std::array<std::atomic<int>, 1024> done{};
            std::atomic<int> wrong{0};
            const std::thread::id caller = std::this_thread::get_id();
            detail::ParallelTeam(parts,
                                 [&](int index, int size)
                                 {
                                     ++done[static_cast<std::size_t>(index)];
                                     if (size != parts || (_mm_getcsr() & 0x6000) != 0x6000 ||
                                         (index == 0 && std::this_thread::get_id() != caller))
                                         ++wrong;
                                     detail::ParallelTeam(2, [&](int, int inner) { wrong += inner != 2; });
                                 });
            for (int k = 0; k < 1024; ++k)
                good = good && done[static_cast<std::size_t>(k)] == (k < parts ? 1 : 0);
            good = good && wrong == 0;
        }
    _mm_setcsr(modes);
    return good;
}

/// In a child of fork(), with a limit of address space that refuses it threads, or without.
bool InChild(bool refused)
{
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(60); // a region that waits for a thread that is not there
        const rlimit none = {1, 1};
        const bool ready = !refused || setrlimit(RLIMIT_AS, &none) == 0;
        _exit(ready && AllParts() ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
} // namespace

TEST(Team, EveryPartIsDoneOnceWhateverSurroundsTheRegion)
{
    EXPECT_TRUE(AllParts());
    std::atomic<int> bad{0};
#pragma omp parallel num_threads(3)
    bad += AllParts() ? 0 : 1;
    std::array<std::thread, 3> threads;
    for (std::thread& t : threads)
        t = std::thread([&] { bad += AllParts() ? 0 : 1; });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(bad, 0);
#ifndef LML_TEST_SANITIZED // their shadow memory knows no limit, and no threads after fork()
    EXPECT_TRUE(InChild(false));
    EXPECT_TRUE(InChild(true));
#endif
    EXPECT_TRUE(AllParts()) << "after the children";
}

TEST(Team, WorkersTakePartsAndHaveTheirScratch)
{
    const std::thread::id caller = std::this_thread::get_id();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::atomic<bool> helped{false};
    while (!helped && std::chrono::steady_clock::now() < end)
        detail::ParallelTeam(2,
                             [&](int, int)
                             {
                                 if (std::this_thread::get_id() != caller)
                                     helped = true;
                                 std::this_thread::sleep_for(std::chrono::microseconds(200));
                             });
    EXPECT_TRUE(helped);
    for (const int threads : {1, 4, 5, 64})
    {
        const detail::Scratch scratch(threads, 64);
        for (int n = 0; n < threads; ++n)
            std::memset(scratch[n], n, 64);
        for (int n = 0; n < threads; ++n)
            EXPECT_EQ(scratch.As<unsigned char>(n)[63], n);
    }
}
