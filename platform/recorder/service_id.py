#!/usr/bin/env python3
"""Names a state of the service's sources, so that a recording can say of which it is.

usage: service_id.py OUTPUT SOURCE...

OUTPUT becomes a header with the name: the beginning of a checksum of all sources, whatever their order.
"""

import hashlib
import pathlib
import sys

KEPT = 12  # hexadecimal digits


def main(output, sources):
    total = hashlib.sha256()
    for source in sorted(sources, key=lambda path: pathlib.Path(path).parts[-2:]):
        total.update(hashlib.sha256(pathlib.Path(source).read_bytes()).digest())
    name = total.hexdigest()[:KEPT]
    text = ("// Made by platform/recorder/service_id.py.\n#pragma once\n\nnamespace recorder {\n\n"
            "/// Which state of the service's sources this is, and who compiled it: two compilers do not give a statement of\n"
            "/// several lines the same number, and a line of the log says it.\n#ifdef __clang__\n"
            f'inline constexpr const char* kServiceId = "{name} by Clang";\n#else\n'
            f'inline constexpr const char* kServiceId = "{name} by GCC";\n#endif\n\n}} // namespace recorder\n')
    pathlib.Path(output).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2:])
