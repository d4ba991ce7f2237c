// Files of large fields: positioned transfers of blocks and of rows that lie apart in memory, by 64-bit positions.
#ifndef LML_BLOCKFILE_H
#define LML_BLOCKFILE_H

#include "LmlTypes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

/// Bytes of a file that lie side by side.
struct FilePiece
{
    std::int64_t at = 0; ///< position
    std::uint64_t bytes = 0;
};

namespace LumoraLib::detail
{
/// A file by its descriptor. No call uses a position of the file's own, so that several threads may use one object.
class BlockFile
{
public:
    enum Access
    {
        Read,
        Update, ///< reads and writes a file that is there
        Create, ///< empties a file that is there
        Keep    ///< creates, or keeps what is there
    };

    BlockFile() = default;
    /// Ask IsOpen: a null path does not open, nor does what is no regular file.
    BlockFile(const char* path, Access access);
    ~BlockFile();
    BlockFile(BlockFile&& other) noexcept;
    BlockFile& operator=(BlockFile&& other) noexcept;

    bool IsOpen() const { return descriptor_ >= 0; }
    /// Bytes of the file; negative on failure.
    [[nodiscard]] std::int64_t Length() const;
    /// Exactly so many bytes at a position. False when short.
    [[nodiscard]] bool ReadAt(std::int64_t position, void* to, std::uint64_t bytes);
    [[nodiscard]] bool WriteAt(std::int64_t position, const void* from, std::uint64_t bytes);
    /// Rows that follow each other in the file and lie `stride` samples apart in memory.
    [[nodiscard]] bool ReadRows(std::int64_t position, Complex* to, std::size_t stride, std::size_t width,
                                std::size_t rows);
    [[nodiscard]] bool WriteRows(std::int64_t position, const Complex* from, std::size_t stride, std::size_t width,
                                 std::size_t rows);
    /// Makes the file so long, with room on the disk for all of it; what is new reads as zeros.
    [[nodiscard]] bool Reserve(std::int64_t bytes);
    /// Tells the system that the file is read from one end to the other.
    void Sequential();
    /// Brings everything to the disk.
    [[nodiscard]] bool Sync();
    /// Closes; false where something written did not reach the file.
    [[nodiscard]] bool Close();

    std::uint64_t BytesRead() const { return read_.load(std::memory_order_relaxed); }
    std::uint64_t BytesWritten() const { return written_.load(std::memory_order_relaxed); }

private:
    int descriptor_ = -1;
    std::atomic<std::uint64_t> read_{0};
    std::atomic<std::uint64_t> written_{0};
};
} // namespace LumoraLib::detail

#endif
