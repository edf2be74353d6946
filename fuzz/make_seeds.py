#!/usr/bin/env python3
"""Writes the small valid seed files of each fuzz target into fuzz/<target>/corpus/.
Deterministic; run again after changing it. Found crashes are kept there beside them."""

import math
import os
import shutil
import struct
import subprocess
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def put(target, name, data):
    d = os.path.join(HERE, target, "corpus")
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def scores():
    def record(name, points):
        return struct.pack("<H", len(name)) + name + struct.pack("<i", points)

    def table(entries, spare=(b"", 0), tail=b""):
        body = b"".join(record(n, p) for n, p in entries) + record(*spare)
        check = sum(sum(n) + p for n, p in entries) & 0xFFFFFFFF
        return body + struct.pack("<I", check) + tail

    fresh = [(b"No One", 0)] * 10
    put("scores", "fresh.dat", table(fresh))
    played = [(b"Ada Lovebird", 1290), (b"Anonymous", 640), (b"Jos\xe9", 50)] + [(b"No One", 0)] * 7
    put("scores", "played.dat", table(played))
    put("scores", "tail.dat", table(fresh, tail=b"\x07\x00Old tail"))
    put("scores", "spare.dat", table(fresh, spare=(b"spare", 99)))
    bad = bytearray(table(played))
    bad[3] ^= 1
    put("scores", "damaged.dat", bytes(bad))
    put("scores", "short.dat", table(fresh)[:57])
    put("scores", "empty.dat", b"")


def bmp(w, h, bits, pixels_rows, palette=b"", compression=0, top_down=False, masks=b""):
    """A Windows bitmap with an info header; rows are given top row first, already padded."""
    rows = pixels_rows if top_down else list(reversed(pixels_rows))
    data = b"".join(rows)
    header_size = 40 + len(masks)
    offset = 14 + header_size + len(palette)
    info = struct.pack("<IiiHHIIiiII", header_size, w, -h if top_down else h, 1, bits, compression,
                       len(data), 2835, 2835, len(palette) // 4, 0)
    return b"BM" + struct.pack("<IHHI", offset + len(data), 0, 0, offset) + info + masks \
        + palette + data


def pad(row):
    return row + b"\0" * (-len(row) % 4)


def bitmaps():
    w, h = 5, 3
    colours = [(255, 255, 255), (0, 0, 0), (200, 30, 40), (20, 160, 60)]
    rgb = lambda x, y: colours[(x + y) % 4]  # noqa: E731
    put("bitmap", "24bit.bmp", bmp(w, h, 24, [pad(b"".join(bytes(rgb(x, y)[::-1]) for x in range(w)))
                                              for y in range(h)]))
    put("bitmap", "32bit.bmp", bmp(w, h, 32, [b"".join(bytes(rgb(x, y)[::-1]) + b"\0"
                                                       for x in range(w)) for y in range(h)]))
    pal = b"".join(bytes(c[::-1]) + b"\0" for c in colours)
    put("bitmap", "8bit.bmp", bmp(w, h, 8, [pad(bytes((x + y) % 4 for x in range(w)))
                                            for y in range(h)], pal))
    nib = lambda y: bytes(((x + y) % 4) << 4 | ((x + 1 + y) % 4) for x in range(0, w, 2))  # noqa
    put("bitmap", "4bit.bmp", bmp(w, h, 4, [pad(nib(y)) for y in range(h)], pal))
    put("bitmap", "1bit.bmp", bmp(w, h, 1, [pad(bytes([0b10101000 >> (y % 2)])) for y in range(h)],
                                  pal[:8]))
    put("bitmap", "topdown.bmp", bmp(w, h, 24, [pad(b"".join(bytes(rgb(x, y)[::-1])
                                                             for x in range(w))) for y in range(h)],
                                     top_down=True))
    px565 = lambda c: (c[0] >> 3) << 11 | (c[1] >> 2) << 5 | c[2] >> 3  # noqa: E731
    put("bitmap", "16bit565.bmp",
        bmp(w, h, 16, [pad(b"".join(struct.pack("<H", px565(rgb(x, y))) for x in range(w)))
                       for y in range(h)], compression=3,
            masks=struct.pack("<III", 0xF800, 0x07E0, 0x001F)))
    px555 = lambda c: (c[0] >> 3) << 10 | (c[1] >> 3) << 5 | c[2] >> 3  # noqa: E731
    put("bitmap", "16bit555.bmp", bmp(w, h, 16, [pad(b"".join(struct.pack("<H", px555(rgb(x, y)))
                                                              for x in range(w)))
                                                 for y in range(h)]))
    # RLE8: per row a run of 3, an absolute run of 2 (padded to a word), end of line; end of file.
    rle = b"".join(bytes([3, y % 4, 0, 2, 1, 2, 0, 0]) for y in range(h)) + b"\0\1"
    put("bitmap", "rle8.bmp", bmp(w, h, 8, [rle], pal, compression=1))
    rle4 = b"".join(bytes([5, 0x12 + y, 0, 0]) for y in range(h)) + b"\0\1"
    put("bitmap", "rle4.bmp", bmp(w, h, 4, [rle4], pal, compression=2))


def wav(fmt_tag, channels, rate, bits, frames_bytes, extra=b"", fact=None):
    block = channels * bits // 8 if bits else 1
    fmt = struct.pack("<HHIIHH", fmt_tag, channels, rate, rate * block, block, bits) + extra
    chunks = b"fmt " + struct.pack("<I", len(fmt)) + fmt
    if fact is not None:
        chunks += b"fact" + struct.pack("<II", 4, fact)
    chunks += b"data" + struct.pack("<I", len(frames_bytes)) + frames_bytes
    return b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks


def waves():
    n = 24
    tone = [math.sin(2 * math.pi * i / 8) * 0.5 for i in range(n)]
    put("wave", "pcm16_mono.wav", wav(1, 1, 22050, 16, b"".join(struct.pack("<h", int(v * 32767))
                                                                for v in tone)))
    put("wave", "pcm8_stereo.wav", wav(1, 2, 11025, 8, b"".join(bytes([int(v * 127 + 128)] * 2)
                                                                for v in tone)))
    put("wave", "float_mono.wav", wav(3, 1, 44100, 32, b"".join(struct.pack("<f", v) for v in tone),
                                      fact=n))
    put("wave", "pcm24_mono.wav", wav(1, 1, 8000, 24, b"".join(struct.pack("<i", int(v * 8e6))[:3]
                                                              for v in tone)))
    put("wave", "ulaw_mono.wav", wav(7, 1, 8000, 8, bytes(range(0x70, 0x70 + n)), extra=b"\0\0",
                                     fact=n))
    # The compressed encodings are easier to have sox write.
    if shutil.which("sox"):
        for enc in ("ms-adpcm", "ima-adpcm", "gsm-full-rate"):
            out = os.path.join(HERE, "wave", "corpus", enc + ".wav")
            subprocess.run(["sox", "-n", "-r", "8000", "-c", "1", "-e", enc, out, "synth", "0.04",
                            "sine", "440"], check=True)


def icons():
    def ico(entries):
        """entries: (w, h, image bytes); directory then images."""
        head = struct.pack("<HHH", 0, 1, len(entries))
        offset = 6 + 16 * len(entries)
        dirs, images = b"", b""
        for w, h, img in entries:
            dirs += struct.pack("<BBBBHHII", w % 256, h % 256, 0, 0, 1, 32, len(img),
                                offset + len(images))
            images += img
        return head + dirs + images

    def dib32(w, h):
        info = struct.pack("<IiiHHIIiiII", 40, w, 2 * h, 1, 32, 0, 0, 0, 0, 0, 0)
        xor = b"".join(bytes([x * 40 % 256, y * 40 % 256, 128, 255 if (x + y) % 3 else 0])
                       for y in range(h) for x in range(w))
        and_mask = pad(b"\0" * ((w + 7) // 8)) * h
        return info + xor + and_mask

    def dib1(w, h):
        info = struct.pack("<IiiHHIIiiII", 40, w, 2 * h, 1, 1, 0, 0, 0, 0, 2, 0)
        pal = b"\0\0\0\0\xff\xff\xff\0"
        xor = b"".join(pad(bytes([0x3C if 2 < y < 6 else 0x18])) for y in range(h))
        and_mask = b"".join(pad(bytes([0xC3 if 2 < y < 6 else 0xE7])) for y in range(h))
        return info + pal + xor + and_mask

    def png(w, h):
        raw = b"".join(b"\0" + bytes([200, 40, 40, 255] * w) for _ in range(h))
        chunk = lambda t, d: struct.pack(">I", len(d)) + t + d + struct.pack(  # noqa: E731
            ">I", zlib.crc32(t + d))
        return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 6, 0, 0, 0)) \
            + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b"")

    put("icon", "rgba8.ico", ico([(8, 8, dib32(8, 8))]))
    put("icon", "mono8.ico", ico([(8, 8, dib1(8, 8))]))
    put("icon", "two_sizes.ico", ico([(4, 4, dib32(4, 4)), (8, 8, dib1(8, 8))]))
    put("icon", "png6.ico", ico([(6, 6, png(6, 6))]))


if __name__ == "__main__":
    scores()
    bitmaps()
    waves()
    icons()
