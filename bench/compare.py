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
from contextlib import contextmanager, suppress
from pathlib import Path

import desktop

PAIRS = 5
BUILD = Path(sys.argv[1] if len(sys.argv) > 1 else "build").resolve()
ONLY = sys.argv[2:]
WORK = BUILD / "bench-data"
WATCH = BUILD / "bundle/bin/quorvalent-watch"
QUIET_SECONDS = 0.6
TOOL_FOLDER = WORK / "tool-output"
TOOL_OUTPUT = f"{TOOL_FOLDER}/"
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
        self.process = subprocess.Popen([WATCH, "--json", "--undo", "0", *options, folder], stdout=subprocess.PIPE,
                                        bufsize=0)  # so that select() sees every line
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

    def processes(self):
        """The program, its engine helper and what that has started."""
        found, pending = [], [self.process.pid]
        while pending:
            found.append(pending.pop())
            for listed in Path(f"/proc/{found[-1]}/task").glob("*/children"):
                with suppress(OSError):  # it has ended
                    pending += map(int, listed.read_text().split())
        return found

    def peak_kib_of_all(self):
        """Sum of the peaks of all processes seen until the next conversion has finished."""
        peaks = {}
        while not select.select([self.process.stdout], [], [], 0.002)[0] or \
                b'"finished"' not in self.process.stdout.readline():
            for process in self.processes():
                with suppress(OSError):
                    for line in Path(f"/proc/{process}/status").read_text().splitlines():
                        if line.startswith("VmHWM:"):
                            peaks[process] = int(line.split()[1])
        return sum(peaks.values())

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


def ffmpeg_noise(seconds, target):
    return ["ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
            f"anoisesrc=color=pink:duration={seconds}:sample_rate=44100", "-ac", 2, target]


def sound():
    wav = WORK / "sound.wav"
    if not wav.exists():
        run(ffmpeg_noise(600, wav))
    return wav


def sound_as(extension, *arguments):
    target = WORK / f"sound.{extension}"
    if not target.exists():
        run([*ffmpeg(sound(), *arguments), target])
    return target


def full_hd(extension, seconds):
    clip = WORK / f"clip{seconds}.{extension}"
    if not clip.exists():
        run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i",
             "testsrc2=size=1920x1080:rate=30,noise=alls=12:allf=t", "-f", "lavfi", "-i", "sine=frequency=440",
             "-t", seconds, "-c:v", "libx264", "-preset", "ultrafast", "-b:v", "8M", "-pix_fmt", "yuv420p",
             "-c:a", "aac", clip])
    return clip


# Rows


def listing_rows():
    root = tree()
    find = ["find", root, "-printf", "%i %s %T@\\n"]
    file = root / "album 100/day 50/IMG_100500.jpg"
    files = 200_000

    def ours(runs=1):
        command = [BUILD / "bench/bench-listing", root, file, str(files), str(runs)]
        return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)

    ours(), run(find, stdout=subprocess.DEVNULL)  # warms the cache
    pairs = [(ours(), run(find, stdout=subprocess.DEVNULL)[0]) for _ in range(PAIRS)]
    starts = [mine["start"] for mine, _ in pairs]
    report("start in 200 000 files / find -printf", f"{median_ratio(starts, [t for _, t in pairs]):.2f}", "≤ 1.00",
           f"{statistics.median(starts):.3f} s, watches included")
    report("memory of that listing, bytes a file", f"{statistics.median(m['bytesPerFile'] for m, _ in pairs):.0f}",
           "≤ 100")
    figures = ours(PAIRS)
    report("one change in that tree, ms of processor time", f"{figures['change'] * 1000:.2f}", "≤ 1.00")
    report("rename in that tree to onRename, ms beyond the quiet time", f"{figures['recognised'] * 1000:.0f}", "≤ 20")


def conversion_row(name, source, target, commands, aim="≤ 1.00", options=(), pairs=PAIRS, digits=2):
    """One conversion against the fastest of the commands, each of which ends with its output."""
    if not wanted(name):
        return
    source = source() if callable(source) else source
    commands = [[*command[:-1], TOOL_OUTPUT + command[-1]] for command in commands]
    TOOL_FOLDER.mkdir(parents=True, exist_ok=True)
    fastest = min(commands, key=best_of_three) if len(commands) > 1 else commands[0]
    with watching(*options) as (watch, folder):
        def ours(turn):
            old, new = folder / f"{turn}{source.suffix}", folder / f"{turn}.{target}"
            shutil.copyfile(source, old)
            time.sleep(QUIET_SECONDS + 0.8)  # the copy is a change of its own: let its listing pass
            seconds = watch.convert(old, new)
            new.unlink()
            return seconds

        ours("warm")
        results = [(ours(turn), timed_tool(fastest)) for turn in range(pairs)]
    report(name, f"{median_ratio(*zip(*results)):.{digits}f}", aim,
           f"{statistics.median(a for a, _ in results):.2f} s / {statistics.median(b for _, b in results):.2f} s"
           f" {Path(fastest[0]).name}, fastest runs {min(a for a, _ in results) / min(b for _, b in results):.{digits}f}")


def best_of_three(command):
    """One run may meet a slow moment, and the slower tool would be taken for the faster."""
    return min(timed_tool(command) for _ in range(3))


def timed_tool(command):
    seconds, _ = run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for made in TOOL_FOLDER.iterdir():
        made.unlink()
    return seconds


def image_rows():
    png, jpg, heic = photo("photo", 4000, 3000), photo_as("jpg"), photo_as("heic")
    gif, tif = animation(), photo_as("tif")
    q = f"[Q={QUALITY}]"
    rows = [
        ("PNG → JPEG, 12 megapixels", png, "jpg",
         [["vips", "copy", png, f"o.jpg{q}"], ["convert", png, "-quality", QUALITY, "o.jpg"]]),
        ("JPEG → PNG, 12 megapixels", jpg, "png",
         [["vips", "copy", jpg, "o.png"], ["convert", jpg, "o.png"]]),
        ("TIFF → JPEG, 12 megapixels", tif, "jpg",
         [["vips", "copy", tif, f"o.jpg{q}"], ["convert", tif, "-quality", QUALITY, "o.jpg"]]),
        ("HEIC → JPEG, 12 megapixels", heic, "jpg",
         [["vips", "copy", heic, f"o.jpg{q}"], ["convert", heic, "-quality", QUALITY, "o.jpg"],
          ["heif-convert", "-q", QUALITY, heic, "o.jpg"]]),
        ("JPEG → HEIC, 12 megapixels", jpg, "heic",
         # From this quality on, ours keeps the colours at full resolution.
         [["heif-enc", "-q", QUALITY, "-p", "chroma=444", jpg, "-o", "o.heic"],
          ["heif-enc", "-q", QUALITY, "-p", "chroma=444", "-p", "preset=ultrafast", jpg, "-o", "o.heic"]]),
        ("animated GIF → TIFF, 24 frames", gif, "tiff",
         [["vips", "copy", f"{gif}[n=-1]", "o.tiff"], ["convert", gif, "o.tiff"]]),
    ]
    for name, source, target, commands in rows:
        conversion_row(name, source, target, commands, options=("--quality", f"{target}={QUALITY / 100}"))


def memory_row():
    name = "peak memory, 100 megapixels PNG → JPEG"
    if not wanted(name):
        return
    png = photo("large", 11600, 8700)
    TOOL_FOLDER.mkdir(parents=True, exist_ok=True)
    with watching("--quality", f"jpg={QUALITY / 100}") as (watch, folder):
        shutil.copyfile(png, folder / "large.png")
        time.sleep(QUIET_SECONDS + 1.5)
        os.rename(folder / "large.png", folder / "large.jpg")
        ours = watch.peak_kib_of_all()
    _, theirs = run(["vips", "copy", png, f"{TOOL_OUTPUT}large.jpg[Q={QUALITY}]"])
    report(name, f"{ours / theirs:.2f}", "≤ 1.30", f"{ours / 1024:.0f} MiB / {theirs / 1024:.0f} MiB vips copy")


def replacement_row():
    name = "around the engine, 5 MB photo, milliseconds"
    if not wanted(name):
        return
    result = subprocess.run([BUILD / "bench/bench-replacement", WORK], check=True, stdout=subprocess.PIPE)
    parts = json.loads(result.stdout)
    total = parts.pop("total")
    report(name, f"{total:.1f}", "≤ 20", ", ".join(f"{key} {value:.1f}" for key, value in parts.items()))


def helper_row():
    name = "PNG → JPEG, 12 megapixels, by the helper"
    if not wanted(name):
        return
    result = subprocess.run([BUILD / "bench/bench-engine", WORK, photo("photo", 4000, 3000)], check=True,
                            stdout=subprocess.PIPE)
    parts = json.loads(result.stdout)
    ratio = parts.pop("ratio")
    report(name, f"{ratio:.3f}", "≤ 1.05", ", ".join(f"{key} {value:.1f} ms" for key, value in parts.items()))


def ffmpeg(source, *arguments):
    return ["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y", "-i", source, *arguments]


def sound_rows():
    """Ten minutes of stereo, and three hours for the memory."""
    wav, flac, mp3 = sound(), sound_as("flac", "-c:a", "flac"), sound_as("mp3", "-b:a", "192k")
    le, be, aac = ("-c:a", "pcm_s16le"), ("-c:a", "pcm_s16be"), ("-vn", "-c:a", "aac", "-b:a", "256k")
    conversion_row("WAV → MP3, 10 minutes", wav, "mp3",
                   [[*ffmpeg(wav, "-vn", "-c:a", "libmp3lame", "-b:a", "256k"), "o.mp3"]], "≤ 1.02", digits=3)
    conversion_row("FLAC → WAV, 10 minutes", flac, "wav",
                   [[*ffmpeg(flac, *le), "o.wav"], ["sox", flac, "o.wav"]])
    conversion_row("WAV → AIFF, 10 minutes", wav, "aiff",
                   [[*ffmpeg(wav, *be), "o.aiff"], ["sox", wav, "o.aiff"]])
    conversion_row("MP3 → WAV, 10 minutes", mp3, "wav", [[*ffmpeg(mp3, *le), "o.wav"]])
    conversion_row("WAV → M4A, 10 minutes", wav, "m4a", [[*ffmpeg(wav, *aac), "o.m4a"]], "≤ 1.05")
    conversion_row("MP3 → M4A, 10 minutes", mp3, "m4a", [[*ffmpeg(mp3, *aac), "o.m4a"]], "≤ 1.05")


def proportional_mib(processes):
    """Memory of these processes, pages that several share counted once among them, in MiB."""
    total = 0
    for process in processes:
        try:
            lines = Path(f"/proc/{process}/smaps_rollup").read_text().splitlines()
        except OSError:
            continue  # it has ended
        total += sum(int(line.split()[1]) for line in lines if line.startswith("Pss:"))
    return total / 1024


def long_sound_row():
    name = "peak memory, 3 hours WAV → M4A, MiB"
    if not wanted(name):
        return
    wav = WORK / "long.wav"
    if not wav.exists():
        run(ffmpeg_noise(3 * 3600, wav))
    with watching() as (watch, folder):
        shutil.copyfile(wav, folder / "long.wav")
        time.sleep(QUIET_SECONDS + 3)
        os.rename(folder / "long.wav", folder / "long.m4a")
        watch.wait("started")
        samples = []
        while not select.select([watch.process.stdout], [], [], 0.2)[0] or \
                b'"finished"' not in watch.process.stdout.readline():
            samples.append(proportional_mib(watch.processes()))
    half = len(samples) // 2
    report(name, f"{max(samples):.0f}", "≤ 64", f"first half {max(samples[:half]):.0f}, "
           f"second half {max(samples[half:]):.0f}, all processes")


def video_rows():
    """A phone-like clip of a minute in Full HD, and its re-encoding."""
    mov, mp4 = full_hd("mov", 60), full_hd("mp4", 8)
    conversion_row("MOV → MKV, Full HD, 30 seconds", full_hd("mov", 30), "mkv",
                   [[*ffmpeg(full_hd("mov", 30), "-c:v", "libx264", "-preset", "fast", "-crf", "18", "-pix_fmt",
                             "yuv420p", "-c:a", "aac", "-b:a", "192k"), "o.mkv"]], "≤ 1.02", digits=3)
    conversion_row("MOV → MP4, Full HD, a minute, copied", mov, "mp4",
                   [[*ffmpeg(mov, "-c", "copy", "-movflags", "+faststart"), "o.mp4"]], "≤ 1.50")
    conversion_row("the same / re-encoding it", mov, "mp4",
                   [[*ffmpeg(mov, "-c:v", "libx264", "-preset", "fast", "-crf", "18", "-pix_fmt", "yuv420p",
                             "-c:a", "aac", "-b:a", "192k"), "o.mp4"]], "≤ 0.05", pairs=1, digits=4)
    conversion_row("MP4 → MOV, Full HD, 8 seconds, level 1", mp4, "mov",
                   [[*ffmpeg(mp4, "-c:v", "libx264", "-preset", "fast", "-crf", "23", "-pix_fmt", "yuv420p",
                             "-c:a", "aac", "-b:a", "160k"), "o.mov"]], "≤ 1.05", ("--video", "mov=1"))


def fill(folder, source, count):
    for number in range(count):
        shutil.copyfile(source, folder / f"{number:05}{source.suffix}")


def rename_all(watch, folder, extension):
    """Renames every file of a folder at once; seconds until all are converted, beyond the quiet times."""
    files = sorted(folder.iterdir())
    begin = time.perf_counter()
    for file in files:
        os.rename(file, file.with_suffix(f".{extension}"))
    for _ in files:
        outcome = watch.wait("finished")
        if not outcome["success"]:
            raise RuntimeError(outcome["detail"])
    return time.perf_counter() - begin - QUIET_SECONDS


def batch_row(name, source, target, count, command, aim, options=(), pairs=2):
    """Copies of one file renamed at once, against as many processes of a tool as there are cores. In the
    command, {} stands for a file's name without its extension."""
    if not wanted(name):
        return
    inputs = WORK / "tool-input"
    shutil.rmtree(inputs, ignore_errors=True)
    inputs.mkdir()
    TOOL_FOLDER.mkdir(parents=True, exist_ok=True)
    fill(inputs, source, count)
    names = "\n".join(sorted(file.stem for file in inputs.iterdir())).encode()
    results = []
    for _ in range(pairs):
        with watching(*options) as (watch, folder):
            fill(folder, source, count)
            time.sleep(QUIET_SECONDS + 2)  # the copies are changes of their own: let them be listed
            ours = rename_all(watch, folder, target)
        begin = time.perf_counter()
        subprocess.run(["xargs", f"-P{os.cpu_count()}", "-I{}", *map(str, command)], input=names, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        results.append((ours, time.perf_counter() - begin))
        if len(list(TOOL_FOLDER.iterdir())) != count:
            raise RuntimeError(f"{command[0]} left files out")
        shutil.rmtree(TOOL_FOLDER)
        TOOL_FOLDER.mkdir()
    shutil.rmtree(inputs)
    report(name, f"{median_ratio(*zip(*results)):.2f}", aim,
           ", ".join(f"{a:.1f} s / {b:.1f} s" for a, b in results) + f" {command[0]}")


def batch_rows():
    inputs, q = WORK / "tool-input", f"[Q={QUALITY}]"
    quality = ("--quality", f"jpg={QUALITY / 100}")
    if wanted("300 HEIC → JPG at once"):
        batch_row("300 HEIC → JPG at once", photo_as("heic"), "jpg", 300,
                  ["heif-convert", "-q", QUALITY, f"{inputs}/{{}}.heic", f"{TOOL_OUTPUT}{{}}.jpg"], "≤ 1.05", quality)
    if wanted("300 PNG → JPG at once"):
        batch_row("300 PNG → JPG at once", photo("small", 1600, 1250), "jpg", 300,
                  ["vips", "copy", f"{inputs}/{{}}.png", f"{TOOL_OUTPUT}{{}}.jpg{q}"], "≤ 1.15", quality)
    if wanted("60 WAV → MP3 at once"):
        batch_row("60 WAV → MP3 at once", minutes_of_sound(), "mp3", 60,
                  [*ffmpeg(f"{inputs}/{{}}.wav", "-vn", "-c:a", "libmp3lame", "-b:a", "256k"),
                   f"{TOOL_OUTPUT}{{}}.mp3"], "≤ 1.05")


def minutes_of_sound():
    wav = WORK / "three-minutes.wav"
    if not wav.exists():
        run(ffmpeg_noise(180, wav))
    return wav


def small_gif():
    gif = WORK / "small.gif"
    if not gif.exists():
        run(["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "lavfi", "-i", "mandelbrot=size=160x120",
             "-frames:v", "1", gif])
    return gif


def many_files_row(count=20_000):
    name = "20 000 GIF → PNG at once, ms a file"
    if not wanted(name):
        return
    with watching() as (watch, folder):
        own = [watch.process.pid]
        fill(folder, small_gif(), count)
        time.sleep(QUIET_SECONDS + 5)
        before = proportional_mib(own)
        seconds = rename_all(watch, folder, "png")
        time.sleep(15)  # the last helper is let go, idle threads end
        after = proportional_mib(own)
    report(name, f"{seconds / count * 1000:.1f}", "≤ 25", f"the program {before:.1f} MiB before, {after:.1f} after")


def lasting_row(count=2000):
    name = "2 000 conversions: MiB and descriptors more"
    if not wanted(name):
        return

    def taken():
        time.sleep(15)
        own = watch.process.pid
        return proportional_mib([own]), len(os.listdir(f"/proc/{own}/fd"))

    with watching() as (watch, folder):
        fill(folder, small_gif(), 10)
        time.sleep(QUIET_SECONDS + 1)
        rename_all(watch, folder, "png")
        first = taken()
        for file in folder.iterdir():
            file.unlink()
        fill(folder, small_gif(), count - 10)
        time.sleep(QUIET_SECONDS + 2)
        rename_all(watch, folder, "png")
        for file in folder.iterdir():
            file.unlink()
        last = taken()
    report(name, f"{last[0] - first[0]:.1f}, {last[1] - first[1]}", "≤ 1, 0",
           f"{first[0]:.1f} MiB, {first[1]} descriptors after the first ten")


def main():
    WORK.mkdir(parents=True, exist_ok=True)
    report("work", "measured", "aim")
    report("-" * 44, "-" * 10, "-" * 10)
    if wanted("listing rename"):
        listing_rows()
    image_rows()
    memory_row()
    replacement_row()
    helper_row()
    sound_rows()
    long_sound_row()
    video_rows()
    batch_rows()
    many_files_row()
    lasting_row()
    desktop.rows(BUILD, WORK, wanted, report)


if __name__ == "__main__":
    main()
