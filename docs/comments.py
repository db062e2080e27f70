"""Shows a public header to Doxygen, which takes plain comments for nothing: they stay what reads best in an editor.

The first comment of a file describes it, and the class that the file is named for. One that begins with "---- Title"
begins a group of members, up to the next title or the end of the class. Any other belongs to the declarations below it,
up to a blank line or the next comment; one behind a line belongs to what the line declares. A comment before a blank
line is nobody's.

Every line stays where it is, so that a warning names the header's own line.
"""

import pathlib
import re
import sys

COMMENT = re.compile(r"\s*(//|/\*)")
BEHIND = re.compile(r"^(?P<code>.*[;,{})]) +(//|/\*) ?(?P<text>.*?)( \*/)?$")
LABEL = re.compile(r"^(Thread|Errors|Ownership|Lifetime): +")
TITLE = re.compile(r"^---- (?P<title>[^:.]*)[:.] ?(?P<rest>.*)$")


def text_of(line):
    """What one line of a comment says."""
    return re.sub(r"^\s*(//|/\*|\*(?!/))? ?", "", re.sub(r"\s*\*/$", "", line))


def sentence(text):
    return text[:1].upper() + text[1:]


def laid_out(texts):
    """A comment of several paragraphs as Markdown: its labels are items, what is indented is code."""
    labelled = False
    for text in texts:
        if LABEL.match(text):
            labelled = True
            yield LABEL.sub(r"- **\1:** ", text)
        elif text.startswith("  "):
            yield "  " + text.lstrip() if labelled else "  " + text
        else:
            labelled = False
            yield text


class Header:
    def __init__(self, path):
        self.path = path
        self.text = path.read_text(encoding="utf-8")
        self.lines = self.text.rstrip("\n").split("\n")
        self.at = 0
        self.depth = 0  # of braces
        self.group_depth = None  # of the group that is open
        self.shared = None  # a comment, the line of the first declaration that it belongs to, and the depth of all
        self.in_declaration = False

    def shown(self):
        yield from self.description()
        while self.at < len(self.lines):
            if COMMENT.match(self.lines[self.at]):
                yield from self.comment()
            else:
                yield self.code(self.lines[self.at])
                self.at += 1

    def comment_lines(self):
        begin = self.at
        if "/*" in self.lines[begin]:
            while "*/" not in self.lines[self.at]:
                self.at += 1
            self.at += 1
        else:
            while COMMENT.match(self.lines[self.at]):
                self.at += 1
        return self.lines[begin : self.at]

    def description(self):
        texts = [text_of(line) for line in self.comment_lines()]
        if texts[-1] == "":
            texts.pop()
        else:
            self.at += 1  # "#pragma once" makes room
        yield from ("/// " + text for text in laid_out(texts))
        named = re.search(rf"^(class|struct) (\w+ )?{self.path.stem} ", self.text, re.MULTILINE)
        if named:
            self.at += 1  # the blank line after it, too
            yield f"/// @{named[1]} {self.path.stem}"
            yield f"/** @file {self.path.name} Declares @ref {self.path.stem} and what belongs to it. */"
        else:
            yield "/// @file"

    def comment(self):
        lines = self.comment_lines()
        texts = [text_of(line) for line in lines]
        title = TITLE.match(texts[0])
        if title:
            return self.group(title["title"], title["rest"], texts[1:])
        if not self.lines[self.at].strip():
            return lines
        self.shared = (" ".join(texts), self.at, self.depth)
        return ["/// " + text for text in texts]

    def group(self, title, rest, more):
        rest = sentence(rest)
        if more:
            more = laid_out([f"{rest} {more[0]}", *more[1:]])
            rest = ""
        self.at += 1  # the blank line makes room
        self.group_depth = self.depth
        return [f"/** @name {title}", *more, f"{rest} @{{ */"]

    def code(self, line):
        behind = BEHIND.match(line)
        code = behind["code"] if behind else line
        shown = f"{code} ///< {sentence(behind['text'])}" if behind else line
        in_group = self.group_depth is not None
        ends_group = in_group and (self.is_before_title() or self.depth_after(code) < self.group_depth)
        if not code.strip():
            self.shared = None
        elif self.begins_shared_declaration(code):
            shown = f"/** {self.shared[0]} */ {shown}"
        self.depth = self.depth_after(code)
        self.in_declaration = bool(code.strip()) and code[-1] not in ";{}:" and not code.startswith("#")
        if ends_group:
            self.group_depth = None
            shown = "/** @} */ " + shown
        return shown

    def begins_shared_declaration(self, code):
        if not self.shared or self.in_declaration or self.at == self.shared[1]:
            return False
        return self.depth == self.shared[2] and self.depth_after(code) >= self.depth

    def depth_after(self, code):
        return self.depth + code.count("{") - code.count("}")

    def is_before_title(self):
        return self.at + 1 < len(self.lines) and "---- " in self.lines[self.at + 1]


if __name__ == "__main__":
    print("\n".join(Header(pathlib.Path(sys.argv[1])).shown()))
