#!/usr/bin/env python3
"""check_exports.py - every function the public headers declare is defined and exported.

A host links against the headers in system/inc alone, so a member or free function that a
header declares without an inline body must be in the dynamic symbol table of the shared
library; otherwise the first caller fails to link. The declarations are read by clang
itself (its JSON syntax tree carries each function's mangled name) and compared with
`nm -D --defined-only`. Headers added later are checked without any change here.

Usage: check_exports.py CLANGXX NM INC_DIR LIBRARY WORK_DIR
"""
import json
import os
import re
import subprocess
import sys

FUNCTION_KINDS = {"FunctionDecl", "CXXMethodDecl", "CXXConstructorDecl",
                  "CXXDestructorDecl", "CXXConversionDecl"}
# Declarations inside these are templates: they are defined where they are declared.
TEMPLATE_KINDS = {"ClassTemplateDecl", "FunctionTemplateDecl",
                  "ClassTemplateSpecializationDecl",
                  "ClassTemplatePartialSpecializationDecl"}
BODY_KINDS = {"CompoundStmt", "CXXTryStmt"}


def dump_headers(clangxx, inc_dir, work_dir):
    """The JSON syntax tree of the umbrella header without the system headers' bodies.

    The system headers go into a precompiled header first: the dump leaves out what it
    deserialises from there, which keeps it small enough to read in a second.
    """
    system_includes = set()
    for name in sorted(os.listdir(inc_dir)):
        if name.endswith(".h"):
            with open(os.path.join(inc_dir, name), encoding="utf-8") as f:
                system_includes.update(re.findall(r"^\s*#\s*include\s*(<[^>]+>)", f.read(), re.M))
    prelude = os.path.join(work_dir, "exports_prelude.h")
    with open(prelude, "w", encoding="utf-8") as f:
        # A header may include some of them only where they exist.
        for name in sorted(system_includes):
            f.write(f"#if __has_include({name})\n#include {name}\n#endif\n")
    pch = prelude + ".pch"
    std = ["-std=c++20", "-Wno-pragma-once-outside-header"]
    subprocess.run([clangxx, *std, "-x", "c++-header", prelude, "-o", pch], check=True)
    result = subprocess.run(
        [clangxx, *std, "-fsyntax-only", "-include-pch", pch, "-include", prelude,
         "-I", inc_dir, "-Xclang", "-ast-dump=json", "-x", "c++",
         os.path.join(inc_dir, "brixsys.h")],
        check=True, stdout=subprocess.PIPE)
    return json.loads(result.stdout)


class Collector:
    """Walks the tree in the order clang printed it: a location names its file only when
    the file changes, so the current file is carried along the walk."""

    def __init__(self, inc_dir):
        self.inc_dir = os.path.realpath(inc_dir) + os.sep
        self.file = ""
        self.required = {}  # mangled name -> name, for what a host may call
        self.private = {}  # mangled name -> name, for private members
        self.defined = set()  # mangled names that have a body, or need none, in a header
        self.mangled_of = {}  # declaration id -> mangled name
        self.referenced = set()  # declaration ids used by code in the headers

    def note_location(self, loc):
        if not isinstance(loc, dict):
            return
        for key, value in loc.items():
            if key == "file":
                self.file = value
            elif key in ("spellingLoc", "expansionLoc", "begin", "end"):
                self.note_location(value)

    def in_public_header(self):
        return os.path.realpath(self.file).startswith(self.inc_dir) if self.file else False

    def walk(self, node, context, access="public"):
        if not isinstance(node, dict):
            return
        kind = node.get("kind", "")
        self.note_location(node.get("loc"))
        public_header = self.in_public_header()
        self.note_location(node.get("range"))
        ref = node.get("referencedDecl")
        if isinstance(ref, dict) and "id" in ref:
            self.referenced.add(ref["id"])
        if isinstance(node.get("referencedMemberDecl"), str):
            self.referenced.add(node["referencedMemberDecl"])
        if kind in FUNCTION_KINDS:
            self.consider(node, context, access, public_header)
        inner_context = context
        inner_access = "public"
        if kind in TEMPLATE_KINDS or kind in BODY_KINDS:
            inner_context = "skip"
        elif kind == "NamespaceDecl" and not node.get("name"):
            inner_context = "skip"  # internal linkage
        elif kind == "CXXRecordDecl":
            inner_context = context if context == "skip" else "member"
            inner_access = "private" if node.get("tagUsed") == "class" else "public"
        for child in node.get("inner", []):
            if child.get("kind") == "AccessSpecDecl":
                inner_access = child.get("access", inner_access)
            self.walk(child, inner_context, inner_access)

    def consider(self, node, context, access, public_header):
        mangled = node.get("mangledName")
        if not mangled or context == "skip":
            return
        self.mangled_of[node["id"]] = mangled
        inner = node.get("inner", [])
        needs_no_body = (
            node.get("isImplicit") or node.get("inline") or node.get("constexpr")
            or node.get("pure") or node.get("explicitlyDeleted")
            or node.get("explicitlyDefaulted")
            or any(c.get("kind") in BODY_KINDS for c in inner)
            or (context != "member" and node.get("storageClass") == "static"))
        if needs_no_body:
            self.defined.add(mangled)
        elif public_header:
            # A private member is reachable from a host only through the header's own
            # code or a virtual call.
            hidden = context == "member" and access == "private" and not node.get("virtual")
            (self.private if hidden else self.required).setdefault(mangled, node.get("name"))

    def needed(self):
        used = {self.mangled_of[i] for i in self.referenced if i in self.mangled_of}
        needed = dict(self.required)
        needed.update({m: n for m, n in self.private.items() if m in used})
        return {m: n for m, n in needed.items() if m not in self.defined}


def variants(mangled):
    """The symbols that satisfy a declaration: a constructor or destructor is emitted as
    its complete, base or deleting variant, and the compiler may keep only some of them."""
    m = re.search(r"(C[123]|D[012])E", mangled)
    if not m:
        return [mangled]
    group = ["C1", "C2", "C3"] if m.group(1)[0] == "C" else ["D0", "D1", "D2"]
    return [mangled[:m.start(1)] + g + mangled[m.end(1):] for g in group]


def main():
    # The libraries that together define the public headers' functions come between the
    # header folder and the work folder (the core library, then the renderer).
    clangxx, nm, inc_dir = sys.argv[1:4]
    libraries, work_dir = sys.argv[4:-1], sys.argv[-1]
    library = " and ".join(libraries)
    os.makedirs(work_dir, exist_ok=True)
    tree = dump_headers(clangxx, inc_dir, work_dir)
    collector = Collector(inc_dir)
    collector.walk(tree, "namespace")
    symbols = set()
    for lib in libraries:
        symbols |= set(subprocess.run([nm, "-D", "--defined-only", "--format=just-symbols", lib],
                                      check=True, stdout=subprocess.PIPE, text=True).stdout.split())
    needed = collector.needed()
    missing = [m for m in sorted(needed) if not any(v in symbols for v in variants(m))]
    if not needed:
        print("no declaration found: the header dump was not understood")
        return 1
    if missing:
        demangled = subprocess.run(["c++filt"], input="\n".join(missing), text=True,
                                   stdout=subprocess.PIPE).stdout.split("\n")
        print(f"{len(missing)} declared function(s) neither inline nor exported by {library}:")
        for m, d in zip(missing, demangled):
            print(f"  {d}   [{m}]")
        return 1
    print(f"{len(needed)} declared functions, all exported")
    return 0


if __name__ == "__main__":
    sys.exit(main())
