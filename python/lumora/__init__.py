"""Computer holography and scalar wave optics: sampled fields, propagation, point sources, files.

A `Field` is a sampled monochromatic field on a plane in space. Its members carry it to other planes, make it from
shapes and point sources, measure it and keep it in files; ``field.samples`` is a numpy array over its samples,
without a copy.

    import lumora
    field = lumora.Field((512, 512), pitch=8e-6, wavelength=632.8e-9)
    field.set_rect(1e-3, 0.5e-3)
    field.asm_prop(0.15).normalize()
    lumora.plot.intensity(field)

Lengths are metres, angles radians. The library uses all processors; ``with lumora.threads(4):`` says otherwise.
"""
import contextlib as _contextlib
import os as _os

from . import _core
from ._core import *  # noqa: F401,F403
from ._errors import LumoraError, LumoraWarning
from ._field import load
from ._progress import set_progress

__version__ = ".".join(str(n) for n in (_core.major_version(), _core.minor_version(), _core.patch_number()))


@_contextlib.contextmanager
def threads(n=None):
    """A block in which the library uses n threads.

    Parameters
    ----------
    n : int, optional
        1 to 1024; all processors where it is left out.
    """
    before = _core.num_threads()
    _core.set_num_threads(*([] if n is None else [n]))
    try:
        yield
    finally:
        _core.set_num_threads(before)


@_contextlib.contextmanager
def save_whole(path):
    """Replaces a file whole or not at all: ``with save_whole("a.lm") as name: field.save_as_lm(name)``.

    Parameters
    ----------
    path : Path
        The file. It stays as it was when the block ends in an exception.
    """
    file = _core.WholeFile(path)
    yield file.path
    file.commit()


@_contextlib.contextmanager
def update_whole(path):
    """As save_whole, on a copy of the file: for savers of parts and segments.

    Parameters
    ----------
    path : Path
        The file.
    """
    file = _core.WholeFile(path, True)
    yield file.path
    file.commit()


def __getattr__(name):
    if name == "plot":  # matplotlib is loaded by those who draw
        import importlib

        return importlib.import_module(".plot", __name__)
    raise AttributeError(f"module 'lumora' has no attribute {name!r}")


for _thing in vars(_core).values():
    if isinstance(_thing, type):
        _thing.__module__ = "lumora"
_asked = _os.environ.get("OMP_NUM_THREADS", "")
_core.set_num_threads(int(_asked) if _asked.isdigit() and int(_asked) > 0 else len(_os.sched_getaffinity(0)))
_os.register_at_fork(after_in_child=_core._after_fork)
set_progress()
