#!/usr/bin/env bash
# Installs what the build needs from Debian's packages, when it is missing; packages
# named as arguments are installed with them.
set -euo pipefail

packages=(cmake g++ ninja-build ccache binutils libjsoncpp-dev libboost-dev libgtest-dev libbenchmark-dev pkgconf gfortran
  libcli11-dev python3 python3-numpy python3-pytest python3-dask python3-distributed python3-vtk9 python3-meshio
  python3-scipy python3-sklearn python3-matplotlib python3-xarray python3-tqdm python3-setuptools
  python3-wheel python3-pip python3-venv gmsh "$@")
missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
