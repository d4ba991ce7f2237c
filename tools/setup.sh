#!/bin/sh
# Installs the Debian packages that are missing, as root or through sudo. Usage: tools/setup.sh PACKAGE...
# Says what it does, asks nothing, and fails with one clear line when a package cannot be had.
set -u
missing=""
for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0
echo "== installing:$missing"
as_root=""
if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null 2>&1 || { echo "error: root or sudo is needed to install:$missing" >&2; exit 1; }
    as_root="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
$as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq >"$log" 2>&1 || true
# shellcheck disable=SC2086
if ! $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing </dev/null >>"$log" 2>&1; then
    tail -n 5 "$log" >&2
    echo "error: these Debian packages cannot be had:$missing" >&2
    rm -f "$log"
    exit 1
fi
rm -f "$log"
