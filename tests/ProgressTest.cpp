// The progress handler: when it is called, by whom, with what, and what ends an operation.

#include "base/Progress.h"
#include "TestTools.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

using namespace lmltest;

namespace
{
/// Records its calls and lets the first `refuseAt` pass.
struct Watcher
{
    struct Call
    {
        std::string operation;
        std::int64_t done, total;
    };
    std::vector<Call> calls;
    std::thread::id thread{};
    std::size_t refuseAt = ~std::size_t{0};
    bool throws = false;

    Watcher() { SetProgressHandler(Called, this); }
    ~Watcher() { SetProgressHandler(nullptr, nullptr); }

    static bool Called(void* context, const char* operation, std::int64_t done, std::int64_t total)
    {
        Watcher& me = *static_cast<Watcher*>(context);
        EXPECT_TRUE(done <= total && (me.calls.empty() || done >= me.calls.back().done)) << operation;
        me.calls.push_back({operation, done, total});
        me.thread = std::this_thread::get_id();
        detail::Progress("inside the handler", 1).Step(1); // reports nothing
        if (me.calls.size() > me.refuseAt && me.throws)
            throw std::runtime_error("mine");
        return me.calls.size() <= me.refuseAt;
    }
};

void Wait(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
} // namespace

TEST(ProgressTest, CallsComeAtOnceAndThenAtMostTwentyTimesASecond)
{
    Watcher watcher;
    const auto start = std::chrono::steady_clock::now();
    while (watcher.calls.size() < 3)
        detail::Progress("op", 10).Step(1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST(ProgressTest, OperationsInsideReportAsTheOutermost)
{
    Watcher watcher;
    detail::Progress outer("outer", 1000, 100);
    outer.Step(300);
    Wait(60);
    {
        detail::Progress middle("middle", 2, 1);
        middle.Step(1);
        Wait(60);
        detail::Progress inner("inner", 10);
        inner.Step(5);
    }
    Wait(60);
    outer.Step(2000); // more than the total
    ASSERT_EQ(watcher.calls.size(), 4u);
    const std::int64_t expected[] = {300, 350, 375, 1000};
    for (std::size_t n = 0; n < 4; ++n)
    {
        EXPECT_EQ(watcher.calls[n].operation, "outer");
        EXPECT_EQ(watcher.calls[n].done, expected[n]);
        EXPECT_EQ(watcher.calls[n].total, 1000);
    }
}

TEST(ProgressTest, OperationsAskAndAreTheSameWhenWatched)
{
    const ScratchFile file("lm");
    const Threads threads(3);
    RMatrix turn = RMatrix::RotationY(0.1);
    Lumora source(64, 32, 4e-6, 4e-6, 633e-9), spectrum(64, 64, 1e3, 1e3, 633e-9);
    FillRandom(source);
    FillRandom(spectrum, 2);
    spectrum.Form() = SPECTRUM;
    Lumora large(4096, 1024);
    large.Clear();
    Lumora plain(32, 32, 4e-6, 4e-6, 633e-9), placed(source), freed(spectrum);
    FillRandom(plain, 3);
    for (Lumora* field : {&plain, &placed})
        field->SetOrigin(Vector(1e-4, 0, 0.02));
    const struct
    {
        const char* name;
        const Lumora& start;
        std::function<void(Lumora&)> call;
        bool unchanged; // when cancelled at once
    } cases[] = {
        {"Fft", source, [](Lumora& f) { f.Fft(-1); }, true},
        {"FresnelProp", source, [](Lumora& f) { f.FresnelProp(0.01); }, true},
        {"FourierProp", source, [](Lumora& f) { f.FourierProp(0.01); }, true},
        {"_Old_SPWProp", source, [](Lumora& f) { f._Old_SPWProp(0.01); }, true},
        {"PropagateStack", source,
         [&](Lumora& f) {
             f.MeasureStack(std::data({0.01, 0.02}), 2, FOCUS_TAMURA);
         },
         true},
        {"AsmProp", source, [](Lumora& f) { f.AsmProp(0.01); }, true},
        {"ShiftedAsmProp", placed, [&](Lumora& f) { f.ShiftedAsmProp(source, 1); }, true},
        {"ShiftedAsmPropEx", plain, [&](Lumora& f) { f.ShiftedAsmPropEx(source); }, true},
        {"ShiftedFresnelProp", placed, [&](Lumora& f) { f.ShiftedFresnelProp(source); }, false},
        {"ShiftedFresnelPropEx", plain, [&](Lumora& f) { f.ShiftedFresnelPropEx(source); }, true},
        {"RawScaledFft", source, [](Lumora& f) { f.RawScaledFft(0.01, 0.02); }, true},
        {"ScaledFft", source, [](Lumora& f) { f.ScaledFft(-1.3, -0.7); }, true},
        {"RotateFs", freed, [&](Lumora& f) { f.RotateFs(spectrum, turn, nullptr, LINEAR_INTERPOL, true); }, false},
        {"Rotate", placed, [&](Lumora& f) { f.Rotate(source, turn, nullptr, LINEAR_INTERPOL, true); }, true},
        {"RotateY", source, [](Lumora& f) { f.RotateY(0.1, nullptr); }, true},
        {"RotateYFs", spectrum, [](Lumora& f) { f.RotateYFs(0.1, CUBIC_INTERPOL, 8, nullptr); }, true},
        {"EncodeErrorDiffusion", source, [](Lumora& f) { f.EncodeErrorDiffusion(); }, false},
        {"LoadLm", large, [&](Lumora& f) { f.LoadLm(file.Path()); }, true},
        {"SaveAsLm", large, [&](Lumora& f) { f.SaveAsLm(file.Path()); }, true},
    };
    large.SaveAsLm(file.Path());
    for (std::size_t n = 0; n < 2 * std::size(cases); ++n)
    {
        const auto& c = cases[n / 2];
        const Engine engine(kEngines[n % 2]);
        Lumora alone(c.start), watched(c.start), cancelled(c.start);
        c.call(alone);
        {
            Watcher watcher;
            c.call(watched);
            ASSERT_FALSE(watcher.calls.empty()) << c.name;
            EXPECT_EQ(watcher.calls[0].operation, std::string("LumoraLib::Lumora::") + c.name);
            if (std::strstr(c.name, "PropEx") != nullptr)
            {
                EXPECT_EQ(watcher.calls[0].total, 2) << c.name; // pairs of tiles
            }
        }
        EXPECT_TRUE(SameBits(alone, watched)) << c.name;
        Watcher watcher;
        watcher.refuseAt = 0;
        EXPECT_EQ(Catch([&] { c.call(cancelled); }),
                  (Failure{ERR_SOMETHING, std::string("LumoraLib::Lumora::") + c.name, "cancelled"}));
        EXPECT_TRUE(!c.unchanged || SameBits(cancelled, c.start)) << c.name;
        EXPECT_EQ(cancelled.Form(), Lumora(c.start).Form()) << c.name;
    }
}

TEST(ProgressTest, CancelAndExceptionsEndARegionOnTheCallingThread)
{
    for (int threads : {1, 3})
        for (bool throws : {false, true})
        {
            SetNumThreads(threads);
            Watcher watcher;
            watcher.refuseAt = 0;
            watcher.throws = throws;
            std::atomic<int> rows{0};
            const auto work = [&]
            {
                detail::Progress outer("outer", 1);
                detail::Progress progress("rows", 3000000);
                detail::ParallelBlocks(3000000,
                                       [&](std::size_t begin, std::size_t end, int index)
                                       {
                                           for (; begin < end && !progress.Advance(index, 1); ++begin)
                                               ++rows;
                                       });
                progress.Check();
            };
            if (throws)
                EXPECT_THROW(work(), std::runtime_error);
            else
                EXPECT_EQ(Catch(work), (Failure{ERR_SOMETHING, "outer", "cancelled"}));
            EXPECT_EQ(watcher.calls.size(), 1u);
            EXPECT_EQ(watcher.thread, std::this_thread::get_id());
            EXPECT_LT(rows.load(), 3000000);
        }
    SetNumThreads(1);
}
