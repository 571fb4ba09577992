#!/usr/bin/env python3
"""`strobe-quirk filter blend` against a second, independent model of the
blend arithmetic, written here in Python with every single-precision
operation rounded as the processor rounds it. All modes (and two numbers
past the last, which act as mode 0), six formats, every processor level
that this machine has.

The model is exact: the scalar kernels truncate after adding 0.5 and keep
the low bits; the vector levels normalise by multiplication, round to
nearest even and saturate, and in their four-pixel body never quantise
the mode's intermediate value. Which pixels a vector level takes four at a
time follows from the rows starting on 16-byte boundaries in the tool.

Usage: blend_checks.py [EMULATOR...] PATH_TO_STROBE_QUIRK [--replay MODE FORMAT LEVEL]
"""

import concurrent.futures
import math
import os
import random
import struct
import subprocess
import sys
import tempfile

FORMATS = {
    # name: (struct code, bytes per component, white, positions of R, G, B, A)
    "argb8": ("B", 1, 255, (1, 2, 3, 0)),
    "bgra8": ("B", 1, 255, (2, 1, 0, 3)),
    "argb16": ("H", 2, 32768, (1, 2, 3, 0)),
    "bgra16": ("H", 2, 32768, (2, 1, 0, 3)),
    "argb32": ("f", 4, 1.0, (1, 2, 3, 0)),
    "bgra32": ("f", 4, 1.0, (2, 1, 0, 3)),
}
LEVELS = ("scalar", "sse2", "ssse3", "sse41")
MODES = list(range(42)) + [42, 4294967295]
WIDTH, HEIGHT = 11, 3

# ---------------------------------------------------------------- float32


def f32(x):
    try:
        return struct.unpack("<f", struct.pack("<f", x))[0]
    except OverflowError:
        return math.copysign(math.inf, x)


def add(x, y):
    return f32(x + y)


def sub(x, y):
    return f32(x - y)


def mul(x, y):
    return f32(x * y)


def div(x, y):
    if y == 0:
        if x == 0 or math.isnan(x):
            return math.nan
        return math.copysign(math.inf, x) * math.copysign(1.0, y)
    return f32(x / y)


def sqrt(x):
    if math.isnan(x) or x < 0:
        return math.nan
    return f32(math.sqrt(x))


def fmin(x, y):
    """minps: the second operand unless the first is strictly below."""
    return x if x < y else y


def fmax(x, y):
    return x if x > y else y


def fabs(x):
    return abs(x)


def truncate(x):
    """cvttss2si: out of range and NaN give -2^31."""
    if math.isnan(x) or x >= 2.0 ** 31 or x < -(2.0 ** 31):
        return -(2 ** 31)
    return int(x)


def round_even(x):
    """cvtps2dq in the default rounding mode."""
    if math.isnan(x) or x >= 2.0 ** 31 or x < -(2.0 ** 31):
        return -(2 ** 31)
    return int(round(x))


W11, W59, W30 = f32(0.11), f32(0.59), f32(0.3)
NORMALISE8 = struct.unpack("<f", struct.pack("<I", 0x3B808081))[0]
TWO_TO_MINUS_15 = 2.0 ** -15

# ------------------------------------------------------------- the modes
# Each takes one channel of A and B (or whole colours as (r, g, b)), the
# alphas k = (a, b, r, w) and whether a vector level computes.


def luma_difference(A, B):
    return add(mul(sub(B[2], A[2]), W11), add(mul(sub(B[1], A[1]), W59), mul(sub(B[0], A[0]), W30)))


def color_burn(A, B, vector):
    if (B == 0) if vector else (0 >= B):
        return B
    t = div(sub(1.0, A), B)
    return 0.0 if 1 < t else sub(1.0, t)


def vivid_light(A, B):
    if 0.5 > B:
        x = mul(2.0, B)
        if 0 >= x:
            return x
        t = div(sub(1.0, A), x)
        return 0.0 if 1 < t else sub(1.0, t)
    x = mul(2.0, sub(B, 0.5))
    if x >= 1:
        return x
    return fmin(1.0, div(A, sub(1.0, x)))


def hard_light(top, bottom):
    if 0.5 > top:
        return mul(add(top, top), bottom)
    return add(mul(sub(1.0, bottom), mul(sub(1.0, top), -2.0)), 1.0)


def reflect(base, top):
    if top >= 1:
        return top
    return fmin(1.0, div(mul(base, base), sub(1.0, top)))


def soft_light(A, B, k):
    t = add(mul(sub(A, 0.5), k[0]), 0.5)
    if 0.5 > B:
        return sub(t, mul(sub(1.0, t), mul(sub(1.0, mul(2.0, B)), t)))
    D = mul(add(mul(sub(mul(16.0, t), 12.0), t), 4.0), t) if 0.25 > t else sqrt(t)
    return add(t, mul(sub(D, t), sub(mul(2.0, B), 1.0)))


SEPARABLE = {
    # mode: (form, function(A, B, k, vector))
    1: ("direct", lambda A, B, k, v: fmin(add(mul(sub(A, 1.0), k[0]), 1.0), B)),
    2: ("layered", lambda A, B, k, v: mul(A, B)),
    3: ("layered", lambda A, B, k, v: color_burn(A, B, v)),
    5: ("layered", lambda A, B, k, v: fmax(0.0, sub(add(A, B), 1.0))),
    7: ("layered", lambda A, B, k, v: add(A, B)),
    8: ("direct", lambda A, B, k, v: fmax(mul(k[0], A), B)),
    9: ("layered", lambda A, B, k, v: sub(1.0, mul(sub(1.0, B), sub(1.0, A)))),
    10: ("layered", lambda A, B, k, v: B if B >= 1 else fmin(1.0, div(A, sub(1.0, B)))),
    12: ("layered", lambda A, B, k, v: fmin(1.0, add(A, B))),
    14: ("layered", lambda A, B, k, v: hard_light(A, B)),
    15: ("direct", lambda A, B, k, v: soft_light(A, B, k)),
    16: ("layered", lambda A, B, k, v: hard_light(B, A)),
    17: ("layered", lambda A, B, k, v: fmax(0.0, sub(add(mul(2.0, B), A), 1.0)) if 0.5 > B
         else fmin(1.0, add(mul(2.0, sub(B, 0.5)), A))),
    18: ("layered", lambda A, B, k, v: vivid_light(A, B)),
    19: ("layered", lambda A, B, k, v: fmin(A, mul(2.0, B)) if 0.5 > B else fmax(A, mul(2.0, sub(B, 0.5)))),
    20: ("layered", lambda A, B, k, v: 0.0 if 0.5 > vivid_light(A, B) else 1.0),
    21: ("layered", lambda A, B, k, v: fabs(sub(A, B))),
    23: ("layered", lambda A, B, k, v: sub(add(A, B), mul(mul(2.0, A), B))),
    24: ("layered", lambda A, B, k, v: sub(A, B)),
    25: ("layered", lambda A, B, k, v: (div(A, B) if 0 < B else 0.0) if v else (div(A, B) if B != 0 else B)),
    36: ("layered", lambda A, B, k, v: mul(add(A, B), 0.5)),
    37: ("layered", lambda A, B, k, v: sub(1.0, fabs(sub(sub(1.0, A), B)))),
    38: ("layered", lambda A, B, k, v: reflect(A, B)),
    39: ("layered", lambda A, B, k, v: reflect(B, A)),
    40: ("layered", lambda A, B, k, v: add(sub(fmin(A, B), fmax(A, B)), 1.0)),
}


def own_channel(mode, A, B, k, vector):
    a, b, r, w = k
    if mode == 0:
        return add(mul(sub(B, A), w), A)
    if mode in (4, 11):
        x = mul(sub(1.0, B), b) if mode == 4 else mul(B, b)
        done = (x == 1) if vector else (x >= 1)
        if not done:
            top = mul(sub(1.0, A), a) if mode == 4 else mul(A, a)
            x = fmin(1.0, div(top, sub(1.0, x)))
        if vector:
            x = mul(x, div(1.0, r) if r > 0 else 0.0)
        elif r > 0:
            x = mul(x, div(1.0, r))
        return sub(1.0, x) if mode == 4 else x
    if mode == 22:
        x = fabs(sub(mul(A, a), mul(B, b)))
        return mul(x, div(1.0, r)) if r > 0 else x
    if mode == 34:
        R = fmin(1.0, add(a, b))
        v = div(b, R) if R > 0 else b
        return add(mul(sub(B, A), v), A)
    if mode == 35:
        n, v = (div(1.0, r), mul(b, div(1.0, r))) if r > 0 else (0.0, b)
        return add(mul(B, n), mul(A, sub(1.0, v)))
    raise ValueError(mode)


# Non-separable modes on (red, green, blue).


def luma_percent(c):
    return div(add(mul(11.0, c[2]), add(mul(59.0, c[1]), mul(30.0, c[0]))), 100.0)


def luma_fraction(c):
    return add(mul(W11, c[2]), add(mul(W59, c[1]), mul(W30, c[0])))


def set_saturation(c, s, vector):
    red, green, blue = c
    mx = fmax(fmax(red, green), blue)
    mn = fmin(fmin(red, green), blue)
    md = fmin(fmax(fmin(red, green), blue), fmax(red, green))
    m = div(mul(sub(md, mn), s), sub(mx, mn))
    if vector:
        return tuple(s if ch == mx else (m if ch == md else 0.0) for ch in c)
    if not mx > mn:
        return (0.0, 0.0, 0.0)
    if red == mx:
        return (s, m, 0.0) if green > blue else (s, 0.0, m)
    if green == mx:
        return (m, s, 0.0) if red > blue else (0.0, s, m)
    return (m, 0.0, s) if red > green else (0.0, m, s)


def clip_color(c):
    L = luma_fraction(c)
    n = fmin(fmin(c[0], c[1]), c[2])
    x = fmax(fmax(c[0], c[1]), c[2])
    if 0 > n:
        c = tuple(add(div(mul(sub(ch, L), L), sub(L, n)), L) for ch in c)
    if x > 1:
        c = tuple(add(div(mul(sub(ch, L), sub(1.0, L)), sub(x, L)), L) for ch in c)
    return c


def span(c):
    return sub(fmax(fmax(c[0], c[1]), c[2]), fmin(fmin(c[0], c[1]), c[2]))


def non_separable(mode, A, B, vector):
    luma = luma_fraction if vector else luma_percent
    if mode == 26:
        base = set_saturation(B, span(A), vector)
        d = sub(luma(A), luma(base))
    elif mode == 27:
        base = set_saturation(A, span(B), vector)
        d = sub(luma(A), luma(base))
    elif mode == 28:
        base, d = B, sub(luma(A), luma(B))
    else:
        base, d = A, sub(luma(B), luma(A))
    return clip_color(tuple(add(ch, d) for ch in base))


def mix_colour(mode, A, B, k, vector):
    """M for the three channels, and the form that turns it into a result."""
    if mode in (6, 13):
        d = luma_difference(A, B)
        take_a = d > 0 if mode == 6 else 0 > d
        return (A if take_a else B), "layered"
    if 26 <= mode <= 29:
        return non_separable(mode, A, B, vector), "layered"
    if mode in SEPARABLE:
        form, function = SEPARABLE[mode]
        return tuple(function(A[i], B[i], k, vector) for i in range(3)), form
    return tuple(own_channel(mode, A[i], B[i], k, vector) for i in range(3)), "own"


def apply_form(form, M, A, B, k):
    a, b, r, w = k
    if form == "layered":
        return add(mul(sub(add(mul(sub(M, B), a), B), A), w), A)
    if form == "direct":
        return add(mul(sub(M, A), w), A)
    return M


def alpha_of_mode(mode, L, k):
    a, b, r, w = k
    if mode == 30:
        return mul(b, a)
    if mode == 31:
        return mul(mul(L, b), a)
    if mode == 32:
        return mul(sub(1.0, b), a)
    return mul(sub(1.0, mul(L, b)), a)


# --------------------------------------------------------- scalar kernels

STORED = {0, 8, 34, 35, 6, 13}
WHOLE = {1, 4, 11, 15, 22}
ROUND_DOWN = {7, 24, 25}
UNWRAPPED = {5, 12}


def alphas(a, b):
    r = sub(add(a, b), mul(a, b))
    return a, b, r, (div(b, r) if r > 0 else b)


def scalar_pixel(mode, fmt, A, B, opacity):
    """A, B: stored components in memory order. Returns the stored result."""
    code, _, white, pos = FORMATS[fmt]
    mask = 0xFF if code == "B" else 0xFFFF

    def norm(value):
        if code == "B":
            return div(float(value), 255.0)
        if code == "H":
            return mul(float(value), TWO_TO_MINUS_15)
        return value

    def norm_opacity(value):
        if code == "B":
            return div(mul(float(value), opacity), 255.0)
        if code == "H":
            return mul(mul(float(value), opacity), TWO_TO_MINUS_15)
        return mul(value, opacity)

    def store_normalised(x):
        return x if code == "f" else truncate(add(mul(x, float(white)), 0.5)) & mask

    def store_stored(x):
        return x if code == "f" else truncate(add(x, 0.5)) & mask

    k = alphas(norm(A[pos[3]]), norm_opacity(B[pos[3]]))
    out = list(A)
    stored_a = tuple(float(A[pos[i]]) for i in range(3))
    stored_b = tuple(float(B[pos[i]]) for i in range(3))
    if 30 <= mode <= 33:
        L = norm(luma_fraction(stored_b)) if code != "f" else luma_fraction(stored_b)
        out[pos[3]] = store_normalised(alpha_of_mode(mode, L, k))
        return out
    if code == "f" or mode in STORED:
        M, form = mix_colour(mode, stored_a, stored_b, k, False)
        for i in range(3):
            out[pos[i]] = store_stored(apply_form(form, M[i], stored_a[i], stored_b[i], k))
    elif mode in WHOLE:
        na = tuple(norm(v) for v in stored_a)
        nb = tuple(norm(v) for v in stored_b)
        M, form = mix_colour(mode, na, nb, k, False)
        for i in range(3):
            out[pos[i]] = store_normalised(apply_form(form, M[i], na[i], nb[i], k))
    else:
        na = tuple(norm(v) for v in stored_a)
        nb = tuple(norm(v) for v in stored_b)
        M, form = mix_colour(mode, na, nb, k, False)
        for i in range(3):
            if mode in ROUND_DOWN:
                t = fmax(mul(M[i], float(white)), 0.0)
                Q = float(white) if t > white else float(truncate(t) & mask)
            elif mode in UNWRAPPED:
                Q = float(truncate(add(mul(M[i], float(white)), 0.5)))
            else:
                Q = float(truncate(add(mul(M[i], float(white)), 0.5)) & mask)
            out[pos[i]] = store_stored(apply_form("layered", Q, stored_a[i], stored_b[i], k))
    R = fmin(1.0, add(k[0], k[1])) if mode == 34 else k[2]
    out[pos[3]] = store_normalised(R)
    return out


# --------------------------------------------------------- vector kernels

NO_LANE_FORM_INTEGER = {1, 6, 8, 13, 15, 26, 27, 28, 29, 34, 35}
NO_LANE_FORM_FLOAT = {15, 26, 27, 28, 29}


def narrow(fmt, level, x):
    code = FORMATS[fmt][0]
    if code == "f":
        return x
    if code == "B":
        return max(0, min(255, round_even(mul(x, 255.0))))
    if level == "sse41":
        return min(32768, max(0, min(65535, round_even(mul(x, 32768.0)))))
    return min(0, max(-32768, min(32767, round_even(sub(mul(x, 32768.0), 32768.0))))) + 32768


def vector_pixel(mode, fmt, level, A, B, opacity):
    code, _, white, pos = FORMATS[fmt]
    scale = NORMALISE8 if code == "B" else TWO_TO_MINUS_15 if code == "H" else None
    na = [mul(float(v), scale) if scale else v for v in A]
    nb = [mul(float(v), scale) if scale else v for v in B]
    k = alphas(na[pos[3]], mul(nb[pos[3]], opacity))
    ca = tuple(na[pos[i]] for i in range(3))
    cb = tuple(nb[pos[i]] for i in range(3))
    out = list(na)
    if 30 <= mode <= 33:
        out[pos[3]] = alpha_of_mode(mode, luma_fraction(cb), k)
    else:
        M, form = mix_colour(mode, ca, cb, k, True)
        for i in range(3):
            out[pos[i]] = apply_form(form, M[i], ca[i], cb[i], k)
        out[pos[3]] = fmin(1.0, add(k[0], k[1])) if mode == 34 else k[2]
    return [narrow(fmt, level, x) for x in out]


def expected_pixel(mode, fmt, level, x, A, B, opacity):
    mode = mode if mode <= 41 else 0
    if mode == 41:
        A, B, mode = B, A, 0
    if level == "scalar":
        # Luminosity is followed by the stencil over the same band.
        return scalar_pixel(30 if mode == 29 else mode, fmt, A, B, opacity)
    four_pixel_body = x < WIDTH // 4 * 4  # rows start 16-byte aligned
    no_lane_form = NO_LANE_FORM_FLOAT if FORMATS[fmt][0] == "f" else NO_LANE_FORM_INTEGER
    if not four_pixel_body and mode in no_lane_form:
        return scalar_pixel(mode, fmt, A, B, opacity)
    return vector_pixel(mode, fmt, level, A, B, opacity)


# ------------------------------------------------------------ the runs


def sample_image(fmt, rng):
    code, _, white, pos = FORMATS[fmt]
    if code == "B":
        special = [0, 1, 127, 128, 254, 255]
        draw = lambda: rng.randrange(256)
    elif code == "H":
        special = [0, 1, 16384, 32767, 32768, 32769, 65535]
        draw = lambda: rng.randrange(32769) if rng.random() < 0.9 else rng.randrange(65536)
    else:
        special = [0.0, 1.0, 0.5, -0.25, 1.5, 2.0 ** -20, 0.25]
        draw = lambda: f32(rng.uniform(-0.25, 1.25))
    values = []
    for _ in range(WIDTH * HEIGHT * 4):
        values.append(special[rng.randrange(len(special))] if rng.random() < 0.3 else draw())
    return values


def pack(fmt, values):
    return struct.pack("<%d%s" % (len(values), FORMATS[fmt][0]), *values)


def unpack(fmt, data):
    code, size = FORMATS[fmt][0], FORMATS[fmt][1]
    return list(struct.unpack("<%d%s" % (len(data) // size, code), data))


def same(a, b):
    return a == b or (isinstance(a, float) and isinstance(b, float) and math.isnan(a) and math.isnan(b))


def available_levels(tool, folder):
    levels = []
    a = os.path.join(folder, "probe.raw")
    with open(a, "wb") as out:
        out.write(bytes(4))
    for level in LEVELS:
        result = subprocess.run([*tool, "filter", "blend", "--mode", "0", "--opacity", "1", "--cpu", level,
                                 "--format", "argb8", "--size", "1x1", a, a, os.path.join(folder, "probe-out.raw")],
                                capture_output=True, text=True)
        if result.returncode == 0:
            levels.append(level)
    return levels


OPACITIES = [f32(v) for v in (1.0, 0.6, 1.7, 0.0, -0.3, 0.25)]


def check(tool, folder, mode, fmt, level, seed):
    rng = random.Random(seed)
    a_values, b_values = sample_image(fmt, rng), sample_image(fmt, rng)
    opacity = OPACITIES[seed % len(OPACITIES)]
    case = "%d-%s-%s" % (mode, fmt, level)
    a_path, b_path = os.path.join(folder, case + "-a.raw"), os.path.join(folder, case + "-b.raw")
    out_path = os.path.join(folder, case + "-out.raw")
    with open(a_path, "wb") as out:
        out.write(pack(fmt, a_values))
    with open(b_path, "wb") as out:
        out.write(pack(fmt, b_values))
    result = subprocess.run([*tool, "filter", "blend", "--mode", str(mode), "--opacity", repr(opacity), "--cpu",
                             level, "--format", fmt, "--size", "%dx%d" % (WIDTH, HEIGHT), a_path, b_path, out_path],
                            capture_output=True, text=True)
    if result.returncode != 0:
        print("mode %d %s %s failed: %s" % (mode, fmt, level, result.stderr.strip()))
        return 1
    with open(out_path, "rb") as got:
        produced = unpack(fmt, got.read())
    failures = 0
    for p in range(WIDTH * HEIGHT):
        A, B = a_values[p * 4:p * 4 + 4], b_values[p * 4:p * 4 + 4]
        expected = expected_pixel(mode, fmt, level, p % WIDTH, A, B, opacity)
        actual = produced[p * 4:p * 4 + 4]
        if not all(same(e, g) for e, g in zip(expected, actual)):
            failures += 1
            if failures <= 3:
                print("mode %d %s %s opacity %r pixel %d: A %r B %r expected %r, got %r (replay: --replay %d %s %s)"
                      % (mode, fmt, level, opacity, p, A, B, expected, actual, mode, fmt, level))
    return failures


def check_refusals(tool, folder):
    """Bad input: exit status 2, one line on stderr, no output file."""
    a = os.path.join(folder, "small.raw")
    with open(a, "wb") as out:
        out.write(bytes(8))
    out_path = os.path.join(folder, "refused.raw")
    common = ["--format", "bgra8", "--size", "2x1"]
    refused = [
        ["--opacity", "1", *common, a, a, out_path],
        ["--mode", "-1", "--opacity", "1", *common, a, a, out_path],
        ["--mode", "4294967296", "--opacity", "1", *common, a, a, out_path],
        ["--mode", "3x", "--opacity", "1", *common, a, a, out_path],
        ["--mode", "3", *common, a, a, out_path],
        ["--mode", "3", "--opacity", "half", *common, a, a, out_path],
        ["--mode", "3", "--opacity", "1", *common, a, out_path],
        ["--mode", "3", "--opacity", "1", "--format", "bgra8", "--size", "3x1", a, a, out_path],
        ["--mode", "3", "--opacity", "1", "--cpu", "avx512", *common, a, a, out_path],
        ["--mode", "3", "--opacity", "1", "--threads", "0", *common, a, a, out_path],
    ]
    failures = 0
    for arguments in refused:
        result = subprocess.run([*tool, "filter", "blend", *arguments], capture_output=True, text=True)
        lines = result.stderr.splitlines()
        if result.returncode != 2 or len(lines) != 1 or not lines[0].startswith("strobe-quirk: ") \
                or os.path.exists(out_path):
            failures += 1
            print("not refused as it should be: %s -> %d %r" % (" ".join(arguments), result.returncode, result.stderr))
    return failures


def main():
    arguments = sys.argv[1:]
    replay = None
    if "--replay" in arguments:
        i = arguments.index("--replay")
        replay = (int(arguments[i + 1]), arguments[i + 2], arguments[i + 3])
        arguments = arguments[:i] + arguments[i + 4:]
    tool = arguments
    failures = 0
    runs = 0
    with tempfile.TemporaryDirectory() as folder:
        levels = available_levels(tool, folder)
        failures += 0 if replay else check_refusals(tool, folder)
        cases = [(mode, fmt, level, m * 7 + f) for m, mode in enumerate(MODES) for f, fmt in enumerate(FORMATS)
                 for level in levels if not replay or replay == (mode, fmt, level)]
        # Two at a time: the tool's runs overlap with the model's arithmetic.
        with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
            for result in pool.map(lambda case: check(tool, folder, *case), cases):
                failures += result
                runs += 1
    print("blend checks: %d runs at levels %s, %d mismatched pixels" % (runs, ", ".join(levels), failures))
    return 1 if failures or not runs else 0


if __name__ == "__main__":
    sys.exit(main())
