#!/usr/bin/env python3
"""Looks whether all that the service asks of the world is recorded.

usage: check_seam.py SYMBOLS PLATFORM FILE...

SYMBOLS names the symbols that are led to the recorder, as objcopy takes them; PLATFORM is a library with all functions
of the platform; FILE are the service's libraries and objects as they are recorded. A function of the platform that is
not led there is an error, and so is a function of any other library that is neither led there nor known to ask nothing
of the world. Who calls a new one decides: it goes to shapes.toml, or to the names below.
"""

import pathlib
import re
import subprocess
import sys

# Work on memory alone, or on what was recorded: a message, a value, an error that was given.
PURE = re.compile(r"""
    mem(chr|cmp|cpy|move|set) | str(len|tol|toul|cmp|ncmp|ftime) | to(upper|lower) | is(x?digit|alnum|alpha|space)
    | free | v?snprintf
    | __(mem(cpy|move|set)|v?snprintf|strcpy|strcat)_chk
    | g_variant_\w+ | g_utf8_\w+ | g_unichar_\w+ | g_str\w+ | g_free | g_error_free | g_set_error(_literal)?
    | g_object_unref | g_io_error_quark | g_type_check_instance_cast
    | g_main_loop_(new|ref|unref)
    | g_dbus_is_\w+ | g_dbus_message_\w+ | g_dbus_connection_get_type
""", re.VERBOSE)
# The stop hook: its signal comes to the service through a descriptor, which is recorded. And what is told to nobody.
ASIDE = {"sigaddset", "sigemptyset", "raise", "eventfd", "printf", "__printf_chk", "tzset", "__errno_location",
         "_GLOBAL_OFFSET_TABLE_", "__stack_chk_fail", "__libc_single_threaded", "__dso_handle", "atexit"}
# The language's own library, but for its clocks, files, threads and dice.
LANGUAGE = re.compile(r"_ZN?K?St|_ZT[IVS]|_Zn[aw]|_Zd[al]|__cxa_|__gxx_personality|_Unwind_|__clang_call_terminate|_ZNK?9__gnu|_ZNSa|_ZNKSa")
NOT_PURE = re.compile(r"chrono|random|fstream|filesystem|thread|mutex|condition|cout|cerr|cin")
# What sanitizers and the counting of coverage add.
ADDED = re.compile(r"_ZT[IS]|__(asan|ubsan|lsan|msan|tsan|sanitizer|sancov|gcov|llvm|odr_asan|start|stop|emutls)_?|_?_?llvm_|__profc")


def names(file, *options):
    listed = subprocess.run(["nm", "-P", *options, file], check=True, capture_output=True, text=True).stdout
    return {line.split()[0] for line in listed.splitlines() if len(line.split()) > 1}


def is_known(name):
    if LANGUAGE.match(name):
        return not NOT_PURE.search(name)
    return name.startswith("seam_") or name in ASIDE or bool(PURE.fullmatch(name)) or bool(ADDED.match(name))


def main(symbols, platform, files):
    led = {line.split()[0] for line in pathlib.Path(symbols).read_text(encoding="utf-8").splitlines()}
    wrong = [f"{name} of the platform is not led to the recorder"
             for name in sorted(names(platform, "--defined-only", "--extern-only") - led) if not ADDED.match(name)]
    own = set().union(*(names(file, "--defined-only") for file in files))
    for file in files:
        for name in sorted(names(file, "--undefined-only") - own):
            if name in led:
                wrong.append(f"{pathlib.Path(file).name}: {name} is called, past the recorder")
            elif not is_known(name):
                wrong.append(f"{pathlib.Path(file).name}: {name} is called, and nobody knows whether it is to be recorded")
    print("\n".join(wrong) or f"{len(led)} functions are led to the recorder, and no other asks anything of the world")
    return 1 if wrong else 0


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
