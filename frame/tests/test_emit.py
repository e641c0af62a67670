"""Emitters: the kind table, fragments of the code each kind writes, the
cost in generated lines of an attribute, and the type-name section."""

import os
import unittest

from support import HERE, generate, model
from orvgen import emit, kinds, names
from orvgen.loader import load
from orvgen.model import SCALAR_KINDS

N_DESC = names.enum_desc("B_G")
SHAPES = ("map", "set", "by", "ptrby", "new", "reactors")


def lines_of(files):
    return sum(t.count("\n") for t in files.values())


class KindTableTest(unittest.TestCase):
    def test_every_kind_has_an_emitter_and_a_kitchen_case(self):
        self.assertEqual(set(kinds.EMITTERS), set(SCALAR_KINDS) | set(SHAPES))
        kitchen = load(os.path.join(HERE, "..", "..", "tests", "model", "Kitchen.model"), folder="test")
        used = {a.kind for t in kitchen.values + kitchen.entities for a in t.attrs}
        self.assertEqual(used, set(kinds.EMITTERS), "Kitchen.model lacks a case of a kind")

    def test_a_value_type_refuses_kinds_it_cannot_hold(self):
        u = model("unit T\nnamespace T {\nentity E(id) {\n  id: U32 key\n  m: ordered U32 -> bool\n}\n}\n")
        with self.assertRaises(AssertionError):
            kinds.value_sections(u.entities[0].attrs[1], u.entities[0])


ENTITY = """\
unit T
namespace T {
entity E(id) {
  id: Lumen::IntfId key
  flag: bool = true
  cap: U16 const = 9
  size: U16 range max cap "E::size < 0 or > E::cap not allowed"
  hits: U32 counter
  owner: ptr const E
  q: U32 computed(U16)
  kids: ordered new K
}
entity K(id, up) {
  id: U32 key
  up: ptr E key
}
object O {
  n: U32 = 1 range min 1 max 5 "bad"
}
}
"""


class FragmentTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        files = generate(ENTITY)
        cls.h, cls.cpp = files["T.h"], files["T.cpp"]

    def test_scalar_setters_are_one_call_into_the_runtime_in_the_class_body(self):
        body = self.h[self.h.index("class IPMODEL_API E "):self.h.index("class IPMODEL_API O ")]
        # The notifiee classes come first, so the setters below may name handlers.
        self.assertLess(body.index("virtual void onFlag() {}"), body.index("void flagIs("))
        self.assertIn("  void flagIs(bool v) { orvSet<NotifieeConst>(flag_, v, &NotifieeConst::onFlag, 259); }", body)
        self.assertIn('orvSetInRange<NotifieeConst>(size_, v, v <= cap(), "E::size < 0 or > E::cap not allowed", '
                      "&NotifieeConst::onSize, 261); }", body)
        self.assertIn('  if (size_ > cap()) throw Orv::RangeException("E::size < 0 or > E::cap not allowed");',
                      self.cpp)
        # Storing a pointer counts its target, which may be defined later in
        # the header: that setter is defined after every class.
        self.assertIn("void ownerIs(const Orv::Ptr<const T::E>&);", body)
        self.assertIn("inline void T::E::ownerIs(const Orv::Ptr<const T::E>& v) { orvSet<NotifieeConst>(owner_, v, "
                      "&NotifieeConst::onOwner, 263); }", self.h)

    def test_collections_notify_by_attribute_id_and_look_values_up_in_the_class(self):
        self.assertIn("  void kidsNotify(std::uint32_t k) const { orvNotifyMember<NotifieeConst>(265, k, "
                      "&NotifieeConst::onKids); }", self.h)
        # A member that is an entity may be incomplete in the class body.
        self.assertIn("inline Orv::Ptr<T::K> T::E::kids(std::uint32_t k) const {", self.h)
        m = generate("unit T\nnamespace T {\nentity E(id) {\n  id: U32 key\n  m: ordered U32 -> bool\n}\n}\n")
        self.assertIn("  bool m(std::uint32_t k) const { auto* p = m_.find(k); return p ? *p : bool(); }", m["T.h"])

    def test_counted_objects_store_without_notifying(self):
        self.assertIn('  void nIs(std::uint32_t v) { if (n_ == v) return; n_ = v; '
                      'if (!(v >= 1 && v <= 5)) throw Orv::RangeException("bad"); }', self.h)
        self.assertNotIn("class T::O::NotifieeConst", self.h)

    def test_counters_wrap_through_the_setter(self):
        self.assertIn("  std::uint32_t hitsInc(std::uint32_t n) { hitsIs(static_cast<std::uint32_t>(hits_ + n)); "
                      "return hits_; }", self.h)
        self.assertIn("  std::uint32_t hitsDec(std::uint32_t n) { hitsIs(static_cast<std::uint32_t>(hits_ - n)); "
                      "return hits_; }", self.h)

    def test_queries_are_hand_written_and_not_generically_accessible(self):
        self.assertIn("std::uint32_t q(std::uint16_t) const;  // hand-written", self.h)
        self.assertIn("case 264: return 1;", self.cpp)

    def test_instantiating_collections_check_further_parameters(self):
        self.assertIn("Orv::Ptr<T::K> kidsIs(std::uint32_t k, const Orv::Ptr<T::E>& up);", self.h)
        self.assertIn('Orv::frame::checkReinstantiate(*p, "up", p->up(), up);', self.cpp)
        # Generic access passes the further parameter as a constructor argument.
        self.assertIn("kidsIs(a.key.as<std::uint32_t>(), Orv::frame::ctorArg<Orv::Ptr<T::E>>(a, 0)); return true;",
                      self.cpp)
        self.assertIn("Orv::frame::orphanAll(kids_);", self.cpp)

    def test_descriptor_rows_name_their_owner_kind_and_writability(self):
        self.assertIn('{"cap", &T::E::orvType, 260, Orv::AttrCategory::constant, false, "std::uint16_t", nullptr, '
                      "nullptr},", self.cpp)
        self.assertIn('{"kids", &T::E::orvType, 265, Orv::AttrCategory::collection, true, "T::K", '
                      '"std::uint32_t", "ordered"},', self.cpp)

    def test_a_stored_attribute_costs_eight_generated_lines(self):
        # Model line echo, getter, setter, data member, handler, dispatch
        # case, descriptor row and the attribute-log table row; the same with
        # a range (its constructor check is one more) and for a counter (its
        # two operations are two more).
        base = ("unit T\nnamespace T {\nentity E(id) {\n  id: U32 key\n  cap: U16 const = 9\n"
                '  r: U16 range max cap "no"\n%s}\n}\n')
        one = lines_of(generate(base % "  a: U32\n"))
        for attr, cost in (("b: U32", 8), ('b: U16 range max cap "no"', 9), ("b: U32 counter", 10)):
            with self.subTest(attr=attr):
                two = lines_of(generate(base % f"  a: U32\n  {attr}\n"))
                self.assertEqual(two - one, cost)


DERIVED = """\
unit T
namespace T {
entity D(id) : A {
  id: U32 key
  c: U16 const = 2
}
entity A {
  abstract
  virtual "bool covers(Lumen::IntfId) const"
  n: U32 counter
}
named entity N(k) {
  k: U32 key
}
named entity M : N(7) {
}
value P(at) {
  at: U32 key
  who: ptr N
}
}
"""


class DerivationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        files = generate(DERIVED)
        cls.h, cls.cpp = files["T.h"], files["T.cpp"]

    def test_a_base_is_defined_first_and_its_virtuals_fail_in_the_base(self):
        self.assertLess(self.h.index("class IPMODEL_API A "), self.h.index("class IPMODEL_API D "))
        self.assertIn("class IPMODEL_API D : public T::A, public Orv::AllocTracked<D> {", self.h)
        self.assertIn("  using Orv::AllocTracked<D>::operator new;", self.h)
        self.assertIn("virtual bool covers(Lumen::IntfId) const;", self.h)
        self.assertIn('bool T::A::covers(Lumen::IntfId) const {\n  Orv::assertFail("0 && \\"Must override in derived '
                      'class\\"", __FILE__, __LINE__, "virtual bool T::A::covers(Lumen::IntfId) const");', self.cpp)

    def test_derived_entities_construct_their_base_and_fall_back_to_it(self):
        self.assertIn("T::D::D(std::uint32_t id) : T::A(), id_(id) {}", self.cpp)
        self.assertIn("T::M::M(const Orv::Name& name) : T::N(name, 7) {}", self.cpp)
        self.assertIn("return T::A::orvAttr(op, id, arg);", self.cpp)
        # Identity comes from the base: no key text of the derived entity's own.
        self.assertNotIn("valueToStrep(id_)", self.h)
        m = self.h[self.h.index("class IPMODEL_API M "):]
        self.assertIn("  class IPMODEL_API NotifieeConst : public T::N::NotifieeConst {", m[:m.index("};\n\n")])

    def test_a_derived_descriptor_lists_the_base_rows_then_its_own(self):
        rows = self.cpp[self.cpp.index("orvAttrs_D[]"):]
        self.assertLess(rows.index('{"n", &T::A::orvType, 258'), rows.index('{"id", &T::D::orvType, 259'))
        self.assertIn('"T::M", Orv::TypeKind::entity, orvAttrs_M, 1,', self.cpp)

    def test_a_value_holding_a_pointer_has_no_text_or_log_reader(self):
        self.assertIn('ORV_ASSERT_IN(false && "No String constructor for P - has pointer", __PRETTY_FUNCTION__);',
                      self.cpp)
        self.assertIn('T::P::P(Orv::NboAttrLog::In&) { ORV_ASSERT_IN(false && "No attribute-log form for P - has '
                      'pointer", __PRETTY_FUNCTION__); }', self.cpp)
        self.assertNotIn("Orv::valueTypeRead(i, v)", self.cpp)


SHAPES_MODEL = """\
unit T
namespace T {
header TExtra {
entity K() {
  quiet
  n: U32
}
}
named entity B(grade) {
  grade: B::G key
}
named entity D : B(high) {
}
entity R(id, vrf) {
  id: U32 key
  vrf: Orv::String
}
named entity H {
  r: hashed new R
  b: hashed new B
}
}
namespace T::B {
enum G {
  low
  high
}
}
"""


class EntityShapeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = generate(SHAPES_MODEL)
        cls.h, cls.cpp = cls.files["T.h"], cls.files["T.cpp"]

    def test_a_further_header_holds_its_types_after_the_unit_header(self):
        self.assertEqual(sorted(self.files), ["T.cpp", "T.fwd.h", "T.h", "TExtra.h"])
        extra = self.files["TExtra.h"]
        self.assertIn("#include <ipmodel/m/T.h>", extra)
        self.assertIn("class IPMODEL_API K ", extra)
        self.assertNotIn("class IPMODEL_API K ", self.h)
        self.assertIn("#include <ipmodel/m/T.h>\n#include <ipmodel/m/TExtra.h>", self.cpp)
        # A quiet, keyless entity: no key, notification never switched on.
        self.assertIn("T::K::Ptr T::K::KIs() {\n  Ptr p(new K());\n  return p;\n}", self.cpp)

    def test_a_nested_enumeration_is_declared_in_its_class_with_helpers_beside_it(self):
        cls = self.h[self.h.index("class IPMODEL_API B "):]
        self.assertLess(cls.index("enum class G : std::uint32_t {"), cls.index("};\n"))
        self.assertIn("inline Orv::String stringValue(B::G v)", self.h)
        self.assertNotIn("enum class G", self.files["T.fwd.h"])
        self.assertIn("Orv::typeNodeIs(T::orvEnumDesc_B_G);".replace("orvEnumDesc_B_G", N_DESC), self.cpp)
        self.assertIn("T::D::D(const Orv::Name& name) : T::B(name, T::B::G::high) {}", self.cpp)

    def test_instantiating_collections_pass_further_keys_and_set_stored_parameters(self):
        self.assertIn("Orv::Ptr<T::B> bIs(const Orv::Name& k, T::B::G grade);", self.h)
        self.assertIn('Orv::frame::checkReinstantiate(*p, "grade", p->grade(), grade);', self.cpp)
        self.assertIn("p->vrfIs(vrf);", self.cpp)
        self.assertIn("T::R::R(std::uint32_t id, const Orv::String& vrf) : id_(id), vrf_(vrf) {}", self.cpp)


class AttrLogTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        files = generate(DERIVED.replace("named entity N(k) {", 'named entity N(k) {\n  hand "bool hasBackupSupport() '
                                                                   'const override { return true; }"'))
        cls.h, cls.cpp = files["T.h"], files["T.cpp"]

    def test_adapters_take_changes_by_id_and_type_the_values_in_one_table(self):
        # The base's setter names its id, which reaches a derived entity's
        # adapter through the change hook like the derived type's own; its
        # typed log functions are a row of the derived adapter's table.
        self.assertIn("void nIs(std::uint32_t v) { orvSet<NotifieeConst>(n_, v, &NotifieeConst::onN, 258); }", self.h)
        adapter = self.cpp[self.cpp.index("class T::D::OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_"):]
        self.assertEqual(adapter[:adapter.index("};")].count("\n"), 3)
        table = adapter[adapter.index("T::D::OrvNboAttrLogSa::applyTable() {"):]
        table = table[:table.index("\n}\n")]
        self.assertIn("Orv::frame::logFns<T::D, std::uint32_t, &T::D::n, &T::D::nIs>(),", table)
        self.assertIn("table{258, 1, fns}", table)

    def test_typed_rows_are_indexed_by_identifier_and_leave_references_to_the_generic_path(self):
        cpp = generate("unit T\nnamespace T {\nnamed entity R(k) {\n  k: U32 key\n}\nentity E(id) {\n"
                       "  id: U32 key\n  a: U16 = 3 range max 9 \"E::a < 0 or > 9 not allowed\"\n  p: ptr R\n"
                       "  c: U16 const = 2\n  b: bool\n}\n}\n")["T.cpp"]
        # a 259 (ranged: its setter checks), p 260 and c 261 take no row, b 262.
        table = cpp[cpp.index("T::E::OrvNboAttrLogSa::applyTable() {"):]
        table = table[:table.index("\n}\n")]
        fns = [line.strip() for line in table.split("\n")[2:6]]
        self.assertEqual(fns[0], "Orv::frame::logFns<T::E, std::uint16_t, &T::E::a, &T::E::aIs>(),")
        self.assertEqual(fns[1:3], ["{},", "{},"])
        self.assertEqual(fns[3], "Orv::frame::logFns<T::E, bool, &T::E::b, &T::E::bIs>(),")
        self.assertIn("table{259, 4, fns}", table)
        # A type without stored values has no table.
        self.assertIn("T::R::OrvNboAttrLogSa::applyTable() {\n  return nullptr;\n}", cpp)

    def test_named_roots_answer_for_the_attribute_log_unless_written_by_hand(self):
        named = self.h[self.h.index("class IPMODEL_API N "):self.h.index("class IPMODEL_API M ")]
        self.assertIn("bool orvHasAttrLogInterface() const override { return true; }", named)
        self.assertEqual(named.count("hasBackupSupport"), 1)
        # Only a type created from its name alone carries its factory.
        self.assertIn('"T::M", Orv::TypeKind::entity, orvAttrs_M, 1, nullptr, 0, 0, [](const Orv::Name& n) -> '
                      "Orv::Ptr<Orv::Entity> { return M::MIs(n); }};", self.cpp)
        self.assertIn('"T::N", Orv::TypeKind::entity, orvAttrs_N, 1, nullptr, 0, 0};', self.cpp)


class UnitTest(unittest.TestCase):
    def test_headers_include_imports_and_the_platform_units_headers(self):
        a = model("unit A\nnamespace A {\nenum E {\n  x\n}\n}\n")
        b = model("unit B\nimport A\nnamespace B {\nvalue V(e) {\n  e: A::E key\n  i: Lumen::IntfId\n}\n}\n",
                  imports=[a])
        h = emit.emit_unit(b)["B.h"]
        self.assertIn("#include <ipmodel/Orv/Frame.h>\n#include <ipmodel/Lumen/Lumen.h>\n"
                      "#include <ipmodel/Lumen/VrfName.h>\n#include <ipmodel/m/A.h>\n#include <ipmodel/m/B.fwd.h>", h)
        # A unit naming no platform type does not read or include it.
        self.assertNotIn("Lumen", emit.emit_unit(a)["A.h"])

    def test_type_name_section_alignment(self):
        class T:
            def __init__(self, q):
                self.qname = q

        data = emit.type_name_section([T("A::Bb"), T("A::" + "x" * 20), T("A::" + "y" * 40)])
        # reverse order: the 44-byte name at 0 (32-byte boundary), the 24-byte
        # one at 48 (16), the 6-byte one at 72 (8)
        self.assertEqual(data[:44], b"A::" + b"y" * 40 + b"\0")
        self.assertEqual(data[44:48], b"\0" * 4)
        self.assertEqual(data[48:72], b"A::" + b"x" * 20 + b"\0")
        self.assertEqual(data[72:], b"A::Bb\0")


if __name__ == "__main__":
    unittest.main()
