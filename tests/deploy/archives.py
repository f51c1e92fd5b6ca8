#!/usr/bin/env python3
"""Archives as a host may send them, well-meant and hostile: what is unpacked, and that nothing is left of the others."""

import gzip
import io
import pathlib
import subprocess
import sys
import tarfile
import tempfile

UNPACK = pathlib.Path(__file__).parents[2] / "deploy/ansible/roles/vellum/files/unpack_recording.py"
LARGEST, MOST = 1 << 20, 20


def member(name, data=b"", kind=tarfile.REGTYPE, size=None, link="", form=tarfile.USTAR_FORMAT):
    info = tarfile.TarInfo(name)
    info.type, info.linkname, info.size = kind, link, len(data) if size is None else size
    return info.tobuf(form) + data + bytes(-len(data) % 512)


def packed(*members, end=bytes(1024)):
    return gzip.compress(b"".join(members) + end)


FILE = member("./now", b"1")
FLOOD = member("a", bytes(2 << 20))
CASES = {
    "nothing": (packed(), "it is empty"),
    "no archive": (b"recording", "incorrect header check"),
    "broken off": (packed(FILE)[:-20], "ends too early"),
    "empty members": (gzip.compress(b"") * 300000 + packed(FILE), "ends too early"),
    "without its end": (packed(FILE, end=b""), "ends too early"),
    "noise": (gzip.compress(bytes(range(256)) * 8), "invalid header"),
    "absolute path": (packed(member("/tmp/x", b"1")), "no path within"),
    "path that leads out": (packed(member("a/../../x", b"1")), "no path within"),
    "path with a line": (packed(member("a\nb", b"1")), "no path within"),
    "path of bytes": (packed(FILE.replace(b"./now", b"./n\xffw")), "refused"),
    "symbolic link": (packed(member("a", kind=tarfile.SYMTYPE, link="/etc")), "neither file nor directory"),
    "hard link": (packed(FILE, member("a", kind=tarfile.LNKTYPE, link="now")), "neither file nor directory"),
    "device": (packed(member("a", kind=tarfile.CHRTYPE)), "neither file nor directory"),
    "pipe": (packed(member("a", kind=tarfile.FIFOTYPE)), "neither file nor directory"),
    "sparse file": (packed(member("a", kind=tarfile.GNUTYPE_SPARSE)), "neither file nor directory"),
    "long name": (packed(member("a" * 300, b"1", form=tarfile.GNU_FORMAT)), "neither file nor directory"),
    "headers without end": (packed(member("a", kind=tarfile.XHDTYPE, size=1 << 32)), "neither file nor directory"),
    "negative size": (packed(member("a", size=-1, form=tarfile.GNU_FORMAT)), "impossible size"),
    "bomb": (packed(FLOOD), "holds more than"),
    "file that lies": (packed(member("a", size=1 << 40, form=tarfile.GNU_FORMAT)), "holds more than"),
    "too many": (packed(*(member(f"{n}") for n in range(MOST + 1))), "holds more than"),
    "file twice": (packed(FILE, FILE), "File exists"),
    "file below a file": (packed(FILE, member("now/a", b"1")), "Not a directory"),
    "TPM to be asked": (packed(member("tpm", kind=tarfile.DIRTYPE), member("./tpm/tcti", b"1")), "names a TPM"),
}


def unpack(archive, scratch):
    (scratch / "archive").write_bytes(archive)
    return subprocess.run([sys.executable, UNPACK, scratch / "archive", scratch / "out/recording", "--largest", str(LARGEST),
                           "--most", str(MOST)], capture_output=True, text=True, timeout=60, check=False)


def main():
    wrong = []
    for name, (archive, reason) in CASES.items():
        with tempfile.TemporaryDirectory() as scratch:
            out = pathlib.Path(scratch) / "out"
            out.mkdir()
            ended = unpack(archive, out.parent)
            if ended.returncode != 1 or not ended.stderr.startswith("the archive is refused: ") or list(out.iterdir()) \
                    or reason not in ended.stderr:
                wrong.append(f"{name}: exit code {ended.returncode}, {ended.stderr!r}, left: {list(out.iterdir())}")
    with tempfile.TemporaryDirectory() as scratch:
        # As tar writes it on a host, with a block that is full and a name of two parts.
        out, made = pathlib.Path(scratch, "out"), pathlib.Path(scratch, "made")
        for path, data in {"now": b"1", "disk/C/bom.txt": b"x" * 512, "tpm/quote.bin": b""}.items():
            (made / path).parent.mkdir(parents=True, exist_ok=True)
            (made / path).write_bytes(data)
        (made / "firmware").mkdir()
        out.mkdir()
        tar = subprocess.run(["tar", "-C", made, "--format=ustar", "-cz", "."], capture_output=True, check=True)
        ended = unpack(tar.stdout, out.parent)
        if ended.returncode != 0 or subprocess.run(["diff", "-r", made, out / "recording"], check=False).returncode != 0:
            wrong.append(f"well-meant: exit code {ended.returncode}, {ended.stderr!r}")
    if wrong:
        sys.exit("\n".join(wrong))
    print(f"{len(CASES)} hostile archives are refused without a trace, a good one is unpacked")


if __name__ == "__main__":
    main()
