"""Calls: errors, progress, Ctrl-C, threads, processes, functions of Python inside operations."""
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
import warnings

import numpy as np
import pytest

import lumora


@pytest.fixture
def progress():
    """A handler that writes down what it is told."""
    told = []

    class Handler:
        answer = True

        def __call__(self, operation, done, total):
            told.append((operation, done, total))
            return self.answer

        def end(self):
            told.append("end")

    handler = Handler()
    handler.told = told
    lumora.set_progress(handler)
    yield handler
    lumora.set_progress(None)


def test_errors_say_what_to_change():
    field = lumora.Field((64, 64), 8e-6)
    with pytest.raises(lumora.LumoraError) as caught:
        field.shifted_asm_prop(lumora.Field((64, 64), 4e-6))
    error = caught.value
    assert isinstance(error, RuntimeError) and error.code == lumora.ErrorCode.PARAMETER
    assert error.function == "LumoraLib::Lumora::ShiftedAsmProp"
    assert error.message == "at least one parameter is different" and "ResamplingCopy" in str(error)
    assert "The pitch in x is 8 um in this field and 4 um in the other one." in str(error)
    again = pickle.loads(pickle.dumps(error))
    assert (again.code, str(again)) == (error.code, str(error))


def test_texts_are_utf8(tmp_path):
    """The message of the planes is Japanese; a name of a file is in the encoding of the file system."""
    a, b = lumora.Field((8, 8)), lumora.Field((8, 8))
    b.origin = (0, 0, 1)
    with pytest.raises(lumora.LumoraError) as caught:
        a.resampling_add(b, "nearest")
    assert any("\u3040" <= c <= "\u9fff" for c in caught.value.message)
    name = tmp_path / "Überfeld.lm"
    with pytest.raises(lumora.LumoraError, match="Überfeld"):
        lumora.load(name)
    with lumora.save_whole(name) as beside:
        a.save_as_lm(beside)
    assert name.exists() and lumora.load(os.fsencode(name)).shape == (8, 8)
    with pytest.raises(ValueError):
        a.save_as_lm("zero\0byte")


def test_progress_and_cancelling(progress):
    field = lumora.Field((512, 512)).set_gaussian(1e-3)
    field.retrieve_phase(lumora.Field((512, 512)).set_rect(1e-3, 1e-3), 6)
    assert progress.told[-1] == "end" and progress.told.count("end") == 1
    done = [t[1] for t in progress.told[:-1]]
    assert progress.told[0][0] == "LumoraLib::Lumora::RetrievePhase" and done == sorted(done)
    progress.answer = False
    time.sleep(0.06)  # the handler is asked 20 times a second at most
    with pytest.raises(lumora.LumoraError, match="cancelled"):
        field.asm_prop(0.1)


def test_exceptions_of_functions_pass(progress):
    field, target = lumora.Field((64, 64)).set_gaussian(1e-4), lumora.Field((64, 64)).set_rect(1e-4, 1e-4)
    before = field.amplitude
    with pytest.raises(ZeroDivisionError):
        field.retrieve_phase(target, each=lambda step: 1 / 0)
    assert np.allclose(field.amplitude, before, rtol=1e-5, atol=1e-7)
    kept = []

    def forward(work):
        kept.append(work.samples)  # outlives the call
        with pytest.raises(lumora.LumoraError, match="takes part in the operation"):
            field.clear()
        work.asm_prop(0.01)

    steps = []
    field.retrieve_phase(target, 3, forward=forward, back=lambda work: work.asm_prop(-0.01), each=steps.append)
    assert [s.iteration for s in steps][:3] == [0, 1, 2] and all(np.isfinite(k).all() for k in kept)
    planes = []
    assert field.propagate_stack([0.01, 0.02, 0.03], lambda plane, n: planes.append(plane) or n < 1) == 2
    assert np.array_equal(planes[1].samples, field.copy().asm_prop(0.02).samples)


def test_ctrl_c_ends_a_long_operation():
    field, target = lumora.Field((512, 512)).set_gaussian(1e-3), lumora.Field((512, 512)).set_rect(1e-3, 1e-3)
    timer = threading.Timer(0.2, lambda: os.kill(os.getpid(), signal.SIGINT))
    timer.start()
    started = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        field.retrieve_phase(target, 100000)
    assert time.monotonic() - started < 60
    field.asm_prop(0.1)  # the library goes on


def test_threads_are_serialised_and_the_gil_is_free():
    fields = [lumora.Field((256, 256)).set_gaussian(1e-3) for _ in range(4)]
    expected = fields[0].copy()
    for _ in range(20):
        expected.asm_prop(0.01)
    ticks, stop, errors = [0], threading.Event(), []

    def count():
        while not stop.is_set():
            ticks[0] += 1
            time.sleep(0.0005)

    def work(field):
        try:
            for _ in range(20):
                field.asm_prop(0.01)
                field.square_sum(), field.px, field.samples
        except BaseException as error:  # noqa: BLE001
            errors.append(error)

    counter = threading.Thread(target=count)
    counter.start()
    workers = [threading.Thread(target=work, args=(f,)) for f in fields]
    for thread in workers:
        thread.start()
    for thread in workers:
        thread.join()
    stop.set()
    counter.join()
    assert not errors and ticks[0] > 5
    assert all(np.array_equal(f.samples, expected.samples) for f in fields)
    with lumora.threads(1):
        assert lumora.num_threads() == 1
    with pytest.raises(lumora.LumoraError):
        with lumora.threads(0):
            pass


def test_forked_processes_work():
    """Teams of threads do not survive a fork; the child goes on with one thread."""
    with lumora.threads(2):
        expected = lumora.Field((256, 256)).set_gaussian(1e-3).asm_prop(0.01).square_sum()
        code = os.fork()
        if code == 0:
            value = lumora.Field((256, 256)).set_gaussian(1e-3).asm_prop(0.01).square_sum()
            os._exit(0 if abs(value - expected) < 1e-9 * expected else 1)
        for _ in range(600):
            pid, status = os.waitpid(code, os.WNOHANG)
            if pid:
                break
            time.sleep(0.05)
        else:
            os.kill(code, signal.SIGKILL)
            os.waitpid(code, 0)
    assert pid and status == 0


def test_mistakes_are_warnings():
    lumora.set_mistake_reports(True)
    try:
        with pytest.warns(lumora.LumoraWarning, match="Add|pitch|wavelength"):
            a = lumora.Field((8, 8))
            a += lumora.Field((8, 8), pitch=1e-6)
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            with pytest.raises(lumora.LumoraWarning):
                a += lumora.Field((8, 8), pitch=1e-6)
    finally:
        lumora.set_mistake_reports(False)


@pytest.mark.parametrize("tqdm", [True, False])
def test_a_bar_with_tqdm_and_without(tqdm):
    if tqdm:
        pytest.importorskip("tqdm")
    program = ("import lumora, sys; from lumora import _progress; _progress._interactive = lambda: True\n"
               f"_progress.DELAY = 0; sys.modules.update({{}} if {tqdm} else {{'tqdm': None, 'tqdm.auto': None}})\n"
               "lumora.set_progress(); f = lumora.Field((256, 256)).set_gaussian(1e-3)\n"
               "f.retrieve_phase(lumora.Field((256, 256)).set_rect(1e-3, 1e-3), 20)")
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert "RetrievePhase" in done.stderr and "%" in done.stderr


def test_point_clouds_and_files(tmp_path):
    points = np.random.default_rng(1).normal(size=(20, 5)) * 1e-4
    points[:, 2] -= 0.1
    lumora.save_point_cloud(tmp_path / "a.ply", points)
    assert np.array_equal(lumora.load_point_cloud(tmp_path / "a.ply"), points)
    plan = lumora.Field((64, 64)).plan_point_cloud(points[:, :3], method="direct")
    assert plan.method == lumora.CloudMethod.DIRECT and plan.points == 20
    with pytest.raises(ValueError, match="shape"):
        lumora.Field((8, 8)).add_point_cloud(points[:, :2])
    field = lumora.Field(np.random.default_rng(2).normal(size=(32, 64)).astype(np.complex64))
    lumora.create_file_seg_lm(tmp_path / "s.lm", 2, 1)
    field.save_as_seg_lm(tmp_path / "s.lm", 0, 0)
    other = lumora.Field((32, 64))
    assert other.load_seg_lm(tmp_path / "s.lm", 0, 0) is True and np.array_equal(other.samples, field.samples)
    assert other.load_seg_lm(tmp_path / "s.lm", 1, 0) is False and lumora.size_seg_lm(tmp_path / "s.lm") == (2, 2, 1)
    with lumora.SegmentedField(tmp_path / "s.lm", "update") as big:
        big[4:6, 60:70] = np.full((2, 10), 3j)
        assert big.shape == (32, 128) and (big[4:6, 60:70] == 3j).all() and big[3:4,
                10:12].tolist() == field.samples[3:4, 10:12].tolist()
        with pytest.raises(IndexError):
            big[0:4:2, 0:4]
    with pytest.raises(ValueError, match="closed"):
        big.has(0, 0)
    report = lumora.large_asm_prop(tmp_path / "s.lm", tmp_path / "d.lm", 0.01)
    whole = lumora.SegmentedField(tmp_path / "s.lm").get(0, 0, 128, 32).asm_prop(0.01)
    assert report.bytes_written > 0 and np.array_equal(lumora.SegmentedField(tmp_path / "d.lm")[0:32, 0:128],
                                                       whole.samples)
    np.save(tmp_path / "n.npy", np.ones((3, 5)))
    loaded = lumora.load(tmp_path / "n.npy")
    assert tuple(loaded.window) == (1, 3, 6, 0) and loaded.samples.sum() == 15


def test_the_adviser():
    source = lumora.Field((64, 64)).set_gaussian(5e-5)
    screen = lumora.Field((64, 64))
    screen.origin = (0, 0, 0.002)
    advice = lumora.advise(source, screen)
    assert advice.taken is not None and advice.taken.fits and advice.taken.name in str(advice)
    done = lumora.propagate_to(screen, source)
    again = lumora.Field((64, 64))
    again.origin = screen.origin
    lumora.follow_advice(again, source, advice.taken)
    assert np.array_equal(again.samples, screen.samples)
    assert done.way.name == advice.taken.name and done.done
    expected = source.copy().exact_asm_prop(0.002)
    assert np.linalg.norm(screen.samples - expected.samples) < 0.03 * np.linalg.norm(expected.samples)
    with pytest.raises(lumora.LumoraError):
        lumora.advise(source, lumora.Field((64, 64), wavelength=1e-6))
