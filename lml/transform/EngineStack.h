// One field's spectrum, kept for passes to several planes.
#ifndef LML_ENGINESTACK_H
#define LML_ENGINESTACK_H

#include "base/Scratch.h"
#include "transform/Engine.h"
#include "transform/wide/WidePasses.h"

#include <cstddef>
#include <optional>

namespace LumoraLib::detail
{
/// The first half of spectral passes that differ in transfer function and band alone, done once. Samples are those of
/// CarryOut() from a copy of the field to itself; columns that take more than one visit of the wide engine go step by
/// step, which differs in rounding.
class KeptSpectrum
{
public:
    /// @param plane  a field of the size of `from` and of its form, with samples of its own, for the planes; on the way
    ///               to the spectrum it is working memory
    /// @param band   holds the bands of all passes
    KeptSpectrum(Lumora& plane, const Lumora& from, const IndexBox& band, int doublings);
    KeptSpectrum(const KeptSpectrum&) = delete;
    KeptSpectrum& operator=(const KeptSpectrum&) = delete;

    /// What the pass leaves of the field, in the plane. The pass has the doublings of the constructor.
    void Run(const SpectralPass& pass) const;

private:
    void MakeFused(const Lumora& from, const IndexBox& band);
    void MakeStepByStep(const Lumora& from);
    void RunFused(const SpectralPass& pass) const;
    void RunStepByStep(const SpectralPass& pass) const;

    Lumora& plane_;
    int doublings_;
    std::int32_t nx_, ny_; // of the spectrum
    bool polar_;
    bool fused_;
    // Fused: whole strips of the spectrum around `columns_`, and the field's own rows over the full width of an
    // enlarged grid, which are the plane's samples otherwise.
    WideRange columns_;
    std::optional<Scratch> spectrum_;
    std::optional<Scratch> rows_;
    // Step by step: the spectrum, and an enlarged grid on the way back.
    std::optional<Lumora> stepSpectrum_;
    mutable std::optional<Lumora> grown_;
};
} // namespace LumoraLib::detail

#endif
