// The adviser's predictions against the members' own error, measured beside a padded reference in double precision.
#include "LmlAdvice.h"
#include "Oracle.h"
#include "TestTools.h"

#include <cmath>

namespace
{
using namespace lmltest;

constexpr double kTwoPi = 6.283185307179586;

enum Light
{
    LETTER,  // a letter F in the middle, a third of the grid high
    SLIT,    // a rectangle of 0.4 by 0.2 of the grid
    GAUSS,   // waist a, in grids
    DIFFUSE, // random phases on all samples
    SOFT,    // random phases, the spectrum cut to a of its band and the field to the middle half
    LENS,    // a round opening of 0.8 of the grid times a converging wave of focal length a times the distance
    BEAM,    // a Gaussian beam of a twelfth of the grid at a of the band, leaving to the right
    ASIDE    // a Gaussian of a twelfth of the grid, a grids right of the middle
};

struct Case
{
    const char* name;
    Light light;
    double a;
    int n;
    double p, lambda, z;       // pitch, wavelength and distance
    double sx = 0.0, sy = 0.0; // shift of the destination in grids of the source
    int nD = 0;                // 0: as the source
    double pD = 0.0;
    double tx = 0.0, ty = 0.0; // slopes of the destination's normal
    double gx = 0.0;           // slope of the source's normal, along which the distance is; both planes then follow
};

Lumora MakeSource(const Case& c)
{
    Lumora f(c.n, c.n, c.p, c.p, c.lambda);
    f.SetNormalVector(Vector(c.gx, 0.0, 1.0)).SetOrigin(Vector(c.gx == 0.0 ? 0.0 : 1e-4, 0.0, 0.0));
    f.Clear();
    std::mt19937 random(7);
    std::uniform_real_distribution<double> turn(0.0, kTwoPi);
    const double w = c.n * c.p;
    for (int j = 0; j < c.n; ++j)
        for (int i = 0; i < c.n; ++i)
        {
            const double x = f.X(i) / w, y = f.Y(j) / w;
            double amplitude = 0.0, phase = 0.0;
            switch (c.light)
            {
            case LETTER:
                amplitude = (std::abs(x + 0.08) < 0.03 && std::abs(y) < 0.17) ||
                            (x > -0.1 && x < 0.1 && std::abs(y - 0.14) < 0.03) ||
                            (x > -0.1 && x < 0.05 && std::abs(y) < 0.03);
                break;
            case SLIT:
                amplitude = std::abs(x) < 0.2 && std::abs(y) < 0.1;
                break;
            case GAUSS:
                amplitude = std::exp(-(x * x + y * y) / (c.a * c.a));
                break;
            case DIFFUSE:
                amplitude = 1.0;
                phase = turn(random);
                break;
            case SOFT:
                amplitude = 1.0;
                phase = turn(random);
                break;
            case LENS:
                amplitude = x * x + y * y < 0.16;
                phase = -kTwoPi / c.lambda * (std::sqrt((x * x + y * y) * w * w + c.a * c.a * c.z * c.z) - c.a * c.z);
                break;
            case BEAM:
                amplitude = std::exp(-(x * x + y * y) * 144.0);
                phase = kTwoPi * x * w * c.a / (2.0 * c.p);
                break;
            case ASIDE:
                amplitude = std::exp(-((x - c.a) * (x - c.a) + y * y) * 144.0);
                break;
            }
            f.SetPixel(i, j, Complex(amplitude * std::cos(phase), amplitude * std::sin(phase)));
        }
    if (c.light != SOFT)
        return f;
    f.Fft(-1);
    for (int j = 0; j < c.n; ++j)
        for (int i = 0; i < c.n; ++i)
            if (std::hypot(i - c.n / 2, j - c.n / 2) > c.a * c.n / 2)
                f.SetPixel(i, j, Complex(0.0, 0.0));
    f.Fft(1);
    for (int j = 0; j < c.n; ++j)
        for (int i = 0; i < c.n; ++i)
        {
            const double x = f.X(i) / w, y = f.Y(j) / w;
            const double soft = std::exp(-std::pow(std::hypot(x, y) / 0.22, 8.0)) / (double(c.n) * c.n);
            f.SetPixel(i, j, Complex(f.GetReal(i, j) * soft, f.GetImag(i, j) * soft));
        }
    return f;
}

Lumora MakeDestination(const Case& c, const Lumora& source)
{
    const int n = c.nD ? c.nD : c.n;
    const double p = c.pD != 0.0 ? c.pD : c.p;
    Lumora d(n, n, p, p, c.lambda);
    d.Clear();
    const double w = c.n * c.p;
    d.SetOrigin(source.GetGlobalPosition(Vector(c.sx * w, c.sy * w, c.z)));
    d.SetNormalVector(c.gx == 0.0 ? Vector(c.tx, c.ty, 1.0) : source.GetNormalVector());
    return d;
}

/// The true field on a lattice of the destination's samples: plane wave by plane wave of the source's spectrum on a
/// grid that the light does not leave, or, far away, Rayleigh-Sommerfeld's sum over the source on half its pitch.
class Reference
{
public:
    Reference(const Lumora& source, const Lumora& destination) : source_(source), to_(destination)
    {
        Lattice(64);
        const double p = source.GetPx();
        const double steep = source.GetWavelength() / (2.0 * p); // the corner of the band has it on both axes
        double reach = source.GetWidth();
        double deep = 0.0;
        for (const Vector& at : places_)
        {
            deep = std::max(deep, std::abs(at.z));
            if (2.0 * steep * steep < 0.9)
                reach = std::max(reach, std::max(std::abs(at.x), std::abs(at.y)) + 0.5 * source.GetWidth() +
                                            std::abs(at.z) * steep / std::sqrt(1.0 - 2.0 * steep * steep));
        }
        // What wraps around lands beyond the period less the farthest that light goes.
        std::size_t m = 2 * static_cast<std::size_t>(source.GetNx());
        while (static_cast<double>(m) * p < (deep > 0.0 ? 2.5 : 1.0) * reach)
            m *= 2;
        if (m <= 1024 && (2.0 * steep * steep < 0.9 || deep == 0.0))
        {
            ByWaves(m);
            return;
        }
        Lattice(16);
        ByPoints();
    }

    /// Relative l2 difference of the destination's samples.
    double Error(const Lumora& got) const
    {
        double difference = 0.0, all = 0.0;
        for (std::size_t n = 0; n < places_.size(); ++n)
        {
            const Complex a = got.GetPixel(indices_[n].first, indices_[n].second);
            difference += weights_[n] * std::norm(Value(a.GetReal(), a.GetImag()) - truth_[n]);
            all += weights_[n] * std::norm(truth_[n]);
        }
        return std::sqrt(difference / all);
    }

private:
    void Lattice(int side)
    {
        const int n = to_.GetNx();
        side = std::min(side, n);
        side_ = static_cast<std::size_t>(side);
        indices_.clear();
        weights_.clear();
        places_.clear();
        for (int b = 0; b < side; ++b)
            for (int a = 0; a < side; ++a)
            {
                double weight = 1.0;
                const int i = Place(a, side, n, weight);
                const int j = Place(b, side, n, weight);
                indices_.emplace_back(i, j);
                weights_.push_back(weight);
                places_.push_back(source_.GetLocalPosition(to_.GetGlobalPosition(Vector(to_.X(i), to_.Y(j), 0.0))));
            }
        truth_.assign(places_.size(), Value(0.0, 0.0));
    }

    /// Index a of `side` among n: half of them lie side by side in the middle, where a focus is, the rest spread.
    static int Place(int a, int side, int n, double& weight)
    {
        const int middle = side / 2, outer = side / 4;
        if (side >= n)
            return a;
        if (a >= outer && a < outer + middle)
            return n / 2 - middle / 2 + a - outer;
        const double step = double(n - middle) / (2 * outer);
        weight *= step;
        return int(a < outer ? (a + 0.5) * step : n - (side - a - 0.5) * step);
    }

    std::vector<Value> Padded(std::size_t m) const
    {
        const int n = source_.GetNx();
        std::vector<Value> field(m * m, Value(0.0, 0.0));
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
            {
                // Sample n/2 at index 0, so that phases count from the centre.
                const std::size_t x = (static_cast<std::size_t>(i) + m - static_cast<std::size_t>(n / 2)) % m;
                const std::size_t y = (static_cast<std::size_t>(j) + m - static_cast<std::size_t>(n / 2)) % m;
                field[y * m + x] = Value(source_.GetReal(i, j), source_.GetImag(i, j));
            }
        return field;
    }

    void ByWaves(std::size_t m)
    {
        std::vector<Value> spectrum = Padded(m);
        Dft2d(spectrum, m, m, -1);
        const double du = 1.0 / (static_cast<double>(m) * source_.GetPx());
        const double k = 1.0 / source_.GetWavelength();
        const auto frequency = [&](std::size_t i)
        {
            return (static_cast<double>(i) - (i < m / 2 ? 0.0 : static_cast<double>(m))) * du;
        };
        double all = 0.0;
        for (const Value& a : spectrum)
            all += std::norm(a);
        // Waves that carry nothing are left out; the rest of the plane goes column by column.
        const double least = 1e-14 * all / double(m * m);
        const bool flat = std::all_of(places_.begin(), places_.end(),
                                      [&](const Vector& v) { return std::abs(v.z - places_[0].z) < 1e-12; });
        std::vector<Value> table;
        for (std::size_t i = 0; flat && i < m; ++i)
            for (std::size_t n = 0; n < side_; ++n)
                table.push_back(std::polar(1.0, kTwoPi * frequency(i) * places_[n].x));
        std::vector<Value> column(side_);
        for (std::size_t j = 0; j < m; ++j)
        {
            std::fill(column.begin(), column.end(), Value(0.0, 0.0));
            const double v = frequency(j);
            for (std::size_t i = 0; i < m; ++i)
            {
                const Value a = spectrum[j * m + i] / double(m * m);
                const double u = frequency(i);
                const double rest = k * k - u * u - v * v;
                if (std::norm(spectrum[j * m + i]) < least)
                    continue;
                const double w = std::sqrt(std::abs(rest));
                const double z = places_[0].z;
                const Value b = a * (rest > 0.0 ? std::polar(1.0, kTwoPi * w * z)
                                                : Value(std::exp(-kTwoPi * w * std::abs(z)), 0.0));
                for (std::size_t n = 0; flat && n < side_; ++n)
                {
                    const Value& t = table[i * side_ + n];
                    column[n] +=
                        Value(b.real() * t.real() - b.imag() * t.imag(), b.real() * t.imag() + b.imag() * t.real());
                }
                const auto phase = [&](const Vector& at)
                {
                    return kTwoPi * (u * at.x + v * at.y + w * at.z);
                };
                // Row by row of the tilted plane: from sample to sample the phase grows by the same step.
                const Value step = std::polar(1.0, phase(places_[1]) - phase(places_[0]));
                for (std::size_t n = 0; !flat && rest > 0.0 && n < places_.size(); n += side_)
                {
                    Value t = a * std::polar(1.0, phase(places_[n]));
                    for (std::size_t q = 0; q < side_; ++q)
                    {
                        truth_[n + q] += t;
                        t = Value(t.real() * step.real() - t.imag() * step.imag(),
                                  t.real() * step.imag() + t.imag() * step.real());
                    }
                }
            }
            for (std::size_t n = 0; flat && n < places_.size(); ++n)
                truth_[n] += column[n % side_] * std::polar(1.0, kTwoPi * v * places_[n].y);
        }
    }

    void ByPoints()
    {
        const std::size_t m = 2 * static_cast<std::size_t>(source_.GetNx());
        const double k = kTwoPi / source_.GetWavelength();
        // As fine as the product of field and kernel asks for: their frequencies together below that of the samples.
        double sine = 0.0;
        for (const Vector& at : places_)
        {
            const double way = std::hypot(at.x, at.y) + 0.7 * source_.GetWidth();
            sine = std::max(sine, way / std::hypot(way, at.z));
        }
        std::size_t f = 2;
        while (static_cast<double>(f) / source_.GetPx() < sine / source_.GetWavelength() + 0.6 / source_.GetPx())
            f *= 2;
        std::vector<Value> spectrum = Padded(m);
        Dft2d(spectrum, m, m, -1);
        std::vector<Value> fine(f * f * m * m, Value(0.0, 0.0));
        const auto moved = [m, f](std::size_t i)
        {
            return i < m / 2 ? i : i + (f - 1) * m;
        };
        for (std::size_t j = 0; j < m; ++j)
            for (std::size_t i = 0; i < m; ++i)
                fine[moved(j) * f * m + moved(i)] = spectrum[j * m + i] / double(m * m);
        Dft2d(fine, f * m, f * m, 1);
        const double p = source_.GetPx() / double(f);
        for (std::size_t j = 0; j < f * m; ++j)
            for (std::size_t i = 0; i < f * m; ++i)
            {
                const Value a = fine[j * f * m + i];
                const double x = (static_cast<double>(i) - (i < f * m / 2 ? 0.0 : double(f * m))) * p;
                const double y = (static_cast<double>(j) - (j < f * m / 2 ? 0.0 : double(f * m))) * p;
                // The tails between the samples reach a little beyond the grid.
                if (std::abs(x) > 0.6 * source_.GetWidth() || std::abs(y) > 0.6 * source_.GetWidth() || a == Value(0.0))
                    continue;
                for (std::size_t q = 0; q < places_.size(); ++q)
                {
                    const double dx = places_[q].x - x, dy = places_[q].y - y, z = places_[q].z;
                    const double r = std::sqrt(dx * dx + dy * dy + z * z);
                    const Value h = std::polar(std::abs(z) * p * p / (kTwoPi * r * r), (z > 0.0 ? k : -k) * r) *
                                    Value(1.0 / r, z > 0.0 ? -k : k);
                    truth_[q] += a * h;
                }
            }
    }

    const Lumora& source_;
    const Lumora& to_;
    std::size_t side_ = 0;
    std::vector<Vector> places_;
    std::vector<std::pair<int, int>> indices_;
    std::vector<double> weights_;
    std::vector<Value> truth_;
};

constexpr double kGreen = 532e-9;
constexpr double kRed = 633e-9;

// N p p / lambda of 64 samples at 4 um and 532 nm is 1.925 mm.
const Case kCases[] = {
    // The same grid, near to far.
    {"letter near", LETTER, 0, 64, 4e-6, kGreen, 0.3e-3},
    {"letter at a limit", LETTER, 0, 64, 4e-6, kGreen, 1.925e-3},
    {"letter beyond", LETTER, 0, 64, 4e-6, kGreen, 5e-3},
    {"letter far", LETTER, 0, 64, 4e-6, kGreen, 20e-3},
    {"letter very far", LETTER, 0, 64, 4e-6, kGreen, 0.2},
    {"letter backwards", LETTER, 0, 64, 4e-6, kGreen, -1e-3},
    {"slit near", SLIT, 0, 128, 4e-6, kGreen, 1e-3},
    {"slit middle", SLIT, 0, 128, 4e-6, kGreen, 8e-3},
    {"gauss near", GAUSS, 0.1, 64, 4e-6, kGreen, 1e-3},
    {"gauss middle", GAUSS, 0.1, 64, 4e-6, kGreen, 4e-3},
    {"gauss wide", GAUSS, 0.4, 64, 4e-6, kGreen, 1e-3},
    {"gauss far", GAUSS, 0.1, 64, 4e-6, kGreen, 40e-3},
    {"gauss backwards", GAUSS, 0.1, 64, 4e-6, kGreen, -4e-3},
    {"diffuse near", DIFFUSE, 0, 64, 4e-6, kGreen, 0.1e-3},
    {"diffuse at 2 N p p / lambda", DIFFUSE, 0, 64, 4e-6, kGreen, 3.85e-3},
    {"diffuse middle", DIFFUSE, 0, 128, 4e-6, kGreen, 7.7e-3},
    {"diffuse far", DIFFUSE, 0, 64, 4e-6, kGreen, 30e-3},
    {"soft diffuse near", SOFT, 0.4, 64, 4e-6, kGreen, 0.5e-3},
    {"soft diffuse middle", SOFT, 0.4, 64, 4e-6, kGreen, 3e-3},
    {"soft diffuse far", SOFT, 0.4, 128, 4e-6, kGreen, 40e-3},
    {"beam leaves", BEAM, 0.5, 64, 4e-6, kGreen, 2.5e-3},
    {"beam stays", BEAM, 0.3, 64, 4e-6, kGreen, 0.7e-3},
    {"aside at the edge", ASIDE, 0.3, 64, 4e-6, kGreen, 2e-3},
    // A lens and its focus; metalenses.
    {"focus", LENS, 1.0, 64, 4e-6, kGreen, 4e-3},
    {"through the focus", LENS, 0.5, 64, 4e-6, kGreen, 6e-3},
    {"metalens", LENS, 1.0, 128, 0.4e-6, kRed, 40e-6},
    {"metalens, half way", LENS, 2.0, 128, 0.4e-6, kRed, 25e-6},
    {"metalens focus, fine", LENS, 1.0, 128, 0.4e-6, kRed, 40e-6, 0, 0, 64, 0.05e-6},
    {"focus far finer than the pitch", LENS, 1.0, 64, 4e-6, kGreen, 4e-3, 0, 0, 64, 0.2e-6},
    {"focus, a little finer", LENS, 1.0, 64, 4e-6, kGreen, 4e-3, 0, 0, 64, 1e-6},
    {"evanescent", GAUSS, 0.05, 64, 0.25e-6, kRed, 5e-6},
    // Another pitch or size.
    {"zoom in", LETTER, 0, 64, 4e-6, kGreen, 20e-3, 0, 0, 64, 1e-6},
    {"zoom out", LETTER, 0, 64, 4e-6, kGreen, 20e-3, 0, 0, 64, 12e-6},
    {"zoom out, far", LETTER, 0, 64, 4e-6, kGreen, 0.2, 0, 0, 64, 100e-6},
    {"zoom too wide", LETTER, 0, 64, 4e-6, kGreen, 10e-3, 0, 0, 64, 80e-6},
    {"zoom in near", LETTER, 0, 64, 4e-6, kGreen, 1e-3, 0, 0, 64, 2e-6},
    {"zoom of diffuse light", DIFFUSE, 0, 64, 4e-6, kGreen, 4e-3, 0, 0, 64, 6e-6},
    {"wide-angle zoom", SOFT, 0.8, 64, 0.8e-6, kRed, 0.3e-3, 0, 0, 64, 1.5e-6},
    {"wide-angle zoom of a letter", LETTER, 0, 128, 0.8e-6, kRed, 0.5e-3, 0, 0, 128, 1.2e-6},
    {"zoom backwards", GAUSS, 0.1, 64, 4e-6, kGreen, -10e-3, 0, 0, 64, 3e-6},
    {"the pitch of the Fresnel transform", LETTER, 0, 64, 4e-6, kGreen, 10e-3, 0, 0, 64, kGreen * 10e-3 / 256e-6},
    {"the same, farther", GAUSS, 0.1, 64, 4e-6, kGreen, 60e-3, 0, 0, 64, kGreen * 60e-3 / 256e-6},
    {"smaller destination", LETTER, 0, 128, 4e-6, kGreen, 4e-3, 0, 0, 64},
    {"larger destination", LETTER, 0, 64, 4e-6, kGreen, 4e-3, 0, 0, 128},
    {"larger and coarser", SOFT, 0.5, 64, 4e-6, kGreen, 8e-3, 0, 0, 128, 8e-6},
    {"another pitch on the same plane", SOFT, 0.5, 64, 4e-6, kGreen, 0.0, 0, 0, 64, 1.7e-6},
    // Aside.
    {"a little aside", LETTER, 0, 64, 4e-6, kGreen, 5e-3, 0.2, 0.1},
    {"aside", LETTER, 0, 64, 4e-6, kGreen, 10e-3, 1.0, 0.0},
    {"beam aside", BEAM, 0.5, 64, 4e-6, kGreen, 6e-3, 0.8, 0.0},
    {"aside far", LETTER, 0, 64, 4e-6, kGreen, 60e-3, 3.0, 1.0},
    {"aside with zoom", SOFT, 0.6, 64, 4e-6, kGreen, 20e-3, 0.5, 0.5, 64, 5e-6},
    {"aside backwards", BEAM, -0.5, 64, 4e-6, kGreen, -6e-3, 0.8, 0.0},
    {"aside, tilted common plane", BEAM, 0.5, 64, 4e-6, kGreen, 6e-3, 0.8, 0.0, 0, 0.0, 0.0, 0.0, 0.3},
    {"zoom, tilted common plane", SOFT, 0.6, 64, 4e-6, kGreen, 20e-3, 0.5, 0.5, 64, 5e-6, 0.0, 0.0, 0.2},
    // Tilted.
    {"turned", GAUSS, 0.1, 64, 1e-6, kRed, 0.0, 0, 0, 0, 0, 0.0875},
    {"turned, at the edge", ASIDE, 0.4, 64, 1e-6, kRed, 0.0, 0, 0, 0, 0, 0.1},
    {"turned letter", LETTER, 0, 64, 2e-6, kRed, 0.0, 0, 0, 0, 0, 0.0, 0.2},
    {"turned far", GAUSS, 0.1, 64, 2e-6, kRed, 0.15e-3, 0, 0, 0, 0, 0.3},
    {"turned and aside", GAUSS, 0.15, 64, 2e-6, kRed, 0.2e-3, 0.1, 0.0, 0, 0, 0.1},
    {"turned, other pitch", SOFT, 0.4, 64, 2e-6, kRed, 0.1e-3, 0, 0, 64, 1.5e-6, 0.0, 0.1},
};

// All that an advice says: figures, ways with their error, time and memory, reasons, the steps taken.
TEST(Advice, IsWrittenOut)
{
    Lumora source(64, 64, 4e-6, 4e-6, kGreen), there = source, tilted = source, wide(64, 64, 90e-6, 90e-6, kGreen);
    source.Clear();
    for (const auto [i, j] : Grid(20, 24))
        source.SetPixel(24 + i, 20 + j, Complex(1.0, 0.0));
    there.SetOrigin(Vector(1e-4, 0.0, -20e-3));
    EXPECT_EQ(ToText(Advise(source, there, {.all = true})), R"(distance -20 mm, aside 100 um, 0 m, tilt 0°
band of the sampling, x: ±125 cycles/mm, light from -121.1 to 121.1
band of the sampling, y: ±125 cycles/mm, light from -121.1 to 121.1
light on the source: x -32 um to 44 um, y -48 um to 44 um
misses the destination 36 %, wraps around on the source's grid 20 %, AsmProp's band cuts 18 %,
      evanescent 0.0 %
waves in ExactAsmProp's band 24.6, phase left out by Fresnel 9.3e-05 rad, phases rounded by
      FresnelProp 0.0045 rad, repetitions fill 0.195 of their distance
    AsmProp. It goes along the normal, and the destination stands aside
    RawAsmProp. It goes along the normal, and the destination stands aside
    ExactAsmProp. It goes along the normal, and the destination stands aside
    ShiftedAsmProp. It goes forward only, and the destination stands behind
    ShiftedFresnelProp. It goes forward only, and the destination stands behind
    FresnelProp. It goes forward only, and the destination stands behind
    FourierProp. It goes forward only, and the destination stands behind
    Rotate. The planes are parallel
  * ShiftedFresnelProp: fits, error 5.7e-05, 2.51e-05 s, 0 MiB
    ShiftedAsmProp: no, error 0.049, 4.23e-05 s, 0 MiB. Its band or its grid cannot hold the light
      that arrives
    ShiftedAsmProp: fits, error 0.01, 0.000145 s, 0 MiB
    Embed, AsmProp, ScaledFft: no, error 0.045, 0.000153 s, 0 MiB. Its band or its grid cannot hold
      the light that arrives
    ScaledFft, ShiftedFresnelProp: fits, error 0.00036, 0.000161 s, 0 MiB
    ShiftedAsmProp: fits, error 0.0027, 0.000558 s, 0 MiB
    Embed, AsmProp, ScaledFft: fits, error 0.01, 0.000564 s, 1 MiB
    ScaledFft, ShiftedFresnelProp: fits, error 0.00043, 0.000586 s, 1 MiB
    Embed, AsmProp, ScaledFft: fits, error 0.0031, 0.00234 s, 4 MiB
taken: conjugated, then 20 mm by ShiftedFresnelProp, then conjugated
  - three steps: conjugated, then 20 mm by ShiftedFresnelProp, then conjugated
)");
    tilted.SetOrigin(Vector(0.0, 0.0, 0.5e-3)).SetNormalVector(Vector(0.2, 0.0, 1.0));
    source.SetGaussian(25.6e-6, 2.0, 1.0);
    std::string ways;
    for (const AdviceMember& way : Advise(source, tilted, {.all = true}).ways)
        if (way.fits)
            ways += way.name + " " + std::to_string(std::lround(way.seconds * 1e7)) + ", " +
                    std::to_string(std::lround(way.bytes / 1024.0)) + "\n";
    EXPECT_EQ(ways, R"(Embed, AsmProp, Rotate 1229, 160
Embed, AsmProp, Rotate, Extract 2896, 256
Embed, AsmProp, Rotate 2992, 544
Embed, AsmProp, Rotate, Extract 4564, 640
Embed, AsmProp, Rotate, Extract 9492, 640
Embed, AsmProp, Rotate 10721, 2080
Embed, AsmProp, Rotate, Extract 10781, 1024
Embed, AsmProp, Rotate, Extract 12361, 2176
Embed, AsmProp, Rotate, Extract 18849, 2560
)");
    wide.SetOrigin(Vector(0.0, 0.0, 1e-3));
    const std::vector<std::string> remedies = {"pitch at most 91.1 nm on x of the source: ShiftedFresnelProp",
                                               "a destination 145 um wide on x holds the light",
                                               "pitch at most 91.1 nm on y of the source: ShiftedFresnelProp",
                                               "a destination 145 um wide on y holds the light"};
    EXPECT_EQ(Advise(source, wide, {.steps = false}).remedies, remedies);
    // A wave along the normal and one at the corner of the band, where none goes on.
    Lumora waves(64, 64, 0.3e-6, 0.3e-6, kGreen);
    waves.FakeFft();
    waves.Clear().SetPixel(32, 32, Complex(1.0, 0.0)).SetPixel(0, 56, Complex(1.0, 0.0)).Fft(1);
    there = waves;
    const Advice corner = Advise(waves, there.SetOrigin(Vector(0.0, 0.0, 5e-6)));
    EXPECT_NEAR(corner.figures.evanescent, 0.5, 1e-5);
    EXPECT_EQ(corner.remedies.back(),
              "the pitch is below half a wavelength and part of the light is evanescent: filter the source");
    // From a row to a plane nothing is predicted, but the light spreads; two columns are as good as many.
    Lumora row(64, 1, 4e-6, 4e-6, kGreen), columns(2, 64, 4e-6, 4e-6, kGreen);
    row.SetGaussian(25.6e-6, 2.0, 1.0);
    tilted.SetOrigin(Vector(0.0, 0.0, 2e-3)).SetNormalVector(Vector::K());
    EXPECT_NEAR(Advise(row, tilted).figures.leaves, 0.035, 0.001);
    columns.SetConst(Complex(1.0, 0.5)).SetPixel(1, 20, Complex(0.3, 2.0));
    there = columns;
    EXPECT_NEAR(Advise(columns, there.SetOrigin(Vector(0.0, 0.0, 1e-4))).ways[0].error, 0.41, 0.005);
}

class AdviceOf : public ::testing::TestWithParam<Case>
{
};

TEST_P(AdviceOf, AgreesWithTheErrorOfEveryWay)
{
    const Case& c = GetParam();
    const Lumora source = MakeSource(c);
    const Lumora place = MakeDestination(c, source);
    AdviceOptions options;
    options.all = true;
    const Advice advice = Advise(source, place, options);
    const Reference reference(source, place);
    for (std::size_t n = 0; n < advice.ways.size(); ++n)
    {
        const AdviceMember& way = advice.ways[n];
        if (way.error < 0.0)
            continue;
        Lumora got(place);
        FollowAdvice(got, source, way);
        const double error = reference.Error(got);
        const bool right = way.borderline || way.fits == (error <= options.tolerance);
        EXPECT_TRUE(right) << way.name << ": predicted " << way.error << ", is " << error;
        if (error > 0.01 && error < 0.7)
        {
            EXPECT_TRUE(way.error < 2.0 * error && way.error > 0.5 * error) << way.name << ": " << way.error;
        }
    }
    const std::string text = ToText(advice);
    EXPECT_EQ(text.find("taken: none") != std::string::npos, advice.taken < 0) << text;
}

INSTANTIATE_TEST_SUITE_P(Cases, AdviceOf, ::testing::ValuesIn(kCases),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

/// What the taken way gives, by the text of its steps, for a Gaussian beam of 20 um radius under many circumstances.
TEST(Advice, IsFollowedWhereverTheFieldsStand)
{
    const auto beam = [](int ny)
    {
        Lumora f(64, ny, 4e-6, 4e-6, kGreen);
        return f.SetGaussian(20e-6, 2.0, 1.0);
    };
    const auto goTo = [](const Lumora& source, Lumora destination, const AdviceOptions& options = {})
    {
        destination.SetWindow(1, 3, 0, 1);
        const AdviceResult result = PropagateTo(destination, source, options);
        EXPECT_EQ(destination.Form(), COMPLEX_AMPLITUDE);
        EXPECT_EQ(destination.Window().right, 3);
        EXPECT_EQ(result.done.size(), result.Way().steps.size());
        EXPECT_GE(result.seconds, 0.0);
        return destination;
    };
    const auto difference = [](const Lumora& a, const Lumora& b)
    {
        double d = 0.0, all = 0.0;
        for (std::size_t n = 0; n < a.N(); ++n)
        {
            const Complex x = a.GetDataPointer()[n], y = b.GetDataPointer()[n];
            d += std::norm(Value(x.GetReal(), x.GetImag()) - Value(y.GetReal(), y.GetImag()));
            all += y.Intensity();
        }
        return std::sqrt(d / all);
    };
    Lumora there = beam(64);
    there.SetOrigin(Vector(0.0, 0.0, 2e-3));
    const Lumora want = goTo(beam(64), there);

    // Polar samples, threads, a frame of one's own, the way back: the same field.
    Lumora polar = beam(64);
    polar.ConvToPolarForm();
    EXPECT_LT(difference(goTo(polar, there), want), 1e-5);
    SetNumThreads(3);
    EXPECT_EQ(difference(goTo(beam(64), there), want), 0.0);
    SetNumThreads(1);
    Lumora turned = beam(64), turnedThere = there;
    turned.SetNormalVector(Vector(0.3, -0.2, 1.0)).SetOrigin(Vector(1.0, 2.0, 3.0));
    turnedThere.SetNormalVector(turned.GetNormalVector());
    turnedThere.SetOrigin(turned.GetGlobalPosition(Vector(0.0, 0.0, 2e-3)));
    EXPECT_LT(difference(goTo(turned, turnedThere), want), 1e-5);
    Lumora start = beam(64);
    EXPECT_LT(difference(goTo(want, start), start), 0.01);

    // One row: every way that fits says the same.
    Lumora row = beam(1), rowThere = row;
    rowThere.SetOrigin(Vector(0.0, 0.0, 4e-3));
    const Lumora rowWant = goTo(row, rowThere);
    int fitting = 0;
    for (const AdviceMember& way : Advise(row, rowThere, {.all = true}).ways)
        if (way.fits)
        {
            FollowAdvice(rowThere, row, way);
            EXPECT_LT(difference(rowThere, rowWant), 0.01) << way.name;
            ++fitting;
        }
    EXPECT_GT(fitting, 3);

    // No samples: diffuse light. The same plane; nothing to be seen; too little memory; too far in vain.
    Lumora none = beam(64);
    none.Dispose();
    EXPECT_GT(Advise(none, there).figures.wraps, 0.2);
    EXPECT_EQ(Advise(start, start).Taken()->name, "copy");
    EXPECT_EQ(difference(goTo(start, start), start), 0.0);
    Lumora beside = there;
    beside.SetOrigin(Vector(1.0, 0.0, 2e-3));
    EXPECT_EQ(Advise(start, beside).taken, -1);
    EXPECT_EQ(Advise(start, there, {.maxBytes = 1.0}).taken, -1);
    Lumora away(512, 64, 4e-6, 4e-6, kGreen); // wide, and shows its back: nothing arrives
    away.SetOrigin(Vector(0.0, 0.0, 2e-3)).SetNormalVector(Vector(0.0, 0.0, -1.0));
    EXPECT_EQ(Advise(start, away).taken, -1);
    EXPECT_EQ(Advise(start, away).figures.leaves, 1.0);
    Lumora wide(64, 64, 90e-6, 90e-6, kGreen);
    wide.Clear().SetOrigin(Vector(0.0, 0.0, 1e-3));
    Lumora letter = MakeSource(kCases[0]);
    const Advice refused = Advise(letter, wide, {.steps = false});
    EXPECT_EQ(refused.taken, -1);
    ASSERT_FALSE(refused.remedies.empty());
    EXPECT_NE(refused.remedies[0].find("pitch at most"), std::string::npos) << refused.remedies[0];
    goTo(letter, wide, {.steps = false, .bestEffort = true});
}
} // namespace
