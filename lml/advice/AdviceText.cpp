// An advice as text.
#include "advice/AdviceText.h"

#include "LmlAdvice.h"
#include "base/TextLocale.h"

#include <cmath>
#include <cstdarg>
#include <cstddef>

namespace LumoraLib
{
std::string detail::Formatted(const char* format, ...)
{
    char text[512];
    std::va_list args;
    va_start(args, format);
    VFormatC(text, sizeof text, format, args);
    va_end(args);
    return text;
}

std::string detail::LengthText(double metres)
{
    static constexpr struct
    {
        double unit;
        const char* name;
    } kUnits[] = {{1.0, "m"}, {1e-3, "mm"}, {1e-6, "um"}, {1e-9, "nm"}};
    const double size = std::abs(metres);
    // Three digits: 999.6 um would be written as 1e+03 um.
    for (const auto& u : kUnits)
        if (size >= u.unit * 0.9995 || u.unit == 1e-9)
            return Formatted("%.3g %s", metres / u.unit, size == 0.0 ? "m" : u.name);
    return "";
}

namespace
{
using detail::Formatted;
using detail::LengthText;

std::string Percent(double share)
{
    const double percent = 100.0 * share;
    if (percent > 0.0 && percent < 0.05)
        return "below 0.1 %";
    return Formatted(percent < 10.0 ? "%.1f %%" : "%.0f %%", percent);
}

/// Lines of at most 100 characters, further ones indented.
void AddLine(std::string& text, const std::string& line)
{
    constexpr std::size_t kWidth = 100;
    std::size_t begin = 0;
    std::string indent;
    while (begin < line.size())
    {
        std::size_t end = line.size();
        if (end - begin + indent.size() > kWidth)
        {
            end = line.rfind(' ', begin + kWidth - indent.size());
            if (end == std::string::npos || end <= begin + 4)
                end = begin + kWidth - indent.size();
        }
        text += indent + line.substr(begin, end - begin) + "\n";
        begin = end + (end < line.size() && line[end] == ' ' ? 1 : 0);
        indent = "      ";
    }
}

std::string BandText(double band, double low, double high)
{
    return Formatted("±%.4g cycles/mm, light from %.4g to %.4g", band * 1e-3, low * 1e-3, high * 1e-3);
}

void AddFigures(std::string& text, const AdviceFigures& f)
{
    AddLine(text, "distance " + LengthText(f.distance) + ", aside " + LengthText(f.shiftX) + ", " +
                      LengthText(f.shiftY) + Formatted(", tilt %.3g°", f.tilt * 57.29577951308232));
    AddLine(text, "band of the sampling, x: " + BandText(f.bandX, f.lightLowX, f.lightHighX));
    AddLine(text, "band of the sampling, y: " + BandText(f.bandY, f.lightLowY, f.lightHighY));
    AddLine(text, "light on the source: x " + LengthText(f.extentLowX) + " to " + LengthText(f.extentHighX) + ", y " +
                      LengthText(f.extentLowY) + " to " + LengthText(f.extentHighY));
    AddLine(text, "misses the destination " + Percent(f.leaves) + ", wraps around on the source's grid " +
                      Percent(f.wraps) + ", AsmProp's band cuts " + Percent(f.cut) + ", evanescent " +
                      Percent(f.evanescent));
    AddLine(text, Formatted("waves in ExactAsmProp's band %.3g, phase left out by Fresnel %.2g rad, phases rounded by "
                            "FresnelProp %.2g rad, repetitions fill %.3g of their distance",
                            f.waves, f.fresnelPhase, f.roundedPhase, f.repetition));
}
} // namespace

std::string ToText(const Advice& advice)
{
    std::string text;
    AddFigures(text, advice.figures);
    for (std::size_t n = 0; n < advice.ways.size(); ++n)
    {
        const AdviceMember& way = advice.ways[n];
        std::string line = static_cast<std::int32_t>(n) == advice.taken ? "  * " : "    ";
        line += way.name;
        if (way.error >= 0.0 || std::isnan(way.error))
            line += Formatted(": %s%s, error %.2g, %.3g s, %.0f MiB", way.fits ? "fits" : "no",
                              way.borderline ? " (borderline)" : "", way.error, way.seconds, way.bytes / 1048576.0);
        for (const std::string& reason : way.reasons)
            line += ". " + reason.substr(0, reason.size() - (reason.empty() || reason.back() != '.' ? 0 : 1));
        AddLine(text, line);
    }
    if (const AdviceMember* const way = advice.Taken())
    {
        std::string line = "taken: ";
        for (std::size_t n = 0; n < way->steps.size(); ++n)
            line += (n == 0 ? "" : ", then ") + way->steps[n].text;
        AddLine(text, line);
    }
    else
        AddLine(text, "taken: none, since no way is within the tolerance");
    for (const std::string& remedy : advice.remedies)
        AddLine(text, "  - " + remedy);
    return text;
}
} // namespace LumoraLib
