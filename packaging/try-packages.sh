#!/usr/bin/env bash
# Tries the Debian packages on a Debian 12 that debootstrap makes: installs them, starts the server,
# makes a first call, upgrades with a project in place, removes, purges, and looks for what is left.
#
#   packaging/try-packages.sh FOLDER_OF_PACKAGES FOLDER
#
# FOLDER keeps the fresh Debian, for the next time. Needs root, debootstrap and a mirror of Debian.
# Where systemd can be started in a container, the server is started by it; else by hand as the unit
# would, and that is said. Prints a line for each step; what a step does not do ends the script.
set -euo pipefail

packages=$(realpath "$1")
work=$(realpath -m "$2")
base=$work/base
root=$work/root
here=$(dirname "$(realpath "$0")")
project=examples/guideline.abs
export LC_ALL=C

step() { echo "== $*"; }
fail() { echo "try-packages: $*" >&2; exit 1; }
inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
  DEBIAN_FRONTEND=noninteractive "$@"; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }; }

# A file of each package, by the order of versions the last.
package() { find "$packages" -name "$1_*.deb" | sort -V | tail -n 1; }

[ "$(id -u)" -eq 0 ] || fail "root is needed for debootstrap and chroot"
for name in korvane libkorvane-dev korvane-sqlite; do
  [ -n "$(package $name)" ] || fail "there is no package $name in $packages"
done

make_base() {
  if [ -e "$base/etc/debian_version" ] && [ -e "$work/base-is-whole" ]; then return; fi
  step "debootstrap: a fresh Debian 12 in $base"
  local mirror
  mirror=${KORVANE_MIRROR:-$(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Identifier: Packages' |
    awk '$2 == "bookworm" {print $1; exit}')}
  rm -rf "$base"
  quietly debootstrap --variant=minbase --include=systemd,systemd-sysv,dbus bookworm "$base" "$mirror"
  touch "$work/base-is-whole"
}

# What a package can leave behind; not what apt and dpkg note for themselves.
files() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./run -o -path ./tmp \
    -o -path ./var/cache -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/log \
    -o -path ./root \) -prune -o -print | sort)
}
users() { cut -d: -f1 "$root/etc/passwd" "$root/etc/group" | sort -u; }

server=
stop_server() {
  if [ -z "$server" ]; then return; fi
  kill "$server" 2>/dev/null || true
  wait "$server" || fail "the server did not end well"
  server=
}
clean_up() {
  if [ -n "$server" ]; then kill "$server" 2>/dev/null || true; fi
  for place in proc dev; do
    if mountpoint -q "$root/$place"; then umount -l "$root/$place"; fi
  done
}
trap clean_up EXIT

make_root() {
  rm -rf --one-file-system "$root"
  cp -a --reflink=auto "$base" "$root"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  mount -t proc proc "$root/proc"
  mount --bind /dev "$root/dev"
  mkdir -p "$root/tmp/packages"
  cp "$packages"/*.deb "$root/tmp/packages/"
  cp "$here/../$project" "$root/tmp/"
  quietly inside apt-get update -qq
}

install() {
  quietly inside apt-get install -y -qq --no-install-recommends -o Dpkg::Options::=--force-confold "$@"
}

# The server as its unit starts it, without systemd: the same user, command and file.
port=18420
start_server() {
  inside setpriv --reuid=korvane --regid=korvane --clear-groups \
    env KORVANE_SERVE_LISTEN=127.0.0.1:$port \
    korvane serve --config /etc/korvane/korvane.conf >"$work/server.out" 2>"$work/server.log" &
  server=$!
  for _ in $(seq 100); do
    if curl -fs "http://127.0.0.1:$port/healthz/ready" >/dev/null; then return; fi
    kill -0 "$server" 2>/dev/null || { cat "$work/server.log" >&2; fail "the server has ended"; }
    sleep 0.1
  done
  fail "the server is not ready after ten seconds"
}

call() { curl -fsS -H "Authorization: Bearer $token" "http://127.0.0.1:$port/v1/projects$1"; }

make_base
make_root
files >"$work/files-before"
users >"$work/users-before"

step "install"
start=$(date +%s.%N)
install "./tmp/packages/$(basename "$(package korvane)")"
echo "   $(echo "$(date +%s.%N) - $start" | bc) s, with what it depends on"
files >"$work/files-with-dependencies"
inside korvane --version
inside sh -c 'id korvane && stat -c "%A %U %G %n" /var/lib/korvane/projects /var/backups/korvane /etc/korvane/*'

step "start, and the first calls"
start_server
if curl -fs "http://127.0.0.1:$port/v1/projects" >/dev/null; then fail "it served somebody without a token"; fi
token=$(inside korvane token add --tokens /etc/korvane/tokens.json office --scope read write 2>/dev/null)
kill -HUP "$(pgrep -f "korvane serve --config" --newest)"
for _ in $(seq 50); do if call "" >/dev/null 2>&1; then break; fi; sleep 0.1; done
quietly inside korvane import /tmp/guideline.abs --project guideline.db \
  --server "http://127.0.0.1:$port" --token "$token"
call /guideline.db/list_sheets | grep -q 417 || fail "the sheet that was imported is not there"
curl -fs "http://127.0.0.1:$port/" | grep -qi "<!doctype html>" || fail "the page is not served"
stop_server

step "backup of all projects"
quietly inside setpriv --reuid=korvane --regid=korvane --clear-groups \
  /usr/libexec/korvane/backup-projects /var/lib/korvane/projects /var/backups/korvane 14
inside sh -c 'korvane check /var/backups/korvane/*/guideline.db' >/dev/null || fail "the backup is not sound"

step "upgrade, with the project in place and a file of options that was changed"
newer=$work/newer
rm -rf "$newer" && mkdir "$newer"
quietly dpkg-deb -R "$(package korvane)" "$newer/korvane"
sed -i 's/^Version: .*/&+next/' "$newer/korvane/DEBIAN/control"
quietly dpkg-deb --root-owner-group -b "$newer/korvane" "$root/tmp/packages/newer.deb"
echo 'query-rows = 1234' >>"$root/etc/korvane/korvane.conf"
install ./tmp/packages/newer.deb
inside dpkg-query -W -f '${Package} ${Version}\n' korvane
grep -q 'query-rows = 1234' "$root/etc/korvane/korvane.conf" || fail "the file of options was replaced"
start_server
call /guideline.db/list_sheets | grep -q 417 || fail "after the upgrade the sheet is not there"
stop_server

step "units"
quietly inside systemd-analyze verify korvane.service korvane.socket korvane-backup.service korvane-backup.timer
if [ -s "$work/log" ]; then cat "$work/log"; fail "systemd-analyze verify has something to say"; fi
for unit in korvane.service korvane-backup.service; do
  inside systemd-analyze security --offline=yes --threshold=20 "/lib/systemd/system/$unit" | tail -n 1
done

step "remove"
quietly inside apt-get remove -y -qq korvane
[ ! -e "$root/usr/bin/korvane" ] || fail "the program is still there"
[ -e "$root/etc/korvane/korvane.conf" ] || fail "the file of options is gone before the purge"
[ -e "$root/var/lib/korvane/projects/guideline.db" ] || fail "the project is gone"

step "purge"
quietly inside apt-get purge -y -qq korvane
quietly inside apt-get autoremove --purge -y -qq
files >"$work/files-after"
users >"$work/users-after"
diff "$work/users-before" "$work/users-after" || fail "users or groups are left"
left=$(comm -13 "$work/files-before" "$work/files-after" |
  grep -vE '^\./var/(lib/korvane|backups)/?' || true)
echo "$left" | sed 's/^/   left: /'
if echo "$left" | grep -qi korvane; then fail "a trace is left"; fi
[ -e "$root/var/lib/korvane/projects/guideline.db" ] || fail "the project is gone"
owners=$(find "$root/var/lib/korvane" "$root/var/backups/korvane" ! -user root | wc -l)
[ "$owners" -eq 0 ] || fail "data belong to a user who is not there any more"

step "install again: the data are there, and belong to the server"
install "./tmp/packages/$(basename "$(package korvane)")"
token=$(inside korvane token add --tokens /etc/korvane/tokens.json office --scope read write 2>/dev/null)
start_server
call /guideline.db/list_sheets | grep -q 417 || fail "the sheet is not there"
stop_server
echo "== all steps are done"
