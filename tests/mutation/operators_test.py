"""Where each operator makes a change, and which."""

import unittest

import support  # pylint: disable=unused-import
from mutation.operators import mutants


def changes(operator, text):
    """Returns the texts that an operator makes from a text."""
    return [one.applied_to(text) for one in mutants("src/x.cpp", text) if one.operator == operator]


class Comparison(unittest.TestCase):

    def test_becomes_its_opposite(self):
        self.assertEqual(["a != b;"], changes("comparison", "a == b;"))

    def test_of_order_moves_its_limit_and_is_reversed(self):
        self.assertEqual(["a <= b;", "a >= b;"], changes("comparison", "a < b;"))

    def test_is_not_the_bracket_of_a_template(self):
        self.assertEqual([], changes("comparison", "template <typename T> std::vector<T> x;"))


class Logical(unittest.TestCase):

    def test_and_becomes_or(self):
        self.assertEqual(["a || b;"], changes("logical", "a && b;"))

    def test_is_not_a_reference(self):
        self.assertEqual([], changes("logical", "void f(T&& t);"))


class Negation(unittest.TestCase):

    def test_is_dropped(self):
        self.assertEqual(["if (file) x();"], changes("negation", "if (!file) x();"))


class Truth(unittest.TestCase):

    def test_is_reversed_in_both_spellings(self):
        self.assertEqual(["f(false, FALSE);", "f(true, TRUE);"], changes("truth", "f(true, FALSE);"))


class Integer(unittest.TestCase):

    def test_grows_and_shrinks_by_one_in_its_own_notation(self):
        self.assertEqual(["x = 0x20u;", "x = 0x1Eu;"], changes("integer", "x = 0x1Fu;"))

    def test_does_not_become_negative(self):
        self.assertEqual(["x = 1;"], changes("integer", "x = 0;"))


class Flag(unittest.TestCase):

    def test_is_dropped_from_a_list_one_at_a_time(self):
        self.assertEqual(["f(A | B);", "f(A | C);", "f(B | C);"],
                         sorted(changes("flag", "f(A | B | C);")))


class Arithmetic(unittest.TestCase):

    def test_is_reversed(self):
        self.assertEqual(["x = a - 1;"], changes("arithmetic", "x = a + 1;"))

    def test_counts_in_the_other_direction(self):
        self.assertEqual(["--i;"], changes("arithmetic", "++i;"))

    def test_leaves_signs_and_strings_alone(self):
        self.assertEqual([], changes("arithmetic", 'x = -1; s = t + "a";'))


class Call(unittest.TestCase):

    def test_is_dropped_with_the_cast_that_ignores_its_result(self):
        self.assertEqual(["{ ; }"], changes("call", "{ (void)::CloseHandle(x); }"))

    def test_is_dropped_after_a_condition(self):
        self.assertEqual(["if (a(b)) ;"], changes("call", "if (a(b)) c.d();"))

    def test_is_dropped_with_the_lambda_in_it(self):
        self.assertEqual(["{ ; }", "{ f([] { ; }, a); }"],
                         changes("call", "{ f([] { b(); }, a); }"))

    def test_is_not_a_declaration(self):
        self.assertEqual([], changes("call", "{ Scan scan(*this, line); UniqueCom<X> y(z); }"))


class Assignment(unittest.TestCase):

    def test_is_dropped(self):
        self.assertEqual(["{ ; }"], changes("assignment", "{ *tag = message->tag; }"))

    def test_is_not_a_definition(self):
        self.assertEqual([], changes("assignment", "{ const int a = 1; int* b = c; T() = default; }"))


class Return(unittest.TestCase):

    def test_becomes_an_empty_value(self):
        self.assertEqual(["return {};"], changes("return", "return a(b) + c;"))

    def test_is_left_alone_if_it_is_empty_or_has_another_operator(self):
        self.assertEqual([], changes("return", "return; return 0; return S_OK; return true;"))


class Text(unittest.TestCase):

    def test_has_its_middle_character_changed(self):
        self.assertEqual(['f(L"abxde");'], changes("text", 'f(L"abcde");'))

    def test_is_not_divided_within_an_escape(self):
        self.assertEqual([r'f("\rx<");'], changes("text", r'f("\r\n<");'))

    def test_gains_a_character_when_it_is_empty(self):
        self.assertEqual(['f("x");'], changes("text", 'f("");'))

    def test_may_be_a_single_character(self):
        self.assertEqual(["f('x');"], changes("text", r"f('\0');"))

    def test_is_not_the_language_of_a_linkage(self):
        self.assertEqual([], changes("text", 'extern "C" {}'))


class Condition(unittest.TestCase):

    def test_is_negated_and_made_true(self):
        self.assertEqual(["if (!(a || b)) c();", "if (true) c();"],
                         changes("condition", "if (a || b) c();"))

    def test_is_not_negated_if_another_operator_does_that(self):
        self.assertEqual(["if (true) c();"], changes("condition", "if (a == b) c();"))
        self.assertEqual(["if (true) c();"], changes("condition", "if (!a) c();"))

    def test_of_a_loop_ends_it(self):
        self.assertIn("while (false) c();", changes("condition", "while (a) c();"))

    def test_that_defines_a_variable_is_left_alone(self):
        self.assertEqual([], changes("condition", "if (const auto x = f()) c();"))


class Arguments(unittest.TestCase):

    def test_of_a_call_with_two_are_swapped(self):
        self.assertEqual(["f(b(c, d), a);", "f(a, b(d, c));"],
                         changes("arguments", "f(a, b(c, d));"))

    def test_of_other_calls_and_of_declarations_are_left_alone(self):
        self.assertEqual([], changes("arguments", "f(a); g(a, b, c); h(a, a); void i(int a, T& b);"))


class Places(unittest.TestCase):

    def test_are_not_in_comments_directives_attributes_and_static_assertions(self):
        text = ('// a == 1\n/* b == 2 */\n#if c == 3 \\\n  && d\n[[nodiscard("4")]] int e();\n'
                'static_assert(f == 5, "6");\n')
        self.assertEqual([], mutants("src/x.cpp", text))

    def test_on_one_line_have_different_names(self):
        found = [one.id for one in mutants("src/x.cpp", "\nf(a == b, c == d, e);")]
        self.assertEqual(["src/x.cpp:2:comparison:0", "src/x.cpp:2:comparison:1"], found)


if __name__ == "__main__":
    unittest.main()
