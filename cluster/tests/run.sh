#!/usr/bin/env bash
# Packs the npm packages, installs them into an empty folder, and runs the tests from there: with a real Redis, and with Node for
# Windows under Wine. setup.sh of peers/browsers has fetched what this needs.
#
#     cluster/tests/run.sh BUILD-TREE SCRATCH-FOLDER [TEST-FILE...]
. "$(dirname "${BASH_SOURCE[0]}")/support/app.sh"
shift 2
make_app

echo "== the types"
(cd "$app" && node "$root/bindings/node/tests/node_modules/typescript/bin/tsc" --noEmit --strict --module nodenext --target es2022 \
  --lib esnext tests/types.ts)

echo "== the version is that of the library"
grep -q "\"version\": \"$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")\"" "$app/node_modules/kx-cluster/package.json"

tests=("$@")
((${#tests[@]} > 0)) || tests=(units.test.mjs command_line.test.mjs guarantees.test.mjs windows.test.mjs)
log=$scratch/tests.log
(cd "$app" && node --test --test-concurrency=4 "${tests[@]/#/tests/}") >"$log" 2>&1 || {
  grep -A 25 -E '^ *not ok' "$log" >&2 || tail -n 40 "$log" >&2
  exit 1
}
grep -E '^# (tests|pass|fail|skipped)' "$log"
grep -qx '# fail 0' "$log"
