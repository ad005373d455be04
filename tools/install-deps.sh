#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running bridgesnmp need,
# skipping those already present. Uses sudo when not run as root.
set -euo pipefail

packages=(libsnmp-dev snmpd snmp libgtest-dev libgmock-dev libbenchmark-dev libyaml-cpp-dev
          libcli11-dev cmake ninja-build clang-format g++ make pkg-config smitools
          clang libclang-rt-14-dev libmnl-dev iproute2 debhelper dpkg-dev lintian libfaketime
          user-mode-linux kmod)

missing=()
for p in "${packages[@]}"; do
   if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
   fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing missing packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
