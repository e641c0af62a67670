"""Tests of the model generator: parser and resolver diagnostics, the
template writer, golden output and the command line."""

import os
import subprocess
import sys
import tempfile
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))

from orvgen import emit, writer  # noqa: E402
from orvgen.errors import ModelError  # noqa: E402
from orvgen.loader import load  # noqa: E402
from orvgen.model import resolve  # noqa: E402
from orvgen.parser import parse_text  # noqa: E402

GOLDEN = os.path.join(HERE, "golden")


def model(text, path="m/T.model"):
    text = textwrap.dedent(text)
    return resolve(parse_text(text, path), text.split("\n"), [], "m")


def diagnostics(text):
    try:
        model(text)
    except ModelError as e:
        return e.diagnostics
    raise AssertionError("model was accepted")


class ParserTest(unittest.TestCase):
    def test_syntax_errors_name_file_line_and_column(self):
        d = diagnostics(
            """\
            unit T
            namespace T {
            entity E(id) {
              id Lumen::IntfId key
            }
            }
            """
        )
        self.assertEqual(d, ["m/T.model:4:6: error: expected ':', found 'Lumen::IntfId'"])

    def test_unterminated_blocks_and_strings(self):
        self.assertIn("missing '}'", diagnostics("unit T\nnamespace T {\nenum C {\n a\n")[0])
        self.assertIn("unterminated string", diagnostics('unit T\ninclude "x\n')[0])
        self.assertIn("unexpected character '@'", diagnostics("unit T @\n")[0])

    def test_comments_and_nested_namespaces(self):
        m = model(
            """\
            unit T  # trailing comment
            namespace A::B {
            # a comment line
            enum C {
              x
              y = 5
              z
            }
            }
            """
        )
        self.assertEqual(m.enums[0].qname, "A::B::C")
        self.assertEqual(m.enums[0].items, [("x", 0, "x"), ("y", 5, "y"), ("z", 6, "z")])


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
        self.assertEqual((q.category, q.id, q.cpp), ("computed", 260, "Orv::Ptr<const T::E>"))
        self.assertEqual([t.cpp for t in q.args], ["std::uint32_t", "Lumen::IntfId"])
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

    def test_derived_nested_and_keyless_entities_are_checked(self):
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
            named entity B(grade) {
              grade: B::G key
            }
            named entity D : B(low, high) {
            }
            named entity X : B(low) {
              extra: bool
            }
            value V {
              g: B::G
            }
            }
            namespace T::V {
            enum W {
              a
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
        self.assertIn("m/T.model:3:8: error: entity K needs a key constructor parameter, 'named' or '()'", d)
        self.assertIn("m/T.model:5:8: error: stored constructor parameters of R follow its keys", d)
        self.assertIn("m/T.model:13:18: error: T::B takes 1 values after the name, not 2", d)
        self.assertIn("m/T.model:15:14: error: derived entity X adds no attributes, parameters or members", d)
        self.assertIn("m/T.model:23:6: error: enum W is nested in T::V, which is not an entity", d)
        m = model(
            """\
            unit T
            namespace T {
            entity K() {
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
        b, d_, k = (next(e for e in m.entities if e.name == n) for n in ("B", "D", "K"))
        self.assertTrue(k.keyless)
        self.assertIs(d_.base, b)
        self.assertEqual(d_.base_args, ["T::B::G::high"])
        self.assertEqual([x.name for x in b.nested_enums], ["G"])

    def test_further_headers_hold_their_types_and_may_not_be_used_by_the_unit_header(self):
        text = """\
            unit T
            namespace T {
            header TExtra {
            entity E(id) {
              id: Lumen::IntfId key
            }
            }
            named entity R {
              e: hashed new E
            }
            }
            """
        self.assertIn("m/T.model:9:3: error: T::R in the unit header uses T::E of header TExtra", diagnostics(text))
        m = model(text.replace("  e: hashed new E\n", ""))
        self.assertEqual(m.further_headers, ["TExtra"])
        files = emit.emit_unit(m)
        self.assertEqual(sorted(files), ["T.cpp", "T.fwd.h", "T.h", "TExtra.h"])
        self.assertIn("class IPMODEL_API E ", files["TExtra.h"])
        self.assertNotIn("class IPMODEL_API E ", files["T.h"])
        self.assertIn("#include <ipmodel/m/T.h>", files["TExtra.h"])
        self.assertIn("#include <ipmodel/m/TExtra.h>", files["T.cpp"])


class WriterTest(unittest.TestCase):
    def test_block_values_take_the_placeholder_indentation(self):
        out = writer.render("a {\n  $body$\n}\n$gone$\nx $v$ y", body="one\n\ntwo", gone="", v="V")
        self.assertEqual(out, "a {\n  one\n\n  two\n}\nx V y")

    def test_missing_and_unused_values_are_errors(self):
        with self.assertRaises(writer.TemplateError):
            writer.render("$a$")
        with self.assertRaises(writer.TemplateError):
            writer.render("x", a="1")
        with self.assertRaises(writer.TemplateError):
            writer.render("x $a$ y", a="1\n2")


class GoldenTest(unittest.TestCase):
    """The generated files of golden/Small.model. Set ORVGEN_UPDATE_GOLDEN=1
    to rewrite them after an intended change, then review the diff."""

    def test_small_model(self):
        cwd = os.getcwd()
        os.chdir(HERE)
        try:
            unit = load(os.path.join("golden", "Small.model"), folder="golden")
            files = emit.emit_unit(unit)
        finally:
            os.chdir(cwd)
        for name, text in files.items():
            path = os.path.join(GOLDEN, name + ".golden")
            if os.environ.get("ORVGEN_UPDATE_GOLDEN"):
                with open(path, "w", encoding="utf-8") as f:
                    f.write(text)
            with open(path, encoding="utf-8") as f:
                self.assertEqual(text, f.read(), f"{name} differs from its golden file")

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


class CommandLineTest(unittest.TestCase):
    def run_gen(self, model_text, out):
        with tempfile.TemporaryDirectory() as d:
            os.makedirs(os.path.join(d, "U"))
            mp = os.path.join(d, "U", "U.model")
            with open(mp, "w") as f:
                f.write(model_text)
            env = dict(os.environ, PYTHONPATH=os.path.dirname(HERE))
            return subprocess.run([sys.executable, "-m", "orvgen", mp, "--out", out],
                                  capture_output=True, text=True, env=env)

    def test_failure_writes_nothing_and_exits_non_zero(self):
        with tempfile.TemporaryDirectory() as out:
            r = self.run_gen("unit U\nnamespace U {\nenum E {\n}\n}\n", out)
            self.assertEqual(r.returncode, 1)
            self.assertIn("error: enum E has no enumerators", r.stderr)
            self.assertFalse(os.path.exists(os.path.join(out, "ipmodel")))

    def test_unchanged_output_is_not_rewritten(self):
        with tempfile.TemporaryDirectory() as out:
            text = "unit U\nnamespace U {\nenum E {\n  a\n}\n}\n"
            self.assertEqual(self.run_gen(text, out).returncode, 0)
            h = os.path.join(out, "ipmodel", "U", "U.h")
            os.utime(h, (1, 1))
            self.assertEqual(self.run_gen(text, out).returncode, 0)
            self.assertEqual(os.stat(h).st_mtime, 1)

    def test_imports_are_found_and_named_in_the_depfile(self):
        # A unit importing another from a sibling folder or a --root needs no
        # --import; the depfile names the outputs (header first, as the build
        # declares them) and every model file read.
        with tempfile.TemporaryDirectory() as d, tempfile.TemporaryDirectory() as out:
            for folder, text in (("A", "unit A\nnamespace A {\nenum E {\n  a\n}\n}\n"),
                                 ("B", "unit B\nimport A\nnamespace B {\nvalue V(e) {\n  e: A::E key\n}\n}\n")):
                os.makedirs(os.path.join(d, "src", folder))
                with open(os.path.join(d, "src", folder, folder + ".model"), "w") as f:
                    f.write(text)
            os.makedirs(os.path.join(d, "tests", "C"))
            with open(os.path.join(d, "tests", "C", "C.model"), "w") as f:
                f.write("unit C\nimport B\nnamespace C {\nvalue W(v) {\n  v: B::V key\n}\n}\n")
            env = dict(os.environ, PYTHONPATH=os.path.dirname(HERE))
            dep = os.path.join(out, "C.d")
            gen = [sys.executable, "-m", "orvgen", os.path.join(d, "tests", "C", "C.model"), "--out", out]
            r = subprocess.run(gen, capture_output=True, text=True, env=env)
            self.assertEqual(r.returncode, 1)
            self.assertIn("C.model:2:8: error: cannot find the model file of unit 'B'", r.stderr)
            r = subprocess.run(gen + ["--root", os.path.join(d, "src"), "--depfile", dep],
                               capture_output=True, text=True, env=env)
            self.assertEqual(r.returncode, 0, r.stderr)
            with open(dep) as f:
                targets, deps = f.read().split(": ")
            base = os.path.join(os.path.realpath(out), "ipmodel", "C")
            self.assertEqual(targets.split(), [os.path.join(base, n) for n in ("C.h", "C.fwd.h", "C.cpp")])
            self.assertEqual([os.path.relpath(p, os.path.realpath(d)) for p in deps.split()],
                             ["tests/C/C.model", "src/A/A.model", "src/B/B.model"])


if __name__ == "__main__":
    unittest.main()
