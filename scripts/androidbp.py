"""Compares Android.bp with a folder that CMake has configured, then builds its modules there: androidbp.py FOLDER."""

import ast
import pathlib
import re
import shlex
import subprocess
import sys


def modules(text):
    """The modules of a blueprint file, each a dictionary of its properties, by name."""
    text = re.sub(r"//.*", "", text)
    # As Python: an assignment of a dictionary for each module, its keys quoted.
    text = re.sub(r"^(\w+) \{", r"{'module': '\1',", text, flags=re.M)
    text = re.sub(r"^    (\w+):", r"    '\1':", text, flags=re.M)
    text = re.sub(r"\btrue\b", "True", text)
    text = re.sub(r"\bfalse\b", "False", text)
    found = ast.literal_eval("[" + re.sub(r"^\}", "},", text, flags=re.M) + "]")
    return {module["name"]: module for module in found}


def built_by_cmake(folder, root):
    """What CMake makes libtessary.so of, in the same terms. The stand-ins for a device's libraries do not count."""
    commands = subprocess.run(
        ["ninja", "-C", folder, "-t", "commands", "lib/libtessary.so"],
        check=True, capture_output=True, text=True).stdout.splitlines()
    sources, flags, links = set(), set(), []
    for command in commands:
        words = shlex.split(command)
        source = words[words.index("-c") + 1] if "-c" in words else ""
        if source and "workstation" not in pathlib.Path(source).relative_to(root).parts:
            sources.add(str(pathlib.Path(source).relative_to(root)))
            flags |= {word for word in words if re.match(r"-[fW]|-std=", word)}
        elif "lib/libtessary.so" in words and "-shared" in words:
            links = words
    libraries = {pathlib.Path(word).stem for word in links if word.endswith(".so") and not word.startswith("-")}
    return {
        "sources": sources,
        "flags": flags - {"-fPIC"},
        "link flags": {word for word in links if re.match(r"-Wl,(?!-soname|-rpath|--version-script)", word)},
        "version script": {str(pathlib.Path(word.partition("=")[2]).relative_to(root))
                           for word in links if word.startswith("-Wl,--version-script=")},
        "libraries": {library.replace("sqlite3", "sqlite") for library in libraries} - {"libtessary"},
    }


def described(module):
    """What a module of Android.bp says, in the same terms."""
    return {
        "sources": set(module["srcs"]),
        # The platform's build leaves exceptions out unless told otherwise.
        "flags": set(module["cppflags"]) - {"-fexceptions"} | {"-std=" + module["cpp_std"]},
        "link flags": set(module["ldflags"]),
        "version script": {module["version_script"]},
        "libraries": set(module["shared_libs"]),
    }


def build(module, folder):
    """Builds a module with the platform's defaults: no exceptions and no type information unless it asks for them."""
    shared = module["module"] == "cc_library_shared"
    target = folder / (module["name"] + (".so" if shared else ""))
    libraries = ["-lsqlite3" if name == "libsqlite" else str(folder / "lib" / (name + ".so"))
                 for name in module["shared_libs"]]
    subprocess.run(
        ["clang++", "-Os", "-fPIC", "-fno-exceptions", "-fno-rtti", "-stdlib=libc++", "-fuse-ld=lld",
         "-std=" + module["cpp_std"], *module.get("cppflags", []), *(["-frtti"] if module.get("rtti") else []),
         "-I.", "-isystem", "workstation/include", *module["srcs"], "-o", str(target),
         *(["-shared", "-Wl,-soname," + target.name] if shared else []), *module.get("ldflags", []),
         *(["-Wl,--version-script=" + module["version_script"]] if "version_script" in module else []), *libraries],
        check=True)
    print("Built from Android.bp:", target.name)


root = pathlib.Path(__file__).resolve().parent.parent
folder = root / sys.argv[1]
android = modules((root / "Android.bp").read_text())
agreed, said = built_by_cmake(folder, root), described(android["libtessary"])
faults = []
for what in agreed:
    faults += [f"{what}: {name} is missing" for name in sorted(agreed[what] - said[what])]
    faults += [f"{what}: {name} is not CMake's" for name in sorted(said[what] - agreed[what])]
    print(f"Same as CMake's: {len(agreed[what])} {what}" if agreed[what] == said[what] else f"Other than CMake's: {what}")
if faults or not all(agreed.values()):
    sys.exit("Android.bp: " + "\nAndroid.bp: ".join(faults or ["CMake's commands were not understood"]))
for module in android.values():
    build(module, folder)
