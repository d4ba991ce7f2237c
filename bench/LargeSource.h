// What the benchmarks of large fields share: their options and their source.
#ifndef LML_LARGESOURCE_H
#define LML_LARGESOURCE_H

#include "LmlLarge.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace bench
{
using namespace LumoraLib;

/// Options of the form --name value: --size in samples, --memory in MiB, --distance in metres, and what a program adds.
struct LargeArguments
{
    int size = 4096, memory, threads = 1, repeats, keep = 0;
    std::string folder = ".";
    double distance = 0.01;

    LargeArguments(int memoryMiB, int rounds) : memory(memoryMiB), repeats(rounds) {}
    void Read(int argc, char** argv, std::vector<std::pair<const char*, int*>> numbers)
    {
        numbers.insert(numbers.end(), {{"--size", &size},
                                       {"--memory", &memory},
                                       {"--threads", &threads},
                                       {"--repeats", &repeats},
                                       {"--keep", &keep}});
        for (int n = 1; n + 1 < argc; n += 2)
        {
            const std::string name = argv[n];
            const char* const value = argv[n + 1];
            if (name == "--folder")
                folder = value;
            else if (name == "--distance")
                distance = std::atof(value);
            for (const auto& [option, target] : numbers)
                if (name == option)
                    *target = std::atoi(value);
        }
    }
};

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
