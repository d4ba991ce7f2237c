#!/usr/bin/env python3
"""The rival of large_fields: the same propagation by numpy.memmap and scipy.fft, rows and columns in blocks.

    large_fields --size 4096 --keep 1 --folder F
    large_rival.py F/large_bench_from.lm --memory 32 --threads 1 --distance 0.01

Reads a segmented LM file, keeps the spectrum in a scratch file, writes raw samples beside it. Blocks of rows, then blocks of
columns, then blocks of rows, each as large as the memory allows. Prints wall and processor time and the peak memory."""
import argparse
import os
import resource
import struct
import time

import numpy as np
import scipy.fft


def segments(path):
    """Wavelength, pitches, sizes of a segment, and the positions of the segments by (row, column)."""
    with open(path, "rb") as f:
        head = f.read(12)
        assert head[:2] == b"LM"
        (record,) = struct.unpack("<q", head[4:])
        f.seek(record)
        _, common, sx, sy = struct.unpack("<HqHH", f.read(14))
        f.seek(12)
        table = struct.unpack("<%dq" % (sx * sy), f.read(8 * sx * sy))
        f.seek(common)
        _, _, _, wavelength, nx, ny, px, py = struct.unpack("<Hqqdiidd", f.read(50))
    return wavelength, px, py, nx, ny, np.array(table).reshape(sy, sx)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("source")
    parser.add_argument("--memory", type=int, default=32)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--distance", type=float, default=0.01)
    a = parser.parse_args()
    wavelength, px, py, nx, ny, table = segments(a.source)
    height, width = table.shape[0] * ny, table.shape[1] * nx
    folder = os.path.dirname(a.source) or "."
    scratch, result = os.path.join(folder, "rival.scratch"), os.path.join(folder, "rival.raw")
    wall, cpu = time.perf_counter(), time.process_time()
    spectrum = np.memmap(scratch, np.complex64, "w+", shape=(height, width))
    out = np.memmap(result, np.complex64, "w+", shape=(height, width))
    # scipy.fft makes a new array: two blocks, and the factors beside them.
    rows = max(1, (a.memory << 20) // (3 * 8 * width))
    columns = max(1, (a.memory << 20) // (5 * 8 * height))
    parts = [[np.memmap(a.source, np.complex64, "r", offset=int(at), shape=(ny, nx)) for at in line] for line in table]
    for y in range(0, height, rows):
        block = np.empty((min(rows, height - y), width), np.complex64)
        for j in range(block.shape[0]):
            for s, part in enumerate(parts[(y + j) // ny]):
                block[j, s * nx:(s + 1) * nx] = part[(y + j) % ny]
        spectrum[y:y + block.shape[0]] = scipy.fft.fft(block, axis=1, workers=a.threads, overwrite_x=True)
    u = np.fft.fftfreq(width, px)
    v = np.fft.fftfreq(height, py)
    limit_u = 1 / np.sqrt((2 * a.distance / (width * px)) ** 2 + 1) / wavelength
    limit_v = 1 / np.sqrt((2 * a.distance / (height * py)) ** 2 + 1) / wavelength
    for x in range(0, width, columns):
        part = slice(x, min(x + columns, width))
        block = scipy.fft.fft(np.ascontiguousarray(spectrum[:, part]), axis=0, workers=a.threads, overwrite_x=True)
        w = np.maximum(wavelength ** -2 - u[None, part] ** 2 - v[:, None] ** 2, 0)
        block *= np.exp(2j * np.pi * a.distance * np.sqrt(w)).astype(np.complex64)
        block[np.abs(v) > limit_v] = 0
        block[:, np.abs(u[part]) > limit_u] = 0
        spectrum[:, part] = scipy.fft.ifft(block, axis=0, workers=a.threads, overwrite_x=True)
    for y in range(0, height, rows):
        out[y:y + rows] = scipy.fft.ifft(spectrum[y:y + rows], axis=1, workers=a.threads)
    out.flush()
    print("numpy.memmap, scipy.fft %8.3f s wall %8.3f s processor, peak %.0f MiB (mapped files count)" %
          (time.perf_counter() - wall, time.process_time() - cpu,
           resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024))
    os.remove(scratch)
    os.remove(result)


if __name__ == "__main__":
    main()
