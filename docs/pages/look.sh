#!/usr/bin/env bash
# Opens the finished pages in a real browser: takes pictures to look at, light, dark and as wide as a telephone, and searches.
#
#     docs/pages/look.sh HTML-FOLDER PICTURES-FOLDER
#
# Where there is no Chromium it says so and does nothing.
set -euo pipefail

html=$(readlink -f "$1")
mkdir -p "$2"
pictures=$(readlink -f "$2")
chromium=$(command -v chromium || command -v chromium-browser) || {
  echo "look: skipped: there is no chromium here; ./dev setup --browsers installs it"
  exit 0
}
profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
browse() {
  "$chromium" --headless=new --no-sandbox --disable-gpu --hide-scrollbars --user-data-dir="$profile" --virtual-time-budget=5000 \
    "${@:2}" "file://$html/$1" 2>/dev/null
}

for page in index first-steps/python errors reference/functions troubleshooting; do
  name=${page//\//-}
  browse "$page.html" --window-size=1300,1200 --blink-settings=preferredColorScheme=1 --screenshot="$pictures/$name-light.png"
  browse "$page.html" --window-size=1300,1200 --blink-settings=preferredColorScheme=0 --screenshot="$pictures/$name-dark.png"
  browse "$page.html" --window-size=412,1200 --blink-settings=preferredColorScheme=1 --screenshot="$pictures/$name-narrow.png"
done
for picture in light dark narrow; do [[ -s $pictures/errors-$picture.png ]]; done

# The pages' script has run: the button for light and dark is there.
if browse index.html --dump-dom | grep -q '<html[^>]*no-js'; then
  echo "look: the pages' script does not run" >&2
  exit 1
fi

# searches WORDS PAGE: the search finds the page.
searches() {
  browse "search.html?q=$1" --dump-dom | grep -q "<li[^>]*><a href=\"$2" || {
    echo "look: the search for $1 does not find $2" >&2
    return 1
  }
}
searches screenshot reference/functions.html
searches start-lock-refused errors.html
searches launcher windows.html
echo "look: the search works; pictures are in $2"
