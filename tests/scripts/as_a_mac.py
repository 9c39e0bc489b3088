"""Tests of scripts/as-a-mac: it has to refuse sources that would not build on a Mac, and no
others."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def load():
    path = str(ROOT / "scripts" / "as-a-mac")
    loader = importlib.machinery.SourceFileLoader("as_a_mac", path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("as_a_mac", loader))
    loader.exec_module(module)
    return module


tool = load()


class Sources(unittest.TestCase):
    def setUp(self):
        # Within the project's folder, where its sources are: the tool judges only those.
        folder = tempfile.TemporaryDirectory(dir=ROOT / "build", prefix="as-a-mac-")
        self.addCleanup(folder.cleanup)
        tool.BUILD = pathlib.Path(folder.name)
        self.begin = tool.prelude()

    def said(self, text):
        source = tool.BUILD / "source.cpp"
        source.write_text(text)
        entry = {"command": f"clang++ -std=c++20 -Wall -Wshadow -o x.o -c {source}"}
        changed = tool.overlay(sorted(tool.BUILD.glob("*.[hc]*")))
        return tool.read(tool.options(entry, CLANG), str(source), self.begin, changed)

    def test_takes_what_both_have(self):
        self.assertEqual(self.said(
            "#include <gtest/gtest.h>\n#include <sys/socket.h>\n#include <unistd.h>\n"
            "#include <vector>\nint main() { int ends[2]; return ::pipe(ends); }\n"), "")

    def test_takes_the_branch_of_those_that_have_it_not(self):
        self.assertEqual(self.said(
            "#include <fcntl.h>\nint main() {\n#ifdef F_SETPIPE_SZ\n  none;\n#endif\n}\n"), "")

    def test_takes_the_branch_of_a_mac(self):
        self.assertEqual(self.said(
            "#include <fcntl.h>\n#include <unistd.h>\nint main() {\n  int ends[2];\n"
            "#ifdef __APPLE__\n  return ::pipe(ends);\n#else\n"
            "  return ::pipe2(ends, O_CLOEXEC);\n#endif\n}\n"
            "#if defined(__linux__) || defined(__GLIBC__)\n#error not here\n#endif\n"), "")

    def test_refuses_what_is_wrong_in_the_branch_of_a_mac(self):
        own = "inline int open(int* ends) {\n#ifdef __APPLE__\n  return ::pipe2(ends, 0);\n#endif\n}\n"
        (tool.BUILD / "own.h").write_text(own)
        said = self.said('#include <unistd.h>\n#include "own.h"\nint main() { return 0; }\n')
        self.assertRegex(said, r"/own\.h:3:.*error: attempt to use a poisoned identifier")

    def test_refuses_a_header_of_linux(self):
        for name in ("sys/epoll.h", "malloc.h", "linux/input.h", "systemd/sd-bus.h"):
            self.assertIn(f"<{name}> is not on a Mac", self.said(f"#include <{name}>\n"))

    def test_refuses_such_a_header_in_a_header_of_the_project(self):
        (tool.BUILD / "own.h").write_text("#include <sys/eventfd.h>\n")
        self.assertIn("<sys/eventfd.h> is not on a Mac", self.said('#include "own.h"\n'))

    def test_refuses_a_function_of_linux(self):
        self.assertIn("pipe2", self.said(
            "#include <fcntl.h>\n#include <unistd.h>\n"
            "int main() { int ends[2]; return ::pipe2(ends, O_CLOEXEC); }\n"))

    def test_refuses_a_macro_of_linux(self):
        self.assertIn("F_SETPIPE_SZ", self.said(
            "#include <fcntl.h>\nint main() { return ::fcntl(1, F_SETPIPE_SZ, 4096); }\n"))

    def test_reads_with_the_library_of_a_mac(self):
        self.assertEqual(self.said(
            "#include <vector>\n#ifndef _LIBCPP_VERSION\n#error another\n#endif\n"), "")

    def test_refuses_a_warning(self):
        self.assertIn("-Wunused-variable", self.said("int main() { int unused; }\n"))

    def test_refuses_options_of_the_other_linker(self):
        taken = ("LINK_FLAGS = -Wl,-search_paths_first -Wl,-headerpad_max_install_names -Xlinker "
                 "-sectcreate -Xlinker __TEXT -Xlinker __info_plist -Xlinker /src/Info.plist\n")
        self.assertEqual(tool.linker_options(taken), [])
        for word in ("-Wl,--wrap=getline", "-Xlinker --build-id=none", "-static-libstdc++"):
            self.assertEqual(tool.linker_options(taken + word), [word])


CLANG = tool.compiler()
if CLANG is None:
    print("SKIPPED: no clang with libc++ (scripts/install check)")
    sys.exit(77)
unittest.main()
