#include "Json.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

void jsonString(std::ostream& os, std::string_view s) {
  os << '"';
  for (char c : s) {
    switch (c) {
      case '"':
        os << "\\\"";
        break;
      case '\\':
        os << "\\\\";
        break;
      case '\n':
        os << "\\n";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          os << buf;
        } else {
          os << c;
        }
    }
  }
  os << '"';
}

void jsonEntity(std::ostream& os, const Orv::Entity& entity) {
  // Reading through the generic access changes nothing; it is declared
  // non-const because the same entry point also sets.
  auto& e = const_cast<Orv::Entity&>(entity);
  const Orv::TypeDesc& type = e.fwkType();
  os << '{';
  bool first = true;
  for (std::uint16_t i = 0; i < type.attrCount; ++i) {
    const Orv::AttrDesc& attr = type.attrs[i];
    // Computed attributes are derived from the stored ones, and some have no
    // value of their own (they take an argument, or exist only in one family).
    if (attr.category == Orv::AttrCategory::computed) continue;
    Orv::AttrArg arg;
    std::string text;
    if (attr.category == Orv::AttrCategory::collection) {
      if (e.orvAttr(Orv::AttrOp::collKeys, attr.id, arg) != 0) continue;
      std::vector<std::pair<std::string, std::string>> members;
      bool keysOnly = true;
      for (const auto& key : arg.keys) {
        Orv::AttrArg member;
        member.key = key;
        e.orvAttr(Orv::AttrOp::collGet, attr.id, member);
        std::string k = key.strep(), v = member.value.strep();
        if (!v.empty() && v != k && !member.value.is<bool>()) keysOnly = false;
        if (member.value.is<bool>() && !member.value.as<bool>()) keysOnly = false;
        members.emplace_back(std::move(k), std::move(v));
      }
      os << (first ? "" : ",");
      jsonString(os, attr.name);
      os << (keysOnly ? ":[" : ":{");
      for (std::size_t m = 0; m < members.size(); ++m) {
        if (m) os << ',';
        jsonString(os, members[m].first);
        if (!keysOnly) {
          os << ':';
          jsonString(os, members[m].second);
        }
      }
      os << (keysOnly ? ']' : '}');
    } else {
      if (e.orvAttr(Orv::AttrOp::get, attr.id, arg) != 0) continue;
      os << (first ? "" : ",");
      jsonString(os, attr.name);
      os << ':';
      jsonString(os, arg.value.strep());
    }
    first = false;
  }
  os << '}';
}

}  // namespace Cli
