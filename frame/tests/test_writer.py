"""The strict template writer."""

import unittest

from support import HERE  # noqa: F401
from orvgen import writer


class WriterTest(unittest.TestCase):
    def test_block_values_take_the_placeholder_indentation(self):
        out = writer.render("a {\n  $body$\n}\n$gone$\nx $v$ y", body="one\n\ntwo", gone="", v="V")
        self.assertEqual(out, "a {\n  one\n\n  two\n}\nx V y")

    def test_missing_and_unused_values_are_errors(self):
        with self.assertRaises(writer.TemplateError):
            writer.render("$a$")
        with self.assertRaises(writer.TemplateError):
            writer.render("x", a="1")
        with self.assertRaises(writer.TemplateError):
            writer.render("x $a$ y", a="1\n2")


    def test_values_are_not_rescanned_and_list_values_join_by_line(self):
        self.assertEqual(writer.render("f($a$)", a="$b$"), "f($b$)")
        self.assertEqual(writer.render("{\n  $rows$\n};", rows=["x,", "y,"]), "{\n  x,\n  y,\n};")

    def test_namespace_blocks_join_neighbours_of_one_namespace(self):
        out = writer.ns_blocks([(("A",), "a1"), (("A",), "a2"), ((), "top"), (("A", "B"), ""), (("A", "B"), "b")])
        self.assertEqual(out, "namespace A {\n\na1\n\na2\n\n}  // namespace A\n\ntop\n\n"
                              "namespace A::B {\n\nb\n\n}  // namespace A::B")


if __name__ == "__main__":
    unittest.main()
