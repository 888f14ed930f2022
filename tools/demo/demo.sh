#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows the programs at work: demo.sh FOLDER_WITH_PROGRAMS [flight] [ground-link]; without a part, both.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
standins=$(cd "$here/../standins" && pwd)

say() { printf '\033[1m== %s\033[0m\n' "$*" >&2; }
die() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

# start_sim ARGUMENT...: a simulator on ports of its choice. Sets sim to its process, ports to what it listens on.
start_sim() {
  local link out=$scratch/sim.out
  local -i wanted=0
  for link in "$@"; do
    [ "$link" != --link ] || wanted+=1
  done
  "$bin/noflailsten-sim" "$@" >"$out" 2>"$scratch/sim.err" &
  sim=$!
  ports=()
  while [ ${#ports[@]} -lt "$wanted" ]; do
    kill -0 "$sim" 2>/dev/null || die "the simulator did not start: $(cat "$scratch/sim.err")"
    mapfile -t ports < <(sed -n 's/^listening on tcp:127\.0\.0\.1:\([0-9]*\)$/\1/p' "$out")
    [ ${#ports[@]} -ge "$wanted" ] || sleep 0.05
  done
}

show_flight() {
  start_sim --replay "$here/../../tests/data/arducopter-flight.tlog" --link tcp:127.0.0.1:0 --speed 4
  sed "s/@PORT@/${ports[0]}/" "$here/host.ini" >"$scratch/host.ini"
  say "a recorded flight of a real ArduCopter, four times as fast (Ctrl-C ends it)"
  (cd "$scratch" && PATH=$standins:$PATH "$bin/noflailsten-host" --config host.ini --no-reconnect \
    --script "$here/replay.script")
  kill "$sim" 2>/dev/null || true
  wait "$sim" || true
}

# The host's and the ground's lines side by side: each is a program of its own, on a link of its own.
show_ground_link() {
  start_sim --autopilot ardupilot --link tcp:127.0.0.1:0 --link tcp:127.0.0.1:0
  sed "s/@PORT@/${ports[0]}/" "$here/host.ini" >"$scratch/host.ini"
  say "the ground link: host and ground station on two links of a simulated ArduPilot"
  local ground=("$bin/noflailsten-ground" --connect "tcp:127.0.0.1:${ports[1]}") status=0
  (cd "$scratch" && PATH=$standins:$PATH exec "$bin/noflailsten-host" --config host.ini --set MAV/V2_EXTENSION=true \
    --script "$here/groundlink.script") > >(sed -u 's/^/host    /') 2>&1 </dev/null &
  host=$!
  # A flight controller relays to a link once it has heard it: the host's first heartbeat comes after a second.
  until "${ground[@]}" -c 1 --timeout 0.2 ping >/dev/null 2>&1; do
    kill -0 "$host" 2>/dev/null || die "the host did not start"
  done
  "${ground[@]}" -c 3 -i 0.5 ping > >(sed -u 's/^/ground  /') 2>&1 || status=$?
  "${ground[@]}" --duration 3 watch > >(sed -u 's/^/ground  /') 2>&1 &
  watch=$!
  "${ground[@]}" send 1 7 "text:a payload from the ground" > >(sed -u 's/^/ground  /') 2>&1 || status=$?
  wait "$watch" || status=$?
  wait "$host" || status=$?
  return "$status"
}

[ $# -gt 0 ] || die "usage: demo.sh FOLDER_WITH_PROGRAMS [flight] [ground-link]"
bin=$(cd "$1" && pwd)
shift
[ $# -gt 0 ] || set -- flight ground-link
scratch=$(mktemp -d)
sim=
host=
watch=
trap 'kill $sim $host $watch 2>/dev/null || true; rm -rf "$scratch"' EXIT
for part in "$@"; do
  case $part in
  flight) show_flight ;;
  ground-link) show_ground_link ;;
  *) die "there is no part $part" ;;
  esac
done
