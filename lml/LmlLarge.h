// Fields larger than memory: one whole field in a segmented LM file, and operations from file to file that keep to a
// stated amount of memory.
#ifndef LML_LMLLARGE_H
#define LML_LMLLARGE_H

#include "LmlLumora.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace LumoraLib
{
namespace detail
{
class SegmentedFile;
class Agreement;
} // namespace detail

// ---------------------------------------------------------------------------------------------------------------
// A whole field in segments                                                                  (SegmentedField.cpp)
// ---------------------------------------------------------------------------------------------------------------

// One field in a file of many segments, and rectangles of it in memory.

/// What a reader makes of a segment that was never written.
enum MissingSegments : std::int32_t
{
    MISSING_REFUSED = 0, ///< an error, before anything is read
    MISSING_ZERO = 1     ///< samples of zero
};

/// How a SegmentedField opens its file.
enum SegmentedAccess : std::int32_t
{
    SEGMENTED_READ = 0, ///< writing is refused
    SEGMENTED_UPDATE =
        1 ///< Put(), PutSegment() and Write() overwrite samples in place and add segments that were not there
};

/// One field in a segmented LM file, seen as a whole: its columns and rows count from 0 over all segments, and what is
/// read or written is any rectangle of it. Nothing of the field is kept in memory. The file is open as long as the
/// object lives.
///
/// Places: the file's origin is that of the whole field, whose sample (Nx / 2, Ny / 2) stands there; segments and
/// rectangles are moved from it along global x and y, as LoadSegLm does. Put() takes place from the indices alone: the
/// origin of the field that is put does not matter, and need not be set back to that of the whole.
///
/// Errors of all members, unless they say otherwise, name "LumoraLib::SegmentedField": code 2 and the path (cannot be
/// opened, or is no segmented file), code 3 (no segment has been saved yet, so that sizes are unknown; indices beyond
/// the field; a missing segment), code 5 and the path (heads that do not hold together, a file cut short), code 4 and
/// the path (disk full).
class LML_API SegmentedField
{
public:
    /// Opens a file whose segments have sizes: at least one has been saved, or SaveParamSegLm has set them, or
    /// Create() has made it. Segments of any size, also such that Lumora would raise.
    explicit SegmentedField(const char* path, SegmentedAccess access = SEGMENTED_READ,
                            MissingSegments missing = MISSING_REFUSED);
    ~SegmentedField();
    SegmentedField(SegmentedField&& other) noexcept;
    SegmentedField& operator=(SegmentedField&& other) noexcept;
    SegmentedField(const SegmentedField&) = delete;
    SegmentedField& operator=(const SegmentedField&) = delete;

    /// Makes a file of segmentsX by segmentsY segments of nx by ny samples each, none of them written, with the domain,
    /// pitches, wavelength, origin and normal of `like` (its sizes and samples do not count), and opens it for writing.
    /// An old file of that name is replaced. Errors: code 3 for sizes below 1 or more than 16383 segments; code 2, 4.
    static SegmentedField Create(const char* path, const Lumora& like, std::uint16_t segmentsX, std::uint16_t segmentsY,
                                 std::int32_t nx, std::int32_t ny);

    std::int64_t GetNx() const;             ///< Columns of the whole field.
    std::int64_t GetNy() const;             ///< Rows of the whole field.
    int GetSegmentsX() const;               ///< Segments along x.
    int GetSegmentsY() const;               ///< Segments along y.
    std::int32_t GetSegmentNx() const;      ///< Columns of a segment.
    std::int32_t GetSegmentNy() const;      ///< Rows of a segment.
    double GetPx() const;                   ///< Pitch along x: metres, or cycles per metre of a spectrum.
    double GetPy() const;                   ///< Pitch along y.
    double GetWavelength() const;           ///< Metres.
    bool IsSpectrum() const;                ///< Domain of the samples.
    Vector GetOrigin() const;               ///< Of the whole field.
    Vector GetOrigin(int ix, int iy) const; ///< Of segment (ix, iy), as LoadSegLm sets it.
    Vector GetNormalVector() const;         ///< Of the whole field and of every segment.
    bool Has(int ix, int iy) const;         ///< Whether segment (ix, iy) was ever written.
    int CountMissing() const;               ///< Segments that were not.

    /// Segment (ix, iy) into a field, which takes its sizes, parameters, place and samples; cartesian, the whole grid
    /// as its window. Sizes that are no powers of two come to lie centred in the raised grid, zeros around them, as
    /// LoadLm does. Reads the segment's bytes and nothing else.
    void GetSegment(int ix, int iy, Lumora& to) const;
    /// The same for the rectangle of nx by ny samples from column x and row y on.
    void Get(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, Lumora& to) const;
    /// The samples alone, rows `stride` samples apart.
    void Read(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, Complex* to, std::size_t stride) const;

    /// All samples of a field into segment (ix, iy), whose sizes it has. It must agree with the file in domain, pitches
    /// and wavelength exactly and in the normal within the position tolerance (code 3), and be cartesian (code 7).
    /// A segment that was not there shows once it is complete.
    void PutSegment(int ix, int iy, const Lumora& from);
    /// All samples of a field into the rectangle from column x and row y on. Segments that were not there begin as
    /// zeros outside the rectangle.
    void Put(std::int64_t x, std::int64_t y, const Lumora& from);
    /// The samples alone, rows `stride` samples apart.
    void Write(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, const Complex* from,
               std::size_t stride);

private:
    SegmentedField();

    std::unique_ptr<detail::SegmentedFile> file_;
    MissingSegments missing_ = MISSING_REFUSED;
};

// ---------------------------------------------------------------------------------------------------------------
// Operations from file to file                                                              (LargePropagate.cpp)
// ---------------------------------------------------------------------------------------------------------------
//
// Each reads the whole field of one segmented file and writes that of another. The samples are those that the member
// of Lumora of the same name gives for the whole field, bit by bit, whatever the memory and the number of threads:
// sizes that are no powers of two lie centred in the raised grid, zeros around them, and are cut out of it afterwards.
//
// Where `memory` holds the whole operation, it is done in memory. Otherwise three sweeps go from rows over strips of
// columns back to rows, over a scratch file of about the size of the field (of the part of its spectrum that the band
// keeps); reading and writing go on beside the arithmetic. This takes the fast engine (FFT_LIB_VENDOR, the library's
// own transforms).
//
// The destination is written beside its place, with ".part" behind its name, and takes its name when it is complete and
// on the disk: a process that is killed leaves the old destination, or none. The source is never written; it may be the
// destination. Failures and cancellation by the progress handler remove the scratch and the unfinished destination.
//
// Progress is reported in units of its own, a third of the total for each sweep.
//
// Errors name the operation ("LumoraLib::LargeAsmProp"): code 2, 4, 5 and a path; code 3 for options that make no
// sense, missing segments, and what the member refuses with code 3; code 6 for an engine that needs the whole field in
// memory, and an axis that is too long; code 8 for the wrong domain; code 1 without memory.

/// Processes that share operations from file to file: ranks 0 ... GetSize() - 1, on one machine or on several that see
/// the same files. LmlMpi.h has them over MPI; another transport derives its own class. Every rank calls an operation
/// with the same arguments and an object of its own in LargeOptions::ranks, in the same order. A failure of one rank
/// (or its handler's cancellation) is reported by all of them, with the same code, operation and text.
///
/// The functions that derived classes define are called by all ranks together, unless they say otherwise, and return on
/// every rank when they have done their work; from one thread at a time, not always the same one.
class LML_API LargeRanks
{
public:
    LargeRanks();
    virtual ~LargeRanks();
    LargeRanks(const LargeRanks&) = delete;
    LargeRanks& operator=(const LargeRanks&) = delete;

    virtual int GetRank() const = 0; ///< Of this process.
    virtual int GetSize() const = 0; ///< Number of ranks.
    /// `bytes` bytes of rank `from` to all the others.
    virtual void Broadcast(void* data, std::size_t bytes, int from) = 0;
    /// The largest of what the ranks give.
    virtual std::int64_t GetLargest(std::int64_t value) = 0;
    /// Samples of one block: its first one in a buffer, and how many.
    struct Samples
    {
        std::int64_t first = 0; ///< index in the buffer
        std::int64_t count = 0; ///< samples
    };
    /// Block r of `send` in `from` goes to rank r; what rank r sends comes to block r of `receive` in `to`, whose count
    /// is that of the sender. Nothing goes to a rank itself. Each buffer has fewer than 2^31 samples.
    virtual void Exchange(const Complex* from, const Samples* send, Complex* to, const Samples* receive) = 0;
    /// Sets the counter that all ranks share to zero.
    virtual void ResetCounter() = 0;
    /// Adds to the counter and returns what it was before. By one rank alone, whatever the others do.
    virtual std::int64_t AddToCounter(std::int64_t value) = 0;

private:
    friend class detail::Agreement;
    struct Failure
    {
        std::int32_t code = 0; ///< none
        char function[128] = {};
        char text[128] = {};
    };
    Failure failure_; ///< the one that all ranks have agreed on
};

/// Work that ranks do together.
using RankWork = std::function<void()>;

/// Runs call() on every rank and waits for all of them: a failure of one, which is an Error inside call(), becomes the
/// same failure of all. For work of one rank between operations: a file that rank 0 makes, say. Without ranks (null) it
/// is call() and nothing else.
LML_API void LargeTogether(LargeRanks* ranks, const RankWork& call);

/// How an operation from file to file works. The same samples whatever stands here.
struct LargeOptions
{
    /// Bytes for buffers and tables; 0 counts as 1 GiB. Less than the least that works (a pair of strips of 64 columns
    /// and a row, two of each, and the transforms' own scratch) is raised to it; LargeReport says what was taken.
    std::uint64_t memory = 0;
    /// Folder of the scratch file. Null: that of the destination, whose unfinished file then holds most of the scratch
    /// (without `resume`): the disk needs little more than the destination.
    const char* scratch = nullptr;
    int threads = 0; ///< of the arithmetic; 0: the library's count
    /// Keeps a journal beside the scratch file, and goes on where an earlier call for the same source, destination and
    /// parameters was killed: what it repeats is at most the band that was being written. Anything else that lies there
    /// under these names, also from before a restart of the system, is thrown away. Without, a killed process leaves no
    /// scratch file at all, only the unfinished destination.
    bool resume = false;
    MissingSegments missing = MISSING_REFUSED; ///< segments that the source lacks
    /// Null: this process alone. Otherwise the work is shared: `memory` and `threads` are those of each rank, and each
    /// has a scratch file of its own, or none where the memory of all ranks holds the tiles. All ranks see source and
    /// destination; `scratch` may be a folder of each machine's own. A killed call can be resumed by any number of
    /// ranks that find all of its scratch files.
    LargeRanks* ranks = nullptr;
};

/// What an operation from file to file did; of several ranks, what this one did.
struct LargeReport
{
    bool inMemory = false;          ///< no scratch file was used
    std::int64_t bands = 0;         ///< bands of rows of a sweep
    std::int64_t units = 0;         ///< groups of columns of the sweep between
    std::uint64_t memory = 0;       ///< bytes planned for buffers and tables
    std::uint64_t scratch = 0;      ///< bytes of the scratch file
    std::uint64_t bytesRead = 0;    ///< from source and scratch, wherever that is
    std::uint64_t bytesWritten = 0; ///< to scratch and destination
    std::int64_t resumed = 0;       ///< bands and groups of columns that an earlier call had done
    std::uint64_t kept = 0;         ///< bytes of the samples of the whole grid that stay between the sweeps
    std::uint64_t bytesSent = 0;    ///< to other ranks: over all of them, 2 kept (P - 1) / P for P ranks
};

/// As Lumora::Fft: sign -1 to the spectrum, 1 back. Needs whole sizes that are powers of two (code 3).
LML_API LargeReport LargeFft(const char* source, const char* destination, int sign, const LargeOptions& options = {});
/// As Lumora::RawAsmProp: by the angular spectrum over the signed distance d in metres, without a band limit.
LML_API LargeReport LargeRawAsmProp(const char* source, const char* destination, double d,
                                    const LargeOptions& options = {});
/// As Lumora::AsmProp: with the band limit. Columns of the spectrum beyond it are neither computed nor stored.
LML_API LargeReport LargeAsmProp(const char* source, const char* destination, double d,
                                 const LargeOptions& options = {});
/// As Lumora::ExactAsmProp: on a grid of twice the width and height.
LML_API LargeReport LargeExactAsmProp(const char* source, const char* destination, double d,
                                      const LargeOptions& options = {});
/// As Lumora::FresnelProp: pitches wavelength times d over (samples times pitch) on the destination. Sizes that are no
/// powers of two: the samples of the raised grid's, whose centre is kept.
LML_API LargeReport LargeFresnelProp(const char* source, const char* destination, double d,
                                     const LargeOptions& options = {});
/// As Lumora::ShiftedAsmProp: to the place that the destination's file has. That file is there (SegmentedField::Create
/// makes it) with the source's whole sizes, pitches, wavelength and normal (code 3); its samples are replaced.
/// @param precision  doublings of the grid, 1 to 4 (code 3)
LML_API LargeReport LargeShiftedAsmProp(const char* source, const char* destination, int precision = 1,
                                        const LargeOptions& options = {});
/// As Lumora::ShiftedFresnelProp: to the place, pitches and sizes that the destination's file has, which is there, with
/// the source's wavelength and normal. Where the sizes differ, both stand in the centre of the smallest grid that holds
/// either. The distance is that of the planes, without a sign, as the member takes it.
/// @param backward  light that runs from the destination to the source: the conjugate of every phase
LML_API LargeReport LargeShiftedFresnelProp(const char* source, const char* destination, bool backward = false,
                                            const LargeOptions& options = {});

// ---------------------------------------------------------------------------------------------------------------
// Samples of files, pictures, points                                       (LargeSamples.cpp, LargePicture.cpp)
// ---------------------------------------------------------------------------------------------------------------
//
// One pass over rows or segments, without a scratch file: `scratch`, `threads` and `resume` do not count. The
// destination as above; errors too.

/// first + second, sample by sample, with the first one's segments, place and parameters. Whole sizes, domains, pitches
/// and wavelengths must be the same (code 3); the segments need not.
LML_API LargeReport LargeAdd(const char* first, const char* second, const char* destination,
                             const LargeOptions& options = {});
/// first - second, otherwise as LargeAdd().
LML_API LargeReport LargeSubtract(const char* first, const char* second, const char* destination,
                                  const LargeOptions& options = {});
/// first times second, as Lumora::operator*= multiplies, otherwise as LargeAdd().
LML_API LargeReport LargeMultiply(const char* first, const char* second, const char* destination,
                                  const LargeOptions& options = {});

/// What one pass over a field, and over a reference beside it, measures.
struct LargeMeasures
{
    double squareSum = 0.0;     ///< as Lumora::GetSquareSum on one thread, bit by bit
    double squareAverage = 0.0; ///< the same over the number of samples
    double amplitudeMax = 0.0;  ///< largest amplitude
    std::int64_t xMax = 0;      ///< column of the first sample that has it
    std::int64_t yMax = 0;      ///< its row
    ComplexDouble scale;        ///< factor of the reference that comes closest, as Lumora::GetScaleFactor
    double snr = 0.0;           ///< squareSum over what that multiple leaves, as Lumora::GetSnr up to rounding: one
                                ///< pass cannot tell ratios above about 1e12 apart
};
/// @param reference  a file of the same whole sizes, domain, pitches and wavelength (code 3), or null for none
LML_API LargeMeasures LargeMeasure(const char* path, const char* reference = nullptr, const LargeOptions& options = {});

/// A small picture of a field: amplitudes, the root of the mean intensity of the block of samples that each of nx by ny
/// pixels stands for, in a field whose window is the picture (sizes that are no powers of two lie in the middle), with
/// the pitches of the pixels. Memory: the picture, 16 bytes a pixel, and two bands of rows.
LML_API void LargePreview(const char* path, Lumora& to, std::int32_t nx, std::int32_t ny,
                          const LargeOptions& options = {});

/// A field of any size as an 8-bit BMP, a pixel for each sample, as Lumora::SaveAsBMPEx without a scale bar: row by
/// row. `mode` is any but ModeMaskedPhase (code 3), whose threshold is the whole picture's.
LML_API void LargeSaveAsBmp(const char* path, const char* picture, Mode mode, double min, double max,
                            Gradation gradation, const LargeOptions& options = {});

/// As Lumora::ResamplingCopy: reads the source at the samples that the destination's file has, which is there, on the
/// source's plane (code 3); the rest of it becomes zero. In tiles: an offset's rounding, and with it the last bit of a
/// sample, may differ from the member's. Sources whose sizes are no powers of two and that are smaller than a tile
/// needs are read as if zeros stood around them.
/// @throws what GetInterpolFunc() throws
LML_API LargeReport LargeResample(const char* source, const char* destination, Interpol interpol,
                                  const LargeOptions& options = {});

/// Adds points to a field, segment by segment: each as Lumora::AddPointCloud computes it there, where points whose
/// light does not reach it are left out. Points in global coordinates (code 3 otherwise). Memory: a segment, and what
/// `cloud.memory` allows beside it.
LML_API LargeReport LargeAddPointCloud(const char* source, const char* destination, const CloudPoint* points,
                                       std::int64_t count, const CloudOptions& cloud = {},
                                       const LargeOptions& options = {});
} // namespace LumoraLib

#endif
