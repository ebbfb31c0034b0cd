#!/usr/bin/python3
"""Sobol default tables and reference points from the Joe-Kuo initial
direction numbers (new-joe-kuo-6.21201) as scipy ships them.

  extract_sobol_directions.py tables <npz> <out.inc>
      writes vsl/rng/engines/sobol_tables.inc: the primitive polynomials,
      their degrees and 8 initial direction numbers each, for dimensions
      2..40. Before writing, the points built here from the extracted
      tables are compared with scipy's unscrambled Sobol (d = 40, 4096
      points, 32 bits), so a misreading of the npz stops the tool.
  extract_sobol_directions.py points <d> <count> <out.txt>
      writes scipy's unscrambled 32-bit Sobol points 0..count-1 and the four
      points 2^k-2..2^k+1 for k = 9..31, as "index: coordinates x 2^32"
      lines, the reference of tests/rng/sobol_test.cpp.

Run with /usr/bin/python3 (numpy and scipy); npz is
/usr/lib/python3/dist-packages/scipy/stats/_sobol_direction_numbers.npz.
"""
import sys

import numpy as np

DIMENSIONS = 40
INITIAL_NUMBERS = 8
BITS = 32


def read_tables(npz_path):
    z = np.load(npz_path)
    # Row 0 is the first dimension (no polynomial); rows 1..39 are dimensions 2..40.
    polys = [int(p) for p in z["poly"][1:DIMENSIONS]]
    degrees = [p.bit_length() - 1 for p in polys]
    minit = [[int(m) for m in row[:INITIAL_NUMBERS]] for row in z["vinit"][1:DIMENSIONS]]
    for p, e, m in zip(polys, degrees, minit):
        assert p & 1 and 1 <= e <= INITIAL_NUMBERS, (p, e)
        assert all(m[k] & 1 and m[k] < 2 ** (k + 1) for k in range(e)), (p, m)
        assert all(v == 0 for v in m[e:]), (p, m)
    return polys, degrees, minit


def directions(poly, degree, minit):
    """The 32 direction words of one dimension, counter bit 0 first."""
    v = [minit[k] << (BITS - 1 - k) for k in range(degree)]
    for k in range(degree, BITS):
        w = v[k - degree] ^ (v[k - degree] >> degree)
        for i in range(1, degree):
            if (poly >> (degree - i)) & 1:
                w ^= v[k - i]
        v.append(w)
    return v


def points(polys, degrees, minit, count):
    dirs = [[1 << (BITS - 1 - k) for k in range(BITS)]]
    dirs += [directions(p, e, m) for p, e, m in zip(polys, degrees, minit)]
    x = [0] * len(dirs)
    out = [list(x)]
    for k in range(count - 1):
        r = (~k & (k + 1)).bit_length() - 1  # lowest zero bit of k
        x = [xi ^ d[r] for xi, d in zip(x, dirs)]
        out.append(list(x))
    return out


def scipy_points(d, count, first=0):
    from scipy.stats import qmc

    engine = qmc.Sobol(d, scramble=False, bits=BITS)
    if first:
        engine.fast_forward(first)
    u = engine.random(count)
    ints = np.ldexp(u, BITS)
    assert np.all(ints == np.floor(ints))
    return ints.astype(np.uint64).tolist()


def write_tables(polys, degrees, minit, path, command):
    def rows(values, per_line):
        return ",\n".join(
            "    " + ", ".join(values[i:i + per_line]) for i in range(0, len(values), per_line))

    with open(path, "w") as f:
        f.write("// Sobol default tables for dimensions 2..40: primitive polynomials over\n"
                "// GF(2) (bit k = coefficient of x^k), their degrees and initial direction\n"
                "// numbers m_1..m_8 (zero beyond the degree), from the Joe-Kuo set\n"
                "// new-joe-kuo-6.21201. Generated, do not edit:\n"
                "//   %s\n\n" % command)
        f.write("static const uint32_t uSobolIrredPoly[%d] = {\n%s};\n\n"
                % (len(polys), rows(["%du" % p for p in polys], 10)))
        f.write("static const int32_t iSobolIrredPolyDeg[%d] = {\n%s};\n\n"
                % (len(degrees), rows(["%d" % e for e in degrees], 20)))
        f.write("static const uint32_t uSobolMInit[%d][%d] = {\n%s};\n"
                % (len(minit), INITIAL_NUMBERS,
                   ",\n".join("    {%s}" % ", ".join("%du" % m for m in row) for row in minit)))


def main(argv):
    if len(argv) == 4 and argv[1] == "tables":
        polys, degrees, minit = read_tables(argv[2])
        ours = points(polys, degrees, minit, 4096)
        if ours != scipy_points(DIMENSIONS, 4096):
            sys.exit("the extracted tables do not reproduce scipy's Sobol points")
        command = "/usr/bin/python3 tools/rng/extract_sobol_directions.py tables " \
                  "<scipy>/stats/_sobol_direction_numbers.npz vsl/rng/engines/sobol_tables.inc"
        write_tables(polys, degrees, minit, argv[3], command)
    elif len(argv) == 5 and argv[1] == "points":
        d, count = int(argv[2]), int(argv[3])
        with open(argv[4], "w") as f:
            f.write("# scipy.stats.qmc.Sobol(%d, scramble=False, bits=32): index: "
                    "coordinates x 2^32\n" % d)
            blocks = [(0, count)] + [(2 ** k - 2, 4) for k in range(9, 32)]
            for first, length in blocks:
                for i, p in enumerate(scipy_points(d, length, first)):
                    f.write("%d: %s\n" % (first + i, " ".join(str(c) for c in p)))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv)
