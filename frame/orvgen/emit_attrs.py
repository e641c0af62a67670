"""One emitter per attribute kind. Each returns named sections; the type
emitters only concatenate them."""

from dataclasses import dataclass, field

from . import names as N
from .typesys import cpp_string


@dataclass
class Sections:
    public: list = field(default_factory=list)  # class body, public
    members: list = field(default_factory=list)  # class body, private data
    handlers: list = field(default_factory=list)  # notifiee virtual handlers
    immediate: list = field(default_factory=list)  # calls made when a notifiee attaches
    inline: list = field(default_factory=list)  # header, after every class
    source: list = field(default_factory=list)  # .cpp definitions
    desc: list = field(default_factory=list)  # descriptor rows
    dispatch: list = field(default_factory=list)  # generic access cases
    ctor_check: list = field(default_factory=list)  # constructor range checks
    dtor: list = field(default_factory=list)  # destructor statements

    def add(self, other):
        for k in self.__dataclass_fields__:
            getattr(self, k).extend(getattr(other, k))


CATEGORY = {
    "key": "key",
    "stored": "stored",
    "constant": "constant",
    "computed": "computed",
    "collection": "collection",
    "pointer": "pointer",
}


def desc_row(a, owner, value_type, key_type=None, coll_kind=None):
    """One attribute-table row; owner is the qualified name of the type
    whose table holds it."""
    k = cpp_string(key_type) if key_type else "nullptr"
    ck = cpp_string(coll_kind) if coll_kind else "nullptr"
    w = "true" if a.writable else "false"
    return (
        f"{{{cpp_string(a.name)}, &{owner}::orvType, {a.id}, Orv::AttrCategory::{CATEGORY[a.category]}, {w}, "
        f"{cpp_string(value_type)}, {k}, {ck}}},"
    )


def echo(a):
    return f"// {a.line}"


def notify_stmt(handler_call):
    return f"orvNotify<NotifieeConst>([&](NotifieeConst& n) {{ n.{handler_call}; }});"


def query_params(a):
    return ", ".join(t.param for t in a.args)


def getter_ret(a):
    return a.cpp if (a.type is not None and a.type.by_value) else f"const {a.cpp}&"


class ScalarEmitter:
    """key, stored, pointer, constant and computed attributes of entities."""

    def __init__(self, a, owner):
        self.a, self.o = a, owner

    def sections(self):
        a, o = self.a, self.o
        s = Sections()
        m = N.member(a.name)
        s.public.append(echo(a))
        vt = a.cpp
        if a.category == "constant":
            s.public.append(f"static {a.cpp} {a.name}() {{ return {a.default}; }}")
            s.desc.append(desc_row(a, o.qname, vt))
            s.dispatch.append(f"case {a.id}: return Orv::frame::attrGet(op, arg, {a.name}());")
            return s
        if a.category == "computed" and a.args is not None:
            # A query: hand-written, answered from its arguments; generic
            # access cannot pass them, so it does not apply there.
            s.public.append(f"{a.cpp} {a.name}({query_params(a)}) const;  // hand-written")
            s.dispatch.append(f"case {a.id}: return 1;")
            s.desc.append(desc_row(a, o.qname, vt))
            return s
        if a.category == "computed":
            s.public.append(f"{a.cpp} {a.name}() const;  // hand-written")
            if a.writable:
                s.public.append(f"void {N.setter(a.name)}({a.param});  // hand-written")
                s.dispatch.append(
                    f"case {a.id}: return Orv::frame::attrStored(op, arg, {a.name}(), "
                    f"[&](const {a.cpp}& v) {{ {N.setter(a.name)}(v); }});"
                )
            else:
                s.dispatch.append(f"case {a.id}: return Orv::frame::attrGet(op, arg, {a.name}());")
            s.desc.append(desc_row(a, o.qname, vt))
            return s
        s.public.append(f"{getter_ret(a)} {a.name}() const {{ return {m}; }}")
        init = f" = {a.default}" if a.default is not None else ("{}" if a.type is not None and a.type.by_value else "")
        s.members.append(f"{a.cpp} {m}{init};")
        s.desc.append(desc_row(a, o.qname, vt))
        if a.category == "key":
            s.dispatch.append(f"case {a.id}: return Orv::frame::attrGet(op, arg, {m});")
            return s
        # stored or pointer: setter with compare, store, notify
        s.public.append(f"void {N.setter(a.name)}({a.param});")
        if a.counter:
            t = a.cpp
            s.public.append(f"{t} {a.name}Inc({t} n);  // adds n, wrapping; returns the new count")
            s.public.append(f"{t} {a.name}Dec({t} n);  // subtracts n, wrapping; returns the new count")
            for op, sign in (("Inc", "+"), ("Dec", "-")):
                s.source.append(
                    f"{t} {o.qname}::{a.name}{op}({t} n) {{\n"
                    f"  {N.setter(a.name)}(static_cast<{t}>({m} {sign} n));\n  return {m};\n}}"
                )
        if not o.counted:
            s.handlers.append(f"virtual void {N.handler(a.name)}() {{}}")
        head = f"inline void {o.qname}::{N.setter(a.name)}({a.param} v) {{ "
        handler = f"&NotifieeConst::{N.handler(a.name)}"
        if a.range_max is not None:
            cond = f"v <= {a.range_max}"
            if a.range_min is not None and a.range_min != "0":
                cond = f"v >= {a.range_min} && {cond}"
            msg = cpp_string(a.range_message)
            s.ctor_check.append(f"if ({m} > {a.range_max}) throw Orv::RangeException({msg});")
            if o.counted:
                body = f"if ({m} == v) return; {m} = v; if (!({cond})) throw Orv::RangeException({msg});"
            else:
                body = f"orvSetInRange<NotifieeConst>({m}, v, {cond}, {msg}, {handler});"
        elif o.counted:
            body = f"if ({m} == v) return; {m} = v;"
        else:
            body = f"orvSet<NotifieeConst>({m}, v, {handler});"
        # Inline: compare, store and, when the notifiee list is non-empty,
        # the notification loop (Orv::Entity::orvSet).
        s.inline.append(head + body + " }")
        s.dispatch.append(
            f"case {a.id}: return Orv::frame::attrStored(op, arg, {m}, "
            f"[&](const {a.cpp}& v) {{ {N.setter(a.name)}(v); }});"
        )
        return s


class CollectionEmitter:
    def __init__(self, a, owner):
        self.a, self.o = a, owner
        self.c = a.coll

    def sections(self):
        if self.c.shape == "reactor":
            return self.reactor_sections()
        a, o, c = self.a, self.o, self.c
        s = Sections()
        m = N.member(a.name)
        K = c.key.cpp
        kp = c.key.param
        q = o.qname
        is_, del_, delall, notify = N.setter(a.name), N.deleter(a.name), N.delete_all(a.name), N.notify(a.name)
        mt = c.member_cpp
        s.public.append(echo(a))
        s.members.append(f"{c.cpp} {m};")
        s.handlers.append(f"virtual void {N.handler(a.name)}({kp}) {{}}")
        s.handlers.append(f"virtual void {N.immediate_handler(a.name)}() {{}}")
        s.handlers.append(f"virtual void {N.handler(a.name)}() {{}}")
        s.immediate.append(f"{N.immediate_handler(a.name)}();")
        value_type = {"set": c.key.cpp, "new": c.elem.qname if c.elem else "", "ptrby": mt}.get(c.shape, mt)
        s.desc.append(desc_row(a, self.o.qname, value_type, c.key.cpp, c.kind_name))
        # lookup and iteration
        s.public.append(f"Orv::CollRange<const {c.cpp}> {a.name}() const {{ return Orv::CollRange<const {c.cpp}>({m}); }}")
        if c.shape == "new" and c.order == "hashed":
            s.public.append(f"Orv::CollRange<{c.cpp}> {a.name}() {{ return Orv::CollRange<{c.cpp}>({m}); }}")
        s.public.append(f"{mt} {a.name}({kp} k) const;")
        if c.shape == "set":
            look = f"return {m}.find(k) != nullptr;"
        elif c.shape == "new" and c.order == "hashed":
            look = f"return {mt}(const_cast<{c.elem.qname}*>({m}.find(k)));"
        else:
            look = f"auto* p = {m}.find(k);\n  return p ? *p : {mt}();"
        s.inline.append(f"inline {mt} {q}::{a.name}({kp} k) const {{\n  {look}\n}}")
        s.public.append(f"void {notify}({kp} k) const;")
        s.source.append(f"void {q}::{notify}({kp} k) const {{ {notify_stmt(f'{N.handler(a.name)}(k)')} }}")
        # mutators
        if c.shape == "map":
            V = c.value
            s.public.append(f"void {is_}({kp} k, {V.param} v);")
            s.source.append(
                f"{echo(a)}\nvoid {q}::{is_}({kp} k, {V.param} v) {{\n"
                f"  if (Orv::frame::collIs({m}, k, v)) {notify}(k);\n}}"
            )
            set_arg = f"{is_}(a.key.as<{K}>(), a.value.as<{V.cpp}>()); return true;"
        elif c.shape == "set":
            s.public.append(f"void {is_}({kp} k);")
            s.source.append(
                f"{echo(a)}\nvoid {q}::{is_}({kp} k) {{\n"
                f"  if ({m}.insert(k, Orv::Unit{{}}).second) {notify}(k);\n}}"
            )
            set_arg = f"{is_}(a.key.as<{K}>()); return true;"
        elif c.shape == "by":
            V = c.value
            s.public.append(f"void {is_}({V.param} v);")
            s.source.append(
                f"{echo(a)}\nvoid {q}::{is_}({V.param} v) {{\n"
                f"  const {K} k = v.{c.by}();\n"
                f"  if (Orv::frame::collIs({m}, k, v)) {notify}(k);\n}}"
            )
            set_arg = f"{is_}(a.value.as<{V.cpp}>()); return true;"
        elif c.shape == "ptrby":
            s.public.append(f"void {is_}(const {mt}& v);")
            msg = cpp_string(N.null_message(q, a.name))
            s.source.append(
                f"{echo(a)}\nvoid {q}::{is_}(const {mt}& v) {{\n"
                f"  if (!v) throw Orv::RangeException({msg});\n"
                f"  const {K} k = v->{c.by}();\n"
                f"  if (Orv::frame::collIs({m}, k, v, [&](const {mt}& old) {{ ORV_ASSERT(old->{c.by}() == k); }})) {{\n"
                f"    {notify}(k);\n  }}\n}}"
            )
            set_arg = f"{is_}(a.value.as<{mt}>()); return true;"
        else:  # new
            e = c.elem
            extra = c.extra
            params = ", ".join([f"{kp} k"] + [f"{x.param} {x.name}" for x in extra])
            args = ", ".join(["k"] + [x.name for x in extra])
            s.public.append(f"{mt} {is_}({params});")
            checks = "".join(
                f"    Orv::frame::checkReinstantiate(*p, {cpp_string(x.name)}, p->{x.name}(), {x.name});\n"
                for x in extra
            )
            found = f"auto* p = Orv::frame::member({m}, k)"
            insert = f"{m}.insert(e);" if c.order == "hashed" else f"{m}.insert(k, e);"
            s.source.append(
                f"{echo(a)}\n{mt} {q}::{is_}({params}) {{\n"
                f"  if ({found}) {{\n{checks}    return {mt}(p);\n  }}\n"
                f"  {mt} e = {e.qname}::{N.type_is(e.name)}({args});\n"
                f"  {insert}\n  e->parentIs(this, {a.id});\n  {notify}(k);\n  return e;\n}}"
            )
            ctor_args = "".join(f", Orv::frame::ctorArg<{x.cpp}>(a, {i})" for i, x in enumerate(extra))
            set_arg = f"{is_}(a.key.as<{K}>(){ctor_args}); return true;"
            s.dtor.append(f"Orv::frame::orphanAll({m});")
        # removal: one call into the runtime each
        del_ret = "bool" if c.shape == "set" else mt
        owned = "member" if c.shape == "new" else "coll"
        s.public.append(f"{del_ret} {del_}({kp} k);")
        s.public.append(f"void {delall}();")
        s.source.append(
            f"{del_ret} {q}::{del_}({kp} k) {{ return Orv::frame::{owned}Del({m}, k, [&] {{ {notify}(k); }}); }}"
        )
        s.source.append(
            f"void {q}::{delall}() {{ Orv::frame::{owned}DelAll(*this, {m}, [&]({kp} k) {{ {notify}(k); }}); }}"
        )
        s.dispatch.append(
            f"case {a.id}:\n  return Orv::frame::attrColl<{K}>(\n"
            f"      op, arg, {m}, [&]({kp} k) {{ return {a.name}(k); }},\n"
            f"      [&](Orv::AttrArg& a) {{ {set_arg} }},\n"
            f"      [&]({kp} k) {{ return {del_}(k); }}, [&] {{ {delall}(); }});"
        )
        return s


def _reactor_coll_sections(self):
    """A collection of reactors, one per watched entity, keyed by the
    entity's key attribute. Reactors are owned by the machine: deleting one
    (or the machine) runs its delete hook, then detaches it."""
    a, o, c = self.a, self.o, self.c
    r = c.reactor
    s = Sections()
    m = N.member(a.name)
    K, kp, q = c.key.cpp, c.key.param, o.qname
    is_, del_, delall = N.setter(a.name), N.deleter(a.name), N.delete_all(a.name)
    tp = r.target_ptr
    rp = f"Orv::Ptr<{r.name}>"
    s.public.append(echo(a))
    s.members.append(f"{c.cpp} {m};")
    s.public.append(f"Orv::CollRange<const {c.cpp}> {a.name}() const {{ return Orv::CollRange<const {c.cpp}>({m}); }}")
    s.public.append(f"{rp} {a.name}({kp} k) const;")
    rq = f"Orv::Ptr<{q}::{r.name}>"
    s.inline.append(f"inline {rq} {q}::{a.name}({kp} k) const {{\n  auto* p = {m}.find(k);\n  return p ? *p : {rq}();\n}}")
    s.public.append(f"{rp} {is_}(const {tp}& v);")
    s.public.append(f"void {del_}({kp} k);")
    s.public.append(f"void {delall}();")
    msg = cpp_string(N.null_message(q, a.name))
    attach = f"\n  r->{r.onattach}();" if r.onattach else ""
    s.source.append(
        f"{echo(a)}\n{rq} {q}::{is_}(const {tp}& v) {{\n"
        f"  if (!v) throw Orv::RangeException({msg});\n"
        f"  const {K} k = v->{c.by}();\n"
        f"  if (auto* p = {m}.find(k)) {{\n    if ((*p)->notifier() == v) return *p;\n"
        f"    {rp} r = *p;\n    r->notifierIs(v);{attach}\n    return r;\n  }}\n"
        f"  {rp} r(new {r.name}(this, k));\n  {m}.insert(k, r);\n  r->notifierIs(v);{attach}\n  return r;\n}}"
    )
    ondel = f"\n  r.value()->{r.ondel}();" if r.ondel else ""
    s.source.append(
        f"void {q}::{del_}({kp} k) {{\n  auto r = {m}.extract(k);\n  if (!r) return;{ondel}\n"
        f"  r.value()->notifierIs(nullptr);\n  r.value()->orvSmIs(nullptr);\n}}"
    )
    ondel_each = f"    v->{r.ondel}();\n" if r.ondel else ""
    s.source.append(
        f"void {q}::{delall}() {{\n  {m}.delAll([&](const {K}&, {rp}& v) {{\n{ondel_each}"
        f"    v->notifierIs(nullptr);\n    v->orvSmIs(nullptr);\n  }});\n}}"
    )
    s.dtor.append(f"{delall}();")
    s.desc.append(desc_row(a, o.qname, r.target.qname, K, c.kind_name))
    s.dispatch.append(
        f"case {a.id}:\n  return Orv::frame::attrColl<{K}>(\n"
        f"      op, arg, {m}, [&]({kp} k) {{ return {a.name}(k); }},\n"
        f"      [&](Orv::AttrArg& a) {{ {is_}(a.value.as<{tp}>()); return true; }},\n"
        f"      [&]({kp} k) {{ {del_}(k); return true; }}, [&] {{ {delall}(); }});"
    )
    return s


CollectionEmitter.reactor_sections = _reactor_coll_sections


class ReactorEmitter:
    """A singular reactor of a state machine: one nested reactor object
    watching one entity, (re)attached by xIs and dropped by xDel."""

    def __init__(self, a, owner):
        self.a, self.o = a, owner

    def sections(self):
        a, o = self.a, self.o
        r = a.reactor
        s = Sections()
        m = N.member(a.name)
        q = o.qname
        tp = r.target_ptr
        s.public.append(echo(a))
        s.public.append(f"{tp} {a.name}() const;")
        s.public.append(f"{r.name}* {a.name}Reactor() const {{ return {m}.ptr(); }}")
        s.public.append(f"void {N.setter(a.name)}(const {tp}& v);")
        s.public.append(f"void {N.deleter(a.name)}();")
        s.members.append(f"Orv::Ptr<{r.name}> {m};")
        s.inline.append(
            f"inline {tp} {q}::{a.name}() const {{ return {m} ? {m}->notifier() : {tp}(); }}"
        )
        attach = f"\n  {m}->{r.onattach}();" if r.onattach else ""
        s.source.append(
            f"{echo(a)}\nvoid {q}::{N.setter(a.name)}(const {tp}& v) {{\n"
            f"  if (!v) {{\n    {N.deleter(a.name)}();\n    return;\n  }}\n"
            f"  if ({m} && {m}->notifier() == v) return;\n"
            f"  if (!{m}) {m} = Orv::Ptr<{r.name}>(new {r.name}(this));\n"
            f"  {m}->notifierIs(v);{attach}\n}}"
        )
        ondel = f"\n  r->{r.ondel}();" if r.ondel else ""
        s.source.append(
            f"void {q}::{N.deleter(a.name)}() {{\n  if (!{m}) return;\n  Orv::Ptr<{r.name}> r = std::move({m});{ondel}\n"
            f"  r->notifierIs(nullptr);\n  r->orvSmIs(nullptr);\n}}"
        )
        s.dtor.append(f"{N.deleter(a.name)}();")
        s.desc.append(desc_row(a, o.qname, r.target.qname))
        s.dispatch.append(
            f"case {a.id}: return Orv::frame::attrStored(op, arg, {a.name}(), "
            f"[&](const {tp}& v) {{ {N.setter(a.name)}(v); }});"
        )
        return s


def attr_emitter(a, owner):
    if a.coll is not None:
        return CollectionEmitter(a, owner)
    if a.reactor is not None:
        return ReactorEmitter(a, owner)
    return ScalarEmitter(a, owner)
