// One field in a segmented LM file, seen as a whole: rectangles of it as fields in their right places.
#include "LmlLarge.h"

#include "base/Describe.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "files/FieldFile.h"
#include "large/SegmentedFile.h"

#include <cmath>
#include <utility>

namespace LumoraLib
{
namespace
{
constexpr char fn[] = "LumoraLib::SegmentedField";
constexpr std::int32_t kLongest = std::int32_t{1} << 30;

std::unique_ptr<detail::SegmentedFile> WithFile(const auto& make)
{
    return detail::WithMemory(make, [] { Error(ERR_MEMORY, fn, "segment table"); });
}

void RequireRectangle(const detail::SegmentedFile& file, std::int64_t x, std::int64_t y, std::int64_t nx,
                      std::int64_t ny)
{
    const std::int64_t width = file.Grid().Nx();
    const std::int64_t height = file.Grid().Ny();
    const bool inside = nx >= 1 && ny >= 1 && x >= 0 && y >= 0 && nx <= kLongest && ny <= kLongest && x <= width - nx &&
                        y <= height - ny;
    if (!inside)
        Error(ERR_PARAMETER, fn,
              detail::Explained("the rectangle does not lie in the field",
                                "%lld by %lld samples from (%lld, %lld) on; the field has %lld by %lld.",
                                static_cast<long long>(nx), static_cast<long long>(ny), static_cast<long long>(x),
                                static_cast<long long>(y), static_cast<long long>(width),
                                static_cast<long long>(height)));
}

void RequireSegment(const detail::SegmentedFile& file, int ix, int iy)
{
    if (ix < 0 || iy < 0 || ix >= file.Grid().segmentsX || iy >= file.Grid().segmentsY)
        Error(ERR_PARAMETER, fn,
              detail::Explained("there is no such segment", "Segment (%d, %d); the file has %d by %d.", ix, iy,
                                file.Grid().segmentsX, file.Grid().segmentsY));
}

void RequirePresent(const detail::SegmentedFile& file, MissingSegments missing, std::int64_t x, std::int64_t y,
                    std::int64_t nx, std::int64_t ny)
{
    if (missing != MISSING_REFUSED)
        return;
    const detail::SegmentGrid& grid = file.Grid();
    for (std::int64_t iy = y / grid.ny; iy <= (y + ny - 1) / grid.ny; ++iy)
        for (std::int64_t ix = x / grid.nx; ix <= (x + nx - 1) / grid.nx; ++ix)
            if (!file.Has(static_cast<int>(ix), static_cast<int>(iy)))
                Error(ERR_PARAMETER, fn,
                      detail::Explained("a segment is missing", "Segment (%d, %d) was never written.",
                                        static_cast<int>(ix), static_cast<int>(iy)));
}

/// What a field must share with the file whose samples it becomes.
void RequireFitting(const detail::SegmentedFile& file, const Lumora& field)
{
    const Lumora& common = file.Common();
    detail::FieldAccess::RequireSamples(field, fn);
    if (field.IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, "the samples are polar");
    const bool fits = field.IsSpectrum() == common.IsSpectrum() && field.GetPx() == common.GetPx() &&
                      field.GetPy() == common.GetPy() && field.GetWavelength() == common.GetWavelength() &&
                      field.GetNormalVector().GetDistance(common.GetNormalVector()) <= GetPositionTolerance();
    if (!fits)
        Error(ERR_PARAMETER, fn,
              detail::Differing("the field does not fit the file", field, common,
                                detail::COMPARED_PITCHES | detail::COMPARED_WAVELENGTHS | detail::COMPARED_NORMALS));
}
} // namespace

SegmentedField::SegmentedField(const char* path, SegmentedAccess access, MissingSegments missing)
    : file_(WithFile(
          [&]
          {
              return std::make_unique<detail::SegmentedFile>(
                  path, access == SEGMENTED_READ ? detail::BlockFile::Read : detail::BlockFile::Update, fn);
          })),
      missing_(missing)
{
}

SegmentedField::SegmentedField() = default;
SegmentedField::~SegmentedField() = default;
SegmentedField::SegmentedField(SegmentedField&& other) noexcept = default;
SegmentedField& SegmentedField::operator=(SegmentedField&& other) noexcept = default;

SegmentedField SegmentedField::Create(const char* path, const Lumora& like, std::uint16_t segmentsX,
                                      std::uint16_t segmentsY, std::int32_t nx, std::int32_t ny)
{
    const detail::SegmentGrid grid = {segmentsX, segmentsY, nx, ny};
    SegmentedField field;
    field.file_ = WithFile([&] { return std::make_unique<detail::SegmentedFile>(path, grid, like, fn); });
    return field;
}

std::int64_t SegmentedField::GetNx() const
{
    return file_->Grid().Nx();
}
std::int64_t SegmentedField::GetNy() const
{
    return file_->Grid().Ny();
}
int SegmentedField::GetSegmentsX() const
{
    return file_->Grid().segmentsX;
}
int SegmentedField::GetSegmentsY() const
{
    return file_->Grid().segmentsY;
}
std::int32_t SegmentedField::GetSegmentNx() const
{
    return file_->Grid().nx;
}
std::int32_t SegmentedField::GetSegmentNy() const
{
    return file_->Grid().ny;
}
double SegmentedField::GetPx() const
{
    return file_->Common().GetPx();
}
double SegmentedField::GetPy() const
{
    return file_->Common().GetPy();
}
double SegmentedField::GetWavelength() const
{
    return file_->Common().GetWavelength();
}
bool SegmentedField::IsSpectrum() const
{
    return file_->Common().IsSpectrum();
}
Vector SegmentedField::GetOrigin() const
{
    return file_->Common().GetOrigin();
}
Vector SegmentedField::GetOrigin(int ix, int iy) const
{
    RequireSegment(*file_, ix, iy);
    return file_->SegmentOrigin(ix, iy);
}
Vector SegmentedField::GetNormalVector() const
{
    return file_->Common().GetNormalVector();
}
bool SegmentedField::Has(int ix, int iy) const
{
    RequireSegment(*file_, ix, iy);
    return file_->Has(ix, iy);
}
int SegmentedField::CountMissing() const
{
    return file_->CountMissing();
}

void SegmentedField::Read(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, Complex* to,
                          std::size_t stride) const
{
    RequireRectangle(*file_, x, y, nx, ny);
    RequirePresent(*file_, missing_, x, y, nx, ny);
    if (!file_->ReadSamples(x, y, nx, ny, to, stride))
        Error(ERR_FILE_READ, fn, file_->Path().c_str());
}

void SegmentedField::Get(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, Lumora& to) const
{
    RequireRectangle(*file_, x, y, nx, ny);
    RequirePresent(*file_, missing_, x, y, nx, ny);
    const Lumora& common = file_->Common();
    detail::RemakeGrid(to, nx, ny);
    const std::int32_t left = (to.GetNx() - nx) / 2;
    const std::int32_t below = (to.GetNy() - ny) / 2;
    if (to.GetNx() != nx || to.GetNy() != ny)
        detail::FillSamples(to.GetDataPointer(), to.N(), Complex());
    const std::size_t stride = static_cast<std::size_t>(to.GetNx());
    detail::FieldAccess::SetForm(to, detail::FieldAccess::Form(common));
    to.SetWavelength(common.GetWavelength()).SetPx(common.GetPx()).SetPy(common.GetPy());
    to.SetNormalVector(common.GetNormalVector());
    to.SetWindowMax();
    // The sample that stands at the field's origin is column x - left + Nx / 2 of the whole; that of a segment's own
    // size stands where LoadSegLm puts it.
    const Vector origin = common.GetOrigin();
    const double i = static_cast<double>(x - left + to.GetNx() / 2) - static_cast<double>(file_->Grid().Nx()) / 2.0;
    const double j = static_cast<double>(y - below + to.GetNy() / 2) - static_cast<double>(file_->Grid().Ny()) / 2.0;
    to.SetOrigin(Vector(origin.x + i * common.GetPx(), origin.y + j * common.GetPy(), origin.z));
    Complex* const first = to.GetDataPointer() + static_cast<std::size_t>(below) * stride + left;
    if (!file_->ReadSamples(x, y, nx, ny, first, stride))
        Error(ERR_FILE_READ, fn, file_->Path().c_str());
}

void SegmentedField::GetSegment(int ix, int iy, Lumora& to) const
{
    RequireSegment(*file_, ix, iy);
    const detail::SegmentGrid& grid = file_->Grid();
    Get(std::int64_t{ix} * grid.nx, std::int64_t{iy} * grid.ny, grid.nx, grid.ny, to);
    if (to.GetNx() == grid.nx && to.GetNy() == grid.ny)
        to.SetOrigin(file_->SegmentOrigin(ix, iy)); // the same place, to the last bit of LoadSegLm
}

void SegmentedField::Write(std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny, const Complex* from,
                           std::size_t stride)
{
    RequireRectangle(*file_, x, y, nx, ny);
    if (!file_->Writes())
        Error(ERR_FILE_WRITE, fn, "the file was opened for reading");
    detail::WithMemory([&] { file_->Prepare(x, y, nx, ny); }, [] { Error(ERR_MEMORY, fn, "segment table"); });
    if (!file_->WriteSamples(x, y, nx, ny, from, stride))
        Error(ERR_FILE_WRITE, fn, file_->Path().c_str());
    file_->Show();
}

void SegmentedField::Put(std::int64_t x, std::int64_t y, const Lumora& from)
{
    RequireFitting(*file_, from);
    Write(x, y, from.GetNx(), from.GetNy(), from.GetDataPointer(), static_cast<std::size_t>(from.GetNx()));
}

void SegmentedField::PutSegment(int ix, int iy, const Lumora& from)
{
    RequireSegment(*file_, ix, iy);
    const detail::SegmentGrid& grid = file_->Grid();
    if (from.GetNx() != grid.nx || from.GetNy() != grid.ny)
        Error(ERR_PARAMETER, fn,
              detail::Explained("the field has not the size of a segment", "%d by %d samples; a segment has %d by %d.",
                                from.GetNx(), from.GetNy(), grid.nx, grid.ny));
    Put(std::int64_t{ix} * grid.nx, std::int64_t{iy} * grid.ny, from);
}
} // namespace LumoraLib
