// Textual forms of the built-in types.
#include <ipmodel/Orv/Strep.h>

namespace Orv {

void strepFail(std::string_view typeName, std::string_view text) {
  throw StrepReadException(
      "cannot read " + std::string(typeName) + " from '" + std::string(text) + "'",
      std::string(typeName));
}

String valueToStrep(double v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v < 0 ? "-inf" : "inf";
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  return String(buf, r.ptr);
}

namespace detail {

double readDouble(std::string_view text) {
  if (text == "inf") return std::numeric_limits<double>::infinity();
  if (text == "-inf") return -std::numeric_limits<double>::infinity();
  if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
  double v = 0;
  const char* b = text.data();
  const char* e = b + text.size();
  auto r = std::from_chars(b, e, v);
  if (r.ec != std::errc() || r.ptr != e || text.empty()) strepFail("double", text);
  return v;
}

bool readBool(std::string_view text) {
  if (text == "true") return true;
  if (text == "false") return false;
  strepFail("bool", text);
}

}  // namespace detail
}  // namespace Orv

#include <ipmodel/Orv/ValueType.h>

namespace Orv {
namespace detail {

void valueTextFail(const char* typeName, const std::string& what, std::string_view text) {
  throw StrepReadException(
      "cannot read " + std::string(typeName) + " from '" + std::string(text) + "': " + what,
      typeName);
}

void valueAttrFail(const char* typeName, const char* attr, const std::exception& inner) {
  throw StrepReadException(
      "failed to read attribute '" + std::string(attr) + "' of " + typeName + ": " + inner.what(),
      typeName, attr);
}

}  // namespace detail
}  // namespace Orv
