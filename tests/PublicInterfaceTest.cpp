// What a list of exported names (exports.txt) does not tell of the interface: access, layouts, constructors and bases;
// and a program that links against the shared library as a user does.
#include "LmlLumora.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

using namespace LumoraLib;

namespace
{
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
static_assert(std::is_constructible_v<WholeFile, const char*> && !std::is_copy_constructible_v<WholeFile>);

TEST(PublicInterface, ResultsChainAndDerivedClassesReachTheirMembers)
{
    struct Derived : Lumora
    {
        using Lumora::Lumora;
        using Lumora::PullForm;
        using Lumora::PushForm;
    } field(4, 4, 1e-6, 2e-6, 500e-9);
    field.PushForm();
    EXPECT_EQ(field.PullForm(), COMPLEX_AMPLITUDE);
    EXPECT_EQ(&field.SetConst(Complex(1.0, 0.0)).SetWindow(0, 2, 0, 2).SetPx(3e-6).Fft(-1).Fft(1), &field);
    EXPECT_EQ(field.SetOrigin(Vector::K()).GetOrigin() + Vector::I(), Vector(1.0, 0.0, 1.0));
}
