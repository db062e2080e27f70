#!/usr/bin/env python3
"""Checks what no compiler does: that the rooms of src/ depend on each other one way, that SQL stands in src/store/ alone,
and that no two files differ in the case of their names only."""

import collections
import pathlib
import re
import subprocess
import sys

SOURCE = pathlib.Path(__file__).resolve().parent.parent
SQL = re.compile(r'"\s*(SELECT|INSERT|UPDATE|DELETE|CREATE|DROP|PRAGMA|VACUUM|BEGIN|COMMIT|ROLLBACK)\b(?!")')


def circle(graph):
    """Names that lead from one to the next and back to the first; none: there is no circle."""
    done = set()

    def search(node, path):
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        for neighbour in sorted(graph.get(node, ())):
            found = search(neighbour, path + [node])
            if found:
                return found
        done.add(node)
        return None

    return next(filter(None, (search(node, []) for node in sorted(graph))), None)


def without_comments(text):
    return re.sub(r'//[^\n]*', '', text)


def graphs(texts):
    """What depends on what: headers, folders with all their sources, and classes with all theirs."""
    files, folders, classes = (collections.defaultdict(set) for _ in range(3))
    homes = {}  # of each class, by the header that defines it
    for name, text in texts.items():
        if name.endswith('.h'):
            for match in re.findall(r'^class (?:[A-Z_]+ )?(\w+)(?: final)?(?: :[^{;]*)? \{', text, re.M):
                homes.setdefault(match, name)
    for name, text in texts.items():
        for included in re.findall(r'^#include "([^"]+)"', text, re.M):
            files[name].add(included)
            if name.split('/')[0] != included.split('/')[0]:
                folders[name.split('/')[0]].add(included.split('/')[0])
    for name, text in texts.items():
        defined = {match for match in re.findall(r'^[^\s/#(){}=][^#(){}=\n]*?\b(\w+)::~?\w+\(', text, re.M) if match in homes}
        for owner in defined:
            classes[owner] |= {other for other in homes if other != owner and re.search(rf'\b{other}::', text)} - defined
    return {'files': files, 'folders': folders, 'classes': classes}


def main():
    names = subprocess.run(['git', 'ls-files'], cwd=SOURCE, check=True, capture_output=True, text=True).stdout.split('\n')
    troubles = []
    same = collections.Counter(name.lower() for name in names)
    troubles += [f'differ in case only: {name}' for name in names if same[name.lower()] > 1]

    texts = {}
    for name in names:
        path = SOURCE / name
        if name.startswith('src/') and name.endswith(('.h', '.cpp')) and path.exists():
            texts[name.removeprefix('src/')] = without_comments(path.read_text())
    for kind, graph in graphs(texts).items():
        found = circle(graph)
        if found:
            troubles.append(f'a circle of {kind}: {" -> ".join(found)}')
    troubles += [f'SQL outside of src/store: {name}: {match.group(0)}' for name, text in texts.items()
                 if not name.startswith('store/') for match in [SQL.search(text)] if match]
    print('\n'.join(troubles) or f'{len(texts)} files, no circle.')
    return 1 if troubles else 0


if __name__ == '__main__':
    sys.exit(main())
