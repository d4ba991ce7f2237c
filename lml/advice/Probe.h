// Representative rows of a field: what the adviser looks at in place of the field.
#ifndef LML_PROBE_H
#define LML_PROBE_H

#include "LmlLumora.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib::detail
{
/// Rows along one axis, sample n/2 of each at the centre of its grid.
struct RowSet
{
    std::vector<std::vector<Complex>> rows;
    double pitch = 0.0;

    std::size_t Length() const { return rows.empty() ? 0 : rows.front().size(); }
    /// Energy of the samples [begin, end) of all rows.
    double Energy(std::size_t begin, std::size_t end) const;
    double Energy() const { return Energy(0, Length()); }
};

/// Rows in place of a field: sums over its rows for the axis along x and over its columns for that along y, each sum
/// with other factors.
struct Probe
{
    static constexpr int kRows = 6;
    RowSet axis[2];
};

/// Pseudo-random signs, the same on every machine: in the mean over them, the energy of a sum with such factors, in
/// place and in frequency, is that of the field along the axis.
RowSet RandomSigns(std::size_t n, double pitch, int axis);

/// The sums with `along[a]` as factors of the samples of axis a. A field without samples stands for diffuse light on
/// all of its grid, of which any sum is noise.
/// Cost: one sweep over the samples for each axis. The same rows for every thread count.
Probe TakeProbe(const Lumora& field, const RowSet (&along)[2]);

/// A stretch of an axis, low and high end.
struct Stretch
{
    double low = 0.0;
    double high = 0.0;
};

/// The shortest symmetric cut at both ends of the axis that leaves 99.9 percent of the energy: where the rows' light
/// lies, in metres, and where that of their spectra lies, in cycles per metre.
Stretch LitExtent(const RowSet& rows);
Stretch LitBand(const RowSet& rows);

/// Energy by frequency in bins of equal width over the band |u| <= 1 / (2 pitch), their sum 1 (0 for a dark set).
std::vector<double> BandEnergy(const RowSet& rows, std::size_t bins);
} // namespace LumoraLib::detail

#endif
