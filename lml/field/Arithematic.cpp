// Element-wise arithmetic of fields, constant fills, copies of data and parameters.
//
// Every operation is one small kernel over a block of consecutive samples, which each thread runs on its own block;
// where single and double precision meet, the mixture is part of the result. The wide form of a kernel gives the same
// bits.
#include "base/Describe.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "field/WideField.h"

#include <algorithm>
#include <cstddef>

namespace LumoraLib
{
namespace
{
float* Floats(Complex* samples)
{
    return reinterpret_cast<float*>(samples);
}
const float* Floats(const Complex* samples)
{
    return reinterpret_cast<const float*>(samples);
}

void NegateBlock(Complex* a, std::size_t count)
{
    if (!detail::StepByStep())
        return detail::WideField().negate(Floats(a), count);
    for (std::size_t n = 0; n < count; ++n)
        a[n] = -a[n]; // 0 - member: +0 stays +0
}

void AddBlock(Complex* a, const Complex* b, std::size_t count)
{
    if (!detail::StepByStep())
        return detail::WideField().add(Floats(a), Floats(b), count);
    for (std::size_t n = 0; n < count; ++n)
    {
        a[n].real() += b[n].Real();
        a[n].imag() += b[n].Imag();
    }
}

void SubtractBlock(Complex* a, const Complex* b, std::size_t count)
{
    if (!detail::StepByStep())
        return detail::WideField().subtract(Floats(a), Floats(b), count);
    for (std::size_t n = 0; n < count; ++n)
    {
        a[n].real() -= b[n].Real();
        a[n].imag() -= b[n].Imag();
    }
}

/// Complex quotient in double, rounded at the end; zeros in b give the floating-point results.
void DivideBlock(Complex* a, const Complex* b, std::size_t count)
{
    if (!detail::StepByStep())
        return detail::WideField().divide(Floats(a), Floats(b), count);
    for (std::size_t n = 0; n < count; ++n)
        a[n] /= b[n];
}

void AddConstBlock(Complex* a, std::size_t count, float re, float im)
{
    if (!detail::StepByStep())
        return detail::WideField().addConst(Floats(a), count, re, im);
    for (std::size_t n = 0; n < count; ++n)
    {
        a[n].real() += re;
        a[n].imag() += im;
    }
}

void SubtractConstBlock(Complex* a, std::size_t count, float re, float im)
{
    if (!detail::StepByStep())
        return detail::WideField().subtractConst(Floats(a), count, re, im);
    for (std::size_t n = 0; n < count; ++n)
    {
        a[n].real() -= re;
        a[n].imag() -= im;
    }
}

/// Mixed product with (p, q). Kept: the products with the sample's imaginary part are formed in single precision, the
/// others in double, so the two parts of a result are not equally exact.
void MixedMultiplyBlock(Complex* a, std::size_t count, float p, float q)
{
    if (!detail::StepByStep())
        return detail::WideField().mixedMultiply(Floats(a), count, p, q);
    const double pd = static_cast<double>(p);
    const double qd = static_cast<double>(q);
    for (std::size_t n = 0; n < count; ++n)
    {
        const double re = pd * a[n].GetReal() - static_cast<double>(a[n].Imag() * q);
        const double im = a[n].GetReal() * qd + static_cast<double>(a[n].Imag() * p);
        a[n] = Complex(re, im);
    }
}

void ScaleDoubleBlock(Complex* a, std::size_t count, double factor)
{
    if (!detail::StepByStep())
        return detail::WideField().scaleDouble(Floats(a), count, factor);
    for (std::size_t n = 0; n < count; ++n)
        a[n] = Complex(a[n].GetReal() * factor, a[n].GetImag() * factor);
}

/// Runs kernel(first sample, count) on each thread's block.
template <class Kernel>
void OverBlocks(Complex* a, std::size_t count, const Kernel& kernel)
{
    detail::ParallelBlocks(
        count, [&](std::size_t begin, std::size_t end, int) { kernel(a + begin, end - begin); }, detail::kTeamSamples);
}

/// The same with the samples of a second field of the same size.
template <class Kernel>
void OverBlocks(Complex* a, const Complex* b, std::size_t count, const Kernel& kernel)
{
    detail::ParallelBlocks(
        count, [&](std::size_t begin, std::size_t end, int) { kernel(a + begin, b + begin, end - begin); },
        detail::kTeamSamples);
}

void CheckSizes(const Lumora& a, const Lumora& b, const char* fn)
{
    if (a.GetNx() != b.GetNx() || a.GetNy() != b.GetNy())
        Error(ERR_PARAMETER, fn, detail::Differing("", a, b, detail::COMPARED_SIZES));
    detail::FieldAccess::RequireSamples(a, fn);
    detail::FieldAccess::RequireSamples(b, fn);
    detail::CheckCombined(fn, a, b);
}

/// Window fill: the columns are divided over the threads, each thread walks the rows of its own block of columns.
template <class Store>
void OverWindow(Lumora& field, const Store& store)
{
    const LML_RECT w = detail::FieldAccess::GridWindow(field);
    if (w.left >= w.right)
        return;
    Complex* const samples = field.GetDataPointer();
    const std::size_t nx = static_cast<std::size_t>(field.GetNx());
    detail::ParallelBlocks(static_cast<std::size_t>(w.right - w.left),
                           [&](std::size_t begin, std::size_t end, int)
                           {
                               for (std::int32_t j = w.bottom; j < w.top; ++j)
                               {
                                   Complex* const row = samples + nx * static_cast<std::size_t>(j) + w.left;
                                   for (std::size_t i = begin; i < end; ++i)
                                       store(row[i]);
                               }
                           });
}

template <class Store>
void OverGrid(Lumora& field, const Store& store)
{
    Complex* const samples = field.GetDataPointer();
    detail::ParallelFlat(field.N(), [=](std::size_t n) { store(samples[n]); });
}

struct StoreReal
{
    float value;
    void operator()(Complex& c) const { c.real() = value; }
};

struct StoreImag
{
    float value;
    void operator()(Complex& c) const { c.imag() = value; }
};
} // namespace

// ------------------------------------------------------------------------------------------------- with a field

// Kept: unary minus changes the field itself and gives no copy, unlike that of Complex.
Lumora& Lumora::operator-()
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator-";
    RequireSamples(fn);
    OverBlocks(dataPointer_, N(), NegateBlock);
    return *this;
}

Lumora& Lumora::operator+=(const Lumora& b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator+=";
    CheckSizes(*this, b, fn);
    OverBlocks(dataPointer_, b.dataPointer_, N(), AddBlock);
    return *this;
}

Lumora& Lumora::operator-=(const Lumora& b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator-=";
    CheckSizes(*this, b, fn);
    OverBlocks(dataPointer_, b.dataPointer_, N(), SubtractBlock);
    return *this;
}

Lumora& Lumora::operator*=(const Lumora& b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator*=";
    CheckSizes(*this, b, fn);
    OverBlocks(dataPointer_, b.dataPointer_, N(), detail::MultiplySamples);
    return *this;
}

Lumora& Lumora::operator/=(const Lumora& b)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator/=";
    CheckSizes(*this, b, fn);
    OverBlocks(dataPointer_, b.dataPointer_, N(), DivideBlock);
    return *this;
}

// ---------------------------------------------------------------------------------------------- with a constant

Lumora& Lumora::operator+=(const ComplexDouble& c)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator+=";
    RequireSamples(fn);
    const Complex value(c);
    OverBlocks(dataPointer_, N(),
               [=](Complex* a, std::size_t count) { AddConstBlock(a, count, value.Real(), value.Imag()); });
    return *this;
}

Lumora& Lumora::operator-=(const ComplexDouble& c)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator-=";
    RequireSamples(fn);
    const Complex value(c);
    OverBlocks(dataPointer_, N(),
               [=](Complex* a, std::size_t count) { SubtractConstBlock(a, count, value.Real(), value.Imag()); });
    return *this;
}

Lumora& Lumora::operator*=(const ComplexDouble& c)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator*=";
    RequireSamples(fn);
    const Complex value(c);
    OverBlocks(dataPointer_, N(),
               [=](Complex* a, std::size_t count) { MixedMultiplyBlock(a, count, value.Real(), value.Imag()); });
    return *this;
}

Lumora& Lumora::operator/=(const ComplexDouble& c)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator/=";
    RequireSamples(fn);
    // The reciprocal is rounded to float, then the product is the mixed one.
    const Complex rounded(c);
    const double cr = rounded.GetReal();
    const double ci = rounded.GetImag();
    const double d = cr * cr + ci * ci;
    const float p = static_cast<float>(cr / d);
    const float q = static_cast<float>((0.0 - ci) / d);
    OverBlocks(dataPointer_, N(), [=](Complex* a, std::size_t count) { MixedMultiplyBlock(a, count, p, q); });
    return *this;
}

Lumora& Lumora::operator*=(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator*=";
    RequireSamples(fn);
    detail::ScaleSamples(dataPointer_, N(), static_cast<float>(d));
    return *this;
}

Lumora& Lumora::operator/=(double d)
{
    static constexpr char fn[] = "LumoraLib::Lumora::operator/=";
    RequireSamples(fn);
    const double r = 1.0 / d;
    OverBlocks(dataPointer_, N(), [=](Complex* a, std::size_t count) { ScaleDoubleBlock(a, count, r); });
    return *this;
}

// -------------------------------------------------------------------------------------------------------- fills

Lumora& Lumora::SetConst(const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConst";
    RequireSamples(fn);
    detail::FillSamples(dataPointer_, N(), value);
    return *this;
}

Lumora& Lumora::SetConstReal(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstReal";
    RequireSamples(fn);
    OverGrid(*this, StoreReal{static_cast<float>(value)});
    return *this;
}

Lumora& Lumora::SetConstImag(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstImag";
    RequireSamples(fn);
    OverGrid(*this, StoreImag{static_cast<float>(value)});
    return *this;
}

// Kept: the polar fills leave cartesian samples also when polar ones came in, and the conversions reach the whole grid,
// so samples outside the window can change in their last bits.

Lumora& Lumora::SetConstAmplitude(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstAmplitude";
    RequireSamples(fn);
    _ConvToPolarForm();
    OverGrid(*this, StoreReal{static_cast<float>(value)});
    return _ConvToComplexForm();
}

Lumora& Lumora::SetConstPhase(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstPhase";
    RequireSamples(fn);
    _ConvToPolarForm();
    OverGrid(*this, StoreImag{static_cast<float>(value)});
    return _ConvToComplexForm();
}

Lumora& Lumora::SetConstWin(const Complex& value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstWin";
    RequireSamples(fn);
    const Complex copy = value; // the value may be one of the samples
    OverWindow(*this, [copy](Complex& c) { c = copy; });
    return *this;
}

Lumora& Lumora::SetConstWinReal(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstWinReal";
    RequireSamples(fn);
    OverWindow(*this, StoreReal{static_cast<float>(value)});
    return *this;
}

Lumora& Lumora::SetConstWinImag(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstWinImag";
    RequireSamples(fn);
    OverWindow(*this, StoreImag{static_cast<float>(value)});
    return *this;
}

Lumora& Lumora::SetConstWinAmplitude(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstWinAmplitude";
    RequireSamples(fn);
    _ConvToPolarForm();
    OverWindow(*this, StoreReal{static_cast<float>(value)});
    return _ConvToComplexForm();
}

Lumora& Lumora::SetConstWinPhase(double value)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetConstWinPhase";
    RequireSamples(fn);
    _ConvToPolarForm();
    OverWindow(*this, StoreImag{static_cast<float>(value)});
    return _ConvToComplexForm();
}

// ------------------------------------------------------------------------------------------------------- copies

Lumora& Lumora::CopyData(const Lumora& src)
{
    if (this == &src)
        return *this;
    detail::Resize(*this, src.nx_, src.ny_);
    if (N() != 0)
        detail::CopySamples(dataPointer_, N(), src.dataPointer_, src.capacity_);
    return *this;
}

Lumora& Lumora::CopyParam(const Lumora& src)
{
    k_ = src.k_;
    form_ = src.form_;
    px_ = src.px_;
    py_ = src.py_;
    window_ = src.window_;
    normalVector_ = src.normalVector_;
    origin_ = src.origin_;
    return *this;
}
} // namespace LumoraLib
