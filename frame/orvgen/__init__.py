"""orvgen: generates C++ model types from declarative model files.

Stages, each its own module: lexer -> parser (syntax tree with positions) ->
model (resolution in passes to a frozen model that says what each type and
attribute is, with every error a file:line:col diagnostic) -> emitters
(emit.py for types and units, attrlog.py for each entity type's
attribute-log adapter, kinds/ for attributes, one module per attribute kind,
chosen by the attribute's kind). Every C++ spelling is
decided in names.py, and all output goes through the strict template writer
(writer.py). The platform's value types are declared in
platform/Platform.model, read when a model names one of them.

An entity derived from another (': Base' with the base's further values in
parentheses) takes one path: the resolver checks the base (named, or
abstract and keyless) and numbers the attributes after the base's; the
entity emitter builds the base in the constructor, lists the base's
descriptor rows first and falls back to the base for generic access.

A new attribute kind: the model gives attributes that kind, one module in
kinds/ writes them (its templates beside it), and tests/model/Kitchen.model
holds a case of it.
"""
