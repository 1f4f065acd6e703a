#!/usr/bin/env bash
# Tiles per second of zenloft-mapservice (batches of 50 tiles of ~20 KB in one
# framed POST) against nginx serving the same tiles as static files, both on
# loopback, each server pinned to core 0 and wrk to core 1.
#   bench/mapservice/run-wrk.sh [build-dir] [seconds] [connections]
# (SVC_THREADS sets the service's pool, 4 by default.)
# Needs wrk and nginx (apt-get install wrk nginx-light); nginx runs from a
# temporary config as this user, not as a system service.
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD_DIR="$(realpath "${1:-build}")"
SECONDS_RUN="${2:-10}"
CONNS="${3:-8}"
for tool in wrk nginx taskset; do
  command -v "$tool" >/dev/null || { echo "run-wrk: $tool missing (apt-get install wrk nginx-light)"; exit 1; }
done
cmake --build "$BUILD_DIR" --target zenloft-mapservice zl_mapservice_benchdata >/dev/null
WORK="$(mktemp -d)"
KEY=BenchKey-000000000000000000000000000000
"$BUILD_DIR/bench/mapservice/zl_mapservice_benchdata" "$WORK" "$KEY"
chmod -R a+rX "$WORK"  # nginx workers read as an unprivileged user
PIDS=()
cleanup() { for p in "${PIDS[@]}"; do kill "$p" 2>/dev/null || true; done; wait 2>/dev/null || true; rm -rf "$WORK"; }
trap cleanup EXIT

SVC_PORT=18765
NGX_PORT=18766
taskset -c 0 "$BUILD_DIR/mapservice/zenloft-mapservice" --port "$SVC_PORT" --threads "${SVC_THREADS:-4}" \
  --api-key "$KEY" --tiles "satellite=$WORK/tiles.mbtiles" >/dev/null 2>"$WORK/service.log" &
PIDS+=($!)

mkdir -p "$WORK/nginx"
cat > "$WORK/nginx/nginx.conf" <<CONF
worker_processes 1;
daemon off;
pid $WORK/nginx/nginx.pid;
error_log $WORK/nginx/error.log;
events { worker_connections 1024; }
http {
  access_log off;
  sendfile on;
  tcp_nopush on;
  keepalive_requests 100000;
  client_body_temp_path $WORK/nginx/body;
  proxy_temp_path $WORK/nginx/proxy;
  fastcgi_temp_path $WORK/nginx/fastcgi;
  uwsgi_temp_path $WORK/nginx/uwsgi;
  scgi_temp_path $WORK/nginx/scgi;
  types { image/png png; }
  server {
    listen 127.0.0.1:$NGX_PORT;
    root $WORK/static;
  }
}
CONF
taskset -c 0 nginx -c "$WORK/nginx/nginx.conf" -p "$WORK/nginx" &
PIDS+=($!)
for i in $(seq 50); do
  (exec 3<>/dev/tcp/127.0.0.1/$SVC_PORT) 2>/dev/null && (exec 3<>/dev/tcp/127.0.0.1/$NGX_PORT) 2>/dev/null && break
  sleep 0.1
done

# Core 0's busy and total ticks: when the client on core 1 is what limits the
# rate, the server's core has time left, and tiles per busy second tell the
# servers apart where tiles per second can't.
core0() { awk '/^cpu0 / {print $2+$3+$4+$7+$8, $2+$3+$4+$5+$6+$7+$8+$9}' /proc/stat; }
busy() { awk -v a="$1" -v b="$2" 'BEGIN { split(a, x, " "); split(b, y, " "); printf "%.3f", (y[1]-x[1]) / (y[2]-x[2]) }'; }

echo "== zenloft-mapservice: POST /glm/mmap, 50 tiles per request"
C0=$(core0)
OUT_SVC=$(ZL_BODY="$WORK/body.bin" taskset -c 1 wrk -t1 -c"$CONNS" -d"${SECONDS_RUN}s" \
  -s bench/mapservice/post.lua "http://127.0.0.1:$SVC_PORT/glm/mmap")
BUSY_SVC=$(busy "$C0" "$(core0)")
echo "$OUT_SVC"
echo "== nginx: GET one static tile per request"
C0=$(core0)
OUT_NGX=$(ZL_PATHS="$WORK/paths.txt" taskset -c 1 wrk -t1 -c"$CONNS" -d"${SECONDS_RUN}s" \
  -s bench/mapservice/get.lua "http://127.0.0.1:$NGX_PORT")
BUSY_NGX=$(busy "$C0" "$(core0)")
echo "$OUT_NGX"
rps() { echo "$1" | awk '/Requests\/sec/ {print $2}'; }
SVC=$(rps "$OUT_SVC"); NGX=$(rps "$OUT_NGX")
awk -v s="$SVC" -v n="$NGX" -v bs="$BUSY_SVC" -v bn="$BUSY_NGX" 'BEGIN {
  printf "tiles/s  zenloft-mapservice %.0f   nginx %.0f   ratio %.2f\n", s * 50, n, (s * 50) / n
  printf "server core busy  zenloft-mapservice %.0f%%   nginx %.0f%%\n", bs * 100, bn * 100
  if (bs > 0 && bn > 0)
    printf "tiles per busy core-second  zenloft-mapservice %.0f   nginx %.0f   ratio %.2f\n", s * 50 / bs, n / bn, (s * 50 / bs) / (n / bn) }'
