#!/bin/sh
# Runs a command in namespaces of its own: network, processes, mounts. What it makes there nobody else
# sees, nothing leads out of it, and when it ends all of it is gone. As root: alone.sh COMMAND…
# The shell stays: it is the first process there, which has to see to those whose parents have ended.
set -e
if [ "$(id -u)" -ne 0 ]; then
  echo "alone.sh: namespaces need root" >&2
  exit 2
fi
exec unshare --net --mount --pid --fork --mount-proc --kill-child -- sh -ec '
  mkdir -p /run/netns
  mount -t tmpfs none /run/netns
  "$@"' sh "$@"
