// Files of every format, cut at every length and with a window of changed bytes at every place: a load ends well or in
// one failure of a file, with a field that can be used, and no memory beyond what SECURITY.md promises.

#include "Operations.h"
#include "TestTools.h"

#include <filesystem>
#include <string_view>

using namespace lmltest;

namespace
{
struct Format
{
    const char* file;
    std::vector<std::string_view> operations; ///< of the table, that read the file
    bool endsWithSamples = true;              ///< without the last one the file is not whole; a list may end early
    bool keepsField = false;                  ///< a refused file leaves the field as it was
};
const Format kFormats[] = {
    {"lw", {"LoadLw", "MultiplyFileLW", "SuperimposeFileLW"}},
    {"de", {"LoadDE", "SuperimposeFileDE"}},
    {"csv", {"LoadCSV"}, false},
    {"ply", {"LoadPointCloud"}, false},
    {"lm", {"LoadLm"}},
    {"mp", {"LoadMpLm", "LoadParamMpLm", "SaveAsMpLm"}},
    {"seg", {"LoadSegLm", "LoadParamSegLm", "SaveAsSegLm", "SaveParamSegLm"}},
    {"npy", {"LoadNpy"}, true, true},
    {"bmp", {"LoadBmp"}, true, true},
    {"hbi", {"LoadHBI"}, true, true},
};

class DamageTest : public ::testing::TestWithParam<Format>
{
protected:
    DamageTest()
    {
        SetErrorHandling(ERROR_HANDLING_THROW);
        Bench t(folder_.Path(), nullptr, 0);
        PrepareFiles(t);
        path_ = t.Path(GetParam().file);
        std::ifstream in(path_, std::ios::binary);
        whole_ = {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        in.close();
        descriptors_ = Descriptors();
    }
    ~DamageTest() override
    {
        SetErrorHandling(ERROR_HANDLING_EXIT);
        EXPECT_EQ(Descriptors(), descriptors_);
        EXPECT_GT(refused_, 0);
    }
    static std::ptrdiff_t Descriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    /// Every operation of the format on these bytes; false once one misbehaves. The first one reads the file to its
    /// end: it must refuse one that is cut.
    bool Try(const std::string& bytes, const std::string& damage, bool cut = false)
    {
        for (const Operation& operation : kOperations)
        {
            const std::vector<std::string_view>& readers = GetParam().operations;
            if (std::find(readers.begin(), readers.end(), operation.name) == readers.end())
                continue;
            std::ofstream(path_, std::ios::binary | std::ios::trunc)
                .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            Bench t(folder_.Path(), nullptr, 0);
            t.a.SetWindow(1, 7, 2, 5).Form() = POLAR_AMPLITUDE;
            const Lumora before = t.a;
            const Failure failure = Catch([&] { operation.run(t); });
            refused_ += failure.code != 0;
            EXPECT_TRUE(!cut || operation.name != readers.front() || failure.code != 0);
            EXPECT_TRUE(failure.code == 0 || failure.code == ERR_FILE_OPEN || failure.code == ERR_PARAMETER ||
                        failure.code == ERR_FILE_READ)
                << failure.code << ' ' << failure.function << ' ' << failure.message;
            EXPECT_EQ(Inconsistency(t.a), nullptr);
            const bool kept = SameBits(t.a, before) && t.a.Form() == POLAR_AMPLITUDE && t.a.GetPx() == before.GetPx() &&
                              SameRect(t.a.Window(), LML_RECT(1, 5, 7, 2));
            EXPECT_TRUE(kept || failure.code == 0 || !GetParam().keepsField);
            EXPECT_LE(detail::FieldAccess::Capacity(t.a) * sizeof(Complex),
                      (std::size_t{256} << 20) + 128 * bytes.size());
            EXPECT_LE(std::filesystem::file_size(path_), whole_.size() + 1024) << "a hole was written";
            if (HasFailure())
            {
                ADD_FAILURE() << operation.name << ", " << damage;
                return false;
            }
        }
        return true;
    }

    const MemoryFolder folder_;
    std::string path_;
    std::string whole_;

private:
    std::ptrdiff_t descriptors_ = 0;
    int refused_ = 0;
};

TEST_P(DamageTest, CutAtEveryLength)
{
    for (std::size_t length = 0; length < whole_.size(); ++length)
        ASSERT_TRUE(Try(whole_.substr(0, length), "cut to " + std::to_string(length), GetParam().endsWithSamples));
}

TEST_P(DamageTest, ChangedBytesAtEveryPlace)
{
    for (const std::size_t window : {std::size_t{1}, std::size_t{4}})
        for (const char kind : {'0', '1', '+', 'm'})
            for (std::size_t at = 0; at + window <= whole_.size(); ++at)
            {
                std::string bytes = whole_;
                for (std::size_t n = at; n < at + window; ++n)
                    bytes[n] = kind == '0'   ? '\0'
                               : kind == '1' ? '\xff'
                               : kind == 'm'
                                   ? static_cast<char>(n == at + window - 1 ? 0x7f : 0xff) // the largest number
                                   : static_cast<char>(bytes[n] + 1);
                ASSERT_TRUE(Try(bytes, std::to_string(window) + " bytes (" + kind + ") at " + std::to_string(at)));
            }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamageTest, ::testing::ValuesIn(kFormats),
                         [](const auto& format) { return std::string(format.param.file); });
} // namespace
