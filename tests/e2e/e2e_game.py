#!/usr/bin/env python3
"""Plays the real program under its own X server with real mouse and keyboard input, and
checks what the player sees and what lands in scores.dat.

usage: e2e_game.py RUN_DIR [--keep DIR]
RUN_DIR holds morvel-birds with Graphics/ and Sounds/ beside it; the run uses a copy so that
scores.dat starts fresh. --keep saves screenshots and the sound output there."""

import argparse
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from xscreen import Sprite, XServer, load_picture  # noqa: E402

FIELD_W, FIELD_H = 600, 400
TITLE_AT = (76, 13)
MAIN = "The Morvel Bird Game"
NAME = "Ada Lovebird"


class Failure(AssertionError):
    pass


def check(condition, what):
    if not condition:
        raise Failure(what)
    print(f"  ok: {what}", flush=True)


def poll(what, probe, timeout, interval=0.05):
    """Calls probe until it returns something true; fails with `what` after timeout."""
    end = time.monotonic() + timeout
    while True:
        value = probe()
        if value:
            return value
        if time.monotonic() > end:
            raise Failure(f"timed out after {timeout} s: {what}")
        time.sleep(interval)


def score_file(path):
    """The table of scores.dat: eleven (name, points) records and the stored checksum."""
    data = open(path, "rb").read()
    table, pos = [], 0
    for _ in range(11):
        (n,) = struct.unpack_from("<H", data, pos)
        name = data[pos + 2:pos + 2 + n]
        (points,) = struct.unpack_from("<i", data, pos + 2 + n)
        table.append((name, points))
        pos += 6 + n
    (stored,) = struct.unpack_from("<i", data, pos)
    return data, table, stored, pos


def checksum(table):
    return sum(sum(name) + points for name, points in table[:10])


FRESH = b"".join(struct.pack("<H", 6) + b"No One" + struct.pack("<i", 0) for _ in range(10)) \
    + struct.pack("<H", 0) + struct.pack("<i", 0) + struct.pack("<i", 5110)


class Sound:
    """The wave writer's output: float samples, written in real time as the game plays."""

    def __init__(self, path):
        self.path = path

    def data_start(self):
        head = open(self.path, "rb").read(4096)
        pos = 12
        while pos + 8 <= len(head):
            cid, size = head[pos:pos + 4], struct.unpack_from("<I", head, pos + 4)[0]
            if cid == b"fmt ":
                self.channels, self.rate = struct.unpack_from("<HI", head, pos + 10)
                self.bits = struct.unpack_from("<H", head, pos + 22)[0]
            if cid == b"data":
                return pos + 8
            pos += 8 + size
        raise Failure("sound output has no data chunk")

    def position(self):
        return os.path.getsize(self.path)

    def loudest(self, start, end):
        """Peak magnitude of the samples between two file positions."""
        first = self.data_start()
        frame = self.channels * self.bits // 8
        start = max(first, first + (start - first) // frame * frame)
        with open(self.path, "rb") as f:
            f.seek(start)
            raw = f.read(max(0, end - start))
        raw = raw[:len(raw) // 4 * 4]
        if self.bits != 32:
            raise Failure(f"unexpected sample size {self.bits}")
        values = struct.unpack(f"<{len(raw) // 4}f", raw)
        return max((abs(v) for v in values), default=0.0)

    def seconds(self, s):
        self.data_start()
        return int(s * self.rate) * self.channels * self.bits // 8


class Game:
    def __init__(self, x, run_dir, out_dir):
        self.x, self.dir, self.out = x, run_dir, out_dir
        gfx = os.path.join(run_dir, "Graphics")
        pic = lambda n: load_picture(os.path.join(gfx, n))  # noqa: E731
        self.background = pic("BackGround.bmp")
        self.title = Sprite("title", pic("title.bmp"), pic("titlemask.bmp"), step=1)
        self.birds = [Sprite(f"Bird{d}{n}", pic(f"Bird{d}{n}.bmp"), pic(f"Bird{d}{n}mask.bmp"))
                      for d in "LR" for n in range(1, 6)]
        self.explosions = [Sprite(f"explosion{n}", pic(f"explosion{n}.bmp"),
                                  pic(f"explosion{n}mask.bmp")) for n in range(1, 6)]
        conf = os.path.join(run_dir, "alsoft.conf")
        with open(conf, "w") as f:
            f.write(f"[general]\ndrivers=wave\n[wave]\nfile={run_dir}/sound.wav\n")
        self.sound = Sound(os.path.join(run_dir, "sound.wav"))
        runtime_dir = os.path.join(run_dir, "xdg")
        os.mkdir(runtime_dir, 0o700)
        env = dict(x.env, ALSOFT_CONF=conf, ALSOFT_LOGLEVEL="0", XDG_RUNTIME_DIR=runtime_dir)
        env.pop("ALSOFT_DRIVERS", None)
        self.log = open(os.path.join(run_dir, "program.log"), "w")
        self.proc = subprocess.Popen([os.path.join(run_dir, "morvel-birds")], cwd="/", env=env,
                                     stdout=self.log, stderr=subprocess.STDOUT)
        self.shots = 0

    # Where things are on the screen.

    def locate(self):
        """Finds the play field by the background picture; fx, fy is its top-left pixel."""
        self.win = self.x.wait_window(MAIN, 15)
        bg = self.background

        # Keys with detail: the sky is one colour along a row and would match when shifted.
        keys = []
        for ky in range(395, 0, -15):
            for kx in (30, 280, 530):
                key = bg.row(ky, kx, 32)
                if len({key[i:i + 3] for i in range(0, len(key), 3)}) >= 12:
                    keys.append((kx, ky, key))

        def attempt():
            shot = self.x.grab()
            for kx, ky, key in keys:
                i = shot.data.find(key)
                while i != -1:
                    if i % 3 == 0:
                        y, x = divmod(i // 3, shot.w)
                        if self.field_matches(shot, x - kx, y - ky) > 0.8:
                            return x - kx, y - ky
                    i = shot.data.find(key, i + 1)
            return None

        self.fx, self.fy = poll("the background on screen", attempt, 10, 0.1)
        wx, wy, ww, wh = self.x.geometry(self.win)
        check(wx <= self.fx and self.fx + FIELD_W <= wx + ww and wy <= self.fy
              and self.fy + FIELD_H <= wy + wh, "the play field lies inside the main window")

    def field_matches(self, shot, fx, fy):
        same = total = 0
        for y in range(0, FIELD_H, 7):
            for x in range(0, FIELD_W, 7):
                total += 1
                if 0 <= fx + x < shot.w and 0 <= fy + y < shot.h:
                    same += shot.px(fx + x, fy + y) == self.background.px(x, y)
        return same / total if total else 0

    def field(self, shot=None):
        shot = shot or self.x.grab()
        return shot.crop(self.fx, self.fy, FIELD_W, FIELD_H)

    def stamp(self, name):
        if self.out:
            self.x.save_screenshot(os.path.join(self.out, name + ".png"))

    def find_birds(self, field):
        found = []
        for s in self.birds:
            found += [(x, y, s.name) for x, y in s.find(field)]
        return found

    def find_explosions(self, field):
        found = []
        for s in self.explosions:
            found += [(x, y, s.name) for x, y in s.find(field, threshold=0.85, min_inside=20)]
        return found

    def differing(self, field):
        """Pixels of the field that differ from the background."""
        diff = []
        bg = self.background.data
        data = field.data
        for y in range(FIELD_H):
            i = y * FIELD_W * 3
            if data[i:i + FIELD_W * 3] == bg[i:i + FIELD_W * 3]:
                continue
            for x in range(FIELD_W):
                j = i + x * 3
                if data[j:j + 3] != bg[j:j + 3]:
                    diff.append((x, y))
        return diff

    def title_shown(self, field):
        frac, _ = self.title.match(field, *TITLE_AT)
        return frac

    # The counters above the play field.

    def calibrate_bars(self):
        """Finds the bars' middle row from the full bullets bar at start; the bars lie at their
        laid-out places relative to the play field (12 twips a pixel)."""
        shot = self.x.grab()
        left = self.fx - 2
        column = left + 470
        rows = [y for y in range(self.fy - 40, self.fy) if self.filled(shot.px(column, y))]
        check(len(rows) >= 8, "the bullets bar shows filled at start")
        self.bar_y = (rows[0] + rows[-1]) // 2
        right_edge = self.fx + FIELD_W
        self.bars = {"speed": (left + 50, left + 50 + 121), "birds": (left + 220, left + 220 + 181),
                     "bullets": (left + 460, min(left + 460 + 146, right_edge + 2))}

    @staticmethod
    def filled(rgb):
        r, g, b = rgb
        return b > 120 and b > r + 50

    def bar(self, name, shot=None):
        """Filled fraction of one progress bar."""
        shot = shot or self.x.grab()
        a, b = self.bars[name]
        row = [self.filled(shot.px(x, self.bar_y)) for x in range(a + 1, b - 1)]
        return sum(row) / len(row)

    def wait_bar(self, name, lo, hi, timeout=3.0):
        return poll(f"{name} bar between {lo} and {hi} (last {self.bar(name):.2f})",
                    lambda: lo <= self.bar(name) <= hi, timeout, 0.1)

    def calibrate_toolbar(self):
        """The eight glyph buttons, left to right, by their black glyphs in the toolbar."""
        shot = self.x.grab()
        top, bottom = self.bar_y - 45, self.bar_y - 15
        cols = []
        for x in range(self.fx - 2, self.fx + FIELD_W):
            if any(max(shot.px(x, y)) < 60 for y in range(top, bottom)):
                cols.append(x)
        clusters = []
        for x in cols:
            if clusters and x - clusters[-1][-1] <= 3:
                clusters[-1].append(x)
            else:
                clusters.append([x])
        check(len(clusters) == 8, f"eight toolbar buttons with glyphs (found {len(clusters)})")
        ys = [y for y in range(top, bottom)
              if any(max(shot.px(x, y)) < 60 for x in cols)]
        cy = (ys[0] + ys[-1]) // 2
        names = ["Play", "Pause", "Stop", "Minus", "Plus", "Sound", "About", "Exit"]
        self.buttons = {n: ((c[0] + c[-1]) // 2, cy) for n, c in zip(names, clusters)}

    def button_look(self, name, shot=None):
        shot = shot or self.x.grab()
        x, y = self.buttons[name]
        return shot.crop(x - 11, y - 10, 23, 21).data

    def press(self, name):
        self.x.click(*self.buttons[name])
        time.sleep(0.05)

    def menu(self, *keys):
        self.x.keys(self.win, *keys)

    def shoot(self, x, y, button=1):
        self.x.click(self.fx + x, self.fy + y, button)
        self.shots += 1

    def alive(self):
        return self.proc.poll() is None


def empty_spot(birds):
    """A point of the field well away from every bird's picture."""
    for x, y in ((20, 380), (580, 380), (20, 20), (580, 20), (300, 390)):
        if all(not (bx - 10 <= x <= bx + 150 and by - 10 <= y <= by + 158) for bx, by, _ in birds):
            return x, y
    return None


def title_checks(g):
    print("start and title", flush=True)
    scores = os.path.join(g.dir, "scores.dat")
    poll("scores.dat written", lambda: os.path.exists(scores) and os.path.getsize(scores) == 130,
         10)
    g.locate()
    check(open(scores, "rb").read() == FRESH,
          "fresh scores.dat: 130 bytes, ten No One at 0, checksum 5110 at offset 126")

    field = poll("the title banner", lambda: (lambda f: f if g.title_shown(f) == 1.0 else None)(
        g.field()), 5)
    g.stamp("title")
    check(g.title_shown(field) == 1.0, "title banner drawn exactly with its top-left at (76, 13)")
    def in_full_view():
        f = g.field()
        birds = g.find_birds(f)
        return (f, birds) if any(0 <= b[0] <= 460 for b in birds) else None

    field, birds = poll("the demonstration bird in full view", in_full_view, 15)
    demo = birds
    tx, ty = TITLE_AT
    strays = [(x, y) for x, y in g.differing(field)
              if not (tx <= x < tx + g.title.w and ty <= y < ty + g.title.h)
              and not any(bx <= x < bx + 140 and by <= y < by + 148 for bx, by, _ in birds)]
    check(birds and not strays, f"every other pixel is the background ({len(strays)} strays)")
    first = demo[0]
    moved = poll("the demonstration bird moving", lambda: [
        b for b in g.find_birds(g.field()) if (b[0], b[1]) != first[:2]], 3)
    check(moved, f"the demonstration bird flies: {first[:2]} then {moved[0][:2]}")

    g.calibrate_bars()
    g.calibrate_toolbar()
    check(g.bar("bullets") > 0.97, "ten bullets shown")
    check(0.05 <= g.bar("birds") <= 0.15, f"one bird shown ({g.bar('birds'):.2f})")
    check(0.35 <= g.bar("speed") <= 0.45, f"speed 50 ms shown as 40% ({g.bar('speed'):.2f})")


def speed_checks(g):
    print("speed", flush=True)
    for _ in range(7):
        g.menu("alt+o", "d")
    g.wait_bar("speed", 0.0, 0.02)
    check(True, "seven Decrease Speed reach 70 ms, the slowest")
    g.menu("alt+o", "d")
    time.sleep(0.6)
    check(g.bar("speed") <= 0.02, "one more Decrease Speed stays at the slowest")
    # One step of 3 ms is 6% of the bar: the smallest change it has to show.
    g.press("Plus")
    g.wait_bar("speed", 0.04, 0.08)
    check(True, "Increase Speed from 70 gives 67 ms (6%)")
    g.press("Minus")
    g.wait_bar("speed", 0.0, 0.02)
    check(True, "Decrease Speed from 67 gives 70 ms again")


def aim_and_hit(g, timeout, button=1):
    """Waits for a bird in full view, measures its motion over two screenshots, and shoots
    where it will be. Returns where the explosion was seen, or None."""
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        t1 = time.monotonic()
        f1 = g.field()
        b1 = [b for b in g.find_birds(f1) if 10 <= b[0] <= 440 and -40 <= b[1] <= 240]
        if not b1:
            time.sleep(0.1)
            continue
        t2 = time.monotonic()
        b2 = g.find_birds(g.field())
        x1, y1, _ = b1[0]
        near = [b for b in b2 if abs(b[0] - x1) < 40 and abs(b[1] - y1) < 20]
        if not near:
            continue
        x2, y2, _ = near[0]
        vx, vy = (x2 - x1) / (t2 - t1), (y2 - y1) / (t2 - t1)
        lead = time.monotonic() - t2 + 0.06
        aim = (round(x2 + vx * lead) + 71, round(y2 + vy * lead) + 75)
        if not (0 <= aim[0] < FIELD_W and 0 <= aim[1] < FIELD_H):
            continue
        g.shoot(*aim, button)
        # The explosion is drawn where the bird was hit, then falls and drifts a little.
        bx, by = aim[0] - 71, aim[1] - 75
        seen = None
        stop = time.monotonic() + 0.8
        while time.monotonic() < stop and not seen:
            seen = [e for e in g.find_explosions(g.field())
                    if abs(e[0] - bx) <= 60 and -20 <= e[1] - by <= 80]
        if seen:
            return aim, seen
    return None


def play_checks(g):
    print("playing at the slowest speed", flush=True)
    released = g.button_look("Play")
    g.menu("alt+g", "g")
    poll("the banner gone", lambda: g.title_shown(g.field()) < 0.5, 3)
    check(True, "Go clears the title banner")
    poll("Play shown pressed", lambda: g.button_look("Play") != released, 2)
    check(True, "the Play button shows pressed")

    hits = 0
    for attempt in range(6):
        before = g.bar("bullets")
        # Any button shoots: the left, then the right.
        result = aim_and_hit(g, 20, 1 if hits == 0 else 3)
        if not result:
            break
        hits += 1
        aim, seen = result
        check(True, f"shot at {aim} hit: {seen[0][2]} at {seen[0][:2]}")
        g.stamp(f"explosion{hits}")
        time.sleep(0.45)
        check(g.bar("bullets") >= before - 0.01, "a hit costs no bullet")
        if hits == 2:
            break
    check(hits >= 1, f"at least one bird hit ({hits} in {g.shots} shots)")

    # A miss costs a bullet; the reload every 30th tick may give one back meanwhile.
    g.wait_bar("bullets", 0.99, 1.0, 5)
    spot = poll("a spot away from every bird", lambda: empty_spot(g.find_birds(g.field())), 10)
    for _ in range(4):
        g.shoot(*spot)
    time.sleep(0.5)
    left = g.bar("bullets")
    check(0.55 <= left <= 0.72, f"four misses leave six or seven bullets ({left:.2f})")
    check(not g.find_explosions(g.field()), "a miss makes no explosion")
    poll("an automatic reload", lambda: g.bar("bullets") > left + 0.05, 4, 0.1)
    check(True, "the gun reloads by itself")


def pause_checks(g):
    print("pause and resume", flush=True)
    poll("a bird in view", lambda: [b for b in g.find_birds(g.field()) if 0 <= b[0] <= 460
                                    and 0 <= b[1] <= 250], 20)
    g.press("Pause")
    time.sleep(0.3)
    frozen = g.field()
    birds = g.find_birds(frozen)
    time.sleep(0.5)
    check(g.field().data == frozen.data, "paused: the play field stands still")
    inside = [b for b in birds if 0 <= b[0] <= 460 and 0 <= b[1] <= 250]
    if inside:
        bx, by, _ = inside[0]
        g.shoot(bx + 71, by + 75)
        time.sleep(0.4)
        check(g.field().data == frozen.data, "paused: a shot at a bird's body does nothing")
    g.menu("alt+g", "p")
    time.sleep(0.4)
    check(g.field().data == frozen.data, "Pause again: still paused")
    g.press("Play")
    poll("the birds moving again", lambda: g.field().data != frozen.data, 2)
    check(True, "Go resumes the game")


def sound_checks(g):
    print("sound on and off", flush=True)
    snd = g.sound
    spot = poll("a spot away from every bird", lambda: empty_spot(g.find_birds(g.field())), 10)
    g.wait_bar("bullets", 0.5, 1.0, 10)
    at = snd.position()
    g.shoot(*spot)
    time.sleep(0.6)
    loud = snd.loudest(at - snd.seconds(0.1), snd.position())
    check(loud > 0.05, f"a shot is heard (peak {loud:.3f})")

    on_look = g.button_look("Sound")
    g.press("Sound")
    poll("the Sound button released", lambda: g.button_look("Sound") != on_look, 2)
    check(True, "Toggle Sound shows the Sound button released")
    time.sleep(1.6)  # sounds already playing finish
    at = snd.position()
    spot = poll("a spot away from every bird", lambda: empty_spot(g.find_birds(g.field())), 10)
    g.shoot(*spot)
    time.sleep(0.6)
    quiet = snd.loudest(at, snd.position())
    check(quiet < 1e-4, f"with sound off a shot is silent (peak {quiet:.6f})")
    g.menu("alt+o", "t")
    poll("the Sound button pressed again", lambda: g.button_look("Sound") == on_look, 2)
    check(True, "Toggle Sound again shows it pressed")


def game_over_checks(g):
    print("a game lost to ten birds", flush=True)
    for _ in range(17):
        g.press("Plus")
    g.wait_bar("speed", 0.98, 1.0, 3)
    check(True, "seventeen Increase Speed reach 20 ms, the fastest")
    over = g.x.wait_window("Game Over!", 60)
    check(True, "ten birds in the air open \"Game Over!\"")
    ox, oy, ow, oh = g.x.geometry(over)
    covered = (ox - g.fx, oy - g.fy, ox - g.fx + ow, oy - g.fy + oh)
    strays = [(x, y) for x, y in g.differing(g.field())
              if not (covered[0] <= x < covered[2] and covered[1] <= y < covered[3])]
    check(not strays, "the play field around the dialog shows the bare background")
    g.stamp("gameover")
    g.x.click(ox + (1320 + 2052 // 2) // 12, oy + (3600 + 492 // 2) // 12)
    box = g.x.wait_window("New High Score!", 5)
    g.x.wait_window("Game Over!", 3, gone=True)
    g.x.type(box, NAME)
    g.x.keys(box, "Return")
    hi = g.x.wait_window("High Scores", 5)
    check(True, "the name prompt leads to \"High Scores\"")

    path = os.path.join(g.dir, "scores.dat")
    data, table, stored, end = score_file(path)
    check(table[0][0] == NAME.encode() and table[0][1] > 0,
          f"scores.dat ranks {NAME!r} first with {table[0][1]} points")
    check(all(t == (b"No One", 0) for t in table[1:10]), "the other nine are still No One")
    check(stored == checksum(table) and len(data) == end + 4 == 130 - 6 + len(NAME),
          f"checksum {stored} matches, file {len(data)} bytes")

    g.x.focus(hi)
    g.x.keys(hi, "alt+s", "r")
    after = poll("the reset written", lambda: (lambda d: d if d[:130] == FRESH else None)(
        open(path, "rb").read()), 3)
    check(len(after) == len(data), "Scores > Reset rewrites the table in place, checksum 5110 "
          f"at offset 126; the file keeps its {len(after)} bytes")
    g.x.keys(hi, "Escape")
    g.x.wait_window("High Scores", 3, gone=True)
    poll("the title again", lambda: g.title_shown(g.field()) == 1.0, 3)
    check(True, "after the high scores the title returns")


def stop_checks(g):
    print("stop a game and cancel the name", flush=True)
    g.menu("alt+g", "g")
    time.sleep(1.0)
    g.press("Stop")
    box = g.x.wait_window("New High Score!", 5)
    g.x.keys(box, "Escape")
    hi = g.x.wait_window("High Scores", 5)
    _, table, stored, _ = score_file(os.path.join(g.dir, "scores.dat"))
    check(table[0][0] == b"Anonymous" and table[0][1] > 0 and stored == checksum(table),
          f"a cancelled name is stored as Anonymous with {table[0][1]} points")
    g.x.keys(hi, "Escape")
    g.x.wait_window("High Scores", 3, gone=True)


def exit_checks(g):
    print("information and exit", flush=True)
    g.menu("alt+h", "i")
    info = g.x.wait_window("About The Morvel Bird Game!", 5)
    g.x.keys(info, "Escape")
    g.x.wait_window("About The Morvel Bird Game!", 3, gone=True)
    check(True, "Help > Info shows its window and Esc closes it")

    g.menu("alt+g", "e")
    dlg = g.x.wait_window("Exit Game?!", 5)
    g.x.keys(dlg, "Escape")
    g.x.wait_window("Exit Game?!", 3, gone=True)
    time.sleep(0.3)
    check(g.alive(), "\"No!\" keeps the game running")

    g.menu("alt+g", "e")
    dlg = g.x.wait_window("Exit Game?!", 5)
    dx, dy, _, _ = g.x.geometry(dlg)
    g.x.click(dx + (240 + 1812 // 2) // 12, dy + (2280 + 372 // 2) // 12)
    poll("the program ending", lambda: not g.alive(), 5)
    check(g.proc.returncode == 0, f"\"Yes!\" ends the program (exit code {g.proc.returncode})")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("run_dir")
    ap.add_argument("--keep")
    args = ap.parse_args()
    for tool in ("Xvfb", "xdotool", "import", "convert", "xwininfo"):
        if not shutil.which(tool):
            sys.exit(f"missing tool: {tool}")

    work = tempfile.mkdtemp(prefix="morvel-e2e-")
    run_dir = os.path.join(work, "run")
    os.mkdir(run_dir)
    shutil.copy2(os.path.join(args.run_dir, "morvel-birds"), run_dir)
    for sub in ("Graphics", "Sounds"):
        shutil.copytree(os.path.join(args.run_dir, sub), os.path.join(run_dir, sub))
    if args.keep:
        os.makedirs(args.keep, exist_ok=True)

    started = time.monotonic()
    x = XServer()
    g = None
    ok = False
    try:
        g = Game(x, run_dir, args.keep)
        title_checks(g)
        speed_checks(g)
        play_checks(g)
        pause_checks(g)
        sound_checks(g)
        game_over_checks(g)
        stop_checks(g)
        exit_checks(g)
        ok = True
    except AssertionError as e:
        print(f"FAIL: {e}", flush=True)
        if g:
            x.save_screenshot(os.path.join(args.keep or work, "failure.png"))
            print(f"screenshot: {os.path.join(args.keep or work, 'failure.png')}")
    finally:
        if g and g.alive():
            g.proc.kill()
            g.proc.wait()
        if g:
            g.log.close()
            log = open(os.path.join(run_dir, "program.log")).read().strip()
            if log:
                print("program output:\n" + log)
            if args.keep and os.path.exists(g.sound.path):
                shutil.copy2(g.sound.path, args.keep)
        x.stop()
        if ok or not args.keep:
            shutil.rmtree(work, ignore_errors=True)
    print(f"{'passed' if ok else 'FAILED'} in {time.monotonic() - started:.1f} s")
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
