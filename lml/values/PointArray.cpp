// Ordered lists of points: up to three inline, more in a growing vector on the heap.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "LmlRuntime.h"
#include "LmlTypes.h"
#include "base/Describe.h"
#include "base/TextLocale.h"
#include "base/WithMemory.h"

namespace LumoraLib
{

namespace
{

using Points = std::vector<Vector>;

constexpr int inlinePoints = 3;

// Larger than every coordinate in metres that stands for a place; boxes start from it.
constexpr double farAway = 1e40;

constexpr char label[] = "PointArray";
constexpr char noPoint[] = "no point in the object";
constexpr char outOfRange[] = "out of range";
constexpr char indexOutOfRange[] = "index is out of range";

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

// The failure that Malloc() reports, for memory that the vector asks for by itself.
[[noreturn]] void NoMemory(std::size_t points)
{
    char text[64];
    std::snprintf(text, sizeof text, "demanded bytes = %zu : %s", points * sizeof(Vector), label);
    Error(ERR_MEMORY, "LumoraLib::Malloc", text);
}

// Runs an operation that makes a vector hold that many points; it either succeeds or ends in Error().
template <class Operation>
void Grow(std::size_t points, Operation operation)
{
    detail::WithMemory(operation, [points] { NoMemory(points); });
}

struct RecordFree
{
    void operator()(Points* record) const
    {
        std::destroy_at(record);
        Free(record);
    }
};

using RecordPtr = std::unique_ptr<Points, RecordFree>;

RecordPtr NewRecord()
{
    return RecordPtr(::new (Malloc(sizeof(Points), label)) Points());
}

struct FileClose
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Smallest or largest value of one coordinate. The first access is checked, so that an empty array is refused there.
template <class Better>
double Extreme(const PointArray& points, double Vector::*coordinate, Better better)
{
    double result = points.At(0).*coordinate;
    for (int i = 1; i < points.GetN(); ++i)
    {
        const double value = points.At(i).*coordinate;
        if (better(value, result))
            result = value;
    }
    return result;
}

double Smallest(const PointArray& points, double Vector::*coordinate)
{
    return Extreme(points, coordinate, [](double value, double best) { return value < best; });
}

double Largest(const PointArray& points, double Vector::*coordinate)
{
    return Extreme(points, coordinate, [](double value, double best) { return value > best; });
}

struct Box
{
    Vector low{farAway, farAway, farAway};
    Vector high{-farAway, -farAway, -farAway};
};

Box GetBox(const PointArray& points)
{
    Box box;
    for (int i = 0; i < points.GetN(); ++i)
    {
        const Vector& p = points.GetPoint(i);
        for (double Vector::*c : {&Vector::x, &Vector::y, &Vector::z})
        {
            if (p.*c < box.low.*c)
                box.low.*c = p.*c;
            if (p.*c > box.high.*c)
                box.high.*c = p.*c;
        }
    }
    return box;
}

double Extent(const PointArray& points, double Vector::*coordinate, const char* fn)
{
    const int count = points.GetN();
    if (count < 1)
        Error(ERR_SOMETHING, fn, noPoint);
    if (count == 1)
        return 0.0;
    const Box box = count == 2 ? Box{points.GetPoint(0), points.GetPoint(1)} : GetBox(points);
    const double d = box.high.*coordinate - box.low.*coordinate;
    return std::sqrt(d * d);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------
// Storage
// ---------------------------------------------------------------------------------------------------------------

Vector& PointArray::Get(int i) const
{
    return count_ > inlinePoints ? (*storage_.record)[LumoraLib::At(i)] : storage_.point[i];
}

// Begins the life of the inline points again after a record stood in their place.
void PointArray::SetInline(const PointArray& other)
{
    const Storage points = other.storage_;
    for (int i = 0; i < inlinePoints; ++i)
        ::new (static_cast<void*>(&storage_.point[i])) Vector(points.point[i]);
}

void PointArray::FreeRecord()
{
    if (count_ > inlinePoints)
        RecordFree()(storage_.record);
}

std::vector<Vector>* PointArray::_newVector(int n)
{
    RecordPtr record = NewRecord();
    const std::size_t points = n > 0 ? LumoraLib::At(n) : 0;
    Grow(points, [&] { record->resize(points); });
    return record.release();
}

void PointArray::newVector(int n)
{
    storage_.record = _newVector(n);
}

void PointArray::newVector(const std::vector<Vector>& points)
{
    RecordPtr record = NewRecord();
    Grow(points.size(), [&] { *record = points; });
    storage_.record = record.release();
}

void PointArray::copyA2V()
{
    RecordPtr record = NewRecord();
    // Room for one point more: the insertion that follows must not fail between here and the change of the count.
    const std::size_t room = LumoraLib::At(count_) + 1;
    Grow(room, [&] { record->reserve(room); });
    record->assign(storage_.point, storage_.point + count_);
    storage_.record = record.release();
}

void PointArray::copyV2A()
{
    const RecordPtr record(storage_.record);
    for (int i = 0; i < inlinePoints; ++i)
        ::new (static_cast<void*>(&storage_.point[i]))
            Vector(LumoraLib::At(i) < record->size() ? (*record)[LumoraLib::At(i)] : Vector());
}

PointArray::PointArray(int n) : count_(0), storage_()
{
    if (n > inlinePoints)
        newVector(n);
    count_ = n > 0 ? n : 0;
}

PointArray::PointArray(const PointArray& other) : count_(0), storage_()
{
    if (other.count_ > inlinePoints)
        newVector(*other.storage_.record);
    else
        SetInline(other);
    count_ = other.count_;
}

PointArray::PointArray(PointArray&& other) noexcept : count_(0), storage_()
{
    *this = std::move(other);
}

PointArray::PointArray(const LineSegment& segment) : PointArray(static_cast<const PointArray&>(segment)) {}

PointArray::PointArray(const Vector& point) : count_(1), storage_()
{
    storage_.point[0] = point;
}

PointArray& PointArray::operator=(const PointArray& other)
{
    if (this != &other)
        *this = PointArray(other);
    return *this;
}

PointArray& PointArray::operator=(PointArray&& other) noexcept
{
    if (this == &other)
        return *this;
    FreeRecord();
    count_ = other.count_;
    if (count_ > inlinePoints)
    {
        storage_.record = other.storage_.record;
        other.count_ = 0;
        other.SetInline(PointArray(0));
    }
    else
    {
        // Inline points stay with the source as well: a line or plane that was moved from is still one.
        SetInline(other);
    }
    return *this;
}

PointArray::~PointArray()
{
    FreeRecord();
    count_ = 0;
}

// ---------------------------------------------------------------------------------------------------------------
// Access
// ---------------------------------------------------------------------------------------------------------------

Vector& PointArray::At(int i) const
{
    static constexpr char fn[] = "LumoraLib::PointArray::At";
    if (i < 0 || i >= count_)
        Error(ERR_PARAMETER, fn, detail::Explained(outOfRange, "The index is %d, the number of points %d.", i, count_));
    return Get(i);
}

Vector& PointArray::operator[](int i) const
{
    static constexpr char fn[] = "LumoraLib::PointArray::operator[]";
    if (i < 0 || i >= count_)
        Error(ERR_PARAMETER, fn, detail::Explained(outOfRange, "The index is %d, the number of points %d.", i, count_));
    return Get(i);
}

const Vector& PointArray::GetPoint(int i) const
{
    static constexpr char fn[] = "LumoraLib::PointArray::GetPoint";
    if (i < 0 || i >= count_)
        Error(ERR_PARAMETER, fn, detail::Explained(outOfRange, "The index is %d, the number of points %d.", i, count_));
    return Get(i);
}

void PointArray::SetPoint(int i, const Vector& p)
{
    static constexpr char fn[] = "LumoraLib::PointArray::SetPoint";
    if (i >= count_)
        Error(ERR_PARAMETER, fn,
              detail::Explained(indexOutOfRange, "The index is %d, the number of points %d.", i, count_));
    // Kept: a negative index is no error here, unlike everywhere else; nothing is stored.
    if (i >= 0)
        Get(i) = p;
}

void PointArray::Insert(int i, const Vector& p)
{
    static constexpr char fn[] = "LumoraLib::PointArray::Insert";
    if (i < 0 || i > count_)
        Error(ERR_PARAMETER, fn,
              detail::Explained(indexOutOfRange, "The index is %d, the number of points %d.", i, count_));
    const Vector point = p; // p may be a point of this array, which moves
    if (count_ == std::numeric_limits<std::int32_t>::max())
        NoMemory(LumoraLib::At(count_) + 1);
    if (count_ == inlinePoints)
        copyA2V();
    if (count_ < inlinePoints)
    {
        for (int k = count_; k > i; --k)
            arrayAt(k) = arrayAt(k - 1);
        arrayAt(i) = point;
    }
    else
    {
        Points& points = *storage_.record;
        Grow(points.size() + 1, [&] { points.insert(points.begin() + i, point); });
    }
    ++count_;
}

void PointArray::Insert(const Vector& p)
{
    Insert(count_, p);
}

void PointArray::Remove(int i)
{
    static constexpr char fn[] = "LumoraLib::PointArray::Remove";
    if (i < 0 || i >= count_)
        Error(ERR_PARAMETER, fn,
              detail::Explained(indexOutOfRange, "The index is %d, the number of points %d.", i, count_));
    if (count_ > inlinePoints)
    {
        storage_.record->erase(storage_.record->begin() + i);
        if (count_ == inlinePoints + 1)
            copyV2A();
    }
    else
    {
        for (int k = i; k < count_ - 1; ++k)
            arrayAt(k) = arrayAt(k + 1);
    }
    --count_;
}

void PointArray::Remove()
{
    Remove(count_ - 1);
}

bool PointArray::operator==(const PointArray& other) const
{
    if (count_ != other.count_)
        return false;
    for (int i = 0; i < count_; ++i)
        if (Get(i).GetDistance(other.Get(i)) > GetPositionTolerance())
            return false;
    return true;
}

bool PointArray::operator!=(const PointArray& other) const
{
    return !(*this == other);
}

// ---------------------------------------------------------------------------------------------------------------
// Motion
// ---------------------------------------------------------------------------------------------------------------

PointArray& PointArray::operator+=(const Vector& shift)
{
    const Vector by = shift; // may be a point of this array
    for (int i = 0; i < count_; ++i)
        Get(i) += by;
    return *this;
}

PointArray& PointArray::operator-=(const Vector& shift)
{
    const Vector by = shift; // may be a point of this array
    for (int i = 0; i < count_; ++i)
        Get(i) -= by;
    return *this;
}

PointArray& PointArray::operator*=(double factor)
{
    for (int i = 0; i < count_; ++i)
        Get(i) *= factor;
    return *this;
}

PointArray& PointArray::operator*=(const RMatrix& matrix)
{
    for (int i = 0; i < count_; ++i)
        Get(i) *= matrix;
    return *this;
}

PointArray& PointArray::Rotate(const RMatrix& matrix)
{
    return *this *= matrix;
}

PointArray& PointArray::ProjectionOn(const Plane& plane)
{
    const Vector normal = plane.GetNormalVector();
    PointArray projected(*this); // the plane may be this object, and a point may fail
    for (int i = 0; i < count_; ++i)
        projected.SetPoint(i, plane.GetIntersectionPoint(Line(Get(i), normal)));
    return *this = std::move(projected);
}

PointArray& PointArray::ProjectionOn(const Plane& plane, const Line& line)
{
    const Vector direction = line.GetPoint(1) - line.GetPoint(0);
    PointArray projected(*this); // the plane or the line may be this object, and a point may fail
    for (int i = 0; i < count_; ++i)
        projected.SetPoint(i, Line(Get(i), direction).GetIntersectionPoint(plane));
    return *this = std::move(projected);
}

// ---------------------------------------------------------------------------------------------------------------
// Measures
// ---------------------------------------------------------------------------------------------------------------

Vector PointArray::GetCenter() const
{
    static constexpr char fn[] = "LumoraLib::PointArray::GetCenter";
    if (count_ < 1)
        Error(ERR_SOMETHING, fn, noPoint);
    if (count_ == 1)
        return Get(0);
    if (count_ == 2)
        return (Get(0) + Get(1)) * 0.5;
    // Kept: from three points on the centre of the box and not the mean; points in its inside do not move it.
    const Box box = GetBox(*this);
    return box.low + (box.high - box.low) * 0.5;
}

void PointArray::SetCenter(const Vector& c)
{
    *this += c - GetCenter();
}

void PointArray::Localize()
{
    *this -= GetCenter();
}

double PointArray::GetMinX() const
{
    return Smallest(*this, &Vector::x);
}

double PointArray::GetMaxX() const
{
    return Largest(*this, &Vector::x);
}

double PointArray::GetMinY() const
{
    return Smallest(*this, &Vector::y);
}

double PointArray::GetMaxY() const
{
    return Largest(*this, &Vector::y);
}

double PointArray::GetMinZ() const
{
    return Smallest(*this, &Vector::z);
}

double PointArray::GetMaxZ() const
{
    return Largest(*this, &Vector::z);
}

PointArray PointArray::GetBoundingBox() const
{
    static constexpr char fn[] = "LumoraLib::PointArray::GetBoundingBox";
    if (count_ < 1)
        Error(ERR_SOMETHING, fn, noPoint);
    const Box box = GetBox(*this);
    PointArray result(2);
    result.arrayAt(0) = box.low;
    result.arrayAt(1) = box.high;
    return result;
}

double PointArray::GetWidth() const
{
    return Extent(*this, &Vector::x, "LumoraLib::PointArray::GetWidth");
}

double PointArray::GetHeight() const
{
    return Extent(*this, &Vector::y, "LumoraLib::PointArray::GetHeight");
}

double PointArray::GetDepth() const
{
    return Extent(*this, &Vector::z, "LumoraLib::PointArray::GetDepth");
}

Plane PointArray::GetPlane() const
{
    static constexpr char fn[] = "LumoraLib::PointArray::GetPlane";
    if (count_ < 3)
        Error(ERR_PARAMETER, fn, "number of point is not enough");
    return Plane(Get(0), Get(1), Get(2));
}

bool PointArray::IsInplane() const
{
    const Plane plane = GetPlane();
    const Vector& q = plane.GetPoint(0);
    const Vector normal = (plane.GetPoint(1) - q).GetNormalized();
    for (int i = 3; i < count_; ++i)
        if (std::fabs(normal * (q - Get(i))) > GetPositionTolerance())
            return false;
    return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------------------------

void PointArray::Print() const
{
    const detail::CLocaleScope scope;
    std::printf(">>> %d\n", count_);
    for (int i = 0; i < count_; ++i)
    {
        const Vector& p = Get(i);
        std::printf("%d : (%f, %f, %f)\n", i, p.x, p.y, p.z);
    }
}

void PointArray::SaveAsCsv(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::PointArray::SaveAsCsv";
    if (path == nullptr)
        Error(ERR_FILE_OPEN, fn, "");
    std::unique_ptr<std::FILE, FileClose> file(std::fopen(path, "w+t"));
    if (!file)
        Error(ERR_FILE_OPEN, fn, path);
    {
        const detail::CLocaleScope scope;
        std::fprintf(file.get(), "n, x, y, z\n");
        for (int i = 0; i < count_; ++i)
        {
            const Vector& p = Get(i);
            std::fprintf(file.get(), "%d, %lf, %lf, %lf\n", i, p.x, p.y, p.z);
        }
    }
    // A full disk shows at the latest when the stream's buffer is written out.
    const bool written = std::ferror(file.get()) == 0;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written || !closed)
        Error(ERR_FILE_WRITE, "ewrite", path);
}

std::ostream& operator<<(std::ostream& out, const PointArray& points)
{
    out << points.GetN() << " points\n";
    for (int i = 0; i < points.GetN(); ++i)
    {
        const Vector& p = points.GetPoint(i);
        out << p.x << ", " << p.y << ", " << p.z << "\n-";
    }
    return out;
}

} // namespace LumoraLib
