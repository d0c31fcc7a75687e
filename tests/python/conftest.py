"""What the tests have in common."""

import os

import pytest
from hypothesis import HealthCheck, settings

# The same examples in every run, nothing kept, and no clock.
settings.register_profile(
    "tests", derandomize=True, database=None, deadline=None, suppress_health_check=list(HealthCheck),
    max_examples=int(os.environ.get("KX_TEST_EXAMPLES", "400")))
settings.load_profile("tests")


def pytest_sessionfinish(session, exitstatus):
    """A file of which nothing ran is skipped, not passed."""
    if exitstatus == pytest.ExitCode.NO_TESTS_COLLECTED:
        session.exitstatus = 77
