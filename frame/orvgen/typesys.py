"""Types the model language knows besides the model's own types."""

from dataclasses import dataclass, field
from typing import Optional


@dataclass
class CppType:
    name: str  # as written in models, e.g. "U16", "Lumen::IpAddr", "Ip::AddrSource"
    cpp: str  # C++ spelling
    kind: str  # builtin, string, platform, enum, value, entity
    by_value: bool = False
    integer_bits: int = 0  # for integers
    signed: bool = False
    model: Optional[object] = field(default=None, compare=False, repr=False)

    @property
    def param(self):
        return self.cpp if self.by_value else f"const {self.cpp}&"


def _int(name, cpp, bits, signed=False):
    return CppType(name, cpp, "builtin", True, bits, signed)


BUILTINS = {
    "bool": CppType("bool", "bool", "builtin", True),
    "U8": _int("U8", "std::uint8_t", 8),
    "U16": _int("U16", "std::uint16_t", 16),
    "U32": _int("U32", "std::uint32_t", 32),
    "U64": _int("U64", "std::uint64_t", 64),
    "S32": _int("S32", "std::int32_t", 32, True),
    "S64": _int("S64", "std::int64_t", 64, True),
    "double": CppType("double", "double", "builtin", True),
    "Orv::String": CppType("Orv::String", "Orv::String", "string"),
    "Orv::Name": CppType("Orv::Name", "Orv::Name", "string"),
}

# Network value types of the platform; each has a constructor from its text.
PLATFORM = {
    n: CppType(n, n, "platform")
    for n in (
        "Lumen::IntfId",
        "Lumen::IpAddr",
        "Lumen::IpAddrWithMask",
        "Lumen::Prefix",
        "Lumen::Ip6Addr",
        "Lumen::Ip6AddrWithMask",
        "Lumen::Ip6Prefix",
        "Lumen::IpGenAddr",
        "Lumen::IpGenAddrWithMask",
        "Lumen::RouteDistinguisher",
        "Lumen::NamespaceName",
        "L3::VrfName",
    )
}
PLATFORM["Lumen::AddressFamily"] = CppType("Lumen::AddressFamily", "Lumen::AddressFamily", "platform", True)


def builtin(name):
    return BUILTINS.get(name) or PLATFORM.get(name)


def cpp_string(s):
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
