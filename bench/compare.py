#!/usr/bin/env python3
"""Runs the program and the public tools in turn on inputs made here, and prints their ratios.

Each row alternates ours and theirs, so that a slow moment of the machine meets both, and gives the median of
the ratios of the pairs. Everything is written below the build folder and kept between runs.
"""

import json
import os
import select
import shutil
import signal
import statistics
import subprocess
import sys
import time
from contextlib import contextmanager
from pathlib import Path

PAIRS = 5
BUILD = Path(sys.argv[1] if len(sys.argv) > 1 else "build").resolve()
ONLY = sys.argv[2:]
WORK = BUILD / "bench-data"
WATCH = BUILD / "bundle/bin/quorvalent-watch"
QUIET_SECONDS = 0.25 + 0.6  # the event stream's latency and the watcher's quiet time
QUALITY = 90


def run(command, **options):
    """Wall seconds and peak resident KiB of one whole process."""
    begin = time.perf_counter()
    process = subprocess.Popen([str(part) for part in command], **options)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise RuntimeError(f"{command} ended with {process.returncode}")
    return time.perf_counter() - begin, usage.ru_maxrss


class Watch:
    """A running quorvalent-watch and its events."""

    def __init__(self, folder, *options):
        self.process = subprocess.Popen([WATCH, "--json", *options, folder], stdout=subprocess.PIPE)
        self.wait("watching")

    def wait(self, event, limit=600):
        descriptor = self.process.stdout
        while True:
            if not select.select([descriptor], [], [], limit)[0]:
                raise RuntimeError(f"no {event} within {limit} s")
            line = descriptor.readline()
            if not line:
                raise RuntimeError("quorvalent-watch ended")
            entry = json.loads(line)
            if entry["event"] == event:
                return entry
            if entry["event"] == "problem":
                raise RuntimeError(entry["message"])

    def convert(self, source, target):
        """Seconds of the conversion of a file renamed from source to target."""
        os.rename(source, target)
        outcome = self.wait("finished")
        if not outcome["success"]:
            raise RuntimeError(outcome["detail"])
        return outcome["seconds"]

    def peak_kib(self):
        for line in Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmHWM:"):
                return int(line.split()[1])
        raise RuntimeError("no VmHWM")

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


@contextmanager
def watching(*options):
    folder = WORK / "watched"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    watch = Watch(folder, *options)
    try:
        yield watch, folder
    finally:
        watch.end()
        shutil.rmtree(folder)


def wanted(name):
    return not ONLY or any(word.lower() in name.lower() for word in ONLY)


def report(name, value, aim, remark=""):
    print(f"| {name:<44} | {value:>10} | {aim:>10} | {remark}", flush=True)


def median_ratio(ours, theirs):
    return statistics.median(a / b for a, b in zip(ours, theirs))


# Inputs


def tree():
    """200 000 files in 20 000 folders."""
    root = WORK / "tree"
    done = WORK / "tree-complete"
    if not done.exists():
        shutil.rmtree(root, ignore_errors=True)
        for outer in range(200):
            for inner in range(99):
                folder = root / f"album {outer:03}" / f"day {inner:02}"
                folder.mkdir(parents=True)
                for number in range(10):
                    (folder / f"IMG_{outer:03}{inner:02}{number}.jpg").write_bytes(b"x" * number)
            for number in range(10):
                (root / f"album {outer:03}" / f"cover_{number}.png").write_bytes(b"x")
        done.touch()
    return root


def photo(name, width, height):
    """A picture with the detail and the noise of a photo, as PNG."""
    png = WORK / f"{name}.png"
    if not png.exists():
        WORK.mkdir(parents=True, exist_ok=True)
        bands = []
        for index, cell in enumerate((700, 250, 90)):
            band, noise, both = (WORK / f"{name}-{kind}{index}.v" for kind in ("band", "noise", "sum"))
            run(["vips", "perlin", band, width, height, "--cell-size", cell, "--seed", index + 1])
            run(["vips", "gaussnoise", noise, width, height, "--mean", 128, "--sigma", 4, "--seed", index + 1])
            scaled = WORK / f"{name}-scaled{index}.v"
            run(["vips", "linear", band, scaled, 90, 0])
            run(["vips", "add", scaled, noise, both])
            bands.append(str(both))
        joined = WORK / f"{name}-joined.v"
        run(["vips", "bandjoin", " ".join(bands), joined])
        flat = WORK / f"{name}-flat.v"
        run(["vips", "cast", joined, flat, "uchar"])
        run(["vips", "copy", flat, png, "--interpretation", "srgb"])
        for scrap in WORK.glob(f"{name}-*.v"):
            scrap.unlink()
    return png


def photo_as(extension):
    png = photo("photo", 4000, 3000)
    target = WORK / f"photo.{extension}"
    if not target.exists():
        if extension == "heic":
            run(["heif-enc", "-q", QUALITY, "-o", target, png], stdout=subprocess.DEVNULL)
        else:
            options = f"[Q={QUALITY}]" if extension == "jpg" else ""
            run(["vips", "copy", png, f"{target}{options}"])
    return target


def animation():
    gif = WORK / "animation.gif"
    if not gif.exists():
        WORK.mkdir(parents=True, exist_ok=True)
        run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
             "mandelbrot=size=800x600:rate=10", "-frames:v", "24", gif])
    return gif


def sound():
    wav = WORK / "sound.wav"
    if not wav.exists():
        WORK.mkdir(parents=True, exist_ok=True)
        run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
             "anoisesrc=color=pink:duration=240:sample_rate=44100", "-ac", 2, wav])
    return wav


def clip():
    mov = WORK / "clip.mov"
    if not mov.exists():
        WORK.mkdir(parents=True, exist_ok=True)
        run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
             "mandelbrot=size=1280x720:rate=30", "-f", "lavfi", "-i", "sine=frequency=440", "-t", 20,
             "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-c:a", "aac", mov])
    return mov


# Rows


def listing_rows():
    root = tree()
    program = BUILD / "bench/bench-listing"
    find = ["find", root, "-printf", "%i %s %T@\\n"]

    def ours():
        return json.loads(subprocess.run([program, root, "1"], check=True, stdout=subprocess.PIPE).stdout)

    ours(), run(find, stdout=subprocess.DEVNULL)  # warms the cache
    pairs = [(ours(), run(find, stdout=subprocess.DEVNULL)[0]) for _ in range(2 * PAIRS + 1)]
    seconds = [mine["seconds"] for mine, _ in pairs]
    report("listing of 200 000 files / find -printf", f"{median_ratio(seconds, [t for _, t in pairs]):.2f}", "≤ 0.70",
           f"{statistics.median(seconds):.3f} s, {pairs[0][0]['files']} files in {pairs[0][0]['folders']} folders")
    report("memory of that listing, bytes a file", f"{statistics.median(m['bytesPerFile'] for m, _ in pairs):.0f}",
           "≤ 400")

    watch = Watch(root)
    delays = []
    try:
        names = [root / "album 100/day 50/IMG_100500.jpg", root / "album 100/day 50/IMG_100500.txt"]
        for turn in range(PAIRS):
            begin = time.perf_counter()
            os.rename(names[0], names[1])
            watch.wait("detected")
            delays.append(time.perf_counter() - begin - QUIET_SECONDS)
            watch.wait("finished")  # refused: the name is put back
    finally:
        watch.end()
    report("rename in that tree to onRename / listing",
           f"{statistics.median(delays) / statistics.median(seconds):.2f}", "≤ 1.00",
           f"{statistics.median(delays):.3f} s after the quiet times")


def image_row(name, source, target, commands):
    fastest = min(commands, key=lambda command: min(timed_tool(command) for _ in range(2)))
    extension = Path(target).suffix[1:]
    with watching("--quality", f"{extension}={QUALITY / 100}") as (watch, folder):
        def ours(turn):
            old, new = folder / f"{turn}{source.suffix}", folder / f"{turn}.{extension}"
            shutil.copyfile(source, old)
            time.sleep(QUIET_SECONDS + 0.5)  # the copy is a change of its own: let its listing pass
            seconds = watch.convert(old, new)
            new.unlink()
            return seconds

        ours("warm")
        pairs = [(ours(turn), timed_tool(fastest)) for turn in range(PAIRS)]
    report(name, f"{median_ratio(*zip(*pairs)):.2f}", "≤ 1.00",
           f"{statistics.median(a for a, _ in pairs):.2f} s / {statistics.median(b for _, b in pairs):.2f} s"
           f" {Path(fastest[0]).name}")


def timed_tool(command):
    output = Path(command[-1].split("[")[0] if isinstance(command[-1], str) else command[-1])
    seconds, _ = run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for made in output.parent.glob(output.stem + "*"):
        made.unlink()
    return seconds


def image_rows():
    out = WORK / "tool-output"
    out.mkdir(parents=True, exist_ok=True)
    png, jpg, heic, gif = photo("photo", 4000, 3000), photo_as("jpg"), photo_as("heic"), animation()
    tif = photo_as("tif")
    q = f"[Q={QUALITY}]"
    rows = [
        ("PNG → JPEG, 12 megapixels", png, "o.jpg",
         [["vips", "copy", png, f"{out}/o.jpg{q}"], ["convert", png, "-quality", QUALITY, out / "o.jpg"]]),
        ("JPEG → PNG, 12 megapixels", jpg, "o.png",
         [["vips", "copy", jpg, out / "o.png"], ["convert", jpg, out / "o.png"]]),
        ("TIFF → JPEG, 12 megapixels", tif, "o.jpg",
         [["vips", "copy", tif, f"{out}/o.jpg{q}"], ["convert", tif, "-quality", QUALITY, out / "o.jpg"]]),
        ("HEIC → JPEG, 12 megapixels", heic, "o.jpg",
         [["vips", "copy", heic, f"{out}/o.jpg{q}"], ["convert", heic, "-quality", QUALITY, out / "o.jpg"],
          ["heif-convert", "-q", QUALITY, heic, out / "o.jpg"]]),
        ("JPEG → HEIC, 12 megapixels", jpg, "o.heic", [["heif-enc", "-q", QUALITY, jpg, "-o", out / "o.heic"]]),
        ("animated GIF → TIFF, 24 frames", gif, "o.tiff",
         [["vips", "copy", f"{gif}[n=-1]", out / "o.tiff"], ["convert", gif, out / "o.tiff"]]),
    ]
    for name, source, target, commands in rows:
        if wanted(name):
            image_row(name, source, target, commands)


def memory_row():
    name = "peak memory, 100 megapixels PNG → JPEG"
    if not wanted(name):
        return
    png = photo("large", 11600, 8700)
    out = WORK / "tool-output"
    out.mkdir(parents=True, exist_ok=True)
    with watching("--quality", f"jpg={QUALITY / 100}") as (watch, folder):
        shutil.copyfile(png, folder / "large.png")
        time.sleep(QUIET_SECONDS + 1.5)
        watch.convert(folder / "large.png", folder / "large.jpg")
        ours = watch.peak_kib()
    _, theirs = run(["vips", "copy", png, f"{out}/large.jpg[Q={QUALITY}]"])
    report(name, f"{ours / theirs:.2f}", "≤ 1.30", f"{ours / 1024:.0f} MiB / {theirs / 1024:.0f} MiB vips copy")


def replacement_row():
    name = "around the engine, 5 MB photo, milliseconds"
    if not wanted(name):
        return
    result = subprocess.run([BUILD / "bench/bench-replacement", WORK], check=True, stdout=subprocess.PIPE)
    parts = json.loads(result.stdout)
    total = parts.pop("total")
    report(name, f"{total:.1f}", "≤ 20", ", ".join(f"{key} {value:.1f}" for key, value in parts.items()))


def engine_row(name, source, extension, arguments):
    if not wanted(name):
        return
    source = source()
    out = WORK / "tool-output"
    out.mkdir(parents=True, exist_ok=True)
    command = ["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y", "-i", source, *arguments,
               f"{out}/engine.{extension}"]
    with watching() as (watch, folder):
        def ours(turn):
            old, new = folder / f"{turn}{source.suffix}", folder / f"{turn}.{extension}"
            shutil.copyfile(source, old)
            time.sleep(QUIET_SECONDS + 1)
            seconds = watch.convert(old, new)
            new.unlink()
            return seconds

        pairs = [(ours(turn), run(command)[0]) for turn in range(PAIRS)]
    report(name, f"{median_ratio(*zip(*pairs)):.3f}", "≤ 1.02",
           f"{statistics.median(a for a, _ in pairs):.2f} s / {statistics.median(b for _, b in pairs):.2f} s ffmpeg")


def main():
    WORK.mkdir(parents=True, exist_ok=True)
    report("work", "measured", "aim")
    report("-" * 44, "-" * 10, "-" * 10)
    if wanted("listing rename"):
        listing_rows()
    image_rows()
    memory_row()
    replacement_row()
    engine_row("WAV → MP3, 4 minutes", sound, "mp3", ["-vn", "-c:a", "libmp3lame", "-b:a", "256k"])
    engine_row("MOV → MKV, 720p, 20 seconds", clip, "mkv",
               ["-c:v", "libx264", "-preset", "fast", "-crf", "18", "-pix_fmt", "yuv420p", "-c:a", "aac", "-b:a",
                "192k"])


if __name__ == "__main__":
    main()
