// The team behind parallel regions: worker threads that wait for parts of a region, and the caller, who waits for none
// that has not begun.
#ifndef LML_TEAM_H
#define LML_TEAM_H

namespace LumoraLib::detail
{
/// One part of a region.
using TeamPart = void (*)(const void* body, int part, int parts);

/// Runs part(body, k, parts) once for each k from 0 to parts - 1 and returns when all have ended; part 0 first, on the
/// calling thread. Parts are offered to workers; what no worker has begun when the caller is through with its own, the
/// caller does too, so that a worker without a processor holds nobody. A part must therefore wait for no other part,
/// and must not throw. Which thread runs a part is not fixed.
///
/// All parts run on the calling thread, one after the other: inside a parallel region of the program's own, while
/// another thread has the team, inside a part, and where the system has no threads or one processor to give. A worker
/// that has lost its processor in the middle of a part, or shares the caller's, stands aside for a while.
void RunTeam(int parts, TeamPart part, const void* body) noexcept;
} // namespace LumoraLib::detail

#endif
