"""Pictures: what stands on the axes and in the pixels; the tutorials, each run as a user would."""
import io
import pathlib
import subprocess
import sys

import matplotlib.image
import matplotlib.pyplot as plt
import numpy as np
import pytest

import lumora

TUTORIALS = pathlib.Path(__file__).resolve().parent.parent / "tutorials"


@pytest.fixture
def field():
    f = lumora.Field((64, 128), (8e-6, 4e-6), 500e-9).set_gaussian(1e-4)
    f.window = (32, 48, 96, 16)
    yield f
    plt.close("all")


def test_axes_colours_and_clipping(field):
    image = lumora.plot.amplitude(field)
    assert np.allclose(image.get_extent(), (-64.5 * 8e-3, 63.5 * 8e-3, -32.5 * 4e-3,
                                            31.5 * 4e-3)) and image.origin == "lower"
    assert image.axes.get_xlabel() == "x (mm)" and image.bar.ax.get_ylabel() == "amplitude"
    field.samples[0, 0] = 1e6  # one hot sample does not make the picture black
    assert lumora.plot.amplitude(field).get_clim()[1] < 2
    field.samples[0, 0] = np.nan
    image = lumora.plot.intensity(field, plt.figure().gca(), region="window", log=True, vmin=-20, cmap="gray")
    assert image.get_clim() == (-20, 0) and image.get_cmap().name == "gray" and image.get_array().shape == (32, 64)
    field.clear()
    lumora.plot.intensity(field, log=True)
    lumora.plot.phase(field)
    lumora.plot.complex(field)


def test_phase_is_cyclic_and_masked(field):
    field.samples[20, 30] *= -1
    image = lumora.plot.phase(field, mask=0.01)
    values = image.get_array()
    assert image.get_clim() == pytest.approx((-np.pi, np.pi)) and values.mask[0, 0] and not values.mask[32, 64]
    colours = image.get_cmap()([0.0, 1.0])
    assert np.abs(colours[0] - colours[1]).max() < 0.05
    with pytest.raises(ValueError):
        lumora.plot.phase(field, unit="degrees")


@pytest.mark.parametrize("unit,label,edge", [("cycles/mm", "u (cycles/mm)", 62.5), ("degrees", "angle in x (degrees)",
        np.degrees(np.arcsin(0.03125)))])
def test_spectra(field, unit, label, edge):
    image = lumora.plot.spectrum(field, unit=unit)
    assert image.axes.get_xlabel() == label and image.axes.get_xlim()[0] == pytest.approx(-edge, rel=0.02)
    assert not field.is_spectrum()


@pytest.mark.parametrize("where", [dict(row=30), dict(column=70), dict()])
def test_profiles(field, where):
    line = lumora.plot.profile(field, quantity="amplitude", color="red", **where)
    expected = field.amplitude[:, 70] if "column" in where else field.amplitude[where.get("row", 32)]
    assert np.array_equal(line.get_ydata(), expected) and line.get_color() == "red"
    assert np.allclose(line.get_xdata(), (field.ys if "column" in where else field.xs) * 1e3)


def test_picture_in_a_notebook(field):
    field.samples[40, 30], field.samples[40, 31] = 1, -1
    pixels = matplotlib.image.imread(io.BytesIO(field._repr_png_()))
    assert pixels.shape[:2] == (64, 128) and pixels[23, 64].sum() > pixels[23, 3].sum()  # +y is up
    assert np.abs(pixels[23, 30] - pixels[23, 31]).max() > 0.4  # opposite phases, unlike colours
    large = lumora.Field((2048, 1024))
    assert matplotlib.image.imread(io.BytesIO(large._repr_png_())).shape[:2] == (512, 256)
    assert lumora.Field((0, 4))._repr_png_() is None and "POLAR" in repr(field.to_polar())


@pytest.mark.parametrize("name,says", [
    ("first_hologram", r"correlation with the slide 0\.[7-9]"), ("choosing_a_propagator", "done: "),
    ("phase_map", r"height of the bump 1\.[45]"), ("point_cloud_on_device", r"of the points (?:0\.9|1\.0)"),
    ("phase_retrieval", "after 40 iterations"), ("larger_than_memory", "times as bright")])
def test_tutorials_run_and_draw(name, says, tmp_path):
    done = subprocess.run([sys.executable, TUTORIALS / f"{name}.py", "--size", "256", "--out", tmp_path],
                          capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    import re

    assert re.search(says, done.stdout), done.stdout
    picture = matplotlib.image.imread(tmp_path / f"{name}.png")
    assert picture.shape[0] > 300 and picture.std() > 0.05
