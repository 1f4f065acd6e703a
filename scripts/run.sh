#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds everything, starts the map service
# on loopback with its default data and opens the application against it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh
BUILD_DIR="${ZENLOFT_BUILD_DIR:-build}"
DATA_DIR="${ZENLOFT_DATA_DIR:-$HOME/.local/share/Zenloft}"
mkdir -p "$DATA_DIR"

service_pid=""
if [ -x "$BUILD_DIR/mapservice/zenloft-mapservice" ]; then
  if [ -f scripts/make-basemap.sh ]; then
    bash scripts/make-basemap.sh "$BUILD_DIR" || echo "run: base map not built; the service will not start without it" >&2
  fi
  "$BUILD_DIR/mapservice/zenloft-mapservice" --config "$BUILD_DIR/mapservice/default.conf" &
  service_pid=$!
  trap '[ -n "$service_pid" ] && kill "$service_pid" 2>/dev/null || true' EXIT
fi

# The local service's endpoint and key (see mapservice/default.conf.in).
"$BUILD_DIR/src/app/zenloft" --data-dir "$DATA_DIR" \
  --map-endpoint "${ZENLOFT_MAP_ENDPOINT:-http://127.0.0.1:8765/glm/mmap}" \
  --api-key "${ZENLOFT_MAP_API_KEY:-ZenloftLocalServiceKey-0000000000000000}" "$@"
