"""Which mutants are tried, and in which order."""

import random


def spread(mutants_of_file, size_of_file, seed):
    """Mixes the mutants of all files so that any beginning of the result has about as many of each
    file as the file is large. The same seed gives the same order."""
    placed = []
    for file, mutants in sorted(mutants_of_file.items()):
        order = list(mutants)
        random.Random(f"{seed} {file}").shuffle(order)
        for rank, mutant in enumerate(order):
            placed.append(((rank + 0.5) / size_of_file[file], file, rank, mutant))
    placed.sort(key=lambda entry: entry[:3])
    return [entry[3] for entry in placed]


def code_size(text):
    """The number of lines that hold more than blanks and a comment."""
    lines = (line.strip() for line in text.splitlines())
    return max(1, sum(1 for line in lines if line and not line.startswith("//")))
