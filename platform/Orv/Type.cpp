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
