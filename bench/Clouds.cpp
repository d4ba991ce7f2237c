// Rows of point clouds: a box of random points as wide as the hologram, 4 um, 532 nm. The families of single sources
// are measured on a share of the points and scaled; times are the least of a few runs, ratios taken in this process.
#include "Clouds.h"

#include "LmlLumora.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace
{
using namespace LumoraLib;

constexpr double kPitch = 4e-6;
constexpr double kLambda = 532e-9;
constexpr double kTurn = 6.283185307179586;

struct Row
{
    int size;
    double points;
    double distance, depth;
    double tolerance;
    int runs;
};

std::vector<CloudPoint> MakeBox(const Row& r)
{
    std::mt19937_64 rng(1);
    std::uniform_real_distribution<double> any(0.0, 1.0);
    std::vector<CloudPoint> cloud(static_cast<std::size_t>(r.points));
    for (CloudPoint& p : cloud)
    {
        p.x = (any(rng) - 0.5) * r.size * kPitch;
        p.y = (any(rng) - 0.5) * r.size * kPitch;
        p.z = -(r.distance + (any(rng) - 0.5) * r.depth);
        p.amplitude = -p.z;
        p.phase = kTurn * any(rng);
    }
    return cloud;
}

double Seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

template <class Call>
double Least(int runs, const Call& call)
{
    double least = 1e300;
    for (int n = 0; n < runs; ++n)
    {
        const double start = Seconds();
        call();
        least = std::min(least, Seconds() - start);
    }
    return least;
}

CloudOptions Options(double tolerance, CloudMethod method)
{
    CloudOptions o;
    o.tolerance = tolerance;
    o.method = method;
    o.frame = CLOUD_LOCAL;
    return o;
}

double Add(Lumora& field, const std::vector<CloudPoint>& cloud, double tolerance, CloudMethod method, int runs)
{
    return Least(runs,
                 [&]
                 {
                     field.Clear();
                     field.AddPointCloud(cloud.data(), static_cast<std::int64_t>(cloud.size()),
                                         Options(tolerance, method));
                 });
}

/// Seconds that a family of single sources takes for the whole cloud on one thread, from `share` of its points.
double Family(Lumora& field, const std::vector<CloudPoint>& cloud, std::size_t share, bool exact)
{
    share = std::min(share, cloud.size());
    const SphericalWaveDescriptor d(field.GetWavelength(), kPitch, kPitch, Vector(0, 0, 1));
    const double one = Least(2,
                             [&]
                             {
                                 for (std::size_t n = 0; n < share; ++n)
                                 {
                                     // Spread over the cloud, so that their patches stand for all.
                                     const CloudPoint& p = cloud[n * (cloud.size() / share)];
                                     if (exact)
                                         field.AddSphericalWave(Vector(p.x, p.y, p.z), Phase(p.phase), p.amplitude);
                                     else
                                         field.AddSphericalWaveSqr(d, p.x, p.y, p.z, p.amplitude, p.phase, WINDOW_RECT);
                                 }
                             });
    return one / static_cast<double>(share) * static_cast<double>(cloud.size());
}

double Distance(const Lumora& a, const Lumora& b)
{
    double off = 0;
    double all = 0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const Complex p = a.GetDataPointer()[n];
        const Complex q = b.GetDataPointer()[n];
        off += std::pow(double(p.Real()) - double(q.Real()), 2) + std::pow(double(p.Imag()) - double(q.Imag()), 2);
        all += std::pow(double(q.Real()), 2) + std::pow(double(q.Imag()), 2);
    }
    return std::sqrt(off / all);
}

double PeakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void RunLarge(const Row& r, int threads)
{
    const std::vector<CloudPoint> cloud = MakeBox(r);
    Lumora field(r.size, r.size, kPitch, kPitch, kLambda);
    const CloudPlan plan = field.PlanPointCloud(cloud.data(), static_cast<std::int64_t>(cloud.size()),
                                                Options(r.tolerance, CLOUD_AUTOMATIC));
    SetNumThreads(1);
    const double one = Add(field, cloud, r.tolerance, CLOUD_AUTOMATIC, r.runs);
    SetNumThreads(threads);
    const double many = Add(field, cloud, r.tolerance, CLOUD_AUTOMATIC, r.runs);
    const double peak = PeakMegabytes();
    double error = 0.0;
    {
        Lumora fine(field);
        Add(fine, cloud, r.tolerance / 10, CLOUD_AUTOMATIC, 1);
        error = Distance(field, fine);
    }
    SetNumThreads(1);
    const double table = Family(field, cloud, static_cast<std::size_t>(r.size > 2048 ? 30 : 200), false);
    std::printf("%5d %9.0f %6.0f %5.0f %7.0e | %s %2d planes, model %6.2f s | %7.2f s, %d threads %7.2f s, x %.2f | "
                "table %8.1f s, x %4.0f | error %.1e | plan %4.0f MB, peak %5.0f MB\n",
                r.size, r.points, r.distance * 1e3, r.depth * 1e3, r.tolerance,
                plan.method == CLOUD_SLABS ? "slabs " : "direct", plan.planes, plan.seconds, one, threads, many,
                one / many, table, table / one, error, static_cast<double>(plan.memory) * 1e-6, peak);
    std::fflush(stdout);
}

void RunChoice(const Row& r)
{
    const std::vector<CloudPoint> cloud = MakeBox(r);
    Lumora field(r.size, r.size, kPitch, kPitch, kLambda);
    SetNumThreads(1);
    field.Clear();
    const double slabs = Add(field, cloud, r.tolerance, CLOUD_SLABS, r.runs);
    const double direct = Add(field, cloud, r.tolerance, CLOUD_DIRECT, r.runs);
    const double chosen = Add(field, cloud, r.tolerance, CLOUD_AUTOMATIC, r.runs);
    const double exact = Family(field, cloud, 20, true);
    const double table = Family(field, cloud, 20, false);
    std::printf("%5d %9.0f %6.0f %5.0f %7.0e | slabs %9.5f direct %9.5f exact %9.5f table %9.5f s | automatic %9.5f s, "
                "%.2f of the best\n",
                r.size, r.points, r.distance * 1e3, r.depth * 1e3, r.tolerance, slabs, direct, exact, table, chosen,
                chosen / std::min({slabs, direct, exact, table}));
    std::fflush(stdout);
}
} // namespace

void RunClouds(double most, int threads)
{
    std::printf("size, points, distance and depth in mm, tolerance\n");
    const Row large[] = {{1024, 1e4, 0.1, 0.01, 1e-3, 5}, {1024, 1e5, 0.1, 0.01, 1e-3, 5},
                         {1024, 1e5, 0.1, 0.01, 1e-4, 5}, {1024, 1e6, 0.1, 0.01, 1e-3, 3},
                         {4096, 1e4, 0.1, 0.01, 1e-3, 3}, {4096, 1e5, 0.1, 0.01, 1e-2, 3},
                         {4096, 1e5, 0.1, 0.01, 1e-3, 3}, {4096, 1e5, 0.1, 0.01, 1e-4, 3},
                         {4096, 1e6, 0.1, 0.01, 1e-3, 2}, {4096, 1e7, 0.1, 0.01, 1e-3, 1}};
    for (const Row& r : large)
        if (r.points <= most)
            RunLarge(r, threads);
    std::printf("which way is taken\n");
    for (const int size : {256, 1024, 4096})
        for (const double distance : {0.002, 0.02, 0.1, 0.4})
            for (const double points : {1.0, 10.0, 100.0, 1000.0})
                if (points <= most && (size < 4096 || points <= 100))
                    RunChoice({size, points, distance, distance / 10, 1e-3, size < 4096 ? 5 : 2});
}
