#!/usr/bin/env bash
# The demo: the library's story in a scripted program, then the ipmodel
# program on this machine and, as root, a short session in a private network
# namespace (add addresses, watch them arrive, show the chosen source address).
# Usage: demo.sh BUILD_DIR
set -euo pipefail
build=$1
prog=$build/tools/ipmodel/ipmodel

echo "== The model, step by step"
"$build/examples/ipmodel_demo"

echo
echo "== ipmodel show: this machine"
"$prog" show

if [ "$(id -u)" != 0 ]; then
  echo
  echo "(not root: the session in a private network namespace is skipped)"
  exit 0
fi

ns=ipmodel-demo-$$
watch_pid=
out=$(mktemp)
cleanup() {
  if [ -n "$watch_pid" ]; then kill "$watch_pid" 2>/dev/null || true; wait "$watch_pid" 2>/dev/null || true; fi
  ip netns delete "$ns" 2>/dev/null || true
  rm -f "$out"
}
trap cleanup EXIT
if ! ip netns add "$ns" 2>/dev/null; then
  echo "(cannot make a network namespace: the session is skipped)"
  exit 0
fi

# Waits (at most ten seconds) for a line matching $1 in the watch output.
wait_for() {
  for _ in $(seq 100); do
    if grep -q -- "$1" "$out"; then return 0; fi
    sleep 0.1
  done
  echo "demo: no \"$1\" from ipmodel watch" >&2
  return 1
}

echo
echo "== A private network namespace $ns with a veth pair"
ip -n "$ns" link add eth1 type veth peer name eth2
ip -n "$ns" link set eth1 addrgenmode none
ip -n "$ns" link set eth1 up
ip -n "$ns" link set eth2 up
ip netns exec "$ns" "$prog" watch >"$out" 2>&1 &
watch_pid=$!
wait_for '^watching'

echo "\$ ipmodel addr add 10.0.0.1/24 dev eth1"
ip netns exec "$ns" "$prog" addr add 10.0.0.1/24 dev eth1
echo "\$ ipmodel addr add 10.0.0.2/24 dev eth1 secondary"
ip netns exec "$ns" "$prog" addr add 10.0.0.2/24 dev eth1 secondary
echo "\$ ipmodel addr add 2001:db8::1/64 dev eth1"
ip netns exec "$ns" "$prog" addr add 2001:db8::1/64 dev eth1
echo "\$ ipmodel addr add fe80::1/64 dev eth1"
ip netns exec "$ns" "$prog" addr add fe80::1/64 dev eth1
echo "\$ ipmodel addr add 10.0.0.3/24 dev eth1 scope link    (the kernel refuses)"
ip netns exec "$ns" "$prog" addr add 10.0.0.3/24 dev eth1 scope link || true

wait_for 'addr fe80::1/64'
echo
echo "== What ipmodel watch printed meanwhile"
cat "$out"
echo
echo "\$ ipmodel show --dest 2001:db8::99"
ip netns exec "$ns" "$prog" show --dest 2001:db8::99
