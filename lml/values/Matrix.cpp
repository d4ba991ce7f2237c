// Frequency vectors, square matrices and 3 by 3 rotation matrices.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>
#include <utility>

#include "LmlRuntime.h"
#include "LmlTypes.h"
#include "base/Describe.h"

namespace LumoraLib
{

namespace
{

std::size_t ElementCount(int order)
{
    return static_cast<std::size_t>(order) * static_cast<std::size_t>(order);
}

double* NewElements(int order, const char* label)
{
    // From orders of 1.5e9 on the bytes leave 64 bits; the largest size that can be asked for is refused for all of
    // them.
    constexpr std::size_t most = std::numeric_limits<std::ptrdiff_t>::max();
    const std::size_t count = ElementCount(order);
    return static_cast<double*>(Malloc(count <= most / sizeof(double) ? count * sizeof(double) : most, label));
}

// w of a plane wave from what u and v leave of 1 / lambda^2; evanescent waves get 0.
double LongitudinalFrequency(double square)
{
    return square > 0.0 ? std::sqrt(square) : 0.0;
}

// Elements of an order-3 matrix by row and column.
struct Rows
{
    double* e;
    double& operator()(int row, int column) const { return e[column + 3 * row]; }
};

// The turn about an axis (0: x, 1: y, 2: z) by t; its other elements are 0 already.
const RMatrix& SetTurn(RMatrix& matrix, int axis, double t)
{
    const int next = (axis + 1) % 3;
    const int last = (axis + 2) % 3;
    const double s = std::sin(t);
    const double c = std::cos(t);
    const Rows r{matrix.elements};
    r(axis, axis) = 1.0;
    r(next, next) = c;
    r(next, last) = -s;
    r(last, next) = s;
    r(last, last) = c;
    return matrix;
}

// The product of a 3 by 3 matrix and a column: three terms per component, added in this order.
Vector Apply(const double* e, double x, double y, double z)
{
    return Vector(e[0] * x + e[1] * y + e[2] * z, e[3] * x + e[4] * y + e[5] * z, e[6] * x + e[7] * y + e[8] * z);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------
// SFrequency
// ---------------------------------------------------------------------------------------------------------------

SFrequency::SFrequency(double wavelength) : u(0.0), v(0.0), w(0.0), lambdaInvSq(1.0 / (wavelength * wavelength))
{
    w = LongitudinalFrequency(lambdaInvSq);
}

SFrequency::SFrequency(double wavelength, double fu, double fv)
    : u(fu), v(fv), w(0.0), lambdaInvSq(1.0 / (wavelength * wavelength))
{
    w = LongitudinalFrequency(lambdaInvSq - fu * fu - fv * fv);
}

std::ostream& operator<<(std::ostream& out, const SFrequency& f)
{
    const double wavelength = std::sqrt(1.0 / f.lambdaInvSq);
    return out << "[" << f.u << "(" << wavelength * f.u << "), " << f.v << "(" << wavelength * f.v << "), " << f.w
               << "(" << wavelength * f.w << ")]";
}

// ---------------------------------------------------------------------------------------------------------------
// SqrMatrix
// ---------------------------------------------------------------------------------------------------------------

SqrMatrix::SqrMatrix(int order) : elements(nullptr), n(std::max(order, 0))
{
    elements = NewElements(n, "SqrMatrix() : CTR");
    Clear();
}

SqrMatrix::SqrMatrix(Rotation) : SqrMatrix(3)
{
    fixed_ = true;
}

SqrMatrix::SqrMatrix(const SqrMatrix& other) : elements(nullptr), n(other.n)
{
    elements = NewElements(n, "SqrMatrix() : Copy CTR");
    std::copy_n(other.elements, ElementCount(n), elements);
}

SqrMatrix& SqrMatrix::operator=(const SqrMatrix& other)
{
    return Copy(other);
}

SqrMatrix::~SqrMatrix()
{
    Free(elements);
}

void SqrMatrix::Clear()
{
    std::fill_n(elements, ElementCount(n), 0.0);
}

SqrMatrix& SqrMatrix::Copy(const SqrMatrix& other)
{
    static constexpr char fn[] = "LumoraLib::RMatrix::Copy";
    if (this == &other)
        return *this;
    if (fixed_ && other.n != 3) // every operation of a rotation matrix reads nine elements
        Error(ERR_PARAMETER, fn, detail::Explained("", "The order is %d.", other.n));
    if (n != other.n)
    {
        // The new elements first: a failure leaves this matrix whole.
        double* const fresh = NewElements(other.n, "LumoraLib::SqrMatrix::Copy");
        Free(elements);
        elements = fresh;
        n = other.n;
    }
    std::copy_n(other.elements, ElementCount(n), elements);
    return *this;
}

void SqrMatrix::Transpose()
{
    for (int row = 1; row < n; ++row)
        for (int column = 0; column < row; ++column)
            std::swap(Element(column, row), Element(row, column));
}

SqrMatrix SqrMatrix::operator*(const SqrMatrix& other) const
{
    static constexpr char fn[] = "LumoraLib::SqrMatrix::operator*";
    if (n != other.n)
        Error(ERR_PARAMETER, fn, detail::Explained("", "The orders are %d and %d.", n, other.n));
    SqrMatrix result(n);
    for (int row = 0; row < n; ++row)
    {
        for (int column = 0; column < n; ++column)
        {
            double sum = 0.0;
            for (int k = 0; k < n; ++k)
                sum += GetElement(k, row) * other.GetElement(column, k);
            result.SetElement(column, row, sum);
        }
    }
    return result;
}

std::ostream& operator<<(std::ostream& out, const SqrMatrix& m)
{
    out << "[";
    for (int row = 0; row < m.GetN(); ++row)
    {
        out << "(";
        for (int column = 0; column < m.GetN(); ++column)
            out << (column > 0 ? "," : "") << m.GetElement(column, row);
        out << ") ";
    }
    return out << "]";
}

// ---------------------------------------------------------------------------------------------------------------
// RMatrix
// ---------------------------------------------------------------------------------------------------------------

RMatrix::RMatrix() : SqrMatrix(Rotation{}) {}

RMatrix::RMatrix(const RMatrix& other) : SqrMatrix(Rotation{})
{
    SqrMatrix::Copy(other);
}

RMatrix::RMatrix(const Vector& a, const Vector& b) : SqrMatrix(Rotation{})
{
    const Vector p = b.GetNormalized();
    const Vector q = a.GetNormalized();
    const double c = p * q;
    Vector axis = p & q;
    const double s = axis.GetLength();
    // Kept: opposite vectors lose the axis and give -1 times the identity, which mirrors instead of turning.
    axis = s > 0.0 ? axis / s : Vector();

    const double nx = axis.x;
    const double ny = axis.y;
    const double nz = axis.z;
    const double t = 1.0 - c;
    const Rows r{elements};
    r(0, 0) = nx * nx * t + c;
    r(0, 1) = nx * ny * t - nz * s;
    r(0, 2) = nx * nz * t + ny * s;
    r(1, 0) = nx * ny * t + nz * s;
    r(1, 1) = ny * ny * t + c;
    r(1, 2) = ny * nz * t - nx * s;
    r(2, 0) = nx * nz * t - ny * s;
    r(2, 1) = ny * nz * t + nx * s;
    r(2, 2) = nz * nz * t + c;
}

RMatrix& RMatrix::operator=(const RMatrix& other)
{
    SqrMatrix::Copy(other);
    return *this;
}

RMatrix& RMatrix::Copy(const SqrMatrix& other)
{
    SqrMatrix::Copy(other);
    return *this;
}

const RMatrix& RMatrix::RotationX(double t)
{
    // Kept, here and below: one matrix for all callers; the next call rewrites what this one returned.
    static RMatrix matrix;
    return SetTurn(matrix, 0, t);
}

const RMatrix& RMatrix::RotationY(double t)
{
    static RMatrix matrix;
    return SetTurn(matrix, 1, t);
}

const RMatrix& RMatrix::RotationZ(double t)
{
    static RMatrix matrix;
    return SetTurn(matrix, 2, t);
}

const RMatrix& RMatrix::CRotationX(double t)
{
    return RotationX(0.0 - t);
}

const RMatrix& RMatrix::CRotationY(double t)
{
    return RotationY(0.0 - t);
}

const RMatrix& RMatrix::CRotationZ(double t)
{
    return RotationZ(0.0 - t);
}

RMatrix RMatrix::GetInverse() const
{
    RMatrix result(*this);
    result.Transpose();
    return result;
}

RMatrix RMatrix::operator*(const RMatrix& other) const
{
    RMatrix result;
    const double* const a = elements;
    const double* const b = other.elements;
    for (int row = 0; row < 9; row += 3)
        for (int column = 0; column < 3; ++column)
            result.elements[row + column] =
                a[row] * b[column] + a[row + 1] * b[column + 3] + a[row + 2] * b[column + 6];
    return result;
}

Vector RMatrix::operator*(const Vector& vector) const
{
    return Apply(elements, vector.x, vector.y, vector.z);
}

SFrequency RMatrix::operator*(const SFrequency& f) const
{
    const double wavelength = std::sqrt(1.0 / f.lambdaInvSq);
    const Vector turned = Apply(elements, f.u, f.v, f.w);
    return SFrequency(turned.x, turned.y, turned.z, 1.0 / (wavelength * wavelength));
}

Vector& Vector::operator*=(const RMatrix& matrix)
{
    return *this = matrix * *this;
}

} // namespace LumoraLib
