"""Syntax tree of a model file, with source positions."""

from dataclasses import dataclass, field
from typing import Optional

from .errors import Pos


@dataclass
class Literal:
    kind: str  # number, string, ident, bool
    value: object
    pos: Pos


@dataclass
class TypeRef:
    """A type expression.

    form: plain | ptr | coll
    For coll: order is 'ordered' or 'hashed'; shape is map (key -> value),
    set (key), by (values keyed by their attribute `by`), ptrby (pointers to
    entities keyed by their attribute `by`) or new (entities the collection
    creates, keyed by their first constructor parameter).
    """

    form: str
    pos: Pos
    name: Optional[str] = None
    const: bool = False
    order: Optional[str] = None
    shape: Optional[str] = None
    key: Optional["TypeRef"] = None
    value: Optional["TypeRef"] = None
    by: Optional[str] = None
    reactor: Optional[str] = None  # reactor class name (form reactor, shape reactor)


@dataclass
class Range:
    min: Optional[Literal]
    max: Literal
    message: str
    pos: Pos


@dataclass
class AttrDecl:
    name: str
    type: TypeRef
    pos: Pos
    category: str = "stored"  # key, stored, const, computed
    writable: bool = False
    default: Optional[Literal] = None
    range: Optional[Range] = None
    counter: bool = False  # integer with xInc(n) / xDec(n)
    onattach: Optional[str] = None  # reactor member called after it attaches
    ondel: Optional[str] = None  # reactor member called before it is deleted
    args: Optional[list] = None  # TypeRef of each argument of a computed query


@dataclass
class EnumItem:
    name: str
    value: Optional[int]
    pos: Pos
    text: Optional[str] = None


@dataclass
class Directive:
    name: str
    args: list
    pos: Pos


@dataclass
class TypeDecl:
    kind: str  # enum, value, entity, object, sm, extern
    name: str
    namespace: tuple
    pos: Pos
    named: bool = False
    params: list = field(default_factory=list)
    explicit_params: bool = False  # written with parentheses, possibly empty
    header: Optional[str] = None  # the unit's further header that declares it
    base: Optional[tuple] = None  # (name, [Literal|ident args], pos)
    attrs: list = field(default_factory=list)
    items: list = field(default_factory=list)  # enum items
    directives: list = field(default_factory=list)
    small: bool = False  # an extern type held and passed by value


@dataclass
class ModelFile:
    path: str
    unit: Optional[str] = None
    unit_pos: Optional[Pos] = None
    imports: list = field(default_factory=list)  # (name, pos)
    includes: list = field(default_factory=list)  # (header, pos)
    register: list = field(default_factory=list)  # (qualified-or-local name, pos)
    types: list = field(default_factory=list)
