// Type registry and enumeration operations.
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Enum.h>
#include <ipmodel/Orv/Type.h>

#include <string>
#include <unordered_map>

namespace Orv {

namespace {
struct Registry {
  std::vector<const TypeDesc*> order;
  std::unordered_map<std::string_view, const TypeDesc*> byName;
};
Registry& registry() {
  static auto* r = new Registry();  // lives for the process: units register at load time
  return *r;
}
}  // namespace

namespace {
const AttrDesc entityBaseAttrs[] = {
    {"name", &entityBaseType, AttrId::name, AttrCategory::key, false, "Orv::Name", nullptr,
     nullptr},
    {"parent", &entityBaseType, AttrId::parent, AttrCategory::computed, false, "Orv::Entity",
     nullptr, nullptr},
    {"parentAttrName", &entityBaseType, AttrId::parentAttrName, AttrCategory::computed, false,
     "Orv::String", nullptr, nullptr},
    {"fullName", &entityBaseType, AttrId::fullName, AttrCategory::computed, false, "Orv::String",
     nullptr, nullptr},
    {"entity", &entityBaseType, AttrId::entity, AttrCategory::computed, false, "Orv::Entity",
     nullptr, nullptr},
};

template <class Match>
const AttrDesc* findAttr(const TypeDesc& t, Match&& match) {
  for (std::uint16_t i = 0; i < t.attrCount; ++i) {
    if (match(t.attrs[i])) return &t.attrs[i];
  }
  if (t.kind == TypeKind::entity && &t != &entityBaseType) return findAttr(entityBaseType, match);
  return nullptr;
}
}  // namespace

const TypeDesc entityBaseType = {"Orv::Entity",
                                 TypeKind::entity,
                                 entityBaseAttrs,
                                 sizeof entityBaseAttrs / sizeof entityBaseAttrs[0],
                                 nullptr,
                                 0,
                                 0};

const AttrDesc* TypeDesc::attr(std::uint16_t id) const {
  // Identifiers are usually numbered in table order from the first one:
  // the row at that position is the answer without a search.
  if (attrCount != 0) {
    const unsigned at = static_cast<unsigned>(id) - attrs[0].id;
    if (at < attrCount && attrs[at].id == id) return &attrs[at];
  }
  return findAttr(*this, [id](const AttrDesc& a) { return a.id == id; });
}

const AttrDesc* TypeDesc::attr(std::string_view n) const {
  return findAttr(*this, [n](const AttrDesc& a) { return n == a.name; });
}

const char* attrCategoryName(AttrCategory c) {
  switch (c) {
    case AttrCategory::key:
      return "key";
    case AttrCategory::stored:
      return "stored";
    case AttrCategory::constant:
      return "constant";
    case AttrCategory::computed:
      return "computed";
    case AttrCategory::collection:
      return "collection";
    case AttrCategory::pointer:
      return "pointer";
  }
  return "?";
}

void typeNodeIs(const TypeDesc& t) {
  auto& r = registry();
  auto [it, inserted] = r.byName.emplace(std::string_view(t.name), &t);
  if (!inserted) {
    ORV_ASSERT(it->second == &t && "two descriptors registered under one name");
    return;
  }
  r.order.push_back(&t);
}

const TypeDesc* typeNode(std::string_view name) {
  auto& r = registry();
  auto it = r.byName.find(name);
  return it == r.byName.end() ? nullptr : it->second;
}

const std::vector<const TypeDesc*>& typeNodes() { return registry().order; }

namespace EnumType {

bool isValue(const TypeDesc& t, std::uint32_t value) {
  for (std::uint16_t i = 0; i < t.enumeratorCount; ++i) {
    if (t.enumerators[i].value == value) return true;
  }
  return false;
}

std::uint32_t instance(const TypeDesc& t, std::uint32_t value) {
  if (!isValue(t, value)) {
    throw RangeException(std::to_string(value) + " is not a value of " + t.name);
  }
  return value;
}

bool tryInstance(const TypeDesc& t, std::string_view text, std::uint32_t& out) {
  for (std::uint16_t i = 0; i < t.enumeratorCount; ++i) {
    if (text == t.enumerators[i].text) {
      out = t.enumerators[i].value;
      return true;
    }
  }
  return false;
}

std::uint32_t instance(const TypeDesc& t, std::string_view text) {
  std::uint32_t v = 0;
  if (!tryInstance(t, text, v)) {
    throw RangeException("'" + std::string(text) + "' is not an enumerator of " + t.name);
  }
  return v;
}

String stringValue(const TypeDesc& t, std::uint32_t value) {
  for (std::uint16_t i = 0; i < t.enumeratorCount; ++i) {
    if (t.enumerators[i].value == value) return t.enumerators[i].text;
  }
  return std::to_string(value);
}

std::uint32_t sequenceToValue(const TypeDesc& t, const char* begin, const char* end) {
  std::string_view text(begin, static_cast<std::size_t>(end - begin));
  std::uint32_t v = 0;
  if (!tryInstance(t, text, v)) {
    throw StrepReadException("'" + std::string(text) + "' is not an enumerator of " + t.name,
                             t.name);
  }
  return v;
}

}  // namespace EnumType
}  // namespace Orv
