#!/usr/bin/env python3
"""usage: e2e_game.py RUN_DIR. Plays the game under a private Xvfb with xdotool, checking screen,
windows, sound, scores.dat and what a screen reader finds, then briefly again at QT_SCALE_FACTOR
1.25. E2E_SHOTS_DIR=DIR also saves screenshot-title/explosion.png."""
import os, shutil, struct, subprocess, sys, tempfile, time

from harness import (H, MAIN, SHOTS, TITLE_AT, W, Game, aim_and_hit, check, clear_at, copy_run,
                     poll)

NAME = "Ada Lovebird"
rec = lambda name, points: struct.pack("<H", len(name)) + name + struct.pack("<i", points)
table = lambda first, total: b"".join(  # ten ranked entries, a spare one and the checksum
    rec(*e) for e in [first] + [(b"No One", 0)] * 9 + [(b"", 0)]) + struct.pack("<i", total)
FRESH = table((b"No One", 0), 5110)


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


def title(g):
    scores = f"{g.dir}/scores.dat"
    poll("a fresh scores.dat: ten No One at 0, checksum 5110",
         lambda: os.path.exists(scores) and open(scores, "rb").read() == FRESH, 10)
    g.locate()
    poll("the title banner drawn exactly at (76, 13)",
         lambda: g.title.match(g.field(), *TITLE_AT)[0] == 1.0, 5)
    birds = poll("the demonstration bird in view", lambda: [
        b for b in g.find(g.birds, g.field()) if 0 <= b[0] <= 460], 15)
    g.snapshot("title", g.grab())
    poll("the demonstration bird flies", lambda: set(g.find(g.birds, g.field())) - set(birds), 3)


def read_aloud(g):  # a screen reader's view, through AT-SPI
    import pyatspi
    app = poll("the game on the accessibility bus", lambda: next(
        (a for a in pyatspi.Registry.getDesktop(0) if a and a.name == MAIN), None), 10)
    every = lambda n: [n] + [d for c in n if c for d in every(c)]
    menus = [n.name for n in every(app) if n.getRoleName() == "menu item"]
    check(menus == ["Game", "Go!", "Pause", "Stop!", "High Scores", "Exit", "Options",
                    "Increase Speed", "Decrease Speed", "Toggle Sound", "Help", "Info"],
          "the menus and their items, in order")
    nodes = [n for n in every(app) if n.getState().contains(pyatspi.STATE_SHOWING)]
    role = lambda *roles: [n for n in nodes if n.getRoleName() in roles]
    buttons = lambda: [(n.getRoleName(), n.name, n.getState().contains(pyatspi.STATE_CHECKED))
                       for n in role("check box", "push button")]
    bars = lambda: {n.name: n.queryValue().currentValue for n in role("progress bar")}
    toolbar = [("check box", "Play", False), ("check box", "Pause", False),
               ("check box", "Stop", True), ("push button", "Decrease Speed", False),
               ("push button", "Increase Speed", False), ("check box", "Sound On/Off", True),
               ("push button", "Info", False), ("push button", "Exit", False)]
    check(buttons() == toolbar, "each toolbar button named by its tool tip; the group and the "
          "sound button report their state, the others are push buttons")
    check(bars() == {"Speed:": 40, "Birds:": 1, "Bullets:": 10}, f"the bars by name: {bars()}")
    names = [n.name for n in nodes]
    check("Play field" in names and any(n.startswith("Score: ") for n in names),
          "the play field and the score are named")
    button = next(n for n in role("push button") if n.name == "Increase Speed")
    button.queryAction().doAction(0)
    poll("the reader's press on Increase Speed: one step faster", lambda: bars()["Speed:"] == 43, 2)
    check(buttons() == toolbar, "and no button left pressed")


def play(g):  # a real press hits, sounds, costs no bullet; a shot is heard until sound is off
    g.keys("alt+g", "g")
    poll("the banner gone", lambda: g.title.match(g.field(), *TITLE_AT)[0] < 0.5, 3)
    if SHOTS:  # wait for a crowd, then hit one of it
        crowd = lambda: len(g.find(g.birds, g.field())) >= 3 and aim_and_hit(g, 3)
        g.snapshot("explosion", poll("an explosion among birds",
                                     lambda: (h := crowd()) and len(h[1]) >= 2 and h[0], 60))
    g.wait_bar("bullets", 0.99, 1, 5)
    check(aim_and_hit(g, 20, 3), "the right button: a bird hit explodes where it was")
    full = min(g.bar("bullets") for _ in range(6))
    check(full >= 0.99, f"a hit costs no bullet ({full:.2f})")
    for quiet in (False, True):
        if quiet:
            g.keys("alt+o", "t")
            time.sleep(1.6)  # sounds already playing finish
        spot = poll("a spot away from every bird", g.empty_spot, 10)
        at = os.path.getsize(g.wav) - (0 if quiet else 35280)
        g.shoot(*spot)
        time.sleep(0.6)
        peak = g.loudest(at)
        check(peak < 1e-4 if quiet else peak > 0.05,
              f"{'sound off: a shot is silent' if quiet else 'a shot is heard'} (peak {peak:.5f})")


def stop(g):  # the score offered to the table through the real name prompt
    g.keys("alt+g", "s")
    box = g.window("New High Score!")
    g.x("xdotool", "windowfocus", "--sync", box, "type", "--delay", "25", NAME)
    g.keys("Return", wid=box)
    hi = g.window("High Scores")
    data = open(f"{g.dir}/scores.dat", "rb").read()
    pts = struct.unpack_from("<i", data, 2 + len(NAME))[0]
    total = sum(NAME.encode()) + pts + 9 * sum(b"No One")  # name bytes plus points of ten
    check(pts > 0 and data == table((NAME.encode(), pts), total),
          f"scores.dat: {NAME} first with {pts} points over nine No One, checksum {total}")
    g.keys("Escape", wid=hi)
    g.window("High Scores", 3, gone=True)
    poll("the title again", lambda: g.title.match(g.field(), *TITLE_AT)[0] == 1.0, 3)


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
    # A screen reader's session: a private bus with the accessibility bus on it.
    bus, bus_pid = subprocess.run(["dbus-daemon", "--session", "--fork", "--print-address=1",
                                   "--print-pid=1"], capture_output=True, text=True).stdout.split()
    os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus
    atspi = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"],
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             start_new_session=True)  # ended with the bus it starts
    try:
        for run, env, steps in (
                ("run", {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"},
                 (title, read_aloud, play, stop, lambda g: leave(g, yes=False), leave)),
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
        os.killpg(atspi.pid, 15), atspi.wait(), os.kill(int(bus_pid), 15)
    if ok:
        shutil.rmtree(work, ignore_errors=True)
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
