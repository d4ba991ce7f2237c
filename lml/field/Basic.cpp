// The life of a field: construction, samples, copies, defaults, coordinates, window and the form stack.
#include "base/Constants.h"
#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Memory.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace LumoraLib
{
namespace
{
constexpr std::int32_t kLargestSize = std::int32_t{1} << 30;  // the largest power of two in 32 bits
constexpr std::int32_t kLongestEmpty = std::int32_t{1} << 20; // of a grid with a size 0, the other one

struct Defaults
{
    std::int32_t nx = 256;
    std::int32_t ny = 256;
    double px = 1e-6;
    double py = 1e-6;
    double wavelength = 632.8e-9;
};
Defaults defaults;

constexpr int kFormStackSize = 20;
ComplexForm formStack[kFormStackSize];
int formStackTop = -1;

#ifndef NDEBUG
constexpr std::uint32_t kSignallingFloat = 0x7fa00000; // the bits of a signalling not-a-number in single precision
#endif

/// Room for `count` samples, or null. Their values are undefined; debug builds give them signalling ones. The block
/// goes back through std::free, as every block of Malloc does.
Complex* NewSamples(std::uint64_t count)
{
    constexpr std::size_t hugeFrom = std::size_t{4} << 20;
    if (count > SIZE_MAX / sizeof(Complex))
        return nullptr;
    void* const block = detail::AlignedBlock(static_cast<std::size_t>(count) * sizeof(Complex), hugeFrom);
#ifndef NDEBUG
    // A forgotten Clear shows: whatever is computed from a sample that nobody wrote is not a number, and a program that
    // has floating-point exceptions switched on stops there.
    if (block != nullptr)
        std::fill_n(static_cast<std::uint32_t*>(block), static_cast<std::size_t>(count) * 2, kSignallingFloat);
#endif
    return static_cast<Complex*>(block);
}
} // namespace

// -------------------------------------------------------------------------------------------------- life cycle

Lumora::Lumora() : Lumora(defaults.nx, defaults.ny) {}

Lumora::Lumora(int N) : Lumora(N, N) {}

Lumora::Lumora(int Nx, int Ny) : Lumora(Nx, Ny, defaults.px, defaults.py) {}

Lumora::Lumora(int Nx, int Ny, double p) : Lumora(Nx, Ny, p, p) {}

Lumora::Lumora(int Nx, int Ny, double Px, double Py) : Lumora(Nx, Ny, Px, Py, defaults.wavelength) {}

Lumora::Lumora(int Nx, int Ny, double Px, double Py, double wavelength)
    : dataPointer_(nullptr), userBufferLength_(0), normalVector_(0.0, 0.0, 1.0), origin_(0.0, 0.0, 0.0), capacity_(0)
{
    __Ctr(Nx, Ny, Px, Py, wavelength);
}

Lumora::Lumora(const Lumora& other)
    : k_(other.k_), px_(other.px_), py_(other.py_), form_(other.form_), nx_(other.nx_), ny_(other.ny_),
      window_(other.window_), dataPointer_(nullptr), userBufferLength_(0), normalVector_(other.normalVector_),
      origin_(other.origin_), capacity_(0)
{
    if (N() == 0)
        return;
    Init(nullptr);
    detail::CopySamples(dataPointer_, N(), other.dataPointer_, other.capacity_);
}

Lumora::Lumora(Lumora&& other) noexcept
    : k_(other.k_), px_(other.px_), py_(other.py_), form_(other.form_), nx_(other.nx_), ny_(other.ny_),
      window_(other.window_), dataPointer_(other.dataPointer_), userBufferLength_(other.userBufferLength_),
      normalVector_(other.normalVector_), origin_(other.origin_), capacity_(other.capacity_)
{
    other.nx_ = 0;
    other.ny_ = 0;
    other.window_ = LML_RECT();
    other.dataPointer_ = nullptr;
    other.userBufferLength_ = 0;
    other.capacity_ = 0;
}

Lumora::~Lumora()
{
    Dispose();
}

Lumora& Lumora::operator=(const Lumora& other)
{
    if (this == &other)
        return *this;
    // A buffer smaller than equal sizes announce (sizes set without Init) is brought up to them first.
    if (nx_ != other.nx_ || ny_ != other.ny_ || (N() != 0 && N() > capacity_))
        detail::Resize(*this, other.nx_, other.ny_);
    k_ = other.k_;
    form_ = other.form_;
    px_ = other.px_;
    py_ = other.py_;
    window_ = other.window_;
    normalVector_ = other.normalVector_;
    origin_ = other.origin_;
    if (N() != 0)
        detail::CopySamples(dataPointer_, N(), other.dataPointer_, other.capacity_);
    return *this;
}

Lumora& Lumora::operator=(Lumora&& other)
{
    if (this == &other)
        return *this;
    if (userBufferLength_ != 0 || other.userBufferLength_ != 0)
        return *this = static_cast<const Lumora&>(other);
    Dispose();
    k_ = other.k_;
    px_ = other.px_;
    py_ = other.py_;
    form_ = other.form_;
    nx_ = other.nx_;
    ny_ = other.ny_;
    window_ = other.window_;
    dataPointer_ = other.dataPointer_;
    normalVector_ = other.normalVector_;
    origin_ = other.origin_;
    capacity_ = other.capacity_;
    other.nx_ = 0;
    other.ny_ = 0;
    other.window_ = LML_RECT();
    other.dataPointer_ = nullptr;
    other.capacity_ = 0;
    return *this;
}

void Lumora::__Ctr(int Nx, int Ny, double Px, double Py, double wavelength)
{
    k_ = detail::kTwoPi / wavelength;
    px_ = Px;
    py_ = Py;
    nx_ = Nx;
    ny_ = Ny;
    if (userBufferLength_ != 0)
    {
        // A caller's buffer is let go here; it must not be taken for an owned one by the next Init.
        dataPointer_ = nullptr;
        capacity_ = 0;
        userBufferLength_ = 0;
    }
    form_ = COMPLEX_AMPLITUDE;
    Init(nullptr);
    SetWindowMax();
}

void Lumora::Init(Complex* buffer)
{
    if (std::int64_t{nx_} * ny_ == 0)
    {
        // Kept: a zero size gives a caller's buffer back through Free and keeps an owned one, so a caller that sets
        // sizes to zero must have taken its buffer from Malloc.
        if (dataPointer_ != nullptr && userBufferLength_ != 0)
        {
            Free(dataPointer_);
            dataPointer_ = nullptr;
            capacity_ = 0;
        }
        return;
    }
    const std::int64_t nx = detail::RaisedToPowerOfTwo(nx_);
    const std::int64_t ny = detail::RaisedToPowerOfTwo(ny_);
    const bool sizesFit = nx <= kLargestSize && ny <= kLargestSize;
    if (sizesFit)
    {
        nx_ = static_cast<std::int32_t>(nx);
        ny_ = static_cast<std::int32_t>(ny);
    }
    const std::uint64_t count = static_cast<std::uint64_t>(nx) * static_cast<std::uint64_t>(ny); // at most 2^62
    if (buffer != nullptr && sizesFit)
    {
        // Kept: an owned buffer held before is not released: who attaches a buffer calls Dispose first, or keeps the
        // old pointer and gives it to Free.
        dataPointer_ = buffer;
        userBufferLength_ = static_cast<std::size_t>(count);
        capacity_ = userBufferLength_;
        return;
    }
    if (dataPointer_ == nullptr)
        userBufferLength_ = 0; // the caller's buffer is gone (zero sizes): the field owns its samples from now on
    if (buffer == nullptr && userBufferLength_ != 0)
    {
        if (!sizesFit || count > userBufferLength_)
            Error(ERR_MEMORY, detail::kFnInit, detail::kTextBufferTooSmall);
        return;
    }
    if (sizesFit && dataPointer_ != nullptr && count == capacity_)
        return;
    Complex* const block = sizesFit ? NewSamples(count) : nullptr;
    if (block == nullptr)
    {
        std::uint64_t bytes = 0;
        detail::NoSamples(detail::CheckedMul(count, sizeof(Complex), bytes) ? bytes : UINT64_MAX);
    }
    // The leading samples survive a change of size; a fresh block stays undefined.
    if (dataPointer_ != nullptr)
        detail::CopySamples(block, std::min(static_cast<std::size_t>(count), capacity_), dataPointer_, capacity_);
    std::free(dataPointer_);
    dataPointer_ = block;
    capacity_ = static_cast<std::size_t>(count);
}

void Lumora::Dispose()
{
    if (dataPointer_ == nullptr || userBufferLength_ != 0)
        return;
    std::free(dataPointer_);
    dataPointer_ = nullptr;
    capacity_ = 0;
}

void Lumora::RequireSamples(const char* function) const
{
    if (nx_ < 0 || ny_ < 0 || N() > capacity_)
        Error(ERR_SOMETHING, function,
              detail::Explained("the grid has no samples yet: Init must come first",
                                "The field is %d by %d, with room for %llu samples.", nx_, ny_,
                                static_cast<unsigned long long>(capacity_)));
    // Loops over the rows or columns of an empty grid find nothing to do, for as long as its other size says.
    if (N() == 0 && std::max(nx_, ny_) > kLongestEmpty)
        Error(ERR_SOMETHING, function, "the grid is empty: give both Nx and Ny a size");
}

// ---------------------------------------------------------------------------------------------------- defaults

void Lumora::SetDefault(std::int32_t n)
{
    SetDefault(n, n);
}

void Lumora::SetDefault(std::int32_t nx, std::int32_t ny)
{
    defaults.nx = nx;
    defaults.ny = ny;
}

void Lumora::SetDefault(std::int32_t nx, std::int32_t ny, double p)
{
    SetDefault(nx, ny, p, p);
}

void Lumora::SetDefault(std::int32_t nx, std::int32_t ny, double px, double py)
{
    SetDefault(nx, ny);
    defaults.px = px;
    defaults.py = py;
}

void Lumora::SetDefault(std::int32_t nx, std::int32_t ny, double px, double py, double wavelength)
{
    defaults = {nx, ny, px, py, wavelength};
}

void Lumora::SetDefaultNx(std::int32_t nx)
{
    defaults.nx = nx;
}

void Lumora::SetDefaultNy(std::int32_t ny)
{
    defaults.ny = ny;
}

void Lumora::SetDefaultPx(double px)
{
    defaults.px = px;
}

void Lumora::SetDefaultPy(double py)
{
    defaults.py = py;
}

void Lumora::SetDefaultWavelength(double wavelength)
{
    defaults.wavelength = wavelength;
}

std::int32_t Lumora::GetDefaultNx()
{
    return defaults.nx;
}

std::int32_t Lumora::GetDefaultNy()
{
    return defaults.ny;
}

double Lumora::GetDefaultPx()
{
    return defaults.px;
}

double Lumora::GetDefaultPy()
{
    return defaults.py;
}

double Lumora::GetDefaultWavelength()
{
    return defaults.wavelength;
}

// ------------------------------------------------------------------------------------------------- coordinates

int Lumora::I(double x) const
{
    return detail::NearestIndex(x, px_, nx_ / 2);
}

int Lumora::J(double y) const
{
    return detail::NearestIndex(y, py_, ny_ / 2);
}

int Lumora::_xtoi(double x) const
{
    return detail::ClampedIndex(x, px_, nx_);
}

int Lumora::_ytoj(double y) const
{
    return detail::ClampedIndex(y, py_, ny_);
}

// ------------------------------------------------------------------------------------------------------ window

Lumora& Lumora::SetWindowMax()
{
    window_ = LML_RECT(0, ny_, nx_, 0);
    return *this;
}

namespace
{
constexpr char kFnSetWindow[] = "LumoraLib::Lumora::SetWindow";

/// Bounds in 64 bits, so that a widened upper end cannot wrap into the grid.
void CheckWindow(std::int64_t left, std::int64_t right, std::int64_t bottom, std::int64_t top, std::int32_t nx,
                 std::int32_t ny)
{
    if (left < 0 || right > nx || top > ny || bottom < 0)
        Error(ERR_PARAMETER, kFnSetWindow,
              detail::Explained("", "The window is left %lld, right %lld, bottom %lld, top %lld, the field %d by %d.",
                                static_cast<long long>(left), static_cast<long long>(right),
                                static_cast<long long>(bottom), static_cast<long long>(top), nx, ny));
}

/// The index of a window's bound given as a coordinate; one that no 32-bit index holds is refused.
std::int32_t WindowIndex(double v, double p, std::int32_t size)
{
    const double index = std::floor(v / p + 0.5) + size / 2;
    if (!(index >= static_cast<double>(std::numeric_limits<std::int32_t>::min()) &&
          index <= static_cast<double>(std::numeric_limits<std::int32_t>::max())))
        Error(ERR_PARAMETER, kFnSetWindow, detail::Explained("", "The bound %g m has no index.", v));
    return static_cast<std::int32_t>(index);
}
} // namespace

Lumora& Lumora::SetWindow(int i1, int i2, int j1, int j2)
{
    const std::int64_t right = std::int64_t{i2} + (i1 == i2 ? 1 : 0);
    const std::int64_t top = std::int64_t{j2} + (j1 == j2 ? 1 : 0);
    // Kept: only equal bounds are widened; a reversed window passes and window operations then find nothing in it.
    CheckWindow(i1, right, j1, top, nx_, ny_);
    window_ = LML_RECT(i1, static_cast<std::int32_t>(top), static_cast<std::int32_t>(right), j1);
    return *this;
}

Lumora& Lumora::SetWindow(double x1, double x2, double y1, double y2)
{
    return SetWindow(WindowIndex(x1, px_, nx_), WindowIndex(x2, px_, nx_), WindowIndex(y1, py_, ny_),
                     WindowIndex(y2, py_, ny_));
}

Lumora& Lumora::SetWindow(const LML_RECT& r)
{
    CheckWindow(r.left, r.right, r.bottom, r.top, nx_, ny_);
    window_ = r;
    return *this;
}

Lumora& Lumora::TransferWindow(Lumora& other)
{
    window_ = other.window_;
    return *this;
}

Lumora& Lumora::SetWindowCommon(Lumora& other)
{
    using detail::WrapAdd;
    using detail::WrapSub;
    LML_RECT& a = window_;
    LML_RECT& b = other.window_;
    const std::int32_t width = WrapSub(a.right, a.left);
    const std::int32_t otherWidth = WrapSub(b.right, b.left);
    const std::int32_t height = WrapSub(a.top, a.bottom);
    const std::int32_t otherHeight = WrapSub(b.top, b.bottom);
    if (width >= otherWidth)
        a.right = WrapAdd(a.left, otherWidth);
    else
        b.right = WrapAdd(b.left, width);
    if (height >= otherHeight)
        a.top = WrapAdd(a.bottom, otherHeight);
    else
        b.top = WrapAdd(b.bottom, height);
    return *this;
}

LML_RECT Lumora::GridWindow() const
{
    const std::int32_t nx = std::max(nx_, 0);
    const std::int32_t ny = std::max(ny_, 0);
    return LML_RECT(std::clamp(window_.left, 0, nx), std::clamp(window_.top, 0, ny), std::clamp(window_.right, 0, nx),
                    std::clamp(window_.bottom, 0, ny));
}

// -------------------------------------------------------------------------------------------- clear, form stack

Lumora& Lumora::Clear()
{
    static constexpr char fn[] = "LumoraLib::Lumora::Clear";
    if (dataPointer_ == nullptr || N() == 0)
        return *this;
    RequireSamples(fn);
    detail::FillSamples(dataPointer_, N(), Complex());
    return *this;
}

void Lumora::PushForm()
{
    if (formStackTop >= kFormStackSize - 1)
        Error(ERR_SOMETHING, "LumoraLib::Lumora::PushForm", "Stack size over");
    formStack[++formStackTop] = form_;
}

ComplexForm Lumora::PullForm()
{
    if (formStackTop < 0)
        Error(ERR_SOMETHING, "LumoraLib::Lumora::PullForm", "Stack size under");
    return formStack[formStackTop--];
}
} // namespace LumoraLib
