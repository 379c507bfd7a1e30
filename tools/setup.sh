#!/usr/bin/env bash
# Installs what the named jobs need and is not there yet: setup.sh run|tv|test|fuzz|bench|vm|box|package|ci ...
# Asks the network only when something is missing; needs root, or sudo, only then.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config python3 libglib2.0-dev libsqlite3-dev zlib1g-dev libcli11-dev
    libpulse-dev libudev-dev)
run=(dbus-daemon)
# The television on the desk: its page, what it reads, its prompt.
tv=(libsoup-3.0-dev libjson-glib-dev libedit-dev)
test=(libgtest-dev libgmock-dev pulseaudio python3 systemd dbus dbus-bin chromium chromium-driver)
fuzz=(clang-14 libclang-rt-14-dev)
bench=(valgrind libdconf-dev dconf-service dconf-gsettings-backend)
# Two emulated machines with the tree of this one: what runs in them has to be here. Their kernel is only unpacked.
vm=(qemu-system-x86 busybox-static cpio gzip kmod python3 python3-gi gir1.2-glib-2.0 dbus udev bluez
    bluez-test-tools)
# Another one with a stock Debian of its own.
box=("${vm[@]}" debootstrap e2fsprogs)
package=(git debhelper dpkg-dev lintian faketime debootstrap python3)
ci=("${fuzz[@]}" git clang-format-14 clang-tidy-14 cppcheck gcovr iwyu)

wanted=("${build[@]}")
for job in "$@"; do
    case "$job" in
    run | tv) wanted+=("${run[@]}" "${tv[@]}") ;;
    test) wanted+=("${run[@]}" "${tv[@]}" "${test[@]}") ;;
    fuzz) wanted+=("${fuzz[@]}") ;;
    bench) wanted+=("${run[@]}" "${bench[@]}" python3) ;;
    vm) wanted+=("${run[@]}" "${vm[@]}") ;;
    box) wanted+=("${run[@]}" "${box[@]}") ;;
    package) wanted+=("${package[@]}") ;;
    ci) wanted+=("${run[@]}" "${tv[@]}" "${test[@]}" "${bench[@]}" "${ci[@]}") ;;
    *)
        echo "setup.sh: no such job: $job (run, tv, test, fuzz, bench, vm, box, package, ci)" >&2
        exit 2
        ;;
    esac
done

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
for package in "${wanted[@]}"; do
    is_installed "$package" || missing+=("$package")
done
# A machine made of Debian's packages alone has no names of its own yet; a browser's driver looks for it by this one.
no_name=
case " ${wanted[*]} " in *" chromium-driver "*) getent hosts localhost >/dev/null || no_name=1 ;; esac
[ ${#missing[@]} -eq 0 ] && [ -z "$no_name" ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        [ ${#missing[@]} -eq 0 ] || {
            echo "setup.sh: these packages are missing and only root can install them: ${missing[*]}" >&2
            echo "setup.sh: as root: apt-get install ${missing[*]}" >&2
        }
        [ -z "$no_name" ] ||
            echo "setup.sh: this machine does not know the name localhost; as root: echo 127.0.0.1 localhost >>/etc/hosts" >&2
        exit 1
    fi
    as_root=(sudo)
fi

[ -z "$no_name" ] || echo '127.0.0.1 localhost' | "${as_root[@]}" tee -a /etc/hosts >/dev/null
[ ${#missing[@]} -eq 0 ] && exit 0

echo "== installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
