// What a user feels: the hologram of a cloud of points by the table family, spread over the application's own threads
// with a private field each, which are added up at the end. A result is checked before its figures are printed.
//
//   pointcloud [--points N] [--size N] [--threads N] [--window rect|none]
//   pointcloud --clouds N [--threads N]
//
// The second form prints rows of AddPointCloud beside the families, for clouds of up to N points.
// Options shrink the run of 100,000 points onto 4096 x 4096 samples, which takes minutes. Progress goes to stderr.
#include "Clouds.h"
#include "LmlLumora.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{
using namespace LumoraLib;
using Clock = std::chrono::steady_clock;

constexpr double kLambda = 633e-9;
constexpr double kPitch = 4e-6;
constexpr double kTurn = 6.283185307179586;

struct Options
{
    int points = 100000;
    double clouds = 0;
    int size = 4096;
    int threads = 0;
    WindowFunc window = WINDOW_RECT;
};

/// A point of the object and what it takes to compute its wave.
struct Point
{
    double x, y, z, amp, phase;
};

/// Samples first ... last - 1 of one axis that a point reaches.
struct Reach
{
    int first, last;
    bool Holds(int n) const { return n >= first && n < last; }
};

Options Read(int argc, char** argv)
{
    Options o;
    for (int n = 1; n < argc; n += 2)
    {
        const std::string name = argv[n];
        const char* value = n + 1 < argc ? argv[n + 1] : "";
        if (name == "--points" && std::atoi(value) > 0)
            o.points = std::atoi(value);
        else if (name == "--size" && std::atoi(value) > 0)
            o.size = std::atoi(value);
        else if (name == "--threads" && std::atoi(value) > 0)
            o.threads = std::atoi(value);
        else if (name == "--clouds" && std::atof(value) > 0)
            o.clouds = std::atof(value);
        else if (name == "--window" && (std::strcmp(value, "rect") == 0 || std::strcmp(value, "none") == 0))
            o.window = *value == 'r' ? WINDOW_RECT : WINDOW_NONE;
        else
        {
            std::fprintf(stderr,
                         "usage: pointcloud [--points N] [--size N] [--threads N] [--window rect|none] | --clouds N\n");
            std::exit(1);
        }
    }
    if (o.threads == 0)
        o.threads = GetNumProcs();
    return o;
}

/// Points on a torus behind the hologram, half its width across, at 30 to 40 mm.
std::vector<Point> MakeObject(const Options& o, double width)
{
    std::vector<Point> points;
    std::uint32_t seed = 1;
    const auto uniform = [&seed]
    {
        seed = seed * 1664525u + 1013904223u;
        return seed / 4294967296.0;
    };
    for (int n = 0; n < o.points; ++n)
    {
        const double around = kTurn * uniform();
        const double tube = kTurn * uniform();
        const double radius = width * (0.18 + 0.07 * std::cos(tube));
        const double z = -35e-3 + 3e-3 * std::sin(tube) + 2e-3 * std::cos(around);
        points.push_back({radius * std::cos(around), radius * std::sin(around), z, std::abs(z), kTurn * uniform()});
    }
    return points;
}

/// The tangent of the largest angle that the sampling carries reaches this far on each side.
Reach ReachOf(const Options& o, double c, double z)
{
    if (o.window == WINDOW_NONE)
        return {0, o.size};
    const double half = std::tan(std::asin(kLambda / (2 * kPitch))) * std::abs(z);
    const auto index = [&](double v)
    {
        const double n = std::floor((std::round(c / kPitch) * kPitch + v) / kPitch + 0.5) + o.size / 2;
        return static_cast<int>(std::fmin(std::fmax(n, 0), o.size));
    };
    return {index(-half), index(half)};
}

/// Relative distance of a few samples from sums in double with the true phases. The steps of the table leave about 0.2
/// %.
double ErrorOf(const Options& o, const std::vector<Point>& points, const Lumora& field)
{
    double off = 0;
    double all = 0;
    for (int n = 0; n < 24; ++n)
    {
        const int i = static_cast<int>((n * 0.618034 - std::floor(n * 0.618034)) * o.size);
        const int j = static_cast<int>((n + 0.5) / 24 * o.size);
        std::complex<double> sum;
        for (const Point& p : points)
        {
            if (!ReachOf(o, p.x, p.z).Holds(i) || !ReachOf(o, p.y, p.z).Holds(j))
                continue;
            const double dx = field.X(i) - std::round(p.x / kPitch) * kPitch;
            const double dy = field.Y(j) - std::round(p.y / kPitch) * kPitch;
            const double r = std::sqrt(dx * dx + dy * dy + p.z * p.z);
            // Truncation leaves out half a step on average.
            sum += std::polar(p.amp / std::abs(p.z), kTurn / kLambda * r + p.phase - kTurn / 2048);
        }
        const Complex c = field.GetPixel(i, j);
        off += std::norm(std::complex<double>(c.GetReal(), c.GetImag()) - sum);
        all += std::norm(sum);
    }
    return all > 0 ? std::sqrt(off / all) : 0;
}
} // namespace

int main(int argc, char** argv)
{
    const Options o = Read(argc, argv);
    if (o.clouds > 0)
    {
        RunClouds(o.clouds, o.threads);
        return 0;
    }
    std::vector<Lumora> fields;
    for (int t = 0; t < o.threads; ++t)
    {
        fields.emplace_back(o.size, o.size, kPitch, kPitch, kLambda);
        fields.back().Clear();
    }
    const Lumora& grid = fields[0];
    if (grid.GetNx() != o.size)
    {
        std::fprintf(stderr, "the size must be a power of two\n");
        return 1;
    }
    const std::vector<Point> points = MakeObject(o, o.size * kPitch);
    double samples = 0;
    for (const Point& p : points)
    {
        const Reach x = ReachOf(o, p.x, p.z);
        const Reach y = ReachOf(o, p.y, p.z);
        samples += static_cast<double>(x.last - x.first) * (y.last - y.first);
    }

    const SphericalWaveDescriptor d(grid.GetWavelength(), kPitch, kPitch, Vector(0, 0, 1));
    std::atomic<int> next{0};
    const Clock::time_point start = Clock::now();
    const auto seconds = [&start]
    {
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    const auto work = [&](int thread)
    {
        constexpr int kShare = 16;
        double shown = 0;
        for (int first = next.fetch_add(kShare); first < o.points; first = next.fetch_add(kShare))
        {
            for (int n = first; n < first + kShare && n < o.points; ++n)
            {
                const Point& p = points[static_cast<std::size_t>(n)];
                fields[static_cast<std::size_t>(thread)].AddSphericalWaveSqr(d, p.x, p.y, p.z, p.amp, p.phase,
                                                                             o.window);
            }
            const double t = seconds();
            if (thread == 0 && t > shown + 0.5)
            {
                shown = t;
                const double done = static_cast<double>(first + kShare) / o.points;
                std::fprintf(stderr, "\r%3.0f %%, %.0f s left ", 100 * done, t / done * (1 - done));
            }
        }
    };
    std::vector<std::thread> team;
    for (int t = 1; t < o.threads; ++t)
        team.emplace_back(work, t);
    work(0);
    for (std::thread& t : team)
        t.join();
    const double added = seconds();
    SetNumThreads(o.threads);
    for (int t = 1; t < o.threads; ++t)
        fields[0] += fields[static_cast<std::size_t>(t)];
    const double total = seconds();
    std::fprintf(stderr, "\r%40s\r", "");

    // Which thread takes which point, and so the order of the float sums, varies; their noise is part of the bound.
    const double error = ErrorOf(o, points, fields[0]);
    if (!(error < 0.01))
    {
        std::fprintf(stderr, "the hologram is wrong: relative error %g\n", error);
        return 2;
    }
    std::printf("%d points onto %d x %d, table family, %s, %d thread%s with private fields\n", o.points, o.size, o.size,
                o.window == WINDOW_RECT ? "patches of the sampling's band" : "whole grid", o.threads,
                o.threads == 1 ? "" : "s");
    std::printf("full hologram in %.2f s (%.2f s adding, %.2f s summing the fields), relative error %.2g\n", total,
                added, total - added, error);
    std::printf("%.3g samples, %.0f million a second, %.0f million a second and thread\n", samples,
                samples / added * 1e-6, samples / added / o.threads * 1e-6);
    return 0;
}
