// Point clouds: what one point is, how a cloud is to be computed and what that takes, and clouds in files.
#ifndef LML_LMLCLOUD_H
#define LML_LMLCLOUD_H

#include "LmlApi.h"
#include "LmlTypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib
{
// ---------------------------------------------------------------------------------------------------------------
// Clouds of points                                                                               (PointCloud.cpp)
// ---------------------------------------------------------------------------------------------------------------

// What Lumora::AddPointCloud() and Lumora::PlanPointCloud() take and tell.

/// A point source: place in metres, amplitude, and phase in radians.
struct CloudPoint
{
    double x;         ///< metres
    double y;         ///< metres
    double z;         ///< metres
    double amplitude; ///< of the wave at the distance 1 m
    double phase;     ///< radians
};

/// How AddPointCloud() computes a cloud. Both ways sum the same light; they differ in what they take.
enum CloudMethod : std::int32_t
{
    CLOUD_AUTOMATIC = 0, ///< whichever the cost model finds faster
    CLOUD_SLABS = 1,     ///< the points of a slab of depth on one plane, one transform per plane: many points
    CLOUD_DIRECT = 2     ///< sums of row factor times column factor on blocks of the field: few or near points
};

/// The coordinates of a cloud, metres in both.
enum CloudFrame : std::int32_t
{
    CLOUD_GLOBAL = 0, ///< as GetGlobalPosition() gives them: origin and normal of the field count
    CLOUD_LOCAL = 1   ///< on the axes of the field's plane, z = 0 in the plane and growing along the normal
};

/// What AddPointCloud() may choose and may not.
struct CloudOptions
{
    double tolerance = 1e-3;              ///< relative l2 error of the light, 1e-4 to 1e-1
    double edge = 0.2;                    ///< soft part of the band on each axis, 0.05 to 1 of its half-width
    CloudMethod method = CLOUD_AUTOMATIC; ///< or one of the two
    CloudFrame frame = CLOUD_GLOBAL;      ///< of the points
    std::uint64_t memory = 0; ///< bytes for working memory; 0: six times the field's samples, at least 256 MiB
};

/// What AddPointCloud() would do.
struct CloudPlan
{
    CloudMethod method = CLOUD_AUTOMATIC; ///< CLOUD_AUTOMATIC where no light reaches the field and nothing is done
    std::int32_t planes = 0;              ///< planes of the slabs; 0 for direct sums
    std::int32_t terms = 0;               ///< separable terms of a point, for direct sums the most that a block takes
    std::int32_t width = 0;               ///< samples that a point covers on its plane, or those of a block's side
    std::int64_t points = 0;              ///< points whose light reaches the field
    std::uint64_t memory = 0;             ///< bytes beside the field
    double seconds = 0.0;                 ///< expected time of one core of the machine that the model was measured on
    double error = 0.0;                   ///< bound of the relative l2 error; of direct sums the tolerance
};

// ---------------------------------------------------------------------------------------------------------------
// Clouds in files                                                          (CloudFile.cpp, CloudPly.cpp, CloudMesh.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Points from text, PLY and meshes, and back.

/// How LoadPointCloud() makes points of what stands in a file. Coordinates are multiplied by unit and scale, turned
/// about the origin (or the middle) and moved.
struct CloudLoadOptions
{
    double unit = 1.0;  ///< metres per unit of the file, such as 1e-3 for millimetres
    double scale = 1.0; ///< factor on the size; negative values mirror
    /// Puts the middle of the box around all points (of a mesh all vertices) into the origin before turning and moving.
    bool centre = false;
    Vector turn;            ///< turns about the x, y and z axes, in this order, in radians
    Vector position;        ///< added last, in metres
    double amplitude = 1.0; ///< factor on all amplitudes
    /// Replaces all phases by uniform ones in 0 ... 2 pi: a surface that scatters. Equal seeds give equal phases.
    bool randomPhase = false;
    /// Points per square metre of surface, after unit and scale, that a mesh is sampled with; 0 makes the vertices the
    /// points and leaves the faces out.
    double density = 0.0;
    bool cullBackFaces = false;       ///< leaves out faces that, once placed, are turned away from +z
    std::uint64_t seed = 1;           ///< of random phases and of a mesh's points
    std::int64_t maxPoints = 1 << 24; ///< what a mesh may be sampled to
};

/// The points of a file. A file that begins with the line "ply" is read as PLY, everything else as text.
///
/// Text (CSV, XYZ): a point a line, `x y z [amplitude [phase]]`, separated by blanks, tabs, or a comma or semicolon
/// with or without blanks; amplitude 1 and phase 0 where none is given, phase in radians. Empty lines and lines that
/// begin with '#', '%' or "//" are left out, and so is a first line that begins with a letter (headings).
///
/// PLY 1.0, ascii or binary little-endian: element `vertex` with x, y, z of any number type and, where there are such
/// properties, `amplitude` (else the root of `intensity`, else the root of the luminance 0.2126 `red` + 0.7152 `green`
/// + 0.0722 `blue`) and `phase`. Intensities and colours of integer types count from 0 to 1; negative intensities are
/// 0. Everything else is skipped. With a density, the polygons of `face` (list `vertex_indices` or `vertex_index`) are
/// cut into triangles around their first corner and sampled uniformly by area: point n of N lies at a random place of
/// the n-th of N equal shares of the whole area, amplitude and phase interpolated between the corners. A face shows its
/// front where its corners run counter-clockwise. The random numbers are those of a 64-bit counter with a mixing
/// function (ACM SIGPLAN Notices 49, 10 (2014) 453), so they are the same everywhere.
///
/// Reports progress in bytes. Memory: 40 bytes a point (twice that while a text is read), for a mesh 40 bytes a vertex
/// and 32 a triangle more.
/// @throws "LumoraLib::LoadPointCloud": code 3, path and what is wrong with the options; code 2, the path (cannot be
///         opened); code 5, path and reason: what the file says does not hold together, is cut short, is no number or
///         is no finite one (with the line, or the vertex counted from 0); no points at all; code 1 without memory.
LML_API std::vector<CloudPoint> LoadPointCloud(const char* path, const CloudLoadOptions& options = {});

/// Saves points as binary little-endian PLY with the properties x, y, z, amplitude and phase in double precision:
/// LoadPointCloud() gives the same numbers back. Reports progress in points; a cancelled file is cut short.
/// @throws "LumoraLib::SavePointCloud": code 2, the path; code 4, the path.
LML_API void SavePointCloud(const char* path, const CloudPoint* points, std::size_t count);
} // namespace LumoraLib

#endif
