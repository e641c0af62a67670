"""C++ spellings: types, containers, defaults, bounds, the renaming of names
the generated code uses itself, and the reserved-name guard."""

import unittest

from support import model
from orvgen import names as N
from orvgen.model import Bound, Default, TypeName
from orvgen.typesys import builtin

UNIT = model(
    """\
    unit T
    namespace T {
    enum C {
      x
    }
    value V(a) {
      a: U32 key
    }
    entity E(id) {
      id: Lumen::IntfId key
      m: ordered U16 -> V
      s: hashed set Lumen::IpAddr
      b: hashed V by a
      r: hashed ptr const E by id
      o: ordered new E
      h: hashed new E
      p: ptr E
      f: Lumen::AddressFamily
    }
    }
    """
)
E = UNIT.entities[0]
ATTR = {a.name: a for a in E.attrs}


class TypeSpellingTest(unittest.TestCase):
    def test_builtins_platform_and_model_types(self):
        self.assertEqual([N.cpp(builtin(n)) for n in ("U8", "U64", "S32", "bool", "Orv::String")],
                         ["std::uint8_t", "std::uint64_t", "std::int32_t", "bool", "Orv::String"])
        # Small types and enumerations pass by value, the rest by reference.
        self.assertEqual(N.param(builtin("U16")), "std::uint16_t")
        self.assertEqual(N.param(TypeName("C", ("T",), "enum")), "T::C")
        self.assertEqual(N.param(ATTR["f"].type), "Lumen::AddressFamily")
        self.assertEqual(N.param(ATTR["id"].type), "const Lumen::IntfId&")
        self.assertEqual(N.param(TypeName("V", ("T",), "value")), "const T::V&")

    def test_containers_and_what_a_lookup_answers(self):
        want = {
            "m": ("Orv::RbTreeMap<std::uint16_t, T::V>", "T::V", "ordered"),
            "s": ("Orv::HashMap2018<Lumen::IpAddr, Orv::Unit>", "bool", "hashed"),
            "b": ("Orv::HashMap2018<std::uint32_t, T::V>", "T::V", "hashed"),
            "r": ("Orv::HashMap2018<Lumen::IntfId, Orv::Ptr<const T::E>>", "Orv::Ptr<const T::E>", "hashed"),
            "o": ("Orv::RbTreeMap<Lumen::IntfId, Orv::Ptr<T::E>>", "Orv::Ptr<T::E>", "ordered"),
            "h": ("Orv::HashMap<Lumen::IntfId, T::E, T::E::OrvKeyOf>", "Orv::Ptr<T::E>", "hashedIntrusive"),
        }
        for name, (container, member, kind) in want.items():
            c = ATTR[name].coll
            self.assertEqual((N.coll_cpp(c), N.coll_member(c), N.coll_kind(c)), (container, member, kind), name)
        self.assertEqual(N.attr_cpp(ATTR["p"]), "Orv::Ptr<T::E>")
        self.assertEqual(N.attr_param(ATTR["p"]), "const Orv::Ptr<T::E>&")


class ValueSpellingTest(unittest.TestCase):
    def test_defaults_of_every_kind(self):
        enum = TypeName("C", ("T",), "enum")
        ip = TypeName("IpAddr", ("Lumen",), "extern")
        cases = [
            (builtin("bool"), Default("bool", False), "false"),
            (builtin("S32"), Default("int", -3), "-3"),
            (builtin("double"), Default("double", 1.5), "1.5"),
            (builtin("double"), Default("double", float("-inf")), "-std::numeric_limits<double>::infinity()"),
            (builtin("Orv::String"), Default("string", 'a"b\\\n\x01'), '"a\\"b\\\\\\n\\x01"'),
            (enum, Default("enumerator", "x"), "T::C::x"),
            (ip, Default("text", "1.2.3.4"), 'Lumen::IpAddr("1.2.3.4")'),
        ]
        for t, d, want in cases:
            self.assertEqual(N.default_expr(t, d), want)
        self.assertIsNone(N.default_expr(enum, None))

    def test_bounds_are_numbers_or_constant_calls(self):
        self.assertEqual(N.bound_expr(Bound(value=7)), "7")
        self.assertEqual(N.bound_expr(Bound(constant="limitMax")), "limitMax()")
        self.assertIsNone(N.bound_expr(None))


class GeneratedNameTest(unittest.TestCase):
    def test_member_and_function_names(self):
        self.assertEqual([f("ordMap") for f in (N.member, N.setter, N.deleter, N.delete_all, N.notify, N.handler,
                                                N.immediate_handler, N.increment, N.decrement)],
                         ["ordMap_", "ordMapIs", "ordMapDel", "ordMapDelAll", "ordMapNotify", "onOrdMap",
                          "onOrdMaporvImmediate", "ordMapInc", "ordMapDec"])
        self.assertEqual((N.factory("IpIntf"), N.type_is("IpIntf")), ("ipIntfFactory", "IpIntfIs"))

    def test_names_the_generated_code_uses_itself_are_kept_apart(self):
        self.assertEqual([N.call(n) for n in ("op", "id", "k", "flag")], ["this->op", "this->id", "this->k", "flag"])
        self.assertEqual([N.param_name(n) for n in ("p", "e", "k", "id")], ["orvP", "orvE", "orvK", "id"])

    def test_reserved_names(self):
        for n in ("class", "new", "name", "parent", "orvAnything", "Ptr"):
            self.assertTrue(N.reserved_attr_name(n, in_value=False), n)
        # A value type has no entity base: its attributes may be called name.
        self.assertFalse(N.reserved_attr_name("name", in_value=True))
        self.assertTrue(N.reserved_attr_name("orvFields", in_value=True))
        for n in ("Orv", "std", "Notifiee", "struct"):
            self.assertTrue(N.reserved_type_name(n), n)
        self.assertFalse(N.reserved_type_name("Lumen"))


if __name__ == "__main__":
    unittest.main()
