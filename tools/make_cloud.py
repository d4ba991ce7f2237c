#!/usr/bin/env python3
"""Writes examples/data/shell.ply: a sea shell as a cloud of points, seen from +z, for the example point_cloud_hologram.

A circle that grows and turns around an axis (a helico-spiral) is the surface; points lie on it evenly by area, those
that stand behind others or look away are left out. Each has the intensity of light from the upper left on a banded
shell. Coordinates in millimetres. The same file every time."""
import math
import pathlib
import random
import struct

POINTS = 30000  # visible ones
GROWTH = 1.45  # a turn
TURNS = 8.68  # where the mouth opens
TUBE = 0.60  # radius of the tube over its distance from the axis
RISE = 2.5  # of the tube along the axis, over the same
TILT = (math.radians(-68), math.radians(0), math.radians(22))  # about x, y, z
ACROSS = 20.0  # millimetres, the larger side of the picture
LIGHT = (-0.45, 0.6, 0.66)
GRID = (1400, 240)  # patches along and around the tube
CELL = 260  # of the depth picture, on each axis


def surface(turn, around):
    r = GROWTH ** (turn - TURNS)
    # Ribs: the tube's radius wavers along the shell.
    tube = TUBE * (1.0 + 0.045 * math.cos(2 * math.pi * 14 * turn) * (0.5 + 0.5 * math.cos(around)))
    d = r * (1.0 + tube * math.cos(around))
    a = 2 * math.pi * turn
    return d * math.cos(a), d * math.sin(a), r * (tube * math.sin(around) * 1.15 - RISE)


def turned(p):
    x, y, z = p
    for axis, angle in enumerate(TILT):
        c, s = math.cos(angle), math.sin(angle)
        if axis == 0:
            y, z = c * y - s * z, s * y + c * z
        elif axis == 1:
            x, z = c * x + s * z, c * z - s * x
        else:
            x, y = c * x - s * y, s * x + c * y
    return x, y, z


def main():
    columns, rows = GRID
    grid = [[turned(surface(0.6 + (TURNS - 0.6) * i / columns, 2 * math.pi * j / rows)) for j in range(rows + 1)]
            for i in range(columns + 1)]
    low = [min(p[k] for line in grid for p in line) for k in range(3)]
    high = [max(p[k] for line in grid for p in line) for k in range(3)]
    scale = ACROSS / max(high[0] - low[0], high[1] - low[1])
    grid = [[tuple((p[k] - 0.5 * (low[k] + high[k])) * scale for k in range(3)) for p in line] for line in grid]

    def cell(p):
        return (int((p[0] / ACROSS + 0.5) * (CELL - 1)), int((p[1] / ACROSS + 0.5) * (CELL - 1)))

    # The front of the shell: the largest z in each cell, of four places a patch.
    front = {}
    patches = []
    for i in range(columns):
        for j in range(rows):
            a, b, c, d = grid[i][j], grid[i + 1][j], grid[i][j + 1], grid[i + 1][j + 1]
            u = [b[k] - a[k] for k in range(3)]
            v = [c[k] - a[k] for k in range(3)]
            n = (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])
            area = math.sqrt(sum(x * x for x in n))
            patches.append((area, i, j, tuple(x / area for x in n)))
            for s in (0.25, 0.75):
                for t in (0.25, 0.75):
                    p = tuple(a[k] + s * u[k] + t * v[k] for k in range(3))
                    at = cell(p)
                    front[at] = max(front.get(at, -1e9), p[2])

    def sample(count, generator):
        total = sum(patch[0] for patch in patches)
        points = []
        n, end = 0, 0.0
        at = generator.random() / count * total
        for area, i, j, normal in patches:
            end += area
            while at < end:
                s, t = generator.random(), generator.random()
                a, b, c = grid[i][j], grid[i + 1][j], grid[i][j + 1]
                p = tuple(a[k] + s * (b[k] - a[k]) + t * (c[k] - a[k]) for k in range(3))
                # The wall is seen from outside, and from inside at the mouth.
                if (normal[2] > 0 or i > 0.98 * columns) and p[2] > front.get(cell(p), -1e9) - 0.012 * ACROSS * (0.2 + abs(normal[2])):
                    points.append((p, normal, (i + s) / columns, (j + t) / rows))
                n += 1
                at = (n + generator.random()) / count * total
        return points

    visible = len(sample(20000, random.Random(1))) / 20000
    points = sample(int(POINTS / visible), random.Random(2))

    length = math.sqrt(sum(x * x for x in LIGHT))
    light = [x / length for x in LIGHT]
    records = []
    for p, normal, along, around in points:
        if normal[2] < 0:
            normal = tuple(-x for x in normal)
        lambert = max(0.0, sum(normal[k] * light[k] for k in range(3)))
        half = (light[0], light[1], light[2] + 1.0)
        half_length = math.sqrt(sum(x * x for x in half))
        gleam = max(0.0, sum(normal[k] * half[k] for k in range(3)) / half_length) ** 24
        bands = 0.72 + 0.28 * math.tanh(3.0 * math.cos(2 * math.pi * (5.0 * around + 0.15 * math.sin(50 * along))))
        level = bands * (0.10 + 0.85 * lambert) + 0.25 * gleam
        records.append(struct.pack("<fffB", *p, min(255, max(1, int(255 * level + 0.5)))))

    path = pathlib.Path(__file__).resolve().parent.parent / "examples" / "data" / "shell.ply"
    head = ("ply\nformat binary_little_endian 1.0\ncomment a sea shell, in millimetres\n"
            f"element vertex {len(records)}\nproperty float x\nproperty float y\nproperty float z\n"
            "property uchar intensity\nend_header\n")
    path.write_bytes(head.encode("ascii") + b"".join(records))
    print(f"{len(records)} points, {path.stat().st_size} bytes, depth {(high[2] - low[2]) * scale:.1f} mm")


if __name__ == "__main__":
    main()
