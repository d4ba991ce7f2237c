// Points on the faces of a mesh: uniform by area, with random numbers that are the same everywhere.
#include "files/CloudMesh.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::detail
{
namespace
{
struct Edges
{
    double area; // 0 for a face that is left out
    Vector along, aside;
};

Vector Between(const CloudPoint& from, const CloudPoint& to)
{
    return Vector(to.x - from.x, to.y - from.y, to.z - from.z);
}

Edges EdgesOf(const CloudMesh& mesh, const CloudTriangle& t, const CloudLoadOptions& options)
{
    const CloudPoint& a = mesh.points[t.corner[0]];
    Edges edges{0.0, Between(a, mesh.points[t.corner[1]]), Between(a, mesh.points[t.corner[2]])};
    const Vector& u = edges.along;
    const Vector& v = edges.aside;
    const double nx = u.y * v.z - u.z * v.y;
    const double ny = u.z * v.x - u.x * v.z;
    const double nz = u.x * v.y - u.y * v.x;
    // A mirrored mesh shows its fronts the other way round.
    const bool away = options.scale < 0.0 ? !(nz < 0.0) : !(nz > 0.0);
    if (!options.cullBackFaces || !away)
        edges.area = 0.5 * std::sqrt(nx * nx + ny * ny + nz * nz);
    return edges;
}
} // namespace

std::vector<CloudPoint> SampleMesh(const CloudMesh& mesh, const CloudLoadOptions& options, const CloudStream& stream)
{
    double total = 0.0;
    for (const CloudTriangle& t : mesh.triangles)
        total += EdgesOf(mesh, t, options).area;
    const double wanted = std::floor(total * options.density + 0.5);
    if (!(wanted <= static_cast<double>(options.maxPoints)))
        stream.Fail(ERR_PARAMETER, "more than maxPoints points: lower the density");
    const std::size_t count = static_cast<std::size_t>(wanted);
    std::vector<CloudPoint> points;
    points.reserve(count);
    CloudRandom random(options.seed);
    const double share = total / static_cast<double>(std::max<std::size_t>(count, 1));
    std::size_t last = 0; // the last face that has an area
    double end = 0.0;     // the area up to and with that face
    double at = random.Uniform() * share;
    const auto onFace = [&](const Edges& edges, const CloudTriangle& triangle)
    {
        double along = random.Uniform();
        double aside = random.Uniform();
        if (along + aside > 1.0) // the other half of the parallelogram
        {
            along = 1.0 - along;
            aside = 1.0 - aside;
        }
        const CloudPoint& a = mesh.points[triangle.corner[0]];
        const CloudPoint& b = mesh.points[triangle.corner[1]];
        const CloudPoint& c = mesh.points[triangle.corner[2]];
        const auto between = [&](double CloudPoint::*member)
        {
            return a.*member + along * (b.*member - a.*member) + aside * (c.*member - a.*member);
        };
        points.push_back({a.x + along * edges.along.x + aside * edges.aside.x,
                          a.y + along * edges.along.y + aside * edges.aside.y,
                          a.z + along * edges.along.z + aside * edges.aside.z, between(&CloudPoint::amplitude),
                          between(&CloudPoint::phase)});
        at = (static_cast<double>(points.size()) + random.Uniform()) * share;
    };
    for (std::size_t t = 0; t < mesh.triangles.size() && points.size() < count; ++t)
    {
        const Edges edges = EdgesOf(mesh, mesh.triangles[t], options);
        if (edges.area == 0.0)
            continue;
        last = t;
        end += edges.area;
        while (at < end && points.size() < count)
            onFace(edges, mesh.triangles[t]);
    }
    // Rounding may leave a place behind the end of the sum.
    while (points.size() < count)
        onFace(EdgesOf(mesh, mesh.triangles[last], options), mesh.triangles[last]);
    return points;
}
} // namespace LumoraLib::detail
