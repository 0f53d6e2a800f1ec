#!/usr/bin/env python3
"""compare-checkpoints.py A B: the largest relative differences between two column checkpoints
(CXcheckpoint.txt) of the same setup, field by field, and the largest over the node masses
(MassLiq, MassSolid, MassWater, PhaseMass).  Used to show that a change to the solver's speed
left a run's results alone, or moved them only by round-off."""
import sys


def read(path):
    fields = {}
    with open(path) as f:
        for line in f:
            name, sep, rest = line.partition(":")
            if not sep:
                continue
            words = rest.split()
            values = []
            for w in words:
                try:
                    values.append(float(w))
                except ValueError:
                    values = None
                    break
            if values:
                fields[name.strip()] = values
    return fields


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: compare-checkpoints.py A B")
    a, b = read(sys.argv[1]), read(sys.argv[2])
    worst = []
    for name in sorted(set(a) & set(b)):
        va, vb = a[name], b[name]
        if len(va) != len(vb):
            print(f"{name}: shapes differ ({len(va)} vs {len(vb)} numbers)")
            continue
        scale = max((abs(x) for x in va), default=0.0) or 1.0
        d = max((abs(x - y) / max(abs(x), abs(y), 1e-12 * scale)
                 for x, y in zip(va, vb) if x != y), default=0.0)
        worst.append((d, name))
    for name in sorted(set(a) ^ set(b)):
        print(f"{name}: only in one file")
    worst.sort(reverse=True)
    for d, name in worst[:10]:
        print(f"{name:24s} {d:.3e}")
    masses = [d for d, n in worst if n in ("MassLiq", "MassSolid", "MassWater", "PhaseMass")]
    print(f"largest relative difference of node masses: {max(masses, default=0.0):.3e}")


if __name__ == "__main__":
    main()
