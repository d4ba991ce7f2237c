#!/usr/bin/env python3
"""Phase retrieval in 20 lines: a phase that shows a picture in the focus of a lens."""
import matplotlib.pyplot as plt

import lumora
import tools

options = tools.arguments(__doc__, 512)
beam = lumora.Field((options.size,) * 2, 8e-6, 532e-9).set_gaussian(options.size * 8e-6 / 4)
picture = lumora.load_picture(beam.copy(), tools.DATA / "target.bmp", width=beam.width() / 2)  # in its middle
errors = []
beam.set_random_phase().replace_amplitude(lumora.Field(beam.shape).set_gaussian(options.size * 8e-6 / 4))
beam.retrieve_phase(picture, iterations=40, weighted=True, each=lambda step: errors.append(step.lit_error))
print(f"error {errors[0]:.3f} at first, {errors[-1]:.3f} after {len(errors)} iterations")

focus = beam.copy().fft(-1)
figure, axes = plt.subplots(1, 3, figsize=(16, 4.6), layout="constrained")
lumora.plot.phase(beam, axes[0], mask=0.05)
lumora.plot.amplitude(focus, axes[1], unit="cycles/mm")
axes[2].plot(errors)
axes[2].set(xlabel="iteration", ylabel="error where the picture is lit", ylim=(0, None))
for ax, title in zip(axes, ("the phase found", "amplitude in the focus", "")):
    ax.set_title(title)
tools.save(figure, options, "phase_retrieval")
