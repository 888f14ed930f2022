# SPDX-License-Identifier: MIT
"""The bill of materials as a CycloneDX document."""

import hashlib
import importlib.metadata
import re
import xml.etree.ElementTree as ElementTree
from collections.abc import Iterable
from pathlib import Path

from components import Components, Delivered
from cyclonedx.contrib.license.factories import LicenseFactory
from cyclonedx.model import ExternalReference, ExternalReferenceType, HashAlgorithm, HashType, Property, XsUri
from cyclonedx.model.bom import Bom
from cyclonedx.model.component import Component, ComponentScope, ComponentType
from cyclonedx.output import make_outputter
from cyclonedx.schema import OutputFormat, SchemaVersion
from cyclonedx.validation.json import JsonStrictValidator
from debianpackages import DebianPackages
from packageurl import PackageURL
from pinnedpackages import PinnedPackage, read_pinned

SCHEMA = SchemaVersion.V1_7
OWN_LICENCE = "MIT"
# Of what pymavlink generates; its own is another.
DIALECT_LICENCE = "MIT"


def sha256(content: bytes | str) -> HashType:
    digest = content if isinstance(content, str) else hashlib.sha256(content).hexdigest()
    return HashType(alg=HashAlgorithm.SHA_256, content=digest)


def project_version(root: Path) -> str:
    return re.search(r"^project\(\S+ VERSION (\S+)", (root / "CMakeLists.txt").read_text(), re.MULTILINE)[1]


def dialect_files(folder: Path, name: str) -> dict[str, Path]:
    """A MAVLink dialect's definition and all that it includes, by name."""
    found: dict[str, Path] = {}
    waiting = [name]
    while waiting:
        current = waiting.pop()
        if current not in found:
            found[current] = folder / current
            waiting += [included.text for included in ElementTree.parse(folder / current).iter("include")]
    return found


def licence_in_metadata(name: str) -> str | None:
    """That of a Python package, if it is installed here."""
    try:
        metadata = importlib.metadata.metadata(name)
    except importlib.metadata.PackageNotFoundError:
        return None
    told = metadata.get("License-Expression") or metadata.get("License") or ""
    if told not in ("", "UNKNOWN") and "\n" not in told:
        return told
    classifiers = metadata.get_all("Classifier") or []
    return next((c.rpartition(" :: ")[2] for c in classifiers if c.startswith("License :: ")), None)


class Bill:
    """Collects components and what each depends on; `document()` is the whole."""

    def __init__(self, components: Components, debian: DebianPackages, root: Path, build: Path):
        self._components = components
        self._debian = debian
        self._build = build
        self._licences = LicenseFactory()
        self._version = project_version(root)
        self._bom = Bom()
        self._debian_by_name: dict[str, Component] = {}
        self._pinned = {file: read_pinned(root / file) for file in components.pinning_files()}
        self._python: dict[tuple[str, str], Component] = {}
        self._add_project()

    def document(self) -> str:
        return make_outputter(self._bom, OutputFormat.JSON, SCHEMA).output_as_string(indent=2)

    def _add_project(self) -> None:
        self._bom.metadata.component = self._own("noflailsten", ComponentType.APPLICATION)
        self._add_debian_packages()
        parts = self._delivered() | self._development()
        self._bom.register_dependency(self._bom.metadata.component, parts.values())

    def _delivered(self) -> dict[str, Component]:
        made = {part.name: self._deliverable(part) for part in self._components.delivered}
        for part in self._components.delivered:
            needed = [self._debian_by_name[name] for name in part.links] + [made[name] for name in part.parts]
            if part.dialect:
                needed.append(self._dialect(part.dialect))
            self._bom.register_dependency(made[part.name], needed)
        return made

    def _development(self) -> dict[str, Component]:
        made = {}
        for purpose in self._components.development:
            made[purpose.name] = self._add(
                self._own(f"noflailsten-{purpose.name}", ComponentType.APPLICATION, ComponentScope.EXCLUDED)
            )
            needed = [self._debian_by_name[name] for name in purpose.debian]
            for file in purpose.python:
                needed += self._add_python_packages(self._pinned[file])
            self._bom.register_dependency(made[purpose.name], needed)
        return made

    def _add(self, component: Component) -> Component:
        self._bom.components.add(component)
        return component

    def _own(self, name: str, kind: ComponentType, scope: ComponentScope | None = None) -> Component:
        return Component(
            name=name,
            version=self._version,
            type=kind,
            scope=scope,
            bom_ref=name,
            licenses=[self._licences.make_from_string(OWN_LICENCE)],
        )

    def _deliverable(self, part: Delivered) -> Component:
        kind = ComponentType.LIBRARY if ".so" in part.name else ComponentType.APPLICATION
        component = self._own(part.name, kind, ComponentScope.REQUIRED)
        component.hashes.add(sha256((self._build / part.file).read_bytes()))
        return self._add(component)

    def _dialect(self, name: str) -> Component:
        """The definitions of which the headers are generated that the library is compiled with."""
        pymavlink = importlib.metadata.distribution("pymavlink")
        folder = "pymavlink/dialects/v20"
        files = dialect_files(Path(pymavlink.locate_file(folder)), name)
        url = PackageURL("pypi", None, "pymavlink", pymavlink.version, None, f"{folder}/{name}")
        parts = [
            Component(
                name=file,
                type=ComponentType.FILE,
                bom_ref=f"{folder}/{file}",
                hashes=[sha256(path.read_bytes())],
            )
            for file, path in sorted(files.items())
        ]
        return self._add(
            Component(
                name="mavlink",
                version=pymavlink.version,
                type=ComponentType.LIBRARY,
                scope=ComponentScope.REQUIRED,
                purl=url,
                bom_ref=url.to_string(),
                licenses=[self._licences.make_from_string(DIALECT_LICENCE)],
                components=parts,
            )
        )

    def _add_debian_packages(self) -> None:
        """What is delivered with all that it pulls in, of the rest what is asked for by name."""
        delivered = self._debian.with_dependencies(self._components.linked_packages())
        names = delivered | self._components.debian_packages()
        hashes = self._debian.archive_hashes(names)
        for name in sorted(names):
            scope = ComponentScope.REQUIRED if name in delivered else ComponentScope.EXCLUDED
            self._debian_by_name[name] = self._add(self._debian_component(name, scope, hashes.get(name)))
        for name in sorted(names):
            needed = self._debian.direct_dependencies(name) & names
            self._bom.register_dependency(
                self._debian_by_name[name], [self._debian_by_name[n] for n in needed]
            )

    def _debian_component(self, name: str, scope: ComponentScope, archive_hash: str | None) -> Component:
        package = self._debian.installed.get(name)
        release = self._debian.release
        qualifiers = {"distro": f"{release['ID']}-{release.get('VERSION_ID', 'unstable')}"}
        if package:
            qualifiers["arch"] = package.architecture
        version = package.version if package else None
        url = PackageURL("deb", release["ID"], name, version, qualifiers)
        licence = self._components.licences.get(name) or self._debian.licence(name)
        source = f"{package.source} {package.source_version}" if package else None
        return Component(
            name=name,
            version=version,
            type=ComponentType.LIBRARY if name.startswith("lib") else ComponentType.APPLICATION,
            scope=scope,
            purl=url,
            bom_ref=url.to_string(),
            hashes=[sha256(archive_hash)] if archive_hash else None,
            licenses=[self._licences.make_from_string(licence)] if licence else None,
            properties=[Property(name="debian:source", value=source)] if source else None,
        )

    def _add_python_packages(self, packages: Iterable[PinnedPackage]) -> list[Component]:
        """Returns those that the file asks for itself."""
        here = {package.name: self._python_component(package) for package in packages}
        for package in packages:
            for other in package.needed_by & here.keys():
                self._bom.register_dependency(here[other], [here[package.name]])
        return [here[package.name] for package in packages if not package.needed_by & here.keys()]

    def _python_component(self, package: PinnedPackage) -> Component:
        key = (package.name, package.version)
        if key not in self._python:
            url = PackageURL("pypi", None, *key)
            licence = licence_in_metadata(package.name)
            self._python[key] = self._add(
                Component(
                    name=package.name,
                    version=package.version,
                    type=ComponentType.LIBRARY,
                    scope=ComponentScope.EXCLUDED,
                    purl=url,
                    bom_ref=url.to_string(),
                    licenses=[self._licences.make_from_string(licence)] if licence else None,
                    external_references=self._distributions(url, key),
                )
            )
            self._bom.register_dependency(self._python[key])
        return self._python[key]

    def _distributions(self, url: PackageURL, key: tuple[str, str]) -> list[ExternalReference]:
        """The files of which one is installed, each with a hash of its own."""
        pins = (package for packages in self._pinned.values() for package in packages)
        hashes = {sha256(digest) for pin in pins if (pin.name, pin.version) == key for digest in pin.hashes}
        if not hashes:
            return []
        kind = ExternalReferenceType.DISTRIBUTION
        return [
            ExternalReference(
                type=kind, url=XsUri(url.to_string()), comment="one of these files", hashes=hashes
            )
        ]


def schema_errors(document: str) -> list[str]:
    """Why this is no CycloneDX document."""
    return [str(error) for error in JsonStrictValidator(SCHEMA).validate_str(document, all_errors=True) or ()]
