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
truth = lumora.Field((light * np.exp(2j * np.pi * (index - 1) * height / wavelength)).astype(np.complex64), pitch, wavelength)
tilt = 0.6 * wavelength / (2 * pitch)
reference = truth.copy().set_plane_wave((tilt, tilt, np.sqrt(1 - 2 * tilt**2)))
camera = truth.copy().asm_prop(distance) + reference
picture = np.round(camera.intensity / camera.intensity.max() * 255).astype(np.uint8)

# 1. The recorded picture becomes a field; its spectrum has the object's term beside the middle.
field = lumora.Field(picture, pitch, wavelength)
recorded = field.copy()
field.fft(-1)
shown = field.copy()

# 2. The term that carries object times conjugate reference, cut out and moved to the middle.
columns = round(tilt / wavelength / field.px)
term = np.roll(field.samples, (columns, columns), axis=(0, 1))
width = int(columns * 0.7)
kept = np.zeros_like(term)
middle = slice(n // 2 - width, n // 2 + width)
kept[middle, middle] = term[middle, middle]
field.samples[:] = kept
field.fft(1)
field /= field.size

# 3. Where is the object sharp? The phase object is found by its edges; then back to its plane.
distances = -np.linspace(0.02, 0.04, 21)
sharp = distances[np.argmax(field.measure_stack(distances, "gradient"))]
field.asm_prop(-distance)
print(f"sharpest at {-sharp * 1e3:.1f} mm, the object stands at {distance * 1e3:.1f} mm")

# 4. Phase to thickness: rows, then columns unwrapped, the plate's level taken off.
phase = np.unwrap(np.unwrap(field.phase, axis=1), axis=0)
phase -= phase[n // 2, n // 2 - int(1.4 * radius / pitch)]
thickness = phase * wavelength / (2 * np.pi * (index - 1))
inside = x**2 + y**2 < (0.9 * radius) ** 2
print(f"height of the bump {thickness[inside].max() * 1e6:.2f} um (1.50), "
      f"deviation {np.std((thickness - height)[inside]) * 1e9:.0f} nm")

figure, axes = plt.subplots(2, 2, figsize=(11, 9.5))
lumora.plot.amplitude(recorded, axes[0, 0])
axes[0, 0].set_title("the camera's picture")
lumora.plot.intensity(shown, axes[0, 1], log=True)
axes[0, 1].set_title("its spectrum")
lumora.plot.phase(field, axes[1, 0])
axes[1, 0].set_title("phase in the object's plane")
axes[1, 1].plot(x[0] * 1e3, thickness[n // 2] * 1e6, label="measured")
axes[1, 1].plot(x[0] * 1e3, height[n // 2] * 1e6, "--", label="true")
axes[1, 1].set(xlabel="x (mm)", ylabel="thickness (um)", ylim=(-0.4, 2.0), title="through the middle")
axes[1, 1].legend()
tools.save(figure, options, "phase_map")
