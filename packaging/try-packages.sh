#!/usr/bin/env bash
# Tries the Debian packages on a Debian 12 that debootstrap makes: installs them, starts the server,
# makes a first call, backs up, upgrades with a project in place, removes, purges, looks for what is
# left, and installs again.
#
#   packaging/try-packages.sh FOLDER_OF_PACKAGES FOLDER
#
# FOLDER keeps the fresh Debian, for the next time. Needs root, debootstrap and a mirror of Debian
# (KORVANE_MIRROR, else that of apt). Where systemd-nspawn can boot that Debian, systemd starts the
# server, restarts it when it fails or hangs, and opens its socket; else, or with KORVANE_BOOT=no, the
# server is started by hand as its unit would, and that is said. Prints a line for each step; the first
# fault ends the script.
set -euo pipefail

packages=$(realpath "$1")
work=$(realpath -m "$2")
base=$work/base
root=$work/root
here=$(dirname "$(realpath "$0")")
export LC_ALL=C

step() { echo "== $*"; }
fail() {
  echo "try-packages: $*" >&2
  exit 1
}
quietly() {
  "$@" >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "failed: $*"
  }
}

# The system that is tried: by its files alone, or booted, as a process that is its first one.
first_process=
clean=(/usr/bin/env --chdir=/ -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive)
inside() {
  if [ -n "$first_process" ]; then
    nsenter --target "$first_process" --all "${clean[@]}" "$@"
  else
    chroot "$root" "${clean[@]}" "$@"
  fi
}
# With the network of that system, in which only its own processes are while it is booted.
on_its_network() {
  if [ -n "$first_process" ]; then nsenter --target "$first_process" --net "$@"; else "$@"; fi
}

# Of each package the one with the highest version.
package() { find "$packages" -name "$1_*.deb" | sort -V | tail -n 1; }

server=
nspawn=
clean_up() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  [ -z "$nspawn" ] || kill "$nspawn" 2>/dev/null || true
  for place in proc dev; do
    if mountpoint -q "$root/$place"; then umount -l "$root/$place"; fi
  done
}
trap clean_up EXIT

make_base() {
  if [ -e "$work/base-is-whole" ]; then return; fi
  step "debootstrap: a fresh Debian 12"
  local mirror
  mirror=${KORVANE_MIRROR:-$(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Identifier: Packages' |
    awk '$2 == "bookworm" {print $1; exit}')}
  rm -rf "$base"
  mkdir -p "$work"
  quietly debootstrap --variant=minbase --include=systemd,systemd-sysv,dbus bookworm "$base" "$mirror"
  touch "$work/base-is-whole"
}

open_root() {
  mount -t proc proc "$root/proc"
  mount --bind /dev "$root/dev"
}
close_root() { umount -l "$root/proc" "$root/dev"; }

make_root() {
  rm -rf --one-file-system "$root"
  mkdir "$root"
  cp -a --reflink=auto "$base/." "$root"
  cp --remove-destination /etc/resolv.conf "$root/etc/resolv.conf"
  mkdir "$root/srv/packages"
  cp "$packages"/*.deb "$here/../examples/guideline.abs" "$root/srv/packages/"
  open_root
  quietly inside apt-get update -qq
}

# What a package can leave: not what apt, dpkg, systemd and logs note of themselves.
files() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./run -o -path ./tmp \
    -o -path ./var/cache -o -path ./var/tmp -o -path ./var/lib/apt -o -path ./var/lib/dpkg \
    -o -path ./var/lib/systemd -o -path ./var/log -o -path ./root \) -prune -o -print | sort)
}
users() { cut -d: -f1 "$root/etc/passwd" "$root/etc/group" | sort -u; }

install() { quietly inside apt-get install -y -qq --no-install-recommends "$@"; }

boot() {
  close_root
  systemd-nspawn --directory="$root" --boot --register=no --keep-unit --private-network \
    --console=pipe >"$work/boot.log" 2>&1 </dev/null &
  nspawn=$!
  for _ in $(seq 600); do
    first_process=$(pgrep --parent "$nspawn" --oldest || true)
    if [ -n "$first_process" ] && inside systemctl is-system-running 2>/dev/null |
      grep -E 'running|degraded' >/dev/null; then
      return 0
    fi
    kill -0 "$nspawn" 2>/dev/null || break
    sleep 0.1
  done
  kill "$nspawn" 2>/dev/null || true
  wait "$nspawn" || true
  nspawn=
  first_process=
  open_root
  return 1
}
halt() {
  inside systemctl poweroff >/dev/null 2>&1 || true
  wait "$nspawn" || true
  nspawn=
  first_process=
  open_root
}

url=http://127.0.0.1:8420
call() { on_its_network curl -fsS -H "Authorization: Bearer $token" "$url/v1/projects$1"; }
until_true() {
  local what=$1
  shift
  for _ in $(seq 300); do
    if "$@" >/dev/null 2>&1; then return; fi
    sleep 0.1
  done
  [ ! -s "$work/server.log" ] || cat "$work/server.log" >&2
  [ -z "$first_process" ] || inside journalctl --no-pager --unit=korvane >&2 || true
  fail "not within 30 seconds: $what"
}
is_ready() { on_its_network curl -fs "$url/healthz/ready"; }
has_sheet() { call /guideline.db/list_sheets | grep 417; }

# The server as its unit starts it, where there is no systemd: the same user, command and file.
start_server() {
  if [ -n "$first_process" ]; then
    inside systemctl start korvane
  else
    # Each of these becomes the next, so that the process is the server's in the end.
    chroot "$root" "${clean[@]}" KORVANE_SERVE_LISTEN="${url#http://}" \
      setpriv --reuid=korvane --regid=korvane --clear-groups \
      korvane serve --config /etc/korvane/korvane.conf >"$work/server.log" 2>&1 &
    server=$!
  fi
  until_true "the server is ready" is_ready
}
stop_server() {
  if [ -n "$first_process" ]; then
    inside systemctl stop korvane
  else
    kill "$server"
    wait "$server" || fail "the server did not end well"
    server=
  fi
}
make_token() { token=$(inside korvane token add --tokens /etc/korvane/tokens.json "$1" --scope read write 2>/dev/null); }
reload_server() {
  if [ -n "$first_process" ]; then inside systemctl reload korvane; else kill -HUP "$server"; fi
}
main_process() { inside systemctl show --property=MainPID --value korvane; }
has_new_process() { [ "$(main_process)" != "$1" ] && is_ready; }

[ "$(id -u)" -eq 0 ] || fail "root is needed for debootstrap and chroot"
for name in korvane libkorvane-dev korvane-sqlite; do
  [ -n "$(package $name)" ] || fail "there is no package $name in $packages"
done
make_base
make_root
files >"$work/files-before"
users >"$work/users-before"

step "licences: every library that is linked is named"
dpkg-deb -f "$(package korvane)" Depends | tr ',' '\n' | awk '$1 ~ /^lib/ {print $1}' | sort -u >"$work/linked"
dpkg-deb --fsys-tarfile "$(package korvane)" | tar -xO ./usr/share/doc/korvane/copyright >"$work/copyright"
while read -r library; do
  grep -qw -- "$library" "$work/copyright" || fail "debian/copyright does not name $library"
done <"$work/linked"
echo "   $(wc -l <"$work/linked") libraries"

step "install"
begin=$(date +%s.%N)
install "/srv/packages/$(basename "$(package korvane)")"
echo "   in $(echo "scale=1; ($(date +%s.%N) - $begin) / 1" | bc) s, with what it depends on"
inside korvane --version
inside sh -c 'stat -c "   %A %U:%G %n" /var/lib/korvane/projects /var/backups/korvane /etc/korvane/*'

if [ "${KORVANE_BOOT:-yes}" = yes ] && command -v systemd-nspawn >/dev/null && boot; then
  step "systemd of the fresh Debian is running"
  until_true "systemd has started the server" is_ready
  inside systemctl show --property=Type,StatusText,NotifyAccess,WatchdogUSec korvane | sed 's/^/   /'
else
  step "systemd is not booted: the server is started by hand"
  url=http://127.0.0.1:18420
  start_server
fi

step "the first calls"
if on_its_network curl -fs "$url/v1/projects" >/dev/null; then fail "it serves somebody without a token"; fi
make_token office
reload_server
until_true "the token is taken" call ""
quietly inside korvane import /srv/packages/guideline.abs --project guideline.db --server "$url" --token "$token"
until_true "the sheet is there" has_sheet
call "/guideline.db/bending-list?format=pdf" >"$work/list.pdf"
[ "$(head --bytes=5 "$work/list.pdf")" = "%PDF-" ] || fail "it does not draw"
on_its_network curl -fs "$url/" | grep -i "<!doctype html>" >/dev/null || fail "the page is not served"

step "backup of all projects"
if [ -n "$first_process" ]; then
  quietly inside systemctl start korvane-backup.service
else
  quietly inside setpriv --reuid=korvane --regid=korvane --clear-groups \
    /usr/libexec/korvane/backup-projects /var/lib/korvane/projects /var/backups/korvane 14
fi
inside sh -c 'korvane check /var/backups/korvane/*Z/guideline.db' >/dev/null || fail "the backup is not sound"

if [ -n "$first_process" ]; then
  step "killed, and hanging: it is started again"
  before=$(main_process)
  inside kill -KILL "$before"
  until_true "it runs again after it was killed" has_new_process "$before"
  mkdir -p "$root/etc/systemd/system/korvane.service.d"
  printf '[Service]\nWatchdogSec=3\n' >"$root/etc/systemd/system/korvane.service.d/try.conf"
  inside systemctl daemon-reload
  inside systemctl restart korvane
  before=$(main_process)
  inside kill -STOP "$before"
  until_true "it runs again after it hung" has_new_process "$before"
  inside journalctl --no-pager --unit=korvane | grep "Watchdog timeout" >/dev/null || fail "it was not the watchdog"

  step "its socket is opened by systemd"
  inside systemctl disable --now --quiet korvane.service
  inside systemctl enable --now --quiet korvane.socket
  if inside systemctl is-active --quiet korvane.service; then fail "it runs before it is called"; fi
  has_sheet >/dev/null || fail "the first connection does not start it"
  inside systemctl restart korvane.service
  inside systemctl is-active --quiet korvane.socket || fail "a restart ends the socket"
  has_sheet >/dev/null || fail "a restart loses the socket"
  inside systemctl disable --now --quiet korvane.socket
  inside systemctl stop korvane.service
  inside systemctl enable --now --quiet korvane.service
  until_true "it runs by itself again" is_ready
else
  stop_server
fi

step "upgrade, with the project in place and a file of options that was changed"
quietly dpkg-deb -R "$(package korvane)" "$root/srv/newer"
sed -i 's/^Version: .*/&+next/' "$root/srv/newer/DEBIAN/control"
echo '# as the newer one has it' >>"$root/srv/newer/etc/korvane/korvane.conf"
(cd "$root/srv/newer" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | xargs -0 md5sum >DEBIAN/md5sums)
quietly dpkg-deb --root-owner-group -b "$root/srv/newer" "$root/srv/packages/newer.deb"
rm -r "$root/srv/newer"
echo 'query-rows = 1234' >>"$root/etc/korvane/korvane.conf"
[ -z "$first_process" ] || before=$(main_process)
quietly inside dpkg --force-confold -i /srv/packages/newer.deb
echo "   $(inside dpkg-query -W -f '${Version}' korvane)"
grep -q 'query-rows = 1234' "$root/etc/korvane/korvane.conf" || fail "the file of options was replaced"
if [ -n "$first_process" ]; then
  until_true "it was restarted" has_new_process "$before"
else
  start_server
fi
until_true "the sheet is there after the upgrade" has_sheet

step "units"
quietly inside systemd-analyze verify --man=no korvane.service korvane.socket korvane-backup.service korvane-backup.timer \
  korvane-replicate.service
if [ -s "$work/log" ]; then
  cat "$work/log"
  fail "systemd-analyze verify has something to say"
fi
for unit in korvane.service korvane-backup.service korvane-replicate.service; do
  inside systemd-analyze security --no-pager --offline=yes --threshold=20 "/lib/systemd/system/$unit" | tail -n 1
done

step "remove"
[ -z "$server" ] || stop_server
quietly inside apt-get remove -y -qq korvane
if is_ready >/dev/null; then fail "it still runs"; fi
[ ! -e "$root/usr/bin/korvane" ] || fail "the program is still there"
[ -e "$root/etc/korvane/korvane.conf" ] || fail "the file of options is gone before the purge"
[ -e "$root/var/lib/korvane/projects/guideline.db" ] || fail "the project is gone"

step "purge"
quietly inside apt-get purge -y -qq korvane
[ -z "$first_process" ] || halt
quietly inside apt-get autoremove --purge -y -qq
files >"$work/files-after"
users >"$work/users-after"
diff "$work/users-before" "$work/users-after" || fail "users or groups are left"
comm -13 "$work/files-before" "$work/files-after" | grep -v '^\./srv/packages/newer.deb$' >"$work/left" || true
sed 's/^/   left: /' "$work/left"
if grep -v '^\./var/lib/korvane\|^\./var/backups/korvane' "$work/left" | grep -i korvane; then
  fail "a trace is left"
fi
[ -e "$root/var/lib/korvane/projects/guideline.db" ] || fail "the project is gone"
[ -z "$(find "$root/var/lib/korvane" "$root/var/backups/korvane" ! -user root)" ] ||
  fail "data belong to a user who is not there any more"

step "install again: the data are there, and belong to the server"
install "/srv/packages/$(basename "$(package korvane)")"
make_token office
url=http://127.0.0.1:18420
start_server
until_true "the sheet is there" has_sheet
stop_server

step "a first bar, by the text of docs/clients.md"
install curl ca-certificates
mkdir "$root/srv/first"
for name in server curl "prints: curl"; do
  python3 "$here/../tests/clients/guide.py" "$here/../docs/clients.md" "$name" "$root/srv/first/${name/: /-}"
done
begin=$(date +%s.%N)
# In a network of its own, as the guide's port may be in use; with the shell its server ends.
unshare --net --pid --fork --kill-child sh -c 'ip link set lo up && exec chroot "$0" /usr/bin/env -i PATH=/usr/bin:/bin sh -c "
  cd /srv/first
  sh server >log 2>&1 &
  until curl -fs http://127.0.0.1:8420/healthz/ready >/dev/null; do sleep 0.1; done
  sh curl >printed
"' "$root"
diff "$root/srv/first/prints-curl" "$root/srv/first/printed" || fail "the guide does not print what it says"
echo "   in $(echo "scale=1; ($(date +%s.%N) - $begin) / 1" | bc) s, from the start of the server to the printed schedule"
echo "== all steps are done"
