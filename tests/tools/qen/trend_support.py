"""Independent models of trend files, their documents, and of how trends are thinned."""

import bisect
import gzip
import struct
import uuid
import zlib

from support import NAMESPACE, time_text, xor16

HEADER = struct.Struct("<HHi16s16sqq16sdIIIHH")
ENTRY = struct.Struct("<qdffBB2sf")
assert HEADER.size == 96 and ENTRY.size == 32
FIELDS = ("version", "size", "compression", "config", "trend", "first", "last", "unit", "limit", "count", "byte_count", "reserved",
          "data_checksum", "header_checksum")
METHODS = {"none": 1, "zlib": 2, "gzip": 4}
PACK = {1: bytes, 2: zlib.compress, 4: lambda data: gzip.compress(data, mtime=0)}
UNPACK = {1: bytes, 2: zlib.decompress, 4: gzip.decompress}

CONFIG = uuid.UUID("c0000000-0000-4000-8000-000000000011")
TREND = uuid.UUID("e0000000-0000-4000-8000-000000000012")
UNIT = uuid.UUID("d0000000-0000-4000-8000-000000000013")

SECOND = 10**6
MINUTE = 60 * SECOND
HOUR = 60 * MINUTE
DAY = 24 * HOUR
START = 1795132800 * SECOND  # 2026-11-20T00:00:00Z


def entry(time, value=0.0, status=0, aux1=0.0, aux2=0.0, byte=0, aux3=0.0, padding=b"\0\0"):
    """The 32 bytes of an entry."""
    return ENTRY.pack(time, value, aux1, aux2, byte, status, padding, aux3)


def time_of(one):
    return struct.unpack("<q", one[:8])[0]


def status_of(one):
    return one[25]


def trend_file(entries, compression="none", limit=0.0, config=CONFIG, trend=TREND, unit=UNIT, stored=None, **header):
    """The bytes of a trend file. `header` overrides single fields before the checksums are taken."""
    method = METHODS.get(compression, compression)
    stored = PACK[method](b"".join(entries)) if stored is None else stored
    fields = dict(version=2, size=96, compression=method, config=config.bytes, trend=trend.bytes,
                  first=time_of(entries[0]) if entries else 0, last=time_of(entries[-1]) if entries else 0, unit=unit.bytes,
                  limit=limit, count=len(entries), byte_count=len(stored), reserved=0, data_checksum=xor16(stored), header_checksum=0)
    fields.update(header)
    data = HEADER.pack(*(fields[name] for name in FIELDS))
    return data[:94] + struct.pack("<H", xor16(data[:94])) + stored


def parse_trend(data):
    """Header fields by name and the entries as a list of 32 bytes each; checks what every file must have."""
    header = dict(zip(FIELDS, HEADER.unpack(data[:96])))
    stored = data[96:]
    assert (header["version"], header["size"], header["reserved"]) == (2, 96, 0)
    assert header["byte_count"] == len(stored)
    assert header["data_checksum"] == xor16(stored)
    assert header["header_checksum"] == xor16(data[:94])
    decoded = UNPACK[header["compression"]](stored)
    header["entries"] = [decoded[i:i + 32] for i in range(0, len(decoded), 32)]
    assert len(header["entries"]) == header["count"] and len(decoded) % 32 == 0
    times = [time_of(e) for e in header["entries"]] or [0]
    assert (header["first"], header["last"]) == (times[0], times[-1])
    for name in ("config", "trend", "unit"):
        header[name] = uuid.UUID(bytes=header[name])
    return header


def trend_document(data, unit=""):
    """The details document of a trend file, line by line."""
    header = dict(zip(FIELDS, HEADER.unpack(data[:96])))
    rows = [(3, "FileVersionXml", "1.0.0.0"), (3, "Signal", None), (6, "HeaderInfo", None),
            (9, "BinaryHeaderVersion", header["version"]), (9, "HeaderSize", header["size"]),
            (9, "CharacteristicValueConfigUuid", uuid.UUID(bytes=header["config"])), (9, "TrendUuid", uuid.UUID(bytes=header["trend"])),
            (9, "UnitUuid", uuid.UUID(bytes=header["unit"])), (9, "UnitString", unit), (9, "SampleCount", header["count"]),
            (9, "DataArrayByteCount", header["byte_count"]),
            (9, "Compression", {1: "no_compression", 2: "zlib", 4: "gzip"}[header["compression"]]), (6, "/HeaderInfo", None),
            (6, "LowerPreAlarmLevel", "%g" % header["limit"]), (6, "FirstTimeStamp", time_text(header["first"]) if header["first"] else ""),
            (6, "LastTimeStamp", time_text(header["last"]) if header["last"] else ""), (6, "BinaryFileName", ""), (6, "BinaryFileHash", ""),
            (3, "/Signal", None)]
    lines = ['<?xml version="1.0" encoding="UTF-8"?>', '<vel:TrendDataDetails xmlns:vel="%s">' % NAMESPACE]
    for indent, name, value in rows:
        tag = "</vel:%s>" % name[1:] if name.startswith("/") else "<vel:%s>" % name
        lines.append(" " * indent + (tag if value is None else "%s%s</vel:%s>" % (tag, value, name)))
    return "\n".join(lines + ["</vel:TrendDataDetails>"]).encode()


class Pins:
    """Times of stored characteristic values, read once from the first to the last."""

    def __init__(self, times):
        self.times, self.position = sorted(times), 0

    def left(self):
        return self.position < len(self.times)

    def now(self):
        return self.times[self.position]

    def skip_while(self, condition):
        while self.left() and condition(self.now()):
            self.position += 1


def thin_slot(entries, centre, slot_end, period_end, pins):
    """The entries of one slot that remain; `entries` are all that are left of the period."""
    buckets = {status: [] for status in (0, 1, 2, 3)}

    def bucket(one):
        return buckets[status_of(one) if status_of(one) in (1, 2, 3) else 0]

    inside = [e for e in entries if time_of(e) < slot_end]
    if entries and pins.left() and pins.now() < period_end:
        pins.skip_while(lambda time: time < time_of(entries[0]))
        for one in inside:
            if not pins.left() or pins.now() >= slot_end:
                break
            if time_of(one) == pins.now():
                bucket(one).append(one)
            pins.skip_while(lambda time: time <= time_of(one))
    for status, kept in buckets.items():
        mine = [e for e in inside if bucket(e) is kept]
        if mine and not kept:
            # Of several with one time the last before the centre and the first from it on; the earlier of equally near ones.
            before = [e for e in mine if time_of(e) < centre][-1:]
            behind = [e for e in mine if time_of(e) >= centre][:1]
            kept += min(before + behind, key=lambda e: (abs(time_of(e) - centre), time_of(e))),
    return sorted(buckets[0] + buckets[1] + buckets[2] + buckets[3], key=time_of)


def thin_group(entries, counts, now, pins):
    """Thins the entries of trends with one limit; counts are per hour, then per day for a day, a week and four weeks."""
    kept = []
    times = [time_of(e) for e in entries]
    start, position = times[0], 0
    classes = ((28 * DAY, DAY, counts[3]), (7 * DAY, DAY, counts[2]), (DAY, DAY, counts[1]), (HOUR, HOUR, counts[0]))
    while position < len(entries):
        match = [(length, count) for age, length, count in classes if start + length - 1 < now - (age - 1)]
        if not match:
            return kept + entries[position:]
        length, count = match[0]
        end = bisect.bisect_left(times, start + length)
        period, position = entries[position:end], end
        if count == 0:
            kept += period
        slot = length // count if count else 0
        for i in range(count):
            slot_end = start + (i + 1) * slot
            kept += thin_slot(period, start + i * slot + slot // 2, slot_end, start + length, pins)
            period = [e for e in period if time_of(e) >= slot_end]
        start += length
    return kept


def thin(trends, counts, now, pins=()):
    """What thinning leaves of trends, oldest first, each a (limit, entries): a list of (limit, entries)."""
    pins = Pins(pins)
    groups = []
    for limit, entries in trends:
        if groups and groups[-1][0] == limit:
            groups[-1][1].extend(entries)
        else:
            groups.append((limit, list(entries)))
    return [(limit, thin_group(sorted(entries, key=time_of), counts, now, pins)) for limit, entries in groups]
