"""Pictures of fields on matplotlib axes: amplitude, intensity, phase, complex values, spectra, profiles.

Each function draws on `ax` (by default the current axes) and gives back what matplotlib made, which can be restyled:
titles, colours and labels are set on ``result.axes``, limits by ``result.set_clim``. Axes are in millimetres, those of
spectra in cycles per millimetre or in degrees; y points upwards.
"""
import matplotlib.pyplot as _plt
import numpy as _np

from ._picture import domain_colours as _domain_colours

CLIP = 99.9  # percentile of finite values at which brightness ends
DYNAMIC = 60.0  # decibels that logarithmic pictures show


def _values(field):
    samples = field.samples
    return samples.real * _np.exp(1j * samples.imag) if int(field.form) & 2 else samples


def _scales(field, unit):
    """(factor from coordinates to what is shown, labels)"""
    if not field.is_spectrum():
        if unit not in (None, "mm"):
            raise ValueError("a field in real space is shown in mm")
        return lambda v: v * 1e3, ("x (mm)", "y (mm)")
    if unit in (None, "cycles/mm"):
        return lambda v: v * 1e-3, ("u (cycles/mm)", "v (cycles/mm)")
    if unit == "degrees":
        sine = lambda v: _np.clip(v * field.wavelength, -1.0, 1.0)  # noqa: E731
        return lambda v: _np.degrees(_np.arcsin(sine(v))), ("angle in x (degrees)", "angle in y (degrees)")
    raise ValueError('a spectrum is shown in "cycles/mm" or "degrees"')


def _edges(field, unit, region):
    """Edges of the samples shown, labels, and the slices of the samples."""
    if region not in ("grid", "window"):
        raise ValueError('region is "grid" or "window"')
    rows, columns = (slice(0, field.ny), slice(0, field.nx)) if region == "grid" else field.window.slices
    shown, labels = _scales(field, unit)
    x = (_np.arange(columns.start, columns.stop + 1) - field.nx // 2 - 0.5) * field.px
    y = (_np.arange(rows.start, rows.stop + 1) - field.ny // 2 - 0.5) * field.py
    return shown(x), shown(y), labels, (rows, columns)


def _image(field, picture, ax, unit, region, label, colorbar, style):
    """Draws picture(values); it may complete the style."""
    ax = _plt.gca() if ax is None else ax
    x, y, (x_label, y_label), where = _edges(field, unit, region)
    values = picture(_values(field)[where])
    if unit == "degrees":  # the samples do not stand at equal angles
        image = ax.pcolormesh(x, y, values, **style)
        ax.set_aspect("equal")
    else:
        style.setdefault("interpolation", "nearest" if max(values.shape[:2]) <= 512 else "antialiased")
        image = ax.imshow(values, origin="lower", extent=(x[0], x[-1], y[0], y[-1]), **style)
    ax.set_xlabel(x_label)
    ax.set_ylabel(y_label)
    if colorbar and values.ndim == 2:
        bar = ax.figure.colorbar(image, ax=ax, fraction=0.046, pad=0.04)
        bar.set_label(label)
        image.bar = bar
    return image


def _top(values):
    finite = values[_np.isfinite(values)]
    if not finite.size:
        return 1.0
    top = _np.percentile(finite, CLIP)
    return float(top if top > 0 else finite.max() or 1.0)


def _brightness(values, style, log):
    if log:
        style.setdefault("vmin", -DYNAMIC)
        top = float(values[_np.isfinite(values)].max(initial=0.0)) or 1.0
        values = 10.0 * _np.log10(_np.maximum(values / top, 10.0 ** (style["vmin"] / 10)))
        style.setdefault("vmax", 0.0)
    else:
        style.setdefault("vmin", 0.0)
        style.setdefault("vmax", _top(values))
    return values


def amplitude(field, ax=None, *, unit=None, region="grid", colorbar=True, **style):
    """Draws the amplitudes, clipped at the 99.9th percentile.

    Parameters
    ----------
    field : Field
        In real space or a spectrum.
    ax : matplotlib.axes.Axes, optional
        The current axes where it is left out.
    unit : str, optional
        Of a spectrum's axes: "cycles/mm" or "degrees".
    region : str
        "grid" or "window".
    colorbar : bool
        With a scale beside it (``result.bar``).
    **style
        For imshow: cmap, vmin, vmax, norm and the like.

    Returns
    -------
    matplotlib.image.AxesImage
    """
    style.setdefault("cmap", "gray")
    return _image(field, lambda v: _brightness(_np.abs(v), style, False), ax, unit, region, "amplitude", colorbar,
                  style)


def intensity(field, ax=None, *, log=False, unit=None, region="grid", colorbar=True, **style):
    """Draws the intensities, clipped at the 99.9th percentile, or with log in decibels of the maximum, 60 dB deep.

    Parameters and results as those of `amplitude`.
    """
    style.setdefault("cmap", "inferno")
    label = "intensity (dB)" if log else "intensity"
    return _image(field, lambda v: _brightness(v.real**2 + v.imag**2, style, log), ax, unit, region, label, colorbar,
                  style)


def phase(field, ax=None, *, mask=0.01, unit=None, region="grid", colorbar=True, **style):
    """Draws the phases in radians in cyclic colours.

    Parameters
    ----------
    mask : float
        Samples with less than this part of the largest amplitude are left out.
    Others and results as those of `amplitude`.
    """
    style.setdefault("cmap", "twilight")
    style.setdefault("vmin", -_np.pi)
    style.setdefault("vmax", _np.pi)

    def picture(values):
        strength = _np.abs(values)
        return _np.ma.masked_where(~(strength > mask * strength.max(initial=0.0)), _np.angle(values))

    image = _image(field, picture, ax, unit, region, "phase (rad)", colorbar, style)
    if hasattr(image, "bar") and (image.norm.vmin, image.norm.vmax) == (-_np.pi, _np.pi):
        image.bar.set_ticks([-_np.pi, -_np.pi / 2, 0, _np.pi / 2, _np.pi], labels=["-π", "-π/2", "0", "π/2", "π"])
    return image


def complex(field, ax=None, *, top=None, region="grid", **style):  # noqa: A001
    """Draws complex values: the hue is the phase, the brightness the amplitude.

    Parameters
    ----------
    top : float, optional
        Amplitude of full brightness; the 99.5th percentile where it is left out.
    Others and results as those of `amplitude`; there is no colour bar.
    """
    return _image(field, lambda v: _domain_colours(v, top), ax, None, region, "", False, style)


def spectrum(field, ax=None, *, unit="cycles/mm", log=True, colorbar=True, **style):
    """Draws the intensity of the spectrum: of a spectrum as it is, of a field in real space by a transform of a copy.

    Parameters
    ----------
    unit : str
        "cycles/mm" or "degrees", the angles of propagation.
    log : bool
        In decibels of the maximum.
    Others and results as those of `amplitude`.
    """
    if not field.is_spectrum():
        field = field.copy().fft(-1)
    return intensity(field, ax, log=log, unit=unit, colorbar=colorbar, **style)


def profile(field, ax=None, *, row=None, column=None, quantity="intensity", unit=None, **style):
    """Draws a quantity along a row (the middle one where neither is given) or a column.

    Parameters
    ----------
    row, column : int, optional
        Index of the samples.
    quantity : str
        "amplitude", "intensity", "phase", "real" or "imag".
    unit : str, optional
        Of a spectrum's axis: "cycles/mm" or "degrees".
    **style
        For plot.

    Returns
    -------
    matplotlib.lines.Line2D
    """
    if row is not None and column is not None:
        raise ValueError("a profile runs along a row or along a column")
    quantities = {"amplitude": _np.abs, "intensity": lambda v: v.real**2 + v.imag**2, "phase": _np.angle,
                  "real": _np.real, "imag": _np.imag}
    if quantity not in quantities:
        raise ValueError(f"quantity is one of {', '.join(quantities)}")
    ax = _plt.gca() if ax is None else ax
    shown, labels = _scales(field, unit)
    values = _values(field)
    if column is None:
        along, values, label = field.xs, values[field.ny // 2 if row is None else row], labels[0]
    else:
        along, values, label = field.ys, values[:, column], labels[1]
    line, = ax.plot(shown(along), quantities[quantity](values), **style)
    ax.set_xlabel(label)
    ax.set_ylabel(quantity + (" (rad)" if quantity == "phase" else ""))
    return line

