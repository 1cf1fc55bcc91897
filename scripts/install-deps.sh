#!/usr/bin/env bash
# Installs the Debian packages the project builds with. Idempotent: prints
# nothing and changes nothing when every package is already present.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  clang-14 clang-format-14 libclang-rt-14-dev libfuzzer-14-dev
  libpugixml-dev libboost-iostreams-dev libutfcpp-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}" >&2
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq >/dev/null
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
