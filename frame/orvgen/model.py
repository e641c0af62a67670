"""Resolver: syntax tree -> frozen model. All validation happens here;
emitters read only the model.

The model says what each type and attribute is, never how C++ spells it
(names.py does). Every object is immutable and built once its parts are
known, in passes:

  1. declare: a TypeName per declared type, so members may name later types;
  2. plain members: enumerators, scalar and pointer attributes, constructor
     parameters, which need only the declared names;
  3. collections and reactors, which need the element type's attributes;
  4. assembly: constructor parameters held by reactors, reactor hands, the
     frozen types in declaration order, value and registration order.
"""

import re
from dataclasses import dataclass, field
from typing import Optional

from . import names
from .errors import Diagnostics, Pos
from .typesys import Builtin, builtin

# -- model objects ---------------------------------------------------------


@dataclass(frozen=True)
class TypeName:
    """A declared type as other types refer to it."""

    name: str
    ns: tuple
    kind: str  # enum, value, entity, object, sm, extern
    named: bool = False
    small: bool = False  # an extern type held and passed by value

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))


@dataclass(frozen=True)
class Enumerator:
    name: str
    value: int
    text: str


@dataclass(frozen=True)
class EnumType:
    name: str
    ns: tuple
    items: tuple  # Enumerator
    pos: Pos
    outer: Optional[TypeName] = None  # the entity whose class the enumeration is nested in
    header: Optional[str] = None  # the unit's further header declaring it; None for the unit header

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))


@dataclass(frozen=True)
class ExternType:
    """A value type written by hand outside the generator (the platform's
    network values): it reads and writes its textual form and its
    attribute-log form, compares, orders and hashes. Its header is one of
    its unit's includes."""

    name: str
    ns: tuple
    pos: Pos
    small: bool = False  # held and passed by value

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))


@dataclass(frozen=True)
class Default:
    """A default or constant value as the model states it."""

    kind: str  # bool, int, double, string, enumerator, text
    value: object


@dataclass(frozen=True)
class Bound:
    """A range bound: an integer or a constant of the owning type."""

    value: Optional[int] = None
    constant: Optional[str] = None


@dataclass(frozen=True)
class Range:
    min: Optional[Bound]
    max: Bound
    message: str


@dataclass(frozen=True)
class Reactor:
    """A reactor class nested in a state machine, watching one entity type."""

    name: str
    target: TypeName  # the entity watched
    const: bool
    pos: Pos
    key: object = None  # key type of reactors kept in a collection
    by: Optional[str] = None
    onattach: Optional[str] = None
    ondel: Optional[str] = None
    hands: tuple = ()


@dataclass(frozen=True)
class Coll:
    order: str  # ordered | hashed
    shape: str  # map | set | by | ptrby | new | reactor
    key: object
    value: object = None  # member value type of a map or by-collection
    elem: Optional[TypeName] = None  # value type (by) or entity (ptrby, new, reactor)
    by: Optional[str] = None
    const: bool = False
    extra: tuple = ()  # further constructor parameters (Attr) of `new` members
    reactor: Optional[Reactor] = None


# Emitter kinds of attributes; names.py and the emitter table key on these.
SCALAR_KINDS = ("key", "stored", "ranged", "counter", "pointer", "constant", "computed", "query", "reactor")


@dataclass(frozen=True)
class Attr:
    name: str
    id: int
    kind: str  # one of SCALAR_KINDS, or a collection shape (map set by ptrby new reactors)
    category: str  # as the descriptor lists it: key stored constant computed collection pointer
    pos: Pos
    line: str  # the model line, echoed above the generated code
    type: object = None  # Builtin, TypeName; None for pointers, reactors, collections
    writable: bool = False
    default: Optional[Default] = None
    range: Optional[Range] = None
    target: Optional[TypeName] = None  # entity a pointer points to
    const: bool = False  # pointer to const
    args: Optional[tuple] = None  # argument types of a query
    coll: Optional[Coll] = None
    reactor: Optional[Reactor] = None


@dataclass(frozen=True)
class ValueType:
    name: str
    ns: tuple
    pos: Pos
    attrs: tuple = ()
    params: tuple = ()  # Attr, constructor order
    order_by: tuple = ()
    hands: tuple = ()
    text_attr: Optional[str] = None  # the attribute whose textual form is the value's
    header: Optional[str] = None  # the unit's further header declaring it; None for the unit header

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))

    @property
    def has_collection(self):
        return any(a.coll is not None for a in self.attrs)

    @property
    def has_pointer(self):
        """Holds an entity pointer: printed, but read back from neither text
        nor an attribute log."""
        return any(a.kind == "pointer" for a in self.attrs)


@dataclass(frozen=True)
class Entity:
    name: str
    ns: tuple
    pos: Pos
    kind: str = "entity"  # entity, object (counted: no notifiees, no parent), sm (state machine)
    named: bool = False
    attrs: tuple = ()
    params: tuple = ()  # Attr; empty for a named entity
    reactors: tuple = ()
    hands: tuple = ()
    init_fn: Optional[str] = None  # hand-written function run at the end of the constructor
    abstract: bool = False  # a base of derived entities: may have no key, may declare virtual operations
    virtuals: tuple = ()  # Virtual operations of an abstract entity
    base: Optional["Entity"] = None  # the entity this one derives from
    base_args: tuple = ()  # Default: fixed values of the base's constructor parameters after its name
    quiet: bool = False  # notification never switched on: its changes notify nobody
    header: Optional[str] = None  # the unit's further header declaring it; None for the unit header

    @property
    def qname(self):
        return "::".join(self.ns + (self.name,))

    @property
    def keyless(self):
        """Neither a key nor a name: identified by its pointer alone."""
        return self.kind == "entity" and not self.named and not self.params

    @property
    def end_id(self):
        """The identifier after the last of its attributes, its base's included:
        a derived entity numbers its own attributes from there."""
        return max([a.id + 1 for a in self.attrs] + [self.base.end_id if self.base else 258])

    @property
    def counted(self):
        return self.kind == "object"

    @property
    def sm(self):
        return self.kind == "sm"

    @property
    def key(self):
        return self.params[0] if self.params else None


@dataclass(frozen=True)
class Virtual:
    """A virtual operation an abstract entity declares, as its C++
    declaration states it. The base's own body fails an assertion: only
    derived entities answer it."""

    ret: str
    name: str
    args: str
    const: bool


VIRTUAL_DECL = re.compile(r"^\s*(?P<ret>[\w:<>&*, ]+?)\s+(?P<name>\w+)\s*\((?P<args>[^()]*)\)\s*(?P<const>const)?\s*$")


@dataclass(frozen=True)
class Unit:
    name: str
    path: str
    folder: str
    imports: tuple  # Unit
    includes: tuple
    enums: tuple
    values: tuple
    entities: tuple
    register: tuple  # model types in registration order
    externs: tuple = ()  # ExternType

    @property
    def types(self):
        """The types the generator writes."""
        return self.enums + self.values + self.entities

    @property
    def further_headers(self):
        """Names of the unit's headers besides <Unit>.h, in order."""
        return tuple(sorted({t.header for t in self.types if t.header is not None}))

    @property
    def generates(self):
        """False for a unit of extern types only, which has no generated
        files: an importer includes its includes instead."""
        return bool(self.types)

    def find_local(self, qname):
        for t in self.types + self.externs:
            if t.qname == qname:
                return t
        return None


def type_name(t):
    """The TypeName of a frozen model type."""
    if isinstance(t, EnumType):
        return TypeName(t.name, t.ns, "enum")
    if isinstance(t, ValueType):
        return TypeName(t.name, t.ns, "value")
    if isinstance(t, ExternType):
        return TypeName(t.name, t.ns, "extern", small=t.small)
    return TypeName(t.name, t.ns, t.kind, t.named)


# -- resolution ----------------------------------------------------------------


@dataclass
class _Draft:
    """A type of this unit while it is resolved; only the resolver sees it."""

    decl: object  # syntax.TypeDecl
    ref: TypeName
    enum: Optional[EnumType] = None
    slots: list = field(default_factory=list)  # Attr, None (failed) or a deferred syntax.AttrDecl
    ids: list = field(default_factory=list)  # identifier of each slot
    by_name: dict = field(default_factory=dict)  # name -> Attr of plain members (None when deferred)
    params: list = field(default_factory=list)  # Attr or the name of a deferred (reactor) parameter
    reactors: list = field(default_factory=list)
    reactor_hands: list = field(default_factory=list)  # (reactor, text, pos)
    order_by: tuple = ()
    hands: list = field(default_factory=list)
    text_attr: Optional[str] = None
    init_fn: Optional[str] = None
    abstract: bool = False
    virtuals: list = field(default_factory=list)
    base: object = None  # the base entity: a _Draft of this unit or a frozen Entity
    base_args: tuple = ()
    first_id: int = 258
    frozen: object = None  # the assembled type
    quiet: bool = False
    planned: bool = False  # plain members resolved


DEFERRED_SHAPES = ("by", "ptrby", "new", "reactor")


class Resolver:
    def __init__(self, syntax, lines, imports, folder, platform=None):
        self.syn = syntax
        self.lines = lines
        self.imports = list(imports)
        # Loads the platform unit, whose types a model may name without
        # importing it; called on the first name found nowhere else.
        self.platform = platform
        self.folder = folder
        self.d = Diagnostics()
        self.drafts = {}  # qname -> _Draft

    def line_of(self, pos):
        if 1 <= pos.line <= len(self.lines):
            return self.lines[pos.line - 1].strip()
        return ""

    # -- type lookup ----------------------------------------------------------
    def lookup(self, name, ns, pos):
        """A type by the name written in the model, searched from namespace ns
        outwards: a Builtin, a _Draft of this unit or a frozen imported type."""
        b = builtin(name)
        if b is not None:
            return b
        for depth in range(len(ns), -1, -1):
            q = "::".join(ns[:depth] + (name,))
            if q in self.drafts:
                return self.drafts[q]
            for u in self.imports:
                t = u.find_local(q)
                if t is not None:
                    return t
        if self.platform is not None:
            u, self.platform = self.platform(), None
            if u is not None and all(u is not x for x in self.imports):
                self.imports.append(u)
                return self.lookup(name, ns, pos)
        self.d.error(pos, f"unknown type '{name}'")
        return None

    @staticmethod
    def ref_of(t):
        """What an attribute holds for a looked-up type."""
        if isinstance(t, Builtin):
            return t
        if isinstance(t, _Draft):
            return t.ref
        return type_name(t)

    @staticmethod
    def kind_of(t):
        if isinstance(t, Builtin):
            return "builtin"
        return Resolver.ref_of(t).kind

    def is_entity(self, t):
        return self.kind_of(t) in ("entity", "object", "sm")

    @staticmethod
    def enumerators(t):
        if isinstance(t, _Draft):
            return [i.name for i in t.enum.items] if t.enum else []
        return [i.name for i in t.items]

    @staticmethod
    def attr_named(t, name):
        """(found, Attr or None) of a plain attribute of a draft or imported type."""
        if isinstance(t, _Draft):
            return (name in t.by_name), t.by_name.get(name)
        for a in t.attrs:
            if a.name == name:
                return True, a
        return False, None

    @staticmethod
    def params_of(t):
        if isinstance(t, _Draft):
            return [p for p in t.params if isinstance(p, Attr)]
        return list(t.params)

    # -- defaults ---------------------------------------------------------
    def default_of(self, t, lit):
        if lit is None:
            return None
        kind = self.kind_of(t)
        name = self.ref_of(t).qname
        if isinstance(t, Builtin) and t.kind == "bool":
            if lit.kind != "bool":
                self.d.error(lit.pos, "a bool default is true or false")
                return None
            return Default("bool", lit.value)
        if isinstance(t, Builtin) and t.kind == "int":
            if lit.kind != "number" or not isinstance(lit.value, int):
                self.d.error(lit.pos, f"default of type {name} must be an integer")
                return None
            lo = -(1 << (t.bits - 1)) if t.signed else 0
            hi = (1 << (t.bits - (1 if t.signed else 0))) - 1
            if not lo <= lit.value <= hi:
                self.d.error(lit.pos, f"default {lit.value} does not fit {name}")
                return None
            return Default("int", lit.value)
        if isinstance(t, Builtin) and t.kind == "double":
            if lit.kind != "number":
                self.d.error(lit.pos, "a double default is a number")
                return None
            return Default("double", float(lit.value))
        if isinstance(t, Builtin) and t.kind == "string":
            if lit.kind != "string":
                self.d.error(lit.pos, f"default of type {name} must be a string")
                return None
            return Default("string", lit.value)
        if kind == "enum":
            if lit.kind != "ident" or lit.value not in self.enumerators(t):
                self.d.error(lit.pos, f"default must be an enumerator of {name}")
                return None
            return Default("enumerator", lit.value)
        if kind in ("value", "extern"):
            if lit.kind != "string":
                self.d.error(lit.pos, f"default of type {name} is given as its text")
                return None
            return Default("text", lit.value)
        self.d.error(lit.pos, f"type {name} takes no default")
        return None

    def bound(self, lit):
        if lit is None:
            return None
        if lit.kind == "number" and isinstance(lit.value, int):
            return Bound(value=lit.value)
        if lit.kind == "ident":
            return Bound(constant=lit.value)
        self.d.error(lit.pos, "a range bound is an integer or a constant's name")
        return Bound(value=0)

    # -- passes -----------------------------------------------------------
    def resolve(self):
        syn = self.syn
        if syn.unit is None:
            self.d.error(Pos(syn.path, 1, 1), "missing 'unit' declaration")
        drafts = self.declare(syn.types)
        for dr in drafts:
            if dr.ref.kind == "enum":
                dr.enum = self.resolve_enum(dr.decl, self.enum_outer(dr))
        structs = [dr for dr in drafts if dr.ref.kind not in ("enum", "extern")]
        for dr in structs:
            self.plain_members(dr)
        for dr in structs:
            self.deferred_members(dr)
        types = [self.assemble(dr) for dr in drafts]
        self.check_headers(drafts)
        externs = [t for t in types if isinstance(t, ExternType)]
        types = [t for t in types if not isinstance(t, ExternType)]
        enums = [t for t in types if isinstance(t, EnumType)]
        values = self.order_values([t for t in types if isinstance(t, ValueType)])
        entities = [t for t in types if isinstance(t, Entity)]
        register = self.register_list(types)
        self.d.check()
        # Units without generated files first: their includes come before
        # the generated headers of the others.
        imports = sorted(self.imports, key=lambda u: u.generates)
        return Unit(syn.unit, syn.path, self.folder, tuple(imports), tuple(h for h, _ in syn.includes),
                    tuple(enums), tuple(values), tuple(entities), tuple(register), tuple(externs))

    def declare(self, decls):
        drafts = []
        for td in decls:
            q = "::".join(td.namespace + (td.name,))
            if q in self.drafts:
                self.d.error(td.pos, f"type '{q}' declared twice")
                continue
            self.check_type_name(td)
            dr = _Draft(td, TypeName(td.name, td.namespace, td.kind, td.named, td.small))
            self.drafts[q] = dr
            drafts.append(dr)
        return drafts

    def check_type_name(self, td):
        for i, part in enumerate(td.namespace):
            # The framework's own namespace may hold model types (Orv::Dir);
            # nested below another it would hide the framework's names.
            if names.reserved_type_name(part) and (i, part) != (0, "Orv"):
                self.d.error(td.pos, f"namespace name '{part}' is reserved")
        if names.reserved_type_name(td.name):
            self.d.error(td.pos, f"type name '{td.name}' is reserved")

    def register_list(self, types):
        if not self.syn.register:
            return types
        register, seen = [], set()
        by_q = {t.qname: t for t in types}
        for n, pos in self.syn.register:
            t = by_q.get(n)
            if t is None:
                self.d.error(pos, f"register names unknown type '{n}' (use its qualified name)")
                continue
            if n in seen:
                self.d.error(pos, f"type '{n}' registered twice")
            seen.add(n)
            register.append(t)
        for t in types:
            if t.qname not in seen:
                self.d.error(t.pos, f"type '{t.qname}' missing from the register list")
        return register

    def order_values(self, values):
        """Value types ordered so that a type follows the value types it holds."""
        local = {v.qname: v for v in values}
        done, out = set(), []

        def visit(v, stack):
            if v.qname in done:
                return
            if v.qname in stack:
                self.d.error(v.pos, f"value type {v.qname} contains itself")
                return
            for a in v.attrs:
                if isinstance(a.type, TypeName) and a.type.qname in local:
                    visit(local[a.type.qname], stack | {v.qname})
            done.add(v.qname)
            out.append(v)

        for v in values:
            visit(v, set())
        return out

    def enum_outer(self, dr):
        """An enumeration declared in a namespace that names an entity of the
        unit is nested in that entity's class."""
        outer = self.drafts.get("::".join(dr.ref.ns))
        if outer is None:
            return None
        if outer.ref.kind not in ("entity", "sm", "object"):
            self.d.error(dr.decl.pos, f"enum {dr.ref.name} is nested in {outer.ref.qname}, which is not an entity")
            return None
        if outer.decl.header != dr.decl.header:
            self.d.error(dr.decl.pos, f"enum {dr.ref.name} is declared in another header than {outer.ref.qname}")
        return outer.ref

    def check_headers(self, drafts):
        """A further header includes the unit header, so a type of the unit
        header may not use a type of a further header."""
        unit = self.syn.unit
        further = {dr.ref.qname: dr.decl.header for dr in drafts if dr.decl.header is not None}
        for dr in drafts:
            h = dr.decl.header
            if h is not None and h in (unit, f"{unit}.fwd"):
                self.d.error(dr.decl.pos, f"header '{h}' is the unit's own header")
            t = dr.frozen
            if h is not None or not isinstance(t, (ValueType, Entity)):
                continue
            for a in t.attrs:
                used = [a.type, a.target]
                if a.coll is not None:
                    used += [a.coll.elem, a.coll.key, a.coll.value]
                for u in used:
                    if isinstance(u, TypeName) and u.qname in further:
                        self.d.error(a.pos, f"{t.qname} in the unit header uses {u.qname} of header {further[u.qname]}")

    def resolve_enum(self, td, outer=None):
        items, seen_n, seen_v = [], set(), set()
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
            items.append(Enumerator(it.name, v, it.text if it.text is not None else it.name))
            nxt = v + 1
        if not items:
            self.d.error(td.pos, f"enum {td.name} has no enumerators")
        return EnumType(td.name, td.namespace, tuple(items), td.pos, outer, td.header)

    # pass 2: directives, plain attributes and constructor parameters
    def plain_members(self, dr):
        if dr.planned:
            return  # a base resolved before the entity deriving from it
        dr.planned = True
        td = dr.decl
        is_value = td.kind == "value"
        self.directives(dr, is_value)
        if td.base is not None:
            self.resolve_base(dr)
        next_id = 2 if is_value else dr.first_id
        for ad in td.attrs:
            if ad.name in dr.by_name:
                self.d.error(ad.pos, f"attribute '{ad.name}' declared twice in {dr.ref.qname}")
                continue
            if names.reserved_attr_name(ad.name, is_value):
                self.d.error(ad.pos, f"attribute name '{ad.name}' is reserved")
            reactor = ad.type.form == "reactor" or (ad.type.form == "coll" and ad.type.shape == "reactor")
            if reactor and td.kind != "sm":
                self.d.error(ad.pos, "reactors belong to state machines ('sm')")
                continue
            if reactor or (ad.type.form == "coll" and ad.type.shape in DEFERRED_SHAPES):
                dr.slots.append(ad)
                dr.ids.append(next_id)
                dr.by_name[ad.name] = None
                next_id += 1
                continue
            a = self.resolve_attr(ad, dr, next_id)
            if a is None:
                continue
            dr.slots.append(a)
            dr.ids.append(next_id)
            dr.by_name[ad.name] = a
            next_id += 1
        self.params(dr, is_value)
        self.struct_checks(dr, is_value)

    def directives(self, dr, is_value):
        td = dr.decl
        for d in td.directives:
            if d.name == "order" and is_value:
                dr.order_by = tuple(a.text for a in d.args)
            elif d.name == "text" and is_value:
                if len(d.args) != 1 or d.args[0].kind != "ident":
                    self.d.error(d.pos, "text takes one attribute name")
                else:
                    dr.text_attr = d.args[0].text
            elif d.name == "hand":
                if len(d.args) == 2 and d.args[0].kind == "ident" and d.args[1].kind == "string":
                    dr.reactor_hands.append((d.args[0].text, d.args[1].value, d.pos))
                elif len(d.args) != 1 or d.args[0].kind != "string":
                    self.d.error(d.pos, "hand takes one string: a C++ member declaration")
                else:
                    dr.hands.append(d.args[0].value)
            elif d.name == "init" and not is_value:
                dr.init_fn = d.args[0].text if d.args else "initialize"
            elif d.name == "abstract" and td.kind == "entity" and not td.named:
                if d.args:
                    self.d.error(d.pos, "abstract takes no arguments")
                dr.abstract = True
            elif d.name == "quiet" and td.kind == "entity" and not d.args:
                dr.quiet = True
            elif d.name == "virtual" and td.kind == "entity":
                self.virtual_op(d, dr)
            else:
                self.d.error(d.pos, f"directive '{d.name}' does not apply to {td.kind} {td.name}")

    def resolve_base(self, dr):
        """The entity dr derives from, with fixed values for the base's
        constructor parameters after its name. A base is named or keyless
        (abstract, or declared with '()'); a derived entity is named when its base is, and numbers
        its attributes after the base's."""
        td = dr.decl
        bname, args, pos = td.base
        if td.kind != "entity":
            self.d.error(pos, f"only entities derive from a base, not {td.kind} {td.name}")
            return
        base = self.lookup(bname, dr.ref.ns, pos)
        if base is None:
            return
        if isinstance(base, _Draft):
            if base is dr:
                self.d.error(pos, f"{dr.ref.qname} cannot derive from itself")
                return
            self.plain_members(base)
            ok = base.decl.kind == "entity" and base.decl.base is None
            named, keyless, bparams = base.ref.named, not base.ref.named and not base.decl.params, base.decl.params
            first = 258 + len(base.slots)
        else:
            ok = isinstance(base, Entity) and base.kind == "entity" and base.base is None
            named = ok and base.named
            keyless = ok and base.keyless
            bparams = base.params if ok else ()
            first = base.end_id if ok else 258
        if not ok or not (named or keyless):
            self.d.error(pos, f"base '{bname}' is not a named or keyless entity")
            return
        if named != td.named:
            self.d.error(pos, f"{dr.ref.qname} must be named exactly when its base '{bname}' is")
            return
        if len(args) != len(bparams):
            self.d.error(pos, f"base '{bname}' takes {len(bparams)} values after its name, not {len(args)}")
            return
        dr.base = base
        dr.first_id = first
        dr.base_args = tuple(args)

    def base_defaults(self, dr):
        """The base's fixed constructor values, checked against the types of
        the base's parameters (known once the base's members are)."""
        if not dr.base_args:
            return ()
        out = []
        for p, lit in zip(self.params_of(dr.base), dr.base_args):
            t = self.lookup(p.type.qname, (), lit.pos) if isinstance(p.type, TypeName) else p.type
            out.append(self.default_of(t, lit))
        return tuple(out)

    def virtual_op(self, d, dr):
        if len(d.args) != 1 or d.args[0].kind != "string":
            self.d.error(d.pos, "virtual takes one string: the operation's C++ declaration")
            return
        m = VIRTUAL_DECL.match(d.args[0].value)
        if m is None:
            self.d.error(d.pos, f"cannot read the declaration '{d.args[0].value}'")
            return
        dr.virtuals.append(Virtual(m["ret"].strip(), m["name"], m["args"].strip(), bool(m["const"])))

    def params(self, dr, is_value):
        td = dr.decl
        for pname, ppos in td.params:
            a = dr.by_name.get(pname)
            if a is None and pname in dr.by_name:
                dr.params.append(pname)  # a reactor, resolved with the collections
                continue
            if a is None:
                self.d.error(ppos, f"constructor parameter '{pname}' is not an attribute of {dr.ref.qname}")
                continue
            if a.coll is not None or a.category in ("constant", "computed"):
                self.d.error(ppos, f"constructor parameter '{pname}' must be a stored attribute")
                continue
            if not is_value and a.category != "key" and (td.named or td.kind != "entity" or a.category != "stored"):
                # A stored attribute may follow a keyed entity's keys: it gives
                # the initial value, and an instantiating collection sets it on
                # an existing member instead of refusing a different value.
                self.d.error(ppos, f"constructor parameter '{pname}' of an entity must be a key attribute")
            dr.params.append(a)

    def struct_checks(self, dr, is_value):
        td, q = dr.decl, dr.ref.qname
        plain = [a for a in dr.slots if isinstance(a, Attr)]
        if not is_value:
            in_params = {id(p) for p in dr.params}
            for a in plain:
                if a.category == "key" and id(a) not in in_params:
                    self.d.error(a.pos, f"key attribute '{a.name}' must be a constructor parameter")
        if td.kind == "entity" and not td.named and not dr.params and not dr.abstract and not td.explicit_params:
            self.d.error(td.pos, f"entity {td.name} needs a key constructor parameter, 'named' or '()'")
        if not is_value:
            cats = [p.category for p in dr.params if isinstance(p, Attr)]
            if cats and cats[0] != "key" and not td.named:
                self.d.error(td.pos, f"the first constructor parameter of {td.name} must be its key")
            elif any(a == "stored" and b == "key" for a, b in zip(cats, cats[1:])):
                self.d.error(td.pos, f"stored constructor parameters of {td.name} follow its keys")
        if dr.virtuals and not dr.abstract:
            self.d.error(td.pos, f"entity {td.name} declares virtual operations but is not abstract")
        if dr.base is not None:
            for a in plain:
                if a.category not in ("key", "computed", "constant") or a.writable:
                    self.d.error(a.pos, "a derived entity notifies through its base: it holds keys, constants "
                                 "and computed attributes only")
        if td.kind == "object":
            for a in plain:
                if a.category == "pointer":
                    self.d.error(a.pos, "a counted object holds plain attributes only")
        if is_value:
            for n in dr.order_by:
                if n not in dr.by_name:
                    self.d.error(td.pos, f"order names unknown attribute '{n}'")
            if dr.text_attr is not None:
                # The value is written and read as that attribute alone, so
                # it must be the only one stored.
                stored = [a.name for a in plain if a.category in ("key", "stored", "collection")]
                if stored != [dr.text_attr]:
                    self.d.error(td.pos, f"text names '{dr.text_attr}', which must be the only stored attribute")
        # range bounds may name constants of the type
        for a in plain:
            if a.range is None:
                continue
            values = []
            for b in (a.range.min, a.range.max):
                if b is not None and b.constant is not None:
                    c = dr.by_name.get(b.constant)
                    if c is None or c.category != "constant":
                        self.d.error(a.pos, f"range bound '{b.constant}' is not a constant of {q}")
                        c = None
                    values.append(c.default.value if c is not None and c.default is not None else None)
                else:
                    values.append(b.value if b is not None else 0)
            lo, hi = values
            d = a.default.value if a.default is not None else 0
            if lo is not None and hi is not None and not lo <= d <= hi:
                self.d.error(a.pos, f"default {d} of '{a.name}' is outside its range {lo} to {hi}")

    def resolve_attr(self, ad, dr, aid):
        line = self.line_of(ad.pos)
        ns = dr.ref.ns
        ref = ad.type
        if ref.form == "coll":
            return self.resolve_coll(ad, dr, aid, line)
        if ref.form == "ptr":
            target = self.lookup(ref.name, ns, ref.pos)
            if target is None:
                return None
            if not self.is_entity(target):
                self.d.error(ref.pos, f"'{ref.name}' is not an entity type; ptr needs one")
                return None
            tref = self.ref_of(target)
            if ad.args is not None:
                # A query answering a pointer, e.g. a lookup by key.
                return Attr(ad.name, aid, "query", "computed", ad.pos, line, target=tref, const=ref.const,
                            args=self.query_args(ad, ns))
            if ad.category not in ("key", "stored"):
                self.d.error(ad.pos, f"a pointer attribute is stored or key, not {ad.category}")
            if ad.category == "key":
                return Attr(ad.name, aid, "key", "key", ad.pos, line, target=tref, const=ref.const)
            return Attr(ad.name, aid, "pointer", "pointer", ad.pos, line, writable=True, target=tref,
                        const=ref.const)
        t = self.lookup(ref.name, ns, ref.pos)
        if t is None:
            return None
        if self.is_entity(t):
            self.d.error(ref.pos, f"entity type '{ref.name}' can only be held through 'ptr'")
            return None
        tref = self.ref_of(t)
        cat = {"key": "key", "stored": "stored", "const": "constant", "computed": "computed"}[ad.category]
        args = self.query_args(ad, ns) if ad.args is not None else None
        if ad.writable and cat != "computed":
            self.d.error(ad.pos, "only computed attributes are marked writable")
        if cat == "constant" and ad.default is None:
            self.d.error(ad.pos, f"constant '{ad.name}' needs a value")
        if cat == "computed" and ad.default is not None:
            self.d.error(ad.pos, "a computed attribute has no default")
        default = self.default_of(t, ad.default)
        integer = isinstance(t, Builtin) and t.kind == "int"
        kind = cat
        if ad.counter:
            if not (integer and not t.signed) or cat != "stored":
                self.d.error(ad.pos, "counter applies to stored unsigned integer attributes")
            kind = "counter"
        rng = None
        if ad.range is not None:
            if not integer:
                self.d.error(ad.range.pos, "range checks apply to integer attributes")
            elif cat != "stored":
                self.d.error(ad.range.pos, "range checks apply to stored attributes")
            else:
                rng = Range(self.bound(ad.range.min), self.bound(ad.range.max), ad.range.message)
                if kind != "counter":
                    kind = "ranged"
        if args is not None:
            kind = "query"
        writable = cat == "stored" or (cat == "computed" and ad.writable)
        return Attr(ad.name, aid, kind, cat, ad.pos, line, type=tref, writable=writable, default=default,
                    range=rng, args=args)

    def query_args(self, ad, ns):
        """Argument types of a computed query; a query has no setter."""
        if ad.writable:
            self.d.error(ad.pos, "a computed attribute with arguments is not writable")
        out = []
        for r in ad.args:
            t = self.lookup(r.name, ns, r.pos)
            if t is None:
                continue
            if self.is_entity(t):
                self.d.error(r.pos, "a query argument is a value, not an entity")
                continue
            out.append(self.ref_of(t))
        return tuple(out)

    # pass 3: collections of model types and reactors
    def deferred_members(self, dr):
        for i, slot in enumerate(dr.slots):
            if isinstance(slot, Attr) or slot is None:
                continue
            ad, aid, line = slot, dr.ids[i], self.line_of(slot.pos)
            if ad.type.form == "reactor":
                dr.slots[i] = self.resolve_reactor(ad, dr, aid, line)
            else:
                dr.slots[i] = self.resolve_coll(ad, dr, aid, line)

    def make_reactor(self, dr, name, ref_target, pos, by=None, onattach=None, ondel=None, key_pos=None):
        target = self.lookup(ref_target.name, dr.ref.ns, ref_target.pos)
        if target is None:
            return None
        if not self.is_entity(target) or self.kind_of(target) == "object":
            self.d.error(ref_target.pos, f"'{ref_target.name}' is not an entity type a reactor can watch")
            return None
        if any(r.name == name for r in dr.reactors):
            self.d.error(pos, f"reactor '{name}' declared twice in {dr.ref.qname}")
            return None
        if names.reserved_type_name(name):
            self.d.error(pos, f"reactor name '{name}' is reserved")
        key = None
        if by is not None:
            key = self.attr_type_of(target, by, key_pos)
            if key is None:
                return None
        hands = tuple(text for r, text, _ in dr.reactor_hands if r == name)
        r = Reactor(name, self.ref_of(target), ref_target.const, pos, key, by, onattach, ondel, hands)
        dr.reactors.append(r)
        return r

    def resolve_reactor(self, ad, dr, aid, line):
        ref = ad.type
        r = self.make_reactor(dr, ref.reactor, ref, ad.pos, onattach=ad.onattach, ondel=ad.ondel)
        if r is None:
            return None
        cat = "key" if ad.category == "key" else "stored"
        return Attr(ad.name, aid, "reactor", cat, ad.pos, line, writable=(cat == "stored"), reactor=r)

    def resolve_coll(self, ad, dr, aid, line):
        ref = ad.type
        ns = dr.ref.ns
        owner_is_value = dr.ref.kind == "value"
        if ad.category != "stored" or ad.default is not None or ad.range is not None:
            self.d.error(ad.pos, "a collection takes no category, default or range")
        if ref.shape in ("ptrby", "new") and owner_is_value:
            self.d.error(ad.pos, "a value type holds collections of values only")
            return None
        if owner_is_value and (ref.shape != "set" or ref.order != "hashed"):
            # A value's text and attribute-log forms write a collection as
            # its keys alone, which only a hashed set can be read back from.
            self.d.error(ad.pos, "a value type holds hashed sets only, not maps or ordered collections")
            return None
        if dr.ref.kind == "object":
            self.d.error(ad.pos, "a counted object holds plain attributes only")
        key = value = elem = None
        extra = ()
        if ref.shape == "reactor":
            r = self.make_reactor(dr, ref.reactor, ref.value, ad.pos, by=ref.by, onattach=ad.onattach,
                                  ondel=ad.ondel, key_pos=ref.pos)
            if r is None:
                return None
            coll = Coll(ref.order, "reactor", r.key, None, r.target, ref.by, ref.value.const, (), r)
            return Attr(ad.name, aid, "reactors", "collection", ad.pos, line, writable=True, coll=coll)
        if ref.shape in ("map", "set"):
            kt = self.lookup(ref.key.name, ns, ref.key.pos)
            key = self.ref_of(kt) if kt is not None else None
            if ref.shape == "map":
                vt = self.lookup(ref.value.name, ns, ref.value.pos)
                value = self.ref_of(vt) if vt is not None else None
        elif ref.shape == "by":
            vt = self.lookup(ref.value.name, ns, ref.value.pos)
            if vt is not None and self.kind_of(vt) != "value":
                self.d.error(ref.value.pos, f"'{ref.value.name}' is not a value type")
                return None
            if vt is not None:
                value = elem = self.ref_of(vt)
                key = self.attr_type_of(vt, ref.by, ref.pos)
        else:
            et = self.lookup(ref.value.name, ns, ref.value.pos)
            if et is not None and not self.is_entity(et):
                self.d.error(ref.value.pos, f"'{ref.value.name}' is not an entity type")
                return None
            if et is not None:
                elem = self.ref_of(et)
                if ref.shape == "ptrby":
                    key = self.attr_type_of(et, ref.by, ref.pos)
                else:
                    key = self.entity_key_type(et, ref.pos)
                    # A named member's further keys follow its name.
                    extra = tuple(self.params_of(et)[0 if elem.named else 1:])
        if key is None or (ref.shape in ("map", "by") and value is None) or (ref.shape in ("ptrby", "new") and elem is None):
            return None
        if isinstance(key, TypeName) and key.kind in ("entity", "object", "sm"):
            self.d.error(ref.pos, "collection keys are values, not entities")
            return None
        const = ref.value.const if ref.value else False
        coll = Coll(ref.order, ref.shape, key, value, elem, ref.by, const, extra)
        return Attr(ad.name, aid, ref.shape, "collection", ad.pos, line, writable=True, coll=coll)

    def attr_type_of(self, t, name, pos):
        if self.is_entity(t) and self.ref_of(t).named and name == "name":
            return builtin("Orv::Name")
        found, a = self.attr_named(t, name)
        if not found:
            self.d.error(pos, f"{self.ref_of(t).qname} has no attribute '{name}'")
            return None
        if a is None or a.type is None:
            self.d.error(pos, f"attribute '{name}' of {self.ref_of(t).qname} cannot be a key")
            return None
        return a.type

    def entity_key_type(self, et, pos):
        if self.ref_of(et).named:
            return builtin("Orv::Name")
        params = self.params_of(et)
        if not params:
            self.d.error(pos, f"{self.ref_of(et).qname} has no key to index a collection by")
            return None
        return params[0].type

    # pass 4: frozen types
    def check_declared(self, dr, attrs):
        """Two attributes must not declare one name (x and xIs, or a and A,
        whose handlers are both onA)."""
        owner = {}
        for a in attrs:
            for n in dict.fromkeys(names.declared(a, dr.ref.kind == "value")):
                if n in owner:
                    self.d.error(a.pos, f"attribute '{a.name}' declares '{n}', as attribute '{owner[n]}' does")
                else:
                    owner[n] = a.name

    def assemble(self, dr):
        if dr.frozen is None:
            dr.frozen = self.assemble_once(dr)
        return dr.frozen

    def assemble_once(self, dr):
        if dr.enum is not None or dr.ref.kind == "enum":
            return dr.enum
        td = dr.decl
        if td.kind == "extern":
            return ExternType(td.name, td.namespace, td.pos, td.small)
        attrs = tuple(a for a in dr.slots if isinstance(a, Attr))
        params = []
        for p in dr.params:
            if isinstance(p, Attr):
                params.append(p)
                continue
            a = next((x for x in attrs if x.name == p), None)
            if a is None:
                continue
            if a.reactor is None or a.category != "key":
                self.d.error(td.pos, f"constructor parameter '{p}' must be a key attribute")
                continue
            params.append(a)
        self.check_declared(dr, attrs)
        for target, _, pos in dr.reactor_hands:
            if not any(r.name == target for r in dr.reactors):
                self.d.error(pos, f"{dr.ref.qname} has no reactor '{target}'")
        if dr.ref.kind == "value":
            return ValueType(td.name, td.namespace, td.pos, attrs, tuple(params), dr.order_by, tuple(dr.hands),
                             dr.text_attr, td.header)
        base = self.assemble(dr.base) if isinstance(dr.base, _Draft) else dr.base
        return Entity(td.name, td.namespace, td.pos, td.kind, td.named, attrs, tuple(params), tuple(dr.reactors),
                      tuple(dr.hands), dr.init_fn, dr.abstract, tuple(dr.virtuals), base, self.base_defaults(dr),
                      dr.quiet, td.header)


def resolve(syntax, lines, imports, folder, platform=None):
    return Resolver(syntax, lines, imports, folder, platform).resolve()
