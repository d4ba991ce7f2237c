// Makes the resolution target of the examples: an 8-bit grey BMP of 1024 by 1024 pixels, white shapes on black with a
// dark margin, so that light that spreads does not leave the grid. Every pixel is the mean of 4 by 4 points.
//
// Use: test_target FILE

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace
{
constexpr int kSize = 1024;
constexpr int kPoints = 4; // per pixel and axis
constexpr double kPi = 3.141592653589793;

/// A shape inside a box: brightness 0 ... 1 at a point, coordinates in pixels, y upward.
struct Shape
{
    double x0, y0, x1, y1;
    std::function<double(double x, double y)> at;
};
std::vector<Shape> shapes;

void Box(double x, double y, double w, double h, double grey = 1.0)
{
    shapes.push_back({x, y, x + w, y + h,
                      [grey](double, double)
                      {
                          return grey;
                      }});
}

void Disc(double cx, double cy, double radius)
{
    shapes.push_back({cx - radius, cy - radius, cx + radius, cy + radius,
                      [=](double x, double y)
                      {
                          return std::hypot(x - cx, y - cy) < radius ? 1.0 : 0.0;
                      }});
}

/// `spokes` bright sectors inside a thin ring.
void Star(double cx, double cy, double radius, int spokes)
{
    shapes.push_back({cx - radius - 16, cy - radius - 16, cx + radius + 16, cy + radius + 16,
                      [=](double x, double y)
                      {
                          const double r = std::hypot(x - cx, y - cy);
                          if (r >= radius)
                              return r > radius + 10 && r < radius + 14 ? 1.0 : 0.0;
                          const double turn = std::atan2(y - cy, x - cx) / (2.0 * kPi) + 1.0;
                          return std::fmod(turn * spokes, 1.0) < 0.5 ? 1.0 : 0.0;
                      }});
}

/// Three upright and three lying bars of width w and length 5 w.
void Bars(double x, double y, double w)
{
    for (int n = 0; n < 3; ++n)
    {
        Box(x + 2 * n * w, y, w, 5 * w);
        Box(x + 8 * w, y + 2 * n * w, 5 * w, w);
    }
}

/// Lines that run together: `lines` bright ones whose width falls from `wide` at the left to `narrow` at the right.
void Wedge(double x, double cy, double length, int lines, double wide, double narrow)
{
    const double half = (2 * lines - 1) * wide / 2;
    shapes.push_back({x, cy - half, x + length, cy + half,
                      [=](double px, double y)
                      {
                          const double w = wide + (narrow - wide) * (px - x) / length;
                          const double place = (y - cy) / w + (2 * lines - 1) / 2.0;
                          return place >= 0 && place < 2 * lines - 1 && static_cast<int>(place) % 2 == 0 ? 1.0 : 0.0;
                      }});
}

/// Letters and digits of 5 by 7 cells, one row of bits per hexadecimal pair, top row first.
const char* Glyph(char c)
{
    switch (c)
    {
    case 'A':
        return "0E11111F111111";
    case 'L':
        return "1010101010101F";
    case 'M':
        return "111B1515111111";
    case 'O':
        return "0E11111111110E";
    case 'R':
        return "1E11111E141211";
    case 'U':
        return "1111111111110E";
    case '0':
        return "0E11131519110E";
    case '1':
        return "040C040404040E";
    case '2':
        return "0E11010204081F";
    case '3':
        return "1F02040201110E";
    case '4':
        return "02060A121F0202";
    case '5':
        return "1F101E0101110E";
    case '6':
        return "0608101E11110E";
    case '8':
        return "0E11110E11110E";
    case '.':
        return "00000000000C0C";
    default:
        return "00000000000000";
    }
}

void Text(double x, double y, double cell, const std::string& text)
{
    for (std::size_t n = 0; n < text.size(); ++n)
        for (int row = 0; row < 7; ++row)
        {
            const std::string pair(Glyph(text[n]) + 2 * row, 2);
            const long bits = std::strtol(pair.c_str(), nullptr, 16);
            for (int column = 0; column < 5; ++column)
                if ((bits >> (4 - column) & 1) != 0)
                    Box(x + cell * (6.0 * static_cast<double>(n) + column), y + cell * (6 - row), cell, cell);
        }
}

void Compose()
{
    for (const bool right : {false, true}) // corner marks
        for (const bool top : {false, true})
        {
            Box(right ? 880 : 96, top ? 924 : 96, 48, 4);
            Box(right ? 924 : 96, top ? 880 : 96, 4, 48);
        }
    Text(512 - 8 * 17.5, 850, 8, "LUMORA");
    Star(512, 540, 180, 36);

    // Bar groups: left column large, right column small; the number is the bar's width in pixels.
    struct Group
    {
        double x, y, w;
        const char* label;
    };
    for (const Group& g : {Group{112, 730, 13, "13"},
                           {112, 636, 11, "11"},
                           {112, 556, 9, "9"},
                           {112, 488, 8, "8"},
                           {112, 424, 7, "7"},
                           {770, 745, 6, "6"},
                           {770, 695, 5, "5"},
                           {770, 652, 4, "4"},
                           {770, 616, 3, "3"},
                           {770, 586, 2, "2"},
                           {770, 564, 1, "1"}})
        Bars(g.x, g.y, g.w);
    Text(870, 752, 2, "6");
    Text(870, 700, 2, "5");
    Text(870, 655, 2, "4");
    Text(870, 616, 2, "3");
    Text(870, 583, 2, "2");
    Text(870, 560, 2, "1");

    for (int n = 0; n < 6; ++n) // dots
        Disc(790 + 24.0 * n, 500, 10.0 - 1.7 * n);
    for (int n = 0; n < 3; ++n) // checkers of 8, 4 and 2 pixels
    {
        const double cell = 8 >> n;
        const double x = 770 + 56.0 * n;
        shapes.push_back({x, 420, x + 48, 468,
                          [=](double px, double y)
                          {
                              const int odd = static_cast<int>((px - x) / cell) + static_cast<int>((y - 420) / cell);
                              return odd % 2 == 0 ? 1.0 : 0.0;
                          }});
    }

    Wedge(112, 270, 380, 5, 9, 1);
    Wedge(532, 270, 380, 7, 6, 0.5);
    for (int n = 0; n < 9; ++n) // grey steps
        Box(256 + 57.0 * n, 130, 53, 53, (n + 1) / 9.0);
}

void Put(std::string& to, std::uint32_t value, int bytes)
{
    for (int n = 0; n < bytes; ++n, value >>= 8)
        to += static_cast<char>(value & 255);
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "use: test_target FILE\n");
        return 1;
    }
    Compose();
    std::vector<double> light(static_cast<std::size_t>(kSize) * kSize, 0.0);
    for (const Shape& s : shapes)
        for (int j = std::max(0, static_cast<int>(s.y0)); j <= std::min<double>(kSize - 1, s.y1); ++j)
            for (int i = std::max(0, static_cast<int>(s.x0)); i <= std::min<double>(kSize - 1, s.x1); ++i)
                for (int n = 0; n < kPoints * kPoints; ++n)
                {
                    const double x = i + (n % kPoints + 0.5) / kPoints;
                    const double y = j + (n / kPoints + 0.5) / kPoints;
                    if (x >= s.x0 && x < s.x1 && y >= s.y0 && y < s.y1)
                        light[static_cast<std::size_t>(j) * kSize + static_cast<std::size_t>(i)] += s.at(x, y);
                }

    std::string bytes = "BM";
    const std::uint32_t pixels = kSize * kSize;
    Put(bytes, 1078 + pixels, 4);
    Put(bytes, 0, 4);
    Put(bytes, 1078, 4);
    Put(bytes, 40, 4);
    Put(bytes, kSize, 4);
    Put(bytes, kSize, 4);
    Put(bytes, 1, 2);
    Put(bytes, 8, 2);
    Put(bytes, 0, 4);
    Put(bytes, pixels, 4);
    Put(bytes, 125000, 4); // 8 micrometres a pixel
    Put(bytes, 125000, 4);
    Put(bytes, 0, 8);
    for (std::uint32_t grey = 0; grey < 256; ++grey)
        Put(bytes, grey * 0x010101, 4);
    for (const double sum : light)
        bytes += static_cast<char>(std::lround(std::min(sum / (kPoints * kPoints), 1.0) * 255.0));

    std::FILE* const file = std::fopen(argv[1], "wb");
    const bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (file == nullptr || std::fclose(file) != 0 || !written)
    {
        std::fprintf(stderr, "test_target: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
