// A segmented LM file as one grid: heads, the place of every segment, and rectangles of samples across segments.
#ifndef LML_SEGMENTEDFILE_H
#define LML_SEGMENTEDFILE_H

#include "LmlLarge.h"
#include "large/BlockFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LumoraLib::detail
{
/// Sizes of a whole field and of its segments.
struct SegmentGrid
{
    int segmentsX = 0;
    int segmentsY = 0;
    std::int32_t nx = 0; ///< of a segment
    std::int32_t ny = 0;

    std::int64_t Nx() const { return std::int64_t{segmentsX} * nx; }
    std::int64_t Ny() const { return std::int64_t{segmentsY} * ny; }
    std::int64_t SegmentBytes() const { return std::int64_t{nx} * ny * static_cast<std::int64_t>(sizeof(Complex)); }
    bool operator==(const SegmentGrid& o) const
    {
        return segmentsX == o.segmentsX && segmentsY == o.segmentsY && nx == o.nx && ny == o.ny;
    }
};

class SegmentedFile
{
public:
    /// Opens and checks everything before a sample is read: heads, and that the file holds every segment of its table.
    /// Errors: codes 2, 3 and 5 as SegmentedField, with the name of the operation.
    SegmentedFile(const char* path, BlockFile::Access access, const char* function);
    enum Start
    {
        Fresh,  ///< makes a file without segments
        TakeUp, ///< keeps the samples of one that was made so and not shown yet
        Join    ///< writes into one that another process makes, which alone reserves room and shows segments
    };
    /// A file with the parameters of `common`. Errors: codes 2, 3, 4.
    SegmentedFile(const char* path, const SegmentGrid& grid, const Lumora& common, const char* function,
                  Start start = Fresh);

    const SegmentGrid& Grid() const { return grid_; }
    /// A field without samples that has the parameters of the whole.
    const Lumora& Common() const { return common_; }
    const std::string& Path() const { return path_; }
    bool Writes() const { return writes_; }
    bool Has(int ix, int iy) const { return entries_[Number(ix, iy)] != 0; }
    int CountMissing() const;
    Vector SegmentOrigin(int ix, int iy) const;
    BlockFile& File() { return file_; }
    const BlockFile& File() const { return file_; }

    /// Samples of a rectangle inside the field; missing segments are zeros. False on a short transfer. From any thread.
    [[nodiscard]] bool ReadSamples(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny, Complex* to,
                                   std::size_t stride);
    /// The segments written to must be there: Prepare.
    [[nodiscard]] bool WriteSamples(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny,
                                    const Complex* from, std::size_t stride);
    /// The bytes of whole rows, a piece for each segment that they touch. The segments must be there.
    std::vector<FilePiece> PiecesOf(std::int64_t y, std::int64_t ny);
    /// Gives the segments that a rectangle touches a place at the end of the file, zeros so far, which only the object
    /// knows of until Show(). Errors: code 4.
    void Prepare(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny);
    /// Writes the table's entries of the segments that have got a place.
    void Show();

private:
    std::size_t Number(int ix, int iy) const
    {
        return static_cast<std::size_t>(iy) * static_cast<std::size_t>(grid_.segmentsX) + static_cast<std::size_t>(ix);
    }
    void ReadHeads();
    void CheckEntries();
    void TakeParameters(const struct DataHead& head);
    void WriteHeads();
    [[noreturn]] void Fail(ErrorCode code) const;
    /// Calls move(position in the file, column and row within the rectangle, columns, rows) for the part of every
    /// segment that the rectangle has; position 0: the segment is not there. Stops where a call gives false.
    template <class Move>
    bool ForEachPart(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny, const Move& move);

    std::string path_;
    const char* function_;
    bool writes_;
    bool joined_ = false;
    BlockFile file_;
    SegmentGrid grid_;
    Lumora common_;
    std::vector<std::int64_t> entries_; ///< positions of the segments; 0: not there
    std::int64_t end_ = 0;              ///< where the next segment goes
    std::vector<std::size_t> fresh_;    ///< numbers of those that the table does not show yet
};
} // namespace LumoraLib::detail

#endif
