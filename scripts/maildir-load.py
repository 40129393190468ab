#!/usr/bin/python3
"""Puts every message of an mbox into a Maildir, as new mail: maildir-load.py MBOX MAILDIR.
Used to fill the test Dovecot's mailbox (its Maildir is ~alice/Maildir) without a client."""
import mailbox
import os
import sys

source, target = sys.argv[1], sys.argv[2]
os.makedirs(os.path.dirname(os.path.abspath(target)), exist_ok=True)
box = mailbox.Maildir(target, create=True)
count = 0
for message in mailbox.mbox(source, create=False):
    box.add(mailbox.MaildirMessage(message))
    count += 1
print(count)
