#!/usr/bin/env python3
"""Checks who includes whom: tools and bindings may use store, store may use libs, libs may use platform; nothing points back.

Usage: check_includes.py ROOT [INTERNAL_HEADER...]     exit status 1 and one line for each violation when there are any

Internal headers (paths below ROOT) are the ones that are not installed, so no public header includes them. Those of platform serve
platform alone: on the device other libraries take its place. Those of libs and store may serve the layers of this tree that build
on them, but no example, which knows only what is installed. Tests, benchmarks and fuzz targets look into everything and are not checked.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:<([^>]+)>|"([^"]+)")')
SUFFIXES = {".h", ".hpp", ".cpp", ".cc", ".c"}

# Each layer with the layers that it may use and the libraries of other people that it may use.
LAYERS = {
    "platform": ([], ["log4cpp/", "libdeflate.h", "uuid/", "pugixml.hpp"]),
    "libs": (["platform"], ["log4cpp/Priority.hh"]),
    "store": (["platform", "libs"], ["sqlite3.h", "libpq-fe.h"]),
    "tools": (["platform", "libs", "store"], ["CLI/", "nlohmann/", "sndfile.h", "zlib.h"]),
    "bindings": (["platform", "libs", "store"], ["pybind11/"]),
    "examples": (["platform", "libs"], []),
}
# Layers that may use internal headers of the layers named below.
INSIDERS = {"libs", "store", "tools", "bindings"}
OPEN_TO_INSIDERS = {"libs", "store"}
# Layers whose headers are installed, and the only library of other people that those headers may use.
INSTALLED = {"platform", "libs", "store"}
ALLOWED_IN_INSTALLED = ["log4cpp/Priority.hh"]

# Headers of the language have no suffix; these belong to the C library and the kernel.
SYSTEM = {"cpio.h", "cxxabi.h", "dirent.h", "dlfcn.h", "endian.h", "errno.h", "fcntl.h", "limits.h", "poll.h", "pthread.h",
          "sched.h", "signal.h", "stdint.h", "syslog.h", "termios.h", "time.h", "unistd.h"}
SYSTEM_FOLDERS = ("sys/", "arpa/", "netinet/", "linux/")


def is_system(name):
    return name in SYSTEM or name.startswith(SYSTEM_FOLDERS) or ("/" not in name and "." not in name)


def is_allowed(name, allowed):
    return any(name == entry or (entry.endswith("/") and name.startswith(entry)) for entry in allowed)


class Tree:
    def __init__(self, root, internal):
        self.root = root
        self.internal = {root / name for name in internal}

    def sources(self):
        for layer in LAYERS:
            for path in sorted((self.root / layer).rglob("*")):
                if path.suffix in SUFFIXES:
                    yield layer, path

    def layer_of(self, path):
        layer = path.relative_to(self.root).parts[0]
        return layer if layer in LAYERS else None

    def resolve(self, source, name):
        """The file of this tree that an include means, or None."""
        for folder in (source.parent, self.root, self.root / "libs"):
            path = folder / name
            if path.is_file():
                return path
        return None

    def is_public_header(self, layer, path):
        return layer in INSTALLED and path.suffix in (".h", ".hpp") and path not in self.internal

    def judge(self, layer, source, name, quoted):
        """What is wrong with one include, or None."""
        if ".." in pathlib.PurePosixPath(name).parts:
            return "leads upwards; includes start at the root or at libs/"
        target = self.resolve(source, name)
        if target is not None:
            return self.judge_own(layer, source, target, quoted)
        if quoted:
            return "is no file of this tree"
        return self.judge_foreign(layer, source, name)

    def judge_own(self, layer, source, target, quoted):
        other = self.layer_of(target)
        if not quoted:
            return "is a file of this tree and belongs in quotes"
        if other != layer and other not in LAYERS[layer][0]:
            return f"points from {layer} to {target.relative_to(self.root).parts[0]}"
        if target in self.internal and other != layer and not (other in OPEN_TO_INSIDERS and layer in INSIDERS):
            return f"is internal to {other}"
        if target in self.internal and self.is_public_header(layer, source):
            return "is internal, and this header is public"
        return None

    def judge_foreign(self, layer, source, name):
        if is_system(name):
            return None
        if not is_allowed(name, LAYERS[layer][1]):
            return f"is a library that {layer} does not use"
        if self.is_public_header(layer, source) and not is_allowed(name, ALLOWED_IN_INSTALLED):
            return "is a library, and this header is public"
        return None

    def violations(self):
        for layer, source in self.sources():
            for number, line in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
                found = INCLUDE.match(line)
                if not found:
                    continue
                name = found.group(1) or found.group(2)
                wrong = self.judge(layer, source, name, found.group(2) is not None)
                if wrong:
                    yield f"{source.relative_to(self.root)}:{number}: {name} {wrong}"


def main(arguments):
    if not arguments:
        sys.exit(__doc__)
    tree = Tree(pathlib.Path(arguments[0]).resolve(), arguments[1:])
    if not any(layer == "libs" for layer, _ in tree.sources()):
        sys.exit(f"{tree.root} holds no sources in libs/")
    for header in sorted(tree.internal):
        if not header.is_file():
            sys.exit(f"{header} does not exist")
    found = list(tree.violations())
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main(sys.argv[1:])
