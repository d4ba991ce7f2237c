// What several units do to a field: changes of size, and loops over samples: copies, fills, form conversions, scaling.
// Each is one small kernel over a block of consecutive samples, run on one contiguous block per thread.
#include "field/FieldTools.h"

#include "base/IntMath.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "field/WideField.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

namespace LumoraLib::detail
{
namespace
{
// Below this many samples a copy is over before a team has started.
constexpr std::size_t kParallelCopyFrom = std::size_t{1} << 17;

// The wide forms of these blocks give the same bits.

void ToPolarBlock(Complex* samples, std::size_t count)
{
    if (!StepByStep())
    {
        WideField().toPolar(reinterpret_cast<float*>(samples), count);
        return;
    }
    for (std::size_t n = 0; n < count; ++n)
    {
        const double x = samples[n].GetReal();
        const double y = samples[n].GetImag();
        samples[n].real() = static_cast<float>(std::sqrt(x * x + y * y));
        samples[n].imag() = static_cast<float>(std::atan2(y, x));
    }
}

void ToCartesianBlock(Complex* samples, std::size_t count)
{
    if (!StepByStep())
    {
        Phases().polarToComplex(reinterpret_cast<float*>(samples), count);
        return;
    }
    for (std::size_t n = 0; n < count; ++n)
    {
        const double amplitude = samples[n].GetReal();
        double s = 0.0;
        double c = 0.0;
        SinCos1(samples[n].GetImag(), s, c);
        samples[n].real() = static_cast<float>(amplitude * c);
        samples[n].imag() = static_cast<float>(amplitude * s);
    }
}

void ScaleBlock(Complex* samples, std::size_t count, float factor)
{
    if (!StepByStep())
    {
        WideField().scale(reinterpret_cast<float*>(samples), count, factor);
        return;
    }
    for (std::size_t n = 0; n < count; ++n)
    {
        samples[n].real() *= factor;
        samples[n].imag() *= factor;
    }
}
} // namespace

void NoSamples(std::uint64_t bytes)
{
    static char message[128];
    constexpr std::uint64_t most = static_cast<std::uint64_t>(std::numeric_limits<long>::max());
    std::snprintf(message, sizeof message, "Memory allocation failed : Demanded bytes = %ld",
                  static_cast<long>(bytes < most ? bytes : most));
    Error(ERR_MEMORY, kFnInit, message);
}

void Resize(Lumora& field, std::int64_t nx, std::int64_t ny)
{
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    const std::int32_t oldNx = field.GetNx();
    const std::int32_t oldNy = field.GetNy();
    field.SetNx(static_cast<std::int32_t>(std::min(nx, kLargest)));
    field.SetNy(static_cast<std::int32_t>(std::min(ny, kLargest)));
    try
    {
        field.Init(nullptr);
    }
    catch (...)
    {
        field.SetNx(oldNx).SetNy(oldNy);
        throw;
    }
}

void RequireRoom(const Lumora& field, std::int32_t nx, std::int32_t ny)
{
    if (!FieldAccess::OwnsSamples(field) &&
        static_cast<std::uint64_t>(RaisedToPowerOfTwo(nx)) * static_cast<std::uint64_t>(RaisedToPowerOfTwo(ny)) >
            FieldAccess::Capacity(field))
        Error(ERR_MEMORY, kFnInit, kTextBufferTooSmall);
}

void CopySamples(Complex* target, std::size_t count, const Complex* source, std::size_t available)
{
    const std::size_t copied = source == nullptr ? 0 : std::min(count, available);
    const std::uintptr_t to = reinterpret_cast<std::uintptr_t>(target);
    const std::uintptr_t from = reinterpret_cast<std::uintptr_t>(source);
    const std::uintptr_t bytes = copied * sizeof(Complex);
    if (copied < kParallelCopyFrom || (to < from + bytes && from < to + bytes))
    {
        if (copied != 0 && to != from)
            std::memmove(target, source, copied * sizeof(Complex));
    }
    else
    {
        ParallelBlocks(copied, [=](std::size_t begin, std::size_t end, int)
                       { std::memcpy(target + begin, source + begin, (end - begin) * sizeof(Complex)); });
    }
    if (copied < count)
        FillSamples(target + copied, count - copied, Complex());
}

void SamplesToPolar(Complex* samples, std::size_t count)
{
    ParallelBlocks(count, [=](std::size_t begin, std::size_t end, int) { ToPolarBlock(samples + begin, end - begin); });
}

void SamplesToCartesian(Complex* samples, std::size_t count)
{
    ParallelBlocks(count,
                   [=](std::size_t begin, std::size_t end, int) { ToCartesianBlock(samples + begin, end - begin); });
}

void ScaleSamples(Complex* samples, std::size_t count, float factor)
{
    ParallelBlocks(
        count, [=](std::size_t begin, std::size_t end, int) { ScaleBlock(samples + begin, end - begin, factor); },
        kTeamSamples);
}

void MultiplySamples(Complex* a, const Complex* b, std::size_t count)
{
    if (!StepByStep())
        return WideField().multiply(reinterpret_cast<float*>(a), reinterpret_cast<const float*>(b), count);
    for (std::size_t n = 0; n < count; ++n)
    {
        const float re = a[n].Real() * b[n].Real() - a[n].Imag() * b[n].Imag();
        const float im = a[n].Real() * b[n].Imag() + a[n].Imag() * b[n].Real();
        a[n].real() = re;
        a[n].imag() = im;
    }
}

void FillSamples(Complex* samples, std::size_t count, Complex value)
{
    ParallelBlocks(
        count, [=](std::size_t begin, std::size_t end, int) { std::fill(samples + begin, samples + end, value); },
        kTeamSamples);
}

void ShiftWindow(LML_RECT& window, std::int32_t dx, std::int32_t dy)
{
    window.left = WrapAdd(window.left, dx);
    window.right = WrapAdd(window.right, dx);
    window.top = WrapAdd(window.top, dy);
    window.bottom = WrapAdd(window.bottom, dy);
}

bool MakeCartesian(Lumora& field)
{
    if (!field.IsPolarForm())
        return false;
    FieldAccess::SetPolar(field, false);
    SamplesToCartesian(field.GetDataPointer(), field.N());
    return true;
}

void MakePolar(Lumora& field)
{
    if (field.IsPolarForm())
        return;
    FieldAccess::SetPolar(field, true);
    SamplesToPolar(field.GetDataPointer(), field.N());
}
} // namespace LumoraLib::detail
