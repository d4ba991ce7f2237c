// The members of Field that are not made from declarations: life, properties, operators, files with more than one
// result.
#include "Bind.h"

#include "base/FieldAccess.h"

#include <cstdint>
#include <string>

namespace LumoraLib::python
{
namespace
{
/// One number for both axes, or (x, y).
std::pair<double, double> PitchOf(const py::object& pitch)
{
    if (py::isinstance<py::float_>(pitch) || py::isinstance<py::int_>(pitch))
        return {pitch.cast<double>(), pitch.cast<double>()};
    if (py::hasattr(pitch, "__len__") && py::len(pitch) == 2)
        return pitch.cast<std::pair<double, double>>();
    try
    {
        const double p = pitch.cast<double>();
        return {p, p};
    }
    catch (const py::cast_error&)
    {
        throw py::type_error("pitch is a number of metres, or two: (px, py)");
    }
}

/// lumora._arrays.prepare() sees what was given and gives back (array to stand on or None, (ny, nx), values or None,
/// window or None).
std::unique_ptr<Field> MakeField(const py::object& given, const py::object& pitch, double wavelength,
                                 const py::object& copy)
{
    const auto [px, py_] = PitchOf(pitch);
    const py::tuple prepared = py::module_::import("lumora._arrays").attr("prepare")(given, copy);
    if (!prepared[0].is_none())
        return Field::OverArray(prepared[0].cast<py::array>(), px, py_, wavelength);
    const auto size = prepared[1].cast<std::pair<std::int32_t, std::int32_t>>();
    Running running(kQuick);
    auto field = std::make_unique<Field>(Lumora(size.second, size.first, px, py_, wavelength));
    field->Get().Clear();
    if (prepared[2].is_none())
        return field;
    const auto window = prepared[3].cast<LML_RECT>();
    field->Get().SetWindow(window);
    const py::tuple where =
        py::make_tuple(py::slice(window.bottom, window.top, 1), py::slice(window.left, window.right, 1));
    field->Samples()[where] = prepared[2];
    return field;
}

std::unique_ptr<Field> CopyOf(Field& field)
{
    return Run<std::unique_ptr<Field>>(0, std::array<Field*, 1>{&field},
                                       [&] { return std::make_unique<Field>(Lumora(field.Get())); });
}

using Self = std::array<Field*, 1>;

/// A property of the parameters: under the lock, the GIL held.
template <class Get, class Set>
void Property(py::class_<Field>& c, const char* name, Get get, Set set, const char* doc)
{
    c.def_property(
        name,
        [get](Field& field)
        {
            Running running(kQuick, Self{&field});
            return get(field.Get());
        },
        [set](Field& field, const py::object& value)
        {
            Running running(kQuick, Self{&field});
            set(field, value);
        },
        doc);
}

void DefineParameters(py::class_<Field>& c)
{
    Property(
        c, "px", [](Lumora& l) { return l.GetPx(); },
        [](Field& f, const py::object& v) { f.Get().SetPx(v.cast<double>()); },
        "Sampling pitch in x: metres, in a spectrum cycles per metre.");
    Property(
        c, "py", [](Lumora& l) { return l.GetPy(); },
        [](Field& f, const py::object& v) { f.Get().SetPy(v.cast<double>()); },
        "Sampling pitch in y: metres, in a spectrum cycles per metre.");
    Property(
        c, "pitch", [](Lumora& l) { return std::pair(l.GetPx(), l.GetPy()); },
        [](Field& f, const py::object& v)
        {
            const auto [px, py_] = PitchOf(v);
            f.Get().SetPx(px).SetPy(py_);
        },
        "Sampling pitches (px, py): metres, in a spectrum cycles per metre. Takes one number for both too.");
    Property(
        c, "wavelength", [](Lumora& l) { return l.GetWavelength(); },
        [](Field& f, const py::object& v) { f.Get().SetWavelength(v.cast<double>()); }, "Wavelength in metres.");
    Property(
        c, "wavenumber", [](Lumora& l) { return l.GetWavenumber(); },
        [](Field& f, const py::object& v) { f.Get().SetWavenumber(v.cast<double>()); },
        "Wavenumber, 2 pi / wavelength, in radians per metre.");
    Property(
        c, "origin", [](Lumora& l) { return l.GetOrigin(); },
        [](Field& f, const py::object& v) { f.Get().SetOrigin(v.cast<Vector>()); },
        "Global position of the sample point x = 0, y = 0, in metres.");
    Property(
        c, "normal", [](Lumora& l) { return l.GetNormalVector(); },
        [](Field& f, const py::object& v) { f.Get().SetNormalVector(v.cast<Vector>()); },
        "Unit normal of the plane; a vector of any length is normalised.");
    Property(
        c, "window", [](Lumora& l) { return l.Window(); },
        [](Field& f, const py::object& v) { f.Get().SetWindow(v.cast<LML_RECT>()); },
        "The working window, a Window; set it to (left, top, right, bottom).");
    Property(
        c, "form", [](Lumora& l) { return l.Form(); },
        [](Field& f, const py::object& v)
        {
            const auto form = v.cast<ComplexForm>();
            if (form < 0 || form > 3)
                throw py::value_error("a form is a number from 0 to 3");
            f.Get().Form() = form;
        },
        "Domain and form of the samples, a Form. Setting it converts nothing.");
    const char* const sizes = "Setting it moves no samples: init() must follow before they are used.";
    const auto set = [](Field& f, bool x, const py::object& v)
    {
        f.Detach(); // a size of zero would give memory away that arrays look at
        x ? f.Get().SetNx(v.cast<std::int32_t>()) : f.Get().SetNy(v.cast<std::int32_t>());
    };
    Property(
        c, "nx", [](Lumora& l) { return l.GetNx(); }, [set](Field& f, const py::object& v) { set(f, true, v); }, sizes);
    Property(
        c, "ny", [](Lumora& l) { return l.GetNy(); }, [set](Field& f, const py::object& v) { set(f, false, v); },
        sizes);
    c.def_property_readonly(
        "shape",
        [](Field& f)
        {
            Running running(kQuick, Self{&f});
            return std::pair(f.Get().GetNy(), f.Get().GetNx());
        },
        "(ny, nx), as numpy counts.");
    c.def_property_readonly(
        "size",
        [](Field& f)
        {
            Running running(kQuick, Self{&f});
            return f.Get().N();
        },
        "Number of samples.");
}

void DefineSamples(py::class_<Field>& c)
{
    c.def_property(
        "samples",
        [](Field& field)
        {
            Running running(kQuick, Self{&field});
            return field.Samples();
        },
        [](Field& field, const py::object& values)
        {
            py::array samples;
            {
                Running running(kQuick, Self{&field});
                samples = field.Samples();
            }
            // field.samples *= 2 has done its work already.
            if (!py::isinstance<py::array>(values) || values.cast<py::array>().data() != samples.data() ||
                !values.attr("dtype").equal(samples.attr("dtype")) ||
                !values.attr("shape").equal(samples.attr("shape")) ||
                !values.attr("strides").equal(samples.attr("strides")))
                samples[py::ellipsis()] = values;
        },
        "The samples: a writable complex64 array of shape (ny, nx), no copy. samples[j, i] stands at x(i), y(j). The\n"
        "array keeps the memory, also when the field is gone or has taken another size. In polar form the pairs are\n"
        "(amplitude, phase in radians).");
    c.def("_set_normal",
          [](Field& field, const Vector& normal)
          {
              Running running(kQuick, Self{&field});
              detail::FieldAccess::SetUnitNormal(field.Get(), normal);
          });
    c.def(
        "init",
        [](Field& field)
        {
            Run<void>(kResizes, Self{&field}, [&] { field.Get().Init(nullptr); });
            return &field;
        },
        py::return_value_policy::reference,
        "init()\n\nApplies nx and ny: raises both to powers of two and makes room; leading samples are kept.");
    c.def(
        "dispose",
        [](Field& field)
        {
            Running running(kQuick, Self{&field});
            field.Dispose();
        },
        "dispose()\n\nFrees the samples and keeps everything else; arrays that look at them keep theirs. init() "
        "brings\n"
        "undefined ones back.");
    c.def("copy", &CopyOf, "copy()\n\nA field with samples of its own.");
}

/// Members that are protected in the library, for it has old ones that print.
struct Forms : Lumora
{
    static constexpr Lumora& (Lumora::*kToPolar)() = static_cast<Lumora& (Lumora::*)()>(&Forms::_ConvToPolarForm);
    static constexpr Lumora& (Lumora::*kToCartesian)() = static_cast<Lumora& (Lumora::*)()>(&Forms::_ConvToComplexForm);
};

template <class Operand, class Function>
void InPlace(py::class_<Field>& c, const char* name, Function function)
{
    c.def(
        name,
        [function](Field& self, typename In<Operand>::Type b) -> Field&
        {
            Run<void>(0, std::array<Field*, 2>{&self, In<Operand>::FieldOf(b)},
                      [&] { function(self.Get(), In<Operand>::Pass(b)); });
            return self;
        },
        py::return_value_policy::reference, py::is_operator());
}

void DefineOperators(py::class_<Field>& c)
{
    using Number = const ComplexDouble&;
    using Other = const Lumora&;
    InPlace<Other>(c, "__iadd__", [](Lumora& a, Other b) { a += b; });
    InPlace<Other>(c, "__isub__", [](Lumora& a, Other b) { a -= b; });
    InPlace<Other>(c, "__imul__", [](Lumora& a, Other b) { a *= b; });
    InPlace<Other>(c, "__itruediv__", [](Lumora& a, Other b) { a /= b; });
    InPlace<double>(c, "__imul__", [](Lumora& a, double b) { a *= b; });
    InPlace<double>(c, "__itruediv__", [](Lumora& a, double b) { a /= b; });
    InPlace<Number>(c, "__iadd__", [](Lumora& a, Number b) { a += b; });
    InPlace<Number>(c, "__isub__", [](Lumora& a, Number b) { a -= b; });
    InPlace<Number>(c, "__imul__", [](Lumora& a, Number b) { a *= b; });
    InPlace<Number>(c, "__itruediv__", [](Lumora& a, Number b) { a /= b; });
    c.def("__neg__",
          [](Field& field)
          {
              std::unique_ptr<Field> result = CopyOf(field);
              static_cast<void>(-result->Get());
              return result;
          });
    MemberBy<Lumora&>(
        c, "to_polar", 0, [](Lumora& l) { static_cast<void>((l.*Forms::kToPolar)()); },
        "to_polar()\n\nCartesian samples become (amplitude, phase in radians); polar ones stay.");
    MemberBy<Lumora&>(
        c, "to_cartesian", 0, [](Lumora& l) { static_cast<void>((l.*Forms::kToCartesian)()); },
        "to_cartesian()\n\nPolar samples become (real, imaginary); cartesian ones stay.");
}
} // namespace

void DefineField(py::module_& m, py::class_<Field>& c)
{
    c.def(py::init(&MakeField), py::arg("samples_or_shape"), py::arg("pitch") = 8e-6, py::arg("wavelength") = 532e-9,
          py::kw_only(), py::arg("copy") = py::none());
    DefineParameters(c);
    DefineSamples(c);
    DefineOperators(c);
    c.def(
        "real_histogram",
        [](Field& field, int bins)
        {
            return Run<std::unique_ptr<Field>>(0, Self{&field},
                                               [&]
                                               {
                                                   const std::unique_ptr<Lumora> made(
                                                       &field.Get().CreateRealHistogram(bins));
                                                   return std::make_unique<Field>(std::move(*made));
                                               });
        },
        py::arg("bins"),
        "real_histogram(bins)\n\nHistogram of the real parts (in polar form the amplitudes) in -1 <= v < 1, as a "
        "field\n"
        "of one row: bins are raised to a power of two, counts stand in the real parts.\n\n"
        "Parameters\n----------\nbins : int\n    Number of bins.");
    m.def(
        "size_seg_lm",
        [](const Path& path)
        {
            int nx = 0;
            int ny = 0;
            const int count =
                Run<int>(0, std::array<Field*, 0>{}, [&] { return GetSizeSegLm(path.text.c_str(), nx, ny); });
            return py::make_tuple(count, nx, ny);
        },
        py::arg("path"),
        "size_seg_lm(path)\n\nThe numbers (segments, segments along x, segments along y) of a file.\n\n"
        "Parameters\n----------\npath : Path\n    File name.");
    py::class_<WholeFile> file(
        m, "WholeFile",
        "A file that is replaced whole or not at all: savers write to path, commit() puts it in\n"
        "place. As a context manager it commits when its block ends without an exception.");
    file.def(
        py::init(
            [](const Path& path, bool copied)
            { return std::make_unique<WholeFile>(path.text.c_str(), copied ? WholeFile::Copied : WholeFile::Empty); }),
        py::arg("path"), py::arg("copied") = false);
    file.def_property_readonly("path", &WholeFile::Path, "The name to give to savers; None after commit().");
    file.def(
        "commit", [](WholeFile& f) { Run<void>(0, std::array<Field*, 0>{}, [&] { f.Commit(); }); },
        "commit()\n\nBrings the bytes to the disk and puts the file in its place.");
}
} // namespace LumoraLib::python
