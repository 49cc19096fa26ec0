#!/usr/bin/env bash
# Another release of Debian below build/elsewhere, as bare as debootstrap makes it, with a clone of what is committed.
#
#     elsewhere.sh other              the release that this one's counterpart is: trixie here on bookworm, and the reverse
#     elsewhere.sh make RELEASE       makes it anew
#     elsewhere.sh run RELEASE VERB   runs ./dev VERB in it
#
# Packages come from where this system's apt gets its own, by the same settings, and are kept in build/elsewhere for the
# next time. Nothing stays mounted and no process stays behind: mounts and processes are in namespaces of their own,
# which end with the command.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

fail() {
  printf 'elsewhere: %s\n' "$*" >&2
  exit 2
}

codename() { sed -n 's/^VERSION_CODENAME=//p' /etc/os-release; }

other() {
  case $(codename) in
    bookworm) echo trixie ;;
    trixie) echo bookworm ;;
    *) fail "this is neither Debian 12 nor 13; name a release: ./dev elsewhere --release NAME" ;;
  esac
}

# The sources of this system's apt that are Debian's own, one a line: address, suite, component.
sources() {
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' "Identifier: Packages" |
    grep -E " $(codename)(-updates|-security)? main\$" || fail "apt's lists name no source of $(codename) main; try apt-get update"
}

# What the settings of apt and npm on this system say about the network goes into the new one, and its additional
# certificates do.
copy_settings() {
  local release=$1 root=$2 address suite component setting value
  while read -r address suite component; do
    printf 'deb %s %s %s\n' "$address" "${suite/$(codename)/$release}" "$component"
  done < <(sources) >"$root/etc/apt/sources.list"
  apt-config dump | { grep -E '^Acquire::(https?|Check-[A-Za-z-]+|Retries)(::| )' || true; } >"$root/etc/apt/apt.conf.d/90elsewhere"
  cp /etc/resolv.conf /etc/hosts "$root/etc/"
  find /usr/local/share/ca-certificates -name '*.crt' -exec cp -t "$root/usr/local/share/ca-certificates" {} +
  for setting in http_proxy https_proxy no_proxy; do
    if [[ -n ${!setting:-} ]]; then printf '%s=%s\n' "$setting" "${!setting}"; fi
  done >"$root/etc/elsewhere.environment"
  # Node brings certificates of its own unless it is told otherwise.
  printf 'NODE_EXTRA_CA_CERTS=/etc/ssl/certs/ca-certificates.crt\n' >>"$root/etc/elsewhere.environment"
  if command -v npm >/dev/null; then
    for setting in registry proxy https-proxy; do
      value=$(npm config get "$setting" 2>/dev/null)
      [[ $value == null ]] || printf 'npm_config_%s=%s\n' "${setting//-/_}" "$value" >>"$root/etc/elsewhere.environment"
    done
  fi
}

# enter ROOT PACKAGES COMMAND...: runs the command as root of the other system.
enter() {
  local root=$1 packages=$2 child status=0 environment
  shift 2
  mapfile -t environment <"$root/etc/elsewhere.environment"
  # shellcheck disable=SC2016
  unshare --mount --propagation private --pid --fork --kill-child bash -euc '
    mount -t proc proc "$1/proc"
    mount --rbind /dev "$1/dev"
    mount -t tmpfs tmpfs "$1/dev/shm"
    mount --bind "$2" "$1/var/cache/apt/archives"
    exec chroot "$1" env -i "${@:3}"' bash "$root" "$packages" HOME=/root LANG=C.UTF-8 TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "${environment[@]}" "$@" </dev/null &
  child=$!
  # It lets no gentler signal through.
  trap 'kill -KILL "$child" 2>/dev/null' EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM
  wait "$child" || status=$?
  trap - EXIT
  return "$status"
}

make() {
  local release=$1 root=$PWD/build/elsewhere/$1 packages=$PWD/build/elsewhere/packages-$1 mirror
  command -v debootstrap >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends debootstrap
  mirror=$(sources | head -n 1)
  rm -rf --one-file-system "$root"
  mkdir -p "$packages"
  debootstrap --variant=minbase --include=ca-certificates,git --cache-dir="$packages" "$release" "$root" "${mirror%% *}"
  copy_settings "$release" "$root"
  # Nobody needs this system after a power cut.
  echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/elsewhere"
  enter "$root" "$packages" update-ca-certificates
  git clone --quiet --no-hardlinks . "$root/usr/src/kxtcp64"
}

run() {
  local root=$PWD/build/elsewhere/$1
  [[ -e $root/usr/src/kxtcp64/dev ]] || fail "$root has not been made"
  enter "$root" "$PWD/build/elsewhere/packages-$1" bash -c 'cd /usr/src/kxtcp64 && exec ./dev "$@"' bash "${@:2}"
}

((EUID == 0)) || fail "only root can make another system and enter it"
case ${1:-} in
  other) other ;;
  make) make "$2" ;;
  run) run "${@:2}" ;;
  *) sed -n '4,6s/^# *//p' "${BASH_SOURCE[0]}" >&2 && exit 2 ;;
esac
