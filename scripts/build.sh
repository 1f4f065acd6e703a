#!/usr/bin/env bash
# Configures and builds everything into ./build (or $ZENLOFT_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR="${ZENLOFT_BUILD_DIR:-build}"
JOBS="${ZENLOFT_JOBS:-$(nproc)}"
if [ ! -f "$BUILD_DIR/build.ninja" ]; then
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
fi
cmake --build "$BUILD_DIR" -j "$JOBS"
