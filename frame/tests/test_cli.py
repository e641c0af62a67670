"""The command line: exit status, unchanged files, imports and the depfile."""

import os
import subprocess
import sys
import tempfile
import unittest

from support import HERE


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


    def test_import_cycles_unreadable_files_and_misnamed_units_are_diagnostics(self):
        env = dict(os.environ, PYTHONPATH=os.path.dirname(HERE))
        with tempfile.TemporaryDirectory() as d, tempfile.TemporaryDirectory() as out:
            for folder, text in (("A", "unit A\nimport B\n"), ("B", "unit B\nimport A\n"), ("C", "unit D\n")):
                os.makedirs(os.path.join(d, folder))
                with open(os.path.join(d, folder, folder + ".model"), "w") as f:
                    f.write(text)

            def run(folder):
                r = subprocess.run([sys.executable, "-m", "orvgen", os.path.join(d, folder, folder + ".model"),
                                    "--out", out], capture_output=True, text=True, env=env)
                self.assertEqual(r.returncode, 1)
                self.assertNotIn("Traceback", r.stderr)
                return r.stderr.strip()

            self.assertTrue(run("A").endswith("B.model:2:8: error: units import each other: A -> B -> A"))
            self.assertTrue(run("C").endswith("C.model:1:6: error: unit 'D' is declared in C.model; its file is D.model"))
            self.assertTrue(run("Z").endswith("Z.model: error: cannot read the model file: No such file or directory"))


if __name__ == "__main__":
    unittest.main()
