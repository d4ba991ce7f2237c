// What the tests of the picture formats share: the byte that a sample must show as, computed apart from the library.
#ifndef LML_PICTURETOOLS_H
#define LML_PICTURETOOLS_H

#include "TestTools.h"

#include <cmath>
#include <limits>

namespace lmltest
{
/// The constants in which the formats differ.
struct FormatRule
{
    long double mask;
    bool logs;
    bool wraps;
};

/// A pixel value before truncation, in extended precision: bytes near a truncation step are not compared.
inline long double ExactPixel(const Complex& u, int form, int mode, long double min, long double max,
                              const FormatRule& f, long double largest)
{
    const bool polar = (form & 2) != 0;
    const std::complex<long double> z =
        polar ? std::polar<long double>(1.0L, u.Imag()) * static_cast<long double>(u.Real())
              : std::complex<long double>(u.Real(), u.Imag());
    const long double amplitude = polar ? static_cast<long double>(u.Real()) : std::abs(z);
    const long double phase = polar ? static_cast<long double>(u.Imag()) : std::arg(z);
    const long double pi = 3.141592653589793238462643383L;
    const long double logs =
        polar ? (std::log10(amplitude * amplitude) + 1) / std::log10(2.0L) : std::log2(1 + amplitude * amplitude);
    const long double endless = std::numeric_limits<long double>::infinity(); // 0 in its own range
    const struct
    {
        long double s, low, span; // by mode
    } rows[] = {{amplitude * amplitude, 0, 1},
                {z.real(), -1, 2},
                {z.imag(), -1, 2},
                {phase, -pi, 2 * pi},
                {amplitude, 0, 1},
                {f.logs ? logs : u.Real(), 0, f.logs ? 1 : endless},
                {amplitude >= f.mask * largest ? phase : 0.0L, -pi, 2 * pi},
                {u.Real(), 0, endless}};
    const auto [s, low, span] = rows[mode >= 0 && mode < 7 ? mode : 7];
    const bool automatic = min == 0 && max == 0;
    const long double t = (automatic ? (s - low) / span : (s - min) / (max - min)) * 255 + 0.5L;
    if (automatic && f.wraps)
        return t;
    return std::isnan(t) || t < 1 ? 0.0L : t > 254 ? std::min(t, 255.0L) : t;
}

/// True when the byte agrees; values within 1e-3 of a step pass either way.
inline bool ShowsAs(unsigned char byte, long double exact)
{
    const auto whole = [](long double t)
    {
        return static_cast<unsigned char>(static_cast<long long>(t) & 255);
    };
    return byte == whole(exact) || byte == whole(exact + 1e-3L) || byte == whole(exact - 1e-3L);
}

/// The largest amplitude of the window, started as the library does.
inline long double LargestIn(Lumora& field)
{
    const LML_RECT w = field.Window();
    const bool first = field.Form() == POLAR_AMPLITUDE;
    long double m = std::hypot(field.GetReal(w.left, w.bottom), field.GetImag(w.left, w.bottom));
    for (int j = w.bottom; j < w.top; ++j)
        for (int i = w.left; i < w.right; ++i)
            m = std::max(m, static_cast<long double>(first ? field.GetReal(i, j)
                                                           : std::hypot(field.GetReal(i, j), field.GetImag(i, j))));
    return m;
}

/// Random samples of amplitude up to 1.5, some of them small enough to fall under a mask, in the form given.
inline void FillPicture(Lumora& field, int form, std::uint32_t seed)
{
    FillRandom(field, seed);
    for (std::size_t n = 0; n < field.N(); ++n)
    {
        const double scale = n % 7 == 0 ? 0.004 : n % 5 == 0 ? 0.0005 : 1.0;
        if ((form & 2) != 0)
            field[n] = Complex(std::abs(field[n].GetReal()) * 1.5 * scale, field[n].GetImag() * 3.1);
        else
            field[n] = Complex(field[n].GetReal() * scale, field[n].GetImag() * scale);
    }
    field.Form() = static_cast<ComplexForm>(form);
}

/// The sample that pixel value v loads as, in the form of the mode.
inline std::pair<double, double> LoadedPair(int mode, double v)
{
    const std::pair<double, double> pairs[] = {
        {std::sqrt(v), 0.0}, {2 * v - 1, 0.0}, {1.0, 2 * v - 1}, {1.0, 6.283185307179586 * v - 3.141592653589793}};
    return mode >= 0 && mode < 4 ? pairs[mode] : std::pair<double, double>(v, 0.0);
}

/// A pair in the form of the mode brought to the form of the field, as a cartesian number for comparison.
inline std::complex<double> AsCartesian(std::pair<double, double> pair, bool polar)
{
    return polar ? std::polar(pair.first, 0.0) * std::polar(1.0, pair.second)
                 : std::complex<double>(pair.first, pair.second);
}
/// A BMP made by hand.
struct Picture
{
    std::int64_t width = 3;
    std::int64_t height = 2;
    int bits = 8;
    std::uint64_t compression = 0;
    std::uint64_t colours = 0;
    std::int64_t offset = -1; // -1: behind the palette
    std::string palette;      // empty: grey
    std::string pixels;       // rows as they stand in the file
    std::string Bytes() const
    {
        std::string pal = palette;
        if (pal.empty())
            for (int i = 0; i < (1 << bits); ++i)
            {
                const char v = static_cast<char>(i * 255 / ((1 << bits) - 1));
                pal += {v, v, v, '\x7f'};
            }
        const auto at = static_cast<std::uint64_t>(offset < 0 ? 54 + static_cast<std::int64_t>(pal.size()) : offset);
        return "BM" + Le(0, 8) + Le(at, 4) + Le(40, 4) + Le(static_cast<std::uint64_t>(width), 4) +
               Le(static_cast<std::uint64_t>(height), 4) + Le(1, 2) + Le(static_cast<std::uint64_t>(bits), 2) +
               Le(compression, 4) + Le(0, 12) + Le(colours, 4) + Le(0, 4) + pal + pixels;
    }
};

} // namespace lmltest

#endif
