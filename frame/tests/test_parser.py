"""Parser: syntax errors with their position, comments, namespaces and the
declarations of the platform's types."""

import unittest

from support import diagnostics, model
from orvgen.parser import parse_text


class ParserTest(unittest.TestCase):
    def test_syntax_errors_name_file_line_and_column(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E(id) {
              id Lumen::IntfId key
            }
            }
            """
        )
        self.assertEqual(d, ["m/T.model:4:6: error: expected ':', found 'Lumen::IntfId'"])

    def test_unterminated_blocks_and_strings(self):
        self.assertIn("missing '}'", diagnostics("unit T\nnamespace T {\nenum C {\n a\n")[0])
        self.assertIn("unterminated string", diagnostics('unit T\ninclude "x\n')[0])
        self.assertIn("unexpected character '@'", diagnostics("unit T @\n")[0])

    def test_comments_and_nested_namespaces(self):
        m = model(
            """\
            unit T  # trailing comment
            namespace A::B {
            # a comment line
            enum C {
              x
              y = 5
              z
            }
            }
            """
        )
        self.assertEqual(m.enums[0].qname, "A::B::C")
        self.assertEqual([(i.name, i.value, i.text) for i in m.enums[0].items],
                         [("x", 0, "x"), ("y", 5, "y"), ("z", 6, "z")])

    def test_header_blocks_parentheses_and_bases(self):
        syn = parse_text("unit T\nnamespace N {\nheader X {\nentity E() : B(1, low) {\n}\n}\nentity F(k) {\n}\n}\n",
                         "m/T.model")
        e, f = syn.types
        self.assertEqual((e.header, e.explicit_params, e.params, e.base[0]), ("X", True, [], "B"))
        self.assertEqual([a.value for a in e.base[1]], [1, "low"])
        self.assertEqual((f.header, f.explicit_params), (None, True))
        self.assertIn("header blocks do not nest", diagnostics("unit T\nheader X {\nheader Y {\n}\n}\n")[0])


class ExternTest(unittest.TestCase):
    def test_extern_declarations_name_a_type_and_whether_it_is_small(self):
        syn = parse_text("unit P\nnamespace N {\nextern A\nextern B small\n}\n", "p/P.model")
        self.assertEqual([(t.kind, t.name, t.namespace, t.small) for t in syn.types],
                         [("extern", "A", ("N",), False), ("extern", "B", ("N",), True)])

    def test_extern_takes_nothing_else(self):
        self.assertEqual(diagnostics("unit T\nextern A {\n}\n"),
                         ["m/T.model:2:10: error: expected end of line, found '{'"])
        self.assertEqual(diagnostics("unit T\nextern N::A\n"),
                         ["m/T.model:2:8: error: type names are declared inside their namespace, without '::'"])


if __name__ == "__main__":
    unittest.main()
