"""Makes a wheel of the package with the library in it (PEP 517), by CMake and a compiler.

    pip install .
    pip wheel . --config-settings build-folder=build/release  (takes what is built there)"""

import base64
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile

TOP = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = "libqueltx64.so"
SETTINGS = (
    "-DCMAKE_BUILD_TYPE=Release", "-DTESSOLT_TESTS=OFF", "-DTESSOLT_EXAMPLES=OFF",
    "-DTESSOLT_PROGRAMS=OFF",
)
#: Of the source archive.
LEFT_OUT = ("build", ".git", ".cache", "__pycache__")
#: The same bytes from the same sources.
EARLIEST = (1980, 1, 1, 0, 0, 0)
EXECUTABLE = 0o100755 << 16
READABLE = 0o100644 << 16


def run(*command):
    """Runs a command; what it says is shown as it goes."""
    subprocess.run([str(word) for word in command], check=True, stdout=sys.stderr)


def build(folder):
    """Configures and builds the package in a folder."""
    if not (folder / "CMakeCache.txt").exists():
        generator = ["-G", "Ninja"] if _has("ninja") else []
        interpreter = "-DPython3_EXECUTABLE=" + sys.executable
        run("cmake", *generator, *SETTINGS, interpreter, "-S", TOP, "-B", folder)
    run("cmake", "--build", folder, "--target", "tessolt_python", "--parallel")


def _has(program):
    return any(os.access(os.path.join(folder, program), os.X_OK)
               for folder in os.get_exec_path())


def tag():
    """What the wheel runs on: any Python, and machines as this one with the same libraries."""
    return "py3-none-" + sysconfig.get_platform().replace("-", "_").replace(".", "_")


def stripped(library):
    """The bytes of the library without what only debuggers read."""
    with tempfile.TemporaryDirectory() as scratch:
        copy = pathlib.Path(scratch) / LIBRARY
        copy.write_bytes(library.read_bytes())
        if _has("strip"):
            run("strip", "--strip-unneeded", copy)
        return copy.read_bytes()


def contents(folder):
    """Name and bytes of each file of the wheel, but for its list of them."""
    for path in sorted((folder / "python" / "tessolt").iterdir()):
        if path.suffix == ".py" or path.name == "py.typed":
            yield "tessolt/" + path.name, path.read_bytes()
    yield "tessolt/" + LIBRARY, stripped(folder / LIBRARY)
    info = information(folder)
    yield info.name + "/METADATA", (info / "METADATA").read_bytes()
    wheel = "Wheel-Version: 1.0\nGenerator: tessolt\nRoot-Is-Purelib: false\nTag: %s\n" % tag()
    yield info.name + "/WHEEL", wheel.encode()
    yield info.name + "/licenses/LICENSE", (TOP / "LICENSE").read_bytes()


def information(folder):
    """The folder of the package's metadata in a build folder."""
    (found,) = folder.glob("tessolt-*.dist-info")
    return found


def record(name, data):
    """The line of the list for a file."""
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return "%s,sha256=%s,%d\n" % (name, digest, len(data))


def write_wheel(folder, directory):
    """Packs what was built in a folder; the file's name."""
    info = information(folder).name
    name = "%s-%s.whl" % (info[: -len(".dist-info")], tag())
    lines = []
    with zipfile.ZipFile(os.path.join(directory, name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in contents(folder):
            entry = zipfile.ZipInfo(path, EARLIEST)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = EXECUTABLE if path.endswith(".so") else READABLE
            wheel.writestr(entry, data)
            lines.append(record(path, data))
        listing = zipfile.ZipInfo(info + "/RECORD", EARLIEST)
        listing.external_attr = READABLE
        wheel.writestr(listing, "".join(lines) + info + "/RECORD,,\n")
    return name


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """Is called by pip: makes the wheel in a folder and tells its name."""
    kept = (config_settings or {}).get("build-folder")
    if kept:
        build(TOP / kept)
        return write_wheel(TOP / kept, wheel_directory)
    with tempfile.TemporaryDirectory() as scratch:
        build(pathlib.Path(scratch))
        return write_wheel(pathlib.Path(scratch), wheel_directory)


def build_sdist(sdist_directory, config_settings=None):
    """Is called by pip: makes an archive of the sources in a folder and tells its name."""
    project = re.search(r'VERSION (\S+) DESCRIPTION "(.*)"', (TOP / "CMakeLists.txt").read_text())
    version, description = project.groups()
    base = "tessolt-" + version
    with tarfile.open(os.path.join(sdist_directory, base + ".tar.gz"), "w:gz") as archive:
        archive.add(TOP, base, filter=_source)
        metadata = (TOP / "bindings/python/METADATA.in").read_text()
        path = pathlib.Path(sdist_directory) / "PKG-INFO"
        metadata = metadata.replace("@PROJECT_VERSION@", version)
        path.write_text(metadata.replace("@PROJECT_DESCRIPTION@", description))
        archive.add(path, base + "/PKG-INFO")
        path.unlink()
    return base + ".tar.gz"


def _source(entry):
    parts = entry.name.split("/")
    return None if any(part in LEFT_OUT for part in parts) else entry
