// The points of a cloud as an operation sees them: in the coordinates of a plane.
#ifndef LML_CLOUDSOURCE_H
#define LML_CLOUDSOURCE_H

#include "base/Constants.h"
#include "points/CloudPlan.h"
#include "simd/SinCos.h"

#include <cmath>
#include <cstdint>

namespace LumoraLib::detail
{
struct CloudSource
{
    const CloudPoint* points;
    std::int64_t count;
    bool turned;      ///< points are global
    double origin[3]; ///< of the plane
    double axes[9];   ///< unit vectors of the plane, row by row

    CloudPoint Local(std::int64_t n) const
    {
        CloudPoint p = points[n];
        if (!turned)
            return p;
        const double d[3] = {p.x - origin[0], p.y - origin[1], p.z - origin[2]};
        p.x = axes[0] * d[0] + axes[1] * d[1] + axes[2] * d[2];
        p.y = axes[3] * d[0] + axes[4] * d[1] + axes[5] * d[2];
        p.z = axes[6] * d[0] + axes[7] * d[1] + axes[8] * d[2];
        return p;
    }
};

/// Which points light any sample.
class CloudLimits
{
public:
    explicit CloudLimits(const CloudScene& scene)
        : x_(scene.x, CloudReach(scene, scene.x, 1.0), CloudTail(scene, scene.x)),
          y_(scene.y, CloudReach(scene, scene.y, 1.0), CloudTail(scene, scene.y))
    {
    }
    bool Reaches(const CloudPoint& p) const { return p.amplitude != 0.0 && x_.Has(p.x, p.z) && y_.Has(p.y, p.z); }

private:
    struct Axis
    {
        Axis(const CloudAxis& axis, double slope_, double tail_)
            : first(axis.first), last(axis.Last()), slope(slope_), tail(tail_)
        {
        }
        bool Has(double c, double z) const
        {
            const double reach = std::abs(z) * slope + tail;
            return c + reach >= first && c - reach <= last;
        }
        double first, last, slope, tail;
    };
    Axis x_;
    Axis y_;
};

/// A factor re + i im.
struct CloudFactor
{
    double re;
    double im;
};

/// exp(2 pi i turns).
inline CloudFactor TurnFactor(double turns)
{
    CloudFactor f{};
    SinCos1(kTwoPi * (turns - std::floor(turns + 0.5)), f.im, f.re);
    return f;
}

/// i s amplitude exp(i (phase + 2 pi turns)), s = 1 behind the plane and -1 in front.
inline CloudFactor CloudAmplitude(const CloudPoint& p, double turns)
{
    const CloudFactor f = TurnFactor(turns + p.phase / kTwoPi);
    const double a = p.z < 0.0 ? p.amplitude : -p.amplitude;
    return {-a * f.im, a * f.re};
}
} // namespace LumoraLib::detail

#endif
