"""Tokens of the model language.

Newlines are tokens (a declaration ends at the end of its line), except
inside parentheses. '#' starts a comment that runs to the end of the line.
"""

from dataclasses import dataclass

from .errors import ModelError, Pos

PUNCT = ("->", "{", "}", "(", ")", ":", "=", ",")


@dataclass(frozen=True)
class Token:
    kind: str  # ident, number, string, punct, newline, eof
    text: str
    pos: Pos
    value: object = None


def _is_ident_start(c):
    return c.isalpha() or c == "_"


def _is_ident_char(c):
    return c.isalnum() or c == "_"


def tokenize(text, filename):
    tokens = []
    i, line, col = 0, 1, 1
    depth = 0
    n = len(text)

    def pos():
        return Pos(filename, line, col)

    while i < n:
        c = text[i]
        if c == "\n":
            if depth == 0 and tokens and tokens[-1].kind != "newline":
                tokens.append(Token("newline", "\n", pos()))
            i += 1
            line += 1
            col = 1
            continue
        if c in " \t\r":
            i += 1
            col += 1
            continue
        if c == "#":
            while i < n and text[i] != "\n":
                i += 1
            continue
        start = pos()
        if c == '"':
            j = i + 1
            out = []
            while j < n and text[j] != '"':
                if text[j] == "\n":
                    raise ModelError([f"{start}: error: unterminated string"])
                if text[j] == "\\" and j + 1 < n:
                    esc = text[j + 1]
                    out.append({"n": "\n", "t": "\t", '"': '"', "\\": "\\"}.get(esc, "\\" + esc))
                    j += 2
                    continue
                out.append(text[j])
                j += 1
            if j >= n:
                raise ModelError([f"{start}: error: unterminated string"])
            tokens.append(Token("string", text[i : j + 1], start, "".join(out)))
            col += j + 1 - i
            i = j + 1
            continue
        if c.isdigit() or (c == "-" and i + 1 < n and (text[i + 1].isdigit() or text[i + 1 : i + 4] == "inf")):
            j = i + 1
            while j < n and (text[j].isalnum() or text[j] in "._"):
                j += 1
            word = text[i:j]
            try:
                if word in ("-inf",):
                    value = float("-inf")
                elif any(ch in word for ch in ".eE") and not word.lower().startswith(("0x", "-0x")):
                    value = float(word)
                else:
                    value = int(word, 0)
            except ValueError:
                raise ModelError([f"{start}: error: bad number '{word}'"])
            tokens.append(Token("number", word, start, value))
            col += j - i
            i = j
            continue
        if _is_ident_start(c):
            j = i + 1
            while j < n and (_is_ident_char(text[j]) or (text[j] == ":" and text[j + 1 : j + 2] == ":" and j + 2 < n and _is_ident_start(text[j + 2]))):
                j += 2 if text[j] == ":" else 1
            tokens.append(Token("ident", text[i:j], start))
            col += j - i
            i = j
            continue
        for p in PUNCT:
            if text.startswith(p, i):
                if p == "(":
                    depth += 1
                elif p == ")":
                    depth = max(0, depth - 1)
                tokens.append(Token("punct", p, start))
                i += len(p)
                col += len(p)
                break
        else:
            raise ModelError([f"{start}: error: unexpected character '{c}'"])
    if tokens and tokens[-1].kind != "newline":
        tokens.append(Token("newline", "\n", Pos(filename, line, col)))
    tokens.append(Token("eof", "", Pos(filename, line, col)))
    return tokens
