// Propagations as descriptions, and the engines that carry them out.
//
// A propagator checks its fields and describes what it does: a SpectralPass (to the spectrum, times a transfer
// function, and back) or a ChirpPass (source factor, chirp convolution, destination factor). CarryOut() hands the
// description to one of two engines. One goes step by step over whatever transform is bound: its loops are the
// definition of the result. The other, on the library's own wide transforms, does the same in fewer sweeps and differs
// in the rounding of the transforms only.
//
// An engine reads samples and writes samples: form, window, pitches and position of a field are never touched on the
// way, and all memory is taken before the first sample is written, so that a failure (ERR_MEMORY) leaves every field as
// it was.
#ifndef LML_ENGINE_H
#define LML_ENGINE_H

#include "LmlLumora.h"
#include "simd/WidePhase.h"
#include "transform/Band.h"

#include <cstdint>
#include <optional>

namespace LumoraLib::detail
{
// --------------------------------------------------------------------------------------------------- by the spectrum

/// A transfer function over the frequencies u = i du, v = j dv of a spectrum, i and j counted from its centre, as the
/// product of a part that is even in u and in v and of a lateral shift.
class Transfer
{
public:
    double du = 0.0; ///< pitches of the spectrum, cycles per metre
    double dv = 0.0;
    /// A lateral shift, in metres: the factor exp(2 pi i (x0 u + y0 v)).
    bool shifted = false;
    double x0 = 0.0;
    double y0 = 0.0;
    /// Label of a row of samples per thread that Multiply() asks for; null: it needs none.
    const char* roomLabel = nullptr;

    /// The phase of the even part along the row of frequency |v|.
    virtual PhaseForm EvenRow(double v) const = 0;
    /// The definition: multiplies the rows of frequencies -v and v, v = j dv, in a centred spectrum of nx columns by
    /// the whole function. Either may be null. Must not fail.
    virtual void Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex* room) const = 0;

protected:
    ~Transfer() = default;
};

struct SpectralPass
{
    const Transfer& transfer;
    IndexBox band;     ///< what is left of the spectrum, in centred order; zero outside
    int doublings = 0; ///< the field stands in the centre of a grid 2^doublings times its size (a single row stays one)
    /// Kept: the spectrum of a polar field is multiplied and scaled in polar form, amplitude and phase in place of real
    /// and imaginary part.
    bool filtersPolar = false;
};

/// The sizes of a pass's grid for a field that transforms take (RequireLength): columns always grow, rows where there
/// is more than one; sizes that have not been through Init become powers of two.
std::int32_t GrownColumns(std::int32_t nx, int doublings);
std::int32_t GrownRows(std::int32_t ny, int doublings);

/// Multiplies the samples of a centred spectrum by the transfer function inside the band, and sets them to zero
/// outside.
void FilterSpectrum(Lumora& spectrum, const SpectralPass& pass);

// ------------------------------------------------------------------------------------------------------- by a chirp

/// A phase over a grid of samples (i, j).
class GridPhase
{
public:
    /// The definition, in radians.
    virtual double At(std::int32_t i, std::int32_t j) const = 0;
    /// Its parts along the axes, and the constant: their sum is At() up to rounding.
    virtual double AlongX(std::int32_t i) const = 0;
    virtual double AlongY(std::int32_t j) const = 0;
    virtual double Constant() const { return 0.0; }

protected:
    ~GridPhase() = default;
};

/// What becomes of the destination's samples.
enum class Into
{
    Replace,
    Add,
    Cleared ///< cleared once nothing can fail any more, then added
};

/// to(k, l) := constant * exp(i destination(k, l)) * sum over i, j of from(i, j) exp(i source(i, j))
/// exp(-2 pi i (a k i + b l j)).
struct ChirpPass
{
    double a, b;
    const GridPhase* source = nullptr; ///< none: factor 1
    const GridPhase* destination = nullptr;
    ComplexDouble constant = ComplexDouble(1.0, 0.0);
    /// The transformed chirp kernel on the doubled grid, for passes that share one; null: computed in the call. Its
    /// samples count: the parameters stand for them only as long as they are still what a and b say. Step by step,
    /// phases and chirp are then one argument, and the scale of the transforms joins the constant.
    const ScaledFftDescriptor* kernel = nullptr;
    Into into = Into::Replace;
};

/// The kernel for several passes over grids of nx by ny samples; none where the engine does without.
std::optional<ScaledFftDescriptor> SharedKernel(std::int32_t nx, std::int32_t ny, double a, double b);

/// Fills the samples of a doubled grid with the transformed chirp kernel exp(+i pi (a i^2 + b j^2)).
void FillChirpKernel(Lumora& doubled, double a, double b);

// --------------------------------------------------------------------------------------------------------- engines

/// Carries out a pass from the samples of one field to those of another of the same size, or in place.
void CarryOut(const SpectralPass& pass, Lumora& to, const Lumora& from);
void CarryOut(const ChirpPass& pass, Lumora& to, const Lumora& from);

class Engine
{
public:
    virtual void Run(const SpectralPass& pass, Lumora& to, const Lumora& from) const = 0;
    /// Replaces the samples, whatever `into` says.
    virtual void Run(const ChirpPass& pass, Lumora& to, const Lumora& from) const = 0;

protected:
    ~Engine() = default;
};

class StepEngine final : public Engine
{
public:
    void Run(const SpectralPass& pass, Lumora& to, const Lumora& from) const override;
    void Run(const ChirpPass& pass, Lumora& to, const Lumora& from) const override;
};

/// Needs the wide transforms and grids with two axes.
class FusedEngine final : public Engine
{
public:
    static bool Takes(const SpectralPass& pass, const Lumora& to, const Lumora& from);
    /// Cartesian samples to those of a field, with so many doublings.
    static bool TakesSpectra(const Lumora& to, int doublings);
    static bool Takes(const ChirpPass& pass, const Lumora& to);
    static bool TakesChirps(std::int32_t nx, std::int32_t ny);
    void Run(const SpectralPass& pass, Lumora& to, const Lumora& from) const override;
    void Run(const ChirpPass& pass, Lumora& to, const Lumora& from) const override;
};
} // namespace LumoraLib::detail

#endif
