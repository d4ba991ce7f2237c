// An operation from file to file: files opened and checked, the choice between memory and sweeps, scratch, journal, and
// the destination that takes its name last.
#ifndef LML_LARGERUN_H
#define LML_LARGERUN_H

#include "large/NewFile.h"
#include "large/Sweeps.h"

#include <cstdint>
#include <memory>
#include <string>

namespace LumoraLib::detail
{
/// Where a file's field lies in the grid of an operation: raised to powers of two, then enlarged, centred both times.
struct GridPlace
{
    GridPlace(const SegmentGrid& own, std::int32_t raisedX, std::int32_t raisedY, int doublings);
    std::int32_t raisedX, raisedY; ///< sizes of the field in memory
    std::int32_t nx, ny;           ///< of the grid that is transformed
    std::size_t x0, y0;            ///< index in the grid of the file's first sample
    /// Index in the field in memory of the file's first sample.
    std::size_t InsideX() const { return x0 - static_cast<std::size_t>((nx - raisedX) / 2); }
    std::size_t InsideY() const { return y0 - static_cast<std::size_t>((ny - raisedY) / 2); }
};

/// The place in the raised grid of the file's own.
GridPlace CentredPlace(const SegmentGrid& own, int doublings);

/// What an operation computes, for fields of raised sizes.
class LargeWork
{
public:
    LargeWork(const GridPlace& source, const GridPlace& destination) : from(source), to(destination) {}
    virtual ~LargeWork() = default;

    const GridPlace from; ///< place of the source; its sizes and those of `to` are the same
    const GridPlace to;   ///< place of the destination

    /// Bytes beyond one field of the raised sizes that Inside() takes.
    virtual std::uint64_t InsideBytes(int threads) const = 0;
    /// The operation in memory; the field has the source's parameters.
    virtual void Inside(Lumora& field) const = 0;
    /// What a layout must know, but for the rows, which are the caller's.
    virtual TileNeeds Needs(int threads) const = 0;
    virtual std::unique_ptr<SweepSteps> Steps(const TileLayout& layout, int threads) const = 0;
    /// Whether nothing is left of any field: all samples become zero.
    virtual bool IsZero() const { return false; }
    /// Whether a unit is transformed over all rows of the grid, zeros around those of the layout.
    virtual bool WholeColumns() const { return false; }
    /// Adds the parameters that the two files do not hold.
    virtual void Identify(Identity& identity) const = 0;
};

/// One call: the options, the source opened and checked.
class LargeCall
{
public:
    /// Errors: codes 2, 3 and 5 as SegmentedField, in the name of the operation; code 6 for an axis that is too long
    /// when it is doubled so many times.
    LargeCall(const char* function, const char* source, const char* destination, const LargeOptions& options,
              int doublings);
    /// Does the work; the destination gets the parameters of `common` and the sizes of `grid`.
    LargeReport Run(const LargeWork& work, const Lumora& common, const SegmentGrid& grid);

    SegmentedFile source;

private:
    void RunInside(const LargeWork& work, SegmentedFile& result);
    void RunAlone(const LargeWork& work, const TileNeeds& needs, const Lumora& common, const SegmentGrid& grid);
    /// Takes memory and threads that do for all ranks. Errors: code 3 where they were not called alike.
    void Meet(LargeRanks& ranks, const LargeWork& work, const Lumora& common, const SegmentGrid& grid);
    void RunOnRanks(const LargeWork& work, TileNeeds needs, const Lumora& common, const SegmentGrid& grid);
    /// The sweeps of a run whose exchange, notes and state are set.
    void Sweep(SweepRun& run, const LargeWork& work, NewFile& result, const TileLayout& layout, const char* scratch);
    void Finish(NewFile& result);
    /// What makes two calls the same work, but for the source's state.
    void Identify(Identity& identity, const LargeWork& work, const Lumora& common, const SegmentGrid& grid) const;
    std::string ScratchName(const std::string& tail) const;

    const char* function_;
    const char* sourcePath_;
    const char* destination_;
    LargeOptions options_;
    std::uint64_t memory_;
    int threads_;
    LargeReport report_;
};
} // namespace LumoraLib::detail

#endif
