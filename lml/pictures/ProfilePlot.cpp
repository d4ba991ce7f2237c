// Line plots: profiles of fields with axes, grid and legend, the lines told apart by colour, lightness and dashes.

#include "pictures/Colours.h"
#include "pictures/Decoration.h"
#include "pictures/PictureFile.h"
#include "pictures/Sampling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr char kRender[] = "LumoraLib::RenderProfilePlot";
constexpr char kProfile[] = "LumoraLib::MakeProfileLine";
constexpr std::size_t kMaxLines = 12;
constexpr double kPi = 3.141592653589793;

void RequireForPlot(bool condition, const char* cure)
{
    if (!condition)
        Error(ERR_PARAMETER, kRender, cure);
}

void RequirePlotStyle(const std::vector<ProfileLine>& lines, const ProfileStyle& s)
{
    RequireForPlot(!lines.empty() && lines.size() <= kMaxLines, "give 1 to 12 lines");
    for (const ProfileLine& line : lines)
        RequireForPlot(line.x.empty() || line.x.size() == line.y.size(), "each line needs as many x as y, or no x");
    RequireForPlot(s.width >= 200 && s.width <= 8192, "width must be 200 to 8192");
    RequireForPlot(s.height >= 150 && s.height <= 8192, "height must be 150 to 8192");
    RequireForPlot(s.textSize >= 0.5 && s.textSize <= 4.0, "textSize must be 0.5 to 4");
    RequireForPlot(std::isfinite(s.xLow) && std::isfinite(s.xHigh) && s.xLow <= s.xHigh,
                   "xLow must be at most xHigh, both finite");
    RequireForPlot(std::isfinite(s.yLow) && std::isfinite(s.yHigh) && s.yLow <= s.yHigh,
                   "yLow must be at most yHigh, both finite");
    RequireForPlot(!s.logarithmic || s.yLow == s.yHigh || s.yLow > 0.0,
                   "a logarithmic axis must begin above 0: set yLow");
}

double PlaceX(const ProfileLine& line, std::size_t n)
{
    return line.x.empty() ? static_cast<double>(n) : line.x[n];
}

bool IsShown(double x, double y, bool logarithmic)
{
    return std::isfinite(x) && std::isfinite(y) && (!logarithmic || y > 0.0);
}

struct Range
{
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    void Take(double v)
    {
        low = std::min(low, v);
        high = std::max(high, v);
    }
    double Share(double v) const { return (v - low) / (high - low); }
};

struct Ranges
{
    Range x;
    Range y; // logarithms of the values on a logarithmic axis
};

/// A range of some width around what was found.
Range Widened(Range r, double margin)
{
    // The halves keep the width of the widest doubles finite.
    double width = r.high / 2.0 - r.low / 2.0;
    if (!(width > 1e-12 * std::max(std::fabs(r.low), std::fabs(r.high))))
        width = r.low == 0.0 ? 0.5 : 0.05 * std::fabs(r.low);
    else
        width *= 2.0 * margin;
    r.low = std::max(r.low - width, -1e300);
    r.high = std::min(r.high + width, 1e300);
    return r;
}

Ranges RangesOf(const std::vector<ProfileLine>& lines, const ProfileStyle& style)
{
    Ranges r;
    const bool xGiven = style.xLow < style.xHigh;
    for (const ProfileLine& line : lines)
        for (std::size_t n = 0; n < line.y.size(); ++n)
        {
            const double x = PlaceX(line, n);
            if (!IsShown(x, line.y[n], style.logarithmic) || (xGiven && (x < style.xLow || x > style.xHigh)))
                continue;
            r.x.Take(x);
            r.y.Take(style.logarithmic ? std::log10(line.y[n]) : line.y[n]);
        }
    const bool yGiven = style.yLow < style.yHigh;
    RequireForPlot((r.x.low <= r.x.high) || (xGiven && yGiven), "nothing to be drawn: no finite points in the range");
    r.x = xGiven ? Range{style.xLow, style.xHigh} : Widened(r.x, r.x.low < r.x.high ? 0.0 : 1.0);
    if (yGiven)
        r.y =
            style.logarithmic ? Range{std::log10(style.yLow), std::log10(style.yHigh)} : Range{style.yLow, style.yHigh};
    else
        r.y = Widened(r.y, 0.06);
    return r;
}

/// Points of one line in pixels, in pieces between gaps. Where several fall into one column of pixels only those that
/// change its extremes are kept.
std::vector<Polyline> PointsOf(const ProfileLine& line, const Ranges& ranges, Box frame, bool logarithmic)
{
    std::vector<Polyline> pieces(1);
    const double far = 2.0 * (frame.Width() + frame.Height());
    double column = -1e18;
    double low = 0.0;
    double high = 0.0;
    for (std::size_t n = 0; n < line.y.size(); ++n)
    {
        const double x = PlaceX(line, n);
        if (!IsShown(x, line.y[n], logarithmic))
        {
            if (!pieces.back().empty())
                pieces.emplace_back();
            column = -1e18;
            continue;
        }
        const double y = logarithmic ? std::log10(line.y[n]) : line.y[n];
        const Point p = {frame.left + std::clamp(ranges.x.Share(x) * frame.Width(), -far, far),
                         frame.bottom - std::clamp(ranges.y.Share(y) * frame.Height(), -far, far)};
        const bool inColumn = std::floor(2.0 * p.x) == column;
        if (inColumn && p.y >= low && p.y <= high && n + 1 < line.y.size() && !line.markers)
            continue;
        low = inColumn ? std::min(low, p.y) : p.y;
        high = inColumn ? std::max(high, p.y) : p.y;
        column = std::floor(2.0 * p.x);
        pieces.back().push_back(p);
    }
    return pieces;
}

struct Pen
{
    PictureColour colour;
    double width; // in units of a plain line
    std::vector<double> dashes;
};

/// The first line is broad and pale, later ones are darker, narrower and dashed: lines that coincide stay visible.
Pen PenOf(std::size_t n)
{
    constexpr Lab kColours[] = {{0.72, 0.070, 0.130}, {0.48, -0.03, -0.17}, {0.56, 0.170, 0.090},
                                {0.55, -0.11, 0.080}, {0.42, 0.110, -0.11}, {0.25, 0.000, 0.000}};
    static const std::vector<double> kDashes[] = {{}, {9, 5}, {3, 3.5}, {12, 4, 3, 4}, {}, {6, 3, 2, 3, 2, 3}};
    constexpr double kWidths[] = {2.6, 1.4, 1.6, 1.3, 1.2, 1.3};
    const std::size_t k = n % 6;
    return {ToDisplay(kColours[k]), kWidths[k] * (n < 6 ? 1.0 : 0.7), kDashes[(k + (n < 6 ? 0 : 1)) % 6]};
}

/// A mark: ring, cross, square, in turn.
std::vector<Polyline> MarkAt(Point p, std::size_t kind, double r)
{
    if (kind % 3 == 1)
        return {{{p.x - r, p.y - r}, {p.x + r, p.y + r}}, {{p.x - r, p.y + r}, {p.x + r, p.y - r}}};
    const int corners = kind % 3 == 0 ? 12 : 4;
    Polyline ring;
    for (int n = 0; n <= corners; ++n)
    {
        const double angle = 2.0 * kPi * (n + 0.5) / corners;
        ring.push_back({p.x + r * std::cos(angle), p.y + r * std::sin(angle)});
    }
    return {ring};
}

void DrawLine(Canvas& canvas, const std::vector<Polyline>& pieces, std::size_t n, bool markers, Box clip, double unit)
{
    const Pen pen = PenOf(n);
    std::vector<Polyline> strokes;
    std::vector<double> dashes = pen.dashes;
    for (double& d : dashes)
        d *= unit;
    for (const Polyline& piece : pieces)
        if (markers)
        {
            for (const Point& p : piece)
                for (Polyline& stroke : MarkAt(p, n, 2.8 * unit))
                    strokes.push_back(std::move(stroke));
        }
        else
            for (Polyline& dash : Dashed(piece, dashes))
                strokes.push_back(std::move(dash));
    canvas.Draw(strokes, (markers ? 1.2 : pen.width) * unit, pen.colour, clip);
}

/// In the corner where it covers the fewest points.
void DrawLegend(Canvas& canvas, const std::vector<ProfileLine>& lines, const std::vector<std::vector<Polyline>>& drawn,
                Box frame, double capital, double unit)
{
    double width = 0.0;
    double rows = 0.0;
    for (const ProfileLine& line : lines)
        if (!line.name.empty())
        {
            width = std::max(width, TextPixels(line.name, capital));
            rows += 1.0;
        }
    if (rows == 0.0)
        return;
    const double sample = 4.5 * capital;
    width += sample + 2.6 * capital;
    const double height = (2.0 * rows + 0.6) * capital;
    const double gap = 0.8 * capital;
    Box best{};
    std::size_t fewest = std::numeric_limits<std::size_t>::max();
    for (const bool left : {false, true})
        for (const bool top : {true, false})
        {
            const double x = left ? frame.left + gap : frame.right - gap - width;
            const double y = top ? frame.top + gap : frame.bottom - gap - height;
            const Box box = {x, y, x + width, y + height};
            std::size_t covered = 0;
            for (const std::vector<Polyline>& pieces : drawn)
                for (const Polyline& piece : pieces)
                    covered += static_cast<std::size_t>(std::count_if(piece.begin(), piece.end(),
                                                                      [&](Point p) {
                                                                          return p.x > box.left && p.x < box.right &&
                                                                                 p.y > box.top && p.y < box.bottom;
                                                                      }));
            if (covered < fewest)
            {
                fewest = covered;
                best = box;
            }
        }
    canvas.Fill(best, kWhite, 0.85);
    canvas.Frame(best, 1.0, kFaint);
    double y = best.top + 1.3 * capital;
    for (std::size_t n = 0; n < lines.size(); ++n)
    {
        if (lines[n].name.empty())
            continue;
        Polyline line = {{best.left + 0.8 * capital, y}, {best.left + 0.8 * capital + sample, y}};
        if (lines[n].markers)
            line = {{best.left + 0.8 * capital + 0.5 * sample, y}};
        DrawLine(canvas, {line}, n, lines[n].markers, best, unit);
        canvas.Text(best.left + 1.6 * capital + sample, y + 0.5 * capital, lines[n].name, capital, Align::Left);
        y += 2.0 * capital;
    }
}

struct Scales
{
    Scale x;
    Scale y;
};

Scales ScalesOf(const Ranges& r, const ProfileStyle& style, double capital)
{
    Scales scales;
    const Unit unit = ScaledUnit(style.xUnit, std::max(std::fabs(r.x.low), std::fabs(r.x.high)));
    for (const Tick& tick : RoundTicks(r.x.low / unit.factor, r.x.high / unit.factor, style.width / (7.5 * capital)))
        scales.x.marks.push_back({r.x.Share(tick.value * unit.factor), tick.text});
    scales.x.label = LabelWithUnit(style.xLabel, unit.text);
    const double count = style.height / (4.0 * capital);
    if (style.logarithmic)
        for (const Tick& tick : PowerTicks(std::pow(10.0, r.y.low), std::pow(10.0, r.y.high), count))
            scales.y.marks.push_back({r.y.Share(std::log10(tick.value)), tick.text});
    else
        for (const Tick& tick : RoundTicks(r.y.low, r.y.high, count))
            scales.y.marks.push_back({r.y.Share(tick.value), tick.text});
    scales.y.label = LabelWithUnit(style.yLabel, style.yUnit);
    return scales;
}

PictureImage Plot(const std::vector<ProfileLine>& lines, const ProfileStyle& style)
{
    RequirePlotStyle(lines, style);
    const Ranges ranges = RangesOf(lines, style);
    const double capital = CapitalFor(std::max(style.width, style.height), style.textSize) * 0.85;
    const Scales scales = ScalesOf(ranges, style, capital);
    const double pad = std::ceil(0.9 * capital);
    Canvas canvas(style.width, style.height);
    const Box frame = {
        std::ceil(pad + MarginLeft(scales.y, capital)), std::ceil(pad + (style.title.empty() ? 0.0 : 2.2 * capital)),
        std::floor(style.width - 2.5 * pad), std::floor(style.height - pad - MarginBelow(scales.x, capital))};
    RequireForPlot(frame.Width() >= 40.0 && frame.Height() >= 40.0,
                   "no room beside the texts: a larger plot or smaller texts");
    for (const Mark& mark : scales.x.marks)
        canvas.Fill({frame.left + mark.place * frame.Width() - 0.5, frame.top,
                     frame.left + mark.place * frame.Width() + 0.5, frame.bottom},
                    kFaint);
    for (const Mark& mark : scales.y.marks)
        canvas.Fill({frame.left, frame.bottom - mark.place * frame.Height() - 0.5, frame.right,
                     frame.bottom - mark.place * frame.Height() + 0.5},
                    kFaint);
    const double unit = std::max(1.0, capital / 9.0);
    std::vector<std::vector<Polyline>> drawn;
    for (std::size_t n = 0; n < lines.size(); ++n)
    {
        drawn.push_back(PointsOf(lines[n], ranges, frame, style.logarithmic));
        DrawLine(canvas, drawn.back(), n, lines[n].markers, frame, unit);
    }
    DrawAxes(canvas, frame, scales.x, scales.y, capital);
    DrawLegend(canvas, lines, drawn, frame, capital, unit);
    canvas.Text(0.5 * (frame.left + frame.right), pad + 1.2 * capital, style.title, 1.1 * capital, Align::Middle);
    return canvas.Take();
}
} // namespace
} // namespace pictures

ProfileLine MakeProfileLine(const Lumora& field, Axis axis, std::int32_t index, PictureQuantity quantity,
                            const std::string& name)
{
    using namespace pictures;
    RequireGrid(field, kProfile);
    const bool row = axis == X_AXIS;
    if ((!row && axis != Y_AXIS) || quantity < PICTURE_AMPLITUDE || quantity >= PICTURE_COMPLEX)
        Error(ERR_PARAMETER, kProfile, "axis: X_AXIS or Y_AXIS; quantity: any but PICTURE_COMPLEX");
    if (index < 0 || index >= (row ? field.GetNy() : field.GetNx()))
        Error(ERR_PARAMETER, kProfile, "the index lies outside the grid");
    return Guarded(kProfile,
                   [&]
                   {
                       ProfileLine line;
                       line.name = name;
                       const std::int32_t count = row ? field.GetNx() : field.GetNy();
                       for (std::int32_t n = 0; n < count; ++n)
                       {
                           const Parts p = PartsOf(field, row ? field.GetPixel(n, index) : field.GetPixel(index, n));
                           line.x.push_back(row ? field.X(n) : field.Y(n));
                           line.y.push_back(QuantityOf(quantity, p.re, p.im));
                       }
                       return line;
                   });
}

PictureImage RenderProfilePlot(const std::vector<ProfileLine>& lines, const ProfileStyle& style)
{
    return pictures::Guarded(pictures::kRender, [&] { return pictures::Plot(lines, style); });
}

void SaveProfilePlot(const std::string& path, const std::vector<ProfileLine>& lines, const ProfileStyle& style)
{
    SavePng(path, RenderProfilePlot(lines, style));
}
} // namespace LumoraLib
