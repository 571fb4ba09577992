#!/usr/bin/env python3
"""The tool's conversions and alpha filters against a second, independent
reading of their arithmetic, written here in Python with 32-bit float
rounding emulated. Usage: independent_checks.py [EMULATOR...] PATH_TO_STROBE_QUIRK
(an emulator such as qemu-i386 runs a 32-bit tool where the kernel cannot)."""

import math
import os
import random
import struct
import subprocess
import sys
import tempfile

FORMATS = {
    # name: (component struct code, bytes, white, positions of R, G, B, A)
    "argb8": ("B", 1, 255, (1, 2, 3, 0)),
    "bgra8": ("B", 1, 255, (2, 1, 0, 3)),
    "argb16": ("H", 2, 32768, (1, 2, 3, 0)),
    "bgra16": ("H", 2, 32768, (2, 1, 0, 3)),
    "argb32": ("f", 4, 1.0, (1, 2, 3, 0)),
    "bgra32": ("f", 4, 1.0, (2, 1, 0, 3)),
}


def f32(value):
    """Rounds a Python float to the nearest 32-bit float."""
    return struct.unpack("<f", struct.pack("<f", value))[0]


def truncate(value):
    """Truncation toward zero as the processor does it: out of range or NaN
    gives the integer indefinite, 0x80000000."""
    if math.isnan(value) or value >= 2**31 or value < -(2**31):
        return -(2**31)
    return int(value)


def convert(value, source, target):
    s_code, t_code = FORMATS[source][0], FORMATS[target][0]
    if s_code == t_code:
        return value
    if t_code == "B":
        if s_code == "H":
            return ((value * 255) >> 15) & 0xFF
        if value > 1.0:
            return 255
        return truncate(f32(max(value, 0.0) * 255.0)) & 0xFF if not math.isnan(value) else truncate(value) & 0xFF
    if t_code == "H":
        if s_code == "B":
            return (value * 32768) // 255
        if value > 1.0:
            return 32768
        return truncate(f32(max(value, 0.0) * 32768.0)) & 0xFFFF if not math.isnan(value) else 0
    if s_code == "B":
        return f32(value / 255.0)
    return f32(value * f32(3.0517578e-5))


def pixels(name, data):
    code, size, _, _ = FORMATS[name]
    count = len(data) // size
    return list(struct.unpack("<%d%s" % (count, code), data))


def pack(name, values):
    return struct.pack("<%d%s" % (len(values), FORMATS[name][0]), *values)


def sample_values(name, count, rng):
    code = FORMATS[name][0]
    if code == "B":
        edges = [0, 1, 127, 128, 254, 255]
        return [edges[i] if i < len(edges) else rng.randrange(256) for i in range(count)]
    if code == "H":
        edges = [0, 1, 255, 32767, 32768, 32769, 65535]
        return [edges[i] if i < len(edges) else rng.randrange(65536) for i in range(count)]
    edges = [f32(v) for v in (0.0, 1.0, 1.5, -0.5, float("nan"), float("inf"), -float("inf"), 0.999, 2.0 ** -20)]
    return [edges[i] if i < len(edges) else f32(rng.uniform(-0.25, 1.25)) for i in range(count)]


def run(tool, *arguments):
    result = subprocess.run([*tool, *arguments], capture_output=True, text=True)
    if result.returncode != 0:
        raise SystemExit("%s failed: %s" % (" ".join(arguments), result.stderr))


def same(a, b):
    return a == b or (isinstance(a, float) and isinstance(b, float) and math.isnan(a) and math.isnan(b))


def check_convert(tool, folder, rng):
    width, height = 7, 5
    failures = 0
    for source in FORMATS:
        values = sample_values(source, width * height * 4, rng)
        path = os.path.join(folder, "in.raw")
        with open(path, "wb") as out:
            out.write(pack(source, values))
        for target in FORMATS:
            result = os.path.join(folder, "out.raw")
            run(tool, "convert", "--format", source, "--to", target, "--size", "%dx%d" % (width, height), path, result)
            with open(result, "rb") as got:
                produced = pixels(target, got.read())
            s_pos, t_pos = FORMATS[source][3], FORMATS[target][3]
            for p in range(width * height):
                for channel in range(4):
                    expected = convert(values[p * 4 + s_pos[channel]], source, target)
                    actual = produced[p * 4 + t_pos[channel]]
                    if not same(expected, actual):
                        failures += 1
                        if failures < 10:
                            print("convert %s -> %s pixel %d channel %d: expected %r, got %r"
                                  % (source, target, p, channel, expected, actual))
    return failures


def alpha_expected(name, pixel, operation):
    code, _, _, positions = FORMATS[name]
    alpha = pixel[positions[3]]
    if code == "B":
        a = f32(alpha / 255.0)
    elif code == "H":
        a = f32(alpha * f32(3.0517578e-5))
    else:
        a = alpha
    factor = a if operation == "premult" else (f32(1.0 / a) if a > 0 else 1.0)
    out = list(pixel)
    for channel in range(3):
        i = positions[channel]
        if code == "f":
            out[i] = f32(pixel[i] * factor)
        else:
            mask = 0xFF if code == "B" else 0xFFFF
            out[i] = truncate(f32(f32(pixel[i] * factor) + 0.5)) & mask
    return out


def check_alpha(tool, folder, rng):
    width, height = 9, 70
    failures = 0
    for name in FORMATS:
        values = sample_values(name, width * height * 4, rng)
        if FORMATS[name][0] == "f":
            values = [0.5 if (math.isnan(v) or math.isinf(v)) else v for v in values]
        path = os.path.join(folder, "alpha.raw")
        with open(path, "wb") as out:
            out.write(pack(name, values))
        for operation in ("premult", "unmult"):
            for threads in ("1", "3"):
                result = os.path.join(folder, "alpha-out.raw")
                run(tool, "filter", operation, "--threads", threads, "--format", name, "--size",
                    "%dx%d" % (width, height), path, result)
                with open(result, "rb") as got:
                    produced = pixels(name, got.read())
                for p in range(width * height):
                    expected = alpha_expected(name, values[p * 4:p * 4 + 4], operation)
                    actual = produced[p * 4:p * 4 + 4]
                    if not all(same(e, a) for e, a in zip(expected, actual)):
                        failures += 1
                        if failures < 10:
                            print("%s %s pixel %d: expected %r, got %r" % (operation, name, p, expected, actual))
    return failures


def main():
    tool = sys.argv[1:]
    rng = random.Random(20261122)
    with tempfile.TemporaryDirectory() as folder:
        failures = check_convert(tool, folder, rng) + check_alpha(tool, folder, rng)
    print("independent checks: %d mismatches" % failures)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
