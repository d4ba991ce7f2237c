// The choice of the FFT engine, and the transform of a field: quadrant exchange, pitches, form flag.
#include "transform/CentredFft.h"
#include "field/FieldTools.h"

#ifdef LML_WITH_MKL
#include "transform/VendorFft.h"
#endif

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

namespace LumoraLib
{
namespace detail
{
namespace
{
void NoThreads(int)
{
}

void NoDynamic(bool)
{
}

void PlainTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign)
{
    FftsgTransform2d(data, nx, ny, sign);
}

void PlainTransform1d(Complex* data, std::int32_t n, int sign)
{
    FftsgTransform1d(data, n, sign);
}

constexpr FftBinding kSplitRadix = {PlainTransform2d, PlainTransform1d, NoThreads, NoDynamic};

// What FftLib value 1 stands for in this build.
#ifdef LML_WITH_MKL
constexpr bool kVendorBuilt = true;
constexpr FftBinding kFast = kVendorBinding;
#else
void WideTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign)
{
    if (nx > 0 && ny > 0)
        WideFft2d(data, static_cast<std::size_t>(nx), static_cast<std::size_t>(ny), sign, false, 1.0f, GetNumThreads());
}

void WideTransform1d(Complex* data, std::int32_t n, int sign)
{
    if (n > 0)
        WideFft1d(data, static_cast<std::size_t>(n), sign, false, 1.0f, GetNumThreads());
}

constexpr bool kVendorBuilt = false;
constexpr FftBinding kFast = {WideTransform2d, WideTransform1d, NoThreads, NoDynamic};
#endif

FftLib fftLib = FFT_LIB_VENDOR;

bool IsPowerOfTwo(std::int32_t n)
{
    return n > 0 && (n & (n - 1)) == 0;
}
} // namespace

FftBinding fftBinding = kFast;

bool VendorBound()
{
    return kVendorBuilt && fftLib != FFT_LIB_SPLIT_RADIX;
}

bool WideBound()
{
    return fftLib != FFT_LIB_SPLIT_RADIX;
}

bool FusedBound()
{
    return !kVendorBuilt && fftLib != FFT_LIB_SPLIT_RADIX;
}

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

namespace
{
/// True when the split-radix engine is bound, whose areas can be taken before the samples are touched.
bool SplitRadixBound()
{
    return fftBinding.transform2d == kSplitRadix.transform2d;
}
} // namespace

ReadyTransform::ReadyTransform(Complex* samples, std::int32_t nx, std::int32_t ny, int sign)
    : samples_(samples), nx_(nx), ny_(ny), sign_(sign)
{
    if (nx <= 0 || ny <= 0)
        return;
    if (FusedBound()) // the wide engine folds the exchanges into its loads and stores
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
    const auto exchange = [this]
    {
        ny_ == 1 ? SwapHalves(samples_, nx_) : SwapQuadrants(samples_, nx_, ny_, halfRow_.get());
    };
    exchange();
    if (SplitRadixBound())
        areas_.Run(samples_, sign_);
    else if (ny_ == 1)
        fftBinding.transform1d(samples_, nx_, sign_);
    else
        fftBinding.transform2d(samples_, nx_, ny_, sign_);
    exchange();
}

void CentredTransform1d(Complex* samples, std::int32_t n, int sign)
{
    CentredTransform(samples, n, 1, sign);
}

void CentredTransform(Complex* samples, std::int32_t nx, std::int32_t ny, int sign)
{
    if (nx <= 0 || ny <= 0)
        return;
    if (!FusedBound())
        return ReadyTransform(samples, nx, ny, sign).Run();
    WideFft2d(samples, static_cast<std::size_t>(nx), static_cast<std::size_t>(ny), sign, true, 1.0f, GetNumThreads());
}

bool TransformCartesian(Lumora& field, int sign)
{
    if (!field.IsPolarForm())
    {
        CentredTransform(field.GetDataPointer(), field.GetNx(), field.GetNy(), sign);
        return false;
    }
    const ReadyTransform ready(field.GetDataPointer(), field.GetNx(), field.GetNy(), sign);
    MakeCartesian(field);
    ready.Run();
    return true;
}
} // namespace detail

void SetFftLib(FftLib lib)
{
    // Kept: a vendor library is not told the thread count here; the next SetNumThreads does that.
    detail::fftLib = lib;
    detail::fftBinding = lib == FFT_LIB_SPLIT_RADIX ? detail::kSplitRadix : detail::kFast;
}

FftLib GetFftLib()
{
    return detail::fftLib;
}

Lumora& Lumora::Fft(int sign)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Fft";
    detail::RequireTransformable(*this, fn);
    const bool known = sign == 1 || sign == -1;
    const bool wasPolar = known ? detail::TransformCartesian(*this, sign) : detail::MakeCartesian(*this);
    form_ = static_cast<ComplexForm>(form_ ^ 1);
    // Kept: the form is already converted and the domain flipped when the sign is refused.
    if (!known)
        Error(ERR_PARAMETER, fn, "FFT mode");
    px_ = 1.0 / (nx_ * px_);
    if (ny_ != 1)
        py_ = 1.0 / (ny_ * py_);
    detail::RestorePolar(*this, wasPolar);
    return *this;
}

Lumora& Lumora::FFT(int sign)
{
    return Fft(sign);
}

Lumora& Lumora::FakeFft()
{
    // Kept: Py changes also for a field of one row, where Fft leaves it.
    px_ = 1.0 / (nx_ * px_);
    py_ = 1.0 / (ny_ * py_);
    form_ = static_cast<ComplexForm>(form_ ^ 1);
    return *this;
}

Lumora& Lumora::FakeFFT()
{
    return FakeFft();
}

Lumora& Lumora::SwitchQuadrant()
{
    static constexpr char fn[] = "LumoraLib::Lumora::SwitchQuadrant";
    RequireSamples(fn);
    if (N() == 0)
        return *this;
    if (ny_ == 1)
        detail::SwapHalves(dataPointer_, nx_);
    else
        detail::SwapQuadrants(dataPointer_, nx_, ny_);
    return *this;
}
} // namespace LumoraLib
