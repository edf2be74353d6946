#!/usr/bin/env python3
"""usage: title_cpu.py RUN_DIR FLOOR. Runs the real program's title state and the floor program
(the least the title state must do: a background copied into a back buffer and shown, on the
same 50 ms timer) side by side under a private Xvfb, and fails when the game's CPU over the same
seconds exceeds BOUND times the floor's.

BOUND is 2. On a busy two-core machine the title state costs 0.8 to 1.1 times the floor over
five runs, the program before its mixer paused and its repaints shrank 2.3 to 2.7 times: a
mixer left running on silence (about 1.3 % of a core there) would alone take it past 2 again,
while twice the headroom keeps a loaded machine from failing a healthy build."""
import os, shutil, subprocess, sys, tempfile, time

BOUND, SETTLE, SAMPLE = 2.0, 3, 8


def cpu_ns(pid):  # every live thread, to the nanosecond
    total = 0
    for tid in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{tid}/schedstat") as f:
                total += int(f.read().split()[0])
        except OSError:
            pass  # ended meanwhile
    return total


def main(run_dir, floor):
    with tempfile.TemporaryDirectory() as tmp:
        for name in ("morvel-birds", "Graphics", "Sounds"):
            src = os.path.join(run_dir, name)
            (shutil.copytree if os.path.isdir(src) else shutil.copy)(src, os.path.join(tmp, name))
        read, write = os.pipe()
        xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-noreset", "-nolisten", "tcp",
                                 "-screen", "0", "1024x768x24"], pass_fds=[write],
                                stderr=subprocess.DEVNULL)
        os.close(write)
        display = os.read(read, 64).decode().strip()
        env = dict(os.environ, DISPLAY=":" + display, ALSOFT_DRIVERS="null", ALSOFT_LOGLEVEL="0",
                   XDG_RUNTIME_DIR=tmp, QT_QPA_PLATFORM="xcb")
        procs = []
        try:
            procs.append(subprocess.Popen([os.path.join(tmp, "morvel-birds")], env=env))
            procs.append(subprocess.Popen([floor, "50", os.path.join(tmp, "Graphics",
                                                                   "BackGround.bmp")], env=env))
            time.sleep(SETTLE)
            if any(p.poll() is not None for p in procs):
                sys.exit("a program ended before the sample")
            before = [cpu_ns(p.pid) for p in procs]
            time.sleep(SAMPLE)
            game, floor_ns = (cpu_ns(p.pid) - b for p, b in zip(procs, before))
        finally:
            for p in procs + [xvfb]:
                p.kill()
                p.wait()
        pct = lambda ns: 100 * ns / 1e9 / SAMPLE
        ratio = game / max(floor_ns, 1)
        print(f"title state: game {pct(game):.2f} %, floor {pct(floor_ns):.2f} % of a core, "
              f"ratio {ratio:.2f} (bound {BOUND})")
        if ratio > BOUND:
            sys.exit(f"the title state costs {ratio:.2f} times the floor, more than {BOUND}")


if __name__ == "__main__":
    main(*sys.argv[1:3])
