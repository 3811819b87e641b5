#!/usr/bin/env python3
"""What the documents name exists: links, headings that links lead to, files and folders."""

import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
CODE = re.compile(r"`([^`\n]+)`")
FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
# A word in code is a path of the tree when it looks like one and begins like one: with the name of
# something at the root, or after "./".
PATH = re.compile(r"(?:\./)?[\w.*{},+-]+(?:/[\w.*{},+-]+)*/?")


def listed(*arguments):
    done = subprocess.run(["git", "-C", str(ROOT), "ls-files", *arguments], capture_output=True, text=True, check=True)
    return done.stdout.splitlines()


FILES = set(listed("--cached", "--others", "--exclude-standard"))
TOP = {name.split("/")[0] for name in FILES}
DOCUMENTS = sorted(name for name in FILES if name.endswith(".md") and (ROOT / name).exists())
BASENAMES = {pathlib.PurePath(name).name for name in FILES}
SOURCE_NAME = re.compile(r"[A-Za-z]\w+\.(?:cpp|h|ui|py|cmake)")


def anchors(document):
    text = FENCE.sub("", document.read_text(encoding="utf-8"))
    headings = re.findall(r"^#+ +(.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken_link(document, target):
    if re.match(r"[a-z]+:", target):
        return None
    path, _, anchor = target.partition("#")
    file = (document.parent / path).resolve() if path else document
    if not file.exists():
        return f"{target}: there is no such file"
    if anchor and file.suffix == ".md" and anchor not in anchors(file):
        return f"{target}: it has no such heading"
    return None


def expand(word):
    """Serial_{Hunt,Receive}.cpp names two files."""
    match = re.search(r"\{([^{}]*)\}", word)
    if not match:
        return [word]
    return [name for part in match[1].split(",") for name in expand(word[:match.start()] + part + word[match.end():])]


def missing_name(document, word):
    """Why `word`, found in code, names nothing; None when it does or is no name of a file."""
    word = word.split()[0]
    if SOURCE_NAME.fullmatch(word):
        return None if word in BASENAMES else f"{word}: no file of that name"
    if not PATH.fullmatch(word):
        return None
    first = word.removeprefix("./").split("/")[0]
    if "/" not in word or first == "build" or (not word.startswith("./") and first not in TOP):
        return None
    for name in expand(word.removeprefix("./")):
        if not any(folder.glob(name.rstrip("/")) and list(folder.glob(name.rstrip("/")))
                   for folder in (ROOT, document.parent)):
            return f"{name}: there is no such file"
    return None


def problems(document):
    text = document.read_text(encoding="utf-8")
    found = [broken_link(document, target) for target in LINK.findall(FENCE.sub("", text))]
    found += [missing_name(document, word) for word in CODE.findall(FENCE.sub("", text)) if word.strip()]
    return [problem for problem in found if problem]


class TheDocuments(unittest.TestCase):
    def test_name_only_what_exists(self):
        found = [f"{name}: {problem}" for name in DOCUMENTS for problem in problems(ROOT / name)]
        self.assertEqual([], found)

    def test_are_all_there(self):
        for name in ("ARCHITECTURE.md", "CONTRIBUTING.md", "CHANGELOG.md", "docs/protocol.md", "docs/release-set.md"):
            self.assertIn(name, DOCUMENTS)

    def test_are_linked_from_one_another(self):
        linked = set()
        for name in DOCUMENTS:
            document = ROOT / name
            for target in LINK.findall(document.read_text(encoding="utf-8")):
                linked.add((document.parent / target.partition("#")[0]).resolve())
        alone = [name for name in DOCUMENTS if name != "README.md" and (ROOT / name).resolve() not in linked]
        self.assertEqual([], alone)


class TheProtocolsPage(unittest.TestCase):
    def holds(self, words):
        page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
        self.assertTrue(words)
        self.assertEqual([], [word for word in words if not re.search(rf"`{re.escape(word)}\b", page)])

    def test_has_every_command(self):
        source = "".join((ROOT / f"protocol/Commands.{ending}").read_text(encoding="utf-8") for ending in ("h", "cpp"))
        self.holds([f"${word}" for word in re.findall(r'"\$([A-Z]+)', source)])

    def test_has_every_reply(self):
        source = (ROOT / "bootload/UpdateJob.cpp").read_text(encoding="utf-8")
        self.holds([f"${word}" for word in re.findall(r'\{"\$(\w+)", handle<&', source)])

    def test_has_every_state(self):
        page = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
        source = (ROOT / "bootload/Session.h").read_text(encoding="utf-8")
        states = source[source.index("enum SessionState"):].split("};")[0]
        table = page[page.index("\n## States\n"):].split("| Phase |")[0]
        cells = re.findall(r"^\| ([\d, ]+)", table, re.MULTILINE)
        told = {number for cell in cells for number in re.findall(r"\d+", cell)}
        self.assertEqual(set(), set(re.findall(r"= (\d+),", states)) - told)


class TheCheckItself(unittest.TestCase):
    def test_finds_what_is_missing(self):
        document = ROOT / "ARCHITECTURE.md"
        self.assertIsNotNone(broken_link(document, "docs/nothing.md"))
        self.assertIsNotNone(broken_link(document, "docs/protocol.md#no-such-heading"))
        self.assertIsNotNone(missing_name(document, "bootload/Nothing.cpp"))
        self.assertIsNotNone(missing_name(document, "Nothing.cpp"))
        self.assertIsNotNone(missing_name(document, "./nothing"))

    def test_finds_what_is_there(self):
        document = ROOT / "ARCHITECTURE.md"
        for word in ("app/main.cpp", "tests/", "UpdateJob.cpp", "./package --check", "packaging/man/*.1.in",
                     "serial/Serial_{Hunt,Receive}.cpp", "$DACK", "build/package/x", "0x1000/2"):
            self.assertIsNone(missing_name(document, word), word)


if __name__ == "__main__":
    unittest.main()
