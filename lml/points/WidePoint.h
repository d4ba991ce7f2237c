// The loops that add one point source to a field: what they are given, and the table of their wide forms. The plain
// forms, which define the results, stand in PointSource.cpp. Table and recurrence loops give the same bits in both
// forms and for every instruction set; the exact loop differs in the sine and cosine alone.
#ifndef LML_WIDEPOINT_H
#define LML_WIDEPOINT_H

#include "LmlApi.h"
#include "LmlTypes.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Steps of a turn in a phase table.
constexpr std::int32_t kPhaseSteps = 1024;

/// The samples and the part of the grid that a source reaches: columns iLo <= i < iHi, rows jLo <= j < jHi, inside the
/// grid.
struct PointPatch
{
    float* samples; // pairs (real, imaginary)
    std::int32_t nx, ny;
    double px, py;
    std::int32_t iLo, iHi, jLo, jHi;
};

/// A source at local (x0, y0, z0), each sample with its own root, sine and cosine.
struct ExactWave
{
    double k, x0, y0, z0, amp, phase;
    WindowFunc window; // RECT, TRIANGLE or COSINE
    double halfX, halfY;
    bool singlePhase; // k r is rounded to float, and phase is not added
};

/// A source at (xs, ys), the square of its distance from the plane d2: phase index trunc(factor r + offset) & mask.
struct TableWave
{
    double xs, ys, d2, factor, offset, amp;
    const double* cosTable; // kPhaseSteps entries
    const double* sinTable;
    std::int32_t mask; // below kPhaseSteps
};

/// A source beside column `start`: rows in pairs, the distance carried along the row to the right from `start` up to
/// iHi and to the left from start - 1 down to iLo, whichever of them runs.
struct RecurrenceWave
{
    std::int32_t start; // 0 .. nx
    bool right, left;
    double y;                           // the source's own, not moved to a row
    double right2, left2;               // squared distances at start and at start - 1 without the row's part
    double rightStep, leftStep, growth; // numerators of the first step, and what they grow by
    double factor, offset, amp;
    const double* cosTable;
    const double* sinTable;
    std::int32_t mask;
};

struct PointTable
{
    /// Rows jBegin .. jEnd - 1 of the patch.
    void (*exact)(const PointPatch& patch, const ExactWave& wave, std::int32_t jBegin, std::int32_t jEnd);
    void (*table)(const PointPatch& patch, const TableWave& wave);
    void (*recurrence)(const PointPatch& patch, const RecurrenceWave& wave);
};

/// The wide forms for the instruction set in force.
const PointTable& WidePoints() noexcept;
} // namespace LumoraLib::detail

#endif
