#!/usr/bin/env bash
# Measures what the engine costs, with a real Redis: beside direct plays and with several contexts under Wine, and with simulated
# workers. Prints the tables of docs/many-machines.md; --write-docs puts them, and the plot, there.
#
#     cluster/bench/measure.sh BUILD-TREE SCRATCH-FOLDER [--quick] [--write-docs]
set -Eeuo pipefail

trap 'echo "cluster: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
shift 2
rm -rf "$scratch"
mkdir -p "$scratch/packed"
. "$root/cluster/tests/support/app.sh"
make_app "$root" "$tree" "$scratch" >/dev/null
cp -r "$root/cluster/bench" "$app/bench"
cd "$app"
node bench/measure.mjs "$root/docs" "$@"
