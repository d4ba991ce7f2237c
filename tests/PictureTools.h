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
    long double s = u.Real();
    long double low = 0.0L;
    long double span = std::numeric_limits<long double>::infinity(); // a mode outside the list: 0 in its own range
    switch (mode)
    {
    case 0:
        s = amplitude * amplitude;
        span = 1;
        break;
    case 1:
        s = z.real();
        low = -1;
        span = 2;
        break;
    case 2:
        s = z.imag();
        low = -1;
        span = 2;
        break;
    case 3:
        s = phase;
        low = -pi;
        span = 2 * pi;
        break;
    case 4:
        s = amplitude;
        span = 1;
        break;
    case 5:
        if (f.logs)
        {
            s = polar ? (std::log10(amplitude * amplitude) + 1) / std::log10(2.0L)
                      : std::log2(1 + amplitude * amplitude);
            span = 1;
        }
        break;
    case 6:
        s = amplitude >= f.mask * largest ? phase : 0.0L;
        low = -pi;
        span = 2 * pi;
        break;
    default:
        break;
    }
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
    switch (mode)
    {
    case 0:
        return {std::sqrt(v), 0.0};
    case 1:
        return {2 * v - 1, 0.0};
    case 2:
        return {1.0, 2 * v - 1};
    case 3:
        return {1.0, 6.283185307179586 * v - 3.141592653589793};
    default:
        return {v, 0.0};
    }
}

/// A pair in the form of the mode brought to the form of the field, as a cartesian number for comparison.
inline std::complex<double> AsCartesian(std::pair<double, double> pair, bool polar)
{
    return polar ? std::polar(pair.first, 0.0) * std::polar(1.0, pair.second)
                 : std::complex<double>(pair.first, pair.second);
}
} // namespace lmltest

#endif
