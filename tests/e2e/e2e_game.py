#!/usr/bin/env python3
"""usage: e2e_game.py RUN_DIR. Plays the game under a private Xvfb with xdotool, checking screen,
windows, sound and scores.dat, then briefly again at QT_SCALE_FACTOR 1.25; E2E_SHOTS_DIR=DIR
also saves screenshot-title/explosion.png."""
import os, re, shutil, struct, subprocess, sys, tempfile, time

W, H, TITLE_AT, MAIN, NAME = 600, 400, (76, 13), "The Morvel Bird Game", "Ada Lovebird"
rec = lambda name, points: struct.pack("<H", len(name)) + name + struct.pack("<i", points)
table = lambda first, total: b"".join(  # ten ranked entries, a spare one and the checksum
    rec(*e) for e in [first] + [(b"No One", 0)] * 9 + [(b"", 0)]) + struct.pack("<i", total)
FRESH = table((b"No One", 0), 5110)
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


class Image:
    def __init__(self, blob):  # binary PPM, 8 bits a channel
        m = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", blob)
        self.w, self.h = int(m[1]), int(m[2])
        self.data = blob[m.end():m.end() + self.w * self.h * 3]

    def row(self, y, x, n):
        i = (y * self.w + x) * 3
        return self.data[i:i + n * 3]

    def px(self, x, y):
        return self.row(y, x, 1)

    def crop(self, x, y, w, h):
        rows = b"".join(self.row(r, x, w) for r in range(y, y + h))
        return Image(b"P6 %d %d 255\n" % (w, h) + rows)

    def save(self, path):
        sh("convert", "ppm:-", path, data=b"P6 %d %d 255\n" % (self.w, self.h) + self.data)

    def finds(self, key):  # pixel positions where key starts
        i = self.data.find(key)
        while i != -1:
            if i % 3 == 0:
                yield divmod(i // 3, self.w)[::-1]
            i = self.data.find(key, i + 1)


def filled(rgb):  # the bars' blue
    return rgb[2] > 120 and rgb[2] > rgb[0] + 50


def colours(seg):
    return len({seg[i:i + 3] for i in range(0, len(seg), 3)})


class Sprite:  # found by a detailed run of figure pixels, confirmed by sampled ones

    def __init__(self, pic, mask, step=5):
        self.w, self.h = pic.w, pic.h
        fig = [(x, y, pic.px(x, y)) for y in range(pic.h) for x in range(pic.w)
               if mask.px(x, y) == b"\0\0\0"]
        self.samples = fig[::step]
        runs = sorted(((m.end() - m.start()) // 3, m.start() // 3, y) for y in range(pic.h)
                      for m in re.finditer(rb"(?:\0\0\0)+", mask.row(y, 0, pic.w))
                      if m.start() % 3 == 0)
        n, x, self.ky = next(r for r in reversed(runs) if colours(pic.row(r[2], r[1], r[0])) > 3)
        self.kx, n = x + (n - min(n, 24)) // 2, min(n, 24)
        self.key = pic.row(self.ky, self.kx, n)

    def match(self, img, x0, y0):
        hits = [img.px(x0 + x, y0 + y) == c for x, y, c in self.samples
                if 0 <= x0 + x < img.w and 0 <= y0 + y < img.h]
        return (sum(hits) / len(hits) if hits else 0.0), len(hits)

    def find(self, img, threshold=0.9, min_inside=40):
        at = {(x - self.kx, y - self.ky) for x, y in img.finds(self.key)}
        return sorted(p for p in at if (m := self.match(img, *p))[0] >= threshold
                      and m[1] >= min_inside)


def xvfb(size):  # a private X server and its display
    r, w = os.pipe()
    proc = subprocess.Popen(["Xvfb", "-displayfd", str(w), "-noreset", "-nolisten", "tcp",
                             "-screen", "0", f"{size}x24"], pass_fds=(w,),
                            stderr=subprocess.DEVNULL)
    os.close(w)
    with os.fdopen(r) as pipe:
        return proc, ":" + pipe.readline().strip()


def copy_run(src, dst):  # the program and its assets, nothing a run left beside them
    keep = {"morvel-birds", "Graphics", "Sounds"}
    shutil.copytree(src, dst, ignore=lambda d, names: set(names) - keep if d == src else [])


class Game:
    def __init__(self, run_dir, **program_env):
        self.xvfb, display = xvfb("1024x768")
        self.env = dict(os.environ, DISPLAY=display)
        self.load(run_dir)
        self.wav, conf = f"{run_dir}/sound.wav", f"{run_dir}/alsoft.conf"
        open(conf, "w").write(f"[general]\ndrivers=wave\n[wave]\nfile={self.wav}\n")
        os.mkdir(f"{run_dir}/xdg", 0o700)
        env = dict(self.env, ALSOFT_CONF=conf, XDG_RUNTIME_DIR=f"{run_dir}/xdg", **program_env)
        env.pop("ALSOFT_DRIVERS", None)
        self.proc = subprocess.Popen([f"{run_dir}/morvel-birds"], cwd="/", env=env,
                                     stdout=open(f"{run_dir}/program.log", "w"),
                                     stderr=subprocess.STDOUT)

    def load(self, run_dir):  # the pictures it looks for on screen
        pic = lambda n: Image(sh("convert", f"{run_dir}/Graphics/{n}.bmp", "-depth", "8", "ppm:-"))
        sprite = lambda n, **k: Sprite(pic(n), pic(n + "mask"), **k)
        self.dir, self.bg, self.title = run_dir, pic("BackGround"), sprite("title", step=1)
        self.birds = [sprite(f"Bird{d}{n}") for d in "LR" for n in range(1, 6)]
        self.booms = [sprite(f"explosion{n}") for n in range(1, 6)]

    # X input and output
    def x(self, *args):
        return subprocess.run(args, env=self.env, capture_output=True, text=True).stdout

    def grab(self):
        return Image(sh("import", "-window", "root", "-depth", "8", "ppm:-", env=self.env))

    def window(self, name, timeout=5, gone=False):
        def probe():
            ids = self.x("xdotool", "search", "--onlyvisible", "--name", f"^{re.escape(name)}$")
            ids = ids.split()
            return [None] if gone and not ids else not gone and ids
        return poll(f'"{name}" {"closed" if gone else "shown"}', probe, timeout)[0]

    def geometry(self, wid):
        v = dict(l.strip().partition(":")[::2] for l in self.x("xwininfo", "-id", wid).splitlines())
        return [int(v[k]) for k in ("Absolute upper-left X", "Absolute upper-left Y", "Width",
                                    "Height")]

    def keys(self, *keys, wid=None):  # no window manager: focus by hand before typing
        self.x("xdotool", "windowfocus", "--sync", str(wid or self.win))
        self.x("xdotool", "key", "--delay", "80", *keys)
        time.sleep(0.1)

    def click(self, x, y, button=1):  # no --sync: it hangs when the pointer is already there
        self.x("xdotool", "mousemove", str(x), str(y), "click", str(button))

    def press(self, wid, left, top, width, height):  # a dialog button by its layout in twips
        x, y, _, _ = self.geometry(wid)
        self.click(x + (left + width // 2) // 12, y + (top + height // 2) // 12)

    def snapshot(self, name, shot):
        if SHOTS:
            shot.crop(*self.geometry(self.win)).save(os.path.join(SHOTS, f"screenshot-{name}.png"))

    # The play field and the bars above it
    def locate(self):
        self.win = self.window(MAIN, 15)
        keys = [(kx, ky, self.bg.row(ky, kx, 32)) for ky in range(395, 0, -15)
                for kx in (30, 280, 530) if colours(self.bg.row(ky, kx, 32)) >= 12]

        def attempt():
            shot = self.grab()
            for kx, ky, key in keys:
                for x, y in shot.finds(key):
                    fx, fy = x - kx, y - ky
                    if 0 <= fx <= shot.w - W and 0 <= fy <= shot.h - H and sum(
                            shot.px(fx + i, fy + j) == self.bg.px(i, j)
                            for i in range(0, W, 7) for j in range(0, H, 7)) > 0.8 * 86 * 58:
                        return fx, fy
        self.fx, self.fy = poll("the background on screen", attempt, 10, 0.1)
        left = self.fx - 2
        rows = poll("the bullets bar filled", lambda: next([y for y in range(self.fy - 40, self.fy)
                                                            if filled(s.px(left + 470, y))]
                                                           for s in [self.grab()]), 3)
        self.bar_y = (rows[0] + rows[-1]) // 2
        self.bars = {"speed": (left + 50, left + 171), "birds": (left + 220, left + 401),
                     "bullets": (left + 460, min(left + 606, self.fx + W + 2))}


    def bar(self, name, shot=None):
        a, b = self.bars[name]
        row = (shot or self.grab()).row(self.bar_y, a + 1, b - a - 2)
        return sum(filled(row[i:i + 3]) for i in range(0, len(row), 3)) / (b - a - 2)

    def wait_bar(self, name, lo, hi, timeout=3):
        poll(f"{name} bar in [{lo}, {hi}]", lambda: lo <= self.bar(name) <= hi, timeout, 0.1)

    def field(self, shot=None):
        return (shot or self.grab()).crop(self.fx, self.fy, W, H)

    def find(self, sprites, field, **k):
        return [p for s in sprites for p in s.find(field, **k)]

    def strays(self, field, boxes):  # pixels unlike the background outside (x0, y0, x1, y1)
        n = 0
        for y in range(H):
            a, b = field.row(y, 0, W), self.bg.row(y, 0, W)
            if a != b:
                n += sum(a[3 * x:3 * x + 3] != b[3 * x:3 * x + 3] and not any(
                    x0 <= x < x1 and y0 <= y < y1 for x0, y0, x1, y1 in boxes) for x in range(W))
        return n

    def shoot(self, x, y, button=1):
        self.click(self.fx + x, self.fy + y, button)

    def empty_spot(self):
        birds = self.find(self.birds, self.field())
        return next(((x, y) for x, y in ((20, 380), (580, 380), (20, 20), (580, 20), (300, 390))
                     if not any(bx - 10 <= x <= bx + 150 and by - 10 <= y <= by + 158
                                for bx, by in birds)), None)

    def loudest(self, start):  # peak of the float samples written since file position start
        with open(self.wav, "rb") as f:
            first = f.read(4096).find(b"data") + 8
            f.seek(first + max(0, start - first) // 4 * 4)
            raw = f.read()
        return max(map(abs, struct.unpack(f"<{len(raw) // 4}f", raw[:len(raw) // 4 * 4])),
                   default=0.0)


def aim_and_hit(g, timeout, button=1):  # returns (screenshot with its explosion, birds) or None
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        t1, s1 = time.monotonic(), g.grab()
        b1 = [b for b in g.find(g.birds, g.field(s1)) if 10 <= b[0] <= 440 and -40 <= b[1] <= 240]
        if not b1 or g.bar("bullets", s1) < 0.99:  # a full gun, so a hit shows as no bullet lost
            time.sleep(0.1)
            continue
        t2, b2 = time.monotonic(), g.find(g.birds, g.field())
        (x1, y1) = b1[0]
        near = [b for b in b2 if abs(b[0] - x1) < 40 and abs(b[1] - y1) < 20]
        if not near:
            continue
        (x2, y2), lead = near[0], (time.monotonic() - t2 + 0.06) / (t2 - t1)
        bx, by = round(x2 + (x2 - x1) * lead), round(y2 + (y2 - y1) * lead)
        if not (0 <= bx + 71 < W and 0 <= by + 75 < H):
            continue
        g.shoot(bx + 71, by + 75, button)
        stop = time.monotonic() + 0.8
        while time.monotonic() < stop:  # drawn where the bird was, then falling a little
            shot = g.grab()
            if [e for e in g.find(g.booms, g.field(shot), threshold=0.85, min_inside=20)
                    if abs(e[0] - bx) <= 60 and -20 <= e[1] - by <= 80]:
                return shot, g.find(g.birds, g.field(shot))
    return None


def clear_at(g, x, y):  # nothing but background near a field pixel
    # The sprites are found by exact pixels, which a compositor that rescales the window blurs;
    # red where the background has none shows a bird or its explosion at any scale.
    f = g.field()
    red = lambda p: p[0] > p[1] + 60 and p[0] > p[2] + 40
    near = [(i, j) for i in range(max(0, x - 48), min(W, x + 49), 4)
            for j in range(max(0, y - 48), min(H, y + 49), 4)]
    return sum(red(f.px(i, j)) and not red(g.bg.px(i, j)) for i, j in near) < 4


def edges(g, what, margin=0):  # a press on the field's border is no shot, one on its edge is
    # margin: pixels kept from the edge where the compositor may move a press by a fraction of
    # one (it snaps the pointer to its own, rescaled pixels).
    g.wait_bar("bullets", 0.97, 1, 6)
    m = margin
    for x, y, shot in ((-1 - m, 399 - m, False), (m, 400 + m, False), (m, 399 - m, True),
                       (599 - m, m, True), (600 + m, m, False)):
        # A bird that flies in and is hit gives its bullet back, so a shot that seems lost is
        # tried again; a press that never reaches the field never gets through.
        for _ in range(3 if shot else 1):
            poll(f"no bird over ({x}, {y})", lambda: clear_at(g, min(x, W - 1), min(y, H - 1)), 10)
            before = g.bar("bullets")
            for _ in range(2 if shot else 1):  # two: a reload meanwhile gives back only one
                g.shoot(x, y)
            time.sleep(0.5)
            after = g.bar("bullets")
            if after < before - 0.05:
                break
        check((after < before - 0.05) == shot, f"{what}: a press at field pixel ({x}, {y}) "
              f"{'shoots' if shot else 'is on the border'} (bullets {before:.2f} -> {after:.2f})")


def at_scale_1_25(g):  # the nearest whole scale is 1: the window as at 1, device pixels alike
    g.locate()
    x, y, w, h = g.geometry(g.win)
    check(w in (604, 605) and g.fx - x in (2, 3) and 20 <= y + h - g.fy - 402 <= 40,
          f"scale 1.25: the window fitted around the field and the status bar ({w} x {h})")
    check(g.bar("bullets") >= 0.97, "scale 1.25: the bullets bar full length, over the field")
    g.keys("alt+g", "g")
    edges(g, "scale 1.25")


def title_and_speed(g):
    scores = f"{g.dir}/scores.dat"
    poll("a fresh scores.dat: ten No One at 0, checksum 5110",
         lambda: os.path.exists(scores) and open(scores, "rb").read() == FRESH, 10)
    g.locate()
    poll("the title banner drawn exactly at (76, 13)",
         lambda: g.title.match(g.field(), *TITLE_AT)[0] == 1.0, 5)
    field, birds = poll("the demonstration bird in view", lambda: next(((f, b) for f in [g.field()]
                    for b in [g.find(g.birds, f)] if any(0 <= x <= 460 for x, _ in b)), None), 15)
    g.snapshot("title", g.grab())
    (tx, ty), boxes = TITLE_AT, [(x, y, x + 140, y + 148) for x, y in birds]
    n = g.strays(field, [(tx, ty, tx + 432, ty + 31)] + boxes)
    check(n == 0, f"besides banner and bird the field is the background ({n} strays)")
    poll("the demonstration bird flies", lambda: set(g.find(g.birds, g.field())) - {birds[0]}, 3)
    for name, lo, hi in (("bullets", 0.97, 1), ("birds", 0.05, 0.15), ("speed", 0.35, 0.45)):
        check(lo <= g.bar(name) <= hi, f"start: {name} bar in [{lo}, {hi}]")
    # 70 ms is the slowest; one step of 3 ms is 6% of the bar
    for keys, lo, hi in ((["d"] * 8, 0, 0.02), (["i"], 0.04, 0.08), (["d"], 0, 0.02)):
        g.keys(*[k for key in keys for k in ("alt+o", key)])
        g.wait_bar("speed", lo, hi)


def play(g):
    g.keys("alt+g", "g")
    poll("the banner gone", lambda: g.title.match(g.field(), *TITLE_AT)[0] < 0.5, 3)
    for button in (1, 3):  # any button shoots
        hit = aim_and_hit(g, 20, button)
        check(hit, f"button {button}: a bird hit explodes where it was")
        full = min(g.bar("bullets") for _ in range(6))
        check(full >= 0.99, f"a hit costs no bullet ({full:.2f})")
    g.wait_bar("bullets", 0.99, 1, 5)
    spot = poll("a spot away from every bird", g.empty_spot, 10)
    for _ in range(4):
        g.shoot(*spot)
    time.sleep(0.5)
    left = g.bar("bullets")  # the reload every 30th tick may give one back meanwhile
    check(0.55 <= left <= 0.72, f"four misses leave six or seven bullets ({left:.2f})")
    check(not g.find(g.booms, g.field(), threshold=0.85, min_inside=20), "a miss explodes nothing")
    poll("an automatic reload", lambda: g.bar("bullets") > left + 0.05, 4, 0.1)


def pause_and_sound(g):
    inside = lambda f: [b for b in g.find(g.birds, f) if 0 <= b[0] <= 460 and 0 <= b[1] <= 250]
    poll("a bird in view", lambda: inside(g.field()), 20)
    frozen = pause(g)
    for bx, by in inside(frozen)[:1]:
        g.shoot(bx + 71, by + 75)
    g.keys("alt+g", "p")
    time.sleep(0.4)
    check(g.field().data == frozen.data, "paused: a shot at a bird and Pause again change nothing")
    g.keys("alt+g", "g")
    poll("Go resumes: the birds move again", lambda: g.field().data != frozen.data, 2)
    for quiet in (False, True):
        if quiet:
            g.keys("alt+o", "t")
            time.sleep(1.6)  # sounds already playing finish
        spot = poll("a spot away from every bird", g.empty_spot, 10)
        g.wait_bar("bullets", 0.5, 1, 10)
        at = os.path.getsize(g.wav) - (0 if quiet else 35280)
        g.shoot(*spot)
        time.sleep(0.6)
        peak = g.loudest(at)
        check(peak < 1e-4 if quiet else peak > 0.05,
              f"{'sound off: a shot is silent' if quiet else 'a shot is heard'} (peak {peak:.5f})")


def game_over(g):
    if SHOTS:  # wait for a crowd, then hit one of it
        g.keys(*["alt+o", "i"] * 8)
        crowd = lambda: len(g.find(g.birds, g.field())) >= 3 and aim_and_hit(g, 3)
        g.snapshot("explosion", poll("an explosion among birds",
                                     lambda: (h := crowd()) and len(h[1]) >= 2 and h[0], 40))
    g.keys(*["alt+o", "i"] * 17)
    # On a slow run ten birds may get through before the bar is full, and the box covers it.
    ended = lambda: g.x("xdotool", "search", "--onlyvisible", "--name", "^Game Over!$").split()
    poll("speed bar in [0.98, 1], or the game already over",
         lambda: ended() or 0.98 <= g.bar("speed") <= 1, 3, 0.1)
    over = g.window("Game Over!", 60)
    ox, oy, ow, oh = g.geometry(over)
    n = g.strays(g.field(), [(ox - g.fx, oy - g.fy, ox - g.fx + ow, oy - g.fy + oh)])
    check(n == 0, f"ten birds: \"Game Over!\" over a bare background ({n} strays)")
    g.press(over, 1320, 3600, 2052, 492)
    box = g.window("New High Score!")
    g.x("xdotool", "windowfocus", "--sync", box, "type", "--delay", "25", NAME)
    g.keys("Return", wid=box)
    hi = g.window("High Scores")
    data = open(path := f"{g.dir}/scores.dat", "rb").read()
    pts = struct.unpack_from("<i", data, 2 + len(NAME))[0]
    total = sum(NAME.encode()) + pts + 9 * sum(b"No One")  # name bytes plus points of ten
    check(pts > 0 and data == table((NAME.encode(), pts), total),
          f"scores.dat: {NAME} first with {pts} points over nine No One, checksum {total}")
    g.keys("alt+s", "r", wid=hi)
    after = poll("the table reset", lambda: (d := open(path, "rb").read())[:130] == FRESH and d, 3)
    check(len(after) == len(data), "Scores > Reset rewrites ten No One and checksum 5110 in place")
    g.keys("Escape", wid=hi)
    g.window("High Scores", 3, gone=True)
    poll("the title again", lambda: g.title.match(g.field(), *TITLE_AT)[0] == 1.0, 3)


def pause(g):  # returns the field it froze
    g.keys("alt+g", "p")
    time.sleep(0.3)
    frozen = g.field()
    time.sleep(0.5)
    check(g.field().data == frozen.data, "paused: the play field stands still")
    return frozen


def leave(g, yes=True, look=lambda box: None):  # answers "Exit Game?!", box seen by look
    g.keys("alt+g", "e")
    look(box := g.window("Exit Game?!"))
    g.press(box, 240 if yes else 2280, 2280, 1812, 372)
    if yes:
        poll("\"Yes!\" ends the program", lambda: g.proc.poll() is not None, 5)
        return check(g.proc.returncode == 0, f"with exit code 0 ({g.proc.returncode})")
    g.window("Exit Game?!", 3, gone=True)
    time.sleep(0.3)
    check(g.proc.poll() is None, "\"No!\" keeps the game running")


def main():
    work = tempfile.mkdtemp(prefix="morvel-e2e-")
    g, ok = None, False
    try:
        for run, env, steps in (
                ("run", {}, (title_and_speed, play, pause_and_sound, game_over,
                             lambda g: leave(g, yes=False), leave)),
                ("scaled", {"QT_SCALE_FACTOR": "1.25"}, (at_scale_1_25,))):
            if g:
                g.proc.kill(), g.proc.wait(), g.xvfb.terminate(), g.xvfb.wait()
            run_dir = f"{work}/{run}"
            copy_run(sys.argv[1], run_dir)
            g = Game(run_dir, **env)
            for step in steps:
                step(g)
        ok = True
    except AssertionError as e:
        print(f"FAIL: {e}; screenshot in {work}/failure.png", flush=True)
        if g:
            g.grab().save(f"{work}/failure.png")
    finally:
        if g:
            g.proc.kill(), g.proc.wait(), g.xvfb.terminate(), g.xvfb.wait()
            print(open(f"{run_dir}/program.log").read().strip())
    if ok:
        shutil.rmtree(work, ignore_errors=True)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
