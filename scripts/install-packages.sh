#!/usr/bin/env bash
# Installs the packages of packages.txt that are not there yet.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t wanted < <(sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' packages.txt)
missing=()
for package in "${wanted[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "== packages: all ${#wanted[@]} are installed"
  exit 0
fi

echo "== packages: installing ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
  "${missing[@]}" >/dev/null
