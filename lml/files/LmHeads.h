// The heads of LM containers: what stands where in single, multi-part and segmented files.
#ifndef LML_LMHEADS_H
#define LML_LMHEADS_H

#include "LmlLumora.h"
#include "files/ByteIo.h"

#include <array>
#include <cstdint>

namespace LumoraLib::detail
{
inline constexpr std::uint16_t kPositionHeadType = 4;
inline constexpr std::uint16_t kSegmentRecordType = 5;
inline constexpr std::uint16_t kPartsBit = 0x8000;
inline constexpr std::uint16_t kSegmentsBit = 0x4000;
inline constexpr std::uint16_t kCountMask = 0x3FFF;
inline constexpr std::int64_t kTypeAt = 2; // type word of a multi-part or segmented file, data head of a single one
inline constexpr std::int64_t kPartTableAt = 4; // index table of a multi-part file
inline constexpr std::int64_t kSegmentRecordAt =
    4; // where a segmented file keeps the position of its segmentation record
inline constexpr std::int64_t kSegmentTableAt = 12; // index table of a segmented file

struct DataHead
{
    std::uint16_t form;
    std::int64_t positionHead;
    std::int64_t samples;
    double wavelength;
    std::int32_t nx;
    std::int32_t ny;
    double px;
    double py;
};
inline constexpr auto kDataHead = MakeHead<50>(
    At(0, &DataHead::form), At(2, &DataHead::positionHead), At(10, &DataHead::samples), At(18, &DataHead::wavelength),
    At(26, &DataHead::nx), At(30, &DataHead::ny), At(34, &DataHead::px), At(42, &DataHead::py));

struct PositionHead
{
    std::uint16_t type;
    std::array<double, 3> origin;
    std::array<double, 3> normal;
    std::array<double, 3> unitX;
};
inline constexpr auto kPositionHead =
    MakeHead<82>(At(0, &PositionHead::type), Reserved(2, 8), At(10, &PositionHead::origin),
                 At(34, &PositionHead::normal), At(58, &PositionHead::unitX));

struct SegmentRecord
{
    std::uint16_t type;
    std::int64_t commonHead;
    std::uint16_t nx;
    std::uint16_t ny;
};
inline constexpr auto kSegmentRecord = MakeHead<14>(At(0, &SegmentRecord::type), At(2, &SegmentRecord::commonHead),
                                                    At(10, &SegmentRecord::nx), At(12, &SegmentRecord::ny));

inline constexpr std::int64_t kHeadsBytes = kDataHead.bytes + kPositionHead.bytes;

/// What the heads say of a field: both stand at the position `at`, the samples behind them, nx by ny of them.
DataHead DataHeadOf(const Lumora& field, std::int64_t at, std::int32_t nx, std::int32_t ny);
PositionHead PositionHeadOf(const Lumora& field);
} // namespace LumoraLib::detail

#endif
