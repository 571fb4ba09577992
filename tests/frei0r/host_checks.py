#!/usr/bin/env python3
"""The frei0r module inside a real host, frame by frame against the application.

    host_checks.py ffmpeg|melt|gstreamer MODULE_DIR PROBE_DIR RENDERER

First the channel probe (PROBE_DIR/channel_probe.so, a filter that declares
the module's colour model, B, G, R, A) shows that the host hands over that
order both ways: the effect treats red and blue alike, so its own frames
could not show a host that swaps them. Then a 64x48 clip of 12 frames at 25 fps goes through the host with the module
found through FREI0R_PATH=MODULE_DIR, once at the default controls and once
with "Quirk Time" 1 and "Increase Quirky". Every frame must equal, byte for
byte, what RENDERER makes of the same pixels at the same frame number. The
clip is 8-bit R, G, B, A, as the hosts read and write raw video; the renderer
takes B, G, R, A, so each frame is swizzled on the way in and back out.

RENDERER is a program with the arguments of `strobe-quirk render`; when it is
strobe-quirk itself, the subcommand is added. A host that is not installed
is skipped with exit status 77 and a line that says so.
"""

import os
import shutil
import subprocess
import sys
import tempfile

WIDTH, HEIGHT, FRAMES, RATE = 64, 48, 12, 25
FRAME_BYTES = WIDTH * HEIGHT * 4
SKIP = 77

# The filter's name in each host.
EFFECT = {"ffmpeg": "strobe_quirk", "melt": "frei0r.strobe_quirk", "gstreamer": "frei0r-filter-strobe-quirk"}
PROBE = {"ffmpeg": "channel_probe", "melt": "frei0r.channel_probe", "gstreamer": "frei0r-filter-channel-probe"}

# What the probe paints into the first pixel, read back as R, G, B, A.
PROBE_PIXEL = bytes((0x11, 0x22, 0x33, 0x44))

# name, renderer arguments, and the settings in each host: ffmpeg's are
# positional with booleans y/n, the sixth "Time In Milliseconds", since
# ffmpeg passes milliseconds; melt and GStreamer pass seconds.
CONTROL_SETS = [
    ("default controls", [], {"ffmpeg": ["3|0|n|n|25|y"], "melt": [], "gstreamer": []}),
    ('"Quirk Time" 1 with "Increase Quirky"', ["--quirk-time", "1", "--increase-quirky"],
     {"ffmpeg": ["1|0|y|n|25|y"], "melt": ["Quirk Time=1", "Increase Quirky=1"],
      "gstreamer": ["quirk-time=1", "increase-quirky=true"]}),
]


def clip_rgba():
    """Bright shapes moving over a dark, partly transparent background; red
    and blue differ everywhere, so a swapped channel order shows."""
    out = bytearray()
    for n in range(FRAMES):
        for y in range(HEIGHT):
            for x in range(WIDTH):
                dx, dy = x - (n * 5) % WIDTH, y - HEIGHT // 2
                bright = dx * dx + dy * dy < 144 or (x + 2 * y + n) % 23 < 3
                if bright:
                    out += bytes((250 - x % 7, 230, 120 + y % 50, 255))
                else:
                    out += bytes((20 + x % 40, 10 + y % 30, 60 + (x + y) % 50, 96 + (x * 3 + y) % 120))
    return bytes(out)


def swap_red_blue(frame):
    swapped = bytearray(frame)
    swapped[0::4], swapped[2::4] = frame[2::4], frame[0::4]
    return bytes(swapped)


def run(command, env=None):
    result = subprocess.run(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    if result.returncode != 0:
        sys.exit("host_checks: %s failed (%d): %s" % (command[0], result.returncode,
                                                      result.stderr.decode(errors="replace").strip()[-2000:]))
    return result


def reference_frames(renderer, arguments, clip, work):
    command = [renderer] + (["render"] if os.path.basename(renderer) == "strobe-quirk" else [])
    frames = []
    for n in range(FRAMES):
        source, target = os.path.join(work, "in.bgra"), os.path.join(work, "out.bgra")
        with open(source, "wb") as f:
            f.write(swap_red_blue(clip[n * FRAME_BYTES:(n + 1) * FRAME_BYTES]))
        run(command + ["--frame", str(n)] + arguments +
            ["--format", "bgra8", "--size", "%dx%d" % (WIDTH, HEIGHT), source, target])
        with open(target, "rb") as f:
            frames.append(swap_red_blue(f.read()))
    return frames


def through_ffmpeg(work, env, name, settings):
    out = os.path.join(work, "ffmpeg.rgba")
    params = ":filter_params=" + settings[0] if settings else ""
    run(["ffmpeg", "-nostdin", "-v", "error", "-f", "rawvideo", "-pix_fmt", "rgba", "-s", "%dx%d" % (WIDTH, HEIGHT),
         "-r", str(RATE), "-i", os.path.join(work, "clip.rgba"),
         "-vf", "frei0r=filter_name=" + name + params, "-f", "rawvideo", "-pix_fmt", "rgba", "-y", out], env)
    return out


def through_melt(work, env, name, settings):
    # melt reads the clip from a container, and renders at its profile's size and rate.
    clip = os.path.join(work, "clip.mkv")
    if not os.path.exists(clip):
        run(["ffmpeg", "-nostdin", "-v", "error", "-f", "rawvideo", "-pix_fmt", "rgba", "-s",
             "%dx%d" % (WIDTH, HEIGHT), "-r", str(RATE), "-i", os.path.join(work, "clip.rgba"),
             "-c:v", "rawvideo", "-pix_fmt", "rgba", "-y", clip], env)
    profile = os.path.join(work, "profile")
    with open(profile, "w") as f:
        # melt 7.12 crashes on a profile without a description.
        f.write("description=%dx%d %d fps\nwidth=%d\nheight=%d\nframe_rate_num=%d\nframe_rate_den=1\nprogressive=1\n"
                "sample_aspect_num=1\nsample_aspect_den=1\ndisplay_aspect_num=%d\ndisplay_aspect_den=%d\n"
                % (WIDTH, HEIGHT, RATE, WIDTH, HEIGHT, RATE, WIDTH, HEIGHT))
    out = os.path.join(work, "melt.rgba")
    run(["melt", "-quiet", "-profile", profile, clip, "out=%d" % (FRAMES - 1),
         "-filter", name] + settings +
        ["-consumer", "avformat:" + out, "f=rawvideo", "vcodec=rawvideo", "pix_fmt=rgba", "an=1", "real_time=-1"],
        env)
    return out


def through_gstreamer(work, env, name, settings):
    out = os.path.join(work, "gstreamer.rgba")
    run(["gst-launch-1.0", "-q", "filesrc", "location=" + os.path.join(work, "clip.rgba"),
         "blocksize=%d" % FRAME_BYTES, "!", "rawvideoparse", "width=%d" % WIDTH, "height=%d" % HEIGHT,
         "format=rgba", "framerate=%d/1" % RATE, "!", "videoconvert", "!", name] +
        settings + ["!", "videoconvert", "!", "video/x-raw,format=RGBA", "!", "filesink", "location=" + out], env)
    return out


HOSTS = {
    "ffmpeg": (["ffmpeg"], through_ffmpeg),
    "melt": (["melt", "ffmpeg"], through_melt),
    "gstreamer": (["gst-launch-1.0", "gst-inspect-1.0"], through_gstreamer),
}


def first_difference(got, want):
    for i, (a, b) in enumerate(zip(got, want)):
        if a != b:
            pixel = i // 4
            return "pixel (%d, %d) byte %d (RGBA): %d against %d" % (pixel % WIDTH, pixel // WIDTH, i % 4, a, b)
    return "lengths %d and %d" % (len(got), len(want))


def main():
    if len(sys.argv) != 5 or sys.argv[1] not in HOSTS:
        sys.exit(__doc__)
    host, module_dir, probe_dir, renderer = sys.argv[1], os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[3]), \
        sys.argv[4]
    programs, through_host = HOSTS[host]
    missing = [p for p in programs if shutil.which(p) is None]
    if missing:
        print("SKIP: %s not installed (scripts/install-deps installs it)" % ", ".join(missing))
        return SKIP

    with tempfile.TemporaryDirectory() as work:
        # Only the built module on the search path, and no user's or cached
        # plug-ins: a fresh home and a fresh GStreamer registry.
        def environment(folder, registry):
            return dict(os.environ, FREI0R_PATH=folder, HOME=work, GST_REGISTRY=os.path.join(work, registry))

        env = environment(module_dir, "registry.bin")
        if host == "gstreamer":
            inspect = subprocess.run(["gst-inspect-1.0", "frei0r-filter-strobe-quirk"], env=env,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            if inspect.returncode != 0:
                print("SKIP: GStreamer's frei0r elements are missing (Debian: gstreamer1.0-plugins-bad)")
                return SKIP
        clip = clip_rgba()
        with open(os.path.join(work, "clip.rgba"), "wb") as f:
            f.write(clip)

        with open(through_host(work, environment(probe_dir, "probe-registry.bin"), PROBE[host], []), "rb") as f:
            probed = f.read()
        if probed[:4] != PROBE_PIXEL or probed[4:FRAME_BYTES] != clip[4:FRAME_BYTES]:
            print("FAIL %s does not hand over B, G, R, A as declared: the probe's first pixel came back as %s, "
                  "the rest %s" % (host, probed[:4].hex(" "),
                                   "unchanged" if probed[4:FRAME_BYTES] == clip[4:FRAME_BYTES] else "changed"))
            return 1
        print("%s hands over B, G, R, A both ways, as the module declares" % host)

        failures = 0
        for control in CONTROL_SETS:
            want = reference_frames(renderer, control[1], clip, work)
            with open(through_host(work, env, EFFECT[host], control[2][host]), "rb") as f:
                got = f.read()
            if len(got) != FRAMES * FRAME_BYTES:
                print("FAIL %s, %s: %d bytes, not %d frames" % (host, control[0], len(got), FRAMES))
                failures += 1
                continue
            differing = 0
            for n in range(FRAMES):
                frame = got[n * FRAME_BYTES:(n + 1) * FRAME_BYTES]
                if frame != want[n]:
                    print("FAIL %s, %s, frame %d: %s" % (host, control[0], n, first_difference(frame, want[n])))
                    differing += 1
            if not differing:
                print("%s, %s: frames 0 to %d equal the application's" % (host, control[0], FRAMES - 1))
            failures += differing
        return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
