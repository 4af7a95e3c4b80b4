"""Writes the parts of the package that follow from the library: its functions, its errors, its version.

Usage: generate.py PACKAGE VERSION
PACKAGE is the folder of the package, with the extension and the library in it.
"""

import builtins
import importlib.util
import os
import sys
import textwrap

HEADER = '"""{}\n\nMade from the library when the package is built."""\n\n'
TYPES = {
    "boolean": "bool",
    "integer": "int",
    "real": "float",
    "text": "Text",
    "tensor": "npt.ArrayLike",
    "image": "npt.ArrayLike",
    "array": "npt.ArrayLike",
    "store": "Items",
}
RESULTS = {
    "": "None",
    "boolean": "bool",
    "integer": "int",
    "real": "float",
    "text": "str",
    "tensor": "npt.NDArray[Any]",
    "image": "npt.NDArray[Any]",
    "array": "npt.NDArray[Any]",
    "store": "Store",
}
DEFAULTS = {"boolean": "False", "integer": "0", "text": '""', "store": "()"}
# Without these a call means nothing: what they lack is no default.
REQUIRED = ("path", "names", "numbers", "keyword", "group", "element", "value", "image", "scaling", "context")


def extension(package):
    """The extension module, without the package around it."""
    name = next(file for file in os.listdir(package) if file.startswith("_radvex."))
    spec = importlib.util.spec_from_file_location("radvex._radvex", os.path.join(package, name))
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    module.set_library(os.path.join(package, "lib", "Radvex.so"))
    return module


def wrapped(text, indent):
    return textwrap.fill(text, 118, initial_indent=indent, subsequent_indent=indent)


def snake(name):
    return "".join("_" + letter.lower() if letter.isupper() else letter for letter in name)


def parameters(arguments):
    """The arguments of a function; those at the end that have a default get it."""
    words = []
    has_default = True
    for name, kind, _ in reversed(arguments):
        has_default = has_default and kind in DEFAULTS and name not in REQUIRED
        words.insert(0, f"{snake(name)}: {TYPES[kind]}" + (f" = {DEFAULTS[kind]}" if has_default else ""))
    return ", ".join(words)


def function(name, meaning, arguments, kind, result, errors):
    lines = [f"def {name}({parameters(arguments)}) -> {RESULTS[kind]}:", f'    """{meaning}', ""]
    for argument, _, about in arguments:
        lines.append(textwrap.fill(f"{snake(argument)}: {about}", 118, initial_indent="    ", subsequent_indent=" " * 8))
    if arguments:
        lines.append("")
    if kind:
        lines += [wrapped("Returns " + result + ".", "    "), ""]
    if errors:
        lines += [wrapped("Raises " + ", ".join(errors) + ".", "    "), ""]
    lines[-1] = '    """'
    names = "".join(", " + snake(argument) for argument, _, _ in arguments)
    call = f'call("{name}"{names})'
    lines.append(f"    return cast({RESULTS[kind]!r}, {call})" if kind else f"    {call}")
    return "\n".join(lines) + "\n"


def functions(module):
    text = HEADER.format("The functions that the library exports, as Python functions.")
    text += "from __future__ import annotations\n\nimport os\nfrom typing import TYPE_CHECKING, Any, Mapping, Sequence, Union, cast\n\n"
    text += "from radvex._library import call\nfrom radvex._store import Store\n\n"
    text += "if TYPE_CHECKING:\n    import numpy.typing as npt\n\n"
    text += 'Text = Union[str, bytes, "os.PathLike[str]"]\nItems = Union[Sequence[Any], Mapping[str, Any], Store]\n'
    for each in module.functions():
        text += "\n\n" + function(*each)
    names = ", ".join(f'"{each[0]}"' for each in module.functions())
    return text + "\n\n" + textwrap.fill(f"__all__ = [{names}]", 118, subsequent_indent="    ") + "\n"


def errors(module):
    text = HEADER.format("One exception class for each error that the library registers.")
    text += "import builtins\n\nfrom radvex._errors import LibraryError\n"
    names = []
    for code, name, message in module.errors():
        bases = "LibraryError"
        if name in ("OpenFileError", "PathNotValidated"):
            bases += ", OSError"
        elif hasattr(builtins, name):
            bases += f", builtins.{name}"
        sentence = message.replace("`", "'").replace("\\", "\\\\").replace('"', "'")
        text += f"\n\nclass {name}({bases}):\n" + wrapped('"""' + sentence + '"""', "    ")
        text += f'\n\n    code = {code}\n    name = "{name}"\n'
        names.append(name)
    listed = ", ".join(f'"{name}"' for name in names)
    return text + "\n\n" + textwrap.fill(f"__all__ = [{listed}]", 118, subsequent_indent="    ") + "\n"


def main():
    package, version = sys.argv[1:]
    module = extension(package)
    for file, text in (
        ("functions.py", functions(module)),
        ("_registered.py", errors(module)),
        ("_version.py", f'__version__ = "{version}"\n'),
    ):
        with open(os.path.join(package, file), "w", encoding="utf-8") as output:
            output.write(text)
    module.close()


if __name__ == "__main__":
    main()
