// Files replaced whole or not at all: what stands at the path after a success, a failure, an early exit and a kill.

#include "TestTools.h"

#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lmltest;
namespace fs = std::filesystem;

namespace
{
/// A folder of its own, so that whatever is left beside a file shows.
class Folder
{
public:
    Folder() : path_(fs::path(LML_SCRATCH_DIR) / "WholeFileTest.folder")
    {
        fs::remove_all(path_);
        fs::create_directory(path_);
    }
    ~Folder() { fs::remove_all(path_); }
    std::string In(const char* name) const { return (path_ / name).string(); }
    std::ptrdiff_t Files() const { return std::distance(fs::directory_iterator(path_), {}); }

private:
    fs::path path_;
};

void Write(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}
std::string Read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Runs the call in a child process and gives how it ended.
int InChild(const std::function<void()>& call)
{
    const pid_t child = fork();
    if (child == 0)
    {
        call();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}
} // namespace

TEST(WholeFileTest, SaversTakeThePlaceOfTheOldFile)
{
    const Folder folder;
    const std::string plain = folder.In("plain");
    const std::string whole = folder.In("whole");
    Lumora f(8, 4, 2e-6);
    FillRandom(f);
    const auto save = [&](const char* p)
    {
        f.SaveAsCSV(p, 1);
    };
    save(plain.c_str());
    SaveWhole(whole.c_str(), save);
    EXPECT_EQ(Read(whole), Read(plain));
    EXPECT_EQ(folder.Files(), 2);
    // Rights and links: those of the file that was there.
    ASSERT_EQ(chmod(whole.c_str(), 0640), 0);
    fs::create_symlink("whole", folder.In("link"));
    const std::string link = folder.In("link");
    SaveWhole(link.c_str(), [](const char* p) { Write(p, "new"); });
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(Read(whole), "new");
    struct stat info;
    ASSERT_EQ(stat(whole.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    // A name alone stands in the working folder.
    const fs::path before = fs::current_path();
    fs::current_path(folder.In("."));
    SaveWhole("alone", [](const char* p) { Write(p, "alone"); });
    fs::current_path(before);
    EXPECT_EQ(Read(folder.In("alone")), "alone");
}

TEST(WholeFileTest, PartsAreReplacedInACopy)
{
    const Folder folder;
    const std::string path = folder.In("parts.lm");
    Lumora old(64, 64);
    FillRandom(old, 1);
    Lumora now(64, 64);
    FillRandom(now, 2);
    CreateFileMpLm(path.c_str(), 4);
    for (std::uint16_t n = 0; n < 3; ++n) // more than a block of the copy
        old.SaveAsMpLm(path.c_str(), n);
    const std::string before = Read(path);
    const auto breaks = [&](const char* p)
    {
        now.SaveAsMpLm(p, 1);
        Error(ERR_SOMETHING, "f", "m");
    };
    EXPECT_EQ(Catch([&] { UpdateWhole(path.c_str(), breaks); }), (Failure{6, "f", "m"}));
    EXPECT_EQ(Read(path), before);
    UpdateWhole(path.c_str(), [&](const char* p) { now.SaveAsMpLm(p, 1); });
    EXPECT_EQ(folder.Files(), 1);
    Lumora g(1, 1);
    EXPECT_TRUE(SameBits(g.LoadMpLm(path.c_str(), 1, nullptr), now));
    EXPECT_TRUE(SameBits(g.LoadMpLm(path.c_str(), 2, nullptr), old));
}

TEST(WholeFileTest, NothingIsLostWhereASaveDoesNotComeToItsEnd)
{
    const Folder folder;
    const std::string path = folder.In("field.lm");
    Lumora f(256, 256);
    FillRandom(f);
    Write(path, "old");
    // An early return.
    {
        WholeFile unfinished(path.c_str());
        const WholeFile another(path.c_str()); // each has a name of its own
        EXPECT_STRNE(unfinished.Path(), another.Path());
        EXPECT_EQ(folder.Files(), 3);
        Write(unfinished.Path(), "half");
    }
    EXPECT_EQ(folder.Files(), 1);
    // An error that ends the process without unwinding, and the child of a process that has such a file.
    WholeFile parents(path.c_str());
    const auto fails = [&]
    {
        dup2(open("/dev/null", O_WRONLY), 2);
        SaveWhole(path.c_str(), [](const char*) { Error(ERR_SOMETHING, "f", ""); });
    };
    EXPECT_EQ(WEXITSTATUS(InChild(fails)), 1);
    EXPECT_EQ(folder.Files(), 2) << "the child removes its own file and not its parent's";
    EXPECT_EQ(Read(path), "old");
    // A kill.
    EXPECT_TRUE(
        WIFSIGNALED(InChild([&] { SaveWhole(path.c_str(), [&](const char* p) { f.SaveAsLm(p), raise(SIGKILL); }); })));
    EXPECT_EQ(Read(path), "old");
    EXPECT_EQ(folder.Files(), 3) << "what was killed stays beside";
    Write(parents.Path(), "whole");
    parents.Commit();
    EXPECT_EQ(Read(path), "whole");
    EXPECT_EQ(parents.Path(), nullptr);
}

TEST(WholeFileTest, EveryFailureByCodeAndText)
{
    const Folder folder;
    const std::string path = folder.In("x");
    const auto refuses = [](const char* p, WholeFile::Contents contents = WholeFile::Empty)
    {
        EXPECT_EQ(Catch([&] { WholeFile(p, contents); }),
                  (Failure{2, "LumoraLib::WholeFile", Shown(p == nullptr ? "" : p)}));
    };
    for (const char* p : {static_cast<const char*>(nullptr), "", "/nowhere/x", LML_SCRATCH_DIR})
        refuses(p);
    refuses(folder.In(".").c_str());
    refuses(path.c_str(), WholeFile::Copied); // nothing to copy
    EXPECT_EQ(folder.Files(), 0);

    const std::string commit = "LumoraLib::WholeFile::Commit";
    {
        WholeFile file(path.c_str());
        fs::create_directory(path); // a name that cannot be taken
        EXPECT_EQ(Catch([&] { file.Commit(); }), (Failure{4, commit, Shown(path)}));
        fs::remove(path);
        fs::remove(file.Path()); // and nothing that could take it
        EXPECT_EQ(Catch([&] { file.Commit(); }), (Failure{4, commit, Shown(path)}));
        Write(file.Path(), "text");
        file.Commit();
        EXPECT_EQ(Catch([&] { file.Commit(); }), (Failure{9, commit, "the file was committed before"}));
    }
    EXPECT_EQ(Read(path), "text");
    EXPECT_EQ(folder.Files(), 1);
}
