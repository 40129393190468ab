#!/usr/bin/env python3
"""Writes the demo's mailbox (examples/sample.mbox) and its manifest
(examples/sample-manifest.json).

The mailbox is the inbox of Mira Castell, operations manager of Fenwick Brook
Ceramics, an invented tile maker, over January and February 2024. Everybody in
it is invented and every domain is a reserved example domain. The messages are
chosen to exercise a mail reader: eight charsets in RFC 2047 words and in
bodies, quoted-printable and base64, alternative and mixed multiparts,
attachments with RFC 2231 names (a valid PNG and valid PDFs among them), a
forwarded message, a delivery-status bounce, a message without Message-ID, an
exact duplicate, and body lines that mboxrd has to quote.

The mailbox is mboxrd with LF line ends and holds only printable ASCII. The
manifest lists per message, in file order, what a reader should find there;
tests compare the engine's output with it. Both files come out byte for byte
the same on every run: no clock, no randomness.

Usage: scripts/make-sample-mbox.py [OUTPUT_DIR]   (default: examples/)
"""

import base64
import datetime as dt
import hashlib
import json
import quopri
import re
import struct
import sys
import zlib
from collections import namedtuple
from email.utils import format_datetime
from pathlib import Path
from urllib.parse import quote

UTC = dt.timezone.utc
ENCODED_WORD_LIMIT = 60  # keeps "Subject: " plus one word under 76 columns
ESCAPED_FROM = re.compile(r"^>*From ")

Person = namedtuple("Person", "name addr charset enc", defaults=(None, "B"))


def tz(hours):
    return dt.timezone(dt.timedelta(hours=hours))


def when(text, hours):
    """A local time "YYYY-MM-DD HH:MM:SS" at a fixed UTC offset."""
    return dt.datetime.strptime(text, "%Y-%m-%d %H:%M:%S").replace(tzinfo=tz(hours))


def short_hash(*parts, length=10):
    text = "|".join(str(part) for part in parts)
    return hashlib.sha1(text.encode("utf-8")).hexdigest()[:length].upper()


def domain_of(addr):
    return addr.split("@", 1)[1]


def local_of(addr):
    return addr.split("@", 1)[0]


# ---------------------------------------------------------------- headers

Q_SAFE = set(b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!*+-/")


def encode_lines(text, charset):
    """Encodes line by line so that stateful charsets (ISO-2022-JP) return to
    ASCII at every line end, as the charset requires."""
    return [line.encode(charset) for line in text.split("\n")]


def encoded_word(text, charset, enc):
    data = text.encode(charset)
    if enc == "B":
        payload = base64.b64encode(data).decode("ascii")
    else:
        payload = "".join(
            chr(b) if b in Q_SAFE else "_" if b == 0x20 else f"={b:02X}" for b in data)
    return f"=?{charset}?{enc}?{payload}?="


def encoded_words(text, charset, enc):
    """Splits between characters, never inside one, as RFC 2047 demands."""
    words, chunk = [], ""
    for ch in text:
        if chunk and len(encoded_word(chunk + ch, charset, enc)) > ENCODED_WORD_LIMIT:
            words.append(encoded_word(chunk, charset, enc))
            chunk = ch
        else:
            chunk += ch
    words.append(encoded_word(chunk, charset, enc))
    return words


def fold(name, tokens, width=76):
    lines, line = [], f"{name}:"
    for token in tokens:
        if len(line) + 1 + len(token) > width and line != f"{name}:":
            lines.append(line)
            line = " " + token
        else:
            line += " " + token
    lines.append(line)
    return "\n".join(lines)


def plain_header(name, value):
    return fold(name, value.split(" "))


def subject_header(text, charset=None, enc="Q", prefix=""):
    if charset is None:
        return plain_header("Subject", prefix + text)
    return fold("Subject", prefix.split() + encoded_words(text, charset, enc))


def mailbox_tokens(person):
    if not person.name:
        return [person.addr]
    if person.charset:
        return encoded_words(person.name, person.charset, person.enc) + [f"<{person.addr}>"]
    if re.search(r'[(),.:;<>@\[\]"]', person.name):
        return [f'"{person.name}"', f"<{person.addr}>"]
    return person.name.split(" ") + [f"<{person.addr}>"]


def address_header(name, people):
    tokens = []
    for index, person in enumerate(people):
        part = mailbox_tokens(person)
        if index < len(people) - 1:
            part[-1] += ","
        tokens += part
    return fold(name, tokens)


# ---------------------------------------------------------------- MIME entities

class Entity:
    """Header lines (already folded) and a body of LF-ended lines; filenames
    collects the attachment names of the entity and everything inside it."""

    def __init__(self, headers, body, filenames=(), inner_messages=0):
        self.headers = list(headers)
        self.body = body
        self.filenames = list(filenames)
        self.inner_messages = inner_messages

    def content_type(self):
        return self.headers[0].split(":", 1)[1].split(";")[0].strip()

    def render(self):
        return "".join(h + "\n" for h in self.headers) + "\n" + self.body


def qp_encode(data):
    return quopri.encodestring(data).decode("ascii")


def b64_encode(data):
    return base64.encodebytes(data).decode("ascii")


def text_part(text, charset="us-ascii", cte="7bit", subtype="plain", params=""):
    lines = encode_lines(text, charset)
    if cte == "quoted-printable":
        body = qp_encode(b"\n".join(lines))
    elif cte == "base64":
        body = b64_encode(b"\r\n".join(lines))  # text in canonical CRLF form
    else:
        body = text
        assert body.isascii(), "7bit text must be ASCII"
    return Entity([f"Content-Type: text/{subtype}; charset={charset}{params}",
                   f"Content-Transfer-Encoding: {cte}"], body)


def rfc2231_params(name, value, charset, segment=42):
    """name*=charset''value, cut into name*0*, name*1*, ... when long. A cut
    never splits a %XX escape but may split a multi-byte character: the
    segments are joined before the charset is applied, and readers must do so."""
    encoded = quote(value.encode(charset), safe="!#$&+-.^_`|~")
    if len(encoded) <= segment:
        return [f"{name}*={charset}''{encoded}"]
    pieces = re.findall(r"(?:%[0-9A-F]{2}|[^%]){1," + str(segment // 3) + "}", encoded)
    params = [f"{name}*0*={charset}''{pieces[0]}"]
    params += [f"{name}*{i}*={piece}" for i, piece in enumerate(pieces[1:], 1)]
    return params


def filename_params(name, filename, charset, style):
    if filename.isascii():
        return [f'{name}="{filename}"']
    if style == "rfc2047":  # what many clients put into Content-Type's name=
        words = "\n ".join(encoded_words(filename, charset, "B"))
        return [f'{name}="{words}"']
    return rfc2231_params(name, filename, charset)


def with_params(first, params):
    return first + "".join(";\n " + param for param in params)


def attachment(data, ctype, filename, charset="utf-8", legacy_name=True,
               disposition="attachment"):
    name_style = "rfc2047" if legacy_name else "rfc2231"
    headers = [
        with_params(f"Content-Type: {ctype}", filename_params("name", filename, charset, name_style)),
        "Content-Transfer-Encoding: base64",
        with_params(f"Content-Disposition: {disposition}",
                    filename_params("filename", filename, charset, "rfc2231")),
    ]
    return Entity(headers, b64_encode(data), [filename])


def text_attachment(text, filename, charset="utf-8", subtype="plain", name_charset="utf-8",
                    legacy_name=True):
    data = b"\r\n".join(encode_lines(text, charset))
    return attachment(data, f"text/{subtype}; charset={charset}", filename, name_charset,
                      legacy_name)


def multipart(subtype, parts, boundary, params="", preamble=True):
    body = "This is a multi-part message in MIME format.\n" if preamble else ""
    for part in parts:
        body += f"--{boundary}\n" + part.render()
    body += f"--{boundary}--\n"
    header = f'Content-Type: multipart/{subtype};{params}\n boundary="{boundary}"'
    return Entity([header], body,
                  [name for part in parts for name in part.filenames],
                  sum(part.inner_messages for part in parts))


def alternative(text, html, boundary, charset="utf-8", cte="quoted-printable"):
    return multipart("alternative", [text_part(text, charset, cte),
                                     text_part(html, charset, cte, "html")], boundary)


def forwarded(inner, filename):
    headers = ["Content-Type: message/rfc822",
               with_params("Content-Disposition: attachment",
                           filename_params("filename", filename, "utf-8", "rfc2231"))]
    return Entity(headers, inner.render(), [filename], 1)


def boundary_for(key, n=0):
    return f"----=_Part_{n}_{short_hash('boundary', key, n, length=16)}"


# ---------------------------------------------------------------- binary attachments

def png_chunk(tag, data):
    return (struct.pack(">I", len(data)) + tag + data
            + struct.pack(">I", zlib.crc32(tag + data) & 0xFFFFFFFF))


def stored_zlib(raw):
    """A zlib stream of one stored deflate block: the same bytes whatever the
    zlib build, which level-9 compression does not promise."""
    assert len(raw) < 0x10000
    block = b"\x01" + struct.pack("<HH", len(raw), len(raw) ^ 0xFFFF) + raw
    return b"\x78\x01" + block + struct.pack(">I", zlib.adler32(raw) & 0xFFFFFFFF)


def make_png(pixel, size=8):
    """An 8x8 RGB image; pixel(x, y) gives the colour."""
    rows = b"".join(b"\x00" + bytes(c for x in range(size) for c in pixel(x, y))
                    for y in range(size))
    header = struct.pack(">IIBBBBB", size, size, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header)
            + png_chunk(b"IDAT", stored_zlib(rows)) + png_chunk(b"IEND", b""))


def pdf_text(text):
    return "(" + text.replace("\\", "\\\\").replace("(", "\\(").replace(")", "\\)") + ")"


def make_pdf(title, lines):
    """A one-page PDF 1.4 in Helvetica with exact xref offsets."""
    ops = ["BT", "/F1 16 Tf", "72 770 Td", f"{pdf_text(title)} Tj", "/F1 11 Tf", "16 TL", "T* T*"]
    ops += [f"{pdf_text(line)} Tj T*" for line in lines]
    stream = "\n".join(ops + ["ET"]).encode("ascii")
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842]"
        b" /Resources << /Font << /F1 4 0 R >> >> /Contents 5 0 R >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        b"<< /Length %d >>\nstream\n" % len(stream) + stream + b"\nendstream",
        b"<< /Title " + pdf_text(title).encode("ascii")
        + b" /Producer (make-sample-mbox.py) /CreationDate (D:20240101000000Z) >>",
    ]
    out = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    xref = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    out += b"".join(b"%010d 00000 n \n" % offset for offset in offsets)
    out += b"trailer\n<< /Size %d /Root 1 0 R /Info 6 0 R >>\n" % (len(objects) + 1)
    out += b"startxref\n%d\n%%%%EOF\n" % xref
    return bytes(out)


# ---------------------------------------------------------------- messages

OUR_MX = ("mx1.example.org", "203.0.113.11")
OUR_STORE = "imap.example.org"
OUR_SUBMISSION = ("mail.example.org", "203.0.113.10")


def is_ours(addr):
    return addr.endswith("example.org")


def ip_in(prefix, *key):
    return f"{prefix}.{int(short_hash(*key, length=4), 16) % 200 + 20}"


def stamp(moment, offset_seconds, zone):
    return format_datetime((moment + dt.timedelta(seconds=offset_seconds)).astimezone(zone))


def received(from_part, by_host, protocol, moment, recipient=None):
    key = short_hash(from_part, by_host, moment, length=12)
    lines = [f"Received: from {from_part}"]
    if len(lines[0]) > 76:
        host, rest = from_part.split(" ", 1)
        lines = [f"Received: from {host}", f"\t{rest}"]
    lines.append(f"\tby {by_host} with {protocol} id {key}")
    if recipient:
        lines.append(f"\tfor <{recipient}>; {moment}")
    else:
        lines[-1] += ";"
        lines.append(f"\t{moment}")
    return "\n".join(lines)


def received_chain(sender, date, direct):
    """Top line first, as a delivering server adds them. Returns the lines and
    the delivery time (UTC) for the separator line."""
    owner = OWNER.addr
    host = domain_of(sender.addr)
    workstation = f"ws-{local_of(sender.addr).replace('.', '-')}.{host}"
    ws_ip = ip_in("192.0.2", sender.addr)
    if is_ours(sender.addr):
        hops = [
            received(f"{OUR_SUBMISSION[0]} ({OUR_SUBMISSION[0]} [{OUR_SUBMISSION[1]}])",
                     OUR_STORE, "LMTP", stamp(date, 2, UTC), owner),
            received(f"{workstation} ([{ws_ip}])", OUR_SUBMISSION[0], "ESMTPSA",
                     stamp(date, 1, UTC)),
        ]
        return hops, date + dt.timedelta(seconds=2)
    relay = host if direct else f"smtp.{host}"
    relay_ip = ip_in("198.51.100", relay)
    hops = [
        received(f"{OUR_MX[0]} ({OUR_MX[0]} [{OUR_MX[1]}])", OUR_STORE, "LMTP",
                 stamp(date, 4, UTC), owner),
        received(f"{relay} ({relay} [{relay_ip}])", OUR_MX[0], "ESMTPS",
                 stamp(date, 3, UTC), owner),
    ]
    if not direct:
        hops.append(received(f"{workstation} ([{ws_ip}])", relay, "ESMTPSA",
                             stamp(date, 1, date.tzinfo)))
    return hops, date + dt.timedelta(seconds=4)


class Mail:
    """One message of the mailbox: its rendered text and its manifest entry."""

    def __init__(self, key, sender, to, subject, date, content, *, cc=(), reply_to=None,
                 subject_charset=None, subject_enc="Q", prefix="", message_id=True,
                 reply_of=None, mailer=None, user_agent=None, extra=(), direct=False,
                 return_path=None, id_host=None, subject_tokens=None):
        self.key = key
        self.sender, self.to, self.cc = sender, list(to), list(cc)
        self.subject = prefix + subject
        self.date = date
        self.content = content
        self.message_id = None
        if message_id:
            host = id_host or f"mail.{domain_of(sender.addr)}"
            self.message_id = f"<{date.strftime('%Y%m%d%H%M%S')}.{short_hash(key, subject)}@{host}>"
        self.envelope = sender.addr
        hops, self.delivered = received_chain(sender, date, direct)
        return_path = sender.addr if return_path is None else return_path
        headers = [f"Return-Path: <{return_path}>",
                   f"Delivered-To: {OWNER.addr}"] + hops
        headers.append(address_header("From", [sender]))
        headers.append(address_header("To", self.to))
        if self.cc:
            headers.append(address_header("Cc", self.cc))
        if reply_to:
            headers.append(address_header("Reply-To", [reply_to]))
        if subject_tokens:  # encoded words mixed with plain words, as some clients write
            headers.append(fold("Subject", subject_tokens))
        else:
            headers.append(subject_header(subject, subject_charset, subject_enc, prefix))
        headers.append(f"Date: {format_datetime(date)}")
        if self.message_id:
            headers.append(f"Message-ID: {self.message_id}")
        if reply_of is not None:
            headers.append(f"In-Reply-To: {reply_of.message_id}")
            headers.append(f"References: {reply_of.message_id}")
        if mailer:
            headers.append(f"X-Mailer: {mailer}")
        if user_agent:
            headers.append(f"User-Agent: {user_agent}")
        headers += list(extra)
        headers.append("MIME-Version: 1.0")
        self.text = Entity(headers + content.headers, content.body).render()

    def separator(self):
        moment = self.delivered.astimezone(UTC)
        return f"From {self.envelope} {moment:%a %b} {moment.day:2d} {moment:%H:%M:%S %Y}"

    def manifest(self, index, duplicate_of, escaped):
        return {
            "index": index,
            "separator": self.separator(),
            "subject": self.subject,
            "from_name": self.sender.name,
            "from": self.sender.addr,
            "to": [p.addr for p in self.to],
            "cc": [p.addr for p in self.cc],
            "date": self.date.isoformat(),
            "date_utc": self.date.astimezone(UTC).strftime("%Y-%m-%dT%H:%M:%SZ"),
            "message_id": self.message_id,
            "content_type": self.content.content_type(),
            "attachments": self.content.filenames,
            "inner_messages": self.content.inner_messages,
            "duplicate_of": duplicate_of,
            "is_duplicate": duplicate_of is not None,
            "escaped_from_lines": escaped,
        }


# ---------------------------------------------------------------- the mbox

def mboxrd_lines(mail):
    """The message's lines with every line matching ^>*From quoted by one more
    '>' (mboxrd), and how many were quoted."""
    lines, escaped = [], 0
    for line in mail.text.split("\n")[:-1]:
        if ESCAPED_FROM.match(line):
            line = ">" + line
            escaped += 1
        lines.append(line)
    return lines, escaped


def write_outputs(mails, out_dir):
    text, manifest, first_seen = [], [], {}
    for index, mail in enumerate(mails):
        lines, escaped = mboxrd_lines(mail)
        text.append(mail.separator() + "\n" + "".join(line + "\n" for line in lines) + "\n")
        duplicate_of = first_seen.get(id(mail))
        first_seen.setdefault(id(mail), index)
        manifest.append(mail.manifest(index, duplicate_of, escaped))
    mbox = "".join(text)
    assert mbox.isascii() and "\r" not in mbox
    out_dir.mkdir(parents=True, exist_ok=True)
    (out_dir / "sample.mbox").write_bytes(mbox.encode("ascii"))
    summary = {
        "file": "sample.mbox",
        "format": "mboxrd",
        "line_ends": "LF",
        "fields": {
            "date": "the Date header with its own offset; date_utc the same instant in UTC",
            "attachments": "file names of the parts that carry one, decoded, in MIME order",
            "inner_messages": "message/rfc822 parts (a forwarded message, a bounced original)",
            "duplicate_of": "index of the earlier, byte-identical message, or null",
            "escaped_from_lines": "lines the mbox quotes with one more '>' (^>*From )",
        },
        "count": len(manifest),
        "unique_count": sum(1 for m in manifest if not m["is_duplicate"]),
        "messages": manifest,
    }
    (out_dir / "sample-manifest.json").write_text(
        json.dumps(summary, ensure_ascii=False, indent=2) + "\n", encoding="utf-8")
    return len(mbox), summary


# ---------------------------------------------------------------- people

OWNER = Person("Mira Castell", "mira.castell@example.org")
OWNER_FORMAL = Person("Castell, Mira", "mira.castell@example.org")
DOMINIC = Person("Dominic Ashgrove", "dominic.ashgrove@example.org")
STAFF = Person("All staff", "staff@example.org")
OWEN = Person("Owen Pellow", "owen.pellow@hr.example.org")
TOBIAS = Person("Tobias Fenn", "tobias.fenn@sales.example.org")
BOZENA = Person("Bożena Rzepczyk", "bozena.rzepczyk@sales.example.org", "iso-8859-2", "Q")
LEONIE = Person("Léonie Vasseur-Brückner", "leonie.vasseur@support.example.org", "iso-8859-1", "Q")
SUPPORT = Person("Fenwick Brook Support", "support@support.example.org")
SVETLANA = Person("Светлана Орехова", "s.orekhova@accounts.example.org", "windows-1251", "B")
HELPDESK = Person("IT Helpdesk", "helpdesk@it.example.org")
HANNAH = Person("Hannah Ruskin", "hannah.ruskin@sales.example.com")
GRETA = Person("Greta Holm", "greta.holm@example.com")
BRENNAN = Person("Brennan Freight Dispatch", "dispatch@freight.example.com")
CHEN = Person("陈晓玲", "chen.xiaoling@trade.example.com", "gb2312", "B")
DIGEST = Person("Tile & Stone Trade Digest", "digest@lists.example.com")
ARKADY = Person("Аркадий Полозов", "a.polozov@example.net", "koi8-r", "B")
MIO = Person("山崎 美緒", "mio.yamazaki@jp.example.net", "ISO-2022-JP", "B")
LIN = Person("林志豪", "lin.zhihao@partners.example.net", "big5", "B")
ZBIGNIEW = Person("Zbigniew Wąsik", "z.wasik@hurtownia.example.net", "iso-8859-2", "B")
DAEMON = Person("Mail Delivery System", "MAILER-DAEMON@mail.example.net")
PIERS = Person("Piers Haldane", "p.haldane@example.net")

SIGNATURE = "\n-- \nMira Castell\nOperations Manager, Fenwick Brook Ceramics Ltd.\n"


def tile_pattern(a, b):
    return lambda x, y: a if (x // 2 + y // 2) % 2 == 0 else b


def floor_plan(x, y):
    if x in (0, 7) or y in (0, 7):
        return (40, 40, 40)
    return (200, 60, 50) if 2 <= x <= 4 and 2 <= y <= 3 else (245, 245, 235)


def signature_scribble(x, y):
    return (20, 30, 120) if y == 4 + (x % 3) - 1 else (255, 255, 255)


# ---------------------------------------------------------------- the mail, in file order

def first_week(m):
    m["door"] = Mail(
        "door", OWEN, [STAFF], "Front door code changes on Monday",
        when("2024-01-04 09:12:31", 0),
        text_part("Hello everyone,\n\n"
                  "The code for the front door of the works has been shared too widely over\n"
                  "the holidays, so it changes on Monday.\n"
                  "From Monday 8 January the code is 7316, followed by the # key.\n\n"
                  "The side gate by the kilns keeps its padlock; ask Dominic for a key.\n\n"
                  "Thanks,\nOwen Pellow\nHR and Facilities\n"),
        mailer="Corvid Mail 3.1.4")
    m["order"] = Mail(
        "order", HANNAH, [OWNER], "Order confirmation RG-10482 \u2013 \u201cCeladon\u201d glaze, 40 kg",
        when("2024-01-04 11:40:12", 1),
        alternative(
            "Dear Mira,\n\nThank you for your order. We confirm:\n\n"
            "  Order:     RG-10482\n  Item:      Celadon glaze, 40 kg (4 \u00d7 10 kg sacks)\n"
            "  Price:     \u20ac 612.00 net\n  Dispatch:  week 3\n\n"
            "The invoice follows on dispatch.\n\nKind regards,\nHannah Ruskin\n"
            "Export Sales, Ruskin & S\u00f6hne Glasuren\n",
            "<html><body style=\"font-family: sans-serif\">\n<p>Dear Mira,</p>\n"
            "<p>Thank you for your order. We confirm:</p>\n<table>\n"
            "<tr><td>Order</td><td><b>RG-10482</b></td></tr>\n"
            "<tr><td>Item</td><td>Celadon glaze, 40&nbsp;kg (4 \u00d7 10&nbsp;kg sacks)</td></tr>\n"
            "<tr><td>Price</td><td>\u20ac&nbsp;612.00 net</td></tr>\n"
            "<tr><td>Dispatch</td><td>week 3</td></tr>\n</table>\n"
            "<p>The invoice follows on dispatch.</p>\n"
            "<p>Kind regards,<br>Hannah Ruskin<br>Export Sales, Ruskin &amp; S\u00f6hne Glasuren</p>\n"
            "</body></html>\n", boundary_for("order")),
        subject_charset="utf-8", mailer="Heronpost 11.0.3")
    m["complaint"] = Mail(
        "complaint", LEONIE, [OWNER], "Réclamation client : carreaux fêlés (lot 2291)",
        when("2024-01-05 08:55:41", 1),
        text_part("Bonjour Mira,\n\n"
                  "Un client de Lyon signale que 14 carreaux du lot 2291 sont arrivés fêlés.\n"
                  "Il a envoyé des photos ; les fissures suivent toutes la même diagonale, ce qui "
                  "fait penser à un problème de cuisson plutôt qu'au transport.\n\n"
                  "Peux-tu vérifier avec l'atelier si d'autres commandes du même lot sont parties ?\n\n"
                  "Merci et bonne journée,\nLéonie\n\n--\nLéonie Vasseur-Brückner\n"
                  "Service clients, Fenwick Brook Ceramics\n",
                  "iso-8859-1", "quoted-printable", params="; format=flowed"),
        cc=[TOBIAS], reply_to=SUPPORT, subject_charset="iso-8859-1",
        user_agent="Lanternmail/7.2 (X11; Linux x86_64)")
    m["complaint-re"] = Mail(
        "complaint-re", OWNER, [LEONIE], "Réclamation client : carreaux fêlés (lot 2291)",
        when("2024-01-05 10:21:07", 0),
        text_part("Bonjour Léonie,\n\n"
                  "Merci. Only two other orders from lot 2291 have left the works, both to\n"
                  "Brennan Freight on Tuesday. I have asked the kiln room to check the firing\n"
                  "log for that day.\n\n"
                  "Please offer the customer a replacement of the 14 tiles with our apologies.\n\n"
                  "Le 05/01/2024 à 08:55, Léonie Vasseur-Brückner a écrit :\n"
                  "> Un client de Lyon signale que 14 carreaux du lot 2291 sont arrivés fêlés.\n"
                  "> Il a envoyé des photos ; les fissures suivent toutes la même diagonale.\n"
                  + SIGNATURE, "utf-8", "quoted-printable"),
        subject_charset="utf-8", prefix="Re: ", reply_of=m["complaint"],
        user_agent="Lanternmail/7.2 (X11; Linux x86_64)")


def second_week(m):
    m["invoices"] = Mail(
        "invoices", SVETLANA, [OWNER_FORMAL], "Счета за декабрь 2023",
        when("2024-01-08 09:03:55", 3),
        multipart("mixed", [
            text_part("Мира, добрый день!\n\n"
                      "Во вложении реестр счетов за декабрь 2023 года и файл сверки с поставщиками.\n"
                      "Два счёта (№ 2023-1187 и № 2023-1192) ещё не оплачены — срок оплаты 15 января.\n\n"
                      "Прошу проверить суммы до пятницы.\n\n"
                      "С уважением,\nСветлана Орехова\nБухгалтерия\n", "windows-1251", "base64"),
            text_attachment("invoice;date;supplier;net_eur;paid\n"
                            "2023-1171;2023-12-04;Ruskin & Soehne Glasuren;1840.00;yes\n"
                            "2023-1176;2023-12-11;Brennan Freight;312.50;yes\n"
                            "2023-1187;2023-12-18;Ruskin & Soehne Glasuren;612.00;no\n"
                            "2023-1192;2023-12-21;Polozov Raw Materials;2275.40;no\n",
                            "invoices-2023-12.csv", subtype="csv"),
            text_attachment("Сверка с поставщиками, декабрь 2023\n\n"
                            "Ruskin & Söhne Glasuren: расхождений нет\n"
                            "Brennan Freight: расхождений нет\n"
                            "Полозов: ожидаем акт сверки\n",
                            "Сверка_поставщики_декабрь.txt"),
        ], boundary_for("invoices")),
        subject_charset="windows-1251", subject_enc="B", mailer="Corvid Mail 3.1.4")
    m["delay"] = Mail(
        "delay", ARKADY, [OWNER], "Поставка глазури: новые сроки",
        when("2024-01-08 13:47:20", 3),
        text_part("Здравствуйте, Мира!\n\n"
                  "К сожалению, отгрузка глазури (партия 14, 600 кг) переносится на 22 января.\n"
                  "Причина: задержка сырья у нашего поставщика.\n"
                  "Остальные позиции заказа будут отправлены по плану.\n\n"
                  "Приносим извинения за неудобства.\n\n"
                  "Аркадий Полозов\nотдел продаж\n", "koi8-r", "base64"),
        subject_charset="koi8-r", subject_enc="B", mailer="Pochtovik 2.0")
    m["collection"] = Mail(
        "collection", BRENNAN, [OWNER], "Collection booked: consignment BF-77310",
        when("2024-01-09 07:30:02", 0),
        text_part(COLLECTION_TEXT), mailer="BF Booking 4.2", direct=True)
    m["quote"] = Mail(
        "quote", MIO, [Person("Fenwick Brook Ceramics Sales", "sales@sales.example.org")],
        "見積もりのお願い（壁用タイル３００枚）", when("2024-01-10 10:15:33", 9),
        text_part("Fenwick Brook Ceramics\n営業部 御中\n\n"
                  "いつもお世話になっております。\n山崎です。\n\n"
                  "壁用タイル（セラドン色、１５cm角）を３００枚ほど購入したいと考えております。\n"
                  "単価と納期を含めたお見積もりをお送りいただけますでしょうか。\n\n"
                  "よろしくお願いいたします。\n\n山崎 美緒\n輸入部\n", "ISO-2022-JP", "base64"),
        cc=[OWNER], subject_charset="ISO-2022-JP", subject_enc="B", mailer="Kestrel Mail 9.0.2")
    m["collection-re"] = Mail(
        "collection-re", OWNER, [BRENNAN], "Collection booked: consignment BF-77310",
        when("2024-01-10 15:02:48", 0),
        text_part("Hello,\n\nThe pallets will be ready at the loading bay from 08:00. Please ask\n"
                  "the driver to report to the office first.\n\n"
                  "On 09/01/2024 07:30, Brennan Freight Dispatch wrote:\n"
                  + "".join(">" + line + "\n" for line in COLLECTION_TEXT.split("\n")[2:8])
                  + SIGNATURE),
        prefix="Re: ", reply_of=m["collection"], user_agent="Lanternmail/7.2 (X11; Linux x86_64)")


COLLECTION_TEXT = (
    "Dear customer,\n\n"
    "Your collection is booked.\n"
    "Consignment: BF-77310, 3 pallets, 1,140 kg\n"
    "Collection:  Thursday 11 January, between 08:00 and 12:00\n"
    "From our depot in Harwick the consignment travels overnight and is delivered\n"
    "on Friday 12 January to the address on your booking.\n\n"
    "Track it at https://freight.example.com/track/BF-77310\n\n"
    "Brennan Freight - Dispatch\n"
    "This mailbox is not read. Please reply through the booking page.\n")


def third_week(m):
    m["offer"] = Mail(
        "offer", BOZENA, [ZBIGNIEW], "Oferta dla hurtowni: płytki ścienne, wiosna 2024",
        when("2024-01-11 09:44:10", 1),
        multipart("mixed", [
            text_part("Szanowny Panie Zbigniewie,\n\n"
                      "w załączniku przesyłam cennik płytek ściennych na wiosnę 2024.\n"
                      "Przy zamówieniu powyżej 500 m2 możemy zaproponować rabat 7%, "
                      "jeśli zamówienie zostanie złożone do końca stycznia.\n\n"
                      "Z poważaniem,\nBożena Rzepczyk\nDział sprzedaży, Fenwick Brook Ceramics\n",
                      "iso-8859-2", "quoted-printable"),
            attachment(make_pdf("Cennik plytek sciennych - wiosna 2024", [
                "Fenwick Brook Ceramics Ltd.",
                "Celadon 15 x 15 cm ........ 38,50 PLN/m2",
                "Sandstone 20 x 20 cm ...... 41,20 PLN/m2",
                "Chalk white 10 x 30 cm .... 36,90 PLN/m2",
                "Ceny netto, wazne do 31.05.2024."]),
                "application/pdf", "Cennik płytki ścienne 2024.pdf", "iso-8859-2"),
        ], boundary_for("offer")),
        cc=[OWNER], subject_charset="iso-8859-2", mailer="Corvid Mail 3.1.4")
    m["samples"] = Mail(
        "samples", CHEN, [BOZENA], "关于样品寄送的确认", when("2024-01-11 16:20:05", 8),
        alternative(SAMPLES_TEXT, "<html><body>\n"
                    + "".join(f"<p>{p.replace(chr(10), '<br>')}</p>\n" for p in SAMPLES_TEXT.strip().split("\n\n"))
                    + "</body></html>\n", boundary_for("samples"), "gb2312", "base64"),
        cc=[OWNER], subject_charset="gb2312", subject_enc="B", mailer="Feiyu Mail 6.3")
    m["maintenance"] = Mail(
        "maintenance", HELPDESK, [STAFF],
        "Planned maintenance: mail server, Saturday 13 January 07:00-09:00",
        when("2024-01-12 17:00:00", 0),
        text_part("The mail server will be updated on Saturday 13 January between 07:00 and\n"
                  "09:00. Mail sent to us during that time is held by the sending servers and\n"
                  "arrives after the update; webmail is unavailable.\n\n"
                  "Nothing needs to be done on your side.\n\n-- \nIT Helpdesk, extension 240\n"),
        message_id=False, mailer="notify.sh 1.3")
    m["booth"] = Mail(
        "booth", LIN, [OWNER], "展覽攤位安排（三月台北建材展）", when("2024-01-15 11:08:27", 8),
        multipart("mixed", [
            text_part("Mira 您好：\n\n"
                      "附件是三月建材展的攤位平面圖。\n"
                      "我們預留了 B12 號攤位，面積為 18 平方公尺。\n"
                      "請在二月九日前確認展示品清單與運送方式。\n\n"
                      "謝謝！\n林志豪\n", "big5", "base64"),
            attachment(make_png(floor_plan), "image/png", "攤位平面圖.png"),
        ], boundary_for("booth")),
        subject_charset="big5", subject_enc="B", mailer="Kestrel Mail 9.0.2")
    m["digest-jan"] = digest_mail("digest-jan", "January 2024", when("2024-01-15 06:00:00", -5), [
        ("Kiln energy prices ease", "Gas contracts for the first quarter are about 9\u00a0% "
         "cheaper than a year ago, the trade association reports."),
        ("Spring fair dates", "The regional tile and stone fair opens on 14\u00a0March; "
         "exhibitor passes are free for members."),
    ])


SAMPLES_TEXT = ("Bozena 您好，\n\n"
                "我们已经收到贵公司的报价单，谢谢。\n"
                "请问能否在一月底之前寄送三种颜色的样品（青瓷色、白色、砂色）？\n"
                "收件地址与上次相同。\n\n"
                "此致\n敬礼\n\n陈晓玲\n采购部\n")


def digest_mail(key, month, date, stories):
    text = f"Tile & Stone Trade Digest \u2013 {month}\n\n"
    html = (f"<html><body style=\"font-family: Georgia, serif; max-width: 40em\">\n"
            f"<h1>Tile &amp; Stone Trade Digest \u2013 {month}</h1>\n")
    for title, story in stories:
        text += f"{title}\n{'=' * len(title)}\n{story}\n\n"
        html += f"<h2>{title}</h2>\n<p>{story}</p>\n"
    unsubscribe = f"https://lists.example.com/unsubscribe?u={short_hash(key, length=8)}"
    text += f"You receive this digest as a member of the association.\nUnsubscribe: {unsubscribe}\n"
    html += (f"<p style=\"font-size: small\">You receive this digest as a member of the "
             f"association. <a href=\"{unsubscribe}\">Unsubscribe</a></p>\n</body></html>\n")
    return Mail(key, DIGEST, [OWNER], f"Tile & Stone Trade Digest \u2013 {month}", date,
                alternative(text, html, boundary_for(key)), subject_charset="utf-8",
                direct=True, mailer="Listkeeper 2.8",
                extra=["List-Id: Tile and Stone Trade Digest <digest.lists.example.com>",
                       f"List-Unsubscribe: <{unsubscribe}>",
                       "Precedence: bulk"])


def bounce(m):
    sent = when("2024-01-16 14:02:07", 0)
    original = Entity(
        [received(f"{OUR_SUBMISSION[0]} ({OUR_SUBMISSION[0]} [{OUR_SUBMISSION[1]}])",
                  DAEMON.addr.split("@")[1], "ESMTPS", stamp(sent, 1, UTC), PIERS.addr),
         received(f"ws-mira-castell.example.org ([{ip_in('192.0.2', OWNER.addr)}])",
                  OUR_SUBMISSION[0], "ESMTPSA", stamp(sent, 0, UTC)),
         address_header("From", [OWNER]), address_header("To", [PIERS]),
         "Subject: Samples for your showroom", f"Date: {format_datetime(sent)}",
         f"Message-ID: <20240116140207.{short_hash('showroom')}@mail.example.org>",
         "MIME-Version: 1.0"] + text_part("").headers,
        "Dear Piers,\n\nAs promised at the fair, a box of samples of our Celadon and\n"
        "Sandstone ranges leaves the works on Thursday. Which address should it go to?\n"
        + SIGNATURE)
    report = "\n".join([
        "Reporting-MTA: dns; mail.example.net",
        f"X-Queue-ID: {short_hash('queue', length=10)}",
        f"Arrival-Date: {stamp(sent, 1, UTC)}",
        "",
        "Final-Recipient: rfc822; p.haldane@example.net",
        "Original-Recipient: rfc822;p.haldane@example.net",
        "Action: failed",
        "Status: 5.1.1",
        f"Remote-MTA: dns; mx.example.net",
        "Diagnostic-Code: smtp; 550 5.1.1 <p.haldane@example.net>: Recipient address",
        "    rejected: user unknown",
        ""])
    notice = ("This is the mail delivery system at mail.example.net.\n\n"
              "Your message could not be delivered to one or more recipients. The reason\n"
              "given by the receiving server is shown below; your message is attached.\n\n"
              f"<p.haldane@example.net>: host mx.example.net[{ip_in('198.51.100', 'mx.example.net')}] said:\n"
              "    550 5.1.1 <p.haldane@example.net>: Recipient address rejected: user\n"
              "    unknown (in reply to RCPT TO command)\n")
    content = multipart("report", [
        Entity(["Content-Description: Notification", "Content-Type: text/plain; charset=us-ascii"],
               notice),
        Entity(["Content-Description: Delivery report", "Content-Type: message/delivery-status"],
               report),
        Entity(["Content-Description: Undelivered Message", "Content-Type: message/rfc822"],
               original.render(), inner_messages=1),
    ], boundary_for("bounce"), params=" report-type=delivery-status;", preamble=False)
    m["bounce"] = Mail(
        "bounce", DAEMON, [OWNER], "Undelivered Mail Returned to Sender",
        when("2024-01-16 14:02:09", 0), content, direct=True, return_path="",
        extra=["Auto-Submitted: auto-replied"], id_host="mail.example.net")


def quote_request():
    sent = when("2024-01-16 16:48:30", 1)
    return Entity(
        [address_header("From", [GRETA]), address_header("To", [TOBIAS]),
         "Subject: Quote request SR-2291", f"Date: {format_datetime(sent)}",
         f"Message-ID: <{short_hash('SR-2291', length=16)}@example.com>",
         "X-Mailer: PaperKite 2.4", "MIME-Version: 1.0"] + text_part("").headers,
        "Hello Tobias,\n\n"
        "We are refitting the bathrooms of a small hotel and would like a quote for:\n\n"
        "  - 220 m2 wall tiles, Celadon, 15 x 15 cm\n"
        "  - 60 m2 floor tiles, Sandstone matt, 30 x 30 cm\n"
        "  - trim pieces to match (about 80 m)\n\n"
        "Delivery to Holm Interiors, Unit 4, Ferry Lane, before 15 March.\n\n"
        "Kind regards,\nGreta Holm\nHolm Interiors\n")


def fourth_week(m):
    m["forward"] = Mail(
        "forward", TOBIAS, [OWNER], "Quote request SR-2291", when("2024-01-17 09:30:44", 1),
        multipart("mixed", [
            text_part("Mira,\n\nCan you check whether the Celadon glaze from Ruskin (RG-10482) will\n"
                      "be in by mid-February? Greta's quote is due on Friday; her mail is below.\n\n"
                      "Tobias\n"),
            forwarded(quote_request(), "Quote request SR-2291.eml"),
        ], boundary_for("forward")),
        prefix="Fwd: ", mailer="Corvid Mail 3.1.4")
    m["agenda"] = Mail(
        "agenda", DOMINIC, [STAFF], "Q1 planning meeting \u2013 agenda", when("2024-01-18 08:15:00", 0),
        multipart("mixed", [
            text_part("Good morning all,\n\nThe Q1 planning meeting is on Wednesday 24 January at "
                      "10:00 in the showroom. The agenda is attached; please send me anything you "
                      "want added by Monday.\n\nDominic\n", "utf-8", "quoted-printable"),
            text_attachment("Q1 planning meeting, 24 January 2024, 10:00, showroom\n\n"
                            "1. Figures for 2023 (Svetlana)\n"
                            "2. Lot 2291 \u2013 what went wrong in the kiln (Mira)\n"
                            "3. Spring price lists and the Polish wholesalers (Bo\u017cena)\n"
                            "4. Trade fair in March: booth B12, samples, shipping (Tobias)\n"
                            "5. Anything else\n", "agenda-q1.txt", legacy_name=False),
        ], boundary_for("agenda")),
        subject_charset="utf-8", mailer="Heronpost 11.0.3")
    m["invoice"] = Mail(
        "invoice", HANNAH, [OWNER], "Invoice RG-10482", when("2024-01-22 10:05:12", 1),
        multipart("mixed", [
            text_part("Dear Mira,\n\nPlease find attached our invoice for order RG-10482, "
                      "dispatched today.\n\nKind regards,\nHannah Ruskin\n",
                      "utf-8", "quoted-printable"),
            attachment(make_pdf("Invoice RG-10482", [
                "Ruskin & Soehne Glasuren, Export Sales",
                "To: Fenwick Brook Ceramics Ltd.",
                "Celadon glaze, 4 x 10 kg ......... EUR 612.00",
                "Payable within 30 days."]), "application/pdf", "invoice-RG-10482.pdf"),
        ], boundary_for("invoice")),
        mailer="Heronpost 11.0.3")
    m["followup"] = Mail(
        "followup", LEONIE, [OWNER], "Suivi : échantillons reçus", when("2024-01-23 14:40:31", 1),
        alternative(FOLLOWUP_TEXT, "<html><body>\n" + "".join(
            f"<p>{p}</p>\n" for p in FOLLOWUP_TEXT.strip().split("\n\n")) + "</body></html>\n",
            boundary_for("followup"), "iso-8859-1"),
        subject_charset="iso-8859-1", user_agent="Lanternmail/7.2 (X11; Linux x86_64)")
    m["invoices-re"] = Mail(
        "invoices-re", SVETLANA, [OWNER_FORMAL], "Счета за декабрь 2023",
        when("2024-01-24 11:12:09", 3),
        text_part("Мира,\n\nспасибо, суммы подтверждены. Счёт № 2023-1187 оплачен сегодня,\n"
                  "№ 2023-1192 будет оплачен после получения акта сверки от Полозова.\n\n"
                  "Светлана\n", "windows-1251", "quoted-printable"),
        prefix="Re: ", reply_of=m["invoices"], subject_charset="windows-1251",
        subject_enc="B", mailer="Corvid Mail 3.1.4")
    m["reconciliation"] = Mail(
        "reconciliation", ARKADY, [SVETLANA], "Акт сверки за 2023 год", when("2024-01-25 12:30:00", 3),
        multipart("mixed", [
            text_part("Светлана, добрый день!\n\nНаправляем акт сверки взаиморасчётов за 2023 год.\n"
                      "Просим подписать и вернуть копию.\n\nАркадий Полозов\n", "koi8-r", "base64"),
            text_attachment("Дата;Документ;Дебет;Кредит\n"
                            "2023-03-14;Счёт 311;1520,00;\n"
                            "2023-04-02;Оплата;;1520,00\n"
                            "2023-12-21;Счёт 2023-1192;2275,40;\n"
                            "Сальдо на 31.12.2023;;2275,40;\n",
                            "Акт_сверки_2023.csv", "koi8-r", "csv", "koi8-r", legacy_name=False),
        ], boundary_for("reconciliation")),
        cc=[OWNER], subject_charset="koi8-r", subject_enc="B", mailer="Pochtovik 2.0")


FOLLOWUP_TEXT = ("Bonjour Mira,\n\n"
                 "Le client de Lyon a bien reçu les 14 carreaux de remplacement. "
                 "Il est très satisfait et nous remercie pour la rapidité.\n\n"
                 "Il voudrait aussi des échantillons de la gamme « Sable » pour un autre chantier ; "
                 "je m'en occupe.\n\n"
                 "Bonne fin de journée,\nLéonie\n")


def february(m):
    m["quote-re"] = Mail(
        "quote-re", MIO, [BOZENA], "見積もりのお願い（壁用タイル３００枚）", when("2024-01-29 09:20:15", 9),
        multipart("mixed", [
            text_part("Rzepczyk 様\n\nお見積もりをお送りいただき、ありがとうございました。\n"
                      "内容を確認しましたので、発注書を添付いたします。\n"
                      "納品は三月上旬を希望しております。\n\nよろしくお願いいたします。\n\n山崎 美緒\n",
                      "ISO-2022-JP", "base64"),
            text_attachment("発注書\n\n品名：壁用タイル（セラドン色、１５cm角）\n数量：３００枚\n"
                            "希望納期：２０２４年３月上旬\n",
                            "発注書_壁用タイル_セラドン色_2024年1月.txt", "ISO-2022-JP",
                            legacy_name=False),
        ], boundary_for("quote-re")),
        cc=[OWNER], prefix="Re: ", reply_of=m["quote"], subject_charset="ISO-2022-JP",
        subject_enc="B", mailer="Kestrel Mail 9.0.2")
    m["samples-list"] = Mail(
        "samples-list", TOBIAS, [OWNER], "Trade show samples list", when("2024-01-30 13:55:40", 0),
        alternative(
            "Mira,\n\nThe samples for booth B12:\n\n"
            "  Celadon 15x15        12 boards\n  Sandstone 20x20       8 boards\n"
            "  Chalk white 10x30     6 boards\n\nTwo crates; Brennan can take them on 26 February.\n\n"
            "Tobias\n",
            "<html><body>\n<p>Mira,</p>\n<p>The samples for booth B12:</p>\n<table border=\"1\">\n"
            "<tr><th>Range</th><th>Boards</th></tr>\n"
            "<tr><td>Celadon 15x15</td><td>12</td></tr>\n"
            "<tr><td>Sandstone 20x20</td><td>8</td></tr>\n"
            "<tr><td>Chalk white 10x30</td><td>6</td></tr>\n</table>\n"
            "<p>Two crates; Brennan can take them on 26 February.</p>\n<p>Tobias</p>\n"
            "</body></html>\n", boundary_for("samples-list"), "us-ascii", "7bit"),
        mailer="Corvid Mail 3.1.4")
    m["fire-drill"] = Mail(
        "fire-drill", DOMINIC, [STAFF], "Fire drill on Thursday 8 February",
        when("2024-02-01 16:45:00", 0),
        text_part("All,\n\nThere will be a fire drill on Thursday 8 February in the late morning.\n"
                  "From 10:30 please keep the corridor by the kilns clear and make sure\n"
                  "visitors sign the book at reception.\n\n"
                  "The assembly point is the car park by the gate, as always.\n\nDominic\n"),
        mailer="Heronpost 11.0.3")
    m["samples-received"] = Mail(
        "samples-received", CHEN, [BOZENA], "样品已收到，谢谢", when("2024-02-02 10:10:10", 8),
        multipart("mixed", [
            text_part("Bozena 您好，\n\n样品今天已经收到，质量很好。\n"
                      "附件是青瓷色样品的照片。我们下周会确定订单数量。\n\n陈晓玲\n",
                      "gb2312", "base64"),
            attachment(make_png(tile_pattern((112, 160, 140), (150, 190, 170))),
                       "image/png", "样品照片.png"),
        ], boundary_for("samples-received")),
        cc=[OWNER], subject_charset="gb2312", subject_enc="B", mailer="Feiyu Mail 6.3")
    m["digest-feb"] = digest_mail("digest-feb", "February 2024", when("2024-02-05 06:00:00", -5), [
        ("Glaze raw materials", "Suppliers of zirconium silicate announce a price rise of "
         "4\u20136\u00a0% from April."),
        ("Fair update", "More than 120 exhibitors have booked for March; the hall plan is online."),
    ])
    m["password"] = Mail(
        "password", HELPDESK, [OWNER], "Your password expires in 7 days",
        when("2024-02-06 07:00:00", 0),
        text_part("Hello Mira Castell,\n\nThe password of your account mira.castell expires on\n"
                  "13 February 2024. Change it at https://account.example.org/password before\n"
                  "then to keep access to mail and the shared folders.\n\n-- \nIT Helpdesk\n"),
        mailer="notify.sh 1.3")


def late_february(m):
    m["booth-re"] = Mail(
        "booth-re", LIN, [OWNER], "展覽攤位安排（三月台北建材展）", when("2024-02-07 09:35:22", 8),
        text_part("Mira 您好：\n\n收到您的展示品清單，沒有問題。\n"
                  "兩個木箱請在二月二十六日前寄出，我們會在展場代收。\n\n林志豪\n",
                  "big5", "quoted-printable"),
        prefix="Re: ", reply_of=m["booth"], subject_charset="big5", subject_enc="B",
        mailer="Kestrel Mail 9.0.2")
    m["handbook"] = Mail(
        "handbook", OWEN, [STAFF], "Staff handbook: changes for 2024", when("2024-02-08 12:00:45", 0),
        multipart("mixed", [
            text_part("Hello everyone,\n\nThe staff handbook has three changes for 2024; they are "
                      "summarised in the attached PDF. Please read it before the end of the month.\n\n"
                      "Owen\n", "utf-8", "quoted-printable"),
            attachment(make_pdf("Staff handbook - changes for 2024", [
                "1. Holiday requests go through the HR portal.",
                "2. Safety boots are provided for everybody working near the kilns.",
                "3. The front door code changes every quarter."]),
                "application/pdf", "Staff handbook \u2013 changes 2024.pdf"),
        ], boundary_for("handbook")),
        mailer="Corvid Mail 3.1.4")
    m["pod"] = Mail(
        "pod", BRENNAN, [OWNER], "Proof of delivery BF-77310", when("2024-02-09 15:22:18", 0),
        multipart("mixed", [
            text_part("Dear customer,\n\nConsignment BF-77310 was delivered. The signature and the\n"
                      "delivery note are attached.\n\nBrennan Freight - Dispatch\n"),
            attachment(make_png(signature_scribble), "image/png", "pod-BF-77310.png"),
            text_attachment("Delivery note BF-77310\n\nPallets: 3\nWeight: 1,140 kg\n"
                            "Delivered: 12 January 2024, 10:41\nReceived by: J. Mercer\n",
                            "delivery-note.txt", legacy_name=False),
        ], boundary_for("pod")),
        mailer="BF Booking 4.2", direct=True)
    m["pricelist"] = Mail(
        "pricelist", HANNAH, [OWNER], "Price list 2024 \u2014 glazes & frits (valid from 1 March)",
        when("2024-02-12 10:48:03", 1),
        multipart("mixed", [
            text_part("Dear Mira,\n\nOur price list for 2024 is attached; prices change on 1 March.\n"
                      "Orders placed before then are invoiced at the old prices.\n\n"
                      "Kind regards,\nHannah Ruskin\n", "utf-8", "quoted-printable"),
            text_attachment("article;name;unit;eur\nG-110;Celadon glaze;10 kg;158.00\n"
                            "G-120;Sandstone glaze;10 kg;149.50\nF-030;Clear frit;25 kg;96.00\n",
                            "Preisliste_Glasuren_März_2024.csv", subtype="csv"),
        ], boundary_for("pricelist")),
        subject_tokens=["Price", "list", "2024", encoded_word("\u2014", "utf-8", "B"),
                        "glazes", "&", "frits", "(valid", "from", "1", "March)"],
        mailer="Heronpost 11.0.3")
    m["agenda-re"] = Mail(
        "agenda-re", OWNER, [DOMINIC], "Q1 planning meeting \u2013 agenda", when("2024-02-13 08:30:59", 0),
        text_part("Dominic,\n\nThe kiln log for lot 2291 is done: the thermocouple in kiln 2 read\n"
                  "about 30 \u00b0C low. It has been replaced and recalibrated.\n"
                  + SIGNATURE, "utf-8", "quoted-printable"),
        prefix="Re: ", reply_of=m["agenda"], subject_charset="utf-8",
        user_agent="Lanternmail/7.2 (X11; Linux x86_64)")
    m["order-pl"] = Mail(
        "order-pl", ZBIGNIEW, [BOZENA], "Zamówienie nr 4471: potwierdzenie", when("2024-02-14 11:11:11", 1),
        text_part("Dzień dobry,\n\npotwierdzam zamówienie nr 4471: 620 m2 płytek Celadon "
                  "z rabatem 7%.\nProszę o informację o terminie dostawy.\n\n"
                  "Pozdrawiam,\nZbigniew Wąsik\nHurtownia Wąsik\n", "iso-8859-2", "base64"),
        cc=[OWNER], subject_charset="iso-8859-2", subject_enc="B", mailer="Corvid Mail 3.1.4")
    m["greta-re"] = Mail(
        "greta-re", GRETA, [TOBIAS], "Quote request SR-2291", when("2024-02-15 09:00:12", 1),
        text_part("Hello Tobias,\n\nThank you \u2013 we accept the quote. The hotel\u2019s fitter "
                  "would like the \u201cCeladon\u201d wall tiles first, the floor tiles a week later.\n\n"
                  "Kind regards,\nGreta\n", "utf-8", "quoted-printable"),
        cc=[OWNER], prefix="Re: ", mailer="PaperKite 2.4")
    m["closed"] = Mail(
        "closed", OWNER, [STAFF], "Office closed Monday 19 February (boiler repair)",
        when("2024-02-16 17:25:36", 0),
        text_part("Hello all,\n\nThe office is closed on Monday 19 February while the boiler is\n"
                  "repaired. The works and the loading bay are open as usual.\n" + SIGNATURE),
        user_agent="Lanternmail/7.2 (X11; Linux x86_64)")


def build_mails():
    m = {}  # in file order; later messages refer to earlier ones by key
    for part in (first_week, second_week, third_week, bounce, fourth_week):
        part(m)
    mails = list(m.values()) + [m["order"]]  # an exact copy: same separator, headers, body
    written = len(m)
    for part in (february, late_february):
        part(m)
    return mails + list(m.values())[written:]


def main(argv):
    out_dir = Path(argv[1]) if len(argv) > 1 else Path(__file__).resolve().parent.parent / "examples"
    size, summary = write_outputs(build_mails(), out_dir)
    print(f"{out_dir / 'sample.mbox'}: {summary['count']} messages "
          f"({summary['unique_count']} unique), {size} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
