// JSON from the generic attribute access: any entity prints by walking its
// type descriptor, so a new model type needs no code here.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <ipmodel/ipmodel.h>

namespace Cli {

// Writes `s` as a JSON string, quoted and escaped.
void jsonString(std::ostream& os, std::string_view s);

// One member of a collection as the generic access reads it: its key's and
// value's text, and the member entity when the collection owns it.
struct Member {
  std::string key;
  std::string text;
  const Orv::Entity* owned = nullptr;
};

// Walks every stored, constant, pointer and collection attribute of `e` in
// descriptor order: `scalar` gets a value's name and text, `collection` its
// name, whether its members are keys alone (sets, and values keyed by their
// own text), and its members.
void walkEntity(const Orv::Entity& e,
                const std::function<void(const char* name, const std::string& text)>& scalar,
                const std::function<void(const char* name, bool keysOnly,
                                         const std::vector<Member>& members)>& collection);

// Writes every stored, constant, pointer and collection attribute of `e` as one JSON object: a
// value as its textual form, a collection as an array of keys (sets, and values keyed by their own
// text) or an object from key to member text; a member entity the collection owns is written as a
// nested object.
void jsonEntity(std::ostream& os, const Orv::Entity& e);

// Writes the same attributes as one line each, "NAME TEXT", with `prefix` before every name; a
// collection member is NAME[KEY], an owned member entity's lines follow under NAME[KEY].
void textEntity(std::ostream& os, const Orv::Entity& e, const std::string& prefix = "");

}  // namespace Cli
