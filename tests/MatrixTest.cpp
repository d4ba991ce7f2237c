// Square matrices, rotations with their degenerate cases and shared statics, and frequency vectors.
#include "TestTools.h"

#include <sstream>

using namespace lmltest;

namespace
{
constexpr double pi = 3.141592653589793;

// Elements row by row.
template <class Matrix>
void ExpectRows(const Matrix& m, const std::vector<double>& rows, double tolerance = 0.0)
{
    ASSERT_EQ(static_cast<std::size_t>(m.GetN() * m.GetN()), rows.size());
    for (int r = 0; r < m.GetN(); ++r)
        for (int c = 0; c < m.GetN(); ++c)
            EXPECT_NEAR(m.GetElement(c, r), rows[static_cast<std::size_t>(r * m.GetN() + c)], tolerance)
                << r << " " << c;
}

SqrMatrix Filled(int order, double first = 1.0)
{
    SqrMatrix m(order);
    for (int n = 0; n < order * order; ++n)
        m.elements[n] = first + n;
    return m;
}

std::string Text(const SqrMatrix& m)
{
    std::ostringstream out;
    out << m;
    return out.str();
}
} // namespace

TEST(SqrMatrixTest, FirstIndexIsTheColumn)
{
    SqrMatrix m = Filled(3);
    ExpectRows(m, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(m.Element(1, 0), 2.0); // row 0, column 1
    m.Element(2, 1) = 60.0;
    m.SetElement(0, 2, 70.0);
    ExpectRows(m, {1, 2, 3, 4, 5, 60, 70, 8, 9});
    m.Transpose();
    ExpectRows(m, {1, 4, 70, 2, 5, 8, 3, 60, 9});
    EXPECT_EQ(Text(Filled(2)), "[(1,2) (3,4) ]");
    m.Clear();
    ExpectRows(m, std::vector<double>(9, 0.0));
    EXPECT_EQ(Text(SqrMatrix(0)), "[]");
    EXPECT_EQ(SqrMatrix(-3).N(), 0);
    ExpectRows(SqrMatrix(4), std::vector<double>(16, 0.0));
}

TEST(SqrMatrixTest, CopiesAreDeepAndFollowTheOrder)
{
    SqrMatrix a = Filled(2);
    SqrMatrix b(a);
    b.Element(0, 0) = 100.0;
    ExpectRows(a, {1, 2, 3, 4});
    SqrMatrix c(5);
    EXPECT_EQ(&(c = a), &c);
    ExpectRows(c, {1, 2, 3, 4});
    EXPECT_EQ(&c.Copy(Filled(3)), &c);
    EXPECT_EQ(c.N(), 3);
    c = static_cast<const SqrMatrix&>(c);
    ExpectRows(c, {1, 2, 3, 4, 5, 6, 7, 8, 9});
}

TEST(SqrMatrixTest, ProductIsRowsTimesColumnsAndRefusesOtherOrders)
{
    ExpectRows(Filled(2) * Filled(2, 5.0), {19, 22, 43, 50});
    SqrMatrix shift(4);
    for (int n = 0; n < 4; ++n)
        shift.SetElement((n + 1) % 4, n, 1.0); // row n picks row n + 1 of what stands to the right
    const SqrMatrix rolled = shift * Filled(4);
    ExpectRows(rolled, {5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 1, 2, 3, 4});
    // The sum runs from k = 0: 1 + 2^-53 + 2^-53 loses both small terms, in the other order it keeps them.
    SqrMatrix row(3);
    SqrMatrix column(3);
    for (int n = 0; n < 3; ++n)
    {
        row.SetElement(n, 0, n == 0 ? 1.0 : 0x1p-53);
        column.SetElement(0, n, 1.0);
    }
    EXPECT_EQ((row * column).GetElement(0, 0), 1.0);
}

TEST(SqrMatrixTest, MemoryThatIsNotThereIsAnErrorWithTheLabel)
{
    EXPECT_EQ(Catch([] { SqrMatrix m(1 << 26); }),
              (Failure{1, "LumoraLib::Malloc", "demanded bytes = 36028797018963968 : SqrMatrix() : CTR"}));
    // 8 * 1518500250^2 is 2^64 and a little, so that the bytes must not be taken modulo 2^64.
    for (int order : {1518500250, 2147483647})
        EXPECT_EQ(Catch([&] { SqrMatrix m(order); }).code, 1);
}

TEST(RMatrixTest, StartsAsZeroAndStaysOfOrderThree)
{
    RMatrix zero;
    ExpectRows(zero, std::vector<double>(9, 0.0));
    ExpectNear(zero * Vector(1, 2, 3), 0, 0, 0, 0.0);
    RMatrix m;
    m.Copy(Filled(3));
    RMatrix copy(m);
    m.Element(0, 0) = 5.0;
    ExpectRows(copy, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(&(m = copy), &m);
    ExpectRows(m, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    SqrMatrix& base = m; // keeps the order too: every product of the class reads nine elements
    for (const auto& take :
         std::initializer_list<std::function<void()>>{[&] { m.Copy(SqrMatrix(2)); }, [&] { base = SqrMatrix(2); },
                                                      [&]
                                                      {
                                                          base.Copy(SqrMatrix(4));
                                                      }})
        EXPECT_EQ(Catch(take), (Failure{3, "LumoraLib::RMatrix::Copy", ""}));
    base = Filled(3);
    ExpectRows(m.GetInverse(), {1, 4, 7, 2, 5, 8, 3, 6, 9}); // the transpose, not the inverse
    ExpectNear(m * Vector(1, 0, -1), -2, -2, -2, 0.0);
    Vector v(1, 0, -1);
    EXPECT_EQ(&(v *= m), &v);
    ExpectNear(v, -2, -2, -2, 0.0);
    ExpectRows(m * copy, {30, 36, 42, 66, 81, 96, 102, 126, 150});
    ExpectRows(m * Filled(3), {30, 36, 42, 66, 81, 96, 102, 126, 150});
}

TEST(RMatrixTest, RotationsTurnPointsAndTheirTwinsTurnCoordinates)
{
    const double t = 0.7;
    const double s = std::sin(t);
    const double c = std::cos(t);
    ExpectNear(RMatrix::RotationZ(t) * Vector::I(), c, s, 0);
    ExpectNear(RMatrix::CRotationZ(t) * Vector::I(), c, -s, 0);
    ExpectNear(RMatrix::RotationX(t) * Vector::J(), 0, c, s);
    ExpectNear(RMatrix::CRotationX(t) * Vector::J(), 0, c, -s);
    ExpectNear(RMatrix::RotationY(t) * Vector::K(), s, 0, c);
    ExpectNear(RMatrix::CRotationY(t) * Vector::K(), -s, 0, c);
    ExpectNear(RMatrix::RotationX(t) * Vector::I(), 1, 0, 0);
    ExpectNear(RMatrix::RotationY(t) * Vector::J(), 0, 1, 0);
    ExpectNear(RMatrix::RotationZ(t) * Vector::K(), 0, 0, 1);
    using Maker = const RMatrix& (*)(double);
    const Maker makers[] = {RMatrix::RotationX, RMatrix::RotationY, RMatrix::RotationZ};
    for (Maker make : makers)
    {
        const RMatrix held = make(0.3);
        ExpectRows(held * held.GetInverse(), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 1e-15);
        const RMatrix twice = held * held;
        ExpectRows(make(0.6), {twice.elements, twice.elements + 9}, 1e-15);
        // One static for all calls: what an earlier call returned changes with the next.
        const RMatrix& reference = make(0.3);
        EXPECT_EQ(&make(1.0), &reference);
        EXPECT_NE(reference.GetElement(0, 0) + reference.GetElement(1, 1),
                  held.GetElement(0, 0) + held.GetElement(1, 1));
    }
    EXPECT_EQ(&RMatrix::CRotationY(0.2), &RMatrix::RotationY(0.1));
}

TEST(RMatrixTest, TurnsTheSecondVectorOntoTheFirst)
{
    ExpectNear(RMatrix(Vector::J(), Vector::I()) * Vector::I(), 0, 1, 0);
    ExpectRows(RMatrix(Vector(0, 0, 3), Vector(0, 0, 8)), {1, 0, 0, 0, 1, 0, 0, 0, 1});
    ExpectRows(RMatrix(Vector::K(), -Vector::K()), {-1, 0, 0, 0, -1, 0, 0, 0, -1}); // a point reflection
    ExpectRows(RMatrix(Vector(), Vector::K()), std::vector<double>(9, 0.0));
    ExpectRows(RMatrix(Vector::K(), Vector()), std::vector<double>(9, 0.0));
    std::mt19937 random(3);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (int n = 0; n < 300; ++n)
    {
        const Vector a(uniform(random), uniform(random), uniform(random));
        const Vector b(uniform(random), uniform(random), uniform(random));
        if (a * b / (a.GetLength() * b.GetLength()) < -0.999)
            continue;
        const RMatrix m(a, b);
        const Vector target = a.GetNormalized() * b.GetLength();
        ExpectNear(m * b, target.x, target.y, target.z, 1e-14);
        // A rotation: orthogonal, right-handed, by the angle between the vectors, and without roll about its axis.
        ExpectRows(m * m.GetInverse(), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 1e-14);
        const Vector x = m * Vector::I();
        const Vector y = m * Vector::J();
        const Vector z = x & y;
        const Vector third = m * Vector::K();
        ExpectNear(third, z.x, z.y, z.z, 1e-14);
        EXPECT_NEAR(m.GetElement(0, 0) + m.GetElement(1, 1) + m.GetElement(2, 2), 1.0 + 2.0 * std::cos(Angle(a, b)),
                    1e-14);
        const Vector axis = b & a;
        const Vector kept = m * axis;
        ExpectNear(kept, axis.x, axis.y, axis.z, 1e-14);
    }
}

TEST(SFrequencyTest, LiesOnTheSphereOrCountsAsEvanescent)
{
    const double wavelength = 632.8e-9;
    const SFrequency axis(wavelength);
    EXPECT_TRUE(axis.u == 0.0 && axis.v == 0.0);
    EXPECT_EQ(axis.lambdaInvSq, 1.0 / (wavelength * wavelength));
    EXPECT_DOUBLE_EQ(axis.w, 1.0 / wavelength);
    const SFrequency tilted(wavelength, 0.6 / wavelength, 0.0);
    EXPECT_NEAR(tilted.w * wavelength, 0.8, 1e-14);
    EXPECT_EQ(SFrequency(wavelength, 1.0 / wavelength, 1.0 / wavelength).w, 0.0);
    EXPECT_EQ(SFrequency(std::numeric_limits<double>::infinity()).w, 0.0);
    const SFrequency none;
    EXPECT_TRUE(none.u == 0 && none.v == 0 && none.w == 0 && none.lambdaInvSq == 0);

    // Turned by 30 degrees about y: the direction cosines are sine and cosine; w is the matrix's, not the sphere's.
    const SFrequency turned = RMatrix::RotationY(pi / 6.0) * axis;
    EXPECT_NEAR(turned.u * wavelength, 0.5, 1e-14);
    EXPECT_NEAR(turned.w * wavelength, std::sqrt(0.75), 1e-14);
    EXPECT_NEAR(turned.lambdaInvSq / axis.lambdaInvSq, 1.0, 1e-15);
    RMatrix twice;
    twice.Element(2, 2) = 2.0;
    EXPECT_DOUBLE_EQ((twice * axis).w, 2.0 * axis.w);
    // The round trip through the wavelength: sqrt(1 / 3)^-2 is not 3.
    const double l = std::sqrt(1.0 / 3.0);
    EXPECT_EQ((twice * SFrequency(0, 0, 0, 3.0)).lambdaInvSq, 1.0 / (l * l));

    std::ostringstream out;
    out << SFrequency(1, 0, -2, 0.25);
    EXPECT_EQ(out.str(), "[1(2), 0(0), -2(-4)]");
}
