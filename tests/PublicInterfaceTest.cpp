// The whole interface as a list: names, signatures, results and access. Linked against the shared library, so that
// every entry is proved to be exported; a member that changes or goes breaks this file, and a new one is added here by
// hand.
#include "LmlLumora.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

using namespace LumoraLib;

namespace
{
/// Picks the overload of this very type and takes its address, which must be there at link time.
template <class Pointer>
void Use(Pointer pointer)
{
    EXPECT_TRUE(pointer != nullptr);
}

// Names that a user must not reach.
template <class T>
concept ReachesForm = requires(T& t)
{
    t.PushForm();
}
|| requires(T& t)
{
    t.PullForm();
}
|| requires(T& t)
{
    t._ConvToPolarForm();
}
|| requires(T& t)
{
    t._ConvToComplexForm();
}
|| requires(T& t)
{
    t.SPW1d(1.0);
};
template <class T>
concept ReachesData = requires(T& t)
{
    t.k_;
}
|| requires(T& t)
{
    t.dataPointer_;
}
|| requires(T& t)
{
    t.origin_;
};
template <class T>
concept ReachesTable = requires(T& t)
{
    t.CalcSin(0.0);
}
|| requires(T& t)
{
    t.CalcCos(0.0);
};
} // namespace

static_assert(!ReachesForm<Lumora> && !ReachesData<Lumora> && !ReachesTable<SphericalWaveDescriptor>);

// Layouts and widths that files and callers rely on.
static_assert(sizeof(Complex) == 8 && alignof(Complex) == 4 && std::is_trivially_copyable_v<Complex>);
static_assert(sizeof(ComplexDouble) == 16 && sizeof(Vector) == 24 && sizeof(SFrequency) == 32 && sizeof(Size) == 8);
static_assert(sizeof(LML_RECT) == 16 && offsetof(LML_RECT, top) == 4 && offsetof(LML_RECT, bottom) == 12);
static_assert(sizeof(ComplexForm) == 4 && sizeof(Interpol) == 4 && sizeof(Mode) == 4 && sizeof(WindowFunc) == 4);
static_assert(std::is_base_of_v<Lumora, ScaledFftDescriptor> &&
              std::is_base_of_v<ScaledFftDescriptor, ShiftedFresnelPropDescriptor>);
static_assert(std::is_base_of_v<PointArray, Line> && std::is_base_of_v<PointArray, Plane> &&
              std::is_base_of_v<PointArray, LineSegment>);
static_assert(std::is_base_of_v<SqrMatrix, RMatrix> && !std::is_polymorphic_v<Lumora> &&
              !std::is_polymorphic_v<PointArray>);

// Constructors.
static_assert(std::is_constructible_v<Lumora> && std::is_constructible_v<Lumora, int> &&
              std::is_constructible_v<Lumora, int, int> && std::is_constructible_v<Lumora, int, int, double> &&
              std::is_constructible_v<Lumora, int, int, double, double> &&
              std::is_constructible_v<Lumora, int, int, double, double, double> &&
              std::is_copy_constructible_v<Lumora> && std::is_nothrow_move_constructible_v<Lumora> &&
              std::is_copy_assignable_v<Lumora>);
static_assert(
    std::is_constructible_v<ScaledFftDescriptor, const Lumora&, double, double> &&
    std::is_constructible_v<ScaledFftDescriptor, int, int, double, double> &&
    std::is_constructible_v<ShiftedFresnelPropDescriptor, double, double, double, const Lumora&> &&
    std::is_constructible_v<ShiftedFresnelPropDescriptor, double, double, double, double, double, double, int, int>);
static_assert(std::is_constructible_v<SphericalWaveDescriptor, double, double, double, const Vector&> &&
              std::is_constructible_v<TrigTable, unsigned int> &&
              std::is_constructible_v<RMatrix, const Vector&, const Vector&>);
static_assert(std::is_constructible_v<Plane, const Vector&, const Vector&, const Vector&> &&
              std::is_constructible_v<Plane, const PointArray&> && std::is_constructible_v<Line, const LineSegment&> &&
              std::is_constructible_v<PointArray, int> && std::is_constructible_v<PointArray, const LineSegment&>);
static_assert(std::is_constructible_v<Phase, double> && std::is_constructible_v<Phase, float> &&
              std::is_constructible_v<Phase, int> && std::is_constructible_v<Phase, _Phase> &&
              std::is_constructible_v<Complex, const ComplexDouble&>);

TEST(PublicInterface, LumoraException)
{
    Use<int (LumoraException::*)() const>(&LumoraException::GetErrorCode);
    Use<char* (LumoraException::*)()>(&LumoraException::GetFuncname);
    Use<const char* (LumoraException::*)() const>(&LumoraException::GetFuncname);
    Use<char* (LumoraException::*)()>(&LumoraException::GetUserMessage);
    Use<const char* (LumoraException::*)() const>(&LumoraException::GetUserMessage);
    Use<char* (LumoraException::*)()>(&LumoraException::GetSystemMessage);
    Use<const char* (LumoraException::*)() const>(&LumoraException::GetSystemMessage);
    Use<const char* (LumoraException::*)() const noexcept>(&LumoraException::what);
    static_assert(std::is_base_of_v<std::exception, LumoraException> &&
                  sizeof(LumoraException) <= sizeof(std::exception) + 4 + 32 + 128 + 128 + 4);
    Use<const char* (*)(const LumoraException&) noexcept>(&LumoraLib::DescribeError);
}

TEST(PublicInterface, StopWatch)
{
    Use<void (StopWatch::*)()>(&StopWatch::Reset);
    Use<void (StopWatch::*)()>(&StopWatch::Start);
    Use<void (StopWatch::*)()>(&StopWatch::Stop);
    Use<double (StopWatch::*)() const>(&StopWatch::Read);
}

TEST(PublicInterface, Phase)
{
    Use<Phase (Phase::*)(Phase) const>(&Phase::operator+);
    Use<Phase (Phase::*)(Phase) const>(&Phase::operator-);
}

TEST(PublicInterface, Complex)
{
    Use<void (Complex::*)(double, double)>(&Complex::Comp);
    Use<float& (Complex::*)()>(&Complex::real);
    Use<float& (Complex::*)()>(&Complex::imag);
    Use<float (Complex::*)() const>(&Complex::real);
    Use<float (Complex::*)() const>(&Complex::imag);
    Use<float (Complex::*)() const>(&Complex::Real);
    Use<float (Complex::*)() const>(&Complex::Imag);
    Use<double (Complex::*)() const>(&Complex::GetReal);
    Use<double (Complex::*)() const>(&Complex::GetImag);
    Use<void (Complex::*)(double)>(&Complex::SetReal);
    Use<void (Complex::*)(double)>(&Complex::SetImag);
    Use<double (Complex::*)() const>(&Complex::Intensity);
    Use<double (Complex::*)() const>(&Complex::GetIntensity);
    Use<double (Complex::*)() const>(&Complex::Amplitude);
    Use<double (Complex::*)() const>(&Complex::GetAmplitude);
    Use<Phase (Complex::*)() const>(&Complex::Phase);
    Use<Phase (Complex::*)() const>(&Complex::GetPhase);
    Use<void (Complex::*)(double)>(&Complex::SetIntensity);
    Use<void (Complex::*)(double)>(&Complex::SetAmplitude);
    Use<void (Complex::*)(double)>(&Complex::SetPhase);
    Use<Complex (Complex::*)() const>(&Complex::conjg);
    Use<Complex (Complex::*)() const>(&Complex::Conjugate);
    Use<Complex (Complex::*)() const>(&Complex::operator-);
    Use<Complex (Complex::*)(const Complex&) const>(&Complex::operator+);
    Use<Complex (Complex::*)(const Complex&) const>(&Complex::operator-);
    Use<Complex& (Complex::*)(const Complex&)>(&Complex::operator+=);
    Use<Complex& (Complex::*)(const Complex&)>(&Complex::operator-=);
    Use<Complex (Complex::*)(double) const>(&Complex::operator*);
    Use<Complex (Complex::*)(double) const>(&Complex::operator/);
    Use<Complex& (Complex::*)(double)>(&Complex::operator*=);
    Use<Complex& (Complex::*)(double)>(&Complex::operator/=);
    Use<Complex (Complex::*)(const Complex&) const>(&Complex::operator*);
    Use<Complex& (Complex::*)(const Complex&)>(&Complex::operator*=);
    Use<Complex (Complex::*)(const Complex&) const>(&Complex::operator/);
    Use<Complex& (Complex::*)(const Complex&)>(&Complex::operator/=);
    Use<bool (Complex::*)(const Complex&) const>(&Complex::operator!=);
    Use<bool (Complex::*)(const Complex&) const>(&Complex::operator==);
}

TEST(PublicInterface, ComplexDouble)
{
    Use<double& (ComplexDouble::*)()>(&ComplexDouble::real);
    Use<double& (ComplexDouble::*)()>(&ComplexDouble::imag);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::real);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::imag);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::Real);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::Imag);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::GetReal);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::GetImag);
    Use<void (ComplexDouble::*)(double)>(&ComplexDouble::SetReal);
    Use<void (ComplexDouble::*)(double)>(&ComplexDouble::SetImag);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::Intensity);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::GetIntensity);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::Amplitude);
    Use<double (ComplexDouble::*)() const>(&ComplexDouble::GetAmplitude);
    Use<Phase (ComplexDouble::*)() const>(&ComplexDouble::Phase);
    Use<Phase (ComplexDouble::*)() const>(&ComplexDouble::GetPhase);
    Use<void (ComplexDouble::*)(double)>(&ComplexDouble::SetIntensity);
    Use<void (ComplexDouble::*)(double)>(&ComplexDouble::SetAmplitude);
    Use<void (ComplexDouble::*)(double)>(&ComplexDouble::SetPhase);
    Use<ComplexDouble (ComplexDouble::*)() const>(&ComplexDouble::conjg);
    Use<ComplexDouble (ComplexDouble::*)() const>(&ComplexDouble::Conjugate);
    Use<ComplexDouble (ComplexDouble::*)() const>(&ComplexDouble::operator-);
    Use<ComplexDouble (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator+);
    Use<ComplexDouble (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator-);
    Use<ComplexDouble& (ComplexDouble::*)(const ComplexDouble&)>(&ComplexDouble::operator+=);
    Use<ComplexDouble& (ComplexDouble::*)(const ComplexDouble&)>(&ComplexDouble::operator-=);
    Use<ComplexDouble (ComplexDouble::*)(double) const>(&ComplexDouble::operator*);
    Use<ComplexDouble (ComplexDouble::*)(double) const>(&ComplexDouble::operator/);
    Use<ComplexDouble& (ComplexDouble::*)(double)>(&ComplexDouble::operator*=);
    Use<ComplexDouble& (ComplexDouble::*)(double)>(&ComplexDouble::operator/=);
    Use<ComplexDouble (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator*);
    Use<ComplexDouble& (ComplexDouble::*)(const ComplexDouble&)>(&ComplexDouble::operator*=);
    Use<ComplexDouble (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator/);
    Use<ComplexDouble& (ComplexDouble::*)(const ComplexDouble&)>(&ComplexDouble::operator/=);
    Use<bool (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator!=);
    Use<bool (ComplexDouble::*)(const ComplexDouble&) const>(&ComplexDouble::operator==);
}

TEST(PublicInterface, Size)
{
    Use<bool (Size::*)(Size) const>(&Size::operator!=);
    Use<bool (Size::*)(Size) const>(&Size::operator==);
}

TEST(PublicInterface, Vector)
{
    Use<double& (Vector::*)()>(&Vector::X);
    Use<double& (Vector::*)()>(&Vector::Y);
    Use<double& (Vector::*)()>(&Vector::Z);
    Use<double (Vector::*)() const>(&Vector::GetX);
    Use<double (Vector::*)() const>(&Vector::GetY);
    Use<double (Vector::*)() const>(&Vector::GetZ);
    Use<void (Vector::*)(double)>(&Vector::SetX);
    Use<void (Vector::*)(double)>(&Vector::SetY);
    Use<void (Vector::*)(double)>(&Vector::SetZ);
    Use<Vector (*)()>(&Vector::I);
    Use<Vector (*)()>(&Vector::J);
    Use<Vector (*)()>(&Vector::K);
    Use<Vector (Vector::*)(const Vector&) const>(&Vector::operator+);
    Use<Vector (Vector::*)(const Vector&) const>(&Vector::operator-);
    Use<Vector& (Vector::*)(const Vector&)>(&Vector::operator+=);
    Use<Vector& (Vector::*)(const Vector&)>(&Vector::operator-=);
    Use<Vector (Vector::*)() const>(&Vector::operator-);
    Use<Vector (Vector::*)(double) const>(&Vector::operator*);
    Use<Vector& (Vector::*)(double)>(&Vector::operator*=);
    Use<Vector (Vector::*)(double) const>(&Vector::operator/);
    Use<Vector& (Vector::*)(double)>(&Vector::operator/=);
    Use<double (Vector::*)(const Vector&) const>(&Vector::operator*);
    Use<Vector (Vector::*)(const Vector&) const>(&Vector::operator&);
    Use<Vector& (Vector::*)(const Vector&)>(&Vector::operator&=);
    Use<Vector& (Vector::*)(const RMatrix&)>(&Vector::operator*=);
    Use<bool (Vector::*)(const Vector&) const>(&Vector::operator!=);
    Use<bool (Vector::*)() const>(&Vector::IsEmpty);
    Use<double (Vector::*)() const>(&Vector::GetSquare);
    Use<double (Vector::*)() const>(&Vector::GetLength);
    Use<double (Vector::*)(const Vector&) const>(&Vector::GetDistance);
    Use<double (Vector::*)(const Plane&) const>(&Vector::GetDistance);
    Use<double (Vector::*)(const Line&) const>(&Vector::GetDistance);
    Use<bool (Vector::*)(const Plane&) const>(&Vector::IsInplane);
    Use<bool (Vector::*)(const Line&) const>(&Vector::IsInline);
    Use<Vector (Vector::*)() const>(&Vector::GetNormalized);
    Use<Vector& (Vector::*)()>(&Vector::Normalize);
    Use<Vector& (Vector::*)(double)>(&Vector::SetLength);
    Use<bool (Vector::*)(const Vector&) const>(&Vector::operator==);
}

TEST(PublicInterface, SqrMatrix)
{
    Use<int (SqrMatrix::*)() const>(&SqrMatrix::N);
    Use<int (SqrMatrix::*)() const>(&SqrMatrix::GetN);
    Use<double& (SqrMatrix::*)(int, int)>(&SqrMatrix::Element);
    Use<double (SqrMatrix::*)(int, int) const>(&SqrMatrix::Element);
    Use<double (SqrMatrix::*)(int, int) const>(&SqrMatrix::GetElement);
    Use<void (SqrMatrix::*)(int, int, double)>(&SqrMatrix::SetElement);
    Use<void (SqrMatrix::*)()>(&SqrMatrix::Clear);
    Use<SqrMatrix& (SqrMatrix::*)(const SqrMatrix&)>(&SqrMatrix::Copy);
    Use<void (SqrMatrix::*)()>(&SqrMatrix::Transpose);
    Use<SqrMatrix (SqrMatrix::*)(const SqrMatrix&) const>(&SqrMatrix::operator*);
}

TEST(PublicInterface, RMatrix)
{
    Use<RMatrix& (RMatrix::*)(const SqrMatrix&)>(&RMatrix::Copy);
    Use<const RMatrix& (*)(double)>(&RMatrix::RotationX);
    Use<const RMatrix& (*)(double)>(&RMatrix::RotationY);
    Use<const RMatrix& (*)(double)>(&RMatrix::RotationZ);
    Use<const RMatrix& (*)(double)>(&RMatrix::CRotationX);
    Use<const RMatrix& (*)(double)>(&RMatrix::CRotationY);
    Use<const RMatrix& (*)(double)>(&RMatrix::CRotationZ);
    Use<RMatrix (RMatrix::*)() const>(&RMatrix::GetInverse);
    Use<RMatrix (RMatrix::*)(const RMatrix&) const>(&RMatrix::operator*);
    Use<Vector (RMatrix::*)(const Vector&) const>(&RMatrix::operator*);
    Use<SFrequency (RMatrix::*)(const SFrequency&) const>(&RMatrix::operator*);
}

TEST(PublicInterface, PointArray)
{
    Use<int (PointArray::*)() const>(&PointArray::N);
    Use<int (PointArray::*)() const>(&PointArray::GetN);
    Use<Vector& (PointArray::*)(int) const>(&PointArray::At);
    Use<Vector& (PointArray::*)(int) const>(&PointArray::operator[]);
    Use<const Vector& (PointArray::*)(int) const>(&PointArray::GetPoint);
    Use<void (PointArray::*)(int, const Vector&)>(&PointArray::SetPoint);
    Use<void (PointArray::*)(int, const Vector&)>(&PointArray::Insert);
    Use<void (PointArray::*)(const Vector&)>(&PointArray::Insert);
    Use<void (PointArray::*)(int)>(&PointArray::Remove);
    Use<void (PointArray::*)()>(&PointArray::Remove);
    Use<bool (PointArray::*)(const PointArray&) const>(&PointArray::operator!=);
    Use<PointArray& (PointArray::*)(const Vector&)>(&PointArray::operator+=);
    Use<PointArray& (PointArray::*)(const Vector&)>(&PointArray::operator-=);
    Use<PointArray& (PointArray::*)(double)>(&PointArray::operator*=);
    Use<PointArray& (PointArray::*)(const RMatrix&)>(&PointArray::operator*=);
    Use<PointArray& (PointArray::*)(const RMatrix&)>(&PointArray::Rotate);
    Use<Vector (PointArray::*)() const>(&PointArray::GetCenter);
    Use<void (PointArray::*)(const Vector&)>(&PointArray::SetCenter);
    Use<void (PointArray::*)()>(&PointArray::Localize);
    Use<double (PointArray::*)() const>(&PointArray::GetMinX);
    Use<double (PointArray::*)() const>(&PointArray::GetMaxX);
    Use<double (PointArray::*)() const>(&PointArray::GetMinY);
    Use<double (PointArray::*)() const>(&PointArray::GetMaxY);
    Use<double (PointArray::*)() const>(&PointArray::GetMinZ);
    Use<double (PointArray::*)() const>(&PointArray::GetMaxZ);
    Use<PointArray (PointArray::*)() const>(&PointArray::GetBoundingBox);
    Use<double (PointArray::*)() const>(&PointArray::GetWidth);
    Use<double (PointArray::*)() const>(&PointArray::GetHeight);
    Use<double (PointArray::*)() const>(&PointArray::GetDepth);
    Use<Plane (PointArray::*)() const>(&PointArray::GetPlane);
    Use<bool (PointArray::*)() const>(&PointArray::IsInplane);
    Use<PointArray& (PointArray::*)(const Plane&)>(&PointArray::ProjectionOn);
    Use<PointArray& (PointArray::*)(const Plane&, const Line&)>(&PointArray::ProjectionOn);
    Use<void (PointArray::*)() const>(&PointArray::Print);
    Use<void (PointArray::*)(const char*) const>(&PointArray::SaveAsCsv);
    Use<bool (PointArray::*)(const PointArray&) const>(&PointArray::operator==);
}

TEST(PublicInterface, LineSegment)
{
    Use<const Vector& (LineSegment::*)() const>(&LineSegment::GetBegin);
    Use<const Vector& (LineSegment::*)() const>(&LineSegment::GetEnd);
    Use<Vector (LineSegment::*)() const>(&LineSegment::GetVector);
    Use<Vector (LineSegment::*)() const>(&LineSegment::GetUnitVector);
    Use<double (LineSegment::*)() const>(&LineSegment::GetLength);
    Use<bool (LineSegment::*)() const>(&LineSegment::IsEmpty);
    Use<bool (LineSegment::*)(const Plane&) const>(&LineSegment::IsParallel);
    Use<bool (LineSegment::*)(const LineSegment&) const>(&LineSegment::operator!=);
    Use<bool (LineSegment::*)(const LineSegment&) const>(&LineSegment::operator==);
}

TEST(PublicInterface, Line)
{
    Use<Line (*)()>(&Line::X);
    Use<Line (*)()>(&Line::Y);
    Use<Line (*)()>(&Line::Z);
    Use<const Vector& (Line::*)() const>(&Line::GetPoint);
    Use<Vector (Line::*)(const Vector&) const>(&Line::GetVerticalPoint);
    Use<bool (Line::*)(const Vector&) const>(&Line::Include);
    Use<double (Line::*)(const Vector&) const>(&Line::GetDistance);
    Use<Vector (Line::*)(const Plane&) const>(&Line::GetIntersectionPoint);
    Use<bool (Line::*)(const Line&) const>(&Line::operator!=);
    Use<bool (Line::*)(const Line&) const>(&Line::operator==);
}

TEST(PublicInterface, Plane)
{
    Use<Plane (*)()>(&Plane::XY);
    Use<Plane (*)()>(&Plane::YZ);
    Use<Plane (*)()>(&Plane::ZX);
    Use<Vector (Plane::*)() const>(&Plane::GetNormalVector);
    Use<bool (Plane::*)(const Plane&) const>(&Plane::operator!=);
    Use<bool (Plane::*)() const>(&Plane::IsEmpty);
    Use<bool (Plane::*)(const Vector&) const>(&Plane::Include);
    Use<double (Plane::*)() const>(&Plane::GetDistance);
    Use<double (Plane::*)(const Vector&) const>(&Plane::GetDistance);
    Use<bool (Plane::*)(const Plane&) const>(&Plane::IsParallel);
    Use<bool (Plane::*)(const Line&) const>(&Plane::IsParallel);
    Use<double (Plane::*)(double, double) const>(&Plane::GetX);
    Use<double (Plane::*)(double, double) const>(&Plane::GetY);
    Use<double (Plane::*)(double, double) const>(&Plane::GetZ);
    Use<Vector (Plane::*)(const Vector&) const>(&Plane::GetVerticalPoint);
    Use<Vector (Plane::*)(const Line&) const>(&Plane::GetIntersectionPoint);
    Use<Line (Plane::*)(const Plane&) const>(&Plane::GetIntersectionLine);
    Use<bool (Plane::*)(const Plane&) const>(&Plane::operator==);
}

TEST(PublicInterface, Lumora)
{
    Use<void (Lumora::*)(Complex*)>(&Lumora::Init);
    Use<void (Lumora::*)()>(&Lumora::Dispose);
    Use<void (*)(std::int32_t)>(&Lumora::SetDefault);
    Use<void (*)(std::int32_t, std::int32_t)>(&Lumora::SetDefault);
    Use<void (*)(std::int32_t, std::int32_t, double)>(&Lumora::SetDefault);
    Use<void (*)(std::int32_t, std::int32_t, double, double)>(&Lumora::SetDefault);
    Use<void (*)(std::int32_t, std::int32_t, double, double, double)>(&Lumora::SetDefault);
    Use<void (*)(std::int32_t)>(&Lumora::SetDefaultNx);
    Use<void (*)(std::int32_t)>(&Lumora::SetDefaultNy);
    Use<void (*)(double)>(&Lumora::SetDefaultPx);
    Use<void (*)(double)>(&Lumora::SetDefaultPy);
    Use<void (*)(double)>(&Lumora::SetDefaultWavelength);
    Use<std::int32_t (*)()>(&Lumora::GetDefaultNx);
    Use<std::int32_t (*)()>(&Lumora::GetDefaultNy);
    Use<double (*)()>(&Lumora::GetDefaultPx);
    Use<double (*)()>(&Lumora::GetDefaultPy);
    Use<double (*)()>(&Lumora::GetDefaultWavelength);
    Use<double& (Lumora::*)()>(&Lumora::k);
    Use<double (Lumora::*)() const>(&Lumora::GetWavenumber);
    Use<void (Lumora::*)(double)>(&Lumora::SetWavenumber);
    Use<double (Lumora::*)() const>(&Lumora::GetWavelength);
    Use<double (Lumora::*)() const>(&Lumora::lambda);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetWavelength);
    Use<double& (Lumora::*)()>(&Lumora::Px);
    Use<double& (Lumora::*)()>(&Lumora::Py);
    Use<const double& (Lumora::*)() const>(&Lumora::GetPx);
    Use<const double& (Lumora::*)() const>(&Lumora::GetPy);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetPx);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetPy);
    Use<std::int32_t& (Lumora::*)()>(&Lumora::Nx);
    Use<std::int32_t& (Lumora::*)()>(&Lumora::Ny);
    Use<const std::int32_t& (Lumora::*)() const>(&Lumora::GetNx);
    Use<const std::int32_t& (Lumora::*)() const>(&Lumora::GetNy);
    Use<Lumora& (Lumora::*)(std::int32_t)>(&Lumora::SetNx);
    Use<Lumora& (Lumora::*)(std::int32_t)>(&Lumora::SetNy);
    Use<std::size_t (Lumora::*)() const>(&Lumora::N);
    Use<std::size_t (Lumora::*)() const>(&Lumora::GetN);
    Use<ComplexForm& (Lumora::*)()>(&Lumora::Form);
    Use<LML_RECT& (Lumora::*)()>(&Lumora::Window);
    Use<Complex* (Lumora::*)() const>(&Lumora::GetDataPointer);
    Use<Vector (Lumora::*)() const>(&Lumora::GetOrigin);
    Use<Lumora& (Lumora::*)(Vector)>(&Lumora::SetOrigin);
    Use<Vector (Lumora::*)() const>(&Lumora::GetNormalVector);
    Use<Lumora& (Lumora::*)(Vector)>(&Lumora::SetNormalVector);
    Use<bool (Lumora::*)() const>(&Lumora::IsPolarForm);
    Use<bool (Lumora::*)() const>(&Lumora::IsComplexForm);
    Use<bool (Lumora::*)() const>(&Lumora::IsSpectrum);
    Use<bool (Lumora::*)() const>(&Lumora::IsFourierSpace);
    Use<bool (Lumora::*)() const>(&Lumora::IsRealSpace);
    Use<bool (Lumora::*)() const>(&Lumora::IsComplexAmplitude);
    Use<double (Lumora::*)(int) const>(&Lumora::X);
    Use<double (Lumora::*)(int) const>(&Lumora::Y);
    Use<double (Lumora::*)(int) const>(&Lumora::itox);
    Use<double (Lumora::*)(int) const>(&Lumora::jtoy);
    Use<int (Lumora::*)(double) const>(&Lumora::I);
    Use<int (Lumora::*)(double) const>(&Lumora::J);
    Use<int (Lumora::*)(double) const>(&Lumora::xtoi);
    Use<int (Lumora::*)(double) const>(&Lumora::ytoj);
    Use<int (Lumora::*)(double) const>(&Lumora::_xtoi);
    Use<int (Lumora::*)(double) const>(&Lumora::_ytoj);
    Use<std::size_t (Lumora::*)(std::size_t, std::size_t) const>(&Lumora::IJ);
    Use<std::size_t (Lumora::*)(std::size_t, std::size_t) const>(&Lumora::ij);
    Use<double (Lumora::*)() const>(&Lumora::GetMinX);
    Use<double (Lumora::*)() const>(&Lumora::GetMaxX);
    Use<double (Lumora::*)() const>(&Lumora::GetMinY);
    Use<double (Lumora::*)() const>(&Lumora::GetMaxY);
    Use<double (Lumora::*)() const>(&Lumora::GetWidth);
    Use<double (Lumora::*)() const>(&Lumora::GetHeight);
    Use<Complex& (Lumora::*)(std::size_t)>(&Lumora::operator[]);
    Use<Complex& (Lumora::*)(int, int)>(&Lumora::Pixel);
    Use<float& (Lumora::*)(int, int)>(&Lumora::Real);
    Use<float& (Lumora::*)(int, int)>(&Lumora::Imag);
    Use<Complex (Lumora::*)(int, int) const>(&Lumora::GetPixel);
    Use<Lumora& (Lumora::*)(int, int, Complex)>(&Lumora::SetPixel);
    Use<double (Lumora::*)(int, int) const>(&Lumora::GetReal);
    Use<double (Lumora::*)(int, int) const>(&Lumora::GetImag);
    Use<Lumora& (Lumora::*)(int, int, double)>(&Lumora::SetReal);
    Use<Lumora& (Lumora::*)(int, int, double)>(&Lumora::SetImag);
    Use<double (Lumora::*)(int, int) const>(&Lumora::Intensity);
    Use<double (Lumora::*)(int, int) const>(&Lumora::GetIntensity);
    Use<double (Lumora::*)(int, int) const>(&Lumora::Amplitude);
    Use<double (Lumora::*)(int, int) const>(&Lumora::GetAmplitude);
    Use<Phase (Lumora::*)(int, int) const>(&Lumora::Phase);
    Use<Phase (Lumora::*)(int, int) const>(&Lumora::GetPhase);
    Use<Lumora& (Lumora::*)(int, int, double)>(&Lumora::SetIntensity);
    Use<Lumora& (Lumora::*)(int, int, double)>(&Lumora::SetAmplitude);
    Use<Lumora& (Lumora::*)(int, int, double)>(&Lumora::SetPhase);
    Use<Lumora& (Lumora::*)()>(&Lumora::SetWindowMax);
    Use<Lumora& (Lumora::*)(int, int, int, int)>(&Lumora::SetWindow);
    Use<Lumora& (Lumora::*)(double, double, double, double)>(&Lumora::SetWindow);
    Use<Lumora& (Lumora::*)(const LML_RECT&)>(&Lumora::SetWindow);
    Use<Lumora& (Lumora::*)(Lumora&)>(&Lumora::TransferWindow);
    Use<Lumora& (Lumora::*)(Lumora&)>(&Lumora::SetWindowCommon);
    Use<Lumora& (Lumora::*)()>(&Lumora::Clear);
    Use<Lumora& (Lumora::*)()>(&Lumora::operator-);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::operator+=);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::operator-=);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::operator*=);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::operator/=);
    Use<Lumora& (Lumora::*)(const ComplexDouble&)>(&Lumora::operator+=);
    Use<Lumora& (Lumora::*)(const ComplexDouble&)>(&Lumora::operator-=);
    Use<Lumora& (Lumora::*)(const ComplexDouble&)>(&Lumora::operator*=);
    Use<Lumora& (Lumora::*)(const ComplexDouble&)>(&Lumora::operator/=);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::operator*=);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::operator/=);
    Use<Lumora& (Lumora::*)(const Complex&)>(&Lumora::SetConst);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstReal);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstImag);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstAmplitude);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstPhase);
    Use<Lumora& (Lumora::*)(const Complex&)>(&Lumora::SetConstWin);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstWinReal);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstWinImag);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstWinAmplitude);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetConstWinPhase);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::CopyData);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::CopyParam);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToPolarForm);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToComplexForm);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToIntensity);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToLogIntensity);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToAbsolute);
    Use<Lumora& (Lumora::*)()>(&Lumora::ConvToConjugate);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::Normalize);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::NormalizeWin);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::ImageRotation);
    Use<Complex (Lumora::*)(double, double, Interpol) const>(&Lumora::GetInterpolVal);
    Use<Complex (Lumora::*)(double, double, InterpolFunc) const>(&Lumora::GetInterpolVal);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::NearestNeighbor);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::AdjacentInterpol);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::BiLinear);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::LinearInterpol);
    Use<Complex (Lumora::*)(double) const>(&Lumora::LinearInterpol1d);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::BiCubic);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::Cubic4Interpol);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::Cubic6Interpol);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::Cubic8Interpol);
    Use<Complex (Lumora::*)(double, double, int) const>(&Lumora::CubicInterpol);
    Use<Complex (Lumora::*)(double, double, int) const>(&Lumora::CubicInterpolX);
    Use<Complex (Lumora::*)(double, int) const>(&Lumora::CubicInterpol1d);
    Use<Complex (Lumora::*)(double, double) const>(&Lumora::SincInterpolX);
    Use<Complex (Lumora::*)(double) const>(&Lumora::SincInterpol1d);
    Use<void (*)()>(&Lumora::GenCubicTable);
    Use<RMatrix (Lumora::*)() const>(&Lumora::GetCRMatrixLG);
    Use<RMatrix (Lumora::*)() const>(&Lumora::GetCRMatrixGL);
    Use<Vector (Lumora::*)(Vector) const>(&Lumora::GetGlobalPosition);
    Use<Vector (Lumora::*)(Vector) const>(&Lumora::GetLocalPosition);
    Use<Vector (Lumora::*)() const>(&Lumora::GetUnitVectorX);
    Use<Vector (Lumora::*)() const>(&Lumora::GetUnitVectorY);
    Use<Plane (Lumora::*)() const>(&Lumora::GetPlane);
    Use<Line (Lumora::*)() const>(&Lumora::GetOpticalAxis);
    Use<PointArray (Lumora::*)(int) const>(&Lumora::GetFrame);
    Use<Lumora& (Lumora::*)(const Lumora&, Interpol)>(&Lumora::ResamplingCopy);
    Use<Lumora& (Lumora::*)(const Lumora&, Interpol)>(&Lumora::ResamplingAdd);
    Use<Lumora& (Lumora::*)(const Lumora&, Interpol)>(&Lumora::ResamplingMultiply);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::Add);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::Multiply);
    Use<double (Lumora::*)() const>(&Lumora::GetSquareSum);
    Use<double (Lumora::*)() const>(&Lumora::GetSquareSumWhole);
    Use<double (Lumora::*)() const>(&Lumora::GetSquareAverage);
    Use<double (Lumora::*)() const>(&Lumora::GetAbsoluteSum);
    Use<double (Lumora::*)() const>(&Lumora::GetAmplitudeSum);
    Use<double (Lumora::*)() const>(&Lumora::GetAbsoluteAverage);
    Use<double (Lumora::*)() const>(&Lumora::GetAmplitudeAverage);
    Use<double (Lumora::*)() const>(&Lumora::GetAbsoluteMax);
    Use<double (Lumora::*)() const>(&Lumora::GetAmplitudeMax);
    Use<double (Lumora::*)()>(&Lumora::GetAmplitudeMaxWhole);
    Use<double (Lumora::*)() const>(&Lumora::GetAmplitudeVariance);
    Use<double (Lumora::*)() const>(&Lumora::GetEnergyRatioInWindow);
    Use<double (Lumora::*)(const Lumora&, const ComplexDouble&) const>(&Lumora::GetSnr);
    Use<double (Lumora::*)(const Lumora&, const ComplexDouble&) const>(&Lumora::GetSNR);
    Use<ComplexDouble (Lumora::*)(const Lumora&) const>(&Lumora::GetScaleFactor);
    Use<double (Lumora::*)(const Lumora&)>(&Lumora::GetOverlapFactor);
    Use<Lumora& (Lumora::*)(int) const>(&Lumora::CreateRealHistogram);
    Use<Lumora& (Lumora::*)(double, double, double)>(&Lumora::SetRect);
    Use<Lumora& (Lumora::*)(double, double, double, double, double)>(&Lumora::SetSeparableGaussian);
    Use<Lumora& (Lumora::*)(double, double, double)>(&Lumora::SetGaussian);
    Use<Lumora& (Lumora::*)(Vector, Phase)>(&Lumora::SetPlaneWave);
    Use<Lumora& (Lumora::*)(double, double, Phase)>(&Lumora::SetPlaneWave);
    Use<Lumora& (Lumora::*)(Vector, Phase)>(&Lumora::MultiplyPlaneWave);
    Use<Lumora& (Lumora::*)(double, double, Phase)>(&Lumora::MultiplyPlaneWave);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::ReduceByAverage);
    Use<Lumora& (Lumora::*)(int, int)>(&Lumora::ReduceByAverage);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Replicate);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Pixelation);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Subdivide);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::EnlargeZeroFill);
    Use<Lumora& (Lumora::*)(const Lumora&, Complex)>(&Lumora::ExtractWindow);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::ShiftZeroFillX);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::ShiftZeroFillY);
    Use<Lumora& (Lumora::*)(Axis, double)>(&Lumora::ShiftZeroFill);
    Use<Lumora& (Lumora::*)(double, double)>(&Lumora::ShiftZeroFill);
    Use<Lumora& (Lumora::*)(Lumora&, float, float)>(&Lumora::Superimpose);
    Use<Lumora& (Lumora::*)(const PointArray&, const Complex&)>(&Lumora::PaintTriangle);
    Use<Lumora& (Lumora::*)(int, int, int, int, int, int, const Complex&)>(&Lumora::PaintTriangle);
    Use<Lumora& (Lumora::*)(int, int, const Complex&)>(&Lumora::Paint);
    Use<Lumora& (Lumora::*)(int, int, int, int, const Complex&)>(&Lumora::DrawLine);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Embed);
    Use<Lumora& (Lumora::*)(int, int)>(&Lumora::Embed);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Extract);
    Use<Lumora& (Lumora::*)(int, double)>(&Lumora::PartialClipAmplitude);
    Use<Lumora& (Lumora::*)(int, double)>(&Lumora::PartialClipPhase);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::HardClipAmplitude);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::HardClipPhase);
    Use<Lumora& (Lumora::*)()>(&Lumora::SetRandomPhase);
    Use<Lumora& (Lumora::*)()>(&Lumora::ModRandomPhase);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SetQuadraticPhase);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::Fft);
    Use<Lumora& (Lumora::*)(int)>(&Lumora::FFT);
    Use<Lumora& (Lumora::*)()>(&Lumora::FakeFft);
    Use<Lumora& (Lumora::*)()>(&Lumora::FakeFFT);
    Use<Lumora& (Lumora::*)()>(&Lumora::SwitchQuadrant);
    Use<Lumora& (Lumora::*)(double, double)>(&Lumora::RawScaledFft);
    Use<Lumora& (Lumora::*)(const ScaledFftDescriptor&)>(&Lumora::RawScaledFft);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::RawScaledFft1d);
    Use<Lumora& (Lumora::*)(double, double)>(&Lumora::ScaledFft);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::ScaledFft1d);
    Use<Lumora& (Lumora::*)(const Lumora&, double)>(&Lumora::ScaledProp1d);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::RawAsmPropFs);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::AsmPropFs);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::RawAsmProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::AsmProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::ExactAsmProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::FresnelProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::FourierProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::BackFourierProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::SPWProp);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::_Old_SPWProp);
    Use<Lumora& (Lumora::*)(double, TrigTable)>(&Lumora::SPWPropFsTbl);
    Use<Lumora& (Lumora::*)(const Lumora&, int)>(&Lumora::ShiftedAsmProp);
    Use<Lumora& (Lumora::*)(const Lumora&, int)>(&Lumora::ShiftedAsmPropAdd);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedAsmPropEx);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedAsmPropAddEx);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedFresnelProp);
    Use<Lumora& (Lumora::*)(const Lumora&, const ShiftedFresnelPropDescriptor&)>(&Lumora::ShiftedFresnelProp);
    Use<Lumora& (Lumora::*)(const Lumora&, const ShiftedFresnelPropDescriptor&)>(&Lumora::ShiftedFresnelPropAdd);
    Use<Lumora& (Lumora::*)(const Vector&, double, double)>(&Lumora::ShiftedFresnelProp);
    Use<Lumora& (Lumora::*)(const Vector&, double, double, const ShiftedFresnelPropDescriptor&)>(
        &Lumora::ShiftedFresnelProp);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedFresnelPropAddEx);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedFresnelPropEx);
    Use<Lumora& (Lumora::*)(const Lumora&)>(&Lumora::ShiftedFresnelProp1d);
    Use<Lumora& (Lumora::*)(const Lumora&, RMatrix&, SFrequency*, Interpol, bool)>(&Lumora::Rotate);
    Use<Lumora& (Lumora::*)(const Lumora&, RMatrix&, SFrequency*, Interpol, bool)>(&Lumora::RotateFs);
    Use<SFrequency (Lumora::*)(Lumora&, RMatrix&)>(&Lumora::GetRotationFs);
    Use<SFrequency (Lumora::*)(Lumora&)>(&Lumora::GetRotationParaFs);
    Use<Lumora& (Lumora::*)(double, double*)>(&Lumora::RotateY);
    Use<Lumora& (Lumora::*)(double, Interpol, int, double*)>(&Lumora::RotateYFs);
    Use<Lumora& (Lumora::*)(double)>(&Lumora::Rotate1d);
    Use<Lumora& (Lumora::*)(double, Interpol, int)>(&Lumora::RotateSpec1d);
    Use<double (Lumora::*)(double, double) const>(&Lumora::ww);
    Use<double (Lumora::*)(double, double, double) const>(&Lumora::uh);
    Use<double (Lumora::*)(double, double, double) const>(&Lumora::uu);
    Use<double (Lumora::*)(double, double) const>(&Lumora::uh);
    Use<double (Lumora::*)(double, double) const>(&Lumora::uu);
    Use<Lumora& (Lumora::*)(Vector)>(&Lumora::AddSphericalWave);
    Use<Lumora& (Lumora::*)(Vector, Phase, double)>(&Lumora::AddSphericalWave);
    Use<Lumora& (Lumora::*)(Vector, Phase, double, WindowFunc)>(&Lumora::AddSphericalWave);
    Use<Lumora& (Lumora::*)(double, double, double, double, WindowFunc)>(&Lumora::AddSphericalWave);
    Use<Lumora& (Lumora::*)(double, double, double, double, WindowFunc)>(&Lumora::SetSphericalWave);
    Use<Lumora& (Lumora::*)(const SphericalWaveDescriptor&, double, double, double, double, double, WindowFunc)>(
        &Lumora::AddSphericalWaveSqr);
    Use<void (Lumora::*)(Vector)>(&Lumora::InitSphericalWaveSQR);
    Use<Lumora& (Lumora::*)(double, double, double, double, double, WindowFunc)>(&Lumora::AddSphericalWaveSQR);
    Use<void (Lumora::*)(double, double)>(&Lumora::InitSphericalWaveRF);
    Use<Lumora& (Lumora::*)(double, double, double, double, double, WindowFunc)>(&Lumora::AddSphericalWaveRF);
    Use<void (Lumora::*)(const char*, const OptionHead*) const>(&Lumora::SaveAsLw);
    Use<void (Lumora::*)(const char*, const OptionHead*) const>(&Lumora::SaveAsLW);
    Use<void (Lumora::*)(const char*, const OptionHead*) const>(&Lumora::WinSaveAsLw);
    Use<void (Lumora::*)(const char*, const OptionHead*) const>(&Lumora::WinSaveAsLW);
    Use<Lumora& (Lumora::*)(const char*, OptionHead*)>(&Lumora::LoadLw);
    Use<Lumora& (Lumora::*)(const char*, OptionHead*)>(&Lumora::LoadLW);
    Use<Lumora& (Lumora::*)(const char*, const OptionHead*)>(&Lumora::MultiplyFileLW);
    Use<Lumora& (Lumora::*)(const char*, const OptionHead*)>(&Lumora::SuperimposeFileLW);
    Use<void (Lumora::*)(const char*) const>(&Lumora::SaveAsDE);
    Use<void (Lumora::*)(const char*) const>(&Lumora::SaveAsCA);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::LoadDE);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::LoadCA);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::SuperimposeFileDE);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::SuperimposeFileCA);
    Use<void (Lumora::*)(const char*, Axis, int) const>(&Lumora::SaveAsCsv);
    Use<void (Lumora::*)(const char*, int) const>(&Lumora::SaveAsCSV);
    Use<void (Lumora::*)(const char*, int) const>(&Lumora::SaveAsText);
    Use<void (Lumora::*)(const char*) const>(&Lumora::SaveAsPTF);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::LoadCSV);
    Use<Lumora& (Lumora::*)(const char*)>(&Lumora::LoadLm);
    Use<void (Lumora::*)(const char*) const>(&Lumora::SaveAsLm);
    Use<void (Lumora::*)(const char*) const>(&Lumora::WinSaveAsLm);
    Use<Lumora& (Lumora::*)(const char*, std::uint16_t, bool*)>(&Lumora::LoadMpLm);
    Use<Lumora& (Lumora::*)(const char*, std::uint16_t, bool*)>(&Lumora::LoadParamMpLm);
    Use<void (Lumora::*)(const char*, std::uint16_t) const>(&Lumora::SaveAsMpLm);
    Use<Lumora& (Lumora::*)(const char*, std::uint16_t, std::uint16_t, bool*)>(&Lumora::LoadSegLm);
    Use<Lumora& (Lumora::*)(const char*, std::uint16_t, std::uint16_t, bool*)>(&Lumora::LoadParamSegLm);
    Use<void (Lumora::*)(const char*, std::uint16_t, std::uint16_t) const>(&Lumora::SaveAsSegLm);
    Use<void (Lumora::*)(const char*) const>(&Lumora::SaveParamSegLm);
    Use<void (Lumora::*)(const char*, Mode, double, double, Gradation, int) const>(&Lumora::WinSaveAsBMPEx);
    Use<void (Lumora::*)(const char*, Mode, Gradation, int, double, double) const>(&Lumora::WinSaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, Gradation, int) const>(&Lumora::WinSaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, Gradation) const>(&Lumora::WinSaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::WinSaveAsBMPC);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::WinSaveAsBMP);
    Use<void (Lumora::*)(const char*, Mode, Gradation, int, double, double) const>(&Lumora::SaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, Gradation, int) const>(&Lumora::SaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, Gradation) const>(&Lumora::SaveAsBmp);
    Use<void (Lumora::*)(const char*, Mode, double, double, Gradation, int) const>(&Lumora::SaveAsBMPEx);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::SaveAsBMPC);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::SaveAsBMP);
    Use<Lumora& (Lumora::*)(const char*, Mode, Complex)>(&Lumora::LoadBmp);
    Use<Lumora& (Lumora::*)(const char*, Mode, Complex)>(&Lumora::LoadBMP);
    Use<Lumora& (Lumora::*)(const char*, Mode)>(&Lumora::LoadBMP);
    Use<void (Lumora::*)(const char*, Mode, double, double, const OptionHead*) const>(&Lumora::WinSaveAsHBI);
    Use<void (Lumora::*)(const char*, Mode, double, double, OptionHead*) const>(&Lumora::SaveAsHBI);
    Use<Lumora& (Lumora::*)(const char*, Mode)>(&Lumora::LoadHBI);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::WinSaveAsRAW);
    Use<void (Lumora::*)(const char*, Mode, double, double) const>(&Lumora::SaveAsRAW);
}

TEST(PublicInterface, ScaledFftDescriptor)
{
    Use<bool (ScaledFftDescriptor::*)(int, int, double, double) const>(&ScaledFftDescriptor::IsCompatibleWith);
    Use<void (ScaledFftDescriptor::*)()>(&ScaledFftDescriptor::Dispose);
    Use<bool (ScaledFftDescriptor::*)(const ScaledFftDescriptor&) const>(&ScaledFftDescriptor::operator==);
}

TEST(PublicInterface, ShiftedFresnelPropDescriptor)
{
    Use<bool (ShiftedFresnelPropDescriptor::*)(double, double, double, const Lumora&) const>(
        &ShiftedFresnelPropDescriptor::IsCompatibleWith);
    Use<bool (ShiftedFresnelPropDescriptor::*)(double, double, double, double, double, double, int, int) const>(
        &ShiftedFresnelPropDescriptor::IsCompatibleWith);
    Use<bool (ShiftedFresnelPropDescriptor::*)(const ShiftedFresnelPropDescriptor&) const>(
        &ShiftedFresnelPropDescriptor::operator==);
}

TEST(PublicInterface, SphericalWaveDescriptor)
{
    Use<bool (SphericalWaveDescriptor::*)(double, double, double, Vector) const>(&SphericalWaveDescriptor::IsSameAs);
    Use<bool (SphericalWaveDescriptor::*)(double, double, double, Vector) const>(
        &SphericalWaveDescriptor::IsCompatibleWith);
    Use<bool (SphericalWaveDescriptor::*)(const SphericalWaveDescriptor&) const>(&SphericalWaveDescriptor::operator==);
}

TEST(PublicInterface, TrigTable)
{
    Use<double (TrigTable::*)(double) const>(&TrigTable::Sin);
    Use<double (TrigTable::*)(double) const>(&TrigTable::Cos);
    Use<double (TrigTable::*)(double) const>(&TrigTable::SinR);
    Use<double (TrigTable::*)(double) const>(&TrigTable::CosR);
    Use<unsigned int (TrigTable::*)() const>(&TrigTable::N);
}

// Protected members are reached through a derived class, and only so.
class OpenPointArray : public PointArray
{
public:
    static void Check()
    {
        Use<void (PointArray::*)()>(&OpenPointArray::copyA2V);
        Use<void (PointArray::*)()>(&OpenPointArray::copyV2A);
        Use<std::vector<Vector>* (*)(int)>(&OpenPointArray::_newVector);
        Use<void (PointArray::*)(int)>(&OpenPointArray::newVector);
        Use<void (PointArray::*)(const std::vector<Vector>&)>(&OpenPointArray::newVector);
        Use<Vector& (PointArray::*)(int) const>(&OpenPointArray::arrayAt);
    }
};

class OpenLumora : public Lumora
{
public:
    static void Check()
    {
        Use<void (Lumora::*)()>(&OpenLumora::PushForm);
        Use<ComplexForm (Lumora::*)()>(&OpenLumora::PullForm);
        Use<Lumora& (Lumora::*)()>(&OpenLumora::_ConvToPolarForm);
        Use<Lumora& (Lumora::*)()>(&OpenLumora::_ConvToComplexForm);
        Use<void (Lumora::*)(double)>(&OpenLumora::SPW1d);
        Use<void (Lumora::*)(_LM_File&)>(&OpenLumora::LoadParamLm);
        Use<void (Lumora::*)(_LM_File&)>(&OpenLumora::LoadDataLm);
        Use<bool (Lumora::*)(_LM_File&)>(&OpenLumora::LoadParamMpLm);
        Use<bool (Lumora::*)(_LM_File&, int, int, std::int64_t*)>(&OpenLumora::LoadParamSegLm);
        Use<void (Lumora::*)(_LM_File&) const>(&OpenLumora::SaveDataHeadLm);
        Use<Vector (Lumora::*)(int, int, int, int) const>(&OpenLumora::GetDispSegLm);
    }
};

class OpenScaledFftDescriptor : public ScaledFftDescriptor
{
public:
    static void Check()
    {
        Use<void (ScaledFftDescriptor::*)(int, int, double, double)>(&OpenScaledFftDescriptor::_ScaledFftDescriptor);
    }
};

class OpenSphericalWaveDescriptor : public SphericalWaveDescriptor
{
public:
    static void Check()
    {
        Use<double (SphericalWaveDescriptor::*)(double) const>(&OpenSphericalWaveDescriptor::CalcSin);
        Use<double (SphericalWaveDescriptor::*)(double) const>(&OpenSphericalWaveDescriptor::CalcCos);
    }
};

TEST(PublicInterface, ProtectedMembers)
{
    OpenPointArray::Check();
    OpenLumora::Check();
    OpenScaledFftDescriptor::Check();
    OpenSphericalWaveDescriptor::Check();
}

TEST(PublicInterface, FreeFunctions)
{
    Use<double (*)(const Vector&, const Vector&)>(&LumoraLib::Angle);
    Use<Complex (*)(double, double)>(&LumoraLib::Comp);
    Use<void (*)(const char*, std::uint16_t)>(&LumoraLib::CreateFileMpLm);
    Use<void (*)(const char*, std::uint16_t, std::uint16_t)>(&LumoraLib::CreateFileSegLm);
    Use<void (*)(ErrorCode, const char*, const char*)>(&LumoraLib::Error);
    Use<void (*)(int, float*, int*, int, double*)>(&LumoraLib::FftsgBackwardRow);
    Use<void (*)(int, int, int, float**, float*, int*, double*)>(&LumoraLib::FftsgColumns);
    Use<void (*)(int, float*, int*, int, double*)>(&LumoraLib::FftsgForwardRow);
    Use<void (*)(int, int*, double*)>(&LumoraLib::FftsgMakeTables);
    Use<void (*)(Complex*, int, int)>(&LumoraLib::FftsgTransform1d);
    Use<void (*)(Complex*, int, int, int)>(&LumoraLib::FftsgTransform2d);
    Use<void (*)(_LM_File&, ErrorCode, const char*)>(&LumoraLib::FileError);
    Use<void (*)(void*)>(&LumoraLib::Free);
    Use<CpuType (*)()>(&LumoraLib::GetCpuType);
    Use<const char* (*)()>(&LumoraLib::GetCpuTypeString);
    Use<DevelopEnv (*)()>(&LumoraLib::GetCreateEnv);
    Use<const char* (*)()>(&LumoraLib::GetCreateEnvString);
    Use<const char* (*)()>(&LumoraLib::GetCreateEnvVersionString);
    Use<const char* (*)()>(&LumoraLib::GetCreateTimeStamp);
    Use<DevelopEnv (*)()>(&LumoraLib::GetDevelopEnv);
    Use<const char* (*)()>(&LumoraLib::GetDevelopEnvString);
    Use<bool (*)()>(&LumoraLib::GetDynamicThreads);
    Use<ErrorHandling (*)()>(&LumoraLib::GetErrorHandling);
    Use<const char* (*)(ErrorCode)>(&LumoraLib::GetErrorString);
    Use<FftLib (*)()>(&LumoraLib::GetFftLib);
    Use<bool (*)()>(&LumoraLib::GetMistakeReports);
    Use<InterpolFunc (*)(Interpol)>(&LumoraLib::GetInterpolFunc);
    Use<Line (*)(const Vector&, const Vector&)>(&LumoraLib::GetLine);
    Use<std::FILE* (*)()>(&LumoraLib::GetLogFile);
    Use<int (*)()>(&LumoraLib::GetMajorVersion);
    Use<int (*)()>(&LumoraLib::GetMinorVersion);
    Use<int (*)()>(&LumoraLib::GetNumProcs);
    Use<int (*)()>(&LumoraLib::GetNumThreads);
    Use<int (*)()>(&LumoraLib::GetPatchNumber);
    Use<Platform (*)()>(&LumoraLib::GetPlatform);
    Use<const char* (*)()>(&LumoraLib::GetPlatformString);
    Use<const double& (*)()>(&LumoraLib::GetPositionTolerance);
    Use<int (*)(const char*)>(&LumoraLib::GetSizeMpLm);
    Use<int (*)(const char*, int&, int&)>(&LumoraLib::GetSizeSegLm);
    Use<DevelopEnv (*)()>(&LumoraLib::GetTargetEnv);
    Use<const char* (*)()>(&LumoraLib::GetTargetEnvString);
    Use<std::int64_t (*)()>(&LumoraLib::GetTick);
    Use<double (*)()>(&LumoraLib::GetTickSec);
    Use<const char* (*)()>(&LumoraLib::GetVersionString);
    Use<void* (*)(std::size_t, const char*)>(&LumoraLib::Malloc);
    Use<int (*)()>(&LumoraLib::PopNumThreads);
    Use<void (*)(const char*, ...)>(&LumoraLib::PrintL);
    Use<void (*)(const char*, ...)>(&LumoraLib::PrintLog);
    Use<void (*)(const char*, ...)>(&LumoraLib::Printf);
    Use<int (*)()>(&LumoraLib::PullNumThreads);
    Use<void (*)()>(&LumoraLib::PushNumThreads);
    Use<void (*)(int)>(&LumoraLib::PushNumThreads);
    Use<void (*)(bool)>(&LumoraLib::SetDynamicThreads);
    Use<void (*)(ErrorHandling)>(&LumoraLib::SetErrorHandling);
    Use<void (*)(FftLib)>(&LumoraLib::SetFftLib);
    Use<void (*)(MistakeHandler)>(&LumoraLib::SetMistakeHandler);
    Use<void (*)(bool)>(&LumoraLib::SetMistakeReports);
    Use<void (*)()>(&LumoraLib::SetNumThreads);
    Use<void (*)(int)>(&LumoraLib::SetNumThreads);
    Use<void (*)(double)>(&LumoraLib::SetPositionTolerance);
    Use<void (*)(const char*)>(&LumoraLib::Start);
    Use<void (*)(int)>(&LumoraLib::Start);
    Use<void (*)(int, const char*)>(&LumoraLib::Start);
    Use<double (*)(ComplexDouble)>(&LumoraLib::abs);
    Use<Phase (*)(ComplexDouble)>(&LumoraLib::arg);
    Use<ComplexDouble (*)(double)>(&LumoraLib::euler);
    Use<ComplexDouble (*)(ComplexDouble)>(&LumoraLib::exp);
    Use<double (*)(ComplexDouble)>(&LumoraLib::norm);
    Use<ComplexDouble (*)(double, ComplexDouble)>(&LumoraLib::operator*);
    Use<std::ostream& (*)(std::ostream&, const PointArray&)>(&LumoraLib::operator<<);
    Use<std::ostream& (*)(std::ostream&, const SFrequency&)>(&LumoraLib::operator<<);
    Use<std::ostream& (*)(std::ostream&, const SqrMatrix&)>(&LumoraLib::operator<<);
    Use<std::ostream& (*)(std::ostream&, const Vector&)>(&LumoraLib::operator<<);
    Use<ComplexDouble (*)(double, double)>(&LumoraLib::polar);
}
