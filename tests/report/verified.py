"""Recordings that are verified: each way in which the evidence can be wrong, and what every form says of it."""

import html
import json
import shutil
import struct

from devices import FORMS, Device, Failed, demand

NONCE = "00112233445566778899aabbccddeeff"


def turn(name, offset):
    """Turns the bits of one byte of a file in tpm."""

    def change(folder, _):
        path = folder / "device/tpm" / name
        content = bytearray(path.read_bytes())
        content[offset] ^= 0xFF
        path.write_bytes(content)

    return change


def cut(name):
    return lambda folder, _: (folder / "device/tpm" / name).write_bytes(
        (folder / "device/tpm" / name).read_bytes()[:-1])


def remove(name):
    return lambda folder, _: (folder / "device/tpm" / name).unlink()


def write(name, content):
    return lambda folder, _: (folder / "device" / name).write_bytes(content)


def link_outwards(folder, _):
    (folder / "device/tpm/event_log.bin").unlink()
    (folder / "device/tpm/event_log.bin").symlink_to(folder / "identity.json")


def name_tpm(folder, _):
    (folder / "device/tpm/tcti").write_text("swtpm:path=/nowhere\n")


def identity(key, value):
    def change(_, known):
        place = known if key in known else known["attestation_key"]
        place[key] = value

    return change


# What is changed, the nonce that is asked for, and one of the findings.
ROWS = [
    (remove("quote.bin"), NONCE, "evidence-missing"),
    (remove("quote.sig"), NONCE, "evidence-missing"),
    (remove("ak.pub"), NONCE, "evidence-missing"),
    (cut("quote.bin"), NONCE, "evidence-malformed"),
    (cut("pcrs.bin"), NONCE, "evidence-pcrs-missing"),
    (name_tpm, NONCE, "evidence-names-tpm"),
    (turn("ak.pub", 4), NONCE, "evidence-key-unsuitable"),
    (identity("name", "000b" + 64 * "0"), NONCE, "evidence-key-differs"),
    (turn("quote.bin", 10), NONCE, "evidence-signer-differs"),
    (lambda *_: None, NONCE[2:], "evidence-nonce-differs"),
    (turn("quote.bin", 0), NONCE, "evidence-not-quoted"),
    (turn("quote.bin", -36), NONCE, "evidence-pcrs-not-covered"),
    (turn("pcrs.bin", 0), NONCE, "evidence-pcrs-differ"),
    (turn("quote.sig", -1), NONCE, "evidence-signature-invalid"),
    (write("now", b"long ago"), NONCE, "evidence-recording-unreadable"),
    (write("firmware/max_message_length", b"<b>"), NONCE, "evidence-recording-unreadable"),
    (link_outwards, NONCE, "evidence-recording-unreadable"),
    (identity("device_id", "\x1b[2J<b>"), NONCE, "evidence-device-id-differs"),
]


class Enrolled:
    """A forged device with a quote, and its identity."""

    def __init__(self, programs, folder, *options):
        self.device = Device(programs, folder, "--nonce", NONCE, *options)
        told = programs.run("vellum-report", "enrol", "device", "--output", "identity.json", cwd=folder)
        demand(told.returncode == 0, f"enrol: {told.stderr.decode()}")

    def verify(self, nonce, *options, own_clock=False):
        for form in FORMS:
            (self.device.folder / f"report.{form}").unlink(missing_ok=True)
        return self.device.programs.run(
            "vellum-report", "verify", "device", "--nonce", nonce, "--identity", "identity.json",
            *self.device.orders(), "--summary", *["--own-clock"] * own_clock,
            "--", *(options or self.device.validation()), cwd=self.device.folder)


def refuse(programs, readers, folder, row):
    change, nonce, expected = row
    enrolled = Enrolled(programs, folder)
    path = enrolled.device.folder / "identity.json"
    known = json.loads(path.read_text())
    change(enrolled.device.folder, known)
    path.write_text(json.dumps(known))
    run = enrolled.verify(nonce)
    demand(run.returncode == 6, f"it ends with {run.returncode}: {run.stderr.decode()}")
    demand(b"Validation" not in run.stderr, "the recording was validated")
    report = readers.read(enrolled.device, run.stdout)
    ids = {found["id"] for found in report["evidence"]["findings"]}
    demand(expected in ids, f"it finds {ids}")
    demand(report["evidence"]["device_id"] == known["device_id"].replace("\x1b", "?"), "it names another device")
    demand(report["verdict"] == "refused" and not report["evidence"]["accepted"], "it does not say so")
    demand(b"evidence refused" in run.stdout and expected.encode() in run.stdout, f"the summary says {run.stdout}")
    demand(report["cause"]["id"] in ids, f"the cause is {report['cause']['id']}")
    cases = html.unescape(enrolled.device.form("junit").decode())
    demand("reset_count" not in cases and b"evidence_resets" not in enrolled.device.form("metrics"),
           "a number that nobody signed is given for one that the TPM did")
    demand(all(found["lines"][0] in cases for found in report["evidence"]["findings"]), "JUnit lacks a finding")
    page = enrolled.device.form("html").decode()
    demand(all(found["title"] in page for found in report["evidence"]["findings"]), "the page lacks a finding")
    return ids


def marks_of(report):
    return {stage["id"]: stage["rests_on"] for stage in report["stages"]}


def accept(programs, readers, folder):
    """What passes, what fails, and what rests on what."""
    whole = Enrolled(programs, folder / "whole")
    run = whole.verify(NONCE)
    report = readers.read(whole.device, run.stdout)
    demand(run.returncode == 0 and report["evidence"]["accepted"], f"it ends with {run.returncode}")
    demand(b"evidence accepted" in run.stdout, "the summary does not say so")
    marks = marks_of(report)
    for stage in ("log-matches-pcrs", "seal-log-measured", "pmf-hash", "pcrs-match-pmf", "partitions-measured"):
        demand(marks[stage] == "signed", f"{stage} rests on {marks[stage]}")
    for stage in ("feature-state", "seal-intact", "system-info", "disk-measurements", "device-id", "pmf-trust",
                  "seal-config-expected"):
        demand(marks[stage] == "device", f"{stage} rests on {marks[stage]}")
    demand(marks["reference-log"] is None, "a stage that looked at nothing rests on something")
    for name in ("kxl.ini", "trusted", "intermediate"):  # the verifier's own now
        (whole.device.folder / "device" / name).rename(whole.device.folder / name)
    own = whole.verify(NONCE, "--validate", "-c", "kxl.ini")
    demand(own.returncode == 0, f"with a configuration of its own it ends with {own.returncode}")
    marks = marks_of(readers.read(whole.device, own.stdout))
    demand((marks["seal-config-expected"], marks["pmf-trust"]) == ("signed", "device"), f"it rests on {marks}")
    for name in ("kxl.ini", "trusted", "intermediate"):
        (whole.device.folder / name).rename(whole.device.folder / "device" / name)
    bare = whole.verify(NONCE, *whole.device.validation("--skip_retrieving_pcrs"))
    marks = marks_of(readers.read(whole.device, bare.stdout))
    demand("signed" not in marks.values(), f"without PCRs it rests on {marks}")
    demand(whole.verify(NONCE, "--unseal", "-c", "device/kxl.ini").returncode == 3, "an unsealing was verified")
    demand(marks_of(plain_report(whole, readers))["tpm-pcrs"] is None, "a plain run has marks")

    broken = Enrolled(programs, folder / "broken", "--fault", "boot-loader")
    run = broken.verify(NONCE)
    report = readers.read(broken.device, run.stdout)
    demand(run.returncode == 5 and report["verdict"] == "failed", f"a broken device ends with {run.returncode}")
    demand(report["evidence"]["accepted"], "the TPM of a broken device is not believed")
    demand(marks_of(report)["pcrs-match-pmf"] == "signed", "what failed was not signed")


def take_from(programs, readers, folder):
    """What stages are judged by: each file from the recording makes the device judge itself."""
    made = Enrolled(programs, folder)
    inside = made.device.folder / "device"
    for name in ("kxl.ini", "trusted", "intermediate"):
        (inside / name).rename(folder / name)
    shutil.copy(inside / "tpm/event_log.bin", folder / "reference.bin")
    (inside / "link.ini").symlink_to(folder / "kxl.ini")
    ini = (folder / "kxl.ini").read_text()
    (folder / "tokens.ini").write_text(ini.replace("TrustedCaDir", "PMFExternalCertificatePath=::UUID::\nTrustedCaDir"))
    for name in ("trusted", "intermediate"):
        shutil.copytree(folder / name, inside / f"own-{name}")
        (folder / f"{name}.ini").write_text(ini.replace(f"Dir={name}", f"Dir=device/own-{name}"))
    stages = ("seal-config-expected", "pmf-trust", "reference-log", "tpm-log")
    for config, reference, expected in (
            ("kxl.ini", "reference.bin", "signed signed signed signed"),
            ("kxl.ini", "device/tpm/event_log.bin", "signed signed device signed"),
            ("trusted.ini", "reference.bin", "signed device signed signed"),
            ("intermediate.ini", "reference.bin", "signed device signed signed"),
            ("tokens.ini", "reference.bin", "signed device signed signed"),
            ("device/link.ini", "reference.bin", "device device device signed")):
        run = made.verify(NONCE, "--validate", "-c", config, "--reference_tpm_log_file=" + reference, own_clock=True)
        marks = marks_of(readers.read(made.device, run.stdout))
        marks = " ".join(str(marks[stage]) for stage in stages)
        demand(marks == expected, f"with {config} and {reference} it rests on {marks}")


def invent(programs, readers, folder):
    """An event of a PCR that nobody compares, and a seal that asks for less than was measured."""
    made = Enrolled(programs, folder / "log")
    log = made.device.folder / "device/tpm/event_log.bin"
    log.write_bytes(log.read_bytes() + struct.pack("<3IH20xH32xI", 9, 13, 2, 4, 11, 0))
    report = readers.read(made.device, made.verify(NONCE).stdout)
    marks = marks_of(report)
    demand((marks["tpm-log"], marks["seal-log-measured"]) == ("device", "signed"), f"an invented log rests on {marks}")
    less = Enrolled(programs, folder / "seal", "--fault", "two-options-off")
    seal = readers.read(less.device, less.verify(NONCE, own_clock=True).stdout)
    demand(marks_of(seal)["seal-log"] == "device", "a seal that was not measured is signed")
    return {caution["id"] for caution in report["cautions"]}


def plain_report(enrolled, readers):
    run = enrolled.device.report([*enrolled.device.orders(), "--summary"], *enrolled.device.validation())
    report = readers.read(enrolled.device, run.stdout)
    demand(report["evidence"] is None, "a plain run has evidence")
    return report


def try_all(programs, readers, folder):
    """The texts of what is wrong, and the ids that were reached."""
    wrong, ids = [], set()
    for number, row in enumerate(ROWS):
        try:
            ids |= refuse(programs, readers, folder / f"refused{number}", row)
        except (Failed, OSError) as failed:
            wrong.append(f"{row[2]}: {failed}")
    for attempt in (accept, take_from, invent):
        try:
            ids |= attempt(programs, readers, folder / attempt.__name__) or set()
        except (Failed, OSError) as failed:
            wrong.append(f"{attempt.__name__}: {failed}")
    return wrong, ids
