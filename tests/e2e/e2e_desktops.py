#!/usr/bin/env python3
"""usage: e2e_desktops.py RUN_DIR [COMPOSITOR...]. Starts the game as a desktop starts it (a
Wayland session, the desktop's name, WAYLAND_DISPLAY and DISPLAY set, no platform chosen) under
each desktop's compositor, nested in a private Xvfb and run by a user made for the test, at
scales 1 and 2, and plays the same short scenario: framed as that desktop should frame it, the
field crisp, a bird hit, the exit dialog over the main window and modal, closing asks. A desktop
that cannot run here is left out with the reason; exit status 77 (skipped) when none can.
E2E_SHOTS_DIR=DIR saves screenshots of the main window and the exit dialog on each desktop at
scale 1."""
import os, shutil, sys, tempfile, time

from harness import (H, MAIN, SHOTS, TITLE_AT, W, Compositor, Game, Image, TestUser, Unavailable,
                     aim_and_hit, check, copy_run, pause, poll, sh, stop, xvfb)

SKIP = 77
# compositor: the session's desktop name and the platform the game should take there. Mutter
# draws no title bars for Wayland clients: the game goes through Xwayland.
DESKTOPS = {"mutter": ("GNOME", "xcb"), "kwin_wayland": ("KDE", "wayland")}
SCALES = (1, 2)
EXIT_SIZE = (361, 232)  # the exit dialog's client area at scale 1


class DesktopGame(Game):
    """The game on a nested compositor, seen and driven through the Xvfb that holds it; grab()
    and the field's coordinates are in the game's logical pixels, scale device pixels each."""

    def __init__(self, run_dir, user, kind, scale):
        self.kind, self.scale, self.phase = kind, scale, (0, 0)
        self.size = (800 * scale, 640 * scale)
        self.xvfb, display = xvfb("%dx%d" % self.size)
        self.env = dict(os.environ, DISPLAY=display)
        self.desktop = self.proc = None
        try:
            self.desktop = Compositor(kind, user, display, self.size, scale)
            name, self.platform = DESKTOPS[kind]
            self.user, env = user, self.desktop.env
            # The session's scale, as GNOME and Plasma tell their X clients
            user.run("xrdb", "-merge", env=env, data=b"Xft.dpi: %d\n" % (96 * scale))
            self.load(run_dir)
            self.keys()  # parks the pointer, in the corner of the compositor's output
            self.empty = settled(self, "the empty desktop", lambda shot: True)
        except BaseException:
            self.close()
            raise
        self.proc = user.start([f"{run_dir}/morvel-birds"], dict(
            env, XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP=name, ALSOFT_DRIVERS="null"),
            f"{user.work}/program.log")

    def close(self):
        for part in (self.proc, self.desktop and self.desktop.proc):
            if part:
                stop(part)
        self.xvfb.terminate(), self.xvfb.wait()

    def grab(self, raw=False):
        shot = Image(sh("import", "-window", "root", "-depth", "8", "ppm:-", env=self.env))
        return shot if raw or self.scale == 1 else shot.sample(self.scale, *self.phase)

    def keys(self, *keys, wid=None):  # to the compositor's window, under the parked pointer
        self.x("xdotool", "mousemove", str(self.size[0] - 2), str(self.size[1] - 2))
        if keys:
            self.x("xdotool", "key", "--delay", "80", *keys)
            time.sleep(0.1)

    def click(self, x, y, button=1):
        at = [str(p + self.scale * v + self.scale // 2) for p, v in zip(self.phase, (x, y))]
        self.x("xdotool", "mousemove", *at, "click", str(button))

    def locate(self):
        k = self.scale
        x, y = poll("the background on screen", lambda: self.find_field(self.grab(raw=True), k),
                    15, 0.1)
        self.phase, self.fx, self.fy = (x % k, y % k), x // k, y // k
        self.find_bars()

    def xwayland(self, *args):
        return self.user.run(*args, env=self.desktop.env).decode()


def changed(a, b):  # bounding box (x0, y0, x1, y1) of the pixels that differ, or None
    box, n = None, 3 * a.w
    for y in range(a.h):
        d = int.from_bytes(a.row(y, 0, a.w), "big") ^ int.from_bytes(b.row(y, 0, b.w), "big")
        if d:  # the highest and the lowest bit set are the first and the last byte that differ
            x0, x1 = (n - 1 - (d.bit_length() - 1) // 8) // 3, (n - 1 - (
                (d & -d).bit_length() - 1) // 8) // 3 + 1
            box = (min(x0, box[0]), box[1], max(x1, box[2]), y + 1) if box else (x0, y, x1, y + 1)
    return box


def inside(box, outer):
    return outer[0] <= box[0] and outer[1] <= box[1] and box[2] <= outer[2] and box[3] <= outer[3]


def settled(g, what, probe, timeout=5):  # a screen that stays the same and satisfies probe
    last = [None]

    def attempt():
        shot = g.grab(raw=True)
        same, last[0] = last[0] is not None and shot.data == last[0].data, shot
        return same and probe(shot) and shot
    return poll(what, attempt, timeout, 0.2)


def save(g, shot, box, name):  # shot: a raw one, at scale 1
    if SHOTS and g.scale == 1:
        x0, y0, x1, y1 = max(0, box[0] - 8), max(0, box[1] - 8), box[2] + 8, box[3] + 8
        shot.crop(x0, y0, min(shot.w, x1) - x0, min(shot.h, y1) - y0).save(
            f"{SHOTS}/screenshot-{name}.png")


def framed(g):
    g.locate()
    k, maps = g.scale, open(f"/proc/{g.proc.pid}/maps").read()
    platform = "xcb" if "libqxcb" in maps else "wayland" if "libqwayland" in maps else "?"
    check(platform == g.platform and "bradient" not in maps,
          f"on {platform}, no title bar drawn by the toolkit: the compositor frames the game")
    main = changed(g.empty, g.grab(raw=True))
    if platform == "xcb":  # what the desktop's window manager lets a player do with it
        win = g.xwayland("xdotool", "search", "--onlyvisible", "--name", f"^{MAIN}$").split()[0]
        allowed = g.xwayland("xprop", "-id", win, "_NET_WM_ALLOWED_ACTIONS")
        check("CLOSE" in allowed and "MAXIMIZE" not in allowed and "MINIMIZE" not in allowed,
              "the title bar offers close only")
        geometry = lambda: g.xwayland("xwininfo", "-id", win).split("Depth")[0]
        before, top = geometry(), int(g.xwayland("xprop", "-id", win, "_NET_FRAME_EXTENTS")
                                      .split(",")[2])
        x = [int(l.split(":")[1]) for l in before.splitlines() if "Absolute upper-left" in l]
        g.x("xdotool", "mousemove", str(x[0] + 200 * k), str(x[1] - top // 2), "click", "--repeat",
            "2", "--delay", "80", "1")
        time.sleep(0.8)
        check(geometry() == before, "a double click on the title bar maximizes nothing")
    raw = g.grab(raw=True)
    rows = [raw.row(g.phase[1] + k * g.fy + j, g.phase[0] + k * g.fx, k * 600)
            for j in range(k * 400)]
    whole = lambda row: all(row[c::3 * k] == row[c + 3 * i::3 * k]
                            for c in range(3) for i in range(1, k))
    check(all(whole(r) and r == rows[i - i % k] for i, r in enumerate(rows)),
          f"every field pixel a uniform {k} x {k} block")
    return main


def hit(g, main):  # at the slowest speed: the compositor shows each frame a little late
    g.keys(*["alt+o", "d"] * 7, "alt+g", "g")
    poll("Go: the banner gone", lambda: g.title.match(g.field(), *TITLE_AT)[0] < 0.5, 3)
    shot = aim_and_hit(g, 20)
    check(shot, "a click on a bird hits it")
    save(g, shot[0], main, DESKTOPS[g.kind][0].lower())


def dialogs(g, main):
    k, (w, h) = g.scale, EXIT_SIZE
    pause(g)
    g.keys()
    before = g.grab(raw=True)
    field = lambda shot: shot.crop(g.phase[0] + k * g.fx, g.phase[1] + k * g.fy, k * W, k * H)
    big = lambda box: box and box[2] - box[0] >= k * w and box[3] - box[1] >= k * h

    def shown(keys, what):  # the dialog over the field, the main window's frame aside
        g.keys(*keys)
        shot = settled(g, f"{what}: a dialog over the field",
                       lambda s: big(changed(field(before), field(s))))
        box = changed(before, shot)
        check(inside(box, main), f"{what}: everything that changed {box} is inside the main "
              f"window {main}")
        return shot
    shot = shown(("alt+g", "e"), "Game > Exit")
    save(g, shot, main, f"{DESKTOPS[g.kind][0].lower()}-exit")
    g.click(g.fx + 10, g.fy + 390)  # the main window, away from the dialog
    g.keys()
    time.sleep(0.5)
    check(field(g.grab(raw=True)).data == field(shot).data,
          "a click on the main window leaves the dialog over it, and the game paused")
    x0, y0, x1, y1 = changed(field(before), field(shot))
    g.click(g.fx + (x0 + x1) // 2 // k, g.fy + (y0 + y1) // 2 // k)  # the dialog again
    g.keys("Escape")
    poll("Esc answers No!: the game as it was", lambda: changed(before, g.grab(raw=True)) is None,
         3, 0.2)
    shown(("alt+F4",), "closing the main window")
    g.keys("Return")
    poll("Yes! ends the program", lambda: g.proc.poll() is not None, 5)
    check(g.proc.returncode == 0, f"with exit code 0 ({g.proc.returncode})")


def play(run_dir, user, kind, scale, work):
    g = DesktopGame(run_dir, user, kind, scale)
    try:
        main = framed(g)
        hit(g, main)
        dialogs(g, main)
    except AssertionError:
        g.grab(raw=True).save(f"{work}/failure-{kind}-{scale}.png")
        print(open(f"{user.work}/program.log").read().strip())
        raise
    finally:
        g.close()


def main():
    if os.geteuid() != 0:
        print("skipped: needs root to create the user that runs the compositors (they refuse root)")
        return SKIP
    missing = [t for t in ("Xvfb", "Xwayland", "xdotool", "xprop", "xrdb", "import", "useradd",
                           "dbus-run-session") if not shutil.which(t)]
    if missing:
        print("skipped: missing", *missing)
        return SKIP
    work = tempfile.mkdtemp(prefix="morvel-desktops-")
    os.chmod(work, 0o755)
    user, results = TestUser(work), []
    run_dir = f"{work}/run"
    copy_run(sys.argv[1], run_dir)
    user.own(run_dir)
    try:
        for kind in sys.argv[2:] or DESKTOPS:
            for scale in SCALES:
                start = time.monotonic()
                print(f"== {kind} at scale {scale}", flush=True)
                try:
                    if not shutil.which(kind):
                        raise Unavailable(f"{kind} is not installed")
                    play(run_dir, user, kind, scale, work)
                    result = "passed"
                except Unavailable as e:
                    print(f"left out: {e}", flush=True)
                    result = f"left out ({e})"
                except Exception as e:  # noqa: BLE001 - one desktop's fault, the others still run
                    print(f"FAIL: {type(e).__name__}: {e}", flush=True)
                    result = "FAILED"
                results.append((kind, scale, result, time.monotonic() - start))
    finally:
        user.remove()
    for kind, scale, result, took in results:
        print(f"{kind:13} scale {scale}: {result}, {took:.1f} s")
    if any(r == "FAILED" for _, _, r, _ in results):
        print(f"screenshots of the failures in {work}")
        return 1
    shutil.rmtree(work, ignore_errors=True)
    return 0 if any(r == "passed" for _, _, r, _ in results) else SKIP


if __name__ == "__main__":
    sys.exit(main())
