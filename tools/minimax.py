"""Minimax polynomials with coefficients in double, for the programs beside this file that print constants.

Smallest largest weighted error by the exchange algorithm of Remez. The coefficients are rounded to double one after the
other, lowest power first, and after each rounding the remaining ones are fitted again, so that they make good for what
the rounding lost.

Only the standard library is used; all arithmetic is in decimals of DIGITS digits, so the output does not depend on the
machine.
"""
import argparse
import sys
from decimal import Decimal as D, getcontext
from fractions import Fraction

DIGITS = 60

getcontext().prec = DIGITS


def round_bits(x, bits):
    """x (a Fraction) to the nearest number of `bits` significant bits."""
    if x == 0:
        return Fraction(0)
    sign, x = (-1, -x) if x < 0 else (1, x)
    e = 0
    while x >= Fraction(2) ** (e + 1):
        e += 1
    while x < Fraction(2) ** e:
        e -= 1
    unit = Fraction(2) ** (e - bits + 1)
    return sign * round(x / unit) * unit


def to_decimal(f):
    return D(f.numerator) / D(f.denominator)


def to_double(x):
    """x (a Decimal) to the nearest double, as a Decimal."""
    return to_decimal(round_bits(Fraction(*x.as_integer_ratio()), 53))


def grid(top, count, start):
    """The points start, start + 1, ... count of `count` steps from 0 to `top`, denser towards both ends, as the extrema
    of an error are."""
    return [top * t * t * (3 - 2 * t) for t in (D(i) / count for i in range(start, count + 1))]


class Target:
    """One function f(z) to fit by `terms` coefficients, searched for the extrema of its error on `points`; `weight`
    turns an error of f into the error that counts, by default the relative one of f itself."""

    def __init__(self, name, points, terms, f, weight=None):
        self.name, self.points, self.terms = name, points, terms
        self.values = [f(z) for z in points]
        self.weights = [weight(z) for z in points] if weight else [1 / v for v in self.values]


def solve(rows):
    """Gauss elimination with pivoting on rows of n coefficients and a right side."""
    n = len(rows)
    for i in range(n):
        p = max(range(i, n), key=lambda r: abs(rows[r][i]))
        rows[i], rows[p] = rows[p], rows[i]
        for r in range(n):
            if r != i:
                q = rows[r][i] / rows[i][i]
                rows[r] = [a - q * b for a, b in zip(rows[r], rows[i])]
    return [rows[i][n] / rows[i][i] for i in range(n)]


def horner(c, z):
    total = D(0)
    for a in reversed(c):
        total = total * z + a
    return total


def fit(target, fixed):
    """Minimax coefficients after the fixed leading ones: (all coefficients, largest weighted error)."""
    free = target.terms - len(fixed)
    z, f, w = target.points, target.values, target.weights

    def errors(c):
        return [w[i] * (f[i] - horner(c, x)) for i, x in enumerate(z)]

    if free == 0:
        return list(fixed), max(abs(e) for e in errors(fixed))
    first = 1 if fixed and z[0] == 0 else 0  # at z = 0 a fixed first coefficient leaves nothing to fit
    last = len(z) - 1
    extrema = [first + (last - first) * (2 * i + 1) // (2 * (free + 1)) for i in range(free + 1)]
    for _ in range(60):
        points = extrema
        rows = []
        for i, p in enumerate(points):
            powers = [z[p] ** n if n else D(1) for n in range(len(fixed), target.terms)]
            rows.append(powers + [D(-1) ** i / w[p], f[p] - horner(fixed, z[p])])
        found = list(fixed) + solve(rows)[:-1]
        error = errors(found)
        # One extremum per run of equal sign; of these the free + 1 in a row whose smallest is largest.
        extrema = []
        for i in range(first, last + 1):
            if extrema and (error[extrema[-1]] < 0) == (error[i] < 0):
                if abs(error[i]) > abs(error[extrema[-1]]):
                    extrema[-1] = i
            else:
                extrema.append(i)
        if len(extrema) < free + 1:
            raise SystemExit("too few extrema for %s with %d free coefficients" % (target.name, free))
        while len(extrema) > free + 1:
            extrema.pop(0 if abs(error[extrema[0]]) < abs(error[extrema[-1]]) else -1)
        if extrema == points:
            break
    return found, max(abs(e) for e in error)


def coefficients(target):
    """Coefficients, every one a double, and the largest errors before and after the rounding."""
    current, ideal = fit(target, [])
    fixed, error = [], ideal
    while len(fixed) < target.terms:
        fixed.append(to_double(current[len(fixed)]))
        current, error = fit(target, fixed)
    return fixed, ideal, error


def log2(x):
    """log2 of a bound in tenths, rounded up."""
    return float((x.ln() / D(2).ln()).quantize(D("0.1"), rounding="ROUND_CEILING"))


def main(description, header):
    """The program: prints, writes or checks what header() gives."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("-o", metavar="FILE", help="write the header to FILE")
    parser.add_argument("--check", metavar="FILE", help="compare with FILE")
    arguments = parser.parse_args()
    text = header()
    if arguments.check:
        with open(arguments.check, encoding="ascii") as f:
            if f.read() != text:
                sys.exit("%s is not what this program prints" % arguments.check)
    elif arguments.o:
        with open(arguments.o, "w", encoding="ascii") as f:
            f.write(text)
    else:
        sys.stdout.write(text)
