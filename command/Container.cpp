// What stands in an LM container: single fields, parts and segments, without loading more samples than asked for.
#include "Container.h"
#include "Invocation.h"

#include <LmlLarge.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>

namespace command
{
using namespace LumoraLib;

namespace
{
/// Reaches the steps of the container operations that derived classes may use.
class Reader : public Lumora
{
public:
    Reader() : Lumora(1, 1) {}

    void ReadParameters(const std::string& path)
    {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path.c_str(), "rb"), std::fclose);
        _LM_File file{};
        std::snprintf(file.path, sizeof file.path, "%s", path.c_str());
        std::snprintf(file.function, sizeof file.function, "lml");
        file.stream = stream.get();
        constexpr long kHeadAt = 2; // behind the letters
        if (!stream || std::fseek(stream.get(), kHeadAt, SEEK_SET) != 0)
            FileError(file, ERR_FILE_OPEN, nullptr);
        LoadParamLm(file);
    }
    Vector Displacement(int ix, int iy, int nx, int ny) const { return GetDispSegLm(ix, iy, nx, ny); }
};

std::int32_t Raised(std::int64_t size)
{
    constexpr std::int64_t kMost = std::int64_t{1} << 30;
    if (size < 0 || size > kMost)
        throw Failure("the whole grid of " + std::to_string(size) +
                      " samples on an axis is larger than a field can be");
    return static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint64_t>(size)));
}

/// A field with the parameters of the whole grid, or of one whose samples are blocks of `block`, cleared.
Lumora WholeGrid(const LmHead& head, std::int64_t width, std::int64_t height, int block)
{
    const Lumora& one = head.parameters;
    Lumora whole(Raised(width), Raised(height), one.GetPx() * block, one.GetPy() * block, one.GetWavelength());
    whole.Form() = const_cast<Lumora&>(one).Form();
    whole.SetOrigin(one.GetOrigin()).SetNormalVector(one.GetNormalVector());
    whole.Clear();
    const auto left = static_cast<std::int32_t>((whole.GetNx() - width) / 2);
    const auto bottom = static_cast<std::int32_t>((whole.GetNy() - height) / 2);
    whole.SetWindow(left, left + static_cast<std::int32_t>(width), bottom, bottom + static_cast<std::int32_t>(height));
    return whole;
}
} // namespace

LmHead ReadLmHead(const std::string& path)
{
    LmHead head;
    // The library tells the kinds apart by refusing those that it was not asked for.
    try
    {
        GetSizeSegLm(path.c_str(), head.segmentsX, head.segmentsY);
        head.kind = LmKind::Segments;
        const SegmentedField file(path.c_str(), SEGMENTED_READ, MISSING_ZERO);
        head.missing = file.CountMissing();
        head.parameters = Lumora(1, 1, file.GetPx(), file.GetPy(), file.GetWavelength());
        head.parameters.Form() = file.IsSpectrum() ? SPECTRUM : COMPLEX_AMPLITUDE;
        head.parameters.SetOrigin(file.GetOrigin()).SetNormalVector(file.GetNormalVector());
        head.parameters.SetNx(file.GetSegmentNx()).SetNy(file.GetSegmentNy());
        return head;
    }
    catch (const LumoraException&)
    {
        if (head.kind == LmKind::Segments)
            throw; // what is wrong with it is the news
    }
    try
    {
        head.parts = GetSizeMpLm(path.c_str());
        head.kind = LmKind::Parts;
        return head;
    }
    catch (const LumoraException&)
    {
        head.kind = LmKind::Single;
    }
    Reader reader;
    reader.ReadParameters(path);
    head.parameters.CopyParam(reader);
    head.parameters.SetNx(reader.GetNx()).SetNy(reader.GetNy());
    head.segmentsX = head.segmentsY = 1;
    return head;
}

Vector SegmentDisplacement(const Lumora& segment, int ix, int iy, int nx, int ny)
{
    Reader reader;
    reader.CopyParam(segment);
    reader.SetNx(segment.GetNx()).SetNy(segment.GetNy());
    return reader.Displacement(ix, iy, nx, ny);
}

Lumora LoadPart(const std::string& path, int index)
{
    Lumora field(1, 1);
    bool exists = false;
    field.LoadMpLm(path.c_str(), static_cast<std::uint16_t>(index), &exists);
    if (!exists)
        throw Failure(path + ": part " + std::to_string(index) + " was never written; lml info lists the parts");
    return field;
}

Lumora LoadSegment(const std::string& path, const LmHead& head, int ix, int iy)
{
    if (ix < 0 || iy < 0 || ix >= head.segmentsX || iy >= head.segmentsY)
        throw Failure(path + ": there is no segment " + std::to_string(ix) + "," + std::to_string(iy) + "; it has " +
                      std::to_string(head.segmentsX) + " by " + std::to_string(head.segmentsY) + ", counted from 0");
    const SegmentedField file(path.c_str());
    if (!file.Has(ix, iy))
        throw Failure(path + ": segment " + std::to_string(ix) + "," + std::to_string(iy) + " was never written");
    Lumora field(1, 1);
    file.GetSegment(ix, iy, field);
    return field;
}

void ForEachSegment(const std::string& path, const LmHead& head,
                    const std::function<void(const Lumora&, std::int64_t, std::int64_t)>& use)
{
    const SegmentedField file(path.c_str(), SEGMENTED_READ, MISSING_ZERO);
    const std::int32_t nx = file.GetSegmentNx();
    const std::int32_t ny = file.GetSegmentNy();
    Lumora segment(1, 1);
    for (int iy = 0; iy < head.segmentsY; ++iy)
        for (int ix = 0; ix < head.segmentsX; ++ix)
        {
            CheckForSignal();
            if (!file.Has(ix, iy))
                continue;
            file.GetSegment(ix, iy, segment);
            const int left = (segment.GetNx() - nx) / 2;
            const int bottom = (segment.GetNy() - ny) / 2;
            segment.SetWindow(left, left + nx, bottom, bottom + ny);
            use(segment, std::int64_t{ix} * nx - left, std::int64_t{iy} * ny - bottom);
        }
}

Lumora LoadWhole(const std::string& path, const LmHead& head)
{
    Lumora whole = WholeGrid(head, head.WholeX(), head.WholeY(), 1);
    const LML_RECT window = whole.Window();
    ForEachSegment(
        path, head,
        [&](const Lumora& segment, std::int64_t column, std::int64_t row)
        {
            const LML_RECT part = const_cast<Lumora&>(segment).Window();
            for (std::int32_t j = part.bottom; j < part.top; ++j)
            {
                const auto from = segment.IJ(static_cast<std::size_t>(part.left), static_cast<std::size_t>(j));
                const auto to = whole.IJ(static_cast<std::size_t>(window.left + column + part.left),
                                         static_cast<std::size_t>(window.bottom + row + j));
                std::copy_n(segment.GetDataPointer() + from, part.right - part.left, whole.GetDataPointer() + to);
            }
        });
    return whole;
}

Lumora LoadPreview(const std::string& path, const LmHead& head, int maxSide)
{
    int block = 1;
    while (std::max(head.WholeX(), head.WholeY()) / block > maxSide && head.parameters.GetNx() % (2 * block) == 0 &&
           head.parameters.GetNy() % (2 * block) == 0)
        block *= 2;
    Lumora preview = WholeGrid(head, head.WholeX() / block, head.WholeY() / block, block);
    const LML_RECT window = preview.Window();
    const auto fill = [&](const Lumora& segment, std::int64_t column, std::int64_t row)
    {
        const LML_RECT part = const_cast<Lumora&>(segment).Window();
        for (std::int32_t j = part.bottom; j < part.top; j += block)
            for (std::int32_t i = part.left; i < part.right; i += block)
            {
                double re = 0.0;
                double im = 0.0;
                double power = 0.0;
                for (std::int32_t y = j; y < j + block; ++y)
                    for (std::int32_t x = i; x < i + block; ++x)
                    {
                        const Complex value = segment.GetPixel(x, y);
                        re += value.GetReal();
                        im += value.GetImag();
                        power += value.GetReal() * value.GetReal() + value.GetImag() * value.GetImag();
                    }
                const double amplitude = std::sqrt(power) / block;
                const double size = std::hypot(re, im);
                const double scale = size > 0.0 ? amplitude / size : 0.0;
                preview.SetPixel(static_cast<int>(window.left + (column + i) / block),
                                 static_cast<int>(window.bottom + (row + j) / block),
                                 size > 0.0 ? Complex(re * scale, im * scale) : Complex(amplitude, 0.0));
            }
    };
    ForEachSegment(path, head, fill);
    return preview;
}

void SaveSegments(const Lumora& field, const std::string& path, int nx, int ny)
{
    if (!std::has_single_bit(static_cast<unsigned>(nx)) || !std::has_single_bit(static_cast<unsigned>(ny)) ||
        nx > field.GetNx() || ny > field.GetNy())
        throw Failure("the segments must divide the field's " + std::to_string(field.GetNx()) + " by " +
                      std::to_string(field.GetNy()) + " samples: take powers of two for --segments");
    CreateFileSegLm(path.c_str(), static_cast<std::uint16_t>(nx), static_cast<std::uint16_t>(ny));
    // The file's common origin is that of the whole grid, whichever segment is saved.
    Lumora segment(field.GetNx() / nx, field.GetNy() / ny);
    segment.CopyParam(field).SetWindowMax();
    for (int iy = 0; iy < ny; ++iy)
        for (int ix = 0; ix < nx; ++ix)
        {
            CheckForSignal();
            for (std::int32_t j = 0; j < segment.GetNy(); ++j)
            {
                const auto row = static_cast<std::size_t>(iy * segment.GetNy() + j);
                const auto from = field.IJ(static_cast<std::size_t>(ix * segment.GetNx()), row);
                std::copy_n(field.GetDataPointer() + from, static_cast<std::size_t>(segment.GetNx()),
                            segment.GetDataPointer() + segment.IJ(0, static_cast<std::size_t>(j)));
            }
            segment.SaveAsSegLm(path.c_str(), static_cast<std::uint16_t>(ix), static_cast<std::uint16_t>(iy));
        }
}
} // namespace command
