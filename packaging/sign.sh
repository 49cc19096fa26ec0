#!/usr/bin/env bash
# Signs programs and libraries in their places, with Debian's osslsigncode.
#
#     packaging/sign.sh CERTIFICATE FILE...
#
# CERTIFICATE is a PKCS #12 file (.p12, .pfx) with its key. KX_SIGN_PASSWORD has its password, if it has one, and
# KX_SIGN_TIMESTAMP the address of a service that confirms the time; without it the signature ends with the certificate.
set -euo pipefail

(($# >= 2)) || {
  sed -n '2,7s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
  exit 2
}
certificate=$1
shift
options=(-pkcs12 "$certificate" -h sha256 -n KXTCP64)
[[ -z ${KX_SIGN_TIMESTAMP:-} ]] || options+=(-ts "$KX_SIGN_TIMESTAMP")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ -n ${KX_SIGN_PASSWORD:-} ]]; then
  # Not as an argument: other users of the machine can read these.
  (umask 077 && printf '%s' "$KX_SIGN_PASSWORD" >"$work/password")
  options+=(-readpass "$work/password")
else
  options+=(-pass '')
fi
for file in "$@"; do
  osslsigncode sign "${options[@]}" -in "$file" -out "$work/signed"
  # The file keeps its rights.
  cat "$work/signed" >"$file"
  rm "$work/signed"
done
