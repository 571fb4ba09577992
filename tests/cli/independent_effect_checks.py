#!/usr/bin/env python3
"""The tool's colour filters, blend and whole-frame render against the second
reading in effect_model.py. Usage:
independent_effect_checks.py [EMULATOR...] PATH_TO_STROBE_QUIRK

Every processor level that the tool accepts on this machine is checked. The
blend and the render are skipped, with a line that says so, while the tool
does not know them.

Tolerances. Schedule, levels, hue/saturation, blend and both blur families
are compared exactly at every level (but for a 16-bit alpha above 32768,
which a vector hue/saturation kernel limits or copies by the pixel's place
in a four-pixel block), and so is the rendered colour (the
stencil keeps the layer's colour). The rendered alpha is compared exactly at
the scalar level, on gap frames (opacity 0 makes it 0) and on unmasked
frames (source or transparent). Elsewhere it is read from the blurred mask,
whose vector family forms each feed-forward sum in float, in an order that
the model takes left to right: there the alpha is held to the distance
between the two blur families on the same frame (the model's render with
the double recursion against the one with the float sums, everything else
at the same level), and never less than one step of the format.
"""

import math
import os
import random
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import effect_model as model  # noqa: E402
from independent_checks import FORMATS, pack, pixels  # noqa: E402

# One step of each depth; float takes the spacing of floats just below 1.
STEP = {8: 1, 16: 1, 32: 2.0**-24}
REPORT_LIMIT = 8


class Tool:
    def __init__(self, command, folder):
        self.command = command
        self.folder = folder
        self.runs = 0

    def path(self, name):
        return os.path.join(self.folder, name)

    def run(self, *arguments):
        self.runs += 1
        return subprocess.run([*self.command, *arguments], capture_output=True, text=True)

    def must(self, *arguments):
        result = self.run(*arguments)
        if result.returncode != 0:
            raise SystemExit("strobe-quirk %s failed: %s" % (" ".join(arguments), result.stderr.strip()))
        return result

    def image(self, name, fmt, values):
        path = self.path(name)
        with open(path, "wb") as out:
            out.write(pack(fmt, values))
        return path

    def output(self, fmt, path):
        with open(path, "rb") as got:
            return pixels(fmt, got.read())

    def filter(self, name, fmt, size, level, threads, options, *images):
        out = self.path("out.raw")
        self.must("filter", name, *options, "--cpu", level, "--threads", str(threads), "--format", fmt,
                  "--size", "%dx%d" % size, *images, out)
        return self.output(fmt, out)

    def knows(self, *arguments):
        """False when the tool answers that the command or filter is unknown."""
        result = self.run(*arguments, "--help")
        text = (result.stdout + result.stderr).lower()
        return result.returncode == 0 and "unknown" not in text

    def levels(self):
        width, height = 2, 1
        probe = self.image("probe.raw", "argb8", [0] * (width * height * 4))
        found = []
        for level in model.LEVELS:
            result = self.run("filter", "balance", "--cpu", level, "--format", "argb8", "--size", "2x1", probe,
                              self.path("probe-out.raw"))
            if result.returncode == 0:
                found.append(level)
            elif "lacks" not in result.stderr:
                raise SystemExit("strobe-quirk --cpu %s: %s" % (level, result.stderr.strip()))
        return found


class Tally:
    def __init__(self):
        self.failures = 0
        self.checked = 0
        self.inexact = 0

    def compare(self, label, expected, actual, tolerance=0.0, alternatives=None):
        """Counts components outside `tolerance` (or not among `alternatives`)."""
        self.checked += 1
        bad = []
        for i, (e, a) in enumerate(zip(expected, actual)):
            if alternatives and i in alternatives:
                if a not in alternatives[i]:
                    bad.append((i, e, a))
                continue
            if e == a or (isinstance(e, float) and math.isnan(e) and math.isnan(a)):
                continue
            self.inexact += 1
            if not abs(e - a) <= tolerance:
                bad.append((i, e, a))
        if len(expected) != len(actual):
            bad.append(("size", len(expected), len(actual)))
        if bad:
            self.failures += 1
            print("MISMATCH %s: %d components, first: %s" % (
                label, len(bad), ", ".join("[%s] expected %r got %r" % item for item in bad[:REPORT_LIMIT])))


def values_in_range(fmt, count, rng, near=None, spill=False):
    """Components spread over the format's range, a share of them `near` a
    value (as a fraction of white). With `spill`, 16-bit values above 32768 and
    float values outside 0..1 appear too."""
    code = FORMATS[fmt][0]
    white = {"B": 255, "H": 32768, "f": 1.0}[code]
    out = []
    for i in range(count):
        if near is not None and rng.random() < 0.5:
            fraction = near[0] + rng.random() * (near[1] - near[0])
        else:
            fraction = rng.random()
        if spill and rng.random() < 0.05:
            fraction = rng.choice((1.0, 1.25, -0.25)) if code == "f" else rng.choice((1.0, 1.5, 1.999))
        if code == "f":
            out.append(model.f32(fraction))
        else:
            out.append(min(int(max(fraction, 0.0) * white + 0.5), 65535 if code == "H" else 255))
    return out


# -------------------------------------------------------------- filters --

def check_balance(tool, tally, levels, rng):
    size = (11, 6)
    settings = [
        # clamp, in black, in white, out black, out white
        (True, 0.11, 0.165, 0.0, 1.0),
        (True, 0.11, 0.165, 0.0, 0.2),
        (False, 0.2, 0.7, 0.1, 1.3),
        (True, 0.5, 0.5, 0.25, 1.0),
        # Offsets just above half a 16-bit step: the biased 16-bit store of
        # SSE2 and the unsigned one of SSE4.1 part ways here.
        (False, 0.0, 1.0, 2**-16 + 2**-27, 1.0 + 2**-16 + 2**-27),
    ]
    for fmt in FORMATS:
        values = values_in_range(fmt, size[0] * size[1] * 4, rng, near=(0.1, 0.17), spill=True)
        path = tool.image("balance.raw", fmt, values)
        for clamp, ib, iw, ob, ow in settings:
            options = ["--in-black", repr(ib), "--in-white", repr(iw), "--out-black", repr(ob),
                       "--out-white", repr(ow)] + (["--clamp"] if clamp else [])
            for level in levels:
                expected = model.balance(values, fmt, level, clamp, ib, iw, ob, ow)
                actual = tool.filter("balance", fmt, size, level, 2, options, path)
                tally.compare("balance %s %s %s" % (fmt, level, " ".join(options)), expected, actual)


def every_byte_as_largest(rng):
    """256 pixels, the largest colour channel of pixel i being i."""
    values = []
    for largest in range(256):
        colour = [largest, rng.randrange(largest + 1), rng.randrange(largest + 1)]
        rng.shuffle(colour)
        values += [rng.randrange(256)] + colour
    return values


def check_hsvcc(tool, tally, levels, rng):
    size = (16, 16)
    for fmt in FORMATS:
        if model.depth_of(fmt) == 8:  # vector blocks and single pixels round apart unless the grey is exact
            values = every_byte_as_largest(rng)
        else:
            values = values_in_range(fmt, size[0] * size[1] * 4, rng, spill=True)
        path = tool.image("hsvcc.raw", fmt, values)
        grey = ["--saturation", "0", "--hue-shift", "0", "--value", "1"]
        for level in levels:
            expected = model.hsvcc_grey(values, fmt, level)
            actual = tool.filter("hsvcc", fmt, size, level, 2, grey, path)
            tally.compare("hsvcc grey %s %s" % (fmt, level), expected, actual,
                          alternatives=model.grey_alternatives(values, fmt, level, expected))
        # The general conversion, at the scalar level, where every pixel takes it.
        for hue, saturation, value in ((0.25, 0.5, 1.0), (-0.4, 1.5, 0.75), (0.75, 1.0, 1.0)):
            options = ["--hue-shift", repr(hue), "--saturation", repr(saturation), "--value", repr(value)]
            expected = model.hsvcc_scalar(values, fmt, hue, saturation, value)
            actual = tool.filter("hsvcc", fmt, size, "scalar", 1, options, path)
            tally.compare("hsvcc %s scalar %s" % (fmt, " ".join(options)), expected, actual)


def check_blur(tool, tally, levels, rng):
    size = (23, 17)
    for fmt in FORMATS:
        values = values_in_range(fmt, size[0] * size[1] * 4, rng)
        path = tool.image("blur.raw", fmt, values)
        for sx, sy, thread_counts in ((30.0, 30.0, (1, 3)), (15.0, 7.5, (2,)), (2.5, 0.0, (2,))):
            options = ["--sigma-x", repr(sx), "--sigma-y", repr(sy)]
            for level in levels:
                expected = model.blur(values, fmt, level, size[0], size[1], sx, sy)
                for threads in thread_counts:
                    actual = tool.filter("blur", fmt, size, level, threads, options, path)
                    tally.compare("blur %s %s threads %d %s" % (fmt, level, threads, " ".join(options)),
                                  expected, actual)


def check_blend(tool, tally, levels, rng):
    if not tool.knows("filter", "blend"):
        print("skipped: blend (the tool has no blend filter yet)")
        return
    size = (9, 4)
    for fmt in FORMATS:
        count = size[0] * size[1] * 4
        a_values = values_in_range(fmt, count, rng, spill=True)
        b_values = values_in_range(fmt, count, rng)
        alpha = model.roles(fmt)[3]
        for i in range(alpha, count, 4):  # the alphas in range: the stencil's product then is too
            a_values[i] = abs(a_values[i]) if model.depth_of(fmt) == 32 else min(a_values[i], int(model.white_of(fmt)))
        a_path = tool.image("blend-a.raw", fmt, a_values)
        b_path = tool.image("blend-b.raw", fmt, b_values)
        for mode, opacity in ((31, 1.0), (31, 0.0), (31, 0.6), (0, 1.0), (0, 0.0), (0, 0.35)):
            options = ["--mode", str(mode), "--opacity", repr(opacity)]
            for level in levels:
                expected = model.blend(a_values, b_values, fmt, level, mode, opacity)
                actual = tool.filter("blend", fmt, size, level, 2, options, a_path, b_path)
                tally.compare("blend %s %s %s" % (fmt, level, " ".join(options)), expected, actual)


def check_schedule(tool, tally):
    for quirk_time, random_quirk in ((3.0, 0.0), (1.0, 0.0), (1.0, 100.0), (4.5, 100.0), (2.0, 37.0)):
        result = tool.must("schedule", "--quirk-time", repr(quirk_time), "--random-quirk", repr(random_quirk),
                           "--first", "-2", "--last", "300")
        actual = [float(line.split()[1]) for line in result.stdout.split("\n") if line.strip()]
        expected = [model.pulse_opacity(frame, quirk_time, random_quirk) for frame in range(-2, 301)]
        tally.compare("schedule T=%r R=%r" % (quirk_time, random_quirk), expected, actual)


# --------------------------------------------------------------- render --

RENDER_CASES = [
    # frame, options, model arguments
    (0, [], {}),
    (3, [], {}),
    (6, ["--increase-quirky"], {"increase": True}),
    (8, ["--increase-quirky"], {"increase": True}),
    (1, ["--unmasked"], {"unmasked": True}),
    (2, ["--unmasked"], {"unmasked": True}),
    (5, ["--downsample-x", "1/2", "--downsample-y", "1/2"], {"downsample_x": (1, 2), "downsample_y": (1, 2)}),
    (4, ["--quirk-time", "1", "--random-quirk", "100"], {"quirk_time": 1.0, "random_quirk": 100.0}),
    (9, ["--quirk-time", "250", "--random-quirk", "-5"], {"quirk_time": 250.0, "random_quirk": -5.0}),
]


def model_level(level):
    """SSSE3 adds nothing to the arithmetic of any filter of the effect."""
    return "sse2" if level == "ssse3" else level


def render_tolerance(render, level, arguments, opacity, fmt):
    """Exact where the blurred mask cannot reach the alpha: the scalar level,
    gap frames and unmasked frames. Elsewhere the distance between the blur
    families, at least one step."""
    if level == "scalar" or opacity <= 0.0 or arguments.get("unmasked"):
        return 0.0
    alpha = model.roles(fmt)[3]
    vector_family, double_family = render(level, None), render(level, "scalar")
    distance = max(abs(a - b) for a, b in zip(vector_family[alpha::4], double_family[alpha::4]))
    return max(distance, STEP[model.depth_of(fmt)])


def check_render(tool, tally, levels, rng):
    if not tool.knows("render"):
        print("skipped: render (the tool has no render command yet)")
        return
    width, height = 40, 30
    for fmt in FORMATS:
        values = values_in_range(fmt, width * height * 4, rng, near=(0.08, 0.2), spill=model.depth_of(fmt) == 16)
        path = tool.image("render-in.raw", fmt, values)
        alpha = model.roles(fmt)[3]
        colour = [i for i in range(len(values)) if i % 4 != alpha]
        for frame, options, arguments in RENDER_CASES:
            opacity = model.pulse_opacity(frame, model.clamp_control(arguments.get("quirk_time", 3.0), 1.0, 100.0),
                                          model.clamp_control(arguments.get("random_quirk", 0.0), 0.0, 100.0))
            cache = {}

            def render(level, blur_level):
                key = (model_level(level), blur_level)
                if key not in cache:
                    cache[key] = model.render(values, fmt, key[0], width, height, frame, blur_level=blur_level,
                                              **arguments)
                return cache[key]

            for level in levels:
                expected = render(level, None)
                out = tool.path("render-out.raw")
                tool.must("render", "--frame", str(frame), *options, "--cpu", level, "--threads", "2",
                          "--format", fmt, "--size", "%dx%d" % (width, height), path, out)
                actual = tool.output(fmt, out)
                label = "render %s %s frame %d %s" % (fmt, level, frame, " ".join(options))
                tally.compare(label + " colour", [expected[i] for i in colour], [actual[i] for i in colour])
                tally.compare(label + " alpha", expected[alpha::4], actual[alpha::4],
                              render_tolerance(render, level, arguments, opacity, fmt))


def main():
    command = sys.argv[1:]
    if not command:
        raise SystemExit(__doc__)
    rng = random.Random(20261213)
    tally = Tally()
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(command, folder)
        levels = tool.levels()
        print("levels: %s" % " ".join(levels))
        check_schedule(tool, tally)
        check_balance(tool, tally, levels, rng)
        check_hsvcc(tool, tally, levels, rng)
        check_blur(tool, tally, levels, rng)
        check_blend(tool, tally, levels, rng)
        check_render(tool, tally, levels, rng)
    print("independent effect checks: %d comparisons, %d runs, %d mismatching, %d components inexact within tolerance"
          % (tally.checked, tool.runs, tally.failures, tally.inexact))
    return 1 if tally.failures else 0


if __name__ == "__main__":
    sys.exit(main())
