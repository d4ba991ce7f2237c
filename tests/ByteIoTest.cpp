// The file layer: heads byte by byte, exact and chunked transfers, 64-bit positions, bounds, and closing on every path.

#include "files/ByteIo.h"
#include "TestTools.h"

#include <filesystem>
#include <limits>
#include <memory>

using namespace lmltest;
using namespace LumoraLib::detail;

namespace
{
struct TestHead
{
    std::array<char, 2> letters{};
    std::int32_t samplesAt = 0;
    float wavelength = 0.0F;
    std::uint16_t kind = 0;
    std::int64_t position = 0;
    std::array<double, 2> point{};
    std::uint8_t option = 0;
};
constexpr auto kTestHead = MakeHead<42>(
    At(0, &TestHead::letters), At(2, &TestHead::samplesAt), At(6, &TestHead::wavelength), At(10, &TestHead::kind),
    At(12, &TestHead::position), Reserved(20, 5), At(25, &TestHead::point), At(41, &TestHead::option));

const TestHead kHead = {{'L', 'W'}, -2, 1.5F, 0xC001, 0x0102030405060708, {1.0, -2.0}, 255};
const std::string kHeadBytes("LW"
                             "\xfe\xff\xff\xff"
                             "\x00\x00\xc0\x3f"
                             "\x01\xc0"
                             "\x08\x07\x06\x05\x04\x03\x02\x01"
                             "\x00\x00\x00\x00\x00"
                             "\x00\x00\x00\x00\x00\x00\xf0\x3f"
                             "\x00\x00\x00\x00\x00\x00\x00\xc0"
                             "\xff",
                             42);

std::ptrdiff_t OpenDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
} // namespace

TEST(HeadTest, TableGivesTheBytesAndReadsThemBack)
{
    const ScratchFile scratch("head");
    File out(scratch.Path(), "w+b");
    ewrite(out, kTestHead, kHead, scratch.Path());
    out.Close(scratch.Path());
    EXPECT_EQ(scratch.Read(), kHeadBytes);

    std::string dirty = kHeadBytes;
    dirty.replace(20, 5, "\x01\x02\x03\x04\x05"); // reserved bytes of another writer
    scratch.Write(dirty + dirty.substr(0, 41));
    File file(scratch.Path(), "rb");
    TestHead head;
    eread(file, kTestHead, head, scratch.Path());
    EXPECT_EQ(head.letters, kHead.letters);
    EXPECT_EQ(head.samplesAt, kHead.samplesAt);
    EXPECT_EQ(head.wavelength, kHead.wavelength);
    EXPECT_EQ(head.kind, kHead.kind);
    EXPECT_EQ(head.position, kHead.position);
    EXPECT_EQ(head.point, kHead.point);
    EXPECT_EQ(head.option, kHead.option);
    head.samplesAt = 77;
    EXPECT_EQ(Catch([&] { eread(file, kTestHead, head, "p"); }), (Failure{5, "eread", "p"})) << "one byte short";
    EXPECT_EQ(head.samplesAt, 77);
}

TEST(HeadTest, TableWithAGapAnOverlapOrAWrongSizeIsRefused)
{
    EXPECT_NO_THROW((void)MakeHead<4>(At(0, &TestHead::letters), At(2, &TestHead::kind)));
    EXPECT_THROW((void)MakeHead<5>(At(0, &TestHead::letters), At(3, &TestHead::kind)), std::logic_error);
    EXPECT_THROW((void)MakeHead<3>(At(0, &TestHead::letters), At(1, &TestHead::kind)), std::logic_error);
    EXPECT_THROW((void)MakeHead<6>(At(0, &TestHead::letters), At(2, &TestHead::kind)), std::logic_error);
}

TEST(TransferTest, FullDiskShowsInTheTransferOrAtTheLatestInTheClose)
{
    const std::vector<Byte> bytes(1 << 20);
    const Failure shortWrite{4, "ewrite", "/dev/full"};
    File large("/dev/full", "wb");
    EXPECT_EQ(Catch([&] { ewrite(large, bytes.data(), bytes.size(), "/dev/full"); }), shortWrite);
    File small("/dev/full", "wb");
    EXPECT_TRUE(WriteExact(small, bytes.data(), 8)) << "the stream's buffer takes it";
    EXPECT_FALSE(small.Flush());
    EXPECT_EQ(Catch([&] { small.Close("/dev/full"); }), shortWrite);
    EXPECT_FALSE(small.IsOpen()) << "closed all the same";
    small.Close("/dev/full"); // on a closed one: nothing
}

TEST(PositionTest, LargeFileIsReadWholeAndPositionsAre64Bit)
{
    const ScratchFile scratch("large");
    constexpr std::int64_t far = (std::int64_t{5} << 30) + 1;
    constexpr std::size_t two = 0x4000000 + 5; // a transfer of two calls
    {
        File file(scratch.Path(), "w+b");
        for (std::int64_t end : {std::int64_t{0x4000000}, std::int64_t{two}, far + 8})
        {
            ASSERT_TRUE(file.Seek(end - 4));
            ewrite(file, "tail", 4, scratch.Path());
        }
        EXPECT_EQ(file.Tell(), far + 8);
        file.Close(scratch.Path());
    }
    File file(scratch.Path(), "rb");
    const std::unique_ptr<char[]> bytes(new char[two]);
    eread(file, bytes.get(), two, scratch.Path());
    EXPECT_EQ(std::string(bytes.get() + 0x4000000 - 4, 9), std::string("tail\0tail", 9)) << "ends of both calls";
    ASSERT_TRUE(file.Seek(far + 4));
    char tail[4];
    eread(file, tail, 4, scratch.Path());
    EXPECT_EQ(std::string(tail, 4), "tail");
    EXPECT_EQ(file.Length(), far + 8);
    ASSERT_TRUE(file.SeekEnd());
    EXPECT_EQ(file.Tell(), far + 8);
    for (std::int64_t bad : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()})
        EXPECT_FALSE(file.Seek(bad));
}

TEST(PositionTest, BoundsHoldForAnyFiguresOfAHead)
{
    const ScratchFile scratch("bounds");
    scratch.Write(std::string(100, 'x'));
    File file(scratch.Path(), "rb");
    ASSERT_TRUE(file.Seek(60));
    constexpr std::int64_t i = std::numeric_limits<std::int64_t>::max();
    constexpr std::uint64_t u = std::numeric_limits<std::uint64_t>::max();
    struct
    {
        std::int64_t position;
        std::uint64_t count;
        std::uint64_t each;
        bool fits;
    } const cases[] = {
        {0, 100, 1, true},        {0, 101, 1, false},     {0, 0, 8, true},  {100, 0, 8, true}, {101, 0, 8, false},
        {4, 12, 8, true},         {5, 12, 8, false},      {99, 1, 1, true}, {-1, 1, 1, false}, {-i - 1, 0, 0, false},
        {i, 0, 0, false},         {i, u, 1, false},       {1, u, 1, false}, {0, u, u, false},  {0, u / 8 + 1, 8, false},
        {2, u / 2 + 1, 2, false}, {50, u - 49, 1, false},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(FitsInFile(file, c.position, c.count, c.each), c.fits)
            << c.position << " " << c.count << " " << c.each;
    }
    EXPECT_EQ(file.Tell(), 60) << "the question keeps the position";
}

TEST(PositionTest, WhatHasNoBytesHoldsNoneAndAFolderDoesNotOpen)
{
    for (const char* path : {"/dev/zero", "/dev/null"})
    {
        File file(path, "rb");
        ASSERT_TRUE(file.IsOpen()) << path;
        EXPECT_EQ(file.Length(), 0) << path;
        EXPECT_FALSE(FitsInFile(file, 0, 1)) << path;
    }
    const std::ptrdiff_t before = OpenDescriptors();
    EXPECT_FALSE(File("/tmp", "rb").IsOpen());
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(FileTest, ClosedFileFailsInEveryQuestion)
{
    File missing("/nowhere/at/all", "rb");
    File unnamed(nullptr, "rb");
    File none;
    for (File* file : {&missing, &unnamed, &none})
    {
        char c = 0;
        EXPECT_FALSE(file->IsOpen());
        EXPECT_EQ(file->Get(), nullptr);
        EXPECT_FALSE(file->Seek(0) || file->SeekEnd() || file->Flush() || ReadExact(*file, &c, 1) ||
                     WriteExact(*file, &c, 1) || FitsInFile(*file, 0, 0));
        EXPECT_LT(file->Tell(), 0);
        EXPECT_LT(file->Length(), 0);
        EXPECT_TRUE(file->CloseChecked());
    }
}
