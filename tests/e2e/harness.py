"""The end-to-end toolkit: a private X server, screenshots as PPM, the game's pictures found on
screen, birds aimed at and hit, the game driven through the server with xdotool."""
import os, re, shutil, signal, subprocess, time

W, H, TITLE_AT, MAIN = 600, 400, (76, 13), "The Morvel Bird Game"
SHOTS = os.environ.get("E2E_SHOTS_DIR")


def check(ok, what):
    if not ok:
        raise AssertionError(what)
    print("  ok:", what, flush=True)


def poll(what, probe, timeout, interval=0.05):
    end = time.monotonic() + timeout
    while not (value := probe()):
        if time.monotonic() > end:
            raise AssertionError(f"timed out after {timeout} s: {what}")
        time.sleep(interval)
    print("  ok:", what, flush=True)
    return value


def sh(*args, env=None, data=None):
    return subprocess.run(args, env=env, input=data, capture_output=True, check=True).stdout


def launch(args, env, log=os.devnull, **more):  # in a session of its own
    more = {"stdout": open(log, "w"), "stderr": subprocess.STDOUT, **more}
    return subprocess.Popen(args, cwd="/", env=env, start_new_session=True, **more)


def stop(proc):  # a process started by launch, and all it started
    end = time.monotonic() + 3
    try:
        while True:
            os.killpg(proc.pid, signal.SIGTERM if time.monotonic() < end else signal.SIGKILL)
            proc.poll()
            time.sleep(0.05)
    except ProcessLookupError:
        proc.wait()


def copy_run(src, dst):  # the program and its assets, nothing a run left beside them
    return shutil.copytree(src, dst, ignore=lambda d, names: [
        n for n in names if d == src and n not in ("morvel-birds", "Graphics", "Sounds")])


class Image:
    def __init__(self, blob):  # binary PPM, 8 bits a channel
        m = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", blob)
        self.w, self.h = int(m[1]), int(m[2])
        self.data = blob[m.end():m.end() + self.w * self.h * 3]

    def row(self, y, x, n):
        return self.data[(y * self.w + x) * 3:(y * self.w + x + n) * 3]

    def px(self, x, y):
        return self.row(y, x, 1)

    def crop(self, x, y, x1, y1):  # the box from (x, y) to (x1, y1), clipped to the image
        x, y = min(self.w, max(0, x)), min(self.h, max(0, y))
        x1, y1 = max(x, min(self.w, x1)), max(y, min(self.h, y1))
        rows = b"".join(self.row(r, x, x1 - x) for r in range(y, y1))
        return Image(b"P6 %d %d 255\n" % (x1 - x, y1 - y) + rows)

    def save(self, path):
        sh("convert", "ppm:-", path, data=b"P6 %d %d 255\n" % (self.w, self.h) + self.data)

    def finds(self, key):  # pixel positions where key starts
        i = self.data.find(key)
        while i != -1:
            if i % 3 == 0:
                yield divmod(i // 3, self.w)[::-1]
            i = self.data.find(key, i + 1)


class Sprite:  # found by a run of its figure's pixels, confirmed by every step-th of the others
    def __init__(self, pic, mask, step=5, threshold=0.9, least=40):
        self.threshold, self.least = threshold, least
        self.samples = [(x, y, pic.px(x, y)) for y in range(pic.h) for x in range(pic.w)
                        if mask.px(x, y) == b"\0\0\0"][::step]
        n, x, self.ky = max((len(m[0]) // 3, m.start() // 3, y) for y in range(pic.h)
                            for m in re.finditer(rb"(?:\0\0\0)+", mask.row(y, 0, pic.w))
                            if len({pic.px(x, y) for x in range(m.start() // 3, m.end() // 3)}) > 3)
        self.kx = x + (n - min(n, 24)) // 2
        self.key = pic.row(self.ky, self.kx, min(n, 24))

    def match(self, img, x0, y0):  # the share of the samples that match; 0 if few are in img
        hits = [img.px(x0 + x, y0 + y) == c for x, y, c in self.samples
                if 0 <= x0 + x < img.w and 0 <= y0 + y < img.h]
        return sum(hits) / len(hits) if len(hits) >= self.least else 0.0

    def find(self, img):
        return sorted(p for p in {(x - self.kx, y - self.ky) for x, y in img.finds(self.key)}
                      if self.match(img, *p) >= self.threshold)


def found(sprites, img):
    return [p for s in sprites for p in s.find(img)]


class Game:
    """The game on a private X server of size (w, h), driven with xdotool. On a desktop (a
    compositor nested in the server, drawing k device pixels a field pixel) the pictures and the
    presses are still in the game's own pixels."""

    def __init__(self, run_dir, size=(1024, 768), k=1):
        self.xvfb = launch(["Xvfb", "-displayfd", "1", "-noreset", "-nolisten", "tcp", "-screen",
                            "0", "%dx%dx24" % size], None, stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL)
        self.env = dict(os.environ, DISPLAY=":" + self.xvfb.stdout.readline().decode().strip())
        self.dir, self.size, self.k, self.phase = run_dir, size, k, (0, 0)
        self.proc = self.desktop = None
        pic = lambda n: Image(sh("convert", f"{run_dir}/Graphics/{n}.bmp", "-depth", "8", "ppm:-"))
        sprite = lambda n, *a: Sprite(pic(n), pic(n + "mask"), *a)
        self.bg, self.title = pic("BackGround"), sprite("title", 1)
        self.birds = [sprite(f"Bird{d}{n}") for d in "LR" for n in range(1, 6)]
        self.booms = [sprite(f"explosion{n}", 5, 0.85, 20) for n in range(1, 6)]

    def close(self):
        for proc in filter(None, (self.proc, self.desktop, self.xvfb)):
            stop(proc)

    def x(self, *args):
        return subprocess.run(args, env=self.env, capture_output=True, text=True).stdout

    def grab(self, raw=False):  # raw: in the server's pixels, else in the game's
        shot = sh("import", "-window", "root", "-depth", "8", "ppm:-", env=self.env)
        if not raw and self.k > 1:  # a pixel of each k x k block
            k, (x, y) = self.k, self.phase
            w, h = (self.size[0] - x) // k, (self.size[1] - y) // k
            shot = sh("convert", "ppm:-", "-crop", f"{w * k}x{h * k}+{x}+{y}", "+repage", "-sample",
                      f"{w}x{h}!", "ppm:-", data=shot)
        return Image(shot)

    def box(self, wid):  # a window's corners
        v = dict(l.strip().partition(":")[::2] for l in self.x("xwininfo", "-id", wid).splitlines())
        x, y = int(v["Absolute upper-left X"]), int(v["Absolute upper-left Y"])
        return x, y, x + int(v["Width"]), y + int(v["Height"])

    def keys(self, *keys):
        if self.desktop:  # to the compositor's focus, the pointer parked out of every screenshot
            self.x("xdotool", "mousemove", str(self.size[0] - 2), str(self.size[1] - 2))
        else:  # no window manager: focused by hand
            self.x("xdotool", "windowfocus", "--sync", self.win)
        if keys:
            self.x("xdotool", "key", "--delay", "80", *keys)
            time.sleep(0.1)

    def click(self, x, y, button=1):  # no --sync: it hangs when the pointer is already there
        at = [str(p + self.k * v + self.k // 2) for p, v in zip(self.phase, (x, y))]
        self.x("xdotool", "mousemove", *at, "click", str(button))

    def shoot(self, x, y, button=1):
        self.click(self.fx + x, self.fy + y, button)

    def locate(self):  # the play field, and the bullets bar above its right end
        if not self.desktop:
            self.win = poll("the main window shown", lambda: self.x(
                "xdotool", "search", "--onlyvisible", "--name", f"^{MAIN}$").split(), 15)[0]
        x, y = poll("the background on screen", lambda: self.find_field(self.grab(raw=True)), 15,
                    0.1)
        self.phase, self.fx, self.fy = (x % self.k, y % self.k), x // self.k, y // self.k
        rows = poll("the bullets bar filled", lambda: next(
            [y for y in range(self.fy - 40, self.fy) if filled(s.px(self.fx + 468, y))]
            for s in [self.grab()]), 3)
        self.bar_y = (rows[0] + rows[-1]) // 2

    def find_field(self, shot):  # where the background lies, drawn k device pixels a pixel
        k, bg = self.k, self.bg
        for kx, ky in ((x, y) for y in range(395, 0, -15) for x in (30, 280, 530)):
            if len({bg.px(x, ky) for x in range(kx, kx + 32)}) < 12:  # too plain to tell
                continue
            for x, y in shot.finds(b"".join(bg.px(x, ky) * k for x in range(kx, kx + 32))):
                fx, fy = x - k * kx, y - k * ky
                if 0 <= fx <= shot.w - k * W and 0 <= fy <= shot.h - k * H and sum(
                        shot.px(fx + k * i, fy + k * j) == bg.px(i, j)
                        for i in range(0, W, 7) for j in range(0, H, 7)) > 0.8 * 86 * 58:
                    return fx, fy

    def bullets(self, shot=None):  # how full the bullets bar is
        row = (shot or self.grab()).row(self.bar_y, self.fx + 459, 142)
        return sum(filled(row[i:i + 3]) for i in range(0, len(row), 3)) / 142

    def field(self, shot=None):
        return (shot or self.grab()).crop(self.fx, self.fy, self.fx + W, self.fy + H)

    def go(self):
        self.keys("alt+g", "g")
        poll("Go: the banner gone", lambda: self.title.match(self.field(), *TITLE_AT) < 0.5, 3)


def filled(rgb):  # the bars' blue
    return rgb[2] > 120 and rgb[2] > rgb[0] + 50


def aim_and_hit(g, timeout, button=1):  # returns (screenshot with its explosion, birds) or None
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        t1, s1 = time.monotonic(), g.grab()
        b1 = [b for b in found(g.birds, g.field(s1)) if 10 <= b[0] <= 440 and -40 <= b[1] <= 240]
        if not b1 or g.bullets(s1) <= 0.98:  # a full gun, so a hit shows as no bullet lost
            time.sleep(0.1)
            continue
        t2, b2 = time.monotonic(), found(g.birds, g.field())
        near = [b for b in b2 if abs(b[0] - b1[0][0]) < 40 and abs(b[1] - b1[0][1]) < 20]
        if not near:
            continue
        (x1, y1), (x2, y2), lead = b1[0], near[0], (time.monotonic() - t2 + 0.06) / (t2 - t1)
        bx, by = round(x2 + (x2 - x1) * lead), round(y2 + (y2 - y1) * lead)
        if not (0 <= bx + 71 < W and 0 <= by + 75 < H):
            continue
        g.shoot(bx + 71, by + 75, button)
        stop = time.monotonic() + 0.8
        while time.monotonic() < stop:  # drawn where the bird was, then falling a little
            shot = g.grab()
            if [e for e in found(g.booms, g.field(shot))
                    if abs(e[0] - bx) <= 60 and -20 <= e[1] - by <= 80]:
                return shot, found(g.birds, g.field(shot))
    return None
