// Representative rows of a field: sums of its rows and columns, and where their light lies.
#include "advice/Probe.h"

#include "base/Constants.h"
#include "base/Parallel.h"
#include "field/FieldTools.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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

RowSet Empty(std::size_t n, double pitch, int count)
{
    RowSet set;
    set.pitch = pitch;
    set.rows.assign(static_cast<std::size_t>(count), std::vector<Complex>(n, Complex(0.0, 0.0)));
    return set;
}

RowSet Noise(std::int32_t n, double pitch, int axis, int count)
{
    RowSet set = Empty(static_cast<std::size_t>(n), pitch, count);
    for (int k = 0; k < count; ++k)
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

// Four floats, two samples: what every processor of the family has.
typedef float Lanes __attribute__((vector_size(16)));

Lanes Load(const float* from)
{
    Lanes lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

const float* Floats(const Complex* samples)
{
    return reinterpret_cast<const float*>(samples);
}

/// Factors as the sums read them: real and imaginary parts apart, each twice, for the two members of a sample. A sum
/// with real factors needs no exchange of members; the two are joined at the end.
struct Parts
{
    std::vector<float> re, im;
    explicit Parts(const std::vector<Complex>& factors) : re(2 * factors.size()), im(2 * factors.size())
    {
        for (std::size_t i = 0; i < factors.size(); ++i)
        {
            re[2 * i] = re[2 * i + 1] = static_cast<float>(factors[i].GetReal());
            im[2 * i] = im[2 * i + 1] = static_cast<float>(factors[i].GetImag());
        }
    }
};

/// The sums of a band of columns over all rows of the subset, in their order.
void SumRows(const Lumora& field, const std::vector<std::int32_t>& rows, const std::vector<Parts>& factors,
             std::size_t begin, std::size_t end, RowSet& to)
{
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    const std::size_t width = 2 * (end - begin);
    std::vector<float> sums(2 * width);
    constexpr std::size_t kTogether = 4; // rows, so that the sums are loaded and stored once for four
    for (std::size_t k = 0; k < to.rows.size(); ++k)
    {
        std::fill(sums.begin(), sums.end(), 0.0f);
        float* const re = sums.data();
        float* const im = sums.data() + width;
        std::size_t r = 0;
        for (; r + kTogether <= rows.size(); r += kTogether)
        {
            const float* in[kTogether];
            float a[kTogether];
            float b[kTogether];
            for (std::size_t q = 0; q < kTogether; ++q)
            {
                const std::size_t j = static_cast<std::size_t>(rows[r + q]);
                in[q] = Floats(field.GetDataPointer() + j * nx + begin);
                a[q] = factors[k].re[2 * j];
                b[q] = factors[k].im[2 * j];
            }
            for (std::size_t i = 0; i < width; ++i)
            {
                re[i] += (a[0] * in[0][i] + a[1] * in[1][i]) + (a[2] * in[2][i] + a[3] * in[3][i]);
                im[i] += (b[0] * in[0][i] + b[1] * in[1][i]) + (b[2] * in[2][i] + b[3] * in[3][i]);
            }
        }
        for (; r < rows.size(); ++r)
        {
            const std::size_t j = static_cast<std::size_t>(rows[r]);
            const float* const in = Floats(field.GetDataPointer() + j * nx + begin);
            for (std::size_t i = 0; i < width; ++i)
            {
                re[i] += factors[k].re[2 * j] * in[i];
                im[i] += factors[k].im[2 * j] * in[i];
            }
        }
        // (a + i b) (x + i y): the sums with b are turned by a right angle.
        for (std::size_t i = 0; i < width; i += 2)
            to.rows[k][begin + i / 2] = Complex(re[i] - im[i + 1], re[i + 1] + im[i]);
    }
}

/// The sum of row j over the blocks of columns that begin at `columns`.
void SumColumns(const Lumora& field, std::int32_t j, const std::vector<std::int32_t>& columns, std::size_t block,
                const std::vector<Parts>& factors, RowSet& to)
{
    const float* const row =
        Floats(field.GetDataPointer() + static_cast<std::size_t>(j) * static_cast<std::size_t>(field.GetNx()));
    for (std::size_t k = 0; k < to.rows.size(); ++k)
    {
        Lanes re[2] = {};
        Lanes im[2] = {};
        double tail[4] = {};
        for (const std::int32_t first : columns)
        {
            const std::size_t begin = 2 * static_cast<std::size_t>(first);
            const float* const in = row + begin;
            const float* const a = factors[k].re.data() + begin;
            const float* const b = factors[k].im.data() + begin;
            std::size_t i = 0;
            for (; i + 8 <= 2 * block; i += 8)
                for (std::size_t h = 0; h < 2; ++h)
                {
                    const Lanes x = Load(in + i + 4 * h);
                    re[h] += Load(a + i + 4 * h) * x;
                    im[h] += Load(b + i + 4 * h) * x;
                }
            for (; i < 2 * block; ++i)
            {
                tail[i % 2] += a[i] * in[i];
                tail[2 + i % 2] += b[i] * in[i];
            }
        }
        const Lanes r = re[0] + re[1];
        const Lanes q = im[0] + im[1];
        const double sumRe = tail[0] + r[0] + r[2] - (tail[3] + q[1] + q[3]);
        const double sumIm = tail[1] + r[1] + r[3] + (tail[2] + q[0] + q[2]);
        to.rows[k][static_cast<std::size_t>(j)] = Complex(sumRe, sumIm);
    }
}

/// Rows about 1 high: energies of very dark and very bright fields stay in the range of float.
void Normalise(RowSet& set)
{
    float peak = 0.0f;
    for (const std::vector<Complex>& row : set.rows)
        for (const Complex& a : row)
            peak =
                std::max({peak, std::abs(static_cast<float>(a.GetReal())), std::abs(static_cast<float>(a.GetImag()))});
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

RowSet RandomSigns(std::size_t n, double pitch, int axis, int count)
{
    RowSet set = Empty(n, pitch, count);
    for (std::size_t i = 0; i < n; ++i)
    {
        const std::uint64_t bits = Mixed(2 * i + static_cast<std::size_t>(axis));
        for (int k = 0; k < count; ++k)
            set.rows[static_cast<std::size_t>(k)][i] = Complex((bits >> k & 1u) != 0 ? 1.0 : -1.0, 0.0);
    }
    return set;
}

int ProbeRows(const Lumora& field)
{
    const double samples = static_cast<double>(field.GetNx()) * field.GetNy();
    return samples <= 262144.0 ? 6 : samples <= 1048576.0 ? 4 : 3;
}

Probe TakeProbe(const Lumora& field, const RowSet (&along)[2], std::size_t parts)
{
    const std::int32_t nx = field.GetNx();
    const std::int32_t ny = field.GetNy();
    const int count = static_cast<int>(along[0].rows.size());
    if (field.GetDataPointer() == nullptr)
        return {{Noise(nx, field.GetPx(), 0, count), Noise(ny, field.GetPy(), 1, count)}};
    if (field.IsPolarForm())
    {
        Lumora cartesian(field);
        MakeCartesian(cartesian);
        return TakeProbe(cartesian, along, parts);
    }
    Probe probe{{Empty(static_cast<std::size_t>(nx), field.GetPx(), count),
                 Empty(static_cast<std::size_t>(ny), field.GetPy(), count)}};
    std::vector<Parts> byRow;
    std::vector<Parts> byColumn;
    for (int k = 0; k < count; ++k)
    {
        byColumn.emplace_back(along[0].rows[static_cast<std::size_t>(k)]);
        byRow.emplace_back(along[1].rows[static_cast<std::size_t>(k)]);
    }
    // One place, chosen at random, in each of equal parts: a regular step would meet or miss whole patterns.
    const auto places = [parts](std::int32_t n, std::int32_t block)
    {
        std::vector<std::int32_t> at;
        const std::int64_t blocks = n / block;
        const std::int64_t wanted = parts == 0 ? blocks : std::min<std::int64_t>(blocks, std::int64_t(parts) / block);
        for (std::int64_t q = 0; q < wanted; ++q)
        {
            const std::int64_t first = q * blocks / wanted;
            const std::int64_t size = (q + 1) * blocks / wanted - first;
            const std::int64_t jitter = static_cast<std::int64_t>(Mixed(static_cast<std::uint64_t>(q)) >> 33) % size;
            at.push_back(static_cast<std::int32_t>((first + jitter) * block));
        }
        return at;
    };
    constexpr std::int32_t kLine = 8; // samples of a cache line
    const std::int32_t block = parts == 0 || nx <= static_cast<std::int32_t>(parts) ? nx : kLine;
    const std::vector<std::int32_t> rows = places(ny, 1);
    const std::vector<std::int32_t> columns = places(nx, block);
    constexpr std::int32_t kBand = 1024; // columns, whose sums stay in the first cache
    ParallelRows(0, (nx + kBand - 1) / kBand,
                 [&](std::int32_t band)
                 {
                     SumRows(field, rows, byRow, static_cast<std::size_t>(band) * kBand,
                             static_cast<std::size_t>(std::min(nx, (band + 1) * kBand)), probe.axis[0]);
                 });
    ParallelRows(0, ny,
                 [&](std::int32_t j)
                 { SumColumns(field, j, columns, static_cast<std::size_t>(block), byColumn, probe.axis[1]); });
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
