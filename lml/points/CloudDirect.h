// Clouds by direct sums: on a block of samples a point's light is a few products of a row factor and a column factor,
// each by one transform from the part of the spectrum that reaches the block.
#ifndef LML_CLOUDDIRECT_H
#define LML_CLOUDDIRECT_H

#include "LmlTypes.h"
#include "base/Progress.h"
#include "points/CloudPlan.h"
#include "points/CloudSource.h"

namespace LumoraLib::detail
{
/// Adds the light to scene.y.count rows of scene.x.count samples. A cancelled run leaves them alone.
void AddCloudDirect(const CloudScene& scene, const CloudExtent& extent, const DirectPlan& plan,
                    const CloudSource& source, Complex* samples, const char* function);
} // namespace LumoraLib::detail

#endif
