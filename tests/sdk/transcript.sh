# What the tests of the installed package share. Sourced with BUILD-TREE and SCRATCH-FOLDER: sets source_root, tree and
# scratch, and installs the tree to prefix.
# shellcheck shell=bash
source_root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
prefix=$scratch/prefix
rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$tree" --prefix "$prefix" >"$scratch/install.log"

# shellcheck source=tests/sdk/alone.sh
. "$source_root/tests/sdk/alone.sh"
run() { "$source_root/cmake/toolchains/run_with_wine" "$tree/wineprefix" "$@" </dev/null; }

# Files that a Windows user reads may have Windows' line ends.
unix_lines() { tr -d '\r'; }
windows_path() { tr / '\\' <<<"Z:$1"; }

# transcript FILE: runs what a text shows as "> COMMAND", in the package's folder, and compares what the commands print
# with the lines that the text shows behind them.
transcript() {
  local shown command
  shown=$(unix_lines <"$1" | awk '/^ *> / { shown = 1 } /^ *$|^```/ { shown = 0 } shown { sub(/^ +/, ""); print }')
  printf '@echo off\r\n' >"$scratch/transcript.cmd"
  while read -r command; do
    case $command in
      gcc\ * | g++\ *) # runs here and not under Wine, before the others
        # shellcheck disable=SC2086
        (cd "$prefix" && x86_64-w64-mingw32-${command%% *}-posix $(tr '\\' / <<<"${command#* }")) ;;
      # A script that calls another one by its name alone does not come back.
      *) [[ ! -e $prefix/${command%% *}.cmd ]] || command="call $command"
        printf '%s\r\n' "$command" >>"$scratch/transcript.cmd"
        ;;
    esac
  done < <(sed -n 's/^> //p' <<<"$shown")
  printf 'exit /b 0\r\n' >>"$scratch/transcript.cmd"
  # Into a file: that is where every program's output arrives under Wine.
  (cd "$prefix" && alone run cmd /c "$(windows_path "$scratch/transcript.cmd")") >"$scratch/printed.crlf" 2>&1
  unix_lines <"$scratch/printed.crlf" >"$scratch/printed.txt"
  sed '/^> /d' <<<"$shown" | diff - "$scratch/printed.txt"
  [[ -s $scratch/printed.txt ]]
}
