// Tables of the profiles of points on the planes of slabs.
#include "points/CloudProfile.h"
#include "base/Constants.h"

#include "base/Parallel.h"
#include "base/Scratch.h"
#include "simd/SinCos.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <memory>

namespace LumoraLib::detail
{
namespace
{
using Wave = std::complex<double>;

Wave Turn(double turns)
{
    double s = 0.0;
    double c = 0.0;
    SinCos1(kTwoPi * (turns - std::floor(turns + 0.5)), s, c);
    return {c, s};
}

/// Coefficients of the polynomial in s of degree `degree` that meets exp(2 pi i nu s) at the Chebyshev points of
/// [-1/2, 1/2]; the inverse of the points' powers is given.
void ShiftPowers(double nu, int degree, const std::vector<double>& inverse, Wave* powers)
{
    const int count = degree + 1;
    for (int d = 0; d < count; ++d)
        powers[d] = 0.0;
    for (int i = 0; i < count; ++i)
    {
        const Wave value = Turn(nu * 0.5 * std::cos((i + 0.5) * kPi / count));
        for (int d = 0; d < count; ++d)
            powers[d] +=
                inverse[static_cast<std::size_t>(d) * static_cast<std::size_t>(count) + static_cast<std::size_t>(i)] *
                value;
    }
}

/// Row d holds what each point's value adds to coefficient d.
std::vector<double> InversePowers(int degree)
{
    const std::size_t n = static_cast<std::size_t>(degree) + 1;
    std::vector<double> inverse(n * n, 0.0);
    std::vector<double> node(n);
    for (std::size_t i = 0; i < n; ++i)
        node[i] = 0.5 * std::cos((static_cast<double>(i) + 0.5) * kPi / static_cast<double>(n));
    // Lagrange polynomial of each node, multiplied out.
    for (std::size_t i = 0; i < n; ++i)
    {
        std::vector<double> p(1, 1.0);
        double scale = 1.0;
        for (std::size_t j = 0; j < n; ++j)
        {
            if (j == i)
                continue;
            p.push_back(0.0);
            for (std::size_t d = p.size() - 1; d > 0; --d)
                p[d] = p[d - 1] - node[j] * p[d];
            p[0] *= -node[j];
            scale *= node[i] - node[j];
        }
        for (std::size_t d = 0; d < n; ++d)
            inverse[d * n + i] = p[d] / scale;
    }
    return inverse;
}
} // namespace

/// Spectra that all nodes share, over nu from -1 to 1 in cycles per grid sample.
struct CloudProfile::Build
{
    std::size_t length; ///< of the transforms
    double tolerance;
    std::vector<double> kernel;
    std::vector<double> phase;  ///< turns per metre
    std::vector<double> factor; ///< A or B
    std::vector<Wave> powers;   ///< [d][i]
};

CloudProfile::CloudProfile(const CloudResponse& r, const SlabPlan& plan, double tolerance)
    : axis_(r.axis), width_(plan.kernel), degree_(plan.degree), terms_(plan.terms), kernels_(&WideClouds())
{
    const double end = axis_.band.end;
    const double oversampling = 1.0 / (2.0 * end * axis_.step);
    beta_ = kPi * width_ * (1.0 - 1.0 / (2.0 * oversampling)) * 0.98;
    MakeKernel();
    const auto root = [&](double u)
    {
        return std::sqrt(r.square - u * u) - r.offset;
    };
    const double low = root(end);
    const double high = root(0.0);
    centre_ = 0.5 * (low + high);
    // Cubic interpolation leaves 0.0234 (pi (high - low) pitch)^4 at the ends of the range, a third of that as rms.
    const double deepest = 0.5 * plan.depth;
    pitch_ = std::pow(tolerance / 3.0 / 0.0234, 0.25) / (kPi * (high - low));
    const int half = static_cast<int>(std::ceil(deepest / pitch_)) + 2;
    nodes_ = 2 * half + 1;
    const double slope = end / std::sqrt(r.square - end * end);
    const double reach = deepest * slope / axis_.step;
    half_ = (static_cast<int>(std::ceil(reach + 2.5 * width_)) + 3) / 4 * 4;
    half_ = std::min(half_, static_cast<int>(std::min<std::size_t>(axis_.grid, std::size_t{1} << 15)) / 2 / 4 * 4);

    Build build;
    build.tolerance = tolerance;
    build.length = 64;
    while (static_cast<double>(build.length) < 2.0 * (2.0 * reach + 6.0 * width_) ||
           build.length < 2 * static_cast<std::size_t>(half_))
        build.length *= 2;
    const std::size_t twice = 2 * build.length;
    const std::size_t powers = static_cast<std::size_t>(degree_) + 1;
    build.kernel.resize(twice);
    build.phase.resize(twice);
    build.factor.resize(twice);
    build.powers.resize(twice * powers);
    const std::vector<double> inverse = InversePowers(degree_);
    std::vector<Wave> column(powers);
    for (std::size_t i = 0; i < twice; ++i)
    {
        const double nu =
            (static_cast<double>(i) - static_cast<double>(build.length)) / static_cast<double>(build.length);
        const double u = std::abs(nu) / axis_.step;
        const double inside = std::min(u, end);
        build.kernel[i] = Transform(nu);
        // Beyond the band the phase goes on straight, which keeps the profile narrow.
        build.phase[i] = root(inside) - centre_ - (u - inside) * slope;
        build.factor[i] = r.isX ? r.cross->A(inside) : r.cross->B(inside);
        ShiftPowers(nu, degree_, inverse, column.data());
        for (std::size_t d = 0; d < powers; ++d)
            build.powers[d * twice + i] = column[d];
    }
    MakeTables(build);
}

// Over the kernel's width as a cosine: the integrand vanishes at both ends, and its two halves are equal.
void CloudProfile::MakeKernel()
{
    for (int i = 0; i < kKernelPoints; ++i)
    {
        const double t = (i + 0.5) * kPi / (2 * kKernelPoints);
        const double s = std::sin(t);
        kernelAt_[i] = 0.5 * kTwoPi * width_ * std::cos(t);
        kernelWeight_[i] = s * std::exp(beta_ * (s - 1.0)) * kPi / (2 * kKernelPoints) * width_;
    }
}

double CloudProfile::Transform(double nu) const
{
    double sum = 0.0;
    for (int i = 0; i < kKernelPoints; ++i)
        sum += kernelWeight_[i] * std::cos(nu * kernelAt_[i]);
    return sum;
}

double CloudProfile::Kernel(std::int64_t m) const
{
    return Transform(static_cast<double>(m) / axis_.period * axis_.step);
}

void CloudProfile::MakeTables(const Build& shared)
{
    const std::size_t rows = static_cast<std::size_t>(terms_) * static_cast<std::size_t>(degree_ + 1);
    table_.assign(static_cast<std::size_t>(nodes_) * rows * 4 * static_cast<std::size_t>(half_), 0.0f);
    halves_.assign(static_cast<std::size_t>(nodes_), half_);
    const int threads = GetNumThreads();
    const Scratch memory(threads, rows * shared.length * sizeof(Complex));
    std::vector<std::unique_ptr<WideRowPass>> passes;
    std::vector<std::vector<double>> tails;
    for (int t = 0; t < threads; ++t)
    {
        Complex* const own = memory.As<Complex>(t);
        const WideRange all = {0, shared.length};
        const WideRows job = {.source = {.samples = own, .stride = shared.length, .range = all},
                              .target = {.samples = own, .stride = shared.length, .range = all},
                              .rows = rows,
                              .n = shared.length,
                              .sign = 1};
        passes.push_back(std::make_unique<WideRowPass>(job, 1));
        tails.emplace_back(static_cast<std::size_t>(half_) + 1);
    }
    ParallelBlocks(static_cast<std::size_t>(nodes_),
                   [&](std::size_t begin, std::size_t end, int thread)
                   {
                       const std::size_t t = static_cast<std::size_t>(thread);
                       for (std::size_t node = begin; node < end; ++node)
                       {
                           Complex* const samples = memory.As<Complex>(thread);
                           // The spectrum of every term and power at this depth, folded onto one period.
                           const std::size_t length = shared.length;
                           const double dz = (static_cast<double>(node) - static_cast<double>(nodes_ / 2)) * pitch_;
                           std::memset(static_cast<void*>(samples), 0, rows * length * sizeof(Complex));
                           for (std::size_t i = 0; i < 2 * length; ++i)
                           {
                               Wave value = shared.kernel[i] / static_cast<double>(length) * Turn(shared.phase[i] * dz);
                               const std::size_t at = i & (length - 1);
                               for (std::size_t row = 0; row < rows;)
                               {
                                   for (int d = 0; d <= degree_; ++d, ++row)
                                   {
                                       const Wave w =
                                           value * shared.powers[static_cast<std::size_t>(d) * 2 * length + i];
                                       Complex& to = samples[row * length + at];
                                       to = Complex(to.Real() + static_cast<float>(w.real()),
                                                    to.Imag() + static_cast<float>(w.imag()));
                                   }
                                   value *= shared.factor[i];
                               }
                           }
                           passes[t]->Part(0, 1);
                           MakeNode(shared, node, samples, tails[t]);
                       }
                   });
}

// Copies the middle of the transforms and notes how wide the profile is: the tail left out has less than a tenth of the
// tolerance's energy.
void CloudProfile::MakeNode(const Build& build, std::size_t node, void* memory, std::vector<double>& tails)
{
    const Complex* const samples = static_cast<const Complex*>(memory);
    const std::size_t length = build.length;
    const std::size_t width = 2 * static_cast<std::size_t>(half_);
    const std::size_t rows = static_cast<std::size_t>(terms_) * static_cast<std::size_t>(degree_ + 1);
    float* const to = table_.data() + node * rows * 2 * width;
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t n = 0; n < width; ++n)
        {
            const Complex& c = samples[row * length + ((n + length - static_cast<std::size_t>(half_)) & (length - 1))];
            to[(row * width + n) * 2] = c.Real();
            to[(row * width + n) * 2 + 1] = c.Imag();
        }
    std::fill(tails.begin(), tails.end(), 0.0);
    double total = 0.0;
    for (std::size_t n = 0; n < width; ++n)
    {
        // The first term at both ends of the shift's range and in the middle.
        double most = 0.0;
        for (const double shift : {-0.5, 0.0, 0.5})
        {
            double re = 0.0;
            double im = 0.0;
            for (int d = degree_; d >= 0; --d)
            {
                const float* c = to + (static_cast<std::size_t>(d) * width + n) * 2;
                re = re * shift + static_cast<double>(c[0]);
                im = im * shift + static_cast<double>(c[1]);
            }
            most = std::max(most, re * re + im * im);
        }
        total += most;
        const std::size_t h = static_cast<std::size_t>(half_);
        tails[n < h ? h - n : n - h + 1] += most;
    }
    int half = half_;
    double tail = 0.0;
    const double allowed = 0.04 * build.tolerance * build.tolerance * total;
    while (half > 4 && tail + tails[static_cast<std::size_t>(half)] < allowed)
        tail += tails[static_cast<std::size_t>(half--)];
    halves_[node] = std::min(half_, (half + 3) / 4 * 4);
}

void CloudProfile::Find(double dz, std::int32_t& node, float& fraction) const
{
    const double at = dz / pitch_ + nodes_ / 2;
    const double floor = std::floor(at);
    node = static_cast<std::int32_t>(std::clamp(floor, 1.0, static_cast<double>(nodes_ - 3)));
    fraction = static_cast<float>(at - node);
}

double CloudProfile::DepthOf(std::int32_t node, float fraction) const
{
    return (node - nodes_ / 2 + static_cast<double>(fraction)) * pitch_;
}

int CloudProfile::Half(std::int32_t node) const
{
    return std::max(halves_[static_cast<std::size_t>(node)], halves_[static_cast<std::size_t>(node) + 1]);
}

void CloudProfile::Get(std::int32_t node, float f, float shift, int half, int term, float* out) const
{
    const std::size_t row = 4 * static_cast<std::size_t>(half_);
    const std::size_t perTerm = row * static_cast<std::size_t>(degree_ + 1);
    CloudLookup l;
    l.toPower = row;
    l.toDepth = perTerm * static_cast<std::size_t>(terms_);
    l.table = table_.data() + static_cast<std::size_t>(node - 1) * l.toDepth +
              static_cast<std::size_t>(term) * perTerm + 2 * static_cast<std::size_t>(half_ - half);
    l.degree = degree_;
    l.weight[0] = -f * (f - 1.0f) * (f - 2.0f) / 6.0f;
    l.weight[1] = (f + 1.0f) * (f - 1.0f) * (f - 2.0f) / 2.0f;
    l.weight[2] = -(f + 1.0f) * f * (f - 2.0f) / 2.0f;
    l.weight[3] = (f + 1.0f) * f * (f - 1.0f) / 6.0f;
    l.shift = shift;
    kernels_->profile(l, 4 * static_cast<std::size_t>(half), out);
}
} // namespace LumoraLib::detail
