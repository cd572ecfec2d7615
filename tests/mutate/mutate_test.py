"""scripts/mutate: what it finds to change, how it draws and goes on, what becomes of mutants."""

import functools
import pathlib
import subprocess
import tempfile
import time
import unittest
from unittest import mock

import trees
from campaign import Campaign, all_mutants, read_reasons
from mutants import changed_number, mutants_of
from trees import Failure, Trees

ROOT = pathlib.Path(__file__).resolve().parents[2]


def changes(source):
    return [mutant.change for mutant in mutants_of("a.cpp", source)]


def in_function(code):
    return changes("void f()\n{\n" + code + "\n}\n")


def mutated(source, change):
    found = [mutant for mutant in mutants_of("a.cpp", source) if mutant.change == change]
    return found[0].applied_to(source)


class Operators(unittest.TestCase):
    def test_have_siblings(self):
        self.assertEqual(changes("x = a < b;"), ["`<` -> `<=`"])
        self.assertEqual(changes("x = a >> b && c % d;"),
                         ["`>>` -> `<<`", "`&&` -> `||`", "`%` -> `*`"])
        self.assertEqual(changes("x <<= a;"), ["`<<=` -> `>>=`"])

    def test_of_one_operand(self):
        self.assertEqual(changes("x = -a;"), ["`-` -> nothing"])
        self.assertEqual(changes("return -a;"), ["`-` -> nothing"])
        self.assertEqual(changes("x = !a;"), ["`!` -> nothing"])
        self.assertEqual(changes("x = ++a;"), ["`++` -> `--`"])
        self.assertEqual(changes("x = a - -b;"), ["`-` -> `+`", "`-` -> nothing"])

    def test_pointers_references_and_templates_are_none(self):
        self.assertEqual(changes("const T* const a; T&& b; T& c = *d; auto e = &d->f;"), [])
        self.assertEqual(changes("template<class T> std::map<T, std::vector<T>> f(T&&... x);"), [])
        self.assertEqual(changes("a::b operator<(C); auto operator==(D);"), [])

    def test_between_texts_is_left(self):
        self.assertEqual(changes('x = "a" + b + "c"; out << "d" << e << "f";'), [])


class Texts(unittest.TestCase):
    def test_comments_literals_and_the_preprocessor_are_left(self):
        self.assertEqual(changes("// a < b\n/* a < b\n c < d */"), [])
        self.assertEqual(changes(r"""x = "a < 1 \" // ", '<', '"', '\'';"""), [])
        self.assertEqual(changes('#if A < 1 && \\\n  B < 2\n#include "a1"\n#define C 1\n'), [])
        self.assertEqual(changes('x = "/*"; y = a < b; z = "*/";'), ["`<` -> `<=`"])

    def test_a_word_that_ends_in_r_begins_no_raw_text(self):
        self.assertEqual(changes('x = f("HAAR" " (1"); y = VR"(1)";'), [])

    def test_shaders_are_code(self):
        shader = "#version 130 // 1\n#define GRAD 1.0/3.0 // 2\nif (a<b) { emit(); } // 3\n"
        self.assertEqual(changes(f'auto s = R"({shader})"; x = 7;'), [
            "`1.0` -> `2.0`", "`/` -> `*`", "`3.0` -> `4.0`", "`a<b` -> `!(a<b)`", "`<` -> `<=`",
            "`emit()` -> nothing", "`7` -> `8`"])

    def test_raw_text_may_have_a_delimiter(self):
        self.assertEqual(changes('x = R"glsl(a[1] = ")";)glsl"; y = 2;'),
                         ["`1` -> `2`", "`2` -> `3`"])

    def test_lines_are_those_of_the_file(self):
        source = 'int a;\nauto s = R"(\nfloat b = 1.0;)";\nint c = 4;'
        self.assertEqual([(mutant.line, mutant.code) for mutant in mutants_of("a.cpp", source)],
                         [(3, 'float b = 1.0;)";'), (4, "int c = 4;")])


class Numbers(unittest.TestCase):
    def test_become_the_next(self):
        for number, changed in {
            "0": "1", "9u": "10u", "1'000'000": "1000001", "0xFF": "0x100", "0b11": "4",
            "017": "020", "1.5": "2.5", "0.5f": "1.5f", ".5": "1.5", "2.": "3.0", "1e-3": "1.001",
            "1e30": f"{2 * 10 ** 30}.0",
        }.items():  # fmt: skip
            self.assertEqual(changed_number(number), changed)

    def test_of_the_programs_own_are_left(self):
        self.assertIsNone(changed_number("10_pixels"))

    def test_are_found_whole(self):
        self.assertEqual(changes("x = 1'000 * 2.5e-3f;"),
                         ["`1'000` -> `1001`", "`*` -> `/`", "`2.5e-3f` -> `1.0025f`"])
        self.assertEqual(changes("x = true;"), ["`true` -> `false`"])


class Conditions(unittest.TestCase):
    def test_are_negated(self):
        self.assertIn("`a` -> `!(a)`", changes("if (a)"))
        self.assertIn("`f(a, b)` -> `!(f(a, b))`", changes("while (f(a, b))"))
        self.assertIn("`a` -> `!(a)`", changes("if constexpr (a)"))
        self.assertIn("`!a && b` -> `!(!a && b)`", changes("if (!a && b)"))
        self.assertIn("`i < n` -> `!(i < n)`", changes("for (int i = 0; i < n; ++i)"))
        self.assertIn("`a` -> `!(a)`", changes("if (int a = f(); a)"))
        self.assertEqual(changes("for (auto& a : b)"), [])

    def test_before_a_question_mark_are_found(self):
        self.assertEqual(mutated("x = g(1, a(b) && c ? d : e);", "`a(b) && c` -> `!(a(b) && c)`"),
                         "x = g(1, !(a(b) && c) ? d : e);")
        self.assertIn("`b` -> `!(b)`", changes("x = a ? 1 : b ? 2 : 3;"))
        self.assertIn("`a` -> `!(a)`", changes("return a ? b : c;"))
        self.assertIn("`b` -> `!(b)`", changes("if (a) b ? c() : d();"))
        self.assertIn("`b` -> `!(b)`", changes("else b ? c() : d();"))

    def test_that_another_change_negates_are_left(self):
        self.assertEqual(changes("if (!a)"), ["`!` -> nothing"])
        self.assertEqual(changes("if (a == b)"), ["`==` -> `!=`"])
        self.assertEqual(changes("while (true)"), ["`true` -> `false`"])


class Calls(unittest.TestCase):
    def test_are_left_out(self):
        self.assertEqual(in_function("a();"), ["`a()` -> nothing"])
        self.assertEqual(in_function("a.b->c::d<e, f>(g)(h);"),
                         ["`a.b->c::d<e, f>(g)(h)` -> nothing"])
        self.assertIn("`b()` -> nothing", in_function("if (a) b(); else c();"))
        self.assertIn("`c()` -> nothing", in_function("if (a) b(); else c();"))

    def test_keep_their_lines(self):
        source = "void f()\n{\n    a(b,\n      c);\n    d();\n}\n"
        changed = mutated(source, "`a(b, c)` -> nothing")
        self.assertEqual(changed, "void f()\n{\n    \n;\n    d();\n}\n")

    def test_that_give_something_are_left(self):
        self.assertEqual(in_function("x = a(); return b(); c d(e); throw g();"), [])

    def test_that_no_result_depends_on_are_left(self):
        self.assertEqual(in_function("hwy::Prefetch(a + 1); prefetch(b);"), [])

    def test_declarations_are_none(self):
        self.assertEqual(changes("class A : public B\n{\n    A();\n    void c(int d);\n};"), [])
        self.assertEqual(changes("F(g);"), [])
        self.assertEqual(changes("namespace a {\nF(g);\n}"), [])

    def test_in_a_template_are_found(self):
        self.assertEqual(changes("template<class A>\nvoid f(A a)\n{\n    g();\n}"),
                         ["`g()` -> nothing"])

    def test_within_a_class_are_found(self):
        self.assertEqual(changes("struct A\n{\n    void f() { g(); }\n    A();\n};"),
                         ["`g()` -> nothing"])


class Assertions(unittest.TestCase):
    def test_hold_something_else_and_say_the_same(self):
        self.assertEqual(
            mutated('assert(a < b && "x, \\n");', "`<` -> `<=`"),
            '(static_cast<bool>(a <= b && "x, \\n") ? void(0) '
            ': __assert_fail("a < b && \\"x, \\\\n\\"", '
            "__FILE__, __LINE__, __extension__ __PRETTY_FUNCTION__));")

    def test_are_left_out_whole(self):
        self.assertEqual(mutated("void f() { assert(a < b); }", "`assert(a < b)` -> nothing"),
                         "void f() { ; }")

    def test_at_compile_time_are_left(self):
        self.assertEqual(changes("static_assert(a < 1);"), [])


class Names(unittest.TestCase):
    SOURCE = "x = 1 + 1;\n\ny = 2;\nx = 1 + 1;\n"

    def test_tell_mutants_apart(self):
        names = [mutant.name for mutant in mutants_of("a.cpp", self.SOURCE)]
        self.assertEqual(len(set(names)), 7)
        self.assertEqual(names[:3], [
            "a.cpp: x = 1 + 1;: `1` -> `2`", "a.cpp: x = 1 + 1;: `+` -> `-`",
            "a.cpp: x = 1 + 1;: `1` -> `2` (number 2)"])

    def test_outlive_other_lines(self):
        before = [mutant.name for mutant in mutants_of("a.cpp", self.SOURCE)]
        after = [mutant.name for mutant in mutants_of("a.cpp", "z = w;\n" + self.SOURCE)]
        self.assertEqual(before, after)

    def test_of_the_libraries_differ(self):
        mutants = all_mutants(ROOT, ["math", "core"])
        self.assertEqual(len({mutant.name for mutant in mutants}), len(mutants))
        self.assertEqual(mutants, all_mutants(ROOT, ["math", "core"]))


class Reasons(unittest.TestCase):
    def test_are_of_mutants_that_there_are(self):
        reasons = read_reasons(ROOT / "tests" / "mutate" / "reasons")
        folders = {name.split("/")[0] for name in reasons}
        names = {mutant.name for mutant in all_mutants(ROOT, folders)}
        self.assertEqual([name for name in reasons if name not in names], [])

    def test_are_paragraphs(self):
        with tempfile.NamedTemporaryFile("w") as file:
            file.write("# why\n\na.cpp\n    x = 1;\n    `1` -> `2`\n    Nobody\n    reads it.\n\n")
            file.flush()
            self.assertEqual(read_reasons(pathlib.Path(file.name)),
                             {"a.cpp: x = 1;: `1` -> `2`": "Nobody reads it."})
            file.write("a.cpp\n    x = 1;\n    `1` -> `2`\n")
            file.flush()
            with self.assertRaisesRegex(Failure, "expected file, line, change and reason"):
                read_reasons(pathlib.Path(file.name))


class FakeTrees:
    """Tells what becomes of a mutant by the number in it."""

    def __init__(self, stop_after=None):
        self.tried = []
        self.stop_after = stop_after

    def try_mutant(self, mutant):
        if len(self.tried) == self.stop_after:
            raise KeyboardInterrupt
        self.tried.append(mutant.change)
        number = int(mutant.code[4:-1])
        became = ["noticed"] * 3 + ["survived", "does not compile", "same code"]
        return became[number % 6], ["unit.A"]


class Draws(unittest.TestCase):
    MUTANTS = mutants_of("a.cpp", "".join(f"x = {n};\n" for n in range(60)))

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.said = []

    def campaign(self, trees, seed=1, mutants=MUTANTS, reasons=()):
        campaign = Campaign(trees, mutants, dict(reasons), self.folder, seed, self.said.append)
        self.addCleanup(campaign.file.close)
        return campaign

    def run_once(self, *arguments, count=10, again=False, **named):
        campaign = self.campaign(*arguments, **named)
        try:
            campaign.run(count, again)
        finally:
            campaign.file.close()
        return campaign

    def survivors(self, campaign):
        results = campaign.results.items()
        return [name for name, result in results if result["became"] == "survived"]

    def test_depend_on_the_seed_alone(self):
        draws = [self.run_once(FakeTrees(), seed).draw for seed in (1, 2, 1)]
        self.assertEqual(draws[0], draws[2])
        self.assertNotEqual(draws[0], draws[1])
        self.assertEqual(set(draws[0]), set(draws[1]))

    def test_count_what_compiles_to_other_code(self):
        results = self.run_once(FakeTrees(), count=40).results.values()
        became = [result["became"] for result in results]
        self.assertEqual((became.count("noticed"), became.count("survived")), (30, 10))
        self.assertIn("same code", became)
        self.assertIn("does not compile", became)

    def test_go_on_where_they_were_stopped(self):
        whole, first, second = FakeTrees(), FakeTrees(stop_after=7), FakeTrees()
        self.run_once(whole, 2)
        (self.folder / "results-2.jsonl").unlink()
        with self.assertRaises(KeyboardInterrupt):
            self.run_once(first, 2)
        self.run_once(second, 2)
        self.assertEqual(first.tried + second.tried, whole.tried)
        self.assertEqual(len(first.tried), 7)

    def test_go_on_after_half_a_line(self):
        self.run_once(FakeTrees())
        results = self.folder / "results-1.jsonl"
        lines = results.read_text().splitlines(keepends=True)
        results.write_text("".join(lines[:-1]) + lines[-1][:20])
        trees = FakeTrees()
        self.run_once(trees)
        self.assertEqual(len(trees.tried), 1)
        trees = FakeTrees()
        self.run_once(trees)
        self.assertEqual(trees.tried, [])

    def test_try_again_what_is_in_a_changed_source(self):
        other = mutants_of("b.cpp", "".join(f"y = {n};\n" for n in range(60)))
        mutants = self.MUTANTS + other
        before = self.run_once(FakeTrees(), mutants=mutants, count=20)
        tried = list(before.results)
        changed = self.run_once(FakeTrees(), mutants=self.MUTANTS + other[1:], count=0)
        self.assertEqual(list(changed.results), [name for name in tried if name[0] == "a"])
        self.assertGreater(len(changed.results), 0)
        self.assertLess(len(changed.results), len(tried))
        self.assertEqual(changed.draw, [each for each in before.draw if each != other[0]])

    def test_run_once_at_a_time(self):
        self.campaign(FakeTrees())
        with self.assertRaisesRegex(Failure, "the same draw is running"):
            self.campaign(FakeTrees())

    def test_again_tries_survivors_alone(self):
        survivors = self.survivors(self.run_once(FakeTrees(), count=20))
        trees = FakeTrees()
        self.run_once(trees, count=20, again=True, reasons={survivors[0]: "Nobody reads it."})
        self.assertGreater(len(survivors), 1)
        self.assertEqual(len(trees.tried), len(survivors) - 1)

    def test_report_gives_both_shares(self):
        campaign = self.run_once(FakeTrees(), count=40)
        survivors = self.survivors(campaign)
        campaign.reasons = {survivors[0]: "Nobody reads it.", survivors[1]: "Nor this."}
        self.said.clear()
        self.assertFalse(campaign.report())
        report = "\n".join(self.said)
        self.assertIn("seed 1, drawn 40: noticed 30, survived 8, cannot be seen 2\n"
                      "noticed: 75.0 %; 78.9 % of what can be seen\n", report)
        self.assertEqual(report.count("passed: unit.A"), 8)
        self.assertIn("Nobody reads it.", report)
        campaign.reasons = dict.fromkeys(survivors, "Nobody reads it.")
        self.assertTrue(campaign.report())


TINY = {
    "CMakeLists.txt": """
        cmake_minimum_required(VERSION 3.25)
        project(tiny LANGUAGES CXX)
        enable_testing()
        add_library(tiny SHARED tiny.cpp)
        add_executable(tiny_tests tests.cpp)
        target_link_libraries(tiny_tests PRIVATE tiny)
        add_test(NAME unit.Small COMMAND tiny_tests small)
        add_test(NAME unit.Least COMMAND tiny_tests least)
        set_tests_properties(unit.Small unit.Least PROPERTIES ENVIRONMENT TINY=1)
        add_subdirectory(more)""",
    "more/CMakeLists.txt": """
        add_executable(more_tests ../tests.cpp)
        target_include_directories(more_tests PRIVATE ..)
        target_link_libraries(more_tests PRIVATE tiny)
        add_test(NAME unit.Least COMMAND more_tests least)
        set_tests_properties(unit.Least PROPERTIES ENVIRONMENT TINY=1)""",
    "tiny.h": "bool isSmall(int a);\nint least(int a, int b);\nint waits(int a);\n",
    "tiny.cpp": """#include "tiny.h"
#include <cassert>
struct Base { virtual int f() = 0; };
bool isSmall(int a)
{
    assert(a > 0);
    return a < 10;
}
int least(int a, int b)
{
    for (int i = 0; i < b; ++i) {
        if (i >= a) return a;
    }
    return b == b + 0 ? b : a;
}
int unused(int a)
{
    return a - 7;
}
""",
    "tests.cpp": """#include "tiny.h"
#include <cstdlib>
#include <cstring>
int main(int, char** arguments)
{
    if (!std::getenv("TINY")) return 2;
    if (!std::strcmp(arguments[1], "small")) return isSmall(9) && !isSmall(10) ? 0 : 1;
    return least(3, 4) == 3 && least(4, 3) == 3 ? 0 : 1;
}
""",
}
TWICE = ["unit.Least", "unit.Least of more_tests"]  # which has the same name in another folder


class Whole(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = pathlib.Path(folder.name) / "tiny"
        cls.root.mkdir()
        for name, text in TINY.items():
            (cls.root / name).parent.mkdir(exist_ok=True)
            (cls.root / name).write_text(text)
        subprocess.run(["git", "init", "--quiet"], cwd=cls.root, check=True)
        mutants = pathlib.Path(folder.name) / "mutants"
        cls.trees = Trees(cls.root, mutants, lambda name, labels: True)
        cls.said = []
        cls.trees.prepare(cls.said.append)

    def mutant(self, line, change):
        found = [mutant for mutant in mutants_of("tiny.cpp", TINY["tiny.cpp"])
                 if mutant.code == line and mutant.change == change]
        self.assertEqual(len(found), 1)
        return found[0]

    def try_change(self, line, change):
        became = self.trees.try_mutant(self.mutant(line, change))
        self.assertEqual((self.trees.sources / "tiny.cpp").read_text(), TINY["tiny.cpp"])
        return became

    def test_tests_of_a_line_execute_it(self):
        self.assertEqual(self.trees.tests_of("tiny.cpp", 7, 7), ["unit.Small"])
        self.assertEqual(self.trees.tests_of("tiny.cpp", 12, 12), TWICE)

    def test_tests_of_a_line_that_none_executes_are_those_of_the_file(self):
        self.assertEqual(sorted(self.trees.tests_of("tiny.cpp", 18, 18)), [*TWICE, "unit.Small"])
        self.assertEqual(self.trees.tests_of("other.cpp", 1, 1), [])
        self.assertEqual(sorted(self.trees.tests_of("tiny.h", 1, 1)), [*TWICE, "unit.Small"])

    def test_what_a_test_sees_is_noticed(self):
        self.assertEqual(self.try_change("return a < 10;", "`10` -> `11`"),
                         ("noticed", ["unit.Small"]))
        became, tests = self.try_change("if (i >= a) return a;", "`>=` -> `>`")
        self.assertEqual(became, "noticed")
        self.assertIn(tests[0], TWICE)

    def test_what_no_test_sees_survives(self):
        self.assertEqual(self.try_change("assert(a > 0);", "`>` -> `>=`"),
                         ("survived", ["unit.Small"]))
        became, tests = self.try_change("return a - 7;", "`-` -> `+`")
        self.assertEqual((became, sorted(tests)), ("survived", [*TWICE, "unit.Small"]))

    def test_what_fails_without_a_mutant_stops(self):
        test = trees.Test("a", ["false"], "/", {}, [])
        with mock.patch.dict(self.trees.tests, {"a": test}), \
                mock.patch.dict(self.trees.seen, {"a": {"lines": {"tiny.cpp": [7]}}}):
            with self.assertRaisesRegex(Failure, "a fails without any mutant"):
                self.try_change("return a < 10;", "`<` -> `<=`")

    def test_what_the_compiler_refuses_does_not_compile(self):
        self.assertEqual(self.try_change("struct Base { virtual int f() = 0; };", "`0` -> `1`"),
                         ("does not compile", []))

    def test_what_makes_no_difference_is_the_same_code(self):
        self.assertEqual(self.try_change("return b == b + 0 ? b : a;", "`+` -> `-`"),
                         ("same code", []))

    def test_a_mutant_leaves_nothing_behind(self):
        self.try_change("return a < 10;", "`<` -> `<=`")
        again = []
        self.trees.prepare(again.append)
        self.assertFalse([text for text in again if text.startswith("looked at")])
        ninja = ["ninja", "-C", self.trees.build]
        built = subprocess.run(ninja, stdout=subprocess.PIPE, check=True)
        self.assertIn(b"no work to do", built.stdout)

    def test_a_mutant_that_was_cut_off_is_taken_away(self):
        with mock.patch.object(trees, "mirror", side_effect=KeyboardInterrupt):
            with self.assertRaises(KeyboardInterrupt):
                self.trees.try_mutant(self.mutant("return a < 10;", "`<` -> `<=`"))
        self.trees.prepare(self.said.append)
        self.assertEqual((self.trees.sources / "tiny.cpp").read_text(), TINY["tiny.cpp"])
        seen = dict.fromkeys(self.trees.tests, {"seconds": 0.01})
        self.assertIsNone(trees.first_failure(self.trees.tests.values(), seen))


class Runs(unittest.TestCase):
    def failing(self, *scripts):
        tests = [trees.Test(script, ["sh", "-c", script], "/", {}, []) for script in scripts]
        return trees.first_failure(tests, dict.fromkeys(scripts, {"seconds": 0.01}))

    @mock.patch.object(trees, "JOBS", 1)
    def test_stop_at_the_first_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.failing("true", "false", f"touch {folder}/last"), "false")
            self.assertEqual(list(pathlib.Path(folder).iterdir()), [])
            self.assertIsNone(self.failing("true", f"touch {folder}/last"))
            self.assertEqual(len(list(pathlib.Path(folder).iterdir())), 1)

    @mock.patch.object(trees, "JOBS", 2)
    def test_that_end_at_once_with_the_first_failure_are_left(self):
        longer = functools.partial(time.sleep, 0.5)
        with mock.patch.object(trees.time, "sleep", lambda _: longer()):
            self.assertEqual(self.failing("false", "exit 1"), "false")

    @mock.patch.object(trees, "LEAST_SECONDS", 1)
    def test_that_compute_for_too_long_fail(self):
        self.assertEqual(self.failing("while :; do :; done"), "while :; do :; done")

    @mock.patch.object(trees, "STUCK_SECONDS", 0.2)
    def test_that_are_stuck_fail(self):
        self.assertEqual(self.failing("sleep 300"), "sleep 300")

    def test_get_what_their_environment_says(self):
        test = trees.Test("a", ["sh", "-c", 'test "$TINY" = 1'], "/", {"TINY": "1"}, [])
        self.assertIsNone(trees.first_failure([test], {"a": {"seconds": 0.01}}))


if __name__ == "__main__":
    unittest.main()
