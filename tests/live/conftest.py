"""What each test has: hosts of its own, and at the end of all a line of what they are."""

from typing import Any, Iterator

import pytest
from hosts import Hosts

kinds: set[str] = set()


@pytest.fixture
def hosts() -> Iterator[Hosts]:
    """Give hosts, and end whatever a test left running on them."""
    made = Hosts()
    kinds.add(str(made))
    yield made
    made.let_go()


def pytest_terminal_summary(terminalreporter: Any) -> None:
    """Say where the hosts were."""
    for kind in kinds:
        terminalreporter.write_line(f"hosts: {kind}")
