#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs `./dev demo` and `./dev test` on a bare Debian 12: a fresh root made by mmdebstrap, a copy of the committed tree
# without its history, nothing else. Shows install steps that are missing. Needs root and mmdebstrap; takes a good 15 minutes.
#
#   tests/bare-debian.sh            makes the root in a temporary folder and removes it
#   tests/bare-debian.sh FOLDER     keeps it there, or uses it again
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

if [ $# -gt 0 ]; then
  root=$1
else
  root=$(mktemp -d)
  trap 'rm -rf --one-file-system "$root"' EXIT
fi
[ -x "$root/bin/sh" ] || mmdebstrap --quiet --variant=minbase bookworm "$root"

# What a network behind a proxy of its own needs to reach the package index.
certificate=
if [ -n "${PIP_CERT:-}" ]; then
  certificate=PIP_CERT=/pip-certificates.pem
  cp "$PIP_CERT" "$root/pip-certificates.pem"
fi
cp /etc/resolv.conf "$root/etc/resolv.conf"

copy=$root/root/noflailsten
rm -rf "$copy"
mkdir -p "$copy"
git -C "$tree" archive HEAD | tar x -C "$copy"

# In namespaces of its own, so that every mount and process goes with it.
inside() {
  # shellcheck disable=SC2016 # expanded inside
  unshare --mount --pid --fork --kill-child bash -euc '
    root=$1; shift
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --make-rslave "$root/dev"
    exec chroot "$root" /usr/bin/env -i HOME=/root TERM=dumb LANG=C.UTF-8 \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"' \
    _ "$root" ${certificate:+"$certificate"} "$@"
}

inside bash -euc 'cd /root/noflailsten && ./dev demo </dev/null'
inside bash -euc 'cd /root/noflailsten && ./dev test'
