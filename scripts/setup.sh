#!/usr/bin/env bash
# Installs what is missing of dependencies/debian.txt. Needs no root when nothing is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
    echo "setup: $*" >&2
    exit 1
}

list=dependencies/debian.txt
mapfile -t packages <<<"$(sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' "$list")"

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    fail "this is no Debian system; install the counterparts of the packages in $list yourself"
fi

installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' 2>/dev/null)
missing=()
for package in "${packages[@]}"; do
    grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
done

if [[ ${#missing[@]} -eq 0 ]]; then
    echo "setup: all ${#packages[@]} packages of $list are installed"
    exit 0
fi

echo "setup: missing: ${missing[*]}"
as_root=()
if [[ $EUID -ne 0 ]]; then
    command -v sudo >/dev/null ||
        fail "installing needs root and there is no sudo; as root, run: apt-get install ${missing[*]}"
    as_root=(sudo)
fi

# Through env, because sudo drops the variable.
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0
    -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300)
echo "setup: apt-get update"
"${apt[@]}" update
echo "setup: apt-get install"
"${apt[@]}" install --yes --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: installed ${#missing[@]} packages"
