// The one-dimensional chirp convolutions that a scaled transform consists of: tables of each axis.
#ifndef LML_CHIRPAXIS_H
#define LML_CHIRPAXIS_H

#include "base/Memory.h"
#include "transform/Engine.h"

#include <cstdint>
#include <memory>

namespace LumoraLib::detail
{
/// Factors before and after the convolution of one axis, and the transform of its chirp kernel.
struct AxisTables
{
    std::unique_ptr<Complex[], FreeMemory> pre;
    std::unique_ptr<Complex[], FreeMemory> spectrum;
    std::unique_ptr<Complex[], FreeMemory> post;
};

/// The transform of the chirp kernel of an axis, 2 n values.
std::unique_ptr<Complex[], FreeMemory> AxisKernel(std::int32_t n, double a);

/// The tables of both axes of a pass over nx by ny samples; its constant stands in those of y.
struct ChirpAxes
{
    ChirpAxes(const ChirpPass& pass, std::int32_t nx, std::int32_t ny);
    AxisTables x;
    AxisTables y;
};
} // namespace LumoraLib::detail

#endif
