// The exchange of one process: tiles in a scratch file.
#include "large/ScratchExchange.h"

namespace LumoraLib::detail
{
std::int64_t ScratchExchange::Bytes() const
{
    return static_cast<std::int64_t>((layout_.units.size() + 1) * layout_.slot * layout_.rows * sizeof(Complex));
}

std::int64_t ScratchExchange::At(std::size_t band, std::size_t slot) const
{
    const std::size_t before = band * layout_.bandRows * (layout_.units.size() + 1);
    return static_cast<std::int64_t>((before + slot * layout_.RowsOf(band)) * layout_.slot * sizeof(Complex));
}

bool ScratchExchange::PutBand(std::size_t round, const Complex* tiles)
{
    const std::uint64_t samples = std::uint64_t{layout_.units.size()} * layout_.RowsOf(round) * layout_.slot;
    return file_.WriteAt(At(round, 1), tiles, samples * sizeof(Complex));
}

bool ScratchExchange::TakeBand(std::size_t round, Complex* tiles)
{
    const std::uint64_t samples = std::uint64_t{layout_.units.size()} * layout_.RowsOf(round) * layout_.slot;
    return file_.ReadAt(At(round, 0), tiles, samples * sizeof(Complex));
}

bool ScratchExchange::TakeUnit(std::size_t round, Complex* unit)
{
    const std::size_t width = layout_.units[round].Width();
    for (std::size_t band = 0; band < layout_.Bands(); ++band)
    {
        const std::size_t samples = layout_.RowsOf(band) * width;
        if (!file_.ReadAt(At(band, round + 1), unit, samples * sizeof(Complex)))
            return false;
        unit += samples;
    }
    return true;
}

bool ScratchExchange::PutUnit(std::size_t round, const Complex* unit)
{
    const std::size_t width = layout_.units[round].Width();
    for (std::size_t band = 0; band < layout_.Bands(); ++band)
    {
        const std::size_t samples = layout_.RowsOf(band) * width;
        if (!file_.WriteAt(At(band, round), unit, samples * sizeof(Complex)))
            return false;
        unit += samples;
    }
    return true;
}
} // namespace LumoraLib::detail
