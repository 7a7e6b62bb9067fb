"""Measures the menu-bar program as a person has it: on an X server of its own with a panel and its tray."""

import json
import os
import shutil
import statistics
import subprocess
import time
from contextlib import contextmanager
from pathlib import Path

STARTS = 7
SETTLE_SECONDS = 35  # threads of the pool end after 30 seconds without work
IDLE_SECONDS = 60
LIMIT = 20  # seconds, of anything that is waited for


@contextmanager
def running(command, **options):
    process = subprocess.Popen([str(part) for part in command], **options)
    try:
        yield process
    finally:
        process.terminate()
        process.wait()


def until(answer):
    """The first answer that says something."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        found = answer()
        if found:
            return found
    raise RuntimeError(f"nothing within {LIMIT} s")


@contextmanager
def desktop(work):
    """The environment of a session with a bus, an X server and a panel with a tray."""
    shutil.rmtree(work, ignore_errors=True)
    for folder in ("config/quorvalent", "run", "watched"):
        (work / folder).mkdir(parents=True)
    (work / "run").chmod(0o700)
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM")}
    environment |= {"XDG_CONFIG_HOME": str(work / "config"), "XDG_RUNTIME_DIR": str(work / "run"),
                    "LC_ALL": "C.UTF-8"}
    preferences = json.dumps({"keepOriginal": False, "launchAtLogin": False, "folders": [str(work / "watched")],
                              "imageQuality": {}, "audioBitrate": {}, "videoQuality": {}, "ffmpegPath": ""})
    (work / "config/quorvalent/quorvalent.conf").write_text(
        "[General]\nloginConfigured=true\npreferences=\"@ByteArray(%s)\"\n" % preferences.replace('"', '\\"'))
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    read, write = os.pipe()
    with running(["Xvfb", "-displayfd", write, "-screen", "0", "1280x800x24"], pass_fds=[write], **quiet):
        environment["DISPLAY"] = ":" + os.read(read, 16).decode().strip()
        with running(["dbus-daemon", "--session", "--nofork", f"--address=unix:path={work}/run/bus"], **quiet):
            environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={work}/run/bus"
            until((work / "run/bus").exists)
            with running(["tint2"], env=environment, **quiet):
                until(lambda: windows(environment, "tint2"))
                yield environment
    os.close(read), os.close(write)


def windows(environment, name):
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", name], env=environment,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return found.stdout.split()


@contextmanager
def program(build, environment):
    """The running program, and the seconds until its status item stood in the tray."""
    begin = time.perf_counter()
    with running([build / "bundle/bin/quorvalent"], env=environment, stderr=subprocess.DEVNULL) as process:
        until(lambda: windows(environment, "quorvalent"))
        yield process.pid, time.perf_counter() - begin
    until(lambda: not windows(environment, "quorvalent"))


def show_popover_once(environment):
    item = windows(environment, "quorvalent")[0]
    do = {"env": environment, "check": True}
    subprocess.run(["xdotool", "mousemove", "--window", item, "8", "8", "sleep", "0.2", "click", "1"], **do)
    until(lambda: len(windows(environment, "quorvalent")) > 1)
    time.sleep(0.5)  # it is painted
    subprocess.run(["xdotool", "key", "Escape"], **do)
    until(lambda: len(windows(environment, "quorvalent")) == 1)


def proportional_mib(pid):
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
    return sum(int(line.split()[1]) for line in lines if line.startswith("Pss:")) / 1024


def activity(pid):
    """Processor milliseconds, and how often each thread went to sleep again, which it had to be woken for."""
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    sleeps = {}
    for status in Path(f"/proc/{pid}/task").glob("*/status"):
        for line in status.read_text().splitlines():
            if line.startswith("voluntary_ctxt_switches:"):
                sleeps[status.parent.name] = int(line.split()[1])
    return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK"), sleeps


def woken(before, after):
    """A thread that has ended was woken for that at least."""
    return sum(count - before.get(thread, 0) for thread, count in after.items()) + len(before.keys() - after.keys())


def rows(build, work, wanted, report):
    names = {"start": "start to the status item, milliseconds", "memory": "memory, popover shown once, MiB (PSS)",
             "idle": f"wake-ups in {IDLE_SECONDS} s of idleness"}
    asked = {kind for kind, name in names.items() if wanted(name)}
    if not asked:
        return
    with desktop(work / "desktop") as environment:
        if "start" in asked:
            starts = []
            for _ in range(STARTS + 1):
                with program(build, environment) as (_, seconds):
                    starts.append(seconds * 1000)
            starts = starts[1:]  # the first one reads the program from the disk
            report(names["start"], f"{statistics.median(starts):.0f}", "≤ 150",
                   f"{min(starts):.0f} to {max(starts):.0f}")
        if not asked & {"memory", "idle"}:
            return
        with program(build, environment) as (pid, _):
            show_popover_once(environment)
            if "memory" in asked:
                report(names["memory"], f"{proportional_mib(pid):.1f}", "≤ 40")
            if "idle" in asked:
                time.sleep(SETTLE_SECONDS)
                busy, sleeps = activity(pid)
                time.sleep(IDLE_SECONDS)
                busy_after, sleeps_after = activity(pid)
                report(names["idle"], f"{woken(sleeps, sleeps_after)}", "0", f"{busy_after - busy:.0f} ms of processor")
