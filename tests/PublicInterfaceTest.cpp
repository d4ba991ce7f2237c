// The whole interface as a list: names, signatures, results and access. Linked against the shared library, so that
// every entry is proved to be exported; a member that changes or goes breaks this file, and a new one is added here by
// hand.
#include "LmlLumora.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>

using namespace LumoraLib;

namespace
{
/// Picks the overloads of this very type and takes their addresses, which must be there at link time.
template <class Class, class Signature>
void Has(std::initializer_list<Signature Class::*> members)
{
    for (const auto member : members)
        EXPECT_TRUE(member != nullptr);
}
template <class Signature>
void Has(std::initializer_list<Signature*> functions)
{
    for (const auto function : functions)
        EXPECT_TRUE(function != nullptr);
}

// Names that a user must not reach.
#define LML_HIDDEN(Class, member)                                                                                      \
    template <class T>                                                                                                 \
    concept Reaches_##member = requires                                                                                \
    {                                                                                                                  \
        &T::member;                                                                                                    \
    };                                                                                                                 \
    static_assert(!Reaches_##member<Class>)
LML_HIDDEN(Lumora, PushForm);
LML_HIDDEN(Lumora, PullForm);
LML_HIDDEN(Lumora, _ConvToPolarForm);
LML_HIDDEN(Lumora, _ConvToComplexForm);
LML_HIDDEN(Lumora, SPW1d);
LML_HIDDEN(Lumora, k_);
LML_HIDDEN(Lumora, dataPointer_);
LML_HIDDEN(Lumora, origin_);
LML_HIDDEN(SphericalWaveDescriptor, CalcSin);
LML_HIDDEN(SphericalWaveDescriptor, CalcCos);
} // namespace

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

static_assert(std::is_base_of_v<std::exception, LumoraException> &&
              sizeof(LumoraException) <= sizeof(std::exception) + 4 + 32 + 128 + 128 + 4);

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

// The two complex numbers differ in the type of a part alone.
template <class T, class Part>
void HasTheMembersOfAComplexNumber()
{
    Has<T, Part&()>({&T::real, &T::imag});
    Has<T, Part() const>({&T::real, &T::imag, &T::Real, &T::Imag});
    Has<T, double() const>({&T::GetReal, &T::GetImag, &T::Intensity, &T::GetIntensity, &T::Amplitude, &T::GetAmplitude});
    Has<T, void(double)>({&T::SetReal, &T::SetImag, &T::SetIntensity, &T::SetAmplitude, &T::SetPhase});
    Has<T, Phase() const>({&T::Phase, &T::GetPhase});
    Has<T, T() const>({&T::conjg, &T::Conjugate, &T::operator-});
    Has<T, T(const T&) const>({&T::operator+, &T::operator-, &T::operator*, &T::operator/});
    Has<T, T&(const T&)>({&T::operator+=, &T::operator-=, &T::operator*=, &T::operator/=});
    Has<T, T(double) const>({&T::operator*, &T::operator/});
    Has<T, T&(double)>({&T::operator*=, &T::operator/=});
    Has<T, bool(const T&) const>({&T::operator!=, &T::operator==});
}

TEST(PublicInterface, Vector)
{
    using T = Vector;
    Has<T, double&()>({&T::X, &T::Y, &T::Z});
    Has<T, double() const>({&T::GetX, &T::GetY, &T::GetZ, &T::GetSquare, &T::GetLength});
    Has<T, void(double)>({&T::SetX, &T::SetY, &T::SetZ});
    Has<T, Vector(const Vector&) const>({&T::operator+, &T::operator-, &T::operator&});
    Has<T, Vector&(const Vector&)>({&T::operator+=, &T::operator-=, &T::operator&=});
    Has<T, Vector() const>({&T::operator-, &T::GetNormalized});
    Has<T, Vector(double) const>({&T::operator*, &T::operator/});
    Has<T, Vector&(double)>({&T::operator*=, &T::operator/=, &T::SetLength});
    Has<T, double(const Vector&) const>({&T::operator*, &T::GetDistance});
    Has<T, Vector&(const RMatrix&)>({&T::operator*=});
    Has<T, bool(const Vector&) const>({&T::operator!=, &T::operator==});
    Has<T, bool() const>({&T::IsEmpty});
    Has<T, double(const Plane&) const>({&T::GetDistance});
    Has<T, double(const Line&) const>({&T::GetDistance});
    Has<T, bool(const Plane&) const>({&T::IsInplane});
    Has<T, bool(const Line&) const>({&T::IsInline});
    Has<T, Vector&()>({&T::Normalize});
}

TEST(PublicInterface, SqrMatrix)
{
    using T = SqrMatrix;
    Has<T, int() const>({&T::N, &T::GetN});
    Has<T, double&(int, int)>({&T::Element});
    Has<T, double(int, int) const>({&T::Element, &T::GetElement});
    Has<T, void(int, int, double)>({&T::SetElement});
    Has<T, void()>({&T::Clear, &T::Transpose});
    Has<T, SqrMatrix&(const SqrMatrix&)>({&T::Copy});
    Has<T, SqrMatrix(const SqrMatrix&) const>({&T::operator*});
}

TEST(PublicInterface, PointArray)
{
    using T = PointArray;
    Has<T, int() const>({&T::N, &T::GetN});
    Has<T, Vector&(int) const>({&T::At, &T::operator[]});
    Has<T, const Vector&(int) const>({&T::GetPoint});
    Has<T, void(int, const Vector&)>({&T::SetPoint, &T::Insert});
    Has<T, void(const Vector&)>({&T::Insert, &T::SetCenter});
    Has<T, void(int)>({&T::Remove});
    Has<T, void()>({&T::Remove, &T::Localize});
    Has<T, bool(const PointArray&) const>({&T::operator!=, &T::operator==});
    Has<T, PointArray&(const Vector&)>({&T::operator+=, &T::operator-=});
    Has<T, PointArray&(double)>({&T::operator*=});
    Has<T, PointArray&(const RMatrix&)>({&T::operator*=, &T::Rotate});
    Has<T, Vector() const>({&T::GetCenter});
    Has<T, double() const>({&T::GetMinX, &T::GetMaxX, &T::GetMinY, &T::GetMaxY, &T::GetMinZ, &T::GetMaxZ, &T::GetWidth,
                            &T::GetHeight, &T::GetDepth});
    Has<T, PointArray() const>({&T::GetBoundingBox});
    Has<T, Plane() const>({&T::GetPlane});
    Has<T, bool() const>({&T::IsInplane});
    Has<T, PointArray&(const Plane&)>({&T::ProjectionOn});
    Has<T, PointArray&(const Plane&, const Line&)>({&T::ProjectionOn});
    Has<T, void() const>({&T::Print});
    Has<T, void(const char*) const>({&T::SaveAsCsv});
}

TEST(PublicInterface, LineSegment)
{
    using T = LineSegment;
    Has<T, const Vector&() const>({&T::GetBegin, &T::GetEnd});
    Has<T, Vector() const>({&T::GetVector, &T::GetUnitVector});
    Has<T, double() const>({&T::GetLength});
    Has<T, bool() const>({&T::IsEmpty});
    Has<T, bool(const Plane&) const>({&T::IsParallel});
    Has<T, bool(const LineSegment&) const>({&T::operator!=, &T::operator==});
}

TEST(PublicInterface, Line)
{
    using T = Line;
    Has<T, const Vector&() const>({&T::GetPoint});
    Has<T, Vector(const Vector&) const>({&T::GetVerticalPoint});
    Has<T, bool(const Vector&) const>({&T::Include});
    Has<T, double(const Vector&) const>({&T::GetDistance});
    Has<T, Vector(const Plane&) const>({&T::GetIntersectionPoint});
    Has<T, bool(const Line&) const>({&T::operator!=, &T::operator==});
}

TEST(PublicInterface, Plane)
{
    using T = Plane;
    Has<T, Vector() const>({&T::GetNormalVector});
    Has<T, bool(const Plane&) const>({&T::operator!=, &T::IsParallel, &T::operator==});
    Has<T, bool() const>({&T::IsEmpty});
    Has<T, bool(const Vector&) const>({&T::Include});
    Has<T, double() const>({&T::GetDistance});
    Has<T, double(const Vector&) const>({&T::GetDistance});
    Has<T, bool(const Line&) const>({&T::IsParallel});
    Has<T, double(double, double) const>({&T::GetX, &T::GetY, &T::GetZ});
    Has<T, Vector(const Vector&) const>({&T::GetVerticalPoint});
    Has<T, Vector(const Line&) const>({&T::GetIntersectionPoint});
    Has<T, Line(const Plane&) const>({&T::GetIntersectionLine});
}

TEST(PublicInterface, Lumora)
{
    using T = Lumora;
    Has<T, void(Complex*)>({&T::Init});
    Has<T, void()>({&T::Dispose});
    Has<T, double&()>({&T::k, &T::Px, &T::Py});
    Has<T, double() const>({&T::GetWavenumber,
                            &T::GetWavelength,
                            &T::lambda,
                            &T::GetMinX,
                            &T::GetMaxX,
                            &T::GetMinY,
                            &T::GetMaxY,
                            &T::GetWidth,
                            &T::GetHeight,
                            &T::GetSquareSum,
                            &T::GetSquareSumWhole,
                            &T::GetSquareAverage,
                            &T::GetAbsoluteSum,
                            &T::GetAmplitudeSum,
                            &T::GetAbsoluteAverage,
                            &T::GetAmplitudeAverage,
                            &T::GetAbsoluteMax,
                            &T::GetAmplitudeMax,
                            &T::GetAmplitudeVariance,
                            &T::GetEnergyRatioInWindow});
    Has<T, void(double)>({&T::SetWavenumber});
    Has<T, Lumora&(double)>({&T::SetWavelength,
                             &T::SetPx,
                             &T::SetPy,
                             &T::operator*=,
                             &T::operator/=,
                             &T::SetConstReal,
                             &T::SetConstImag,
                             &T::SetConstAmplitude,
                             &T::SetConstPhase,
                             &T::SetConstWinReal,
                             &T::SetConstWinImag,
                             &T::SetConstWinAmplitude,
                             &T::SetConstWinPhase,
                             &T::Normalize,
                             &T::NormalizeWin,
                             &T::ShiftZeroFillX,
                             &T::ShiftZeroFillY,
                             &T::SetQuadraticPhase,
                             &T::RawScaledFft1d,
                             &T::ScaledFft1d,
                             &T::RawAsmPropFs,
                             &T::AsmPropFs,
                             &T::RawAsmProp,
                             &T::AsmProp,
                             &T::ExactAsmProp,
                             &T::FresnelProp,
                             &T::FourierProp,
                             &T::BackFourierProp,
                             &T::SPWProp,
                             &T::_Old_SPWProp,
                             &T::Rotate1d});
    Has<T, const double&() const>({&T::GetPx, &T::GetPy});
    Has<T, std::int32_t&()>({&T::Nx, &T::Ny});
    Has<T, const std::int32_t&() const>({&T::GetNx, &T::GetNy});
    Has<T, Lumora&(std::int32_t)>({&T::SetNx, &T::SetNy});
    Has<T, std::size_t() const>({&T::N, &T::GetN});
    Has<T, ComplexForm&()>({&T::Form});
    Has<T, LML_RECT&()>({&T::Window});
    Has<T, Complex*() const>({&T::GetDataPointer});
    Has<T, Vector() const>({&T::GetOrigin, &T::GetNormalVector, &T::GetUnitVectorX, &T::GetUnitVectorY});
    Has<T, Lumora&(Vector)>({&T::SetOrigin, &T::SetNormalVector, &T::AddSphericalWave});
    Has<T, bool() const>({&T::IsPolarForm, &T::IsComplexForm, &T::IsSpectrum, &T::IsFourierSpace, &T::IsRealSpace,
                          &T::IsComplexAmplitude});
    Has<T, double(int) const>({&T::X, &T::Y, &T::itox, &T::jtoy});
    Has<T, int(double) const>({&T::I, &T::J, &T::xtoi, &T::ytoj, &T::_xtoi, &T::_ytoj});
    Has<T, std::size_t(std::size_t, std::size_t) const>({&T::IJ, &T::ij});
    Has<T, Complex&(std::size_t)>({&T::operator[]});
    Has<T, Complex&(int, int)>({&T::Pixel});
    Has<T, float&(int, int)>({&T::Real, &T::Imag});
    Has<T, Complex(int, int) const>({&T::GetPixel});
    Has<T, Lumora&(int, int, Complex)>({&T::SetPixel});
    Has<T, double(int, int) const>(
        {&T::GetReal, &T::GetImag, &T::Intensity, &T::GetIntensity, &T::Amplitude, &T::GetAmplitude});
    Has<T, Lumora&(int, int, double)>({&T::SetReal, &T::SetImag, &T::SetIntensity, &T::SetAmplitude, &T::SetPhase});
    Has<T, Phase(int, int) const>({&T::Phase, &T::GetPhase});
    Has<T, Lumora&()>({&T::SetWindowMax, &T::Clear, &T::operator-, &T::ConvToPolarForm, &T::ConvToComplexForm,
                       &T::ConvToIntensity, &T::ConvToLogIntensity, &T::ConvToAbsolute, &T::ConvToConjugate,
                       &T::SetRandomPhase, &T::ModRandomPhase, &T::FakeFft, &T::FakeFFT, &T::SwitchQuadrant});
    Has<T, Lumora&(int, int, int, int)>({&T::SetWindow});
    Has<T, Lumora&(double, double, double, double)>({&T::SetWindow});
    Has<T, Lumora&(const LML_RECT&)>({&T::SetWindow});
    Has<T, Lumora&(Lumora&)>({&T::TransferWindow, &T::SetWindowCommon});
    Has<T, Lumora&(const Lumora&)>({&T::operator+=, &T::operator-=, &T::operator*=, &T::operator/=, &T::CopyData,
                                    &T::CopyParam, &T::Add, &T::Multiply, &T::ShiftedAsmPropEx, &T::ShiftedAsmPropAddEx,
                                    &T::ShiftedFresnelProp, &T::ShiftedFresnelPropAddEx, &T::ShiftedFresnelPropEx,
                                    &T::ShiftedFresnelProp1d});
    Has<T, Lumora&(const ComplexDouble&)>({&T::operator+=, &T::operator-=, &T::operator*=, &T::operator/=});
    Has<T, Lumora&(const Complex&)>({&T::SetConst, &T::SetConstWin});
    Has<T, Lumora&(int)>({&T::ImageRotation, &T::ReduceByAverage, &T::Replicate, &T::Pixelation, &T::Subdivide,
                          &T::EnlargeZeroFill, &T::Embed, &T::Extract, &T::HardClipAmplitude, &T::HardClipPhase,
                          &T::Fft, &T::FFT});
    Has<T, Complex(double, double, Interpol) const>({&T::GetInterpolVal});
    Has<T, Complex(double, double, InterpolFunc) const>({&T::GetInterpolVal});
    Has<T, Complex(double, double) const>({&T::NearestNeighbor, &T::AdjacentInterpol, &T::BiLinear, &T::LinearInterpol,
                                           &T::BiCubic, &T::Cubic4Interpol, &T::Cubic6Interpol, &T::Cubic8Interpol,
                                           &T::SincInterpolX});
    Has<T, Complex(double) const>({&T::LinearInterpol1d, &T::SincInterpol1d});
    Has<T, Complex(double, double, int) const>({&T::CubicInterpol, &T::CubicInterpolX});
    Has<T, Complex(double, int) const>({&T::CubicInterpol1d});
    Has<T, RMatrix() const>({&T::GetCRMatrixLG, &T::GetCRMatrixGL});
    Has<T, Vector(Vector) const>({&T::GetGlobalPosition, &T::GetLocalPosition});
    Has<T, Plane() const>({&T::GetPlane});
    Has<T, Line() const>({&T::GetOpticalAxis});
    Has<T, PointArray(int) const>({&T::GetFrame});
    Has<T, Lumora&(const Lumora&, Interpol)>({&T::ResamplingCopy, &T::ResamplingAdd, &T::ResamplingMultiply});
    Has<T, double()>({&T::GetAmplitudeMaxWhole});
    Has<T, double(const Lumora&, const ComplexDouble&) const>({&T::GetSnr, &T::GetSNR});
    Has<T, ComplexDouble(const Lumora&) const>({&T::GetScaleFactor});
    Has<T, double(const Lumora&)>({&T::GetOverlapFactor});
    Has<T, Lumora&(int) const>({&T::CreateRealHistogram});
    Has<T, Lumora&(double, double, double)>({&T::SetRect, &T::SetGaussian});
    Has<T, Lumora&(double, double, double, double, double)>({&T::SetSeparableGaussian});
    Has<T, Lumora&(Vector, Phase)>({&T::SetPlaneWave, &T::MultiplyPlaneWave});
    Has<T, Lumora&(double, double, Phase)>({&T::SetPlaneWave, &T::MultiplyPlaneWave});
    Has<T, Lumora&(int, int)>({&T::ReduceByAverage, &T::Embed});
    Has<T, Lumora&(const Lumora&, Complex)>({&T::ExtractWindow});
    Has<T, Lumora&(Axis, double)>({&T::ShiftZeroFill});
    Has<T, Lumora&(double, double)>({&T::ShiftZeroFill, &T::RawScaledFft, &T::ScaledFft});
    Has<T, Lumora&(Lumora&, float, float)>({&T::Superimpose});
    Has<T, Lumora&(const PointArray&, const Complex&)>({&T::PaintTriangle});
    Has<T, Lumora&(int, int, int, int, int, int, const Complex&)>({&T::PaintTriangle});
    Has<T, Lumora&(int, int, const Complex&)>({&T::Paint});
    Has<T, Lumora&(int, int, int, int, const Complex&)>({&T::DrawLine});
    Has<T, Lumora&(int, double)>({&T::PartialClipAmplitude, &T::PartialClipPhase});
    Has<T, Lumora&(const ScaledFftDescriptor&)>({&T::RawScaledFft});
    Has<T, Lumora&(const Lumora&, double)>({&T::ScaledProp1d});
    Has<T, Lumora&(double, TrigTable)>({&T::SPWPropFsTbl});
    Has<T, Lumora&(const Lumora&, int)>({&T::ShiftedAsmProp, &T::ShiftedAsmPropAdd});
    Has<T, Lumora&(const Lumora&, const ShiftedFresnelPropDescriptor&)>(
        {&T::ShiftedFresnelProp, &T::ShiftedFresnelPropAdd});
    Has<T, Lumora&(const Vector&, double, double)>({&T::ShiftedFresnelProp});
    Has<T, Lumora&(const Vector&, double, double, const ShiftedFresnelPropDescriptor&)>({&T::ShiftedFresnelProp});
    Has<T, Lumora&(const Lumora&, RMatrix&, SFrequency*, Interpol, bool)>({&T::Rotate, &T::RotateFs});
    Has<T, SFrequency(Lumora&, RMatrix&)>({&T::GetRotationFs});
    Has<T, SFrequency(Lumora&)>({&T::GetRotationParaFs});
    Has<T, Lumora&(double, double*)>({&T::RotateY});
    Has<T, Lumora&(double, Interpol, int, double*)>({&T::RotateYFs});
    Has<T, Lumora&(double, Interpol, int)>({&T::RotateSpec1d});
    Has<T, double(double, double) const>({&T::ww, &T::uh, &T::uu});
    Has<T, double(double, double, double) const>({&T::uh, &T::uu});
    Has<T, Lumora&(Vector, Phase, double)>({&T::AddSphericalWave});
    Has<T, Lumora&(Vector, Phase, double, WindowFunc)>({&T::AddSphericalWave});
    Has<T, Lumora&(double, double, double, double, WindowFunc)>({&T::AddSphericalWave, &T::SetSphericalWave});
    Has<T, Lumora&(const SphericalWaveDescriptor&, double, double, double, double, double, WindowFunc)>(
        {&T::AddSphericalWaveSqr});
    Has<T, void(Vector)>({&T::InitSphericalWaveSQR});
    Has<T, Lumora&(double, double, double, double, double, WindowFunc)>(
        {&T::AddSphericalWaveSQR, &T::AddSphericalWaveRF});
    Has<T, void(double, double)>({&T::InitSphericalWaveRF});
    Has<T, void(const char*, const OptionHead*) const>({&T::SaveAsLw, &T::SaveAsLW, &T::WinSaveAsLw, &T::WinSaveAsLW});
    Has<T, Lumora&(const char*, OptionHead*)>({&T::LoadLw, &T::LoadLW});
    Has<T, Lumora&(const char*, const OptionHead*)>({&T::MultiplyFileLW, &T::SuperimposeFileLW});
    Has<T, void(const char*) const>(
        {&T::SaveAsDE, &T::SaveAsCA, &T::SaveAsPTF, &T::SaveAsLm, &T::WinSaveAsLm, &T::SaveParamSegLm});
    Has<T, Lumora&(const char*)>(
        {&T::LoadDE, &T::LoadCA, &T::SuperimposeFileDE, &T::SuperimposeFileCA, &T::LoadCSV, &T::LoadLm});
    Has<T, void(const char*, Axis, int) const>({&T::SaveAsCsv});
    Has<T, void(const char*, int) const>({&T::SaveAsCSV, &T::SaveAsText});
    Has<T, Lumora&(const char*, std::uint16_t, bool*)>({&T::LoadMpLm, &T::LoadParamMpLm});
    Has<T, void(const char*, std::uint16_t) const>({&T::SaveAsMpLm});
    Has<T, Lumora&(const char*, std::uint16_t, std::uint16_t, bool*)>({&T::LoadSegLm, &T::LoadParamSegLm});
    Has<T, void(const char*, std::uint16_t, std::uint16_t) const>({&T::SaveAsSegLm});
    Has<T, void(const char*, Mode, double, double, Gradation, int) const>({&T::WinSaveAsBMPEx, &T::SaveAsBMPEx});
    Has<T, void(const char*, Mode, Gradation, int, double, double) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, Gradation, int) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, Gradation) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, double, double) const>(
        {&T::WinSaveAsBMPC, &T::WinSaveAsBMP, &T::SaveAsBMPC, &T::SaveAsBMP, &T::WinSaveAsRAW, &T::SaveAsRAW});
    Has<T, Lumora&(const char*, Mode, Complex)>({&T::LoadBmp, &T::LoadBMP});
    Has<T, Lumora&(const char*, Mode)>({&T::LoadBMP, &T::LoadHBI});
    Has<T, void(const char*, Mode, double, double, const OptionHead*) const>({&T::WinSaveAsHBI});
    Has<T, void(const char*, Mode, double, double, OptionHead*) const>({&T::SaveAsHBI});
}

TEST(PublicInterface, OtherClasses)
{
    HasTheMembersOfAComplexNumber<Complex, float>();
    HasTheMembersOfAComplexNumber<ComplexDouble, double>();
    Has<Complex, void(double, double)>({&Complex::Comp});
    Has<LumoraException, int() const>({&LumoraException::GetErrorCode});
    Has<LumoraException, char*()>(
        {&LumoraException::GetFuncname, &LumoraException::GetUserMessage, &LumoraException::GetSystemMessage});
    Has<LumoraException, const char*() const>(
        {&LumoraException::GetFuncname, &LumoraException::GetUserMessage, &LumoraException::GetSystemMessage});
    Has<LumoraException, const char*() const noexcept>({&LumoraException::what});
    Has<StopWatch, void()>({&StopWatch::Reset, &StopWatch::Start, &StopWatch::Stop});
    Has<StopWatch, double() const>({&StopWatch::Read});
    Has<Phase, Phase(Phase) const>({&Phase::operator+, &Phase::operator-});
    Has<Size, bool(Size) const>({&Size::operator!=, &Size::operator==});
    Has<RMatrix, RMatrix&(const SqrMatrix&)>({&RMatrix::Copy});
    Has<RMatrix, RMatrix() const>({&RMatrix::GetInverse});
    Has<RMatrix, RMatrix(const RMatrix&) const>({&RMatrix::operator*});
    Has<RMatrix, Vector(const Vector&) const>({&RMatrix::operator*});
    Has<RMatrix, SFrequency(const SFrequency&) const>({&RMatrix::operator*});
    Has<ScaledFftDescriptor, bool(int, int, double, double) const>({&ScaledFftDescriptor::IsCompatibleWith});
    Has<ScaledFftDescriptor, void()>({&ScaledFftDescriptor::Dispose});
    Has<ScaledFftDescriptor, bool(const ScaledFftDescriptor&) const>({&ScaledFftDescriptor::operator==});
    Has<ShiftedFresnelPropDescriptor, bool(double, double, double, const Lumora&) const>(
        {&ShiftedFresnelPropDescriptor::IsCompatibleWith});
    Has<ShiftedFresnelPropDescriptor, bool(double, double, double, double, double, double, int, int) const>(
        {&ShiftedFresnelPropDescriptor::IsCompatibleWith});
    Has<ShiftedFresnelPropDescriptor, bool(const ShiftedFresnelPropDescriptor&) const>({
        &ShiftedFresnelPropDescriptor::operator==});
    Has<SphericalWaveDescriptor, bool(double, double, double, Vector) const>(
        {&SphericalWaveDescriptor::IsSameAs, &SphericalWaveDescriptor::IsCompatibleWith});
    Has<SphericalWaveDescriptor, bool(const SphericalWaveDescriptor&) const>({&SphericalWaveDescriptor::operator==});
    Has<TrigTable, double(double) const>({&TrigTable::Sin, &TrigTable::Cos, &TrigTable::SinR, &TrigTable::CosR});
    Has<TrigTable, unsigned int() const>({&TrigTable::N});
}

// Protected members are reached through a derived class, and only so.
struct OpenPointArray : PointArray
{
    static void Check()
    {
        Has<PointArray, void()>({&OpenPointArray::copyA2V, &OpenPointArray::copyV2A});
        Has<std::vector<Vector>*(int)>({&OpenPointArray::_newVector});
        Has<PointArray, void(int)>({&OpenPointArray::newVector});
        Has<PointArray, void(const std::vector<Vector>&)>({&OpenPointArray::newVector});
        Has<PointArray, Vector&(int) const>({&OpenPointArray::arrayAt});
    }
};
struct OpenLumora : Lumora
{
    static void Check()
    {
        Has<Lumora, void()>({&OpenLumora::PushForm});
        Has<Lumora, ComplexForm()>({&OpenLumora::PullForm});
        Has<Lumora, Lumora&()>({&OpenLumora::_ConvToPolarForm, &OpenLumora::_ConvToComplexForm});
        Has<Lumora, void(double)>({&OpenLumora::SPW1d});
        Has<Lumora, void(_LM_File&)>({&OpenLumora::LoadParamLm, &OpenLumora::LoadDataLm});
        Has<Lumora, bool(_LM_File&)>({&OpenLumora::LoadParamMpLm});
        Has<Lumora, bool(_LM_File&, int, int, std::int64_t*)>({&OpenLumora::LoadParamSegLm});
        Has<Lumora, void(_LM_File&) const>({&OpenLumora::SaveDataHeadLm});
        Has<Lumora, Vector(int, int, int, int) const>({&OpenLumora::GetDispSegLm});
    }
};
struct OpenScaledFftDescriptor : ScaledFftDescriptor
{
    static void Check()
    {
        Has<ScaledFftDescriptor, void(int, int, double, double)>({&OpenScaledFftDescriptor::_ScaledFftDescriptor});
    }
};
struct OpenSphericalWaveDescriptor : SphericalWaveDescriptor
{
    static void Check()
    {
        Has<SphericalWaveDescriptor, double(double) const>(
            {&OpenSphericalWaveDescriptor::CalcSin, &OpenSphericalWaveDescriptor::CalcCos});
    }
};

TEST(PublicInterface, ProtectedMembers)
{
    OpenPointArray::Check();
    OpenLumora::Check();
    OpenScaledFftDescriptor::Check();
    OpenSphericalWaveDescriptor::Check();
}

TEST(PublicInterface, FunctionsWithoutAnObject)
{
    Has<const char*(const LumoraException&) noexcept>({&DescribeError});
    Has<Vector()>({&Vector::I, &Vector::J, &Vector::K});
    Has<const RMatrix&(double)>({&RMatrix::RotationX, &RMatrix::RotationY, &RMatrix::RotationZ, &RMatrix::CRotationX,
                                 &RMatrix::CRotationY, &RMatrix::CRotationZ});
    Has<Line()>({&Line::X, &Line::Y, &Line::Z});
    Has<Plane()>({&Plane::XY, &Plane::YZ, &Plane::ZX});
    Has<void(std::int32_t)>({&Lumora::SetDefault, &Lumora::SetDefaultNx, &Lumora::SetDefaultNy});
    Has<void(std::int32_t, std::int32_t)>({&Lumora::SetDefault});
    Has<void(std::int32_t, std::int32_t, double)>({&Lumora::SetDefault});
    Has<void(std::int32_t, std::int32_t, double, double)>({&Lumora::SetDefault});
    Has<void(std::int32_t, std::int32_t, double, double, double)>({&Lumora::SetDefault});
    Has<void(double)>(
        {&Lumora::SetDefaultPx, &Lumora::SetDefaultPy, &Lumora::SetDefaultWavelength, &SetPositionTolerance});
    Has<std::int32_t()>({&Lumora::GetDefaultNx, &Lumora::GetDefaultNy});
    Has<double()>({&Lumora::GetDefaultPx, &Lumora::GetDefaultPy, &Lumora::GetDefaultWavelength, &GetTickSec});
    Has<void()>({&Lumora::GenCubicTable, &PushNumThreads, &SetNumThreads});
    Has<double(const Vector&, const Vector&)>({&Angle});
    Has<Complex(double, double)>({&Comp});
    Has<void(const char*, std::uint16_t)>({&CreateFileMpLm});
    Has<void(const char*, std::uint16_t, std::uint16_t)>({&CreateFileSegLm});
    Has<void(ErrorCode, const char*, const char*)>({&LumoraLib::Error});
    Has<void(int, float*, int*, int, double*)>({&FftsgBackwardRow, &FftsgForwardRow});
    Has<void(int, int, int, float**, float*, int*, double*)>({&FftsgColumns});
    Has<void(int, int*, double*)>({&FftsgMakeTables});
    Has<void(Complex*, int, int)>({&FftsgTransform1d});
    Has<void(Complex*, int, int, int)>({&FftsgTransform2d});
    Has<void(_LM_File&, ErrorCode, const char*)>({&FileError});
    Has<void(void*)>({&LumoraLib::Free});
    Has<CpuType()>({&GetCpuType});
    Has<const char*()>({&GetCpuTypeString, &GetCreateEnvString, &GetCreateEnvVersionString, &GetCreateTimeStamp,
                        &GetDevelopEnvString, &GetPlatformString, &GetTargetEnvString, &GetVersionString});
    Has<DevelopEnv()>({&GetCreateEnv, &GetDevelopEnv, &GetTargetEnv});
    Has<bool()>({&GetDynamicThreads, &GetMistakeReports});
    Has<ErrorHandling()>({&GetErrorHandling});
    Has<const char*(ErrorCode)>({&GetErrorString});
    Has<FftLib()>({&GetFftLib});
    Has<InterpolFunc(Interpol)>({&GetInterpolFunc});
    Has<Line(const Vector&, const Vector&)>({&GetLine});
    Has<std::FILE*()>({&GetLogFile});
    Has<int()>({&GetMajorVersion, &GetMinorVersion, &GetNumProcs, &GetNumThreads, &GetPatchNumber, &PopNumThreads,
                &PullNumThreads});
    Has<Platform()>({&GetPlatform});
    Has<const double&()>({&GetPositionTolerance});
    Has<int(const char*)>({&GetSizeMpLm});
    Has<int(const char*, int&, int&)>({&GetSizeSegLm});
    Has<std::int64_t()>({&GetTick});
    Has<void*(std::size_t, const char*)>({&Malloc});
    Has<void(const char*, ...)>({&PrintL, &PrintLog, &Printf});
    Has<void(int)>({&PushNumThreads, &SetNumThreads, &Start});
    Has<void(bool)>({&SetDynamicThreads, &SetMistakeReports});
    Has<void(ErrorHandling)>({&SetErrorHandling});
    Has<void(FftLib)>({&SetFftLib});
    Has<void(MistakeHandler)>({&SetMistakeHandler});
    Has<void(const char*)>({&Start});
    Has<void(int, const char*)>({&Start});
    Has<double(ComplexDouble)>({&LumoraLib::abs, &LumoraLib::norm});
    Has<Phase(ComplexDouble)>({&LumoraLib::arg});
    Has<ComplexDouble(double)>({&euler});
    Has<ComplexDouble(ComplexDouble)>({&LumoraLib::exp});
    Has<ComplexDouble(double, ComplexDouble)>({&LumoraLib::operator*});
    Has<std::ostream&(std::ostream&, const PointArray&)>({&LumoraLib::operator<<});
    Has<std::ostream&(std::ostream&, const SFrequency&)>({&LumoraLib::operator<<});
    Has<std::ostream&(std::ostream&, const SqrMatrix&)>({&LumoraLib::operator<<});
    Has<std::ostream&(std::ostream&, const Vector&)>({&LumoraLib::operator<<});
    Has<ComplexDouble(double, double)>({&LumoraLib::polar});
}
