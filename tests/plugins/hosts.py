#!/usr/bin/env python3
"""Frames through real hosts against those of `orvandel render`. hosts.py BUILD [NAME...]"""
import ctypes, json, os, shutil, subprocess, sys, tempfile, threading
import xml.etree.ElementTree as xml
from pathlib import Path

BUILD = Path(sys.argv[1]).resolve()
HERE = Path(tempfile.mkdtemp(prefix="orvandel-hosts-"))
PLUGINS = HERE / "plugins"  # nothing but the two files
PLUGINS.mkdir()
for name in ("orvandel.so", "orvandel-over.so"):
    shutil.copy(BUILD / "lib/frei0r-1" / name, PLUGINS)
shutil.copy("examples/scenes/media/heartbeat.wav", HERE)
os.environ.update(FREI0R_PATH=str(PLUGINS), GST_REGISTRY=str(HERE / "registry"), HOME=str(HERE), LC_ALL="C.UTF-8")

KEYED = {"version": 1, "width": 640, "height": 360, "frameRate": 25, "duration": 2, "parameters": {
    "Frequency": 4, "Sides": 5, "Curve Size": 1, "Star": True, "Reflection": True, "Profile": "Sine",
    "Start Width": {"audio": {"file": "heartbeat.wav", "min": 2, "max": 30}}, "Orientation": {"expression": "30 * sin(t)"},
    "Producer Point": {"keyframes": [{"time": 0, "value": [100, 300]}, {"time": 1.5, "value": [600, 90]}]},
    "Color": {"keyframes": [{"time": 0, "value": "#ff8000"}, {"time": 2, "value": "#2040ff"}]}}}


def run(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, f"{command}: {done.returncode}\n{done.stderr[-2000:]}"
    return done


def hashes(pattern, count, first=0):
    """Of the pixels, so that it does not matter who wrote the PNG."""
    out = run("ffmpeg", "-v", "error", "-start_number", first, "-i", pattern, "-frames:v", count, "-pix_fmt", "rgba",
              "-f", "framehash", "-hash", "md5", "-").stdout
    found = [line.split()[-1] for line in out.splitlines() if not line.startswith("#")]
    assert len(found) == count, f"{pattern}: {len(found)} frames of {count}"
    return found


def scene_file(name, scene):
    (HERE / name).write_text(json.dumps(scene))
    return HERE / name


def expected(name, scene, count, *options):
    run(BUILD / "bin/orvandel", "render", scene_file(name + ".json", scene), "--frames", f"0-{count - 1}", *options, "-o",
        HERE / f"{name}_####.png")
    return hashes(HERE / f"{name}_%04d.png", count)


def same(got, wanted, what):
    differ = [i for i, pair in enumerate(zip(got, wanted)) if pair[0] != pair[1]]
    assert len(got) == len(wanted) and not differ, f"{what}: frames {differ[:10]} of {len(wanted)} differ"


def through_ffmpeg(size, rate, parameters, count):
    out = run("ffmpeg", "-v", "warning", "-f", "lavfi", "-i", f"frei0r_src=size={size}:framerate={rate}:"
              f"filter_name=orvandel:filter_params={parameters}", "-frames:v", count, "-pix_fmt", "rgba", "-f", "framehash",
              "-hash", "md5", "-").stdout
    return [line.split()[-1] for line in out.splitlines() if not line.startswith("#")]


def through_melt(name, *producer, count, first=0):
    profile = HERE / "profile"
    profile.write_text("description=small\nframe_rate_num=25\nframe_rate_den=1\nwidth=640\nheight=360\nprogressive=1\n"
                       "sample_aspect_num=1\nsample_aspect_den=1\ndisplay_aspect_num=16\ndisplay_aspect_den=9\n"
                       "colorspace=709\n")
    run("melt", "-silent", "-profile", profile, *producer, "-consumer", f"avformat:{HERE}/{name}_%04d.png",
        "vcodec=png", "pix_fmt=rgba", "mlt_image_format=rgba", "real_time=-3", "terminate_on_pause=1",
        "start_number=0")
    return hashes(HERE / f"{name}_%04d.png", count, first)


class Plugin:
    """A host of one's own, for what the others cannot be made to do."""

    def __init__(self, file):
        self.code = ctypes.CDLL(str(PLUGINS / file))
        self.code.f0r_construct.restype = ctypes.c_void_p
        self.code.f0r_init()

    def make(self, width, height):
        return self.code.f0r_construct(width, height)

    def set(self, instance, index, value):
        held = ctypes.c_char_p(value.encode()) if isinstance(value, str) else ctypes.c_double(value)
        self.code.f0r_set_param_value(ctypes.c_void_p(instance), ctypes.byref(held), index)

    def frame(self, instance, width, height, seconds):
        out = ctypes.create_string_buffer(width * height * 4)
        self.code.f0r_update(ctypes.c_void_p(instance), ctypes.c_double(seconds), None, out)
        return out.raw


def check_symbols():
    for file in PLUGINS.iterdir():
        shown = [line.split()[-1] for line in run("nm", "-D", "--defined-only", file).stdout.splitlines()]
        assert shown and all(name.startswith("f0r_") for name in shown), (file, shown)


def check_hosts_give_the_scenes_bytes():
    wanted = expected("keyed", KEYED, 50)
    file = HERE / "keyed.json"
    same(through_ffmpeg("640x360", 25, file, 50), wanted, "ffmpeg")
    same(through_melt("melt", "frei0r.orvandel", "out=49", f"0={file}", count=50), wanted, "melt")
    run("gst-launch-1.0", "-q", "frei0r-src-orvandel", "num-buffers=50", f"scene={file}", "!",
        "video/x-raw,width=640,height=360,framerate=25/1", "!", "pngenc", "snapshot=false", "!", "multifilesink",
        f"location={HERE}/gst_%04d.png")
    same(hashes(HERE / "gst_%04d.png", 50), wanted, "GStreamer")
    (HERE / "clip.mlt").write_text(
        '<mlt><producer id="p" in="0" out="49"><property name="mlt_service">frei0r.orvandel</property>'
        f'<property name="0">{file}</property></producer><tractor id="t" in="0" out="49"><track producer="p"/></tractor></mlt>')
    clip = through_melt("later", "color:#00000000", "out=9", HERE / "clip.mlt", count=50, first=10)
    same(clip, wanted, "melt, ten frames into the time line")


def check_other_rates_and_sizes():
    film = dict(KEYED, frameRate="30000/1001", width=1708, height=960)  # at half size, a width for which hosts pad rows
    half = expected("film", film, 40, "--downsample", 2)
    same(through_ffmpeg("854x480", "30000/1001", HERE / "film.json", 40), half, "ffmpeg at 29.97")
    # Without a scene: the effect as it comes, in a layer 1,080 lines high.
    plain = {"version": 1, "width": 1920, "height": 1080, "frameRate": 24, "duration": 1, "parameters": {"Color": "#ff0000"}}
    same(through_ffmpeg("960x540", 24, "|1/0/0", 24), expected("plain", plain, 24, "--downsample", 2), "ffmpeg, no scene")
    for size in ("1x1", "63x37", "720x576", "4096x2304"):
        assert len(through_ffmpeg(size, 25, "sonar", 2)) == 2, size
    inside, outside = "|1/0/0|Mask|1|0", "|7/-1/0|MASK|99|-4"
    same(through_ffmpeg("320x180", 25, outside, 8), through_ffmpeg("320x180", 25, inside, 8), "values outside 0..1")


def check_what_is_set_holds_over_a_scene():
    """Defaults too; and what hosts write down for parameters that nobody touches does not."""
    scene = dict(KEYED, parameters=dict(KEYED["parameters"], Color="#ff8000", Spin=40))
    file = scene_file("held.json", scene)
    wanted = expected("held", scene, 12)
    changed = expected("changed", dict(scene, parameters=dict(scene["parameters"], Frequency=1, Star=False)), 12)
    nan = "nan/nan/nan||0.5|" + "nan|" * 8 + "|nan|nan|n"
    same(through_ffmpeg("640x360", 25, f"{file}|{nan}", 12), changed, "ffmpeg, defaults over a scene")
    same(through_melt("set", "frei0r.orvandel", "out=11", f"0={file}", "3=0.5", "Star=0", count=12), changed,
         "melt, defaults over a scene")
    frequency = expected("frequency", dict(scene, parameters=dict(scene["parameters"], Frequency=1)), 12)
    for name, said, frames in (("gst", ["frequency=0.5"], frequency), ("untouched", [], wanted)):
        run("gst-launch-1.0", "-q", "frei0r-src-orvandel", "num-buffers=12", f"scene={file}", *said, "!",
            "video/x-raw,width=640,height=360,framerate=25/1", "!", "pngenc", "snapshot=false", "!", "multifilesink",
            f"location={HERE}/{name}_%04d.png")
        same(hashes(HERE / f"{name}_%04d.png", 12), frames, f"GStreamer, {name}")
    # One coordinate alone: the other goes on as the scene says.
    upright = {"keyframes": [{"time": 0, "value": [250, 300]}, {"time": 1.5, "value": [250, 90]}]}
    upright = dict(scene["parameters"], **{"Producer Point": upright, "Opacity": 0.3})
    upright = expected("upright", dict(scene, parameters=upright), 12)
    same(through_melt("x", "frei0r.orvandel", "out=11", f"0={file}", f"9={0.25 + 250 / 640 / 2}", "11=0.3", count=12),
         upright, "melt, Center X")
    generator = xml.parse(BUILD / "share/editors/kdenlive/generators/orvandel.xml")
    written = [f"{row.get('name')}={row.get('default')}" for row in generator.iter("parameter")]
    same(through_melt("written", "frei0r.orvandel", "out=11", *written, f"0={file}", count=12), wanted,
         "melt, a project's defaults")


def check_filter_with_keyframes():
    frames = []
    for frame in range(17):
        scene = dict(KEYED, background="#204080", parameters=dict(KEYED["parameters"], Opacity=frame / 16))
        run(BUILD / "bin/orvandel", "render", scene_file("moment.json", scene), "--frames", frame, "-o",
            HERE / "over_####.png")
    frames = hashes(HERE / "over_%04d.png", 17)
    # A film, since melt's own colours now and then reach one of several threads half filled, without any filter too.
    plain = HERE / "plain.mov"
    run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=0x204080:size=640x360:rate=25,format=rgba", "-frames:v", 17,
        "-c:v", "png", plain)
    melt = through_melt("filter", f"avformat:{plain}", "out=16", "-attach-clip", "frei0r.orvandel-over",
                        f"0={scene_file('bare.json', KEYED)}", "11=0=0;16=1", count=17)
    same(melt, frames, "melt, filter")


def check_descriptions():
    seen = run("gst-inspect-1.0", "frei0r-src-orvandel")
    assert "CRITICAL" not in seen.stderr and "WARNING" not in seen.stderr, seen.stderr
    assert "center-x" in seen.stdout and "frame-rate" in seen.stdout
    assert "Frequency" in run("melt", "-query", "producer=frei0r.orvandel").stdout
    table = (BUILD / "share/editors/parameters.md").read_text()
    assert table in Path("docs/plugins.md").read_text(), "docs/plugins.md has another table than the plug-ins"
    for file in (BUILD / "share/editors/kdenlive").rglob("*.xml"):
        xml.parse(file)


def check_many_producers_and_threads():
    plugin = Plugin("orvandel.so")
    made = [plugin.make(640, 360) for _ in range(200)]
    first = None
    for instance in made:
        plugin.set(instance, 0, "rain")
        first = first or plugin.frame(instance, 640, 360, 1)
        assert plugin.frame(instance, 640, 360, 1) == first
    resident = int(Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE") >> 20
    assert resident < 400, f"{resident} MB for 200 instances"
    wanted = {frame: plugin.frame(made[0], 640, 360, frame / 25) for frame in range(40)}
    wrong = []

    def play(instance, stride):
        for i in range(40):
            frame = i * stride % 40
            if plugin.frame(instance, 640, 360, frame / 25) != wanted[frame]:
                wrong.append((stride, frame))

    # Two threads on each instance, as slices are.
    threads = [threading.Thread(target=play, args=(made[i // 2], (1, 3, 39, 7, 11, 13, 17, 19)[i])) for i in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong, wrong[:10]


def check_mistakes_are_told():
    done = subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "frei0r_src=size=64x36:framerate=25:"
                           "filter_name=orvandel:filter_params=sonarr", "-frames:v", "1", "-f", "null", "-"],
                          capture_output=True, text=True)
    assert done.returncode == 0 and "sonar\"" in done.stderr, done.stderr


def check_filter_without_times():
    """The host loses the times of such widths, and pads the rows of the second. Its picture is the scene's background."""
    for width, blend in (96, "normal"), (90, "screen"):
        scene = dict(KEYED, width=width, height=96, frameRate=30, blend=blend, background="#ffffff")
        wanted = expected(f"untimed{width}", dict(scene, background="#204080"), 9)
        out = run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"color=0x204080:size={width}x96:rate=30,format=rgba", "-vf",
                  f"frei0r=filter_name=orvandel-over:filter_params={scene_file('bare.json', scene)}", "-frames:v", 9,
                  "-f", "framehash", "-hash", "md5", "-").stdout
        same([line.split()[-1] for line in out.splitlines() if not line.startswith("#")], wanted, f"{width} pixels wide")


checks = {name[6:]: check for name, check in list(globals().items()) if name.startswith("check_")}
failed = 0
for name, check in checks.items():
    if len(sys.argv) > 2 and not any(part in name for part in sys.argv[2:]):
        continue
    try:
        check()
        print(f"ok      {name}", flush=True)
    except AssertionError as error:
        failed += 1
        print(f"FAILED  {name}: {error}", flush=True)
shutil.rmtree(HERE)
sys.exit(failed)
