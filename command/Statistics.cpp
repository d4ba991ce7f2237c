// Sums over the samples of a field, or of its segments one by one: energy, peak, centroid, widths.
#include "Statistics.h"
#include "Invocation.h"

#include <algorithm>
#include <cmath>

namespace command
{
using namespace LumoraLib;

void Statistics::Add(const Lumora& field, double column, double row)
{
    const LML_RECT w = const_cast<Lumora&>(field).Window();
    for (std::int32_t j = std::max(0, w.bottom); j < std::min(w.top, field.GetNy()); ++j)
    {
        CheckForSignal();
        double power = 0.0;
        double along = 0.0;
        double square = 0.0;
        for (std::int32_t i = std::max(0, w.left); i < std::min(w.right, field.GetNx()); ++i)
        {
            const double re = field.GetReal(i, j);
            const double im = field.GetImag(i, j);
            const double intensity = re * re + im * im;
            ++samples_;
            if (!std::isfinite(intensity))
            {
                ++broken_;
                continue;
            }
            const double place = column + i;
            power += intensity;
            along += intensity * place;
            square += intensity * place * place;
            amplitudes_ += std::sqrt(intensity);
            lit_ += intensity > 0.0 ? 1 : 0;
            if (intensity > largest_)
            {
                largest_ = intensity;
                largestX_ = place;
                largestY_ = row + j;
            }
        }
        const double place = row + j;
        energy_ += power;
        x_.first += along;
        x_.second += square;
        y_.first += power * place;
        y_.second += power * place * place;
        cross_ += along * place;
    }
}

void Statistics::Describe(Facts& facts, const Lumora& grid) const
{
    const Kind kind = grid.IsSpectrum() ? Kind::Frequency : Kind::Length;
    const double px = grid.GetPx();
    const double py = grid.GetPy();
    facts.Add("energy", "energy, sum of |u|^2", energy_);
    facts.Add("energy_area", "energy times area of a sample", energy_ * std::fabs(px * py));
    facts.Add("largest_amplitude", "largest amplitude", std::sqrt(largest_));
    facts.Add("largest_at", "  which stands at", {largestX_ * px, largestY_ * py}, kind, ", ");
    const auto count = static_cast<double>(samples_);
    facts.Add("mean_amplitude", "mean amplitude", samples_ > 0 ? amplitudes_ / count : 0.0);
    facts.Add("lit_share", "samples with light", samples_ > 0 ? static_cast<double>(lit_) / count : 0.0, Kind::Share);
    if (energy_ > 0.0)
    {
        const double cx = x_.first / energy_;
        const double cy = y_.first / energy_;
        const double vx = std::max(0.0, x_.second / energy_ - cx * cx);
        const double vy = std::max(0.0, y_.second / energy_ - cy * cy);
        facts.Add("centroid", "centroid", {cx * px, cy * py}, kind, ", ");
        // ISO 11146-1: four times the root of the second moment of the intensity along each axis.
        facts.Add("widths", "second-moment widths", {4.0 * std::sqrt(vx) * px, 4.0 * std::sqrt(vy) * py}, kind);
        facts.Add("covariance", "", (cross_ / energy_ - cx * cy) * px * py);
    }
    if (broken_ > 0)
    {
        facts.Add("not_finite", "samples that are not finite", static_cast<double>(broken_), Kind::Integer);
        facts.Note("samples that are not finite were left out of all sums");
    }
}

Statistics StatisticsOf(const Lumora& field)
{
    Statistics statistics;
    statistics.Add(field, -field.GetNx() / 2, -field.GetNy() / 2);
    return statistics;
}

Statistics StatisticsOf(const std::string& path, const LmHead& head)
{
    Statistics statistics;
    const double left = -static_cast<double>(head.WholeX()) / 2.0;
    const double bottom = -static_cast<double>(head.WholeY()) / 2.0;
    ForEachSegment(path, head,
                   [&](const Lumora& segment, std::int64_t column, std::int64_t row)
                   { statistics.Add(segment, left + static_cast<double>(column), bottom + static_cast<double>(row)); });
    return statistics;
}
} // namespace command
