// Sums over the samples of a field, or of its segments one by one: energy, peak, centroid, widths.
#ifndef LMLCOMMAND_STATISTICS_H
#define LMLCOMMAND_STATISTICS_H

#include "Container.h"
#include "Facts.h"

#include <LmlLumora.h>

namespace command
{
/// Sums run in double, row by row; the samples are taken as cartesian, as all files hold them.
class Statistics
{
public:
    /// Adds the samples of the field's window; `column` and `row` place sample (0, 0) in samples from the centre of the
    /// whole grid.
    void Add(const LumoraLib::Lumora& field, double column, double row);
    /// The results as facts, lengths by the pitches of `grid`.
    void Describe(Facts& facts, const LumoraLib::Lumora& grid) const;

private:
    struct Axis
    {
        double first = 0.0; // sums of intensity times place, and place squared, in samples
        double second = 0.0;
    };
    double energy_ = 0.0;
    double amplitudes_ = 0.0;
    double largest_ = 0.0;
    double largestX_ = 0.0;
    double largestY_ = 0.0;
    Axis x_;
    Axis y_;
    double cross_ = 0.0;
    std::int64_t samples_ = 0;
    std::int64_t lit_ = 0;
    std::int64_t broken_ = 0; // not finite
};

/// Of a field's window.
Statistics StatisticsOf(const LumoraLib::Lumora& field);
/// Of a whole segmented file, one segment in memory at a time.
Statistics StatisticsOf(const std::string& path, const LmHead& head);
} // namespace command

#endif
