"""Packs a folder into FOLDER.zip, the same files into the same bytes: steady_zip.py FOLDER"""
import os
import pathlib
import sys
import time
import zipfile

folder = pathlib.Path(sys.argv[1])
when = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
with zipfile.ZipFile(f"{folder}.zip", "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
    for file in sorted(path for path in folder.rglob("*") if path.is_file()):
        entry = zipfile.ZipInfo(file.as_posix(), when)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.external_attr = 0o644 << 16
        archive.writestr(entry, file.read_bytes())
