"""The docs match the code: their excerpts, results, messages and links are checked."""

import re
import textwrap

from support import DOCUMENTS, ROOT, PackageTest, installed

DOCS = ROOT / "docs"
GUIDE = DOCS / "host-guide.md"
EXAMPLES = ROOT / "examples"
LONGEST_EXCERPT = 10


def read(path):
    return (ROOT / path).read_text("utf-8")


def documents():
    return [*DOCS.glob("*.md"), *ROOT.glob("*.md")]


def links(text):
    """The path and the anchor of each link that is not a web address."""
    return re.findall(r"\]\((?!https?:)([^)#]*)#?([^)]*)\)", text)


def excerpts(document):
    """The file that each code block with a named language comes from, and the text of the block.

    The file is the last one that the paragraph before the block links to. A picture (mermaid) is no
    code and comes from no file.
    """
    blocks = re.findall(r"((?:^\S[^\n]*\n)*)\n?^```(?!mermaid)\w+\n(.*?)^```$", document.read_text("utf-8"),
                        re.M | re.S)
    for paragraph, text in blocks:
        paths = [path for path, _ in links(paragraph) if path]
        yield (document.parent / paths[-1]).resolve() if paths else None, text


def holds(content, excerpt):
    """Whether the lines of the excerpt follow each other in the content, indented alike."""
    wanted = textwrap.dedent(excerpt).splitlines()
    lines = content.splitlines()
    return any(textwrap.dedent("\n".join(lines[start:start + len(wanted)])).splitlines() == wanted
               for start in range(len(lines)))


class Excerpts(PackageTest):

    def test_are_found_in_the_example_that_they_name(self):
        for document in documents():
            for file, text in excerpts(document):
                with self.subTest(document=document.name, file=file):
                    self.assertIsNotNone(file, text)
                    self.assertTrue(file.is_relative_to(EXAMPLES))
                    self.assertTrue(holds(file.read_text("utf-8"), text), text)

    def test_are_all_checked(self):
        for document in documents():
            blocks = re.findall(r"^\s*```(?!mermaid)\w", document.read_text("utf-8"), re.M)

            self.assertEqual(len(blocks), len(list(excerpts(document))), document.name)

    def test_are_short(self):
        for document in documents():
            for file, text in excerpts(document):
                with self.subTest(document=document.name, file=file):
                    self.assertLessEqual(len(text.splitlines()), LONGEST_EXCERPT)

    def test_show_every_language(self):
        self.assertEqual({".c", ".cpp", ".cs", ".py", ".txt"},
                         {file.suffix for file, _ in excerpts(GUIDE)})


class HostGuide(PackageTest):

    def test_links_to_every_example(self):
        linked = {(DOCS / path).resolve() for path, _ in links(read(GUIDE))}

        self.assertEqual(set(), {file for file in EXAMPLES.rglob("*") if file.is_file()} - linked)


class Examples(PackageTest):

    def test_give_the_results_the_same_numbers_in_all_languages(self):
        folder = ["Gone", "Failed", "OldSystem", "Built"]
        setup = ["ToolRan", "InfMissing", "ToolMissing", "ToolNotStarted"]
        numbers = dict(re.findall(r"kMendloft(\w+) = (-?\d+)", read("include/mendloft/mendloft.h")))
        expected = ({name: numbers[f"Folders{name}"] for name in folder} |
                    {name: numbers[f"Setup{name}"] for name in setup})

        csharp = dict(re.findall(r"(\w+) = (-?\d+)", read("examples/csharp/Host.cs")))
        python = dict(re.findall(r"^    ([A-Z_]+) = (-?\d+)$",
                                 read("examples/python/host.py"), re.M))

        self.assertEqual(expected, {name: csharp[name] for name in folder + setup})
        self.assertEqual(expected, {name: python[re.sub(r"(?<!^)([A-Z])", r"_\1", name).upper()]
                                    for name in folder + setup})


class Results(PackageTest):

    def test_explain_every_code_by_name_and_number(self):
        text = read("docs/results.md")
        for name, number in re.findall(r"(kMendloft\w+) = (-?\d+)",
                                       read("include/mendloft/mendloft.h")):
            self.assertRegex(text, rf"\| {number} \| `{name}` \|")

    def test_explain_every_message(self):
        text = read("docs/results.md")
        messages = [message for file in sorted((ROOT / "src").rglob("*.cpp"))
                    if file.parent.name not in ("archive", "telnet")  # these write no messages
                    for message in re.findall(r'"([^"\n]*%[sdx][^"\n]*)"', file.read_text("utf-8"))]

        self.assertEqual(22, len(messages), messages)
        for message in messages:
            self.assertIn(f"`{message.removesuffix(chr(92) + 'n')}`", text)


def anchors(document):
    """What a link can name after "#", as the usual Markdown viewers derive it from headings."""
    headings = re.findall(r"^#+ (.*)$", document.read_text("utf-8"), re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Links(PackageTest):

    def check(self, document, root):
        for path, anchor in links(document.read_text("utf-8")):
            with self.subTest(document=document.name, path=path, anchor=anchor):
                target = (document.parent / path).resolve() if path else document
                self.assertTrue(target.is_relative_to(root))
                self.assertTrue(target.exists())
                if anchor:
                    self.assertIn(anchor, anchors(target))

    def test_lead_somewhere(self):
        for document in documents():
            self.check(document, ROOT)

    def test_lead_somewhere_in_the_installed_package(self):
        installed_documents = [*(installed() / DOCUMENTS).rglob("*.md")]

        self.assertEqual(8, len(installed_documents))
        for document in installed_documents:
            self.check(document, installed().resolve())
