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

void walkEntity(
    const Orv::Entity& entity, const std::function<void(const char*, const std::string&)>& scalar,
    const std::function<void(const char*, bool, const std::vector<Member>&)>& collection) {
  // Reading through the generic access changes nothing; it is declared
  // non-const because the same entry point also sets.
  auto& e = const_cast<Orv::Entity&>(entity);
  const Orv::TypeDesc& type = e.fwkType();
  std::vector<Member> members;
  for (std::uint16_t i = 0; i < type.attrCount; ++i) {
    const Orv::AttrDesc& attr = type.attrs[i];
    // Computed attributes are derived from the stored ones, and some have no
    // value of their own (they take an argument, or exist only in one family).
    if (attr.category == Orv::AttrCategory::computed) continue;
    Orv::AttrArg arg;
    if (attr.category == Orv::AttrCategory::collection) {
      if (e.orvAttr(Orv::AttrOp::collKeys, attr.id, arg) != 0) continue;
      members.clear();
      bool keysOnly = true;
      for (const auto& key : arg.keys) {
        Orv::AttrArg member;
        member.key = key;
        e.orvAttr(Orv::AttrOp::collGet, attr.id, member);
        Member m{key.strep(), member.value.strep(), member.value.entity()};
        if (m.owned != nullptr && m.owned->parent() != &entity) m.owned = nullptr;
        if (m.owned != nullptr || (!m.text.empty() && m.text != m.key && !member.value.is<bool>()))
          keysOnly = false;
        if (member.value.is<bool>() && !member.value.as<bool>()) keysOnly = false;
        members.push_back(std::move(m));
      }
      collection(attr.name, keysOnly, members);
    } else {
      if (e.orvAttr(Orv::AttrOp::get, attr.id, arg) != 0) continue;
      scalar(attr.name, arg.value.strep());
    }
  }
}

void jsonEntity(std::ostream& os, const Orv::Entity& entity) {
  os << '{';
  bool first = true;
  walkEntity(
      entity,
      [&](const char* name, const std::string& text) {
        os << (first ? "" : ",");
        jsonString(os, name);
        os << ':';
        jsonString(os, text);
        first = false;
      },
      [&](const char* name, bool keysOnly, const std::vector<Member>& members) {
        os << (first ? "" : ",");
        jsonString(os, name);
        os << (keysOnly ? ":[" : ":{");
        for (std::size_t m = 0; m < members.size(); ++m) {
          if (m) os << ',';
          jsonString(os, members[m].key);
          if (keysOnly) continue;
          os << ':';
          if (members[m].owned != nullptr) {
            jsonEntity(os, *members[m].owned);
          } else {
            jsonString(os, members[m].text);
          }
        }
        os << (keysOnly ? ']' : '}');
        first = false;
      });
  os << '}';
}

void textEntity(std::ostream& os, const Orv::Entity& entity, const std::string& prefix) {
  walkEntity(
      entity,
      [&](const char* name, const std::string& text) {
        os << prefix << name << ' ' << text << '\n';
      },
      [&](const char* name, bool keysOnly, const std::vector<Member>& members) {
        for (const auto& m : members) {
          const std::string at = prefix + name + "[" + m.key + "]";
          if (m.owned != nullptr) {
            textEntity(os, *m.owned, at + ".");
          } else if (keysOnly) {
            os << at << '\n';
          } else {
            os << at << ' ' << m.text << '\n';
          }
        }
      });
}

}  // namespace Cli
