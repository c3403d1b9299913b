"""The simulated machine, written independently of the tool, with the mathematical library where the tool has series."""

import cmath
import math

RATE = 51200
SHAFT = 29.95
HARMONICS = (0.30, 0.12, 0.06, 0.03)
OUTER_RACE = 9 * SHAFT * (1 - 0.2) / 2
RESONANCE, DAMPING = 3500.0, 0.05
MASK = 2**64 - 1


def random_numbers(seed):
    """SplitMix64; each number is the sum of four uniform ones, brought to mean 0 and variance 1."""
    deviation = math.sqrt(4 * (65536**2 - 1) / 12)
    state = seed
    while True:
        state = (state + 0x9E3779B97F4A7C15) & MASK
        bits = state
        bits = ((bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9) & MASK
        bits = ((bits ^ (bits >> 27)) * 0x94D049BB133111EB) & MASK
        bits ^= bits >> 31
        yield ((bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) + (bits >> 48) - 131070) / deviation


def exact_counts(count, seed):
    """The signal in counts before rounding."""
    random = random_numbers(seed)
    interval = RATE / OUTER_RACE
    angle = 2 * math.pi * RESONANCE / RATE
    decay = complex(-DAMPING * angle, angle)
    strike = interval / 2
    ringing = 0
    turn = cmath.exp(decay)
    for n in range(count):
        ringing *= turn
        while strike <= n:
            ringing += 3.0 * (1 + 0.1 * next(random)) * cmath.exp(decay * (n - strike))
            strike += interval * (1 + 0.01 * next(random))
        shaft = sum(a * math.sin(2 * math.pi * (h + 1) * SHAFT * n / RATE) for h, a in enumerate(HARMONICS))
        yield (0.137 + shaft + ringing.imag + 0.1 * next(random)) / 0.001
