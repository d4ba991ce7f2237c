// The field's place in space, resampling between grids on one plane, and its wide forms against the plain ones.
#include "TestTools.h"

using namespace lmltest;

namespace
{

/// One of the three operations by number, and what it does to one sample.
Lumora& Apply(int operation, Lumora& f, const Lumora& source, Interpol k)
{
    return operation == 0   ? f.ResamplingCopy(source, k)
           : operation == 1 ? f.ResamplingAdd(source, k)
                            : f.ResamplingMultiply(source, k);
}

/// The operations sample by sample, from the indices of the source's first and last sample.
void Expected(int operation, Lumora& f, const Lumora& s, Interpol k)
{
    const double dx = s.GetOrigin().x - f.GetOrigin().x, dy = s.GetOrigin().y - f.GetOrigin().y;
    const auto index = [](double x, double p, int n)
    {
        return int(std::floor(x / p + 0.5)) + n / 2;
    };
    const int nx = f.GetNx(), ny = f.GetNy(), sx = s.GetNx(), sy = s.GetNy();
    const int i0 = index((-sx / 2) * s.GetPx() + dx, f.GetPx(), nx);
    const int j0 = index((-sy / 2) * s.GetPy() + dy, f.GetPy(), ny);
    const int i1 = index((sx - sx / 2 - 1) * s.GetPx() + dx, f.GetPx(), nx);
    const int j1 = index((sy - sy / 2 - 1) * s.GetPy() + dy, f.GetPy(), ny);
    if (i0 >= nx || j0 >= ny || i1 < 0 || j1 < 0)
        return;
    if (operation == 0)
        f.Clear();
    for (int j = std::max(j0, 0); j < std::min(ny, j1); ++j)
        for (int i = std::max(i0, 0); i < std::min(nx, i1); ++i)
        {
            const Complex value = s.GetInterpolVal(f.X(i) - dx, f.Y(j) - dy, k);
            if (operation == 0)
                f.Pixel(i, j) = value;
            else if (operation == 1)
                f.Pixel(i, j) += value;
            else
                f.Pixel(i, j) *= value;
        }
}
} // namespace

TEST(LocalSystem, FramesOfSpecialNormals)
{
    Lumora f(8, 8, 1.0, 1.0);
    f.SetNormalVector(Vector(0, 0, 1)).SetOrigin(Vector(3, 4, 5));
    ExpectNear(f.GetUnitVectorX(), Vector(1, 0, 0), 0);
    ExpectNear(f.GetUnitVectorY(), Vector(0, 1, 0), 0);
    ExpectNear(f.GetGlobalPosition(Vector(1, 2, 3)), Vector(4, 6, 8), 0);

    f.SetNormalVector(Vector(0, 0, -1)); // a point reflection
    ExpectNear(f.GetUnitVectorX(), Vector(-1, 0, 0), 0);
    ExpectNear(f.GetUnitVectorY(), Vector(0, -1, 0), 0);
    ExpectNear(f.GetGlobalPosition(Vector(1, 2, 3)), Vector(2, 2, 2), 0);
    ExpectNear(f.GetLocalPosition(Vector(2, 2, 2)), Vector(1, 2, 3), 0);

    f.SetNormalVector(Vector(0, 0, 0)); // the frame collapses onto the origin
    ExpectNear(f.GetGlobalPosition(Vector(1, 2, 3)), Vector(3, 4, 5), 0);
    ExpectNear(f.GetUnitVectorX(), Vector(0, 0, 0), 0);

    f.SetNormalVector(Vector(1, 0, 0)); // z turned onto x takes x onto -z and leaves y
    ExpectNear(f.GetUnitVectorX(), Vector(0, 0, -1));
    ExpectNear(f.GetUnitVectorY(), Vector(0, 1, 0));
}

TEST(LocalSystem, GeneralNormalsGiveRightHandedFramesWithoutRoll)
{
    std::mt19937 random(3);
    std::normal_distribution<double> gauss;
    for (int n = 0; n < 50; ++n)
    {
        Lumora f(8, 8, 1.0, 1.0);
        f.SetNormalVector(Vector(gauss(random), gauss(random), gauss(random)));
        f.SetOrigin(Vector(gauss(random), gauss(random), gauss(random)));
        const Vector normal = f.GetNormalVector(), x = f.GetUnitVectorX(), y = f.GetUnitVectorY();
        ExpectNear(x & y, normal);
        ExpectNear(f.GetCRMatrixLG() * Vector(0, 0, 1), normal);
        // The shortest rotation leaves its axis alone.
        const Vector axis = Vector(0, 0, 1) & normal;
        ExpectNear(f.GetCRMatrixLG() * axis, axis);
        const Vector p(gauss(random), gauss(random), gauss(random));
        ExpectNear(f.GetGlobalPosition(f.GetLocalPosition(p)), p);
        ExpectNear(f.GetGlobalPosition(Vector(2, -1, 3)), x * 2.0 - y + normal * 3.0 + f.GetOrigin());
        const RMatrix unit = f.GetCRMatrixLG() * f.GetCRMatrixGL();
        for (int e = 0; e < 9; ++e)
            EXPECT_NEAR(unit.GetElement(e % 3, e / 3), e % 4 == 0 ? 1.0 : 0.0, 1e-14);
        const Line line = f.GetOpticalAxis();
        ExpectNear(line.GetPoint(0), f.GetOrigin(), 0);
        ExpectNear(line.GetPoint(1), f.GetOrigin() + normal, 0);
        EXPECT_TRUE(f.GetPlane() == Plane(f.GetGlobalPosition(Vector(3, 1, 0)), normal));
    }
}

TEST(LocalSystem, OutlineOfFieldAndSpectrum)
{
    Lumora f(8, 4, 0.5, 2.0);
    f.SetNormalVector(Vector(0, 1, 1)).SetOrigin(Vector(10, 20, 30));
    EXPECT_EQ(f.GetFrame(0).GetN(), 4);
    for (const bool spectrum : {false, true})
    {
        if (spectrum)
            f.Form() = SPECTRUM;
        const int m = 8;
        const PointArray frame = f.GetFrame(3);
        ASSERT_EQ(frame.GetN(), 4 * m);
        for (int t = 0; t < m; ++t)
        {
            const double a = double(t) / m;
            const Vector local[4] = {Vector(2, -4 + 8 * a, 0), Vector(2 - 4 * a, 4, 0), Vector(-2, 4 - 8 * a, 0),
                                     Vector(-2 + 4 * a, -4, 0)};
            for (int side = 0; side < 4; ++side)
                ExpectNear(frame.GetPoint(side * m + t), spectrum ? local[side] : f.GetGlobalPosition(local[side]),
                           1e-12);
        }
    }
}

TEST(LocalSystem, ResamplingFollowsTheFootprintSampleBySample)
{
    std::mt19937 random(5);
    const auto uniform = [&](double a, double b)
    {
        return std::uniform_real_distribution<double>(a, b)(random);
    };
    const int sizes[] = {1, 2, 4, 8, 16, 32, 128};
    for (int round = 0; round < 64; ++round)
    {
        const auto size = [&]
        {
            return sizes[std::size_t(uniform(0, 6.999))];
        };
        Lumora source(size(), size(), round % 3 ? uniform(0.5, 2.0) : 1.0, round % 4 ? uniform(0.5, 2.0) : 1.0);
        Lumora target(size(), size(), round % 5 ? uniform(0.5, 2.0) : 1.0, 1.0);
        // Whole and half steps make points on samples; others fall anywhere.
        const double grid = round % 2 ? 0.5 : 1e-3;
        const auto place = [&](double extent)
        {
            return std::floor(uniform(-extent, extent) / grid) * grid;
        };
        source.SetOrigin(Vector(place(0.6 * (source.GetWidth() + target.GetWidth())),
                                place(0.6 * (source.GetHeight() + target.GetHeight())), 0));
        FillRandom(source, std::uint32_t(round + 1));
        if (round % 4 == 1) // on samples, where taps of weight 0 or next to 0 alone reach most points
        {
            source.Clear().SetPx(1.0).SetPy(1.0);
            target.SetPx(1.0);
            source.SetOrigin(Vector(place(8), place(8), 0));
            source[source.N() / 2] = Complex(round % 8 == 1 ? kInf : 1.0, -1.0);
        }
        for (const Interpol k : kInterpolators)
            for (int operation = 0; operation < 3; ++operation)
            {
                Lumora before(target);
                FillRandom(before, 99);
                before[0] = Complex(-0.0, -0.0);
                if (round % 4 == 1)
                    before.Clear();
                Lumora expected(before);
                Expected(operation, expected, source, k);
                InEveryForm(
                    [&]
                    {
                        const Threads threads(round % 16 == 1 ? 3 : round % 16 == 2 ? 2 : round % 16 == 3 ? 7 : 1);
                        Lumora f(before);
                        Apply(operation, f, source, k);
                        ASSERT_TRUE(SameBits(f, expected))
                            << "kernel " << k << " operation " << operation << ", source " << source.GetNx() << " x "
                            << source.GetNy() << ", target " << target.GetNx() << " x " << target.GetNy() << ", round "
                            << round;
                    });
            }
    }
}

TEST(LocalSystem, JustBelowASampleTheFirstOfFiveTapsCounts)
{
    // The continuous index is 8 - 2^-50: with 2 taken off it stays below 6, with 2 added it rounds to 10, which weighs
    // 0.
    for (const auto& [i, j] : {std::pair{6, 8}, {8, 6}, {10, 8}, {9, 8}})
    {
        Lumora source(16, 16, 1.0, 1.0), first(0, 0);
        source.Clear().SetPixel(i, j, Complex(1.0, -1.0));
        source.SetOrigin(Vector(std::ldexp(1.0, -50), std::ldexp(1.0, -50), 0.0));
        InEveryForm(
            [&]
            {
                Lumora f(1, 1, 1.0, 1.0);
                f.ResamplingCopy(source, BICUBIC_INTERPOL);
                EXPECT_EQ(f[0].Real() != 0.0f, source.GetPixel(10, 8) == Complex());
                first = first.N() == 0 ? f : first;
                EXPECT_TRUE(SameBits(f, first));
            });
    }
}

TEST(LocalSystem, ResamplingRangesAndStates)
{
    Lumora source(16, 16, 1.0, 1.0), target(16, 16, 1.0, 1.0);
    FillRandom(source);
    target.SetWindow(2, 5, 3, 6).SetConst(Complex(7.0, 8.0));
    source.SetOrigin(Vector(1e12, 0, 0)); // wholly outside: nothing is cleared
    EXPECT_EQ(target.ResamplingCopy(source, LINEAR_INTERPOL).GetPixel(3, 3), Complex(7.0, 8.0));
    EXPECT_EQ(target.Window().left, 2);
    source.SetOrigin(Vector());
    target.SetPx(1e-10).SetPy(1e-10); // the source's ends lie at indices beyond 32 bits, on both sides of the target
    target.ResamplingCopy(source, ADJACENT_INTERPOL);
    EXPECT_EQ(target.GetPixel(0, 15), source.GetPixel(8, 8));
    target.SetPx(1.0).SetPy(1.0);
    target.SetConst(Complex(7.0, 8.0)); // a refused interpolator: the copy has cleared by then
    EXPECT_EQ(Catch([&] { target.ResamplingCopy(source, SINC_INTERPOL); }).code, 6);
    EXPECT_EQ(target.GetPixel(4, 4), Complex(0.0, 0.0));

    // Its own source: read as it was.
    Lumora own(source);
    own.ResamplingAdd(own, ADJACENT_INTERPOL);
    EXPECT_EQ(own.GetPixel(3, 3), source.GetPixel(3, 3) + source.GetPixel(3, 3));
    EXPECT_EQ(own.GetPixel(15, 3), source.GetPixel(15, 3));
    own.ResamplingCopy(own, CUBIC8_INTERPOL);
    EXPECT_NE(own.GetPixel(3, 3), Complex(0.0, 0.0));
}

TEST(LocalSystem, AddAndMultiplyLayGridOnGrid)
{
    for (const Engine lib : EachEngine())
        for (const auto& [dx, dy] :
             {std::pair{0.0, 0.0}, {5.3, -2.6}, {-9.0, 7.0}, {40.0, 0.0}, {0.0, -40.0}, {1e15, 0.0}})
            for (const Threads threads : EachTeam({1, 3}))
            {
                Lumora a(32, 16, 1.0, 1.0), s(16, 32, 1.0005, 0.9995);
                FillRandom(a, 1);
                FillRandom(s, 2);
                s.SetOrigin(Vector(dx, dy, 0));
                const int oi = int(std::floor(std::clamp(-8 * 1.0005 + dx, -1e6, 1e6) + 0.5)) + 16;
                const int oj = int(std::floor(-16 * 0.9995 + dy + 0.5)) + 8;
                Lumora sum(a), product(a), expectedSum(a), expectedProduct(a);
                for (const auto [i, j] : Grid(16, 32))
                    if (i + oi >= 0 && i + oi < 32 && j + oj >= 0 && j + oj < 16)
                    {
                        expectedSum.Pixel(i + oi, j + oj) += s.GetPixel(i, j);
                        expectedProduct.Pixel(i + oi, j + oj) *= s.GetPixel(i, j);
                    }
                EXPECT_TRUE(SameBits(sum.Add(s), expectedSum)) << dx;
                EXPECT_TRUE(SameBits(product.Multiply(s), expectedProduct)) << dx;
            }
    Lumora own(8, 8, 1.0, 1.0);
    own.SetConst(Complex(2.0, 0.0));
    EXPECT_EQ(own.Add(own).GetPixel(7, 7), Complex(4.0, 0.0));
}

TEST(LocalSystem, ATiltedPlaneStillUsesGlobalOffsets)
{
    Lumora a(16, 16, 1.0, 1.0), b(16, 16, 1.0, 1.0);
    const double c = std::cos(0.5), s = std::sin(0.5);
    for (Lumora* f : {&a, &b})
        f->SetNormalVector(Vector(s, 0, c)).Clear();
    b.SetPixel(8, 8, Complex(1.0, 0.0));
    b.SetOrigin(Vector(4 * c, 0, -4 * s)); // 4 along the local x axis, 3.51 in global x
    EXPECT_EQ(Lumora(a).Add(b).GetPixel(12, 8), Complex(1.0, 0.0));
    b.SetOrigin(Vector(3 * c, 0, -3 * s)); // 3, but 2.63
    EXPECT_EQ(Lumora(a).ResamplingCopy(b, ADJACENT_INTERPOL).GetPixel(11, 8), Complex(1.0, 0.0));
    b.SetOrigin(Vector(6 * c, 0, -6 * s)); // 6, but 5.27
    EXPECT_EQ(Lumora(a).Add(b).GetPixel(13, 8), Complex(1.0, 0.0));
}
