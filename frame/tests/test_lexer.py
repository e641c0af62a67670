"""Lexer: tokens with their positions, newlines as declaration ends,
strings, numbers and the errors of each."""

import unittest

from support import HERE  # noqa: F401
from orvgen.errors import ModelError
from orvgen.lexer import tokenize


def kinds(text):
    return [(t.kind, t.text) for t in tokenize(text, "f")]


def error(text):
    try:
        tokenize(text, "f")
    except ModelError as e:
        return e.diagnostics
    raise AssertionError("text was accepted")


class LexerTest(unittest.TestCase):
    def test_qualified_names_arrows_and_positions(self):
        toks = tokenize("a: Lumen::IpAddr -> b\n  c", "f")
        self.assertEqual([(t.kind, t.text) for t in toks],
                         [("ident", "a"), ("punct", ":"), ("ident", "Lumen::IpAddr"), ("punct", "->"),
                          ("ident", "b"), ("newline", "\n"), ("ident", "c"), ("newline", "\n"), ("eof", "")])
        self.assertEqual(str(toks[2].pos), "f:1:4")
        self.assertEqual(str(toks[6].pos), "f:2:3")

    def test_newlines_end_declarations_except_inside_parentheses(self):
        # Blank lines and comments give one newline; a list in parentheses
        # may span lines.
        self.assertEqual(kinds("a # note\n\n\n(b,\n c)\n"),
                         [("ident", "a"), ("newline", "\n"), ("punct", "("), ("ident", "b"), ("punct", ","),
                          ("ident", "c"), ("punct", ")"), ("newline", "\n"), ("eof", "")])

    def test_string_escapes_and_number_forms(self):
        toks = tokenize('"a\\"b\\\\c\\n" 0x10 -5 1.5 -inf', "f")
        self.assertEqual(toks[0].value, 'a"b\\c\n')
        self.assertEqual([t.value for t in toks[1:5]], [16, -5, 1.5, float("-inf")])

    def test_errors_name_the_position(self):
        self.assertEqual(error('x "abc\ny"'), ["f:1:3: error: unterminated string"])
        self.assertEqual(error("x 12ab"), ["f:1:3: error: bad number '12ab'"])
        self.assertEqual(error("a\n  @"), ["f:2:3: error: unexpected character '@'"])


if __name__ == "__main__":
    unittest.main()
