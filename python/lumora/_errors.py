"""Failures of the library and its reports of likely mistakes."""


class LumoraError(RuntimeError):
    """A refused or failed operation.

    The text says what happened, with which values, and what to change.

    Attributes
    ----------
    code : int
        What went wrong, as in ``lumora.ErrorCode``.
    function : str
        Full C++ name of the operation.
    message : str
        Its detail, possibly empty.
    """

    def __init__(self, code, function, message, text=None):
        super().__init__(text or f"{function}: code {code}: {message}")
        self.code = code
        self.function = function
        self.message = message

    def __reduce__(self):
        return type(self), (self.code, self.function, self.message, str(self))


class LumoraWarning(UserWarning):
    """What is legal and almost surely a mistake, and sizes that were raised."""
