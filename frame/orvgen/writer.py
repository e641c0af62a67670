"""A small strict template writer.

render(template, **vars) replaces every $name$ with vars[name]. A
placeholder alone on its line takes a multi-line value indented to the
placeholder's column, and an empty value removes the line. A placeholder
without a value, or a value without a placeholder, is an error.
"""

import re

_VAR = re.compile(r"\$([A-Za-z_][A-Za-z0-9_]*)\$")


class TemplateError(Exception):
    pass


def render(template, **values):
    used = set()
    out = []
    for line in template.split("\n"):
        m = _VAR.match(line.strip())
        tail = line.strip()[m.end():] if m else ""
        if m and tail in ("", ");", "};", ","):
            name = m.group(1)
            if name not in values:
                raise TemplateError(f"template variable ${name}$ has no value")
            used.add(name)
            value = values[name]
            if isinstance(value, (list, tuple)):
                value = "\n".join(value)
            if value == "":
                continue
            indent = line[: len(line) - len(line.lstrip())]
            lines = [(indent + v) if v else "" for v in value.split("\n")]
            lines[-1] += tail
            out.extend(lines)
            continue

        def sub(mm):
            name = mm.group(1)
            if name not in values:
                raise TemplateError(f"template variable ${name}$ has no value")
            used.add(name)
            v = values[name]
            if isinstance(v, (list, tuple)):
                v = "\n".join(v)
            if "\n" in v:
                raise TemplateError(f"multi-line value for inline ${name}$")
            return v

        out.append(_VAR.sub(sub, line))
    unused = set(values) - used
    if unused:
        raise TemplateError(f"unused template values: {', '.join(sorted(unused))}")
    return "\n".join(out)


def ns_blocks(items):
    """items: (namespace tuple, text). Joins consecutive items of one namespace
    into one namespace block."""
    out = []
    cur = None
    buf = []

    def flush():
        if cur is None or not buf:
            return
        body = "\n\n".join(buf)
        if cur:
            n = "::".join(cur)
            out.append(f"namespace {n} {{\n\n{body}\n\n}}  // namespace {n}")
        else:
            out.append(body)

    for ns, text in items:
        if not text:
            continue
        if ns != cur:
            flush()
            cur, buf = ns, []
        buf.append(text)
    flush()
    return "\n\n".join(out)
