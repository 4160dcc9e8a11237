"""The docs tell what the code does: samples, results, messages and links are compared with it."""

import ast
import re
import shutil
import unittest

from support import ROOT, PackageTest, succeed

DOCS = ROOT / "docs"
MCS = shutil.which("mcs")


def read(path):
    return (ROOT / path).read_text("utf-8")


class HostGuide(PackageTest):

    def test_shows_the_examples_as_they_are(self):
        shown = dict(re.findall(r"<!-- (examples/\S+) -->\n```\w+\n(.*?)```\n",
                                read("docs/host-guide.md"), re.S))

        self.assertEqual(sorted(str(file.relative_to(ROOT))
                                for file in (ROOT / "examples").rglob("*") if file.is_file()),
                         sorted(shown))
        for path, text in shown.items():
            with self.subTest(path):
                self.assertEqual(read(path), text)

    def test_has_an_example_that_python_takes(self):
        ast.parse(read("examples/python/host.py"))

    @unittest.skipUnless(MCS, "mcs is missing: scripts/setup --extras")
    def test_has_an_example_that_a_csharp_compiler_takes(self):
        succeed(MCS, "-warnaserror", "-warn:4", "-platform:x86", f"-out:{self.work / 'Host.exe'}",
                ROOT / "examples/csharp/Host.cs")

    def test_gives_the_results_the_same_numbers_in_all_languages(self):
        header = read("include/mendloft/mendloft.h")
        folder = ["Gone", "Failed", "OldSystem", "Built"]
        setup = ["ToolRan", "InfMissing", "ToolMissing", "ToolNotStarted"]
        numbers = dict(re.findall(r"kMendloft(\w+) = (-?\d+)", header))

        csharp = dict(re.findall(r"(\w+) = (-?\d+)", read("examples/csharp/Host.cs")))
        python = dict(re.findall(r"^    ([A-Z_]+) = (-?\d+)$", read("examples/python/host.py"), re.M))

        self.assertEqual({name: numbers[f"Folders{name}"] for name in folder} |
                         {name: numbers[f"Setup{name}"] for name in setup},
                         {name: csharp[name] for name in folder + setup})
        self.assertEqual([numbers[f"Setup{name}"] for name in setup],
                         [python[re.sub(r"(?<!^)([A-Z])", r"_\1", name).upper()] for name in setup])


class Results(PackageTest):

    def test_explain_every_code_by_name_and_number(self):
        text = read("docs/results.md")
        for name, number in re.findall(r"(kMendloft\w+) = (-?\d+)",
                                       read("include/mendloft/mendloft.h")):
            self.assertRegex(text, rf"\| {number} \| `{name}` \|")

    def test_explain_every_message(self):
        text = read("docs/results.md")
        messages = [message for folder in ("api", "install", "repair")
                    for file in sorted((ROOT / "src" / folder).glob("*.cpp"))
                    for message in re.findall(r'"([^"\n]*%[sdx][^"\n]*)"', file.read_text("utf-8"))]

        self.assertEqual(22, len(messages), messages)
        for message in messages:
            self.assertIn(f"`{message.removesuffix(chr(92) + 'n')}`", text)


def anchors(document):
    """What a link can name behind "#", as the usual viewers of Markdown make it from headings."""
    headings = re.findall(r"^#+ (.*)$", document.read_text("utf-8"), re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Links(PackageTest):

    def test_lead_somewhere(self):
        for document in [*DOCS.glob("*.md"), *ROOT.glob("*.md")]:
            links = re.findall(r"\]\((?!https?:)([^)#]*)#?([^)]*)\)", document.read_text("utf-8"))
            for path, anchor in links:
                with self.subTest(document=document.name, path=path, anchor=anchor):
                    target = document.parent / path if path else document
                    self.assertTrue(target.exists())
                    if anchor:
                        self.assertIn(anchor, anchors(target))
