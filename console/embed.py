#!/usr/bin/env python3
"""Writes the files of a folder, compressed, into a C++ source that defines what collector/console/Assets.h declares."""

import gzip
import hashlib
import pathlib
import sys

TYPES = {
    '.html': 'text/html; charset=utf-8',
    '.js': 'text/javascript; charset=utf-8',
    '.css': 'text/css; charset=utf-8',
    '.svg': 'image/svg+xml',
}

SOURCE = '''#include "collector/console/Assets.h"

#include <array>

namespace collector {{

namespace {{

{arrays}

std::string_view view(std::span<const unsigned char> bytes) {{
  return {{reinterpret_cast<const char*>(bytes.data()), bytes.size()}};
}}

}}  // namespace

std::span<const Asset> consoleAssets() {{
  static const auto kAll = std::to_array<Asset>({{
{rows}
  }});
  return kAll;
}}

}}  // namespace collector
'''


def main():
    folder, source = map(pathlib.Path, sys.argv[1:])
    arrays, rows = [], []
    for index, file in enumerate(sorted(folder.iterdir())):
        content = file.read_bytes()
        member = gzip.compress(content, 9, mtime=0)
        path = '/' if file.name == 'index.html' else f'/{file.name}'
        tag = hashlib.sha256(content).hexdigest()[:16]
        arrays.append(f'constexpr unsigned char kFile{index}[] = {{{",".join(map(str, member))}}};')
        rows.append(f'      {{"{path}", "{TYPES[file.suffix]}", "{tag}", view(kFile{index}), {len(content)}}},')
    source.write_text(SOURCE.format(arrays='\n'.join(arrays), rows='\n'.join(rows)))


if __name__ == '__main__':
    main()
