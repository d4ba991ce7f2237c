// The oldest propagators, kept for compatibility: no band limit, no normalisation, and a form with sine and cosine
// tables.
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Memory.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "transform/CentredFft.h"
#include "transform/ChirpPhase.h"

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace LumoraLib
{
namespace
{
using detail::kTwoPi;

constexpr char kTableLabel[] = ": TrigTable";

/// Tables stay to the end of the process; the list keeps them reachable, since copies of a TrigTable come and go.
struct KeptTables
{
    double* cosines;
    double* sines;
    KeptTables* next;
};
std::atomic<KeptTables*> keptTables{nullptr};

/// truncate(turns * n + 0.5) & mask, the truncation toward zero in 64 bits: large propagation distances stay in range.
/// Kept: half a step is added below zero too, so negative turns find an entry up to one and a half steps above.
/// Beyond 64 bits, and for not-a-number, the index is 0.
std::size_t TableIndex(double turns, std::uint32_t n, std::uint32_t mask)
{
    const double t = turns * n + 0.5;
    if (!(t > -9223372036854775808.0 && t < 9223372036854775808.0))
        return 0;
    return static_cast<std::size_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(t)) & mask);
}

/// The one-row path on the first row, polar samples converted before or taken as they are.
void PropagateRow(Lumora& field, double z, bool convert)
{
    const std::int32_t nx = field.GetNx();
    Complex* const samples = field.GetDataPointer();
    if (field.N() == 0)
    {
        if (convert)
            detail::MakeCartesian(field);
        return;
    }
    const detail::ReadyTransform there(samples, nx, 1, -1);
    const detail::ReadyTransform back(samples, nx, 1, 1);
    if (convert)
        detail::MakeCartesian(field);
    there.Run();
    const double lambda = field.GetWavelength();
    const double c = 1.0 / (lambda * lambda);
    // Kept: the frequency is a running sum and the phase a float, so far samples differ from those of the 2-D form.
    double u = -1.0 / (2.0 * field.GetPx());
    const double step = 1.0 / (nx * field.GetPx());
    for (std::int32_t i = 0; i < nx; ++i)
    {
        const double q = c - u * u;
        if (q > 0.0)
            samples[i] = detail::TimesUnit(samples[i], static_cast<float>(std::sqrt(q) * z * kTwoPi));
        u += step;
    }
    back.Run();
}
} // namespace

// ---------------------------------------------------------------------------------------------------- TrigTable

TrigTable::TrigTable(unsigned int bits)
    : cosTable(nullptr), sinTable(nullptr), n(std::uint32_t{1} << (bits & 31u)), mask(n - 1u)
{
    auto cosines = detail::MallocArray<double>(n, kTableLabel);
    auto sines = detail::MallocArray<double>(n, kTableLabel);
    auto kept = detail::MallocArray<KeptTables>(1, kTableLabel);
    cosTable = cosines.release();
    sinTable = sines.release();
    for (std::uint32_t i = 0; i < n; ++i)
    {
        const double t = i * kTwoPi;
        detail::SinCos1(t / n, sinTable[i], cosTable[i]);
    }
    *kept.get() = {cosTable, sinTable, keptTables.load(std::memory_order_relaxed)};
    while (!keptTables.compare_exchange_weak(kept.get()->next, kept.get(), std::memory_order_release,
                                             std::memory_order_relaxed))
    {
    }
    static_cast<void>(kept.release());
}

TrigTable& TrigTable::operator=(const TrigTable& other) = default;

double TrigTable::Sin(double radians) const
{
    return SinR(radians / kTwoPi);
}

double TrigTable::Cos(double radians) const
{
    return CosR(radians / kTwoPi);
}

double TrigTable::SinR(double revolutions) const
{
    return sinTable[TableIndex(revolutions, n, mask)];
}

double TrigTable::CosR(double revolutions) const
{
    return cosTable[TableIndex(revolutions, n, mask)];
}

// --------------------------------------------------------------------------------------------------- propagators

Lumora& Lumora::SPWProp(double z)
{
    return AsmProp(z);
}

Lumora& Lumora::_Old_SPWProp(double z)
{
    static constexpr char fn[] = "LumoraLib::Lumora::_Old_SPWProp";
    detail::RequireTransformable(*this, fn);
    if (IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    if (ny_ == 1)
    {
        // Kept: a polar field of one row comes back cartesian.
        PropagateRow(*this, z, true);
        return *this;
    }
    const detail::ReadyTransform there(dataPointer_, nx_, ny_, -1);
    const detail::ReadyTransform back(dataPointer_, nx_, ny_, 1);
    const std::int64_t samples = static_cast<std::int64_t>(N());
    detail::Progress progress(fn, 3 * samples, samples);
    progress.Step(0);
    const detail::CartesianSamples cartesian(*this);
    there.RunWatched();
    const double du = 1.0 / (nx_ * px_);
    const double dv = 1.0 / (ny_ * py_);
    const double lambda = GetWavelength();
    const double c = 1.0 / (lambda * lambda);
    for (std::int32_t j = 0; N() != 0 && j < ny_; ++j)
    {
        const double v = (j - ny_ / 2) * dv;
        Complex* const row = dataPointer_ + Index(0, j);
        for (std::int32_t i = 0; i < nx_; ++i)
        {
            const double u = (i - nx_ / 2) * du;
            const double q = c - v * v - u * u;
            if (q > 0.0)
                row[i] = detail::TimesUnit(row[i], kTwoPi * z * std::sqrt(q)); // Kept: the evanescent part stays
        }
    }
    // Kept: no division by Nx * Ny; the caller scales.
    progress.Step(2 * samples);
    back.RunWatched();
    px_ = 1.0 / (nx_ * du);
    py_ = 1.0 / (ny_ * dv);
    return *this;
}

void Lumora::SPW1d(double z)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SPW1d";
    detail::RequireTransformable(*this, fn);
    PropagateRow(*this, z, false);
}

Lumora& Lumora::SPWPropFsTbl(double z, TrigTable table)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SPWPropFsTbl";
    RequireSamples(fn);
    detail::MakeCartesian(*this); // Kept: not converted back, also where the field is refused
    if (!IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    if (N() == 0)
        return *this;
    const double lambda = GetWavelength();
    const double c = 1.0 / (lambda * lambda);
    const std::int32_t h = nx_ / 2;
    const std::int32_t g = ny_ / 2;
    const auto factor = [&](double q)
    {
        const std::size_t e = TableIndex(std::sqrt(q) * z, table.n, table.mask);
        return ComplexDouble(table.cosTable[e], table.sinTable[e]);
    };
    // Products and quotients in double, rounded once.
    const auto times = [this](std::int32_t i, std::int32_t j, const ComplexDouble& t)
    {
        Pixel(i, j) = Complex(ComplexDouble(Pixel(i, j)) * t);
    };
    const auto multiply = [&](std::int32_t i, std::int32_t j, double q)
    {
        if (q > 0.0)
            times(i, j, factor(q));
    };
    for (std::int32_t r = 1; r < g; ++r)
    {
        const double v = r * py_;
        for (std::int32_t i = 1; i < h; ++i)
        {
            const double u = i * px_;
            const double q = c - v * v - u * u;
            if (!(q > 0.0))
                continue;
            const ComplexDouble t = factor(q);
            times(h + i, g + r, t);
            times(h + i, g - r, t);
            times(h - i, g + r, t);
            times(h - i, g - r, t);
        }
    }
    const double vEdge = -g * py_;
    for (std::int32_t i = 0; i < nx_; ++i)
    {
        const double u = (i - h) * px_;
        const double q = c - u * u;
        multiply(i, g, q);
        multiply(i, 0, q - vEdge * vEdge);
    }
    // The column pass reaches the centre and the corner again, so one factor is taken out of each.
    // Kept: samples (0, Ny/2) and (Nx/2, 0) are reached twice as well and are not corrected; the two corrected ones
    // carry the difference between the table's entry and the exact phase; the corner's root is not guarded, so that a
    // corner beyond the evanescent limit becomes not-a-number.
    const double cornerU = h * px_;
    const double cornerV = g * py_;
    const auto divide = [&](std::int32_t i, std::int32_t j, double root)
    {
        const ComplexDouble t = detail::Unit(static_cast<float>(kTwoPi * z * root));
        Pixel(i, j) = Complex(ComplexDouble(Pixel(i, j)) / t);
    };
    divide(h, g, std::sqrt(c));
    divide(0, 0, std::sqrt(c - cornerU * cornerU - cornerV * cornerV));
    const double uEdge = -h * px_;
    for (std::int32_t j = 0; j < ny_; ++j)
    {
        const double v = (j - g) * py_;
        const double q = c - v * v;
        multiply(h, j, q);
        multiply(0, j, q - uEdge * uEdge);
    }
    return *this;
}
} // namespace LumoraLib
