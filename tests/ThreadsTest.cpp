// The thread count, its stack, the dynamic flag, and what a bound FFT library is told of them.

#include "TestTools.h"
#include "base/StepByStep.h"

#include <algorithm>
#include <omp.h>

using namespace lmltest;

namespace
{
// Read before any call of this program changes them.
const int countAtLoad = GetNumThreads();
const bool dynamicAtLoad = GetDynamicThreads();

std::vector<int> told; // what the slots were called with: counts as they are, flags as -1 (true) and -2 (false)

// Puts recording slots under the engine chosen; the fixture gives back the binding and an empty stack.
class ThreadsTest : public ::testing::Test
{
protected:
    void Bind(FftLib lib)
    {
        SetFftLib(lib);
        detail::threadHooks.setThreads = [](int n)
        {
            told.push_back(n);
        };
        detail::threadHooks.setDynamic = [](bool dynamic)
        {
            told.push_back(dynamic ? -1 : -2);
        };
        told.clear();
    }
    void TearDown() override
    {
        while (Catch([] { PopNumThreads(); }).code == 0)
        {
        }
        SetFftLib(FFT_LIB_VENDOR);
        detail::threadHooks = {};
        SetNumThreads(1);
    }
};
} // namespace

TEST_F(ThreadsTest, StateAtLoad)
{
    EXPECT_EQ(countAtLoad, 1);
    EXPECT_TRUE(dynamicAtLoad);
    EXPECT_EQ(GetNumProcs(), omp_get_num_procs());
}

TEST_F(ThreadsTest, CountIsSetRefusedBelowOneAndResetByStart)
{
    for (int n : {1, 2, 3, 7, 64, 1024, 1025, 60000, std::numeric_limits<int>::max()})
    {
        SetNumThreads(n);
        EXPECT_EQ(GetNumThreads(), std::min(n, 1024));
        SetNumThreads(1);
        PushNumThreads(n);
        EXPECT_EQ(GetNumThreads(), std::min(n, 1024));
        EXPECT_EQ(PopNumThreads(), 1);
    }
#ifndef LML_TEST_SANITIZED // checked threads take too much memory
    SetNumThreads(60000);
    Lumora f(2048, 2);
    f.SetConst(Complex(2.0, 0.0)).ConvToConjugate(); // on a team of 1024: the process lives
    EXPECT_EQ(f[4095].Real(), 2.0f);
#endif
    SetNumThreads(5);
    for (int n : {0, -1, std::numeric_limits<int>::min()})
        EXPECT_EQ(Catch([n] { SetNumThreads(n); }).code, 3);
    EXPECT_EQ(GetNumThreads(), 5);
    SetNumThreads();
    EXPECT_EQ(GetNumThreads(), GetNumProcs());
    SetNumThreads(4);
    Start(0);
    EXPECT_EQ(GetNumThreads(), 1);
}

TEST_F(ThreadsTest, PushAndPopNestThirtyThreeDeep)
{
    SetNumThreads(4);
    PushNumThreads(2);
    EXPECT_EQ(GetNumThreads(), 2);
    PushNumThreads();
    EXPECT_EQ(GetNumThreads(), GetNumProcs());
    EXPECT_EQ(PullNumThreads(), 2);
    EXPECT_EQ(GetNumThreads(), 2);
    EXPECT_EQ(PopNumThreads(), 4);
    EXPECT_EQ(GetNumThreads(), 4);

    SetNumThreads(100);
    for (int depth = 0; depth < 33; ++depth)
        PushNumThreads(101 + depth);
    const Failure over{6, "LumoraLib::PushNumThreads", "Stack size over"};
    EXPECT_EQ(Catch([] { PushNumThreads(7); }), over);
    EXPECT_EQ(Catch([] { PushNumThreads(); }), over);
    EXPECT_EQ(Catch([] { PushNumThreads(0); }), over) << "the stack is looked at before the number";
    EXPECT_EQ(GetNumThreads(), 133);
    for (int depth = 32; depth >= 0; --depth)
        EXPECT_EQ(depth % 2 != 0 ? PopNumThreads() : PullNumThreads(), 100 + depth);
    EXPECT_EQ(Catch([] { PopNumThreads(); }).code, 6);
    EXPECT_EQ(GetNumThreads(), 100);
    EXPECT_EQ(Catch([] { PushNumThreads(0); }).code, 3);
    SetNumThreads(2);
    EXPECT_EQ(PopNumThreads(), 100) << "a failed push keeps its entry";
}

TEST_F(ThreadsTest, BoundLibraryIsToldEachCountAndFlagAndTheSplitRadixEngineNothing)
{
    for (const FftLib lib : kEngines)
    {
        Bind(lib);
        EXPECT_EQ(told, std::vector<int>{}) << "the choice of a library tells it nothing";
        SetNumThreads(3);
        PushNumThreads(2);
        EXPECT_EQ(PopNumThreads(), 3);
        EXPECT_NE(Catch([] { SetNumThreads(0); }).code, 0);
        SetDynamicThreads(false);
        SetDynamicThreads(true);
        Start(0);
        EXPECT_EQ(told, lib == FFT_LIB_VENDOR ? (std::vector<int>{3, 2, 3, -2, -1, 1}) : std::vector<int>{});
    }
}

TEST_F(ThreadsTest, DynamicFlagReachesTheRuntime)
{
    for (bool dynamic : {false, true, false})
    {
        SetDynamicThreads(dynamic);
        EXPECT_EQ(GetDynamicThreads(), dynamic);
        EXPECT_EQ(omp_get_dynamic() != 0, dynamic);
    }
}
