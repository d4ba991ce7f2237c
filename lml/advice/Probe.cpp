// Representative rows of a field: sums of its rows and columns, and where their light lies.
#include "advice/Probe.h"

#include "base/Constants.h"
#include "base/Parallel.h"
#include "field/FieldTools.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::detail
{
namespace
{
/// Bits of a counter, mixed.
std::uint64_t Mixed(std::uint64_t i)
{
    // Odd constants of a known mixing function (splitmix64): every output bit depends on every input bit.
    i += 0x9e3779b97f4a7c15u;
    i = (i ^ (i >> 30)) * 0xbf58476d1ce4e5b9u;
    i = (i ^ (i >> 27)) * 0x94d049bb133111ebu;
    return i ^ (i >> 31);
}

RowSet Empty(std::size_t n, double pitch)
{
    RowSet set;
    set.pitch = pitch;
    set.rows.assign(Probe::kRows, std::vector<Complex>(n, Complex(0.0, 0.0)));
    return set;
}

RowSet Noise(std::int32_t n, double pitch, int axis)
{
    RowSet set = Empty(static_cast<std::size_t>(n), pitch);
    for (int k = 0; k < Probe::kRows; ++k)
        for (std::int32_t i = 0; i < n; ++i)
        {
            const std::uint64_t bits =
                Mixed(Mixed(static_cast<std::uint64_t>(i)) + static_cast<std::uint64_t>(2 * k + axis));
            const double phase = static_cast<double>(bits >> 11) * 0x1p-53 * kTwoPi;
            set.rows[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)] =
                Complex(std::cos(phase), std::sin(phase));
        }
    return set;
}

const float* Floats(const Complex* samples)
{
    return reinterpret_cast<const float*>(samples);
}

/// Columns [begin, end) of the sums over the rows, in the order of the rows.
void SumRows(const Lumora& field, const RowSet& factors, std::int32_t begin, std::int32_t end, RowSet& to)
{
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    for (std::int32_t j = 0; j < field.GetNy(); ++j)
    {
        const float* const in = Floats(field.GetDataPointer() + static_cast<std::size_t>(j) * nx);
        for (std::size_t k = 0; k < to.rows.size(); ++k)
        {
            const Complex& factor = factors.rows[k][static_cast<std::size_t>(j)];
            const float re = static_cast<float>(factor.GetReal());
            const float im = static_cast<float>(factor.GetImag());
            float* const out = reinterpret_cast<float*>(to.rows[k].data());
            for (std::int32_t i = 2 * begin; i < 2 * end; i += 2)
            {
                const float a = in[i];
                const float b = in[i + 1];
                out[i] += re * a - im * b;
                out[i + 1] += re * b + im * a;
            }
        }
    }
}

/// Sample j of the sums over the columns: running sums of eight columns at a time, which compilers make vectors of.
void SumColumns(const Lumora& field, std::int32_t j, const RowSet& factors, RowSet& to)
{
    constexpr std::size_t kLanes = 8;
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    const float* const in = Floats(field.GetDataPointer() + static_cast<std::size_t>(j) * nx);
    for (std::size_t k = 0; k < to.rows.size(); ++k)
    {
        const float* const factor = Floats(factors.rows[k].data());
        float re[kLanes] = {};
        float im[kLanes] = {};
        std::size_t i = 0;
        for (; i + kLanes <= nx; i += kLanes)
            for (std::size_t l = 0; l < kLanes; ++l)
            {
                const std::size_t n = 2 * (i + l);
                re[l] += factor[n] * in[n] - factor[n + 1] * in[n + 1];
                im[l] += factor[n] * in[n + 1] + factor[n + 1] * in[n];
            }
        double sumRe = 0.0;
        double sumIm = 0.0;
        for (std::size_t l = 0; l < kLanes; ++l)
        {
            sumRe += re[l];
            sumIm += im[l];
        }
        for (; i < nx; ++i)
        {
            const std::size_t n = 2 * i;
            sumRe += factor[n] * in[n] - factor[n + 1] * in[n + 1];
            sumIm += factor[n] * in[n + 1] + factor[n + 1] * in[n];
        }
        to.rows[k][static_cast<std::size_t>(j)] = Complex(sumRe, sumIm);
    }
}

/// Rows about 1 high: energies of very dark and very bright fields stay in the range of float.
void Normalise(RowSet& set)
{
    float peak = 0.0f;
    for (const std::vector<Complex>& row : set.rows)
        for (const Complex& a : row)
            peak = std::max({peak, std::abs(static_cast<float>(a.GetReal())), std::abs(static_cast<float>(a.GetImag()))});
    if (!(peak > 0.0f))
        return;
    for (std::vector<Complex>& row : set.rows)
        for (Complex& a : row)
            a = Complex(a.GetReal() / static_cast<double>(peak), a.GetImag() / static_cast<double>(peak));
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

RowSet RandomSigns(std::size_t n, double pitch, int axis)
{
    RowSet set = Empty(n, pitch);
    for (std::size_t i = 0; i < n; ++i)
    {
        const std::uint64_t bits = Mixed(2 * i + static_cast<std::size_t>(axis));
        for (int k = 0; k < Probe::kRows; ++k)
            set.rows[static_cast<std::size_t>(k)][i] = Complex((bits >> k & 1u) != 0 ? 1.0 : -1.0, 0.0);
    }
    return set;
}

Probe TakeProbe(const Lumora& field, const RowSet (&along)[2])
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    if (field.GetDataPointer() == nullptr)
        return {{Noise(nx, field.GetPx(), 0), Noise(ny, field.GetPy(), 1)}};
    if (field.IsPolarForm())
    {
        Lumora cartesian(field);
        MakeCartesian(cartesian);
        return TakeProbe(cartesian, along);
    }
    Probe probe{{Empty(static_cast<std::size_t>(nx), field.GetPx()), Empty(static_cast<std::size_t>(ny), field.GetPy())}};
    constexpr std::int32_t kBlock = 256; // columns, whose sums stay in the first cache
    ParallelRows(0, (nx + kBlock - 1) / kBlock,
                 [&](std::int32_t block) {
                     SumRows(field, along[1], block * kBlock, std::min(nx, (block + 1) * kBlock), probe.axis[0]);
                 });
    ParallelRows(0, ny, [&](std::int32_t j) { SumColumns(field, j, along[0], probe.axis[1]); });
    Normalise(probe.axis[0]);
    Normalise(probe.axis[1]);
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
