// The adviser: which members carry a field to a given plane, how well, at what cost, and what to change where none
// does.
#ifndef LML_LMLADVICE_H
#define LML_LMLADVICE_H

#include "LmlApi.h"
#include "LmlLumora.h"
#include "LmlTypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace LumoraLib
{
// ---------------------------------------------------------------------------------------------------------------
// Advice                                                                                             (lml/advice)
// ---------------------------------------------------------------------------------------------------------------

// Which way to take from plane to plane, and how good it will be.
//
// Advise() predicts the relative l2 error of every way from a field to a destination: the root of the energy of the
// difference between what the way gives and the true field on the destination's samples, over the energy of the true
// field there. True is the diffraction of the source's samples (band-limited between them, nothing beside the grid).
//
// The prediction computes. Rows and columns of the source are summed with pseudo-random factors to a few
// representative rows, whose energy in place and frequency is the field's own along that axis; each way is then carried
// out on these rows in double precision, step by step as the members define it, beside a padded reference. What falls
// between the axes (the phase that Fresnel's approximation leaves out, evanescent corners) is added from the light's
// band on both axes, and roundings of phases to float by their formulas. So the adviser sees light that wraps around,
// is cut by a band limit or leaves the grid, wherever in the field it comes from.
//
// Held by tests: ways predicted below 2 percent are below, ways predicted above are above, except for predictions
// within a factor of 1.5 of the tolerance, which are marked `borderline`.

/// What a way, or a step of it, does.
enum AdvisedMember : std::int32_t
{
    ADVISE_COPY = 0,                 ///< source and destination are the same plane and grid
    ADVISE_RAW_ASM_PROP = 1,         ///< Lumora::RawAsmProp
    ADVISE_ASM_PROP = 2,             ///< Lumora::AsmProp
    ADVISE_EXACT_ASM_PROP = 3,       ///< Lumora::ExactAsmProp
    ADVISE_SHIFTED_ASM_PROP = 4,     ///< Lumora::ShiftedAsmProp, with AdviceStep::doublings as its precision
    ADVISE_SHIFTED_FRESNEL_PROP = 5, ///< Lumora::ShiftedFresnelProp, in tiles (Ex) where the sizes differ
    ADVISE_FRESNEL_PROP = 6,         ///< Lumora::FresnelProp, times -i Px Py / (lambda d)
    ADVISE_FOURIER_PROP = 7,         ///< Lumora::FourierProp, times Px Py / (lambda |d|): amplitudes only
    ADVISE_ROTATE = 8,               ///< Lumora::Rotate, with its carrier and the true scale put back
    ADVISE_EMBED = 9,                ///< Lumora::Embed: zeros around the field
    ADVISE_EXTRACT = 10,             ///< Lumora::Extract: the middle of the field
    ADVISE_RESAMPLE = 11,            ///< another pitch on the same plane: Lumora::Fft, then Lumora::ScaledFft back
    ADVISE_CONJUGATE = 12,           ///< Lumora::ConvToConjugate, around members that only go forward
    ADVISE_STEPS = 13                ///< a way of several of these
};

/// The destination's place and grid, without samples.
struct AdviceGeometry
{
    std::int32_t nx = 0; ///< samples; raised to powers of two, as Lumora raises them
    std::int32_t ny = 0;
    double px = 0.0; ///< pitches in metres
    double py = 0.0;
    Vector origin;                         ///< as Lumora::GetOrigin()
    Vector normal = Vector(0.0, 0.0, 1.0); ///< as Lumora::GetNormalVector()
};

/// What the adviser may choose.
struct AdviceOptions
{
    double tolerance = 0.02;     ///< relative l2 error that a way may have, 1e-4 to 0.5
    bool amplitudesOnly = false; ///< phases on the destination do not matter
    bool steps = true;           ///< ways of several steps may be taken
    double maxBytes = 0.0;       ///< working memory that a way may take; 0: any
    /// PropagateTo() takes the way of the smallest predicted error where none is within the tolerance.
    bool bestEffort = false;
    bool all = false; ///< lists also the ways of several steps that are slower than the one taken
};

/// One step of a way. Steps run in the frame of the source's plane: x and y along its axes, z along its normal.
struct AdviceStep
{
    AdvisedMember member = ADVISE_COPY; ///< what it does
    double distance = 0.0;              ///< metres along the source's normal
    double shiftX = 0.0;                ///< where the grid's centre goes, relative to before, in metres
    double shiftY = 0.0;
    std::int32_t doublings = 0; ///< of Embed and Extract; the precision of ShiftedAsmProp
    std::int32_t nx = 0;        ///< the grid after the step
    std::int32_t ny = 0;
    double px = 0.0;
    double py = 0.0;
    std::string text; ///< "0.10 m by ExactAsmProp"
};

/// The light and the geometry in figures. Shares are of energy, 0 to 1; bands are frequencies in cycles per metre.
struct AdviceFigures
{
    double distance = 0.0; ///< from the source's plane to the destination's centre, along the source's normal
    double shiftX = 0.0;   ///< of the destination's centre along the axes of the source's plane
    double shiftY = 0.0;
    double tilt = 0.0; ///< angle between the normals, radians

    double bandX = 0.0; ///< of the source's sampling: |u| <= 1 / (2 Px)
    double bandY = 0.0;
    double lightLowX = 0.0; ///< the band in which 99.9 percent of the light's energy lies, low and high end
    double lightHighX = 0.0;
    double lightLowY = 0.0;
    double lightHighY = 0.0;
    double extentLowX = 0.0; ///< the stretch of the source in which 99.9 percent of the energy lies, metres
    double extentHighX = 0.0;
    double extentLowY = 0.0;
    double extentHighY = 0.0;
    double evanescent = 0.0; ///< share beyond 1 / lambda

    double leaves = 0.0; ///< share that misses the destination's grid
    /// Share that AsmProp's band limit cuts, |tan| > W / (2 d). Opt. Express 17 (2009) 19662.
    double cut = 0.0;
    /// Share that comes in at the other side where RawAsmProp or AsmProp carries it on the source's grid.
    double wraps = 0.0;
    /// Waves that ExactAsmProp's band leaves on an axis, (2 W)^2 / (lambda d), the smaller of both axes.
    double waves = 0.0;
    /// Root mean square of the phase, in radians, that Fresnel's approximation leaves out: k d theta^4 / 8 and higher
    /// terms, over the light that arrives. J. W. Goodman, Introduction to Fourier Optics, section 4.2.
    double fresnelPhase = 0.0;
    /// Root mean square of what FresnelProp's phases lose by rounding to float, radians.
    double roundedPhase = 0.0;
    /// How far the repetitions of the sampled source stand off the light on the destination, as the share of their
    /// distance lambda d / Px that light and destination fill, the larger of both axes: below 1 nothing overlaps.
    double repetition = 0.0;
};

/// One way to the destination.
struct AdviceMember
{
    AdvisedMember member = ADVISE_COPY; ///< or ADVISE_STEPS
    std::string name;                   ///< "ExactAsmProp", or "ExactAsmProp, ShiftedFresnelProp"
    std::vector<AdviceStep> steps;      ///< the plan; empty where the way cannot be gone at all
    bool fits = false;                  ///< the prediction is within the tolerance
    bool borderline = false;            ///< the prediction is within a factor of 1.5 of the tolerance: may be either
    double error = -1.0;                ///< predicted relative l2 error; negative where it was not predicted
    double bytes = 0.0;                 ///< working memory beside source and destination
    double seconds = 0.0;             ///< expected time of one thread, by a table of measurements that the source names
    std::vector<std::string> reasons; ///< why it fits or not, sentences
};

/// What Advise() finds.
struct Advice
{
    AdviceFigures figures;             ///< of the light and the geometry
    std::vector<AdviceMember> ways;    ///< single members first, then ways of several steps
    std::int32_t taken = -1;           ///< index of the way that PropagateTo() takes; -1: none fits
    std::vector<std::string> remedies; ///< what to change; also what would make a cheaper way fit

    /// The way that PropagateTo() takes, or null.
    const AdviceMember* Taken() const { return taken < 0 ? nullptr : &ways[static_cast<std::size_t>(taken)]; }
};

/// What PropagateTo() did.
struct AdviceResult
{
    Advice advice;                 ///< what was found before
    std::int32_t way = -1;         ///< index of the way gone
    double seconds = 0.0;          ///< that the way took
    std::vector<std::string> done; ///< the steps as texts
    /// The way gone.
    const AdviceMember& Way() const { return advice.ways[static_cast<std::size_t>(way)]; }
};

/// Which members carry `source` to the destination, and which not. Of the destination sizes, pitches, origin and normal
/// count; it may be without samples. The source is a field in real space, cartesian or polar; one without samples
/// (after Dispose) stands for diffuse light that fills its grid and its band. Windows play no part.
///
/// Cost: about half a transform of the source with one thread (two sums over its rows, and some 100 short transforms),
/// more where a small source is seen far away on a wide destination. Memory: some hundred rows.
/// @throws "LumoraLib::Advise": code 8, "the source is a spectrum"; code 3, "the destination is a spectrum",
///         "the destination wavelength is different from the source", "sizes and pitches must be above zero",
///         "options are out of range".
LML_API Advice Advise(const Lumora& source, const Lumora& destination, const AdviceOptions& options = {});
LML_API Advice Advise(const Lumora& source, const AdviceGeometry& destination, const AdviceOptions& options = {});

/// The whole advice as text in UTF-8, lines of at most 100 characters: figures, a line per way, the way taken with its
/// steps, remedies. Numbers have a decimal point in every locale.
LML_API std::string ToText(const Advice& advice);

/// Goes one way of an advice: the samples of `destination` become the field of `source` there. The destination keeps
/// its place, pitches and window and becomes cartesian; the source stays. Pairs of planes that are tilted but parallel
/// are carried in their own frame, so shifts are shifts along the planes.
/// Cost, memory: as the way says. A refused call, also for want of memory, leaves the destination as it was.
/// @throws what the members throw under their names; "LumoraLib::FollowAdvice": code 8, "the source is a spectrum";
///         code 3, "the destination is a spectrum", "the destination wavelength is different from the source",
///         "the way has no steps", "the way leads to another grid"; code 6 without samples.
LML_API void FollowAdvice(Lumora& destination, const Lumora& source, const AdviceMember& way);

/// Advise() and FollowAdvice() in one call, by the way advised. Returns what it did.
/// @throws as both; "LumoraLib::PropagateTo": code 3, "no way is within the tolerance: see Advise for what to change",
///         with AdviceOptions::bestEffort only where no way was predicted.
LML_API AdviceResult PropagateTo(Lumora& destination, const Lumora& source, const AdviceOptions& options = {});
} // namespace LumoraLib

#endif
