#!/usr/bin/env python3
"""Digital holography: from a recorded off-axis hologram to a map of the thickness of the object."""
import matplotlib.pyplot as plt
import numpy as np

import lumora
import tools

options = tools.arguments(__doc__, 1024)
n, pitch, wavelength, distance = options.size, 3.45e-6, 633e-9, 0.03
index = 1.0 + 0.457  # of refraction, glass

# The camera's picture, here computed: a lens-shaped bump 1.5 um high on a plate, in a tilted reference wave, 8 bits.
x, y = np.meshgrid((np.arange(n) - n / 2) * pitch, (np.arange(n) - n / 2) * pitch)
radius = n * pitch / 6
height = 1.5e-6 * np.clip(1 - (x**2 + y**2) / radius**2, 0, None)
light = np.exp(-((x**2 + y**2) / (n * pitch / 3) ** 2) ** 4)  # the beam ends inside the picture
truth = lumora.Field((light * np.exp(2j * np.pi * (index - 1) * height / wavelength)).astype(np.complex64), pitch,
                     wavelength)
tilt = 0.6 * wavelength / (2 * pitch)
reference = truth.copy().set_plane_wave((tilt, tilt, np.sqrt(1 - 2 * tilt**2)))
camera = truth.copy().asm_prop(distance) + reference
picture = np.round(camera.intensity / camera.intensity.max() * 255).astype(np.uint8)

# 1. The recorded picture becomes a field, lit by the reference wave; its spectrum has the object in the middle.
recorded = lumora.Field(picture, pitch, wavelength)
field = recorded * reference
field.fft(-1)
shown = field.copy()

# 2. The other terms stand half the reference's frequency away and more: they are cut off.
u, v = np.meshgrid(field.xs, field.ys)
field.samples[np.hypot(u, v) > 0.5 * np.sqrt(2) * tilt / wavelength] = 0
field.fft(1)
field /= field.size

# 3. Where is the object? A phase object has the least contrast where it is sharp: looked for inside the beam.
lit = slice(n // 2 - n // 4, n // 2 + n // 4)
field.window = (lit.start, lit.stop, lit.stop, lit.start)
distances = -np.linspace(0.02, 0.04, 41)
sharp = distances[np.argmin(field.measure_stack(distances, "variance"))]
field.asm_prop(sharp)
print(f"sharp at {-sharp * 1e3:.1f} mm, the object stands at {distance * 1e3:.1f} mm")

# 4. Phase to thickness: unwrapped along rows, then along columns, the plate's level taken off.
phase = np.unwrap(np.unwrap(field.phase[lit, lit], axis=1), axis=0)
x, y, height = x[lit, lit], y[lit, lit], height[lit, lit]
plate = x**2 + y**2 > (1.2 * radius) ** 2
thickness = (phase - np.median(phase[plate])) * wavelength / (2 * np.pi * (index - 1))
inside = x**2 + y**2 < (0.9 * radius) ** 2
print(f"height of the bump {np.percentile(thickness[inside], 99.5) * 1e6:.2f} um (1.50), "
      f"deviation {np.std((thickness - height)[inside]) * 1e9:.1f} nm")

figure, axes = plt.subplots(2, 2, figsize=(12.5, 9.5), layout="constrained")
lumora.plot.amplitude(recorded, axes[0, 0])
axes[0, 0].set_title("the camera's picture")
lumora.plot.intensity(shown, axes[0, 1], log=True)
axes[0, 1].set_title("its spectrum")
lumora.plot.phase(field, axes[1, 0])
axes[1, 0].set_title("phase in the object's plane")
middle = len(x) // 2
axes[1, 1].plot(x[0] * 1e3, thickness[middle] * 1e6, label="measured")
axes[1, 1].plot(x[0] * 1e3, height[middle] * 1e6, "--", label="true")
axes[1, 1].set(xlabel="x (mm)", ylabel="thickness (um)", ylim=(-0.4, 2.0), title="through the middle")
axes[1, 1].legend()
tools.save(figure, options, "phase_map")
