// Every operation of the table with a fault at every allocation and every file call, each in a process of its own: it
// ends well with the result of an undisturbed run, or in the library's Error with the field as it was (or as the
// operation says).
//
// faults [TEXT]: the operations whose names hold TEXT; all without one. Exit code 1 when one misbehaves.

#include "Faults.h"
#include "Operations.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using namespace lmltest;
using detail::FieldAccess;

std::string folder;

/// What a child tells.
struct Report
{
    int calls;
    bool failed;          ///< the operation ended in Error
    std::uint64_t digest; ///< of field and files after an undisturbed run
    char wrong[200];      ///< empty where all is well
};
Report* report = nullptr;

void Wrong(const char* what)
{
    std::snprintf(report->wrong, sizeof report->wrong, "%s", what);
    std::exit(1);
}

/// Everything that a caller can see of a field.
struct State
{
    explicit State(Lumora& f)
        : samples(f.GetDataPointer(), f.GetDataPointer() + std::min(f.N(), FieldAccess::Capacity(f))),
          numbers{f.k(),
                  f.Px(),
                  f.Py(),
                  double(f.Form()),
                  double(f.Nx()),
                  double(f.Ny()),
                  double(f.Window().left),
                  double(f.Window().right),
                  double(f.Window().top),
                  double(f.Window().bottom),
                  f.GetOrigin().x,
                  f.GetOrigin().y,
                  f.GetOrigin().z,
                  f.GetNormalVector().x,
                  f.GetNormalVector().y,
                  f.GetNormalVector().z}
    {
    }
    bool operator==(const State& o) const
    {
        return std::memcmp(numbers, o.numbers, sizeof numbers) == 0 && samples.size() == o.samples.size() &&
               (samples.empty() ||
                std::memcmp(samples.data(), o.samples.data(), samples.size() * sizeof(Complex)) == 0);
    }
    std::vector<Complex> samples;
    double numbers[16];
};

std::map<std::string, std::string> Files()
{
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().filename()] = {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    return files;
}

std::uint64_t Digest(Bench& t)
{
    std::uint64_t hash = 14695981039346656037u;
    const auto add = [&hash](const void* bytes, std::size_t size)
    {
        for (std::size_t n = 0; n < size; ++n)
            hash = (hash ^ static_cast<const unsigned char*>(bytes)[n]) * 1099511628211u;
    };
    const State state(t.a);
    add(state.samples.data(), state.samples.size() * sizeof(Complex));
    add(state.numbers, sizeof state.numbers);
    for (const auto& [name, bytes] : Files())
    {
        add(name.data(), name.size());
        add(bytes.data(), bytes.size());
    }
    return hash;
}

/// How the library stands while an operation runs.
struct Setting
{
    int threads;
    FftLib engine;
    bool polar; ///< amplitudes and spectra are polar, for the operations that take them
};
Setting setting = {1, FFT_LIB_VENDOR, false};

/// Files and fields as before every run.
void Prepare(const Operation& operation, Bench& t)
{
    SetNumThreads(setting.threads);
    SetFftLib(setting.engine);
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        std::filesystem::remove(entry.path());
    PrepareFiles(t);
    operation.prepare(t);
    if (setting.polar)
        t.a.Form() = static_cast<ComplexForm>(t.a.Form() | POLAR_AMPLITUDE);
    std::srand(1);
}

struct Stacks : Lumora
{
    Stacks() : Lumora(0, 0) {}
    template <class Call>
    static bool Fails(Call&& call)
    {
        try
        {
            call();
        }
        catch (const LumoraException&)
        {
            return true;
        }
        return false;
    }
    bool AreEmpty()
    {
        return Fails([this] { PullForm(); }) && Fails([] { PopNumThreads(); });
    }
};

bool Is(const Operation& operation, const char* prefix)
{
    return std::strncmp(operation.name, prefix, std::strlen(prefix)) == 0;
}

/// After a save that failed or was killed: the files load or are refused; of a container every other part is as it was,
/// and a new one absent or whole.
void CheckFiles(const Operation& operation)
{
    Bench t(folder, nullptr, 0);
    const State a(t.a);
    const State b(t.b);
    for (const Operation& load : kOperations)
        if (std::strncmp(load.name, "Load", 4) == 0)
            Stacks::Fails([&] { load.run(t); });
    enum Version // of a part
    {
        Old,
        NewOrNone,
        OldOrNew
    };
    const auto part = [&](const char* file, int x, int y, Version version)
    {
        const std::uint16_t ix = static_cast<std::uint16_t>(x);
        const std::uint16_t iy = static_cast<std::uint16_t>(y);
        Lumora field(1, 1);
        bool exists = true;
        if (Stacks::Fails(
                [&]
                {
                    if (*file == 's')
                        field.LoadSegLm(t.Path(file), ix, iy, &exists);
                    else if (*file == 'm')
                        field.LoadMpLm(t.Path(file), ix, &exists);
                    else
                        field.LoadLm(t.Path(file));
                }))
            Wrong("what does not load after a broken save");
        const auto holds = [&](const State& state)
        {
            return exists && field.N() == state.samples.size() &&
                   std::memcmp(field.GetDataPointer(), state.samples.data(), field.N() * sizeof(Complex)) == 0;
        };
        if (!(version == Old ? holds(b) : version == NewOrNone ? !exists || holds(a) : holds(a) || holds(b)))
            Wrong("what is lost or not whole after a broken save");
    };
    if (Is(operation, "SaveAsMpLm"))
    {
        part("mp", 0, 0, Old);
        if (std::strstr(operation.name, "in place") == nullptr)
        {
            part("mp", 2, 0, Old);
            part("mp", 1, 0, NewOrNone);
        }
    }
    if (Is(operation, "SaveAsSegLm"))
    {
        part("seg", 0, 0, Old);
        part("seg", 1, 1, Old);
        part("seg", 1, 0, NewOrNone);
    }
    if (Is(operation, "SaveWhole"))
        part("lm", 0, 0, OldOrNew);
    if (Is(operation, "UpdateWhole"))
    {
        part("mp", 0, 0, Old);
        part("mp", 2, 0, OldOrNew);
    }
}

void Run(const Operation& operation, faults::Kind kind, faults::Way way, int n, std::uint64_t expected)
{
    alarm(60); // a hang ends in a signal
    SetErrorHandling(ERROR_HANDLING_THROW);
    Bench t(folder, nullptr, 0);
    Prepare(operation, t);
    const State a(t.a);
    const State b(t.b);
    const int streams = faults::OpenStreams();
    int code = 0;
    const char* foreign = nullptr;
    faults::Arm(kind, way, n);
    try
    {
        operation.run(t);
    }
    catch (const LumoraException& e)
    {
        report->calls = faults::Disarm();
        code = e.GetErrorCode();
        if (code < 1 || code > 9 || *e.GetFuncname() == '\0')
            foreign = "an Error without a code or a name";
        if (kind == faults::Allocation && code != ERR_MEMORY && code != ERR_FILE_OPEN) // a stream has memory of its own
            foreign = "missing memory is reported under another code";
        if (kind == faults::FileCall && code != ERR_FILE_OPEN && code != ERR_FILE_READ && code != ERR_FILE_WRITE)
            foreign = "a failing file call is reported under another code";
    }
    catch (const std::bad_alloc&)
    {
        foreign = "std::bad_alloc";
    }
    catch (...)
    {
        foreign = "a foreign exception";
    }
    const int calls = faults::Disarm();
    if (code == 0)
        report->calls = calls;
    report->failed = code != 0;
    if (n == 0)
    {
        if (code != 0 || foreign != nullptr)
            Wrong("fails undisturbed");
        report->digest = Digest(t);
        return;
    }
    if (foreign != nullptr)
        Wrong(foreign);
    if (faults::OpenStreams() != streams)
        Wrong("a stream stays open");
    if (!(State(t.b) == b))
        Wrong("the second field has changed");
    if (!Stacks().AreEmpty())
        Wrong("a form or a thread count is left on its stack");
    if (GetNumThreads() != setting.threads && !Is(operation, "SetNumThreads"))
        Wrong("the thread count has changed");
    if (code == 0 && Digest(t) != expected)
        Wrong("success with another result than undisturbed");
    if (code != 0 && operation.after == After::Same && !(State(t.a) == a))
        Wrong("a failed call has changed the field");
    if (code != 0)
        CheckFiles(operation);
    // Whatever is left can be used, and the next call gives what it always gave.
    if (const char* const wrong = Inconsistency(t.a))
        Wrong(wrong);
    t.a = t.b;
    Bench again(folder, nullptr, 0);
    Prepare(operation, again);
    operation.run(again);
    if (Digest(again) != expected)
        Wrong("the same call behind the fault gives another result");
}

/// Runs a step in a child; its exit status, the report beside it.
template <class Step>
int InChild(Step&& step)
{
    *report = Report{};
    const pid_t child = fork();
    if (child == 0)
    {
        step();
        std::exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) != child)
    {
    }
    return status;
}

int wrongs = 0;
int runs = 0;
std::map<std::string, std::set<int>> found; // what went wrong, and at which calls

void Judge(const Operation& operation, const char* fault, int n, int status)
{
    ++runs;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return;
    ++wrongs;
    const char* const what = WIFSIGNALED(status)        ? strsignal(WTERMSIG(status))
                             : report->wrong[0] != '\0' ? report->wrong
                                                        : "ended the process";
    found[std::string(operation.name) + ": " + what + ", " + fault].insert(n);
}
} // namespace

int main(int argc, char** argv)
{
    report =
        static_cast<Report*>(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (report == MAP_FAILED)
        return 2;
    const MemoryFolder files;
    folder = files.Path();
    struct Fault
    {
        faults::Kind kind;
        faults::Way way;
        const char* name;
        Setting setting = {1, FFT_LIB_VENDOR, false};
    };
    constexpr Fault list[] = {
        {faults::Allocation, faults::Fail, "failing allocation"},
        {faults::Allocation, faults::FailOn, "no memory from allocation"},
        {faults::Allocation, faults::Fail, "failing allocation, other setting", {2, FFT_LIB_SPLIT_RADIX, true}},
        {faults::FileCall, faults::Fail, "failing file call"},
        {faults::FileCall, faults::FailOn, "no file calls from"},
        {faults::FileCall, faults::Short, "short transfer at file call"},
        {faults::FileCall, faults::Kill, "killed at file call"},
        {faults::FileCall, faults::KillTorn, "killed within file call"},
    };
    const bool bounded = argc > 1 && std::strcmp(argv[1], "--bounded") == 0; // some 24 places of each fault
    const char* const filter = argc > 1 && !bounded ? argv[1] : "";
    for (const Operation& operation : kOperations)
    {
        if (std::strstr(operation.name, filter) == nullptr)
            continue;
        for (const Fault& fault : list)
        {
            setting = fault.setting;
            // The undisturbed run tells the number of calls; a fault can lead to more of them, which are not followed.
            const int whole = InChild([&] { Run(operation, fault.kind, fault.way, 0, 0); });
            const Report undisturbed = *report;
            if (whole != 0 && setting.polar)
                continue; // it takes no polar field
            if (whole != 0)
            {
                Judge(operation, "undisturbed", 0, whole);
                break;
            }
            const int step = bounded ? undisturbed.calls / 24 + 1 : 1;
            for (int n = 1 + static_cast<int>(&fault - list) % step; n <= undisturbed.calls; n += step)
            {
                int status = InChild([&] { Run(operation, fault.kind, fault.way, n, undisturbed.digest); });
                if (fault.way >= faults::Kill && WIFEXITED(status) && WEXITSTATUS(status) == faults::kKilled)
                    status = InChild(
                        [&]
                        {
                            SetErrorHandling(ERROR_HANDLING_THROW);
                            CheckFiles(operation);
                        });
                Judge(operation, fault.name, n, status);
            }
        }
    }
    for (const auto& [what, calls] : found)
        std::printf("%s %d%s\n", what.c_str(), *calls.begin(),
                    calls.size() > 1
                        ? (" ... " + std::to_string(*calls.rbegin()) + ", " + std::to_string(calls.size())).c_str()
                        : "");
    std::printf("%d runs, %d wrong\n", runs, wrongs);
    return wrongs == 0 ? 0 : 1;
}
