#!/usr/bin/env python3
"""The whole effect beside an ffmpeg filter chain of the same look, on the
same frame, in one run.

Our side is the effect through the built plug-in's PluginEntry and the
stand-in host (oz_bench, "effect/masked"), reading the frame from a file.
ffmpeg's side is the chain below, on the same file, with the frame looped so
that its own start-up drops out: the time per frame is the difference of
two runs of different lengths, divided by the difference of their frames.

    levels on the colour:   colorlevels (at depth 32: exposure with a black
                            level, ffmpeg 5 has no float colorlevels)
    a grey mix:             colorchannelmixer, the same weights into R, G, B
    a one-plane blur:       gblur sigma 30 on plane 0
    an alpha merge:         mergeplanes, the blurred plane as alpha

The two sides alternate within each repetition; the medians and their
ratio are printed per depth, size and thread count. Planar formats are
ffmpeg's fastest route here (its packed 16-bit chain converts to 8 bits,
since its alphamerge only takes 8-bit formats).

    bench/compare_ffmpeg.py [--build build/x64] [--repetitions 5]
                            [--sizes 1920x1080,3840x2160] [--depths 8,16,32]
                            [--threads 1,2] [--install]

Without ffmpeg it says so and stops, unless --install is given, which runs
apt-get install -y ffmpeg first.
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PLANAR = {8: "gbrap", 16: "gbrap16le", 32: "gbrapf32le"}
MIX = "colorchannelmixer=" + ":".join(
    f"{o}{i}={w}" for o in "rgb" for i, w in zip("rgb", ("0.3", "0.59", "0.11")))
LEVELS = "colorlevels=" + ":".join(f"{c}imin=0.11:{c}imax=0.165" for c in "rgb")
# out = (in - black) / (2^-exposure - black): 2^-exposure = 0.165 maps
# 0.11..0.165 to 0..1, as the levels above do.
EXPOSURE = "exposure=exposure=2.5995:black=0.11"


def chain(depth):
    levels = EXPOSURE if depth == 32 else LEVELS
    return (f"[0:v]split[a][b];[b]{levels},{MIX},gblur=sigma=30:planes=1[m];"
            f"[a][m]mergeplanes=0x00010210:{PLANAR[depth]}")


def ffmpeg_threads(threads):
    return ["-threads", str(threads), "-filter_threads", str(threads), "-filter_complex_threads", str(threads)]


def make_frame(path, width, height, depth):
    """A test picture with moving detail, as ffmpeg's planar format of the depth."""
    subprocess.run(["ffmpeg", "-hide_banner", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                    f"testsrc2=size={width}x{height}:rate=1", "-frames:v", "1", "-vf", f"format={PLANAR[depth]}",
                    "-f", "rawvideo", path], check=True)


def ffmpeg_seconds(path, width, height, depth, threads, frames):
    command = (["ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin"] + ffmpeg_threads(threads) +
               ["-stream_loop", str(frames - 1), "-f", "rawvideo", "-pix_fmt", PLANAR[depth], "-s",
                f"{width}x{height}", "-i", path, "-filter_complex", chain(depth), "-f", "null", "-"])
    start = time.perf_counter()
    subprocess.run(command, check=True)
    return time.perf_counter() - start


def ffmpeg_ms_per_frame(path, width, height, depth, threads, frames):
    short = ffmpeg_seconds(path, width, height, depth, threads, 1)
    long = ffmpeg_seconds(path, width, height, depth, threads, 1 + frames)
    return (long - short) * 1000.0 / frames


def ours(bench, path, width, depth, threads, min_time):
    name = f"^effect/masked/depth:{depth}/threads:{threads}/width:{width}/manual_time$"
    output = subprocess.run([bench, f"--benchmark_filter={name}", f"--benchmark_min_time={min_time}",
                             "--benchmark_format=json"], check=True, capture_output=True, text=True,
                            env=dict(os.environ, OZ_BENCH_FRAME=path)).stdout
    run = json.loads(output)["benchmarks"][0]
    return run["real_time"], run


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", default="build/x64")
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--sizes", default="1920x1080,3840x2160")
    parser.add_argument("--depths", default="8,16,32")
    parser.add_argument("--threads", default="1,2")
    parser.add_argument("--install", action="store_true", help="apt-get install -y ffmpeg when it is missing")
    arguments = parser.parse_args()

    if not shutil.which("ffmpeg") and arguments.install:
        subprocess.run(["apt-get", "install", "-y", "ffmpeg"], check=True)
    if not shutil.which("ffmpeg"):
        print("compare_ffmpeg: ffmpeg is not installed; nothing to compare (--install installs it)")
        return 0
    bench = os.path.join(arguments.build, "bench", "oz_bench")
    if not os.access(bench, os.X_OK):
        print(f"compare_ffmpeg: no {bench}; build the x64 preset first", file=sys.stderr)
        return 2

    sizes = [tuple(int(v) for v in size.split("x")) for size in arguments.sizes.split(",")]
    depths = [int(d) for d in arguments.depths.split(",")]
    thread_counts = [int(t) for t in arguments.threads.split(",")]
    print(f"{'depth':>5} {'size':>9} {'thr':>3} {'ours ms':>8} {'ffmpeg ms':>9} {'ratio':>6} "
          f"{'copy ms':>8} {'x copy':>6} {'est MB':>7} {'peak MB':>7}")
    with tempfile.TemporaryDirectory() as directory:
        for width, height in sizes:
            # Long enough that a run takes about a second, short enough to
            # repeat: the per-frame figure is a difference of two process
            # times, whose jitter the frame count divides.
            frames = 30 if width * height <= 1920 * 1080 else 8
            min_time = 0.5 if width * height <= 1920 * 1080 else 1.0
            for depth in depths:
                path = os.path.join(directory, f"frame_{width}x{height}_{depth}.raw")
                make_frame(path, width, height, depth)
                for threads in thread_counts:
                    mine, theirs, runs = [], [], []
                    for repetition in range(arguments.repetitions):
                        # Alternate which side goes first, so that neither always
                        # meets the machine right after the other.
                        sides = ["ours", "ffmpeg"] if repetition % 2 == 0 else ["ffmpeg", "ours"]
                        for side in sides:
                            if side == "ours":
                                value, run = ours(bench, path, width, depth, threads, min_time)
                                mine.append(value)
                                runs.append(run)
                            else:
                                theirs.append(ffmpeg_ms_per_frame(path, width, height, depth, threads, frames))
                    a, b = statistics.median(mine), statistics.median(theirs)
                    copy = statistics.median(run["copy_ms"] for run in runs)
                    print(f"{depth:>5} {width}x{height:<4} {threads:>3} {a:>8.1f} {b:>9.1f} {a / b:>6.2f} "
                          f"{copy:>8.2f} {a / copy:>6.1f} {runs[0]['estimate_MB']:>7.1f} "
                          f"{max(run['host_peak_MB'] for run in runs):>7.1f}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
