// Runtime of generated model code. Generated classes call these templates,
// so each attribute costs a few generated lines: the shared mechanics of
// generic access, instantiating collections and value-type collections live
// here once.
#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <ostream>
#include <string>
#include <tuple>
#include <type_traits>

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Attr.h>
#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Enum.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/Strep.h>
#include <ipmodel/Orv/String.h>
#include <ipmodel/Orv/Type.h>
#include <ipmodel/Orv/ValueType.h>
#include <ipmodel/Orv/NboAttrLogSa.h>

namespace Orv {

namespace frame {

// --- generic attribute access ---------------------------------------------

// A value that is not an entity reference, read from its log form with
// every check of its type (typed appliers of generated adapters use it).
template <class T>
T logRead(NboAttrLog::In& in) {
  if constexpr (std::is_constructible_v<T, NboAttrLog::In&> && !std::is_arithmetic_v<T>) {
    return T(in);
  } else {
    T v{};
    in >> v;
    return v;
  }
}

// The typed log functions of stored attribute Get/Set of Q, whose values
// travel as T: one row of a generated adapter's table.
template <class Q, class T, auto Get, auto Set>
constexpr NboAttrLog::LogFns logFns() {
  return {[](Entity& e, NboAttrLog::In& in) { (static_cast<Q&>(e).*Set)(logRead<T>(in)); },
          [](const Entity& e, Entity::OrvNboAttrLogSa& sa, std::uint16_t id) {
            sa.orvValueChanged(id, (static_cast<const Q&>(e).*Get)());
          }};
}

namespace detail {
template <class T>
struct IsPtr : std::false_type {};
// Counted pointers to entities travel as entity references; pointers to
// anything else (the reactors of state machines) do not travel at all.
template <class E>
struct IsPtr<Ptr<E>> : std::bool_constant<std::is_base_of_v<Entity, std::remove_const_t<E>>> {
  using Target = E;
};
template <class T>
struct IsOtherPtr : std::false_type {};
template <class E>
struct IsOtherPtr<Ptr<E>> : std::bool_constant<!IsPtr<Ptr<E>>::value> {};

// Entity references in attribute logs: the referenced entity's type name
// and full name (two empty strings for null), resolved on the reading side
// by the stream's peer.
IPMODEL_API void refWrite(NboAttrLog::Out& o, const Entity* e);
IPMODEL_API Ptr<Entity> refRead(NboAttrLog::In& in, NboAttrLog::Peer* peer);
// refRead for an attribute of a.owner (a.attrId; a collection member when
// a.keyEnd is set): the peer also learns whether the reference resolved.
IPMODEL_API Ptr<Entity> refTake(AttrArg& a);
// Tells the peer that the member under the key just read refers to nothing.
IPMODEL_API void refGone(AttrArg& a);
[[noreturn]] IPMODEL_API void refTypeFail(NboAttrLog::In& in, const Entity& e,
                                          const char* expected);

template <class T>
void logPut(AttrArg& a, const T& v) {
  if constexpr (IsOtherPtr<T>::value) {
    refWrite(*a.out, nullptr);
  } else if constexpr (IsPtr<T>::value) {
    refWrite(*a.out, v.ptr());
  } else {
    *a.out << v;
  }
}

template <class T>
T logTake(AttrArg& a) {
  if constexpr (IsOtherPtr<T>::value) {
    refRead(*a.in, nullptr);
    return T();
  } else if constexpr (IsPtr<T>::value) {
    using E = typename IsPtr<T>::Target;
    Ptr<Entity> e = refTake(a);
    if (!e) return T();
    auto* p = dynamic_cast<E*>(e.ptr());
    if (p == nullptr) refTypeFail(*a.in, *e, typeid(E).name());
    return T(p);
  } else {
    return frame::logRead<T>(*a.in);
  }
}

// Member entries of collections: a presence byte (1 present, 0 removed), the
// key, then for a present member its value. A member that is an entity its
// owner created travels as its further constructor parameters (entity
// references) and the identity its own attribute log uses; the peer
// attaches or binds that log.
enum : std::uint8_t { memberRemoved = 0, memberPresent = 1 };

IPMODEL_API void ownedMemberWrite(AttrArg& a, Entity& member);
// Reads the constructor parameters into a.keys; returns the identity.
IPMODEL_API std::uint32_t ownedMemberRead(AttrArg& a, const TypeDesc& t);
// Creates the member a.key names through the receiving adapter
// (newEntityForAttrLog); a bad entry when it cannot.
IPMODEL_API Ptr<Entity> ownedMemberNew(AttrArg& a, const TypeDesc& t);
IPMODEL_API void ownedMemberBound(AttrArg& a, std::uint32_t identity, Entity& member);
IPMODEL_API void memberGone(AttrArg& a, const Entity& member);
[[noreturn]] IPMODEL_API void memberApplyFail(AttrArg& a);

template <class K, class V>
void memberPut(AttrArg& a, const K& k, const V& v, const Entity* owner) {
  a.out->writeU8(memberPresent);
  *a.out << k;
  if constexpr (IsOtherPtr<V>::value) {
    a.out->writeU8(0);
    refWrite(*a.out, nullptr);
  } else if constexpr (IsPtr<V>::value) {
    if (v && v->parent() == owner) {
      a.out->writeU8(1);
      ownedMemberWrite(a, const_cast<Entity&>(static_cast<const Entity&>(*v)));
    } else {
      a.out->writeU8(0);
      refWrite(*a.out, v.ptr());
    }
  } else {
    *a.out << v;
  }
}
}  // namespace detail

// Key, constant and read-only computed attributes: get only (and their
// attribute-log form, for orphan headers).
template <class T>
int attrGet(AttrOp op, AttrArg& a, const T& v) {
  if (op == AttrOp::logGet) {
    detail::logPut(a, v);
    return 0;
  }
  if (op != AttrOp::get) return 1;
  a.value = v;
  return 0;
}

// A key attribute that refers to an entity (a further constructor
// parameter): get only, except that a reference the log could not resolve
// when the entity was created is bound once its target arrives (refBind).
// Binding notifies nobody: key attributes have no handlers.
template <class P>
int attrKeyRef(AttrOp op, AttrArg& a, P& v) {
  if (op != AttrOp::refBind) return attrGet(op, a, static_cast<const P&>(v));
  P p = detail::logTake<P>(a);
  if (!v) v = std::move(p);
  return 0;
}

// Stored, pointer and writable computed attributes.
template <class T, class Set>
int attrStored(AttrOp op, AttrArg& a, const T& current, Set&& set) {
  if (op == AttrOp::get) {
    a.value = current;
    return 0;
  }
  if (op == AttrOp::set) {
    set(a.value.as<T>());
    return 0;
  }
  if (op == AttrOp::logGet) {
    detail::logPut(a, current);
    return 0;
  }
  if (op == AttrOp::logSet) {
    set(detail::logTake<T>(a));
    return 0;
  }
  return 1;
}

namespace detail {
template <class C>
void collQuery(AttrOp op, AttrArg& a, const C& c) {
  if (op == AttrOp::collCount) {
    a.count = c.size();
  } else {
    a.keys.clear();
    for (auto it = c.begin(); it != c.end(); ++it) a.keys.emplace_back(it.key());
  }
}
}  // namespace detail

namespace detail {
template <class K, class Get, class Set, class Del>
int memberApply(AttrArg& a, Get& get, Set& set, Del& del) {
  const std::uint8_t presence = a.in->readU8();
  if (presence > memberPresent) a.in->fail("member presence byte " + std::to_string(presence));
  a.keyBegin = a.in->offset();
  K k = logTake<K>(a);
  a.keyEnd = a.in->offset();
  if (presence == memberRemoved) {
    // A reference still waiting for its target under this key is void now.
    if constexpr (IsPtr<std::decay_t<decltype(get(k))>>::value) refGone(a);
    auto removed = del(k);
    // A member its owner created has no parent once removed: the peer
    // following it may let go of it.
    if constexpr (IsPtr<std::decay_t<decltype(removed)>>::value) {
      if (removed && removed->parent() == nullptr) memberGone(a, *removed);
    }
    return 0;
  }
  using V = std::decay_t<decltype(get(k))>;
  if constexpr (IsOtherPtr<V>::value) {
    a.in->readU8();
    refRead(*a.in, nullptr);
    return 0;
  } else if constexpr (IsPtr<V>::value) {
    const std::uint8_t owned = a.in->readU8();
    if (owned > 1) a.in->fail("member kind byte " + std::to_string(owned));
    if (owned == 1) {
      using E = std::remove_const_t<typename IsPtr<V>::Target>;
      const std::uint32_t identity = ownedMemberRead(a, E::orvType);
      // A member this side holds already is kept as it is: its constructor
      // parameters cannot change, and a reference that resolves differently
      // here (or not at all) is no reason to refuse the log.
      V m = get(k);
      if (!m) {
        a.key = k;
        ownedMemberNew(a, E::orvType);
        m = get(k);
      }
      ORV_ASSERT(m);
      ownedMemberBound(a, identity, const_cast<E&>(*m));
      return 0;
    }
    V v = logTake<V>(a);
    if (!v) return 0;  // a reference this side does not hold: nothing to add
    a.key = k;
    a.value = std::move(v);
  } else {
    V v = logTake<V>(a);
    a.key = std::move(k);
    a.value = std::move(v);
  }
  if (!set(a)) memberApplyFail(a);
  return 0;
}
}  // namespace detail

// Collections. get(key) returns the member (found = the key is present);
// set(arg) performs collSet from the argument (the key, value or both, as the
// collection's kind takes them) and returns false when collSet does not apply.
template <class K, class C, class Get, class Set, class Del, class DelAll>
int attrColl(AttrOp op, AttrArg& a, const C& c, Get&& get, Set&& set, Del&& del, DelAll&& delAll) {
  switch (op) {
    case AttrOp::collGet: {
      const K& k = a.key.as<K>();
      a.found = c.find(k) != nullptr;
      a.value = get(k);
      return 0;
    }
    case AttrOp::collSet:
      return set(a) ? 0 : 1;
    case AttrOp::collDel:
      a.value = del(a.key.as<K>());
      return 0;
    case AttrOp::collDelAll:
      delAll();
      return 0;
    case AttrOp::collCount:
    case AttrOp::collKeys:
      detail::collQuery(op, a, c);
      return 0;
    case AttrOp::logGet:
      a.count = 0;
      for (auto it = c.begin(); it != c.end(); ++it) {
        detail::memberPut(a, it.key(), get(it.key()), a.owner);
        ++a.count;
      }
      return 0;
    case AttrOp::logMember: {
      const K k = detail::logTake<K>(a);
      if (c.find(k) == nullptr) {
        a.out->writeU8(detail::memberRemoved);
        *a.out << k;
      } else {
        detail::memberPut(a, k, get(k), a.owner);
      }
      return 0;
    }
    case AttrOp::logMemberSet:
      return detail::memberApply<K>(a, get, set, del);
    case AttrOp::logKeys: {
      a.count = 0;
      NboAttrLog::Out key;
      for (auto it = c.begin(); it != c.end(); ++it) {
        key.drain();
        key << it.key();
        a.out->writeU32(static_cast<std::uint32_t>(key.size()));
        a.out->writeBytes(key.bytes().data(), key.size());
        ++a.count;
      }
      return 0;
    }
    default:
      return 1;
  }
}

// A further constructor parameter of a member created through generic access
// (logMemberSet puts them in AttrArg::keys, in constructor order).
template <class P>
P ctorArg(const AttrArg& a, std::size_t i) {
  if (i >= a.keys.size())
    throw RangeException("missing constructor parameter " + std::to_string(i));
  if constexpr (detail::IsPtr<P>::value) {
    const Ptr<Entity>& e = a.keys[i].as<Ptr<Entity>>();
    using E = typename detail::IsPtr<P>::Target;
    if (!e) return P();
    auto* p = dynamic_cast<E*>(e.ptr());
    if (p == nullptr)
      throw RangeException(std::string("constructor parameter is not a ") + E::orvType.name);
    return P(p);
  } else {
    return a.keys[i].as<P>();
  }
}

// --- collection members ---------------------------------------------------

// Stores v under k: inserts when k is absent, assigns when the stored value
// differs. Returns whether the collection changed (the caller then notifies).
// check(old) runs on a stored value about to be replaced.
template <class C, class K, class V, class Check>
bool collIs(C& c, const K& k, const V& v, Check&& check) {
  if (auto* p = c.find(k)) {
    if (*p == v) return false;
    check(*p);
    *p = v;
    return true;
  }
  c.insert(k, v);
  return true;
}
template <class C, class K, class V>
bool collIs(C& c, const K& k, const V& v) {
  return collIs(c, k, v, [](const V&) {});
}
// The same for collection attrId of owner, which refuses the change when it
// is a read-only proxy (Entity::orvWriteCheck) before anything is stored.
template <class C, class K, class V, class Check>
bool collIs(const Entity& owner, std::uint16_t attrId, C& c, const K& k, const V& v,
            Check&& check) {
  if (auto* p = c.find(k)) {
    if (*p == v) return false;
    owner.orvWriteCheck(attrId);
    check(*p);
    *p = v;
    return true;
  }
  owner.orvWriteCheck(attrId);
  c.insert(k, v);
  return true;
}
template <class C, class K, class V>
bool collIs(const Entity& owner, std::uint16_t attrId, C& c, const K& k, const V& v) {
  return collIs(owner, attrId, c, k, v, [](const V&) {});
}

// A read-only proxy refuses the removal of a member it holds (removing an
// absent key changes nothing and stays quiet), and any removal of all.
template <class C, class K>
void delCheck(const Entity& owner, std::uint16_t attrId, const C& c, const K& k) {
  if (owner.readOnlyProxy() && c.find(k) != nullptr) owner.orvWriteCheck(attrId);
}
// Before a set gains a key.
template <class C, class K>
void setCheck(const Entity& owner, std::uint16_t attrId, const C& c, const K& k) {
  if (owner.readOnlyProxy() && c.find(k) == nullptr) owner.orvWriteCheck(attrId);
}
template <class C>
void delAllCheck(const Entity& owner, std::uint16_t attrId, const C& c) {
  if (owner.readOnlyProxy() && c.size() != 0) owner.orvWriteCheck(attrId);
}

// Removes the member under k and returns its value (a set answers whether
// it was there); when there was one, calls removed() while the value is still
// held. Absent: the value type's default, and nobody is called.
template <class Map, class K, class Removed>
auto collDel(Map& c, const K& k, Removed&& removed) {
  using V = typename Map::mapped_type;
  if constexpr (std::is_same_v<V, Unit>) {
    if (!c.extract(k)) return false;
    removed();
    return true;
  } else {
    auto r = c.extract(k);
    if (!r) return V();
    removed();
    return V(r.value());
  }
}

// Removes every member, calling removed(key) for each (Map::delAll's walk).
// owner is kept alive through the walk: a handler may drop the last outside
// reference to it.
template <class Owner, class Map, class Removed>
void collDelAll(const Owner& owner, Map& c, Removed&& removed) {
  const Ptr<const Owner> keep(&owner);
  c.delAll([&](const auto& k, auto&) { removed(k); });
}

// --- instantiating collections -------------------------------------------

namespace detail {
template <class E>
void orphan(E& e) {
  e.parentIs(nullptr);
}
template <class E>
void orphan(Ptr<E>& e) {
  e->parentIs(nullptr);
}
}  // namespace detail

// collDel and collDelAll for a collection of entities its owner created:
// a removed member no longer has a parent.
template <class K, class E, class KeyOf, class Removed>
Ptr<E> memberDel(HashMap<K, E, KeyOf>& c, const K& k, Removed&& removed) {
  Ptr<E> r = c.extract(k);
  if (!r) return r;
  r->parentIs(nullptr);
  removed();
  return r;
}
template <class K, class E, class Removed>
Ptr<E> memberDel(RbTreeMap<K, Ptr<E>>& c, const K& k, Removed&& removed) {
  auto r = c.extract(k);
  if (!r) return Ptr<E>();
  r.value()->parentIs(nullptr);
  removed();
  return r.value();
}
template <class Owner, class Map, class Removed>
void memberDelAll(const Owner& owner, Map& c, Removed&& removed) {
  const Ptr<const Owner> keep(&owner);
  c.delAll([&](const auto& k, auto& v) {
    detail::orphan(v);
    removed(k);
  });
}

// The member under k of an instantiating collection, or null.
template <class K, class E, class KeyOf>
E* member(HashMap<K, E, KeyOf>& c, const K& k) {
  return c.find(k);
}
template <class K, class E>
E* member(RbTreeMap<K, Ptr<E>>& c, const K& k) {
  Ptr<E>* p = c.find(k);
  return p ? p->ptr() : nullptr;
}

[[noreturn]] IPMODEL_API void reinstantiateFail(const Entity& member, const char* attr,
                                                const String& passed, const String& current);

// Throws NameInUseException when a further constructor parameter differs
// from the member's.
template <class T>
void checkReinstantiate(const Entity& member, const char* attr, const T& current, const T& passed) {
  if (!(current == passed)) {
    reinstantiateFail(member, attr, valueToStrep(passed), valueToStrep(current));
  }
}

// Clears the parent of every member an entity's instantiating collection
// holds, before the collection lets go of them (members may live on).
template <class K, class E, class KeyOf>
void orphanAll(HashMap<K, E, KeyOf>& c) {
  for (E& e : c) e.parentIs(nullptr);
}
template <class K, class E>
void orphanAll(RbTreeMap<K, Ptr<E>>& c) {
  for (auto it = c.begin(); it != c.end(); ++it) it.value()->parentIs(nullptr);
}

// --- enumerations in attribute logs ----------------------------------------

IPMODEL_API std::uint32_t enumRead(NboAttrLog::In& in, const TypeDesc& t);

// The operations of a generated enumeration E with descriptor d, typed:
// each passes d to the EnumType operation of the same purpose.
template <class E>
E enumInstance(const TypeDesc& d, unsigned v) {
  return static_cast<E>(EnumType::instance(d, v));
}
template <class E>
E enumInstance(const TypeDesc& d, const String& s) {
  return static_cast<E>(EnumType::instance(d, s));
}
template <class E>
String enumString(const TypeDesc& d, E v) {
  return EnumType::stringValue(d, static_cast<std::uint32_t>(v));
}
template <class E>
const char* enumSequence(const TypeDesc& d, const char* begin, const char* end, E* out) {
  *out = static_cast<E>(EnumType::sequenceToValue(d, begin, end));
  return end;
}
template <class E>
NboAttrLog::Out& enumWrite(NboAttrLog::Out& o, E v) {
  o.writeU32(static_cast<std::uint32_t>(v));
  return o;
}
template <class E>
NboAttrLog::In& enumRead(NboAttrLog::In& i, const TypeDesc& d, E& v) {
  v = static_cast<E>(enumRead(i, d));
  return i;
}

}  // namespace frame
}  // namespace Orv
