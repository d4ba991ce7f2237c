// Fields larger than memory: segmented files as one grid, and operations from file to file.
#include "Points.h"

#include "LmlLarge.h"

#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace LumoraLib::python
{
namespace
{
using Samples = py::array_t<std::complex<float>, py::array::c_style | py::array::forcecast>;

/// A segmented file that Python can close.
struct Segments
{
    std::optional<SegmentedField> file;
    SegmentedField& Open()
    {
        if (!file)
            throw py::value_error("the file is closed");
        return *file;
    }
};

template <class R, class Call>
auto OnFile(Segments& segments, Call&& call)
{
    SegmentedField& file = segments.Open();
    return Run<R>(0, std::array<Field*, 0>{}, [&]() -> R { return call(file); });
}

/// A property or question of the file.
template <class R>
auto Of(R (SegmentedField::*get)() const)
{
    return [get](Segments& s)
    {
        Running running(kQuick);
        return (s.Open().*get)();
    };
}

struct Rectangle
{
    std::int64_t x, y;
    std::int32_t nx, ny;
};

/// big[j0:j1, i0:i1] as a rectangle.
Rectangle RectangleOf(Segments& s, const py::tuple& index)
{
    std::size_t start[2], stop[2], step[2], length[2];
    const std::int64_t sizes[2] = {s.Open().GetNy(), s.Open().GetNx()};
    for (std::size_t axis = 0; axis < 2; ++axis)
        if (index.size() != 2 || !py::isinstance<py::slice>(index[axis]) ||
            !index[axis].cast<py::slice>().compute(static_cast<std::size_t>(sizes[axis]), &start[axis], &stop[axis],
                                                   &step[axis], &length[axis]) ||
            step[axis] != 1 || length[axis] == 0 || length[axis] > INT32_MAX)
            throw py::index_error("a rectangle [j0:j1, i0:i1] with at least one sample is asked for");
    return {static_cast<std::int64_t>(start[1]), static_cast<std::int64_t>(start[0]),
            static_cast<std::int32_t>(length[1]), static_cast<std::int32_t>(length[0])};
}

Samples Read(Segments& s, const Rectangle& r)
{
    if (r.nx < 1 || r.ny < 1)
        throw py::value_error("nx and ny must be above 0");
    Samples samples({r.ny, r.nx});
    auto* const to = reinterpret_cast<Complex*>(samples.mutable_data());
    OnFile<void>(s, [&](SegmentedField& f) { f.Read(r.x, r.y, r.nx, r.ny, to, static_cast<std::size_t>(r.nx)); });
    return samples;
}

void Write(Segments& s, std::int64_t x, std::int64_t y, const Samples& samples)
{
    if (samples.ndim() != 2)
        throw py::value_error("samples have the shape (ny, nx)");
    const auto nx = static_cast<std::int32_t>(samples.shape(1));
    const auto ny = static_cast<std::int32_t>(samples.shape(0));
    const auto* const from = reinterpret_cast<const Complex*>(samples.data());
    OnFile<void>(s, [&](SegmentedField& f) { f.Write(x, y, nx, ny, from, static_cast<std::size_t>(nx)); });
}

/// A new field that `get` fills.
template <class Get>
std::unique_ptr<Field> FieldFrom(Segments& s, Get&& get)
{
    return OnFile<std::unique_ptr<Field>>(s,
                                          [&](SegmentedField& f)
                                          {
                                              Lumora lumora(1, 1);
                                              get(f, lumora);
                                              return std::make_unique<Field>(std::move(lumora));
                                          });
}

template <class Put>
void PutField(Segments& s, Field& field, Put&& put)
{
    SegmentedField& file = s.Open();
    Run<void>(0, std::array<Field*, 1>{&field}, [&] { put(file, static_cast<const Lumora&>(field.Get())); });
}

const std::string kSegmentText = "Parameters\n----------\nix, iy : int\n    Segment along x and y, from 0.\n";
const std::string kRectangleText = "Parameters\n----------\nx, y : int\n    First column and row.\n";
const std::string kSizeText = "nx, ny : int\n    Columns and rows.\n";
const std::string kFieldText = "field : Field\n    Of the file's domain, pitches, wavelength and normal, cartesian.\n";

void DefineSegments(py::module_& m)
{
    py::class_<Segments> c(m, "SegmentedField",
                           "One field in a segmented LM file, seen as a whole; nothing of it is kept in memory.\n\n"
                           "``big[j0:j1, i0:i1]`` reads a rectangle of samples, an assignment to it writes one. A\n"
                           "context manager: the file is closed at the end of its block.");
    c.def(py::init([](const Path& path, SegmentedAccess access, MissingSegments missing)
                   { return Segments{SegmentedField(path.text.c_str(), access, missing)}; }),
          py::arg("path"), py::arg("access") = SEGMENTED_READ, py::arg("missing") = MISSING_REFUSED);
    c.def_static(
        "create",
        [](const Path& path, Field& like, std::uint16_t sx, std::uint16_t sy, std::int32_t nx, std::int32_t ny)
        {
            auto made = std::make_unique<Segments>();
            Run<void>(0, std::array<Field*, 1>{&like},
                      [&] { made->file = SegmentedField::Create(path.text.c_str(), like.Get(), sx, sy, nx, ny); });
            return made;
        },
        py::arg("path"), py::arg("like"), py::arg("segments_x"), py::arg("segments_y"), py::arg("nx"), py::arg("ny"),
        "create(path, like, segments_x, segments_y, nx, ny)\n\nMakes a file of segments, none of them written, and "
        "opens it "
        "for writing.\n\nParameters\n----------\npath : Path\n    File name; an old file is replaced.\n"
        "like : Field\n    Its pitches, wavelength, place and domain count, not its sizes and samples.\n"
        "segments_x, segments_y : int\n    Segments along x and y, at most 16383 in all.\n"
        "nx, ny : int\n    Samples of a segment.\n\nReturns\n-------\nSegmentedField");
    c.def_property_readonly("nx", Of(&SegmentedField::GetNx), "Columns of the whole field.");
    c.def_property_readonly("ny", Of(&SegmentedField::GetNy), "Rows of the whole field.");
    c.def_property_readonly("segments_x", Of(&SegmentedField::GetSegmentsX), "Segments along x.");
    c.def_property_readonly("segments_y", Of(&SegmentedField::GetSegmentsY), "Segments along y.");
    c.def_property_readonly("segment_nx", Of(&SegmentedField::GetSegmentNx), "Columns of a segment.");
    c.def_property_readonly("segment_ny", Of(&SegmentedField::GetSegmentNy), "Rows of a segment.");
    c.def_property_readonly("px", Of(&SegmentedField::GetPx), "Pitch in x: metres, in a spectrum cycles per metre.");
    c.def_property_readonly("py", Of(&SegmentedField::GetPy), "Pitch in y: metres, in a spectrum cycles per metre.");
    c.def_property_readonly("wavelength", Of(&SegmentedField::GetWavelength), "Metres.");
    c.def_property_readonly("normal", Of(&SegmentedField::GetNormalVector), "Of the whole field and of each segment.");
    c.def_property_readonly(
        "shape", [](Segments& s) { return py::make_tuple(s.Open().GetNy(), s.Open().GetNx()); },
        "(ny, nx) of the whole field.");
    c.def("is_spectrum", Of(&SegmentedField::IsSpectrum), "is_spectrum()\n\nDomain of the samples.");
    c.def("count_missing", Of(&SegmentedField::CountMissing), "count_missing()\n\nSegments that were never written.");
    c.def("origin", Of(static_cast<Vector (SegmentedField::*)() const>(&SegmentedField::GetOrigin)),
          ("origin()\norigin(ix, iy)\n\nGlobal position of the whole field, or of a segment, in metres.\n\n" +
           kSegmentText)
              .c_str());
    c.def(
        "origin",
        [](Segments& s, int ix, int iy)
        { return OnFile<Vector>(s, [&](SegmentedField& f) { return f.GetOrigin(ix, iy); }); },
        py::arg("ix"), py::arg("iy"));
    c.def(
        "has",
        [](Segments& s, int ix, int iy) { return OnFile<bool>(s, [&](SegmentedField& f) { return f.Has(ix, iy); }); },
        py::arg("ix"), py::arg("iy"),
        ("has(ix, iy)\n\nWhether a segment was ever written.\n\n" + kSegmentText).c_str());
    c.def(
        "get_segment",
        [](Segments& s, int ix, int iy)
        { return FieldFrom(s, [&](SegmentedField& f, Lumora& to) { f.GetSegment(ix, iy, to); }); },
        py::arg("ix"), py::arg("iy"),
        ("get_segment(ix, iy)\n\nA segment as a new Field, in its place.\n\n" + kSegmentText).c_str());
    c.def(
        "get",
        [](Segments& s, std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny)
        { return FieldFrom(s, [&](SegmentedField& f, Lumora& to) { f.Get(x, y, nx, ny, to); }); },
        py::arg("x"), py::arg("y"), py::arg("nx"), py::arg("ny"),
        ("get(x, y, nx, ny)\n\nA rectangle of samples as a new Field, in its place; sizes that are no powers of two "
         "come "
         "to lie\ncentred in the raised grid.\n\n" +
         kRectangleText + kSizeText)
            .c_str());
    c.def(
        "read",
        [](Segments& s, std::int64_t x, std::int64_t y, std::int32_t nx, std::int32_t ny) {
            return Read(s, {x, y, nx, ny});
        },
        py::arg("x"), py::arg("y"), py::arg("nx"), py::arg("ny"),
        ("read(x, y, nx, ny)\n\nThe samples alone, as an array.\n\n" + kRectangleText + kSizeText).c_str());
    c.def(
        "put_segment",
        [](Segments& s, int ix, int iy, Field& from)
        { PutField(s, from, [&](SegmentedField& f, const Lumora& l) { f.PutSegment(ix, iy, l); }); },
        py::arg("ix"), py::arg("iy"), py::arg("field"),
        ("put_segment(ix, iy, field)\n\nAll samples of a field into a segment, whose sizes it has.\n\n" + kSegmentText +
         kFieldText)
            .c_str());
    c.def(
        "put",
        [](Segments& s, std::int64_t x, std::int64_t y, Field& from)
        { PutField(s, from, [&](SegmentedField& f, const Lumora& l) { f.Put(x, y, l); }); },
        py::arg("x"), py::arg("y"), py::arg("field"),
        ("put(x, y, field)\n\nAll samples of a field into the rectangle that begins there.\n\n" + kRectangleText +
         kFieldText)
            .c_str());
    c.def("write", &Write, py::arg("x"), py::arg("y"), py::arg("samples"),
          ("write(x, y, samples)\n\nAn array of samples into the rectangle that begins there.\n\n" + kRectangleText +
           "samples : array of shape (ny, nx)\n    Complex or real.")
              .c_str());
    c.def("__getitem__", [](Segments& s, const py::tuple& index) { return Read(s, RectangleOf(s, index)); });
    c.def("__setitem__",
          [](Segments& s, const py::tuple& index, const Samples& samples)
          {
              const Rectangle r = RectangleOf(s, index);
              if (samples.ndim() != 2 || samples.shape(0) != r.ny || samples.shape(1) != r.nx)
                  throw py::value_error("the samples have not the shape of the rectangle");
              Write(s, r.x, r.y, samples);
          });
    c.def(
        "close",
        [](Segments& s)
        {
            Running running(kQuick);
            s.file.reset();
        },
        "close()\n\nCloses the file.");
    c.def("__enter__", [](const py::object& s) { return s; });
    c.def("__exit__", [](const py::object& s, const py::args&) { s.attr("close")(); });
}

void DefineReport(py::module_& m)
{
    py::class_<LargeReport> c(m, "LargeReport", "What an operation from file to file did.");
    c.def_readonly("in_memory", &LargeReport::inMemory, "No scratch file was used.");
    c.def_readonly("bands", &LargeReport::bands, "Bands of rows of a sweep.");
    c.def_readonly("units", &LargeReport::units, "Groups of columns of the sweep between.");
    c.def_readonly("memory", &LargeReport::memory, "Bytes planned for buffers and tables.");
    c.def_readonly("scratch", &LargeReport::scratch, "Bytes of the scratch file.");
    c.def_readonly("bytes_read", &LargeReport::bytesRead, "From source and scratch.");
    c.def_readonly("bytes_written", &LargeReport::bytesWritten, "To scratch and destination.");
    c.def_readonly("kept", &LargeReport::kept, "Bytes of the samples that stay between the sweeps; 0 in memory.");
    c.def_readonly("resumed", &LargeReport::resumed, "Bands and groups that an earlier call had done.");
    c.def(
        "__repr__",
        [](const LargeReport& r)
        {
            return py::str(
                       "LargeReport(in_memory={}, memory={}, scratch={}, bytes_read={}, bytes_written={}, resumed={})")
                .format(r.inMemory, r.memory, r.scratch, r.bytesRead, r.bytesWritten, r.resumed);
        });
}

constexpr char kLargeText[] =
    "\n\nThe samples are those of the member of Field of the same name, to the bit. The destination takes its name "
    "when it is\n"
    "complete and on the disk.\n\n"
    "Parameters\n----------\nsource, destination : Path\n    Segmented LM files.\n"
    "distance : float\n    Metres.\nsign : int\n    -1 to the spectrum, 1 back.\nprecision : int\n    Doublings of the "
    "grid, 1 to 4.\n"
    "interpol : Interpol | str | int\n    Between the samples of the source.\n"
    "backward : bool\n    Light that runs from the destination to the source.\n"
    "memory : int\n    Bytes for buffers and tables; 0: 1 GiB.\n"
    "scratch : Path, optional\n    Folder of the scratch file; that of the destination where it is left out.\n"
    "threads : int\n    Of the arithmetic; 0: the library's count.\n"
    "resume : bool\n    Go on where an earlier call for the same was killed.\n"
    "missing : MissingSegments | str | int\n    What segments are that the source lacks: refused, or zero.\n\n"
    "Returns\n-------\nLargeReport\n\nRaises\n------\nLumoraError\n    Scratch and unfinished destination are removed.";

/// An operation from file to file with one argument of its own.
template <class A, class Argument>
void Operation(py::module_& m, const char* name, LargeReport (*f)(const char*, const char*, A, const LargeOptions&),
               const Argument& argument, const char* argumentName)
{
    m.def(
        name,
        [f](const Path& source, const Path& destination, A a, std::uint64_t memory, const std::optional<Path>& scratch,
            int threads, bool resume, MissingSegments missing)
        {
            const LargeOptions options{memory, scratch ? scratch->text.c_str() : nullptr, threads, resume, missing};
            return Run<LargeReport>(0, std::array<Field*, 0>{},
                                    [&] { return f(source.text.c_str(), destination.text.c_str(), a, options); });
        },
        py::arg("source"), py::arg("destination"), argument, py::kw_only(), py::arg("memory") = std::uint64_t{0},
        py::arg("scratch") = py::none(), py::arg("threads") = 0, py::arg("resume") = false,
        py::arg("missing") = MISSING_REFUSED,
        (std::string(name) + "(source, destination, " + argumentName +
         ", *, memory=0, scratch=None, threads=0, resume=False, missing=REFUSED)" + kLargeText)
            .c_str());
}
/// A sum or product of two files.
void Combination(py::module_& m, const char* name,
                 LargeReport (*f)(const char*, const char*, const char*, const LargeOptions&))
{
    m.def(
        name,
        [f](const Path& first, const Path& second, const Path& destination, std::uint64_t memory, int threads,
            MissingSegments missing)
        {
            const LargeOptions options{memory, nullptr, threads, false, missing};
            return Run<LargeReport>(
                0, std::array<Field*, 0>{},
                [&] { return f(first.text.c_str(), second.text.c_str(), destination.text.c_str(), options); });
        },
        py::arg("first"), py::arg("second"), py::arg("destination"), py::kw_only(),
        py::arg("memory") = std::uint64_t{0}, py::arg("threads") = 0, py::arg("missing") = MISSING_REFUSED,
        (std::string(name) +
         "(first, second, destination, *, memory=0, threads=0, missing=REFUSED)\n\nSample by sample, first by "
         "second.\n\n"
         "Parameters\n----------\nfirst, second, destination : Path\n    Segmented LM files.\n"
         "memory : int\n    Bytes for buffers; 0: 1 GiB.\nthreads : int\n    Of the arithmetic; 0: the library's "
         "count.\n"
         "missing : MissingSegments | str | int\n    What segments are that a source lacks: refused, or zero.\n\n"
         "Returns\n-------\nLargeReport\n\nRaises\n------\nLumoraError\n    The unfinished destination is removed.")
            .c_str());
}

void DefineMeasures(py::module_& m)
{
    using L = LargeMeasures;
    py::class_<L> c(m, "LargeMeasures", "What one pass over a field, and over a reference beside it, measures.");
    c.def_readonly("square_sum", &L::squareSum, "As Field.square_sum on one thread, to the bit.");
    c.def_readonly("square_average", &L::squareAverage, "The same over the number of samples.");
    c.def_readonly("amplitude_max", &L::amplitudeMax, "Largest amplitude.");
    c.def_readonly("x_max", &L::xMax, "Column of the first sample that has it.");
    c.def_readonly("y_max", &L::yMax, "Its row.");
    c.def_readonly("scale", &L::scale, "Factor of the reference that comes closest; 0 without one.");
    c.def_readonly("snr", &L::snr, "square_sum over what that multiple leaves; 0 without a reference.");
    c.def("__repr__",
          [](const L& l)
          {
              return py::str("LargeMeasures(square_sum={:.9g}, square_average={:.9g}, amplitude_max={:.9g}, x_max={}, "
                             "y_max={}, scale={:.9g}, snr={:.9g})")
                  .format(l.squareSum, l.squareAverage, l.amplitudeMax, l.xMax, l.yMax, l.scale, l.snr);
          });
}

constexpr char kPassText[] = "memory : int\n    Bytes for buffers; 0: 1 GiB.\n"
                             "missing : MissingSegments | str | int\n    What segments are that a source lacks: "
                             "refused, or zero.\n\n";

/// Operations of one pass over a file: `scratch`, `threads` and `resume` do not count.
void DefinePasses(py::module_& m)
{
    const std::string pass(kPassText);
    const auto options = [](std::uint64_t memory, MissingSegments missing)
    {
        return LargeOptions{memory, nullptr, 0, false, missing};
    };
    m.def(
        "large_measure",
        [options](const Path& path, const std::optional<Path>& reference, std::uint64_t memory, MissingSegments missing)
        {
            return Run<LargeMeasures>(0, std::array<Field*, 0>{},
                                      [&] {
                                          return LargeMeasure(path.text.c_str(),
                                                              reference ? reference->text.c_str() : nullptr,
                                                              options(memory, missing));
                                      });
        },
        py::arg("path"), py::arg("reference") = py::none(), py::kw_only(), py::arg("memory") = std::uint64_t{0},
        py::arg("missing") = MISSING_REFUSED,
        ("large_measure(path, reference=None, *, memory=0, missing=REFUSED)\n\nEnergy, largest amplitude, and the "
         "signal to noise ratio against a reference, in one pass.\n\n"
         "Parameters\n----------\npath : Path\n    Segmented LM file.\nreference : Path, optional\n    One of the same "
         "sizes, domain, pitches and wavelength.\n" +
         pass + "Returns\n-------\nLargeMeasures")
            .c_str());
    m.def(
        "large_preview",
        [options](const Path& path, std::int32_t nx, std::int32_t ny, std::uint64_t memory, MissingSegments missing)
        {
            return Run<std::unique_ptr<Field>>(0, std::array<Field*, 0>{},
                                               [&]
                                               {
                                                   Lumora lumora(1, 1);
                                                   LargePreview(path.text.c_str(), lumora, nx, ny,
                                                                options(memory, missing));
                                                   return std::make_unique<Field>(std::move(lumora));
                                               });
        },
        py::arg("path"), py::arg("nx"), py::arg("ny"), py::kw_only(), py::arg("memory") = std::uint64_t{0},
        py::arg("missing") = MISSING_REFUSED,
        ("large_preview(path, nx, ny, *, memory=0, missing=REFUSED)\n\nA small picture of a field: amplitudes, the "
         "root "
         "of the mean intensity of the block of samples that\neach pixel stands for.\n\n"
         "Parameters\n----------\npath : Path\n    Segmented LM file.\nnx, ny : int\n    Pixels along x and y.\n" +
         pass +
         "Returns\n-------\nField\n    A new one with the pitches of the pixels; the picture is its window, which lies "
         "in the\n    middle where nx and ny are no powers of two.")
            .c_str());
    m.def(
        "large_save_as_bmp",
        [options](const Path& path, const Path& picture, Mode mode, double min, double max, Gradation gradation,
                  std::uint64_t memory, MissingSegments missing)
        {
            Run<void>(0, std::array<Field*, 0>{},
                      [&] {
                          LargeSaveAsBmp(path.text.c_str(), picture.text.c_str(), mode, min, max, gradation,
                                         options(memory, missing));
                      });
        },
        py::arg("path"), py::arg("picture"), py::arg("mode") = ModeIntensity, py::arg("min") = 0.0,
        py::arg("max") = 0.0, py::arg("gradation") = GradationGrey, py::kw_only(), py::arg("memory") = std::uint64_t{0},
        py::arg("missing") = MISSING_REFUSED,
        ("large_save_as_bmp(path, picture, mode=INTENSITY, min=0.0, max=0.0, gradation=GREY, *, memory=0, "
         "missing=REFUSED)\n\nA field of any size as an 8-bit BMP, a pixel for each sample, row by row.\n\n"
         "Parameters\n----------\npath : Path\n    Segmented LM file.\npicture : Path\n    The BMP, replaced whole or "
         "not at all.\n"
         "mode : Mode | str | int\n    What of a sample is shown; not MASKED_PHASE.\nmin : float\n    Value shown "
         "black.\nmax : float\n    Value shown white; both 0: the range of the mode, as Field.save_as_bmp_ex has it.\n"
         "gradation : Gradation | str | int\n    Grey or rainbow.\n" +
         pass + "Raises\n------\nLumoraError\n    The old picture stays.")
            .c_str());
    m.def(
        "large_add_point_cloud",
        [options](const Path& source, const Path& destination, const Rows& rows, double tolerance, double edge,
                  CloudMethod method, CloudFrame frame, std::uint64_t cloud, std::uint64_t memory,
                  MissingSegments missing)
        {
            const Points points(rows);
            return Run<LargeReport>(0, std::array<Field*, 0>{},
                                    [&]
                                    {
                                        return LargeAddPointCloud(source.text.c_str(), destination.text.c_str(),
                                                                  points.Data(), points.Count(),
                                                                  CloudOptions{tolerance, edge, method, frame, cloud},
                                                                  options(memory, missing));
                                    });
        },
        py::arg("source"), py::arg("destination"), py::arg("points"), py::arg("tolerance") = 1e-3,
        py::arg("edge") = 0.2, py::arg("method") = CLOUD_AUTOMATIC, py::arg("frame") = CLOUD_GLOBAL, py::kw_only(),
        py::arg("cloud_memory") = std::uint64_t{0}, py::arg("memory") = std::uint64_t{0},
        py::arg("missing") = MISSING_REFUSED,
        ("large_add_point_cloud(source, destination, points, tolerance=1e-3, edge=0.2, method=AUTOMATIC, frame=GLOBAL, "
         "*, cloud_memory=0, memory=0, missing=REFUSED)\n\nAdds the light of points to a field, segment by segment, "
         "each as Field.add_point_cloud computes it there.\n\n"
         "Parameters\n----------\nsource, destination : Path\n    Segmented LM files; the destination may be the "
         "source.\n"
         "points : array of shape (n, 3), (n, 4) or (n, 5)\n    x, y, z in metres, amplitude (1), phase in radians "
         "(0).\n"
         "tolerance, edge, method : as those of Field.add_point_cloud\n    In the units of there.\n"
         "frame : CloudFrame | str | int\n    GLOBAL; others are refused.\n"
         "cloud_memory : int\n    Bytes for working memory beside a segment; 0: six times its samples, at least 256 "
         "MiB.\n" +
         pass +
         "Returns\n-------\nLargeReport\n\nRaises\n------\nLumoraError\n    The unfinished destination is removed.")
            .c_str());
}
} // namespace

void DefineLarge(py::module_& m)
{
    DefineSegments(m);
    DefineReport(m);
    DefineMeasures(m);
    DefinePasses(m);
    Operation(m, "large_fft", &LargeFft, py::arg("sign"), "sign");
    Operation(m, "large_raw_asm_prop", &LargeRawAsmProp, py::arg("distance"), "distance");
    Operation(m, "large_asm_prop", &LargeAsmProp, py::arg("distance"), "distance");
    Operation(m, "large_exact_asm_prop", &LargeExactAsmProp, py::arg("distance"), "distance");
    Operation(m, "large_fresnel_prop", &LargeFresnelProp, py::arg("distance"), "distance");
    Operation(m, "large_shifted_asm_prop", &LargeShiftedAsmProp, py::arg("precision") = 1, "precision=1");
    Operation(m, "large_shifted_fresnel_prop", &LargeShiftedFresnelProp, py::arg("backward") = false, "backward=False");
    Operation(m, "large_resample", &LargeResample, py::arg("interpol") = LINEAR_INTERPOL, "interpol=LINEAR");
    Combination(m, "large_add", &LargeAdd);
    Combination(m, "large_subtract", &LargeSubtract);
    Combination(m, "large_multiply", &LargeMultiply);
}
} // namespace LumoraLib::python
