// The light of point clouds: checks, the look at the points, the choice of the method.
#include "LmlLumora.h"

#include "base/Parallel.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "points/CloudDirect.h"
#include "points/CloudPlan.h"
#include "points/CloudSlabs.h"
#include "points/CloudSource.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <vector>

namespace LumoraLib
{
namespace detail
{
namespace
{
// In whose name the plan reports too.
constexpr char kAddPointCloud[] = "LumoraLib::Lumora::AddPointCloud";

constexpr std::uint64_t kLeastMemory = std::uint64_t{256} << 20;
// A point this close to the plane, in wavelengths, lies in it.
constexpr double kInPlane = 1e-3;
// Farther away, in wavelengths, its phase is lost in the roundings of double.
constexpr double kTooFar = 1e11;
// Pitches in wavelengths between which lengths and bands stay numbers that can be counted with.
constexpr double kLeastPitch = 1e-6;
constexpr double kLargestPitch = 1e6;
// Points that a plan of direct sums looks at.
constexpr std::int64_t kSample = 6;

/// Everything that is known about a call before its work.
struct CloudCall
{
    CloudScene scene;
    CloudSource source;
    CloudExtent extent;
    SlabPlan slabs;
    DirectPlan direct;
    CloudMethod method = CLOUD_AUTOMATIC;
};

void CheckOptions(const CloudOptions& o)
{
    // Written so that a not-a-number is refused.
    if (!(o.tolerance >= 1e-4 && o.tolerance <= 0.1))
        Error(ERR_PARAMETER, kAddPointCloud, "the tolerance must lie between 1e-4 and 0.1");
    if (!(o.edge >= 0.05 && o.edge <= 1.0))
        Error(ERR_PARAMETER, kAddPointCloud, "the edge must lie between 0.05 and 1");
    if (o.method != CLOUD_AUTOMATIC && o.method != CLOUD_SLABS && o.method != CLOUD_DIRECT)
        Error(ERR_PARAMETER, kAddPointCloud, "no such method");
    if (o.frame != CLOUD_GLOBAL && o.frame != CLOUD_LOCAL)
        Error(ERR_PARAMETER, kAddPointCloud, "no such frame");
}

[[noreturn]] void RefusePoint(std::int64_t index, const char* what)
{
    char text[96];
    std::snprintf(text, sizeof text, "point %lld %s", static_cast<long long>(index), what);
    Error(ERR_PARAMETER, kAddPointCloud, text);
}

CloudSource MakeSource(const Lumora& field, const CloudPoint* points, std::int64_t count, const CloudOptions& o)
{
    CloudSource s{};
    s.points = points;
    s.count = count;
    s.turned = o.frame == CLOUD_GLOBAL;
    const Vector origin = field.GetOrigin();
    // The rows of the turn into the plane's coordinates, by what it makes of the axes.
    const Vector unit[3] = {Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1)};
    for (int n = 0; n < 3; ++n)
    {
        const Vector v =
            field.GetLocalPosition(Vector(origin.x + unit[n].x, origin.y + unit[n].y, origin.z + unit[n].z));
        s.axes[n] = v.x;
        s.axes[3 + n] = v.y;
        s.axes[6 + n] = v.z;
    }
    s.origin[0] = origin.x;
    s.origin[1] = origin.y;
    s.origin[2] = origin.z;
    return s;
}

/// What one thread sees of the points.
struct Look
{
    CloudExtent extent;
    std::int64_t bad = -1; ///< index of the first point that is refused
    const char* why = nullptr;
};

/// Why a point has no light to compute; null where it has.
const char* Refusal(const CloudPoint& p, double lambda)
{
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z) || !std::isfinite(p.amplitude) ||
        !std::isfinite(p.phase))
        return "is not a finite number";
    if (!(std::abs(p.z) > kInPlane * lambda))
        return "lies in the plane of the field";
    return std::abs(p.z) < kTooFar * lambda ? nullptr : "lies too far from the plane of the field";
}

void LookAt(const CloudPoint& p, CloudExtent& e)
{
    if (e.points == 0)
    {
        e.xMin = e.xMax = p.x;
        e.yMin = e.yMax = p.y;
        e.zMin = e.zMax = p.z;
        e.nearest = std::abs(p.z);
    }
    ++e.points;
    e.xMin = std::min(e.xMin, p.x);
    e.xMax = std::max(e.xMax, p.x);
    e.yMin = std::min(e.yMin, p.y);
    e.yMax = std::max(e.yMax, p.y);
    e.zMin = std::min(e.zMin, p.z);
    e.zMax = std::max(e.zMax, p.z);
    e.nearest = std::min(e.nearest, std::abs(p.z));
}

void Join(CloudExtent& all, const CloudExtent& e)
{
    if (e.points == 0)
        return;
    if (all.points == 0)
    {
        all = e;
        return;
    }
    all.points += e.points;
    all.xMin = std::min(all.xMin, e.xMin);
    all.xMax = std::max(all.xMax, e.xMax);
    all.yMin = std::min(all.yMin, e.yMin);
    all.yMax = std::max(all.yMax, e.yMax);
    all.zMin = std::min(all.zMin, e.zMin);
    all.zMax = std::max(all.zMax, e.zMax);
    all.nearest = std::min(all.nearest, e.nearest);
}

/// Extent of the points whose light arrives; refuses points that have no light to compute.
CloudExtent Scan(const CloudScene& scene, const CloudSource& source)
{
    const CloudLimits limits(scene);
    std::vector<Look> looks(static_cast<std::size_t>(std::max(GetNumThreads(), 1)));
    ParallelBlocks(static_cast<std::size_t>(source.count),
                   [&](std::size_t begin, std::size_t end, int thread)
                   {
                       Look& look = looks[static_cast<std::size_t>(thread)];
                       for (std::size_t n = begin; n < end && look.bad < 0; ++n)
                       {
                           const CloudPoint p = source.Local(static_cast<std::int64_t>(n));
                           look.why = Refusal(p, scene.lambda);
                           if (look.why != nullptr)
                               look.bad = static_cast<std::int64_t>(n);
                           else if (limits.Reaches(p))
                               LookAt(p, look.extent);
                       }
                   });
    CloudExtent all{};
    for (const Look& look : looks)
    {
        if (look.bad >= 0)
            RefusePoint(look.bad, look.why);
        Join(all, look.extent);
    }
    return all;
}

/// Some of the points, evenly over the cloud's order.
std::vector<CloudPoint> SampleOf(const CloudScene& scene, const CloudSource& source)
{
    const CloudLimits limits(scene);
    std::vector<CloudPoint> sample;
    for (std::int64_t part = 0; part < kSample; ++part)
    {
        const std::int64_t begin = source.count * part / kSample;
        const std::int64_t end = source.count * (part + 1) / kSample;
        for (std::int64_t n = begin; n < end && n < begin + 64; ++n)
        {
            const CloudPoint p = source.Local(n);
            if (!limits.Reaches(p))
                continue;
            sample.push_back(p);
            break;
        }
    }
    return sample;
}

CloudScene MakeScene(const Lumora& field, const CloudOptions& o)
{
    const double lambda = field.GetWavelength();
    const double px = field.GetPx();
    const double py = field.GetPy();
    CloudScene s{};
    s.lambda = lambda;
    s.x = MakeCloudAxis(field.GetNx(), px, -(field.GetNx() / 2) * px, lambda, o.edge);
    s.y = MakeCloudAxis(field.GetNy(), py, -(field.GetNy() / 2) * py, lambda, o.edge);
    s.tolerance = o.tolerance;
    s.edge = o.edge;
    const std::uint64_t samples = static_cast<std::uint64_t>(field.GetNx()) * static_cast<std::uint64_t>(field.GetNy());
    s.memory = o.memory != 0 ? o.memory : std::max(kLeastMemory, 6 * sizeof(Complex) * samples);
    return s;
}

void ReportNoMemory()
{
    Error(ERR_MEMORY, "LumoraLib::Malloc", "point cloud");
}

CloudCall Prepare(const Lumora& field, const CloudPoint* points, std::int64_t count, const CloudOptions& o)
{
    if (FieldAccess::Form(field) != 0)
        Error(ERR_PARAMETER, kAddPointCloud, "incorrect form");
    FieldAccess::RequireSamples(field, kAddPointCloud);
    CheckOptions(o);
    if (count < 0 || count > 0x7fffffff || (points == nullptr && count > 0))
        Error(ERR_PARAMETER, kAddPointCloud, "there must be 0 to 2147483647 points");
    const double values[] = {field.GetPx(), field.GetPy(), field.GetWavelength()};
    for (const double v : values)
        if (!(v > 0.0) || !std::isfinite(v))
            Error(ERR_PARAMETER, kAddPointCloud, "pitches and wavelength must be positive");
    for (const double pitch : {field.GetPx(), field.GetPy()})
        if (!(pitch > kLeastPitch * field.GetWavelength() && pitch < kLargestPitch * field.GetWavelength()))
            Error(ERR_PARAMETER, kAddPointCloud, "pitches must lie between 1e-6 and 1e6 wavelengths");
    CloudCall call;
    call.scene = MakeScene(field, o);
    call.source = MakeSource(field, points, count, o);
    call.extent = field.GetNx() > 0 && field.GetNy() > 0 ? Scan(call.scene, call.source) : CloudExtent{};
    if (call.extent.points == 0)
        return call;
    if (o.method != CLOUD_DIRECT)
        call.slabs = PlanSlabs(call.scene, call.extent);
    if (o.method != CLOUD_SLABS)
        call.direct = PlanDirect(call.scene, call.extent, SampleOf(call.scene, call.source));
    if (!call.slabs.possible && !call.direct.possible)
        Error(ERR_MEMORY, kAddPointCloud, "no method fits the memory and the tolerance");
    const bool slabs = call.slabs.possible && (!call.direct.possible || call.slabs.seconds <= call.direct.seconds);
    call.method = slabs ? CLOUD_SLABS : CLOUD_DIRECT;
    return call;
}
} // namespace
} // namespace detail

CloudPlan Lumora::PlanPointCloud(const CloudPoint* points, std::int64_t count, const CloudOptions& options) const
{
    const detail::CloudCall call =
        detail::WithMemory([&] { return detail::Prepare(*this, points, count, options); }, detail::ReportNoMemory);
    CloudPlan plan;
    plan.method = call.method;
    plan.points = call.extent.points;
    if (call.method == CLOUD_SLABS)
    {
        plan.planes = call.slabs.planes;
        plan.terms = call.slabs.terms;
        plan.width = call.slabs.width;
        plan.memory = call.slabs.memory;
        plan.seconds = call.slabs.seconds;
        plan.error = call.slabs.error;
    }
    else if (call.method == CLOUD_DIRECT)
    {
        plan.terms = call.direct.terms;
        plan.width = static_cast<std::int32_t>(call.direct.blockX);
        plan.memory = call.direct.memory;
        plan.seconds = call.direct.seconds;
        plan.error = call.direct.error;
    }
    return plan;
}

Lumora& Lumora::AddPointCloud(const CloudPoint* points, std::int64_t count, const CloudOptions& options)
{
    const auto add = [&]
    {
        const detail::CloudCall call = detail::Prepare(*this, points, count, options);
        if (call.method == CLOUD_SLABS)
            detail::AddCloudSlabs(call.scene, call.extent, call.slabs, call.source, GetDataPointer(),
                                  detail::kAddPointCloud);
        else if (call.method == CLOUD_DIRECT)
            detail::AddCloudDirect(call.scene, call.extent, call.direct, call.source, GetDataPointer(),
                                   detail::kAddPointCloud);
    };
    detail::WithMemory(add, detail::ReportNoMemory);
    return *this;
}

Lumora& Lumora::AddPointCloud(const CloudPoint* points, std::int64_t count)
{
    return AddPointCloud(points, count, CloudOptions());
}
} // namespace LumoraLib
