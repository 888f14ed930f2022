# SPDX-License-Identifier: MIT
"""What is installed is built so that a memory error ends the program instead of being used."""

import re
import subprocess

import pytest
from conftest import binaries

BIN = binaries()
PROGRAMS = ["noflailsten-host", "noflailsten-sim", "noflailsten-ground"]
LIBRARY = next((BIN.parent / "src").glob("libnoflailsten.so.*.*"))
INSTALLED = [BIN / name for name in PROGRAMS] + [LIBRARY]


def read(file, *what):
    command = ["readelf", "--wide", *what, str(file)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def is_sanitized(file):
    return "__asan_init" in read(file, "--dyn-syms")


@pytest.mark.parametrize("file", INSTALLED, ids=lambda file: file.name)
def test_code_can_be_loaded_anywhere(file):
    assert re.search(r"Type:\s+DYN", read(file, "--file-header"))
    assert "TEXTREL" not in read(file, "--dynamic")


@pytest.mark.parametrize("file", INSTALLED, ids=lambda file: file.name)
def test_addresses_of_functions_are_read_only_once_loaded(file):
    assert "GNU_RELRO" in read(file, "--program-headers")
    assert re.search(r"BIND_NOW|Flags:.*\bNOW\b", read(file, "--dynamic"))


@pytest.mark.parametrize("file", INSTALLED, ids=lambda file: file.name)
def test_stack_cannot_be_executed(file):
    stack = re.search(r"GNU_STACK\s.*", read(file, "--program-headers")).group()
    assert " RW " in stack


@pytest.mark.parametrize("file", INSTALLED, ids=lambda file: file.name)
def test_stack_is_guarded(file):
    assert "__stack_chk_fail" in read(file, "--dyn-syms")


def test_library_checks_its_copies():
    # A sanitizer watches over copies itself.
    wanted = "__asan_init" if is_sanitized(LIBRARY) else "_chk@GLIBC"
    assert wanted in read(LIBRARY, "--dyn-syms")
