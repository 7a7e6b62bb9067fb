"""Makes a library that has another one's name and what others import from it, and nothing behind."""

import re
import subprocess
from collections import defaultdict

# Number, value, size, kind, binding, visibility, section, name and version; the first line of the table has no name.
SYMBOL = re.compile(r"^ *\d+: +\S+ +(\S+) +(\S+) +\S+ +\S+ +(\S+) ([^\s@]+)(?:@@?(\S+))?", re.MULTILINE)


def symbols_of(path):
    """(size, kind, section, name, version) of each symbol that the loader sees."""
    listed = subprocess.run(["readelf", "--dyn-syms", "--wide", path], check=True, text=True, stdout=subprocess.PIPE)
    return SYMBOL.findall(listed.stdout)


def make_placeholder(library, importers, place):
    """Writes to `place` a stand-in for `library` that suffices for the files `importers`."""
    imported = {(name, version) for path in importers for _, _, section, name, version in symbols_of(path)
                if section == "UND"}
    code, data, versions = [], [], defaultdict(list)
    for size, kind, section, name, version in symbols_of(library):
        if section == "UND" or (name, version) not in imported:
            continue
        if kind == "TLS":
            raise ValueError(f"{library}: {name} belongs to threads")
        is_data = kind == "OBJECT"
        (data if is_data else code).append(
            f".globl {name}\n.type {name}, {'@object' if is_data else '@function'}\n{name}:\n" +
            (f".size {name}, {int(size, 0)}\n.zero {int(size, 0)}\n.balign 16\n" if is_data else ""))
        versions[version].append(name)
    script = "".join(f"{version or 'PLACEHOLDER'} {{ global: {'; '.join(names)}; }};\n"
                     for version, names in versions.items())
    options = []
    if any(versions):
        (place.parent / "placeholder.map").write_text(script)
        options.append(f"-Wl,--version-script={place.parent / 'placeholder.map'}")
    source = ".text\n" + "".join(code) + "ud2\n.bss\n.balign 16\n" + "".join(data) + \
        '.section .note.GNU-stack,"",@progbits\n'
    subprocess.run(["gcc", "-shared", "-nostdlib", f"-Wl,-soname,{place.name}", "-Wl,--build-id=none", "-s", *options,
                    "-x", "assembler", "-", "-o", place], check=True, text=True, input=source)
    (place.parent / "placeholder.map").unlink(missing_ok=True)
