// One run of the program: exit codes, what all subcommands share, the progress bar, and the end by Ctrl-C.
#include "Invocation.h"

#include <LmlLumora.h>

#include <chrono>
#include <csignal>
#include <new>
#include <string_view>

#include <unistd.h>

namespace command
{
using namespace LumoraLib;

namespace
{
volatile std::sig_atomic_t caughtSignal = 0;

/// What CheckForSignal() throws.
struct Interrupted
{
};

extern "C" void NoteSignal(int signal)
{
    caughtSignal = signal;
}

/// One line on the terminal, redrawn in place. It appears when an operation takes longer than half a second.
class Bar
{
public:
    using Clock = std::chrono::steady_clock;

    bool shows = false;
    std::string title;

    void Draw(std::string_view operation, double share)
    {
        const Clock::time_point now = Clock::now();
        if (operation != operation_ || share < share_)
        {
            start_ = now;
            operation_ = operation;
        }
        share_ = share;
        const double spent = std::chrono::duration<double>(now - start_).count();
        if (spent < 0.5 && !drawn_)
            return;
        constexpr int kWidth = 30;
        const int full = static_cast<int>(share * kWidth);
        std::string bar(static_cast<std::size_t>(full), '#');
        bar.resize(kWidth, '.');
        const std::string_view last = operation.substr(operation.rfind(':') + 1);
        std::string text = title.empty() ? std::string(last) : title;
        text += "  [" + bar + "] " + std::to_string(static_cast<int>(100.0 * share)) + " %";
        if (share > 0.02 && spent > 0.5)
            text += ", " + Left(spent * (1.0 - share) / share) + " left";
        std::fprintf(stderr, "\r\033[K%s", text.c_str());
        std::fflush(stderr);
        drawn_ = true;
    }

    void Clear()
    {
        if (drawn_)
            std::fputs("\r\033[K", stderr);
        drawn_ = false;
    }

private:
    static std::string Left(double seconds)
    {
        const auto whole = static_cast<long>(seconds + 0.5);
        const std::string rest = std::to_string(whole % 60);
        return std::to_string(whole / 60) + (rest.size() == 1 ? ":0" : ":") + rest;
    }

    std::string operation_;
    double share_ = 0.0;
    Clock::time_point start_{};
    bool drawn_ = false;
};
Bar bar;

bool OnProgress(void*, const char* operation, std::int64_t done, std::int64_t total)
{
    if (bar.shows && total > 0)
        bar.Draw(operation, static_cast<double>(done) / static_cast<double>(total));
    return caughtSignal == 0;
}
} // namespace

int Invocation::Report(const std::string& text, int code) const
{
    bar.Clear();
    if (Prints())
        std::fprintf(stderr, "%s: %s\n", name_.c_str(), text.c_str());
    return code;
}

void CheckForSignal()
{
    if (caughtSignal != 0)
        throw Interrupted{};
}

void SetProgressTitle(const std::string& title)
{
    bar.title = title;
}

void Invocation::OnCall(CLI::App& app, std::function<int()> work)
{
    const std::string group = "Common";
    app.add_option("--threads", threads_, "Threads of the library; 0 for all processors")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str()
        ->type_name("N")
        ->group(group);
    app.add_option("--isa", isa_, "Limit the instruction set")
        ->check(CLI::IsMember({"sse2", "avx2", "avx512"}))
        ->type_name("SET")
        ->group(group);
    app.add_flag("--json", json_, "Results as one JSON object in SI units (radians, bytes)")->group(group);
    app.add_flag("--quiet,-q", quiet_, "No progress bar and no results, only failures")->group(group);
    std::string name = app.get_name();
    for (const CLI::App* parent = app.get_parent(); parent != nullptr; parent = parent->get_parent())
        name = parent->get_name() + " " + name;
    app.callback(
        [this, name, work = std::move(work)]
        {
            name_ = name;
            work_ = work;
        });
}

void Invocation::Begin() const
{
    SetErrorHandling(ERROR_HANDLING_THROW);
    if (isa_ == "sse2")
        SetInstructionSet(INSTRUCTION_SET_SSE2);
    else if (isa_ == "avx2")
        SetInstructionSet(INSTRUCTION_SET_AVX2);
    else if (isa_ == "avx512")
        SetInstructionSet(INSTRUCTION_SET_AVX512);
    if (threads_ > 0)
        SetNumThreads(threads_);
    else
        SetNumThreads();
    bar.shows = !quiet_ && Prints() && isatty(STDERR_FILENO) != 0;
    SetProgressHandler(OnProgress, nullptr);
    // The work ends where it can: files that stand beside their place are removed on the way.
    struct sigaction action = {};
    action.sa_handler = ranks == nullptr ? NoteSignal : SIG_DFL;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

int Invocation::Run()
{
    try
    {
        Begin();
        int code = kDone;
        LargeTogether(ranks, [&] { code = work_(); });
        bar.Clear();
        if (!Prints())
            return code;
        if (json_)
            facts.PrintJson(stdout);
        else if (!quiet_)
            facts.PrintText(stdout);
        if (std::fflush(stdout) != 0)
            return Report("the results could not be written", kFailed);
        return code;
    }
    catch (const Interrupted&)
    {
        return Report("cancelled", 128 + caughtSignal);
    }
    catch (const Misuse& misuse)
    {
        return Report(misuse.what(), kUsage);
    }
    catch (const Refused& refused)
    {
        return Report(refused.what(), kNo);
    }
    catch (const LumoraException& failure)
    {
        if (caughtSignal != 0)
            return Report("cancelled", 128 + caughtSignal);
        return Report(DescribeError(failure), kFailed);
    }
    catch (const std::bad_alloc&)
    {
        return Report("not enough memory", kFailed);
    }
    catch (const std::exception& failure)
    {
        return Report(failure.what(), kFailed);
    }
}
} // namespace command
