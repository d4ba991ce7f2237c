// Point clouds: both methods against the light summed in double, at every kind of cloud and several tolerances; the
// same bits for threads and instruction sets; refusals and cancellation that change nothing; the plan.
#include "TestTools.h"

#include "base/Isa.h"
#include "points/CloudFft.h"
#include "points/CloudPlan.h"

#include <algorithm>
#include <limits>

namespace
{
using namespace lmltest;
using namespace LumoraLib::detail;
using Wave = std::complex<double>;

constexpr double kTurn = 6.283185307179586;
constexpr double kEdge = 0.2;

struct Case
{
    const char* name;
    int nx, ny;
    double px, py, lambda;
    double zMin, zMax; // local: negative behind the plane
    double width;      // of the cloud, in widths of the field
    double shift;      // likewise, along x
    int points;
    int samples;
    bool direct = true; // whether direct sums are possible at all tolerances
};

std::vector<CloudPoint> MakeCloud(const Case& c)
{
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> any(0.0, 1.0);
    std::vector<CloudPoint> cloud;
    for (int n = 0; n < c.points; ++n)
    {
        double z = c.zMin + (c.zMax - c.zMin) * any(rng);
        if (std::abs(z) < 1e-5)
            z = 1e-5;
        cloud.push_back({(any(rng) - 0.5) * c.nx * c.px * c.width + c.shift * c.nx * c.px,
                         (any(rng) - 0.5) * c.ny * c.py * c.width, z, std::abs(z), kTurn * any(rng)});
    }
    cloud.push_back(cloud[0]); // a duplicate
    cloud.push_back({0.0, 0.0, c.zMin, 0.0, 1.0});
    cloud.push_back({1e3, 0.0, c.zMin, 1.0, 1.0}); // no light of it arrives
    return cloud;
}

/// The light as it is defined, at random samples: the integral over the band as a sum so fine that its period holds all
/// of the light.
struct Truth
{
    std::vector<std::size_t> at;
    std::vector<Wave> wave;
    double ErrorOf(const Lumora& field) const
    {
        double off = 0.0;
        double all = 0.0;
        for (std::size_t n = 0; n < at.size(); ++n)
        {
            const Complex& c = field.GetDataPointer()[at[n]];
            off += std::norm(Wave(c.Real(), c.Imag()) - wave[n]);
            all += std::norm(wave[n]);
        }
        return std::sqrt(off / all);
    }
};

/// One axis of the sum: frequencies, weights.
struct TruthAxis
{
    double period;
    std::vector<double> u, edge;
    TruthAxis(const CloudAxis& axis, double need, double reach) : period(need + 1.1 * reach + 200 * axis.pitch)
    {
        const int most = static_cast<int>(axis.band.end * period);
        for (int m = -most; m <= most; ++m)
        {
            u.push_back(m / period);
            edge.push_back(CloudEdge(u.back(), axis.band));
        }
    }
};

Truth MakeTruth(const Lumora& f, const std::vector<CloudPoint>& cloud, int samples)
{
    const double lambda = f.GetWavelength();
    const CloudAxis ax = MakeCloudAxis(f.GetNx(), f.GetPx(), 0.0, lambda, kEdge);
    const CloudAxis ay = MakeCloudAxis(f.GetNy(), f.GetPy(), 0.0, lambda, kEdge);
    double far = 0.0;
    double nx = 0.0;
    double ny = 0.0;
    for (const CloudPoint& p : cloud)
    {
        if (p.x > 1.0)
            continue;
        far = std::max(far, std::abs(p.z));
        nx = std::max(nx, std::abs(p.x) + f.GetNx() * f.GetPx() / 2);
        ny = std::max(ny, std::abs(p.y) + f.GetNy() * f.GetPy() / 2);
    }
    const TruthAxis x(ax, nx, far * CloudTangent(lambda * ax.band.end, lambda * ay.band.end));
    const TruthAxis y(ay, ny, far * CloudTangent(lambda * ay.band.end, lambda * ax.band.end));
    std::vector<Wave> spectrum(x.u.size() * y.u.size());
    std::vector<Wave> row(x.u.size());
    for (const CloudPoint& p : cloud)
    {
        if (p.x > 1.0 || p.amplitude == 0.0)
            continue;
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = std::polar(x.edge[i] * p.amplitude, p.phase - kTurn * x.u[i] * p.x);
        for (std::size_t j = 0; j < y.u.size(); ++j)
        {
            const Wave column = Wave(0.0, p.z < 0 ? 1.0 : -1.0) * std::polar(y.edge[j], -kTurn * y.u[j] * p.y);
            for (std::size_t i = 0; i < row.size(); ++i)
            {
                const double w = std::sqrt(1 / (lambda * lambda) - x.u[i] * x.u[i] - y.u[j] * y.u[j]);
                spectrum[j * row.size() + i] += row[i] * column * std::polar(1 / w, -kTurn * std::fmod(w * p.z, 1.0));
            }
        }
    }
    std::mt19937_64 rng(3);
    Truth truth;
    for (int n = 0; n < samples; ++n)
    {
        const int i = static_cast<int>(rng() % static_cast<unsigned>(f.GetNx()));
        const int j = static_cast<int>(rng() % static_cast<unsigned>(f.GetNy()));
        for (std::size_t m = 0; m < row.size(); ++m)
            row[m] = std::polar(1.0, kTurn * x.u[m] * f.X(i));
        Wave sum = 0.0;
        for (std::size_t m = 0; m < y.u.size(); ++m)
        {
            Wave part = 0.0;
            for (std::size_t k = 0; k < row.size(); ++k)
                part += spectrum[m * row.size() + k] * row[k];
            sum += part * std::polar(1.0, kTurn * y.u[m] * f.Y(j));
        }
        truth.at.push_back(static_cast<std::size_t>(i) +
                           static_cast<std::size_t>(j) * static_cast<std::size_t>(f.GetNx()));
        truth.wave.push_back(sum / (x.period * y.period));
    }
    return truth;
}

CloudOptions Options(double tolerance, CloudMethod method)
{
    CloudOptions o;
    o.tolerance = tolerance;
    o.method = method;
    o.frame = CLOUD_LOCAL;
    return o;
}

class PointCloud : public ::testing::TestWithParam<Case>
{
};

TEST_P(PointCloud, LightWithinTheTolerance)
{
    const Case c = GetParam();
    Lumora f(c.nx, c.ny, c.px, c.py, c.lambda);
    const std::vector<CloudPoint> cloud = MakeCloud(c);
    const std::int64_t count = static_cast<std::int64_t>(cloud.size());
    const Truth truth = MakeTruth(f, cloud, c.samples);
    for (const double tolerance : {1e-2, 1e-3, 1e-4})
        for (const CloudMethod method : {CLOUD_SLABS, CLOUD_DIRECT, CLOUD_AUTOMATIC})
        {
            if (method == CLOUD_DIRECT && !c.direct)
                continue;
            f.Clear();
            f.AddPointCloud(cloud.data(), count, Options(tolerance, method));
            const double bound = f.PlanPointCloud(cloud.data(), count, Options(tolerance, method)).error;
            EXPECT_LE(truth.ErrorOf(f), bound) << "method " << method;
            EXPECT_LE(bound, tolerance);
        }
}

INSTANTIATE_TEST_SUITE_P(
    Clouds, PointCloud,
    ::testing::Values(Case{"behind", 128, 128, 4e-6, 4e-6, 532e-9, -0.011, -0.009, 1, 0, 10, 40},
                      Case{"in front", 128, 128, 4e-6, 4e-6, 532e-9, 0.004, 0.005, 1, 0, 10, 40},
                      Case{"on both sides", 128, 64, 4e-6, 4e-6, 532e-9, -0.005, 0.005, 1, 0, 10, 40},
                      Case{"near", 64, 64, 4e-6, 4e-6, 532e-9, -0.0003, -0.0001, 1, 0, 60, 400},
                      Case{"many blocks", 512, 64, 4e-6, 4e-6, 532e-9, -0.0006, -0.0004, 1, 0, 40, 150},
                      Case{"beside the grid", 128, 64, 4e-6, 4e-6, 633e-9, -0.008, -0.006, 1, 1.2, 10, 40},
                      Case{"twice as wide", 64, 128, 4e-6, 4e-6, 532e-9, -0.006, -0.004, 2, 0, 12, 40},
                      Case{"unequal pitches", 128, 64, 4e-6, 6e-6, 532e-9, -0.006, -0.005, 1, 0, 10, 40},
                      Case{"one row", 256, 1, 4e-6, 4e-6, 532e-9, -0.006, -0.005, 1, 0, 10, 60},
                      Case{"fine pitch", 256, 256, 0.6e-6, 0.6e-6, 532e-9, -0.0006, -0.0004, 1, 0, 10, 40, false},
                      Case{"far", 128, 128, 16e-6, 16e-6, 633e-9, -1.0, -0.3, 1, 0, 6, 40},
                      Case{"deep", 128, 128, 16e-6, 16e-6, 633e-9, -0.5, -0.0005, 1, 0, 10, 40},
                      Case{"clustered", 128, 128, 4e-6, 4e-6, 532e-9, -0.0051, -0.005, 0.05, 0, 30, 40}),
    [](const auto& param)
    {
        std::string name = param.param.name;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

const Case kBusy = {"busy", 256, 128, 4e-6, 4e-6, 532e-9, -0.02, 0.015, 1.2, 0.1, 300, 0};

TEST(PointCloudRuns, BitsOfThreadsInstructionSetsAndPanels)
{
    const std::vector<CloudPoint> cloud = MakeCloud(kBusy);
    const std::int64_t count = static_cast<std::int64_t>(cloud.size());
    for (const CloudMethod method : {CLOUD_SLABS, CLOUD_DIRECT})
    {
        const auto run = [&](int threads, Isa isa, std::uint64_t memory)
        {
            const Threads team(threads);
            CapIsa(isa);
            Lumora f(kBusy.nx, kBusy.ny, kBusy.px, kBusy.py, kBusy.lambda);
            FillRandom(f);
            CloudOptions o = Options(1e-3, method);
            o.memory = memory;
            f.AddPointCloud(cloud.data(), count, o);
            CapIsa(Isa::Avx512);
            return f;
        };
        const Lumora first = run(1, Isa::Avx512, 0);
        EXPECT_TRUE(SameBits(run(2, Isa::Avx512, 0), first));
        EXPECT_TRUE(SameBits(run(3, Isa::Avx2, 0), first));
        EXPECT_TRUE(SameBits(run(1, Isa::Sse2, 0), first));
        if (method == CLOUD_SLABS)
        {
            // A budget that asks for several parts of the spectrum gives the same light.
            Lumora f(kBusy.nx, kBusy.ny, kBusy.px, kBusy.py, kBusy.lambda);
            const std::uint64_t all = f.PlanPointCloud(cloud.data(), count, Options(1e-3, method)).memory;
            EXPECT_LT(RelativeL2(run(2, Isa::Avx512, all * 3 / 4), first), 1e-3);
        }
    }
}

// Patches of several hundred samples on planes of many strips and tiles, the spectrum whole and in parts.
TEST(PointCloudRuns, SlabsOfLargerFieldsAgreeWithDirectSums)
{
    const Case deep = {"", 1024, 1024, 2e-6, 2e-6, 532e-9, -0.05, -0.01, 1, 0, 10, 0};
    const std::vector<CloudPoint> cloud = MakeCloud(deep);
    const std::int64_t count = static_cast<std::int64_t>(cloud.size());
    const auto run = [&](const CloudOptions& o)
    {
        const Threads team(2);
        Lumora f(deep.nx, deep.ny, deep.px, deep.py, deep.lambda);
        f.Clear();
        return f.AddPointCloud(cloud.data(), count, o);
    };
    const Lumora direct = run(Options(1e-3, CLOUD_DIRECT));
    CloudOptions o = Options(1e-2, CLOUD_SLABS);
    const CloudPlan whole = direct.PlanPointCloud(cloud.data(), count, o);
    EXPECT_GT(whole.width, 256);
    for (const std::uint64_t memory : {whole.memory, whole.memory / 2})
    {
        o.memory = memory;
        EXPECT_LT(RelativeL2(run(o), direct), 1e-2);
    }
}

TEST(PointCloudRuns, TurnedPlanesTakeGlobalPoints)
{
    Lumora f(128, 128, 4e-6, 4e-6, 532e-9);
    f.SetOrigin(Vector(1e-3, -2e-3, 0.05));
    f.SetNormalVector(Vector(std::sin(0.3), 0.1, std::cos(0.3)));
    const std::vector<CloudPoint> local = MakeCloud({"", 128, 128, 4e-6, 4e-6, 532e-9, -0.006, 0.005, 1, 0, 20, 0});
    std::vector<CloudPoint> global = local;
    for (CloudPoint& p : global)
    {
        const Vector v = f.GetGlobalPosition(Vector(p.x, p.y, p.z));
        p.x = v.x;
        p.y = v.y;
        p.z = v.z;
    }
    const std::int64_t count = static_cast<std::int64_t>(local.size());
    Lumora g(f);
    f.Clear();
    g.Clear();
    f.AddPointCloud(local.data(), count, Options(1e-3, CLOUD_AUTOMATIC));
    g.AddPointCloud(global.data(), count);
    EXPECT_LT(RelativeL2(g, f), 1e-3);
}

TEST(PointCloudRuns, RefusalsAndCancellationChangeNothing)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddPointCloud";
    const std::vector<CloudPoint> good = MakeCloud(kBusy);
    Lumora f(kBusy.nx, kBusy.ny, kBusy.px, kBusy.py, kBusy.lambda);
    FillRandom(f);
    const Lumora before(f);
    const auto expect = [&](int code, const char* message, const std::vector<CloudPoint>& cloud, const CloudOptions& o)
    {
        EXPECT_EQ(Catch([&] { f.AddPointCloud(cloud.data(), static_cast<std::int64_t>(cloud.size()), o); }),
                  (Failure{code, fn, message}));
        EXPECT_TRUE(SameBits(f, before));
    };
    const CloudOptions o = Options(1e-3, CLOUD_AUTOMATIC);
    for (double CloudPoint::*member :
         {&CloudPoint::x, &CloudPoint::y, &CloudPoint::z, &CloudPoint::amplitude, &CloudPoint::phase})
    {
        std::vector<CloudPoint> bad = good;
        bad[17].*member = kNan;
        bad[200].*member = kNan;
        const Threads team(3);
        expect(3, "point 17 is not a finite number", bad, o);
    }
    std::vector<CloudPoint> plane = good;
    plane[41].z = 1e-10;
    expect(3, "point 41 lies in the plane of the field", plane, o);
    for (const CloudMethod method : {CLOUD_SLABS, CLOUD_DIRECT})
    {
        const Threads team(2);
        SetProgressHandler(nullptr, nullptr);
        Lumora alone(before), watched(before); // the same samples, whoever watches
        alone.AddPointCloud(good.data(), std::int64_t(good.size()), Options(1e-3, method));
        SetProgressHandler([](void*, const char*, std::int64_t, std::int64_t) { return true; }, nullptr);
        watched.AddPointCloud(good.data(), std::int64_t(good.size()), Options(1e-3, method));
        EXPECT_TRUE(SameBits(alone, watched)) << method;
        SetProgressHandler([](void*, const char*, std::int64_t, std::int64_t) { return false; }, nullptr);
        expect(6, "cancelled", good, Options(1e-3, method));
    }
    SetProgressHandler(nullptr, nullptr);
    f.AddPointCloud(nullptr, 0);
    EXPECT_TRUE(SameBits(f, before));
}

TEST(PointCloudRuns, PlansTellMethodMemoryAndBound)
{
    const Lumora f(1024, 1024, 4e-6, 4e-6, 532e-9);
    std::vector<CloudPoint> cloud = MakeCloud({"", 1024, 1024, 4e-6, 4e-6, 532e-9, -0.1, -0.09, 1, 0, 20000, 0});
    const auto plan = [&](std::int64_t count, double tolerance)
    {
        return f.PlanPointCloud(cloud.data(), count, Options(tolerance, CLOUD_AUTOMATIC));
    };
    EXPECT_EQ(plan(0, 1e-3).method, CLOUD_AUTOMATIC);
    EXPECT_EQ(plan(3, 1e-3).method, CLOUD_DIRECT);
    const CloudPlan many = plan(20000, 1e-3);
    EXPECT_EQ(many.method, CLOUD_SLABS);
    EXPECT_EQ(many.points, 20000);
    EXPECT_GT(many.planes, 0);
    EXPECT_LE(many.memory, std::uint64_t{256} << 20);
    EXPECT_LE(many.error, 1e-3);
    EXPECT_GT(plan(20000, 1e-4).seconds, many.seconds);
    const Lumora wide(1 << 18, 2, 4e-6, 4e-6, 532e-9); // an axis too long for slabs
    EXPECT_EQ(Catch([&] { wide.PlanPointCloud(cloud.data(), 3, Options(1e-3, CLOUD_SLABS)); }).code, 1);
}

// Samples follow from the plan: it is the same on every machine, and with every compiler.
TEST(PointCloudRuns, PlansStayAsTheyAre)
{
    const Threads one(1);
    const Case wide = {"", 1024, 1024, 4e-6, 4e-6, 532e-9, -0.1, -0.09, 1, 0, 20000, 0};
    const Case near = {"", 512, 96, 2e-6, 3e-6, 633e-9, -0.004, 0.003, 1.5, 0.3, 3000, 0};
    const Case before = {"", 512, 96, 4e-6, 3e-6, 633e-9, 0.002, 0.005, 1.5, 0.3, 3000, 0};
    const Case few = {"", 1024, 300, 4e-6, 4e-6, 532e-9, -0.01, -0.001, 1, 0, 30, 0};
    const Case beside = {"", 2048, 64, 8e-6, 8e-6, 532e-9, -0.3, -0.01, 0.2, 1, 30, 0};
    const struct
    {
        const Case& cloud;
        CloudMethod method;
        double tolerance;
        std::uint64_t memory;
        CloudPlan plan;
    } cases[] = {
        {wide, CLOUD_SLABS, 1e-3, 0, {CLOUD_SLABS, 2, 2, 128, 0, 86183420, 0.175233, 0.000600736}},
        {wide, CLOUD_SLABS, 1e-3, 60 << 20, {CLOUD_SLABS, 3, 2, 88, 0, 53520652, 0.321843, 0.000600193}},
        {near, CLOUD_SLABS, 1e-4, 0, {CLOUD_SLABS, 9, 3, 104, 0, 9813592, 0.0397435, 6.00337e-05}},
        {before, CLOUD_SLABS, 1e-2, 0, {CLOUD_SLABS, 4, 1, 32, 0, 6756052, 0.0104121, 0.0065154}},
        {before, CLOUD_DIRECT, 1e-4, 0, {CLOUD_DIRECT, 0, 4, 256, 0, 6895224, 0.0608882, 1e-4}},
        {few, CLOUD_DIRECT, 1e-2, 0, {CLOUD_DIRECT, 0, 2, 256, 0, 13404376, 0.00185351, 1e-2}},
        {beside, CLOUD_DIRECT, 1e-3, 0, {CLOUD_DIRECT, 0, 2, 512, 0, 8021432, 0.000333811, 1e-3}},
    };
    for (const auto& c : cases)
    {
        CloudOptions o = Options(c.tolerance, c.method);
        o.memory = c.memory;
        const std::vector<CloudPoint> cloud = MakeCloud(c.cloud);
        const Lumora f(c.cloud.nx, c.cloud.ny, c.cloud.px, c.cloud.py, c.cloud.lambda);
        const CloudPlan plan = f.PlanPointCloud(cloud.data(), static_cast<std::int64_t>(cloud.size()), o);
        EXPECT_EQ(plan.method, c.plan.method);
        EXPECT_EQ(plan.planes, c.plan.planes);
        EXPECT_EQ(plan.terms, c.plan.terms);
        EXPECT_EQ(plan.width, c.plan.width);
        EXPECT_EQ(plan.memory, c.plan.memory);
        EXPECT_NEAR(plan.seconds, c.plan.seconds, 1e-5 * c.plan.seconds);
        EXPECT_NEAR(plan.error, c.plan.error, 1e-5 * c.plan.error);
    }
}

/// Lengths with every odd radix, pruned on both sides, against sums in double.
TEST(PointCloudRuns, TransformsOfAnyOddRadix)
{
    for (const std::size_t n : {64u, 96u, 80u, 224u, 288u, 4608u})
    {
        const CloudFft fft({n, -1, -11, 40, -21, 43}, 1, 1);
        std::vector<Complex> in(40);
        std::vector<Complex> out(43);
        for (std::size_t t = 0; t < in.size(); ++t)
            in[t] = Complex(std::sin(1.0f + static_cast<float>(t)), std::cos(3.0f * static_cast<float>(t)));
        fft.Load(0, 0, in.data());
        fft.Run(0, 0, out.data());
        double worst = 0.0;
        for (int k = -21; k < 22; ++k)
        {
            Wave sum = 0.0;
            for (int t = -11; t < 29; ++t)
            {
                const Complex& c = in[static_cast<std::size_t>(t + 11)];
                sum += Wave(c.Real(), c.Imag()) * std::polar(1.0, -kTurn * k * t / static_cast<double>(n));
            }
            const Complex& c = out[static_cast<std::size_t>(k + 21)];
            worst = std::max(worst, std::abs(sum - Wave(c.Real(), c.Imag())));
        }
        EXPECT_LT(worst, 2e-5) << n;
    }
}
} // namespace
