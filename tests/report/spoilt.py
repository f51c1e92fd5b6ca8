"""Devices that are spoilt in other ways than forging knows: by their files, their answers and the options."""

import os
import re
import struct
import zlib
from dataclasses import dataclass, field

LOG = "device/tpm/event_log.bin"
DISK = "device/disk/sectors.bin"


@dataclass
class Row:
    name: str
    options: list = field(default_factory=list)  # behind those of the usual validation
    changes: list = field(default_factory=list)  # each a function of the folder that holds the device
    forged: list = field(default_factory=list)  # with what it is forged
    alone: bool = False  # the options are all that there are

    def spoil(self, device):
        for change in self.changes:
            change(device.folder)
        if any(option.endswith("clean.bin") for option in self.options):
            device.programs.run("vellum-lab", "sample-logs", device.folder)
        return self.options if self.alone else device.validation(*self.options)


# What changes a device ---------------------------------------------------------------------------------------------


def write(name, content):
    return lambda folder: (folder / name).write_bytes(content)


def remove(name):
    return lambda folder: (folder / name).unlink()


def cut(name, size):
    return lambda folder: os.truncate(folder / name, size)


def rename(name, other):
    return lambda folder: (folder / name).rename(folder / other)


def directory(name):
    return lambda folder: (folder / name).mkdir()


def link(name, target):
    return lambda folder: (folder / name).symlink_to(target)


def sum_up_disk(folder):
    """The checksums of a partition table that was changed."""
    path = folder / DISK
    disk = bytearray(path.read_bytes())
    struct.pack_into("<I", disk, 512 + 88, zlib.crc32(disk[1024 : 1024 + 128 * 128]))
    struct.pack_into("<I", disk, 512 + 16, 0)
    struct.pack_into("<I", disk, 512 + 16, zlib.crc32(disk[512 : 512 + 92]))
    path.write_bytes(disk)


def put(name, offset, content):
    """Other bytes in a file."""

    def change(folder):
        path = folder / name
        old = path.read_bytes()
        path.write_bytes(old[:offset] + content + old[offset + len(content) :])

    return change


def first_event(content):
    """An event behind the one that begins the log and lists its digests."""

    def change(folder):
        path = folder / LOG
        log = path.read_bytes()
        end = 32 + int.from_bytes(log[28:32], "little")
        path.write_bytes(log[:end] + content + log[end:])

    return change


def replace(name, old, new):
    """Other text of the same length, which the file holds once."""

    def change(folder):
        path = folder / name
        content = path.read_bytes()
        assert content.count(old) == 1 and len(old) == len(new), old
        path.write_bytes(content.replace(old, new))

    return change


def ini(pattern, replacement):
    """Another line in the configuration file."""

    def change(folder):
        path = folder / "device/kxl.ini"
        text, count = re.subn(pattern, replacement, path.read_text(), count=1, flags=re.MULTILINE)
        assert count == 1, pattern
        path.write_text(text)

    return change


def fault(text):
    return write("device/firmware/faults", text.encode())


# The rows ----------------------------------------------------------------------------------------------------------

STATE = "device/firmware/feature_get_state.bin"
PMF = "device/firmware/gm_file_get.bin"
EVENT = b"\x00\x00\x00\x00\x08\x00\x00\x00\x01\x00\x00\x00"  # of PCR 0, with one digest
TL3 = ["--level", "TL3"]
LITERAL = ["--device-id", "OEM_DEFINED_LITERAL"]
BLOB = ["--device-id", "OEM_DEFINED_BLOB"]
OPTIONS = r"^\[Expected Seal Configuration\]$"


def given(kind, name, value):
    """An external Device ID in place of the right one: of an option that stands twice the command line is refused."""
    return Row(f"id {name}", ["--validate", "-c", "device/kxl.ini", f"--external_device_id={value}"], [], kind, True)


def configured(name, pattern, replacement):
    return Row(f"ini {name}", [], [ini(pattern, replacement)])


CONFIGURATIONS = [
    Row("ini absent", [], [remove("device/kxl.ini")]),
    Row("ini not named, and absent", ["--validate"], alone=True),
    configured("key unknown", OPTIONS, r"\g<0>\nBIOSLock=1"),
    configured("key in another section", OPTIONS, r"\g<0>\nFileLogLevel=1"),
    configured("key before all sections", r"\A", "BIOSLockEnabled=1\n"),
    configured("key twice", "^BIOSLockEnabled=.*", r"\g<0>\n\g<0>"),
    configured("no line of a key", OPTIONS, r"\g<0>\nBIOSLockEnabled"),
    configured("flag", "^BIOSLockEnabled=.*", "BIOSLockEnabled=yes"),
    configured("interval too short", "^OptOutIntervalSeconds=.*", "OptOutIntervalSeconds=14"),
    configured("interval of letters", "^OptOutIntervalSeconds=.*", "OptOutIntervalSeconds=15s"),
    configured("interval empty", "^OptOutIntervalSeconds=.*", "OptOutIntervalSeconds="),
    configured("hotkey unknown", "^OptOutHotKey=.*", "OptOutHotKey=CTRL+ALT+F13"),
    configured("hotkey too long", "^OptOutHotKey=.*", "OptOutHotKey=1,2,3,4,5,6,7,8,9"),
    configured("source", "^DeviceIdSource=.*", "DeviceIdSource=uuid"),
    configured("algorithm", "^ExpectedSealSigningAlgorithm=.*", "ExpectedSealSigningAlgorithm=SHA256"),
    configured("no trusted directory", "^TrustedCaDir=.*", "TrustedCaDir="),
    configured("log level", r"\Z", "\n[Logging]\nFileLogLevel=9\n"),
    configured("long path", "^TrustedCaDir=.*", "TrustedCaDir=" + 187 * "x"),
]

COMMAND_LINES = [
    Row("option unknown", ["--no-such-option"]),
    Row("no mode", [], alone=True),
    Row("two modes", ["--unseal"]),
    Row("arguments too long", ["-g", 40000 * "x"]),
    Row("many arguments", 200 * ["--validate"], alone=True),
    Row("level of the console", ["-v", "9"]),
    Row("level of the file", ["-l", "7"]),
    Row("log file in no folder", ["-o", "no/such/folder/kxl.log"]),
    Row("log file of a long path", ["-o", 300 * "x"]),
    Row("reference absent", ["--reference_tpm_log_file=absent.bin"]),
    Row("reference empty", ["--reference_tpm_log_file=empty.bin"], [write("empty.bin", b"")]),
    Row("reference no file", ["--reference_tpm_log_file=device"]),
    Row("reference unreadable", ["--reference_tpm_log_file=text.bin"], [write("text.bin", 100 * b"x")]),
    Row("reference the same", [f"--reference_tpm_log_file={LOG}"]),
    Row("reference another", ["--reference_tpm_log_file=clean.bin"]),
]

FILES = [
    Row("pmf file absent", ["-g", "absent.bin"]),
    Row("pmf file empty", ["-g", "empty.bin"], [write("empty.bin", b"")]),
    Row("pmf file of three bytes", ["-g", "short.bin"], [write("short.bin", b"PMF")]),
    Row("pmf file too large", ["-g", "big.bin"], [write("big.bin", bytes(65536))]),
    Row("pmf file no file", ["-g", "device"]),
    Row("live log file", [f"--tpm_event_log_file={LOG}"]),
    Row("live log file absent", ["--tpm_event_log_file=absent.bin"]),
    Row("live log no log", [], [write(LOG, 100 * b"x")]),
    Row("live log cut", [], [cut(LOG, 1000)]),
    Row("live log of ten bytes", [], [cut(LOG, 10)]),
    Row("live log of another kind", [], [put(LOG, 4, b"\x08")]),
    Row("live log empty", [], [write(LOG, b"")]),
    Row("live log of an older layout", [], [put(LOG, 52, b"\x00\x01")]),
    Row("live log of many digests", [], [put(LOG, 56, b"\x00\x01")]),
    Row("live log with a cut beginning", [], [put(LOG, 28, b"\x14\x00\x00\x00")]),
    Row("live log with an event of SHA-1", [], [first_event(EVENT + b"\x04\x00" + 20 * b"a" + 64 * b"\x00")]),
    Row("live log with an endless event", [], [first_event(EVENT + b"\x0b\x00" + 32 * b"a" + 4 * b"\xff")]),
    Row("live log with a strange event", [], [put(LOG, 80, 40 * b"\xff")]),
    Row("live log too large", [f"--tpm_event_log_file={LOG}"], [cut(LOG, 257 << 20)]),
    Row("external certificate absent", ["--pmf_external_certificate_path=absent.pem"]),
    Row("external certificate no certificate", ["--pmf_external_certificate_path=device/kxl.ini"]),
    Row("external certificate another", ["--pmf_external_certificate_path=device/trusted/root.crt"]),
    Row("trusted certificate too large", [], [write("device/trusted/large.crt", (8 << 20) * b"-")]),
    Row("trusted certificate twice", [], [lambda folder: (folder / "device/trusted/twin.crt").write_bytes(
        (folder / "device/trusted/root.crt").read_bytes())]),
    Row("bom file absent", [], [remove("device/disk/C/bom/system.bom")]),
    Row("bom file no file", [], [remove("device/disk/C/bom/system.bom"), directory("device/disk/C/bom/system.bom")]),
    Row("bom file linked outside", [], [
        rename("device/disk/C/bom/system.bom", "outside.bom"),
        link("device/disk/C/bom/system.bom", "../../../../outside.bom")]),
    Row("disk absent", [], [remove("device/disk/sectors.bin")]),
    Row("disk of one sector", [], [cut(DISK, 512)]),
    Row("disk header of another size", [], [put(DISK, 512 + 12, b"\x00\x10")]),
    Row("disk header of another place", [], [put(DISK, 512 + 24, b"\x02")]),
    Row("disk entry changed", [], [put(DISK, 1024 + 50, b"\xff")]),
    Row("partition with other attributes", [], [put(DISK, 1024 + 48, b"\x01"), sum_up_disk]),
    Row("partition with another GUID", [], [put(DISK, 1024 + 16, b"\x01"), sum_up_disk]),
    Row("volumes absent", [], [remove("device/disk/volumes")]),
    Row("smbios with what XML lacks", [], [
        replace("device/smbios.bin", b"Sealed Laptop", b"\xef\xbf\xbf\xef\xbf\xbe\xff&<>\"'\x1b")]),
    Row("smbios absent", [], [remove("device/smbios.bin")]),
    Row("smbios too large", [], [cut("device/smbios.bin", 2 << 20)]),
    Row("os version of a large build", [], [write("device/os_version", b"10.0.70000\n")]),
    Row("os version absent", [], [remove("device/os_version")]),
    Row("pcrs absent", [], [remove("device/tpm/pcrs.bin")]),
    Row("log absent", [], [remove(LOG)]),
    Row("tpm absent", [], [rename("device/tpm", "device/no_tpm")]),
    Row("tpm of version 1.2", [], [write("device/tpm/version", b"1\n")]),
    Row("tl3 file absent", [], [remove("device/tl3_identity.csv")], TL3),
    Row("tl3 file no file", [], [remove("device/tl3_identity.csv"), directory("device/tl3_identity.csv")], TL3),
]

TOKENS = [
    Row("token unclosed", ["-g", "::UUID"]),
    Row("token without id", ["-g", "::OEM_DEFINED_LITERAL::"]),
    Row("token of a bad literal", ["-g", "::OEM_DEFINED_LITERAL::", "--external_device_id=A/B"]),
    Row("token of a long literal", ["-g", "::OEM_DEFINED_LITERAL::", "--external_device_id=" + 64 * "A"]),
    Row("token of a prefixed literal", ["-g", "::OEM_DEFINED_LITERAL::", "--external_device_id=0xAB"]),
    Row("token of an odd blob", ["-g", "::OEM_DEFINED_BLOB::", "--external_device_id=0xABC"]),
    Row("token of a bare blob", ["-g", "::OEM_DEFINED_BLOB::", "--external_device_id=AB"]),
    Row("token of no blob", ["-g", "::OEM_DEFINED_BLOB::", "--external_device_id=0x0G"]),
    Row("token without smbios", ["-g", "::UUID::"], [remove("device/smbios.bin")]),
    Row("token makes too long", ["-g", 240 * "0" + "::UUID::"]),
    Row("path too long", ["-g", 300 * "0"]),
    Row("token in a tl3 path", ["--tl3_seal_identity_verification_file=::UUID"], [], TL3),
]

IDENTITIES = [
    Row("id not given", ["--validate", "-c", "device/kxl.ini"], [], LITERAL, True),
    given(LITERAL, "literal another", "LINE-4_unit.0043"),
    given(LITERAL, "literal shorter", "LINE-4"),
    given(LITERAL, "literal with a blank", "ABC 1"),
    given(LITERAL, "literal with a prefix", "0xAB"),
    given(LITERAL, "literal too long", 64 * "0"),
    given(LITERAL, "empty", ""),
    given(BLOB, "blob another", "0x0A0B"),
    given(BLOB, "blob odd", "0xABC"),
    given(BLOB, "blob bare", "AB"),
    given(BLOB, "blob empty", "0x"),
    given(BLOB, "blob of other letters", "0x0G"),
    given(BLOB, "blob too long", "0x" + 130 * "0"),
]

SKIPPED = [
    Row("no pcrs", ["--skip_retrieving_pcrs"]),
    Row("no log", ["--skip_retrieving_tpm_event_log"]),
    Row("no platform measurements", ["--skip_retrieving_platform_measurements"]),
    Row("nothing retrieved", [
        "--skip_retrieving_pcrs", "--skip_retrieving_tpm_event_log", "--skip_retrieving_platform_measurements"]),
    Row("no ironwall", ["--skip_iwl_validation"]),
    Row("version not checked", ["--bypass_version_check"], [], ["--fault", "new-version"]),
    Row("expires soon", [], [write("device/now", b"1861876800\n")]),
]

ANSWERS = [Row(f"channel {text}", [], [fault(text)]) for text in (
    "list_size fail 13", "list fail 31", "list grow", "open fail 2", "version no_event", "version not_started 16",
    "version timed_out", "version short 4", "connect no_event", "connect not_started", "connect timed_out",
    "connect wait_abandoned", "connect wait_failed", "connect not_collected", "connect short 3", "write no_event",
    "write not_started", "write timed_out", "write wait_abandoned", "write wait_failed", "write not_collected",
    "write short 8", "read no_event", "read not_started", "read timed_out", "read wait_abandoned", "read wait_failed",
    "read not_collected", "read short 15", "close fail")] + [
    Row(f"answer {status:#x}", [], [put(STATE, 12, status.to_bytes(4, "little"))])
    for status in (1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 0xFFFF)] + [
    Row("answer cut", [], [cut(STATE, 1203)]),
    Row("answer of no bytes", [], [cut(STATE, 0)]),
    Row("pmf answer cut", [], [cut(PMF, 17)]),
    Row("pmf answer empty", [], [cut(PMF, 18), put(PMF, 16, bytes(2))]),
    Row("no message length", [], [write("device/firmware/max_message_length", b"0\n")]),
    Row("small message length", [], [write("device/firmware/max_message_length", b"1203\n")]),
    Row("large message length", [], [write("device/firmware/max_message_length", b"1048577\n")]),
    Row("hotkey that does not fit", [], [put(STATE, 26, b"\x41")]),
    Row("seal log with a part of a record", [], [put(STATE, 1202, b"\x91\x02"), cut(STATE, 1861)]),
]


def unseal(name, *options, changes=(), forged=()):
    return Row(f"unseal {name}", ["--unseal", "-c", "device/kxl.ini", *options], list(changes), list(forged), True)


def compare(name, *options, changes=()):
    return Row(f"compare {name}", ["--compare_log", *options], list(changes), alone=True)


OTHER_MODES = [
    unseal("done"),
    unseal("reason", "--reason=3"),
    unseal("disk locked", forged=["--fault", "no-disk-records"]),
    unseal("inactive", forged=["--fault", "feature-inactive"]),
    unseal("undefined", changes=[put(STATE, 16, b"\xab\x00")]),
    unseal("refused", changes=[put("device/firmware/feature_deactivate.bin", 12, b"\x01")]),
    unseal("no interface", forged=["--fault", "no-interface"]),
    compare("alike", f"--tpm_event_log_file={LOG}", f"--reference_tpm_log_file={LOG}"),
    compare("differing", "--tpm_event_log_file=changed.bin", "--reference_tpm_log_file=clean.bin"),
    compare("without reference", f"--tpm_event_log_file={LOG}"),
    compare("live absent", "--tpm_event_log_file=absent.bin", f"--reference_tpm_log_file={LOG}"),
    compare("pcrs", f"--tpm_event_log_file={LOG}", f"--reference_tpm_log_file={LOG}", "--compared_pcrs=24"),
    compare("pcrs twice", f"--tpm_event_log_file={LOG}", f"--reference_tpm_log_file={LOG}", "--compared_pcrs=3,3"),
]

ROWS = [*CONFIGURATIONS, *COMMAND_LINES, *FILES, *TOKENS, *IDENTITIES, *SKIPPED, *ANSWERS, *OTHER_MODES]
