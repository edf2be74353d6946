#!/usr/bin/env python3
"""Coverage of one reader's own code, from `llvm-cov export` of its fuzz target:
   fuzzcov.py <target> <export.json> <missed.txt>
Prints one summary line (branch outcomes and code regions taken) and writes every branch outcome
never taken, as file:line:column, to missed.txt."""
import json
import re
import sys

# The reader behind each target: whole files, or the functions of a file that read or write it.
READERS = {
    "bitmap": [("src/platform/gdi/bitmapfile.cpp", None),
               ("src/platform/gdi/gdi.cpp", r"LoadImageA|BitBlt|clipAxis|Row")],
    "wave": [("src/platform/directsound/wavfile.cpp", None)],
    "scores": [("src/scores/ScoreFile.cpp", None),
               ("src/scores/frmHiScores.cpp",
                r"LoadScores|SaveScores|mnuReset_Click|ScoreChecksum|ScoresPath")],
}

target, export, missed_path = sys.argv[1:4]
selection = READERS[target]


def chosen(filename, function):
    return any(filename.endswith(f) and (rx is None or re.search(rx, function))
               for f, rx in selection)


regions = [0, 0]
outcomes = [0, 0]
missed = set()
for fn in json.load(open(export))["data"][0]["functions"]:
    files = fn["filenames"]
    if not chosen(files[0], fn["name"]):
        continue
    for ls, cs, le, ce, count, fid, _, kind in fn["regions"]:
        if kind == 0 and chosen(files[fid], fn["name"]):
            regions[0] += count > 0
            regions[1] += 1
    for ls, cs, le, ce, taken, not_taken, fid, _, _ in fn["branches"]:
        if not chosen(files[fid], fn["name"]):
            continue
        name = files[fid].split("/src/")[-1]
        for count, way in ((taken, "true"), (not_taken, "false")):
            outcomes[0] += count > 0
            outcomes[1] += 1
            if count == 0:
                missed.add((name, ls, cs, way))

with open(missed_path, "w") as out:
    for name, line, col, way in sorted(missed):
        out.write(f"{name}:{line}:{col} never {way}\n")


def pct(pair):
    return f"{pair[0]}/{pair[1]} {100.0 * pair[0] / max(pair[1], 1):.0f}%"


print(f"br {pct(outcomes)}, reg {pct(regions)}")
