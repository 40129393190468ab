#!/usr/bin/env python3
# Writes the bounce corpus and its expected.json: python3 make_bounces.py tests/data/bounces
# Every report is made up for this project, in the manner of several kinds of mail server
# (delivery status notifications, one-line and transcript-style plain reports), together
# with read receipts, auto-replies and ordinary mail. The expected verdicts are stated here
# by hand: type ("HardBounce", "SoftBounce", "Mdnreceipt" or ""), the description and the
# recipient the classifier must give, and "bounce": what ParseMessage answers.
import base64, json, os, sys

OUT = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
os.makedirs(OUT, exist_ok=True)
expected = {}


def write(name, text, kind, description, recipient, newline="\n"):
    data = text.lstrip("\n").replace("\r\n", "\n").replace("\n", newline)
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(data.encode("utf-8"))
    expected[name] = {
        "type": kind,
        "description": description,
        "recipient": recipient,
        "bounce": kind in ("HardBounce", "SoftBounce"),
    }


def original(to, subject="Meeting notes", sender="sam@example.com"):
    original.count += 1
    return f"""From: Sam Sender <{sender}>
To: {to}
Subject: {subject}
Date: Tue, 16 Jan 2024 09:12:00 +0000
Message-ID: <orig-{original.count}@example.com>

Hello,
here are the notes of today's meeting.
"""


original.count = 0


def dsn(boundary, human, status_fields, returned=None, returned_type="message/rfc822",
        subject="Returned: message not delivered", sender="MAILER-DAEMON@mx1.example.net (Mail Delivery System)",
        report_type="delivery-status", part_type="message/delivery-status", extra_headers=""):
    parts = f"""From: {sender}
To: sam@example.com
Subject: {subject}
Date: Tue, 16 Jan 2024 09:13:05 +0000
Message-ID: <bounce-{boundary}@mx1.example.net>
MIME-Version: 1.0
{extra_headers}Content-Type: multipart/report; report-type={report_type};
	boundary="{boundary}"

Delivery report follows.

--{boundary}
Content-Type: text/plain; charset=us-ascii
Content-Description: Notification

{human}
--{boundary}
Content-Type: {part_type}
Content-Description: Delivery report

{status_fields}
"""
    if returned is not None:
        parts += f"""--{boundary}
Content-Type: {returned_type}
Content-Description: Undelivered Message

{returned}
"""
    return parts + f"--{boundary}--\n"


def fields(recipient_line, status, action="failed", diagnostic="", extra=""):
    text = f"""Reporting-MTA: dns; mx1.example.net
X-Queue-ID: 7F2A31C04B
Arrival-Date: Tue, 16 Jan 2024 09:12:58 +0000

{recipient_line}Action: {action}
Status: {status}
Remote-MTA: dns; mx.example.org
"""
    if diagnostic:
        text += f"Diagnostic-Code: smtp; {diagnostic}\n"
    return text + extra


MTA_HUMAN = """Notice from the relay mx1.example.net:

Your message did not reach some of its recipients.
The report and your original message follow.
"""

# ---------------------------------------------------------------- delivery status notifications

write("01-dsn-unknown-user.eml",
      dsn("B01", MTA_HUMAN,
          fields("Final-Recipient: rfc822; ann.gone@example.com\nOriginal-Recipient: rfc822;ann.gone@example.com\n",
                 "5.1.1", diagnostic="550 5.1.1 <ann.gone@example.com>: Recipient address rejected: User unknown"),
          original("ann.gone@example.com")),
      "HardBounce", "HardBounce (5.1.1): Bad destination mailbox address", "ann.gone@example.com")

write("02-dsn-no-such-domain.eml",
      dsn("B02", "We gave up on bob@nonexistent-domain.example:\n"
                 "that domain has no mail servers we could find.\n",
          fields("Final-Recipient: rfc822;bob@nonexistent-domain.example\n", "5.1.2",
                 diagnostic="Host or domain name not found. Name service error for name=nonexistent-domain.example"),
          original("bob@nonexistent-domain.example"), subject="Message failed: domain not found",
          sender="Mail Delivery Subsystem <mailer-daemon@relay.example.net>"),
      "HardBounce", "HardBounce (5.1.2): Bad destination system address", "bob@nonexistent-domain.example")

write("03-dsn-mailbox-full.eml",
      dsn("B03", "Your message to carl@example.org could not be delivered: the mailbox is full.\n",
          fields("Final-Recipient: rfc822; carl@example.org\n", "5.2.2",
                 diagnostic="552 5.2.2 Mailbox full"),
          original("carl@example.org")),
      "SoftBounce", "SoftBounce (5.2.2): Mailbox full", "carl@example.org")

write("04-dsn-over-quota-delayed.eml",
      dsn("B04", "Delivery to dora@example.net is delayed: the recipient is over quota.\n"
                 "The server will keep trying for 5 days.\n",
          fields("Final-Recipient: rfc822; dora@example.net\n", "4.2.2", action="delayed",
                 diagnostic="452 4.2.2 Over quota",
                 extra="Will-Retry-Until: Sun, 21 Jan 2024 09:12:58 +0000\n"),
          None, subject="Delayed Mail (still being retried)"),
      "SoftBounce", "SoftBounce (4.2.2): Mailbox full", "dora@example.net")

write("05-dsn-message-too-big.eml",
      dsn("B05", "The message was too large for the recipient's server.\n",
          fields("Final-Recipient: rfc822; ed@example.com\n", "5.3.4",
                 diagnostic="552 5.3.4 Message size exceeds fixed limit"),
          original("ed@example.com", "Holiday pictures")),
      "HardBounce", "HardBounce (5.3.4): Message too big for system", "ed@example.com")

write("06-dsn-delivery-expired.eml",
      dsn("B06", "Your message could not be delivered within 2 days and has been returned.\n",
          fields("Final-Recipient: rfc822; fay@example.org\n", "4.4.7", action="failed",
                 diagnostic="421 Connection timed out"),
          original("fay@example.org"), subject="Warning: message delivery expired"),
      "SoftBounce", "SoftBounce (4.4.7): Delivery time expired", "fay@example.org")

write("07-dsn-policy-refused.eml",
      dsn("B07", "The recipient's server refused the message for policy reasons.\n",
          fields("Final-Recipient: rfc822; gus@example.net\n", "5.7.1",
                 diagnostic="554 5.7.1 Message rejected because of local policy"),
          original("gus@example.net")),
      "HardBounce", "HardBounce (5.7.1): Delivery not authorized, message refused", "gus@example.net")

write("08-dsn-temporary-failure.eml",
      dsn("B08", "Status update from the gateway: still trying.\n\n"
                 "No action is needed on your side yet.\n",
          fields("Final-Recipient: rfc822; hal@example.com\n", "4.4.1", action="delayed",
                 diagnostic="No answer from host mx.example.com"),
          None, subject="Still trying to deliver your message",
          sender="postmaster@gateway.example.net"),
      "SoftBounce", "SoftBounce (4.4.1): No answer from host", "hal@example.com")

write("09-dsn-greylisted.eml",
      dsn("B09", "The recipient's server asked us to try again later (greylisting).\n",
          fields("Final-Recipient: rfc822; ida@example.org\n", "4.7.1", action="delayed",
                 diagnostic="451 4.7.1 Greylisted, see https://greylisting.example.org/"),
          None, subject="Delayed Mail"),
      "", "", "")

write("10-dsn-unknown-code.eml",
      dsn("B10", "Delivery failed for an unlisted reason.\n",
          fields("Final-Recipient: rfc822; jon@example.com\n", "5.9.9",
                 diagnostic="599 5.9.9 Something unusual happened"),
          original("jon@example.com")),
      "", "", "")

write("11-dsn-null-mx.eml",
      dsn("B11", "The recipient domain does not accept mail (null MX).\n",
          fields("Final-Recipient: rfc822; kim@no-mail.example\n", "5.1.10",
                 diagnostic="556 5.1.10 Recipient address has null MX"),
          original("kim@no-mail.example")),
      "", "", "")

write("12-dsn-no-recipient-field.eml",
      dsn("B12", "Your message could not be delivered.\n",
          "Reporting-MTA: dns; smtp.example.net\n\nAction: failed\nStatus: 5.1.1\n",
          original("Lou Lost <lou.lost@example.org>, another@example.org"),
          sender="postmaster@smtp.example.net"),
      "HardBounce", "HardBounce (5.1.1): Bad destination mailbox address", "lou.lost@example.org")

write("13-dsn-original-recipient-only.eml",
      dsn("B13", "Could not deliver to Carol.Old@Example.org (no such person here).\n",
          fields("Original-Recipient: rfc822;Carol.Old@Example.org\n", "5.1.1",
                 diagnostic="550 5.1.1 Recipient not found in directory"),
          original("Carol.Old@Example.org"), subject="Not delivered: Meeting notes",
          sender="Mail Administrator <postmaster@corp.example.com>"),
      "HardBounce", "HardBounce (5.1.1): Bad destination mailbox address", "Carol.Old@Example.org")

# A vendor field ahead of the status reads as a status code: its "/" stands where the
# pattern's unescaped dot allows any character, and the first match wins.
write("14-dsn-score-before-status.eml",
      dsn("B14", "Delivery failed.\n",
          "Reporting-MTA: dns; filter.example.net\nX-Spam-Score: 4.2/10\n\n"
          "Final-Recipient: rfc822; max@example.com\nAction: failed\nStatus: 5.1.1\n",
          original("max@example.com")),
      "", "", "")

write("15-dsn-nested-in-mixed.eml", """
From: Mail Gateway <postmaster@gw.example.net>
To: sam@example.com
Subject: Your mail came back
Date: Tue, 16 Jan 2024 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="outer15"

--outer15
Content-Type: multipart/report; report-type=delivery-status; boundary="inner15"

--inner15
Content-Type: text/plain

We received your message at 09:59 and could not hand it on.

Failed for good:
  <nina@example.org>
--inner15
Content-Type: message/delivery-status

Reporting-MTA: dns; gw.example.net

Final-Recipient: RFC822; <nina@example.org>
Action: failed
Status: 5.1.1
--inner15--

--outer15
Content-Type: text/plain

-- 
This notice was scanned by the gateway.
--outer15--
""", "HardBounce", "HardBounce (5.1.1): Bad destination mailbox address", "nina@example.org")

write("16-dsn-two-recipients.eml",
      dsn("B16", "Delivery failed for two recipients.\n",
          "Reporting-MTA: dns; mx1.example.net\n\n"
          "Final-Recipient: rfc822; olga@example.com\nAction: failed\nStatus: 5.2.1\n\n"
          "Final-Recipient: rfc822; pat@example.com\nAction: delayed\nStatus: 4.2.2\n",
          original("olga@example.com, pat@example.com")),
      "HardBounce", "HardBounce (5.2.1): Mailbox disabled, not accepting messages", "olga@example.com")

status17 = base64.b64encode(
    b"Reporting-MTA: dns; edge.example.net\r\n\r\nFinal-Recipient: rfc822; quinn@example.org\r\n"
    b"Action: failed\r\nStatus: 5.4.4\r\n").decode()
write("17-dsn-base64-crlf.eml", f"""
From: MAILER-DAEMON@edge.example.net
To: sam@example.com
Subject: bounce: no route
Date: Tue, 16 Jan 2024 11:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/report; report-type=delivery-status; boundary="b17"

--b17
Content-Type: text/plain

No route to the recipient's domain.

--b17
Content-Type: message/delivery-status
Content-Transfer-Encoding: base64

{status17}
--b17
Content-Type: text/rfc822-headers

From: sam@example.com
To: quinn@example.org
Subject: Report

--b17--
""", "HardBounce", "HardBounce (5.4.4): Unable to route", "quinn@example.org", newline="\r\n")

# ---------------------------------------------------------------- plain-text reports

write("18-plain-smtp-error-550.eml", """
From: Mail Delivery System <Mailer-Daemon@mail.example.net>
To: sam@example.com
Subject: Bounced: Lunch
Date: Tue, 16 Jan 2024 12:00:00 +0000
Content-Type: text/plain; charset=us-ascii

Automatic reply from the delivery agent at mail.example.net.

This address did not take your message, and we will not try again:

  henry@example.net
    SMTP error at mx.example.net after RCPT TO:<henry@example.net>: 550 5.1.1 User unknown

== your message as we received it ==

From: sam@example.com
To: henry@example.net
Subject: Lunch
""", "HardBounce", "HardBounce (550): Mailbox unavailable.", "henry@example.net")

write("19-plain-transcript-421.eml", """
From: postmaster@relay.example.org
To: sam@example.com
Subject: Delivery delayed for 4 hours
Date: Tue, 16 Jan 2024 13:00:00 +0000

(warning only - we keep trying, do not send again)

Last exchange with the remote server:
>>> RCPT TO:<ivy@example.org> <<< 421 4.7.0 Try again later, closing connection.
""", "SoftBounce", "SoftBounce (421):  Service not available, closing transmission channel.", "ivy@example.org")

write("20-plain-greylisting-450.eml", """
From: Mail Delivery Subsystem <MAILER-DAEMON@out.example.com>
To: sam@example.com
Subject: Held back for a while
Date: Tue, 16 Jan 2024 13:30:00 +0000
Content-Type: text/plain

The receiving side asked us to come back later:

RCPT TO:<jack@example.com> 450 4.2.0 Greylisted, please try again in 300 seconds
""", "SoftBounce", "SoftBounce (450): Requested mail action not taken: mailbox unavailable.", "jack@example.com")

write("21-plain-quota-552-with-original.eml", """
From: Mail Delivery System <MAILER-DAEMON@mail.example.net>
To: sam@example.com
Subject: Returned: Plans
Date: Tue, 16 Jan 2024 14:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="b21"

--b21
Content-Type: text/plain

Your message is attached; it was refused at the end of the transfer.
SMTP error after the data: 552 5.2.2 Recipient is over quota

--b21
Content-Type: message/rfc822

From: sam@example.com
To: Kate Full <kate.full@example.net>
Subject: Plans

See you.
--b21--
""", "SoftBounce", "SoftBounce (552): Action aborted due to exceeded storage allocation.", "kate.full@example.net")

write("22-plain-storage-452.eml", """
From: MAILER-DAEMON@mx.example.org
To: sam@example.com
Subject: Temporary failure
Date: Tue, 16 Jan 2024 14:30:00 +0000

Temporary failure, will retry:
RCPT TO:<kurt@example.org> 452 4.3.1 Insufficient system storage
""", "SoftBounce", "SoftBounce (452): Requested action not taken: insufficient system storage", "kurt@example.org")

# The first address of the quote is taken, here the sender's own.
write("23-plain-smtp-error-554.eml", """
From: Mail Delivery System <MAILER-DAEMON@mail.example.net>
To: sam@example.com
Subject: Refused by the remote server
Date: Tue, 16 Jan 2024 15:00:00 +0000

  liam@example.com
    SMTP error at the sender step MAIL FROM:<sam@example.com> SIZE=2048: 554 Transaction failed
""", "HardBounce", "HardBounce (554): Transaction failed for some unstated reason.", "sam@example.com")

write("24-plain-success-250.eml", """
From: Delivery Reports <reports@relay.example.com>
To: sam@example.com
Subject: Delivery report: delivered
Date: Tue, 16 Jan 2024 15:30:00 +0000

Your message was delivered.
RCPT TO:<leo@example.com> 250 2.1.5 Recipient ok
""", "Mdnreceipt", "Mdnreceipt (250): Requested mail action okay, completed", "leo@example.com")

# The reply is on one line with the recipient, but "RCPT TO command" carries no colon:
# nothing here is quoted the way the classifier reads plain reports.
write("25-plain-said-550-not-recognised.eml", """
From: MAILER-DAEMON@mx1.example.net (Mail Delivery System)
To: sam@example.com
Subject: Returned: message not delivered
Date: Tue, 16 Jan 2024 16:00:00 +0000

<mona@example.org>: the server mx.example.org[192.0.2.10] answered 550 5.1.1
    <mona@example.org>: no such user here (answer to our
    RCPT TO command)
""", "", "", "")

# The reply comes on the line after the command: "." runs over the line break.
write("26-plain-transcript-multiline.eml", """
From: Mail Delivery Subsystem <MAILER-DAEMON@smtp.example.com>
To: sam@example.com
Subject: Came back: user unknown
Date: Tue, 16 Jan 2024 16:30:00 +0000

Dialogue with mx.example.org:
>>> RCPT TO:<ned@example.org>
<<< 550 5.1.1 <ned@example.org>... User unknown
""", "HardBounce", "HardBounce (550): Mailbox unavailable.", "ned@example.org")

# ---------------------------------------------------------------- read receipts

write("27-mdn-displayed.eml",
      dsn("B27", "The message sent on Tue, 16 Jan 2024 to mia@example.org was displayed.\n",
          "Reporting-UA: desk.example.org; Desk Mail\nFinal-Recipient: rfc822; mia@example.org\n"
          "Original-Message-ID: <orig-1@example.com>\nDisposition: manual-action/MDN-sent-manually; displayed\n",
          None, subject="Read: Meeting notes", sender="Mia Reader <mia@example.org>",
          report_type="disposition-notification", part_type="message/disposition-notification"),
      "", "", "")

# A mail client's version number reads as an enhanced status code.
write("28-mdn-client-version.eml",
      dsn("B28", "Your message was read.\n",
          "Reporting-UA: pc7.example.net; Example Mail 4.2.0\nFinal-Recipient: rfc822; ray@example.net\n"
          "Disposition: automatic-action/MDN-sent-automatically; displayed\n",
          None, subject="Read receipt", sender="ray@example.net",
          report_type="disposition-notification", part_type="message/disposition-notification"),
      "SoftBounce", "SoftBounce (4.2.0): Other or undefined mailbox status", "ray@example.net")

# ---------------------------------------------------------------- auto-replies and ordinary mail

write("29-autoreply-out-of-office.eml", """
From: Tina Away <tina@example.com>
To: sam@example.com
Subject: Automatic reply: Meeting notes
Date: Tue, 16 Jan 2024 17:00:00 +0000
Auto-Submitted: auto-replied
Content-Type: text/plain; charset=utf-8

I am out of the office until 5 February with limited access to e-mail.
For urgent matters please call the front desk on 555 0100.
""", "", "", "")

write("30-autoreply-vacation-html.eml", """
From: uma@example.org
To: sam@example.com
Subject: On vacation
Date: Tue, 16 Jan 2024 17:30:00 +0000
Auto-Submitted: auto-replied
MIME-Version: 1.0
Content-Type: text/html; charset=utf-8

<html><body><p>I am on vacation until 2.4.2024. Your mail will not be forwarded.</p></body></html>
""", "", "", "")

write("31-ordinary-message.eml", """
From: Vic Colleague <vic@example.com>
To: sam@example.com
Subject: Re: Meeting notes
Date: Tue, 16 Jan 2024 18:00:00 +0000
Message-ID: <reply-31@example.com>
Content-Type: text/plain; charset=us-ascii

Thanks Sam, the notes look good. Version 5.1.1 of the slides is attached to the wiki.
""", "", "", "")

# An ordinary post that quotes an SMTP dialogue reads as a plain-text report.
write("32-list-post-quoting-smtp.eml", """
From: Walt Admin <walt@example.net>
To: admins@lists.example.net
Subject: Why our relay rejects some mail
Date: Tue, 16 Jan 2024 18:30:00 +0000
Content-Type: text/plain

When a client sends RCPT TO:<nobody@example.net> the relay answers 550 and logs it.
""", "HardBounce", "HardBounce (550): Mailbox unavailable.", "nobody@example.net")

with open(os.path.join(OUT, "expected.json"), "w") as f:
    json.dump(expected, f, indent=1, sort_keys=True)
    f.write("\n")
