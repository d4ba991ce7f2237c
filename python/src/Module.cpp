// The extension module lumora._core.
#include "Bind.h"

PYBIND11_MODULE(_core, m)
{
    using namespace LumoraLib::python;
    namespace py = pybind11;
    py::options options;
    options.disable_function_signatures(); // the docstrings have their own
    m.doc() = "The compiled part of lumora.";
    DefineErrors(m);
    DefineEnums(m);
    py::class_<Field> field(
        m, "Field",
        "A sampled monochromatic field, or its spectrum, on a plane in space.\n\n"
        "Parameters\n----------\n"
        "samples_or_shape : array, (ny, nx) or int\n"
        "    Complex or real samples, a row at a time along y, or a shape; both sizes are raised to\n"
        "    powers of two. complex64 in C order with such sizes and 16-byte alignment is used as it\n"
        "    is, without a copy: what the field does, the array shows. An array of other sizes stands\n"
        "    in the middle of the grid, zeros around it, and the window is set to it.\n"
        "pitch : float or (float, float)\n    Sampling pitches in metres.\n"
        "wavelength : float\n    Metres.\n"
        "copy : bool, optional\n    True: always copy. False: refuse what would need a copy.");
    DefineValues(m);
    DefineField(m, field);
    DefinePoints(m, field);
    DefineRetrieval(m, field);
    DefineLarge(m);
    DefineAdvice(m);
    DefinePictures(m);
    BindField0(field);
    BindField1(field);
    BindField2(field);
    BindField3(field);
    BindField4(field);
    BindField5(field);
    BindFree(m);
    m.def("_set_progress", &SetProgress);
    m.def("_after_fork", &AfterFork);
    SetProgress(py::none(), py::none());
}
