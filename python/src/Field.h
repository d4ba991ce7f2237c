// A field as Python holds it: a Lumora object, and the block of samples that it may share with numpy arrays.
#ifndef LUMORA_PYTHON_FIELD_H
#define LUMORA_PYTHON_FIELD_H

#include "LmlLumora.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>
#include <optional>

namespace LumoraLib::python
{
namespace py = pybind11;

/// Samples that arrays look at. They live as long as the field or the last of the arrays, and never move: a Lumora on
/// a block stands on a caller's buffer, which the library does not release, resize or exchange.
struct Block
{
    std::optional<Lumora> owner; ///< the memory, where the library has allocated it
    py::object array;            ///< the array whose memory it is otherwise
    Complex* samples = nullptr;
    std::size_t count = 0;
};

/// All members are called with the GIL held.
class Field
{
public:
    /// Takes a field over that owns its samples.
    explicit Field(Lumora&& lumora);
    /// A field on the memory of `array`: complex64, C order, aligned to 16 bytes, both sizes powers of two.
    static std::unique_ptr<Field> OverArray(const py::array& array, double px, double py, double wavelength);

    Lumora& Get() { return *lumora_; }
    const Lumora& Get() const { return *lumora_; }
    /// A writable array over the samples, shape (ny, nx), which keeps their memory alive.
    py::array Samples();

    /// Before an operation that may change the size: memory of its own, taken back from the block where nobody else
    /// looks at it, otherwise a copy.
    void BeginResize();
    /// Behind it: a field that has kept its number of samples goes back onto the shared block.
    void EndResize() noexcept;
    /// BeginResize() for good: arrays keep the samples of before.
    void Detach();
    /// Frees the samples, or leaves them to the arrays that look at them.
    void Dispose();

    int busy = 0; ///< operations that the field takes part in

private:
    std::unique_ptr<Lumora> On(Complex* samples, std::size_t count) const;

    std::unique_ptr<Lumora> lumora_;
    std::shared_ptr<Block> block_;
    std::shared_ptr<Block> before_; ///< between BeginResize and EndResize
};
} // namespace LumoraLib::python

#endif
