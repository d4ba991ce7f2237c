// What stands around a picture: title, axes, colour bar or disc of phases, scale bar.

#include "pictures/Decoration.h"
#include "pictures/Colours.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::pictures
{
namespace
{
constexpr double kPi = 3.141592653589793;

double WidestMark(const Scale& scale, double capital)
{
    double widest = 0.0;
    for (const Mark& mark : scale.marks)
        widest = std::max(widest, TextPixels(mark.text, capital));
    return widest;
}

/// Columns right of the picture for the colours and their numbers.
double BarColumns(const Decoration& d, double capital)
{
    if (!d.bar)
        return 0.0;
    if (d.disc)
        return std::max(12.0 * capital, TextPixels(d.barScale.label, capital) + 2.0 * capital);
    return 5.0 * capital + WidestMark(d.barScale, capital) + (d.barScale.label.empty() ? 0.0 : 2.4 * capital);
}

void DrawBar(Canvas& canvas, Box picture, double left, const Decoration& d, double capital)
{
    const Box bar = {left, picture.top, left + 1.6 * capital, picture.bottom};
    const std::int32_t height = static_cast<std::int32_t>(bar.Height());
    for (std::int32_t n = 0; n < height; ++n)
    {
        const double t = 1.0 - (n + 0.5) / height;
        canvas.Fill({bar.left, bar.top + n, bar.right, bar.top + n + 1.0}, GetPictureColour(d.colours, t));
    }
    canvas.Frame(bar, 1.0, kInk);
    for (const Mark& mark : d.barScale.marks)
    {
        const double y = bar.bottom - mark.place * bar.Height();
        canvas.Fill({bar.right, y - 0.5, bar.right + 0.5 * capital, y + 0.5}, kInk);
        canvas.Text(bar.right + 0.9 * capital,
                    std::clamp(y, bar.top + 0.5 * capital, bar.bottom - 0.5 * capital) + 0.5 * capital, mark.text,
                    capital, Align::Left);
    }
    if (!d.barScale.label.empty())
        canvas.Text(bar.right + 2.6 * capital + WidestMark(d.barScale, capital), 0.5 * (bar.top + bar.bottom),
                    d.barScale.label, capital, Align::Middle, kInk, true);
}

/// The disc of phases: the angle is the phase, the brightness falls to the middle; below it what full brightness is.
void DrawDisc(Canvas& canvas, Box picture, double left, const Decoration& d, double capital)
{
    const double radius = 3.0 * capital;
    const double x = left + 0.5 * BarColumns(d, capital);
    const double y = picture.top + radius + 2.2 * capital;
    for (std::int32_t j = static_cast<std::int32_t>(y - radius); j <= static_cast<std::int32_t>(y + radius); ++j)
        for (std::int32_t i = static_cast<std::int32_t>(x - radius); i <= static_cast<std::int32_t>(x + radius); ++i)
        {
            const double dx = i + 0.5 - x;
            const double dy = y - j - 0.5;
            const double r = std::hypot(dx, dy);
            if (r <= radius)
                canvas.Set(i, j, PhaseColour(std::atan2(dy, dx), r / radius));
        }
    canvas.Text(x + radius + 0.6 * capital, y + 0.5 * capital, "0", capital, Align::Left);
    canvas.Text(x - radius - 0.6 * capital, y + 0.5 * capital, "\xC2\xB1\xCF\x80", capital, Align::Right);
    canvas.Text(x, y - radius - 0.7 * capital, "\xCF\x80/2", capital, Align::Middle);
    canvas.Text(x, y + radius + 1.8 * capital, "\xE2\x88\x92\xCF\x80/2", capital, Align::Middle);
    canvas.Text(x, y + radius + 4.2 * capital, d.barScale.label, capital, Align::Middle);
}

/// A dark strip with a white bar and its length, inside the picture at the bottom right.
void DrawScaleBar(Canvas& canvas, Box picture, const Decoration& d, double capital)
{
    const double length = d.scaleBar * picture.Width();
    const double text = TextPixels(d.scaleBarText, capital);
    const double width = std::max(length, text) + 1.6 * capital;
    const double height = 3.4 * capital;
    const double margin = 0.8 * capital;
    if (width + 2.0 * margin > picture.Width() || height + 2.0 * margin > picture.Height())
        return; // the picture is too small for it
    const Box strip = {std::floor(picture.right - margin - width), std::floor(picture.bottom - margin - height),
                       std::floor(picture.right - margin), std::floor(picture.bottom - margin)};
    canvas.Fill(strip, {0, 0, 0}, 0.62);
    const double middle = 0.5 * (strip.left + strip.right);
    const double y = strip.bottom - 0.9 * capital;
    canvas.Fill({middle - 0.5 * length, y - std::max(1.0, 0.15 * capital), middle + 0.5 * length,
                 y + std::max(1.0, 0.15 * capital)},
                kWhite);
    canvas.Text(middle, strip.top + 1.7 * capital, d.scaleBarText, capital, Align::Middle, kWhite);
}
} // namespace

double CapitalFor(double longestSide, double textSize)
{
    return textSize * std::clamp(4.0 + 0.011 * longestSide, 9.0, 40.0);
}

std::string LabelWithUnit(const std::string& label, const std::string& unit)
{
    if (unit.empty())
        return label;
    return label.empty() ? "[" + unit + "]" : label + " [" + unit + "]";
}

double MarginLeft(const Scale& y, double capital)
{
    return WidestMark(y, capital) + 1.6 * capital + (y.label.empty() ? 0.0 : 2.0 * capital);
}

double MarginBelow(const Scale& x, double capital)
{
    return 2.4 * capital + (x.label.empty() ? 0.0 : 2.2 * capital);
}

void DrawAxes(Canvas& canvas, Box frame, const Scale& x, const Scale& y, double capital)
{
    canvas.Frame(frame, 1.0, kInk);
    const double tick = 0.5 * capital;
    for (const Mark& mark : x.marks)
    {
        const double at = frame.left + mark.place * frame.Width();
        canvas.Fill({at - 0.5, frame.bottom + 1.0, at + 0.5, frame.bottom + 1.0 + tick}, kInk);
        canvas.Text(at, frame.bottom + tick + 1.5 * capital, mark.text, capital, Align::Middle);
    }
    for (const Mark& mark : y.marks)
    {
        const double at = frame.bottom - mark.place * frame.Height();
        canvas.Fill({frame.left - 1.0 - tick, at - 0.5, frame.left - 1.0, at + 0.5}, kInk);
        canvas.Text(frame.left - tick - 0.5 * capital, at + 0.5 * capital, mark.text, capital, Align::Right);
    }
    canvas.Text(0.5 * (frame.left + frame.right), frame.bottom + tick + 3.7 * capital, x.label, capital, Align::Middle);
    canvas.Text(frame.left - 1.6 * capital - WidestMark(y, capital), 0.5 * (frame.top + frame.bottom), y.label, capital,
                Align::Middle, kInk, true);
}

PictureImage Decorate(PictureImage picture, const Decoration& d)
{
    const double capital = CapitalFor(std::max(picture.width, picture.height), d.textSize);
    const bool bare = d.title.empty() && !d.axes && !d.bar;
    if (bare && d.scaleBar <= 0.0)
        return picture;
    const double pad = bare ? 0.0 : std::ceil(0.9 * capital);
    const double left = std::ceil(pad + (d.axes ? MarginLeft(d.y, capital) : 0.0));
    const double top = std::ceil(pad + (d.title.empty() ? 0.0 : 2.2 * capital));
    const double below = std::ceil(pad + (d.axes ? MarginBelow(d.x, capital) : 0.0));
    // The last number below reaches beyond the frame by half its width.
    const double beyond = d.axes ? 0.5 * WidestMark(d.x, capital) : 0.0;
    const double right = std::ceil(pad + std::max(BarColumns(d, capital), beyond));
    const double wide = std::max(left + picture.width + right, TextPixels(d.title, 1.1 * capital) + 2.0 * pad);
    double high = top + picture.height + below;
    if (d.bar && d.disc)
        high = std::max(high, top + 13.0 * capital);
    Canvas canvas(static_cast<std::int32_t>(std::ceil(wide)), static_cast<std::int32_t>(high));
    const Box frame = {left, top, left + picture.width, top + picture.height};
    canvas.Paste(static_cast<std::int32_t>(left), static_cast<std::int32_t>(top), picture);
    const double titleAt = std::max(0.5 * (frame.left + frame.right), pad + 0.5 * TextPixels(d.title, 1.1 * capital));
    canvas.Text(titleAt, pad + 1.2 * capital, d.title, 1.1 * capital, Align::Middle);
    if (d.axes)
        DrawAxes(canvas, frame, d.x, d.y, capital);
    if (d.bar && d.disc)
        DrawDisc(canvas, frame, frame.right, d, capital);
    else if (d.bar)
        DrawBar(canvas, frame, frame.right + 1.6 * capital, d, capital);
    if (d.scaleBar > 0.0)
        DrawScaleBar(canvas, frame, d, capital);
    return canvas.Take();
}
} // namespace LumoraLib::pictures
