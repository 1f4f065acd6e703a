#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds everything and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh
BUILD_DIR="${ZENLOFT_BUILD_DIR:-build}"
# Rendering tests need a real OpenGL context: run the suite under a virtual X server.
if [ -z "${DISPLAY:-}" ] && command -v xvfb-run >/dev/null; then
  exec xvfb-run -a -s "-screen 0 1280x1024x24" ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$(nproc)" "$@"
fi
exec ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$(nproc)" "$@"
