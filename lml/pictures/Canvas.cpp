// A colour picture to draw on: areas, lines with smooth edges, text.

#include "pictures/Canvas.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::pictures
{
namespace
{
double SquaredDistance(Point p, Point a, Point b)
{
    const double x = b.x - a.x;
    const double y = b.y - a.y;
    const double length = x * x + y * y;
    const double t = length > 0.0 ? std::clamp(((p.x - a.x) * x + (p.y - a.y) * y) / length, 0.0, 1.0) : 0.0;
    const double dx = p.x - a.x - t * x;
    const double dy = p.y - a.y - t * y;
    return dx * dx + dy * dy;
}

std::int32_t Pixel(double place, double low, double high)
{
    return static_cast<std::int32_t>(std::floor(std::clamp(place, low, high)));
}
} // namespace

Canvas::Canvas(std::int32_t width, std::int32_t height, PictureColour ground)
{
    image_.width = width;
    image_.height = height;
    image_.samples.resize(image_.At(0, height));
    for (std::size_t n = 0; n < image_.samples.size(); n += 3)
    {
        image_.samples[n] = ground.red;
        image_.samples[n + 1] = ground.green;
        image_.samples[n + 2] = ground.blue;
    }
}

Box Canvas::All() const
{
    return {0.0, 0.0, static_cast<double>(image_.width), static_cast<double>(image_.height)};
}

void Canvas::Set(std::int32_t x, std::int32_t y, PictureColour colour)
{
    if (x < 0 || y < 0 || x >= image_.width || y >= image_.height)
        return;
    std::uint16_t* const p = image_.samples.data() + image_.At(x, y);
    p[0] = colour.red;
    p[1] = colour.green;
    p[2] = colour.blue;
}

void Canvas::Mix(std::int32_t x, std::int32_t y, PictureColour colour, double cover)
{
    std::uint16_t* const p = image_.samples.data() + image_.At(x, y);
    const double c[3] = {static_cast<double>(colour.red), static_cast<double>(colour.green),
                         static_cast<double>(colour.blue)};
    for (std::size_t n = 0; n < 3; ++n)
        p[n] = static_cast<std::uint16_t>(std::lround(p[n] + (c[n] - p[n]) * cover));
}

void Canvas::Fill(Box box, PictureColour colour, double cover)
{
    const std::int32_t x2 = Pixel(box.right + 0.5, 0.0, image_.width);
    const std::int32_t y2 = Pixel(box.bottom + 0.5, 0.0, image_.height);
    for (std::int32_t y = Pixel(box.top + 0.5, 0.0, image_.height); y < y2; ++y)
        for (std::int32_t x = Pixel(box.left + 0.5, 0.0, image_.width); x < x2; ++x)
            Mix(x, y, colour, cover);
}

void Canvas::Draw(const std::vector<Polyline>& lines, double width, PictureColour colour, Box clip)
{
    const double reach = 0.5 * width + 0.5;
    Box box = {1e9, 1e9, -1e9, -1e9};
    for (const Polyline& line : lines)
        for (const Point& p : line)
            box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x),
                   std::max(box.bottom, p.y)};
    const std::int32_t left = Pixel(std::max(box.left - reach, clip.left), 0.0, image_.width);
    const std::int32_t top = Pixel(std::max(box.top - reach, clip.top), 0.0, image_.height);
    const std::int32_t right = Pixel(std::min(box.right + reach, clip.right) + 0.999, 0.0, image_.width);
    const std::int32_t bottom = Pixel(std::min(box.bottom + reach, clip.bottom) + 0.999, 0.0, image_.height);
    if (right <= left || bottom <= top)
        return;
    const std::size_t columns = static_cast<std::size_t>(right - left);
    std::vector<float> cover(columns * static_cast<std::size_t>(bottom - top), 0.0f);
    const auto segment = [&](Point a, Point b)
    {
        const std::int32_t x1 = Pixel(std::min(a.x, b.x) - reach, left, right);
        const std::int32_t x2 = Pixel(std::max(a.x, b.x) + reach + 1.0, left, right);
        const std::int32_t y1 = Pixel(std::min(a.y, b.y) - reach, top, bottom);
        const std::int32_t y2 = Pixel(std::max(a.y, b.y) + reach + 1.0, top, bottom);
        for (std::int32_t y = y1; y < y2; ++y)
            for (std::int32_t x = x1; x < x2; ++x)
            {
                const double d = std::sqrt(SquaredDistance({x + 0.5, y + 0.5}, a, b));
                float& c = cover[static_cast<std::size_t>(y - top) * columns + static_cast<std::size_t>(x - left)];
                c = std::max(c, static_cast<float>(std::clamp(reach - d, 0.0, 1.0)));
            }
    };
    for (const Polyline& line : lines)
    {
        for (std::size_t n = 0; n + 1 < line.size(); ++n)
            segment(line[n], line[n + 1]);
        if (line.size() == 1) // a dot, as wide as it looks in print
            segment({line[0].x, line[0].y - 0.3 * width}, {line[0].x, line[0].y + 0.1 * width});
    }
    for (std::int32_t y = top; y < bottom; ++y)
        for (std::int32_t x = left; x < right; ++x)
        {
            const float c = cover[static_cast<std::size_t>(y - top) * columns + static_cast<std::size_t>(x - left)];
            if (c > 0.0f)
                Mix(x, y, colour, c);
        }
}

void Canvas::Frame(Box box, double width, PictureColour colour)
{
    Fill({box.left - width, box.top - width, box.right + width, box.top}, colour);
    Fill({box.left - width, box.bottom, box.right + width, box.bottom + width}, colour);
    Fill({box.left - width, box.top, box.left, box.bottom}, colour);
    Fill({box.right, box.top, box.right + width, box.bottom}, colour);
}

void Canvas::Text(double x, double y, const std::string& text, double capital, Align align, PictureColour colour,
                  bool upward)
{
    const double scale = capital / kCapital;
    const double shift = align == Align::Left ? 0.0 : TextPixels(text, capital) * (align == Align::Middle ? 0.5 : 1.0);
    std::vector<Polyline> strokes = TextStrokes(text);
    for (Polyline& line : strokes)
        for (Point& p : line)
        {
            const double along = p.x * scale - shift;
            const double across = (p.y - kCapital) * scale;
            p = upward ? Point{x + across, y - along} : Point{x + along, y + across};
        }
    Draw(strokes, std::max(1.1, 0.14 * capital), colour);
}

void Canvas::Paste(std::int32_t x, std::int32_t y, const PictureImage& picture)
{
    for (std::int32_t j = 0; j < picture.height && y + j < image_.height; ++j)
    {
        const std::uint16_t* const from = picture.samples.data() + picture.At(0, j);
        const std::int32_t count = std::min(picture.width, image_.width - x);
        std::copy(from, from + 3 * static_cast<std::ptrdiff_t>(count), image_.samples.data() + image_.At(x, y + j));
    }
}

double TextPixels(const std::string& text, double capital)
{
    return TextWidth(text) * capital / kCapital;
}

std::vector<Polyline> Dashed(const Polyline& line, const std::vector<double>& pattern)
{
    if (pattern.empty() || line.size() < 2)
        return {line};
    std::vector<Polyline> dashes;
    std::size_t part = 0;
    double left = pattern[0];
    Polyline dash = {line[0]};
    for (std::size_t n = 0; n + 1 < line.size(); ++n)
    {
        Point from = line[n];
        const Point to = line[n + 1];
        double length = std::hypot(to.x - from.x, to.y - from.y);
        while (length > left)
        {
            const double t = left / length;
            from = {from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)};
            length -= left;
            dash.push_back(from);
            if (part % 2 == 0)
                dashes.push_back(std::move(dash));
            dash = {from};
            part = (part + 1) % pattern.size();
            left = pattern[part];
        }
        left -= length;
        dash.push_back(to);
    }
    if (part % 2 == 0 && dash.size() > 1)
        dashes.push_back(std::move(dash));
    return dashes;
}
} // namespace LumoraLib::pictures
