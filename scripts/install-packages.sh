#!/usr/bin/env bash
# Installs what is not there yet of what a purpose needs: of packages.txt those packages that stand
# under it, and what is pinned of npm, so that building and testing need no network.
#
#   install-packages.sh run      the program
#   install-packages.sh page     the same, and the page
#   install-packages.sh test     the same, and the tests; likewise lint and fuzz
#   install-packages.sh cluster  what make cluster needs
#   install-packages.sh format   the formatter, and nothing else
#   install-packages.sh          all of these
#   install-packages.sh packaging  what only the Debian packages are made and tried with:
#                                packaging/packages.txt
#   install-packages.sh generators  what `make generators` needs: tests/generators
#   install-packages.sh bench    what only the benchmarks need: bench/packages.txt, and bench/peers from
#                                npm. A peer that cannot be installed is left out of the measuring.
#
# KORVANE_PACKAGES=list prints the names of the packages instead, whether they are there or not.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly tools=build/tools

# The lines of the list $1 that stand under one of the sections $2…, or under none.
lines_of() {
  local list=$1 section='' line wanted
  shift
  while IFS= read -r line; do
    line=${line%%#*}
    if [[ $line =~ ^\[([a-z ]+)\] ]]; then
      section=${BASH_REMATCH[1]}
      continue
    fi
    [[ $line =~ [^[:space:]] ]] || continue
    for wanted in "" "$@"; do
      [ "$section" != "$wanted" ] || echo "$line"
    done
  done <"$list"
}

# The packages of the lines of the input that are wanted: $1 says whether one is there.
missing_of() {
  local package unless command
  while read -r package unless command; do
    [ "$unless" = "" ] || [ "$unless" = "unless" ] || { echo "packages: $unless?" >&2; exit 1; }
    if [ "${KORVANE_PACKAGES:-}" != "list" ]; then
      if [ -n "$command" ] && command -v "$command" >/dev/null; then continue; fi
      if "$1" "$package"; then continue; fi
    fi
    echo "$package"
  done
}

is_installed() {
  [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null || true)" = "install ok installed" ]
}

is_unpacked() { [ -e "$tools/.$1" ]; }

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs those packages of the sections $2… of the list $1 that are missing.
install_list() {
  local lines missing
  lines=$(lines_of "$@")
  missing=$(missing_of is_installed <<<"$lines")
  if [ "${KORVANE_PACKAGES:-}" = "list" ]; then
    echo "$missing"
  elif [ -z "$missing" ]; then
    echo "== packages: all $(wc -l <<<"$lines") of $1 are installed${2:+ for ${*:2}}"
  else
    mapfile -t missing <<<"$missing"
    echo "== packages: installing ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" >/dev/null
  fi
}

# Into the current folder.
download() {
  apt-get download -qq "$1" 2>/dev/null && return
  as_root apt-get update -qq
  apt-get download -qq "$1"
}

# Unpacks those packages of the section $2 of the list $1 that are missing, without what they depend on.
unpack_list() {
  local missing package folder
  missing=$(missing_of is_unpacked < <(lines_of "$@"))
  if [ "${KORVANE_PACKAGES:-}" = "list" ]; then
    echo "$missing"
    return
  fi
  for package in $missing; do
    echo "== packages: unpacking $package into $tools"
    folder=$(mktemp -d)
    chmod 755 "$folder"
    if (cd "$folder" && download "$package"); then
      mkdir -p "$tools"
      dpkg-deb -x "$folder"/*.deb "$tools"
      touch "$tools/.$package"
    else
      echo "== packages: $package cannot be had; its tests are skipped" >&2
    fi
    rm -r "$folder"
  done
}

# Installs what the lock file of the folder $1 pins, if that has changed.
install_npm() {
  [ "${KORVANE_PACKAGES:-}" != "list" ] || return 0
  if [ ! "$1/node_modules/.package-lock.json" -nt "$1/package-lock.json" ]; then
    echo "== packages: installing those of $1/package-lock.json"
    npm ci --prefix "$1" --no-audit --no-fund --loglevel=error >/dev/null
  fi
}

install_bench() {
  install_list bench/packages.txt
  # Compiles with the headers that lie beside Node, rather than with ones it would download.
  [ ! -e /usr/include/node/node.h ] || export npm_config_nodedir=/usr
  npm_config_build_from_source=true install_npm bench/peers ||
    echo "== packages: Node is left out of the measuring, its module cannot be installed" >&2
}

case "${1:-all}" in
  run) sections=(run) ;;
  page) sections=(run page) ;;
  test) sections=(run page scripts test) ;;
  lint) sections=(run page scripts test lint) ;;
  fuzz) sections=(run page scripts test fuzz) ;;
  cluster) sections=(run page scripts test cluster) ;;
  format) sections=(scripts format) ;;
  all) sections=(run page scripts test cluster format lint fuzz) ;;
  bench) install_bench; exit ;;
  packaging) install_list packaging/packages.txt; exit ;;
  generators) install_list tests/generators/packages.txt; install_npm tests/generators; exit ;;
  *) echo "install-packages.sh: \"$1\" is not a purpose: run, page, test, lint, fuzz, cluster, format," \
    "packaging, generators or bench" >&2
    exit 2 ;;
esac
install_list packages.txt "${sections[@]}"
case " ${sections[*]} " in
  *" test "*)
    unpack_list packages.txt "test unpacked"
    npm_folders=(web tests/clients tests/web)
    ;;
  *" page "*) npm_folders=(web) ;;
  *) npm_folders=() ;;
esac
for folder in "${npm_folders[@]}"; do
  install_npm "$folder"
done
