"""Progress of long operations as a bar of tqdm, in terminals and notebooks."""
import sys

DELAY = 0.5  # seconds before a bar shows


def _interactive():
    if "ipykernel" in sys.modules:
        return True
    return sys.stderr is not None and hasattr(sys.stderr, "isatty") and sys.stderr.isatty()


class Bar:
    """One bar per operation: called with its name and its done and total units, ended by end()."""

    def __init__(self):
        from tqdm.auto import tqdm

        self._tqdm = tqdm
        self._bar = None

    def __call__(self, operation, done, total):
        if self._bar is None:
            self._bar = self._tqdm(total=total, desc=operation.rpartition("::")[2], delay=DELAY, leave=False,
                                   bar_format="{desc}: {percentage:3.0f}%|{bar}| {elapsed}<{remaining}")
        self._bar.update(done - self._bar.n)

    def end(self):
        if self._bar is not None:
            self._bar.close()
            self._bar = None


def set_progress(handler="auto"):
    """Says who is told of the progress of long operations.

    Ctrl-C ends them in any case: KeyboardInterrupt, the samples that were written undefined.

    Parameters
    ----------
    handler : callable, None or "auto"
        Called as handler(operation, done, total) at most 20 times a second, from the thread of the operation; False
        ends the operation in LumoraError ("cancelled"), an exception in that exception. It must not use a field of the
        running operation. A method ``end`` of the handler, if there is one, is called behind each operation that has
        told its progress. None: nobody. "auto", as at import: a bar where tqdm is installed and the error stream is a
        terminal or a notebook.
    """
    from . import _core

    if isinstance(handler, str):
        if handler != "auto":
            raise ValueError('handler is a callable, None or "auto"')
        handler = None
        if _interactive():
            try:
                handler = Bar()
            except ImportError:
                pass
    elif handler is not None and not callable(handler):
        raise TypeError("handler must be callable")
    _core._set_progress(handler, getattr(handler, "end", None))
