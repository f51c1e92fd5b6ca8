"""How runs end otherwise than with their last stage, and what becomes of the files then."""

import fcntl
import os
import resource
import signal
import stat
import subprocess

from devices import FORMS, Device, Failed, demand, leftovers
from readers import read_summary

PIPE_SIZE = 4096  # bytes: the least that the system gives
MEMORY_STEP = 128 * 1024  # bytes
PLENTY = 512 << 20  # bytes of memory
ENOUGH_RUNS = 4  # that had memory enough
EARLIER = b"the report of an earlier run"


def demand_file_modes(device):
    for form in FORMS:
        mode = stat.S_IMODE((device.folder / f"report.{form}").stat().st_mode)
        demand(mode == 0o640, f"report.{form} has the mode {mode:o}")
    demand(not leftovers(device.folder), f"left behind: {leftovers(device.folder)}")


def interrupt(device, readers, number):
    """The run writes more than a pipe takes, so that it cannot end before the signal."""

    def start():
        signal.signal(number, signal.SIG_DFL)

    reading, writing = os.pipe()
    fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, PIPE_SIZE)
    command = [device.programs.directory / "vellum-report", "run", *device.orders(), "--device", "device", "--",
               *device.validation("-v", "3")]
    run = subprocess.Popen(command, cwd=device.folder, stdout=subprocess.DEVNULL, stderr=writing, preexec_fn=start)
    os.close(writing)
    os.read(reading, 1)
    run.send_signal(number)
    run.wait(timeout=300)  # the pipe stays full
    os.close(reading)
    name = signal.Signals(number).name
    demand(run.returncode == -number, f"{name}: the run ended with {run.returncode}")
    report = readers.read(device, None)
    demand(report["verdict"] == "interrupted", f"{name}: the verdict is {report['verdict']}")
    demand(report["run"]["signal"] == name, f"{name}: the report says {report['run']['signal']}")
    demand(report["cause"]["id"] == "run-interrupted", f"{name}: the cause is {report['cause']['id']}")
    demand_file_modes(device)
    return {report["cause"]["id"]}


def interrupted(device, readers):
    return set().union(*(interrupt(device, readers, number) for number in
                         (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGQUIT)))


def limited(which, limit, ignored=None):
    """What a process does before it becomes another: takes less of something."""

    def start():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(which, (limit, limit))
        if ignored:
            signal.signal(ignored, signal.SIG_IGN)

    return start


def least_memory(device):
    """What the program needs to find a recorded device; None when limits do not bind it, as under a sanitizer."""
    def suffices(limit):
        asked = device.report([], preexec_fn=limited(resource.RLIMIT_AS, limit))
        return asked.returncode == 3 and b"Norvane" in asked.stdout

    if not suffices(PLENTY):
        return None
    return next(limit for limit in range(2 << 20, PLENTY, MEMORY_STEP) if suffices(limit))


def out_of_memory(device, readers):
    limit, enough, ids = least_memory(device), 0, set()
    if limit is None:
        print("memory cannot be limited here, so that nothing is tried without")
        return {"out-of-memory"}
    while enough < ENOUGH_RUNS:
        for form in FORMS:
            (device.folder / f"report.{form}").write_bytes(EARLIER)
        run = device.report(device.orders(), *device.validation(), preexec_fn=limited(resource.RLIMIT_AS, limit))
        where = f"with {limit} bytes of memory"
        demand(run.returncode in (0, 1, 3, 5), f"{where} the run ends with {run.returncode}: {run.stderr.decode()}")
        demand(not leftovers(device.folder), f"{where} it leaves behind {leftovers(device.folder)}")
        written = [form for form in FORMS if (device.folder / f"report.{form}").exists()]
        demand(all(device.form(form) != EARLIER for form in written), f"{where} the report of an earlier run stays")
        if set(written) == set(FORMS):
            report = readers.read(device, None)
            ids |= {report["cause"]["id"]} if report["cause"] else set()
            says = report["exit_code"]
            demand(says == run.returncode or (says, run.returncode) == (0, 1), f"{where} the report says {says}")
        else:
            demand(run.returncode != 0, f"{where} there is only {written}, and the exit code is 0")
        enough = enough + 1 if run.returncode == 0 else 0
        limit += MEMORY_STEP
    demand("out-of-memory" in ids, f"the run never says that it lacks memory, but {ids}")
    return ids


# Files -------------------------------------------------------------------------------------------------------------


def lost(device, path, reason, **how):
    """A report that cannot be written: a line says so, and the verdict of the run stays."""
    for name, options, code in (("passes", [], 1), ("fails", ["-g", "absent.bin"], 5)):
        run = device.report(["--json", path, "--metrics", "report.metrics"], *device.validation(*options), **how)
        line = f'vellum-report: cannot write "{path}": {reason}'.encode()
        demand(line in run.stderr.splitlines(), f"{path}: it says {run.stderr!r}")
        demand(run.returncode == code, f"{path}: a run that {name} ends with {run.returncode}")
        demand((device.folder / "report.metrics").exists() or how, f"{path}: the other report is lost too")
        demand(not leftovers(device.folder), f"{path} leaves behind {leftovers(device.folder)}")


def refused_places(device, _):
    no_file = "what is there is no file that could be replaced"
    (device.folder / "folder").mkdir()
    (device.folder / "target").write_text("kept")
    (device.folder / "link").symlink_to("target")
    os.mkfifo(device.folder / "fifo")
    lost(device, "no/such/report.json", "No such file or directory")
    lost(device, "folder", no_file)
    lost(device, "link", no_file)
    lost(device, "fifo", no_file)
    lost(device, "/dev/full", no_file)
    demand((device.folder / "target").read_text() == "kept", "it was written through a link")
    return set()


def full_disk(device, _):
    (device.folder / "kept.json").write_text("kept")
    lost(device, "kept.json", "File too large", preexec_fn=limited(resource.RLIMIT_FSIZE, 1000, signal.SIGXFSZ))
    demand((device.folder / "kept.json").read_text() == "kept", "a report that did not fit took the place of another")
    return set()


def replaced_files(device, readers):
    for form in FORMS:
        (device.folder / f"report.{form}").write_text("old")
    mask = os.umask(0o077)
    try:
        device.report(device.orders(), *device.validation())
    finally:
        os.umask(mask)
    readers.read(device, None)
    demand_file_modes(device)
    return set()


def standard_output(device, readers):
    run = device.report(["--json", "-"], *device.validation())
    report = readers.schema.read(run.stdout)
    demand(report["verdict"] == "passed" and run.returncode == 0, "the report on standard output is another")
    demand(device.report([], *device.validation()).stdout == device.replay(*device.validation()).stdout,
           "without a report standard output is not vellum's")
    for orders, why in ((["--json", "-", "--metrics", "-"], b"only one report can go to standard output"),
                        (["--summary", "--html", "-"], b"only one report can go to standard output"),
                        (["--json", "one", "--html", "./one"], b'two reports would go to "./one"')):
        run = device.report(orders, *device.validation())
        demand(run.returncode == 3 and why in run.stderr,
               f"{orders} ends with {run.returncode}: {run.stderr!r}")
        demand(run.stdout == b"", f"{orders} prints {run.stdout!r}")
    with open("/dev/full", "wb") as full:
        run = device.report(["--summary"], *device.validation(), capture_output=False, stdout=full,
                            stderr=subprocess.PIPE)
    demand(run.returncode == 1 and b"cannot write the report to standard output" in run.stderr,
           f"a full standard output ends with {run.returncode}: {run.stderr!r}")
    return set()


def unseal_once(device, readers):
    """What the firmware is sent is what vellum sends."""
    sent = device.folder / "device/firmware/sent"
    requests = []
    for run in (device.replay, lambda *options: device.report([*device.orders(), "--summary"], *options)):
        sent.mkdir()
        done = run("--unseal", "-c", "device/kxl.ini")
        demand(done.returncode == 0, f"unsealing ends with {done.returncode}")
        requests.append([path.read_bytes() for path in sorted(sent.iterdir())])
        for path in sent.iterdir():
            path.unlink()
        sent.rmdir()
    demand(requests[0] == requests[1] and requests[0], "the firmware is sent something else")
    report = readers.read(device, done.stdout)
    read_summary(done.stdout, report)
    demand(report["verdict"] == "unsealed" and report["run"]["mode"] == "unseal", f"it says {report['verdict']}")
    return set()


ENDS = (interrupted, out_of_memory, refused_places, full_disk, replaced_files, standard_output, unseal_once)


def try_all(programs, readers, folder):
    """The texts of what is wrong, and the ids that were reached."""
    wrong, ids = [], set()
    for attempt in ENDS:
        device = Device(programs, folder / attempt.__name__)
        try:
            ids |= attempt(device, readers)
        except (Failed, OSError) as failed:
            wrong.append(f"{attempt.__name__}: {failed}")
    return wrong, ids
