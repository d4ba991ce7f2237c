// The pair of planes that an advice is about, and the ways from one to the other that are looked at.
#ifndef LML_WAYS_H
#define LML_WAYS_H

#include "LmlAdvice.h"

#include <string>
#include <vector>

namespace LumoraLib::detail
{
/// A grid in a plane.
struct GridShape
{
    std::int32_t n[2] = {0, 0};
    double p[2] = {0.0, 0.0};

    double Width(int axis) const { return n[axis] * p[axis]; }
    double Samples() const { return static_cast<double>(n[0]) * n[1]; }
};

/// Source and destination in the frame of the source's plane.
struct PlanePair
{
    double lambda = 0.0;
    GridShape source;
    GridShape destination;
    double distance = 0.0;
    double shift[2] = {0.0, 0.0};
    /// The matrix that turns directions of the source's frame into the destination's, as Lumora::Rotate takes it.
    double turn[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double tilt = 0.0;                  ///< angle between the normals
    double axisTilt[2] = {0.0, 0.0};    ///< how far the destination's x and y axes rise out of the source's plane
    bool mirrored = false;              ///< one of the frames is a reflection: a normal of (0, 0, -1)
    bool OneRow() const { return source.n[1] == 1 && destination.n[1] == 1; }
    bool Parallel() const { return tilt < 1e-9; }
    bool SameGrid() const;
    bool SamePitch() const;
    /// Whether the centres stand over each other to a thousandth of a sample.
    bool Unshifted() const;
};

/// Throws nothing; the geometry is checked by the caller.
PlanePair MakePair(const Lumora& source, const AdviceGeometry& destination);

/// The members, each with its plan or the reason why the geometry is not its own; then ways of several steps.
/// `fresnelShare`: part of the distance over which Fresnel's approximation would hold.
std::vector<AdviceMember> SingleWays(const PlanePair& pair);
std::vector<AdviceMember> StepWays(const PlanePair& pair, double fresnelShare);

/// "ExactAsmProp".
const char* MemberName(AdvisedMember member);
} // namespace LumoraLib::detail

#endif
