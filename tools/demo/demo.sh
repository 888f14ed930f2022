#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows the programs at work: demo.sh FOLDER_WITH_PROGRAMS [flight|replay|ground-link]...; without one, the flight and the ground link.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
standins=$(cd "$here/../standins" && pwd)

say() { printf '\033[1m== %s\033[0m\n' "$*" >&2; }
die() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

# start_sim ARGUMENT...: a simulator on ports of its choice, with the operator's lines from the descriptor $operator. Sets sim
# to its process, ports to what it listens on, ground to the command of a ground station.
start_sim() {
  local link out=$scratch/sim.out
  local -i wanted=0
  for link in "$@"; do
    [ "$link" != --link ] || wanted+=1
  done
  mkfifo "$scratch/operator" 2>/dev/null || true
  exec {operator}<>"$scratch/operator"
  "$bin/noflailsten-sim" "$@" <&"$operator" >"$out" 2>"$scratch/sim.err" &
  sim=$!
  ports=()
  while [ ${#ports[@]} -lt "$wanted" ]; do
    kill -0 "$sim" 2>/dev/null || die "the simulator did not start: $(cat "$scratch/sim.err")"
    mapfile -t ports < <(sed -n 's/^listening on tcp:127\.0\.0\.1:\([0-9]*\)$/\1/p' "$out")
    [ ${#ports[@]} -ge "$wanted" ] || sleep 0.05
  done
  ground=("$bin/noflailsten-ground" --connect "tcp:127.0.0.1:${ports[1]:-}") # on the second port
}

stop_sim() {
  kill "$sim" 2>/dev/null || true
  wait "$sim" || true
}

# host ARGUMENT...: on the simulator's first port.
host() {
  sed "s/@PORT@/${ports[0]}/" "$here/host.ini" >"$scratch/host.ini"
  cd "$scratch"
  PATH=$standins:$PATH exec "$bin/noflailsten-host" --config host.ini "$@"
}

# A simulated vehicle boots, and flies a square under the host's script, while the ground station pings. When the host reports
# the square to the ground, the operator there lands the vehicle.
show_flight() {
  say "a simulated ArduPilot vehicle boots and looks for its satellites"
  start_sim --autopilot ardupilot --boot-delay 10 --link tcp:127.0.0.1:0 --link tcp:127.0.0.1:0
  sleep 4
  say "the plugin flies it: take-off, a square, landing (Ctrl-C ends it)"
  "${ground[@]}" ping -c 600 >"$scratch/pings" 2>&1 &
  pings=$!
  "${ground[@]}" --json watch >"$scratch/watch" 2>&1 &
  watch=$!
  (
    until grep -q '"payloadId":7' "$scratch/watch"; do sleep 0.2; done
    echo "mode land" >&"$operator"
  ) &
  lander=$!
  local status=0
  (host --no-reconnect --set MAV/V2_EXTENSION=true --script "$here/flight.script") || status=$?
  kill "$lander" 2>/dev/null || true
  kill "$pings" "$watch" 2>/dev/null || true # not SIGINT: a shell's background programs ignore it
  wait "$pings" "$watch" || true
  say "the ground station meanwhile"
  tail -n 1 "$scratch/pings"
  stop_sim
  return "$status"
}

show_replay() {
  start_sim --replay "$here/../../tests/data/arducopter-flight.tlog" --link tcp:127.0.0.1:0 --speed 4
  say "a recorded flight of a real ArduCopter, four times as fast (Ctrl-C ends it)"
  (host --no-reconnect --script "$here/replay.script")
  stop_sim
}

# The host's and the ground's lines side by side: each is a program of its own, on a link of its own.
show_ground_link() {
  start_sim --autopilot ardupilot --link tcp:127.0.0.1:0 --link tcp:127.0.0.1:0
  say "the ground link: host and ground station on two links of a simulated ArduPilot"
  local status=0
  (host --set MAV/V2_EXTENSION=true --script "$here/groundlink.script") > >(sed -u 's/^/host    /') 2>&1 </dev/null &
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
  stop_sim
  return "$status"
}

[ $# -gt 0 ] || die "usage: demo.sh FOLDER_WITH_PROGRAMS [flight|replay|ground-link]..."
bin=$(cd "$1" && pwd)
shift
[ $# -gt 0 ] || set -- flight ground-link
scratch=$(mktemp -d)
sim=
host=
watch=
pings=
lander=
trap 'kill $sim $host $watch $pings $lander 2>/dev/null || true; rm -rf "$scratch"' EXIT
for part in "$@"; do
  case $part in
  flight) show_flight ;;
  replay) show_replay ;;
  ground-link) show_ground_link ;;
  *) die "there is no part $part" ;;
  esac
done
