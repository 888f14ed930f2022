# SPDX-License-Identifier: MIT
import os
import sys
from collections.abc import Iterator
from pathlib import Path

import pytest
from advisoryservice import AdvisoryService

ROOT = Path(__file__).resolve().parents[2]
LINT = ROOT / "tools" / "lint"

sys.path.insert(0, str(LINT))


@pytest.fixture(scope="session")
def build() -> Path:
    """A build with the library and the tools."""
    return Path(os.environ.get("NOFLAILSTEN_BUILD_DIR", ROOT / "build" / "dev")).resolve()


@pytest.fixture
def service() -> Iterator[AdvisoryService]:
    with AdvisoryService() as running:
        yield running
