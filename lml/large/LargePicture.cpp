// Pictures of fields in files, written row by row.
#include "LmlLarge.h"

#include "base/Progress.h"
#include "field/FieldTools.h"
#include "files/Bmp.h"
#include "large/NewFile.h"

#include <algorithm>
#include <string>

namespace LumoraLib
{
namespace
{
constexpr char fn[] = "LumoraLib::LargeSaveAsBmp";
} // namespace

void LargeSaveAsBmp(const char* path, const char* picture, Mode mode, double min, double max, Gradation gradation,
                    const LargeOptions& options)
{
    static_cast<void>(detail::LargeWithMemory(
        fn, options,
        [&]
        {
            if (!detail::IsFirst(options.ranks))
                return LargeReport(); // one rank writes, the others wait
            detail::SegmentedFile file = detail::OpenSource(fn, path, options);
            if (mode == ModeMaskedPhase)
                Error(ERR_PARAMETER, fn, "the masked phase needs the largest amplitude of all rows");
            if (!(min <= max))
                Error(ERR_PARAMETER, fn, "max is below min");
            const std::int64_t nx = file.Grid().Nx();
            const std::int64_t ny = file.Grid().Ny();
            constexpr std::int64_t kMost = (std::int64_t{1} << 30);
            if (nx > kMost || ny > kMost)
                Error(ERR_SOMETHING, fn, "a picture has at most 2^30 columns and rows");
            if (picture == nullptr || *picture == '\0')
                Error(ERR_FILE_OPEN, fn, "");
            detail::TemporaryFile part(std::string(picture) + ".part");
            detail::File to(part.Path().c_str(), "wb");
            if (!to.IsOpen())
                Error(ERR_FILE_OPEN, fn, picture);
            const LML_RECT all(0, static_cast<std::int32_t>(ny), static_cast<std::int32_t>(nx), 0);
            const detail::PictureSize size = detail::SizeOf(all, detail::kBmpPicture);
            const Lumora& common = file.Common();
            detail::WriteBmpStart(to, part.Path().c_str(), size, common.GetPx(), common.GetPy(), gradation);
            // Rows in the lower left corner of a field that has room for them.
            const std::uint64_t memory = options.memory == 0 ? std::uint64_t{1} << 26 : options.memory;
            const std::int64_t fit = static_cast<std::int64_t>(
                std::clamp<std::uint64_t>(memory / (2 * sizeof(Complex) * static_cast<std::uint64_t>(nx)), 1, 1024));
            Lumora strip(static_cast<int>(nx), static_cast<int>(std::min(fit, ny)));
            strip.Clear();
            detail::FieldAccess::SetForm(strip, detail::FieldAccess::Form(common));
            const std::int64_t each = strip.GetNy();
            detail::Progress progress(fn, ny);
            for (std::int64_t y = 0; y < ny; y += each)
            {
                progress.Step(y);
                const std::int64_t rows = std::min(each, ny - y);
                if (!file.ReadSamples(0, y, nx, rows, strip.GetDataPointer(), static_cast<std::size_t>(strip.GetNx())))
                    Error(ERR_FILE_READ, fn, file.Path().c_str());
                const LML_RECT window(0, static_cast<std::int32_t>(rows), static_cast<std::int32_t>(nx), 0);
                detail::WritePixels(to, part.Path().c_str(), fn, strip, window, mode, detail::kBmpPicture, {min, max},
                                    0);
            }
            to.Close(part.Path().c_str());
            if (!part.MoveTo(picture))
                Error(ERR_FILE_WRITE, fn, picture);
            return LargeReport();
        }));
}
} // namespace LumoraLib
