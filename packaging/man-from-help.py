#!/usr/bin/env python3
"""Writes a gzipped man page from a program's own --help, so the page never drifts from the program.

man-from-help.py PROGRAM NAME SUMMARY VERSION DATE OUTPUT.1.gz

The help is read as: a "Usage: ..." line, free paragraphs, and "Heading:" lines followed by items indented
by two spaces whose descriptions are indented further. Help that doesn't read that way is refused rather
than turned into a page nobody checked.
"""
import gzip
import re
import subprocess
import sys


def roff(text):
    """Escapes a line of plain text for roff."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text.startswith((".", "'")) else text


def item_head(line):
    """Bold command or option, the rest of the line as its arguments."""
    head, _, rest = line.strip().partition(" ")
    # Options list their spellings as "-h, --help"; keep them together in bold.
    if head.startswith("-"):
        return "\\fB" + roff(line.strip()) + "\\fR"
    return "\\fB" + roff(head) + "\\fR" + (" " + roff(rest) if rest else "")


def parse(help_text):
    lines = help_text.splitlines()
    if not lines or not lines[0].startswith("Usage: "):
        raise ValueError("the help does not start with a 'Usage: ' line")
    usage = lines[0][len("Usage: "):]
    description, sections, trailer = [], [], []
    current = None
    for line in lines[1:]:
        if not line.strip():
            continue
        heading = re.fullmatch(r"(\S[^:]*):", line)
        if heading:
            current = (heading.group(1), [])
            sections.append(current)
        elif trailer:
            trailer.append(line.strip())
        elif current is None:
            description.append(line.strip())
        elif re.match(r"  \S", line):
            current[1].append([line, []])
        elif re.match(r"   +\S", line) and current[1]:
            current[1][-1][1].append(line.strip())
        else:
            # Unindented text after the sections closes the page.
            trailer.append(line.strip())
            current = None
    if not sections:
        raise ValueError("the help has no 'Heading:' section")
    if any(not items for _, items in sections):
        raise ValueError("a section of the help lists no items")
    return usage, description, sections, trailer


def page(program, name, summary, version, date, help_text):
    usage, description, sections, trailer = parse(help_text)
    command, _, arguments = usage.partition(" ")
    out = [f'.TH {name.upper()} 1 "{date}" "{roff(program)} {version}" "User Commands"',
           ".SH NAME", f"{roff(name)} \\- {roff(summary)}",
           ".SH SYNOPSIS", f".B {roff(command)}", roff(arguments),
           ".SH DESCRIPTION"]
    out += [roff(line) for line in description]
    for heading, items in sections:
        out.append(f".SH {roff(heading.upper())}")
        for line, text in items:
            # A two-column item ("-h, --help  Show this help.") has its text on the same line.
            columns = re.split(r"\s{2,}", line.strip(), maxsplit=1)
            out += [".TP", item_head(columns[0])]
            out += [roff(t) for t in columns[1:] + text]
    if trailer:
        out.append(".PP")
        out += [roff(line) for line in trailer]
    return "\n".join(out) + "\n"


def main():
    if len(sys.argv) != 7:
        sys.exit(__doc__)
    program, name, summary, version, date, output = sys.argv[1:]
    help_text = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
    try:
        text = page(program.rsplit("/", 1)[-1], name, summary, version, date, help_text)
    except ValueError as error:
        sys.exit(f"man-from-help: {program} --help: {error}")
    # No time stamp in the gzip header, so that the same help gives the same file.
    with open(output, "wb") as raw, gzip.GzipFile(filename="", mode="wb", fileobj=raw, mtime=0) as packed:
        packed.write(text.encode())


if __name__ == "__main__":
    main()
