"""Generated files of the models in golden/ compared with reviewed copies.
Run with ORVGEN_UPDATE_GOLDEN=1 to rewrite the copies after an intended
change, then review their diff."""

import glob
import os
import unittest

from support import GOLDEN, HERE
from orvgen import emit
from orvgen.loader import load


def generated(model_file):
    cwd = os.getcwd()
    os.chdir(HERE)
    try:
        return emit.emit_unit(load(os.path.join("golden", model_file), folder="golden"))
    finally:
        os.chdir(cwd)


class GoldenTest(unittest.TestCase):
    def test_every_golden_model(self):
        models = sorted(os.path.basename(p) for p in glob.glob(os.path.join(GOLDEN, "*.model")))
        self.assertGreaterEqual(len(models), 3)
        for m in models:
            with self.subTest(model=m):
                for name, text in generated(m).items():
                    path = os.path.join(GOLDEN, name + ".golden")
                    if os.environ.get("ORVGEN_UPDATE_GOLDEN"):
                        with open(path, "w", encoding="utf-8") as f:
                            f.write(text)
                    with open(path, encoding="utf-8") as f:
                        self.assertEqual(text, f.read(), f"{name} differs from its golden file")


if __name__ == "__main__":
    unittest.main()
