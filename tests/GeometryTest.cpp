// Lines, segments and planes: the two normals, the one-sided tests, intersections and comparisons within the tolerance.
#include "TestTools.h"

using namespace lmltest;

namespace
{
class Random
{
public:
    Vector Point() { return Vector(uniform_(engine_), uniform_(engine_), uniform_(engine_)); }

private:
    std::mt19937 engine_{11};
    std::uniform_real_distribution<double> uniform_{-2.0, 2.0};
};

static_assert(std::is_copy_assignable_v<Plane> && std::is_nothrow_move_constructible_v<Line>);
static_assert(sizeof(Plane) == sizeof(PointArray) && sizeof(Line) == sizeof(PointArray) &&
              sizeof(LineSegment) == sizeof(PointArray));
static_assert(!std::is_polymorphic_v<PointArray>);
} // namespace

TEST(PlaneTest, StoresAPointAndThatPointPlusTheUnitNormal)
{
    const Plane p(Vector(1, 2, 3), Vector(0, 0, 7));
    EXPECT_EQ(p.GetN(), 2);
    ExpectNear(p.GetPoint(0), 1, 2, 3, 0);
    ExpectNear(p.GetPoint(1), 1, 2, 4, 0);
    const Plane q(Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1));
    const double r = 1.0 / std::sqrt(3.0);
    ExpectNear(q.GetPoint(0), 1, 0, 0, 0);
    ExpectNear(q.GetPoint(1), 1 + r, r, r);
    EXPECT_NEAR(q.GetDistance(), r, 1e-15);
    PointArray points(Vector(1, 0, 0));
    points.Insert(Vector(0, 1, 0));
    points.Insert(Vector(0, 0, 1));
    points.Insert(Vector(9, 9, 9));
    EXPECT_TRUE(Plane(points) == q);
    ExpectNear(Plane::XY().GetNormalVector(), 0, 0, 1, 0);
    ExpectNear(Plane::YZ().GetNormalVector(), 1, 0, 0, 0);
    ExpectNear(Plane::ZX().GetNormalVector(), 0, 1, 0, 0);
    EXPECT_TRUE(Plane().IsEmpty() && Plane(Vector(1, 1, 1), Vector()).IsEmpty());
    EXPECT_FALSE(q.IsEmpty());
    Plane copy;
    copy = q;
    EXPECT_TRUE(copy == q && Plane(q) == q);
    const Plane moved(std::move(copy));
    EXPECT_TRUE(moved == q && copy == q); // what was moved from is still a plane
}

TEST(PlaneTest, NormalPointsAwayFromTheOrigin)
{
    ExpectNear(Plane(Vector(0, 0, 1), Vector(0, 0, -1)).GetNormalVector(), 0, 0, 1, 0);
    ExpectNear(Plane(Vector(0, 0, -1), Vector(0, 0, 1)).GetNormalVector(), 0, 0, -1, 0);
    ExpectNear(Plane(Vector(), Vector(0, 0, -5)).GetNormalVector(), 0, 0, -1, 0); // through it: as stored
    Random random;
    for (int n = 0; n < 100; ++n)
    {
        const Vector point = random.Point();
        const Plane plane(point, random.Point());
        // The equation N p = d holds with this normal and a distance that is never negative.
        EXPECT_NEAR(plane.GetNormalVector() * point, plane.GetDistance(), 1e-14);
        EXPECT_GE(plane.GetDistance(), 0.0);
    }
}

TEST(PlaneTest, EqualityIsThatOfPointSetsExceptThroughTheOrigin)
{
    const Plane p(Vector(0, 0, 1), Vector(0, 0, 1));
    EXPECT_TRUE(p == Plane(Vector(5, 5, 1), Vector(0, 0, -1)));
    EXPECT_FALSE(p != Plane(Vector(5, 5, 1), Vector(0, 0, -1)));
    EXPECT_TRUE(p == Plane(Vector(0, 0, 1 + 0.9e-6), Vector(0, 0, 1)));
    EXPECT_TRUE(p != Plane(Vector(0, 0, 1 + 2e-6), Vector(0, 0, 1)));
    EXPECT_TRUE(p == Plane(Vector(0, 0, 1), Vector(0.9e-6, 0, 1)));
    EXPECT_TRUE(p != Plane(Vector(0, 0, 1), Vector(2e-6, 0, 1)));
    EXPECT_FALSE(Plane(Vector(), Vector(0, 0, 1)) == Plane(Vector(), Vector(0, 0, -1)));
    EXPECT_FALSE(p == Plane(Vector(0, 0, -1), Vector(0, 0, 1)));
}

TEST(PlaneTest, DistancesFeetAndInclusion)
{
    const Plane p(Vector(0, 0, 2), Vector(0, 0, 1));
    EXPECT_TRUE(p.Include(Vector(7, -3, 2 + 0.5e-6)));
    EXPECT_FALSE(p.Include(Vector(7, -3, 2 - 2e-6)));
    EXPECT_EQ(p.GetDistance(), 2.0);
    EXPECT_EQ(p.GetDistance(Vector(1, 1, -3)), 5.0);
    EXPECT_EQ(Vector(1, 1, 4).GetDistance(p), 2.0);
    EXPECT_TRUE(Vector(8, 8, 2).IsInplane(p) && !Vector(8, 8, 1).IsInplane(p));
    ExpectNear(p.GetVerticalPoint(Vector(4, 5, 9)), 4, 5, 2);
    Random random;
    for (int n = 0; n < 100; ++n)
    {
        const Plane plane(random.Point(), random.Point());
        const Vector point = random.Point();
        const Vector foot = plane.GetVerticalPoint(point);
        EXPECT_NEAR(plane.GetDistance(foot), 0.0, 1e-13);
        EXPECT_NEAR(foot.GetDistance(point), plane.GetDistance(point), 1e-13);
    }
}

TEST(PlaneTest, CoordinatesTestTheSignedComponent)
{
    EXPECT_EQ(Plane::XY().GetZ(1, 2), 0.0);
    const Plane q(Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1)); // x + y + z = 1
    EXPECT_NEAR(q.GetX(2, 3), -4.0, 1e-14);
    EXPECT_NEAR(q.GetY(2, 4), -5.0, 1e-14);
    EXPECT_NEAR(q.GetZ(2, 5), -6.0, 1e-14);
    const Plane skew(Vector(2, 0, 0), Vector(1, 2, 3)); // x + 2 y + 3 z = 2
    EXPECT_NEAR(skew.GetX(5, 7), 2.0 - 10.0 - 21.0, 1e-13);
    EXPECT_NEAR(skew.GetY(5, 7), (2.0 - 5.0 - 21.0) / 2.0, 1e-13);
    EXPECT_NEAR(skew.GetZ(5, 7), (2.0 - 5.0 - 14.0) / 3.0, 1e-13);
    // Refused: parallel to the axis, and also where the normal's component is clearly negative.
    for (const Vector& n : {Vector(0, 0, -1), Vector(1, -1, 0)})
    {
        EXPECT_EQ(Catch([&] { Plane(n, n).GetZ(0, 0); }).code, 6);
        EXPECT_EQ(Catch([&] { Plane(Vector(n.z, n.x, n.y), Vector(n.z, n.x, n.y)).GetX(0, 0); }).code, 6);
        EXPECT_EQ(Catch([&] { Plane(Vector(n.y, n.z, n.x), Vector(n.y, n.z, n.x)).GetY(0, 0); }).code, 6);
    }
}

TEST(PlaneTest, ParallelismIsStrictForPlanesAndOneSidedForLines)
{
    const Plane p(Vector(0, 0, 1), Vector(0, 0, 1));
    EXPECT_TRUE(p.IsParallel(Plane(Vector(1, 1, 4), Vector(0, 0, -2))));
    EXPECT_FALSE(p.IsParallel(Plane(Vector(0, 0, -1), Vector(0, 0, 1)))); // the outward normals oppose
    EXPECT_FALSE(p.IsParallel(Plane(Vector(0, 0, 1), Vector(2e-6, 0, 1))));
    SetPositionTolerance(0.0);
    EXPECT_FALSE(p.IsParallel(p)); // 0 < 0
    SetPositionTolerance(1e-6);

    const Vector at(0, 0, 5);
    EXPECT_TRUE(p.IsParallel(Line(at, Vector(1, 0, 0))));
    EXPECT_TRUE(p.IsParallel(Line(at, Vector(1, 0, 0.9e-12)))); // up to the tolerance squared
    EXPECT_FALSE(p.IsParallel(Line(at, Vector(1, 0, 2e-12))));
    EXPECT_FALSE(p.IsParallel(Line(at, Vector(1, 0, -1e-14)))); // against the normal: by any amount
    EXPECT_TRUE(LineSegment(Vector(0, 0, 1), Vector(3, 4, 1)).IsParallel(p));
    EXPECT_FALSE(LineSegment(Vector(0, 0, 1), Vector(3, 4, 1.1)).IsParallel(p));
    EXPECT_FALSE(LineSegment(Vector(0, 0, 1), Vector(3, 4, 0.9)).IsParallel(p));
}

TEST(PlaneTest, MeetsLines)
{
    const Plane p(Vector(0, 0, 2), Vector(0, 0, -1));
    ExpectNear(p.GetIntersectionPoint(Line(Vector(1, 1, 0), Vector(1, 0, 1))), 3, 1, 2);
    ExpectNear(p.GetIntersectionPoint(Line(Vector(1, 1, 5), Vector(0, 0, -8))), 1, 1, 2);
    ExpectNear(Line(Vector(1, 1, 0), Vector(0, 2, 2)).GetIntersectionPoint(p), 1, 3, 2);
    Random random;
    for (int n = 0; n < 200; ++n)
    {
        const Plane plane(random.Point(), random.Point());
        const Line line(random.Point(), random.Point());
        const double rise = std::fabs(plane.GetNormalVector() * (line.At(1) - line.At(0)).GetNormalized());
        if (rise < 1e-2)
            continue;
        const Vector point = plane.GetIntersectionPoint(line);
        EXPECT_NEAR(plane.GetDistance(point), 0.0, 1e-12);
        EXPECT_NEAR(line.GetDistance(point), 0.0, 1e-12 / rise);
    }
}

TEST(PlaneTest, MeetsPlanes)
{
    // Each row of the choice: which coordinate of the line's point is zero.
    const struct
    {
        Plane a, b;
        Vector point, direction;
    } cases[] = {
        {Plane(Vector(1, 0, 0), Vector::I()), Plane(Vector(0, 2, 0), Vector::J()), Vector(1, 2, 0), Vector(0, 0, 1)},
        {Plane(Vector(0, 0, 1), Vector::K()), Plane(Vector(1, 0, 0), Vector::I()), Vector(1, 0, 1), Vector(0, 1, 0)},
        {Plane(Vector(0, 2, 0), Vector::J()), Plane(Vector(0, 0, 3), Vector::K()), Vector(0, 2, 3), Vector(1, 0, 0)},
        {Plane(Vector(0, 0, 1), Vector::K()), Plane(Vector(3, 0, 0), Vector(3, 0, 4)), Vector(5.0 / 3, 0, 1),
         Vector(0, 0.6, 0)},
        {Plane(Vector(0, 2, 0), Vector::J()), Plane(Vector(0, 0, 5), Vector(0, 4, 3)), Vector(0, 2, 7.0 / 3),
         Vector(0.6, 0, 0)}};
    for (const auto& c : cases)
    {
        const Line line = c.a.GetIntersectionLine(c.b);
        ExpectNear(line.GetPoint(0), c.point.x, c.point.y, c.point.z);
        const Vector direction = line.At(1) - line.At(0);
        ExpectNear(direction, c.direction.x, c.direction.y, c.direction.z);
    }
    Random random;
    for (int n = 0; n < 200; ++n)
    {
        const Plane a(random.Point(), random.Point());
        const Plane b(random.Point(), random.Point());
        const double sine = (a.GetNormalVector() & b.GetNormalVector()).GetLength();
        const Line line = a.GetIntersectionLine(b);
        EXPECT_NEAR((line.At(1) - line.At(0)).GetLength(), sine, 1e-12); // not normalised
        if (sine < 0.1 || line.At(0).GetLength() > 100.0)
            continue;
        for (int i = 0; i < 2; ++i)
        {
            EXPECT_NEAR(a.GetDistance(line.At(i)), 0.0, 1e-11);
            EXPECT_NEAR(b.GetDistance(line.At(i)), 0.0, 1e-11);
        }
    }
}

TEST(LineTest, HasNoSenseOfDirection)
{
    const Line line(Vector(1, 0, 0), Vector(0, 2, 0));
    EXPECT_TRUE(line == Line(Vector(1, 9, 0), Vector(0, -0.1, 0)));
    EXPECT_TRUE(line == Line(Vector(1, -9, 0), Vector(0, 7, 0)));
    EXPECT_TRUE(line != Line(Vector(1 + 2e-6, 0, 0), Vector(0, 2, 0)));
    EXPECT_TRUE(line == Line(Vector(1 + 0.9e-6, 0, 0), Vector(0, 2, 0)));
    EXPECT_TRUE(line != Line(Vector(1, 0, 0), Vector(0, 2, 1e-5)));
    EXPECT_TRUE(line == LineSegment(Vector(1, 3, 0), Vector(1, 1, 0))); // a segment's line
    ExpectNear(Line::X().At(1), 1, 0, 0, 0);
    ExpectNear(Line::Y().At(1), 0, 1, 0, 0);
    ExpectNear(Line::Z().At(1), 0, 0, 1, 0);
    const Line through = GetLine(Vector(1, 2, 3), Vector(2, 4, 6));
    ExpectNear(through.GetPoint(), 1, 2, 3, 0);
    ExpectNear(through.GetPoint(1), 2, 4, 6, 0);
}

TEST(LineTest, FeetAndDistances)
{
    const Line line(Vector(1, 0, 0), Vector(0, 5, 0));
    ExpectNear(line.GetVerticalPoint(Vector(4, 7, 4)), 1, 7, 0);
    EXPECT_NEAR(line.GetDistance(Vector(4, 7, 4)), 5.0, 1e-15);
    EXPECT_NEAR(Vector(4, 7, 4).GetDistance(line), 5.0, 1e-15);
    EXPECT_TRUE(line.Include(Vector(1 + 0.5e-6, -50, 0)) && Vector(1, -50, 0).IsInline(line));
    EXPECT_FALSE(line.Include(Vector(1 + 2e-6, 3, 0)) || Vector(0, 3, 0).IsInline(line));
    ExpectNear(Line().GetVerticalPoint(Vector(1, 2, 3)), 0, 0, 0, 0);
}

TEST(LineSegmentTest, KnowsItsEndsInEitherOrder)
{
    const Vector a(1, 2, 3);
    const Vector b(3, 5, 9);
    const LineSegment s(a, b);
    EXPECT_EQ(s.GetLength(), 7.0);
    ExpectNear(s.GetBegin(), 1, 2, 3, 0);
    ExpectNear(s.GetEnd(), 3, 5, 9, 0);
    ExpectNear(s.GetVector(), 2, 3, 6, 0);
    ExpectNear(s.GetUnitVector(), 2.0 / 7.0, 3.0 / 7.0, 6.0 / 7.0);
    EXPECT_TRUE(s == LineSegment(b, a) && s == LineSegment(a, b + Vector(0, 0, 1e-7)));
    EXPECT_TRUE(s != LineSegment(a, b + Vector(0, 0, 2e-6)) && s != LineSegment(a, a) && s != LineSegment(b, b));
    EXPECT_TRUE(LineSegment().IsEmpty() && LineSegment(a, a + Vector(0, 0, 0.9e-6)).IsEmpty());
    EXPECT_FALSE(s.IsEmpty());
    const Line line(s);
    ExpectNear(line.At(0), 1, 2, 3, 0);
    ExpectNear(line.At(1), 3, 5, 9, 0);
}
