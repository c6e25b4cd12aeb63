"""The equiripple designer against SciPy's: remez_bench.py REMEZ_BENCH RULES.json

600 random low-pass demands, seeded, and the distinct filters of the chain catalogue. Fails if a bar is missed.
"""
import json
import random
import subprocess
import sys
import time
import warnings

import numpy
from scipy import signal

FLOOR = 1e-11  # a ripple below is rounding on either side
warnings.simplefilter("ignore")


def measured_ripple(taps, bands):
    """Largest error over the bands, on a grid of 64 points for each tap."""
    worst = 0.0
    centre = len(taps) // 2
    for low, high, desired in bands:
        f = numpy.linspace(low, high, max(200, int(64 * len(taps) * (high - low) * 2)))
        a = taps[centre] + 2 * numpy.cos(2 * numpy.pi * numpy.outer(f, numpy.arange(1, centre + 1))) @ taps[centre + 1:]
        worst = max(worst, float(numpy.max(numpy.abs(a - desired))))
    return worst


def timed(work):
    best, value = 1e9, None
    for _ in range(3):
        begin = time.perf_counter()
        try:
            value = work()
        except Exception:  # SciPy's ways of not converging
            value = None
        best = min(best, time.perf_counter() - begin)
    return best, value


def ours(program, demands):
    text = "".join(f"{kind} {n} {a!r} {b!r}\n" for kind, n, a, b in demands)
    lines = subprocess.run([program], input=text, capture_output=True, text=True, check=True).stdout.splitlines()
    result = []
    for line in lines:
        numbers = [float(word) for word in line.split()]
        result.append((numbers[0], numpy.array(numbers[2:])) if numbers else (0.0, None))
    return result


def row(name, value, bar):
    kept = value <= bar
    print(f"{name:<84} {value:10.4f}   <= {bar:<5} {'ok' if kept else 'MISSED'}")
    return kept


def main():
    program, rules_path = sys.argv[1:3]
    print("\nThe designer against SciPy's remez")
    chosen = random.Random(20)
    demands = []
    while len(demands) < 600:
        n = chosen.randrange(11, 250, 2)
        edge = chosen.uniform(0.02, 0.4)
        gap = chosen.uniform(0.005, 0.1)
        if edge + gap < 0.49:
            demands.append(("lowpass", n, edge, edge + gap))
    designs = ours(program, demands)
    failures, converged, worst, our_time, their_time = 0, 0, 0.0, 0.0, 0.0
    for (_, n, edge, stop), (seconds, taps) in zip(demands, designs):
        bands = [(0, edge, 1.0), (stop, 0.5, 0.0)]
        their_seconds, theirs = timed(lambda: signal.remez(n, [0, edge, stop, 0.5], [1, 0], fs=1, maxiter=100))
        if taps is None:
            failures += 1
            continue
        our_time += seconds
        their_time += their_seconds
        if theirs is None:
            continue
        converged += 1
        worst = max(worst, max(measured_ripple(taps, bands), FLOOR) / max(measured_ripple(theirs, bands), FLOOR))
    kept = row("demands of 600 that find no design", failures, 0)
    kept &= row(f"largest ripple / SciPy's, where that converges ({converged})", worst, 1.001)
    kept &= row(f"time, all demands ({our_time * 1e3:.0f} ms / {their_time * 1e3:.0f} ms)", our_time / their_time, 1.0)

    # The catalogue's filters are not low-pass demands with a stop-band to the end; SciPy gets the same number of taps and
    # the same transition, the easiest of its own demands of that size.
    rules = json.load(open(rules_path))
    stages = []
    for channel in rules["channels"]:
        for rf in rules["rf"]:
            for factor in (2, 3, 5):
                if (rf["rate_hz"] // factor) % channel["base_rate_hz"] == 0:
                    edge = channel["pass_hz"] / rf["rate_hz"]
                    n = {2: 11, 3: 17, 5: 29}[factor]
                    while n < 120 and 14.6 * (1 / factor - 2 * edge) * (n - 1) + 13 < 77:
                        n += 4 if factor == 2 else 2 * factor
                    stages.append((factor, n, edge))
    mine = sum(seconds for seconds, _ in ours(program, [("nyquist", n, m, edge) for m, n, edge in stages]))
    theirs = sum(timed(lambda: signal.remez(n, [0, edge, 1 / m - edge, 0.5], [1, 0], fs=1, maxiter=100))[0]
                 for m, n, edge in stages)
    kept &= row(f"time, {len(stages)} stages of the catalogue ({mine * 1e3:.0f} ms / {theirs * 1e3:.0f} ms)", mine / theirs, 1.0)
    return 0 if kept else 1


sys.exit(main())
