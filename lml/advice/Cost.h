// What ways take: time by a table of measured transforms, and working memory.
#ifndef LML_COST_H
#define LML_COST_H

#include "LmlAdvice.h"
#include "advice/Ways.h"

namespace LumoraLib::detail
{
struct Cost
{
    double seconds = 0.0; ///< of one thread
    double bytes = 0.0;   ///< beside source and destination, at the widest moment
};

Cost CostOf(const PlanePair& pair, const AdviceMember& way);
} // namespace LumoraLib::detail

#endif
