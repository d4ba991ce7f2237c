// Ways carried out on representative rows, and the true field of the rows beside them.
//
// Rows are one-dimensional fields: their waves have the frequency sqrt(1 / lambda^2 - u^2) along z, and the constant
// phase 2 pi z / lambda is left out everywhere. Sine and cosine in double, samples and transforms in float: what the
// roundings leave, some 1e-6, is far below what is looked for.
#include "advice/Trial.h"

#include "base/Constants.h"
#include "field/CubicKernels.h"
#include "simd/SinCos.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

namespace LumoraLib::detail
{
namespace
{
using Row = std::vector<Complex>;

// Longest row of a truth: beyond, a prediction would cost more than what it is for.
constexpr std::size_t kLongestRow = std::size_t{1} << 20;
// Points of a tilted destination that are looked at.
constexpr std::size_t kTiltedPoints = 96;
constexpr std::size_t kBins = 96;

ComplexDouble UnitOf(double phase)
{
    double sine = 0.0;
    double cosine = 0.0;
    SinCos1(phase, sine, cosine);
    return ComplexDouble(cosine, sine);
}

Complex Times(const Complex& a, const ComplexDouble& b)
{
    return Complex(a.GetReal() * b.GetReal() - a.GetImag() * b.GetImag(),
                   a.GetReal() * b.GetImag() + a.GetImag() * b.GetReal());
}

/// Centred transform of a row; `scale` as well.
void Transform(Row& row, int sign, double scale)
{
    if (row.size() > 1)
        WideFft1d(row.data(), row.size(), sign, true, static_cast<float>(scale), 1);
}

/// The row in the middle of n samples, or the middle n samples of the row.
Row Fitted(const Row& row, std::size_t n)
{
    Row fitted(n, Complex(0.0, 0.0));
    const std::size_t common = std::min(n, row.size());
    std::copy_n(row.begin() + static_cast<std::ptrdiff_t>(row.size() / 2 - common / 2), common,
                fitted.begin() + static_cast<std::ptrdiff_t>(n / 2 - common / 2));
    return fitted;
}

double Index(std::size_t i, std::size_t n)
{
    return static_cast<double>(i) - static_cast<double>(n / 2);
}

/// Frequency along z; 0 for evanescent ones, which `decay` then damps: exp(-2 pi |z| decay).
double AlongZ(double u, double lambda, double& decay)
{
    const double rest = 1.0 / (lambda * lambda) - u * u;
    decay = rest < 0.0 ? std::sqrt(-rest) : 0.0;
    return rest > 0.0 ? std::sqrt(rest) : 0.0;
}

/// out(j) = sum over i of in(i) exp(2 pi i c (i - n/2) (j - m/2 + offset)), by a convolution with a chirp (L. I.
/// Bluestein, IEEE Trans. Audio Electroacoust. 18 (1970) 451). Made once for several rows.
class Chirp
{
public:
    Chirp(std::size_t n, std::size_t m, double c, double offset) : n_(n), m_(m), length_(std::bit_ceil(n + m))
    {
        // i j = (i i + j j - (i - j)^2) / 2
        before_.resize(n);
        after_.resize(m);
        kernel_.assign(length_, Complex(0.0, 0.0));
        for (std::size_t i = 0; i < n; ++i)
        {
            const double x = Index(i, n);
            before_[i] = UnitOf(kTwoPi * std::fmod(c * (0.5 * x * x), 1.0));
        }
        for (std::size_t j = 0; j < m; ++j)
        {
            const double y = Index(j, m) + offset;
            after_[j] = UnitOf(kTwoPi * std::fmod(c * (0.5 * y * y), 1.0));
        }
        // The kernel's index is j - i + n - 1, from 0 to n + m - 2.
        for (std::size_t t = 0; t + 1 < n + m; ++t)
        {
            const double d = static_cast<double>(t) - static_cast<double>(n - 1) - static_cast<double>(m / 2) +
                             static_cast<double>(n / 2) + offset;
            kernel_[t] = Complex(UnitOf(-kTwoPi * std::fmod(c * (0.5 * d * d), 1.0)));
        }
        WideFft1d(kernel_.data(), length_, -1, false, 1.0f, 1);
    }

    Row Run(const Row& in) const
    {
        Row work(length_, Complex(0.0, 0.0));
        for (std::size_t i = 0; i < n_; ++i)
            work[i] = Times(in[i], before_[i]);
        WideFft1d(work.data(), length_, -1, false, 1.0f, 1);
        for (std::size_t t = 0; t < length_; ++t)
            work[t] = Times(work[t], ComplexDouble(kernel_[t]));
        WideFft1d(work.data(), length_, 1, false, static_cast<float>(1.0 / static_cast<double>(length_)), 1);
        Row out(m_);
        for (std::size_t j = 0; j < m_; ++j)
            out[j] = Times(work[j + n_ - 1], after_[j]);
        return out;
    }

private:
    std::size_t n_, m_, length_;
    std::vector<ComplexDouble> before_, after_;
    Row kernel_;
};

/// Applies make(row) to every row.
template <class Make>
void ForRows(RowSet& set, const Make& make)
{
    for (Row& row : set.rows)
        row = make(row);
}

// ------------------------------------------------------------------------------------------------------------ truth

/// What a truth is computed with: the padded length and the factor of every frequency.
struct Padding
{
    std::size_t length = 0;
    Stretch full;  ///< displacements between source and destination that count in full
    Stretch faded; ///< and those from which on nothing counts
};

/// 1 inside `full`, 0 outside `faded`, a raised cosine between.
double Fade(double s, const Padding& p)
{
    const double over =
        s > 0.0 ? (s - p.full.high) / (p.faded.high - p.full.high) : (p.full.low - s) / (p.full.low - p.faded.low);
    if (over <= 0.0)
        return 1.0;
    return over >= 1.0 ? 0.0 : 0.5 + 0.5 * std::cos(0.5 * kTwoPi * over);
}

/// The padded grid is centred on the destination. `reach`: how far the destination's points lie from its centre, as
/// seen along the light.
Padding PaddingOf(std::size_t n, double pitch, double reach, const AxisCase& at)
{
    // Half of both grids together, and some waists of diffraction, since a ray is as wide as sqrt(lambda z).
    const double half =
        0.5 * static_cast<double>(n) * pitch + reach + 6.0 * std::sqrt(at.lambda * std::abs(at.distance));
    Padding p;
    // What lands up to `faded` beside the destination's centre must not come round into its reach.
    const double period = 4.0 * half / pitch;
    if (!(period < static_cast<double>(kLongestRow)) || at.n >= kLongestRow)
        return p;
    p.length = std::bit_ceil(static_cast<std::size_t>(period));
    p.full = {-half, half};
    const double far = static_cast<double>(p.length) * pitch - half;
    p.faded = {-far, far};
    return p;
}

/// Spectrum of the padded row times the way to the plane through the destination's centre, about that centre.
void ToPlane(Row& row, const std::vector<ComplexDouble>& factors)
{
    row = Fitted(row, factors.size());
    Transform(row, -1, 1.0);
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = Times(row[i], factors[i]);
}

std::vector<ComplexDouble> WayFactors(const Padding& padding, double pitch, const AxisCase& at)
{
    std::vector<ComplexDouble> factors(padding.length);
    const double du = 1.0 / (static_cast<double>(padding.length) * pitch);
    for (std::size_t i = 0; i < padding.length; ++i)
    {
        const double u = Index(i, padding.length) * du;
        double decay = 0.0;
        const double w = AlongZ(u, at.rowLambda, decay);
        // The light of frequency u lands w-fold beside where it came from.
        const double s = w > 0.0 ? at.distance * u / w - at.shift : 0.0;
        const double fade = Fade(s, padding) * std::exp(-kTwoPi * std::abs(at.distance) * decay);
        if (fade == 0.0)
        {
            factors[i] = ComplexDouble(0.0, 0.0);
            continue;
        }
        const ComplexDouble unit =
            UnitOf(kTwoPi * (at.distance * (w - 1.0 / at.rowLambda) + std::fmod(at.shift * u, 1.0)));
        factors[i] = ComplexDouble(unit.GetReal() * fade, unit.GetImag() * fade);
    }
    return factors;
}

/// Destination rows of a parallel plane from spectra in `set`.
RowSet OnParallel(const RowSet& spectra, std::size_t length, double pitch, const AxisCase& at)
{
    RowSet there;
    there.pitch = at.pitch;
    const double scale = 1.0 / static_cast<double>(length);
    const double du = scale / pitch;
    if (at.pitch == pitch && at.n <= length)
    {
        for (Row row : spectra.rows)
        {
            Transform(row, 1, scale);
            there.rows.push_back(Fitted(row, at.n));
        }
        return there;
    }
    const Chirp chirp(length, at.n, du * at.pitch, 0.0);
    for (const Row& spectrum : spectra.rows)
    {
        Row row = chirp.Run(spectrum);
        for (Complex& a : row)
            a = Complex(a.GetReal() * scale, a.GetImag() * scale);
        there.rows.push_back(std::move(row));
    }
    return there;
}

/// Some points of a tilted destination, wave by wave.
RowSet OnTilted(const RowSet& spectra, std::size_t length, double pitch, const AxisCase& at, std::size_t stride)
{
    RowSet there;
    there.pitch = at.pitch * static_cast<double>(stride);
    const std::size_t count = at.n / stride;
    there.rows.assign(spectra.rows.size(), Row(count, Complex(0.0, 0.0)));
    const double scale = 1.0 / static_cast<double>(length);
    const double du = scale / pitch;
    const double c = std::cos(at.tilt);
    const double s = std::sin(at.tilt);
    for (std::size_t j = 0; j < count; ++j)
    {
        const double x = Index(j * stride + stride / 2, at.n) * at.pitch;
        std::vector<ComplexDouble> sums(spectra.rows.size(), ComplexDouble(0.0, 0.0));
        for (std::size_t i = 0; i < length; ++i)
        {
            if (spectra.rows[0][i].Intensity() == 0.0 && spectra.rows.back()[i].Intensity() == 0.0)
                continue;
            const double u = Index(i, length) * du;
            double decay = 0.0;
            const double w = AlongZ(u, at.rowLambda, decay);
            const ComplexDouble unit = UnitOf(kTwoPi * x * (u * c + w * s));
            for (std::size_t k = 0; k < sums.size(); ++k)
            {
                const Complex a = Times(spectra.rows[k][i], unit);
                sums[k] = ComplexDouble(sums[k].GetReal() + a.GetReal(), sums[k].GetImag() + a.GetImag());
            }
        }
        for (std::size_t k = 0; k < sums.size(); ++k)
            there.rows[k][j] = Complex(sums[k].GetReal() * scale, sums[k].GetImag() * scale);
    }
    return there;
}
} // namespace

namespace
{
Padding PaddingFor(std::size_t n, double pitch, const AxisCase& at)
{
    const double halfWidth = 0.5 * static_cast<double>(at.n) * at.pitch;
    // A tilted destination is seen from frequencies up to the sampling's, along its own depth.
    const double steep = std::min(0.5 / pitch, 0.95 / at.rowLambda) * at.rowLambda;
    const double depth = halfWidth * std::abs(std::sin(at.tilt));
    const double reach = halfWidth * std::abs(std::cos(at.tilt)) + depth * steep / std::sqrt(1.0 - steep * steep);
    AxisCase from = at;
    from.distance = std::max(std::abs(at.distance), depth);
    return PaddingOf(n, pitch, reach, from);
}

/// Every how manieth sample of a destination is looked at.
std::size_t StrideOf(const AxisCase& at)
{
    return at.tilt == 0.0 ? 1 : std::max<std::size_t>(1, at.n / kTiltedPoints);
}
} // namespace

RowSet TrueFactors(std::size_t n, double pitch, const AxisCase& at, int count)
{
    const Padding padding = PaddingFor(n, pitch, at);
    if (padding.length == 0)
        return RandomSigns(n, pitch, at.axis, count);
    const std::size_t length = padding.length;
    const std::vector<ComplexDouble> factors = WayFactors(padding, pitch, at);
    const double du = 1.0 / (static_cast<double>(length) * pitch);
    const RowSet signs = RandomSigns(at.n, at.pitch, at.axis, count);
    RowSet weights;
    weights.pitch = pitch;
    const std::size_t stride = StrideOf(at);
    std::optional<Chirp> chirp;
    const bool same = at.tilt == 0.0 && at.pitch == pitch && at.n <= length;
    if (at.tilt == 0.0 && !same)
        chirp.emplace(at.n, length, du * at.pitch, 0.0);
    else if (!same)
        weights.rows.assign(signs.rows.size(), Row(length, Complex(0.0, 0.0)));
    // Wave by wave for the points of a tilted destination, in the same way as OnTilted().
    for (std::size_t i = 0; at.tilt != 0.0 && i < length; ++i)
    {
        if (factors[i].Intensity() == 0.0)
            continue;
        const double u = Index(i, length) * du;
        double decay = 0.0;
        const double rise = u * std::cos(at.tilt) + AlongZ(u, at.rowLambda, decay) * std::sin(at.tilt);
        for (std::size_t j = stride / 2; j < at.n; j += stride)
        {
            const ComplexDouble unit = UnitOf(kTwoPi * Index(j, at.n) * at.pitch * rise);
            for (std::size_t k = 0; k < signs.rows.size(); ++k)
                weights.rows[k][i] += Times(signs.rows[k][j], unit);
        }
    }
    for (std::size_t k = 0; k < signs.rows.size(); ++k)
    {
        if (chirp)
            weights.rows.push_back(chirp->Run(signs.rows[k]));
        if (same)
        {
            weights.rows.push_back(Fitted(signs.rows[k], length));
            Transform(weights.rows.back(), 1, 1.0);
        }
        Row& row = weights.rows[k];
        for (std::size_t i = 0; i < length; ++i)
            row[i] = Times(row[i], factors[i]);
        Transform(row, -1, 1.0 / std::sqrt(static_cast<double>(length)));
        row = Fitted(row, n);
    }
    return weights;
}

Truth TrueField(const RowSet& source, const AxisCase& at)
{
    Truth truth;
    const double halfWidth = 0.5 * static_cast<double>(at.n) * at.pitch;
    const Padding padding = PaddingFor(source.Length(), source.pitch, at);
    if (padding.length == 0)
        return truth;
    const std::vector<ComplexDouble> factors = WayFactors(padding, source.pitch, at);
    RowSet spectra = source;
    for (Row& row : spectra.rows)
        ToPlane(row, factors);
    truth.stride = StrideOf(at);
    truth.there = at.tilt == 0.0 ? OnParallel(spectra, padding.length, source.pitch, at)
                                 : OnTilted(spectra, padding.length, source.pitch, at, truth.stride);
    // What arrives, and its band, on the padded grid: the destination may sample too coarsely to tell. For the band the
    // edges fade outside over half a width: sharp ones would have a band of their own.
    RowSet plane = spectra;
    const double scale = 1.0 / static_cast<double>(padding.length);
    const double edge = at.tilt == 0.0 ? halfWidth : halfWidth * std::cos(at.tilt);
    double arrives = 0.0;
    for (Row& row : plane.rows)
    {
        Transform(row, 1, scale);
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            const double x = Index(i, row.size()) * source.pitch;
            if (x >= -edge && x < edge)
            {
                arrives += row[i].Intensity();
                continue;
            }
            const double over = std::min(1.0, (std::abs(x) - edge) / edge);
            const double fade = 0.5 + 0.5 * std::cos(0.5 * kTwoPi * over);
            row[i] = Complex(row[i].GetReal() * fade, row[i].GetImag() * fade);
        }
    }
    const double all = source.Energy();
    truth.arrives = all > 0.0 ? std::min(1.0, arrives / all) : 0.0;
    truth.band = BandEnergy(plane, kBins);
    // A small destination blurs its band. No ray from the source to it is steeper than the grids stand apart.
    const double apart = 0.5 * static_cast<double>(source.Length()) * source.pitch + halfWidth;
    double inside = 0.0;
    for (std::size_t b = 0; at.tilt == 0.0 && b < kBins; ++b)
    {
        const double half = 0.5 / static_cast<double>(kBins) / source.pitch;
        const double u = ((static_cast<double>(b) + 0.5) / static_cast<double>(kBins) - 0.5) / source.pitch;
        double decay = 0.0;
        const double low = AlongZ(u - half, at.rowLambda, decay);
        const double high = AlongZ(u + half, at.rowLambda, decay);
        const double first = low > 0.0 ? at.distance * (u - half) / low : -1e300;
        const double last = high > 0.0 ? at.distance * (u + half) / high : 1e300;
        if (std::max(first, last) < at.shift - apart || std::min(first, last) > at.shift + apart)
            truth.band[b] = 0.0;
        inside += truth.band[b];
    }
    for (double& e : truth.band)
        e = inside > 0.0 ? e / inside : e;
    truth.known = true;
    return truth;
}

// ------------------------------------------------------------------------------------------------------------- steps

double AsmBand(double du, double distance, double lambda)
{
    const double t = 2.0 * du * distance;
    return 1.0 / (lambda * std::sqrt(t * t + 1.0));
}

Stretch ShiftedAsmBand(double shift, double distance, double du, double lambda)
{
    const double h = 0.5 / du;
    const auto bound = [=](double x)
    {
        return x / (lambda * std::sqrt(x * x + distance * distance));
    };
    return {bound(shift - h), bound(shift + h)};
}

namespace
{
/// Back and forth around a transfer function on a grid 2^doublings times the rows' size.
void BySpectrum(RowSet& set, int doublings, const AxisCase& at, const AdviceStep& step, double shift)
{
    const std::size_t n = set.Length();
    const std::size_t length = n == 1 ? 1 : n << doublings;
    const double du = 1.0 / (static_cast<double>(length) * set.pitch);
    const bool isShifted = step.member == ADVISE_SHIFTED_ASM_PROP;
    const double z = isShifted ? std::abs(step.distance) : step.distance;
    Stretch band{-1e300, 1e300};
    if (isShifted)
        band = ShiftedAsmBand(shift, z, du, at.lambda);
    else if (step.member != ADVISE_RAW_ASM_PROP)
    {
        const double limit = AsmBand(du, z, at.lambda);
        // The index box is half-open: half a sample less on both sides, and one sample less above.
        if (static_cast<double>(length / 2) * du > limit)
            band = {-limit - 0.5 * du, limit - 0.5 * du};
    }
    std::vector<ComplexDouble> factors(length, ComplexDouble(0.0, 0.0));
    for (std::size_t i = 0; i < length; ++i)
    {
        const double u = Index(i, length) * du;
        if (length > 1 && (u <= band.low || u >= band.high))
            continue;
        double decay = 0.0;
        const double w = AlongZ(u, at.rowLambda, decay);
        // Evanescent components pass with the factor 1, which is exp(-2 pi i z / lambda) here.
        factors[i] = UnitOf(kTwoPi * (z * (w - 1.0 / at.rowLambda) + std::fmod(shift * u, 1.0)));
    }
    const double scale = 1.0 / static_cast<double>(length);
    ForRows(set,
            [&](const Row& row)
            {
                Row work = Fitted(row, length);
                Transform(work, -1, 1.0);
                for (std::size_t i = 0; i < length; ++i)
                    work[i] = Times(work[i], factors[i]);
                Transform(work, 1, scale);
                return Fitted(work, n);
            });
}

/// Fresnel's sum from every sample to every sample of the grid after the step.
void ByFresnel(RowSet& set, std::size_t m, double pitch, double distance, double shift, double lambda)
{
    const std::size_t n = set.Length();
    // exp(i pi (y - x)^2 / (lambda z)), y = j pitch + shift: the product's chirp counts destination samples from shift.
    const double q = 1.0 / (lambda * distance);
    const double offset = shift / pitch;
    const Chirp chirp(n, m, -q * set.pitch * pitch, offset);
    std::vector<ComplexDouble> before(n);
    std::vector<ComplexDouble> after(m);
    const double magnitude = set.pitch / std::sqrt(lambda * std::abs(distance));
    const double eighth = distance > 0.0 ? -0.125 : 0.125; // of a turn: 1 / sqrt(i)
    for (std::size_t i = 0; i < n; ++i)
    {
        const double x = Index(i, n) * set.pitch;
        before[i] = UnitOf(0.5 * kTwoPi * q * x * x);
    }
    for (std::size_t j = 0; j < m; ++j)
    {
        const double y = Index(j, m) * pitch + shift;
        const ComplexDouble unit = UnitOf(kTwoPi * (0.5 * q * y * y + eighth));
        after[j] = ComplexDouble(unit.GetReal() * magnitude, unit.GetImag() * magnitude);
    }
    ForRows(set,
            [&](const Row& row)
            {
                Row work(n);
                for (std::size_t i = 0; i < n; ++i)
                    work[i] = Times(row[i], before[i]);
                Row out = chirp.Run(work);
                for (std::size_t j = 0; j < m; ++j)
                    out[j] = Times(out[j], after[j]);
                return out;
            });
    set.pitch = pitch;
}

/// The periodic field that the samples' spectrum stands for, read at another pitch.
void Resample(RowSet& set, std::size_t m, double pitch, double shift)
{
    const std::size_t n = set.Length();
    if (pitch == set.pitch && shift == 0.0)
    {
        ForRows(set, [m](const Row& row) { return Fitted(row, m); });
        return;
    }
    const double scale = 1.0 / static_cast<double>(n);
    const Chirp chirp(n, m, scale / set.pitch * pitch, shift / pitch);
    ForRows(set,
            [&](Row row)
            {
                Transform(row, -1, scale);
                return chirp.Run(row);
            });
    set.pitch = pitch;
}

/// The spectrum read along the turned axis by the eight-point kernel, weighted, and back.
void Turn(RowSet& set, std::size_t m, double pitch, const AxisCase& at)
{
    const std::size_t n = set.Length();
    const double du = 1.0 / (static_cast<double>(n) * set.pitch);
    const double dt = 1.0 / (static_cast<double>(m) * pitch);
    const double c = std::cos(at.tilt);
    const double s = std::sin(at.tilt);
    const double limit = 1.0 / (at.rowLambda * at.rowLambda);
    const double carrier = s / at.rowLambda;
    const double scale = set.pitch / (static_cast<double>(m) * pitch);
    ForRows(set,
            [&](Row row)
            {
                Transform(row, -1, 1.0);
                Row out(m, Complex(0.0, 0.0));
                for (std::size_t j = 0; j < m; ++j)
                {
                    const double u = Index(j, m) * dt + carrier;
                    if (limit - u * u <= 0.0)
                        continue;
                    const double w = std::sqrt(limit - u * u);
                    const double x = (c * u - s * w) / du + static_cast<double>(n / 2);
                    const double jacobian = std::abs(c + s * u / w) * scale;
                    ComplexDouble sum(0.0, 0.0);
                    const double first = std::max(std::ceil(x - 4.0), 0.0);
                    const double last = std::min(std::floor(x + 4.0), static_cast<double>(n - 1));
                    for (double t = first; t <= last; t += 1.0)
                    {
                        const Complex& a = row[static_cast<std::size_t>(t)];
                        const double weight = CubicAt(kCubic8, std::abs(t - x)) * jacobian;
                        sum = ComplexDouble(sum.GetReal() + weight * a.GetReal(), sum.GetImag() + weight * a.GetImag());
                    }
                    out[j] = Complex(sum);
                }
                Transform(out, 1, 1.0);
                for (std::size_t j = 0; j < m; ++j)
                    out[j] = Times(out[j], UnitOf(kTwoPi * std::fmod(carrier * pitch * Index(j, m), 1.0)));
                return out;
            });
    set.pitch = pitch;
}
} // namespace

RowSet FollowRows(const RowSet& source, const std::vector<AdviceStep>& steps, const AxisCase& at)
{
    RowSet set = source;
    for (const AdviceStep& step : steps)
    {
        const std::size_t n = static_cast<std::size_t>(at.axis == 0 ? step.nx : step.ny);
        const double pitch = at.axis == 0 ? step.px : step.py;
        const double shift = at.axis == 0 ? step.shiftX : step.shiftY;
        switch (step.member)
        {
        case ADVISE_RAW_ASM_PROP:
        case ADVISE_ASM_PROP:
            BySpectrum(set, 0, at, step, 0.0);
            break;
        case ADVISE_EXACT_ASM_PROP:
            BySpectrum(set, 1, at, step, 0.0);
            break;
        case ADVISE_SHIFTED_ASM_PROP:
            BySpectrum(set, step.doublings, at, step, shift);
            break;
        case ADVISE_SHIFTED_FRESNEL_PROP:
            ByFresnel(set, n, pitch, std::abs(step.distance), shift, at.lambda);
            break;
        case ADVISE_FRESNEL_PROP:
        case ADVISE_FOURIER_PROP:
            ByFresnel(set, n, pitch, step.distance, 0.0, at.lambda);
            break;
        case ADVISE_RESAMPLE:
            Resample(set, n, pitch, shift);
            break;
        case ADVISE_ROTATE:
            Turn(set, n, pitch, at);
            break;
        case ADVISE_CONJUGATE:
            for (Row& row : set.rows)
                for (Complex& a : row)
                    a = Complex(a.GetReal(), -a.GetImag());
            break;
        default: // Embed, Extract, copy
            ForRows(set, [n](const Row& row) { return Fitted(row, n); });
            break;
        }
    }
    return set;
}

double RelativeError(const RowSet& rows, const Truth& truth, bool amplitudesOnly)
{
    double difference = 0.0;
    double all = 0.0;
    for (std::size_t k = 0; k < truth.there.rows.size(); ++k)
        for (std::size_t j = 0; j < truth.there.rows[k].size(); ++j)
        {
            const Complex& is = truth.there.rows[k][j];
            const Complex& got = rows.rows[k][j * truth.stride + (truth.stride > 1 ? truth.stride / 2 : 0)];
            all += is.Intensity();
            if (amplitudesOnly)
            {
                const double d = is.Amplitude() - got.Amplitude();
                difference += d * d;
                continue;
            }
            const double re = is.GetReal() - got.GetReal();
            const double im = is.GetImag() - got.GetImag();
            difference += re * re + im * im;
        }
    return difference / all;
}
} // namespace LumoraLib::detail
