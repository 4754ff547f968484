#!/usr/bin/env bash
# Installs what building and testing kxxml needs on Debian 12, from Debian's packages.
set -euo pipefail
# clang and its runtime (libFuzzer, sanitizers) build the fuzz targets that CI runs; dbus is
# the daemon that the bus tests and the bench's bus figures start for themselves (QtDBus itself
# comes with qt6-base-dev and qtbase5-dev).
packages=(cmake g++ make pkg-config qt6-base-dev qt6-5compat-dev qtbase5-dev doxygen libbenchmark-dev
          clang libclang-rt-14-dev dbus)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
