#!/usr/bin/env python3
"""Anchor for the attachments export: every attachment of every message of an mbox file
decoded by Python's email package and written to one folder, a name taken twice numbered
so that no file is lost.  Usage: py_attachments.py MBOX OUTDIR"""
import mailbox
import os
import sys


def unique_path(folder, name, taken):
    stem, ext = os.path.splitext(name)
    candidate, n = name, 1
    while candidate in taken:
        candidate = f"{stem}({n}){ext}"
        n += 1
    taken.add(candidate)
    return os.path.join(folder, candidate)


def main(mbox_path, folder):
    os.makedirs(folder, exist_ok=True)
    taken = set()
    box = mailbox.mbox(mbox_path, create=False)
    for key in box.iterkeys():
        for part in box.get_message(key).walk():
            if part.is_multipart() or part.get_content_disposition() != "attachment":
                continue
            name = os.path.basename(part.get_filename() or "attachment.dat").replace("/", "_") or "attachment.dat"
            with open(unique_path(folder, name, taken), "wb") as out:
                out.write(part.get_payload(decode=True) or b"")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
