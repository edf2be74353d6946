#!/usr/bin/env python3
"""usage: e2e_wayland.py RUN_DIR. Plays the game natively on Wayland: sway in a private Xvfb,
run with a user made for the test (sway refuses root), the game on Qt's Wayland platform,
driven through sway's IPC and wtype, seen through grim; at output scale 1, then 2 and 1.5.
Exit status 77 (skipped) when not root or when sway cannot start. E2E_SHOTS_DIR=DIR saves
screenshot-wayland.png."""
import json, os, pwd, shutil, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from e2e_game import (MAIN, SHOTS, TITLE_AT, Game, Image, Sprite, aim_and_hit, check,  # noqa: E402
                      edges, poll, sh)

SKIP = 77
OUTPUT = "X11-1"


class WaylandGame(Game):
    def __init__(self, run_dir, work, user):
        self.work, self.user, self.procs, self.scale = work, user, [], 1
        r, w = os.pipe()
        # sway's X11 back end: a headless output has no pointer, so no client would get
        # the presses that sway's IPC makes.
        self.xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(w), "-noreset", "-nolisten", "tcp",
                                      "-screen", "0", "1800x1400x24"], pass_fds=(w,),
                                     stderr=subprocess.DEVNULL)
        os.close(w)
        with os.fdopen(r) as pipe:
            display = ":" + pipe.readline().strip()
        xdg = f"{work}/xdg"
        os.mkdir(xdg, 0o700)
        os.chown(xdg, user.pw_uid, user.pw_gid)
        with open(f"{work}/sway.conf", "w") as f:
            f.write(f"output {OUTPUT} resolution 1800x1400\n")
        self.env = {"PATH": "/usr/bin:/bin", "HOME": work, "XDG_RUNTIME_DIR": xdg}
        self.procs.append(self.run_as(["sway", "-c", f"{work}/sway.conf"], log="sway.log",
                                      DISPLAY=display, WLR_BACKENDS="x11",
                                      WLR_RENDERER="pixman", WLR_LIBINPUT_NO_DEVICES="1"))
        sock = lambda: [n for n in os.listdir(xdg) if n.startswith("sway-ipc.")]
        try:
            poll("sway is up", lambda: sock() and os.path.exists(f"{xdg}/wayland-1"), 10)
        except AssertionError:
            print(open(f"{work}/sway.log").read()[-2000:])
            raise
        self.env.update(WAYLAND_DISPLAY="wayland-1", SWAYSOCK=f"{xdg}/{sock()[0]}")
        self.dir, self.origin = run_dir, (0, 0)
        pic = lambda n: Image(sh("convert", f"{run_dir}/Graphics/{n}.bmp", "-depth", "8", "ppm:-"))
        sprite = lambda n, **k: Sprite(pic(n), pic(n + "mask"), **k)
        self.bg, self.title = pic("BackGround"), sprite("title", step=1)
        self.birds = [sprite(f"Bird{d}{n}") for d in "LR" for n in range(1, 6)]
        self.booms = [sprite(f"explosion{n}") for n in range(1, 6)]
        self.proc = self.run_as([f"{run_dir}/morvel-birds"], log="program.log",
                                QT_QPA_PLATFORM="wayland", ALSOFT_DRIVERS="null")
        self.procs.append(self.proc)

    def run_as(self, cmd, log, **env):
        u = self.user
        return subprocess.Popen(["setpriv", f"--reuid={u.pw_uid}", f"--regid={u.pw_gid}",
                                 "--init-groups", "env", "-i", *[f"{k}={v}" for k, v in
                                                                  dict(self.env, **env).items()],
                                 *cmd], cwd="/", stdout=open(f"{self.work}/{log}", "w"),
                                stderr=subprocess.STDOUT)

    def x(self, *args):
        cmd = ["setpriv", f"--reuid={self.user.pw_uid}", f"--regid={self.user.pw_gid}",
               "--init-groups", "env", "-i", *[f"{k}={v}" for k, v in self.env.items()], *args]
        return subprocess.run(cmd, capture_output=True).stdout

    def sway(self, *args):
        return self.x("swaymsg", *args)

    def windows(self):  # sway container id -> (title, focused, content rectangle)
        found = {}

        def walk(n):
            if n.get("app_id") == "org.morvelbirds.MorvelBirds":
                r, w = n["rect"], n["window_rect"]
                found[str(n["id"])] = (n["name"], n["focused"], n["type"],
                                       [r["x"] + w["x"], r["y"] + w["y"], w["width"], w["height"]])
            for c in n.get("nodes", []) + n.get("floating_nodes", []):
                walk(c)
        walk(json.loads(self.sway("-t", "get_tree")))
        return found

    def window(self, name, timeout=5, gone=False, other=False):  # other: not the main window
        def probe():
            ids = [i for i, (t, *_) in self.windows().items() if t == name
                   and not (other and i == self.win)]
            return [None] if gone and not ids else not gone and ids
        return poll(f'"{name}" {"closed" if gone else "shown"}', probe, timeout)[0]

    def geometry(self, wid):
        return self.windows()[wid][3]

    def grab(self, cursor=False, raw=False):  # the main window, in field pixels unless raw
        x, y, w, h = self.origin
        if cursor:  # grim leaves the pointer out of a region
            k = self.scale
            ppm = Image(self.x("grim", "-c", "-t", "ppm", "-")).crop(
                round(k * x), round(k * y), round(k * w), round(k * h))
            ppm = b"P6 %d %d 255\n" % (ppm.w, ppm.h) + ppm.data
        else:
            ppm = self.x("grim", "-t", "ppm", "-g", f"{x},{y} {w}x{h}", "-")
        if self.scale != 1 and not raw:  # whole device pixels per field pixel: any one of them
            ppm = sh("convert", "ppm:-", "-sample", f"{w}x{h}!", "ppm:-", data=ppm)
        return Image(ppm)

    def keys(self, *keys, wid=None):
        for k in keys:
            mod, _, key = k.rpartition("+")
            self.x("wtype", *(["-M", mod] if mod else []), "-k", key, *(["-m", mod] if mod else []))
            time.sleep(0.08)
        time.sleep(0.1)

    def click(self, x, y, button=1):  # in the grabbed window's field pixels
        ox, oy = self.origin[:2]
        self.sway("seat", "-", "cursor", "set", str(ox + x), str(oy + y))
        for action in ("press", "release"):
            self.sway("seat", "-", "cursor", action, f"button{button}")

    def press(self, wid, left, top, width, height):  # in layout pixels, by twips
        x, y, _, _ = self.geometry(wid)
        ox, oy = self.origin[:2]
        self.click(x - ox + (left + width // 2) // 12, y - oy + (top + height // 2) // 12)

    def locate(self):
        self.win = self.window(MAIN, 15)
        # sway places the window anew when it takes its fitted size
        at = [None]
        poll("the window in place", lambda: at.__setitem__(0, self.geometry(self.win)) or
             (time.sleep(0.3) or self.geometry(self.win) == at[0]), 5)
        self.origin = at[0]
        super().locate()

    def snapshot(self, name, shot):
        if SHOTS:
            shot.save(os.path.join(SHOTS, f"screenshot-{name}.png"))


def play_at_scale_1(g):
    g.locate()
    w, h = g.origin[2:]
    check(w == 604 and g.fx == 2 and 20 <= h - g.fy - 402 <= 40,
          f"the window fitted around the field and the status bar ({w} x {h}, field at "
          f"{g.fx}, {g.fy})")
    check(g.windows()[g.win][2] == "floating_con", "the main window floats")
    poll("the title banner drawn exactly at (76, 13)",
         lambda: g.title.match(g.field(), *TITLE_AT)[0] == 1.0, 5)
    g.keys("alt+g", "g")
    poll("Go: the banner gone", lambda: g.title.match(g.field(), *TITLE_AT)[0] < 0.5, 3)
    hit = aim_and_hit(g, 20)
    check(hit, "a bird hit explodes where it was")
    if hit:
        g.snapshot("wayland", g.grab(cursor=True))
    spot = poll("a spot away from every bird", g.empty_spot, 10)
    g.shoot(*spot)
    time.sleep(0.3)
    aimed, sx, sy = g.field(g.grab(cursor=True)), *spot
    drawn = sum(g.bg.px(sx + i, sy + j) != aimed.px(sx + i, sy + j)
                for i in range(-12, 13) for j in range(-12, 13) if 0 <= sx + i < 600 and
                0 <= sy + j < 400)
    check(drawn > 20, f"the aiming cursor over the field ({drawn} pixels of it at the pointer)")
    g.keys("alt+g", "p")
    time.sleep(0.3)
    frozen = g.field()
    time.sleep(0.5)
    check(g.field().data == frozen.data, "paused: the play field stands still")


def dialogs(g):
    main = g.geometry(g.win)
    over = lambda r: (r[0] >= main[0] and r[1] >= main[1] and r[0] + r[2] <= main[0] + main[2]
                      and r[1] + r[3] <= main[1] + main[3])
    g.keys("alt+h", "i")
    info = g.window("About The Morvel Bird Game!")
    check(over(g.geometry(info)) and g.windows()[info][1], "Info: focused, over the main window")
    g.press(info, 720, 240, 3360, 1716)  # the logo: no manual beside a bare program
    box = g.window(MAIN, other=True)
    name, focused, _, r = g.windows()[box]
    check(focused and over(r), "a message box over the main window says the manual is missing")
    g.keys("Return")
    g.window(MAIN, 3, gone=True, other=True)
    g.keys("Escape")
    g.window("About The Morvel Bird Game!", 3, gone=True)
    g.keys("alt+g", "e")
    ex = g.window("Exit Game?!")
    check(over(g.geometry(ex)), "\"Exit Game?!\" over the main window")
    g.press(ex, 2280, 2280, 1812, 372)
    g.window("Exit Game?!", 3, gone=True)
    check(g.proc.poll() is None, "\"No!\" keeps the game running")


def scaled(g, scale):
    size = g.origin[2:]
    g.sway("output", OUTPUT, "scale", str(scale))
    g.scale = scale
    time.sleep(1)
    g.sway(f"[con_id={g.win}]", "move", "position", "center")  # into the smaller layout
    if scale == int(scale):
        g.locate()
        k, raw = int(scale), g.grab(raw=True)
        blocks = lambda row: all(row[c::3 * k] == row[c + 3 * i::3 * k]
                                 for c in range(3) for i in range(1, k))
        rows = [raw.row(k * (g.fy + y) + j, k * g.fx, k * 600) for y in range(400) for j in range(k)]
        check(all(blocks(r) for r in rows) and all(rows[i] == rows[i - i % k]
                                                   for i in range(len(rows))),
              f"scale {scale}: every field pixel a uniform {k} x {k} block")
    else:  # sway hands clients the next whole scale and shrinks what they draw itself
        g.window(MAIN)
        time.sleep(0.5)
        g.origin = g.geometry(g.win)
    check(g.origin[2:] == size, f"scale {scale}: the window keeps its fitted size {size}")
    g.keys("alt+g", "g")
    edges(g, f"scale {scale}")
    g.keys("alt+g", "p")


def main():
    if os.geteuid() != 0:
        print("skipped: needs root to create the user that runs sway (it refuses root)")
        return SKIP
    missing = [t for t in ("sway", "swaymsg", "wtype", "grim", "Xvfb", "useradd")
               if not shutil.which(t)]
    if missing:
        print("skipped: missing", *missing)
        return SKIP
    work = tempfile.mkdtemp(prefix="morvel-wayland-")
    os.chmod(work, 0o755)
    name = f"morvel-wl-{os.getpid()}"
    subprocess.run(["useradd", "--no-create-home", "--home-dir", work, "--shell", "/bin/false",
                    name], check=True)
    user = pwd.getpwnam(name)
    run_dir = f"{work}/run"
    shutil.copytree(sys.argv[1], run_dir, ignore=lambda d, names: [] if d != sys.argv[1] else [
        n for n in names if n not in ("morvel-birds", "Graphics", "Sounds")])
    subprocess.run(["chown", "-R", f"{user.pw_uid}:{user.pw_gid}", run_dir], check=True)
    g, result = None, 1
    try:
        try:
            g = WaylandGame(run_dir, work, user)
        except AssertionError as e:
            print(f"skipped: sway cannot start ({e})")
            result = SKIP
            raise
        play_at_scale_1(g)
        dialogs(g)
        for scale in (2, 1.5):
            scaled(g, scale)
        g.keys("alt+g", "e")
        g.press(g.window("Exit Game?!"), 240, 2280, 1812, 372)
        poll("\"Yes!\" ends the program", lambda: g.proc.poll() is not None, 5)
        check(g.proc.returncode == 0, f"with exit code 0 ({g.proc.returncode})")
        result = 0
    except AssertionError as e:
        if result != SKIP:
            print(f"FAIL: {e}; screenshot in {work}/failure.png", flush=True)
            if g:
                g.origin = (0, 0, 1800, 1400)
                g.grab(raw=True).save(f"{work}/failure.png")
    finally:
        if g:
            for p in reversed(g.procs):
                p.kill(), p.wait()
            g.xvfb.terminate(), g.xvfb.wait()
            print(open(f"{work}/program.log").read().strip())
        subprocess.run(["userdel", name])
    if result != 1:
        shutil.rmtree(work, ignore_errors=True)
    return result


if __name__ == "__main__":
    sys.exit(main())
