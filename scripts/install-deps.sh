#!/usr/bin/env bash
# Installs the Debian packages the project builds with. Idempotent: prints
# nothing and changes nothing when every package is already present.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  clang-14 clang-format-14 libclang-rt-14-dev libfuzzer-14-dev
  libpugixml-dev libexpat1-dev libboost-iostreams-dev libutfcpp-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libadmesh-dev
  nlohmann-json3-dev python3 python3-jsonschema
  locales
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}" >&2
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq >/dev/null
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# A locale with a decimal comma, for the test that proves value texts ignore the locale.
if ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
  echo "install-deps: generating the de_DE.UTF-8 locale" >&2
  $SUDO localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
