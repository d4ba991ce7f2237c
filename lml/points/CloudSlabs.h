// Clouds by slabs: the points of a slab of depth are put on a plane in its middle, each as its response at its exact
// depth; one transform per plane, sums in the spectrum, one transform back.
#ifndef LML_CLOUDSLABS_H
#define LML_CLOUDSLABS_H

#include "LmlTypes.h"
#include "base/Progress.h"
#include "points/CloudPlan.h"
#include "points/CloudSource.h"

namespace LumoraLib::detail
{
/// Adds the light to scene.y.count rows of scene.x.count samples. A cancelled run leaves them alone.
void AddCloudSlabs(const CloudScene& scene, const CloudExtent& extent, const SlabPlan& plan, const CloudSource& source,
                   Complex* samples, const char* function);
} // namespace LumoraLib::detail

#endif
