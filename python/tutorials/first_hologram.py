#!/usr/bin/env python3
"""First hologram: a picture, its wave 15 cm away, a hologram with a tilted reference wave, and what it shows."""
import matplotlib.pyplot as plt
import numpy as np

import lumora
import tools

options = tools.arguments(__doc__, 1024)

# 1. The object: a slide in laser light, with dark surroundings: light that spreads does not come in again on the other
#    side. Lengths are metres.
slide = lumora.load_picture(tools.DATA / "target.bmp", width=options.size * 8e-6, pitch=8e-6, wavelength=632.8e-9, room=2)
print(slide)

# 2. Its wave at the place of the hologram.
distance = 0.15
wave = slide.copy().asm_prop(distance)
wave.normalize(1.0)

# 3. A reference wave, tilted so that the picture and its twin part; the hologram is the intensity of both together.
angle = 0.5 * np.arcsin(wave.wavelength / (2 * wave.px))
reference = wave.copy().set_plane_wave((np.sin(angle), 0, np.cos(angle)))
hologram = wave + reference
hologram.conv_to_intensity()

# 4. The same reference lights the hologram; the terms are apart in the spectrum, and the picture's is kept.
seen = hologram * reference
seen.fft(-1)
frequency = np.sin(angle) / wave.wavelength  # of the reference: half of it away the other terms begin
seen.samples[np.hypot(*np.meshgrid(seen.xs, seen.ys)) > frequency / 2] = 0
seen.fft(1)
seen /= seen.size
seen.asm_prop(-distance)
correlation = np.corrcoef(seen.amplitude.ravel(), slide.amplitude.ravel())[0, 1]
print(f"reconstruction: correlation with the slide {correlation:.3f}")

figure, axes = plt.subplots(2, 2, figsize=(12.5, 9.5), layout="constrained")
for ax, draw, title in (
        (axes[0, 0], lambda ax: lumora.plot.intensity(slide, ax), "the slide"),
        (axes[0, 1], lambda ax: lumora.plot.complex(wave, ax), "its wave at 15 cm: hue is the phase"),
        (axes[1, 0], lambda ax: lumora.plot.spectrum(hologram, ax, vmin=-110, vmax=-50),
         "spectrum of the hologram: three terms"),
        (axes[1, 1], lambda ax: lumora.plot.intensity(seen, ax), "reconstruction")):
    draw(ax)
    ax.set_title(title)
tools.save(figure, options, "first_hologram")
