"""What the parameters of the Python interface mean and in which units they are, by name; names that are clearer in Python."""

# (C++ name, C++ type or None for any) -> Python name. Types are compared without const and &.
RENAMED = {
    ("d", "double"): "distance", ("d", "ScaledFftDescriptor"): "descriptor", ("d", "ShiftedFresnelPropDescriptor"): "descriptor",
    ("d", "SphericalWaveDescriptor"): "descriptor", ("amp", None): "amplitude", ("w", "double"): "radius",
    ("wx", None): "width_x", ("wy", None): "width_y", ("f", "double"): "focal_length", ("i1", None): "left", ("i2", None): "right",
    ("j1", None): "bottom", ("j2", None): "top", ("r", "LML_RECT"): "window", ("phi", None): "phase", ("p", "Vector"): "position",
    ("interpol", None): "interpol", ("lib", None): "engine", ("v", "Vector"): "vector", ("c", "Complex"): "value",
    ("src", None): "source", ("b", "Vector"): "second", ("c", "Vector"): "third", ("a", "Vector"): "first",
}

# Python name -> meaning, with its unit.
MEANING = {
    "distance": "Metres, of either sign; along the normal for propagations.",
    "dx": "Metres along x.", "dy": "Metres along y.",
    "px": "Sampling pitch in x, metres.", "py": "Sampling pitch in y, metres.",
    "nx": "Samples along x.", "ny": "Samples along y.", "n": "A count, or a power of two as the text says.",
    "wavelength": "Metres.", "amplitude": "In the unit of the samples.", "phase": "Radians.", "intensity": "Square of the unit of the samples.",
    "width_x": "Metres along x.", "width_y": "Metres along y.", "radius": "Metres.", "focal_length": "Metres.",
    "order_x": "Exponent: 2 for a Gaussian.", "order_y": "Exponent; see the text.", "order": "Exponent: 2 for a Gaussian.",
    "i": "Column, from 0.", "j": "Row, from 0; rows count upwards with y.", "x": "Metres.", "y": "Metres.", "z": "Metres.",
    "u": "Along x: metres, in a spectrum cycles per metre.", "v": "Along y: metres, in a spectrum cycles per metre.",
    "x1": "Metres (float) or a column (int).", "x2": "Metres (float) or a column (int).",
    "y1": "Metres (float) or a row (int).", "y2": "Metres (float) or a row (int).",
    "x3": "Metres (float) or a column (int).", "y3": "Metres (float) or a row (int).",
    "left": "First column.", "right": "One past the last column.", "bottom": "First row.", "top": "One past the last row.",
    "window": "Window or (left, top, right, bottom) in samples; for point sources a WindowFunc.",
    "source": "The other field; it is only read.", "other": "The other object; it is only read unless the text says so.",
    "target": "Its amplitudes are asked for.", "reference": "Reference of the comparison, or the reference amplitude (0: the largest).",
    "interpol": "Kernel: an Interpol, its name or its number.", "kernel": "Points of the cubic: 4, 6, 8, or 9 for the table.",
    "path": "File name.", "index": "Number of the part, row or column, from 0.", "ix": "Segment along x, from 0.", "iy": "Segment along y, from 0.",
    "mode": "What the picture shows: a Mode, its name or its number.", "gradation": "Grey or rainbow.", "bar": "Width of the scale in pixels.",
    "min": "Value shown black.", "max": "Value shown white.", "background": "Sample around the picture or the window.",
    "rotation": "Turns source coordinates into destination coordinates.", "jacobian": "Weight with the change of the frequency element.",
    "angle": "Radians.", "angle_x": "Radians.", "angle_y": "Radians.", "direction": "Direction of the wave, of any length.",
    "position": "Global coordinates in metres.", "cos_a": "Direction cosine to the x axis.", "cos_b": "Direction cosine to the y axis.",
    "precision": "The spectrum is taken on a grid 2**precision times larger.", "levels": "Number of levels.",
    "epsilon": "In level steps, 0 to 0.5.", "sign": "-1 to the spectrum, 1 back; unscaled.", "descriptor": "Made for this transform.",
    "value": "The new value.", "scale": "Complex factor of the reference.", "row": "Row, from 0.", "axis": "Axis.X or Axis.Y.",
    "points": "Points in metres.", "table": "TrigTable, or its number of bits.", "bins": "Number of bins.", "tolerance": "Metres.",
    "count": "How many.", "a": "Parameter along x.", "b": "Parameter along y.", "radians": "Angle in radians.",
    "revolutions": "Angle in whole turns.", "field": "Field whose size counts.", "source_px": "Pitch of the source in x, metres.",
    "source_py": "Pitch of the source in y, metres.", "vector": "Wavevector, radians per metre.", "carrier": "Cycles per metre.",
    "plane": "A plane.", "line": "A line.", "point": "Metres.", "matrix": "A matrix.", "dest": "Receives the result.", "ref_plane": "Receives the result.",
    "engine": "FftLib.SPLIT_RADIX or FftLib.FAST.", "dynamic": "The flag.", "code": "An ErrorCode.", "level": "Lines of the banner.", "on": "The flag.",
    "measure": "A FocusMeasure, its name or its number.",
    "first": "Metres or a direction.", "second": "Metres or a direction.", "third": "Metres.", "normal": "Of any length.", "segment": "A segment.", "shift": "Metres.", "factor": "A factor.",
}
