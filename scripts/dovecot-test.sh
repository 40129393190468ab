#!/bin/bash
# Throw-away Dovecot (IMAP, IMAPS, POP3, POP3S) on 127.0.0.1 for tests; no systemd.
# Needs: apt-get install dovecot-imapd dovecot-pop3d openssl (runs as root)
# usage: dovecot-test.sh start DIR   -> writes DIR/ports.env, prints it
#        dovecot-test.sh stop  DIR
# Test user: alice / secret (also accepted as the XOAUTH2/OAUTHBEARER token, see below)
# IMAP_PORT, IMAPS_PORT, POP3_PORT, POP3S_PORT in the environment fix those ports (993 and
# 995 are where clients use implicit TLS); the others are free ports.
set -euo pipefail
cmd=$1; D=$(realpath -m "$2")
freeport() { /usr/bin/python3 -c 'import socket;s=socket.socket();s.bind(("127.0.0.1",0));print(s.getsockname()[1])'; }

if [ "$cmd" = stop ]; then                 # SIGTERM the master, wait for its whole process group
  pg=$(cat "$D/pgid" 2>/dev/null) || exit 0; kill "$pg" 2>/dev/null || true
  for i in $(seq 100); do kill -0 -- "-$pg" 2>/dev/null || exit 0; sleep 0.1; done
  kill -9 -- "-$pg"; exit 0
fi

mkdir -p "$D"/{run,mail,conf}; chmod 755 "$D" "$D/conf"
MU=nobody; MUID=$(id -u $MU); MGID=$(id -g $MU)
chown "$MUID:$MGID" "$D/mail"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=localhost \
  -addext subjectAltName=IP:127.0.0.1,DNS:localhost \
  -keyout "$D/conf/key.pem" -out "$D/conf/cert.pem" 2>/dev/null
# passwd-file: user:{scheme}password:uid:gid::home   ({PLAIN} keeps APOP possible)
echo "alice:{PLAIN}secret:$MUID:$MGID::$D/mail/alice" > "$D/conf/users"
IMAP=${IMAP_PORT:-$(freeport)}; IMAPS=${IMAPS_PORT:-$(freeport)}
POP3=${POP3_PORT:-$(freeport)}; POP3S=${POP3S_PORT:-$(freeport)}
cat > "$D/conf/dovecot.conf" <<EOF
protocols = imap pop3
listen = 127.0.0.1
base_dir = $D/run
state_dir = $D/run/state
log_path = $D/dovecot.log
info_log_path = $D/dovecot.log
default_login_user = dovenull
default_internal_user = dovecot
first_valid_uid = 1
disable_plaintext_auth = no
auth_mechanisms = plain login apop xoauth2 oauthbearer cram-md5
ssl = yes
ssl_cert = <$D/conf/cert.pem
ssl_key = <$D/conf/key.pem
mail_location = maildir:~/Maildir
namespace inbox {
  inbox = yes
  separator = /
}
pop3_uidl_format = %08Xu%08Xv
passdb {
  driver = passwd-file
  args = scheme=PLAIN $D/conf/users
}
userdb {
  driver = passwd-file
  args = $D/conf/users
}
service imap-login {
  inet_listener imap {
    address = 127.0.0.1
    port = $IMAP
  }
  inet_listener imaps {
    address = 127.0.0.1
    port = $IMAPS
    ssl = yes
  }
}
service pop3-login {
  inet_listener pop3 {
    address = 127.0.0.1
    port = $POP3
  }
  inet_listener pop3s {
    address = 127.0.0.1
    port = $POP3S
    ssl = yes
  }
}
EOF
mkdir -p "$D/run/state"
setsid /usr/sbin/dovecot -F -c "$D/conf/dovecot.conf" >>"$D/dovecot.log" 2>&1 &   # own session/group
echo $! > "$D/pgid"
for i in $(seq 100); do                    # wait until all four ports accept
  ok=1; for p in $IMAP $IMAPS $POP3 $POP3S; do
    (exec 3<>/dev/tcp/127.0.0.1/$p) 2>/dev/null || ok=0; done
  [ $ok = 1 ] && break; kill -0 "$(cat "$D/pgid")" 2>/dev/null || break; sleep 0.1
done
[ $ok = 1 ] || { cat "$D/dovecot.log" >&2; exit 1; }
printf 'IMAP_PORT=%s\nIMAPS_PORT=%s\nPOP3_PORT=%s\nPOP3S_PORT=%s\nCA=%s\n' \
  $IMAP $IMAPS $POP3 $POP3S "$D/conf/cert.pem" | tee "$D/ports.env"
