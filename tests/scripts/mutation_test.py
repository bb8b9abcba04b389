import unittest

from loaded import script

mutation = script("mutation")


class Slips(unittest.TestCase):
    """Each test has a text and what one operator makes of it."""

    def found(self, operator, text):
        return [(slip.before, slip.after) for slip in mutation.slips("a.cpp", text)
                if slip.operator == operator]

    def after(self, operator, text):
        return [after for _, after in self.found(operator, text)]

    def in_function(self, operator, *lines):
        return self.after(operator, "void f() {\n" + "".join(f"  {line}\n" for line in lines) + "}\n")

    def test_a_comparison_is_turned(self):
        self.assertEqual(self.in_function(mutation.COMPARISON, "g(a == b, c <= d);"),
                         ["g(a != b, c <= d);", "g(a == b, c >= d);"])

    def test_what_a_template_takes_is_no_comparison(self):
        self.assertEqual(self.in_function(mutation.COMPARISON, "g<std::vector<int>>(a -> b);",
                                          "if constexpr (a == b) g();", "static_assert(a < b);"), [])

    def test_a_bound_is_moved_by_one(self):
        self.assertEqual(self.in_function(mutation.BOUND, "g(a < b, c >= d, e + 1, f - 12);"),
                         ["g(a <= b, c >= d, e + 1, f - 12);", "g(a < b, c > d, e + 1, f - 12);",
                          "g(a < b, c >= d, e, f - 12);"])

    def test_a_constant_is_changed(self):
        self.assertEqual(self.after(mutation.CONSTANT, "int most = 64;\nauto mask = 0x7FU;\n"),
                         ["int most = 65;", "auto mask = 0x80U;"])
        self.assertEqual(self.in_function(mutation.CONSTANT, "g(true, 'a', 1.5, \"2\");"),
                         ["g(false, 'a', 1.5, \"2\");", "g(true, '`', 1.5, \"2\");"])

    def test_the_size_of_an_array_stays(self):
        self.assertEqual(self.in_function(mutation.CONSTANT, "char text[32];", "g(text[3]);"),
                         ["g(text[4]);"])

    def test_nothing_slips_into_comments_texts_and_the_preprocessor(self):
        text = '#if A == 1\n// a < b && c\n/* 5 */ const char* text = "a && b < 5";\n#endif\n'
        self.assertEqual(mutation.slips("a.cpp", text), [])

    def test_one_side_of_a_condition_is_dropped(self):
        self.assertEqual(self.in_function(mutation.CONDITION, "return a && (b || c);"),
                         ["return (b || c);", "return a;", "return a && (c);", "return a && (b);"])
        self.assertEqual(self.in_function(mutation.CONDITION, "bool x = a && b || f(c, d);"),
                         ["bool x = b || f(c, d);", "bool x = f(c, d);", "bool x = a || f(c, d);",
                          "bool x = a && b;"])

    def test_a_condition_holds_always_or_never(self):
        self.assertEqual(self.in_function(mutation.CONDITION, "if (a) g();"),
                         ["if (false) g();", "if (true) g();"])
        self.assertEqual(self.in_function(mutation.CONDITION, "if (int b = g(); b > 2) g();"),
                         ["if (int b = g(); false) g();", "if (int b = g(); true) g();"])
        self.assertEqual(self.in_function(mutation.CONDITION, "if (const auto* b = g()) h(b);"), [])

    def test_a_negation_is_dropped(self):
        self.assertEqual(self.in_function(mutation.CONDITION, "return !a;"), ["return a;"])

    def test_a_statement_is_left_out(self):
        self.assertEqual(self.in_function(mutation.LEFT_OUT, "g(", "    1);", "return 2;"), [";"])
        self.assertEqual(self.in_function(mutation.LEFT_OUT, "throw a;", "break;", "return;"),
                         [";"] * 3)

    def test_a_statement_of_a_lambda_is_left_out_alone_and_with_it(self):
        self.assertEqual(self.found(mutation.LEFT_OUT, "void f() {\n  g([&](int a) {\n    h(a);\n"
                                                       "  });\n}\n"),
                         [("g([&](int a) {\nh(a);\n});", ";"), ("h(a);", ";")])

    def test_a_declaration_is_left_out_only_if_nothing_names_it(self):
        self.assertEqual(self.in_function(mutation.LEFT_OUT, "const Guard guard(1);",
                                          "const int used = 1;", "auto [a, b] = g();",
                                          "return used;"), [";"])

    def test_members_are_not_left_out(self):
        self.assertEqual(self.after(mutation.LEFT_OUT,
                                    "namespace n {\nstruct A {\n  void f();\n  int a = g();\n};\n"
                                    "using B = A;\nextern int c;\n}\n"), [])

    def test_statements_of_a_member_function_are_left_out(self):
        self.assertEqual(self.after(mutation.LEFT_OUT, "class A {\n  void f() const noexcept {\n"
                                                       "    a_ = 1;\n  }\n};\n"), [";"])

    def test_statements_are_exchanged(self):
        self.assertEqual(self.in_function(mutation.EXCHANGED, "insert(record);",
                                          "reply.id = record.id;"),
                         ["reply.id = record.id;\ninsert(record);"])

    def test_statements_that_can_stand_in_either_order_are_not(self):
        self.assertEqual(self.in_function(mutation.EXCHANGED, "a.b = c.d;", "a.e = c.f;"), [])
        self.assertEqual(self.in_function(mutation.EXCHANGED, "first(a);", "second(b);"), [])
        self.assertEqual(self.in_function(mutation.EXCHANGED, "const int a = 1;", "g(a);"), [])

    def test_columns_are_exchanged(self):
        self.assertEqual(self.in_function(mutation.COLUMN, 'run("select id, uid from a");'),
                         ['run("select uid, id from a");'])
        self.assertEqual(
            self.after(mutation.COLUMN, 'auto t = Table<A>("a")\n    .column("id", "TEXT", &A::id)\n'
                                        '    .column("uid", "TEXT", &A::uid)\n;\n'),
            ['.column("uid", "TEXT", &A::id)\n.column("id", "TEXT", &A::uid)'])
        self.assertEqual(self.after(mutation.COLUMN, "auto list = fields(\n    &A::one,\n    &A::two);\n"),
                         ["&A::two,\n&A::one);"])


class Identity(unittest.TestCase):
    def test_a_slip_stays_itself_when_lines_come_before_it(self):
        text = "void f() {\n  if (a) g();\n}\n"
        keys = {slip.key for slip in mutation.slips("a.cpp", text)}
        self.assertEqual(keys, {slip.key for slip in mutation.slips("a.cpp", "int b;\n\n" + text)})

    def test_places_of_the_same_lines_are_counted(self):
        slips = mutation.slips("a.cpp", "void f() {\n  return;\n}\nvoid g() {\n  return;\n}\n")
        self.assertEqual([slip.place for slip in slips], [1, 2])

    def test_the_order_of_two_depends_on_the_seed_alone(self):
        one, two = mutation.slips("a.cpp", "bool f() {\n  return a == b;\n}\nint c = 1;\n")
        self.assertNotEqual(one.order("1"), one.order("2"))
        self.assertNotEqual(one.order("1"), two.order("1"))

    def test_it_changes_nothing_but_its_place(self):
        text = "void f() {\n  g(a < b);  // why\n  h();\n}\n"
        slip = mutation.slips("a.cpp", text)[0]
        self.assertIn(slip.applied(text), {text.replace("<", ">"), text.replace("<", "<="),
                                           text.replace("g(a < b);", ";")})


if __name__ == "__main__":
    unittest.main()
