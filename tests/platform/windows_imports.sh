#!/usr/bin/env bash
# The programs start where only the libraries of a pre-installation environment exist: windows_imports.sh PROGRAM...
set -euo pipefail

readonly available='advapi32|bcrypt|cfgmgr32|crypt32|kernel32|msvcrt|ntdll|setupapi|user32|ws2_32'
status=0
for program; do
    imports=$(x86_64-w64-mingw32-objdump -p "$program" | sed -n 's/^[[:space:]]*DLL Name: //p')
    [ -n "$imports" ] || { echo "$program: no imports found" >&2; status=1; }
    if missing=$(grep -viE "^($available)\.dll$" <<<"$imports"); then
        printf '%s needs libraries that may be missing:\n%s\n' "$program" "$missing" >&2
        status=1
    fi
    # tbs.dll is one of the parts that may be missing: it is loaded at run time, if it is there.
    if grep -qi '^tbs\.dll$' <<<"$imports"; then
        echo "$program is linked with tbs.dll" >&2
        status=1
    fi
done
exit $status
