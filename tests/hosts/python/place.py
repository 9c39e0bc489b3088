"""Paths from the environment; each test imports this module first."""

import os
import sys

ROOT = os.environ["VORNIX_ROOT"]
DEMO = os.environ["VORNIX_DEMO"]
HOST = os.path.join(ROOT, "host/python")
PAGE = os.path.join(ROOT, "docs/host-protocol.md")
TABLE = os.path.join(ROOT, "docs/messages.json")
FAKE = [sys.executable, "-B", os.path.join(ROOT, "tests/hosts/python/fake.py")]

sys.path[:0] = [HOST, os.path.join(ROOT, "tests/documents")]
