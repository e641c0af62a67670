"""A stored integer with a range: the setter refuses a value outside it
(after storing it, so the refused value can be read back), and the
constructor checks the default."""

from . import stored


class Emitter(stored.Emitter):
    kind = "ranged"
