"""The equiripple designer against SciPy's: remez_bench.py REMEZ_BENCH GEN_DUCDDC_CATALOGUE RULES.json

600 random low-pass demands, seeded, and the distinct filters of the chain catalogue. Both sides are timed in turn, and the
figure is the median of the ratios of the rounds. Fails if a bar is missed.
"""
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time
import warnings

import numpy
from scipy import optimize, signal

FLOOR = 1e-9  # a ripple below is what rounding makes of it, on either side
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


ROUNDS = 7  # of all demands, on either side in turn


def timed(work):
    best, value = 1e9, None
    for _ in range(3):
        begin = time.process_time()  # as the other side, which what else the machine does does not reach either
        try:
            value = work()
        except Exception:  # SciPy's ways of not converging
            value = None
        best = min(best, time.process_time() - begin)
    return best, value


def theirs(demands):
    return [timed(lambda: signal.remez(n, [0, edge, stop, 0.5], [1, 0], fs=1, maxiter=100)) for n, edge, stop in demands]


def ours(program, demands):
    text = "".join(f"{n} {edge!r} {stop!r}\n" for n, edge, stop in demands)
    lines = subprocess.run([program], input=text, capture_output=True, text=True, check=True).stdout.splitlines()
    result = []
    for line in lines:
        numbers = [float(word) for word in line.split()]
        result.append((numbers[0], numpy.array(numbers[2:])) if numbers else (0.0, None))
    return result


def design_with_scipy(step, taps, edge, stop):
    """The ripple of SciPy's filter for a stage of the catalogue."""
    if step == 1:
        h = signal.remez(taps, [0, edge, stop, 0.5], [1, 0], fs=1, maxiter=200)
        return measured_ripple(h, [(0, edge, 1.0), (stop, 0.5, 0.0)])
    if step == 2:  # the odd taps are a filter of even length over the doubled pass-band
        odd = signal.remez((taps + 1) // 2, [0, 2 * edge], [1], fs=1, maxiter=200)
        h = numpy.zeros(taps)
        h[::2] = odd / 2
        h[taps // 2] = 0.5
        return measured_ripple(h, [(stop, 0.5, 0.0)])
    orders = [k for k in range(1, taps // 2 + 1) if k % step]
    images = range(1, step // 2 + 1)
    f = numpy.concatenate([numpy.linspace(i / step - edge, i / step + edge, 16 * len(orders)) for i in images])
    basis = 2 * numpy.cos(2 * numpy.pi * numpy.outer(f, orders))
    one = numpy.ones((len(f), 1))
    result = optimize.linprog(
        numpy.r_[numpy.zeros(len(orders)), 1], A_ub=numpy.block([[basis, -one], [-basis, -one]]),
        b_ub=numpy.r_[-numpy.ones(len(f)), numpy.ones(len(f))] / step, bounds=(None, None), method="highs")
    return result.x[-1]


def row(name, value, bar):
    kept = value <= bar
    print(f"{name:<84} {value:10.4f}   <= {bar:<5} {'ok' if kept else 'MISSED'}")
    return kept


def main():
    program, generator, rules_path = sys.argv[1:4]
    print("\nThe designer against SciPy's remez")
    chosen = random.Random(20)
    demands = []
    while len(demands) < 600:
        n = chosen.randrange(11, 250, 2)
        edge = chosen.uniform(0.02, 0.4)
        gap = chosen.uniform(0.005, 0.1)
        if edge + gap < 0.49:
            demands.append((n, edge, edge + gap))
    rounds = [(ours(program, demands), theirs(demands)) for _ in range(ROUNDS)]
    failures, converged, worst = 0, 0, 0.0
    for (n, edge, stop), (_, taps), (_, their_taps) in zip(demands, *rounds[0]):
        bands = [(0, edge, 1.0), (stop, 0.5, 0.0)]
        if taps is None:
            failures += 1
        elif their_taps is not None:
            converged += 1
            worst = max(worst, max(measured_ripple(taps, bands), FLOOR) / max(measured_ripple(their_taps, bands), FLOOR))
    times = [[sum(seconds for seconds, _ in side) for side in pair] for pair in rounds]
    our_time, their_time = (statistics.median(side) for side in zip(*times))
    ratio = statistics.median(one / other for one, other in times)
    kept = row("demands of 600 that find no design", failures, 0)
    kept &= row(f"largest ripple / SciPy's, where that converges ({converged})", worst, 1.001)
    kept &= row(f"time, all demands ({our_time * 1e3:.0f} ms / {their_time * 1e3:.0f} ms)", ratio, 0.85)

    # SciPy designs the half-band filters by the same trick, and has linear programming for the other Nyquist filters,
    # whose zeros its remez knows nothing of.
    with tempfile.TemporaryDirectory() as folder:
        listing = os.path.join(folder, "filters.csv")
        begin = os.times()  # of the processor: each side runs for seconds, and what else the machine does has no say
        subprocess.run([generator, rules_path, os.path.join(folder, "tables.cpp"), listing], check=True, capture_output=True)
        end = os.times()
        whole = end.children_user + end.children_system - begin.children_user - begin.children_system
        filters = [[float(field) for field in line.split(",")] for line in open(listing)]
    begin = time.process_time()
    worst = max(design_with_scipy(int(step), int(taps), edge, stop) / ripple for step, taps, edge, stop, ripple in filters)
    peer = time.process_time() - begin
    kept &= row(f"generating the catalogue / its {len(filters)} filters by SciPy ({whole:.2f} s / {peer:.2f} s)", whole / peer, 1.2)
    print(f"  SciPy's filters of the catalogue have at most {worst:.4f} times the ripple")
    return 0 if kept else 1


sys.exit(main())
