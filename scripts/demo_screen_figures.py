"""The figures of scripts/demo-screen: how even the screen was, is said to become, and is.

All figures are over the LEDs that are not dead: no gain makes a dead LED shine. Exits with 1 when a figure misses what
the demonstration claims.
"""

import array
import json
import math
import sys

PLANES = ("CIE_X", "CIE_Y", "CIE_Z")
MODULE = 16  # LEDs along a side, as in the scene
LARGEST_STEP = 0.003
NPY_HEADER = 10


def read_npy(name):
    """Width and values, row by row, of a matrix of little-endian 32-bit floats."""
    with open(name, "rb") as file:
        data = file.read()
    start = NPY_HEADER + int.from_bytes(data[8:10], "little")
    header = data[NPY_HEADER:start].decode("latin-1")
    if "'<f4'" not in header or "'fortran_order': False" not in header:
        raise SystemExit(f"{name}: expected a matrix of little-endian 32-bit floats in rows")
    width = int(header.split("'shape': (")[1].split(")")[0].split(",")[1])
    values = array.array("f")
    values.frombytes(data[start:])
    if sys.byteorder == "big":
        values.byteswap()
    return width, values


def cv(values):
    """Standard deviation over mean."""
    mean = math.fsum(values) / len(values)
    return math.sqrt(math.fsum((v - mean) ** 2 for v in values) / len(values)) / mean


def largest_module_step(values, living, width):
    """The largest difference of the means of two modules that share a side, over the mean of all LEDs."""
    sums = {}
    for i in living:
        module = (i % width // MODULE, i // width // MODULE)
        total, count = sums.get(module, (0.0, 0))
        sums[module] = (total + values[i], count + 1)
    means = {module: total / count for module, (total, count) in sums.items()}
    level = math.fsum(values[i] for i in living) / len(living)
    steps = [
        abs(mean - means[other])
        for (column, row), mean in means.items()
        for other in ((column + 1, row), (column, row + 1))
        if other in means
    ]
    return max(steps) / level


def figures(folder, plane, correction):
    width, before = read_npy(f"{folder}/truth/before.{plane}.truth.npy")
    _, after = read_npy(f"{folder}/truth/after.{plane}.truth.npy")
    _, measured = read_npy(f"{folder}/before/screen/{plane}.npy")
    _, again = read_npy(f"{folder}/after/screen/{plane}.npy")
    living = [i for i, value in enumerate(before) if value > 0]
    total = math.fsum(before[i] for i in living)
    error = cv([measured[i] / before[i] for i in living])
    expected = correction["cv_expected"]
    return {
        "cv before": cv([before[i] for i in living]),
        "cv expected": expected,
        "measuring error": error,
        "cv allowed by both": math.hypot(expected, error),
        "cv after": cv([after[i] for i in living]),
        "cv measured again": cv([again[i] for i in living]),
        "module step before": largest_module_step(before, living, width),
        "module step after": largest_module_step(after, living, width),
        "light lost, as said": correction["light_lost"],
        "light lost": 1 - math.fsum(after[i] for i in living) / total,
        "LEDs below the target": correction["clipped"],
        "dead LEDs": len(before) - len(living),
        "dead LEDs found": len(correction["dead"]),
    }


def missed(plane, f):
    """What the demonstration claims and the figures do not show."""
    claims = {
        "the cv after is at most a tenth above what correction and measuring error allow": f["cv after"]
        <= 1.1 * f["cv allowed by both"],
        "the steps between modules are below 0.3 % of the level": f["module step after"] < LARGEST_STEP,
        "the light lost is what the correction said, to 0.1 %": abs(f["light lost"] - f["light lost, as said"]) < 1e-3,
        "all dead LEDs are found, and no other": f["dead LEDs"] == f["dead LEDs found"],
    }
    return [f"{plane}: {claim}" for claim, holds in claims.items() if not holds]


def text(value):
    return f"{value:>11d}" if isinstance(value, int) else f"{100 * value:>10.3f}%"


def main():
    folder = sys.argv[1]
    with open(f"{folder}/corrected/correction.json", encoding="utf-8") as file:
        planes = json.load(file)["planes"]
    columns = {plane: figures(folder, plane, planes[i]) for i, plane in enumerate(PLANES)}
    print(" " * 24 + "".join(f"{plane:>11}" for plane in PLANES))
    for row in columns[PLANES[0]]:
        print(f"{row:<24}" + "".join(text(columns[plane][row]) for plane in PLANES))
    failures = [claim for plane in PLANES for claim in missed(plane, columns[plane])]
    for claim in failures:
        print(f"demo-screen: it does not hold that, for {claim}", file=sys.stderr)
    return 1 if failures else 0


sys.exit(main())
