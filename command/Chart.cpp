// Charts as SVG for pages: lines and bars with axes, coloured by the page's style sheet.
#include "Chart.h"
#include "Quantity.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace command
{
namespace
{
// In units of the view box.
constexpr double kWidth = 640.0;
constexpr double kHeight = 300.0;
constexpr double kLeft = 64.0;
constexpr double kRight = 12.0;
constexpr double kTop = 34.0;
constexpr double kBottom = 44.0;

/// A coordinate in hundredths.
std::string At(double value)
{
    std::array<char, 32> text;
    const double rounded = std::round(value * 100.0) / 100.0;
    return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), rounded).ptr);
}

/// One direction of the chart: values to places, and where the ticks stand.
struct Scale
{
    double low;
    double high;
    double from;
    double to;
    bool logarithmic = false;

    double Value(double v) const { return logarithmic ? std::log10(v) : v; }
    double Place(double v) const { return from + (Value(v) - low) / (high - low) * (to - from); }

    std::vector<double> Ticks() const
    {
        std::vector<double> ticks;
        if (logarithmic)
        {
            const double step = std::max(1.0, std::ceil((high - low) / 6.0));
            for (double e = std::ceil(low); e <= high + 1e-9; e += step)
                ticks.push_back(std::pow(10.0, e));
            return ticks;
        }
        const double rough = (high - low) / 5.0;
        const double ten = std::pow(10.0, std::floor(std::log10(rough)));
        const double step = ten * (rough / ten < 1.5 ? 1.0 : rough / ten < 3.5 ? 2.0 : rough / ten < 7.5 ? 5.0 : 10.0);
        for (double n = std::ceil(low / step - 1e-9); n * step <= high + step * 1e-9; n += 1.0)
            ticks.push_back(n * step);
        return ticks;
    }
};

void Extend(double value, double& low, double& high)
{
    if (!std::isfinite(value))
        return;
    low = std::min(low, value);
    high = std::max(high, value);
}

Scale ScaleOf(const Chart& chart, bool ofX)
{
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const ChartLine& line : chart.lines)
        for (const double value : ofX ? line.x : line.y)
            if (ofX || !chart.logarithmic || value > 0.0)
                Extend(value, low, high);
    if (ofX && chart.bars && chart.lines.front().x.size() > 1)
        high += chart.lines.front().x[1] - chart.lines.front().x[0];
    if (!ofX && chart.yLow != chart.yHigh)
    {
        low = chart.yLow;
        high = chart.yHigh;
    }
    else if (!ofX && !chart.logarithmic)
    {
        low = std::min(low, 0.0);
        high += (high - low) * 0.05;
    }
    Scale scale{low, high, ofX ? kLeft : kHeight - kBottom, ofX ? kWidth - kRight : kTop, !ofX && chart.logarithmic};
    if (scale.logarithmic && high > 0.0)
    {
        scale.low = std::floor(std::log10(low) - 0.3);
        scale.high = std::ceil(std::log10(high));
    }
    if (!(scale.low < scale.high)) // nothing, or one value only
    {
        const double middle = std::isfinite(scale.low) ? scale.low : 0.0;
        scale.low = middle - 1.0;
        scale.high = middle + 1.0;
    }
    return scale;
}

void DrawAxes(std::string& svg, const Chart& chart, const Scale& x, const Scale& y)
{
    for (const double tick : x.Ticks())
    {
        const std::string at = At(x.Place(tick));
        svg += "<line class=\"grid\" x1=\"" + at + "\" x2=\"" + at + "\" y1=\"" + At(kTop) + "\" y2=\"" +
               At(kHeight - kBottom) + "\"/><text x=\"" + at + "\" y=\"" + At(kHeight - kBottom + 16) +
               "\" text-anchor=\"middle\">" + Show(tick, Kind::Number) + "</text>\n";
    }
    for (const double tick : y.Ticks())
    {
        const std::string at = At(y.Place(tick));
        svg += "<line class=\"grid\" y1=\"" + at + "\" y2=\"" + at + "\" x1=\"" + At(kLeft) + "\" x2=\"" +
               At(kWidth - kRight) + "\"/><text x=\"" + At(kLeft - 6) + "\" y=\"" + At(y.Place(tick) + 4) +
               "\" text-anchor=\"end\">" + Show(tick, Kind::Number) + "</text>\n";
    }
    svg += "<rect class=\"frame\" x=\"" + At(kLeft) + "\" y=\"" + At(kTop) + "\" width=\"" +
           At(kWidth - kRight - kLeft) + "\" height=\"" + At(kHeight - kBottom - kTop) + "\"/>\n";
    svg += "<text x=\"" + At((kLeft + kWidth - kRight) / 2) + "\" y=\"" + At(kHeight - 8) +
           "\" text-anchor=\"middle\">" + Escaped(chart.xLabel) + "</text>\n";
    svg += "<text transform=\"translate(14 " + At((kTop + kHeight - kBottom) / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">" + Escaped(chart.yLabel) + "</text>\n";
}

void DrawBars(std::string& svg, const ChartLine& line, const Scale& x, const Scale& y)
{
    const double width = line.x.size() > 1 ? x.Place(line.x[1]) - x.Place(line.x[0]) : 4.0;
    for (std::size_t n = 0; n < line.x.size(); ++n)
    {
        if (!(line.y[n] > 0.0))
            continue;
        const double top = y.Place(line.y[n]);
        svg += "<rect class=\"bar\" x=\"" + At(x.Place(line.x[n])) + "\" y=\"" + At(top) + "\" width=\"" +
               At(std::max(0.5, width - 0.5)) + "\" height=\"" + At(kHeight - kBottom - top) + "\"/>\n";
    }
}

void DrawLine(std::string& svg, const ChartLine& line, std::size_t number, const Scale& x, const Scale& y)
{
    // Two points a column are all that can be seen: the first of the smallest and the largest, then the other.
    constexpr std::size_t kBins = 600;
    const std::size_t size = line.y.size();
    const std::size_t step = std::max<std::size_t>(1, size / kBins);
    std::string points;
    const auto flush = [&]
    {
        if (!points.empty())
            svg += "<polyline class=\"line s" + std::to_string(number) + "\" points=\"" + points + "\"/>\n";
        points.clear();
    };
    for (std::size_t from = 0; from < size; from += step)
    {
        std::size_t least = size;
        std::size_t most = size;
        for (std::size_t n = from; n < std::min(size, from + step); ++n)
        {
            if (!std::isfinite(line.y[n]))
                continue;
            least = least == size || line.y[n] < line.y[least] ? n : least;
            most = most == size || line.y[n] > line.y[most] ? n : most;
        }
        if (least == size)
        {
            flush(); // nothing here: a gap
            continue;
        }
        points += At(x.Place(line.x[std::min(least, most)])) + "," + At(y.Place(line.y[std::min(least, most)])) + " ";
        if (least != most)
            points +=
                At(x.Place(line.x[std::max(least, most)])) + "," + At(y.Place(line.y[std::max(least, most)])) + " ";
    }
    flush();
}
} // namespace

std::string Escaped(const std::string& text)
{
    std::string out;
    for (const char c : text)
        switch (c)
        {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    return out;
}

std::string Svg(const Chart& chart)
{
    const Scale x = ScaleOf(chart, true);
    const Scale y = ScaleOf(chart, false);
    std::string svg = "<svg class=\"chart\" viewBox=\"0 0 " + At(kWidth) + " " + At(kHeight) +
                      "\" role=\"img\">\n<title>" + Escaped(chart.title) + "</title>\n<text class=\"name\" x=\"" +
                      At(kLeft) + "\" y=\"18\">" + Escaped(chart.title) + "</text>\n";
    DrawAxes(svg, chart, x, y);
    double legend = kWidth - kRight;
    for (std::size_t n = chart.lines.size(); n-- > 0;)
    {
        const ChartLine& line = chart.lines[n];
        if (chart.bars)
            DrawBars(svg, line, x, y);
        else
            DrawLine(svg, line, n, x, y);
        if (line.name.empty())
            continue;
        legend -= 40.0 + 6.6 * static_cast<double>(line.name.size());
        svg += "<line class=\"line s" + std::to_string(n) + "\" x1=\"" + At(legend) + "\" x2=\"" + At(legend + 24) +
               "\" y1=\"14\" y2=\"14\"/><text x=\"" + At(legend + 29) + "\" y=\"18\">" + Escaped(line.name) +
               "</text>\n";
    }
    return svg + "</svg>\n";
}
} // namespace command
