"""Reads INF files, as far as needed to tell which architecture a driver package can be installed on."""

import codecs


class NotInf(Exception):
    """The file is not an INF file, for the reason in the text."""


# Windows accepts a signed driver package only with these entries in [Version].
_VERSION_ENTRIES = ("Signature", "Class", "ClassGuid", "Provider", "DriverVer")
_SIGNATURES = ("$windows nt$", "$chicago$")


def _text(data):
    if data.startswith((codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)):
        text = data.decode("utf-16", errors="replace")
    elif data.startswith(codecs.BOM_UTF8):
        text = data.decode("utf-8-sig", errors="replace")
    else:
        text = data.decode("latin-1")  # only ASCII matters here; code pages differ in display texts
    if "\0" in text:
        raise NotInf("is not a text file")
    return text


def _without_comment(line):
    quoted = False
    for position, character in enumerate(line):
        if character == '"':
            quoted = not quoted
        elif character == ";" and not quoted:
            return line[:position].strip()
    return line.strip()


def _logical_lines(text):
    """Yields lines without comments and blank lines; a backslash at its end joins a line to the next."""
    pending = ""
    for line in text.splitlines():
        line = pending + _without_comment(line)
        if line.endswith("\\"):
            pending = line[:-1]
            continue
        pending = ""
        if line:
            yield line
    if pending:
        yield pending


def _value(text):
    return text.strip().strip('"').strip()


class Inf:
    """The sections of an INF file, by name in any case, each with its lines in order."""

    def __init__(self, data):
        """Reads the bytes of the file. Raises NotInf if it is not an INF file."""
        self._sections = {}
        section = None
        for line in _logical_lines(_text(data)):
            if line.startswith("["):
                name, bracket, rest = line[1:].partition("]")
                if not bracket or rest.strip():
                    raise NotInf(f"has a broken section line: {line}")
                section = self._sections.setdefault(name.strip().lower(), [])
            elif section is None:
                raise NotInf(f"has a line before its first section: {line}")
            else:
                section.append(line)
        if "version" not in self._sections:
            raise NotInf("has no [Version] section")

    def _entries(self, section):
        for line in self._sections.get(section.lower(), ()):
            name, _, value = line.partition("=")
            yield name.strip(), value

    def _version(self):
        return {name.lower(): _value(value) for name, value in self._entries("Version")}

    def catalogs(self):
        """Returns the names of the catalog files in [Version], whatever system they are for."""
        return [value for name, value in self._version().items()
                if name == "catalogfile" or name.startswith("catalogfile.")]

    def _models(self):
        """Yields (section, decoration) of each models section that [Manufacturer] leads to."""
        for name, value in self._entries("Manufacturer"):
            models, *decorations = [_value(part) for part in (value or name).split(",")]
            for decoration in ["", *decorations]:
                section = f"{models}.{decoration}" if decoration else models
                if section.lower() in self._sections:
                    yield section, decoration.lower()

    def problems(self, architecture):
        """Yields the reasons why the file cannot be installed on "x64" or "x86"."""
        version = self._version()
        for entry in _VERSION_ENTRIES:
            if not version.get(entry.lower()):
                yield f"[Version] has no {entry}"
        if version.get("signature", _SIGNATURES[0]).lower() not in _SIGNATURES:
            yield f'[Version] has the unknown Signature "{version["signature"]}"'
        if not self.catalogs():
            yield "[Version] has no CatalogFile"
        decorations = [decoration for _, decoration in self._models()]
        if "manufacturer" not in self._sections:
            yield "has no [Manufacturer] section"
        elif architecture == "x64" and not any(d.startswith("ntamd64") for d in decorations):
            yield "[Manufacturer] leads to no models section for x64 (such as [Models.NTamd64])"
        elif architecture == "x86" and not any(
                d in ("", "nt") or d.startswith(("nt.", "ntx86")) for d in decorations):
            yield "[Manufacturer] leads to no models section for x86 (such as [Models.NTx86])"
