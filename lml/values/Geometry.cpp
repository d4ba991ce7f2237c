// Lines, line segments and planes: arrays of two points with the geometry of what they stand for.
#include <cmath>

#include "LmlRuntime.h"
#include "LmlTypes.h"

namespace LumoraLib
{

namespace
{

// Second point minus first: the direction of a line or segment; for a plane the stored unit normal, up to rounding.
Vector Direction(const PointArray& pair)
{
    return pair.GetPoint(1) - pair.GetPoint(0);
}

// Unit direction; for a plane the raw normal, whichever way it points.
Vector UnitDirection(const PointArray& pair)
{
    return Direction(pair).GetNormalized();
}

bool HasNoLength(const PointArray& pair)
{
    return Direction(pair).GetLength() <= GetPositionTolerance();
}

// Kept: one-sided. A negative cosine has no root and compares false, so a line that rises against the normal by any
// amount, rounding included, counts as not parallel.
bool IsDirectionParallel(const Vector& direction, const Plane& plane)
{
    const double cosine = direction.GetNormalized() * plane.GetNormalVector();
    return GetPositionTolerance() >= std::sqrt(cosine);
}

Vector Intersect(const Plane& plane, const Line& line, const char* fn)
{
    if (plane.IsParallel(line))
        Error(ERR_SOMETHING, fn, "the line is parallel to the plane");
    const Vector normal = plane.GetNormalVector();
    const double d = plane.GetDistance();
    const double a = normal * line.GetPoint(0);
    const Vector u = UnitDirection(line);
    const double b = normal * u;
    const double t = (d - a) / b;
    return u * t + line.GetPoint(0);
}

// Kept: the test of GetX, GetY and GetZ looks at the signed component, so a plane whose normal has a clearly negative
// one is refused as well.
void CheckComponent(double component, const char* fn, const char* message)
{
    if (GetPositionTolerance() > component)
        Error(ERR_SOMETHING, fn, message);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------
// Vector, where it meets planes and lines
// ---------------------------------------------------------------------------------------------------------------

double Vector::GetDistance(const Plane& plane) const
{
    return plane.GetDistance(*this);
}

double Vector::GetDistance(const Line& line) const
{
    return line.GetDistance(*this);
}

bool Vector::IsInplane(const Plane& plane) const
{
    return plane.Include(*this);
}

bool Vector::IsInline(const Line& line) const
{
    return line.Include(*this);
}

// ---------------------------------------------------------------------------------------------------------------
// Line
// ---------------------------------------------------------------------------------------------------------------

Line::Line() : PointArray(2) {}

Line::Line(const Vector& point, const Vector& direction) : PointArray(2)
{
    arrayAt(0) = point;
    arrayAt(1) = point + direction;
}

Line::Line(const LineSegment& segment) : PointArray(2)
{
    arrayAt(0) = segment.GetBegin();
    arrayAt(1) = segment.GetEnd();
}

Line Line::X()
{
    return Line(Vector(), Vector::I());
}

Line Line::Y()
{
    return Line(Vector(), Vector::J());
}

Line Line::Z()
{
    return Line(Vector(), Vector::K());
}

const Vector& Line::GetPoint() const
{
    return GetPoint(0);
}

Vector Line::GetVerticalPoint(const Vector& p) const
{
    const Vector u = UnitDirection(*this);
    const double t = (p - GetPoint()) * u;
    return GetPoint() + u * t;
}

bool Line::Include(const Vector& p) const
{
    return GetDistance(p) <= GetPositionTolerance();
}

double Line::GetDistance(const Vector& p) const
{
    return p.GetDistance(GetVerticalPoint(p));
}

Vector Line::GetIntersectionPoint(const Plane& plane) const
{
    static constexpr char fn[] = "LumoraLib::Line::GetIntersectionPoint";
    return Intersect(plane, *this, fn);
}

bool Line::operator==(const Line& other) const
{
    if (!Include(other.GetPoint()))
        return false;
    const Vector u = UnitDirection(*this);
    const Vector v = UnitDirection(other);
    return u == v || u == -v;
}

bool Line::operator!=(const Line& other) const
{
    return !(*this == other);
}

Line GetLine(const Vector& a, const Vector& b)
{
    return Line(a, b - a);
}

// ---------------------------------------------------------------------------------------------------------------
// LineSegment
// ---------------------------------------------------------------------------------------------------------------

LineSegment::LineSegment() : PointArray(2) {}

LineSegment::LineSegment(const Vector& begin, const Vector& end) : PointArray(2)
{
    arrayAt(0) = begin;
    arrayAt(1) = end;
}

const Vector& LineSegment::GetBegin() const
{
    return GetPoint(0);
}

const Vector& LineSegment::GetEnd() const
{
    return GetPoint(1);
}

Vector LineSegment::GetVector() const
{
    return Direction(*this);
}

Vector LineSegment::GetUnitVector() const
{
    return UnitDirection(*this);
}

double LineSegment::GetLength() const
{
    return Direction(*this).GetLength();
}

bool LineSegment::IsEmpty() const
{
    return HasNoLength(*this);
}

bool LineSegment::IsParallel(const Plane& plane) const
{
    return IsDirectionParallel(Direction(*this), plane);
}

bool LineSegment::operator==(const LineSegment& other) const
{
    return (GetBegin() == other.GetBegin() && GetEnd() == other.GetEnd()) ||
           (GetBegin() == other.GetEnd() && GetEnd() == other.GetBegin());
}

bool LineSegment::operator!=(const LineSegment& other) const
{
    return !(*this == other);
}

// ---------------------------------------------------------------------------------------------------------------
// Plane
// ---------------------------------------------------------------------------------------------------------------

Plane::Plane() : PointArray(2) {}

Plane::Plane(const Vector& point, const Vector& normal) : PointArray(2)
{
    arrayAt(0) = point;
    arrayAt(1) = point + normal.GetNormalized();
}

Plane::Plane(const Vector& a, const Vector& b, const Vector& c) : Plane(a, (b - a) & (c - b)) {}

Plane::Plane(const PointArray& points) : PointArray(2)
{
    static constexpr char fn[] = "LumoraLib::Plane::Plane";
    if (points.GetN() < 3)
        Error(ERR_PARAMETER, fn, "number of point is not enough");
    *this = Plane(points.GetPoint(0), points.GetPoint(1), points.GetPoint(2));
}

Plane Plane::XY()
{
    return Plane(Vector(), Vector::K());
}

Plane Plane::YZ()
{
    return Plane(Vector(), Vector::I());
}

Plane Plane::ZX()
{
    return Plane(Vector(), Vector::J());
}

Vector Plane::GetNormalVector() const
{
    const Vector raw = UnitDirection(*this);
    return GetPoint(0) * Direction(*this) >= 0.0 ? raw : -raw;
}

bool Plane::operator==(const Plane& other) const
{
    if (GetDistance(other.GetPoint(0)) > GetPositionTolerance())
        return false;
    return GetNormalVector() == other.GetNormalVector();
}

bool Plane::operator!=(const Plane& other) const
{
    return !(*this == other);
}

bool Plane::IsEmpty() const
{
    return HasNoLength(*this);
}

bool Plane::Include(const Vector& p) const
{
    return GetDistance(p) <= GetPositionTolerance();
}

double Plane::GetDistance() const
{
    return std::fabs(UnitDirection(*this) * GetPoint(0));
}

double Plane::GetDistance(const Vector& p) const
{
    return std::fabs(UnitDirection(*this) * (GetPoint(0) - p));
}

bool Plane::IsParallel(const Plane& other) const
{
    return GetNormalVector().GetDistance(other.GetNormalVector()) < GetPositionTolerance();
}

bool Plane::IsParallel(const Line& line) const
{
    return IsDirectionParallel(Direction(line), *this);
}

double Plane::GetX(double y, double z) const
{
    static constexpr char fn[] = "LumoraLib::Plane::GetX";
    const Vector normal = GetNormalVector();
    CheckComponent(normal.x, fn, "the plane is parallel to x-axis");
    return (GetDistance() - normal.y * y - normal.z * z) / normal.x;
}

double Plane::GetY(double x, double z) const
{
    static constexpr char fn[] = "LumoraLib::Plane::GetY";
    const Vector normal = GetNormalVector();
    CheckComponent(normal.y, fn, "the plane is parallel to y-axis");
    return (GetDistance() - normal.x * x - normal.z * z) / normal.y;
}

double Plane::GetZ(double x, double y) const
{
    static constexpr char fn[] = "LumoraLib::Plane::GetZ";
    const Vector normal = GetNormalVector();
    CheckComponent(normal.z, fn, "the plane is parallel to z-axis");
    return (GetDistance() - normal.x * x - normal.y * y) / normal.z;
}

Vector Plane::GetVerticalPoint(const Vector& p) const
{
    return GetIntersectionPoint(Line(p, GetNormalVector()));
}

Vector Plane::GetIntersectionPoint(const Line& line) const
{
    static constexpr char fn[] = "LumoraLib::Plane::GetIntersectionPoint";
    return Intersect(*this, line, fn);
}

Line Plane::GetIntersectionLine(const Plane& other) const
{
    static constexpr char fn[] = "LumoraLib::Plane::GetIntersectionLine";
    const Vector n1 = GetNormalVector();
    const Vector n2 = other.GetNormalVector();
    const double d1 = GetDistance();
    const double d2 = other.GetDistance();
    const Vector c = n1 & n2;
    const double tolerance = GetPositionTolerance();

    // Right-hand sides left over when one coordinate of the point is set to zero; z is tried first, then y, then x.
    const double rx = n2.x * d1 - n1.x * d2;
    const double ry = n2.y * d1 - n1.y * d2;
    const double rz = n2.z * d1 - n1.z * d2;
    if (std::fabs(c.z) >= tolerance)
        return Line(Vector(ry / c.z, rx / -c.z, 0.0), c);
    if (std::fabs(c.y) >= tolerance)
        return Line(Vector(rz / -c.y, 0.0, rx / c.y), c);
    if (std::fabs(c.x) >= tolerance)
        return Line(Vector(0.0, rz / c.x, ry / -c.x), c);
    Error(ERR_SOMETHING, fn, "argumented plane is parallel to this plane");
}

} // namespace LumoraLib
