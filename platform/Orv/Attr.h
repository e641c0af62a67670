// Generic attribute access: read and change any attribute of any entity by
// its identifier, with values carried as type-erased Orv::Value. Attribute
// logs, the state database, tools and language bindings build on this.
#pragma once

#include <any>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/String.h>

namespace Orv {

enum class AttrOp : std::uint8_t {
  get,      // value <- the attribute (or the constant)
  set,      // the attribute <- value (calls xIs)
  collGet,  // value <- member under key; found <- whether present
  collSet,  // member under key <- value (for sets and keyed values the value alone)
  collDel,  // remove the member under key; value <- the removed value
  collDelAll,
  collCount,  // count <- number of members
  collKeys,   // keys <- every key in collection order
  // Attribute-log forms (NboAttrLogSa.h). The value goes to arg.out and
  // comes from arg.in; entity references go through arg.peer.
  logGet,        // arg.out <- the value (scalars) or every member (collections)
  logSet,        // the attribute <- a value read from arg.in, through the setter
  logMember,     // key read from arg.in; arg.out <- that member's entry
  logMemberSet,  // a member entry read from arg.in, applied with xIs or xDel
  logKeys,       // arg.out <- every key's log form, each as a length-prefixed string
  refBind,       // a key attribute referring to an entity, left null because the
                 // reference did not resolve when the entity was created, <- the
                 // reference read from arg.in (nothing when it is bound already)
};

class Entity;
template <class T>
class Ptr;
namespace NboAttrLog {
class Out;
class In;
class Peer;
class Receiver;
}  // namespace NboAttrLog

// A value of any attribute type. It remembers how to print itself, so tools
// can show a value without knowing its type.
class IPMODEL_API Value {
 public:
  Value() = default;
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, Value>>>
  Value(T&& v);  // NOLINT: implicit, any attribute value converts

  bool empty() const { return !v_.has_value(); }
  const std::type_info& type() const { return v_.type(); }
  template <class T>
  bool is() const {
    return v_.type() == typeid(T);
  }
  // The held value; a value of another type raises RangeException.
  template <class T>
  const T& as() const {
    const T* p = std::any_cast<T>(&v_);
    if (p == nullptr) {
      throw RangeException(std::string("attribute value of type ") + v_.type().name() +
                           " used as " + typeid(T).name());
    }
    return *p;
  }
  // Textual form of the held value ("" when empty).
  String strep() const { return strep_ ? strep_(v_) : String(); }
  // The entity a held entity pointer names (null for other values), so tools
  // can descend into collection members without knowing their type.
  const Entity* entity() const { return entity_ ? entity_(v_) : nullptr; }

 private:
  template <class T>
  struct PtrTarget {
    using Type = void;
  };
  template <class X>
  struct PtrTarget<Ptr<X>> {
    using Type = X;
  };
  std::any v_;
  String (*strep_)(const std::any&) = nullptr;
  const Entity* (*entity_)(const std::any&) = nullptr;
};

// Arguments and results of one generic access.
class AttrArg {
 public:
  Value key;
  Value value;
  bool found = false;
  std::uint64_t count = 0;
  std::vector<Value> keys;  // collKeys; for logMemberSet the extra constructor parameters
  NboAttrLog::Out* out = nullptr;
  NboAttrLog::In* in = nullptr;
  NboAttrLog::Peer* peer = nullptr;
  const Entity* owner = nullptr;  // the entity whose attribute is accessed
  std::uint16_t attrId = 0;       // log operations: the attribute accessed
  std::size_t keyBegin = 0;       // logMemberSet: offsets in arg.in of the key
  std::size_t keyEnd = 0;
  // logMemberSet: the adapter applying the entry, which creates the members
  // of instantiating collections (newEntityForAttrLog).
  NboAttrLog::Receiver* receiver = nullptr;
  // logMemberSet: type and full name of each further constructor parameter,
  // as the entry named them.
  std::vector<std::pair<std::string, std::string>> refs;
};

}  // namespace Orv

#include <ipmodel/Orv/Strep.h>

namespace Orv {
template <class T, class>
Value::Value(T&& v)
    : v_(std::decay_t<T>(std::forward<T>(v))), strep_([](const std::any& a) -> String {
        return valueToStrep(std::any_cast<const std::decay_t<T>&>(a));
      }) {
  using Target = typename PtrTarget<std::decay_t<T>>::Type;
  if constexpr (!std::is_void_v<Target>) {
    if constexpr (std::is_base_of_v<Entity, Target>) {
      entity_ = [](const std::any& a) -> const Entity* {
        return std::any_cast<const std::decay_t<T>&>(a).ptr();
      };
    }
  }
}
}  // namespace Orv
