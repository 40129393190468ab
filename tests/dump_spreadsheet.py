#!/usr/bin/env python3
"""Prints the cells of an xls or xlsx workbook as JSON, read by an independent reader
(xlrd for xls, openpyxl for xlsx), for the table writers' tests.

Output: {"sheets": [{"name": ..., "rows": [[cell, ...], ...]}]} where a cell is null
(empty), ["s", text], ["n", number], ["b", true|false] or ["d", "YYYY-MM-DDTHH:MM:SS"];
["n", ...] also stands for a date xlrd refuses to convert (before 1900-03-01).
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


def main():
    path = sys.argv[1]
    sheets = xls_cells(path) if path.lower().endswith(".xls") else xlsx_cells(path)
    json.dump({"sheets": sheets}, sys.stdout, ensure_ascii=True)


if __name__ == "__main__":
    main()
