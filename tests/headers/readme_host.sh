#!/bin/sh
# Compiles the host in the README as it stands, which is the example FILE:  readme_host.sh README FILE COMPILER ARGUMENT...
set -eu
readme=$1 file=$2
shift 2
sed -n '/^```c$/,/^```$/{/^```/!p}' "$readme" | diff "$file" -
"$@" "$file"
