"""Pictures, screenshots and X input for the end-to-end run: a private Xvfb, xdotool, and
ImageMagick's import/convert, all read as raw 8-bit RGB."""

import os
import re
import subprocess
import time


class Image:
    """Packed 8-bit RGB rows."""

    def __init__(self, w, h, data):
        self.w, self.h, self.data = w, h, data

    def px(self, x, y):
        i = (y * self.w + x) * 3
        return self.data[i:i + 3]

    def crop(self, x, y, w, h):
        rows = []
        for r in range(y, y + h):
            i = (r * self.w + x) * 3
            rows.append(self.data[i:i + w * 3])
        return Image(w, h, b"".join(rows))

    def row(self, y, x=0, w=None):
        w = self.w - x if w is None else w
        i = (y * self.w + x) * 3
        return self.data[i:i + w * 3]


def parse_ppm(blob):
    # P6 header: magic, width, height, maxval, each separated by whitespace.
    fields, pos = [], 0
    while len(fields) < 4:
        while blob[pos:pos + 1].isspace():
            pos += 1
        start = pos
        while not blob[pos:pos + 1].isspace():
            pos += 1
        fields.append(blob[start:pos])
    if fields[0] != b"P6" or fields[3] != b"255":
        raise ValueError("not an 8-bit PPM")
    w, h = int(fields[1]), int(fields[2])
    data = blob[pos + 1:pos + 1 + w * h * 3]
    if len(data) != w * h * 3:
        raise ValueError("short PPM")
    return Image(w, h, data)


def load_picture(path):
    out = subprocess.run(["convert", path, "-depth", "8", "ppm:-"], check=True,
                         capture_output=True).stdout
    return parse_ppm(out)


class Sprite:
    """A masked picture: the figure is where the mask is black. A run of figure pixels is
    the key searched for in a screenshot; sampled figure pixels confirm a find."""

    def __init__(self, name, pic, mask, key_len=24, step=5):
        self.name, self.w, self.h = name, pic.w, pic.h
        self.figure = []
        runs = []  # (length, x, y) of each horizontal run of figure pixels
        for y in range(pic.h):
            run = 0
            for x in range(pic.w + 1):
                if x < pic.w and mask.px(x, y) == b"\0\0\0":
                    self.figure.append((x, y, pic.px(x, y)))
                    run += 1
                elif run:
                    runs.append((run, x - run, y))
                    run = 0
        best = (0, 0, 0)
        for run in sorted(runs, reverse=True):
            # A run of one colour would match at many places; take one with some detail.
            seg = pic.row(run[2], run[1], run[0])
            if len({seg[i:i + 3] for i in range(0, len(seg), 3)}) > 3:
                best = run
                break
        length = min(best[0], key_len)
        if length < 8:
            raise ValueError(f"{name}: no usable run of figure pixels")
        self.kx, self.ky = best[1] + (best[0] - length) // 2, best[2]
        self.key = pic.row(self.ky, self.kx, length)
        self.samples = self.figure[::step]

    def match(self, img, x0, y0):
        """Fraction of sampled figure pixels inside img that equal the screen, and their count."""
        inside = same = 0
        for x, y, rgb in self.samples:
            sx, sy = x0 + x, y0 + y
            if 0 <= sx < img.w and 0 <= sy < img.h:
                inside += 1
                same += img.px(sx, sy) == rgb
        return (same / inside if inside else 0.0), inside

    def find(self, img, threshold=0.9, min_inside=40):
        """Top-left corners where this sprite is drawn in img."""
        found, buf, stride = [], img.data, img.w
        i = buf.find(self.key)
        while i != -1:
            if i % 3 == 0:
                y, x = divmod(i // 3, stride)
                x0, y0 = x - self.kx, y - self.ky
                frac, inside = self.match(img, x0, y0)
                if frac >= threshold and inside >= min_inside and (x0, y0) not in found:
                    found.append((x0, y0))
            i = buf.find(self.key, i + 1)
        return found


class XServer:
    """A private Xvfb on a display number the server picks itself."""

    def __init__(self, width=1024, height=768):
        r, w = os.pipe()
        self.proc = subprocess.Popen(
            ["Xvfb", "-displayfd", str(w), "-noreset", "-nolisten", "tcp", "-screen", "0",
             f"{width}x{height}x24"], pass_fds=(w,), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(w)
        number = b""
        with os.fdopen(r, "rb") as pipe:
            while not number.endswith(b"\n"):
                chunk = pipe.read(1)
                if not chunk:
                    raise RuntimeError("Xvfb did not start")
                number += chunk
        self.display = ":" + number.decode().strip()
        self.env = dict(os.environ, DISPLAY=self.display)

    def stop(self):
        self.proc.terminate()
        try:
            self.proc.wait(5)
        except subprocess.TimeoutExpired:
            self.proc.kill()

    def run(self, *args, check=True):
        return subprocess.run(list(args), env=self.env, capture_output=True, text=True,
                              check=check).stdout

    def grab(self):
        out = subprocess.run(["import", "-window", "root", "-depth", "8", "ppm:-"],
                             env=self.env, capture_output=True, check=True).stdout
        return parse_ppm(out)

    def save_screenshot(self, path):
        subprocess.run(["import", "-window", "root", path], env=self.env, check=False)

    def windows(self, name):
        """Visible windows whose whole name is `name`."""
        out = self.run("xdotool", "search", "--onlyvisible", "--name", f"^{re.escape(name)}$",
                     check=False)
        return [int(w) for w in out.split()]

    def wait_window(self, name, timeout=10.0, gone=False):
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            ids = self.windows(name)
            if gone and not ids:
                return None
            if ids and not gone:
                return ids[0]
            time.sleep(0.05)
        raise AssertionError(f'window "{name}" {"still shown" if gone else "not shown"} '
                             f"after {timeout} s")

    def geometry(self, wid):
        """Absolute x, y, width, height of a window."""
        info = self.run("xwininfo", "-id", str(wid))
        values = {}
        for line in info.splitlines():
            key, _, value = line.strip().partition(":")
            values[key] = value.strip()
        return (int(values["Absolute upper-left X"]), int(values["Absolute upper-left Y"]),
                int(values["Width"]), int(values["Height"]))

    def focus(self, wid):
        # No window manager: give the keyboard focus by hand before typing.
        self.run("xdotool", "windowfocus", "--sync", str(wid), check=False)

    def keys(self, wid, *keys):
        self.focus(wid)
        for k in keys:
            self.run("xdotool", "key", "--delay", "30", k)
            time.sleep(0.08)

    def type(self, wid, text):
        self.focus(wid)
        self.run("xdotool", "type", "--delay", "25", text)

    def click(self, x, y, button=1):
        # No --sync: it waits for a motion that never comes when the pointer is already there.
        self.run("xdotool", "mousemove", str(x), str(y), "click", str(button))
