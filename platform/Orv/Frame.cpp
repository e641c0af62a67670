// Out-of-line pieces of the generated-code runtime.
#include <ipmodel/Orv/Frame.h>

namespace Orv {
namespace frame {

void reinstantiateFail(const Entity& member, const char* attr, const String& passed,
                       const String& current) {
  throw NameInUseException("Reinstantiating the entity with fullName " + member.fullName() +
                           " where constructor parameter attribute '" + attr +
                           "' has a different value of " + passed + " than the current value of " +
                           current + " not allowed");
}

std::uint32_t enumRead(NboAttrLog::In& in, const TypeDesc& t) {
  std::size_t at = in.offset();
  std::uint32_t v = in.readU32();
  if (!EnumType::isValue(t, v)) {
    in.fail(std::to_string(v) + " is not a value of " + t.name, at);
  }
  return v;
}

void defaultKeyInNominal() {
  std::fputs("Default key not supported in collection inside nominal\n", stderr);
  std::fflush(stderr);
  ORV_ASSERT(false && "Default key not supported in collection inside nominal");
  std::abort();
}

}  // namespace frame
}  // namespace Orv
