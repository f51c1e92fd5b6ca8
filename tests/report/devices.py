"""Forged devices, and the runs of the programs on them."""

import os
import shutil
import subprocess
from pathlib import Path

FORMS = ("json", "junit", "html", "metrics")


class Failed(Exception):
    """Something is not as it should be; the text says what."""


def demand(holds, text):
    if not holds:
        raise Failed(text)


class Programs:
    def __init__(self, directory):
        self.directory = Path(directory).resolve()

    def run(self, name, *arguments, **options):
        """The finished process; its streams are kept as bytes."""
        options.setdefault("timeout", 300)
        options.setdefault("capture_output", True)
        return subprocess.run([self.directory / name, *arguments], **options)

    def text_of(self, name, *arguments):
        done = self.run(name, *arguments)
        demand(done.returncode == 0, f"{name} {' '.join(arguments)}: {done.stderr.decode()}")
        return done.stdout.decode()


class Device:
    """A forged device in a folder of its own, beside what its runs leave behind."""

    def __init__(self, programs, folder, *options):
        self.programs = programs
        self.folder = Path(folder)
        self.folder.mkdir(parents=True)
        told = programs.run("vellum-lab", "forge", "device", *options, cwd=self.folder)
        demand(told.returncode == 0, f"forge {options}: {told.stderr.decode()}")
        # The command that was told ends in the options that this device takes.
        self.options = told.stdout.decode().split("kxl.ini", 1)[1].split()

    def remove(self):
        shutil.rmtree(self.folder)

    def validation(self, *more):
        return ["--validate", "-c", "device/kxl.ini", *self.options, *more]

    def replay(self, *options):
        return self.programs.run("vellum-lab", "replay", "device", "--", *options, cwd=self.folder)

    def report(self, orders, *options, **how):
        return self.programs.run(
            "vellum-report", "run", *orders, "--device", "device", "--", *options, cwd=self.folder, **how
        )

    def orders(self):
        """The options for all four files."""
        return [word for form in FORMS for word in (f"--{form}", f"report.{form}")]

    def form(self, name):
        return (self.folder / f"report.{name}").read_bytes()

    def take_log(self):
        """The log file's content; the file is gone then."""
        log = self.folder / "kxl.log"
        content = log.read_bytes() if log.exists() else None
        log.unlink(missing_ok=True)
        return content


def observed(device, *options):
    """A reported run that is held to be that of an unobserved one, byte for byte."""
    # Of an option that stands twice the command line is refused.
    logs = any(option in ("-l", "-o") for option in options)
    log = [] if logs else ["-l", "3", "-o", "kxl.log"]
    bare = device.replay(*options, *log)
    bare_log = device.take_log()
    run = device.report([*device.orders(), "--summary"], *options, *log)
    demand(run.returncode == bare.returncode, f"exit code {run.returncode}, not {bare.returncode}")
    demand(run.stderr == bare.stderr, "standard error is another:\n" + first_difference(run.stderr, bare.stderr))
    reported_log = device.take_log()
    demand(reported_log == bare_log, "the log file is another:\n" + first_difference(reported_log, bare_log))
    return run


def first_difference(actual, expected):
    pairs = zip((actual or b"").splitlines(), (expected or b"").splitlines())
    return next((f"{a!r}\nin place of\n{b!r}" for a, b in pairs if a != b), "one of them ends early")


def leftovers(folder):
    """What a report has left behind that is no report."""
    return [name for name in os.listdir(folder) if name.endswith(".new")]
