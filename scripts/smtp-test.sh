#!/bin/bash
# Throw-away SMTP sink on 127.0.0.1: STARTTLS port + SMTPS port, AUTH PLAIN/LOGIN/XOAUTH2.
# Needs: apt-get install python3-aiosmtpd openssl
# usage: [SMTP_PORT=N] [SMTPS_PORT=N] smtp-test.sh start DIR  -> DIR/ports.env ; messages land in DIR/spool/
#        smtp-test.sh stop DIR
set -euo pipefail
cmd=$1; D=$(realpath -m "$2"); HERE=$(dirname "$(realpath "$0")")
freeport() { /usr/bin/python3 -c 'import socket;s=socket.socket();s.bind(("127.0.0.1",0));print(s.getsockname()[1])'; }
if [ "$cmd" = stop ]; then
  pid=$(cat "$D/pid" 2>/dev/null) || exit 0; kill "$pid" 2>/dev/null || true
  for i in $(seq 50); do kill -0 -- "-$pid" 2>/dev/null || exit 0; sleep 0.1; done; kill -9 -- "-$pid"; exit 0
fi
mkdir -p "$D"; rm -f "$D/ready"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=localhost \
  -addext subjectAltName=IP:127.0.0.1,DNS:localhost -keyout "$D/key.pem" -out "$D/cert.pem" 2>/dev/null
P=${SMTP_PORT:-$(freeport)}; PS=${SMTPS_PORT:-$(freeport)}
setsid /usr/bin/python3 "$HERE/smtp_server.py" "$D" "$P" "$PS" > "$D/server.log" 2>&1 &
echo $! > "$D/pid"
for i in $(seq 100); do [ -f "$D/ready" ] && break; kill -0 "$(cat "$D/pid")" || break; sleep 0.1; done
[ -f "$D/ready" ] || { cat "$D/server.log" >&2; exit 1; }
printf 'SMTP_PORT=%s\nSMTPS_PORT=%s\nCA=%s\n' "$P" "$PS" "$D/cert.pem" | tee "$D/ports.env"
