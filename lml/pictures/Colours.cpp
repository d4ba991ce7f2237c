// Colour maps: paths through OKLab, walked at even speed, as tables of 256 colours.
//
// OKLab is an opponent space fitted to measured differences of lightness, chroma and hue: equal distances look about
// equally large. Its matrices are those published with it in 2020; the transfer function is that of sRGB (IEC
// 61966-2-1).

#include "pictures/Colours.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr double kPi = 3.141592653589793;
constexpr std::size_t kColours = 256;
constexpr double kHueLightness = 0.76; // of the hues of PICTURE_COMPLEX, the one with the largest chroma all around
constexpr double kHueChroma = 0.125;
constexpr double kFirstHue = 1.92; // phase 0: yellow; half a turn away is blue, the darkest hue

using Table = std::array<PictureColour, kColours>;

std::array<double, 3> ToLinear(Lab c)
{
    const double l = std::pow(c.l + 0.3963377774 * c.a + 0.2158037573 * c.b, 3.0);
    const double m = std::pow(c.l - 0.1055613458 * c.a - 0.0638541728 * c.b, 3.0);
    const double s = std::pow(c.l - 0.0894841775 * c.a - 1.2914855480 * c.b, 3.0);
    return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
            -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
            -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

bool IsShown(const std::array<double, 3>& linear)
{
    return std::all_of(linear.begin(), linear.end(), [](double v) { return v >= -1e-6 && v <= 1.0 + 1e-6; });
}

/// The colour itself, or the one with the largest chroma that a display has.
Lab Shown(Lab c)
{
    if (IsShown(ToLinear(c)))
        return c;
    double inside = 0.0;
    double outside = 1.0;
    for (int n = 0; n < 24; ++n)
    {
        const double middle = 0.5 * (inside + outside);
        (IsShown(ToLinear({c.l, c.a * middle, c.b * middle})) ? inside : outside) = middle;
    }
    return {c.l, c.a * inside, c.b * inside};
}

std::uint8_t Byte(double linear)
{
    const double v = std::clamp(linear, 0.0, 1.0);
    const double coded = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(std::lround(255.0 * coded));
}

/// Lightness as it is seen beside a white: OKLab's own counts dark colours as lighter than they look. The constants are
/// those published with the space, fitted to CIE lightness.
double Seen(double l)
{
    constexpr double kA = 0.206;
    constexpr double kB = 0.03;
    constexpr double kC = (1.0 + kA) / (1.0 + kB);
    const double x = kC * l - kA;
    return 0.5 * (x + std::sqrt(x * x + 4.0 * kB * kC * l));
}

double Distance(Lab p, Lab q)
{
    const double dl = Seen(p.l) - Seen(q.l);
    return std::sqrt(dl * dl + (p.a - q.a) * (p.a - q.a) + (p.b - q.b) * (p.b - q.b));
}

/// A path given for t = 0 to 1, walked in steps of equal colour difference.
template <class Path>
Table Even(Path&& path, bool closed)
{
    constexpr std::size_t kFine = 4096;
    std::vector<Lab> points(kFine + 1);
    std::vector<double> length(kFine + 1, 0.0);
    for (std::size_t n = 0; n <= kFine; ++n)
    {
        points[n] = Shown(path(static_cast<double>(n) / kFine));
        length[n] = n == 0 ? 0.0 : length[n - 1] + Distance(points[n - 1], points[n]);
    }
    Table table{};
    std::size_t n = 0;
    for (std::size_t i = 0; i < kColours; ++i)
    {
        const double wanted =
            length[kFine] * static_cast<double>(i) / static_cast<double>(closed ? kColours : kColours - 1);
        while (n + 1 < kFine && length[n + 1] < wanted)
            ++n;
        table[i] = ToDisplay(points[n + (length[n + 1] - wanted < wanted - length[n] ? 1 : 0)]);
    }
    return table;
}

/// A smooth curve through points of lightness, chroma and hue (degrees, not wrapped), equally far apart in t.
struct Stop
{
    double lightness;
    double chroma;
    double hue;
};

template <std::size_t N>
Lab Curve(const Stop (&stops)[N], double t)
{
    const double place = t * (N - 1);
    const std::size_t n = std::min(static_cast<std::size_t>(place), N - 2);
    const double f = place - static_cast<double>(n);
    // Cubic through the neighbours (Catmull-Rom), the ends repeated.
    const auto blend = [&](double Stop::*member)
    {
        const double p0 = stops[n == 0 ? 0 : n - 1].*member;
        const double p1 = stops[n].*member;
        const double p2 = stops[n + 1].*member;
        const double p3 = stops[n + 2 < N ? n + 2 : N - 1].*member;
        return p1 + 0.5 * f * (p2 - p0 + f * (2.0 * p0 - 5.0 * p1 + 4.0 * p2 - p3 + f * (3.0 * (p1 - p2) + p3 - p0)));
    };
    const double hue = blend(&Stop::hue) * kPi / 180.0;
    const double chroma = std::max(blend(&Stop::chroma), 0.0);
    return {blend(&Stop::lightness), chroma * std::cos(hue), chroma * std::sin(hue)};
}

constexpr Stop kEmber[] = {{0.00, 0.000, 280}, {0.20, 0.085, 290}, {0.38, 0.150, 330}, {0.55, 0.180, 370},
                           {0.70, 0.170, 405}, {0.84, 0.150, 440}, {0.98, 0.060, 465}};
constexpr Stop kLagoon[] = {{0.18, 0.060, 290}, {0.34, 0.110, 265}, {0.48, 0.090, 225},
                            {0.62, 0.105, 175}, {0.76, 0.150, 145}, {0.94, 0.170, 108}};
constexpr Stop kNegative[] = {{0.32, 0.120, 265}, {0.58, 0.140, 255}, {0.80, 0.070, 245}, {0.96, 0.000, 245}};
constexpr Stop kPositive[] = {{0.96, 0.000, 45}, {0.80, 0.085, 45}, {0.60, 0.170, 30}, {0.34, 0.130, 20}};

/// A circle tilted against the planes of equal lightness: its lightest point is where displays have light yellow, its
/// darkest where they have dark blue.
Lab Cycle(double t)
{
    const double turn = 2.0 * kPi * (t - 0.5);
    constexpr double kRadius = 0.125;
    constexpr double kRise = 0.22;
    constexpr double kLightest = 100.0 * kPi / 180.0;
    const double along = kRadius * std::cos(turn);
    const double across = -kRadius * std::sin(turn);
    return {0.66 + kRise * std::cos(turn), 0.02 + along * std::cos(kLightest) - across * std::sin(kLightest),
            along * std::sin(kLightest) + across * std::cos(kLightest)};
}

Lab Hue(double turn, double brightness)
{
    // Chroma falls with the lightness: dark colours have less of it.
    const double hue = kFirstHue - turn;
    return {kHueLightness * brightness, kHueChroma * brightness * std::cos(hue),
            kHueChroma * brightness * std::sin(hue)};
}

/// The palette of the BMP writer by its rule: hues from 300 degrees down to 0, the brightness rising over the first
/// fifth and kept at its last value from there.
Table MakeRainbow()
{
    Table table{};
    double brightness = 1.0;
    for (std::size_t i = 0; i < kColours; ++i)
    {
        const double hue = static_cast<double>(255 - i) / 255.0 * 300.0;
        if (hue > 240.0)
            brightness = 1.0 - (hue - 240.0) / 60.0;
        const int sector = static_cast<int>(hue / 60.0);
        const double f = hue / 60.0 - sector;
        const std::uint8_t full = static_cast<std::uint8_t>(255.0 * brightness);
        const std::uint8_t rise = static_cast<std::uint8_t>(255.0 * (f * brightness));
        const std::uint8_t fall = static_cast<std::uint8_t>(255.0 * ((1.0 - f) * brightness));
        const PictureColour sectors[6] = {{full, rise, 0}, {fall, full, 0}, {0, full, rise},
                                          {0, fall, full}, {rise, 0, full}, {full, 0, fall}};
        table[i] = sectors[sector];
    }
    return table;
}

const Table& TableOf(PictureColours colours)
{
    static const Table grey = Even([](double t) { return Lab{t, 0.0, 0.0}; }, false);
    static const Table ember = Even([](double t) { return Curve(kEmber, t); }, false);
    static const Table lagoon = Even([](double t) { return Curve(kLagoon, t); }, false);
    static const Table cycle = Even(Cycle, true);
    static const Table hue = Even([](double t) { return Hue(2.0 * kPi * (t - 0.5), 1.0); }, true);
    // Two arms of equal length: the middle stays the middle.
    static const Table balance = []
    {
        const Table left = Even([](double t) { return Curve(kNegative, t); }, false);
        const Table right = Even([](double t) { return Curve(kPositive, t); }, false);
        Table both{};
        for (std::size_t i = 0; i < kColours; ++i)
            both[i] = i < kColours / 2 ? left[i * 255 / 127] : right[(i - kColours / 2) * 255 / 127];
        return both;
    }();
    static const Table rainbow = MakeRainbow();
    switch (colours)
    {
    case COLOURS_GREY:
        return grey;
    case COLOURS_LAGOON:
        return lagoon;
    case COLOURS_CYCLE:
        return cycle;
    case COLOURS_HUE:
        return hue;
    case COLOURS_BALANCE:
        return balance;
    case COLOURS_RAINBOW:
        return rainbow;
    default:
        return ember;
    }
}
} // namespace

PictureColour ToDisplay(Lab colour)
{
    const std::array<double, 3> linear = ToLinear(Shown(colour));
    return {Byte(linear[0]), Byte(linear[1]), Byte(linear[2])};
}

PictureColour PhaseColour(double phase, double brightness)
{
    return ToDisplay(Hue(phase, std::clamp(brightness, 0.0, 1.0)));
}

bool IsCyclic(PictureColours colours)
{
    return colours == COLOURS_CYCLE || colours == COLOURS_HUE;
}
} // namespace pictures

PictureColour GetPictureColour(PictureColours colours, double t)
{
    const double place = t > 0.0 ? (t < 1.0 ? t : 1.0) : 0.0; // not a number is 0
    // A closed map ends one step before its beginning.
    const double steps = pictures::IsCyclic(colours) ? 256.0 : 255.0;
    const std::size_t index = static_cast<std::size_t>(std::lround(place * steps)) % 256;
    return pictures::TableOf(colours)[index];
}
} // namespace LumoraLib
