// The byte-wise file layer under every format: a stream that closes itself, exact transfers, and packed heads.
//
// Heads: a format describes each head once, as a struct of plain members and a constexpr table of where each member
// stands in the file. Reader and writer walk that table, so they cannot disagree, and gaps or overlaps do not compile:
//
//     struct LwHead { std::int32_t samplesAt; float wavelength; ... };
//     inline constexpr auto kLwHead = MakeHead<25>(At(0, &LwHead::samplesAt), At(4, &LwHead::wavelength), ...);
//     ewrite(file, kLwHead, head, path);   eread(file, kLwHead, head, path);
//
// Nothing that is read is trusted: ask FitsInFile before a head's figure becomes an allocation, a seek or a loop.
#ifndef LML_BYTEIO_H
#define LML_BYTEIO_H

#include "base/IntMath.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>

namespace LumoraLib::detail
{
// Samples travel as they stand in memory; only heads are packed byte by byte.
static_assert(std::endian::native == std::endian::little, "bulk samples are stored little-endian");

// ---- Stream -----------------------------------------------------------------------------------------------------

/// Owns a stream and closes it on every path, also while Error throws. Move-only. Positions are 64-bit, from the
/// start of the file. On a stream open for both, a Seek must stand between a read and a write.
class File
{
public:
    File() = default;
    /// Opens like fopen; ask IsOpen. A null path does not open, nor does a directory, which fopen would open for
    /// reading.
    File(const char* path, const char* mode);
    /// Takes over an open stream; null does not open.
    explicit File(std::FILE* stream) : stream_(stream) {}
    ~File();
    File(File&& other) noexcept;
    File& operator=(File&&) = delete;

    bool IsOpen() const { return stream_ != nullptr; }
    /// The stream itself, for text; still owned here. Null when not open.
    std::FILE* Get() const { return stream_; }
    /// Gives the stream up without closing it.
    std::FILE* Release() { return std::exchange(stream_, nullptr); }

    /// Goes to an absolute position. False if it is negative or cannot be reached.
    [[nodiscard]] bool Seek(std::int64_t position);
    [[nodiscard]] bool SeekEnd();
    /// The position; negative on failure.
    [[nodiscard]] std::int64_t Tell() const;
    /// Bytes in the file, as the system knows them: what is still buffered does not count. What has no length of its
    /// own (a terminal, a pipe) counts as 0. Negative on failure.
    [[nodiscard]] std::int64_t Length() const;
    /// Hands all written bytes to the system: they reach the file before anything written later. False on failure.
    [[nodiscard]] bool Flush();

    /// Flushes and closes. False if anything written did not reach the file: a full disk often shows here first.
    [[nodiscard]] bool CloseChecked();
    /// The same, but a failure is Error(ERR_FILE_WRITE, "ewrite", path). The stream is closed in either case.
    void Close(const char* path);

private:
    std::FILE* stream_ = nullptr;
};

/// True if `bytes` bytes from `position` lie inside the file. 64-bit and checked: any values from a head may be given.
[[nodiscard]] bool FitsInFile(const File& file, std::int64_t position, std::uint64_t bytes);
/// The same for `count` records of `each` bytes.
[[nodiscard]] bool FitsInFile(const File& file, std::int64_t position, std::uint64_t count, std::uint64_t each);

// ---- Transfers --------------------------------------------------------------------------------------------------

/// Reads up to `bytes` bytes at the position, in calls of at most 64 MiB, and tells how many there were.
[[nodiscard]] std::uint64_t ReadMost(File& file, void* to, std::uint64_t bytes);
/// Moves exactly `bytes` bytes at the position, in calls of at most 64 MiB. False when short; the caller reports.
[[nodiscard]] bool ReadExact(File& file, void* to, std::uint64_t bytes);
[[nodiscard]] bool WriteExact(File& file, const void* from, std::uint64_t bytes);

/// The same; a short transfer calls fail(), which must not return normally (Error, or a format's own report).
template <class Fail>
void ReadOr(File& file, void* to, std::uint64_t bytes, Fail&& fail)
{
    if (!ReadExact(file, to, bytes))
        fail();
}
template <class Fail>
void WriteOr(File& file, const void* from, std::uint64_t bytes, Fail&& fail)
{
    if (!WriteExact(file, from, bytes))
        fail();
}

/// The same; a short read is Error(ERR_FILE_READ, "eread", path), a short write Error(ERR_FILE_WRITE, "ewrite", path).
void eread(File& file, void* to, std::uint64_t bytes, const char* path);
void ewrite(File& file, const void* from, std::uint64_t bytes, const char* path);

// ---- Numbers as little-endian bytes -----------------------------------------------------------------------------

using Byte = unsigned char;

/// The unsigned integer of the same width as T.
template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 1, std::uint8_t,
                                  std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                                     std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;

/// Writes an integer, a float or a double of 1, 2, 4 or 8 bytes, lowest byte first, at any address.
template <class T>
constexpr void Put(Byte* to, T value)
{
    static_assert(std::is_arithmetic_v<T> && sizeof(T) <= 8);
    std::uint64_t bits = std::bit_cast<BitsOf<T>>(value);
    for (std::size_t n = 0; n < sizeof(T); ++n, bits >>= 8)
        to[n] = static_cast<Byte>(bits & 0xff);
}

/// Reads what Put wrote. Every bit pattern is a value; a not-a-number keeps its bits.
template <class T>
[[nodiscard]] constexpr T Get(const Byte* from)
{
    static_assert(std::is_arithmetic_v<T> && sizeof(T) <= 8);
    std::uint64_t bits = 0;
    for (std::size_t n = sizeof(T); n-- > 0;)
        bits = bits << 8 | from[n];
    return std::bit_cast<T>(static_cast<BitsOf<T>>(bits));
}

// ---- Heads ------------------------------------------------------------------------------------------------------

/// Width in the file and conversion of one member: a number, or a std::array of numbers (letters, vectors).
template <class T>
struct HeadType
{
    static constexpr std::size_t width = sizeof(T);
    static constexpr void Pack(Byte* to, const T& value) { Put(to, value); }
    static constexpr void Unpack(const Byte* from, T& value) { value = Get<T>(from); }
};
template <class T, std::size_t N>
struct HeadType<std::array<T, N>>
{
    static constexpr std::size_t width = N * sizeof(T);
    static constexpr void Pack(Byte* to, const std::array<T, N>& value)
    {
        for (std::size_t n = 0; n < N; ++n)
            Put(to + n * sizeof(T), value[n]);
    }
    static constexpr void Unpack(const Byte* from, std::array<T, N>& value)
    {
        for (std::size_t n = 0; n < N; ++n)
            value[n] = Get<T>(from + n * sizeof(T));
    }
};

/// A member of a head and its offset in the file, from the start of the head.
template <class Head, class T>
struct HeadItem
{
    std::size_t offset;
    T Head::*member;

    static constexpr std::size_t width = HeadType<T>::width;
    constexpr std::size_t End() const { return offset + width; }
    constexpr void Pack(Byte* head, const Head& from) const { HeadType<T>::Pack(head + offset, from.*member); }
    constexpr void Unpack(const Byte* head, Head& to) const { HeadType<T>::Unpack(head + offset, to.*member); }
};
template <class Head, class T>
constexpr HeadItem<Head, T> At(std::size_t offset, T Head::*member)
{
    return {offset, member};
}

/// Bytes without a member: written as zeros, not looked at when read.
struct HeadGap
{
    std::size_t offset;
    std::size_t bytes;

    constexpr std::size_t End() const { return offset + bytes; }
    template <class Head>
    constexpr void Pack(Byte* head, const Head&) const
    {
        for (std::size_t n = offset; n < End(); ++n)
            head[n] = 0;
    }
    template <class Head>
    constexpr void Unpack(const Byte*, Head&) const
    {
    }
};
constexpr HeadGap Reserved(std::size_t offset, std::size_t bytes)
{
    return {offset, bytes};
}

/// A head of Bytes bytes.
template <std::size_t Bytes, class... Item>
struct HeadTable
{
    static constexpr std::size_t bytes = Bytes;
    using Raw = std::array<Byte, Bytes>;

    std::tuple<Item...> items;
};

/// Makes a table for a constexpr variable. Items that leave a gap, overlap or miss the size do not compile.
template <std::size_t Bytes, class... Item>
constexpr HeadTable<Bytes, Item...> MakeHead(Item... item)
{
    std::size_t end = 0;
    const auto check = [&end](const auto& next)
    {
        if (next.offset != end)
            throw std::logic_error("head items must follow each other without a gap");
        end = next.End();
    };
    (check(item), ...);
    if (end != Bytes)
        throw std::logic_error("head items must fill the head");
    return {{item...}};
}

/// Head to bytes and back, in memory: for a reader that must check a word before it reads on.
template <std::size_t Bytes, class... Item, class Head>
constexpr void PackHead(const HeadTable<Bytes, Item...>& table, const Head& head, Byte* to)
{
    std::apply([&](const auto&... item) { (item.Pack(to, head), ...); }, table.items);
}
template <std::size_t Bytes, class... Item, class Head>
constexpr void UnpackHead(const HeadTable<Bytes, Item...>& table, const Byte* from, Head& head)
{
    std::apply([&](const auto&... item) { (item.Unpack(from, head), ...); }, table.items);
}

/// One transfer of the whole head at the position, with the errors of eread and ewrite. A short read leaves `head` as
/// it was.
template <std::size_t Bytes, class... Item, class Head>
void eread(File& file, const HeadTable<Bytes, Item...>& table, Head& head, const char* path)
{
    std::array<Byte, Bytes> raw;
    eread(file, raw.data(), Bytes, path);
    UnpackHead(table, raw.data(), head);
}
template <std::size_t Bytes, class... Item, class Head>
void ewrite(File& file, const HeadTable<Bytes, Item...>& table, const Head& head, const char* path)
{
    std::array<Byte, Bytes> raw;
    PackHead(table, head, raw.data());
    ewrite(file, raw.data(), Bytes, path);
}
} // namespace LumoraLib::detail

#endif
