#!/usr/bin/env bash
# Installs the packages of packages.txt that are not there yet, and then what the page and the tests
# take from npm, so that building and testing need no network.
#
# With "bench" it installs what only the benchmarks need: bench/packages.txt, and bench/peers from
# npm. A peer of npm's that cannot be installed is left out of the measuring, so that is not an
# error.
set -euo pipefail
cd "$(dirname "$0")/.."

# Installs those packages of the list $1 that are missing.
install_list() {
  local missing=() wanted=0 package unless command status
  while read -r package unless command; do
    [ "$unless" = "" ] || [ "$unless" = "unless" ] || { echo "$1: $unless?" >&2; exit 1; }
    wanted=$((wanted + 1))
    if [ -n "$command" ] && command -v "$command" >/dev/null; then continue; fi
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$package")
  done < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "$1")

  if [ ${#missing[@]} -eq 0 ]; then
    echo "== packages: all $wanted of $1 are installed"
    return
  fi
  echo "== packages: installing ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# Installs what the lock file of the folder $1 pins, if that has changed.
install_npm() {
  if [ ! "$1/node_modules/.package-lock.json" -nt "$1/package-lock.json" ]; then
    echo "== packages: installing those of $1/package-lock.json"
    npm ci --prefix "$1" --no-audit --no-fund --loglevel=error >/dev/null
  fi
}

if [ "${1:-}" = "bench" ]; then
  install_list bench/packages.txt
  # Compiles with the headers that lie beside Node, rather than with ones it would download.
  [ ! -e /usr/include/node/node.h ] || export npm_config_nodedir=/usr
  npm_config_build_from_source=true install_npm bench/peers ||
    echo "== packages: Node is left out of the measuring, its module cannot be installed" >&2
  exit
fi

install_list packages.txt
for folder in web tests/clients tests/web; do
  install_npm "$folder"
done
