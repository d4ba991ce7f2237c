// The window of a point source.
#ifndef LML_POINTSOURCE_H
#define LML_POINTSOURCE_H

#include "LmlTypes.h"

namespace LumoraLib::detail
{
/// Weight of the sample at x for a source at c and a half-width, all in metres, on one axis.
double PointWindow(WindowFunc window, double c, double x, double half);
} // namespace LumoraLib::detail

#endif
