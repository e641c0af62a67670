"""Parser: tokens -> syntax tree. Reports the first syntax error with its position."""

from .errors import ModelError
from .lexer import tokenize
from .syntax import AttrDecl, Directive, EnumItem, Literal, ModelFile, Range, TypeDecl, TypeRef

TYPE_KINDS = ("enum", "value", "entity", "object", "sm")
DIRECTIVES = ("order", "hand", "include", "init", "abstract", "virtual", "text", "quiet")


class Parser:
    def __init__(self, text, path):
        self.toks = tokenize(text, path)
        self.i = 0
        self.path = path

    # -- token helpers ----------------------------------------------------
    def peek(self, k=0):
        return self.toks[min(self.i + k, len(self.toks) - 1)]

    def next(self):
        t = self.toks[self.i]
        self.i += 1
        return t

    def fail(self, tok, message):
        raise ModelError([f"{tok.pos}: error: {message}"])

    def at(self, kind, text=None, k=0):
        t = self.peek(k)
        return t.kind == kind and (text is None or t.text == text)

    def expect(self, kind, text=None, what=None):
        t = self.peek()
        if not self.at(kind, text):
            want = what or (f"'{text}'" if text else kind)
            got = "end of line" if t.kind == "newline" else ("end of file" if t.kind == "eof" else f"'{t.text}'")
            self.fail(t, f"expected {want}, found {got}")
        return self.next()

    def skip_newlines(self):
        while self.at("newline"):
            self.next()

    def end_of_line(self):
        if self.at("punct", "}"):
            return
        self.expect("newline", what="end of line")

    # -- grammar ------------------------------------------------------------
    def parse(self):
        mf = ModelFile(self.path)
        self.statements(mf, (), top=True, header=None)
        return mf

    def statements(self, mf, ns, top, header):
        while True:
            self.skip_newlines()
            t = self.peek()
            if t.kind == "eof":
                if not top:
                    self.fail(t, "missing '}' at end of namespace")
                return
            if t.kind == "punct" and t.text == "}":
                if top:
                    self.fail(t, "unexpected '}'")
                return
            if t.kind != "ident":
                self.fail(t, f"expected a declaration, found '{t.text}'")
            word = t.text
            if word == "unit":
                self.next()
                name = self.expect("ident", what="unit name")
                if mf.unit is not None:
                    self.fail(t, "unit declared twice")
                mf.unit, mf.unit_pos = name.text, name.pos
                self.end_of_line()
            elif word == "import":
                self.next()
                name = self.expect("ident", what="unit name")
                mf.imports.append((name.text, name.pos))
                self.end_of_line()
            elif word == "include":
                self.next()
                s = self.expect("string", what="header name")
                mf.includes.append((s.value, s.pos))
                self.end_of_line()
            elif word == "register":
                self.next()
                self.expect("punct", "(")
                while not self.at("punct", ")"):
                    n = self.expect("ident", what="type name")
                    mf.register.append((n.text, n.pos))
                    if self.at("punct", ","):
                        self.next()
                self.next()
                self.end_of_line()
            elif word == "namespace":
                self.next()
                name = self.expect("ident", what="namespace name")
                self.expect("punct", "{")
                self.statements(mf, ns + tuple(name.text.split("::")), top=False, header=header)
                self.expect("punct", "}")
                self.end_of_line()
            elif word == "header" and self.peek(1).kind == "ident" and self.at("punct", "{", 2):
                # header Name { declarations }: declared in the unit's further header Name.h
                self.next()
                name = self.next()
                if header is not None:
                    self.fail(name, "header blocks do not nest")
                self.expect("punct", "{")
                self.statements(mf, ns, top=False, header=name.text)
                self.expect("punct", "}")
                self.end_of_line()
            elif word == "extern":
                mf.types.append(self.extern_decl(ns))
            elif word in TYPE_KINDS or (word == "named" and self.peek(1).text == "entity"):
                decl = self.type_decl(ns)
                decl.header = header
                mf.types.append(decl)
            else:
                self.fail(t, f"unknown declaration '{word}'")

    def type_decl(self, ns):
        named = False
        if self.at("ident", "named"):
            self.next()
            named = True
        kind_tok = self.next()
        name = self.expect("ident", what="type name")
        if "::" in name.text:
            self.fail(name, "type names are declared inside their namespace, without '::'")
        decl = TypeDecl(kind_tok.text, name.text, ns, name.pos, named=named)
        if self.at("punct", "("):
            self.next()
            decl.explicit_params = True
            while not self.at("punct", ")"):
                p = self.expect("ident", what="constructor parameter")
                decl.params.append((p.text, p.pos))
                if self.at("punct", ","):
                    self.next()
                elif not self.at("punct", ")"):
                    self.expect("punct", ")")
            self.next()
        if self.at("punct", ":"):
            self.next()
            base = self.expect("ident", what="base type")
            args = []
            if self.at("punct", "("):
                self.next()
                while not self.at("punct", ")"):
                    args.append(self.literal())
                    if self.at("punct", ","):
                        self.next()
                self.next()
            decl.base = (base.text, args, base.pos)
        self.expect("punct", "{")
        while True:
            self.skip_newlines()
            if self.at("punct", "}"):
                self.next()
                break
            if self.at("eof"):
                self.fail(self.peek(), f"missing '}}' at end of {decl.kind} {decl.name}")
            if decl.kind == "enum":
                decl.items.append(self.enum_item())
            elif self.at("ident") and self.peek().text in DIRECTIVES and not self.at("punct", ":", 1):
                decl.directives.append(self.directive())
            else:
                decl.attrs.append(self.attr())
        self.end_of_line()
        return decl

    def extern_decl(self, ns):
        """extern Name [small]: a value type written by hand outside the
        generator (its header is one of the unit's includes)."""
        self.next()
        name = self.expect("ident", what="type name")
        if "::" in name.text:
            self.fail(name, "type names are declared inside their namespace, without '::'")
        decl = TypeDecl("extern", name.text, ns, name.pos)
        if self.at("ident", "small"):
            self.next()
            decl.small = True
        self.end_of_line()
        return decl

    def enum_item(self):
        n = self.expect("ident", what="enumerator")
        item = EnumItem(n.text, None, n.pos)
        if self.at("punct", "="):
            self.next()
            v = self.expect("number", what="enumerator value")
            if not isinstance(v.value, int) or v.value < 0 or v.value > 0xFFFFFFFF:
                self.fail(v, "enumerator values are unsigned 32-bit integers")
            item.value = v.value
        if self.at("string"):
            item.text = self.next().value
        self.end_of_line()
        return item

    def directive(self):
        d = self.next()
        args = []
        while not self.at("newline") and not self.at("punct", "}") and not self.at("eof"):
            t = self.next()
            if t.kind == "punct" and t.text == ",":
                continue
            args.append(t)
        self.end_of_line()
        return Directive(d.text, args, d.pos)

    def literal(self):
        t = self.next()
        if t.kind == "number":
            return Literal("number", t.value, t.pos)
        if t.kind == "string":
            return Literal("string", t.value, t.pos)
        if t.kind == "ident":
            if t.text in ("true", "false"):
                return Literal("bool", t.text == "true", t.pos)
            return Literal("ident", t.text, t.pos)
        self.fail(t, f"expected a value, found '{t.text}'")

    def type_ref(self):
        t = self.peek()
        if self.at("ident", "ordered") or self.at("ident", "hashed"):
            order = self.next().text
            ref = TypeRef("coll", t.pos, order=order)
            if self.at("ident", "set"):
                self.next()
                ref.shape = "set"
                ref.key = self.plain_type()
            elif self.at("ident", "reactor"):
                self.next()
                ref.shape = "reactor"
                ref.reactor = self.expect("ident", what="reactor class name").text
                self.expect("ident", "on")
                ref.value = self.ptr_target(t)
                self.expect("ident", "by")
                ref.by = self.expect("ident", what="attribute name").text
            elif self.at("ident", "new"):
                self.next()
                ref.shape = "new"
                ref.value = self.plain_type()
            elif self.at("ident", "ptr"):
                self.next()
                ref.shape = "ptrby"
                ref.value = self.ptr_target(t)
                self.expect("ident", "by")
                ref.by = self.expect("ident", what="attribute name").text
            else:
                first = self.plain_type()
                if self.at("punct", "->"):
                    self.next()
                    ref.shape = "map"
                    ref.key = first
                    ref.value = self.plain_type()
                elif self.at("ident", "by"):
                    self.next()
                    ref.shape = "by"
                    ref.value = first
                    ref.by = self.expect("ident", what="attribute name").text
                else:
                    self.fail(self.peek(), "expected '->' or 'by' in collection type")
            return ref
        if self.at("ident", "ptr"):
            self.next()
            return self.ptr_target(t)
        if self.at("ident", "reactor"):
            self.next()
            name = self.expect("ident", what="reactor class name").text
            self.expect("ident", "on")
            target = self.ptr_target(t)
            target.form = "reactor"
            target.reactor = name
            return target
        return self.plain_type()

    def ptr_target(self, start):
        const = False
        if self.at("ident", "const"):
            self.next()
            const = True
        n = self.expect("ident", what="entity type")
        return TypeRef("ptr", n.pos, name=n.text, const=const)

    def plain_type(self):
        n = self.expect("ident", what="type")
        return TypeRef("plain", n.pos, name=n.text)

    def attr(self):
        n = self.expect("ident", what="attribute name")
        self.expect("punct", ":")
        a = AttrDecl(n.text, self.type_ref(), n.pos)
        while not self.at("newline") and not self.at("punct", "}") and not self.at("eof"):
            t = self.peek()
            if self.at("ident", "key"):
                self.next()
                a.category = "key"
            elif self.at("ident", "const"):
                self.next()
                a.category = "const"
            elif self.at("ident", "computed"):
                self.next()
                a.category = "computed"
                if self.at("punct", "("):
                    # A query: computed from its arguments, e.g. computed(Lumen::IntfId).
                    self.next()
                    a.args = []
                    while not self.at("punct", ")"):
                        a.args.append(self.plain_type())
                        if self.at("punct", ","):
                            self.next()
                        elif not self.at("punct", ")"):
                            self.expect("punct", ")")
                    self.next()
            elif self.at("ident", "writable"):
                self.next()
                a.writable = True
            elif self.at("ident", "counter"):
                self.next()
                a.counter = True
            elif self.at("ident", "onattach") or self.at("ident", "ondel"):
                which = self.next().text
                setattr(a, which, self.expect("ident", what="handler name").text)
            elif self.at("punct", "="):
                self.next()
                a.default = self.literal()
            elif self.at("ident", "range"):
                self.next()
                lo = None
                if self.at("ident", "min"):
                    self.next()
                    lo = self.literal()
                self.expect("ident", "max")
                hi = self.literal()
                msg = self.expect("string", what="range message")
                a.range = Range(lo, hi, msg.value, t.pos)
            else:
                self.fail(t, f"unexpected '{t.text}' in attribute {a.name}")
        self.end_of_line()
        return a


def parse_text(text, path):
    return Parser(text, path).parse()


def parse_file(path):
    with open(path, encoding="utf-8") as f:
        return parse_text(f.read(), path)
