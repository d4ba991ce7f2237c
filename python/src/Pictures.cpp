// The pictures component: pixels as arrays, fields as pictures, line plots, pictures as fields.
#include "Bind.h"

#include "LmlPictures.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace LumoraLib::python
{
#ifdef LUMORA_PICTURES
namespace
{
template <class Call>
auto OffLock(const Call& call)
{
    using Result = decltype(call());
    return Run<Result>(0, std::array<Field*, 0>{}, call);
}

/// The pixels of an array: uint8 or uint16 of shape (height, width) or (height, width, channels).
PictureImage ImageOf(const py::array& pixels, double perMetreX, double perMetreY)
{
    const bool deep = py::isinstance<py::array_t<std::uint16_t>>(pixels);
    if ((!deep && !py::isinstance<py::array_t<std::uint8_t>>(pixels)) || pixels.ndim() < 2 || pixels.ndim() > 3 ||
        pixels.size() == 0 || pixels.shape(0) > 65535 || pixels.shape(1) > 65535 ||
        (pixels.ndim() == 3 && pixels.shape(2) > 4))
        throw py::value_error("pixels are an array of uint8 or uint16, of shape (height, width) or (height, width, "
                              "channels), 1 to 4 channels and at most 65535 a side");
    PictureImage image;
    image.height = static_cast<std::int32_t>(pixels.shape(0));
    image.width = static_cast<std::int32_t>(pixels.shape(1));
    image.channels = pixels.ndim() == 2 ? 1 : static_cast<std::int32_t>(pixels.shape(2));
    image.bits = deep ? 16 : 8;
    image.perMetreX = perMetreX;
    image.perMetreY = perMetreY;
    using Values = py::array_t<std::uint16_t, py::array::c_style | py::array::forcecast>;
    const Values values = pixels.cast<Values>();
    image.samples.assign(values.data(), values.data() + values.size());
    return image;
}

py::array PixelsOf(const PictureImage& image)
{
    std::vector<py::ssize_t> shape{image.height, image.width};
    if (image.channels > 1)
        shape.push_back(image.channels);
    const auto filled = [&](auto pixels)
    {
        std::transform(image.samples.begin(), image.samples.end(), pixels.mutable_data(),
                       [&](std::uint16_t v)
                       { return static_cast<std::remove_reference_t<decltype(*pixels.data())>>(v); });
        return py::array(std::move(pixels));
    };
    return image.bits > 8 ? filled(py::array_t<std::uint16_t>(shape)) : filled(py::array_t<std::uint8_t>(shape));
}

py::bytes PngOf(const PictureImage& image)
{
    const std::vector<std::uint8_t> bytes = OffLock([&] { return EncodePng(image); });
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

void DefineImage(py::module_& m)
{
    py::class_<PictureImage> c(
        m, "PictureImage",
        "Pixels of a picture, top row first. A notebook shows it; ``pixels`` is it as an array.\n\n"
        "Wherever a PictureImage is asked for, an array of pixels does.\n\n"
        "Parameters\n----------\n"
        "pixels : array of uint8 or uint16\n"
        "    Shape (height, width), or (height, width, channels): 2 grey and opacity, 3 red\n"
        "    green blue, 4 with opacity.\n"
        "per_metre : (float, float)\n    Pixels per metre along x and y; 0: not stated.");
    c.def(py::init([](const py::array& pixels, const std::pair<double, double>& perMetre)
                   { return ImageOf(pixels, perMetre.first, perMetre.second); }),
          py::arg("pixels"), py::arg("per_metre") = std::pair(0.0, 0.0));
    c.def_readonly("width", &PictureImage::width, "Pixels.");
    c.def_readonly("height", &PictureImage::height, "Rows.");
    c.def_readonly("channels", &PictureImage::channels,
                   "1 grey, 2 grey and opacity, 3 red green blue, 4 red green blue opacity.");
    c.def_readonly("bits", &PictureImage::bits, "Of a channel: 8 or 16.");
    c.def_property_readonly(
        "per_metre", [](const PictureImage& i) { return std::pair(i.perMetreX, i.perMetreY); },
        "Pixels per metre along x and y that a file states; 0 where it states none.");
    c.def_property_readonly("pixels", &PixelsOf,
                            "The pixels as a new array, uint8 or uint16, of shape (height, width) or (height, width, "
                            "channels).");
    c.def(
        "grey",
        [](const PictureImage& image, std::int32_t column, std::int32_t row)
        {
            if (column < 0 || row < 0 || column >= image.width || row >= image.height)
                throw py::index_error("pixel (" + std::to_string(column) + ", " + std::to_string(row) + ") of " +
                                      std::to_string(image.width) + " by " + std::to_string(image.height));
            return image.Grey(column, row);
        },
        py::arg("column"), py::arg("row"),
        "grey(column, row)\n\nGrey value 0 to 1 of a pixel: its luminance times its opacity.\n\n"
        "Parameters\n----------\ncolumn : int\n    From 0.\nrow : int\n    From 0, the top "
        "one.\n\nReturns\n-------\nfloat");
    c.def(
        "__array__",
        [](const PictureImage& image, const py::object& dtype, const py::object&)
        {
            const py::array pixels = PixelsOf(image);
            return dtype.is_none() ? py::object(pixels) : pixels.attr("astype")(dtype);
        },
        py::arg("dtype") = py::none(), py::arg("copy") = py::none());
    c.def("_repr_png_", &PngOf);
    c.def("__repr__",
          [](const PictureImage& i)
          {
              return py::str("<lumora.PictureImage {} by {}, {} channels of {} bits>")
                  .format(i.width, i.height, i.channels, i.bits);
          });
    py::implicitly_convertible<py::array, PictureImage>();
}

/// A style with some of its attributes changed: style=None, **changes of the functions below.
template <class Style>
Style Changed(const std::optional<Style>& style, const py::kwargs& changes)
{
    const py::object made = py::cast(style.value_or(Style()));
    for (const auto& [name, value] : changes)
    {
        if (!py::hasattr(made, name))
            throw py::type_error(std::string(py::str(py::type::of(made).attr("__name__"))) + " has no \"" +
                                 std::string(py::str(name)) + "\"");
        py::setattr(made, name, value);
    }
    return made.cast<Style>();
}

/// A class of attributes, each a keyword of its constructor too.
template <class Style>
py::class_<Style> StyleClass(py::module_& m, const char* name, const char* doc)
{
    py::class_<Style> c(m, name, doc);
    c.def(py::init([](const py::kwargs& given) { return Changed<Style>(std::nullopt, given); }));
    c.def("__copy__", [](const Style& style) { return style; });
    return c;
}

constexpr char kStyleText[] =
    "style : PictureStyle, optional\n    How the field is shown.\n**changes : of PictureStyle\n"
    "    Attributes that differ from it: quantity=\"phase\", axes=True.\n";

void DefineStyle(py::module_& m)
{
    using S = PictureStyle;
    auto c = StyleClass<S>(m, "PictureStyle",
                           "How a field is shown: ``PictureStyle(quantity=\"phase\", axes=True)``. What is left out\n"
                           "gives a picture without axes that is well lit for most fields.");
    c.def_readwrite("quantity", &S::quantity, "What of a sample is shown: PictureQuantity, its name or its number.");
    c.def_readwrite("colours", &S::colours, "Colour map: PictureColours, its name or its number.");
    c.def_readwrite("low", &S::low, "Value of the first colour; equal to `high`: the range is taken from the picture.");
    c.def_readwrite("high", &S::high, "Value of the last colour, in the unit of the quantity.");
    c.def_readwrite("clip", &S::clip, "Percentage of the pixels that are not brighter than the last colour, 1 to 100.");
    c.def_readwrite("decibels", &S::decibels, "Range of DECIBEL below the brightest shown value.");
    c.def_readwrite("gamma", &S::gamma, "Above 1 lifts the dark parts of magnitudes; 0.1 to 10.");
    c.def_readwrite("window", &S::window, "The field's window alone.");
    c.def_readwrite("max_size", &S::maxSize, "Longest side in pixels, 16 to 32768; 0: a pixel a sample.");
    c.def_readwrite("min_size", &S::minSize, "Smaller fields are enlarged to this longest side; 0: not at all.");
    c.def_readwrite("proportional", &S::proportional, "Width and height in proportion to metres, else to samples.");
    c.def_readwrite("title", &S::title, "A line above the picture.");
    c.def_readwrite("axes", &S::axes, "Ticks, numbers and units.");
    c.def_readwrite("colour_bar", &S::colourBar, "The colours with their values; of COMPLEX a disc of phases.");
    c.def_readwrite("scale_bar", &S::scaleBar, "A bar of a round length inside the picture.");
    c.def_readwrite("frequencies", &S::frequencies, "Axes of a spectrum: PictureFrequencies, PER_MM or DEGREES.");
    c.def_readwrite("label", &S::label, "Beside the colour bar; empty: the name of the quantity.");
    c.def_readwrite("text_size", &S::textSize, "Of all texts, 0.5 to 4.");

    using P = ProfileStyle;
    auto p = StyleClass<P>(m, "ProfileStyle", "The look of a plot of lines: ``ProfileStyle(title=\"focus\")``.");
    p.def_readwrite("title", &P::title, "Above the plot.");
    p.def_readwrite("x_label", &P::xLabel, "Below the axis.");
    p.def_readwrite("x_unit", &P::xUnit, "\"m\" and \"s\" take the prefix that suits the range, other units stay.");
    p.def_readwrite("y_label", &P::yLabel, "Beside the axis.");
    p.def_readwrite("y_unit", &P::yUnit, "As x_unit.");
    p.def_readwrite("width", &P::width, "Pixels, 200 to 8192.");
    p.def_readwrite("height", &P::height, "Pixels, 150 to 8192.");
    p.def_readwrite("x_low", &P::xLow, "Range of the axis in its unit; equal values: that of the lines.");
    p.def_readwrite("x_high", &P::xHigh, "Likewise.");
    p.def_readwrite("y_low", &P::yLow, "Likewise.");
    p.def_readwrite("y_high", &P::yHigh, "Likewise.");
    p.def_readwrite("logarithmic", &P::logarithmic, "The y axis; values of 0 and below leave a gap.");
    p.def_readwrite("text_size", &P::textSize, "Of all texts, 0.5 to 4.");

    using L = PictureLoadOptions;
    auto l =
        StyleClass<L>(m, "PictureLoadOptions", "How a picture becomes a field: lengths in metres, angles in radians.");
    l.def_readwrite("width", &L::width, "Metres of the picture on the field; 0: from the height, or a sample a pixel.");
    l.def_readwrite("height", &L::height, "Metres, likewise.");
    l.def_readwrite("keep_aspect", &L::keepAspect, "With both: the largest size that fits; else stretched to both.");
    l.def_readwrite("value", &L::value, "What a grey value becomes: PictureValue, its name or its number.");
    l.def_readwrite("gamma", &L::gamma, "Grey values count as v**gamma; 2.2 takes back the coding of displays.");
    l.def_readwrite("negative", &L::negative, "1 - v in place of v.");
    l.def_readwrite("phase", &L::phase, "CONSTANT (`phase_value`) or RANDOM: a diffuser.");
    l.def_readwrite("phase_value", &L::phaseValue, "Radians.");
    l.def_readwrite("seed", &L::seed, "Equal seeds give equal random phases.");
    l.def_readwrite("pitch", &L::pitch,
                    "Metres per sample of a new field; 0: a sample a pixel of `width`, or the default pitches.");
    l.def_readwrite("wavelength", &L::wavelength, "Metres, of a new field; 0: the default wavelength.");
    l.def_readwrite("room", &L::room, "A new grid holds the picture this many times on each axis, 1 to 64.");
}

void DefineFiles(py::module_& m)
{
    m.def(
        "read_picture", [](const Path& path) { return OffLock([&] { return ReadPicture(path.text); }); },
        py::arg("path"),
        "read_picture(path)\n\nReads a PNG, BMP, JPEG or portable map; its first bytes say what it is.\n\n"
        "Parameters\n----------\npath : Path\n    File name.\n\nReturns\n-------\nPictureImage\n\n"
        "Raises\n------\nLumoraError\n    Files that cannot be opened, of no known kind, damaged or cut short.");
    m.def("encode_png", &PngOf, py::arg("image"),
          "encode_png(image)\n\nThe bytes of a PNG file, for pages and streams.\n\n"
          "Parameters\n----------\nimage : PictureImage or array\n    Pixels.\n\nReturns\n-------\nbytes");
    m.def(
        "save_png", [](const Path& path, const PictureImage& image) { OffLock([&] { SavePng(path.text, image); }); },
        py::arg("path"), py::arg("image"),
        "save_png(path, image)\n\nWrites a PNG, replaced whole or not at all.\n\n"
        "Parameters\n----------\npath : Path\n    File name, ends in .png.\nimage : PictureImage or array\n    "
        "Pixels.\n\n"
        "Raises\n------\nLumoraError\n    Another ending; a file that cannot be written.");
    m.def(
        "join_pictures",
        [](const std::vector<PictureImage>& pictures, int columns, int gap)
        { return OffLock([&] { return JoinPictures(pictures, columns, gap); }); },
        py::arg("pictures"), py::arg("columns"), py::arg("gap") = 12,
        "join_pictures(pictures, columns, gap=12)\n\nPictures side by side, each at the top left of its cell.\n\n"
        "Parameters\n----------\npictures : sequence of PictureImage or array\n    All become colour pictures of 8 "
        "bits.\n"
        "columns : int\n    Pictures in a row.\ngap : int\n    White pixels between them.\n\n"
        "Returns\n-------\nPictureImage");
    m.def(
        "picture_colour",
        [](PictureColours colours, double t)
        {
            const PictureColour c = GetPictureColour(colours, t);
            return py::make_tuple(c.red, c.green, c.blue);
        },
        py::arg("colours"), py::arg("t"),
        "picture_colour(colours, t)\n\nA colour of a map.\n\nParameters\n----------\n"
        "colours : PictureColours | str | int\n    The map.\nt : float\n    Place on it, 0 to 1; closed maps begin at "
        "phase -pi.\n\nReturns\n-------\n(int, int, int)\n    Red, green and blue, 0 to 255.");
}

void DefineFieldPictures(py::module_& m)
{
    using Style = std::optional<PictureStyle>;
    const std::string style(kStyleText);
    m.def(
        "render_picture",
        [](Field& field, const Style& given, const py::kwargs& changes)
        {
            const PictureStyle how = Changed(given, changes);
            return Run<PictureImage>(0, std::array<Field*, 1>{&field}, [&] { return RenderPicture(field.Get(), how); });
        },
        py::arg("field"), py::arg("style") = py::none(),
        ("render_picture(field, style=None, **changes)\n\nThe field as a picture of 8 bits and three channels; +y is "
         "up. "
         "Samples that are not finite are grey.\n\n"
         "Parameters\n----------\nfield : Field\n    Any form, either domain.\n" +
         style +
         "\nReturns\n-------\nPictureImage\n\nRaises\n------\nLumoraError\n    A style outside its ranges, and what to "
         "change.")
            .c_str());
    m.def(
        "save_picture",
        [](const Path& path, Field& field, const Style& given, const py::kwargs& changes)
        {
            const PictureStyle how = Changed(given, changes);
            Run<void>(0, std::array<Field*, 1>{&field}, [&] { SavePicture(path.text, field.Get(), how); });
        },
        py::arg("path"), py::arg("field"), py::arg("style") = py::none(),
        ("save_picture(path, field, style=None, **changes)\n\nrender_picture() into a PNG, replaced whole or not at "
         "all.\n\nParameters\n----------\npath : Path\n    File name, ends in .png.\nfield : Field\n    Any form, "
         "either "
         "domain.\n" +
         style)
            .c_str());
    m.def(
        "picture_range",
        [](Field& field, const Style& given, const py::kwargs& changes)
        {
            const PictureStyle how = Changed(given, changes);
            const PictureRange range =
                Run<PictureRange>(0, std::array<Field*, 1>{&field}, [&] { return GetPictureRange(field.Get(), how); });
            return std::pair(range.low, range.high);
        },
        py::arg("field"), py::arg("style") = py::none(),
        ("picture_range(field, style=None, **changes)\n\nThe range that render_picture() would use, to show several "
         "fields on one scale: low= and high= of the others.\n\nParameters\n----------\nfield : Field\n    Any form, "
         "either "
         "domain.\n" +
         style + "\nReturns\n-------\n(float, float)\n    In the unit of the quantity; decibels over intensity 1.")
            .c_str());
}

using Numbers = py::array_t<double, py::array::c_style | py::array::forcecast>;

std::vector<double> ListOf(const Numbers& numbers)
{
    return {numbers.data(), numbers.data() + numbers.size()};
}

void DefineProfiles(py::module_& m)
{
    py::class_<ProfileLine> c(
        m, "ProfileLine",
        "A line of a plot. Points that are not finite leave a gap.\n\n"
        "Parameters\n----------\ny : array\n    Values.\nx : array, optional\n    As many places; "
        "0, 1, 2 ... where they are left out.\nname : str\n    In the legend.\nmarkers : bool\n    "
        "Marks at the points instead of a line.");
    c.def(py::init(
              [](const Numbers& y, const std::optional<Numbers>& x, const std::string& name, bool markers) {
                  return ProfileLine{name, x ? ListOf(*x) : std::vector<double>(), ListOf(y), markers};
              }),
          py::arg("y"), py::arg("x") = py::none(), py::arg("name") = "", py::arg("markers") = false);
    const auto array = [](const std::vector<double>& values)
    {
        return py::array_t<double>(static_cast<py::ssize_t>(values.size()), values.data());
    };
    c.def_property_readonly(
        "x", [array](const ProfileLine& l) { return array(l.x); }, "Places, a new array.");
    c.def_property_readonly(
        "y", [array](const ProfileLine& l) { return array(l.y); }, "Values, a new array.");
    c.def_readwrite("name", &ProfileLine::name, "In the legend.");
    c.def_readwrite("markers", &ProfileLine::markers, "Marks at the points instead of a line.");
    m.def(
        "make_profile_line",
        [](Field& field, Axis axis, std::int32_t index, PictureQuantity quantity, const std::string& name)
        {
            return Run<ProfileLine>(0, std::array<Field*, 1>{&field},
                                    [&] { return MakeProfileLine(field.Get(), axis, index, quantity, name); });
        },
        py::arg("field"), py::arg("axis"), py::arg("index"), py::arg("quantity") = PICTURE_AMPLITUDE,
        py::arg("name") = "",
        "make_profile_line(field, axis, index, quantity=AMPLITUDE, name=\"\")\n\nA row or a column of the whole "
        "grid.\n\n"
        "Parameters\n----------\nfield : Field\n    Places are metres, of a spectrum cycles per metre.\n"
        "axis : Axis | str | int\n    X for a row, Y for a column.\nindex : int\n    Row or column, from 0.\n"
        "quantity : PictureQuantity | str | int\n    Any but COMPLEX; decibels are over intensity 1.\n"
        "name : str\n    In the legend.\n\nReturns\n-------\nProfileLine");
    using Style = std::optional<ProfileStyle>;
    const std::string text =
        "lines : sequence of ProfileLine\n    1 to 12.\nstyle : ProfileStyle, optional\n    The look.\n"
        "**changes : of ProfileStyle\n    Attributes that differ from it: title=\"focus\".\n";
    m.def(
        "render_profile_plot",
        [](const std::vector<ProfileLine>& lines, const Style& given, const py::kwargs& changes)
        {
            const ProfileStyle how = Changed(given, changes);
            return OffLock([&] { return RenderProfilePlot(lines, how); });
        },
        py::arg("lines"), py::arg("style") = py::none(),
        ("render_profile_plot(lines, style=None, **changes)\n\nLines with axes, grid and legend as a picture.\n\n"
         "Parameters\n----------\n" +
         text + "\nReturns\n-------\nPictureImage")
            .c_str());
    m.def(
        "save_profile_plot",
        [](const Path& path, const std::vector<ProfileLine>& lines, const Style& given, const py::kwargs& changes)
        {
            const ProfileStyle how = Changed(given, changes);
            OffLock([&] { SaveProfilePlot(path.text, lines, how); });
        },
        py::arg("path"), py::arg("lines"), py::arg("style") = py::none(),
        ("save_profile_plot(path, lines, style=None, **changes)\n\nrender_profile_plot() into a PNG, replaced whole or "
         "not at all.\n\nParameters\n----------\npath : Path\n    File name, ends in .png.\n" +
         text)
            .c_str());
}

void DefineLoaders(py::module_& m)
{
    using Options = std::optional<PictureLoadOptions>;
    const std::string text = "options : PictureLoadOptions, optional\n    How.\n**changes : of PictureLoadOptions\n"
                             "    Attributes that differ from it: width=2e-3, phase=\"random\".\n\n";
    m.def(
        "load_picture",
        [](const Path& path, const Options& given, const py::kwargs& changes)
        {
            const PictureLoadOptions how = Changed(given, changes);
            return Run<std::unique_ptr<Field>>(0, std::array<Field*, 0>{},
                                               [&] { return std::make_unique<Field>(LoadPicture(path.text, how)); });
        },
        py::arg("path"), py::arg("options") = py::none(),
        ("load_picture(path, options=None, **changes)\nload_picture(field, path, options=None, **changes)\n\n"
         "A new field with a picture in its middle, 0 around it, the window set to the picture; any size of picture "
         "will do.\nWith a field: the picture into it, its grid, place and form as they are; what does not fit is "
         "cut.\n\n"
         "Parameters\n----------\npath : Path\n    PNG, BMP, JPEG or portable map.\nfield : Field\n    In real "
         "space.\n" +
         text +
         "Returns\n-------\nField\n    The new one, or the one given.\n\nRaises\n------\nLumoraError\n    As "
         "read_picture(), "
         "and options outside their ranges; the field stays as it was.")
            .c_str());
    m.def(
        "load_picture",
        [](Field& field, const Path& path, const Options& given, const py::kwargs& changes)
        {
            const PictureLoadOptions how = Changed(given, changes);
            Run<void>(0, std::array<Field*, 1>{&field}, [&] { LoadPicture(field.Get(), path.text, how); });
            return &field;
        },
        py::return_value_policy::reference, py::arg("field"), py::arg("path"), py::arg("options") = py::none());
    m.def(
        "place_picture",
        [](Field& field, const PictureImage& image, const Options& given, const py::kwargs& changes)
        {
            const PictureLoadOptions how = Changed(given, changes);
            Run<void>(0, std::array<Field*, 1>{&field}, [&] { PlacePicture(field.Get(), image, how); });
            return &field;
        },
        py::return_value_policy::reference, py::arg("field"), py::arg("image"), py::arg("options") = py::none(),
        ("place_picture(field, image, options=None, **changes)\n\nload_picture() with pixels from memory.\n\n"
         "Parameters\n----------\nfield : Field\n    In real space.\nimage : PictureImage or array\n    Pixels.\n" +
         text + "Returns\n-------\nField\n    The one given.")
            .c_str());
}
} // namespace

void DefinePictures(py::module_& m)
{
    DefineImage(m);
    DefineStyle(m);
    DefineFiles(m);
    DefineFieldPictures(m);
    DefineProfiles(m);
    DefineLoaders(m);
}
#else
void DefinePictures(py::module_& m)
{
    for (const char* const name : {"PictureImage", "PictureStyle", "ProfileStyle", "ProfileLine", "PictureLoadOptions",
                                   "read_picture", "encode_png", "save_png", "join_pictures", "picture_colour",
                                   "render_picture", "save_picture", "picture_range", "make_profile_line",
                                   "render_profile_plot", "save_profile_plot", "load_picture", "place_picture"})
        m.def(
            name,
            [name](const py::args&, const py::kwargs&)
            {
                PyErr_SetString(PyExc_NotImplementedError,
                                (std::string("lumora.") + name +
                                 " is missing: this build has no pictures. Install libpng with its headers "
                                 "(Debian: libpng-dev) and build lumora again")
                                    .c_str());
                throw py::error_already_set();
            },
            "Missing: this build has no pictures.");
}
#endif
} // namespace LumoraLib::python
