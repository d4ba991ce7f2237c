"""The pictures component, and the passes over large files, beside what numpy and the members say."""
import io

import matplotlib.image
import numpy as np
import pytest

import lumora


@pytest.fixture
def field():
    f = lumora.Field((64, 128), (8e-6, 8e-6), 500e-9).clear()
    f.samples[50, 20] = 3j  # above the middle, at the left
    return f


@pytest.mark.parametrize("shape,kind", [((5, 7), "u1"), ((5, 7, 3), "u1"), ((5, 7, 4), "u2"), ((5, 7, 2), "u1")])
def test_pixels_go_through_files(shape, kind, tmp_path):
    pixels = np.random.default_rng(1).integers(0, 1 << (8 * int(kind[1])), shape).astype(kind)
    lumora.save_png(tmp_path / "a.png", pixels)
    image = lumora.read_picture(tmp_path / "a.png")
    assert (image.width, image.height, image.channels, image.bits) == (7, 5, (*shape, 1)[2], 8 * int(kind[1]))
    assert np.array_equal(image.pixels, pixels) and np.asarray(image).dtype == pixels.dtype
    assert lumora.encode_png(lumora.PictureImage(pixels)) == image._repr_png_()
    for wrong in (pixels.astype(float), pixels[:0], pixels.reshape(-1)):
        with pytest.raises((TypeError, ValueError)):
            lumora.PictureImage(wrong)


def test_a_field_as_a_picture(field, tmp_path):
    style = lumora.PictureStyle(quantity="intensity", colours="grey", min_size=0)
    pixels = lumora.render_picture(field, style).pixels
    assert pixels.shape == (64, 128, 3) and pixels[63 - 50, 20].min() == 255 and pixels.sum() == 3 * 255
    assert lumora.picture_range(field, style) == (0.0, 9.0)
    lumora.save_picture(tmp_path / "a.png", field, style, low=0, high=18.0, axes=True)
    shown = matplotlib.image.imread(tmp_path / "a.png")
    assert shown.shape[0] > 64 and style.axes is False and style.quantity == lumora.PictureQuantity.INTENSITY
    with pytest.raises(TypeError, match='PictureStyle has no "colour"'):
        lumora.render_picture(field, colour="grey")
    with pytest.raises(lumora.LumoraError, match="clip") as caught:
        lumora.render_picture(field, clip=0)
    assert caught.value.code == lumora.ErrorCode.PARAMETER
    both = lumora.join_pictures([pixels, lumora.render_picture(field, style)], 2, gap=3)
    assert (both.width, both.height) == (2 * 128 + 3, 64)
    decoded = matplotlib.image.imread(io.BytesIO(both._repr_png_()))
    assert np.array_equal(np.round(decoded[..., :3] * 255), both.pixels) and (both.pixels[:, 128:131] == 255).all()
    assert lumora.picture_colour("grey", 1.0) == (255, 255, 255)


def test_lines_of_a_field(field, tmp_path):
    line = lumora.make_profile_line(field, "x", 50, "intensity", "row 50")
    assert np.allclose(line.x, field.xs) and np.array_equal(line.y, field.intensity[50]) and line.name == "row 50"
    other = lumora.ProfileLine([1.0, np.nan, 3.0], markers=True)
    lumora.save_profile_plot(tmp_path / "a.png", [line, other], title="two", width=400, height=300)
    assert matplotlib.image.imread(tmp_path / "a.png").shape[:2] == (300, 400)
    with pytest.raises(lumora.LumoraError):
        lumora.render_profile_plot([lumora.ProfileLine([1.0, 2.0], [1.0])])


def test_a_picture_as_a_field(tmp_path):
    pixels = np.zeros((3, 5), np.uint8)
    pixels[0, 1] = 255  # top row
    lumora.save_png(tmp_path / "a.png", pixels)
    made = lumora.load(tmp_path / "a.png", pitch=(1e-6, 2e-6), wavelength=633e-9)
    assert made.pitch == (1e-6, 2e-6) and made.wavelength == pytest.approx(633e-9)
    assert np.array_equal(made.amplitude[made.window.slices], pixels[::-1] / 255) and made.samples.sum() == 1
    array = np.ones((8, 8), np.complex64)
    field = lumora.Field(array, 1e-6)
    assert lumora.load_picture(field, tmp_path / "a.png", phase="constant", phase_value=np.pi / 2) is field
    assert np.allclose(array[field.window.slices], 1j * pixels[::-1] / 255, atol=1e-7)  # in the array itself
    lumora.place_picture(field, pixels.T, value="amplitude", negative=True)
    assert field.amplitude[field.window.slices].sum() == 14
    before = array.copy()
    (tmp_path / "b.png").write_bytes((tmp_path / "a.png").read_bytes()[:40])
    with pytest.raises(lumora.LumoraError, match="b.png"):
        lumora.load_picture(field, tmp_path / "b.png")
    assert np.array_equal(array, before)


def test_passes_over_large_files(tmp_path):
    rng = np.random.default_rng(3)
    field = lumora.Field((rng.normal(size=(64, 128)) + 1j * rng.normal(size=(64, 128))).astype(np.complex64), 4e-6)
    source, other = tmp_path / "s.lm", tmp_path / "o.lm"
    with lumora.SegmentedField.create(source, field, 2, 4, 64, 16) as big:
        big.put(0, 0, field)
    measured = lumora.large_measure(source, memory=1)
    with lumora.threads(1):
        assert measured.square_sum == field.square_sum()
    assert measured.amplitude_max == pytest.approx(abs(field[measured.y_max, measured.x_max]))
    with lumora.SegmentedField.create(other, field, 1, 1, 128, 64) as big:
        big.put(0, 0, field * 2j)
    assert lumora.large_measure(source, other).scale == pytest.approx(-0.5j)
    preview = lumora.large_preview(source, 16, 8)
    blocks = field.intensity.reshape(8, 8, 16, 8).mean(axis=(1, 3))
    assert preview.px == pytest.approx(32e-6) and np.allclose(preview.samples.real, np.sqrt(blocks), rtol=1e-6)
    lumora.large_save_as_bmp(source, tmp_path / "a.bmp", "phase", gradation="rainbow")
    field.save_as_bmp_ex(tmp_path / "b.bmp", "phase", 0.0, 0.0, "rainbow", 0)
    assert (tmp_path / "a.bmp").read_bytes() == (tmp_path / "b.bmp").read_bytes()
    point = [[1e-5, 2e-5, -5e-3, 2.0, 0.5]]
    lumora.large_add_point_cloud(source, other, point)
    with lumora.SegmentedField(source) as before, lumora.SegmentedField(other) as after:
        expected = before.get_segment(1, 2).add_point_cloud(point)
        assert np.array_equal(after.get_segment(1, 2).samples, expected.samples)
    with pytest.raises(lumora.LumoraError):
        lumora.large_add_point_cloud(source, other, point, frame="local")
