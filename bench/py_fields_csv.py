#!/usr/bin/env python3
"""Anchor for the fields export: every message of an mbox file parsed by Python's email
package, and its dates, sender, recipients, subject, message id and attachment count
written as one CSV row.  Usage: py_fields_csv.py MBOX OUT.csv"""
import csv
import mailbox
import sys
from email import policy


def attachment_count(message):
    return sum(1 for part in message.walk() if part.get_content_disposition() == "attachment")


def main(mbox_path, csv_path):
    box = mailbox.mbox(mbox_path, factory=None, create=False)
    with open(csv_path, "w", newline="", encoding="utf-8") as out:
        writer = csv.writer(out)
        for key in box.iterkeys():
            message = box.get_message(key)
            message.policy = policy.default
            writer.writerow([message.get("Date", ""), message.get("From", ""), message.get("To", ""),
                             message.get("Cc", ""), message.get("Subject", ""),
                             message.get("Message-ID", ""), attachment_count(message)])


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
