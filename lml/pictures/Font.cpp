// The built-in font: letters as strokes on a small grid, rounded where they are round.

#include "pictures/Font.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace LumoraLib::pictures
{
namespace
{
/// A letter: its strokes, separated by blanks, each a chain of points x y. Digits are whole units, 'a' to 'j' are 0.5
/// to 9.5. '~' before a stroke rounds its corners; one that ends where it begins is closed; a single point is a dot.
/// Small letters stand between y = 2 and y = 7, capitals begin at y = 0, descenders end at y = 9.
struct Letter
{
    std::uint32_t code;
    double width;
    const char* strokes;
};

constexpr Letter kLetters[] = {
    {' ', 1.5, ""},
    {'!', 0, "0005 07"},
    {0x22, 2, "0002 2022"},
    {'#', 4, "1017 3037 0242 0545"},
    {'$', 4, "~4140000d4d470706 2028"},
    {'%', 4, "4007 ~0020220200 ~2545472725"},
    {'&', 4, "~471210303204073744"},
    {0x27, 0, "0002"},
    {0x28, 2, "~20010728"},
    {0x29, 2, "~00212708"},
    {'*', 4, "2125 0244 0442"},
    {'+', 4, "2226 0444"},
    {',', 1, "1g0i"},
    {'-', 3, "0e3e"},
    {'.', 0.5, "a7"},
    {'/', 3, "3008"},
    {'0', 4, "~0040470700"},
    {'1', 2, "022027"},
    {'2', 4, "~0200404307 0747"},
    {'3', 4, "~0100404313 ~1343470706"},
    {'4', 4, "37300545"},
    {'5', 4, "400003 ~031242470706"},
    {'6', 4, "~0343470703 ~300005"},
    {'7', 4, "004017"},
    {'8', 4, "~0040430300 ~0343470703"},
    {'9', 4, "~0040440400 ~424717"},
    {':', 0, "03 07"},
    {0x3B, 1, "13 1g0i"},
    {'<', 4, "410447"},
    {'=', 4, "0343 0f4f"},
    {'>', 4, "014407"},
    {'?', 4, "~010040432325 27"},
    {'@', 5, "~0050570700 ~2242452522"},
    {'A', 4, "072047 a5d5"},
    {'B', 4, "0007 ~00404303 ~03434707"},
    {'C', 4, "~424000074745"},
    {'D', 4, "0007 ~00404707"},
    {'E', 4, "40000747 0d3d"},
    {'F', 4, "400007 0d3d"},
    {'G', 4, "~424000074744 4424"},
    {'H', 4, "0007 4047 0d4d"},
    {'I', 0, "0007"},
    {'J', 3, "3035 ~35370705"},
    {'K', 4, "0007 4004 bc47"},
    {'L', 4, "000747"},
    {'M', 5, "0700c45057"},
    {'N', 4, "07004740"},
    {'O', 5, "~0050570700"},
    {'P', 4, "0007 ~00404404"},
    {'Q', 5, "~0050570700 355h"},
    {'R', 4, "0007 ~00404404 2447"},
    {'S', 4, "~4140000d4d470706"},
    {'T', 4, "0040 2027"},
    {'U', 4, "0004 ~04074744 4440"},
    {'V', 4, "002740"},
    {'W', 6, "00b731e760"},
    {'X', 4, "0047 4007"},
    {'Y', 4, "002d40 2d27"},
    {'Z', 4, "00400747"},
    {0x5B, 2, "20000828"},
    {'\\', 3, "0038"},
    {0x5D, 2, "00202808"},
    {'^', 4, "022042"},
    {'_', 4, "0848"},
    {'`', 1, "0012"},
    {'a', 4, "~0242470702 4247"},
    {'b', 4, "0007 ~0242470702"},
    {'c', 4, "~434202074746"},
    {'d', 4, "4047 ~0242470702"},
    {'e', 4, "0e4e ~4e4202074746"},
    {'f', 3, "~301012 1217 0232"},
    {'g', 4, "~0242470702 4247 ~47490908"},
    {'h', 4, "0007 ~04024245 4547"},
    {'i', 0, "0207 0a"},
    {'j', 1, "1217 ~171909 1a"},
    {'k', 3, "0007 3205 1437"},
    {'l', 1, "0006 ~060717"},
    {'m', 6, "0207 ~04023235 3537 ~34326265 6567"},
    {'n', 4, "0207 ~04024245 4547"},
    {'o', 4, "~0242470702"},
    {'p', 4, "0209 ~0242470702"},
    {'q', 4, "4249 ~0242470702"},
    {'r', 3, "0207 ~040232"},
    {'s', 4, "~4342020e4e470706"},
    {'t', 3, "1016 ~161737 0232"},
    {'u', 4, "0205 ~05074745 4247"},
    {'v', 4, "022742"},
    {'w', 6, "02b733e762"},
    {'x', 4, "0247 4207"},
    {'y', 4, "0227 4219"},
    {'z', 4, "02420747"},
    {0x7B, 2, "~20101404 ~04141828"},
    {'|', 0, "0008"},
    {0x7D, 2, "~00101424 ~24141808"},
    {'~', 4, "~05133543"},
    {0x00B0, 2, "~0020220200"},             // degree
    {0x00B1, 4, "2125 0343 0g4g"},          // plus minus
    {0x00B2, 2, "~0100202b0d 0d2d"},        // square
    {0x00B3, 2, "~0a00202b1b ~1b2b2d0d03"}, // cube
    {0x00B5, 4, "0209 ~05074745 4247"},     // micro
    {0x00B7, 0, "04"},                      // centred dot
    {0x00D7, 4, "0c4g 4c0g"},               // times
    {0x0394, 4, "07204707"},                // Delta
    {0x03B8, 4, "~0040470700 0d4d"},        // theta
    {0x03BB, 4, "0047 2d07"},               // lambda
    {0x03BC, 4, "0209 ~05074745 4247"},     // mu
    {0x03C0, 4, "0242 1217 3237"},          // pi
    {0x03C6, 4, "~0242470702 2029"},        // phi
    {0x2013, 4, "0e4e"},                    // dash
    {0x2019, 0, "0002"},                    // apostrophe
    {0x2212, 4, "0444"},                    // minus
    {0x221A, 6, "0414274060"},              // root
    {0x221E, 6, "~032346666343260603"},     // infinity
    {0x2264, 4, "4a034f 0747"},             // at most
    {0x2265, 4, "0a430f 0747"},             // at least
};
constexpr Letter kUnknown = {0, 4, "0040470700"};
constexpr double kGap = 2.0; // between letters

double Unit(char c)
{
    return c >= 'a' ? c - 'a' + 0.5 : c - '0';
}

/// Corners cut at a quarter of each edge, again and again: it ends in a quadratic curve that touches the edges'
/// middles.
Polyline Rounded(Polyline line)
{
    const bool closed = line.front().x == line.back().x && line.front().y == line.back().y;
    for (int round = 0; round < 3; ++round)
    {
        Polyline cut;
        if (!closed)
            cut.push_back(line.front());
        for (std::size_t n = 0; n + 1 < line.size(); ++n)
        {
            const Point p = line[n];
            const Point q = line[n + 1];
            if (closed || n > 0)
                cut.push_back({0.75 * p.x + 0.25 * q.x, 0.75 * p.y + 0.25 * q.y});
            if (closed || n + 2 < line.size())
                cut.push_back({0.25 * p.x + 0.75 * q.x, 0.25 * p.y + 0.75 * q.y});
        }
        cut.push_back(closed ? cut.front() : line.back());
        line = std::move(cut);
    }
    return line;
}

std::vector<Polyline> Strokes(const char* text)
{
    std::vector<Polyline> strokes;
    for (const char* p = text; *p != '\0';)
    {
        const bool round = *p == '~';
        Polyline line;
        for (p += round ? 1 : 0; *p != '\0' && *p != ' '; p += 2)
            line.push_back({Unit(p[0]), Unit(p[1])});
        strokes.push_back(round ? Rounded(std::move(line)) : std::move(line));
        p += *p == ' ' ? 1 : 0;
    }
    return strokes;
}

struct Glyph
{
    double width;
    std::vector<Polyline> strokes;
};

const Glyph& GlyphOf(std::uint32_t code)
{
    static const std::map<std::uint32_t, Glyph> glyphs = []
    {
        std::map<std::uint32_t, Glyph> all;
        for (const Letter& letter : kLetters)
            all[letter.code] = {letter.width, Strokes(letter.strokes)};
        return all;
    }();
    static const Glyph unknown = {kUnknown.width, Strokes(kUnknown.strokes)};
    const auto found = glyphs.find(code);
    return found == glyphs.end() ? unknown : found->second;
}

/// Calls visit(glyph, x) for each letter and returns where the next one would begin. Bytes that are not UTF-8 count as
/// unknown letters.
template <class Visit>
double ForEachGlyph(const std::string& text, Visit&& visit)
{
    double x = 0.0;
    for (std::size_t n = 0; n < text.size();)
    {
        const std::uint32_t first = static_cast<unsigned char>(text[n++]);
        const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
        std::uint32_t code = more == 0 ? first : first & (0x3Fu >> more);
        for (int m = 0; m < more && n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80; ++m)
            code = code << 6 | (static_cast<unsigned char>(text[n++]) & 0x3Fu);
        const Glyph& glyph = GlyphOf(code);
        visit(glyph, x);
        x += glyph.width + kGap;
    }
    return x;
}
} // namespace

std::vector<Polyline> TextStrokes(const std::string& text)
{
    std::vector<Polyline> strokes;
    ForEachGlyph(text,
                 [&](const Glyph& glyph, double x)
                 {
                     for (Polyline line : glyph.strokes)
                     {
                         for (Point& point : line)
                             point.x += x;
                         strokes.push_back(std::move(line));
                     }
                 });
    return strokes;
}

double TextWidth(const std::string& text)
{
    return std::max(ForEachGlyph(text, [](const Glyph&, double) {}) - kGap, 0.0);
}
} // namespace LumoraLib::pictures
