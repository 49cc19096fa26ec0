#!/usr/bin/env bash
# Runs the example with a macro that has letters of no code page that Wine takes here.
#
#     bindings/cpp/tests/first_steps.sh BUILD-TREE
set -Eeuo pipefail

trap 'echo "first_steps: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

source_root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
tree=$(readlink -f "$1")
# shellcheck source=tests/sdk/alone.sh
. "$source_root/tests/sdk/alone.sh"
run() { "$source_root/cmake/toolchains/run_with_wine" "$tree/wineprefix" "$@" </dev/null; }

printed=$(alone run "$tree/bin/first_steps.exe" "Z:${tree//\//\\}\\bin\\kxsim.exe" 'extract Grüße, 世界 $(city)' | tr -d '\r')
[[ $printed == 'Grüße, 世界 Oslo' ]]
