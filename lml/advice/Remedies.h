// Which way is taken, and what to change.
#ifndef LML_REMEDIES_H
#define LML_REMEDIES_H

#include "LmlAdvice.h"
#include "advice/Look.h"

namespace LumoraLib::detail
{
/// Index of the way to take: fitting ones, surely fitting ones before all, by time and then by error; -1: none.
std::int32_t ChooseWay(const std::vector<AdviceMember>& ways);

/// What to change: the limits' formulas turned round for the pitch, the place, the size.
void AddRemedies(Advice& advice, const PlanePair& pair, const Look& look);
} // namespace LumoraLib::detail

#endif
