// The LM container: fields in single, multi-part and segmented files.
//
// A new part or segment is made visible last: its samples are handed to the system before its index entry is written,
// so that a save that fails or is killed leaves the file as it was, but for bytes behind its end that nothing points
// at. Whoever opens a stream closes it: the public operations through Container on every path; a record that a caller
// of the protected members opened stays the caller's.

#include "LmlLumora.h"
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "files/ByteIo.h"
#include "files/FieldFile.h"
#include "files/LmHeads.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>

namespace LumoraLib
{
namespace
{
using namespace detail;

constexpr char kTooLargeIndex[] = "index is too large";
constexpr char kTooLargeSize[] = "Too large size";
constexpr char kSegmentsNotCreated[] = "segmentated LM file must be pre-created";

void CopyText(char* to, std::size_t size, const char* from)
{
    std::snprintf(to, size, "%s", from == nullptr ? "" : from);
}

/// An open container file with the record that the helpers take; closes the stream on every path.
class Container
{
public:
    /// `notOpen`: detail of the failure to open, or null.
    Container(const char* path, const char* function, const char* mode, const char* notOpen = nullptr)
        : file_(path, mode)
    {
        CopyText(record_.path, sizeof record_.path, path);
        CopyText(record_.function, sizeof record_.function, function);
        record_.stream = file_.Get();
        if (!file_.IsOpen())
            FileError(record_, ERR_FILE_OPEN, notOpen);
    }
    operator _LM_File&() { return record_; }
    /// The end of a successful save: what did not reach the file is a write failure.
    void Close()
    {
        record_.stream = nullptr;
        if (!file_.CloseChecked())
            FileError(record_, ERR_FILE_WRITE, nullptr);
    }

private:
    File file_;
    _LM_File record_{};
};

/// A record's stream under the byte-wise layer, which is not to close it.
class Lent
{
public:
    explicit Lent(const _LM_File& record) : file_(record.stream) {}
    ~Lent() { file_.Release(); }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;
    File* operator->() { return &file_; }
    File& operator*() { return file_; }

private:
    File file_;
};

void SeekTo(_LM_File& record, std::int64_t position)
{
    if (!Lent(record)->Seek(position))
        FileError(record, ERR_FILE_READ, "seek error");
}

std::int64_t Tell(_LM_File& record)
{
    const std::int64_t position = Lent(record)->Tell();
    if (position < 0)
        FileError(record, ERR_FILE_READ, "tell error");
    return position;
}

std::int64_t SeekEnd(_LM_File& record)
{
    if (!Lent(record)->SeekEnd())
        FileError(record, ERR_FILE_READ, "seek error");
    return Tell(record);
}

void Read(_LM_File& record, void* to, std::uint64_t bytes)
{
    Lent file(record);
    ReadOr(*file, to, bytes, [&] { FileError(record, ERR_FILE_READ, nullptr); });
}

/// Reports progress in bytes where it takes long: the samples of a field, every 16 MiB.
void Write(_LM_File& record, const void* from, std::uint64_t bytes)
{
    constexpr std::uint64_t piece = std::uint64_t{1} << 24;
    Lent file(record);
    const auto write = [&](std::uint64_t at)
    {
        WriteOr(*file, static_cast<const Byte*>(from) + at, std::min(piece, bytes - at),
                [&] { FileError(record, ERR_FILE_WRITE, nullptr); });
    };
    if (bytes <= piece)
        return write(0);
    Progress progress(record.function, static_cast<std::int64_t>(bytes));
    for (std::uint64_t at = 0; at < bytes; at += piece)
    {
        progress.Step(static_cast<std::int64_t>(at));
        write(at);
    }
}

/// Hands everything written to the system. Stands before every seek behind a write, whose own flush would report a full
/// disk as a failed seek.
void Flush(_LM_File& record)
{
    if (!Lent(record)->Flush())
        FileError(record, ERR_FILE_WRITE, nullptr);
}

template <class Table, class Head>
void ReadPacked(_LM_File& record, const Table& table, Head& head)
{
    typename Table::Raw raw;
    Read(record, raw.data(), raw.size());
    UnpackHead(table, raw.data(), head);
}

template <class Table, class Head>
void WritePacked(_LM_File& record, const Table& table, const Head& head)
{
    typename Table::Raw raw;
    PackHead(table, head, raw.data());
    Write(record, raw.data(), raw.size());
}

template <class T>
T ReadNumber(_LM_File& record)
{
    std::array<Byte, sizeof(T)> raw;
    Read(record, raw.data(), raw.size());
    return Get<T>(raw.data());
}

template <class T>
void WriteNumber(_LM_File& record, T value)
{
    std::array<Byte, sizeof(T)> raw;
    Put(raw.data(), value);
    Write(record, raw.data(), raw.size());
}

/// An index table of `count` entries, none of them written yet.
void WriteEmptyTable(_LM_File& record, std::uint16_t count)
{
    for (std::uint16_t n = 0; n < count; ++n)
        WriteNumber(record, std::int64_t{0});
}

template <class T>
T ReadNumberAt(_LM_File& record, std::int64_t position)
{
    SeekTo(record, position);
    return ReadNumber<T>(record);
}

void CheckMagic(_LM_File& record)
{
    SeekTo(record, 0);
    std::array<char, 2> letters;
    Read(record, letters.data(), letters.size());
    if (letters[0] != 'L' || letters[1] != 'M')
        FileError(record, ERR_FILE_OPEN, "this is not LM format");
}

/// The number of parts of a file that must be multi-part.
std::uint16_t ReadPartCount(_LM_File& record)
{
    const std::uint16_t word = ReadNumberAt<std::uint16_t>(record, kTypeAt);
    if ((word & kPartsBit) == 0)
        FileError(record, ERR_FILE_OPEN, "this is a single-part LM file");
    if ((word & kSegmentsBit) != 0)
        FileError(record, ERR_FILE_OPEN, "this is segmentation-type LM file");
    return word & kCountMask;
}

/// The position of a part's index entry; the stream stands there.
std::int64_t SeekPartEntry(_LM_File& record, std::uint16_t index)
{
    if (ReadPartCount(record) <= index)
        FileError(record, ERR_PARAMETER, kTooLargeIndex);
    const std::int64_t position = kPartTableAt + 8 * std::int64_t{index};
    SeekTo(record, position);
    return position;
}

SegmentRecord ReadRawSegmentRecord(_LM_File& record)
{
    SeekTo(record, ReadNumberAt<std::int64_t>(record, kSegmentRecordAt));
    SegmentRecord segments{};
    ReadPacked(record, kSegmentRecord, segments);
    return segments;
}

/// The segmentation record and the number of segments by the type word, whose two upper bits are not looked at: a file
/// of another type shows by the type of what stands at the record's place.
SegmentRecord ReadSegmentRecord(_LM_File& record, int& count)
{
    count = ReadNumberAt<std::uint16_t>(record, kTypeAt) & kCountMask;
    const SegmentRecord segments = ReadRawSegmentRecord(record);
    if (segments.type != kSegmentRecordType)
        FileError(record, ERR_FILE_OPEN, "this is a not segmented LM file");
    return segments;
}

void CheckGridIndex(_LM_File& record, const SegmentRecord& segments, int ix, int iy)
{
    if (!(ix < segments.nx && iy < segments.ny))
        FileError(record, ERR_PARAMETER, kTooLargeIndex);
}

/// Position of a segment's index entry. Kept: formed in 32 bits and then widened, so that a grid of 2^28 segments and
/// more wraps around; a position below 0 ends in a seek failure.
std::int64_t SegmentEntryAt(const SegmentRecord& segments, std::uint16_t ix, std::uint16_t iy)
{
    const std::int32_t number = WrapAdd(WrapMul(segments.nx, iy), ix);
    return WrapAdd(static_cast<std::int32_t>(kSegmentTableAt), WrapMul(8, number));
}

/// Ends in a read failure when writing at `position` would destroy the index table or leave a hole behind the file's
/// end: the entry is not one that a save has made.
void RequireTarget(_LM_File& record, std::int64_t position, std::int64_t tableEnd)
{
    if (position < 0)
        FileError(record, ERR_FILE_READ, "seek error");
    if (position < tableEnd || position > SeekEnd(record))
        FileError(record, ERR_FILE_READ, nullptr);
}

/// What the two heads hold, read and checked before anything goes into a field.
struct Heads
{
    DataHead data{};
    std::optional<PositionHead> place;

    bool AreEmpty() const { return data.nx == 0 || data.ny == 0; }
};

/// Data head at the stream's position and the position head that it points at. Sizes below 0 are a read failure.
Heads ReadHeads(_LM_File& record, const char* badForm, const char* badType)
{
    constexpr std::size_t wordBytes = 2;
    decltype(kDataHead)::Raw raw;
    Read(record, raw.data(), wordBytes);
    if (Get<std::uint16_t>(raw.data()) > 3)
        FileError(record, ERR_FILE_OPEN, badForm);
    Read(record, raw.data() + wordBytes, raw.size() - wordBytes);
    Heads heads;
    UnpackHead(kDataHead, raw.data(), heads.data);
    if (heads.data.positionHead != 0)
    {
        decltype(kPositionHead)::Raw rawPlace;
        SeekTo(record, heads.data.positionHead);
        Read(record, rawPlace.data(), wordBytes);
        if (Get<std::uint16_t>(rawPlace.data()) != kPositionHeadType)
            FileError(record, ERR_FILE_READ, badType);
        Read(record, rawPlace.data() + wordBytes, rawPlace.size() - wordBytes);
        heads.place.emplace();
        UnpackHead(kPositionHead, rawPlace.data(), *heads.place);
    }
    if (heads.data.nx < 0 || heads.data.ny < 0)
        FileError(record, ERR_FILE_READ, nullptr);
    return heads;
}

/// Heads for an operation that takes the parameters alone.
Heads ReadParameters(_LM_File& record)
{
    return ReadHeads(record, "abnormal LM format or broken file", "unspported optional head");
}

/// The sizes as they are stored, for an operation that brings no samples.
void TakeSizes(const Heads& heads, Lumora& field)
{
    field.SetNx(heads.data.nx).SetNy(heads.data.ny);
}

/// Everything but the sizes into the field; nothing here can fail.
void TakeParameters(const Heads& heads, Lumora& field)
{
    const DataHead& data = heads.data;
    FieldAccess::SetForm(field, (FieldAccess::Form(field) & ~std::int32_t{1}) | (data.form & 1));
    field.SetWavelength(data.wavelength).SetPx(data.px).SetPy(data.py);
    if (heads.place)
    {
        const PositionHead& place = *heads.place;
        field.SetOrigin(Vector(place.origin[0], place.origin[1], place.origin[2]));
        field.SetNormalVector(Vector(place.normal[0], place.normal[1], place.normal[2]));
    }
}

/// Displacement in metres of segment (ix, iy) of a grid of nx by ny, each of the field's size, from the grid's centre.
Vector Displacement(const DataHead& field, int ix, int iy, int nx, int ny)
{
    return Vector(field.nx * field.px * (ix - (nx - 1.0) / 2.0), field.ny * field.py * (iy - (ny - 1.0) / 2.0), 0.0);
}

/// Goes to the samples and makes room for them, the field's sizes with it. What is refused leaves the field as it was.
void MakeRoom(_LM_File& record, Lumora& field, const DataHead& data, std::int64_t samples)
{
    SeekTo(record, samples);
    if (!SizesAreSane(*Lent(record), data.nx, data.ny))
        FileError(record, ERR_FILE_READ, nullptr);
    RemakeGrid(field, data.nx, data.ny);
}

/// The samples at the stream's position, of the sizes given; the others of the raised grid are zero.
void TakeSamples(_LM_File& record, Lumora& field, std::int32_t nx, std::int32_t ny)
{
    Lent file(record);
    if (!ReadSamples(*file, field, nx, ny, record.function))
        FileError(record, ERR_FILE_READ, nullptr);
}

/// The common head and what goes with a segment of it. `written` is what stands at 12 + ix + iy * nx.
struct SegmentHeads : Heads
{
    std::int64_t at = 0;
    Vector shift;
    bool written = false;
};

SegmentHeads ReadSegmentHeads(_LM_File& record, int ix, int iy)
{
    const SegmentRecord segments = ReadRawSegmentRecord(record);
    CheckGridIndex(record, segments, ix, iy);
    SegmentHeads heads;
    heads.at = segments.commonHead;
    SeekTo(record, heads.at);
    static_cast<Heads&>(heads) = ReadParameters(record);
    heads.shift = Displacement(heads.data, ix, iy, segments.nx, segments.ny);
    // Kept: the index is not multiplied by 8, so for every segment but (0, 0) the value is read astride table entries
    // and the result says nothing reliable. LoadSegLm tests the real entry.
    const std::int32_t astride =
        WrapAdd(WrapAdd(static_cast<std::int32_t>(kSegmentTableAt), ix), WrapMul(iy, segments.nx));
    heads.written = ReadNumberAt<std::int64_t>(record, astride) != 0;
    return heads;
}

/// As the first TakeParameters, and the segment's place.
void TakeParameters(const SegmentHeads& heads, Lumora& field)
{
    TakeParameters(static_cast<const Heads&>(heads), field);
    const Vector origin = field.GetOrigin();
    field.SetOrigin(Vector(origin.x + heads.shift.x, origin.y + heads.shift.y, origin.z));
}

/// Both heads at the stream's position `at`, with the given sizes in place of the field's own.
void WriteHeads(_LM_File& record, std::int64_t at, const Lumora& field, std::int32_t nx, std::int32_t ny)
{
    WritePacked(record, kDataHead, detail::DataHeadOf(field, at, nx, ny));
    WritePacked(record, kPositionHead, detail::PositionHeadOf(field));
}

void WriteSamples(_LM_File& record, const Lumora& field)
{
    Write(record, field.GetDataPointer(), std::uint64_t{field.N()} * sizeof(Complex));
}

/// The segment fits the common head; a not-a-number fits nothing.
bool FitsSegments(const Lumora& field, const Lumora& common)
{
    const Vector a = field.GetNormalVector();
    const Vector b = common.GetNormalVector();
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    const double dz = a.z - b.z;
    return field.GetNx() == common.GetNx() && field.GetNy() == common.GetNy() && field.GetPx() == common.GetPx() &&
           field.GetPy() == common.GetPy() &&
           detail::kTwoPi / field.GetWavenumber() == detail::kTwoPi / common.GetWavenumber() &&
           std::sqrt(dx * dx + dy * dy + dz * dz) <= GetPositionTolerance();
}
} // namespace

void FileError(_LM_File& file, ErrorCode code, const char* detail)
{
    // On the stack: a failure is reported also where there is no memory. The record's texts may lack their terminator.
    char function[sizeof file.function + 1] = {};
    std::memcpy(function, file.function, strnlen(file.function, sizeof file.function));
    char message[256] = {};
    std::size_t length = 0;
    const auto append = [&](const char* from, std::size_t most)
    {
        const std::size_t bytes = strnlen(from, std::min(most, sizeof message - 1 - length));
        std::memcpy(message + length, from, bytes);
        length += bytes;
    };
    append(file.path, sizeof file.path);
    if (detail != nullptr)
    {
        append(" : ", 3);
        append(detail, sizeof message);
    }
    Error(code, function, message);
}

// ---- What the operations share -----------------------------------------------------------------------------------

void Lumora::LoadParamLm(_LM_File& file)
{
    const Heads heads = ReadParameters(file);
    TakeSizes(heads, *this);
    TakeParameters(heads, *this);
}

void Lumora::LoadDataLm(_LM_File& file)
{
    // Kept: the second message carries the characters %s as they are; nothing is put in their place.
    const Heads heads = ReadHeads(file, "multi-part/segmentation type LM format", "unspported optional head : %s");
    MakeRoom(file, *this, heads.data, heads.data.samples);
    TakeParameters(heads, *this);
    SetWindowMax();
    TakeSamples(file, *this, heads.data.nx, heads.data.ny);
}

bool Lumora::LoadParamMpLm(_LM_File& file)
{
    const std::int64_t entry = ReadNumber<std::int64_t>(file);
    if (entry == 0)
        return false;
    SeekTo(file, entry);
    LoadParamLm(file);
    return true;
}

bool Lumora::LoadParamSegLm(_LM_File& file, int ix, int iy, std::int64_t* headPosition)
{
    const SegmentHeads heads = ReadSegmentHeads(file, ix, iy);
    if (headPosition != nullptr)
        *headPosition = heads.at;
    TakeSizes(heads, *this);
    TakeParameters(heads, *this);
    return heads.written;
}

void Lumora::SaveDataHeadLm(_LM_File& file) const
{
    WriteHeads(file, Tell(file), *this, nx_, ny_);
}

Vector Lumora::GetDispSegLm(int ix, int iy, int nx, int ny) const
{
    DataHead size{};
    size.nx = nx_;
    size.ny = ny_;
    size.px = px_;
    size.py = py_;
    return Displacement(size, ix, iy, nx, ny);
}

// ---- Single files ------------------------------------------------------------------------------------------------

Lumora& Lumora::LoadLm(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    SeekTo(lm, kTypeAt);
    LoadDataLm(lm);
    return *this;
}

void Lumora::SaveAsLm(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsLm";
    RequireSamples(fn);
    Container lm(path, fn, "w+b");
    Write(lm, "LM", 2);
    SaveDataHeadLm(lm);
    WriteSamples(lm, *this);
    lm.Close();
}

void Lumora::WinSaveAsLm(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::WinSaveAsLm";
    RequireSamples(fn);
    const LML_RECT w = GridWindow();
    Container lm(path, fn, "w+b");
    Write(lm, "LM", 2);
    // Kept: the head is that of the whole field, so the file of a smaller window announces more samples than it holds
    // and loading it ends in a read failure.
    SaveDataHeadLm(lm);
    if (w.left < w.right)
        for (std::int32_t y = w.bottom; y < w.top; ++y)
            Write(lm, dataPointer_ + Index(w.left, y),
                  std::uint64_t{sizeof(Complex)} * static_cast<std::uint32_t>(w.right - w.left));
    lm.Close();
}

// ---- Multi-part files --------------------------------------------------------------------------------------------

void CreateFileMpLm(const char* path, std::uint16_t count)
{
    static constexpr char fn[] = "LumoraLib::CreateFileMpLm";
    // Kept: the file is there, and emptied, before the count is looked at.
    Container lm(path, fn, "w+b");
    if (count > kCountMask)
        FileError(lm, ERR_PARAMETER, kTooLargeSize);
    Write(lm, "LM", 2);
    WriteNumber(lm, static_cast<std::uint16_t>(kPartsBit | count));
    WriteEmptyTable(lm, count);
    lm.Close();
}

int GetSizeMpLm(const char* path)
{
    static constexpr char fn[] = "LumoraLib::GetSizeMpLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    return ReadPartCount(lm);
}

Lumora& Lumora::LoadMpLm(const char* path, std::uint16_t index, bool* exists)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadMpLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    SeekPartEntry(lm, index);
    const std::int64_t entry = ReadNumber<std::int64_t>(lm);
    if (exists != nullptr)
        *exists = entry != 0;
    if (entry != 0)
    {
        SeekTo(lm, entry);
        LoadDataLm(lm);
    }
    return *this;
}

Lumora& Lumora::LoadParamMpLm(const char* path, std::uint16_t index, bool* exists)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadParamMpLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    SeekPartEntry(lm, index);
    const bool written = LoadParamMpLm(lm);
    if (exists != nullptr)
        *exists = written;
    return *this;
}

void Lumora::SaveAsMpLm(const char* path, std::uint16_t index) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsMpLm";
    RequireSamples(fn);
    Container lm(path, fn, "r+b", "multi-part LM file must be pre-created");
    CheckMagic(lm);
    const std::int64_t tableEnd = kPartTableAt + 8 * std::int64_t{ReadPartCount(lm)};
    const std::int64_t entryAt = SeekPartEntry(lm, index);
    const std::int64_t entry = ReadNumber<std::int64_t>(lm);
    if (entry != 0)
    {
        SeekTo(lm, entry);
        DataHead present{};
        ReadPacked(lm, kDataHead, present);
        if (present.nx != nx_ || present.ny != ny_)
            FileError(lm, ERR_PARAMETER, "size of data in specified index of file is different from this object");
    }
    const std::int64_t at = entry != 0 ? entry : SeekEnd(lm);
    RequireTarget(lm, at, tableEnd);
    SeekTo(lm, at);
    SaveDataHeadLm(lm);
    WriteSamples(lm, *this);
    if (entry == 0)
    {
        Flush(lm);
        SeekTo(lm, entryAt);
        WriteNumber(lm, at);
    }
    lm.Close();
}

// ---- Segmented files ---------------------------------------------------------------------------------------------

void CreateFileSegLm(const char* path, std::uint16_t nx, std::uint16_t ny)
{
    static constexpr char fn[] = "LumoraLib::CreateFileSegLm";
    Container lm(path, fn, "w+b");
    // Kept: the product is cut to 16 bits before the test, so 256 by 256 passes as a file without an index table, whose
    // later accesses meet the segmentation record in place of entries.
    const std::uint16_t count = static_cast<std::uint16_t>(std::uint32_t{nx} * ny);
    if (count > kCountMask)
        FileError(lm, ERR_PARAMETER, kTooLargeSize);
    const std::int64_t recordAt = kSegmentTableAt + 8 * std::int64_t{count};
    const SegmentRecord segments = {kSegmentRecordType, recordAt + static_cast<std::int64_t>(kSegmentRecord.bytes), nx,
                                    ny};
    Write(lm, "LM", 2);
    WriteNumber(lm, static_cast<std::uint16_t>(kPartsBit | kSegmentsBit | count));
    WriteNumber(lm, recordAt);
    WriteEmptyTable(lm, count);
    WritePacked(lm, kSegmentRecord, segments);
    // Sizes of zero mark the common head as not yet fixed.
    WriteHeads(lm, segments.commonHead, Lumora(0, 0), 0, 0);
    lm.Close();
}

int GetSizeSegLm(const char* path, int& nx, int& ny)
{
    static constexpr char fn[] = "LumoraLib::GetSizeSegLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    int count = 0;
    const SegmentRecord segments = ReadSegmentRecord(lm, count);
    nx = segments.nx;
    ny = segments.ny;
    return count;
}

Lumora& Lumora::LoadSegLm(const char* path, std::uint16_t ix, std::uint16_t iy, bool* exists)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadSegLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    int count = 0;
    const SegmentRecord segments = ReadSegmentRecord(lm, count);
    CheckGridIndex(lm, segments, ix, iy);
    const std::int64_t entry = ReadNumberAt<std::int64_t>(lm, SegmentEntryAt(segments, ix, iy));
    if (exists != nullptr)
        *exists = entry != 0;
    if (entry == 0)
        return *this;
    const SegmentHeads heads = ReadSegmentHeads(lm, ix, iy);
    MakeRoom(lm, *this, heads.data, entry);
    // Kept: the window stays, unlike in the other loads, and may lie outside the grid now. The samples are those of the
    // raised grid, so sizes that are not powers of two end in a read failure or take what stands behind the segment.
    TakeParameters(heads, *this);
    TakeSamples(lm, *this, nx_, ny_);
    return *this;
}

Lumora& Lumora::LoadParamSegLm(const char* path, std::uint16_t ix, std::uint16_t iy, bool* exists)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadParamSegLm";
    Container lm(path, fn, "rb");
    CheckMagic(lm);
    int count = 0;
    const SegmentRecord segments = ReadSegmentRecord(lm, count);
    CheckGridIndex(lm, segments, ix, iy);
    const SegmentHeads heads = ReadSegmentHeads(lm, ix, iy);
    if (heads.AreEmpty())
        FileError(lm, ERR_PARAMETER, "this is an incompleted segemented LM file");
    TakeSizes(heads, *this);
    TakeParameters(heads, *this);
    if (exists != nullptr)
        *exists = heads.written;
    return *this;
}

void Lumora::SaveAsSegLm(const char* path, std::uint16_t ix, std::uint16_t iy) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsSegLm";
    RequireSamples(fn);
    // Segments without samples would share one place, where a later one would overwrite an earlier one.
    if (N() == 0)
        Error(ERR_SOMETHING, fn, "a segment needs samples: set the sizes and call Init first");
    Container lm(path, fn, "r+b", kSegmentsNotCreated);
    CheckMagic(lm);
    int count = 0;
    const SegmentRecord segments = ReadSegmentRecord(lm, count);
    CheckGridIndex(lm, segments, ix, iy);
    const std::int64_t tableEnd = kSegmentTableAt + 8 * std::int64_t{count};
    Lumora common(0, 0);
    std::int64_t headAt = 0;
    common.LoadParamSegLm(lm, ix, iy, &headAt);
    const bool first = common.N() == 0;
    if (first)
        RequireTarget(lm, headAt, tableEnd);
    else if (!FitsSegments(*this, common))
        FileError(lm, ERR_PARAMETER, "Saved data is not compatible with exist file segment");

    const std::int64_t entryAt = SegmentEntryAt(segments, ix, iy);
    const std::int64_t entry = ReadNumberAt<std::int64_t>(lm, entryAt);
    const std::int64_t at = entry != 0 ? entry : SeekEnd(lm);
    RequireTarget(lm, at, tableEnd);
    SeekTo(lm, at);
    WriteSamples(lm, *this);
    Flush(lm);
    if (first)
    {
        // The first segment fixes the common head, before its entry shows. All but the sizes goes first: a head that is
        // only partly there must still read as one that is not yet fixed.
        SeekTo(lm, headAt);
        WriteHeads(lm, headAt, *this, 0, 0);
        Flush(lm);
        SeekTo(lm, headAt);
        WriteHeads(lm, headAt, *this, nx_, ny_);
        Flush(lm);
    }
    if (entry == 0)
    {
        SeekTo(lm, entryAt);
        WriteNumber(lm, at);
    }
    lm.Close();
}

void Lumora::SaveParamSegLm(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveParamSegLm";
    Container lm(path, fn, "r+b", kSegmentsNotCreated);
    CheckMagic(lm);
    int count = 0;
    const SegmentRecord segments = ReadSegmentRecord(lm, count);
    RequireTarget(lm, segments.commonHead, kSegmentTableAt + 8 * std::int64_t{count});
    SeekTo(lm, segments.commonHead);
    SaveDataHeadLm(lm);
    lm.Close();
}
} // namespace LumoraLib
