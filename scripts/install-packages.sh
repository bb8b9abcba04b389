#!/usr/bin/env bash
# Installs the packages of packages.txt that are not there yet, and then what the page and the tests
# take from npm, so that building and testing need no network.
set -euo pipefail
cd "$(dirname "$0")/.."

missing=()
wanted=0
while read -r package unless command; do
  [ "$unless" = "" ] || [ "$unless" = "unless" ] || { echo "packages.txt: $unless?" >&2; exit 1; }
  wanted=$((wanted + 1))
  if [ -n "$command" ] && command -v "$command" >/dev/null; then continue; fi
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' packages.txt)

if [ ${#missing[@]} -eq 0 ]; then
  echo "== packages: all $wanted are installed"
else
  echo "== packages: installing ${missing[*]}"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
fi

for folder in web tests/clients tests/web; do
  if [ ! "$folder/node_modules/.package-lock.json" -nt "$folder/package-lock.json" ]; then
    echo "== packages: installing those of $folder/package-lock.json"
    npm ci --prefix "$folder" --no-audit --no-fund --loglevel=error >/dev/null
  fi
done
