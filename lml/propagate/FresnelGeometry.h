// What a Fresnel propagation between two grids of any pitch and place takes from them, and its phases.
#ifndef LML_FRESNELGEOMETRY_H
#define LML_FRESNELGEOMETRY_H

#include "base/Constants.h"
#include "transform/Engine.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Everything that one propagation takes from its two grids.
struct FresnelGeometry
{
    double z;      // distance; a negative one is the way back
    double k;      // wavenumber of the source
    double pS, qS; // source pitches
    double pD, qD; // destination pitches
    double xS, yS; // coordinates of the source's sample (0, 0)
    double xD, yD; // coordinates of the destination's sample (0, 0)

    double Wavelength() const { return kTwoPi / k; }
    double ChirpX() const { return pD * pS / (Wavelength() * z); }
    double ChirpY() const { return qD * qS / (Wavelength() * z); }
    /// The imaginary prefactor -1 / (lambda z) times the source's sample area, rounded to float.
    double Prefactor() const { return static_cast<float>(-1.0 / (Wavelength() * z) * pS * qS); }
};

class FresnelSourcePhase final : public GridPhase
{
public:
    explicit FresnelSourcePhase(const FresnelGeometry& geometry) : g(geometry) {}
    double At(std::int32_t i, std::int32_t j) const override
    {
        const double x = i * g.pS + g.xS;
        const double y = j * g.qS + g.yS;
        return (g.k / g.z) * (x * (x / 2.0 - g.xD) + y * (y / 2.0 - g.yD));
    }
    double AlongX(std::int32_t i) const override
    {
        const double x = i * g.pS + g.xS;
        return (g.k / g.z) * (x * (x / 2.0 - g.xD));
    }
    double AlongY(std::int32_t j) const override
    {
        const double y = j * g.qS + g.yS;
        return (g.k / g.z) * (y * (y / 2.0 - g.yD));
    }

private:
    const FresnelGeometry& g;
};

class FresnelDestinationPhase final : public GridPhase
{
public:
    explicit FresnelDestinationPhase(const FresnelGeometry& geometry) : g(geometry) {}
    double At(std::int32_t i, std::int32_t j) const override
    {
        const double x = i * g.pD + g.xD;
        const double y = j * g.qD + g.yD;
        return (g.k / g.z) * ((x * x + y * y) / 2.0 - j * (g.yS * g.qD) - i * (g.xS * g.pD)) + g.k * g.z;
    }
    double AlongX(std::int32_t i) const override
    {
        const double x = i * g.pD + g.xD;
        return (g.k / g.z) * (x * x / 2.0 - i * (g.xS * g.pD));
    }
    double AlongY(std::int32_t j) const override
    {
        const double y = j * g.qD + g.yD;
        return (g.k / g.z) * (y * y / 2.0 - j * (g.yS * g.qD));
    }
    double Constant() const override { return g.k * g.z; }

private:
    const FresnelGeometry& g;
};
} // namespace LumoraLib::detail

#endif
