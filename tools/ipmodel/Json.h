// JSON from the generic attribute access: any entity prints by walking its
// type descriptor, so a new model type needs no code here.
#pragma once

#include <ostream>
#include <string_view>

#include <ipmodel/ipmodel.h>

namespace Cli {

// Writes `s` as a JSON string, quoted and escaped.
void jsonString(std::ostream& os, std::string_view s);

// Writes every stored, constant, pointer and collection attribute of `e` as one JSON object: a
// value as its textual form, a collection as an array of keys (sets, and values keyed by their own
// text) or an object from key to member text.
void jsonEntity(std::ostream& os, const Orv::Entity& e);

}  // namespace Cli
