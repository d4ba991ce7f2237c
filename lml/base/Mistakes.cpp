// Reports of what is legal and almost surely a mistake: fields that do not belong together, light that gets lost.
#include "base/Mistakes.h"

#include "base/Describe.h"
#include "base/Progress.h"
#include "base/TextLocale.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>

namespace LumoraLib
{
std::atomic<bool> detail::mistakeReports{false};

namespace
{
std::atomic<MistakeHandler> mistakeHandler{nullptr};
thread_local int scopes = 0; // operations that the thread is inside of

LML_PRINTF_LIKE(2, 3)
void Report(const char* function, const char* format, ...)
{
    char what[300];
    std::va_list args;
    va_start(args, format);
    const bool formatted = detail::VFormatC(what, sizeof what, format, args) >= 0;
    va_end(args);
    char text[448];
    detail::FormatC(text, sizeof text, "%s: %s", function, formatted ? what : "");
    if (const MistakeHandler handler = mistakeHandler.load())
        handler(text);
    else
        Printf("*** CHECK: %s\n", text);
}

/// More than the rounding of a transform and its way back.
bool Differ(double a, double b)
{
    return !(std::abs(a - b) <= 1e-6 * std::abs(a));
}

/// Frequency of index i of a spectrum of n samples with pitch d.
double Frequency(std::int32_t i, std::int32_t n, double d)
{
    return (i - n / 2) * d;
}
} // namespace

void detail::MistakeScope::Enter(int levels)
{
    scopes += levels;
}

void detail::Mistakes::DifferentFields(const char* function, const Lumora& own, const Lumora& other, bool anyPitch)
{
    if (scopes != 0)
        return;
    if (own.IsSpectrum() != other.IsSpectrum())
        return Report(function, "one of the fields is a spectrum and the other one is not.");
    if (own.IsPolarForm() != other.IsPolarForm())
        return Report(function, "the samples of one of the fields are polar and those of the other one are not.");
    const bool pitches = !anyPitch && (Differ(own.GetPx(), other.GetPx()) || Differ(own.GetPy(), other.GetPy()));
    const bool wavelengths = Differ(own.GetWavelength(), other.GetWavelength());
    const std::uint32_t compared = (pitches ? COMPARED_PITCHES : 0u) | (wavelengths ? COMPARED_WAVELENGTHS : 0u);
    char text[256];
    if (DescribeDifference(text, sizeof text, own, other, compared) != 0)
        return Report(function, "%s", text);
    if (!own.IsSpectrum() && own.GetPlane() != other.GetPlane() &&
        DescribeDifference(text, sizeof text, own, other, COMPARED_PLANES) != 0)
        Report(function, "the fields lie on different planes. %s", text);
}

void detail::Mistakes::BandLoss(const char* function, const Lumora& field, double uLow, double uHigh, double vLow,
                                double vHigh)
{
    if (scopes != 0 || field.N() == 0)
        return;
    const MistakeScope inside;
    const Unwatched quiet;
    Lumora copy(field);
    Lumora& spectrum = copy.IsSpectrum() ? copy : copy.Fft(-1);
    double kept = 0.0;
    double all = 0.0;
    for (std::int32_t j = 0; j < spectrum.GetNy(); ++j)
    {
        const double v = Frequency(j, spectrum.GetNy(), spectrum.GetPy());
        const Complex* const row =
            spectrum.GetDataPointer() + static_cast<std::size_t>(j) * static_cast<std::size_t>(spectrum.GetNx());
        for (std::int32_t i = 0; i < spectrum.GetNx(); ++i)
        {
            const double u = Frequency(i, spectrum.GetNx(), spectrum.GetPx());
            const double energy = row[i].GetReal() * row[i].GetReal() + row[i].GetImag() * row[i].GetImag();
            all += energy;
            if (u > uLow && u < uHigh && v > vLow && v < vHigh)
                kept += energy;
        }
    }
    if (kept < 0.5 * all)
        Report(function,
               "%.0f %% of the energy lies outside the band limit and is lost: use a shorter distance, a larger field, "
               "or ShiftedFresnelProp.",
               100.0 * (1.0 - kept / all));
}

void detail::Mistakes::EmptySource(const char* function, const Lumora& field, double z, bool onlyPositive)
{
    if (scopes != 0)
        return;
    const double half = 0.5 * field.GetWavelength();
    const double pitch = std::min(field.GetPx(), field.GetPy());
    if (pitch < half)
        Report(function,
               "the point source adds nothing: the pitch %g um is below half a wavelength, %g um. Use a larger pitch.",
               pitch * 1e6, half * 1e6);
    else if (onlyPositive && z < 0.0)
        Report(function, "the point source adds nothing: it lies at z = %g um, and this form takes positive z only.",
               z * 1e6);
    else if (std::abs(z) < std::max(field.GetPx(), field.GetPy()) * pitch / (2.0 * half))
        Report(function,
               "the point source stands in the plane of the field (z = %g um) and adds nothing or infinite samples. "
               "Move it out of the plane.",
               z * 1e6);
}

void detail::Mistakes::NoDistance(const char* function, double z)
{
    if (scopes == 0 && std::abs(z) <= GetPositionTolerance())
        Report(function, "propagation over the distance %g um: source and destination lie on one plane.", z * 1e6);
}

void detail::Mistakes::MissedLight(const char* function, const Lumora& destination, double energy, const Lumora& source,
                                   double sourceEnergy)
{
    // Sums of squares times the area of a sample: the two spectra may be sampled differently.
    const double arrived = energy * destination.GetPx() * destination.GetPy();
    const double all = sourceEnergy * source.GetPx() * source.GetPy();
    if (scopes == 0 && arrived < 0.5 * all)
        Report(function,
               "%.0f %% of the light misses the destination's band, and the rest is scaled up by %.3g: use a smaller "
               "pitch, or a carrier nearer to the light.",
               100.0 * (1.0 - arrived / all), std::sqrt(sourceEnergy / energy));
}

void detail::Mistakes::TiltedShift(const char* function, const Vector& normal)
{
    if (scopes != 0)
        return;
    if (normal == Vector(0.0, 0.0, 1.0) || normal == Vector(0.0, 0.0, -1.0))
        return;
    Report(function,
           "the planes are tilted, normal (%g, %g, %g), and lateral shifts are differences of global x and y: neither "
           "shifts nor tiles follow the plane.",
           normal.x, normal.y, normal.z);
}

void detail::Mistakes::ThinTiles(const char* function)
{
    if (scopes == 0)
        Report(function, "tiles are one sample wide, and such a tile stands half a pitch off: give the smaller grid at "
                         "least two samples for each tile.");
}

// ---------------------------------------------------------------------------------------------------- public

void SetMistakeReports(bool on)
{
    detail::mistakeReports.store(on);
}

bool GetMistakeReports()
{
    return detail::MistakesOn();
}

void SetMistakeHandler(MistakeHandler handler)
{
    mistakeHandler.store(handler);
}
} // namespace LumoraLib
