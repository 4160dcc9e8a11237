"""Tells whether a program can be loaded by an old Windows, as far as its file shows that."""

from pe_file import Import


def read_table(text):
    """The table in windows_functions.txt: for each function, the oldest Windows that exports it, as
    (major, minor)."""
    table = {}
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        module, function, version = line.split()
        if Import(module, function) in table:
            raise ValueError(f"two rows for {module} {function}")
        table[Import(module, function)] = version_of(version)
    return table


def version_of(text):
    """"6.1" as (6, 1)."""
    major, minor = text.split(".")
    return int(major), int(minor)


def findings(program, table, oldest):
    """What keeps `program`, a PeFile, from being loaded by the Windows version `oldest`, and what is
    not known: one sentence each."""
    found = []
    for what, version in (("Windows", program.os_version()),
                          ("subsystem", program.subsystem_version())):
        if version > oldest:
            found.append(f"the header demands {what} {version[0]}.{version[1]}")
    for entry in sorted(program.imports()):
        if entry not in table:
            found.append(f"{entry.module} {entry.function} is not in the table")
        elif table[entry] > oldest:
            major, minor = table[entry]
            found.append(f"{entry.module} {entry.function} is new in Windows {major}.{minor}")
    return found
