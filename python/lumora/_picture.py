"""Small pictures of fields for notebooks: hue is the phase, brightness the amplitude, as PNG."""
import struct
import zlib

import numpy as np

LONGEST = 512  # pixels along the longer side


def domain_colours(values, top=None):
    """Complex numbers as colours: uint8 of shape (ny, nx, 3).

    Parameters
    ----------
    values : complex array of shape (ny, nx)
        Not-a-numbers are grey.
    top : float, optional
        Amplitude of full brightness; the 99.5th percentile where it is left out.
    """
    amplitude = np.abs(values)
    finite = np.isfinite(amplitude)
    if top is None:
        top = np.percentile(amplitude[finite], 99.5) if finite.any() else 1.0
    if not top > 0:
        top = amplitude[finite].max(initial=0) or 1.0
    bright = np.clip(np.where(finite, amplitude, 0) / top, 0, 1) ** 0.7
    hue = np.angle(np.where(finite, values, 0)) / (2 * np.pi) % 1.0 * 3.0
    # Three cosines 120 degrees apart: cyclic, without the corners of the usual hue wheel.
    shift = np.array([0.0, 1.0, 2.0])
    rgb = 0.5 + 0.5 * np.cos(2 * np.pi / 3.0 * (hue[..., np.newaxis] - shift))
    rgb = (rgb * bright[..., np.newaxis]) * 255.0 + 0.5
    rgb[~finite] = 128.0
    return rgb.astype(np.uint8)


def png(rgb):
    """The bytes of a PNG file of uint8 pixels of shape (height, width, 3)."""
    height, width, _ = rgb.shape
    rows = np.zeros((height, 1 + 3 * width), np.uint8)  # each row behind its filter, 0
    rows[:, 1:] = rgb.reshape(height, 3 * width)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    head = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    pixels = zlib.compress(rows.tobytes(), 6)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def field_as_png(field):
    """The grid of a field, +y up, every n-th sample of large ones; None without samples."""
    if not field.size:
        return None
    step = max(1, -(-max(field.nx, field.ny) // LONGEST))
    samples = field.samples[::step, ::step]
    if int(field.form) & 2:
        samples = samples.real * np.exp(1j * samples.imag)
    return png(domain_colours(samples[::-1]))
