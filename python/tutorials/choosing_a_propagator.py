#!/usr/bin/env python3
"""Choosing a propagator: what the adviser says from near to far, and what the wrong choice looks like."""
import matplotlib.pyplot as plt
import numpy as np

import lumora
import tools

options = tools.arguments(__doc__, 512)
n = options.size
slit = lumora.Field((n, n), pitch=8e-6, wavelength=532e-9).set_rect(n * 8e-6 / 4, n * 8e-6 / 8)

# 1. From near to far the light needs another member: the adviser predicts the error of each.
distances = np.geomspace(2e-3, 2.0, 7)
names = ["RawAsmProp", "AsmProp", "ExactAsmProp", "ShiftedFresnelProp"]
errors: dict[str, list[float]] = {name: [] for name in names}
for distance in distances:
    screen = lumora.Field((n, n), slit.pitch, slit.wavelength)
    screen.origin = (0, 0, distance)
    advice = lumora.advise(slit, screen)
    ways = {way.name: way for way in advice.ways}
    for name in names:
        way = ways.get(name)
        errors[name].append(way.error if way is not None and way.error >= 0 else np.nan)
    taken = advice.taken
    print(f"{distance * 1e3:7.1f} mm: {taken.name if taken else 'none: ' + ''.join(advice.remedies[:1])}")

# 2. The whole advice for one screen, and the propagation by it.
screen.origin = (0, 0, distances[4])
print(lumora.advise(slit, screen))
done = lumora.propagate_to(screen, slit, best_effort=True)
print("done:", "; ".join(done.done))

# 3. What wraps around: the same light by the plain angular spectrum.
wrong = slit.copy().raw_asm_prop(distances[4])

figure, axes = plt.subplots(1, 3, figsize=(16, 4.4), layout="constrained")
for name, values in errors.items():
    axes[0].loglog(distances * 1e3, np.maximum(values, 1e-7), marker="o", label=name)
axes[0].axhline(0.02, color="black", linewidth=0.8, linestyle=":")
axes[0].set(xlabel="distance (mm)", ylabel="predicted error", title="the dotted line is the tolerance",
            ylim=(1e-8, 20))
axes[0].legend(loc="lower center", ncols=2)
lumora.plot.intensity(screen, axes[1], log=True)
axes[1].set_title(f"{done.way.name}, {distances[4] * 1e3:.0f} mm")
lumora.plot.intensity(wrong, axes[2], log=True)
axes[2].set_title("raw_asm_prop: light comes in again")
tools.save(figure, options, "choosing_a_propagator")
