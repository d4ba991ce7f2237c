// The transform of samples whose origin stands at index (Nx/2, Ny/2), on both sides: the quadrants are exchanged, the
// bound engine runs, the quadrants are exchanged again. For every operation that transforms a field without being
// Lumora::Fft.
#ifndef LML_CENTREDFFT_H
#define LML_CENTREDFFT_H

#include "LmlLumora.h"
#include "transform/EngineTable.h"
#include "transform/FftsgAreas.h"
#include "transform/wide/WideFft.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace LumoraLib::detail
{
/// Ends in Error code 6 with the operation's name when an axis, enlarged by a factor, is longer than kLongestTransform.
void RequireLength(const Lumora& field, std::int64_t factor, const char* function);

/// Ends in Error code 6 with the operation's name when the field has no samples for its sizes, when the sizes have not
/// been through Init and are no powers of two, or as RequireLength for the grid that is to be transformed.
void RequireTransformable(const Lumora& field, const char* function, std::int64_t factor = 1);

/// Exchanges the quadrants diagonally, byte by byte of half rows: an even number of rows. On the calling thread.
/// Kept: rows of one sample have half rows of four bytes, so their members are exchanged across rows.
void SwapQuadrants(Complex* samples, std::int32_t nx, std::int32_t ny);
/// Exchanges the two halves of one row in place.
void SwapHalves(Complex* samples, std::int32_t n);

/// One centred transform in two steps, for operations that change something before it: the constructor takes the
/// half-row temporary and the engine's areas and may end in code 1, "LumoraLib::Malloc"; Run() cannot fail. The 1-D
/// path for fields of one row, the 2-D path otherwise; a size of 0 does nothing.
class ReadyTransform
{
public:
    ReadyTransform(Complex* samples, std::int32_t nx, std::int32_t ny, int sign);
    ReadyTransform(const ReadyTransform&) = delete;
    ReadyTransform& operator=(const ReadyTransform&) = delete;
    void Run() const;
    /// The same with questions to the progress handler on the way: a cancellation leaves samples between.
    void RunWatched() const;

private:
    void Exchange() const;
    void Transform(Progress* rows) const;

    Complex* samples_;
    std::int32_t nx_, ny_;
    int sign_;
    std::optional<WideReadyGrid> wide_;
    std::unique_ptr<unsigned char[], FreeMemory> halfRow_;
    FftsgAreas areas_;
};

/// MakeCartesian, then the centred, unscaled transform, for a field in either form. Tells whether its samples were
/// polar. Errors: as ReadyTransform's, the field is then as it was. Asks the progress handler; a cancellation leaves
/// cartesian samples between.
bool TransformCartesian(Lumora& field, int sign);
} // namespace LumoraLib::detail

#endif
