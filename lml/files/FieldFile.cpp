// What the loaders of fields share: sane sizes, the grid remade as a whole or not at all, and stored samples in it.

#include "files/FieldFile.h"

#include "base/IntMath.h"
#include "base/Progress.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cstring>

namespace LumoraLib::detail
{
bool SizesAreSane(const File& file, std::int32_t nx, std::int32_t ny, std::int64_t perByte)
{
    constexpr std::int32_t largest = std::int32_t{1} << 30;
    constexpr std::int64_t freeBytes = 0x10000000;
    if (nx < 0 || ny < 0 || nx > largest || ny > largest)
        return false;
    if (nx == 0 || ny == 0)
        return true;
    const std::int64_t samples = RaisedToPowerOfTwo(nx) * RaisedToPowerOfTwo(ny); // at most 2^60
    constexpr std::int64_t each = sizeof(Complex);
    return samples <= freeBytes / each || samples / perByte <= file.Length() / each;
}

void RemakeGrid(Lumora& field, std::int32_t nx, std::int32_t ny)
{
    if (nx != 0 && ny != 0)
        return Resize(field, nx, ny);
    field.SetNx(nx).SetNy(
        ny); // no Init: with sizes of zero it would give a caller's buffer to Free, which no file may do
}

bool ReadSamples(File& file, Lumora& field, std::int32_t nx, std::int32_t ny, const char* operation)
{
    Complex* const samples = field.GetDataPointer();
    // The rest of a run that the file cuts short, down to half a sample.
    const auto read = [&file](Complex* to, std::uint64_t count)
    {
        const std::uint64_t bytes = count * sizeof(Complex);
        const std::uint64_t got = ReadMost(file, to, bytes);
        if (got < bytes)
        {
            const std::uint64_t whole = got / sizeof(Complex);
            FillSamples(to + whole, static_cast<std::size_t>(count - whole), Complex(0.0, 0.0));
        }
        return got == bytes;
    };
    constexpr std::size_t piece = std::size_t{1} << 21; // samples between two looks at the handler
    Progress progress(operation, static_cast<std::int64_t>(field.N()));
    if (field.N() == 0 || (field.GetNx() == nx && field.GetNy() == ny))
    {
        bool all = true;
        for (std::size_t at = 0; at < field.N(); at += piece)
        {
            progress.Step(static_cast<std::int64_t>(at));
            all = read(samples + at, std::min(piece, field.N() - at)) && all;
        }
        return all;
    }
    FillSamples(samples, field.N(), Complex(0.0, 0.0));
    const std::size_t x0 = static_cast<std::size_t>((field.GetNx() - nx) / 2);
    const std::size_t y0 = static_cast<std::size_t>((field.GetNy() - ny) / 2);
    for (std::size_t y = 0; y < static_cast<std::size_t>(ny); ++y)
        if (!read(samples + field.IJ(x0, y0 + y), static_cast<std::uint64_t>(nx)))
            return false;
    return true;
}
} // namespace LumoraLib::detail
