#!/usr/bin/env python3
"""usage: e2e_desktops.py RUN_DIR [COMPOSITOR...]. Starts the game as a desktop starts it under
its compositor, nested in an Xvfb and run by a user made here, at scales 1 and 2: framed by the
desktop, a bird hit, closing asks in a dialog over the main window. A desktop that cannot run
here is left out, saying why; exit status 77 when none can. E2E_SHOTS_DIR=DIR saves
screenshot-gnome/kde(-exit).png at scale 1."""
import glob, os, pwd, shutil, subprocess, sys, tempfile

from harness import H, MAIN, SHOTS, W, Game, aim_and_hit, check, copy_run, launch, poll, sh

# compositor: the session's desktop name and the platform the game should take there. Mutter
# draws no title bars for Wayland clients: the game goes through Xwayland.
DESKTOPS = {"mutter": ("GNOME", "xcb"), "kwin_wayland": ("KDE", "wayland")}
EXIT_SIZE = (361, 232)  # the exit dialog's client area at scale 1


def changed(a, b):  # bounding box (x0, y0, x1, y1) of the pixels that differ, or None
    box = None
    for y in range(a.h):
        if d := int.from_bytes(a.row(y, 0, a.w), "big") ^ int.from_bytes(b.row(y, 0, b.w), "big"):
            # the highest and the lowest bit set lie in the first and the last pixel that differ
            x0, x1 = a.w - 1 - (d.bit_length() - 1) // 24, a.w - ((d & -d).bit_length() - 1) // 24
            box = (min(x0, box[0]), box[1], max(x1, box[2]), y + 1) if box else (x0, y, x1, y + 1)
    return box


def settled(g, what, probe=bool):  # a screen that stays the same and satisfies probe
    shots = [g.grab(raw=True)]

    def same():
        shots.append(g.grab(raw=True))
        return shots[-1].data == shots[-2].data and probe(shots[-1]) and shots[-1]
    return poll(what, same, 5, 0.2)


def play(run_dir, user, kind, k, work):  # returns why the desktop cannot run here, if it cannot
    g, (name, platform) = Game(run_dir, (800 * k, 640 * k), k), DESKTOPS[kind]
    xdg = f"{work}/{kind}{k}"  # the session's runtime directory
    as_user = lambda args, env: [  # args run as user with nothing but env
        "setpriv", f"--reuid={user.pw_uid}", f"--regid={user.pw_gid}", "--init-groups", "env", "-i",
        *[f"{n}={v}" for n, v in env.items()], *args]
    env = {"PATH": "/usr/bin:/bin", "HOME": user.pw_dir, "XDG_RUNTIME_DIR": xdg,
           "DISPLAY": g.env["DISPLAY"]}
    os.mkdir(xdg, 0o700)
    os.chown(xdg, user.pw_uid, user.pw_gid)
    if kind == "mutter":
        env.update(MUTTER_DEBUG_DUMMY_MODE_SPECS="%dx%d" % g.size,
                   MUTTER_DEBUG_DUMMY_MONITOR_SCALES=str(k))
        args = ["mutter", "--wayland", "--nested", "--wayland-display=wl-morvel"]
    else:  # a copy without the file capability a container may refuse, named as its platform
        # plugin requires; its size in logical pixels
        os.makedirs(f"{work}/kwin", exist_ok=True)
        args = [shutil.copy("/usr/bin/kwin_wayland", f"{work}/kwin/"), "--x11-display",
                env["DISPLAY"], "--socket", "wl-morvel", "--xwayland", "--no-lockscreen",
                "--width", "800", "--height", "640", "--scale", str(k)]
    g.desktop = launch(as_user(["dbus-run-session", "--", *args], env), None, f"{xdg}.log")
    xwayland = lambda: subprocess.run(["pgrep", "-a", "-g", str(g.desktop.pid), "Xwayland"],
                                      capture_output=True, text=True).stdout.split()
    try:  # its Xwayland's command line names the display, and mutter's key to it
        args = poll(f"{kind} is up", lambda: os.path.exists(f"{xdg}/wl-morvel") and xwayland(),
                    15, 0.1)
        env.update(WAYLAND_DISPLAY="wl-morvel", DISPLAY=args[2])
        if "-auth" in args:
            env["XAUTHORITY"] = args[args.index("-auth") + 1]
        xw = lambda *args, data=None: subprocess.run(
            as_user(args, env), input=data, capture_output=True).stdout.decode()
        # The session's scale, as GNOME and Plasma tell their X clients
        xw("xrdb", "-merge", data=b"Xft.dpi: %d\n" % (96 * k))
        g.keys()  # parks the pointer, in the corner of the compositor's output
        empty = settled(g, "the empty desktop")
        g.proc = launch(as_user([f"{run_dir}/morvel-birds"], dict(
            env, XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP=name, ALSOFT_DRIVERS="null")),
            None, f"{work}/program.log")
        g.locate()
        maps = open(f"/proc/{g.proc.pid}/maps").read()
        took = "xcb" if "libqxcb" in maps else "wayland" if "libqwayland" in maps else "?"
        check(took == platform and "bradient" not in maps,
              f"on {took}, no title bar drawn by the toolkit: the compositor frames the game")
        if took == "xcb":  # what the desktop's window manager lets a player do with it
            win = xw("xdotool", "search", "--onlyvisible", "--name", f"^{MAIN}$").split()[0]
            allowed = xw("xprop", "-id", win, "_NET_WM_ALLOWED_ACTIONS")
            check("CLOSE" in allowed and "MAXIMIZE" not in allowed and "MINIMIZE" not in allowed,
                  "the title bar offers close only")
        main = changed(empty, g.grab(raw=True))
        g.keys(*["alt+o", "d"] * 7)  # the slowest speed: the compositor shows each frame late
        g.go()
        check(hit := aim_and_hit(g, 20), "a click on a bird hits it")
        box = main[0] - 8, main[1] - 8, main[2] + 8, main[3] + 8  # the main window and around it
        shoot = lambda shot, what: SHOTS and k == 1 and shot.crop(*box).save(
            f"{SHOTS}/screenshot-{what}.png")
        shoot(hit[0], name.lower())
        g.keys("alt+g", "p")  # paused, so that only the dialog changes the screen
        before = settled(g, "paused: the screen stands still")
        x, y, (w, h) = g.phase[0] + k * g.fx, g.phase[1] + k * g.fy, EXIT_SIZE
        field = lambda shot: shot.crop(x, y, x + k * W, y + k * H)
        g.keys("alt+F4")
        shot = settled(g, "closing the main window: a dialog over the field", lambda s: (
            d := changed(field(before), field(s))) and d[2] - d[0] >= k * w
            and d[3] - d[1] >= k * h)
        d = changed(before, shot)
        check(g.proc.poll() is None and main[0] <= d[0] and main[1] <= d[1] and d[2] <= main[2]
              and d[3] <= main[3], f"the game running, all that changed {d} in its window {main}")
        shoot(shot, f"{name.lower()}-exit")
        g.keys("Return")
        poll("Yes! ends the program", lambda: g.proc.poll() is not None, 5)
        check(g.proc.returncode == 0, f"with exit code 0 ({g.proc.returncode})")
    except AssertionError as e:
        if g.proc:
            g.grab(raw=True).save(f"{work}/failure-{kind}-{k}.png")
            raise AssertionError(f"{e}\n" + open(f"{work}/program.log").read().strip())
        return f"{kind} did not come up: " + open(f"{xdg}.log").read()[-600:]
    finally:
        g.close()


def main():
    missing = [t for t in ("Xvfb", "Xwayland", "xdotool", "xprop", "xrdb", "import", "useradd",
                           "dbus-run-session") if not shutil.which(t)]
    if os.geteuid() or missing:
        print("skipped:", f"missing {missing}" if missing else
              "needs root, to make the user the compositors run as (they refuse root)")
        return 77
    work, name = tempfile.mkdtemp(prefix="morvel-desktops-"), f"morvel-e2e-{os.getpid()}"
    os.chmod(work, 0o755)
    sh("useradd", "--create-home", "--home-dir", f"{work}/home", "--shell", "/bin/false", name)
    sh("chown", "-R", f"{name}:", copy_run(sys.argv[1], f"{work}/run"))
    ran = False
    try:
        for kind, k in ((kind, k) for kind in sys.argv[2:] or DESKTOPS for k in (1, 2)):
            print(f"== {kind} at scale {k}", flush=True)
            if why := f"{kind} is not installed" if not shutil.which(kind) else play(
                    f"{work}/run", pwd.getpwnam(name), kind, k, work):
                print("left out:", why)
            ran = ran or not why
    except AssertionError as e:
        print(f"FAIL: {e}; screenshots in {work}")
        return 1
    finally:
        for p in glob.glob("/tmp/.X11-unix/X*") + glob.glob("/tmp/.X*-lock"):
            if os.stat(p).st_uid == pwd.getpwnam(name).pw_uid:  # left by a killed Xwayland
                os.remove(p)
        subprocess.run(["userdel", name])
    shutil.rmtree(work, ignore_errors=True)
    return 0 if ran else 77


if __name__ == "__main__":
    sys.exit(main())
