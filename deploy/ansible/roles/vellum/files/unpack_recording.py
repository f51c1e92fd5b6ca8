#!/usr/bin/env python3
"""Unpacks the archive of a recording that a host made: usage: unpack_recording.py ARCHIVE DIRECTORY

Directories and plain files only, inside a directory that is not there yet. Whatever a recording has no need of is
refused, and then nothing is left: links, devices, paths that lead out, files that come twice, extended headers, sizes
and numbers beyond the limits, and tpm/tcti, which would have this machine ask a TPM that the host names.
"""

import argparse
import os
import shutil
import sys
import tarfile
import zlib

BLOCK = 512
CHUNK = 1 << 20
GZIP = 16 + zlib.MAX_WBITS


class Refused(Exception):
    pass


class Unzipped:
    """What the first member of a gzip file holds: tar writes one, and millions of empty ones would take minutes."""

    def __init__(self, file):
        self.file = file
        self.inflater = zlib.decompressobj(GZIP)

    def read(self, size):
        data = bytearray()
        while len(data) < size and not self.inflater.eof:
            part = self.inflater.decompress(self.inflater.unconsumed_tail, size - len(data))
            if not part and not self.inflater.eof and not self.inflater.unconsumed_tail:
                packed = self.file.read(BLOCK * 8)
                if not packed:
                    break
                part = self.inflater.decompress(packed, size - len(data))
            data += part
        return bytes(data)


def read_exactly(stream, size):
    data = stream.read(size)
    if len(data) != size:
        raise Refused("it ends too early")
    return data


def next_member(stream):
    """The next header, alone: what may follow it is bounded by the caller before it is read."""
    block = read_exactly(stream, BLOCK)
    if block == bytes(BLOCK):
        return None
    member = tarfile.TarInfo.frombuf(block, "utf-8", "strict")
    if member.type not in (tarfile.REGTYPE, tarfile.AREGTYPE, tarfile.DIRTYPE):
        raise Refused(f"{member.name!r} is neither file nor directory")
    if member.size < 0 or (member.type == tarfile.DIRTYPE and member.size != 0):
        raise Refused(f"{member.name!r} has an impossible size")
    return member


def parts_of(name):
    """The path as its parts, none for the top itself."""
    path = name[2:] if name.startswith("./") else name
    parts = path.rstrip("/").split("/") if path.rstrip("/") not in ("", ".") else []
    if name.startswith("/") or any(part in ("", ".", "..") or not part.isprintable() or "\\" in part for part in parts):
        raise Refused(f"{name!r} is no path within a recording")
    if parts == ["tpm", "tcti"]:
        raise Refused("it names a TPM to be asked")
    return parts


def write_file(stream, path, size):
    with open(path, "xb") as out:
        while size > 0:
            part = read_exactly(stream, min(size, CHUNK))
            out.write(part)
            size -= len(part)


def unpack(stream, directory, largest, most):
    total = count = 0
    while (member := next_member(stream)) is not None:
        parts = parts_of(member.name)
        count += 1
        total += member.size
        if count > most or total > largest:
            raise Refused(f"it holds more than {most} files or {largest} bytes")
        path = os.path.join(directory, *parts)
        if member.type == tarfile.DIRTYPE:
            if parts:
                os.mkdir(path, 0o700)
        else:
            write_file(stream, path, member.size)
            read_exactly(stream, -member.size % BLOCK)
    if count == 0:
        raise Refused("it is empty")


def main():
    parser = argparse.ArgumentParser(description="Unpacks the archive of a recording that a host made.")
    parser.add_argument("archive")
    parser.add_argument("directory")
    parser.add_argument("--largest", type=int, default=512 << 20, help="bytes of all files together")
    parser.add_argument("--most", type=int, default=10000, help="files and directories")
    arguments = parser.parse_args()
    os.umask(0o077)
    os.mkdir(arguments.directory, 0o700)
    try:
        with open(arguments.archive, "rb") as file:
            unpack(Unzipped(file), arguments.directory, arguments.largest, arguments.most)
    except (Refused, OSError, zlib.error, tarfile.TarError, UnicodeError) as error:
        shutil.rmtree(arguments.directory)
        sys.exit(f"the archive is refused: {error}")


if __name__ == "__main__":
    main()
