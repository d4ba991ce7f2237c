// Types of the library that are types of Python: complex numbers, angles, file names.
#ifndef LUMORA_PYTHON_CASTERS_H
#define LUMORA_PYTHON_CASTERS_H

#include "LmlLumora.h"

#include <pybind11/complex.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <complex>
#include <string>

namespace LumoraLib::python
{
/// A file name in the encoding of the file system.
struct Path
{
    std::string text;
};
} // namespace LumoraLib::python

namespace pybind11::detail
{
template <class T>
struct LumoraComplexCaster
{
    PYBIND11_TYPE_CASTER(T, const_name("complex"));
    bool load(handle source, bool convert)
    {
        make_caster<std::complex<double>> number;
        if (!number.load(source, convert))
            return false;
        const auto z = cast_op<std::complex<double>>(number);
        value = T(z.real(), z.imag());
        return true;
    }
    static handle cast(const T& z, return_value_policy, handle)
    {
        return PyComplex_FromDoubles(z.GetReal(), z.GetImag());
    }
};
template <>
struct type_caster<LumoraLib::Complex> : LumoraComplexCaster<LumoraLib::Complex>
{
};
template <>
struct type_caster<LumoraLib::ComplexDouble> : LumoraComplexCaster<LumoraLib::ComplexDouble>
{
};

template <>
struct type_caster<LumoraLib::Phase>
{
    PYBIND11_TYPE_CASTER(LumoraLib::Phase, const_name("float"));
    bool load(handle source, bool convert)
    {
        make_caster<double> number;
        if (!number.load(source, convert))
            return false;
        value = LumoraLib::Phase(cast_op<double>(number));
        return true;
    }
    static handle cast(const LumoraLib::Phase& phase, return_value_policy, handle) { return PyFloat_FromDouble(phase); }
};

template <>
struct type_caster<LumoraLib::python::Path>
{
    PYBIND11_TYPE_CASTER(LumoraLib::python::Path, const_name("os.PathLike"));
    bool load(handle source, bool)
    {
        if (!PyUnicode_Check(source.ptr()) && !PyBytes_Check(source.ptr()) && !hasattr(source, "__fspath__"))
            return false;
        PyObject* bytes = nullptr;
        if (PyUnicode_FSConverter(source.ptr(), &bytes) == 0) // a zero byte inside, or no text
            throw error_already_set();
        value.text = PyBytes_AS_STRING(bytes);
        Py_DECREF(bytes);
        return true;
    }
};
} // namespace pybind11::detail

#endif
