#!/usr/bin/env python3
"""Writes what a build is made of, as a software bill of materials: CycloneDX 1.5, JSON.

    scripts/sbom.py --build build/release --output korvane.cdx.json

Asks the build and dpkg, and believes no list: the libraries are those that the dynamic linker finds for
the programs that were built, the headers those that the compiler has read, and the packages of npm
those that the page's lock file has for what is not left behind at building. Names, versions and
sources are dpkg's, licences those of the files of copyright.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import urllib.parse
import uuid

ROOT = pathlib.Path(__file__).resolve().parent.parent


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def binaries(build):
    """The programs and libraries that were built to be installed."""
    found = [path for folder in ("bin", "lib", "plugins") for path in sorted((build / folder).glob("*"))
             if path.is_file() and not path.is_symlink() and is_elf(path)]
    if not found:
        raise SystemExit(f"{build}: nothing is built")
    return found


def libraries(linked, build):
    """The files that the dynamic linker loads for `linked`, from elsewhere than the build."""
    found = set()
    for binary in linked:
        for path in re.findall(r"=> (/\S+)", output("ldd", str(binary))):
            real = os.path.realpath(path)
            if not real.startswith(f"{os.path.realpath(build)}/"):
                found.add(real)
    return found


def headers(build):
    """The system's headers that the compiler has read, as Ninja has noted them."""
    text = output("ninja", "-C", str(build), "-t", "deps")
    return {os.path.realpath(path) for path in re.findall(r"^ {4}(/usr/\S+)$", text, re.MULTILINE)}


def owners(paths):
    """The packages that dpkg says the files came with, by file; files of none are left out."""
    found = {}
    wanted = sorted(paths)
    # Where /lib is a link to /usr/lib, a package may name a file by either.
    names = {name: path for path in wanted for name in (path, re.sub(r"^/usr(?=/lib)", "", path))}
    spelled = sorted(names)
    for begin in range(0, len(spelled), 500):
        # Fails where one of the files is of no package, and still names the others.
        told = subprocess.run(["dpkg-query", "--search", *spelled[begin:begin + 500]], check=False,
                              capture_output=True, text=True).stdout
        for package, path in re.findall(r"^([^\s,:]+)(?::\w+)?(?:, [^:]+)*: (/.*)$", told, re.MULTILINE):
            if path in names:
                found[names[path]] = package
    return found


def described(packages):
    """Of each package its version, architecture, source and maintainer."""
    form = "${Package}\\t${Version}\\t${Architecture}\\t${source:Package}\\t${Maintainer}\\t${Homepage}\\n"
    if not packages:
        return {}
    rows = [line.split("\t") for line in output("dpkg-query", "-W", f"-f={form}", *sorted(packages)).splitlines()]
    keys = ("version", "architecture", "source", "maintainer", "homepage")
    return {row[0]: dict(zip(keys, row[1:])) for row in rows}


def licences(text):
    """The names of the licences in a file of copyright that programs can read, else nothing."""
    if not re.match(r"\s*Format(-Specification)?:", text):
        return []
    names = []
    for name in re.findall(r"^License:[ \t]*(\S.*)$", text, re.MULTILINE):
        if name.strip() not in names:
            names.append(name.strip())
    return names


def licences_of(package):
    try:
        return licences(pathlib.Path("/usr/share/doc", package, "copyright").read_text(errors="replace"))
    except FileNotFoundError:
        return []


def debian_component(name, facts, use):
    quoted = urllib.parse.quote(facts["version"], safe="")
    purl = f"pkg:deb/debian/{urllib.parse.quote(name, safe='')}@{quoted}?arch={facts['architecture']}&distro=debian-12"
    component = {
        "type": "library",
        "bom-ref": purl,
        "supplier": {"name": facts["maintainer"]},
        "name": name,
        "version": facts["version"],
        "purl": purl,
        "properties": [{"name": "korvane:use", "value": use},
                       {"name": "debian:source", "value": facts["source"]}],
    }
    if names := licences_of(name):
        component["licenses"] = [{"license": {"name": one}} for one in names]
    if facts["homepage"]:
        component["externalReferences"] = [{"type": "website", "url": facts["homepage"]}]
    return component


def npm_components(lock):
    """What of npm becomes part of the page."""
    components = []
    for place, facts in sorted(lock["packages"].items()):
        if not place or facts.get("dev") or facts.get("optional"):
            continue
        name = place.rsplit("node_modules/", 1)[1]
        purl = f"pkg:npm/{urllib.parse.quote(name, safe='/')}@{facts['version']}"
        component = {"type": "library", "bom-ref": purl, "name": name, "version": facts["version"], "purl": purl,
                     "properties": [{"name": "korvane:use", "value": "in the page"}]}
        if "license" in facts:
            component["licenses"] = [{"license": {"name": facts["license"]}}]
        components.append(component)
    return components


def debian_components(build):
    linked = set(owners(libraries(binaries(build), build)).values())
    compiled = set(owners(headers(build)).values())
    facts = described(linked | compiled)
    sources = {facts[name]["source"] for name in linked}
    # The headers of a library that is linked say nothing new.
    compiled = {name for name in compiled - linked if facts[name]["source"] not in sources}
    return ([debian_component(name, facts[name], "linked") for name in sorted(linked)] +
            [debian_component(name, facts[name], "headers compiled in") for name in sorted(compiled)])


def version():
    return re.search(r"^project\(korvane VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]


def bill(components, release, time):
    product = f"pkg:generic/korvane@{release}"
    identity = uuid.uuid5(uuid.NAMESPACE_URL, json.dumps([product, time, components]))
    return {
        "bomFormat": "CycloneDX",
        "specVersion": "1.5",
        "serialNumber": f"urn:uuid:{identity}",
        "version": 1,
        "metadata": {
            "timestamp": time,
            "component": {"type": "application", "bom-ref": product, "name": "korvane", "version": release,
                          "purl": product},
        },
        "components": components,
        "dependencies": [{"ref": product, "dependsOn": sorted(one["bom-ref"] for one in components)}],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--output", type=pathlib.Path, required=True)
    options = parser.parse_args()
    os.environ["TZ"] = "UTC"
    time = output("git", "-C", str(ROOT), "log", "-1", "--format=%cd", "--date=format-local:%Y-%m-%dT%H:%M:%SZ").strip()
    lock = json.loads((ROOT / "web/package-lock.json").read_text())
    components = debian_components(options.build) + npm_components(lock)
    options.output.write_text(json.dumps(bill(components, version(), time), indent=1) + "\n")


if __name__ == "__main__":
    main()
