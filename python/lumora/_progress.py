"""Progress of long operations: a bar of tqdm in notebooks and terminals, a plain line in terminals without it."""
import sys
import time

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


class Line:
    """The same in one line of a terminal, for where tqdm is not installed."""

    def __init__(self):
        self._started = None
        self._shown = 0

    def __call__(self, operation, done, total):
        now = time.monotonic()
        if self._started is None:
            self._started = now
        took = now - self._started
        if took < DELAY:
            return
        rest = f"{took * (total / done - 1):.0f} s left" if done else ""
        text = f"{operation.rpartition('::')[2]}: {100 * done // total:3d}% {took:.0f} s, {rest}".rstrip(", ")
        sys.stderr.write("\r" + text.ljust(self._shown))
        sys.stderr.flush()
        self._shown = len(text)

    def end(self):
        if self._shown:
            sys.stderr.write("\r" + " " * self._shown + "\r")
            sys.stderr.flush()
        self._started, self._shown = None, 0


def set_progress(handler="auto"):
    """Says who is told of the progress of long operations.

    Ctrl-C ends them in any case: KeyboardInterrupt, the samples that were written undefined.

    Parameters
    ----------
    handler : callable, None or "auto"
        Called as handler(operation, done, total) at most 20 times a second, from the thread of the operation; False
        ends the operation in LumoraError ("cancelled"), an exception in that exception. It must not use a field of the
        running operation. A method ``end`` of the handler, if there is one, is called behind each operation that has
        told its progress. None: nobody. "auto", as at import: a bar in notebooks where tqdm is installed, and where the
        error stream is a terminal.
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
                handler = None if "ipykernel" in sys.modules else Line()
    elif handler is not None and not callable(handler):
        raise TypeError("handler must be callable")
    _core._set_progress(handler, getattr(handler, "end", None))
