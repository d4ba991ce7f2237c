"""The same samples as in C++, to the bit; and scipy in double precision as an oracle of the propagation."""
import os
import subprocess

import numpy as np
import pytest
import scipy.fft

import lumora

SIZE, PITCH, WAVELENGTH = (128, 256), (8e-6, 10e-6), 532e-9
POINTS = np.array([[0, 0, -0.1, 1, 0], [1e-4, 2e-4, -0.12, 0.5, 1], [-2e-4, 0, 0.09, 2, -1]])


def empty(pitch=PITCH):
    return lumora.Field(SIZE, pitch, WAVELENGTH)


def slit():
    return empty().set_rect(0.4e-3, 0.3e-3, 1.5)


def screen():
    field = empty((5e-6, 6e-6))
    field.origin = 1e-4, -2e-4, 0.1
    return field


def rotated():
    field = empty()
    field.rotate(slit(), lumora.RMatrix.rotation_y(0.01), "cubic", True)
    return field


CASES = {
    "asm_prop": lambda: slit().asm_prop(distance=0.05),
    "exact_asm_prop": lambda: slit().exact_asm_prop(-0.02),
    "fresnel_prop": lambda: slit().fresnel_prop(0.3),
    "shifted_fresnel_prop": lambda: screen().shifted_fresnel_prop(slit()),
    "rotate": rotated,
    "add_point_cloud": lambda: empty().add_point_cloud(POINTS),
    "encode_double_phase": lambda: empty().add_point_cloud(POINTS).encode_double_phase(),
    "embed": lambda: empty().add_spherical_wave((1e-4, 0, -0.1), 0.5, 2.0, "cosine").embed(1),
}


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    path = tmp_path_factory.mktemp("reference")
    subprocess.run([os.environ["LUMORA_REFERENCE"], str(path)], check=True)
    return path


@pytest.mark.parametrize("name", CASES)
def test_same_bits_as_in_cpp(name, folder):
    expected = lumora.load(folder / f"{name}.lm")
    field = CASES[name]()
    assert field.shape == expected.shape and field.pitch == expected.pitch and field.form == expected.form
    assert tuple(field.origin) == tuple(expected.origin) and tuple(field.normal) == tuple(expected.normal)
    assert np.array_equal(field.samples.view(np.uint32), expected.samples.view(np.uint32))


def test_propagation_against_scipy_in_double():
    """A band-limited field on a grid wide enough: the angular spectrum by scipy, without any band limit."""
    n, pitch, distance = 256, 8e-6, 0.01
    field = lumora.Field((n, n), pitch, WAVELENGTH).set_gaussian(2e-4)
    source = field.samples.astype(complex)
    u = scipy.fft.fftfreq(n, pitch)
    w = np.sqrt(1 / WAVELENGTH**2 - u[:, None] ** 2 - u[None, :] ** 2)
    expected = scipy.fft.ifft2(scipy.fft.fft2(source) * np.exp(2j * np.pi * distance * w))
    field.asm_prop(distance)
    assert np.linalg.norm(field.samples - expected) < 3e-7 * np.linalg.norm(expected)
