"""A query: a computed attribute answered from its arguments, hand-written.
Generic access cannot pass the arguments, so it answers "not applicable"."""

from .. import names as N
from ..writer import render
from . import computed
from .base import Sections, desc_row, echo

NOT_APPLICABLE = "case $id$: return 1;"


class Emitter(computed.Emitter):
    kind = "query"

    def entity(self, a, o):
        s = Sections()
        s.public.append(echo(a))
        s.public.append(render(computed.GETTER, type=N.attr_cpp(a), name=a.name, params=self.params(a)))
        s.dispatch.append(render(NOT_APPLICABLE, id=str(a.id)))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        return s

    def params(self, a):
        return N.query_params(a)
