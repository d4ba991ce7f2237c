// Fields as pictures: the style checked, values turned into colours, scales for what stands around.

#include "pictures/Colours.h"
#include "pictures/Decoration.h"
#include "pictures/PictureFile.h"
#include "pictures/Sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr char kRender[] = "LumoraLib::RenderPicture";
constexpr double kPi = 3.141592653589793;
constexpr std::int32_t kLongestSide = 32768;
constexpr PictureColour kNoValue = {128, 128, 128};
constexpr char kDegree[] = "\xC2\xB0";

void RequireForPicture(bool condition, const char* cure)
{
    if (!condition)
        Error(ERR_PARAMETER, kRender, cure);
}

void RequireStyle(const PictureStyle& s)
{
    RequireForPicture(s.quantity >= PICTURE_AMPLITUDE && s.quantity <= PICTURE_COMPLEX, "quantity: one of the list");
    RequireForPicture(s.colours >= COLOURS_AUTOMATIC && s.colours <= COLOURS_RAINBOW, "colours: one of the list");
    RequireForPicture(s.frequencies == FREQUENCIES_PER_MM || s.frequencies == FREQUENCIES_DEGREES,
                      "frequencies: one of the list");
    RequireForPicture(std::isfinite(s.low) && std::isfinite(s.high) && s.low <= s.high,
                      "low must be at most high, both finite");
    RequireForPicture(s.clip >= 1.0 && s.clip <= 100.0, "clip must be 1 to 100 percent");
    RequireForPicture(s.decibels > 0.0 && s.decibels <= 1000.0, "decibels must be above 0 and at most 1000");
    RequireForPicture(s.gamma >= 0.1 && s.gamma <= 10.0, "gamma must be 0.1 to 10");
    RequireForPicture(s.maxSize == 0 || (s.maxSize >= 16 && s.maxSize <= kLongestSide),
                      "maxSize must be 0 or 16 to 32768");
    RequireForPicture(s.minSize >= 0 && s.minSize <= kLongestSide, "minSize must be 0 to 32768");
    RequireForPicture(s.textSize >= 0.5 && s.textSize <= 4.0, "textSize must be 0.5 to 4");
}

/// The part that is shown, cut to the grid, and its size in pixels.
View ViewOf(const Lumora& field, const PictureStyle& style)
{
    RequireGrid(field, kRender);
    View view;
    view.samples = LML_RECT(0, field.GetNy(), field.GetNx(), 0);
    if (style.window)
    {
        // The accessor of the window is not const; nothing is changed here.
        const LML_RECT window = const_cast<Lumora&>(field).Window();
        view.samples = LML_RECT(std::max(window.left, 0), std::min(window.top, field.GetNy()),
                                std::min(window.right, field.GetNx()), std::max(window.bottom, 0));
        RequireForPicture(view.samples.left < view.samples.right && view.samples.bottom < view.samples.top,
                          "the window is empty: set it, or show the whole grid");
    }
    const double nx = view.samples.right - view.samples.left;
    const double ny = view.samples.top - view.samples.bottom;
    const double px = field.GetPx();
    const double py = field.GetPy();
    const bool metric = style.proportional && std::isfinite(px) && std::isfinite(py) && px > 0.0 && py > 0.0;
    const double ratio = std::clamp(metric ? nx * px / (ny * py) : nx / ny, 1.0 / 16.0, 16.0);
    // Neither axis loses samples at this size.
    double width = std::max(nx, ny * ratio);
    double height = width / ratio;
    const double longest = std::max(width, height);
    if (style.maxSize > 0 && longest > style.maxSize)
    {
        width *= style.maxSize / longest;
        height *= style.maxSize / longest;
    }
    else if (longest < style.minSize)
    {
        double times = std::ceil(style.minSize / longest);
        if (style.maxSize > 0)
            times = std::max(1.0, std::min(times, std::floor(style.maxSize / longest)));
        width *= times;
        height *= times;
    }
    RequireForPicture(std::max(width, height) <= kLongestSide, "more than 32768 pixels a side: set maxSize");
    view.width = std::max(1, static_cast<std::int32_t>(std::lround(width)));
    view.height = std::max(1, static_cast<std::int32_t>(std::lround(height)));
    return view;
}

PictureColours ColoursOf(const PictureStyle& style)
{
    if (style.quantity == PICTURE_COMPLEX)
        return COLOURS_HUE;
    if (style.colours != COLOURS_AUTOMATIC)
        return style.colours;
    if (style.quantity == PICTURE_PHASE)
        return COLOURS_CYCLE;
    return style.quantity == PICTURE_REAL || style.quantity == PICTURE_IMAGINARY ? COLOURS_BALANCE : COLOURS_EMBER;
}

/// The place of a value on the colour map, before it is cut to 0 ... 1.
double Place(double value, const PictureRange& range, double gamma)
{
    const double t = (value - range.low) / (range.high - range.low);
    return gamma == 1.0 || !(t > 0.0) ? t : std::pow(t, 1.0 / gamma);
}

double GammaOf(const PictureStyle& style)
{
    const bool counts =
        style.quantity == PICTURE_AMPLITUDE || style.quantity == PICTURE_INTENSITY || style.quantity == PICTURE_COMPLEX;
    return counts ? style.gamma : 1.0;
}

/// Hues by brightness steps: finer than bytes can tell.
PictureColour ComplexColour(double phase, double brightness)
{
    constexpr std::size_t kHues = 512;
    constexpr std::size_t kSteps = 256;
    static const std::vector<PictureColour> table = []
    {
        std::vector<PictureColour> colours(kHues * kSteps);
        for (std::size_t n = 0; n < colours.size(); ++n)
            colours[n] = PhaseColour(2.0 * kPi * static_cast<double>(n / kSteps) / kHues,
                                     static_cast<double>(n % kSteps) / (kSteps - 1));
        return colours;
    }();
    const double turn = phase / (2.0 * kPi);
    const std::size_t hue = static_cast<std::size_t>(std::lround((turn - std::floor(turn)) * kHues)) % kHues;
    const double b = brightness > 0.0 ? std::min(brightness, 1.0) : 0.0;
    return table[hue * kSteps + static_cast<std::size_t>(std::lround(b * (kSteps - 1)))];
}

PictureImage Coloured(const View& view, const Raster& raster, const PictureRange& range, const PictureStyle& style)
{
    PictureImage image;
    image.width = view.width;
    image.height = view.height;
    image.samples.resize(image.At(0, image.height));
    const PictureColours colours = ColoursOf(style);
    const double gamma = GammaOf(style);
    for (std::size_t n = 0; n < raster.value.size(); ++n)
    {
        const double t = Place(raster.value[n], range, gamma);
        PictureColour c = kNoValue;
        if (!std::isnan(t))
            c = style.quantity == PICTURE_COMPLEX ? ComplexColour(raster.phase[n], t) : GetPictureColour(colours, t);
        image.samples[3 * n] = c.red;
        image.samples[3 * n + 1] = c.green;
        image.samples[3 * n + 2] = c.blue;
    }
    return image;
}

/// One axis of the plane: the coordinates at its ends (half a pitch beyond the outer samples).
struct Extent
{
    double low;
    double high;
};

Scale ScaleOf(Extent e, const char* name, bool spectrum, PictureFrequencies frequencies, double wavelength,
              double count)
{
    Scale scale;
    const auto add = [&](const Tick& tick, double at)
    {
        scale.marks.push_back({(at - e.low) / (e.high - e.low), tick.text});
    };
    if (!(e.low < e.high) || !std::isfinite(e.low) || !std::isfinite(e.high))
        return scale;
    if (spectrum && frequencies == FREQUENCIES_DEGREES)
    {
        const auto angle = [&](double u)
        {
            return std::asin(std::clamp(u * wavelength, -1.0, 1.0)) * 180.0 / kPi;
        };
        const double low = angle(e.low);
        const double high = angle(e.high);
        if (!(low < high))
            return scale;
        for (const Tick& tick : RoundTicks(low, high, count))
            add(tick, std::sin(tick.value * kPi / 180.0) / wavelength);
        scale.label = LabelWithUnit(std::string("angle in ") + name, kDegree);
        return scale;
    }
    const Unit unit = spectrum ? Unit{1e3, "1/mm"} : ScaledUnit("m", std::max(std::fabs(e.low), std::fabs(e.high)));
    for (const Tick& tick : RoundTicks(e.low / unit.factor, e.high / unit.factor, count))
        add(tick, tick.value * unit.factor);
    scale.label = LabelWithUnit(spectrum ? (*name == 'x' ? "u" : "v") : name, unit.text);
    return scale;
}

struct Legend
{
    const char* name;
    const char* unit;
};

Legend LegendOf(PictureQuantity quantity)
{
    constexpr std::array<Legend, 7> kLegends = {{{"amplitude", ""},
                                                 {"intensity", ""},
                                                 {"intensity", "dB"},
                                                 {"phase", ""},
                                                 {"real part", ""},
                                                 {"imaginary part", ""},
                                                 {"amplitude", ""}}};
    return kLegends[static_cast<std::size_t>(quantity)];
}

Scale BarScale(const PictureStyle& style, const PictureRange& range, double count)
{
    const Legend legend = LegendOf(style.quantity);
    Scale scale;
    scale.label = style.label.empty() ? LabelWithUnit(legend.name, legend.unit) : style.label;
    if (style.quantity == PICTURE_COMPLEX)
    {
        scale.label = (style.label.empty() ? "amplitude" : style.label) + " to " + ShortNumber(range.high);
        return scale;
    }
    if (style.quantity == PICTURE_PHASE)
    {
        scale.marks = {{0.0, "\xE2\x88\x92\xCF\x80"},
                       {0.25, "\xE2\x88\x92\xCF\x80/2"},
                       {0.5, "0"},
                       {0.75, "\xCF\x80/2"},
                       {1.0, "\xCF\x80"}};
        return scale;
    }
    // Decibels count from the top where the picture made the range.
    const double zero = style.quantity == PICTURE_DECIBEL && style.low == style.high ? range.high : 0.0;
    for (const Tick& tick : RoundTicks(range.low - zero, range.high - zero, count))
        scale.marks.push_back({std::clamp(Place(tick.value + zero, range, GammaOf(style)), 0.0, 1.0), tick.text});
    return scale;
}

Decoration DecorationOf(const Lumora& field, const View& view, const PictureRange& range, const PictureStyle& style)
{
    Decoration d;
    d.title = style.title;
    d.textSize = style.textSize;
    d.axes = style.axes;
    const bool spectrum = field.IsSpectrum();
    const LML_RECT& s = view.samples;
    const Extent x = {field.X(s.left) - 0.5 * field.GetPx(), field.X(s.right) - 0.5 * field.GetPx()};
    const Extent y = {field.Y(s.bottom) - 0.5 * field.GetPy(), field.Y(s.top) - 0.5 * field.GetPy()};
    const double capital = CapitalFor(std::max(view.width, view.height), style.textSize);
    d.x = ScaleOf(x, "x", spectrum, style.frequencies, field.GetWavelength(), view.width / (6.5 * capital));
    d.y = ScaleOf(y, "y", spectrum, style.frequencies, field.GetWavelength(), view.height / (4.5 * capital));
    d.bar = style.colourBar;
    d.disc = style.quantity == PICTURE_COMPLEX;
    d.colours = ColoursOf(style);
    d.barScale = BarScale(style, range, view.height / (4.0 * capital));
    if (style.scaleBar && x.low < x.high && std::isfinite(x.high - x.low))
    {
        const double length = RoundBelow(0.3 * (x.high - x.low));
        d.scaleBar = length / (x.high - x.low);
        const Unit unit = spectrum ? Unit{1e3, "/mm"} : ScaledUnit("m", length);
        d.scaleBarText = ShortNumber(length / unit.factor) + " " + unit.text;
    }
    return d;
}
} // namespace
} // namespace pictures

PictureRange GetPictureRange(const Lumora& field, const PictureStyle& style)
{
    using namespace pictures;
    return Guarded(kRender,
                   [&]
                   {
                       RequireStyle(style);
                       return RangeOf(Sample(field, ViewOf(field, style), style.quantity), style);
                   });
}

PictureImage RenderPicture(const Lumora& field, const PictureStyle& style)
{
    using namespace pictures;
    return Guarded(kRender,
                   [&]
                   {
                       RequireStyle(style);
                       const View view = ViewOf(field, style);
                       PictureImage image;
                       PictureRange range;
                       {
                           const Raster raster = Sample(field, view, style.quantity);
                           range = RangeOf(raster, style);
                           image = Coloured(view, raster, range, style);
                       }
                       return Decorate(std::move(image), DecorationOf(field, view, range, style));
                   });
}

void SavePicture(const std::string& path, const Lumora& field, const PictureStyle& style)
{
    SavePng(path, RenderPicture(field, style));
}

PictureImage JoinPictures(const std::vector<PictureImage>& parts, int columns, int gap)
{
    using namespace pictures;
    constexpr char kJoin[] = "LumoraLib::JoinPictures";
    if (parts.empty() || columns < 1 || gap < 0 || gap > 1000)
        Error(ERR_PARAMETER, kJoin, "give pictures, at least one column and a gap of 0 to 1000");
    for (const PictureImage& part : parts)
        if (!HoldsTogether(part))
            Error(ERR_PARAMETER, kJoin, "sizes, channels, bits and samples do not fit together");
    const std::size_t across = std::min(static_cast<std::size_t>(columns), parts.size());
    std::vector<std::int64_t> lefts(across + 1, 0);
    std::vector<std::int64_t> tops((parts.size() + across - 1) / across + 1, 0);
    for (std::size_t n = 0; n < parts.size(); ++n)
    {
        lefts[n % across + 1] = std::max<std::int64_t>(lefts[n % across + 1], parts[n].width + gap);
        tops[n / across + 1] = std::max<std::int64_t>(tops[n / across + 1], parts[n].height + gap);
    }
    for (std::size_t n = 1; n < lefts.size(); ++n)
        lefts[n] += lefts[n - 1];
    for (std::size_t n = 1; n < tops.size(); ++n)
        tops[n] += tops[n - 1];
    if (lefts.back() - gap > kMaxSide || tops.back() - gap > kMaxSide)
        Error(ERR_PARAMETER, kJoin, "more than 65535 pixels a side: use other columns or smaller pictures");
    return Guarded(kJoin,
                   [&]
                   {
                       Canvas canvas(static_cast<std::int32_t>(lefts.back() - gap),
                                     static_cast<std::int32_t>(tops.back() - gap));
                       for (std::size_t n = 0; n < parts.size(); ++n)
                           canvas.Paste(static_cast<std::int32_t>(lefts[n % across]),
                                        static_cast<std::int32_t>(tops[n / across]), InColour(parts[n]));
                       return canvas.Take();
                   });
}
} // namespace LumoraLib
