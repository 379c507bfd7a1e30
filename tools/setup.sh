#!/usr/bin/env bash
# Installs what the named jobs need and is not there yet: setup.sh run|test|bench|vm|box|package|ci ...
# Asks the network only when something is missing; needs root, or sudo, only then.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libglib2.0-dev libsqlite3-dev libcli11-dev libpulse-dev libudev-dev)
run=(dbus-daemon)
test=(libgtest-dev libgmock-dev pulseaudio python3 systemd dbus dbus-bin)
bench=(valgrind)
# Two emulated machines with the tree of this one: what runs in them has to be here. Their kernel is only unpacked.
vm=(qemu-system-x86 busybox-static cpio gzip kmod python3 python3-gi gir1.2-glib-2.0 dbus udev bluez
    bluez-test-tools)
# Another one with a stock Debian of its own.
box=("${vm[@]}" debootstrap e2fsprogs)
package=(git debhelper dpkg-dev lintian faketime debootstrap python3)
ci=(git clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev cppcheck gcovr iwyu)

wanted=("${build[@]}")
for job in "$@"; do
    case "$job" in
    run) wanted+=("${run[@]}") ;;
    test) wanted+=("${run[@]}" "${test[@]}") ;;
    bench) wanted+=("${run[@]}" "${bench[@]}" python3) ;;
    vm) wanted+=("${run[@]}" "${vm[@]}") ;;
    box) wanted+=("${run[@]}" "${box[@]}") ;;
    package) wanted+=("${package[@]}") ;;
    ci) wanted+=("${run[@]}" "${test[@]}" "${bench[@]}" "${ci[@]}") ;;
    *)
        echo "setup.sh: no such job: $job (run, test, bench, vm, box, package, ci)" >&2
        exit 2
        ;;
    esac
done

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
for package in "${wanted[@]}"; do
    is_installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "setup.sh: these packages are missing and only root can install them: ${missing[*]}" >&2
        echo "setup.sh: as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "== installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
