// Ways carried out on representative rows, and the true field of the rows beside them.
#ifndef LML_TRIAL_H
#define LML_TRIAL_H

#include "LmlAdvice.h"
#include "advice/Probe.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib::detail
{
/// What one axis of a pair of planes is, in the frame of the source.
struct AxisCase
{
    int axis = 0; ///< 0 along x, 1 along y
    double lambda = 0.0;
    /// The wavelength that rows have: a row's light stands for frequencies of the other axis too, and their root mean
    /// square v shortens its frequency along z: 1 / sqrt(1 / lambda^2 - v^2).
    double rowLambda = 0.0;
    std::size_t n = 0; ///< the destination's samples
    double pitch = 0.0;
    double distance = 0.0; ///< to its centre, of either sign
    double shift = 0.0;
    double tilt = 0.0; ///< angle of the destination's axis against the source's, radians, positive where it rises
};

/// The true field of rows on a destination.
struct Truth
{
    bool known = false; ///< false where the rows would be too long
    RowSet there;       ///< on the destination's samples, or every `stride`-th of them from stride / 2 on
    std::size_t stride = 1;
    double arrives = 0.0; ///< share of the rows' energy that falls on the destination
    /// Energy by frequency of what arrives, as BandEnergy() gives it, over the source's band.
    std::vector<double> band;
};

/// Carries rows to the destination through a padded spectrum: frequencies whose light passes the destination by are
/// faded out, so that nothing wraps around into it, however far it is.
/// Cost: a transform and an inverse per row, of a length that covers about four times source and destination.
Truth TrueField(const RowSet& source, const AxisCase& at);

/// The transpose of TrueField(): factors for a sum over the source's samples that gives a pseudo-random sum over the
/// destination's. Sums of a field's rows with the factors of the y axis are rows along x of light that does arrive in
/// y: where propagation is separable, the error of a way on them is its error on the field.
RowSet TrueFactors(std::size_t n, double pitch, const AxisCase& at);

/// The rows after the steps of a plan along one axis, on the grid of the last step. Steps are the members' own
/// definitions, in one dimension.
RowSet FollowRows(const RowSet& source, const std::vector<AdviceStep>& steps, const AxisCase& at);

/// Relative energy of the difference between rows on the destination and the truth, or of that of the amplitudes.
double RelativeError(const RowSet& rows, const Truth& truth, bool amplitudesOnly);

/// Highest frequency that AsmProp keeps on a grid whose spectrum has the pitch du. Opt. Express 17 (2009) 19662, eq.
/// (13).
double AsmBand(double du, double distance, double lambda);
/// Frequencies that ShiftedAsmProp keeps: Opt. Express 18 (2010) 18453, table 1.
Stretch ShiftedAsmBand(double shift, double distance, double du, double lambda);
} // namespace LumoraLib::detail

#endif
