#!/usr/bin/env bash
# Builds the map service's default base map (land, water, country borders,
# zooms 0-8) into <build-dir>/basemap/basemap.mbtiles, its label layer
# (country names) into labels.mbtiles and the two together into
# roadmap.mbtiles, from Natural Earth data (public domain) as shipped by the
# npm package world-atlas. Makes only what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR="${1:-${ZENLOFT_BUILD_DIR:-build}}"
OUT="$BUILD_DIR/basemap/basemap.mbtiles"
LABELS="$BUILD_DIR/basemap/labels.mbtiles"
ROADMAP="$BUILD_DIR/basemap/roadmap.mbtiles"
OUTPUTS=()
# The road map (base map with names) is drawn in the same pass as the base map.
if [ ! -s "$OUT" ] || [ ! -s "$ROADMAP" ]; then
  OUTPUTS+=(--out "$OUT" --roadmap-out "$ROADMAP")
fi
[ -s "$LABELS" ] || OUTPUTS+=(--labels-out "$LABELS")
if [ ${#OUTPUTS[@]} -eq 0 ]; then
  echo "make-basemap: $OUT, $ROADMAP and $LABELS exist"
  exit 0
fi
SRC="$BUILD_DIR/basemap-src"
ATLAS="$SRC/node_modules/world-atlas"
if [ ! -f "$ATLAS/land-50m.json" ]; then
  if ! command -v npm >/dev/null; then
    if [ "$(id -u)" -eq 0 ]; then apt-get install -y -q npm; else sudo apt-get install -y -q npm; fi
  fi
  mkdir -p "$SRC"
  npm install --prefix "$SRC" --no-audit --no-fund --loglevel=error world-atlas@2
fi
TOOL="$BUILD_DIR/mapservice/tools/zl_make_basemap"
cmake --build "$BUILD_DIR" --target zl_make_basemap
mkdir -p "$BUILD_DIR/basemap"
"$TOOL" --land-coarse "$ATLAS/land-110m.json" --land "$ATLAS/land-50m.json" \
  --countries "$ATLAS/countries-50m.json" "${OUTPUTS[@]}" --max-zoom "${ZENLOFT_BASEMAP_MAX_ZOOM:-8}"
