"""Decides which mutants are tried, and in which order."""

import random


def spread(mutants_of_file, size_of_file, seed):
    """Mixes the mutants of all files. However many are taken from the start of the result, each file
    has a share in proportion to its size. The same seed gives the same order."""
    placed = []
    for file, mutants in sorted(mutants_of_file.items()):
        order = list(mutants)
        random.Random(f"{seed} {file}").shuffle(order)
        for rank, mutant in enumerate(order):
            placed.append(((rank + 0.5) / size_of_file[file], file, rank, mutant))
    placed.sort(key=lambda entry: entry[:3])
    return [entry[3] for entry in placed]


def code_size(text):
    """Returns the number of lines that are neither blank nor just a comment, at least 1."""
    lines = (line.strip() for line in text.splitlines())
    return max(1, sum(1 for line in lines if line and not line.startswith("//")))
