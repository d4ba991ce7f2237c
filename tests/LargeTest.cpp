// Fields larger than memory: segmented files as one grid, and operations from file to file with the members' bits.
#include "LargeTable.h"
#include "Operations.h"
#include "large/TileLayout.h"

#include <csignal>
#include <set>

#include <sys/resource.h>
#include <sys/wait.h>

using namespace lmltest;

namespace
{
struct Holder
{
    MemoryFolder holder;
};
class Large : public testing::Test, protected Holder, protected LargeFiles
{
protected:
    Large() : LargeFiles(holder.Path()) {}
};

/// Ranks of one process: the ways of several, without messages.
class OneRank final : public LargeRanks
{
public:
    int GetRank() const override { return 0; }
    int GetSize() const override { return 1; }
    void Broadcast(void*, std::size_t, int) override {}
    std::int64_t GetLargest(std::int64_t value) override { return value; }
    void Exchange(const Complex*, const Samples*, Complex*, const Samples*) override {}
    void ResetCounter() override { counter_ = 0; }
    std::int64_t AddToCounter(std::int64_t value) override { return std::exchange(counter_, counter_ + value); }

private:
    std::int64_t counter_ = 0;
};

// ------------------------------------------------------------------------------------------------------ segments

TEST_F(Large, SegmentsAreOneGridInTheRightPlaces)
{
    const Sizes s = {3, 5, 16, 8};
    const std::vector<Complex> all = Make("a", s);
    const SegmentedField file(Path("a").c_str());
    EXPECT_EQ(file.GetNx(), 48);
    EXPECT_EQ(file.GetNy(), 40);
    EXPECT_EQ(file.CountMissing(), 0);
    // A segment is what LoadSegLm makes of it, place and all.
    Lumora own(1, 1), theirs(1, 1);
    for (int iy = 0; iy < 5; ++iy)
        for (int ix = 0; ix < 3; ++ix)
        {
            file.GetSegment(ix, iy, own);
            theirs.LoadSegLm(Path("a").c_str(), static_cast<std::uint16_t>(ix), static_cast<std::uint16_t>(iy),
                             nullptr);
            ASSERT_EQ(own.N(), theirs.N());
            EXPECT_EQ(std::memcmp(own.GetDataPointer(), theirs.GetDataPointer(), own.N() * sizeof(Complex)), 0);
            EXPECT_TRUE(own.GetOrigin() == theirs.GetOrigin());
            EXPECT_EQ(own.GetPy(), theirs.GetPy());
            EXPECT_EQ(own.GetWavelength(), theirs.GetWavelength());
        }
    // Rectangles across segments: the sample at (x, y) of the whole stands at the same point of space in each.
    for (const auto& [x, y, nx, ny] : {std::array{0, 0, 48, 40}, std::array{13, 5, 8, 16}, std::array{31, 7, 5, 9},
                                       std::array{47, 39, 1, 1}, std::array{2, 0, 32, 4}})
    {
        Lumora part(1, 1);
        file.Get(x, y, nx, ny, part);
        const int left = (part.GetNx() - nx) / 2, below = (part.GetNy() - ny) / 2;
        for (int j = 0; j < part.GetNy(); ++j)
            for (int i = 0; i < part.GetNx(); ++i)
            {
                const bool inside = i >= left && i < left + nx && j >= below && j < below + ny;
                const Complex expected =
                    inside ? all[static_cast<std::size_t>((y + j - below) * 48 + x + i - left)] : Complex();
                ASSERT_TRUE(part.GetPixel(i, j) == expected);
            }
        const double px = part.X(left) + part.GetOrigin().x, py = part.Y(below) + part.GetOrigin().y;
        EXPECT_NEAR(px, (x - 24) * 2e-6 + 1e-4, 1e-12);
        EXPECT_NEAR(py, (y - 20) * 2.5e-6 - 2e-4, 1e-12);
    }
}

TEST_F(Large, PutReachesEverySegmentAndMissingOnesAreZerosOrRefused)
{
    Lumora like(8, 8, 1e-5, 1e-5, 500e-9);
    FillRandom(like);
    like.SetOrigin(Vector(1.0, 2.0, 3.0)); // counts for nothing when it is put
    {
        SegmentedField file = SegmentedField::Create(
            Path("p").c_str(), Lumora(0, 0).SetPx(1e-5).SetPy(1e-5).SetWavelength(500e-9), 4, 3, 8, 4);
        EXPECT_EQ(file.CountMissing(), 12);
        file.Put(12, 2, like); // touches (1..2, 0..2)
        EXPECT_EQ(file.CountMissing(), 6);
    }
    const SegmentedField zeros(Path("p").c_str(), SEGMENTED_READ, MISSING_ZERO);
    Lumora all(1, 1);
    zeros.Get(0, 0, 32, 12, all);
    for (int j = 0; j < 12; ++j)
        for (int i = 0; i < 32; ++i)
        {
            const bool inside = i >= 12 && i < 20 && j >= 2 && j < 10;
            ASSERT_TRUE(all.GetPixel(i, j + 2) == (inside ? like.GetPixel(i - 12, j - 2) : Complex()));
        }
    SegmentedField file(Path("p").c_str(), SEGMENTED_UPDATE);
    Lumora part(1, 1);
    EXPECT_EQ(Catch([&] { file.Get(0, 0, 32, 12, part); }),
              (Failure{ERR_PARAMETER, "LumoraLib::SegmentedField", "a segment is missing"}));
    file.GetSegment(1, 1, part); // one that is there
    Lumora other(part);
    other.SetPx(2e-5);
    EXPECT_EQ(Catch([&] { file.PutSegment(0, 0, other); }).message, "the field does not fit the file");
    EXPECT_EQ(Catch([&] { file.PutSegment(0, 0, like); }).message, "the field has not the size of a segment");
    EXPECT_EQ(Catch([&] { file.Put(30, 0, part); }).message, "the rectangle does not lie in the field");
    file.PutSegment(0, 0, part);
    EXPECT_TRUE(file.Has(0, 0));
    // Sizes whose bytes no position reaches, asked for and found in a head.
    EXPECT_EQ(Catch([&] { SegmentedField::Create(Path("x").c_str(), part, 4, 4, 1 << 30, 1 << 30); }).code,
              ERR_PARAMETER);
    const std::int32_t huge[] = {1 << 30, 1 << 30};
    std::fstream patched(Path("p"), std::ios::in | std::ios::out | std::ios::binary);
    patched.seekp(12 + 8 * 12 + 14 + 26); // the sizes in the common head
    patched.write(reinterpret_cast<const char*>(huge), sizeof huge);
    patched.close();
    EXPECT_EQ(Catch([&] { SegmentedField f(Path("p").c_str()); }).code, ERR_FILE_READ);
}

// ----------------------------------------------------------------------------------------------------- propagation

TEST_F(Large, OperationsHaveTheMembersBits)
{
    int sweeps = 0;
    OneRank one;
    for (const Sizes& s : {Sizes{2, 2, 256, 256}, Sizes{3, 5, 128, 64}, Sizes{1, 4, 64, 128}, Sizes{1, 2, 2, 64}})
    {
        const bool all = s.sx == 2;
        Make("from", s);
        for (const Row& row : Rows())
        {
            if (row.powersOfTwo && s.sx == 3)
                continue;
            const Sizes out = row.target ? row.target(s).sizes : s;
            SCOPED_TRACE(std::string(row.name) + " of " + std::to_string(s.Width()));
            Lumora field = Inside("from");
            row.member(field);
            const std::vector<Complex> expected = Middle(field, out);
            const std::uint64_t bytes = field.N() * sizeof(Complex);
            int threads = 0;
            for (const std::uint64_t memory : {bytes * 64, bytes / 4, bytes / 16, bytes / 64})
            {
                if (!all && memory != bytes / 16)
                    continue;
                LargeOptions how;
                how.memory = memory;
                how.threads = threads = threads % 3 + 1;
                how.ranks = threads == 2 ? &one : nullptr;
                if (row.target)
                    Place("to", row.target(s));
                const LargeReport report = row.large(Path("from").c_str(), Path("to").c_str(), how);
                EXPECT_TRUE(report.inMemory || memory < bytes);
                sweeps += report.inMemory ? 0 : 1;
                ASSERT_TRUE(SameBits(ReadAll("to"), expected)) << "memory " << memory << ", threads " << threads;
                const SegmentedField to(Path("to").c_str());
                EXPECT_TRUE(to.GetOrigin() == field.GetOrigin());
                EXPECT_EQ(to.GetPx(), field.GetPx());
                EXPECT_EQ(FilesLeft(), 2);
            }
        }
    }
    EXPECT_GT(sweeps, 50);
}

// Layouts for this process alone (0 lanes) and for lanes: within the memory from the least that works on, tiles of
// about 4 MiB where it is plenty, and every kept column in one unit.
TEST(LargeLayouts, KeepToTheMemory)
{
    using namespace LumoraLib::detail;
    for (const WideRange& columns :
         {WideRange{0, 4096}, WideRange{3500, 700}, WideRange{3400, 696}, WideRange{100, 900}})
        for (const int lanes : {0, 1, 2, 5})
        {
            const TileNeeds needs = {3000, 4096, 8192, 4096, columns, columns.end == 696, 100000, 2000000, 2};
            std::uint64_t least = 0;
            for (const std::uint64_t memory : {1u, 8u << 20, 24u << 20, 50u << 20, 80u << 20, 1u << 30})
            {
                SCOPED_TRACE(std::to_string(lanes) + " lanes, " + std::to_string(memory));
                LanePlan plan;
                if (lanes == 0)
                    plan.layout = PlanTiles(needs, memory, plan.memory);
                else
                    plan = PlanLanes(needs, lanes, memory);
                const TileLayout& layout = plan.layout;
                least = memory == 1 ? plan.memory : least;
                EXPECT_LE(plan.memory, std::max(memory, least + least / 100));
                EXPECT_LT((layout.Bands() - 1) * layout.bandRows, layout.rows);
                std::vector<int> kept(needs.gridColumns);
                for (const TileUnit& unit : layout.units)
                    for (const ColumnRun& run : {unit.left, unit.right})
                        for (std::size_t n = 0; n < run.count; ++n)
                            ++kept[run.first + n];
                for (std::size_t n = 0; n < kept.size(); ++n)
                {
                    const bool wanted = columns.begin < columns.end ? n >= columns.begin && n < columns.end
                                                                    : n >= columns.begin || n < columns.end;
                    EXPECT_TRUE(kept[n] == 1 || (kept[n] == 0 && !wanted)) << n;
                }
            }
        }
}

TEST_F(Large, BackwardsEveryPhaseIsTheConjugateOne)
{
    const Sizes s = {3, 5, 128, 64};
    Make("from", s);
    Lumora field = Inside("from");
    field.ConvToConjugate();
    field.ShiftedFresnelProp(field.GetOrigin() + Vector(3e-4, 0, 0.01), 3e-6, 3.75e-6);
    const std::vector<Complex> expected = Middle(field.ConvToConjugate(), s);
    std::vector<Complex> first;
    for (const std::uint64_t memory : {std::uint64_t{1} << 30, std::uint64_t{1}})
    {
        LargeOptions how;
        how.memory = memory;
        Place("to", Target{3e-6, 3e-4, 0, 0.01, s});
        const LargeReport report = LargeShiftedFresnelProp(Path("from").c_str(), Path("to").c_str(), true, how);
        EXPECT_EQ(report.inMemory, memory > 1);
        const std::vector<Complex> found = ReadAll("to");
        double error = 0.0, energy = 0.0;
        for (std::size_t n = 0; n < found.size(); ++n)
        {
            error += std::norm(std::complex<double>(found[n].GetReal() - expected[n].GetReal(),
                                                    found[n].GetImag() - expected[n].GetImag()));
            energy += std::norm(std::complex<double>(expected[n].GetReal(), expected[n].GetImag()));
        }
        EXPECT_LT(error, 1e-12 * energy); // phases are wrapped by other numbers of turns
        EXPECT_TRUE(first.empty() || SameBits(found, first));
        first = found;
    }
}

TEST_F(Large, SplitRadixTransformsInMemoryOnly)
{
    const Engine engine(FFT_LIB_SPLIT_RADIX);
    const Sizes s = {2, 2, 16, 16};
    Make("from", s);
    Lumora field = Inside("from");
    field.AsmProp(1e-4);
    LargeAsmProp(Path("from").c_str(), Path("to").c_str(), 1e-4);
    EXPECT_TRUE(SameBits(ReadAll("to"), Middle(field, s)));
    LargeOptions how;
    how.memory = 100;
    EXPECT_EQ(Catch([&] { LargeAsmProp(Path("from").c_str(), Path("to").c_str(), 1e-4, how); }),
              (Failure{ERR_SOMETHING, "LumoraLib::LargeAsmProp", "this engine takes the whole field in memory"}));
}

// --------------------------------------------------------------------------------------------------------- samples

TEST_F(Large, SamplesOfFilesAsTheMembersTakeThem)
{
    const Sizes s = {3, 5, 32, 16};
    Make("a", s);
    Make("b", {1, 1, 96, 80}, 2); // other segments
    const Lumora a = Inside("a"), b = Inside("b");
    const std::string first = Path("a"), second = Path("b"), out = Path("out");
    LargeOptions how;
    how.memory = 20000;
    const auto check = [&](const Lumora& expected)
    {
        EXPECT_TRUE(SameBits(ReadAll("out"), Middle(expected, s)));
        EXPECT_EQ(SegmentedField(out.c_str()).GetSegmentsX(), 3);
    };
    LargeAdd(first.c_str(), second.c_str(), out.c_str(), how);
    check(Lumora(a) += b);
    LargeSubtract(first.c_str(), second.c_str(), out.c_str(), how);
    check(Lumora(a) -= b);
    EXPECT_GT(LargeMultiply(first.c_str(), second.c_str(), out.c_str(), how).bands, 1);
    check(Lumora(a) *= b);

    const LargeMeasures m = LargeMeasure(first.c_str(), second.c_str(), how);
    EXPECT_EQ(m.squareSum, a.GetSquareSum());
    EXPECT_EQ(m.amplitudeMax, Lumora(a).GetAmplitudeMaxWhole());
    EXPECT_NEAR(m.snr, a.GetSnr(b, a.GetScaleFactor(b)), 1e-9);
    EXPECT_EQ(m.scale.Imag(), a.GetScaleFactor(b).Imag());
    const Complex largest = a.GetPixel(static_cast<int>(m.xMax) + 16, static_cast<int>(m.yMax) + 24);
    EXPECT_EQ(std::hypot(largest.GetReal(), largest.GetImag()), m.amplitudeMax);

    // Pictures: the window's bytes of the same field in memory.
    Lumora shown(a);
    shown.SetWindow(16, 112, 24, 104);
    for (const Mode mode : {ModeIntensity, ModePhase})
        for (const double max : {0.0, 1.5})
        {
            LargeSaveAsBmp(first.c_str(), out.c_str(), mode, 0.0, max, GradationRainbow, how);
            shown.WinSaveAsBMPEx(Path("bmp").c_str(), mode, 0.0, max, GradationRainbow, 0);
            std::ifstream x(out, std::ios::binary), y(Path("bmp"), std::ios::binary);
            EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(x), {}) ==
                        std::string(std::istreambuf_iterator<char>(y), {}));
        }
    Lumora preview(1, 1);
    LargePreview(first.c_str(), preview, 7, 80, how); // blocks of 13 or 14 columns
    double energy = 0.0;
    for (int i = 0; i < 14; ++i)
        energy += std::norm(std::complex<double>(a.GetReal(16 + i, 24), a.GetImag(16 + i, 24)));
    EXPECT_NEAR(preview.GetReal(0, (128 - 80) / 2), std::sqrt(energy / 14), 1e-6);
    EXPECT_NEAR(preview.GetPx(), 2e-6 * 96 / 7, 1e-12);
}

TEST_F(Large, ResamplesInTiles)
{
    Make("from", {2, 2, 128, 256});
    Place("to", Target{1.5e-6, 1e-5, -3e-5, 0.0, {3, 2, 100, 128}});
    LargeOptions how;
    how.memory = 1;
    Lumora expected = Inside("from");
    const Lumora source(expected);
    {
        const SegmentedField to(Path("to").c_str(), SEGMENTED_READ, MISSING_ZERO);
        to.Get(0, 0, 300, 256, expected);
    }
    expected.ResamplingCopy(source, BICUBIC_INTERPOL);
    EXPECT_GT(LargeResample(Path("from").c_str(), Path("to").c_str(), BICUBIC_INTERPOL, how).bands, 12);
    const std::vector<Complex> inside = Middle(expected, {3, 2, 100, 128}), found = ReadAll("to");
    double largest = 0.0, energy = 0.0;
    for (std::size_t n = 0; n < found.size(); ++n)
    {
        largest = std::max({largest, std::fabs(inside[n].GetReal() - found[n].GetReal()),
                            std::fabs(inside[n].GetImag() - found[n].GetImag())});
        energy += inside[n].GetReal() * inside[n].GetReal();
    }
    EXPECT_LT(largest, 1e-5);
    EXPECT_GT(energy, 1000.0);
}

TEST_F(Large, PointsReachTheirSegments)
{
    const Sizes s = {2, 2, 64, 64};
    Make("from", s, 1, 4e-6);
    const CloudPoint points[] = {{1.5e-4, -1e-4, -5e-3, 1.0, 0.3}, {-1e-4, -3e-4, -4e-3, 2.0, 0.0}};
    LargeAddPointCloud(Path("from").c_str(), Path("to").c_str(), points, 2);
    const SegmentedField from(Path("from").c_str()), to(Path("to").c_str());
    Lumora expected(1, 1), found(1, 1);
    for (int n = 0; n < 4; ++n)
    {
        from.GetSegment(n % 2, n / 2, expected);
        to.GetSegment(n % 2, n / 2, found);
        expected.AddPointCloud(points, 2);
        EXPECT_EQ(std::memcmp(expected.GetDataPointer(), found.GetDataPointer(), expected.N() * sizeof(Complex)), 0);
    }
}

// ---------------------------------------------------------------------------------------------------------- faults

TEST_F(Large, KilledAnywhereItGoesOnWhereItWas)
{
    const Sizes s = {2, 2, 256, 256};
    const std::vector<Complex> samples = Make("from", s);
    const std::vector<Complex> old = Make("to", s, 7);
    const auto run = [&](bool resume)
    {
        LargeOptions how;
        how.memory = 1;
        how.threads = 1; // a team does not live through fork()
        how.resume = resume;
        return LargeRawAsmProp(Path("from").c_str(), Path("to").c_str(), 2e-4, how);
    };
    const LargeReport whole = run(false);
    const std::vector<Complex> expected = ReadAll("to");
    const std::int64_t rounds = 2 * whole.bands + whole.units;
    const auto journaled = [&]
    {
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            if (entry.path().extension() == ".journal")
            {
                std::uint64_t state[5] = {};
                std::ifstream(entry.path(), std::ios::binary).read(reinterpret_cast<char*>(state), sizeof state);
                const std::int64_t before[] = {0, whole.bands, whole.bands + whole.units};
                return before[std::min<std::uint64_t>(state[2], 2)] + static_cast<std::int64_t>(state[3]);
            }
        return std::int64_t{-1};
    };
    std::set<std::int64_t> places;
    for (int n = 0; n < 20; ++n)
    {
        Make("to", s, 7);
        const std::int64_t target = n * rounds / 20;
        const pid_t child = fork();
        if (child == 0)
        {
            run(true);
            _exit(0);
        }
        while (journaled() < target && waitpid(child, nullptr, WNOHANG) == 0)
            ;
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const std::int64_t done = journaled();
        if (done < 0) // it was through before it could be killed
            continue;
        places.insert(done);
        ASSERT_TRUE(SameBits(ReadAll("from"), samples));
        ASSERT_TRUE(SameBits(ReadAll("to"), old));
        const LargeReport report = run(true);
        EXPECT_EQ(report.resumed, done);
        ASSERT_TRUE(SameBits(ReadAll("to"), expected)) << "killed behind " << done << " of " << rounds;
        EXPECT_EQ(FilesLeft(), 2);
    }
    EXPECT_GT(places.size(), 5u); // the kill comes a moment after the journal says where it is
    // Without a journal too: what stands in the unfinished file is no field, though tiles may stand where its samples
    // will.
    for (int n = 0; n < 8; ++n)
    {
        Make("to", s, 7);
        const pid_t child = fork();
        if (child == 0)
        {
            run(false);
            _exit(0);
        }
        usleep(static_cast<useconds_t>(500 * n));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const std::vector<Complex> found = ReadAll("to");
        ASSERT_TRUE(SameBits(found, old) || SameBits(found, expected)); // it may have been through
        ASSERT_TRUE(SameBits(ReadAll("from"), samples));
        if (std::filesystem::exists(Path("to.part")) && std::filesystem::file_size(Path("to.part")) > 1000)
        {
            EXPECT_EQ(SegmentedField(Path("to.part").c_str()).CountMissing(), 4);
        }
        std::filesystem::remove(Path("to.part"));
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            if (entry.path().extension() == ".scratch") // it has its name until it is open
                std::filesystem::remove(entry.path());
    }
    Make("to", s, 7);
    // What another work has left counts for nothing.
    const pid_t child = fork();
    if (child == 0)
    {
        run(true);
        _exit(0);
    }
    while (journaled() < rounds / 2 && waitpid(child, nullptr, WNOHANG) == 0)
        ;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    Make("from", s, 3);
    EXPECT_EQ(run(true).resumed, 0);
    EXPECT_EQ(FilesLeft(), 2);
}

TEST_F(Large, FailuresLeaveTheOldDestinationAndNothingElse)
{
    const Sizes s = {2, 2, 256, 256};
    Make("from", s);
    const std::vector<Complex> old = Make("to", s, 7);
    const std::string from = Path("from"), to = Path("to");
    LargeOptions how;
    how.memory = 1;
    const auto run = [&]
    {
        LargeAsmProp(from.c_str(), to.c_str(), 2e-4, how);
    };
    const auto check = [&](const Failure& expected, const std::function<void()>& call)
    {
        for (const bool resume : {false, true})
        {
            how.resume = resume;
            const Failure failure = Catch(call);
            EXPECT_EQ(failure.code, expected.code);
            EXPECT_NE(failure.message.find(expected.message), std::string::npos) << failure.message;
            EXPECT_EQ(failure.function, expected.function);
            EXPECT_TRUE(SameBits(ReadAll("to"), old));
            EXPECT_EQ(FilesLeft(), 2);
        }
    };
    const char* const fn = "LumoraLib::LargeAsmProp";
    {
        SCOPED_TRACE("disk full");
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, SIG_IGN);
        for (const rlim_t bytes : {rlim_t{1} << 20, rlim_t{2200000}}) // for the destination, for the scratch alone
        {
            how.scratch = bytes > 1 << 20 ? folder_.c_str() : nullptr; // named, it is not the destination's room
            const rlimit small = {bytes, before.rlim_max};
            check({ERR_FILE_WRITE, fn, folder_},
                  [&]
                  {
                      setrlimit(RLIMIT_FSIZE, &small);
                      struct Restore
                      {
                          const rlimit& limit;
                          ~Restore() { setrlimit(RLIMIT_FSIZE, &limit); }
                      } restore{before};
                      run();
                  });
        }
    }
    {
        SCOPED_TRACE("cancelled");
        how.scratch = nullptr;
        check({ERR_SOMETHING, fn, "cancelled"},
              [&]
              {
                  struct Unset
                  {
                      ~Unset() { SetProgressHandler(nullptr, nullptr); }
                  } unset;
                  // Somewhere behind the beginning: the handler is asked at most 20 times a second.
                  SetProgressHandler([](void*, const char*, std::int64_t done, std::int64_t) { return done == 0; },
                                     nullptr);
                  for (int n = 0; n < 1000; ++n)
                  {
                      LargeAsmProp(from.c_str(), Path("other").c_str(), 2e-4, how);
                      std::filesystem::remove(Path("other"));
                  }
              });
    }
    {
        SCOPED_TRACE("no folder");
        how.scratch = "/nowhere/at/all";
        check({ERR_FILE_OPEN, fn, "/nowhere/at/all/to"}, run);
        how.scratch = nullptr;
    }
    {
        SCOPED_TRACE("a folder in its place");
        const std::string folder = Path("folder");
        std::filesystem::create_directory(folder);
        EXPECT_EQ(Catch([&] { LargeAsmProp(from.c_str(), folder.c_str(), 2e-4, how); }),
                  (Failure{ERR_FILE_WRITE, fn, folder}));
        EXPECT_EQ(FilesLeft(), 3);
        std::filesystem::remove(folder);
    }
    {
        SCOPED_TRACE("cut short on the way");
        static std::string cut;
        cut = from;
        check({ERR_FILE_READ, fn, "from"},
              [&]
              {
                  struct Unset
                  {
                      ~Unset() { SetProgressHandler(nullptr, nullptr); }
                  } unset;
                  Make("from", s);
                  SetProgressHandler(
                      [](void*, const char*, std::int64_t, std::int64_t)
                      {
                          std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
                          return true;
                      },
                      nullptr);
                  run();
              });
        Make("from", s);
    }
    {
        SCOPED_TRACE("cut short");
        std::filesystem::resize_file(from, std::filesystem::file_size(from) - 8);
        check({ERR_FILE_READ, fn, "from"}, run);
    }
}
} // namespace
