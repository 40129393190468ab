#!/usr/bin/env python3
"""Prints the cells of an xls or xlsx workbook as JSON, read by an independent reader
(xlrd for xls, openpyxl for xlsx), for the table writers' tests.

Output: {"sheets": [{"name": ..., "rows": [[cell, ...], ...]}]} where a cell is null
(empty), ["s", text], ["n", number], ["b", true|false] or ["d", "YYYY-MM-DDTHH:MM:SS"];
["n", ...] also stands for a date xlrd refuses to convert (before 1900-03-01).

With --biff-problems FILE.xls it prints {"problems": [...]} instead: what is wrong in the
structure of the workbook stream (see biff_problems).
"""
import datetime
import json
import sys


def xls_cells(path):
    import xlrd
    book = xlrd.open_workbook(path)
    sheets = []
    for sheet in book.sheets():
        rows = []
        for r in range(sheet.nrows):
            row = []
            for c in range(sheet.ncols):
                cell = sheet.cell(r, c)
                if cell.ctype in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK):
                    row.append(None)
                elif cell.ctype == xlrd.XL_CELL_TEXT:
                    row.append(["s", cell.value])
                elif cell.ctype == xlrd.XL_CELL_BOOLEAN:
                    row.append(["b", bool(cell.value)])
                elif cell.ctype == xlrd.XL_CELL_DATE:
                    try:
                        moment = xlrd.xldate.xldate_as_datetime(cell.value, book.datemode)
                        row.append(["d", moment.isoformat(timespec="seconds")])
                    except xlrd.xldate.XLDateError:
                        row.append(["n", cell.value])
                elif cell.ctype == xlrd.XL_CELL_NUMBER:
                    row.append(["n", cell.value])
                else:
                    row.append(["?", repr(cell.value)])
            rows.append(row)
        sheets.append({"name": sheet.name, "rows": rows})
    return sheets


def xlsx_cells(path):
    import openpyxl
    from openpyxl.utils.escape import unescape
    book = openpyxl.load_workbook(path, read_only=True)
    sheets = []
    for sheet in book.worksheets:
        rows = []
        for values in sheet.iter_rows(values_only=True):
            row = []
            for value in values:
                if value is None:
                    row.append(None)
                elif isinstance(value, bool):
                    row.append(["b", value])
                elif isinstance(value, datetime.datetime):
                    row.append(["d", value.isoformat(timespec="seconds")])
                elif isinstance(value, (int, float)):
                    row.append(["n", value])
                else:
                    # Excel reads _xHHHH_ in a cell's text as that character (how the
                    # format stores CR and other controls); openpyxl leaves it to us.
                    row.append(["s", unescape(str(value))])
            rows.append(row)
        sheets.append({"name": sheet.title, "rows": rows})
    return sheets


def biff_problems(path):
    """What xlrd forgives but Excel may not: oversized records, strings of the shared string
    table split in their header, an EXTSST index that misses its strings, dimensions that
    do not cover the cells, cells out of row order."""
    import os
    import struct
    import xlrd.compdoc
    with open(path, "rb") as f, open(os.devnull, "w") as null:
        stream = xlrd.compdoc.CompDoc(f.read(), logfile=null).get_named_stream("Workbook")
    records, pos = [], 0
    while pos + 4 <= len(stream):
        rid, size = struct.unpack_from("<HH", stream, pos)
        if rid == 0 and not any(stream[pos:]):
            break  # padding after the last substream
        records.append((pos, rid, stream[pos + 4:pos + 4 + size]))
        pos += 4 + size
    problems = ["record %04x at %d holds %d bytes" % (r, p, len(d)) for p, r, d in records if len(d) > 8224]
    # The shared strings: where each starts, walking SST and its CONTINUE records.
    starts, i = [], next((k for k, r in enumerate(records) if r[1] == 0x00FC), None)
    if i is not None:
        parts = [records[i]]
        while i + 1 < len(records) and records[i + 1][1] == 0x003C:
            i += 1
            parts.append(records[i])
        count = struct.unpack_from("<I", parts[0][2], 4)[0]
        part, offset = 0, 8
        for _ in range(count):
            if offset + 3 > len(parts[part][2]):
                if offset != len(parts[part][2]):
                    problems.append("a string header is split")
                part, offset = part + 1, 0
            record_pos, _, data = parts[part]
            starts.append((record_pos + 4 + offset, record_pos))
            length, flags = struct.unpack_from("<HB", data, offset)
            size = 2 if flags & 1 else 1
            offset += 3
            left = length
            while True:
                take = min(left, (len(data) - offset) // size)
                offset += take * size
                left -= take
                if left == 0:
                    break
                part, offset = part + 1, 1  # a continued string repeats its flags
                record_pos, _, data = parts[part]
                size = 2 if data[0] & 1 else 1
        ext = next((d for _, r, d in records if r == 0x00FF), None)
        if ext is None:
            problems.append("no EXTSST")
        else:
            step = struct.unpack_from("<H", ext, 0)[0]
            for k in range((len(ext) - 2) // 8):
                ib, cb = struct.unpack_from("<IH", ext, 2 + 8 * k)
                want_pos, want_record = starts[k * step]
                if ib != want_pos or cb != want_pos - want_record:
                    problems.append("EXTSST bucket %d points at %d/%d, string at %d/%d"
                                    % (k, ib, cb, want_pos, want_pos - want_record))
    # Each worksheet: dimensions cover the cells, cells in row order.
    dims, last_row = None, -1
    for _, rid, data in records:
        if rid == 0x0809 and struct.unpack_from("<H", data, 2)[0] == 0x0010:
            dims, last_row = None, -1
        elif rid == 0x0200:
            dims = struct.unpack_from("<IIHH", data, 0)
        elif rid in (0x00FD, 0x0203, 0x027E, 0x0205):
            row, col = struct.unpack_from("<HH", data, 0)
            if dims is None or not (dims[0] <= row < dims[1] and dims[2] <= col < dims[3]):
                problems.append("cell %d,%d outside the dimensions %r" % (row, col, dims))
            if row < last_row:
                problems.append("cell %d,%d after row %d" % (row, col, last_row))
            last_row = row
    return problems


def main():
    path = sys.argv[1]
    if sys.argv[1] == "--biff-problems":
        json.dump({"problems": biff_problems(sys.argv[2])}, sys.stdout)
        return
    sheets = xls_cells(path) if path.lower().endswith(".xls") else xlsx_cells(path)
    json.dump({"sheets": sheets}, sys.stdout, ensure_ascii=True)


if __name__ == "__main__":
    main()
