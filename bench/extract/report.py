"""Makes tables from the output of bench_extract."""

import struct
from collections import defaultdict
from statistics import median, quantiles

MB = 1_000_000
RATIOS = (("extract", "console x"), ("extract", "x inside"), ("extract", "t - start"),
          ("extract", "decode"), ("own process", "console x"))


def parse(output):
    """Returns {name: values in the order of the rounds}."""
    values = defaultdict(list)
    for line in output.splitlines():
        name, _, value = line.partition("\t")
        if value:
            values[name].append(float(value))
    values["t - start"] = [test - start for test, start in
                           zip(values["console t"], values["start"], strict=True)]
    return values


def ratios(values, upper, lower):
    """Returns the ratio of two values in each round."""
    return [one / other for one, other in zip(values[upper], values[lower], strict=True)]


def spread(values, digits):
    """Returns the median, followed by the range of the middle half of the values."""
    low, _, high = quantiles(values, n=4) if len(values) > 1 else values * 3
    return f"{median(values):.{digits}f} ({low:.{digits}f}-{high:.{digits}f})"


def table(title, head, rows):
    """Prints rows below their head. The first column is aligned to the left, all others to the right."""
    cells = [head, *rows]
    widths = [max(len(row[column]) for row in cells) for column in range(len(head))]
    print(f"\n{title}\n")
    for row in cells:
        first, *others = (cell.rjust(width) for cell, width in zip(row, widths, strict=True))
        print("  ".join([first.strip().ljust(widths[0]), *others]).rstrip())


def show_times(results):
    columns = ("console x", "x inside", "console t", "start", "decode", "own process")
    head = ["archive", "packed", "unpacked", "extract", "per MB", *columns]
    rows = []
    for name, values in results:
        unpacked = values["unpacked"][0] / MB
        rows.append([name, f"{values['packed'][0] / MB:.2f} MB", f"{unpacked:.1f} MB",
                     spread(values["extract"], 0), f"{median(values['extract']) / unpacked:.2f}",
                     *(spread(values[column], 0) for column in columns)])
    table("Milliseconds: median (middle half)", head, rows)


def show_ratios(results):
    """Prints the ratios in the same round and those of the fastest runs."""
    # Other work on the machine slows both sides of a round, but not always to the same degree. It affects
    # the fastest run of each side least.
    head = ["archive", *(f"{upper} / {lower}" for upper, lower in RATIOS)]
    in_rounds, of_fastest = [], []
    for name, values in results:
        in_rounds.append([name, *(spread(ratios(values, *pair), 3) for pair in RATIOS)])
        of_fastest.append([name, *(f"{min(values[upper]) / min(values[lower]):.3f}"
                                   for upper, lower in RATIOS)])
    table("Ratios in the same round: median (middle half)", head, in_rounds)
    table("Ratios of the fastest runs", head, of_fastest)


def show_memory(results):
    names = ("own process memory", "console x memory")
    head = ["archive", "own process", "console x", "own process / console x"]
    rows = []
    for name, values in results:
        rows.append([name, *(spread([peak / MB for peak in values[column]], 2)
                             for column in names), spread(ratios(values, *names), 3)])
    table("Largest memory, MB: median (middle half)", head, rows)


def show(results):
    """Prints the tables. `results` has (name, values) for each archive."""
    show_times(results)
    show_ratios(results)
    show_memory(results)


def section_sizes(image):
    """Returns {name: bytes in the file} for the sections of a PE file."""
    header = struct.unpack_from("<I", image, 0x3C)[0]
    count, optional_size = struct.unpack_from("<H12xH", image, header + 6)
    sizes = {}
    for index in range(count):
        name, size = struct.unpack_from("<8s8xI", image, header + 24 + optional_size + index * 40)
        sizes[name.rstrip(b"\0").decode("ascii")] = size
    return sizes


def show_library(path):
    """Prints the size of the library with and without its resources."""
    image = path.read_bytes()
    resources = section_sizes(image).get(".rsrc", 0)
    print(f"\n{path.name}: {len(image)} bytes, {len(image) - resources} without its resources")
