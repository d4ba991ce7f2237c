// Representative rows of a field: sums of its rows and columns with pseudo-random signs, and where their light lies.
#include "advice/Probe.h"

#include "base/Parallel.h"
#include "field/FieldTools.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::detail
{
namespace
{
/// Bits of a counter, mixed: bit k is the sign of index i in sum k.
std::uint64_t Mixed(std::uint64_t i)
{
    // Odd constants of a known mixing function (splitmix64): every output bit depends on every input bit.
    i += 0x9e3779b97f4a7c15u;
    i = (i ^ (i >> 30)) * 0xbf58476d1ce4e5b9u;
    i = (i ^ (i >> 27)) * 0x94d049bb133111ebu;
    return i ^ (i >> 31);
}

float Sign(std::int32_t index, int row, int axis)
{
    return (Mixed(static_cast<std::uint64_t>(index) * 2u + static_cast<std::uint64_t>(axis)) >> row & 1u) != 0 ? 1.0f
                                                                                                               : -1.0f;
}

RowSet Empty(std::int32_t n, double pitch)
{
    RowSet set;
    set.pitch = pitch;
    set.rows.assign(Probe::kRows, std::vector<Complex>(static_cast<std::size_t>(n), Complex(0.0, 0.0)));
    return set;
}

RowSet Diffuse(std::int32_t n, double pitch, int axis)
{
    RowSet set = Empty(n, pitch);
    for (int k = 0; k < Probe::kRows; ++k)
        for (std::int32_t i = 0; i < n; ++i)
        {
            const std::uint64_t bits = Mixed(Mixed(static_cast<std::uint64_t>(i)) + static_cast<std::uint64_t>(2 * k + axis));
            const double phase = static_cast<double>(bits >> 11) * 0x1p-53 * 6.283185307179586;
            set.rows[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)] =
                Complex(std::cos(phase), std::sin(phase));
        }
    return set;
}

/// Columns [begin, end) of the sums over the rows, in the order of the rows.
void SumRows(const Complex* samples, std::int32_t nx, std::int32_t ny, std::int32_t begin, std::int32_t end, RowSet& to)
{
    for (std::int32_t j = 0; j < ny; ++j)
    {
        const Complex* const from = samples + static_cast<std::size_t>(j) * static_cast<std::size_t>(nx);
        for (int k = 0; k < Probe::kRows; ++k)
        {
            const float sign = Sign(j, k, 0);
            const float* const in = reinterpret_cast<const float*>(from);
            float* const out = reinterpret_cast<float*>(to.rows[static_cast<std::size_t>(k)].data());
            for (std::int32_t i = 2 * begin; i < 2 * end; ++i)
                out[i] += sign * in[i];
        }
    }
}

/// Row j of the sums over the columns.
void SumColumns(const Complex* samples, std::int32_t nx, std::int32_t j, const std::vector<float>& signs, RowSet& to)
{
    const float* const in =
        reinterpret_cast<const float*>(samples + static_cast<std::size_t>(j) * static_cast<std::size_t>(nx));
    constexpr std::int32_t kLanes = 16; // a fixed order of partial sums that compilers make vectors of
    for (int k = 0; k < Probe::kRows; ++k)
    {
        const float* const sign = signs.data() + static_cast<std::size_t>(k) * 2 * static_cast<std::size_t>(nx);
        float sums[kLanes] = {};
        std::int32_t i = 0;
        for (; i + kLanes <= 2 * nx; i += kLanes)
            for (std::int32_t l = 0; l < kLanes; ++l)
                sums[l] += sign[i + l] * in[i + l];
        double re = 0.0;
        double im = 0.0;
        for (std::int32_t l = 0; l < kLanes; l += 2)
        {
            re += sums[l];
            im += sums[l + 1];
        }
        for (; i < 2 * nx; i += 2)
        {
            re += sign[i] * in[i];
            im += sign[i + 1] * in[i + 1];
        }
        to.rows[static_cast<std::size_t>(k)][static_cast<std::size_t>(j)] = Complex(re, im);
    }
}

/// The cut of `share` of the energy, half of it at each end: first and last index that stay.
void CutEnds(const std::vector<double>& energy, double share, std::size_t& first, std::size_t& last)
{
    double all = 0.0;
    for (const double e : energy)
        all += e;
    first = 0;
    last = energy.size() - 1;
    double cut = energy[first];
    while (first < last && cut <= 0.5 * share * all)
        cut += energy[++first];
    cut = energy[last];
    while (last > first && cut <= 0.5 * share * all)
        cut += energy[--last];
}

constexpr double kOutside = 1e-3; // of the energy: 99.9 percent lie inside
} // namespace

double RowSet::Energy(std::size_t begin, std::size_t end) const
{
    double sum = 0.0;
    for (const std::vector<Complex>& row : rows)
        for (std::size_t i = begin; i < end; ++i)
            sum += row[i].Intensity();
    return sum;
}

Probe TakeProbe(const Lumora& field)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    Probe probe;
    if (field.GetDataPointer() == nullptr)
    {
        probe.axis[0] = Diffuse(nx, field.GetPx(), 0);
        probe.axis[1] = Diffuse(ny, field.GetPy(), 1);
        return probe;
    }
    if (field.IsPolarForm())
    {
        Lumora cartesian(field);
        MakeCartesian(cartesian);
        return TakeProbe(cartesian);
    }
    probe.axis[0] = Empty(nx, field.GetPx());
    probe.axis[1] = Empty(ny, field.GetPy());
    const Complex* const samples = field.GetDataPointer();
    constexpr std::int32_t kBlock = 256; // columns; eight sums of a block stay in the first cache
    ParallelRows(0, (nx + kBlock - 1) / kBlock,
                 [&](std::int32_t block) {
                     SumRows(samples, nx, ny, block * kBlock, std::min(nx, (block + 1) * kBlock), probe.axis[0]);
                 });
    std::vector<float> signs(static_cast<std::size_t>(Probe::kRows) * 2 * static_cast<std::size_t>(nx));
    for (int k = 0; k < Probe::kRows; ++k)
        for (std::int32_t i = 0; i < 2 * nx; ++i)
            signs[static_cast<std::size_t>(k) * 2 * static_cast<std::size_t>(nx) + static_cast<std::size_t>(i)] =
                Sign(i / 2, k, 1);
    ParallelRows(0, ny, [&](std::int32_t j) { SumColumns(samples, nx, j, signs, probe.axis[1]); });
    return probe;
}

Stretch LitExtent(const RowSet& rows)
{
    std::vector<double> energy(rows.Length(), 0.0);
    for (const std::vector<Complex>& row : rows.rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            energy[i] += row[i].Intensity();
    std::size_t first = 0;
    std::size_t last = 0;
    CutEnds(energy, kOutside, first, last);
    const double half = static_cast<double>(energy.size() / 2);
    return {(static_cast<double>(first) - half) * rows.pitch, (static_cast<double>(last) - half) * rows.pitch};
}

Stretch LitBand(const RowSet& rows)
{
    const std::size_t n = rows.Length();
    const std::vector<double> energy = BandEnergy(rows, n);
    std::size_t first = 0;
    std::size_t last = 0;
    CutEnds(energy, kOutside, first, last);
    const double half = static_cast<double>(n / 2);
    const double step = 1.0 / (static_cast<double>(n) * rows.pitch);
    return {(static_cast<double>(first) - half) * step, (static_cast<double>(last) - half) * step};
}

std::vector<double> BandEnergy(const RowSet& rows, std::size_t bins)
{
    const std::size_t n = rows.Length();
    std::vector<double> energy(bins, 0.0);
    double all = 0.0;
    for (const std::vector<Complex>& row : rows.rows)
    {
        std::vector<Complex> spectrum(row);
        if (n > 1)
            WideFft1d(spectrum.data(), n, -1, true, 1.0f, 1);
        for (std::size_t i = 0; i < n; ++i)
        {
            const double e = spectrum[i].Intensity();
            energy[i * bins / n] += e;
            all += e;
        }
    }
    for (double& e : energy)
        e = all > 0.0 ? e / all : 0.0;
    return energy;
}
} // namespace LumoraLib::detail
