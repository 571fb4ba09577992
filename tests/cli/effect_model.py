"""A second reading of the effect's arithmetic, pixel by pixel, in plain Python.

32-bit float operations are emulated by rounding every double result to the
nearest float: for +, -, *, / of two floats the double result rounded once more
is the correctly rounded float result, so each helper below is exact.

Images are flat lists of components in memory order, as `pixels()` of
independent_checks reads them. `level` is one of LEVELS; the filters choose
their kernel from it the way the processor flags would.
"""

import math
import struct
from array import array

from independent_checks import FORMATS, truncate

LEVELS = ("scalar", "sse2", "ssse3", "sse41")


# ---------------------------------------------------------------- float32 --

def f32(value):
    """Nearest 32-bit float; overflow gives an infinity, as the hardware does."""
    try:
        return struct.unpack("<f", struct.pack("<f", value))[0]
    except OverflowError:
        return math.copysign(math.inf, value)


def f32s(values):
    """f32 of each value of an iterable, in one pass."""
    return array("f", values).tolist()


def fadd(a, b):
    return f32(a + b)


def fsub(a, b):
    return f32(a - b)


def fmul(a, b):
    return f32(a * b)


def fdiv(a, b):
    if b == 0.0:
        if a == 0.0 or math.isnan(a):
            return math.nan
        return math.copysign(math.inf, a) * math.copysign(1.0, b)
    return f32(a / b)


def float_bits(bits):
    return struct.unpack("<f", struct.pack("<I", bits))[0]


# 1/255 as the vector kernels of the blend hold it, and the hue/saturation one.
BLEND_INV255 = float_bits(0x3B808081)
HSV_INV255 = f32(0.003921569)
INV32768 = f32(3.0517578e-05)  # exactly 2^-15


# ------------------------------------------------------------ conversions --

def round_even(value):
    """Conversion to a 32-bit integer with the default rounding mode: nearest,
    ties to even; NaN and out-of-range give 0x80000000."""
    if math.isnan(value) or math.isinf(value):
        return -(2**31)
    rounded = round(value)
    if rounded >= 2**31 or rounded < -(2**31):
        return -(2**31)
    return rounded


def clip(value, low, high):
    return low if value < low else high if value > high else value


def narrow8_vector(value):
    """Nearest even, signed pack to 16 bits, unsigned pack to 8 bits."""
    return clip(clip(round_even(value), -32768, 32767), 0, 255)


def narrow16_vector(value, level):
    """From a value already scaled to 0..32768. SSE2 and SSSE3 bias by -32768
    (in float) so that a signed pack can hold the full scale; SSE4.1 packs
    unsigned and takes the minimum with 32768."""
    if level == "sse41":
        return min(clip(round_even(value), 0, 65535), 32768)
    biased = clip(round_even(fsub(value, 32768.0)), -32768, 32767)
    return (min(biased, 0) + 32768) & 0xFFFF


def narrow_vector(value, depth, level):
    return narrow8_vector(value) if depth == 8 else narrow16_vector(value, level)


# ---------------------------------------------------------------- formats --

def depth_of(name):
    return {"B": 8, "H": 16, "f": 32}[FORMATS[name][0]]


def white_of(name):
    return {8: 255.0, 16: 32768.0, 32: 1.0}[depth_of(name)]


def alpha_first(name):
    return FORMATS[name][3][3] == 0


def roles(name):
    """Indices of red, green, blue, alpha inside a pixel, by channel order
    alone (the kernels do not look at the format's position table)."""
    return (1, 2, 3, 0) if alpha_first(name) else (2, 1, 0, 3)


def component_level(level, bits):
    """The kernel a filter with levels `bits` (highest first) runs."""
    order = {"sse41": ("sse41", "ssse3", "sse2"), "ssse3": ("ssse3", "sse2"), "sse2": ("sse2",), "scalar": ()}
    for candidate in order[level]:
        if candidate in bits:
            return candidate
    return "scalar"


# ----------------------------------------------------------------- levels --

def balance_scale_offset(in_black, in_white, out_black, out_white):
    if in_black == in_white:
        scale = f32(1e38)
    else:
        scale = fdiv(fsub(out_white, out_black), fsub(in_white, in_black))
    scale = min(255.0, scale)
    return scale, fsub(out_black, fmul(in_black, scale))


def balance(image, name, level, clamp, in_black, in_white, out_black, out_white):
    """Levels with gamma 1: v = c * scale + offset on the three colour channels,
    in the channels' own range."""
    depth, white = depth_of(name), white_of(name)
    kernel = component_level(level, ("sse41", "sse2"))
    scale, offset = balance_scale_offset(*(f32(v) for v in (in_black, in_white, out_black, out_white)))
    if depth != 32:
        offset = fmul(offset, white)
    alpha = roles(name)[3]
    out = list(image)
    for index, c in enumerate(image):
        is_alpha = index % 4 == alpha
        if is_alpha and kernel == "scalar":
            continue
        # The vector kernels run alpha through the same lanes with 1 and 0.
        v = fadd(fmul(c, 1.0), 0.0) if is_alpha else fadd(fmul(c, scale), offset)
        v = max(v, 0.0)
        if clamp:
            v = min(v, white)
        if depth == 32:
            out[index] = v
        elif kernel == "scalar":
            out[index] = int(white) if v > white else truncate(v)
        else:
            out[index] = narrow_vector(v, depth, kernel)
    return out


# ---------------------------------------------------- hue and saturation --

def hsv_pixel(red, green, blue, hue_shift, saturation, value):
    """The per-pixel conversion on normalised channels; returns R, G, B."""
    if hue_shift == 0.0 and saturation == 1.0 and value == 1.0:
        return red, green, blue
    v = max(blue, max(green, red))
    d = fsub(v, min(blue, min(green, red)))
    s = fdiv(d, v) if v > 0.0 else 0.0
    if d == 0.0:
        h = 0.0
    elif v == red:
        h = fdiv(fsub(green, blue), d)
    elif v != green:
        h = fadd(fdiv(fsub(red, green), d), 4.0)
    else:
        h = fadd(fdiv(fsub(blue, red), d), 2.0)
    h = fdiv(h, 6.0)
    if h < 0.0:
        h = fadd(h, 1.0)
    h = fadd(h, hue_shift)
    if h >= 1.0:
        h = fsub(h, 1.0)
    elif h < 0.0:
        h = fadd(h, 1.0)
    s2, v2 = fmul(s, saturation), fmul(v, value)
    x = fmul(h, 6.0)
    i = math.floor(x)
    f = fsub(x, float(i))
    if i % 2 == 0:
        f = fsub(1.0, f)
    m = fmul(fsub(1.0, s2), v2)
    n = fmul(fsub(1.0, fmul(f, s2)), v2)
    return {1: (n, v2, m), 2: (m, v2, n), 3: (m, n, v2), 4: (n, m, v2), 5: (v2, m, n)}.get(i, (v2, n, m))


def hsvcc_scalar(image, name, hue_shift, saturation, value):
    depth = depth_of(name)
    r_at, g_at, b_at, _ = roles(name)
    out = list(image)
    for p in range(0, len(image), 4):
        channels = []
        for at in (r_at, g_at, b_at):
            c = image[p + at]
            channels.append(fdiv(c, 255.0) if depth == 8 else fmul(c, INV32768) if depth == 16 else c)
        result = hsv_pixel(*channels, f32(hue_shift), f32(saturation), f32(value))
        for at, c in zip((r_at, g_at, b_at), result):
            if depth == 32:
                out[p + at] = c
            else:
                white = white_of(name)
                t = max(fmul(c, white), 0.0)
                out[p + at] = int(white) if t > white else truncate(t)
    return out


def hsvcc_grey(image, name, level):
    """The effect's case, saturation 0 with hue 0 and value 1: each pixel
    becomes its largest colour channel. For in-range values the vector blocks
    (multiply by 0.003921569, round to nearest) store the same integers as
    the per-pixel path (divide by 255, truncate): true of all 256 bytes. The
    one difference left is a 16-bit alpha above 32768, which blocks limit and
    single pixels copy; `grey_alternatives` gives it."""
    return hsvcc_scalar(image, name, 0.0, 0.0, 1.0)


def grey_alternatives(image, name, level, expected):
    """Per component, the set of values a vector kernel may store where the
    position of the pixel in a four-pixel block decides."""
    if level == "scalar" or depth_of(name) != 16:
        return None
    alpha = roles(name)[3]
    return {i: {expected[i], 32768} for i in range(alpha, len(image), 4) if image[i] > 32768}


# ------------------------------------------------------------------- blur --

DERICHE = {
    0: (1.68, 3.735, 1.783, 1.723, 0.6318, 1.997, -0.6803, -0.2598),
    1: (-0.6472, -4.531, 1.527, 1.516, 0.6719, 2.072, 0.6494, 0.9557),
    2: (-1.331, 3.661, 1.24, 1.314, 0.748, 2.166, 0.3225, -1.738),
}


class Deriche:
    """The recursive filter of one axis, in double."""

    def __init__(self, sigma, order=0):
        s = max(float(sigma), 0.001)
        a0, a1, b0, b1, w0, w1, c0, c1 = DERICHE.get(order, DERICHE[0])
        e0, e1 = math.exp(-b0 / s), math.exp(-b1 / s)
        cos0, sin0 = math.cos(w0 / s), math.sin(w0 / s)
        cos1, sin1 = math.cos(w1 / s), math.sin(w1 / s)
        self.n0 = a0 + c0
        self.n1 = e1 * (c1 * sin1 - (c0 + 2 * a0) * cos1) + e0 * (a1 * sin0 - (2 * c0 + a0) * cos0)
        self.n2 = (2 * e0 * e1 * ((a0 + c0) * cos1 * cos0 - a1 * cos1 * sin0 - c1 * cos0 * sin1)
                   + c0 * e0 * e0 + a0 * e1 * e1)
        self.n3 = e1 * e0 * e0 * (c1 * sin1 - c0 * cos1) + e0 * e1 * e1 * (a1 * sin0 - a0 * cos0)
        self.d1 = -2 * e1 * cos1 - 2 * e0 * cos0
        self.d2 = 4 * cos1 * cos0 * e0 * e1 + e1 * e1 + e0 * e0
        self.d3 = -2 * cos0 * e0 * e1 * e1 - 2 * cos1 * e1 * e0 * e0
        self.d4 = e0 * e0 * e1 * e1
        self.m1 = self.n1 - self.d1 * self.n0
        self.m2 = self.n2 - self.d2 * self.n0
        self.m3 = self.n3 - self.d3 * self.n0
        self.m4 = -self.d4 * self.n0
        if order == 1:
            self.m1, self.m2, self.m3, self.m4 = -self.m1, -self.m2, -self.m3, -self.m4
        self.order = order
        self.norm = self._norm()
        self.weights = []
        if order == 0:
            weights = [math.exp(-0.5 * (i / s) ** 2) for i in range(math.ceil(s * 3.5))]
            total = 0.0
            for w in weights:
                total += w
            self.weights = [w / total for w in weights] if total > 0 else weights

    def _norm(self):
        x = [0.0] * 4
        p = [0.0] * 4
        total = 0.0
        for i in range(1024):
            x = [1.0 if i == 0 else 0.0] + x[:3]
            out = (self.n0 * x[0] + self.n1 * x[1] + self.n2 * x[2] + self.n3 * x[3]
                   - self.d1 * p[0] - self.d2 * p[1] - self.d3 * p[2] - self.d4 * p[3])
            if abs(out) < 1e-5:
                break
            total += abs(out)
            p = [out] + p[:3]
        divisor = 2 * total - self.n0
        return 1.0 if divisor == 0 else 1.0 / divisor


def _edge_scalar(samples, coefficients):
    """Weighted mean of the outermost samples and the recursion's start."""
    if coefficients.order != 0:
        return 0.0, 0.0
    count = min(len(samples), len(coefficients.weights))
    e = weight_sum = 0.0
    for i in range(count):
        e += samples[i] * coefficients.weights[i]
        weight_sum += coefficients.weights[i]
    if weight_sum != 0:
        e = e / weight_sum
    return e, (1.0 / coefficients.norm + coefficients.n0) * e * 0.5


def line_scalar(samples, c):
    """One channel of one line, all in double; returns v = sum * norm."""
    n = len(samples)
    e, y = _edge_scalar(samples, c)
    x1 = x2 = x3 = e
    p1 = p2 = p3 = p4 = y
    scratch = [0.0] * n
    for i in range(n):
        x0 = samples[i]
        p = c.n0 * x0 + c.n1 * x1 + c.n2 * x2 + c.n3 * x3 - c.d1 * p1 - c.d2 * p2 - c.d3 * p3 - c.d4 * p4
        scratch[i] = p
        x1, x2, x3 = x0, x1, x2
        p1, p2, p3, p4 = p, p1, p2, p3
    e, y = _edge_scalar(samples[::-1], c)
    x1 = x2 = x3 = x4 = e
    q1 = q2 = q3 = q4 = y
    for j in range(n - 1, -1, -1):
        q = c.m1 * x1 + c.m2 * x2 + c.m3 * x3 + c.m4 * x4 - c.d1 * q1 - c.d2 * q2 - c.d3 * q3 - c.d4 * q4
        scratch[j] += q
        x1, x2, x3, x4 = samples[j], x1, x2, x3
        q1, q2, q3, q4 = q, q1, q2, q3
    return [s * c.norm for s in scratch]


class FloatDeriche:
    """The vector family's view of the coefficients: feed-forward terms and
    the norm in float, feedback in double."""

    def __init__(self, c):
        self.order = c.order
        self.n = [f32(v) for v in (c.n0, c.n1, c.n2, c.n3)]
        self.m = [f32(v) for v in (c.m1, c.m2, c.m3, c.m4)]
        self.d = (c.d1, c.d2, c.d3, c.d4)
        self.norm = f32(c.norm)
        self.weights = [f32(w) for w in c.weights]
        self.start = fadd(fdiv(1.0, self.norm), self.n[0])


def _edge_vector(samples, c):
    if c.order != 0:
        return 0.0, 0.0
    count = min(len(samples), len(c.weights))
    e = weight_sum = 0.0
    for i in range(count):
        e = fadd(e, fmul(samples[i], c.weights[i]))
        weight_sum = fadd(weight_sum, c.weights[i])
    if weight_sum != 0:
        e = fdiv(e, weight_sum)
    return e, fmul(fmul(c.start, e), 0.5)


def _float_taps(coefficients, taps):
    """sum(coefficient[k] * taps[k]) per sample, each product and each partial
    sum rounded to float, the terms added in the order given."""
    total = f32s(coefficients[0] * x for x in taps[0])
    for coefficient, tap in zip(coefficients[1:], taps[1:]):
        total = f32s(t + p for t, p in zip(total, f32s(coefficient * x for x in tap)))
    return total


def line_vector(samples, c):
    """One channel of one line as the vector family reads it: each feed-forward
    sum in float, left to right, widened; the feedback subtracted in double."""
    d1, d2, d3, d4 = c.d
    n = len(samples)
    e, y = _edge_vector(samples, c)
    padded = [e, e, e] + list(samples)
    forward = _float_taps(c.n, [padded[3 - k:3 - k + n] for k in range(4)])
    p1 = p2 = p3 = p4 = y
    scratch = [0.0] * n
    for i in range(n):
        p = forward[i] - d1 * p1 - d2 * p2 - d3 * p3 - d4 * p4
        scratch[i] = p
        p1, p2, p3, p4 = p, p1, p2, p3
    e, y = _edge_vector(samples[::-1], c)
    padded = list(samples) + [e, e, e, e]
    backward = _float_taps(c.m, [padded[k:k + n] for k in range(1, 5)])
    q1 = q2 = q3 = q4 = y
    for j in range(n - 1, -1, -1):
        q = backward[j] - d1 * q1 - d2 * q2 - d3 * q3 - d4 * q4
        scratch[j] += q
        q1, q2, q3, q4 = q, q1, q2, q3
    return f32s(v * c.norm for v in f32s(scratch))


def blur_store(v, depth, vector):
    if depth == 32:
        return f32(v)
    white = 255 if depth == 8 else 32768
    if vector:
        return narrow_vector(v, depth, "sse2")
    t = max(v + 0.5, 0.0)
    return white if t > white else truncate(t)


_blurred = {}


def blur(image, name, level, width, height, sigma_x, sigma_y, order_x=0, order_y=0):
    """Rows first into an image of the same format, then columns. Every line
    starts its recursion at the image's own edges. Any level with SSE2 takes
    the vector family. Results are kept: frames of one layer share masks."""
    vector = level != "scalar"
    key = (tuple(image), name, vector, width, height, sigma_x, sigma_y, order_x, order_y)
    if key not in _blurred:
        if len(_blurred) > 64:
            _blurred.clear()
        _blurred[key] = _blur(image, name, vector, width, height, sigma_x, sigma_y, order_x, order_y)
    return list(_blurred[key])


def _blur(image, name, vector, width, height, sigma_x, sigma_y, order_x, order_y):
    depth = depth_of(name)
    cx, cy = Deriche(f32(sigma_x), order_x), Deriche(f32(sigma_y), order_y)
    line = line_vector if vector else line_scalar
    if vector:
        cx, cy = FloatDeriche(cx), FloatDeriche(cy)
    stored = [float(v) for v in image]
    middle = [0] * len(image)
    for y in range(height):
        for k in range(4):
            base = y * width * 4 + k
            for x, v in enumerate(line(stored[base:base + width * 4:4], cx)):
                middle[base + x * 4] = blur_store(v, depth, vector)
    middle = [float(v) for v in middle]
    out = [0] * len(image)
    for x in range(width):
        for k in range(4):
            base = x * 4 + k
            for y, v in enumerate(line(middle[base::width * 4], cy)):
                out[base + y * width * 4] = blur_store(v, depth, vector)
    return out


# ------------------------------------------------------------------ blend --

LUMA = (f32(0.11), f32(0.59), f32(0.3))  # blue, green, red


def _luma(pixel, name):
    r_at, g_at, b_at, _ = roles(name)
    wb, wg, wr = LUMA
    return fadd(fmul(pixel[b_at], wb), fadd(fmul(pixel[g_at], wg), fmul(pixel[r_at], wr)))


def _alphas_scalar(a_alpha, b_alpha, opacity, depth):
    if depth == 8:
        return fdiv(a_alpha, 255.0), fdiv(fmul(b_alpha, opacity), 255.0)
    if depth == 16:
        return fmul(a_alpha, INV32768), fmul(fmul(b_alpha, opacity), INV32768)
    return a_alpha, fmul(b_alpha, opacity)


def _normalise_vector(pixel, depth):
    if depth == 8:
        return [fmul(float(c), BLEND_INV255) for c in pixel]
    if depth == 16:
        return [fmul(float(c), INV32768) for c in pixel]
    return list(pixel)


def _composite(a, b):
    r = fsub(fadd(a, b), fmul(a, b))
    return r, (fdiv(b, r) if r > 0.0 else b)


def blend(image_a, image_b, name, level, mode, opacity):
    """Modes 31 (stencil by luma) and 0 (normal); any other mode is 0."""
    depth = depth_of(name)
    opacity = f32(opacity)
    kernel = component_level(level, ("sse41", "ssse3", "sse2"))
    alpha = roles(name)[3]
    white = white_of(name)
    mask = 0xFF if depth == 8 else 0xFFFF
    out = []
    for p in range(0, len(image_a), 4):
        pa, pb = image_a[p:p + 4], image_b[p:p + 4]
        result = list(pa)
        if depth == 32 or kernel == "scalar":
            a, b = _alphas_scalar(pa[alpha], pb[alpha], opacity, depth)
            if mode == 31:
                luma = _luma(pb, name)
                if depth == 8:
                    luma = fdiv(luma, 255.0)
                elif depth == 16:
                    luma = fmul(luma, INV32768)
                value = fmul(fmul(luma, b), a)
                result[alpha] = value if depth == 32 else truncate(fadd(fmul(value, white), 0.5)) & mask
            else:
                r, w = _composite(a, b)
                for k in range(4):
                    if k == alpha:
                        continue
                    colour = fadd(fmul(fsub(pb[k], pa[k]), w), pa[k])
                    result[k] = colour if depth == 32 else truncate(fadd(colour, 0.5)) & mask
                result[alpha] = r if depth == 32 else truncate(fadd(fmul(r, white), 0.5)) & mask
        else:
            na, nb = _normalise_vector(pa, depth), _normalise_vector(pb, depth)
            a, b = na[alpha], fmul(nb[alpha], opacity)
            if mode == 31:
                value = fmul(fmul(_luma(nb, name), b), a)
                colours = na
            else:
                value, w = _composite(a, b)
                colours = [fadd(fmul(fsub(nb[k], na[k]), w), na[k]) for k in range(4)]
            for k in range(4):
                result[k] = narrow_vector(fmul(value if k == alpha else colours[k], white), depth, kernel)
        out.extend(result)
    return out


# --------------------------------------------------------------- schedule --

RAND48_SEED = (0x330E, 0xABCD, 0x1234, 0xE66D, 0xDEEC, 5, 11)


class Rand48:
    def __init__(self):
        self.words = list(RAND48_SEED)

    def next(self):
        a, b, c, m0, m1, m2, k = self.words
        x = (k + a * m0) & 0xFFFFFFFF
        y = (b * m0 + (x >> 16) + m1 * a) & 0xFFFFFFFF
        z = (m2 * a + ((m1 * b + c * m0) & 0xFFFFFFFF) + (y >> 16)) & 0xFFFFFFFF
        self.words[0:3] = [x & 0xFFFF, y & 0xFFFF, z & 0xFFFF]
        s0, s1, s2 = self.words[0:3]
        return f32(float(s0) * 2.0**-48 + float(s1) * 2.0**-32 + float(s2) * 2.0**-16)


def clamp_control(value, low, high):
    return low if low > value else high if value > high else value


def pulse_opacity(frame, quirk_time=3.0, random_quirk=0.0):
    """1.0 on a pulse frame, 0.0 in a gap; the controls already clamped."""
    frame = f32(float(frame))
    base = f32(quirk_time)
    spread = f32(random_quirk / 100.0)
    if frame < 0.0:
        return 0.0
    generator = Rand48()
    t = 0.0
    while True:
        end = fadd(t, 2.0)
        if end > frame:
            return 1.0
        r = generator.next()
        gap = fmul(fadd(fmul(fadd(fadd(r, r), -1.0), spread), 1.0), base)
        gap = max(1.0, gap)
        t = fadd(end, gap)
        if not frame >= t:
            return 0.0


# ------------------------------------------------------------ whole frame --

def downsample_factor(numerator, denominator):
    if numerator <= 0 or denominator == 0:
        return 1.0
    return fdiv(f32(float(numerator)), f32(float(denominator)))


def render(image, name, level, width, height, frame, quirk_time=3.0, random_quirk=0.0,
           increase=False, unmasked=False, downsample_x=(1, 1), downsample_y=(1, 1), blur_level=None):
    """One frame of the effect over a layer that fills the output.
    `blur_level` runs the blur as at another level (the other family)."""
    opacity = pulse_opacity(frame, clamp_control(quirk_time, 1.0, 100.0),
                            clamp_control(random_quirk, 0.0, 100.0))
    if unmasked:
        return list(image) if opacity >= 1.0 else [0.0 if depth_of(name) == 32 else 0] * len(image)
    levels = balance(image, name, level, True, 0.11, 0.165, 0.0, 0.2 if increase else 1.0)
    grey = hsvcc_grey(levels, name, level)
    sigma = 15.0 if increase else 30.0
    sigma_x = fmul(sigma, downsample_factor(*downsample_x))
    sigma_y = fmul(sigma, downsample_factor(*downsample_y))
    mask = blur(grey, name, blur_level or level, width, height, sigma_x, sigma_y)
    return blend(image, mask, name, level, 31, opacity)
