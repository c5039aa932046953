#!/usr/bin/env bash
# axe.sh FOLDER: puts axe-core, the checker of accessibility, into FOLDER/node_modules, at the version
# and with the checksum of tests/page/package-lock.json.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
folder=$1

# Another npm than Debian's will do.
command -v npm >/dev/null || ensure_packages npm
mkdir -p "$folder"
cmp -s "$repository/tests/page/package-lock.json" "$folder/package-lock.json" && exit 0
cp "$repository/tests/page/package.json" "$folder/"
cp "$repository/tests/page/package-lock.json" "$folder/wanted.json"
mv "$folder/wanted.json" "$folder/package-lock.json"
(cd "$folder" && npm ci --silent --no-audit --no-fund) || { rm -f "$folder/package-lock.json"; exit 1; }
