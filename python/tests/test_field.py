"""Fields and arrays: views, lifetimes, refusals, sizes, arithmetic, copies and pickles."""
import copy
import gc
import pickle
import weakref

import numpy as np
import pytest

import lumora


def random(shape, seed=1):
    r = np.random.default_rng(seed)
    return (r.normal(size=shape) + 1j * r.normal(size=shape)).astype(np.complex64)


def address(array):
    return array.ctypes.data


def test_samples_are_a_view_that_outlives_its_field():
    field = lumora.Field((64, 128)).set_rect(1e-4, 1e-4)
    view = field.samples
    assert view.shape == (64, 128) and view.dtype == np.complex64 and view.flags.writeable and not view.flags.owndata
    view[3, 5] = 7 - 2j
    assert field.pixel(5, 3) == 7 - 2j and field[3, 5] == 7 - 2j
    field.samples *= 2
    assert view[3, 5] == 14 - 4j and address(field.samples) == address(view) == address(np.asarray(field))
    expected = view.copy()
    del field
    gc.collect()
    lumora.Field((512, 512)).clear()  # would take the memory, were it free
    assert np.array_equal(view, expected)


def test_a_field_on_an_array_keeps_it():
    array = random((128, 64))
    expected, gone = array.copy(), weakref.ref(array)
    field = lumora.Field(array, pitch=(1e-6, 2e-6), wavelength=633e-9)
    assert address(field.samples) == address(array) and field.pitch == (1e-6, 2e-6)
    field.set_const_imag(0)
    assert np.array_equal(array, expected.real)
    del array
    gc.collect()
    assert gone() is not None and np.array_equal(field.samples, expected.real)
    del field
    gc.collect()
    assert gone() is None


@pytest.mark.parametrize("change", [lambda f: f.embed(1), lambda f: f.reduce_by_average(1), lambda f: f.replicate(1),
                                    lambda f: f.extract(1), lambda f: f.copy_data(lumora.Field((4, 4))),
                                    lambda f: f.dispose(),
                                    lambda f: (setattr(f, "nx", 0), f.init()), lambda f: f.load_npy("a.npy")])
def test_views_survive_changes_of_size(change, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    np.save("a.npy", random((8, 8)))
    array = random((64, 64))
    for field in (lumora.Field(array), lumora.Field(array, copy=True)):
        views = [field.samples, np.asarray(field)]
        change(field)
        assert all(np.array_equal(v, array) for v in views)


# Members on a field of its own, on one that shares its samples, and on an array: the same samples, in place.
MEMBERS = ["asm_prop(0.01)", "exact_asm_prop(0.01)", "fresnel_prop(0.1)", "fft(-1)", "shifted_asm_prop(other)",
           "shifted_asm_prop_add(other)",
           "shifted_fresnel_prop(far)", "rotate(other, lumora.RMatrix.rotation_y(0.01))", "resampling_add(far)",
           "conv_to_intensity()",
           "retrieve_phase(other, 2)", "raw_scaled_fft(0.01, 0.02)", "image_rotation(1)",
           "shift_zero_fill(8e-6, 8e-6)", "add_point_cloud([[0, 0, -0.1]])",
           "shifted_asm_prop_ex(small)", "shifted_fresnel_prop_ex(small)", "to_polar()", "encode_error_diffusion(4)",
           "rotate_y(0.01)"]


@pytest.mark.parametrize("member", MEMBERS)
def test_shared_samples_change_in_place(member):
    array = random((64, 64))
    names = {"lumora": lumora, "other": lumora.Field(random((64, 64), 2)), "small": lumora.Field(random((32, 32), 3)),
             "far": lumora.Field(random((64, 64), 4))}
    for name in ("other", "small", "far"):
        names[name].origin = (0, 0, 0 if "resampling" in member else -0.02)
    results = []
    for kind in ("own", "shared", "array"):
        field = lumora.Field(array.copy(), copy=kind != "array")
        view = field.samples if kind != "own" else None
        eval("field." + member, names, {"field": field})
        if view is not None:
            assert address(field.samples) == address(view)
        results.append((field.samples.copy(), field.pitch, field.form, tuple(field.origin)))
    for samples, *rest in results[1:]:
        assert np.array_equal(samples, results[0][0], equal_nan=True) and rest == list(results[0][1:])


READ_ONLY = random((8, 8))
READ_ONLY.flags.writeable = False
REFUSED = {"complex64, not": random((8, 8)).astype(complex), "C order": random((8, 8)).T,
           "gaps": random((8, 16))[:, ::2],
           "written": READ_ONLY, "powers of two": random((8, 9)),
           "aligned": np.frombuffer(bytearray(520), np.complex64, 64, 8).reshape(8, 8),
           "big": random((8, 8)).astype(">c8")}


@pytest.mark.parametrize("why", REFUSED)
@pytest.mark.filterwarnings("ignore::lumora.LumoraWarning")
def test_what_a_field_cannot_stand_on(why):
    array = REFUSED[why]
    if why == "aligned" and address(array) % 16 == 0:
        array = np.frombuffer(bytearray(528), np.complex64, 64, 4 * (address(array) % 8 == 0)).reshape(8, 8)
    before = array.copy()
    with pytest.raises(ValueError, match="complex64" if why == "big" else "powers of two" if why == "powers of two"
                       else why.split(",")[0]):
        lumora.Field(array, copy=False)
    field = lumora.Field(array)  # as a copy
    assert np.array_equal(field.samples[field.window.slices], array.astype(np.complex64))
    field.clear()
    assert np.array_equal(array, before)


@pytest.mark.parametrize("given,error", [(np.zeros((2, 2, 2)), ValueError), (np.zeros((0, 2)), ValueError),
                                         (np.array([["a"]]), TypeError),
                                         ((-1, 4), ValueError), (((1 << 30) + 1, 4), ValueError), (None, TypeError)])
def test_what_is_no_field(given, error):
    with pytest.raises(error):
        lumora.Field(given)


def test_sizes_are_raised():
    assert lumora.Field((1080, 1920)).shape == (2048, 2048) and lumora.Field(5).shape == (8, 8)
    array = np.arange(15.0).reshape(3, 5)
    with pytest.warns(lumora.LumoraWarning, match="3 by 5 samples stand in the middle of a grid of 4 by 8"):
        field = lumora.Field(array)
    assert tuple(field.window) == (1, 3, 6, 0) and field.samples.sum() == array.sum()
    assert np.array_equal(field.samples[field.window.slices], array)
    assert lumora.Field(np.ones(16)).shape == (1, 16)


def test_arithmetic_makes_new_fields():
    a, b = random((8, 8)), random((8, 8), 2)
    f, g = lumora.Field(a, copy=True), lumora.Field(b, copy=True)
    for got, expected in ((f + g, a + b), (f - g, a - b), (f * g, a * b), (f / g, a / b), (-f, -a), (2 * f, 2 * a),
                          (f * 2j, a * 2j),
                          (1 - f, 1 - a), (f / 4, a / 4), (f + b, a + b), (b * f, a * b),
                          (f - np.complex64(1j), a - 1j)):
        assert isinstance(got, lumora.Field) and np.allclose(got.samples, expected, rtol=1e-6)
        assert np.array_equal(f.samples, a)
    same = f
    f += b
    f *= 3
    assert same is f and np.allclose(f.samples, 3 * (a + b))
    assert np.allclose(np.abs(g), abs(b)) and np.allclose(g.amplitude, abs(b)) and np.allclose(g.phase, np.angle(b))
    g.to_polar()
    assert np.allclose(g.amplitude, abs(b), rtol=1e-6) and np.allclose(g.complex, b, atol=1e-6)


@pytest.mark.parametrize("again", [copy.copy, copy.deepcopy, lambda f: f.copy()] +
                         [lambda f, p=p: pickle.loads(pickle.dumps(f, p)) for p in (2, 5)])
def test_copies_and_pickles_are_whole(again):
    field = lumora.Field(random((16, 32)), (1e-6, 2e-6), 633e-9)
    field.origin, field.normal, field.window, field.form = (1, 2, 3), (0, 1, 1), (1, 9, 7, 2), "polar_spectrum"
    twin = again(field)
    assert np.array_equal(twin.samples, field.samples) and address(twin.samples) != address(field.samples)
    for name in ("pitch", "wavenumber", "form", "window"):
        assert getattr(twin, name) == getattr(field, name)
    assert tuple(twin.origin) == tuple(field.origin) and tuple(twin.normal) == tuple(field.normal)


def test_one_sample_at_a_time():
    field = lumora.Field(random((8, 16)))
    for i, j in ((16, 0), (0, 8), (-1, 0)):
        with pytest.raises(IndexError):
            field.get_amplitude(i, j)
        with pytest.raises(IndexError):
            field.set_pixel(i, j, 1)
    field.set_amplitude(3, 4, 2.0)
    assert field.get_amplitude(3, 4) == pytest.approx(abs(field.samples[4, 3])) == pytest.approx(2.0)
    field.nx = 1 << 20
    with pytest.raises(lumora.LumoraError):
        field.samples
    assert len(field.init().samples) == 8


def test_no_copy_of_the_samples():
    """128 MiB of samples: the views and a call take none of it again."""
    tracemalloc = pytest.importorskip("tracemalloc")
    array = np.zeros((4096, 4096), np.complex64)

    def resident():
        with open("/proc/self/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * 4096

    field = lumora.Field(array)
    field.clear()
    before = resident()
    tracemalloc.start()
    view = np.asarray(field)
    field.samples[:] = view
    field *= 2.0
    field.square_sum()
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert peak < 1 << 20 and resident() - before < 16 << 20
