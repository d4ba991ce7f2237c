// Value types: complex numbers, phases, vectors, frequency vectors, matrices, lines, planes, point arrays and the
// enumerations that travel with them.
#ifndef LML_LMLTYPES_H
#define LML_LMLTYPES_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <type_traits>
#include <vector>

#include "LmlApi.h"

namespace LumoraLib
{

namespace detail
{
/// A number that has been rounded to its type, whatever is computed from it next. The value types are defined with
/// every product and every single-precision member rounded, in every build. Compilers do otherwise in two ways that
/// show in last bits: they fuse a product with the sum around it where the processor has the instruction, and g++ 12
/// leaves out the step through single precision when it vectorises straight-line code, at -O2 too. An empty statement
/// that could have changed the number stops both, and costs no instruction; compilers without it get a store and a
/// load.
template <class Real>
inline Real Rounded(Real v)
{
#if defined(__GNUC__) && defined(__SSE2__)
    if (!__builtin_constant_p(v))
        __asm__("" : "+x"(v));
    return v;
#elif defined(__GNUC__) && defined(__aarch64__)
    if (!__builtin_constant_p(v))
        __asm__("" : "+w"(v));
    return v;
#else
    const volatile Real stored = v;
    return stored;
#endif
}
} // namespace detail

class ComplexDouble;
class Line;
class LineSegment;
class Plane;
class PointArray;
class RMatrix;

// ---------------------------------------------------------------------------------------------------------------
// Constants and enumerations                                                                      (ValueTypes.cpp)
// ---------------------------------------------------------------------------------------------------------------

// What the other types and the members of the field are told by: forms, axes, kernels, windows, kinds of picture.

/// The double nearest to pi, 3.141592653589793.
extern LML_API const double Pi;
/// Radians per degree, 0.017453292519943295: `30 * Deg` is 30 degrees in radians.
extern LML_API const double Deg;

/// Form of a field: bit 0 set means spectrum, bit 1 set means polar samples.
enum ComplexForm : std::int32_t
{
    COMPLEX_AMPLITUDE = 0, ///< real-space field, samples (real, imaginary)
    SPECTRUM = 1,          ///< spectrum, samples (real, imaginary)
    POLAR_AMPLITUDE = 2,   ///< real-space field, samples (amplitude, phase in radians)
    POLAR_SPECTRUM = 3     ///< spectrum, samples (amplitude, phase in radians)
};

/// Direction of an operation along one axis. Every value other than X_AXIS counts as Y_AXIS.
enum Axis : std::int32_t
{
    X_AXIS = 0, ///< along rows
    Y_AXIS = 1  ///< along columns
};

/// Interpolation kernel. 0, SINC_INTERPOL and values above 9 are refused where a kernel function is asked for.
enum Interpol : std::int32_t
{
    LINEAR_INTERPOL = 1,   ///< Lumora::LinearInterpol
    CUBIC_INTERPOL = 2,    ///< Lumora::Cubic8Interpol
    CUBIC4_INTERPOL = 3,   ///< Lumora::Cubic4Interpol
    CUBIC6_INTERPOL = 4,   ///< Lumora::Cubic6Interpol
    CUBIC8_INTERPOL = 5,   ///< Lumora::Cubic8Interpol
    SINC_INTERPOL = 6,     ///< Lumora::RotateSpec1d only
    ADJACENT_INTERPOL = 7, ///< Lumora::AdjacentInterpol
    BICUBIC_INTERPOL = 8,  ///< Lumora::BiCubic
    BILINEAR_INTERPOL = 9  ///< Lumora::BiLinear
};

/// Weight of a point source's samples over the band that the sampling pitch can carry.
enum WindowFunc : std::int32_t
{
    WINDOW_NONE = 0,     ///< whole grid; not for AddSphericalWave()
    WINDOW_RECT = 1,     ///< weight 1 inside the band, nothing outside
    WINDOW_TRIANGLE = 2, ///< triangular weight; AddSphericalWave() only
    WINDOW_COSINE = 3    ///< raised-cosine weight; AddSphericalWave() only
};

/// What an image shows of a sample, and what a pixel value v in 0..1 becomes when an image is loaded.
enum Mode : std::int32_t
{
    ModeIntensity = 0,    ///< intensity; loads as amplitude sqrt(v), phase 0 (polar)
    ModeReal = 1,         ///< real part; loads as (2 v - 1, 0)
    ModeImag = 2,         ///< imaginary part; loads as (1, 2 v - 1)
    ModePhase = 3,        ///< phase; loads as amplitude 1, phase 2 pi v - pi (polar)
    ModeAmplitude = 4,    ///< amplitude; loads as amplitude v, phase 0 (polar)
    ModeLogIntensity = 5, ///< logarithmic intensity; not loaded
    ModeMaskedPhase = 6   ///< phase, 0 where the amplitude is under 1 % of the window's maximum; not loaded
};

/// Colours of an image. Every value other than GradationGrey counts as GradationRainbow.
enum Gradation : std::int32_t
{
    GradationGrey = 0,   ///< black to white
    GradationRainbow = 1 ///< violet to red
};

/// Tolerance of all geometric comparisons, in metres; 1e-6 at load. One value for the process, without a lock.
LML_API const double& GetPositionTolerance();
/// Sets the tolerance of all geometric comparisons that follow. The value is not checked: a negative one or a
/// not-a-number makes every comparison fail.
LML_API void SetPositionTolerance(double tolerance);

// ---------------------------------------------------------------------------------------------------------------
// Angles                                                                                                 (inline)
// ---------------------------------------------------------------------------------------------------------------

// Radians that know whether they lie in one turn.

/// An angle in radians that is known to lie in its range already: no wrap step, also not when it becomes a Phase.
class _Phase
{
public:
    /// The value as it is; a float is widened.
    _Phase(double radians) : value_(detail::Rounded(radians)) {}
    _Phase(float radians) : value_(static_cast<double>(radians)) {}
    /// Integers, which would be ambiguous between the two above.
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    _Phase(T radians) : value_(static_cast<double>(radians))
    {
    }
    _Phase(const _Phase&) = default;
    _Phase& operator=(const _Phase&) = default;
    ~_Phase() = default;

    /// The value in radians.
    operator double() const { return value_; }

private:
    double value_;
};

/// An angle in radians, brought into one turn when it is made from a number.
///
/// The wrap is fmod(v + Pi, 2 pi) - Pi, and it is lopsided: numbers from -pi upward land in [-pi, pi), but a number
/// below -pi keeps a negative remainder and lands in (-3 pi, -pi]: Phase(-4.0) stays -4. Values that come from an arc
/// tangent (Complex::Phase(), arg()) are not wrapped and can be exactly pi.
class Phase
{
public:
    /// 0.
    Phase() : value_(0.0) {}
    /// The value through the wrap.
    Phase(double radians) : value_(0.0) { _wrap(radians); }
    /// The float is widened before the wrap.
    Phase(float radians) : value_(0.0) { _wrap(static_cast<double>(radians)); }
    /// Integers, which would be ambiguous between the two above.
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    Phase(T radians) : value_(0.0)
    {
        _wrap(static_cast<double>(radians));
    }
    /// Takes the value as it is, no wrap.
    Phase(_Phase phase) : value_(phase) {}
    Phase(const Phase&) = default;
    Phase& operator=(const Phase&) = default;
    ~Phase() = default;

    /// Sum and difference, wrapped. With a plain number write Phase(number): either operand could be converted.
    Phase operator+(Phase other) const { return Phase(value_ + other.value_); }
    Phase operator-(Phase other) const { return Phase(value_ - other.value_); }

    /// The value in radians.
    operator double() const { return value_; }

private:
    // Kept: values below -pi are not lifted into the turn; callers must not rely on a result of at least -pi.
    void _wrap(double v)
    {
        value_ = std::fmod(detail::Rounded(v) + 3.141592653589793, 6.283185307179586) - 3.141592653589793;
    }

    double value_;
};

// ---------------------------------------------------------------------------------------------------------------
// Complex numbers                                                       (inline; with sine and cosine ValueTypes.cpp)
// ---------------------------------------------------------------------------------------------------------------

// A sample, and a complex number in double precision for what is computed from samples.

/// The sample of a field: real and imaginary part in single precision, 8 bytes.
///
/// Sums and differences are formed in single precision; products and quotients in double with one rounding per member,
/// where the text at an operation says nothing else. Nothing is tested: overflow and division by zero give the
/// floating-point results. In a field with polar samples the two members are amplitude and phase; this class never
/// knows. There are no operators that mix Complex and ComplexDouble: write ComplexDouble(c) * z to compute in double.
class Complex
{
public:
    /// Each part is rounded to float.
    Complex(const double& re = 0.0, const double& im = 0.0) : re_(Single(re)), im_(Single(im)) {}
    Complex(const Complex&) = default;
    /// Each part is rounded to float.
    Complex(const ComplexDouble& z);
    Complex& operator=(const Complex&) = default;
    /// Each part is rounded to float.
    Complex& operator=(const ComplexDouble& z);
    ~Complex() = default;

    /// Sets both parts, rounded to float.
    void Comp(double re, double im)
    {
        re_ = Single(re);
        im_ = Single(im);
    }

    /// The members, writable.
    float& real() { return re_; }
    float& imag() { return im_; }
    float real() const { return re_; }
    float imag() const { return im_; }
    /// The members.
    float Real() const { return re_; }
    float Imag() const { return im_; }
    /// The members widened.
    double GetReal() const { return static_cast<double>(re_); }
    double GetImag() const { return static_cast<double>(im_); }
    /// Stores one member, rounded to float.
    void SetReal(double re) { re_ = Single(re); }
    void SetImag(double im) { im_ = Single(im); }

    /// re^2 + im^2, where re^2 is formed in double but im^2 in single precision and then widened.
    /// Kept: so (0, 1e30) overflows to infinity while (1e30, 0) gives 1e60.
    double Intensity() const
    {
        return static_cast<double>(re_) * static_cast<double>(re_) + static_cast<double>(im_ * im_);
    }
    double GetIntensity() const { return Intensity(); }
    /// Square root of Intensity().
    double Amplitude() const { return std::sqrt(Intensity()); }
    double GetAmplitude() const { return Amplitude(); }
    /// atan2(im, re) in (-pi, pi], in double, with no wrap step.
    LML_API LumoraLib::Phase Phase() const;
    LumoraLib::Phase GetPhase() const { return Phase(); }

    /// Rewrites the number with this intensity and the phase that it has; (0, 0) has phase 0.
    LML_API void SetIntensity(double intensity);
    /// Rewrites the number with this amplitude and the phase that it has; (0, 0) has phase 0.
    LML_API void SetAmplitude(double amplitude);
    /// Rewrites the number with this phase, in radians, and the amplitude that it has.
    LML_API void SetPhase(double phase);

    /// (re, 0 - im): an imaginary part +0 gives +0.
    Complex conjg() const { return Make(re_, 0.0f - im_); }
    Complex Conjugate() const { return conjg(); }
    /// (0 - re, 0 - im): a member +0 gives +0.
    Complex operator-() const { return Make(0.0f - re_, 0.0f - im_); }

    /// Sum and difference, in single precision.
    Complex operator+(const Complex& b) const { return Make(re_ + b.re_, im_ + b.im_); }
    Complex operator-(const Complex& b) const { return Make(re_ - b.re_, im_ - b.im_); }
    Complex& operator+=(const Complex& b) { return *this = *this + b; }
    Complex& operator-=(const Complex& b) { return *this = *this - b; }

    /// Each member widened, multiplied or divided in double, rounded.
    Complex operator*(double a) const { return Complex(GetReal() * a, GetImag() * a); }
    Complex operator/(double a) const { return Complex(GetReal() / a, GetImag() / a); }
    Complex& operator*=(double a) { return *this = *this * a; }
    Complex& operator/=(double a) { return *this = *this / a; }

    /// Product: all in double, one rounding per member. (Products of two floats are exact in double.)
    Complex operator*(const Complex& b) const
    {
        return Complex(GetReal() * b.GetReal() - GetImag() * b.GetImag(),
                       GetReal() * b.GetImag() + GetImag() * b.GetReal());
    }
    Complex& operator*=(const Complex& b) { return *this = *this * b; }

    /// Quotient this * conj(b) / |b|^2 in double, but the products im * b.im and re * b.im are formed in single
    /// precision first. Kept: it can differ from operator/= in the last bit, and overflows earlier.
    Complex operator/(const Complex& b) const
    {
        const double d = b.GetReal() * b.GetReal() + b.GetImag() * b.GetImag();
        return Complex((GetReal() * b.GetReal() + static_cast<double>(im_ * b.im_)) / d,
                       (GetImag() * b.GetReal() - static_cast<double>(re_ * b.im_)) / d);
    }
    /// Quotient with all four products in double.
    Complex& operator/=(const Complex& b)
    {
        const double d = b.GetReal() * b.GetReal() + b.GetImag() * b.GetImag();
        return *this = Complex((GetReal() * b.GetReal() + GetImag() * b.GetImag()) / d,
                               (GetImag() * b.GetReal() - GetReal() * b.GetImag()) / d);
    }

    /// Exact equality of both members.
    bool operator==(const Complex& b) const { return re_ == b.re_ && im_ == b.im_; }
    bool operator!=(const Complex& b) const { return !(*this == b); }

private:
    static float Single(double v) { return detail::Rounded(static_cast<float>(v)); }
    static Complex Make(float re, float im)
    {
        Complex result;
        result.re_ = re;
        result.im_ = im;
        return result;
    }

    float re_;
    float im_;
};

/// A complex number in double precision, for scalars, factors and sums. Everything is computed in double; nothing is
/// tested.
class ComplexDouble
{
public:
    /// The parts as they are.
    ComplexDouble(double re = 0.0, double im = 0.0) : re_(detail::Rounded(re)), im_(detail::Rounded(im)) {}
    ComplexDouble(const ComplexDouble&) = default;
    /// Each part is widened.
    ComplexDouble(const Complex& c) : re_(c.GetReal()), im_(c.GetImag()) {}
    ComplexDouble& operator=(const ComplexDouble&) = default;
    /// Each part is widened.
    ComplexDouble& operator=(const Complex& c) { return *this = ComplexDouble(c); }
    ~ComplexDouble() = default;

    /// The members, writable.
    double& real() { return re_; }
    double& imag() { return im_; }
    double real() const { return re_; }
    double imag() const { return im_; }
    /// The members.
    double Real() const { return re_; }
    double Imag() const { return im_; }
    double GetReal() const { return re_; }
    double GetImag() const { return im_; }
    /// Stores one member.
    void SetReal(double re) { re_ = re; }
    void SetImag(double im) { im_ = im; }

    /// re^2 + im^2.
    double Intensity() const { return detail::Rounded(re_ * re_) + detail::Rounded(im_ * im_); }
    double GetIntensity() const { return Intensity(); }
    /// Square root of Intensity().
    double Amplitude() const { return std::sqrt(Intensity()); }
    double GetAmplitude() const { return Amplitude(); }
    /// atan2(im, re) in (-pi, pi], with no wrap step.
    LML_API LumoraLib::Phase Phase() const;
    LumoraLib::Phase GetPhase() const { return Phase(); }

    /// Rewrites the number with this intensity and the phase that it has; (0, 0) has phase 0.
    LML_API void SetIntensity(double intensity);
    /// Rewrites the number with this amplitude and the phase that it has; (0, 0) has phase 0.
    LML_API void SetAmplitude(double amplitude);
    /// Rewrites the number with this phase, in radians, and the amplitude that it has.
    LML_API void SetPhase(double phase);

    /// (re, 0 - im): an imaginary part +0 gives +0.
    ComplexDouble conjg() const { return ComplexDouble(re_, 0.0 - im_); }
    ComplexDouble Conjugate() const { return conjg(); }
    /// (0 - re, 0 - im): a member +0 gives +0.
    ComplexDouble operator-() const { return ComplexDouble(0.0 - re_, 0.0 - im_); }

    /// Sum and difference.
    ComplexDouble operator+(const ComplexDouble& b) const { return ComplexDouble(re_ + b.re_, im_ + b.im_); }
    ComplexDouble operator-(const ComplexDouble& b) const { return ComplexDouble(re_ - b.re_, im_ - b.im_); }
    ComplexDouble& operator+=(const ComplexDouble& b) { return *this = *this + b; }
    ComplexDouble& operator-=(const ComplexDouble& b) { return *this = *this - b; }

    /// Each member multiplied or divided.
    ComplexDouble operator*(double a) const { return ComplexDouble(re_ * a, im_ * a); }
    ComplexDouble operator/(double a) const { return ComplexDouble(re_ / a, im_ / a); }
    ComplexDouble& operator*=(double a) { return *this = *this * a; }
    ComplexDouble& operator/=(double a) { return *this = *this / a; }

    /// Product: re re - im im, re im + im re, every product rounded before the sum.
    ComplexDouble operator*(const ComplexDouble& b) const
    {
        return ComplexDouble(detail::Rounded(re_ * b.re_) - detail::Rounded(im_ * b.im_),
                             detail::Rounded(re_ * b.im_) + detail::Rounded(im_ * b.re_));
    }
    ComplexDouble& operator*=(const ComplexDouble& b) { return *this = *this * b; }

    /// this * conj(b) / |b|^2 by the plain formula, without scaling: |b|^2 must stay in the range of double.
    ComplexDouble operator/(const ComplexDouble& b) const
    {
        const double d = detail::Rounded(b.re_ * b.re_) + detail::Rounded(b.im_ * b.im_);
        return ComplexDouble((detail::Rounded(re_ * b.re_) + detail::Rounded(im_ * b.im_)) / d,
                             (detail::Rounded(im_ * b.re_) - detail::Rounded(re_ * b.im_)) / d);
    }
    ComplexDouble& operator/=(const ComplexDouble& b) { return *this = *this / b; }

    /// Exact equality of both members.
    bool operator==(const ComplexDouble& b) const { return re_ == b.re_ && im_ == b.im_; }
    bool operator!=(const ComplexDouble& b) const { return !(*this == b); }

private:
    double re_;
    double im_;
};

inline Complex::Complex(const ComplexDouble& z) : re_(Single(z.Real())), im_(Single(z.Imag())) {}

inline Complex& Complex::operator=(const ComplexDouble& z)
{
    return *this = Complex(z);
}

static_assert(sizeof(Complex) == 8 && alignof(Complex) == 4, "a sample is two packed floats");
static_assert(std::is_trivially_copyable_v<Complex> && std::is_standard_layout_v<Complex>, "a sample is plain data");
static_assert(std::is_trivially_copyable_v<ComplexDouble> && std::is_standard_layout_v<ComplexDouble>, "plain data");

/// (re, im), each rounded to float.
inline Complex Comp(double re, double im)
{
    return Complex(re, im);
}
/// r exp(i theta) = (r cos theta, r sin theta).
LML_API ComplexDouble polar(double r, double theta);
/// Complex exponential (e^re cos im, e^re sin im).
LML_API ComplexDouble exp(ComplexDouble z);
/// exp(i theta) = (cos theta, sin theta).
LML_API ComplexDouble euler(double theta);
/// atan2(im, re) in (-pi, pi], with no wrap step.
inline Phase arg(ComplexDouble z)
{
    return z.Phase();
}
/// Magnitude sqrt(re^2 + im^2), without scaling.
inline double abs(ComplexDouble z)
{
    return z.Amplitude();
}
/// Squared magnitude re^2 + im^2.
inline double norm(ComplexDouble z)
{
    return z.Intensity();
}
/// (re * a, a * im).
inline ComplexDouble operator*(double a, ComplexDouble z)
{
    return ComplexDouble(z.Real() * a, a * z.Imag());
}

// ---------------------------------------------------------------------------------------------------------------
// Sizes and rectangles                                                                                   (inline)
// ---------------------------------------------------------------------------------------------------------------

// Whole numbers of samples.

/// Width and height in samples or pixels.
class Size
{
public:
    /// 0 by 0, or the two values, unchecked.
    Size() : width(0), height(0) {}
    Size(std::int32_t w, std::int32_t h) : width(w), height(h) {}

    /// Exact equality of both.
    bool operator==(Size other) const { return width == other.width && height == other.height; }
    bool operator!=(Size other) const { return !(*this == other); }

    std::int32_t width;  ///< along x
    std::int32_t height; ///< along y
};

/// A window in sample indices: left <= i < right, bottom <= j < top. Rows count upward, so top is the larger bound.
class LML_RECT
{
public:
    /// All bounds 0, or the four values in the order left, top, right, bottom, unchecked.
    LML_RECT() : left(0), top(0), right(0), bottom(0) {}
    LML_RECT(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b) : left(l), top(t), right(r), bottom(b) {}

    std::int32_t left;   ///< first column
    std::int32_t top;    ///< one past the last row
    std::int32_t right;  ///< one past the last column
    std::int32_t bottom; ///< first row
};

static_assert(sizeof(LML_RECT) == 16 && sizeof(Size) == 8, "packed 32-bit integers");

// ---------------------------------------------------------------------------------------------------------------
// Vectors                                                                   (inline; with other types Geometry.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Points and directions in space, in metres.

/// A point or a direction in space: three doubles, metres for points. (0, 0, 0) by default.
/// `a * b` is the dot product, `a & b` the cross product. Mind that & binds weaker than +, * and ==.
class Vector
{
public:
    /// (0, 0, 0), or the three members.
    Vector() : x(0.0), y(0.0), z(0.0) {}
    Vector(double vx, double vy, double vz) : x(detail::Rounded(vx)), y(detail::Rounded(vy)), z(detail::Rounded(vz)) {}

    /// The members, writable.
    double& X() { return x; }
    double& Y() { return y; }
    double& Z() { return z; }
    /// The members.
    double GetX() const { return x; }
    double GetY() const { return y; }
    double GetZ() const { return z; }
    /// Store one member.
    void SetX(double value) { x = value; }
    void SetY(double value) { y = value; }
    void SetZ(double value) { z = value; }

    /// Unit vectors along x, y and z.
    static Vector I() { return Vector(1.0, 0.0, 0.0); }
    static Vector J() { return Vector(0.0, 1.0, 0.0); }
    static Vector K() { return Vector(0.0, 0.0, 1.0); }

    /// Sum and difference, member by member.
    Vector operator+(const Vector& b) const { return Vector(x + b.x, y + b.y, z + b.z); }
    Vector operator-(const Vector& b) const { return Vector(x - b.x, y - b.y, z - b.z); }
    Vector& operator+=(const Vector& b) { return *this = *this + b; }
    Vector& operator-=(const Vector& b) { return *this = *this - b; }
    /// (0 - x, 0 - y, 0 - z): a member +0 gives +0.
    Vector operator-() const { return Vector(0.0 - x, 0.0 - y, 0.0 - z); }

    /// Each member times a.
    Vector operator*(double a) const { return Vector(x * a, y * a, z * a); }
    Vector& operator*=(double a) { return *this = *this * a; }
    /// Product with the reciprocal 1 / d, not three divisions; d is not tested.
    Vector operator/(double d) const { return *this * (1.0 / d); }
    Vector& operator/=(double d) { return *this = *this / d; }

    /// Dot product.
    double operator*(const Vector& b) const
    {
        return detail::Rounded(x * b.x) + detail::Rounded(y * b.y) + detail::Rounded(z * b.z);
    }
    /// Cross product, this x b.
    Vector operator&(const Vector& b) const
    {
        return Vector(detail::Rounded(y * b.z) - detail::Rounded(z * b.y),
                      detail::Rounded(z * b.x) - detail::Rounded(x * b.z),
                      detail::Rounded(x * b.y) - detail::Rounded(y * b.x));
    }
    Vector& operator&=(const Vector& b) { return *this = *this & b; }
    /// this := matrix * this, the matrix on the left of a column vector.
    LML_API Vector& operator*=(const RMatrix& matrix);

    /// True if the distance of the two points is at most the position tolerance; false for a not-a-number.
    bool operator==(const Vector& b) const { return GetDistance(b) <= GetPositionTolerance(); }
    /// The exact negation of operator==.
    bool operator!=(const Vector& b) const { return !(*this == b); }

    /// True if all three members are exactly 0; the tolerance does not count.
    bool IsEmpty() const { return x == 0.0 && y == 0.0 && z == 0.0; }
    /// x^2 + y^2 + z^2.
    double GetSquare() const { return *this * *this; }
    /// sqrt(x^2 + y^2 + z^2), without scaling.
    double GetLength() const { return std::sqrt(GetSquare()); }
    /// Length of the difference.
    double GetDistance(const Vector& b) const { return (*this - b).GetLength(); }
    /// Plane::GetDistance() of this point, in metres.
    LML_API double GetDistance(const Plane& plane) const;
    /// Line::GetDistance() of this point, in metres.
    LML_API double GetDistance(const Line& line) const;
    /// Whether the point lies in the plane, within the position tolerance: Plane::Include().
    LML_API bool IsInplane(const Plane& plane) const;
    /// Whether the point lies on the line, within the position tolerance: Line::Include().
    LML_API bool IsInline(const Line& line) const;

    /// The vector of length 1 in this direction: each member times 1 / length. A length of 0 (or not a number) gives
    /// (0, 0, 0), silently.
    Vector GetNormalized() const
    {
        const double length = GetLength();
        return length > 0.0 ? *this * (1.0 / length) : Vector();
    }
    /// GetNormalized() in place.
    Vector& Normalize() { return *this = GetNormalized(); }
    /// Normalises, then multiplies each member by `length`. The zero vector stays zero.
    Vector& SetLength(double length) { return *this = GetNormalized() * length; }

    double x; ///< metres for points, any unit for directions
    double y; ///< likewise
    double z; ///< likewise
};

static_assert(sizeof(Vector) == 24 && std::is_trivially_copyable_v<Vector>, "three packed doubles");

/// Angle between two directions, acos(a b / (|a| |b|)), in radians from 0 to pi. No guard: a zero vector gives a
/// not-a-number, and so can two nearly parallel vectors whose cosine rounds to just above 1.
LML_API double Angle(const Vector& a, const Vector& b);

/// Writes "(x, y, z)" with the stream's own number formatting.
LML_API std::ostream& operator<<(std::ostream& out, const Vector& v);

// ---------------------------------------------------------------------------------------------------------------
// Frequency vectors and matrices                                                                      (Matrix.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Spatial frequencies in cycles per metre, and matrices that turn frequencies and positions.

/// Spatial-frequency vector of a plane wave, in cycles per metre. For a wave that propagates, u^2 + v^2 + w^2 equals
/// lambdaInvSq; nothing enforces it. The wavelength is sqrt(1 / lambdaInvSq).
class SFrequency
{
public:
    /// All four members 0.
    SFrequency() : u(0.0), v(0.0), w(0.0), lambdaInvSq(0.0) {}
    /// The four members.
    SFrequency(double fu, double fv, double fw, double inverseSquare) : u(fu), v(fv), w(fw), lambdaInvSq(inverseSquare)
    {
    }
    /// The wave along z: u = v = 0, lambdaInvSq = 1 / wavelength^2, w its root (0 if it is not above 0).
    LML_API explicit SFrequency(double wavelength);
    /// The wave with the transverse frequencies fu, fv: w = sqrt(1 / wavelength^2 - fu^2 - fv^2), or 0 where that is
    /// not above 0 (evanescent).
    LML_API SFrequency(double wavelength, double fu, double fv);

    double u;           ///< along x, cycles per metre
    double v;           ///< along y, cycles per metre
    double w;           ///< along z, cycles per metre
    double lambdaInvSq; ///< 1 / wavelength^2, in 1 / metre^2
};

/// Writes "[u(Lu), v(Lv), w(Lw)]", L being the wavelength: each frequency with its direction cosine in parentheses.
LML_API std::ostream& operator<<(std::ostream& out, const SFrequency& f);

/// An N by N matrix of doubles on the heap, deep copies. The element in row r, column c stands at elements[c + N r].
///
/// Kept: the first index of Element(), GetElement() and SetElement() is the column and the second the row, the reverse
/// of the usual notation. Indices are not checked. Cost: each matrix is one allocation.
/// Errors: ERR_MEMORY, "LumoraLib::Malloc", with the label of the allocation.
class SqrMatrix
{
public:
    /// Order `order`, all elements 0; an order below 0 counts as 0. Allocation label "SqrMatrix() : CTR".
    LML_API explicit SqrMatrix(int order);
    /// Deep copy. Allocation label "SqrMatrix() : Copy CTR".
    LML_API SqrMatrix(const SqrMatrix& other);
    /// As Copy().
    LML_API SqrMatrix& operator=(const SqrMatrix& other);
    LML_API ~SqrMatrix();

    /// The order.
    int N() const { return n; }
    int GetN() const { return n; }
    /// Element in column a and row b, unchecked.
    double& Element(int a, int b) { return elements[Index(a, b)]; }
    double Element(int a, int b) const { return elements[Index(a, b)]; }
    double GetElement(int a, int b) const { return elements[Index(a, b)]; }
    /// Stores the element in column a and row b, unchecked.
    void SetElement(int a, int b, double value) { elements[Index(a, b)] = value; }
    /// All elements := 0.
    LML_API void Clear();
    /// Deep copy, also of the order. If the orders differ the elements are allocated anew, with the label
    /// "LumoraLib::SqrMatrix::Copy"; when that fails this matrix is unchanged.
    /// Errors: ERR_PARAMETER, "LumoraLib::RMatrix::Copy", "" where this is an RMatrix and the other order is not 3.
    LML_API SqrMatrix& Copy(const SqrMatrix& other);
    /// Transposes in place.
    LML_API void Transpose();
    /// Matrix product, this on the left; each sum runs in double with k rising from 0.
    /// Errors: ERR_PARAMETER, "LumoraLib::SqrMatrix::operator*", "" if the orders differ.
    LML_API SqrMatrix operator*(const SqrMatrix& other) const;

    double* elements; ///< N * N doubles, row by row, owned
    int n;            ///< the order; not to be changed by hand

protected:
    struct Rotation
    {
    };
    /// Order 3 for good: the base of RMatrix.
    LML_API explicit SqrMatrix(Rotation);

private:
    bool fixed_ = false;
    std::ptrdiff_t Index(int a, int b) const { return a + static_cast<std::ptrdiff_t>(n) * b; }
};

/// Writes "[", each row as "(a,b,c) ", and "]", with the stream's own number formatting.
LML_API std::ostream& operator<<(std::ostream& out, const SqrMatrix& m);

/// A 3 by 3 matrix, meant for rotations: its inverse is taken to be its transpose.
/// Cost: every matrix, also a temporary one, is one allocation; keep it outside sample loops.
class RMatrix : public SqrMatrix
{
public:
    /// The zero matrix, not the identity.
    LML_API RMatrix();
    /// Deep copy. Allocation label "SqrMatrix() : CTR".
    LML_API RMatrix(const RMatrix& other);
    /// The shortest rotation that turns the direction of b onto the direction of a (formula of Rodrigues), about b x a.
    /// Opposite vectors have no axis: the result is -1 times the identity, a point reflection and no rotation. If
    /// either vector is zero the result is the zero matrix.
    LML_API RMatrix(const Vector& a, const Vector& b);
    LML_API RMatrix& operator=(const RMatrix& other);
    ~RMatrix() = default;

    /// SqrMatrix::Copy() for a matrix of order 3, which an RMatrix keeps through its base too.
    /// Errors: ERR_PARAMETER, "LumoraLib::RMatrix::Copy", "" for any other order; this matrix is unchanged.
    LML_API RMatrix& Copy(const SqrMatrix& other);

    /// Rotation of points by t radians about one axis, counter-clockwise seen from its tip.
    /// The result is one static matrix per function: the next call rewrites what an earlier caller holds, from any
    /// thread. Copy it before the next call; for use from one thread.
    LML_API static const RMatrix& RotationX(double t);
    LML_API static const RMatrix& RotationY(double t);
    LML_API static const RMatrix& RotationZ(double t);
    /// The same functions, and the same static matrices, with the angle 0 - t: the rotation of the coordinates.
    LML_API static const RMatrix& CRotationX(double t);
    LML_API static const RMatrix& CRotationY(double t);
    LML_API static const RMatrix& CRotationZ(double t);

    /// The transpose; orthogonality is not checked.
    LML_API RMatrix GetInverse() const;
    using SqrMatrix::operator*;
    /// Product, this on the left.
    LML_API RMatrix operator*(const RMatrix& other) const;
    /// The matrix times a column vector.
    LML_API Vector operator*(const Vector& vector) const;
    /// The matrix times (u, v, w). lambdaInvSq goes through the wavelength and back, with that rounding; w comes from
    /// the matrix and not from the sphere.
    LML_API SFrequency operator*(const SFrequency& f) const;
};

// ---------------------------------------------------------------------------------------------------------------
// Point arrays                                                                                    (PointArray.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Ordered lists of points: outlines, triangles.

/// An ordered list of points. Up to three points stand in the object itself and cost no allocation; from the fourth on
/// they stand in a growing vector on the heap. Copies are deep; a move takes the heap record and leaves the source
/// empty, and copies where there is none.
/// Errors of everything that can allocate: ERR_MEMORY, "LumoraLib::Malloc", "demanded bytes = <size> : PointArray".
class PointArray
{
public:
    /// n points at (0, 0, 0); an n below 1 gives an empty array.
    LML_API explicit PointArray(int n);
    LML_API PointArray(const PointArray& other);
    LML_API PointArray(PointArray&& other) noexcept;
    /// The two ends of the segment.
    LML_API PointArray(const LineSegment& segment);
    /// One point.
    LML_API PointArray(const Vector& point);
    LML_API PointArray& operator=(const PointArray& other);
    LML_API PointArray& operator=(PointArray&& other) noexcept;
    LML_API ~PointArray();

    /// Number of points.
    int N() const { return count_; }
    int GetN() const { return count_; }
    /// Point i, writable also through a const array.
    /// Errors: ERR_PARAMETER, "LumoraLib::PointArray::At", "out of range".
    LML_API Vector& At(int i) const;
    /// As At(). Errors: ERR_PARAMETER, "LumoraLib::PointArray::operator[]", "out of range".
    LML_API Vector& operator[](int i) const;
    /// Point i. Errors: ERR_PARAMETER, "LumoraLib::PointArray::GetPoint", "out of range".
    LML_API const Vector& GetPoint(int i) const;
    /// Stores p at i. A negative index is the caller's fault and stores nothing.
    /// Errors: ERR_PARAMETER, "LumoraLib::PointArray::SetPoint", "index is out of range" at or above the count.
    LML_API void SetPoint(int i, const Vector& p);
    /// Puts p before index i; an i equal to the count appends.
    /// Errors: ERR_PARAMETER, "LumoraLib::PointArray::Insert", "index is out of range".
    LML_API void Insert(int i, const Vector& p);
    /// Appends p.
    LML_API void Insert(const Vector& p);
    /// Takes out point i. Errors: ERR_PARAMETER, "LumoraLib::PointArray::Remove", "index is out of range".
    LML_API void Remove(int i);
    /// Takes out the last point. Errors: as Remove(int), for an empty array.
    LML_API void Remove();

    /// Equal counts, and each pair of points within the position tolerance of each other.
    LML_API bool operator==(const PointArray& other) const;
    /// The exact negation of operator==.
    LML_API bool operator!=(const PointArray& other) const;

    /// Moves every point.
    LML_API PointArray& operator+=(const Vector& shift);
    LML_API PointArray& operator-=(const Vector& shift);
    /// Scales every point about the global origin.
    LML_API PointArray& operator*=(double factor);
    /// Every point := matrix * point, about the global origin and not about the array's centre.
    LML_API PointArray& operator*=(const RMatrix& matrix);
    LML_API PointArray& Rotate(const RMatrix& matrix);

    /// The point of one, the mean of two, and from three points on the centre of the bounding box (not the mean).
    /// Coordinates beyond 1e40 are not found.
    /// Errors: ERR_SOMETHING, "LumoraLib::PointArray::GetCenter", "no point in the object".
    LML_API Vector GetCenter() const;
    /// Adds c - GetCenter() to every point. Errors: as GetCenter().
    LML_API void SetCenter(const Vector& c);
    /// Subtracts GetCenter() from every point. Errors: as GetCenter().
    LML_API void Localize();

    /// Extremes of one coordinate. Errors: ERR_PARAMETER, "LumoraLib::PointArray::At", "out of range" if empty.
    LML_API double GetMinX() const;
    LML_API double GetMaxX() const;
    LML_API double GetMinY() const;
    LML_API double GetMaxY() const;
    LML_API double GetMinZ() const;
    LML_API double GetMaxZ() const;
    /// Two points: the minima, then the maxima. Coordinates beyond 1e40 are not found.
    /// Errors: ERR_SOMETHING, "LumoraLib::PointArray::GetBoundingBox", "no point in the object".
    LML_API PointArray GetBoundingBox() const;
    /// Extent in x, y and z, in metres; 0 for one point.
    /// Errors: ERR_SOMETHING, "LumoraLib::PointArray::GetWidth" ("GetHeight", "GetDepth"), "no point in the object".
    LML_API double GetWidth() const;
    LML_API double GetHeight() const;
    LML_API double GetDepth() const;

    /// The plane through points 0, 1 and 2.
    /// Errors: ERR_PARAMETER, "LumoraLib::PointArray::GetPlane", "number of point is not enough" below three points.
    LML_API Plane GetPlane() const;
    /// Whether all points lie in GetPlane(), within the position tolerance. True for three points on one line too,
    /// and then for all others, since the plane has no normal. Errors: as GetPlane().
    LML_API bool IsInplane() const;
    /// Projects every point onto the plane along the plane's normal.
    /// Errors: as Plane::GetIntersectionPoint(); no point has moved then.
    LML_API PointArray& ProjectionOn(const Plane& plane);
    /// Projects every point onto the plane along the direction of the line.
    /// Errors: as Line::GetIntersectionPoint(); no point has moved then.
    LML_API PointArray& ProjectionOn(const Plane& plane, const Line& line);

    /// Writes ">>> count" and one line "index : (x, y, z)" per point to the standard output, with a decimal point in
    /// every locale.
    LML_API void Print() const;
    /// Writes a text file: the line "n, x, y, z", then "index, x, y, z" per point with six decimals and a decimal
    /// point in every locale.
    /// Errors: ERR_FILE_OPEN, "LumoraLib::PointArray::SaveAsCsv", the path; ERR_FILE_WRITE, "ewrite", the path, if the
    /// text does not reach the file. The file is closed in every case.
    LML_API void SaveAsCsv(const char* path) const;

protected:
    /// Copies the inline points into a new heap record and hangs it in the object; leaves the count alone.
    LML_API void copyA2V();
    /// Copies the first three points of the heap record inline and frees it; leaves the count alone.
    LML_API void copyV2A();
    /// A new heap record with n zero points, which belongs to the caller.
    LML_API static std::vector<Vector>* _newVector(int n);
    /// Hang a new heap record in the object, with n zero points or with copies; the count is left alone, and a record
    /// that the object had is not freed.
    LML_API void newVector(int n);
    LML_API void newVector(const std::vector<Vector>& points);
    /// Inline point i, unchecked: valid while the count is at most 3.
    Vector& arrayAt(int i) const { return storage_.point[i]; }

private:
    union Storage
    {
        Storage() : point{} {}
        Vector point[3];             // while the count is at most 3
        std::vector<Vector>* record; // above; memory from Malloc
    };

    Vector& Get(int i) const;
    void SetInline(const PointArray& other);
    void FreeRecord();

    std::int32_t count_;
    mutable Storage storage_; // mutable: At() and operator[] of a const array give writable points
};

/// Writes the count, " points", a line end, and each point as "x, y, z\n-", with the stream's own number formatting.
LML_API std::ostream& operator<<(std::ostream& out, const PointArray& points);

// ---------------------------------------------------------------------------------------------------------------
// Lines, segments and planes. All are arrays of two points, without allocation.                     (Geometry.cpp)
// ---------------------------------------------------------------------------------------------------------------

/// A straight line without end, through its two points; the second minus the first is the direction, of any length.
class Line : public PointArray
{
public:
    /// Two points at (0, 0, 0).
    LML_API Line();
    /// Through `point`, along `direction` (any length).
    LML_API Line(const Vector& point, const Vector& direction);
    /// Through the two ends of the segment.
    LML_API Line(const LineSegment& segment);

    /// The axes of the global system.
    LML_API static Line X();
    LML_API static Line Y();
    LML_API static Line Z();

    using PointArray::GetPoint;
    /// The first point.
    LML_API const Vector& GetPoint() const;
    /// Foot of the perpendicular from p. A line without direction gives its first point.
    LML_API Vector GetVerticalPoint(const Vector& p) const;
    /// Whether p lies on the line, within the position tolerance.
    LML_API bool Include(const Vector& p) const;
    /// Distance of p from the line, in metres.
    LML_API double GetDistance(const Vector& p) const;
    /// Plane::GetIntersectionPoint() with this line.
    /// Errors: ERR_SOMETHING, "LumoraLib::Line::GetIntersectionPoint", "the line is parallel to the plane".
    LML_API Vector GetIntersectionPoint(const Plane& plane) const;
    /// The same set of points within the position tolerance, whatever the sense of the directions.
    LML_API bool operator==(const Line& other) const;
    LML_API bool operator!=(const Line& other) const;
};

/// The line through two points: first point a, second point a + (b - a).
LML_API Line GetLine(const Vector& a, const Vector& b);

/// A straight line with two ends.
class LineSegment : public PointArray
{
public:
    /// Two points at (0, 0, 0).
    LML_API LineSegment();
    /// From `begin` to `end`.
    LML_API LineSegment(const Vector& begin, const Vector& end);

    /// The ends.
    LML_API const Vector& GetBegin() const;
    LML_API const Vector& GetEnd() const;
    /// End minus beginning.
    LML_API Vector GetVector() const;
    /// GetVector() normalised; (0, 0, 0) for a segment without length.
    LML_API Vector GetUnitVector() const;
    /// Length in metres.
    LML_API double GetLength() const;
    /// Whether the length is at most the position tolerance.
    LML_API bool IsEmpty() const;
    /// As Plane::IsParallel(const Line&), with its one-sided test.
    LML_API bool IsParallel(const Plane& plane) const;
    /// The same two ends within the position tolerance, in either order.
    LML_API bool operator==(const LineSegment& other) const;
    LML_API bool operator!=(const LineSegment& other) const;
};

/// A plane: a point on it, and that point plus the unit normal. Two normals are in use: the raw one, as given, and
/// GetNormalVector(), which points away from the global origin. The equation of the plane is N p = d with the latter
/// and d = GetDistance().
class Plane : public PointArray
{
public:
    /// Two points at (0, 0, 0): an empty plane.
    LML_API Plane();
    /// Through `point`, perpendicular to `normal` (any length; a zero normal gives an empty plane, silently).
    LML_API Plane(const Vector& point, const Vector& normal);
    /// Through three points; the raw normal is (b - a) x (c - b), normalised.
    LML_API Plane(const Vector& a, const Vector& b, const Vector& c);
    /// Through the first three points.
    /// Errors: ERR_PARAMETER, "LumoraLib::Plane::Plane", "number of point is not enough" below three points.
    LML_API explicit Plane(const PointArray& points);

    /// Planes of the global system, with the normals (0, 0, 1), (1, 0, 0), (0, 1, 0).
    LML_API static Plane XY();
    LML_API static Plane YZ();
    LML_API static Plane ZX();

    /// The unit normal that points away from the global origin; for a plane through the origin the raw normal.
    LML_API Vector GetNormalVector() const;
    /// The same set of points within the position tolerance, whichever way the raw normals point; only for planes
    /// through the global origin the raw normals must agree too.
    LML_API bool operator==(const Plane& other) const;
    LML_API bool operator!=(const Plane& other) const;
    /// Whether the plane has no normal.
    LML_API bool IsEmpty() const;
    /// Whether p lies in the plane, within the position tolerance.
    LML_API bool Include(const Vector& p) const;
    /// Distance of the global origin, or of p, from the plane, in metres; never negative.
    LML_API double GetDistance() const;
    LML_API double GetDistance(const Vector& p) const;
    /// Whether the normals of the two planes differ by less than the position tolerance.
    LML_API bool IsParallel(const Plane& other) const;
    /// Whether the unit direction of the line has a product with the normal from 0 to the tolerance squared. The test
    /// is one-sided: a line that rises against the normal by any amount counts as not parallel.
    LML_API bool IsParallel(const Line& line) const;
    /// The coordinate of the plane's point that has the two others.
    /// Errors: ERR_SOMETHING, "LumoraLib::Plane::GetX" ("GetY", "GetZ"), "the plane is parallel to x-axis" ("y-axis",
    /// "z-axis") if the normal's component is below the tolerance, also where it is clearly negative.
    LML_API double GetX(double y, double z) const;
    LML_API double GetY(double x, double z) const;
    LML_API double GetZ(double x, double y) const;
    /// Foot of the perpendicular from p. Errors: as GetIntersectionPoint(), for an empty plane.
    LML_API Vector GetVerticalPoint(const Vector& p) const;
    /// Where the line meets the plane.
    /// Errors: ERR_SOMETHING, "LumoraLib::Plane::GetIntersectionPoint", "the line is parallel to the plane" by
    /// IsParallel(const Line&); a line that is parallel but rounds to the other side gives a far point or infinities.
    LML_API Vector GetIntersectionPoint(const Line& line) const;
    /// The line that both planes share; its direction is the cross product of the normals, not normalised.
    /// Errors: ERR_SOMETHING, "LumoraLib::Plane::GetIntersectionLine", "argumented plane is parallel to this plane".
    LML_API Line GetIntersectionLine(const Plane& other) const;
};

} // namespace LumoraLib

#endif
