"""orvgen: generates C++ model types from declarative model files.

Stages, each its own module: lexer -> parser (syntax tree with positions) ->
resolver (frozen model, all validation) -> emitters (read only the model).
"""
