"""script/svg_survey's work: picks the files, renders each, keeps the tables and the sheets."""
import json
import os
import pathlib
import random
import subprocess
import sys

PROGRAM = os.environ.get("ORVANDEL", "build/release/bin/orvandel")
WIDTH, HEIGHT, FRAME = 320, 240, 15
SHEET = 12


def run(*words):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False)


def scene_of(svg, folder):
    """One wave of the drawing, large enough to be looked at."""
    scene = {"version": 1, "width": WIDTH, "height": HEIGHT, "frameRate": 30, "duration": 1,
             "masks": {"drawing": {"file": str(svg), "fit": "contain"}},
             "parameters": {"Wave Type": "Mask", "Mask": "drawing", "Frequency": 0, "Expansion": 7,
                            "Color": "#ffffff", "Start Width": 1.5, "End Width": 1.5, "Fade-out Time": 0}}
    file = folder / "scene.json"
    file.write_text(json.dumps(scene))
    return file


def draw(svg, folder):
    """Whether there is a picture; the reason where there is none, or what was noted."""
    scene = scene_of(svg, folder)
    told = run(PROGRAM, "describe", scene, "--time", FRAME / 30, "--json", "--allow-outside")
    if told.returncode != 0:
        return False, told.stderr.strip().split("drawing: ")[-1].replace(str(svg) + ": ", "")
    covered = json.loads(told.stdout)["picture"]["coverage"] > 0
    return covered, "" if covered else "nothing is seen"


def beside(svg, folder, number):
    """Our picture and the other renderer's, side by side."""
    ours, theirs, pair = (folder / f"{number}_{name}.png" for name in ("ours", "theirs", "pair"))
    run(PROGRAM, "render", scene_of(svg, folder), "-o", ours, "--frames", FRAME, "--allow-outside", "--overwrite")
    run("rsvg-convert", "-w", WIDTH, "-h", HEIGHT, "-a", "-b", "#ffffff", svg, "-o", theirs)
    size = f"scale={WIDTH}:{HEIGHT}:force_original_aspect_ratio=decrease,pad={WIDTH}:{HEIGHT}:-1:-1:white"
    run("ffmpeg", "-y", "-i", ours, "-i", theirs, "-filter_complex",
        f"color=0x203040:s={WIDTH}x{HEIGHT}[b];[b][0]overlay=shortest=1[a];[1]{size}[c];[a][c]hstack", "-frames:v", 1,
        pair)
    return pair if pair.exists() else None


def sheet(pairs, file):
    inputs = [word for pair in pairs for word in ("-i", pair)]
    rows = "".join(f"[{2 * i}][{2 * i + 1}]hstack[r{i}];" for i in range(len(pairs) // 2))
    stack = "".join(f"[r{i}]" for i in range(len(pairs) // 2)) + f"vstack=inputs={len(pairs) // 2}"
    run("ffmpeg", "-y", *inputs, "-filter_complex", rows + stack, file)


def survey(name, root, count, seed, out):
    files = sorted(path for path in pathlib.Path(root).rglob("*.svg") if path.is_file() and not path.is_symlink())
    chosen = random.Random(seed).sample(files, min(count, len(files)))
    folder = out / "work"
    folder.mkdir(exist_ok=True)
    rows = [(svg, *draw(svg, folder)) for svg in chosen]
    (out / f"{name}.tsv").write_text("".join(f"{'picture' if good else 'none'}\t{svg}\t{text}\n" for svg, good, text in rows))
    pairs = [beside(svg, folder, i) for i, (svg, good, _) in enumerate(rows[:4 * SHEET]) if good][:SHEET]
    sheet([pair for pair in pairs if pair], out / f"{name}.png")
    print(f"{name}: {sum(good for _, good, _ in rows)} of {len(rows)} give a picture")
    for svg, good, text in rows:
        if not good:
            print(f"  {svg.name}: {text}")


def main():
    count, seed, out, *collections = sys.argv[1:]
    for collection in collections:
        name, root = collection.split("=")
        survey(name, root, int(count), int(seed), pathlib.Path(out))


main()
