// Errors in both forms, the log and its banner, aligned memory, the clock, and the identification of the build.

#include "TestTools.h"

#include <ctime>
#include <limits>
#include <set>
#include <thread>
#include <tuple>

extern "C" int LmlLoadEntry(void* module, unsigned long reason, void* reserved);

using namespace lmltest;
using ::testing::Eq;
using ::testing::ExitedWithCode;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

namespace
{
// What the call writes to the console.
template <class Call>
std::string Console(Call&& call)
{
    CaptureStderr();
    call();
    return GetCapturedStderr();
}

std::string BannerLine1()
{
    return std::string("*** LumoraLib <") + GetTargetEnvString() + "/X64/SSE1> Rel." + GetVersionString() +
           "  CPU Core: " + std::to_string(GetNumProcs()) + "\n";
}

std::string BannerLine2()
{
    return std::string("*** Build : ") + GetCreateTimeStamp() + " " + GetCreateEnvString() + " Ver.11.00\n";
}

// The text with d for each digit.
std::string Shape(std::string text)
{
    for (char& c : text)
        if (c >= '0' && c <= '9')
            c = 'd';
    return text;
}

// Uses at least so much CPU time.
void Burn(double milliseconds)
{
    const std::clock_t end =
        std::clock() + static_cast<std::clock_t>(milliseconds * static_cast<double>(CLOCKS_PER_SEC) / 1000.0);
    while (std::clock() < end)
    {
    }
}
} // namespace

TEST(ErrorTest, EveryCodeHasItsTextAndNothingOutsideIsRead)
{
    const char* const texts[] = {
        "No error",  "Not enough memory", "File Not open",        "Parameter invalid",        "File write",
        "File read", "Something wrong",   "Invalid complex form", "Require Spectrum/CompAmp", "Internal error"};
    for (int code = 0; code < 10; ++code)
        EXPECT_STREQ(GetErrorString(static_cast<ErrorCode>(code)), texts[code]);
    for (int code : {-1, 10, 1000000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_STREQ(GetErrorString(static_cast<ErrorCode>(code)), "Unknown error");
}

TEST(ErrorDeathTest, ExitFormPrintsThreeLinesAndEndsWithOne)
{
    EXPECT_EQ(GetErrorHandling(), ERROR_HANDLING_EXIT) << "the setting at load";
    const std::string head = "\n*** ERROR!! LumoraLib Rel.2.81.03\n*** f() : File read : ", tail = "\n*** ABORT!!\n\n";
    EXPECT_EXIT(Error(ERR_FILE_READ, "f", "m"), ExitedWithCode(1), Eq(head + "m" + tail));
    EXPECT_EXIT(Error(ERR_FILE_READ, "f", std::string(5000, 'p').c_str()), ExitedWithCode(1),
                Eq(head + std::string(319 - head.size(), 'p')));
    const ScratchFile log("log"), own("own");
    EXPECT_EXIT(
        (Start(0, log.Path()), std::fputs("results", std::fopen(own.Path(), "w")), Error(ERR_FILE_READ, "f", "m")),
        ExitedWithCode(1), "File read");
    EXPECT_EQ(log.Read(), head + "m" + tail);
    EXPECT_EQ(own.Read(), "results") << "what the program itself wrote is flushed";
}

TEST(ErrorTest, EveryOtherSettingThrowsAndPrintsNothing)
{
    for (int setting : {1, 2, -1, 256})
    {
        SetErrorHandling(static_cast<ErrorHandling>(setting));
        EXPECT_EQ(GetErrorHandling(), static_cast<ErrorHandling>(setting));
        const auto fail = []
        {
            try
            {
                Error(ERR_PARAMETER, "f", "m");
            }
            catch (const LumoraException& e)
            {
                EXPECT_EQ(e.GetErrorCode(), 3);
                EXPECT_STREQ(e.GetSystemMessage(), "Parameter invalid");
                EXPECT_STREQ(e.what(), "f: Parameter invalid (code 3): m");
            }
        };
        EXPECT_EQ(Console(fail), "");
    }
    SetErrorHandling(ERROR_HANDLING_EXIT);
}

TEST(ErrorTest, ExceptionCutsLongTextsAtItsArrays)
{
    LumoraException assigned(ERR_NONE, nullptr, nullptr, nullptr);
    EXPECT_STREQ(assigned.GetFuncname(), "");
    for (std::size_t length : {0u, 30u, 31u, 32u, 126u, 127u, 128u, 4000u})
    {
        const std::string f(length, 'f'), s(length, 's'), u(length, 'u');
        assigned = LumoraException(ERR_INTERNAL, f.c_str(), s.c_str(), u.c_str());
        const LumoraException copied(assigned);
        EXPECT_EQ(copied.GetErrorCode(), 9);
        EXPECT_EQ(copied.GetFuncname(), f.substr(0, 127));
        EXPECT_EQ(copied.GetSystemMessage(), s.substr(0, 31));
        EXPECT_EQ(copied.GetUserMessage(), u.substr(0, 127));
    }
    assigned.GetFuncname()[0] = 'X'; // the array in the object, not a copy
    EXPECT_EQ(assigned.GetFuncname()[0], 'X');
}

TEST(ErrorTest, WhatIsOneLineOfUtf8)
{
    const struct
    {
        const char *message, *text;
    } cases[] = {
        // clang-format off
        {"dir/file : too short", "dir/file : too short"},
        {"\x88\xd9\x82\xc8\x82\xc1\x82\xbd\x95\xbd\x96\xca\x82\xc9\x82\xa0\x82\xe9", "異なった平面にある"},
        {"\x83s\x83\x62\x83`\x82\xaa\x88\xd9\x82\xc8\x82\xc1\x82\xc4\x82\xa2\x82\xe9", "ピッチが異なっている"},
        {"\x96@\x90\xfc\x83x\x83N\x83g\x83\x8b\x82\xaa\x88\xd9\x82\xc8\x82\xe9", "法線ベクトルが異なる"},
        {"p : OptionHead\x82\xcd\x8eg\x82\xa6\x82\xc8\x82\xa2", "p : OptionHeadは使えない"},
        {"\x93\xc7\x82\xdd\x8d\x9e\x82\xdd\x90\xe6\x82\xcc\x83I\x83u\x83W\x83\x46\x83N\x83g\x82\xaa\x83t\x81["
         "\x83\x8a\x83G\x8b\xf3\x8a\xd4\x82\xc9\x82\xa0\x82\xe9", "読み込み先のオブジェクトがフーリエ空間にある"},
        {"max\x82\xaamin\x82\xe6\x82\xe8\x8f\xac\x82\xb3\x82\xa2", "maxがminより小さい"},
        {"ä€\xf0\x9f\x98\x80", "ä€\xf0\x9f\x98\x80"}, // valid UTF-8 stays
        {"\xff|\xc0\xaf|\xe0\x80\x80|\xed\xa0\x80|\xf5\x80|\xc3", "?|??|???|???|??|?"},
        // clang-format on
    };
    for (const auto& c : cases)
        EXPECT_EQ(LumoraException(ERR_FILE_READ, "f", "File read", c.message).what(),
                  std::string("f: File read (code 5): ") + c.text);
    // The longest texts fit, a cut character at the end is no character, and four texts of a thread stand side by side.
    const std::string most = std::string(126, 'u') + "\xc3";
    const LumoraException full(ERR_INTERNAL, std::string(200, 'f').c_str(), "s", most.c_str());
    const char* const held = full.what();
    const LumoraException small(ERR_NONE, "g", "t", "");
    for (int n = 0; n < 3; ++n)
        EXPECT_STREQ(small.what(), "g: t (code 0)");
    EXPECT_EQ(held, std::string(127, 'f') + ": s (code 9): " + std::string(126, 'u') + "?");
}

TEST(ErrorTest, DescriptionNamesTheValuesAndTheCure)
{
    const auto field = [](double px, int nx, double wavelength)
    {
        Lumora f(nx, 8, px, 4e-6, wavelength);
        return f.Clear();
    };
    const Lumora own = field(4e-6, 8, 500e-9);
    const auto caught = [](const std::function<void()>& call)
    {
        SetErrorHandling(ERROR_HANDLING_THROW);
        LumoraException result(ERR_NONE, "", "", "");
        try
        {
            call();
        }
        catch (const LumoraException& e)
        {
            result = e;
        }
        SetErrorHandling(ERROR_HANDLING_EXIT);
        return result;
    };
    // Each begins with the exception's own text, to which the table of all failures holds them.
    const struct
    {
        std::string behind;
        std::function<void()> call;
    } cases[] = {
        // clang-format off
        {" The pitch in x is 4 um in this field and 8 um in the other one. Wavelength, numbers of samples and pitches must "
         "agree: for another pitch use ShiftedFresnelProp, which takes any, or bring the source to this one with "
         "ResamplingCopy first; for other sizes ShiftedAsmPropEx.",
         [&] { Lumora(own).ShiftedAsmProp(field(8e-6, 8, 500e-9), 1); }},
        {" The number of columns is 8 in this field and 16 in the other one. Give both fields the same numbers of samples "
         "(Embed, Extract, ResamplingCopy).",
         [&] { Lumora(own) += field(4e-6, 16, 500e-9); }},
        {" The window is left 0, right 9, bottom 0, top 8, the field 8 by 8. Bounds lie in 0 to Nx and 0 to Ny, the upper "
         "ones exclusive; SetWindowMax() takes the whole field.",
         [&] { Lumora(own).SetWindow(0, 9, 0, 8); }},
        {" n is -2. Pass 1 or more, or no argument for as many threads as there are processors.", [] { SetNumThreads(-2); }},
        {" The wavelength is 500 nm in this field and 633 nm in the other one. Set both wavelengths alike; light does not "
         "change its wavelength on its way.",
         [&] { Lumora(own).ShiftedFresnelPropEx(field(4e-6, 8, 633e-9)); }},
        {" Check that the folder of the log exists and may be written, or pass null.", [] { Start("no/such/log"); }},
        {" The file is cut short, damaged, or of another kind: check where it comes from, and write it again.",
         [] { Error(ERR_FILE_READ, "own", "m"); }},
        {" The failure was reported with a code of the program's own.",
         [] { Error(static_cast<ErrorCode>(77), "own", "m"); }},
        // clang-format on
    };
    for (const auto& c : cases)
    {
        const LumoraException e = caught(c.call);
        EXPECT_EQ(DescribeError(e), std::string(e.what()) + "." + c.behind);
    }
    // Values belong to the last failure of the thread alone.
    const LumoraException last = caught(cases[3].call);
    std::string elsewhere;
    std::thread([&] { elsewhere = DescribeError(last); }).join();
    EXPECT_EQ(elsewhere.find("n is -2"), std::string::npos);
    caught(cases[5].call);
    EXPECT_EQ(DescribeError(last), elsewhere);
}

TEST(MallocTest, AlignedWritableAndNeverNull)
{
    for (std::size_t size : {0u, 1u, 15u, 16u, 17u, 63u, 64u, 65u, 4095u, 1000003u})
    {
        void* const p = Malloc(size, "test");
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u) << size;
        std::memset(p, 0x5a, size);
        Free(p);
    }
    Free(nullptr);
}

TEST(MallocTest, RefusesWhatCannotBeHad)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    const std::tuple<std::size_t, const char*, std::string> cases[] = {
        {most - 63, "x", "demanded bytes = -64 : x"},
        {most / 2, nullptr, "demanded bytes = 9223372036854775807 : (null)"},
        {most / 2 + 1, "", "demanded bytes = -9223372036854775808 : "},
        {std::size_t{1} << 56, "no address", "demanded bytes = 72057594037927936 : no address"},
    };
    for (const auto& [size, what, message] : cases)
        EXPECT_EQ(Catch([&, size = size, what = what] { Free(Malloc(size, what)); }),
                  (Failure{1, "LumoraLib::Malloc", message}));
    const std::string label(300, 'w');
    EXPECT_EQ(Catch([&] { Free(Malloc(most, label.c_str())); }).message, Shown("demanded bytes = -1 : " + label));
}

TEST(PrintfTest, CutsAt319CharactersAndPassesBytesThrough)
{
    for (std::size_t length : {0u, 1u, 318u, 319u, 320u, 321u, 10000u})
    {
        const std::string text(length, 'x');
        EXPECT_EQ(Console([&] { Printf("%s", text.c_str()); }), text.substr(0, 319)) << length;
    }
    EXPECT_EQ(Console([] { Printf("%d%% \x83\x5c %s|%5.2f\n", 7, "%s", 1.5); }), "7% \x83\x5c %s| 1.50\n");
}

TEST(PrintfTest, DecimalPointInEveryLocale)
{
    const CommaLocale comma;
    EXPECT_EQ(Console([] { Printf("%.2f", 0.25); }), "0.25");
    EXPECT_EQ(Shape(Console([] { PrintL("%g", 1.5); })), "ddddd.ddds>d.d");
}

TEST(PrintfTest, WideTextsInTheEncodingOfTheLocale)
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        GTEST_SKIP() << "no UTF-8 locale here";
    EXPECT_EQ(Console([] { Printf("%ls %.1f", L"\u03bb", 0.5); }), "\xce\xbb 0.5");
    {
        const CommaLocale comma; // the numbers' locale is another one than the texts'
        EXPECT_EQ(Console([] { PrintLog("%ls %.1f", L"\u03bb", 0.5); }).substr(55), "\xce\xbb 0.5");
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(StartTest, BannerByLevelWithoutALog)
{
    const auto start = [](auto... arguments)
    {
        SetNumThreads(4);
        const std::string printed = Console([&] { Start(arguments...); });
        EXPECT_EQ(GetNumThreads(), 1);
        EXPECT_EQ(GetLogFile(), nullptr);
        return printed;
    };
    const char* const none = nullptr;
    const std::string line1 = BannerLine1(), line2 = BannerLine2(), head = line1 + line2 + "*** Logging Start from ";
    for (const std::string& printed : {start(none), start(nullptr), start(1), start(1, none)})
        EXPECT_EQ(printed, line1);
    EXPECT_EQ(start(0) + start(-5), "");
    EXPECT_EQ(start(2), line1 + line2);
    for (const std::string& printed : {start(3), start(99), start(3, none)})
    {
        EXPECT_EQ(printed.substr(0, head.size()), head);
        EXPECT_EQ(Shape(printed.substr(head.size())), "dddd/dd/dd dd:dd:dd, File : (null)\n");
    }
}

// The children end without a last flush: each text has reached the file by itself.
TEST(StartDeathTest, LogIsAppendedAndStaysWhenTheNextCannotBeOpened)
{
    const ScratchFile log("log"), earlier("earlier");
    log.Write("old\n");
    const std::string missing = std::string(log.Path()) + "_none/log", line1 = BannerLine1();
    EXPECT_EXIT(
        {
            Start(0, earlier.Path());
            Start(log.Path());
            Printf("%s\n", "text");
            const Failure failure = Catch([&] { Start(2, missing.c_str()); });
            Printf("still here\n");
            std::_Exit(failure == Failure{2, "LumoraLib::Start", missing} && GetLogFile() != nullptr ? 0 : 1);
        },
        ExitedWithCode(0), Eq(line1 + "text\nstill here\n"));
    EXPECT_EQ(log.Read(), "old\n" + line1 + "text\nstill here\n");
    EXPECT_EQ(earlier.Read(), "") << "a log opened earlier gets nothing more";
    EXPECT_EXIT((Start(3, log.Path()), std::_Exit(0)), ExitedWithCode(0), "Logging Start from .*, File : ");
    const std::string all = log.Read();
    EXPECT_NE(all.find(std::string(", File : ") + log.Path() + "\n"), std::string::npos) << all;
    EXPECT_EXIT((Start(0, "/dev/full"), Printf("line 1\n"), Printf("line 2\n"), std::_Exit(0)), ExitedWithCode(0),
                Eq("line 1\nline 2\n"));
}

TEST(PrintLogTest, PrefixesWithTicksAndWithADateWhoseMonthCountsFromZero)
{
    const std::string ticked = Console([] { PrintL("%d\n", 42); });
    EXPECT_EQ(Shape(ticked), "ddddd.ddds>dd\n") << ticked;
    const auto date = [](std::time_t now)
    {
        std::tm t{};
        localtime_r(&now, &t);
        char text[100];
        std::snprintf(text, sizeof text, "(%04d/%02d/%02d %02d:%02d:%02d)", t.tm_year + 1900, t.tm_mon, t.tm_mday,
                      t.tm_hour, t.tm_min, t.tm_sec);
        return std::string(text);
    };
    const std::time_t before = std::time(nullptr);
    const std::string logged = Console([] { PrintLog("%s", std::string(400, 'y').c_str()); });
    ASSERT_EQ(Shape(logged), ">>> CPU Time : ddddd.ddd Sec (dddd/dd/dd dd:dd:dd) <<<\n" + std::string(319, 'y'));
    bool matches = false;
    for (std::time_t now = before; now <= std::time(nullptr); ++now)
        matches = matches || logged.find(date(now)) != std::string::npos;
    EXPECT_TRUE(matches) << logged;
}

TEST(TickTest, CountsCpuMillisecondsFromTheLastStart)
{
    Burn(20);
    EXPECT_GE(GetTick(), 20) << "before Start the base is 0: the process's whole CPU time";
    Start(0);
    EXPECT_LT(GetTick(), 20);
    Burn(30);
    const std::int64_t tick = GetTick();
    const double seconds = GetTickSec();
    EXPECT_GE(tick, 29);
    EXPECT_LT(tick, 300);
    EXPECT_NEAR(seconds, static_cast<double>(tick) / 1000.0, 0.005);
}

TEST(StopWatchTest, CountsTheRunningStretchesOnly)
{
    StopWatch watch;
    EXPECT_EQ(watch.Read(), 0.0);
    watch.Stop();
    EXPECT_EQ(watch.Read(), 0.0) << "Stop on a watch that does not run";

    double expected = 0.0;
    for (int stretch = 0; stretch < 3; ++stretch)
    {
        const double from = GetTickSec();
        watch.Start();
        Burn(20);
        watch.Start(); // on a running watch: nothing
        EXPECT_NEAR(watch.Read(), expected + GetTickSec() - from, 0.005);
        Burn(10);
        watch.Stop();
        expected += GetTickSec() - from;
        Burn(20);
        watch.Stop(); // on a stopped watch: nothing
        EXPECT_NEAR(watch.Read(), expected, 0.005);
    }
    StopWatch copy;
    copy = watch;
    EXPECT_EQ(copy.Read(), watch.Read());
    watch.Reset();
    EXPECT_EQ(watch.Read(), 0.0);
    EXPECT_GT(copy.Read(), 0.08);
    watch.Start();
    EXPECT_LT(watch.Read(), 0.02) << "nothing of the time before Reset is left";
}

TEST(IdentificationTest, VersionComesFromTheProjectFile)
{
    std::ifstream in(std::string(LML_SOURCE_DIR) + "/CMakeLists.txt");
    const std::string project((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t at = project.find("project(lml VERSION ");
    ASSERT_NE(at, std::string::npos);
    int version[3] = {};
    ASSERT_EQ(std::sscanf(project.c_str() + at, "project(lml VERSION %d.%d.%d", version, version + 1, version + 2), 3);
    EXPECT_EQ(GetMajorVersion(), version[0]);
    EXPECT_EQ(GetMinorVersion(), version[1]);
    EXPECT_EQ(GetPatchNumber(), version[2]);
    EXPECT_STREQ(GetVersionString(), "2.81.03");
}

TEST(IdentificationTest, TextsAndValues)
{
    std::string stamp = Shape(GetCreateTimeStamp()); // a day below 10 has a blank before it
    ASSERT_EQ(stamp.size(), 20u) << stamp;
    EXPECT_EQ(stamp.replace(0, 5, "Nov d"), "Nov dd dddd dd:dd:dd");
    EXPECT_STREQ(GetCreateEnvVersionString(), "11.00");
    EXPECT_STREQ(GetCpuTypeString(), "SSE1");
    EXPECT_STREQ(GetPlatformString(), "X64");
    EXPECT_EQ(GetCpuType(), 1);
    EXPECT_EQ(GetPlatform(), 2);
    EXPECT_EQ(GetTargetEnv(), 1);
    EXPECT_EQ(GetDevelopEnv(), 1);
    EXPECT_EQ(GetCreateEnv(), 1);
#if defined(__clang__)
    const std::string compiler = "Clang " + std::to_string(__clang_major__) + ".";
#else
    const std::string compiler = "GCC " + std::to_string(__GNUC__) + ".";
#endif
    std::set<const char*> buffers = {GetVersionString(), GetCreateTimeStamp(), GetCreateEnvVersionString(),
                                     GetCpuTypeString(), GetPlatformString()};
    for (const char* text : {GetTargetEnvString(), GetDevelopEnvString(), GetCreateEnvString()})
    {
        EXPECT_EQ(std::string(text).compare(0, compiler.size(), compiler), 0) << text;
        buffers.insert(text);
    }
    EXPECT_EQ(buffers.size(), 8u) << "each text has a buffer of its own";
}

TEST(LoadEntryTest, ReportsSuccessForEveryReason)
{
    for (unsigned long reason : {0ul, 3ul, 77ul})
        EXPECT_EQ(LmlLoadEntry(nullptr, reason, nullptr), 1);
}
