#!/usr/bin/env python3
"""A point cloud onto a device: a shell of points, its light, phases of 256 levels, and what an eye sees."""
import matplotlib.pyplot as plt
import numpy as np

import lumora
import tools

options = tools.arguments(__doc__, 1024)
n, pitch, wavelength = options.size, 8e-6, 532e-9
distance = 3 * n * pitch**2 / wavelength  # so far away that the light takes less than half of the device's band

# 1. The points of a file, turned, sized to the device and put behind it; random phases make a diffuse surface.
width = n * pitch
points = lumora.load_point_cloud(tools.DATA / "shell.ply", centre=True, turn=(0.3, 0.5, 0), random_phase=True)
extent = np.ptp(points[:, :3], axis=0).max()
points[:, :3] *= 0.6 * width / extent
points[:, 2] -= distance
print(f"{len(points)} points, {points[:, 2].min() * 1e3:.1f} to {points[:, 2].max() * 1e3:.1f} mm")

# 2. Their light on the device: the plan says beforehand what it takes.
light = lumora.Field((n, n), pitch, wavelength)
print(light.plan_point_cloud(points))
light.add_point_cloud(points)

# 3. What a phase-only device can show: double phases of 256 levels; the few brightest samples are cut.
device = light.copy().encode_double_phase(np.percentile(light.amplitude, 99)).hard_clip_phase(256)

# 4. The eye: a pinhole in the Fourier plane takes the device's checkerboard away; then back to the points.
seen = device.copy().fft(-1)
u, v = np.meshgrid(seen.xs, seen.ys)
seen.samples[np.maximum(abs(u), abs(v)) > 0.25 / pitch] = 0
seen.fft(1)
seen /= seen.size
seen.asm_prop(-distance)
expected = light.copy().asm_prop(-distance)
correlation = np.corrcoef(seen.amplitude.ravel(), expected.amplitude.ravel())[0, 1]
print(f"correlation with the light of the points {correlation:.2f}")

figure, axes = plt.subplots(1, 3, figsize=(16, 4.6), layout="constrained")
lumora.plot.phase(light, axes[0], mask=0)
axes[0].set_title("light on the device: phase")
lumora.plot.phase(device, axes[1])
axes[1].set_title("what the device shows")
lumora.plot.intensity(seen, axes[2], vmax=np.percentile(seen.intensity, 99.5), cmap="gray")
axes[2].set_title(f"what is seen {distance * 100:.0f} cm behind it")
tools.save(figure, options, "point_cloud_on_device")
