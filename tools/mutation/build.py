"""The copy of the tree, its build, and the few commands of it that a changed source needs: one compilation, and one link
for each test program. The copy itself is never changed, so an interrupted run leaves it as good as before."""

import concurrent.futures
import filecmp
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

from mutation import mutants

HERE = pathlib.Path(__file__).resolve().parent
PRESET = "debug"
LIBRARIES = {"src": "src/libvyrel_service.a", "kpi": "kpi/libvyrel_kpi.a", "utility": "utility/libvyrel_utility.a",
             "platform/settings": "platform/settings/libplatform_settings.a"}
MAIN = "src/main.cpp"


class CannotBuild(Exception):
    """The unchanged sources do not build, or not as this tool expects."""


def run(command, cwd):
    """In a session of its own: what interrupts the run at the terminal is for the run, which then ends in order."""
    return subprocess.run(command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="replace", check=False, start_new_session=True)


def must(command, cwd):
    result = run(command, cwd)
    if result.returncode:
        raise CannotBuild(f"{shlex.join(map(str, command))}\n{result.stdout[-3000:]}")
    return result.stdout


def digest(*paths):
    total = hashlib.sha256()
    for path in paths:
        total.update(path.name.encode() + b"\0" + path.read_bytes())
    return total.hexdigest()[:16]


def copy_tree(source, to):
    """What git knows or would add of the checkout; what stayed the same keeps its time, so nothing of it is built anew."""
    names = set(filter(None, must(["git", "-C", str(source), "ls-files", "-z", "-co", "--exclude-standard"],
                                  source).split("\0")))
    names = {name for name in names if (source / name).is_file()}
    for name in names:
        target = to / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.is_file() or not filecmp.cmp(source / name, target, shallow=False):
            shutil.copy2(source / name, target)
            os.utime(target)
    for path in to.rglob("*"):
        name = path.relative_to(to).as_posix()
        if path.is_file() and not name.startswith("build/") and name not in names:
            path.unlink()


class Build:
    """The copy of the checkout below `folder`, configured and built."""

    def __init__(self, checkout, folder):
        self.tree = folder / "tree"
        self.folder = self.tree / "build" / PRESET
        self.aside = folder / "aside"  # what is made besides the ordinary build
        self.aside.mkdir(parents=True, exist_ok=True)
        copy_tree(checkout, self.tree)
        # A program that is linked is not to be run at once: its tests are asked for when they are needed.
        must(["cmake", "--preset", PRESET, "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"], self.tree)
        self._read_commands()

    def _read_commands(self):
        """How each source of the libraries is compiled, and each program linked that takes one of them."""
        lines = must(["ninja", "-t", "commands", "all"], self.folder).splitlines()
        marks = set(LIBRARIES.values()) | {"recorded/libvyrel_service.a"}
        self.links = {}
        for line in lines:
            match = re.match(r": && (\S*g\+\+ .*? -o (\S+) .*) && :$", line)
            if match and marks & set(line.split()) and "-shared" not in line.split():
                self.links[match[2]] = shlex.split(match[1])
        owners = {"src": "vyrel_service", "kpi": "vyrel_kpi", "utility": "vyrel_utility",
                  "platform/settings": "platform_settings"}
        self.compilations = {}
        for entry in json.loads((self.folder / "compile_commands.json").read_text(encoding="utf-8")):
            name = os.path.relpath(entry["file"], self.tree)
            owner = "vyrel_main" if name == MAIN else owners.get(self.area(name))
            if owner and f"/{owner}.dir/" in f"/{entry['command']}":
                self.compilations[name] = shlex.split(entry["command"])

    @staticmethod
    def area(name):
        return next((folder for folder in LIBRARIES if name.startswith(folder + "/")), None)

    def make(self, programs):
        """Builds these programs, and what is beside them for tests to start."""
        must(["cmake", "--build", str(self.folder), "--target", *sorted(programs), "vyrel-settings"], self.tree)

    @functools.cached_property
    def linker(self):
        """The quicker linker, where there is one."""
        return ["-fuse-ld=lld"] if shutil.which("ld.lld") else []

    def make_headers(self):
        """One precompiled header of all that the sources include of the system: it makes a compilation three times as
        quick. One for each set of flags."""
        names = sorted({line for name in self.compilations
                        for line in re.findall(r"^#include (<[^>]+>)", (self.tree / name).read_text(encoding="utf-8"), re.M)
                        if not (self.tree / "platform/include" / line[1:-1]).exists()})
        text = "".join(f"#include {name}\n" for name in names)
        self.headers = {}
        for source in self.compilations:
            flags = tuple(self._flags(source))
            if flags not in self.headers:
                header = self.aside / f"system{len(self.headers)}.h"
                made = pathlib.Path(f"{header}.gch")
                wanted = f"// {hashlib.sha256(repr(flags).encode()).hexdigest()}\n{text}"
                if not made.exists() or header.read_text(encoding="utf-8") != wanted:
                    header.write_text(wanted, encoding="utf-8")
                    must([*flags, "-x", "c++-header", str(header), "-o", str(made)], self.folder)
                self.headers[flags] = header

    def _flags(self, source):
        """The compiler's command without input and output, warnings and debug information."""
        words, kept = iter(self.compilations[source]), []
        for word in words:
            if word in ("-o", "-c"):
                next(words)
            elif not word.startswith(("-g", "-W")):
                kept.append(word)
        return [*kept, "-w", "-g0"]

    def compile(self, source, text, folder, name="changed"):
        """The object of this text in place of that source, or None when it is no C++. It believes to be the source, so
        that its log lines say what they always say."""
        flags = self._flags(source)
        original = self.tree / source
        changed, made = folder / f"{name}.cpp", folder / f"{name}.o"
        changed.write_text(f'#line 1 "{original}"\n{text}', encoding="utf-8")
        result = run([*flags, "-pipe", "-include", str(self.headers[tuple(flags)]), "-iquote", str(original.parent),
                      "-c", str(changed), "-o", str(made)], self.folder)
        return made if result.returncode == 0 else None

    def optimized(self, source, text, folder):
        """What the optimizer leaves of this text: the same bytes for two texts that do the same in its eyes."""
        original = self.tree / source
        changed, made = folder / "optimized.cpp", folder / "optimized.o"
        changed.write_text(f'#line 1 "{original}"\n{text}', encoding="utf-8")
        result = run([*self._flags(source), "-O2", "-pipe", "-iquote", str(original.parent), "-c", str(changed),
                      "-o", str(made)], self.folder)
        return made.read_bytes() if result.returncode == 0 else b""

    def renamed(self, made, source, recorded):
        """The object as a program takes it that has a main function of its own, or a recorder below the service."""
        options = []
        if source == MAIN:
            options += ["--redefine-sym", "main=service_main"]
        if recorded and self.area(source) != "platform/settings":
            options += [f"--redefine-syms={self.folder}/platform/recorder/made/recorder/seam.syms"]
        if not options:
            return made
        result = made.with_name(f"{made.stem}-{'recorded' if recorded else 'main'}.o")
        must(["objcopy", *options, str(made), str(result)], self.folder)
        return result

    def link(self, program, source, made, to):
        """The program with this object in place of the source's own; False when that cannot be linked."""
        words = list(self.links[program])
        recorded = "recorded/libvyrel_service.a" in words
        given = self.renamed(made, source, recorded)
        words[words.index("-o") + 1] = str(to)
        mains = {"service_main.o", "recorded/service_main.o"} & set(words)
        if source == MAIN and mains:
            words = [str(given) if word in mains else word for word in words]
        else:
            # Before the archives: who looks for its symbols finds them here.
            words.insert(words.index("-o"), str(given))
        return run([*words, *self.linker, "-Wl,--strip-debug"], self.folder).returncode == 0

    def make_traced(self):
        """The libraries once more, telling which of their code is run; and where each line of it begins and ends."""
        folder = self.aside / "traced"
        folder.mkdir(exist_ok=True)
        must(["gcc", "-O2", "-c", str(HERE / "trace.c"), "-o", str(folder / "trace.o")], folder)
        wanted = repr(sorted(self.compilations.items())) + digest(
            *(path for area in LIBRARIES for path in sorted((self.tree / area).rglob("*")) if path.is_file()))
        stamp = folder / "stamp"
        if not stamp.exists() or stamp.read_text(encoding="utf-8") != wanted:
            with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
                list(pool.map(lambda source: self._trace(source, folder), self.compilations))
            self._archive_traced(folder)
            stamp.write_text(wanted, encoding="utf-8")
        return folder

    @staticmethod
    def traced_object(folder, source):
        return folder / (source.replace("/", "-") + ".o")

    def _trace(self, source, folder):
        flags = [flag for flag in self._flags(source) if flag != "-g0"]
        must([*flags, "-g1", "-pipe", "-fsanitize-coverage=trace-pc", "-c", str(self.tree / source), "-o",
              str(self.traced_object(folder, source))], self.folder)

    def _archive_traced(self, folder):
        for area, library in LIBRARIES.items():
            name = pathlib.Path(library).name
            objects = [self.traced_object(folder, source) for source in self.compilations
                       if self.area(source) == area and source != MAIN]
            for recorded in (False, True):
                archive = folder / (f"recorded-{name}" if recorded else name)
                archive.unlink(missing_ok=True)
                first = next(source for source in self.compilations if self.area(source) == area and source != MAIN)
                must(["ar", "qcs", str(archive), *(str(self.renamed(made, first, recorded)) for made in objects)], folder)
        for recorded in (False, True):
            shutil.copy(self.renamed(self.traced_object(folder, MAIN), MAIN, recorded),
                        folder / f"{'recorded-' if recorded else ''}service_main.o")

    def link_traced(self, program, folder, to):
        words = list(self.links[program])
        words[words.index("-o") + 1] = str(to)
        for i, word in enumerate(words):
            if word in LIBRARIES.values() or word.startswith("recorded/") or word == "service_main.o":
                words[i] = str(folder / (("recorded-" if word.startswith("recorded/") else "") + pathlib.Path(word).name))
        words.insert(words.index("-o"), str(folder / "trace.o"))
        must([*words, *self.linker], self.folder)


def areas(tree):
    """The number that tells one state of the changed sources from another."""
    return digest(*(tree / name for name in mutants.sources(tree)))
