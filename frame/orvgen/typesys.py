"""Types the model language knows without a declaration: booleans, sized
integers, doubles and the framework's strings. (The platform's network
values are declared in platform/Platform.model.) The model says what a type
is; names.py decides how C++ spells it."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Builtin:
    name: str  # as written in models, e.g. "U16", "Orv::String", "Lumen::IpAddr"
    kind: str  # bool, int, double, string
    bits: int = 0  # width of an integer
    signed: bool = False
    small: bool = False  # held and passed by value

    @property
    def qname(self):
        return self.name


def _int(name, bits, signed=False):
    return Builtin(name, "int", bits, signed, True)


BUILTINS = {
    b.name: b
    for b in (
        Builtin("bool", "bool", small=True),
        _int("U8", 8),
        _int("U16", 16),
        _int("U32", 32),
        _int("U64", 64),
        _int("S32", 32, True),
        _int("S64", 64, True),
        Builtin("double", "double", small=True),
        Builtin("Orv::String", "string"),
        Builtin("Orv::Name", "string"),
    )
}

def builtin(name):
    return BUILTINS.get(name)
