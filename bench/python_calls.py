#!/usr/bin/env python3
"""What Python costs: asm_prop beside the C++ call and the usual scipy.fft program, small members, copies.

    cmake --preset release -DLML_BUILD_PYTHON=ON -DLML_BUILD_BENCH=ON -B build/bench
    PYTHONPATH=build/bench/python python3 bench/python_calls.py build/bench/bench/libpython_rival.so [--size N]

All ways take turns in one process; minima count, of wall time and of the processor time of all threads. Results are
verified before anything is printed. Processor time is the steadier figure on a machine that does other things too.
"""
import argparse
import ctypes
import time
import timeit
import tracemalloc

import numpy as np
import scipy.fft

import lumora

PITCH, WAVELENGTH, DISTANCE = 8e-6, 532e-9, 0.05


def scipy_program(samples, threads):
    """The angular spectrum as it is usually written: the transfer function computed on each call."""
    ny, nx = samples.shape
    u, v = np.meshgrid(scipy.fft.fftfreq(nx, PITCH), scipy.fft.fftfreq(ny, PITCH))
    transfer = np.exp(2j * np.pi * DISTANCE * np.sqrt(1 / WAVELENGTH**2 - u**2 - v**2))
    return scipy.fft.ifft2(scipy.fft.fft2(samples, workers=threads) * transfer, workers=threads)


def timed(call):
    wall, cpu = time.perf_counter(), time.process_time()
    call()
    return time.perf_counter() - wall, time.process_time() - cpu


def propagation(rival, n, rounds, threads):
    start = lumora.Field((n, n), PITCH, WAVELENGTH).set_gaussian(n * PITCH / 8)
    field, theirs = start.copy(), start.copy().samples
    expected = scipy_program(start.samples, threads)
    field.asm_prop(DISTANCE)
    error = np.linalg.norm(field.samples - expected) / np.linalg.norm(expected)
    assert error < 1e-5, error
    best = {"python": [9e9, 9e9], "C++": [9e9, 9e9], "scipy": [9e9, 9e9]}

    def cpp():
        wall, cpu = ctypes.c_double(), ctypes.c_double()
        rival.AsmPropSeconds(ctypes.c_void_p(theirs.ctypes.data), n, ctypes.c_double(PITCH),
                             ctypes.c_double(WAVELENGTH),
                             ctypes.c_double(DISTANCE), threads, ctypes.byref(wall), ctypes.byref(cpu))
        return wall.value, cpu.value

    ways = [("python", lambda: timed(lambda: field.asm_prop(DISTANCE))), ("C++", cpp)]
    with lumora.threads(threads):
        for at in range(rounds):
            for name, way in ways if at % 2 else reversed(ways):
                best[name] = [min(a, b) for a, b in zip(best[name], way())]
            if at % 4 == 0:
                best["scipy"] = [min(a, b) for a, b in zip(best["scipy"], timed(lambda: scipy_program(start.samples,
                        threads)))]
    for kind, name in ((0, "wall"), (1, "cpu")):
        python, cpp_time, usual = (best[w][kind] for w in ("python", "C++", "scipy"))
        print(f"asm_prop {n}^2, {threads} threads, {name}: python {python * 1e3:.2f} ms, C++ {cpp_time * 1e3:.2f} ms "
              f"(ratio {python / cpp_time:.3f}), scipy {usual * 1e3:.0f} ms (ratio {usual / python:.1f})")


def small_calls():
    field = lumora.Field((64, 64)).set_gaussian(1e-4)
    for text in ("field.get_amplitude(3, 4)", "field.pixel(3, 4)", "field.width()", "field.px", "field.x(3)",
                 "field.is_spectrum()",
                 "field.set_window_max()", "field.samples"):
        best = min(timeit.repeat(text, number=20000, repeat=15, globals={"field": field})) / 20000
        print(f"{text:28s} {best * 1e6:.2f} us")


def copies(n):
    array = np.zeros((n, n), np.complex64)

    def resident():
        with open("/proc/self/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * 4096

    field = lumora.Field(array, PITCH, WAVELENGTH).set_gaussian(1e-3)
    field.asm_prop(DISTANCE)
    before = resident()
    tracemalloc.start()
    view = np.asarray(field)
    field.asm_prop(DISTANCE).normalize()
    field *= 2.0
    assert view.ctypes.data == array.ctypes.data == field.samples.ctypes.data
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    print(f"{n}^2 samples of {array.nbytes >> 20} MiB: views and calls take {peak / 1024:.0f} KiB of Python's memory, "
          f"{(resident() - before) / 2**20:.1f} MiB of the process's")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("rival", help="libpython_rival.so")
    parser.add_argument("--size", type=int, default=2048)
    parser.add_argument("--rounds", type=int, default=40)
    options = parser.parse_args()
    rival = ctypes.CDLL(options.rival)
    lumora.set_progress(None)
    for threads in (1, 2):
        propagation(rival, options.size, options.rounds, threads)
    small_calls()
    copies(options.size)


if __name__ == "__main__":
    main()
