// Large fields on several ranks: the table of operations with the members' bits on any number of them, what they send,
// failures of one rank as failures of all. With arguments it is the job that mpi_kill.py kills and resumes.
#include "LargeTable.h"
#include "LmlMpi.h"
#include "Operations.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <sys/resource.h>

using namespace lmltest;

namespace
{
MpiRanks* ranks = nullptr;

std::string CommonFolder(const MemoryFolder& own)
{
    char text[256] = {};
    own.Path().copy(text, sizeof text - 1);
    ranks->Broadcast(text, sizeof text, 0);
    return text;
}

struct Holder
{
    MemoryFolder holder;
};
class Mpi : public testing::Test, protected Holder, protected LargeFiles
{
protected:
    Mpi() : LargeFiles(CommonFolder(holder)) {}
    ~Mpi() override
    {
        Together([] {});
    }

    static bool First() { return ranks->GetRank() == 0; }
    static bool Last() { return ranks->GetRank() == ranks->GetSize() - 1; }
    static void Together(const std::function<void()>& call) { LargeTogether(ranks, call); }
    /// Work of one rank, which the others wait for.
    static void OnFirst(const std::function<void()>& call)
    {
        Together(
            [&]
            {
                if (First())
                    call();
            });
    }
    static std::int64_t Sum(std::uint64_t value)
    {
        std::int64_t sum = 0;
        const std::int64_t own = static_cast<std::int64_t>(value);
        MPI_Allreduce(&own, &sum, 1, MPI_INT64_T, MPI_SUM, MPI_COMM_WORLD);
        return sum;
    }
    static LargeOptions With(std::uint64_t memory)
    {
        LargeOptions how;
        how.memory = memory;
        how.threads = 1 + ranks->GetRank() % 2;
        how.ranks = ranks;
        return how;
    }
};

TEST_F(Mpi, OperationsHaveTheMembersBits)
{
    int withFiles = 0, withoutFiles = 0;
    for (const Sizes& s : {Sizes{2, 2, 256, 256}, Sizes{3, 5, 128, 64}})
    {
        OnFirst([&] { Make("from", s); });
        for (const Row& row : Rows())
        {
            if (row.powersOfTwo && s.sx == 3)
                continue;
            const Sizes out = row.target ? row.target(s).sizes : s;
            SCOPED_TRACE(std::string(row.name) + " of " + std::to_string(s.Width()));
            std::vector<Complex> expected;
            Lumora field = Inside("from");
            if (First())
            {
                row.member(field);
                expected = Middle(field, out);
            }
            for (const std::uint64_t memory : {std::uint64_t{64} << 20, std::uint64_t{1} << 19})
            {
                OnFirst(
                    [&]
                    {
                        if (row.target)
                            Place("to", row.target(s));
                    });
                const LargeReport report = row.large(Path("from").c_str(), Path("to").c_str(), With(memory));
                (report.inMemory ? withoutFiles : withFiles) += 1;
                OnFirst(
                    [&]
                    {
                        EXPECT_TRUE(SameBits(ReadAll("to"), expected)) << "memory " << memory;
                        EXPECT_TRUE(SegmentedField(Path("to").c_str()).GetOrigin() == field.GetOrigin());
                        EXPECT_EQ(FilesLeft(), 2);
                    });
            }
        }
    }
    EXPECT_GT(withFiles, 20);
    EXPECT_GT(withoutFiles, 20);
}

TEST_F(Mpi, SendsWhatTheModelSays)
{
    const Sizes s = {2, 2, 512, 420};
    OnFirst([&] { Make("from", s); });
    for (const std::uint64_t memory : {std::uint64_t{256} << 20, std::uint64_t{1} << 19})
    {
        const LargeReport report = LargeAsmProp(Path("from").c_str(), Path("to").c_str(), 0.02, With(memory));
        const double others = ranks->GetSize() - 1, all = ranks->GetSize();
        const double model = 2.0 * static_cast<double>(report.kept) * others / all;
        EXPECT_NEAR(static_cast<double>(Sum(report.bytesSent)), model, 0.01 * model);
        EXPECT_LT(report.kept, 8u * 1024 * 840 * 3 / 4); // columns beyond the band do not travel
    }
}

TEST_F(Mpi, SamplesMeasuresAndPoints)
{
    const Sizes s = {3, 5, 32, 16};
    OnFirst(
        [&]
        {
            Make("a", s, 1, 4e-6);
            Make("b", {1, 1, 96, 80}, 2, 4e-6);
            Place("place", Target{3e-6, 1e-5, -3e-5, 0.0, {3, 2, 40, 32}});
        });
    const std::string a = Path("a"), b = Path("b"), to = Path("to");
    const CloudPoint points[] = {{1.5e-4, -1e-4, -5e-3, 1.0, 0.3}, {-1e-4, -3e-4, -4e-3, 2.0, 0.0}};
    const std::function<void(const char*, const LargeOptions&)> calls[] = {
        [&](const char* out, const LargeOptions& o) { LargeAdd(a.c_str(), b.c_str(), out, o); },
        [&](const char* out, const LargeOptions& o) { LargeSubtract(a.c_str(), b.c_str(), out, o); },
        [&](const char* out, const LargeOptions& o) { LargeMultiply(a.c_str(), b.c_str(), out, o); },
        [&](const char* out, const LargeOptions& o) { LargeAddPointCloud(a.c_str(), out, points, 2, {}, o); },
        [&](const char* out, const LargeOptions& o)
        {
            LargeTogether(o.ranks,
                          [&]
                          {
                              if (First())
                                  std::filesystem::copy_file(Path("place"), out);
                          });
            LargeResample(a.c_str(), out, BICUBIC_INTERPOL, o);
        }};
    for (const auto& call : calls)
    {
        call(to.c_str(), With(20000));
        OnFirst(
            [&]
            {
                LargeOptions alone = With(20000);
                alone.ranks = nullptr;
                call(Path("alone").c_str(), alone);
                EXPECT_TRUE(SameBits(ReadAll("to"), ReadAll("alone")));
                std::filesystem::remove(Path("alone"));
                std::filesystem::remove(to);
            });
    }
    const LargeMeasures many = LargeMeasure(a.c_str(), b.c_str(), With(5000));
    const LargeMeasures one = LargeMeasure(a.c_str(), b.c_str());
    EXPECT_EQ(std::memcmp(&many, &one, sizeof one), 0);
    Lumora shared(1, 1), whole(1, 1);
    LargePreview(a.c_str(), shared, 7, 50, With(5000));
    LargePreview(a.c_str(), whole, 7, 50);
    EXPECT_EQ(std::memcmp(shared.GetDataPointer(), whole.GetDataPointer(), whole.N() * sizeof(Complex)), 0);
}

TEST_F(Mpi, FailureOfOneIsTheFailureOfAll)
{
    const Sizes s = {8, 8, 64, 64};
    std::vector<Complex> old;
    OnFirst(
        [&]
        {
            Make("from", s, 1, 4e-6);
            old = Make("to", s, 7);
        });
    const std::string from = Path("from"), to = Path("to");
    const std::string missing = Last() ? Path("missing") : from;
    const double other = Last() && !First() ? 3e-4 : 2e-4;
    const auto cancel = [](void*, const char*, std::int64_t, std::int64_t)
    {
        return !Last();
    };
    const auto propagate = [&](const LargeOptions& o)
    {
        LargeAsmProp(from.c_str(), to.c_str(), 2e-4, o);
    };
    const struct
    {
        Failure expected;
        std::function<void(const LargeOptions&)> call;
        bool cancels = false;
        bool full = false;
    } cases[] = {{{ERR_FILE_OPEN, "LumoraLib::LargeAsmProp", Path("missing")},
                  [&](const LargeOptions& o)
                  {
                      LargeAsmProp(missing.c_str(), to.c_str(), 2e-4, o);
                  }},
                 {{ERR_SOMETHING, "LumoraLib::LargeAsmProp", "cancelled"}, propagate, true},
                 {{ERR_FILE_WRITE, "LumoraLib::LargeAsmProp", folder_}, propagate, false, true},
                 {{ERR_PARAMETER, "LumoraLib::LargeAsmProp", "different files or parameters"},
                  [&](const LargeOptions& o)
                  {
                      LargeAsmProp(from.c_str(), to.c_str(), other, o);
                  }},
                 {{ERR_SOMETHING, "LumoraLib::LargeAddPointCloud", "cancelled"},
                  [&](const LargeOptions& o)
                  {
                      const std::vector<CloudPoint> points(3000, CloudPoint{1e-4, -1e-4, -5e-3, 1.0, 0.3});
                      CloudOptions how;
                      how.method = CLOUD_DIRECT;
                      LargeAddPointCloud(from.c_str(), to.c_str(), points.data(), 3000, how, o);
                  },
                  true},
                 {{ERR_FILE_WRITE, "LumoraLib::LargeMultiply", folder_},
                  [&](const LargeOptions& o) { LargeMultiply(from.c_str(), from.c_str(), to.c_str(), o); },
                  false,
                  true}};
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const auto& c : cases)
        for (const bool resume : {false, true})
        {
            if (c.expected.code == ERR_PARAMETER && ranks->GetSize() == 1)
                continue;
            SCOPED_TRACE(c.expected.message);
            const rlimit small = {100000, before.rlim_max};
            if (c.full && Last())
                setrlimit(RLIMIT_FSIZE, &small);
            if (c.cancels)
                SetProgressHandler(cancel, nullptr);
            LargeOptions how = With(1 << 19);
            how.resume = resume;
            const auto start = std::chrono::steady_clock::now();
            const Failure failure = Catch([&] { c.call(how); });
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
            SetProgressHandler(nullptr, nullptr);
            setrlimit(RLIMIT_FSIZE, &before);
            EXPECT_EQ(failure.code, c.expected.code);
            EXPECT_EQ(failure.function, c.expected.function);
            EXPECT_NE(failure.message.find(c.expected.message), std::string::npos) << failure.message;
            char text[128] = {};
            failure.message.copy(text, sizeof text - 1);
            ranks->Broadcast(text, sizeof text, 0);
            EXPECT_EQ(failure.message, text);
            OnFirst(
                [&]
                {
                    EXPECT_TRUE(SameBits(ReadAll("to"), old));
                    EXPECT_EQ(FilesLeft(), 2);
                });
        }
}

/// MpiTest make FOLDER: the files. MpiTest job FOLDER [ROUNDS]: a propagation in that folder that can be resumed; the
/// last rank is killed when its journal has come to so many rounds.
struct Job : LargeFiles
{
    explicit Job(const char* folder) : LargeFiles(folder) {}

    void Propagate(const char* to, LargeRanks* on) const
    {
        LargeOptions how;
        how.memory = 1;
        how.threads = 1;
        how.resume = true;
        how.ranks = on;
        const LargeReport report = LargeRawAsmProp(Path("from").c_str(), Path(to).c_str(), 2e-4, how);
        if (on == nullptr || on->GetRank() == 0)
            std::printf("resumed %lld of %lld\n", static_cast<long long>(report.resumed),
                        static_cast<long long>(2 * report.bands + report.units));
    }
    void MakeFiles() const
    {
        Make("from", {2, 2, 512, 512});
        Make("to", {2, 2, 512, 512}, 7);
        Propagate("expected", nullptr);
    }
    /// Sweep and rounds of the first journal there is, as one number.
    std::int64_t Reached() const
    {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(folder_, none))
            if (entry.path().extension() == ".journal")
            {
                std::uint64_t state[5] = {};
                std::ifstream(entry.path(), std::ios::binary).read(reinterpret_cast<char*>(state), sizeof state);
                return static_cast<std::int64_t>(1000 * state[2] + state[3]);
            }
        return -1;
    }
    void Run(std::int64_t kill) const
    {
        std::atomic<bool> ends{false};
        std::thread killer(
            [&]
            {
                while (kill > 0 && !ends && Reached() < kill)
                    ;
                if (kill > 0 && !ends && ranks->GetRank() == ranks->GetSize() - 1)
                    raise(SIGKILL);
            });
        Propagate("to", ranks);
        ends = true;
        killer.join();
    }
};
} // namespace

int main(int argc, char** argv)
{
    const Failure early = Catch([] { const MpiRanks none(MPI_COMM_WORLD); });
    int provided = 0;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
    testing::InitGoogleTest(&argc, argv);
    int result = 0;
    {
        MpiRanks all(MPI_COMM_WORLD);
        ranks = &all;
        if (argc > 2 && std::string(argv[1]) == "make")
            Job(argv[2]).MakeFiles();
        else if (argc > 2)
            Job(argv[2]).Run(argc > 3 ? std::atoi(argv[3]) : 0);
        else
            result = RUN_ALL_TESTS() + (early.code == ERR_SOMETHING && early.function == "LumoraLib::MpiRanks" ? 0 : 1);
    }
    MPI_Finalize();
    return result;
}
