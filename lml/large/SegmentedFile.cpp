// A segmented LM file as one grid: heads, the place of every segment, and rectangles of samples across segments.
#include "large/SegmentedFile.h"

#include "base/Constants.h"
#include "base/Describe.h"
#include "field/FieldTools.h"
#include "files/LmHeads.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
constexpr std::int32_t kLongestSide = std::int32_t{1} << 30; // of a grid
constexpr int kMostSegments = kCountMask;

template <class Table, class Head>
bool ReadHead(BlockFile& file, const Table& table, Head& head, std::int64_t position)
{
    typename Table::Raw raw;
    if (position < 0 || !file.ReadAt(position, raw.data(), raw.size()))
        return false;
    UnpackHead(table, raw.data(), head);
    return true;
}

template <class Table, class Head>
bool WriteHead(BlockFile& file, const Table& table, const Head& head, std::int64_t position)
{
    typename Table::Raw raw;
    PackHead(table, head, raw.data());
    return file.WriteAt(position, raw.data(), raw.size());
}

bool WriteEntry(BlockFile& file, std::size_t number, std::int64_t position)
{
    Byte raw[sizeof position];
    detail::Put(raw, position);
    return file.WriteAt(kSegmentTableAt + 8 * static_cast<std::int64_t>(number), raw, sizeof raw);
}

/// Sizes whose samples, all of them, have positions in a file (2^62 bytes): no product of theirs overflows.
bool HasPositions(const SegmentGrid& grid)
{
    const std::int64_t count = std::int64_t{grid.segmentsX} * grid.segmentsY;
    return grid.nx >= 1 && grid.ny >= 1 && grid.nx <= kLongestSide && grid.ny <= kLongestSide && count >= 1 &&
           std::int64_t{grid.nx} * grid.ny <= (std::int64_t{1} << 59) / count;
}

std::int64_t RecordAt(const SegmentGrid& grid)
{
    return kSegmentTableAt + 8 * std::int64_t{grid.segmentsX} * grid.segmentsY;
}
} // namespace

SegmentedFile::SegmentedFile(const char* path, BlockFile::Access access, const char* function)
    : path_(path == nullptr ? "" : path), function_(function), writes_(access != BlockFile::Read), file_(path, access),
      common_(0, 0)
{
    if (!file_.IsOpen())
        Fail(ERR_FILE_OPEN);
    ReadHeads();
    CheckEntries();
}

SegmentedFile::SegmentedFile(const char* path, const SegmentGrid& grid, const Lumora& common, const char* function,
                             Start start)
    : path_(path == nullptr ? "" : path), function_(function), writes_(true), joined_(start == Join), grid_(grid),
      common_(0, 0)
{
    if (!HasPositions(grid) || std::int64_t{grid.segmentsX} * grid.segmentsY > kMostSegments)
        Error(ERR_PARAMETER, function_,
              Explained("no such sizes of segments", "%d by %d segments of %d by %d samples; 1 to %d segments fit.",
                        grid.segmentsX, grid.segmentsY, grid.nx, grid.ny, kMostSegments));
    FieldAccess::SetForm(common_, FieldAccess::Form(common) & kSpectrumBit);
    common_.SetWavelength(common.GetWavelength()).SetPx(common.GetPx()).SetPy(common.GetPy());
    common_.SetOrigin(common.GetOrigin());
    common_.SetNormalVector(common.GetNormalVector());
    entries_.assign(static_cast<std::size_t>(grid.segmentsX) * static_cast<std::size_t>(grid.segmentsY), 0);
    constexpr BlockFile::Access kHow[] = {BlockFile::Create, BlockFile::Keep, BlockFile::Update};
    file_ = BlockFile(path, kHow[start]);
    if (!file_.IsOpen())
        Fail(ERR_FILE_OPEN);
    end_ = RecordAt(grid_) + static_cast<std::int64_t>(kSegmentRecord.bytes) + kHeadsBytes;
    if (!joined_)
        WriteHeads();
}

void SegmentedFile::Fail(ErrorCode code) const
{
    Error(code, function_, path_.c_str());
}

void SegmentedFile::ReadHeads()
{
    Byte first[kSegmentTableAt];
    if (!file_.ReadAt(0, first, sizeof first))
        Fail(ERR_FILE_READ);
    const std::uint16_t word = detail::Get<std::uint16_t>(first + kTypeAt);
    SegmentRecord record{};
    if (first[0] != 'L' || first[1] != 'M' || (word & kPartsBit) == 0 || (word & kSegmentsBit) == 0)
        Fail(ERR_FILE_OPEN);
    if (!ReadHead(file_, kSegmentRecord, record, detail::Get<std::int64_t>(first + kSegmentRecordAt)))
        Fail(ERR_FILE_READ);
    if (record.type != kSegmentRecordType)
        Fail(ERR_FILE_OPEN);
    const int count = int{record.nx} * record.ny;
    DataHead head{};
    if (count < 1 || count != (word & kCountMask) || !ReadHead(file_, kDataHead, head, record.commonHead) ||
        head.form > 3 || head.nx < 0 || head.ny < 0 || head.nx > kLongestSide || head.ny > kLongestSide)
        Fail(ERR_FILE_READ);
    if (head.nx == 0 || head.ny == 0)
        Error(ERR_PARAMETER, function_, "no segment has been saved into the file yet: its sizes are unknown");
    grid_ = {record.nx, record.ny, head.nx, head.ny};
    if (!HasPositions(grid_))
        Fail(ERR_FILE_READ);
    TakeParameters(head);
}

void SegmentedFile::TakeParameters(const DataHead& head)
{
    FieldAccess::SetForm(common_, head.form & kSpectrumBit);
    common_.SetWavelength(head.wavelength).SetPx(head.px).SetPy(head.py);
    if (head.positionHead == 0)
        return;
    PositionHead place{};
    if (!ReadHead(file_, kPositionHead, place, head.positionHead) || place.type != kPositionHeadType)
        Fail(ERR_FILE_READ);
    common_.SetOrigin(Vector(place.origin[0], place.origin[1], place.origin[2]));
    common_.SetNormalVector(Vector(place.normal[0], place.normal[1], place.normal[2]));
}

void SegmentedFile::CheckEntries()
{
    const std::size_t count = static_cast<std::size_t>(grid_.segmentsX) * static_cast<std::size_t>(grid_.segmentsY);
    std::vector<Byte> raw(8 * count);
    if (!file_.ReadAt(kSegmentTableAt, raw.data(), raw.size()))
        Fail(ERR_FILE_READ);
    // Behind everything that is there: a save that was cut short may have left bytes that nothing points at.
    end_ = file_.Length();
    const std::int64_t length = end_;
    entries_.resize(count);
    for (std::size_t n = 0; n < count; ++n)
    {
        entries_[n] = detail::Get<std::int64_t>(raw.data() + 8 * n);
        if (entries_[n] != 0 && (entries_[n] < RecordAt(grid_) || entries_[n] > length - grid_.SegmentBytes()))
            Fail(ERR_FILE_READ);
    }
}

void SegmentedFile::WriteHeads()
{
    const std::int64_t recordAt = RecordAt(grid_);
    const std::int64_t headAt = recordAt + static_cast<std::int64_t>(kSegmentRecord.bytes);
    std::vector<Byte> start(static_cast<std::size_t>(recordAt));
    start[0] = 'L';
    start[1] = 'M';
    detail::Put(start.data() + kTypeAt, static_cast<std::uint16_t>(kPartsBit | kSegmentsBit | entries_.size()));
    detail::Put(start.data() + kSegmentRecordAt, recordAt);
    const SegmentRecord record = {kSegmentRecordType, headAt, static_cast<std::uint16_t>(grid_.segmentsX),
                                  static_cast<std::uint16_t>(grid_.segmentsY)};
    const DataHead head = DataHeadOf(common_, headAt, grid_.nx, grid_.ny);
    const PositionHead place = PositionHeadOf(common_);
    if (!file_.WriteAt(0, start.data(), start.size()) || !WriteHead(file_, kSegmentRecord, record, recordAt) ||
        !WriteHead(file_, kDataHead, head, headAt) || !WriteHead(file_, kPositionHead, place, head.positionHead))
        Fail(ERR_FILE_WRITE);
}

int SegmentedFile::CountMissing() const
{
    return static_cast<int>(std::count(entries_.begin(), entries_.end(), 0));
}

Vector SegmentedFile::SegmentOrigin(int ix, int iy) const
{
    // As LoadSegLm places them.
    const Vector origin = common_.GetOrigin();
    return Vector(origin.x + grid_.nx * common_.GetPx() * (ix - (grid_.segmentsX - 1.0) / 2.0),
                  origin.y + grid_.ny * common_.GetPy() * (iy - (grid_.segmentsY - 1.0) / 2.0), origin.z);
}

template <class Move>
bool SegmentedFile::ForEachPart(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny, const Move& move)
{
    if (nx <= 0 || ny <= 0)
        return true;
    for (std::int64_t iy = y / grid_.ny; iy <= (y + ny - 1) / grid_.ny; ++iy)
        for (std::int64_t ix = x / grid_.nx; ix <= (x + nx - 1) / grid_.nx; ++ix)
        {
            const std::int64_t left = std::max(x, ix * grid_.nx), right = std::min(x + nx, (ix + 1) * grid_.nx);
            const std::int64_t low = std::max(y, iy * grid_.ny), high = std::min(y + ny, (iy + 1) * grid_.ny);
            const std::size_t number = Number(static_cast<int>(ix), static_cast<int>(iy));
            const std::int64_t inside = (low - iy * grid_.ny) * grid_.nx + (left - ix * grid_.nx);
            const std::int64_t at = entries_[number] == 0 ? 0 : entries_[number] + 8 * inside;
            if (!move(number, at, left - x, low - y, static_cast<std::size_t>(right - left),
                      static_cast<std::size_t>(high - low)))
                return false;
        }
    return true;
}

bool SegmentedFile::ReadSamples(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny, Complex* to,
                                std::size_t stride)
{
    return ForEachPart(
        x, y, nx, ny,
        [&](std::size_t, std::int64_t at, std::int64_t i, std::int64_t j, std::size_t columns, std::size_t rows)
        {
            Complex* const first = to + static_cast<std::size_t>(j) * stride + i;
            const std::int64_t step = std::int64_t{grid_.nx} * 8;
            for (std::size_t r = 0; at == 0 && r < rows; ++r)
                std::fill_n(first + r * stride, columns, Complex());
            if (at == 0)
                return true;
            if (columns == static_cast<std::size_t>(grid_.nx))
                return file_.ReadRows(at, first, stride, columns, rows);
            for (std::size_t r = 0; r < rows; ++r)
                if (!file_.ReadAt(at + static_cast<std::int64_t>(r) * step, first + r * stride, 8 * columns))
                    return false;
            return true;
        });
}

bool SegmentedFile::WriteSamples(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny, const Complex* from,
                                 std::size_t stride)
{
    return ForEachPart(
        x, y, nx, ny,
        [&](std::size_t, std::int64_t at, std::int64_t i, std::int64_t j, std::size_t columns, std::size_t rows)
        {
            const Complex* const first = from + static_cast<std::size_t>(j) * stride + i;
            const std::int64_t step = std::int64_t{grid_.nx} * 8;
            if (at == 0)
                return false;
            if (columns == static_cast<std::size_t>(grid_.nx))
                return file_.WriteRows(at, first, stride, columns, rows);
            for (std::size_t r = 0; r < rows; ++r)
                if (!file_.WriteAt(at + static_cast<std::int64_t>(r) * step, first + r * stride, 8 * columns))
                    return false;
            return true;
        });
}

std::vector<FilePiece> SegmentedFile::PiecesOf(std::int64_t y, std::int64_t ny)
{
    std::vector<FilePiece> pieces;
    static_cast<void>(
        ForEachPart(0, y, grid_.Nx(), ny,
                    [&](std::size_t, std::int64_t at, std::int64_t, std::int64_t, std::size_t columns, std::size_t rows)
                    {
                        pieces.push_back({at, std::uint64_t{columns} * rows * sizeof(Complex)});
                        return true;
                    }));
    return pieces;
}

void SegmentedFile::Prepare(std::int64_t x, std::int64_t y, std::int64_t nx, std::int64_t ny)
{
    std::vector<std::size_t> wanted;
    static_cast<void>(ForEachPart(x, y, nx, ny,
                                  [&](std::size_t number, std::int64_t at, auto...)
                                  {
                                      if (at == 0)
                                          wanted.push_back(number);
                                      return true;
                                  }));
    if (wanted.empty())
        return;
    fresh_.reserve(fresh_.size() + wanted.size());
    if (!joined_ && !file_.Reserve(end_ + static_cast<std::int64_t>(wanted.size()) * grid_.SegmentBytes()))
        Fail(ERR_FILE_WRITE);
    for (const std::size_t number : wanted)
    {
        entries_[number] = end_;
        fresh_.push_back(number);
        end_ += grid_.SegmentBytes();
    }
}

void SegmentedFile::Show()
{
    for (const std::size_t number : fresh_)
        if (!joined_ && !WriteEntry(file_, number, entries_[number]))
            Fail(ERR_FILE_WRITE);
    fresh_.clear();
}
} // namespace LumoraLib::detail
