"""What compiles which sources, as a build says it in its compile_commands.json; also where several sources are compiled as
one (CMAKE_UNITY_BUILD)."""

import json
import os
import pathlib
import re
import shlex

TOP = pathlib.Path(__file__).resolve().parent.parent
INCLUDED = re.compile(r'^#include "(.*)"$', re.MULTILINE)


class Command:
    """How one file is compiled. sources are those of it that are wanted, more than one when they are compiled as one."""

    def __init__(self, entry, sources):
        self.folder = entry["directory"]
        self.file = pathlib.Path(entry["directory"], entry["file"])
        self.sources = sources
        words = shlex.split(entry["command"])
        # A launcher may stand before the compiler.
        compiler = next((i for i, word in enumerate(words) if "clang" in os.path.basename(word)), None)
        if compiler is None:
            raise SystemExit(f"{self.folder}: not configured for Clang, but compiles with {words[0]}")
        self.words = words[compiler:]

    def entry(self, file, *more):
        """The same for another file, as an entry of a compile_commands.json."""
        words = [*self.words, *more]
        words[words.index("-c") + 1] = str(file)
        return {"directory": self.folder, "file": str(file), "arguments": words}


def sources_of(entry):
    file = pathlib.Path(entry["directory"], entry["file"])
    if file.parent.name == "Unity":
        return [pathlib.Path(name) for name in INCLUDED.findall(file.read_text())]
    return [file]


def commands_for(build, wanted):
    """Yields commands so that each wanted source that the build compiles is in one at least, and in few. Ends the program
    with a message when the folder is none that Clang was configured for."""
    try:
        entries = json.loads((build / "compile_commands.json").read_text())
    except (OSError, ValueError) as error:
        raise SystemExit(f"{build}: no build that says how it compiles: {error}") from error
    seen = set()
    for entry in entries:
        sources = [source for source in sources_of(entry) if source in wanted]
        if set(sources) - seen:
            seen |= set(sources)
            yield Command(entry, sources)


def write(folder, entries):
    (folder / "compile_commands.json").write_text(json.dumps(list(entries)))


def largest_first(items, size):
    """So that in the end no processor waits for another."""
    return sorted(items, key=size, reverse=True)
