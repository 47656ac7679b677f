#!/usr/bin/env bash
# A capture reports to a service manager: ready when its port is open, then signs of life.
#   notify_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/../live/line.sh"
veltra=$1 session=$2
command -v python3 >/dev/null || { echo "no python3 here"; exit 77; }

# Prints each datagram as a line.
python3 -u -c '
import socket
s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
s.bind("notify")
while True: print(s.recv(100).decode())' >states.txt &
until [ -S notify ]; do sleep 0.005; done

# wait_for_state STATE
wait_for_state() {
  until grep -qx "$1" states.txt; do
    kill -0 $running 2>/dev/null || fail "the capture ended" "$(cat capture.txt)"
    sleep 0.005
  done
}

# No port: alive, and not ready. The modem that comes then is silent.
printf '#\n100000000\tat\t4f4b0d0a\n' >slow.tsv
NOTIFY_SOCKET=notify WATCHDOG_USEC=200000 "$veltra" capture --port line --raw m.trace --reconnect \
  2>capture.txt &
running=$!
wait_for_state WATCHDOG=1
! grep -q READY states.txt || fail "ready without a port"
session=slow.tsv
modem --speed session
wait_for_state READY=1
until [ -s "$(ls m_*.trace 2>/dev/null)" ]; do sleep 0.005; done
kill -TERM $running
ended $running 0 capture.txt
until grep -qx STOPPING=1 states.txt; do sleep 0.005; done
[ "$(grep -c READY states.txt)" = 1 ] || fail "ready more than once" "$(cat states.txt)"
