#!/usr/bin/env python3
"""The frei0r module inside a real host, frame by frame against `strobe-quirk render`.

    host_checks.py ffmpeg|melt|gstreamer MODULE_DIR PROBE_DIR STROBE_QUIRK

First the channel probe (PROBE_DIR/channel_probe.so, a filter that declares
the module's colour model, B, G, R, A) shows that the host hands over that
order both ways: the effect treats red and blue alike, so its own frames
could not show a host that swaps them. Then a 64x48 clip of 12 frames at 25
fps goes through the host with the module found through FREI0R_PATH=MODULE_DIR:
at the default controls, with "Quirk Time" 1 and "Increase Quirky", with
values outside the controls' ranges, and, where the host can be made to, with
the frames asked for out of order. Every frame must equal, byte for byte, what
`STROBE_QUIRK render --format bgra8` makes of the same pixels at the same frame
number. The clip is 8-bit R, G, B, A, as the hosts read and write raw video;
render takes B, G, R, A, so each frame is swizzled on the way in and back out.

A host that is not installed is skipped with exit status 77 and a line that
says so.
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

# Frame numbers in the order they are asked for when seeking: every frame
# once, never two neighbours in a row.
SEEK_ORDER = [(n * 5) % FRAMES for n in range(FRAMES)]


class Case:
    """Controls as each host takes them, and the same controls for render.
    ffmpeg's are positional with booleans y/n, the sixth "Time In
    Milliseconds", since ffmpeg passes milliseconds; melt and GStreamer pass
    seconds. GStreamer holds every double to 0..1 before the module sees it."""

    def __init__(self, name, render, settings, seek=False):
        self.name, self.render, self.settings, self.seek = name, render, settings, seek


CASES = [
    Case("default controls", [], {"ffmpeg": ["3|0|n|n|25|y"], "melt": [], "gstreamer": []}),
    Case('"Quirk Time" 1 with "Increase Quirky"', ["--quirk-time", "1", "--increase-quirky"],
         {"ffmpeg": ["1|0|y|n|25|y"], "melt": ["Quirk Time=1", "Increase Quirky=1"],
          "gstreamer": ["quirk-time=1", "increase-quirky=true"]}),
    # Each clamp changes frames here: "Quirk Time" 1 against the default
    # 3, "Random Quirk" 100 against 0.
    Case("values outside the ranges, clamped", ["--quirk-time", "1", "--random-quirk", "100"],
         {"ffmpeg": ["-5|150|n|n|25|y"], "melt": ["Quirk Time=-5", "Random Quirk=150"]}),
    Case("values outside the ranges, clamped", ["--quirk-time", "1", "--increase-quirky"],
         {"gstreamer": ["quirk-time=0", "increase-quirky=true"]}),
    Case('frames asked out of order, "Quirk Time" 1 with "Increase Quirky"', ["--quirk-time", "1", "--increase-quirky"],
         {"ffmpeg": ["1|0|y|n|25|y"], "melt": ["Quirk Time=1", "Increase Quirky=1"]}, seek=True),
]

# What gst-inspect-1.0 shows as the defaults, which GStreamer reads back from
# a fresh instance through f0r_get_param_value.
GSTREAMER_DEFAULTS = {"quirk-time": "3", "random-quirk": "0", "frame-rate": "25", "increase-quirky": "false",
                      "unmasked": "false", "time-in-milliseconds": "false"}


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


def run(command, env=None, timeout=60):
    try:
        result = subprocess.run(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout)
    except subprocess.TimeoutExpired as expired:
        sys.exit("host_checks: %s still running after %d s: %s" % (
            command[0], timeout, (expired.stderr or b"").decode(errors="replace").strip()[-2000:]))
    if result.returncode != 0:
        sys.exit("host_checks: %s failed (%d): %s" % (command[0], result.returncode,
                                                      result.stderr.decode(errors="replace").strip()[-2000:]))
    return result


def reference_frames(strobe_quirk, arguments, clip, pairs, work):
    """What render makes of each (pixels, frame number) pair, in R, G, B, A."""
    folder = tempfile.mkdtemp(dir=work)
    for pixels, frame in pairs:
        with open(os.path.join(folder, "in%d.bgra" % frame), "wb") as f:
            f.write(swap_red_blue(clip[pixels * FRAME_BYTES:(pixels + 1) * FRAME_BYTES]))
    numbers = [frame for _, frame in pairs]
    run([strobe_quirk, "render", "--frames", "%d-%d" % (min(numbers), max(numbers))] + arguments +
        ["--format", "bgra8", "--size", "%dx%d" % (WIDTH, HEIGHT),
         os.path.join(folder, "in%d.bgra"), os.path.join(folder, "out%d.bgra")])
    frames = []
    for _, frame in pairs:
        with open(os.path.join(folder, "out%d.bgra" % frame), "rb") as f:
            frames.append(swap_red_blue(f.read()))
    return frames


IN_ORDER = [(n, n) for n in range(FRAMES)]


def through_ffmpeg(work, env, name, settings, seek):
    """ffmpeg takes each frame's time from its timestamp: when seeking, the
    clip's frame n is stamped with frame SEEK_ORDER[n]'s time on its way into
    the filter, and restamped in order on its way out."""
    out = os.path.join(work, "ffmpeg.rgba")
    params = ":filter_params=" + settings[0] if settings else ""
    chain = "frei0r=filter_name=" + name + params
    if seek:
        chain = "setpts=mod(N*5\\,%d)/(%d*TB),%s,setpts=N/(%d*TB)" % (FRAMES, RATE, chain, RATE)
    run(["ffmpeg", "-nostdin", "-v", "error", "-f", "rawvideo", "-pix_fmt", "rgba", "-s", "%dx%d" % (WIDTH, HEIGHT),
         "-r", str(RATE), "-i", os.path.join(work, "clip.rgba"),
         "-vf", chain, "-f", "rawvideo", "-pix_fmt", "rgba", "-y", out], env)
    return out, [(n, SEEK_ORDER[n]) for n in range(FRAMES)] if seek else IN_ORDER


def xml_text(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace('"', "&quot;")


def through_melt(work, env, name, settings, seek):
    """melt reads the clip from a container, and renders at its profile's
    size and rate. When seeking, a playlist asks one producer, with one
    instance of the filter attached, for one frame at a time in SEEK_ORDER."""
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
    if seek:
        properties = [setting.split("=", 1) for setting in settings]
        playlist = os.path.join(work, "seek.mlt")
        with open(playlist, "w") as f:
            f.write('<mlt>\n<producer id="clip"><property name="resource">%s</property>\n'
                    '<filter><property name="mlt_service">%s</property>%s</filter></producer>\n'
                    '<playlist id="seek">%s</playlist>\n</mlt>\n'
                    % (xml_text(clip), xml_text(name),
                       "".join('<property name="%s">%s</property>' % (xml_text(k), xml_text(v)) for k, v in properties),
                       "".join('<entry producer="clip" in="%d" out="%d"/>' % (n, n) for n in SEEK_ORDER)))
        source = [playlist]
    else:
        source = [clip, "out=%d" % (FRAMES - 1), "-filter", name] + settings
    out = os.path.join(work, "melt.rgba")
    command = ["melt", "-quiet", "-profile", profile] + source + \
        ["-consumer", "avformat:" + out, "f=rawvideo", "vcodec=rawvideo", "pix_fmt=rgba", "an=1", "real_time=-1"]
    # melt 7.12 now and then, on a busy machine and with any filter, ends its
    # consumer before the first frame: it then writes nothing and either exits
    # or waits forever. Such a run is started again; a run that writes anything
    # is compared as it is.
    for _ in range(3):
        if os.path.exists(out):
            os.remove(out)
        try:
            result = subprocess.run(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=20)
        except subprocess.TimeoutExpired:
            written = os.path.getsize(out) if os.path.exists(out) else 0
            if written:
                sys.exit("host_checks: melt wrote %d bytes and then did not end within 20 s" % written)
            print("host_checks: melt wrote nothing and did not end within 20 s; started again")
            continue
        if result.returncode != 0:
            sys.exit("host_checks: melt failed (%d): %s" % (result.returncode,
                                                           result.stderr.decode(errors="replace").strip()[-2000:]))
        if os.path.getsize(out) > 0:
            break
        print("host_checks: melt ended without writing a frame; started again")
    else:
        sys.exit("host_checks: melt wrote nothing, three times")
    return out, [(n, n) for n in SEEK_ORDER] if seek else IN_ORDER


def through_gstreamer(work, env, name, settings, seek):
    out = os.path.join(work, "gstreamer.rgba")
    run(["gst-launch-1.0", "-q", "filesrc", "location=" + os.path.join(work, "clip.rgba"),
         "blocksize=%d" % FRAME_BYTES, "!", "rawvideoparse", "width=%d" % WIDTH, "height=%d" % HEIGHT,
         "format=rgba", "framerate=%d/1" % RATE, "!", "videoconvert", "!", name] +
        settings + ["!", "videoconvert", "!", "video/x-raw,format=RGBA", "!", "filesink", "location=" + out], env)
    return out, IN_ORDER


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


def gstreamer_defaults(env):
    """The defaults gst-inspect-1.0 shows, or None when the element is missing."""
    inspect = subprocess.run(["gst-inspect-1.0", "frei0r-filter-strobe-quirk"], env=env,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    if inspect.returncode != 0:
        return None
    shown, name = {}, None
    for line in inspect.stdout.decode(errors="replace").splitlines():
        if line.startswith("  ") and not line.startswith("   ") and ":" in line:
            name = line.split(":", 1)[0].strip()
        elif name and "Default:" in line:
            shown[name] = line.split("Default:", 1)[1].split()[0]
    return shown


def main():
    if len(sys.argv) != 5 or sys.argv[1] not in HOSTS:
        sys.exit(__doc__)
    host, module_dir, probe_dir, strobe_quirk = sys.argv[1], os.path.abspath(sys.argv[2]), \
        os.path.abspath(sys.argv[3]), sys.argv[4]
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
        failures = 0
        if host == "gstreamer":
            shown = gstreamer_defaults(env)
            if shown is None:
                print("SKIP: GStreamer's frei0r elements are missing (Debian: gstreamer1.0-plugins-bad)")
                return SKIP
            wrong = {k: shown.get(k) for k, v in GSTREAMER_DEFAULTS.items() if shown.get(k) != v}
            if wrong:
                print("FAIL gst-inspect-1.0 reads back the defaults as %s, not %s" % (wrong, GSTREAMER_DEFAULTS))
                failures += 1
            else:
                print("gstreamer reads back every control's default")
        clip = clip_rgba()
        with open(os.path.join(work, "clip.rgba"), "wb") as f:
            f.write(clip)

        probed_path, _ = through_host(work, environment(probe_dir, "probe-registry.bin"), PROBE[host], [], False)
        with open(probed_path, "rb") as f:
            probed = f.read()
        if probed[:4] != PROBE_PIXEL or probed[4:FRAME_BYTES] != clip[4:FRAME_BYTES]:
            print("FAIL %s does not hand over B, G, R, A as declared: the probe's first pixel came back as %s, "
                  "the rest %s" % (host, probed[:4].hex(" "),
                                   "unchanged" if probed[4:FRAME_BYTES] == clip[4:FRAME_BYTES] else "changed"))
            return 1
        print("%s hands over B, G, R, A both ways, as the module declares" % host)

        for case in CASES:
            if host not in case.settings:
                continue
            got_path, pairs = through_host(work, env, EFFECT[host], case.settings[host], case.seek)
            with open(got_path, "rb") as f:
                got = f.read()
            if len(got) != FRAMES * FRAME_BYTES:
                print("FAIL %s, %s: %d bytes, not %d frames" % (host, case.name, len(got), FRAMES))
                failures += 1
                continue
            want = reference_frames(strobe_quirk, case.render, clip, pairs, work)
            differing = 0
            for n, (pixels, frame) in enumerate(pairs):
                if got[n * FRAME_BYTES:(n + 1) * FRAME_BYTES] != want[n]:
                    print("FAIL %s, %s, clip frame %d as frame %d: %s" % (
                        host, case.name, pixels, frame, first_difference(got[n * FRAME_BYTES:], want[n])))
                    differing += 1
            if not differing:
                print("%s, %s: frames %s equal strobe-quirk render's" % (
                    host, case.name, ", ".join(str(frame) for _, frame in pairs)))
            failures += differing
        if host == "gstreamer":
            print("gstreamer: frames out of order are not checked here, since gst-launch-1.0 cannot seek")
        return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
