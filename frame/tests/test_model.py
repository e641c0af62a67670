"""Resolver: the frozen model, identifiers, kinds, diagnostics and the
platform unit."""

import dataclasses
import unittest

from support import diagnostics, model
from orvgen import names
from orvgen.model import Bound, Default, TypeName


class ResolverTest(unittest.TestCase):
    def test_identifiers_start_at_258_in_entities_and_2_in_values(self):
        m = model(
            """\
            unit T
            namespace T {
            value V(a) {
              a: U32 key
              b: bool
            }
            entity E(id) {
              id: Lumen::IntfId key
              k: U16 const = 4
              c: ordered Lumen::IpAddr -> bool
              v: V
            }
            }
            """
        )
        self.assertEqual([a.id for a in m.values[0].attrs], [2, 3])
        self.assertEqual([(a.name, a.id, a.category) for a in m.entities[0].attrs],
                         [("id", 258, "key"), ("k", 259, "constant"), ("c", 260, "collection"),
                          ("v", 261, "stored")])

    def test_collects_every_error(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E(id, nope) {
              id: Lumen::IntfId key
              x: Missing
              y: U8 = 300
              id: bool
              s: Orv::String range max 3 "m"
              class: bool
              p: ptr Lumen::IpAddr
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:5:6: error: unknown type 'Missing'",
                "m/T.model:6:11: error: default 300 does not fit U8",
                "m/T.model:7:3: error: attribute 'id' declared twice in T::E",
                "m/T.model:8:18: error: range checks apply to integer attributes",
                "m/T.model:9:3: error: attribute name 'class' is reserved",
                "m/T.model:10:10: error: 'Lumen::IpAddr' is not an entity type; ptr needs one",
                "m/T.model:3:14: error: constructor parameter 'nope' is not an attribute of T::E",
            ],
        )

    def test_collections_check_their_element_types(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            value V(a) {
              a: U32 key
            }
            entity E(id) {
              id: Lumen::IntfId key
              a: hashed ptr V by a
              b: hashed V by missing
              c: hashed new E
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:8:17: error: 'V' is not an entity type",
                "m/T.model:9:6: error: T::V has no attribute 'missing'",
            ],
        )

    def test_value_types_hold_hashed_sets_only(self):
        # Maps and ordered collections inside a value have no text or log
        # form that reads back; they are refused where they are declared.
        d = diagnostics(
            """\
            unit T
            namespace T {
            value V(a) {
              a: U32 key
              m: ordered U32 -> bool
              h: hashed U32 -> bool
              o: ordered set U32
              s: hashed set U32
            }
            }
            """
        )
        self.assertEqual(
            d,
            [f"m/T.model:{n}:3: error: a value type holds hashed sets only, not maps or ordered collections"
             for n in (5, 6, 7)],
        )

    def test_queries_and_text_attributes_are_checked(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E(id) {
              id: U32 key
              q: U32 computed(Nope) writable
              p: ptr E computed(E)
            }
            value V(a) {
              a: U32 key
              b: U32
              text a
            }
            value W(a) {
              a: U32 key
              text
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:5:3: error: a computed attribute with arguments is not writable",
                "m/T.model:5:19: error: unknown type 'Nope'",
                "m/T.model:6:21: error: a query argument is a value, not an entity",
                "m/T.model:8:7: error: text names 'a', which must be the only stored attribute",
                "m/T.model:15:3: error: text takes one attribute name",
            ],
        )
        m = model(
            """\
            unit T
            namespace T {
            entity E(id) {
              id: U32 key
              n: U32
              q: ptr const E computed(U32, Lumen::IntfId)
              after: bool = false
            }
            }
            """
        )
        e = m.entities[0]
        q = e.attrs[2]
        self.assertEqual((q.category, q.id, names.attr_cpp(q)), ("computed", 260, "Orv::Ptr<const T::E>"))
        self.assertEqual([names.cpp(t) for t in q.args], ["std::uint32_t", "Lumen::IntfId"])
        self.assertEqual(e.attrs[3].id, 261)

    def test_register_list_must_name_every_type_once(self):
        d = diagnostics(
            """\
            unit T
            register(T::A, T::A, T::Z)
            namespace T {
            enum A {
              x
            }
            enum B {
              y
            }
            }
            """
        )
        self.assertIn("m/T.model:2:16: error: type 'T::A' registered twice", d)
        self.assertIn("m/T.model:2:22: error: register names unknown type 'T::Z' (use its qualified name)", d)
        self.assertIn("m/T.model:7:6: error: type 'T::B' missing from the register list", d)

    def test_keys_must_be_constructor_parameters(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E {
              id: Lumen::IntfId key
            }
            }
            """
        )
        self.assertIn("m/T.model:4:3: error: key attribute 'id' must be a constructor parameter", d)



class FrozenModelTest(unittest.TestCase):
    UNIT = model(
        """\
        unit T
        namespace T {
        entity E(id) {
          id: U32 key
          lim: U16 const = 9
          a: U16 = 3 range min 1 max lim "m"
          b: U32 counter
          c: Lumen::IpAddr = "1.2.3.4"
          d: U32 computed writable
          q: U32 computed(U16)
          p: ptr const E
          s: hashed set U32
        }
        sm M(e) {
          e: reactor R on const E key
          es: ordered reactor Rs on E by id ondel gone
          hand Rs "void gone();"
        }
        }
        """
    )

    def test_types_and_attributes_are_immutable(self):
        e = self.UNIT.entities[0]
        for obj, field in ((e, "attrs"), (e.attrs[0], "name"), (self.UNIT, "entities")):
            with self.assertRaises(dataclasses.FrozenInstanceError):
                setattr(obj, field, None)
        self.assertIsInstance(e.attrs, tuple)

    def test_attributes_carry_their_kind_and_model_values(self):
        e = self.UNIT.entities[0]
        self.assertEqual([(a.name, a.kind, a.category) for a in e.attrs],
                         [("id", "key", "key"), ("lim", "constant", "constant"), ("a", "ranged", "stored"),
                          ("b", "counter", "stored"), ("c", "stored", "stored"), ("d", "computed", "computed"),
                          ("q", "query", "computed"), ("p", "pointer", "pointer"), ("s", "set", "collection")])
        a = e.attrs[2]
        self.assertEqual((a.default, a.range.min, a.range.max), (Default("int", 3), Bound(value=1),
                                                                 Bound(constant="lim")))
        self.assertEqual(e.attrs[4].default, Default("text", "1.2.3.4"))
        self.assertEqual(e.attrs[4].type, TypeName("IpAddr", ("Lumen",), "extern"))
        self.assertEqual((e.attrs[7].target.qname, e.attrs[7].const), ("T::E", True))

    def test_reactors_are_built_with_their_key_and_hands(self):
        m = self.UNIT.entities[1]
        self.assertEqual([(r.name, r.key, r.ondel, r.hands) for r in m.reactors],
                         [("R", None, None, ()), ("Rs", self.UNIT.entities[0].attrs[0].type, "gone",
                                                  ("void gone();",))])
        self.assertEqual([p.name for p in m.params], ["e"])
        self.assertEqual([a.kind for a in m.attrs], ["reactor", "reactors"])


class RangeTest(unittest.TestCase):
    def test_a_default_outside_its_range_is_a_diagnostic(self):
        # The constructor would refuse every new entity.
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E(id) {
              id: U32 key
              top: U8 const = 9
              a: U8 range min 1 max top "a"
              b: U8 = 10 range max top "b"
              c: U8 = 9 range min 2 max top "c"
              d: U8 range max nope "d"
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:6:3: error: default 0 of 'a' is outside its range 1 to 9",
                "m/T.model:7:3: error: default 10 of 'b' is outside its range 0 to 9",
                "m/T.model:9:3: error: range bound 'nope' is not a constant of T::E",
            ],
        )


class NameGuardTest(unittest.TestCase):
    def test_reserved_and_colliding_names_are_diagnostics(self):
        d = diagnostics(
            """\
            unit T
            namespace std {
            enum Ptr {
              x
            }
            }
            namespace T {
            entity E(id) {
              id: U32 key
              orvCount: U32
              flag: bool
              flagIs: bool
              tags: hashed set U32
              Tags: U32
            }
            sm M {
              e: reactor Orv on const E
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:3:6: error: namespace name 'std' is reserved",
                "m/T.model:3:6: error: type name 'Ptr' is reserved",
                "m/T.model:10:3: error: attribute name 'orvCount' is reserved",
                "m/T.model:17:3: error: reactor name 'Orv' is reserved",
                "m/T.model:12:3: error: attribute 'flagIs' declares 'flagIs', as attribute 'flag' does",
                "m/T.model:14:3: error: attribute 'Tags' declares 'onTags', as attribute 'tags' does",
            ],
        )


    def test_only_the_top_namespace_may_be_the_frameworks(self):
        self.assertEqual(diagnostics("unit T\nnamespace T::Orv {\nenum Z {\n  x\n}\n}\n"),
                         ["m/T.model:3:6: error: namespace name 'Orv' is reserved"])
        self.assertEqual(model("unit T\nnamespace Orv {\nenum Z {\n  x\n}\n}\n").enums[0].qname, "Orv::Z")


class PlatformTest(unittest.TestCase):
    def test_platform_types_are_found_without_an_import(self):
        u = model("unit T\nnamespace T {\nvalue V(a) {\n  a: L3::VrfName key\n  f: Lumen::AddressFamily\n}\n}\n")
        self.assertEqual([i.name for i in u.imports], ["Platform"])
        self.assertTrue(u.values[0].attrs[1].type.small)
        self.assertEqual(model("unit T\nnamespace T {\nenum E {\n  x\n}\n}\n").imports, ())

    def test_an_extern_type_reads_its_default_from_text_only(self):
        d = diagnostics("unit T\nnamespace T {\nvalue V(a) {\n  a: U8 key\n  b: Lumen::IpAddr = 5\n}\n}\n")
        self.assertEqual(d, ["m/T.model:5:22: error: default of type Lumen::IpAddr is given as its text"])


class DerivationTest(unittest.TestCase):
    def test_bases_and_derived_entities_are_checked(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity A {
              abstract
              virtual "bool q(Lumen::IntfId) const"
              n: U32 counter
            }
            entity B(id) {
              id: U32 key
              virtual "void f()"
              virtual "not a declaration"
            }
            entity C(id) : B {
              id: U32 key
            }
            entity D(id) : A {
              id: U32 key
              extra: U32
            }
            named entity N(k) {
              k: U32 key
            }
            named entity M : N {
            }
            entity P(id) : N(3) {
              id: U32 key
            }
            named entity Q : N("x") {
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:11:3: error: cannot read the declaration 'not a declaration'",
                "m/T.model:8:8: error: entity B declares virtual operations but is not abstract",
                "m/T.model:13:16: error: base 'B' is not a named or keyless entity",
                "m/T.model:18:3: error: a derived entity notifies through its base: it holds keys, constants "
                "and computed attributes only",
                "m/T.model:23:18: error: base 'N' takes 1 values after its name, not 0",
                "m/T.model:25:16: error: T::P must be named exactly when its base 'N' is",
                "m/T.model:28:20: error: default of type U32 must be an integer",
            ],
        )

    def test_derived_entities_number_after_their_base_and_fix_its_values(self):
        m = model(
            """\
            unit T
            namespace T {
            entity D(id) : A {
              id: U32 key
            }
            entity A {
              abstract
              virtual "const Lumen::IpAddr q(Lumen::IntfId, const Lumen::IpAddr&) const"
              n: U32 counter
              m: U32 counter
            }
            named entity N(k, on) {
              k: U32 key
              on: bool key
            }
            named entity M : N(7, true) {
            }
            }
            """
        )
        d, a, n, mm = m.entities
        # An entity declared with '()' is keyless and may be a base too.
        k = model("unit T\nnamespace T {\nentity K() {\n}\nentity E(id) : K {\n  id: U32 key\n}\n}\n")
        self.assertIs(k.entities[1].base, k.entities[0])
        self.assertIs(d.base, a)
        self.assertEqual(d.attrs[0].id, 260)
        self.assertEqual((d.end_id, mm.end_id), (261, 260))
        self.assertTrue(a.keyless and not d.keyless)
        self.assertEqual(mm.base_args, (Default("int", 7), Default("bool", True)))
        self.assertEqual(
            names.virtual_signature(a.virtuals[0], a.qname),
            "virtual const Lumen::IpAddr T::A::q(Lumen::IntfId, const Lumen::IpAddr&) const",
        )


class EntityShapeTest(unittest.TestCase):
    def test_keys_stored_parameters_nesting_and_headers_are_checked(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity K {
            }
            entity R(id, vrf, tag) {
              id: Lumen::IntfId key
              vrf: L3::VrfName
              tag: Orv::String key
            }
            value V(g) {
              g: U32 key
            }
            header TExtra {
            entity E(id) {
              id: Lumen::IntfId key
            }
            }
            named entity H {
              e: hashed new E
            }
            }
            namespace T::V {
            enum W {
              a
            }
            }
            """
        )
        self.assertEqual(
            d,
            [
                "m/T.model:23:6: error: enum W is nested in T::V, which is not an entity",
                "m/T.model:3:8: error: entity K needs a key constructor parameter, 'named' or '()'",
                "m/T.model:5:8: error: stored constructor parameters of R follow its keys",
                "m/T.model:19:3: error: T::H in the unit header uses T::E of header TExtra",
            ],
        )

    def test_keyless_nested_and_further_header_types(self):
        m = model(
            """\
            unit T
            namespace T {
            header TExtra {
            entity K() {
              quiet
            }
            }
            named entity B(grade) {
              grade: B::G key
            }
            named entity D : B(high) {
            }
            }
            namespace T::B {
            enum G {
              low
              high
            }
            }
            """
        )
        b, d, k = (next(e for e in m.entities if e.name == n) for n in ("B", "D", "K"))
        self.assertTrue(k.keyless and k.quiet)
        self.assertEqual((k.header, m.further_headers), ("TExtra", ("TExtra",)))
        self.assertEqual(d.base_args, (Default("enumerator", "high"),))
        self.assertEqual(m.enums[0].outer.qname, "T::B")


if __name__ == "__main__":
    unittest.main()
