// Centred transforms of samples, and what a field must be to be transformed.
#include "transform/CentredFft.h"
#include "base/IntMath.h"
#include "base/Progress.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

namespace LumoraLib::detail
{
void RequireLength(const Lumora& field, std::int64_t factor, const char* function)
{
    const std::int64_t times = std::min(factor, std::int64_t{2} * kLongestTransform); // no product overflows
    if (std::max(field.GetNx(), field.GetNy()) * times > kLongestTransform)
        Error(ERR_SOMETHING, function, kTextTooLong);
}

void RequireTransformable(const Lumora& field, const char* function, std::int64_t factor)
{
    FieldAccess::RequireSamples(field, function);
    if (field.N() == 0)
        return;
    if (!(IsPowerOfTwo(field.GetNx()) && IsPowerOfTwo(field.GetNy())))
        Error(ERR_SOMETHING, function, "the grid has no samples yet: Init must come first");
    RequireLength(field, factor, function);
}

void SwapHalves(Complex* samples, std::int32_t n)
{
    Complex* const middle = samples + n / 2;
    std::swap_ranges(samples, middle, middle);
}

namespace
{
std::unique_ptr<unsigned char[], FreeMemory> HalfRow(std::int32_t nx)
{
    return MallocArray<unsigned char>(static_cast<std::size_t>(nx) * sizeof(Complex) / 2, nullptr);
}

void SwapQuadrants(Complex* samples, std::int32_t nx, std::int32_t ny, unsigned char* temporary)
{
    const std::size_t row = static_cast<std::size_t>(nx) * sizeof(Complex);
    const std::size_t half = row / 2;
    unsigned char* const bytes = reinterpret_cast<unsigned char*>(samples);
    const auto exchange = [&](unsigned char* a, unsigned char* b)
    {
        std::memcpy(temporary, a, half);
        std::memcpy(a, b, half);
        std::memcpy(b, temporary, half);
    };
    for (std::int32_t j = 0; j < ny / 2; ++j)
    {
        unsigned char* const lower = bytes + row * static_cast<std::size_t>(j);
        unsigned char* const upper = bytes + row * static_cast<std::size_t>(ny / 2 + j);
        exchange(lower, upper + half);
        exchange(lower + half, upper);
    }
}
} // namespace

void SwapQuadrants(Complex* samples, std::int32_t nx, std::int32_t ny)
{
    if (nx > 0)
        SwapQuadrants(samples, nx, ny, HalfRow(nx).get());
}

ReadyTransform::ReadyTransform(Complex* samples, std::int32_t nx, std::int32_t ny, int sign)
    : samples_(samples), nx_(nx), ny_(ny), sign_(sign)
{
    if (nx <= 0 || ny <= 0)
        return;
    if (WideEngineBound()) // the wide engine folds the exchanges into its loads and stores
    {
        wide_.emplace(samples, static_cast<std::size_t>(nx), static_cast<std::size_t>(ny), sign, true, 1.0f,
                      GetNumThreads());
        return;
    }
    if (ny != 1)
        halfRow_ = HalfRow(nx);
    if (SplitRadixBound())
        areas_ = ny == 1 ? FftsgAreas(nx) : FftsgAreas(nx, ny);
}

void ReadyTransform::Run() const
{
    if (nx_ <= 0 || ny_ <= 0)
        return;
    if (wide_)
        return wide_->Run();
    Exchange();
    Transform(nullptr);
    Exchange();
}

void ReadyTransform::RunWatched() const
{
    if (nx_ <= 0 || ny_ <= 0)
        return;
    if (wide_)
        return wide_->RunWatched();
    Progress progress("LumoraLib", 4, 2);
    Exchange();
    progress.Step(1);
    {
        Progress rows("LumoraLib", std::int64_t{2} * ny_);
        Transform(&rows);
    }
    progress.Step(3);
    Exchange();
}

void ReadyTransform::Exchange() const
{
    ny_ == 1 ? SwapHalves(samples_, nx_) : SwapQuadrants(samples_, nx_, ny_, halfRow_.get());
}

void ReadyTransform::Transform(Progress* rows) const
{
    if (SplitRadixBound())
        areas_.Run(samples_, sign_, rows);
    else if (ny_ == 1)
        fftBinding.transform1d(samples_, nx_, sign_);
    else
        fftBinding.transform2d(samples_, nx_, ny_, sign_);
}

bool TransformCartesian(Lumora& field, int sign)
{
    const ReadyTransform ready(field.GetDataPointer(), field.GetNx(), field.GetNy(), sign);
    const bool wasPolar = MakeCartesian(field);
    ready.RunWatched();
    return wasPolar;
}
} // namespace LumoraLib::detail
