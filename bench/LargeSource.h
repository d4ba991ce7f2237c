// The source of the benchmarks of large fields.
#ifndef LML_LARGESOURCE_H
#define LML_LARGESOURCE_H

#include "LmlLarge.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench
{
using namespace LumoraLib;

/// Reproducible samples, some rows of the file at a time.
inline void MakeSource(const std::string& path, int size)
{
    Lumora like(0, 0);
    like.SetPx(2e-6).SetPy(2e-6).SetWavelength(532e-9);
    const int segments = size >= 4096 ? 8 : 2;
    SegmentedField file =
        SegmentedField::Create(path.c_str(), like, static_cast<std::uint16_t>(segments),
                               static_cast<std::uint16_t>(segments), size / segments, size / segments);
    std::vector<Complex> rows(static_cast<std::size_t>(size) * 64);
    std::uint32_t state = 1;
    for (int y = 0; y < size; y += 64)
    {
        for (Complex& c : rows)
        {
            state = state * 1664525u + 1013904223u;
            c = Complex(static_cast<double>(state >> 8) / 16777216.0 - 0.5, static_cast<double>(state >> 20) / 4096.0);
        }
        file.Write(0, y, size, 64, rows.data(), static_cast<std::size_t>(size));
    }
}
} // namespace bench

#endif
