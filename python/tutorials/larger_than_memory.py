#!/usr/bin/env python3
"""A field larger than memory: a segmented file, filled in parts, propagated from file to file, seen in parts."""
import matplotlib.pyplot as plt
import numpy as np

import lumora
import tools

options = tools.arguments(__doc__, 4096)
n, segments, pitch, wavelength, distance = options.size, 4, 2e-6, 532e-9, 0.02
source, destination = options.out / "source.lm", options.out / "destination.lm"
budget = max(n * n * 8 // 4, 8 << 20)  # bytes that the propagation may take: a quarter of the field

# 1. A grid of segments on disk. Each is made and written by itself: a zone plate with some rings left out.
part = n // segments
like = lumora.Field((1, 1), pitch, wavelength)
with lumora.SegmentedField.create(source, like, segments, segments, part, part) as big:
    for iy in range(segments):
        for ix in range(segments):
            x = (np.arange(part) + ix * part - n // 2) * pitch
            y = (np.arange(part) + iy * part - n // 2) * pitch
            r2 = x[None, :] ** 2 + y[:, None] ** 2
            opened = np.cos(np.pi * r2 / (wavelength * distance)) > 0
            big[iy * part:(iy + 1) * part, ix * part:(ix + 1) * part] = opened & (r2 < (0.45 * n * pitch) ** 2)
    print(f"{source}: {big.shape[0]} by {big.shape[1]} samples, {big.nx * big.ny * 8 / 2**20:.0f} MiB")

# 2. The propagation, with progress and Ctrl-C; what it took stands in the report.
report = lumora.large_asm_prop(source, destination, distance, memory=budget)
print(report)

# 3. What came of it: figures of one pass, a small picture of the whole, a rectangle about the focus.
measures = lumora.large_measure(destination)
print(f"the focus is {measures.amplitude_max ** 2:.0f} times as bright as the light that came")
overview = lumora.large_preview(destination, 256, 256)
side = min(128, n)
with lumora.SegmentedField(destination) as big:
    focus = big.get(measures.x_max - side // 2, measures.y_max - side // 2, side, side)

figure, axes = plt.subplots(1, 3, figsize=(16, 4.4), layout="constrained")
lumora.plot.intensity(overview, axes[0], log=True)
axes[0].set_title("the whole, as large_preview shows it")
lumora.plot.intensity(focus, axes[1], log=True)
axes[1].set_title("about the focus")
lumora.plot.profile(focus, axes[2])
axes[2].set_title("through the focus")
tools.save(figure, options, "larger_than_memory")
