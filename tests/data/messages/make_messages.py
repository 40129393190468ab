#!/usr/bin/env python3
# Writes the message corpus of the message tests and its expected.json, whose values are
# stated here by hand: python3 make_messages.py tests/data/messages tests/data/smime
# The S/MIME message is encrypted anew for recipient.crt at each run. The 7z archive is
# not made here (Python has no 7z writer): the engine's CompressFilesToArchive packed
# 13-windows-1252.eml as "seven zipped message.eml"; its expectation is added when the
# file exists.
import base64, binascii, json, os, quopri, subprocess, sys, tempfile, zipfile

OUT = sys.argv[1]
os.makedirs(OUT, exist_ok=True)
expected = {}

def b64(data, width=76):
    text = base64.b64encode(data).decode()
    return "\r\n".join(text[i:i + width] for i in range(0, len(text), width))

def qp(data):
    return quopri.encodestring(data).decode().replace("\n", "\r\n")

def uu(name, data):
    lines = ["begin 644 " + name]
    for i in range(0, len(data), 45):
        lines.append(binascii.b2a_uu(data[i:i + 45]).decode().rstrip("\n"))
    lines += ["`", "end"]
    return "\r\n".join(lines)

def write(name, text, exp, newline="\r\n", encoding=None):
    data = text.replace("\r\n", "\n").replace("\n", newline)
    raw = data.encode(encoding) if encoding else data.encode("latin-1") if isinstance(data, str) else data
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(raw)
    expected[name] = exp

def writebytes(name, raw, exp):
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(raw)
    expected[name] = exp

def E(subject, sender, date, first, html, atts):
    return {"subject": subject, "from": sender, "date": date, "text_first_line": first,
            "has_html": html, "attachments": atts}

H = "Received: from mail.example.com (mail.example.com [203.0.113.9]) by mx.example.org; Mon, 15 Jan 2024 10:00:05 +0000\r\n"

PDF = b"%PDF-1.4\n1 0 obj<<>>endobj\ntrailer<<>>\n%%EOF\n"
PNG = bytes.fromhex("89504e470d0a1a0a0000000d4948445200000001000000010806000000") + b"\x00" * 20

# 01 plain ascii
write("01-plain-ascii.eml", H + """From: Alice Example <alice@example.com>
To: Bob <bob@example.org>
Subject: Quarterly numbers
Date: Mon, 15 Jan 2024 10:00:00 +0000
Message-ID: <plain-01@example.com>
MIME-Version: 1.0
Content-Type: text/plain; charset=us-ascii

Hello Bob,
the numbers are attached below.
""", E("Quarterly numbers", "alice@example.com", "01/15/24 10:00:00", "Hello Bob,", False, []))

# 02 alternative
write("02-alternative.eml", """From: "Shop News" <news@shop.example>
To: customer@example.org
Subject: Weekly offers
Date: Tue, 16 Jan 2024 08:30:00 +0100
MIME-Version: 1.0
Content-Type: multipart/alternative; boundary="alt-02"

--alt-02
Content-Type: text/plain; charset="utf-8"
Content-Transfer-Encoding: 7bit

Offers of the week
See the HTML version.
--alt-02
Content-Type: text/html; charset="utf-8"

<html><body><p>Offers of the week</p><img src="https://img.shop.example/banner.png"></body></html>
--alt-02--
""", E("Weekly offers", "news@shop.example", "01/16/24 07:30:00", "Offers of the week", True, []))

# 03 mixed with pdf
write("03-mixed-pdf.eml", """From: Carol <carol@example.net>
To: Dan <dan@example.org>
Subject: Report attached
Date: Wed, 17 Jan 2024 12:00:00 -0500
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="mix-03"

This is a multi-part message in MIME format.
--mix-03
Content-Type: multipart/alternative; boundary="alt-03"

--alt-03
Content-Type: text/plain; charset=iso-8859-1
Content-Transfer-Encoding: quoted-printable

Please find the report attached.
--alt-03
Content-Type: text/html; charset=iso-8859-1

<p>Please find the report attached.</p>
--alt-03--

--mix-03
Content-Type: application/pdf; name="report.pdf"
Content-Transfer-Encoding: base64
Content-Disposition: attachment; filename="report.pdf"

""" + b64(PDF) + """
--mix-03--
""", E("Report attached", "carol@example.net", "01/17/24 17:00:00", "Please find the report attached.", True, ["report.pdf"]))

# 04 nested related with inline image and docx
write("04-nested-related.eml", """From: Erin <erin@example.com>
To: team@example.com
Subject: Newsletter with logo
Date: Thu, 18 Jan 2024 09:15:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="m4"

--m4
Content-Type: multipart/related; boundary="r4"; type="multipart/alternative"

--r4
Content-Type: multipart/alternative; boundary="a4"

--a4
Content-Type: text/plain; charset=utf-8

Newsletter text version
--a4
Content-Type: text/html; charset=utf-8

<html><body><img src="cid:logo@example.com"><p>Newsletter</p></body></html>
--a4--
--r4
Content-Type: image/png; name="logo.png"
Content-Transfer-Encoding: base64
Content-ID: <logo@example.com>
Content-Disposition: inline; filename="logo.png"

""" + b64(PNG) + """
--r4--
--m4
Content-Type: application/vnd.openxmlformats-officedocument.wordprocessingml.document; name="minutes.docx"
Content-Transfer-Encoding: base64
Content-Disposition: attachment; filename="minutes.docx"

""" + b64(b"PK\x03\x04 not really a docx") + """
--m4--
""", E("Newsletter with logo", "erin@example.com", "01/18/24 09:15:00", "Newsletter text version", True, ["logo.png", "minutes.docx"]))

INNER = """From: Frank <frank@example.com>
To: Grace <grace@example.org>
Subject: Original question
Date: Fri, 12 Jan 2024 16:00:00 +0000

What time is the meeting?
"""

# 05 rfc822 attachment without name
write("05-rfc822-attached.eml", """From: Grace <grace@example.org>
To: Heidi <heidi@example.org>
Subject: Fwd: Original question
Date: Fri, 19 Jan 2024 11:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="m5"

--m5
Content-Type: text/plain

See the forwarded message.
--m5
Content-Type: message/rfc822
Content-Disposition: attachment

""" + INNER + """
--m5--
""", E("Fwd: Original question", "grace@example.org", "01/19/24 11:00:00", "See the forwarded message.", False, ["message.txt"]))

# 06 rfc822 without disposition: the tree walk names it by subject
write("06-rfc822-no-disposition.eml", """From: Grace <grace@example.org>
To: Ivan <ivan@example.org>
Subject: Fwd: Original question
Date: Fri, 19 Jan 2024 11:05:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="m6"

--m6
Content-Type: text/plain; charset=us-ascii

Forwarded inline below.
--m6
Content-Type: message/rfc822

""" + INNER + """
--m6--
""", E("Fwd: Original question", "grace@example.org", "01/19/24 11:05:00", "Forwarded inline below.", False, ["Original question.eml"]))

# 07 delivery status report (no dispositions)
write("07-delivery-status.eml", """Return-Path: <>
From: Mail Delivery System <MAILER-DAEMON@mx.example.org>
To: alice@example.com
Subject: Undelivered Mail Returned to Sender
Date: Sat, 20 Jan 2024 03:04:05 +0000
MIME-Version: 1.0
Content-Type: multipart/report; report-type=delivery-status; boundary="dsn7"

--dsn7
Content-Description: Notification
Content-Type: text/plain; charset=us-ascii

This is the mail system at host mx.example.org.
I'm sorry to have to inform you that your message could not be delivered.
<nobody@example.org>: host mx.example.org said: 550 5.1.1 User unknown
--dsn7
Content-Description: Delivery report
Content-Type: message/delivery-status

Reporting-MTA: dns; mx.example.org
Final-Recipient: rfc822; nobody@example.org
Action: failed
Status: 5.1.1

--dsn7
Content-Description: Undelivered Message
Content-Type: message/rfc822

From: Alice Example <alice@example.com>
To: nobody@example.org
Subject: Lunch?
Date: Sat, 20 Jan 2024 03:00:00 +0000

Are you free for lunch?
--dsn7--
""", E("Undelivered Mail Returned to Sender", "mailer-daemon@mx.example.org", "01/20/24 03:04:05",
       "This is the mail system at host mx.example.org.", False, ["Lunch_.eml"]))

# 08 report with dispositions: fallback names
write("08-report-dispositions.eml", """From: postmaster@example.net
To: sender@example.com
Subject: Delivery Status Notification (Failure)
Date: Sun, 21 Jan 2024 05:06:07 +0000
MIME-Version: 1.0
Content-Type: multipart/report; report-type=delivery-status; boundary="dsn8"

--dsn8
Content-Type: text/plain; charset=us-ascii

Delivery to the following recipients failed.
--dsn8
Content-Type: message/delivery-status
Content-Disposition: inline

Final-Recipient: rfc822; gone@example.net
Action: failed
Status: 5.2.1
--dsn8
Content-Type: text/rfc822-headers
Content-Disposition: inline

From: sender@example.com
Subject: Hello
--dsn8--
""", E("Delivery Status Notification (Failure)", "postmaster@example.net", "01/21/24 05:06:07",
       "Delivery to the following recipients failed.", False, ["message.txt", "rfc822-headers.eml"]))

# 09 uuencode in a plain body
UUDATA = b"Spreadsheet,1,2,3\nTotals,6\n" * 5
write("09-uuencode-plain.eml", """From: Old Client <old@example.edu>
To: prof@example.edu
Subject: Data file
Date: Mon, 22 Jan 2024 14:00:00 +0000

Here is the data file you asked for.

""" + uu("data.csv", UUDATA) + """

Regards, Old Client
""", E("Data file", "old@example.edu", "01/22/24 14:00:00", "Here is the data file you asked for.", False, ["data.csv"]))

# 10 iso-2022-jp
jp = "会議の資料です。\r\nよろしくお願いします。\r\n"
write("10-iso-2022-jp.eml", "From: =?ISO-2022-JP?B?" + base64.b64encode("管理".encode("iso-2022-jp")).decode() + "?= <kanri@example.jp>\r\nTo: tanaka@example.jp\r\n"
      "Subject: =?ISO-2022-JP?B?" + base64.b64encode("会議".encode("iso-2022-jp")).decode() + "?=\r\nDate: Tue, 23 Jan 2024 09:00:00 +0900\r\nMIME-Version: 1.0\r\n"
      "Content-Type: text/plain; charset=ISO-2022-JP\r\nContent-Transfer-Encoding: 7bit\r\n\r\n", None)
with open(os.path.join(OUT, "10-iso-2022-jp.eml"), "ab") as f:
    f.write(jp.encode("iso-2022-jp"))
expected["10-iso-2022-jp.eml"] = E("会議", "kanri@example.jp", "01/23/24 00:00:00", "会議の資料です。", False, [])

# 11 koi8-r 8bit
ru = "Привет, коллеги!\r\nОтчёт готов.\r\n"
head11 = "From: Ivan Petrov <ivan@example.ru>\r\nTo: team@example.ru\r\nSubject: =?koi8-r?B?" + base64.b64encode("Отчёт".encode("koi8-r")).decode() + "?=\r\nDate: Wed, 24 Jan 2024 10:00:00 +0300\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=koi8-r\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
writebytes("11-koi8-r.eml", head11.encode() + ru.encode("koi8-r"), E("Отчёт", "ivan@example.ru", "01/24/24 07:00:00", "Привет, коллеги!", False, []))

# 12 windows-1251 quoted-printable
head12 = "From: Olga <olga@example.ru>\r\nTo: team@example.ru\r\nSubject: =?windows-1251?Q?" + "".join("=%02X" % b for b in "Счёт".encode("cp1251")) + "?=\r\nDate: Thu, 25 Jan 2024 10:00:00 +0300\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=\"windows-1251\"\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
writebytes("12-windows-1251.eml", head12.encode() + qp("Счёт на оплату прилагается.\r\n".encode("cp1251")).encode(),
           E("Счёт", "olga@example.ru", "01/25/24 07:00:00", "Счёт на оплату прилагается.", False, []))

# 13 windows-1252 8bit with euro and smart quotes
head13 = "From: Pierre <pierre@example.fr>\r\nTo: marie@example.fr\r\nSubject: Facture\r\nDate: Fri, 26 Jan 2024 10:00:00 +0100\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=windows-1252\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
writebytes("13-windows-1252.eml", head13.encode() + "Le total est de 120 € – «merci»\r\n".encode("cp1252"),
           E("Facture", "pierre@example.fr", "01/26/24 09:00:00", "Le total est de 120 € – «merci»", False, []))

# 14 gb2312 base64
head14 = "From: Li Wei <liwei@example.cn>\r\nTo: wang@example.cn\r\nSubject: =?gb2312?B?" + base64.b64encode("会议通知".encode("gb2312")).decode() + "?=\r\nDate: Sat, 27 Jan 2024 10:00:00 +0800\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=\"gb2312\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"
writebytes("14-gb2312.eml", (head14 + b64("明天上午十点开会。\r\n".encode("gb2312")) + "\r\n").encode(),
           E("会议通知", "liwei@example.cn", "01/27/24 02:00:00", "明天上午十点开会。", False, []))

# 15 big5 base64, in html only
head15 = "From: Chen <chen@example.tw>\r\nTo: lin@example.tw\r\nSubject: =?big5?B?" + base64.b64encode("報告".encode("big5")).decode() + "?=\r\nDate: Sun, 28 Jan 2024 10:00:00 +0800\r\nMIME-Version: 1.0\r\nContent-Type: multipart/alternative; boundary=\"b15\"\r\n\r\n"
body15 = "--b15\r\nContent-Type: text/plain; charset=big5\r\nContent-Transfer-Encoding: base64\r\n\r\n" + b64("報告已完成。\r\n".encode("big5")) + "\r\n--b15\r\nContent-Type: text/html; charset=big5\r\nContent-Transfer-Encoding: base64\r\n\r\n" + b64("<p>報告已完成。</p>\r\n".encode("big5")) + "\r\n--b15--\r\n"
writebytes("15-big5.eml", (head15 + body15).encode(), E("報告", "chen@example.tw", "01/28/24 02:00:00", "報告已完成。", True, []))

# 16 shift_jis 8bit
head16 = "From: Sato <sato@example.jp>\r\nTo: suzuki@example.jp\r\nSubject: =?Shift_JIS?B?" + base64.b64encode("確認".encode("shift_jis")).decode() + "?=\r\nDate: Mon, 29 Jan 2024 10:00:00 +0900\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=Shift_JIS\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
writebytes("16-shift-jis.eml", head16.encode() + "ご確認ください。\r\n".encode("shift_jis"),
           E("確認", "sato@example.jp", "01/29/24 01:00:00", "ご確認ください。", False, []))

# 17 utf-8 with RFC 2231 file names
write("17-utf8-rfc2231.eml", """From: =?UTF-8?Q?J=C3=BCrgen_M=C3=BCller?= <juergen@example.de>
To: buchhaltung@example.de
Subject: =?UTF-8?B?UmVjaG51bmcgw7xiZXIgNTAw4oKs?=
Date: Tue, 30 Jan 2024 10:00:00 +0100
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="u17"

--u17
Content-Type: text/plain; charset=UTF-8
Content-Transfer-Encoding: 8bit

Grüße aus München – die Rechnung anbei.
--u17
Content-Type: application/pdf
Content-Disposition: attachment; filename*=UTF-8''Rechnung%20%C3%BCber%20500%E2%82%AC.pdf
Content-Transfer-Encoding: base64

""" + b64(PDF) + """
--u17
Content-Type: text/csv
Content-Disposition: attachment;
 filename*0*=UTF-8''%C3%9Cbersicht%20;
 filename*1*=2024.csv
Content-Transfer-Encoding: base64

""" + b64(b"a,b\n1,2\n") + """
--u17--
""", E("Rechnung über 500€", "juergen@example.de", "01/30/24 09:00:00", "Grüße aus München – die Rechnung anbei.", False,
       ["Rechnung über 500€.pdf", "Übersicht 2024.csv"]), encoding="utf-8")

# 18 broken boundary: the declared boundary never appears
write("18-broken-boundary.eml", """From: broken@example.com
To: someone@example.org
Subject: Broken boundary
Date: Wed, 31 Jan 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="declared-18"

--other-18
Content-Type: text/plain

The parts use a boundary that was never declared.
--other-18--
""", E("Broken boundary", "broken@example.com", "01/31/24 10:00:00", "--other-18", False, []))

# 19 missing final boundary (truncated message)
write("19-missing-final-boundary.eml", """From: truncated@example.com
To: someone@example.org
Subject: Truncated
Date: Thu, 01 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="t19"

--t19
Content-Type: text/plain

The text survives the cut.
--t19
Content-Type: application/octet-stream; name="cut.bin"
Content-Disposition: attachment; filename="cut.bin"
Content-Transfer-Encoding: base64

""" + b64(bytes(range(120)))[:60] + """
""", E("Truncated", "truncated@example.com", "02/01/24 10:00:00", "The text survives the cut.", False, ["cut.bin"]))

# 20 no headers at all
write("20-no-headers.eml", """Just a note without any header.
Second line.
""", E("", "", "", "Just a note without any header.", False, []))

# 21 headers only, no body
write("21-no-body.eml", """From: empty@example.com
To: someone@example.org
Subject: Nothing inside
Date: Fri, 02 Feb 2024 10:00:00 +0000
""", E("Nothing inside", "empty@example.com", "02/02/24 10:00:00", "", False, []))

# 22 CR-only line ends
write("22-cr-only.eml", """From: Classic Mac <mac@example.com>
To: someone@example.org
Subject: CR line ends
Date: Sat, 03 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="cr22"

--cr22
Content-Type: text/plain

Lines end with a carriage return only.
Second line.
--cr22
Content-Type: text/plain; name="notes.txt"
Content-Disposition: attachment; filename="notes.txt"

attached notes
--cr22--
""", E("CR line ends", "mac@example.com", "02/03/24 10:00:00", "Lines end with a carriage return only.", False, ["notes.txt"]), newline="\r")

# 23 LF-only line ends
write("23-lf-only.eml", """From: Unix User <unix@example.com>
To: someone@example.org
Subject: LF line ends
Date: Sun, 04 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/alternative; boundary="lf23"

--lf23
Content-Type: text/plain

Written on a Unix box.
--lf23
Content-Type: text/html

<div>Written on a Unix box.</div>
--lf23--
""", E("LF line ends", "unix@example.com", "02/04/24 10:00:00", "Written on a Unix box.", True, []), newline="\n")

# 24 base64 with garbage
good = base64.b64encode(b"Base64 survives garbage.\r\nSecond line.\r\n").decode()
write("24-base64-garbage.eml", """From: garbage@example.com
To: someone@example.org
Subject: Garbage in base64
Date: Mon, 05 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: text/plain; charset=utf-8
Content-Transfer-Encoding: base64

""" + good[:20] + "!!\u00a7\u00a7" + good[20:40] + "\r\n  ***\r\n" + good[40:] + """
""", E("Garbage in base64", "garbage@example.com", "02/05/24 10:00:00", "Base64 survives garbage.", False, []))

# 25 S/MIME enveloped: built below with openssl
inner25 = "Content-Type: text/plain; charset=utf-8\r\n\r\nThe secret plan is ready.\r\n"

# 26 two plain parts: the second wins
write("26-two-plain-parts.eml", """From: two@example.com
To: someone@example.org
Subject: Two plain parts
Date: Tue, 06 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="p26"

--p26
Content-Type: text/plain

First plain part.
--p26
Content-Type: text/plain

Second plain part.
--p26--
""", E("Two plain parts", "two@example.com", "02/06/24 10:00:00", "Second plain part.", False, []))

# 27 two html parts: the second wins
write("27-two-html-parts.eml", """From: twohtml@example.com
To: someone@example.org
Subject: Two HTML parts
Date: Wed, 07 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="h27"

--h27
Content-Type: text/html

<p>First HTML</p>
--h27
Content-Type: text/html

<p>Second HTML</p>
--h27--
""", E("Two HTML parts", "twohtml@example.com", "02/07/24 10:00:00", "", True, []))

# 28 octet-stream attachment without name
write("28-octet-stream-no-name.eml", """From: binary@example.com
To: someone@example.org
Subject: Unnamed binary
Date: Thu, 08 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="o28"

--o28
Content-Type: text/plain

Binary attached.
--o28
Content-Type: application/octet-stream
Content-Disposition: attachment
Content-Transfer-Encoding: base64

""" + b64(bytes(range(256))) + """
--o28--
""", E("Unnamed binary", "binary@example.com", "02/08/24 10:00:00", "Binary attached.", False, ["octet-stream"]))

# 29 text/plain attachment without name
write("29-text-attachment-no-name.eml", """From: report@example.com
To: someone@example.org
Subject: Unnamed text attachment
Date: Fri, 09 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="t29"

--t29
Content-Type: text/plain

The body text.
--t29
Content-Type: text/plain
Content-Disposition: attachment

The attached text.
--t29--
""", E("Unnamed text attachment", "report@example.com", "02/09/24 10:00:00", "The body text.", False, ["report.txt"]))

# 30 rfc822-headers attachment
write("30-rfc822-headers.eml", """From: mailer@example.com
To: someone@example.org
Subject: Returned headers
Date: Sat, 10 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/report; report-type=delivery-status; boundary="r30"

--r30
Content-Type: text/plain

Headers of the returned message follow.
--r30
Content-Type: text/rfc822-headers
Content-Disposition: attachment

From: someone@example.org
Subject: Original
--r30--
""", E("Returned headers", "mailer@example.com", "02/10/24 10:00:00", "Headers of the returned message follow.", False, ["rfc822-headers.eml"]))

# 31 html only with image links
write("31-html-only.eml", """From: promo@example.com
To: someone@example.org
Subject: Spring sale
Date: Sun, 11 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: text/html; charset=utf-8

<html><body>
<img src="http://cdn.example.com/a.png?x=1&amp;y=2" alt="a">
<IMG width=1 SRC='https://cdn.example.com/b.gif'>
<img src="cid:inline@example.com"><img src="http://cdn.example.com/a.png?x=1&amp;y=2">
<p>Spring sale: all items reduced.</p>
</body></html>
""", E("Spring sale", "promo@example.com", "02/11/24 10:00:00", "", True, []))

# 32 quoted-printable utf-8 with soft breaks
write("32-quoted-printable.eml", """From: =?utf-8?q?Zo=C3=AB?= <zoe@example.com>
To: someone@example.org
Subject: =?utf-8?q?Caf=C3=A9?= =?utf-8?q?_meeting?=
Date: Mon, 12 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: text/plain; charset=utf-8
Content-Transfer-Encoding: quoted-printable

Let us meet at the caf=C3=A9 on the corner of the long street with the many=
 trees.
""", E("Café meeting", "zoe@example.com", "02/12/24 10:00:00", "Let us meet at the café on the corner of the long street with the many trees.", False, []))

# 33 mbox separator line first
write("33-mbox-from-line.eml", """From sender@example.com Tue Feb 13 10:00:00 2024
From: sender@example.com
To: someone@example.org
Subject: Saved from a mailbox
Date: Tue, 13 Feb 2024 10:00:00 +0000

Body after an mbox separator.
""", E("Saved from a mailbox", "sender@example.com", "02/13/24 10:00:00", "Body after an mbox separator.", False, []))

# 34 attachment without disposition (name only in Content-Type)
write("34-attachment-no-disposition.eml", """From: outlook@example.com
To: someone@example.org
Subject: Photo
Date: Wed, 14 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="n34"

--n34
Content-Type: text/plain; charset=us-ascii

Photo from the trip.
--n34
Content-Type: image/jpeg; name="photo.jpg"
Content-Transfer-Encoding: base64

""" + b64(b"\xff\xd8\xff\xe0 jpeg bytes \xff\xd9") + """
--n34--
""", E("Photo", "outlook@example.com", "02/14/24 10:00:00", "Photo from the trip.", False, ["photo.jpg"]))

# 35 inline image with disposition in related
write("35-inline-image.eml", """From: designer@example.com
To: someone@example.org
Subject: Logo proposal
Date: Thu, 15 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/related; boundary="r35"

--r35
Content-Type: text/html; charset=utf-8

<p>Proposal:</p><img src="cid:logo35">
--r35
Content-Type: image/gif; name="logo.gif"
Content-ID: <logo35>
Content-Disposition: inline; filename="logo.gif"
Content-Transfer-Encoding: base64

R0lGODlhAQABAAAAACw=
--r35--
""", E("Logo proposal", "designer@example.com", "02/15/24 10:00:00", "", True, ["logo.gif"]))

# 36 deep nesting
nest = "Content-Type: text/plain\r\n\r\nDeep inside.\r\n"
for level in range(5, 0, -1):
    nest = ("Content-Type: multipart/mixed; boundary=\"d%d\"\r\n\r\n--d%d\r\n" % (level, level)) + nest + ("--d%d--\r\n" % level)
write("36-deep-nesting.eml", "From: nest@example.com\r\nTo: someone@example.org\r\nSubject: Deep nesting\r\nDate: Fri, 16 Feb 2024 10:00:00 +0000\r\nMIME-Version: 1.0\r\n" + nest,
      E("Deep nesting", "nest@example.com", "02/16/24 10:00:00", "Deep inside.", False, []))

# 37 two uuencoded files
write("37-multiple-uuencode.eml", """From: usenet@example.com
To: someone@example.org
Subject: Two files
Date: Sat, 17 Feb 2024 10:00:00 +0000

Two files follow.
""" + uu("one.txt", b"first file\n") + "\r\n" + uu("two.bin", bytes(range(100))) + """
That was all.
""", E("Two files", "usenet@example.com", "02/17/24 10:00:00", "Two files follow.", False, ["one.txt", "two.bin"]))

# 38 x-uuencode transfer encoding
write("38-x-uuencode-part.eml", """From: legacy@example.com
To: someone@example.org
Subject: Legacy encoding
Date: Sun, 18 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="x38"

--x38
Content-Type: text/plain

See attachment.
--x38
Content-Type: application/octet-stream; name="data.bin"
Content-Disposition: attachment; filename="data.bin"
Content-Transfer-Encoding: x-uuencode

""" + uu("data.bin", b"uuencoded payload") + """
--x38--
""", E("Legacy encoding", "legacy@example.com", "02/18/24 10:00:00", "See attachment.", False, ["data.bin"]))

# 39 raw latin-1 header bytes with a latin-1 charset
head39 = "From: =?iso-8859-1?q?Andr=E9?= <andre@example.fr>\r\nTo: someone@example.org\r\nSubject: R\xe9sum\xe9 envoy\xe9\r\nDate: Mon, 19 Feb 2024 10:00:00 +0000\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=iso-8859-1\r\nContent-Transfer-Encoding: 8bit\r\n\r\nVoil\xe0 mon r\xe9sum\xe9.\r\n"
writebytes("39-latin1-8bit.eml", head39.encode("latin-1"), E("Résumé envoyé", "andre@example.fr", "02/19/24 10:00:00", "Voilà mon résumé.", False, []))

# 40 child part without any content type
write("40-part-without-content-type.eml", """From: minimal@example.com
To: someone@example.org
Subject: Minimal parts
Date: Tue, 20 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="c40"

--c40

A part without headers is plain text.
--c40--
""", E("Minimal parts", "minimal@example.com", "02/20/24 10:00:00", "A part without headers is plain text.", False, []))

# 41 charset not first among the attributes
write("41-charset-not-first.eml", """From: flowed@example.com
To: someone@example.org
Subject: Flowed text
Date: Wed, 21 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: text/plain; format=flowed; charset=utf-8

Stra\xc3\x9fe
""".encode("latin-1").decode("latin-1"), E("Flowed text", "flowed@example.com", "02/21/24 10:00:00", "Straße", False, []))

# 44 multipart/signed
write("44-signed.eml", """From: signer@example.com
To: someone@example.org
Subject: Signed note
Date: Sat, 24 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/signed; protocol="application/pkcs7-signature"; micalg=sha-256; boundary="s44"

--s44
Content-Type: text/plain; charset=us-ascii

This note is signed.
--s44
Content-Type: application/pkcs7-signature; name="smime.p7s"
Content-Transfer-Encoding: base64
Content-Disposition: attachment; filename="smime.p7s"

MIAGCSqGSIb3DQEHAqCAMIACAQExDzANBglghkgBZQMEAgEFADCABgkqhkiG9w0BBwEAAA==
--s44--
""", E("Signed note", "signer@example.com", "02/24/24 10:00:00", "This note is signed.", False, ["smime.p7s"]))

# 45 body parts marked inline (as some mailers do)
write("45-inline-body.eml", """From: apple@example.com
To: someone@example.org
Subject: Inline body parts
Date: Sun, 25 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/alternative; boundary="i45"

--i45
Content-Type: text/plain; charset=us-ascii
Content-Disposition: inline

Body marked inline.
--i45
Content-Type: text/html; charset=us-ascii
Content-Disposition: inline

<div>Body marked inline.</div>
--i45--
""", E("Inline body parts", "apple@example.com", "02/25/24 10:00:00", "Body marked inline.", True, []))

# 46 missing headers: no From, no Date
write("46-missing-headers.eml", """Subject: Anonymous note
MIME-Version: 1.0
Content-Type: text/plain

Nobody signed this.
""", E("Anonymous note", "", "", "Nobody signed this.", False, []))

# 47 calendar part without disposition stays out
write("47-calendar.eml", """From: calendar@example.com
To: someone@example.org
Subject: Invitation
Date: Mon, 26 Feb 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/alternative; boundary="c47"

--c47
Content-Type: text/plain; charset=utf-8

You are invited.
--c47
Content-Type: text/calendar; method=REQUEST; charset=utf-8

BEGIN:VCALENDAR
END:VCALENDAR
--c47--
""", E("Invitation", "calendar@example.com", "02/26/24 10:00:00", "You are invited.", False, []))

# 25 S/MIME enveloped with the test certificate
smime_dir = sys.argv[2]
with tempfile.NamedTemporaryFile(suffix=".txt") as f:
    f.write(inner25.encode())
    f.flush()
    enc = subprocess.run(["openssl", "smime", "-encrypt", "-aes256", "-in", f.name,
                          "-from", "sender@example.com", "-to", "recipient@example.org", "-subject", "Encrypted plan",
                          os.path.join(smime_dir, "recipient.crt")], check=True, capture_output=True).stdout
enc = enc.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")
enc = b"Date: Thu, 22 Feb 2024 10:00:00 +0000\r\nMessage-ID: <smime-25@example.com>\r\n" + enc
writebytes("25-smime-enveloped.eml", enc, E("Encrypted plan", "sender@example.com", "02/22/24 10:00:00", "", False, ["smime.p7m"]))

# 42, 43: archives holding a message; the names carry a unique id so that they are message files
ZIPNAME = "42-0123456789ABCDEF012345678!zipped.zip"
with zipfile.ZipFile(os.path.join(OUT, ZIPNAME), "w", zipfile.ZIP_DEFLATED) as z:
    z.write(os.path.join(OUT, "03-mixed-pdf.eml"), "zipped message.eml")
expected[ZIPNAME] = dict(expected["03-mixed-pdf.eml"])
# Made by the engine's own archive writer (CompressFilesToArchive) from 13-windows-1252.eml.
SEVENZIP = "43-0123456789ABCDEF012345678!sevenzip.7z"
if os.path.exists(os.path.join(OUT, SEVENZIP)):
    expected[SEVENZIP] = dict(expected["13-windows-1252.eml"])

with open(os.path.join(OUT, "expected.json"), "w", encoding="utf-8") as f:
    json.dump(expected, f, ensure_ascii=False, indent=1, sort_keys=True)
print(len(expected), "messages")
