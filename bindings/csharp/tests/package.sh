#!/usr/bin/env bash
# Uses the finished NuGet package in an empty folder, as its README tells: a new project, the package, the example.
#
#     bindings/csharp/tests/package.sh BUILD-TREE SCRATCH-FOLDER PACKAGE
set -Eeuo pipefail

trap 'echo "nuget: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
package=$(readlink -f "$3")
rm -rf "$scratch"
mkdir -p "$scratch"
version=$(basename "$package" .nupkg)
"$root/packaging/check_files.py" "$root/packaging/files/nuget.txt" "$package" --version "${version#KXTCP64.}"

# A store of its own, for another package of the same version may be in the user's; what comes from elsewhere may be there.
export RestoreFallbackFolders=${NUGET_PACKAGES:-$HOME/.nuget/packages} NUGET_PACKAGES=$scratch/store
export DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1
page=$scratch/README.md
(cd "$scratch" && cmake -E tar xf "$package" README.md)
mkdir "$scratch/app"
cd "$scratch/app"
# What the page shows, but for the folder of the package.
sed -n '/^dotnet /p' "$page" | while read -r command; do
  eval "${command//C:\\packages/$(dirname "$package")}" >>"$scratch/dotnet.log" 2>&1 </dev/null || {
    tail -n 20 "$scratch/dotnet.log" >&2
    exit 1
  }
done
sed -n '/^```csharp$/,/^```$/{/^```/!p}' "$page" >first_steps/Program.cs
# For Windows, with .NET in it.
dotnet publish first_steps --verbosity quiet --runtime win-x64 --self-contained -p:InvariantGlobalization=true \
  --output "$scratch/published" >>"$scratch/dotnet.log" 2>&1 || {
  grep -E 'error|warning' "$scratch/dotnet.log" | sort -u >&2
  exit 1
}
cmp "$scratch/store/kxtcp64/${version#KXTCP64.}/runtimes/win-x64/native/KXTCP64.dll" "$scratch/published/KXTCP64.dll"

cp "$tree/bin/kxsim.exe" "$scratch/published"
cd "$scratch/published"
# Wine loads the files of .NET only where mscoree is not switched off.
export WINEDLLOVERRIDES='mshtml=;winemenubuilder.exe=d'
example() { "$root/cmake/toolchains/run_with_wine" "$tree/wineprefix" first_steps.exe kxsim.exe "$1" 2>&1 </dev/null | tr -d '\r' || true; }
# What the page shows; here the program is started by its own name.
shown='> dotnet run --project first_steps -- kxsim.exe'
macros=$(sed -n "s/^$shown \"\(.*\)\"\$/\1/p" "$page")
[[ $(wc -l <<<"$macros") == 2 ]]
while read -r macro; do
  grep -A 1 -F "$shown \"$macro\"" "$page" | tail -n 1 | diff - <(example "$macro")
done <<<"$macros"

echo "== without the library"
rm KXTCP64.dll
example '' | grep -q '^kx_ContextCreate failed: result -1, error 0: KXTCP64.dll cannot be loaded'
echo "nuget: all is right"
