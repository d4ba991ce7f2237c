"""What the tutorials share: their arguments, the example data, figures in files."""
import argparse
import pathlib

import matplotlib.pyplot as plt
from matplotlib.figure import Figure

DATA = pathlib.Path(__file__).resolve().parent.parent.parent / "examples" / "data"


def arguments(text: str, size: int) -> argparse.Namespace:
    """--out, the folder of the pictures, and --size, the samples along an axis."""
    parser = argparse.ArgumentParser(description=text)
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("."), help="folder of the pictures (.)")
    parser.add_argument("--size", type=int, default=size, help=f"samples along an axis, a power of two ({size})")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    return options


def save(figure: Figure, options: argparse.Namespace, name: str) -> None:
    """Writes a figure as NAME.png into the folder of the pictures."""
    path = options.out / f"{name}.png"
    figure.savefig(path, dpi=110, bbox_inches="tight")
    plt.close(figure)
    print(f"wrote {path}")
