"""Every C++ spelling the generator emits is decided here: type spellings,
default values, member and function names of generated classes, the runtime
names they use, and the guard that keeps model names clear of C++ keywords
and of the names the framework already gives generated classes."""

from .typesys import Builtin

CPP_KEYWORDS = frozenset(
    """alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t
    char32_t class compl concept const consteval constexpr constinit const_cast continue co_await
    co_return co_yield decltype default delete do double dynamic_cast else enum explicit export
    extern false float for friend goto if inline int long mutable namespace new noexcept not
    not_eq nullptr operator or or_eq private protected public register reinterpret_cast requires
    return short signed sizeof static static_assert static_cast struct switch template this
    thread_local throw true try typedef typeid typename union unsigned using virtual void volatile
    wchar_t while xor xor_eq""".split()
)

# Names the generated classes and the framework already use for themselves.
RUNTIME_NAMES = frozenset(
    """Ptr PtrConst NotifieeConst Notifiee orvType fwkType name fullName parent parentIs
    parentAttrName keyStrep orvAttr orvNotify notifier notifierIs hasNotificationActiveIs
    notificationActive hasNotifiees newRef deleteRef references orvFields OrvKeyOf
    orvHasAttrLogInterface hasBackupSupport""".split()
)

VALUE_RUNTIME_NAMES = frozenset("orvType orvFields".split())

# Type and namespace names that would hide the runtime's own from generated
# code (which spells them unqualified inside the model's namespaces).
RUNTIME_TYPE_NAMES = frozenset("Orv std Ptr PtrConst NotifieeConst Notifiee OrvKeyOf".split())


# The framework's own members begin so.
RUNTIME_PREFIX = "orv"

# Parameters of the generic-access function (orvAttr) and its callbacks: an
# attribute function of one of these names is called through this->.
ACCESS_LOCALS = frozenset("op id arg k a v".split())

# Locals of generated function bodies that also take constructor
# parameters: a parameter of one of these names is renamed.
BODY_LOCALS = frozenset("p e k".split())


def reserved_attr_name(name, in_value):
    reserved = VALUE_RUNTIME_NAMES if in_value else RUNTIME_NAMES
    return name in CPP_KEYWORDS or name in reserved or name.startswith(RUNTIME_PREFIX)


def call(attr):
    """An attribute's function as generic access calls it."""
    return f"this->{attr}" if attr in ACCESS_LOCALS else attr


def get_call(attr):
    """An attribute's getter called by generic access."""
    return f"{call(attr)}()"


def unit_header(folder, unit):
    return f"ipmodel/{folder}/{unit}.h"


def unit_fwd_header(folder, unit):
    return f"ipmodel/{folder}/{unit}.fwd.h"


def param_name(attr):
    """A constructor parameter named after its attribute."""
    return f"{RUNTIME_PREFIX}{cap(attr)}" if attr in BODY_LOCALS else attr


def reserved_type_name(name):
    return name in CPP_KEYWORDS or name in RUNTIME_TYPE_NAMES


# -- spellings of model types --------------------------------------------------

_INT = {(8, False): "std::uint8_t", (16, False): "std::uint16_t", (32, False): "std::uint32_t",
        (64, False): "std::uint64_t", (32, True): "std::int32_t", (64, True): "std::int64_t"}


def cpp(t):
    """A value type's spelling: a Builtin, or a model type by qualified name."""
    if isinstance(t, Builtin) and t.kind == "int":
        return _INT[(t.bits, t.signed)]
    return t.qname


def by_value(t):
    if isinstance(t, Builtin):
        return t.small
    return t.kind == "enum" or t.small


def param(t):
    return cpp(t) if by_value(t) else f"const {cpp(t)}&"


def ptr(target_qname, const=False):
    return f"Orv::Ptr<{'const ' if const else ''}{target_qname}>"


def map_kind(order):
    return "Orv::RbTreeMap" if order == "ordered" else "Orv::HashMap2018"


def coll_cpp(c):
    """The container of a collection attribute."""
    k = cpp(c.key)
    if c.shape == "reactor":
        return f"{map_kind(c.order)}<{k}, Orv::Ptr<{c.reactor.name}>>"
    if c.shape == "new" and c.order == "hashed":
        return f"Orv::HashMap<{k}, {c.elem.qname}, {c.elem.qname}::{KEY_OF}>"
    return f"{map_kind(c.order)}<{k}, {coll_stored(c)}>"


def coll_stored(c):
    """What the container maps a key to."""
    if c.shape == "set":
        return "Orv::Unit"
    if c.shape in ("ptrby", "new"):
        return coll_member(c)
    return cpp(c.value)


def coll_member(c):
    """What a lookup answers: the value, or a counted pointer for entities."""
    if c.shape == "reactor":
        return f"Orv::Ptr<{c.reactor.name}>"
    if c.shape == "set":
        return "bool"
    if c.shape == "ptrby":
        return ptr(c.elem.qname, c.const)
    if c.shape == "new":
        return ptr(c.elem.qname)
    return cpp(c.value)


def coll_kind(c):
    """The collection kind the attribute descriptor names."""
    if c.shape == "new" and c.order == "hashed":
        return "hashedIntrusive"
    return c.order


def attr_cpp(a):
    """The spelling of what an attribute holds."""
    if a.coll is not None:
        return coll_cpp(a.coll)
    if a.reactor is not None:
        return f"Orv::Ptr<{a.reactor.name}>"
    if a.target is not None:
        return ptr(a.target.qname, a.const)
    return cpp(a.type)


def attr_param(a):
    if a.reactor is not None:
        return f"const {reactor_target_ptr(a.reactor)}&"
    if a.target is not None:
        return f"const {attr_cpp(a)}&"
    return param(a.type)


def getter_ret(a):
    return attr_cpp(a) if (a.type is not None and by_value(a.type)) else f"const {attr_cpp(a)}&"


def query_params(a):
    return ", ".join(param(t) for t in a.args)


def reactor_base(r):
    return f"{r.target.qname}::{'NotifieeConst' if r.const else 'Notifiee'}"


def reactor_target_ptr(r):
    return ptr(r.target.qname, r.const)


def reactor_ptr(r, owner_qname=None):
    """A counted pointer to a reactor, qualified by its machine when given."""
    return f"Orv::Ptr<{owner_qname + '::' if owner_qname else ''}{r.name}>"


# -- values ------------------------------------------------------------------


def string_literal(s):
    out = []
    for ch in s:
        if ch in '"\\':
            out.append("\\" + ch)
        elif ch == "\n":
            out.append("\\n")
        elif ord(ch) < 0x20:
            out.append(f"\\x{ord(ch):02x}")
        else:
            out.append(ch)
    return '"' + "".join(out) + '"'


def default_expr(t, d):
    """The C++ expression of a default or constant value of type t."""
    if d is None:
        return None
    if d.kind == "bool":
        return "true" if d.value else "false"
    if d.kind == "int":
        return str(d.value)
    if d.kind == "double":
        if d.value == float("-inf"):
            return "-std::numeric_limits<double>::infinity()"
        return repr(d.value)
    if d.kind == "string":
        return string_literal(d.value)
    if d.kind == "enumerator":
        return f"{cpp(t)}::{d.value}"
    return f"{cpp(t)}({string_literal(d.value)})"  # a value read from its text


def member_init(a):
    """The initializer of a data member: its default, or value-initialized
    when it is held by value."""
    if a.default is not None:
        return f" = {default_expr(a.type, a.default)}"
    return "{}" if a.type is not None and by_value(a.type) else ""


def bound_expr(b):
    """A range bound: a number, or a call of the type's constant."""
    if b is None:
        return None
    if b.constant is not None:
        return f"{b.constant}()"
    return str(b.value)


# -- members and functions of generated classes ------------------------------

KEY_OF = "OrvKeyOf"
# Members of a state machine's reactor classes.
REACTOR_SM = "sm_"
REACTOR_SM_IS = "orvSmIs"
REACTOR_KEY = "key_"
REACTOR_KEY_GETTER = "fwkKey"


def cap(s):
    return s[:1].upper() + s[1:]


def lower_first(s):
    return s[:1].lower() + s[1:]


def member(attr):
    return f"{attr}_"


def setter(attr):
    return f"{attr}Is"


def deleter(attr):
    return f"{attr}Del"


def delete_all(attr):
    return f"{attr}DelAll"


def increment(attr):
    return f"{attr}Inc"


def decrement(attr):
    return f"{attr}Dec"


def notify(attr):
    return f"{attr}Notify"


def handler(attr):
    return f"on{cap(attr)}"


def immediate_handler(attr):
    return f"on{cap(attr)}orvImmediate"


def reactor_getter(attr):
    return f"{attr}Reactor"


def factory(type_name):
    return f"{lower_first(type_name)}Factory"


def type_is(type_name):
    return f"{type_name}Is"


def enum_instance(enum_name):
    return f"{enum_name}Instance"


def enum_desc(enum_name):
    return f"_orvType_{enum_name}"


def enum_table(enum_name):
    return f"orvEnumerators_{enum_name}"


def attr_table(type_name):
    return f"orvAttrs_{type_name}"


def null_message(qtype, attr):
    # The trailing double quote is part of the message text.
    return f'null _{attr} parameter to mutator for {qtype}::{attr} not allowed"'


def declared(a, in_value):
    """The names an attribute's code declares in its class and notifiee
    classes, so the resolver can refuse two attributes declaring one."""
    out = [a.name]
    k = a.kind
    if k in ("stored", "ranged", "counter", "pointer") or (k == "computed" and a.writable):
        out.append(setter(a.name))
        if not in_value and k != "computed":
            out.append(handler(a.name))
    if k == "counter" and not in_value:
        out += [increment(a.name), decrement(a.name)]
    if k == "reactor":
        out += [setter(a.name), deleter(a.name), reactor_getter(a.name)]
    if a.coll is not None:
        out += [setter(a.name), deleter(a.name), delete_all(a.name)]
        if not in_value and k != "reactors":
            out += [notify(a.name), handler(a.name), immediate_handler(a.name)]
    return out


def virtual_decl(v, owner_qname=None):
    """The declaration of an abstract entity's virtual operation, qualified
    by its owner for the base's definition."""
    name = f"{owner_qname}::{v.name}" if owner_qname else v.name
    return f"{v.ret} {name}({v.args}){' const' if v.const else ''}"


def virtual_signature(v, owner_qname):
    """The signature the base body's failed assertion names as its function."""
    return "virtual " + virtual_decl(v, owner_qname)
