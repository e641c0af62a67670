"""Resolver: syntax tree -> frozen model. All validation happens here;
emitters read only the model."""

from dataclasses import dataclass, field
from typing import Optional

from . import names
from .errors import Diagnostics, Pos
from .typesys import CppType, builtin, cpp_string


@dataclass
class EnumType:
    name: str
    ns: tuple
    items: list  # (name, value, text)
    pos: Pos
    outer: Optional[object] = None  # the entity the enumeration is nested in
    header: Optional[str] = None  # the unit's further header, None for the unit header

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))


@dataclass
class Reactor:
    """A reactor class nested in a state machine, watching one entity type."""

    name: str
    target: object  # Entity watched
    const: bool
    pos: Pos
    key: Optional[CppType] = None  # key type for reactors kept in a collection
    by: Optional[str] = None
    onattach: Optional[str] = None
    ondel: Optional[str] = None
    hands: list = field(default_factory=list)

    @property
    def base(self):
        return f"{self.target.qname}::{'NotifieeConst' if self.const else 'Notifiee'}"

    @property
    def target_ptr(self):
        return f"Orv::Ptr<{'const ' if self.const else ''}{self.target.qname}>"


@dataclass
class Coll:
    order: str  # ordered | hashed
    shape: str  # map | set | by | ptrby | new
    key: CppType
    value: Optional[CppType]  # member value type (None for a set)
    elem: Optional[object] = None  # model type of values (entity for ptrby/new, value type for by)
    by: Optional[str] = None
    const: bool = False
    extra: list = field(default_factory=list)  # further constructor params of `new` members
    reactor: Optional[Reactor] = None

    @property
    def cpp(self):
        k = self.key.cpp
        if self.shape == "reactor":
            kind = "Orv::RbTreeMap" if self.order == "ordered" else "Orv::HashMap2018"
            return f"{kind}<{k}, Orv::Ptr<{self.reactor.name}>>"
        if self.shape == "set":
            v = "Orv::Unit"
        elif self.shape == "ptrby":
            v = f"Orv::Ptr<{'const ' if self.const else ''}{self.elem.qname}>"
        elif self.shape == "new":
            if self.order == "hashed":
                return f"Orv::HashMap<{k}, {self.elem.qname}, {self.elem.qname}::OrvKeyOf>"
            v = f"Orv::Ptr<{self.elem.qname}>"
        else:
            v = self.value.cpp
        kind = "Orv::RbTreeMap" if self.order == "ordered" else "Orv::HashMap2018"
        return f"{kind}<{k}, {v}>"

    @property
    def member_cpp(self):
        """Type a lookup returns: the value, or a counted pointer for entities."""
        if self.shape == "reactor":
            return f"Orv::Ptr<{self.reactor.name}>"
        if self.shape == "set":
            return "bool"
        if self.shape == "ptrby":
            return f"Orv::Ptr<{'const ' if self.const else ''}{self.elem.qname}>"
        if self.shape == "new":
            return f"Orv::Ptr<{self.elem.qname}>"
        return self.value.cpp

    @property
    def kind_name(self):
        if self.shape == "new" and self.order == "hashed":
            return "hashedIntrusive"
        return self.order


@dataclass
class Attr:
    name: str
    id: int
    category: str  # key, stored, constant, computed, collection, pointer
    type: Optional[CppType]  # value type (None for collections)
    pos: Pos
    line: str  # the model line, echoed above the generated code
    writable: bool = False
    default: Optional[str] = None  # C++ expression
    range_min: Optional[str] = None
    range_max: Optional[str] = None
    range_message: Optional[str] = None
    coll: Optional[Coll] = None
    counter: bool = False
    ptr_const: bool = False
    ctor_index: Optional[int] = None  # position among constructor parameters
    args: Optional[list] = None  # CppType of each argument of a computed query

    @property
    def cpp(self):
        if self.coll is not None:
            return self.coll.cpp
        if self.reactor is not None:
            return f"Orv::Ptr<{self.reactor.name}>"
        if self.ptr_target is not None:
            return f"Orv::Ptr<{'const ' if self.ptr_const else ''}{self.ptr_target.qname}>"
        return self.type.cpp

    ptr_target: Optional[object] = None
    reactor: Optional[Reactor] = None

    @property
    def param(self):
        if self.reactor is not None:
            return f"const {self.reactor.target_ptr}&"
        if self.ptr_target is not None:
            return f"const {self.cpp}&"
        return self.type.param

    @property
    def notifies(self):
        return self.category in ("stored", "pointer", "collection")


@dataclass
class ValueType:
    name: str
    ns: tuple
    pos: Pos
    attrs: list = field(default_factory=list)
    params: list = field(default_factory=list)  # Attr, constructor order
    order_by: list = field(default_factory=list)
    hands: list = field(default_factory=list)
    text_attr: Optional[str] = None  # the attribute whose textual form is the value's
    header: Optional[str] = None  # the unit's further header, None for the unit header

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))

    @property
    def stored(self):
        return [a for a in self.attrs if a.category in ("key", "stored", "collection")]

    @property
    def has_collection(self):
        return any(a.coll is not None for a in self.attrs)


@dataclass
class Entity:
    name: str
    ns: tuple
    pos: Pos
    named: bool = False
    counted: bool = False  # a counted object: no notifiees, no parent
    sm: bool = False  # a state machine: reactors nested in it
    reactors: list = field(default_factory=list)
    init_fn: str = "initialize"
    attrs: list = field(default_factory=list)
    params: list = field(default_factory=list)  # Attr (keyed) ; empty for named
    hands: list = field(default_factory=list)
    init: bool = False
    nested_enums: list = field(default_factory=list)  # EnumType declared inside the class
    header: Optional[str] = None  # the unit's further header, None for the unit header
    keyless: bool = False  # declared with an empty parameter list: no key, no name
    quiet: bool = False  # notification never switched on: changes notify nobody
    base: Optional[object] = None  # the entity this one derives from
    base_args: list = field(default_factory=list)  # C++ values of the base's further parameters

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))

    @property
    def key(self):
        return self.params[0] if self.params else None

    @property
    def collections(self):
        return [a for a in self.attrs if a.coll is not None]


@dataclass
class Unit:
    name: str
    path: str
    folder: str
    imports: list  # Unit
    includes: list
    enums: list
    values: list
    entities: list
    register: list  # model types in registration order

    @property
    def types(self):
        return self.enums + self.values + self.entities

    @property
    def further_headers(self):
        """Names of the unit's headers besides <Unit>.h, in order."""
        return sorted({t.header for t in self.types if t.header is not None})

    def find_local(self, qname):
        for t in self.types:
            if t.qname == qname:
                return t
        return None


class Resolver:
    def __init__(self, syntax, lines, imports, folder):
        self.syn = syntax
        self.lines = lines
        self.imports = imports
        self.folder = folder
        self.d = Diagnostics()
        self.by_qname = {}
        self.ns_of = {}

    def line_of(self, pos):
        if 1 <= pos.line <= len(self.lines):
            return self.lines[pos.line - 1].strip()
        return ""

    # -- type lookup ----------------------------------------------------------
    def lookup(self, name, ns, pos):
        """A type by the name written in the model, searched from namespace ns outwards."""
        b = builtin(name)
        if b is not None:
            return b
        for depth in range(len(ns), -1, -1):
            q = "::".join(ns[:depth] + (name,))
            if q in self.by_qname:
                return self.by_qname[q]
            for u in self.imports:
                t = u.find_local(q)
                if t is not None:
                    return t
        self.d.error(pos, f"unknown type '{name}'")
        return None

    def cpp_type(self, t):
        if isinstance(t, CppType):
            return t
        if isinstance(t, EnumType):
            return CppType(t.qname, t.qname, "enum", True, model=t)
        if isinstance(t, ValueType):
            return CppType(t.qname, t.qname, "value", model=t)
        if isinstance(t, Entity):
            return CppType(t.qname, t.qname, "entity", model=t)
        return None

    # -- defaults ---------------------------------------------------------
    def default_expr(self, ctype, lit, owner):
        if lit is None:
            return None
        k = ctype.kind
        if ctype.name == "bool":
            if lit.kind != "bool":
                self.d.error(lit.pos, "a bool default is true or false")
                return None
            return "true" if lit.value else "false"
        if k == "builtin" and ctype.integer_bits:
            if lit.kind != "number" or not isinstance(lit.value, int):
                self.d.error(lit.pos, f"default of type {ctype.name} must be an integer")
                return None
            lo = -(1 << (ctype.integer_bits - 1)) if ctype.signed else 0
            hi = (1 << (ctype.integer_bits - (1 if ctype.signed else 0))) - 1
            if not lo <= lit.value <= hi:
                self.d.error(lit.pos, f"default {lit.value} does not fit {ctype.name}")
                return None
            return str(lit.value)
        if ctype.name == "double":
            if lit.kind != "number":
                self.d.error(lit.pos, "a double default is a number")
                return None
            if lit.value == float("-inf"):
                return "-std::numeric_limits<double>::infinity()"
            return repr(float(lit.value))
        if k == "string":
            if lit.kind != "string":
                self.d.error(lit.pos, f"default of type {ctype.name} must be a string")
                return None
            return cpp_string(lit.value)
        if k == "enum":
            items = [i[0] for i in ctype.model.items]
            if lit.kind != "ident" or lit.value not in items:
                self.d.error(lit.pos, f"default must be an enumerator of {ctype.name}")
                return None
            return f"{ctype.cpp}::{lit.value}"
        if k in ("platform", "value"):
            if lit.kind != "string":
                self.d.error(lit.pos, f"default of type {ctype.name} is given as its text")
                return None
            return f"{ctype.cpp}({cpp_string(lit.value)})"
        self.d.error(lit.pos, f"type {ctype.name} takes no default")
        return None

    # -- resolution -------------------------------------------------------
    def resolve(self):
        syn = self.syn
        if syn.unit is None:
            self.d.error(Pos(syn.path, 1, 1), "missing 'unit' declaration")
        # declare all types first so members may refer to later types
        decls = []
        for td in syn.types:
            q = "::".join(td.namespace + (td.name,))
            if q in self.by_qname:
                self.d.error(td.pos, f"type '{q}' declared twice")
                continue
            if td.kind == "enum":
                t = EnumType(td.name, td.namespace, [], td.pos)
            elif td.kind == "value":
                t = ValueType(td.name, td.namespace, td.pos)
            else:
                t = Entity(td.name, td.namespace, td.pos, named=td.named, counted=(td.kind == "object"),
                           sm=(td.kind == "sm"))
            t.header = td.header
            self.by_qname[q] = t
            decls.append((td, t))
        for td, t in decls:
            if isinstance(t, EnumType):
                self.resolve_enum(td, t)
                # An enumeration declared in a namespace that names an entity
                # of the unit is nested in that entity's class.
                outer = self.by_qname.get("::".join(t.ns))
                if isinstance(outer, Entity):
                    t.outer = outer
                    outer.nested_enums.append(t)
                elif outer is not None:
                    self.d.error(td.pos, f"enum {t.name} is nested in {outer.qname}, which is not an entity")
        self.deferred = []
        self.deferred_params = []
        self.pending_hands = []
        for td, t in decls:
            if not isinstance(t, EnumType):
                self.resolve_struct(td, t)
        # collections of model types need their element types resolved first
        for t, index, ad, aid in self.deferred:
            if ad.type.form == "reactor":
                a = self.resolve_reactor(ad, t, aid, self.line_of(ad.pos))
            else:
                a = self.resolve_coll(ad, t, aid, self.line_of(ad.pos))
            t.attrs[index] = a
        for t, i, pname in self.deferred_params:
            a = next((x for x in t.attrs if x is not None and x.name == pname), None)
            if a is None:
                continue
            if a.reactor is None or a.category != "key":
                self.d.error(t.pos, f"constructor parameter '{pname}' must be a key attribute")
                continue
            a.ctor_index = i
            t.params[i] = a
        for td, t in decls:
            if not isinstance(t, EnumType):
                t.params = [p for p in t.params if p is not None]
        for t, target, text, pos in self.pending_hands:
            r = next((r for r in t.reactors if r.name == target), None)
            if r is None:
                self.d.error(pos, f"{t.qname} has no reactor '{target}'")
            else:
                r.hands.append(text)
        for td, t in decls:
            if not isinstance(t, EnumType):
                t.attrs = [a for a in t.attrs if a is not None]
        for td, t in decls:
            if td.base is not None:
                self.resolve_base(td, t)
        self.check_headers(syn, decls)
        enums = [t for _, t in decls if isinstance(t, EnumType)]
        values = self.order_values([t for _, t in decls if isinstance(t, ValueType)])
        entities = [t for _, t in decls if isinstance(t, Entity)]
        register = []
        if syn.register:
            seen = set()
            for n, pos in syn.register:
                t = self.by_qname.get(n)
                if t is None:
                    self.d.error(pos, f"register names unknown type '{n}' (use its qualified name)")
                    continue
                if n in seen:
                    self.d.error(pos, f"type '{n}' registered twice")
                seen.add(n)
                register.append(t)
            for _, t in decls:
                if t.qname not in seen:
                    self.d.error(t.pos, f"type '{t.qname}' missing from the register list")
        else:
            register = [t for _, t in decls]
        self.d.check()
        return Unit(
            syn.unit,
            syn.path,
            self.folder,
            self.imports,
            [h for h, _ in syn.includes],
            enums,
            values,
            entities,
            register,
        )

    def order_values(self, values):
        """Value types ordered so that a type follows the value types it holds."""
        done, out = set(), []

        def visit(v, stack):
            if v.qname in done:
                return
            if v.qname in stack:
                self.d.error(v.pos, f"value type {v.qname} contains itself")
                return
            for a in v.attrs:
                if a.type is not None and isinstance(a.type.model, ValueType) and a.type.model in values:
                    visit(a.type.model, stack | {v.qname})
            done.add(v.qname)
            out.append(v)

        for v in values:
            visit(v, set())
        return out

    def resolve_enum(self, td, t):
        seen_n, seen_v = set(), set()
        nxt = 0
        for it in td.items:
            v = it.value if it.value is not None else nxt
            if it.name in seen_n:
                self.d.error(it.pos, f"enumerator '{it.name}' declared twice")
            if v in seen_v:
                self.d.error(it.pos, f"enumerator value {v} used twice")
            if it.name in names.CPP_KEYWORDS:
                self.d.error(it.pos, f"enumerator '{it.name}' is a C++ keyword")
            seen_n.add(it.name)
            seen_v.add(v)
            t.items.append((it.name, v, it.text if it.text is not None else it.name))
            nxt = v + 1
        if not t.items:
            self.d.error(td.pos, f"enum {td.name} has no enumerators")

    def resolve_struct(self, td, t):
        is_value = isinstance(t, ValueType)
        next_id = 2 if is_value else 258
        seen = {}
        reactor_hands = []
        if td.base is not None and (td.kind != "entity" or not td.named):
            self.d.error(td.pos, "only a named entity derives from another")
        for d in td.directives:
            if d.name == "order" and is_value:
                t.order_by = [a.text for a in d.args]
            elif d.name == "text" and is_value:
                if len(d.args) != 1 or d.args[0].kind != "ident":
                    self.d.error(d.pos, "text takes one attribute name")
                else:
                    t.text_attr = d.args[0].text
            elif d.name == "hand":
                if len(d.args) == 2 and d.args[0].kind == "ident" and d.args[1].kind == "string":
                    reactor_hands.append((d.args[0].text, d.args[1].value, d.pos))
                elif len(d.args) != 1 or d.args[0].kind != "string":
                    self.d.error(d.pos, "hand takes one string: a C++ member declaration")
                else:
                    t.hands.append(d.args[0].value)
            elif d.name == "quiet" and td.kind == "entity" and not d.args:
                t.quiet = True
            elif d.name == "init" and not is_value:
                t.init = True
                if d.args:
                    t.init_fn = d.args[0].text
            else:
                self.d.error(d.pos, f"directive '{d.name}' does not apply to {td.kind} {td.name}")
        for ad in td.attrs:
            if ad.name in seen:
                self.d.error(ad.pos, f"attribute '{ad.name}' declared twice in {t.qname}")
                continue
            reserved = names.VALUE_RUNTIME_NAMES if is_value else names.RUNTIME_NAMES
            if ad.name in names.CPP_KEYWORDS or ad.name in reserved:
                self.d.error(ad.pos, f"attribute name '{ad.name}' is reserved")
            if ad.type.form == "reactor" or (ad.type.form == "coll" and ad.type.shape == "reactor"):
                if not getattr(t, "sm", False):
                    self.d.error(ad.pos, "reactors belong to state machines ('sm')")
                    continue
            if ad.type.form == "reactor" or (ad.type.form == "coll" and ad.type.shape in ("by", "ptrby", "new", "reactor")):
                self.deferred.append((t, len(t.attrs), ad, next_id))
                t.attrs.append(None)
                next_id += 1
                seen[ad.name] = None
                continue
            a = self.resolve_attr(ad, t, next_id)
            if a is None:
                continue
            next_id += 1
            seen[ad.name] = a
            t.attrs.append(a)
        for target, text, pos in reactor_hands:
            self.pending_hands.append((t, target, text, pos))
        # constructor parameters
        params = []
        for pname, ppos in td.params:
            a = seen.get(pname)
            if a is None and pname in seen:
                # a reactor, resolved later
                self.deferred_params.append((t, len(params), pname))
                params.append(None)
                continue
            if a is None:
                self.d.error(ppos, f"constructor parameter '{pname}' is not an attribute of {t.qname}")
                continue
            if a.coll is not None or a.category in ("constant", "computed"):
                self.d.error(ppos, f"constructor parameter '{pname}' must be a stored attribute")
                continue
            if not is_value and a.category != "key" and (td.named or td.kind != "entity" or a.category != "stored"):
                # A stored attribute may follow the keys of a keyed entity:
                # it gives the initial value, and an instantiating collection
                # sets it on an existing member instead of refusing.
                self.d.error(ppos, f"constructor parameter '{pname}' of an entity must be a key attribute")
            a.ctor_index = len(params)
            params.append(a)
        for a in t.attrs:
            if a is None:
                continue
            if not is_value and a.category == "key" and a.ctor_index is None:
                self.d.error(a.pos, f"key attribute '{a.name}' must be a constructor parameter")
        t.params = params
        cats = [p.category if p is not None else "key" for p in params]
        if not is_value and cats and cats[0] != "key" and not td.named:
            self.d.error(td.pos, f"the first constructor parameter of {t.name} must be its key")
        if not is_value and any(cats[i] == "stored" and cats[i + 1] == "key" for i in range(len(cats) - 1)):
            self.d.error(td.pos, f"stored constructor parameters of {t.name} follow its keys")
        if td.kind == "entity" and not td.named and not params:
            if td.explicit_params:
                t.keyless = True
            else:
                self.d.error(td.pos, f"entity {t.name} needs a key constructor parameter, 'named' or '()'")
        if td.kind == "object":
            for a in t.attrs:
                if a is not None and (a.coll is not None or a.category == "pointer"):
                    self.d.error(a.pos, "a counted object holds plain attributes only")
        if is_value:
            for n in t.order_by:
                if n not in seen:
                    self.d.error(td.pos, f"order names unknown attribute '{n}'")
            if t.text_attr is not None:
                # The value is written and read as that attribute alone, so
                # it must be the only one stored.
                stored = [a.name for a in t.attrs if a is not None and a.category in ("key", "stored", "collection")]
                if stored != [t.text_attr]:
                    self.d.error(td.pos, f"text names '{t.text_attr}', which must be the only stored attribute")
        # range bounds may name constants of the type
        for a in t.attrs:
            if a is not None and a.range_max is not None:
                for bound in ("range_min", "range_max"):
                    v = getattr(a, bound)
                    if v is not None and v.startswith("@"):
                        c = seen.get(v[1:])
                        if c is None or c.category != "constant":
                            self.d.error(a.pos, f"range bound '{v[1:]}' is not a constant of {t.qname}")
                            setattr(a, bound, "0")
                        else:
                            setattr(a, bound, f"{v[1:]}()")

    def resolve_attr(self, ad, owner, aid):
        line = self.line_of(ad.pos)
        ns = owner.ns
        ref = ad.type
        if ref.form == "coll":
            return self.resolve_coll(ad, owner, aid, line)
        if ref.form == "ptr":
            target = self.lookup(ref.name, ns, ref.pos)
            if target is None:
                return None
            if not isinstance(target, Entity):
                self.d.error(ref.pos, f"'{ref.name}' is not an entity type; ptr needs one")
                return None
            if ad.args is not None:
                # A query answering a pointer, e.g. a lookup by key.
                a = Attr(ad.name, aid, "computed", None, ad.pos, line)
                a.args = self.query_args(ad, ns)
                a.ptr_target = target
                a.ptr_const = ref.const
                return a
            cat = "key" if ad.category == "key" else "pointer"
            if ad.category not in ("key", "stored"):
                self.d.error(ad.pos, f"a pointer attribute is stored or key, not {ad.category}")
            a = Attr(ad.name, aid, cat, None, ad.pos, line, writable=(cat == "pointer"))
            a.ptr_target = target
            a.ptr_const = ref.const
            return a
        t = self.lookup(ref.name, ns, ref.pos)
        if t is None:
            return None
        if isinstance(t, Entity):
            self.d.error(ref.pos, f"entity type '{ref.name}' can only be held through 'ptr'")
            return None
        ctype = self.cpp_type(t)
        cat = {"key": "key", "stored": "stored", "const": "constant", "computed": "computed"}[ad.category]
        a = Attr(ad.name, aid, cat, ctype, ad.pos, line)
        a.writable = cat == "stored" or (cat == "computed" and ad.writable)
        if ad.args is not None:
            a.args = self.query_args(ad, ns)
        if ad.writable and cat != "computed":
            self.d.error(ad.pos, "only computed attributes are marked writable")
        if cat == "constant" and ad.default is None:
            self.d.error(ad.pos, f"constant '{ad.name}' needs a value")
        if cat == "computed" and ad.default is not None:
            self.d.error(ad.pos, "a computed attribute has no default")
        a.default = self.default_expr(ctype, ad.default, owner)
        if ad.counter:
            if not (ctype.kind == "builtin" and ctype.integer_bits and not ctype.signed) or cat != "stored":
                self.d.error(ad.pos, "counter applies to stored unsigned integer attributes")
            a.counter = True
        if ad.range is not None:
            if not (ctype.kind == "builtin" and ctype.integer_bits):
                self.d.error(ad.range.pos, "range checks apply to integer attributes")
            elif cat != "stored":
                self.d.error(ad.range.pos, "range checks apply to stored attributes")
            else:
                a.range_min = self.bound(ad.range.min)
                a.range_max = self.bound(ad.range.max)
                a.range_message = ad.range.message
        return a

    def query_args(self, ad, ns):
        """Argument types of a computed query; a query has no setter."""
        if ad.writable:
            self.d.error(ad.pos, "a computed attribute with arguments is not writable")
        out = []
        for r in ad.args:
            t = self.lookup(r.name, ns, r.pos)
            if t is None:
                continue
            if isinstance(t, Entity):
                self.d.error(r.pos, "a query argument is a value, not an entity")
                continue
            out.append(self.cpp_type(t))
        return out

    def make_reactor(self, owner, name, ref_target, pos, by=None, onattach=None, ondel=None):
        target = self.lookup(ref_target.name, owner.ns, ref_target.pos)
        if target is None:
            return None
        if not isinstance(target, Entity) or target.counted:
            self.d.error(ref_target.pos, f"'{ref_target.name}' is not an entity type a reactor can watch")
            return None
        if any(r.name == name for r in owner.reactors):
            self.d.error(pos, f"reactor '{name}' declared twice in {owner.qname}")
            return None
        r = Reactor(name, target, ref_target.const, pos, by=by, onattach=onattach, ondel=ondel)
        owner.reactors.append(r)
        return r

    def resolve_reactor(self, ad, owner, aid, line):
        ref = ad.type
        r = self.make_reactor(owner, ref.reactor, ref, ad.pos, onattach=ad.onattach, ondel=ad.ondel)
        if r is None:
            return None
        cat = "key" if ad.category == "key" else "stored"
        a = Attr(ad.name, aid, cat, None, ad.pos, line, writable=(cat == "stored"))
        a.reactor = r
        return a

    def bound(self, lit):
        if lit is None:
            return None
        if lit.kind == "number" and isinstance(lit.value, int):
            return str(lit.value)
        if lit.kind == "ident":
            return "@" + lit.value
        self.d.error(lit.pos, "a range bound is an integer or a constant's name")
        return "0"

    def resolve_coll(self, ad, owner, aid, line):
        ref = ad.type
        ns = owner.ns
        if ad.category != "stored" or ad.default is not None or ad.range is not None:
            self.d.error(ad.pos, "a collection takes no category, default or range")
        if ref.shape in ("ptrby", "new") and isinstance(owner, ValueType):
            self.d.error(ad.pos, "a value type holds collections of values only")
            return None
        if isinstance(owner, ValueType) and (ref.shape != "set" or ref.order != "hashed"):
            # A value's text and attribute-log forms write a collection as
            # its keys alone, which only a hashed set can be read back from.
            self.d.error(ad.pos, "a value type holds hashed sets only, not maps or ordered collections")
            return None
        key = value = elem = None
        extra = []
        if ref.shape == "reactor":
            r = self.make_reactor(owner, ref.reactor, ref.value, ad.pos, by=ref.by, onattach=ad.onattach,
                                  ondel=ad.ondel)
            if r is None:
                return None
            r.key = self.attr_type_of(r.target, ref.by, ref.pos)
            if r.key is None:
                return None
            coll = Coll(ref.order, "reactor", r.key, None, r.target, ref.by, ref.value.const, [], r)
            return Attr(ad.name, aid, "collection", None, ad.pos, line, writable=True, coll=coll)
        if ref.shape in ("map", "set"):
            key = self.cpp_type(self.lookup(ref.key.name, ns, ref.key.pos))
            if ref.shape == "map":
                value = self.cpp_type(self.lookup(ref.value.name, ns, ref.value.pos))
        elif ref.shape == "by":
            vt = self.lookup(ref.value.name, ns, ref.value.pos)
            if vt is not None and not isinstance(vt, ValueType):
                self.d.error(ref.value.pos, f"'{ref.value.name}' is not a value type")
                return None
            if vt is not None:
                value = self.cpp_type(vt)
                elem = vt
                key = self.attr_type_of(vt, ref.by, ref.pos)
        else:
            et = self.lookup(ref.value.name, ns, ref.value.pos)
            if et is not None and not isinstance(et, Entity):
                self.d.error(ref.value.pos, f"'{ref.value.name}' is not an entity type")
                return None
            elem = et
            if et is not None:
                if ref.shape == "ptrby":
                    key = self.attr_type_of(et, ref.by, ref.pos)
                else:
                    key = self.entity_key_type(et, ref.pos)
                    extra = self.entity_extra_params(et)
        if key is None or (ref.shape in ("map", "by") and value is None) or (ref.shape in ("ptrby", "new") and elem is None):
            return None
        if key.kind == "entity":
            self.d.error(ref.pos, "collection keys are values, not entities")
            return None
        coll = Coll(ref.order, ref.shape, key, value, elem, ref.by, ref.value.const if ref.value else False, extra)
        a = Attr(ad.name, aid, "collection", None, ad.pos, line, writable=True, coll=coll)
        return a

    def attr_type_of(self, t, name, pos):
        if isinstance(t, Entity) and t.named and name == "name":
            return builtin("Orv::Name")
        for a in t.attrs:
            if a is not None and a.name == name:
                if a.type is None:
                    self.d.error(pos, f"attribute '{name}' of {t.qname} cannot be a key")
                    return None
                return a.type
        self.d.error(pos, f"{t.qname} has no attribute '{name}'")
        return None

    def entity_key_type(self, et, pos):
        if et.named:
            return builtin("Orv::Name")
        if not et.params:
            self.d.error(pos, f"{et.qname} has no key to index a collection by")
            return None
        return et.params[0].type

    def entity_extra_params(self, et):
        return list(et.params) if et.named else list(et.params[1:])

    def check_headers(self, syn, decls):
        """A further header includes the unit header, so types of the unit
        header may not use types of a further header."""
        for td, t in decls:
            if td.header is not None and td.header in (syn.unit, f"{syn.unit}.fwd"):
                self.d.error(td.pos, f"header '{td.header}' is the unit's own header")
            if isinstance(t, EnumType):
                if t.outer is not None and t.outer.header != t.header:
                    self.d.error(td.pos, f"enum {t.name} is declared in another header than {t.outer.qname}")
                continue
            if t.header is not None:
                continue
            for a in t.attrs:
                used = [getattr(a.type, "model", None) if a.type is not None else None, a.ptr_target]
                if a.coll is not None:
                    used += [a.coll.elem, getattr(a.coll.key, "model", None), getattr(a.coll.value, "model", None)]
                for u in used:
                    if u is not None and getattr(u, "header", None) is not None and u.qname in self.by_qname:
                        self.d.error(a.pos, f"{t.qname} in the unit header uses {u.qname} of header {u.header}")

    def resolve_base(self, td, t):
        """A derived named entity: the base's attributes, and fixed values for
        the base's constructor parameters after the name."""
        bname, args, pos = td.base
        base = self.lookup(bname, t.ns, pos)
        if base is None:
            return
        if not isinstance(base, Entity) or not base.named or base.sm or base.counted or base.base is not None:
            self.d.error(pos, f"'{bname}' is not a named entity to derive from")
            return
        if t.attrs or t.params or t.hands or t.init:
            self.d.error(td.pos, f"derived entity {t.name} adds no attributes, parameters or members")
        if len(args) != len(base.params):
            self.d.error(pos, f"{base.qname} takes {len(base.params)} values after the name, not {len(args)}")
            return
        t.base = base
        t.base_args = [self.default_expr(p.type, lit, t) for p, lit in zip(base.params, args)]


def resolve(syntax, lines, imports, folder):
    return Resolver(syntax, lines, imports, folder).resolve()
