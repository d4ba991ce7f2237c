"""The parts of Field that are Python's own: arithmetic, arrays, pictures, pickles, files by name."""
# mypy: ignore-errors
import os

import numpy as np

from . import _picture
from ._core import Field, Form, load_picture


def _number(value):
    return isinstance(value, (int, float, complex, np.number)) and not isinstance(value, bool)


def _binary(name, inplace):
    def operate(self, other):
        if isinstance(other, (Field, np.ndarray)) or _number(other):
            return getattr(self.copy(), inplace)(other)
        return NotImplemented

    operate.__name__ = name
    operate.__doc__ = "A new field; with a field, a number, or an array of shape (ny, nx)."
    return operate


def _inplace(name, core):
    def operate(self, other):
        if isinstance(other, np.ndarray):
            getattr(self.samples, name)(other)
            return self
        return core(self, complex(other) if isinstance(other, np.complexfloating) else other)

    operate.__name__ = name
    return operate


def _reflected(name, operate):
    def reflected(self, other):
        if not (_number(other) or isinstance(other, np.ndarray)):
            return NotImplemented
        return operate(self, other)

    reflected.__name__ = name
    return reflected


def _rsub(self, other):
    return (-self).__add__(other) if _number(other) or isinstance(other, np.ndarray) else NotImplemented


def _polar(field):
    return bool(int(field.form) & 2)


def _amplitude(self):
    """Amplitudes of the samples as a new float array of shape (ny, nx), in either form."""
    return self.samples.real.copy() if _polar(self) else np.abs(self.samples)


def _intensity(self):
    """Intensities of the samples, amplitude squared, as a new float array of shape (ny, nx)."""
    samples = self.samples
    return samples.real**2 if _polar(self) else samples.real**2 + samples.imag**2


def _phase(self):
    """Phases of the samples in radians, as a new float array of shape (ny, nx)."""
    return self.samples.imag.copy() if _polar(self) else np.angle(self.samples)


def _complex(self):
    """The samples as complex numbers, whatever the form: the samples themselves, or for polar ones a new array."""
    samples = self.samples
    return samples.real * np.exp(1j * samples.imag) if _polar(self) else samples


def _xs(self):
    """Coordinates of the columns: metres, in a spectrum cycles per metre."""
    return (np.arange(self.nx) - self.nx // 2) * self.px


def _ys(self):
    """Coordinates of the rows: metres, in a spectrum cycles per metre."""
    return (np.arange(self.ny) - self.ny // 2) * self.py


def _array(self, dtype=None, copy=None):
    """For numpy.asarray(field): the samples, without a copy unless the dtype asks for one."""
    samples = self.samples
    if dtype is not None and np.dtype(dtype) != samples.dtype:
        return samples.astype(dtype)
    return samples.copy() if copy else samples


def _array_interface(self):
    """The samples for readers of this protocol; the array itself stands for its memory, and so keeps it."""
    samples = self.samples
    return {**samples.__array_interface__, "data": samples}


def _repr(self):
    parts = [f"shape=({self.ny}, {self.nx})", f"pitch=({self.px:g}, {self.py:g})", f"wavelength={self.wavelength:g}"]
    if self.form != Form.AMPLITUDE:
        parts.append(f"form={self.form.name}")
    if tuple(self.window) != (0, self.ny, self.nx, 0):
        parts.append(f"window={tuple(self.window)}")
    if any(self.origin):
        parts.append(f"origin={tuple(self.origin)}")
    if tuple(self.normal) != (0.0, 0.0, 1.0):
        parts.append(f"normal={tuple(self.normal)}")
    return f"<lumora.Field {' '.join(parts)}>"


def _restore(samples, state):
    field = Field(samples)
    field.px, field.py, field.wavenumber, form, window, field.origin, normal = state
    field.form = Form(form)
    field._set_normal(normal)  # setting the property would round it once more
    field.window = window
    return field


def _reduce(self, protocol):
    state = (self.px, self.py, self.wavenumber, int(self.form), tuple(self.window), tuple(self.origin),
             tuple(self.normal))
    return _restore, (self.samples if self.size else self.shape, state)


def _bool(self):
    raise ValueError("the truth value of a field is ambiguous: compare its samples")


LOADERS = {".lm": "load_lm", ".lw": "load_lw", ".de": "load_de", ".ca": "load_ca", ".csv": "load_csv",
           ".bmp": "load_bmp", ".hbi": "load_hbi", ".npy": "load_npy"}
PICTURES = (".png", ".jpg", ".jpeg", ".pgm", ".ppm", ".pbm", ".pnm")


def load(path, pitch=8e-6, wavelength=532e-9, **how):
    """A field from a file, its kind taken from the name.

    Fields: .lm, .lw, .de, .ca, .csv, .npy. Pictures: .bmp and .hbi; by `load_picture`, which lays any size into the
    middle of a grid, .png, .jpg, .jpeg, .pgm, .ppm, .pbm and .pnm.

    Parameters
    ----------
    path : Path
        File name.
    pitch : float or (float, float)
        Metres, where the file has none (csv, npy, pictures). For a picture of a given width= one number.
    wavelength : float
        Metres, where the file has none (all but lm and lw).
    **how
        Further arguments of the loader, such as mode= and background= for .bmp, phase="random" for load_picture.

    Returns
    -------
    Field
        A new field.

    Raises
    ------
    LumoraError
        For files that cannot be read.
    ValueError
        For an ending that says nothing.
    """
    ending = os.path.splitext(os.fspath(path))[1]
    ending = (ending.decode() if isinstance(ending, bytes) else ending).lower()
    if ending in PICTURES:
        px, py = pitch if np.ndim(pitch) else (pitch, pitch)
        if px != py and {"width", "height"} & how.keys():
            raise ValueError("a picture of a given size has one pitch in x and y")
        field = load_picture(path, pitch=px, wavelength=wavelength, **how)
        field.py = py
        return field
    if ending not in LOADERS:
        known = ", ".join((*LOADERS, *PICTURES))
        raise ValueError(f"the kind of {path!r} is not known: it ends in none of {known}")
    field = Field((1, 1), pitch, wavelength)
    getattr(field, LOADERS[ending])(path, **how)
    return field


for _name, _operator in (("add", "+"), ("sub", "-"), ("mul", "*"), ("truediv", "/")):
    setattr(Field, f"__i{_name}__", _inplace(f"__i{_name}__", getattr(Field, f"__i{_name}__")))
    _made = _binary(f"__{_name}__", f"__i{_name}__")
    setattr(Field, f"__{_name}__", _made)
    if _name in ("add", "mul"):
        setattr(Field, f"__r{_name}__", _reflected(f"__r{_name}__", _made))
Field.__rsub__ = _rsub
Field.__array_priority__ = 1000.0  # numpy leaves array * field to the field
Field.__array__ = _array
Field.__array_interface__ = property(_array_interface)
Field.__getitem__ = lambda self, index: self.samples[index]
Field.__setitem__ = lambda self, index, value: self.samples.__setitem__(index, value)
Field.__len__ = lambda self: self.ny
Field.__bool__ = _bool
Field.__copy__ = lambda self: self.copy()
Field.__deepcopy__ = lambda self, memo: self.copy()
Field.__reduce_ex__ = _reduce
Field.__repr__ = _repr
Field._repr_png_ = lambda self: _picture.field_as_png(self)
Field.amplitude = property(_amplitude)
Field.intensity = property(_intensity)
Field.phase = property(_phase)
Field.complex = property(_complex)
Field.xs = property(_xs)
Field.ys = property(_ys)
