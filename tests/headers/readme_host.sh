#!/bin/sh
# Compiles the host in the README as it stands: readme_host.sh README COMPILER ARGUMENT...
# A README without one gives the compiler an empty text, of which it complains.
set -eu
readme=$1
shift
sed -n '/^```c$/,/^```$/{/^```/!p}' "$readme" | "$@" -
