#!/usr/bin/env python3
"""usage: e2e_game.py RUN_DIR. Plays the game under a private Xvfb with xdotool, checking screen,
sound and what a screen reader finds, then briefly again at QT_SCALE_FACTOR 1.25.
E2E_SHOTS_DIR=DIR also saves screenshot-title/explosion.png."""
import array, os, shutil, sys, tempfile, time

from harness import (H, MAIN, SHOTS, TITLE_AT, W, Game, aim_and_hit, check, copy_run, found,
                     launch, poll)


def clear_at(g, x, y):  # nothing but background within 48 pixels of a field pixel
    f, red = g.field(), lambda p: p[0] > p[1] + 60 and p[0] > p[2] + 40
    return sum(red(f.px(i, j)) and not red(g.bg.px(i, j))
               for i in range(max(0, x - 48), min(W, x + 49), 4)
               for j in range(max(0, y - 48), min(H, y + 49), 4)) < 4


def title(g):
    g.locate()
    poll("the title banner drawn exactly at (76, 13)",
         lambda: g.title.match(g.field(), *TITLE_AT) == 1.0, 5)
    birds = poll("the demonstration bird in view",
                 lambda: [b for b in found(g.birds, g.field()) if 0 <= b[0] <= 460], 15)
    if SHOTS:
        g.grab().crop(*g.box(g.win)).save(f"{SHOTS}/screenshot-title.png")
    poll("the demonstration bird flies", lambda: set(found(g.birds, g.field())) - set(birds), 3)


def read_aloud(g):  # a screen reader's view, through AT-SPI
    import pyatspi
    app = poll("the game on the accessibility bus", lambda: next(
        (a for a in pyatspi.Registry.getDesktop(0) if a and a.name == MAIN), None), 10)
    every = lambda n: [n] + [d for c in n if c for d in every(c)]
    nodes = [n for n in every(app) if n.getState().contains(pyatspi.STATE_SHOWING)]
    role = lambda *roles: [n for n in nodes if n.getRoleName() in roles]
    buttons = lambda: [(n.getRoleName(), n.name, n.getState().contains(pyatspi.STATE_CHECKED))
                       for n in role("check box", "push button")]
    bars = lambda: {n.name: n.queryValue().currentValue for n in role("progress bar")}
    cb, push = "check box", "push button"
    toolbar = [(cb, "Play", False), (cb, "Pause", False), (cb, "Stop", True),
               (push, "Decrease Speed", False), (push, "Increase Speed", False),
               (cb, "Sound On/Off", True), (push, "Info", False), (push, "Exit", False)]
    check(buttons() == toolbar, "each toolbar button named by its tool tip; the group and the "
          "sound button report their state, the others are push buttons")
    check(bars() == {"Speed:": 40, "Birds:": 1, "Bullets:": 10}, f"the bars by name: {bars()}")
    names = [n.name for n in nodes]
    check("Play field" in names and any(n.startswith("Score: ") for n in names),
          "the play field and the score are named")
    next(n for n in role(push) if n.name == "Increase Speed").queryAction().doAction(0)
    poll("the reader's press on Increase Speed: one step faster", lambda: bars()["Speed:"] == 43, 2)
    check(buttons() == toolbar, "and no button left pressed")


def play(g):  # a real press hits, is heard, and costs no bullet
    g.go()
    if SHOTS:  # wait for a crowd, then hit one of it
        crowd = lambda: len(found(g.birds, g.field())) >= 3 and aim_and_hit(g, 3)
        poll("an explosion among birds", lambda: (h := crowd()) and len(h[1]) >= 2 and h[0],
             60).crop(*g.box(g.win)).save(f"{SHOTS}/screenshot-explosion.png")
    poll("the gun full", lambda: g.bullets() > 0.98, 5)
    at = os.path.getsize(g.wav)
    check(aim_and_hit(g, 20, 3), "the right button: a bird hit explodes where it was")
    full = min(g.bullets() for _ in range(6))
    check(full > 0.98, f"a hit costs no bullet ({full:.2f})")
    with open(g.wav, "rb") as f:  # the float samples written since the gun was full
        first = f.read(4096).find(b"data") + 8
        f.seek(first + max(0, at - first) // 4 * 4)
        raw = f.read()
    peak = max(map(abs, array.array("f", raw[:len(raw) // 4 * 4])), default=0.0)
    check(peak > 0.05, f"the shots are heard (peak {peak:.5f})")


def at_scale_1_25(g):  # presses rounded to the field's pixels exactly as X11 reports them
    g.locate()
    g.go()
    # A press on the field's border is no shot, one on its edge is. A bird that flies in and is
    # hit gives its bullet back, so a shot that seems lost is tried again.
    for x, y, shot in ((-1, 399, False), (0, 400, False), (0, 399, True), (599, 0, True),
                       (600, 0, False)):
        poll("the gun full", lambda: g.bullets() > 0.98, 6)
        for _ in range(3 if shot else 1):
            poll(f"no bird over ({x}, {y})", lambda: clear_at(g, min(x, W - 1), min(y, H - 1)), 10)
            before = g.bullets()
            for _ in range(2 if shot else 1):  # two: a reload meanwhile gives back only one
                g.shoot(x, y)
            time.sleep(0.5)
            if (after := g.bullets()) < before - 0.05:
                break
        check((after < before - 0.05) == shot, f"scale 1.25: a press at field pixel ({x}, {y}) "
              f"{'shoots' if shot else 'is on the border'} (bullets {before:.2f} -> {after:.2f})")


def run(work, name, steps, **env):  # a fresh copy of the program, played through steps
    g = Game(copy_run(sys.argv[1], f"{work}/{name}"))
    g.wav, conf = f"{g.dir}/sound.wav", f"{g.dir}/alsoft.conf"  # what it plays, in a file
    open(conf, "w").write(f"[wave]\nfile={g.wav}\n")
    g.proc = launch([f"{g.dir}/morvel-birds"], dict(
        g.env, ALSOFT_DRIVERS="wave", ALSOFT_CONF=conf, XDG_RUNTIME_DIR=work, **env),
        f"{g.dir}/program.log")
    try:
        for step in steps:
            step(g)
    except AssertionError as e:
        g.grab().save(f"{work}/failure.png")
        print(open(f"{g.dir}/program.log").read().strip())
        raise AssertionError(f"{e}; screenshot in {work}/failure.png")
    finally:
        g.close()


def main():
    if "MORVEL_E2E_BUS" not in os.environ:  # a screen reader's session: a private bus, which
        os.environ["MORVEL_E2E_BUS"] = "1"  # starts the accessibility bus when first asked
        os.execvp("dbus-run-session", ["dbus-run-session", "--", sys.executable, *sys.argv])
    work = tempfile.mkdtemp(prefix="morvel-e2e-")
    try:
        run(work, "run", (title, read_aloud, play),
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        run(work, "scaled", (at_scale_1_25,), QT_SCALE_FACTOR="1.25")
    except AssertionError as e:
        print("FAIL:", e)
        return 1
    shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
