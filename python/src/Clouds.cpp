// Point clouds: their light, plans, files; and the plain transforms.
#include "Points.h"

#include <memory>
#include <string>

namespace LumoraLib::python
{
namespace
{
void DefinePlan(py::module_& m)
{
    py::class_<CloudPlan> c(m, "CloudPlan", "What add_point_cloud would do.");
    c.def_readonly("method", &CloudPlan::method, "AUTOMATIC where no light reaches the field.");
    c.def_readonly("planes", &CloudPlan::planes, "Planes of the slabs; 0 for direct sums.");
    c.def_readonly("terms", &CloudPlan::terms, "Separable terms of a point.");
    c.def_readonly("width", &CloudPlan::width, "Samples that a point covers, or of a block's side.");
    c.def_readonly("points", &CloudPlan::points, "Points whose light reaches the field.");
    c.def_readonly("memory", &CloudPlan::memory, "Bytes beside the field.");
    c.def_readonly("seconds", &CloudPlan::seconds, "Expected time of one core of the model's machine.");
    c.def_readonly("error", &CloudPlan::error, "Bound of the relative l2 error.");
    c.def(
        "__repr__",
        [](const CloudPlan& p)
        {
            return py::str(
                       "CloudPlan(method={}, planes={}, terms={}, points={}, memory={}, seconds={:.3g}, error={:.2g})")
                .format(p.method, p.planes, p.terms, p.points, p.memory, p.seconds, p.error);
        });
}

constexpr char kCloudText[] =
    "add_point_cloud(points, tolerance=1e-3, edge=0.2, method=AUTOMATIC, frame=GLOBAL, memory=0)\n\n"
    "Adds the light of points, in single precision, to cartesian field samples; the window is not looked at. A point\n"
    "behind the plane (local z below 0) gives a diverging wave, one in front a converging wave, both with the soft "
    "edge\n"
    "of the sampling's band. plan_point_cloud says beforehand what it takes.\n\n"
    "Parameters\n----------\n"
    "points : array of shape (n, 3), (n, 4) or (n, 5)\n    x, y, z in metres, amplitude (1), phase in radians (0).\n"
    "tolerance : float\n    Relative l2 error of the light, 1e-4 to 1e-1.\n"
    "edge : float\n    Soft part of the band on each axis, 0.05 to 1 of its half-width.\n"
    "method : CloudMethod | str | int\n    Slabs of depth, direct sums, or whichever the cost model finds faster.\n"
    "frame : CloudFrame | str | int\n    Coordinates of the points: global, or on the axes of the field's plane.\n"
    "memory : int\n    Bytes for working memory; 0: six times the field's samples, at least 256 MiB.\n\n"
    "Returns\n-------\nField\n    This field: calls chain.\n\n"
    "Raises\n------\nLumoraError\n    For another form, options outside their ranges, points that are not finite or "
    "lie\n"
    "    in the plane; the field is unchanged.";

py::array_t<double> AsArray(std::vector<CloudPoint>&& points)
{
    auto held = std::make_unique<std::vector<CloudPoint>>(std::move(points));
    const auto count = static_cast<py::ssize_t>(held->size());
    const auto* const data = reinterpret_cast<const double*>(held->data());
    const py::capsule keeper(held.release(), [](void* p) { delete static_cast<std::vector<CloudPoint>*>(p); });
    return py::array_t<double>({count, py::ssize_t{5}}, data, keeper);
}

} // namespace

void DefinePoints(py::module_& m, py::class_<Field>& c)
{
    DefinePlan(m);
    const auto options = [](double tolerance, double edge, CloudMethod method, CloudFrame frame, std::uint64_t memory)
    {
        return CloudOptions{tolerance, edge, method, frame, memory};
    };
    const auto arguments = [&](auto define)
    {
        define(py::arg("points"), py::arg("tolerance") = 1e-3, py::arg("edge") = 0.2,
               py::arg("method") = CLOUD_AUTOMATIC, py::arg("frame") = CLOUD_GLOBAL,
               py::arg("memory") = std::uint64_t{0});
    };
    arguments(
        [&](const auto&... extra)
        {
            c.def(
                "add_point_cloud",
                [options](Field& field, const Rows& rows, double t, double e, CloudMethod how, CloudFrame f,
                          std::uint64_t b)
                {
                    const Points points(rows);
                    Run<void>(0, std::array<Field*, 1>{&field},
                              [&]
                              { field.Get().AddPointCloud(points.Data(), points.Count(), options(t, e, how, f, b)); });
                    return &field;
                },
                py::return_value_policy::reference, kCloudText, extra...);
            c.def(
                "plan_point_cloud",
                [options](Field& field, const Rows& rows, double t, double e, CloudMethod how, CloudFrame f,
                          std::uint64_t b)
                {
                    const Points points(rows);
                    return Run<CloudPlan>(0, std::array<Field*, 1>{&field},
                                          [&] {
                                              return field.Get().PlanPointCloud(points.Data(), points.Count(),
                                                                                options(t, e, how, f, b));
                                          });
                },
                "plan_point_cloud(points, tolerance=1e-3, edge=0.2, method=AUTOMATIC, frame=GLOBAL, memory=0)\n\n"
                "What add_point_cloud with the same arguments would do, a CloudPlan, without doing it.\n\n"
                "Parameters\n----------\npoints, tolerance, edge, method, frame, memory : as there\n    In the units "
                "of there.",
                extra...);
        });
    const CloudLoadOptions d;
    m.def(
        "load_point_cloud",
        [](const Path& path, double unit, double scale, bool centre, const Vector& turn, const Vector& position,
           double amplitude, bool randomPhase, double density, bool cull, std::uint64_t seed, std::int64_t most)
        {
            const CloudLoadOptions how{unit,        scale,   centre, turn, position, amplitude,
                                       randomPhase, density, cull,   seed, most};
            return AsArray(Run<std::vector<CloudPoint>>(0, std::array<Field*, 0>{},
                                                        [&] { return LoadPointCloud(path.text.c_str(), how); }));
        },
        "load_point_cloud(path, *, unit=1.0, scale=1.0, centre=False, turn=(0, 0, 0), position=(0, 0, 0), "
        "amplitude=1.0, "
        "random_phase=False, density=0.0, cull_back_faces=False, seed=1, max_points=2**24)\n\n"
        "The points of a text file (x, y, z, amplitude, phase a line) or of a PLY file, as an array of shape (n, "
        "5).\n\n"
        "Parameters\n----------\npath : Path\n    File name.\nunit : float\n    Metres per unit of the file.\n"
        "scale : float\n    Factor on the size; negative values mirror.\ncentre : bool\n    The middle of all points "
        "goes\n"
        "    to the origin before turning and moving.\nturn : VectorLike\n    Turns about x, y, z in this order, "
        "radians.\n"
        "position : VectorLike\n    Added last, metres.\namplitude : float\n    Factor on all amplitudes.\n"
        "random_phase : bool\n    A surface that scatters.\ndensity : float\n    Points per square metre of a mesh; 0: "
        "its\n"
        "    vertices.\ncull_back_faces : bool\n    Leaves out faces turned away from +z.\nseed : int\n    Of phases "
        "and points.\n"
        "max_points : int\n    What a mesh may be sampled to.\n\nRaises\n------\nLumoraError\n    For files that "
        "cannot be\n"
        "    opened or read, and options that are wrong.",
        py::arg("path"), py::kw_only(), py::arg("unit") = d.unit, py::arg("scale") = d.scale,
        py::arg("centre") = d.centre, py::arg("turn") = d.turn, py::arg("position") = d.position,
        py::arg("amplitude") = d.amplitude, py::arg("random_phase") = d.randomPhase, py::arg("density") = d.density,
        py::arg("cull_back_faces") = d.cullBackFaces, py::arg("seed") = d.seed, py::arg("max_points") = d.maxPoints);
    m.def(
        "save_point_cloud",
        [](const Path& path, const Rows& rows)
        {
            const Points points(rows);
            Run<void>(0, std::array<Field*, 0>{},
                      [&]
                      { SavePointCloud(path.text.c_str(), points.Data(), static_cast<std::size_t>(points.Count())); });
        },
        py::arg("path"), py::arg("points"),
        "save_point_cloud(path, points)\n\nSaves points (x, y, z, amplitude, phase) as binary PLY.\n\n"
        "Parameters\n----------\npath : Path\n    File name.\npoints : array of 3 to 5 columns\n    As "
        "load_point_cloud gives them.");
    const auto transform = [](py::array_t<std::complex<float>, py::array::c_style>& data, int sign, bool two)
    {
        if (data.ndim() != (two ? 2 : 1) || !data.writeable() || data.size() > (1 << 29))
            throw py::value_error("a writable complex64 array in C order is asked for, transformed in place");
        const auto nx = static_cast<int>(data.shape(two ? 1 : 0));
        const auto ny = two ? static_cast<int>(data.shape(0)) : 1;
        auto* const samples = reinterpret_cast<Complex*>(data.mutable_data());
        Run<void>(0, std::array<Field*, 0>{},
                  [&] { two ? FftsgTransform2d(samples, nx, ny, sign) : FftsgTransform1d(samples, nx, sign); });
    };
    using Samples = py::array_t<std::complex<float>, py::array::c_style>;
    m.def(
        "fftsg_transform_1d", [transform](Samples data, int sign) { transform(data, sign, false); },
        py::arg("data").noconvert(), py::arg("sign"),
        "fftsg_transform_1d(data, sign)\n\nThe library's plain transform, in place: complex64, a power of two, "
        "unscaled.\n\n"
        "Parameters\n----------\ndata : array of complex64\n    Changed in place.\nsign : int\n    -1 to the spectrum, "
        "1 back.");
    m.def(
        "fftsg_transform_2d", [transform](Samples data, int sign) { transform(data, sign, true); },
        py::arg("data").noconvert(), py::arg("sign"),
        "fftsg_transform_2d(data, sign)\n\nThe same along both axes of an array of shape (ny, nx).\n\n"
        "Parameters\n----------\ndata : array of complex64\n    Changed in place.\nsign : int\n    -1 to the spectrum, "
        "1 back.");
}
} // namespace LumoraLib::python
