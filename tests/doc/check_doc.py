#!/usr/bin/env python3
"""Checks of the reference pages under doc/ (run by ctest, label doc).

    check_doc.py pages DOC EXPORTS HEADER...   every export has a page, with
        the sections a page has and the header's prototype in its SYNOPSIS
    check_doc.py seealso DOC                   every SEE ALSO target exists
    check_doc.py example PAGE WORKDIR CC LIBRARY INCLUDE...
        the page's EXAMPLE compiles as C99 without a warning, links against
        the library and exits 0
    check_doc.py lint MANDIR                   mandoc -Tlint and man --warnings
        report nothing, and every link page leads to a page
"""
import os
import re
import shutil
import subprocess
import sys

SKIP = 77  # ctest's SKIP_RETURN_CODE for these tests
SECTIONS3 = ["NAME", "SYNOPSIS", "DESCRIPTION", "RETURN VALUE", "DIAGNOSTICS",
             "EXAMPLE", "SEE ALSO"]


def page_sources(doc):
    for section in ("3", "7"):
        folder = os.path.join(doc, "man" + section)
        for entry in sorted(os.listdir(folder)):
            if entry.endswith(".md"):
                yield section, entry[:-3], os.path.join(folder, entry)


def sections_of(text):
    """The page's level-1 sections, in order, with their text."""
    parts = re.split(r"^# (.+)$", text, flags=re.M)
    return [(parts[i].strip(), parts[i + 1]) for i in range(1, len(parts), 2)]


def names_of(text):
    match = re.search(r"^# NAME\n+([^\n]+)", text, flags=re.M)
    if not match:
        return []
    line = match.group(1).replace("\\", "")
    return [n.strip() for n in line.split(" - ", 1)[0].split(",")]


def export_names(exports):
    names = []
    for root, _, files in os.walk(exports):
        for f in files:
            if f.endswith(".txt"):
                with open(os.path.join(root, f)) as stream:
                    names += [l.strip() for l in stream
                              if re.match(r"^[A-Za-z_][A-Za-z0-9_]*$", l.strip())]
    return names


def normalise(text):
    text = re.sub(r"\s+", " ", text)
    text = re.sub(r"\s*([(),;\[\]*])\s*", r"\1", text)
    return text.strip()


def declarations(headers):
    """Every KX_API declaration of the headers, by the name it declares."""
    found = {}
    for header in headers:
        with open(header) as stream:
            text = stream.read()
        text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
        for chunk in re.split(r"(?<!#define )\bKX_API\b", text)[1:]:
            declaration = chunk.split(";", 1)[0] + ";"
            match = re.search(r"([A-Za-z_][A-Za-z0-9_]*)\s*(\(|\[|;)", declaration)
            # the declared name is the one before the parameter list
            names = re.findall(r"([A-Za-z_][A-Za-z0-9_]*)\s*[\(\[]", declaration)
            name = names[0] if names else (match.group(1) if match else None)
            if name:
                found[name] = normalise(declaration)
    return found


def check_pages(doc, exports, headers):
    errors = []
    documented = {}
    for section, page, path in page_sources(doc):
        with open(path) as stream:
            text = stream.read()
        names = names_of(text)
        if not names or names[0] != page:
            errors.append(f"{path}: the NAME line must start with {page}")
        for name in names:
            if name in documented:
                errors.append(f"{path}: {name} is also in {documented[name]}")
            documented[name] = path
        if section != "3":
            continue
        present = [s for s, _ in sections_of(text)]
        for wanted in SECTIONS3:
            if wanted not in present:
                errors.append(f"{path}: no {wanted} section")
        synopsis = normalise(dict(sections_of(text)).get("SYNOPSIS", ""))
        decls = declarations(headers)
        for name in names:
            if name not in decls:
                errors.append(f"{path}: {name} is declared in no public header")
            elif decls[name] not in synopsis:
                errors.append(f"{path}: SYNOPSIS lacks the header's prototype of "
                              f"{name}: {decls[name]}")
    exported = export_names(exports)
    for name in exported:
        if name not in documented:
            errors.append(f"exported {name} has no page: add it to the NAME line "
                          "of a page under doc/man3")
    for name, path in documented.items():
        if path.endswith(".md") and "/man3/" in path and name not in exported:
            errors.append(f"{path}: {name} is not exported (exports/)")
    for e in errors:
        print(e)
    print(f"{len(exported)} exports, {len(documented)} documented names, "
          f"{len(errors)} problems")
    return 1 if errors else 0


def check_seealso(doc):
    ours = set()
    texts = []
    for section, _, path in page_sources(doc):
        with open(path) as stream:
            text = stream.read()
        texts.append((path, text))
        ours |= {f"{n}({section})" for n in names_of(text)}
    errors = 0
    for path, text in texts:
        body = dict(sections_of(text)).get("SEE ALSO")
        if body is None:
            print(f"{path}: no SEE ALSO section")
            errors += 1
            continue
        targets = re.findall(r"\*\*([A-Za-z0-9_.\\-]+)\*\*\((\d)\)", body)
        if not targets:
            print(f"{path}: SEE ALSO names no page")
            errors += 1
        for name, section in targets:
            name = name.replace("\\", "")
            if f"{name}({section})" in ours:
                continue
            # a page of another package: it must be installed here
            found = shutil.which("man") and subprocess.run(
                ["man", "-w", section, name], capture_output=True).returncode == 0
            if not found:
                print(f"{path}: SEE ALSO {name}({section}) is no page")
                errors += 1
    print(f"{len(texts)} pages, {errors} missing SEE ALSO targets")
    return 1 if errors else 0


def extract_example(path):
    with open(path) as stream:
        body = dict(sections_of(stream.read())).get("EXAMPLE", "")
    blocks = re.findall(r"^```c\n(.*?)^```", body, flags=re.S | re.M)
    return blocks


def check_example(page, workdir, cc, library, includes):
    blocks = extract_example(page)
    if len(blocks) != 1:
        print(f"{page}: the EXAMPLE section must hold one ```c block, not {len(blocks)}")
        return 1
    shutil.rmtree(workdir, ignore_errors=True)
    os.makedirs(workdir)
    source = os.path.join(workdir, "example.c")
    with open(source, "w") as stream:
        stream.write(blocks[0])
    program = os.path.join(workdir, "example")
    library = os.path.abspath(library)
    command = [cc, "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror"]
    command += ["-I" + i for i in includes]
    command += [source, "-o", program, library,
                "-Wl,-rpath," + os.path.dirname(library), "-lm"]
    compiled = subprocess.run(command)
    if compiled.returncode != 0:
        print(" ".join(command))
        return 1
    run = subprocess.run([program], cwd=workdir, timeout=60)
    print(f"{page}: the example exited {run.returncode}")
    return 0 if run.returncode == 0 else 1


def check_lint(mandir):
    pages = []
    for root, _, files in os.walk(mandir):
        pages += [os.path.join(root, f) for f in sorted(files)]
    if not pages:
        print(f"no pages in {mandir}: pandoc is missing (apt-get install pandoc)")
        return SKIP
    if not shutil.which("mandoc"):
        print("mandoc is missing (apt-get install mandoc): nothing to lint with")
        return SKIP
    errors = 0
    for page in pages:
        with open(page) as stream:
            first = stream.readline()
        if first.startswith(".so "):
            target = os.path.join(mandir, first.split()[1])
            if not os.path.exists(target):
                print(f"{page}: leads to {target}, which is missing")
                errors += 1
            continue
        lint = subprocess.run(["mandoc", "-Tlint", page], capture_output=True, text=True)
        if lint.stdout or lint.stderr or lint.returncode != 0:
            print(lint.stdout + lint.stderr, end="")
            errors += 1
        if shutil.which("man"):
            env = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="80")
            warn = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8",
                                   "-Z", page], capture_output=True, text=True, env=env)
            if warn.stderr:
                print(f"{page}: man --warnings: {warn.stderr}", end="")
                errors += 1
    print(f"{len(pages)} pages and links, {errors} with problems")
    return 1 if errors else 0


def main(argv):
    command = argv[1] if len(argv) > 1 else ""
    if command == "pages":
        return check_pages(argv[2], argv[3], argv[4:])
    if command == "seealso":
        return check_seealso(argv[2])
    if command == "example":
        return check_example(argv[2], argv[3], argv[4], argv[5], argv[6:])
    if command == "lint":
        return check_lint(argv[2])
    print(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
