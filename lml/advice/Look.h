// What the adviser looks at, and its predictions of the error of a way.
#ifndef LML_LOOK_H
#define LML_LOOK_H

#include "LmlAdvice.h"
#include "advice/Probe.h"
#include "advice/Trial.h"
#include "advice/Ways.h"

#include <vector>

namespace LumoraLib::detail
{
/// All that predictions are made from.
class Look
{
public:
    Look(const Lumora& source, const PlanePair& pair, const AdviceOptions& options);

    const AdviceFigures& Figures() const { return figures_; }
    const AdviceOptions& Options() const { return options_; }
    /// Predicts the error of a way and says why.
    void Predict(AdviceMember& way) const;
    /// Share of the distance over which the phase that Fresnel leaves out stays harmless.
    double FresnelShare() const;
    bool Known() const { return truths_[0].known && (axes_ == 1 || truths_[1].known); }
    double Arrives() const { return arrives_; }
    /// Where the middle of the light lands beside the destination's centre, metres.
    double Landing(int axis) const { return landing_[axis]; }
    /// And how far about it, root mean square.
    double Spread(int axis) const { return spread_[axis]; }
    double LitWidth(int axis) const { return lit_[axis].high - lit_[axis].low; }
    const Stretch& Band(int axis) const { return band_[axis]; }

private:
    void MakeFigures();
    void FindEvanescent(const Lumora& source);
    double EvanescentWithin(const double (&limit)[2]) const;
    double EvanescentError(const AdviceMember& way) const;
    double TwistError(const AdviceStep& step) const;
    double CrossError() const;
    double ShiftedCorners(const AdviceStep& step) const;
    void Explain(AdviceMember& way) const;

    const PlanePair& pair_;
    const AdviceOptions& options_;
    int axes_;
    Probe probe_;    ///< the light as it is
    Probe arriving_; ///< along each axis the light that arrives on the other
    Stretch lit_[2], band_[2];
    AxisCase cases_[2];
    Truth truths_[2];   ///< with the rows' own wavelength
    Truth paraxial_[2]; ///< with the light's, for the Fresnel family, where that is another
    AdviceFigures figures_;
    std::vector<double>
        evanescent_; ///< shares of energy beyond 1 / lambda by |u| and |v|, kEvanescentBins on each axis
    double arrives_ = 1.0;
    double landing_[2] = {0.0, 0.0};
    double spread_[2] = {0.0, 0.0};
};
} // namespace LumoraLib::detail

#endif
