#!/usr/bin/env python3
"""Makes the recorder and the replay of all platform functions from the platform's headers.

usage: generate.py HEADERS SHAPES OUTPUT

HEADERS is the folder of the headers, SHAPES the file that says what C cannot, OUTPUT a folder. Made there:
  Functions.h       numbers of all functions and callbacks
  SchemaTable.cpp   what they are handed and give
  Seam.cpp          the functions that the service is led to, and what the platform is given for the service's callbacks
  Replayed.cpp      the platform's functions as a recording answers them
  seam.syms         which symbols of the service's libraries are led elsewhere, for objcopy
  replayed.syms     which of the recorder's are in a replay

A declaration that is not understood, and a parameter of an unknown shape, is an error.
"""

import hashlib
import pathlib
import re
import sys
import tomllib

SCALARS = {"int": "Signed", "unsigned int": "Unsigned", "unsigned char": "Unsigned", "bool": "Flag"}
OWN_SHAPES = {"signed": "Signed", "unsigned": "Unsigned", "flag": "Flag", "text": "Text", "bytes": "Bytes",
              "variant": "Variant"}
# Bytes in a text; what is no name of a test or a person.
COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.S)


class Unknown(Exception):
    """Something that cannot be recorded."""


class Field:
    """One value in a record."""

    def __init__(self, name, shape, type_name="", fields=None, c_type="", length="", note=""):
        self.name = name
        self.shape = shape
        self.type_name = type_name  # of an enumeration, a record or a callback
        self.fields = fields        # the name of the table of a record
        self.c_type = c_type
        self.length = length        # the parameter with the length of an array
        self.note = note            # how the platform hands it over: "out", "out text", "out record", ...


class Function:
    """A function, or a type of callback, with its parameters in order."""

    def __init__(self, name, header, returns, parameters, text):
        self.name = name
        self.header = header
        self.returns = returns
        self.parameters = parameters  # (C type, name)
        self.text = text              # the declaration, without its end
        self.arguments = []
        self.result = None
        self.outputs = []


class Headers:
    """What the platform's headers declare."""

    def __init__(self, folder, shapes):
        self.shapes = shapes
        self.enumerations = set()
        self.structures = {}
        self.callbacks = {}
        self.functions = {}
        self.names = []
        for path in sorted(pathlib.Path(folder).glob("*.h")):
            self.names.append(path.name)
            if path.name != "kpi_logger.h":  # the one in C++
                self.read(path)

    def read(self, path):
        text = COMMENT.sub(" ", path.read_text(encoding="utf-8"))
        text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
        text = re.sub(r'extern "C" \{', "", text)
        text = re.sub(r"__attribute__\(\(.*?\)\)\)", "", text)
        text = re.sub(r"\benum\s*\{.*?\};", "", text, flags=re.S)
        # The end of extern "C".
        text = re.sub(r"\}\s*$", "", text.rstrip())
        text = " ".join(text.split())
        while text := text.strip():
            text = self.take(text, path.name)

    def take(self, text, header):
        structure = re.match(r"typedef struct \{(.*?)\} (\w+);", text)
        if structure:
            members = [member.strip() for member in structure[2 - 1].split(";") if member.strip()]
            self.structures[structure[2]] = [self.parameter(member) for member in members]
            return text[structure.end():]
        declaration, _, rest = text.partition(";")
        declaration = declaration.strip()
        if re.fullmatch(r"typedef int \w+", declaration):
            self.enumerations.add(declaration.split()[-1])
        elif re.fullmatch(r"typedef struct \w+ \w+", declaration):
            if declaration.split()[-1] not in self.shapes["platform"]["opaque"]:
                raise Unknown(f"{header}: {declaration}: nothing is known of it")
        elif callback := re.fullmatch(r"typedef ([\w ]+?)\s*\(\*(\w+)\)\((.*)\)", declaration):
            self.callbacks[callback[2]] = self.function(callback[2], header, callback[1], callback[3], declaration)
        elif function := re.fullmatch(r"((?:const )?[\w ]+?[\s*]+)(\w+)\((.*)\)", declaration):
            self.functions[function[2]] = self.function(function[2], header, function[1], function[3], declaration)
        else:
            raise Unknown(f"{header}: {declaration}: cannot be understood")
        return rest

    def function(self, name, header, returns, parameters, text):
        parts = [] if parameters.strip() in ("", "void") else parameters.split(",")
        return Function(name, header, returns.replace(" *", "*").strip(),
                        [self.parameter(part) if part.strip() != "..." else ("...", "") for part in parts], text)

    @staticmethod
    def parameter(text):
        match = re.fullmatch(r"(.*?[\s*])(\w+)", text.strip())
        if not match:
            raise Unknown(f"{text}: no parameter")
        return re.sub(r"\s*\*", "*", match[1]).strip(), match[2]


class Model:
    """All functions, callbacks and records, with their fields."""

    def __init__(self, headers, shapes):
        self.headers = headers
        self.shapes = shapes
        self.records = {}    # name -> fields
        self.c_records = []  # those of the platform
        for name, members in headers.structures.items():
            self.records[name] = [self.plain(c_type, member, name) for c_type, member in members]
            self.c_records.append(name)
        for name, text in shapes["records"].items():
            self.records[name] = self.own_fields(text)
        self.by_hand = {name: self.own(name, text) for name, text in shapes["functions"].items()}
        self.callbacks_by_hand = {name: self.own(name, text) for name, text in shapes["callbacks"].items()}
        self.functions = {}
        for name, function in sorted(headers.functions.items()):
            if name not in shapes["platform"]["by_hand"]:
                self.functions[name] = self.shaped(function)
        self.callbacks = {name: self.shaped_callback(callback) for name, callback in
                          sorted(headers.callbacks.items())}

    def is_scalar(self, c_type):
        return c_type in SCALARS or c_type in self.headers.enumerations

    def scalar(self, c_type, name, note=""):
        shape = SCALARS.get(c_type, "Signed")
        type_name = c_type if c_type in self.headers.enumerations else ""
        return Field(name, shape, type_name, c_type=c_type, note=note)

    def plain(self, c_type, name, where):
        """A value that is there when it is handed over."""
        if self.is_scalar(c_type):
            return self.scalar(c_type, name)
        if c_type in ("char*", "const char*"):
            return Field(name, "Text", c_type=c_type)
        record = c_type.rstrip("*")
        if record in self.headers.structures and c_type in (record, record + "*"):
            return Field(name, "Record", record, record, c_type=c_type)
        if record in self.shapes["platform"]["opaque"]:
            return Field(name, "Presence", c_type=c_type)
        raise Unknown(f"{where}: the shape of {c_type} {name} is not known")

    def shaped(self, function):
        lengths = self.shapes["lengths"]
        counted = {lengths[f"{function.name}.{name}"] for _, name in function.parameters
                   if f"{function.name}.{name}" in lengths}
        for c_type, name in function.parameters:
            length = lengths.get(f"{function.name}.{name}")
            if c_type == "void*" or name in counted:
                continue
            if length:
                function.arguments.append(Field(name, "Bytes", c_type=c_type, length=length))
            elif c_type in self.headers.callbacks:
                function.arguments.append(Field(name, "Callback", c_type, c_type=c_type))
            elif function.name in self.shapes["platform"]["releases"]:
                function.arguments.append(Field(name, "Presence", c_type=c_type))
            elif output := self.output(c_type, name):
                function.outputs.append(output)
            else:
                function.arguments.append(self.plain(c_type, name, function.name))
        function.result = self.result(function)
        return function

    def output(self, c_type, name):
        target = c_type[:-1]
        if not c_type.endswith("*") or c_type.startswith("const "):
            return None
        if self.is_scalar(target):
            return self.scalar(target, name, "out")
        if target == "char*":
            return Field(name, "Text", c_type=target, note="out text")
        if target in self.headers.structures:
            return Field(name, "Record", target, target, c_type=target, note="out")
        if target.rstrip("*") in self.headers.structures:
            return Field(name, "Record", target.rstrip("*"), target.rstrip("*"), c_type=target, note="out record")
        return None

    def result(self, function):
        if function.returns == "void":
            return None
        if function.returns == "char*":
            if function.name not in self.shapes["texts"]:
                raise Unknown(f"{function.name}: who frees the text that it gives?")
            return Field("result", "Text", c_type="char*")
        return self.plain(function.returns, "result", function.name)

    def shaped_callback(self, callback):
        callback.arguments = [self.plain(c_type, name, callback.name) for c_type, name in callback.parameters
                              if c_type != "void*"]
        callback.result = None if callback.returns == "void" else self.plain(callback.returns, "result",
                                                                             callback.name)
        return callback

    def own_fields(self, text):
        fields = []
        for part in text.split():
            name, shape = part.split(":")
            if shape in OWN_SHAPES:
                fields.append(Field(name, OWN_SHAPES[shape]))
            elif shape in self.shapes["records"]:
                fields.append(Field(name, "Record", shape, shape))
            else:
                fields.append(Field(name, "Callback", shape))
        return fields

    def own(self, name, text):
        function = Function(name, "", "", [], text)
        before, _, after = text.partition("->")
        function.arguments = self.own_fields(before)
        given = self.own_fields(after)
        function.result = given[0] if given else None
        function.outputs = given[1:]
        return function

    def all_functions(self):
        return list(self.by_hand.values()) + list(self.functions.values())

    def all_callbacks(self):
        return list(self.callbacks_by_hand.values()) + list(self.callbacks.values())


# --- What is written ---

TOP = "// Made by platform/recorder/generate.py from the platform's headers.\n"


def enumeration(name, of):
    rows = "".join(f"    {member.name},\n" for member in of)
    return f"enum class {name} : std::uint16_t\n{{\n{rows}}};\nconstexpr std::size_t k{name}s = {len(of)};\n"


def functions_header(model):
    return (TOP + "#pragma once\n\n#include <cstddef>\n#include <cstdint>\n\nnamespace recorder {\n\n"
            + enumeration("Function", model.all_functions()) + "\n" + enumeration("Callback", model.all_callbacks())
            + "\n} // namespace recorder\n")


def field_text(field):
    inner = f"record_{field.fields}" if field.fields else "{}"
    return f'{{"{field.name}", Shape::{field.shape}, "{field.type_name}", {inner}}}'


def table(name, fields):
    if not fields:
        return ""
    rows = "".join(f"    {field_text(field)},\n" for field in fields)
    return f"constexpr std::array<Field, {len(fields)}> {name} = {{{{\n{rows}}}}};\n"


def in_order_of_use(records):
    done = []
    while len(done) < len(records):
        for name, fields in records.items():
            if name not in done and all(field.fields is None or field.fields in done for field in fields):
                done.append(name)
    return done


def schema_table(model):
    parts = [TOP, '#include "recorder/Schema.h"\n\n#include <array>\n\nnamespace recorder {\n\nnamespace {\n\n']
    for name in in_order_of_use(model.records):
        parts.append(table(f"record_{name}", model.records[name]))
    rows = {"Function": [], "Callback": []}
    for kind, members in (("Function", model.all_functions()), ("Callback", model.all_callbacks())):
        for member in members:
            prefix = f"{kind.lower()}_{member.name}"
            parts.append(table(f"{prefix}_arguments", member.arguments))
            given = ([member.result] if member.result else []) + member.outputs
            parts.append(table(f"{prefix}_given", given))
            arguments = f"{prefix}_arguments" if member.arguments else "{}"
            given_name = f"{prefix}_given" if given else "{}"
            on_success = "true" if member.name in model.functions and member.result and member.outputs else "false"
            result = "true" if member.result else "false"
            rows[kind].append(f'    {{"{member.name}", {arguments}, {given_name}, {result}, {on_success}}},\n')
    text = "".join(parts)
    for kind, members in rows.items():
        text += f"constexpr std::array<Signature, {len(members)}> k{kind}Table = {{{{\n{''.join(members)}}}}};\n"
    identity = int.from_bytes(hashlib.sha256(text.encode()).digest()[:6], "big")
    return (text + "\n} // namespace\n\nstd::span<const Signature> Functions()\n{\n    return kFunctionTable;\n}\n\n"
            "std::span<const Signature> Callbacks()\n{\n    return kCallbackTable;\n}\n\n"
            f"std::uint64_t SchemaId()\n{{\n    return {identity}U;\n}}\n\n}} // namespace recorder\n")


def includes(model):
    return "".join(f"#include <{name}>\n" for name in model.headers.names)


def put(field, value):
    """A statement that writes a value."""
    if field.shape == "Record":
        return f"Put(writer, {value});" if field.c_type.endswith("*") else f"Put(writer, &{value});"
    if field.shape == "Presence":
        return f"writer.Unsigned({value} != nullptr ? 1 : 0);"
    if field.shape == "Flag":
        return f"writer.Unsigned({value} ? 1 : 0);"
    if field.shape == "Bytes":
        return f"writer.Bytes({value}, static_cast<std::size_t>({field.length} > 0 ? {field.length} : 0));"
    return f"writer.{field.shape}({value});"


def put_output(field):
    if field.shape == "Record" and field.note == "out":
        return f"Put(writer, {field.name});"
    if field.shape == "Record":
        return f"Put(writer, {field.name} != nullptr ? *{field.name} : nullptr);"
    if field.shape == "Text":
        return f"writer.Text({field.name} != nullptr ? *{field.name} : nullptr);"
    none = "false" if field.shape == "Flag" else "0"
    value = f"({field.name} != nullptr ? *{field.name} : {none})"
    return put(field, value)


def put_records(model):
    text = ""
    for name in in_order_of_use({name: model.records[name] for name in model.c_records}):
        body = "".join(f"    {put(field, 'record->' + field.name)}\n" for field in model.records[name])
        text += (f"void Put(Writer& writer, const {name}* record)\n{{\n    writer.Unsigned(record != nullptr ? 1 : 0);\n"
                 f"    if (record == nullptr) {{\n        return;\n    }}\n{body}}}\n\n")
    return text


def parameter_list(function):
    return ", ".join(f"{c_type} {name}" for c_type, name in function.parameters) or "void"


def user_data(function):
    return next((name for c_type, name in function.parameters if c_type == "void*"), "")


def seam_function(function):
    callback = next((field for field in function.arguments if field.shape == "Callback"), None)
    given = {name: name for _, name in function.parameters}
    text = f"{function.returns} seam_{function.name}({parameter_list(function)})\n{{\n"
    plain = f"{function.name}({', '.join(given.values())})"
    text += f"    if (!IsRecording()) {{\n        return {plain};\n    }}\n"
    if callback:
        remember = f"{user_data(function)}" if user_data(function) else ""
        how = f"Give(Callback::{callback.type_name}, {callback.name}, {remember})" if remember else \
            f"Find(Callback::{callback.type_name}, {callback.name})"
        text += f"    const auto given = {how};\n"
        given[callback.name] = "given.function"
    text += f"    Writer& {'writer = ' if function.arguments else 'unused = '}BeginCall(Function::{function.name});\n"
    if not function.arguments:
        text = text.replace("    Writer& unused = BeginCall", "    BeginCall")
    for field in function.arguments:
        text += f"    {'writer.Unsigned(given.number);' if field.shape == 'Callback' else put(field, field.name)}\n"
    text += "    End();\n"
    result = "const auto result = " if function.result else ""
    text += f"    {result}{function.name}({', '.join(given.values())});\n"
    text += give_back(function)
    return text + "}\n\n"


def give_back(function):
    if not function.result:
        return f"    BeginReturn(Function::{function.name});\n    End();\n"
    text = f"    Writer& back = BeginReturn(Function::{function.name});\n"
    text += "    " + put(function.result, "result").replace("writer", "back") + "\n"
    if function.outputs:
        text += "    if (result == 0) {\n"
        for field in function.outputs:
            text += "        " + put_output(field).replace("writer", "back") + "\n"
        text += "    }\n"
    return text + "    End();\n    return result;\n"


def trampoline(model, callback):
    listing = callback.name in model.shapes["platform"]["listing"]
    begin = "BeginEnters" if listing else "BeginInput"
    name = callback.name
    arguments = ", ".join(parameter for _, parameter in callback.parameters)
    text = (f"struct Enter_{name}\n{{\ntemplate <std::size_t slot>\nstatic {callback.returns} At({parameter_list(callback)})\n{{\n"
            f"    const auto function = FunctionIn<{name}>(Callback::{name}, slot);\n"
            f"    if (!IsRecording()) {{\n        return function({arguments});\n    }}\n"
            f"    Writer& writer = {begin}(Callback::{name}, slot, {user_data(callback)});\n")
    text += "".join(f"    {put(field, field.name)}\n" for field in callback.arguments)
    if not callback.arguments:
        text = text.replace("    Writer& writer = Begin", "    Begin")
    text += "    End();\n"
    if callback.result:
        text += (f"    const auto result = function({arguments});\n"
                 f"    Writer& back = BeginLeaves(Callback::{name});\n    "
                 f"{put(callback.result, 'result').replace('writer', 'back')}\n    End();\n    return result;\n}}\n}};\n\n")
    else:
        text += f"    function({arguments});\n    BeginLeaves(Callback::{name});\n    End();\n}}\n}};\n\n"
    return text


def seam(model):
    text = (TOP + '#include "recorder/Functions.h"\n#include "recorder/Pool.h"\n#include "recorder/Recording.h"\n'
            '#include "recorder/Sink.h"\n#include "recorder/Writer.h"\n\n' + includes(model)
            + "\n#include <cstddef>\n\nnamespace recorder {\n\nnamespace {\n\n")
    text += put_records(model)
    for callback in model.callbacks.values():
        text += trampoline(model, callback)
    text += "} // namespace\n\n"
    slots = model.shapes["slots"]
    text += "Pool& GeneratedPool(Callback type)\n{\n    switch (type) {\n"
    for name in model.callbacks:
        count = slots.get(name, 8)
        text += (f"    case Callback::{name}: {{\n        return MakeRoom<{count}, Enter_{name}>().pool;\n    }}\n")
    text += "    default:\n        return NoPool();\n    }\n}\n\n} // namespace recorder\n\nusing namespace recorder;\n\n"
    text += 'extern "C" {\n\n'
    for function in model.functions.values():
        text += seam_function(function)
    return text + '} // extern "C"\n'


# --- The platform as a recording answers it ---

def take(field):
    """An expression that reads a value into what a callback is handed."""
    if field.shape == "Text":
        return "TakeText(reader, texts)"
    if field.shape == "Record":
        return f"TakeRecord_{field.fields}(reader, texts)"
    if field.shape == "Presence":
        return f"TakePresence<{field.c_type}>(reader)"
    if field.shape == "Flag":
        return "reader.Unsigned() != 0"
    return f"static_cast<{field.c_type}>(reader.{field.shape}())"


def take_records(model):
    text = ""
    for name in in_order_of_use({name: model.records[name] for name in model.c_records}):
        body = give = free = ""
        for field in model.records[name]:
            member = f"record.{field.name}"
            if field.shape == "Record":
                body += f"    if (const auto* inner = TakeRecord_{field.fields}(reader, texts)) {{\n" \
                        f"        {member} = *inner;\n    }}\n"
                give += f"    if (reader.Unsigned() != 0) {{\n        Fill(reader, {member});\n    }}\n"
            else:
                body += f"    {member} = {take(field)};\n"
                value = "GiveText(reader)" if field.shape == "Text" else take(field)
                give += f"    {member} = {value};\n"
                if field.shape == "Text":
                    free += f"        ::free(record->{field.name});\n"
        text += (f"[[maybe_unused]] {name}* TakeRecord_{name}(Reader& reader, Lent& texts)\n{{\n"
                 f"    if (reader.Unsigned() == 0) {{\n        return nullptr;\n    }}\n"
                 f"    {name}& record = texts.Room<{name}>();\n{body}    return &record;\n}}\n\n")
        text += f"[[maybe_unused]] void Fill(Reader& reader, {name}& record)\n{{\n{give}}}\n\n"
        text += (f"[[maybe_unused]] void Release({name}* record)\n{{\n    if (record != nullptr) {{\n{free}"
                 f"        ::free(record);\n    }}\n}}\n\n")
    return text


def answer(field):
    """Statements that give an output to the service."""
    if field.shape == "Record" and field.note == "out":
        return f"if (reader.Unsigned() != 0 && {field.name} != nullptr) {{\n            Fill(reader, *{field.name});\n" \
               "        }"
    if field.shape == "Record":
        return f"GiveRecord(reader, {field.name});"
    if field.shape == "Text":
        return f"Give({field.name}, GiveText(reader));"
    return f"Give({field.name}, {take(field)});"


def replayed(model, function):
    text = f"{function.returns} {function.name}({parameter_list(function)})\n{{\n"
    used = {field.name for field in function.outputs}
    if function.name in model.shapes["platform"]["releases"]:
        used.add(function.arguments[0].name)
        text += f"    Release({function.arguments[0].name});\n"
    for _, name in function.parameters:
        if name not in used:
            text += f"    static_cast<void>({name});\n"
    text += f"    Reader reader = AnswerOf(Function::{function.name});\n"
    if function.result and function.result.shape == "Text":
        text += "    return GiveText(reader);\n" if model.shapes["texts"][function.name] else \
            "    return LendText(reader);\n"
    elif function.result:
        text += f"    const auto result = {take(function.result)};\n"
        if function.outputs:
            text += "    if (result == 0) {\n" + "".join(f"        {answer(field)}\n" for field in function.outputs)
            text += "    }\n"
        text += "    return result;\n"
    return text + "}\n\n"


def dispatch(callback):
    text = f"    case Callback::{callback.name}: {{\n"
    names = []
    for number, (c_type, name) in enumerate(callback.parameters):
        if c_type == "void*":
            names.append("userData")
            continue
        field = next(field for field in callback.arguments if field.name == name)
        text += f"        auto value{number} = {take(field)};\n"
        names.append(f"value{number}")
    text += f"        reinterpret_cast<{callback.name}>(function)({', '.join(names)});\n        return true;\n    }}\n"
    return text


def replay(model):
    text = (TOP + '#include "recorder/Functions.h"\n#include "recorder/Reader.h"\n#include "replay/Answers.h"\n\n'
            + includes(model) + "#include <stdlib.h>\n\nnamespace {\n\nusing namespace recorder;\n"
            "using namespace replay;\n\n" + take_records(model) + "template <typename Record>\n"
            "void GiveRecord(Reader& reader, Record** output)\n{\n    if (reader.Unsigned() == 0 || output == nullptr)"
            " {\n        return;\n    }\n    *output = static_cast<Record*>(::calloc(1, sizeof(Record)));\n"
            "    if (*output != nullptr) {\n        Fill(reader, **output);\n    }\n}\n\n} // namespace\n\n")
    text += ("bool replay::CallGenerated(Callback type, Reader& reader, Anything function, void* userData, Lent& texts)"
             "\n{\n    static_cast<void>(texts);\n    switch (type) {\n")
    text += "".join(dispatch(callback) for callback in model.callbacks.values())
    text += '    default:\n        return false;\n    }\n}\n\nextern "C" {\n\n'
    text += "".join(replayed(model, function) for function in model.functions.values())
    return text + '} // extern "C"\n'


def symbols(model):
    names = {name: f"seam_{name}" for name in list(model.by_hand) + list(model.functions)
             if name not in ("AddEventLogAsync",)}
    names.update(model.shapes["symbols"])
    return "".join(f"{name} {seam_name}\n" for name, seam_name in sorted(names.items()))


def replayed_symbols(model):
    own = [name for name in model.by_hand if name != "AddEventLogAsync"] + model.shapes["replayed"]["besides"]
    return "".join(f"{name} replayed_{name}\n" for name in sorted(own))


def write(path, text):
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def main(headers_folder, shapes_file, output):
    with open(shapes_file, "rb") as file:
        shapes = tomllib.load(file)
    try:
        model = Model(Headers(headers_folder, shapes), shapes)
    except Unknown as unknown:
        sys.exit(f"generate.py: {unknown}")
    folder = pathlib.Path(output)
    for name, text in (("Functions.h", functions_header(model)), ("SchemaTable.cpp", schema_table(model)),
                       ("Seam.cpp", seam(model)), ("Replayed.cpp", replay(model)), ("seam.syms", symbols(model)), ("replayed.syms", replayed_symbols(model))):
        write(folder / name, text)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
