#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Writes the pages of docs/models as the program prints them:  tools/write_model_pages.sh build/bin/quiver
set -eu
program=$1
pages=$(dirname "$0")/../docs/models
mkdir -p "$pages"
rm -f "$pages"/*.md
"$program" explain --markdown >"$pages/README.md"
# The lines of the index are "- [MODEL](MODEL.md): ...".
sed -n 's/^- \[\([A-Z0-9_]*\)\].*/\1/p' "$pages/README.md" | while read -r model; do
  "$program" explain "$model" --markdown >"$pages/$model.md"
done
