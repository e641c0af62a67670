// Enumeration operations, driven by the enumerator table of a descriptor.
// Generated enumerations forward to these (EInstance, stringValue,
// valueToStrep, operator<<, sequenceToValue).
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/String.h>
#include <ipmodel/Orv/Type.h>

namespace Orv {
namespace EnumType {

// The enumerator of that value; an unknown value raises RangeException.
IPMODEL_API std::uint32_t instance(const TypeDesc& t, std::uint32_t value);
// The enumerator of that text; an unknown text raises RangeException.
IPMODEL_API std::uint32_t instance(const TypeDesc& t, std::string_view text);
// The enumerator's text; an unknown value yields its number in decimal.
IPMODEL_API String stringValue(const TypeDesc& t, std::uint32_t value);
inline String valueToStrep(const TypeDesc& t, std::uint32_t value) { return stringValue(t, value); }
inline std::ostream& print(std::ostream& os, const TypeDesc& t, std::uint32_t value) {
  return os << stringValue(t, value);
}
// Reads an enumerator text that fills [begin, end) exactly; other text raises
// StrepReadException naming the type.
IPMODEL_API std::uint32_t sequenceToValue(const TypeDesc& t, const char* begin, const char* end);
// Non-throwing lookup of a text.
IPMODEL_API bool tryInstance(const TypeDesc& t, std::string_view text, std::uint32_t& out);
IPMODEL_API bool isValue(const TypeDesc& t, std::uint32_t value);

}  // namespace EnumType
}  // namespace Orv
