#!/usr/bin/env bash
# Installs the Debian packages the build, tests and benchmarks need, if missing.
set -euo pipefail

packages=(cmake make g++ pkg-config binutils
          libgtest-dev libbenchmark-dev
          libopenblas-dev libmpfr-dev libgmp-dev libgsl-dev libsleef-dev libdsfmt-dev libboost-dev)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
