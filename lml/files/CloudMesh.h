// Meshes on their way to clouds: vertices and triangles, and points on them.
#ifndef LML_CLOUDMESH_H
#define LML_CLOUDMESH_H

#include "files/CloudFile.h"

namespace LumoraLib::detail
{
/// A triangle by its corners' indices.
struct CloudTriangle
{
    std::uint32_t corner[3];
};

/// Vertices of a file and the triangles between them (none unless asked for).
struct CloudMesh
{
    std::vector<CloudPoint> points;
    std::vector<CloudTriangle> triangles;
};

/// Samples the placed triangles; options as LoadPointCloud(). Empty when the density gives no point.
std::vector<CloudPoint> SampleMesh(const CloudMesh& mesh, const CloudLoadOptions& options, const CloudStream& stream);
} // namespace LumoraLib::detail

#endif
