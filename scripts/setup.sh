#!/usr/bin/env bash
# Installs the Debian packages qvice needs to build and test (run as root,
# or with sudo available). Safe to run again.
set -euo pipefail
packages=(
  cmake ninja-build g++ clang pkg-config
  libgtest-dev libmspack-dev libxml2-dev libssl-dev zlib1g-dev libmimalloc-dev
  msitools wixl gcab libmsi-dev cabextract python3 bc mono-mcs osslsigncode g++-mingw-w64-i686 g++-mingw-w64-x86-64 binutils-mingw-w64-i686 binutils-mingw-w64-x86-64
)
# Node and npm validate SARIF output in a test; a machine that has them
# from elsewhere keeps its own.
command -v npm >/dev/null 2>&1 || packages+=(nodejs npm)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
