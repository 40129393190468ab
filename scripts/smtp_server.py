#!/usr/bin/python3
# Test SMTP server (Debian python3-aiosmtpd): STARTTLS port + implicit-TLS port,
# AUTH PLAIN/LOGIN/XOAUTH2 (user alice, password or bearer token "secret"),
# stores each message as DIR/spool/<n>.eml plus <n>.json (envelope, auth user and
# mechanism, TLS). Two recipients act up on purpose: any address starting "refused@" is
# rejected at RCPT, and a message to one starting "drop@" loses the connection after DATA.
import asyncio, base64, json, os, ssl, sys, signal
from aiosmtpd.controller import Controller
from aiosmtpd.smtp import AuthResult, LoginPassword
D, PORT, SPORT = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
USERS = {"alice": "secret"}
os.makedirs(f"{D}/spool", exist_ok=True)

def authenticator(server, session, envelope, mechanism, data):
    session.mechanism = mechanism
    ok = isinstance(data, LoginPassword) and USERS.get(data.login.decode()) == data.password.decode()
    return AuthResult(success=ok, auth_data=data.login.decode() if ok else None)

class Handler:
    n = 0
    async def auth_XOAUTH2(self, server, args):          # "AUTH XOAUTH2 [initial-response]"
        raw = base64.b64decode(args[1]) if len(args) > 1 else await server.challenge_auth("")
        f = dict(p.split("=", 1) for p in raw.decode().split("\x01") if "=" in p)
        user, tok = f.get("user"), f.get("auth", "").removeprefix("Bearer ")
        server.session.mechanism = "XOAUTH2"
        return AuthResult(success=USERS.get(user) == tok, auth_data=user, handled=False)
    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if address.startswith("refused@"): return "550 5.1.1 No such user here"
        envelope.rcpt_tos.append(address)
        return "250 OK"
    async def handle_DATA(self, server, session, envelope):
        if any(a.startswith("drop@") for a in envelope.rcpt_tos):
            server.transport.close()
            return "421 closing"
        Handler.n += 1
        with open(f"{D}/spool/{Handler.n}.eml", "wb") as f: f.write(envelope.original_content)
        with open(f"{D}/spool/{Handler.n}.json", "w") as f:
            json.dump({"from": envelope.mail_from, "to": envelope.rcpt_tos,
                       "auth": session.auth_data,
                       "mechanism": getattr(session, "mechanism", None), "tls": server.transport.get_extra_info("ssl_object") is not None}, f)
        return "250 OK stored"

ctx = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
ctx.load_cert_chain(f"{D}/cert.pem", f"{D}/key.pem")
common = dict(authenticator=authenticator, auth_require_tls=False, auth_required=False,
              decode_data=False)
c1 = Controller(Handler(), hostname="127.0.0.1", port=PORT, tls_context=ctx, server_hostname="localhost", **common)
c2 = Controller(Handler(), hostname="127.0.0.1", port=SPORT, ssl_context=ctx, server_hostname="localhost", **common)
c1.start(); c2.start()      # start() returns once the server answers its own probe
open(f"{D}/ready", "w").close()
signal.sigwait({signal.SIGTERM, signal.SIGINT})
c1.stop(); c2.stop()
