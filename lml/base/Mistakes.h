// Reports of what is legal and almost surely a mistake: the switch, and one check for each kind.
//
// A check stands as one line where the operation knows its values. Off, it is one relaxed load; on, it reads fields and
// writes nothing but its report.
#ifndef LML_MISTAKES_H
#define LML_MISTAKES_H

#include "LmlLumora.h"

#include <atomic>

namespace LumoraLib::detail
{
extern std::atomic<bool> mistakeReports;

inline bool MistakesOn()
{
    return mistakeReports.load(std::memory_order_relaxed);
}

/// While an object lives, the thread reports nothing: what an operation does inside is not its caller's mistake.
class MistakeScope
{
public:
    MistakeScope() : entered_(MistakesOn())
    {
        if (entered_)
            Enter(1);
    }
    ~MistakeScope()
    {
        if (entered_)
            Enter(-1);
    }
    MistakeScope(const MistakeScope&) = delete;
    MistakeScope& operator=(const MistakeScope&) = delete;

private:
    static void Enter(int levels);
    bool entered_;
};

/// The reports themselves; the checks below call them.
struct Mistakes
{
    static void DifferentFields(const char* function, const Lumora& own, const Lumora& other, bool anyPitch);
    static void BandLoss(const char* function, const Lumora& field, double uLow, double uHigh, double vLow,
                         double vHigh);
    static void EmptySource(const char* function, const Lumora& field, double z, bool onlyPositive);
    static void NoDistance(const char* function, double z);
    static void MissedLight(const char* function, const Lumora& destination, double energy, const Lumora& source,
                            double sourceEnergy);
    static void TiltedShift(const char* function, const Vector& normal);
    static void ThinTiles(const char* function);
};

/// Two fields about to be combined: domains, pitches, wavelengths and planes. `anyPitch`: the operation resamples.
inline void CheckCombined(const char* function, const Lumora& own, const Lumora& other, bool anyPitch = false)
{
    if (MistakesOn())
        Mistakes::DifferentFields(function, own, other, anyPitch);
}

/// A field about to be cut to the open band (uLow, uHigh), (vLow, vHigh), in cycles per metre, for a destination
/// shifted by (x0, y0). Beside the source a narrow band is in order: only that part of the light gets there.
inline void CheckShiftedBand(const char* function, const Lumora& field, double x0, double y0, double uLow, double uHigh,
                             double vLow, double vHigh)
{
    if (MistakesOn() && x0 < field.GetNx() / 2 * field.GetPx() && -x0 < field.GetNx() / 2 * field.GetPx() &&
        y0 < field.GetNy() / 2 * field.GetPy() && -y0 < field.GetNy() / 2 * field.GetPy())
        Mistakes::BandLoss(function, field, uLow, uHigh, vLow, vHigh);
}

/// A point source at the distance z of the field that reaches no sample of its window, or stands at distance zero.
/// `onlyPositive`: the form takes sources on the positive side only.
inline void CheckSource(const char* function, const Lumora& field, double z, bool reachesNothing,
                        bool onlyPositive = false)
{
    if (MistakesOn() && (reachesNothing || z == 0.0))
        Mistakes::EmptySource(function, field, z, onlyPositive);
}

/// A propagation by Fresnel's integral or by the Fourier transform over z.
inline void CheckDistance(const char* function, double z)
{
    if (MistakesOn())
        Mistakes::NoDistance(function, z);
}

/// A spectrum whose samples were looked up in another one and are about to be scaled to its energy (sums of squares).
inline void CheckMissedLight(const char* function, const Lumora& destination, double energy, const Lumora& source,
                             double sourceEnergy)
{
    if (MistakesOn())
        Mistakes::MissedLight(function, destination, energy, source, sourceEnergy);
}

/// A shifted propagation between parallel planes: are they tilted against the axes?
inline void CheckTilted(const char* function, const Vector& normal)
{
    if (MistakesOn())
        Mistakes::TiltedShift(function, normal);
}

/// A shifted propagation in tiles; `thin`: a grid is cut into tiles of one sample along an axis.
inline void CheckTiles(const char* function, bool thin)
{
    if (thin && MistakesOn())
        Mistakes::ThinTiles(function);
}
} // namespace LumoraLib::detail

#endif
