// Point arrays: the switch between inline and heap storage, geometry, projections, text, and memory that runs out.
#include "TestTools.h"

#include <sstream>

#include <malloc.h>

#include "base/TextLocale.h"

using namespace lmltest;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

namespace
{
Vector P(int n)
{
    return Vector(n, 10.0 * n, -n);
}

PointArray Numbered(int count, int first = 0)
{
    PointArray points(count);
    for (int i = 0; i < count; ++i)
        points.SetPoint(i, P(first + i));
    return points;
}

// The numbers of the points, -1 for one that none of P() made.
std::vector<int> Numbers(const PointArray& points)
{
    std::vector<int> numbers;
    for (int i = 0; i < points.GetN(); ++i)
    {
        const int n = static_cast<int>(points.GetPoint(i).x);
        numbers.push_back(points[i].GetDistance(P(n)) == 0.0 ? n : -1);
    }
    return numbers;
}

PointArray Of(std::initializer_list<Vector> list)
{
    PointArray points(0);
    for (const Vector& v : list)
        points.Insert(v);
    return points;
}

// The storage helpers, as a derived class sees them.
class Opened : public PointArray
{
public:
    explicit Opened(const PointArray& points) : PointArray(points) {}
    void Check()
    {
        std::vector<Vector>* record = _newVector(5);
        ASSERT_EQ(record->size(), 5u);
        EXPECT_TRUE(record->back().IsEmpty());
        std::destroy_at(record);
        Free(record);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(&arrayAt(i), &At(i));
        copyA2V(); // there and back with the count alone
        EXPECT_EQ(GetN(), 3);
        copyV2A();
        EXPECT_EQ(Numbers(*this), (std::vector<int>{0, 1, 2}));
        Remove();
        copyA2V(); // a record of two points has no third one to copy
        copyV2A();
        EXPECT_EQ(Numbers(*this), (std::vector<int>{0, 1}));
    }
};
} // namespace

TEST(PointArrayTest, EveryInsertionAndRemovalAcrossTheStorages)
{
    for (int count = 0; count <= 6; ++count)
    {
        std::vector<int> plain(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            plain[static_cast<std::size_t>(i)] = i;
        for (int i = 0; i <= count; ++i)
        {
            PointArray points = Numbered(count);
            points.Insert(i, P(77));
            std::vector<int> expected = plain;
            expected.insert(expected.begin() + i, 77);
            EXPECT_EQ(Numbers(points), expected) << count << " " << i;
            points.Remove(i);
            EXPECT_EQ(Numbers(points), plain) << count << " " << i;
            if (i == count)
                continue;
            points.Remove(i);
            expected = plain;
            expected.erase(expected.begin() + i);
            EXPECT_EQ(Numbers(points), expected) << count << " " << i;
        }
        PointArray points = Numbered(count);
        points.Insert(P(88));
        EXPECT_EQ(points.N(), count + 1);
        EXPECT_EQ(Numbers(points).back(), 88);
        points.Remove();
        EXPECT_EQ(Numbers(points), plain);
    }
    EXPECT_EQ(PointArray(-5).GetN(), 0);
    Opened(Numbered(3)).Check();
}

TEST(PointArrayTest, CopiesAreDeepAndMovesLeaveSomethingValid)
{
    for (int count : {0, 1, 3, 4, 7})
        for (int old : {0, 2, 4, 9})
        {
            const PointArray source = Numbered(count);
            PointArray copy = source;
            if (count > 0)
                copy.SetPoint(0, P(50));
            EXPECT_EQ(Numbers(source), Numbers(Numbered(count)));
            PointArray target = Numbered(old, 20);
            EXPECT_EQ(&(target = source), &target);
            EXPECT_EQ(Numbers(target), Numbers(source));
            target = static_cast<const PointArray&>(target);
            EXPECT_EQ(Numbers(target), Numbers(source));
            PointArray other = Numbered(old, 20);
            other = std::move(target);
            EXPECT_EQ(Numbers(other), Numbers(source));
            EXPECT_EQ(target.GetN(), count > 3 ? 0 : count);
            target.Insert(P(3));
            target = source;
            PointArray made(std::move(target));
            EXPECT_EQ(Numbers(made), Numbers(source));
        }
    ExpectNear(PointArray(P(6))[0], 6, 60, -6, 0);
    EXPECT_EQ(Numbers(PointArray(LineSegment(P(1), P(2)))), (std::vector<int>{1, 2}));
}

TEST(PointArrayTest, ArgumentsMayBePointsOfTheArrayItself)
{
    PointArray two = Numbered(2, 1); // the points move up before the new one is stored
    two.Insert(0, two[1]);
    EXPECT_EQ(Numbers(two), (std::vector<int>{2, 1, 2}));
    two.Insert(0, two[0]); // the record takes the place where the point stands
    EXPECT_EQ(Numbers(two), (std::vector<int>{2, 2, 1, 2}));
    PointArray points = Numbered(3, 1);
    points.Insert(0, points[2]);
    points.Insert(points[3]);
    for (int n = 0; n < 20; ++n)
        points.Insert(1, points[points.GetN() - 1]);
    EXPECT_EQ(Numbers(points)[1], 3);
    EXPECT_EQ(points.GetN(), 25);
    PointArray shifted = Numbered(3, 1);
    shifted -= shifted[0];
    EXPECT_EQ(Numbers(shifted), (std::vector<int>{0, 1, 2}));
    shifted += shifted[1];
    EXPECT_EQ(Numbers(shifted), (std::vector<int>{1, 2, 3}));
}

#if !defined(LML_TEST_SANITIZED) // whose allocator counts elsewhere
TEST(PointArrayTest, ThreePointsNeverTouchTheHeap)
{
    RMatrix::RotationX(0.1); // the shared matrix exists from its first call on
    const RMatrix turn = RMatrix::RotationX(0.3);
    const auto used = mallinfo2().uordblks;
    {
        PointArray points(3);
        points.SetPoint(1, P(4));
        PointArray copy = points;
        copy.Remove();
        copy.Insert(0, P(2));
        points = copy;
        points.Rotate(turn);
        const Plane plane(P(1), P(2));
        const Line line(P(0), P(1));
        points.ProjectionOn(plane).SetCenter(P(3));
        const Vector foot = plane.GetVerticalPoint(line.GetVerticalPoint(P(5)));
        const LineSegment segment(foot, points.GetCenter());
        EXPECT_FALSE(segment.IsEmpty() && points.GetPlane().IsEmpty());
        EXPECT_EQ(mallinfo2().uordblks, used);
        points.Insert(P(1));                                   // and the fourth does
        EXPECT_TRUE(used == 0 || mallinfo2().uordblks > used); // a memory checker's allocator counts nothing
    }
}
#endif

TEST(PointArrayTest, EqualityGoesPointByPoint)
{
    for (int count : {1, 3, 5})
    {
        const PointArray a = Numbered(count);
        for (int i = 0; i < count; ++i)
        {
            PointArray b = a;
            b[i] += Vector(0, 0.9e-6, 0);
            EXPECT_TRUE(a == b && !(a != b));
            b[i] += Vector(0, 0.9e-6, 0);
            EXPECT_TRUE(a != b && !(a == b));
        }
        EXPECT_TRUE(a != Numbered(count + 1));
    }
    EXPECT_TRUE(PointArray(0) == PointArray(0));
}

TEST(PointArrayTest, MotionIsAboutTheGlobalOrigin)
{
    for (int count : {2, 3, 5})
    {
        PointArray a = Numbered(count, 1);
        a += Vector(1, 2, 3);
        ExpectNear(a[count - 1], count + 1, 10 * count + 2, -count + 3);
        a -= Vector(1, 2, 3);
        a *= 2.0;
        EXPECT_EQ(a[0].y, 20.0);
        a *= 0.5;
        PointArray b = a;
        const RMatrix turn = RMatrix::RotationZ(Pi / 2.0);
        a *= turn;
        EXPECT_EQ(&b.Rotate(turn), &b);
        for (int i = 0; i < count; ++i)
        {
            ExpectNear(a[i], -10.0 * (i + 1), i + 1, -(i + 1));
            EXPECT_EQ(a[i].GetDistance(b[i]), 0.0);
        }
    }
}

TEST(PointArrayTest, CentresBoxesAndExtents)
{
    ExpectNear(Of({{0, 0, 0}, {2, 0, 0}, {0, 0, 0}}).GetCenter(), 1, 0, 0, 0); // of the box, not the mean
    ExpectNear(PointArray(Vector(1, 2, 3)).GetCenter(), 1, 2, 3, 0);
    ExpectNear(Of({{1e50, 2, 3}, {3, 4, 5}}).GetCenter(), 5e49, 3, 4, 1e35);
    const PointArray cloud = Of({{1, -4, 2}, {-3, 5, 2}, {0, 0, 7}, {2, 1, -1}, {0, 0, 0}});
    ExpectNear(cloud.GetCenter(), -0.5, 0.5, 3, 0);
    EXPECT_TRUE(cloud.GetMinX() == -3 && cloud.GetMaxX() == 2 && cloud.GetMinY() == -4 && cloud.GetMaxY() == 5 &&
                cloud.GetMinZ() == -1 && cloud.GetMaxZ() == 7);
    const PointArray box = cloud.GetBoundingBox();
    ASSERT_EQ(box.GetN(), 2);
    ExpectNear(box[0], -3, -4, -1, 0);
    ExpectNear(box[1], 2, 5, 7, 0);
    EXPECT_TRUE(cloud.GetWidth() == 5 && cloud.GetHeight() == 9 && cloud.GetDepth() == 8);
    const PointArray pair = Of({{5, 1, 1}, {2, 3, -7}});
    EXPECT_TRUE(pair.GetWidth() == 3 && pair.GetHeight() == 2 && pair.GetDepth() == 8);
    EXPECT_TRUE(PointArray(P(4)).GetWidth() == 0 && PointArray(P(4)).GetHeight() == 0 &&
                PointArray(P(4)).GetDepth() == 0);
    // Beyond the limits nothing is found; not-a-numbers are passed over.
    const PointArray far = Of({{1e50, 1, 1}, {1e50, 1, 1}, {1e50, 1, 1}});
    EXPECT_TRUE(far.GetBoundingBox()[0].x == 1e40 && far.GetBoundingBox()[1].x == 1e50);
    EXPECT_EQ(Of({{std::nan(""), 0, 0}, {1, 0, 0}, {3, 0, 0}}).GetCenter().x, 2.0);

    PointArray moved = cloud;
    moved.SetCenter(Vector(7, 8, 9));
    ExpectNear(moved.GetCenter(), 7, 8, 9);
    moved.Localize();
    ExpectNear(moved.GetCenter(), 0, 0, 0);
    EXPECT_EQ(moved.GetWidth(), 5.0);
}

TEST(PointArrayTest, PlanesAndProjections)
{
    PointArray points = Of({{0, 0, 1}, {1, 0, 1}, {0, 1, 1}});
    EXPECT_TRUE(points.GetPlane() == Plane(Vector(5, 5, 1), Vector::K()) && points.IsInplane());
    points.Insert(Vector(3, 3, 1 + 0.9e-6));
    EXPECT_TRUE(points.IsInplane());
    points.Insert(Vector(3, 3, 1 - 2e-6));
    EXPECT_FALSE(points.IsInplane());
    // Three points on one line leave no normal: everything counts as inside.
    EXPECT_TRUE(Of({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 5, 5}}).IsInplane());

    const Plane ground(Vector(0, 0, 2), Vector::K());
    PointArray cloud = Numbered(5);
    EXPECT_EQ(&cloud.ProjectionOn(ground), &cloud);
    for (int i = 0; i < 5; ++i)
        ExpectNear(cloud[i], i, 10 * i, 2);
    cloud = Numbered(5);
    cloud.ProjectionOn(ground, Line(Vector(9, 9, 9), Vector(1, 0, 1)));
    for (int i = 0; i < 5; ++i)
        ExpectNear(cloud[i], i + (2 + i), 10 * i, 2);
    PointArray far = Of({P(1), {0, 0, 1e30}}); // a line through the second point has no direction: the first stays too
    EXPECT_EQ(Catch([&] { far.ProjectionOn(ground); }).code, 6);
    EXPECT_EQ(Catch([&] { far.ProjectionOn(ground, Line::Z()); }).code, 6);
    ExpectNear(far[0], 1, 10, -1);
    Plane own(Vector(0, 0, 2), Vector::K());
    own.ProjectionOn(own); // reads itself while it changes
    ExpectNear(own[0], 0, 0, 2);
    ExpectNear(own[1], 0, 0, 2);
}

TEST(PointArrayTest, TextHasAPointInEveryLocale)
{
    const PointArray points = Of({{1.5, -2, 0.1234567}, {1e3, 0, 0}, {0, 0, 0}, {-0.25, 0, 1}});
    const std::string csv = "n, x, y, z\n0, 1.500000, -2.000000, 0.123457\n1, 1000.000000, 0.000000, 0.000000\n"
                            "2, 0.000000, 0.000000, 0.000000\n3, -0.250000, 0.000000, 1.000000\n";
    const std::string print = ">>> 4\n0 : (1.500000, -2.000000, 0.123457)\n1 : (1000.000000, 0.000000, 0.000000)\n"
                              "2 : (0.000000, 0.000000, 0.000000)\n3 : (-0.250000, 0.000000, 1.000000)\n";
    const ScratchFile file("points.csv");
    const auto check = [&]
    {
        points.SaveAsCsv(file.Path());
        EXPECT_EQ(file.Read(), csv);
        CaptureStdout();
        points.Print();
        EXPECT_EQ(GetCapturedStdout(), print);
    };
    check();

    const CommaLocale comma;
    check();
    char text[8];
    EXPECT_EQ(detail::FormatC(text, sizeof text, "%.1f", 2.5), 3);
    EXPECT_STREQ(text, "2.5");
    {
        const detail::CLocaleScope outer;
        const detail::CLocaleScope inner;
        EXPECT_EQ(std::strtod("1.5", nullptr), 1.5);
    }
    std::snprintf(text, sizeof text, "%.1f", 2.5); // the caller's locale is back
    EXPECT_STREQ(text, "2,5");
}

TEST(PointArrayTest, Stream)
{
    std::ostringstream out;
    out << Of({{1, 2.5, 3}, {4, 5, 6}}) << "|" << PointArray(0);
    EXPECT_EQ(out.str(), "2 points\n1, 2.5, 3\n-4, 5, 6\n-|0 points\n");
}
