"""Describes an installation of the library, and puts its ZIP into a reproducible form.

    describe.py installation --source DIR --components FILE --root DIR --documents DIR FILE...
    describe.py zip --source DIR FILE

The first writes sbom.spdx.json (SPDX 2.3) and SHA256SUMS to the documents' folder below the root.
The second rewrites the archive: its entries are sorted and all have the same time and permissions.

Both use the time SOURCE_DATE_EPOCH, or else the time of the commit, or else the start of 1980, which is
the earliest time in a ZIP.
"""

import argparse
import hashlib
import json
import os
import subprocess
import time
import zipfile
from pathlib import Path

SBOM = "sbom.spdx.json"
SUMS = "SHA256SUMS"
START_OF_ZIP_TIME = 315532800  # 1 January 1980


def source_time(source):
    """Returns that time, in seconds since 1970."""
    if "SOURCE_DATE_EPOCH" in os.environ:
        return max(int(os.environ["SOURCE_DATE_EPOCH"]), START_OF_ZIP_TIME)
    commit = subprocess.run(
        ["git", "-C", source, "log", "-1", "--format=%ct"],
        capture_output=True, text=True, check=False,
    )
    return int(commit.stdout) if commit.returncode == 0 else START_OF_ZIP_TIME


def digest(file, algorithm):
    return hashlib.new(algorithm, file.read_bytes()).hexdigest()


def identifier(kind, name):
    """Returns an SPDX identifier, which consists of letters, digits, dots and hyphens."""
    return f"SPDXRef-{kind}-" + "".join(c if c.isalnum() else "-" for c in name)


def spdx_package(component):
    """Returns the SPDX package for a component of components.json."""
    package = {
        "SPDXID": identifier("Package", component["name"]),
        "name": component["name"],
        "supplier": component.get("supplier", "NOASSERTION"),
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": component["licence"],
        "licenseDeclared": component["licence"],
        "copyrightText": "NOASSERTION",
        "comment": component["comment"],
    }
    if component["version"] != "NOASSERTION":
        package["versionInfo"] = component["version"]
    if "home" in component:
        package["homepage"] = component["home"]
    return package


def spdx_file(root, name):
    return {
        "SPDXID": identifier("File", name),
        "fileName": f"./{name}",
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": digest(root / name, "sha1")},
            {"algorithm": "SHA256", "checksumValue": digest(root / name, "sha256")},
        ],
        "licenseConcluded": "NOASSERTION",
        "copyrightText": "NOASSERTION",
    }


def relationship(subject, kind, to):
    return {"spdxElementId": subject, "relationshipType": kind, "relatedSpdxElement": to}


def bill_of_materials(components, root, names, seconds):
    """Returns the SPDX document. The first component is the product, and the others are linked into it."""
    packages = [spdx_package(component) for component in components]
    files = [spdx_file(root, name) for name in names]
    product, *linked_in = (package["SPDXID"] for package in packages)
    content = hashlib.sha256(json.dumps(files).encode()).hexdigest()
    name = f"{components[0]['name']}-{components[0]['version']}"
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": name,
        "documentNamespace": f"https://spdx.org/spdxdocs/{name}-{content}",
        "creationInfo": {
            "created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds)),
            "creators": ["Tool: libmendloft-describe"],
        },
        "packages": packages,
        "files": files,
        "hasExtractedLicensingInfos": [
            {"licenseId": licence, "extractedText": text}
            for component in components
            for licence, text in component.get("extracted", {}).items()
        ],
        "relationships": [
            relationship("SPDXRef-DOCUMENT", "DESCRIBES", product),
            *(relationship(product, "STATIC_LINK", part) for part in linked_in),
            *(relationship(product, "CONTAINS", file["SPDXID"]) for file in files),
        ],
    }


def describe_installation(arguments):
    """Writes the bill of materials and the checksums, which cover the bill of materials too."""
    root = Path(arguments.root)
    # The paths in CMake's list of installed files lack DESTDIR, which the root starts with.
    destination = os.environ.get("DESTDIR", "")
    names = sorted({Path(destination + file).relative_to(root).as_posix() for file in arguments.file})
    documents = root / arguments.documents
    documents.mkdir(parents=True, exist_ok=True)

    described = json.loads(Path(arguments.components).read_text(encoding="utf-8"))
    components = [component for component in described
                  if "only with" not in component or component["only with"] in names]
    bill = bill_of_materials(components, root, names, source_time(arguments.source))
    (documents / SBOM).write_text(json.dumps(bill, indent=2) + "\n", encoding="utf-8")

    names = sorted([*names, f"{arguments.documents}/{SBOM}"])
    sums = [f"{digest(root / name, 'sha256')}  {name}\n" for name in names]
    (documents / SUMS).write_text("".join(sums), encoding="utf-8")


def rewrite_zip(arguments):
    """Rewrites the archive in place."""
    original = Path(arguments.file)
    rewritten = original.with_suffix(".new")
    when = time.gmtime(source_time(arguments.source))[:6]
    with zipfile.ZipFile(original) as source, zipfile.ZipFile(rewritten, "w") as target:
        for name in sorted(name for name in source.namelist() if not name.endswith("/")):
            entry = zipfile.ZipInfo(name, when)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3  # Unix, so that the permissions below apply
            entry.external_attr = 0o100644 << 16
            target.writestr(entry, source.read(name), compresslevel=9)
    rewritten.replace(original)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    commands = parser.add_subparsers(required=True)
    installation = commands.add_parser("installation")
    installation.set_defaults(run=describe_installation)
    installation.add_argument("--source", required=True)
    installation.add_argument("--components", required=True)
    installation.add_argument("--root", required=True)
    installation.add_argument("--documents", required=True)
    installation.add_argument("file", nargs="+")
    archive = commands.add_parser("zip")
    archive.set_defaults(run=rewrite_zip)
    archive.add_argument("--source", required=True)
    archive.add_argument("file")
    arguments = parser.parse_args()
    arguments.run(arguments)


if __name__ == "__main__":
    main()
