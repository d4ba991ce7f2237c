// The value types: vectors, windows, frequencies, matrices, lines and planes, and the descriptors of transforms.
#include "Bind.h"

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace LumoraLib::python
{
namespace
{
std::string Text(const char* name, std::initializer_list<double> numbers)
{
    std::string text = std::string(name) + "(";
    const char* between = "";
    for (const double number : numbers)
    {
        text += between + std::string(py::str(py::float_(number)));
        between = ", ";
    }
    return text + ")";
}

/// `count` numbers of a sequence, or a value error that says what is asked for.
template <class Number>
std::vector<Number> Numbers(const py::sequence& sequence, std::size_t count, const char* what)
{
    if (py::len(sequence) != count)
        throw py::value_error(std::string(what) + " has " + std::to_string(count) + " numbers");
    std::vector<Number> numbers;
    for (const py::handle item : sequence)
        numbers.push_back(item.cast<Number>());
    return numbers;
}

Vector VectorOf(const py::sequence& sequence)
{
    const auto v = Numbers<double>(sequence, 3, "a vector (x, y, z)");
    return {v[0], v[1], v[2]};
}

std::size_t Place(py::ssize_t index, int size, const char* what)
{
    if (index < 0)
        index += size;
    if (index < 0 || index >= size)
        throw py::index_error(what);
    return static_cast<std::size_t>(index);
}

void DefineVector(py::module_& m)
{
    Class<Vector> c(m, "Vector",
                    "A point or a direction in space: three floats, metres for points. Does not change.\n\n"
                    "``a * b`` is the dot product, ``a & b`` the cross product, ``a == b`` holds within the position\n"
                    "tolerance. Wherever a Vector is asked for, three numbers do.");
    c.def(py::init<>());
    c.def(py::init<double, double, double>(), py::arg("x"), py::arg("y"), py::arg("z"));
    c.def(py::init(&VectorOf), py::arg("xyz"));
    py::implicitly_convertible<py::sequence, Vector>();
    c.def_readonly("x", &Vector::x).def_readonly("y", &Vector::y).def_readonly("z", &Vector::z);
    c.def("__len__", [](const Vector&) { return 3; });
    c.def("__getitem__",
          [](const Vector& v, py::ssize_t n) {
              return std::array<double, 3>{v.x, v.y, v.z}[Place(n, 3, "a vector has three numbers")];
          });
    c.def(
        "__add__", [](const Vector& a, const Vector& b) { return a + b; }, py::is_operator());
    c.def(
        "__sub__", [](const Vector& a, const Vector& b) { return a - b; }, py::is_operator());
    c.def("__neg__", [](const Vector& a) { return -a; });
    c.def(
        "__mul__", [](const Vector& a, double f) { return a * f; }, py::is_operator());
    c.def(
        "__mul__", [](const Vector& a, const Vector& b) { return a * b; }, py::is_operator());
    c.def(
        "__rmul__", [](const Vector& a, double f) { return a * f; }, py::is_operator());
    c.def(
        "__truediv__", [](const Vector& a, double f) { return a / f; }, py::is_operator());
    c.def(
        "__and__", [](const Vector& a, const Vector& b) { return a & b; }, py::is_operator());
    c.def(
        "__eq__", [](const Vector& a, const Vector& b) { return a == b; }, py::is_operator());
    c.def(
        "__ne__", [](const Vector& a, const Vector& b) { return a != b; }, py::is_operator());
    c.def("__repr__", [](const Vector& v) { return Text("Vector", {v.x, v.y, v.z}); });
    c.def(py::pickle([](const Vector& v) { return py::make_tuple(v.x, v.y, v.z); },
                     [](const py::tuple& t) { return VectorOf(t); }));
    c.def(
        "with_length", [](Vector v, double length) { return v.SetLength(length); }, py::arg("length"),
        "with_length(length)\n\nThe vector of this direction and that length; the zero vector stays zero.\n\n"
        "Parameters\n----------\nlength : float\n    Of the result.");
    BindVector(c);
}

void DefineWindow(py::module_& m)
{
    py::class_<LML_RECT> c(m, "Window",
                           "A window in sample indices: left <= i < right, bottom <= j < top. Does not change. Rows\n"
                           "count upwards with y. ``field.samples[window.slices]`` are its samples.");
    c.def(py::init<std::int32_t, std::int32_t, std::int32_t, std::int32_t>(), py::arg("left"), py::arg("top"),
          py::arg("right"), py::arg("bottom"));
    c.def(py::init(
              [](const py::sequence& s)
              {
                  const auto v = Numbers<std::int32_t>(s, 4, "a window (left, top, right, bottom)");
                  return LML_RECT(v[0], v[1], v[2], v[3]);
              }),
          py::arg("ltrb"));
    py::implicitly_convertible<py::sequence, LML_RECT>();
    c.def_readonly("left", &LML_RECT::left).def_readonly("top", &LML_RECT::top);
    c.def_readonly("right", &LML_RECT::right).def_readonly("bottom", &LML_RECT::bottom);
    c.def("__len__", [](const LML_RECT&) { return 4; });
    c.def("__getitem__",
          [](const LML_RECT& r, py::ssize_t n) {
              return std::array<int, 4>{r.left, r.top, r.right, r.bottom}[Place(n, 4, "a window has four numbers")];
          });
    c.def(
        "__eq__",
        [](const LML_RECT& a, const LML_RECT& b)
        { return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom; },
        py::is_operator());
    c.def("__repr__", [](const LML_RECT& r)
          { return py::str("Window(left={}, top={}, right={}, bottom={})").format(r.left, r.top, r.right, r.bottom); });
    c.def_property_readonly(
        "slices",
        [](const LML_RECT& r) { return py::make_tuple(py::slice(r.bottom, r.top, 1), py::slice(r.left, r.right, 1)); },
        "Index of an array of shape (ny, nx).");
    c.def(py::pickle([](const LML_RECT& r) { return py::make_tuple(r.left, r.top, r.right, r.bottom); },
                     [](const py::tuple& t)
                     { return LML_RECT(t[0].cast<int>(), t[1].cast<int>(), t[2].cast<int>(), t[3].cast<int>()); }));
}

void DefineFrequency(py::module_& m)
{
    Class<SFrequency> c(m, "SFrequency", "Spatial frequency of a plane wave, cycles per metre. Does not change.");
    c.def(py::init<>());
    c.def(py::init<double>(), py::arg("wavelength"));
    c.def(py::init<double, double, double>(), py::arg("wavelength"), py::arg("u"), py::arg("v"));
    c.def(py::init<double, double, double, double>(), py::arg("u"), py::arg("v"), py::arg("w"),
          py::arg("lambda_inv_sq"));
    c.def_readonly("u", &SFrequency::u).def_readonly("v", &SFrequency::v).def_readonly("w", &SFrequency::w);
    c.def_readonly("lambda_inv_sq", &SFrequency::lambdaInvSq, "1 / wavelength**2, in 1 / metre**2");
    c.def("__repr__", [](const SFrequency& f) { return Text("SFrequency", {f.u, f.v, f.w, f.lambdaInvSq}); });
    BindSFrequency(c);
}

int MatrixIndex(const SqrMatrix& m, int n)
{
    return static_cast<int>(Place(n, m.N(), "element beside the matrix"));
}

template <class M>
void FillMatrix(M& matrix, const py::array_t<double, py::array::c_style | py::array::forcecast>& rows)
{
    if (rows.ndim() != 2 || rows.shape(0) != matrix.N() || rows.shape(1) != matrix.N())
        throw py::value_error("a matrix of rows, as many as columns, is asked for");
    std::copy(rows.data(), rows.data() + rows.size(), matrix.elements);
}

void DefineMatrices(py::module_& m)
{
    using Rows = py::array_t<double, py::array::c_style | py::array::forcecast>;
    Class<SqrMatrix> c(m, "SqrMatrix", "A square matrix of floats; element(a, b) stands in column a and row b.");
    c.def(py::init<int>(), py::arg("order"));
    c.def(py::init(
              [](const Rows& rows)
              {
                  SqrMatrix matrix(rows.ndim() == 2 ? static_cast<int>(std::min<py::ssize_t>(rows.shape(0), 1 << 15))
                                                    : 0);
                  FillMatrix(matrix, rows);
                  return matrix;
              }),
          py::arg("rows"));
    c.def(
        "element", [](const SqrMatrix& t, int a, int b) { return t.GetElement(MatrixIndex(t, a), MatrixIndex(t, b)); },
        py::arg("a"), py::arg("b"),
        "element(a, b)\n\nAn element.\n\nParameters\n----------\na : int\n    Column, from 0.\nb : int\n    Row, from "
        "0.");
    c.def(
        "set_element",
        [](SqrMatrix& t, int a, int b, double v) { t.SetElement(MatrixIndex(t, a), MatrixIndex(t, b), v); },
        py::arg("a"), py::arg("b"), py::arg("value"),
        "set_element(a, b, value)\n\nStores an element.\n\nParameters\n----------\na : int\n    Column, from 0.\n"
        "b : int\n    Row, from 0.\nvalue : float\n    The new one.");
    c.def("__array__",
          [](const SqrMatrix& t, const py::args&, const py::kwargs&) {
              return py::array_t<double>({t.N(), t.N()}, t.elements);
          });
    c.def(
        "__mul__", [](const SqrMatrix& a, const SqrMatrix& b) { return a * b; }, py::is_operator());
    c.def("__repr__",
          [](const py::object& t)
          {
              return py::str("{}({})").format(py::type::of(t).attr("__name__"),
                                              py::module_::import("numpy").attr("asarray")(t).attr("tolist")());
          });
    BindSqrMatrix(c);
    Class<RMatrix> r(m, "RMatrix", "A 3 by 3 rotation: its inverse is taken to be its transpose.");
    r.def(py::init<>(), "The zero matrix.");
    r.def(py::init<const Vector&, const Vector&>(), py::arg("to"), py::arg("from_"),
          "The shortest rotation that turns the direction of from_ onto that of to.");
    r.def(py::init(
              [](const Rows& rows)
              {
                  RMatrix matrix;
                  FillMatrix(matrix, rows);
                  return matrix;
              }),
          py::arg("rows"));
    r.def(
        "__mul__", [](const RMatrix& a, const RMatrix& b) { return a * b; }, py::is_operator());
    r.def(
        "__mul__", [](const RMatrix& a, const SFrequency& f) { return a * f; }, py::is_operator());
    r.def(
        "__mul__", [](const RMatrix& a, const Vector& v) { return a * v; }, py::is_operator());
    BindRMatrix(r);
}

void DefinePointArrays(py::module_& m)
{
    Class<PointArray> c(m, "PointArray", "An ordered list of points in metres.");
    c.def(py::init([] { return PointArray(0); }));
    c.def(py::init(
              [](const py::sequence& points)
              {
                  PointArray array(0);
                  for (const py::handle point : points)
                      array.Insert(point.cast<Vector>());
                  return array;
              }),
          py::arg("points"));
    py::implicitly_convertible<py::sequence, PointArray>();
    c.def("__len__", &PointArray::N);
    c.def("__getitem__", [](const PointArray& t, py::ssize_t n)
          { return Vector(t.GetPoint(static_cast<int>(Place(n, t.N(), "point beside the array")))); });
    c.def("__setitem__", [](PointArray& t, py::ssize_t n, const Vector& p)
          { t.SetPoint(static_cast<int>(Place(n, t.N(), "point beside the array")), p); });
    c.def(
        "__eq__", [](const PointArray& a, const PointArray& b) { return a == b; }, py::is_operator());
    c.def(
        "__ne__", [](const PointArray& a, const PointArray& b) { return a != b; }, py::is_operator());
    const auto self = py::return_value_policy::reference;
    c.def(
        "__iadd__", [](PointArray& t, const Vector& v) -> PointArray& { return t += v; }, self, py::is_operator());
    c.def(
        "__isub__", [](PointArray& t, const Vector& v) -> PointArray& { return t -= v; }, self, py::is_operator());
    c.def(
        "__imul__", [](PointArray& t, double f) -> PointArray& { return t *= f; }, self, py::is_operator());
    c.def(
        "__imul__", [](PointArray& t, const RMatrix& r) -> PointArray& { return t *= r; }, self, py::is_operator());
    c.def("__copy__", [](const PointArray& t) { return PointArray(t); });
    c.def("__repr__",
          [](const py::object& t) { return py::str("{}({})").format(py::type::of(t).attr("__name__"), py::list(t)); });
    BindPointArray(c);
    Class<Line> line(m, "Line", "A straight line without end, through a point along a direction of any length.");
    line.def(
        "point", [](const Line& t) { return Vector(t.GetPoint()); }, "point()\n\nThe first point.");
    BindLine(line);
    Class<LineSegment> segment(m, "LineSegment", "A straight line with two ends.");
    BindLineSegment(segment);
    Class<Plane> plane(m, "Plane", "A plane through a point, perpendicular to a normal of any length.");
    BindPlane(plane);
    line.def(
        "__eq__", [](const Line& a, const Line& b) { return a == b; }, py::is_operator());
    segment.def(
        "__eq__", [](const LineSegment& a, const LineSegment& b) { return a == b; }, py::is_operator());
    plane.def(
        "__eq__", [](const Plane& a, const Plane& b) { return a == b; }, py::is_operator());
}

void DefineDescriptors(py::module_& m)
{
    Class<StopWatch> watch(m, "StopWatch", "Adds up the CPU time between start() and stop().");
    watch.def(py::init<>());
    BindStopWatch(watch);
    Class<ScaledFftDescriptor> scaled(m, "ScaledFftDescriptor",
                                      "The kernel of a scaled transform, used again and again.");
    BindScaledFftDescriptor(scaled);
    scaled.def(
        "__eq__", [](const ScaledFftDescriptor& a, const ScaledFftDescriptor& b) { return a == b; }, py::is_operator());
    Class<ShiftedFresnelPropDescriptor> fresnel(m, "ShiftedFresnelPropDescriptor",
                                                "The kernel of a shifted Fresnel propagation.");
    BindShiftedFresnelPropDescriptor(fresnel);
    Class<SphericalWaveDescriptor> wave(m, "SphericalWaveDescriptor", "What runs of add_spherical_wave_sqr share.");
    BindSphericalWaveDescriptor(wave);
    wave.def(
        "__eq__", [](const SphericalWaveDescriptor& a, const SphericalWaveDescriptor& b) { return a == b; },
        py::is_operator());
    Class<TrigTable> table(m, "TrigTable", "Sine and cosine of 2**bits steps of a turn.");
    BindTrigTable(table);
    py::implicitly_convertible<py::int_, TrigTable>();
}
} // namespace

void DefineValues(py::module_& m)
{
    DefineVector(m);
    DefineWindow(m);
    DefineFrequency(m);
    DefineMatrices(m);
    DefinePointArrays(m);
    DefineDescriptors(m);
}
} // namespace LumoraLib::python
