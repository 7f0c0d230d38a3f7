"""The package for Windows as it comes out: what is in the zip, and in its programs the
imports, the icon, the version and the manifest.

usage: package.py --build FOLDER
"""

import argparse
import os
import re
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
import zipfile

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
# Part of every Windows 10, whatever its edition, its media features or its drivers.
SYSTEM = set("""advapi32 avrt bcrypt combase d3d11 dwmapi dxgi gdi32 kernel32 mmdevapi msvcrt ntdll
    ole32 oleaut32 propsys shcore shell32 shlwapi user32 version winmm ws2_32 wtsapi32""".split())
# Came after Windows 10 1903: a program that imports one does not start there.
TOO_NEW = set("""BuildIoRingReadFile ConvertToInterceptWindow CreateIoRing
    EnableProcessOptionalXStateFeatures GetFileInformationByName GetMachineTypeAttributes
    GetTempPath2A GetTempPath2W GetThreadEnabledXStateFeatures GetThreadSelectedCpuSetMasks
    QueryIoRingCapabilities ReleasePseudoConsole SetProcessDefaultCpuSetMasks
    SetProcessDynamicEHContinuationTargets SetProcessDynamicEnforcedCetCompatibleRanges
    SetThreadSelectedCpuSetMasks""".split())
SUBSYSTEMS = {"ORVENTA.exe": "Windows GUI", "orventactl.exe": "Windows CUI"}
LICENCES = {  # and what each is there for
    "licences/gcc-runtime.txt": "GCC RUNTIME LIBRARY EXCEPTION",
    "licences/GPL-3.txt": "GNU GENERAL PUBLIC LICENSE",
    "licences/mingw-w64-runtime.txt": "mingw-w64-libraries/winpthreads",
}
MANIFEST = {
    "requestedExecutionLevel": "asInvoker",
    "supportedOS": "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",  # Windows 10 and 11
    "dpiAware": "true/pm",
    "dpiAwareness": "PerMonitorV2, PerMonitor",
    "longPathAware": "true",
    "activeCodePage": "UTF-8",
}


def check_code(path, subsystem):
    text = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", path], capture_output=True,
                          text=True, check=True).stdout
    wanted = ["file format pei-x86-64", subsystem, "HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"]
    assert all(word in text for word in wanted), text[:2000]
    libraries = re.findall(r"DLL Name: (\S+)\.dll", text)
    assert libraries and {name.lower() for name in libraries} <= SYSTEM, libraries
    functions = set(re.findall(r"^\s+[0-9a-f]+\s+\d+\s+(\w+)$", text, re.M))
    assert len(functions) > 100 and not functions & TOO_NEW, functions & TOO_NEW


def check_icon(program, icon):
    sizes = set()
    for i in range(struct.unpack_from("<H", icon, 4)[0]):
        width, _, _, _, _, bits, size, place = struct.unpack_from("<BBBBHHII", icon, 6 + 16 * i)
        assert bits == 32 and icon[place:place + size] in program, i
        sizes.add(width or 256)
    assert {16, 24, 32, 48, 256} <= sizes, sizes


def check_version(program, name, version):
    fixed = struct.unpack_from("<HHHH", program, program.index(b"\xbd\x04\xef\xfe") + 8)
    major, minor, patch = map(int, version.split("."))
    assert fixed == (minor, major, 0, patch), fixed
    for key, value in {"ProductName": "ORVENTA", "OriginalFilename": name,
                       "ProductVersion": version}.items():
        assert re.search(re.escape((key + "\0").encode("utf-16-le")) + b"(?:\0\0)?" +
                         re.escape((value + "\0").encode("utf-16-le")), program), key


def check_manifest(program):
    begin = program.index(b"<?xml")
    end = program.index(b"</assembly>", begin) + len(b"</assembly>")
    found = {}
    for node in xml.fromstring(program[begin:end]).iter():
        name = node.tag.rpartition("}")[2]
        found.setdefault(name, []).append(node.get("level") or node.get("Id") or node.text)
    assert {name: found.get(name) for name in MANIFEST} == \
        {name: [value] for name, value in MANIFEST.items()}, found


def check_pack(folder, icon, version):
    files = [os.path.relpath(os.path.join(where, name), folder)
             for where, _, names in os.walk(folder) for name in names]
    own = ["LICENSE.txt"] if os.path.exists(os.path.join(ROOT, "LICENSE")) else []
    assert sorted(files) == sorted(["README.txt", *own, *SUBSYSTEMS, *LICENCES]), files

    def read(name):
        with open(os.path.join(folder, name), "rb") as file:
            return file.read()

    for name, wanted in {**LICENCES, "README.txt": f"ORVENTA {version} for"}.items():
        text = read(name)
        assert wanted.encode() in text and text.count(b"\n") == text.count(b"\r\n") > 20, name
    for name, subsystem in SUBSYSTEMS.items():
        program = read(name)
        check_code(os.path.join(folder, name), subsystem)
        check_icon(program, icon)
        check_version(program, name, version)
        check_manifest(program)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    build = parser.parse_args().build
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        version = re.search(r"project\(ORVENTA VERSION ([0-9.]+)", file.read())[1]
    with open(os.path.join(build, "resources", "orventa.ico"), "rb") as file:
        icon = file.read()
    packs = set()
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "pack.zip")
        for _ in range(2):
            subprocess.run([os.path.join(ROOT, "scripts", "pack-windows"), build, path],
                           check=True, stdout=subprocess.DEVNULL)
            with open(path, "rb") as file:
                packs.add(file.read())
        assert len(packs) == 1, "the same build gives the same bytes"
        unpacked = os.path.join(folder, "unpacked")
        with zipfile.ZipFile(path) as pack:
            pack.extractall(unpacked)
        check_pack(unpacked, icon, version)
    print("package: 1 passed, 0 failed")


if __name__ == "__main__":
    sys.exit(main())
