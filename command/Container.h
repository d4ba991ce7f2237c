// What stands in an LM container: single fields, parts and segments, without loading more samples than asked for.
#ifndef LMLCOMMAND_CONTAINER_H
#define LMLCOMMAND_CONTAINER_H

#include <LmlLumora.h>

#include <cstdint>
#include <functional>
#include <string>

namespace command
{
enum class LmKind
{
    Single,
    Parts,
    Segments
};

/// A container's head. Sizes are those of the file, not raised to powers of two.
struct LmHead
{
    LmKind kind = LmKind::Single;
    int parts = 0;
    int segmentsX = 0;
    int segmentsY = 0;
    int missing = 0; // segments that were never written
    /// Parameters of the single field, or of one segment with the whole grid's origin. Of parts: not set.
    LumoraLib::Lumora parameters{1, 1};

    std::int64_t WholeX() const { return std::int64_t{parameters.GetNx()} * segmentsX; }
    std::int64_t WholeY() const { return std::int64_t{parameters.GetNy()} * segmentsY; }
};
LmHead ReadLmHead(const std::string& path);

/// One part, or one segment with its own place. Failure when it was never written.
LumoraLib::Lumora LoadPart(const std::string& path, int index);
LumoraLib::Lumora LoadSegment(const std::string& path, const LmHead& head, int ix, int iy);

/// Calls use(segment, column, row) for every segment that was written, one in memory at a time; its window is what the
/// file holds of it, and sample (0, 0) stands in this column and row of the whole grid.
void ForEachSegment(const std::string& path, const LmHead& head,
                    const std::function<void(const LumoraLib::Lumora&, std::int64_t, std::int64_t)>& use);

/// The whole of a segmented file as one field, zeros where segments are missing and where the grid was raised to powers
/// of two; the window is the whole of the file.
LumoraLib::Lumora LoadWhole(const std::string& path, const LmHead& head);

/// The whole of a segmented file at a size of at most `maxSide` samples a side: the root of the mean intensity of each
/// block with the phase of its mean amplitude. Memory: a segment and the preview.
LumoraLib::Lumora LoadPreview(const std::string& path, const LmHead& head, int maxSide);

/// From the centre of the whole grid to that of segment (ix, iy) of nx by ny, each of this field's size.
LumoraLib::Vector SegmentDisplacement(const LumoraLib::Lumora& segment, int ix, int iy, int nx, int ny);

/// The field as a segmented file of nx by ny segments at `path`, which is emptied.
void SaveSegments(const LumoraLib::Lumora& field, const std::string& path, int nx, int ny);
} // namespace command

#endif
