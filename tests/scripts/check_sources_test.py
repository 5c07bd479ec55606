"""scripts/check-sources on small repositories with one mistake each, and on what looks like a mistake but is none."""

import importlib.machinery
import importlib.util
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "scripts" / "check-sources"

# The script as a module; no bytecode is left beside it.
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("check_sources", str(SCRIPT))
check_sources = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
loader.exec_module(check_sources)


def findings(**files):
    """What is found in files; `media__a_h` is the file media/a.h."""
    with tempfile.TemporaryDirectory() as top:
        for name, text in files.items():
            folder, _, rest = name.partition("__")
            path = Path(top, folder, ".".join(rest.rsplit("_", 1)))
            path.parent.mkdir(exist_ok=True)
            path.write_text(("#pragma once\n" if path.suffix == ".h" else "") + text, encoding="utf-8")
        return as_lines(check_sources.Sources(Path(top)).findings())


def as_lines(found):
    return [f"{path}:{line}: {message}" for path, line, message in found]


def discarded(line, name, path="media/a.cpp"):
    return [f"{path}:{line}: {name} can fail and is not [[nodiscard]]"]


class NoDiscard(unittest.TestCase):
    def test_finds_functions_whose_failure_may_go_unseen(self):
        for text in ("bool open(int stream, std::string& error);",
                     "static bool open(std::string& error) { return true; }",
                     "int open(AVFrame* frame, std::string& error);",
                     "AVStream* open(std::string& error);",
                     "FramePtr open(std::string& reason);",
                     "std::optional<Size> open(std::string& error);",
                     "std::span<AVFrame* const> open(std::string& error);",
                     "std::unique_ptr<Reader> open(const Size& size = {1, 2}, std::string& error);",
                     "template <typename Reader> bool open(Reader& reader, std::string& error);",
                     "auto open(std::string& error) -> bool;",
                     "[[maybe_unused]] bool open(std::string& error);",
                     "bool open(std::string&);",
                     "namespace veyrin { namespace { bool open(std::string& error); } }"):
            with self.subTest(text):
                self.assertEqual(findings(media__a_cpp=text + "\n"), discarded(1, "open"))

    def test_finds_members_of_every_kind(self):
        for member in ("static std::unique_ptr<Reader> create(std::string& error);",
                       "virtual bool create(std::string& error) = 0;",
                       "bool create(std::string& error) const override;",
                       "bool create(std::string& error) { return true; }"):
            for access in ("public:\n", "private:\n"):
                with self.subTest(member + access):
                    text = f"class Reader {{\n {access}  {member}\n}};\n"
                    self.assertEqual(findings(media__a_h=text), discarded(4, "create", "media/a.h"))

    def test_names_the_line_of_the_function(self):
        text = "// std::string& error\n/* bool\n */\nbool\nopen(\n    int stream,\n    std::string& error);\n"
        self.assertEqual(findings(media__a_cpp=text), discarded(5, "open"))

    def test_reports_a_function_once(self):
        found = findings(media__a_h="bool open(std::string& error);\n",
                         media__a_cpp='#include "media/a.h"\nbool open(std::string& error) { return true; }\n')
        self.assertEqual(found, discarded(2, "open", "media/a.h"))

    def test_tells_overloads_apart(self):
        found = findings(media__a_cpp="[[nodiscard]] bool open(int stream, std::string& error);\n"
                                      "bool open(double seconds, std::string& error);\n")
        self.assertEqual(found, discarded(2, "open"))

    def test_accepts_marked_functions_and_their_definitions(self):
        header = ("namespace veyrin {\n"
                  "class Reader {\n public:\n"
                  "  [[nodiscard]] static std::unique_ptr<Reader> create(const media::Size& size, std::string& error);\n"
                  " private:\n  [[nodiscard]] bool read(std::string& error);\n};\n"
                  "[[nodiscard]] bool open(const media::Size& size, int track = 0, std::string& error);\n}\n")
        source = ('#include "media/b.h"\nnamespace veyrin {\nnamespace {\n'
                  "[[nodiscard]] bool check(std::string& error);\n"
                  "bool check(std::string& error) { return fail(error); }\n}\n"
                  "std::unique_ptr<Reader> Reader::create(const Size& size, std::string& error) { return nullptr; }\n"
                  "bool open(const Size& other, int number, std::string& error) { return check(error); }\n}\n")
        self.assertEqual(findings(media__a_h=header, media__b_h='#include "media/a.h"\n', media__a_cpp=source), [])

    def test_leaves_alone_what_is_no_fallible_function(self):
        for text in ("void describe(std::string& error);",
                     "class Reader {\n  explicit Reader(std::string& error);\n  std::string& error_;\n};",
                     "bool is_known(const std::string& error);",
                     "struct ReaderCalls {\n  bool (*open)(int, std::string& error);\n};",
                     "struct ReaderCalls {\n  std::function<bool(std::string& error)> open;\n};",
                     "using Open = bool (*)(std::string& error);",
                     "void f() {\n  const auto open = [](std::string& error) { return true; };\n}",
                     "void f() {\n  std::string& error = other();\n  if (g(error)) return;\n}",
                     'const char* text = "bool open(std::string& error);";',
                     "#define OPEN bool open(std::string& error)"):
            with self.subTest(text):
                self.assertEqual(findings(media__a_cpp=text + "\n"), [])

    def test_leaves_tests_alone(self):
        self.assertEqual(findings(tests__a_cpp="#include <string>\nbool open(std::string& error);\n"), [])


class Rooms(unittest.TestCase):
    def test_finds_includes_that_go_up_or_aside(self):
        for room, other in (("common", "media"), ("media", "metadata"), ("decode", "processing"), ("thumbnail", "spatial"),
                            ("spatial", "convert"), ("convert", "app"), ("app", "tests")):
            with self.subTest(room + " " + other):
                found = findings(**{f"{room}__a_cpp": f'#include <string>\n#include "{other}/b.h"\n'})
                self.assertEqual(found, [f"{room}/a.cpp:2: {room} must not include {other}/b.h"])

    def test_accepts_lower_rooms_the_own_one_and_libraries(self):
        text = '#include "app/a.h"\n#include "convert/b.h"\n#include "common/platform/c.h"\n#include <libavutil/mem.h>\n'
        self.assertEqual(findings(app__a_cpp=text), [])


class Headers(unittest.TestCase):
    def test_finds_a_header_without_a_guard(self):
        with tempfile.TemporaryDirectory() as top:
            Path(top, "media").mkdir()
            Path(top, "media", "a.h").write_text("int a();\n", encoding="utf-8")
            self.assertEqual(as_lines(check_sources.Sources(Path(top)).findings()), ["media/a.h:1: no #pragma once"])

    def test_finds_precompiled_headers_that_a_test_leans_on(self):
        for header, use in (("gtest/gtest.h", "TEST(Reader, Reads) {}"), ("gmock/gmock.h", "MOCK_METHOD(int, read, ());"),
                            ("array", "std::array<int, 2> numbers;"), ("filesystem", "std::filesystem::path path;"),
                            ("vector", "std::vector<int> numbers;"), ("algorithm", "std::sort(a, b);")):
            with self.subTest(header):
                self.assertEqual(findings(tests__a_cpp="\n" + use + "\n"),
                                 [f"tests/a.cpp:2: uses <{header}> without including it"])

    def test_accepts_headers_reached_by_way_of_our_own(self):
        self.assertEqual(findings(tests__a_cpp='#include "media/a.h"\nstd::vector<int> numbers;\nstd::string text;\n',
                                  media__a_h="#include <filesystem>\n#include <vector>\n"), [])


class CommandLine(unittest.TestCase):
    def test_prints_findings_and_writes_the_stamp_only_without_any(self):
        with tempfile.TemporaryDirectory() as top:
            stamp, source = Path(top, "stamp"), Path(top, "app", "a.cpp")
            source.parent.mkdir()
            source.write_text("bool f(std::string& error);\n", encoding="utf-8")
            done = subprocess.run([SCRIPT, "--stamp", stamp, top], capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr), (1, ""))
            self.assertEqual(done.stdout, f"{source}:1: error: f can fail and is not [[nodiscard]]\n")
            self.assertFalse(stamp.exists())
            source.write_text("[[nodiscard]] bool f(std::string& error);\n", encoding="utf-8")
            subprocess.run([SCRIPT, "--stamp", stamp, top], check=True)
            self.assertTrue(stamp.exists())


if __name__ == "__main__":
    unittest.main()
