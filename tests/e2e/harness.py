"""The end-to-end toolkit: private X servers, screenshots as PPM, finding the game's pictures on
screen, aiming at birds, a Game driven through X11 with xdotool, and, for the desktops, a user
made for the test and nested compositors (mutter, kwin_wayland) inside an X server."""
import glob, os, pwd, re, shutil, signal, struct, subprocess, time

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

    def sample(self, k, x0=0, y0=0):  # every k-th pixel from (x0, y0)
        w, h, out = (self.w - x0) // k, (self.h - y0) // k, bytearray()
        for y in range(h):
            row, px = self.row(y0 + k * y, x0, w * k), bytearray(3 * w)
            for c in range(3):
                px[c::3] = row[c::3 * k]
            out += px
        return Image(b"P6 %d %d 255\n" % (w, h) + out)

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
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
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
        env = dict(self.env, ALSOFT_CONF=conf, XDG_RUNTIME_DIR=f"{run_dir}/xdg")
        env.pop("ALSOFT_DRIVERS", None)
        env.update(program_env)
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
        self.fx, self.fy = poll("the background on screen", lambda: self.find_field(self.grab()),
                                10, 0.1)
        self.find_bars()

    def find_field(self, shot, k=1):  # where the background lies, drawn k device pixels a pixel
        keys = [(kx, ky, self.bg.row(ky, kx, 32)) for ky in range(395, 0, -15)
                for kx in (30, 280, 530) if colours(self.bg.row(ky, kx, 32)) >= 12]
        for kx, ky, key in keys:
            key = b"".join(key[i:i + 3] * k for i in range(0, len(key), 3))
            for x, y in shot.finds(key):
                fx, fy = x - k * kx, y - k * ky
                if 0 <= fx <= shot.w - k * W and 0 <= fy <= shot.h - k * H and sum(
                        shot.px(fx + k * i, fy + k * j) == self.bg.px(i, j)
                        for i in range(0, W, 7) for j in range(0, H, 7)) > 0.8 * 86 * 58:
                    return fx, fy

    def find_bars(self):
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


def pause(g):  # returns the field it froze
    g.keys("alt+g", "p")
    time.sleep(0.3)
    frozen = g.field()
    time.sleep(0.5)
    check(g.field().data == frozen.data, "paused: the play field stands still")
    return frozen


class TestUser:  # a throw-away user, at home in work/home: the compositors refuse root
    def __init__(self, work):
        self.name, self.work, self.home = f"morvel-e2e-{os.getpid()}", work, f"{work}/home"
        subprocess.run(["useradd", "--create-home", "--home-dir", self.home, "--shell",
                        "/bin/false", self.name], check=True, capture_output=True)
        self.pw = pwd.getpwnam(self.name)

    def own(self, path):
        subprocess.run(["chown", "-R", f"{self.pw.pw_uid}:{self.pw.pw_gid}", path], check=True)

    def cmd(self, args, env):  # args run as the user with nothing but env
        u = self.pw
        return ["setpriv", f"--reuid={u.pw_uid}", f"--regid={u.pw_gid}", "--init-groups", "env",
                "-i", *[f"{k}={v}" for k, v in env.items()], *args]

    def run(self, *args, env, data=None):
        return subprocess.run(self.cmd(args, env), input=data, capture_output=True).stdout

    def start(self, args, env, log):  # in a process group of its own, ended as one
        return subprocess.Popen(self.cmd(args, env), cwd="/", stdout=open(log, "w"),
                                stderr=subprocess.STDOUT, start_new_session=True)

    def x_displays(self):  # the X servers it runs, by their locks: a compositor's Xwayland
        found = []
        for lock in glob.glob("/tmp/.X*-lock"):
            try:  # a lock names the process that holds it; a killed server leaves it behind
                pid = int(re.sub(rb"\D", b"", open(lock, "rb").read()))
                if os.stat(lock).st_uid == self.pw.pw_uid and os.path.exists(f"/proc/{pid}"):
                    found.append(":" + lock[len("/tmp/.X"):-len("-lock")])
            except (OSError, ValueError):
                pass
        return found

    def remove(self):
        mine = lambda: [p for p in glob.glob("/proc/[0-9]*") if os.path.exists(p) and
                        os.stat(p).st_uid == self.pw.pw_uid]
        try:  # an Xwayland left by its compositor ends with it, a moment later
            poll("the test user's processes ended", lambda: not mine(), 5, 0.1)
        except AssertionError as e:
            print(e)
        for p in glob.glob("/tmp/.X11-unix/X*") + glob.glob("/tmp/.X*-lock"):
            if os.stat(p).st_uid == self.pw.pw_uid:  # left by an Xwayland that was killed
                os.remove(p)
        subprocess.run(["userdel", self.name])


def stop(proc, grace=3):  # a process group started by TestUser.start
    for sig in (signal.SIGTERM, signal.SIGKILL):
        try:
            os.killpg(proc.pid, sig)
            return proc.wait(grace)
        except subprocess.TimeoutExpired:
            pass
        except ProcessLookupError:
            return proc.wait()


class Unavailable(Exception):  # what a test needs cannot run here
    pass


class Compositor:
    """A Wayland compositor run by user inside the X server display, on an output of
    size (device pixels) at scale; env is what its clients get. Raises Unavailable when it does
    not come up."""
    SOCKET = "wl-morvel"

    def __init__(self, kind, user, display, size, scale):
        self.kind, self.log = kind, f"{user.work}/{kind}.log"
        xdg = f"{user.work}/xdg-{kind}-{scale}"
        os.mkdir(xdg, 0o700)
        os.chown(xdg, user.pw.pw_uid, user.pw.pw_gid)
        env = {"PATH": "/usr/bin:/bin", "HOME": user.home, "XDG_RUNTIME_DIR": xdg,
               "DISPLAY": display}
        (w, h), socket = size, self.SOCKET
        if kind == "mutter":
            env.update(MUTTER_DEBUG_DUMMY_MODE_SPECS=f"{w}x{h}",
                       MUTTER_DEBUG_DUMMY_MONITOR_SCALES=str(scale))
            args = ["mutter", "--wayland", "--nested", f"--wayland-display={socket}"]
        else:  # kwin_wayland: its size in logical pixels; a copy without the file
            # capability a container may refuse, named as its platform plugin requires
            os.makedirs(f"{user.work}/kwin", exist_ok=True)
            shutil.copy("/usr/bin/kwin_wayland", f"{user.work}/kwin/kwin_wayland")
            args = [f"{user.work}/kwin/kwin_wayland", "--x11-display", display, "--socket", socket,
                    "--xwayland", "--no-lockscreen", "--width", str(w // scale), "--height",
                    str(h // scale), "--scale", str(scale)]
        self.proc = user.start(["dbus-run-session", "--", *args], env, self.log)
        self.env = {k: v for k, v in env.items() if k != "DISPLAY"}
        self.env["WAYLAND_DISPLAY"] = socket

        def xwayland():  # mutter starts two, and names the one for clients
            if kind == "mutter":
                return re.findall(r"public X11 display (:\d+)", open(self.log).read())
            return user.x_displays()
        try:
            poll(f"{kind} is up", lambda: os.path.exists(f"{xdg}/{socket}") and xwayland(), 15, 0.1)
        except AssertionError:
            stop(self.proc)
            raise Unavailable(f"{kind} did not come up: " + open(self.log).read()[-600:])
        self.env["DISPLAY"] = xwayland()[0]
        if auth := glob.glob(f"{xdg}/.mutter-Xwaylandauth.*"):
            self.env["XAUTHORITY"] = auth[0]
