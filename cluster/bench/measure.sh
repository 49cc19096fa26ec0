#!/usr/bin/env bash
# Measures what the engine costs, with a real Redis: beside direct plays and with several contexts under Wine, and with simulated
# workers. Prints the tables of docs/many-machines.md; --write-docs puts them, and the plot, there.
#
#     cluster/bench/measure.sh BUILD-TREE SCRATCH-FOLDER [--quick] [--write-docs]
. "$(dirname "${BASH_SOURCE[0]}")/../tests/support/app.sh"
shift 2
make_app >/dev/null
cp -r "$root/cluster/bench" "$app/bench"
cd "$app"
node bench/measure.mjs "$root/docs" "$@"
