# SPDX-License-Identifier: MIT
"""The bill of materials, compared with what the build links, and the complaints about an untrue list."""

import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import LINT, ROOT

PARTS = {
    "libnoflailsten.so": "src/libnoflailsten.so",
    "noflailsten-ground": "bin/noflailsten-ground",
    "noflailsten-host": "bin/noflailsten-host",
    "noflailsten-sim": "bin/noflailsten-sim",
}


@pytest.fixture(scope="module")
def text(build: Path, tmp_path_factory: pytest.TempPathFactory) -> str:
    file = tmp_path_factory.mktemp("bill") / "sbom.cdx.json"
    run = subprocess.run(
        [sys.executable, str(LINT / "sbom.py"), str(build), str(file)],
        capture_output=True,
        text=True,
        check=False,
    )
    assert run.returncode == 0, run.stderr
    return file.read_text()


@pytest.fixture
def bill(text: str) -> dict:
    return json.loads(text)


@pytest.fixture
def components(bill: dict) -> dict[str, dict]:
    return {component["bom-ref"]: component for component in bill["components"]}


@pytest.fixture
def needs(bill: dict, components: dict[str, dict]):
    """Names of what something depends on, by its own name."""
    names = {ref: component["name"] for ref, component in components.items()}
    graph = {entry["ref"]: entry.get("dependsOn", []) for entry in bill["dependencies"]}
    return {names.get(ref, ref): {names[other] for other in others} for ref, others in graph.items()}


def by_name(components: dict[str, dict], name: str) -> dict:
    (found,) = (component for component in components.values() if component["name"] == name)
    return found


def loaded_libraries(file: Path) -> dict[str, str]:
    """Where the dynamic linker finds each library that the file itself asks for."""
    dynamic = subprocess.run(["objdump", "-p", str(file)], check=True, capture_output=True, text=True).stdout
    found = subprocess.run(["ldd", str(file)], check=True, capture_output=True, text=True).stdout
    places = dict(re.findall(r"(\S+) => (\S+)", found))
    return {name: places[name] for name in re.findall(r"NEEDED\s+(\S+)", dynamic)}


def package_of(path: str) -> str:
    # The packages know where they put it, or where that was before /lib moved into /usr.
    for place in (path, path.removeprefix("/usr"), f"/usr{path}"):
        run = subprocess.run(["dpkg-query", "--search", place], capture_output=True, text=True, check=False)
        if run.returncode == 0:
            return run.stdout.partition(":")[0]
    raise AssertionError(f"no package brings {path}")


@pytest.mark.parametrize("part", PARTS)
def test_all_that_is_linked_is_in_the_bill(build, components, needs, part):
    libraries = loaded_libraries(build / PARTS[part])
    assert len(libraries) >= 4
    for name, path in libraries.items():
        package = "libnoflailsten.so" if name.startswith("libnoflailsten.so") else package_of(path)
        assert package in needs[part]
        assert by_name(components, package)["scope"] == "required"


@pytest.mark.parametrize("part", PARTS)
def test_files_are_those_of_the_build(build, components, part):
    digest = hashlib.sha256((build / PARTS[part]).read_bytes()).hexdigest()
    assert by_name(components, part)["hashes"] == [{"alg": "SHA-256", "content": digest}]


def test_only_the_host_edits_lines(needs):
    assert [part for part in PARTS if "libedit2" in needs[part]] == ["noflailsten-host"]


def test_versions_are_those_installed(components):
    for name in ("libqt5core5a", "libqt5network5", "libqt5serialport5", "libc6", "libstdc++6", "libedit2"):
        command = ["dpkg-query", "--show", "-f", "${Version}", name]
        version = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        component = by_name(components, name)
        assert component["version"] == version
        assert component["purl"].startswith("pkg:deb/")
        assert component["licenses"]


def test_what_linked_libraries_take_is_in_the_bill_too(components, needs):
    assert any(name.startswith("libicu") for name in needs["libqt5core5a"])
    assert by_name(components, "zlib1g")["scope"] == "required"


def test_headers_are_made_of_the_pinned_dialect(components, needs):
    mavlink = by_name(components, "mavlink")
    pinned = re.search(
        r"^pymavlink==(\S+)", (ROOT / "cmake/mavlink-requirements.txt").read_text(), re.MULTILINE
    )[1]
    assert "mavlink" in needs["libnoflailsten.so"]
    assert mavlink["version"] == pinned
    assert mavlink["scope"] == "required"
    files = {part["name"]: part["hashes"][0]["content"] for part in mavlink["components"]}
    assert {"ardupilotmega.xml", "common.xml", "minimal.xml", "standard.xml"} <= files.keys()
    assert all(len(digest) == 64 for digest in files.values())


@pytest.mark.parametrize(
    "name", ["librapidcheck-dev", "libbenchmark-dev", "pymavlink", "pytest", "mavproxy", "ruff"]
)
def test_what_only_developers_take_is_not_delivered(components, needs, name):
    assert by_name(components, name)["scope"] == "excluded"
    assert not any(name in needs[part] for part in PARTS)
    assert any(name in needs[user] for user in needs)


def test_python_packages_have_the_hashes_that_are_pinned(components):
    content = (ROOT / "tests/e2e/programs.txt").read_text()
    (reference,) = by_name(components, "mavproxy")["externalReferences"]
    assert [entry["content"] for entry in reference["hashes"]] == re.findall(r"sha256:(\w+)", content)[:1]


def test_python_packages_depend_on_each_other_as_pinned(needs):
    assert needs["pymavlink"] == {"lxml", "fastcrc"}
    assert "pluggy" in needs["pytest"]
    assert "pluggy" not in needs["noflailsten-end-to-end-tests"]


def test_every_component_is_reached_from_the_project(bill, components):
    graph = {entry["ref"]: entry.get("dependsOn", []) for entry in bill["dependencies"]}
    reached, waiting = set(), [bill["metadata"]["component"]["bom-ref"]]
    while waiting:
        ref = waiting.pop()
        if ref not in reached:
            reached.add(ref)
            waiting += graph[ref]
    assert reached - {"noflailsten"} == components.keys()


def test_document_keeps_to_its_schema(text):
    from bill import schema_errors

    assert schema_errors(text) == []


@pytest.mark.parametrize(
    "damage", [("bomFormat", "SPDX"), ("dependencies", {}), ("components", [{"name": "no type"}])]
)
def test_document_that_does_not_keep_to_its_schema_is_noticed(bill, damage):
    from bill import schema_errors

    key, value = damage
    assert schema_errors(json.dumps({**bill, key: value}))


def complaints_about(file: str, *links: str) -> list[str]:
    """As if this file of the system were our build of a program said to link these packages."""
    from components import Components, Delivered
    from debianpackages import DebianPackages
    from sbom import all_wrong_links

    part = Delivered("program", Path(file).name, links)
    return all_wrong_links(Components((part,), (), {}), Path(file).parent, DebianPackages())


def test_links_that_are_listed_are_fine():
    assert complaints_about("/bin/bash", "libc6", "libtinfo6") == []


def test_link_that_is_not_listed_is_noticed():
    (complaint,) = complaints_about("/bin/bash", "libc6")
    assert re.match(r"program links libtinfo\.so\.6 of .*libtinfo6", complaint)


def test_listed_package_that_is_not_linked_is_noticed():
    assert complaints_about("/bin/bash", "libc6", "libtinfo6", "zlib1g") == [
        "program does not link anything of zlib1g"
    ]


@pytest.fixture
def tree(tmp_path: Path) -> Path:
    (tmp_path / "dev").write_text("lint() {\n  need shellcheck cmake\n}\n# need to say nothing\n")
    (tmp_path / "tests").mkdir()
    (tmp_path / "tests" / "requirements.txt").write_text(f"sample==1.0 \\\n    --hash=sha256:{'0' * 64}\n")
    return tmp_path


@pytest.mark.parametrize(
    ("debian", "python", "complaints"),
    [
        (("shellcheck", "cmake"), ("tests/requirements.txt",), []),
        (("shellcheck",), ("tests/requirements.txt",), ["./dev installs cmake for no purpose"]),
        (("shellcheck", "cmake"), (), ["no purpose takes tests/requirements.txt"]),
    ],
    ids=["nothing", "an installed package", "a file that pins"],
)
def test_what_is_forgotten_is_noticed(tree, debian, python, complaints):
    from components import Components, Development
    from sbom import forgotten

    assert forgotten(Components((), (Development("lint", debian, python),), {}), tree) == complaints


@pytest.mark.parametrize(
    ("version", "complaints"),
    [
        ("1.0", []),
        ("1.1", ["sample is pinned to 1.0 in tests/requirements.txt and to 1.1 in guide.md"]),
    ],
)
def test_packages_pinned_to_two_versions_are_noticed(tree, version, complaints):
    from sbom import pinned_differently

    (tree / "guide.md").write_text(f"Then `pip install Sample=={version}`.\n")
    assert pinned_differently(["tests/requirements.txt", "guide.md"], tree) == complaints
