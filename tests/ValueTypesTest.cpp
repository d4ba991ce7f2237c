// Complex numbers with their mixed precision, phases with their lopsided wrap, vectors, and the enumerations' values.
#include "TestTools.h"

#include <sstream>

using namespace lmltest;

namespace
{
constexpr double pi = 3.141592653589793;
constexpr double twoPi = 6.283185307179586;

std::uint64_t Bits64(double v)
{
    std::uint64_t b;
    std::memcpy(&b, &v, 8);
    return b;
}

// Equality that tells +0 from -0.
void ExpectBits(const Complex& c, float re, float im)
{
    EXPECT_EQ(Bits(c.Real()), Bits(re)) << c.Real() << " instead of " << re;
    EXPECT_EQ(Bits(c.Imag()), Bits(im)) << c.Imag() << " instead of " << im;
}
void ExpectBits(const ComplexDouble& c, double re, double im)
{
    EXPECT_EQ(Bits64(c.Real()), Bits64(re)) << c.Real() << " instead of " << re;
    EXPECT_EQ(Bits64(c.Imag()), Bits64(im)) << c.Imag() << " instead of " << im;
}
void ExpectBits(const Vector& v, double x, double y, double z)
{
    EXPECT_EQ(Bits64(v.x), Bits64(x));
    EXPECT_EQ(Bits64(v.y), Bits64(y));
    EXPECT_EQ(Bits64(v.z), Bits64(z));
}

class Tolerance
{
public:
    explicit Tolerance(double value) : before_(GetPositionTolerance()) { SetPositionTolerance(value); }
    ~Tolerance() { SetPositionTolerance(before_); }
    Tolerance(const Tolerance&) = delete;
    Tolerance& operator=(const Tolerance&) = delete;

private:
    double before_;
};

// The enumerations are what files, images and callers with plain integers rely on.
static_assert(COMPLEX_AMPLITUDE == 0 && SPECTRUM == 1 && POLAR_AMPLITUDE == 2 && POLAR_SPECTRUM == 3);
static_assert(X_AXIS == 0 && Y_AXIS == 1 && GradationGrey == 0 && GradationRainbow == 1);
static_assert(LINEAR_INTERPOL == 1 && CUBIC_INTERPOL == 2 && CUBIC4_INTERPOL == 3 && CUBIC6_INTERPOL == 4 &&
              CUBIC8_INTERPOL == 5 && SINC_INTERPOL == 6 && ADJACENT_INTERPOL == 7 && BICUBIC_INTERPOL == 8 &&
              BILINEAR_INTERPOL == 9);
static_assert(WINDOW_NONE == 0 && WINDOW_RECT == 1 && WINDOW_TRIANGLE == 2 && WINDOW_COSINE == 3);
static_assert(ModeIntensity == 0 && ModeReal == 1 && ModeImag == 2 && ModePhase == 3 && ModeAmplitude == 4 &&
              ModeLogIntensity == 5 && ModeMaskedPhase == 6);
template <class... E>
constexpr bool allInt32 = (std::is_same_v<std::underlying_type_t<E>, std::int32_t> && ...);
static_assert(allInt32<ComplexForm, Axis, Interpol, WindowFunc, Mode, Gradation>);
static_assert(sizeof(Phase) == 8 && sizeof(_Phase) == 8 && sizeof(ComplexDouble) == 16);
static_assert(std::is_trivially_copyable_v<LML_RECT> && std::is_trivially_copyable_v<Size>);
} // namespace

TEST(PhaseTest, WrapIsTheLopsidedOne)
{
    // {number, phase}: multiples worked out by hand; below -pi the remainder stays negative.
    const struct
    {
        double in, out;
    } cases[] = {{0.0, 0.0},
                 {1.0, 1.0},
                 {pi, -pi},
                 {-pi, -pi},
                 {3.0 * pi, -pi},
                 {4.0, 4.0 - twoPi},
                 {100.0, 100.0 - 16.0 * twoPi},
                 {-4.0, -4.0},
                 {-3.0 * pi - 1.0, -pi - 1.0},
                 {-3.0 * pi + 1e-3, -3.0 * pi + 1e-3}};
    for (const auto& c : cases)
    {
        EXPECT_NEAR(Phase(c.in), c.out, 1e-13) << c.in;
        EXPECT_EQ(static_cast<double>(_Phase(c.in)), c.in);
        EXPECT_EQ(static_cast<double>(Phase(_Phase(c.in))), c.in);
        Phase assigned;
        assigned = Phase(_Phase(c.in));
        EXPECT_EQ(static_cast<double>(assigned), c.in);
    }
    EXPECT_EQ(static_cast<double>(Phase()), 0.0);
    EXPECT_TRUE(std::isnan(static_cast<double>(Phase(kInf))));
    // Floats are widened first, integers go the way of doubles.
    EXPECT_EQ(static_cast<double>(Phase(4.0f)), static_cast<double>(Phase(4.0)));
    EXPECT_EQ(static_cast<double>(Phase(4)), static_cast<double>(Phase(4.0)));
    EXPECT_EQ(static_cast<double>(Phase(std::size_t{4})), static_cast<double>(Phase(4.0)));
    EXPECT_EQ(static_cast<double>(_Phase(0.1f)), static_cast<double>(0.1f));
    EXPECT_EQ(static_cast<double>(_Phase(-7)), -7.0);
    // The whole range from -pi upward lands in [-pi, pi).
    for (double v = -pi; v < 50.0; v += 0.0137)
    {
        const double p = Phase(v);
        EXPECT_TRUE(p >= -pi && p < pi) << v;
        EXPECT_NEAR(std::remainder(p - v, twoPi), 0.0, 1e-13) << v;
    }
}

TEST(PhaseTest, SumAndDifferenceWrap)
{
    EXPECT_NEAR(Phase(1.0) + Phase(3.0), 4.0 - twoPi, 1e-15);
    EXPECT_NEAR(Phase(3.0) - Phase(-3.0), 6.0 - twoPi, 1e-15);
    EXPECT_NEAR(Phase(-3.0) - Phase(3.0), -6.0, 1e-15); // below -pi: not lifted
    EXPECT_NEAR(Phase(_Phase(pi)) + Phase(0), -pi, 1e-15);
}

TEST(ConstantsTest, AreTheNearestDoubles)
{
    EXPECT_EQ(Bits64(Pi), 0x400921FB54442D18u);
    EXPECT_EQ(Bits64(Deg), 0x3F91DF46A2529D39u);
    EXPECT_EQ(180.0 * Deg, Pi);
}

TEST(ComplexTest, StoresSinglePrecisionAndComputesSumsInIt)
{
    ExpectBits(Complex(), 0.0f, 0.0f);
    ExpectBits(Complex(0.1), 0.1f, 0.0f);
    ExpectBits(Complex(ComplexDouble(0.1, 1e60)), 0.1f, static_cast<float>(kInf));
    Complex c;
    c.Comp(0.1, 0.2);
    ExpectBits(c, 0.1f, 0.2f);
    ExpectBits(Comp(0.1, 0.2), 0.1f, 0.2f);
    c = ComplexDouble(0.3, 0.4);
    ExpectBits(c, 0.3f, 0.4f);
    EXPECT_EQ(c.GetReal(), static_cast<double>(0.3f));
    EXPECT_EQ(c.GetImag(), static_cast<double>(0.4f));
    c.SetReal(0.5);
    c.imag() = 7.0f;
    ExpectBits(c, 0.5f, 7.0f);
    c.real() = 2.0f;
    c.SetImag(0.7);
    ExpectBits(c, 2.0f, 0.7f);
    const float* raw = reinterpret_cast<const float*>(&c);
    EXPECT_TRUE(raw[0] == 2.0f && raw[1] == 0.7f);

    // 2^24 + 1 is no float; in double the sum would keep it.
    Complex sum = Complex(16777216.0, 1.0) + Complex(1.0, 16777216.0);
    ExpectBits(sum, 16777216.0f, 16777216.0f);
    sum -= Complex(16777216.0, -1.0);
    ExpectBits(sum, 0.0f, 16777216.0f);
    ExpectBits(Complex(1.0, 2.0) - Complex(4.0, 8.0), -3.0f, -6.0f);
    EXPECT_EQ(sum += Complex(1, 1), Complex(1.0, 16777216.0));

    ExpectBits(Complex(1, 0).conjg(), 1.0f, 0.0f);
    ExpectBits(Complex(1, -2).Conjugate(), 1.0f, 2.0f);
    ExpectBits(-Complex(0, 3), 0.0f, -3.0f);
    ExpectBits(-ComplexDouble(0, 3), 0.0, -3.0);
    ExpectBits(ComplexDouble(3, 0).conjg(), 3.0, 0.0);
    EXPECT_TRUE(Complex(1, 2) == Complex(1, 2) && Complex(1, 2) != Complex(1, 2.0000002) &&
                !(Complex(1, 2) == Complex(2, 2)));
    EXPECT_FALSE(Complex(std::nan(""), 0) == Complex(std::nan(""), 0));
}

TEST(ComplexTest, ProductsRoundOnceFromDouble)
{
    ExpectBits(Complex(1, 2) * 0.1, 0.1f, 0.2f);
    // 3 * 0.1f in single precision would be 0.3f + 1 ulp.
    ExpectBits(Complex(3, 7) * 0.1, static_cast<float>(3.0 * 0.1), static_cast<float>(7.0 * 0.1));
    ExpectBits(Complex(1, 2) / 3.0, static_cast<float>(1.0 / 3.0), static_cast<float>(2.0 / 3.0));
    Complex c(1, 2);
    ExpectBits(c *= 0.1, 0.1f, 0.2f);
    ExpectBits(c /= 0.0, static_cast<float>(kInf), static_cast<float>(kInf));
    // The intermediate products leave the range of float, the difference comes back; cancellation keeps its bits.
    ExpectBits(Complex(1e30, 1e30) * Complex(1e30, 1e30), 0.0f, static_cast<float>(kInf));
    const double e = 0x1p-23;
    ExpectBits(Complex(1.0 + e, 1.0) * Complex(1.0 - e, 1.0), static_cast<float>(-e * e), 2.0f);
    c = Complex(1.0 + e, 1.0);
    ExpectBits(c *= Complex(1.0 - e, 1.0), static_cast<float>(-e * e), 2.0f);
}

TEST(ComplexTest, TheTwoQuotientsDifferAsTheyMust)
{
    // {a, b, a / b, a /= b}: rational arithmetic outside, with im * im and re * im rounded to float in the first form.
    const float cases[][8] = {{-0x1.e3b70ep+0f, -0x1.5c22eap+0f, -0x1.e2c47ep-3f, 0x1.337094p-1f, -0x1.c8b004p-1f,
                               0x1.bf9a2p+1f, -0x1.c8b002p-1f, 0x1.bf9a22p+1f},
                              {0x1.727306p-3f, -0x1.48f6a6p-1f, 0x1.4b59dap-2f, 0x1.d54cbap+0f, -0x1.4ac142p-2f,
                               -0x1.3ed7d8p-3f, -0x1.4ac14p-2f, -0x1.3ed7dap-3f},
                              {-0x1.8d6aacp-1f, -0x1.cb6d36p+0f, -0x1.d97e32p+0f, 0x1.e2f196p+0f, -0x1.1e11fap-2f,
                               0x1.5ee652p-1f, -0x1.1e11f8p-2f, 0x1.5ee65p-1f}};
    for (const auto& c : cases)
    {
        Complex a(c[0], c[1]);
        const Complex b(c[2], c[3]);
        ExpectBits(a / b, c[4], c[5]);
        ExpectBits(a /= b, c[6], c[7]);
    }
    Complex big(0, 1e30);
    EXPECT_TRUE(std::isinf((big / big).Real()));
    ExpectBits(big /= Complex(0, 1e30), 1.0f, 0.0f);
    EXPECT_TRUE(std::isnan((Complex(0, 0) / Complex(0, 0)).Real()));

    ExpectBits(ComplexDouble(1, 2) / ComplexDouble(3, -4), -0.2, 0.4);
    ComplexDouble z(1, 2);
    ExpectBits(z /= ComplexDouble(0, 2), 1.0, -0.5);
    EXPECT_TRUE(std::isnan((ComplexDouble(1, 0) / ComplexDouble(1e-200, 0)).Real()) ||
                std::isinf((ComplexDouble(1, 0) / ComplexDouble(1e-200, 0)).Real()));
}

TEST(ComplexTest, IntensityMixesThePrecisions)
{
    EXPECT_EQ(Complex(0x1.6f6228p-2, 0x1.046b0cp+0).Intensity(), 0x1.29dd47452a64p+0);
    EXPECT_EQ(Complex(0x1.9c039cp-1, 0x1.1007bep+0).GetIntensity(), 0x1.c6d75b8b41c4p+0);
    EXPECT_DOUBLE_EQ(Complex(1e30, 0).Intensity(), static_cast<double>(1e30f) * static_cast<double>(1e30f));
    EXPECT_EQ(Complex(0, 1e30).Intensity(), kInf);
    EXPECT_EQ(Complex(0, 1e30).Amplitude(), kInf);
    EXPECT_EQ(Complex(3, 4).Amplitude(), 5.0);
    EXPECT_EQ(Complex(3, 4).GetAmplitude(), 5.0);
    EXPECT_EQ(ComplexDouble(0, 1e30).Intensity(), 1e30 * 1e30);
    EXPECT_EQ(ComplexDouble(3, 4).GetAmplitude(), 5.0);
    EXPECT_EQ(static_cast<double>(Complex(-1, 0).Phase()), pi); // exactly pi, which no wrap gives
    EXPECT_EQ(static_cast<double>(Complex(-1, -0.0).GetPhase()), -pi);
    EXPECT_EQ(static_cast<double>(ComplexDouble(-2, 2).Phase()), 0.75 * pi);
    EXPECT_EQ(static_cast<double>(arg(Complex(0, 1))), 0.5 * pi);
}

TEST(ComplexTest, PolarSettersKeepTheOtherHalf)
{
    Complex zero;
    zero.SetAmplitude(2.5);
    ExpectBits(zero, 2.5f, 0.0f);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> uniform(-3.0, 3.0);
    for (int n = 0; n < 200; ++n)
    {
        const Complex start(uniform(random), uniform(random));
        const ComplexDouble wide(start);
        const double amplitude = 0.1 + std::fabs(uniform(random));
        const double phase = uniform(random);
        Complex a = start, i = start, p = start;
        ComplexDouble aw = wide, iw = wide, pw = wide;
        a.SetAmplitude(amplitude);
        i.SetIntensity(amplitude * amplitude);
        p.SetPhase(phase);
        aw.SetAmplitude(amplitude);
        iw.SetIntensity(amplitude * amplitude);
        pw.SetPhase(phase);
        // Half an ulp of float each, some of double.
        const Value old(wide.Real(), wide.Imag()), scaled = old / std::abs(old) * amplitude;
        const Value turned = std::polar(std::abs(old), phase);
        EXPECT_LT(std::abs(Value(a.GetReal(), a.GetImag()) - scaled), 0x1p-22);
        EXPECT_LT(std::abs(Value(i.GetReal(), i.GetImag()) - scaled), 0x1p-22);
        EXPECT_LT(std::abs(Value(p.GetReal(), p.GetImag()) - turned), 0x1p-21);
        EXPECT_LT(std::abs(Value(aw.Real(), aw.Imag()) - scaled), 2e-14);
        EXPECT_LT(std::abs(Value(iw.Real(), iw.Imag()) - scaled), 2e-14);
        EXPECT_LT(std::abs(Value(pw.Real(), pw.Imag()) - turned), 2e-14);
    }
}

TEST(ComplexDoubleTest, ArithmeticIsDoubleWithEveryProductRounded)
{
    const ComplexDouble a(1.25, -2.5);
    const ComplexDouble b(0.5, 4.0);
    ExpectBits(a + b, 1.75, 1.5);
    ExpectBits(a - b, 0.75, -6.5);
    ExpectBits(a * b, 10.625, 3.75);
    ExpectBits(a * 2.0, 2.5, -5.0);
    ExpectBits(2.0 * a, 2.5, -5.0);
    ExpectBits(a / 5.0, 0.25, -0.5);
    ComplexDouble c = a;
    c += b;
    c -= ComplexDouble(0.75, 0.5);
    c *= ComplexDouble(0, 1);
    c *= 2.0;
    c /= 4.0;
    ExpectBits(c, -0.5, 0.5);
    c = Complex(0.1, 0.2);
    ExpectBits(c, static_cast<double>(0.1f), static_cast<double>(0.2f));
    c.real() = 1.0;
    c.SetImag(2.0);
    EXPECT_TRUE(c == ComplexDouble(1, 2) && c != ComplexDouble(1, 3));
    // A fused multiply-add would leave 2^-60 here.
    const double e = 0x1p-30;
    ExpectBits(ComplexDouble(1.0 + e, 1.0) * ComplexDouble(1.0 + e, 1.0 + 2.0 * e), 0.0,
               (1.0 + e) * (1.0 + 2.0 * e) + (1.0 + e));
    EXPECT_EQ(Vector(1.0 + e, 1.0, 0.0) * Vector(1.0 + e, -(1.0 + 2.0 * e), 0.0), 0.0);
}

TEST(ComplexDoubleTest, FunctionsAgreeWithTheStandardOnes)
{
    for (double re = -2.0; re <= 2.0; re += 0.37)
        for (double im = -7.0; im <= 7.0; im += 0.91)
        {
            const std::complex<double> s(re, im);
            const ComplexDouble z(re, im);
            EXPECT_NEAR(abs(z), std::abs(s), 1e-14);
            EXPECT_NEAR(norm(z), std::norm(s), 1e-13);
            EXPECT_NEAR(arg(z), std::arg(s), 1e-15);
            const std::complex<double> values[] = {std::exp(s), std::polar(std::fabs(re), im), std::polar(1.0, im)};
            const ComplexDouble mine[] = {LumoraLib::exp(z), LumoraLib::polar(std::fabs(re), im), euler(im)};
            for (int n = 0; n < 3; ++n)
            {
                EXPECT_NEAR(mine[n].Real(), values[n].real(), 1e-14);
                EXPECT_NEAR(mine[n].Imag(), values[n].imag(), 1e-14);
            }
        }
    ExpectBits(euler(0.0), 1.0, 0.0);
}

TEST(VectorTest, AlgebraFollowsTheUsualRules)
{
    const Vector i = Vector::I();
    const Vector j = Vector::J();
    const Vector k = Vector::K();
    ExpectBits(i & j, 0, 0, 1);
    ExpectBits(j & k, 1, 0, 0);
    ExpectBits(k & i, 0, 1, 0);
    const Vector a(1, 2, 3);
    const Vector b(-4, 5, 0.5);
    EXPECT_EQ(a * b, 7.5);
    ExpectBits(a & b, -14, -12.5, 13);
    EXPECT_EQ(a * (a & b), 0.0);
    ExpectBits(a + b, -3, 7, 3.5);
    ExpectBits(a - b, 5, -3, 2.5);
    ExpectBits(-Vector(0, 1, -1), 0, -1, 1);
    ExpectBits(a * 2.0, 2, 4, 6);
    Vector v(1, 2, 3);
    v += b;
    v -= b;
    v *= 4.0;
    v /= 2.0;
    v &= k;
    ExpectBits(v, 4, -2, 0);
    // One reciprocal and three products: 49 / 49 through 1 / 49 is not 1.
    EXPECT_EQ((Vector(49, 0, 0) / 49.0).x, 49.0 * (1.0 / 49.0));
    EXPECT_NE((Vector(49, 0, 0) / 49.0).x, 1.0);
    EXPECT_TRUE(std::isnan((Vector() / 0.0).x));
    v.X() = 7;
    v.SetY(8);
    v.Z() = 9;
    EXPECT_TRUE(v.GetX() == 7 && v.GetY() == 8 && v.GetZ() == 9 && v.x == 7 && v.y == 8 && v.z == 9);
    EXPECT_EQ(Vector(2, 3, 6).GetSquare(), 49.0);
    EXPECT_EQ(Vector(2, 3, 6).GetLength(), 7.0);
    EXPECT_EQ(Vector(3, 4, 7).GetDistance(Vector(1, 1, 1)), 7.0);
    std::ostringstream out;
    out.precision(3);
    out << Vector(1, -2.5, 1.0 / 3.0);
    EXPECT_EQ(out.str(), "(1, -2.5, 0.333)");
}

TEST(VectorTest, NormalisingKeepsZeroAndRefusesNothing)
{
    const Vector v = Vector(2, 3, 6).GetNormalized();
    EXPECT_NEAR(v.GetLength(), 1.0, 1e-15);
    EXPECT_NEAR(v.z, 6.0 / 7.0, 1e-15);
    ExpectBits(Vector().GetNormalized(), 0, 0, 0);
    ExpectBits(Vector(std::nan(""), 1, 1).GetNormalized(), 0, 0, 0);
    Vector w(0, 3, 4);
    ExpectBits(w.SetLength(10), 0, 3.0 * 0.2 * 10.0, 4.0 * 0.2 * 10.0); // normalised first, then lengthened
    EXPECT_EQ(&w.Normalize(), &w);
    EXPECT_NEAR(w.y, 0.6, 1e-15);
    Vector zero;
    ExpectBits(zero.SetLength(5), 0, 0, 0);
    EXPECT_TRUE(zero.IsEmpty() && Vector(-0.0, 0, 0).IsEmpty());
    EXPECT_FALSE(Vector(0, 0, 1e-300).IsEmpty());
}

TEST(VectorTest, EqualityUsesTheTolerance)
{
    const Vector v(1, 2, 3);
    EXPECT_EQ(GetPositionTolerance(), 1e-6);
    EXPECT_TRUE(v == Vector(1, 2, 3 + 1e-7));
    EXPECT_FALSE(v == Vector(1, 2, 3 + 2e-6));
    EXPECT_TRUE(v != Vector(1, 2, 3 + 2e-6));
    EXPECT_FALSE(v == Vector(1 + 7.5e-7, 2 + 7.5e-7, 3)); // each within, the distance not
    const Vector nan(std::nan(""), 0, 0);
    EXPECT_TRUE(nan != nan);
    EXPECT_FALSE(nan == nan);
    {
        const Tolerance wide(0.5);
        EXPECT_EQ(GetPositionTolerance(), 0.5);
        EXPECT_TRUE(v == Vector(1, 2, 3.5)); // at the tolerance exactly
        EXPECT_FALSE(v == Vector(1, 2, 3.51));
    }
    {
        const Tolerance none(0.0);
        EXPECT_TRUE(v == v);
    }
    const Tolerance negative(-1.0);
    EXPECT_FALSE(v == v);
}

TEST(VectorTest, AngleHasNoGuard)
{
    EXPECT_NEAR(Angle(Vector(1, 0, 0), Vector(0, 5, 0)), 0.5 * pi, 1e-15);
    EXPECT_NEAR(Angle(Vector(1, 1, 0), Vector(-2, -2, 0)), pi, 1e-7);
    EXPECT_NEAR(Angle(Vector(1, 0, 0), Vector(1, 1, 0)), 0.25 * pi, 1e-15);
    EXPECT_TRUE(std::isnan(Angle(Vector(), Vector(1, 0, 0))));
}

TEST(SizeTest, ComparesBothMembers)
{
    Size s;
    EXPECT_TRUE(s == Size(0, 0));
    s = Size(3, 4);
    EXPECT_TRUE(s.width == 3 && s.height == 4 && s == Size(3, 4) && s != Size(3, 5) && s != Size(2, 4));
    LML_RECT r = {1, 2, 3, 4};
    LML_RECT q;
    q = r;
    EXPECT_TRUE(q.left == 1 && q.top == 2 && q.right == 3 && q.bottom == 4);
    const std::int32_t* raw = reinterpret_cast<const std::int32_t*>(&q);
    EXPECT_TRUE(raw[0] == 1 && raw[1] == 2 && raw[2] == 3 && raw[3] == 4);
}
