// Transforms in double precision that the engines are measured by.
#ifndef LML_ORACLE_H
#define LML_ORACLE_H

#include "TestTools.h"

#include <cstddef>
#include <utility>

namespace lmltest
{
/// sum over n of x(n) exp(sign 2 pi i n m / N) in place: radix 2, roots from long double.
inline void Dft(std::vector<Value>& x, int sign)
{
    const std::size_t n = x.size();
    for (std::size_t i = 1, j = 0; i < n; ++i)
    {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (std::size_t len = 2; len <= n; len *= 2)
    {
        std::vector<Value> root;
        for (std::size_t k = 0; k < len / 2; ++k)
        {
            const long double a = 6.283185307179586476925286766559L * (long double)(k) / (long double)(len);
            root.emplace_back(double(std::cos(a)), double(sign < 0 ? -std::sin(a) : std::sin(a)));
        }
        for (std::size_t i = 0; i < n; i += len)
            for (std::size_t k = 0; k < len / 2; ++k)
            {
                const Value u = x[i + k], v = x[i + k + len / 2] * root[k];
                x[i + k] = u + v;
                x[i + k + len / 2] = u - v;
            }
    }
}

/// Rows, then columns.
inline void Dft2d(std::vector<Value>& x, std::size_t nx, std::size_t ny, int sign)
{
    const auto lines = [&](std::size_t count, std::size_t length, std::size_t next, std::size_t step)
    {
        std::vector<Value> line(length);
        for (std::size_t l = 0; l < count; ++l)
        {
            for (std::size_t n = 0; n < length; ++n)
                line[n] = x[l * next + n * step];
            Dft(line, sign);
            for (std::size_t n = 0; n < length; ++n)
                x[l * next + n * step] = line[n];
        }
    };
    lines(ny, nx, nx, 1);
    lines(nx, ny, 1, nx);
}

inline std::vector<Value> ToDouble(const Complex* x, std::size_t n)
{
    std::vector<Value> d;
    for (std::size_t i = 0; i < n; ++i)
        d.emplace_back(x[i].GetReal(), x[i].GetImag());
    return d;
}

/// Relative l2 error in units of 2^-24 sqrt(log2 N): at most 1 for every length.
inline double ErrorConstant(const Complex* x, const std::vector<Value>& want)
{
    double error = 0.0, norm = 0.0;
    for (std::size_t n = 0; n < want.size(); ++n)
    {
        error += std::norm(Value(x[n].GetReal(), x[n].GetImag()) - want[n]);
        norm += std::norm(want[n]);
    }
    return std::ldexp(std::sqrt(error / norm / std::max(1.0, std::log2(double(want.size())))), 24);
}
} // namespace lmltest

#endif
