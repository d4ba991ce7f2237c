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

/// Sums over the rows and over the columns of a field with pseudo-random signs: in the mean over the signs, the energy
/// of such a sum, in place and in frequency, is that of the field along the axis, and so is the energy of everything
/// that is linear along it. The signs are the same on every machine and for every thread count.
struct Probe
{
    static constexpr int kRows = 8;
    RowSet axis[2]; ///< along x and along y
};

/// Cost: one sweep over the samples for each axis. A field without samples stands for diffuse light on all of its grid.
Probe TakeProbe(const Lumora& field);

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
