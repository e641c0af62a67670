// Type descriptors and the type registry.
//
// Every model type has one constant descriptor: its qualified name, its kind,
// its attribute table (declaration order, identifiers, categories) and, for an
// enumeration, its enumerator table. Descriptors are constant data; a unit's
// static initialiser only links them into the registry (typeNodeIs).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/String.h>

namespace Orv {

enum class TypeKind : std::uint8_t { entity, value, enumeration, stateMachine, object };

enum class AttrCategory : std::uint8_t {
  key,         // stored, set only by the constructor
  stored,      // stored, with a setter
  constant,    // a value fixed by the type
  computed,    // derived by the getter; writable when hand-written code forwards a set
  collection,  // an embedded collection
  pointer,     // a counted pointer to an entity that lives elsewhere
};

IPMODEL_API const char* attrCategoryName(AttrCategory c);

// Identifiers of the base attributes every entity has.
namespace AttrId {
constexpr std::uint16_t name = 130;
constexpr std::uint16_t parent = 138;
constexpr std::uint16_t parentAttrName = 139;
constexpr std::uint16_t fullName = 141;
constexpr std::uint16_t entity = 143;
constexpr std::uint16_t firstEntityAttr = 258;
constexpr std::uint16_t firstValueAttr = 2;
}  // namespace AttrId

struct TypeDesc;
class Entity;

struct AttrDesc {
  const char* name;
  const TypeDesc* owner;  // the type whose table holds the attribute
  std::uint16_t id;
  AttrCategory category;
  bool writable;          // has a setter (stored, pointer, writable computed)
  const char* valueType;  // qualified C++ type of the value (member type of a collection)
  const char* keyType;    // collection key type; nullptr otherwise
  const char* collKind;   // "ordered", "hashed", "hashedIntrusive"; nullptr if not a collection
};

struct EnumeratorDesc {
  const char* text;
  std::uint32_t value;
};

struct TypeDesc {
  const char* name;  // qualified, e.g. "Ip::IpIntfConfig"
  TypeKind kind;
  const AttrDesc* attrs;
  std::uint16_t attrCount;
  const EnumeratorDesc* enumerators;
  std::uint16_t enumeratorCount;
  std::uint8_t valueWidth;  // bytes of an enumeration's value (4)
  // A named entity type's factory, so that tools and the state database can
  // create entities by type name; null for every other type.
  Ptr<Entity> (*namedIs)(const Name& name) = nullptr;

  // The attribute with that identifier or name: the type's own, or for an
  // entity type one of the base attributes every entity answers (their
  // owner is entityBaseType). nullptr when there is none.
  IPMODEL_API const AttrDesc* attr(std::uint16_t id) const;
  IPMODEL_API const AttrDesc* attr(std::string_view n) const;
};

// The base attributes of every entity (name 130, parent 138, parentAttrName
// 139, fullName 141, entity 143), answered by Orv::Entity itself. A type's
// own table lists only its own attributes; lookups by identifier or name on
// an entity type fall back to this table. It is not in the registry.
IPMODEL_API extern const TypeDesc entityBaseType;

// Registers a descriptor. Registering the same descriptor twice is harmless;
// two different descriptors with one name is a programming error.
IPMODEL_API void typeNodeIs(const TypeDesc& t);
// The registered descriptor of that qualified name, or nullptr.
IPMODEL_API const TypeDesc* typeNode(std::string_view name);
// Every registered descriptor in registration order.
IPMODEL_API const std::vector<const TypeDesc*>& typeNodes();

}  // namespace Orv
