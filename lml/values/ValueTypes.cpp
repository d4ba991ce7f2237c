// Constants, the position tolerance, and the operations of the value types that need an angle, its sine and cosine, or
// a stream.
#include "LmlTypes.h"

#include <math.h>

#include <cmath>
#include <ostream>

namespace LumoraLib
{

// pi and pi / 180, each the nearest double.
const double Pi = 3.141592653589793;
const double Deg = 0.017453292519943295;

namespace
{

double positionTolerance = 1e-6;

struct SineCosine
{
    double sine;
    double cosine;
};

// Both values from one call; they are those of std::sin and std::cos.
SineCosine GetSineCosine(double angle)
{
    SineCosine result;
#if defined(__GLIBC__)
    ::sincos(angle, &result.sine, &result.cosine);
#else
    result.sine = std::sin(angle);
    result.cosine = std::cos(angle);
#endif
    return result;
}

// (amplitude cos phase, amplitude sin phase); a Complex rounds each member once when it takes the result.
ComplexDouble FromPolar(double amplitude, double phase)
{
    const SineCosine sc = GetSineCosine(phase);
    return ComplexDouble(amplitude * sc.cosine, amplitude * sc.sine);
}

} // namespace

const double& GetPositionTolerance()
{
    return positionTolerance;
}

void SetPositionTolerance(double tolerance)
{
    positionTolerance = tolerance;
}

Phase Complex::Phase() const
{
    return _Phase(std::atan2(GetImag(), GetReal()));
}

Phase ComplexDouble::Phase() const
{
    return _Phase(std::atan2(im_, re_));
}

double Angle(const Vector& a, const Vector& b)
{
    return std::acos((a * b) / (a.GetLength() * b.GetLength()));
}

void Complex::SetIntensity(double intensity)
{
    SetAmplitude(std::sqrt(intensity));
}

void Complex::SetAmplitude(double amplitude)
{
    *this = FromPolar(amplitude, Phase());
}

void Complex::SetPhase(double phase)
{
    *this = FromPolar(Amplitude(), phase);
}

void ComplexDouble::SetIntensity(double intensity)
{
    SetAmplitude(std::sqrt(intensity));
}

void ComplexDouble::SetAmplitude(double amplitude)
{
    *this = FromPolar(amplitude, Phase());
}

void ComplexDouble::SetPhase(double phase)
{
    *this = FromPolar(Amplitude(), phase);
}

ComplexDouble polar(double r, double theta)
{
    return FromPolar(r, theta);
}

ComplexDouble exp(ComplexDouble z)
{
    return FromPolar(std::exp(z.Real()), z.Imag());
}

ComplexDouble euler(double theta)
{
    const SineCosine sc = GetSineCosine(theta);
    return ComplexDouble(sc.cosine, sc.sine);
}

std::ostream& operator<<(std::ostream& out, const Vector& v)
{
    return out << "(" << v.x << ", " << v.y << ", " << v.z << ")";
}

} // namespace LumoraLib
