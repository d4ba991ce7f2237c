// The whole interface as a list: names, signatures, results and access. Linked against the shared library, so that
// every entry is proved to be exported; a member that changes or goes breaks this file, and a new one is added here by
// hand.
#include "LmlLumora.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <vector>

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
template <class Class, class Signature>
bool Is(Signature Class::*member)
{
    return member != nullptr;
}
template <class Signature>
bool Is(Signature* function)
{
    return function != nullptr;
}
template <class... Bool>
void All(Bool... present)
{
    EXPECT_TRUE((present && ...));
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
    Has<T, double() const>(
        {&T::GetReal, &T::GetImag, &T::Intensity, &T::GetIntensity, &T::Amplitude, &T::GetAmplitude});
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
    Has<T, bool(const Vector&) const>({&T::operator!=, &T::operator==});
    All(Is<T, Vector&(const RMatrix&)>(&T::operator*=), Is<T, bool() const>(&T::IsEmpty),
        Is<T, double(const Plane&) const>(&T::GetDistance), Is<T, double(const Line&) const>(&T::GetDistance),
        Is<T, bool(const Plane&) const>(&T::IsInplane), Is<T, bool(const Line&) const>(&T::IsInline),
        Is<T, Vector&()>(&T::Normalize));
}

TEST(PublicInterface, SqrMatrix)
{
    using T = SqrMatrix;
    Has<T, int() const>({&T::N, &T::GetN});
    Has<T, double(int, int) const>({&T::Element, &T::GetElement});
    Has<T, void()>({&T::Clear, &T::Transpose});
    All(Is<T, double&(int, int)>(&T::Element), Is<T, void(int, int, double)>(&T::SetElement),
        Is<T, SqrMatrix&(const SqrMatrix&)>(&T::Copy), Is<T, SqrMatrix(const SqrMatrix&) const>(&T::operator*));
}

TEST(PublicInterface, PointArray)
{
    using T = PointArray;
    Has<T, int() const>({&T::N, &T::GetN});
    Has<T, Vector&(int) const>({&T::At, &T::operator[]});
    Has<T, void(int, const Vector&)>({&T::SetPoint, &T::Insert});
    Has<T, void(const Vector&)>({&T::Insert, &T::SetCenter});
    Has<T, void()>({&T::Remove, &T::Localize});
    Has<T, bool(const PointArray&) const>({&T::operator!=, &T::operator==});
    Has<T, PointArray&(const Vector&)>({&T::operator+=, &T::operator-=});
    Has<T, PointArray&(const RMatrix&)>({&T::operator*=, &T::Rotate});
    Has<T, double() const>({&T::GetMinX, &T::GetMaxX, &T::GetMinY, &T::GetMaxY, &T::GetMinZ, &T::GetMaxZ, &T::GetWidth,
                            &T::GetHeight, &T::GetDepth});
    All(Is<T, const Vector&(int) const>(&T::GetPoint), Is<T, void(int)>(&T::Remove),
        Is<T, PointArray&(double)>(&T::operator*=), Is<T, Vector() const>(&T::GetCenter),
        Is<T, PointArray() const>(&T::GetBoundingBox), Is<T, Plane() const>(&T::GetPlane),
        Is<T, bool() const>(&T::IsInplane), Is<T, PointArray&(const Plane&)>(&T::ProjectionOn),
        Is<T, PointArray&(const Plane&, const Line&)>(&T::ProjectionOn), Is<T, void() const>(&T::Print),
        Is<T, void(const char*) const>(&T::SaveAsCsv));
}

TEST(PublicInterface, LineSegment)
{
    using T = LineSegment;
    Has<T, const Vector&() const>({&T::GetBegin, &T::GetEnd});
    Has<T, Vector() const>({&T::GetVector, &T::GetUnitVector});
    Has<T, bool(const LineSegment&) const>({&T::operator!=, &T::operator==});
    All(Is<T, double() const>(&T::GetLength), Is<T, bool() const>(&T::IsEmpty),
        Is<T, bool(const Plane&) const>(&T::IsParallel));
}

TEST(PublicInterface, Line)
{
    using T = Line;
    Has<T, bool(const Line&) const>({&T::operator!=, &T::operator==});
    All(Is<T, const Vector&() const>(&T::GetPoint), Is<T, Vector(const Vector&) const>(&T::GetVerticalPoint),
        Is<T, bool(const Vector&) const>(&T::Include), Is<T, double(const Vector&) const>(&T::GetDistance),
        Is<T, Vector(const Plane&) const>(&T::GetIntersectionPoint));
}

TEST(PublicInterface, Plane)
{
    using T = Plane;
    Has<T, bool(const Plane&) const>({&T::operator!=, &T::IsParallel, &T::operator==});
    Has<T, double(double, double) const>({&T::GetX, &T::GetY, &T::GetZ});
    All(Is<T, Vector() const>(&T::GetNormalVector), Is<T, bool() const>(&T::IsEmpty),
        Is<T, bool(const Vector&) const>(&T::Include), Is<T, double() const>(&T::GetDistance),
        Is<T, double(const Vector&) const>(&T::GetDistance), Is<T, bool(const Line&) const>(&T::IsParallel),
        Is<T, Vector(const Vector&) const>(&T::GetVerticalPoint),
        Is<T, Vector(const Line&) const>(&T::GetIntersectionPoint),
        Is<T, Line(const Plane&) const>(&T::GetIntersectionLine));
}

TEST(PublicInterface, Lumora)
{
    using T = Lumora;
    Has<T, double&()>({&T::k, &T::Px, &T::Py});
    Has<T, double() const>({&T::GetWavenumber, &T::GetWavelength, &T::lambda, &T::GetMinX, &T::GetMaxX, &T::GetMinY,
                            &T::GetMaxY, &T::GetWidth, &T::GetHeight, &T::GetSquareSum, &T::GetSquareSumWhole,
                            &T::GetSquareAverage});
    Has<T, double() const>({&T::GetAbsoluteSum, &T::GetAmplitudeSum, &T::GetAbsoluteAverage, &T::GetAmplitudeAverage,
                            &T::GetAbsoluteMax, &T::GetAmplitudeMax, &T::GetAmplitudeVariance,
                            &T::GetEnergyRatioInWindow});
    Has<T, Lumora&(double)>({&T::SetWavelength, &T::SetPx, &T::SetPy, &T::operator*=, &T::operator/=, &T::SetConstReal,
                             &T::SetConstImag, &T::SetConstAmplitude, &T::SetConstPhase, &T::SetConstWinReal,
                             &T::SetConstWinImag, &T::SetConstWinAmplitude});
    Has<T, Lumora&(double)>({&T::SetConstWinPhase, &T::Normalize, &T::NormalizeWin, &T::ShiftZeroFillX,
                             &T::ShiftZeroFillY, &T::SetQuadraticPhase, &T::RawScaledFft1d, &T::ScaledFft1d,
                             &T::RawAsmPropFs, &T::AsmPropFs, &T::RawAsmProp, &T::AsmProp});
    Has<T, Lumora&(double)>({&T::ExactAsmProp, &T::FresnelProp, &T::FourierProp, &T::BackFourierProp, &T::SPWProp,
                             &T::_Old_SPWProp, &T::Rotate1d});
    Has<T, const double&() const>({&T::GetPx, &T::GetPy});
    Has<T, std::int32_t&()>({&T::Nx, &T::Ny});
    Has<T, const std::int32_t&() const>({&T::GetNx, &T::GetNy});
    Has<T, Lumora&(std::int32_t)>({&T::SetNx, &T::SetNy});
    Has<T, std::size_t() const>({&T::N, &T::GetN});
    Has<T, Vector() const>({&T::GetOrigin, &T::GetNormalVector, &T::GetUnitVectorX, &T::GetUnitVectorY});
    Has<T, Lumora&(Vector)>({&T::SetOrigin, &T::SetNormalVector, &T::AddSphericalWave});
    Has<T, bool() const>({&T::IsPolarForm, &T::IsComplexForm, &T::IsSpectrum, &T::IsFourierSpace, &T::IsRealSpace,
                          &T::IsComplexAmplitude});
    Has<T, double(int) const>({&T::X, &T::Y, &T::itox, &T::jtoy});
    Has<T, int(double) const>({&T::I, &T::J, &T::xtoi, &T::ytoj, &T::_xtoi, &T::_ytoj});
    Has<T, std::size_t(std::size_t, std::size_t) const>({&T::IJ, &T::ij});
    Has<T, float&(int, int)>({&T::Real, &T::Imag});
    Has<T, double(int, int) const>(
        {&T::GetReal, &T::GetImag, &T::Intensity, &T::GetIntensity, &T::Amplitude, &T::GetAmplitude});
    Has<T, Lumora&(int, int, double)>({&T::SetReal, &T::SetImag, &T::SetIntensity, &T::SetAmplitude, &T::SetPhase});
    Has<T, Phase(int, int) const>({&T::Phase, &T::GetPhase});
    Has<T, Lumora&()>({&T::SetWindowMax, &T::Clear, &T::operator-, &T::ConvToPolarForm, &T::ConvToComplexForm,
                       &T::ConvToIntensity, &T::ConvToLogIntensity, &T::ConvToAbsolute, &T::ConvToConjugate,
                       &T::SetRandomPhase, &T::ModRandomPhase, &T::FakeFft, &T::FakeFFT, &T::SwitchQuadrant});
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
    Has<T, Complex(double, double) const>({&T::NearestNeighbor, &T::AdjacentInterpol, &T::BiLinear, &T::LinearInterpol,
                                           &T::BiCubic, &T::Cubic4Interpol, &T::Cubic6Interpol, &T::Cubic8Interpol,
                                           &T::SincInterpolX});
    Has<T, Complex(double) const>({&T::LinearInterpol1d, &T::SincInterpol1d});
    Has<T, Complex(double, double, int) const>({&T::CubicInterpol, &T::CubicInterpolX});
    Has<T, RMatrix() const>({&T::GetCRMatrixLG, &T::GetCRMatrixGL});
    Has<T, Vector(Vector) const>({&T::GetGlobalPosition, &T::GetLocalPosition});
    Has<T, Lumora&(const Lumora&, Interpol)>({&T::ResamplingCopy, &T::ResamplingAdd, &T::ResamplingMultiply});
    Has<T, double(const Lumora&, const ComplexDouble&) const>({&T::GetSnr, &T::GetSNR});
    Has<T, Lumora&(double, double, double)>({&T::SetRect, &T::SetGaussian});
    Has<T, Lumora&(Vector, Phase)>({&T::SetPlaneWave, &T::MultiplyPlaneWave});
    Has<T, Lumora&(double, double, Phase)>({&T::SetPlaneWave, &T::MultiplyPlaneWave});
    Has<T, Lumora&(int, int)>({&T::ReduceByAverage, &T::Embed});
    Has<T, Lumora&(double, double)>({&T::ShiftZeroFill, &T::RawScaledFft, &T::ScaledFft});
    Has<T, Lumora&(int, double)>({&T::PartialClipAmplitude, &T::PartialClipPhase});
    Has<T, Lumora&(const Lumora&, int)>({&T::ShiftedAsmProp, &T::ShiftedAsmPropAdd});
    Has<T, Lumora&(const Lumora&, const ShiftedFresnelPropDescriptor&)>(
        {&T::ShiftedFresnelProp, &T::ShiftedFresnelPropAdd});
    Has<T, Lumora&(const Lumora&, RMatrix&, SFrequency*, Interpol, bool)>({&T::Rotate, &T::RotateFs});
    Has<T, double(double, double) const>({&T::ww, &T::uh, &T::uu});
    Has<T, double(double, double, double) const>({&T::uh, &T::uu});
    Has<T, Lumora&(double, double, double, double, WindowFunc)>({&T::AddSphericalWave, &T::SetSphericalWave});
    Has<T, Lumora&(double, double, double, double, double, WindowFunc)>(
        {&T::AddSphericalWaveSQR, &T::AddSphericalWaveRF});
    Has<T, void(const char*, const OptionHead*) const>({&T::SaveAsLw, &T::SaveAsLW, &T::WinSaveAsLw, &T::WinSaveAsLW});
    Has<T, Lumora&(const char*, OptionHead*)>({&T::LoadLw, &T::LoadLW});
    Has<T, Lumora&(const char*, const OptionHead*)>({&T::MultiplyFileLW, &T::SuperimposeFileLW});
    Has<T, void(const char*) const>(
        {&T::SaveAsDE, &T::SaveAsCA, &T::SaveAsPTF, &T::SaveAsLm, &T::WinSaveAsLm, &T::SaveParamSegLm});
    Has<T, Lumora&(const char*)>(
        {&T::LoadDE, &T::LoadCA, &T::SuperimposeFileDE, &T::SuperimposeFileCA, &T::LoadCSV, &T::LoadLm});
    Has<T, void(const char*, int) const>({&T::SaveAsCSV, &T::SaveAsText});
    Has<T, Lumora&(const char*, std::uint16_t, bool*)>({&T::LoadMpLm, &T::LoadParamMpLm});
    Has<T, Lumora&(const char*, std::uint16_t, std::uint16_t, bool*)>({&T::LoadSegLm, &T::LoadParamSegLm});
    Has<T, void(const char*, Mode, double, double, Gradation, int) const>({&T::WinSaveAsBMPEx, &T::SaveAsBMPEx});
    Has<T, void(const char*, Mode, Gradation, int, double, double) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, Gradation, int) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, Gradation) const>({&T::WinSaveAsBmp, &T::SaveAsBmp});
    Has<T, void(const char*, Mode, double, double) const>(
        {&T::WinSaveAsBMPC, &T::WinSaveAsBMP, &T::SaveAsBMPC, &T::SaveAsBMP, &T::WinSaveAsRAW, &T::SaveAsRAW});
    Has<T, Lumora&(const char*, Mode, Complex)>({&T::LoadBmp, &T::LoadBMP});
    Has<T, Lumora&(const char*, Mode)>({&T::LoadBMP, &T::LoadHBI});
    All(Is<T, void(Complex*)>(&T::Init), Is<T, void()>(&T::Dispose), Is<T, void(double)>(&T::SetWavenumber),
        Is<T, ComplexForm&()>(&T::Form), Is<T, LML_RECT&()>(&T::Window), Is<T, Complex*() const>(&T::GetDataPointer),
        Is<T, Complex&(std::size_t)>(&T::operator[]), Is<T, Complex&(int, int)>(&T::Pixel),
        Is<T, Complex(int, int) const>(&T::GetPixel), Is<T, Lumora&(int, int, Complex)>(&T::SetPixel),
        Is<T, Lumora&(int, int, int, int)>(&T::SetWindow),
        Is<T, Lumora&(double, double, double, double)>(&T::SetWindow), Is<T, Lumora&(const LML_RECT&)>(&T::SetWindow),
        Is<T, Complex(double, double, Interpol) const>(&T::GetInterpolVal),
        Is<T, Complex(double, double, InterpolFunc) const>(&T::GetInterpolVal),
        Is<T, Complex(double, int) const>(&T::CubicInterpol1d), Is<T, Plane() const>(&T::GetPlane),
        Is<T, Line() const>(&T::GetOpticalAxis), Is<T, PointArray(int) const>(&T::GetFrame),
        Is<T, double()>(&T::GetAmplitudeMaxWhole), Is<T, ComplexDouble(const Lumora&) const>(&T::GetScaleFactor),
        Is<T, double(const Lumora&)>(&T::GetOverlapFactor), Is<T, Lumora&(int) const>(&T::CreateRealHistogram),
        Is<T, Lumora&(double, double, double, double, double)>(&T::SetSeparableGaussian),
        Is<T, Lumora&(const Lumora&, Complex)>(&T::ExtractWindow), Is<T, Lumora&(Axis, double)>(&T::ShiftZeroFill),
        Is<T, Lumora&(Lumora&, float, float)>(&T::Superimpose),
        Is<T, Lumora&(const PointArray&, const Complex&)>(&T::PaintTriangle),
        Is<T, Lumora&(int, int, int, int, int, int, const Complex&)>(&T::PaintTriangle),
        Is<T, Lumora&(int, int, const Complex&)>(&T::Paint),
        Is<T, Lumora&(int, int, int, int, const Complex&)>(&T::DrawLine),
        Is<T, Lumora&(const ScaledFftDescriptor&)>(&T::RawScaledFft),
        Is<T, Lumora&(const Lumora&, double)>(&T::ScaledProp1d), Is<T, Lumora&(double, TrigTable)>(&T::SPWPropFsTbl),
        Is<T, Lumora&(const Vector&, double, double)>(&T::ShiftedFresnelProp),
        Is<T, Lumora&(const Vector&, double, double, const ShiftedFresnelPropDescriptor&)>(&T::ShiftedFresnelProp),
        Is<T, SFrequency(Lumora&, RMatrix&)>(&T::GetRotationFs), Is<T, SFrequency(Lumora&)>(&T::GetRotationParaFs),
        Is<T, Lumora&(double, double*)>(&T::RotateY), Is<T, Lumora&(double, Interpol, int, double*)>(&T::RotateYFs),
        Is<T, Lumora&(double, Interpol, int)>(&T::RotateSpec1d),
        Is<T, Lumora&(Vector, Phase, double)>(&T::AddSphericalWave),
        Is<T, Lumora&(Vector, Phase, double, WindowFunc)>(&T::AddSphericalWave),
        Is<T, Lumora&(const SphericalWaveDescriptor&, double, double, double, double, double, WindowFunc)>(
            &T::AddSphericalWaveSqr),
        Is<T, void(Vector)>(&T::InitSphericalWaveSQR), Is<T, void(double, double)>(&T::InitSphericalWaveRF),
        Is<T, void(const char*, Axis, int) const>(&T::SaveAsCsv),
        Is<T, void(const char*, std::uint16_t) const>(&T::SaveAsMpLm),
        Is<T, void(const char*, std::uint16_t, std::uint16_t) const>(&T::SaveAsSegLm),
        Is<T, void(const char*, Mode, double, double, const OptionHead*) const>(&T::WinSaveAsHBI),
        Is<T, void(const char*, Mode, double, double, OptionHead*) const>(&T::SaveAsHBI));
}

TEST(PublicInterface, OtherClasses)
{
    HasTheMembersOfAComplexNumber<Complex, float>();
    HasTheMembersOfAComplexNumber<ComplexDouble, double>();
    Has<LumoraException, char*()>(
        {&LumoraException::GetFuncname, &LumoraException::GetUserMessage, &LumoraException::GetSystemMessage});
    Has<LumoraException, const char*() const>(
        {&LumoraException::GetFuncname, &LumoraException::GetUserMessage, &LumoraException::GetSystemMessage});
    Has<StopWatch, void()>({&StopWatch::Reset, &StopWatch::Start, &StopWatch::Stop});
    Has<Phase, Phase(Phase) const>({&Phase::operator+, &Phase::operator-});
    Has<Size, bool(Size) const>({&Size::operator!=, &Size::operator==});
    Has<SphericalWaveDescriptor, bool(double, double, double, Vector) const>(
        {&SphericalWaveDescriptor::IsSameAs, &SphericalWaveDescriptor::IsCompatibleWith});
    Has<TrigTable, double(double) const>({&TrigTable::Sin, &TrigTable::Cos, &TrigTable::SinR, &TrigTable::CosR});
    All(Is<Complex, void(double, double)>(&Complex::Comp),
        Is<LumoraException, int() const>(&LumoraException::GetErrorCode),
        Is<LumoraException, const char*() const noexcept>(&LumoraException::what),
        Is<StopWatch, double() const>(&StopWatch::Read), Is<RMatrix, RMatrix&(const SqrMatrix&)>(&RMatrix::Copy),
        Is<RMatrix, RMatrix() const>(&RMatrix::GetInverse),
        Is<RMatrix, RMatrix(const RMatrix&) const>(&RMatrix::operator*),
        Is<RMatrix, Vector(const Vector&) const>(&RMatrix::operator*),
        Is<RMatrix, SFrequency(const SFrequency&) const>(&RMatrix::operator*),
        Is<ScaledFftDescriptor, bool(int, int, double, double) const>(&ScaledFftDescriptor::IsCompatibleWith),
        Is<ScaledFftDescriptor, void()>(&ScaledFftDescriptor::Dispose),
        Is<ScaledFftDescriptor, bool(const ScaledFftDescriptor&) const>(&ScaledFftDescriptor::operator==),
        Is<ShiftedFresnelPropDescriptor, bool(double, double, double, const Lumora&) const>(
            &ShiftedFresnelPropDescriptor::IsCompatibleWith),
        Is<ShiftedFresnelPropDescriptor, bool(double, double, double, double, double, double, int, int) const>(
            &ShiftedFresnelPropDescriptor::IsCompatibleWith),
        Is<ShiftedFresnelPropDescriptor, bool(const ShiftedFresnelPropDescriptor&) const>(
            &ShiftedFresnelPropDescriptor::operator==),
        Is<SphericalWaveDescriptor, bool(const SphericalWaveDescriptor&) const>(&SphericalWaveDescriptor::operator==),
        Is<TrigTable, unsigned int() const>(&TrigTable::N));
}

// Protected members are reached through a derived class, and only so.
struct OpenPointArray : PointArray
{
    static void Check()
    {
        Has<PointArray, void()>({&OpenPointArray::copyA2V, &OpenPointArray::copyV2A});
        All(Is<std::vector<Vector>*(int)>(&OpenPointArray::_newVector),
            Is<PointArray, void(int)>(&OpenPointArray::newVector),
            Is<PointArray, void(const std::vector<Vector>&)>(&OpenPointArray::newVector),
            Is<PointArray, Vector&(int) const>(&OpenPointArray::arrayAt));
    }
};
struct OpenLumora : Lumora
{
    static void Check()
    {
        Has<Lumora, Lumora&()>({&OpenLumora::_ConvToPolarForm, &OpenLumora::_ConvToComplexForm});
        Has<Lumora, void(_LM_File&)>({&OpenLumora::LoadParamLm, &OpenLumora::LoadDataLm});
        All(Is<Lumora, void()>(&OpenLumora::PushForm), Is<Lumora, ComplexForm()>(&OpenLumora::PullForm),
            Is<Lumora, void(double)>(&OpenLumora::SPW1d), Is<Lumora, bool(_LM_File&)>(&OpenLumora::LoadParamMpLm),
            Is<Lumora, bool(_LM_File&, int, int, std::int64_t*)>(&OpenLumora::LoadParamSegLm),
            Is<Lumora, void(_LM_File&) const>(&OpenLumora::SaveDataHeadLm),
            Is<Lumora, Vector(int, int, int, int) const>(&OpenLumora::GetDispSegLm));
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

TEST(PublicInterface, CloudsPhasesAndWholeFiles)
{
    using T = Lumora;
    Has<T, Lumora&(const CloudPoint*, std::int64_t)>({&T::AddPointCloud});
    Has<T, Lumora&(const CloudPoint*, std::int64_t, const CloudOptions&)>({&T::AddPointCloud});
    All(Is<T, CloudPlan(const CloudPoint*, std::int64_t, const CloudOptions&) const>(&T::PlanPointCloud),
        Is<T, Lumora&(double)>(&T::EncodeDoublePhase), Is<T, Lumora&(int, double)>(&T::EncodeErrorDiffusion),
        Is<T, Lumora&(const Lumora&)>(&T::ReplaceAmplitude),
        Is<T, Lumora&(const Lumora&, const PhaseRetrieval&)>(&T::RetrievePhase),
        Is<WholeFile, void()>(&WholeFile::Commit), Is<WholeFile, const char*() const>(&WholeFile::Path),
        Is<std::vector<CloudPoint>(const char*, const CloudLoadOptions&)>(&LoadPointCloud),
        Is<void(const char*, const CloudPoint*, std::size_t)>(&SavePointCloud),
        Is<void(ProgressHandler, void*)>(&SetProgressHandler));
    static_assert(std::is_constructible_v<WholeFile, const char*> && !std::is_copy_constructible_v<WholeFile>);
}

TEST(PublicInterface, ProtectedMembers)
{
    OpenPointArray::Check();
    OpenLumora::Check();
    OpenScaledFftDescriptor::Check();
    OpenSphericalWaveDescriptor::Check();
}

TEST(PublicInterface, FunctionsWithoutAnObject)
{
    Has<Vector()>({&Vector::I, &Vector::J, &Vector::K});
    Has<const RMatrix&(double)>({&RMatrix::RotationX, &RMatrix::RotationY, &RMatrix::RotationZ, &RMatrix::CRotationX,
                                 &RMatrix::CRotationY, &RMatrix::CRotationZ});
    Has<Line()>({&Line::X, &Line::Y, &Line::Z});
    Has<Plane()>({&Plane::XY, &Plane::YZ, &Plane::ZX});
    Has<void(std::int32_t)>({&Lumora::SetDefault, &Lumora::SetDefaultNx, &Lumora::SetDefaultNy});
    Has<void(double)>(
        {&Lumora::SetDefaultPx, &Lumora::SetDefaultPy, &Lumora::SetDefaultWavelength, &SetPositionTolerance});
    Has<std::int32_t()>({&Lumora::GetDefaultNx, &Lumora::GetDefaultNy});
    Has<double()>({&Lumora::GetDefaultPx, &Lumora::GetDefaultPy, &Lumora::GetDefaultWavelength, &GetTickSec});
    Has<void()>({&Lumora::GenCubicTable, &PushNumThreads, &SetNumThreads});
    Has<void(int, float*, int*, int, double*)>({&FftsgBackwardRow, &FftsgForwardRow});
    Has<const char*()>({&GetCpuTypeString, &GetCreateEnvString, &GetCreateEnvVersionString, &GetCreateTimeStamp,
                        &GetDevelopEnvString, &GetPlatformString, &GetTargetEnvString, &GetVersionString});
    Has<DevelopEnv()>({&GetCreateEnv, &GetDevelopEnv, &GetTargetEnv});
    Has<bool()>({&GetDynamicThreads, &GetMistakeReports});
    Has<int()>({&GetMajorVersion, &GetMinorVersion, &GetNumProcs, &GetNumThreads, &GetPatchNumber, &PopNumThreads,
                &PullNumThreads});
    Has<void(const char*, ...)>({&PrintL, &PrintLog, &Printf});
    Has<void(int)>({&PushNumThreads, &SetNumThreads, &Start});
    Has<void(bool)>({&SetDynamicThreads, &SetMistakeReports});
    Has<void(std::size_t)>({&SetPropagationCache});
    Has<std::size_t()>({&GetPropagationCache});
    Has<double(ComplexDouble)>({&LumoraLib::abs, &LumoraLib::norm});
    All(Is<const char*(const LumoraException&) noexcept>(&DescribeError),
        Is<void(std::int32_t, std::int32_t)>(&Lumora::SetDefault),
        Is<void(std::int32_t, std::int32_t, double)>(&Lumora::SetDefault),
        Is<void(std::int32_t, std::int32_t, double, double)>(&Lumora::SetDefault),
        Is<void(std::int32_t, std::int32_t, double, double, double)>(&Lumora::SetDefault),
        Is<double(const Vector&, const Vector&)>(&Angle), Is<Complex(double, double)>(&Comp),
        Is<void(const char*, std::uint16_t)>(&CreateFileMpLm),
        Is<void(const char*, std::uint16_t, std::uint16_t)>(&CreateFileSegLm),
        Is<void(ErrorCode, const char*, const char*)>(&LumoraLib::Error),
        Is<void(int, int, int, float**, float*, int*, double*)>(&FftsgColumns),
        Is<void(int, int*, double*)>(&FftsgMakeTables), Is<void(Complex*, int, int)>(&FftsgTransform1d),
        Is<void(Complex*, int, int, int)>(&FftsgTransform2d), Is<void(_LM_File&, ErrorCode, const char*)>(&FileError),
        Is<void(void*)>(&LumoraLib::Free), Is<CpuType()>(&GetCpuType), Is<ErrorHandling()>(&GetErrorHandling),
        Is<const char*(ErrorCode)>(&GetErrorString), Is<FftLib()>(&GetFftLib),
        Is<InterpolFunc(Interpol)>(&GetInterpolFunc), Is<Line(const Vector&, const Vector&)>(&GetLine),
        Is<std::FILE*()>(&GetLogFile), Is<Platform()>(&GetPlatform), Is<const double&()>(&GetPositionTolerance),
        Is<int(const char*)>(&GetSizeMpLm), Is<int(const char*, int&, int&)>(&GetSizeSegLm),
        Is<std::int64_t()>(&GetTick), Is<void*(std::size_t, const char*)>(&Malloc),
        Is<void(ErrorHandling)>(&SetErrorHandling), Is<void(FftLib)>(&SetFftLib),
        Is<void(MistakeHandler)>(&SetMistakeHandler), Is<void(const char*)>(&Start), Is<void(int, const char*)>(&Start),
        Is<Phase(ComplexDouble)>(&LumoraLib::arg), Is<ComplexDouble(double)>(&euler),
        Is<ComplexDouble(ComplexDouble)>(&LumoraLib::exp),
        Is<ComplexDouble(double, ComplexDouble)>(&LumoraLib::operator*),
        Is<std::ostream&(std::ostream&, const PointArray&)>(&LumoraLib::operator<<),
        Is<std::ostream&(std::ostream&, const SFrequency&)>(&LumoraLib::operator<<),
        Is<std::ostream&(std::ostream&, const SqrMatrix&)>(&LumoraLib::operator<<),
        Is<std::ostream&(std::ostream&, const Vector&)>(&LumoraLib::operator<<),
        Is<ComplexDouble(double, double)>(&LumoraLib::polar));
}
